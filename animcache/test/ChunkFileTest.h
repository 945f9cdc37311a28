// SPDX-License-Identifier: Apache-2.0
//
// A test of the chunk file: one file, read from an image or written anew, and headers for it.

#ifndef VEK_TEST_CHUNK_FILE_TEST_H
#define VEK_TEST_CHUNK_FILE_TEST_H

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <string>

#include "ByteImage.h"
#include "VekChunks.h"

namespace VekTest {

constexpr unsigned int tagDATA = Vek::makeTag('D', 'A', 'T', 'A');
constexpr unsigned int tagGRUP = Vek::makeTag('G', 'R', 'U', 'P');
constexpr __int64 largest = std::numeric_limits<__int64>::max();
constexpr __int64 smallest = std::numeric_limits<__int64>::min();

inline Vek::VekHeader leafHeader(unsigned char type, __int64 length) {
  return {tagDATA, type, length};
}
inline Vek::VekHeader groupHeader(__int64 length = 0) {
  return {tagGRUP, 1, length};
}

inline std::string fromBytes(const char* bytes, std::size_t count) {
  return {bytes, count};
}

class VekFileTest : public FileTest {
 protected:
  /// Opens a file of these bytes for reading.
  void read(const ByteImage& image) { ASSERT_TRUE(file.open(writeFile(image).c_str(), "r")); }
  /// Opens an empty file for writing.
  void write() { ASSERT_TRUE(file.open(path().c_str(), "w")); }
  /// Reads that many headers in a row; `header` is the last.
  bool readHeaders(int count) {
    for (int i = 0; i < count; ++i) {
      if (!file.readHeader(header)) return false;
    }
    return true;
  }
  /// Closes the file and gives its bytes.
  std::string written() {
    EXPECT_TRUE(file.close());
    return readFile(path());
  }

  Vek::VekFile file;
  Vek::VekHeader header;
};

}  // namespace VekTest

#endif
