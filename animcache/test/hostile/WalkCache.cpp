// SPDX-License-Identifier: Apache-2.0
//
// The walks through caches: what they know of the file, and the samples that they fetch or hold.

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

#include "SceneImage.h"
#include "Walk.h"

namespace VekTest {

namespace {

using namespace Vek;

constexpr unsigned int kTags[] = {Tag::POSI, Tag::ATRS, Tag::DATR};

void addChunk(const VekChunk* chunk, Digest& digest) {
  digest.number(chunk == nullptr);
  if (chunk == nullptr) return;
  const VekHeader h = chunk->getHeader();
  digest.number(h.tag);
  digest.number(h.length);
  if (const auto* const leaf = asLeaf<float>(chunk)) digest.values(leaf->data);
  if (const auto* const leaf = asLeaf<double>(chunk)) digest.values(leaf->data);
  if (const auto* const leaf = asLeaf<int>(chunk)) digest.values(leaf->data);
  if (const auto* const leaf = asLeaf<std::int64_t>(chunk)) digest.values(leaf->data);
  if (const auto* const leaf = asLeaf<char>(chunk)) digest.values(leaf->data);
  if (const auto* const leaf = asLeaf<std::string>(chunk)) digest.values(leaf->data);
  if (const auto* const group = dynamic_cast<const VekGroupChunk*>(chunk)) {
    for (std::uint64_t i = 0; i < group->numChildren(); ++i) addChunk(group->getChild(i), digest);
  }
}

void walkHead(VekCache& cache, Digest& digest) {
  digest.text(cache.getApplication());
  digest.text(cache.getSourceFile());
  digest.number(cache.getDateStamp());
  digest.number(cache.getVersion());
  digest.number(cache.getNumSamples());
  digest.number(cache.getFirstTime());
  digest.number(cache.getLastTime());
  digest.number(cache.getRate());
  digest.number(cache.getSpace());
  digest.number(cache.isNonUniform());
  digest.number(cache.isAnimated());
  digest.number(cache.getNumObjects());
  for (const float time : timesAround(cache)) {
    digest.number(cache.getSampleIndex(time));
    digest.number(cache.getMaxSampleIndexNotGreaterThan(time));
    digest.number(cache.getMinSampleIndexNotLessThan(time));
  }
  for (const int sample : indicesAround(cache.getNumSamples()))
    digest.number(cache.getSampleTime(sample));
}

void walkDefinition(VekCache& cache, int obj, Digest& digest) {
  digest.text(cache.getName(obj));
  digest.text(VekCache::shortName(cache.getName(obj)));
  digest.number(cache.findObjectIndex(cache.getName(obj), obj));
  digest.number(cache.findObjectIndex("|x:" + cache.getName(obj), -1));
  addChunk(cache.getObjDef(obj), digest);
  const int count = cache.getNumAttrs(obj);
  for (int attr = 0; attr < count; ++attr) {
    digest.text(cache.getAttrName(obj, attr));
    digest.text(cache.getAttrType(obj, attr));
    digest.number(cache.isAttrAnimated(obj, attr));
    digest.number(cache.findAttr(obj, cache.getAttrName(obj, attr)));
  }
  for (const unsigned int tag : kTags) {
    digest.number(cache.objectHas(obj, tag));
    digest.number(cache.isObjectAnimated(obj, tag));
  }
}

void walkHeld(VekRoMemCache& cache, int sample, int obj, Digest& digest) {
  addChunk(cache.getSample(sample, obj), digest);
  digest.number(cache.getNumVertices(sample, obj));
  int position = 0;
  addChunk(cache.getSample(sample, obj, Tag::FREE, &position), digest);
  digest.number(position);
  for (const unsigned int tag : kTags) {
    bool animated = false;
    addChunk(cache.getObjectData(sample, obj, tag, &animated), digest);
    digest.number(animated);
  }
  for (const int attr : indicesAround(cache.getNumAttrs(obj), kMostAttrs))
    addChunk(cache.getAttrData(sample, obj, attr), digest);
  const float time = cache.getSampleTime(sample);
  const auto* const floats = cache.getSampleDataAtTime<float>(time, obj, Tag::POSI, nullptr);
  digest.pointed(floats != nullptr, floats);
}

}  // namespace

std::vector<int> indicesAround(int count, int most) {
  std::vector<int> indices = {-1};
  for (int i = 0; i < std::min(count, most); ++i) indices.push_back(i);
  indices.push_back(std::max(count, 0));
  return indices;
}

std::vector<float> timesAround(const VekCache& cache) {
  std::vector<float> times = {kNaN, cache.getFirstTime() - 1, cache.getLastTime() + 1};
  const int count = std::min(cache.getNumSamples(), 3);
  for (int i = 0; i < count; ++i) {
    const float time = cache.getSampleTime(i);
    if (i == 0) times.push_back(time);
    times.push_back((time + cache.getSampleTime(i + 1)) / 2);
  }
  return times;
}

bool walkCache(const char* path, Digest& digest) {
  bool loaded = false;
  OpenCache cache(path, true, &loaded);
  digest.number(loaded);
  if (!loaded) return false;
  walkHead(cache, digest);
  for (const int obj : indicesAround(cache.getNumObjects())) {
    walkDefinition(cache, obj, digest);
    for (const int sample : indicesAround(cache.getNumSamples())) {
      const std::unique_ptr<VekGroupChunk> data(cache.loadObjectSample(sample, obj));
      addChunk(data.get(), digest);
      VekHeader h;
      int position = 0;
      digest.number(cache.seekChannelSample(h, sample, obj, Tag::POSI, &position));
      digest.number(position);
    }
  }
  VekFile counter;
  digest.number(counter.openCounting() && cache.getMETAChunk().write(counter));
  digest.number(cache.getMETAChunk().getLength());
  return true;
}

bool walkMemory(const char* path, int maxSamples, Digest& digest) {
  bool loaded = false;
  VekRoMemCache cache(path, true, maxSamples, &loaded);
  digest.number(loaded);
  if (!loaded) return false;
  for (const int obj : indicesAround(cache.getNumObjects())) {
    for (const int sample : indicesAround(cache.getNumSamples()))
      walkHeld(cache, sample, obj, digest);
  }
  VekHelperObjFactory factory(&cache);
  std::vector<std::string> names;
  digest.number(factory.getObjectNames(names));
  digest.values(names);
  for (const int obj : indicesAround(cache.getNumObjects())) {
    VekHelperObj* const view = factory.vekObjBuilder(obj);
    digest.number(view == nullptr);
    if (view == nullptr) continue;
    walkView(cache, *view, digest);
    view->destroy();
  }
  return true;
}

}  // namespace VekTest
