// SPDX-License-Identifier: Apache-2.0
//
// Tests of reading the metadata group: the children it claims and those it leaves generic, and
// damaged metadata.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "METAChunkTest.h"
#include "SceneImage.h"
#include "VekChunks.h"

namespace {

using namespace VekTest;
using ::testing::ElementsAre;
using Vek::VekChunk;
using Vek::VekFile;
using Vek::VekHeader;
using Vek::VekMETAChunk;

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
                                                .raw(leastPayload(0, 1, 0))
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
                                                .raw(leastPayload(0, 0, 0))
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
