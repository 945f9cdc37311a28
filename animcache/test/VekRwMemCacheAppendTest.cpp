// SPDX-License-Identifier: Apache-2.0
//
// Appending to the file of a cache: samples in place or in a section of their own, and the head
// where it stands.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "ByteImage.h"
#include "CacheSaveTest.h"
#include "OpenRwCache.h"
#include "SavedFile.h"
#include "SceneImage.h"
#include "VekCache.h"

namespace {

using namespace VekTest;
using ::testing::ElementsAre;
using Vek::VekGroupChunk;

// ---- append in place ----

TEST_F(VekRwMemCacheSaveTest, appendFillsTheFreeSlots) {
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  add(cache, 4, 0, 44);
  EXPECT_TRUE(cache.append());
  model.append(4, {posi(44)});
  ASSERT_EQ(1, model.sections[0].jumpRoom);
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, appendByteForByte) {
  // The head takes 271 bytes, each sample 76.
  load(oneObject({1, 2}, 1.0F, 3));
  const std::string before = bytes();
  ASSERT_EQ(271U + 16 + 32 + 40 + 2 * 76, before.size());
  add(cache, 3, 0, 30);
  ASSERT_TRUE(cache.append());
  const std::string after = bytes();

  ByteImage head = headBytes(dateOf(after), 3, 1.0F, 3.0F, 1.0F);
  head.header("SAMS", 1, 32 + 40 + 3 * 76);
  head.header("JSAM", 5, 24).int64(359).int64(435).int64(511);
  head.header("FREE", 0, 16).zeros(16);
  ASSERT_EQ(359U, head.size());
  ByteImage sample;
  sample.header("SAMP", 1, 60);
  sample.header("JOBJ", 5, 8).int64(551);
  sample.header("SOBJ", 1, 20);
  sample.header("POSI", 4, 4).float32(30.0F);
  EXPECT_TRUE(sameBytes(head.bytes() + before.substr(359) + sample.bytes(), after));
}

TEST_F(VekRwMemCacheSaveTest, appendFillsTheFreeSlotsOfBothTables) {
  SavedFile model = oneObject({1, 2, 4}, 0.0F, 2);
  load(model);
  add(cache, 7, 0, 77);
  EXPECT_TRUE(cache.append());
  model.append(7, {posi(77)});
  ASSERT_EQ(1, model.sections[0].timeRoom);
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, appendLeavesWhatTheFreeSlotsHold) {
  for (const float rate : {1.0F, 0.0F}) {
    SavedFile model =
        oneObject(rate == 0.0F ? std::vector<float>{1, 2, 4} : std::vector<float>{3, 4}, rate, 5);
    model.sections[0].fill = '\x5A';
    OpenRwCache fresh;
    ASSERT_TRUE(fresh.load(writeFile(model.image()).c_str()));
    add(fresh, 5, 0, 50);
    add(fresh, 6, 0, 60);
    EXPECT_TRUE(fresh.append());
    model.append(5, {posi(50)});
    model.append(6, {posi(60)});
    expectFile(model);
  }
}

TEST_F(VekRwMemCacheSaveTest, appendOfSeveralSamplesAtOnce) {
  SavedFile model = oneObject({1, 2}, 1.0F, 5);
  load(model);
  for (const float t : {3.0F, 4.0F, 5.0F}) add(cache, t, 0, -t);
  EXPECT_TRUE(cache.append());
  for (const float t : {3.0F, 4.0F, 5.0F}) model.append(t, {posi(-t)});
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, saveAppendsWhenItCan) {
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  add(cache, 4, 0, 44);
  expectSave(Saved::Written);
  model.append(4, {posi(44)});
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, saveAsUnderTheSameNameAppendsWhenItCan) {
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  add(cache, 4, 0, 44);
  bool written = false;
  EXPECT_TRUE(cache.saveAs(path().c_str(), &written));
  EXPECT_TRUE(written);
  model.append(4, {posi(44)});
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, stateAfterAnAppend) {
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  ASSERT_NE(nullptr, cache.getSample(1, 0));
  add(cache, 4, 0, 44);
  ASSERT_TRUE(cache.append());
  expectClean();
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_EQ(-1, cache.cachedSampleIndex);
  EXPECT_EQ(path(), cache.getFilename());
  EXPECT_EQ(dateOf(bytes()), cache.getDateStamp());
  model.append(4, {posi(44)});
  EXPECT_EQ(model.jumps(), cache.jumpTable);
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 30, 44));
}

TEST_F(VekRwMemCacheSaveTest, appendWorksOnAnOpenAndOnAClosedFile) {
  const std::pair<const char*, std::function<void(OpenRwCache&)>> states[] = {
      {"open", [](OpenRwCache& c) { ASSERT_TRUE(c.file.isOpen()); }},
      {"in the middle of a sample", [](OpenRwCache& c) { ASSERT_NE(nullptr, c.getSample(1, 0)); }},
      {"closed", [](OpenRwCache& c) { ASSERT_TRUE(c.close()); }},
      {"kept closed", [](OpenRwCache& c) { ASSERT_TRUE(c.setKeepOpen(false)); }}};
  for (const auto& [name, prepare] : states) {
    for (const bool constructed : {true, false}) {
      SCOPED_TRACE(name);
      SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
      const std::string file = writeFile(model.image());
      // A constructor opens for reading only, load() for update.
      OpenRwCache fresh(constructed ? file.c_str() : writeFile(model.image(), "x.vek").c_str());
      if (!constructed) {
        ASSERT_TRUE(fresh.load(file.c_str()));
      }
      prepare(fresh);
      add(fresh, 4, 0, 44);
      EXPECT_TRUE(fresh.append());
      model.append(4, {posi(44)});
      expectFile(model);
    }
  }
}

TEST_F(VekRwMemCacheSaveTest, appendAfterAppendByTheSameCache) {
  SavedFile model = oneObject({1, 2}, 1.0F, 4);
  load(model);
  for (const float t : {3.0F, 4.0F, 5.0F, 6.0F}) {
    add(cache, t, 0, -t);
    ASSERT_TRUE(cache.append());
    model.append(t, {posi(-t)});
    expectFile(model);
  }
}

TEST_F(VekRwMemCacheSaveTest, appendAfterAppendByNewCaches) {
  SavedFile model = oneObject({1, 2, 4}, 0.0F, 4);
  writeFile(model.image());
  for (const float t : {7.0F, 8.0F, 11.0F, 12.0F}) {
    OpenRwCache fresh(path().c_str());
    add(fresh, t, 0, -t);
    ASSERT_TRUE(fresh.append());
    model.append(t, {posi(-t)});
    expectFile(model);
  }
}

TEST_F(VekRwMemCacheSaveTest, cacheSavedOnceIsAppendedTo) {
  setHead({"|a"});
  add(cache, 1, 0, 10);
  add(cache, 2, 0, 20);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  add(cache, 3, 0, 30);
  ASSERT_TRUE(cache.append());
  expectFile(oneObject({1, 2, 3}, 1.0F, 99));
}

TEST_F(VekRwMemCacheSaveTest, secondSampleIsAppendedWithItsRate) {
  SavedFile model = oneObject({1}, 1.0F, 2);
  load(model);
  add(cache, 3, 0, 30);
  ASSERT_TRUE(cache.append());
  model.append(3, {posi(30)});
  model.head.rate = 0.5F;
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, frameIsAppendedWithAllItsObjects) {
  SavedFile model = objects({"|a", "|b", "|c"}, 2);
  model.add(1, {posi(1), posi(2), posi(3)});
  model.add(2, {posi(4), posi(5), posi(6)});
  load(model);
  std::vector<VekGroupChunk*> sobjs;
  ASSERT_TRUE(cache.allocFrame(3, sobjs));
  put(sobjs[0], 7);
  put(sobjs[2], 9);
  ASSERT_TRUE(cache.append());
  model.append(3, {posi(7), ByteImage(), posi(9)});
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, objectsNobodyAllocatedAreAppendedAsEmptyGroups) {
  SavedFile model = objects({"|a", "|b", "|c"}, 2);
  model.add(1, {posi(1), posi(2), posi(3)});
  load(model);
  add(cache, 2, 1, 5);
  ASSERT_TRUE(cache.append());
  model.append(2, {ByteImage(), posi(5), ByteImage()});
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, editedNewSampleIsAppendedWithALaterOne) {
  SavedFile model = objects({"|a", "|b"}, 4);
  model.add(1, {posi(1), posi(2)});
  model.add(2, {posi(3), posi(4)});
  load(model);
  add(cache, 3, 0, 5);
  add(cache, 3, 1, 6);
  EXPECT_FALSE(cache.append());
  add(cache, 4, 0, 7);
  ASSERT_TRUE(cache.append());
  model.append(3, {posi(5), posi(6)});
  model.append(4, {posi(7), ByteImage()});
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, appendReadsNoStoredSample) {
  // Damaged samples that stay where they are do not matter to it.
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  std::string damaged = model.bytes();
  const auto first = static_cast<std::size_t>(model.jumps()[0]);
  const std::size_t size = damaged.size() - first;
  damaged.replace(first, size, std::string(size, 'X'));
  load(ByteImage().raw(damaged));
  add(cache, 4, 0, 44);
  ASSERT_TRUE(cache.append());
  EXPECT_TRUE(sameBytes(damaged.substr(first), bytes().substr(first, size)));
}

// ---- the head in place ----

TEST_F(VekRwMemCacheSaveTest, fieldsOfTheHeadAreReplacedInPlace) {
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  cache.setApplication("new");
  cache.setSourceFile("SRC");
  cache.setSpace(0);
  add(cache, 4, 0, 44);
  ASSERT_TRUE(cache.append());
  model.append(4, {posi(44)});
  model.head.application = "new";
  model.head.sourceFile = "SRC";
  model.head.space = 0;
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, nameOfTheSameLengthIsReplacedInPlace) {
  for (const bool nameFirst : {true, false}) {
    SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
    load(model);
    if (nameFirst) cache.setName(0, "|z");
    add(cache, 4, 0, 44);
    cache.setName(0, "|z");
    ASSERT_TRUE(cache.append());
    model.append(4, {posi(44)});
    model.head.definitions = {definition("|z")};
    expectFile(model);
  }
}

TEST_F(VekRwMemCacheSaveTest, headOfTheSameLengthInAllIsReplacedInPlace) {
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  cache.setApplication("longer");
  cache.setSourceFile("s");
  cache.setName(0, "|");
  add(cache, 4, 0, 44);
  ASSERT_TRUE(cache.append());
  model.append(4, {posi(44)});
  model.head.application = "longer";
  model.head.sourceFile = "s";
  model.head.definitions = {definition("|")};
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, shiftedUniformTimesAreReplacedInPlace) {
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  cache.shiftFirstTimeTo(10);
  add(cache, 13, 0, 44);
  ASSERT_TRUE(cache.append());
  model.append(13, {posi(44)});
  model.head.firstTime = 10.0F;
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, attributesOfTheSameLengthAreReplacedInPlace) {
  const auto attributes = [](const std::string& name, float value) {
    return definition("|a", group("DATR", join({group("SATR", join({textChunk("NAME", {name}),
                                                                    textChunk("TYPE", {"float"})})),
                                                group("ATRS", floatChunk("ATTR", {value}))})));
  };
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  model.head.definitions = {attributes("old", 1)};
  load(model);
  ASSERT_TRUE(cache.setAttrName(0, 0, "new"));
  auto* values = Vek::asLeaf<float>(cache.metadata.dobjs[0]->getDATR()->getStaticData(0));
  ASSERT_NE(nullptr, values);
  values->setData({2});
  add(cache, 4, 0, 44);
  ASSERT_TRUE(cache.append());
  model.append(4, {posi(44)});
  model.head.definitions = {attributes("new", 2)};
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, unknownChunkAsLongAsTheMissingApplicationFits) {
  // The computed length counts WAPP with its NUL, 17 bytes, and no unknown chunk.
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  model.head.application.clear();
  model.head.more = ByteImage().chunk("XTRA", 0, ByteImage().raw("x"));
  load(model);
  add(cache, 4, 0, 44);
  ASSERT_TRUE(cache.append());
  model.append(4, {posi(44)});
  expectFile(model);
}

// ---- sections ----

TEST_F(VekRwMemCacheSaveTest, lastFreeSlotLeavesAFreeChunkOfNoLength) {
  SavedFile model = oneObject({1, 2}, 1.0F, 1);
  load(model);
  add(cache, 3, 0, 33);
  ASSERT_TRUE(cache.append());
  model.append(3, {posi(33)});
  ASSERT_EQ(0, model.sections[0].jumpRoom);
  expectFile(model);
  EXPECT_EQ(0, freeLengthBehind(bytes(), "JSAM"));
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, sectionWithoutRoomIsFollowedByANewOneAtTheEnd) {
  for (const float rate : {1.0F, 0.0F}) {
    for (const std::int64_t room : {0, -1}) {
      SCOPED_TRACE(::testing::Message() << "rate " << rate << " room " << room);
      SavedFile model = oneObject(
          rate == 0.0F ? std::vector<float>{1, 2, 4} : std::vector<float>{3, 4}, rate, room);
      load(model);
      const std::string before = bytes();
      const std::size_t head = savedHeadImage(model.head).size();
      add(cache, 5, 0, 55);
      ASSERT_TRUE(cache.append());
      model.startSection(100);
      model.add(5, {posi(55)});
      expectFile(model);
      expectFileHoldsTheCache();
      EXPECT_TRUE(sameBytes(before.substr(head), bytes().substr(head, before.size() - head)));
    }
  }
}

TEST_F(VekRwMemCacheSaveTest, newSectionByteForByte) {
  // Of 271 + 16 + 24 + 76 bytes; the section's first sample stands 16 + 24 + 16 + 800 further on.
  load(oneObject({1}, 1.0F, -1));
  const std::string before = bytes();
  ASSERT_EQ(387U, before.size());
  add(cache, 2, 0, 20);
  ASSERT_TRUE(cache.append());
  ByteImage section;
  section.header("SAMS", 1, 24 + 816 + 76);
  section.header("JSAM", 5, 8).int64(1243);
  section.header("FREE", 0, 800).zeros(800);
  section.header("SAMP", 1, 60);
  section.header("JOBJ", 5, 8).int64(1283);
  section.header("SOBJ", 1, 20);
  section.header("POSI", 4, 4).float32(20.0F);
  EXPECT_TRUE(sameBytes(before.substr(271) + section.bytes(), bytes().substr(271)));
}

TEST_F(VekRwMemCacheSaveTest, newSectionHoldsAllNewSamplesWhenTheRoomIsTooSmall) {
  SavedFile model = oneObject({1, 2}, 1.0F, 2);
  load(model);
  for (const float t : {3.0F, 4.0F, 5.0F}) add(cache, t, 0, -t);
  ASSERT_TRUE(cache.append());
  model.startSection(100);
  for (const float t : {3.0F, 4.0F, 5.0F}) model.add(t, {posi(-t)});
  expectFile(model);

  // The free slots of the first section are never used again.
  add(cache, 6, 0, -6);
  ASSERT_TRUE(cache.append());
  model.append(6, {posi(-6)});
  ASSERT_EQ(2, model.sections[0].jumpRoom);
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, roomForExactlyTheNewSamplesIsUsed) {
  SavedFile model = oneObject({1, 2}, 1.0F, 3);
  load(model);
  for (const float t : {3.0F, 4.0F, 5.0F}) add(cache, t, 0, -t);
  ASSERT_TRUE(cache.append());
  for (const float t : {3.0F, 4.0F, 5.0F}) model.append(t, {posi(-t)});
  ASSERT_EQ(1U, model.sections.size());
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, roomOfAnEarlierSectionDoesNotCount) {
  for (const float rate : {1.0F, 0.0F}) {
    SCOPED_TRACE(rate);
    SavedFile model =
        oneObject(rate == 0.0F ? std::vector<float>{1, 2} : std::vector<float>{3, 4}, rate, 10);
    model.startSection(-1);
    model.add(5, {posi(50)});
    OpenRwCache fresh;
    ASSERT_TRUE(fresh.load(writeFile(model.image()).c_str()));
    add(fresh, 6, 0, 60);
    ASSERT_TRUE(fresh.append());
    model.startSection(100);
    model.add(6, {posi(60)});
    expectFile(model);
  }
}

TEST_F(VekRwMemCacheSaveTest, lastOfSeveralSectionsIsContinued) {
  SavedFile model = oneObject({1, 2}, 1.0F, 0);
  model.startSection(7);
  model.add(3, {posi(30)});
  model.startSection(5);
  model.add(4, {posi(40)});
  model.add(5, {posi(50)});
  load(model);
  add(cache, 6, 0, 60);
  ASSERT_TRUE(cache.append());
  model.append(6, {posi(60)});
  ASSERT_EQ(4, model.sections[2].jumpRoom);
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, roomOfANewSectionIsAsAskedForAndAtLeastAHundred) {
  const struct {
    int reserved, samples;
    std::int64_t expected;
  } cases[] = {{0, 2, 100}, {0, 51, 104}, {0, 60, 122}, {5, 60, 100}, {130, 2, 130}, {-7, 60, 100}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.reserved << " of " << c.samples);
    std::vector<float> times;
    for (int s = 1; s <= c.samples; ++s) times.push_back(static_cast<float>(s));
    SavedFile model = oneObject(times, 1.0F, -1);
    OpenRwCache fresh;
    ASSERT_TRUE(fresh.load(writeFile(model.image()).c_str()));
    fresh.setReservedSamples(c.reserved);
    const auto last = static_cast<float>(c.samples + 1);
    add(fresh, last, 0, 1);
    ASSERT_TRUE(fresh.append());
    model.startSection(c.expected);
    model.add(last, {posi(1)});
    expectFile(model);
  }
}

TEST_F(VekRwMemCacheSaveTest, tablesOfAllSectionsAreJoined) {
  SavedFile model = oneObject({1, 2}, 1.0F, 1);
  load(model);
  add(cache, 3, 0, 30);
  ASSERT_TRUE(cache.append());
  model.append(3, {posi(30)});
  add(cache, 4, 0, 40);
  ASSERT_TRUE(cache.append());
  model.startSection(100);
  model.add(4, {posi(40)});
  add(cache, 5, 0, 50);
  ASSERT_TRUE(cache.append());
  model.append(5, {posi(50)});

  OpenCache read;
  ASSERT_TRUE(read.load(path().c_str()));
  EXPECT_EQ(model.jumps(), read.jumpTable);
  EXPECT_EQ(model.jumps(), cache.jumpTable);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, appendsNeverChangeAnEarlierSample) {
  for (const float rate : {1.0F, 0.0F}) {
    SavedFile model = oneObject(
        rate == 0.0F ? std::vector<float>{-4, -2, 0} : std::vector<float>{-1, 0}, rate, 2);
    writeFile(model.image());
    std::vector<float> expected = {};
    for (const float t : rate == 0.0F ? std::vector<float>{-4, -2, 0} : std::vector<float>{-1, 0}) {
      expected.push_back(stored(t));
    }
    OpenRwCache fresh(path().c_str());
    for (int round = 1; round <= 110; ++round) {
      SCOPED_TRACE(round);
      const std::string before = bytes();
      const std::vector<std::int64_t> jumps = fresh.jumpTable;
      add(fresh, static_cast<float>(round), 0, static_cast<float>(round));
      expected.push_back(static_cast<float>(round));
      ASSERT_TRUE(fresh.append());
      const std::string after = bytes();
      ASSERT_EQ(jumps.size() + 1, fresh.jumpTable.size());
      for (std::size_t s = 0; s < jumps.size(); ++s) {
        ASSERT_EQ(jumps[s], fresh.jumpTable[s]);
        const auto at = static_cast<std::size_t>(jumps[s]);
        ASSERT_EQ(before.substr(at, 76), after.substr(at, 76)) << "sample " << s;
      }
    }
    Vek::VekRoMemCache read(path().c_str());
    EXPECT_EQ(expected, valuesOf(read, 0));
    EXPECT_EQ(timesOf(fresh), timesOf(read));
  }
}

// ---- a cache without samples ----

TEST_F(VekRwMemCacheSaveTest, appendWithoutSamplesWritesTheHead) {
  SavedFile model = headOnly();
  load(model);
  cache.setName(0, "|longer");
  ASSERT_TRUE(cache.append());
  model.head.definitions = {definition("|longer")};
  expectFile(model);
  expectClean();
  EXPECT_FALSE(cache.file.isOpen());
}

TEST_F(VekRwMemCacheSaveTest, appendWithoutSamplesNeedsNoEdit) {
  SavedFile model = headOnly();
  load(model);
  EXPECT_TRUE(cache.append());
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, appendWithoutSamplesReplacesAFileThatHasSome) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  cache.deleteCache();
  cache.setName(0, "|a");
  ASSERT_TRUE(cache.save());
  SavedFile model = headOnly();
  model.head.application.clear();
  model.head.sourceFile.clear();
  expectFile(model);
}

}  // namespace
