// SPDX-License-Identifier: Apache-2.0
//
// A cache that keeps fetched samples in memory, all of them or the most recently used.

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <limits>

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
    return fetch(sample, obj);
  });
}

// The object's data, read when they are not held.
VekGroupChunk* VekRoMemCache::fetch(int sample, int obj) {
  ObjectSamples& samples = samplesOf(sample);
  const ObjectSamples::Place place = samples.place(static_cast<std::size_t>(obj));
  if (place.isHeld()) return place.slot.get();
  if (!isInFile(sample)) return nullptr;
  // Chunks that may be edited are made one by one, since they can be removed one by one.
  VekArena* const arena = samples.prepare(place, openMode == 0);
  if (!readObjectSample(*place.slot, sample, obj, arena)) {
    samples.discard(place, arena);
    return nullptr;
  }
  samples.markHeld(place);
  return place.slot.get();
}

// Makes the sample the most recently used and evicts what then exceeds the limit. The sample gets
// the memory of the one that gave way.
void VekRoMemCache::noteUse(int sample) {
  if (!recentSamples.empty() && recentSamples.front() == sample) return;
  const auto known = std::find(recentSamples.begin(), recentSamples.end(), sample);
  if (known != recentSamples.end())
    recentSamples.splice(recentSamples.begin(), recentSamples, known);
  else
    recentSamples.push_front(sample);
  std::unique_ptr<ObjectSamples> evicted;
  while (recentSamples.size() > static_cast<std::size_t>(maxSamples)) {
    evicted = takeSample(recentSamples.back());
    recentSamples.pop_back();
  }
  if (!evicted || !evicted->recycle()) return;
  const auto index = static_cast<std::size_t>(sample);
  if (sampleTable.size() <= index) sampleTable.resize(index + 1);
  if (!sampleTable[index]) sampleTable[index] = std::move(evicted);
}

VekRoMemCache::ObjectSamples& VekRoMemCache::samplesOf(int sample) {
  const auto index = static_cast<std::size_t>(sample);
  if (sampleTable.size() <= index) sampleTable.resize(index + 1);
  if (!sampleTable[index]) sampleTable[index] = std::make_unique<ObjectSamples>();
  return *sampleTable[index];
}

VekRoMemCache::ObjectSample& VekRoMemCache::sampleSlot(int sample, int obj) {
  return samplesOf(sample).slot(static_cast<std::size_t>(obj));
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
  const __int64 count = h.length / (components * componentSize);
  return count >= 0 && count <= std::numeric_limits<int>::max() ? static_cast<int>(count) : 0;
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

bool VekRoMemCache::isUnreadable(int sample, int obj) {
  return sample >= 0 && sample < metadata.numSamples && hasObject(obj) &&
         getSample(sample, obj) == nullptr && isStored(sample, obj);
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
    __int64 room = getLoadRoom();
    for (int sample = 0; sample < metadata.numSamples; ++sample) {
      loadSample(sample, false, room);
      if (room < 0) return false;
    }
    return true;
  });
}

bool VekRoMemCache::loadSamplesNotGreaterThan(int last) {
  const int end = std::min(last, getNumSamples() - 1);
  if (end < 0) return true;
  if (end == getNumSamples() - 1) return loadAllSamples();
  return guarded(false, [&] {
    __int64 room = getLoadRoom();
    for (int sample = 0; sample <= end; ++sample) {
      if (!loadSample(sample, true, room)) return false;
    }
    return true;
  });
}

// How many bytes the samples may take that are loaded together.
__int64 VekRoMemCache::getLoadRoom() {
  VekFile sized(fileName.c_str(), "r");
  const __int64 size = sized.seek(0, SEEK_END, true) ? sized.tell() : 0;
  constexpr __int64 most = std::numeric_limits<__int64>::max() - maxLoadInAnyCase;
  return maxLoadInAnyCase + (size <= most / maxLoadPerByte ? size * maxLoadPerByte : most);
}

// Loads the objects of a sample that are missing, and takes their sizes from `room`. False when one
// could not be loaded; the rest is then left out when `stopAtFailure` is set, or when there is no
// more room.
bool VekRoMemCache::loadSample(int sample, bool stopAtFailure, __int64& room) {
  bool complete = true;
  ObjectSamples& samples = samplesOf(sample);
  for (int obj = 0; obj < getNumObjects(); ++obj) {
    if (samples.holds(static_cast<std::size_t>(obj))) continue;
    // Without the sample's table of objects there is nothing to find.
    if (sample != cachedSampleIndex && (!isInFile(sample) || !selectSample(sample))) {
      if (!keepOpen) file.close();
      return false;
    }
    VekGroupChunk* const sobj = fetch(sample, obj);
    complete = complete && sobj != nullptr;
    if (!complete && stopAtFailure) return false;
    if (obj >= numFileObjects) continue;
    room -=
        static_cast<__int64>(sizeof(VekHeader)) + (sobj != nullptr ? sobj->getHeader().length : 0);
    if (room < 0) return false;
  }
  return complete;
}

void VekRoMemCache::deleteSample(int sample) {
  takeSample(sample);
}

// Takes a sample out of the table, which ends after the last one held.
std::unique_ptr<VekRoMemCache::ObjectSamples> VekRoMemCache::takeSample(int sample) {
  const auto index = static_cast<std::size_t>(sample);
  if (sample < 0 || index >= sampleTable.size() || !sampleTable[index]) return nullptr;
  std::unique_ptr<ObjectSamples> taken = std::move(sampleTable[index]);
  if (index + 1 == sampleTable.size()) {
    while (!sampleTable.empty() && !sampleTable.back()) sampleTable.pop_back();
  }
  return taken;
}

void VekRoMemCache::deleteAllSamples() {
  sampleTable.clear();
}

}  // namespace Vek
