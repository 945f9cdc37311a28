// SPDX-License-Identifier: Apache-2.0
//
// 4x4 matrices of row vectors: 16 values row by row, p' = p M, the translation in elements 12, 13
// and 14. A product A * B applies A first. Angles are in radians.

#ifndef VEK_MATRIX_H
#define VEK_MATRIX_H

#include <array>
#include <cmath>
#include <cstddef>

namespace Vek {

/// Number of orders in which three parts of a transform can follow one another.
constexpr int numOrders = 6;

/// Which of three factors comes first, second and third.
using VekOrder = std::array<std::size_t, 3>;

/// The axes of a rotation by rotate order: 0 for X, 1 for Y, 2 for Z.
constexpr std::array<VekOrder, numOrders> rotateOrders = {{
    {0, 1, 2},
    {1, 2, 0},
    {2, 0, 1},
    {0, 2, 1},
    {1, 0, 2},
    {2, 1, 0},
}};

/// The parts of a transform by transform order: 0 for scale, 1 for rotation, 2 for translation.
/// The two tables list the six orders differently.
constexpr std::array<VekOrder, numOrders> transformOrders = {{
    {0, 1, 2},
    {0, 2, 1},
    {1, 0, 2},
    {1, 2, 0},
    {2, 0, 1},
    {2, 1, 0},
}};

template <typename T>
struct VekMatrix {
  static constexpr std::size_t numElements = 16;

  /// The identity.
  constexpr VekMatrix() = default;

  constexpr T& at(std::size_t row, std::size_t column) { return m[4 * row + column]; }
  constexpr T at(std::size_t row, std::size_t column) const { return m[4 * row + column]; }

  constexpr bool isIdentity() const {
    for (std::size_t i = 0; i < numElements; ++i) {
      if (m[i] != (i % 5 == 0 ? T(1) : T(0))) return false;
    }
    return true;
  }

  T m[numElements] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};

/// An identity operand returns the other one unchanged, so that a factor which is not there cannot
/// turn an infinite element of the other into NaN.
template <typename T>
constexpr VekMatrix<T> operator*(const VekMatrix<T>& a, const VekMatrix<T>& b) {
  if (a.isIdentity()) return b;
  if (b.isIdentity()) return a;
  VekMatrix<T> product;
  for (std::size_t i = 0; i < 4; ++i) {
    for (std::size_t j = 0; j < 4; ++j) {
      product.at(i, j) = a.at(i, 0) * b.at(0, j) + a.at(i, 1) * b.at(1, j) +
                         a.at(i, 2) * b.at(2, j) + a.at(i, 3) * b.at(3, j);
    }
  }
  return product;
}

/// The product of three factors in an order.
template <typename T>
VekMatrix<T> orderedProduct(const std::array<VekMatrix<T>, 3>& factors, const VekOrder& order) {
  return factors[order[0]] * factors[order[1]] * factors[order[2]];
}

// --- Single transforms ---------------------------------------------------------------------------

template <typename T>
constexpr VekMatrix<T> translation(T x, T y, T z) {
  VekMatrix<T> result;
  result.at(3, 0) = x;
  result.at(3, 1) = y;
  result.at(3, 2) = z;
  return result;
}

template <typename T>
constexpr VekMatrix<T> scaling(T x, T y, T z) {
  VekMatrix<T> result;
  result.at(0, 0) = x;
  result.at(1, 1) = y;
  result.at(2, 2) = z;
  return result;
}

/// Moves x by `xy` per unit of y and by `xz` per unit of z, and y by `yz` per unit of z.
template <typename T>
constexpr VekMatrix<T> shear(T xy, T xz, T yz) {
  VekMatrix<T> result;
  result.at(1, 0) = xy;
  result.at(2, 0) = xz;
  result.at(2, 1) = yz;
  return result;
}

/// A rotation about axis 0 (X), 1 (Y) or 2 (Z). A positive angle turns X to Y, Y to Z and Z to X.
template <typename T>
VekMatrix<T> axisRotation(std::size_t axis, T angle) {
  if (angle == T(0)) return {};
  const T c = std::cos(angle);
  const T s = std::sin(angle);
  const std::size_t j = (axis + 1) % 3;
  const std::size_t k = (axis + 2) % 3;
  VekMatrix<T> result;
  result.at(j, j) = c;
  result.at(j, k) = s;
  result.at(k, j) = -s;
  result.at(k, k) = c;
  return result;
}

/// The product of the three axis rotations in an order of rotateOrders.
template <typename T>
VekMatrix<T> rotation(T x, T y, T z, const VekOrder& order) {
  return orderedProduct<T>({axisRotation(0, x), axisRotation(1, y), axisRotation(2, z)}, order);
}

// --- Products of special matrices ----------------------------------------------------------------

/// A scaling by sx, sy, sz, times a rotation (its last row and column are those of the identity),
/// times a translation by x, y, z: bit for bit what the two products give, for a sixth of the work.
template <typename T>
VekMatrix<T> placedRotation(T sx, T sy, T sz, const VekMatrix<T>& rotated, T x, T y, T z) {
  // Zeros in a sum of products change nothing but the sign of a zero, which adding 0 gives too.
  VekMatrix<T> placed;
  T nothing = T(0) * x + T(0) * y + T(0) * z;
  for (std::size_t j = 0; j < 3; ++j) {
    placed.at(0, j) = sx * rotated.at(0, j) + T(0);
    placed.at(1, j) = sy * rotated.at(1, j) + T(0);
    placed.at(2, j) = sz * rotated.at(2, j) + T(0);
    nothing += T(0) * placed.at(0, j) + T(0) * placed.at(1, j) + T(0) * placed.at(2, j);
  }
  // Where one is not finite it spreads, and an identity keeps the zeros of the other factor.
  const bool scales = sx != T(1) || sy != T(1) || sz != T(1);
  if (nothing != T(0) || !scales || rotated.isIdentity() || placed.isIdentity())
    return scaling(sx, sy, sz) * rotated * translation(x, y, z);
  placed.at(3, 0) = x + T(0);
  placed.at(3, 1) = y + T(0);
  placed.at(3, 2) = z + T(0);
  return placed;
}

}  // namespace Vek

#endif
