// SPDX-License-Identifier: Apache-2.0
//
// Views of NURBS curves: degree, form, knots, and control points at a sample and at a time.

#include <gmock/gmock.h>

#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ByteImage.h"
#include "NurbsScene.h"
#include "PointScene.h"
#include "SceneImage.h"
#include "VekHelperObj.h"

namespace {

using namespace VekTest;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using Vek::NurbsCurveVekObj;
using Vek::VekInterpolationHints;
using Vek::VekRoMemCache;

/// A curve view without factory.
class OpenCurve : public NurbsCurveVekObj {
 public:
  OpenCurve(VekRoMemCache* cache, int obj) : NurbsCurveVekObj(cache, obj) {}
  ~OpenCurve() override = default;
};

class NurbsCurveVekObjTest : public PointViewTest<OpenCurve> {};

// --- Chunks and reads ---------------------------------------------------------------------------

ByteImage degree(const std::vector<int>& values) {
  return pointChunk<int>("DEGR", values);
}
ByteImage form(const std::vector<std::string>& texts) {
  return pointChunk<std::string>("FORM", texts);
}
template <typename T = float>
ByteImage knots(const std::vector<T>& values) {
  return pointChunk<T>("KNTU", values);
}
/// An open cubic of four points.
std::vector<ByteImage> openCubic() {
  return {degree({3}), form({"kOpen"}), knots({0, 0, 0, 1, 1, 1}), points(4)};
}

template <typename T>
Copied<T> readKnots(NurbsCurveVekObj& view, int sample, bool addEndKnots) {
  return copied<T>([&](auto& values, auto& state, int&) {
    return view.getKnots(sample, values, state, addEndKnots);
  });
}
template <typename T>
Copied<T> readPoints(NurbsCurveVekObj& view, int sample) {
  return copied<T>([&](auto& values, auto& state, int&) {
    return view.getControlPoints(sample, values, state);
  });
}
template <typename T>
Copied<T> pointsAt(NurbsCurveVekObj& view, float time, int interpolation) {
  return copied<T>([&](auto& values, auto& state, int&) {
    VekInterpolationHints hints = hintsFor(interpolation);
    return view.getControlPointsAtTime(time, hints, values, state);
  });
}
Copied<int> readDegree(NurbsCurveVekObj& view, int sample) {
  return copied<int>(
      [&](auto& values, auto& state, int&) { return view.getDegree(sample, values[0], state); });
}
struct Form {
  bool ok = false;
  std::string text = "before";
  AnimationState state = kAnimated;
  bool operator==(const Form& o) const { return ok == o.ok && text == o.text && state == o.state; }
};
Form readForm(NurbsCurveVekObj& view, int sample) {
  Form f;
  f.ok = view.getForm(sample, f.text, f.state);
  return f;
}

// --- The class ----------------------------------------------------------------------------------

TEST_F(NurbsCurveVekObjTest, factoryBuildsACurve) {
  open(sampleScene({pointChunk<int>("NRBC", {1}), points(1)}));
  Vek::VekHelperObj* view = Vek::VekHelperObjFactory(&cache()).vekObjBuilder(0);
  EXPECT_NE(dynamic_cast<NurbsCurveVekObj*>(view), nullptr);
  EXPECT_EQ(view->categories(), (std::set<std::string>{"geometry", "helperObj", "nurbscurve"}));
  view->destroy();
}

TEST_F(NurbsCurveVekObjTest, copiesReadTheSameObject) {
  OpenCurve& view = open(sampleScene(openCubic()));
  auto* twin = new NurbsCurveVekObj(view);
  EXPECT_TRUE(twin->isA("nurbscurve"));
  EXPECT_EQ(readPoints<float>(*twin, 0), readPoints<float>(view, 0));
  *twin = view;
  EXPECT_EQ(readDegree(*twin, 0), readDegree(view, 0));
  twin->destroy();
}

// --- Degree and form ----------------------------------------------------------------------------

TEST_F(NurbsCurveVekObjTest, degreeIsTheFirstValue) {
  EXPECT_EQ(readDegree(open(sampleScene({degree({3})})), 0), (Copied<int>{true, {3}, kAnimated}));
  EXPECT_EQ(readDegree(open(sampleScene({degree({-2, 5})})), 0),
            (Copied<int>{true, {-2}, kAnimated}));
  EXPECT_EQ(readDegree(open(fixedScene({degree({3})})), -1), (Copied<int>{true, {3}, kStatic}));
}

TEST_F(NurbsCurveVekObjTest, missingDegreeFails) {
  OpenCurve& view = open(sampleScene({form({"kOpen"})}));
  for (const int s : {-1, 0, 1}) EXPECT_EQ(readDegree(view, s), Copied<int>{});
}

TEST_F(NurbsCurveVekObjTest, degreeOfAnotherTypeFailsWithTheStateOfTheChunk) {
  for (const TypedChunk& chunk : chunksOfEveryType("DEGR", 1)) {
    if (chunk.type == 3) continue;
    SCOPED_TRACE(chunk.type);
    EXPECT_EQ(readDegree(open(sampleScene({chunk.image})), 0),
              (Copied<int>{false, {kUnset}, kAnimated}));
    EXPECT_EQ(readDegree(open(fixedScene({chunk.image})), 0),
              (Copied<int>{false, {kUnset}, kStatic}));
  }
}

TEST_F(NurbsCurveVekObjTest, emptyDegreeFails) {
  EXPECT_FALSE(readDegree(open(sampleScene({degree({})})), 0).ok);
}

TEST_F(NurbsCurveVekObjTest, formIsTheFirstString) {
  EXPECT_EQ(readForm(open(sampleScene({form({"kPeriodic", "kOpen"})})), 0),
            (Form{true, "kPeriodic", kAnimated}));
  EXPECT_EQ(readForm(open(fixedScene({form({""})})), -1), (Form{true, "", kStatic}));
}

TEST_F(NurbsCurveVekObjTest, missingFormFails) {
  EXPECT_EQ(readForm(open(sampleScene({degree({3})})), 0), (Form{false, "before", kStatic}));
}

TEST_F(NurbsCurveVekObjTest, formOfAnotherTypeFailsWithTheStateOfTheChunk) {
  for (const TypedChunk& chunk : chunksOfEveryType("FORM", 1)) {
    if (chunk.type == 2) continue;
    EXPECT_EQ(readForm(open(sampleScene({chunk.image})), 0), (Form{false, "before", kAnimated}))
        << chunk.type;
  }
}

TEST_F(NurbsCurveVekObjTest, emptyFormFails) {
  EXPECT_FALSE(readForm(open(sampleScene({form({})})), 0).ok);
}

// --- Knots --------------------------------------------------------------------------------------

TEST_F(NurbsCurveVekObjTest, knotsComeAsStoredOrWithTheirEndsRepeated) {
  const auto check = [&](OpenCurve& view) {
    EXPECT_EQ(readKnots<float>(view, 0, false),
              (Copied<float>{true, {0, 0, 0, 1, 1, 1}, kAnimated}));
    EXPECT_EQ(readKnots<double>(view, 0, false),
              (Copied<double>{true, {0, 0, 0, 1, 1, 1}, kAnimated}));
    EXPECT_EQ(readKnots<float>(view, 0, true),
              (Copied<float>{true, {0, 0, 0, 0, 1, 1, 1, 1}, kAnimated}));
    EXPECT_EQ(readKnots<double>(view, 0, true),
              (Copied<double>{true, {0, 0, 0, 0, 1, 1, 1, 1}, kAnimated}));
  };
  check(open(sampleScene({knots<float>({0, 0, 0, 1, 1, 1})})));
  check(open(sampleScene({knots<double>({0, 0, 0, 1, 1, 1})})));
}

TEST_F(NurbsCurveVekObjTest, knotsAreConverted) {
  OpenCurve& doubles = open(fixedScene({knots<double>({0.1, 0.7})}));
  EXPECT_EQ(readKnots<float>(doubles, -1, true),
            (Copied<float>{true, {0.1F, 0.1F, 0.7F, 0.7F}, kStatic}));
  EXPECT_EQ(readKnots<double>(doubles, 5, false), (Copied<double>{true, {0.1, 0.7}, kStatic}));
  OpenCurve& floats = open(sampleScene({knots<float>({0.1F})}));
  const double wide = static_cast<double>(0.1F);
  EXPECT_EQ(readKnots<double>(floats, 0, true),
            (Copied<double>{true, {wide, wide, wide}, kAnimated}));
}

TEST_F(NurbsCurveVekObjTest, missingKnotsFail) {
  OpenCurve& view = open(sampleScene({pointChunk<float>("KNTV", {1, 2})}));
  EXPECT_EQ(readKnots<float>(view, 0, true), Copied<float>{});
  EXPECT_EQ(readKnots<double>(view, 1, false), Copied<double>{});
}

TEST_F(NurbsCurveVekObjTest, knotsOfAnotherTypeFailWithTheStateOfTheChunk) {
  for (const TypedChunk& chunk : chunksOfEveryType("KNTU", 1)) {
    if (chunk.type == 4 || chunk.type == 6) continue;
    SCOPED_TRACE(chunk.type);
    OpenCurve& view = open(sampleScene({chunk.image}));
    EXPECT_EQ(readKnots<float>(view, 0, false), (Copied<float>{false, {kUnset}, kAnimated}));
    EXPECT_EQ(readKnots<double>(view, 0, true), (Copied<double>{false, {kUnset}, kAnimated}));
  }
}

TEST_F(NurbsCurveVekObjTest, emptyKnotsHaveNoEndsToRepeat) {
  OpenCurve& floats = open(sampleScene({knots<float>({})}));
  EXPECT_EQ(readKnots<double>(floats, 0, false), (Copied<double>{true, {}, kAnimated}));
  const Copied<float> padded = readKnots<float>(floats, 0, true);
  EXPECT_TRUE(!padded.ok || padded.values.empty());
  const Copied<double> wide = readKnots<double>(open(sampleScene({knots<double>({})})), 0, true);
  EXPECT_TRUE(!wide.ok || wide.values.empty());
}

// --- Control points -----------------------------------------------------------------------------

TEST_F(NurbsCurveVekObjTest, controlPointsOfAnOpenCurveAreItsPointsWithWeightOne) {
  OpenCurve& view = open(sampleScene(openCubic()));
  EXPECT_EQ(readPoints<float>(view, 0),
            (Copied<float>{true, controlPoints<float>({0, 1, 2, 3}), kAnimated}));
  EXPECT_EQ(readPoints<double>(view, 0),
            (Copied<double>{true, controlPoints<double>({0, 1, 2, 3}), kAnimated}));
}

struct CurveCase {
  const char* description;
  int degree;
  const char* form;
  int knots;
  int stored;
  std::vector<int> expected;
};

TEST_F(NurbsCurveVekObjTest, periodicCurvesRepeatTheirFirstPoints) {
  const CurveCase cases[] = {
      {"cubic of 3", 3, "kPeriodic", 8, 3, {0, 1, 2, 0, 1, 2}},
      {"cubic of 5", 3, "kPeriodic", 10, 5, {0, 1, 2, 3, 4, 0, 1, 2}},
      {"more repeated than stored", 3, "kPeriodic", 7, 2, {0, 1, 0, 1, 0}},
      {"one point", 4, "kPeriodic", 8, 1, {0, 0, 0, 0, 0}},
      {"linear", 1, "kPeriodic", 3, 2, {0, 1, 0}},
      {"degree 0", 0, "kPeriodic", 2, 3, {0, 1, 2}},
      {"more stored than needed", 2, "kPeriodic", 5, 9, {0, 1, 0, 1}},
      // Only the exact word is periodic.
      {"open", 1, "kOpen", 3, 3, {0, 1, 2}},
      {"closed", 2, "kClosed", 4, 3, {0, 1, 2}},
      {"no text", 2, "", 4, 3, {0, 1, 2}},
      {"lower case", 2, "kperiodic", 4, 3, {0, 1, 2}},
      {"longer", 2, "kPeriodic ", 4, 3, {0, 1, 2}},
      {"shorter", 2, "kPeriodi", 4, 3, {0, 1, 2}},
      {"open, more stored than needed", 2, "kOpen", 4, 5, {0, 1, 2}},
  };
  for (const CurveCase& c : cases) {
    SCOPED_TRACE(c.description);
    OpenCurve& view = open(sampleScene(
        {degree({c.degree}), form({c.form}), knotCount("KNTU", c.knots), points(c.stored)}));
    EXPECT_EQ(readPoints<float>(view, 0),
              (Copied<float>{true, controlPoints<float>(c.expected), kAnimated}));
    EXPECT_EQ(readPoints<double>(view, 0).values, controlPoints<double>(c.expected));
  }
}

TEST_F(NurbsCurveVekObjTest, impossibleCountsFail) {
  constexpr int kMin = std::numeric_limits<int>::min();
  constexpr int kMax = std::numeric_limits<int>::max();
  const CurveCase cases[] = {
      {"fewer knots than the degree", 5, "kOpen", 3, 9, {}},
      {"no control point", 4, "kOpen", 3, 9, {}},
      {"too few for the periodic form", 3, "kPeriodic", 5, 9, {}},
      {"far too few for the periodic form", 3, "kPeriodic", 2, 9, {}},
      {"stored points too short", 3, "kOpen", 6, 3, {}},
      {"stored points too short, periodic", 3, "kPeriodic", 8, 2, {}},
      {"no stored points", 3, "kOpen", 6, 0, {}},
      {"huge degree", kMax, "kOpen", 6, 9, {}},
      {"huge degree, periodic", kMax, "kPeriodic", 6, 9, {}},
      {"half of the huge degree, periodic", kMax / 2, "kPeriodic", 6, 9, {}},
      {"huge negative degree", kMin, "kOpen", 6, 9, {}},
      {"huge negative degree, periodic", kMin, "kPeriodic", 6, 9, {}},
      {"negative degree", -1000000, "kOpen", 6, 9, {}},
      {"negative degree, periodic", -1000000, "kPeriodic", 6, 9, {}},
      {"no knots", 1, "kOpen", 0, 9, {}},
  };
  for (const CurveCase& c : cases) {
    SCOPED_TRACE(c.description);
    OpenCurve& view = open(sampleScene(
        {degree({c.degree}), form({c.form}), knotCount("KNTU", c.knots), points(c.stored)}));
    EXPECT_FALSE(readPoints<float>(view, 0).ok);
    EXPECT_FALSE(readPoints<double>(view, 0).ok);
    EXPECT_FALSE(pointsAt<float>(view, 0, 3).ok);
  }
}

TEST_F(NurbsCurveVekObjTest, partOfAPointIsNotRead) {
  std::vector<ByteImage> chunks = openCubic();
  chunks[3] = pointChunk<float>("POSI", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, 3);
  EXPECT_FALSE(readPoints<float>(open(sampleScene(chunks)), 0).ok);
}

TEST_F(NurbsCurveVekObjTest, pointsAreReadInThreesWhateverTheirDimension) {
  for (const int dimension : {0, 1, 4, 5, 16}) {
    OpenCurve& view =
        open(sampleScene({degree({1}), form({"kOpen"}), knotCount("KNTU", 2),
                          pointChunk<float>("POSI", {1, 2, 3, 4, 5, 6, 7, 8}, dimension)}));
    EXPECT_EQ(readPoints<float>(view, 0).values, (std::vector<float>{1, 2, 3, 1, 4, 5, 6, 1}));
  }
}

TEST_F(NurbsCurveVekObjTest, controlPointsNeedEveryChunkAndKeepTheirOutputWithoutIt) {
  for (std::size_t missing = 0; missing < 4; ++missing) {
    SCOPED_TRACE(missing);
    std::vector<ByteImage> chunks = openCubic();
    chunks[missing] = ByteImage();
    OpenCurve& view = open(sampleScene(chunks));
    EXPECT_FALSE(readPoints<float>(view, 0).ok);
    EXPECT_EQ(readPoints<double>(view, 0).values, std::vector<double>{kUnset});
  }
}

TEST_F(NurbsCurveVekObjTest, controlPointsFailWithAChunkOfAnotherType) {
  const char* tags[] = {"DEGR", "FORM", "KNTU", "POSI"};
  for (std::size_t at = 0; at < 4; ++at) {
    for (const TypedChunk& chunk : chunksOfEveryType(tags[at], 3)) {
      const bool right = (at == 0 && chunk.type == 3) || (at == 1 && chunk.type == 2) ||
                         (at == 2 && (chunk.type == 4 || chunk.type == 6)) ||
                         (at == 3 && chunk.type == 4);
      if (right) continue;
      SCOPED_TRACE(::testing::Message() << tags[at] << " type " << chunk.type);
      std::vector<ByteImage> chunks = openCubic();
      chunks[at] = chunk.image;
      OpenCurve& view = open(sampleScene(chunks));
      EXPECT_FALSE(readPoints<float>(view, 0).ok);
      EXPECT_FALSE(readPoints<double>(view, 0).ok);
    }
  }
}

TEST_F(NurbsCurveVekObjTest, doublePositionsMakeControlPointsFailButNotPositions) {
  std::vector<ByteImage> chunks = openCubic();
  chunks[3] = pointChunk<double>("POSI", std::vector<double>(12, 2.0), 3);
  OpenCurve& view = open(sampleScene(chunks));
  EXPECT_FALSE(readPoints<float>(view, 0).ok);
  EXPECT_FALSE(readPoints<double>(view, 0).ok);
  std::vector<float> values;
  AnimationState state = kStatic;
  int dimension = 0;
  EXPECT_TRUE(view.getPosition(0, values, state, dimension));
  EXPECT_EQ(values, std::vector<float>(12, 2.0F));
}

TEST_F(NurbsCurveVekObjTest, doubleKnotsCountLikeFloatOnes) {
  std::vector<ByteImage> chunks = openCubic();
  chunks[2] = knots<double>({0, 0, 0, 1, 1, 1});
  EXPECT_EQ(readPoints<float>(open(sampleScene(chunks)), 0).values,
            controlPoints<float>({0, 1, 2, 3}));
}

TEST_F(NurbsCurveVekObjTest, stateOfControlPointsIsThatOfThePositions) {
  const std::vector<ByteImage> all = openCubic();
  PointScene scene{{all[0], all[1], all[2]}, {{all[3]}}};
  EXPECT_EQ(readPoints<float>(open(scene), 0).state, kAnimated);
  scene = {{all[3]}, {{all[0], all[1], all[2]}}};
  EXPECT_EQ(readPoints<float>(open(scene), 0).state, kStatic);
  // All in the definition: any sample will do.
  EXPECT_EQ(readPoints<float>(open(fixedScene(all)), -1),
            (Copied<float>{true, controlPoints<float>({0, 1, 2, 3}), kStatic}));
}

// --- Control points at a time -------------------------------------------------------------------

/// A line of two points in five samples; x of the second point runs 8, 0, 16, 64, 32.
PointScene lineScene() {
  PointScene scene;
  scene.fixed = {degree({1}), form({"kOpen"}), knots({0, 1})};
  for (const float x : {8.0F, 0.0F, 16.0F, 64.0F, 32.0F}) {
    scene.samples.push_back({pointChunk<float>("POSI", {1, 2, 3, x, -x, 5}, 3)});
  }
  return scene;
}
template <typename T>
std::vector<T> line(T x) {
  return {1, 2, 3, 1, x, -x, 5, 1};
}

struct Evaluation {
  int degree;
  float time;
  float x;
};
/// Worked out by hand; every number on the way is exact in single precision.
const Evaluation kEvaluations[] = {{1, 0.25F, 6},  {1, 1.5F, 8},     {1, 3.5F, 48}, {2, 0.5F, 1},
                                   {2, 1.5F, 4},   {2, 2.5F, 36},    {2, 3.5F, 58}, {3, 0.5F, -.5},
                                   {3, 1.5F, 4.5}, {3, 2.5F, 43},    {3, 3.5F, 37}, {0, 2.5F, 16},
                                   {1, 2, 16},     {3, 2.0005F, 16}, {1, 4, 32},    {2, 1e30F, 32},
                                   {-1, 2.5F, 16}, {4, 3.5F, 0},     {5, 2.5F, 8},  {100, 3.5F, 8}};

TEST_F(NurbsCurveVekObjTest, controlPointsAtATimeAreBlended) {
  for (const int maxSamples : {0, 1, 2, 3}) {
    OpenCurve& view = open(lineScene(), maxSamples);
    for (const Evaluation& e : kEvaluations) {
      SCOPED_TRACE(::testing::Message() << maxSamples << ": " << e.degree << " at " << e.time);
      EXPECT_EQ(pointsAt<float>(view, e.time, e.degree),
                (Copied<float>{true, line<float>(e.x), kAnimated}));
      EXPECT_EQ(pointsAt<double>(view, e.time, e.degree),
                (Copied<double>{true, line<double>(e.x), kAnimated}));
    }
  }
}

TEST_F(NurbsCurveVekObjTest, floatFormBlendsInSinglePrecisionAndDoubleFormInDouble) {
  PointScene scene;
  scene.fixed = {degree({0}), form({"kOpen"}), knots({})};
  for (const float x : {1.0F, 3.0F, 7.0F, 8.0F, 9.0F}) {
    scene.samples.push_back({pointChunk<float>("POSI", {x, 0, 0}, 3)});
  }
  scene.fixed[0] = degree({1});
  scene.fixed[2] = knots({0});
  OpenCurve& view = open(scene);
  const float t = 0.1F;
  // The parameter is single, the blend is not.
  const double u = static_cast<double>(t);
  const Copied<float> single = pointsAt<float>(view, 0.1F, 1);
  const Copied<double> wide = pointsAt<double>(view, 0.1F, 1);
  ASSERT_EQ(single.values.size(), 4U);
  ASSERT_EQ(wide.values.size(), 4U);
  EXPECT_EQ(single.values[0], t * 3.0F + (1.0F - t) * 1.0F);
  EXPECT_DOUBLE_EQ(wide.values[0], u * 3.0 + (1.0 - u));
  EXPECT_NE(wide.values[0], static_cast<double>(single.values[0]));
  EXPECT_NE(wide.values[0], 0.1 * 3.0 + 0.9);
  // Measured from the second sample.
  const double v = static_cast<double>(0.1F - 1.0F);
  EXPECT_NEAR(pointsAt<double>(view, 0.1F, 2).values[0],
              (1.0 - 2.0 * 3.0 + 7.0) * 0.5 * v * v + (7.0 - 1.0) * 0.5 * v + 3.0, 1e-14);
  const double w0 = ((1 - 0.5 * v) * v - 0.5) * v;
  const double w1 = (1.5 * v - 2.5) * v * v + 1;
  const double w2 = ((2 - 1.5 * v) * v + 0.5) * v;
  const double w3 = (0.5 * v - 0.5) * v * v;
  EXPECT_NEAR(pointsAt<double>(view, 0.1F, 3).values[0], w0 * 1 + w1 * 3 + w2 * 7 + w3 * 8, 1e-14);
  for (const int degree : {1, 2, 3}) {
    EXPECT_NEAR(pointsAt<double>(view, 0.1F, degree).values[3], 1.0, 1e-14);
    EXPECT_NEAR(pointsAt<float>(view, 0.1F, degree).values[3], 1.0F, 1e-6F);
  }
}

TEST_F(NurbsCurveVekObjTest, beforeTheFirstTimeOnlyStaticControlPointsAnswer) {
  OpenCurve& animated = open(lineScene());
  for (const int interpolation : {0, 1, 2, 3}) {
    EXPECT_FALSE(pointsAt<float>(animated, -1, interpolation).ok);
    EXPECT_FALSE(pointsAt<double>(animated, kNaN, interpolation).ok);
  }
  EXPECT_EQ(pointsAt<float>(open(fixedScene(openCubic())), -1, 3),
            (Copied<float>{true, controlPoints<float>({0, 1, 2, 3}), kStatic}));
}

TEST_F(NurbsCurveVekObjTest, periodicPointsAreCompletedBeforeTheBlend) {
  PointScene scene;
  scene.fixed = {degree({3}), form({"kPeriodic"}), knotCount("KNTU", 8)};
  scene.samples = {{points(3)}, {points(3, 2)}};
  EXPECT_EQ(pointsAt<double>(open(scene), 0.5F, 1),
            (Copied<double>{true, controlPoints<double>({1, 2, 3, 1, 2, 3}), kAnimated}));
}

TEST_F(NurbsCurveVekObjTest, aSampleThatCannotBeReadFailsTheEvaluation) {
  for (const ByteImage& broken : {ByteImage(), pointChunk<double>("POSI", {1, 2, 3, 4, 5, 6}),
                                  pointChunk<float>("POSI", {1})}) {
    for (std::size_t at = 0; at < 4; ++at) {
      PointScene scene = lineScene();
      scene.samples[at] = {broken};
      OpenCurve& view = open(scene);
      EXPECT_FALSE(pointsAt<float>(view, 0.5F, 3).ok) << at;
      EXPECT_EQ(pointsAt<double>(view, 0.5F, 2).ok, at > 2) << at;
      EXPECT_EQ(pointsAt<float>(view, 0.5F, 1).ok, at > 1) << at;
    }
  }
}

TEST_F(NurbsCurveVekObjTest, samplesOfDifferentCountsFailBetweenThemOnly) {
  const std::vector<ByteImage> common = {degree({1}), form({"kOpen"}), points(5)};
  const auto scene = [&](int first, int second) {
    return PointScene{common, {{knotCount("KNTU", first)}, {knotCount("KNTU", second)}}};
  };
  for (const auto& [first, second] : {std::pair(2, 3), std::pair(3, 2)}) {
    OpenCurve& view = open(scene(first, second));
    EXPECT_FALSE(pointsAt<float>(view, 0.5F, 1).ok);
    EXPECT_FALSE(pointsAt<double>(view, 0.5F, 1).ok);
    EXPECT_EQ(pointsAt<float>(view, 0, 1).values.size(), 4U * static_cast<std::size_t>(first));
    EXPECT_EQ(pointsAt<float>(view, 1, 1).values.size(), 4U * static_cast<std::size_t>(second));
  }
}

TEST_F(NurbsCurveVekObjTest, noElementsAreTraced) {
  OpenCurve& view = open(lineScene());
  const Verbosity raised(2);
  const std::string trace = captureStderr([&] { pointsAt<float>(view, 0.5F, 1); });
  EXPECT_THAT(trace, Not(HasSubstr("CPs")));
}

// Without the check a degree of 0 would make one control point of no knots.
TEST_F(NurbsCurveVekObjTest, curveWithoutKnotsHasNoControlPoints) {
  const std::vector<ByteImage> chunks = {pointChunk<int>("DEGR", {0}),
                                         pointChunk<std::string>("FORM", {"kOpen"}),
                                         pointChunk<float>("POSI", {1, 2, 3}, 3)};
  EXPECT_FALSE(readPoints<float>(open(sampleScene(chunks)), 0).ok);
  std::vector<ByteImage> withEmptyKnots = chunks;
  withEmptyKnots.push_back(pointChunk<float>("KNTU", {}));
  EXPECT_FALSE(readPoints<double>(open(sampleScene(withEmptyKnots)), 0).ok);
}

}  // namespace
