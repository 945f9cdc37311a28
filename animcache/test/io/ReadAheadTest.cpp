// SPDX-License-Identifier: Apache-2.0
//
// How many calls of the system it takes to read objects: few on a walk through the file, which is
// read ahead, and no more than three for an object anywhere.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "IoFaults.h"
#include "SceneImage.h"
#include "VekCache.h"

namespace {

using namespace VekTest;
using Vek::VekRoMemCache;

class ReadAheadTest : public FileTest {
 protected:
  /// Writes and loads a file of samples of objects of two chunks, by default of 144 bytes.
  void load(int numSamples, int numObjects, int maxSamples = 4, std::size_t numValues = 16) {
    Head head;
    head.numSamples = numSamples;
    head.lastTime = static_cast<float>(numSamples - 1);
    Stream stream;
    const std::vector<float> values(numValues, 1.0F);
    const ByteImage sobj = join({floatChunk("MTRX", values), floatChunk("BBOX", {1, 2, 3, 4})});
    const auto count = static_cast<std::size_t>(numObjects);
    head.definitions.assign(count, definition("|a"));
    stream.objects.assign(static_cast<std::size_t>(numSamples),
                          std::vector<ByteImage>(count, sobj));
    ByteImage image = headImage(head);
    addStream(image, stream);
    ASSERT_TRUE(m_cache.load(writeFile(image).c_str(), true, maxSamples));
  }
  void fetch(int sample, int obj) {
    m_calls.during([&] { ASSERT_NE(m_cache.getSample(sample, obj), nullptr); });
  }
  std::size_t numCalls() const { return m_calls.numCalls(); }
  int random(int end) {
    m_random = m_random * 1664525U + 1013904223U;
    return static_cast<int>((m_random >> 8U) % static_cast<unsigned int>(end));
  }

 private:
  VekRoMemCache m_cache;
  IoFault m_calls;
  unsigned int m_random = 1;
};

// 6 MB in pieces of 256 KiB.
TEST_F(ReadAheadTest, walkTakesFewCalls) {
  load(100, 400);
  for (int sample = 0; sample < 100; ++sample) {
    for (int obj = 0; obj < 400; ++obj) fetch(sample, obj);
  }
  EXPECT_LE(numCalls(), 40U);
}

TEST_F(ReadAheadTest, walkThatLeavesOutObjectsTakesFewCalls) {
  for (const int step : {2, 5}) {
    load(100, 400);
    const std::size_t before = numCalls();
    for (int sample = 0; sample < 100; ++sample) {
      for (int obj = 0; obj < 400; obj += step) fetch(sample, obj);
    }
    EXPECT_LE(numCalls() - before, 40U) << step;
  }
}

// As a blend does: four samples object by object, then the next four.
TEST_F(ReadAheadTest, walksThroughFourSamplesSideBySideTakeFewCalls) {
  load(40, 2000);
  for (int first = 0; first < 40; first += 4) {
    for (int obj = 0; obj < 2000; ++obj) {
      for (int sample = first; sample < first + 4; ++sample) fetch(sample, obj);
    }
  }
  // 40 samples of 300 KB in pieces that grow from little.
  EXPECT_LE(numCalls(), 40 * 10U);
}

// The table of objects is too long to be read for one of them.
TEST_F(ReadAheadTest, objectAnywhereTakesThreeCallsAtMost) {
  load(50, 2000, 1);
  for (int i = 0; i < 1000; ++i) {
    const std::size_t before = numCalls();
    fetch(random(50), random(2000));
    EXPECT_LE(numCalls() - before, 3U) << i;
  }
}

// It comes whole, since the offset of the next one tells its size.
TEST_F(ReadAheadTest, objectOfASampleWhoseTableIsKnownTakesOneCall) {
  load(2, 600, 1, 5000);
  for (const int sample : {0, 1, 0, 1}) fetch(sample, 0);
  for (int i = 0; i < 200; ++i) {
    const std::size_t before = numCalls();
    fetch(i % 2, random(600));
    EXPECT_LE(numCalls() - before, 1U) << i;
  }
}

// The first object stands with its sample's header and table in what is read first.
TEST_F(ReadAheadTest, firstObjectOfAnySampleTakesOneCall) {
  for (const int numObjects : {1, 50, 400}) {
    load(200, numObjects, 1);
    const std::size_t before = numCalls();
    for (int i = 0; i < 500; ++i) fetch(random(200), 0);
    EXPECT_LE(numCalls() - before, 500U) << numObjects;
  }
}

}  // namespace
