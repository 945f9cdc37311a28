// SPDX-License-Identifier: Apache-2.0
//
// What an append to the file of a cache refuses: the cases that need the whole file written anew.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>

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

// ---- what an append refuses ----

TEST_F(VekRwMemCacheSaveTest, appendOfACleanCacheIsFalse) {
  const SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
  expectClean();
}

TEST_F(VekRwMemCacheSaveTest, appendWithoutObjectsIsFalse) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  const std::string before = bytes();
  cache.deleteCache();
  cache.appendable = true;
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(sameBytes(before, bytes()));
}

TEST_F(VekRwMemCacheSaveTest, appendWithoutANameIsFalse) {
  add(cache, 1, 0, 10);
  add(cache, 2, 0, 20);
  ASSERT_TRUE(cache.appendable);
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(cache.isDirty());
}

#if !defined(_WIN32)
// What was in the file is in memory only, although no edit is waiting to be saved.
TEST_F(VekRwMemCacheSaveTest, failedSaveOverItsOwnFileLeavesACacheWithoutEditsDirty) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  const float third = valueOf(cache, 2, 0);
  ASSERT_FALSE(cache.isDirty());
  {
    const FileSizeLimit limit(64);
    EXPECT_FALSE(cache.saveAs(path().c_str()));
  }
  EXPECT_TRUE(cache.isDirty());
  EXPECT_FALSE(cache.appendable);
  EXPECT_TRUE(cache.save());
  Vek::VekRoMemCache saved(path().c_str());
  EXPECT_EQ(saved.getNumSamples(), 3);
  EXPECT_EQ(valueOf(saved, 2, 0), third);
}
#endif

#if !defined(_WIN32)
TEST_F(VekRwMemCacheSaveTest, appendToAReadOnlyFileIsFalse) {
  const SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  writeFile(model.image());
  std::filesystem::permissions(path(), std::filesystem::perms(0444));
  EXPECT_TRUE(asOrdinaryUser([&] {
    OpenRwCache readOnly(path().c_str());
    add(readOnly, 4, 0, 40);
    return readOnly.appendable && !readOnly.append() && !readOnly.save() && readOnly.isDirty();
  }));
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
}
#endif

TEST_F(VekRwMemCacheSaveTest, editedSampleNeedsARewrite) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  VekGroupChunk* sobj = cache.allocSample(2, 0);
  ASSERT_NE(nullptr, sobj);
  sobj->reset();
  put(sobj, 5);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 5, 30));
}

TEST_F(VekRwMemCacheSaveTest, editedSampleBeforeANewOneNeedsARewrite) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  VekGroupChunk* sobj = cache.allocSample(2, 0);
  ASSERT_NE(nullptr, sobj);
  sobj->reset();
  put(sobj, 5);
  add(cache, 4, 0, 40);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 5, 30, 40));
}

TEST_F(VekRwMemCacheSaveTest, insertedSampleNeedsARewrite) {
  for (const float time : {0.0F, 1.5F}) {
    load(oneObject({1, 2, 3}, 1.0F, 2));
    add(cache, time, 0, 5);
    expectAppendRefused();
  }
}

TEST_F(VekRwMemCacheSaveTest, insertedSampleBeforeANewOneNeedsARewrite) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  add(cache, 0, 0, 5);
  add(cache, 4, 0, 40);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(5, 10, 20, 30, 40));
}

TEST_F(VekRwMemCacheSaveTest, truncationBeforeANewSampleNeedsARewrite) {
  load(oneObject({1, 2, 3}, 1.0F, 5));
  cache.truncate(2);
  for (const float t : {3.0F, 4.0F, 5.0F}) add(cache, t, 0, -t);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, -3, -4, -5));
}

TEST_F(VekRwMemCacheSaveTest, secondObjectOfANewSampleNeedsARewrite) {
  SavedFile model = objects({"|a", "|b"}, 2);
  model.add(1, {posi(1), posi(2)});
  load(model);
  add(cache, 2, 0, 3);
  add(cache, 2, 1, 4);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 1), ElementsAre(2, 4));
}

TEST_F(VekRwMemCacheSaveTest, samplesAfterARewriteAreAppendedAgain) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  add(cache, 1, 0, 5);
  ASSERT_TRUE(cache.save());
  add(cache, 4, 0, 40);
  ASSERT_TRUE(cache.appendable);
  ASSERT_TRUE(cache.append());
  EXPECT_EQ(792, freeLengthBehind(bytes(), "JSAM"));
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, deletedAndRefilledCacheKeepsNothingOfTheFile) {
  const std::pair<const char*, std::function<void(OpenRwCache&)>> ways[] = {
      {"deleteCache", [](OpenRwCache& c) { c.deleteCache(); }},
      {"truncate", [](OpenRwCache& c) { c.truncate(0); }}};
  for (const auto& [name, empty] : ways) {
    SCOPED_TRACE(name);
    load(oneObject({1, 2, 3}, 1.0F, 20));
    empty(cache);
    setHead({"|a"});
    for (const float t : {1.0F, 2.0F, 3.0F, 4.0F, 5.0F}) add(cache, t, 0, -t);
    ASSERT_TRUE(cache.save());
    expectFileHoldsTheCache();
    EXPECT_THAT(valuesOf(cache, 0), ElementsAre(-1, -2, -3, -4, -5));
    Vek::VekRoMemCache read(path().c_str());
    EXPECT_THAT(valuesOf(read, 0), ElementsAre(-1, -2, -3, -4, -5));
  }
}

TEST_F(VekRwMemCacheSaveTest, shiftOfANonUniformCacheIsSavedWithANewSample) {
  for (const bool shiftFirst : {true, false}) {
    OpenRwCache fresh;
    ASSERT_TRUE(fresh.load(writeFile(oneObject({1, 2, 4}, 0.0F, 2).image()).c_str()));
    if (shiftFirst) fresh.shiftFirstTimeTo(11);
    add(fresh, 20, 0, 5);
    if (!shiftFirst) fresh.shiftFirstTimeTo(11);
    ASSERT_TRUE(fresh.save());
    const std::string after = bytes();
    const std::size_t tims = after.find("TIMS");
    ASSERT_NE(std::string::npos, tims);
    const ByteImage expected =
        shiftFirst ? floatChunk("TIMS", {11, 12, 14, 20}) : floatChunk("TIMS", {11, 12, 14, 30});
    EXPECT_TRUE(sameBytes(expected.bytes(), after.substr(tims, expected.size())));
  }
}

/// Heads whose computed length differs from what the file holds.
struct HeadCase {
  const char* name;
  std::function<void(SavedFile&)> file;
  std::function<void(OpenRwCache&)> edit;
};

void noFileChange(SavedFile&) {}
void noEdit(OpenRwCache&) {}

class VekRwMemCacheHeadTest : public VekRwMemCacheSaveTest,
                              public ::testing::WithParamInterface<HeadCase> {};

TEST_P(VekRwMemCacheHeadTest, headThatDoesNotFitNeedsARewrite) {
  SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  GetParam().file(model);
  load(model);
  GetParam().edit(cache);
  add(cache, 4, 0, 40);
  ASSERT_TRUE(cache.appendable);
  expectAppendRefused();
}

const HeadCase headCases[] = {
    {"longerApplication", noFileChange, [](OpenRwCache& c) { c.setApplication("longer"); }},
    {"shorterApplication", noFileChange, [](OpenRwCache& c) { c.setApplication("a"); }},
    {"longerSourceFile", noFileChange, [](OpenRwCache& c) { c.setSourceFile("longer"); }},
    {"longerName", noFileChange, [](OpenRwCache& c) { c.setName(0, "|longer"); }},
    {"shorterName", noFileChange, [](OpenRwCache& c) { c.setName(0, "a"); }},
    {"newDefinition", noFileChange, [](OpenRwCache& c) { c.setName(1, "|b"); }},
    {"newAttribute", noFileChange,
     [](OpenRwCache& c) { c.metadata.dobjs[0]->addAttr(true, "n", "t", Vek::ValueType::Float); }},
    {"noApplicationInTheFile", [](SavedFile& m) { m.head.application.clear(); }, noEdit},
    {"noSourceFileInTheFile", [](SavedFile& m) { m.head.sourceFile.clear(); }, noEdit},
    {"noDateInTheFile", [](SavedFile& m) { m.head.date = 0; }, noEdit},
    {"applicationOnlyInTheCache", [](SavedFile& m) { m.head.application.clear(); },
     [](OpenRwCache& c) { c.setApplication("app"); }},
    {"unknownChunkInTheHead", [](SavedFile& m) { m.head.more = int64Chunk("XTRA", 5); }, noEdit},
    {"objectWithoutAName", [](SavedFile& m) { m.head.definitions = {group("DOBJ", ByteImage())}; },
     noEdit},
    // From here on the computed length equals the file's, while the true one does not.
    {"applicationMovedToTheSourceFile", noFileChange,
     [](OpenRwCache& c) {
       c.setApplication("");
       c.setSourceFile("appsrc");
     }},
    {"applicationGrownByTheLengthOfAnUnknownChunk",
     [](SavedFile& m) { m.head.more = int64Chunk("XTRA", 5); },
     [](OpenRwCache& c) { c.setApplication("app" + std::string(24, 'x')); }},
    {"valuesOfAnAttributeGrownBehindItsBack",
     [](SavedFile& m) {
       m.head.definitions = {definition(
           "|a",
           group("DATR",
                 join({group("SATR", join({textChunk("NAME", {"n"}), textChunk("TYPE", {"t"})})),
                       group("ATRS", floatChunk("ATTR", {1}))})))};
     },
     [](OpenRwCache& c) {
       auto* leaf = Vek::asLeaf<float>(c.metadata.dobjs[0]->getDATR()->getStaticData(0));
       ASSERT_NE(nullptr, leaf);
       leaf->data.assign(500, 2.0F);
     }}};

INSTANTIATE_TEST_SUITE_P(Heads, VekRwMemCacheHeadTest, ::testing::ValuesIn(headCases),
                         [](const auto& which) { return std::string(which.param.name); });

TEST_F(VekRwMemCacheSaveTest, definitionAddedWithANewSampleNeedsARewrite) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  add(cache, 4, 1, 5);
  ASSERT_TRUE(cache.appendable);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 30, -1));
  EXPECT_THAT(valuesOf(cache, 1), ElementsAre(-1, -1, -1, 5));
}

TEST_F(VekRwMemCacheSaveTest, uniformFileCannotTakeANonUniformCache) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  add(cache, 5, 0, 50);
  ASSERT_TRUE(cache.appendable);
  expectAppendRefused();
  EXPECT_TRUE(cache.isNonUniform());
}

TEST_F(VekRwMemCacheSaveTest, fileWithTimesCannotTakeAUniformCache) {
  load(oneObject({1, 2}, 0.0F, 2));
  add(cache, 3, 0, 30);
  ASSERT_TRUE(cache.appendable);
  expectAppendRefused();
  EXPECT_FALSE(cache.isNonUniform());
}

TEST_F(VekRwMemCacheSaveTest, fileWithOneTimeCannotTakeASecondSample) {
  load(oneObject({4}, 0.0F, 2));
  add(cache, 6, 0, 60);
  ASSERT_TRUE(cache.appendable);
  expectAppendRefused();
  EXPECT_EQ(0.5F, cache.getRate());
}

TEST_F(VekRwMemCacheSaveTest, differentRoomBehindTheTablesNeedsARewrite) {
  for (const std::int64_t timeRoom : {4, 6, 200}) {
    SCOPED_TRACE(timeRoom);
    SavedFile model = oneObject({1, 2, 4}, 0.0F, 5);
    model.sections[0].timeRoom = timeRoom;
    load(model);
    add(cache, 7, 0, 70);
    expectAppendRefused();
  }
}

TEST_F(VekRwMemCacheSaveTest, timesWithoutRoomMakeTheAppendFail) {
  // The jump table has free slots, the time table none.
  SavedFile model = oneObject({1, 2, 4}, 0.0F, 5);
  model.sections[0].timeRoom = -1;
  load(model);
  add(cache, 7, 0, 70);
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(cache.isDirty());
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 40, 70));
  expectRewritten();
}

TEST_F(VekRwMemCacheSaveTest, timesBehindTheJumpTableNeedARewrite) {
  SavedFile model = oneObject({1, 2, 4}, 0.0F, 5);
  model.sections[0].jumpsFirst = true;
  load(model);
  add(cache, 7, 0, 70);
  expectAppendRefused();
}

// Nothing in the cache tells then that the file has times.
TEST_F(VekRwMemCacheSaveTest, timesBehindTheJumpTableNeedARewriteOfEvenTimes) {
  SavedFile model = oneObject({1}, 0.0F, 5);
  model.sections[0].jumpsFirst = true;
  load(model);
  add(cache, 2, 0, 20);
  expectAppendRefused();
  EXPECT_EQ(1.0F, cache.getRate());
}

// Readers look for the end of the tables up to the end of the file.
TEST_F(VekRwMemCacheSaveTest, sectionWithoutItsSamplesNeedsARewriteWhenItIsFull) {
  const SavedFile model = oneObject({1, 2, 3}, 1.0F, 0);
  std::string damaged = model.bytes();
  const auto first = static_cast<std::size_t>(model.jumps()[0]);
  const std::size_t size = damaged.size() - first;
  damaged.replace(first, size, std::string(size, 'X'));
  load(ByteImage().raw(damaged));
  add(cache, 4, 0, 40);
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(sameBytes(damaged, bytes()));
}

TEST_F(VekRwMemCacheSaveTest, sectionBeforeTheHeadNeedsARewrite) {
  const SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  // The sections move by the 16 bytes of an empty one before META.
  ByteImage file = ByteImage().raw(model.bytes().substr(0, 24)).header("SAMS", 1, 0);
  const ByteImage head = savedHeadImage(model.head);
  file.raw(head.bytes().substr(24));
  addSection(file, model.sections[0]);
  load(file);
  add(cache, 4, 0, 40);
  expectAppendRefused();
}

TEST_F(VekRwMemCacheSaveTest, chunksOtherThanHeadAndSectionsAreSkipped) {
  const SavedFile model = oneObject({1, 2, 3}, 1.0F, 2);
  SavedHead grown = model.head;
  grown.numSamples = 4;
  grown.lastTime = 4.0F;
  Section longer = model.sections[0];
  longer.objects.push_back({posi(40)});
  longer.jumpRoom = 1;
  const ByteImage between = join({group("XGRP", posi(1)), int64Chunk("XTRA", 5)});
  const auto build = [&](const SavedHead& head, const Section& section) {
    const std::string headBytes = savedHeadImage(head).bytes();
    ByteImage file = ByteImage().raw(headBytes.substr(0, 24)).raw(between);
    file.raw(headBytes.substr(24)).raw(between);
    addSection(file, section);
    return file;
  };
  load(build(model.head, model.sections[0]));
  add(cache, 4, 0, 40);
  ASSERT_TRUE(cache.append());
  grown.date = dateOf(bytes());
  EXPECT_TRUE(sameBytes(build(grown, longer).bytes(), bytes()));
}

TEST_F(VekRwMemCacheSaveTest, chunkBehindTheSectionsDoesNoHarm) {
  for (const std::int64_t room : {2, 0, -1}) {
    SCOPED_TRACE(room);
    ByteImage file = oneObject({1, 2, 3}, 1.0F, room).image();
    file.raw(group("TAIL", posi(1)));
    load(file);
    add(cache, 4, 0, 40);
    ASSERT_TRUE(cache.save());
    expectFileHoldsTheCache();
    add(cache, 5, 0, 50);
    ASSERT_TRUE(cache.save());
    expectFileHoldsTheCache();
  }
}

TEST_F(VekRwMemCacheSaveTest, fileThatGrewMeanwhileNeedsARewrite) {
  load(oneObject({1, 2, 3}, 1.0F, 5));
  {
    OpenRwCache other(path().c_str());
    add(other, 4, 0, 40);
    ASSERT_TRUE(other.append());
  }
  add(cache, 4, 0, 44);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 30, 44));
}

TEST_F(VekRwMemCacheSaveTest, fileDamagedMeanwhileNeedsARewrite) {
  const SavedFile model = oneObject({1, 2, 3}, 1.0F, 5);
  const std::string whole = model.bytes();
  const struct {
    const char* name;
    std::size_t at;
    std::string patch;
  } damages[] = {{"tag of the file header", 0, "ZZZZ"},
                 {"length of the file header", 8, std::string(1, '\x09')},
                 {"tag of the head", 24, "ZZZZ"},
                 {"tag of the section", whole.find("SAMS"), "ZZZZ"},
                 {"length of the head", 32, std::string(1, '\x7F')}};
  for (const auto& damage : damages) {
    SCOPED_TRACE(damage.name);
    load(model);
    add(cache, 4, 0, 40);
    overwrite(path(), damage.at, damage.patch);
    expectAppendRefused();
  }
}

TEST_F(VekRwMemCacheSaveTest, fileThatLostItsJumpTableMeanwhileIsWrittenAnew) {
  for (const bool inMemory : {false, true}) {
    SCOPED_TRACE(inMemory);
    const SavedFile model = oneObject({1, 2, 3}, 1.0F, 5);
    load(model);
    if (inMemory) valuesOf(cache, 0);
    add(cache, 4, 0, 40);
    overwrite(path(), model.bytes().find("JSAM"), "ZZZZ");
    ASSERT_TRUE(cache.save());
    expectFileHoldsTheCache();
    EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 30, 40));
  }
}

TEST_F(VekRwMemCacheSaveTest, fileWithoutASectionNeedsARewrite) {
  SavedFile model = headOnly();
  load(model);
  add(cache, 1, 0, 10);
  add(cache, 2, 0, 20);
  ASSERT_TRUE(cache.appendable);
  expectAppendRefused();
}

TEST_F(VekRwMemCacheSaveTest, cacheIsSavedElsewhereAfterAnAppendWasRefused) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  cache.setName(0, "|longer");
  add(cache, 4, 0, 40);
  EXPECT_FALSE(cache.append());
  ASSERT_TRUE(cache.saveAs(path("other.vek").c_str()));
  expectFileHoldsTheCache("other.vek");
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 30, 40));
}

}  // namespace
