// SPDX-License-Identifier: Apache-2.0
//
// The attributes of one object: one index space over the animated and then the static ones.

#include <algorithm>
#include <iostream>
#include <unordered_set>
#include <utility>

#include "VekChunks.h"
#include "VekGuarded.h"

namespace Vek {

namespace {

template <typename T>
std::unique_ptr<VekChunk> newLeaf(unsigned char compound, unsigned char dimension) {
  return std::make_unique<VekLeafChunk<T>>(Tag::ATTR, compound, dimension, std::vector<T>());
}

/// An empty leaf for the values of a static attribute; null for a type that attributes cannot have.
std::unique_ptr<VekChunk> newStaticData(unsigned char type, unsigned char compound,
                                        unsigned char dimension) {
  switch (type) {
    case ValueType::String:
      return newLeaf<std::string>(compound, dimension);
    case ValueType::Int32:
      return newLeaf<int>(compound, dimension);
    case ValueType::Float:
      return newLeaf<float>(compound, dimension);
    case ValueType::Int64:
      return newLeaf<__int64>(compound, dimension);
    case ValueType::Double:
      return newLeaf<double>(compound, dimension);
    default:
      return nullptr;
  }
}

template <typename T>
bool copyValues(const VekChunk* from, VekChunk* to) {
  const auto* const source = asLeaf<T>(from);
  auto* const target = asLeaf<T>(to);
  if (source == nullptr || target == nullptr) return false;
  target->setData(source->data);
  return true;
}

/// A leaf with a copy of a static attribute's values; null for what is not such a leaf.
std::unique_ptr<VekChunk> copyStaticData(const VekChunk* data) {
  if (data == nullptr) return nullptr;
  auto values = newStaticData(data->getType(), data->getCompound(), data->getDimension());
  const bool copied =
      copyValues<std::string>(data, values.get()) || copyValues<int>(data, values.get()) ||
      copyValues<float>(data, values.get()) || copyValues<__int64>(data, values.get()) ||
      copyValues<double>(data, values.get());
  return copied ? std::move(values) : nullptr;
}

}  // namespace

VekDATRChunk::VekDATRChunk() : VekGroupChunk(Tag::DATR) {}

void VekDATRChunk::reset() {
  satr.reset();
  aatr.reset();
  atrs.reset();
  removeAllChildren();
}

__int64 VekDATRChunk::getLength() {
  constexpr __int64 headerSize = sizeof(VekHeader);
  const __int64 animated = aatr.getLength();
  const __int64 statics = satr.getLength();
  return (animated != 0 ? animated + headerSize : 0) +
         (statics != 0 ? statics + 2 * headerSize + atrs.getLength() : 0);
}

// --- Reading, writing and printing ---------------------------------------------------------------

bool VekDATRChunk::readChild(const VekHeader& h, VekFile& f, bool& handled) {
  // A damaged file may hold the same group twice.
  const auto readInto = [&](VekGroupChunk& group) {
    group.removeAllChildren();
    return group.read(h, f);
  };
  handled = true;
  if (h.type == ValueType::Group) {
    if (h.tag == Tag::SATR) return readInto(satr);
    if (h.tag == Tag::AATR) return readInto(aatr);
    if (h.tag == Tag::ATRS) return readInto(atrs);
  }
  return VekGroupChunk::readChild(h, f, handled);
}

bool VekDATRChunk::writeChildren(VekFile& f) const {
  if (satr.names.size() == atrs.numChildren()) {
    if (!satr.names.empty() && !satr.write(f)) return false;
    if (atrs.numChildren() > 0 && !atrs.write(f)) return false;
  } else {
    std::cout << "WARNING: SATR and ATRS write skipped, counts do not match" << std::endl;
  }
  return aatr.names.empty() || aatr.write(f);
}

std::ostream& VekDATRChunk::printChildren(std::ostream& os, int indent) const {
  if (!satr.names.empty()) satr.print(os, indent);
  if (!aatr.names.empty()) aatr.print(os, indent);
  if (atrs.numChildren() > 0) atrs.print(os, indent);
  return os;
}

// --- Attributes by index and name ----------------------------------------------------------------

void VekDATRChunk::checkIndex(int i) const {
  if (i >= 0 && i < getNumAttrs()) return;
  std::cout << "VekChunks:" << __LINE__ << " DATR attribute index out of bounds" << std::endl;
  throw false;
}

int VekDATRChunk::getNumAttrs() const {
  return getNumAnimatedAttrs() + getNumStaticAttrs();
}

int VekDATRChunk::getNumAnimatedAttrs() const {
  return static_cast<int>(aatr.names.size());
}

int VekDATRChunk::getNumStaticAttrs() const {
  return static_cast<int>(satr.names.size());
}

bool VekDATRChunk::isAnimated(int i) const {
  checkIndex(i);
  return i < getNumAnimatedAttrs();
}

int VekDATRChunk::getAnimatedDataIndex(int i) const {
  return isAnimated(i) ? i : -1;
}

VekChunk* VekDATRChunk::getStaticData(int i) const {
  if (isAnimated(i)) return nullptr;
  // The values are the caller's to fill, also through a definition that is not.
  return const_cast<VekATRSChunk&>(atrs).getChild(staticIndex(i));
}

std::size_t VekDATRChunk::staticIndex(int i) const {
  return static_cast<std::size_t>(i - getNumAnimatedAttrs());
}

const std::string& VekDATRChunk::getAttrName(int i) const {
  return isAnimated(i) ? aatr.names[static_cast<std::size_t>(i)] : satr.names[staticIndex(i)];
}

const std::string& VekDATRChunk::getAttrType(int i) const {
  return isAnimated(i) ? aatr.typeAt(static_cast<std::size_t>(i)) : satr.typeAt(staticIndex(i));
}

bool VekDATRChunk::setAttrName(int i, const std::string& name) {
  std::string& current =
      isAnimated(i) ? aatr.names[static_cast<std::size_t>(i)] : satr.names[staticIndex(i)];
  return guarded(false, [&] {
    current = name;
    return true;
  });
}

bool VekDATRChunk::setAttrType(int i, const std::string& typeName) {
  const bool animated = isAnimated(i);
  return guarded(false, [&] {
    if (animated)
      aatr.setTypeAt(static_cast<std::size_t>(i), typeName);
    else
      satr.setTypeAt(staticIndex(i), typeName);
    return true;
  });
}

int VekDATRChunk::findAttr(const std::string& name) const {
  const auto animated = std::find(aatr.names.begin(), aatr.names.end(), name);
  if (animated != aatr.names.end()) return static_cast<int>(animated - aatr.names.begin());
  const auto found = std::find(satr.names.begin(), satr.names.end(), name);
  if (found != satr.names.end())
    return getNumAnimatedAttrs() + static_cast<int>(found - satr.names.begin());
  return -1;
}

// --- Adding and removing -------------------------------------------------------------------------

int VekDATRChunk::addAttr(const bool& animated, const std::string& name,
                          const std::string& typeName, unsigned char type, unsigned char compound,
                          unsigned char dimension) {
  if (type == ValueType::Group) return -1;
  return guarded(-1, [&] {
    if (animated) {
      aatr.append(name, typeName);
      return getNumAnimatedAttrs() - 1;
    }
    std::unique_ptr<VekChunk> values = newStaticData(type, compound, dimension);
    if (!values) return -1;
    return appendStatic(name, typeName, std::move(values)) ? getNumAttrs() - 1 : -1;
  });
}

// Adds a name, a type and the values, or nothing.
bool VekDATRChunk::appendStatic(const std::string& name, const std::string& typeName,
                                std::unique_ptr<VekChunk> values) {
  satr.append(name, typeName);
  const unsigned __int64 before = atrs.numChildren();
  atrs.addChild(values.release());
  if (atrs.numChildren() > before) return true;
  satr.remove(satr.names.size() - 1, satr.names.size());
  return false;
}

void VekDATRChunk::addAnimatedAttribute(const std::string& name, const std::string& typeName) {
  addAttr(true, name, typeName, ValueType::Undef);
}

bool VekDATRChunk::removeStaticAttrs(int first, int count) {
  if (isAnimated(first)) return false;
  const auto begin = static_cast<__int64>(staticIndex(first));
  const __int64 end = begin + count;
  if (end > getNumStaticAttrs()) return false;
  if (count <= 0) return true;
  satr.remove(static_cast<unsigned __int64>(begin), static_cast<unsigned __int64>(end));
  // Children that are missing in a damaged file must not let the range pass for the whole list.
  const auto last = std::min(static_cast<unsigned __int64>(end), atrs.numChildren());
  if (static_cast<unsigned __int64>(begin) < last)
    atrs.removeChildren(static_cast<unsigned __int64>(begin), last);
  return true;
}

int VekDATRChunk::removeAnimatedAttrs(int first, int count) {
  if (!isAnimated(first)) return -1;
  // One fewer than asked for, unlike the static ones; callers rely on both rules.
  if (count > 1)
    aatr.remove(static_cast<unsigned __int64>(first),
                static_cast<unsigned __int64>(static_cast<__int64>(first) + count - 1));
  return first;
}

// --- Merging -------------------------------------------------------------------------------------

void VekDATRChunk::mergeStaticAttributes(const VekDATRChunk* from) {
  if (from == nullptr) return;
  guarded(false, [&] {
    // Attributes appended here are not searched: two of the same name in `from` both arrive.
    std::unordered_set<std::string> known(aatr.names.begin(), aatr.names.end());
    known.insert(satr.names.begin(), satr.names.end());
    for (int i = 0; i < from->getNumAttrs(); ++i) {
      const std::string& name = from->getAttrName(i);
      if (verbosity >= 3) std::cerr << "fromDATR " << name << std::endl;
      if (from->isAnimated(i)) continue;
      if (known.count(name) == 0)
        mergeStaticAttribute(*from, i);
      else if (verbosity >= 3)
        std::cerr << " SKIP, SATR FOUND:" << name << std::endl;
    }
    return true;
  });
}

void VekDATRChunk::mergeStaticAttribute(const VekDATRChunk& from, int i) {
  const std::string& name = from.getAttrName(i);
  std::unique_ptr<VekChunk> values = copyStaticData(from.getStaticData(i));
  if (!values) {
    std::cerr << "mergeStaticAttributes NOT Merged, unknown type fof: " << name << std::endl;
    return;
  }
  if (verbosity >= 3) std::cerr << " ADD, SATR= " << name << std::endl;
  appendStatic(name, from.getAttrType(i), std::move(values));
}

}  // namespace Vek
