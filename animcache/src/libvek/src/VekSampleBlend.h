// SPDX-License-Identifier: Apache-2.0
//
// The blend of the values of several samples, element by element.

#ifndef VEK_SAMPLE_BLEND_H
#define VEK_SAMPLE_BLEND_H

#include <array>
#include <iostream>
#include <utility>
#include <vector>

#include "VekCache.h"
#include "VekInterpolation.h"

namespace Vek {

/// The values of the samples that one evaluation blends.
template <typename T>
class SampleRun {
 public:
  /// `keepCopies` is needed when a sample's values can go as the next one is fetched.
  explicit SampleRun(bool keepCopies) : m_keepCopies(keepCopies) {}

  /// Whether that holds for a cache that is asked for as many samples as a degree needs.
  static bool needsCopies(const VekRoMemCache& cache, int interpolation) {
    return cache.getMaxSamples() > 0 && cache.getMaxSamples() <= interpolation;
  }

  void add(const std::vector<T>& values) {
    if (m_keepCopies)
      add(std::vector<T>(values));
    else
      m_values[m_size++] = &values;
  }
  void add(std::vector<T>&& values) {
    m_copies[m_size] = std::move(values);
    m_values[m_size] = &m_copies[m_size];
    ++m_size;
  }

  const T* operator[](std::size_t i) const { return m_values[i]->data(); }
  /// The number of values of the first sample.
  std::size_t count() const { return m_values[0]->size(); }
  /// Whether all samples hold as many values as the first one, or more where that is allowed.
  bool agrees(bool allowMore) const {
    for (std::size_t i = 1; i < m_size; ++i) {
      const std::size_t size = m_values[i]->size();
      if (size < count() || (size > count() && !allowMore)) return false;
    }
    return true;
  }

 private:
  bool m_keepCopies;
  std::size_t m_size = 0;
  std::array<const std::vector<T>*, 4> m_values = {};
  std::array<std::vector<T>, 4> m_copies;
};

/// The order of terms in which attributes and control points are blended.
struct AttributeKernels {
  template <typename T>
  static T linear(T p0, T p1, T t) {
    return blendLinear(p0, p1, t);
  }
  template <typename T>
  static T quadratic(T p0, T p1, T p2, T t) {
    return blendQuadratic(p0, p1, p2, t);
  }
  template <typename T>
  static VekCubicWeights<T> weights(T t) {
    return cubicWeights(t);
  }
};

/// The order of terms in which positions are blended.
struct PositionKernels {
  template <typename T>
  static T linear(T p0, T p1, T t) {
    return blendPositionLinear(p0, p1, t);
  }
  template <typename T>
  static T quadratic(T p0, T p1, T p2, T t) {
    return blendPositionQuadratic(p0, p1, p2, t);
  }
  template <typename T>
  static VekCubicWeights<T> weights(T t) {
    return positionCubicWeights(t);
  }
};

/// Blends every value of the run with the kernel of the degree, computed in T.
template <typename Kernels, typename T, typename Out>
void blendSamples(int degree, T t, const SampleRun<T>& run, std::vector<Out>& values) {
  const std::size_t count = run.count();
  values.resize(count);
  Out* const out = values.data();
  const T* const p0 = run[0];
  const T* const p1 = run[1];
  if (degree == 1) {
    for (std::size_t i = 0; i < count; ++i)
      out[i] = static_cast<Out>(Kernels::linear(p0[i], p1[i], t));
  } else if (degree == 2) {
    const T* const p2 = run[2];
    for (std::size_t i = 0; i < count; ++i)
      out[i] = static_cast<Out>(Kernels::quadratic(p0[i], p1[i], p2[i], t));
  } else {
    const T* const p2 = run[2];
    const T* const p3 = run[3];
    const VekCubicWeights<T> weights = Kernels::weights(t);
    for (std::size_t i = 0; i < count; ++i)
      out[i] = static_cast<Out>(blendCubic(p0[i], p1[i], p2[i], p3[i], weights));
  }
}

template <typename T>
void traceBlend(int degree, float t, const std::vector<T>& values) {
  if (verbosity < 1) return;
  constexpr const char* names[] = {" linear", " quadratic", " cubic"};
  std::cerr << names[degree - 1] << " t= " << t << std::endl;
  for (const T& value : values) std::cerr << " " << value;
  std::cerr << std::endl;
}

}  // namespace Vek

#endif
