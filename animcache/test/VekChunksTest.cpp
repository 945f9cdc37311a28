// SPDX-License-Identifier: Apache-2.0
//
// Tests of the chunk base class, of the factory that makes a chunk for a header, and of the deep
// copy.

#include "VekChunks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

#include "ByteImage.h"
#include "ChunkTest.h"

namespace {

using Vek::VekChunk;
using Vek::VekFile;
using Vek::VekGroupChunk;
using Vek::VekHeader;
using Vek::VekLeafChunk;
using VekTest::ByteImage;
using VekTest::ChunkTest;

using ChunkPtr = std::unique_ptr<VekChunk>;

constexpr unsigned int abcd = Vek::makeTag('A', 'B', 'C', 'D');

/// A chunk class whose header is open to the test.
template <typename Base>
struct Open : public Base {
  using Base::Base;
  using Base::header;
};

VekGroupChunk* asGroup(const ChunkPtr& c) {
  return dynamic_cast<VekGroupChunk*>(c.get());
}

class VekChunksTest : public ChunkTest {
 protected:
  /// Reads a chunk whose header begins a file.
  bool readInto(VekChunk& c, const ByteImage& image) {
    VekFile f(writeFile(image).c_str(), "r");
    VekHeader h;
    EXPECT_TRUE(f.readHeader(h));
    const bool ok = c.read(h, f);
    m_position = f.tell();
    return ok;
  }

  std::int64_t m_position = -1;  ///< where the last read ended
};

// The base class.

TEST_F(VekChunksTest, defaultChunkIsFreeAndEmpty) {
  const VekChunk c;
  EXPECT_EQ(c.getTag(), Vek::makeTag('F', 'R', 'E', 'E'));
  EXPECT_EQ(c.getType(), 0);
  EXPECT_EQ(c.getCompound(), 0);
  EXPECT_EQ(c.getDimension(), 0);
  EXPECT_EQ(c.getHeader().reserved, 0);
  EXPECT_EQ(c.getHeader().length, 0);
}

TEST_F(VekChunksTest, gettersGiveTheHeaderBytes) {
  const VekChunk c(VekHeader(abcd, 4, 12, 1, 3));
  EXPECT_EQ(c.getTag(), abcd);
  EXPECT_EQ(c.getType(), 4);
  EXPECT_EQ(c.getCompound(), 1);
  EXPECT_EQ(c.getDimension(), 3);
}

TEST_F(VekChunksTest, getHeaderGivesACopy) {
  const VekChunk c(VekHeader(abcd, 9, 12, 1, 3));
  VekHeader h = c.getHeader();
  h.length = 99;
  h.tag = Vek::Tag::POSI;
  EXPECT_EQ(h.length, 99);
  EXPECT_EQ(c.getHeader().length, 12);
  EXPECT_EQ(c.getTag(), abcd);
}

TEST_F(VekChunksTest, constructorKeepsTheReservedByte) {
  VekHeader h(abcd, 9, 12, 1, 3);
  h.reserved = 77;
  EXPECT_EQ(VekChunk(h).getHeader().reserved, 77);
}

/// A header whose numbers all differ, none of them 0.
VekHeader fullHeader() {
  VekHeader h(abcd, 9, 12, 1, 3);
  h.reserved = 5;
  return h;
}
void expectFullHeader(const VekChunk& c) {
  EXPECT_EQ(c.getTag(), abcd);
  EXPECT_EQ(c.getType(), 9);
  EXPECT_EQ(c.getCompound(), 1);
  EXPECT_EQ(c.getDimension(), 3);
  EXPECT_EQ(c.getHeader().reserved, 5);
  EXPECT_EQ(c.getHeader().length, 12);
}

TEST_F(VekChunksTest, copyConstructionCopiesTheHeader) {
  const VekChunk c(fullHeader());
  const VekChunk other(c);
  expectFullHeader(other);
}

TEST_F(VekChunksTest, assignmentCopiesTheHeader) {
  const VekChunk c(fullHeader());
  VekChunk other;
  other = c;
  expectFullHeader(other);
}

TEST_F(VekChunksTest, baseResetDoesNothing) {
  VekChunk c(VekHeader(abcd, 9, 12, 1, 3));
  c.reset();
  EXPECT_EQ(c.getTag(), abcd);
  EXPECT_EQ(c.getType(), 9);
  EXPECT_EQ(c.getHeader().length, 12);
}

TEST_F(VekChunksTest, baseLengthIsTheHeaders) {
  VekChunk c(VekHeader(abcd, 9, 1234, 1, 3));
  EXPECT_EQ(c.getLength(), 1234);
}

TEST_F(VekChunksTest, freeSetsTheTagAndNothingElse) {
  VekChunk c(VekHeader(abcd, 9, 12, 1, 3));
  c.free();
  EXPECT_EQ(c.getTag(), Vek::makeTag('F', 'R', 'E', 'E'));
  EXPECT_EQ(c.getType(), 9);
  EXPECT_EQ(c.getCompound(), 1);
  EXPECT_EQ(c.getDimension(), 3);
  EXPECT_EQ(c.getHeader().length, 12);
}

TEST_F(VekChunksTest, readSkipsThePayload) {
  VekChunk c(VekHeader(abcd, 9, 0, 0, 0));
  EXPECT_TRUE(readInto(c, ByteImage().header("ABCD", 9, 5).raw("12345tail")));
  EXPECT_EQ(m_position, 21);
}

TEST_F(VekChunksTest, readLeavesTheChunksHeaderAsItWas) {
  VekChunk c(VekHeader(abcd, 9, 2, 4, 16));
  ASSERT_TRUE(readInto(c, ByteImage().header("ABCD", 9, 5, 1, 3, 8).raw("12345")));
  EXPECT_EQ(c.getHeader().length, 2);
  EXPECT_EQ(c.getCompound(), 4);
  EXPECT_EQ(c.getDimension(), 16);
  EXPECT_EQ(c.getHeader().reserved, 0);
}

TEST_F(VekChunksTest, readOfAnotherTagFailsAndDoesNotMove) {
  VekChunk c(VekHeader(abcd, 9, 0, 0, 0));
  EXPECT_FALSE(readInto(c, ByteImage().header("ABCE", 9, 5).raw("12345")));
  EXPECT_EQ(m_position, 16);
}

TEST_F(VekChunksTest, readOfAnotherTypeFailsAndDoesNotMove) {
  VekChunk c(VekHeader(abcd, 9, 0, 0, 0));
  EXPECT_FALSE(readInto(c, ByteImage().header("ABCD", 8, 5).raw("12345")));
  EXPECT_EQ(m_position, 16);
}

TEST_F(VekChunksTest, readIgnoresCompoundAndDimension) {
  VekChunk c(VekHeader(abcd, 9, 0, 0, 0));
  EXPECT_TRUE(readInto(c, ByteImage().header("ABCD", 9, 5, 6, 9).raw("12345")));
}

TEST_F(VekChunksTest, readClosesTheGroupsThatEndWithThePayload) {
  const std::string file =
      writeFile(ByteImage().header("OUTR", 1, 21).header("ABCD", 9, 5).raw("12345"));
  VekFile f(file.c_str(), "r");
  VekHeader h;
  ASSERT_TRUE(f.readHeader(h));
  ASSERT_TRUE(f.readHeader(h));
  ASSERT_EQ(f.getLevel(), 1U);
  VekChunk c(VekHeader(abcd, 9, 0, 0, 0));
  ASSERT_TRUE(c.read(h, f));
  EXPECT_EQ(f.getLevel(), 0U);
}

TEST_F(VekChunksTest, readFromAClosedFileFails) {
  VekFile f;
  VekChunk c(VekHeader(abcd, 9, 0, 0, 0));
  EXPECT_FALSE(c.read(VekHeader(abcd, 9, 4, 0, 0), f));
}

TEST_F(VekChunksTest, readOfANegativeLengthFailsAndDoesNotMoveBack) {
  for (const std::int64_t length :
       {std::int64_t{-1}, std::int64_t{-16}, std::numeric_limits<std::int64_t>::min()}) {
    VekChunk c(VekHeader(abcd, 9, 0, 0, 0));
    EXPECT_FALSE(readInto(c, ByteImage().header("ABCD", 9, length).raw("12345"))) << length;
    EXPECT_GE(m_position, 16) << length;
  }
}

TEST_F(VekChunksTest, readOfTheGreatestLengthFails) {
  VekChunk c(VekHeader(abcd, 9, 0, 0, 0));
  EXPECT_FALSE(
      readInto(c, ByteImage().header("ABCD", 9, std::numeric_limits<std::int64_t>::max())));
}

TEST_F(VekChunksTest, writeLeavesAHoleOfTheStoredLength) {
  VekHeader head(abcd, 9, 4, 2, 3);
  head.reserved = 6;
  const VekChunk c(head);
  const VekChunk next(VekHeader(Vek::Tag::POSI, 9, 0, 0, 0));
  VekFile f(path().c_str(), "w");
  ASSERT_TRUE(c.write(f));
  EXPECT_EQ(f.tell(), 20);
  ASSERT_TRUE(next.write(f));
  ASSERT_TRUE(f.close());
  EXPECT_EQ(readFile(path()),
            ByteImage().header("ABCD", 9, 4, 2, 3, 6).zeros(4).header("POSI", 9, 0).bytes());
}

TEST_F(VekChunksTest, writeGoesToTheCurrentPosition) {
  const std::string file = writeFile(ByteImage().zeros(64));
  VekFile f(file.c_str(), "r+");
  ASSERT_TRUE(f.seek(8, 0, true));
  ASSERT_TRUE(VekChunk(VekHeader(abcd, 9, 0, 0, 0)).write(f));
  EXPECT_EQ(f.tell(), 24);
  ASSERT_TRUE(f.close());
  EXPECT_EQ(readFile(file), ByteImage().zeros(8).header("ABCD", 9, 0).zeros(40).bytes());
}

TEST_F(VekChunksTest, writeToAClosedFileFails) {
  VekFile f;
  EXPECT_FALSE(VekChunk(VekHeader(abcd, 9, 0, 0, 0)).write(f));
}

TEST_F(VekChunksTest, writeOfANegativeLengthFails) {
  VekFile f(path().c_str(), "w");
  EXPECT_FALSE(VekChunk(VekHeader(abcd, 9, -16, 0, 0)).write(f));
}

TEST_F(VekChunksTest, printWritesIndentHeaderAndColon) {
  const VekChunk c(VekHeader(abcd, 4, 12, 1, 3));
  EXPECT_EQ(printed(c), "ABCD float (12) point 3d : ");
  EXPECT_EQ(printed(c, 3), ". . . ABCD float (12) point 3d : ");
}

TEST_F(VekChunksTest, defaultChunkPrintsAsFree) {
  EXPECT_EQ(printed(VekChunk()), "FREE undef (0) : ");
}

TEST_F(VekChunksTest, printOfAnUnknownTypeHasAnEmptyWord) {
  EXPECT_EQ(printed(VekChunk(VekHeader(abcd, 9, 7, 0, 0))), "ABCD  (7) : ");
  EXPECT_EQ(printed(VekChunk(VekHeader(abcd, 255, 7, 255, 255))), "ABCD  (7)   : ");
}

TEST_F(VekChunksTest, printReturnsItsStream) {
  std::ostringstream os;
  EXPECT_EQ(&VekChunk().print(os, 0), &os);
}

// The factory.

template <typename Made>
void expectMade(unsigned char type) {
  const ChunkPtr c(VekChunk::create(abcd, type));
  ASSERT_NE(c, nullptr);
  VekChunk& made = *c;
  EXPECT_EQ(typeid(made), typeid(Made)) << int{type};
  EXPECT_EQ(c->getTag(), abcd);
  EXPECT_EQ(c->getType(), type);
  EXPECT_EQ(c->getCompound(), 0);
  EXPECT_EQ(c->getDimension(), 0);
  EXPECT_EQ(c->getHeader().reserved, 0);
  EXPECT_EQ(c->getHeader().length, 0);
  EXPECT_EQ(c->getLength(), 0);
}

template <typename T>
void expectEmptyLeafMade(unsigned char type) {
  expectMade<VekLeafChunk<T>>(type);
  const ChunkPtr c(VekChunk::create(abcd, type));
  const auto* leaf = Vek::asLeaf<T>(c.get());
  ASSERT_NE(leaf, nullptr);
  EXPECT_TRUE(leaf->data.empty());
}

TEST_F(VekChunksTest, createOfType0MakesARawLeaf) {
  expectEmptyLeafMade<char>(0);
}
TEST_F(VekChunksTest, createOfType2MakesAStringLeaf) {
  expectEmptyLeafMade<std::string>(2);
}
TEST_F(VekChunksTest, createOfType3MakesAnInt32Leaf) {
  expectEmptyLeafMade<int>(3);
}
TEST_F(VekChunksTest, createOfType4MakesAFloatLeaf) {
  expectEmptyLeafMade<float>(4);
}
TEST_F(VekChunksTest, createOfType5MakesAnInt64Leaf) {
  expectEmptyLeafMade<__int64>(5);
}
TEST_F(VekChunksTest, createOfType6MakesADoubleLeaf) {
  expectEmptyLeafMade<double>(6);
}

TEST_F(VekChunksTest, createOfType1MakesAnEmptyGenericGroup) {
  expectMade<VekGroupChunk>(1);
  const ChunkPtr c(VekChunk::create(abcd, 1));
  ASSERT_NE(asGroup(c), nullptr);
  EXPECT_EQ(asGroup(c)->numChildren(), 0U);
}

TEST_F(VekChunksTest, createOfAnyOtherTypeMakesAPlainChunk) {
  for (const int type : {7, 8, 9, 127, 128, 255}) {
    expectMade<VekChunk>(static_cast<unsigned char>(type));
  }
}

TEST_F(VekChunksTest, createNeverMakesANamedClass) {
  for (const unsigned int tag :
       {Vek::Tag::META, Vek::Tag::DOBJ, Vek::Tag::DATR, Vek::Tag::SATR, Vek::Tag::AATR,
        Vek::Tag::ATRS, Vek::Tag::SAMS, Vek::Tag::SAMP, Vek::Tag::FREE}) {
    const ChunkPtr c(VekChunk::create(tag, 1));
    ASSERT_NE(c, nullptr);
    VekChunk& made = *c;
    EXPECT_EQ(typeid(made), typeid(VekGroupChunk));
    EXPECT_EQ(c->getTag(), tag);
  }
  const ChunkPtr c(VekChunk::create(Vek::Tag::DVEK, 5));
  ASSERT_NE(c, nullptr);
  VekChunk& made = *c;
  EXPECT_EQ(typeid(made), typeid(VekLeafChunk<__int64>));
}

TEST_F(VekChunksTest, madeChunkOfAnUnknownTypeSkipsThePayloadWhenRead) {
  const ChunkPtr c(VekChunk::create(abcd, 9));
  ASSERT_NE(c, nullptr);
  EXPECT_TRUE(readInto(*c, ByteImage().header("ABCD", 9, 5, 1, 3, 8).raw("12345")));
  EXPECT_EQ(m_position, 21);
}

// Reading keeps the header with which the chunk was made, so its payload is lost when written.
TEST_F(VekChunksTest, madeChunkOfAnUnknownTypeKeepsItsLengthOfZero) {
  const ChunkPtr c(VekChunk::create(abcd, 9));
  ASSERT_NE(c, nullptr);
  ASSERT_TRUE(readInto(*c, ByteImage().header("ABCD", 9, 5, 1, 3, 8).raw("12345")));
  EXPECT_EQ(c->getLength(), 0);
  EXPECT_EQ(written(*c), ByteImage().header("ABCD", 9, 0).bytes());
}

// The deep copy.

TEST_F(VekChunksTest, copyOfNullIsNull) {
  EXPECT_EQ(VekChunk::copy(static_cast<VekChunk*>(nullptr)), nullptr);
}

TEST_F(VekChunksTest, copyOfAFreeChunkIsNull) {
  VekChunk plain;
  EXPECT_EQ(ChunkPtr(VekChunk::copy(&plain)), nullptr);
  VekGroupChunk group;
  EXPECT_EQ(ChunkPtr(VekChunk::copy(&group)), nullptr);
  VekLeafChunk<float> leaf(Vek::Tag::FREE, 0, 0, {1.0F});
  EXPECT_EQ(ChunkPtr(VekChunk::copy(&leaf)), nullptr);
}

TEST_F(VekChunksTest, copyOfAChunkSetFreeIsNull) {
  VekLeafChunk<float> leaf(abcd, 1, 3, {1.0F});
  leaf.free();
  EXPECT_EQ(ChunkPtr(VekChunk::copy(&leaf)), nullptr);
  VekGroupChunk group(abcd);
  group.free();
  EXPECT_EQ(ChunkPtr(VekChunk::copy(&group)), nullptr);
}

TEST_F(VekChunksTest, copyOfRawBytesIsNull) {
  VekLeafChunk<char> leaf(abcd, 0, 0, {'x', 'y'});
  EXPECT_EQ(ChunkPtr(VekChunk::copy(&leaf)), nullptr);
}

TEST_F(VekChunksTest, copyOfAnUnknownTypeIsNull) {
  for (const int type : {7, 9, 255}) {
    VekChunk c(VekHeader(abcd, static_cast<unsigned char>(type), 0, 0, 0));
    EXPECT_EQ(ChunkPtr(VekChunk::copy(&c)), nullptr) << type;
  }
}

template <typename T>
void expectLeafCopied(const std::vector<T>& values, unsigned char type, __int64 length) {
  VekLeafChunk<T> leaf(abcd, 5, 16, values);
  const ChunkPtr c(VekChunk::copy(&leaf));
  ASSERT_NE(c, nullptr);
  ASSERT_NE(c.get(), &leaf);
  const auto* copied = Vek::asLeaf<T>(c.get());
  ASSERT_NE(copied, nullptr);
  EXPECT_EQ(copied->data, values);
  EXPECT_EQ(copied->getTag(), abcd);
  EXPECT_EQ(copied->getType(), type);
  EXPECT_EQ(copied->getCompound(), 5);
  EXPECT_EQ(copied->getDimension(), 16);
  EXPECT_EQ(c->getLength(), length);
}

TEST_F(VekChunksTest, copyOfAStringLeaf) {
  expectLeafCopied<std::string>({"one", "", "three"}, 2, 4 + 1 + 6);
}
TEST_F(VekChunksTest, copyOfAnInt32Leaf) {
  expectLeafCopied<int>({1, -2, 3}, 3, 12);
}
TEST_F(VekChunksTest, copyOfAFloatLeaf) {
  expectLeafCopied<float>({1.5F, -2.0F}, 4, 8);
}
TEST_F(VekChunksTest, copyOfAnInt64Leaf) {
  expectLeafCopied<__int64>({std::numeric_limits<std::int64_t>::min(), 7}, 5, 16);
}
TEST_F(VekChunksTest, copyOfADoubleLeaf) {
  expectLeafCopied<double>({0.1}, 6, 8);
}
TEST_F(VekChunksTest, copyOfAnEmptyLeaf) {
  expectLeafCopied<float>({}, 4, 0);
}

TEST_F(VekChunksTest, copyOfALeafRecomputesTheLength) {
  VekLeafChunk<float> leaf(abcd, 0, 0, {1.0F});
  leaf.data.push_back(2.0F);
  ASSERT_EQ(leaf.getLength(), 4);
  const ChunkPtr c(VekChunk::copy(&leaf));
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->getLength(), 8);

  VekLeafChunk<std::string> text(abcd, 0, 0, {"a"});
  text.data = {"four", "five5"};
  const ChunkPtr t(VekChunk::copy(&text));
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(t->getLength(), 11);
}

TEST_F(VekChunksTest, copyOfALeafHasAReservedByteOfZero) {
  Open<VekLeafChunk<int>> leaf(abcd, 1, 3, std::vector<int>{1, 2, 3});
  leaf.header.reserved = 9;
  const ChunkPtr c(VekChunk::copy(&leaf));
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->getHeader().reserved, 0);
}

TEST_F(VekChunksTest, copyOfALeafIsIndependent) {
  VekLeafChunk<int> leaf(abcd, 0, 0, {1, 2});
  const ChunkPtr c(VekChunk::copy(&leaf));
  ASSERT_NE(Vek::asLeaf<int>(c.get()), nullptr);
  leaf.data[0] = 99;
  EXPECT_EQ(Vek::asLeaf<int>(c.get())->data, (std::vector<int>{1, 2}));
}

TEST_F(VekChunksTest, copyOfALeafWritesTheSameBytes) {
  VekLeafChunk<float> leaf(abcd, 1, 3, {1.0F, 2.0F, 3.0F});
  const ChunkPtr c(VekChunk::copy(&leaf));
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(
      written(*c),
      ByteImage().header("ABCD", 4, 12, 1, 3).float32(1.0F).float32(2.0F).float32(3.0F).bytes());
}

TEST_F(VekChunksTest, copyOfAGroupHasTheTagAndAnOtherwiseFreshHeader) {
  Open<VekGroupChunk> group(abcd);
  group.header.compound = 4;
  group.header.dimension = 16;
  group.header.reserved = 9;
  group.header.length = 77;
  const ChunkPtr c(VekChunk::copy(&group));
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->getTag(), abcd);
  EXPECT_EQ(c->getType(), 1);
  EXPECT_EQ(c->getCompound(), 0);
  EXPECT_EQ(c->getDimension(), 0);
  EXPECT_EQ(c->getHeader().reserved, 0);
  EXPECT_EQ(c->getHeader().length, 0);
}

TEST_F(VekChunksTest, copyOfAGroupCopiesTheChildrenInOrder) {
  VekGroupChunk group(abcd);
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 1, {4}));
  group.addChild(new VekLeafChunk<std::string>(Vek::Tag::NAME, 0, 0, {"n"}));
  group.addChild(new VekLeafChunk<double>(Vek::Tag::POSI, 1, 3, {1.0, 2.0, 3.0}));
  const ChunkPtr c(VekChunk::copy(&group));
  VekGroupChunk* copied = asGroup(c);
  ASSERT_NE(copied, nullptr);
  ASSERT_EQ(copied->numChildren(), 3U);
  for (unsigned int i = 0; i < 3; ++i) {
    EXPECT_NE(copied->getChild(i), group.getChild(i)) << i;
    EXPECT_EQ(copied->getChild(i)->getTag(), group.getChild(i)->getTag()) << i;
  }
  EXPECT_EQ(Vek::asLeaf<int>(copied->getChild(0))->data, std::vector<int>{4});
  EXPECT_EQ(Vek::asLeaf<std::string>(copied->getChild(1))->data, std::vector<std::string>{"n"});
  EXPECT_EQ(Vek::asLeaf<double>(copied->getChild(2))->data, (std::vector<double>{1.0, 2.0, 3.0}));
  EXPECT_EQ(copied->getLength(), 20 + 18 + 40);
}

TEST_F(VekChunksTest, copyOfAGroupGoesAllTheWayDown) {
  auto* inner = new VekGroupChunk(Vek::Tag::SOBJ);
  inner->addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {4}));
  auto* middle = new VekGroupChunk(Vek::Tag::SAMP);
  middle->addChild(inner);
  VekGroupChunk group(abcd);
  group.addChild(middle);
  const ChunkPtr c(VekChunk::copy(&group));
  group.removeAllChildren();
  ASSERT_NE(asGroup(c), nullptr);
  ASSERT_EQ(asGroup(c)->numChildren(), 1U);
  auto* sample = dynamic_cast<VekGroupChunk*>(asGroup(c)->getChild(0));
  ASSERT_NE(sample, nullptr);
  ASSERT_EQ(sample->numChildren(), 1U);
  auto* object = dynamic_cast<VekGroupChunk*>(sample->getChild(0));
  ASSERT_NE(object, nullptr);
  ASSERT_EQ(object->numChildren(), 1U);
  EXPECT_EQ(Vek::asLeaf<int>(object->getChild(0))->data, std::vector<int>{4});
}

TEST_F(VekChunksTest, copyOfAGroupLeavesOutRawAndFreeAndUnknownChildren) {
  VekGroupChunk group(abcd);
  group.addChild(new VekLeafChunk<char>(Vek::Tag::MESH, 0, 0, {'x'}));
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {4}));
  group.addChild(new VekLeafChunk<int>(Vek::Tag::FREE, 0, 0, {5}));
  group.addChild(new VekGroupChunk());
  group.addChild(new VekChunk(VekHeader(Vek::Tag::POSI, 9, 0, 0, 0)));
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PIDS, 0, 0, {6}));
  const ChunkPtr c(VekChunk::copy(&group));
  ASSERT_NE(asGroup(c), nullptr);
  ASSERT_EQ(asGroup(c)->numChildren(), 2U);
  EXPECT_EQ(asGroup(c)->getChild(0)->getTag(), Vek::Tag::PCNT);
  EXPECT_EQ(asGroup(c)->getChild(1)->getTag(), Vek::Tag::PIDS);
  EXPECT_EQ(group.numChildren(), 6U);
}

TEST_F(VekChunksTest, copyLeavesOutFreeChildrenOfInnerGroups) {
  auto* inner = new VekGroupChunk(Vek::Tag::SOBJ);
  auto* dead = new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {4});
  dead->free();
  inner->addChild(dead);
  VekGroupChunk group(abcd);
  group.addChild(inner);
  const ChunkPtr c(VekChunk::copy(&group));
  ASSERT_NE(asGroup(c), nullptr);
  ASSERT_EQ(asGroup(c)->numChildren(), 1U);
  const auto* copied = dynamic_cast<VekGroupChunk*>(asGroup(c)->getChild(0));
  ASSERT_NE(copied, nullptr);
  EXPECT_EQ(copied->numChildren(), 0U);
}

TEST_F(VekChunksTest, copyOfANamedGroupIsAGenericGroupOfItsGenericChildren) {
  Vek::VekMETAChunk meta;
  meta.application = "app";
  meta.numSamples = 3;
  meta.addDOBJ("|a");
  meta.addChild(new VekLeafChunk<int>(abcd, 0, 0, {1}));
  const ChunkPtr c(VekChunk::copy(&meta));
  ASSERT_NE(c, nullptr);
  VekChunk& copied = *c;
  EXPECT_EQ(typeid(copied), typeid(VekGroupChunk));
  EXPECT_EQ(c->getTag(), Vek::Tag::META);
  ASSERT_EQ(asGroup(c)->numChildren(), 1U);
  EXPECT_EQ(asGroup(c)->getChild(0)->getTag(), abcd);
  EXPECT_EQ(c->getLength(), 20);
}

TEST_F(VekChunksTest, copyOfADefinitionLosesItsNameAndAttributes) {
  Vek::VekDOBJChunk definition("|a");
  definition.addAttr(false, "size", "int", 3, 0, 1);
  const ChunkPtr c(VekChunk::copy(&definition));
  ASSERT_NE(c, nullptr);
  VekChunk& copied = *c;
  EXPECT_EQ(typeid(copied), typeid(VekGroupChunk));
  EXPECT_EQ(c->getTag(), Vek::Tag::DOBJ);
  EXPECT_EQ(asGroup(c)->numChildren(), 0U);
  EXPECT_EQ(c->getLength(), 0);
}

TEST_F(VekChunksTest, copyOfAttributeValuesKeepsThem) {
  Vek::VekDATRChunk attributes;
  attributes.addAttr(false, "size", "int", 3, 0, 1);
  auto* size = Vek::asLeaf<int>(attributes.getStaticData(0));
  ASSERT_NE(size, nullptr);
  size->setData({7});
  const ChunkPtr c(VekChunk::copy(&attributes.atrs));
  ASSERT_NE(asGroup(c), nullptr);
  EXPECT_EQ(c->getTag(), Vek::Tag::ATRS);
  ASSERT_EQ(asGroup(c)->numChildren(), 1U);
  const auto* copied = Vek::asLeaf<int>(asGroup(c)->getChild(0));
  ASSERT_NE(copied, nullptr);
  EXPECT_EQ(copied->data, std::vector<int>{7});
}

// A chunk whose type byte is that of a leaf need not be one.
TEST_F(VekChunksTest, copyOfAChunkThatOnlyClaimsToBeALeafOrGroupIsHarmless) {
  for (int type = 0; type < 256; ++type) {
    VekChunk c(VekHeader(abcd, static_cast<unsigned char>(type), 8, 0, 0));
    const ChunkPtr copied(VekChunk::copy(&c));
    EXPECT_TRUE(!copied || copied->getTag() == abcd) << type;
  }
  Vek::VekDVEKChunk head(3);
  const ChunkPtr copied(VekChunk::copy(&head));
  EXPECT_TRUE(!copied || copied->getTag() == Vek::Tag::DVEK);
}

}  // namespace
