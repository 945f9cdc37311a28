// SPDX-License-Identifier: Apache-2.0
//
// Transform views: stored matrices, matrices composed from attributes, and matrices blended between
// samples, against numbers worked out by hand and against a model.

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "TransformScene.h"
#include "VekHelperObj.h"

namespace {

using namespace Vek;
using namespace VekTest;
using namespace VekTest::Transforms;
using ::testing::HasSubstr;
using ::testing::Not;

static_assert(sizeof(TransformVekObj) == sizeof(VekHelperObj), "no members are added");

class TransformVekObjTest : public TransformTest {};

// Of a turn by 90 degrees as they are converted.
const double kCos = std::cos(90 * kDegree);
const double kSin = std::sin(90 * kDegree);

// --- The view ------------------------------------------------------------------------------------

TEST_F(TransformVekObjTest, isATransform) {
  use(storedXform(1));
  EXPECT_EQ(view().categories(), (std::set<std::string>{"helperObj", "transform"}));
  EXPECT_TRUE(view().isA("transform"));
}

TEST_F(TransformVekObjTest, copiesViewTheSameObject) {
  struct Open : TransformVekObj {
    explicit Open(const TransformVekObj& other) : TransformVekObj(other) {}
    Open(VekRoMemCache* cache, int object) : TransformVekObj(cache, object) {}
    using TransformVekObj::operator=;
    ~Open() override = default;
  };
  use(storedXform(2));
  Open copy(view());
  Open assigned(nullptr, 7);
  assigned = view();
  for (TransformVekObj* v :
       {static_cast<TransformVekObj*>(&copy), &view(), static_cast<TransformVekObj*>(&assigned)}) {
    std::vector<double> m;
    State state = kStatic;
    EXPECT_TRUE(v->getTransformData(1, m, state));
    EXPECT_EQ(m.at(12), 101);
    EXPECT_TRUE(v->isA("transform"));
    EXPECT_EQ(v->getName(), "x");
  }
}

// --- Stored matrices -----------------------------------------------------------------------------

TEST_F(TransformVekObjTest, storedMatrixIsCopiedAndConverted) {
  Mat m = {};
  for (std::size_t i = 0; i < 16; ++i) m[i] = static_cast<double>(i + 1) / 3;
  use(Xform(2).put(0, mtrx(m)).put(1, mtrxFloat(m)));
  expectData(0, m, kAnimated);
  const Answer<double> asDouble = dataOf<double>(1);
  const Answer<float> asFloat = dataOf<float>(0);
  for (std::size_t i = 0; i < 16; ++i) {
    EXPECT_EQ(dataOf<double>(0).matrix[i], m[i]);
    EXPECT_EQ(asDouble.matrix[i], static_cast<double>(static_cast<float>(m[i])));
    EXPECT_EQ(asFloat.matrix[i], static_cast<float>(m[i]));
  }
}

TEST_F(TransformVekObjTest, matrixOfTheDefinitionIsStaticAndWins) {
  use(storedXform(2).define(mtrxFloat(moved(1, 2, 3))));
  for (const int sample : {0, 1, -1, 99}) expectData(sample, moved(1, 2, 3), kStatic);
}

TEST_F(TransformVekObjTest, storedMatrixFails) {
  const std::vector<ByteImage> bad = {kMissing,
                                      intLeaf("MTRX", std::vector<std::int32_t>(16, 1), 16),
                                      int64Leaf("MTRX", std::vector<std::int64_t>(16, 1), 16),
                                      doubleLeaf("MTRX", std::vector<double>(15, 1), 16),
                                      floatLeaf("MTRX", std::vector<float>(15, 1), 16),
                                      doubleLeaf("MTRX", {}, 16),
                                      floatLeaf("MTRX", {}, 16),
                                      textChunk("MTRX", {"1", "2"}),
                                      group("MTRX", floatLeaf("DATA", {1}))};
  for (std::size_t i = 0; i < bad.size(); ++i) {
    SCOPED_TRACE(i);
    use(Xform(3).put(0, mtrx(kIdentity)).put(1, bad[i]).put(2, mtrx(kIdentity)));
    expectDataFailure(1);
    expectData(2, kIdentity, kAnimated);
    // Missing as the first, the second and the third of a blend.
    expectFailureAt(1.5F, 1);
    expectFailureAt(0.5F, 1);
    expectFailureAt(0.5F, 2);
    expectFailureAt(1.0F, 1);
    use(Xform(4).put(0, mtrx(kIdentity)).put(1, mtrx(kIdentity)).put(2, bad[i]));
    expectFailureAt(0.5F, 2);
    expectFailureAt(0.5F, 3);
    expectAt(0.5F, 1, kIdentity, kAnimated);
  }
}

TEST_F(TransformVekObjTest, storedMatrixOfMoreValuesGivesItsFirstSixteen) {
  std::vector<double> values(19, 9);
  std::copy(kIdentity.begin(), kIdentity.end(), values.begin());
  use(Xform(2).put(0, doubleLeaf("MTRX", values, 16)));
  expectData(0, kIdentity, kAnimated);
}

TEST_F(TransformVekObjTest, sampleOutsideTheCacheFails) {
  use(storedXform(2));
  expectDataFailure(-1);
  expectDataFailure(2);
}

// --- Which path answers --------------------------------------------------------------------------

TEST_F(TransformVekObjTest, attributesAnswerOnlyBetweenSamples) {
  use(storedXform(4).fixed("translateX", 5));
  for (const int degree : {1, 2, 3}) {
    for (const float time : {0.5F, 1.5F, 2.5F, 0.0011F, 1.9995F})
      expectAt(time, degree, moved(5, 0, 0), kStatic);
    for (const int s : {0, 1, 2, 3}) expectAt(static_cast<float>(s), degree, stored(s), kAnimated);
    expectAt(2.0005F, degree, stored(2), kAnimated);
    expectAt(3.5F, degree, stored(3), kAnimated);
    expectFailureAt(-0.5F, degree);
  }
}

TEST_F(TransformVekObjTest, otherDegreesGiveTheStoredMatrix) {
  // 4 and 5 pull the first sample back: 3 4 to 1, and 3 5 to 0.
  const std::vector<std::pair<int, int>> degreeAndSample = {{0, 3}, {-1, 3}, {4, 1}, {5, 0}};
  for (const bool attributes : {false, true}) {
    Xform x = storedXform(5);
    if (attributes) x.animated("translateX", {1, 2, 3, 4, 5});
    use(x);
    for (const auto& [degree, sample] : degreeAndSample)
      expectAt(3.5F, degree, stored(sample), kAnimated);
  }
}

TEST_F(TransformVekObjTest, withoutStoredMatricesSamplesFailAndAttributesAnswer) {
  use(Xform(3).animated("translateX", {1, 3, 7}));
  expectAt(1.5F, 1, moved(5, 0, 0), kAnimated);
  for (const float time : {-1.0F, 0.0F, 1.0F, 2.0F, 3.0F}) expectFailureAt(time, 1);
  expectFailureAt(1.5F, 0);
}

TEST_F(TransformVekObjTest, staticMatrixAnswersBeforeTheFirstTime) {
  use(Xform(3).define(mtrx(moved(1, 2, 3))));
  for (const float time : {-4.0F, 0.0F, 0.5F, 9.0F})
    for (const int degree : {0, 1, 2, 3}) expectAt(time, degree, moved(1, 2, 3), kStatic);
}

TEST_F(TransformVekObjTest, withoutSamplesOnlyAStaticMatrixAnswers) {
  use(Xform(0).define(mtrx(moved(1, 2, 3))).fixed("translateX", 5));
  expectAt(0.0F, 1, moved(1, 2, 3), kStatic);
  use(Xform(0).fixed("translateX", 5));
  expectFailureAt(0.0F, 1);
}

TEST_F(TransformVekObjTest, namesThatAreNotChannelsLeaveTheMatrixPath) {
  Xform x = storedXform(2);
  for (const char* const name : {"translatex", "translateX ", "translate", "", "visibility",
                                 "TranslateX", "rotateOrders", "scale"})
    x.fixed(name, 5);
  use(x);
  expectAt(0.5F, 1, moved(100.5, 0, 0), kAnimated);
}

TEST_F(TransformVekObjTest, anyFoundChannelTakesTheAttributePath) {
  // Whatever its value: types without a number, and orders out of range, are found too.
  const std::vector<std::pair<std::string, ByteImage>> found = {
      {"translateX", intLeaf("ATTR", {5}, 1)},   {"rotateOrder", attr(7)},
      {"translateY", int64Leaf("ATTR", {5}, 1)}, {"transformOrder", attr(-1)},
      {"rotateX", textChunk("ATTR", {"90"})},    {"uniformScale", attr(1)}};
  for (const auto& [name, leaf] : found) {
    SCOPED_TRACE(name);
    use(storedXform(3).fixed(name, leaf));
    expectAt(0.5F, 1, kIdentity, kStatic);
    expectAt(0.5F, 2, kIdentity, kStatic);
  }
}

TEST_F(TransformVekObjTest, firstValueIsReadFromFloatAndDoubleAndIsZeroElse) {
  const std::vector<std::pair<ByteImage, double>> leaves = {{doubleLeaf("ATTR", {3, 8, 9}, 3), 3},
                                                            {floatLeaf("ATTR", {4, 8, 9}, 3), 4},
                                                            {intLeaf("ATTR", {3}, 1), 0},
                                                            {int64Leaf("ATTR", {3}, 1), 0},
                                                            {textChunk("ATTR", {"3"}), 0}};
  for (const auto& [leaf, value] : leaves) {
    use(storedXform(3).fixed("scaleX", leaf));
    expectAt(0.5F, 1, diagonal(value, 1, 1), kStatic);
    use(storedXform(3).animated("scaleX", {leaf, leaf, leaf}));
    expectAt(0.5F, 2, diagonal(value, 1, 1), kAnimated);
  }
}

TEST_F(TransformVekObjTest, emptyLeafGivesTheDefaultOrFailure) {
  const ByteImage empty = doubleLeaf("ATTR", {}, 1);
  for (const bool atFirst : {true, false}) {
    use(storedXform(3)
            .animated("scaleX", {atFirst ? empty : attr(3), atFirst ? attr(3) : empty, attr(3)})
            .fixed("translateY", 2));
    for (const int degree : {1, 2}) {
      const Answer<double> a = at<double>(0.5F, degree);
      const Answer<float> b = at<float>(0.5F, degree);
      EXPECT_EQ(a.ok, b.ok);
      if (!a.ok) continue;
      expectAnswer(a, moved(0, 2, 0), a.state, 1e-12);
      expectAnswer(b, moved(0, 2, 0), b.state, 1e-6);
    }
  }
}

TEST_F(TransformVekObjTest, channelMissingAtTheFirstSampleIsSkipped) {
  use(storedXform(2).animated("translateX", {kMissing, attr(4)}));
  expectAt(0.5F, 1, moved(100.5, 0, 0), kAnimated);
  use(storedXform(2).animated("translateX", {1, 4}).withoutAttributesAt(0));
  expectAt(0.5F, 1, moved(100.5, 0, 0), kAnimated);
  use(storedXform(2).animated("translateX", {kMissing, attr(4)}).fixed("translateY", 2));
  expectAt(0.5F, 1, moved(0, 2, 0), kStatic);
}

TEST_F(TransformVekObjTest, channelMissingAtALaterSampleKeepsItsDefaultAndCountsAsFound) {
  use(storedXform(4).animated("translateX", {attr(1), kMissing, attr(3), attr(4)}));
  expectAt(0.5F, 1, kIdentity, kStatic);
  expectAt(0.5F, 2, kIdentity, kStatic);
  use(storedXform(4).animated("scaleX", {4, 4, 4, 4}).withoutAttributesAt(2));
  expectAt(0.5F, 1, diagonal(4, 1, 1), kAnimated);
  expectAt(0.5F, 2, kIdentity, kStatic);
  expectAt(0.5F, 3, kIdentity, kStatic);
}

TEST_F(TransformVekObjTest, fourthSampleOfACubicRequestIsNotRead) {
  Xform x(6);
  for (const std::size_t s : {0U, 1U, 2U, 3U, 5U}) x.put(s, mtrx(moved(1, 0, 0)));
  use(x);
  expectAt(1.5F, 3, moved(1, 0, 0), kAnimated);
  use(Xform(6).animated("translateX", {1, 1, 1, 1, 1, 1}).withoutAttributesAt(4));
  expectAt(1.5F, 3, moved(1, 0, 0), kAnimated);
}

// --- Blending of channels ------------------------------------------------------------------------

TEST_F(TransformVekObjTest, channelsBlendByDegree) {
  use(storedXform(5).animated("translateY", {0, 10, 40, 90, 200}));
  expectAt(1.25F, 1, moved(0, 17.5, 0), kAnimated);
  expectAt(1.5F, 2, moved(0, 22.5, 0), kAnimated);   // 1 2 3, t = -0.5
  expectAt(3.5F, 2, moved(0, 137.5, 0), kAnimated);  // 2 3 4, t = 0.5
  expectAt(3.5F, 3, moved(0, 122.5, 0), kAnimated);  // 1 2 3 (4), t = 1.5
}

TEST_F(TransformVekObjTest, cubicBlendsAsQuadraticDoes) {
  use(storedXform(8).animated("translateX", {1, 5, -3, 8, 2, 7, 0, 4}));
  for (const float time : {0.25F, 1.5F, 3.75F}) {
    const Answer<double> two = at<double>(time, 2);
    const Answer<double> three = at<double>(time, 3);
    EXPECT_TRUE(two.ok);
    EXPECT_EQ(two.matrix, three.matrix);
  }
  expectAt(0.5F, 3, moved(5 + 0.5 * -4 * -0.5 + 0.5 * -12 * 0.25, 0, 0), kAnimated);
}

TEST_F(TransformVekObjTest, anglesBlendInDegrees) {
  use(storedXform(3).animated("rotateX", {0, 90, 270}));
  expectAt(0.5F, 1, turn('X', 45 * kDegree), kAnimated);
  expectAt(0.5F, 2, turn('X', parabola(0, 90, 270, -0.5) * kDegree), kAnimated);
}

TEST_F(TransformVekObjTest, onlyBlendedChannelsAreAnimated) {
  use(storedXform(3).fixed("translateX", 5).fixed("rotateX", 10));
  EXPECT_EQ(at<double>(0.5F, 1).state, kStatic);
  use(storedXform(3).fixed("translateX", 5).animated("scaleX", {1, 1, 1}));
  expectAt(0.5F, 1, moved(5, 0, 0), kAnimated);
  use(storedXform(3).animated("rotateOrder", {9, 9, 9}));
  expectAt(0.5F, 1, kIdentity, kAnimated);
}

TEST_F(TransformVekObjTest, lastAttributeOfANameWins) {
  // Animated attributes stand before static ones.
  use(storedXform(2).animated("translateX", {1, 3}).fixed("translateX", 7));
  expectAt(0.5F, 1, moved(7, 0, 0), kAnimated);
  use(storedXform(2).fixed("translateX", 7).fixed("translateX", 8));
  expectAt(0.5F, 1, moved(8, 0, 0), kStatic);
}

TEST_F(TransformVekObjTest, floatFormReadsAndBlendsInFloat) {
  // 2^24 + 1 is no float.
  use(storedXform(2).animated("translateX", {16777217, -16777216}));
  EXPECT_EQ(at<float>(0.5F, 1).matrix[12], 0.0F);
  EXPECT_EQ(at<double>(0.5F, 1).matrix[12], 0.5);
  use(storedXform(3).animated("translateX", {0, 16777217, 0}));
  EXPECT_EQ(at<float>(0.5F, 2).matrix[12], 12582912.0F);
  EXPECT_EQ(at<double>(0.5F, 2).matrix[12], 12582912.75);
  use(storedXform(2)
          .fixed("translateX", 1.0 / 3)
          .fixed("translateY", floatLeaf("ATTR", {0.1F}, 1)));
  EXPECT_EQ(at<double>(0.5F, 1).matrix[12], 1.0 / 3);
  EXPECT_EQ(at<double>(0.5F, 1).matrix[13], static_cast<double>(0.1F));
  EXPECT_EQ(at<float>(0.5F, 1).matrix[12], 1.0F / 3.0F);
}

TEST_F(TransformVekObjTest, positionBetweenSamplesIsSinglePrecisionInBothForms) {
  const float rate = 24;
  const float first = 0.7F;
  const float time = 0.83F;  // between samples 3 and 4
  const auto sampleTime = [&](float i) -> float { return i / rate + first; };
  const float t = (time - sampleTime(3)) / (sampleTime(4) - sampleTime(3));
  const float t2 = (time - sampleTime(4)) / (sampleTime(5) - sampleTime(4));
  const double wide = t;
  const double exact = (static_cast<double>(time) - sampleTime(3)) /
                       (static_cast<double>(sampleTime(4)) - sampleTime(3));
  ASSERT_NE(wide, exact);
  for (const bool attributes : {true, false}) {
    Xform x = Xform(8).rate(first, rate);
    if (attributes) x.animated("translateX", {0, 0, 0, 10, 1000, 0, 0, 0});
    for (std::size_t s = 0; s < 8 && !attributes; ++s)
      x.put(s, mtrx(moved(s == 3 ? 10 : s == 4 ? 1000 : 0, 0, 0)));
    use(x);
    EXPECT_NEAR(at<double>(time, 1).matrix[12], (1 - wide) * 10 + wide * 1000, 1e-12);
    EXPECT_NEAR(at<double>(time, 2).matrix[12], parabola(10, 1000, 0, t2), 1e-12);
    EXPECT_FLOAT_EQ(at<float>(time, 1).matrix[12], (1 - t) * 10 + t * 1000);
  }
}

TEST_F(TransformVekObjTest, nonUniformTimesBlendFromTheLaterSample) {
  for (const bool attributes : {true, false}) {
    Xform x = Xform(3).times({0, 1, 3});
    if (attributes) x.animated("translateX", {10, 20, 40});
    if (!attributes) x.putAll({moved(10, 0, 0), moved(20, 0, 0), moved(40, 0, 0)});
    use(x);
    expectAt(0.5F, 1, moved(15, 0, 0), kAnimated);  // 1 2, t = -0.25
    // In the last interval the blend divides by zero.
    const Answer<double> a = at<double>(2.0F, 1);
    EXPECT_TRUE(a.ok);
    EXPECT_FALSE(std::isfinite(a.matrix[12]));
    EXPECT_FALSE(std::isfinite(at<float>(2.0F, 1).matrix[12]));
  }
}

TEST_F(TransformVekObjTest, tooFewSamplesForTheDegreeDivideByZero) {
  for (const int degree : {2, 3}) {
    use(storedXform(2).fixed("translateX", 5));
    expectAt(0.5F, degree, moved(5, 0, 0), kStatic);
    use(storedXform(2).animated("rotateOrder", {1, 3}).animated("translateX", {1, 3}));
    EXPECT_TRUE(at<float>(0.5F, degree).ok);
    EXPECT_FALSE(std::isfinite(at<double>(0.5F, degree).matrix[12]));
    use(storedXform(2));
    EXPECT_TRUE(at<float>(0.5F, degree).ok);
    EXPECT_FALSE(std::isfinite(at<double>(0.5F, degree).matrix[12]));
  }
}

// --- Composition ---------------------------------------------------------------------------------

TEST_F(TransformVekObjTest, eachChannelAloneComposes) {
  const double cRadians = std::cos(90.0);
  const double sRadians = std::sin(90.0);
  using Elements = std::vector<std::pair<std::size_t, double>>;
  const Elements aboutX = {{5, kCos}, {6, kSin}, {9, -kSin}, {10, kCos}};
  const Elements aboutZ = {{0, kCos}, {1, kSin}, {4, -kSin}, {5, kCos}};
  // Groups of three, for X, Y and Z.
  const std::vector<std::pair<std::string, std::vector<Elements>>> groups = {
      {"translate", {{{12, 90}}, {{13, 90}}, {{14, 90}}}},
      {"rotate", {aboutX, {{0, kCos}, {2, -kSin}, {8, kSin}, {10, kCos}}, aboutZ}},
      {"scale", {{{0, 90}}, {{5, 90}}, {{10, 90}}}},
      {"rotatePivot", {{}, {}, {}}},
      {"rotatePivotTranslate", {{{12, 90}}, {{13, 90}}, {{14, 90}}}},
      // The angle about Y is not in degrees.
      {"rotateAxis",
       {aboutX, {{0, cRadians}, {2, -sRadians}, {8, sRadians}, {10, cRadians}}, aboutZ}},
      {"scalePivot", {{}, {}, {}}},
      {"scalePivotTranslate", {{{12, 90}}, {{13, 90}}, {{14, 90}}}}};
  std::vector<std::pair<std::string, Elements>> channels = {
      {"uniformScale", {{0, 90}, {5, 90}, {10, 90}}},
      {"shearXY", {{4, 90}}},
      {"shearXZ", {{8, 90}}},
      {"shearYZ", {{9, 90}}},
      {"rotateOrder", {}},
      {"transformOrder", {}}};
  for (const auto& [name, elements] : groups)
    for (std::size_t axis = 0; axis < 3; ++axis)
      channels.emplace_back(name + "XYZ"[axis], elements[axis]);
  ASSERT_EQ(channels.size(), 30U);
  for (const auto& [name, elements] : channels) {
    SCOPED_TRACE(name);
    expectComposed(Xform(3).fixed(name, 90), with(kIdentity, elements));
  }
}

TEST_F(TransformVekObjTest, degreesConvertWithTheSinglePrecisionFactor) {
  use(Xform(2).fixed("rotateX", 90));
  const Mat m = turn('X', 90 * 0.01745329238474369049072265625);
  ASSERT_GT(m[5], 1e-8);
  EXPECT_NEAR(at<double>(0.5F, 1).matrix[5], m[5], 1e-15);
}

TEST_F(TransformVekObjTest, factorsOfScaleAndRotationStandInTheirOrder) {
  const std::vector<std::pair<Channels, Mat>> cases = {
      {{{"scaleX", 2}, {"scaleZ", 5}, {"uniformScale", 3}}, diagonal(6, 3, 15)},
      {{{"scaleX", 2}, {"scalePivotX", 3}}, moved(-3, 0, 0, diagonal(2, 1, 1))},
      {{{"scaleX", 2}, {"scaleY", 4}, {"shearXY", 0.5}}, with(diagonal(2, 4, 1), {{4, 2}})},
      {{{"scaleX", 2}, {"scalePivotTranslateX", 3}}, moved(3, 0, 0, diagonal(2, 1, 1))},
      {{{"shearXY", 2}, {"scalePivotY", 3}}, moved(-6, 0, 0, with(kIdentity, {{4, 2}}))},
      {{{"shearXY", 2}, {"shearXZ", 3}, {"shearYZ", 5}}, with(kIdentity, {{4, 2}, {8, 3}, {9, 5}})},
      {{{"rotateZ", 90}, {"rotatePivotX", 3}},
       moved(3 - 3 * kCos, -3 * kSin, 0, turn('Z', 90 * kDegree))},
      {{{"rotateZ", 90}, {"rotatePivotTranslateX", 3}}, moved(3, 0, 0, turn('Z', 90 * kDegree))},
      {{{"rotateAxisX", 90}, {"rotateZ", 90}}, turn('X', 90 * kDegree) * turn('Z', 90 * kDegree)}};
  for (const auto& [channels, expected] : cases) {
    SCOPED_TRACE(channels.begin()->first);
    expectComposed(Xform(3).fixed(channels), expected);
  }
}

TEST_F(TransformVekObjTest, transformOrderIsTheOrderOfTheFactors) {
  const Mat scaleFirst = with(kIdentity, {{0, 2 * kCos}, {1, 2 * kSin}, {4, -kSin}, {5, kCos}});
  const Mat turnFirst = with(kIdentity, {{0, 2 * kCos}, {1, kSin}, {4, -2 * kSin}, {5, kCos}});
  const std::vector<Mat> expected = {moved(1, 0, 0, scaleFirst),
                                     moved(kCos, kSin, 0, scaleFirst),
                                     moved(1, 0, 0, turnFirst),
                                     moved(2, 0, 0, turnFirst),
                                     moved(2 * kCos, 2 * kSin, 0, scaleFirst),
                                     moved(2 * kCos, kSin, 0, turnFirst)};
  for (std::size_t order = 0; order < 6; ++order) {
    SCOPED_TRACE(order);
    expectComposed(Xform(3)
                       .fixed("translateX", 1)
                       .fixed("scaleX", 2)
                       .fixed("rotateZ", 90)
                       .fixed("transformOrder", static_cast<double>(order)),
                   expected[order]);
  }
}

Channels everyChannel() {
  Channels all;
  double value = 0.25;
  for (const char* const name :
       {"translate", "rotate", "scale", "rotatePivot", "rotatePivotTranslate", "rotateAxis",
        "scalePivot", "scalePivotTranslate"})
    for (const char axis : {'X', 'Y', 'Z'}) all[std::string(name) + axis] = value += 0.375;
  for (const char axis : {'X', 'Y', 'Z'}) {
    all[std::string("rotate") + axis] *= 17;
    all[std::string("rotateAxis") + axis] *= axis == 'Y' ? 1 : -11;
  }
  all["uniformScale"] = 0.75;
  all["shearXY"] = 0.5;
  all["shearXZ"] = -0.25;
  all["shearYZ"] = 0.125;
  return all;
}

TEST_F(TransformVekObjTest, allChannelsComposeInAllOrders) {
  const Channels all = everyChannel();
  for (int rotate = 0; rotate < 6; ++rotate) {
    for (int transform = 0; transform < 6; ++transform) {
      SCOPED_TRACE(std::to_string(rotate) + " " + std::to_string(transform));
      use(Xform(2).fixed(all).fixed("rotateOrder", rotate).fixed("transformOrder", transform));
      expectAt(0.5F, 1, compose(all, rotate, transform), kStatic);
    }
  }
}

TEST_F(TransformVekObjTest, ordersAreTruncatedAndKeptFromZeroToFive) {
  const Channels all = everyChannel();
  const std::vector<std::pair<double, int>> kept = {
      {0, 0},   {5, 5},         {5.9, 5},  {6, 3},      {7, 3},     {-0.9, 0},        {-1, 3},
      {2.5, 2}, {kInfinity, 3}, {kNaN, 3}, {-1e300, 3}, {1e300, 3}, {4294967297.0, 3}};
  for (const auto& [value, order] : kept) {
    SCOPED_TRACE(value);
    // The first attribute of the name sets what a value out of range must leave.
    use(Xform(2).fixed(all).fixed("rotateOrder", 3).fixed("rotateOrder", value));
    expectAt(0.5F, 1, compose(all, order, 0), kStatic);
    use(Xform(2).fixed(all).fixed("transformOrder", 3).fixed("transformOrder", value));
    expectAt(0.5F, 1, compose(all, 0, order), kStatic);
  }
  use(Xform(2).fixed(all).fixed("rotateOrder", 7).fixed("transformOrder", 7));
  expectAt(0.5F, 1, compose(all, 0, 0), kStatic);
}

TEST_F(TransformVekObjTest, ordersBlendAsChannelsAndIntOrdersAreZero) {
  const Channels all = everyChannel();
  use(Xform(2).fixed(all).animated("rotateOrder", {1, 4}).animated("transformOrder", {5, 0}));
  expectAt(0.5F, 1, compose(all, 2, 2), kAnimated);
  const ByteImage two = intLeaf("ATTR", {2}, 1);
  use(Xform(2).fixed(all).fixed("rotateOrder", 4).fixed("rotateOrder", two));
  expectAt(0.5F, 1, compose(all, 0, 0), kStatic);
}

TEST_F(TransformVekObjTest, storedRotateOrderReplacesTheAttribute) {
  const Channels all = everyChannel();
  const std::vector<std::pair<ByteImage, int>> cases = {
      {intLeaf("MTRO", {2}), 2},   {intLeaf("MTRO", {0}), 0},   {intLeaf("MTRO", {5, 3}), 5},
      {intLeaf("MTRO", {6}), 1},   {intLeaf("MTRO", {-1}), 1},  {intLeaf("MTRO", {}), 1},
      {floatLeaf("MTRO", {2}), 1}, {doubleLeaf("MTRO", {2}), 1}};
  for (std::size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(i);
    const auto& [chunk, order] = cases[i];
    use(Xform(2).fixed(all).fixed("rotateOrder", 1).put(0, chunk));
    expectAt(0.5F, 1, compose(all, order, 0), kStatic);
    use(Xform(2).fixed(all).fixed("rotateOrder", 1).define(chunk));
    expectAt(0.5F, 1, compose(all, order, 0), kStatic);
  }
}

TEST_F(TransformVekObjTest, storedRotateOrderIsThatOfTheFirstChosenSample) {
  const Channels all = everyChannel();
  Xform x = Xform(4).fixed(all);
  for (std::size_t s = 0; s < 4; ++s) x.put(s, intLeaf("MTRO", {static_cast<std::int32_t>(s) + 1}));
  use(x);
  expectAt(1.5F, 1, compose(all, 2, 0), kStatic);
  expectAt(2.5F, 1, compose(all, 3, 0), kStatic);
  expectAt(2.5F, 2, compose(all, 2, 0), kStatic);  // pulled back to 1
  expectAt(2.5F, 3, compose(all, 1, 0), kStatic);  // pulled back to 0
  use(Xform(2).fixed(all).put(1, intLeaf("MTRO", {4})));
  expectAt(0.5F, 1, compose(all, 0, 0), kStatic);
}

TEST_F(TransformVekObjTest, storedRotateOrderAloneIsNoChannel) {
  use(storedXform(2).put(0, intLeaf("MTRO", {2})));
  expectAt(0.5F, 1, moved(100.5, 0, 0), kAnimated);
}

TEST_F(TransformVekObjTest, notANumberIsNotADefault) {
  const auto elementOf = [&](const char* name, std::size_t i) {
    use(Xform(2).fixed(name, kNaN));
    EXPECT_TRUE(at<float>(0.5F, 1).ok);
    EXPECT_TRUE(std::isnan(at<float>(0.5F, 1).matrix[i])) << name;
    EXPECT_TRUE(std::isnan(at<double>(0.5F, 1).matrix[i])) << name;
  };
  for (const char* const name : {"translateX", "rotatePivotX", "rotatePivotTranslateX",
                                 "scalePivotX", "scalePivotTranslateX"})
    elementOf(name, 12);
  for (const char* const name : {"rotateZ", "rotateAxisZ", "scaleX", "uniformScale"})
    elementOf(name, 0);
  elementOf("shearXY", 4);
  // An identity factor does not spread it: the lone translation stays as it is.
  use(Xform(2).fixed("translateX", kNaN).fixed("translateY", 2));
  const Answer<double> a = at<double>(0.5F, 1);
  for (const std::size_t i : {0U, 1U, 2U, 3U, 4U, 8U}) EXPECT_EQ(a.matrix[i], kIdentity[i]) << i;
  EXPECT_EQ(a.matrix[13], 2);
}

// --- Blending of matrices ------------------------------------------------------------------------

TEST_F(TransformVekObjTest, diagonalAndTranslationBlendElementwise) {
  use(Xform(4).putAll({moved(10, 20, 30, diagonal(1, 2, 3)), moved(20, 40, 60, diagonal(3, 4, 5)),
                       moved(50, 0, 0, diagonal(9, 4, 1)), kIdentity}));
  expectAt(0.25F, 1, moved(12.5, 25, 37.5, diagonal(1.5, 2.5, 3.5)), kAnimated);
  // t = -0.5: 0.375 P0 + 0.75 P1 - 0.125 P2
  const Mat half = moved(12.5, 37.5, 56.25, diagonal(1.5, 3.25, 4.75));
  expectAt(0.5F, 2, half, kAnimated);
  // The cubic run starts at the same sample here.
  expectAt(0.5F, 3, half, kAnimated);
}

TEST_F(TransformVekObjTest, aMatrixBlendedWithItselfNeedNotBeItself) {
  // The quaternion is 0 0 1 1 before its normalisation, a quarter turn; the lengths of the rows do
  // not count.
  const Mat m = with(moved(7, 0, 0), {{1, 2}, {4, -2}});
  const Mat expected = with(moved(7, 0, 0), {{0, 0}, {1, 1}, {4, -1}, {5, 0}});
  use(Xform(4).putAll({m, m, m, m}));
  for (const int degree : {1, 2, 3}) expectAt(0.5F, degree, expected, kAnimated);
  expectAt(1.0F, 1, m, kAnimated);
}

TEST_F(TransformVekObjTest, lastColumnIsNotBlended) {
  const Mat odd = with(kIdentity, {{3, 4}, {7, 5}, {11, 6}, {15, 13}});
  use(Xform(3).putAll({odd, odd, odd}));
  expectAt(0.5F, 1, kIdentity, kAnimated);
  expectAt(0.5F, 2, kIdentity, kAnimated);
  expectAt(1.0F, 2, odd, kAnimated);
  // Element 15 counts in the quaternion: w is sqrt(3 + 13) / 2 = 2, z is 4 / 8.
  const Mat turned = with(odd, {{1, 2}, {4, -2}});
  use(Xform(2).putAll({turned, turned}));
  const double s = 2 * 0.5 * 2 / 4.25;
  const double c = 1 - 2 * 0.25 / 4.25;
  expectAt(0.5F, 1, with(kIdentity, {{0, c}, {1, s}, {4, -s}, {5, c}}), kAnimated);
}

TEST_F(TransformVekObjTest, oppositeQuaternionsTakeTheLongerArc) {
  // A turn by -90 degrees has trace equal to its largest element: the quaternion is that of 270.
  const Mat back = with(kIdentity, {{0, 0}, {1, -1}, {4, 1}, {5, 0}});
  const double h = std::sqrt(0.5) / 2;
  use(Xform(2).putAll({back, kIdentity}));
  expectAt(0.5F, 1, with(kIdentity, {{0, -h}, {1, h}, {4, -h}, {5, -h}}), kAnimated);
  // By -100 degrees it is that of 260: 65 degrees remain of it after three quarters.
  use(Xform(2).putAll({turnDegrees('Z', -100), kIdentity}));
  const double scale = 0.25 * std::cos(100 * kPi / 180) + 0.75;
  expectAt(0.75F, 1, diagonal(scale, scale, 1) * turnDegrees('Z', 65), kAnimated);
}

TEST_F(TransformVekObjTest, quadraticTurnTakesOnlyTheAngleOfTheThirdSample) {
  // Half angles 0, 20 and 20 degrees give 12.5 at t = -0.5, about the axis of the second sample.
  const double c = std::cos(40 * kPi / 180);
  for (const char axis : {'X', 'Y', 'Z'}) {
    const Mat third = turnDegrees(axis, 40);
    use(Xform(3).putAll({kIdentity, turnDegrees('X', 40), third}));
    const auto mix = [&](std::size_t k) { return parabola(1, k == 0 ? 1 : c, third[k], -0.5); };
    expectAt(0.5F, 2, diagonal(mix(0), mix(5), mix(10)) * turnDegrees('X', 25), kAnimated);
  }
}

TEST_F(TransformVekObjTest, nearStraightTurnsBlendTheQuaternions) {
  // The cosine of the half angle passes 0.9995 at 3.6238 degrees.
  for (const auto& [degrees, straight] : {std::pair(3.60, true), std::pair(3.65, false)}) {
    const double half = degrees * kPi / 360;
    const double t = 0.25;
    const double chord = std::atan2(t * std::sin(half), 1 - t + t * std::cos(half));
    ASSERT_GT(std::abs(chord - t * half), 1e-8);
    const double angle = 2 * (straight ? chord : t * half);
    const double scale = 1 - t + t * std::cos(2 * half);
    use(Xform(3).putAll({kIdentity, turn('Y', 2 * half), turn('Y', 4 * half)}));
    expectAt(0.25F, 1, diagonal(scale, 1, scale) * turn('Y', angle), kAnimated);
    // From 0.25 on, the quadratic blend weighs with 0.75 and 0.25 too.
    const double curved = parabola(1, std::cos(2 * half), std::cos(4 * half), -0.75);
    const double along = straight ? 2 * chord : 2 * parabola(0, half, 2 * half, -0.75);
    expectAt(0.25F, 2, diagonal(curved, 1, curved) * turn('Y', along), kAnimated);
  }
}

TEST_F(TransformVekObjTest, nearStraightOppositesBlendThroughTheirDifference) {
  // Either side of -90 degrees, with quaternions of opposite sign: no flip, and no arc either.
  const Mat a = turnDegrees('Z', -89);
  const Mat b = turnDegrees('Z', -91);
  ASSERT_LT(dot(quatOf(a), quatOf(b)), -0.9995);
  use(Xform(4).putAll({a, b, b, b}));
  // The halves are -44.5 and 180 - 45.5; weights 0.75 and 0.25.
  const double h1 = -44.5 * kPi / 180;
  const double h2 = 134.5 * kPi / 180;
  const double half = std::atan2(0.75 * std::sin(h1) + 0.25 * std::sin(h2),
                                 0.75 * std::cos(h1) + 0.25 * std::cos(h2));
  const double scale = 0.5 * std::cos(89 * kPi / 180);
  expectAt(0.25F, 1, diagonal(scale, scale, 1) * turn('Z', 2 * half), kAnimated);
}

/// A matrix with everything in it, other for every seed.
Mat mixed(unsigned seed) {
  const double a = 0.7 * seed;
  return diagonal(1 + 0.1 * (seed % 5), 1.5 - 0.1 * (seed % 3), 0.8 + 0.05 * (seed % 7)) *
         turn('X', 1.3 * a) * turn('Y', 2.1 * a + 1) * turn('Z', 0.6 * a - 2) *
         moved(a, 3 - a, 2 * a);
}

TEST_F(TransformVekObjTest, matricesBlendAsTheModelDoes) {
  constexpr unsigned count = 24;
  Xform x(count);
  bool longer = false;
  for (unsigned s = 0; s < count; ++s) {
    x.put(s, mtrx(mixed(s)));
    longer = longer || dot(quatOf(mixed(s)), quatOf(mixed(s + 1))) < 0;
  }
  ASSERT_TRUE(longer) << "no pair of samples takes the longer arc";
  for (const int maxSamples : {0, 1}) {
    use(x, maxSamples, maxSamples == 0);
    for (unsigned s = 0; s + 4 < count; ++s) {
      const Mat m[] = {mixed(s), mixed(s + 1), mixed(s + 2)};
      const float time = static_cast<float>(s) + 0.375F;
      expectAt(time, 1, linear(m[0], m[1], 0.375), kAnimated, 2e-4);
      expectAt(time, 2, quadratic(m[0], m[1], m[2], -0.625), kAnimated, 2e-4);
      expectAt(time, 3, quadratic(m[0], m[1], m[2], -0.625), kAnimated, 2e-4);
    }
  }
}

TEST_F(TransformVekObjTest, runsAreChosenForTheDegreeNearTheEnd) {
  Xform x(5);
  for (unsigned s = 0; s < 5; ++s) x.put(s, mtrx(mixed(s)));
  use(x);
  expectAt(3.5F, 1, linear(mixed(3), mixed(4), 0.5), kAnimated);
  expectAt(3.5F, 2, quadratic(mixed(2), mixed(3), mixed(4), 0.5), kAnimated);
  expectAt(3.5F, 3, quadratic(mixed(1), mixed(2), mixed(3), 1.5), kAnimated);
  expectAt(1.5F, 2, quadratic(mixed(1), mixed(2), mixed(3), -0.5), kAnimated);
  expectAt(1.5F, 3, quadratic(mixed(0), mixed(1), mixed(2), 0.5), kAnimated);
}

TEST_F(TransformVekObjTest, quaternionComesFromTheLargestDiagonalElement) {
  // Two equal elements take the later axis; the off-diagonal sums tell which one was taken.
  const auto tie = [](double x, double y, double z) {
    return with(diagonal(x, y, z), {{1, 0.5}, {2, 0.25}, {6, 0.75}, {8, 0.5}});
  };
  const std::vector<Mat> cases = {
      tie(0.5, -0.25, -0.5), tie(-0.25, 0.5, -0.5), tie(-0.25, -0.5, 0.5),
      tie(0.25, 0.25, -0.5), tie(0.25, -0.5, 0.25), tie(-0.5, 0.25, 0.25),
      tie(0, 0, 0),          tie(0.5, 0.5, -0.5),   tie(-0.25, -0.25, -0.25)};
  for (std::size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(i);
    // The diagonal of the other makes the rotation show in every row.
    use(Xform(3).putAll({cases[i], diagonal(2, 3, 4), diagonal(4, 4, 5)}));
    expectAt(0.25F, 1, linear(cases[i], diagonal(2, 3, 4), 0.25), kAnimated);
    expectAt(0.25F, 2, quadratic(cases[i], diagonal(2, 3, 4), diagonal(4, 4, 5), -0.75), kAnimated);
  }
}

TEST_F(TransformVekObjTest, cosinesAboveOneAreClamped) {
  for (unsigned seed = 1; seed < 60; ++seed) {
    const Mat a = turn('X', 0.1 * seed) * turn('Z', 0.37 * seed);
    const Mat b = a * turn('Y', 0.5);
    use(Xform(3).putAll({a, b, a}));
    for (const float e : at<float>(0.5F, 2).matrix) ASSERT_TRUE(std::isfinite(e)) << seed;
    for (const double e : at<double>(0.5F, 2).matrix) ASSERT_TRUE(std::isfinite(e)) << seed;
    // An arc near zero is known to the square root of the precision only.
    expectAnswer(at<double>(0.5F, 2), quadratic(a, b, a, -0.5), kAnimated, 1e-7);
    expectAnswer(at<float>(0.5F, 2), quadratic(a, b, a, -0.5), kAnimated, 1e-3);
  }
}

TEST_F(TransformVekObjTest, degenerateMatricesDoNotTrap) {
  Mat zero = {};
  Mat huge = kIdentity;
  for (double& e : huge) e *= 1e300;
  Mat nan = kIdentity;
  nan.fill(kNaN);
  Mat infinite = kIdentity;
  infinite.fill(-kInfinity);
  for (const Mat& m : {zero, huge, nan, infinite, diagonal(-1, -1, -1)}) {
    use(Xform(4).putAll({m, kIdentity, m, m}));
    for (const float time : {0.5F, 1.5F, 2.5F}) {
      for (const int degree : {1, 2, 3}) {
        EXPECT_TRUE(at<double>(time, degree).ok);
        EXPECT_TRUE(at<float>(time, degree).ok);
      }
    }
  }
}

TEST_F(TransformVekObjTest, unusualTimesDoNotTrap) {
  use(storedXform(4).animated("rotateOrder", {1, 2, 3, 4}));
  for (const float time : {kNaN, kInfinity, -kInfinity, 3e38F, -3e38F})
    for (const int degree : {0, 1, 2, 3}) {
      at<double>(time, degree);
      at<float>(time, degree);
    }
  expectAt(kInfinity, 2, stored(3), kAnimated);
  expectFailureAt(-kInfinity, 2);
}

TEST_F(TransformVekObjTest, staticAndMixedMatricesFollowTheReads) {
  const Mat m = mixed(3);
  use(Xform(3).define(mtrx(m)));
  expectAt(0.5F, 1, linear(m, m, 0.5), kStatic);
  expectAt(0.5F, 2, quadratic(m, m, m, -0.5), kStatic);
  use(Xform(2).put(0, mtrxFloat(moved(1, 2, 3))).put(1, mtrx(moved(3, 4, 5))));
  expectAt(0.5F, 1, moved(2, 3, 4), kAnimated);
}

TEST_F(TransformVekObjTest, channelsBlendWithOneSampleHeld) {
  Xform x = storedXform(5);
  x.animated("translateX", {0, 10, 40, 90, 200}).animated("translateY", {1, 2, 3, 4, 5});
  use(x, 1);
  expectAt(1.5F, 1, moved(25, 2.5, 0), kAnimated);
  expectAt(1.5F, 2, moved(22.5, 2.5, 0), kAnimated);
  expectAt(3.5F, 3, moved(122.5, 4.5, 0), kAnimated);
  EXPECT_EQ(cache()->getMaxSamples(), 1);
}

// --- Inheritance ---------------------------------------------------------------------------------

TEST_F(TransformVekObjTest, inheritsUnlessTheFirstValueIsZero) {
  const std::vector<std::pair<ByteImage, bool>> cases = {
      {kMissing, true},
      {intLeaf("INHT", {0}), false},
      {intLeaf("INHT", {1}), true},
      {intLeaf("INHT", {-3}), true},
      {intLeaf("INHT", {0, 1}), false},
      {intLeaf("INHT", {256, 0}), true},
      {intLeaf("INHT", {}), true},
      {int64Leaf("INHT", {0}), true},
      {floatLeaf("INHT", {0}), true},
      {doubleLeaf("INHT", {0}), true},
      {textChunk("INHT", {""}), true},
      {group("INHT", intLeaf("DATA", {0})), true}};
  for (std::size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(i);
    use(Xform(2).put(0, cases[i].first));
    EXPECT_EQ(view().inheritsTransform(), cases[i].second);
    use(Xform(2).define(cases[i].first));
    EXPECT_EQ(view().inheritsTransform(), cases[i].second);
    // Without samples the definition answers still.
    use(Xform(0).define(cases[i].first));
    EXPECT_EQ(view().inheritsTransform(), cases[i].second);
  }
}

TEST_F(TransformVekObjTest, inheritanceIsThatOfTheFirstTime) {
  use(Xform(2).put(0, intLeaf("INHT", {0})).put(1, intLeaf("INHT", {1})).rate(5, 2));
  EXPECT_FALSE(view().inheritsTransform());
  use(Xform(2).put(0, intLeaf("INHT", {1})).put(1, intLeaf("INHT", {0})).times({3, 7}));
  EXPECT_TRUE(view().inheritsTransform());
  use(Xform(2).put(1, intLeaf("INHT", {0})));
  EXPECT_TRUE(view().inheritsTransform());
}

// --- Traces --------------------------------------------------------------------------------------

TEST_F(TransformVekObjTest, blendedChannelsAreTracedFromLevelOne) {
  use(storedXform(3)
          .animated("translateX", {1, 2, 3})
          .fixed("rotateY", 4)
          .animated("shearXY", {1, 2, 3}));
  for (const int degree : {1, 2, 3}) {
    const std::string text = trace(1, 0.5F, degree);
    EXPECT_THAT(text, HasSubstr("translateX"));
    EXPECT_THAT(text, HasSubstr("shearXY"));
    EXPECT_THAT(text, Not(HasSubstr("rotateY")));
    EXPECT_THAT(text, HasSubstr("getEvalTimeAndSampleIndices"));
    EXPECT_EQ(trace(0, 0.5F, degree), "");
  }
}

TEST_F(TransformVekObjTest, matrixPathIsTracedFromLevelTwo) {
  use(storedXform(3));
  const std::vector<std::string> labels = {
      "q1:", "qi:", "sMat:", "rMat:", "tMat:", "\n xform1:", "xform2:", "xform:"};
  for (const int degree : {1, 2, 3}) {
    const std::string text = trace(2, 0.5F, degree);
    const std::string kind = degree == 1 ? "linear" : "quadratic";
    EXPECT_THAT(text, HasSubstr(kind + " matrix interpolation"));
    for (const std::string& label : labels) EXPECT_THAT(text, HasSubstr(label));
    EXPECT_EQ(text.find("xform3:") != std::string::npos, degree != 1);
    EXPECT_THAT(trace(1, 0.5F, degree), Not(HasSubstr("matrix interpolation")));
    EXPECT_EQ(trace(0, 0.5F, degree), "");
  }
}

}  // namespace
