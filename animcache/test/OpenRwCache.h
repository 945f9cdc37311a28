// SPDX-License-Identifier: Apache-2.0
//
// A read-write cache whose inside is open to tests, and what its samples hold: one float for each
// object.

#ifndef VEK_TEST_OPEN_RW_CACHE_H
#define VEK_TEST_OPEN_RW_CACHE_H

#include <gtest/gtest.h>

#include <vector>

#include "VekCache.h"

namespace VekTest {

/// A read-write cache whose protected members tests may reach.
class OpenRwCache : public Vek::VekRwMemCache {
 public:
  using VekRwMemCache::VekRwMemCache;

  using VekRwMemCache::convertToNonUniformSampling;
  using VekRwMemCache::convertToUniformSampling;

  using VekRwMemCache::appendable;
  using VekRwMemCache::cachedSampleIndex;
  using VekRwMemCache::dirty;
  using VekRwMemCache::file;
  using VekRwMemCache::jumpTable;
  using VekRwMemCache::metadata;
  using VekRwMemCache::openMode;
  using VekRwMemCache::recentSamples;
  using VekRwMemCache::reservedSamples;
  using VekRwMemCache::sampleTable;
  using VekRwMemCache::timeTable;
};

/// Adds a value to an object's data.
inline void put(Vek::VekGroupChunk* sobj, float value) {
  ASSERT_NE(nullptr, sobj);
  sobj->addChild(new Vek::VekLeafChunk<float>(Vek::Tag::POSI, {value}));
}

/// Allocates a sample of one object with a value.
inline void add(Vek::VekRwMemCache& cache, float time, int obj, float value) {
  put(cache.allocSample(time, obj), value);
}

/// The first value of an object's data; -1 when there is none.
inline float valueOf(Vek::VekRoMemCache& cache, int sample, int obj) {
  const auto* leaf =
      Vek::asLeaf<float>(cache.getSample(sample, obj, Vek::Tag::POSI, static_cast<int*>(nullptr)));
  return leaf != nullptr && !leaf->data.empty() ? leaf->data.front() : -1.0F;
}

/// The values of an object in all samples.
inline std::vector<float> valuesOf(Vek::VekRoMemCache& cache, int obj) {
  std::vector<float> values;
  for (int s = 0; s < cache.getNumSamples(); ++s) values.push_back(valueOf(cache, s, obj));
  return values;
}

/// The times of all samples, as the cache answers them.
inline std::vector<float> timesOf(const Vek::VekCache& cache) {
  std::vector<float> times;
  for (int s = 0; s < cache.getNumSamples(); ++s) times.push_back(cache.getSampleTime(s));
  return times;
}

}  // namespace VekTest

#endif
