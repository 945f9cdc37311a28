// SPDX-License-Identifier: Apache-2.0
//
// Files whose samples share their data or leave out objects: what a save, which gives every sample
// its own, may make of them.

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "ByteImage.h"
#include "SceneImage.h"
#include "VekCache.h"

namespace {

using namespace VekTest;

/// A file of `samples` entries for one and the same sample; of its `objects`, `stored` stand in its
/// table, as one and the same data of `values` floats.
ByteImage sharedImage(std::size_t samples, std::size_t objects, std::size_t stored,
                      std::size_t values) {
  Head head;
  head.numSamples = static_cast<std::int64_t>(samples);
  head.lastTime = static_cast<float>(samples - 1);
  head.definitions.assign(objects, definition("|o"));
  ByteImage image = headImage(head);
  const auto sampleAt = static_cast<std::int64_t>(image.size() + 32 + 8 * samples);
  const auto objectAt = sampleAt + 32 + 8 * static_cast<std::int64_t>(stored);
  const auto table = [](std::size_t count, std::int64_t offset) {
    return offsets(std::vector<std::int64_t>(count, offset));
  };
  ByteImage sample = ByteImage().chunk("JOBJ", 5, table(stored, objectAt));
  sample.raw(group("SOBJ", floatChunk("POSI", std::vector<float>(values))));
  ByteImage section = ByteImage().chunk("JSAM", 5, table(samples, sampleAt));
  return image.raw(group("SAMS", section.raw(group("SAMP", sample))));
}

class VekSharedSamplesTest : public FileTest {
 protected:
  bool saves(const ByteImage& image) {
    Vek::VekRwMemCache cache;
    EXPECT_TRUE(cache.load(writeFile(image).c_str()));
    return cache.saveAs(path("saved.vek").c_str());
  }
};

TEST_F(VekSharedSamplesTest, samplesThatShareALittleAreSavedApart) {
  ASSERT_TRUE(saves(sharedImage(20, 3, 3, 100)));
  Vek::VekRoMemCache saved(path("saved.vek").c_str());
  EXPECT_EQ(saved.getNumSamples(), 20);
  ASSERT_NE(saved.getSample(19, 2), nullptr);
  EXPECT_EQ(saved.getNumVertices(19, 2), 33);
}

TEST_F(VekSharedSamplesTest, samplesThatShareALotAreNotSaved) {
  EXPECT_FALSE(saves(sharedImage(2000, 1, 1, 16384)));
  EXPECT_FALSE(Vek::VekFile::exists(path("saved.vek").c_str()));
}

TEST_F(VekSharedSamplesTest, objectsThatShareALotAreNotSaved) {
  EXPECT_FALSE(saves(sharedImage(1, 2000, 2000, 16384)));
}

TEST_F(VekSharedSamplesTest, samplesThatLeaveOutSomeObjectsAreSaved) {
  EXPECT_TRUE(saves(sharedImage(100, 100, 1, 1)));
}

TEST_F(VekSharedSamplesTest, samplesThatLeaveOutMillionsOfObjectsAreNotSaved) {
  EXPECT_FALSE(saves(sharedImage(2000, 2000, 1, 1)));
}

TEST_F(VekSharedSamplesTest, sampleIsNotInsertedAmongSamplesThatShareALot) {
  Vek::VekRwMemCache cache;
  ASSERT_TRUE(cache.load(writeFile(sharedImage(2000, 1, 1, 16384)).c_str()));
  EXPECT_EQ(cache.allocSample(0.5F, 0), nullptr);
  EXPECT_EQ(cache.getNumSamples(), 2000);
}

}  // namespace
