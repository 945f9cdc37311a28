// SPDX-License-Identifier: Apache-2.0
//
// Fuzz entry point of the caches that read: load, every lookup, and every object of the samples.
// What a cache holds must not depend on whether it keeps its file open or how many samples it may
// hold: that is compared for a part of the inputs.

#include <algorithm>
#include <limits>
#include <memory>

#include "FuzzDigest.h"
#include "FuzzInput.h"
#include "VekCache.h"

using namespace Vek;
using namespace VekFuzz;

namespace {

// What one execution looks at, at most.
constexpr int mostObjects = 3;
constexpr int mostSamples = 3;

constexpr int maxSampleLimits[] = {0, 1, 2, 4};
constexpr unsigned int tags[] = {Tag::FREE, Tag::NAME, Tag::DATR, Tag::ATRS, Tag::POSI, Tag::MTRX,
                                 Tag::XFRM, Tag::MESH, Tag::NRBS, Tag::ELOC, Tag::LXCS, Tag::SOBJ};

class OpenCache : public VekCache {
 public:
  using VekCache::loadObjectSample;
  using VekCache::seekChannelSample;
  using VekCache::VekCache;
};

std::vector<float> timesAround(VekCache& cache) {
  constexpr float inf = std::numeric_limits<float>::infinity();
  const float first = cache.getFirstTime();
  const float last = cache.getLastTime();
  std::vector<float> times = {first,     last,     (first + last) / 2,
                              first - 1, last + 1, 0,
                              inf,       -inf,     3.4e38F,
                              -1,        1e-30F,   std::numeric_limits<float>::quiet_NaN()};
  const int count = std::min(cache.getNumSamples(), mostSamples);
  for (int i = 0; i < count; ++i) {
    const float time = cache.getSampleTime(i);
    times.push_back(time);
    times.push_back(time + 0.25F);
  }
  return times;
}

void lookUpSamples(VekCache& cache) {
  const int count = cache.getNumSamples();
  const auto inside = [&](int i) { return i == -1 || (i >= 0 && i < count); };
  for (const float t : timesAround(cache)) {
    check(inside(cache.getSampleIndex(t)), "an index of a sample lies in the cache");
    check(inside(cache.getMaxSampleIndexNotGreaterThan(t)), "an index before lies in the cache");
    check(inside(cache.getMinSampleIndexNotLessThan(t)), "an index after lies in the cache");
  }
  for (const int i : {-1, 0, 1, count - 1, count, std::numeric_limits<int>::max(),
                      std::numeric_limits<int>::min()}) {
    const float time = cache.getSampleTime(i);
    check(inside(i) && i >= 0 ? true : time != time, "outside the samples there is no time");
  }
}

void lookUpAttributes(VekCache& cache, int obj) {
  const int count = std::min(cache.getNumAttrs(obj), mostObjects);
  for (int attr = 0; attr < count; ++attr) {
    cache.isAttrAnimated(obj, attr);
    cache.getAttrType(obj, attr);
    const int found = cache.findAttr(obj, cache.getAttrName(obj, attr));
    check(found >= 0 && found < cache.getNumAttrs(obj), "an attribute is found by its name");
  }
  cache.findAttr(obj, "no such attribute");
}

void lookUpObjects(VekCache& cache) {
  const int count = cache.getNumObjects();
  for (int obj = -1; obj <= std::min(count, mostObjects); ++obj) {
    const std::string& name = cache.getName(obj);
    check((cache.getObjDef(obj) != nullptr) == (obj >= 0 && obj < count),
          "objects have definitions");
    const int found = cache.findObjectIndex(name, obj);
    check(found >= -1 && found < count, "the index of an object lies in the cache");
    VekCache::shortName(name);
    cache.findObjectIndex("ns:" + name + ":x", count);
    lookUpAttributes(cache, obj);
    for (const unsigned int tag : tags) {
      const bool has = cache.objectHas(obj, tag);
      check(has || !cache.isObjectAnimated(obj, tag), "what is animated is there");
    }
  }
}

void lookUpHead(VekCache& cache) {
  cache.getDVEKChunk();
  cache.getVersion();
  cache.getSpace();
  cache.isAnimated();
  cache.getDateStamp();
  check(cache.getNumObjects() == cache.getMETAChunk().getNumObjects(), "the count of objects");
}

std::vector<int> sampleIndices(const VekCache& cache) {
  const int count = cache.getNumSamples();
  std::vector<int> indices = {-1, count, std::numeric_limits<int>::max()};
  for (int i = 0; i < std::min(count, mostSamples); ++i) indices.push_back(i);
  if (count > mostSamples) indices.push_back(count - 1);
  return indices;
}

std::uint64_t digestOfSamples(OpenCache& cache) {
  Digest digest;
  for (const int sample : sampleIndices(cache)) {
    for (int obj = -1; obj <= std::min(cache.getNumObjects(), mostObjects); ++obj) {
      const std::unique_ptr<VekGroupChunk> sobj(cache.loadObjectSample(sample, obj));
      const bool known = obj >= 0 && obj < cache.getNumObjects();
      digest.addChunk(known ? sobj.get() : nullptr);
      VekHeader h;
      int position = 0;
      cache.seekChannelSample(h, sample, obj, Tag::POSI, &position);
      cache.seekChannelSample(h, sample, obj, Tag::ATRS, nullptr);
    }
  }
  return digest.value();
}

template <typename T>
void fetchAtTime(VekRoMemCache& cache, float time, int obj) {
  for (const unsigned int tag : {Tag::POSI, Tag::MTRX, Tag::FREE}) {
    int position = 0;
    cache.getSampleDataAtTime<T>(time, obj, tag, &position);
    ++position;
    cache.getSampleDataAtTime<T>(time, obj, tag, &position);
    cache.getSampleDataAtTime<T>(time, obj, tag, nullptr);
  }
}

/// The data of one of the types of values, or of all.
void fetchAtTime(VekRoMemCache& cache, float time, int obj, int type) {
  const bool all = type < 0;
  if (all || type == ValueType::Undef) fetchAtTime<char>(cache, time, obj);
  if (all || type == ValueType::Int32) fetchAtTime<int>(cache, time, obj);
  if (all || type == ValueType::Int64) fetchAtTime<__int64>(cache, time, obj);
  if (all || type == ValueType::Float) fetchAtTime<float>(cache, time, obj);
  if (all || type == ValueType::Double) fetchAtTime<double>(cache, time, obj);
  if (all || type == ValueType::String) fetchAtTime<std::string>(cache, time, obj);
}

void fetchObject(VekRoMemCache& cache, int sample, int obj, int type) {
  fetchAtTime(cache, cache.getSampleTime(sample), obj, type);
  cache.getNumVertices(sample, obj);
  for (const unsigned int tag : tags) {
    bool animated = false;
    const VekChunk* const chunk = cache.getObjectData(sample, obj, tag, &animated);
    check(chunk != nullptr || !animated, "nothing is not animated");
    check(chunk == nullptr || chunk->getTag() == tag, "a chunk is found by its tag");
  }
  const int count = std::min(cache.getNumAttrs(obj), mostObjects);
  for (int attr = -1; attr <= count; ++attr) cache.getAttrData(sample, obj, attr);
}

void fetchSamples(VekRoMemCache& cache, int type) {
  for (const int sample : sampleIndices(cache)) {
    for (int obj = -1; obj <= std::min(cache.getNumObjects(), mostObjects); ++obj)
      fetchObject(cache, sample, obj, type);
  }
}

std::uint64_t digestOfSamples(VekRoMemCache& cache) {
  Digest digest;
  for (const int sample : sampleIndices(cache)) {
    for (int obj = -1; obj <= std::min(cache.getNumObjects(), mostObjects); ++obj)
      digest.addChunk(cache.getSample(sample, obj));
  }
  return digest.value();
}

/// What a cache is made with, as the input chooses.
struct Setup {
  bool keepOpen;
  int limit;
  int laterLimit;
  int type;  ///< of the values that are asked for, -1 for all
};

void expectNothing(VekCache& cache) {
  check(cache.getNumObjects() == 0 && cache.getFilename().empty(), "a failed load leaves nothing");
}

/// The cache that holds no samples.
void exercisePlain(const char* path, const Setup& setup) {
  bool ok = false;
  OpenCache cache(path, setup.keepOpen, &ok);
  if (!ok) return expectNothing(cache);
  lookUpHead(cache);
  lookUpSamples(cache);
  lookUpObjects(cache);
  digestOfSamples(cache);
}

/// The cache that holds samples.
void exerciseMemory(const char* path, const Setup& setup) {
  bool ok = false;
  VekRoMemCache cache(path, setup.keepOpen, setup.limit, &ok);
  if (!ok) return expectNothing(cache);
  lookUpHead(cache);
  lookUpSamples(cache);
  fetchSamples(cache, setup.type);
}

void compareBoth(const char* path, const Setup& setup) {
  bool ok = false;
  OpenCache cache(path, !setup.keepOpen, &ok);
  bool memOk = false;
  VekRoMemCache memCache(path, setup.keepOpen, setup.limit, &memOk);
  check(ok == memOk, "both caches take the same files");
  if (!ok) return expectNothing(memCache);
  const std::uint64_t expected = digestOfSamples(cache);
  check(digestOfSamples(memCache) == expected, "both caches hold the same samples");
  memCache.setMaxSamples(setup.laterLimit);
  memCache.setKeepOpen(!setup.keepOpen);
  check(digestOfSamples(memCache) == expected, "a limit does not change the samples");
  check(memCache.load(path, setup.keepOpen, 1), "a file loads again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFile file("in");
  const SilentStreams silent;
  Choices choices(data, size);
  const bool all = choices.isEmpty();
  const unsigned choice = choices.next();
  const bool keepOpen = choice % 4 != 0;
  const unsigned kind = choice / 4 % 8;
  const int type = all ? -1 : static_cast<int>(choice / 32 % 6);
  const int limit = choices.oneOf(maxSampleLimits);
  const Setup setup = {keepOpen, limit, choices.below(4), type < 1 ? type : type + 1};
  file.setInput(data, size);
  if (all || kind % 2 == 0) exercisePlain(file.path(), setup);
  if (all || (kind % 2 == 1 && kind != 7)) exerciseMemory(file.path(), setup);
  if (all || kind == 7) compareBoth(file.path(), setup);
  return 0;
}
