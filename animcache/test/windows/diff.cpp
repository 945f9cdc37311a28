// SPDX-License-Identifier: Apache-2.0
//
// Stands in for the diff program where there is none: prints what it was called with and both
// texts, and compares them.

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

namespace {

std::string readText(const char* path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  for (int i = 1; i < argc - 2; ++i) std::cout << "option <" << argv[i] << ">\n";
  const std::string one = readText(argv[argc - 2]);
  const std::string two = readText(argv[argc - 1]);
  std::cout << one << "---\n" << two;
  return one == two ? 0 : 1;
}
