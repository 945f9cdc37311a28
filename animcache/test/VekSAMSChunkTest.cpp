// SPDX-License-Identifier: Apache-2.0
//
// Tests of the sample stream's writer: whole streams byte by byte, appending into reserved room,
// and what stands in the file after a failure.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "TextPattern.h"
#include "VekChunks.h"

namespace {

using namespace Vek;
using namespace VekTest;

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

using Floats = std::vector<float>;
using Offsets = std::vector<__int64>;

class VekSAMSChunkTest : public FileTest {
 protected:
  void TearDown() override {
    verbosity = -1;
    FileTest::TearDown();
  }
  void create() { ASSERT_TRUE(f.open(path().c_str(), "w")); }
  void openForAppending(const ByteImage& image) {
    ASSERT_TRUE(f.open(writeFile(image).c_str(), "r+"));
  }
  std::string closedFile() {
    EXPECT_TRUE(f.close());
    return readFile(path());
  }
  /// Writes a sample of empty objects.
  bool writeSample(int numObjects, float time = 0) {
    bool ok = sams.writeStartSAMPChunk(f, numObjects, &time);
    for (int i = 0; i < numObjects; ++i) {
      ok = ok && sams.writeStartSOBJChunk(f) && sams.writeEndSOBJChunk(f);
    }
    return ok && sams.writeEndSAMPChunk(f);
  }

  VekFile f;
  VekSAMSChunk sams;
};

/// A group of the file with its children.
ByteImage group(const char* tag, const ByteImage& payload) {
  return ByteImage().chunk(tag, 1, payload);
}

/// The 16 bytes at an offset.
std::string headerAt(const std::string& bytes, std::size_t offset) {
  return offset + 16 <= bytes.size() ? bytes.substr(offset, 16) : std::string();
}
std::string header(const char* tag, int type, std::int64_t length) {
  return ByteImage().header(tag, type, length).bytes();
}

// ----- The object itself

TEST_F(VekSAMSChunkTest, beginsEmpty) {
  EXPECT_EQ(sams.getTag(), Tag::SAMS);
  EXPECT_EQ(sams.getType(), 1);
  EXPECT_TRUE(sams.timeTable.empty());
  EXPECT_TRUE(sams.jumpTable.empty());
  EXPECT_TRUE(sams.objectTable.empty());
  EXPECT_EQ(sams.timsOffset, -1);
  EXPECT_EQ(sams.jsamOffset, -1);
  EXPECT_EQ(sams.jobjOffset, -1);
  EXPECT_EQ(sams.sampleIndex, 0);
  EXPECT_EQ(sams.objectIndex, 0);
}

TEST_F(VekSAMSChunkTest, resetRestoresTheBeginning) {
  sams.timeTable = {1, 2};
  sams.jumpTable = {3, 4};
  sams.objectTable = {5};
  sams.timsOffset = 6;
  sams.jsamOffset = 7;
  sams.jobjOffset = 8;
  sams.sampleIndex = 9;
  sams.objectIndex = 10;
  sams.reset();
  EXPECT_TRUE(sams.timeTable.empty());
  EXPECT_TRUE(sams.jumpTable.empty());
  EXPECT_TRUE(sams.objectTable.empty());
  EXPECT_EQ(sams.timsOffset, -1);
  EXPECT_EQ(sams.jsamOffset, -1);
  EXPECT_EQ(sams.jobjOffset, -1);
  EXPECT_EQ(sams.sampleIndex, 0);
  EXPECT_EQ(sams.objectIndex, 0);
}

TEST_F(VekSAMSChunkTest, readReturnsFalse) {
  ASSERT_TRUE(f.open(writeFile(group("SAMS", ByteImage().header("JSAM", 5, 0))).c_str(), "r"));
  VekHeader h;
  ASSERT_TRUE(f.readHeader(h));
  EXPECT_EQ(captureStderr([&] { EXPECT_FALSE(sams.read(h, f)); }), "");
  EXPECT_EQ(sams.numChildren(), 0U);
}

TEST_F(VekSAMSChunkTest, writeReturnsFalseAndWritesNothing) {
  create();
  EXPECT_EQ(captureStderr([&] { EXPECT_FALSE(sams.write(f)); }), "");
  EXPECT_EQ(closedFile(), "");
}

TEST_F(VekSAMSChunkTest, readTracesTheFileAndTheHeaderAtLevel5) {
  const VekHeader h(Tag::SAMS, 1, 8);
  verbosity = 5;
  const std::string closed = captureStderr([&] { EXPECT_FALSE(sams.read(h, f)); });
  EXPECT_THAT(closed, VekTest::MatchesPattern("VekSAMSChunk::read 0 ?SAMS group \\(8\\)\n"));
  create();
  const std::string open = captureStderr([&] { EXPECT_FALSE(sams.read(h, f)); });
  EXPECT_THAT(open, VekTest::MatchesPattern("VekSAMSChunk::read 1 ?SAMS group \\(8\\)\n"));
}

TEST_F(VekSAMSChunkTest, writeTracesTheFileAtLevel5) {
  verbosity = 5;
  EXPECT_EQ(captureStderr([&] { EXPECT_FALSE(sams.write(f)); }), "VekSAMSChunk::write 0\n");
  create();
  EXPECT_EQ(captureStderr([&] { EXPECT_FALSE(sams.write(f)); }), "VekSAMSChunk::write 1\n");
}

TEST_F(VekSAMSChunkTest, readAndWriteTraceNothingBelowLevel5) {
  verbosity = 4;
  EXPECT_EQ(captureStderr([&] {
              sams.read(VekHeader(Tag::SAMS, 1, 8), f);
              sams.write(f);
            }),
            "");
}

// ----- Whole streams

TEST_F(VekSAMSChunkTest, uniformStreamWithoutReserve) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 2, 0, false));
  for (const float x : {1.0F, 2.0F}) {
    VekGroupChunk sobj(Tag::SOBJ);
    sobj.addChild(new VekLeafChunk<float>(Tag::POSI, Compound::Point, 3, Floats{x, 0, -1}));
    ASSERT_TRUE(sams.writeStartSAMPChunk(f, 1, nullptr));
    ASSERT_TRUE(sams.writeSOBJChunk(f, &sobj));
    ASSERT_TRUE(sams.writeEndSAMPChunk(f));
  }
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 200)  // 0
                              .header("JSAM", 5, 16)   // 16
                              .int64(48)
                              .int64(132)
                              .header("SAMP", 1, 68)  // 48
                              .header("JOBJ", 5, 8)   // 64
                              .int64(88)
                              .header("SOBJ", 1, 28)        // 88
                              .header("POSI", 4, 12, 1, 3)  // 104
                              .float32(1)
                              .float32(0)
                              .float32(-1)
                              .header("SAMP", 1, 68)  // 132
                              .header("JOBJ", 5, 8)   // 148
                              .int64(172)
                              .header("SOBJ", 1, 28)        // 172
                              .header("POSI", 4, 12, 1, 3)  // 188
                              .float32(2)
                              .float32(0)
                              .float32(-1)
                              .bytes());
}

TEST_F(VekSAMSChunkTest, nonUniformStreamWithoutReserve) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 2, 0, true));
  ASSERT_TRUE(writeSample(1, 1.0F));
  ASSERT_TRUE(writeSample(1, 2.5F));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 168)  // 0
                              .header("TIMS", 4, 8)    // 16
                              .float32(1.0F)
                              .float32(2.5F)
                              .header("JSAM", 5, 16)  // 40
                              .int64(72)
                              .int64(128)
                              .header("SAMP", 1, 40)  // 72
                              .header("JOBJ", 5, 8)   // 88
                              .int64(112)
                              .header("SOBJ", 1, 0)   // 112
                              .header("SAMP", 1, 40)  // 128
                              .header("JOBJ", 5, 8)   // 144
                              .int64(168)
                              .header("SOBJ", 1, 0)  // 168
                              .bytes());
}

TEST_F(VekSAMSChunkTest, uniformStreamWithReserve) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 1, 2, false));
  ASSERT_TRUE(writeSample(2));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 136)  // 0
                              .header("JSAM", 5, 8)    // 16
                              .int64(72)
                              .header("FREE", 0, 16)  // 40
                              .zeros(16)
                              .header("SAMP", 1, 64)  // 72
                              .header("JOBJ", 5, 16)  // 88
                              .int64(120)
                              .int64(136)
                              .header("SOBJ", 1, 0)  // 120
                              .header("SOBJ", 1, 0)  // 136
                              .bytes());
}

TEST_F(VekSAMSChunkTest, nonUniformStreamWithReserve) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 1, 3, true));
  ASSERT_TRUE(writeSample(1, -0.5F));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 168)  // 0
                              .header("TIMS", 4, 4)    // 16
                              .float32(-0.5F)
                              .header("FREE", 0, 12)  // 36
                              .zeros(12)
                              .header("JSAM", 5, 8)  // 64
                              .int64(128)
                              .header("FREE", 0, 24)  // 88
                              .zeros(24)
                              .header("SAMP", 1, 40)  // 128
                              .header("JOBJ", 5, 8)   // 144
                              .int64(168)
                              .header("SOBJ", 1, 0)  // 168
                              .bytes());
}

TEST_F(VekSAMSChunkTest, wholeFileOfTwoSamples) {
  create();
  VekMETAChunk meta;
  meta.numSamples = 2;
  meta.firstTime = 1;
  meta.lastTime = 2;
  meta.addDOBJ("|a");
  ASSERT_TRUE(VekDVEKChunk().write(f));
  ASSERT_TRUE(meta.write(f));
  ASSERT_TRUE(sams.writeStart(f, 2, 0, false));
  ASSERT_TRUE(writeSample(1, 1));
  ASSERT_TRUE(writeSample(1, 2));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("DVEK", 5, 8)  // 0
                              .int64(2)
                              .header("META", 1, 167)  // 24
                              .header("NSAM", 5, 8)
                              .int64(2)
                              .header("FTIM", 4, 4)
                              .float32(1)
                              .header("LTIM", 4, 4)
                              .float32(2)
                              .header("RATE", 4, 4)
                              .float32(1)
                              .header("SPAC", 5, 8)
                              .int64(1)
                              .header("NOBJ", 5, 8)
                              .int64(1)
                              .header("DOBJ", 1, 19)
                              .header("NAME", 2, 3)
                              .cstr("|a")
                              .header("SAMS", 1, 144)  // 207 + 0
                              .header("JSAM", 5, 16)   // 207 + 16
                              .int64(255)
                              .int64(311)
                              .header("SAMP", 1, 40)  // 207 + 48
                              .header("JOBJ", 5, 8)   // 207 + 64
                              .int64(295)
                              .header("SOBJ", 1, 0)   // 207 + 88
                              .header("SAMP", 1, 40)  // 207 + 104
                              .header("JOBJ", 5, 8)   // 207 + 120
                              .int64(351)
                              .header("SOBJ", 1, 0)  // 207 + 144
                              .bytes());
}

TEST_F(VekSAMSChunkTest, offsetsAreAbsolute) {
  create();
  ASSERT_TRUE(f.writeChunk(Tag::SFIL, "1234567"));
  ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
  ASSERT_TRUE(writeSample(1));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SFIL", 2, 8)
                              .cstr("1234567")
                              .header("SAMS", 1, 80)  // 24
                              .header("JSAM", 5, 8)   // 40
                              .int64(64)
                              .header("SAMP", 1, 40)  // 64
                              .header("JOBJ", 5, 8)   // 80
                              .int64(104)
                              .header("SOBJ", 1, 0)  // 104
                              .bytes());
}

TEST_F(VekSAMSChunkTest, bothWaysToWriteAnObjectGiveTheSameBytes) {
  VekGroupChunk sobj(Tag::SOBJ);
  sobj.addChild(new VekLeafChunk<float>(Tag::POSI, Compound::Point, 3, Floats{1, 2, 3}));
  sobj.addChild(new VekLeafChunk<int>(Tag::PCNT, std::vector<int>{4}));
  std::string bytes[2];
  for (const int way : {0, 1}) {
    create();
    sams.reset();
    ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
    ASSERT_TRUE(sams.writeStartSAMPChunk(f, 2, nullptr));
    for (int object = 0; object < 2; ++object) {
      if (way == 0) {
        ASSERT_TRUE(sams.writeSOBJChunk(f, &sobj));
      } else {
        ASSERT_TRUE(sams.writeStartSOBJChunk(f));
        ASSERT_TRUE(f.writeChunk(Tag::POSI, Floats{1, 2, 3}, -1, Compound::Point, 3));
        ASSERT_TRUE(f.writeChunk(Tag::PCNT, std::vector<int>{4}));
        ASSERT_TRUE(sams.writeEndSOBJChunk(f));
      }
    }
    ASSERT_TRUE(sams.writeEndSAMPChunk(f));
    ASSERT_TRUE(sams.writeEnd(f));
    bytes[way] = closedFile();
  }
  EXPECT_EQ(bytes[0], bytes[1]);
  EXPECT_EQ(bytes[0].size(), 16U + 24U + 16U + 32U + 2U * (16U + 28U + 20U));
}

TEST_F(VekSAMSChunkTest, bothWaysToWriteAnObjectMayMix) {
  create();
  const VekGroupChunk sobj(Tag::SOBJ);
  ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 2, nullptr));
  ASSERT_TRUE(sams.writeStartSOBJChunk(f));
  ASSERT_TRUE(sams.writeEndSOBJChunk(f));
  ASSERT_TRUE(sams.writeSOBJChunk(f, &sobj));
  ASSERT_TRUE(sams.writeEndSAMPChunk(f));
  EXPECT_EQ(sams.objectTable, (Offsets{88, 104}));
}

// ----- Empty tables are rewritten at the position, not in place

TEST_F(VekSAMSChunkTest, zeroSamplesEndWithAStrayJSAM) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 0, 0, false));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(),
            ByteImage().header("SAMS", 1, 16).header("JSAM", 5, 0).header("JSAM", 5, 0).bytes());
}

TEST_F(VekSAMSChunkTest, zeroSamplesWithTimesEndWithAStrayTIMSAndJSAM) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 0, 0, true));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 32)
                              .header("TIMS", 4, 0)
                              .header("JSAM", 5, 0)
                              .header("TIMS", 4, 0)
                              .header("JSAM", 5, 0)
                              .bytes());
}

TEST_F(VekSAMSChunkTest, zeroSamplesWithReserveEndWithTheStrayHeadersAfterTheRoom) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 0, 2, true));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 88)
                              .header("TIMS", 4, 0)
                              .header("FREE", 0, 8)
                              .zeros(8)
                              .header("JSAM", 5, 0)
                              .header("FREE", 0, 16)
                              .zeros(16)
                              .header("TIMS", 4, 0)
                              .header("JSAM", 5, 0)
                              .bytes());
}

TEST_F(VekSAMSChunkTest, zeroObjectsLeaveAStrayJOBJAfterEachSAMP) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 2, 0, false));
  ASSERT_TRUE(writeSample(0));
  ASSERT_TRUE(writeSample(0));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 128)
                              .header("JSAM", 5, 16)  // 16
                              .int64(48)
                              .int64(96)
                              .header("SAMP", 1, 16)  // 48
                              .header("JOBJ", 5, 0)   // 64
                              .header("JOBJ", 5, 0)   // 80: behind the SAMP
                              .header("SAMP", 1, 16)  // 96
                              .header("JOBJ", 5, 0)   // 112
                              .header("JOBJ", 5, 0)   // 128: behind the SAMP
                              .bytes());
}

// ----- writeStart

TEST_F(VekSAMSChunkTest, writeStartLaysTheTablesOut) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 10, 5, true));
  EXPECT_EQ(sams.timsOffset, 16);
  EXPECT_EQ(sams.jsamOffset, 16 + 16 + 40 + 16 + 20);
  EXPECT_EQ(sams.timeTable, Floats(10, 0.0F));
  EXPECT_EQ(sams.jumpTable, Offsets(10, 0));
  EXPECT_EQ(sams.sampleIndex, 0);
  EXPECT_EQ(f.tell(), 16 + 244);
  EXPECT_EQ(f.getLevel(), 1U);
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 0, nullptr));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 0)
                              .header("TIMS", 4, 40)
                              .zeros(40)
                              .header("FREE", 0, 20)
                              .zeros(20)
                              .header("JSAM", 5, 80)
                              .zeros(80)
                              .header("FREE", 0, 40)
                              .zeros(40)
                              .header("SAMP", 1, 0)
                              .header("JOBJ", 5, 0)
                              .bytes());
}

TEST_F(VekSAMSChunkTest, writeStartWithoutTimesHasNoTIMS) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 2, 0, false));
  EXPECT_EQ(sams.timsOffset, -1);
  EXPECT_TRUE(sams.timeTable.empty());
  EXPECT_EQ(sams.jsamOffset, 16);
  EXPECT_EQ(closedFile(), ByteImage().header("SAMS", 1, 0).header("JSAM", 5, 16).zeros(16).bytes());
}

TEST_F(VekSAMSChunkTest, writeStartBeginsAtSample0) {
  create();
  sams.sampleIndex = 7;
  ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
  EXPECT_EQ(sams.sampleIndex, 0);
}

TEST_F(VekSAMSChunkTest, writeStartResizesTheTablesAndKeepsTheirEntries) {
  create();
  sams.timeTable = {1, 2, 3};
  sams.jumpTable = {4};
  ASSERT_TRUE(sams.writeStart(f, 2, 0, true));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 0)
                              .header("TIMS", 4, 8)
                              .float32(1)
                              .float32(2)
                              .header("JSAM", 5, 16)
                              .int64(4)
                              .int64(0)
                              .bytes());
}

TEST_F(VekSAMSChunkTest, aNegativeReserveReservesNothing) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 1, -3, true));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 0)
                              .header("TIMS", 4, 4)
                              .zeros(4)
                              .header("JSAM", 5, 8)
                              .zeros(8)
                              .bytes());
}

TEST_F(VekSAMSChunkTest, writeStartTracesTheOffsetBehindItsHeaderAtLevel1) {
  create();
  ASSERT_TRUE(f.writeChunk(Tag::SFIL, "1234567"));
  verbosity = 1;
  EXPECT_EQ(captureStderr([&] { EXPECT_TRUE(sams.writeStart(f, 1, 0, false)); }),
            "writeStart offsetSAMS 40\n");
}

TEST_F(VekSAMSChunkTest, theWriterTracesNothingBelowLevel1) {
  create();
  verbosity = 0;
  EXPECT_EQ(captureStderr([&] {
              EXPECT_TRUE(sams.writeStart(f, 1, 0, true));
              EXPECT_TRUE(writeSample(1));
              EXPECT_TRUE(sams.writeEnd(f));
            }),
            "");
}

TEST_F(VekSAMSChunkTest, writeStartWithANegativeCountFailsAndClosesItsGroup) {
  for (const std::int64_t count : {std::int64_t{-1}, std::int64_t{-16}, kMin}) {
    for (const bool times : {false, true}) {
      create();
      sams.reset();
      EXPECT_FALSE(sams.writeStart(f, count, 0, times)) << count;
      EXPECT_EQ(f.getLevel(), 0U) << count;
    }
  }
}

#if defined(__SANITIZE_ADDRESS__)
#define VEK_TEST_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VEK_TEST_SANITIZED
#endif
#endif

/// Counts that no memory holds.
std::vector<std::int64_t> hugeCounts() {
  std::vector<std::int64_t> counts = {kMax, kMax - 1, std::int64_t{1} << 62, std::int64_t{1} << 61};
#if !defined(VEK_TEST_SANITIZED)
  // A vector may be that long, but its allocation fails; the sanitizer ends the program instead.
  counts.push_back(std::int64_t{1} << 55);
#endif
  return counts;
}

TEST_F(VekSAMSChunkTest, writeStartWithAHugeCountFailsAndClosesItsGroup) {
  for (const std::int64_t count : hugeCounts()) {
    for (const bool times : {false, true}) {
      create();
      sams.reset();
      EXPECT_FALSE(sams.writeStart(f, count, 0, times)) << count;
      EXPECT_EQ(f.getLevel(), 0U) << count;
    }
  }
}

TEST_F(VekSAMSChunkTest, writeStartWithAHugeReserveFailsAndClosesItsGroup) {
  for (const std::int64_t reserve : {kMax, kMax - 1, kMax / 2, std::int64_t{1} << 60}) {
    for (const bool times : {false, true}) {
      create();
      sams.reset();
      EXPECT_FALSE(sams.writeStart(f, 1, reserve, times)) << reserve;
      EXPECT_EQ(f.getLevel(), 0U) << reserve;
    }
  }
}

TEST_F(VekSAMSChunkTest, everyCallFailsOnAClosedFile) {
  const float time = 1;
  const VekGroupChunk sobj(Tag::SOBJ);
  EXPECT_FALSE(sams.writeStart(f, 1, 0, true));
  EXPECT_FALSE(sams.appendStart(f, 1));
  EXPECT_FALSE(sams.writeStartSAMPChunk(f, 1, &time));
  sams.jumpTable = {0};
  EXPECT_FALSE(sams.writeStartSAMPChunk(f, 1, &time));
  sams.objectTable = {0};
  EXPECT_FALSE(sams.writeSOBJChunk(f, &sobj));
  EXPECT_FALSE(sams.writeStartSOBJChunk(f));
  EXPECT_FALSE(sams.writeEndSOBJChunk(f));
  EXPECT_FALSE(sams.writeEndSAMPChunk(f));
  EXPECT_FALSE(sams.writeEnd(f));
}

TEST_F(VekSAMSChunkTest, everyCallFailsOnAReadOnlyFile) {
  const ByteImage image =
      group("SAMS", ByteImage().header("JSAM", 5, 0).header("FREE", 0, 8).zeros(8));
  ASSERT_TRUE(f.open(writeFile(image).c_str(), "r"));
  const VekGroupChunk sobj(Tag::SOBJ);
  EXPECT_FALSE(sams.appendStart(f, 1));
  EXPECT_FALSE(sams.writeStart(f, 1, 0, false));
  sams.jumpTable = {0};
  sams.sampleIndex = 0;
  EXPECT_FALSE(sams.writeStartSAMPChunk(f, 1, nullptr));
  sams.objectTable = {0};
  sams.objectIndex = 0;
  EXPECT_FALSE(sams.writeStartSOBJChunk(f));
  EXPECT_FALSE(sams.writeSOBJChunk(f, &sobj));
  f.close();
  EXPECT_EQ(readFile(path()), image.bytes());
}

// ----- Samples

TEST_F(VekSAMSChunkTest, writeStartSAMPChunkOpensTheSampleWithAPlaceholder) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
  sams.objectIndex = 9;
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 2, nullptr));
  EXPECT_EQ(sams.jumpTable, Offsets{40});
  EXPECT_EQ(sams.jobjOffset, 56);
  EXPECT_EQ(sams.objectTable, (Offsets{0, 0}));
  EXPECT_EQ(sams.objectIndex, 0);
  EXPECT_EQ(sams.sampleIndex, 0);
  EXPECT_EQ(f.getLevel(), 2U);
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 0)
                              .header("JSAM", 5, 8)
                              .int64(0)
                              .header("SAMP", 1, 0)
                              .header("JOBJ", 5, 16)
                              .zeros(16)
                              .bytes());
}

TEST_F(VekSAMSChunkTest, thePlaceholderOfALaterSampleIsZeroToo) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 2, 0, false));
  ASSERT_TRUE(writeSample(2));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 2, nullptr));
  EXPECT_EQ(sams.objectTable, (Offsets{0, 0}));
  const std::string bytes = closedFile();
  EXPECT_EQ(bytes.substr(bytes.size() - 16), std::string(16, '\0'));
}

TEST_F(VekSAMSChunkTest, theNumberOfObjectsMayDifferBetweenSamples) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 3, 0, false));
  ASSERT_TRUE(writeSample(2));
  ASSERT_TRUE(writeSample(1));
  EXPECT_EQ(sams.objectTable.size(), 1U);
  ASSERT_TRUE(writeSample(3));
  EXPECT_EQ(sams.objectTable.size(), 3U);
}

TEST_F(VekSAMSChunkTest, theTimeEntersTheTimeTable) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 2, 0, true));
  ASSERT_TRUE(writeSample(1, 3.5F));
  ASSERT_TRUE(writeSample(1, 4.25F));
  EXPECT_EQ(sams.timeTable, (Floats{3.5F, 4.25F}));
}

TEST_F(VekSAMSChunkTest, aNullTimeLeavesTheEntry) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 1, 0, true));
  sams.timeTable = {8};
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 0, nullptr));
  EXPECT_EQ(sams.timeTable, Floats{8});
}

TEST_F(VekSAMSChunkTest, theTimeIsIgnoredInAUniformStream) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
  ASSERT_TRUE(writeSample(1, 3.5F));
  EXPECT_TRUE(sams.timeTable.empty());
}

TEST_F(VekSAMSChunkTest, aSampleBeyondTheTableFailsAndWritesNothing) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 1, 4, false));
  ASSERT_TRUE(writeSample(1));
  const __int64 end = f.tell();
  EXPECT_FALSE(sams.writeStartSAMPChunk(f, 1, nullptr));
  EXPECT_EQ(f.tell(), end);
  EXPECT_EQ(f.getLevel(), 1U);
  EXPECT_EQ(sams.sampleIndex, 1);
  EXPECT_EQ(sams.jumpTable.size(), 1U);
}

TEST_F(VekSAMSChunkTest, aSampleWithoutAStreamFails) {
  create();
  EXPECT_FALSE(sams.writeStartSAMPChunk(f, 1, nullptr));
  EXPECT_EQ(closedFile(), "");
}

TEST_F(VekSAMSChunkTest, negativeAndHugeObjectCountsFailAndCloseTheSample) {
  std::vector<std::int64_t> counts = hugeCounts();
  counts.insert(counts.end(), {-1, -2, kMin});
  for (const std::int64_t count : counts) {
    create();
    sams.reset();
    ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
    EXPECT_FALSE(sams.writeStartSAMPChunk(f, count, nullptr)) << count;
    EXPECT_EQ(f.getLevel(), 1U) << count;
    EXPECT_EQ(sams.sampleIndex, 0) << count;
  }
}

TEST_F(VekSAMSChunkTest, writeEndSAMPChunkAdvancesTheSample) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 2, 0, false));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 0, nullptr));
  EXPECT_EQ(sams.sampleIndex, 0);
  ASSERT_TRUE(sams.writeEndSAMPChunk(f));
  EXPECT_EQ(sams.sampleIndex, 1);
  EXPECT_EQ(f.getLevel(), 1U);
}

TEST_F(VekSAMSChunkTest, writeEndSAMPChunkFailsWithoutAnOpenGroup) {
  create();
  sams.jobjOffset = 0;
  EXPECT_FALSE(sams.writeEndSAMPChunk(f));
  EXPECT_EQ(sams.sampleIndex, 0);
  EXPECT_EQ(closedFile(), "");
}

TEST_F(VekSAMSChunkTest, writeEndSAMPChunkWithoutAJOBJRewritesNone) {
  create();
  ASSERT_TRUE(f.startGroup(VekHeader(Tag::SAMP, 1, 0)));
  EXPECT_TRUE(sams.writeEndSAMPChunk(f));
  EXPECT_EQ(sams.sampleIndex, 1);
  EXPECT_EQ(closedFile(), header("SAMP", 1, 0));
}

TEST_F(VekSAMSChunkTest, missingObjectsKeepTheOffset0) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 2, 0, false));
  ASSERT_TRUE(writeSample(2));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 2, nullptr));
  ASSERT_TRUE(sams.writeStartSOBJChunk(f));
  ASSERT_TRUE(sams.writeEndSOBJChunk(f));
  ASSERT_TRUE(sams.writeEndSAMPChunk(f));
  ASSERT_TRUE(sams.writeEnd(f));
  // The second SAMP stands at 128, its JOBJ at 144, its only SOBJ at 176.
  EXPECT_EQ(closedFile().substr(128), ByteImage()
                                          .header("SAMP", 1, 48)
                                          .header("JOBJ", 5, 16)
                                          .int64(176)
                                          .int64(0)
                                          .header("SOBJ", 1, 0)
                                          .bytes());
}

// ----- Objects

TEST_F(VekSAMSChunkTest, objectsEnterTheObjectTable) {
  create();
  const VekGroupChunk sobj(Tag::SOBJ);
  ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 2, nullptr));
  ASSERT_TRUE(sams.writeSOBJChunk(f, &sobj));
  EXPECT_EQ(sams.objectIndex, 1);
  EXPECT_EQ(sams.objectTable, (Offsets{88, 0}));
  ASSERT_TRUE(sams.writeStartSOBJChunk(f));
  EXPECT_EQ(sams.objectIndex, 1);
  EXPECT_EQ(sams.objectTable, (Offsets{88, 104}));
  EXPECT_EQ(f.getLevel(), 3U);
  ASSERT_TRUE(sams.writeEndSOBJChunk(f));
  EXPECT_EQ(sams.objectIndex, 2);
  EXPECT_EQ(f.getLevel(), 2U);
}

TEST_F(VekSAMSChunkTest, objectsBeyondTheTableFailAndWriteNothing) {
  create();
  const VekGroupChunk sobj(Tag::SOBJ);
  ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 1, nullptr));
  ASSERT_TRUE(sams.writeSOBJChunk(f, &sobj));
  const __int64 end = f.tell();
  EXPECT_FALSE(sams.writeSOBJChunk(f, &sobj));
  EXPECT_FALSE(sams.writeStartSOBJChunk(f));
  EXPECT_EQ(f.tell(), end);
  EXPECT_EQ(f.getLevel(), 2U);
  EXPECT_EQ(sams.objectIndex, 1);
}

TEST_F(VekSAMSChunkTest, noObjectFitsIntoASampleOfNone) {
  create();
  const VekGroupChunk sobj(Tag::SOBJ);
  ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 0, nullptr));
  EXPECT_FALSE(sams.writeSOBJChunk(f, &sobj));
  EXPECT_FALSE(sams.writeStartSOBJChunk(f));
}

/// A group with a chosen type byte.
struct TypedGroup : VekGroupChunk {
  explicit TypedGroup(unsigned char type) : VekGroupChunk(Tag::SOBJ) { header.type = type; }
};
/// A group that cannot be written.
struct UnwritableGroup : VekGroupChunk {
  UnwritableGroup() : VekGroupChunk(Tag::SOBJ) {}
  bool writeChildren(VekFile&) const override { return false; }
};

TEST_F(VekSAMSChunkTest, writeSOBJChunkRefusesWhatIsNoSOBJ) {
  create();
  const VekGroupChunk samp(Tag::SAMP);
  const VekGroupChunk untagged;
  VekGroupChunk freed(Tag::SOBJ);
  freed.free();
  const TypedGroup typed(ValueType::Float);
  ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 1, nullptr));
  const __int64 end = f.tell();
  const VekGroupChunk* const none = nullptr;
  for (const VekGroupChunk* sobj :
       {none, &samp, &untagged, static_cast<const VekGroupChunk*>(&freed),
        static_cast<const VekGroupChunk*>(&typed)}) {
    EXPECT_FALSE(sams.writeSOBJChunk(f, sobj));
    EXPECT_EQ(sams.objectIndex, 0);
    EXPECT_EQ(sams.objectTable, Offsets{0});
    EXPECT_EQ(f.tell(), end);
    EXPECT_EQ(f.getLevel(), 2U);
  }
}

TEST_F(VekSAMSChunkTest, aFailedSOBJLeavesTheSampleOpen) {
  create();
  const UnwritableGroup sobj;
  ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 1, nullptr));
  EXPECT_FALSE(sams.writeSOBJChunk(f, &sobj));
  EXPECT_EQ(sams.objectIndex, 0);
  EXPECT_EQ(f.getLevel(), 2U);
}

TEST_F(VekSAMSChunkTest, writeEndSOBJChunkFailsWithoutAnOpenGroup) {
  create();
  EXPECT_FALSE(sams.writeEndSOBJChunk(f));
  EXPECT_EQ(sams.objectIndex, 0);
}

// ----- writeEnd

TEST_F(VekSAMSChunkTest, writeEndLeavesThePositionAtTheEnd) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 1, 1, true));
  ASSERT_TRUE(writeSample(1, 2));
  const __int64 end = f.tell();
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(f.tell(), end);
  EXPECT_EQ(f.getLevel(), 0U);
}

TEST_F(VekSAMSChunkTest, missingSamplesKeepTheTime0AndTheOffset0) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 3, 0, true));
  ASSERT_TRUE(writeSample(1, 1.5F));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 124)  // 0
                              .header("TIMS", 4, 12)   // 16
                              .float32(1.5F)
                              .float32(0)
                              .float32(0)
                              .header("JSAM", 5, 24)  // 44
                              .int64(84)
                              .int64(0)
                              .int64(0)
                              .header("SAMP", 1, 40)  // 84
                              .header("JOBJ", 5, 8)   // 100
                              .int64(124)
                              .header("SOBJ", 1, 0)  // 124
                              .bytes());
}

TEST_F(VekSAMSChunkTest, genericChildrenAreWrittenAtTheEndOfTheStream) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
  ASSERT_TRUE(writeSample(1));
  sams.addChild(new VekLeafChunk<int>(makeTag('A', 'B', 'C', 'D'), {5}));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 100)
                              .header("JSAM", 5, 8)
                              .int64(40)
                              .header("SAMP", 1, 40)  // 40
                              .header("JOBJ", 5, 8)   // 56
                              .int64(80)
                              .header("SOBJ", 1, 0)  // 80
                              .header("ABCD", 3, 4)  // 96
                              .int32(5)
                              .bytes());
}

TEST_F(VekSAMSChunkTest, anUnwritableGenericChildFailsTheEnd) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
  sams.addChild(new UnwritableGroup);
  EXPECT_FALSE(sams.writeEnd(f));
}

TEST_F(VekSAMSChunkTest, writeEndFailsWithoutAnOpenGroupAndRewritesNothing) {
  create();
  sams.timsOffset = 0;
  sams.jsamOffset = 0;
  sams.timeTable = {1};
  sams.jumpTable = {2};
  EXPECT_FALSE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), "");
}

TEST_F(VekSAMSChunkTest, writeEndWithoutTablesOnlyClosesTheGroup) {
  create();
  ASSERT_TRUE(f.startGroup(VekHeader(Tag::SAMS, 1, 0)));
  EXPECT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), header("SAMS", 1, 0));
}

TEST_F(VekSAMSChunkTest, anUnfinishedStreamCarriesPlaceholderLengths) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 1, nullptr));
  ASSERT_TRUE(sams.writeStartSOBJChunk(f));
  ASSERT_TRUE(f.writeChunk(Tag::POSI, Floats{1}));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 0)
                              .header("JSAM", 5, 8)
                              .int64(0)
                              .header("SAMP", 1, 0)
                              .header("JOBJ", 5, 8)
                              .int64(0)
                              .header("SOBJ", 1, 0)
                              .header("POSI", 4, 4)
                              .float32(1)
                              .bytes());
}

TEST_F(VekSAMSChunkTest, offsetsReachBeyond4GiB) {
  create();
  // The room is a hole: the file is sparse.
  ASSERT_TRUE(sams.writeStart(f, 1, 600000000, false));
  ASSERT_TRUE(writeSample(1));
  ASSERT_TRUE(sams.writeEnd(f));
  ASSERT_TRUE(f.close());
  std::ifstream in(path(), std::ios::binary);
  std::string head(56, ' ');
  ASSERT_TRUE(in.read(&head[0], 56));
  EXPECT_EQ(head, ByteImage()
                      .header("SAMS", 1, 4800000096)
                      .header("JSAM", 5, 8)
                      .int64(4800000056)
                      .header("FREE", 0, 4800000000)
                      .bytes());
  std::string tail(56, ' ');
  in.seekg(4800000056);
  ASSERT_TRUE(in.read(&tail[0], 56));
  EXPECT_EQ(tail, ByteImage()
                      .header("SAMP", 1, 40)
                      .header("JOBJ", 5, 8)
                      .int64(4800000096)
                      .header("SOBJ", 1, 0)
                      .bytes());
}

#if defined(VEK_TEST_POSIX)
TEST_F(VekSAMSChunkTest, aFullDiskIsReportedBySomeStep) {
  // Writing past the limit fails, as on a full disk; the whole stream has 184 bytes.
  for (rlim_t limit = 0; limit <= 184; ++limit) {
    sams.reset();
    create();
    const FileSizeLimit limited(limit);
    bool ok = sams.writeStart(f, 1, 3, true) && writeSample(1, 1) && sams.writeEnd(f);
    ok = f.close() && ok;
    EXPECT_EQ(ok, limit == 184) << limit;
  }
}
#endif

// ----- Appending

// One uniform sample of one object, with room for two more.
ByteImage uniformSection() {
  return ByteImage()
      .header("SAMS", 1, 112)  // 0
      .header("JSAM", 5, 8)    // 16
      .int64(72)
      .header("FREE", 0, 16)  // 40
      .raw("ABCDEFGHIJKLMNOP")
      .header("SAMP", 1, 40)  // 72
      .header("JOBJ", 5, 8)   // 88
      .int64(112)
      .header("SOBJ", 1, 0);  // 112
}

// Two samples of one object at the times 1 and 2.5, with room for three more.
ByteImage nonUniformTIMS() {
  return ByteImage().header("TIMS", 4, 8).float32(1).float32(2.5F);
}
ByteImage nonUniformSection() {
  return ByteImage()
      .header("SAMS", 1, 236)  // 0
      .raw(nonUniformTIMS())   // 16
      .header("FREE", 0, 12)   // 40
      .raw("abcdefghijkl")
      .header("JSAM", 5, 16)  // 68
      .int64(140)
      .int64(196)
      .header("FREE", 0, 24)  // 100
      .raw("ABCDEFGHIJKLMNOPQRSTUVWX")
      .header("SAMP", 1, 40)  // 140
      .header("JOBJ", 5, 8)   // 156
      .int64(180)
      .header("SOBJ", 1, 0)   // 180
      .header("SAMP", 1, 40)  // 196
      .header("JOBJ", 5, 8)   // 212
      .int64(236)
      .header("SOBJ", 1, 0);  // 236
}

TEST_F(VekSAMSChunkTest, appendToAUniformStream) {
  openForAppending(uniformSection());
  ASSERT_TRUE(sams.appendStart(f, 1));
  ASSERT_TRUE(writeSample(1));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 168)  // 0
                              .header("JSAM", 5, 16)   // 16
                              .int64(72)
                              .int64(128)
                              .header("FREE", 0, 8)  // 48
                              .raw("IJKLMNOP")
                              .header("SAMP", 1, 40)  // 72
                              .header("JOBJ", 5, 8)   // 88
                              .int64(112)
                              .header("SOBJ", 1, 0)   // 112
                              .header("SAMP", 1, 40)  // 128
                              .header("JOBJ", 5, 8)   // 144
                              .int64(168)
                              .header("SOBJ", 1, 0)  // 168
                              .bytes());
}

TEST_F(VekSAMSChunkTest, appendToANonUniformStream) {
  openForAppending(nonUniformSection());
  ASSERT_TRUE(sams.appendStart(f, 1));
  ASSERT_TRUE(writeSample(1, 4));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 292)  // 0
                              .header("TIMS", 4, 12)   // 16
                              .float32(1)
                              .float32(2.5F)
                              .float32(4)
                              .header("FREE", 0, 8)  // 44
                              .raw("efghijkl")
                              .header("JSAM", 5, 24)  // 68
                              .int64(140)
                              .int64(196)
                              .int64(252)
                              .header("FREE", 0, 16)  // 108
                              .raw("IJKLMNOPQRSTUVWX")
                              .header("SAMP", 1, 40)  // 140
                              .header("JOBJ", 5, 8)   // 156
                              .int64(180)
                              .header("SOBJ", 1, 0)   // 180
                              .header("SAMP", 1, 40)  // 196
                              .header("JOBJ", 5, 8)   // 212
                              .int64(236)
                              .header("SOBJ", 1, 0)   // 236
                              .header("SAMP", 1, 40)  // 252
                              .header("JOBJ", 5, 8)   // 268
                              .int64(292)
                              .header("SOBJ", 1, 0)  // 292
                              .bytes());
}

TEST_F(VekSAMSChunkTest, appendStartTakesTheTablesOver) {
  openForAppending(nonUniformSection());
  ASSERT_TRUE(sams.appendStart(f, 2));
  EXPECT_EQ(sams.timsOffset, 16);
  EXPECT_EQ(sams.jsamOffset, 68);
  EXPECT_EQ(sams.timeTable, (Floats{1, 2.5F, 0, 0}));
  EXPECT_EQ(sams.jumpTable, (Offsets{140, 196, 0, 0}));
  EXPECT_EQ(sams.sampleIndex, 2);
  EXPECT_EQ(f.getLevel(), 1U);
  EXPECT_EQ(f.tell(), 252);
}

TEST_F(VekSAMSChunkTest, appendStartOfAUniformStreamHasNoTimes) {
  openForAppending(uniformSection());
  ASSERT_TRUE(sams.appendStart(f, 2));
  EXPECT_EQ(sams.timsOffset, -1);
  EXPECT_TRUE(sams.timeTable.empty());
  EXPECT_EQ(sams.jumpTable, (Offsets{72, 0, 0}));
  EXPECT_EQ(sams.sampleIndex, 1);
}

TEST_F(VekSAMSChunkTest, appendStartAloneLeavesTheEnlargedTablesAndTheLength0) {
  openForAppending(nonUniformSection());
  ASSERT_TRUE(sams.appendStart(f, 2));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 0)   // 0
                              .header("TIMS", 4, 16)  // 16
                              .float32(1)
                              .float32(2.5F)
                              .zeros(8)
                              .header("FREE", 0, 4)  // 48
                              .raw("ijkl")
                              .header("JSAM", 5, 32)  // 68
                              .int64(140)
                              .int64(196)
                              .zeros(16)
                              .header("FREE", 0, 8)  // 116
                              .raw("QRSTUVWX")
                              .raw(nonUniformSection().bytes().substr(140))
                              .bytes());
}

TEST_F(VekSAMSChunkTest, appendingFillsTheRoomExactly) {
  openForAppending(nonUniformSection());
  ASSERT_TRUE(sams.appendStart(f, 3));
  const std::string bytes = closedFile();
  EXPECT_EQ(headerAt(bytes, 16), header("TIMS", 4, 20));
  EXPECT_EQ(headerAt(bytes, 52), header("FREE", 0, 0));
  EXPECT_EQ(headerAt(bytes, 68), header("JSAM", 5, 40));
  EXPECT_EQ(headerAt(bytes, 124), header("FREE", 0, 0));
  EXPECT_EQ(bytes.substr(140), nonUniformSection().bytes().substr(140));
}

TEST_F(VekSAMSChunkTest, appendingNothingKeepsTheTables) {
  openForAppending(nonUniformSection());
  ASSERT_TRUE(sams.appendStart(f, 0));
  EXPECT_EQ(sams.sampleIndex, 2);
  EXPECT_FALSE(sams.writeStartSAMPChunk(f, 1, nullptr));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), nonUniformSection().bytes());
}

TEST_F(VekSAMSChunkTest, appendTwiceAsLongAsThereIsRoom) {
  create();
  ASSERT_TRUE(sams.writeStart(f, 10, 5, true));
  for (int i = 0; i < 10; ++i) ASSERT_TRUE(writeSample(1, static_cast<float>(i)));
  ASSERT_TRUE(sams.writeEnd(f));
  const std::string before = closedFile();

  VekSAMSChunk more;
  ASSERT_TRUE(f.open(path().c_str(), "r+"));
  ASSERT_TRUE(more.appendStart(f, 3));
  for (int i = 10; i < 13; ++i) {
    const float time = static_cast<float>(i);
    ASSERT_TRUE(more.writeStartSAMPChunk(f, 0, &time));
    ASSERT_TRUE(more.writeEndSAMPChunk(f));
  }
  ASSERT_TRUE(more.writeEnd(f));
  const std::string after = closedFile();
  EXPECT_EQ(headerAt(after, 0), header("SAMS", 1, static_cast<std::int64_t>(after.size()) - 16));
  EXPECT_EQ(headerAt(after, 16), header("TIMS", 4, 52));
  EXPECT_EQ(headerAt(after, 84), header("FREE", 0, 8));
  EXPECT_EQ(headerAt(after, 108), header("JSAM", 5, 104));
  EXPECT_EQ(headerAt(after, 228), header("FREE", 0, 16));
  EXPECT_EQ(headerAt(after, 260), headerAt(before, 260));
  EXPECT_EQ(after.substr(260, before.size() - 260), before.substr(260));

  VekSAMSChunk tooMany;
  ASSERT_TRUE(f.open(path().c_str(), "r+"));
  EXPECT_FALSE(tooMany.appendStart(f, 6));
  EXPECT_EQ(closedFile(), header("SAMS", 1, 0) + after.substr(16));

  VekSAMSChunk last;
  ASSERT_TRUE(f.open(path().c_str(), "r+"));
  EXPECT_TRUE(last.appendStart(f, 2));
  EXPECT_EQ(last.sampleIndex, 13);
  EXPECT_EQ(last.timeTable.size(), 15U);
}

TEST_F(VekSAMSChunkTest, appendToTheLastSectionOfAFile) {
  const ByteImage front = ByteImage()
                              .header("DVEK", 5, 8)
                              .int64(2)
                              .chunk("META", 1, ByteImage().header("NSAM", 5, 8).int64(1));
  ASSERT_EQ(front.size(), 64U);
  openForAppending(ByteImage()
                       .raw(front)
                       .header("SAMS", 1, 40)  // 64
                       .header("JSAM", 5, 0)   // 80
                       .header("FREE", 0, 8)   // 96
                       .zeros(8));
  VekHeader h;
  ASSERT_TRUE(f.readHeader(h));
  ASSERT_TRUE(f.skipData(h));
  ASSERT_TRUE(f.readHeader(h));
  // The META is left open on the way: the group stack is emptied before the stream is reopened.
  ASSERT_TRUE(f.seek(64, 0, false));
  ASSERT_EQ(f.getLevel(), 1U);
  ASSERT_TRUE(sams.appendStart(f, 1));
  EXPECT_EQ(f.getLevel(), 1U);
  ASSERT_TRUE(writeSample(1));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(f.getLevel(), 0U);
  EXPECT_EQ(closedFile(), ByteImage()
                              .raw(front)
                              .header("SAMS", 1, 96)  // 64
                              .header("JSAM", 5, 8)   // 80
                              .int64(120)
                              .header("FREE", 0, 0)   // 104
                              .header("SAMP", 1, 40)  // 120
                              .header("JOBJ", 5, 8)   // 136
                              .int64(160)
                              .header("SOBJ", 1, 0)  // 160
                              .bytes());
}

TEST_F(VekSAMSChunkTest, appendToAStreamOfZeroSamplesTakesTheStrayHeaderIn) {
  openForAppending(ByteImage()
                       .header("SAMS", 1, 48)  // 0
                       .header("JSAM", 5, 0)   // 16
                       .header("FREE", 0, 16)  // 32
                       .zeros(16)
                       .header("JSAM", 5, 0));  // 64: behind the SAMS
  ASSERT_TRUE(sams.appendStart(f, 1));
  ASSERT_TRUE(writeSample(1));
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(closedFile(), ByteImage()
                              .header("SAMS", 1, 120)  // 0
                              .header("JSAM", 5, 8)    // 16
                              .int64(80)
                              .header("FREE", 0, 8)  // 40
                              .zeros(8)
                              .header("JSAM", 5, 0)   // 64
                              .header("SAMP", 1, 40)  // 80
                              .header("JOBJ", 5, 8)   // 96
                              .int64(120)
                              .header("SOBJ", 1, 0)  // 120
                              .bytes());
}

TEST_F(VekSAMSChunkTest, appendStartTracesTheOffsetOfTheHeaderAtLevel1) {
  openForAppending(ByteImage().header("SFIL", 2, 8).cstr("1234567").raw(uniformSection()));
  ASSERT_TRUE(f.seek(24, 0, true));
  verbosity = 1;
  EXPECT_EQ(captureStderr([&] { EXPECT_TRUE(sams.appendStart(f, 1)); }),
            "appendStart offsetSAMS 24\n");
}

TEST_F(VekSAMSChunkTest, appendStartTracesNothingBelowLevel1) {
  openForAppending(uniformSection());
  verbosity = 0;
  EXPECT_EQ(captureStderr([&] { EXPECT_TRUE(sams.appendStart(f, 1)); }), "");
}

// ----- Appending fails

TEST_F(VekSAMSChunkTest, appendAnywhereButAtASAMSWritesNothing) {
  const ByteImage image = ByteImage().header("SFIL", 2, 8).cstr("1234567").raw(uniformSection());
  for (const std::int64_t offset : {0, 16, 40, 64, 152, 168}) {
    openForAppending(image);
    ASSERT_TRUE(f.seek(offset, 0, true));
    EXPECT_FALSE(sams.appendStart(f, 1)) << offset;
    EXPECT_EQ(closedFile(), image.bytes()) << offset;
  }
}

TEST_F(VekSAMSChunkTest, appendToAFileOpenForReadingChangesNothing) {
  ASSERT_TRUE(f.open(writeFile(uniformSection()).c_str(), "r"));
  EXPECT_FALSE(sams.appendStart(f, 1));
  f.close();
  EXPECT_EQ(readFile(path()), uniformSection().bytes());
}

struct Damage {
  const char* name;
  ByteImage payload;  ///< what follows the header of SAMS
};

// Two new samples do not fit, for a reason in the table that is read first.
std::vector<Damage> damagedTIMS() {
  const ByteImage jsam = ByteImage().header("JSAM", 5, 8).int64(72).header("FREE", 0, 64).zeros(64);
  return {
      {"nothing", ByteImage()},
      {"FREE first", ByteImage().header("FREE", 0, 16).zeros(16).raw(jsam)},
      {"JOBJ first", ByteImage().header("JOBJ", 5, 8).zeros(8).raw(jsam)},
      {"TIMS alone", nonUniformTIMS()},
      {"TIMS without room", nonUniformTIMS().raw(jsam)},
      {"TIMS with too little room", nonUniformTIMS().header("FREE", 0, 7).raw("1234567").raw(jsam)},
      {"TIMS with room for none", nonUniformTIMS().header("FREE", 0, 0).raw(jsam)},
      {"TIMS with negative room", nonUniformTIMS().header("FREE", 0, -8).raw(jsam)},
      {"TIMS with least room", nonUniformTIMS().header("FREE", 0, kMin).raw(jsam)},
      {"TIMS of half an entry",
       ByteImage().header("TIMS", 4, 6).zeros(6).header("FREE", 0, 8).zeros(8).raw(jsam)},
      {"TIMS of negative length", ByteImage().header("TIMS", 4, -16).raw(jsam)},
      {"TIMS longer than the file",
       ByteImage().header("TIMS", 4, std::int64_t{1} << 40).zeros(8).raw(jsam)},
      {"TIMS of the greatest length", ByteImage().header("TIMS", 4, kMax - 3).zeros(8).raw(jsam)},
  };
}

// The same for JSAM.
std::vector<Damage> damagedJSAM() {
  const ByteImage table = ByteImage().header("JSAM", 5, 8).int64(72);
  const ByteImage samp = ByteImage().header("SAMP", 1, 16).header("JOBJ", 5, 0);
  return {
      {"nothing", ByteImage()},
      {"JOBJ instead", ByteImage().header("JOBJ", 5, 0).raw(samp)},
      {"SAMP instead", samp},
      {"JSAM alone", table},
      {"JSAM without room", ByteImage().raw(table).raw(samp)},
      {"JSAM with too little room",
       ByteImage().raw(table).header("FREE", 0, 15).zeros(15).raw(samp)},
      {"JSAM with room for none", ByteImage().raw(table).header("FREE", 0, 0).raw(samp)},
      {"JSAM with negative room", ByteImage().raw(table).header("FREE", 0, -16).raw(samp)},
      {"JSAM of half an entry",
       ByteImage().header("JSAM", 5, 12).zeros(12).header("FREE", 0, 64).zeros(64).raw(samp)},
      {"JSAM of negative length", ByteImage().header("JSAM", 5, -16).raw(samp)},
      {"JSAM longer than the file",
       ByteImage().header("JSAM", 5, std::int64_t{1} << 40).zeros(8).raw(samp)},
      {"JSAM of the greatest length", ByteImage().header("JSAM", 5, kMax - 7).zeros(8).raw(samp)},
  };
}

TEST_F(VekSAMSChunkTest, appendFailingAtTheTimesLeavesOnlyTheLength0) {
  for (const Damage& damage : damagedTIMS()) {
    sams.reset();
    openForAppending(group("SAMS", damage.payload));
    EXPECT_FALSE(sams.appendStart(f, 2)) << damage.name;
    EXPECT_EQ(closedFile(), header("SAMS", 1, 0) + damage.payload.bytes()) << damage.name;
  }
}

TEST_F(VekSAMSChunkTest, appendFailingAtTheJumpsOfAUniformStreamLeavesOnlyTheLength0) {
  for (const Damage& damage : damagedJSAM()) {
    sams.reset();
    openForAppending(group("SAMS", damage.payload));
    EXPECT_FALSE(sams.appendStart(f, 2)) << damage.name;
    EXPECT_EQ(closedFile(), header("SAMS", 1, 0) + damage.payload.bytes()) << damage.name;
  }
}

TEST_F(VekSAMSChunkTest, appendFailingAtTheJumpsComesAfterTheTimesWereEnlarged) {
  for (const Damage& damage : damagedJSAM()) {
    sams.reset();
    openForAppending(group(
        "SAMS", nonUniformTIMS().header("FREE", 0, 12).raw("abcdefghijkl").raw(damage.payload)));
    EXPECT_FALSE(sams.appendStart(f, 2)) << damage.name;
    EXPECT_EQ(closedFile(), ByteImage()
                                .header("SAMS", 1, 0)
                                .header("TIMS", 4, 16)
                                .float32(1)
                                .float32(2.5F)
                                .zeros(8)
                                .header("FREE", 0, 4)
                                .raw("ijkl")
                                .raw(damage.payload)
                                .bytes())
        << damage.name;
  }
}

// The tables would grow over whatever follows in place of the room.
TEST_F(VekSAMSChunkTest, appendIntoRoomBeyondTheFileFailsBeforeTheTablesGrow) {
  const ByteImage jsam = ByteImage().header("JSAM", 5, 8).int64(72);
  const ByteImage samp = ByteImage().header("SAMP", 1, 16).header("JOBJ", 5, 0);
  for (const std::int64_t room : {std::int64_t{100}, std::int64_t{1} << 40, kMax}) {
    for (const bool times : {false, true}) {
      const ByteImage payload =
          times ? nonUniformTIMS().header("FREE", 0, room).raw(jsam).header("FREE", 0, 8).zeros(8)
                : ByteImage().raw(jsam).header("FREE", 0, room).raw(samp);
      sams.reset();
      openForAppending(group("SAMS", payload));
      EXPECT_FALSE(sams.appendStart(f, 1)) << room << times;
      EXPECT_EQ(closedFile(), header("SAMS", 1, 0) + payload.bytes()) << room << times;
    }
  }
}

TEST_F(VekSAMSChunkTest, aFailedAppendDoesNotCloseTheGroup) {
  openForAppending(uniformSection());
  EXPECT_FALSE(sams.appendStart(f, 3));
  EXPECT_EQ(f.getLevel(), 1U);
}

TEST_F(VekSAMSChunkTest, appendOfNegativeOrHugeCountsFails) {
  for (const bool times : {false, true}) {
    const ByteImage image = times ? nonUniformSection() : uniformSection();
    const std::size_t firstSample = times ? 140 : 72;
    for (const std::int64_t count : {std::int64_t{-1}, std::int64_t{-2}, kMin, kMin / 4, kMax,
                                     kMax / 4 + 1, kMax / 8 + 1, std::int64_t{1} << 61}) {
      sams.reset();
      openForAppending(image);
      EXPECT_FALSE(sams.appendStart(f, count)) << count;
      f.close();
      // Whatever step found it: the samples stand as they were.
      const std::string bytes = readFile(path());
      ASSERT_EQ(bytes.size(), image.size()) << count;
      EXPECT_EQ(bytes.substr(firstSample), image.bytes().substr(firstSample)) << count;
    }
  }
}

TEST_F(VekSAMSChunkTest, appendOfMoreThanTheRoomFails) {
  openForAppending(uniformSection());
  EXPECT_FALSE(sams.appendStart(f, 3));
  EXPECT_EQ(closedFile(), header("SAMS", 1, 0) + uniformSection().bytes().substr(16));
}

TEST_F(VekSAMSChunkTest, everyTruncationOfTheTablesFails) {
  const std::string whole = nonUniformSection().bytes();
  for (std::size_t size = 0; size < 116; ++size) {
    sams.reset();
    openForAppending(ByteImage().raw(whole.substr(0, size)));
    EXPECT_FALSE(sams.appendStart(f, 1)) << size;
  }
}

TEST_F(VekSAMSChunkTest, everyDamagedByteOfTheTablesIsSurvived) {
  const std::string whole = nonUniformSection().bytes();
  for (std::size_t at = 0; at < 140; ++at) {
    for (const int value : {0, 4, 0x7F, 0xFF}) {
      std::string damaged = whole;
      damaged[at] = static_cast<char>(value);
      sams.reset();
      openForAppending(ByteImage().raw(damaged));
      if (sams.appendStart(f, 2) && writeSample(1, 4) && writeSample(1, 5)) sams.writeEnd(f);
      f.close();
      EXPECT_LT(std::filesystem::file_size(path()), 4096U) << at;
    }
  }
}

}  // namespace
