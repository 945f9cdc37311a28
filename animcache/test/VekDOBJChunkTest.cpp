// SPDX-License-Identifier: Apache-2.0
//
// Tests of an object's definition: its name, its attributes, and DOBJ as bytes, length and text.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "ChunkTest.h"
#include "TextPattern.h"
#include "VekChunks.h"

namespace {

using namespace Vek;
using namespace VekTest;

constexpr unsigned int kABCD = makeTag('A', 'B', 'C', 'D');

class VekDOBJChunkTest : public ChunkTest {};

// The attributes: static "size" (float: 2) and animated "vis" (bool).
ByteImage datrImage() {
  return ByteImage()
      .header("DATR", 1, 152)
      .header("SATR", 1, 43)
      .header("NAME", 2, 5)
      .cstr("size")
      .header("TYPE", 2, 6)
      .cstr("float")
      .header("ATRS", 1, 20)
      .header("ATTR", 4, 4, 0, 1)
      .float32(2)
      .header("AATR", 1, 41)
      .header("NAME", 2, 4)
      .cstr("vis")
      .header("TYPE", 2, 5)
      .cstr("bool");
}
// The object "|a|b" with these attributes.
ByteImage dobjImage() {
  return ByteImage().header("DOBJ", 1, 189).header("NAME", 2, 5).cstr("|a|b").raw(datrImage());
}
void addAttributes(VekDOBJChunk& dobj) {
  dobj.addAttr(false, "size", "float", ValueType::Float, 0, 1);
  asLeaf<float>(dobj.getDATR()->getStaticData(0))->setData({2});
  dobj.addAttr(true, "vis", "bool", ValueType::Int32);
}

// ----- Construction, reset and children

TEST_F(VekDOBJChunkTest, aNewDOBJHasNoNameAndNoAttributes) {
  VekDOBJChunk dobj;
  EXPECT_EQ(dobj.getTag(), Tag::DOBJ);
  EXPECT_EQ(dobj.getType(), 1);
  EXPECT_EQ(dobj.getName(), "");
  EXPECT_EQ(dobj.name, "");
  EXPECT_EQ(dobj.datr, nullptr);
  EXPECT_EQ(dobj.getDATR(), nullptr);
  EXPECT_EQ(dobj.numChildren(), 0U);
}

TEST_F(VekDOBJChunkTest, takesItsNameFromTheConstructor) {
  VekDOBJChunk dobj("|grp|ns:obj");
  EXPECT_EQ(dobj.getName(), "|grp|ns:obj");
  EXPECT_EQ(dobj.datr, nullptr);
}

TEST_F(VekDOBJChunkTest, aNullNameCountsAsEmpty) {
  VekDOBJChunk dobj(nullptr);
  EXPECT_EQ(dobj.getName(), "");
}

TEST_F(VekDOBJChunkTest, resetEmptiesTheNameTheAttributesAndTheChildren) {
  VekDOBJChunk dobj("|a");
  addAttributes(dobj);
  dobj.addChild(new VekLeafChunk<int>(kABCD));
  dobj.reset();
  EXPECT_EQ(dobj.getName(), "");
  EXPECT_EQ(dobj.datr, nullptr);
  EXPECT_EQ(dobj.numChildren(), 0U);
}

TEST_F(VekDOBJChunkTest, removeAllChildrenDestroysTheAttributesAndKeepsTheName) {
  VekDOBJChunk dobj("|a");
  addAttributes(dobj);
  dobj.addChild(new VekLeafChunk<int>(kABCD));
  dobj.removeAllChildren();
  EXPECT_EQ(dobj.getName(), "|a");
  EXPECT_EQ(dobj.datr, nullptr);
  EXPECT_EQ(dobj.numChildren(), 0U);
}

TEST_F(VekDOBJChunkTest, removingARangeAsLongAsTheChildrenDestroysTheAttributes) {
  VekDOBJChunk dobj("|a");
  addAttributes(dobj);
  dobj.addChild(new VekLeafChunk<int>(kABCD));
  dobj.removeChildren(3, 4);
  EXPECT_EQ(dobj.numChildren(), 0U);
  EXPECT_EQ(dobj.datr, nullptr);
}

TEST_F(VekDOBJChunkTest, removingNoneOfNoChildrenDestroysTheAttributes) {
  VekDOBJChunk dobj("|a");
  addAttributes(dobj);
  dobj.removeChildren(0, 0);
  EXPECT_EQ(dobj.datr, nullptr);
}

TEST_F(VekDOBJChunkTest, removingOneOfTwoChildrenKeepsTheAttributes) {
  VekDOBJChunk dobj("|a");
  addAttributes(dobj);
  dobj.addChild(new VekLeafChunk<int>(kABCD));
  dobj.addChild(new VekLeafChunk<int>(kABCD));
  dobj.removeChildren(0, 1);
  EXPECT_EQ(dobj.numChildren(), 1U);
  EXPECT_NE(dobj.datr, nullptr);
}

// ----- Attributes

TEST_F(VekDOBJChunkTest, addDATRMakesAnEmptyOneAndThenReturnsIt) {
  VekDOBJChunk dobj;
  VekDATRChunk* datr = dobj.addDATR();
  ASSERT_NE(datr, nullptr);
  EXPECT_EQ(datr->getNumAttrs(), 0);
  EXPECT_EQ(dobj.getDATR(), datr);
  EXPECT_EQ(dobj.datr, datr);
  EXPECT_EQ(dobj.addDATR(), datr);
}

TEST_F(VekDOBJChunkTest, removeDATRLeavesNone) {
  VekDOBJChunk dobj;
  addAttributes(dobj);
  dobj.removeDATR();
  EXPECT_EQ(dobj.getDATR(), nullptr);
  dobj.removeDATR();
  EXPECT_EQ(dobj.getDATR(), nullptr);
}

TEST_F(VekDOBJChunkTest, addAttrMakesTheDATRAndAnswersLikeIt) {
  VekDOBJChunk dobj;
  EXPECT_EQ(dobj.addAttr(false, "s", "t", ValueType::Float, Compound::Vector, 3), 0);
  ASSERT_NE(dobj.datr, nullptr);
  EXPECT_EQ(dobj.addAttr(true, "a", "t", ValueType::Float, 0, 0), 0);
  EXPECT_EQ(dobj.addAttr(true, "b", "t", ValueType::Float, 0, 0), 1);
  EXPECT_EQ(dobj.addAttr(false, "u", "t", ValueType::Float, 0, 0), 3);
  EXPECT_EQ(dobj.datr->getStaticData(2)->getCompound(), Compound::Vector);
  EXPECT_EQ(dobj.datr->getStaticData(2)->getDimension(), 3);
}

TEST_F(VekDOBJChunkTest, aRefusedAttributeStillMakesTheDATR) {
  VekDOBJChunk dobj;
  EXPECT_EQ(dobj.addAttr(false, "s", "t", ValueType::Group, 0, 0), -1);
  ASSERT_NE(dobj.datr, nullptr);
  EXPECT_EQ(dobj.datr->getNumAttrs(), 0);
}

TEST_F(VekDOBJChunkTest, refusesTheTypesThatADATRRefuses) {
  VekDOBJChunk dobj;
  EXPECT_EQ(dobj.addAttr(false, "s", "t", ValueType::Undef, 0, 0), -1);
  EXPECT_EQ(dobj.addAttr(false, "s", "t", 7, 0, 0), -1);
  EXPECT_EQ(dobj.addAttr(true, "s", "t", ValueType::Group, 0, 0), -1);
  EXPECT_EQ(dobj.getNumAttrs(), 0);
}

TEST_F(VekDOBJChunkTest, answersWithoutADATR) {
  VekDOBJChunk dobj("|a");
  const std::string out = captureStdout([&] {
    for (const int index :
         {0, 1, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
      EXPECT_FALSE(dobj.isAttrAnimated(index));
      EXPECT_EQ(dobj.getAttrName(index), "");
      EXPECT_EQ(dobj.getAttrType(index), "");
      EXPECT_FALSE(dobj.setAttrName(index, "x"));
      EXPECT_FALSE(dobj.setAttrType(index, "x"));
    }
    EXPECT_EQ(dobj.getNumAttrs(), 0);
    EXPECT_EQ(dobj.findAttr("a"), -1);
    EXPECT_EQ(dobj.findAttr(""), -1);
  });
  EXPECT_EQ(out, "");
  EXPECT_EQ(dobj.datr, nullptr);
}

TEST_F(VekDOBJChunkTest, forwardsToItsDATR) {
  VekDOBJChunk dobj("|a");
  addAttributes(dobj);
  EXPECT_EQ(dobj.getNumAttrs(), 2);
  EXPECT_EQ(dobj.findAttr("vis"), 0);
  EXPECT_EQ(dobj.findAttr("size"), 1);
  EXPECT_TRUE(dobj.isAttrAnimated(0));
  EXPECT_FALSE(dobj.isAttrAnimated(1));
  EXPECT_EQ(dobj.getAttrName(0), "vis");
  EXPECT_EQ(dobj.getAttrType(1), "float");
  EXPECT_TRUE(dobj.setAttrName(0, "visible"));
  EXPECT_TRUE(dobj.setAttrType(1, "real"));
  EXPECT_EQ(dobj.datr->getAttrName(0), "visible");
  EXPECT_EQ(dobj.datr->getAttrType(1), "real");
}

TEST_F(VekDOBJChunkTest, attributeNamesAreCopies) {
  VekDOBJChunk dobj("|a");
  addAttributes(dobj);
  const std::string& name = dobj.getAttrName(0);
  dobj.setAttrName(0, "another");
  EXPECT_EQ(name, "vis");
}

TEST_F(VekDOBJChunkTest, aBadIndexPrintsALineAndThrowsFalse) {
  const std::vector<std::function<void(VekDOBJChunk&, int)>> calls = {
      [](VekDOBJChunk& d, int i) { static_cast<void>(d.isAttrAnimated(i)); },
      [](VekDOBJChunk& d, int i) { static_cast<void>(d.getAttrName(i)); },
      [](VekDOBJChunk& d, int i) { static_cast<void>(d.getAttrType(i)); },
      [](VekDOBJChunk& d, int i) { static_cast<void>(d.setAttrName(i, "x")); },
      [](VekDOBJChunk& d, int i) { static_cast<void>(d.setAttrType(i, "x")); },
  };
  VekDOBJChunk dobj("|a");
  addAttributes(dobj);
  for (const auto& call : calls) {
    for (const int index : {-1, 2}) {
      bool caught = true;
      const std::string out = captureStdout([&] {
        try {
          call(dobj, index);
        } catch (bool value) {
          caught = value;
        }
      });
      EXPECT_FALSE(caught);
      EXPECT_THAT(out, VekTest::MatchesPattern(
                           "VekChunks:[1-9][0-9]* DATR attribute index out of bounds\n"));
    }
  }
}

TEST_F(VekDOBJChunkTest, anEmptyDATRHasNoIndex) {
  VekDOBJChunk dobj;
  dobj.addDATR();
  captureStdout([&] { EXPECT_THROW(static_cast<void>(dobj.isAttrAnimated(0)), bool); });
}

// ----- Writing

TEST_F(VekDOBJChunkTest, writesTheNameThenTheAttributes) {
  VekDOBJChunk dobj("|a|b");
  addAttributes(dobj);
  EXPECT_EQ(written(dobj), dobjImage().bytes());
}

TEST_F(VekDOBJChunkTest, writesOnlyTheNameWithoutAttributes) {
  VekDOBJChunk dobj("|a|b");
  EXPECT_EQ(written(dobj),
            ByteImage().header("DOBJ", 1, 21).header("NAME", 2, 5).cstr("|a|b").bytes());
}

TEST_F(VekDOBJChunkTest, anEmptyNameIsNotWritten) {
  VekDOBJChunk dobj;
  EXPECT_EQ(written(dobj), ByteImage().header("DOBJ", 1, 0).bytes());
  addAttributes(dobj);
  EXPECT_EQ(written(dobj), ByteImage().header("DOBJ", 1, 168).raw(datrImage()).bytes());
}

TEST_F(VekDOBJChunkTest, anEmptyDATRIsWritten) {
  VekDOBJChunk dobj("|a");
  dobj.addDATR();
  EXPECT_EQ(written(dobj), ByteImage()
                               .header("DOBJ", 1, 35)
                               .header("NAME", 2, 3)
                               .cstr("|a")
                               .header("DATR", 1, 0)
                               .bytes());
}

TEST_F(VekDOBJChunkTest, genericChildrenAreWrittenLast) {
  VekDOBJChunk dobj("|a|b");
  dobj.addChild(new VekLeafChunk<int>(kABCD, {5}));
  addAttributes(dobj);
  EXPECT_EQ(written(dobj), ByteImage()
                               .header("DOBJ", 1, 209)
                               .header("NAME", 2, 5)
                               .cstr("|a|b")
                               .raw(datrImage())
                               .header("ABCD", 3, 4)
                               .int32(5)
                               .bytes());
}

TEST_F(VekDOBJChunkTest, aMismatchInTheAttributesLosesOnlyTheirStaticPart) {
  VekDOBJChunk dobj("|a|b");
  addAttributes(dobj);
  dobj.datr->satr.names.push_back("extra");
  std::string bytes;
  EXPECT_EQ(captureStdout([&] { bytes = written(dobj); }),
            "WARNING: SATR and ATRS write skipped, counts do not match\n");
  EXPECT_EQ(bytes, ByteImage()
                       .header("DOBJ", 1, 94)
                       .header("NAME", 2, 5)
                       .cstr("|a|b")
                       .header("DATR", 1, 57)
                       .header("AATR", 1, 41)
                       .header("NAME", 2, 4)
                       .cstr("vis")
                       .header("TYPE", 2, 5)
                       .cstr("bool")
                       .bytes());
}

TEST_F(VekDOBJChunkTest, anUnwritableAttributeFailsAndClosesEveryGroup) {
  struct UnwritableChunk : VekChunk {
    bool write(VekFile&) const override { return false; }
  };
  VekDOBJChunk dobj("|a");
  dobj.addDATR()->addChild(new UnwritableChunk);
  VekFile f(path().c_str(), "w");
  EXPECT_FALSE(dobj.write(f));
  EXPECT_EQ(f.getLevel(), 0U);
}

TEST_F(VekDOBJChunkTest, writingToAClosedOrReadOnlyFileFails) {
  VekDOBJChunk dobj("|a");
  VekFile closed;
  EXPECT_FALSE(dobj.write(closed));
  VekFile readOnly(writeFile(ByteImage().zeros(64)).c_str(), "r");
  EXPECT_FALSE(dobj.write(readOnly));
}

// ----- Reading

TEST_F(VekDOBJChunkTest, readsNameAndAttributes) {
  VekDOBJChunk dobj;
  ASSERT_TRUE(readInto(dobj, dobjImage()));
  EXPECT_EQ(dobj.getName(), "|a|b");
  ASSERT_NE(dobj.datr, nullptr);
  EXPECT_EQ(dobj.getNumAttrs(), 2);
  EXPECT_EQ(dobj.getAttrName(0), "vis");
  EXPECT_EQ(dobj.getAttrName(1), "size");
  const auto* leaf = asLeaf<float>(dobj.datr->getStaticData(1));
  ASSERT_NE(leaf, nullptr);
  EXPECT_EQ(leaf->data, std::vector<float>{2});
  EXPECT_EQ(dobj.numChildren(), 0U);
}

TEST_F(VekDOBJChunkTest, readAndWriteGivesTheSameBytes) {
  VekDOBJChunk dobj;
  ASSERT_TRUE(readInto(dobj, dobjImage()));
  EXPECT_EQ(written(dobj), dobjImage().bytes());
}

TEST_F(VekDOBJChunkTest, attributesMayComeBeforeTheName) {
  VekDOBJChunk dobj;
  ASSERT_TRUE(readInto(
      dobj, ByteImage().header("DOBJ", 1, 189).raw(datrImage()).header("NAME", 2, 5).cstr("|a|b")));
  EXPECT_EQ(written(dobj), dobjImage().bytes());
}

TEST_F(VekDOBJChunkTest, aMissingNameReadsAsEmpty) {
  VekDOBJChunk dobj;
  ASSERT_TRUE(readInto(dobj, ByteImage().header("DOBJ", 1, 168).raw(datrImage())));
  EXPECT_EQ(dobj.getName(), "");
  EXPECT_EQ(dobj.getNumAttrs(), 2);
}

TEST_F(VekDOBJChunkTest, anEmptyGroupReadsAsAnUnnamedObject) {
  VekDOBJChunk dobj;
  ASSERT_TRUE(readInto(dobj, ByteImage().header("DOBJ", 1, 0)));
  EXPECT_EQ(dobj.getName(), "");
  EXPECT_EQ(dobj.datr, nullptr);
}

TEST_F(VekDOBJChunkTest, theNameEndsAtItsFirstNUL) {
  VekDOBJChunk dobj;
  ASSERT_TRUE(
      readInto(dobj, ByteImage().header("DOBJ", 1, 20).header("NAME", 2, 4).cstr("a").cstr("b")));
  EXPECT_EQ(dobj.getName(), "a");
}

TEST_F(VekDOBJChunkTest, theNameMayLackItsNUL) {
  VekDOBJChunk dobj;
  ASSERT_TRUE(readInto(dobj, ByteImage().header("DOBJ", 1, 19).header("NAME", 2, 3).raw("abc")));
  EXPECT_EQ(dobj.getName(), "abc");
}

TEST_F(VekDOBJChunkTest, anEmptyDATRReadsAsAttributesWithoutAny) {
  VekDOBJChunk dobj;
  ASSERT_TRUE(readInto(dobj, ByteImage().header("DOBJ", 1, 16).header("DATR", 1, 0)));
  ASSERT_NE(dobj.datr, nullptr);
  EXPECT_EQ(dobj.getNumAttrs(), 0);
}

TEST_F(VekDOBJChunkTest, membersOfAnotherTypeAreGenericChildren) {
  VekDOBJChunk dobj;
  ASSERT_TRUE(readInto(dobj, ByteImage()
                                 .header("DOBJ", 1, 40)
                                 .header("NAME", 0, 4)
                                 .raw("abcd")
                                 .header("DATR", 3, 4)
                                 .int32(1)));
  EXPECT_EQ(dobj.getName(), "");
  EXPECT_EQ(dobj.datr, nullptr);
  EXPECT_EQ(dobj.numChildren(), 2U);
}

TEST_F(VekDOBJChunkTest, unknownAndFreeChildrenSurviveARoundTripAtTheEnd) {
  const ByteImage unknown = ByteImage()
                                .header("FREE", 0, 3)
                                .raw("xyz")
                                .header("GRUP", 1, 20)
                                .header("ABCD", 3, 4)
                                .int32(5);
  VekDOBJChunk dobj;
  ASSERT_TRUE(readInto(
      dobj, ByteImage().header("DOBJ", 1, 76).raw(unknown).header("NAME", 2, 5).cstr("|a|b")));
  EXPECT_EQ(dobj.numChildren(), 2U);
  EXPECT_EQ(
      written(dobj),
      ByteImage().header("DOBJ", 1, 76).header("NAME", 2, 5).cstr("|a|b").raw(unknown).bytes());
}

TEST_F(VekDOBJChunkTest, theReservedByteOfTheGroupSurvives) {
  const ByteImage image =
      ByteImage().header("DOBJ", 1, 19, 1, 2, 3).header("NAME", 2, 3).cstr("|a");
  VekDOBJChunk dobj;
  ASSERT_TRUE(readInto(dobj, image));
  EXPECT_EQ(written(dobj), image.bytes());
}

TEST_F(VekDOBJChunkTest, aLaterNameReplacesTheFirst) {
  VekDOBJChunk dobj;
  ASSERT_TRUE(readInto(dobj, ByteImage()
                                 .header("DOBJ", 1, 40)
                                 .header("NAME", 2, 6)
                                 .cstr("first")
                                 .header("NAME", 2, 2)
                                 .cstr("b")));
  EXPECT_EQ(dobj.getName(), "b");
}

TEST_F(VekDOBJChunkTest, aLaterDATRReplacesTheFirst) {
  VekDOBJChunk dobj;
  ASSERT_TRUE(readInto(dobj, ByteImage()
                                 .header("DOBJ", 1, 219)
                                 .raw(datrImage())
                                 .header("DATR", 1, 35)
                                 .header("AATR", 1, 19)
                                 .header("NAME", 2, 3)
                                 .cstr("an")));
  ASSERT_EQ(dobj.getNumAttrs(), 1);
  EXPECT_EQ(dobj.getAttrName(0), "an");
}

TEST_F(VekDOBJChunkTest, aDamagedDATRFailsAndIsNotKept) {
  VekDOBJChunk dobj;
  EXPECT_FALSE(readInto(dobj, ByteImage()
                                  .header("DOBJ", 1, 200)
                                  .header("NAME", 2, 2)
                                  .cstr("a")
                                  .header("DATR", 1, 100)
                                  .header("AATR", 1, 80)
                                  .header("NAME", 2, 1000)
                                  .cstr("an")));
  EXPECT_EQ(dobj.datr, nullptr);
}

TEST_F(VekDOBJChunkTest, aHeaderOfAnotherTagOrTypeIsRefused) {
  VekDOBJChunk dobj;
  EXPECT_FALSE(readInto(dobj, ByteImage().header("META", 1, 0)));
  EXPECT_FALSE(readInto(dobj, ByteImage().header("DOBJ", 5, 0)));
}

TEST_F(VekDOBJChunkTest, everyTruncationFails) {
  const std::string whole = dobjImage().bytes();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    VekDOBJChunk dobj;
    EXPECT_FALSE(readInto(dobj, ByteImage().raw(whole.substr(0, size)))) << size;
  }
}

TEST_F(VekDOBJChunkTest, damagedNameLengthsFail) {
  for (const __int64 length :
       {std::numeric_limits<__int64>::min(), std::int64_t{-16}, std::int64_t{-1}, std::int64_t{3},
        std::int64_t{1} << 40, std::numeric_limits<__int64>::max()}) {
    VekDOBJChunk dobj;
    EXPECT_FALSE(
        readInto(dobj, ByteImage().header("DOBJ", 1, 18).header("NAME", 2, length).cstr("a")))
        << length;
  }
}

TEST_F(VekDOBJChunkTest, everyDamagedByteIsSurvived) {
  const std::string whole = dobjImage().bytes();
  const std::string file = writeFile(whole);
  std::fstream patch(file, std::ios::binary | std::ios::in | std::ios::out);
  const auto put = [&](std::size_t at, char byte) {
    patch.seekp(static_cast<std::streamoff>(at)).put(byte).flush();
  };
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (const int value : {0, 1, 2, 5, 0x7F, 0x80, 0xFF}) {
      put(at, static_cast<char>(value));
      VekDOBJChunk dobj;
      VekFile f(file.c_str(), "r");
      VekHeader h;
      if (f.readHeader(h)) dobj.read(h, f);
      for (int i = 0; i < dobj.getNumAttrs(); ++i) {
        static_cast<void>(dobj.isAttrAnimated(i));
        static_cast<void>(dobj.findAttr(dobj.getAttrName(i)));
        static_cast<void>(dobj.getAttrType(i));
        EXPECT_TRUE(dobj.setAttrType(i, "t"));
      }
      static_cast<void>(dobj.getLength());
      static_cast<void>(printed(dobj));
    }
    put(at, whole[at]);
  }
  EXPECT_EQ(readFile(file), whole);
}

// ----- Lengths

TEST_F(VekDOBJChunkTest, theLengthCountsTheNameChunkEvenWhenItIsNotWritten) {
  VekDOBJChunk dobj;
  EXPECT_EQ(dobj.getLength(), 17);
}

TEST_F(VekDOBJChunkTest, theLengthCountsTheName) {
  VekDOBJChunk dobj("|a|b");
  EXPECT_EQ(dobj.getLength(), 21);
}

TEST_F(VekDOBJChunkTest, theLengthCountsTheAttributesWithTheirHeader) {
  VekDOBJChunk dobj("|a|b");
  dobj.addDATR();
  EXPECT_EQ(dobj.getLength(), 37);
  addAttributes(dobj);
  EXPECT_EQ(dobj.getLength(), 189);
}

TEST_F(VekDOBJChunkTest, theLengthCountsGenericChildren) {
  VekDOBJChunk dobj("|a|b");
  dobj.addChild(new VekLeafChunk<int>(kABCD, {5}));
  auto* group = new VekGroupChunk(makeTag('G', 'R', 'U', 'P'));
  group->addChild(new VekLeafChunk<int>(kABCD, {5, 6}));
  dobj.addChild(group);
  EXPECT_EQ(dobj.getLength(), 21 + 20 + 16 + 24);
}

// ----- Printing

TEST_F(VekDOBJChunkTest, printsTheNameThenTheAttributes) {
  VekDOBJChunk dobj("|a|b");
  addAttributes(dobj);
  EXPECT_EQ(printed(dobj),
            "DOBJ group (0) : \n"
            ". name = |a|b\n"
            ". DATR group (0) : \n"
            ". . SATR group (0) : \n"
            ". . . names = size \n"
            ". . . types = float \n"
            ". . AATR group (0) : \n"
            ". . . names = vis \n"
            ". . . types = bool \n"
            ". . ATRS group (0) : \n"
            ". . . ATTR float (4) scalar : 2 \n");
}

TEST_F(VekDOBJChunkTest, printsNoNameLineForAnUnnamedObject) {
  VekDOBJChunk dobj;
  EXPECT_EQ(printed(dobj, 1), ". DOBJ group (0) : \n");
  dobj.addDATR();
  EXPECT_EQ(printed(dobj, 1), ". DOBJ group (0) : \n. . DATR group (0) : \n");
}

TEST_F(VekDOBJChunkTest, printIndentsTheName) {
  VekDOBJChunk dobj("|a");
  EXPECT_EQ(printed(dobj, 2), ". . DOBJ group (0) : \n. . . name = |a\n");
}

TEST_F(VekDOBJChunkTest, printShowsGenericChildrenLast) {
  VekDOBJChunk dobj("|a");
  dobj.addChild(new VekLeafChunk<int>(kABCD, {5}));
  dobj.addDATR();
  EXPECT_EQ(printed(dobj),
            "DOBJ group (0) : \n. name = |a\n. DATR group (0) : \n. ABCD int32 (4) : 5 \n");
}

TEST_F(VekDOBJChunkTest, printShowsTheLengthReadFromTheFile) {
  VekDOBJChunk dobj;
  ASSERT_TRUE(readInto(dobj, ByteImage().header("DOBJ", 1, 19).header("NAME", 2, 3).cstr("|a")));
  EXPECT_EQ(printed(dobj), "DOBJ group (19) : \n. name = |a\n");
}

// ----- Copying

TEST_F(VekDOBJChunkTest, aCopyIsAGenericGroupOfTheGenericChildren) {
  VekDOBJChunk dobj("|a");
  addAttributes(dobj);
  dobj.addChild(new VekLeafChunk<int>(kABCD, {5}));
  const std::unique_ptr<VekChunk> copy(VekChunk::copy(&dobj));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(dynamic_cast<VekDOBJChunk*>(copy.get()), nullptr);
  EXPECT_EQ(written(*copy),
            ByteImage().header("DOBJ", 1, 20).header("ABCD", 3, 4).int32(5).bytes());
}

}  // namespace
