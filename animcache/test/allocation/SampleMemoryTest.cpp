// SPDX-License-Identifier: Apache-2.0
//
// The memory of the samples that a cache holds: how it is taken, used again for the next sample,
// and given up.

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "AllocationFaults.h"
#include "ByteImage.h"
#include "SceneImage.h"
#include "VekCache.h"

namespace {

using namespace VekTest;
using Vek::asLeaf;
using Vek::VekGroupChunk;
using Vek::VekRoMemCache;
namespace Tag = Vek::Tag;

/// What each object's SOBJ holds in each sample.
using Payload = std::function<ByteImage(int sample, int obj)>;

float valueOf(int sample, int obj, int i) {
  return static_cast<float>(1000 * sample + 10 * obj + i);
}

std::vector<float> valuesOf(int sample, int obj, int count) {
  std::vector<float> values;
  for (int i = 0; i < count; ++i) values.push_back(valueOf(sample, obj, i));
  return values;
}

ByteImage positions(int sample, int obj) {
  return floatChunk("POSI", valuesOf(sample, obj, 6));
}

/// One of seven shapes, so that what is read over another sample seldom fits.
ByteImage changingShape(int sample, int obj) {
  const ByteImage posi = positions(sample, obj);
  switch ((3 * sample + obj) % 7) {
    case 0:
      return posi;
    case 1:
      return ByteImage();
    case 2:
      return join({posi, floatChunk("VELO", valuesOf(sample, obj, 40))});
    case 3:
      return join({group("ATRS", join({posi, int64Chunk("ATTR", 7)})), posi});
    case 4:
      return textChunk("POSI", {"not", "numbers"});
    case 5:
      return join({int64Chunk("POSI", sample), group("ATRS", ByteImage()), posi});
    default:
      return group("POSI", group("ATRS", group("ATRS", posi)));
  }
}

class SampleMemoryTest : public FileTest {
 protected:
  void writeScene(int numSamples, int numObjects, const Payload& payload) {
    Head head;
    head.numSamples = numSamples;
    head.lastTime = static_cast<float>(numSamples - 1);
    head.definitions.assign(static_cast<std::size_t>(numObjects), definition("|o"));
    ByteImage file = headImage(head);
    Stream stream;
    for (int sample = 0; sample < numSamples; ++sample) {
      stream.objects.emplace_back();
      for (int obj = 0; obj < numObjects; ++obj)
        stream.objects.back().push_back(payload(sample, obj));
    }
    m_layout = addStream(file, stream);
    m_file = writeFile(file);
  }

  static void readSample(VekRoMemCache& cache, int sample) {
    for (int obj = 0; obj < cache.getNumObjects(); ++obj)
      ASSERT_NE(cache.getSample(sample, obj), nullptr) << sample << " " << obj;
  }

  std::string m_file;
  StreamLayout m_layout;
};

/// Whether two trees hold the same chunks and values.
void expectSame(const Vek::VekChunk* found, const Vek::VekChunk* wanted) {
  ASSERT_EQ(found == nullptr, wanted == nullptr);
  if (wanted == nullptr) return;
  ASSERT_EQ(found->getTag(), wanted->getTag());
  ASSERT_EQ(found->getType(), wanted->getType());
  ASSERT_EQ(found->getHeader().length, wanted->getHeader().length);
  const auto* const group = dynamic_cast<const VekGroupChunk*>(wanted);
  if (group != nullptr) {
    const auto& other = dynamic_cast<const VekGroupChunk&>(*found);
    ASSERT_EQ(other.numChildren(), group->numChildren());
    for (std::size_t i = 0; i < group->numChildren(); ++i)
      expectSame(other.getChild(i), group->getChild(i));
  } else if (const auto* const floats = asLeaf<float>(wanted)) {
    ASSERT_EQ(asLeaf<float>(found)->data, floats->data);
  } else if (const auto* const texts = asLeaf<std::string>(wanted)) {
    ASSERT_EQ(asLeaf<std::string>(found)->data, texts->data);
  } else {
    ASSERT_EQ(asLeaf<std::int64_t>(found)->data, asLeaf<std::int64_t>(wanted)->data);
  }
}

// --- Taking --------------------------------------------------------------------------------------

TEST_F(SampleMemoryTest, chunksOfASampleTakeNoBlocksOfTheirOwn) {
  constexpr int numObjects = 500;
  writeScene(2, numObjects, positions);
  VekRoMemCache cache(m_file.c_str());
  readSample(cache, 0);
  const std::size_t before = numAllocations();
  readSample(cache, 1);
  // One for the values of each object; the rest is the table and the memory of the sample.
  EXPECT_GE(numAllocations() - before, static_cast<std::size_t>(numObjects));
  EXPECT_LE(numAllocations() - before, static_cast<std::size_t>(numObjects) + 60);
}

TEST_F(SampleMemoryTest, oneObjectOfThousandsTakesLittle) {
  writeScene(1, 5000, positions);
  VekRoMemCache cache(m_file.c_str());
  // The sample's table comes with the second object.
  cache.getSample(0, 0);
  cache.getSample(0, 1);
  const std::size_t before = numLiveBytes();
  cache.getSample(0, 4000);
  // What is read ahead, and one page of the table.
  EXPECT_LE(numLiveBytes() - before, 4096U + 2000U);
}

// --- Using again ---------------------------------------------------------------------------------

TEST_F(SampleMemoryTest, sampleIsReadIntoTheMemoryOfTheEvictedOne) {
  constexpr int numSamples = 30;
  constexpr int numObjects = 300;
  writeScene(numSamples, numObjects, positions);
  VekRoMemCache cache(m_file.c_str(), true, 3);
  for (int sample = 0; sample < 4; ++sample) readSample(cache, sample);
  const std::size_t before = numAllocations();
  for (int sample = 4; sample < numSamples; ++sample) readSample(cache, sample);
  EXPECT_LE(numAllocations() - before, 10U * (numSamples - 4));
}

TEST_F(SampleMemoryTest, samplesReadSideBySideAreReadIntoEvictedMemory) {
  constexpr int numSamples = 30;
  constexpr int numObjects = 300;
  writeScene(numSamples, numObjects, positions);
  VekRoMemCache cache(m_file.c_str(), true, 2);
  const auto readPair = [&](int sample) {
    for (int obj = 0; obj < numObjects; ++obj) {
      ASSERT_NE(cache.getSample(sample, obj), nullptr);
      ASSERT_NE(cache.getSample(sample + 1, obj), nullptr);
    }
  };
  for (int sample = 0; sample < 4; sample += 2) readPair(sample);
  const std::size_t before = numAllocations();
  for (int sample = 4; sample < numSamples; sample += 2) readPair(sample);
  // Noting which sample was used last takes none but for a new sample.
  EXPECT_LE(numAllocations() - before, 10U * (numSamples - 4));
}

TEST_F(SampleMemoryTest, dataAreThoseOfTheSampleWhateverWasReadBefore) {
  constexpr int numSamples = 20;
  constexpr int numObjects = 9;
  writeScene(numSamples, numObjects, changingShape);
  VekRoMemCache whole(m_file.c_str());
  for (const int limit : {1, 2, 3}) {
    VekRoMemCache cache(m_file.c_str(), true, limit);
    for (int step = 0; step < 60; ++step) {
      const int sample = (step * 7 + step / 5) % numSamples;
      for (int obj = 0; obj < numObjects; ++obj) {
        // Some objects are left out now and then.
        if ((step + obj) % 4 == 0) continue;
        expectSame(cache.getSample(sample, obj), whole.getSample(sample, obj));
        if (HasFatalFailure()) FAIL() << limit << " " << step << " " << obj;
      }
    }
  }
}

TEST_F(SampleMemoryTest, dataOfAnEvictedSampleAreNotTakenForTheNextOne) {
  writeScene(3, 2, positions);
  VekRoMemCache cache(m_file.c_str(), true, 1);
  readSample(cache, 0);
  const auto* const leaf = asLeaf<float>(cache.getSample(1, 1, Tag::POSI, nullptr));
  ASSERT_NE(leaf, nullptr);
  EXPECT_EQ(leaf->data, valuesOf(1, 1, 6));
  const auto* const other = asLeaf<float>(cache.getSample(1, 0, Tag::POSI, nullptr));
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(other->data, valuesOf(1, 0, 6));
}

// The objects of a sample have chunks of the same types as those before, under other tags, also of
// types that nobody knows. Both when they are taken from memory and when each of them is traced.
TEST_F(SampleMemoryTest, chunksOfOtherTagsAreNotTakenForThoseFromBefore) {
  writeScene(6, 2, [](int sample, int obj) {
    const bool even = sample % 2 == 0;
    return join({floatChunk(even ? "POSI" : "VELO", valuesOf(sample, obj, 3)),
                 ByteImage().chunk(even ? "ODDA" : "ODDB", 9, ByteImage().raw("abc")),
                 group(even ? "GRUA" : "GRUB", floatChunk("POSI", valuesOf(sample, obj, 2)))});
  });
  for (const int level : {-1, 5}) {
    VekRoMemCache cache(m_file.c_str(), true, 1);
    for (int sample = 0; sample < 6; ++sample) {
      std::ostringstream text;
      const Verbosity verbosity(level);
      captureStderr([&] {
        readSample(cache, sample);
        cache.getSample(sample, 1)->print(text, 0);
      });
      for (const char* const tag : {"POSI float (12)", "ODDA", "GRUA"})
        EXPECT_EQ(text.str().find(tag) != std::string::npos, sample % 2 == 0) << tag;
      for (const char* const tag : {"VELO float (12)", "ODDB", "GRUB"})
        EXPECT_EQ(text.str().find(tag) != std::string::npos, sample % 2 == 1) << tag;
    }
  }
}

// A second owner would destroy it again.
TEST_F(SampleMemoryTest, chunkThatTookThePlaceOfAnotherHasAnOwner) {
  writeScene(2, 1, [](int sample, int obj) {
    return floatChunk(sample == 0 ? "POSI" : "VELO", valuesOf(sample, obj, 3));
  });
  VekRoMemCache cache(m_file.c_str(), true, 1);
  readSample(cache, 0);
  const Vek::VekChunk* const child = cache.getSample(1, 0)->getChild(0);
  ASSERT_EQ(child->getTag(), Vek::makeTag('V', 'E', 'L', 'O'));
  VekGroupChunk other;
  other.addChild(const_cast<Vek::VekChunk*>(child));
  EXPECT_EQ(other.numChildren(), 0U);
}

/// Lets tests look at what is held.
class OpenTableCache : public VekRoMemCache {
 public:
  using VekRoMemCache::sampleSlot;
  using VekRoMemCache::sampleTable;
  using VekRoMemCache::VekRoMemCache;
};

TEST_F(SampleMemoryTest, tableShowsNothingOfTheSampleFromBefore) {
  writeScene(2, 3, positions);
  OpenTableCache cache(m_file.c_str(), true, 1);
  readSample(cache, 0);
  ASSERT_NE(cache.getSample(1, 0), nullptr);
  const auto& held = *cache.sampleTable.at(1);
  EXPECT_TRUE(held[0]);
  EXPECT_FALSE(held[1]);
  EXPECT_FALSE(held[2]);
  EXPECT_FALSE(cache.sampleSlot(1, 1));
  EXPECT_TRUE(cache.sampleSlot(1, 0));
}

// --- Giving up -----------------------------------------------------------------------------------

TEST_F(SampleMemoryTest, memoryDoesNotGrowWithSamplesOfChangingShape) {
  constexpr int numSamples = 14;
  writeScene(numSamples, 50, changingShape);
  VekRoMemCache cache(m_file.c_str(), true, 1);
  const auto readRound = [&] {
    for (int sample = 0; sample < numSamples; ++sample) readSample(cache, sample);
  };
  // Until what is read ahead has its size.
  for (int round = 0; round < 10; ++round) readRound();
  const std::size_t before = numLiveBytes();
  for (int round = 0; round < 50; ++round) readRound();
  EXPECT_LE(numLiveBytes(), before + 1000);
}

TEST_F(SampleMemoryTest, samplesThatAreNotFoundTakeNoMemoryForTheirObjects) {
  constexpr int numSamples = 2000;
  writeScene(numSamples, 1, [](int, int) { return ByteImage(); });
  std::string offsets;
  for (int i = 0; i < numSamples; ++i) offsets += ByteImage().int64(8).bytes();
  overwrite(m_file, static_cast<std::size_t>(m_layout.jsam) + 16, offsets);
  Vek::VekRwMemCache cache(m_file.c_str());
  ASSERT_EQ(cache.getNumSamples(), numSamples);
  const std::size_t before = numLiveBytes();
  EXPECT_FALSE(cache.saveAs(path("elsewhere.vek").c_str()));
  EXPECT_LE(numLiveBytes() - before, numSamples * 300U);
}

TEST_F(SampleMemoryTest, valuesKeepNoMoreMemoryThanTheyNeed) {
  writeScene(2, 1, [](int sample, int obj) {
    return floatChunk("POSI", valuesOf(sample, obj, sample == 0 ? 3000 : 6));
  });
  VekRoMemCache cache(m_file.c_str(), true, 1);
  readSample(cache, 0);
  const auto* const leaf = asLeaf<float>(cache.getSample(1, 0, Tag::POSI, nullptr));
  ASSERT_NE(leaf, nullptr);
  EXPECT_EQ(leaf->data, valuesOf(1, 0, 6));
  EXPECT_LE(leaf->data.capacity(), 6U);
}

TEST_F(SampleMemoryTest, objectsThatAreAskedForNoMoreAreGivenUp) {
  constexpr int numObjects = 200;
  // The first objects also fill what is read ahead.
  constexpr std::size_t numLeast = numObjects - 10;
  const auto large = [](int sample, int obj) {
    return floatChunk("POSI", valuesOf(sample, obj, 3000));
  };
  writeScene(4, numObjects, large);
  VekRoMemCache cache(m_file.c_str(), true, 1);
  readSample(cache, 0);
  const std::size_t all = numLiveBytes();
  cache.getSample(1, 0);
  cache.getSample(2, 0);
  EXPECT_LE(numLiveBytes() + numLeast * 12000, all);
}

TEST_F(SampleMemoryTest, objectThatCannotBeReadTakesNoMemoryByBeingAskedForAgain) {
  // Two chunks, the second of which says that it is longer than the file.
  writeScene(1, 2, [](int sample, int obj) {
    return join({positions(sample, obj), floatChunk("VELO", valuesOf(sample, obj, 4))});
  });
  const std::int64_t secondChunk = m_layout.objects[0][0] + 16 + 16 + 24;
  overwrite(m_file, static_cast<std::size_t>(secondChunk + 8), ByteImage().int64(1 << 30).bytes());
  VekRoMemCache cache(m_file.c_str());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(cache.getSample(0, 0), nullptr);
  const std::size_t before = numLiveBytes();
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(cache.getSample(0, 0), nullptr);
  EXPECT_EQ(numLiveBytes(), before);
  EXPECT_NE(cache.getSample(0, 1), nullptr);
}

TEST_F(SampleMemoryTest, whatAFailedReadReadIsNotKept) {
  constexpr int numObjects = 100;
  writeScene(2, numObjects, [](int sample, int obj) {
    return join({floatChunk("POSI", valuesOf(sample, obj, 3000)), positions(sample, obj)});
  });
  for (const std::int64_t object : m_layout.objects[1]) {
    const std::int64_t secondChunk = object + 16 + 16 + 12000;
    overwrite(m_file, static_cast<std::size_t>(secondChunk + 8),
              ByteImage().int64(1 << 30).bytes());
  }
  for (const int limit : {0, 1}) {
    VekRoMemCache cache(m_file.c_str(), true, limit);
    if (limit == 1) readSample(cache, 0);
    EXPECT_EQ(cache.getSample(1, 0), nullptr);
    EXPECT_EQ(cache.getSample(1, 1), nullptr);
    const std::size_t before = numLiveBytes();
    for (int obj = 0; obj < numObjects; ++obj) EXPECT_EQ(cache.getSample(1, obj), nullptr);
    // What is read ahead, and the pages of the table.
    EXPECT_LE(numLiveBytes(), before + 300000);
  }
}

TEST_F(SampleMemoryTest, memoryDoesNotGrowWithSamplesThatAreMissing) {
  writeScene(2, 300, positions);
  const auto secondEntry = static_cast<std::size_t>(m_layout.jsam + 16 + 8);
  overwrite(m_file, secondEntry, ByteImage().int64(-1).bytes());
  VekRoMemCache cache(m_file.c_str(), true, 1);
  const auto readRound = [&] {
    readSample(cache, 0);
    for (int obj = 0; obj < cache.getNumObjects(); ++obj)
      EXPECT_EQ(cache.getSample(1, obj), nullptr);
  };
  for (int round = 0; round < 10; ++round) readRound();
  const std::size_t before = numLiveBytes();
  for (int round = 0; round < 100; ++round) readRound();
  EXPECT_LE(numLiveBytes(), before + 1000);
}

TEST_F(SampleMemoryTest, memoryDoesNotGrowWithDataThatAreTakenOut) {
  class OpenSlots : public VekRoMemCache {
   public:
    using VekRoMemCache::sampleSlot;
    using VekRoMemCache::VekRoMemCache;
  };
  constexpr int numObjects = 100;
  writeScene(1, numObjects, positions);
  OpenSlots cache(m_file.c_str());
  const auto readRound = [&] {
    readSample(cache, 0);
    for (int obj = 0; obj < numObjects; ++obj) cache.sampleSlot(0, obj).reset();
  };
  for (int round = 0; round < 10; ++round) readRound();
  const std::size_t before = numLiveBytes();
  for (int round = 0; round < 100; ++round) readRound();
  EXPECT_LE(numLiveBytes(), before + 1000);
}

// Every object has many chunks in one sample, the first that it is read for, and few in the others.
TEST_F(SampleMemoryTest, memoryIsThatOfTheSamplesHeldWhateverTheFirstOnesTook) {
  constexpr int numSamples = 40;
  constexpr int numChunks = 1000;
  writeScene(numSamples, numSamples, [](int sample, int obj) {
    ByteImage chunks;
    for (int i = 0; i < (sample == obj ? numChunks : 1); ++i) chunks.raw(textChunk("NAME", {}));
    return chunks;
  });
  VekRoMemCache cache(m_file.c_str(), true, 1);
  const std::size_t before = numLiveBytes();
  for (int sample = 0; sample < numSamples; ++sample) {
    for (int obj = 0; obj <= sample; ++obj) ASSERT_NE(cache.getSample(sample, obj), nullptr);
  }
  // A chunk takes less than 100 bytes, and what is read ahead a megabyte.
  EXPECT_LE(numLiveBytes(), before + std::size_t(4) * numChunks * 100 + (1 << 20));
}

TEST_F(SampleMemoryTest, objectIsReadOnceItCanBeRead) {
  writeScene(1, 1, positions);
  const auto lengthAt = static_cast<std::size_t>(m_layout.objects[0][0] + 16 + 8);
  overwrite(m_file, lengthAt, ByteImage().int64(1 << 30).bytes());
  VekRoMemCache cache(m_file.c_str(), false);
  EXPECT_EQ(cache.getSample(0, 0), nullptr);
  overwrite(m_file, lengthAt, ByteImage().int64(24).bytes());
  const auto* const leaf = asLeaf<float>(cache.getSample(0, 0, Tag::POSI, nullptr));
  ASSERT_NE(leaf, nullptr);
  EXPECT_EQ(leaf->data, valuesOf(0, 0, 6));
}

TEST_F(SampleMemoryTest, childrenOfAnEditedSampleCanBeRemoved) {
  writeScene(2, 2, changingShape);
  const std::size_t before = numLiveBytes();
  {
    Vek::VekRwMemCache cache(m_file.c_str());
    for (int sample = 0; sample < 2; ++sample) {
      for (int obj = 0; obj < 2; ++obj) {
        VekGroupChunk* const sobj = cache.allocSample(static_cast<float>(sample), obj);
        ASSERT_NE(sobj, nullptr);
        sobj->removeChild(0);
        sobj->addChild(new Vek::VekLeafChunk<float>(Tag::POSI, {1.0F, 2.0F, 3.0F}));
      }
    }
  }
  EXPECT_EQ(numLiveBytes(), before);
}

}  // namespace
