// SPDX-License-Identifier: Apache-2.0
//
// The names and types of an object's static or animated attributes, and the group of the static
// values.

#include <algorithm>
#include <ostream>
#include <utility>

#include "VekChunks.h"
#include "VekGuarded.h"
#include "VekIndent.h"

namespace Vek {

VekAttrListChunk::VekAttrListChunk(unsigned int tag) : VekGroupChunk(tag) {}

VekSATRChunk::VekSATRChunk() : VekAttrListChunk(Tag::SATR) {}

VekSATRChunk::~VekSATRChunk() = default;

VekAATRChunk::VekAATRChunk() : VekAttrListChunk(Tag::AATR) {}

VekAATRChunk::~VekAATRChunk() = default;

VekATRSChunk::VekATRSChunk() : VekGroupChunk(Tag::ATRS) {}

VekATRSChunk::~VekATRSChunk() = default;

void VekAttrListChunk::reset() {
  names.clear();
  types.clear();
  removeAllChildren();
}

__int64 VekAttrListChunk::getLength() {
  if (names.empty()) return 0;
  std::size_t length = 2 * sizeof(VekHeader);
  for (std::size_t i = 0; i < names.size(); ++i)
    length += names[i].size() + 1 + (i < types.size() ? types[i].size() : 0) + 1;
  return static_cast<__int64>(length);
}

// Makes room before anything changes: when memory is short, both lists are as they were.
void VekAttrListChunk::append(std::string name, std::string type) {
  names.reserve(names.size() + 1);
  types.reserve(names.size() + 1);
  types.resize(names.size());
  names.push_back(std::move(name));
  types.push_back(std::move(type));
}

const std::string& VekAttrListChunk::typeAt(std::size_t i) const {
  static const std::string none;
  return i < types.size() ? types[i] : none;
}

void VekAttrListChunk::setTypeAt(std::size_t i, std::string type) {
  if (i >= names.size()) return;
  if (i >= types.size()) types.resize(i + 1);
  types[i] = std::move(type);
}

void VekAttrListChunk::remove(unsigned __int64 first, unsigned __int64 last) {
  for (std::vector<std::string>* list : {&names, &types}) {
    const unsigned __int64 end = std::min<unsigned __int64>(last, list->size());
    if (first < end)
      list->erase(list->begin() + static_cast<std::ptrdiff_t>(first),
                  list->begin() + static_cast<std::ptrdiff_t>(end));
  }
}

bool VekAttrListChunk::writeChildren(VekFile& f) const {
  if (!names.empty() && !f.writeChunk(Tag::NAME, names)) return false;
  if (types.empty()) return true;
  return guarded(false, [&] {
    types.resize(names.size());
    return f.writeChunk(Tag::TYPE, types);
  });
}

bool VekAttrListChunk::readChild(const VekHeader& h, VekFile& f, bool& handled) {
  handled = true;
  if (h.tag == Tag::NAME && h.type == ValueType::String) return f.readData(h, names);
  if (h.tag == Tag::TYPE && h.type == ValueType::String) return f.readData(h, types);
  return VekGroupChunk::readChild(h, f, handled);
}

std::ostream& VekAttrListChunk::printChildren(std::ostream& os, int indent) const {
  const auto printList = [&](const char* title, const std::vector<std::string>& list) {
    if (list.empty()) return;
    printIndent(os, indent) << title;
    for (const std::string& text : list) os << text << " ";
    os << "\n";
  };
  printList("names = ", names);
  printList("types = ", types);
  return os;
}

}  // namespace Vek
