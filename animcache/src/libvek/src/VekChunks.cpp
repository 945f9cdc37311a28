// SPDX-License-Identifier: Apache-2.0
//
// The base of all chunk objects, the factory that makes them for headers read from a file, and
// their deep copy.

#include "VekChunks.h"

#include <new>
#include <ostream>
#include <utility>

#include "VekArena.h"
#include "VekGuarded.h"
#include "VekIndent.h"

namespace Vek {

int verbosity = -1;

VekChunk::VekChunk() = default;

VekChunk::VekChunk(const VekHeader& h) : header(h) {}

VekChunk::VekChunk(const VekChunk& other) : header(other.header) {}

// cppcheck-suppress operatorEqVarError ; whose child a chunk is does not change
VekChunk& VekChunk::operator=(const VekChunk& other) {
  if (this != &other) header = other.header;
  return *this;
}

VekChunk::~VekChunk() = default;

void VekChunk::reset() {}

__int64 VekChunk::getLength() {
  return header.length;
}

bool VekChunk::read(const VekHeader& h, VekFile& f) {
  return h.tag == header.tag && h.type == header.type && f.skipData(h);
}

bool VekChunk::write(VekFile& f) const {
  return f.writeChunk(header, nullptr);
}

std::ostream& VekChunk::print(std::ostream& os, int indent) const {
  printIndent(os, indent);
  return header.print(os) << " : ";
}

void VekChunk::free() {
  header.tag = Tag::FREE;
}

VekChunk* VekChunk::create(unsigned int tag, unsigned char type) {
  return guarded<VekChunk*>(nullptr, [=] { return makeFor(tag, type, nullptr).release(); });
}

// Makes a chunk in the arena when there is one. Throws when memory is short.
template <typename Class, typename... Arguments>
VekChunk::Owned<VekChunk> VekChunk::make(VekArena* arena, const Arguments&... arguments) {
  if (arena == nullptr) return Owned<VekChunk>(new Class(arguments...));
  VekChunk* const made = new (arena->allocate(sizeof(Class))) Class(arguments...);
  made->m_inArena = true;
  return Owned<VekChunk>(made);
}

VekChunk::Owned<VekChunk> VekChunk::makeFor(unsigned int tag, unsigned char type, VekArena* arena) {
  switch (type) {
    case ValueType::Undef:
      return make<VekLeafChunk<char>>(arena, tag);
    case ValueType::Group:
      return make<VekGroupChunk>(arena, tag, arena);
    case ValueType::String:
      return make<VekLeafChunk<std::string>>(arena, tag);
    case ValueType::Int32:
      return make<VekLeafChunk<int>>(arena, tag);
    case ValueType::Float:
      return make<VekLeafChunk<float>>(arena, tag);
    case ValueType::Int64:
      return make<VekLeafChunk<__int64>>(arena, tag);
    case ValueType::Double:
      return make<VekLeafChunk<double>>(arena, tag);
    default:
      return make<VekChunk>(arena, VekHeader(tag, type, 0));
  }
}

VekChunk* VekChunk::copy(const VekChunk* c) {
  return guarded<VekChunk*>(nullptr, [c] { return copyChunk(c).release(); });
}

namespace {

template <typename T>
std::unique_ptr<VekChunk> copyLeaf(const VekLeafChunk<T>* leaf) {
  if (leaf == nullptr) return nullptr;
  return std::make_unique<VekLeafChunk<T>>(leaf->getTag(), leaf->getCompound(),
                                           leaf->getDimension(), leaf->data);
}

}  // namespace

// Throws when memory is short, so that no group is left incomplete.
std::unique_ptr<VekChunk> VekChunk::copyChunk(const VekChunk* c) {
  if (c == nullptr || c->getTag() == Tag::FREE) return nullptr;
  switch (c->getType()) {
    case ValueType::Group:
      return copyGroup(dynamic_cast<const VekGroupChunk*>(c));
    case ValueType::String:
      return copyLeaf(asLeaf<std::string>(c));
    case ValueType::Int32:
      return copyLeaf(asLeaf<int>(c));
    case ValueType::Float:
      return copyLeaf(asLeaf<float>(c));
    case ValueType::Int64:
      return copyLeaf(asLeaf<__int64>(c));
    case ValueType::Double:
      return copyLeaf(asLeaf<double>(c));
    default:
      return nullptr;
  }
}

std::unique_ptr<VekChunk> VekChunk::copyGroup(const VekGroupChunk* group) {
  if (group == nullptr) return nullptr;
  auto result = std::make_unique<VekGroupChunk>(group->getTag());
  for (unsigned __int64 i = 0; i < group->numChildren(); ++i) {
    std::unique_ptr<VekChunk> child = copyChunk(group->getChild(i));
    if (child) result->append(Owned<VekChunk>(child.release()));
  }
  return result;
}

}  // namespace Vek
