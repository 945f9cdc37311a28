// SPDX-License-Identifier: Apache-2.0
//
// Knots and points of NURBS objects as chunks, and the control points that a view makes of them.

#ifndef VEK_TEST_NURBS_SCENE_H
#define VEK_TEST_NURBS_SCENE_H

#include <vector>

#include "ByteImage.h"
#include "PointScene.h"

namespace VekTest {

/// That many knots, 0, 1, 2, ...
template <typename T = float>
ByteImage knotCount(const char* tag, int count) {
  std::vector<T> values;
  for (int i = 0; i < count; ++i) values.push_back(static_cast<T>(i));
  return pointChunk<T>(tag, values);
}
/// Stored points: x is the number of the point plus `offset`, y 10 and z 100 times that.
inline ByteImage points(int count, float offset = 0) {
  std::vector<float> values;
  for (int i = 0; i < count; ++i) {
    const float x = static_cast<float>(i) + offset;
    values.insert(values.end(), {x, 10 * x, 100 * x});
  }
  return pointChunk<float>("POSI", values, 3);
}
/// Control points made of those numbers.
template <typename T>
std::vector<T> controlPoints(const std::vector<int>& numbers) {
  std::vector<T> values;
  for (const int n : numbers) {
    const T x = static_cast<T>(n);
    values.insert(values.end(), {x, 10 * x, 100 * x, 1});
  }
  return values;
}

}  // namespace VekTest

#endif
