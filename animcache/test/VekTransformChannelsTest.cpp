// SPDX-License-Identifier: Apache-2.0
//
// The channels of a transform and the matrix that they compose.

#include "VekTransformChannels.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Vek;

using Channels = VekTransformChannels<double>;
using Matrix = VekMatrix<double>;
using Point = std::array<double, 3>;

constexpr double kTolerance = 1e-13;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
// The float nearest to 0.017453292.
constexpr double kRadiansPerDegree = 0.01745329238474369049072265625;

std::size_t channel(const char* name) {
  const std::size_t found = findTransformChannel(name);
  EXPECT_LT(found, Channel::Count) << name;
  return found;
}

Channels withChannels(const std::vector<std::pair<const char*, double>>& values) {
  Channels channels;
  for (const auto& [name, value] : values) channels.set(channel(name), value);
  return channels;
}

void expectElements(const Matrix& m, const std::vector<double>& expected) {
  for (std::size_t i = 0; i < Matrix::numElements; ++i)
    EXPECT_NEAR(m.m[i], expected[i], kTolerance) << "element " << i;
}

// --- The table -----------------------------------------------------------------------------------

TEST(TransformChannelTest, EveryNameFindsItsChannel) {
  for (std::size_t c = 0; c < Channel::Count; ++c)
    EXPECT_EQ(findTransformChannel(transformChannels[c].name), c) << transformChannels[c].name;
}

TEST(TransformChannelTest, NamesMatchExactly) {
  for (const char* const name :
       {"", "translate", "translatex", "translateX ", "TranslateX", "rotateAxis", "scale",
        "\xff\xff", "a", "zzz", "rotateOrder2", "visibility"})
    EXPECT_EQ(findTransformChannel(name), Channel::Count) << name;
}

TEST(TransformChannelTest, StandInTheirOrder) {
  EXPECT_EQ(channel("translateX"), 0U);
  EXPECT_EQ(channel("rotateZ"), 5U);
  EXPECT_EQ(channel("scaleX"), 6U);
  EXPECT_EQ(channel("rotatePivotY"), 10U);
  EXPECT_EQ(channel("rotatePivotTranslateZ"), 14U);
  EXPECT_EQ(channel("rotateAxisX"), 15U);
  EXPECT_EQ(channel("uniformScale"), 18U);
  EXPECT_EQ(channel("shearXY"), 19U);
  EXPECT_EQ(channel("shearXZ"), 20U);
  EXPECT_EQ(channel("shearYZ"), 21U);
  EXPECT_EQ(channel("scalePivotX"), 22U);
  EXPECT_EQ(channel("scalePivotTranslateX"), 25U);
  EXPECT_EQ(channel("rotateOrder"), 28U);
  EXPECT_EQ(channel("transformOrder"), 29U);
}

TEST(TransformChannelTest, ScalesAreOneAtFirstAndTheRestIsZero) {
  const Channels channels;
  for (std::size_t c = 0; c < Channel::RotateOrder; ++c) {
    const bool isScale = c == 6 || c == 7 || c == 8 || c == 18;
    EXPECT_EQ(channels.get(c), isScale ? 1 : 0) << transformChannels[c].name;
  }
  EXPECT_EQ(channels.rotateOrder(), 0);
  EXPECT_EQ(channels.transformOrder(), 0);
}

TEST(TransformChannelTest, AnglesAreStoredInDegreesButForRotateAxisY) {
  Channels channels;
  for (std::size_t c = 0; c < Channel::RotateOrder; ++c) {
    const bool isAngle = c == 3 || c == 4 || c == 5 || c == 15 || c == 17;
    channels.set(c, 90);
    EXPECT_EQ(channels.get(c), isAngle ? 90 * kRadiansPerDegree : 90) << transformChannels[c].name;
  }
}

TEST(TransformChannelTest, AnglesAreConvertedInTheElementType) {
  VekTransformChannels<float> channels;
  channels.set(Channel::Rotate, 123.4F);
  EXPECT_EQ(channels.get(Channel::Rotate), 123.4F * 0.017453292F);
}

TEST(TransformChannelTest, OrdersAreTruncated) {
  for (const auto& [stored, order] :
       std::vector<std::pair<double, int>>{{0, 0}, {5, 5}, {5.99, 5}, {2.5, 2}, {0.9, 0}}) {
    Channels channels = withChannels({{"rotateOrder", 1}, {"transformOrder", 1}});
    channels.set(Channel::RotateOrder, stored);
    EXPECT_EQ(channels.rotateOrder(), order) << stored;
    EXPECT_EQ(channels.transformOrder(), 1) << stored;
    channels.set(Channel::TransformOrder, stored);
    EXPECT_EQ(channels.transformOrder(), order) << stored;
  }
}

TEST(TransformChannelTest, AFractionBelowZeroTruncatesToZero) {
  EXPECT_EQ(withChannels({{"rotateOrder", 1}, {"rotateOrder", -0.9}}).rotateOrder(), 0);
}

TEST(TransformChannelTest, OrdersOutsideTheTableAreIgnored) {
  for (const double stored : {6.0, 7.0, -1.0, 1e300, -1e300, kInfinity, -kInfinity, kNaN}) {
    const Channels channels = withChannels({{"rotateOrder", 3},
                                            {"transformOrder", 4},
                                            {"rotateOrder", stored},
                                            {"transformOrder", stored}});
    EXPECT_EQ(channels.rotateOrder(), 3) << stored;
    EXPECT_EQ(channels.transformOrder(), 4) << stored;
  }
  Channels channels = withChannels({{"rotateOrder", 3}});
  for (const int order : {-1, 6, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
    channels.setRotateOrder(order);
  EXPECT_EQ(channels.rotateOrder(), 3);
  channels.setRotateOrder(5);
  EXPECT_EQ(channels.rotateOrder(), 5);
}

// --- Composition of one channel ------------------------------------------------------------------

TEST(TransformCompositionTest, IsTheIdentityWithoutChannels) {
  EXPECT_TRUE(Channels().compose().isIdentity());
}

TEST(TransformCompositionTest, Translates) {
  expectElements(withChannels({{"translateX", 5}, {"translateY", 6}, {"translateZ", 7}}).compose(),
                 {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, 6, 7, 1});
}

TEST(TransformCompositionTest, Scales) {
  expectElements(
      withChannels({{"scaleX", 2}, {"scaleY", 3}, {"scaleZ", 4}, {"uniformScale", 10}}).compose(),
      {20, 0, 0, 0, 0, 30, 0, 0, 0, 0, 40, 0, 0, 0, 0, 1});
}

TEST(TransformCompositionTest, Shears) {
  expectElements(withChannels({{"shearXY", 2}, {"shearXZ", 3}, {"shearYZ", 4}}).compose(),
                 {1, 0, 0, 0, 2, 1, 0, 0, 3, 4, 1, 0, 0, 0, 0, 1});
}

// The degree factor is that of single precision, so that a right angle misses by 1.2e-8.
TEST(TransformCompositionTest, Rotates) {
  const Matrix x = withChannels({{"rotateX", 90}}).compose();
  EXPECT_NEAR(x.at(1, 1), 0, 2e-8);
  EXPECT_NEAR(x.at(1, 2), 1, 2e-8);
  const Matrix y = withChannels({{"rotateY", 90}}).compose();
  EXPECT_NEAR(y.at(2, 0), 1, 2e-8);
  EXPECT_NEAR(y.at(0, 2), -1, 2e-8);
  const Matrix z = withChannels({{"rotateZ", 90}}).compose();
  EXPECT_NEAR(z.at(0, 1), 1, 2e-8);
  EXPECT_NEAR(z.at(1, 0), -1, 2e-8);
}

TEST(TransformCompositionTest, TurnsByTheRotateAxisInRadiansAboutY) {
  const Matrix m = withChannels({{"rotateAxisY", 90}}).compose();
  EXPECT_EQ(m.at(0, 0), std::cos(90.0));
  EXPECT_EQ(m.at(2, 0), std::sin(90.0));
  const Matrix x = withChannels({{"rotateAxisX", 90}}).compose();
  EXPECT_EQ(x.at(1, 2), std::sin(90 * kRadiansPerDegree));
}

TEST(TransformCompositionTest, AppliesTheRotateAxisBeforeTheRotation) {
  // +Y turns to +Z about X; then +Z stays about Z.
  const Matrix m = withChannels({{"rotateAxisX", 90}, {"rotateZ", 90}}).compose();
  EXPECT_NEAR(m.at(1, 2), 1, 1e-7);
}

TEST(TransformCompositionTest, PivotsAloneMoveNothing) {
  const std::vector<std::pair<const char*, double>> pivots = {
      {"scalePivotX", 5},  {"scalePivotY", 6},  {"scalePivotZ", 7},
      {"rotatePivotX", 8}, {"rotatePivotY", 9}, {"rotatePivotZ", 10}};
  EXPECT_TRUE(withChannels(pivots).compose().isIdentity());
}

TEST(TransformCompositionTest, ScalesAboutThePivot) {
  // The pivot stays in its place, the origin moves away from it.
  expectElements(withChannels({{"scaleX", 3}, {"scalePivotX", 5}}).compose(),
                 {3, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -10, 0, 0, 1});
}

TEST(TransformCompositionTest, TurnsAboutThePivot) {
  const Matrix m = withChannels({{"rotateZ", 180}, {"rotatePivotX", 5}}).compose();
  EXPECT_NEAR(m.at(3, 0), 10, 1e-6);
  EXPECT_NEAR(m.at(3, 1), 0, 1e-6);
}

TEST(TransformCompositionTest, PivotTranslationsMove) {
  expectElements(withChannels({{"scalePivotTranslateY", 5}}).compose(),
                 {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 5, 0, 1});
  expectElements(withChannels({{"rotatePivotTranslateZ", 5}}).compose(),
                 {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 5, 1});
}

// --- Composition of all channels -----------------------------------------------------------------

/// The same transform applied to a point step by step, without matrices.
class PointModel {
 public:
  std::array<double, Channel::RotateOrder> v{};

  Point apply(Point p, const std::string& rotateOrder, const std::string& transformOrder) const {
    for (const char part : transformOrder) {
      if (part == 'S') p = scalePart(p);
      if (part == 'R') p = rotatePart(p, rotateOrder);
      if (part == 'T') p = moved(p, "translateX", 1);
    }
    return p;
  }

 private:
  double value(const char* first, std::size_t i) const { return v[channel(first) + i]; }

  Point moved(const Point& p, const char* first, double sign) const {
    return {p[0] + sign * value(first, 0), p[1] + sign * value(first, 1),
            p[2] + sign * value(first, 2)};
  }

  Point scalePart(Point p) const {
    p = moved(p, "scalePivotX", -1);
    for (std::size_t i = 0; i < 3; ++i) p[i] *= value("scaleX", i) * value("uniformScale", 0);
    p = {p[0] + value("shearXY", 0) * p[1] + value("shearXZ", 0) * p[2],
         p[1] + value("shearYZ", 0) * p[2], p[2]};
    p = moved(p, "scalePivotX", 1);
    return moved(p, "scalePivotTranslateX", 1);
  }

  Point rotatePart(Point p, const std::string& order) const {
    p = moved(p, "rotatePivotX", -1);
    for (const char axis : order) {
      const bool inRadians = axis == 'Y';
      p = turned(p, axis, value("rotateAxisX", place(axis)) * (inRadians ? 1 : kRadiansPerDegree));
    }
    for (const char axis : order)
      p = turned(p, axis, value("rotateX", place(axis)) * kRadiansPerDegree);
    p = moved(p, "rotatePivotX", 1);
    return moved(p, "rotatePivotTranslateX", 1);
  }

  static std::size_t place(char axis) { return static_cast<std::size_t>(axis - 'X'); }

  static Point turned(const Point& p, char axis, double angle) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    if (axis == 'X') return {p[0], c * p[1] - s * p[2], s * p[1] + c * p[2]};
    if (axis == 'Y') return {c * p[0] + s * p[2], p[1], c * p[2] - s * p[0]};
    return {c * p[0] - s * p[1], s * p[0] + c * p[1], p[2]};
  }
};

void expectMoves(const Matrix& m, const Point& from, const Point& to) {
  for (std::size_t j = 0; j < 3; ++j) {
    const double moved = from[0] * m.at(0, j) + from[1] * m.at(1, j) + from[2] * m.at(2, j);
    EXPECT_NEAR(moved + m.at(3, j), to[j], kTolerance * 100) << "coordinate " << j;
    EXPECT_EQ(m.at(j, 3), 0);
  }
  EXPECT_EQ(m.at(3, 3), 1);
}

TEST(TransformCompositionTest, AllOrdersMoveAPointAsItsStepsDo) {
  const std::vector<std::string> rotateNames = {"XYZ", "YZX", "ZXY", "XZY", "YXZ", "ZYX"};
  const std::vector<std::string> transformNames = {"SRT", "STR", "RST", "RTS", "TSR", "TRS"};
  PointModel model;
  Channels channels;
  for (std::size_t c = 0; c < Channel::RotateOrder; ++c) {
    model.v[c] = 0.3 + 0.17 * static_cast<double>((c * 7) % 11);
    if (transformChannels[c].isAngle) model.v[c] *= 25;
    channels.set(c, model.v[c]);
  }
  const Point start = {0.7, -1.3, 2.1};
  for (std::size_t order = 0; order < 36; ++order) {
    const std::size_t r = order / 6;
    const std::size_t t = order % 6;
    SCOPED_TRACE(rotateNames[r] + " " + transformNames[t]);
    channels.set(Channel::RotateOrder, static_cast<double>(r));
    channels.set(Channel::TransformOrder, static_cast<double>(t));
    expectMoves(channels.compose(), start, model.apply(start, rotateNames[r], transformNames[t]));
  }
}

TEST(TransformCompositionTest, ComposesInSinglePrecision) {
  VekTransformChannels<float> channels;
  channels.set(Channel::Scale, 2.0F);
  channels.set(Channel::Translate, 0.1F);
  const VekMatrix<float> m = channels.compose();
  EXPECT_EQ(m.at(0, 0), 2.0F);
  EXPECT_EQ(m.at(3, 0), 0.1F);
}

// --- Values that are not finite ------------------------------------------------------------------

TEST(TransformCompositionTest, NaNCountsAsSet) {
  const Matrix m = withChannels({{"translateX", kNaN}}).compose();
  EXPECT_TRUE(std::isnan(m.at(3, 0)));
  EXPECT_EQ(m.at(0, 0), 1);
  const Matrix both = withChannels({{"translateX", kNaN}, {"scaleX", 2}}).compose();
  EXPECT_TRUE(std::isnan(both.at(3, 0)));
}

TEST(TransformCompositionTest, FactorsThatAreLeftOutLeaveInfinityAlone) {
  const Matrix m = withChannels({{"scaleX", kInfinity}}).compose();
  EXPECT_EQ(m.at(0, 0), kInfinity);
  for (std::size_t i = 1; i < Matrix::numElements; ++i) EXPECT_EQ(m.m[i], Matrix().m[i]) << i;
}

TEST(TransformCompositionTest, EveryChannelTakesAnyValue) {
  for (std::size_t c = 0; c < Channel::Count; ++c) {
    for (const double value : {kNaN, kInfinity, -kInfinity, 1e308, -1e308, 5e-324}) {
      Channels channels;
      channels.set(c, value);
      channels.compose();
      EXPECT_GE(channels.rotateOrder(), 0);
      EXPECT_LT(channels.transformOrder(), numOrders);
    }
  }
}

}  // namespace
