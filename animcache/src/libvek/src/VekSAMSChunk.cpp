// SPDX-License-Identifier: Apache-2.0
//
// The writer of the sample stream. The tables in front are written as placeholders, with room for
// later samples behind them, and completed in place at the end.

#include <algorithm>
#include <cstdio>
#include <iostream>

#include "VekChunks.h"
#include "VekGuarded.h"

namespace Vek {

namespace {

VekHeader groupHeader(unsigned int tag) {
  return VekHeader(tag, ValueType::Group, 0);
}

/// Writes reserved space as a hole.
bool writeFree(VekFile& f, __int64 length) {
  return f.writeChunk(VekHeader(Tag::FREE, ValueType::Undef, length), nullptr);
}

/// Sets the number of elements, new ones 0; false for a number that memory cannot hold.
template <typename T>
bool resize(std::vector<T>& table, __int64 count) {
  return count >= 0 && guarded(false, [&] {
           table.resize(static_cast<std::size_t>(count));
           return true;
         });
}

/// Completes a table in place. For an empty one a header of length 0 goes to the position instead;
/// such headers after a sample or a stream are part of the format.
template <typename T>
bool rewriteTable(VekFile& f, unsigned int tag, const std::vector<T>& table, __int64 offset) {
  return offset < 0 || f.writeChunk(tag, table, table.empty() ? -1 : offset);
}

__int64 sizeOf(const std::vector<__int64>& table) {
  return static_cast<__int64>(table.size());
}

}  // namespace

VekSAMSChunk::VekSAMSChunk() : VekGroupChunk(Tag::SAMS) {}

void VekSAMSChunk::reset() {
  timeTable.clear();
  jumpTable.clear();
  objectTable.clear();
  timsOffset = -1;
  jsamOffset = -1;
  jobjOffset = -1;
  sampleIndex = 0;
  objectIndex = 0;
}

bool VekSAMSChunk::read(const VekHeader& h, VekFile& f) {
  if (verbosity >= 5) {
    std::cerr << "VekSAMSChunk::read " << (f.isOpen() ? 1 : 0) << " ";
    h.print(std::cerr) << std::endl;
  }
  return false;
}

bool VekSAMSChunk::write(VekFile& f) const {
  if (verbosity >= 5) std::cerr << "VekSAMSChunk::write " << (f.isOpen() ? 1 : 0) << std::endl;
  return false;
}

// --- Beginning a stream --------------------------------------------------------------------------

bool VekSAMSChunk::writeStart(VekFile& f, __int64 numSamples, __int64 reserve, bool writeTimes) {
  sampleIndex = 0;
  timsOffset = -1;
  if (!f.startGroup(groupHeader(Tag::SAMS))) return false;
  if (verbosity >= 1) std::cerr << "writeStart offsetSAMS " << f.tell() << std::endl;
  const bool written =
      (!writeTimes || writeTable(f, Tag::TIMS, timeTable, timsOffset, numSamples, reserve)) &&
      writeTable(f, Tag::JSAM, jumpTable, jsamOffset, numSamples, reserve);
  if (!written) f.endGroup();
  return written;
}

template <typename T>
bool VekSAMSChunk::writeTable(VekFile& f, unsigned int tag, std::vector<T>& table, __int64& offset,
                              __int64 numSamples, __int64 reserve) {
  constexpr __int64 size = sizeof(T);
  if (reserve > std::numeric_limits<__int64>::max() / size) return false;
  offset = f.tell();
  return resize(table, numSamples) && f.writeChunk(tag, table) &&
         (reserve <= 0 || writeFree(f, size * reserve));
}

bool VekSAMSChunk::appendStart(VekFile& f, __int64 numNewSamples) {
  timsOffset = -1;
  __int64 end = 0;
  if (numNewSamples < 0 || !openSection(f, end)) return false;
  VekHeader h;
  if (!f.readHeader(h)) return false;
  if (h.tag == Tag::TIMS) {
    if (!extendTable(f, h, timeTable, timsOffset, numNewSamples, end) || !f.readHeader(h))
      return false;
  }
  if (h.tag != Tag::JSAM || !extendTable(f, h, jumpTable, jsamOffset, numNewSamples, end))
    return false;
  sampleIndex = sizeOf(jumpTable) - numNewSamples;
  // Room that nothing was ever written behind is not in the file yet.
  const __int64 tablesEnd = f.tell();
  return f.seek(0, SEEK_END, false) &&
         (f.tell() >= tablesEnd || f.seek(tablesEnd, SEEK_SET, false));
}

// Opens the group that stands at the position once more; its old length is discarded. `end` is
// where its content can end at most: room at the end of a section need not be in the file yet.
bool VekSAMSChunk::openSection(VekFile& f, __int64& end) {
  const __int64 offset = f.tell();
  VekHeader h;
  if (!f.readHeader(h) || h.tag != Tag::SAMS || h.type != ValueType::Group) return false;
  header = h;
  const __int64 sectionEnd = f.tell() + h.length;
  if (!f.seek(0, SEEK_END, true)) return false;
  end = std::max(sectionEnd, f.tell());
  if (!f.seek(offset, SEEK_SET, true)) return false;
  if (verbosity >= 1) std::cerr << "appendStart offsetSAMS " << offset << std::endl;
  return f.startGroup(groupHeader(Tag::SAMS));
}

// Reads the table of header `h` and the reserved room behind it, and writes both again with the
// border between them moved.
template <typename T>
bool VekSAMSChunk::extendTable(VekFile& f, const VekHeader& h, std::vector<T>& table,
                               __int64& offset, __int64 numNewSamples, __int64 end) {
  constexpr __int64 size = sizeof(T);
  offset = f.tell() - static_cast<__int64>(sizeof(VekHeader));
  table.clear();
  if (h.type != VekTypeOf<T>::value || !f.appendData(h, table)) return false;
  VekHeader room;
  if (!f.readHeader(room) || room.tag != Tag::FREE || room.type == ValueType::Group ||
      numNewSamples > room.length / size || room.length > end - f.tell())
    return false;
  return resize(table, static_cast<__int64>(table.size()) + numNewSamples) &&
         f.seek(offset, SEEK_SET, false) && f.writeChunk(h.tag, table) &&
         writeFree(f, room.length - size * numNewSamples);
}

// --- Samples and objects -------------------------------------------------------------------------

bool VekSAMSChunk::writeStartSAMPChunk(VekFile& f, __int64 numObjects, const float* time) {
  if (sampleIndex < 0 || sampleIndex >= sizeOf(jumpTable)) return false;
  const auto sample = static_cast<std::size_t>(sampleIndex);
  objectIndex = 0;
  jumpTable[sample] = f.tell();
  if (time != nullptr && sample < timeTable.size()) timeTable[sample] = *time;
  if (!f.startGroup(groupHeader(Tag::SAMP))) return false;
  jobjOffset = f.tell();
  objectTable.clear();
  const bool written = resize(objectTable, numObjects) && f.writeChunk(Tag::JOBJ, objectTable);
  if (!written) f.endGroup();
  return written;
}

// Notes where the next object begins; false when the sample has no entry for it.
bool VekSAMSChunk::noteObject(VekFile& f) {
  if (objectIndex < 0 || objectIndex >= sizeOf(objectTable)) return false;
  objectTable[static_cast<std::size_t>(objectIndex)] = f.tell();
  return true;
}

bool VekSAMSChunk::writeSOBJChunk(VekFile& f, const VekGroupChunk* sobj) {
  if (sobj == nullptr || sobj->getTag() != Tag::SOBJ || sobj->getType() != ValueType::Group)
    return false;
  if (!noteObject(f) || !sobj->write(f)) return false;
  ++objectIndex;
  return true;
}

bool VekSAMSChunk::writeStartSOBJChunk(VekFile& f) {
  return noteObject(f) && f.startGroup(groupHeader(Tag::SOBJ));
}

bool VekSAMSChunk::writeEndSOBJChunk(VekFile& f) {
  if (!f.endGroup()) return false;
  ++objectIndex;
  return true;
}

bool VekSAMSChunk::writeEndSAMPChunk(VekFile& f) {
  if (!f.endGroup() || !rewriteTable(f, Tag::JOBJ, objectTable, jobjOffset)) return false;
  ++sampleIndex;
  return true;
}

// --- Ending the stream ---------------------------------------------------------------------------

bool VekSAMSChunk::writeEnd(VekFile& f) {
  bool written = true;
  for (unsigned __int64 i = 0; written && i < numChildren(); ++i) {
    const VekChunk* const child = getChild(i);
    written = child == nullptr || child->write(f);
  }
  const bool ended = f.endGroup();
  return written && ended && rewriteTable(f, Tag::TIMS, timeTable, timsOffset) &&
         rewriteTable(f, Tag::JSAM, jumpTable, jsamOffset);
}

}  // namespace Vek
