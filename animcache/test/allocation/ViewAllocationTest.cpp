// SPDX-License-Identifier: Apache-2.0
//
// Views allocate nothing in the accessors that hand out pointers, nor, after the first call, for
// matrices at a time.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "AllocationFaults.h"
#include "VekHelperObj.h"

namespace {

using namespace Vek;

std::string recorded(const char* name) {
  return std::string(VEK_GOLDEN_DIR) + "/" + name;
}

/// The number of allocations of the second of two calls.
template <typename Call>
std::size_t allocationsOf(Call call) {
  call();
  const std::size_t before = VekTest::numAllocations();
  call();
  return VekTest::numAllocations() - before;
}

struct Destroy {
  void operator()(VekHelperObj* view) const { view->destroy(); }
};

template <typename View>
std::vector<std::unique_ptr<VekHelperObj, Destroy>> viewsOf(VekRoMemCache& cache) {
  std::vector<std::unique_ptr<VekHelperObj, Destroy>> views;
  VekHelperObjFactory factory(&cache);
  for (int obj = 0; obj < cache.getNumObjects(); ++obj) {
    std::unique_ptr<VekHelperObj, Destroy> view(factory.vekObjBuilder(obj));
    if (dynamic_cast<View*>(view.get()) != nullptr) views.push_back(std::move(view));
  }
  return views;
}

TEST(ViewAllocationTest, replacedOperatorNewCounts) {
  // Kept until the end, so that no compiler leaves the allocation out.
  std::vector<int> kept[2];
  std::size_t call = 0;
  EXPECT_EQ(allocationsOf([&] { kept[call++].resize(100); }), 1U);
  EXPECT_EQ(kept[1].size(), 100U);
}

TEST(ViewAllocationTest, pointersToMeshDataAllocateNothing) {
  VekRoMemCache cache(recorded("mesh_float.vek").c_str());
  const auto views = viewsOf<MeshVekObj>(cache);
  ASSERT_FALSE(views.empty());
  for (const auto& view : views) {
    auto& mesh = dynamic_cast<MeshVekObj&>(*view);
    const auto readAll = [&] {
      const std::vector<float>* floats = nullptr;
      const std::vector<double>* doubles = nullptr;
      const std::vector<int>* ints = nullptr;
      VekHelperObj::AnimationState state = VekHelperObj::Static;
      int dimension = 0;
      mesh.getPositionData(1, floats, state, dimension);
      mesh.getPositionData(1, doubles, state, dimension);
      mesh.getNormalData(1, floats, state);
      mesh.getFaceNormalData(1, floats, state);
      mesh.getVelocityData(1, floats, state);
      mesh.getPcnts(1, ints, state);
      mesh.getPids(1, ints, state);
      mesh.getNcnts(1, ints, state);
      mesh.getNids(1, ints, state);
      mesh.getPrefData(floats, dimension);
      mesh.getPrefData(doubles, dimension);
      for (int attr = 0; attr < mesh.getNumAttrs(); ++attr)
        mesh.getAttrData(1, attr, floats, dimension);
    };
    EXPECT_EQ(allocationsOf(readAll), 0U);
  }
}

TEST(ViewAllocationTest, matricesAtATimeAllocateNothingAfterTheFirst) {
  for (const char* file : {"channels_float.vek", "nonuniform_matrix.vek"}) {
    VekRoMemCache cache(recorded(file).c_str());
    const auto views = viewsOf<TransformVekObj>(cache);
    ASSERT_FALSE(views.empty());
    const float time = 0.5F * (cache.getSampleTime(1) + cache.getSampleTime(2));
    for (const auto& view : views) {
      auto& transform = dynamic_cast<TransformVekObj&>(*view);
      std::vector<float> matrix;
      VekInterpolationHints hints;
      VekHelperObj::AnimationState state = VekHelperObj::Static;
      for (hints.interpolation = 1; hints.interpolation <= 3; ++hints.interpolation) {
        EXPECT_EQ(allocationsOf([&] { transform.getTransformAtTime(time, hints, matrix, state); }),
                  0U)
            << file << " degree " << hints.interpolation;
      }
    }
  }
}

TEST(ViewAllocationTest, namesAreFoundWithoutAllocation) {
  VekRoMemCache cache;
  for (int obj = 0; obj < 100; ++obj)
    cache.getMETAChunk().addDOBJ(("|a_group_of_objects|object_" + std::to_string(obj)).c_str());
  const std::string last = cache.getName(99);
  const std::string missing = last + "0";
  EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(cache.findObjectIndex(last), 99); }), 0U);
  EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(cache.findObjectIndex(missing, 50), -1); }), 0U);
}

TEST(ViewAllocationTest, positionsAtATimeAllocateNothingAfterTheFirst) {
  VekRoMemCache cache(recorded("mesh_float.vek").c_str());
  const auto views = viewsOf<MeshVekObj>(cache);
  ASSERT_FALSE(views.empty());
  const float time = 0.5F * (cache.getSampleTime(1) + cache.getSampleTime(2));
  for (const auto& view : views) {
    auto& mesh = dynamic_cast<MeshVekObj&>(*view);
    std::vector<float> floats;
    std::vector<double> doubles;
    VekInterpolationHints hints;
    VekHelperObj::AnimationState state = VekHelperObj::Static;
    int dimension = 0;
    for (hints.interpolation = 0; hints.interpolation <= 3; ++hints.interpolation) {
      EXPECT_EQ(allocationsOf([&] {
                  mesh.getPositionAtTime(time, hints, floats, state, dimension);
                  mesh.getPositionAtTime(time, hints, doubles, state, dimension);
                }),
                0U)
          << "degree " << hints.interpolation;
    }
  }
}

}  // namespace
