// SPDX-License-Identifier: Apache-2.0
//
// A test of the sample stream's writer: a stream written into a file, or one written by hand and
// appended to.

#ifndef VEK_TEST_SAMPLE_STREAM_TEST_H
#define VEK_TEST_SAMPLE_STREAM_TEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "SceneImage.h"
#include "VekChunks.h"

namespace VekTest {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

using Floats = std::vector<float>;
using Offsets = std::vector<__int64>;

inline std::string header(const char* tag, int type, std::int64_t length) {
  return ByteImage().header(tag, type, length).bytes();
}

class VekSAMSChunkTest : public FileTest {
 protected:
  void TearDown() override {
    Vek::verbosity = -1;
    FileTest::TearDown();
  }
  void create() { ASSERT_TRUE(f.open(path().c_str(), "w")); }
  /// Creates the file and begins a stream in it.
  bool startUniform(std::int64_t numSamples, std::int64_t reserve = 0) {
    create();
    return sams.writeStart(f, numSamples, reserve, false);
  }
  bool startWithTimes(std::int64_t numSamples, std::int64_t reserve = 0) {
    create();
    return sams.writeStart(f, numSamples, reserve, true);
  }
  void openForAppending(const ByteImage& image) {
    ASSERT_TRUE(f.open(writeFile(image).c_str(), "r+"));
  }
  /// Writes a sample of empty objects.
  bool writeSample(int numObjects, float time = 0) {
    bool ok = sams.writeStartSAMPChunk(f, numObjects, &time);
    for (int i = 0; i < numObjects; ++i) {
      ok = ok && sams.writeStartSOBJChunk(f) && sams.writeEndSOBJChunk(f);
    }
    return ok && sams.writeEndSAMPChunk(f);
  }
  /// Closes the file, whatever stands in it by now, and returns its bytes.
  std::string closedFile() {
    EXPECT_TRUE(f.close());
    return readFile(path());
  }
  /// The same at the end of the stream.
  std::string finishedFile() {
    EXPECT_TRUE(sams.writeEnd(f));
    return closedFile();
  }
  /// The stream is not begun, with times or without, and leaves no group open.
  void expectNoStart(std::int64_t numSamples, std::int64_t reserve) {
    for (const bool times : {false, true}) {
      SCOPED_TRACE(::testing::Message() << numSamples << " " << reserve << " " << times);
      create();
      sams.reset();
      EXPECT_FALSE(sams.writeStart(f, numSamples, reserve, times));
      EXPECT_EQ(f.getLevel(), 0U);
    }
  }
  /// The stream is not enlarged: of its bytes, only the length in its header becomes 0.
  void expectNoAppend(const ByteImage& children, std::int64_t numSamples, const std::string& name) {
    SCOPED_TRACE(name);
    sams.reset();
    openForAppending(group("SAMS", children));
    EXPECT_FALSE(sams.appendStart(f, numSamples));
    EXPECT_EQ(closedFile(), header("SAMS", 1, 0) + children.bytes());
  }

  Vek::VekFile f;
  Vek::VekSAMSChunk sams;
  const Vek::VekGroupChunk emptySOBJ{Vek::Tag::SOBJ};
};

/// The 56 bytes of a sample of one empty object, that stands at an offset.
inline ByteImage sampleAt(std::int64_t offset) {
  return ByteImage()
      .header("SAMP", 1, 40)
      .header("JOBJ", 5, 8)
      .int64(offset + 40)
      .header("SOBJ", 1, 0);
}

}  // namespace VekTest

#endif
