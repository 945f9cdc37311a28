// SPDX-License-Identifier: Apache-2.0
//
// What evaluations at times between samples share: the times, and the views of a file's objects.

#ifndef VEK_BENCH_VIEWS_H
#define VEK_BENCH_VIEWS_H

#include <VekCache.h>
#include <VekHelperObj.h>

#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "BenchRows.h"

namespace bench {

constexpr float firstSampleTime = 1.0F;

/// Times between samples `first` and `last`, away from both neighbours.
inline std::vector<float> chooseTimes(int count, int first, int last) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> anySample(first, last - 1);
  std::uniform_real_distribution<float> anyPart(0.1F, 0.9F);
  std::vector<float> times;
  for (int i = 0; i < count; ++i)
    times.push_back(firstSampleTime + static_cast<float>(anySample(random)) + anyPart(random));
  return times;
}

inline int sampleBefore(float time) {
  return static_cast<int>(time - firstSampleTime);
}
inline float timeOf(int sample) {
  return firstSampleTime + static_cast<float>(sample);
}

/// A cache and the views of its objects.
class Views {
 public:
  explicit Views(const std::string& path, int maxSamples = 0) : m_cache(open(path, maxSamples)) {
    Vek::VekHelperObjFactory factory(m_cache.get());
    for (int i = 0; i < m_cache->getNumObjects(); ++i) m_views.push_back(factory.vekObjBuilder(i));
  }
  Views(const Views&) = delete;
  Views& operator=(const Views&) = delete;
  ~Views() {
    for (Vek::VekHelperObj* view : m_views) view->destroy();
  }

  template <typename View>
  View& at(std::size_t object) {
    return static_cast<View&>(*m_views[object]);
  }
  std::size_t size() const { return m_views.size(); }

 private:
  static std::unique_ptr<Vek::VekRoMemCache> open(const std::string& path, int maxSamples) {
    bool ok = false;
    auto cache = std::make_unique<Vek::VekRoMemCache>(path.c_str(), true, maxSamples, &ok);
    require(ok, "cannot open a file");
    return cache;
  }

  std::unique_ptr<Vek::VekRoMemCache> m_cache;
  std::vector<Vek::VekHelperObj*> m_views;
};

inline Vek::VekInterpolationHints makeHints(int degree) {
  Vek::VekInterpolationHints hints;
  hints.interpolation = degree;
  return hints;
}

}  // namespace bench

#endif
