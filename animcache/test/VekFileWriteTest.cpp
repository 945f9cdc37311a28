// SPDX-License-Identifier: Apache-2.0
//
// Writing a chunk file: chunks at the position or at an offset, strings, numbers and groups.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ByteImage.h"
#include "ChunkFileTest.h"
#include "VekChunks.h"

namespace {

using Vek::VekHeader;
using namespace VekTest;

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

#if !defined(_WIN32)
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

// ---- Lengths that no file can have ----

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

}  // namespace
