// SPDX-License-Identifier: Apache-2.0
//
// Evaluation at a time: the request, the choice of samples, and the blending of attributes.

#include <gmock/gmock.h>

#include <climits>
#include <cmath>

#include "VekHelperObj.h"
#include "ViewScene.h"

namespace {

using namespace Vek;
using namespace VekTest;
using namespace VekTest::Views;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

VekInterpolationHints hintsOf(int interpolation) {
  VekInterpolationHints hints;
  hints.interpolation = interpolation;
  return hints;
}

/// Which samples were chosen for a time.
struct Choice {
  bool blend = false;
  std::vector<int> indices = {};
  std::vector<float> times = {};
};

struct Result {
  bool ok = false;
  std::vector<double> values;
  int dimension = -5;
};

class VekTimeEvaluationTest : public ViewTest {
 protected:
  Choice choose(float time, int interpolation, Choice before = {}) {
    VekInterpolationHints hints = hintsOf(interpolation);
    before.blend = view().getEvalTimeAndSampleIndices(time, hints, before.indices, before.times);
    return before;
  }
  Result evaluate(float time, int interpolation, int attr = 0) {
    VekInterpolationHints hints = hintsOf(interpolation);
    Result result;
    result.values = {-77, -77, -77};
    captureStderr([&] {
      result.ok = view().getAttrAtTime(time, attr, hints, result.values, result.dimension);
    });
    return result;
  }
  void expectValue(float time, int interpolation, double expected) {
    const Result r = evaluate(time, interpolation);
    EXPECT_TRUE(r.ok) << time << " with " << interpolation;
    EXPECT_THAT(r.values, ElementsAre(expected)) << time << " with " << interpolation;
  }
  void expectFailure(float time, int interpolation) {
    EXPECT_FALSE(evaluate(time, interpolation).ok) << time << " with " << interpolation;
  }
};

/// As many empty samples, one frame apart from frame 0 on.
Scene emptyScene(std::size_t samples) {
  return {{definition("o")}, {samples, std::vector<ByteImage>(1)}};
}
/// An object with one animated attribute, whose chunk in each sample is given.
Scene attrScene(const std::vector<ByteImage>& chunks) {
  Scene scene = {{definition("o", attributes({"a"}))}};
  for (const ByteImage& chunk : chunks) scene.samples.push_back({attrValues({chunk})});
  return scene;
}
/// The same with one double value in each sample.
Scene valueScene(const std::vector<double>& values) {
  std::vector<ByteImage> chunks;
  for (const double v : values) chunks.push_back(doubleLeaf("ATTR", {v}, 1));
  return attrScene(chunks);
}
Scene atTimes(Scene scene, const std::vector<float>& times) {
  scene.times = times;
  return scene;
}

std::vector<float> timesOf(const std::vector<int>& indices) {
  return {indices.begin(), indices.end()};
}

// --- The request ---------------------------------------------------------------------------------

TEST(VekInterpolationHintsTest, describeNamesInterpolationAndOption) {
  VekInterpolationHints hints = {1, {"none", "linear", "quadratic"}, 0, {"zero", "one"}};
  EXPECT_EQ(hints.describe(), "linear");
  hints.option = 1;
  EXPECT_EQ(hints.describe(), "linear one");
  hints.interpolation = 0;
  EXPECT_EQ(hints.describe(), "none one");
  hints.option = -3;
  EXPECT_EQ(hints.describe(), "none");
}

TEST(VekInterpolationHintsTest, describeReadsNoNamePastTheLists) {
  const VekInterpolationHints lists = {0, {"none"}, 0, {"zero"}};
  for (const int index : {-1, 1, 5, INT_MAX, INT_MIN}) {
    VekInterpolationHints hints = lists;
    hints.interpolation = index;
    EXPECT_EQ(hints.describe(), "") << index;
    hints = lists;
    hints.option = index;
    EXPECT_EQ(hints.describe(), index >= 1 ? "none " : "none") << index;
  }
  EXPECT_EQ(VekInterpolationHints().describe(), "");
}

// --- The choice of samples -----------------------------------------------------------------------

TEST_F(VekTimeEvaluationTest, withoutSamplesNothingIsChosen) {
  open(emptyScene(0));
  for (const int interpolation : {0, 1, 2, 3, 5}) {
    const auto n = static_cast<std::size_t>(interpolation + 1);
    const Choice c = choose(7.5F, interpolation);
    EXPECT_FALSE(c.blend);
    EXPECT_EQ(c.indices, std::vector<int>(n, -1));
    EXPECT_EQ(c.times, std::vector<float>(n, 7.5F));
  }
}

TEST_F(VekTimeEvaluationTest, beforeTheFirstTimeNothingIsChosen) {
  open(emptyScene(5));
  for (const float time : {-0.0005F, -1.0F, -kInfinity}) {
    const Choice c = choose(time, 2, {true, {4, 4, 4}, {4, 4, 4}});
    EXPECT_FALSE(c.blend);
    EXPECT_THAT(c.indices, ElementsAre(-1, -1, -1));
    EXPECT_THAT(c.times, ElementsAre(time, time, time));
  }
}

TEST_F(VekTimeEvaluationTest, anExactHitSetsTheFirstEntryOnly) {
  open(emptyScene(5));
  Choice c = choose(2.0F, 3);
  EXPECT_FALSE(c.blend);
  EXPECT_THAT(c.indices, ElementsAre(2, 0, 0, 0));
  EXPECT_THAT(c.times, ElementsAre(2, 0, 0, 0));
  c = choose(2.0005F, 2, {true, {7, 8}, {17, 18, 19, 20}});
  EXPECT_FALSE(c.blend);
  EXPECT_THAT(c.indices, ElementsAre(2, 8, 0)) << "entries from before stay, new ones are 0";
  EXPECT_THAT(c.times, ElementsAre(2.0005F, 18, 19));
  EXPECT_THAT(choose(4.0F, 1).indices, ElementsAre(4, 0)) << "the end is hit before it is passed";
  EXPECT_THAT(choose(4.0005F, 1).times, ElementsAre(4.0005F, 0));
}

TEST_F(VekTimeEvaluationTest, aHitLiesLessThanAThousandthAfterTheSample) {
  open(emptyScene(5));
  const float limit = 0.001F;  // the smallest float that is not less than a thousandth
  EXPECT_TRUE(choose(limit, 1).blend);
  EXPECT_FALSE(choose(std::nextafter(limit, 0.0F), 1).blend);
  EXPECT_FALSE(choose(8392802.0F / 4194304.0F, 1).blend);  // 2 + 0.00099993
  EXPECT_TRUE(choose(8392803.0F / 4194304.0F, 1).blend);   // 2 + 0.00100017
}

TEST_F(VekTimeEvaluationTest, aUniformTimeJustBeforeASampleIsNoHit) {
  open(emptyScene(5));
  const Choice c = choose(1.9995F, 1);
  EXPECT_TRUE(c.blend);
  EXPECT_THAT(c.indices, ElementsAre(1, 2));
}

TEST_F(VekTimeEvaluationTest, aNonUniformTimeJustBeforeASampleIsAHit) {
  open(atTimes(emptyScene(3), {0, 2, 5}));
  const Choice c = choose(1.9995F, 1);
  EXPECT_FALSE(c.blend);
  EXPECT_THAT(c.indices, ElementsAre(1, 0));
  EXPECT_THAT(c.times, ElementsAre(1.9995F, 0));
  EXPECT_TRUE(choose(1.998F, 1).blend);
  EXPECT_TRUE(choose(2.0005F, 1).blend) << "closer to the sample before, but looked up after it";
}

TEST_F(VekTimeEvaluationTest, afterTheEndItIsTheLastSample) {
  open(emptyScene(5));
  for (const float time : {4.002F, 4.5F, 1e30F, kInfinity}) {
    const Choice c = choose(time, 3);
    EXPECT_FALSE(c.blend);
    EXPECT_THAT(c.indices, ElementsAre(4, 4, 4, 4));
    EXPECT_THAT(c.times, ElementsAre(4, 4, 4, 4));
  }
}

/// The runs for the times 0.5, 1.5 and so on.
struct SampleRuns {
  std::size_t samples;
  int interpolation;
  std::vector<std::vector<int>> runs;
};

const std::vector<SampleRuns> kRuns = {
    // One sample and two are never pulled back.
    {5, 0, {{0}, {1}, {2}, {3}}},
    {5, 1, {{0, 1}, {1, 2}, {2, 3}, {3, 4}}},
    // Quadratic runs are pulled back where they would just fit as well.
    {2, 2, {{0, 1, 1}}},
    {3, 2, {{0, 1, 2}, {0, 1, 2}}},
    {4, 2, {{0, 1, 2}, {0, 1, 2}, {1, 2, 3}}},
    {5, 2, {{0, 1, 2}, {1, 2, 3}, {1, 2, 3}, {2, 3, 4}}},
    {6, 2, {{0, 1, 2}, {1, 2, 3}, {2, 3, 4}, {2, 3, 4}, {3, 4, 5}}},
    // Cubic.
    {2, 3, {{0, 1, 1, 1}}},
    {3, 3, {{0, 1, 2, 2}, {0, 1, 2, 2}}},
    {4, 3, {{0, 1, 2, 3}, {0, 1, 2, 3}, {0, 1, 2, 3}}},
    {5, 3, {{0, 1, 2, 3}, {0, 1, 2, 3}, {1, 2, 3, 4}, {1, 2, 3, 4}}},
    {6, 3, {{0, 1, 2, 3}, {1, 2, 3, 4}, {1, 2, 3, 4}, {2, 3, 4, 5}, {2, 3, 4, 5}}},
    {7, 3, {{0, 1, 2, 3}, {1, 2, 3, 4}, {2, 3, 4, 5}, {2, 3, 4, 5}, {3, 4, 5, 6}, {3, 4, 5, 6}}},
    // More samples than any kernel takes.
    {5, 4, {{0, 1, 2, 3, 4}, {0, 1, 2, 3, 4}, {0, 1, 2, 3, 4}, {1, 2, 3, 4, 4}}},
    {4, 5, {{0, 1, 2, 3, 3, 3}, {0, 1, 2, 3, 3, 3}, {0, 1, 2, 3, 3, 3}}}};

TEST_F(VekTimeEvaluationTest, theRunIsPulledBackFromTheEnd) {
  for (const SampleRuns& row : kRuns) {
    open(emptyScene(row.samples));
    for (std::size_t i = 0; i < row.runs.size(); ++i) {
      SCOPED_TRACE(::testing::Message()
                   << i << ".5 of " << row.samples << " samples with " << row.interpolation);
      const Choice c =
          choose(static_cast<float>(i) + 0.5F, row.interpolation, {false, {9, 9, 9}, {9}});
      EXPECT_TRUE(c.blend);
      EXPECT_THAT(c.indices, ElementsAreArray(row.runs[i]));
      EXPECT_THAT(c.times, ElementsAreArray(timesOf(row.runs[i])));
    }
  }
}

TEST_F(VekTimeEvaluationTest, theLongerTheRunTheEarlierItIsPulledBack) {
  open(emptyScene(20));
  EXPECT_THAT(choose(13.5F, 5).indices, ElementsAre(13, 14, 15, 16, 17, 18));
  EXPECT_THAT(choose(15.5F, 5).indices, ElementsAre(14, 15, 16, 17, 18, 19));
  EXPECT_THAT(choose(18.5F, 5).indices, ElementsAre(15, 16, 17, 18, 19, 19));
}

TEST_F(VekTimeEvaluationTest, withoutAnySampleToChooseNothingIsFilled) {
  open(emptyScene(5));
  for (const int interpolation : {-1, -2, -5, INT_MIN}) {
    const Choice c = choose(2.5F, interpolation, {false, {9, 9}, {9, 9}});
    EXPECT_TRUE(c.blend) << interpolation;
    EXPECT_THAT(c.indices, IsEmpty()) << interpolation;
    EXPECT_THAT(c.times, IsEmpty()) << interpolation;
    for (const float time : {-1.0F, 2.0F, 4.0F, 9.0F}) {
      const Choice bad = choose(time, interpolation, {true, {9, 9}, {9, 9}});
      EXPECT_FALSE(bad.blend) << time;
      EXPECT_THAT(bad.indices, IsEmpty()) << time;
    }
  }
}

TEST_F(VekTimeEvaluationTest, nonUniformRunsBeginWithTheLaterSample) {
  open(atTimes(emptyScene(5), {0, 1, 3, 4, 10}));
  Choice c = choose(2.0F, 0);
  EXPECT_TRUE(c.blend);
  EXPECT_THAT(c.indices, ElementsAre(2));
  EXPECT_THAT(c.times, ElementsAre(3));
  c = choose(2.0F, 1);
  EXPECT_THAT(c.indices, ElementsAre(2, 3));
  EXPECT_THAT(c.times, ElementsAre(3, 4));
  c = choose(2.0F, 2);  // 2 + 3 reaches 5, so 1 and one sample less: 1 + 2 does not
  EXPECT_THAT(c.indices, ElementsAre(1, 2, 3));
  EXPECT_THAT(c.times, ElementsAre(1, 3, 4));
  c = choose(0.5F, 3);  // 1 + 4 reaches 5, so 0
  EXPECT_THAT(c.indices, ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(c.times, ElementsAre(0, 1, 3, 4));
}

TEST_F(VekTimeEvaluationTest, theLastNonUniformIntervalRepeatsItsSample) {
  open(atTimes(emptyScene(5), {0, 1, 3, 4, 10}));
  Choice c = choose(5.0F, 1);
  EXPECT_TRUE(c.blend);
  EXPECT_THAT(c.indices, ElementsAre(4, 4));
  EXPECT_THAT(c.times, ElementsAre(10, 10));
  c = choose(5.0F, 2);  // 4 + 3, 3 + 2, 2 + 1
  EXPECT_THAT(c.indices, ElementsAre(2, 3, 4));
  EXPECT_THAT(c.times, ElementsAre(3, 4, 10));
}

TEST_F(VekTimeEvaluationTest, aTimeBetweenTheLastSampleAndTheEndIsInside) {
  Scene scene = emptyScene(5);
  scene.lastTime = 4.25F;
  open(scene);
  Choice c = choose(4.125F, 1);
  EXPECT_TRUE(c.blend);
  EXPECT_THAT(c.indices, ElementsAre(4, 4));
  EXPECT_THAT(c.times, ElementsAre(4, 4));
  c = choose(4.125F, 3);  // 4 + 4, 3 + 3, 2 + 2
  EXPECT_THAT(c.indices, ElementsAre(2, 3, 4, 4));
  c = choose(4.25F, 1);
  EXPECT_FALSE(c.blend);
  EXPECT_THAT(c.times, ElementsAre(4.25F, 4.25F));
}

// --- Blending ------------------------------------------------------------------------------------

TEST_F(VekTimeEvaluationTest, linearBlendsTwoSamples) {
  open(valueScene({0, 10, 20, 30, 40}));
  expectValue(2.5F, 1, 25);
  expectValue(0.25F, 1, 2.5);
  expectValue(3.75F, 1, 37.5);
}

TEST_F(VekTimeEvaluationTest, anExactHitIsTheSampleNotABlend) {
  open(valueScene({0, 10, 20, 30, 40}));
  for (const int interpolation : {-5, -1, 0, 1, 2, 3, 5}) {
    expectValue(2.0F, interpolation, 20);
    expectValue(2.0005F, interpolation, 20);
    expectValue(0.0F, interpolation, 0);
  }
}

TEST_F(VekTimeEvaluationTest, fromTheEndOnItIsTheLastSample) {
  open(valueScene({0, 10, 20, 30, 40}));
  for (const int interpolation : {-5, -1, 0, 1, 2, 3, 5}) {
    for (const float time : {4.0F, 4.0005F, 4.5F, 1000.0F, kInfinity}) {
      expectValue(time, interpolation, 40);
    }
  }
}

TEST_F(VekTimeEvaluationTest, beforeTheFirstTimeAnAnimatedAttributeFails) {
  open(valueScene({0, 10, 20, 30, 40}));
  for (const int interpolation : {-5, -1, 0, 1, 2, 3, 5}) {
    for (const float time : {-0.0005F, -1.0F, -kInfinity}) {
      const Result r = evaluate(time, interpolation);
      EXPECT_FALSE(r.ok);
      EXPECT_THAT(r.values, IsEmpty());
      EXPECT_EQ(r.dimension, 0);
    }
  }
}

TEST_F(VekTimeEvaluationTest, quadraticIsMeasuredFromItsSecondSample) {
  open(valueScene({0, 10, 40, 90, 160}));
  expectValue(1.5F, 2, 22.5);  // 1, 2, 3 at t = -0.5
  expectValue(2.5F, 2, 62.5);  // 1, 2, 3 at t = 0.5: 40 + 0.25 * 80 + 0.125 * 20
  open(valueScene({1, 2, 4, 8, 100}));
  expectValue(1.5F, 2, 2.75);  // 4 + 0.5 * 6 * -0.5 + 0.5 * 2 * 0.25
  expectValue(3.5F, 2, 43);    // 2, 3, 4 at t = 0.5: 8 + 0.25 * 96 + 0.125 * 88
}

TEST_F(VekTimeEvaluationTest, cubicIsMeasuredFromItsSecondSample) {
  open(valueScene({0, 10, 40, 90, 100}));
  // 1 to 4 at t = 1.5: weights -0.1875, 0.4375, 0.1875, 0.5625.
  expectValue(3.5F, 3, 88.75);
  open(valueScene({1, 2, 4, 8, 0, 0}));
  // 0 to 3 at t = -0.5: weights 0.5625, 0.1875, 0.4375, -0.1875.
  expectValue(0.5F, 3, 1.1875);
}

TEST_F(VekTimeEvaluationTest, cubicOfTwoSamplesHasNoDistanceToMeasure) {
  open(valueScene({10, 20}));
  for (const int interpolation : {2, 3}) {
    const Result r = evaluate(0.5F, interpolation);
    EXPECT_TRUE(r.ok);
    ASSERT_EQ(r.values.size(), 1U);
    EXPECT_FALSE(std::isfinite(r.values[0]));
  }
}

TEST_F(VekTimeEvaluationTest, interpolationZeroTakesTheSampleBefore) {
  open(valueScene({0, 10, 40, 90, 160}));
  expectValue(1.5F, 0, 10);
  expectValue(3.999F, 0, 90);
}

TEST_F(VekTimeEvaluationTest, negativeInterpolationBehavesAsZero) {
  open(valueScene({0, 10, 40, 90, 160}));
  for (const int interpolation : {-1, -2, -5, INT_MIN}) {
    expectValue(1.5F, interpolation, 10);
    expectValue(3.5F, interpolation, 90);
  }
}

TEST_F(VekTimeEvaluationTest, interpolationFiveTakesTheFirstOfThePulledBackRun) {
  open(valueScene({5, 10, 40, 90, 160}));
  expectValue(2.5F, 5, 5);   // 2 + 6 and 1 + 5 reach 5
  expectValue(2.5F, 4, 5);   // 2 + 5 and 1 + 4
  expectValue(3.5F, 4, 10);  // 3 + 5 and 2 + 4, but not 1 + 3
  std::vector<double> values;
  for (int i = 0; i < 20; ++i) values.push_back(i);
  open(valueScene(values));
  expectValue(2.5F, 5, 2);
  expectValue(15.5F, 5, 14);
}

TEST_F(VekTimeEvaluationTest, nonUniformBlendsReachBackwards) {
  open(atTimes(valueScene({7, 10, 20, 50, 60}), {0, 1, 3, 4, 10}));
  expectValue(2.0F, 0, 20);   // the later sample
  expectValue(2.0F, 1, -10);  // 2 and 3 at t = -1: 2 * 20 - 50
  expectValue(2.0F, 2, 10);   // 1, 2, 3 at t = -1: the first of them
  expectValue(2.0F, 5, 7);    // pulled back to the start
}

TEST_F(VekTimeEvaluationTest, theLastNonUniformIntervalIsNotFinite) {
  open(atTimes(valueScene({7, 10, 20, 50, 60}), {0, 1, 3, 4, 10}));
  const Result r = evaluate(5.0F, 1);
  EXPECT_TRUE(r.ok);
  ASSERT_EQ(r.values.size(), 1U);
  EXPECT_FALSE(std::isfinite(r.values[0]));
  // The pulled-back run 2, 3, 4 at t = 1 / 6, in single precision.
  const double t = static_cast<double>(1.0F / 6.0F);
  const Result quadratic = evaluate(5.0F, 2);
  ASSERT_EQ(quadratic.values.size(), 1U);
  EXPECT_DOUBLE_EQ(quadratic.values[0], 50 + 0.5 * 40 * t + 0.5 * (20 - 100 + 60) * t * t);
}

TEST_F(VekTimeEvaluationTest, thePositionIsComputedInSinglePrecision) {
  Scene scene = valueScene({0, 1});
  scene.firstTime = 0.1F;
  scene.rate = 10.0F;
  scene.lastTime = 0.2F;
  open(scene);
  // 6710887 / 13421773 lies between 0.5 and the next float, nearer to the latter.
  expectValue(0.15F, 1, 0.5 + 1.0 / 16777216.0);
}

TEST_F(VekTimeEvaluationTest, valuesAreBlendedInDoublePrecision) {
  open(valueScene({0.1, 0.3, 1e300}));
  const Result r = evaluate(0.5F, 1);
  ASSERT_EQ(r.values.size(), 1U);
  EXPECT_DOUBLE_EQ(r.values[0], 0.2);
  expectValue(1.5F, 1, 0.5 * 0.3 + 0.5 * 1e300);
}

TEST_F(VekTimeEvaluationTest, everyElementIsBlended) {
  open(attrScene({doubleLeaf("ATTR", {0, 1, 2, 3}, 4), doubleLeaf("ATTR", {10, 21, 32, 43}, 4),
                  doubleLeaf("ATTR", {20, 41, 62, 83}, 4)}));
  for (const int interpolation : {1, 2}) {
    const Result r = evaluate(0.5F, interpolation);
    EXPECT_TRUE(r.ok);
    EXPECT_THAT(r.values, ElementsAre(5, 11, 17, 23));
    EXPECT_EQ(r.dimension, 4);
  }
  EXPECT_THAT(evaluate(1.0F, 1).values, ElementsAre(10, 21, 32, 43));
}

TEST_F(VekTimeEvaluationTest, optionDoesNotMatterToAttributes) {
  open(valueScene({0, 10}));
  for (const int option : {-1, 0, 1, 9}) {
    VekInterpolationHints hints = {1, {}, option, {}};
    std::vector<double> values;
    int dimension = 0;
    EXPECT_TRUE(view().getAttrAtTime(0.5F, 0, hints, values, dimension));
    EXPECT_THAT(values, ElementsAre(5));
  }
}

TEST_F(VekTimeEvaluationTest, aStaticAttributeIsTheSameAtEveryTime) {
  Scene scene = emptyScene(5);
  scene.definitions = {
      definition("o", attributes({}, {{"s", doubleLeaf("ATTR", {1.5, 2.5, -4}, 3)}}))};
  open(scene);
  for (const int interpolation : {-5, -1, 0, 1, 2, 3, 5}) {
    for (const float time : {-3.0F, 0.0F, 0.5F, 1.25F, 2.5F, 3.5F, 4.0F, 9.0F}) {
      const Result r = evaluate(time, interpolation);
      EXPECT_TRUE(r.ok) << time << " with " << interpolation;
      EXPECT_THAT(r.values, ElementsAre(1.5, 2.5, -4)) << time << " with " << interpolation;
      EXPECT_EQ(r.dimension, 3);
    }
  }
}

TEST_F(VekTimeEvaluationTest, withoutSamplesOnlyStaticAttributesAreThere) {
  open({{definition("o", attributes({"a"}, {{"s", doubleLeaf("ATTR", {3}, 1)}}))}});
  EXPECT_FALSE(evaluate(0.5F, 2, 0).ok);
  EXPECT_THAT(evaluate(0.5F, 2, 1).values, ElementsAre(3));
}

// --- Failures ------------------------------------------------------------------------------------

TEST_F(VekTimeEvaluationTest, attributesOfOtherTypesFailWithTheirDimension) {
  for (const ByteImage& chunk : {floatLeaf("ATTR", {1, 2, 3}, 3), intLeaf("ATTR", {1, 2, 3}, 3),
                                 int64Leaf("ATTR", {1, 2, 3}, 3),
                                 ByteImage().chunk("ATTR", 2, ByteImage().cstr("a"), 0, 3)}) {
    open(attrScene({5, chunk}));
    for (const int interpolation : {-1, 0, 1, 2, 3, 5}) {
      for (const float time : {0.0F, 1.5F, 9.0F}) {
        const Result r = evaluate(time, interpolation);
        EXPECT_FALSE(r.ok) << time << " with " << interpolation;
        EXPECT_EQ(r.dimension, 3) << time << " with " << interpolation;
      }
    }
    EXPECT_THAT(evaluate(0.0F, 1).values, IsEmpty());
  }
}

TEST_F(VekTimeEvaluationTest, anAttributeThatIsNotThereFails) {
  Scene scene = valueScene({0, 10});
  open(scene);
  for (const int attr : {-1, 1, INT_MAX, INT_MIN}) {
    for (const float time : {0.0F, 0.5F}) {
      const Result r = evaluate(time, 1, attr);
      EXPECT_FALSE(r.ok) << attr;
      EXPECT_THAT(r.values, IsEmpty());
      EXPECT_EQ(r.dimension, 0);
    }
  }
  scene.definitions = {definition("without attributes")};
  open(scene);
  EXPECT_FALSE(evaluate(0.5F, 1).ok);
}

TEST_F(VekTimeEvaluationTest, dataMissingAtAChosenSampleFails) {
  Scene scene = valueScene({0, 10, 20, 30, 40, 50, 60});
  scene.samples[3] = {ByteImage()};
  open(scene);
  expectFailure(2.5F, 1);
  expectFailure(1.5F, 2);
  expectFailure(0.5F, 3);
  expectFailure(3.0F, 1);
  expectFailure(3.5F, 0);
  expectValue(1.5F, 1, 15);
  expectValue(0.5F, 2, 5);
  expectValue(2.5F, 0, 20);
}

TEST_F(VekTimeEvaluationTest, theFirstFailingReadEndsTheCall) {
  open(attrScene({doubleLeaf("ATTR", {1, 2}, 2), floatLeaf("ATTR", {1, 2, 3}, 3),
                  doubleLeaf("ATTR", {1, 2, 3, 4}, 4), doubleLeaf("ATTR", {1, 2, 3, 4}, 4)}));
  const Result r = evaluate(0.5F, 3);
  EXPECT_FALSE(r.ok);
  EXPECT_EQ(r.dimension, 3) << "set by the read that failed, the later ones are not made";
}

TEST_F(VekTimeEvaluationTest, aLaterSampleShorterThanTheFirstFails) {
  open(attrScene({doubleLeaf("ATTR", {1, 2}), doubleLeaf("ATTR", {3, 4}), doubleLeaf("ATTR", {5}),
                  doubleLeaf("ATTR", {7, 8})}));
  EXPECT_THAT(evaluate(0.5F, 1).values, ElementsAre(2, 3));
  expectFailure(1.5F, 1);
  expectFailure(0.5F, 2);
  expectFailure(0.5F, 3);
  EXPECT_THAT(evaluate(2.0F, 1).values, ElementsAre(5));
}

TEST_F(VekTimeEvaluationTest, theFirstSampleGivesTheNumberOfElements) {
  open(attrScene({doubleLeaf("ATTR", {1, 2}), doubleLeaf("ATTR", {3, 4, 900}),
                  doubleLeaf("ATTR", {5, 6, 900, 900}), doubleLeaf("ATTR", {7, 8, 900})}));
  for (const int interpolation : {1, 2, 3}) {
    const Result r = evaluate(0.5F, interpolation);
    EXPECT_TRUE(r.ok);
    EXPECT_THAT(r.values, ElementsAre(2, 3)) << interpolation;
  }
}

TEST_F(VekTimeEvaluationTest, noElementsBlendToNone) {
  open(attrScene(std::vector<ByteImage>(4, doubleLeaf("ATTR", {}, 3))));
  for (const int interpolation : {0, 1, 2, 3}) {
    const Result r = evaluate(0.5F, interpolation);
    EXPECT_TRUE(r.ok) << interpolation;
    EXPECT_THAT(r.values, IsEmpty());
    EXPECT_EQ(r.dimension, 3);
  }
}

TEST_F(VekTimeEvaluationTest, aTimeThatIsNoNumberDoesNotTrap) {
  for (const std::vector<float>& times : {std::vector<float>(), {0, 1, 3, 4, 10}}) {
    open(atTimes(valueScene({1, 10, 20, 30, 40}), times));
    for (const int interpolation : {-5, 0, 1, 2, 3, 5}) {
      const Result r = evaluate(kNaN, interpolation);
      if (r.ok && interpolation >= 1 && interpolation <= 3) {
        EXPECT_TRUE(std::isnan(r.values.at(0)));
      }
    }
  }
}

// --- A limit of samples --------------------------------------------------------------------------

TEST_F(VekTimeEvaluationTest, aLimitBelowTheSamplesOfOneEvaluationChangesNothing) {
  for (const bool keepOpen : {true, false}) {
    for (const int limit : {1, 2, 3}) {
      open(valueScene({0, 10, 40, 90, 100}), limit, keepOpen);
      for (int pass = 0; pass < 2; ++pass) {
        expectValue(1.5F, 1, 25);
        expectValue(1.5F, 2, 22.5);
        expectValue(3.5F, 3, 88.75);
        expectValue(3.5F, 0, 90);
      }
      EXPECT_EQ(cache()->getMaxSamples(), limit);
    }
  }
}

TEST_F(VekTimeEvaluationTest, aLimitOfOneStillComparesElementCounts) {
  open(attrScene({doubleLeaf("ATTR", {1, 2}), doubleLeaf("ATTR", {3, 4}), doubleLeaf("ATTR", {5})}),
       1);
  EXPECT_THAT(evaluate(0.5F, 1).values, ElementsAre(2, 3));
  expectFailure(0.5F, 2);
}

// --- Traces --------------------------------------------------------------------------------------

std::string traceOf(OpenView v, float time, VekInterpolationHints hints) {
  std::vector<int> indices;
  std::vector<float> times;
  return captureStderr([&] { v.getEvalTimeAndSampleIndices(time, hints, indices, times); });
}

TEST_F(VekTimeEvaluationTest, theChoiceIsTracedFromLevelOne) {
  open(emptyScene(5));
  const std::vector<std::string> names = {"none", "linear", "quadratic", "cubic"};
  const std::string begin = "\nVekHelperObj::getEvalTimeAndSampleIndices for ";
  const Verbosity level(1);
  EXPECT_EQ(traceOf(view(), 2.5F, {1, names, 0, {}}),
            begin +
                "linear, numSamples: 5, evaluate at time: 2.5\n samples: 2, 3\n   times: 2, 3\n"
                " samples are good\n ...\n");
  EXPECT_EQ(traceOf(view(), 2.0F, {2, names, 1, {"", "fast"}}),
            begin +
                "quadratic fast, numSamples: 5, evaluate at time: 2\n samples: 2, 0, 0\n"
                "   times: 2, 0, 0\n samples are bad\n ...\n");
  EXPECT_EQ(traceOf(view(), -1.5F, {0, names, 0, {}}),
            begin +
                "none, numSamples: 5, evaluate at time: -1.5\n samples: -1\n   times: -1.5\n"
                " samples are bad\n ...\n");
  EXPECT_EQ(traceOf(view(), 2.5F, {-1, names, 0, {}}),
            begin +
                ", numSamples: 5, evaluate at time: 2.5\n samples:\n   times:\n"
                " samples are good\n ...\n");
}

TEST_F(VekTimeEvaluationTest, blendsAreTracedFromLevelOne) {
  open(attrScene({doubleLeaf("ATTR", {0, 1}), doubleLeaf("ATTR", {10, 11}),
                  doubleLeaf("ATTR", {20, 21}), doubleLeaf("ATTR", {30, 31})}));
  const std::vector<std::string> names = {"none", "linear", "quadratic", "cubic"};
  const std::vector<std::string> expected = {
      "", " linear t= 0.5\n 5 6\n", " quadratic t= -0.5\n 5 6\n", " cubic t= -0.5\n 5 6\n"};
  const Verbosity level(1);
  for (std::size_t i = 0; i < names.size(); ++i) {
    VekInterpolationHints hints = {static_cast<int>(i), names, 0, {}};
    std::vector<double> values;
    int dimension = 0;
    const std::string trace = captureStderr(
        [&] { EXPECT_TRUE(view().getAttrAtTime(0.5F, 0, hints, values, dimension)); });
    EXPECT_EQ(trace, traceOf(view(), 0.5F, hints) + expected[i]);
  }
}

TEST_F(VekTimeEvaluationTest, nothingIsTracedBelowLevelOne) {
  open(valueScene({0, 10}));
  for (const int v : {-1, 0}) {
    const Verbosity level(v);
    VekInterpolationHints hints = hintsOf(1);
    std::vector<double> values;
    int dimension = 0;
    EXPECT_EQ(captureStderr([&] { view().getAttrAtTime(0.5F, 0, hints, values, dimension); }), "");
  }
}

}  // namespace
