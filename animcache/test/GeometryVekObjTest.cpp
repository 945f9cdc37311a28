// SPDX-License-Identifier: Apache-2.0
//
// Views of objects with points: positions of a sample as a pointer and as a copy, positions at a
// time, and reference positions.

#include <gmock/gmock.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ByteImage.h"
#include "PointScene.h"
#include "SceneImage.h"
#include "VekHelperObj.h"

namespace {

using namespace VekTest;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Vek::GeometryVekObj;
using Vek::VekInterpolationHints;
using Vek::VekRoMemCache;
namespace Tag = Vek::Tag;

/// A geometry view whose protected members tests may reach.
class OpenGeometry : public GeometryVekObj {
 public:
  OpenGeometry(VekRoMemCache* cache, int obj) : GeometryVekObj(cache, obj) {}
  ~OpenGeometry() override = default;
  using GeometryVekObj::getChunkValues;
};

class GeometryVekObjTest : public PointViewTest<OpenGeometry> {};

template <typename T>
ByteImage positions(const std::vector<T>& values, int dimension = 3) {
  return pointChunk<T>("POSI", values, dimension);
}

template <typename T>
Pointed<T> positionData(GeometryVekObj& view, int sample) {
  return pointed<T>([&](auto& data, auto& state, int& dimension) {
    return view.getPositionData(sample, data, state, dimension);
  });
}
template <typename T>
Copied<T> position(GeometryVekObj& view, int sample) {
  return copied<T>([&](auto& values, auto& state, int& dimension) {
    return view.getPosition(sample, values, state, dimension);
  });
}
template <typename T>
Copied<T> positionAt(GeometryVekObj& view, float time, int degree) {
  return copied<T>([&](auto& values, auto& state, int& dimension) {
    VekInterpolationHints hints = hintsFor(degree);
    return view.getPositionAtTime(time, hints, values, state, dimension);
  });
}

/// What is left after an evaluation that read nothing.
template <typename T>
const Copied<T> kNothing = {false, {}, kStatic, 0};

/// A pointer accessor's result with the animation state left out.
template <typename T>
struct Pref {
  bool ok = false;
  const std::vector<T>* data = nullptr;
  int dimension = 0;

  friend bool operator==(const Pref& a, const Pref& b) {
    return a.ok == b.ok && a.data == b.data && a.dimension == b.dimension;
  }
  friend std::ostream& operator<<(std::ostream& os, const Pref& p) {
    return os << p.ok << " " << p.data << " dimension " << p.dimension;
  }
};
template <typename T>
Pref<T> prefData(GeometryVekObj& view) {
  const std::vector<T> other;
  Pref<T> result{true, &other, kUnset};
  result.ok = view.getPrefData(result.data, result.dimension);
  return result;
}

// --- The class ----------------------------------------------------------------------------------

TEST_F(GeometryVekObjTest, factoryBuildsAGeometryForPositions) {
  open(sampleScene({positions<float>({1, 2, 3})}));
  Vek::VekHelperObj* view = Vek::VekHelperObjFactory(&cache()).vekObjBuilder(0);
  EXPECT_NE(dynamic_cast<GeometryVekObj*>(view), nullptr);
  EXPECT_EQ(view->categories(), (std::set<std::string>{"geometry", "helperObj"}));
  EXPECT_TRUE(view->isA("geometry"));
  EXPECT_FALSE(view->isA("mesh"));
  view->destroy();
}

TEST_F(GeometryVekObjTest, copiesReadTheSameObject) {
  OpenGeometry& view = open(sampleScene({positions<float>({1, 2, 3})}));
  auto* copy = new GeometryVekObj(view);
  EXPECT_TRUE(copy->isA("geometry"));
  EXPECT_EQ(position<float>(*copy, 0), position<float>(view, 0));
  *copy = view;
  EXPECT_EQ(position<float>(*copy, 0), position<float>(view, 0));
  copy->destroy();
}

#if defined(__GNUC__) && defined(__x86_64__) && !defined(_WIN32)
TEST(GeometryVekObjSlotsTest, virtualOperationsStandInTheirOrderDoubleBeforeFloat) {
  using G = GeometryVekObj;
  using S = AnimationState;
  using H = VekInterpolationHints;
  using D = std::vector<double>;
  using F = std::vector<float>;
  // The destructor takes two slots.
  EXPECT_EQ((slotOfMember<bool (G::*)(int, const D*&, S&, int&)>(&G::getPositionData)), 2);
  EXPECT_EQ((slotOfMember<bool (G::*)(int, const F*&, S&, int&)>(&G::getPositionData)), 3);
  EXPECT_EQ((slotOfMember<bool (G::*)(int, D&, S&, int&)>(&G::getPosition)), 4);
  EXPECT_EQ((slotOfMember<bool (G::*)(int, F&, S&, int&)>(&G::getPosition)), 5);
  EXPECT_EQ((slotOfMember<bool (G::*)(float, H&, D&, S&, int&)>(&G::getPositionAtTime)), 6);
  EXPECT_EQ((slotOfMember<bool (G::*)(float, H&, F&, S&, int&)>(&G::getPositionAtTime)), 7);
  EXPECT_EQ((slotOfMember<bool (G::*)(const D*&, int&)>(&G::getPrefData)), 8);
  EXPECT_EQ((slotOfMember<bool (G::*)(const F*&, int&)>(&G::getPrefData)), 9);
}
#endif

// --- Pointers to positions ----------------------------------------------------------------------

TEST_F(GeometryVekObjTest, positionDataPointsAtTheCachesOwnValues) {
  OpenGeometry& floats = open({{}, {{positions<float>({1, 2, 3})}, {positions<float>({4, 5, 6})}}});
  for (const int s : {0, 1}) {
    EXPECT_EQ(positionData<float>(floats, s),
              (Pointed<float>{true, ownValues<float>(cache(), s, Tag::POSI), kAnimated, 3}));
  }
  OpenGeometry& doubles = open(sampleScene({positions<double>({1, 2, 3, 4}, 4)}));
  EXPECT_EQ(positionData<double>(doubles, 0),
            (Pointed<double>{true, ownValues<double>(cache(), 0, Tag::POSI), kAnimated, 4}));
}

TEST_F(GeometryVekObjTest, positionsOfTheDefinitionAreStaticAtAnySample) {
  OpenGeometry& view = open(fixedScene({positions<float>({1, 2, 3})}));
  for (const int s : {-1, 0, 1, 1000}) {
    EXPECT_EQ(positionData<float>(view, s),
              (Pointed<float>{true, ownValues<float>(cache(), 0, Tag::POSI), kStatic, 3}));
    EXPECT_EQ(position<double>(view, s), (Copied<double>{true, {1, 2, 3}, kStatic, 3}));
  }
}

TEST_F(GeometryVekObjTest, positionsOfTheDefinitionWinOverThoseOfTheSample) {
  OpenGeometry& view = open({{positions<float>({1, 2, 3})}, {{positions<float>({7, 8, 9})}}});
  EXPECT_EQ(position<float>(view, 0), (Copied<float>{true, {1, 2, 3}, kStatic, 3}));
}

TEST_F(GeometryVekObjTest, everyDimensionButThreeAndFourIsReportedAsThree) {
  for (const int stored : {0, 1, 2, 3, 4, 5, 8, 9, 16, 255}) {
    SCOPED_TRACE(stored);
    const int expected = stored == 4 ? 4 : 3;
    OpenGeometry& floats = open(sampleScene({positions<float>({1, 2, 3, 4}, stored)}));
    EXPECT_EQ(positionData<float>(floats, 0).dimension, expected);
    EXPECT_EQ(position<float>(floats, 0).dimension, expected);
    EXPECT_EQ(position<double>(floats, 0).dimension, expected);
    OpenGeometry& doubles = open(sampleScene({positions<double>({1, 2, 3, 4}, stored)}));
    EXPECT_EQ(positionData<double>(doubles, 0).dimension, expected);
    EXPECT_EQ(position<double>(doubles, 0).dimension, expected);
  }
}

TEST_F(GeometryVekObjTest, positionDataNeverConverts) {
  for (const TypedChunk& chunk : chunksOfEveryType("POSI", 4)) {
    SCOPED_TRACE(chunk.type);
    OpenGeometry& view = open(sampleScene({chunk.image}));
    // The dimension stays as it was.
    if (chunk.type != 4) {
      EXPECT_EQ(positionData<float>(view, 0), Pointed<float>{});
    }
    if (chunk.type != 6) {
      EXPECT_EQ(positionData<double>(view, 0), Pointed<double>{});
    }
  }
}

TEST_F(GeometryVekObjTest, positionDataFailsWithoutPositions) {
  OpenGeometry& view = open({{}, {{}, {positions<float>({1, 2, 3})}}});
  for (const int s : {-1000, -1, 0, 2, 1000}) {
    EXPECT_EQ(positionData<float>(view, s), Pointed<float>{}) << s;
    EXPECT_EQ(positionData<double>(view, s), Pointed<double>{}) << s;
  }
}

TEST_F(GeometryVekObjTest, pointersOfOneHeldSampleAreItsValues) {
  OpenGeometry& view =
      open({{}, {{positions<float>({1, 2, 3})}, {positions<float>({4, 5, 6})}}}, 1);
  for (const int s : {0, 1, 0}) {
    const Pointed<float> read = positionData<float>(view, s);
    ASSERT_TRUE(read.ok);
    EXPECT_EQ(read.data->front(), s == 0 ? 1.0F : 4.0F);
  }
}

// --- Copies of positions ------------------------------------------------------------------------

TEST_F(GeometryVekObjTest, positionCopiesAndConvertsEveryValue) {
  // 16777217 has no neighbour in single precision, 0.1 is rounded.
  OpenGeometry& doubles = open(sampleScene({positions<double>({0.1, 16777217.0, -2, 5}, 4)}));
  EXPECT_EQ(position<double>(doubles, 0),
            (Copied<double>{true, {0.1, 16777217.0, -2, 5}, kAnimated, 4}));
  EXPECT_EQ(position<float>(doubles, 0),
            (Copied<float>{true, {0.1F, 16777216.0F, -2, 5}, kAnimated, 4}));
  OpenGeometry& floats = open(sampleScene({positions<float>({0.1F, 2, 3, 4, 5})}));
  EXPECT_EQ(position<float>(floats, 0), (Copied<float>{true, {0.1F, 2, 3, 4, 5}, kAnimated, 3}));
  EXPECT_EQ(position<double>(floats, 0),
            (Copied<double>{true, {static_cast<double>(0.1F), 2, 3, 4, 5}, kAnimated, 3}));
}

TEST_F(GeometryVekObjTest, positionOfAWrongTypeReportsDimensionAndStateAndKeepsTheValues) {
  for (const TypedChunk& chunk : chunksOfEveryType("POSI", 4)) {
    if (chunk.type == 4 || chunk.type == 6) continue;
    SCOPED_TRACE(chunk.type);
    // A chunk of an unknown type does not keep its dimension when it is read.
    const int dimension = chunk.type == 7 ? 3 : 4;
    OpenGeometry& animated = open(sampleScene({chunk.image}));
    EXPECT_EQ(position<float>(animated, 0), (Copied<float>{false, {kUnset}, kAnimated, dimension}));
    EXPECT_EQ(position<double>(animated, 0),
              (Copied<double>{false, {kUnset}, kAnimated, dimension}));
    OpenGeometry& fixed = open(fixedScene({chunk.image}));
    EXPECT_EQ(position<float>(fixed, 0), (Copied<float>{false, {kUnset}, kStatic, dimension}));
  }
}

TEST_F(GeometryVekObjTest, positionFailsWithoutPositionsAndKeepsItsOutputs) {
  OpenGeometry& view = open({{}, {{}, {positions<float>({1, 2, 3})}}});
  for (const int s : {-1, 0, 2}) {
    EXPECT_EQ(position<float>(view, s), Copied<float>{}) << s;
    EXPECT_EQ(position<double>(view, s), Copied<double>{}) << s;
  }
}

TEST_F(GeometryVekObjTest, emptyPositionsAreReadAsNone) {
  OpenGeometry& view = open(sampleScene({positions<float>({})}));
  EXPECT_EQ(position<double>(view, 0), (Copied<double>{true, {}, kAnimated, 3}));
  EXPECT_EQ(positionData<float>(view, 0),
            (Pointed<float>{true, ownValues<float>(cache(), 0, Tag::POSI), kAnimated, 3}));
}

TEST_F(GeometryVekObjTest, chunkValuesReadAnyTagAndTellWhetherItIsAnimated) {
  OpenGeometry& view = open(
      {{pointChunk<double>("VELO", {1, 2, 3}, 4)}, {{pointChunk<float>("VPNO", {4, 5, 6}, 2)}}});
  std::vector<float> values = {kUnset};
  bool animated = true;
  int dimension = kUnset;
  EXPECT_TRUE(view.getChunkValues<float>(0, Tag::VELO, values, animated, dimension));
  EXPECT_THAT(values, ElementsAre(1, 2, 3));
  EXPECT_FALSE(animated);
  EXPECT_EQ(dimension, 4);
  std::vector<double> wide;
  EXPECT_TRUE(view.getChunkValues<double>(0, Tag::VPNO, wide, animated, dimension));
  EXPECT_THAT(wide, ElementsAre(4, 5, 6));
  EXPECT_TRUE(animated);
  EXPECT_EQ(dimension, 3);
  EXPECT_FALSE(view.getChunkValues<double>(0, Tag::PONO, wide, animated, dimension));
  EXPECT_THAT(wide, ElementsAre(4, 5, 6));
  EXPECT_FALSE(animated);
}

// --- Positions at a time ------------------------------------------------------------------------

/// One point in five samples at frames 0 to 4.
const std::vector<std::vector<float>> kPath = {
    {8, 0, 1}, {0, 10, 1}, {16, 40, 1}, {64, 90, 1}, {32, 160, 1}};

template <typename T>
PointScene pathScene() {
  PointScene scene;
  for (const std::vector<float>& point : kPath) {
    scene.samples.push_back({positions<T>({point.begin(), point.end()})});
  }
  return scene;
}

struct Evaluation {
  int degree;
  float time;
  float x;
  float y;
};
/// Worked out by hand; every number on the way is exact in single precision.
const std::vector<Evaluation> kEvaluations = {
    {1, 0.25F, 6, 2.5F},   {1, 0.5F, 4, 5},      {1, 1.5F, 8, 25},     {1, 3.5F, 48, 125},
    {2, 0.5F, 1, 2.5F},    {2, 1.5F, 4, 22.5F},  {2, 2.5F, 36, 62.5F}, {2, 3.5F, 58, 122.5F},
    {3, 0.5F, -0.5, 2.5F}, {3, 1.5F, 4.5, 22.5}, {3, 2.5F, 43, 62.5F}, {3, 3.5F, 37, 122.5F}};

TEST_F(GeometryVekObjTest, positionsBetweenSamplesAreBlended) {
  OpenGeometry& view = open(pathScene<float>());
  for (const Evaluation& e : kEvaluations) {
    SCOPED_TRACE(::testing::Message() << "degree " << e.degree << " time " << e.time);
    EXPECT_EQ(positionAt<float>(view, e.time, e.degree),
              (Copied<float>{true, {e.x, e.y, 1}, kAnimated, 3}));
    EXPECT_EQ(positionAt<double>(view, e.time, e.degree),
              (Copied<double>{true, {e.x, e.y, 1}, kAnimated, 3}));
  }
}

TEST_F(GeometryVekObjTest, evaluationIsRightWhenTheLimitIsBelowTheSamplesItNeeds) {
  for (const int maxSamples : {1, 2, 3}) {
    OpenGeometry& view = open(pathScene<float>(), maxSamples);
    for (const Evaluation& e : kEvaluations) {
      SCOPED_TRACE(::testing::Message() << maxSamples << ": " << e.degree << " " << e.time);
      EXPECT_EQ(positionAt<float>(view, e.time, e.degree),
                (Copied<float>{true, {e.x, e.y, 1}, kAnimated, 3}));
      EXPECT_EQ(positionAt<double>(view, e.time, e.degree),
                (Copied<double>{true, {e.x, e.y, 1}, kAnimated, 3}));
    }
  }
}

TEST_F(GeometryVekObjTest, halfWayBetweenTwoSamplesLiesTheMean) {
  OpenGeometry& view = open({{}, {{positions<float>({0, 0, 0})}, {positions<float>({2, 4, 6})}}});
  EXPECT_EQ(positionAt<float>(view, 0.5F, 1), (Copied<float>{true, {1, 2, 3}, kAnimated, 3}));
}

TEST_F(GeometryVekObjTest, blendsAreComputedInSinglePrecisionForBothForms) {
  OpenGeometry& view = open({{},
                             {{positions<float>({1})},
                              {positions<float>({3})},
                              {positions<float>({7})},
                              {positions<float>({8})},
                              {positions<float>({9})}}});
  const float t = 0.1F;
  const float linear = t * 3.0F + (1.0F - t) * 1.0F;
  EXPECT_EQ(positionAt<float>(view, 0.1F, 1).values, std::vector<float>{linear});
  EXPECT_EQ(positionAt<double>(view, 0.1F, 1).values, std::vector<double>{linear});
  EXPECT_NE(static_cast<double>(linear),
            3.0 * static_cast<double>(t) + (1.0 - static_cast<double>(t)));
  // Measured from the second sample.
  const float u = 0.1F - 1.0F;
  const float quadratic = (1.0F - 2.0F * 3.0F + 7.0F) * 0.5F * u * u + (7.0F - 1.0F) * 0.5F * u + 3;
  const float w0 = ((1.0F - 0.5F * u) * u - 0.5F) * u;
  const float w1 = (1.5F * u - 2.5F) * u * u + 1.0F;
  const float w2 = ((2.0F - 1.5F * u) * u + 0.5F) * u;
  const float w3 = (0.5F * u - 0.5F) * u * u;
  const float cubic = w0 * 1.0F + w1 * 3.0F + w2 * 7.0F + w3 * 8.0F;
  for (const auto& [degree, expected] : {std::pair(2, quadratic), std::pair(3, cubic)}) {
    SCOPED_TRACE(degree);
    const Copied<float> single = positionAt<float>(view, 0.1F, degree);
    const Copied<double> wide = positionAt<double>(view, 0.1F, degree);
    ASSERT_EQ(single.values.size(), 1U);
    ASSERT_EQ(wide.values.size(), 1U);
    EXPECT_NEAR(single.values[0], expected, 1e-6F);
    EXPECT_EQ(wide.values[0], static_cast<double>(single.values[0]));
  }
}

TEST_F(GeometryVekObjTest, atASampleItsPositionsAreConverted) {
  OpenGeometry& floats = open(pathScene<float>());
  // Less than 0.001 from a sample counts as that sample.
  for (const float time : {2.0F, 2.0005F}) {
    for (const int degree : {0, 1, 2, 3, 7}) {
      EXPECT_EQ(positionAt<float>(floats, time, degree),
                (Copied<float>{true, {16, 40, 1}, kAnimated, 3}));
      EXPECT_EQ(positionAt<double>(floats, time, degree),
                (Copied<double>{true, {16, 40, 1}, kAnimated, 3}));
    }
  }
}

TEST_F(GeometryVekObjTest, afterTheLastTimeTheLastSampleAnswers) {
  OpenGeometry& view = open(pathScene<float>());
  for (const float time : {4.0F, 4.5F, 1e30F, kInfinity}) {
    for (const int degree : {0, 1, 2, 3}) {
      EXPECT_EQ(positionAt<float>(view, time, degree),
                (Copied<float>{true, {32, 160, 1}, kAnimated, 3}));
    }
  }
}

TEST_F(GeometryVekObjTest, beforeTheFirstTimeAnimatedPositionsFail) {
  OpenGeometry& floats = open(pathScene<float>());
  for (const float time : {-0.5F, -1e30F, -kInfinity}) {
    for (const int degree : {0, 1, 2, 3}) {
      EXPECT_EQ(positionAt<float>(floats, time, degree), kNothing<float>);
      EXPECT_EQ(positionAt<double>(floats, time, degree), kNothing<double>);
    }
  }
  EXPECT_EQ(positionAt<double>(open(pathScene<double>()), -0.5F, 1), kNothing<double>);
}

TEST_F(GeometryVekObjTest, beforeTheFirstTimeStaticPositionsAnswer) {
  OpenGeometry& floats = open(fixedScene({positions<float>({1, 2, 3})}));
  EXPECT_EQ(positionAt<float>(floats, -5, 1), (Copied<float>{true, {1, 2, 3}, kStatic, 3}));
  OpenGeometry& doubles = open(fixedScene({positions<double>({1, 2, 3})}));
  EXPECT_EQ(positionAt<float>(doubles, -5, 3), (Copied<float>{true, {1, 2, 3}, kStatic, 3}));
}

TEST_F(GeometryVekObjTest, aTimeThatIsNoNumberFails) {
  OpenGeometry& view = open(pathScene<float>());
  for (const int degree : {0, 1, 2, 3}) {
    EXPECT_EQ(positionAt<float>(view, kNaN, degree), kNothing<float>);
  }
}

TEST_F(GeometryVekObjTest, otherDegreesTakeTheFirstChosenSample) {
  const struct {
    int degree;
    float time;
    std::size_t sample;
  } cases[] = {// The sample at or before the time.
               {0, 0.5F, 0},
               {0, 2.5F, 2},
               {0, 3.9F, 3},
               {-1, 2.5F, 2},
               {-5, 3.5F, 3},
               // Pulled back from the end, two steps of the test at a time.
               {4, 3.5F, 1},
               {4, 0.5F, 0},
               {5, 2.5F, 0},
               {5, 3.5F, 0},
               {100, 3.5F, 0}};
  OpenGeometry& floats = open(pathScene<float>());
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.degree << " at " << c.time);
    EXPECT_EQ(positionAt<float>(floats, c.time, c.degree),
              (Copied<float>{true, kPath[c.sample], kAnimated, 3}));
  }
  OpenGeometry& doubles = open(pathScene<double>());
  EXPECT_EQ(positionAt<float>(doubles, 2.5F, 0), (Copied<float>{true, kPath[2], kAnimated, 3}));
}

TEST_F(GeometryVekObjTest, doublePositionsFailBetweenSamplesOnly) {
  OpenGeometry& view = open(pathScene<double>());
  for (const int degree : {1, 2, 3}) {
    SCOPED_TRACE(degree);
    EXPECT_EQ(positionAt<float>(view, 2.5F, degree), kNothing<float>);
    EXPECT_EQ(positionAt<double>(view, 2.5F, degree), kNothing<double>);
    EXPECT_EQ(positionAt<double>(view, 2, degree),
              (Copied<double>{true, {16, 40, 1}, kAnimated, 3}));
    EXPECT_EQ(positionAt<float>(view, 9, degree),
              (Copied<float>{true, {32, 160, 1}, kAnimated, 3}));
  }
  // Static ones too.
  PointScene fixed{{positions<double>({1, 2, 3})}, {{}, {}}};
  EXPECT_FALSE(positionAt<double>(open(fixed), 0.5F, 1).ok);
}

TEST_F(GeometryVekObjTest, aSampleThatCannotBeReadFailsTheEvaluation) {
  for (const ByteImage& broken : {ByteImage(), positions<double>({1, 2, 3}), positions<int>({})}) {
    for (std::size_t at = 0; at < 4; ++at) {
      PointScene scene = pathScene<float>();
      scene.samples[at] = {broken};
      OpenGeometry& view = open(scene);
      EXPECT_FALSE(positionAt<float>(view, 0.5F, 3).ok) << at;
      EXPECT_EQ(positionAt<float>(view, 0.5F, 2).ok, at > 2) << at;
      EXPECT_EQ(positionAt<double>(view, 0.5F, 1).ok, at > 1) << at;
    }
  }
}

TEST_F(GeometryVekObjTest, readsBeforeTheFailingOneLeaveTheirDimension) {
  PointScene scene{{}, {{positions<float>({1, 2, 3}, 4)}, {positions<double>({1, 2, 3})}}};
  const Copied<float> read = positionAt<float>(open(scene), 0.5F, 1);
  EXPECT_FALSE(read.ok);
  EXPECT_EQ(read.dimension, 4);
}

TEST_F(GeometryVekObjTest, theLastSampleReadDecidesTheDimension) {
  PointScene scene;
  for (const int dimension : {3, 4, 3, 4, 3}) {
    scene.samples.push_back({positions<float>({1, 2, 3, 4}, dimension)});
  }
  OpenGeometry& view = open(scene);
  EXPECT_EQ(positionAt<float>(view, 0.5F, 1).dimension, 4);
  EXPECT_EQ(positionAt<float>(view, 0.5F, 2).dimension, 3);
  EXPECT_EQ(positionAt<float>(view, 0.5F, 3).dimension, 4);
}

TEST_F(GeometryVekObjTest, samplesOfDifferentCountsFailBetweenThemOnly) {
  for (const std::vector<float>& other :
       std::vector<std::vector<float>>{{1, 2}, {1, 2, 3, 4}, {}}) {
    for (std::size_t at = 0; at < 4; ++at) {
      SCOPED_TRACE(::testing::Message() << other.size() << " values at " << at);
      PointScene scene = pathScene<float>();
      scene.samples[at] = {positions<float>(other)};
      OpenGeometry& view = open(scene);
      EXPECT_FALSE(positionAt<float>(view, 0.5F, 3).ok);
      EXPECT_FALSE(positionAt<double>(view, 0.5F, 3).ok);
      EXPECT_EQ(positionAt<float>(view, 0.5F, 2).ok, at > 2);
      EXPECT_EQ(positionAt<float>(view, 0.5F, 1).ok, at > 1);
      EXPECT_EQ(positionAt<float>(view, static_cast<float>(at), 3).values, other);
    }
  }
}

TEST_F(GeometryVekObjTest, staticPositionsBetweenSamplesStayStatic) {
  OpenGeometry& view = open({{positions<float>({8, 16, 32})}, {{}, {}, {}, {}, {}}});
  for (const int degree : {0, 1, 2, 3}) {
    EXPECT_EQ(positionAt<float>(view, 1.5F, degree),
              (Copied<float>{true, {8, 16, 32}, kStatic, 3}));
  }
}

TEST_F(GeometryVekObjTest, emptyPositionsAreBlendedToNone) {
  PointScene scene{{}, {{positions<float>({})}, {positions<float>({})}}};
  EXPECT_EQ(positionAt<double>(open(scene), 0.5F, 1), (Copied<double>{true, {}, kAnimated, 3}));
}

TEST_F(GeometryVekObjTest, aCacheWithoutSamplesAnswersWithStaticPositions) {
  PointScene scene{{positions<float>({1, 2, 3})}, {}};
  EXPECT_EQ(positionAt<float>(open(scene), 0, 1), (Copied<float>{true, {1, 2, 3}, kStatic, 3}));
  EXPECT_EQ(positionAt<float>(open(PointScene{}), 0, 1), kNothing<float>);
}

TEST_F(GeometryVekObjTest, nonUniformTimesBlendFromTheLaterSample) {
  PointScene scene{{},
                   {{positions<float>({0})},
                    {positions<float>({10})},
                    {positions<float>({20})},
                    {positions<float>({60})}}};
  scene.times = {0, 1, 3, 7};
  OpenGeometry& view = open(scene);
  // Between 1 and 3, samples 2 and 3 are chosen: t = (2 - 3) / 4.
  EXPECT_EQ(positionAt<float>(view, 2, 1), (Copied<float>{true, {10}, kAnimated, 3}));
  EXPECT_EQ(positionAt<float>(view, 2, 0), (Copied<float>{true, {20}, kAnimated, 3}));
  // In the last interval the last sample is blended with itself at a distance of 0.
  for (const int degree : {1, 2, 3}) {
    VekInterpolationHints hints = hintsFor(degree);
    for (const float time : {0.5F, 2.0F, 4.0F, 5.0F, 6.9F}) {
      SCOPED_TRACE(::testing::Message() << degree << " at " << time);
      std::vector<double> values;
      AnimationState state = kStatic;
      int dimension = 0;
      EXPECT_TRUE(view.getPositionAtTime(time, hints, values, state, dimension));
      ASSERT_EQ(values.size(), 1U);
      // A longer run is pulled back from the end.
      EXPECT_EQ(std::isfinite(values[0]), degree > 1 || time < 3.0F);
    }
  }
}

/// Answers every read of float positions itself.
class CountingGeometry : public OpenGeometry {
 public:
  using GeometryVekObj::getPositionData;
  using OpenGeometry::OpenGeometry;
  bool getPositionData(int sample, const std::vector<float>*& data, AnimationState& state,
                       int& dimension) override {
    samples.push_back(sample);
    data = &values;
    state = kStatic;
    dimension = 4;
    return true;
  }
  std::vector<int> samples;
  std::vector<float> values = {6};
};

TEST_F(GeometryVekObjTest, evaluationReadsThroughTheVirtualFloatAccessorInIndexOrder) {
  open(pathScene<double>());
  CountingGeometry view(&cache(), 0);
  VekInterpolationHints hints = hintsFor(3);
  std::vector<double> values;
  AnimationState state = kAnimated;
  int dimension = 0;
  EXPECT_TRUE(view.getPositionAtTime(3.5F, hints, values, state, dimension));
  EXPECT_THAT(view.samples, ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(values, ElementsAre(6));
  EXPECT_EQ(state, kStatic);
  EXPECT_EQ(dimension, 4);
  // A sample that answers alone is not read through it.
  EXPECT_TRUE(view.getPositionAtTime(2, hints, values, state, dimension));
  EXPECT_EQ(view.samples.size(), 4U);
  EXPECT_EQ(state, kAnimated);
}

TEST_F(GeometryVekObjTest, blendsAreTracedFromLevelOne) {
  OpenGeometry& view = open(pathScene<float>());
  const struct {
    int degree;
    const char* trace;
  } cases[] = {{1, " linear t= 0.5\n 8 25 1\n"},
               {2, " quadratic t= -0.5\n 4 22.5 1\n"},
               {3, " cubic t= 0.5\n 4.5 22.5 1\n"}};
  for (const auto& c : cases) {
    VekInterpolationHints hints = hintsFor(c.degree);
    const auto evaluate = [&](float time) {
      std::vector<float> values;
      AnimationState state = kStatic;
      int dimension = 0;
      EXPECT_TRUE(view.getPositionAtTime(time, hints, values, state, dimension));
    };
    const Verbosity raised(1);
    EXPECT_THAT(captureStderr([&] { evaluate(1.5F); }), EndsWith(c.trace));
    EXPECT_THAT(captureStderr([&] { evaluate(2); }), Not(HasSubstr(" t= ")));
    const Verbosity lowered(0);
    EXPECT_THAT(captureStderr([&] { evaluate(1.5F); }), IsEmpty());
  }
}

// --- Reference positions ------------------------------------------------------------------------

using Attrs = std::vector<std::pair<std::string, ByteImage>>;
constexpr const char* kFirst = "rmanP__Pref";
constexpr const char* kSecond = "qorn_Pref";

PointScene attrScene(const Attrs& attrs) {
  PointScene scene = sampleScene({positions<float>({0, 0, 0})});
  scene.fixedAttrs = attrs;
  return scene;
}
const ByteImage kFloatPref = attrChunk<float>({1, 2, 3});
const ByteImage kDoublePref = attrChunk<double>({4, 5, 6});

TEST_F(GeometryVekObjTest, prefDataPointsAtTheAttributesOwnValues) {
  for (const char* name : {kFirst, kSecond}) {
    OpenGeometry& floats = open(attrScene({{name, kFloatPref}}));
    EXPECT_EQ(prefData<float>(floats), (Pref<float>{true, ownAttr<float>(cache(), 0, 0), 3}));
    EXPECT_EQ(prefData<double>(floats), Pref<double>{});
    OpenGeometry& doubles = open(attrScene({{name, kDoublePref}}));
    EXPECT_EQ(prefData<double>(doubles), (Pref<double>{true, ownAttr<double>(cache(), 0, 0), 3}));
    EXPECT_EQ(prefData<float>(doubles), Pref<float>{});
  }
}

TEST_F(GeometryVekObjTest, prefDataFailsWithoutAttributes) {
  OpenGeometry& view = open(sampleScene({positions<float>({1, 2, 3})}));
  EXPECT_EQ(prefData<float>(view), Pref<float>{});
  EXPECT_EQ(prefData<double>(view), Pref<double>{});
}

TEST_F(GeometryVekObjTest, prefNamesAreComparedWhole) {
  for (const char* name : {"", "Pref", "rmanP__Pre", "rmanP__Pref2", "RMANP__PREF", "_qorn_Pref",
                           "qorn_Pref ", "rmanP__Pref|qorn_Pref"}) {
    EXPECT_EQ(prefData<float>(open(attrScene({{name, kFloatPref}}))), Pref<float>{}) << name;
    EXPECT_EQ(prefData<double>(open(attrScene({{name, kDoublePref}}))), Pref<double>{}) << name;
  }
}

/// Which of the static attributes each form returns; -1 for a failure.
struct PrefCase {
  const char* description;
  Attrs attrs;
  int floatAttr;
  int doubleAttr;
};

TEST_F(GeometryVekObjTest, floatFormTakesTheFirstPrefAndDoubleFormTheLastUsableOne) {
  const ByteImage ints = attrChunk<int>({7, 8, 9});
  const PrefCase cases[] = {
      {"two floats", {{kFirst, kFloatPref}, {kSecond, kFloatPref}}, 0, -1},
      {"two floats, names swapped", {{kSecond, kFloatPref}, {kFirst, kFloatPref}}, 0, -1},
      {"two doubles", {{kFirst, kDoublePref}, {kSecond, kDoublePref}}, -1, 1},
      {"two doubles, names swapped", {{kSecond, kDoublePref}, {kFirst, kDoublePref}}, -1, 1},
      {"float, double", {{kFirst, kFloatPref}, {kSecond, kDoublePref}}, 0, -1},
      {"double, float", {{kFirst, kDoublePref}, {kSecond, kFloatPref}}, -1, 0},
      {"int, float", {{kFirst, ints}, {kSecond, kFloatPref}}, -1, -1},
      {"int, double", {{kFirst, ints}, {kSecond, kDoublePref}}, -1, -1},
      {"double, int", {{kFirst, kDoublePref}, {kSecond, ints}}, -1, 0},
      {"double, float, double",
       {{kFirst, kDoublePref}, {kSecond, kFloatPref}, {kFirst, kDoublePref}},
       -1,
       0},
      {"three doubles",
       {{kFirst, kDoublePref}, {kSecond, kDoublePref}, {kFirst, kDoublePref}},
       -1,
       2},
      {"others around", {{"a", ints}, {kSecond, kFloatPref}, {"b", ints}}, 1, -1},
      {"others between", {{kFirst, kDoublePref}, {"a", ints}, {kSecond, kDoublePref}}, -1, 2},
      {"strings", {{kFirst, attrChunk<std::string>({"1"})}}, -1, -1},
      {"group", {{kFirst, ByteImage().chunk("ATTR", 1, ByteImage(), 0, 3)}}, -1, -1},
      {"raw bytes", {{kFirst, ByteImage().chunk("ATTR", 0, ByteImage().zeros(24), 0, 3)}}, -1, -1},
  };
  for (const PrefCase& c : cases) {
    SCOPED_TRACE(c.description);
    OpenGeometry& view = open(attrScene(c.attrs));
    EXPECT_EQ(prefData<float>(view),
              c.floatAttr < 0 ? Pref<float>{}
                              : (Pref<float>{true, ownAttr<float>(cache(), 0, c.floatAttr), 3}));
    EXPECT_EQ(prefData<double>(view),
              c.doubleAttr < 0
                  ? Pref<double>{}
                  : (Pref<double>{true, ownAttr<double>(cache(), 0, c.doubleAttr), 3}));
  }
}

TEST_F(GeometryVekObjTest, prefDimensionsDifferBetweenTheForms) {
  const struct {
    int stored;
    int asFloat;
    int asDouble;
  } cases[] = {{0, 3, 3}, {1, 1, 3}, {2, 2, 3}, {3, 3, 3},   {4, 4, 4},
               {5, 3, 3}, {8, 3, 3}, {9, 9, 3}, {16, 16, 3}, {200, 3, 3}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.stored);
    EXPECT_EQ(
        prefData<float>(open(attrScene({{kFirst, attrChunk<float>({1}, c.stored)}}))).dimension,
        c.asFloat);
    EXPECT_EQ(
        prefData<double>(open(attrScene({{kFirst, attrChunk<double>({1}, c.stored)}}))).dimension,
        c.asDouble);
  }
}

TEST_F(GeometryVekObjTest, animatedPrefIsTakenFromTheFirstSample) {
  PointScene scene;
  scene.firstTime = 10.0F;
  scene.rate = 2.0F;
  scene.animatedAttrs = {"weight", kSecond};
  for (const float v : {1.0F, 2.0F, 3.0F}) {
    scene.samples.push_back({group("ATRS", join({attrChunk<int>({0}), attrChunk<float>({v})}))});
  }
  OpenGeometry& view = open(scene);
  EXPECT_EQ(prefData<float>(view), (Pref<float>{true, ownAttr<float>(cache(), 0, 1), 3}));
  scene.times = {1, 2, 5};
  OpenGeometry& nonUniform = open(scene);
  EXPECT_EQ(prefData<float>(nonUniform), (Pref<float>{true, ownAttr<float>(cache(), 0, 1), 3}));
}

TEST_F(GeometryVekObjTest, animatedPrefsComeBeforeStaticOnes) {
  PointScene scene;
  scene.fixedAttrs = {{kFirst, kDoublePref}};
  scene.animatedAttrs = {kSecond};
  scene.samples = {{group("ATRS", attrChunk<double>({1}))}};
  OpenGeometry& doubles = open(scene);
  EXPECT_EQ(prefData<double>(doubles), (Pref<double>{true, ownAttr<double>(cache(), 0, 1), 3}));
  scene.samples = {{group("ATRS", attrChunk<float>({1}))}};
  OpenGeometry& mixed = open(scene);
  EXPECT_EQ(prefData<float>(mixed), (Pref<float>{true, ownAttr<float>(cache(), 0, 0), 3}));
  EXPECT_EQ(prefData<double>(mixed), Pref<double>{});
}

TEST_F(GeometryVekObjTest, prefWithoutDataEndsTheSearch) {
  PointScene scene;
  scene.animatedAttrs = {kFirst};
  scene.fixedAttrs = {{kSecond, kDoublePref}};
  scene.samples = {{}};
  OpenGeometry& view = open(scene);
  captureStderr([&] {
    EXPECT_EQ(prefData<double>(view), Pref<double>{});
    EXPECT_EQ(prefData<float>(view), Pref<float>{});
  });
}

TEST_F(GeometryVekObjTest, staticPrefIsFoundInACacheWithoutSamples) {
  PointScene scene;
  scene.fixedAttrs = {{kFirst, kFloatPref}};
  OpenGeometry& view = open(scene);
  EXPECT_EQ(prefData<float>(view), (Pref<float>{true, ownAttr<float>(cache(), -1, 0), 3}));
}

TEST_F(GeometryVekObjTest, emptyPrefIsReadAsNone) {
  OpenGeometry& view = open(attrScene({{kFirst, attrChunk<float>({})}}));
  const Pref<float> pref = prefData<float>(view);
  EXPECT_TRUE(pref.ok);
  ASSERT_NE(pref.data, nullptr);
  EXPECT_THAT(*pref.data, IsEmpty());
}

}  // namespace
