// SPDX-License-Identifier: Apache-2.0
//
// Views of NURBS surfaces: degrees, forms, knots, control points at a sample and at a time, and
// attributes and reference positions in the order of the control points.

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
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using Vek::NurbsSurfaceVekObj;
using Vek::VekInterpolationHints;
using Vek::VekRoMemCache;

/// A surface view whose protected members tests may reach.
class OpenSurface : public NurbsSurfaceVekObj {
 public:
  OpenSurface(VekRoMemCache* cache, int obj) : NurbsSurfaceVekObj(cache, obj) {}
  ~OpenSurface() override = default;
  using NurbsSurfaceVekObj::getNumKnotUData;
  using NurbsSurfaceVekObj::getNumKnotVData;
};

class NurbsSurfaceVekObjTest : public PointViewTest<OpenSurface> {};

// --- Chunks and reads ---------------------------------------------------------------------------

ByteImage degrees(const std::vector<int>& values) {
  return pointChunk<int>("DEGR", values);
}
ByteImage forms(const std::vector<std::string>& texts) {
  return pointChunk<std::string>("FORM", texts);
}
/// Degrees 1 and 2; 2 times 3 control points.
std::vector<ByteImage> patch() {
  return {degrees({1, 2}), forms({"kOpen", "kOpen"}), knotCount("KNTU", 2), knotCount("KNTV", 4),
          points(6)};
}
const std::vector<int> kStoredOrder = {0, 1, 2, 3, 4, 5};
const std::vector<int> kUFastestOrder = {0, 3, 1, 4, 2, 5};

template <typename T>
Copied<T> readPoints(NurbsSurfaceVekObj& view, int sample, bool uFastest) {
  return copied<T>([&](auto& values, auto& state, int&) {
    return view.getControlPoints(sample, values, state, uFastest);
  });
}
template <typename T>
Copied<T> pointsAt(NurbsSurfaceVekObj& view, float time, int interpolation, bool uFastest) {
  return copied<T>([&](auto& values, auto& state, int&) {
    VekInterpolationHints hints = hintsFor(interpolation);
    return view.getControlPointsAtTime(time, hints, values, state, uFastest);
  });
}
/// Two vectors of knots in one: those of U, -1, those of V.
template <typename T>
Copied<T> readKnots(NurbsSurfaceVekObj& view, int sample, bool addEndKnots) {
  return copied<T>([&](auto& values, auto& state, int&) {
    std::vector<T> u = {kUnset};
    std::vector<T> v = {kUnset};
    const bool ok = view.getKnots(sample, u, v, state, addEndKnots);
    values = u;
    values.push_back(-1);
    values.insert(values.end(), v.begin(), v.end());
    return ok;
  });
}
template <typename T>
Copied<T> knotsFailed(AnimationState state) {
  return {false, {kUnset, -1, kUnset}, state};
}
Copied<int> readDegrees(NurbsSurfaceVekObj& view, int sample) {
  return copied<int>([&](auto& values, auto& state, int&) {
    values = {kUnset, kUnset};
    return view.getDegree(sample, values[0], values[1], state);
  });
}
struct Forms {
  bool ok = false;
  std::string u = "u before";
  std::string v = "v before";
  AnimationState state = kAnimated;
  bool operator==(const Forms& o) const {
    return ok == o.ok && u == o.u && v == o.v && state == o.state;
  }
};
Forms readForms(NurbsSurfaceVekObj& view, int sample) {
  Forms f;
  f.ok = view.getForm(sample, f.u, f.v, f.state);
  return f;
}
template <typename T>
Copied<T> readAttr(NurbsSurfaceVekObj& view, int attr, bool uFastest, int sample = 0) {
  Copied<T> result;
  result.ok = view.getAttr(sample, attr, result.values, result.dimension, uFastest);
  return result;
}
template <typename T>
Copied<T> readPref(NurbsSurfaceVekObj& view, bool uFastest) {
  Copied<T> result;
  result.ok = view.getPrefControlPoints(result.values, uFastest);
  return result;
}

// --- The class ----------------------------------------------------------------------------------

TEST_F(NurbsSurfaceVekObjTest, factoryBuildsASurfaceBeforeACurve) {
  open(sampleScene({pointChunk<int>("NRBC", {1}), pointChunk<int>("NRBS", {1}), points(1)}));
  Vek::VekHelperObj* view = Vek::VekHelperObjFactory(&cache()).vekObjBuilder(0);
  EXPECT_NE(dynamic_cast<NurbsSurfaceVekObj*>(view), nullptr);
  EXPECT_EQ(view->categories(), (std::set<std::string>{"geometry", "helperObj", "nurbssurface"}));
  view->destroy();
}

TEST_F(NurbsSurfaceVekObjTest, copiesReadTheSameObject) {
  OpenSurface& view = open(sampleScene(patch()));
  auto* twin = new NurbsSurfaceVekObj(view);
  EXPECT_TRUE(twin->isA("nurbssurface"));
  EXPECT_EQ(readDegrees(*twin, 0), readDegrees(view, 0));
  *twin = view;
  EXPECT_EQ(readPoints<float>(*twin, 0, true), readPoints<float>(view, 0, true));
  twin->destroy();
}

// --- Degrees and forms --------------------------------------------------------------------------

TEST_F(NurbsSurfaceVekObjTest, degreesAreTheFirstTwoValues) {
  EXPECT_EQ(readDegrees(open(sampleScene({degrees({3, 2})})), 0),
            (Copied<int>{true, {3, 2}, kAnimated}));
  EXPECT_EQ(readDegrees(open(fixedScene({degrees({-1, 4, 7})})), -1),
            (Copied<int>{true, {-1, 4}, kStatic}));
}

TEST_F(NurbsSurfaceVekObjTest, fewerThanTwoDegreesAreBothZeroAndSucceed) {
  EXPECT_EQ(readDegrees(open(sampleScene({degrees({3})})), 0),
            (Copied<int>{true, {0, 0}, kAnimated}));
  EXPECT_EQ(readDegrees(open(fixedScene({degrees({})})), 0), (Copied<int>{true, {0, 0}, kStatic}));
}

TEST_F(NurbsSurfaceVekObjTest, degreesThatCannotBeReadAreZeroAndStatic) {
  EXPECT_EQ(readDegrees(open(sampleScene({})), 0), (Copied<int>{false, {0, 0}, kStatic}));
  for (const TypedChunk& chunk : chunksOfEveryType("DEGR", 1)) {
    if (chunk.type == 3) continue;
    EXPECT_EQ(readDegrees(open(sampleScene({chunk.image})), 0),
              (Copied<int>{false, {0, 0}, kStatic}))
        << chunk.type;
  }
}

TEST_F(NurbsSurfaceVekObjTest, formsAreTheFirstTwoStrings) {
  EXPECT_EQ(readForms(open(sampleScene({forms({"kOpen", "kPeriodic", "x"})})), 0),
            (Forms{true, "kOpen", "kPeriodic", kAnimated}));
  EXPECT_EQ(readForms(open(fixedScene({forms({"", "a"})})), -1), (Forms{true, "", "a", kStatic}));
}

TEST_F(NurbsSurfaceVekObjTest, fewerThanTwoFormsLeaveBothAndSucceed) {
  EXPECT_EQ(readForms(open(sampleScene({forms({"kPeriodic"})})), 0),
            (Forms{true, "u before", "v before", kAnimated}));
  EXPECT_EQ(readForms(open(fixedScene({forms({})})), 0),
            (Forms{true, "u before", "v before", kStatic}));
}

TEST_F(NurbsSurfaceVekObjTest, formsThatCannotBeReadAreLeftAndStatic) {
  const Forms failed{false, "u before", "v before", kStatic};
  EXPECT_EQ(readForms(open(sampleScene({})), 0), failed);
  for (const TypedChunk& chunk : chunksOfEveryType("FORM", 1)) {
    if (chunk.type == 2) continue;
    EXPECT_EQ(readForms(open(sampleScene({chunk.image})), 0), failed) << chunk.type;
  }
}

// --- Knots --------------------------------------------------------------------------------------

TEST_F(NurbsSurfaceVekObjTest, knotCountsAreThoseOfFloatAndDoubleLeaves) {
  OpenSurface& view = open({{}, {{knotCount<float>("KNTU", 5), knotCount<double>("KNTV", 7)}}});
  EXPECT_EQ(view.getNumKnotUData(0), 5);
  EXPECT_EQ(view.getNumKnotVData(0), 7);
  EXPECT_EQ(view.getNumKnotUData(-1), 0);
  EXPECT_EQ(view.getNumKnotVData(1), 0);
  for (const TypedChunk& chunk : chunksOfEveryType("KNTU", 1)) {
    OpenSurface& other = open(fixedScene({chunk.image}));
    EXPECT_EQ(other.getNumKnotUData(-1), chunk.type == 4 || chunk.type == 6 ? 2 : 0) << chunk.type;
    EXPECT_EQ(other.getNumKnotVData(-1), 0);
  }
}

TEST_F(NurbsSurfaceVekObjTest, floatKnotsArePaddedOnRequest) {
  OpenSurface& view =
      open(sampleScene({pointChunk<float>("KNTU", {0, 2}), pointChunk<float>("KNTV", {3, 4, 5})}));
  EXPECT_EQ(readKnots<float>(view, 0, false),
            (Copied<float>{true, {0, 2, -1, 3, 4, 5}, kAnimated}));
  EXPECT_EQ(readKnots<double>(view, 0, false),
            (Copied<double>{true, {0, 2, -1, 3, 4, 5}, kAnimated}));
  EXPECT_EQ(readKnots<float>(view, 0, true),
            (Copied<float>{true, {0, 0, 2, 2, -1, 3, 3, 4, 5, 5}, kAnimated}));
  EXPECT_EQ(readKnots<double>(view, 0, true),
            (Copied<double>{true, {0, 0, 2, 2, -1, 3, 3, 4, 5, 5}, kAnimated}));
}

TEST_F(NurbsSurfaceVekObjTest, doubleKnotsAreAlwaysPadded) {
  OpenSurface& view = open(
      sampleScene({pointChunk<double>("KNTU", {0.1, 2}), pointChunk<double>("KNTV", {3, 4, 5})}));
  for (const bool addEndKnots : {false, true}) {
    EXPECT_EQ(readKnots<double>(view, 0, addEndKnots),
              (Copied<double>{true, {0.1, 0.1, 2, 2, -1, 3, 3, 4, 5, 5}, kAnimated}));
    EXPECT_EQ(readKnots<float>(view, 0, addEndKnots),
              (Copied<float>{true, {0.1F, 0.1F, 2, 2, -1, 3, 3, 4, 5, 5}, kAnimated}));
  }
}

TEST_F(NurbsSurfaceVekObjTest, stateOfKnotsIsThatOfTheOnesInV) {
  const ByteImage u = knotCount("KNTU", 1);
  const ByteImage v = knotCount("KNTV", 1);
  EXPECT_EQ(readKnots<float>(open({{u}, {{v}}}), 0, false).state, kAnimated);
  EXPECT_EQ(readKnots<float>(open({{v}, {{u}}}), 0, false).state, kStatic);
  EXPECT_EQ(readKnots<float>(open({{u, v}, {}}), -1, false),
            (Copied<float>{true, {0, -1, 0}, kStatic}));
}

TEST_F(NurbsSurfaceVekObjTest, knotsInOneDirectionOnlyFail) {
  for (const char* tag : {"KNTU", "KNTV"}) {
    OpenSurface& view = open(sampleScene({knotCount(tag, 2)}));
    EXPECT_EQ(readKnots<float>(view, 0, false), knotsFailed<float>(kStatic)) << tag;
    EXPECT_EQ(readKnots<double>(view, 0, true), knotsFailed<double>(kStatic)) << tag;
  }
}

TEST_F(NurbsSurfaceVekObjTest, knotsNeedOneTypeInBothDirections) {
  for (const TypedChunk& u : chunksOfEveryType("KNTU", 1)) {
    for (const TypedChunk& v : chunksOfEveryType("KNTV", 1)) {
      if (u.type == v.type && (u.type == 4 || u.type == 6)) continue;
      SCOPED_TRACE(::testing::Message() << "types " << u.type << " and " << v.type);
      OpenSurface& view = open(sampleScene({u.image, v.image}));
      EXPECT_EQ(readKnots<float>(view, 0, false), knotsFailed<float>(kAnimated));
      EXPECT_EQ(readKnots<double>(view, 0, true), knotsFailed<double>(kAnimated));
    }
  }
}

TEST_F(NurbsSurfaceVekObjTest, emptyKnotsHaveNoEndsToRepeat) {
  for (const bool empty : {true, false}) {
    OpenSurface& doubles =
        open(sampleScene({knotCount<double>("KNTU", 0), knotCount<double>("KNTV", empty ? 0 : 1)}));
    const Copied<double> read = readKnots<double>(doubles, 0, false);
    EXPECT_TRUE(!read.ok || read.values.front() == -1) << read;
  }
  OpenSurface& floats = open(sampleScene({knotCount("KNTU", 0), knotCount("KNTV", 0)}));
  EXPECT_EQ(readKnots<float>(floats, 0, false), (Copied<float>{true, {-1}, kAnimated}));
  const Copied<float> padded = readKnots<float>(floats, 0, true);
  EXPECT_TRUE(!padded.ok || padded.values == std::vector<float>{-1}) << padded;
}

// --- Control points -----------------------------------------------------------------------------

TEST_F(NurbsSurfaceVekObjTest, controlPointsRunInVFastestOrUFastest) {
  OpenSurface& view = open(sampleScene(patch()));
  EXPECT_EQ(readPoints<float>(view, 0, false),
            (Copied<float>{true, controlPoints<float>(kStoredOrder), kAnimated}));
  EXPECT_EQ(readPoints<float>(view, 0, true),
            (Copied<float>{true, controlPoints<float>(kUFastestOrder), kAnimated}));
  EXPECT_EQ(readPoints<double>(view, 0, false),
            (Copied<double>{true, controlPoints<double>(kStoredOrder), kAnimated}));
  EXPECT_EQ(readPoints<double>(view, 0, true),
            (Copied<double>{true, controlPoints<double>(kUFastestOrder), kAnimated}));
}

struct SurfaceCase {
  const char* description;
  std::vector<int> degrees;
  std::vector<std::string> forms;
  int knotsU;
  int knotsV;
  int stored;
  std::vector<int> vFastest;
  std::vector<int> uFastest;
};
std::vector<ByteImage> chunksOf(const SurfaceCase& c) {
  return {degrees(c.degrees), forms(c.forms), knotCount("KNTU", c.knotsU),
          knotCount("KNTV", c.knotsV), points(c.stored)};
}

TEST_F(NurbsSurfaceVekObjTest, periodicDirectionsRepeatTheirFirstPoints) {
  const std::vector<int> rows = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14};
  const SurfaceCase cases[] = {
      {"U of 2 points",
       {2, 1},
       {"kPeriodic", "kOpen"},
       5,
       2,
       4,
       {0, 1, 2, 3, 0, 1, 2, 3},
       {0, 2, 0, 2, 1, 3, 1, 3}},
      {"V of 2 points",
       {1, 2},
       {"kOpen", "kPeriodic"},
       2,
       5,
       4,
       {0, 1, 0, 1, 2, 3, 2, 3},
       {0, 2, 1, 3, 0, 2, 1, 3}},
      {"both",
       {1, 1},
       {"kPeriodic", "kPeriodic"},
       3,
       3,
       4,
       {0, 1, 0, 2, 3, 2, 0, 1, 0},
       {0, 2, 0, 1, 3, 1, 0, 2, 0}},
      {"more repeated than stored",
       {3, 1},
       {"kPeriodic", "kOpen"},
       6,
       1,
       1,
       {0, 0, 0, 0},
       {0, 0, 0, 0}},
      {"words that only look periodic",
       {1, 1},
       {"kperiodic", "kPeriodic "},
       2,
       2,
       4,
       {0, 1, 2, 3},
       {0, 2, 1, 3}},
      {"more stored than needed", {1, 1}, {"kOpen", "kOpen"}, 2, 2, 9, {0, 1, 2, 3}, {0, 2, 1, 3}},
      // One form is no form: both directions are open.
      {"one form", {1, 1}, {"kPeriodic"}, 2, 2, 4, {0, 1, 2, 3}, {0, 2, 1, 3}},
      {"no form", {1, 1}, {}, 2, 2, 4, {0, 1, 2, 3}, {0, 2, 1, 3}},
      // One degree counts as none: 3 times 5 points of degree 0.
      {"one degree",
       {1},
       {"kOpen", "kOpen"},
       2,
       4,
       15,
       rows,
       {0, 5, 10, 1, 6, 11, 2, 7, 12, 3, 8, 13, 4, 9, 14}},
      {"more forms and degrees than two",
       {1, 1, 9},
       {"a", "b", "kPeriodic"},
       2,
       2,
       4,
       {0, 1, 2, 3},
       {0, 2, 1, 3}},
  };
  for (const SurfaceCase& c : cases) {
    SCOPED_TRACE(c.description);
    OpenSurface& view = open(sampleScene(chunksOf(c)));
    EXPECT_EQ(readPoints<float>(view, 0, false),
              (Copied<float>{true, controlPoints<float>(c.vFastest), kAnimated}));
    EXPECT_EQ(readPoints<float>(view, 0, true),
              (Copied<float>{true, controlPoints<float>(c.uFastest), kAnimated}));
    EXPECT_EQ(readPoints<double>(view, 0, true).values, controlPoints<double>(c.uFastest));
  }
}

TEST_F(NurbsSurfaceVekObjTest, impossibleCountsFail) {
  constexpr int kMin = std::numeric_limits<int>::min();
  constexpr int kMax = std::numeric_limits<int>::max();
  const std::vector<std::string> open2 = {"kOpen", "kOpen"};
  const std::vector<std::string> periodic2 = {"kPeriodic", "kPeriodic"};
  const SurfaceCase cases[] = {
      {"fewer knots than the degree in U", {5, 1}, open2, 3, 2, 9, {}, {}},
      {"fewer knots than the degree in V", {1, 5}, open2, 2, 3, 9, {}, {}},
      {"in both, whose product is positive", {5, 5}, open2, 2, 2, 9, {}, {}},
      {"periodic with too few in U", {2, 1}, periodic2, 3, 3, 9, {}, {}},
      {"periodic with too few in V", {1, 2}, periodic2, 3, 3, 9, {}, {}},
      {"periodic with far too few in both", {3, 3}, periodic2, 3, 3, 9, {}, {}},
      {"stored points too short", {1, 2}, open2, 2, 4, 5, {}, {}},
      {"stored points too short, periodic", {1, 1}, periodic2, 3, 3, 3, {}, {}},
      {"no stored points", {1, 2}, open2, 2, 4, 0, {}, {}},
      {"huge degrees", {kMax, kMax}, open2, 2, 2, 9, {}, {}},
      {"huge degrees, periodic", {kMax, kMax}, periodic2, 2, 2, 9, {}, {}},
      {"huge degrees, half, periodic", {kMax / 2, kMax / 2}, periodic2, 2, 2, 9, {}, {}},
      {"huge negative degrees", {kMin, kMin}, open2, 2, 2, 9, {}, {}},
      {"huge negative degrees, periodic", {kMin, kMin}, periodic2, 2, 2, 9, {}, {}},
      {"negative and huge degrees", {-65535, -65535}, open2, 2, 2, 9, {}, {}},
      {"negative degree in U", {-1000, 1}, open2, 2, 2, 9, {}, {}},
      {"negative degree in V, periodic", {1, -1000}, periodic2, 3, 3, 9, {}, {}},
      {"no knots in U", {1, 2}, open2, 0, 4, 9, {}, {}},
      {"no knots in V", {1, 2}, open2, 2, 0, 9, {}, {}},
      {"no knots in U, no degrees", {}, open2, 0, 4, 99, {}, {}},
      {"many knots", {0, 0}, open2, 70000, 70000, 9, {}, {}},
  };
  for (const SurfaceCase& c : cases) {
    SCOPED_TRACE(c.description);
    OpenSurface& view = open(sampleScene(chunksOf(c)));
    for (const bool uFastest : {false, true}) {
      EXPECT_FALSE(readPoints<float>(view, 0, uFastest).ok);
      EXPECT_FALSE(readPoints<double>(view, 0, uFastest).ok);
      EXPECT_FALSE(pointsAt<float>(view, 0, 1, uFastest).ok);
    }
  }
}

// A small net may repeat its points often; the degree of a large one must not ask for more memory
// than a few times what is stored.
TEST_F(NurbsSurfaceVekObjTest, repeatedControlPointsStayInProportionToTheStoredOnes) {
  const auto net = [](int degree, int distinctV) {
    return std::vector<ByteImage>{degrees({degree, 0}), forms({"kPeriodic", "kOpen"}),
                                  knotCount("KNTU", 2 * degree), knotCount("KNTV", distinctV - 1),
                                  points(distinctV)};
  };
  // degree + 1 control points in U for the one that is stored.
  EXPECT_EQ(readPoints<float>(open(sampleScene(net(99, 3))), 0, false).values.size(), 4U * 100 * 3);
  EXPECT_FALSE(readPoints<float>(open(sampleScene(net(1000, 2000))), 0, false).ok);
  EXPECT_FALSE(readPoints<double>(open(sampleScene(net(1000, 2000))), 0, true).ok);
}

TEST_F(NurbsSurfaceVekObjTest, partOfAPointIsNotRead) {
  std::vector<ByteImage> chunks = patch();
  chunks[4] = pointChunk<float>("POSI", std::vector<float>(17, 1.0F), 3);
  EXPECT_FALSE(readPoints<float>(open(sampleScene(chunks)), 0, false).ok);
  EXPECT_FALSE(readPoints<float>(open(sampleScene(chunks)), 0, true).ok);
}

TEST_F(NurbsSurfaceVekObjTest, pointsAreReadInThreesWhateverTheirDimension) {
  for (const int dimension : {0, 1, 4, 5, 16}) {
    std::vector<ByteImage> chunks = patch();
    chunks[0] = degrees({1, 1});
    chunks[3] = knotCount("KNTV", 1);
    chunks[4] = pointChunk<float>("POSI", {1, 2, 3, 4, 5, 6, 7, 8}, dimension);
    EXPECT_EQ(readPoints<float>(open(sampleScene(chunks)), 0, false).values,
              (std::vector<float>{1, 2, 3, 1, 4, 5, 6, 1}));
  }
}

TEST_F(NurbsSurfaceVekObjTest, controlPointsNeedEveryChunkAndKeepTheirOutputWithoutIt) {
  for (std::size_t missing = 0; missing < 5; ++missing) {
    SCOPED_TRACE(missing);
    std::vector<ByteImage> chunks = patch();
    chunks[missing] = ByteImage();
    OpenSurface& view = open(sampleScene(chunks));
    EXPECT_EQ(readPoints<float>(view, 0, false), Copied<float>{});
    EXPECT_EQ(readPoints<double>(view, 0, true), Copied<double>{});
  }
}

TEST_F(NurbsSurfaceVekObjTest, controlPointsFailWithAChunkOfAnotherType) {
  const char* tags[] = {"DEGR", "FORM", "KNTU", "KNTV", "POSI"};
  const std::vector<int> rightTypes[] = {{3}, {2}, {4, 6}, {4, 6}, {4}};
  for (std::size_t at = 0; at < 5; ++at) {
    for (const TypedChunk& chunk : chunksOfEveryType(tags[at], 3)) {
      if (chunk.type == rightTypes[at].front() || chunk.type == rightTypes[at].back()) continue;
      SCOPED_TRACE(::testing::Message() << tags[at] << " type " << chunk.type);
      std::vector<ByteImage> chunks = patch();
      chunks[at] = chunk.image;
      OpenSurface& view = open(sampleScene(chunks));
      EXPECT_FALSE(readPoints<float>(view, 0, false).ok);
      EXPECT_FALSE(readPoints<double>(view, 0, true).ok);
    }
  }
}

TEST_F(NurbsSurfaceVekObjTest, doublePositionsMakeControlPointsFailButNotPositions) {
  std::vector<ByteImage> chunks = patch();
  chunks[4] = pointChunk<double>("POSI", std::vector<double>(18, 2.0), 3);
  OpenSurface& view = open(sampleScene(chunks));
  EXPECT_FALSE(readPoints<float>(view, 0, false).ok);
  EXPECT_FALSE(readPoints<double>(view, 0, false).ok);
  std::vector<float> values;
  AnimationState state = kStatic;
  int dimension = 0;
  EXPECT_TRUE(view.getPosition(0, values, state, dimension));
  EXPECT_EQ(values, std::vector<float>(18, 2.0F));
}

TEST_F(NurbsSurfaceVekObjTest, knotsOfControlPointsMayDifferInType) {
  std::vector<ByteImage> chunks = patch();
  chunks[2] = knotCount<double>("KNTU", 2);
  EXPECT_EQ(readPoints<float>(open(sampleScene(chunks)), 0, true).values,
            controlPoints<float>(kUFastestOrder));
}

TEST_F(NurbsSurfaceVekObjTest, stateOfControlPointsIsThatOfThePositions) {
  std::vector<ByteImage> others = patch();
  const ByteImage posi = others.back();
  others.pop_back();
  EXPECT_EQ(readPoints<float>(open({others, {{posi}}}), 0, false).state, kAnimated);
  EXPECT_EQ(readPoints<float>(open({{posi}, {others}}), 0, false).state, kStatic);
  EXPECT_EQ(readPoints<double>(open(fixedScene(patch())), -1, true),
            (Copied<double>{true, controlPoints<double>(kUFastestOrder), kStatic}));
}

// --- Control points at a time -------------------------------------------------------------------

/// The patch in five samples; the points of sample i are moved by 8, 0, 16, 64, 32.
PointScene movingPatch() {
  PointScene scene;
  scene.fixed = patch();
  scene.fixed.pop_back();
  for (const float x : {8.0F, 0.0F, 16.0F, 64.0F, 32.0F}) scene.samples.push_back({points(6, x)});
  return scene;
}
/// That order of points moved by `offset`.
template <typename T>
std::vector<T> moved(const std::vector<int>& order, T offset) {
  std::vector<T> values;
  for (const int n : order) {
    const T x = static_cast<T>(n) + offset;
    values.insert(values.end(), {x, 10 * x, 100 * x, 1});
  }
  return values;
}

TEST_F(NurbsSurfaceVekObjTest, controlPointsAtATimeAreBlended) {
  // Worked out by hand; every number on the way is exact in single precision.
  const struct {
    int degree;
    float time;
    float offset;
  } cases[] = {{1, 0.25F, 6},  {1, 3.5F, 48},  {2, 0.5F, 1},   {2, 3.5F, 58}, {3, 0.5F, -.5},
               {3, 1.5F, 4.5}, {3, 2.5F, 43},  {3, 3.5F, 37},  {0, 2.5F, 16}, {1, 2.0005F, 16},
               {2, 4, 32},     {3, 1e30F, 32}, {-1, 2.5F, 16}, {4, 3.5F, 0},  {5, 2.5F, 8}};
  for (const int maxSamples : {0, 1, 3}) {
    OpenSurface& view = open(movingPatch(), maxSamples);
    for (const auto& c : cases) {
      SCOPED_TRACE(::testing::Message() << maxSamples << ": " << c.degree << " at " << c.time);
      EXPECT_EQ(pointsAt<float>(view, c.time, c.degree, false),
                (Copied<float>{true, moved<float>(kStoredOrder, c.offset), kAnimated}));
      EXPECT_EQ(pointsAt<float>(view, c.time, c.degree, true),
                (Copied<float>{true, moved<float>(kUFastestOrder, c.offset), kAnimated}));
      EXPECT_EQ(pointsAt<double>(view, c.time, c.degree, true),
                (Copied<double>{true, moved<double>(kUFastestOrder, c.offset), kAnimated}));
    }
  }
}

TEST_F(NurbsSurfaceVekObjTest, floatFormBlendsInSinglePrecisionAndDoubleFormInDouble) {
  PointScene scene = movingPatch();
  for (std::size_t s = 0; s < 2; ++s) scene.samples[s] = {points(6, s == 0 ? 1.0F : 3.0F)};
  OpenSurface& view = open(scene);
  const float t = 0.1F;
  const double u = static_cast<double>(t);
  const float single = t * 3.0F + (1.0F - t) * 1.0F;
  EXPECT_EQ(pointsAt<float>(view, 0.1F, 1, false).values.at(0), single);
  const double wide = pointsAt<double>(view, 0.1F, 1, false).values.at(0);
  EXPECT_DOUBLE_EQ(wide, u * 3.0 + (1.0 - u));
  EXPECT_NE(wide, static_cast<double>(single));
}

TEST_F(NurbsSurfaceVekObjTest, beforeTheFirstTimeOnlyStaticControlPointsAnswer) {
  OpenSurface& animated = open(movingPatch());
  EXPECT_FALSE(pointsAt<float>(animated, -1, 1, false).ok);
  EXPECT_FALSE(pointsAt<double>(animated, kNaN, 3, true).ok);
  EXPECT_EQ(pointsAt<float>(open(fixedScene(patch())), -1, 3, true),
            (Copied<float>{true, controlPoints<float>(kUFastestOrder), kStatic}));
}

TEST_F(NurbsSurfaceVekObjTest, aSampleThatCannotBeReadFailsTheEvaluation) {
  for (const ByteImage& broken :
       {ByteImage(), pointChunk<double>("POSI", std::vector<double>(18, 1.0)), points(5)}) {
    for (std::size_t at = 0; at < 4; ++at) {
      PointScene scene = movingPatch();
      scene.samples[at] = {broken};
      OpenSurface& view = open(scene);
      EXPECT_FALSE(pointsAt<float>(view, 0.5F, 3, true).ok) << at;
      EXPECT_EQ(pointsAt<double>(view, 0.5F, 2, false).ok, at > 2) << at;
      EXPECT_EQ(pointsAt<float>(view, 0.5F, 1, false).ok, at > 1) << at;
    }
  }
}

TEST_F(NurbsSurfaceVekObjTest, samplesOfDifferentCountsFailBetweenThemOnly) {
  const std::vector<ByteImage> common = {degrees({1, 1}), forms({"a", "b"}), knotCount("KNTV", 2),
                                         points(9)};
  for (const auto& [first, second] : {std::pair(2, 3), std::pair(3, 2)}) {
    OpenSurface& view = open({common, {{knotCount("KNTU", first)}, {knotCount("KNTU", second)}}});
    EXPECT_FALSE(pointsAt<float>(view, 0.5F, 1, false).ok);
    EXPECT_FALSE(pointsAt<double>(view, 0.5F, 1, true).ok);
    EXPECT_TRUE(pointsAt<float>(view, 0, 1, false).ok);
    EXPECT_TRUE(pointsAt<float>(view, 1, 1, false).ok);
  }
}

TEST_F(NurbsSurfaceVekObjTest, linearBlendsAreTracedElementByElementFromLevelTwo) {
  PointScene scene;
  scene.fixed = {degrees({1, 1}), forms({"a", "b"}), knotCount("KNTU", 1), knotCount("KNTV", 1)};
  for (const float x : {0.0F, 2.0F, 5.0F}) {
    scene.samples.push_back({pointChunk<float>("POSI", {x, 2 * x, 3}, 3)});
  }
  OpenSurface& view = open(scene);
  const auto trace = [&](int level, int interpolation, bool wide) {
    const Verbosity raised(level);
    VekInterpolationHints hints = hintsFor(interpolation);
    AnimationState state = kStatic;
    std::vector<float> single;
    std::vector<double> values;
    return captureStderr([&] {
      EXPECT_TRUE(wide ? view.getControlPointsAtTime(0.5F, hints, values, state, false)
                       : view.getControlPointsAtTime(0.5F, hints, single, state, false));
    });
  };
  const char* expected =
      " CPs[0] 1 CPs1 0 CPs2 2\n CPs[1] 2 CPs1 0 CPs2 4\n CPs[2] 3 CPs1 3 CPs2 3\n"
      " CPs[3] 1 CPs1 1 CPs2 1\n";
  for (const bool wide : {false, true}) {
    EXPECT_THAT(trace(2, 1, wide), HasSubstr(expected));
    EXPECT_THAT(trace(1, 1, wide), Not(HasSubstr("CPs")));
    EXPECT_THAT(trace(2, 2, wide), Not(HasSubstr("CPs")));
  }
}

// --- Attributes in the order of the control points ----------------------------------------------

/// The patch with one static attribute.
PointScene attrPatch(const ByteImage& attr, std::vector<ByteImage> chunks = patch()) {
  PointScene scene = sampleScene(chunks);
  scene.fixedAttrs = {{"attr", attr}};
  return scene;
}

TEST_F(NurbsSurfaceVekObjTest, attributesAreConvertedBetweenLikeTypes) {
  const std::int64_t large = (std::int64_t{1} << 32) + 7;
  OpenSurface& floats = open(attrPatch(attrChunk<float>({0.1F, 2}, 2)));
  EXPECT_EQ(readAttr<float>(floats, 0, false), (Copied<float>{true, {0.1F, 2}, kStatic, 2}));
  EXPECT_EQ(readAttr<double>(floats, 0, false),
            (Copied<double>{true, {static_cast<double>(0.1F), 2}, kStatic, 2}));
  OpenSurface& doubles = open(attrPatch(attrChunk<double>({0.1, 2}, 1)));
  EXPECT_EQ(readAttr<float>(doubles, 0, false), (Copied<float>{true, {0.1F, 2}, kStatic, 1}));
  EXPECT_EQ(readAttr<double>(doubles, 0, false), (Copied<double>{true, {0.1, 2}, kStatic, 1}));
  OpenSurface& ints = open(attrPatch(attrChunk<int>({-1, 2}, 4)));
  EXPECT_EQ(readAttr<int>(ints, 0, false), (Copied<int>{true, {-1, 2}, kStatic, 4}));
  EXPECT_EQ(readAttr<__int64>(ints, 0, false), (Copied<__int64>{true, {-1, 2}, kStatic, 4}));
  OpenSurface& longs = open(attrPatch(attrChunk<std::int64_t>({-5, large}, 3)));
  EXPECT_EQ(readAttr<int>(longs, 0, false), (Copied<int>{true, {-5, 7}, kStatic, 3}));
  EXPECT_EQ(readAttr<__int64>(longs, 0, false), (Copied<__int64>{true, {-5, large}, kStatic, 3}));
}

/// Runs a check for the numeric types of getAttr().
template <typename Check>
void forEachNumber(Check check) {
  check(float());
  check(double());
  check(int());
  check(std::int64_t());
}

TEST_F(NurbsSurfaceVekObjTest, attributesOfUnlikeTypesFailAndReportTheDimension) {
  for (const TypedChunk& chunk : chunksOfEveryType("ATTR", 4)) {
    SCOPED_TRACE(chunk.type);
    OpenSurface& view = open(attrPatch(chunk.image));
    forEachNumber([&](auto zero) {
      using T = decltype(zero);
      const bool real = std::is_floating_point_v<T>;
      const bool like =
          real ? chunk.type == 4 || chunk.type == 6 : chunk.type == 3 || chunk.type == 5;
      // A chunk of an unknown type does not keep its dimension when it is read.
      const Copied<T> failed{false, {kUnset}, kStatic, chunk.type == 7 ? 0 : 4};
      if (like) {
        EXPECT_EQ(readAttr<T>(view, 0, false), (Copied<T>{true, {0, 0}, kStatic, 4}));
      } else {
        EXPECT_EQ(readAttr<T>(view, 0, false), failed);
        EXPECT_EQ(readAttr<T>(view, 0, true), failed);
      }
    });
    std::vector<std::string> texts = {"before"};
    EXPECT_EQ(view.getAttr(0, 0, texts, false), chunk.type == 2);
    EXPECT_EQ(texts.size(), chunk.type == 2 ? 2U : 1U);
  }
}

TEST_F(NurbsSurfaceVekObjTest, missingAttributesFail) {
  OpenSurface& none = open(sampleScene(patch()));
  forEachNumber([&](auto zero) {
    using T = decltype(zero);
    EXPECT_EQ(readAttr<T>(none, 0, false), Copied<T>{});
  });
  OpenSurface& one = open(attrPatch(attrChunk<float>({1})));
  for (const int attr : {-1, 1, 1000}) {
    captureStderr([&] { EXPECT_EQ(readAttr<float>(one, attr, true), Copied<float>{}) << attr; });
  }
}

TEST_F(NurbsSurfaceVekObjTest, perPointAttributesAreReorderedOnRequest) {
  for (const int dimension : {1, 2, 3, 4, 9, 16}) {
    SCOPED_TRACE(dimension);
    std::vector<int> stored;
    std::vector<int> reordered;
    for (const int point : kStoredOrder) {
      for (int i = 0; i < dimension; ++i) stored.push_back(100 * point + i);
    }
    for (const int point : kUFastestOrder) {
      for (int i = 0; i < dimension; ++i) reordered.push_back(100 * point + i);
    }
    OpenSurface& ints = open(attrPatch(attrChunk<int>(stored, dimension)));
    EXPECT_EQ(readAttr<int>(ints, 0, false), (Copied<int>{true, stored, kStatic, dimension}));
    EXPECT_EQ(readAttr<int>(ints, 0, true), (Copied<int>{true, reordered, kStatic, dimension}));
    EXPECT_EQ(readAttr<__int64>(ints, 0, true).values,
              (std::vector<__int64>{reordered.begin(), reordered.end()}));
    OpenSurface& floats =
        open(attrPatch(attrChunk<float>({stored.begin(), stored.end()}, dimension)));
    EXPECT_EQ(readAttr<double>(floats, 0, true).values,
              (std::vector<double>{reordered.begin(), reordered.end()}));
    EXPECT_EQ(readAttr<float>(floats, 0, true).values,
              (std::vector<float>{reordered.begin(), reordered.end()}));
  }
}

TEST_F(NurbsSurfaceVekObjTest, stringsAreReorderedAsSingleValues) {
  OpenSurface& view =
      open(attrPatch(attrChunk<std::string>({"p00", "p01", "p02", "p10", "p11", "p12"}, 3)));
  std::vector<std::string> texts;
  EXPECT_TRUE(view.getAttr(0, 0, texts, false));
  EXPECT_THAT(texts, ElementsAre("p00", "p01", "p02", "p10", "p11", "p12"));
  EXPECT_TRUE(view.getAttr(0, 0, texts, true));
  EXPECT_THAT(texts, ElementsAre("p00", "p10", "p01", "p11", "p02", "p12"));
}

TEST_F(NurbsSurfaceVekObjTest, attributesThatAreNotPerPointComeInStoredOrder) {
  const struct {
    std::size_t count;
    int dimension;
  } cases[] = {{0, 1},  {1, 1},  {5, 1}, {7, 1},  {12, 1}, {6, 2}, {13, 2}, {12, 3},
               {20, 3}, {19, 3}, {6, 5}, {30, 5}, {6, 0},  {6, 8}, {48, 8}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.count << " of dimension " << c.dimension);
    std::vector<int> stored;
    for (std::size_t i = 0; i < c.count; ++i) stored.push_back(static_cast<int>(i));
    OpenSurface& view = open(attrPatch(attrChunk<int>(stored, c.dimension)));
    const Copied<int> read = readAttr<int>(view, 0, true);
    EXPECT_TRUE(read.ok);
    EXPECT_EQ(read.values, stored);
    EXPECT_EQ(read.dimension, c.dimension == 5 || c.dimension == 8 ? 0 : c.dimension);
  }
}

TEST_F(NurbsSurfaceVekObjTest, periodicFormsDoNotReduceTheCountOfAttributes) {
  // 3 times 2 control points, of which 2 times 2 are stored.
  const std::vector<ByteImage> chunks = {degrees({1, 1}), forms({"kPeriodic", "kOpen"}),
                                         knotCount("KNTU", 3), knotCount("KNTV", 2), points(4)};
  OpenSurface& all = open(attrPatch(attrChunk<int>({0, 1, 2, 3, 4, 5}, 1), chunks));
  EXPECT_THAT(readAttr<int>(all, 0, true).values, ElementsAre(0, 2, 4, 1, 3, 5));
  OpenSurface& stored = open(attrPatch(attrChunk<int>({0, 1, 2, 3}, 1), chunks));
  EXPECT_THAT(readAttr<int>(stored, 0, true).values, ElementsAre(0, 1, 2, 3));
}

TEST_F(NurbsSurfaceVekObjTest, reorderingNeedsDegreesAndKnots) {
  for (const std::size_t missing : {0U, 2U, 3U}) {
    SCOPED_TRACE(missing);
    std::vector<ByteImage> chunks = patch();
    chunks[missing] = ByteImage();
    // Whether or not there is anything to reorder.
    for (const std::size_t count : {6U, 5U}) {
      OpenSurface& view = open(attrPatch(attrChunk<int>(std::vector<int>(count, 1), 1), chunks));
      EXPECT_EQ(readAttr<int>(view, 0, true), (Copied<int>{false, {kUnset}, kStatic, 1}));
      EXPECT_EQ(readAttr<int>(view, 0, false).values, std::vector<int>(count, 1));
    }
  }
  // Neither forms nor positions.
  std::vector<ByteImage> chunks = patch();
  chunks[1] = chunks[4] = ByteImage();
  EXPECT_EQ(readAttr<int>(open(attrPatch(attrChunk<int>(kStoredOrder, 1), chunks)), 0, true).values,
            kUFastestOrder);
}

TEST_F(NurbsSurfaceVekObjTest, animatedAttributesAreReadAtTheirSample) {
  PointScene scene;
  scene.animatedAttrs = {"other", "attr"};
  for (const int offset : {0, 10}) {
    std::vector<ByteImage> chunks = patch();
    std::vector<int> values;
    for (const int point : kStoredOrder) values.push_back(point + offset);
    chunks.push_back(group("ATRS", join({attrChunk<float>({0}), attrChunk<int>(values, 1)})));
    scene.samples.push_back(chunks);
  }
  OpenSurface& view = open(scene, 1);
  EXPECT_THAT(readAttr<int>(view, 1, true, 0).values, ElementsAre(0, 3, 1, 4, 2, 5));
  EXPECT_THAT(readAttr<int>(view, 1, true, 1).values, ElementsAre(10, 13, 11, 14, 12, 15));
}

TEST_F(NurbsSurfaceVekObjTest, baseFormOfGetAttrStaysAndNeverConverts) {
  OpenSurface& view = open(attrPatch(attrChunk<float>({1, 2}, 2)));
  std::vector<float> single;
  std::vector<double> wide;
  int dimension = 0;
  EXPECT_TRUE(view.getAttr(0, 0, single, dimension));
  EXPECT_FALSE(view.getAttr(0, 0, wide, dimension));
}

TEST_F(NurbsSurfaceVekObjTest, impossibleCountsNeverReadPastAnAttribute) {
  constexpr int kMin = std::numeric_limits<int>::min();
  constexpr int kMax = std::numeric_limits<int>::max();
  // With 2 and 4 knots, degrees 5 and 8 make -2 times -3 control points, which is 6 as well.
  for (const auto& [u, v] :
       {std::pair(5, 8), std::pair(3, 5), std::pair(kMax, kMax), std::pair(kMin, kMin),
        std::pair(kMin, 2), std::pair(-65533, -65531), std::pair(-3, 4), std::pair(4, -1)}) {
    SCOPED_TRACE(::testing::Message() << "degrees " << u << " and " << v);
    std::vector<ByteImage> chunks = patch();
    chunks[0] = degrees({u, v});
    for (const std::vector<int>& values : {kStoredOrder, std::vector<int>{}}) {
      OpenSurface& view = open(attrPatch(attrChunk<int>(values, 1), chunks));
      const Copied<int> read = readAttr<int>(view, 0, true);
      if (read.ok) {
        EXPECT_EQ(read.values.size(), values.size());
      }
    }
  }
}

// --- Reference positions ------------------------------------------------------------------------

constexpr const char* kFirst = "rmanP__Pref";
constexpr const char* kSecond = "qorn_Pref";

/// One value per point, the number of the point plus `offset`.
template <typename T>
ByteImage prefOf(T offset, int dimension = 3) {
  std::vector<T> values;
  for (const int point : kStoredOrder) {
    values.insert(values.end(), 3, static_cast<T>(point) + offset);
  }
  return attrChunk<T>(values, dimension);
}
template <typename T>
std::vector<T> prefValues(const std::vector<int>& order, T offset) {
  std::vector<T> values;
  for (const int point : order) values.insert(values.end(), 3, static_cast<T>(point) + offset);
  return values;
}
PointScene prefPatch(const std::vector<std::pair<std::string, ByteImage>>& attrs) {
  PointScene scene = fixedScene(patch());
  scene.fixedAttrs = attrs;
  return scene;
}

TEST_F(NurbsSurfaceVekObjTest, prefControlPointsAreReorderedWithoutWeights) {
  const auto check = [&](OpenSurface& view) {
    EXPECT_EQ(readPref<float>(view, false),
              (Copied<float>{true, prefValues<float>(kStoredOrder, 10)}));
    EXPECT_EQ(readPref<float>(view, true),
              (Copied<float>{true, prefValues<float>(kUFastestOrder, 10)}));
    EXPECT_EQ(readPref<double>(view, false),
              (Copied<double>{true, prefValues<double>(kStoredOrder, 10)}));
    EXPECT_EQ(readPref<double>(view, true),
              (Copied<double>{true, prefValues<double>(kUFastestOrder, 10)}));
  };
  check(open(prefPatch({{kFirst, prefOf<float>(10)}})));
  check(open(prefPatch({{kSecond, prefOf<double>(10)}})));
}

TEST_F(NurbsSurfaceVekObjTest, doublePrefControlPointsArePreferred) {
  OpenSurface& doubles =
      open(prefPatch({{kFirst, prefOf<double>(20)}, {kSecond, prefOf<float>(10)}}));
  EXPECT_EQ(readPref<float>(doubles, true).values, prefValues<float>(kUFastestOrder, 20));
  // A float attribute in front hides the double one.
  OpenSurface& floats =
      open(prefPatch({{kFirst, prefOf<float>(10)}, {kSecond, prefOf<double>(20)}}));
  EXPECT_EQ(readPref<double>(floats, true).values, prefValues<double>(kUFastestOrder, 10));
}

TEST_F(NurbsSurfaceVekObjTest, reorderingPrefNeedsStaticDegreesAndKnots) {
  for (const std::size_t animated : {0U, 2U, 3U}) {
    SCOPED_TRACE(animated);
    PointScene scene = prefPatch({{kFirst, prefOf<double>(0)}, {kSecond, prefOf<float>(0)}});
    scene.samples = {{scene.fixed[animated]}};
    scene.fixed[animated] = ByteImage();
    OpenSurface& view = open(scene);
    // The float attribute is not tried in place of the double one.
    EXPECT_EQ(readPref<float>(view, true), Copied<float>{});
    EXPECT_EQ(readPref<double>(view, true), Copied<double>{});
    EXPECT_EQ(readPref<double>(view, false).values, prefValues<double>(kStoredOrder, 0));
  }
}

TEST_F(NurbsSurfaceVekObjTest, prefOfAnotherCountComesInStoredOrder) {
  // 18 values of dimension 1, 2 or 9 are not one for each of 6 points; of dimension 5 they count
  // as points of 3.
  for (const int dimension : {1, 2, 9}) {
    OpenSurface& view = open(prefPatch({{kFirst, prefOf<float>(0, dimension)}}));
    EXPECT_EQ(readPref<float>(view, true).values, prefValues<float>(kStoredOrder, 0)) << dimension;
  }
  OpenSurface& unusual = open(prefPatch({{kFirst, prefOf<float>(0, 5)}}));
  EXPECT_EQ(readPref<float>(unusual, true).values, prefValues<float>(kUFastestOrder, 0));
  OpenSurface& wide = open(prefPatch({{kFirst, prefOf<double>(0, 1)}}));
  EXPECT_EQ(readPref<float>(wide, true).values, prefValues<float>(kUFastestOrder, 0));
  OpenSurface& single = open(prefPatch({{kFirst, attrChunk<float>({0, 1, 2, 3, 4, 5}, 1)}}));
  EXPECT_THAT(readPref<float>(single, true).values, ElementsAre(0, 3, 1, 4, 2, 5));
}

TEST_F(NurbsSurfaceVekObjTest, missingPrefFails) {
  for (const bool uFastest : {false, true}) {
    EXPECT_EQ(readPref<float>(open(fixedScene(patch())), uFastest), Copied<float>{});
    EXPECT_EQ(readPref<double>(open(prefPatch({{"other", prefOf<float>(0)}})), uFastest),
              Copied<double>{});
    EXPECT_EQ(readPref<float>(open(prefPatch({{kFirst, attrChunk<int>({1, 2, 3})}})), uFastest),
              Copied<float>{});
  }
}

/// Answers the float form of the virtual accessor only.
class PrefSurface : public OpenSurface {
 public:
  using OpenSurface::OpenSurface;
  bool getPrefData(const std::vector<double>*& data, int&) override {
    calls += "double ";
    data = nullptr;
    return false;
  }
  bool getPrefData(const std::vector<float>*& data, int& dimension) override {
    calls += "float ";
    data = &values;
    dimension = 1;
    return true;
  }
  std::string calls;
  std::vector<float> values = {5, 6, 7, 8, 9, 10};
};

TEST_F(NurbsSurfaceVekObjTest, prefIsReadThroughTheVirtualAccessorsDoubleFirst) {
  open(fixedScene(patch()));
  PrefSurface view(&cache(), 0);
  EXPECT_EQ(readPref<double>(view, true), (Copied<double>{true, {5, 8, 6, 9, 7, 10}}));
  EXPECT_EQ(view.calls, "double float ");
}

}  // namespace
