// SPDX-License-Identifier: Apache-2.0
//
// Bounds the work on one variant of a file: the processor time that it may take, and the memory of
// the process. When the variant crashes the process or takes too long, a line says which it was.

#ifndef VEK_TEST_WATCH_H
#define VEK_TEST_WATCH_H

#include <cstddef>

namespace VekTest {

class Watch {
 public:
  /// Limits the memory of the process and takes over the signals of a crash.
  explicit Watch(std::size_t memoryLimit);
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch();

  /// Begins work that may take a few seconds of processor time. The text stays the caller's.
  void begin(const char* what);
  void end();

 private:
  std::size_t m_addressSpaceBefore;
};

}  // namespace VekTest

#endif
