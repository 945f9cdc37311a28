// SPDX-License-Identifier: Apache-2.0
//
// The blends between samples: linear, quadratic, and cubic in the Catmull-Rom basis. Each kernel
// takes one value of every sample and gives one value; loops over arrays of them vectorise.
//
// The position t is 0 at one sample and 1 at the next: for the linear blend the first and the
// second, for the quadratic and the cubic one the second and the third. A time between the first
// two samples therefore has a negative t in the latter and is extrapolated. This is not to be
// re-centred, results depend on it.
//
// Attributes, transform channels and positions are blended by the same polynomials with the terms
// in different orders. Rounding makes the results differ, so each order has its own function.

#ifndef VEK_INTERPOLATION_H
#define VEK_INTERPOLATION_H

namespace Vek {

/// Where a time lies between two sample times: 0 at `from`, 1 at `to`. Always in single precision,
/// also for values in double. Not finite when both times are the same.
inline float samplePosition(float time, float from, float to) {
  return (time - from) / (to - from);
}

/// The weights of the four samples, computed once for all values of a call.
template <typename T>
struct VekCubicWeights {
  T w0, w1, w2, w3;
};

// --- Attributes, matrices and control points -----------------------------------------------------

template <typename T>
constexpr T blendLinear(T p0, T p1, T t) {
  return (T(1) - t) * p0 + t * p1;
}

template <typename T>
constexpr T blendQuadratic(T p0, T p1, T p2, T t) {
  return p1 + T(0.5) * (p2 - p0) * t + T(0.5) * (p0 - T(2) * p1 + p2) * (t * t);
}

template <typename T>
constexpr VekCubicWeights<T> cubicWeights(T t) {
  return {((T(1) - T(0.5) * t) * t - T(0.5)) * t, (T(1.5) * t - T(2.5)) * t * t + T(1),
          ((T(2) - T(1.5) * t) * t + T(0.5)) * t, (T(0.5) * t - T(0.5)) * t * t};
}

template <typename T>
constexpr T blendCubic(T p0, T p1, T p2, T p3, const VekCubicWeights<T>& w) {
  return w.w0 * p0 + w.w1 * p1 + w.w2 * p2 + w.w3 * p3;
}

// --- Transform channels --------------------------------------------------------------------------

template <typename T>
constexpr T blendChannelLinear(T c0, T c1, T t) {
  return (T(1) - t) * c0 + t * c1;
}

template <typename T>
constexpr T blendChannelQuadratic(T c0, T c1, T c2, T t) {
  return c1 + t * (c2 - c0) * T(0.5) + t * t * (c0 - T(2) * c1 + c2) * T(0.5);
}

// --- Positions -----------------------------------------------------------------------------------

template <typename T>
constexpr T blendPositionLinear(T p0, T p1, T t) {
  return t * p1 + (T(1) - t) * p0;
}

template <typename T>
constexpr T blendPositionQuadratic(T p0, T p1, T p2, T t) {
  return (p0 - T(2) * p1 + p2) * T(0.5) * t * t + (p2 - p0) * T(0.5) * t + p1;
}

/// For blendCubic().
template <typename T>
constexpr VekCubicWeights<T> positionCubicWeights(T t) {
  return {((T(1) - T(0.5) * t) * t - T(0.5)) * t, (T(1.5) * t - T(2.5)) * (t * t) + T(1),
          ((T(2) - T(1.5) * t) * t + T(0.5)) * t, (T(0.5) * t - T(0.5)) * (t * t)};
}

}  // namespace Vek

#endif
