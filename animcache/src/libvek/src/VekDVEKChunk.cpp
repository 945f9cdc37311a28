// SPDX-License-Identifier: Apache-2.0
//
// The file header chunk, which carries the format version.

#include <ostream>

#include "VekChunks.h"

namespace Vek {

namespace {

constexpr __int64 currentVersion = 2;
constexpr __int64 versionSize = sizeof(VekDVEKChunk::version);

}  // namespace

VekDVEKChunk::VekDVEKChunk() : VekDVEKChunk(currentVersion) {}

VekDVEKChunk::VekDVEKChunk(__int64 version_)
    : VekChunk(VekHeader(Tag::DVEK, ValueType::Int64, versionSize)), version(version_) {}

void VekDVEKChunk::reset() {
  version = currentVersion;
}

bool VekDVEKChunk::read(const VekHeader& h, VekFile& f) {
  if (h.tag != Tag::DVEK || h.type != ValueType::Int64 || h.length != versionSize) return false;
  header = h;
  return f.readData(h, &version);
}

bool VekDVEKChunk::write(VekFile& f) const {
  // The reserved byte is 0 in what leaves write, whatever was read.
  return f.writeChunk(
      VekHeader(header.tag, header.type, header.length, header.compound, header.dimension),
      &version);
}

std::ostream& VekDVEKChunk::print(std::ostream& os, int indent) const {
  return VekChunk::print(os, indent) << "version = " << version;
}

}  // namespace Vek
