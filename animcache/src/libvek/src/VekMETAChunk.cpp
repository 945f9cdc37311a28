// SPDX-License-Identifier: Apache-2.0
//
// The metadata of a file: samples, origin and object definitions.

#include <algorithm>
#include <ostream>

#include "VekChunks.h"
#include "VekGuarded.h"
#include "VekIndent.h"
#include "VekPlatform.h"

namespace Vek {

VekMETAChunk::VekMETAChunk() : VekGroupChunk(Tag::META) {}

VekMETAChunk::~VekMETAChunk() {
  removeAllDOBJs();
}

void VekMETAChunk::reset() {
  numSamples = 0;
  firstTime = std::numeric_limits<float>::infinity();
  lastTime = -std::numeric_limits<float>::infinity();
  rate = 1.0F;
  space = 1;
  application.clear();
  sourceFile.clear();
  dateStamp = 0;
  removeAllChildren();
}

void VekMETAChunk::removeAllChildren() {
  removeAllDOBJs();
  VekGroupChunk::removeAllChildren();
}

void VekMETAChunk::removeAllDOBJs() {
  for (const VekDOBJChunk* dobj : dobjs) delete dobj;
  dobjs.clear();
}

VekDOBJChunk* VekMETAChunk::addDOBJ(const char* name) {
  return guarded<VekDOBJChunk*>(nullptr, [&] {
    auto dobj = std::make_unique<VekDOBJChunk>(name);
    dobjs.push_back(dobj.get());
    return dobj.release();
  });
}

__int64 VekMETAChunk::getNumObjects() const {
  return static_cast<__int64>(dobjs.size());
}

__int64 VekMETAChunk::getLength() {
  // WAPP and SFIL with their NULs, and DATE, NSAM, SPAC and NOBJ; then FTIM, LTIM and RATE.
  __int64 length = 130 + static_cast<__int64>(application.size() + sourceFile.size());
  if (numSamples != 0) length += 60;
  for (VekDOBJChunk* dobj : dobjs) {
    if (dobj != nullptr) length += 16 + dobj->getLength();
  }
  return length;
}

namespace {

bool writeInt64(VekFile& f, unsigned int tag, __int64 value) {
  return f.writeChunk(VekHeader(tag, ValueType::Int64, sizeof(value)), &value);
}

bool writeFloat(VekFile& f, unsigned int tag, float value) {
  return f.writeChunk(VekHeader(tag, ValueType::Float, sizeof(value)), &value);
}

}  // namespace

bool VekMETAChunk::writeChildren(VekFile& f) const {
  if (!application.empty() && !f.writeChunk(Tag::WAPP, application)) return false;
  if (!sourceFile.empty() && !f.writeChunk(Tag::SFIL, sourceFile)) return false;
  if (dateStamp != 0 && !writeInt64(f, Tag::DATE, dateStamp)) return false;
  if (!writeInt64(f, Tag::NSAM, numSamples)) return false;
  if (numSamples > 0 && !(writeFloat(f, Tag::FTIM, firstTime) &&
                          writeFloat(f, Tag::LTIM, lastTime) && writeFloat(f, Tag::RATE, rate)))
    return false;
  return writeInt64(f, Tag::SPAC, space) && writeInt64(f, Tag::NOBJ, getNumObjects()) &&
         std::all_of(dobjs.begin(), dobjs.end(),
                     [&](const VekDOBJChunk* dobj) { return dobj == nullptr || dobj->write(f); });
}

// The member that a number of the file's head belongs to; null for any other chunk.
void* VekMETAChunk::numberFor(const VekHeader& h) {
  if (h.type == ValueType::Int64 && h.length == sizeof(__int64)) {
    if (h.tag == Tag::NSAM) return &numSamples;
    if (h.tag == Tag::SPAC) return &space;
    if (h.tag == Tag::DATE) return &dateStamp;
  }
  if (h.type == ValueType::Float && h.length == sizeof(float)) {
    if (h.tag == Tag::FTIM) return &firstTime;
    if (h.tag == Tag::LTIM) return &lastTime;
    if (h.tag == Tag::RATE) return &rate;
  }
  return nullptr;
}

std::string* VekMETAChunk::textFor(const VekHeader& h) {
  if (h.type != ValueType::String) return nullptr;
  if (h.tag == Tag::WAPP) return &application;
  if (h.tag == Tag::SFIL) return &sourceFile;
  return nullptr;
}

bool VekMETAChunk::readDOBJ(const VekHeader& h, VekFile& f) {
  auto dobj = std::make_unique<VekDOBJChunk>();
  if (!dobj->read(h, f)) return false;
  dobjs.push_back(dobj.get());
  static_cast<void>(dobj.release());
  return true;
}

bool VekMETAChunk::readChild(const VekHeader& h, VekFile& f, bool& handled) {
  handled = true;
  if (void* const number = numberFor(h)) return f.readData(h, number);
  if (std::string* const text = textFor(h)) return f.readData(h, *text);
  if (h.tag == Tag::NOBJ && h.type == ValueType::Int64 && h.length == sizeof(__int64)) {
    __int64 ignored = 0;  // The count is that of the definitions.
    return f.readData(h, &ignored);
  }
  if (h.tag == Tag::DOBJ && h.type == ValueType::Group) return readDOBJ(h, f);
  return VekGroupChunk::readChild(h, f, handled);
}

std::ostream& VekMETAChunk::printChildren(std::ostream& os, int indent) const {
  if (!application.empty()) printIndent(os, indent) << "application = " << application << "\n";
  if (!sourceFile.empty()) printIndent(os, indent) << "sourceFile = " << sourceFile << "\n";
  // The date's text ends with a line end of its own; the empty line after it is kept.
  if (dateStamp != 0)
    Platform::printLocalTime(printIndent(os, indent) << "date stamp = ", dateStamp) << "\n";
  printIndent(os, indent) << "numObjects = " << getNumObjects() << "\n";
  printIndent(os, indent) << "numSamples = " << numSamples << "\n";
  printIndent(os, indent) << "firstTime = frame " << firstTime << "\n";
  printIndent(os, indent) << "lastTime = " << lastTime << "\n";
  printIndent(os, indent) << "rate = ";
  if (rate == 0.0F)
    os << "nonuniform\n";
  else
    os << rate << " samples per frame\n";
  printIndent(os, indent) << "space = ";
  if (space == 0 || space == 1)
    os << (space == 0 ? "world" : "object") << "\n";
  else
    os << space << "\n";
  for (const VekDOBJChunk* dobj : dobjs) {
    if (dobj != nullptr) dobj->print(os, indent);
  }
  return os;
}

}  // namespace Vek
