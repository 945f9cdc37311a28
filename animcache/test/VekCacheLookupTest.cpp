// SPDX-License-Identifier: Apache-2.0
//
// Finding samples by time, times by sample, and objects by name.

#include "VekCache.h"

#include <gmock/gmock.h>

#include <cmath>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "SceneImage.h"

namespace {

using namespace VekTest;
using Vek::VekCache;

constexpr float kHuge = std::numeric_limits<float>::max();
constexpr int kLargestInt = std::numeric_limits<int>::max();
constexpr int kSmallestInt = std::numeric_limits<int>::min();

void makeUniform(OpenCache& cache, std::int64_t count, float first, float last, float rate) {
  cache.metadata.numSamples = count;
  cache.metadata.firstTime = first;
  cache.metadata.lastTime = last;
  cache.metadata.rate = rate;
  cache.timeTable.clear();
}

void makeNonUniform(OpenCache& cache, const std::vector<float>& times) {
  makeUniform(cache, static_cast<std::int64_t>(times.size()), times.front(), times.back(), 0.0F);
  cache.timeTable = times;
}

/// First time 1, two samples per frame, five samples: 1, 1.5, 2, 2.5, 3.
class UniformLookupTest : public ::testing::Test {
 protected:
  UniformLookupTest() { makeUniform(cache, 5, 1.0F, 3.0F, 2.0F); }
  OpenCache cache;
};

/// Samples at 0, 1, 2.
class NonUniformLookupTest : public ::testing::Test {
 protected:
  NonUniformLookupTest() { makeNonUniform(cache, {0.0F, 1.0F, 2.0F}); }
  OpenCache cache;
};

struct Lookup {
  float time;
  int exact, floor, ceiling;
};

void expectLookups(const OpenCache& cache, const std::vector<Lookup>& table) {
  for (const Lookup& l : table) {
    EXPECT_EQ(cache.getSampleIndex(l.time), l.exact) << l.time;
    EXPECT_EQ(cache.getMaxSampleIndexNotGreaterThan(l.time), l.floor) << l.time;
    EXPECT_EQ(cache.getMinSampleIndexNotLessThan(l.time), l.ceiling) << l.time;
  }
}

// --- Uniform sampling ---------------------------------------------------------------------------

TEST_F(UniformLookupTest, exactTimes) {
  expectLookups(
      cache, {{1.0F, 0, 0, 0}, {1.5F, 1, 1, 1}, {2.0F, 2, 2, 2}, {2.5F, 3, 3, 3}, {3.0F, 4, 4, 4}});
}

TEST_F(UniformLookupTest, timeBetweenTwoSamplesLiesBetweenThem) {
  expectLookups(cache, {{1.25F, -1, 0, 1}, {1.75F, -1, 1, 2}, {2.9F, -1, 3, 4}});
}

TEST_F(UniformLookupTest, thereIsNoTolerance) {
  expectLookups(cache, {{1.5000001F, -1, 1, 2}, {1.4999999F, -1, 0, 1}});
}

TEST_F(UniformLookupTest, timeBeforeTheFirstHasOnlyACeiling) {
  expectLookups(cache, {{0.99999994F, -1, -1, 0}, {0.5F, -1, -1, 0}, {-100.0F, -1, -1, 0}});
}

TEST_F(UniformLookupTest, timeAfterTheLastHasOnlyAFloor) {
  expectLookups(cache, {{3.0000002F, -1, 4, -1}, {3.5F, -1, 4, -1}, {1000.0F, -1, 4, -1}});
}

TEST_F(UniformLookupTest, infiniteTimes) {
  expectLookups(cache, {{kInfinity, -1, 4, -1}, {-kInfinity, -1, -1, 0}});
  expectLookups(cache, {{kHuge, -1, 4, -1}, {-kHuge, -1, -1, 0}});
}

TEST_F(UniformLookupTest, notANumberIsNoTime) {
  expectLookups(cache, {{kNaN, -1, -1, -1}});
}

TEST_F(UniformLookupTest, sampleTimes) {
  EXPECT_EQ(cache.getSampleTime(0), 1.0F);
  EXPECT_EQ(cache.getSampleTime(1), 1.5F);
  EXPECT_EQ(cache.getSampleTime(4), 3.0F);
}

TEST_F(UniformLookupTest, sampleOutsideTheTableHasNoTime) {
  for (const int sample : {5, 6, -1, kLargestInt, kSmallestInt}) {
    EXPECT_TRUE(std::isnan(cache.getSampleTime(sample))) << sample;
  }
}

TEST(UniformSamplingTest, lowRate) {
  OpenCache cache;
  makeUniform(cache, 3, -8.0F, 8.0F, 0.125F);
  expectLookups(
      cache,
      {{-8.0F, 0, 0, 0}, {-7.0F, -1, 0, 1}, {0.0F, 1, 1, 1}, {7.5F, -1, 1, 2}, {8.0F, 2, 2, 2}});
  EXPECT_EQ(cache.getSampleTime(2), 8.0F);
}

TEST(UniformSamplingTest, oneSample) {
  OpenCache cache;
  makeUniform(cache, 1, 5.0F, 5.0F, 24.0F);
  expectLookups(cache, {{5.0F, 0, 0, 0}, {4.0F, -1, -1, 0}, {6.0F, -1, 0, -1}});
  EXPECT_EQ(cache.getSampleTime(0), 5.0F);
  EXPECT_TRUE(std::isnan(cache.getSampleTime(1)));
}

// One third of a frame, a float a little above 1/3, times 3 is 1 in float only.
TEST(UniformSamplingTest, exactLookupMultipliesInFloat) {
  OpenCache cache;
  makeUniform(cache, 4, 0.0F, 1.0F, 3.0F);
  EXPECT_EQ(cache.getSampleIndex(1.0F / 3.0F), 1);
  EXPECT_EQ(cache.getSampleIndex(2.0F / 3.0F), 2);
}

TEST(UniformSamplingTest, everySampleTimeIsFoundAgain) {
  OpenCache cache;
  makeUniform(cache, 31, 0.0F, 10.0F, 3.0F);
  for (int i = 0; i < 31; ++i) {
    const float t = cache.getSampleTime(i);
    EXPECT_EQ(cache.getSampleIndex(t), i);
    EXPECT_EQ(cache.getMaxSampleIndexNotGreaterThan(t), i);
    EXPECT_EQ(cache.getMinSampleIndexNotLessThan(t), i);
  }
}

TEST(UniformSamplingTest, indexMustBeBelowTheSampleCount) {
  OpenCache cache;
  makeUniform(cache, 5, 0.0F, 10.0F, 1.0F);
  expectLookups(cache,
                {{4.0F, 4, 4, 4}, {5.0F, -1, -1, -1}, {4.5F, -1, 4, -1}, {7.25F, -1, -1, -1}});
  EXPECT_EQ(cache.getSampleTime(4), 4.0F);
  EXPECT_TRUE(std::isnan(cache.getSampleTime(5)));
}

// The last time stands one unit in the last place below 2 / 3.
TEST(UniformSamplingTest, sampleTimeBeyondTheLastTimeIsNone) {
  OpenCache cache;
  const float last = std::nextafter(2.0F / 3.0F, 0.0F);
  makeUniform(cache, 3, 0.0F, last, 3.0F);
  EXPECT_FALSE(std::isnan(cache.getSampleTime(1)));
  EXPECT_TRUE(std::isnan(cache.getSampleTime(2)));
}

TEST(UniformSamplingTest, sampleTimeBeforeTheFirstTimeIsNone) {
  OpenCache cache;
  makeUniform(cache, 3, 2.0F, 4.0F, -1.0F);
  EXPECT_EQ(cache.getSampleTime(0), 2.0F);
  EXPECT_TRUE(std::isnan(cache.getSampleTime(1)));
}

TEST(UniformSamplingTest, timesThatRunBackwardsHoldNoTime) {
  OpenCache cache;
  makeUniform(cache, 3, 2.0F, 0.0F, -1.0F);
  for (const float t : {2.0F, 1.0F, 0.0F}) EXPECT_EQ(cache.getSampleIndex(t), -1);
  EXPECT_TRUE(std::isnan(cache.getSampleTime(0)));
}

TEST(UniformSamplingTest, negativeRateYieldsNoNegativeIndex) {
  OpenCache cache;
  makeUniform(cache, 3, 0.0F, 2.0F, -1.0F);
  expectLookups(cache, {{0.0F, 0, 0, 0}, {1.0F, -1, -1, -1}, {2.0F, -1, -1, -1}});
}

// Truncation and rounding up go toward zero, so that a product just below 0 is index 0.
TEST(UniformSamplingTest, productJustBelowZeroIsIndexZero) {
  OpenCache cache;
  makeUniform(cache, 3, 0.0F, 2.0F, -0.25F);
  expectLookups(cache, {{1.0F, -1, 0, 0}});
}

TEST(UniformSamplingTest, productsBeyondAllIntegersAreNoIndex) {
  OpenCache cache;
  makeUniform(cache, 5, 0.0F, 3e9F, 1000.0F);
  expectLookups(cache, {{3e9F, -1, -1, -1}, {2.5e9F, -1, -1, -1}});
  makeUniform(cache, 5, 0.0F, kHuge, kHuge);
  expectLookups(cache, {{kHuge, -1, -1, -1}, {1.0F, -1, -1, -1}});
  makeUniform(cache, 5, -kHuge, kHuge, 1.0F);
  expectLookups(cache, {{kHuge, -1, -1, -1}});
  makeUniform(cache, 5, 0.0F, kHuge, -kHuge);
  expectLookups(cache, {{kHuge, -1, -1, -1}});
  makeUniform(cache, 5, 0.0F, 1e12F, 1.0F);
  expectLookups(cache, {{4294967296.0F, -1, -1, -1}, {18446744073709551616.0F, -1, -1, -1}});
}

TEST(UniformSamplingTest, infiniteAndUndefinedRates) {
  OpenCache cache;
  makeUniform(cache, 5, 0.0F, 4.0F, kNaN);
  expectLookups(cache, {{0.0F, -1, -1, -1}, {2.0F, -1, -1, -1}});
  EXPECT_TRUE(std::isnan(cache.getSampleTime(1)));
  makeUniform(cache, 5, 0.0F, 4.0F, kInfinity);
  expectLookups(cache, {{0.0F, -1, -1, -1}, {2.0F, -1, -1, -1}});
  EXPECT_EQ(cache.getSampleTime(1), 0.0F);
  makeUniform(cache, 5, 0.0F, 4.0F, -kInfinity);
  expectLookups(cache, {{0.0F, -1, -1, -1}, {2.0F, -1, -1, -1}});
}

TEST(UniformSamplingTest, infiniteAndUndefinedBounds) {
  OpenCache cache;
  makeUniform(cache, 5, -kInfinity, kInfinity, 1.0F);
  expectLookups(cache, {{0.0F, -1, -1, -1}, {kInfinity, -1, -1, -1}, {-kInfinity, -1, -1, -1}});
  makeUniform(cache, 5, kNaN, kNaN, 1.0F);
  expectLookups(cache, {{0.0F, -1, -1, -1}, {kNaN, -1, -1, -1}});
  EXPECT_TRUE(std::isnan(cache.getSampleTime(0)));
}

TEST(UniformSamplingTest, sampleTimeOfATinyRateIsNone) {
  OpenCache cache;
  makeUniform(cache, 5, 0.0F, kHuge, std::numeric_limits<float>::denorm_min());
  EXPECT_EQ(cache.getSampleTime(0), 0.0F);
  EXPECT_TRUE(std::isnan(cache.getSampleTime(1)));
}

// --- Non-uniform sampling -----------------------------------------------------------------------

TEST_F(NonUniformLookupTest, exactTimes) {
  expectLookups(cache, {{0.0F, 0, 0, 0}, {1.0F, 1, 1, 1}, {2.0F, 2, 2, 2}});
}

TEST_F(NonUniformLookupTest, floorBetweenTwoSamplesIsTheLaterOne) {
  EXPECT_EQ(cache.getSampleIndex(0.5F), -1);
  EXPECT_EQ(cache.getMaxSampleIndexNotGreaterThan(0.5F), 1);
  EXPECT_EQ(cache.getMinSampleIndexNotLessThan(0.5F), 1);
  expectLookups(cache, {{1.0000001F, -1, 2, 2}, {0.99999994F, -1, 1, 1}});
}

TEST_F(NonUniformLookupTest, timeAfterTheLastHasOnlyAFloor) {
  EXPECT_EQ(cache.getMaxSampleIndexNotGreaterThan(5.0F), 2);
  expectLookups(cache, {{5.0F, -1, 2, -1}, {2.0000002F, -1, 2, -1}, {kInfinity, -1, 2, -1}});
}

TEST_F(NonUniformLookupTest, timeBeforeTheFirstHasOnlyACeiling) {
  expectLookups(cache, {{-1e-30F, -1, -1, 0}, {-7.0F, -1, -1, 0}, {-kInfinity, -1, -1, 0}});
}

TEST_F(NonUniformLookupTest, notANumberStaysInsideTheTable) {
  EXPECT_EQ(cache.getSampleIndex(kNaN), -1);
  for (const int index :
       {cache.getMaxSampleIndexNotGreaterThan(kNaN), cache.getMinSampleIndexNotLessThan(kNaN)}) {
    EXPECT_GE(index, -1);
    EXPECT_LT(index, 3);
  }
}

TEST_F(NonUniformLookupTest, sampleTimesStandInTheTable) {
  makeNonUniform(cache, {-2.0F, 0.5F, 10.25F});
  EXPECT_EQ(cache.getSampleTime(0), -2.0F);
  EXPECT_EQ(cache.getSampleTime(1), 0.5F);
  EXPECT_EQ(cache.getSampleTime(2), 10.25F);
  for (const int sample : {3, -1, kLargestInt, kSmallestInt}) {
    EXPECT_TRUE(std::isnan(cache.getSampleTime(sample))) << sample;
  }
}

TEST_F(NonUniformLookupTest, sampleTimesNeedNotLieBetweenFirstAndLast) {
  makeNonUniform(cache, {1.0F, 9.0F, 2.0F});
  EXPECT_EQ(cache.getSampleTime(1), 9.0F);
}

TEST_F(NonUniformLookupTest, equalTimesYieldTheFirstOfThem) {
  makeNonUniform(cache, {0.0F, 1.0F, 1.0F, 1.0F, 3.0F});
  expectLookups(cache, {{1.0F, 1, 1, 1}, {0.5F, -1, 1, 1}, {2.0F, -1, 4, 4}});
}

TEST_F(NonUniformLookupTest, zerosOfEitherSignAreTheSameTime) {
  expectLookups(cache, {{-0.0F, 0, 0, 0}});
}

TEST_F(NonUniformLookupTest, infiniteSampleTimes) {
  makeNonUniform(cache, {-kInfinity, 0.0F, kInfinity});
  expectLookups(cache, {{-kInfinity, 0, 0, 0},
                        {-5.0F, -1, 1, 1},
                        {0.0F, 1, 1, 1},
                        {5.0F, -1, 2, 2},
                        {kInfinity, 2, 2, 2}});
  EXPECT_EQ(cache.getSampleTime(2), kInfinity);
}

TEST_F(NonUniformLookupTest, disorderedTimesStayInsideTheTable) {
  const std::vector<std::vector<float>> tables = {
      {0.0F, kNaN, 2.0F, 4.0F}, {0.0F, 9.0F, -9.0F, 4.0F}, {0.0F, kNaN, kNaN, kNaN, 4.0F}};
  for (const std::vector<float>& table : tables) {
    makeNonUniform(cache, table);
    const int count = static_cast<int>(table.size());
    for (const float t : {-1.0F, 0.0F, 1.0F, 2.0F, 3.0F, 4.0F, 5.0F, kNaN}) {
      for (const int index : {cache.getSampleIndex(t), cache.getMaxSampleIndexNotGreaterThan(t),
                              cache.getMinSampleIndexNotLessThan(t)}) {
        EXPECT_GE(index, -1);
        EXPECT_LT(index, count);
      }
    }
  }
}

// --- Without samples ----------------------------------------------------------------------------

TEST(NoSampleLookupTest, everyAnswerIsNone) {
  OpenCache cache;
  for (const float rate : {1.0F, 0.0F}) {
    makeUniform(cache, 0, 0.0F, 10.0F, rate);
    expectLookups(cache, {{0.0F, -1, -1, -1}, {5.0F, -1, -1, -1}, {kNaN, -1, -1, -1}});
    EXPECT_TRUE(std::isnan(cache.getSampleTime(0)));
  }
}

TEST(NoSampleLookupTest, emptyCache) {
  const OpenCache cache;
  expectLookups(cache, {{0.0F, -1, -1, -1}, {kInfinity, -1, -1, -1}, {-kInfinity, -1, -1, -1}});
  EXPECT_TRUE(std::isnan(cache.getSampleTime(0)));
  EXPECT_TRUE(std::isnan(cache.getSampleTime(-1)));
}

TEST(NoSampleLookupTest, negativeSampleCount) {
  OpenCache cache;
  makeUniform(cache, -3, 0.0F, 10.0F, 1.0F);
  expectLookups(cache, {{0.0F, -1, -1, -1}, {5.0F, -1, -1, -1}});
  EXPECT_TRUE(std::isnan(cache.getSampleTime(0)));
}

// --- Recorded files -----------------------------------------------------------------------------

TEST(RecordedLookupTest, uniform) {
  OpenCache cache((std::string(VEK_GOLDEN_DIR) + "/odd_head.vek").c_str());
  expectLookups(cache, {{0.75F, 1, 1, 1},
                        {1.0F, 2, 2, 2},
                        {0.500500023F, -1, 0, 1},
                        {0.499500006F, -1, -1, 0},
                        {0.748000026F, -1, 0, 1},
                        {1.00199997F, -1, 2, -1},
                        {0.625F, -1, 0, 1}});
  EXPECT_EQ(cache.getSampleTime(1), 0.75F);
}

TEST(RecordedLookupTest, nonUniform) {
  OpenCache cache((std::string(VEK_GOLDEN_DIR) + "/nonuniform_points.vek").c_str());
  expectLookups(cache, {{4.0F, 4, 4, 4},
                        {-1.99800003F, -1, 1, 1},
                        {-2.00200009F, -1, -1, 0},
                        {0.500500023F, -1, 3, 3},
                        {0.499500006F, -1, 2, 2},
                        {10.0019999F, -1, 5, -1},
                        {7.0F, -1, 5, 5}});
  EXPECT_EQ(cache.getSampleTime(5), 10.0F);
}

// --- Short names --------------------------------------------------------------------------------

TEST(ShortNameTest, isThePartAfterTheLastBar) {
  EXPECT_EQ(VekCache::shortName("|grp|obj"), "obj");
  EXPECT_EQ(VekCache::shortName("grp|sub|obj"), "obj");
  EXPECT_EQ(VekCache::shortName("|obj"), "obj");
}

TEST(ShortNameTest, isTheWholeNameWithoutABar) {
  EXPECT_EQ(VekCache::shortName("obj"), "obj");
  EXPECT_EQ(VekCache::shortName(""), "");
}

TEST(ShortNameTest, mayBeEmpty) {
  EXPECT_EQ(VekCache::shortName("|x|"), "");
  EXPECT_EQ(VekCache::shortName("|"), "");
}

TEST(ShortNameTest, keepsTheNamespace) {
  EXPECT_EQ(VekCache::shortName("|grp|ns:obj"), "ns:obj");
}

// --- Comparing names ----------------------------------------------------------------------------

TEST(CompareNamesTest, equalNamesMatch) {
  const OpenCache cache;
  EXPECT_TRUE(cache.compareNames("|a|b", "|a|b"));
  EXPECT_TRUE(cache.compareNames("", ""));
}

TEST(CompareNamesTest, equalShortNamesMatch) {
  const OpenCache cache;
  EXPECT_TRUE(cache.compareNames("|a|b", "|c|d|b"));
  EXPECT_TRUE(cache.compareNames("b", "|a|b"));
  EXPECT_TRUE(cache.compareNames("|a|b", "b"));
  EXPECT_TRUE(cache.compareNames("|a|", "|b|"));
}

TEST(CompareNamesTest, otherNamesDoNotMatch) {
  const OpenCache cache;
  EXPECT_FALSE(cache.compareNames("|a|b", "|a|c"));
  EXPECT_FALSE(cache.compareNames("|a|b", "|a|B"));
  EXPECT_FALSE(cache.compareNames("|a|b", "|b|a"));
  EXPECT_FALSE(cache.compareNames("|a|b", "|a|bb"));
  EXPECT_FALSE(cache.compareNames("|a|ns:b", "|a|b"));
  EXPECT_FALSE(cache.compareNames("|a", ""));
}

TEST(CompareNamesTest, matchesAreTracedAtLevelThree) {
  const OpenCache cache;
  const Verbosity raised(3);
  EXPECT_EQ(captureStderr([&] { cache.compareNames("|a|b", "|a|b"); }),
            "long name match 1st in 2nd string\n|a|b\n|a|b\n");
  EXPECT_EQ(captureStderr([&] { cache.compareNames("|a|b", "|c|b"); }),
            "short name match \n|a|b\n|c|b\n");
  EXPECT_EQ(captureStderr([&] { cache.compareNames("|a|b", "|c|d"); }), "");
}

TEST(CompareNamesTest, nothingIsTracedBelowLevelThree) {
  const OpenCache cache;
  const Verbosity raised(2);
  EXPECT_EQ(captureStderr([&] { cache.compareNames("|a|b", "|a|b"); }), "");
}

// --- Finding objects ----------------------------------------------------------------------------

class FindObjectTest : public ::testing::Test {
 protected:
  void define(const std::vector<const char*>& names) {
    for (const char* name : names) cache.metadata.addDOBJ(name);
  }
  OpenCache cache;
};

TEST_F(FindObjectTest, nothingIsFoundWithoutObjects) {
  EXPECT_EQ(cache.findObjectIndex("|a", 0), -1);
}

TEST_F(FindObjectTest, emptyNameIsNotFound) {
  define({"", "|a", "|x|"});
  EXPECT_EQ(cache.findObjectIndex("", 0), -1);
}

TEST_F(FindObjectTest, nameIsFoundWithAnyHint) {
  define({"|a", "|b", "|c"});
  for (const int hint : {0, 1, 2, 3, 7, -1, kLargestInt, kSmallestInt}) {
    EXPECT_EQ(cache.findObjectIndex("|a", hint), 0) << hint;
    EXPECT_EQ(cache.findObjectIndex("|b", hint), 1) << hint;
    EXPECT_EQ(cache.findObjectIndex("|c", hint), 2) << hint;
    EXPECT_EQ(cache.findObjectIndex("|d", hint), -1) << hint;
  }
}

TEST_F(FindObjectTest, searchStartsAtTheHintAndWrapsAround) {
  define({"|p|x", "|q|y", "|r|x", "|s|y"});
  EXPECT_EQ(cache.findObjectIndex("x", 0), 0);
  EXPECT_EQ(cache.findObjectIndex("x", 1), 2);
  EXPECT_EQ(cache.findObjectIndex("x", 2), 2);
  EXPECT_EQ(cache.findObjectIndex("x", 3), 0);
  EXPECT_EQ(cache.findObjectIndex("y", 2), 3);
}

TEST_F(FindObjectTest, hintOutsideTheTableStartsAtZero) {
  define({"|p|x", "|q|x", "|r|x"});
  for (const int hint : {3, 4, 100, -1, -2, kLargestInt, kSmallestInt}) {
    EXPECT_EQ(cache.findObjectIndex("x", hint), 0) << hint;
  }
}

TEST_F(FindObjectTest, hintIsZeroWhenNotGiven) {
  define({"|p|x", "|q|x"});
  EXPECT_EQ(cache.findObjectIndex("x"), 0);
}

// The first object that matches in either way wins, a full match further on does not.
TEST_F(FindObjectTest, shortNameMatchComesBeforeALaterFullMatch) {
  define({"|other|obj", "|grp|obj"});
  EXPECT_EQ(cache.findObjectIndex("|grp|obj", 0), 0);
  EXPECT_EQ(cache.findObjectIndex("|grp|obj", 1), 1);
}

TEST_F(FindObjectTest, namespaceOfTheQueryIsStripped) {
  define({"|p", "|q", "|r", "|grp|obj", "|s"});
  EXPECT_EQ(cache.findObjectIndex("|grp|ns:obj", 7), 3);
}

TEST_F(FindObjectTest, strippedQueryMatchesByShortName) {
  define({"|p", "|q", "|r", "|other|obj", "|s"});
  EXPECT_EQ(cache.findObjectIndex("|grp|ns:obj", 7), 3);
}

TEST_F(FindObjectTest, objectNamesAreNotStripped) {
  define({"|a:b|c:d"});
  EXPECT_EQ(cache.findObjectIndex("|a:b|c:d", 0), -1);
  EXPECT_EQ(cache.findObjectIndex("|c:d", 0), -1);
  EXPECT_EQ(cache.findObjectIndex("c:d", 0), -1);
}

TEST_F(FindObjectTest, objectsInFileOrderAreFoundAtTheFirstProbe) {
  define({"|a", "|b", "|c", "|d"});
  const Verbosity raised(3);
  int hint = 0;
  for (const char* name : {"|a", "|b", "|c", "|d"}) {
    int found = -1;
    const std::string trace = captureStderr([&] { found = cache.findObjectIndex(name, hint); });
    EXPECT_EQ(found, hint);
    EXPECT_EQ(trace,
              std::string("long name match 1st in 2nd string\n") + name + "\n" + name + "\n");
    hint = found + 1;
  }
}

TEST_F(FindObjectTest, lookupIsTracedAtLevelThree) {
  define({"|z", "|p|obj"});
  const Verbosity raised(3);
  EXPECT_EQ(captureStderr([&] { cache.findObjectIndex("|ns:grp|ns:obj", 0); }),
            "|ns:grp|ns:obj\n|grp|obj\nshort name match \n|p|obj\n|grp|obj\n");
}

TEST_F(FindObjectTest, nameWithoutNamespaceIsNotTraced) {
  define({"|z"});
  const Verbosity raised(3);
  EXPECT_EQ(captureStderr([&] { cache.findObjectIndex("|grp|obj", 0); }), "");
}

TEST_F(FindObjectTest, nothingIsTracedBelowLevelThree) {
  define({"|grp|obj"});
  const Verbosity raised(2);
  EXPECT_EQ(captureStderr([&] { cache.findObjectIndex("|ns:grp|ns:obj", 0); }), "");
}

struct Stripped {
  const char* query;
  const char* key;
};

// The key that a query becomes, seen in the trace.
TEST_F(FindObjectTest, namespacesAreStrippedFromEveryComponent) {
  define({"|never"});
  const std::vector<Stripped> table = {
      {"|ns:a|ns:b", "|a|b"},
      {"|ns:a|b", "|a|b"},
      {"|a|ns:b", "|a|b"},
      {"|n1:n2:a", "|a"},
      {"|n1:n2:a|n3:b|c", "|a|b|c"},
      {"a|ns:b", "a|b"},
      {"|ns:|b", "||b"},
      {"|a|b:", "|a|"},
      {"|a:b:", "|"},
      // A first component without a leading bar keeps its first character.
      {"ns:a", "na"},
      {"ns:a|b", "na|b"},
      {"long:a|ns:b", "la|b"},
      {"a:", "a"},
      // A name that begins with the colon.
      {":", ""},
      {":a", "a"},
      {":a|b", "a|b"},
      {":a|ns:b", "a|b"},
      {"::a", "a"},
      {":|a", "|a"},
      {"|:a", "|a"},
      {"|a|", nullptr},
      {"|a:|", "||"},
  };
  const Verbosity raised(3);
  for (const Stripped& s : table) {
    const std::string trace = captureStderr([&] { cache.findObjectIndex(s.query, 0); });
    const std::string expected = s.key == nullptr ? "" : std::string(s.query) + "\n" + s.key + "\n";
    EXPECT_EQ(trace, expected) << s.query;
  }
}

TEST_F(FindObjectTest, strippedKeysFindTheirObjects) {
  define({"|a|b", "na", "|x|", "||c"});
  EXPECT_EQ(cache.findObjectIndex("|ns:a|ns:b", 0), 0);
  EXPECT_EQ(cache.findObjectIndex("ns:b", 0), -1);
  EXPECT_EQ(cache.findObjectIndex("ns:a", 0), 1);
  EXPECT_EQ(cache.findObjectIndex("|ns:", 0), 2);
  EXPECT_EQ(cache.findObjectIndex(":", 0), 2);
  EXPECT_EQ(cache.findObjectIndex("|ns:|c", 0), 3);
}

// The first object from the hint on, of names of which many share their ends or are the end of
// another.
TEST_F(FindObjectTest, randomNamesAreFoundAsByComparingOneAfterAnother) {
  std::mt19937 random(11);
  const auto randomName = [&] {
    static const char* const parts[] = {"a", "b", "ab", "bab", "|", "|", "", "|a", "xab"};
    std::string name;
    for (auto i = random() % 5; i > 0; --i) name += parts[random() % std::size(parts)];
    return name;
  };
  for (int round = 0; round < 200; ++round) {
    std::vector<std::string> names;
    for (auto i = random() % 12; i > 0; --i) names.push_back(randomName());
    cache.metadata.reset();
    for (const std::string& name : names) cache.metadata.addDOBJ(name.c_str());
    const int count = static_cast<int>(names.size());
    for (int query = 0; query < 50; ++query) {
      const std::string key = randomName();
      const int hint = static_cast<int>(random() % 14) - 1;
      int expected = -1;
      for (int k = 0; k < count && expected < 0 && !key.empty(); ++k) {
        const int i = ((hint >= 0 && hint < count ? hint : 0) + k) % count;
        if (cache.compareNames(names[static_cast<std::size_t>(i)], key)) expected = i;
      }
      EXPECT_EQ(cache.findObjectIndex(key, hint), expected) << key << " from " << hint;
    }
  }
}

TEST_F(FindObjectTest, renamedObjectsAreFoundByTheirNewNames) {
  define({"|a", "|b"});
  EXPECT_EQ(cache.findObjectIndex("|b", 0), 1);
  cache.metadata.dobjs[0]->name = "|b";
  EXPECT_EQ(cache.findObjectIndex("|b", 0), 0);
  EXPECT_EQ(cache.findObjectIndex("|a", 0), -1);
}

TEST_F(FindObjectTest, recordedNames) {
  const OpenCache names((std::string(VEK_GOLDEN_DIR) + "/names.vek").c_str());
  ASSERT_EQ(names.getNumObjects(), 12);
  struct Query {
    const char* name;
    int hint, index;
  };
  const std::vector<Query> table = {{"|grp|obj", 0, 0},       {"|grp|obj", 9, 0},
                                    {"|grp|obj", 13, 0},      {"|grp|obj", 1, 3},
                                    {"|grp|ns:obj", 12, 0},   {"|ns:grp|ns:obj", 6, 0},
                                    {"|ns:grp|ns:obj", 2, 3}, {"nowhere", 1, -1},
                                    {"nowhere", 11, -1},      {"|a|b|c", 0, 5},
                                    {"|A|B|C", 5, 7},         {"|a:b|c:d", 6, -1},
                                    {"ns:a", 0, 9},           {"last one|with blank", 0, 11}};
  for (const Query& q : table) {
    EXPECT_EQ(names.findObjectIndex(q.name, q.hint), q.index) << q.name << ' ' << q.hint;
  }
}

}  // namespace
