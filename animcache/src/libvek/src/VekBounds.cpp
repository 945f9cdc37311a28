// SPDX-License-Identifier: Apache-2.0
//
// The bounds of an object: stored with it, or computed from its positions.

#include <algorithm>
#include <iostream>

#include "VekGuarded.h"
#include "VekHelperObj.h"

namespace Vek {

namespace {

constexpr std::size_t numBounds = 6;

// Boxes stored as float hold a pair for each axis; boxes stored as double hold the least point and
// then the greatest. Writers of either rely on it.
constexpr std::size_t floatToPointOrder[numBounds] = {0, 2, 4, 1, 3, 5};
constexpr std::size_t doubleToDefaultOrder[numBounds] = {0, 3, 1, 4, 2, 5};
constexpr std::size_t asStored[numBounds] = {0, 1, 2, 3, 4, 5};

template <typename T>
bool copyBox(const std::vector<T>& box, const std::size_t (&order)[numBounds], float (&bounds)[6]) {
  if (box.size() != numBounds) return false;
  for (std::size_t i = 0; i < numBounds; ++i) bounds[i] = static_cast<float>(box[order[i]]);
  return true;
}

/// Where the least and the greatest value of an axis stand.
struct AxisPlaces {
  std::size_t least[3];
  std::size_t greatest[3];
};
constexpr AxisPlaces defaultPlaces = {{0, 2, 4}, {1, 3, 5}};
constexpr AxisPlaces pointPlaces = {{0, 1, 2}, {3, 4, 5}};

template <typename T>
void growBounds(const std::vector<T>& points, int dimension, const AxisPlaces& places,
                float (&bounds)[6]) {
  if (points.size() < 3) return;
  T least[3];
  T greatest[3];
  std::copy_n(points.begin(), 3, least);
  std::copy_n(points.begin(), 3, greatest);
  const std::size_t stride = dimension == 4 ? 4 : 3;
  for (std::size_t p = stride; p + 2 < points.size(); p += stride) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const T value = points[p + axis];
      if (least[axis] > value)
        least[axis] = value;
      else if (value > greatest[axis])
        greatest[axis] = value;
    }
  }
  for (std::size_t axis = 0; axis < 3; ++axis) {
    bounds[places.least[axis]] = static_cast<float>(least[axis]);
    bounds[places.greatest[axis]] = static_cast<float>(greatest[axis]);
  }
}

}  // namespace

bool VekHelperObj::getBounds(int sampleIndex, float (&bounds)[6], AnimationState& state,
                             bool pointOrder) {
  const VekChunk* box = nullptr;
  state = findChunk(sampleIndex, Tag::BBOX, box);
  const VekChunk* points = nullptr;
  // A sample that was read only for its positions may hold a box as well.
  if (box == nullptr && findChunk(sampleIndex, Tag::POSI, points) == Animated)
    state = findChunk(sampleIndex, Tag::BBOX, box);
  const bool found = box != nullptr ? copyStoredBounds(box, bounds, pointOrder)
                                    : computeBounds(sampleIndex, bounds, state, pointOrder);
  if (found && verbosity >= 2) {
    std::cerr << "bounds: ";
    for (const float value : bounds) std::cerr << value << " ";
    std::cerr << " animState " << state << std::endl;
  }
  return found;
}

bool VekHelperObj::copyStoredBounds(const VekChunk* box, float (&bounds)[6], bool pointOrder) {
  if (verbosity >= 2)
    std::cerr << (pointOrder ? "BBOX pointOrder " : "BBOX default    ") << std::endl;
  const std::vector<float>* floats = nullptr;
  if (getVekLeafData(box, floats))
    return copyBox(*floats, pointOrder ? floatToPointOrder : asStored, bounds);
  const std::vector<double>* doubles = nullptr;
  if (getVekLeafData(box, doubles))
    return copyBox(*doubles, pointOrder ? asStored : doubleToDefaultOrder, bounds);
  return false;
}

bool VekHelperObj::computeBounds(int sampleIndex, float (&bounds)[6], AnimationState& state,
                                 bool pointOrder) {
  const VekChunk* points = nullptr;
  state = findChunk(sampleIndex, Tag::POSI, points);
  const AxisPlaces& places = pointOrder ? pointPlaces : defaultPlaces;
  const int dimension = getDimension(points);
  const std::vector<float>* floats = nullptr;
  const std::vector<double>* doubles = nullptr;
  if (getVekLeafData(points, floats))
    growBounds(*floats, dimension, places, bounds);
  else if (getVekLeafData(points, doubles))
    growBounds(*doubles, dimension, places, bounds);
  else
    return false;
  return true;
}

bool VekHelperObj::getBounds(int sampleIndex, std::vector<float>& bounds, AnimationState& state,
                             bool pointOrder) {
  const bool resized = guarded(false, [&] {
    bounds.resize(numBounds);
    return true;
  });
  if (!resized) return false;
  float found[numBounds];
  std::copy_n(bounds.begin(), numBounds, found);
  const bool ok = getBounds(sampleIndex, found, state, pointOrder);
  std::copy_n(found, numBounds, bounds.begin());
  return ok;
}

}  // namespace Vek
