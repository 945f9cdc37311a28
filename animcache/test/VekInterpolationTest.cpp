// SPDX-License-Identifier: Apache-2.0
//
// The kernels that blend samples.

#include "VekInterpolation.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Vek;

constexpr double kTolerance = 1e-14;
const std::vector<double> kPositions = {-1.0, -0.75, -0.5, -0.1, 0.0, 0.3, 0.5, 1.0, 1.5};

// --- The position of a time ----------------------------------------------------------------------

TEST(SamplePositionTest, CountsFromTheFirstTimeInUnitsOfTheDistance) {
  EXPECT_EQ(samplePosition(12.5F, 12.0F, 13.0F), 0.5F);
  EXPECT_EQ(samplePosition(10.5F, 10.0F, 12.0F), 0.25F);
  EXPECT_EQ(samplePosition(10.0F, 10.0F, 12.0F), 0.0F);
  EXPECT_EQ(samplePosition(12.0F, 10.0F, 12.0F), 1.0F);
}

TEST(SamplePositionTest, IsNegativeBeforeTheFirstTimeAndPastOneAfterTheSecond) {
  EXPECT_EQ(samplePosition(1.5F, 2.0F, 3.0F), -0.5F);
  EXPECT_EQ(samplePosition(3.5F, 2.0F, 3.0F), 1.5F);
}

TEST(SamplePositionTest, IsNotFiniteBetweenEqualTimes) {
  EXPECT_EQ(samplePosition(1.5F, 2.0F, 2.0F), -std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(samplePosition(2.0F, 2.0F, 2.0F)));
}

// --- Linear --------------------------------------------------------------------------------------

TEST(BlendLinearTest, MeetsItsSamplesExactly) {
  EXPECT_EQ(blendLinear(0.1, 0.7, 0.0), 0.1);
  EXPECT_EQ(blendLinear(0.1, 0.7, 1.0), 0.7);
  EXPECT_EQ(blendChannelLinear(0.1F, 0.7F, 0.0F), 0.1F);
  EXPECT_EQ(blendChannelLinear(0.1F, 0.7F, 1.0F), 0.7F);
  EXPECT_EQ(blendPositionLinear(0.1F, 0.7F, 0.0F), 0.1F);
  EXPECT_EQ(blendPositionLinear(0.1F, 0.7F, 1.0F), 0.7F);
}

TEST(BlendLinearTest, BlendsBetweenThem) {
  EXPECT_EQ(blendLinear(20.0, 30.0, 0.5), 25.0);
  EXPECT_EQ(blendChannelLinear(20.0F, 30.0F, 0.25F), 22.5F);
  EXPECT_EQ(blendPositionLinear(2.0F, 6.0F, 0.75F), 5.0F);
}

// --- Quadratic -----------------------------------------------------------------------------------

TEST(BlendQuadraticTest, MeetsTheThreeSamplesAtMinusOneZeroAndOne) {
  EXPECT_EQ(blendQuadratic(10.0, 40.0, 90.0, -1.0), 10.0);
  EXPECT_EQ(blendQuadratic(10.0, 40.0, 90.0, 0.0), 40.0);
  EXPECT_EQ(blendQuadratic(10.0, 40.0, 90.0, 1.0), 90.0);
}

TEST(BlendQuadraticTest, ExtrapolatesBackwardsBetweenTheFirstTwo) {
  EXPECT_EQ(blendQuadratic(10.0, 40.0, 90.0, -0.5), 22.5);
  EXPECT_EQ(blendChannelQuadratic(10.0F, 40.0F, 90.0F, -0.5F), 22.5F);
  EXPECT_EQ(blendPositionQuadratic(10.0F, 40.0F, 90.0F, -0.5F), 22.5F);
}

TEST(BlendQuadraticTest, ReproducesParabolasInEveryForm) {
  const auto parabola = [](double x) { return 3.0 * x * x - 2.0 * x + 7.0; };
  for (const double t : kPositions) {
    const double p0 = parabola(-1), p1 = parabola(0), p2 = parabola(1);
    EXPECT_NEAR(blendQuadratic(p0, p1, p2, t), parabola(t), kTolerance * 10) << t;
    EXPECT_NEAR(blendChannelQuadratic(p0, p1, p2, t), parabola(t), kTolerance * 10) << t;
    EXPECT_NEAR(blendPositionQuadratic(p0, p1, p2, t), parabola(t), kTolerance * 10) << t;
  }
}

// The slope and the curvature are 1 here. Each alone is lost next to 2^24, where floats are two
// apart; their sum is not.
TEST(BlendQuadraticTest, AddsTheMiddleSampleFirstButForPositions) {
  constexpr float p1 = 16777216.0F;
  constexpr float p2 = 16777218.0F;
  EXPECT_EQ(blendQuadratic(p1, p1, p2, 1.0F), p1);
  EXPECT_EQ(blendChannelQuadratic(p1, p1, p2, 1.0F), p1);
  EXPECT_EQ(blendPositionQuadratic(p1, p1, p2, 1.0F), p2);
}

// 1.9 times the distance of the outer samples exceeds the floats; half of it does not.
TEST(BlendQuadraticTest, HalvesLastForChannels) {
  EXPECT_FLOAT_EQ(blendQuadratic(0.0F, 1e38F, 2e38F, 1.9F), 2.9e38F);
  EXPECT_FLOAT_EQ(blendPositionQuadratic(0.0F, 1e38F, 2e38F, 1.9F), 2.9e38F);
  EXPECT_TRUE(std::isinf(blendChannelQuadratic(0.0F, 1e38F, 2e38F, 1.9F)));
}

// --- Cubic ---------------------------------------------------------------------------------------

void expectWeights(const VekCubicWeights<double>& w, double w0, double w1, double w2, double w3) {
  EXPECT_EQ(w.w0, w0);
  EXPECT_EQ(w.w1, w1);
  EXPECT_EQ(w.w2, w2);
  EXPECT_EQ(w.w3, w3);
}

TEST(CubicWeightsTest, AreThoseOfTheCatmullRomBasis) {
  expectWeights(cubicWeights(0.0), 0, 1, 0, 0);
  expectWeights(cubicWeights(1.0), 0, 0, 1, 0);
  expectWeights(cubicWeights(0.5), -0.0625, 0.5625, 0.5625, -0.0625);
}

TEST(CubicWeightsTest, ExtrapolateOutsideTheMiddleSegment) {
  expectWeights(cubicWeights(-0.5), 0.5625, 0.1875, 0.4375, -0.1875);
  expectWeights(cubicWeights(1.5), -0.1875, 0.4375, 0.1875, 0.5625);
  expectWeights(positionCubicWeights(-0.5), 0.5625, 0.1875, 0.4375, -0.1875);
  expectWeights(positionCubicWeights(1.5), -0.1875, 0.4375, 0.1875, 0.5625);
}

TEST(CubicWeightsTest, AddUpToOne) {
  for (const double t : kPositions) {
    const VekCubicWeights<double> w = cubicWeights(t);
    EXPECT_NEAR(w.w0 + w.w1 + w.w2 + w.w3, 1.0, kTolerance) << t;
    const VekCubicWeights<double> p = positionCubicWeights(t);
    EXPECT_NEAR(p.w0 + p.w1 + p.w2 + p.w3, 1.0, kTolerance) << t;
  }
}

TEST(BlendCubicTest, ReproducesParabolas) {
  for (const double t : kPositions)
    EXPECT_NEAR(blendCubic(1.0, 0.0, 1.0, 4.0, cubicWeights(t)), t * t, kTolerance) << t;
}

TEST(BlendCubicTest, GivesEachSampleItsWeight) {
  constexpr VekCubicWeights<float> w = {1.0F, 10.0F, 100.0F, 1000.0F};
  EXPECT_EQ(blendCubic(1.0F, 2.0F, 3.0F, 4.0F, w), 4321.0F);
}

}  // namespace
