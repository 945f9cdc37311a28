// SPDX-License-Identifier: Apache-2.0
//
// fopen() for the whole program, the library included.

#include "OpenFault.h"

#include <dlfcn.h>

#include <cstdio>
#include <utility>

namespace {

int openingsLeft = 0;

std::string& otherFile() {
  static std::string path;
  return path;
}

}  // namespace

extern "C" std::FILE* fopen(const char* path, const char* mode) {
  using Open = std::FILE* (*)(const char*, const char*);
  static const auto real = reinterpret_cast<Open>(::dlsym(RTLD_NEXT, "fopen"));
  const bool isSwapped = openingsLeft > 0 && --openingsLeft == 0;
  return real(isSwapped ? otherFile().c_str() : path, mode);
}

namespace VekTest {

OpenFault::OpenFault(int n, std::string other) {
  openingsLeft = n;
  otherFile() = std::move(other);
}

OpenFault::~OpenFault() {
  openingsLeft = 0;
}

}  // namespace VekTest
