// SPDX-License-Identifier: Apache-2.0
//
// Tests of the metadata group: its members and defaults, its byte image, and its print form.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>

#include "ByteImage.h"
#include "METAChunkTest.h"
#include "SceneImage.h"
#include "VekChunks.h"

namespace {

using namespace VekTest;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using Vek::VekDOBJChunk;
using Vek::VekFile;
using Vek::VekLeafChunk;
using Vek::VekMETAChunk;

// Members.

TEST_F(VekMETAChunkTest, defaults) {
  const VekMETAChunk meta;
  EXPECT_EQ(meta.getTag(), Vek::makeTag('M', 'E', 'T', 'A'));
  EXPECT_EQ(meta.getType(), 1);
  EXPECT_EQ(meta.getCompound(), 0);
  EXPECT_EQ(meta.getDimension(), 0);
  EXPECT_EQ(meta.getHeader().length, 0);
  expectDefaults(meta);
  EXPECT_TRUE(meta.dobjs.empty());
  EXPECT_EQ(meta.numChildren(), 0U);
}

TEST_F(VekMETAChunkTest, resetRestoresEveryDefault) {
  VekMETAChunk meta;
  fill(meta);
  meta.addChild(pcnt(1));
  meta.reset();
  expectDefaults(meta);
  EXPECT_TRUE(meta.dobjs.empty());
  EXPECT_EQ(meta.getNumObjects(), 0);
  EXPECT_EQ(meta.numChildren(), 0U);
}

TEST_F(VekMETAChunkTest, resetCallsTheOverriddenRemoveAllChildren) {
  struct Counting : public VekMETAChunk {
    void removeAllChildren() override { ++removals; }
    int removals = 0;
  };
  Counting meta;
  meta.reset();
  EXPECT_EQ(meta.removals, 1);
}

TEST_F(VekMETAChunkTest, addDOBJAppendsADefinition) {
  VekMETAChunk meta;
  VekDOBJChunk* first = meta.addDOBJ("|a");
  VekDOBJChunk* second = meta.addDOBJ("|a|b");
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_THAT(meta.dobjs, ElementsAre(first, second));
  EXPECT_EQ(first->getName(), "|a");
  EXPECT_EQ(second->getName(), "|a|b");
  EXPECT_EQ(second->getNumAttrs(), 0);
  EXPECT_EQ(meta.numChildren(), 0U);
}

TEST_F(VekMETAChunkTest, addDOBJOfANullNameIsEmpty) {
  VekMETAChunk meta;
  ASSERT_NE(meta.addDOBJ(nullptr), nullptr);
  EXPECT_EQ(meta.dobjs[0]->name, "");
}

TEST_F(VekMETAChunkTest, addDOBJTakesTheSameNameTwice) {
  VekMETAChunk meta;
  meta.addDOBJ("|a");
  meta.addDOBJ("|a");
  EXPECT_EQ(meta.getNumObjects(), 2);
}

TEST_F(VekMETAChunkTest, numberOfObjectsIsThatOfTheDefinitions) {
  VekMETAChunk meta;
  EXPECT_EQ(meta.getNumObjects(), 0);
  meta.addDOBJ("|a");
  meta.dobjs.push_back(new VekDOBJChunk("|b"));
  EXPECT_EQ(meta.getNumObjects(), 2);
}

/// A definition that counts its destruction.
struct CountedDefinition : public VekDOBJChunk {
  explicit CountedDefinition(int& count) : VekDOBJChunk("|counted"), destroyed(count) {}
  ~CountedDefinition() override { ++destroyed; }
  int& destroyed;
};

TEST_F(VekMETAChunkTest, destructionDestroysTheDefinitions) {
  int destroyed = 0;
  {
    VekMETAChunk meta;
    meta.dobjs.push_back(new CountedDefinition(destroyed));
  }
  EXPECT_EQ(destroyed, 1);
}

TEST_F(VekMETAChunkTest, removeAllDOBJsDestroysTheDefinitionsOnly) {
  int destroyed = 0;
  VekMETAChunk meta;
  meta.dobjs.push_back(new CountedDefinition(destroyed));
  meta.dobjs.push_back(new CountedDefinition(destroyed));
  meta.addChild(pcnt(1));
  meta.removeAllDOBJs();
  EXPECT_EQ(destroyed, 2);
  EXPECT_TRUE(meta.dobjs.empty());
  EXPECT_EQ(meta.numChildren(), 1U);
}

TEST_F(VekMETAChunkTest, removeAllChildrenDestroysDefinitionsAndGenericChildren) {
  int destroyed = 0;
  VekMETAChunk meta;
  meta.numSamples = 3;
  meta.dobjs.push_back(new CountedDefinition(destroyed));
  meta.addChild(pcnt(1));
  meta.removeAllChildren();
  EXPECT_EQ(destroyed, 1);
  EXPECT_TRUE(meta.dobjs.empty());
  EXPECT_EQ(meta.numChildren(), 0U);
  EXPECT_EQ(meta.numSamples, 3);
}

// A range as long as the list of generic children goes to removeAllChildren(), definitions and all.
TEST_F(VekMETAChunkTest, removeChildrenOfAsManyAsThereAreTakesTheDefinitionsToo) {
  VekMETAChunk meta;
  meta.addDOBJ("|a");
  meta.addChild(pcnt(1));
  meta.removeChildren(5, 6);
  EXPECT_EQ(meta.getNumObjects(), 0);
  EXPECT_EQ(meta.numChildren(), 0U);

  meta.addDOBJ("|b");
  meta.removeChildren(0, 0);
  EXPECT_EQ(meta.getNumObjects(), 0);
}

TEST_F(VekMETAChunkTest, removeChildrenOfAPartLeavesTheDefinitions) {
  VekMETAChunk meta;
  meta.addDOBJ("|a");
  meta.addChild(pcnt(1));
  meta.addChild(new VekLeafChunk<int>(Vek::Tag::PIDS, 0, 0, {1}));
  meta.removeChildren(0, 1);
  EXPECT_EQ(meta.getNumObjects(), 1);
  EXPECT_THAT(childTags(meta), ElementsAre("PIDS"));
}

// Length.

TEST_F(VekMETAChunkTest, lengthOfAnEmptyMetaIs130) {
  EXPECT_EQ(VekMETAChunk().getLength(), 130);
}

TEST_F(VekMETAChunkTest, lengthCountsTheStrings) {
  VekMETAChunk meta;
  meta.application = "12345";
  EXPECT_EQ(meta.getLength(), 135);
  meta.sourceFile = "123";
  EXPECT_EQ(meta.getLength(), 138);
}

TEST_F(VekMETAChunkTest, lengthDoesNotDependOnTheDate) {
  VekMETAChunk meta;
  meta.dateStamp = 1000000000;
  EXPECT_EQ(meta.getLength(), 130);
}

TEST_F(VekMETAChunkTest, lengthCountsTheTimesWhenThereAreSamples) {
  VekMETAChunk meta;
  meta.numSamples = 1;
  EXPECT_EQ(meta.getLength(), 190);
}

TEST_F(VekMETAChunkTest, lengthCountsTheTimesOfANegativeNumberOfSamples) {
  VekMETAChunk meta;
  meta.numSamples = -1;
  EXPECT_EQ(meta.getLength(), 190);
}

TEST_F(VekMETAChunkTest, lengthCountsTheDefinitions) {
  VekMETAChunk meta;
  meta.addDOBJ("|a");
  EXPECT_EQ(meta.getLength(), 130 + 16 + (17 + 2));
  meta.addDOBJ("");
  EXPECT_EQ(meta.getLength(), 130 + 16 + (17 + 2) + 16 + 17);
}

TEST_F(VekMETAChunkTest, lengthDoesNotCountGenericChildren) {
  VekMETAChunk meta;
  meta.addChild(pcnt(1));
  EXPECT_EQ(meta.getLength(), 130);
}

TEST_F(VekMETAChunkTest, lengthOfAFullMetaIsThatOnDisk) {
  VekMETAChunk meta;
  fill(meta);
  // 130, the strings, the times and the two definitions.
  EXPECT_EQ(meta.getLength(), 130 + 5 + 9 + 60 + (16 + 19) + (16 + 21));
  EXPECT_EQ(meta.getLength(), static_cast<std::int64_t>(written(meta).size()) - 16);
}

TEST_F(VekMETAChunkTest, lengthOfASparseMetaIsNotThatOnDisk) {
  VekMETAChunk meta;
  // The file holds NSAM, SPAC and NOBJ alone.
  EXPECT_EQ(written(meta).size(), 16U + 72U);
  EXPECT_EQ(meta.getLength(), 130);
}

// Byte images.

TEST_F(VekMETAChunkTest, fullImage) {
  VekMETAChunk meta;
  fill(meta);
  // WAPP 22, SFIL 26, DATE 24, NSAM 24, the times 60, SPAC 24, NOBJ 24, definitions 35 and 37.
  EXPECT_EQ(written(meta), ByteImage().header("META", 1, 276).raw(filledPayload()).bytes());
}

TEST_F(VekMETAChunkTest, fullImageIsReadBack) {
  VekMETAChunk meta;
  ASSERT_TRUE(readInto(meta, ByteImage().header("META", 1, 276).raw(filledPayload())));
  EXPECT_EQ(m_position, 292);
  EXPECT_EQ(m_level, 0U);
  EXPECT_EQ(meta.numSamples, 3);
  EXPECT_EQ(meta.firstTime, 1.0F);
  EXPECT_EQ(meta.lastTime, 2.0F);
  EXPECT_EQ(meta.rate, 2.0F);
  EXPECT_EQ(meta.space, 0);
  EXPECT_EQ(meta.application, "maker");
  EXPECT_EQ(meta.sourceFile, "scene.src");
  EXPECT_EQ(meta.dateStamp, 1000000000);
  EXPECT_THAT(objectNames(meta), ElementsAre("|a", "|a|b"));
  EXPECT_EQ(meta.numChildren(), 0U);
  EXPECT_EQ(meta.getHeader().length, 276);
}

TEST_F(VekMETAChunkTest, defaultImage) {
  EXPECT_EQ(written(VekMETAChunk()), ByteImage()
                                         .header("META", 1, 72)
                                         .header("NSAM", 5, 8)
                                         .int64(0)
                                         .header("SPAC", 5, 8)
                                         .int64(1)
                                         .header("NOBJ", 5, 8)
                                         .int64(0)
                                         .bytes());
}

TEST_F(VekMETAChunkTest, applicationAloneIsWrittenFirst) {
  VekMETAChunk meta;
  meta.application = "x";
  EXPECT_EQ(written(meta).substr(16, 18), ByteImage().header("WAPP", 2, 2).cstr("x").bytes());
}

TEST_F(VekMETAChunkTest, sourceFileAloneIsWrittenFirst) {
  VekMETAChunk meta;
  meta.sourceFile = "x";
  EXPECT_EQ(written(meta).substr(16, 18), ByteImage().header("SFIL", 2, 2).cstr("x").bytes());
}

TEST_F(VekMETAChunkTest, negativeDateIsWritten) {
  VekMETAChunk meta;
  meta.dateStamp = -1;
  EXPECT_EQ(written(meta).substr(16, 24), ByteImage().header("DATE", 5, 8).int64(-1).bytes());
}

TEST_F(VekMETAChunkTest, withoutSamplesNoTimesAreWritten) {
  VekMETAChunk meta;
  meta.firstTime = 1.0F;
  meta.lastTime = 2.0F;
  meta.rate = 24.0F;
  const std::string bytes = written(meta);
  EXPECT_THAT(bytes, Not(HasSubstr("FTIM")));
  EXPECT_THAT(bytes, Not(HasSubstr("LTIM")));
  EXPECT_THAT(bytes, Not(HasSubstr("RATE")));
  VekMETAChunk again;
  ASSERT_TRUE(readInto(again, ByteImage().raw(bytes)));
  EXPECT_EQ(again.firstTime, kInfinity);
  EXPECT_EQ(again.lastTime, -kInfinity);
  EXPECT_EQ(again.rate, 1.0F);
}

TEST_F(VekMETAChunkTest, negativeNumberOfSamplesIsWrittenWithoutTimes) {
  VekMETAChunk meta;
  meta.numSamples = -3;
  meta.firstTime = 1.0F;
  EXPECT_EQ(written(meta), ByteImage().header("META", 1, 72).raw(leastPayload(-3, 1, 0)).bytes());
  VekMETAChunk again;
  ASSERT_TRUE(readInto(again, ByteImage().raw(written(meta))));
  EXPECT_EQ(again.numSamples, -3);
}

TEST_F(VekMETAChunkTest, timesAreWrittenAfterTheNumberOfSamples) {
  VekMETAChunk meta;
  meta.numSamples = 1;
  meta.rate = 0.0F;
  EXPECT_EQ(written(meta), ByteImage()
                               .header("META", 1, 132)
                               .header("NSAM", 5, 8)
                               .int64(1)
                               .header("FTIM", 4, 4)
                               .raw(std::string("\0\0\x80\x7f", 4))
                               .header("LTIM", 4, 4)
                               .raw(std::string("\0\0\x80\xff", 4))
                               .header("RATE", 4, 4)
                               .raw(std::string("\0\0\0\0", 4))
                               .header("SPAC", 5, 8)
                               .int64(1)
                               .header("NOBJ", 5, 8)
                               .int64(0)
                               .bytes());
}

TEST_F(VekMETAChunkTest, genericChildrenAreWrittenAfterTheDefinitions) {
  VekMETAChunk meta;
  meta.addChild(pcnt(7));
  meta.addDOBJ("|a");
  EXPECT_EQ(written(meta), ByteImage()
                               .header("META", 1, 72 + 35 + 20)
                               .raw(leastPayload(0, 1, 1))
                               .raw(definition("|a"))
                               .header("PCNT", 3, 4)
                               .int32(7)
                               .bytes());
}

TEST_F(VekMETAChunkTest, definitionsAreWrittenWithTheirAttributes) {
  VekMETAChunk meta;
  VekDOBJChunk* object = meta.addDOBJ("|a");
  object->addAttr(true, "size", "float", 4, 0, 1);
  const ByteImage names =
      ByteImage().header("NAME", 2, 5).cstr("size").header("TYPE", 2, 6).cstr("float");
  const ByteImage attributes = ByteImage().chunk("DATR", 1, ByteImage().chunk("AATR", 1, names));
  const ByteImage dobj =
      ByteImage().chunk("DOBJ", 1, ByteImage().header("NAME", 2, 3).cstr("|a").raw(attributes));
  EXPECT_EQ(written(meta).substr(16 + 72), dobj.bytes());
}

TEST_F(VekMETAChunkTest, writeReadWriteGivesTheSameBytes) {
  VekMETAChunk meta;
  fill(meta);
  meta.dobjs[0]->addAttr(true, "size", "float", 4, 0, 1);
  meta.dobjs[1]->addAttr(false, "count", "int", 3, 0, 1);
  meta.addDOBJ("");
  meta.addChild(pcnt(7));
  meta.addChild(new Vek::VekGroupChunk(Vek::Tag::SOBJ));
  const std::string first = written(meta);
  VekMETAChunk again;
  ASSERT_TRUE(readInto(again, ByteImage().raw(first)));
  EXPECT_EQ(written(again), first);
}

TEST_F(VekMETAChunkTest, headerBytesSurviveARoundTrip) {
  VekMETAChunk meta;
  const ByteImage image = ByteImage().header("META", 1, 276, 4, 9, 77).raw(filledPayload());
  ASSERT_TRUE(readInto(meta, image));
  EXPECT_EQ(written(meta), image.bytes());
}

TEST_F(VekMETAChunkTest, timesThatAreNotNumbersSurviveARoundTrip) {
  const ByteImage image = ByteImage()
                              .header("META", 1, 132)
                              .header("NSAM", 5, 8)
                              .int64(2)
                              .header("FTIM", 4, 4)
                              .raw(std::string("\x01\0\xc0\x7f", 4))
                              .header("LTIM", 4, 4)
                              .raw(std::string("\x02\0\xc0\xff", 4))
                              .header("RATE", 4, 4)
                              .raw(std::string("\0\0\x80\x7f", 4))
                              .header("SPAC", 5, 8)
                              .int64(-9)
                              .header("NOBJ", 5, 8)
                              .int64(0);
  VekMETAChunk meta;
  ASSERT_TRUE(readInto(meta, image));
  EXPECT_TRUE(std::isnan(meta.firstTime));
  EXPECT_TRUE(std::isnan(meta.lastTime));
  EXPECT_EQ(meta.rate, kInfinity);
  EXPECT_EQ(written(meta), image.bytes());
  EXPECT_THAT(printed(meta), HasSubstr(" samples per frame\n"));
}

// Failing writes.

/// A definition that cannot be written.
struct UnwritableDefinition : public VekDOBJChunk {
  bool write(VekFile& /*f*/) const override { return false; }
};

TEST_F(VekMETAChunkTest, failingDefinitionEndsTheWrite) {
  VekMETAChunk meta;
  meta.addDOBJ("|a");
  meta.dobjs.push_back(new UnwritableDefinition);
  meta.addDOBJ("|c");
  meta.addChild(pcnt(7));
  VekFile f(path().c_str(), "w");
  EXPECT_FALSE(meta.write(f));
  EXPECT_EQ(f.getLevel(), 0U);
  ASSERT_TRUE(f.close());
  EXPECT_EQ(readFile(path()), ByteImage()
                                  .header("META", 1, 72 + 35)
                                  .raw(leastPayload(0, 1, 3))
                                  .raw(definition("|a"))
                                  .bytes());
}

TEST_F(VekMETAChunkTest, writeToAClosedFileFails) {
  VekFile f;
  EXPECT_FALSE(VekMETAChunk().write(f));
}

TEST_F(VekMETAChunkTest, writeToAFileOpenForReadingFails) {
  const std::string file = writeFile(ByteImage().zeros(64));
  VekFile f(file.c_str(), "r");
  EXPECT_FALSE(VekMETAChunk().write(f));
}

TEST_F(VekMETAChunkTest, writeChildrenToAClosedFileFails) {
  VekFile f;
  EXPECT_FALSE(OpenMeta().writeChildren(f));
}

TEST_F(VekMETAChunkTest, writeChildrenWritesNoGenericChildren) {
  OpenMeta meta;
  meta.addChild(pcnt(7));
  VekFile f(path().c_str(), "w");
  EXPECT_TRUE(meta.writeChildren(f));
  EXPECT_EQ(f.tell(), 72);
}

// Print.

TEST_F(VekMETAChunkTest, defaultPrint) {
  EXPECT_EQ(printed(VekMETAChunk()),
            "META group (0) : \n"
            ". numObjects = 0\n"
            ". numSamples = 0\n"
            ". firstTime = frame inf\n"
            ". lastTime = -inf\n"
            ". rate = 1 samples per frame\n"
            ". space = object\n");
}

// The text of the date ends its own line, so that an empty one follows; the definitions stand at
// the indent of the lines, not one deeper.
TEST_F(VekMETAChunkTest, fullPrint) {
  VekMETAChunk meta;
  fill(meta);
  EXPECT_EQ(printed(meta, 1),
            ". META group (0) : \n"
            ". . application = maker\n"
            ". . sourceFile = scene.src\n"
            ". . date stamp = Sun Sep  9 01:46:40 2001\n"
            "\n"
            ". . numObjects = 2\n"
            ". . numSamples = 3\n"
            ". . firstTime = frame 1\n"
            ". . lastTime = 2\n"
            ". . rate = 2 samples per frame\n"
            ". . space = world\n"
            ". . DOBJ group (0) : \n"
            ". . . name = |a\n"
            ". . DOBJ group (0) : \n"
            ". . . name = |a|b\n");
}

TEST_F(VekMETAChunkTest, printAfterAReadShowsTheLengthsOfTheFile) {
  VekMETAChunk meta;
  ASSERT_TRUE(readInto(meta, ByteImage().header("META", 1, 276).raw(filledPayload())));
  const std::string text = printed(meta);
  EXPECT_THAT(text, HasSubstr("META group (276) : \n"));
  EXPECT_THAT(text, HasSubstr("\n. DOBJ group (19) : \n. . name = |a\n"));
}

TEST_F(VekMETAChunkTest, genericChildrenArePrintedAfterTheDefinitions) {
  VekMETAChunk meta;
  meta.addChild(pcnt(7));
  meta.addDOBJ("|a");
  EXPECT_THAT(printed(meta), HasSubstr(". space = object\n"
                                       ". DOBJ group (0) : \n"
                                       ". . name = |a\n"
                                       ". PCNT int32 (4) : 7 \n"));
}

TEST_F(VekMETAChunkTest, printChildrenPrintsAtTheIndentGiven) {
  std::ostringstream os;
  const OpenMeta meta;
  EXPECT_EQ(&meta.printChildren(os, 0), &os);
  EXPECT_EQ(os.str(),
            "numObjects = 0\n"
            "numSamples = 0\n"
            "firstTime = frame inf\n"
            "lastTime = -inf\n"
            "rate = 1 samples per frame\n"
            "space = object\n");
}

TEST_F(VekMETAChunkTest, printOfTheRate) {
  VekMETAChunk meta;
  meta.rate = 0.0F;
  EXPECT_THAT(printed(meta), HasSubstr("\n. rate = nonuniform\n"));
  meta.rate = -0.0F;
  EXPECT_THAT(printed(meta), HasSubstr("\n. rate = nonuniform\n"));
  meta.rate = 24.0F;
  EXPECT_THAT(printed(meta), HasSubstr("\n. rate = 24 samples per frame\n"));
  meta.rate = 0.5F;
  EXPECT_THAT(printed(meta), HasSubstr("\n. rate = 0.5 samples per frame\n"));
}

TEST_F(VekMETAChunkTest, printOfTheSpace) {
  VekMETAChunk meta;
  meta.space = 0;
  EXPECT_THAT(printed(meta), HasSubstr("\n. space = world\n"));
  meta.space = 1;
  EXPECT_THAT(printed(meta), HasSubstr("\n. space = object\n"));
  meta.space = 2;
  EXPECT_THAT(printed(meta), HasSubstr("\n. space = 2\n"));
  meta.space = -1;
  EXPECT_THAT(printed(meta), HasSubstr("\n. space = -1\n"));
}

TEST_F(VekMETAChunkTest, printOfTheDateIsInLocalTime) {
  VekMETAChunk meta;
  meta.dateStamp = 1;
  EXPECT_THAT(printed(meta), HasSubstr("\n. date stamp = Thu Jan  1 00:00:01 1970\n\n"));
  const TimeZone east("ABC-2");
  EXPECT_THAT(printed(meta), HasSubstr("\n. date stamp = Thu Jan  1 02:00:01 1970\n\n"));
}

TEST_F(VekMETAChunkTest, printOfADateBefore1970) {
  VekMETAChunk meta;
  meta.dateStamp = -1;
  EXPECT_THAT(printed(meta), HasSubstr("\n. date stamp = Wed Dec 31 23:59:59 1969\n\n"));
}

TEST_F(VekMETAChunkTest, printOfADateBeyond32Bits) {
  VekMETAChunk meta;
  meta.dateStamp = std::int64_t{1} << 32;
  EXPECT_THAT(printed(meta), HasSubstr("\n. date stamp = Sun Feb  7 06:28:16 2106\n\n"));
}

// The last ones have years of more than four digits, or none that the C library can tell.
TEST_F(VekMETAChunkTest, printOfAnyDateIsHarmless) {
  for (const std::int64_t date :
       {std::int64_t{253402300799}, std::int64_t{253402300800}, std::int64_t{-62167219201},
        std::int64_t{67767976233532799}, std::int64_t{67768036191676800},
        std::int64_t{-67768040609740800}, std::int64_t{-67768040609740801},
        std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}) {
    VekMETAChunk meta;
    meta.dateStamp = date;
    const std::string text = printed(meta);
    EXPECT_THAT(text, HasSubstr("META group (0) : \n. date stamp = ")) << date;
    EXPECT_THAT(text, HasSubstr("\n. numObjects = 0\n. numSamples = 0\n")) << date;
    EXPECT_EQ(text.find('\0'), std::string::npos) << date;
  }
}

TEST_F(VekMETAChunkTest, printOfExtremeNumbers) {
  VekMETAChunk meta;
  meta.numSamples = std::numeric_limits<std::int64_t>::min();
  meta.space = std::numeric_limits<std::int64_t>::max();
  const std::string text = printed(meta);
  EXPECT_THAT(text, HasSubstr("\n. numSamples = -9223372036854775808\n"));
  EXPECT_THAT(text, HasSubstr("\n. space = 9223372036854775807\n"));
}

}  // namespace
