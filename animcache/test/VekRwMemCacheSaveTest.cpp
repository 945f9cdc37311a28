// SPDX-License-Identifier: Apache-2.0
//
// Saving a cache: the bytes of a whole file, the files that a save writes or removes, and what is
// left after a failure.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

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

// ---- the bytes of a whole file ----

TEST_F(VekRwMemCacheSaveTest, wholeFileByteForByte) {
  setHead({"|a"});
  add(cache, 1.5F, 0, 4.5F);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  const std::string actual = bytes();

  ByteImage expected = headBytes(dateOf(actual), 1, 1.5F, 1.5F, 1.0F);
  expected.header("SAMS", 1, 916);
  expected.header("JSAM", 5, 8).int64(1127);
  expected.header("FREE", 0, 800).zeros(800);
  ASSERT_EQ(1127U, expected.size());
  expected.header("SAMP", 1, 60);
  expected.header("JOBJ", 5, 8).int64(1167);
  expected.header("SOBJ", 1, 20);
  expected.header("POSI", 4, 4).float32(4.5F);
  EXPECT_TRUE(sameBytes(expected.bytes(), actual));
}

TEST_F(VekRwMemCacheSaveTest, wholeNonUniformFileByteForByte) {
  setHead({"|a"});
  for (const float t : {1.0F, 2.0F, 4.0F}) add(cache, t, 0, stored(t));
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  const std::string actual = bytes();

  ByteImage expected = headBytes(dateOf(actual), 3, 1.0F, 4.0F, 0.0F);
  expected.header("SAMS", 1, 28 + 416 + 40 + 816 + 3 * 76);
  expected.header("TIMS", 4, 12).float32(1.0F).float32(2.0F).float32(4.0F);
  expected.header("FREE", 0, 400).zeros(400);
  expected.header("JSAM", 5, 24).int64(1587).int64(1663).int64(1739);
  expected.header("FREE", 0, 800).zeros(800);
  ASSERT_EQ(1587U, expected.size());
  for (int s = 0; s < 3; ++s) {
    expected.header("SAMP", 1, 60);
    expected.header("JOBJ", 5, 8).int64(1587 + 76 * s + 40);
    expected.header("SOBJ", 1, 20);
    expected.header("POSI", 4, 4).float32(s == 0 ? 10.0F : s == 1 ? 20.0F : 40.0F);
  }
  EXPECT_TRUE(sameBytes(expected.bytes(), actual));
}

TEST_F(VekRwMemCacheSaveTest, fileOfSeveralSamplesAndObjects) {
  SavedFile model = objects({"|a", "|b"}, 100);
  for (const float t : {1.0F, 2.0F, 3.0F}) model.add(t, {posi(t), posi(-t)});

  setHead({"|a", "|b"});
  for (const float t : {1.0F, 2.0F, 3.0F}) {
    add(cache, t, 1, -t);
    add(cache, t, 0, t);
  }
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, objectsNobodyAllocatedAreEmptyGroups) {
  SavedFile model = objects({"|a", "|b", "|c"}, 100);
  model.add(1, {ByteImage(), posi(5), ByteImage()});
  model.add(2, {posi(6), ByteImage(), ByteImage()});

  setHead({"|a", "|b", "|c"});
  add(cache, 1, 1, 5);
  add(cache, 2, 0, 6);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, emptyFieldsOfTheHeadAreLeftOut) {
  SavedFile model = oneObject({1}, 1.0F, 100);
  model.head.application.clear();
  model.head.sourceFile.clear();
  model.head.space = 0;
  model.head.definitions = {group("DOBJ", ByteImage())};
  add(cache, 1, 0, 10);
  cache.setSpace(0);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, fileWithoutSamplesIsItsHead) {
  SavedFile model = headOnly();
  model.head.application.clear();
  model.head.sourceFile.clear();
  cache.setName(0, "|a");
  bool written = false;
  ASSERT_TRUE(cache.saveAs(path().c_str(), &written));
  EXPECT_TRUE(written);
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, unknownChunksSurviveARewrite) {
  const ByteImage unknown =
      join({posi(1), textChunk("ABCD", {"x", "", "y"}),
            ByteImage().chunk("RAWB", 0, ByteImage().raw("abc")),
            group("GRUP", join({group("DEEP", posi(3)), ByteImage().header("NONE", 4, 0)})),
            ByteImage().chunk("DBLE", 6, ByteImage().float64(2.5), 1, 9)});
  SavedFile model;
  model.head.version = 7;
  model.head.definitions = {
      group("DOBJ", join({textChunk("NAME", {"|a"}), int64Chunk("ODEF", 5), posi(8)}))};
  model.head.more = join({int64Chunk("XTRA", 77), group("XGRP", posi(9))});
  model.sections[0].jumpRoom = 3;
  model.add(1, {unknown});
  model.add(2, {ByteImage()});
  load(model);
  cache.setName(0, "|b");
  ASSERT_TRUE(cache.save());
  model.head.definitions = {
      group("DOBJ", join({textChunk("NAME", {"|b"}), int64Chunk("ODEF", 5), posi(8)}))};
  model.sections[0].jumpRoom = 100;
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, attributesSurviveARewrite) {
  const ByteImage attributes = group(
      "DATR",
      join({group("SATR", join({textChunk("NAME", {"s1", "s2"}), textChunk("TYPE", {"t", ""})})),
            group("ATRS", join({floatChunk("ATTR", {1, 2}), textChunk("ATTR", {"text"})})),
            group("AATR", join({textChunk("NAME", {"n"}), textChunk("TYPE", {"t"})}))}));
  SavedFile model = oneObject({1, 2}, 1.0F, 3);
  model.head.definitions = {definition("|a", attributes)};
  load(model);
  cache.setName(0, "|b");
  ASSERT_TRUE(cache.save());
  model.head.definitions = {definition("|b", attributes)};
  model.sections[0].jumpRoom = 100;
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, namesOfAttributesAreSaved) {
  const auto attributes = [](const std::string& name, const std::string& type) {
    return group("DATR",
                 group("AATR", join({textChunk("NAME", {name}), textChunk("TYPE", {type})})));
  };
  SavedFile model = oneObject({1, 2}, 1.0F, 100);
  model.head.definitions = {definition("|a", attributes("old", "type"))};
  load(model);
  ASSERT_TRUE(cache.setAttrName(0, 0, "newer"));
  ASSERT_TRUE(cache.setAttrType(0, 0, "newest"));
  ASSERT_TRUE(cache.save());
  model.head.definitions = {definition("|a", attributes("newer", "newest"))};
  expectFile(model);
}

// ---- saveAs ----

TEST_F(VekRwMemCacheSaveTest, saveAsReportsWhatItDid) {
  add(cache, 1, 0, 1);
  expectSaveAs(path(), Saved::Written);
}

TEST_F(VekRwMemCacheSaveTest, outputsMayBeNull) {
  add(cache, 1, 0, 1);
  EXPECT_TRUE(cache.saveAs(path().c_str(), nullptr, nullptr));
  EXPECT_TRUE(cache.save(nullptr, nullptr));
  cache.deleteCache();
  EXPECT_TRUE(cache.saveAs(path().c_str(), nullptr, nullptr));
}

TEST_F(VekRwMemCacheSaveTest, stateAfterASave) {
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  ASSERT_NE(nullptr, cache.getSample(1, 0));
  ASSERT_EQ(1, cache.cachedSampleIndex);
  cache.setName(0, "|longer");
  ASSERT_TRUE(cache.saveAs(path("other.vek").c_str()));
  expectClean();
  EXPECT_EQ(path("other.vek"), cache.getFilename());
  EXPECT_EQ(-1, cache.cachedSampleIndex);
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_EQ(dateOf(bytes("other.vek")), cache.getDateStamp());
  model.head.definitions = {definition("|longer")};
  model.sections[0].jumpRoom = 100;
  EXPECT_EQ(model.jumps(), cache.jumpTable);
  expectFile(model, "other.vek");
}

TEST_F(VekRwMemCacheSaveTest, saveKeepsKeepOpen) {
  load(oneObject({1, 2}, 1.0F, 2), false);
  cache.setName(0, "|longer");
  ASSERT_TRUE(cache.save());
  EXPECT_FALSE(cache.getKeepOpen());
}

TEST_F(VekRwMemCacheSaveTest, groupsStayValidAfterASave) {
  VekGroupChunk* first = cache.allocSample(1, 0);
  put(first, 7);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  EXPECT_EQ(first, cache.getSample(0, 0));
  VekGroupChunk* second = cache.allocSample(2, 0);
  ASSERT_TRUE(cache.save());
  EXPECT_EQ(first, cache.getSample(0, 0));
  EXPECT_EQ(second, cache.getSample(1, 0));
}

TEST_F(VekRwMemCacheSaveTest, saveAsElsewhereLeavesTheFirstFile) {
  const SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  add(cache, 4, 0, 40);
  ASSERT_TRUE(cache.appendable);
  ASSERT_TRUE(cache.saveAs(path("other.vek").c_str()));
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
  expectFile(oneObject({1, 2, 3, 4}, 1.0F, 100), "other.vek");
}

TEST_F(VekRwMemCacheSaveTest, laterSavesGoToTheNewFile) {
  const SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  ASSERT_TRUE(cache.saveAs(path("other.vek").c_str()));
  add(cache, 4, 0, 40);
  ASSERT_TRUE(cache.save());
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
  expectFile(oneObject({1, 2, 3, 4}, 1.0F, 99), "other.vek");
}

TEST_F(VekRwMemCacheSaveTest, saveAsOfACleanCacheWritesACopy) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  bool written = false;
  ASSERT_TRUE(cache.saveAs(path("other.vek").c_str(), &written));
  EXPECT_TRUE(written);
  expectFile(oneObject({1, 2, 3}, 1.0F, 100), "other.vek");
}

TEST_F(VekRwMemCacheSaveTest, saveAsOfACleanCacheUnderItsNameRewritesIt) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  bool written = false;
  ASSERT_TRUE(cache.saveAs(path().c_str(), &written));
  EXPECT_TRUE(written);
  expectFile(oneObject({1, 2, 3}, 1.0F, 100));
}

TEST_F(VekRwMemCacheSaveTest, sameFileUnderAnotherSpellingIsRewritten) {
  for (const bool keepOpen : {true, false}) {
    const std::string file = writeFile(oneObject({1, 2, 3}, 1.0F, 2).image());
    const std::string spelling = path("./file.vek");
    OpenRwCache fresh;
    ASSERT_TRUE(fresh.load(file.c_str(), keepOpen));
    add(fresh, 4, 0, 40);
    ASSERT_TRUE(fresh.appendable);
    ASSERT_TRUE(fresh.saveAs(spelling.c_str()));
    EXPECT_EQ(spelling, fresh.getFilename());
    expectFile(oneObject({1, 2, 3, 4}, 1.0F, 100));
  }
}

TEST_F(VekRwMemCacheSaveTest, rewriteLoadsEverySampleFirst) {
  for (const bool keepOpen : {true, false}) {
    load(oneObject({1, 2, 3}, 1.0F, 2), keepOpen);
    add(cache, 1.5F, 0, 7);
    ASSERT_TRUE(cache.save());
    EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 7, 20, 30));
    expectFileHoldsTheCache();
  }
}

TEST_F(VekRwMemCacheSaveTest, rewriteReplacesALongerFile) {
  writeFile(std::string(100000, 'x'));
  SavedFile model = oneObject({1}, 1.0F, 100);
  setHead({"|a"});
  add(cache, 1, 0, 10);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, evenTimesAreSavedAsUniform) {
  load(oneObject({1, 1.5F, 2}, 0.0F, 2));
  ASSERT_TRUE(cache.isNonUniform());
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  EXPECT_EQ(2.0F, cache.getRate());
  expectFile(oneObject({1, 1.5F, 2}, 2.0F, 100));
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, truncatedTimesAreSavedAsUniform) {
  load(oneObject({1, 2, 3, 5}, 0.0F, 2));
  cache.truncate(3);
  ASSERT_TRUE(cache.save());
  expectFile(oneObject({1, 2, 3}, 1.0F, 100));
}

TEST_F(VekRwMemCacheSaveTest, sampleInsertedInTheMiddleOfTwoIsSavedAsUniform) {
  load(oneObject({0, 2}, 0.5F, 2));
  add(cache, 1, 0, 10);
  ASSERT_TRUE(cache.isNonUniform());
  ASSERT_TRUE(cache.save());
  expectFile(oneObject({0, 1, 2}, 1.0F, 100));
}

TEST_F(VekRwMemCacheSaveTest, unevenTimesAreSavedAsNonUniform) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  add(cache, 1.5F, 0, 15);
  ASSERT_TRUE(cache.save());
  EXPECT_TRUE(cache.isNonUniform());
  expectFile(oneObject({1, 1.5F, 2, 3}, 0.0F, 100));
}

TEST_F(VekRwMemCacheSaveTest, truncatedTableIsSavedWithItsSamplesOnly) {
  load(oneObject({1, 2, 4, 5}, 0.0F, 2));
  cache.truncate(4);
  add(cache, 9, 0, 90);
  ASSERT_TRUE(cache.save());
  expectFile(oneObject({1, 2, 4, 9}, 0.0F, 100));
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, truncatedCacheIsSavedWithItsSamplesOnly) {
  load(oneObject({1, 2, 3, 4}, 1.0F, 2));
  cache.truncate(2);
  ASSERT_TRUE(cache.save());
  expectFile(oneObject({1, 2}, 1.0F, 100));
}

TEST_F(VekRwMemCacheSaveTest, shiftedUniformCacheIsSavedAtItsNewTimes) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  cache.shiftFirstTimeTo(10);
  ASSERT_TRUE(cache.save());
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 100);
  model.head.firstTime = 10.0F;
  model.head.lastTime = 12.0F;
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, shiftedNonUniformCacheIsRefusedByLoad) {
  load(oneObject({1, 2, 4}, 0.0F, 2));
  cache.shiftFirstTimeTo(11);
  ASSERT_TRUE(cache.save());
  SavedFile model = oneObject({1, 2, 4}, 0.0F, 100);
  model.sections[0].times = {11, 12, 14};
  expectFile(model);
  Vek::VekCache read;
  const std::string text = captureStdout([&] { EXPECT_FALSE(read.load(path().c_str())); });
  EXPECT_EQ("first time is wrong", reportedMessage(text, "VekCache:", " "));
}

TEST_F(VekRwMemCacheSaveTest, reserveIsAsAskedForAndAtLeastAHundred) {
  const struct {
    int reserved, samples;
    std::int64_t expected;
  } cases[] = {{0, 1, 100},   {0, 50, 100}, {0, 51, 102},   {0, 60, 120},
               {1, 1, 100},   {99, 1, 100}, {101, 1, 101},  {150, 60, 150},
               {99, 60, 100}, {-1, 1, 100}, {-300, 60, 100}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.reserved << " of " << c.samples);
    for (const bool uniform : {true, false}) {
      OpenRwCache fresh;
      fresh.setReservedSamples(c.reserved);
      for (int s = 1; s < c.samples; ++s) add(fresh, static_cast<float>(s), 0, 1);
      add(fresh, static_cast<float>(uniform ? c.samples : c.samples + 7), 0, 1);
      ASSERT_TRUE(fresh.saveAs(path().c_str()));
      EXPECT_EQ(8 * c.expected, freeLengthBehind(bytes(), "JSAM"));
      EXPECT_EQ(!fresh.isNonUniform() ? -1 : 4 * c.expected, freeLengthBehind(bytes(), "TIMS"));
    }
  }
}

TEST_F(VekRwMemCacheSaveTest, definitionsAddedLaterAreAbsentInStoredSamples) {
  load(oneObject({1, 2}, 1.0F, 2));
  cache.setName(1, "|b");
  add(cache, 2, 1, 5);
  ASSERT_TRUE(cache.save());
  SavedFile model = objects({"|a", "|b"}, 100);
  model.add(1, {posi(10), ByteImage()});
  model.add(2, {posi(20), posi(5)});
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, rewriteIsQuiet) {
  EXPECT_EQ("", captureStdout([&] {
              EXPECT_EQ("", captureStderr([&] {
                          add(cache, 1, 0, 10);
                          EXPECT_TRUE(cache.saveAs(path().c_str()));
                          add(cache, 2, 0, 20);
                          EXPECT_TRUE(cache.save());
                          EXPECT_FALSE(cache.append());
                          EXPECT_FALSE(cache.saveAs(path("missing/file.vek").c_str()));
                        }));
            }));
}

// ---- a cache without objects ----

TEST_F(VekRwMemCacheSaveTest, saveAsWithoutObjectsDeletesTheFile) {
  writeFile("anything");
  cache.dirty = true;
  cache.appendable = true;
  expectSaveAs(path(), Saved::Removed);
  EXPECT_FALSE(std::filesystem::exists(path()));
  expectClean();
  EXPECT_EQ("", cache.getFilename());
}

TEST_F(VekRwMemCacheSaveTest, saveAsWithoutObjectsAndFileDoesNothing) {
  expectSaveAs(path(), Saved::Nothing);
  EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(VekRwMemCacheSaveTest, saveAsWithoutObjectsClosesTheFileAndEmptiesTheTables) {
  SavedFile model;
  model.head.rate = 0.0F;
  for (const float t : {1.0F, 2.0F, 4.0F}) model.add(t, {});
  load(model);
  ASSERT_TRUE(cache.file.isOpen());
  ASSERT_EQ(3U, cache.jumpTable.size());
  ASSERT_EQ(3U, cache.timeTable.size());
  bool removed = false;
  EXPECT_TRUE(cache.saveAs(path().c_str(), nullptr, &removed));
  EXPECT_TRUE(removed);
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_TRUE(cache.jumpTable.empty());
  EXPECT_TRUE(cache.timeTable.empty());
}

TEST_F(VekRwMemCacheSaveTest, deletionThatFailsIsReportedInRemovedOnly) {
  std::filesystem::create_directories(path("folder/inner"));
  expectSaveAs(path("folder"), Saved::Nothing);
  EXPECT_TRUE(std::filesystem::exists(path("folder/inner")));
}

TEST_F(VekRwMemCacheSaveTest, saveOfADeletedCacheRemovesItsFile) {
  load(oneObject({1, 2}, 1.0F, 2));
  cache.setName(0, "|b");
  cache.deleteCache();
  expectSave(Saved::Removed);
  EXPECT_FALSE(std::filesystem::exists(path()));
  expectClean();
}

TEST_F(VekRwMemCacheSaveTest, saveOfADeletedCleanCacheDoesNothing) {
  const SavedFile model = oneObject({1, 2}, 1.0F, 2);
  load(model);
  cache.deleteCache();
  expectSave(Saved::Nothing);
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
}

// ---- save ----

TEST_F(VekRwMemCacheSaveTest, saveOfACleanCacheDoesNothing) {
  const SavedFile model = oneObject({1, 2}, 1.0F, 2);
  load(model);
  expectSave(Saved::Nothing);
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
  EXPECT_TRUE(cache.file.isOpen());
}

TEST_F(VekRwMemCacheSaveTest, saveOfAnEmptyNewCacheDoesNothing) {
  EXPECT_TRUE(cache.save());
}

TEST_F(VekRwMemCacheSaveTest, fieldsOfTheHeadAloneAreNotSaved) {
  const SavedFile model = oneObject({1, 2}, 1.0F, 2);
  load(model);
  cache.setApplication("new");
  bool written = true;
  EXPECT_TRUE(cache.save(&written));
  EXPECT_FALSE(written);
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
}

TEST_F(VekRwMemCacheSaveTest, saveWritesUnderTheNameOfTheCache) {
  load(oneObject({1, 2}, 1.0F, 2));
  cache.setName(0, "|longer");
  expectSave(Saved::Written);
  expectClean();
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, saveWithoutANameFails) {
  add(cache, 1, 0, 10);
  expectSave(Saved::Failed);
  EXPECT_TRUE(cache.isDirty());
}

// ---- failures of a rewrite ----

TEST_F(VekRwMemCacheSaveTest, failedSaveAsLeavesTheCacheWholeAndDirty) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  add(cache, 4, 0, 40);
  std::filesystem::create_directory(path("folder"));
  for (const std::string& bad : {path("missing/file.vek"), path("folder"), std::string()}) {
    SCOPED_TRACE(bad);
    expectSaveAs(bad, Saved::Failed);
    EXPECT_TRUE(cache.isDirty());
    EXPECT_EQ(path(), cache.getFilename());
    EXPECT_FALSE(cache.file.isOpen());
    EXPECT_THAT(timesOf(cache), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 30, 40));
  }
  ASSERT_TRUE(cache.saveAs(path("good.vek").c_str()));
  expectClean();
  expectFile(oneObject({1, 2, 3, 4}, 1.0F, 100), "good.vek");
}

TEST_F(VekRwMemCacheSaveTest, saveAsOfANullNameFails) {
  add(cache, 1, 0, 10);
  EXPECT_FALSE(cache.saveAs(nullptr));
  EXPECT_TRUE(cache.isDirty());
  EXPECT_EQ(10.0F, valueOf(cache, 0, 0));
}

TEST_F(VekRwMemCacheSaveTest, samplesThatCannotBeReadAreNotOverwritten) {
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  const auto sobj = static_cast<std::size_t>(model.jumps()[1]) + 40;
  std::string damaged = model.bytes();
  ASSERT_EQ("SOBJ", damaged.substr(sobj, 4));
  damaged[sobj] = 'X';
  load(ByteImage().raw(damaged));
  cache.setName(0, "|longer");
  EXPECT_FALSE(cache.save());
  EXPECT_TRUE(cache.isDirty());
  EXPECT_TRUE(sameBytes(damaged, bytes()));
}

TEST_F(VekRwMemCacheSaveTest, samplesOfAFileThatIsGoneAreNotReplacedByEmptyOnes) {
  load(oneObject({1, 2, 3}, 1.0F, 2), false);
  ASSERT_NE(nullptr, cache.getSample(0, 0));
  add(cache, 4, 0, 40);
  std::filesystem::remove(path());
  EXPECT_FALSE(cache.save());
  EXPECT_TRUE(cache.isDirty());
  EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(VekRwMemCacheSaveTest, fileThatIsGoneIsWrittenAnewFromMemory) {
  load(oneObject({1, 2, 3}, 1.0F, 2), false);
  for (int s = 0; s < 3; ++s) ASSERT_NE(nullptr, cache.getSample(s, 0));
  add(cache, 4, 0, 40);
  std::filesystem::remove(path());
  EXPECT_FALSE(cache.append());
  EXPECT_FALSE(std::filesystem::exists(path()));
  ASSERT_TRUE(cache.save());
  expectFile(oneObject({1, 2, 3, 4}, 1.0F, 100));
}

}  // namespace
