// SPDX-License-Identifier: Apache-2.0
//
// The generic group: an owned list of child chunks, and the hooks through which subclasses keep
// some of them in members of their own.

#include <algorithm>
#include <iostream>

#include "VekArena.h"
#include "VekChunkImage.h"
#include "VekChunks.h"
#include "VekGuarded.h"

namespace Vek {

VekGroupChunk::VekGroupChunk() : VekGroupChunk(Tag::FREE) {}

VekGroupChunk::VekGroupChunk(unsigned int tag) : VekGroupChunk(tag, nullptr) {}

VekGroupChunk::VekGroupChunk(unsigned int tag, VekArena* arena)
    : VekChunk(VekHeader(tag, ValueType::Group, 0)),
      m_children(VekArenaAllocator<Owned<VekChunk>>(arena)) {}

VekGroupChunk::~VekGroupChunk() = default;

void VekGroupChunk::reset() {
  removeAllChildren();
}

__int64 VekGroupChunk::getLength() {
  // Unsigned, since a caller's chunk may claim any length.
  unsigned __int64 length = 0;
  for (const auto& child : m_children) {
    if (child) length += sizeof(VekHeader) + static_cast<unsigned __int64>(child->getLength());
  }
  return static_cast<__int64>(length);
}

// --- Reading, writing and printing ---------------------------------------------------------------

bool VekGroupChunk::read(const VekHeader& h, VekFile& f) {
  if (h.tag != header.tag || h.type != header.type || h.length < 0) return false;
  header = h;
  dropChildren();
  return readChildren(f, nullptr);
}

void VekGroupChunk::dropChildren() {
  for (auto& child : m_children) {
    if (child) child->m_isChild = false;
    if (VekGroupChunk* const group = asGroup(child.get())) group->m_parent = nullptr;
    static_cast<void>(child.release());
  }
  m_children.clear();
}

// Reads like read(), but into the children from before where they are of the same kind: objects of
// one sample are mostly built like those of another. Further children are made in the arena. There
// is one for a new group only: what is replaced in an arena would pile up.
//
// Children that were read ahead as a whole are taken from there. Where their lengths disagree, the
// file is followed from header to header: a group whose last header ends where the group does
// still reads that chunk's payload behind it.
bool VekGroupChunk::readOver(const VekHeader& h, VekFile& f, VekArena* arena) {
  if (h.tag != header.tag || h.type != header.type || h.length < 0) return false;
  header = h;
  const bool traces = verbosity >= 5;  // What readChild() then says of each.
  const char* const image = h.length > 0 && !traces ? f.peek(h.length) : nullptr;
  if (image == nullptr || !areReadable(image, h.length, f.getLevel()))
    return readChildren(f, arena);
  return guarded(false, [&] {
    takeChildren(image, h.length, arena);
    return f.skipData(h);
  });
}

bool VekGroupChunk::readChildren(VekFile& f, VekArena* arena) {
  std::size_t count = 0;
  const auto readAll = [&] {
    if (header.length == 0) return true;
    // The file closes the group when its last payload ends; the level then falls below this one.
    const unsigned __int64 level = f.getLevel();
    do {
      if (!readNextChild(f, arena, count)) return false;
    } while (f.getLevel() == level);
    return true;
  };
  const bool read = guarded(false, readAll);
  m_children.erase(m_children.begin() + static_cast<std::ptrdiff_t>(count), m_children.end());
  return read;
}

// Reads a chunk and, unless a subclass claims it, makes it the child at `count`.
bool VekGroupChunk::readNextChild(VekFile& f, VekArena* arena, std::size_t& count) {
  VekHeader h;
  if (!f.readHeader(h)) return false;
  bool handled = false;
  const bool claimed = readChild(h, f, handled);
  if (handled) return claimed;
  if (!readChunkOver(placeChild(count, h, arena), h, f, arena)) return false;
  ++count;
  return true;
}

// The chunk to read the i-th child into, or the one behind the last: that from before where it is
// of the same kind.
VekChunk& VekGroupChunk::placeChild(std::size_t i, const VekHeader& h, VekArena* arena) {
  if (i == m_children.size()) {
    append(makeFor(h.tag, h.type, arena));
  } else if (Owned<VekChunk>& old = m_children[i];
             !old || old->getTag() != h.tag || old->getType() != h.type) {
    old = makeFor(h.tag, h.type, arena);
    adopt(*old);
  }
  return *m_children[i];
}

bool VekGroupChunk::readChunkOver(VekChunk& chunk, const VekHeader& h, VekFile& f,
                                  VekArena* arena) {
  VekGroupChunk* const group = asGroup(&chunk);
  if (group == nullptr) return chunk.read(h, f);
  group->header = h;
  return group->readChildren(f, arena);
}

bool VekGroupChunk::write(VekFile& f) const {
  if (!f.startGroup(header)) return false;
  const bool written =
      writeChildren(f) && std::all_of(m_children.begin(), m_children.end(),
                                      [&](const auto& child) { return !child || child->write(f); });
  const bool ended = f.endGroup();
  return written && ended;
}

std::ostream& VekGroupChunk::print(std::ostream& os, int indent) const {
  VekChunk::print(os, indent) << "\n";
  printChildren(os, indent + 1);
  for (const auto& child : m_children) {
    if (child) child->print(os, indent + 1) << "\n";
  }
  return os;
}

bool VekGroupChunk::readChild(const VekHeader& h, VekFile& f, bool& handled) {
  if (verbosity >= 5) {
    std::cerr << "VekGroupChunk::readChild " << (f.isOpen() ? 1 : 0) << " ";
    h.print(std::cerr) << std::endl;
  }
  handled = false;
  return false;
}

bool VekGroupChunk::writeChildren(VekFile& f) const {
  if (verbosity >= 5)
    std::cerr << "VekGroupChunk::writeChildren " << (f.isOpen() ? 1 : 0) << std::endl;
  return true;
}

std::ostream& VekGroupChunk::printChildren(std::ostream& os, int indent) const {
  if (verbosity >= 5) std::cerr << "VekGroupChunk::printChildren " << indent << std::endl;
  return os;
}

// --- The list of children ------------------------------------------------------------------------

void VekGroupChunk::removeAllChildren() {
  m_children.clear();
}

void VekGroupChunk::addChild(VekChunk* c) {
  if (c != nullptr && c->m_isChild) return;
  for (const VekGroupChunk* group = this; group != nullptr; group = group->m_parent) {
    if (group == c) return;
  }
  guarded(false, [child = Owned<VekChunk>(c), this]() mutable {
    append(std::move(child));
    return true;
  });
}

void VekGroupChunk::append(Owned<VekChunk> child) {
  VekChunk* const added = child.get();
  m_children.push_back(std::move(child));
  if (added != nullptr) adopt(*added);
}

void VekGroupChunk::adopt(VekChunk& child) {
  child.m_isChild = true;
  if (VekGroupChunk* const group = asGroup(&child)) group->m_parent = this;
}

VekGroupChunk* VekGroupChunk::asGroup(VekChunk* chunk) {
  const bool mayBe = chunk != nullptr && chunk->getType() == ValueType::Group;
  return mayBe ? dynamic_cast<VekGroupChunk*>(chunk) : nullptr;
}

unsigned __int64 VekGroupChunk::numChildren() const {
  return m_children.size();
}

VekChunk* VekGroupChunk::getChild(unsigned __int64 i) {
  return i < m_children.size() ? m_children[i].get() : nullptr;
}

const VekChunk* VekGroupChunk::getChild(unsigned __int64 i) const {
  return i < m_children.size() ? m_children[i].get() : nullptr;
}

unsigned __int64 VekGroupChunk::findChild(unsigned int tag, unsigned __int64 start) const {
  for (unsigned __int64 i = start; i < m_children.size(); ++i) {
    if (m_children[i] && m_children[i]->getTag() == tag) return i;
  }
  return m_children.size();
}

void VekGroupChunk::removeChild(unsigned __int64 i) {
  if (i < m_children.size()) m_children.erase(m_children.begin() + static_cast<std::ptrdiff_t>(i));
}

void VekGroupChunk::removeChildren(unsigned __int64 first, unsigned __int64 last) {
  // The range's length alone decides; callers rely on it, so where it begins is not looked at.
  if (last - first == m_children.size()) {
    removeAllChildren();
    return;
  }
  last = std::min<unsigned __int64>(last, m_children.size());
  if (first < last)
    m_children.erase(m_children.begin() + static_cast<std::ptrdiff_t>(first),
                     m_children.begin() + static_cast<std::ptrdiff_t>(last));
}

}  // namespace Vek
