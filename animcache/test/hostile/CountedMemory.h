// SPDX-License-Identifier: Apache-2.0
//
// Counts what the program takes through operator new, which CountedMemory.cpp replaces, and keeps
// it below a limit.

#ifndef VEK_TEST_COUNTED_MEMORY_H
#define VEK_TEST_COUNTED_MEMORY_H

#include <cstddef>

namespace VekTest {

struct CountedMemory {
  /// Blocks that are alive, and their bytes.
  static std::size_t blocks();
  static std::size_t bytes();
  /// The most bytes that were alive since resetPeak().
  static std::size_t peak();
  static void resetPeak();
  /// Beyond so many bytes an allocation fails.
  static void setLimit(std::size_t bytes);
};

}  // namespace VekTest

#endif
