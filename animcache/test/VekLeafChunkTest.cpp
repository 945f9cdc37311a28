// SPDX-License-Identifier: Apache-2.0
//
// Tests of the typed leaves: construction, lengths, byte images, print forms and damaged payloads.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "AddressSanitizer.h"
#include "ByteImage.h"
#include "VekChunks.h"

namespace {

using Vek::VekFile;
using Vek::VekHeader;
using Vek::VekLeafChunk;
using VekTest::ByteImage;
using VekTest::FileTest;

constexpr unsigned int abcd = Vek::makeTag('A', 'B', 'C', 'D');

/// A leaf whose header is open to the test.
template <typename T>
struct OpenLeaf : public VekLeafChunk<T> {
  using VekLeafChunk<T>::VekLeafChunk;
  using VekLeafChunk<T>::header;
};

template <typename T>
std::string printed(const VekLeafChunk<T>& leaf, int indent = 0) {
  std::ostringstream os;
  leaf.print(os, indent);
  return os.str();
}

class VekLeafChunkTest : public FileTest {
 protected:
  /// Reads the first chunk of an image into the leaf.
  template <typename T>
  bool readInto(VekLeafChunk<T>& leaf, const ByteImage& image) {
    const std::string file = writeFile(image, "in");
    VekFile f(file.c_str(), "r");
    VekHeader h;
    EXPECT_TRUE(f.readHeader(h));
    const bool ok = leaf.read(h, f);
    m_position = f.tell();
    return ok;
  }
  /// The bytes of a file that holds the chunk alone.
  std::string written(const Vek::VekChunk& c) {
    VekFile f(path("out").c_str(), "w");
    EXPECT_TRUE(c.write(f));
    EXPECT_TRUE(f.close());
    return readFile(path("out"));
  }
  /// Reads the values from the image and gets the same image when they are written.
  template <typename T>
  void expectImage(const ByteImage& image, const std::vector<T>& values) {
    VekLeafChunk<T> read(abcd);
    ASSERT_TRUE(readInto(read, image));
    EXPECT_EQ(read.data, values);
    EXPECT_EQ(m_position, static_cast<std::int64_t>(image.size()));
    EXPECT_EQ(read.getLength(), static_cast<std::int64_t>(image.size()) - 16);
    EXPECT_EQ(written(read), image.bytes());
    const VekLeafChunk<T> made(abcd, read.getCompound(), read.getDimension(), values);
    EXPECT_EQ(written(made), image.bytes());
  }
  /// The position of the file after the last readInto().
  std::int64_t m_position = -1;
};

/// The types of a leaf's elements.
template <typename T>
class VekLeafChunkTypesTest : public VekLeafChunkTest {};
using LeafTypes = ::testing::Types<char, int, __int64, float, double, std::string>;
TYPED_TEST_SUITE(VekLeafChunkTypesTest, LeafTypes);

template <typename T>
struct Expected;
template <>
struct Expected<char> {
  static constexpr int type = 0;
  static std::vector<char> values() { return {'x', 'y'}; }
  static constexpr int length = 2;
};
template <>
struct Expected<std::string> {
  static constexpr int type = 2;
  static std::vector<std::string> values() { return {"ab", ""}; }
  static constexpr int length = 4;
};
template <>
struct Expected<int> {
  static constexpr int type = 3;
  static std::vector<int> values() { return {7, -1}; }
  static constexpr int length = 8;
};
template <>
struct Expected<float> {
  static constexpr int type = 4;
  static std::vector<float> values() { return {0.5F, -1.0F}; }
  static constexpr int length = 8;
};
template <>
struct Expected<__int64> {
  static constexpr int type = 5;
  static std::vector<__int64> values() { return {7, -1}; }
  static constexpr int length = 16;
};
template <>
struct Expected<double> {
  static constexpr int type = 6;
  static std::vector<double> values() { return {0.5, -1.0}; }
  static constexpr int length = 16;
};

TYPED_TEST(VekLeafChunkTypesTest, aLeafMadeFromATagIsEmpty) {
  VekLeafChunk<TypeParam> leaf(abcd);
  EXPECT_EQ(leaf.getTag(), abcd);
  EXPECT_EQ(leaf.getType(), Expected<TypeParam>::type);
  EXPECT_EQ(leaf.getCompound(), 0);
  EXPECT_EQ(leaf.getDimension(), 0);
  EXPECT_EQ(leaf.getHeader().reserved, 0);
  EXPECT_EQ(leaf.getHeader().length, 0);
  EXPECT_EQ(leaf.getLength(), 0);
  EXPECT_TRUE(leaf.data.empty());
}

TYPED_TEST(VekLeafChunkTypesTest, aLeafMadeFromValuesCopiesThemAndSetsTheLength) {
  const std::vector<TypeParam> values = Expected<TypeParam>::values();
  VekLeafChunk<TypeParam> leaf(abcd, 5, 16, values);
  EXPECT_EQ(leaf.getTag(), abcd);
  EXPECT_EQ(leaf.getType(), Expected<TypeParam>::type);
  EXPECT_EQ(leaf.getCompound(), 5);
  EXPECT_EQ(leaf.getDimension(), 16);
  EXPECT_EQ(leaf.getHeader().length, Expected<TypeParam>::length);
  EXPECT_EQ(leaf.getLength(), Expected<TypeParam>::length);
  EXPECT_EQ(leaf.data, values);
}

TYPED_TEST(VekLeafChunkTypesTest, resetEmptiesTheDataAndKeepsTheHeader) {
  VekLeafChunk<TypeParam> leaf(abcd, 5, 16, Expected<TypeParam>::values());
  leaf.reset();
  EXPECT_TRUE(leaf.data.empty());
  EXPECT_EQ(leaf.getTag(), abcd);
  EXPECT_EQ(leaf.getType(), Expected<TypeParam>::type);
  EXPECT_EQ(leaf.getCompound(), 5);
  EXPECT_EQ(leaf.getDimension(), 16);
  EXPECT_EQ(leaf.getLength(), Expected<TypeParam>::length);
}

TYPED_TEST(VekLeafChunkTypesTest, lengthIsTheStoredOneNotTheDatas) {
  VekLeafChunk<TypeParam> leaf(abcd, 0, 0, Expected<TypeParam>::values());
  leaf.data.insert(leaf.data.end(), 5, TypeParam());
  EXPECT_EQ(leaf.getLength(), Expected<TypeParam>::length);
  leaf.data.clear();
  EXPECT_EQ(leaf.getLength(), Expected<TypeParam>::length);
}

TYPED_TEST(VekLeafChunkTypesTest, setDataKeepsTheLengthInStep) {
  VekLeafChunk<TypeParam> leaf(abcd);
  leaf.setData(Expected<TypeParam>::values());
  EXPECT_EQ(leaf.data, Expected<TypeParam>::values());
  EXPECT_EQ(leaf.getLength(), Expected<TypeParam>::length);
  leaf.setData({});
  EXPECT_EQ(leaf.getLength(), 0);
}

TYPED_TEST(VekLeafChunkTypesTest, updateLengthFollowsTheData) {
  VekLeafChunk<TypeParam> leaf(abcd);
  leaf.data = Expected<TypeParam>::values();
  leaf.updateLength();
  EXPECT_EQ(leaf.getLength(), Expected<TypeParam>::length);
}

TYPED_TEST(VekLeafChunkTypesTest, writeUsesTheTrueSizeNotTheStoredLength) {
  VekLeafChunk<TypeParam> leaf(abcd);
  leaf.data = Expected<TypeParam>::values();
  const VekLeafChunk<TypeParam> right(abcd, 0, 0, Expected<TypeParam>::values());
  const std::string bytes = this->written(leaf);
  EXPECT_EQ(
      bytes.substr(0, 16),
      ByteImage().header("ABCD", Expected<TypeParam>::type, Expected<TypeParam>::length).bytes());
  EXPECT_EQ(bytes.size(), 16U + Expected<TypeParam>::length);
  EXPECT_EQ(bytes, this->written(right));

  OpenLeaf<TypeParam> tooLong(abcd, 0, 0, Expected<TypeParam>::values());
  tooLong.header.length = 4096;
  EXPECT_EQ(this->written(tooLong), bytes);
}

TYPED_TEST(VekLeafChunkTypesTest, writeLeavesTheStoredLengthAsItWas) {
  OpenLeaf<TypeParam> leaf(abcd, 0, 0, Expected<TypeParam>::values());
  leaf.header.length = 4096;
  this->written(leaf);
  EXPECT_EQ(leaf.getLength(), 4096);
}

TYPED_TEST(VekLeafChunkTypesTest, anEmptyLeafIsAHeaderAlone) {
  const ByteImage image = ByteImage().header("ABCD", Expected<TypeParam>::type, 0, 2, 3);
  this->template expectImage<TypeParam>(image, {});
}

TYPED_TEST(VekLeafChunkTypesTest, anEmptyLeafInTheFileEmptiesTheData) {
  VekLeafChunk<TypeParam> leaf(abcd, 0, 0, Expected<TypeParam>::values());
  ASSERT_TRUE(this->readInto(leaf, ByteImage().header("ABCD", Expected<TypeParam>::type, 0)));
  EXPECT_TRUE(leaf.data.empty());
  EXPECT_EQ(leaf.getLength(), 0);
}

TYPED_TEST(VekLeafChunkTypesTest, aSecondReadReplacesTheValues) {
  const VekLeafChunk<TypeParam> source(abcd, 0, 0, Expected<TypeParam>::values());
  const std::string bytes = this->written(source);
  VekLeafChunk<TypeParam> leaf(abcd);
  leaf.data.resize(9);
  ASSERT_TRUE(this->readInto(leaf, ByteImage().raw(bytes)));
  EXPECT_EQ(leaf.data, Expected<TypeParam>::values());
}

TYPED_TEST(VekLeafChunkTypesTest, readTakesTheHeaderOver) {
  VekLeafChunk<TypeParam> leaf(abcd, 6, 9, {});
  const ByteImage image =
      ByteImage().header("ABCD", Expected<TypeParam>::type, 16, 1, 3, 200).zeros(16);
  ASSERT_TRUE(this->readInto(leaf, image));
  EXPECT_EQ(leaf.getType(), Expected<TypeParam>::type);
  EXPECT_EQ(leaf.getCompound(), 1);
  EXPECT_EQ(leaf.getDimension(), 3);
  EXPECT_EQ(leaf.getHeader().reserved, 200);
  EXPECT_EQ(leaf.getLength(), 16);
}

TYPED_TEST(VekLeafChunkTypesTest, writeSetsTheReservedByteToZero) {
  VekLeafChunk<TypeParam> leaf(abcd);
  const ByteImage image =
      ByteImage().header("ABCD", Expected<TypeParam>::type, 16, 1, 3, 200).zeros(16);
  ASSERT_TRUE(this->readInto(leaf, image));
  EXPECT_EQ(this->written(leaf),
            ByteImage().header("ABCD", Expected<TypeParam>::type, 16, 1, 3, 0).zeros(16).bytes());
}

TYPED_TEST(VekLeafChunkTypesTest, readOfAnotherTagFailsAndChangesNothing) {
  VekLeafChunk<TypeParam> leaf(abcd, 5, 16, Expected<TypeParam>::values());
  const ByteImage image = ByteImage().header("ABCE", Expected<TypeParam>::type, 32, 1, 3).zeros(32);
  EXPECT_FALSE(this->readInto(leaf, image));
  EXPECT_EQ(this->m_position, 16);
  EXPECT_EQ(leaf.data, Expected<TypeParam>::values());
  EXPECT_EQ(leaf.getCompound(), 5);
  EXPECT_EQ(leaf.getDimension(), 16);
  EXPECT_EQ(leaf.getLength(), Expected<TypeParam>::length);
}

TYPED_TEST(VekLeafChunkTypesTest, readOfAnotherTypeFailsAndChangesNothing) {
  for (const int type : {0, 2, 3, 4, 5, 6, 9}) {
    if (type == Expected<TypeParam>::type) continue;
    VekLeafChunk<TypeParam> leaf(abcd, 5, 16, Expected<TypeParam>::values());
    EXPECT_FALSE(this->readInto(leaf, ByteImage().header("ABCD", type, 32).zeros(32))) << type;
    EXPECT_EQ(this->m_position, 16) << type;
    EXPECT_EQ(leaf.getType(), Expected<TypeParam>::type) << type;
    EXPECT_EQ(leaf.data, Expected<TypeParam>::values()) << type;
  }
}

TYPED_TEST(VekLeafChunkTypesTest, readFromAClosedFileFails) {
  VekFile f;
  VekLeafChunk<TypeParam> leaf(abcd);
  EXPECT_FALSE(leaf.read(VekHeader(abcd, Expected<TypeParam>::type, 16, 0, 0), f));
}

TYPED_TEST(VekLeafChunkTypesTest, writeToAClosedFileFails) {
  VekFile f;
  const VekLeafChunk<TypeParam> leaf(abcd, 0, 0, Expected<TypeParam>::values());
  EXPECT_FALSE(leaf.write(f));
}

TYPED_TEST(VekLeafChunkTypesTest, writeToAFileOpenForReadingFails) {
  const std::string file = this->writeFile(ByteImage().zeros(64));
  VekFile f(file.c_str(), "r");
  const VekLeafChunk<TypeParam> leaf(abcd, 0, 0, Expected<TypeParam>::values());
  EXPECT_FALSE(leaf.write(f));
}

TYPED_TEST(VekLeafChunkTypesTest, aNegativeLengthFails) {
  for (const std::int64_t length : {std::int64_t{-1}, std::int64_t{-8}, std::int64_t{-16},
                                    std::numeric_limits<std::int64_t>::min()}) {
    VekLeafChunk<TypeParam> leaf(abcd);
    const ByteImage image = ByteImage().header("ABCD", Expected<TypeParam>::type, length).zeros(64);
    EXPECT_FALSE(this->readInto(leaf, image)) << length;
    EXPECT_GE(this->m_position, 16) << length;
  }
}

TYPED_TEST(VekLeafChunkTypesTest, aLengthPastTheEndFails) {
  const std::int64_t most = std::numeric_limits<std::int64_t>::max();
  for (const std::int64_t length : {std::int64_t{72}, std::int64_t{1} << 32, std::int64_t{1} << 44,
                                    std::int64_t{1} << 62, most - 7, most - 15, most}) {
    VekLeafChunk<TypeParam> leaf(abcd);
    const ByteImage image = ByteImage().header("ABCD", Expected<TypeParam>::type, length).zeros(64);
    EXPECT_FALSE(this->readInto(leaf, image)) << length;
  }
}

TYPED_TEST(VekLeafChunkTypesTest, printReturnsItsStream) {
  std::ostringstream os;
  const VekLeafChunk<TypeParam> leaf(abcd, 0, 0, Expected<TypeParam>::values());
  EXPECT_EQ(&leaf.print(os, 2), &os);
}

// Byte images.

TEST_F(VekLeafChunkTest, rawImage) {
  expectImage<char>(
      ByteImage().header("ABCD", 0, 4, 6, 2).raw(std::string("\x00\xff", 2)).raw("xy"),
      {'\0', '\xff', 'x', 'y'});
}

TEST_F(VekLeafChunkTest, stringImage) {
  expectImage<std::string>(ByteImage().header("ABCD", 2, 9).raw(std::string("one\0\0two\0", 9)),
                           {"one", "", "two"});
}

TEST_F(VekLeafChunkTest, stringImageWithCompoundAndDimension) {
  expectImage<std::string>(ByteImage().header("ABCD", 2, 2, 6, 1).raw(std::string("q\0", 2)),
                           {"q"});
}

TEST_F(VekLeafChunkTest, int32Image) {
  expectImage<int>(ByteImage()
                       .header("ABCD", 3, 12, 0, 1)
                       .raw(std::string("\x01\x00\x00\x00", 4))
                       .raw(std::string("\xfe\xff\xff\xff", 4))
                       .raw(std::string("\x00\x00\x00\x80", 4)),
                   {1, -2, std::numeric_limits<int>::min()});
}

TEST_F(VekLeafChunkTest, floatImage) {
  expectImage<float>(ByteImage()
                         .header("ABCD", 4, 12, 1, 3)
                         .raw(std::string("\x00\x00\x80\x3f", 4))
                         .raw(std::string("\x00\x00\x20\xc0", 4))
                         .raw(std::string("\x00\x00\x80\x7f", 4)),
                     {1.0F, -2.5F, std::numeric_limits<float>::infinity()});
}

TEST_F(VekLeafChunkTest, int64Image) {
  expectImage<__int64>(ByteImage()
                           .header("ABCD", 5, 16, 0, 2)
                           .raw(std::string("\x00\x00\x00\x00\x00\x01\x00\x00", 8))
                           .raw(std::string("\xff\xff\xff\xff\xff\xff\xff\xff", 8)),
                       {std::int64_t{1} << 40, -1});
}

TEST_F(VekLeafChunkTest, doubleImage) {
  expectImage<double>(ByteImage()
                          .header("ABCD", 6, 16, 4, 16)
                          .raw(std::string("\x00\x00\x00\x00\x00\x00\xe0\x3f", 8))
                          .raw(std::string("\x00\x00\x00\x00\x00\x00\x00\xc0", 8)),
                      {0.5, -2.0});
}

TEST_F(VekLeafChunkTest, theStringFormWithoutCompoundAndDimensionHasZeroThere) {
  VekLeafChunk<std::string> leaf(abcd, std::vector<std::string>{"ab", "c"});
  EXPECT_EQ(leaf.getType(), 2);
  EXPECT_EQ(leaf.getCompound(), 0);
  EXPECT_EQ(leaf.getDimension(), 0);
  EXPECT_EQ(leaf.getLength(), 5);
  EXPECT_EQ(leaf.data, (std::vector<std::string>{"ab", "c"}));
}

TEST_F(VekLeafChunkTest, bitsOfNaNSurviveARoundTrip) {
  const ByteImage image = ByteImage()
                              .header("ABCD", 4, 8)
                              .raw(std::string("\x01\x00\xc0\x7f", 4))
                              .raw(std::string("\x34\x12\xc0\xff", 4));
  VekLeafChunk<float> leaf(abcd);
  ASSERT_TRUE(readInto(leaf, image));
  EXPECT_TRUE(std::isnan(leaf.data[0]));
  EXPECT_EQ(written(leaf), image.bytes());
}

TEST_F(VekLeafChunkTest, aStringWithoutItsNulIsTakenAndGetsOneWhenWritten) {
  VekLeafChunk<std::string> leaf(abcd);
  ASSERT_TRUE(readInto(leaf, ByteImage().header("ABCD", 2, 5).raw(std::string("a\0bcd", 5))));
  EXPECT_EQ(leaf.data, (std::vector<std::string>{"a", "bcd"}));
  EXPECT_EQ(leaf.getLength(), 5);
  EXPECT_EQ(written(leaf),
            ByteImage().header("ABCD", 2, 6).raw(std::string("a\0bcd\0", 6)).bytes());
}

TEST_F(VekLeafChunkTest, writeGoesToThePositionAndEndsAfterThePayload) {
  VekFile f(path().c_str(), "w");
  ASSERT_TRUE(VekLeafChunk<int>(abcd, 0, 0, {1}).write(f));
  EXPECT_EQ(f.tell(), 20);
  ASSERT_TRUE(VekLeafChunk<std::string>(Vek::Tag::NAME, 0, 0, {"n"}).write(f));
  EXPECT_EQ(f.tell(), 38);
  ASSERT_TRUE(f.close());
  EXPECT_EQ(readFile(path()),
            ByteImage().header("ABCD", 3, 4).int32(1).header("NAME", 2, 2).cstr("n").bytes());
}

// A raw leaf writes type 0 whatever its stored type.
TEST_F(VekLeafChunkTest, aRawLeafWritesType0WhateverItsStoredType) {
  OpenLeaf<char> leaf(abcd, 1, 3, std::vector<char>{'x'});
  leaf.header.type = 9;
  EXPECT_EQ(written(leaf), ByteImage().header("ABCD", 0, 1, 1, 3).raw("x").bytes());
}

TEST_F(VekLeafChunkTest, readComparesWithTheStoredType) {
  OpenLeaf<char> leaf(abcd);
  leaf.header.type = 9;
  ASSERT_TRUE(readInto(leaf, ByteImage().header("ABCD", 9, 2).raw("xy")));
  EXPECT_EQ(leaf.data, (std::vector<char>{'x', 'y'}));
  EXPECT_EQ(leaf.getType(), 9);
  EXPECT_FALSE(readInto(leaf, ByteImage().header("ABCD", 0, 2).raw("xy")));
}

// Lengths that are no multiple of the element size.

template <typename T>
class VekLeafChunkMultipleTest : public VekLeafChunkTest {};
using NumericTypes = ::testing::Types<int, __int64, float, double>;
TYPED_TEST_SUITE(VekLeafChunkMultipleTest, NumericTypes);

TYPED_TEST(VekLeafChunkMultipleTest, anOddLengthFailsWithoutReading) {
  for (const int extra : {1, 2, 3, 5, 7, 9, 10, 11, 13, 15}) {
    VekLeafChunk<TypeParam> leaf(abcd);
    const ByteImage image = ByteImage().header("ABCD", Expected<TypeParam>::type, extra).zeros(64);
    EXPECT_FALSE(this->readInto(leaf, image)) << extra;
    EXPECT_EQ(this->m_position, 16) << extra;
  }
}

// The header is taken over before the length is judged.
TYPED_TEST(VekLeafChunkMultipleTest, anOddLengthIsTakenOverAllTheSame) {
  VekLeafChunk<TypeParam> leaf(abcd);
  const ByteImage image = ByteImage().header("ABCD", Expected<TypeParam>::type, 10, 1, 3).zeros(64);
  ASSERT_FALSE(this->readInto(leaf, image));
  EXPECT_EQ(leaf.getLength(), 10);
  EXPECT_EQ(leaf.getCompound(), 1);
  EXPECT_EQ(leaf.getDimension(), 3);
}

TEST_F(VekLeafChunkTest, aFloatLeafOfLength10FailsAndTheStreamHasNotMoved) {
  VekLeafChunk<float> leaf(abcd);
  EXPECT_FALSE(readInto(leaf, ByteImage().header("ABCD", 4, 10).zeros(10)));
  EXPECT_EQ(m_position, 16);
}

TEST_F(VekLeafChunkTest, fourBytesDoNotFillAnEightByteElement) {
  VekLeafChunk<__int64> whole(abcd);
  EXPECT_FALSE(readInto(whole, ByteImage().header("ABCD", 5, 12).zeros(12)));
  EXPECT_EQ(m_position, 16);
  VekLeafChunk<double> real(abcd);
  EXPECT_FALSE(readInto(real, ByteImage().header("ABCD", 6, 4).zeros(4)));
  EXPECT_EQ(m_position, 16);
}

TEST_F(VekLeafChunkTest, rawBytesAndStringsTakeAnyLength) {
  VekLeafChunk<char> raw(abcd);
  EXPECT_TRUE(readInto(raw, ByteImage().header("ABCD", 0, 7).zeros(7)));
  EXPECT_EQ(raw.data.size(), 7U);
  VekLeafChunk<std::string> text(abcd);
  EXPECT_TRUE(readInto(text, ByteImage().header("ABCD", 2, 7).zeros(7)));
  EXPECT_EQ(text.data.size(), 7U);
}

// Print forms.

TEST_F(VekLeafChunkTest, printOfRawBytesShowsCharacters) {
  EXPECT_EQ(printed(VekLeafChunk<char>(abcd, 0, 0, {'h', 'i', '!'})), "ABCD undef (3) : h i ! ");
}

TEST_F(VekLeafChunkTest, printOfStringsShowsThemAsTheyAre) {
  EXPECT_EQ(printed(VekLeafChunk<std::string>(abcd, 0, 0, {"two words", "", "x"})),
            "ABCD cstr (13) : two words  x ");
}

TEST_F(VekLeafChunkTest, printOfIntegersShowsDecimals) {
  EXPECT_EQ(printed(VekLeafChunk<int>(abcd, 0, 1, {1, -2})), "ABCD int32 (8) scalar : 1 -2 ");
  EXPECT_EQ(printed(VekLeafChunk<__int64>(abcd, 0, 0, {std::int64_t{1} << 40})),
            "ABCD int64 (8) : 1099511627776 ");
}

TEST_F(VekLeafChunkTest, printOfFloatsHasEightDigits) {
  EXPECT_EQ(printed(VekLeafChunk<float>(abcd, 1, 3, {1.0F, 0.1F, 1.0F / 3.0F})),
            "ABCD float (12) point 3d : 1 0.1 0.33333334 ");
}

TEST_F(VekLeafChunkTest, printOfDoublesHasSixteenDigits) {
  EXPECT_EQ(printed(VekLeafChunk<double>(abcd, 0, 0, {0.5, 1.0 / 3.0})),
            "ABCD double (16) : 0.5 0.3333333333333333 ");
}

TEST_F(VekLeafChunkTest, printIndents) {
  EXPECT_EQ(printed(VekLeafChunk<int>(abcd, 0, 0, {5}), 2), ". . ABCD int32 (4) : 5 ");
}

TEST_F(VekLeafChunkTest, printOfAnEmptyLeafEndsAfterTheColon) {
  EXPECT_EQ(printed(VekLeafChunk<int>(abcd)), "ABCD int32 (0) : ");
}

TEST_F(VekLeafChunkTest, printShowsTheStoredLength) {
  VekLeafChunk<int> leaf(abcd);
  leaf.data = {1, 2};
  EXPECT_EQ(printed(leaf), "ABCD int32 (0) : 1 2 ");
}

TEST_F(VekLeafChunkTest, printOfAFloatLeafLeavesThePrecisionAtEight) {
  std::ostringstream os;
  os.precision(3);
  VekLeafChunk<float>(abcd, 0, 0, {1.0F}).print(os, 0);
  EXPECT_EQ(os.precision(), 8);
}

TEST_F(VekLeafChunkTest, printOfADoubleLeafLeavesThePrecisionAtSixteen) {
  std::ostringstream os;
  os.precision(3);
  VekLeafChunk<double>(abcd, 0, 0, {1.0}).print(os, 0);
  EXPECT_EQ(os.precision(), 16);
}

TEST_F(VekLeafChunkTest, printOfAnEmptyLeafSetsThePrecisionToo) {
  std::ostringstream os;
  VekLeafChunk<double>(abcd).print(os, 0);
  EXPECT_EQ(os.precision(), 16);
  VekLeafChunk<float>(abcd).print(os, 0);
  EXPECT_EQ(os.precision(), 8);
}

TEST_F(VekLeafChunkTest, printOfOtherLeavesKeepsThePrecision) {
  std::ostringstream os;
  os.precision(3);
  VekLeafChunk<char>(abcd, 0, 0, {'c'}).print(os, 0);
  VekLeafChunk<std::string>(abcd, 0, 0, {"s"}).print(os, 0);
  VekLeafChunk<int>(abcd, 0, 0, {1}).print(os, 0);
  VekLeafChunk<__int64>(abcd, 0, 0, {1}).print(os, 0);
  EXPECT_EQ(os.precision(), 3);
}

// The type byte decides, not the type of the elements.
TEST_F(VekLeafChunkTest, printTakesThePrecisionFromTheTypeByte) {
  std::ostringstream os;
  os.precision(3);
  OpenLeaf<double> leaf(abcd, 0, 0, std::vector<double>{1.0 / 3.0});
  leaf.header.type = 4;
  leaf.print(os, 0);
  EXPECT_EQ(os.str(), "ABCD float (8) : 0.33333333 ");
  EXPECT_EQ(os.precision(), 8);
  leaf.header.type = 9;
  os.precision(3);
  os.str("");
  leaf.print(os, 0);
  EXPECT_EQ(os.str(), "ABCD  (8) : 0.333 ");
  EXPECT_EQ(os.precision(), 3);
}

TEST_F(VekLeafChunkTest, printUsesTheStreamsFormatting) {
  std::ostringstream os;
  os << std::hex;
  VekLeafChunk<int>(abcd, 0, 0, {255}).print(os, 0);
  EXPECT_NE(os.str().find(" : ff "), std::string::npos) << os.str();
}

TEST_F(VekLeafChunkTest, printOfInfinityAndNaN) {
  EXPECT_EQ(printed(VekLeafChunk<float>(abcd, 0, 0, {std::numeric_limits<float>::infinity()})),
            "ABCD float (4) : inf ");
  EXPECT_EQ(printed(VekLeafChunk<double>(abcd, 0, 0, {std::numeric_limits<double>::quiet_NaN()})),
            "ABCD double (8) : nan ");
}

// A copy by construction.

TEST_F(VekLeafChunkTest, copyConstructionCopiesHeaderAndValues) {
  VekLeafChunk<float> leaf(abcd, 1, 3, {1.0F, 2.0F, 3.0F});
  VekLeafChunk<float> other(leaf);
  leaf.data.clear();
  EXPECT_EQ(other.data, (std::vector<float>{1.0F, 2.0F, 3.0F}));
  EXPECT_EQ(other.getCompound(), 1);
  EXPECT_EQ(other.getLength(), 12);
}

TEST_F(VekLeafChunkTest, asLeafGivesTheLeafOfThatTypeOnly) {
  VekLeafChunk<float> leaf(abcd);
  Vek::VekChunk* c = &leaf;
  EXPECT_EQ(Vek::asLeaf<float>(c), &leaf);
  EXPECT_EQ(Vek::asLeaf<double>(c), nullptr);
  EXPECT_EQ(Vek::asLeaf<float>(static_cast<Vek::VekChunk*>(nullptr)), nullptr);
}

// Short memory.

#if !defined(_WIN32) && !defined(VEK_TEST_SANITIZED)
/// Runs a call in a child process of little memory: its result, or -1 when it threw or died.
template <typename Call>
int inLittleMemory(rlim_t bytes, Call call) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    const rlimit limit{bytes, bytes};
    if (::setrlimit(RLIMIT_AS, &limit) != 0) ::_exit(3);
    int result = 2;
    try {
      result = call() ? 1 : 0;
    } catch (...) {
    }
    ::_exit(result);
  }
  int status = 0;
  if (pid < 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  const int result = WEXITSTATUS(status);
  return result > 1 ? -1 : result;
}

constexpr rlim_t littleMemory = rlim_t{256} << 20;

TYPED_TEST(VekLeafChunkTypesTest, aPayloadThatDoesNotFitInMemoryFails) {
  constexpr std::int64_t length = std::int64_t{1} << 30;
  const std::string file =
      this->writeFile(ByteImage().header("ABCD", Expected<TypeParam>::type, length));
  std::filesystem::resize_file(file, 16 + static_cast<std::uintmax_t>(length));
  EXPECT_EQ(inLittleMemory(littleMemory,
                           [&] {
                             VekFile f(file.c_str(), "r");
                             VekHeader h;
                             VekLeafChunk<TypeParam> leaf(abcd);
                             return f.readHeader(h) && leaf.read(h, f);
                           }),
            0);
}

// One byte of the file becomes a whole string object.
TEST_F(VekLeafChunkTest, stringsThatDoNotFitInMemoryFail) {
  constexpr std::int64_t length = std::int64_t{32} << 20;
  const std::string file = writeFile(ByteImage().header("ABCD", 2, length));
  std::filesystem::resize_file(file, 16 + static_cast<std::uintmax_t>(length));
  EXPECT_EQ(inLittleMemory(littleMemory,
                           [&] {
                             VekFile f(file.c_str(), "r");
                             VekHeader h;
                             VekLeafChunk<std::string> leaf(abcd);
                             return f.readHeader(h) && leaf.read(h, f);
                           }),
            0);
}
#endif

}  // namespace
