// SPDX-License-Identifier: Apache-2.0
//
// The definition of one object.

#include <ostream>

#include "VekChunks.h"
#include "VekGuarded.h"
#include "VekIndent.h"

namespace Vek {

VekDOBJChunk::VekDOBJChunk() : VekDOBJChunk(nullptr) {}

VekDOBJChunk::VekDOBJChunk(const char* name_)
    : VekGroupChunk(Tag::DOBJ), name(name_ != nullptr ? name_ : ""), datr(nullptr) {}

VekDOBJChunk::~VekDOBJChunk() {
  removeDATR();
}

void VekDOBJChunk::reset() {
  name.clear();
  removeAllChildren();
}

void VekDOBJChunk::removeAllChildren() {
  removeDATR();
  VekGroupChunk::removeAllChildren();
}

__int64 VekDOBJChunk::getLength() {
  constexpr __int64 headerSize = sizeof(VekHeader);
  // NAME counts even when the name is empty and the chunk is not written.
  const __int64 nameLength = headerSize + static_cast<__int64>(name.size()) + 1;
  return VekGroupChunk::getLength() + nameLength +
         (datr != nullptr ? headerSize + datr->getLength() : 0);
}

// --- Reading, writing and printing ---------------------------------------------------------------

bool VekDOBJChunk::readChild(const VekHeader& h, VekFile& f, bool& handled) {
  handled = true;
  if (h.tag == Tag::NAME && h.type == ValueType::String) return f.readData(h, name);
  if (h.tag == Tag::DATR && h.type == ValueType::Group) {
    auto found = std::make_unique<VekDATRChunk>();
    if (!found->read(h, f)) return false;
    removeDATR();
    datr = found.release();
    return true;
  }
  return VekGroupChunk::readChild(h, f, handled);
}

bool VekDOBJChunk::writeChildren(VekFile& f) const {
  if (!name.empty() && !f.writeChunk(Tag::NAME, name)) return false;
  return datr == nullptr || datr->write(f);
}

std::ostream& VekDOBJChunk::printChildren(std::ostream& os, int indent) const {
  if (!name.empty()) printIndent(os, indent) << "name = " << name << "\n";
  if (datr != nullptr) datr->print(os, indent);
  return os;
}

// --- Name and attributes -------------------------------------------------------------------------

std::string VekDOBJChunk::getName() {
  return name;
}

VekDATRChunk* VekDOBJChunk::getDATR() {
  return datr;
}

const VekDATRChunk* VekDOBJChunk::getDATR() const {
  return datr;
}

VekDATRChunk* VekDOBJChunk::addDATR() {
  if (datr == nullptr)
    datr =
        guarded<VekDATRChunk*>(nullptr, [] { return std::make_unique<VekDATRChunk>().release(); });
  return datr;
}

void VekDOBJChunk::removeDATR() {
  delete datr;
  datr = nullptr;
}

int VekDOBJChunk::addAttr(const bool& animated, const std::string& attrName,
                          const std::string& typeName, unsigned char type, unsigned char compound,
                          unsigned char dimension) {
  if (addDATR() == nullptr) return -1;
  return datr->addAttr(animated, attrName, typeName, type, compound, dimension);
}

int VekDOBJChunk::getNumAttrs() const {
  return datr != nullptr ? datr->getNumAttrs() : 0;
}

int VekDOBJChunk::findAttr(const std::string& attrName) const {
  return datr != nullptr ? datr->findAttr(attrName) : -1;
}

bool VekDOBJChunk::isAttrAnimated(int i) const {
  return datr != nullptr && datr->isAnimated(i);
}

std::string VekDOBJChunk::getAttrName(int i) const {
  return datr != nullptr ? datr->getAttrName(i) : "";
}

std::string VekDOBJChunk::getAttrType(int i) const {
  return datr != nullptr ? datr->getAttrType(i) : "";
}

bool VekDOBJChunk::setAttrName(int i, const std::string& attrName) {
  return datr != nullptr && datr->setAttrName(i, attrName);
}

bool VekDOBJChunk::setAttrType(int i, const std::string& typeName) {
  return datr != nullptr && datr->setAttrType(i, typeName);
}

}  // namespace Vek
