// SPDX-License-Identifier: Apache-2.0
//
// The walk over all chunks of a file that the tools print.

#include "vekChunkDump.h"

#include <cstdio>

namespace Vek {

int dumpLeaf(ChunkDump& dump, const VekHeader& h, int depth) {
  const std::unique_ptr<VekChunk> chunk(VekChunk::create(h.tag, h.type));
  if (!chunk) return toolError(dump.tool, "Unrecognized chunk type");
  if (!chunk->read(h, dump.file))
    return toolError(dump.tool, dump.filename + ": error reading leaf chunk");
  chunk->print(dump.os, depth);
  return 0;
}

int endOfChunks(ChunkDump& dump, __int64 offset) {
  constexpr __int64 headerSize = sizeof(VekHeader);
  const bool isDamaged =
      dump.file.seek(0, SEEK_END, false) && dump.file.tell() - offset >= headerSize;
  return isDamaged ? toolError(dump.tool, dump.filename + ": error reading leaf chunk") : 0;
}

}  // namespace Vek
