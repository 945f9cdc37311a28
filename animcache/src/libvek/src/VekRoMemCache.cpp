// SPDX-License-Identifier: Apache-2.0
//
// A cache that keeps fetched samples in memory, all of them or the most recently used.

#include <algorithm>
#include <iostream>

#include "VekCache.h"
#include "VekGuarded.h"

namespace Vek {

VekRoMemCache::VekRoMemCache() = default;

VekRoMemCache::VekRoMemCache(const char* filename, bool keep, bool* ok)
    : VekCache(filename, keep, ok) {}

VekRoMemCache::VekRoMemCache(const char* filename, bool keep, int limit, bool* ok)
    : VekCache(filename, keep, ok), maxSamples(std::max(limit, 0)) {}

VekRoMemCache::~VekRoMemCache() {
  VekRoMemCache::reset();
}

void VekRoMemCache::reset() {
  deleteAllSamples();
  recentSamples.clear();
  maxSamples = 0;
  VekCache::reset();
}

bool VekRoMemCache::load(const char* filename, bool keep) {
  const int limit = maxSamples;  // The base class's load resets it.
  const bool loaded = VekCache::load(filename, keep);
  maxSamples = limit;
  if (!loaded) return false;
  const bool sized = guarded(false, [&] {
    sampleTable.resize(static_cast<std::size_t>(metadata.numSamples));
    return true;
  });
  if (!sized) reset();
  return sized;
}

bool VekRoMemCache::load(const char* filename, bool keep, int limit) {
  maxSamples = std::max(limit, 0);
  return load(filename, keep);
}

// --- Fetching ------------------------------------------------------------------------------------

const VekGroupChunk* VekRoMemCache::getSample(int sample, int obj) {
  if (!hasObject(obj) || sample < 0 || sample >= metadata.numSamples) return nullptr;
  return guarded<VekGroupChunk*>(nullptr, [&] {
    if (openMode == 0 && maxSamples > 0) noteUse(sample);
    std::unique_ptr<VekGroupChunk>& sobj = sampleSlot(sample, obj);
    if (!sobj) sobj.reset(loadObjectSample(sample, obj));
    return sobj.get();
  });
}

// Makes the sample the most recently used and evicts what then exceeds the limit.
void VekRoMemCache::noteUse(int sample) {
  if (!recentSamples.empty() && recentSamples.front() == sample) return;
  recentSamples.remove(sample);
  while (recentSamples.size() >= static_cast<std::size_t>(maxSamples)) {
    deleteSample(recentSamples.back());
    recentSamples.pop_back();
  }
  recentSamples.push_front(sample);
}

std::unique_ptr<VekGroupChunk>& VekRoMemCache::sampleSlot(int sample, int obj) {
  const auto s = static_cast<std::size_t>(sample);
  const auto o = static_cast<std::size_t>(obj);
  if (sampleTable.size() <= s) sampleTable.resize(s + 1);
  if (!sampleTable[s]) sampleTable[s] = std::make_unique<ObjectSamples>();
  ObjectSamples& objects = *sampleTable[s];
  if (objects.size() <= o) objects.resize(o + 1);
  return objects[o];
}

const VekChunk* VekRoMemCache::getSample(int sample, int obj, unsigned int tag, int* position) {
  const VekGroupChunk* const sobj = getSample(sample, obj);
  if (sobj == nullptr) return nullptr;
  const int start = position != nullptr ? std::max(*position, 0) : 0;
  const unsigned __int64 found = sobj->findChild(tag, static_cast<unsigned __int64>(start));
  if (position != nullptr) *position = static_cast<int>(found);
  return sobj->getChild(found);
}

const VekChunk* VekRoMemCache::getObjectData(int sample, int obj, unsigned int tag,
                                             bool* animated) {
  if (animated != nullptr) *animated = false;
  const VekChunk* const fixed = findInDefinition(obj, tag);
  if (fixed != nullptr) return fixed;  // Static data wins.
  const VekChunk* const found = findInSample(sample, obj, tag);
  if (found != nullptr && animated != nullptr) *animated = true;
  return found;
}

const VekChunk* VekRoMemCache::findInDefinition(int obj, unsigned int tag) {
  return hasObject(obj) ? findChunk(metadata.dobjs[static_cast<std::size_t>(obj)], tag) : nullptr;
}

const VekChunk* VekRoMemCache::findInSample(int sample, int obj, unsigned int tag) {
  if (!hasObject(obj)) return nullptr;
  // The search changes nothing; its signature is that of a tree whose owner may.
  return findChunk(const_cast<VekGroupChunk*>(getSample(sample, obj)), tag);
}

int VekRoMemCache::getNumVertices(int sample, int obj) {
  const VekChunk* positions = findInDefinition(obj, Tag::POSI);
  if (positions == nullptr && sample >= 0) positions = findInSample(sample, obj, Tag::POSI);
  if (positions == nullptr) return 0;
  const VekHeader h = positions->getHeader();
  const __int64 components = h.dimension != 0 ? h.dimension : 3;
  const __int64 componentSize = h.type == ValueType::Double ? 8 : 4;
  return static_cast<int>(h.length / (components * componentSize));
}

VekChunk* VekRoMemCache::getAttrData(int sample, int obj, int attr) {
  const VekDOBJChunk* const definition = getObjDef(obj);
  const VekDATRChunk* const datr = definition != nullptr ? definition->datr : nullptr;
  const int count = datr != nullptr ? datr->getNumAttrs() : 0;
  if (count == 0) return nullptr;
  if (attr < 0 || attr >= count) {
    std::cerr << "DATR index out of range " << attr << std::endl;
    return nullptr;
  }
  return datr->isAnimated(attr) ? getAnimatedAttrData(sample, obj, datr->getAnimatedDataIndex(attr))
                                : datr->getStaticData(attr);
}

VekChunk* VekRoMemCache::getAnimatedAttrData(int sample, int obj, int index) {
  const auto* const values =
      dynamic_cast<const VekGroupChunk*>(getSample(sample, obj, Tag::ATRS, nullptr));
  if (values == nullptr) {
    std::cerr << "ATRS GROUP chunk missing for object at " << obj << std::endl;
    return nullptr;
  }
  if (index < 0) {
    std::cerr << "Animated Data missing for object at " << obj << std::endl;
    return nullptr;
  }
  return const_cast<VekGroupChunk*>(values)->getChild(static_cast<unsigned __int64>(index));
}

template <typename T>
const std::vector<T>* VekRoMemCache::getSampleDataAtTime(float time, int obj, unsigned int tag,
                                                         int* position) {
  if (getNumObjects() == 0) return nullptr;
  const int sample = getSampleIndex(time);
  if (sample < 0) return nullptr;
  const auto* const leaf = asLeaf<T>(getSample(sample, obj, tag, position));
  return leaf != nullptr ? &leaf->data : nullptr;
}

template VEK_API const std::vector<char>* VekRoMemCache::getSampleDataAtTime(float, int,
                                                                             unsigned int, int*);
template VEK_API const std::vector<int>* VekRoMemCache::getSampleDataAtTime(float, int,
                                                                            unsigned int, int*);
template VEK_API const std::vector<__int64>* VekRoMemCache::getSampleDataAtTime(float, int,
                                                                                unsigned int, int*);
template VEK_API const std::vector<float>* VekRoMemCache::getSampleDataAtTime(float, int,
                                                                              unsigned int, int*);
template VEK_API const std::vector<double>* VekRoMemCache::getSampleDataAtTime(float, int,
                                                                               unsigned int, int*);
template VEK_API const std::vector<std::string>* VekRoMemCache::getSampleDataAtTime(float, int,
                                                                                    unsigned int,
                                                                                    int*);

// --- Holding -------------------------------------------------------------------------------------

void VekRoMemCache::setMaxSamples(int n) {
  if (openMode != 0) return;
  const int limit = std::max(n, 0);
  if (limit < maxSamples) {
    while (recentSamples.size() > static_cast<std::size_t>(limit)) {
      deleteSample(recentSamples.back());
      recentSamples.pop_back();
    }
  }
  maxSamples = limit;
}

int VekRoMemCache::getMaxSamples() const {
  return maxSamples;
}

bool VekRoMemCache::loadAllSamples() {
  return guarded(false, [&] {
    sampleTable.resize(static_cast<std::size_t>(std::max<__int64>(metadata.numSamples, 0)));
    for (int sample = 0; sample < metadata.numSamples; ++sample) loadSample(sample, false);
    return true;
  });
}

bool VekRoMemCache::loadSamplesNotGreaterThan(int last) {
  const int end = std::min(last, getNumSamples() - 1);
  if (end < 0) return true;
  if (end == getNumSamples() - 1) return loadAllSamples();
  return guarded(false, [&] {
    for (int sample = 0; sample <= end; ++sample) {
      if (!loadSample(sample, true)) return false;
    }
    return true;
  });
}

// Loads the objects of a sample that are missing. False when one could not be loaded; the rest is
// then left out when `stopAtFailure` is set.
bool VekRoMemCache::loadSample(int sample, bool stopAtFailure) {
  bool complete = true;
  for (int obj = 0; obj < getNumObjects(); ++obj) {
    std::unique_ptr<VekGroupChunk>& sobj = sampleSlot(sample, obj);
    if (!sobj) sobj.reset(loadObjectSample(sample, obj));
    complete = complete && sobj;
    if (!complete && stopAtFailure) return false;
  }
  return complete;
}

void VekRoMemCache::deleteSample(int sample) {
  const auto index = static_cast<std::size_t>(sample);
  if (sample < 0 || index >= sampleTable.size() || !sampleTable[index]) return;
  sampleTable[index].reset();
  if (index + 1 < sampleTable.size()) return;
  while (!sampleTable.empty() && !sampleTable.back()) sampleTable.pop_back();
}

void VekRoMemCache::deleteAllSamples() {
  sampleTable.clear();
}

}  // namespace Vek
