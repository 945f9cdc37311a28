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

/// Which of the orders of terms a blend has.
struct AttributeKernels;  ///< attributes and control points
struct PositionKernels;   ///< positions

/// Blends every value of the run with the kernel of the degree, computed in T. The memory of
/// `values` is reused, and overwritten without being cleared first.
template <typename Kernels, typename T, typename Out>
void blendSamples(int degree, T t, const SampleRun<T>& run, std::vector<Out>& values);

extern template void blendSamples<AttributeKernels>(int, float, const SampleRun<float>&,
                                                    std::vector<float>&);
extern template void blendSamples<AttributeKernels>(int, double, const SampleRun<double>&,
                                                    std::vector<double>&);
extern template void blendSamples<PositionKernels>(int, float, const SampleRun<float>&,
                                                   std::vector<float>&);
extern template void blendSamples<PositionKernels>(int, float, const SampleRun<float>&,
                                                   std::vector<double>&);

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
