// SPDX-License-Identifier: Apache-2.0
//
// How NURBS are stored: two knots fewer than usual, and of a periodic form only the distinct
// control points.

#ifndef VEK_NURBS_H
#define VEK_NURBS_H

#include <string>
#include <vector>

#include "VekChunks.h"

namespace Vek {

/// A period repeats fewer points than it has, so that a surface has at most four control points for
/// each that is stored. More than that are made only up to this number: the degree of a damaged
/// file must not ask for memory without end.
constexpr __int64 maxRepeatedControlPoints = 65536;

/// The control points along one direction.
struct NurbsDirection {
  __int64 numCVs;    ///< with those of a periodic form that repeat
  __int64 distinct;  ///< as stored

  NurbsDirection(int numKnots, int degree, const std::string& form)
      : numCVs(static_cast<__int64>(numKnots) - degree + 1),
        distinct(form == "kPeriodic" ? numCVs - degree : numCVs),
        m_valid(numKnots > 0 && degree >= 0 && numCVs > 0 && distinct > 0) {}

  /// Whether there are any: enough knots for the degree, and enough points for a period.
  bool isValid() const { return m_valid; }
  /// The stored point of a control point.
  __int64 storedIndex(__int64 i) const { return i < distinct ? i : i % distinct; }

 private:
  bool m_valid;
};

/// Appends one control point, x y z and the weight 1, for the stored point of that index.
template <typename T>
void appendControlPoint(const std::vector<float>& stored, __int64 index, std::vector<T>& points) {
  const float* const point = stored.data() + 3 * index;
  points.push_back(static_cast<T>(point[0]));
  points.push_back(static_cast<T>(point[1]));
  points.push_back(static_cast<T>(point[2]));
  points.push_back(T(1));
}

/// Copies knots; with `addEndKnots` the first and the last one are repeated.
template <typename From, typename To>
void copyKnots(const std::vector<From>& stored, bool addEndKnots, std::vector<To>& knots) {
  std::vector<To> copy;
  copy.reserve(stored.size() + 2);
  if (addEndKnots) copy.push_back(static_cast<To>(stored.front()));
  for (const From& knot : stored) copy.push_back(static_cast<To>(knot));
  if (addEndKnots) copy.push_back(static_cast<To>(stored.back()));
  knots.swap(copy);
}

}  // namespace Vek

#endif
