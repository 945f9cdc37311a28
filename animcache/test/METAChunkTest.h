// SPDX-License-Identifier: Apache-2.0
//
// A test of the metadata group: full of values that differ from its defaults, and as the payload
// that it has in a file then.

#ifndef VEK_TEST_META_CHUNK_TEST_H
#define VEK_TEST_META_CHUNK_TEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "ChunkTest.h"
#include "SceneImage.h"
#include "VekChunks.h"

namespace VekTest {

inline std::vector<std::string> childTags(const Vek::VekMETAChunk& meta) {
  std::vector<std::string> tags;
  for (unsigned int i = 0; i < meta.numChildren(); ++i) {
    tags.push_back(meta.getChild(i)->getHeader().tagStr());
  }
  return tags;
}

inline std::vector<std::string> objectNames(const Vek::VekMETAChunk& meta) {
  std::vector<std::string> names;
  for (const Vek::VekDOBJChunk* definition : meta.dobjs) names.push_back(definition->name);
  return names;
}

/// Every member but the objects is as in a new chunk.
inline void expectDefaults(const Vek::VekMETAChunk& meta) {
  EXPECT_EQ(meta.numSamples, 0);
  EXPECT_EQ(meta.firstTime, kInfinity);
  EXPECT_EQ(meta.lastTime, -kInfinity);
  EXPECT_EQ(meta.rate, 1.0F);
  EXPECT_EQ(meta.space, 1);
  EXPECT_EQ(meta.application, "");
  EXPECT_EQ(meta.sourceFile, "");
  EXPECT_EQ(meta.dateStamp, 0);
}

/// Sets every member to something else than its default.
inline void fill(Vek::VekMETAChunk& meta) {
  meta.numSamples = 3;
  meta.firstTime = 1.0F;
  meta.lastTime = 2.0F;
  meta.rate = 2.0F;
  meta.space = 0;
  meta.application = "maker";
  meta.sourceFile = "scene.src";
  meta.dateStamp = 1000000000;
  meta.addDOBJ("|a");
  meta.addDOBJ("|a|b");
}

/// A generic child.
inline Vek::VekLeafChunk<int>* pcnt(int value) {
  return new Vek::VekLeafChunk<int>(Vek::Tag::PCNT, 0, 0, {value});
}

/// The 72 bytes that every META has in a file.
inline ByteImage leastPayload(std::int64_t numSamples, std::int64_t space,
                              std::int64_t numObjects) {
  return ByteImage()
      .header("NSAM", 5, 8)
      .int64(numSamples)
      .header("SPAC", 5, 8)
      .int64(space)
      .header("NOBJ", 5, 8)
      .int64(numObjects);
}

/// The payload of what fill() makes.
inline ByteImage filledPayload() {
  return ByteImage()
      .header("WAPP", 2, 6)
      .raw(std::string("maker\0", 6))
      .header("SFIL", 2, 10)
      .raw(std::string("scene.src\0", 10))
      .header("DATE", 5, 8)
      .raw(std::string("\x00\xca\x9a\x3b\0\0\0\0", 8))
      .header("NSAM", 5, 8)
      .raw(std::string("\x03\0\0\0\0\0\0\0", 8))
      .header("FTIM", 4, 4)
      .raw(std::string("\0\0\x80\x3f", 4))
      .header("LTIM", 4, 4)
      .raw(std::string("\0\0\0\x40", 4))
      .header("RATE", 4, 4)
      .raw(std::string("\0\0\0\x40", 4))
      .header("SPAC", 5, 8)
      .raw(std::string("\0\0\0\0\0\0\0\0", 8))
      .header("NOBJ", 5, 8)
      .raw(std::string("\x02\0\0\0\0\0\0\0", 8))
      .header("DOBJ", 1, 19)
      .header("NAME", 2, 3)
      .raw(std::string("|a\0", 3))
      .header("DOBJ", 1, 21)
      .header("NAME", 2, 5)
      .raw(std::string("|a|b\0", 5));
}

class VekMETAChunkTest : public ChunkTest {
 protected:
  /// Reads the first chunk of an image.
  bool readInto(Vek::VekMETAChunk& meta, const ByteImage& image) {
    Vek::VekFile f(writeFile(image, "in.vek").c_str(), "r");
    Vek::VekHeader h;
    const bool ok = f.readHeader(h) && meta.read(h, f);
    m_position = f.tell();
    m_level = f.getLevel();
    return ok;
  }
  /// Reads a META with that payload.
  bool readPayload(Vek::VekMETAChunk& meta, const ByteImage& payload) {
    return readInto(meta, ByteImage().chunk("META", 1, payload));
  }

  std::int64_t m_position = -1;
  std::uint64_t m_level = 99;

 private:
  const TimeZone m_utc{"UTC"};
};

/// A metadata group whose hooks tests may call.
struct OpenMeta : public Vek::VekMETAChunk {
  using VekMETAChunk::printChildren;
  using VekMETAChunk::readChild;
  using VekMETAChunk::writeChildren;
};

}  // namespace VekTest

#endif
