// SPDX-License-Identifier: Apache-2.0
//
// Tests of the attributes of an object: the combined index, the value chunks, both removal rules,
// merging, and DATR and ATRS as bytes, lengths and text.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "ChunkTest.h"
#include "TextPattern.h"
#include "VekChunks.h"

namespace {

using namespace Vek;
using namespace VekTest;

using Strings = std::vector<std::string>;

constexpr int kIntMin = std::numeric_limits<int>::min();
constexpr int kIntMax = std::numeric_limits<int>::max();
constexpr unsigned int kABCD = makeTag('A', 'B', 'C', 'D');

/// A chunk that cannot be written.
struct UnwritableChunk : VekChunk {
  bool write(VekFile&) const override { return false; }
};

class VekDATRChunkTest : public ChunkTest {
 protected:
  static void addStatic(VekDATRChunk& to, const std::string& name, float value) {
    asLeaf<float>(to.getStaticData(to.addAttr(false, name, "float", ValueType::Float, 0, 1)))
        ->setData({value});
  }
  /// Animated attributes a0, a1, ... of type ta0, ta1, ... and static ones s0, s1, ... with the
  /// values 0, 1, ...
  static void fill(VekDATRChunk& datr, int numAnimated, int numStatic) {
    for (int i = 0; i < numAnimated; ++i) {
      datr.addAnimatedAttribute("a" + std::to_string(i), "ta" + std::to_string(i));
    }
    for (int i = 0; i < numStatic; ++i) {
      addStatic(datr, "s" + std::to_string(i), static_cast<float>(i));
    }
  }
  /// The values of the static attributes that the chunk fill() made still holds.
  static std::vector<float> staticValues(const VekDATRChunk& datr) {
    std::vector<float> values;
    for (unsigned __int64 i = 0; i < datr.atrs.numChildren(); ++i) {
      const auto* leaf = asLeaf<float>(datr.atrs.getChild(i));
      values.push_back(leaf && leaf->data.size() == 1 ? leaf->data[0] : -1.0F);
    }
    return values;
  }
};

// The animated attribute "vis" (bool) and the static ones "color" (float3: 0.25 0.5 1) and "id"
// (int: 7).
ByteImage satrImage() {
  return ByteImage()
      .header("SATR", 1, 52)
      .header("NAME", 2, 9)
      .cstr("color")
      .cstr("id")
      .header("TYPE", 2, 11)
      .cstr("float3")
      .cstr("int");
}
ByteImage atrsImage() {
  return ByteImage()
      .header("ATRS", 1, 48)
      .header("ATTR", 4, 12, 5, 3)
      .float32(0.25F)
      .float32(0.5F)
      .float32(1.0F)
      .header("ATTR", 3, 4, 0, 1)
      .int32(7);
}
ByteImage aatrImage() {
  return ByteImage()
      .header("AATR", 1, 41)
      .header("NAME", 2, 4)
      .cstr("vis")
      .header("TYPE", 2, 5)
      .cstr("bool");
}
ByteImage datrImage() {
  return ByteImage().header("DATR", 1, 189).raw(satrImage()).raw(atrsImage()).raw(aatrImage());
}
void fillLikeImage(VekDATRChunk& datr) {
  const int color = datr.addAttr(false, "color", "float3", ValueType::Float, Compound::Color, 3);
  asLeaf<float>(datr.getStaticData(color))->setData({0.25F, 0.5F, 1.0F});
  const int id = datr.addAttr(false, "id", "int", ValueType::Int32, 0, 1);
  asLeaf<int>(datr.getStaticData(id))->setData({7});
  datr.addAttr(true, "vis", "bool", ValueType::Int32);
}

// ----- Construction and reset

TEST_F(VekDATRChunkTest, aNewDATRHasNoAttributes) {
  VekDATRChunk datr;
  EXPECT_EQ(datr.getTag(), Tag::DATR);
  EXPECT_EQ(datr.getType(), 1);
  EXPECT_EQ(datr.getNumAttrs(), 0);
  EXPECT_EQ(datr.getNumAnimatedAttrs(), 0);
  EXPECT_EQ(datr.getNumStaticAttrs(), 0);
  EXPECT_EQ(datr.satr.getTag(), Tag::SATR);
  EXPECT_EQ(datr.aatr.getTag(), Tag::AATR);
  EXPECT_EQ(datr.atrs.getTag(), Tag::ATRS);
  EXPECT_EQ(datr.atrs.getType(), 1);
}

TEST_F(VekDATRChunkTest, resetEmptiesTheListsTheValuesAndTheGenericChildren) {
  VekDATRChunk datr;
  fill(datr, 2, 3);
  datr.addChild(new VekLeafChunk<int>(kABCD));
  datr.satr.addChild(new VekLeafChunk<int>(kABCD));
  datr.reset();
  EXPECT_EQ(datr.getNumAttrs(), 0);
  EXPECT_TRUE(datr.satr.types.empty());
  EXPECT_TRUE(datr.aatr.types.empty());
  EXPECT_EQ(datr.atrs.numChildren(), 0U);
  EXPECT_EQ(datr.satr.numChildren(), 0U);
  EXPECT_EQ(datr.numChildren(), 0U);
}

TEST_F(VekDATRChunkTest, removeAllChildrenKeepsTheAttributes) {
  VekDATRChunk datr;
  fill(datr, 1, 2);
  datr.addChild(new VekLeafChunk<int>(kABCD));
  datr.removeAllChildren();
  EXPECT_EQ(datr.numChildren(), 0U);
  EXPECT_EQ(datr.getNumAttrs(), 3);
  EXPECT_EQ(staticValues(datr), (std::vector<float>{0, 1}));
}

// ----- The combined index

TEST_F(VekDATRChunkTest, countsAddUp) {
  VekDATRChunk datr;
  fill(datr, 2, 3);
  EXPECT_EQ(datr.getNumAnimatedAttrs(), 2);
  EXPECT_EQ(datr.getNumStaticAttrs(), 3);
  EXPECT_EQ(datr.getNumAttrs(), 5);
}

TEST_F(VekDATRChunkTest, animatedAttributesComeFirst) {
  VekDATRChunk datr;
  addStatic(datr, "s", 1);
  datr.addAnimatedAttribute("a", "ta");
  EXPECT_EQ(datr.getAttrName(0), "a");
  EXPECT_EQ(datr.getAttrName(1), "s");
  EXPECT_TRUE(datr.isAnimated(0));
  EXPECT_FALSE(datr.isAnimated(1));
}

TEST_F(VekDATRChunkTest, theFirstStaticAttributeFollowsTheLastAnimatedOne) {
  VekDATRChunk datr;
  fill(datr, 2, 3);
  EXPECT_TRUE(datr.isAnimated(1));
  EXPECT_FALSE(datr.isAnimated(2));
  EXPECT_EQ(datr.getAttrName(2), "s0");
  EXPECT_EQ(datr.getStaticData(1), nullptr);
  EXPECT_EQ(datr.getStaticData(2), datr.atrs.getChild(0));
  EXPECT_EQ(datr.getStaticData(4), datr.atrs.getChild(2));
}

TEST_F(VekDATRChunkTest, animatedDataIndexIsTheIndexOrNone) {
  VekDATRChunk datr;
  fill(datr, 2, 3);
  EXPECT_EQ(datr.getAnimatedDataIndex(0), 0);
  EXPECT_EQ(datr.getAnimatedDataIndex(1), 1);
  EXPECT_EQ(datr.getAnimatedDataIndex(2), -1);
  EXPECT_EQ(datr.getAnimatedDataIndex(3), -1);
}

TEST_F(VekDATRChunkTest, namesAndTypesFollowTheCombinedIndex) {
  VekDATRChunk datr;
  fill(datr, 2, 2);
  EXPECT_EQ(datr.getAttrName(0), "a0");
  EXPECT_EQ(datr.getAttrName(1), "a1");
  EXPECT_EQ(datr.getAttrName(2), "s0");
  EXPECT_EQ(datr.getAttrName(3), "s1");
  EXPECT_EQ(datr.getAttrType(0), "ta0");
  EXPECT_EQ(datr.getAttrType(1), "ta1");
  EXPECT_EQ(datr.getAttrType(2), "float");
  EXPECT_EQ(datr.getAttrType(3), "float");
}

TEST_F(VekDATRChunkTest, settersReplaceNamesAndTypes) {
  VekDATRChunk datr;
  fill(datr, 2, 2);
  EXPECT_TRUE(datr.setAttrName(1, "animated"));
  EXPECT_TRUE(datr.setAttrName(2, "static"));
  EXPECT_TRUE(datr.setAttrType(1, "x"));
  EXPECT_TRUE(datr.setAttrType(2, "y"));
  EXPECT_EQ(datr.aatr.names, (Strings{"a0", "animated"}));
  EXPECT_EQ(datr.satr.names, (Strings{"static", "s1"}));
  EXPECT_EQ(datr.aatr.types, (Strings{"ta0", "x"}));
  EXPECT_EQ(datr.satr.types, (Strings{"y", "float"}));
}

struct IndexedCall {
  const char* name;
  std::function<void(VekDATRChunk&, int)> call;
};

std::vector<IndexedCall> indexedCalls() {
  return {
      {"isAnimated", [](VekDATRChunk& d, int i) { static_cast<void>(d.isAnimated(i)); }},
      {"getAnimatedDataIndex",
       [](VekDATRChunk& d, int i) { static_cast<void>(d.getAnimatedDataIndex(i)); }},
      {"getStaticData", [](VekDATRChunk& d, int i) { static_cast<void>(d.getStaticData(i)); }},
      {"getAttrName", [](VekDATRChunk& d, int i) { static_cast<void>(d.getAttrName(i)); }},
      {"getAttrType", [](VekDATRChunk& d, int i) { static_cast<void>(d.getAttrType(i)); }},
      {"setAttrName", [](VekDATRChunk& d, int i) { static_cast<void>(d.setAttrName(i, "x")); }},
      {"setAttrType", [](VekDATRChunk& d, int i) { static_cast<void>(d.setAttrType(i, "x")); }},
      {"removeStaticAttrs",
       [](VekDATRChunk& d, int i) { static_cast<void>(d.removeStaticAttrs(i, 0)); }},
      {"removeAnimatedAttrs",
       [](VekDATRChunk& d, int i) { static_cast<void>(d.removeAnimatedAttrs(i, 1)); }},
  };
}

/// Whether a call throws the bool value false and prints the one line of a bad index.
::testing::AssertionResult isOutOfBounds(const std::function<void()>& call) {
  bool thrown = false;
  bool value = true;
  const std::string out = captureStdout([&] {
    try {
      call();
    } catch (bool caught) {
      thrown = true;
      value = caught;
    }
  });
  if (!thrown) return ::testing::AssertionFailure() << "no bool thrown";
  if (value) return ::testing::AssertionFailure() << "true thrown";
  if (!::testing::Matches(VekTest::MatchesPattern(
          "VekChunks:[1-9][0-9]* DATR attribute index out of bounds\n"))(out)) {
    return ::testing::AssertionFailure() << "printed: " << out;
  }
  return ::testing::AssertionSuccess();
}

TEST_F(VekDATRChunkTest, everyIndexedCallThrowsFalseAndPrintsALineOutOfBounds) {
  for (const IndexedCall& indexed : indexedCalls()) {
    for (const int index : {5, 6, -1, kIntMin, kIntMax}) {
      VekDATRChunk datr;
      fill(datr, 2, 3);
      EXPECT_TRUE(isOutOfBounds([&] { indexed.call(datr, index); }))
          << indexed.name << " " << index;
      EXPECT_EQ(datr.getNumAttrs(), 5);
    }
  }
}

TEST_F(VekDATRChunkTest, everyIndexIsOutOfBoundsWithoutAttributes) {
  for (const IndexedCall& indexed : indexedCalls()) {
    VekDATRChunk datr;
    EXPECT_TRUE(isOutOfBounds([&] { indexed.call(datr, 0); })) << indexed.name;
  }
}

TEST_F(VekDATRChunkTest, indicesInBoundsPrintNothing) {
  const std::string out = captureStdout([] {
    for (const IndexedCall& indexed : indexedCalls()) {
      for (const int index : {0, 4}) {
        VekDATRChunk datr;
        fill(datr, 2, 3);
        indexed.call(datr, index);
      }
    }
  });
  EXPECT_EQ(out, "");
}

TEST_F(VekDATRChunkTest, aBadIndexPrintsNothingToStandardError) {
  VekDATRChunk datr;
  const std::string err = captureStderr(
      [&] { EXPECT_TRUE(isOutOfBounds([&] { static_cast<void>(datr.isAnimated(0)); })); });
  EXPECT_EQ(err, "");
}

// ----- Adding

TEST_F(VekDATRChunkTest, addAttrReturnsTheIndexOfAnAnimatedAttribute) {
  VekDATRChunk datr;
  addStatic(datr, "s", 1);
  EXPECT_EQ(datr.addAttr(true, "a", "ta", ValueType::Float, 0, 0), 0);
  EXPECT_EQ(datr.addAttr(true, "b", "tb", ValueType::Float, 0, 0), 1);
  EXPECT_EQ(datr.aatr.names, (Strings{"a", "b"}));
  EXPECT_EQ(datr.aatr.types, (Strings{"ta", "tb"}));
  EXPECT_EQ(datr.atrs.numChildren(), 1U);
}

TEST_F(VekDATRChunkTest, addingAnAnimatedAttributeShiftsTheStaticOnes) {
  VekDATRChunk datr;
  addStatic(datr, "s", 1);
  EXPECT_EQ(datr.findAttr("s"), 0);
  datr.addAttr(true, "a", "ta", ValueType::Float, 0, 0);
  EXPECT_EQ(datr.findAttr("s"), 1);
}

TEST_F(VekDATRChunkTest, addAttrReturnsTheCombinedIndexOfAStaticAttribute) {
  VekDATRChunk datr;
  fill(datr, 2, 0);
  EXPECT_EQ(datr.addAttr(false, "s", "t", ValueType::Float, 0, 0), 2);
  EXPECT_EQ(datr.addAttr(false, "u", "t", ValueType::Float, 0, 0), 3);
}

TEST_F(VekDATRChunkTest, aStaticAttributeGetsAnEmptyLeafOfItsType) {
  VekDATRChunk datr;
  for (const unsigned char type : {ValueType::String, ValueType::Int32, ValueType::Float,
                                   ValueType::Int64, ValueType::Double}) {
    const int index = datr.addAttr(false, "n", "t", type, Compound::Vector, 3);
    VekChunk* leaf = datr.getStaticData(index);
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(leaf->getTag(), Tag::ATTR);
    EXPECT_EQ(leaf->getType(), type);
    EXPECT_EQ(leaf->getCompound(), Compound::Vector);
    EXPECT_EQ(leaf->getDimension(), 3);
    EXPECT_EQ(leaf->getLength(), 0);
  }
  EXPECT_NE(asLeaf<std::string>(datr.getStaticData(0)), nullptr);
  EXPECT_NE(asLeaf<int>(datr.getStaticData(1)), nullptr);
  EXPECT_NE(asLeaf<float>(datr.getStaticData(2)), nullptr);
  EXPECT_NE(asLeaf<__int64>(datr.getStaticData(3)), nullptr);
  EXPECT_NE(asLeaf<double>(datr.getStaticData(4)), nullptr);
  EXPECT_TRUE(asLeaf<double>(datr.getStaticData(4))->data.empty());
}

TEST_F(VekDATRChunkTest, theGroupTypeIsRefused) {
  VekDATRChunk datr;
  EXPECT_EQ(datr.addAttr(false, "n", "t", ValueType::Group, 0, 0), -1);
  EXPECT_EQ(datr.addAttr(true, "n", "t", ValueType::Group, 0, 0), -1);
  EXPECT_EQ(datr.getNumAttrs(), 0);
  EXPECT_TRUE(datr.satr.types.empty());
  EXPECT_TRUE(datr.aatr.types.empty());
  EXPECT_EQ(datr.atrs.numChildren(), 0U);
}

TEST_F(VekDATRChunkTest, aStaticAttributeOfRawOrUnknownTypeIsRefused) {
  VekDATRChunk datr;
  for (const int type : {0, 7, 8, 255}) {
    EXPECT_EQ(datr.addAttr(false, "n", "t", static_cast<unsigned char>(type), 0, 0), -1) << type;
  }
  EXPECT_EQ(datr.getNumAttrs(), 0);
  EXPECT_TRUE(datr.satr.types.empty());
  EXPECT_EQ(datr.atrs.numChildren(), 0U);
}

TEST_F(VekDATRChunkTest, anAnimatedAttributeIsAcceptedWhateverItsTypeButGroup) {
  VekDATRChunk datr;
  int expected = 0;
  for (const int type : {0, 2, 3, 4, 5, 6, 7, 255}) {
    EXPECT_EQ(datr.addAttr(true, "n", "t", static_cast<unsigned char>(type), 0, 0), expected++)
        << type;
  }
}

TEST_F(VekDATRChunkTest, addAnimatedAttributeAppendsToTheAnimatedLists) {
  VekDATRChunk datr;
  datr.addAnimatedAttribute("a", "t");
  datr.addAnimatedAttribute("b", "u");
  EXPECT_EQ(datr.aatr.names, (Strings{"a", "b"}));
  EXPECT_EQ(datr.aatr.types, (Strings{"t", "u"}));
  EXPECT_EQ(datr.getNumStaticAttrs(), 0);
}

TEST_F(VekDATRChunkTest, typeStringsAreFreeText) {
  VekDATRChunk datr;
  const std::string text = "any text: | \xC3\xA9 ";
  const int i = datr.addAttr(false, "n", text, ValueType::Int32, 0, 0);
  EXPECT_EQ(datr.getAttrType(i), text);
}

// ----- Finding

TEST_F(VekDATRChunkTest, findAttrCoversAnimatedAndStaticAttributes) {
  VekDATRChunk datr;
  fill(datr, 2, 3);
  EXPECT_EQ(datr.findAttr("a0"), 0);
  EXPECT_EQ(datr.findAttr("a1"), 1);
  EXPECT_EQ(datr.findAttr("s0"), 2);
  EXPECT_EQ(datr.findAttr("s2"), 4);
  EXPECT_EQ(datr.findAttr("none"), -1);
  EXPECT_EQ(datr.findAttr(""), -1);
}

TEST_F(VekDATRChunkTest, findAttrPrefersTheAnimatedAttribute) {
  VekDATRChunk datr;
  addStatic(datr, "x", 1);
  datr.addAnimatedAttribute("y", "t");
  datr.addAnimatedAttribute("x", "t");
  EXPECT_EQ(datr.findAttr("x"), 1);
}

TEST_F(VekDATRChunkTest, findAttrReturnsTheFirstOfLikeNames) {
  VekDATRChunk datr;
  datr.addAnimatedAttribute("a", "t");
  datr.addAnimatedAttribute("a", "t");
  addStatic(datr, "s", 1);
  addStatic(datr, "s", 2);
  EXPECT_EQ(datr.findAttr("a"), 0);
  EXPECT_EQ(datr.findAttr("s"), 2);
}

TEST_F(VekDATRChunkTest, findAttrComparesByteByByte) {
  VekDATRChunk datr;
  addStatic(datr, "Name", 1);
  EXPECT_EQ(datr.findAttr("name"), -1);
  EXPECT_EQ(datr.findAttr("Name "), -1);
  EXPECT_EQ(datr.findAttr("Nam"), -1);
  EXPECT_EQ(datr.findAttr("Name"), 0);
  EXPECT_EQ(datr.findAttr(std::string("Name\0x", 6)), -1);
}

TEST_F(VekDATRChunkTest, findAttrFindsAnEmptyName) {
  VekDATRChunk datr;
  fill(datr, 1, 1);
  addStatic(datr, "", 1);
  EXPECT_EQ(datr.findAttr(""), 2);
}

// ----- Removing static attributes

TEST_F(VekDATRChunkTest, removeStaticAttrsErasesCountEntriesAndTheirValues) {
  VekDATRChunk datr;
  fill(datr, 2, 4);
  EXPECT_TRUE(datr.removeStaticAttrs(3, 2));
  EXPECT_EQ(datr.satr.names, (Strings{"s0", "s3"}));
  EXPECT_EQ(datr.satr.types, (Strings{"float", "float"}));
  EXPECT_EQ(staticValues(datr), (std::vector<float>{0, 3}));
  EXPECT_EQ(datr.getNumAnimatedAttrs(), 2);
}

TEST_F(VekDATRChunkTest, removeStaticAttrsCanEmptyTheList) {
  VekDATRChunk datr;
  fill(datr, 2, 3);
  EXPECT_TRUE(datr.removeStaticAttrs(2, 3));
  EXPECT_EQ(datr.getNumStaticAttrs(), 0);
  EXPECT_TRUE(datr.satr.types.empty());
  EXPECT_EQ(datr.atrs.numChildren(), 0U);
}

TEST_F(VekDATRChunkTest, removeStaticAttrsOfOneErasesOne) {
  VekDATRChunk datr;
  fill(datr, 0, 3);
  EXPECT_TRUE(datr.removeStaticAttrs(1, 1));
  EXPECT_EQ(datr.satr.names, (Strings{"s0", "s2"}));
  EXPECT_EQ(staticValues(datr), (std::vector<float>{0, 2}));
}

TEST_F(VekDATRChunkTest, removeStaticAttrsRefusesARangePastTheEnd) {
  VekDATRChunk datr;
  fill(datr, 2, 3);
  EXPECT_FALSE(datr.removeStaticAttrs(2, 4));
  EXPECT_FALSE(datr.removeStaticAttrs(4, 2));
  EXPECT_FALSE(datr.removeStaticAttrs(2, kIntMax));
  EXPECT_FALSE(datr.removeStaticAttrs(4, kIntMax));
  EXPECT_EQ(datr.satr.names, (Strings{"s0", "s1", "s2"}));
  EXPECT_EQ(staticValues(datr), (std::vector<float>{0, 1, 2}));
}

TEST_F(VekDATRChunkTest, removeStaticAttrsRefusesAnAnimatedIndex) {
  VekDATRChunk datr;
  fill(datr, 2, 3);
  EXPECT_FALSE(datr.removeStaticAttrs(0, 1));
  EXPECT_FALSE(datr.removeStaticAttrs(1, 0));
  EXPECT_EQ(datr.getNumAttrs(), 5);
}

TEST_F(VekDATRChunkTest, removeStaticAttrsOfNoneChangesNothing) {
  VekDATRChunk datr;
  fill(datr, 1, 3);
  EXPECT_TRUE(datr.removeStaticAttrs(2, 0));
  EXPECT_EQ(datr.satr.names, (Strings{"s0", "s1", "s2"}));
  EXPECT_EQ(staticValues(datr), (std::vector<float>{0, 1, 2}));
}

TEST_F(VekDATRChunkTest, removeStaticAttrsWithANegativeCountChangesNothing) {
  VekDATRChunk datr;
  fill(datr, 1, 3);
  for (const int count : {-1, -2, -3, -4, kIntMin}) {
    static_cast<void>(datr.removeStaticAttrs(2, count));
    EXPECT_EQ(datr.satr.names, (Strings{"s0", "s1", "s2"})) << count;
    EXPECT_EQ(datr.satr.types.size(), 3U) << count;
    EXPECT_EQ(staticValues(datr), (std::vector<float>{0, 1, 2})) << count;
  }
}

// ----- Removing animated attributes

TEST_F(VekDATRChunkTest, removeAnimatedAttrsErasesOneFewerThanCount) {
  VekDATRChunk datr;
  fill(datr, 4, 1);
  EXPECT_EQ(datr.removeAnimatedAttrs(0, 3), 0);
  EXPECT_EQ(datr.aatr.names, (Strings{"a2", "a3"}));
  EXPECT_EQ(datr.aatr.types, (Strings{"ta2", "ta3"}));
  EXPECT_EQ(datr.satr.names, Strings{"s0"});
}

TEST_F(VekDATRChunkTest, removeAnimatedAttrsOfOneRemovesNothing) {
  VekDATRChunk datr;
  fill(datr, 3, 0);
  EXPECT_EQ(datr.removeAnimatedAttrs(1, 1), 1);
  EXPECT_EQ(datr.aatr.names, (Strings{"a0", "a1", "a2"}));
}

TEST_F(VekDATRChunkTest, removeAnimatedAttrsReturnsFirst) {
  VekDATRChunk datr;
  fill(datr, 4, 0);
  EXPECT_EQ(datr.removeAnimatedAttrs(2, 2), 2);
  EXPECT_EQ(datr.aatr.names, (Strings{"a0", "a1", "a3"}));
}

TEST_F(VekDATRChunkTest, removeAnimatedAttrsReachesTheEndWithOneMoreThanTheRest) {
  VekDATRChunk datr;
  fill(datr, 3, 2);
  EXPECT_EQ(datr.removeAnimatedAttrs(1, 3), 1);
  EXPECT_EQ(datr.aatr.names, Strings{"a0"});
  EXPECT_EQ(datr.satr.names, (Strings{"s0", "s1"}));
}

TEST_F(VekDATRChunkTest, removeAnimatedAttrsPastTheEndStopsAtTheLastAnimatedOne) {
  for (const int count : {4, 5, 100, kIntMax}) {
    VekDATRChunk datr;
    fill(datr, 3, 2);
    EXPECT_EQ(datr.removeAnimatedAttrs(1, count), 1) << count;
    EXPECT_EQ(datr.aatr.names, Strings{"a0"}) << count;
    EXPECT_EQ(datr.aatr.types, Strings{"ta0"}) << count;
    EXPECT_EQ(datr.satr.names, (Strings{"s0", "s1"})) << count;
  }
}

TEST_F(VekDATRChunkTest, removeAnimatedAttrsWithZeroOrNegativeCountsRemovesNothing) {
  for (const int count : {0, -1, -2, -3, kIntMin}) {
    VekDATRChunk datr;
    fill(datr, 3, 1);
    EXPECT_EQ(datr.removeAnimatedAttrs(1, count), 1) << count;
    EXPECT_EQ(datr.aatr.names, (Strings{"a0", "a1", "a2"})) << count;
    EXPECT_EQ(datr.aatr.types, (Strings{"ta0", "ta1", "ta2"})) << count;
  }
}

TEST_F(VekDATRChunkTest, removeAnimatedAttrsRefusesAStaticIndex) {
  VekDATRChunk datr;
  fill(datr, 2, 2);
  EXPECT_EQ(datr.removeAnimatedAttrs(2, 2), -1);
  EXPECT_EQ(datr.removeAnimatedAttrs(3, 1), -1);
  EXPECT_EQ(datr.getNumAttrs(), 4);
}

// ----- Writing

TEST_F(VekDATRChunkTest, writesStaticListsThenValuesThenAnimatedLists) {
  VekDATRChunk datr;
  fillLikeImage(datr);
  EXPECT_EQ(written(datr), datrImage().bytes());
}

TEST_F(VekDATRChunkTest, writesEveryValueType) {
  VekDATRChunk datr;
  asLeaf<std::string>(datr.getStaticData(datr.addAttr(false, "a", "t", 2)))->data = {"x", ""};
  asLeaf<int>(datr.getStaticData(datr.addAttr(false, "b", "t", 3)))->data = {-1};
  asLeaf<float>(datr.getStaticData(datr.addAttr(false, "c", "t", 4)))->data = {0.5F};
  asLeaf<__int64>(datr.getStaticData(datr.addAttr(false, "d", "t", 5)))->data = {1LL << 40};
  asLeaf<double>(datr.getStaticData(datr.addAttr(false, "e", "t", 6)))->data = {0.1};
  EXPECT_EQ(written(datr), ByteImage()
                               .header("DATR", 1, 191)
                               .header("SATR", 1, 52)
                               .header("NAME", 2, 10)
                               .raw(std::string("a\0b\0c\0d\0e\0", 10))
                               .header("TYPE", 2, 10)
                               .raw(std::string("t\0t\0t\0t\0t\0", 10))
                               .header("ATRS", 1, 107)
                               .header("ATTR", 2, 3)
                               .raw(std::string("x\0\0", 3))
                               .header("ATTR", 3, 4)
                               .int32(-1)
                               .header("ATTR", 4, 4)
                               .float32(0.5F)
                               .header("ATTR", 5, 8)
                               .int64(std::int64_t{1} << 40)
                               .header("ATTR", 6, 8)
                               .float64(0.1)
                               .bytes());
}

TEST_F(VekDATRChunkTest, withoutAttributesNothingIsWritten) {
  VekDATRChunk datr;
  std::string bytes;
  EXPECT_EQ(captureStdout([&] { bytes = written(datr); }), "");
  EXPECT_EQ(bytes, ByteImage().header("DATR", 1, 0).bytes());
}

TEST_F(VekDATRChunkTest, onlyAnimatedAttributesWriteOnlyAATR) {
  VekDATRChunk datr;
  datr.addAnimatedAttribute("vis", "bool");
  EXPECT_EQ(written(datr), ByteImage().header("DATR", 1, 57).raw(aatrImage()).bytes());
}

TEST_F(VekDATRChunkTest, onlyStaticAttributesWriteNoAATR) {
  VekDATRChunk datr;
  fillLikeImage(datr);
  datr.aatr.reset();
  EXPECT_EQ(written(datr),
            ByteImage().header("DATR", 1, 132).raw(satrImage()).raw(atrsImage()).bytes());
}

TEST_F(VekDATRChunkTest, staticTypesWithoutNamesAreNotWritten) {
  VekDATRChunk datr;
  datr.satr.types = {"t"};
  datr.aatr.types = {"t"};
  EXPECT_EQ(written(datr), ByteImage().header("DATR", 1, 0).bytes());
}

TEST_F(VekDATRChunkTest, genericChildrenAreWrittenLast) {
  VekDATRChunk datr;
  fillLikeImage(datr);
  datr.addChild(new VekLeafChunk<int>(kABCD, {5}));
  EXPECT_EQ(written(datr), ByteImage()
                               .header("DATR", 1, 209)
                               .raw(satrImage())
                               .raw(atrsImage())
                               .raw(aatrImage())
                               .header("ABCD", 3, 4)
                               .int32(5)
                               .bytes());
}

TEST_F(VekDATRChunkTest, moreNamesThanValuesLoseTheStaticPartWithAWarning) {
  VekDATRChunk datr;
  fillLikeImage(datr);
  datr.satr.names.push_back("extra");
  std::string bytes;
  EXPECT_EQ(captureStdout([&] { bytes = written(datr); }),
            "WARNING: SATR and ATRS write skipped, counts do not match\n");
  EXPECT_EQ(bytes, ByteImage().header("DATR", 1, 57).raw(aatrImage()).bytes());
}

TEST_F(VekDATRChunkTest, moreValuesThanNamesLoseTheStaticPartWithAWarning) {
  VekDATRChunk datr;
  fillLikeImage(datr);
  datr.atrs.addChild(new VekLeafChunk<int>(Tag::ATTR, {5}));
  std::string bytes;
  EXPECT_EQ(captureStdout([&] { bytes = written(datr); }),
            "WARNING: SATR and ATRS write skipped, counts do not match\n");
  EXPECT_EQ(bytes, ByteImage().header("DATR", 1, 57).raw(aatrImage()).bytes());
}

TEST_F(VekDATRChunkTest, valuesWithoutAnyNameWarn) {
  VekDATRChunk datr;
  datr.atrs.addChild(new VekLeafChunk<int>(Tag::ATTR, {5}));
  std::string bytes;
  EXPECT_EQ(captureStdout([&] { bytes = written(datr); }),
            "WARNING: SATR and ATRS write skipped, counts do not match\n");
  EXPECT_EQ(bytes, ByteImage().header("DATR", 1, 0).bytes());
}

TEST_F(VekDATRChunkTest, theWarningGoesToStandardOutputOnly) {
  VekDATRChunk datr;
  datr.satr.names = {"a"};
  EXPECT_EQ(captureStderr([&] { captureStdout([&] { written(datr); }); }), "");
}

TEST_F(VekDATRChunkTest, matchingCountsPrintNothing) {
  VekDATRChunk datr;
  fillLikeImage(datr);
  EXPECT_EQ(captureStdout([&] { written(datr); }), "");
}

TEST_F(VekDATRChunkTest, anUnwritableValueFailsAndClosesEveryGroup) {
  VekDATRChunk datr;
  datr.satr.names = {"a"};
  datr.atrs.addChild(new UnwritableChunk);
  VekFile f(path().c_str(), "w");
  EXPECT_FALSE(datr.write(f));
  EXPECT_EQ(f.getLevel(), 0U);
}

TEST_F(VekDATRChunkTest, writingToAClosedOrReadOnlyFileFails) {
  VekDATRChunk datr;
  fillLikeImage(datr);
  VekFile closed;
  EXPECT_FALSE(datr.write(closed));
  VekFile readOnly(writeFile(ByteImage().zeros(300)).c_str(), "r");
  EXPECT_FALSE(datr.write(readOnly));
}

// ----- Reading

TEST_F(VekDATRChunkTest, readsWhatWasWritten) {
  VekDATRChunk datr;
  ASSERT_TRUE(readInto(datr, datrImage()));
  ASSERT_EQ(datr.getNumAttrs(), 3);
  EXPECT_EQ(datr.getNumAnimatedAttrs(), 1);
  EXPECT_EQ(datr.getAttrName(0), "vis");
  EXPECT_EQ(datr.getAttrType(0), "bool");
  EXPECT_EQ(datr.getAttrName(1), "color");
  EXPECT_EQ(datr.getAttrType(1), "float3");
  EXPECT_EQ(datr.getAttrName(2), "id");
  EXPECT_EQ(datr.getAttrType(2), "int");
  EXPECT_EQ(datr.numChildren(), 0U);
}

TEST_F(VekDATRChunkTest, valuesComeBackTyped) {
  VekDATRChunk datr;
  ASSERT_TRUE(readInto(datr, datrImage()));
  const auto* color = asLeaf<float>(datr.getStaticData(1));
  ASSERT_NE(color, nullptr);
  EXPECT_EQ(color->data, (std::vector<float>{0.25F, 0.5F, 1.0F}));
  EXPECT_EQ(color->getTag(), Tag::ATTR);
  EXPECT_EQ(color->getCompound(), Compound::Color);
  EXPECT_EQ(color->getDimension(), 3);
  const auto* id = asLeaf<int>(datr.getStaticData(2));
  ASSERT_NE(id, nullptr);
  EXPECT_EQ(id->data, std::vector<int>{7});
}

TEST_F(VekDATRChunkTest, readAndWriteGivesTheSameBytes) {
  VekDATRChunk datr;
  ASSERT_TRUE(readInto(datr, datrImage()));
  EXPECT_EQ(written(datr), datrImage().bytes());
}

TEST_F(VekDATRChunkTest, childrenMayComeInAnyOrderAndAreWrittenInTheirOwn) {
  VekDATRChunk datr;
  ASSERT_TRUE(readInto(
      datr, ByteImage().header("DATR", 1, 189).raw(aatrImage()).raw(atrsImage()).raw(satrImage())));
  EXPECT_EQ(datr.getNumAttrs(), 3);
  EXPECT_EQ(written(datr), datrImage().bytes());
}

TEST_F(VekDATRChunkTest, anEmptyGroupReadsAsNoAttributes) {
  VekDATRChunk datr;
  ASSERT_TRUE(readInto(datr, ByteImage().header("DATR", 1, 0)));
  EXPECT_EQ(datr.getNumAttrs(), 0);
}

TEST_F(VekDATRChunkTest, listsOfAnotherTypeAreGenericChildren) {
  VekDATRChunk datr;
  ASSERT_TRUE(readInto(datr, ByteImage()
                                 .header("DATR", 1, 60)
                                 .header("SATR", 3, 4)
                                 .int32(1)
                                 .header("ATRS", 4, 4)
                                 .float32(2)
                                 .header("AATR", 0, 4)
                                 .raw("abcd")));
  EXPECT_EQ(datr.getNumAttrs(), 0);
  EXPECT_EQ(datr.atrs.numChildren(), 0U);
  EXPECT_EQ(datr.numChildren(), 3U);
}

TEST_F(VekDATRChunkTest, unknownChildrenSurviveARoundTripAtTheEnd) {
  VekDATRChunk datr;
  ASSERT_TRUE(readInto(
      datr, ByteImage().header("DATR", 1, 77).header("ABCD", 3, 4).int32(5).raw(aatrImage())));
  ASSERT_EQ(datr.numChildren(), 1U);
  EXPECT_EQ(
      written(datr),
      ByteImage().header("DATR", 1, 77).raw(aatrImage()).header("ABCD", 3, 4).int32(5).bytes());
}

TEST_F(VekDATRChunkTest, reservedBytesOfTheGroupsSurvive) {
  const ByteImage image = ByteImage()
                              .header("DATR", 1, 107, 1, 1, 1)
                              .header("SATR", 1, 18, 2, 2, 2)
                              .header("NAME", 2, 2)
                              .cstr("s")
                              .header("ATRS", 1, 20, 3, 3, 3)
                              .header("ATTR", 3, 4)
                              .int32(1)
                              .header("AATR", 1, 21, 4, 4, 4)
                              .header("NAME", 2, 5)
                              .cstr("anim");
  VekDATRChunk datr;
  ASSERT_TRUE(readInto(datr, image));
  EXPECT_EQ(written(datr), image.bytes());
}

TEST_F(VekDATRChunkTest, aHeaderOfAnotherTagIsRefused) {
  VekDATRChunk datr;
  EXPECT_FALSE(readInto(datr, ByteImage().header("SATR", 1, 0)));
  EXPECT_FALSE(readInto(datr, ByteImage().header("DATR", 0, 0)));
}

// ----- Lengths

TEST_F(VekDATRChunkTest, withoutAttributesTheLengthIs0) {
  VekDATRChunk datr;
  EXPECT_EQ(datr.getLength(), 0);
}

TEST_F(VekDATRChunkTest, theLengthOfCompleteAttributesIsTheirSizeInTheFile) {
  VekDATRChunk datr;
  fillLikeImage(datr);
  EXPECT_EQ(datr.getLength(), 189);
}

TEST_F(VekDATRChunkTest, theLengthOfAnimatedAttributesAloneIsTheirGroup) {
  VekDATRChunk datr;
  datr.addAnimatedAttribute("vis", "bool");
  EXPECT_EQ(datr.getLength(), 57);
}

TEST_F(VekDATRChunkTest, theLengthOfStaticAttributesAloneIsTheirTwoGroups) {
  VekDATRChunk datr;
  fillLikeImage(datr);
  datr.aatr.reset();
  EXPECT_EQ(datr.getLength(), 132);
}

TEST_F(VekDATRChunkTest, valuesWithoutNamesAreNotCounted) {
  VekDATRChunk datr;
  datr.atrs.addChild(new VekLeafChunk<int>(Tag::ATTR, {5}));
  EXPECT_EQ(datr.getLength(), 0);
}

TEST_F(VekDATRChunkTest, theLengthCountsMismatchedStaticAttributes) {
  VekDATRChunk datr;
  fillLikeImage(datr);
  // One more name of 5 + 1 bytes and its missing type of 1 byte; nothing static is written.
  datr.satr.names.push_back("extra");
  EXPECT_EQ(datr.getLength(), 189 + 7);
}

TEST_F(VekDATRChunkTest, genericChildrenAreNotCounted) {
  VekDATRChunk datr;
  datr.addChild(new VekLeafChunk<int>(kABCD, {5}));
  EXPECT_EQ(datr.getLength(), 0);
}

TEST_F(VekDATRChunkTest, atrsCountsItsLeaves) {
  VekDATRChunk datr;
  fillLikeImage(datr);
  EXPECT_EQ(datr.atrs.getLength(), 48);
}

// ----- Printing

TEST_F(VekDATRChunkTest, printsAnEmptyDATROnOneLine) {
  VekDATRChunk datr;
  EXPECT_EQ(printed(datr), "DATR group (0) : \n");
}

TEST_F(VekDATRChunkTest, printsStaticListsThenAnimatedListsThenValues) {
  VekDATRChunk datr;
  fillLikeImage(datr);
  EXPECT_EQ(printed(datr),
            "DATR group (0) : \n"
            ". SATR group (0) : \n"
            ". . names = color id \n"
            ". . types = float3 int \n"
            ". AATR group (0) : \n"
            ". . names = vis \n"
            ". . types = bool \n"
            ". ATRS group (0) : \n"
            ". . ATTR float (12) color 3d : 0.25 0.5 1 \n"
            ". . ATTR int32 (4) scalar : 7 \n");
}

TEST_F(VekDATRChunkTest, printsTheLengthsReadFromTheFile) {
  VekDATRChunk datr;
  ASSERT_TRUE(readInto(datr, datrImage()));
  EXPECT_EQ(printed(datr, 1),
            ". DATR group (189) : \n"
            ". . SATR group (52) : \n"
            ". . . names = color id \n"
            ". . . types = float3 int \n"
            ". . AATR group (41) : \n"
            ". . . names = vis \n"
            ". . . types = bool \n"
            ". . ATRS group (48) : \n"
            ". . . ATTR float (12) color 3d : 0.25 0.5 1 \n"
            ". . . ATTR int32 (4) scalar : 7 \n");
}

TEST_F(VekDATRChunkTest, printLeavesEmptyPartsOut) {
  VekDATRChunk datr;
  datr.addAnimatedAttribute("vis", "bool");
  EXPECT_EQ(printed(datr),
            "DATR group (0) : \n. AATR group (0) : \n. . names = vis \n. . types = bool \n");
  datr.aatr.reset();
  datr.satr.types = {"t"};
  EXPECT_EQ(printed(datr), "DATR group (0) : \n");
}

TEST_F(VekDATRChunkTest, printShowsMismatchedPartsEachByItself) {
  VekDATRChunk datr;
  datr.atrs.addChild(new VekLeafChunk<int>(Tag::ATTR, {5}));
  EXPECT_EQ(printed(datr), "DATR group (0) : \n. ATRS group (0) : \n. . ATTR int32 (4) : 5 \n");
  datr.reset();
  datr.satr.names = {"a"};
  EXPECT_EQ(printed(datr), "DATR group (0) : \n. SATR group (0) : \n. . names = a \n");
}

TEST_F(VekDATRChunkTest, printShowsGenericChildrenLast) {
  VekDATRChunk datr;
  datr.addAnimatedAttribute("vis", "bool");
  datr.addChild(new VekLeafChunk<int>(kABCD, {5}));
  EXPECT_EQ(printed(datr),
            "DATR group (0) : \n. AATR group (0) : \n. . names = vis \n. . types = bool \n"
            ". ABCD int32 (4) : 5 \n");
}

// ----- Merging

TEST_F(VekDATRChunkTest, mergeAddsAStaticAttributeThatIsMissing) {
  VekDATRChunk from;
  asLeaf<__int64>(from.getStaticData(from.addAttr(false, "count", "long", ValueType::Int64, 2, 3)))
      ->setData({1, 2, 3});
  VekDATRChunk to;
  fill(to, 1, 1);
  to.mergeStaticAttributes(&from);
  ASSERT_EQ(to.getNumAttrs(), 3);
  EXPECT_EQ(to.getAttrName(2), "count");
  EXPECT_EQ(to.getAttrType(2), "long");
  const auto* leaf = asLeaf<__int64>(to.getStaticData(2));
  ASSERT_NE(leaf, nullptr);
  EXPECT_EQ(leaf->getTag(), Tag::ATTR);
  EXPECT_EQ(leaf->getCompound(), 2);
  EXPECT_EQ(leaf->getDimension(), 3);
  EXPECT_EQ(leaf->data, (std::vector<__int64>{1, 2, 3}));
}

TEST_F(VekDATRChunkTest, mergeAddsEveryValueType) {
  VekDATRChunk from;
  asLeaf<std::string>(from.getStaticData(from.addAttr(false, "a", "t", 2)))->setData({"x", "y"});
  asLeaf<int>(from.getStaticData(from.addAttr(false, "b", "t", 3)))->setData({1});
  asLeaf<float>(from.getStaticData(from.addAttr(false, "c", "t", 4)))->setData({2});
  asLeaf<__int64>(from.getStaticData(from.addAttr(false, "d", "t", 5)))->setData({3});
  asLeaf<double>(from.getStaticData(from.addAttr(false, "e", "t", 6)))->setData({4});
  VekDATRChunk to;
  EXPECT_EQ(captureStderr([&] { to.mergeStaticAttributes(&from); }), "");
  EXPECT_EQ(written(to), written(from));
  EXPECT_EQ(to.getLength(), from.getLength());
}

TEST_F(VekDATRChunkTest, mergeCopiesTheValues) {
  VekDATRChunk to;
  {
    VekDATRChunk from;
    addStatic(from, "s", 5);
    to.mergeStaticAttributes(&from);
    asLeaf<float>(from.getStaticData(0))->setData({6});
  }
  EXPECT_EQ(staticValues(to), std::vector<float>{5});
}

TEST_F(VekDATRChunkTest, mergeLeavesTheSourceAsItWas) {
  VekDATRChunk from;
  fill(from, 1, 2);
  const std::string before = written(from);
  VekDATRChunk to;
  to.mergeStaticAttributes(&from);
  EXPECT_EQ(written(from), before);
}

TEST_F(VekDATRChunkTest, mergeSkipsANameThatIsStaticHere) {
  VekDATRChunk from;
  addStatic(from, "s", 5);
  VekDATRChunk to;
  addStatic(to, "s", 1);
  to.mergeStaticAttributes(&from);
  EXPECT_EQ(staticValues(to), std::vector<float>{1});
}

TEST_F(VekDATRChunkTest, mergeSkipsANameThatIsAnimatedHere) {
  VekDATRChunk from;
  addStatic(from, "x", 5);
  VekDATRChunk to;
  to.addAnimatedAttribute("x", "t");
  to.mergeStaticAttributes(&from);
  EXPECT_EQ(to.getNumAttrs(), 1);
  EXPECT_EQ(to.getNumStaticAttrs(), 0);
}

TEST_F(VekDATRChunkTest, mergeComparesNamesExactly) {
  VekDATRChunk from;
  addStatic(from, "Name", 5);
  VekDATRChunk to;
  addStatic(to, "name", 1);
  to.mergeStaticAttributes(&from);
  EXPECT_EQ(to.satr.names, (Strings{"name", "Name"}));
}

TEST_F(VekDATRChunkTest, mergeNeverAddsAnimatedAttributes) {
  VekDATRChunk from;
  fill(from, 2, 1);
  VekDATRChunk to;
  to.mergeStaticAttributes(&from);
  EXPECT_EQ(to.getNumAnimatedAttrs(), 0);
  EXPECT_EQ(to.satr.names, Strings{"s0"});
}

TEST_F(VekDATRChunkTest, mergeAddsBothOfTwoLikeNamedAttributes) {
  VekDATRChunk from;
  addStatic(from, "twin", 1);
  addStatic(from, "twin", 2);
  VekDATRChunk to;
  addStatic(to, "other", 0);
  to.mergeStaticAttributes(&from);
  EXPECT_EQ(to.satr.names, (Strings{"other", "twin", "twin"}));
  EXPECT_EQ(staticValues(to), (std::vector<float>{0, 1, 2}));
}

TEST_F(VekDATRChunkTest, mergeOfNoAttributesDoesNothing) {
  VekDATRChunk from;
  VekDATRChunk to;
  fill(to, 1, 1);
  to.mergeStaticAttributes(&from);
  EXPECT_EQ(to.getNumAttrs(), 2);
}

TEST_F(VekDATRChunkTest, mergeWithItselfAddsNothing) {
  VekDATRChunk datr;
  fill(datr, 1, 3);
  datr.mergeStaticAttributes(&datr);
  EXPECT_EQ(datr.getNumAttrs(), 4);
  EXPECT_EQ(staticValues(datr), (std::vector<float>{0, 1, 2}));
}

TEST_F(VekDATRChunkTest, mergeReportsAValueTypeItCannotAdd) {
  for (VekChunk* value :
       {static_cast<VekChunk*>(new VekLeafChunk<char>(Tag::ATTR, {'x'})),
        static_cast<VekChunk*>(new VekGroupChunk(Tag::ATTR)),
        new VekChunk(VekHeader(Tag::ATTR, 7, 0)), new VekChunk(VekHeader(Tag::ATTR, 255, 0))}) {
    VekDATRChunk from;
    from.satr.names = {"odd"};
    from.satr.types = {"t"};
    from.atrs.addChild(value);
    addStatic(from, "s", 1);
    VekDATRChunk to;
    EXPECT_EQ(captureStderr([&] { to.mergeStaticAttributes(&from); }),
              "mergeStaticAttributes NOT Merged, unknown type fof: odd\n");
    EXPECT_EQ(to.satr.names, Strings{"s"});
    EXPECT_EQ(to.satr.types, Strings{"float"});
    EXPECT_EQ(staticValues(to), std::vector<float>{1});
  }
}

TEST_F(VekDATRChunkTest, mergeDoesNotReportAnUnknownTypeOfANameThatWasFound) {
  VekDATRChunk from;
  from.satr.names = {"odd"};
  from.atrs.addChild(new VekLeafChunk<char>(Tag::ATTR, {'x'}));
  VekDATRChunk to;
  to.addAnimatedAttribute("odd", "t");
  EXPECT_EQ(captureStderr([&] { to.mergeStaticAttributes(&from); }), "");
}

TEST_F(VekDATRChunkTest, mergeTracesEachAttributeAtLevel3) {
  VekDATRChunk from;
  from.addAnimatedAttribute("anim", "t");
  addStatic(from, "known", 1);
  addStatic(from, "new", 2);
  from.satr.names.push_back("odd");
  from.satr.types.push_back("t");
  from.atrs.addChild(new VekLeafChunk<char>(Tag::ATTR, {'x'}));
  VekDATRChunk to;
  addStatic(to, "known", 0);
  verbosity = 3;
  EXPECT_EQ(captureStderr([&] { to.mergeStaticAttributes(&from); }),
            "fromDATR anim\n"
            "fromDATR known\n"
            " SKIP, SATR FOUND:known\n"
            "fromDATR new\n"
            " ADD, SATR= new\n"
            "fromDATR odd\n"
            "mergeStaticAttributes NOT Merged, unknown type fof: odd\n");
}

TEST_F(VekDATRChunkTest, mergeTracesNoSkipForAnAnimatedAttributeThatWasFound) {
  VekDATRChunk from;
  from.addAnimatedAttribute("x", "t");
  VekDATRChunk to;
  to.addAnimatedAttribute("x", "t");
  verbosity = 4;
  EXPECT_EQ(captureStderr([&] { to.mergeStaticAttributes(&from); }), "fromDATR x\n");
}

TEST_F(VekDATRChunkTest, mergeTracesNothingBelowLevel3) {
  VekDATRChunk from;
  fill(from, 1, 2);
  VekDATRChunk to;
  addStatic(to, "s0", 0);
  verbosity = 2;
  EXPECT_EQ(captureStderr([&] { to.mergeStaticAttributes(&from); }), "");
}

TEST_F(VekDATRChunkTest, mergePrintsNothingToStandardOutput) {
  VekDATRChunk from;
  fill(from, 1, 2);
  VekDATRChunk to;
  verbosity = 3;
  EXPECT_EQ(captureStdout([&] { captureStderr([&] { to.mergeStaticAttributes(&from); }); }), "");
}

// ----- Damaged definitions

TEST_F(VekDATRChunkTest, aMissingTypeEntryReadsAsEmpty) {
  VekDATRChunk datr;
  fill(datr, 2, 2);
  datr.aatr.types = {"ta"};
  datr.satr.types = {};
  EXPECT_EQ(datr.getAttrType(0), "ta");
  EXPECT_EQ(datr.getAttrType(1), "");
  EXPECT_EQ(datr.getAttrType(2), "");
  EXPECT_EQ(datr.getAttrType(3), "");
}

TEST_F(VekDATRChunkTest, aMissingTypeEntryCanBeSet) {
  VekDATRChunk datr;
  fill(datr, 2, 3);
  datr.aatr.types = {};
  datr.satr.types = {"t"};
  EXPECT_TRUE(datr.setAttrType(1, "ta1"));
  EXPECT_TRUE(datr.setAttrType(4, "ts2"));
  EXPECT_EQ(datr.getAttrType(0), "");
  EXPECT_EQ(datr.getAttrType(1), "ta1");
  EXPECT_EQ(datr.getAttrType(2), "t");
  EXPECT_EQ(datr.getAttrType(3), "");
  EXPECT_EQ(datr.getAttrType(4), "ts2");
}

TEST_F(VekDATRChunkTest, namesCanBeSetWhateverTheTypeList) {
  VekDATRChunk datr;
  datr.satr.names = {"a", "b"};
  EXPECT_TRUE(datr.setAttrName(1, "c"));
  EXPECT_EQ(datr.satr.names, (Strings{"a", "c"}));
}

TEST_F(VekDATRChunkTest, aMissingValueReadsAsNull) {
  VekDATRChunk datr;
  fill(datr, 1, 1);
  datr.satr.names = {"s0", "s1", "s2"};
  EXPECT_NE(datr.getStaticData(1), nullptr);
  EXPECT_EQ(datr.getStaticData(2), nullptr);
  EXPECT_EQ(datr.getStaticData(3), nullptr);
}

TEST_F(VekDATRChunkTest, valuesBeyondTheNamesHaveNoIndex) {
  VekDATRChunk datr;
  fill(datr, 0, 1);
  datr.atrs.addChild(new VekLeafChunk<int>(Tag::ATTR, {5}));
  EXPECT_EQ(datr.getNumStaticAttrs(), 1);
  EXPECT_TRUE(isOutOfBounds([&] { static_cast<void>(datr.getStaticData(1)); }));
}

TEST_F(VekDATRChunkTest, removeStaticAttrsCopesWithAShortTypeList) {
  VekDATRChunk datr;
  fill(datr, 0, 4);
  datr.satr.types = {"t"};
  EXPECT_TRUE(datr.removeStaticAttrs(1, 2));
  EXPECT_EQ(datr.satr.names, (Strings{"s0", "s3"}));
  EXPECT_EQ(datr.satr.types, Strings{"t"});
  EXPECT_EQ(staticValues(datr), (std::vector<float>{0, 3}));
}

TEST_F(VekDATRChunkTest, removeStaticAttrsRemovesOnlyTheValuesThatExist) {
  VekDATRChunk datr;
  fill(datr, 0, 2);
  datr.satr.names = {"s0", "s1", "s2", "s3"};
  EXPECT_TRUE(datr.removeStaticAttrs(1, 3));
  EXPECT_EQ(datr.satr.names, Strings{"s0"});
  EXPECT_EQ(staticValues(datr), std::vector<float>{0});
}

TEST_F(VekDATRChunkTest, removeStaticAttrsPastTheValuesKeepsTheValuesBefore) {
  VekDATRChunk datr;
  fill(datr, 0, 1);
  datr.satr.names = {"s0", "s1", "s2"};
  // As many attributes as there are values, but not those that have them.
  EXPECT_TRUE(datr.removeStaticAttrs(1, 1));
  EXPECT_EQ(datr.satr.names, (Strings{"s0", "s2"}));
  EXPECT_EQ(staticValues(datr), std::vector<float>{0});
}

TEST_F(VekDATRChunkTest, removeStaticAttrsKeepsTheValuesBeyondTheNames) {
  VekDATRChunk datr;
  fill(datr, 0, 3);
  datr.satr.names = {"s0"};
  EXPECT_TRUE(datr.removeStaticAttrs(0, 1));
  EXPECT_EQ(staticValues(datr), (std::vector<float>{1, 2}));
}

TEST_F(VekDATRChunkTest, removeAnimatedAttrsCopesWithAShortTypeList) {
  VekDATRChunk datr;
  fill(datr, 4, 0);
  datr.aatr.types = {"t", "u"};
  EXPECT_EQ(datr.removeAnimatedAttrs(1, 3), 1);
  EXPECT_EQ(datr.aatr.names, (Strings{"a0", "a3"}));
  EXPECT_EQ(datr.aatr.types, Strings{"t"});
}

TEST_F(VekDATRChunkTest, mergeFromAShortTypeListAddsAnEmptyType) {
  VekDATRChunk from;
  fill(from, 0, 1);
  from.satr.types = {};
  VekDATRChunk to;
  to.mergeStaticAttributes(&from);
  ASSERT_EQ(to.getNumAttrs(), 1);
  EXPECT_EQ(to.getAttrType(0), "");
  EXPECT_EQ(staticValues(to), std::vector<float>{0});
}

TEST_F(VekDATRChunkTest, mergeAddsNothingForAMissingValue) {
  VekDATRChunk from;
  fill(from, 0, 1);
  from.satr.names = {"s0", "s1"};
  VekDATRChunk to;
  captureStderr([&] { to.mergeStaticAttributes(&from); });
  EXPECT_EQ(to.satr.names, Strings{"s0"});
  EXPECT_EQ(to.atrs.numChildren(), 1U);
}

TEST_F(VekDATRChunkTest, mergeOfAValueMarkedFreeKeepsNamesAndValuesInStep) {
  VekDATRChunk from;
  fill(from, 0, 2);
  from.getStaticData(0)->free();
  VekDATRChunk to;
  captureStderr([&] { to.mergeStaticAttributes(&from); });
  EXPECT_EQ(static_cast<unsigned __int64>(to.getNumStaticAttrs()), to.atrs.numChildren());
  EXPECT_EQ(to.satr.types.size(), to.satr.names.size());
  EXPECT_GE(to.findAttr("s1"), 0);
}

TEST_F(VekDATRChunkTest, aDuplicateATRSReplacesTheValues) {
  VekDATRChunk datr;
  ASSERT_TRUE(readInto(datr, ByteImage()
                                 .header("DATR", 1, 106)
                                 .header("SATR", 1, 18)
                                 .header("NAME", 2, 2)
                                 .cstr("s")
                                 .header("ATRS", 1, 20)
                                 .header("ATTR", 4, 4)
                                 .float32(1)
                                 .header("ATRS", 1, 20)
                                 .header("ATTR", 4, 4)
                                 .float32(2)));
  EXPECT_EQ(staticValues(datr), std::vector<float>{2});
}

TEST_F(VekDATRChunkTest, duplicateListsNeverMixWithTheValues) {
  VekDATRChunk datr;
  ASSERT_TRUE(readInto(datr, ByteImage()
                                 .header("DATR", 1, 104)
                                 .header("SATR", 1, 18)
                                 .header("NAME", 2, 2)
                                 .cstr("a")
                                 .header("ATRS", 1, 0)
                                 .header("SATR", 1, 38)
                                 .header("NAME", 2, 4)
                                 .cstr("b")
                                 .cstr("c")
                                 .header("TYPE", 2, 2)
                                 .cstr("t")));
  EXPECT_EQ(datr.satr.names, (Strings{"b", "c"}));
  EXPECT_EQ(datr.getAttrType(0), "t");
  EXPECT_EQ(datr.getAttrType(1), "");
  EXPECT_EQ(datr.getStaticData(0), nullptr);
}

TEST_F(VekDATRChunkTest, everyTruncationFails) {
  const std::string whole = datrImage().bytes();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    VekDATRChunk datr;
    EXPECT_FALSE(readInto(datr, ByteImage().raw(whole.substr(0, size)))) << size;
  }
}

/// Every operation on attributes that a damaged file may have left.
void useAll(VekDATRChunk& datr) {
  for (int i = 0; i < datr.getNumAttrs(); ++i) {
    static_cast<void>(datr.isAnimated(i));
    static_cast<void>(datr.getAnimatedDataIndex(i));
    const std::string name = datr.getAttrName(i);
    const std::string type = datr.getAttrType(i);
    static_cast<void>(datr.findAttr(name));
    if (const VekChunk* data = datr.getStaticData(i)) {
      std::ostringstream os;
      data->print(os, 1);
    }
  }
  static_cast<void>(datr.getLength());
  std::ostringstream os;
  datr.print(os, 0);
  VekDATRChunk merged;
  merged.mergeStaticAttributes(&datr);
  datr.mergeStaticAttributes(&merged);
  const int count = datr.getNumAttrs();
  for (int i = 0; i < count; ++i) datr.setAttrType(i, "t");
  while (datr.getNumStaticAttrs() > 0) {
    if (!datr.removeStaticAttrs(datr.getNumAttrs() - 1, 1)) break;
  }
  if (datr.getNumAnimatedAttrs() > 0) datr.removeAnimatedAttrs(0, kIntMax);
}

TEST_F(VekDATRChunkTest, everyDamagedByteIsSurvived) {
  const std::string whole = datrImage().bytes();
  const std::string file = writeFile(whole);
  std::fstream patch(file, std::ios::binary | std::ios::in | std::ios::out);
  const auto put = [&](std::size_t at, char byte) {
    patch.seekp(static_cast<std::streamoff>(at)).put(byte).flush();
  };
  VekFile out(path("out.vek").c_str(), "w");
  captureStdout([&] {
    captureStderr([&] {
      for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const int value : {0, 1, 2, 3, 0x7F, 0x80, 0xFF}) {
          put(at, static_cast<char>(value));
          VekDATRChunk datr;
          VekFile f(file.c_str(), "r");
          VekHeader h;
          if (f.readHeader(h) && datr.read(h, f)) datr.write(out);
          useAll(datr);
        }
        put(at, whole[at]);
      }
    });
  });
  EXPECT_EQ(readFile(file), whole);
}

// ----- Copying

TEST_F(VekDATRChunkTest, aCopyIsAGenericGroupWithoutTheAttributes) {
  VekDATRChunk datr;
  fill(datr, 1, 1);
  datr.addChild(new VekLeafChunk<int>(kABCD, {5}));
  const std::unique_ptr<VekChunk> copy(VekChunk::copy(&datr));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(dynamic_cast<VekDATRChunk*>(copy.get()), nullptr);
  EXPECT_EQ(written(*copy),
            ByteImage().header("DATR", 1, 20).header("ABCD", 3, 4).int32(5).bytes());
}

}  // namespace
