// SPDX-License-Identifier: Apache-2.0
//
// The chunk header: its bytes, its construction, its text forms, the name tables and the tags.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <limits>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "ByteImage.h"
#include "VekChunks.h"

namespace {

using Vek::VekHeader;
using VekTest::ByteImage;
using VekTest::FileTest;

std::string bytesOf(const VekHeader& h) {
  std::string bytes(sizeof h, '\0');
  std::memcpy(bytes.data(), &h, sizeof h);
  return bytes;
}

std::string printed(const VekHeader& h) {
  std::ostringstream os;
  h.print(os);
  return os.str();
}

const unsigned int tagABCD = 0x44434241U;

// ---- The 64-bit integer's name ----

TEST(Int64NameTest, namesTheTypeStdInt64) {
  static_assert(std::is_same_v<__int64, std::int64_t>, "the signed form");
  const __int64 smallest = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(std::int64_t{-9223372036854775807} - 1, smallest);
}

TEST(Int64NameTest, worksUnsigned) {
  static_assert(std::is_same_v<unsigned __int64, std::uint64_t>, "the unsigned form");
  const unsigned __int64 largest = ~static_cast<unsigned __int64>(0);
  EXPECT_EQ(18446744073709551615ULL, largest);
}

TEST(Int64NameTest, worksAsATemplateArgument) {
  const std::vector<__int64> values{1, 2};
  const std::vector<std::int64_t>& same = values;
  EXPECT_EQ(2U, same.size());
}

// ---- The record and its image ----

TEST(VekHeaderTest, hasSixteenBytes) {
  EXPECT_EQ(16U, sizeof(VekHeader));
}

TEST(VekHeaderTest, isOnePlainBlock) {
  EXPECT_TRUE(std::is_trivially_copyable_v<VekHeader>);
  EXPECT_TRUE(std::is_standard_layout_v<VekHeader>);
}

TEST(VekHeaderTest, fieldsHaveTheirWidths) {
  static_assert(std::is_same_v<decltype(VekHeader::tag), unsigned int>);
  static_assert(std::is_same_v<decltype(VekHeader::type), unsigned char>);
  static_assert(std::is_same_v<decltype(VekHeader::compound), unsigned char>);
  static_assert(std::is_same_v<decltype(VekHeader::dimension), unsigned char>);
  static_assert(std::is_same_v<decltype(VekHeader::reserved), unsigned char>);
  static_assert(std::is_same_v<decltype(VekHeader::length), __int64>);
  EXPECT_EQ(4U, sizeof(VekHeader::tag));
  EXPECT_EQ(8U, sizeof(VekHeader::length));
}

TEST(VekHeaderTest, fieldsStandAtTheirOffsets) {
  EXPECT_EQ(0U, offsetof(VekHeader, tag));
  EXPECT_EQ(4U, offsetof(VekHeader, type));
  EXPECT_EQ(5U, offsetof(VekHeader, compound));
  EXPECT_EQ(6U, offsetof(VekHeader, dimension));
  EXPECT_EQ(7U, offsetof(VekHeader, reserved));
  EXPECT_EQ(8U, offsetof(VekHeader, length));
}

TEST(VekHeaderTest, imageIsLittleEndianInFieldOrder) {
  VekHeader h(tagABCD, 4, 0x0102030405060708, 1, 3);
  h.reserved = 9;
  const char expected[16] = {'A', 'B', 'C', 'D', 4, 1, 3, 9, 8, 7, 6, 5, 4, 3, 2, 1};
  EXPECT_EQ(std::string(expected, 16), bytesOf(h));
}

TEST(VekHeaderTest, imageOfANegativeLengthIsTwosComplement) {
  const VekHeader h(tagABCD, 0, -2);
  EXPECT_EQ(std::string("ABCD\0\0\0\0\xfe\xff\xff\xff\xff\xff\xff\xff", 16), bytesOf(h));
}

TEST(VekHeaderTest, fileHeaderChunkReadsLeftToRightInTheFile) {
  const VekHeader h(Vek::Tag::DVEK, 5, 8);
  EXPECT_EQ(std::string("DVEK\5\0\0\0\10\0\0\0\0\0\0\0", 16), bytesOf(h));
}

// ---- Construction ----

TEST(VekHeaderTest, defaultIsAFreeChunkOfNoLength) {
  const VekHeader h;
  EXPECT_EQ(0x45455246U, h.tag);
  EXPECT_EQ(0, h.type);
  EXPECT_EQ(0, h.compound);
  EXPECT_EQ(0, h.dimension);
  EXPECT_EQ(0, h.reserved);
  EXPECT_EQ(0, h.length);
  EXPECT_EQ(ByteImage().header("FREE", 0, 0).bytes(), bytesOf(h));
}

TEST(VekHeaderTest, constructorTakesTheLengthBeforeCompoundAndDimension) {
  const VekHeader h(tagABCD, 6, 7, 5, 16);
  EXPECT_EQ(tagABCD, h.tag);
  EXPECT_EQ(6, h.type);
  EXPECT_EQ(7, h.length);
  EXPECT_EQ(5, h.compound);
  EXPECT_EQ(16, h.dimension);
}

TEST(VekHeaderTest, constructorClearsTheReservedByte) {
  EXPECT_EQ(0, VekHeader(tagABCD, 6, 7, 5, 16).reserved);
}

TEST(VekHeaderTest, constructorDefaultsCompoundAndDimensionToNone) {
  const VekHeader h(tagABCD, 3, 4);
  EXPECT_EQ(0, h.compound);
  EXPECT_EQ(0, h.dimension);
}

TEST(VekHeaderTest, setTakesTheLengthBeforeCompoundAndDimension) {
  VekHeader h;
  h.set(tagABCD, 6, 7, 5, 16);
  EXPECT_EQ(ByteImage().header("ABCD", 6, 7, 5, 16).bytes(), bytesOf(h));
}

TEST(VekHeaderTest, setLeavesTheReservedByte) {
  VekHeader h;
  h.reserved = 200;
  h.set(tagABCD, 6, 7, 5, 16);
  EXPECT_EQ(200, h.reserved);
}

TEST(VekHeaderTest, setDefaultsCompoundAndDimensionToNone) {
  VekHeader h(tagABCD, 6, 7, 5, 16);
  h.set(tagABCD, 3, 4);
  EXPECT_EQ(0, h.compound);
  EXPECT_EQ(0, h.dimension);
}

TEST(VekHeaderTest, copyTakesAllSixteenBytes) {
  VekHeader h(tagABCD, 6, -7, 5, 16);
  h.reserved = 201;
  const VekHeader copy(h);
  EXPECT_EQ(bytesOf(h), bytesOf(copy));
  EXPECT_EQ(201, copy.reserved);
}

TEST(VekHeaderTest, assignmentTakesAllSixteenBytes) {
  VekHeader h(tagABCD, 6, -7, 5, 16);
  h.reserved = 201;
  VekHeader assigned;
  assigned = h;
  EXPECT_EQ(bytesOf(h), bytesOf(assigned));
  EXPECT_EQ(201, assigned.reserved);
}

// ---- Name tables ----

TEST(VekNameTablesTest, typeNames) {
  const char* const expected[] = {"undef", "group", "cstr", "int32", "float", "int64", "double"};
  static_assert(std::extent_v<decltype(Vek::vekTypeNames)> == 7);
  for (std::size_t i = 0; i < 7; ++i) EXPECT_STREQ(expected[i], Vek::vekTypeNames[i]) << i;
}

TEST(VekNameTablesTest, compoundNames) {
  const char* const expected[] = {"undef",     "point", "vector",  "normal",
                                  "transform", "color", "compound"};
  static_assert(std::extent_v<decltype(Vek::vekCompoundNames)> == 7);
  for (std::size_t i = 0; i < 7; ++i) EXPECT_STREQ(expected[i], Vek::vekCompoundNames[i]) << i;
}

TEST(VekNameTablesTest, dimensionNamesAreIndexedByTheNumberOfComponents) {
  const char* const expected[] = {"undef", "scalar", "2d", "3d", "4d", "", "", "",   "",
                                  "3x3",   "",       "",   "",   "",   "", "", "4x4"};
  static_assert(std::extent_v<decltype(Vek::vekDimensionNames)> == 17);
  for (std::size_t i = 0; i < 17; ++i) EXPECT_STREQ(expected[i], Vek::vekDimensionNames[i]) << i;
}

TEST(VekNameTablesTest, typeConstantsAreTheTableIndices) {
  EXPECT_EQ(0, Vek::ValueType::Undef);
  EXPECT_EQ(1, Vek::ValueType::Group);
  EXPECT_EQ(2, Vek::ValueType::String);
  EXPECT_EQ(3, Vek::ValueType::Int32);
  EXPECT_EQ(4, Vek::ValueType::Float);
  EXPECT_EQ(5, Vek::ValueType::Int64);
  EXPECT_EQ(6, Vek::ValueType::Double);
}

TEST(VekNameTablesTest, compoundConstantsAreTheTableIndices) {
  EXPECT_EQ(0, Vek::Compound::Undef);
  EXPECT_EQ(1, Vek::Compound::Point);
  EXPECT_EQ(2, Vek::Compound::Vector);
  EXPECT_EQ(3, Vek::Compound::Normal);
  EXPECT_EQ(4, Vek::Compound::Transform);
  EXPECT_EQ(5, Vek::Compound::Color);
  EXPECT_EQ(6, Vek::Compound::Compound);
}

// ---- Tags ----

TEST(VekTagTest, makeTagPutsTheFirstCharacterLowest) {
  static_assert(Vek::makeTag('A', 'B', 'C', 'D') == 0x44434241U, "a constant expression");
  EXPECT_EQ(0x4B455644U, Vek::makeTag('D', 'V', 'E', 'K'));
}

TEST(VekTagTest, makeTagKeepsHighBytesApart) {
  EXPECT_EQ(0x80FF0100U, Vek::makeTag('\0', '\1', '\xff', '\x80'));
}

TEST(VekTagTest, vocabulary) {
  struct Entry {
    unsigned int tag;
    const char* text;
  };
  const Entry entries[] = {
      {Vek::Tag::DVEK, "DVEK"}, {Vek::Tag::META, "META"}, {Vek::Tag::WAPP, "WAPP"},
      {Vek::Tag::SFIL, "SFIL"}, {Vek::Tag::DATE, "DATE"}, {Vek::Tag::NSAM, "NSAM"},
      {Vek::Tag::FTIM, "FTIM"}, {Vek::Tag::LTIM, "LTIM"}, {Vek::Tag::RATE, "RATE"},
      {Vek::Tag::SPAC, "SPAC"}, {Vek::Tag::NOBJ, "NOBJ"}, {Vek::Tag::DOBJ, "DOBJ"},
      {Vek::Tag::NAME, "NAME"}, {Vek::Tag::TYPE, "TYPE"}, {Vek::Tag::DATR, "DATR"},
      {Vek::Tag::SATR, "SATR"}, {Vek::Tag::ATRS, "ATRS"}, {Vek::Tag::AATR, "AATR"},
      {Vek::Tag::ATTR, "ATTR"}, {Vek::Tag::SAMS, "SAMS"}, {Vek::Tag::TIMS, "TIMS"},
      {Vek::Tag::JSAM, "JSAM"}, {Vek::Tag::SAMP, "SAMP"}, {Vek::Tag::JOBJ, "JOBJ"},
      {Vek::Tag::SOBJ, "SOBJ"}, {Vek::Tag::FREE, "FREE"}, {Vek::Tag::POSI, "POSI"},
      {Vek::Tag::VELO, "VELO"}, {Vek::Tag::BBOX, "BBOX"}, {Vek::Tag::XFRM, "XFRM"},
      {Vek::Tag::MESH, "MESH"}, {Vek::Tag::ELOC, "ELOC"}, {Vek::Tag::LXCS, "LXCS"},
      {Vek::Tag::NRBS, "NRBS"}, {Vek::Tag::NRBC, "NRBC"}, {Vek::Tag::MTRX, "MTRX"},
      {Vek::Tag::MTRO, "MTRO"}, {Vek::Tag::INHT, "INHT"}, {Vek::Tag::DEGR, "DEGR"},
      {Vek::Tag::FORM, "FORM"}, {Vek::Tag::KNTU, "KNTU"}, {Vek::Tag::KNTV, "KNTV"},
      {Vek::Tag::PCNT, "PCNT"}, {Vek::Tag::PIDS, "PIDS"}, {Vek::Tag::NCNT, "NCNT"},
      {Vek::Tag::NIDS, "NIDS"}, {Vek::Tag::PONO, "PONO"}, {Vek::Tag::VPNO, "VPNO"},
      {Vek::Tag::MSPT, "MSPT"}};
  for (const Entry& entry : entries) {
    char bytes[5] = {};
    std::memcpy(bytes, &entry.tag, 4);
    EXPECT_STREQ(entry.text, bytes);
  }
}

// ---- Names of the fields ----

TEST(VekHeaderTest, tagStrGivesTheFourCharacters) {
  EXPECT_EQ("ABCD", VekHeader(tagABCD, 0, 0).tagStr());
}

TEST(VekHeaderTest, tagStrIsCutAtTheFirstZeroByte) {
  EXPECT_EQ("AB", VekHeader(Vek::makeTag('A', 'B', '\0', '\0'), 0, 0).tagStr());
  EXPECT_EQ("A", VekHeader(Vek::makeTag('A', '\0', 'C', 'D'), 0, 0).tagStr());
  EXPECT_EQ("ABC", VekHeader(Vek::makeTag('A', 'B', 'C', '\0'), 0, 0).tagStr());
}

TEST(VekHeaderTest, tagStrOfALeadingZeroByteIsEmpty) {
  EXPECT_EQ("", VekHeader(0, 0, 0).tagStr());
  EXPECT_EQ("", VekHeader(Vek::makeTag('\0', 'B', 'C', 'D'), 0, 0).tagStr());
}

TEST(VekHeaderTest, tagStrKeepsBytesOutsideAscii) {
  EXPECT_EQ("\xff\x80\x01\x7f",
            VekHeader(Vek::makeTag('\xff', '\x80', '\x01', '\x7f'), 0, 0).tagStr());
}

TEST(VekHeaderTest, typeStrGivesTheTableEntry) {
  const char* const names[] = {"undef", "group", "cstr", "int32", "float", "int64", "double"};
  for (unsigned char i = 0; i < 7; ++i) EXPECT_EQ(names[i], VekHeader(tagABCD, i, 0).typeStr());
}

TEST(VekHeaderTest, compoundStrGivesTheTableEntry) {
  const char* const names[] = {"undef",     "point", "vector",  "normal",
                               "transform", "color", "compound"};
  for (unsigned char i = 0; i < 7; ++i) {
    EXPECT_EQ(names[i], VekHeader(tagABCD, 4, 0, i, 0).compoundStr());
  }
}

TEST(VekHeaderTest, dimensionStrGivesTheTableEntry) {
  const char* const names[] = {"undef", "scalar", "2d", "3d", "4d", "", "", "",   "",
                               "3x3",   "",       "",   "",   "",   "", "", "4x4"};
  for (unsigned char i = 0; i < 17; ++i) {
    EXPECT_EQ(names[i], VekHeader(tagABCD, 4, 0, 0, i).dimensionStr()) << int{i};
  }
}

TEST(VekHeaderTest, bytesOutsideTheTablesHaveEmptyNames) {
  for (int byte = 17; byte < 256; ++byte) {
    const auto b = static_cast<unsigned char>(byte);
    const VekHeader h(tagABCD, b, 0, b, b);
    EXPECT_EQ("", h.typeStr()) << byte;
    EXPECT_EQ("", h.compoundStr()) << byte;
    EXPECT_EQ("", h.dimensionStr()) << byte;
  }
  for (unsigned char b = 7; b < 17; ++b) {
    EXPECT_EQ("", VekHeader(tagABCD, b, 0).typeStr()) << int{b};
    EXPECT_EQ("", VekHeader(tagABCD, 0, 0, b, 0).compoundStr()) << int{b};
  }
}

// ---- Print form ----

TEST(VekHeaderTest, printsTagTypeLengthCompoundAndDimension) {
  EXPECT_EQ("ABCD float (12) point 3d", printed(VekHeader(tagABCD, 4, 12, 1, 3)));
}

TEST(VekHeaderTest, defaultPrintsWithoutCompoundAndDimension) {
  EXPECT_EQ("FREE undef (0)", printed(VekHeader()));
}

TEST(VekHeaderTest, compoundZeroPrintsOnlyTheDimension) {
  EXPECT_EQ("ABCD float (4) scalar", printed(VekHeader(tagABCD, 4, 4, 0, 1)));
}

TEST(VekHeaderTest, dimensionZeroPrintsOnlyTheCompound) {
  EXPECT_EQ("ABCD double (8) color", printed(VekHeader(tagABCD, 6, 8, 5, 0)));
}

TEST(VekHeaderTest, printsMatrixDimensions) {
  EXPECT_EQ("ABCD float (36) transform 3x3", printed(VekHeader(tagABCD, 4, 36, 4, 9)));
  EXPECT_EQ("ABCD double (128) transform 4x4", printed(VekHeader(tagABCD, 6, 128, 4, 16)));
}

TEST(VekHeaderTest, dimensionFivePrintsAnEmptyWord) {
  EXPECT_EQ("ABCD float (20) ", printed(VekHeader(tagABCD, 4, 20, 0, 5)));
  EXPECT_EQ("ABCD float (20) vector ", printed(VekHeader(tagABCD, 4, 20, 2, 5)));
}

TEST(VekHeaderTest, typeOutsideTheTablePrintsAnEmptyWord) {
  EXPECT_EQ("ABCD  (12)", printed(VekHeader(tagABCD, 7, 12)));
  EXPECT_EQ("ABCD  (12)", printed(VekHeader(tagABCD, 255, 12)));
}

TEST(VekHeaderTest, compoundOutsideTheTablePrintsAnEmptyWord) {
  EXPECT_EQ("ABCD float (12) ", printed(VekHeader(tagABCD, 4, 12, 7, 0)));
  EXPECT_EQ("ABCD float (12)  3d", printed(VekHeader(tagABCD, 4, 12, 255, 3)));
}

TEST(VekHeaderTest, dimensionOutsideTheTablePrintsAnEmptyWord) {
  EXPECT_EQ("ABCD float (12) ", printed(VekHeader(tagABCD, 4, 12, 0, 17)));
  EXPECT_EQ("ABCD float (12) point ", printed(VekHeader(tagABCD, 4, 12, 1, 255)));
}

TEST(VekHeaderTest, printsTheTagAsFourRawBytes) {
  const VekHeader h(Vek::makeTag('A', '\0', '\xff', '\n'), 1, 3);
  EXPECT_EQ(std::string("A\0\xff\n group (3)", 14), printed(h));
}

TEST(VekHeaderTest, printsTheExtremeLengths) {
  EXPECT_EQ("ABCD cstr (9223372036854775807)",
            printed(VekHeader(tagABCD, 2, std::numeric_limits<__int64>::max())));
  EXPECT_EQ("ABCD cstr (-9223372036854775808)",
            printed(VekHeader(tagABCD, 2, std::numeric_limits<__int64>::min())));
  EXPECT_EQ("ABCD int64 (4294967296)", printed(VekHeader(tagABCD, 5, 4294967296)));
}

TEST(VekHeaderTest, printsTheLengthInDecimalOnAnyStream) {
  std::ostringstream os;
  os << std::hex << std::showbase;
  VekHeader(tagABCD, 3, 20).print(os);
  EXPECT_EQ("ABCD int32 (20)", os.str());
}

TEST(VekHeaderTest, doesNotPrintTheReservedByte) {
  VekHeader h(tagABCD, 3, 4);
  h.reserved = 88;
  EXPECT_EQ("ABCD int32 (4)", printed(h));
}

TEST(VekHeaderTest, printReturnsTheStream) {
  std::ostringstream os;
  std::ostream& returned = VekHeader().print(os);
  EXPECT_EQ(static_cast<std::ostream*>(&os), &returned);
}

// ---- The reserved byte of chunks ----

class VekReservedByteTest : public FileTest {};

TEST_F(VekReservedByteTest, survivesInAGroupAndIsClearedInALeaf) {
  const std::string source = writeFile(
      ByteImage().header("GRUP", 1, 20, 2, 3, 0x5A).header("LEAF", 3, 4, 1, 1, 7).int32(42));
  Vek::VekGroupChunk group(Vek::makeTag('G', 'R', 'U', 'P'));
  {
    Vek::VekFile in(source.c_str(), "r");
    VekHeader h;
    ASSERT_TRUE(in.readHeader(h));
    EXPECT_EQ(0x5A, h.reserved);
    ASSERT_TRUE(group.read(h, in));
  }
  const std::string target = path("copy.vek");
  {
    Vek::VekFile out(target.c_str(), "w");
    ASSERT_TRUE(group.write(out));
  }
  EXPECT_EQ(
      ByteImage().header("GRUP", 1, 20, 2, 3, 0x5A).header("LEAF", 3, 4, 1, 1, 0).int32(42).bytes(),
      readFile(target));
}

TEST_F(VekReservedByteTest, isClearedInLeavesOfEveryType) {
  struct Case {
    int type;
    ByteImage payload;
  };
  const Case cases[] = {{0, ByteImage().raw("xyz")},   {2, ByteImage().cstr("text")},
                        {3, ByteImage().int32(-1)},    {4, ByteImage().float32(1.5F)},
                        {5, ByteImage().int64(-1000)}, {6, ByteImage().float64(2.5)}};
  for (const Case& c : cases) {
    const auto size = static_cast<std::int64_t>(c.payload.size());
    const std::string source =
        writeFile(ByteImage().header("LEAF", c.type, size, 1, 1, 255).raw(c.payload));
    const auto type = static_cast<unsigned char>(c.type);
    const std::unique_ptr<Vek::VekChunk> leaf(
        Vek::VekChunk::create(Vek::makeTag('L', 'E', 'A', 'F'), type));
    ASSERT_NE(nullptr, leaf);
    {
      Vek::VekFile in(source.c_str(), "r");
      VekHeader h;
      ASSERT_TRUE(in.readHeader(h));
      ASSERT_TRUE(leaf->read(h, in));
    }
    EXPECT_EQ(255, leaf->getHeader().reserved) << c.type;
    const std::string target = path("copy.vek");
    {
      Vek::VekFile out(target.c_str(), "w");
      ASSERT_TRUE(leaf->write(out));
    }
    EXPECT_EQ(ByteImage().header("LEAF", c.type, size, 1, 1, 0).raw(c.payload).bytes(),
              readFile(target))
        << c.type;
  }
}

}  // namespace
