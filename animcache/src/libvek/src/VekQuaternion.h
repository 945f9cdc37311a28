// SPDX-License-Identifier: Apache-2.0
//
// Rotations as unit quaternions, and the blends of them that matrices are interpolated with.

#ifndef VEK_QUATERNION_H
#define VEK_QUATERNION_H

#include <cmath>
#include <cstddef>

#include "VekInterpolation.h"
#include "VekMatrix.h"

namespace Vek {

template <typename T>
struct VekQuaternion {
  T x = 0, y = 0, z = 0, w = 1;
};

template <typename T>
constexpr VekQuaternion<T> operator+(const VekQuaternion<T>& a, const VekQuaternion<T>& b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z, a.w + b.w};
}

template <typename T>
constexpr VekQuaternion<T> operator-(const VekQuaternion<T>& a, const VekQuaternion<T>& b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z, a.w - b.w};
}

template <typename T>
constexpr VekQuaternion<T> operator*(T s, const VekQuaternion<T>& q) {
  return {s * q.x, s * q.y, s * q.z, s * q.w};
}

template <typename T>
constexpr T dot(const VekQuaternion<T>& a, const VekQuaternion<T>& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
}

/// Not finite for a quaternion of no length.
template <typename T>
VekQuaternion<T> normalised(const VekQuaternion<T>& q) {
  const T length = std::sqrt(dot(q, q));
  return {q.x / length, q.y / length, q.z / length, q.w / length};
}

// --- Matrices ------------------------------------------------------------------------------------

/// The row of the largest diagonal element of the rotation.
template <typename T>
constexpr std::size_t largestDiagonal(const VekMatrix<T>& m) {
  const T m00 = m.at(0, 0);
  const T m11 = m.at(1, 1);
  const T m22 = m.at(2, 2);
  if (m00 > m11) return m00 > m22 ? 0 : 2;
  return m11 > m22 ? 1 : 2;
}

/// The rotation of a matrix. Scale is not taken out of the matrix first; normalising absorbs what
/// is uniform.
template <typename T>
VekQuaternion<T> quaternionFromMatrix(const VekMatrix<T>& m) {
  const std::size_t i = largestDiagonal(m);
  const T trace = m.at(0, 0) + m.at(1, 1) + m.at(2, 2);
  if (trace > m.at(i, i)) {
    const T w = T(0.5) * std::sqrt(trace + m.at(3, 3));
    return normalised<T>({(m.at(1, 2) - m.at(2, 1)) / (T(4) * w),
                          (m.at(2, 0) - m.at(0, 2)) / (T(4) * w),
                          (m.at(0, 1) - m.at(1, 0)) / (T(4) * w), w});
  }
  const std::size_t j = (i + 1) % 3;
  const std::size_t k = (i + 2) % 3;
  T axis[3];
  axis[i] = T(0.5) * std::sqrt(m.at(i, i) - m.at(j, j) - m.at(k, k) + m.at(3, 3));
  axis[j] = (m.at(i, j) + m.at(j, i)) / (T(4) * axis[i]);
  axis[k] = (m.at(i, k) + m.at(k, i)) / (T(4) * axis[i]);
  const T w = (m.at(j, k) - m.at(k, j)) / (T(4) * axis[i]);
  return normalised<T>({axis[0], axis[1], axis[2], w});
}

/// The rotation matrix of a unit quaternion.
template <typename T>
constexpr VekMatrix<T> toMatrix(const VekQuaternion<T>& q) {
  VekMatrix<T> m;
  m.at(0, 0) = T(1) - T(2) * (q.y * q.y + q.z * q.z);
  m.at(0, 1) = T(2) * (q.x * q.y + q.w * q.z);
  m.at(0, 2) = T(2) * (q.x * q.z - q.w * q.y);
  m.at(1, 0) = T(2) * (q.x * q.y - q.w * q.z);
  m.at(1, 1) = T(1) - T(2) * (q.x * q.x + q.z * q.z);
  m.at(1, 2) = T(2) * (q.y * q.z + q.w * q.x);
  m.at(2, 0) = T(2) * (q.x * q.z + q.w * q.y);
  m.at(2, 1) = T(2) * (q.y * q.z - q.w * q.x);
  m.at(2, 2) = T(1) - T(2) * (q.x * q.x + q.y * q.y);
  return m;
}

// --- Blends --------------------------------------------------------------------------------------

/// Whether two unit quaternions are so close, or so close to opposite, that the arc between them is
/// blended as a line.
template <typename T>
bool isNearlyStraight(T cosine) {
  return std::abs(cosine) > T(0.9995);
}

/// The angle of a cosine that rounding, or a quaternion that is not a unit, may have taken out of
/// range. NaN stays NaN.
template <typename T>
T clampedAcos(T cosine) {
  if (cosine > T(1)) return T(0);
  return std::acos(cosine < T(-1) ? T(-1) : cosine);
}

template <typename T>
VekQuaternion<T> blendStraight(const VekQuaternion<T>& q1, const VekQuaternion<T>& q2, T t) {
  return normalised((T(1) - t) * q1 + t * q2);
}

/// Turns `from` towards `to` by an angle; `cosine` is that between the two.
template <typename T>
VekQuaternion<T> turnTowards(const VekQuaternion<T>& from, const VekQuaternion<T>& to, T cosine,
                             T angle) {
  const VekQuaternion<T> u = normalised(to - cosine * from);
  return std::cos(angle) * from + std::sin(angle) * u;
}

/// The rotation at t between two. Opposite quaternions are not brought to one side: the blend then
/// takes the longer arc, and animations rely on it.
template <typename T>
VekQuaternion<T> slerp(const VekQuaternion<T>& q1, const VekQuaternion<T>& q2, T t) {
  const T d = dot(q1, q2);
  if (isNearlyStraight(d)) return blendStraight(q1, q2, t);
  return turnTowards(q1, q2, d, clampedAcos(d) * t);
}

/// The rotation at t, which counts from `q1`, of three. Only the angle of `q2` from `q0` takes
/// part, not its direction.
template <typename T>
VekQuaternion<T> blendRotations(const VekQuaternion<T>& q0, const VekQuaternion<T>& q1,
                                const VekQuaternion<T>& q2, T t) {
  const T d1 = dot(q0, q1);
  const T d2 = dot(q0, q2);
  if (isNearlyStraight(d1)) return blendStraight(q0, q1, t + T(1));
  const T angle = blendQuadratic(T(0), clampedAcos(d1), clampedAcos(d2), t);
  return turnTowards(q0, q1, d1, angle);
}

}  // namespace Vek

#endif
