// SPDX-License-Identifier: Apache-2.0
//
// Tests of the sample stream's writer: whole streams byte by byte, and what stands in the file
// after a failure.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "AddressSanitizer.h"
#include "ByteImage.h"
#include "SampleStreamTest.h"
#include "TextPattern.h"
#include "VekChunks.h"

namespace {

using namespace Vek;
using namespace VekTest;

// ----- The object itself

void expectBeginning(const VekSAMSChunk& sams) {
  EXPECT_TRUE(sams.timeTable.empty());
  EXPECT_TRUE(sams.jumpTable.empty());
  EXPECT_TRUE(sams.objectTable.empty());
  EXPECT_EQ(sams.timsOffset, -1);
  EXPECT_EQ(sams.jsamOffset, -1);
  EXPECT_EQ(sams.jobjOffset, -1);
  EXPECT_EQ(sams.sampleIndex, 0);
  EXPECT_EQ(sams.objectIndex, 0);
}

TEST_F(VekSAMSChunkTest, beginsEmpty) {
  EXPECT_EQ(sams.getTag(), Tag::SAMS);
  EXPECT_EQ(sams.getType(), 1);
  expectBeginning(sams);
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
  expectBeginning(sams);
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
  ASSERT_TRUE(startUniform(2));
  for (const float x : {1.0F, 2.0F}) {
    VekGroupChunk sobj(Tag::SOBJ);
    sobj.addChild(new VekLeafChunk<float>(Tag::POSI, Compound::Point, 3, Floats{x, 0, -1}));
    ASSERT_TRUE(sams.writeStartSAMPChunk(f, 1, nullptr));
    ASSERT_TRUE(sams.writeSOBJChunk(f, &sobj));
    ASSERT_TRUE(sams.writeEndSAMPChunk(f));
  }
  EXPECT_EQ(finishedFile(), ByteImage()
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
  ASSERT_TRUE(startWithTimes(2));
  ASSERT_TRUE(writeSample(1, 1.0F));
  ASSERT_TRUE(writeSample(1, 2.5F));
  EXPECT_EQ(finishedFile(), ByteImage()
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
  ASSERT_TRUE(startUniform(1, 2));
  ASSERT_TRUE(writeSample(2));
  EXPECT_EQ(finishedFile(), ByteImage()
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
  ASSERT_TRUE(startWithTimes(1, 3));
  ASSERT_TRUE(writeSample(1, -0.5F));
  EXPECT_EQ(finishedFile(), ByteImage()
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
  EXPECT_EQ(finishedFile(), ByteImage()
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
  EXPECT_EQ(finishedFile(), ByteImage()
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
  ASSERT_TRUE(startUniform(1));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 2, nullptr));
  ASSERT_TRUE(sams.writeStartSOBJChunk(f));
  ASSERT_TRUE(sams.writeEndSOBJChunk(f));
  ASSERT_TRUE(sams.writeSOBJChunk(f, &emptySOBJ));
  ASSERT_TRUE(sams.writeEndSAMPChunk(f));
  EXPECT_EQ(sams.objectTable, (Offsets{88, 104}));
}

// ----- Empty tables are rewritten at the position, not in place

TEST_F(VekSAMSChunkTest, zeroSamplesEndWithAStrayJSAM) {
  ASSERT_TRUE(startUniform(0));
  EXPECT_EQ(finishedFile(),
            ByteImage().header("SAMS", 1, 16).header("JSAM", 5, 0).header("JSAM", 5, 0).bytes());
}

TEST_F(VekSAMSChunkTest, zeroSamplesWithTimesEndWithAStrayTIMSAndJSAM) {
  ASSERT_TRUE(startWithTimes(0));
  EXPECT_EQ(finishedFile(), ByteImage()
                                .header("SAMS", 1, 32)
                                .header("TIMS", 4, 0)
                                .header("JSAM", 5, 0)
                                .header("TIMS", 4, 0)
                                .header("JSAM", 5, 0)
                                .bytes());
}

TEST_F(VekSAMSChunkTest, zeroSamplesWithReserveEndWithTheStrayHeadersAfterTheRoom) {
  ASSERT_TRUE(startWithTimes(0, 2));
  EXPECT_EQ(finishedFile(), ByteImage()
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
  ASSERT_TRUE(startUniform(2));
  ASSERT_TRUE(writeSample(0));
  ASSERT_TRUE(writeSample(0));
  EXPECT_EQ(finishedFile(), ByteImage()
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
  ASSERT_TRUE(startWithTimes(10, 5));
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
  ASSERT_TRUE(startUniform(2));
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
  ASSERT_TRUE(startWithTimes(1, -3));
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
    expectNoStart(count, 0);
  }
}

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
  for (const std::int64_t count : hugeCounts()) expectNoStart(count, 0);
}

TEST_F(VekSAMSChunkTest, writeStartWithAHugeReserveFailsAndClosesItsGroup) {
  for (const std::int64_t reserve : {kMax, kMax - 1, kMax / 2, std::int64_t{1} << 60}) {
    expectNoStart(1, reserve);
  }
}

TEST_F(VekSAMSChunkTest, everyCallFailsOnAClosedFile) {
  const float time = 1;
  EXPECT_FALSE(sams.writeStart(f, 1, 0, true));
  EXPECT_FALSE(sams.appendStart(f, 1));
  EXPECT_FALSE(sams.writeStartSAMPChunk(f, 1, &time));
  sams.jumpTable = {0};
  EXPECT_FALSE(sams.writeStartSAMPChunk(f, 1, &time));
  sams.objectTable = {0};
  EXPECT_FALSE(sams.writeSOBJChunk(f, &emptySOBJ));
  EXPECT_FALSE(sams.writeStartSOBJChunk(f));
  EXPECT_FALSE(sams.writeEndSOBJChunk(f));
  EXPECT_FALSE(sams.writeEndSAMPChunk(f));
  EXPECT_FALSE(sams.writeEnd(f));
}

TEST_F(VekSAMSChunkTest, everyCallFailsOnAReadOnlyFile) {
  const ByteImage image =
      group("SAMS", ByteImage().header("JSAM", 5, 0).header("FREE", 0, 8).zeros(8));
  ASSERT_TRUE(f.open(writeFile(image).c_str(), "r"));
  EXPECT_FALSE(sams.appendStart(f, 1));
  EXPECT_FALSE(sams.writeStart(f, 1, 0, false));
  sams.jumpTable = {0};
  sams.sampleIndex = 0;
  EXPECT_FALSE(sams.writeStartSAMPChunk(f, 1, nullptr));
  sams.objectTable = {0};
  sams.objectIndex = 0;
  EXPECT_FALSE(sams.writeStartSOBJChunk(f));
  EXPECT_FALSE(sams.writeSOBJChunk(f, &emptySOBJ));
  f.close();
  EXPECT_EQ(readFile(path()), image.bytes());
}

// ----- Samples

TEST_F(VekSAMSChunkTest, writeStartSAMPChunkOpensTheSampleWithAPlaceholder) {
  ASSERT_TRUE(startUniform(1));
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
  ASSERT_TRUE(startUniform(2));
  ASSERT_TRUE(writeSample(2));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 2, nullptr));
  EXPECT_EQ(sams.objectTable, (Offsets{0, 0}));
  const std::string bytes = closedFile();
  EXPECT_EQ(bytes.substr(bytes.size() - 16), std::string(16, '\0'));
}

TEST_F(VekSAMSChunkTest, theNumberOfObjectsMayDifferBetweenSamples) {
  ASSERT_TRUE(startUniform(3));
  ASSERT_TRUE(writeSample(2));
  ASSERT_TRUE(writeSample(1));
  EXPECT_EQ(sams.objectTable.size(), 1U);
  ASSERT_TRUE(writeSample(3));
  EXPECT_EQ(sams.objectTable.size(), 3U);
}

TEST_F(VekSAMSChunkTest, theTimeEntersTheTimeTable) {
  ASSERT_TRUE(startWithTimes(2));
  ASSERT_TRUE(writeSample(1, 3.5F));
  ASSERT_TRUE(writeSample(1, 4.25F));
  EXPECT_EQ(sams.timeTable, (Floats{3.5F, 4.25F}));
}

TEST_F(VekSAMSChunkTest, aNullTimeLeavesTheEntry) {
  ASSERT_TRUE(startWithTimes(1));
  sams.timeTable = {8};
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 0, nullptr));
  EXPECT_EQ(sams.timeTable, Floats{8});
}

TEST_F(VekSAMSChunkTest, theTimeIsIgnoredInAUniformStream) {
  ASSERT_TRUE(startUniform(1));
  ASSERT_TRUE(writeSample(1, 3.5F));
  EXPECT_TRUE(sams.timeTable.empty());
}

TEST_F(VekSAMSChunkTest, aSampleBeyondTheTableFailsAndWritesNothing) {
  ASSERT_TRUE(startUniform(1, 4));
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
  ASSERT_TRUE(startUniform(2));
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
  ASSERT_TRUE(startUniform(2));
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
  ASSERT_TRUE(startUniform(1));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 2, nullptr));
  ASSERT_TRUE(sams.writeSOBJChunk(f, &emptySOBJ));
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
  ASSERT_TRUE(startUniform(1));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 1, nullptr));
  ASSERT_TRUE(sams.writeSOBJChunk(f, &emptySOBJ));
  const __int64 end = f.tell();
  EXPECT_FALSE(sams.writeSOBJChunk(f, &emptySOBJ));
  EXPECT_FALSE(sams.writeStartSOBJChunk(f));
  EXPECT_EQ(f.tell(), end);
  EXPECT_EQ(f.getLevel(), 2U);
  EXPECT_EQ(sams.objectIndex, 1);
}

TEST_F(VekSAMSChunkTest, noObjectFitsIntoASampleOfNone) {
  ASSERT_TRUE(startUniform(1));
  ASSERT_TRUE(sams.writeStartSAMPChunk(f, 0, nullptr));
  EXPECT_FALSE(sams.writeSOBJChunk(f, &emptySOBJ));
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
  const VekGroupChunk samp(Tag::SAMP);
  const VekGroupChunk untagged;
  VekGroupChunk freed(Tag::SOBJ);
  freed.free();
  const TypedGroup typed(ValueType::Float);
  ASSERT_TRUE(startUniform(1));
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
  const UnwritableGroup sobj;
  ASSERT_TRUE(startUniform(1));
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
  ASSERT_TRUE(startWithTimes(1, 1));
  ASSERT_TRUE(writeSample(1, 2));
  const __int64 end = f.tell();
  ASSERT_TRUE(sams.writeEnd(f));
  EXPECT_EQ(f.tell(), end);
  EXPECT_EQ(f.getLevel(), 0U);
}

TEST_F(VekSAMSChunkTest, missingSamplesKeepTheTime0AndTheOffset0) {
  ASSERT_TRUE(startWithTimes(3));
  ASSERT_TRUE(writeSample(1, 1.5F));
  EXPECT_EQ(finishedFile(), ByteImage()
                                .header("SAMS", 1, 124)  // 0
                                .header("TIMS", 4, 12)   // 16
                                .float32(1.5F)
                                .float32(0)
                                .float32(0)
                                .header("JSAM", 5, 24)  // 44
                                .int64(84)
                                .int64(0)
                                .int64(0)
                                .raw(sampleAt(84))
                                .bytes());
}

TEST_F(VekSAMSChunkTest, genericChildrenAreWrittenAtTheEndOfTheStream) {
  ASSERT_TRUE(startUniform(1));
  ASSERT_TRUE(writeSample(1));
  sams.addChild(new VekLeafChunk<int>(makeTag('A', 'B', 'C', 'D'), {5}));
  EXPECT_EQ(finishedFile(), ByteImage()
                                .header("SAMS", 1, 100)
                                .header("JSAM", 5, 8)
                                .int64(40)
                                .raw(sampleAt(40))
                                .header("ABCD", 3, 4)  // 96
                                .int32(5)
                                .bytes());
}

TEST_F(VekSAMSChunkTest, anUnwritableGenericChildFailsTheEnd) {
  ASSERT_TRUE(startUniform(1));
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
  ASSERT_TRUE(startUniform(1));
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

#if !defined(_WIN32)
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

}  // namespace
