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
// another sample, or of an attempt that failed, else a new one.
VekRoMemCache::ObjectSamples::Spare VekRoMemCache::ObjectSamples::prepare(std::size_t obj,
                                                                          bool inArena) {
  ObjectSample& sobj = place(obj);
  // The arena takes new data only: what grows and shrinks from sample to sample would fill it.
  if (sobj) return {*sobj, nullptr};
  if (inArena && !m_arena) m_arena = std::make_unique<VekArena>();
  VekArena* const arena = inArena ? m_arena.get() : nullptr;
  auto made = VekChunk::makeFor(Tag::SOBJ, ValueType::Group, arena);
  sobj.reset(static_cast<VekGroupChunk*>(made.release()));
  m_pages[obj / pageSize]->stale |= bitOf(obj);
  ++m_numStale;
  return {*sobj, arena};
}

void VekRoMemCache::ObjectSamples::markHeld(std::size_t obj) {
  m_pages[obj / pageSize]->stale &= ~bitOf(obj);
  --m_numStale;
}

// Gives up what is held, to be read over for another sample. False, and nothing changed, when part
// of it was not used for this one: what no sample uses must not stay for good.
bool VekRoMemCache::ObjectSamples::recycle() {
  if (m_numStale > 0) return false;
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
