// SPDX-License-Identifier: Apache-2.0
//
// A test of a read-write cache in memory, often of a file with two objects of one float each.

#ifndef VEK_TEST_RW_CACHE_TEST_H
#define VEK_TEST_RW_CACHE_TEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <vector>

#include "ByteImage.h"
#include "OpenRwCache.h"
#include "SceneImage.h"
#include "VekCache.h"

namespace VekTest {

/// A marker that tells where data came from: of object `obj` in stored sample `sample`.
inline float stored(int sample, int obj) {
  return static_cast<float>(100 + 10 * sample + obj);
}

/// A file of samples at these times with two objects, |a and |b, that hold one float each.
inline ByteImage sceneImage(const std::vector<float>& times, float rate,
                            StreamLayout* layout = nullptr) {
  Head head;
  head.numSamples = static_cast<std::int64_t>(times.size());
  head.firstTime = times.front();
  head.lastTime = times.back();
  head.rate = rate;
  head.definitions = {definition("|a"), definition("|b")};
  ByteImage image = headImage(head);
  Stream stream;
  if (rate == 0.0F) stream.times = times;
  for (int s = 0; s < static_cast<int>(times.size()); ++s) {
    stream.objects.push_back(
        {floatChunk("POSI", {stored(s, 0)}), floatChunk("POSI", {stored(s, 1)})});
  }
  const StreamLayout where = addStream(image, stream);
  if (layout != nullptr) *layout = where;
  return image;
}

/// Allocates object 0 at each of these times.
inline void allocAt(Vek::VekRwMemCache& cache, const std::vector<float>& times) {
  for (const float t : times) ASSERT_NE(nullptr, cache.allocSample(t, 0)) << "at " << t;
}

class VekRwMemCacheTest : public FileTest {
 protected:
  /// Loads samples 1, 2, 3 at rate 1.
  void loadUniform() { load(sceneImage({1, 2, 3}, 1.0F)); }
  /// Loads samples 1, 2, 3, 5.
  void loadNonUniform() { load(sceneImage({1, 2, 3, 5}, 0.0F)); }
  void load(const ByteImage& image) { load(image, cache); }
  void loadUniform(OpenRwCache& into) { load(sceneImage({1, 2, 3}, 1.0F), into); }
  void loadNonUniform(OpenRwCache& into) { load(sceneImage({1, 2, 3, 5}, 0.0F), into); }
  void load(const ByteImage& image, OpenRwCache& into) {
    ASSERT_TRUE(into.load(writeFile(image).c_str()));
    ASSERT_FALSE(into.isDirty());
  }
  void expectFlags(bool dirty, bool appendable) const { expectFlags(cache, dirty, appendable); }
  static void expectFlags(const OpenRwCache& c, bool dirty, bool appendable) {
    EXPECT_EQ(dirty, c.dirty);
    EXPECT_EQ(dirty, c.isDirty());
    EXPECT_EQ(appendable, c.appendable);
  }
  /// Cuts the file to nothing, so that whatever is still read from it is missing.
  void emptyTheFile() const { std::filesystem::resize_file(path(), 0); }

  OpenRwCache cache;
};

}  // namespace VekTest

#endif
