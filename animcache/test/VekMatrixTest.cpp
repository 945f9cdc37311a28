// SPDX-License-Identifier: Apache-2.0
//
// 4x4 matrices of row vectors.

#include "VekMatrix.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Vek;

using Matrix = VekMatrix<double>;
using Point = std::array<double, 3>;

constexpr double kTolerance = 1e-14;
constexpr double kPi = 3.14159265358979323846;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::vector<double> elements(const Matrix& m) {
  return std::vector<double>(m.m, m.m + Matrix::numElements);
}

void expectElements(const Matrix& m, const std::vector<double>& expected) {
  for (std::size_t i = 0; i < Matrix::numElements; ++i)
    EXPECT_NEAR(m.m[i], expected[i], kTolerance) << "element " << i;
}

Matrix counting(double first) {
  Matrix m;
  for (std::size_t i = 0; i < Matrix::numElements; ++i) m.m[i] = first + static_cast<double>(i);
  return m;
}

Point apply(const Point& p, const Matrix& m) {
  Point result{};
  for (std::size_t j = 0; j < 3; ++j)
    result[j] = p[0] * m.m[j] + p[1] * m.m[4 + j] + p[2] * m.m[8 + j] + m.m[12 + j];
  return result;
}

// --- The product ---------------------------------------------------------------------------------

TEST(VekMatrixTest, IsTheIdentityAtFirst) {
  EXPECT_THAT(elements(Matrix()),
              ::testing::ElementsAre(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1));
  EXPECT_TRUE(Matrix().isIdentity());
}

TEST(VekMatrixTest, IsNoIdentityWithAnyOtherElement) {
  for (std::size_t i = 0; i < Matrix::numElements; ++i) {
    Matrix m;
    m.m[i] += 0.5;
    EXPECT_FALSE(m.isIdentity()) << i;
    m.m[i] = kNaN;
    EXPECT_FALSE(m.isIdentity()) << i;
  }
}

TEST(VekMatrixTest, CountsNegativeZeroAsZero) {
  Matrix m;
  m.at(0, 1) = -0.0;
  EXPECT_TRUE(m.isIdentity());
}

TEST(VekMatrixTest, AddressesRowsAndColumns) {
  EXPECT_EQ(counting(0).at(1, 2), 6);
  EXPECT_EQ(counting(0).at(3, 0), 12);
}

TEST(VekMatrixTest, MultipliesRowsByColumns) {
  // Rows 1 2 3 4, 5 6 7 8, ... by columns 0 4 8 12, 1 5 9 13, ...
  const Matrix product = counting(1) * counting(0);
  EXPECT_THAT(elements(product), ::testing::ElementsAre(80, 90, 100, 110, 176, 202, 228, 254, 272,
                                                        314, 356, 398, 368, 426, 484, 542));
}

TEST(VekMatrixTest, AppliesTheLeftFactorFirst) {
  const Matrix scaleThenMove = scaling(2.0, 2.0, 2.0) * translation(1.0, 0.0, 0.0);
  EXPECT_EQ(apply({3, 0, 0}, scaleThenMove), (Point{7, 0, 0}));
  const Matrix moveThenScale = translation(1.0, 0.0, 0.0) * scaling(2.0, 2.0, 2.0);
  EXPECT_EQ(apply({3, 0, 0}, moveThenScale), (Point{8, 0, 0}));
}

TEST(VekMatrixTest, AnIdentityOperandReturnsTheOtherUnchanged) {
  Matrix odd = counting(1);
  odd.m[5] = kInfinity;
  odd.m[9] = -0.0;
  const Matrix left = Matrix() * odd;
  const Matrix right = odd * Matrix();
  EXPECT_EQ(elements(left), elements(odd));
  EXPECT_EQ(elements(right), elements(odd));
  EXPECT_TRUE(std::signbit(left.m[9]));
  EXPECT_TRUE(std::signbit(right.m[9]));
}

TEST(VekMatrixTest, MultipliesInSinglePrecision) {
  VekMatrix<float> a = scaling(3.0F, 1.0F, 1.0F);
  EXPECT_EQ((a * a).at(0, 0), 9.0F);
}

// --- Single transforms ---------------------------------------------------------------------------

TEST(TranslationTest, StandsInTheLastRow) {
  EXPECT_THAT(elements(translation(2.0, 3.0, 4.0)),
              ::testing::ElementsAre(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 2, 3, 4, 1));
}

TEST(ScalingTest, StandsInTheDiagonal) {
  EXPECT_THAT(elements(scaling(2.0, 3.0, 4.0)),
              ::testing::ElementsAre(2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1));
}

TEST(ShearTest, StandsBelowTheDiagonal) {
  EXPECT_THAT(elements(shear(2.0, 3.0, 4.0)),
              ::testing::ElementsAre(1, 0, 0, 0, 2, 1, 0, 0, 3, 4, 1, 0, 0, 0, 0, 1));
}

// The cosine and sine of the smaller angle of a 3-4-5 triangle are 0.8 and 0.6.
TEST(AxisRotationTest, HasTheSineWhereTheAxisSays) {
  const double angle = std::atan2(3.0, 4.0);
  constexpr double c = 0.8;
  constexpr double s = 0.6;
  expectElements(axisRotation(0, angle), {1, 0, 0, 0, 0, c, s, 0, 0, -s, c, 0, 0, 0, 0, 1});
  expectElements(axisRotation(1, angle), {c, 0, -s, 0, 0, 1, 0, 0, s, 0, c, 0, 0, 0, 0, 1});
  expectElements(axisRotation(2, angle), {c, s, 0, 0, -s, c, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
}

TEST(AxisRotationTest, IsTheIdentityForNoAngle) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    EXPECT_TRUE(axisRotation(axis, 0.0).isIdentity());
    EXPECT_TRUE(axisRotation(axis, -0.0F).isIdentity());
  }
}

TEST(AxisRotationTest, UndoesTheOppositeAngle) {
  for (std::size_t axis = 0; axis < 3; ++axis)
    expectElements(axisRotation(axis, 0.7) * axisRotation(axis, -0.7), elements(Matrix()));
}

// --- Orders --------------------------------------------------------------------------------------

TEST(OrderTest, TheRotateOrdersAreXyzYzxZxyXzyYxzZyx) {
  constexpr std::size_t X = 0, Y = 1, Z = 2;
  EXPECT_THAT(rotateOrders,
              ::testing::ElementsAre(VekOrder{X, Y, Z}, VekOrder{Y, Z, X}, VekOrder{Z, X, Y},
                                     VekOrder{X, Z, Y}, VekOrder{Y, X, Z}, VekOrder{Z, Y, X}));
}

TEST(OrderTest, TheTransformOrdersAreSrtStrRstRtsTsrTrs) {
  constexpr std::size_t S = 0, R = 1, T = 2;
  EXPECT_THAT(transformOrders,
              ::testing::ElementsAre(VekOrder{S, R, T}, VekOrder{S, T, R}, VekOrder{R, S, T},
                                     VekOrder{R, T, S}, VekOrder{T, S, R}, VekOrder{T, R, S}));
}

TEST(OrderTest, TheProductFollowsTheOrder) {
  const std::array<Matrix, 3> factors = {counting(1), counting(2), counting(-5)};
  EXPECT_EQ(elements(orderedProduct<double>(factors, {2, 0, 1})),
            elements(factors[2] * factors[0] * factors[1]));
}

// Quarter turns take +X to +Y to -X about Z, +Y to +Z to -Y about X, and +Z to +X to -Z about Y.
// The comments follow +X through the three turns.
TEST(OrderTest, ARotationTurnsAboutTheAxesInTheirOrder) {
  const double quarter = kPi / 2;
  const auto turned = [&](std::size_t order) {
    const Point p = apply({1, 0, 0}, rotation(quarter, quarter, quarter, rotateOrders[order]));
    return std::vector<long>{std::lround(p[0]), std::lround(p[1]), std::lround(p[2])};
  };
  using ::testing::ElementsAre;
  EXPECT_THAT(turned(0), ElementsAre(0, 0, -1));  // X stays, Y to -Z, Z stays
  EXPECT_THAT(turned(1), ElementsAre(0, 1, 0));   // Y to -Z, Z stays, X to +Y
  EXPECT_THAT(turned(2), ElementsAre(1, 0, 0));   // Z to +Y, X to +Z, Y to +X
  EXPECT_THAT(turned(3), ElementsAre(0, 1, 0));   // X stays, Z to +Y, Y stays
  EXPECT_THAT(turned(4), ElementsAre(-1, 0, 0));  // Y to -Z, X to +Y, Z to -X
  EXPECT_THAT(turned(5), ElementsAre(0, 0, 1));   // Z to +Y, Y stays, X to +Z
}

}  // namespace
