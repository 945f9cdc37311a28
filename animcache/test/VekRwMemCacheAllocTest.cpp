// SPDX-License-Identifier: Apache-2.0
//
// Samples and frames allocated in a cache: the first, a new last one, one that exists, one
// inserted, and what is refused.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ByteImage.h"
#include "OpenRwCache.h"
#include "RwCacheTest.h"
#include "SceneImage.h"
#include "VekCache.h"

namespace {

using namespace VekTest;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsNull;
using Vek::VekGroupChunk;
namespace Tag = Vek::Tag;

// ---- allocSample: definitions ----

TEST_F(VekRwMemCacheTest, allocSampleAddsEmptyDefinitionsUpToTheObject) {
  ASSERT_NE(nullptr, cache.allocSample(1, 2));
  ASSERT_EQ(3, cache.getNumObjects());
  for (int obj = 0; obj < 3; ++obj) {
    EXPECT_EQ("", cache.getName(obj));
    EXPECT_EQ(0, cache.getNumAttrs(obj));
  }
}

TEST_F(VekRwMemCacheTest, allocSampleKeepsDefinitionsThatExist) {
  loadUniform();
  ASSERT_NE(nullptr, cache.allocSample(4, 2));
  ASSERT_EQ(3, cache.getNumObjects());
  EXPECT_EQ("|a", cache.getName(0));
  EXPECT_EQ("|b", cache.getName(1));
  EXPECT_EQ("", cache.getName(2));
}

// ---- allocSample: the first sample ----

TEST_F(VekRwMemCacheTest, firstSampleSetsTheTimesAndRateOne) {
  cache.getMETAChunk().rate = 5.0F;
  ASSERT_NE(nullptr, cache.allocSample(7.5F, 0));
  EXPECT_EQ(1, cache.getNumSamples());
  EXPECT_EQ(7.5F, cache.getFirstTime());
  EXPECT_EQ(7.5F, cache.getLastTime());
  EXPECT_EQ(1.0F, cache.getRate());
  EXPECT_EQ(0, cache.getSampleIndex(7.5F));
}

TEST_F(VekRwMemCacheTest, firstSampleMakesANonUniformRateUniform) {
  cache.getMETAChunk().rate = 0.0F;
  ASSERT_NE(nullptr, cache.allocSample(2, 0));
  EXPECT_EQ(1.0F, cache.getRate());
}

TEST_F(VekRwMemCacheTest, firstSampleHoldsAnEmptyGroupAtTheObject) {
  VekGroupChunk* sobj = cache.allocSample(1, 2);
  ASSERT_NE(nullptr, sobj);
  EXPECT_EQ(Tag::SOBJ, sobj->getTag());
  EXPECT_EQ(Vek::ValueType::Group, sobj->getType());
  EXPECT_EQ(0, sobj->getCompound());
  EXPECT_EQ(0, sobj->getDimension());
  EXPECT_EQ(0U, sobj->numChildren());
  ASSERT_EQ(1U, cache.sampleTable.size());
  ASSERT_NE(nullptr, cache.sampleTable[0]);
  ASSERT_EQ(3U, cache.sampleTable[0]->size());
  EXPECT_EQ(nullptr, (*cache.sampleTable[0])[0]);
  EXPECT_EQ(nullptr, (*cache.sampleTable[0])[1]);
  EXPECT_EQ(sobj, (*cache.sampleTable[0])[2].get());
}

TEST_F(VekRwMemCacheTest, objectsNobodyAllocatedAreAbsent) {
  ASSERT_NE(nullptr, cache.allocSample(1, 2));
  EXPECT_EQ(nullptr, cache.getSample(0, 0));
  EXPECT_EQ(nullptr, cache.getSample(0, 1));
  EXPECT_EQ(nullptr, cache.getObjectData(0, 1, Tag::POSI, nullptr));
  EXPECT_EQ(0, cache.getNumVertices(0, 1));
}

TEST_F(VekRwMemCacheTest, gettersAnswerFromMemory) {
  put(cache.allocSample(1, 0), 4.5F);
  put(cache.allocSample(2, 0), 5.5F);
  EXPECT_EQ(4.5F, valueOf(cache, 0, 0));
  const std::vector<float>* data = cache.getSampleDataAtTime<float>(2.0F, 0, Tag::POSI, nullptr);
  ASSERT_NE(nullptr, data);
  EXPECT_THAT(*data, ElementsAre(5.5F));
  bool animated = false;
  EXPECT_NE(nullptr, cache.getObjectData(1, 0, Tag::POSI, &animated));
  EXPECT_TRUE(animated);
}

TEST_F(VekRwMemCacheTest, presenceTestsLookInTheFileNotAtEdits) {
  put(cache.allocSample(1, 0), 4.5F);
  EXPECT_FALSE(cache.objectHas(0, Tag::POSI));
  EXPECT_FALSE(cache.isObjectAnimated(0, Tag::POSI));
}

// ---- allocSample: a new last sample ----

TEST_F(VekRwMemCacheTest, secondSampleSetsTheRate) {
  const struct {
    float first, second, rate;
  } cases[] = {{1, 2, 1.0F},   {1, 3, 0.5F},        {0, 0.25F, 4.0F},
               {-2, -1, 1.0F}, {10, 74, 0.015625F}, {-4, 4, 0.125F}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.second);
    OpenRwCache fresh;
    allocAt(fresh, {c.first, c.second});
    EXPECT_EQ(c.rate, fresh.getRate());
    EXPECT_EQ(2, fresh.getNumSamples());
    EXPECT_EQ(c.first, fresh.getFirstTime());
    EXPECT_EQ(c.second, fresh.getLastTime());
    EXPECT_THAT(timesOf(fresh), ElementsAre(c.first, c.second));
  }
}

TEST_F(VekRwMemCacheTest, secondSampleMakesANonUniformCacheUniform) {
  load(sceneImage({4}, 0.0F));
  ASSERT_TRUE(cache.isNonUniform());
  ASSERT_NE(nullptr, cache.allocSample(6, 0));
  EXPECT_EQ(0.5F, cache.getRate());
  EXPECT_THAT(timesOf(cache), ElementsAre(4.0F, 6.0F));
}

TEST_F(VekRwMemCacheTest, evenSpacingStaysUniform) {
  allocAt(cache, {1, 2, 3});
  EXPECT_EQ(1.0F, cache.getRate());
  EXPECT_EQ(3, cache.getNumSamples());
  EXPECT_EQ(1.0F, cache.getFirstTime());
  EXPECT_EQ(3.0F, cache.getLastTime());
  EXPECT_TRUE(cache.timeTable.empty());
}

TEST_F(VekRwMemCacheTest, otherSpacingMakesTheCacheNonUniform) {
  allocAt(cache, {1, 2, 3, 5});
  EXPECT_TRUE(cache.isNonUniform());
  EXPECT_THAT(cache.timeTable, ElementsAre(1.0F, 2.0F, 3.0F, 5.0F));
  EXPECT_EQ(4, cache.getNumSamples());
  EXPECT_EQ(5.0F, cache.getLastTime());
  EXPECT_THAT(timesOf(cache), ElementsAre(1.0F, 2.0F, 3.0F, 5.0F));
}

TEST_F(VekRwMemCacheTest, closerSpacingMakesTheCacheNonUniform) {
  loadUniform();
  allocAt(cache, {3.5F});
  EXPECT_TRUE(cache.isNonUniform());
  EXPECT_THAT(timesOf(cache), ElementsAre(1.0F, 2.0F, 3.0F, 3.5F));
}

TEST_F(VekRwMemCacheTest, spacingOfANewLastSampleIsComparedExactly) {
  // In steps of 2^-23 these times are 1 + 838861, + 1677722, + 2516582: the last step is one less.
  allocAt(cache, {1.0F, 1.1F, 1.2F});
  EXPECT_FALSE(cache.isNonUniform());
  EXPECT_EQ(9.99999762F, cache.getRate());
  allocAt(cache, {1.3F});
  EXPECT_TRUE(cache.isNonUniform());
  EXPECT_EQ(1.3F, cache.timeTable.back());
}

TEST_F(VekRwMemCacheTest, nonUniformCacheStaysSoAndGrowsItsTimeTable) {
  loadNonUniform();
  allocAt(cache, {6, 7, 8});
  EXPECT_TRUE(cache.isNonUniform());
  EXPECT_THAT(cache.timeTable, ElementsAre(1, 2, 3, 5, 6, 7, 8));
  EXPECT_EQ(7, cache.getNumSamples());
  EXPECT_EQ(8.0F, cache.getLastTime());
}

TEST_F(VekRwMemCacheTest, newLastSampleHasAVectorUpToItsObject) {
  loadUniform();
  VekGroupChunk* sobj = cache.allocSample(4, 1);
  ASSERT_EQ(4U, cache.sampleTable.size());
  ASSERT_NE(nullptr, cache.sampleTable[3]);
  ASSERT_EQ(2U, cache.sampleTable[3]->size());
  EXPECT_EQ(nullptr, (*cache.sampleTable[3])[0]);
  EXPECT_EQ(sobj, (*cache.sampleTable[3])[1].get());
  EXPECT_EQ(0U, sobj->numChildren());
}

TEST_F(VekRwMemCacheTest, newLastSampleIsNeverReadFromTheFile) {
  loadUniform();
  put(cache.allocSample(4, 0), 7.0F);
  EXPECT_EQ(7.0F, valueOf(cache, 3, 0));
  EXPECT_EQ(nullptr, cache.getSample(3, 1));
  EXPECT_EQ(stored(2, 1), valueOf(cache, 2, 1));
}

TEST_F(VekRwMemCacheTest, newLastSampleLeavesStoredSamplesUnread) {
  loadUniform();
  allocAt(cache, {4, 5});
  EXPECT_THAT(valuesOf(cache, 1),
              ElementsAre(stored(0, 1), stored(1, 1), stored(2, 1), -1.0F, -1.0F));
}

// ---- allocSample: a sample that exists ----

TEST_F(VekRwMemCacheTest, existingSampleReturnsTheSameGroup) {
  VekGroupChunk* first = cache.allocSample(1, 0);
  VekGroupChunk* second = cache.allocSample(2, 0);
  put(first, 4.0F);
  EXPECT_EQ(first, cache.allocSample(1, 0));
  EXPECT_EQ(second, cache.allocSample(2, 0));
  EXPECT_EQ(1U, first->numChildren());
  EXPECT_EQ(2, cache.getNumSamples());
}

TEST_F(VekRwMemCacheTest, existingSampleReturnsWhatGettersReturn) {
  loadUniform();
  const VekGroupChunk* read = cache.getSample(1, 1);
  EXPECT_EQ(read, cache.allocSample(2, 1));
}

TEST_F(VekRwMemCacheTest, existingSampleComesFromTheFileWhenItIsNotInMemory) {
  loadUniform();
  VekGroupChunk* sobj = cache.allocSample(2, 1);
  ASSERT_NE(nullptr, sobj);
  EXPECT_EQ(1U, sobj->numChildren());
  EXPECT_EQ(stored(1, 1), valueOf(cache, 1, 1));
  EXPECT_EQ(3, cache.getNumSamples());
}

TEST_F(VekRwMemCacheTest, existingSampleOfANonUniformCache) {
  loadNonUniform();
  VekGroupChunk* sobj = cache.allocSample(3, 0);
  ASSERT_NE(nullptr, sobj);
  EXPECT_EQ(1U, sobj->numChildren());
  EXPECT_EQ(4, cache.getNumSamples());
  EXPECT_THAT(cache.timeTable, ElementsAre(1, 2, 3, 5));
}

TEST_F(VekRwMemCacheTest, existingSampleGivesAnEmptyGroupForAnotherObject) {
  put(cache.allocSample(1, 0), 4.0F);
  VekGroupChunk* other = cache.allocSample(1, 3);
  ASSERT_NE(nullptr, other);
  EXPECT_EQ(0U, other->numChildren());
  EXPECT_EQ(1, cache.getNumSamples());
  ASSERT_EQ(4U, cache.sampleTable[0]->size());
  EXPECT_EQ(other, cache.getSample(0, 3));
  EXPECT_EQ(4.0F, valueOf(cache, 0, 0));
}

TEST_F(VekRwMemCacheTest, existingStoredSampleGivesAnEmptyGroupForANewObject) {
  loadUniform();
  VekGroupChunk* sobj = cache.allocSample(2, 3);
  ASSERT_NE(nullptr, sobj);
  EXPECT_EQ(0U, sobj->numChildren());
  EXPECT_EQ(4, cache.getNumObjects());
  EXPECT_EQ(nullptr, cache.getSample(1, 2));
  EXPECT_EQ(stored(1, 0), valueOf(cache, 1, 0));
}

TEST_F(VekRwMemCacheTest, existingObjectEmptiedWithResetStartsOver) {
  loadUniform();
  VekGroupChunk* sobj = cache.allocSample(2, 0);
  ASSERT_NE(nullptr, sobj);
  sobj->reset();
  put(sobj, 9.0F);
  EXPECT_EQ(9.0F, valueOf(cache, 1, 0));
}

TEST_F(VekRwMemCacheTest, unreadableStoredObjectGivesNullAndNoChange) {
  StreamLayout layout;
  const ByteImage image = sceneImage({1, 2, 3}, 1.0F, &layout);
  // The tag of the object's header.
  load(ByteImage().raw(patched(image.bytes(), layout.objects[1][0], std::int32_t{0x5A5A5A5A})));
  EXPECT_EQ(nullptr, cache.allocSample(2, 0));
  expectFlags(false, false);
  EXPECT_EQ(3, cache.getNumSamples());
  EXPECT_NE(nullptr, cache.allocSample(2, 1));
}

// ---- allocSample: a sample inserted ----

TEST_F(VekRwMemCacheTest, sampleBeforeTheFirstWithTheSameSpacingStaysUniform) {
  allocAt(cache, {1, 2, 3});
  ASSERT_NE(nullptr, cache.allocSample(0, 0));
  EXPECT_EQ(1.0F, cache.getRate());
  EXPECT_EQ(0.0F, cache.getFirstTime());
  EXPECT_EQ(3.0F, cache.getLastTime());
  EXPECT_EQ(4, cache.getNumSamples());
  EXPECT_THAT(timesOf(cache), ElementsAre(0.0F, 1.0F, 2.0F, 3.0F));
}

TEST_F(VekRwMemCacheTest, sampleBeforeTheFirstWithAnotherSpacingMakesNonUniform) {
  allocAt(cache, {1, 2, 3});
  ASSERT_NE(nullptr, cache.allocSample(0.5F, 0));
  EXPECT_TRUE(cache.isNonUniform());
  EXPECT_EQ(0.5F, cache.getFirstTime());
  EXPECT_THAT(cache.timeTable, ElementsAre(0.5F, 1.0F, 2.0F, 3.0F));
}

TEST_F(VekRwMemCacheTest, spacingBeforeTheFirstIsComparedInDouble) {
  // The step before the first is the same float as between the samples. The rate is the float
  // nearest to its inverse, which the inverse in double is not.
  allocAt(cache, {1.1F, 1.2F});
  ASSERT_EQ(9.99999762F, cache.getRate());
  allocAt(cache, {1.0F});
  EXPECT_TRUE(cache.isNonUniform());
  EXPECT_EQ(1.0F, cache.getFirstTime());
  EXPECT_EQ(1.0F, cache.timeTable.front());
}

TEST_F(VekRwMemCacheTest, sampleBeforeASingleOneKeepsTheDefaultRate) {
  allocAt(cache, {1, 0});
  EXPECT_EQ(1.0F, cache.getRate());
  EXPECT_THAT(timesOf(cache), ElementsAre(0.0F, 1.0F));
  OpenRwCache other;
  allocAt(other, {1, 0.5F});
  EXPECT_TRUE(other.isNonUniform());
  EXPECT_THAT(timesOf(other), ElementsAre(0.5F, 1.0F));
}

TEST_F(VekRwMemCacheTest, sampleBeforeTheFirstOfANonUniformCacheKeepsItSo) {
  loadNonUniform();
  allocAt(cache, {0});
  EXPECT_TRUE(cache.isNonUniform());
  EXPECT_EQ(0.0F, cache.getFirstTime());
  EXPECT_THAT(cache.timeTable, ElementsAre(0, 1, 2, 3, 5));
}

TEST_F(VekRwMemCacheTest, samplesInsertedAgainAndAgainBeforeTheFirst) {
  loadUniform();
  allocAt(cache, {0, -1, -2});
  EXPECT_EQ(1.0F, cache.getRate());
  EXPECT_THAT(timesOf(cache), ElementsAre(-2, -1, 0, 1, 2, 3));
  allocAt(cache, {5});
  EXPECT_THAT(timesOf(cache), ElementsAre(-2, -1, 0, 1, 2, 3, 5));
  EXPECT_THAT(valuesOf(cache, 0),
              ElementsAre(-1, -1, -1, stored(0, 0), stored(1, 0), stored(2, 0), -1));
}

TEST_F(VekRwMemCacheTest, sampleAfterTheFirstAlwaysMakesNonUniform) {
  allocAt(cache, {0, 2});
  ASSERT_EQ(0.5F, cache.getRate());
  allocAt(cache, {1});
  EXPECT_TRUE(cache.isNonUniform());
  EXPECT_THAT(cache.timeTable, ElementsAre(0.0F, 1.0F, 2.0F));
  EXPECT_EQ(0.0F, cache.getFirstTime());
  EXPECT_EQ(2.0F, cache.getLastTime());
}

TEST_F(VekRwMemCacheTest, sampleInsertedIntoANonUniformCache) {
  loadNonUniform();
  allocAt(cache, {4, 1.5F});
  EXPECT_THAT(cache.timeTable, ElementsAre(1, 1.5F, 2, 3, 4, 5));
  EXPECT_EQ(6, cache.getNumSamples());
  EXPECT_THAT(valuesOf(cache, 0),
              ElementsAre(stored(0, 0), -1, stored(1, 0), stored(2, 0), -1, stored(3, 0)));
}

TEST_F(VekRwMemCacheTest, insertedSampleHasAVectorUpToItsObject) {
  loadUniform();
  VekGroupChunk* sobj = cache.allocSample(1.5F, 1);
  ASSERT_EQ(4U, cache.sampleTable.size());
  ASSERT_NE(nullptr, cache.sampleTable[1]);
  ASSERT_EQ(2U, cache.sampleTable[1]->size());
  EXPECT_EQ(nullptr, (*cache.sampleTable[1])[0]);
  EXPECT_EQ(sobj, (*cache.sampleTable[1])[1].get());
  EXPECT_EQ(0U, sobj->numChildren());
}

TEST_F(VekRwMemCacheTest, insertionLoadsEverySampleFirst) {
  loadUniform();
  allocAt(cache, {1.5F});
  emptyTheFile();
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(stored(0, 0), -1, stored(1, 0), stored(2, 0)));
  EXPECT_THAT(valuesOf(cache, 1), ElementsAre(stored(0, 1), -1, stored(1, 1), stored(2, 1)));
}

TEST_F(VekRwMemCacheTest, objectsMissingInAnInsertedSampleNeverShowAnotherSample) {
  for (const float time : {0.0F, 0.5F, 1.5F, 2.5F}) {
    SCOPED_TRACE(time);
    OpenRwCache fresh;
    loadUniform(fresh);
    ASSERT_NE(nullptr, fresh.allocSample(time, 0));
    const int inserted = fresh.getSampleIndex(time);
    ASSERT_GE(inserted, 0);
    EXPECT_EQ(nullptr, fresh.getSample(inserted, 1));
    EXPECT_EQ(nullptr, fresh.getObjectData(inserted, 1, Tag::POSI, nullptr));
  }
}

TEST_F(VekRwMemCacheTest, jumpTableEntriesStayWithTheirSamples) {
  StreamLayout layout;
  const ByteImage image = sceneImage({1, 2, 3}, 1.0F, &layout);
  load(ByteImage().raw(patched(image.bytes(), layout.objects[1][1], std::int32_t{0x5A5A5A5A})));
  if (cache.allocSample(0, 0) != nullptr) {
    EXPECT_THAT(valuesOf(cache, 0), ElementsAre(-1, stored(0, 0), stored(1, 0), stored(2, 0)));
    EXPECT_THAT(valuesOf(cache, 1), ElementsAre(-1, stored(0, 1), -1, stored(2, 1)));
  } else {
    EXPECT_THAT(valuesOf(cache, 1), ElementsAre(stored(0, 1), -1, stored(2, 1)));
  }
}

TEST_F(VekRwMemCacheTest, groupsStayWhereTheyAreWhenSamplesAreInserted) {
  VekGroupChunk* first = cache.allocSample(1, 0);
  VekGroupChunk* second = cache.allocSample(2, 0);
  allocAt(cache, {0, 1.5F, 3});
  EXPECT_EQ(first, cache.getSample(1, 0));
  EXPECT_EQ(second, cache.getSample(3, 0));
}

// ---- allocSample: what it refuses ----

TEST_F(VekRwMemCacheTest, timeThatIsNotFiniteIsRefused) {
  for (const float time : {kNaN, -kNaN, kInfinity, -kInfinity}) {
    for (const bool uniform : {true, false}) {
      OpenRwCache fresh;
      uniform ? loadUniform(fresh) : loadNonUniform(fresh);
      const std::vector<float> times = timesOf(fresh);
      EXPECT_EQ(nullptr, fresh.allocSample(time, 5));
      expectFlags(fresh, false, false);
      EXPECT_EQ(2, fresh.getNumObjects());
      EXPECT_EQ(times, timesOf(fresh));
      EXPECT_EQ(uniform ? 1.0F : 0.0F, fresh.getRate());
    }
  }
}

TEST_F(VekRwMemCacheTest, timeThatIsNotFiniteIsRefusedAsTheFirst) {
  for (const float time : {kNaN, kInfinity, -kInfinity}) {
    EXPECT_EQ(nullptr, cache.allocSample(time, 0));
    EXPECT_EQ(0, cache.getNumSamples());
    EXPECT_EQ(0, cache.getNumObjects());
    expectFlags(false, false);
  }
}

TEST_F(VekRwMemCacheTest, negativeObjectIsRefused) {
  EXPECT_EQ(nullptr, cache.allocSample(1, -1));
  EXPECT_EQ(0, cache.getNumSamples());
  loadUniform();
  for (const float time : {0.0F, 1.5F, 2.0F, 4.0F}) {
    EXPECT_EQ(nullptr, cache.allocSample(time, -1));
    expectFlags(false, false);
    EXPECT_EQ(3, cache.getNumSamples());
  }
}

// ---- allocFrame ----

TEST_F(VekRwMemCacheTest, allocFrameGivesEveryObjectInItsOrder) {
  loadUniform();
  std::vector<VekGroupChunk*> sobjs;
  ASSERT_TRUE(cache.allocFrame(4, sobjs));
  ASSERT_EQ(2U, sobjs.size());
  EXPECT_EQ(4, cache.getNumSamples());
  for (int obj = 0; obj < 2; ++obj) {
    ASSERT_NE(nullptr, sobjs[static_cast<std::size_t>(obj)]);
    EXPECT_EQ(0U, sobjs[static_cast<std::size_t>(obj)]->numChildren());
    EXPECT_EQ(sobjs[static_cast<std::size_t>(obj)], cache.getSample(3, obj));
  }
}

TEST_F(VekRwMemCacheTest, allocFrameReplacesWhatTheListHeld) {
  loadUniform();
  std::vector<VekGroupChunk*> sobjs(7, nullptr);
  ASSERT_TRUE(cache.allocFrame(4, sobjs));
  EXPECT_EQ(2U, sobjs.size());
  EXPECT_THAT(sobjs, Each(::testing::Not(IsNull())));
}

TEST_F(VekRwMemCacheTest, frameAfterTheLastIsAppendable) {
  loadUniform();
  std::vector<VekGroupChunk*> sobjs;
  ASSERT_TRUE(cache.allocFrame(4, sobjs));
  expectFlags(true, true);
  ASSERT_TRUE(cache.allocFrame(5, sobjs));
  expectFlags(true, true);
}

TEST_F(VekRwMemCacheTest, secondAllocSampleRulesOutAppendingAFrame) {
  loadUniform();
  std::vector<VekGroupChunk*> sobjs;
  ASSERT_TRUE(cache.allocFrame(4, sobjs));
  EXPECT_EQ(sobjs[1], cache.allocSample(4, 1));
  expectFlags(true, false);
}

TEST_F(VekRwMemCacheTest, frameNotAfterTheLastIsNotAppendable) {
  for (const float time : {0.0F, 1.0F, 1.5F, 3.0F}) {
    SCOPED_TRACE(time);
    OpenRwCache fresh;
    loadUniform(fresh);
    std::vector<VekGroupChunk*> sobjs;
    ASSERT_TRUE(fresh.allocFrame(time, sobjs));
    expectFlags(fresh, true, false);
  }
}

TEST_F(VekRwMemCacheTest, frameAfterAnEditOfAStoredSampleIsNotAppendable) {
  loadUniform();
  allocAt(cache, {2});
  std::vector<VekGroupChunk*> sobjs;
  ASSERT_TRUE(cache.allocFrame(4, sobjs));
  expectFlags(true, false);
}

TEST_F(VekRwMemCacheTest, frameThatExistsGivesWhatIsThere) {
  loadUniform();
  std::vector<VekGroupChunk*> sobjs;
  ASSERT_TRUE(cache.allocFrame(2, sobjs));
  EXPECT_EQ(3, cache.getNumSamples());
  ASSERT_EQ(2U, sobjs.size());
  EXPECT_EQ(1U, sobjs[0]->numChildren());
  EXPECT_EQ(stored(1, 1), valueOf(cache, 1, 1));
}

TEST_F(VekRwMemCacheTest, firstFrameIsNotAppendable) {
  cache.setName(1, "|b");
  std::vector<VekGroupChunk*> sobjs;
  ASSERT_TRUE(cache.allocFrame(1, sobjs));
  EXPECT_EQ(2U, sobjs.size());
  expectFlags(true, false);
}

TEST_F(VekRwMemCacheTest, frameOfATimeThatIsNotFiniteIsRefused) {
  loadUniform();
  for (const float time : {kNaN, kInfinity, -kInfinity}) {
    std::vector<VekGroupChunk*> sobjs;
    EXPECT_FALSE(cache.allocFrame(time, sobjs));
    expectFlags(false, false);
    EXPECT_EQ(3, cache.getNumSamples());
  }
}

TEST_F(VekRwMemCacheTest, frameOfACacheWithoutObjectsMakesNoSample) {
  std::vector<VekGroupChunk*> sobjs;
  cache.allocFrame(1, sobjs);
  EXPECT_TRUE(sobjs.empty());
  EXPECT_EQ(0, cache.getNumSamples());
}

}  // namespace
