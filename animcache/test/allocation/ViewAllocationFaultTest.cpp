// SPDX-License-Identifier: Apache-2.0
//
// Memory that is short while views are made and asked: a failure result or the right answer, never
// a wrong one.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "AllocationFaults.h"
#include "ByteImage.h"
#include "FaultScene.h"
#include "VekHelperObj.h"

namespace {

using namespace Vek;
using namespace VekTest;

using State = VekHelperObj::AnimationState;

/// Where a call puts what it answers.
struct Answer {
  bool ok = false;
  State state = VekHelperObj::Static;
  int dimension = 0;
  int number = 0;
  std::vector<float> floats;
  std::vector<float> more;
  std::vector<double> doubles;
  std::vector<int> ints;
  std::vector<std::int64_t> large;
  std::vector<std::string> texts;
  std::string text;
  std::string moreText;

  bool operator==(const Answer& other) const {
    return ok == other.ok && state == other.state && dimension == other.dimension &&
           number == other.number && floats == other.floats && more == other.more &&
           doubles == other.doubles && ints == other.ints && large == other.large &&
           texts == other.texts && text == other.text && moreText == other.moreText;
  }
};

/// A call of a view of one kind.
struct Question {
  ObjectKind kind;
  const char* name;
  void (*ask)(VekHelperObj& view, VekInterpolationHints& hints, Answer& a);
};

template <typename View>
View& as(VekHelperObj& view) {
  return dynamic_cast<View&>(view);
}

/// The number of values that a pointer points at.
template <typename T>
void noteSize(bool ok, const std::vector<T>* data, Answer& a) {
  a.ok = ok && data != nullptr;
  a.number = data != nullptr ? static_cast<int>(data->size()) : 0;
}

constexpr int kSample = 1;
constexpr float kTime = 1.25F;

using Hints = VekInterpolationHints;

template <typename T>
std::vector<T>& valuesOf(Answer& a) {
  if constexpr (std::is_same_v<T, float>)
    return a.floats;
  else
    return a.doubles;
}

template <typename T>
void askMatrix(VekHelperObj& v, Hints&, Answer& a) {
  a.ok = as<TransformVekObj>(v).getTransformData(kSample, valuesOf<T>(a), a.state);
}
template <typename T>
void askMatrixAtTime(VekHelperObj& v, Hints& h, Answer& a) {
  a.ok = as<TransformVekObj>(v).getTransformAtTime(kTime, h, valuesOf<T>(a), a.state);
}
template <typename T>
void askPositionData(VekHelperObj& v, Hints&, Answer& a) {
  const std::vector<T>* data = nullptr;
  const bool ok = as<GeometryVekObj>(v).getPositionData(kSample, data, a.state, a.dimension);
  noteSize(ok, data, a);
}
template <typename T>
void askPosition(VekHelperObj& v, Hints&, Answer& a) {
  a.ok = as<GeometryVekObj>(v).getPosition(kSample, valuesOf<T>(a), a.state, a.dimension);
}
template <typename T>
void askPositionAtTime(VekHelperObj& v, Hints& h, Answer& a) {
  a.ok = as<GeometryVekObj>(v).getPositionAtTime(kTime, h, valuesOf<T>(a), a.state, a.dimension);
}
void askPrefData(VekHelperObj& v, Hints&, Answer& a) {
  const std::vector<float>* data = nullptr;
  const bool ok = as<GeometryVekObj>(v).getPrefData(data, a.dimension);
  noteSize(ok, data, a);
}
template <typename T>
void askPref(VekHelperObj& v, Hints&, Answer& a) {
  a.ok = as<MeshVekObj>(v).getPref(valuesOf<T>(a));
}
template <typename T, bool (MeshVekObj::*Call)(int, std::vector<T>&, State&)>
void askMesh(VekHelperObj& v, Hints&, Answer& a) {
  if constexpr (std::is_same_v<T, int>)
    a.ok = (as<MeshVekObj>(v).*Call)(kSample, a.ints, a.state);
  else
    a.ok = (as<MeshVekObj>(v).*Call)(kSample, valuesOf<T>(a), a.state);
}
template <typename T, bool (MeshVekObj::*Call)(int, const std::vector<T>*&, State&)>
void askMeshData(VekHelperObj& v, Hints&, Answer& a) {
  const std::vector<T>* data = nullptr;
  const bool ok = (as<MeshVekObj>(v).*Call)(kSample, data, a.state);
  noteSize(ok, data, a);
}
template <typename View, typename T>
void askPoints(VekHelperObj& v, Hints&, Answer& a) {
  a.ok = as<View>(v).getControlPoints(kSample, valuesOf<T>(a), a.state);
}
template <typename View, typename T>
void askPointsAtTime(VekHelperObj& v, Hints& h, Answer& a) {
  a.ok = as<View>(v).getControlPointsAtTime(kTime, h, valuesOf<T>(a), a.state);
}
template <typename T>
void askSurfaceAttr(VekHelperObj& v, Hints&, Answer& a) {
  a.ok = as<NurbsSurfaceVekObj>(v).getAttr(kSample, 3, valuesOf<T>(a), a.dimension, true);
}
template <bool PointOrder>
void askBounds(VekHelperObj& v, Hints&, Answer& a) {
  a.ok = v.getBounds(kSample, a.floats, a.state, PointOrder);
}

const Question kQuestions[] = {
    {ObjectKind::transform, "matrix", askMatrix<float>},
    {ObjectKind::transform, "matrixAsDoubles", askMatrix<double>},
    {ObjectKind::transform, "matrixAtTime", askMatrixAtTime<float>},
    {ObjectKind::transform, "matrixAtTimeAsDoubles", askMatrixAtTime<double>},
    {ObjectKind::channels, "composedMatrix", askMatrixAtTime<float>},
    {ObjectKind::channels, "composedMatrixAsDoubles", askMatrixAtTime<double>},
    {ObjectKind::points, "positionData", askPositionData<float>},
    {ObjectKind::points, "positions", askPosition<float>},
    {ObjectKind::points, "positionsAsDoubles", askPosition<double>},
    {ObjectKind::points, "positionsAtTime", askPositionAtTime<float>},
    {ObjectKind::points, "positionsAtTimeAsDoubles", askPositionAtTime<double>},
    {ObjectKind::points, "boundsOfPositions", askBounds<false>},
    {ObjectKind::points, "reference", askPrefData},
    {ObjectKind::mesh, "bounds", askBounds<false>},
    {ObjectKind::mesh, "boundsInPointOrder", askBounds<true>},
    {ObjectKind::mesh, "reference", askPref<float>},
    {ObjectKind::mesh, "referenceAsDoubles", askPref<double>},
    {ObjectKind::mesh, "pcntData", askMeshData<int, &MeshVekObj::getPcnts>},
    {ObjectKind::mesh, "nidData", askMeshData<int, &MeshVekObj::getNids>},
    {ObjectKind::mesh, "normalData", askMeshData<float, &MeshVekObj::getNormalData>},
    {ObjectKind::mesh, "velocityData", askMeshData<float, &MeshVekObj::getVelocityData>},
    {ObjectKind::mesh, "counts", askMesh<int, &MeshVekObj::getFaceVertexCnts>},
    {ObjectKind::mesh, "ids", askMesh<int, &MeshVekObj::getFaceVertexIds>},
    {ObjectKind::mesh, "normalCounts", askMesh<int, &MeshVekObj::getFaceNormalVertexCnts>},
    {ObjectKind::mesh, "normalIds", askMesh<int, &MeshVekObj::getFaceNormalVertexIds>},
    {ObjectKind::mesh, "normals", askMesh<float, &MeshVekObj::getNormals>},
    {ObjectKind::mesh, "faceNormals", askMesh<double, &MeshVekObj::getFaceNormals>},
    {ObjectKind::mesh, "velocity", askMesh<float, &MeshVekObj::getVelocity>},
    {ObjectKind::curve, "controlPoints", askPoints<NurbsCurveVekObj, float>},
    {ObjectKind::curve, "controlPointsAsDoubles", askPoints<NurbsCurveVekObj, double>},
    {ObjectKind::curve, "controlPointsAtTime", askPointsAtTime<NurbsCurveVekObj, float>},
    {ObjectKind::curve, "controlPointsAtTimeAsDoubles", askPointsAtTime<NurbsCurveVekObj, double>},
    {ObjectKind::curve, "degree",
     [](VekHelperObj& v, Hints&, Answer& a) {
       a.ok = as<NurbsCurveVekObj>(v).getDegree(kSample, a.number, a.state);
     }},
    {ObjectKind::curve, "form",
     [](VekHelperObj& v, Hints&, Answer& a) {
       a.ok = as<NurbsCurveVekObj>(v).getForm(kSample, a.text, a.state);
     }},
    {ObjectKind::curve, "knots",
     [](VekHelperObj& v, Hints&, Answer& a) {
       a.ok = as<NurbsCurveVekObj>(v).getKnots(kSample, a.floats, a.state, true);
     }},
    {ObjectKind::surface, "controlPoints", askPoints<NurbsSurfaceVekObj, float>},
    {ObjectKind::surface, "controlPointsAtTime", askPointsAtTime<NurbsSurfaceVekObj, float>},
    {ObjectKind::surface, "controlPointsAtTimeAsDoubles",
     askPointsAtTime<NurbsSurfaceVekObj, double>},
    {ObjectKind::surface, "attributeInOrder", askSurfaceAttr<float>},
    {ObjectKind::surface, "attributeInOrderAsDoubles", askSurfaceAttr<double>},
    {ObjectKind::surface, "degree",
     [](VekHelperObj& v, Hints&, Answer& a) {
       a.ok = as<NurbsSurfaceVekObj>(v).getDegree(kSample, a.number, a.dimension, a.state);
     }},
    {ObjectKind::surface, "form",
     [](VekHelperObj& v, Hints&, Answer& a) {
       a.ok = as<NurbsSurfaceVekObj>(v).getForm(kSample, a.text, a.moreText, a.state);
     }},
    {ObjectKind::surface, "knots",
     [](VekHelperObj& v, Hints&, Answer& a) {
       a.ok = as<NurbsSurfaceVekObj>(v).getKnots(kSample, a.floats, a.more, a.state, true);
     }},
    {ObjectKind::surface, "referenceInOrder",
     [](VekHelperObj& v, Hints&, Answer& a) {
       a.ok = as<NurbsSurfaceVekObj>(v).getPrefControlPoints(a.floats, false);
     }},
    {ObjectKind::system, "scoped",
     [](VekHelperObj& v, Hints&, Answer& a) { a.ok = as<LxCoordSystemVekObj>(v).scoped(); }},
    {ObjectKind::system, "displayShape",
     [](VekHelperObj& v, Hints&, Answer& a) {
       a.number = as<LxCoordSystemVekObj>(v).displayShape();
       a.ok = true;
     }},
    {ObjectKind::locator, "attributeOfInts",
     [](VekHelperObj& v, Hints&, Answer& a) { a.ok = v.getAttr(kSample, 1, a.ints, a.dimension); }},
    {ObjectKind::locator, "attributeOfLargeInts",
     [](VekHelperObj& v, Hints&, Answer& a) {
       a.ok = v.getAttr(kSample, 2, a.large, a.dimension);
     }},
    {ObjectKind::locator, "attributeOfFloats",
     [](VekHelperObj& v, Hints&, Answer& a) {
       a.ok = v.getAttr(kSample, 3, a.floats, a.dimension);
     }},
    {ObjectKind::locator, "animatedAttribute",
     [](VekHelperObj& v, Hints&, Answer& a) {
       a.ok = v.getAttr(kSample, 0, a.doubles, a.dimension);
     }},
    {ObjectKind::locator, "attributeOfTexts",
     [](VekHelperObj& v, Hints&, Answer& a) { a.ok = v.getAttr(kSample, 5, a.texts); }},
    {ObjectKind::locator, "attributeAtTime",
     [](VekHelperObj& v, Hints& h, Answer& a) {
       a.ok = v.getAttrAtTime(kTime, 0, h, a.doubles, a.dimension);
     }},
};

struct Destroy {
  void operator()(VekHelperObj* view) const { view->destroy(); }
};
using Owned = std::unique_ptr<VekHelperObj, Destroy>;

class ViewAllocationFaultTest
    : public FileTest,
      public ::testing::WithParamInterface<std::tuple<Question, int, int>> {
 protected:
  int maxSamples() const { return std::get<1>(GetParam()); }
  int degree() const { return std::get<2>(GetParam()); }
};

TEST_P(ViewAllocationFaultTest, answerIsRightOrAFailure) {
  const Question& question = std::get<0>(GetParam());
  const CapturedOutput quiet;
  writeScene(path(), {question.kind}, {0, 1, 2, 3});
  const auto open = [&] {
    return std::make_unique<VekRoMemCache>(path().c_str(), true, maxSamples());
  };
  VekInterpolationHints hints;
  hints.interpolation = degree();
  Answer expected;
  const auto reference = open();
  question.ask(*Owned(VekHelperObjFactory(reference.get()).vekObjBuilder(0)), hints, expected);
  ASSERT_TRUE(expected.ok);
  failEveryAllocation([&](AllocationFault& fault) {
    const auto cache = open();
    const Owned view(VekHelperObjFactory(cache.get()).vekObjBuilder(0));
    Answer answer;
    fault.during([&] { question.ask(*view, hints, answer); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(answer.ok || fault.wasHit());
    if (answer.ok) {
      EXPECT_TRUE(answer == expected) << "another answer";
    }
    // The outputs serve again.
    question.ask(*view, hints, answer);
    EXPECT_TRUE(answer == expected) << "another answer afterwards";
  });
}

INSTANTIATE_TEST_SUITE_P(All, ViewAllocationFaultTest,
                         ::testing::Combine(::testing::ValuesIn(kQuestions),
                                            ::testing::Values(0, 1), ::testing::Values(1, 2, 3)),
                         [](const auto& test) {
                           const Question& question = std::get<0>(test.param);
                           return std::string(question.name) + "_" +
                                  std::to_string(static_cast<int>(question.kind)) + "_held" +
                                  std::to_string(std::get<1>(test.param)) + "_degree" +
                                  std::to_string(std::get<2>(test.param));
                         });

// ---- Making views -------------------------------------------------------------------------------

class ViewCreationFaultTest : public FileTest, public ::testing::WithParamInterface<ObjectKind> {
 protected:
  static std::string categoriesOf(VekHelperObj& view) {
    std::string all;
    for (const std::string& category : view.categories()) all += category + " ";
    return all;
  }
};

// What marks a mesh stands in its first sample here: a mark that cannot be read does not count.
TEST_P(ViewCreationFaultTest, viewIsOfItsKindOrNull) {
  const CapturedOutput quiet;
  const bool isMarkedInSample = markOf(GetParam()) == 0;
  writeScene(path(), {GetParam()}, {0, 1});
  VekRoMemCache reference(path().c_str());
  const std::string expected =
      categoriesOf(*Owned(VekHelperObjFactory(&reference).vekObjBuilder(0)));
  ASSERT_NE(expected, "helperObj ");
  failEveryAllocation([&](AllocationFault& fault) {
    VekRoMemCache cache(path().c_str());
    Owned view;
    fault.during([&] { view.reset(VekHelperObjFactory(&cache).vekObjBuilder(0)); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(view || fault.wasHit());
    if (view && !(isMarkedInSample && fault.wasHit())) {
      EXPECT_EQ(categoriesOf(*view), expected);
    }
    EXPECT_EQ(categoriesOf(*Owned(VekHelperObjFactory(&cache).vekObjBuilder(0))), expected);
  });
}

INSTANTIATE_TEST_SUITE_P(All, ViewCreationFaultTest,
                         ::testing::Values(ObjectKind::transform, ObjectKind::mesh,
                                           ObjectKind::surface, ObjectKind::curve,
                                           ObjectKind::locator, ObjectKind::system));

using ViewAllocationFaults = FileTest;

TEST_F(ViewAllocationFaults, namesAreWholeOrFail) {
  writeScene(path(), {ObjectKind::points, ObjectKind::locator}, {0});
  failEveryAllocation([&](AllocationFault& fault) {
    VekRoMemCache cache(path().c_str());
    const VekHelperObjFactory factory(&cache);
    std::vector<std::string> names;
    bool ok = false;
    fault.during([&] { ok = factory.getObjectNames(names); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(ok || fault.wasHit());
    if (ok) {
      EXPECT_EQ(names, (std::vector<std::string>{cache.getName(0), cache.getName(1)}));
    }
  });
}

TEST_F(ViewAllocationFaults, textsComeWholeOrNotAtAll) {
  writeScene(path(), {ObjectKind::system}, {0});
  failEveryAllocation([&](AllocationFault& fault) {
    const CapturedOutput quiet;
    VekRoMemCache cache(path().c_str());
    const Owned view(VekHelperObjFactory(&cache).vekObjBuilder(0));
    std::string texts[4];
    fault.during([&] {
      texts[0] = view->getLeafName();
      texts[1] = view->getAttrName(3);
      texts[2] = view->getAttrType(3);
      texts[3] = as<LxCoordSystemVekObj>(*view).parentRig();
    });
    const char* const expected[4] = {"a long name of object 0", "rmanP__Pref",
                                     "kind of rmanP__Pref", "a rig whose name is long"};
    for (int i = 0; i < 4; ++i)
      EXPECT_TRUE(texts[i] == expected[i] || (fault.threw() && texts[i].empty())) << texts[i];
    EXPECT_TRUE(!fault.threw() || fault.wasHit());
  });
}

TEST_F(ViewAllocationFaults, copiedViewIsWholeOrThrows) {
  writeScene(path(), {ObjectKind::mesh}, {0});
  VekRoMemCache cache(path().c_str());
  const Owned view(VekHelperObjFactory(&cache).vekObjBuilder(0));
  failEveryAllocation([&](AllocationFault& fault) {
    Owned copy;
    fault.during([&] { copy.reset(new VekHelperObj(*view)); });
    EXPECT_EQ(fault.threw(), fault.wasHit());
    EXPECT_EQ(copy == nullptr, fault.wasHit());
  });
}

}  // namespace
