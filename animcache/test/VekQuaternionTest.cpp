// SPDX-License-Identifier: Apache-2.0
//
// Rotations as quaternions, and their blends.

#include "VekQuaternion.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <vector>

namespace {

using namespace Vek;

using Quaternion = VekQuaternion<double>;
using Matrix = VekMatrix<double>;

constexpr double kTolerance = 1e-14;
constexpr double kPi = 3.14159265358979323846;
constexpr double kDegree = kPi / 180;
constexpr std::size_t kX = 0;
constexpr std::size_t kZ = 2;

void expectQuaternion(const Quaternion& q, const Quaternion& expected) {
  EXPECT_NEAR(q.x, expected.x, kTolerance);
  EXPECT_NEAR(q.y, expected.y, kTolerance);
  EXPECT_NEAR(q.z, expected.z, kTolerance);
  EXPECT_NEAR(q.w, expected.w, kTolerance);
}

void expectMatrix(const Matrix& m, const Matrix& expected, double tolerance = kTolerance) {
  for (std::size_t i = 0; i < Matrix::numElements; ++i)
    EXPECT_NEAR(m.m[i], expected.m[i], tolerance) << "element " << i;
}

/// A turn about an axis, in degrees; negated by a whole turn more.
Quaternion turn(std::size_t axis, double degrees) {
  const double s = std::sin(degrees * kDegree / 2);
  return {axis == 0 ? s : 0, axis == 1 ? s : 0, axis == 2 ? s : 0, std::cos(degrees * kDegree / 2)};
}

bool isNaN(const Quaternion& q) {
  return std::isnan(q.x) && std::isnan(q.y) && std::isnan(q.z) && std::isnan(q.w);
}

// --- Arithmetic ----------------------------------------------------------------------------------

TEST(VekQuaternionTest, TheDotProductTakesAllFourComponents) {
  EXPECT_EQ(dot(Quaternion{1, 2, 3, 4}, Quaternion{5, 6, 7, 8}), 70);
}

TEST(VekQuaternionTest, NormalisingKeepsTheDirection) {
  expectQuaternion(normalised(Quaternion{2, -4, 5, 6}), {2 / 9., -4 / 9., 5 / 9., 6 / 9.});
}

TEST(VekQuaternionTest, NormalisingNothingIsNotFinite) {
  EXPECT_TRUE(isNaN(normalised(Quaternion{0, 0, 0, 0})));
}

// --- Matrices ------------------------------------------------------------------------------------

TEST(QuaternionToMatrixTest, GivesTheRotationOfRowVectors) {
  // Half of (1, 1, 1, 1) is a third of a turn: X to Y, Y to Z, Z to X.
  Matrix cycle;
  const double rows[] = {0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1};
  std::copy(std::begin(rows), std::end(rows), cycle.m);
  expectMatrix(toMatrix(Quaternion{0.5, 0.5, 0.5, 0.5}), cycle);
}

TEST(QuaternionToMatrixTest, EqualsTheAxisRotations) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    for (const double degrees : {-170., -90., -20., 0., 30., 90., 120., 180.})
      expectMatrix(toMatrix(turn(axis, degrees)), axisRotation(axis, degrees * kDegree));
  }
}

TEST(QuaternionFromMatrixTest, IsNoTurnForTheIdentity) {
  expectQuaternion(quaternionFromMatrix(Matrix()), {0, 0, 0, 1});
}

TEST(QuaternionFromMatrixTest, ReadsTurnsAboutEachAxis) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    for (const double degrees : {-100., -20., 30., 90., 120., 170.}) {
      const Quaternion q = quaternionFromMatrix(axisRotation(axis, degrees * kDegree));
      const Quaternion expected = turn(axis, degrees);
      const double sign = dot(q, expected) < 0 ? -1 : 1;
      expectQuaternion(sign * q, expected);
    }
  }
}

// Half turns have no trace to start from; each axis takes its own branch.
TEST(QuaternionFromMatrixTest, ReadsHalfTurns) {
  expectQuaternion(quaternionFromMatrix(scaling(1., -1., -1.)), {1, 0, 0, 0});
  expectQuaternion(quaternionFromMatrix(scaling(-1., 1., -1.)), {0, 1, 0, 0});
  expectQuaternion(quaternionFromMatrix(scaling(-1., -1., 1.)), {0, 0, 1, 0});
}

TEST(QuaternionFromMatrixTest, TiesGoToTheLaterAxis) {
  EXPECT_EQ(largestDiagonal(scaling(1., 1., 1.)), 2U);
  EXPECT_EQ(largestDiagonal(scaling(2., 1., 2.)), 2U);
  EXPECT_EQ(largestDiagonal(scaling(2., 2., 1.)), 1U);
  EXPECT_EQ(largestDiagonal(scaling(1., 2., 2.)), 2U);
  EXPECT_EQ(largestDiagonal(scaling(3., 2., 2.)), 0U);
  EXPECT_EQ(largestDiagonal(scaling(1., 3., 2.)), 1U);
}

TEST(QuaternionFromMatrixTest, ComesBackFromAnyRotation) {
  constexpr int numRotations = 2000;
  for (int i = 0; i < numRotations; ++i) {
    // Steps that do not divide one another visit all directions.
    const Matrix m = rotation(0.41 * i, 0.37 * i + 1, 0.53 * i + 2, rotateOrders[0]);
    const Quaternion q = quaternionFromMatrix(m);
    EXPECT_NEAR(dot(q, q), 1.0, kTolerance) << i;
    expectMatrix(toMatrix(q), m, 1e-13);
  }
}

TEST(QuaternionFromMatrixTest, AlwaysHasUnitLength) {
  const Quaternion q = quaternionFromMatrix(scaling(5., 0.5, 2.) * rotation(.3, .2, .9, {0, 1, 2}));
  EXPECT_NEAR(dot(q, q), 1.0, kTolerance);
}

TEST(QuaternionFromMatrixTest, ReadsScaleWithoutTurnAsNoTurn) {
  expectQuaternion(quaternionFromMatrix(scaling(2., 3., 4.)), {0, 0, 0, 1});
}

TEST(QuaternionFromMatrixTest, IsNotFiniteForWhatIsNoRotation) {
  Matrix nothing;
  std::fill(std::begin(nothing.m), std::end(nothing.m), 0);
  EXPECT_TRUE(isNaN(quaternionFromMatrix(nothing)));
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(isNaN(quaternionFromMatrix(scaling(nan, nan, nan))));
}

// --- Slerp ---------------------------------------------------------------------------------------

TEST(SlerpTest, MeetsItsEnds) {
  const Quaternion q1 = quaternionFromMatrix(rotation(.3, .2, .9, {0, 1, 2}));
  const Quaternion q2 = quaternionFromMatrix(rotation(1.3, -.2, .4, {0, 1, 2}));
  expectQuaternion(slerp(q1, q2, 0.0), q1);
  expectQuaternion(slerp(q1, q2, 1.0), q2);
}

TEST(SlerpTest, TurnsEvenly) {
  expectQuaternion(slerp(turn(kZ, 0), turn(kZ, 90), 0.5), turn(kZ, 45));
  expectQuaternion(slerp(turn(kX, 10), turn(kX, 100), 1 / 3.), turn(kX, 40));
}

TEST(SlerpTest, GoesOnPastTheEnd) {
  expectQuaternion(slerp(turn(kZ, 0), turn(kZ, 90), 1.5), turn(kZ, 135));
}

// Z by -270 degrees is the negated quaternion of Z by 90 degrees.
TEST(SlerpTest, TakesTheLongerArcBetweenOppositeSigns) {
  expectQuaternion(slerp(turn(kZ, 0), turn(kZ, -270), 0.5), turn(kZ, -135));
  expectQuaternion(slerp(turn(kZ, 0), turn(kZ, -270), 1.0), -1.0 * turn(kZ, 90));
}

TEST(SlerpTest, BlendsNearTurnsAsALine) {
  // The cosine between the two is 0.99999; a quarter of the line leans a quarter of the way.
  const Quaternion q1{0, 0, 0, 1};
  const Quaternion q2 = normalised(Quaternion{0, 0, 0.004, 1});
  const Quaternion line{0, 0, 0.25 * q2.z, 0.75 + 0.25 * q2.w};
  expectQuaternion(slerp(q1, q2, 0.25), normalised(line));
}

TEST(SlerpTest, TheLineBeginsAboveACosineOf9995) {
  EXPECT_FALSE(isNearlyStraight(0.9995));
  EXPECT_TRUE(isNearlyStraight(0.99951));
  EXPECT_FALSE(isNearlyStraight(-0.9995));
  EXPECT_TRUE(isNearlyStraight(-0.99951));
  EXPECT_FALSE(isNearlyStraight(0.9995F));
  EXPECT_FALSE(isNearlyStraight(std::numeric_limits<double>::quiet_NaN()));
}

TEST(SlerpTest, OppositeQuaternionsMeetInNothingHalfWay) {
  const Quaternion q = turn(kZ, 90);
  EXPECT_TRUE(isNaN(slerp(q, -1.0 * q, 0.5)));
  expectQuaternion(slerp(q, -1.0 * q, 0.25), q);
}

// --- The quadratic blend -------------------------------------------------------------------------

TEST(BlendRotationsTest, MeetsItsThreeRotations) {
  const Quaternion q0 = turn(kZ, 10), q1 = turn(kZ, 50), q2 = turn(kZ, 130);
  expectQuaternion(blendRotations(q0, q1, q2, -1.0), q0);
  expectQuaternion(blendRotations(q0, q1, q2, 0.0), q1);
  expectQuaternion(blendRotations(q0, q1, q2, 1.0), q2);
}

TEST(BlendRotationsTest, TurnsByTheParabolaThroughTheAngles) {
  // 0, 40 and 120 degrees at -1, 0 and 1: 40 + 60 t + 20 t^2, which is 15 at -0.5.
  expectQuaternion(blendRotations(turn(kZ, 10), turn(kZ, 50), turn(kZ, 130), -0.5), turn(kZ, 25));
}

TEST(BlendRotationsTest, IgnoresTheDirectionOfTheThird) {
  // From no turn at all, 80 degrees about X are as far as 80 degrees about Z.
  const Quaternion q0 = turn(kZ, 0), q1 = turn(kZ, 30);
  expectQuaternion(blendRotations(q0, q1, turn(kX, 80), 1.0), turn(kZ, 80));
  expectQuaternion(blendRotations(q0, q1, turn(kX, 80), -0.5),
                   blendRotations(q0, q1, turn(kZ, -80), -0.5));
}

TEST(BlendRotationsTest, BlendsNearTurnsAsALineFromTheFirst) {
  const Quaternion q0{0, 0, 0, 1};
  const Quaternion q1 = normalised(Quaternion{0, 0, 0.004, 1});
  // -0.75 counts from the second: a quarter of the way from the first.
  const Quaternion line{0, 0, 0.25 * q1.z, 0.75 + 0.25 * q1.w};
  expectQuaternion(blendRotations(q0, q1, turn(kX, 90), -0.75), normalised(line));
}

TEST(BlendRotationsTest, ClampsTheCosineOfTheThird) {
  const Quaternion q0 = turn(kZ, 0), q1 = turn(kZ, 40);
  expectQuaternion(blendRotations(q0, q1, 1.5 * q0, -0.5), blendRotations(q0, q1, q0, -0.5));
  expectQuaternion(blendRotations(q0, q1, -1.5 * q0, -0.5),
                   blendRotations(q0, q1, -1.0 * q0, -0.5));
}

TEST(ClampedAcosTest, IsFiniteOutsideTheRange) {
  EXPECT_EQ(clampedAcos(1.0000001), 0.0);
  EXPECT_EQ(clampedAcos(-1.0000001), std::acos(-1.0));
  EXPECT_EQ(clampedAcos(0.25), std::acos(0.25));
  EXPECT_TRUE(std::isnan(clampedAcos(std::numeric_limits<double>::quiet_NaN())));
}

}  // namespace
