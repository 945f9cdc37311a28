// SPDX-License-Identifier: Apache-2.0
//
// A test of chunk objects: written to a file, read from one, and printed.

#ifndef VEK_TEST_CHUNK_TEST_H
#define VEK_TEST_CHUNK_TEST_H

#include <sstream>
#include <string>

#include "ByteImage.h"
#include "VekChunks.h"

namespace VekTest {

class ChunkTest : public FileTest {
 protected:
  void TearDown() override {
    Vek::verbosity = -1;
    FileTest::TearDown();
  }
  /// The bytes that a chunk writes.
  std::string written(const Vek::VekChunk& chunk) {
    Vek::VekFile f(path("out.vek").c_str(), "w");
    EXPECT_TRUE(chunk.write(f));
    EXPECT_EQ(f.getLevel(), 0U);
    EXPECT_TRUE(f.close());
    return readFile(path("out.vek"));
  }
  bool readInto(Vek::VekChunk& chunk, const ByteImage& image) {
    Vek::VekFile f(writeFile(image, "in.vek").c_str(), "r");
    Vek::VekHeader h;
    return f.readHeader(h) && chunk.read(h, f);
  }
  static std::string printed(const Vek::VekChunk& chunk, int indent = 0) {
    std::ostringstream os;
    chunk.print(os, indent);
    return os.str();
  }
};

}  // namespace VekTest

#endif
