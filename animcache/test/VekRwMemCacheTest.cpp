// SPDX-License-Identifier: Apache-2.0
//
// Editing a cache: what an edit does to the flags, conversions of the sampling, shifting in time,
// truncation, and names. Allocating samples and saving have tests of their own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>

#include "ByteImage.h"
#include "OpenRwCache.h"
#include "RwCacheTest.h"
#include "SceneImage.h"
#include "VekCache.h"

namespace {

using namespace VekTest;
using ::testing::ElementsAre;
using Vek::VekGroupChunk;
namespace Tag = Vek::Tag;

// ---- construction ----

TEST_F(VekRwMemCacheTest, newCacheIsCleanAndEmpty) {
  expectFlags(false, false);
  EXPECT_EQ(0, cache.reservedSamples);
  EXPECT_EQ(1, cache.openMode);
  EXPECT_EQ(0, cache.getNumSamples());
  EXPECT_EQ(0, cache.getNumObjects());
  EXPECT_TRUE(cache.getKeepOpen());
  EXPECT_EQ("", cache.getFilename());
}

TEST_F(VekRwMemCacheTest, loadingConstructorLeavesTheCacheClean) {
  writeFile(sceneImage({1, 2, 3}, 1.0F));
  bool ok = false;
  OpenRwCache loaded(path().c_str(), false, &ok);
  EXPECT_TRUE(ok);
  EXPECT_FALSE(loaded.dirty);
  EXPECT_FALSE(loaded.appendable);
  EXPECT_EQ(0, loaded.reservedSamples);
  EXPECT_EQ(1, loaded.openMode);
  EXPECT_EQ(3, loaded.getNumSamples());
  EXPECT_FALSE(loaded.getKeepOpen());
  EXPECT_EQ(path(), loaded.getFilename());
}

TEST_F(VekRwMemCacheTest, loadingConstructorReportsFailure) {
  bool ok = true;
  const std::string text =
      captureStdout([&] { OpenRwCache(path("missing.vek").c_str(), true, &ok); });
  EXPECT_FALSE(ok);
  EXPECT_EQ("error opening file, Not a Vek file", reportedMessage(text, "VekCache:", " "));
}

TEST_F(VekRwMemCacheTest, cacheOfAFailedLoadCanBeFilled) {
  captureStdout([&] {
    OpenRwCache empty(path("missing.vek").c_str());
    EXPECT_NE(nullptr, empty.allocSample(1, 0));
    EXPECT_EQ(1, empty.getNumSamples());
  });
}

#if !defined(_WIN32)
TEST_F(VekRwMemCacheTest, constructorOpensForReadingAndLaterOpensForUpdate) {
  writeFile(sceneImage({1, 2, 3}, 1.0F));
  std::filesystem::permissions(path(), std::filesystem::perms(0444));
  EXPECT_TRUE(asOrdinaryUser([&] {
    OpenRwCache readOnly(path().c_str());
    return valueOf(readOnly, 0, 0) == stored(0, 0);
  }));
  // Opening again asks for permission to write.
  EXPECT_TRUE(asOrdinaryUser([&] {
    OpenRwCache readOnly(path().c_str());
    return readOnly.close() && readOnly.getSample(0, 0) == nullptr;
  }));
}

TEST_F(VekRwMemCacheTest, loadOfAReadOnlyFileSucceeds) {
  writeFile(sceneImage({1, 2, 3}, 1.0F));
  std::filesystem::permissions(path(), std::filesystem::perms(0444));
  EXPECT_TRUE(asOrdinaryUser([&] {
    OpenRwCache readOnly;
    return readOnly.load(path().c_str()) && valueOf(readOnly, 2, 1) == stored(2, 1);
  }));
}
#endif

TEST_F(VekRwMemCacheTest, resetKeepsTheOpenMode) {
  loadUniform();
  cache.reset();
  EXPECT_EQ(1, cache.openMode);
}

TEST_F(VekRwMemCacheTest, setMaxSamplesIsIgnored) {
  loadUniform();
  cache.setMaxSamples(1);
  EXPECT_EQ(0, cache.getMaxSamples());
}

TEST_F(VekRwMemCacheTest, limitGivenToLoadNeverEvicts) {
  writeFile(sceneImage({1, 2, 3}, 1.0F));
  ASSERT_TRUE(cache.load(path().c_str(), true, 1));
  const VekGroupChunk* first = cache.getSample(0, 0);
  ASSERT_NE(nullptr, first);
  EXPECT_NE(nullptr, cache.getSample(1, 0));
  EXPECT_NE(nullptr, cache.getSample(2, 0));
  EXPECT_TRUE(cache.recentSamples.empty());
  EXPECT_EQ(first, cache.getSample(0, 0));
  cache.setMaxSamples(0);
  EXPECT_EQ(first, cache.getSample(0, 0));
}

TEST_F(VekRwMemCacheTest, setReservedSamplesStoresTheNumber) {
  cache.setReservedSamples(7);
  EXPECT_EQ(7, cache.reservedSamples);
  expectFlags(false, false);
}

// ---- the flags ----

TEST_F(VekRwMemCacheTest, firstSampleIsDirtyAndNotAppendable) {
  cache.setName(0, "|a");
  cache.dirty = false;
  cache.appendable = true;
  allocAt(cache, {1});
  expectFlags(true, false);
}

TEST_F(VekRwMemCacheTest, sampleAfterTheLastIsAppendable) {
  loadUniform();
  allocAt(cache, {4});
  expectFlags(true, true);
  allocAt(cache, {5});
  expectFlags(true, true);
}

TEST_F(VekRwMemCacheTest, sampleThatMakesTheCacheNonUniformIsAppendable) {
  loadUniform();
  allocAt(cache, {9});
  expectFlags(true, true);
}

TEST_F(VekRwMemCacheTest, sampleNotAfterTheLastIsNotAppendable) {
  for (const float time : {0.0F, 1.0F, 1.5F, 2.0F, 3.0F}) {
    SCOPED_TRACE(time);
    OpenRwCache fresh;
    loadUniform(fresh);
    allocAt(fresh, {time});
    expectFlags(fresh, true, false);
  }
}

TEST_F(VekRwMemCacheTest, secondObjectOfANewSampleIsNotAppendable) {
  loadUniform();
  allocAt(cache, {4});
  expectFlags(true, true);
  ASSERT_NE(nullptr, cache.allocSample(4, 1));
  expectFlags(true, false);
}

TEST_F(VekRwMemCacheTest, existingGroupOfANewSampleIsNotAppendableEither) {
  loadUniform();
  allocAt(cache, {4, 4});
  expectFlags(true, false);
}

TEST_F(VekRwMemCacheTest, definitionAddedAtAnExistingSampleIsNotAppendable) {
  loadUniform();
  cache.appendable = true;
  ASSERT_NE(nullptr, cache.allocSample(3, 2));
  expectFlags(true, false);
}

TEST_F(VekRwMemCacheTest, definitionAndLastSampleInOneCallAreAppendable) {
  loadUniform();
  ASSERT_NE(nullptr, cache.allocSample(4, 2));
  expectFlags(true, true);
}

TEST_F(VekRwMemCacheTest, newLastSampleAfterAnEditOfAStoredSampleIsNotAppendable) {
  const std::pair<const char*, std::function<void(OpenRwCache&)>> edits[] = {
      {"edited", [](OpenRwCache& c) { c.allocSample(2, 0); }},
      {"edited last", [](OpenRwCache& c) { c.allocSample(3, 1); }},
      {"new object in a stored sample", [](OpenRwCache& c) { c.allocSample(2, 2); }},
      {"inserted", [](OpenRwCache& c) { c.allocSample(2.5F, 0); }},
      {"inserted in front", [](OpenRwCache& c) { c.allocSample(0, 0); }},
      {"truncated", [](OpenRwCache& c) { c.truncate(2); }}};
  for (const auto& [name, edit] : edits) {
    SCOPED_TRACE(name);
    OpenRwCache fresh;
    loadUniform(fresh);
    edit(fresh);
    expectFlags(fresh, true, false);
    allocAt(fresh, {4});
    expectFlags(fresh, true, false);
    allocAt(fresh, {5});
    expectFlags(fresh, true, false);
  }
}

TEST_F(VekRwMemCacheTest, editOfAnUnsavedSampleDoesNotKeepALaterOneFromBeingAppendable) {
  loadUniform();
  allocAt(cache, {4});
  ASSERT_NE(nullptr, cache.allocSample(4, 1));
  expectFlags(true, false);
  allocAt(cache, {5});
  expectFlags(true, true);
}

TEST_F(VekRwMemCacheTest, secondSampleOfANewCacheIsAppendable) {
  allocAt(cache, {1});
  expectFlags(true, false);
  allocAt(cache, {2});
  expectFlags(true, true);
}

TEST_F(VekRwMemCacheTest, namesAndShiftsLeaveAppendableAsItWas) {
  const std::pair<const char*, std::function<void(OpenRwCache&)>> edits[] = {
      {"setName", [](OpenRwCache& c) { c.setName(0, "|new"); }},
      {"setName of a new object", [](OpenRwCache& c) { c.setName(4, "|new"); }},
      {"setAttrName", [](OpenRwCache& c) { c.setAttrName(0, 0, "new"); }},
      {"setAttrType", [](OpenRwCache& c) { c.setAttrType(0, 0, "new"); }},
      {"shiftFirstTimeTo", [](OpenRwCache& c) { c.shiftFirstTimeTo(10); }}};
  for (const auto& [name, edit] : edits) {
    for (const bool before : {false, true}) {
      SCOPED_TRACE(name);
      OpenRwCache fresh;
      loadUniform(fresh);
      fresh.metadata.dobjs[0]->addAttr(true, "n", "t", Vek::ValueType::Float);
      fresh.appendable = before;
      edit(fresh);
      expectFlags(fresh, true, before);
    }
  }
}

TEST_F(VekRwMemCacheTest, shiftOfANonUniformCacheLeavesAppendableAsItWas) {
  loadNonUniform();
  cache.appendable = true;
  cache.shiftFirstTimeTo(10);
  expectFlags(true, true);
}

TEST_F(VekRwMemCacheTest, namesDoNotKeepALastSampleFromBeingAppendable) {
  loadUniform();
  cache.setName(0, "|c");
  expectFlags(true, false);
  allocAt(cache, {4});
  expectFlags(true, true);
}

TEST_F(VekRwMemCacheTest, headFieldsDoNotTouchTheFlags) {
  cache.setApplication("application");
  cache.setSourceFile("source");
  cache.setSpace(0);
  expectFlags(false, false);
  EXPECT_EQ("application", cache.getApplication());
  EXPECT_EQ("source", cache.getSourceFile());
  EXPECT_EQ(0, cache.getSpace());
  cache.appendable = true;
  cache.setSpace(1);
  expectFlags(false, true);
}

TEST_F(VekRwMemCacheTest, gettersDoNotTouchTheFlags) {
  loadUniform();
  cache.getSample(1, 1);
  cache.getObjectData(0, 0, Tag::POSI, nullptr);
  cache.getNumVertices(0, 0);
  EXPECT_EQ(0, cache.getSampleIndex(1));
  expectFlags(false, false);
}

// ---- conversions ----

TEST_F(VekRwMemCacheTest, convertToNonUniformFillsTheTimeTable) {
  load(sceneImage({1, 1.5F, 2, 2.5F}, 2.0F));
  cache.convertToNonUniformSampling();
  EXPECT_EQ(0.0F, cache.getRate());
  EXPECT_THAT(cache.timeTable, ElementsAre(1.0F, 1.5F, 2.0F, 2.5F));
  EXPECT_EQ(1.0F, cache.getFirstTime());
  EXPECT_EQ(2.5F, cache.getLastTime());
}

TEST_F(VekRwMemCacheTest, convertToNonUniformDoesNothingTwice) {
  loadNonUniform();
  cache.timeTable[1] = 2.25F;
  cache.convertToNonUniformSampling();
  EXPECT_THAT(cache.timeTable, ElementsAre(1.0F, 2.25F, 3.0F, 5.0F));
}

TEST_F(VekRwMemCacheTest, convertToNonUniformOfAnEmptyCache) {
  cache.convertToNonUniformSampling();
  EXPECT_EQ(0.0F, cache.getRate());
  EXPECT_TRUE(cache.timeTable.empty());
}

TEST_F(VekRwMemCacheTest, convertToUniformIsTrueAtOnceForAUniformCache) {
  load(sceneImage({1, 1.5F, 2}, 2.0F));
  EXPECT_TRUE(cache.convertToUniformSampling());
  EXPECT_EQ(2.0F, cache.getRate());
}

TEST_F(VekRwMemCacheTest, convertToUniformOfEvenTimes) {
  load(sceneImage({1, 1.25F, 1.5F, 1.75F}, 0.0F));
  EXPECT_TRUE(cache.convertToUniformSampling());
  EXPECT_EQ(4.0F, cache.getRate());
  EXPECT_TRUE(cache.timeTable.empty());
  EXPECT_THAT(timesOf(cache), ElementsAre(1.0F, 1.25F, 1.5F, 1.75F));
}

TEST_F(VekRwMemCacheTest, convertToUniformOfTwoTimes) {
  load(sceneImage({3, 11}, 0.0F));
  EXPECT_TRUE(cache.convertToUniformSampling());
  EXPECT_EQ(0.125F, cache.getRate());
}

TEST_F(VekRwMemCacheTest, convertToUniformRefusesUnevenTimes) {
  loadNonUniform();
  EXPECT_FALSE(cache.convertToUniformSampling());
  EXPECT_EQ(0.0F, cache.getRate());
  EXPECT_THAT(cache.timeTable, ElementsAre(1.0F, 2.0F, 3.0F, 5.0F));
}

TEST_F(VekRwMemCacheTest, convertToUniformComparesExactly) {
  // The steps are 838861, 838861 and 838860 times 2^-23.
  load(sceneImage({1.0F, 1.1F, 1.2F, 1.3F}, 0.0F));
  EXPECT_FALSE(cache.convertToUniformSampling());
  cache.truncate(1.2F);
  EXPECT_TRUE(cache.convertToUniformSampling());
  EXPECT_EQ(9.99999762F, cache.getRate());
}

TEST_F(VekRwMemCacheTest, convertToUniformOfASingleSample) {
  load(sceneImage({4}, 0.0F));
  EXPECT_TRUE(cache.convertToUniformSampling());
  EXPECT_EQ(1.0F, cache.getRate());
  EXPECT_TRUE(cache.timeTable.empty());
  EXPECT_EQ(4.0F, cache.getSampleTime(0));
}

TEST_F(VekRwMemCacheTest, convertToUniformOfNoSample) {
  cache.metadata.rate = 0.0F;
  cache.timeTable = {1, 2, 9};
  EXPECT_TRUE(cache.convertToUniformSampling());
  EXPECT_EQ(1.0F, cache.getRate());
  EXPECT_TRUE(cache.timeTable.empty());
}

// ---- shiftFirstTimeTo ----

TEST_F(VekRwMemCacheTest, shiftMovesBothTimesOfAUniformCache) {
  allocAt(cache, {1, 2, 3, 4, 5});
  cache.shiftFirstTimeTo(10);
  EXPECT_EQ(10.0F, cache.getFirstTime());
  EXPECT_EQ(14.0F, cache.getLastTime());
  EXPECT_EQ(1.0F, cache.getRate());
  EXPECT_THAT(timesOf(cache), ElementsAre(10, 11, 12, 13, 14));
  EXPECT_TRUE(cache.isDirty());
}

TEST_F(VekRwMemCacheTest, shiftBackwards) {
  loadUniform();
  cache.shiftFirstTimeTo(-10.5F);
  EXPECT_EQ(-10.5F, cache.getFirstTime());
  EXPECT_EQ(-8.5F, cache.getLastTime());
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(stored(0, 0), stored(1, 0), stored(2, 0)));
  expectFlags(true, false);
}

TEST_F(VekRwMemCacheTest, shiftOfANonUniformCacheMovesOnlyTheTimeTable) {
  loadNonUniform();
  cache.shiftFirstTimeTo(10);
  EXPECT_THAT(cache.timeTable, ElementsAre(10.0F, 11.0F, 12.0F, 14.0F));
  EXPECT_EQ(1.0F, cache.getFirstTime());
  EXPECT_EQ(5.0F, cache.getLastTime());
  EXPECT_EQ(0.0F, cache.getRate());
  expectFlags(true, false);
}

TEST_F(VekRwMemCacheTest, shiftOfANonUniformCacheAddsUp) {
  // The difference is taken to the first time, which does not move.
  loadNonUniform();
  cache.shiftFirstTimeTo(10);
  cache.shiftFirstTimeTo(10);
  EXPECT_THAT(cache.timeTable, ElementsAre(19.0F, 20.0F, 21.0F, 23.0F));
}

TEST_F(VekRwMemCacheTest, shiftToTheFirstTimeDoesNothing) {
  loadUniform();
  cache.shiftFirstTimeTo(1);
  expectFlags(false, false);
  loadNonUniform();
  cache.shiftFirstTimeTo(1);
  expectFlags(false, false);
  EXPECT_THAT(cache.timeTable, ElementsAre(1, 2, 3, 5));
}

TEST_F(VekRwMemCacheTest, shiftOfANonUniformCacheWithoutTimesIsNoEdit) {
  cache.metadata.rate = 0.0F;
  cache.shiftFirstTimeTo(3);
  expectFlags(false, false);
  EXPECT_EQ(kInfinity, cache.getFirstTime());
}

// ---- truncate ----

TEST_F(VekRwMemCacheTest, truncateKeepsTheFirstSampleNotBeforeTheTime) {
  allocAt(cache, {0, 1, 2, 3});
  cache.truncate(1.5F);
  EXPECT_EQ(3, cache.getNumSamples());
  EXPECT_EQ(2.0F, cache.getLastTime());
  EXPECT_EQ(0.0F, cache.getFirstTime());
  EXPECT_EQ(1.0F, cache.getRate());
  EXPECT_EQ(3U, cache.sampleTable.size());
  EXPECT_EQ(nullptr, cache.getSample(3, 0));
  expectFlags(true, false);
}

TEST_F(VekRwMemCacheTest, truncateAtTheLastTimeLeavesEverything) {
  for (const float time : {3.0F, 3.5F, kInfinity}) {
    OpenRwCache fresh;
    load(sceneImage({0, 1, 2, 3}, 1.0F), fresh);
    fresh.truncate(time);
    expectFlags(fresh, false, false);
    EXPECT_EQ(4, fresh.getNumSamples());
    EXPECT_TRUE(fresh.file.isOpen());
  }
}

TEST_F(VekRwMemCacheTest, truncateBetweenTheLastTwoLeavesEverySample) {
  load(sceneImage({0, 1, 2, 3}, 1.0F));
  cache.truncate(2.5F);
  EXPECT_EQ(4, cache.getNumSamples());
  EXPECT_EQ(3.0F, cache.getLastTime());
  EXPECT_EQ(stored(3, 1), valueOf(cache, 3, 1));
}

TEST_F(VekRwMemCacheTest, truncateAtTheFirstTimeLeavesOneSample) {
  loadUniform();
  cache.truncate(1);
  EXPECT_EQ(1, cache.getNumSamples());
  EXPECT_EQ(1.0F, cache.getLastTime());
  EXPECT_EQ(2, cache.getNumObjects());
  EXPECT_THAT(valuesOf(cache, 1), ElementsAre(stored(0, 1)));
}

TEST_F(VekRwMemCacheTest, truncateClosesTheFileAndLaterFetchesOpenIt) {
  loadUniform();
  ASSERT_TRUE(cache.file.isOpen());
  cache.truncate(2);
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_EQ(stored(1, 1), valueOf(cache, 1, 1));
}

TEST_F(VekRwMemCacheTest, truncateKeepsTheGroupsOfTheSamplesBefore) {
  loadUniform();
  const VekGroupChunk* first = cache.getSample(0, 0);
  const VekGroupChunk* second = cache.getSample(1, 1);
  ASSERT_NE(nullptr, cache.getSample(2, 0));
  cache.truncate(2);
  EXPECT_EQ(2U, cache.sampleTable.size());
  EXPECT_EQ(first, cache.getSample(0, 0));
  EXPECT_EQ(second, cache.getSample(1, 1));
}

TEST_F(VekRwMemCacheTest, truncateLeavesTheTablesLonger) {
  loadNonUniform();
  cache.truncate(1.5F);
  EXPECT_EQ(2, cache.getNumSamples());
  EXPECT_EQ(2.0F, cache.getLastTime());
  EXPECT_EQ(4U, cache.timeTable.size());
  EXPECT_EQ(4U, cache.jumpTable.size());
}

TEST_F(VekRwMemCacheTest, lookupsSeeOnlyTheSamplesLeftByTruncate) {
  loadNonUniform();
  cache.truncate(2);
  EXPECT_EQ(-1, cache.getSampleIndex(3));
  EXPECT_EQ(-1, cache.getSampleIndex(5));
  EXPECT_EQ(1, cache.getMaxSampleIndexNotGreaterThan(5));
  EXPECT_EQ(-1, cache.getMinSampleIndexNotLessThan(2.5F));
  EXPECT_TRUE(std::isnan(cache.getSampleTime(2)));
}

TEST_F(VekRwMemCacheTest, newTimeAfterTruncateGoesBehindTheSamplesLeft) {
  loadNonUniform();
  cache.truncate(2);
  allocAt(cache, {7});
  EXPECT_EQ(3, cache.getNumSamples());
  ASSERT_GE(cache.timeTable.size(), 3U);
  EXPECT_EQ(7.0F, cache.timeTable[2]);
  EXPECT_THAT(timesOf(cache), ElementsAre(1, 2, 7));
  EXPECT_EQ(2, cache.getSampleIndex(7));
  EXPECT_EQ(-1, cache.getSampleIndex(3));
}

TEST_F(VekRwMemCacheTest, sampleInsertedAfterTruncate) {
  loadNonUniform();
  cache.truncate(3);
  allocAt(cache, {1.5F, 6});
  EXPECT_THAT(timesOf(cache), ElementsAre(1, 1.5F, 2, 3, 6));
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(stored(0, 0), -1, stored(1, 0), stored(2, 0), -1));
}

TEST_F(VekRwMemCacheTest, sampleAfterTruncateIsNeverReadFromTheFile) {
  loadUniform();
  cache.truncate(1);
  allocAt(cache, {2, 3});
  EXPECT_EQ(nullptr, cache.getSample(1, 1));
  EXPECT_EQ(nullptr, cache.getSample(2, 1));
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(stored(0, 0), -1, -1));
  // The same objects asked for as an edit are new and empty.
  VekGroupChunk* sobj = cache.allocSample(2, 1);
  ASSERT_NE(nullptr, sobj);
  EXPECT_EQ(0U, sobj->numChildren());
}

TEST_F(VekRwMemCacheTest, conversionsAfterTruncateUseOnlyTheSamplesLeft) {
  loadNonUniform();
  cache.truncate(3);
  EXPECT_TRUE(cache.convertToUniformSampling());
  EXPECT_EQ(1.0F, cache.getRate());
  cache.convertToNonUniformSampling();
  EXPECT_THAT(cache.timeTable, ElementsAre(1.0F, 2.0F, 3.0F));
}

TEST_F(VekRwMemCacheTest, truncateBeforeTheFirstTimeDeletesTheCache) {
  for (const bool dirty : {false, true}) {
    for (const float time : {0.5F, -kInfinity}) {
      OpenRwCache fresh;
      loadUniform(fresh);
      fresh.dirty = dirty;
      fresh.truncate(time);
      EXPECT_EQ(dirty, fresh.isDirty());
      EXPECT_EQ(0, fresh.getNumSamples());
      EXPECT_EQ(0, fresh.getNumObjects());
      EXPECT_EQ(path(), fresh.getFilename());
    }
  }
}

TEST_F(VekRwMemCacheTest, truncateWhereNoSampleFollowsDeletesTheCache) {
  // No sample lies at or after a time that is not a number.
  loadUniform();
  ASSERT_EQ(-1, cache.getMinSampleIndexNotLessThan(kNaN));
  cache.truncate(kNaN);
  EXPECT_EQ(0, cache.getNumSamples());
  EXPECT_EQ(0, cache.getNumObjects());
  EXPECT_EQ(path(), cache.getFilename());
  expectFlags(false, false);
}

TEST_F(VekRwMemCacheTest, truncateOfAnEmptyCacheDoesNothing) {
  cache.truncate(1);
  cache.truncate(-kInfinity);
  expectFlags(false, false);
}

// ---- deleteCache ----

TEST_F(VekRwMemCacheTest, deleteCacheRemovesEverythingButTheNameAndKeepOpen) {
  ASSERT_TRUE(cache.load(writeFile(sceneImage({1, 2, 3, 5}, 0.0F)).c_str(), false));
  cache.setApplication("application");
  ASSERT_NE(nullptr, cache.getSample(0, 0));
  cache.deleteCache();
  EXPECT_EQ(path(), cache.getFilename());
  EXPECT_FALSE(cache.getKeepOpen());
  EXPECT_EQ(0, cache.getNumSamples());
  EXPECT_EQ(0, cache.getNumObjects());
  EXPECT_EQ("", cache.getApplication());
  EXPECT_EQ(1.0F, cache.getRate());
  EXPECT_TRUE(cache.sampleTable.empty());
  EXPECT_TRUE(cache.timeTable.empty());
  EXPECT_TRUE(cache.jumpTable.empty());
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_EQ(1, cache.openMode);
}

TEST_F(VekRwMemCacheTest, deleteCacheLeavesDirtyAsItWas) {
  for (const bool dirty : {false, true}) {
    OpenRwCache fresh;
    loadUniform(fresh);
    fresh.dirty = dirty;
    fresh.deleteCache();
    EXPECT_EQ(dirty, fresh.isDirty());
    EXPECT_TRUE(fresh.getKeepOpen());
  }
}

TEST_F(VekRwMemCacheTest, deletedCacheCanBeFilledAgain) {
  loadUniform();
  cache.deleteCache();
  allocAt(cache, {1, 2, 3});
  EXPECT_EQ(nullptr, cache.getSample(0, 1));
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(-1, -1, -1));
  EXPECT_TRUE(cache.isDirty());
}

// ---- names ----

TEST_F(VekRwMemCacheTest, setNameAddsDefinitionsUpToTheObject) {
  cache.setName(2, "|c");
  ASSERT_EQ(3, cache.getNumObjects());
  EXPECT_EQ("", cache.getName(0));
  EXPECT_EQ("", cache.getName(1));
  EXPECT_EQ("|c", cache.getName(2));
  expectFlags(true, false);
}

TEST_F(VekRwMemCacheTest, setNameReplacesTheName) {
  loadUniform();
  cache.setName(1, "|new");
  EXPECT_EQ("|a", cache.getName(0));
  EXPECT_EQ("|new", cache.getName(1));
  EXPECT_EQ(2, cache.getNumObjects());
  EXPECT_EQ(1, cache.findObjectIndex("|new"));
}

TEST_F(VekRwMemCacheTest, setNameToTheSameNameIsNoEdit) {
  loadUniform();
  cache.setName(1, "|b");
  expectFlags(false, false);
}

TEST_F(VekRwMemCacheTest, setNameThatOnlyAddsADefinitionIsAnEdit) {
  loadUniform();
  cache.setName(2, "");
  EXPECT_EQ(3, cache.getNumObjects());
  expectFlags(true, false);
}

TEST_F(VekRwMemCacheTest, setNameTakesNullForAnEmptyName) {
  loadUniform();
  cache.setName(0, nullptr);
  EXPECT_EQ("", cache.getName(0));
  expectFlags(true, false);
}

TEST_F(VekRwMemCacheTest, setNameOfANegativeIndexChangesNothing) {
  loadUniform();
  cache.setName(-1, "|x");
  EXPECT_EQ(2, cache.getNumObjects());
  EXPECT_EQ("|a", cache.getName(0));
  expectFlags(false, false);
}

/// The setters of attributes obey the same rules.
class VekRwMemCacheAttrTest : public VekRwMemCacheTest, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    VekRwMemCacheTest::SetUp();
    loadUniform();
    cache.metadata.dobjs[0]->addAttr(true, "first", "t1", Vek::ValueType::Float);
    cache.metadata.dobjs[0]->addAttr(false, "second", "t2", Vek::ValueType::Float);
  }
  bool set(int obj, int attr, const std::string& text) {
    return GetParam() ? cache.setAttrName(obj, attr, text) : cache.setAttrType(obj, attr, text);
  }
  std::string get(int attr) const {
    return GetParam() ? cache.getAttrName(0, attr) : cache.getAttrType(0, attr);
  }
};

TEST_P(VekRwMemCacheAttrTest, setterReplacesTheEntry) {
  for (const int attr : {0, 1}) {
    EXPECT_TRUE(set(0, attr, "new"));
    EXPECT_EQ("new", get(attr));
  }
  expectFlags(true, false);
}

TEST_P(VekRwMemCacheAttrTest, setterToTheSameTextIsAnEdit) {
  EXPECT_TRUE(set(0, 0, get(0)));
  expectFlags(true, false);
}

TEST_P(VekRwMemCacheAttrTest, setterIsFalseOutsideTheObjects) {
  for (const int obj : {-1, 2, 100}) EXPECT_FALSE(set(obj, 0, "new"));
  expectFlags(false, false);
  EXPECT_EQ(2, cache.getNumObjects());
}

TEST_P(VekRwMemCacheAttrTest, setterIsFalseWithoutAttributesButAnEdit) {
  EXPECT_FALSE(set(1, 0, "new"));
  expectFlags(true, false);
}

TEST_P(VekRwMemCacheAttrTest, setterThrowsOutsideTheAttributesAndIsAnEdit) {
  for (const int attr : {-1, 2}) {
    cache.dirty = false;
    const std::string text =
        captureStdout([&] { EXPECT_THROW(set(0, attr, "new"), bool) << attr; });
    EXPECT_EQ("DATR attribute index out of bounds", reportedMessage(text, "VekChunks:", " "));
    expectFlags(true, false);
  }
}

INSTANTIATE_TEST_SUITE_P(Setters, VekRwMemCacheAttrTest, ::testing::Bool(), [](const auto& which) {
  return which.param ? "setAttrName" : "setAttrType";
});

}  // namespace
