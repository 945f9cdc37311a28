// SPDX-License-Identifier: Apache-2.0
//
// Reading a chunk file: headers and payloads, the groups that end with them, and what damaged files
// do.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "AddressSanitizer.h"
#include "ByteImage.h"
#include "ChunkFileTest.h"
#include "VekChunks.h"

namespace {

using Vek::VekFile;
using Vek::VekHeader;
using namespace VekTest;

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
  ASSERT_TRUE(readHeaders(2));
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
  ASSERT_TRUE(readHeaders(2));
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
  ASSERT_TRUE(readHeaders(2));
  EXPECT_EQ(0U, file.getLevel());
}

TEST_F(VekFileTest, aNonEmptyGroupHeaderClosesNothing) {
  read(ByteImage().header("GRUP", 1, 16).header("GRUP", 1, 16).header("DATA", 3, 0));
  ASSERT_TRUE(readHeaders(2));
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
    ASSERT_TRUE(readHeaders(4));
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
  ASSERT_TRUE(readHeaders(2));
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
  ASSERT_TRUE(readHeaders(3));
  ASSERT_TRUE(file.skipData(header));
  EXPECT_EQ(1U, file.getLevel());
}

TEST_F(VekFileTest, aGroupIsClosedOnlyAtItsExactEnd) {
  read(ByteImage().header("GRUP", 1, 20).header("DATA", 5, 8).int64(1).header("DATA", 3, 0));
  ASSERT_TRUE(readHeaders(2));
  ASSERT_TRUE(file.skipData(header));
  EXPECT_EQ(1U, file.getLevel());
  ASSERT_TRUE(file.readHeader(header));
  EXPECT_EQ(1U, file.getLevel());
}

TEST_F(VekFileTest, onlyTheTopOfTheStackIsCompared) {
  // The inner group runs past its parent's end.
  read(ByteImage().header("OUTR", 1, 20).header("INNR", 1, 24).header("DATA", 5, 8).int64(1));
  ASSERT_TRUE(readHeaders(3));
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
    ASSERT_TRUE(readHeaders(2));
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

void expectNothingAppended(VekFile& file, __int64 length) {
  expectNotAppended<char>(file, leafHeader(0, length), "char");
  expectNotAppended<int>(file, leafHeader(3, length), "int");
  expectNotAppended<__int64>(file, leafHeader(5, length), "int64");
  expectNotAppended<float>(file, leafHeader(4, length), "float");
  expectNotAppended<double>(file, leafHeader(6, length), "double");
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
    expectNothingAppended(file, length);
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
    expectNothingAppended(file, length);
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

#if !defined(_WIN32) && !defined(VEK_TEST_SANITIZED)
// The sanitizer needs more address space than is left then.
TEST_F(VekFileTest, aPayloadThatMemoryIsTooShortForFails) {
  const std::int64_t length = std::int64_t{1} << 36;
  writeFile(ByteImage().header("GRUP", 1, length + 16).header("DATA", 2, length));
  std::filesystem::resize_file(path(), static_cast<std::uintmax_t>(length) + 32);
  ASSERT_TRUE(file.open(path().c_str(), "r"));
  ASSERT_TRUE(readHeaders(2));
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

}  // namespace
