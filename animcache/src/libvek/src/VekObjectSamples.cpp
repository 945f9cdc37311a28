// SPDX-License-Identifier: Apache-2.0
//
// The data of one sample's objects, as a cache holds them.

#include <algorithm>

#include "VekArena.h"
#include "VekCache.h"

namespace Vek {

VekRoMemCache::ObjectSamples::ObjectSamples() = default;

VekRoMemCache::ObjectSamples::~ObjectSamples() = default;

const VekRoMemCache::ObjectSample& VekRoMemCache::ObjectSamples::operator[](std::size_t obj) const {
  static const ObjectSample none;
  const auto found = m_pages.find(obj / pageSize);
  if (found == m_pages.end() || (found->second.stale & bitOf(obj)) != 0) return none;
  return found->second.objects[obj % pageSize];
}

VekRoMemCache::ObjectSample& VekRoMemCache::ObjectSamples::slot(std::size_t obj) {
  Page& page = makePage(obj);
  ObjectSample& sobj = page.objects[obj % pageSize];
  if ((page.stale & bitOf(obj)) != 0) {
    sobj.reset();
    markHeld(obj);
  }
  return sobj;
}

// --- Reading -------------------------------------------------------------------------------------

// The object's data where they are held.
VekGroupChunk* VekRoMemCache::ObjectSamples::held(std::size_t obj) {
  const Page* const page = findPage(obj);
  if (page == nullptr || (page->stale & bitOf(obj)) != 0) return nullptr;
  return page->objects[obj % pageSize].get();
}

// A group to read the object's data into, which is held only after markHeld(): one that is left of
// another sample, else a new one. After a failure discard() is called instead.
VekRoMemCache::ObjectSamples::Spare VekRoMemCache::ObjectSamples::prepare(std::size_t obj,
                                                                          bool inArena) {
  Page& page = makePage(obj);
  ObjectSample& sobj = page.objects[obj % pageSize];
  // The arena takes an object's data only once: what comes and goes, or grows and shrinks from
  // sample to sample, would fill it.
  if (sobj) return {sobj.get(), nullptr};
  const bool isPlaced = inArena && (page.placed & bitOf(obj)) == 0;
  if (isPlaced && !m_arena) m_arena = std::make_unique<VekArena>();
  VekArena* const arena = isPlaced ? m_arena.get() : nullptr;
  if (arena != nullptr) arena->setMark();
  auto made = VekChunk::makeFor(Tag::SOBJ, ValueType::Group, arena);
  sobj.reset(static_cast<VekGroupChunk*>(made.release()));
  if (isPlaced) page.placed |= bitOf(obj);
  page.stale |= bitOf(obj);
  ++m_numStale;
  return {sobj.get(), arena};
}

void VekRoMemCache::ObjectSamples::markHeld(std::size_t obj) {
  makePage(obj).stale &= ~bitOf(obj);
  --m_numStale;
}

// Frees what was read in vain: it would be held, uncounted, as long as the sample is.
void VekRoMemCache::ObjectSamples::discard(std::size_t obj, VekArena* arena) {
  Page& page = makePage(obj);
  page.objects[obj % pageSize].reset();
  markHeld(obj);
  if (arena == nullptr) return;
  arena->rewind();
  page.placed &= ~bitOf(obj);
}

// Gives up what is held, to be read over for another sample. False, and nothing changed, when part
// of it was not used for this one, or when the arena has grown far beyond what it was at first:
// what no sample uses must not stay for good.
bool VekRoMemCache::ObjectSamples::recycle() {
  const std::size_t size = m_arena ? m_arena->size() : 0;
  if (m_numStale > 0 || (m_firstSize > 0 && size / 2 > m_firstSize)) return false;
  if (m_firstSize == 0) m_firstSize = size;
  m_size = 0;
  for (auto& [number, page] : m_pages) {
    for (std::size_t obj = 0; obj < pageSize; ++obj) {
      if (!page.objects[obj]) continue;
      page.stale |= bitOf(obj);
      ++m_numStale;
    }
  }
  return true;
}

// --- Pages ---------------------------------------------------------------------------------------

// Objects are mostly asked for in order: the page is mostly the one from before.
VekRoMemCache::ObjectSamples::Page* VekRoMemCache::ObjectSamples::findPage(std::size_t obj) {
  const std::size_t number = obj / pageSize;
  if (m_lastPage == nullptr || number != m_lastNumber) {
    const auto found = m_pages.find(number);
    if (found == m_pages.end()) return nullptr;
    m_lastPage = &found->second;
    m_lastNumber = number;
  }
  return m_lastPage;
}

VekRoMemCache::ObjectSamples::Page& VekRoMemCache::ObjectSamples::makePage(std::size_t obj) {
  m_size = std::max(m_size, obj + 1);
  Page* const page = findPage(obj);
  return page != nullptr ? *page : m_pages[obj / pageSize];
}

}  // namespace Vek
