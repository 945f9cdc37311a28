// SPDX-License-Identifier: Apache-2.0
//
// Editing a cache in memory: samples, sampling, names. What is not in the file has no entry (-1) in
// the jump table.

#include <algorithm>
#include <cmath>
#include <iterator>
#include <new>
#include <utility>

#include "VekCache.h"
#include "VekGuarded.h"

namespace Vek {

VekRwMemCache::VekRwMemCache() {
  openMode = 1;
}

VekRwMemCache::VekRwMemCache(const char* filename, bool keep, bool* ok)
    : VekRoMemCache(filename, keep, ok) {
  openMode = 1;  // The load above opened the file for reading only.
}

VekRwMemCache::~VekRwMemCache() = default;

bool VekRwMemCache::isDirty() const {
  return dirty;
}

// An edit that an append cannot save.
void VekRwMemCache::markEdited() {
  dirty = true;
  appendable = false;
}

// --- Adding samples ------------------------------------------------------------------------------

VekGroupChunk* VekRwMemCache::allocSample(float time, int obj) {
  if (!std::isfinite(time) || obj < 0 || obj >= maxObjects) return nullptr;
  return guarded<VekGroupChunk*>(nullptr, [&] {
    bool isNew = false;
    const int sample = findOrAddSample(time, obj, isNew);
    if (sample < 0) return static_cast<VekGroupChunk*>(nullptr);
    return isNew ? sampleSlot(sample, obj).get() : allocInSample(sample, obj);
  });
}

bool VekRwMemCache::allocFrame(float time, std::vector<VekGroupChunk*>& sobjs) {
  const int count = getNumObjects();
  if (!std::isfinite(time) || count == 0) return false;
  return guarded(false, [&] {
    std::vector<VekGroupChunk*> found(static_cast<std::size_t>(count));
    bool isNew = false;
    // The index serves all objects: rounding can keep a time from being found again.
    const int sample = findOrAddSample(time, 0, isNew);
    if (sample < 0) return false;
    const bool canAppend = appendable && isNew;
    for (int obj = 0; obj < count; ++obj) {
      const bool isThere = isNew && obj == 0;
      found[static_cast<std::size_t>(obj)] =
          isThere ? sampleSlot(sample, obj).get() : allocInSample(sample, obj);
      if (found[static_cast<std::size_t>(obj)] == nullptr) return false;
    }
    appendable = canAppend;
    sobjs = std::move(found);
    return true;
  });
}

// The sample at a time; a new one holds the object. -1 for a time that cannot be placed.
int VekRwMemCache::findOrAddSample(float time, int obj, bool& isNew) {
  isNew = true;
  if (metadata.numSamples <= 0) return addFirstSample(time, obj);
  if (time > metadata.lastTime) return addLastSample(time, obj);
  const int sample = getMinSampleIndexNotLessThan(time);
  if (sample < 0) return -1;
  isNew = getSampleTime(sample) != time;
  return isNew ? insertSample(sample, time, obj) : sample;
}

namespace {

/// Makes room for one more element than there are, or than `count` where that is more, in steps
/// that grow with the size.
template <typename T>
void reserveOneMore(std::vector<T>& table, std::size_t count = 0) {
  const std::size_t needed = std::max(table.size(), count) + 1;
  if (table.capacity() < needed) table.reserve(std::max(needed, 2 * table.capacity()));
}

}  // namespace

// Everything that an edit needs is made before the cache changes: when memory is short, nothing
// has changed.
std::unique_ptr<VekRoMemCache::ObjectSamples> VekRwMemCache::newSample(int obj) {
  auto objects = std::make_unique<ObjectSamples>();
  objects->slot(static_cast<std::size_t>(obj)).reset(new VekGroupChunk(Tag::SOBJ));
  const auto count = static_cast<std::size_t>(std::max<__int64>(metadata.numSamples, 0));
  if (sampleTable.size() < count) sampleTable.resize(count);
  reserveOneMore(sampleTable);
  reserveOneMore(timeTable, count);
  reserveOneMore(jumpTable, count);
  defineObjects(obj);
  return objects;
}

void VekRwMemCache::defineObjects(int obj) {
  if (addObjects(obj)) markEdited();
}

// Adds definitions without a name until the object exists, all or none, and tells whether any was
// missing.
bool VekRwMemCache::addObjects(int obj) {
  const std::size_t before = metadata.dobjs.size();
  while (!hasObject(obj)) {
    if (metadata.addDOBJ("") != nullptr) continue;
    for (; metadata.dobjs.size() > before; metadata.dobjs.pop_back()) delete metadata.dobjs.back();
    throw std::bad_alloc();
  }
  return metadata.dobjs.size() > before;
}

// Puts a sample into the tables and returns its index. Entries beyond the samples, left by a
// truncation, go.
int VekRwMemCache::putSample(int sample, float time, std::unique_ptr<ObjectSamples> objects) {
  const auto count = static_cast<std::size_t>(metadata.numSamples);
  jumpTable.resize(count, -1);
  jumpTable.insert(jumpTable.begin() + sample, -1);
  if (isNonUniform()) {
    timeTable.resize(count);
    timeTable.insert(timeTable.begin() + sample, time);
  } else {
    timeTable.clear();
  }
  sampleTable.resize(count);
  sampleTable.insert(sampleTable.begin() + sample, std::move(objects));
  metadata.numSamples += 1;
  forgetSamples();
  return sample;
}

int VekRwMemCache::addFirstSample(float time, int obj) {
  metadata.numSamples = 0;
  auto objects = newSample(obj);
  metadata.firstTime = time;
  metadata.lastTime = time;
  metadata.rate = 1;
  markEdited();
  return putSample(0, time, std::move(objects));
}

int VekRwMemCache::addLastSample(float time, int obj) {
  auto objects = newSample(obj);
  const float rate = 1 / (time - metadata.lastTime);
  if (metadata.numSamples == 1 && rate > 0 && std::isfinite(rate))
    metadata.rate = rate;
  else if (metadata.rate != 0 && rate != metadata.rate)
    convertToNonUniformSampling();
  metadata.lastTime = time;
  dirty = true;
  // An append saves all that was added at the end, and would lose an edit of what is in the file.
  appendable = !storedEdited;
  return putSample(getNumSamples(), time, std::move(objects));
}

VekGroupChunk* VekRwMemCache::allocInSample(int sample, int obj) {
  if (hasObject(obj) && getSample(sample, obj) == nullptr && isStored(sample, obj)) return nullptr;
  ObjectSample fresh(new VekGroupChunk(Tag::SOBJ));
  ObjectSample& sobj = sampleSlot(sample, obj);
  defineObjects(obj);
  if (!sobj) sobj = std::move(fresh);
  const auto index = static_cast<std::size_t>(sample);
  storedEdited = storedEdited || (index < jumpTable.size() && jumpTable[index] >= 0);
  markEdited();
  return sobj.get();
}

int VekRwMemCache::insertSample(int sample, float time, int obj) {
  // Indices are about to shift: everything must be in memory.
  if (!loadAllSamples()) return -1;
  auto objects = newSample(obj);
  const bool keepsSpacing = time <= metadata.firstTime &&
                            (isNonUniform() || 1.0 / (metadata.firstTime - time) == metadata.rate);
  if (!keepsSpacing) convertToNonUniformSampling();
  storedEdited = storedEdited || sample < getNumStored();
  markEdited();
  if (sample == 0) metadata.firstTime = time;
  return putSample(sample, time, std::move(objects));
}

// The number of samples up to the last one that is in the file.
int VekRwMemCache::getNumStored() const {
  const auto count = std::min(jumpTable.size(), static_cast<std::size_t>(metadata.numSamples));
  const auto end = jumpTable.begin() + static_cast<std::ptrdiff_t>(count);
  const auto last = std::find_if(std::make_reverse_iterator(end), jumpTable.rend(),
                                 [](__int64 offset) { return offset >= 0; });
  return static_cast<int>(jumpTable.rend() - last);
}

// --- Sampling ------------------------------------------------------------------------------------

void VekRwMemCache::convertToNonUniformSampling() {
  if (isNonUniform()) return;
  const auto count = static_cast<std::size_t>(std::max<__int64>(metadata.numSamples, 0));
  const bool sized = guarded(false, [&] {
    timeTable.resize(count);
    return true;
  });
  if (!sized) return;
  for (std::size_t i = 0; i < count; ++i)
    timeTable[i] = static_cast<float>(i) / metadata.rate + metadata.firstTime;
  // Rounding must not part the table from the last time: no reader would take the file.
  if (count > 1) timeTable.back() = metadata.lastTime;
  metadata.rate = 0;
}

bool VekRwMemCache::convertToUniformSampling() {
  if (!isNonUniform()) return true;
  const int count = getNumTimes();
  float rate = 1;
  if (count > 1) {
    const float step = timeTable[1] - timeTable[0];
    for (std::size_t i = 2; i < static_cast<std::size_t>(count); ++i) {
      if (timeTable[i] - timeTable[i - 1] != step) return false;
    }
    rate = static_cast<float>(1.0 / step);
    // Only a rate that readers will accept for this number of samples.
    if (countSamples(metadata.firstTime, metadata.lastTime, rate) != static_cast<float>(count))
      return false;
  }
  metadata.rate = rate;
  timeTable.clear();
  return true;
}

void VekRwMemCache::shiftFirstTimeTo(float time) {
  const float shift = time - metadata.firstTime;
  if (shift == 0 || !std::isfinite(shift)) return;
  if (!isNonUniform()) {
    metadata.firstTime = time;
    metadata.lastTime += shift;
    dirty = true;
    return;
  }
  // The first and last time stay behind, unlike those of uniform sampling; callers rely on it.
  for (float& entry : timeTable) entry += shift;
  dirty = dirty || !timeTable.empty();
}

// --- Removing samples ----------------------------------------------------------------------------

void VekRwMemCache::truncate(float time) {
  if (time >= metadata.lastTime) return;
  const int last = time < metadata.firstTime ? -1 : getMinSampleIndexNotLessThan(time);
  if (last < 0) {
    deleteCache();
    return;
  }
  storedEdited = storedEdited || last + 1 < getNumStored();
  markEdited();
  file.close();
  const float lastTime = getSampleTime(last);
  if (!std::isnan(lastTime)) metadata.lastTime = lastTime;
  metadata.numSamples = last + 1;
  const auto count = static_cast<std::size_t>(metadata.numSamples);
  if (sampleTable.size() > count) sampleTable.resize(count);
}

void VekRwMemCache::deleteCache() {
  storedEdited = storedEdited || getNumStored() > 0;
  std::string path;
  path.swap(fileName);
  const bool keep = keepOpen;
  reset();
  keepOpen = keep;
  fileName.swap(path);
}

// --- Names and head ------------------------------------------------------------------------------

void VekRwMemCache::setName(int obj, const char* name) {
  if (obj < 0 || obj >= maxObjects) return;
  guarded(false, [&] {
    std::string text = name != nullptr ? name : "";
    if (addObjects(obj)) dirty = true;
    VekDOBJChunk* const definition = metadata.dobjs[static_cast<std::size_t>(obj)];
    if (definition != nullptr && definition->name != text) {
      definition->name = std::move(text);
      dirty = true;
    }
    return true;
  });
}

bool VekRwMemCache::setAttrName(int obj, int attr, const std::string& name) {
  if (getObjDef(obj) == nullptr) return false;
  dirty = true;
  return metadata.dobjs[static_cast<std::size_t>(obj)]->setAttrName(attr, name);
}

bool VekRwMemCache::setAttrType(int obj, int attr, const std::string& type) {
  if (getObjDef(obj) == nullptr) return false;
  dirty = true;
  return metadata.dobjs[static_cast<std::size_t>(obj)]->setAttrType(attr, type);
}

void VekRwMemCache::setApplication(const std::string& application) {
  guarded(false, [&] {
    metadata.application = application;
    return true;
  });
}

void VekRwMemCache::setSourceFile(const std::string& sourceFile) {
  guarded(false, [&] {
    metadata.sourceFile = sourceFile;
    return true;
  });
}

void VekRwMemCache::setSpace(int space) {
  metadata.space = space;
}

void VekRwMemCache::setReservedSamples(int n) {
  reservedSamples = n;
}

}  // namespace Vek
