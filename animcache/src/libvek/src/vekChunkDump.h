// SPDX-License-Identifier: Apache-2.0
//
// The walk over all chunks of a file that the tools print.

#ifndef VEK_CHUNK_DUMP_H
#define VEK_CHUNK_DUMP_H

#include <memory>
#include <ostream>
#include <string>

#include "VekChunks.h"
#include "vekToolError.h"

namespace Vek {

/// A file that a tool prints, and where it prints to.
struct ChunkDump {
  const char* tool;
  std::string filename;
  VekFile& file;
  std::ostream& os;
};

/// Reads and prints a leaf; 0, or -1 after an error line.
int dumpLeaf(ChunkDump& dump, const VekHeader& h, int depth);

/// What readHeader() finding nothing more means: 0 at the end of the file, or -1 after an error
/// line where a whole header stands at the offset and was refused.
int endOfChunks(ChunkDump& dump, __int64 offset);

/// Prints a line for every chunk in file order: `printHeader(h, depth)` for a group, whose children
/// follow, and for a chunk without payload, `printLeaf(h, depth)`, which returns 0 or -1, for the
/// others.
template <typename PrintHeader, typename PrintLeaf>
int dumpChunks(ChunkDump& dump, PrintHeader printHeader, PrintLeaf printLeaf) {
  for (;;) {
    // The depth is that of the header's own position, before the header opens a group.
    const auto depth = static_cast<int>(dump.file.getLevel());
    const __int64 offset = dump.file.tell();
    VekHeader h;
    if (!dump.file.readHeader(h)) return endOfChunks(dump, offset);
    if (h.type == ValueType::Group || h.length == 0)
      printHeader(h, depth);
    else if (printLeaf(h, depth) != 0)
      return -1;
    dump.os << "\n";
  }
}

}  // namespace Vek

#endif
