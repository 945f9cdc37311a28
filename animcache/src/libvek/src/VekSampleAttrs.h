// SPDX-License-Identifier: Apache-2.0
//
// The values of an object's attributes in a few samples, for evaluations that read many of them.

#ifndef VEK_SAMPLE_ATTRS_H
#define VEK_SAMPLE_ATTRS_H

#include <cstddef>
#include <typeinfo>

#include "VekCache.h"
#include "VekChunkCast.h"

namespace Vek {

/// The first value of a chunk. Sets `found` when there is a chunk. Other types than float and
/// double count as 0; a leaf without values has none to give.
template <typename T>
bool takeFirstValue(const VekChunk* chunk, T& value, bool& found) {
  if (chunk == nullptr) return false;
  found = true;
  const auto takeFirst = [&value](const auto& values) {
    if (!values.empty()) value = static_cast<T>(values.front());
    return !values.empty();
  };
  if (const auto* const doubles = leafValues<double>(chunk)) return takeFirst(*doubles);
  if (const auto* const floats = leafValues<float>(chunk)) return takeFirst(*floats);
  value = 0;
  return true;
}

/// Whether the values of attributes are what a cache's chunks hold. One of a derived class may
/// answer for each attribute in a way of its own.
inline bool answersFromChunks(const VekRoMemCache& cache) {
  const std::type_info& kind = typeid(cache);
  return kind == typeid(VekRoMemCache) || kind == typeid(VekRwMemCache);
}

/// An object's animated attributes in the samples of an evaluation. The group that holds those of a
/// sample is fetched once, when the first of them is asked for.
class SampleAttrs {
 public:
  SampleAttrs(VekRoMemCache& cache, int obj, const int (&samples)[3])
      : m_cache(cache), m_obj(obj), m_samples(samples) {}

  const VekChunk* get(std::size_t sample, int attr) {
    const VekGroupChunk*& group = m_groups[sample];
    if (group == nullptr)
      group =
          chunkCast<VekGroupChunk>(m_cache.getSample(m_samples[sample], m_obj, Tag::ATRS, nullptr));
    if (group != nullptr) return group->getChild(static_cast<unsigned __int64>(attr));
    return m_cache.getAttrData(m_samples[sample], m_obj, attr);  // Says what is missing.
  }

 private:
  VekRoMemCache& m_cache;
  int m_obj;
  const int (&m_samples)[3];
  const VekGroupChunk* m_groups[3] = {};
};

}  // namespace Vek

#endif
