// SPDX-License-Identifier: Apache-2.0
//
// Objects that are read from memory as a whole, as they are when they were read ahead, against the
// same objects read chunk by chunk from the file, as they are when each of them is traced.

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "GoldenScenes.h"
#include "SceneImage.h"

namespace {

using namespace VekTest;
using Vek::asLeaf;
using Vek::VekGroupChunk;

const std::string kUnreadable = "unreadable";

/// What a cache says of an object in a sample, and where reading it leaves the file.
std::string describe(OpenCache& cache, int sample, int obj) {
  const std::unique_ptr<VekGroupChunk> sobj(cache.loadObjectSample(sample, obj));
  if (!sobj) return kUnreadable;
  std::ostringstream text;
  sobj->print(text, 0);
  text << "at " << cache.file.tell() << " in " << cache.file.getLevel() << " groups";
  return text.str();
}

std::string describeTraced(OpenCache& cache, int sample, int obj) {
  const Verbosity verbosity(5);
  std::string text;
  const std::string traces = captureStderr([&] { text = describe(cache, sample, obj); });
  const bool hasChildren = text.find("\n. ") != std::string::npos;
  EXPECT_TRUE(!hasChildren || traces.find("VekGroupChunk::readChild") != std::string::npos)
      << "not read chunk by chunk";
  return text;
}

class VekChunkImageTest : public FileTest {
 protected:
  /// Writes a file of one object in one sample.
  std::string writeObject(const ByteImage& sobj) {
    Head head;
    head.numSamples = 1;
    head.definitions = {definition("|a")};
    m_image = headImage(head);
    m_object = static_cast<std::size_t>(addStream(m_image, {{}, {{sobj}}}).objects[0][0]);
    return writeFile(m_image);
  }
  /// What both ways of reading say of the object, which is one and the same.
  std::string readBothWays(const std::string& bytes) {
    OpenCache cache;
    EXPECT_TRUE(cache.load(writeFile(bytes).c_str()));
    const std::string text = describe(cache, 0, 0);
    EXPECT_EQ(text, describeTraced(cache, 0, 0));
    return text;
  }
  std::string readBothWays(const ByteImage& sobj) {
    writeObject(sobj);
    return readBothWays(m_image.bytes());
  }

  ByteImage m_image;
  std::size_t m_object = 0;  ///< offset of the SOBJ's header
};

ByteImage everyKind() {
  return join({ByteImage().chunk("RAWB", 0, ByteImage().raw("abc")),
               textChunk("STRS", {"one", "", "three"}),
               ByteImage().chunk("CUTS", 2, ByteImage().raw("no end")),
               ByteImage().chunk("INTS", 3, ByteImage().int32(-1).int32(7)),
               ByteImage().chunk("POSI", 4, floats({0.5F, 1, 2}), 1, 3),
               int64Chunk("LONG", std::int64_t(1) << 40),
               ByteImage().chunk("MTRX", 6, ByteImage().float64(0.1), 4, 16),
               ByteImage().chunk("ODDT", 9, ByteImage().raw("12345")),
               ByteImage().header("NONE", 4, 0), group("NOGR", ByteImage()),
               group("ATRS", join({floatChunk("ATTR", {3}), group("GRUP", int64Chunk("DEEP", 8)),
                                   group("GRUP", {})}))});
}

TEST_F(VekChunkImageTest, everyKindOfChunkReadsTheSame) {
  const std::string text = readBothWays(everyKind());
  for (const char* const tag : {"RAWB", "STRS", "CUTS", "INTS", "POSI", "LONG", "MTRX", "ODDT",
                                "NONE", "NOGR", "ATRS", "ATTR", "GRUP", "DEEP"})
    EXPECT_NE(text.find(tag), std::string::npos) << tag;
  EXPECT_NE(text.find("no end"), std::string::npos);
}

TEST_F(VekChunkImageTest, emptyObjectReadsTheSame) {
  EXPECT_NE(readBothWays(ByteImage()).find("SOBJ"), std::string::npos);
}

TEST_F(VekChunkImageTest, recordedScenesReadTheSame) {
  int numRead = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VEK_GOLDEN_DIR)) {
    OpenCache cache;
    if (entry.path().extension() != ".vek" || !cache.load(entry.path().string().c_str())) continue;
    for (int sample = 0; sample < cache.getNumSamples(); ++sample) {
      for (int obj = 0; obj < cache.getNumObjects(); ++obj) {
        const std::string text = describe(cache, sample, obj);
        ASSERT_NE(text, kUnreadable) << entry.path();
        ASSERT_EQ(text, describeTraced(cache, sample, obj)) << entry.path();
        ++numRead;
      }
    }
  }
  EXPECT_GT(numRead, 100);
}

// Lengths, types and tags that are wrong in any way: both ways refuse the same files, and say the
// same of the others.
TEST_F(VekChunkImageTest, anyByteOverwrittenReadsTheSame) {
  writeObject(everyKind());
  int numRefused = 0;
  for (std::size_t at = m_object; at < m_image.size(); ++at) {
    for (const int byte : {0x00, 0x01, 0x03, 0x10, 0x7f, 0x80, 0xff}) {
      std::string bytes = m_image.bytes();
      bytes[at] = static_cast<char>(byte);
      if (readBothWays(bytes) == kUnreadable) ++numRefused;
      ASSERT_FALSE(HasFailure()) << "byte " << at - m_object << " is " << byte;
    }
  }
  EXPECT_GT(numRefused, 500);
}

TEST_F(VekChunkImageTest, fileCutOffAnywhereReadsTheSame) {
  writeObject(everyKind());
  for (std::size_t size = m_object; size < m_image.size(); ++size) {
    EXPECT_EQ(readBothWays(m_image.bytes().substr(0, size)), kUnreadable) << size;
  }
}

ByteImage nested(unsigned int depth) {
  ByteImage image = int64Chunk("DEEP", 1);
  for (unsigned int i = 0; i < depth; ++i) image = group("GRUP", image);
  return image;
}

TEST_F(VekChunkImageTest, groupsNestToTheSameDepth) {
  // The SOBJ is a group itself.
  EXPECT_NE(readBothWays(nested(Vek::maxGroupNesting - 1)), kUnreadable);
  EXPECT_EQ(readBothWays(nested(Vek::maxGroupNesting)), kUnreadable);
}

TEST_F(VekChunkImageTest, groupOfNoLengthMayStandAtTheGreatestDepth) {
  ByteImage image = group("NOGR", {});
  for (unsigned int i = 1; i < Vek::maxGroupNesting; ++i) image = group("GRUP", image);
  EXPECT_NE(readBothWays(image), kUnreadable);
}

// --- Where objects stand in what is read ahead ---------------------------------------------------

// Sizes around those from which payloads go straight to where they are wanted.
TEST_F(VekChunkImageTest, objectsOfAnySizeAreReadWhole) {
  for (const std::size_t count : {1000U, 16380U, 16384U, 16388U, 65500U, 65536U, 65600U, 200000U}) {
    std::vector<float> values;
    for (std::size_t i = 0; i < count; ++i) values.push_back(static_cast<float>(i % 8191));
    writeObject(join({floatChunk("POSI", values), floatChunk("VELO", {5})}));
    OpenCache cache;
    ASSERT_TRUE(cache.load(path().c_str()));
    const std::unique_ptr<VekGroupChunk> sobj(cache.loadObjectSample(0, 0));
    ASSERT_NE(sobj, nullptr) << count;
    ASSERT_EQ(sobj->numChildren(), 2U);
    const auto* const leaf = asLeaf<float>(sobj->getChild(0));
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(leaf->data, values);
    EXPECT_EQ(leaf->getHeader().length, static_cast<__int64>(4 * count));
    EXPECT_EQ(asLeaf<float>(sobj->getChild(1))->data, std::vector<float>{5});
  }
}

// The objects come to many times what is read ahead at once, so that some stand across its end.
TEST_F(VekChunkImageTest, objectsOnAWalkAreReadWhole) {
  constexpr int numObjects = 4000;
  const auto valuesOf = [](int obj) {
    const auto number = static_cast<unsigned int>(obj);
    return std::vector<float>(number * 7919U % 300U, static_cast<float>(obj));
  };
  Head head;
  head.numSamples = 1;
  Stream stream = {{}, {{}}};
  for (int obj = 0; obj < numObjects; ++obj) {
    head.definitions.push_back(definition("|a"));
    stream.objects[0].push_back(floatChunk("POSI", valuesOf(obj)));
  }
  ByteImage image = headImage(head);
  addStream(image, stream);
  OpenCache cache;
  ASSERT_TRUE(cache.load(writeFile(image).c_str()));
  for (int obj = 0; obj < numObjects; ++obj) {
    const std::unique_ptr<VekGroupChunk> sobj(cache.loadObjectSample(0, obj));
    ASSERT_NE(sobj, nullptr) << obj;
    ASSERT_EQ(sobj->numChildren(), 1U);
    ASSERT_EQ(asLeaf<float>(sobj->getChild(0))->data, valuesOf(obj)) << obj;
  }
}

}  // namespace
