// SPDX-License-Identifier: Apache-2.0
//
// Views allocate nothing in the accessors that hand out pointers, nor, after the first call, for
// matrices at a time. A program of its own, since it replaces operator new.

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "VekHelperObj.h"

namespace {

std::size_t numAllocations = 0;

void* countedAllocation(std::size_t size) noexcept {
  ++numAllocations;
  return std::malloc(size > 0 ? size : 1);
}

void* orThrow(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return orThrow(countedAllocation(size));
}
void* operator new[](std::size_t size) {
  return orThrow(countedAllocation(size));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return countedAllocation(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return countedAllocation(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using namespace Vek;

std::string recorded(const char* name) {
  return std::string(VEK_GOLDEN_DIR) + "/" + name;
}

/// The number of allocations of the second of two calls.
template <typename Call>
std::size_t allocationsOf(Call call) {
  call();
  const std::size_t before = numAllocations;
  call();
  return numAllocations - before;
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

}  // namespace
