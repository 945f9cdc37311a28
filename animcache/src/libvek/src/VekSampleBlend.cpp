// SPDX-License-Identifier: Apache-2.0
//
// The loops that blend the values of samples. They stand alone in this file, which is compiled with
// vectorisation also where a build does not ask for it. Every element is computed by the same
// operations in the same order as one alone, so the results do not depend on it.

#include "VekSampleBlend.h"

#include "VekInterpolation.h"

namespace Vek {

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

namespace {

// The result is the caller's and never one of the samples, which the cache owns.

template <typename Kernels, typename T, typename Out>
void blendTwo(const T* __restrict p0, const T* __restrict p1, std::size_t count, T t,
              Out* __restrict out) {
  for (std::size_t i = 0; i < count; ++i)
    out[i] = static_cast<Out>(Kernels::linear(p0[i], p1[i], t));
}

template <typename Kernels, typename T, typename Out>
void blendThree(const T* __restrict p0, const T* __restrict p1, const T* __restrict p2,
                std::size_t count, T t, Out* __restrict out) {
  for (std::size_t i = 0; i < count; ++i)
    out[i] = static_cast<Out>(Kernels::quadratic(p0[i], p1[i], p2[i], t));
}

template <typename Kernels, typename T, typename Out>
void blendFour(const T* __restrict p0, const T* __restrict p1, const T* __restrict p2,
               const T* __restrict p3, std::size_t count, T t, Out* __restrict out) {
  const VekCubicWeights<T> weights = Kernels::weights(t);
  for (std::size_t i = 0; i < count; ++i)
    out[i] = static_cast<Out>(blendCubic(p0[i], p1[i], p2[i], p3[i], weights));
}

/// Gives a vector a size. What it holds is not carried to new memory, since it is overwritten next.
template <typename T>
void resizeToOverwrite(std::vector<T>& values, std::size_t count) {
  if (values.capacity() < count) values.clear();
  values.resize(count);
}

}  // namespace

template <typename Kernels, typename T, typename Out>
void blendSamples(int degree, T t, const SampleRun<T>& run, std::vector<Out>& values) {
  const std::size_t count = run.count();
  resizeToOverwrite(values, count);
  Out* const out = values.data();
  if (degree == 1)
    blendTwo<Kernels>(run[0], run[1], count, t, out);
  else if (degree == 2)
    blendThree<Kernels>(run[0], run[1], run[2], count, t, out);
  else
    blendFour<Kernels>(run[0], run[1], run[2], run[3], count, t, out);
}

template void blendSamples<AttributeKernels>(int, float, const SampleRun<float>&,
                                             std::vector<float>&);
template void blendSamples<AttributeKernels>(int, double, const SampleRun<double>&,
                                             std::vector<double>&);
template void blendSamples<PositionKernels>(int, float, const SampleRun<float>&,
                                            std::vector<float>&);
template void blendSamples<PositionKernels>(int, float, const SampleRun<float>&,
                                            std::vector<double>&);

}  // namespace Vek
