// SPDX-License-Identifier: Apache-2.0
//
// Fetching samples: seeking through the jump tables to an object's data in a sample, and the tests
// for what an object carries.

#include <cstdio>

#include "VekCache.h"
#include "VekGuarded.h"

namespace Vek {

namespace {

/// How many other chunks may stand before a sample's table of objects, which writers put first. The
/// limit keeps a fetch from a damaged sample cheap.
constexpr int maxChunksBeforeJOBJ = 1000;

}  // namespace

VekChunk* VekCache::findChunk(VekChunk* root, unsigned int tag) {
  if (root == nullptr || root->getTag() == tag) return root;
  auto* const group = dynamic_cast<VekGroupChunk*>(root);
  if (group == nullptr) return nullptr;
  for (unsigned __int64 i = 0; i < group->numChildren(); ++i) {
    VekChunk* const found = findChunk(group->getChild(i), tag);
    if (found != nullptr) return found;
  }
  return nullptr;
}

// --- Seeking -------------------------------------------------------------------------------------

bool VekCache::seekObjectSample(VekHeader& header, int sample, int obj) {
  if (!selectSample(sample)) return false;
  if (obj < 0 || static_cast<std::size_t>(obj) >= objectJumps.size()) return false;
  VekHeader h;
  if (!file.seek(objectJumps[static_cast<std::size_t>(obj)], SEEK_SET, true)) return false;
  if (!file.readHeader(h) || h.tag != Tag::SOBJ || h.type != ValueType::Group) return false;
  header = h;
  return true;
}

bool VekCache::selectSample(int sample) {
  if (!file.isOpen() && !file.open(fileName.c_str(), openMode == 0 ? "r" : "r+")) return false;
  if (sample < 0 || sample >= metadata.numSamples) return false;
  return sample == cachedSampleIndex || readObjectJumps(sample);
}

bool VekCache::readObjectJumps(int sample) {
  cachedSampleIndex = -1;
  const auto index = static_cast<std::size_t>(sample);
  VekHeader h;
  if (index >= jumpTable.size() || !file.seek(jumpTable[index], SEEK_SET, true)) return false;
  if (!file.readHeader(h) || h.tag != Tag::SAMP || h.type != ValueType::Group || h.length == 0)
    return false;
  const unsigned __int64 level = file.getLevel();
  for (int skipped = 0; skipped <= maxChunksBeforeJOBJ; ++skipped) {
    if (!file.readHeader(h) || h.tag == Tag::SOBJ) return false;
    if (h.tag == Tag::JOBJ) {
      objectJumps.clear();
      if (!file.appendData(h, objectJumps)) return false;
      cachedSampleIndex = sample;
      return true;
    }
    if (!file.skipData(h) || file.getLevel() != level) return false;
  }
  return false;
}

bool VekCache::seekChannelSample(VekHeader& header, int sample, int obj, unsigned int tag,
                                 int* position) {
  VekHeader h;
  if (!seekObjectSample(h, sample, obj) || h.length == 0) return false;
  const unsigned __int64 level = file.getLevel();
  for (int k = 0; file.readHeader(h); ++k) {
    if (h.tag == tag && (position == nullptr || k >= *position)) {
      if (position != nullptr) *position = k;
      header = h;
      return true;
    }
    if (!file.skipData(h) || file.getLevel() != level) return false;
  }
  return false;
}

VekGroupChunk* VekCache::loadObjectSample(int sample, int obj) {
  const auto load = [&]() -> VekGroupChunk* {
    VekHeader h;
    if (!seekObjectSample(h, sample, obj)) return nullptr;
    auto sobj = std::make_unique<VekGroupChunk>(Tag::SOBJ);
    return sobj->read(h, file) ? sobj.release() : nullptr;
  };
  VekGroupChunk* const sobj = guarded<VekGroupChunk*>(nullptr, load);
  if (!keepOpen) file.close();
  return sobj;
}

// --- What an object carries ----------------------------------------------------------------------

bool VekCache::objectHas(int obj, unsigned int tag) {
  if (!hasObject(obj)) return false;
  if (definitionHas(obj, tag)) return true;
  if (tag == Tag::DATR && getNumAttrs(obj) > 0) return true;
  return firstSampleHas(obj, tag);
}

bool VekCache::isObjectAnimated(int obj, unsigned int tag) {
  // A value in the definition holds for all samples.
  return hasObject(obj) && !definitionHas(obj, tag) && firstSampleHas(obj, tag);
}

bool VekCache::definitionHas(int obj, unsigned int tag) {
  return findChunk(metadata.dobjs[static_cast<std::size_t>(obj)], tag) != nullptr;
}

bool VekCache::firstSampleHas(int obj, unsigned int tag) {
  if (metadata.numSamples < 1) return false;
  const int sample = getSampleIndex(metadata.firstTime);
  if (sample < 0) return false;
  const std::unique_ptr<VekGroupChunk> sobj(loadObjectSample(sample, obj));
  return findChunk(sobj.get(), tag) != nullptr;
}

}  // namespace Vek
