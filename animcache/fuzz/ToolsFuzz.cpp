// SPDX-License-Identifier: Apache-2.0
//
// Fuzz entry point of the tools that print a file. What they print stays in proportion to the
// file's size.

#include "FuzzInput.h"
#include "VekCache.h"
#include "vekUtils.h"

using namespace VekFuzz;

namespace {

// The most that a chunk can print: a header without payload at the deepest nesting, which is
// indented by two characters for each group, and its names.
constexpr std::size_t mostPerByte = (2 * Vek::maxGroupNesting + 128) / sizeof(Vek::VekHeader);
constexpr std::size_t mostInAnyCase = 4096;

void runInfo(const char* path) {
  const SilentStreams silent;
  const int result = vekinfo(path);
  check(result == 0 || result == -1, "vekinfo answers 0 or -1");
  check(silent.printed() > 0, "vekinfo says something");
}

void runText(const char* path, std::size_t size) {
  const SilentStreams silent;
  const int result = vek2txt(path);
  check(result == 0 || result == -1, "vek2txt answers 0 or -1");
  check(silent.printed() <= mostInAnyCase + mostPerByte * size,
        "vek2txt prints in proportion to the file");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFile file("in");
  const int choice = Choices(data, size).below(4);
  file.setInput(data, size);
  if (choice != 1) runInfo(file.path());
  if (choice != 2) runText(file.path(), size);
  return 0;
}
