// SPDX-License-Identifier: Apache-2.0
//
// Compares two files: both are dumped as text, without their creation times, and the system's diff
// compares the dumps.

#include <fstream>
#include <iostream>
#include <locale>

#include "VekGuarded.h"
#include "VekPlatform.h"
#include "vekChunkDump.h"
#include "vekUtils.h"

namespace Vek {

namespace {

constexpr const char* tool = "vekdiff";

int dumpTo(const std::string& path, const std::string& filename, VekFile& file) {
  if (VekFile::exists(path.c_str())) Platform::removeDumps({path});
  std::ofstream os(path);
  os.imbue(std::locale::classic());
  ChunkDump dump = {tool, filename, file, os};
  const auto printHeader = [&](const VekHeader& h, int) { h.print(os); };
  const auto printLeaf = [&](const VekHeader& h, int) {
    if (h.tag != Tag::DATE) return dumpLeaf(dump, h, 0);
    os << "DATE skipped";
    return file.skipData(h) ? 0 : toolError(tool, filename + ": error reading leaf chunk");
  };
  if (os && dumpChunks(dump, printHeader, printLeaf) != 0) return -1;
  os.close();
  return os ? 0 : toolError(tool, path + ": could not write file");
}

int dumpFile(const std::string& path, const std::string& filename) {
  VekFile file;
  if (!file.open(filename.c_str(), "r")) return toolError(tool, filename + ": could not open file");
  if (dumpTo(path, filename, file) != 0) return -1;
  return file.close() ? 0 : toolError(tool, filename + ": error closing file");
}

int compareFiles(const std::string& file1, const std::string& file2, const std::string& options) {
  // The line names the first file in both cases; scripts read it so.
  if (!VekFile::isVekFile(file1.c_str()) || !VekFile::isVekFile(file2.c_str()))
    return toolError(tool, file1 + ": is not a valid VEK file");
  const std::string firstDump = Platform::dumpFolder() + "vek___diff___1.txt";
  const std::string secondDump = Platform::dumpFolder() + "vek___diff___2.txt";
  if (dumpFile(firstDump, file1) != 0 || dumpFile(secondDump, file2) != 0) return -1;
  std::cout.flush();  // What diff prints comes after it.
  const int result = Platform::runDiff(options, firstDump, secondDump);
  Platform::removeDumps({firstDump, secondDump});
  return result;
}

std::string textOf(const char* text) {
  return text != nullptr ? text : "";
}

}  // namespace

}  // namespace Vek

int vekdiff(const char* file1, const char* file2, const char* options) {
  return Vek::guarded(-1, [&] {
    return Vek::compareFiles(Vek::textOf(file1), Vek::textOf(file2), Vek::textOf(options));
  });
}
