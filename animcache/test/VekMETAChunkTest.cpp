// SPDX-License-Identifier: Apache-2.0
//
// Tests of the metadata group: its members and defaults, its byte image, the children it claims
// and those it leaves generic, its print form, and damaged metadata.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "VekChunks.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using Vek::VekChunk;
using Vek::VekDOBJChunk;
using Vek::VekFile;
using Vek::VekHeader;
using Vek::VekLeafChunk;
using Vek::VekMETAChunk;
using VekTest::ByteImage;
using VekTest::FileTest;
using VekTest::TimeZone;

constexpr float infinity = std::numeric_limits<float>::infinity();

std::string printed(const VekMETAChunk& meta, int indent = 0) {
  std::ostringstream os;
  meta.print(os, indent);
  return os.str();
}

std::vector<std::string> childTags(const VekMETAChunk& meta) {
  std::vector<std::string> tags;
  for (unsigned int i = 0; i < meta.numChildren(); ++i) {
    tags.push_back(meta.getChild(i)->getHeader().tagStr());
  }
  return tags;
}

std::vector<std::string> objectNames(const VekMETAChunk& meta) {
  std::vector<std::string> names;
  for (const VekDOBJChunk* definition : meta.dobjs) names.push_back(definition->name);
  return names;
}

/// Every member but the objects is as in a new chunk.
void expectDefaults(const VekMETAChunk& meta) {
  EXPECT_EQ(meta.numSamples, 0);
  EXPECT_EQ(meta.firstTime, infinity);
  EXPECT_EQ(meta.lastTime, -infinity);
  EXPECT_EQ(meta.rate, 1.0F);
  EXPECT_EQ(meta.space, 1);
  EXPECT_EQ(meta.application, "");
  EXPECT_EQ(meta.sourceFile, "");
  EXPECT_EQ(meta.dateStamp, 0);
}

/// Sets every member to something else than its default.
void fill(VekMETAChunk& meta) {
  meta.numSamples = 3;
  meta.firstTime = 1.0F;
  meta.lastTime = 2.0F;
  meta.rate = 2.0F;
  meta.space = 0;
  meta.application = "maker";
  meta.sourceFile = "scene.src";
  meta.dateStamp = 1000000000;
  meta.addDOBJ("|a");
  meta.addDOBJ("|a|b");
}

ByteImage definition(const std::string& name) {
  return ByteImage().chunk("DOBJ", 1, ByteImage().chunk("NAME", 2, ByteImage().cstr(name)));
}

/// The payload of what fill() makes.
ByteImage filledPayload() {
  return ByteImage()
      .header("WAPP", 2, 6)
      .raw(std::string("maker\0", 6))
      .header("SFIL", 2, 10)
      .raw(std::string("scene.src\0", 10))
      .header("DATE", 5, 8)
      .raw(std::string("\x00\xca\x9a\x3b\0\0\0\0", 8))
      .header("NSAM", 5, 8)
      .raw(std::string("\x03\0\0\0\0\0\0\0", 8))
      .header("FTIM", 4, 4)
      .raw(std::string("\0\0\x80\x3f", 4))
      .header("LTIM", 4, 4)
      .raw(std::string("\0\0\0\x40", 4))
      .header("RATE", 4, 4)
      .raw(std::string("\0\0\0\x40", 4))
      .header("SPAC", 5, 8)
      .raw(std::string("\0\0\0\0\0\0\0\0", 8))
      .header("NOBJ", 5, 8)
      .raw(std::string("\x02\0\0\0\0\0\0\0", 8))
      .header("DOBJ", 1, 19)
      .header("NAME", 2, 3)
      .raw(std::string("|a\0", 3))
      .header("DOBJ", 1, 21)
      .header("NAME", 2, 5)
      .raw(std::string("|a|b\0", 5));
}

class VekMETAChunkTest : public FileTest {
 protected:
  /// Reads the first chunk of an image.
  bool readInto(VekMETAChunk& meta, const ByteImage& image) {
    const std::string file = writeFile(image, "in");
    VekFile f(file.c_str(), "r");
    VekHeader h;
    const bool ok = f.readHeader(h) && meta.read(h, f);
    m_position = f.tell();
    m_level = f.getLevel();
    return ok;
  }
  /// Reads a META with that payload.
  bool readPayload(VekMETAChunk& meta, const ByteImage& payload) {
    return readInto(meta, ByteImage().chunk("META", 1, payload));
  }
  /// The bytes of a file that holds the chunk alone.
  std::string written(const VekMETAChunk& meta) {
    VekFile f(path("out").c_str(), "w");
    EXPECT_TRUE(meta.write(f));
    EXPECT_EQ(f.getLevel(), 0U);
    EXPECT_TRUE(f.close());
    return readFile(path("out"));
  }
  std::int64_t m_position = -1;
  std::uint64_t m_level = 99;

 private:
  const TimeZone m_utc{"UTC"};
};

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
  meta.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
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
  meta.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
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
  meta.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
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
  meta.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
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
  meta.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
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
  meta.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {1}));
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
  EXPECT_EQ(again.firstTime, infinity);
  EXPECT_EQ(again.lastTime, -infinity);
  EXPECT_EQ(again.rate, 1.0F);
}

TEST_F(VekMETAChunkTest, negativeNumberOfSamplesIsWrittenWithoutTimes) {
  VekMETAChunk meta;
  meta.numSamples = -3;
  meta.firstTime = 1.0F;
  EXPECT_EQ(written(meta), ByteImage()
                               .header("META", 1, 72)
                               .header("NSAM", 5, 8)
                               .int64(-3)
                               .header("SPAC", 5, 8)
                               .int64(1)
                               .header("NOBJ", 5, 8)
                               .int64(0)
                               .bytes());
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
  meta.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {7}));
  meta.addDOBJ("|a");
  EXPECT_EQ(written(meta), ByteImage()
                               .header("META", 1, 72 + 35 + 20)
                               .header("NSAM", 5, 8)
                               .int64(0)
                               .header("SPAC", 5, 8)
                               .int64(1)
                               .header("NOBJ", 5, 8)
                               .int64(1)
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
  meta.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {7}));
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
  EXPECT_EQ(meta.rate, infinity);
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
  meta.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {7}));
  VekFile f(path().c_str(), "w");
  EXPECT_FALSE(meta.write(f));
  EXPECT_EQ(f.getLevel(), 0U);
  ASSERT_TRUE(f.close());
  EXPECT_EQ(readFile(path()), ByteImage()
                                  .header("META", 1, 72 + 35)
                                  .header("NSAM", 5, 8)
                                  .int64(0)
                                  .header("SPAC", 5, 8)
                                  .int64(1)
                                  .header("NOBJ", 5, 8)
                                  .int64(3)
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

struct OpenMeta : public VekMETAChunk {
  using VekMETAChunk::printChildren;
  using VekMETAChunk::readChild;
  using VekMETAChunk::writeChildren;
};

TEST_F(VekMETAChunkTest, writeChildrenToAClosedFileFails) {
  VekFile f;
  EXPECT_FALSE(OpenMeta().writeChildren(f));
}

TEST_F(VekMETAChunkTest, writeChildrenWritesNoGenericChildren) {
  OpenMeta meta;
  meta.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {7}));
  VekFile f(path().c_str(), "w");
  EXPECT_TRUE(meta.writeChildren(f));
  EXPECT_EQ(f.tell(), 72);
}

// Reading.

TEST_F(VekMETAChunkTest, emptyMetaIsRead) {
  VekMETAChunk meta;
  ASSERT_TRUE(readInto(meta, ByteImage().header("META", 1, 0)));
  expectDefaults(meta);
  EXPECT_EQ(meta.getNumObjects(), 0);
}

TEST_F(VekMETAChunkTest, readOfAnotherTagOrTypeFails) {
  VekMETAChunk meta;
  EXPECT_FALSE(readInto(meta, ByteImage().chunk("METB", 1, filledPayload())));
  EXPECT_FALSE(readInto(meta, ByteImage().chunk("META", 0, filledPayload())));
  expectDefaults(meta);
  EXPECT_EQ(meta.getNumObjects(), 0);
}

TEST_F(VekMETAChunkTest, childrenComeInAnyOrder) {
  VekMETAChunk meta;
  ASSERT_TRUE(readPayload(meta, ByteImage()
                                    .raw(definition("|a"))
                                    .header("RATE", 4, 4)
                                    .float32(24.0F)
                                    .header("NOBJ", 5, 8)
                                    .int64(2)
                                    .header("SFIL", 2, 2)
                                    .cstr("s")
                                    .header("LTIM", 4, 4)
                                    .float32(9.0F)
                                    .header("SPAC", 5, 8)
                                    .int64(0)
                                    .raw(definition("|b"))
                                    .header("DATE", 5, 8)
                                    .int64(5)
                                    .header("FTIM", 4, 4)
                                    .float32(3.0F)
                                    .header("WAPP", 2, 2)
                                    .cstr("w")
                                    .header("NSAM", 5, 8)
                                    .int64(145)));
  EXPECT_EQ(meta.rate, 24.0F);
  EXPECT_EQ(meta.sourceFile, "s");
  EXPECT_EQ(meta.lastTime, 9.0F);
  EXPECT_EQ(meta.space, 0);
  EXPECT_EQ(meta.dateStamp, 5);
  EXPECT_EQ(meta.firstTime, 3.0F);
  EXPECT_EQ(meta.application, "w");
  EXPECT_EQ(meta.numSamples, 145);
  EXPECT_THAT(objectNames(meta), ElementsAre("|a", "|b"));
  EXPECT_EQ(meta.numChildren(), 0U);
}

TEST_F(VekMETAChunkTest, timesAreReadWhateverTheNumberOfSamples) {
  VekMETAChunk meta;
  ASSERT_TRUE(readPayload(
      meta, ByteImage().header("NSAM", 5, 8).int64(0).header("FTIM", 4, 4).float32(3.0F)));
  EXPECT_EQ(meta.firstTime, 3.0F);
}

TEST_F(VekMETAChunkTest, laterDuplicateOverwrites) {
  VekMETAChunk meta;
  ASSERT_TRUE(readPayload(meta, ByteImage()
                                    .header("NSAM", 5, 8)
                                    .int64(1)
                                    .header("WAPP", 2, 4)
                                    .cstr("one")
                                    .header("NSAM", 5, 8)
                                    .int64(2)
                                    .header("WAPP", 2, 2)
                                    .cstr("2")));
  EXPECT_EQ(meta.numSamples, 2);
  EXPECT_EQ(meta.application, "2");
  EXPECT_EQ(meta.numChildren(), 0U);
}

TEST_F(VekMETAChunkTest, compoundAndDimensionDoNotMatterForAClaim) {
  VekMETAChunk meta;
  ASSERT_TRUE(readPayload(
      meta,
      ByteImage().header("NSAM", 5, 8, 1, 3, 9).int64(7).header("WAPP", 2, 2, 6, 16).cstr("w")));
  EXPECT_EQ(meta.numSamples, 7);
  EXPECT_EQ(meta.application, "w");
  EXPECT_EQ(meta.numChildren(), 0U);
}

TEST_F(VekMETAChunkTest, numberOfObjectsInTheFileIsDiscarded) {
  VekMETAChunk meta;
  ASSERT_TRUE(readPayload(meta, ByteImage()
                                    .header("NOBJ", 5, 8)
                                    .int64(5)
                                    .raw(definition("|a"))
                                    .raw(definition("|b"))
                                    .raw(definition("|c"))));
  EXPECT_EQ(meta.getNumObjects(), 3);
  EXPECT_EQ(meta.numChildren(), 0U);
}

TEST_F(VekMETAChunkTest, hugeAndNegativeCountsInTheFileCostNothing) {
  for (const std::int64_t count :
       {std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}) {
    VekMETAChunk meta;
    ASSERT_TRUE(readPayload(
        meta, ByteImage().header("NOBJ", 5, 8).int64(count).header("NSAM", 5, 8).int64(count)));
    EXPECT_EQ(meta.getNumObjects(), 0);
    EXPECT_EQ(meta.numSamples, count);
  }
}

TEST_F(VekMETAChunkTest, stringsAreCutAtTheFirstNul) {
  VekMETAChunk meta;
  ASSERT_TRUE(readPayload(meta, ByteImage()
                                    .header("WAPP", 2, 7)
                                    .raw(std::string("abc\0def", 7))
                                    .header("SFIL", 2, 4)
                                    .raw(std::string("\0xyz", 4))));
  EXPECT_EQ(meta.application, "abc");
  EXPECT_EQ(meta.sourceFile, "");
}

TEST_F(VekMETAChunkTest, stringsWithoutANulAreTakenWhole) {
  VekMETAChunk meta;
  ASSERT_TRUE(
      readPayload(meta, ByteImage().header("WAPP", 2, 3).raw("abc").header("SFIL", 2, 1).raw("d")));
  EXPECT_EQ(meta.application, "abc");
  EXPECT_EQ(meta.sourceFile, "d");
}

TEST_F(VekMETAChunkTest, stringsOfLength0AreEmpty) {
  VekMETAChunk meta;
  meta.application = "before";
  meta.sourceFile = "before";
  ASSERT_TRUE(readPayload(meta, ByteImage().header("WAPP", 2, 0).header("SFIL", 2, 0)));
  EXPECT_EQ(meta.application, "");
  EXPECT_EQ(meta.sourceFile, "");
  EXPECT_EQ(meta.numChildren(), 0U);
}

TEST_F(VekMETAChunkTest, emptyDefinitionIsAnObjectWithoutAName) {
  VekMETAChunk meta;
  ASSERT_TRUE(readPayload(meta, ByteImage().header("DOBJ", 1, 0)));
  ASSERT_EQ(meta.getNumObjects(), 1);
  EXPECT_EQ(meta.dobjs[0]->name, "");
  EXPECT_EQ(m_level, 0U);
}

TEST_F(VekMETAChunkTest, definitionIsReadWithItsAttributes) {
  const ByteImage names = ByteImage().header("NAME", 2, 5).cstr("size");
  const ByteImage attributes = ByteImage().chunk("DATR", 1, ByteImage().chunk("AATR", 1, names));
  VekMETAChunk meta;
  ASSERT_TRUE(readPayload(
      meta,
      ByteImage().chunk("DOBJ", 1, ByteImage().header("NAME", 2, 3).cstr("|a").raw(attributes))));
  ASSERT_EQ(meta.getNumObjects(), 1);
  EXPECT_EQ(meta.dobjs[0]->findAttr("size"), 0);
}

// The definitions of a second read join those of the first; the generic children do not.
TEST_F(VekMETAChunkTest, secondReadWithoutAResetAppendsTheDefinitions) {
  VekMETAChunk meta;
  const ByteImage payload = ByteImage().raw(definition("|a")).header("PCNT", 3, 4).int32(1);
  ASSERT_TRUE(readPayload(meta, payload));
  const std::unique_ptr<VekChunk> dropped(meta.getChild(0));
  ASSERT_TRUE(readPayload(meta, payload));
  EXPECT_THAT(objectNames(meta), ElementsAre("|a", "|a"));
  ASSERT_EQ(meta.numChildren(), 1U);
  EXPECT_NE(meta.getChild(0), dropped.get());
  EXPECT_EQ(dropped->getTag(), Vek::Tag::PCNT);
}

TEST_F(VekMETAChunkTest, unknownChildrenStayGenericAndSurvive) {
  const ByteImage image = ByteImage().chunk("META", 1,
                                            ByteImage()
                                                .header("NSAM", 5, 8)
                                                .int64(0)
                                                .header("SPAC", 5, 8)
                                                .int64(1)
                                                .header("NOBJ", 5, 8)
                                                .int64(0)
                                                .header("FREE", 0, 3)
                                                .raw("xyz")
                                                .header("NAME", 2, 2)
                                                .cstr("n")
                                                .header("DATR", 1, 0));
  VekMETAChunk meta;
  ASSERT_TRUE(readInto(meta, image));
  EXPECT_THAT(childTags(meta), ElementsAre("FREE", "NAME", "DATR"));
  EXPECT_EQ(written(meta), image.bytes());
}

// Children with a known tag that do not match.

struct Mismatch {
  const char* tag;
  int type;
  std::int64_t length;
};

class VekMETAChunkMismatchTest : public VekMETAChunkTest,
                                 public ::testing::WithParamInterface<Mismatch> {};

TEST_P(VekMETAChunkMismatchTest, staysGenericAndTheFieldKeepsItsValue) {
  const Mismatch& param = GetParam();
  const auto size = static_cast<std::size_t>(param.length);
  VekMETAChunk meta;
  // Numbers and strings of these bytes differ from every default.
  const ByteImage child =
      ByteImage().header(param.tag, param.type, param.length).raw(std::string(size, 'A'));
  ASSERT_TRUE(readPayload(meta, child));
  expectDefaults(meta);
  EXPECT_EQ(meta.getNumObjects(), 0);
  ASSERT_EQ(meta.numChildren(), 1U);
  EXPECT_EQ(meta.getChild(0)->getHeader().tagStr(), param.tag);
  EXPECT_EQ(meta.getChild(0)->getType(), param.type);
  EXPECT_EQ(meta.getChild(0)->getHeader().length, param.length);
}

const Mismatch mismatches[] = {
    {"NSAM", 0, 8}, {"NSAM", 2, 8}, {"NSAM", 3, 8},  {"NSAM", 4, 8},  {"NSAM", 6, 8},
    {"NSAM", 5, 0}, {"NSAM", 3, 4}, {"NSAM", 5, 16}, {"NSAM", 5, 24}, {"FTIM", 5, 8},
    {"FTIM", 3, 4}, {"FTIM", 0, 4}, {"FTIM", 2, 4},  {"FTIM", 6, 8},  {"FTIM", 4, 0},
    {"FTIM", 4, 8}, {"LTIM", 3, 4}, {"LTIM", 4, 8},  {"LTIM", 5, 8},  {"RATE", 3, 4},
    {"RATE", 4, 8}, {"RATE", 5, 8}, {"RATE", 6, 8},  {"SPAC", 3, 4},  {"SPAC", 3, 8},
    {"SPAC", 6, 8}, {"SPAC", 5, 0}, {"SPAC", 5, 16}, {"DATE", 3, 4},  {"DATE", 6, 8},
    {"DATE", 2, 8}, {"DATE", 5, 0}, {"DATE", 5, 16}, {"WAPP", 0, 4},  {"WAPP", 3, 4},
    {"WAPP", 4, 4}, {"WAPP", 1, 0}, {"SFIL", 0, 4},  {"SFIL", 3, 4},  {"SFIL", 1, 0},
    {"NOBJ", 3, 4}, {"NOBJ", 3, 8}, {"NOBJ", 6, 8},  {"NOBJ", 5, 0},  {"NOBJ", 5, 16},
    {"DOBJ", 0, 4}, {"DOBJ", 2, 4}, {"DOBJ", 3, 4},  {"DOBJ", 6, 8},
};

INSTANTIATE_TEST_SUITE_P(All, VekMETAChunkMismatchTest, ::testing::ValuesIn(mismatches),
                         [](const ::testing::TestParamInfo<Mismatch>& each) {
                           return std::string(each.param.tag) + "Type" +
                                  std::to_string(each.param.type) + "Length" +
                                  std::to_string(each.param.length);
                         });

TEST_F(VekMETAChunkTest, mismatchSurvivesARoundTripBesideTheField) {
  VekMETAChunk meta;
  ASSERT_TRUE(readPayload(meta, ByteImage()
                                    .header("FTIM", 5, 8)
                                    .int64(7)
                                    .header("NSAM", 5, 8)
                                    .int64(1)
                                    .header("FTIM", 4, 4)
                                    .float32(2.0F)));
  EXPECT_EQ(meta.firstTime, 2.0F);
  EXPECT_THAT(childTags(meta), ElementsAre("FTIM"));
  const std::string bytes = written(meta);
  EXPECT_EQ(bytes.substr(16 + 24, 20), ByteImage().header("FTIM", 4, 4).float32(2.0F).bytes());
  EXPECT_EQ(bytes.substr(bytes.size() - 24), ByteImage().header("FTIM", 5, 8).int64(7).bytes());
  VekMETAChunk again;
  ASSERT_TRUE(readInto(again, ByteImage().raw(bytes)));
  EXPECT_EQ(again.firstTime, 2.0F);
  EXPECT_EQ(written(again), bytes);
}

// An unclaimed child obeys the rules of a generic leaf: a length that no element fits fails.
TEST_F(VekMETAChunkTest, mismatchThatNoLeafCanHoldFailsTheRead) {
  for (const Mismatch& child : {Mismatch{"FTIM", 5, 4}, Mismatch{"FTIM", 4, 3},
                                Mismatch{"NSAM", 5, 4}, Mismatch{"DATE", 6, 12}}) {
    VekMETAChunk meta;
    EXPECT_FALSE(readPayload(meta, ByteImage()
                                       .header(child.tag, child.type, child.length)
                                       .zeros(static_cast<std::size_t>(child.length))))
        << child.tag;
    expectDefaults(meta);
  }
}

// The hook itself.

TEST_F(VekMETAChunkTest, hookClaimsWhatMatchesAndGivesTheReadsResult) {
  const std::string file = writeFile(ByteImage().header("NSAM", 5, 8).int64(7));
  VekFile f(file.c_str(), "r");
  VekHeader h;
  ASSERT_TRUE(f.readHeader(h));
  OpenMeta meta;
  bool handled = false;
  EXPECT_TRUE(meta.readChild(h, f, handled));
  EXPECT_TRUE(handled);
  EXPECT_EQ(meta.numSamples, 7);
  EXPECT_EQ(f.tell(), 24);
  handled = false;
  EXPECT_FALSE(meta.readChild(h, f, handled));
  EXPECT_TRUE(handled);
}

TEST_F(VekMETAChunkTest, hookLeavesWhatDoesNotMatch) {
  const std::string file = writeFile(ByteImage().header("NSAM", 5, 16).zeros(16));
  VekFile f(file.c_str(), "r");
  VekHeader h;
  ASSERT_TRUE(f.readHeader(h));
  OpenMeta meta;
  bool handled = true;
  meta.readChild(h, f, handled);
  EXPECT_FALSE(handled);
  EXPECT_EQ(f.tell(), 16);
}

// Damaged metadata.

TEST_F(VekMETAChunkTest, failingDefinitionFailsTheReadAndIsDestroyed) {
  VekMETAChunk meta;
  const ByteImage broken = ByteImage().chunk(
      "DOBJ", 1, ByteImage().header("NAME", 2, 3).cstr("|b").header("POSI", 4, 10).zeros(10));
  EXPECT_FALSE(
      readPayload(meta, ByteImage().raw(definition("|a")).raw(broken).raw(definition("|c"))));
  EXPECT_THAT(objectNames(meta), ElementsAre("|a"));
}

TEST_F(VekMETAChunkTest, childrenOfDamagedLengthFail) {
  for (const char* tag : {"WAPP", "SFIL", "DOBJ", "NSAM", "FTIM", "OTHR"}) {
    const std::string name = tag;
    const int type = name == "DOBJ" ? 1 : name == "NSAM" ? 5 : name == "FTIM" ? 4 : 2;
    for (const std::int64_t length :
         {std::int64_t{-8}, std::int64_t{128}, std::int64_t{1} << 44,
          std::numeric_limits<std::int64_t>::max() - 7, std::numeric_limits<std::int64_t>::min()}) {
      VekMETAChunk meta;
      EXPECT_FALSE(
          readInto(meta, ByteImage().header("META", 1, 80).header(tag, type, length).zeros(64)))
          << tag << ' ' << length;
      expectDefaults(meta);
      EXPECT_EQ(meta.getNumObjects(), 0);
    }
  }
}

TEST_F(VekMETAChunkTest, everyCutOfAFileFails) {
  const std::string bytes = ByteImage().chunk("META", 1, filledPayload()).bytes();
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    VekMETAChunk meta;
    EXPECT_FALSE(readInto(meta, ByteImage().raw(bytes.substr(0, size)))) << size;
  }
}

TEST_F(VekMETAChunkTest, groupsNested100000DeepFail) {
  ByteImage payload;
  for (int i = 0; i < 100000; ++i) payload.header("DOBJ", 1, std::int64_t{16} * (99999 - i));
  VekMETAChunk meta;
  EXPECT_FALSE(readPayload(meta, payload));
}

TEST_F(VekMETAChunkTest, readFromAClosedFileFails) {
  VekFile f;
  VekMETAChunk meta;
  EXPECT_FALSE(meta.read(VekHeader(Vek::Tag::META, 1, 72, 0, 0), f));
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
  meta.addChild(new VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {7}));
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

// A subclass stands on the hooks of its base.
TEST_F(VekMETAChunkTest, subclassClaimsBeyondItsBase) {
  struct Extended : public VekMETAChunk {
    bool readChild(const VekHeader& h, VekFile& f, bool& handled) override {
      const bool ok = VekMETAChunk::readChild(h, f, handled);
      if (handled) return ok;
      handled = h.tag == Vek::Tag::PCNT && h.type == 3 && h.length == 4;
      return handled && f.readData(h, &count);
    }
    bool writeChildren(VekFile& f) const override {
      return VekMETAChunk::writeChildren(f) &&
             f.writeChunk(Vek::Tag::PCNT, std::vector<int>{count});
    }
    int count = 0;
  };
  const ByteImage image = ByteImage().chunk("META", 1,
                                            ByteImage()
                                                .header("NSAM", 5, 8)
                                                .int64(0)
                                                .header("SPAC", 5, 8)
                                                .int64(0)
                                                .header("NOBJ", 5, 8)
                                                .int64(0)
                                                .header("PCNT", 3, 4)
                                                .int32(7)
                                                .header("PIDS", 3, 4)
                                                .int32(8));
  Extended meta;
  ASSERT_TRUE(readInto(meta, image));
  EXPECT_EQ(meta.count, 7);
  EXPECT_EQ(meta.space, 0);
  EXPECT_THAT(childTags(meta), ElementsAre("PIDS"));
  EXPECT_EQ(written(meta), image.bytes());
}

}  // namespace
