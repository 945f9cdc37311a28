// SPDX-License-Identifier: Apache-2.0
//
// The text dump of a file: one chunk a line, in file order.

#include <iostream>
#include <memory>

#include "VekDefaultFormat.h"
#include "VekIndent.h"
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

void printNumber(unsigned int tag, Counters& counters) {
  if (tag == Tag::SAMP) {
    std::cout << "#" << counters.samples++;
    counters.objects = 0;
  } else if (tag == Tag::SOBJ) {
    std::cout << "#" << counters.objects++;
  } else if (tag == Tag::DOBJ) {
    std::cout << "#" << counters.objects++;
    counters.definitions = counters.objects;
  }
}

int dumpLeaf(const std::string& filename, const VekHeader& h, VekFile& file, int depth) {
  const std::unique_ptr<VekChunk> chunk(VekChunk::create(h.tag, h.type));
  if (!chunk) return toolError(tool, "Unrecognized chunk type");
  if (!chunk->read(h, file)) return toolError(tool, filename + ": error reading leaf chunk");
  chunk->print(std::cout, depth);
  return 0;
}

int dumpChunks(const std::string& filename, VekFile& file, Counters& counters) {
  VekHeader h;
  // The depth is that of the header's own position, before the header opens a group.
  for (auto depth = static_cast<int>(file.getLevel()); file.readHeader(h);
       depth = static_cast<int>(file.getLevel())) {
    if (h.type == ValueType::Group || h.length == 0) {
      h.print(printIndent(std::cout, depth)) << " : ";
      printNumber(h.tag, counters);
    } else if (dumpLeaf(filename, h, file, depth) != 0) {
      return -1;
    }
    std::cout << "\n";
  }
  return 0;
}

int dumpFile(const std::string& filename) {
  if (!VekFile::isVekFile(filename.c_str()))
    return toolError(tool, filename + ": is not a valid VEK file");
  VekFile file;
  if (!file.open(filename.c_str(), "r")) return toolError(tool, filename + ": could not open file");
  Counters counters;
  const DefaultFormat format(std::cout);
  if (dumpChunks(filename, file, counters) != 0) return -1;
  std::cout.flush();
  if (!file.close()) return toolError(tool, filename + ": error closing file");
  if (counters.definitions != counters.objects)
    return toolError(tool, "Number of SOBJ not match number of DOBJ");
  return 0;
}

}  // namespace

}  // namespace Vek

int vek2txt(const char* filename) {
  return Vek::dumpFile(filename != nullptr ? filename : "");
}
