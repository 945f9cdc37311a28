// SPDX-License-Identifier: Apache-2.0
//
// Runs a fuzz entry point on given inputs, without a fuzzer: each file, and each file of each
// folder. The name of an input is printed before it runs, so that the last line names the one that
// ended the process. Every input has a time limit and, without sanitizers, so has memory.

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "FuzzInput.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VEK_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEK_SANITIZED
#endif

namespace {

constexpr unsigned secondsPerInput = 10;

void limitMemory() {
#ifndef VEK_SANITIZED
  constexpr rlim_t most = 1024UL * 1024 * 1024;
  rlimit limit = {};
  if (::getrlimit(RLIMIT_AS, &limit) != 0) return;
  limit.rlim_cur = std::min(most, limit.rlim_max);
  ::setrlimit(RLIMIT_AS, &limit);
#endif
}

std::vector<std::filesystem::path> findInputs(int count, char** names) {
  std::vector<std::filesystem::path> inputs;
  for (int i = 0; i < count; ++i) {
    if (!std::filesystem::is_directory(names[i])) {
      inputs.emplace_back(names[i]);
      continue;
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(names[i])) {
      if (entry.is_regular_file()) inputs.push_back(entry.path());
    }
  }
  std::sort(inputs.begin(), inputs.end());
  return inputs;
}

bool run(const std::filesystem::path& path) {
  std::printf("%s\n", path.c_str());
  std::fflush(stdout);
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
  if (!in) return false;
  ::alarm(secondsPerInput);
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  ::alarm(0);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  limitMemory();
  const auto inputs = findInputs(argc - 1, argv + 1);
  for (const auto& input : inputs) {
    if (!run(input)) {
      std::fprintf(stderr, "cannot read this input\n");
      return 1;
    }
  }
  std::printf("%zu inputs\n", inputs.size());
  return inputs.empty() ? 1 : 0;
}
