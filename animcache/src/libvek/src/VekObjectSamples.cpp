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
  const std::size_t page = obj / pageSize;
  if (page >= m_pages.size() || !m_pages[page]) return none;
  return isStale(obj) ? none : m_pages[page]->objects[obj % pageSize];
}

VekRoMemCache::ObjectSample& VekRoMemCache::ObjectSamples::slot(std::size_t obj) {
  ObjectSample& sobj = place(obj);
  if (isStale(obj)) {
    sobj.reset();
    markHeld(obj);
  }
  return sobj;
}

// --- Reading -------------------------------------------------------------------------------------

// A group to read the object's data into, which is held only after markHeld(): one that is left of
// another sample, else a new one. After a failure discard() is called instead.
VekRoMemCache::ObjectSamples::Spare VekRoMemCache::ObjectSamples::prepare(std::size_t obj,
                                                                          bool inArena) {
  ObjectSample& sobj = place(obj);
  // The arena takes an object's data only once: what comes and goes, or grows and shrinks from
  // sample to sample, would fill it.
  if (sobj) return {sobj.get(), nullptr};
  Page& page = *m_pages[obj / pageSize];
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
  m_pages[obj / pageSize]->stale &= ~bitOf(obj);
  --m_numStale;
}

// Frees what was read in vain: it would be held, uncounted, as long as the sample is.
void VekRoMemCache::ObjectSamples::discard(std::size_t obj, VekArena* arena) {
  Page& page = *m_pages[obj / pageSize];
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
  for (const std::unique_ptr<Page>& page : m_pages) {
    if (!page) continue;
    for (std::size_t obj = 0; obj < pageSize; ++obj) {
      if (!page->objects[obj]) continue;
      page->stale |= bitOf(obj);
      ++m_numStale;
    }
  }
  return true;
}

// --- Pages ---------------------------------------------------------------------------------------

VekRoMemCache::ObjectSample& VekRoMemCache::ObjectSamples::place(std::size_t obj) {
  const std::size_t page = obj / pageSize;
  if (page >= m_pages.size()) m_pages.resize(page + 1);
  if (!m_pages[page]) m_pages[page] = std::make_unique<Page>();
  m_size = std::max(m_size, obj + 1);
  return m_pages[page]->objects[obj % pageSize];
}

bool VekRoMemCache::ObjectSamples::isStale(std::size_t obj) const {
  return (m_pages[obj / pageSize]->stale & bitOf(obj)) != 0;
}

}  // namespace Vek
