// SPDX-License-Identifier: Apache-2.0
//
// Tests of appending to a sample stream: into reserved room, and what stands in the file after a
// failure.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "SampleStreamTest.h"
#include "VekChunks.h"

namespace {

using namespace Vek;
using namespace VekTest;

/// The 16 bytes at an offset.
std::string headerAt(const std::string& bytes, std::size_t offset) {
  return offset + 16 <= bytes.size() ? bytes.substr(offset, 16) : std::string();
}

// One uniform sample of one object, with room for two more.
ByteImage uniformSection() {
  return ByteImage()
      .header("SAMS", 1, 112)  // 0
      .header("JSAM", 5, 8)    // 16
      .int64(72)
      .header("FREE", 0, 16)  // 40
      .raw("ABCDEFGHIJKLMNOP")
      .raw(sampleAt(72));
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
      .raw(sampleAt(140))
      .raw(sampleAt(196));
}

TEST_F(VekSAMSChunkTest, appendToAUniformStream) {
  openForAppending(uniformSection());
  ASSERT_TRUE(sams.appendStart(f, 1));
  ASSERT_TRUE(writeSample(1));
  EXPECT_EQ(finishedFile(), ByteImage()
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
  EXPECT_EQ(finishedFile(), ByteImage()
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
                                .raw(sampleAt(140))
                                .raw(sampleAt(196))
                                .raw(sampleAt(252))
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
  EXPECT_EQ(finishedFile(), nonUniformSection().bytes());
}

TEST_F(VekSAMSChunkTest, appendTwiceAsLongAsThereIsRoom) {
  ASSERT_TRUE(startWithTimes(10, 5));
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
                              .header("FREE", 0, 0)  // 104
                              .raw(sampleAt(120))
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
  EXPECT_EQ(finishedFile(), ByteImage()
                                .header("SAMS", 1, 120)  // 0
                                .header("JSAM", 5, 8)    // 16
                                .int64(80)
                                .header("FREE", 0, 8)  // 40
                                .zeros(8)
                                .header("JSAM", 5, 0)  // 64
                                .raw(sampleAt(80))
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
  for (const Damage& damage : damagedTIMS()) expectNoAppend(damage.payload, 2, damage.name);
}

TEST_F(VekSAMSChunkTest, appendFailingAtTheJumpsOfAUniformStreamLeavesOnlyTheLength0) {
  for (const Damage& damage : damagedJSAM()) expectNoAppend(damage.payload, 2, damage.name);
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
      expectNoAppend(payload, 1, std::to_string(room) + (times ? " with times" : ""));
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
