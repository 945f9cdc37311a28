// SPDX-License-Identifier: Apache-2.0
//
// The chunk file: opening and positioning, headers and payloads in both directions, the stack of
// open groups, and what damaged files and impossible arguments do.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "ByteImage.h"
#include "VekChunks.h"

// The sanitizer needs more address space than can be taken away, and ends the process when an
// allocation fails.
#if defined(__SANITIZE_ADDRESS__)
#define VEK_TEST_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VEK_TEST_SANITIZED
#endif
#endif

namespace {

using Vek::VekFile;
using Vek::VekHeader;
using namespace VekTest;

const unsigned int tagDATA = Vek::makeTag('D', 'A', 'T', 'A');
const unsigned int tagGRUP = Vek::makeTag('G', 'R', 'U', 'P');
const __int64 largest = std::numeric_limits<__int64>::max();
const __int64 smallest = std::numeric_limits<__int64>::min();

VekHeader leafHeader(unsigned char type, __int64 length) {
  return {tagDATA, type, length};
}
VekHeader groupHeader(__int64 length = 0) {
  return {tagGRUP, 1, length};
}

std::string fromBytes(const char* bytes, std::size_t count) {
  return {bytes, count};
}

class VekFileTest : public FileTest {
 protected:
  /// Opens a file of these bytes for reading.
  void read(const ByteImage& image) { ASSERT_TRUE(file.open(writeFile(image).c_str(), "r")); }
  /// Opens an empty file for writing.
  void write() { ASSERT_TRUE(file.open(path().c_str(), "w")); }
  /// Closes the file and gives its bytes.
  std::string written() {
    EXPECT_TRUE(file.close());
    return readFile(path());
  }

  VekFile file;
  VekHeader header;
};

// ---- Construction and state ----

TEST_F(VekFileTest, defaultIsClosed) {
  EXPECT_FALSE(file.isOpen());
  EXPECT_EQ(0U, file.getLevel());
  EXPECT_EQ(-1, file.tell(nullptr));
}

TEST_F(VekFileTest, hasAVirtualDestructor) {
  EXPECT_TRUE(std::has_virtual_destructor_v<VekFile>);
}

TEST_F(VekFileTest, levelIsUnsigned64Bit) {
  EXPECT_TRUE((std::is_same_v<decltype(file.getLevel()), unsigned __int64>));
}

TEST_F(VekFileTest, constructorOpensAndReports) {
  bool ok = false;
  const VekFile opened(path().c_str(), "w", &ok);
  EXPECT_TRUE(ok);
  EXPECT_TRUE(opened.isOpen());
}

TEST_F(VekFileTest, constructorReportsFailure) {
  bool ok = true;
  const VekFile missing(path("missing").c_str(), "r", &ok);
  EXPECT_FALSE(ok);
  EXPECT_FALSE(missing.isOpen());
}

TEST_F(VekFileTest, constructorNeedsNoResult) {
  const VekFile opened(path().c_str(), "w", nullptr);
  EXPECT_TRUE(opened.isOpen());
  const VekFile missing(path("missing").c_str(), "r");
  EXPECT_FALSE(missing.isOpen());
}

TEST_F(VekFileTest, destructorClosesTheStream) {
  const auto before = numOpenFiles();
  {
    VekFile f(path().c_str(), "w");
    ASSERT_TRUE(f.writeChunk(tagDATA, "x"));
  }
  EXPECT_EQ(before, numOpenFiles());
  EXPECT_EQ(ByteImage().header("DATA", 2, 2).cstr("x").bytes(), readFile(path()));
}

TEST_F(VekFileTest, openForReadingNeedsTheFile) {
  EXPECT_FALSE(file.open(path("missing").c_str(), "r"));
  EXPECT_FALSE(file.open(path("missing").c_str(), "r+"));
  EXPECT_FALSE(file.isOpen());
  EXPECT_FALSE(std::filesystem::exists(path("missing")));
}

TEST_F(VekFileTest, openForWritingEmptiesTheFile) {
  writeFile("old bytes");
  ASSERT_TRUE(file.open(path().c_str(), "w"));
  EXPECT_EQ("", written());
}

TEST_F(VekFileTest, openForUpdateKeepsTheFile) {
  writeFile("old bytes");
  ASSERT_TRUE(file.open(path().c_str(), "r+"));
  EXPECT_EQ("old bytes", written());
}

TEST_F(VekFileTest, openForAppendingWritesAtTheEnd) {
  writeFile("old");
  ASSERT_TRUE(file.open(path().c_str(), "a"));
  EXPECT_TRUE(file.writeChunk(tagDATA, "x"));
  EXPECT_EQ(ByteImage().raw("old").header("DATA", 2, 2).cstr("x").bytes(), written());
}

TEST_F(VekFileTest, modeIsPassedThrough) {
  writeFile("old");
  EXPECT_FALSE(file.open(path().c_str(), "wx")) << "exclusive creation of a file that is there";
  EXPECT_EQ("old", readFile(path()));
  EXPECT_FALSE(file.open(path().c_str(), "q"));
  EXPECT_FALSE(file.open(path().c_str(), ""));
}

TEST_F(VekFileTest, modesWithAnExplicitBinaryFlagWork) {
  writeFile("old");
  for (const char* mode : {"rb", "r+b", "rb+", "ab", "w+b", "wb"}) {
    EXPECT_TRUE(file.open(path().c_str(), mode)) << mode;
  }
}

TEST_F(VekFileTest, openClosesTheFirstFile) {
  const auto before = numOpenFiles();
  ASSERT_TRUE(file.open(path("first").c_str(), "w"));
  ASSERT_TRUE(file.startGroup(groupHeader()));
  ASSERT_TRUE(file.open(path("second").c_str(), "w"));
  EXPECT_EQ(ByteImage().header("GRUP", 1, 0).bytes(), readFile(path("first")));
  EXPECT_EQ(before + 1, numOpenFiles());
  EXPECT_EQ(0U, file.getLevel());
  EXPECT_EQ(0, file.tell());
}

TEST_F(VekFileTest, openClosesTheFirstFileEvenIfTheSecondFails) {
  const auto before = numOpenFiles();
  ASSERT_TRUE(file.open(path("first").c_str(), "w"));
  ASSERT_TRUE(file.startGroup(groupHeader()));
  EXPECT_FALSE(file.open(path("missing").c_str(), "r"));
  EXPECT_FALSE(file.isOpen());
  EXPECT_EQ(0U, file.getLevel());
  EXPECT_EQ(-1, file.tell());
  EXPECT_EQ(before, numOpenFiles());
  EXPECT_EQ(ByteImage().header("GRUP", 1, 0).bytes(), readFile(path("first")));
}

TEST_F(VekFileTest, openClosesTheFirstFileBeforeOpeningTheSecond) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, "abc"));
  ASSERT_TRUE(file.open(path().c_str(), "r"));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(4, header.length);
}

TEST_F(VekFileTest, closeOfAClosedFileSucceeds) {
  EXPECT_TRUE(file.close());
  EXPECT_TRUE(file.close());
}

TEST_F(VekFileTest, closeEmptiesTheGroupStack) {
  write();
  ASSERT_TRUE(file.startGroup(groupHeader()));
  ASSERT_TRUE(file.startGroup(groupHeader()));
  EXPECT_TRUE(file.close());
  EXPECT_EQ(0U, file.getLevel());
  EXPECT_FALSE(file.isOpen());
}

TEST_F(VekFileTest, closeReportsDataThatCouldNotBeWritten) {
  if (!file.open("/dev/full", "w")) return;  // no such device here
  const bool accepted = file.writeChunk(tagDATA, "x");
  const bool closed = file.close();
  EXPECT_FALSE(accepted && closed);
  EXPECT_FALSE(file.isOpen());
  EXPECT_TRUE(file.close());
}

TEST_F(VekFileTest, aFileCanBeOpenedAgain) {
  read(ByteImage().header("DATA", 3, 0));
  ASSERT_TRUE(file.close());
  ASSERT_TRUE(file.open(path().c_str(), "r"));
  EXPECT_TRUE(file.readHeader(header));
}

// ---- Positioning ----

TEST_F(VekFileTest, seekFromStartPositionAndEnd) {
  read(ByteImage().zeros(100));
  EXPECT_TRUE(file.seek(40, 0, false));
  EXPECT_EQ(40, file.tell());
  EXPECT_TRUE(file.seek(-15, 1, false));
  EXPECT_EQ(25, file.tell());
  EXPECT_TRUE(file.seek(10, 1, false));
  EXPECT_EQ(35, file.tell());
  EXPECT_TRUE(file.seek(-1, 2, false));
  EXPECT_EQ(99, file.tell());
}

TEST_F(VekFileTest, seekOfAClosedFileFails) {
  EXPECT_FALSE(file.seek(0, 0, false));
  EXPECT_FALSE(file.seek(0, 0, true));
}

TEST_F(VekFileTest, seekClearsTheGroupsOnlyWhenAsked) {
  read(ByteImage().header("GRUP", 1, 16).header("DATA", 3, 0));
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_EQ(1U, file.getLevel());
  EXPECT_TRUE(file.seek(0, 0, false));
  EXPECT_EQ(1U, file.getLevel());
  EXPECT_TRUE(file.seek(0, 0, true));
  EXPECT_EQ(0U, file.getLevel());
}

TEST_F(VekFileTest, seekClearsTheGroupsBeforeItFails) {
  read(ByteImage().header("GRUP", 1, 16).header("DATA", 3, 0));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_FALSE(file.seek(-1, 0, true));
  EXPECT_EQ(0U, file.getLevel());
}

TEST_F(VekFileTest, seekToTheEndOfAGroupDoesNotCloseIt) {
  read(ByteImage().header("GRUP", 1, 16).header("DATA", 3, 0));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_TRUE(file.seek(32, 0, false));
  EXPECT_EQ(1U, file.getLevel());
}

TEST_F(VekFileTest, seekThatFailsReportsItAndStays) {
  read(ByteImage().zeros(100));
  ASSERT_TRUE(file.seek(10, 0, false));
  EXPECT_FALSE(file.seek(-1, 0, false));
  EXPECT_FALSE(file.seek(-11, 1, false));
  EXPECT_FALSE(file.seek(smallest, 1, false));
  EXPECT_FALSE(file.seek(largest, 1, false));
  EXPECT_FALSE(file.seek(smallest, 0, false));
  EXPECT_FALSE(file.seek(0, 3, false));
  EXPECT_FALSE(file.seek(0, -1, false));
  EXPECT_EQ(10, file.tell());
}

TEST_F(VekFileTest, tellReportsWhetherTheFileIsOpen) {
  bool ok = true;
  EXPECT_EQ(-1, file.tell(&ok));
  EXPECT_FALSE(ok);
  write();
  EXPECT_EQ(0, file.tell(&ok));
  EXPECT_TRUE(ok);
  ASSERT_TRUE(file.writeChunk(tagDATA, "abc"));
  EXPECT_EQ(20, file.tell(nullptr));
}

TEST_F(VekFileTest, rewindOfAClosedFileFails) {
  EXPECT_FALSE(file.rewind());
}

TEST_F(VekFileTest, rewindLeavesTheGroupStack) {
  read(ByteImage().header("GRUP", 1, 16).header("DATA", 3, 0));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_TRUE(file.rewind());
  EXPECT_EQ(0, file.tell());
  EXPECT_EQ(1U, file.getLevel());
}

TEST_F(VekFileTest, rewindClearsTheErrorState) {
  read(ByteImage().header("DATA", 3, 0));
  EXPECT_FALSE(file.writeChunk(tagDATA, "x"));
  EXPECT_TRUE(file.rewind());
  EXPECT_TRUE(file.readHeader(header));
  EXPECT_FALSE(file.readHeader(header));
  EXPECT_TRUE(file.rewind());
  EXPECT_TRUE(file.readHeader(header));
  EXPECT_EQ(tagDATA, header.tag);
}

// ---- File tests by path ----

TEST_F(VekFileTest, testsByPathAreStatic) {
  bool (*const tests[])(const char*) = {VekFile::exists, VekFile::isReadable, VekFile::isWritable,
                                        VekFile::isVekFile};
  for (auto* test : tests) EXPECT_FALSE(test(path("missing").c_str()));
}

TEST_F(VekFileTest, existsForFilesAndFolders) {
  const std::string there = writeFile("");
  EXPECT_TRUE(VekFile::exists(there.c_str()));
  EXPECT_TRUE(VekFile::exists(path("").c_str()));
  EXPECT_FALSE(VekFile::exists(path("missing").c_str()));
  EXPECT_FALSE(VekFile::exists((there + "/below").c_str()));
}

TEST_F(VekFileTest, permissionsOfAnOrdinaryFile) {
  const std::string there = writeFile("");
  EXPECT_TRUE(VekFile::isReadable(there.c_str()));
  EXPECT_TRUE(VekFile::isWritable(there.c_str()));
}

TEST_F(VekFileTest, permissionsOfAFolderAreThoseOfTheAccessCheck) {
  EXPECT_TRUE(VekFile::isReadable(path("").c_str()));
  EXPECT_TRUE(VekFile::isWritable(path("").c_str()));
}

#if defined(VEK_TEST_POSIX)
TEST_F(VekFileTest, eachPermissionIsCheckedByItself) {
  std::filesystem::permissions(path(""), std::filesystem::perms(0755));
  const std::string there = writeFile(ByteImage().header("DVEK", 5, 8).int64(2));
  const auto readable = [&] { return VekFile::isReadable(there.c_str()); };
  const auto writable = [&] { return VekFile::isWritable(there.c_str()); };
  const auto exists = [&] { return VekFile::exists(there.c_str()); };

  ASSERT_EQ(0, ::chmod(there.c_str(), 0));
  EXPECT_TRUE(asOrdinaryUser(exists));
  EXPECT_FALSE(asOrdinaryUser(readable));
  EXPECT_FALSE(asOrdinaryUser(writable));
  ASSERT_EQ(0, ::chmod(there.c_str(), 0444));
  EXPECT_TRUE(asOrdinaryUser(readable));
  EXPECT_FALSE(asOrdinaryUser(writable));
  ASSERT_EQ(0, ::chmod(there.c_str(), 0222));
  EXPECT_FALSE(asOrdinaryUser(readable));
  EXPECT_TRUE(asOrdinaryUser(writable));
}

TEST_F(VekFileTest, anUnreadableFileIsNeitherOpenedNorAVekFile) {
  std::filesystem::permissions(path(""), std::filesystem::perms(0755));
  const std::string there = writeFile(ByteImage().header("DVEK", 5, 8).int64(2));
  ASSERT_EQ(0, ::chmod(there.c_str(), 0));
  EXPECT_FALSE(asOrdinaryUser([&] { return VekFile::isVekFile(there.c_str()); }));
  EXPECT_FALSE(asOrdinaryUser([&] { return VekFile(there.c_str(), "r").isOpen(); }));
}
#endif

TEST_F(VekFileTest, isVekFileForAHeaderTaggedDVEK) {
  EXPECT_TRUE(VekFile::isVekFile(writeFile(ByteImage().header("DVEK", 5, 8).int64(2)).c_str()));
}

TEST_F(VekFileTest, isVekFileChecksNothingButTheTag) {
  const ByteImage images[] = {ByteImage().header("DVEK", 5, 8),
                              ByteImage().header("DVEK", 5, 8).int64(99),
                              ByteImage().header("DVEK", 2, 0),
                              ByteImage().header("DVEK", 1, 0),
                              ByteImage().header("DVEK", 1, 16).header("DATA", 3, 0),
                              ByteImage().header("DVEK", 0, 3, 6, 16, 1),
                              ByteImage().header("DVEK", 200, 5, 201, 202, 203),
                              ByteImage().header("DVEK", 5, 1000000),
                              ByteImage().header("DVEK", 5, -1)};
  for (const ByteImage& image : images) {
    EXPECT_TRUE(VekFile::isVekFile(writeFile(image).c_str()))
        << ::testing::PrintToString(image.bytes());
  }
}

TEST_F(VekFileTest, isVekFileComparesTheWholeTag) {
  for (const char* tag : {"DVEk", "dVEK", "DVEL", "KEVD", "META", "DV\0K"}) {
    EXPECT_FALSE(VekFile::isVekFile(writeFile(ByteImage().header(tag, 5, 8).int64(2)).c_str()))
        << tag;
  }
}

TEST_F(VekFileTest, isVekFileNeedsAWholeHeader) {
  const std::string whole = ByteImage().header("DVEK", 5, 8).bytes();
  for (std::size_t size = 0; size < 16; ++size) {
    EXPECT_FALSE(VekFile::isVekFile(writeFile(whole.substr(0, size)).c_str())) << size;
  }
  EXPECT_TRUE(VekFile::isVekFile(writeFile(whole).c_str()));
}

TEST_F(VekFileTest, isVekFileIsFalseForWhatIsNoFile) {
  EXPECT_FALSE(VekFile::isVekFile(nullptr));
  EXPECT_FALSE(VekFile::isVekFile(""));
  EXPECT_FALSE(VekFile::isVekFile(path("missing").c_str()));
  EXPECT_FALSE(VekFile::isVekFile(path("").c_str()));
  EXPECT_FALSE(std::filesystem::exists(path("missing")));
}

TEST_F(VekFileTest, isVekFileClosesTheFile) {
  const std::string good = writeFile(ByteImage().header("DVEK", 5, 8), "good");
  const std::string bad = writeFile("short", "bad");
  const auto before = numOpenFiles();
  VekFile::isVekFile(good.c_str());
  VekFile::isVekFile(bad.c_str());
  EXPECT_EQ(before, numOpenFiles());
}

// ---- Null arguments and folders ----

TEST_F(VekFileTest, nullArgumentsOfOpenFail) {
  EXPECT_FALSE(file.open(nullptr, "r"));
  EXPECT_FALSE(file.open(path().c_str(), nullptr));
  EXPECT_FALSE(file.open(nullptr, nullptr));
  bool ok = true;
  EXPECT_FALSE(VekFile(nullptr, "r", &ok).isOpen());
  EXPECT_FALSE(ok);
}

TEST_F(VekFileTest, openWithANullPathClosesTheFirstFile) {
  write();
  EXPECT_FALSE(file.open(nullptr, "r"));
  EXPECT_FALSE(file.isOpen());
}

TEST_F(VekFileTest, testsOfANullPathAreFalse) {
  EXPECT_FALSE(VekFile::exists(nullptr));
  EXPECT_FALSE(VekFile::isReadable(nullptr));
  EXPECT_FALSE(VekFile::isWritable(nullptr));
}

TEST_F(VekFileTest, testsOfAnEmptyPathAreFalse) {
  EXPECT_FALSE(VekFile::exists(""));
  EXPECT_FALSE(VekFile::isReadable(""));
  EXPECT_FALSE(VekFile::isWritable(""));
}

TEST_F(VekFileTest, aNullStringIsNotWritten) {
  write();
  EXPECT_FALSE(file.writeChunk(tagDATA, static_cast<const char*>(nullptr)));
  EXPECT_EQ("", written());
}

TEST_F(VekFileTest, aFolderIsNotOpenedForWriting) {
  EXPECT_FALSE(file.open(path("").c_str(), "w"));
  EXPECT_FALSE(file.open(path("").c_str(), "r+"));
}

TEST_F(VekFileTest, openOfAFolderForReadingTellsWhatTheCLibraryTells) {
  std::FILE* stream = std::fopen(path("").c_str(), "r");
  EXPECT_EQ(stream != nullptr, file.open(path("").c_str(), "r"));
  if (stream != nullptr) std::fclose(stream);
}

TEST_F(VekFileTest, nothingIsReadFromAFolder) {
  file.open(path("").c_str(), "r");
  char buffer[8] = {};
  std::string s;
  std::vector<std::string> strings;
  std::vector<char> values;
  EXPECT_FALSE(file.readHeader(header));
  EXPECT_FALSE(file.readData(leafHeader(0, 8), buffer));
  EXPECT_FALSE(file.readData(leafHeader(2, 8), s));
  EXPECT_FALSE(file.readData(leafHeader(2, 8), strings));
  EXPECT_FALSE(file.appendData(leafHeader(0, 8), values));
}

// ---- Closed files and silence ----

TEST_F(VekFileTest, readingFromAClosedFileFails) {
  char buffer[4] = {};
  std::string s;
  std::vector<std::string> strings;
  std::vector<int> values;
  for (const __int64 length : {0, 4}) {
    EXPECT_FALSE(file.skipData(leafHeader(3, length))) << length;
    EXPECT_FALSE(file.readData(leafHeader(3, length), nullptr)) << length;
    EXPECT_FALSE(file.readData(leafHeader(3, length), buffer)) << length;
    EXPECT_FALSE(file.readData(leafHeader(2, length), s)) << length;
    EXPECT_FALSE(file.readData(leafHeader(2, length), strings)) << length;
    EXPECT_FALSE(file.appendData(leafHeader(3, length), values)) << length;
  }
  EXPECT_FALSE(file.readHeader(header));
}

TEST_F(VekFileTest, writingToAClosedFileFails) {
  const int value = 1;
  EXPECT_FALSE(file.writeChunk(leafHeader(3, 4), &value));
  EXPECT_FALSE(file.writeChunk(leafHeader(3, 4), nullptr));
  EXPECT_FALSE(file.writeChunk(leafHeader(3, 0), nullptr, 0));
  EXPECT_FALSE(file.writeChunk(tagDATA, "x"));
  EXPECT_FALSE(file.writeChunk(tagDATA, std::string("x")));
  EXPECT_FALSE(file.writeChunk(tagDATA, std::vector<std::string>{"x"}));
  EXPECT_FALSE(file.writeChunk(tagDATA, std::vector<int>{1}));
  EXPECT_FALSE(file.writeChunk(tagDATA, std::vector<__int64>{1}));
  EXPECT_FALSE(file.writeChunk(tagDATA, std::vector<float>{1.0F}));
  EXPECT_FALSE(file.writeChunk(tagDATA, std::vector<double>{1.0}));
  EXPECT_FALSE(file.startGroup(groupHeader()));
  EXPECT_EQ(0U, file.getLevel());
  EXPECT_FALSE(file.endGroup());
}

TEST_F(VekFileTest, writingToAFileOpenForReadingFails) {
  const ByteImage image = ByteImage().header("DATA", 3, 4).int32(1);
  read(image);
  EXPECT_FALSE(file.writeChunk(tagDATA, std::vector<int>{1, 2, 3}));
  EXPECT_FALSE(file.startGroup(groupHeader()));
  EXPECT_EQ(0U, file.getLevel());
  file.close();
  EXPECT_EQ(image.bytes(), readFile(path()));
}

TEST_F(VekFileTest, readingFromAFileOpenForWritingFails) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{1, 2}));
  ASSERT_TRUE(file.seek(0, 0, false));
  EXPECT_FALSE(file.readHeader(header));
  EXPECT_EQ(0U, file.getLevel());
}

TEST_F(VekFileTest, failuresPrintNothing) {
  std::string errors;
  const std::string output = VekTest::captureStdout([&] {
    errors = VekTest::captureStderr([&] {
      file.open(path("missing").c_str(), "r");
      file.readHeader(header);
      file.endGroup();
      file.writeChunk(tagDATA, "x");
      VekFile::isVekFile(path("missing").c_str());
      read(ByteImage().header("GRUP", 1, -5).header("DATA", 2, 1000));
      file.readHeader(header);
      file.readHeader(header);
      std::string s;
      file.readData(header, s);
      file.startGroup(groupHeader());
      file.endGroup();
      file.seek(-1, 0, true);
    });
  });
  EXPECT_EQ("", output);
  EXPECT_EQ("", errors);
}

// ---- Reading headers ----

TEST_F(VekFileTest, readHeaderTakesAllSixteenBytes) {
  read(ByteImage().header("DATA", 6, 0x0102030405060708, 3, 16, 77));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(tagDATA, header.tag);
  EXPECT_EQ(6, header.type);
  EXPECT_EQ(3, header.compound);
  EXPECT_EQ(16, header.dimension);
  EXPECT_EQ(77, header.reserved);
  EXPECT_EQ(0x0102030405060708, header.length);
  EXPECT_EQ(16, file.tell());
}

TEST_F(VekFileTest, readHeaderNeedsSixteenBytes) {
  const std::string whole = ByteImage().header("GRUP", 1, 4).bytes();
  for (std::size_t size = 0; size < 16; ++size) {
    ASSERT_TRUE(file.open(writeFile(whole.substr(0, size)).c_str(), "r"));
    EXPECT_FALSE(file.readHeader(header)) << size;
    EXPECT_EQ(0U, file.getLevel()) << size;
  }
}

TEST_F(VekFileTest, readHeaderAtTheEndFailsAndKeepsTheGroupStack) {
  read(ByteImage().header("GRUP", 1, 100).header("DATA", 3, 0));
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_FALSE(file.readHeader(header));
  EXPECT_EQ(1U, file.getLevel());
}

TEST_F(VekFileTest, aNonEmptyGroupRaisesTheLevel) {
  read(ByteImage().header("GRUP", 1, 16).header("DATA", 3, 0));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(1U, file.getLevel());
}

TEST_F(VekFileTest, anEmptyGroupLeavesTheLevel) {
  read(ByteImage().header("GRUP", 1, 32).header("GRUP", 1, 0).header("DATA", 3, 0));
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_EQ(1U, file.getLevel());
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(1U, file.getLevel());
}

TEST_F(VekFileTest, onlyTypeOneIsAGroup) {
  for (const int type : {0, 2, 3, 4, 5, 6, 7, 9, 129, 255}) {
    read(ByteImage().header("GRUP", type, 16).zeros(16));
    ASSERT_TRUE(file.readHeader(header)) << type;
    EXPECT_EQ(0U, file.getLevel()) << type;
  }
}

TEST_F(VekFileTest, aGroupMayRunPastTheEndOfTheFile) {
  read(ByteImage().header("GRUP", 1, 1000).header("DATA", 3, 4).int32(7));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(1U, file.getLevel());
  ASSERT_TRUE(file.readHeader(header));
  std::vector<int> values;
  EXPECT_TRUE(file.appendData(header, values));
  EXPECT_EQ(std::vector<int>{7}, values);
  EXPECT_FALSE(file.readHeader(header));
}

// ---- Closing finished groups while reading ----

TEST_F(VekFileTest, theLastPayloadClosesItsGroup) {
  read(ByteImage()
           .header("GRUP", 1, 40)
           .header("DATA", 3, 4)
           .int32(1)
           .header("DATA", 3, 4)
           .int32(2));
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_TRUE(file.skipData(header));
  EXPECT_EQ(1U, file.getLevel());
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(1U, file.getLevel());
  ASSERT_TRUE(file.skipData(header));
  EXPECT_EQ(0U, file.getLevel());
}

TEST_F(VekFileTest, aHeaderOfNoPayloadClosesItsGroup) {
  for (const int type : {0, 1, 2, 3, 4, 5, 6, 9}) {
    read(ByteImage().header("GRUP", 1, 16).header("DATA", type, 0));
    ASSERT_TRUE(file.readHeader(header)) << type;
    ASSERT_EQ(1U, file.getLevel()) << type;
    ASSERT_TRUE(file.readHeader(header)) << type;
    EXPECT_EQ(0U, file.getLevel()) << type;
  }
}

TEST_F(VekFileTest, aHeaderAtTheEndOfItsGroupClosesItEvenIfAPayloadFollows) {
  read(ByteImage().header("GRUP", 1, 16).header("DATA", 3, 4).int32(1));
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(0U, file.getLevel());
}

TEST_F(VekFileTest, aNonEmptyGroupHeaderClosesNothing) {
  read(ByteImage().header("GRUP", 1, 16).header("GRUP", 1, 16).header("DATA", 3, 0));
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(2U, file.getLevel());
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(1U, file.getLevel());
}

TEST_F(VekFileTest, groupsThatEndAtTheSameByteAreAllClosedByOnePayload) {
  const ByteImage image = ByteImage()
                              .header("OUTR", 1, 56)
                              .header("MIDL", 1, 40)
                              .header("INNR", 1, 24)
                              .header("DATA", 5, 8)
                              .int64(3);
  std::vector<__int64> values;
  std::string s;
  std::vector<std::string> strings;
  char buffer[8];
  for (int way = 0; way < 6; ++way) {
    read(image);
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(file.readHeader(header));
    ASSERT_EQ(3U, file.getLevel());
    const bool ok = way == 0   ? file.skipData(header)
                    : way == 1 ? file.readData(header, nullptr)
                    : way == 2 ? file.readData(header, buffer)
                    : way == 3 ? file.readData(header, s)
                    : way == 4 ? file.readData(header, strings)
                               : file.appendData(header, values);
    EXPECT_TRUE(ok) << way;
    EXPECT_EQ(0U, file.getLevel()) << way;
  }
}

TEST_F(VekFileTest, groupsThatEndAtTheSameByteAreAllClosedByOneHeader) {
  read(ByteImage().header("OUTR", 1, 32).header("INNR", 1, 16).header("GRUP", 1, 0));
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_EQ(2U, file.getLevel());
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(0U, file.getLevel());
}

TEST_F(VekFileTest, onlyTheGroupsThatEndAreClosed) {
  read(ByteImage()
           .header("OUTR", 1, 68)
           .header("INNR", 1, 20)
           .header("DATA", 3, 4)
           .int32(1)
           .header("DATA", 3, 0));
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(file.readHeader(header));
  ASSERT_TRUE(file.skipData(header));
  EXPECT_EQ(1U, file.getLevel());
}

TEST_F(VekFileTest, aGroupIsClosedOnlyAtItsExactEnd) {
  read(ByteImage().header("GRUP", 1, 20).header("DATA", 5, 8).int64(1).header("DATA", 3, 0));
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_TRUE(file.skipData(header));
  EXPECT_EQ(1U, file.getLevel());
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(1U, file.getLevel());
}

TEST_F(VekFileTest, onlyTheTopOfTheStackIsCompared) {
  // The inner group runs past its parent's end.
  read(ByteImage().header("OUTR", 1, 20).header("INNR", 1, 24).header("DATA", 5, 8).int64(1));
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(file.readHeader(header));
  ASSERT_EQ(2U, file.getLevel());
  ASSERT_TRUE(file.skipData(header));
  EXPECT_EQ(1U, file.getLevel());
}

TEST_F(VekFileTest, anEmptyPayloadClosesFinishedGroupsToo) {
  std::string s;
  std::vector<std::string> strings;
  std::vector<float> values;
  char buffer[1];
  for (int way = 0; way < 6; ++way) {
    read(ByteImage().header("GRUP", 1, 16).zeros(16));
    ASSERT_TRUE(file.readHeader(header));
    ASSERT_TRUE(file.seek(32, 0, false));
    ASSERT_EQ(1U, file.getLevel());
    const VekHeader empty = leafHeader(4, 0);
    const bool ok = way == 0   ? file.skipData(empty)
                    : way == 1 ? file.readData(empty, nullptr)
                    : way == 2 ? file.readData(empty, buffer)
                    : way == 3 ? file.readData(empty, s)
                    : way == 4 ? file.readData(empty, strings)
                               : file.appendData(empty, values);
    EXPECT_TRUE(ok) << way;
    EXPECT_EQ(0U, file.getLevel()) << way;
    EXPECT_EQ(32, file.tell()) << way;
  }
}

TEST_F(VekFileTest, aFailedReadKeepsTheGroupStack) {
  const ByteImage image = ByteImage().header("GRUP", 1, 24).header("DATA", 0, 8).raw("1234");
  std::string s;
  std::vector<std::string> strings;
  std::vector<char> values;
  char buffer[8];
  for (int way = 0; way < 4; ++way) {
    read(image);
    ASSERT_TRUE(file.readHeader(header));
    ASSERT_TRUE(file.readHeader(header));
    const bool ok = way == 0   ? file.readData(header, buffer)
                    : way == 1 ? file.readData(header, s)
                    : way == 2 ? file.readData(header, strings)
                               : file.appendData(header, values);
    EXPECT_FALSE(ok) << way;
    EXPECT_EQ(1U, file.getLevel()) << way;
  }
}

// ---- Reading payloads ----

TEST_F(VekFileTest, skipDataMovesByTheLength) {
  read(ByteImage().header("DATA", 0, 5).raw("12345").header("NEXT", 3, 0));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_TRUE(file.skipData(header));
  EXPECT_EQ(21, file.tell());
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ("NEXT", header.tagStr());
}

TEST_F(VekFileTest, skipDataOfNoLengthStays) {
  read(ByteImage().zeros(10));
  ASSERT_TRUE(file.seek(3, 0, false));
  EXPECT_TRUE(file.skipData(leafHeader(0, 0)));
  EXPECT_EQ(3, file.tell());
}

TEST_F(VekFileTest, skipDataPastTheEndIsNoticedByTheNextRead) {
  read(ByteImage().header("DATA", 0, 50).raw("12345"));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_TRUE(file.skipData(header));
  EXPECT_EQ(66, file.tell());
  EXPECT_FALSE(file.readHeader(header));
}

TEST_F(VekFileTest, readDataFillsTheBuffer) {
  read(ByteImage().header("DATA", 3, 8).int32(1).int32(-2).header("NEXT", 3, 0));
  ASSERT_TRUE(file.readHeader(header));
  std::int32_t values[3] = {9, 9, 9};
  EXPECT_TRUE(file.readData(header, values));
  EXPECT_EQ(1, values[0]);
  EXPECT_EQ(-2, values[1]);
  EXPECT_EQ(9, values[2]);
  EXPECT_EQ(24, file.tell());
}

TEST_F(VekFileTest, readDataReadsBytesOfAnyType) {
  for (const int type : {0, 2, 3, 4, 5, 6, 9}) {
    read(ByteImage().header("DATA", type, 3).raw("a\nb"));
    ASSERT_TRUE(file.readHeader(header));
    char bytes[4] = {};
    EXPECT_TRUE(file.readData(header, bytes)) << type;
    EXPECT_STREQ("a\nb", bytes) << type;
  }
}

TEST_F(VekFileTest, readDataWithoutABufferSkips) {
  read(ByteImage().header("DATA", 0, 5).raw("12345").header("NEXT", 3, 0));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_TRUE(file.readData(header, nullptr));
  EXPECT_EQ(21, file.tell());
}

TEST_F(VekFileTest, readDataOfNoLengthReadsNothing) {
  read(ByteImage().raw("xyz"));
  char byte = '-';
  EXPECT_TRUE(file.readData(leafHeader(0, 0), &byte));
  EXPECT_EQ('-', byte);
  EXPECT_EQ(0, file.tell());
}

TEST_F(VekFileTest, readDataNeedsAllBytes) {
  read(ByteImage().header("DATA", 0, 6).raw("12345"));
  ASSERT_TRUE(file.readHeader(header));
  char bytes[6];
  EXPECT_FALSE(file.readData(header, bytes));
}

// ---- Reading strings ----

struct StringCase {
  const char* what;
  std::string payload;
  std::string one;
  std::vector<std::string> all;
};

const StringCase stringCases[] = {
    {"empty payload", "", "", {}},
    {"one string", fromBytes("abc\0", 4), "abc", {"abc"}},
    {"no terminator", "abc", "abc", {"abc"}},
    {"two strings", fromBytes("a\0b\0", 4), "a", {"a", "b"}},
    {"empty string between", fromBytes("a\0\0b\0", 5), "a", {"a", "", "b"}},
    {"last one unterminated", fromBytes("a\0bc", 4), "a", {"a", "bc"}},
    {"one empty string", fromBytes("\0", 1), "", {""}},
    {"two empty strings", fromBytes("\0\0", 2), "", {"", ""}},
    {"empty string first", fromBytes("\0a\0", 3), "", {"", "a"}},
    {"empty string last", fromBytes("a\0\0", 3), "a", {"a", ""}},
    {"line ends and high bytes", fromBytes("\r\n\x1a\xff\0", 5), "\r\n\x1a\xff", {"\r\n\x1a\xff"}}};

TEST_F(VekFileTest, readsAStringUpToTheFirstNulOrTheEnd) {
  for (const StringCase& c : stringCases) {
    read(ByteImage().chunk("DATA", 2, ByteImage().raw(c.payload)).header("NEXT", 3, 0));
    ASSERT_TRUE(file.readHeader(header));
    std::string s = "old";
    EXPECT_TRUE(file.readData(header, s)) << c.what;
    EXPECT_EQ(c.one, s) << c.what;
    EXPECT_EQ(16 + header.length, file.tell()) << c.what;
  }
}

TEST_F(VekFileTest, splitsAPayloadIntoStrings) {
  for (const StringCase& c : stringCases) {
    read(ByteImage().chunk("DATA", 2, ByteImage().raw(c.payload)).header("NEXT", 3, 0));
    ASSERT_TRUE(file.readHeader(header));
    std::vector<std::string> strings{"old", "older"};
    EXPECT_TRUE(file.readData(header, strings)) << c.what;
    EXPECT_EQ(c.all, strings) << c.what;
    EXPECT_EQ(16 + header.length, file.tell()) << c.what;
  }
}

TEST_F(VekFileTest, aShortStringAfterALongOneHoldsNothingOfIt) {
  read(ByteImage()
           .chunk("LONG", 2, ByteImage().cstr("abcdefgh"))
           .chunk("SHRT", 2, ByteImage().raw("xy"))
           .chunk("LONG", 2, ByteImage().cstr("abcdefgh"))
           .chunk("SHRT", 2, ByteImage().raw("xy"))
           .header("NONE", 2, 0));
  std::string s;
  std::vector<std::string> strings;
  ASSERT_TRUE(file.readHeader(header) && file.readData(header, s));
  ASSERT_TRUE(file.readHeader(header) && file.readData(header, s));
  EXPECT_EQ("xy", s);
  ASSERT_TRUE(file.readHeader(header) && file.readData(header, strings));
  ASSERT_TRUE(file.readHeader(header) && file.readData(header, strings));
  EXPECT_EQ(std::vector<std::string>{"xy"}, strings);
  ASSERT_TRUE(file.readHeader(header) && file.readData(header, s));
  EXPECT_EQ("", s);
}

TEST_F(VekFileTest, aStringThatCannotBeReadIsEmpty) {
  read(ByteImage().header("DATA", 2, 6).raw("abcde"));
  ASSERT_TRUE(file.readHeader(header));
  std::string s = "old";
  EXPECT_FALSE(file.readData(header, s));
  EXPECT_EQ("", s);
}

TEST_F(VekFileTest, aListOfStringsThatCannotBeReadIsEmpty) {
  read(ByteImage().header("DATA", 2, 6).raw(fromBytes("a\0b\0c", 5)));
  ASSERT_TRUE(file.readHeader(header));
  std::vector<std::string> strings{"old"};
  EXPECT_FALSE(file.readData(header, strings));
  EXPECT_TRUE(strings.empty());
}

// ---- Reading values behind others ----

TEST_F(VekFileTest, appendDataReadsEveryElementType) {
  read(ByteImage()
           .chunk("DATA", 0, ByteImage().raw("xyz"))
           .chunk("DATA", 3, ByteImage().int32(1).int32(-2))
           .chunk("DATA", 5, ByteImage().int64(4294967297).int64(-1))
           .chunk("DATA", 4, ByteImage().float32(0.5F).float32(-2.25F))
           .chunk("DATA", 6, ByteImage().float64(1e300)));
  std::vector<char> chars;
  std::vector<int> ints;
  std::vector<__int64> longs;
  std::vector<float> floats;
  std::vector<double> doubles;
  ASSERT_TRUE(file.readHeader(header) && file.appendData(header, chars));
  ASSERT_TRUE(file.readHeader(header) && file.appendData(header, ints));
  ASSERT_TRUE(file.readHeader(header) && file.appendData(header, longs));
  ASSERT_TRUE(file.readHeader(header) && file.appendData(header, floats));
  ASSERT_TRUE(file.readHeader(header) && file.appendData(header, doubles));
  EXPECT_EQ((std::vector<char>{'x', 'y', 'z'}), chars);
  EXPECT_EQ((std::vector<int>{1, -2}), ints);
  EXPECT_EQ((std::vector<__int64>{4294967297, -1}), longs);
  EXPECT_EQ((std::vector<float>{0.5F, -2.25F}), floats);
  EXPECT_EQ((std::vector<double>{1e300}), doubles);
  EXPECT_FALSE(file.readHeader(header));
}

TEST_F(VekFileTest, appendDataKeepsTheElementsBefore) {
  read(ByteImage()
           .chunk("DATA", 3, ByteImage().int32(1).int32(2))
           .header("DATA", 3, 0)
           .chunk("DATA", 3, ByteImage().int32(3)));
  std::vector<int> values{7};
  ASSERT_TRUE(file.readHeader(header) && file.appendData(header, values));
  EXPECT_EQ((std::vector<int>{7, 1, 2}), values);
  ASSERT_TRUE(file.readHeader(header) && file.appendData(header, values));
  EXPECT_EQ((std::vector<int>{7, 1, 2}), values);
  ASSERT_TRUE(file.readHeader(header) && file.appendData(header, values));
  EXPECT_EQ((std::vector<int>{7, 1, 2, 3}), values);
}

template <typename T>
void expectNotAppended(VekFile& file, const VekHeader& h, const std::string& why) {
  const __int64 position = file.tell();
  std::vector<T> values{static_cast<T>(1), static_cast<T>(2)};
  const std::vector<T> before = values;
  EXPECT_FALSE(file.appendData(h, values)) << why << ' ' << h.length;
  EXPECT_EQ(before, values) << why << ' ' << h.length;
  EXPECT_EQ(position, file.tell()) << why << ' ' << h.length;
}

TEST_F(VekFileTest, appendDataNeedsWholeElements) {
  read(ByteImage().zeros(64));
  for (const __int64 length : {1, 2, 3, 5, 10}) {
    expectNotAppended<int>(file, leafHeader(3, length), "int");
    expectNotAppended<float>(file, leafHeader(4, length), "float");
  }
  for (const __int64 length : {1, 4, 7, 12, 20}) {
    expectNotAppended<__int64>(file, leafHeader(5, length), "int64");
    expectNotAppended<double>(file, leafHeader(6, length), "double");
  }
}

TEST_F(VekFileTest, appendDataPastTheEndChangesNothing) {
  read(ByteImage().zeros(64));
  ASSERT_TRUE(file.seek(32, 0, false));
  for (const __int64 length : {40, 64, 4000}) {
    expectNotAppended<char>(file, leafHeader(0, length), "char");
    expectNotAppended<int>(file, leafHeader(3, length), "int");
    expectNotAppended<__int64>(file, leafHeader(5, length), "int64");
    expectNotAppended<float>(file, leafHeader(4, length), "float");
    expectNotAppended<double>(file, leafHeader(6, length), "double");
  }
  std::vector<char> values;
  EXPECT_TRUE(file.appendData(leafHeader(0, 32), values)) << "exactly to the end";
}

TEST_F(VekFileTest, appendDataWhoseReadFailsChangesNothing) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{1, 2}));
  ASSERT_TRUE(file.seek(16, 0, false));
  std::vector<int> values{7};
  EXPECT_FALSE(file.appendData(leafHeader(3, 8), values));
  EXPECT_EQ(std::vector<int>{7}, values);
}

// ---- Lengths that no file can have ----

TEST_F(VekFileTest, aNegativeLengthIsNeverABackwardSeek) {
  for (const __int64 length : {std::int64_t{-1}, std::int64_t{-16}, std::int64_t{-32},
                               std::int64_t{-4294967288}, smallest + 8, smallest}) {
    read(ByteImage().zeros(64));
    ASSERT_TRUE(file.seek(32, 0, false));
    EXPECT_FALSE(file.skipData(leafHeader(0, length))) << length;
    EXPECT_EQ(32, file.tell()) << length;
    EXPECT_FALSE(file.readData(leafHeader(0, length), nullptr)) << length;
    EXPECT_EQ(32, file.tell()) << length;

    char byte = '-';
    EXPECT_FALSE(file.readData(leafHeader(0, length), &byte)) << length;
    EXPECT_EQ('-', byte) << length;
    std::string s = "old";
    EXPECT_FALSE(file.readData(leafHeader(2, length), s)) << length;
    EXPECT_EQ("", s) << length;
    std::vector<std::string> strings{"old"};
    EXPECT_FALSE(file.readData(leafHeader(2, length), strings)) << length;
    EXPECT_TRUE(strings.empty()) << length;
    EXPECT_LE(32, file.tell()) << length;
  }
}

TEST_F(VekFileTest, appendDataOfANegativeLengthChangesNothing) {
  read(ByteImage().zeros(64));
  ASSERT_TRUE(file.seek(32, 0, false));
  for (const __int64 length :
       {std::int64_t{-8}, std::int64_t{-32}, std::int64_t{-4294967288}, smallest}) {
    expectNotAppended<char>(file, leafHeader(0, length), "char");
    expectNotAppended<int>(file, leafHeader(3, length), "int");
    expectNotAppended<__int64>(file, leafHeader(5, length), "int64");
    expectNotAppended<float>(file, leafHeader(4, length), "float");
    expectNotAppended<double>(file, leafHeader(6, length), "double");
  }
}

TEST_F(VekFileTest, aNegativeLengthIsNotWritten) {
  for (const __int64 length : {std::int64_t{-1}, std::int64_t{-16}, smallest}) {
    write();
    ASSERT_TRUE(file.writeChunk(tagDATA, "before"));
    const int value = 1;
    EXPECT_FALSE(file.writeChunk(leafHeader(3, length), &value)) << length;
    EXPECT_FALSE(file.writeChunk(leafHeader(3, length), nullptr)) << length;
    EXPECT_LE(23, file.tell()) << length;
    file.close();
    EXPECT_EQ(ByteImage().header("DATA", 2, 7).cstr("before").bytes(),
              readFile(path()).substr(0, 23))
        << length;
  }
}

TEST_F(VekFileTest, aGroupOfNegativeLengthIsNotOpened) {
  for (const __int64 length : {std::int64_t{-1}, std::int64_t{-16}, std::int64_t{-17}, smallest}) {
    read(ByteImage().header("GRUP", 1, 48).header("GRUP", 1, length).zeros(32));
    ASSERT_TRUE(file.readHeader(header)) << length;
    EXPECT_FALSE(file.readHeader(header)) << length;
    EXPECT_EQ(1U, file.getLevel()) << length;
    EXPECT_LE(16, file.tell()) << length;
  }
}

TEST_F(VekFileTest, aGroupWhoseEndIsNoOffsetIsNotOpened) {
  for (const __int64 length : {largest, largest - 1, largest - 15}) {
    read(ByteImage().header("GRUP", 1, length).zeros(32));
    EXPECT_FALSE(file.readHeader(header)) << length;
    EXPECT_EQ(0U, file.getLevel()) << length;
  }
}

TEST_F(VekFileTest, skippingToAnEndThatIsNoOffsetFails) {
  read(ByteImage().header("GRUP", 1, 16).header("DATA", 0, largest));
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_TRUE(file.seek(20, 0, false));
  for (const __int64 length : {largest, largest - 1, largest - 19}) {
    EXPECT_FALSE(file.skipData(leafHeader(0, length))) << length;
    EXPECT_FALSE(file.readData(leafHeader(0, length), nullptr)) << length;
    EXPECT_EQ(1U, file.getLevel()) << length;
    EXPECT_EQ(20, file.tell()) << length;
  }
}

TEST_F(VekFileTest, aHoleToAnEndThatIsNoOffsetFails) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, "before"));
  EXPECT_FALSE(file.writeChunk(leafHeader(0, largest), nullptr));
  EXPECT_FALSE(file.writeChunk(leafHeader(0, largest - 20), nullptr));
}

TEST_F(VekFileTest, anOffsetPastAllFilesFails) {
  for (const __int64 offset : {largest, largest - 8}) {
    write();
    ASSERT_TRUE(file.writeChunk(tagDATA, "before"));
    EXPECT_FALSE(file.writeChunk(tagDATA, std::vector<int>{1}, offset)) << offset;
    file.close();
    EXPECT_EQ(ByteImage().header("DATA", 2, 7).cstr("before").bytes(), readFile(path())) << offset;
  }
}

TEST_F(VekFileTest, aHeaderAtTheLastOffsetsFailsAndTheFileStaysReadable) {
  read(ByteImage().zeros(16));
  for (const __int64 offset : {largest, largest - 8, largest - 16}) {
    ASSERT_TRUE(file.seek(offset, 0, false)) << offset;
    EXPECT_FALSE(file.readHeader(header)) << offset;
    ASSERT_TRUE(file.seek(0, 0, false)) << offset;
    EXPECT_TRUE(file.readHeader(header)) << offset;
  }
}

TEST_F(VekFileTest, aPayloadPastTheEndOfTheFileFailsWithoutAllocatingMemory) {
  const long before = peakAddressSpaceKiB();
  for (const __int64 length :
       {std::int64_t{9}, std::int64_t{2147483647}, std::int64_t{2147483648},
        std::int64_t{4294967296 + 8}, std::int64_t{536870912}, std::int64_t{1} << 40,
        std::int64_t{1} << 62, largest - 16, largest - 7, largest}) {
    read(ByteImage().header("DATA", 2, length).raw("12345678"));
    ASSERT_TRUE(file.readHeader(header)) << length;
    char bytes[64];
    EXPECT_FALSE(file.readData(header, bytes)) << length;
    ASSERT_TRUE(file.seek(16, 0, false));
    std::string s = "old";
    EXPECT_FALSE(file.readData(header, s)) << length;
    EXPECT_EQ("", s) << length;
    ASSERT_TRUE(file.seek(16, 0, false));
    std::vector<std::string> strings{"old"};
    EXPECT_FALSE(file.readData(header, strings)) << length;
    EXPECT_TRUE(strings.empty()) << length;
    ASSERT_TRUE(file.seek(16, 0, false));
    expectNotAppended<char>(file, header, "char");
    expectNotAppended<int>(file, header, "int");
    expectNotAppended<__int64>(file, header, "int64");
    expectNotAppended<float>(file, header, "float");
    expectNotAppended<double>(file, header, "double");
  }
  EXPECT_GT(before + 65536, peakAddressSpaceKiB());
}

#if defined(VEK_TEST_POSIX) && !defined(VEK_TEST_SANITIZED)
TEST_F(VekFileTest, aPayloadThatMemoryIsTooShortForFails) {
  const std::int64_t length = std::int64_t{1} << 36;
  writeFile(ByteImage().header("GRUP", 1, length + 16).header("DATA", 2, length));
  std::filesystem::resize_file(path(), static_cast<std::uintmax_t>(length) + 32);
  ASSERT_TRUE(file.open(path().c_str(), "r"));
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_TRUE(file.readHeader(header));
  std::string s = "old";
  std::vector<std::string> strings{"old"};
  std::vector<char> chars{'o'};
  std::vector<double> doubles{1.0};

  rlimit old{};
  ASSERT_EQ(0, ::getrlimit(RLIMIT_AS, &old));
  const rlimit limit{rlim_t{1} << 32, old.rlim_max};
  ASSERT_EQ(0, ::setrlimit(RLIMIT_AS, &limit));
  const bool one = file.readData(header, s);
  const bool all = file.readData(header, strings);
  const bool appendedChars = file.appendData(header, chars);
  const bool appendedDoubles = file.appendData(header, doubles);
  ::setrlimit(RLIMIT_AS, &old);

  EXPECT_FALSE(one);
  EXPECT_FALSE(all);
  EXPECT_FALSE(appendedChars);
  EXPECT_FALSE(appendedDoubles);
  EXPECT_EQ("", s);
  EXPECT_TRUE(strings.empty());
  EXPECT_EQ(std::vector<char>{'o'}, chars);
  EXPECT_EQ(std::vector<double>{1.0}, doubles);
  EXPECT_EQ(1U, file.getLevel());
}
#endif

TEST_F(VekFileTest, aPayloadReadFromPastTheEndFails) {
  read(ByteImage().zeros(16));
  ASSERT_TRUE(file.seek(1000, 0, false));
  std::string s;
  std::vector<std::string> strings;
  EXPECT_FALSE(file.readHeader(header));
  EXPECT_FALSE(file.readData(leafHeader(2, 8), s));
  EXPECT_FALSE(file.readData(leafHeader(2, 8), strings));
  expectNotAppended<int>(file, leafHeader(3, 8), "int");
}

// ---- Depth of nesting ----

/// `depth` groups, each in the one before, around what stands in the innermost.
ByteImage nested(unsigned int depth, const ByteImage& inside) {
  ByteImage image;
  for (unsigned int i = 0; i < depth; ++i) {
    image.header(
        "GRUP", 1,
        static_cast<std::int64_t>(inside.size()) + 16 * static_cast<std::int64_t>(depth - i - 1));
  }
  return image.raw(inside);
}

TEST_F(VekFileTest, atLeastAThousandGroupsNest) {
  EXPECT_LE(1000U, Vek::maxGroupNesting);
}

TEST_F(VekFileTest, groupsNestUpToTheLimit) {
  read(nested(Vek::maxGroupNesting, ByteImage().header("DATA", 3, 4).int32(5)));
  for (unsigned int i = 0; i < Vek::maxGroupNesting; ++i) {
    ASSERT_TRUE(file.readHeader(header)) << i;
    ASSERT_EQ(i + 1, file.getLevel());
  }
  ASSERT_TRUE(file.readHeader(header));
  std::vector<int> values;
  EXPECT_TRUE(file.appendData(header, values));
  EXPECT_EQ(std::vector<int>{5}, values);
  EXPECT_EQ(0U, file.getLevel());
}

TEST_F(VekFileTest, aGroupDeeperThanTheLimitFails) {
  read(nested(Vek::maxGroupNesting + 1, ByteImage().header("DATA", 3, 4).int32(5)));
  for (unsigned int i = 0; i < Vek::maxGroupNesting; ++i) ASSERT_TRUE(file.readHeader(header)) << i;
  EXPECT_FALSE(file.readHeader(header));
  EXPECT_EQ(Vek::maxGroupNesting, file.getLevel());
}

TEST_F(VekFileTest, anEmptyGroupDoesNotCountAgainstTheLimit) {
  read(nested(Vek::maxGroupNesting, ByteImage().header("GRUP", 1, 0)));
  for (unsigned int i = 0; i <= Vek::maxGroupNesting; ++i) {
    ASSERT_TRUE(file.readHeader(header)) << i;
  }
  EXPECT_EQ(0U, file.getLevel());
}

TEST_F(VekFileTest, groupsNestAsDeepWhileWriting) {
  write();
  for (unsigned int i = 0; i < Vek::maxGroupNesting; ++i)
    ASSERT_TRUE(file.startGroup(groupHeader()));
  EXPECT_EQ(Vek::maxGroupNesting, file.getLevel());
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{5}));
  for (unsigned int i = 0; i < Vek::maxGroupNesting; ++i) ASSERT_TRUE(file.endGroup());
  EXPECT_EQ(nested(Vek::maxGroupNesting, ByteImage().header("DATA", 3, 4).int32(5)).bytes(),
            written());
}

// ---- Writing chunks ----

TEST_F(VekFileTest, writesTheHeaderAsItIsAndThePayload) {
  write();
  VekHeader h(tagDATA, 4, 8, 1, 2);
  h.reserved = 99;
  const float values[2] = {1.5F, -0.0F};
  EXPECT_TRUE(file.writeChunk(h, values, -1));
  EXPECT_EQ(24, file.tell());
  EXPECT_EQ(ByteImage().header("DATA", 4, 8, 1, 2, 99).float32(1.5F).float32(-0.0F).bytes(),
            written());
}

TEST_F(VekFileTest, anyNegativeOffsetWritesAtThePosition) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, "x"));
  EXPECT_TRUE(file.writeChunk(leafHeader(0, 1), "a", -5));
  EXPECT_TRUE(file.writeChunk(leafHeader(0, 1), "b", smallest));
  EXPECT_EQ(52, file.tell());
  EXPECT_EQ(ByteImage()
                .header("DATA", 2, 2)
                .cstr("x")
                .header("DATA", 0, 1)
                .raw("a")
                .header("DATA", 0, 1)
                .raw("b")
                .bytes(),
            written());
}

TEST_F(VekFileTest, noLengthWritesNoPayload) {
  write();
  EXPECT_TRUE(file.writeChunk(leafHeader(0, 0), "abc"));
  EXPECT_EQ(ByteImage().header("DATA", 0, 0).bytes(), written());
}

TEST_F(VekFileTest, writesAtAnOffsetAndReturnsToThePosition) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{1}));
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{2}));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<int>{3}, 20));
  EXPECT_EQ(40, file.tell());
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{4}));
  EXPECT_EQ(ByteImage()
                .header("DATA", 3, 4)
                .int32(1)
                .header("DATA", 3, 4)
                .int32(3)
                .header("DATA", 3, 4)
                .int32(4)
                .bytes(),
            written());
}

TEST_F(VekFileTest, offsetZeroIsAnOffset) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{1}));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<int>{2}, 0));
  EXPECT_EQ(20, file.tell());
  EXPECT_EQ(ByteImage().header("DATA", 3, 4).int32(2).bytes(), written());
}

TEST_F(VekFileTest, anOffsetPastTheEndLeavesZeros) {
  write();
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<int>{2}, 8));
  EXPECT_EQ(0, file.tell());
  EXPECT_EQ(ByteImage().zeros(8).header("DATA", 3, 4).int32(2).bytes(), written());
}

TEST_F(VekFileTest, rewritesInAFileOpenForUpdate) {
  writeFile(ByteImage().header("DATA", 3, 4).int32(1).header("NEXT", 3, 4).int32(2));
  ASSERT_TRUE(file.open(path().c_str(), "r+"));
  ASSERT_TRUE(file.seek(36, 0, false));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<float>{1.0F}, 0));
  EXPECT_EQ(36, file.tell());
  EXPECT_EQ(ByteImage().header("DATA", 4, 4).float32(1.0F).header("NEXT", 3, 4).int32(2).bytes(),
            written());
}

TEST_F(VekFileTest, noDataLeavesAHole) {
  write();
  EXPECT_TRUE(file.writeChunk(leafHeader(0, 1024), nullptr));
  EXPECT_EQ(1040, file.tell());
  ASSERT_TRUE(file.writeChunk(tagDATA, "x"));
  EXPECT_EQ(ByteImage().header("DATA", 0, 1024).zeros(1024).header("DATA", 2, 2).cstr("x").bytes(),
            written());
}

TEST_F(VekFileTest, aHoleCostsNoWrite) {
  write();
  EXPECT_TRUE(file.writeChunk(leafHeader(0, 1024), nullptr));
  EXPECT_EQ(ByteImage().header("DATA", 0, 1024).bytes(), written());
}

TEST_F(VekFileTest, aHoleKeepsTheBytesThatWereThere) {
  writeFile(ByteImage().header("OLDD", 3, 8).raw("ABCDEFGH"));
  ASSERT_TRUE(file.open(path().c_str(), "r+"));
  EXPECT_TRUE(file.writeChunk(leafHeader(0, 6), nullptr));
  EXPECT_EQ(22, file.tell());
  EXPECT_EQ(ByteImage().header("DATA", 0, 6).raw("ABCDEFGH").bytes(), written());
}

TEST_F(VekFileTest, aHoleAtAnOffsetReturnsToThePosition) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{7}));
  EXPECT_TRUE(file.writeChunk(leafHeader(0, 4), nullptr, 0));
  EXPECT_EQ(20, file.tell());
  EXPECT_EQ(ByteImage().header("DATA", 0, 4).int32(7).bytes(), written());
}

#if defined(VEK_TEST_POSIX)
TEST_F(VekFileTest, aWriteThatTheSystemRefusesFails) {
  write();
  {
    const FileSizeLimit limit(65536);
    const std::vector<double> values(131072, 1.0);
    const bool accepted = file.writeChunk(tagDATA, values);
    EXPECT_FALSE(accepted);
    file.close();
  }
  EXPECT_GE(65536U, readFile(path()).size());
}
#endif

// ---- Writing strings ----

TEST_F(VekFileTest, writesACString) {
  write();
  EXPECT_TRUE(file.writeChunk(tagDATA, "abc"));
  EXPECT_TRUE(file.writeChunk(tagDATA, ""));
  EXPECT_EQ(37, file.tell());
  EXPECT_EQ(ByteImage().header("DATA", 2, 4).cstr("abc").header("DATA", 2, 1).cstr("").bytes(),
            written());
}

TEST_F(VekFileTest, writesAString) {
  write();
  EXPECT_TRUE(file.writeChunk(tagDATA, std::string("abc"), -1, 5, 9));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::string()));
  EXPECT_EQ(
      ByteImage().header("DATA", 2, 4, 5, 9).cstr("abc").header("DATA", 2, 1).cstr("").bytes(),
      written());
}

TEST_F(VekFileTest, writesAStringWithItsInnerNuls) {
  write();
  EXPECT_TRUE(file.writeChunk(tagDATA, fromBytes("a\0b", 3)));
  EXPECT_EQ(ByteImage().header("DATA", 2, 4).raw(fromBytes("a\0b\0", 4)).bytes(), written());
}

TEST_F(VekFileTest, writesAStringAtAnOffset) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, "abc"));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::string("xyz"), 0, 1, 2));
  EXPECT_EQ(20, file.tell());
  EXPECT_EQ(ByteImage().header("DATA", 2, 4, 1, 2).cstr("xyz").bytes(), written());
}

TEST_F(VekFileTest, writesAListOfStrings) {
  write();
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<std::string>{"a", "", "bcd"}, -1, 2, 3));
  EXPECT_EQ(ByteImage().header("DATA", 2, 7, 2, 3).cstr("a").cstr("").cstr("bcd").bytes(),
            written());
}

TEST_F(VekFileTest, writesAnEmptyListOfStringsWithoutPayload) {
  write();
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<std::string>{}));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<std::string>{""}));
  EXPECT_EQ(ByteImage().header("DATA", 2, 0).header("DATA", 2, 1).cstr("").bytes(), written());
}

TEST_F(VekFileTest, writesAListOfStringsAtAnOffset) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<std::string>{"x", "y"}, 0));
  EXPECT_EQ(20, file.tell());
  EXPECT_EQ(ByteImage().header("DATA", 2, 4).cstr("x").cstr("y").bytes(), written());
}

TEST_F(VekFileTest, aShortListAfterALongOneWritesNothingOfIt) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<std::string>{"abcdef", "ghi"}));
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<std::string>{"x"}));
  EXPECT_EQ(ByteImage()
                .header("DATA", 2, 11)
                .cstr("abcdef")
                .cstr("ghi")
                .header("DATA", 2, 2)
                .cstr("x")
                .bytes(),
            written());
}

TEST_F(VekFileTest, aStringWithANulReadsBackAsTwo) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<std::string>{fromBytes("a\0b", 3), "c"}));
  ASSERT_TRUE(file.open(path().c_str(), "r"));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(6, header.length);
  std::vector<std::string> strings;
  ASSERT_TRUE(file.readData(header, strings));
  EXPECT_EQ((std::vector<std::string>{"a", "b", "c"}), strings);
}

TEST_F(VekFileTest, listsOfStringsReadBackAsTheyWere) {
  const std::vector<std::string> lists[] = {
      {}, {""}, {"", ""}, {"a"}, {"", "a", ""}, {"|root|arm:left", "\n", std::string(70000, 'z')}};
  for (const auto& list : lists) {
    write();
    ASSERT_TRUE(file.writeChunk(tagDATA, list));
    ASSERT_TRUE(file.open(path().c_str(), "r"));
    ASSERT_TRUE(file.readHeader(header));
    std::vector<std::string> strings;
    EXPECT_TRUE(file.readData(header, strings));
    EXPECT_EQ(list, strings);
  }
}

// ---- Writing numbers ----

TEST_F(VekFileTest, writesInt32) {
  write();
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<int>{1, -2}, -1, 6, 2));
  EXPECT_EQ(
      ByteImage().header("DATA", 3, 8, 6, 2).raw(fromBytes("\1\0\0\0\xfe\xff\xff\xff", 8)).bytes(),
      written());
}

TEST_F(VekFileTest, writesInt64) {
  write();
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<__int64>{258}, -1, 1, 1));
  EXPECT_EQ(ByteImage().header("DATA", 5, 8, 1, 1).raw(fromBytes("\2\1\0\0\0\0\0\0", 8)).bytes(),
            written());
}

TEST_F(VekFileTest, writesFloat) {
  write();
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<float>{1.0F, -2.0F, 0.5F}, -1, 1, 3));
  EXPECT_EQ(ByteImage()
                .header("DATA", 4, 12, 1, 3)
                .raw(fromBytes("\0\0\x80\x3f\0\0\0\xc0\0\0\0\x3f", 12))
                .bytes(),
            written());
}

TEST_F(VekFileTest, writesDouble) {
  write();
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<double>{1.0}, -1, 4, 16));
  EXPECT_EQ(
      ByteImage().header("DATA", 6, 8, 4, 16).raw(fromBytes("\0\0\0\0\0\0\xf0\x3f", 8)).bytes(),
      written());
}

TEST_F(VekFileTest, writesEmptyVectorsAsHeaders) {
  write();
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<int>{}, -1, 1, 3));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<__int64>{}));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<float>{}));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<double>{}));
  EXPECT_EQ(ByteImage()
                .header("DATA", 3, 0, 1, 3)
                .header("DATA", 5, 0)
                .header("DATA", 4, 0)
                .header("DATA", 6, 0)
                .bytes(),
            written());
}

TEST_F(VekFileTest, writesNumbersAtAnOffset) {
  write();
  ASSERT_TRUE(file.writeChunk(leafHeader(0, 80), nullptr));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<int>{1}, 0));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<__int64>{2}, 20));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<float>{3.0F}, 44));
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<double>{4.0}, 64));
  EXPECT_EQ(96, file.tell());
  EXPECT_EQ(ByteImage()
                .header("DATA", 3, 4)
                .int32(1)
                .header("DATA", 5, 8)
                .int64(2)
                .header("DATA", 4, 4)
                .float32(3.0F)
                .header("DATA", 6, 8)
                .float64(4.0)
                .bytes(),
            written());
}

TEST_F(VekFileTest, largeVectorsReadBackAsTheyWere) {
  std::vector<double> values;
  for (int i = 0; i < 100000; ++i) values.push_back(0.1 * i);
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, values));
  ASSERT_TRUE(file.open(path().c_str(), "r"));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(800000, header.length);
  std::vector<double> back;
  ASSERT_TRUE(file.appendData(header, back));
  EXPECT_EQ(values, back);
}

// ---- Writing groups ----

TEST_F(VekFileTest, startGroupWritesTheHeaderAsItIs) {
  write();
  VekHeader h(tagGRUP, 1, 77, 2, 3);
  h.reserved = 88;
  EXPECT_TRUE(file.startGroup(h));
  EXPECT_EQ(16, file.tell());
  EXPECT_EQ(1U, file.getLevel());
  EXPECT_EQ(ByteImage().header("GRUP", 1, 77, 2, 3, 88).bytes(), written());
}

TEST_F(VekFileTest, endGroupPatchesTheLength) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, "x"));
  ASSERT_TRUE(file.startGroup(groupHeader()));
  ASSERT_TRUE(file.writeChunk(tagDATA, "ab"));
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{7}));
  EXPECT_EQ(73, file.tell());
  EXPECT_TRUE(file.endGroup());
  EXPECT_EQ(73, file.tell());
  EXPECT_EQ(0U, file.getLevel());
  ASSERT_TRUE(file.writeChunk(tagDATA, "y"));
  EXPECT_EQ(ByteImage()
                .header("DATA", 2, 2)
                .cstr("x")
                .header("GRUP", 1, 39)
                .header("DATA", 2, 3)
                .cstr("ab")
                .header("DATA", 3, 4)
                .int32(7)
                .header("DATA", 2, 2)
                .cstr("y")
                .bytes(),
            written());
}

TEST_F(VekFileTest, endGroupPatchesNothingButTheLength) {
  write();
  VekHeader h(tagGRUP, 1, 0x7777777777777777, 2, 3);
  h.reserved = 88;
  ASSERT_TRUE(file.startGroup(h));
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{7}));
  ASSERT_TRUE(file.endGroup());
  EXPECT_EQ(ByteImage().header("GRUP", 1, 20, 2, 3, 88).header("DATA", 3, 4).int32(7).bytes(),
            written());
}

TEST_F(VekFileTest, endGroupOfAnEmptyGroupPatchesZero) {
  write();
  ASSERT_TRUE(file.startGroup(groupHeader(77)));
  EXPECT_TRUE(file.endGroup());
  EXPECT_EQ(16, file.tell());
  EXPECT_EQ(ByteImage().header("GRUP", 1, 0).bytes(), written());
}

TEST_F(VekFileTest, nestedGroupsArePatchedFromTheInside) {
  write();
  ASSERT_TRUE(file.startGroup(VekHeader(Vek::makeTag('O', 'U', 'T', 'R'), 1, 0)));
  ASSERT_TRUE(file.startGroup(VekHeader(Vek::makeTag('I', 'N', 'N', '1'), 1, 0)));
  EXPECT_EQ(2U, file.getLevel());
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{1}));
  EXPECT_TRUE(file.endGroup());
  EXPECT_EQ(1U, file.getLevel());
  ASSERT_TRUE(file.startGroup(VekHeader(Vek::makeTag('I', 'N', 'N', '2'), 1, 0)));
  ASSERT_TRUE(file.startGroup(VekHeader(Vek::makeTag('D', 'E', 'E', 'P'), 1, 0)));
  EXPECT_EQ(3U, file.getLevel());
  ASSERT_TRUE(file.writeChunk(tagDATA, "abc"));
  EXPECT_TRUE(file.endGroup());
  EXPECT_TRUE(file.endGroup());
  EXPECT_TRUE(file.endGroup());
  EXPECT_EQ(0U, file.getLevel());
  // INN1: 16 + 4. DEEP: 16 + 4. INN2: 16 + 20. OUTR: 16 + 20 + 16 + 36.
  EXPECT_EQ(ByteImage()
                .header("OUTR", 1, 88)
                .header("INN1", 1, 20)
                .header("DATA", 3, 4)
                .int32(1)
                .header("INN2", 1, 36)
                .header("DEEP", 1, 20)
                .header("DATA", 2, 4)
                .cstr("abc")
                .bytes(),
            written());
}

TEST_F(VekFileTest, aHoleCountsIntoItsGroup) {
  write();
  ASSERT_TRUE(file.startGroup(groupHeader()));
  ASSERT_TRUE(file.writeChunk(leafHeader(0, 10), nullptr));
  EXPECT_TRUE(file.endGroup());
  EXPECT_EQ(42, file.tell());
  ASSERT_TRUE(file.writeChunk(tagDATA, "x"));
  EXPECT_EQ(ByteImage()
                .header("GRUP", 1, 26)
                .header("DATA", 0, 10)
                .zeros(10)
                .header("DATA", 2, 2)
                .cstr("x")
                .bytes(),
            written());
}

TEST_F(VekFileTest, writingChunksClosesNoGroup) {
  write();
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{1}));
  ASSERT_TRUE(file.startGroup(groupHeader()));
  // The position is back at the start of the group's payload.
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{2}, 0));
  EXPECT_EQ(1U, file.getLevel());
  EXPECT_EQ(36, file.tell());
  EXPECT_TRUE(file.endGroup());
}

TEST_F(VekFileTest, endGroupWithoutAGroupFails) {
  write();
  EXPECT_FALSE(file.endGroup());
  ASSERT_TRUE(file.startGroup(groupHeader()));
  ASSERT_TRUE(file.endGroup());
  EXPECT_FALSE(file.endGroup());
  EXPECT_EQ(ByteImage().header("GRUP", 1, 0).bytes(), written());
}

TEST_F(VekFileTest, aGroupWhosePatchFailsStaysOpen) {
  const ByteImage image = ByteImage().header("GRUP", 1, 20).header("DATA", 3, 4).int32(1);
  read(image);
  ASSERT_TRUE(file.readHeader(header));
  ASSERT_EQ(1U, file.getLevel());
  EXPECT_FALSE(file.endGroup());
  EXPECT_EQ(1U, file.getLevel());
  file.close();
  EXPECT_EQ(image.bytes(), readFile(path()));
}

TEST_F(VekFileTest, writtenGroupsReadBackWithTheirLevels) {
  write();
  ASSERT_TRUE(file.startGroup(groupHeader()));
  ASSERT_TRUE(file.startGroup(groupHeader()));
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<float>{1.0F}));
  ASSERT_TRUE(file.endGroup());
  ASSERT_TRUE(file.endGroup());
  ASSERT_TRUE(file.writeChunk(tagDATA, "x"));
  ASSERT_TRUE(file.open(path().c_str(), "r"));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(36, header.length);
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(20, header.length);
  EXPECT_EQ(2U, file.getLevel());
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_TRUE(file.skipData(header));
  EXPECT_EQ(0U, file.getLevel());
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(2, header.type);
}

// ---- Files over 4 GiB ----

TEST_F(VekFileTest, positionsAndLengthsGoPastFourGibibytes) {
  const __int64 hole = 5368709120;  // 5 GiB
  write();
  ASSERT_TRUE(file.startGroup(groupHeader()));
  ASSERT_TRUE(file.writeChunk(leafHeader(0, hole), nullptr));
  EXPECT_EQ(hole + 32, file.tell());
  ASSERT_TRUE(file.writeChunk(tagDATA, std::vector<int>{1}));
  ASSERT_TRUE(file.endGroup());
  EXPECT_EQ(hole + 52, file.tell());
  EXPECT_TRUE(file.writeChunk(tagDATA, std::vector<int>{2}, hole + 32));
  EXPECT_EQ(hole + 52, file.tell());
  ASSERT_TRUE(file.close());
  EXPECT_EQ(static_cast<std::uintmax_t>(hole + 52), std::filesystem::file_size(path()));

  ASSERT_TRUE(file.open(path().c_str(), "r"));
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(hole + 36, header.length);
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(hole, header.length);
  ASSERT_TRUE(file.skipData(header));
  EXPECT_EQ(hole + 32, file.tell());
  EXPECT_EQ(1U, file.getLevel());
  ASSERT_TRUE(file.readHeader(header));
  std::vector<int> values;
  EXPECT_TRUE(file.appendData(header, values));
  EXPECT_EQ(std::vector<int>{2}, values);
  EXPECT_EQ(0U, file.getLevel());
  EXPECT_TRUE(file.seek(hole + 32, 0, true));
  EXPECT_TRUE(file.readHeader(header));
  EXPECT_EQ(hole + 48, file.tell());
}

// ---- Copies ----

TEST_F(VekFileTest, aCopySharesTheStream) {
  read(ByteImage().header("DATA", 3, 4).int32(1).header("NEXT", 3, 0));
  const auto before = numOpenFiles();
  VekFile copy(file);
  EXPECT_EQ(before, numOpenFiles());
  ASSERT_TRUE(copy.isOpen());
  ASSERT_TRUE(copy.readHeader(header));
  EXPECT_EQ(16, file.tell());
  ASSERT_TRUE(file.skipData(header));
  EXPECT_EQ(20, copy.tell());
}

TEST_F(VekFileTest, anAssignedFileSharesTheStream) {
  read(ByteImage().header("DATA", 3, 4).int32(1));
  VekFile assigned;
  assigned = file;
  ASSERT_TRUE(assigned.isOpen());
  ASSERT_TRUE(assigned.readHeader(header));
  EXPECT_EQ(16, file.tell());
}

TEST_F(VekFileTest, aCopyHasAGroupStackOfItsOwn) {
  read(ByteImage().header("GRUP", 1, 20).header("DATA", 3, 4).int32(1));
  ASSERT_TRUE(file.readHeader(header));
  VekFile copy(file);
  VekFile assigned;
  assigned = file;
  EXPECT_EQ(1U, copy.getLevel());
  EXPECT_EQ(1U, assigned.getLevel());
  ASSERT_TRUE(copy.readHeader(header));
  ASSERT_TRUE(copy.skipData(header));
  EXPECT_EQ(0U, copy.getLevel());
  EXPECT_EQ(1U, file.getLevel());
  EXPECT_EQ(1U, assigned.getLevel());
}

TEST_F(VekFileTest, aCopyOfAClosedFileIsClosed) {
  VekFile copy(file);
  EXPECT_FALSE(copy.isOpen());
  EXPECT_TRUE(copy.close());
  VekFile opened(path().c_str(), "w");
  opened = file;
  EXPECT_FALSE(opened.isOpen());
}

TEST_F(VekFileTest, closingACopyClosesBoth) {
  read(ByteImage().header("DATA", 3, 0));
  VekFile copy(file);
  EXPECT_TRUE(copy.close());
  EXPECT_FALSE(copy.isOpen());
  EXPECT_FALSE(file.isOpen());
  EXPECT_FALSE(file.readHeader(header));
  EXPECT_FALSE(file.seek(0, 0, true));
  EXPECT_FALSE(file.rewind());
  EXPECT_EQ(-1, file.tell());
  EXPECT_FALSE(file.writeChunk(tagDATA, "x"));
  EXPECT_FALSE(file.startGroup(groupHeader()));
  EXPECT_TRUE(file.close());
}

TEST_F(VekFileTest, closingTheOriginalClosesItsCopies) {
  write();
  VekFile copy(file);
  VekFile copyOfCopy(copy);
  ASSERT_TRUE(copyOfCopy.writeChunk(tagDATA, "x"));
  EXPECT_TRUE(file.close());
  EXPECT_FALSE(copy.isOpen());
  EXPECT_FALSE(copyOfCopy.isOpen());
  EXPECT_FALSE(copyOfCopy.writeChunk(tagDATA, "x"));
  EXPECT_TRUE(copy.close());
  EXPECT_EQ(ByteImage().header("DATA", 2, 2).cstr("x").bytes(), readFile(path()));
}

TEST_F(VekFileTest, destroyingACopyClosesBoth) {
  const auto before = numOpenFiles();
  read(ByteImage().header("DATA", 3, 0));
  { const VekFile copy(file); }
  EXPECT_FALSE(file.isOpen());
  EXPECT_EQ(before, numOpenFiles());
}

TEST_F(VekFileTest, selfAssignmentKeepsTheFile) {
  read(ByteImage().header("GRUP", 1, 16).header("DATA", 3, 0));
  ASSERT_TRUE(file.readHeader(header));
  const VekFile& same = file;
  file = same;
  EXPECT_TRUE(file.isOpen());
  EXPECT_EQ(1U, file.getLevel());
  EXPECT_TRUE(file.readHeader(header));
}

TEST_F(VekFileTest, assignmentOverAnOpenFileLosesNothing) {
  const auto before = numOpenFiles();
  {
    VekFile first(path("first").c_str(), "w");
    VekFile second(path("second").c_str(), "w");
    ASSERT_TRUE(first.writeChunk(tagDATA, "one"));
    first = second;
    ASSERT_TRUE(first.writeChunk(tagDATA, "two"));
  }
  EXPECT_EQ(before, numOpenFiles());
  EXPECT_EQ(ByteImage().header("DATA", 2, 4).cstr("one").bytes(), readFile(path("first")));
  EXPECT_EQ(ByteImage().header("DATA", 2, 4).cstr("two").bytes(), readFile(path("second")));
}

TEST_F(VekFileTest, openingThroughACopyClosesTheOriginal) {
  read(ByteImage().header("DATA", 3, 0));
  VekFile copy(file);
  ASSERT_TRUE(copy.open(writeFile("other bytes", "other").c_str(), "r"));
  EXPECT_TRUE(copy.isOpen());
  EXPECT_FALSE(file.isOpen());
  EXPECT_TRUE(file.close());
  EXPECT_TRUE(copy.isOpen());
}

// ---- Whole files ----

TEST_F(VekFileTest, goldenFilesAreWalkedToTheirEnds) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VEK_GOLDEN_DIR)) {
    if (entry.path().extension() != ".vek") continue;
    ++count;
    EXPECT_TRUE(VekFile::isVekFile(entry.path().string().c_str())) << entry.path();
    ASSERT_TRUE(file.open(entry.path().string().c_str(), "r")) << entry.path();
    while (file.readHeader(header)) {
      if (header.type != 1) {
        ASSERT_TRUE(file.skipData(header)) << entry.path();
      }
    }
    EXPECT_EQ(0U, file.getLevel()) << entry.path();
    EXPECT_EQ(entry.file_size(), static_cast<std::uintmax_t>(file.tell())) << entry.path();
  }
  EXPECT_LT(0, count);
}

TEST_F(VekFileTest, everyTruncationGivesTheWholePayloadsBeforeIt) {
  const std::string whole = ByteImage()
                                .chunk("AAAA", 2, ByteImage().cstr("first"))
                                .chunk("BBBB", 2, ByteImage().raw("x"))
                                .header("CCCC", 2, 0)
                                .chunk("DDDD", 2, ByteImage().cstr("the last one"))
                                .bytes();
  const std::size_t ends[] = {22, 39, 55, 84};
  ASSERT_EQ(ends[3], whole.size());
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    ASSERT_TRUE(file.open(writeFile(whole.substr(0, size)).c_str(), "r"));
    std::string s;
    int count = 0;
    while (file.readHeader(header) && file.readData(header, s)) ++count;
    EXPECT_EQ(std::count_if(std::begin(ends), std::end(ends),
                            [&](std::size_t end) { return end <= size; }),
              count)
        << size;
  }
}

TEST_F(VekFileTest, aWalkOverAnyBytesEnds) {
  std::uint32_t state = 12345;
  const auto next = [&](std::uint32_t limit) {
    state = state * 1664525U + 1013904223U;
    return (state >> 8) % limit;
  };
  const std::int64_t lengths[] = {0, 1, 4, 8, 16, 20, 32, 48, 1000, -1, -16, largest, smallest};
  for (int round = 0; round < 500; ++round) {
    ByteImage image;
    while (image.size() < 400) {
      const auto type = static_cast<int>(next(9));
      image.header("DATA", type, lengths[next(13)]).zeros(next(3) * 8);
    }
    read(image);
    std::size_t headers = 0;
    bool ok = true;
    while (ok && file.readHeader(header)) {
      ++headers;
      ASSERT_GE(image.size() / 16, headers) << round;
      std::string s;
      std::vector<std::string> strings;
      std::vector<float> values;
      if (header.type == 1) continue;
      const std::uint32_t way = next(4);
      ok = way == 0   ? file.skipData(header)
           : way == 1 ? file.readData(header, s)
           : way == 2 ? file.readData(header, strings)
                      : file.appendData(header, values);
    }
  }
}

}  // namespace
