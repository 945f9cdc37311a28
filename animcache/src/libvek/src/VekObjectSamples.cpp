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
  const auto page = m_pages.find(obj / pageSize);
  if (page == m_pages.end()) return none;
  const Place place(const_cast<Page&>(page->second), obj);
  return place.isHeld() ? place.slot : none;
}

VekRoMemCache::ObjectSample& VekRoMemCache::ObjectSamples::slot(std::size_t obj) {
  const Place found = place(obj);
  if (found.slot && !found.isHeld()) {
    found.slot.reset();
    markHeld(found);
  }
  return found.slot;
}

// --- Reading -------------------------------------------------------------------------------------

// Objects are mostly asked for in order: the page is mostly the one from before.
VekRoMemCache::ObjectSamples::Page* VekRoMemCache::ObjectSamples::findPage(std::size_t number) {
  if (m_lastPage == nullptr || number != m_lastNumber) {
    const auto found = m_pages.find(number);
    if (found == m_pages.end()) return nullptr;
    m_lastPage = &found->second;
    m_lastNumber = number;
  }
  return m_lastPage;
}

// Makes no page, unlike place().
bool VekRoMemCache::ObjectSamples::holds(std::size_t obj) {
  Page* const page = findPage(obj / pageSize);
  return page != nullptr && Place(*page, obj).isHeld();
}

VekRoMemCache::ObjectSamples::Place VekRoMemCache::ObjectSamples::place(std::size_t obj) {
  m_size = std::max(m_size, obj + 1);
  Page* const page = findPage(obj / pageSize);
  return {page != nullptr ? *page : m_pages[obj / pageSize], obj};
}

// Sees that there is a group to read the object's data into, which is held only after markHeld():
// one that is left of another sample, else a new one. After a failure discard() is called instead.
// The result is the arena for further chunks, null for the heap.
VekArena* VekRoMemCache::ObjectSamples::prepare(const Place& place, bool inArena) {
  if (place.slot) return nullptr;
  // The arena takes an object's data only once: what comes and goes, or grows and shrinks from
  // sample to sample, would fill it.
  const bool isPlaced = inArena && (place.page.placed & place.bit) == 0;
  if (isPlaced && !m_arena) m_arena = std::make_unique<VekArena>();
  VekArena* const arena = isPlaced ? m_arena.get() : nullptr;
  if (arena != nullptr) arena->setMark();
  auto made = VekChunk::makeFor(Tag::SOBJ, ValueType::Group, arena);
  place.slot.reset(static_cast<VekGroupChunk*>(made.release()));
  if (isPlaced) place.page.placed |= place.bit;
  place.page.stale |= place.bit;
  ++m_numStale;
  return arena;
}

void VekRoMemCache::ObjectSamples::markHeld(const Place& place) {
  place.page.stale &= ~place.bit;
  --m_numStale;
}

// Frees what was read in vain: it would be held, uncounted, as long as the sample is.
void VekRoMemCache::ObjectSamples::discard(const Place& place, VekArena* arena) {
  place.slot.reset();
  markHeld(place);
  if (arena == nullptr) return;
  arena->rewind();
  place.page.placed &= ~place.bit;
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
    for (std::size_t i = 0; i < pageSize; ++i) {
      const Place place(page, i);
      if (!place.slot) continue;
      page.stale |= place.bit;
      ++m_numStale;
    }
  }
  return true;
}

}  // namespace Vek
