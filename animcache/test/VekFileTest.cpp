// SPDX-License-Identifier: Apache-2.0
//
// The chunk file: opening and positioning, tests by path, impossible arguments, copies that share a
// stream, and whole files.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include "ByteImage.h"
#include "ChunkFileTest.h"
#include "VekChunks.h"

namespace {

using Vek::VekFile;
using namespace VekTest;

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

#if !defined(_WIN32)
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
