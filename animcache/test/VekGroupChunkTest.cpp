// SPDX-License-Identifier: Apache-2.0
//
// Tests of the generic group: its list of children, its length, reading, writing, printing, the
// hooks through which subclasses plug in, trace lines, and damaged groups.

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
#include "VekChunks.h"

namespace {

using ::testing::ElementsAre;
using Vek::VekChunk;
using Vek::VekFile;
using Vek::VekGroupChunk;
using Vek::VekHeader;
using Vek::VekLeafChunk;
using VekTest::ByteImage;
using VekTest::FileTest;

constexpr unsigned int abcd = Vek::makeTag('A', 'B', 'C', 'D');

/// A group whose hooks and header are open to the test.
struct OpenGroup : public VekGroupChunk {
  using VekGroupChunk::header;
  using VekGroupChunk::printChildren;
  using VekGroupChunk::readChild;
  using VekGroupChunk::VekGroupChunk;
  using VekGroupChunk::writeChildren;
};

/// A chunk that counts its destruction.
struct CountedChunk : public VekChunk {
  CountedChunk(int& count, unsigned int tag = abcd)
      : VekChunk(VekHeader(tag, 9, 0, 0, 0)), destroyed(count) {}
  CountedChunk(const CountedChunk&) = delete;
  CountedChunk& operator=(const CountedChunk&) = delete;
  ~CountedChunk() override { ++destroyed; }
  int& destroyed;
};

/// A group that counts the calls of removeAllChildren().
struct CountingGroup : public VekGroupChunk {
  using VekGroupChunk::VekGroupChunk;
  void removeAllChildren() override {
    ++removals;
    VekGroupChunk::removeAllChildren();
  }
  int removals = 0;
};

/// A chunk that cannot be written.
struct UnwritableChunk : public VekChunk {
  UnwritableChunk() : VekChunk(VekHeader(abcd, 9, 0, 0, 0)) {}
  bool write(VekFile& /*f*/) const override { return false; }
};

/// Sets the diagnostic level for the time of a test.
struct VerbosityScope {
  explicit VerbosityScope(int level) : before(Vek::verbosity) { Vek::verbosity = level; }
  VerbosityScope(const VerbosityScope&) = delete;
  VerbosityScope& operator=(const VerbosityScope&) = delete;
  ~VerbosityScope() { Vek::verbosity = before; }
  int before;
};

std::unique_ptr<VekChunk> plain(const char* tag) {
  return std::make_unique<VekChunk>(
      VekHeader(Vek::makeTag(tag[0], tag[1], tag[2], tag[3]), 9, 0, 0, 0));
}

/// Adds an empty child for each tag.
void addPlain(VekGroupChunk& group, const std::vector<const char*>& tags) {
  for (const char* tag : tags) group.addChild(plain(tag).release());
}

std::vector<std::string> childTags(const VekGroupChunk& group) {
  std::vector<std::string> tags;
  for (unsigned int i = 0; i < group.numChildren(); ++i) {
    tags.push_back(group.getChild(i)->getHeader().tagStr());
  }
  return tags;
}

std::string printed(const VekChunk& c, int indent = 0) {
  std::ostringstream os;
  c.print(os, indent);
  return os.str();
}

/// `depth` groups, each the only child of the one before; the innermost is empty.
ByteImage nestedGroups(int depth) {
  ByteImage image;
  for (int i = 0; i < depth; ++i) image.header("ABCD", 1, std::int64_t{16} * (depth - 1 - i));
  return image;
}

ByteImage int32Leaf(const char* tag, int value) {
  return ByteImage().header(tag, 3, 4).int32(value);
}

class VekGroupChunkTest : public FileTest {
 protected:
  /// Reads the first chunk of an image into the group.
  bool readInto(VekGroupChunk& group, const ByteImage& image) {
    const std::string file = writeFile(image, "in");
    VekFile f(file.c_str(), "r");
    VekHeader h;
    const bool ok = f.readHeader(h) && group.read(h, f);
    m_position = f.tell();
    m_level = f.getLevel();
    return ok;
  }
  /// The bytes of a file that holds the chunk alone.
  std::string written(const VekChunk& c) {
    VekFile f(path("out").c_str(), "w");
    EXPECT_TRUE(c.write(f));
    EXPECT_EQ(f.getLevel(), 0U);
    EXPECT_TRUE(f.close());
    return readFile(path("out"));
  }
  /// Reads a group and gets the same image when it is written.
  void expectRoundTrip(const ByteImage& image) {
    VekGroupChunk group(abcd);
    ASSERT_TRUE(readInto(group, image));
    EXPECT_EQ(m_position, static_cast<std::int64_t>(image.size()));
    EXPECT_EQ(m_level, 0U);
    EXPECT_EQ(written(group), image.bytes());
  }
  std::int64_t m_position = -1;
  std::uint64_t m_level = 99;
};

// Construction and the list of children.

TEST_F(VekGroupChunkTest, defaultGroupIsFreeAndEmpty) {
  VekGroupChunk group;
  EXPECT_EQ(group.getTag(), Vek::makeTag('F', 'R', 'E', 'E'));
  EXPECT_EQ(group.getType(), 1);
  EXPECT_EQ(group.getCompound(), 0);
  EXPECT_EQ(group.getDimension(), 0);
  EXPECT_EQ(group.getHeader().reserved, 0);
  EXPECT_EQ(group.getHeader().length, 0);
  EXPECT_EQ(group.numChildren(), 0U);
}

TEST_F(VekGroupChunkTest, groupMadeFromATagIsEmpty) {
  VekGroupChunk group(abcd);
  EXPECT_EQ(group.getTag(), abcd);
  EXPECT_EQ(group.getType(), 1);
  EXPECT_EQ(group.getCompound(), 0);
  EXPECT_EQ(group.getDimension(), 0);
  EXPECT_EQ(group.getHeader().length, 0);
  EXPECT_EQ(group.numChildren(), 0U);
}

TEST_F(VekGroupChunkTest, addChildAppends) {
  VekGroupChunk group(abcd);
  VekChunk* first = plain("AAAA").release();
  VekChunk* second = plain("BBBB").release();
  group.addChild(first);
  group.addChild(second);
  EXPECT_EQ(group.numChildren(), 2U);
  EXPECT_EQ(group.getChild(0), first);
  EXPECT_EQ(group.getChild(1), second);
}

TEST_F(VekGroupChunkTest, constGetChildGivesTheSameChild) {
  VekGroupChunk group(abcd);
  addPlain(group, {"AAAA", "BBBB"});
  const VekGroupChunk& view = group;
  EXPECT_EQ(view.getChild(1), group.getChild(1));
}

TEST_F(VekGroupChunkTest, addChildDoesNotCheckForNull) {
  VekGroupChunk group(abcd);
  group.addChild(nullptr);
  EXPECT_EQ(group.numChildren(), 1U);
  EXPECT_EQ(group.getChild(0), nullptr);
}

TEST_F(VekGroupChunkTest, destroyingTheGroupDestroysItsChildren) {
  int destroyed = 0;
  {
    VekGroupChunk group(abcd);
    group.addChild(new CountedChunk(destroyed));
    group.addChild(new CountedChunk(destroyed));
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 2);
}

TEST_F(VekGroupChunkTest, destroyingTheGroupDestroysWholeTrees) {
  int destroyed = 0;
  {
    VekGroupChunk group(abcd);
    auto* inner = new VekGroupChunk(Vek::Tag::SOBJ);
    inner->addChild(new CountedChunk(destroyed));
    group.addChild(inner);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST_F(VekGroupChunkTest, removeAllChildrenDestroysThemAll) {
  int destroyed = 0;
  VekGroupChunk group(abcd);
  for (int i = 0; i < 3; ++i) group.addChild(new CountedChunk(destroyed));
  group.removeAllChildren();
  EXPECT_EQ(destroyed, 3);
  EXPECT_EQ(group.numChildren(), 0U);
}

TEST_F(VekGroupChunkTest, resetRemovesAllChildren) {
  int destroyed = 0;
  VekGroupChunk group(abcd);
  group.addChild(new CountedChunk(destroyed));
  group.reset();
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(group.numChildren(), 0U);
  EXPECT_EQ(group.getTag(), abcd);
}

TEST_F(VekGroupChunkTest, resetCallsTheOverriddenRemoveAllChildren) {
  CountingGroup group(abcd);
  group.reset();
  EXPECT_EQ(group.removals, 1);
}

TEST_F(VekGroupChunkTest, removeChildDestroysOneAndClosesTheGap) {
  int destroyed = 0;
  VekGroupChunk group(abcd);
  addPlain(group, {"AAAA"});
  group.addChild(new CountedChunk(destroyed));
  addPlain(group, {"CCCC"});
  group.removeChild(1);
  EXPECT_EQ(destroyed, 1);
  EXPECT_THAT(childTags(group), ElementsAre("AAAA", "CCCC"));
}

TEST_F(VekGroupChunkTest, removeChildTakesANullOut) {
  VekGroupChunk group(abcd);
  addPlain(group, {"AAAA"});
  group.addChild(nullptr);
  addPlain(group, {"CCCC"});
  group.removeChild(1);
  EXPECT_THAT(childTags(group), ElementsAre("AAAA", "CCCC"));
}

TEST_F(VekGroupChunkTest, removeChildOutsideTheListChangesNothing) {
  VekGroupChunk group(abcd);
  addPlain(group, {"AAAA", "BBBB"});
  group.removeChild(2);
  group.removeChild(std::numeric_limits<std::uint64_t>::max());
  EXPECT_THAT(childTags(group), ElementsAre("AAAA", "BBBB"));
}

TEST_F(VekGroupChunkTest, getChildOutsideTheListIsNull) {
  VekGroupChunk group(abcd);
  addPlain(group, {"AAAA"});
  const VekGroupChunk& view = group;
  EXPECT_EQ(group.getChild(1), nullptr);
  EXPECT_EQ(view.getChild(std::numeric_limits<std::uint64_t>::max()), nullptr);
}

// Removing a range.

TEST_F(VekGroupChunkTest, removeChildrenErasesTheHalfOpenRange) {
  int destroyed = 0;
  VekGroupChunk group(abcd);
  addPlain(group, {"AAAA"});
  group.addChild(new CountedChunk(destroyed));
  group.addChild(new CountedChunk(destroyed));
  addPlain(group, {"DDDD", "EEEE"});
  group.removeChildren(1, 3);
  EXPECT_EQ(destroyed, 2);
  EXPECT_THAT(childTags(group), ElementsAre("AAAA", "DDDD", "EEEE"));
}

TEST_F(VekGroupChunkTest, removeChildrenOfAPartDoesNotCallRemoveAllChildren) {
  CountingGroup group(abcd);
  addPlain(group, {"AAAA", "BBBB", "CCCC"});
  group.removeChildren(0, 2);
  EXPECT_EQ(group.removals, 0);
  EXPECT_THAT(childTags(group), ElementsAre("CCCC"));
}

TEST_F(VekGroupChunkTest, removeChildrenOfAnEmptyRangeRemovesNothing) {
  CountingGroup group(abcd);
  addPlain(group, {"AAAA", "BBBB"});
  group.removeChildren(1, 1);
  EXPECT_EQ(group.removals, 0);
  EXPECT_THAT(childTags(group), ElementsAre("AAAA", "BBBB"));
}

TEST_F(VekGroupChunkTest, removeChildrenOfTheWholeListCallsTheOverriddenRemoveAllChildren) {
  CountingGroup group(abcd);
  addPlain(group, {"AAAA", "BBBB"});
  group.removeChildren(0, 2);
  EXPECT_EQ(group.removals, 1);
  EXPECT_EQ(group.numChildren(), 0U);
}

TEST_F(VekGroupChunkTest, removeChildrenOfAsManyAsThereAreRemovesAllWhereverTheRangeBegins) {
  for (const unsigned int first : {1U, 2U, 3U, 5U, 1000U}) {
    CountingGroup group(abcd);
    addPlain(group, {"AAAA", "BBBB", "CCCC"});
    group.removeChildren(first, first + 3);
    EXPECT_EQ(group.removals, 1) << first;
    EXPECT_EQ(group.numChildren(), 0U) << first;
  }
}

TEST_F(VekGroupChunkTest, removeChildrenFrom5To5PlusNOfNChildrenRemovesAll) {
  int destroyed = 0;
  VekGroupChunk group(abcd);
  for (int i = 0; i < 4; ++i) group.addChild(new CountedChunk(destroyed));
  group.removeChildren(5, 5 + group.numChildren());
  EXPECT_EQ(destroyed, 4);
  EXPECT_EQ(group.numChildren(), 0U);
}

TEST_F(VekGroupChunkTest, removeChildrenOfAnEmptyRangeOfAnEmptyListCallsRemoveAllChildren) {
  CountingGroup group(abcd);
  group.removeChildren(7, 7);
  EXPECT_EQ(group.removals, 1);
}

TEST_F(VekGroupChunkTest, removeChildrenPastTheEndTouchesNothingElse) {
  VekGroupChunk group(abcd);
  addPlain(group, {"AAAA", "BBBB", "CCCC"});
  group.removeChildren(7, 9);
  EXPECT_THAT(childTags(group), ElementsAre("AAAA", "BBBB", "CCCC"));
  group.removeChildren(1, 100);
  EXPECT_THAT(childTags(group), ElementsAre("AAAA"));
}

TEST_F(VekGroupChunkTest, removeChildrenOfAReversedRangeRemovesNothing) {
  VekGroupChunk group(abcd);
  addPlain(group, {"AAAA", "BBBB", "CCCC"});
  group.removeChildren(2, 1);
  EXPECT_THAT(childTags(group), ElementsAre("AAAA", "BBBB", "CCCC"));
}

// Finding.

TEST_F(VekGroupChunkTest, findChildGivesTheFirstAtOrAfterTheStart) {
  VekGroupChunk group(abcd);
  addPlain(group, {"AAAA", "BBBB", "AAAA", "BBBB"});
  const unsigned int b = Vek::makeTag('B', 'B', 'B', 'B');
  EXPECT_EQ(group.findChild(b, 0), 1U);
  EXPECT_EQ(group.findChild(b, 1), 1U);
  EXPECT_EQ(group.findChild(b, 2), 3U);
}

TEST_F(VekGroupChunkTest, findChildOfAMissingTagGivesTheNumberOfChildren) {
  VekGroupChunk group(abcd);
  EXPECT_EQ(group.findChild(abcd, 0), 0U);
  addPlain(group, {"AAAA", "BBBB"});
  EXPECT_EQ(group.findChild(abcd, 0), 2U);
  EXPECT_EQ(group.findChild(Vek::makeTag('A', 'A', 'A', 'A'), 1), 2U);
}

TEST_F(VekGroupChunkTest, findChildFromTheEndOnGivesTheNumberOfChildren) {
  VekGroupChunk group(abcd);
  addPlain(group, {"AAAA", "BBBB"});
  const unsigned int a = Vek::makeTag('A', 'A', 'A', 'A');
  EXPECT_EQ(group.findChild(a, group.numChildren()), 2U);
  EXPECT_EQ(group.findChild(a, 1000), 2U);
  EXPECT_EQ(group.findChild(a, std::numeric_limits<std::uint64_t>::max()), 2U);
}

TEST_F(VekGroupChunkTest, findChildComparesTheWholeTag) {
  VekGroupChunk group(abcd);
  addPlain(group, {"AAAB", "BAAA", "AAAA"});
  EXPECT_EQ(group.findChild(Vek::makeTag('A', 'A', 'A', 'A'), 0), 2U);
}

TEST_F(VekGroupChunkTest, findChildDoesNotLookIntoInnerGroups) {
  VekGroupChunk group(abcd);
  auto* inner = new VekGroupChunk(Vek::Tag::SOBJ);
  addPlain(*inner, {"AAAA"});
  group.addChild(inner);
  EXPECT_EQ(group.findChild(Vek::makeTag('A', 'A', 'A', 'A'), 0), 1U);
}

// Length.

TEST_F(VekGroupChunkTest, lengthOfAnEmptyGroupIs0) {
  EXPECT_EQ(VekGroupChunk(abcd).getLength(), 0);
}

TEST_F(VekGroupChunkTest, lengthIsTheSumOfTheChildrenWithTheirHeaders) {
  VekGroupChunk group(abcd);
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1, 2, 3}));
  group.addChild(new VekLeafChunk<std::string>(Vek::Tag::NAME, 0, 0, {"ab"}));
  group.addChild(new VekChunk(VekHeader(abcd, 9, 100, 0, 0)));
  EXPECT_EQ(group.getLength(), (16 + 12) + (16 + 3) + (16 + 100));
}

TEST_F(VekGroupChunkTest, lengthOfInnerGroupsIsComputedInTurn) {
  VekGroupChunk group(abcd);
  auto* inner = new VekGroupChunk(Vek::Tag::SOBJ);
  inner->addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
  group.addChild(inner);
  group.addChild(new VekGroupChunk(Vek::Tag::SAMP));
  EXPECT_EQ(group.getLength(), 16 + (16 + 4) + 16);
}

TEST_F(VekGroupChunkTest, lengthAsksASubclassForItsOwn) {
  VekGroupChunk group(abcd);
  group.addChild(new Vek::VekMETAChunk);
  EXPECT_EQ(group.getLength(), 16 + 130);
}

TEST_F(VekGroupChunkTest, lengthIgnoresTheStoredOne) {
  OpenGroup group(abcd);
  group.header.length = 4711;
  EXPECT_EQ(group.getLength(), 0);
}

TEST_F(VekGroupChunkTest, lengthIsStaleWhileALeafsLengthIs) {
  VekGroupChunk group(abcd);
  auto* leaf = new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1});
  group.addChild(leaf);
  leaf->data = {1, 2, 3};
  EXPECT_EQ(group.getLength(), 20);
  leaf->updateLength();
  EXPECT_EQ(group.getLength(), 28);
}

TEST_F(VekGroupChunkTest, lengthAfterAReadIsThatOfTheFile) {
  const ByteImage payload =
      ByteImage().raw(int32Leaf("PCNT", 4)).chunk("SOBJ", 1, int32Leaf("PIDS", 5));
  VekGroupChunk group(abcd);
  ASSERT_TRUE(readInto(group, ByteImage().chunk("ABCD", 1, payload)));
  EXPECT_EQ(group.getLength(), 20 + 16 + 20);
}

TEST_F(VekGroupChunkTest, lengthCountsAnUnknownTypeThatWasReadAsAHeader) {
  VekGroupChunk group(abcd);
  ASSERT_TRUE(
      readInto(group, ByteImage().chunk("ABCD", 1, ByteImage().header("PCNT", 9, 5).raw("12345"))));
  EXPECT_EQ(group.getHeader().length, 21);
  EXPECT_EQ(group.getLength(), 16);
}

// Byte images.

TEST_F(VekGroupChunkTest, emptyGroupImage) {
  expectRoundTrip(ByteImage().header("ABCD", 1, 0));
}

TEST_F(VekGroupChunkTest, groupOfEveryLeafImage) {
  const ByteImage payload = ByteImage()
                                .header("MESH", 0, 3)
                                .raw(std::string("\0\xffz", 3))
                                .header("NAME", 2, 4)
                                .raw(std::string("ab\0\0", 4))
                                .header("PCNT", 3, 8, 0, 1)
                                .raw(std::string("\x04\0\0\0\xff\xff\xff\xff", 8))
                                .header("POSI", 4, 4, 1, 3)
                                .raw(std::string("\0\0\x80\x3f", 4))
                                .header("NSAM", 5, 8)
                                .raw(std::string("\0\0\0\0\x01\0\0\0", 8))
                                .header("MTRX", 6, 8, 4, 16)
                                .raw(std::string("\0\0\0\0\0\0\xf0\x3f", 8));
  ASSERT_EQ(payload.size(), 6U * 16 + 3 + 4 + 8 + 4 + 8 + 8);
  expectRoundTrip(ByteImage().header("ABCD", 1, 131).raw(payload));
}

TEST_F(VekGroupChunkTest, groupsInGroupsImage) {
  const ByteImage inner = ByteImage().chunk("SOBJ", 1, int32Leaf("PIDS", 5));
  const ByteImage payload =
      ByteImage().chunk("SAMP", 1, inner).header("FORM", 1, 0).raw(int32Leaf("PCNT", 6));
  expectRoundTrip(ByteImage().header("ABCD", 1, (16 + 16 + 20) + 16 + 20).raw(payload));
}

TEST_F(VekGroupChunkTest, freeChildrenAreReadKeptAndWritten) {
  const ByteImage payload = ByteImage()
                                .header("FREE", 0, 5)
                                .raw("12345")
                                .raw(int32Leaf("PCNT", 6))
                                .header("FREE", 1, 0)
                                .raw(int32Leaf("FREE", 7));
  const ByteImage image = ByteImage().chunk("ABCD", 1, payload);
  VekGroupChunk group(abcd);
  ASSERT_TRUE(readInto(group, image));
  EXPECT_THAT(childTags(group), ElementsAre("FREE", "PCNT", "FREE", "FREE"));
  EXPECT_EQ(written(group), image.bytes());
}

TEST_F(VekGroupChunkTest, reservedByteOfAGroupSurvives) {
  expectRoundTrip(ByteImage()
                      .header("ABCD", 1, 36, 4, 16, 99)
                      .header("SOBJ", 1, 20, 1, 2, 3)
                      .raw(int32Leaf("PCNT", 6)));
}

TEST_F(VekGroupChunkTest, reservedByteOfALeafInAGroupBecomesZero) {
  VekGroupChunk group(abcd);
  ASSERT_TRUE(
      readInto(group, ByteImage().header("ABCD", 1, 20).header("PCNT", 3, 4, 1, 2, 3).int32(6)));
  EXPECT_EQ(written(group),
            ByteImage().header("ABCD", 1, 20).header("PCNT", 3, 4, 1, 2, 0).int32(6).bytes());
}

TEST_F(VekGroupChunkTest, unknownTypeInAGroupLosesItsPayloadWhenWritten) {
  VekGroupChunk group(abcd);
  const ByteImage payload =
      ByteImage().header("MESH", 9, 5, 1, 2, 3).raw("12345").raw(int32Leaf("PCNT", 6));
  ASSERT_TRUE(readInto(group, ByteImage().chunk("ABCD", 1, payload)));
  EXPECT_THAT(childTags(group), ElementsAre("MESH", "PCNT"));
  EXPECT_EQ(
      written(group),
      ByteImage().header("ABCD", 1, 36).header("MESH", 9, 0).raw(int32Leaf("PCNT", 6)).bytes());
}

TEST_F(VekGroupChunkTest, writeReadWriteGivesTheSameBytes) {
  VekGroupChunk group(abcd);
  group.addChild(new VekLeafChunk<char>(Vek::Tag::MESH, 0, 0, {'\0', 'x'}));
  group.addChild(new VekLeafChunk<std::string>(Vek::Tag::NAME, 0, 0, {"one", "", "two"}));
  auto* inner = new VekGroupChunk(Vek::Tag::SOBJ);
  inner->addChild(new VekLeafChunk<float>(Vek::Tag::POSI, 1, 3, {1.0F, 2.0F, 3.0F}));
  inner->addChild(new VekGroupChunk(Vek::Tag::FORM));
  inner->addChild(new VekLeafChunk<double>(Vek::Tag::MTRX, 4, 16, std::vector<double>(16, 0.1)));
  group.addChild(inner);
  group.addChild(new VekLeafChunk<__int64>(Vek::Tag::NSAM, 0, 0, {}));
  const std::string first = written(group);
  VekGroupChunk again(abcd);
  ASSERT_TRUE(readInto(again, ByteImage().raw(first)));
  EXPECT_EQ(written(again), first);
}

// Reading.

TEST_F(VekGroupChunkTest, readTakesTheHeaderOver) {
  VekGroupChunk group(abcd);
  ASSERT_TRUE(
      readInto(group, ByteImage().header("ABCD", 1, 20, 4, 16, 99).raw(int32Leaf("PCNT", 1))));
  EXPECT_EQ(group.getType(), 1);
  EXPECT_EQ(group.getCompound(), 4);
  EXPECT_EQ(group.getDimension(), 16);
  EXPECT_EQ(group.getHeader().reserved, 99);
  EXPECT_EQ(group.getHeader().length, 20);
}

TEST_F(VekGroupChunkTest, readMakesTheChildrenThatTheFactoryMakes) {
  const ByteImage payload = ByteImage()
                                .header("DVEK", 5, 8)
                                .int64(2)
                                .header("META", 1, 0)
                                .header("MESH", 9, 0)
                                .header("NAME", 2, 2)
                                .cstr("n");
  VekGroupChunk group(abcd);
  ASSERT_TRUE(readInto(group, ByteImage().chunk("ABCD", 1, payload)));
  ASSERT_EQ(group.numChildren(), 4U);
  VekChunk& leaf = *group.getChild(0);
  VekChunk& inner = *group.getChild(1);
  VekChunk& other = *group.getChild(2);
  VekChunk& text = *group.getChild(3);
  EXPECT_EQ(typeid(leaf), typeid(VekLeafChunk<__int64>));
  EXPECT_EQ(typeid(inner), typeid(VekGroupChunk));
  EXPECT_EQ(typeid(other), typeid(VekChunk));
  EXPECT_EQ(typeid(text), typeid(VekLeafChunk<std::string>));
}

TEST_F(VekGroupChunkTest, readOfLength0GivesNoChildrenAndDoesNotMove) {
  VekGroupChunk group(abcd);
  EXPECT_TRUE(readInto(group, ByteImage().header("ABCD", 1, 0).raw(int32Leaf("PCNT", 1))));
  EXPECT_EQ(group.numChildren(), 0U);
  EXPECT_EQ(m_position, 16);
}

TEST_F(VekGroupChunkTest, readEndsAtTheGroupsEnd) {
  VekGroupChunk group(abcd);
  EXPECT_TRUE(readInto(
      group,
      ByteImage().header("ABCD", 1, 20).raw(int32Leaf("PCNT", 1)).raw(int32Leaf("PIDS", 2))));
  EXPECT_THAT(childTags(group), ElementsAre("PCNT"));
  EXPECT_EQ(m_position, 36);
  EXPECT_EQ(m_level, 0U);
}

TEST_F(VekGroupChunkTest, readInsideAnotherGroupLeavesThatOpen) {
  const std::string file = writeFile(ByteImage()
                                         .header("OUTR", 1, 36 + 20)
                                         .header("ABCD", 1, 20)
                                         .raw(int32Leaf("PCNT", 1))
                                         .raw(int32Leaf("PIDS", 2)));
  VekFile f(file.c_str(), "r");
  VekHeader h;
  ASSERT_TRUE(f.readHeader(h));
  ASSERT_TRUE(f.readHeader(h));
  VekGroupChunk group(abcd);
  ASSERT_TRUE(group.read(h, f));
  EXPECT_THAT(childTags(group), ElementsAre("PCNT"));
  EXPECT_EQ(f.getLevel(), 1U);
  EXPECT_EQ(f.tell(), 52);
}

TEST_F(VekGroupChunkTest, readEndsSeveralGroupsAtTheSameByte) {
  const ByteImage innermost = ByteImage().chunk("SOBJ", 1, int32Leaf("PIDS", 5));
  const ByteImage middle = ByteImage().chunk("SAMP", 1, innermost);
  VekGroupChunk group(abcd);
  ASSERT_TRUE(readInto(group, ByteImage().chunk("ABCD", 1, middle).raw(int32Leaf("PCNT", 1))));
  EXPECT_THAT(childTags(group), ElementsAre("SAMP"));
  EXPECT_EQ(m_level, 0U);
  EXPECT_EQ(m_position, 16 + 16 + 16 + 20);
}

TEST_F(VekGroupChunkTest, readEndsAtAnEmptyLastChild) {
  for (const int type : {0, 1, 2, 3, 4, 5, 6, 9}) {
    VekGroupChunk group(abcd);
    ASSERT_TRUE(readInto(
        group, ByteImage().header("ABCD", 1, 16).header("LAST", type, 0).raw(int32Leaf("PCNT", 1))))
        << type;
    EXPECT_THAT(childTags(group), ElementsAre("LAST")) << type;
    EXPECT_EQ(m_position, 32) << type;
    EXPECT_EQ(m_level, 0U) << type;
  }
}

TEST_F(VekGroupChunkTest, readOfAnotherTagFailsAndChangesNothing) {
  VekGroupChunk group(abcd);
  addPlain(group, {"KEPT"});
  EXPECT_FALSE(readInto(group, ByteImage().header("ABCE", 1, 20, 4, 16).raw(int32Leaf("PCNT", 1))));
  EXPECT_EQ(m_position, 16);
  EXPECT_THAT(childTags(group), ElementsAre("KEPT"));
  EXPECT_EQ(group.getCompound(), 0);
  EXPECT_EQ(group.getHeader().length, 0);
}

TEST_F(VekGroupChunkTest, readOfAnotherTypeFailsAndChangesNothing) {
  for (const int type : {0, 2, 3, 4, 5, 6, 9}) {
    VekGroupChunk group(abcd);
    addPlain(group, {"KEPT"});
    EXPECT_FALSE(readInto(group, ByteImage().header("ABCD", type, 20).raw(int32Leaf("PCNT", 1))))
        << type;
    EXPECT_THAT(childTags(group), ElementsAre("KEPT")) << type;
  }
}

TEST_F(VekGroupChunkTest, readFromAClosedFileFails) {
  VekFile f;
  VekGroupChunk group(abcd);
  EXPECT_FALSE(group.read(VekHeader(abcd, 1, 20, 0, 0), f));
}

// A second read drops the children from before without destroying them.
TEST_F(VekGroupChunkTest, secondReadDropsTheOldChildrenWithoutDestroyingThem) {
  int destroyed = 0;
  VekGroupChunk group(abcd);
  const std::unique_ptr<VekChunk> first(new CountedChunk(destroyed));
  const std::unique_ptr<VekChunk> second(new VekLeafChunk<int>(abcd, 0, 0, {1, 2}));
  group.addChild(first.get());
  group.addChild(second.get());
  ASSERT_TRUE(readInto(group, ByteImage().chunk("ABCD", 1, int32Leaf("PCNT", 1))));
  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(Vek::asLeaf<int>(second.get())->data, (std::vector<int>{1, 2}));
  EXPECT_THAT(childTags(group), ElementsAre("PCNT"));
}

TEST_F(VekGroupChunkTest, secondReadOfTheSameGroupDoesNotDoubleTheChildren) {
  const ByteImage image =
      ByteImage().chunk("ABCD", 1, ByteImage(int32Leaf("PCNT", 1)).raw(int32Leaf("PIDS", 2)));
  VekGroupChunk group(abcd);
  ASSERT_TRUE(readInto(group, image));
  const std::unique_ptr<VekChunk> first(group.getChild(0));
  const std::unique_ptr<VekChunk> second(group.getChild(1));
  ASSERT_TRUE(readInto(group, image));
  ASSERT_EQ(group.numChildren(), 2U);
  EXPECT_NE(group.getChild(0), first.get());
  EXPECT_NE(group.getChild(1), second.get());
  EXPECT_EQ(first->getTag(), Vek::Tag::PCNT);
  EXPECT_EQ(second->getTag(), Vek::Tag::PIDS);
}

TEST_F(VekGroupChunkTest, readOfLength0DropsTheOldChildrenToo) {
  int destroyed = 0;
  VekGroupChunk group(abcd);
  const std::unique_ptr<VekChunk> old(new CountedChunk(destroyed));
  group.addChild(old.get());
  ASSERT_TRUE(readInto(group, ByteImage().header("ABCD", 1, 0)));
  EXPECT_EQ(group.numChildren(), 0U);
  EXPECT_EQ(destroyed, 0);
}

TEST_F(VekGroupChunkTest, failedReadKeepsTheChildrenReadSoFar) {
  VekGroupChunk group(abcd);
  const ByteImage payload = ByteImage()
                                .raw(int32Leaf("PCNT", 1))
                                .raw(int32Leaf("PIDS", 2))
                                .header("POSI", 4, 10)
                                .zeros(10)
                                .raw(int32Leaf("NCNT", 3));
  EXPECT_FALSE(readInto(group, ByteImage().chunk("ABCD", 1, payload)));
  EXPECT_THAT(childTags(group), ElementsAre("PCNT", "PIDS"));
}

TEST_F(VekGroupChunkTest, failureInAnInnerGroupFailsTheOuterOneAndDestroysTheInner) {
  VekGroupChunk group(abcd);
  const ByteImage inner = ByteImage().raw(int32Leaf("PIDS", 2)).header("POSI", 4, 10).zeros(10);
  EXPECT_FALSE(readInto(
      group,
      ByteImage().chunk("ABCD", 1, ByteImage(int32Leaf("PCNT", 1)).chunk("SOBJ", 1, inner))));
  EXPECT_THAT(childTags(group), ElementsAre("PCNT"));
}

// Writing.

TEST_F(VekGroupChunkTest, writePatchesTheLengthOverTheStoredOne) {
  OpenGroup group(abcd);
  group.header.length = 4711;
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
  EXPECT_EQ(written(group), ByteImage().header("ABCD", 1, 20).raw(int32Leaf("PCNT", 1)).bytes());
  EXPECT_EQ(group.getHeader().length, 4711);
}

TEST_F(VekGroupChunkTest, writeOfAnEmptyGroupPatchesTheLengthTo0) {
  OpenGroup group(abcd);
  group.header.length = 4711;
  EXPECT_EQ(written(group), ByteImage().header("ABCD", 1, 0).bytes());
}

TEST_F(VekGroupChunkTest, writeUsesTheStoredHeader) {
  OpenGroup group(abcd);
  group.header.compound = 6;
  group.header.dimension = 9;
  group.header.reserved = 255;
  EXPECT_EQ(written(group), ByteImage().header("ABCD", 1, 0, 6, 9, 255).bytes());
}

TEST_F(VekGroupChunkTest, writeGoesToTheCurrentPosition) {
  VekFile f(path().c_str(), "w");
  VekGroupChunk group(abcd);
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
  ASSERT_TRUE(VekLeafChunk<int>(Vek::Tag::PIDS, 0, 0, {2}).write(f));
  ASSERT_TRUE(group.write(f));
  EXPECT_EQ(f.tell(), 56);
  ASSERT_TRUE(f.close());
  EXPECT_EQ(readFile(path()), ByteImage()
                                  .raw(int32Leaf("PIDS", 2))
                                  .header("ABCD", 1, 20)
                                  .raw(int32Leaf("PCNT", 1))
                                  .bytes());
}

TEST_F(VekGroupChunkTest, writeToAClosedFileFails) {
  VekFile f;
  EXPECT_FALSE(VekGroupChunk(abcd).write(f));
}

TEST_F(VekGroupChunkTest, writeToAFileOpenForReadingFails) {
  const std::string file = writeFile(ByteImage().zeros(64));
  VekFile f(file.c_str(), "r");
  EXPECT_FALSE(VekGroupChunk(abcd).write(f));
  EXPECT_EQ(f.getLevel(), 0U);
}

TEST_F(VekGroupChunkTest, failingChildEndsTheGroupAndTheWrite) {
  VekGroupChunk group(abcd);
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
  group.addChild(new UnwritableChunk);
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PIDS, 0, 0, {2}));
  VekFile f(path().c_str(), "w");
  EXPECT_FALSE(group.write(f));
  EXPECT_EQ(f.getLevel(), 0U);
  ASSERT_TRUE(f.close());
  EXPECT_EQ(readFile(path()), ByteImage().header("ABCD", 1, 20).raw(int32Leaf("PCNT", 1)).bytes());
}

TEST_F(VekGroupChunkTest, failingGrandchildEndsBothGroups) {
  VekGroupChunk group(abcd);
  auto* inner = new VekGroupChunk(Vek::Tag::SOBJ);
  inner->addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
  inner->addChild(new UnwritableChunk);
  group.addChild(inner);
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PIDS, 0, 0, {2}));
  VekFile f(path().c_str(), "w");
  EXPECT_FALSE(group.write(f));
  EXPECT_EQ(f.getLevel(), 0U);
  ASSERT_TRUE(f.close());
  EXPECT_EQ(
      readFile(path()),
      ByteImage().header("ABCD", 1, 36).header("SOBJ", 1, 20).raw(int32Leaf("PCNT", 1)).bytes());
}

TEST_F(VekGroupChunkTest, writeGivesTheResultOfEndingTheGroup) {
  struct Closing : public VekChunk {
    bool write(VekFile& f) const override { return f.close(); }
  };
  VekGroupChunk group(abcd);
  group.addChild(new Closing);
  VekFile f(path().c_str(), "w");
  EXPECT_FALSE(group.write(f));
}

// Printing.

TEST_F(VekGroupChunkTest, printOfAnEmptyGroupIsOneLine) {
  EXPECT_EQ(printed(VekGroupChunk(abcd)), "ABCD group (0) : \n");
  EXPECT_EQ(printed(VekGroupChunk(abcd), 2), ". . ABCD group (0) : \n");
}

TEST_F(VekGroupChunkTest, printOfAGroupHasOneIndentedLineForEachLeaf) {
  VekGroupChunk group(abcd);
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 1, {4, 3}));
  group.addChild(new VekLeafChunk<std::string>(Vek::Tag::NAME, 0, 0, {"n"}));
  EXPECT_EQ(printed(group, 1),
            ". ABCD group (0) : \n"
            ". . PCNT int32 (8) scalar : 4 3 \n"
            ". . NAME cstr (2) : n \n");
}

// The inner group ends its own lines and its parent adds one more line end.
TEST_F(VekGroupChunkTest, printOfAnInnerGroupIsFollowedByAnEmptyLine) {
  const ByteImage inner = ByteImage().chunk("SOBJ", 1, int32Leaf("PCNT", 4));
  const ByteImage payload = ByteImage().chunk("SAMP", 1, inner).raw(int32Leaf("PIDS", 5));
  VekGroupChunk group(abcd);
  ASSERT_TRUE(readInto(group, ByteImage().chunk("ABCD", 1, payload)));
  EXPECT_EQ(printed(group),
            "ABCD group (72) : \n"
            ". SAMP group (36) : \n"
            ". . SOBJ group (20) : \n"
            ". . . PCNT int32 (4) : 4 \n"
            "\n"
            "\n"
            ". PIDS int32 (4) : 5 \n");
}

TEST_F(VekGroupChunkTest, printReturnsItsStream) {
  std::ostringstream os;
  const OpenGroup group(abcd);
  EXPECT_EQ(&group.print(os, 1), &os);
  EXPECT_EQ(&group.printChildren(os, 1), &os);
}

// The hooks.

TEST_F(VekGroupChunkTest, baseReadChildClaimsNothing) {
  OpenGroup group(abcd);
  VekFile f;
  bool handled = true;
  EXPECT_FALSE(group.readChild(VekHeader(Vek::Tag::PCNT, 3, 4, 0, 0), f, handled));
  EXPECT_FALSE(handled);
}

TEST_F(VekGroupChunkTest, baseReadChildDoesNotMoveTheFile) {
  const std::string file = writeFile(int32Leaf("PCNT", 4));
  VekFile f(file.c_str(), "r");
  VekHeader h;
  ASSERT_TRUE(f.readHeader(h));
  OpenGroup group(abcd);
  bool handled = true;
  group.readChild(h, f, handled);
  EXPECT_EQ(f.tell(), 16);
}

TEST_F(VekGroupChunkTest, baseWriteChildrenSucceedsAndWritesNothing) {
  OpenGroup group(abcd);
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
  VekFile f(path().c_str(), "w");
  EXPECT_TRUE(group.writeChildren(f));
  EXPECT_EQ(f.tell(), 0);
  VekFile closed;
  EXPECT_TRUE(group.writeChildren(closed));
}

TEST_F(VekGroupChunkTest, basePrintChildrenPrintsNothing) {
  OpenGroup group(abcd);
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
  std::ostringstream os;
  group.printChildren(os, 3);
  EXPECT_EQ(os.str(), "");
}

/// A group that keeps its `COLR` child, three ints, in a member.
struct ColorGroup : public VekGroupChunk {
  static constexpr unsigned int colr = Vek::makeTag('C', 'O', 'L', 'R');
  ColorGroup() : VekGroupChunk(abcd) {}
  bool readChild(const VekHeader& h, VekFile& f, bool& handled) override {
    offered.push_back(h.tagStr());
    handled = h.tag == colr && h.type == 3 && h.length == 12;
    return handled && f.readData(h, color);
  }
  bool writeChildren(VekFile& f) const override {
    return f.writeChunk(colr, std::vector<int>(color, color + 3));
  }
  std::ostream& printChildren(std::ostream& os, int indent) const override {
    return os << "indent " << indent << " color " << color[0] << '\n';
  }
  int color[3] = {0, 0, 0};
  std::vector<std::string> offered;
};

ByteImage colorChunk() {
  return ByteImage().header("COLR", 3, 12).int32(1).int32(2).int32(3);
}

TEST_F(VekGroupChunkTest, claimedChildStaysOutOfTheList) {
  ColorGroup group;
  ASSERT_TRUE(readInto(
      group, ByteImage().chunk("ABCD", 1,
                               int32Leaf("PCNT", 4).raw(colorChunk()).raw(int32Leaf("PIDS", 5)))));
  EXPECT_THAT(childTags(group), ElementsAre("PCNT", "PIDS"));
  EXPECT_THAT(group.color, ElementsAre(1, 2, 3));
}

TEST_F(VekGroupChunkTest, everyChildIsOfferedToTheHook) {
  ColorGroup group;
  const ByteImage inner = ByteImage().chunk("SOBJ", 1, colorChunk());
  ASSERT_TRUE(readInto(
      group, ByteImage().chunk("ABCD", 1, int32Leaf("PCNT", 4).raw(inner).raw(colorChunk()))));
  EXPECT_THAT(group.offered, ElementsAre("PCNT", "SOBJ", "COLR"));
}

TEST_F(VekGroupChunkTest, childThatTheHookLeavesStaysGeneric) {
  ColorGroup group;
  ASSERT_TRUE(readInto(group, ByteImage().chunk("ABCD", 1, int32Leaf("COLR", 4))));
  EXPECT_THAT(childTags(group), ElementsAre("COLR"));
  EXPECT_THAT(group.color, ElementsAre(0, 0, 0));
}

TEST_F(VekGroupChunkTest, ownMembersAreWrittenBeforeTheGenericChildren) {
  ColorGroup group;
  ASSERT_TRUE(
      readInto(group, ByteImage().chunk("ABCD", 1, int32Leaf("PCNT", 4).raw(colorChunk()))));
  EXPECT_EQ(written(group),
            ByteImage().header("ABCD", 1, 48).raw(colorChunk()).raw(int32Leaf("PCNT", 4)).bytes());
}

TEST_F(VekGroupChunkTest, ownMembersArePrintedBeforeTheGenericChildren) {
  ColorGroup group;
  group.color[0] = 7;
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {4}));
  EXPECT_EQ(printed(group, 1),
            ". ABCD group (0) : \n"
            "indent 2 color 7\n"
            ". . PCNT int32 (4) : 4 \n");
}

TEST_F(VekGroupChunkTest, hookThatClaimsAndFailsFailsTheRead) {
  struct Failing : public VekGroupChunk {
    using VekGroupChunk::VekGroupChunk;
    bool readChild(const VekHeader& h, VekFile& f, bool& handled) override {
      handled = h.tag == Vek::Tag::PIDS;
      if (handled) f.skipData(h);
      return false;
    }
  };
  Failing group(abcd);
  EXPECT_FALSE(readInto(
      group,
      ByteImage().chunk("ABCD", 1,
                        int32Leaf("PCNT", 1).raw(int32Leaf("PIDS", 2)).raw(int32Leaf("NCNT", 3)))));
  EXPECT_THAT(childTags(group), ElementsAre("PCNT"));
}

TEST_F(VekGroupChunkTest, resultOfAHookThatClaimsNothingDoesNotMatter) {
  struct Eager : public VekGroupChunk {
    using VekGroupChunk::VekGroupChunk;
    bool readChild(const VekHeader& /*h*/, VekFile& /*f*/, bool& handled) override {
      handled = false;
      return true;
    }
  };
  Eager group(abcd);
  EXPECT_TRUE(readInto(group, ByteImage().chunk("ABCD", 1, int32Leaf("PCNT", 1))));
  EXPECT_THAT(childTags(group), ElementsAre("PCNT"));
}

TEST_F(VekGroupChunkTest, failingWriteChildrenEndsTheGroupAndTheWrite) {
  struct Failing : public VekGroupChunk {
    using VekGroupChunk::VekGroupChunk;
    bool writeChildren(VekFile& f) const override {
      f.writeChunk(Vek::Tag::NCNT, std::vector<int>{9});
      return false;
    }
  };
  Failing group(abcd);
  group.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
  VekFile f(path().c_str(), "w");
  EXPECT_FALSE(group.write(f));
  EXPECT_EQ(f.getLevel(), 0U);
  ASSERT_TRUE(f.close());
  EXPECT_EQ(readFile(path()), ByteImage().header("ABCD", 1, 20).raw(int32Leaf("NCNT", 9)).bytes());
}

// Trace lines.

TEST_F(VekGroupChunkTest, verbosityIsMinus1AtFirst) {
  EXPECT_EQ(Vek::verbosity, -1);
}

TEST_F(VekGroupChunkTest, readChildTracesTheHeader) {
  const VerbosityScope scope(5);
  OpenGroup group(abcd);
  bool handled = false;
  VekFile closed;
  EXPECT_EQ(VekTest::captureStderr(
                [&] { group.readChild(VekHeader(Vek::Tag::POSI, 4, 12, 1, 3), closed, handled); }),
            "VekGroupChunk::readChild 0 POSI float (12) point 3d\n");
  VekFile open(path().c_str(), "w");
  EXPECT_EQ(VekTest::captureStderr(
                [&] { group.readChild(VekHeader(Vek::Tag::SOBJ, 1, 8, 0, 0), open, handled); }),
            "VekGroupChunk::readChild 1 SOBJ group (8)\n");
}

TEST_F(VekGroupChunkTest, writeChildrenTracesWhetherTheFileIsOpen) {
  const VerbosityScope scope(5);
  const OpenGroup group(abcd);
  VekFile f;
  EXPECT_EQ(VekTest::captureStderr([&] { group.writeChildren(f); }),
            "VekGroupChunk::writeChildren 0\n");
  ASSERT_TRUE(f.open(path().c_str(), "w"));
  EXPECT_EQ(VekTest::captureStderr([&] { group.writeChildren(f); }),
            "VekGroupChunk::writeChildren 1\n");
}

TEST_F(VekGroupChunkTest, printChildrenTracesTheIndent) {
  const VerbosityScope scope(5);
  const OpenGroup group(abcd);
  std::ostringstream os;
  EXPECT_EQ(VekTest::captureStderr([&] { group.printChildren(os, 12); }),
            "VekGroupChunk::printChildren 12\n");
  EXPECT_EQ(os.str(), "");
}

TEST_F(VekGroupChunkTest, readTracesEveryChildOfGenericGroups) {
  const VerbosityScope scope(6);
  const ByteImage payload = int32Leaf("PCNT", 1).chunk("SOBJ", 1, int32Leaf("PIDS", 2));
  VekGroupChunk group(abcd);
  EXPECT_EQ(VekTest::captureStderr(
                [&] { EXPECT_TRUE(readInto(group, ByteImage().chunk("ABCD", 1, payload))); }),
            "VekGroupChunk::readChild 1 PCNT int32 (4)\n"
            "VekGroupChunk::readChild 1 SOBJ group (20)\n"
            "VekGroupChunk::readChild 1 PIDS int32 (4)\n");
}

TEST_F(VekGroupChunkTest, writeAndPrintTraceOncePerGroup) {
  const VerbosityScope scope(5);
  VekGroupChunk group(abcd);
  group.addChild(new VekGroupChunk(Vek::Tag::SOBJ));
  EXPECT_EQ(VekTest::captureStderr([&] { written(group); }),
            "VekGroupChunk::writeChildren 1\n"
            "VekGroupChunk::writeChildren 1\n");
  std::string text;
  EXPECT_EQ(VekTest::captureStderr([&] { text = printed(group, 1); }),
            "VekGroupChunk::printChildren 2\n"
            "VekGroupChunk::printChildren 3\n");
  EXPECT_EQ(text,
            ". ABCD group (0) : \n"
            ". . SOBJ group (0) : \n"
            "\n");
}

TEST_F(VekGroupChunkTest, hooksAreSilentBelowLevel5) {
  const ByteImage image = ByteImage().chunk("ABCD", 1, int32Leaf("PCNT", 1));
  for (const int level : {-1, 0, 4}) {
    const VerbosityScope scope(level);
    EXPECT_EQ(VekTest::captureStderr([&] {
                VekGroupChunk group(abcd);
                EXPECT_TRUE(readInto(group, image));
                written(group);
                printed(group);
              }),
              "")
        << level;
  }
}

TEST_F(VekGroupChunkTest, nothingIsPrintedAboutAFailure) {
  const ByteImage image = ByteImage().chunk("ABCD", 1, ByteImage().header("POSI", 4, 10).zeros(10));
  std::string errors;
  const std::string output = VekTest::captureStdout([&] {
    errors = VekTest::captureStderr([&] {
      VekGroupChunk group(abcd);
      EXPECT_FALSE(readInto(group, image));
      VekFile closed;
      EXPECT_FALSE(group.write(closed));
    });
  });
  EXPECT_EQ(output, "");
  EXPECT_EQ(errors, "");
}

// Damaged groups.

TEST_F(VekGroupChunkTest, aGroupOfNegativeLengthFails) {
  for (const std::int64_t length :
       {std::int64_t{-1}, std::int64_t{-16}, std::numeric_limits<std::int64_t>::min()}) {
    VekGroupChunk group(abcd);
    EXPECT_FALSE(readInto(group, ByteImage().header("ABCD", 1, length).zeros(64))) << length;
  }
}

TEST_F(VekGroupChunkTest, readOfANegativeLengthHandedInFails) {
  const std::string file = writeFile(ByteImage().raw(int32Leaf("PCNT", 1)).zeros(64));
  VekFile f(file.c_str(), "r");
  VekGroupChunk group(abcd);
  EXPECT_FALSE(group.read(VekHeader(abcd, 1, -20, 0, 0), f));
}

TEST_F(VekGroupChunkTest, aGroupThatEndsAfterTheFileFails) {
  const std::int64_t most = std::numeric_limits<std::int64_t>::max();
  for (const std::int64_t length :
       {std::int64_t{21}, std::int64_t{36}, std::int64_t{1} << 40, most - 16, most}) {
    VekGroupChunk group(abcd);
    EXPECT_FALSE(readInto(group, ByteImage().header("ABCD", 1, length).raw(int32Leaf("PCNT", 1))))
        << length;
  }
}

TEST_F(VekGroupChunkTest, aGroupThatEndsInsideAChildFails) {
  for (const int length : {1, 8, 15, 17, 19}) {
    VekGroupChunk group(abcd);
    EXPECT_FALSE(readInto(
        group,
        ByteImage().header("ABCD", 1, length).raw(int32Leaf("PCNT", 1)).raw(int32Leaf("PIDS", 1))))
        << length;
  }
}

TEST_F(VekGroupChunkTest, anInnerGroupThatEndsAfterItsParentFails) {
  VekGroupChunk group(abcd);
  EXPECT_FALSE(readInto(group, ByteImage()
                                   .header("ABCD", 1, 16 + 20)
                                   .header("SOBJ", 1, 40)
                                   .raw(int32Leaf("PCNT", 1))
                                   .raw(int32Leaf("PIDS", 1))));
}

TEST_F(VekGroupChunkTest, aChildOfNegativeLengthFails) {
  for (const int type : {0, 1, 2, 3, 4, 5, 6, 9}) {
    for (const std::int64_t length : {std::int64_t{-8}, std::int64_t{-16}, std::int64_t{-32},
                                      std::numeric_limits<std::int64_t>::min()}) {
      VekGroupChunk group(abcd);
      EXPECT_FALSE(
          readInto(group, ByteImage().header("ABCD", 1, 80).header("POSI", type, length).zeros(64)))
          << type << ' ' << length;
      EXPECT_EQ(group.numChildren(), 0U);
    }
  }
}

TEST_F(VekGroupChunkTest, aChildThatEndsAfterTheFileFails) {
  for (const int type : {0, 1, 2, 3, 4, 5, 6, 9}) {
    for (const std::int64_t length :
         {std::int64_t{128}, std::int64_t{1} << 44, std::numeric_limits<std::int64_t>::max() - 7}) {
      VekGroupChunk group(abcd);
      EXPECT_FALSE(
          readInto(group, ByteImage().header("ABCD", 1, 80).header("POSI", type, length).zeros(64)))
          << type << ' ' << length;
    }
  }
}

TEST_F(VekGroupChunkTest, aFileThatEndsInAHeaderFails) {
  VekGroupChunk group(abcd);
  EXPECT_FALSE(
      readInto(group, ByteImage().header("ABCD", 1, 36).raw(int32Leaf("PCNT", 1)).raw("PID")));
  EXPECT_THAT(childTags(group), ElementsAre("PCNT"));
}

TEST_F(VekGroupChunkTest, everyCutOfAFileFails) {
  const ByteImage inner = int32Leaf("PIDS", 2).header("NAME", 2, 3).cstr("ab");
  const std::string bytes =
      ByteImage().chunk("ABCD", 1, int32Leaf("PCNT", 1).chunk("SOBJ", 1, inner)).bytes();
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    VekGroupChunk group(abcd);
    EXPECT_FALSE(readInto(group, ByteImage().raw(bytes.substr(0, size)))) << size;
  }
}

TEST_F(VekGroupChunkTest, aThousandNestedGroupsAreReadAndWrittenAndCopied) {
  const ByteImage image = nestedGroups(1001);
  VekGroupChunk group(abcd);
  ASSERT_TRUE(readInto(group, image));
  EXPECT_EQ(group.getLength(), 16000);
  EXPECT_EQ(written(group), image.bytes());
  const std::unique_ptr<VekChunk> copied(VekChunk::copy(&group));
  ASSERT_NE(copied, nullptr);
  EXPECT_EQ(copied->getLength(), 16000);
}

TEST_F(VekGroupChunkTest, groupsNested100000DeepFail) {
  VekGroupChunk group(abcd);
  EXPECT_FALSE(readInto(group, nestedGroups(100000)));
}

TEST_F(VekGroupChunkTest, manyGroupsSideBySideAreNoNesting) {
  ByteImage payload;
  for (int i = 0; i < 5000; ++i) payload.chunk("SOBJ", 1, int32Leaf("PCNT", i));
  for (int i = 0; i < 5000; ++i) payload.header("SAMP", 1, 0);
  const ByteImage image = ByteImage().chunk("ABCD", 1, payload);
  VekGroupChunk group(abcd);
  ASSERT_TRUE(readInto(group, image));
  EXPECT_EQ(group.numChildren(), 10000U);
  EXPECT_EQ(written(group), image.bytes());
}

}  // namespace
