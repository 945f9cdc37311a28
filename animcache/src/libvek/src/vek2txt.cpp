// SPDX-License-Identifier: Apache-2.0
//
// The text dump of a file: one chunk a line, in file order.

#include <cstdio>
#include <memory>
#include <ostream>

#include "VekGuarded.h"
#include "VekIndent.h"
#include "VekToolOutput.h"
#include "vekToolError.h"
#include "vekUtils.h"

namespace Vek {

namespace {

constexpr const char* tool = "vek2txt";

/// Numbers the samples, and the objects within each sample or within the head.
struct Counters {
  __int64 samples = 0;
  __int64 objects = 0;
  __int64 definitions = 0;
};

void printNumber(std::ostream& os, unsigned int tag, Counters& counters) {
  if (tag == Tag::SAMP) {
    os << "#" << counters.samples++;
    counters.objects = 0;
  } else if (tag == Tag::SOBJ) {
    os << "#" << counters.objects++;
  } else if (tag == Tag::DOBJ) {
    os << "#" << counters.objects++;
    counters.definitions = counters.objects;
  }
}

int dumpLeaf(std::ostream& os, const std::string& filename, const VekHeader& h, VekFile& file,
             int depth) {
  const std::unique_ptr<VekChunk> chunk(VekChunk::create(h.tag, h.type));
  if (!chunk) return toolError(tool, "Unrecognized chunk type");
  if (!chunk->read(h, file)) return toolError(tool, filename + ": error reading leaf chunk");
  chunk->print(os, depth);
  return 0;
}

/// Whether a whole header stands at the offset: then it was damaged, not the end of the file.
bool hasHeaderAt(VekFile& file, __int64 offset) {
  return file.seek(0, SEEK_END, true) &&
         file.tell() - offset >= static_cast<__int64>(sizeof(VekHeader));
}

int dumpChunks(std::ostream& os, const std::string& filename, VekFile& file, Counters& counters) {
  for (;;) {
    // The depth is that of the header's own position, before the header opens a group.
    const auto depth = static_cast<int>(file.getLevel());
    const __int64 offset = file.tell();
    VekHeader h;
    if (!file.readHeader(h)) {
      if (!hasHeaderAt(file, offset)) return 0;
      return toolError(tool, filename + ": error reading leaf chunk");
    }
    if (h.type == ValueType::Group || h.length == 0) {
      h.print(printIndent(os, depth)) << " : ";
      printNumber(os, h.tag, counters);
    } else if (dumpLeaf(os, filename, h, file, depth) != 0) {
      return -1;
    }
    os << "\n";
  }
}

int dumpFile(const std::string& filename) {
  if (!VekFile::isVekFile(filename.c_str()))
    return toolError(tool, filename + ": is not a valid VEK file");
  VekFile file;
  if (!file.open(filename.c_str(), "r")) return toolError(tool, filename + ": could not open file");
  Counters counters;
  ToolOutput output;
  if (dumpChunks(output.stream(), filename, file, counters) != 0) return -1;
  if (!file.close()) return toolError(tool, filename + ": error closing file");
  if (counters.definitions != counters.objects)
    return toolError(tool, "Number of SOBJ not match number of DOBJ");
  return 0;
}

}  // namespace

}  // namespace Vek

int vek2txt(const char* filename) {
  return Vek::guarded(-1, [&] { return Vek::dumpFile(filename != nullptr ? filename : ""); });
}
