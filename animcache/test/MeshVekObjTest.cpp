// SPDX-License-Identifier: Apache-2.0
//
// Views of meshes: topology, normals and velocities as pointers and as copies, reference positions
// as a copy, and the subdivision flag.

#include <gmock/gmock.h>

#include <cstdint>
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
using Vek::MeshVekObj;
using Vek::VekRoMemCache;
namespace Tag = Vek::Tag;

/// A mesh view without factory.
class OpenMesh : public MeshVekObj {
 public:
  OpenMesh(VekRoMemCache* cache, int obj) : MeshVekObj(cache, obj) {}
  ~OpenMesh() override = default;
};

class MeshVekObjTest : public PointViewTest<OpenMesh> {};

template <typename T>
using PointMember = bool (MeshVekObj::*)(int, const std::vector<T>*&, AnimationState&);
template <typename T>
using CopyMember = bool (MeshVekObj::*)(int, std::vector<T>&, AnimationState&);

template <typename T>
Pointed<T> point(MeshVekObj& view, PointMember<T> member, int sample) {
  return pointed<T>(
      [&](auto& data, auto& state, int&) { return (view.*member)(sample, data, state); });
}
template <typename T>
Copied<T> copy(MeshVekObj& view, CopyMember<T> member, int sample) {
  return copied<T>(
      [&](auto& values, auto& state, int&) { return (view.*member)(sample, values, state); });
}

// --- The class ----------------------------------------------------------------------------------

TEST_F(MeshVekObjTest, factoryBuildsAMeshBeforeAGeometryAndASurface) {
  open(sampleScene({pointChunk<int>("MESH", {1}), pointChunk<int>("NRBS", {1}),
                    pointChunk<float>("POSI", {1, 2, 3}, 3)}));
  Vek::VekHelperObj* view = Vek::VekHelperObjFactory(&cache()).vekObjBuilder(0);
  auto* mesh = dynamic_cast<MeshVekObj*>(view);
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(view->categories(), (std::set<std::string>{"geometry", "helperObj", "mesh"}));
  std::vector<double> values;
  AnimationState state = kStatic;
  int dimension = 0;
  EXPECT_TRUE(mesh->getPosition(0, values, state, dimension));
  EXPECT_THAT(values, ElementsAre(1, 2, 3));
  view->destroy();
}

TEST_F(MeshVekObjTest, copiesReadTheSameObject) {
  OpenMesh& view = open(sampleScene({pointChunk<int>("PCNT", {3})}));
  auto* twin = new MeshVekObj(view);
  EXPECT_TRUE(twin->isA("mesh"));
  EXPECT_EQ(point<int>(*twin, &MeshVekObj::getPcnts, 0),
            point<int>(view, &MeshVekObj::getPcnts, 0));
  *twin = view;
  EXPECT_TRUE(twin->isA("mesh"));
  twin->destroy();
}

// --- Topology -----------------------------------------------------------------------------------

struct IntChannel {
  const char* tagName;
  unsigned int tag;
  PointMember<int> point;
  CopyMember<int> copy;
};
const IntChannel kIntChannels[] = {
    {"PCNT", Tag::PCNT, &MeshVekObj::getPcnts, &MeshVekObj::getFaceVertexCnts},
    {"PIDS", Tag::PIDS, &MeshVekObj::getPids, &MeshVekObj::getFaceVertexIds},
    {"NCNT", Tag::NCNT, &MeshVekObj::getNcnts, &MeshVekObj::getFaceNormalVertexCnts},
    {"NIDS", Tag::NIDS, &MeshVekObj::getNids, &MeshVekObj::getFaceNormalVertexIds}};

TEST_F(MeshVekObjTest, topologyPointsAtTheCachesOwnValues) {
  for (const IntChannel& c : kIntChannels) {
    SCOPED_TRACE(c.tagName);
    OpenMesh& animated =
        open({{}, {{pointChunk<int>(c.tagName, {3, 4})}, {pointChunk<int>(c.tagName, {5})}}});
    for (const int s : {0, 1}) {
      EXPECT_EQ(point<int>(animated, c.point, s),
                (Pointed<int>{true, ownValues<int>(cache(), s, c.tag), kAnimated}));
    }
    EXPECT_EQ(copy<int>(animated, c.copy, 0), (Copied<int>{true, {3, 4}, kAnimated}));
    EXPECT_EQ(copy<int>(animated, c.copy, 1), (Copied<int>{true, {5}, kAnimated}));
  }
}

TEST_F(MeshVekObjTest, topologyOfTheDefinitionIsStaticAtAnySample) {
  for (const IntChannel& c : kIntChannels) {
    SCOPED_TRACE(c.tagName);
    OpenMesh& view =
        open({{pointChunk<int>(c.tagName, {3, -4})}, {{pointChunk<int>(c.tagName, {9})}}});
    for (const int s : {-1, 0, 7}) {
      EXPECT_EQ(point<int>(view, c.point, s),
                (Pointed<int>{true, ownValues<int>(cache(), 0, c.tag), kStatic}));
      EXPECT_EQ(copy<int>(view, c.copy, s), (Copied<int>{true, {3, -4}, kStatic}));
    }
  }
}

TEST_F(MeshVekObjTest, topologyOfAnotherTypeFails) {
  for (const IntChannel& c : kIntChannels) {
    for (const TypedChunk& chunk : chunksOfEveryType(c.tagName, 1)) {
      if (chunk.type == 3) continue;
      SCOPED_TRACE(::testing::Message() << c.tagName << " type " << chunk.type);
      OpenMesh& view = open(sampleScene({chunk.image}));
      EXPECT_EQ(point<int>(view, c.point, 0), Pointed<int>{});
      EXPECT_EQ(copy<int>(view, c.copy, 0), Copied<int>{});
    }
  }
}

TEST_F(MeshVekObjTest, missingTopologyFails) {
  for (const IntChannel& c : kIntChannels) {
    // Everything but the chunk itself.
    std::vector<ByteImage> others;
    for (const IntChannel& other : kIntChannels) {
      if (other.tag != c.tag) others.push_back(pointChunk<int>(other.tagName, {1}));
    }
    OpenMesh& view = open({{}, {others, {pointChunk<int>(c.tagName, {1})}}});
    for (const int s : {-1, 0, 2}) {
      SCOPED_TRACE(::testing::Message() << c.tagName << " sample " << s);
      EXPECT_EQ(point<int>(view, c.point, s), Pointed<int>{});
      EXPECT_EQ(copy<int>(view, c.copy, s), Copied<int>{});
    }
  }
}

TEST_F(MeshVekObjTest, emptyTopologyIsReadAsNone) {
  for (const IntChannel& c : kIntChannels) {
    OpenMesh& view = open(sampleScene({pointChunk<int>(c.tagName, {})}));
    EXPECT_EQ(point<int>(view, c.point, 0),
              (Pointed<int>{true, ownValues<int>(cache(), 0, c.tag), kAnimated}));
    EXPECT_EQ(copy<int>(view, c.copy, 0), (Copied<int>{true, {}, kAnimated}));
  }
}

// --- Normals and velocities ---------------------------------------------------------------------

struct VectorChannel {
  const char* tagName;
  unsigned int tag;
  PointMember<float> pointFloat;
  PointMember<double> pointDouble;
  CopyMember<float> copyFloat;
  CopyMember<double> copyDouble;
};
const VectorChannel kVectorChannels[] = {
    {"VPNO", Tag::VPNO, &MeshVekObj::getNormalData, &MeshVekObj::getNormalData,
     &MeshVekObj::getNormals, &MeshVekObj::getNormals},
    {"PONO", Tag::PONO, &MeshVekObj::getFaceNormalData, &MeshVekObj::getFaceNormalData,
     &MeshVekObj::getFaceNormals, &MeshVekObj::getFaceNormals},
    {"VELO", Tag::VELO, &MeshVekObj::getVelocityData, &MeshVekObj::getVelocityData,
     &MeshVekObj::getVelocity, &MeshVekObj::getVelocity}};

TEST_F(MeshVekObjTest, vectorsPointAtTheCachesOwnValuesAndNeverConvert) {
  for (const VectorChannel& c : kVectorChannels) {
    SCOPED_TRACE(c.tagName);
    OpenMesh& floats = open(sampleScene({pointChunk<float>(c.tagName, {1, 2, 3}, 3)}));
    EXPECT_EQ(point<float>(floats, c.pointFloat, 0),
              (Pointed<float>{true, ownValues<float>(cache(), 0, c.tag), kAnimated}));
    EXPECT_EQ(point<double>(floats, c.pointDouble, 0), Pointed<double>{});
    OpenMesh& doubles = open(fixedScene({pointChunk<double>(c.tagName, {1, 2, 3}, 3)}));
    for (const int s : {-1, 0, 5}) {
      EXPECT_EQ(point<double>(doubles, c.pointDouble, s),
                (Pointed<double>{true, ownValues<double>(cache(), 0, c.tag), kStatic}));
      EXPECT_EQ(point<float>(doubles, c.pointFloat, s), Pointed<float>{});
    }
  }
}

TEST_F(MeshVekObjTest, vectorsAreCopiedAndConverted) {
  for (const VectorChannel& c : kVectorChannels) {
    SCOPED_TRACE(c.tagName);
    OpenMesh& floats = open(sampleScene({pointChunk<float>(c.tagName, {0.1F, 2}, 3)}));
    EXPECT_EQ(copy<float>(floats, c.copyFloat, 0), (Copied<float>{true, {0.1F, 2}, kAnimated}));
    EXPECT_EQ(copy<double>(floats, c.copyDouble, 0),
              (Copied<double>{true, {static_cast<double>(0.1F), 2}, kAnimated}));
    OpenMesh& doubles = open(fixedScene({pointChunk<double>(c.tagName, {0.1, 2, 3}, 3)}));
    EXPECT_EQ(copy<float>(doubles, c.copyFloat, -1), (Copied<float>{true, {0.1F, 2, 3}, kStatic}));
    EXPECT_EQ(copy<double>(doubles, c.copyDouble, 0), (Copied<double>{true, {0.1, 2, 3}, kStatic}));
  }
}

TEST_F(MeshVekObjTest, vectorsOfAnotherTypeFailAndReportStatic) {
  for (const VectorChannel& c : kVectorChannels) {
    for (const TypedChunk& chunk : chunksOfEveryType(c.tagName, 3)) {
      SCOPED_TRACE(::testing::Message() << c.tagName << " type " << chunk.type);
      OpenMesh& view = open(sampleScene({chunk.image}));
      if (chunk.type != 4) {
        EXPECT_EQ(point<float>(view, c.pointFloat, 0), Pointed<float>{});
      }
      if (chunk.type != 6) {
        EXPECT_EQ(point<double>(view, c.pointDouble, 0), Pointed<double>{});
      }
      if (chunk.type == 4 || chunk.type == 6) continue;
      // Unlike positions, which report the state of a chunk that they cannot read.
      EXPECT_EQ(copy<float>(view, c.copyFloat, 0), Copied<float>{});
      EXPECT_EQ(copy<double>(view, c.copyDouble, 0), Copied<double>{});
    }
  }
}

TEST_F(MeshVekObjTest, missingVectorsFail) {
  for (const VectorChannel& c : kVectorChannels) {
    std::vector<ByteImage> others = {pointChunk<float>("POSI", {1, 2, 3}, 3)};
    for (const VectorChannel& other : kVectorChannels) {
      if (other.tag != c.tag) others.push_back(pointChunk<float>(other.tagName, {1, 2, 3}, 3));
    }
    OpenMesh& view = open(sampleScene(others));
    for (const int s : {-1, 0, 1}) {
      SCOPED_TRACE(::testing::Message() << c.tagName << " sample " << s);
      EXPECT_EQ(point<float>(view, c.pointFloat, s), Pointed<float>{});
      EXPECT_EQ(point<double>(view, c.pointDouble, s), Pointed<double>{});
      EXPECT_EQ(copy<float>(view, c.copyFloat, s), Copied<float>{});
      EXPECT_EQ(copy<double>(view, c.copyDouble, s), Copied<double>{});
    }
  }
}

TEST_F(MeshVekObjTest, copiesAreRightWithALimitOfOneSample) {
  OpenMesh& view =
      open({{}, {{pointChunk<float>("VELO", {1})}, {pointChunk<float>("VELO", {2})}}}, 1);
  for (const int s : {0, 1, 0}) {
    EXPECT_EQ(copy<double>(view, &MeshVekObj::getVelocity, s).values,
              std::vector<double>{s == 0 ? 1.0 : 2.0});
  }
}

// --- Reference positions ------------------------------------------------------------------------

constexpr const char* kFirst = "rmanP__Pref";
constexpr const char* kSecond = "qorn_Pref";

template <typename T>
Copied<T> pref(MeshVekObj& view) {
  Copied<T> result;
  result.ok = view.getPref(result.values);
  return result;
}

TEST_F(MeshVekObjTest, prefIsCopiedAndConverted) {
  PointScene scene = fixedScene({});
  scene.fixedAttrs = {{kSecond, attrChunk<float>({0.1F, 2, 3})}};
  OpenMesh& floats = open(scene);
  EXPECT_EQ(pref<float>(floats), (Copied<float>{true, {0.1F, 2, 3}}));
  EXPECT_EQ(pref<double>(floats), (Copied<double>{true, {static_cast<double>(0.1F), 2, 3}}));
  scene.fixedAttrs = {{kFirst, attrChunk<double>({0.1, 2})}};
  OpenMesh& doubles = open(scene);
  EXPECT_EQ(pref<float>(doubles), (Copied<float>{true, {0.1F, 2}}));
  EXPECT_EQ(pref<double>(doubles), (Copied<double>{true, {0.1, 2}}));
}

TEST_F(MeshVekObjTest, doublePrefIsPreferred) {
  PointScene scene = fixedScene({});
  scene.fixedAttrs = {{kFirst, attrChunk<double>({4, 5})}, {kSecond, attrChunk<float>({1, 2})}};
  OpenMesh& view = open(scene);
  EXPECT_EQ(pref<float>(view), (Copied<float>{true, {4, 5}}));
  EXPECT_EQ(pref<double>(view), (Copied<double>{true, {4, 5}}));
}

TEST_F(MeshVekObjTest, floatPrefInFrontHidesADoubleOne) {
  PointScene scene = fixedScene({});
  scene.fixedAttrs = {{kFirst, attrChunk<float>({1, 2})}, {kSecond, attrChunk<double>({4, 5})}};
  OpenMesh& view = open(scene);
  EXPECT_EQ(pref<float>(view), (Copied<float>{true, {1, 2}}));
  EXPECT_EQ(pref<double>(view), (Copied<double>{true, {1, 2}}));
}

TEST_F(MeshVekObjTest, missingPrefFailsAndKeepsTheValues) {
  PointScene scene = fixedScene({});
  EXPECT_EQ(pref<float>(open(scene)), Copied<float>{});
  scene.fixedAttrs = {{"other", attrChunk<float>({1})}};
  EXPECT_EQ(pref<double>(open(scene)), Copied<double>{});
  scene.fixedAttrs = {{kFirst, attrChunk<int>({1})}};
  EXPECT_EQ(pref<float>(open(scene)), Copied<float>{});
  EXPECT_EQ(pref<double>(open(scene)), Copied<double>{});
}

/// Notes which forms of the virtual accessor are called, and has data in the float form only.
class PrefMesh : public OpenMesh {
 public:
  using OpenMesh::OpenMesh;
  bool getPrefData(const std::vector<double>*& data, int&) override {
    calls += "double ";
    data = nullptr;
    return false;
  }
  bool getPrefData(const std::vector<float>*& data, int&) override {
    calls += "float ";
    data = &values;
    return true;
  }
  std::string calls;
  std::vector<float> values = {5, 6};
};

TEST_F(MeshVekObjTest, prefIsReadThroughTheVirtualAccessorsDoubleFirst) {
  open(fixedScene({}));
  PrefMesh view(&cache(), 0);
  EXPECT_EQ(pref<double>(view), (Copied<double>{true, {5, 6}}));
  EXPECT_EQ(pref<float>(view), (Copied<float>{true, {5, 6}}));
  EXPECT_EQ(view.calls, "double float double float ");
}

// --- The subdivision flag -----------------------------------------------------------------------

const ByteImage kPolygons = pointChunk<int>("MSPT", {1});
const ByteImage kSubd = pointChunk<int>("MSPT", {0});

TEST_F(MeshVekObjTest, meshWithoutTypeIsASubdivisionSurface) {
  EXPECT_TRUE(open(sampleScene({})).isSubd());
  EXPECT_TRUE(open(PointScene{}).isSubd());
}

TEST_F(MeshVekObjTest, onlyMeshTypeZeroIsASubdivisionSurface) {
  for (const int type : {0, 1, 2, -1, 0x01000000}) {
    EXPECT_EQ(open(sampleScene({pointChunk<int>("MSPT", {type})})).isSubd(), type == 0) << type;
    EXPECT_EQ(open(fixedScene({pointChunk<int>("MSPT", {type})})).isSubd(), type == 0) << type;
  }
  EXPECT_FALSE(open(sampleScene({pointChunk<int>("MSPT", {1, 0})})).isSubd());
  EXPECT_TRUE(open(sampleScene({pointChunk<int>("MSPT", {0, 1})})).isSubd());
}

TEST_F(MeshVekObjTest, meshTypeThatIsNotIntCountsAsNone) {
  EXPECT_TRUE(open(sampleScene({pointChunk<float>("MSPT", {1})})).isSubd());
  EXPECT_TRUE(open(sampleScene({pointChunk<std::int64_t>("MSPT", {1})})).isSubd());
  EXPECT_TRUE(open(sampleScene({pointChunk<std::string>("MSPT", {"1"})})).isSubd());
}

TEST_F(MeshVekObjTest, meshTypeIsReadAtTheFirstSample) {
  PointScene scene{{}, {{kPolygons}, {kSubd}, {kSubd}}};
  scene.firstTime = 7.0F;
  scene.rate = 4.0F;
  EXPECT_FALSE(open(scene).isSubd());
  scene.times = {3, 4, 9};
  EXPECT_FALSE(open(scene).isSubd());
}

TEST_F(MeshVekObjTest, shapeTypeAttributeWinsOverTheChunk) {
  PointScene scene = sampleScene({kSubd});
  scene.fixedAttrs = {{"other", attrChunk<int>({0})}, {"mdShapeType", attrChunk<int>({5})}};
  EXPECT_FALSE(open(scene).isSubd());
  scene = sampleScene({kPolygons});
  scene.fixedAttrs = {{"mdShapeType", attrChunk<int>({0, 1})}};
  EXPECT_TRUE(open(scene).isSubd());
}

TEST_F(MeshVekObjTest, firstShapeTypeAttributeDecidesAlone) {
  PointScene scene = sampleScene({kPolygons});
  scene.fixedAttrs = {{"mdShapeType", attrChunk<int>({0})}, {"mdShapeType", attrChunk<int>({1})}};
  EXPECT_TRUE(open(scene).isSubd());
  // One that is not int leaves it to the chunk; a later one is not asked.
  scene.fixedAttrs[0].second = attrChunk<float>({0});
  scene.fixedAttrs[1].second = attrChunk<int>({0});
  EXPECT_FALSE(open(scene).isSubd());
}

TEST_F(MeshVekObjTest, shapeTypeNameIsComparedWhole) {
  for (const char* name : {"mdshapetype", "mdShapeType2", "mdShape", ""}) {
    PointScene scene = sampleScene({kPolygons});
    scene.fixedAttrs = {{name, attrChunk<int>({0})}};
    EXPECT_FALSE(open(scene).isSubd()) << name;
  }
}

TEST_F(MeshVekObjTest, animatedShapeTypeIsReadAtTheFirstSample) {
  PointScene scene;
  scene.animatedAttrs = {"mdShapeType"};
  for (const int type : {1, 0}) {
    scene.samples.push_back({kSubd, group("ATRS", attrChunk<int>({type}))});
  }
  EXPECT_FALSE(open(scene).isSubd());
}

TEST_F(MeshVekObjTest, shapeTypeWithoutDataLeavesItToTheChunk) {
  PointScene scene = sampleScene({kPolygons});
  scene.animatedAttrs = {"mdShapeType"};
  OpenMesh& view = open(scene);
  bool subd = true;
  captureStderr([&] { subd = view.isSubd(); });
  EXPECT_FALSE(subd);
}

TEST_F(MeshVekObjTest, emptyMeshTypeGivesTheDefault) {
  EXPECT_TRUE(open(sampleScene({pointChunk<int>("MSPT", {})})).isSubd());
  PointScene scene = sampleScene({});
  scene.fixedAttrs = {{"mdShapeType", attrChunk<int>({})}};
  EXPECT_TRUE(open(scene).isSubd());
}

}  // namespace
