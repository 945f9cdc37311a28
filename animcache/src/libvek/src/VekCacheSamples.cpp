// SPDX-License-Identifier: Apache-2.0
//
// Fetching samples: seeking through the jump tables to an object's data in a sample, and the tests
// for what an object carries.

#include <algorithm>
#include <cstdio>
#include <utility>

#include "VekCache.h"
#include "VekChunkCast.h"
#include "VekGuarded.h"

namespace Vek {

namespace {

/// How many other chunks may stand before a sample's table of objects, which writers put first. The
/// limit keeps a fetch from a damaged sample cheap.
constexpr int maxChunksBeforeJOBJ = 1000;

constexpr __int64 offsetSize = sizeof(__int64);

/// A table of objects up to this size comes with the header of its sample.
constexpr __int64 maxReadAtOnce = 4096 - 2 * static_cast<__int64>(sizeof(VekHeader));

}  // namespace

// Leaves are passed over in the loop, which spares most chunks a call and all of them a class walk.
VekChunk* VekCache::findChunk(VekChunk* root, unsigned int tag) {
  if (root == nullptr || root->getTag() == tag) return root;
  auto* const group = const_cast<VekGroupChunk*>(groupCast(root));
  if (group == nullptr) return nullptr;
  const unsigned __int64 count = group->numChildren();
  for (unsigned __int64 i = 0; i < count; ++i) {
    VekChunk* const child = group->getChild(i);
    if (child == nullptr) continue;
    if (child->getTag() == tag) return child;
    if (child->getType() != ValueType::Group) continue;
    VekChunk* const found = findChunk(child, tag);
    if (found != nullptr) return found;
  }
  return nullptr;
}

// --- Tables of objects ---------------------------------------------------------------------------

void VekCache::forgetSamples() {
  cachedSampleIndex = -1;
  m_visited.clear();
  m_outlined = -1;
}

// Keeps the current table for a return to its sample.
void VekCache::setAsideObjectJumps() {
  ObjectTable table = std::exchange(m_current, ObjectTable());
  table.sample = std::exchange(cachedSampleIndex, -1);
  table.offsets.swap(objectJumps);
  objectJumps.clear();
  if (table.sample >= 0) noteVisit(std::move(table));
}

// A visit that memory is too short to note is made anew.
void VekCache::noteVisit(ObjectTable table) {
  // Blending needs four samples at most, and goes from one to the other object by object.
  constexpr std::size_t maxVisited = 4;
  if (m_visited.size() >= maxVisited) m_visited.pop_back();
  guarded(false, [&] {
    m_visited.insert(m_visited.begin(), std::move(table));
    return true;
  });
}

// The note of a visit to that sample; a new one when it is not among the last ones visited.
VekCache::ObjectTable VekCache::takeVisit(int sample) {
  const auto isSample = [sample](const ObjectTable& table) { return table.sample == sample; };
  const auto found = std::find_if(m_visited.begin(), m_visited.end(), isSample);
  if (found == m_visited.end()) return ObjectTable();
  ObjectTable table = std::move(*found);
  m_visited.erase(found);
  return table;
}

// Lets the current sample and one visited before change places: what is blended object after object
// goes to and fro between a few.
bool VekCache::returnTo(int sample) {
  const auto isSample = [sample](const ObjectTable& table) { return table.sample == sample; };
  const auto found = std::find_if(m_visited.begin(), m_visited.end(), isSample);
  if (found == m_visited.end() || found->offsets.empty() || cachedSampleIndex < 0) return false;
  m_current.offsets.swap(objectJumps);
  std::swap(m_current, *found);
  m_current.offsets.swap(objectJumps);
  cachedSampleIndex = sample;
  return true;
}

// Finds a sample's table of objects in the file.
bool VekCache::findObjectTable(ObjectTable& table, int sample) {
  const auto index = static_cast<std::size_t>(sample);
  VekHeader h;
  if (index >= jumpTable.size() || !file.seek(jumpTable[index], SEEK_SET, true)) return false;
  if (!file.readHeader(h) || h.tag != Tag::SAMP || h.type != ValueType::Group || h.length == 0)
    return false;
  table.sample = sample;
  table.end = file.tell() + h.length;
  const unsigned __int64 level = file.getLevel();
  for (int skipped = 0; skipped <= maxChunksBeforeJOBJ; ++skipped) {
    if (!file.readHeader(h) || h.tag == Tag::SOBJ) return false;
    if (h.tag == Tag::JOBJ) {
      table.begin = file.tell();
      table.length = h.length;
      return h.length % offsetSize == 0 && file.holds(h.length);
    }
    if (!file.skipData(h) || file.getLevel() != level) return false;
  }
  return false;
}

bool VekCache::selectSample(int sample) {
  if (!openForFetching() || sample < 0 || sample >= metadata.numSamples) return false;
  if (sample == cachedSampleIndex || returnTo(sample)) return true;
  setAsideObjectJumps();
  return readObjectJumps(takeVisit(sample), sample);
}

// Makes objectJumps the table of a sample.
bool VekCache::readObjectJumps(ObjectTable table, int sample) {
  if (table.offsets.empty()) {
    if (table.sample < 0 && !findObjectTable(table, sample)) return false;
    if (!file.seek(table.begin, SEEK_SET, true) ||
        !file.readData(VekHeader(Tag::JOBJ, ValueType::Int64, table.length), table.offsets))
      return false;
  }
  objectJumps.swap(table.offsets);
  m_current = std::move(table);
  cachedSampleIndex = sample;
  return true;
}

// Finds an object in a sample. Of a long table that is visited for the first time only the object's
// own entry is read.
bool VekCache::findObject(ObjectPlace& place, int sample, int obj) {
  if (obj < 0 || sample < 0 || sample >= metadata.numSamples) return false;
  if (sample != cachedSampleIndex && !returnTo(sample)) {
    ObjectTable table = takeVisit(sample);
    const bool visited = table.sample >= 0;
    if (!visited && !findObjectTable(table, sample)) {
      setAsideObjectJumps();
      return false;
    }
    if (!visited && table.length > maxReadAtOnce) {
      const bool found = readEntry(place, table, obj);
      noteVisit(std::move(table));
      return found;
    }
    setAsideObjectJumps();
    if (!readObjectJumps(std::move(table), sample)) return false;
  }
  const auto index = static_cast<std::size_t>(obj);
  if (index >= objectJumps.size()) return false;
  place.begin = objectJumps[index];
  place.end = index + 1 < objectJumps.size() ? objectJumps[index + 1] : m_current.end;
  return true;
}

// An object ends where the next one begins, the last one where the sample does.
bool VekCache::readEntry(ObjectPlace& place, const ObjectTable& table, int obj) {
  const __int64 count = table.length / offsetSize;
  if (obj >= count) return false;
  __int64 entries[2] = {0, table.end};
  const __int64 length = obj + 1 < count ? 2 * offsetSize : offsetSize;
  if (!file.seek(table.begin + obj * offsetSize, SEEK_SET, true)) return false;
  file.expect(length);
  if (!file.readData(VekHeader(Tag::JOBJ, ValueType::Int64, length), entries)) return false;
  place.begin = entries[0];
  place.end = entries[1];
  return true;
}

// --- Seeking -------------------------------------------------------------------------------------

bool VekCache::openForFetching() {
  if (file.isOpen()) return true;
  m_visited.clear();  // The file may be another one by now.
  return file.open(fileName.c_str(), openMode == 0 ? "r" : "r+");
}

bool VekCache::seekObjectSample(VekHeader& header, int sample, int obj) {
  ObjectPlace place;
  const bool found =
      openForFetching() && guarded(false, [&] { return findObject(place, sample, obj); });
  if (!found || !file.seek(place.begin, SEEK_SET, true)) return false;
  file.expect(place.end > place.begin ? place.end - place.begin : 0);
  VekHeader h;
  if (!file.readHeader(h) || h.tag != Tag::SOBJ || h.type != ValueType::Group) return false;
  header = h;
  return true;
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
  return guarded<VekGroupChunk*>(nullptr, [&]() -> VekGroupChunk* {
    auto sobj = std::make_unique<VekGroupChunk>(Tag::SOBJ);
    return readObjectSample(*sobj, sample, obj, nullptr) ? sobj.release() : nullptr;
  });
}

// Reads an object's data in a sample into a group tagged SOBJ, whose chunks from before are used
// again where they fit. Further ones are made in the arena when there is one.
bool VekCache::readObjectSample(VekGroupChunk& sobj, int sample, int obj, VekArena* arena) {
  VekHeader h;
  const bool read = seekObjectSample(h, sample, obj) && sobj.readOver(h, file, arena);
  if (!keepOpen) file.close();
  return read;
}

bool VekCache::isInFile(int sample) const {
  const auto index = static_cast<std::size_t>(sample);
  return sample >= 0 && index < jumpTable.size() && jumpTable[index] >= 0;
}

bool VekCache::isStored(int sample, int obj) {
  if (!isInFile(sample) || obj < 0 || obj >= numFileObjects) return false;
  const bool stored = !selectSample(sample) || static_cast<std::size_t>(obj) < objectJumps.size();
  if (!keepOpen) file.close();
  return stored;
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

// The chunks' headers alone tell: no payload is read, however many points it holds.
bool VekCache::firstSampleHas(int obj, unsigned int tag) {
  if (metadata.numSamples < 1) return false;
  const int sample = getSampleIndex(metadata.firstTime);
  if (sample < 0) return false;
  return guarded(false, [&] {
    // A file that is closed in between may be another one by now.
    if (!keepOpen || m_outlined != obj) outline(sample, obj);
    return m_outlined == obj &&
           std::find(m_outline.begin(), m_outline.end(), tag) != m_outline.end();
  });
}

// Notes the tags of all chunks of an object's data in a sample.
void VekCache::outline(int sample, int obj) {
  m_outlined = -1;
  m_outline.clear();
  VekHeader h;
  if (seekObjectSample(h, sample, obj) && outlineChunk(h)) m_outlined = obj;
  if (!keepOpen) file.close();
}

// Fails where reading the chunk would.
bool VekCache::outlineChunk(const VekHeader& h) {
  m_outline.push_back(h.tag);
  if (h.type != ValueType::Group) return skipLeaf(h);
  if (h.length == 0) return true;
  const unsigned __int64 level = file.getLevel();
  VekHeader child;
  do {
    if (!file.readHeader(child) || !outlineChunk(child)) return false;
  } while (file.getLevel() == level);
  return true;
}

bool VekCache::skipLeaf(const VekHeader& h) {
  return file.canRead(h) && file.skipData(h);
}

}  // namespace Vek
