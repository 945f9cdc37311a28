// SPDX-License-Identifier: Apache-2.0
//
// The text dump of a file: one chunk a line, in file order.

#include <ostream>

#include "VekGuarded.h"
#include "VekIndent.h"
#include "VekToolOutput.h"
#include "vekChunkDump.h"
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

int dumpFile(const std::string& filename) {
  if (!VekFile::isVekFile(filename.c_str()))
    return toolError(tool, filename + ": is not a valid VEK file");
  VekFile file;
  if (!file.open(filename.c_str(), "r")) return toolError(tool, filename + ": could not open file");
  ToolOutput output;
  std::ostream& os = output.stream();
  ChunkDump dump = {tool, filename, file, os};
  Counters counters;
  const auto printHeader = [&](const VekHeader& h, int depth) {
    h.print(printIndent(os, depth)) << " : ";
    printNumber(os, h.tag, counters);
  };
  const auto printLeaf = [&](const VekHeader& h, int depth) { return dumpLeaf(dump, h, depth); };
  if (dumpChunks(dump, printHeader, printLeaf) != 0) return -1;
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
