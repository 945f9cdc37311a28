// SPDX-License-Identifier: Apache-2.0
//
// The memory that a limited read-only memory cache takes: with a limit of k samples never more than
// k samples of all objects, however long the file is.
//
// The work runs in a child process whose address space is limited to what it has and the bytes
// allowed. AddressSanitizer reserves too much address space for that; with it the blocks that are
// alive are counted instead.

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "AddressSanitizer.h"
#include "ByteImage.h"
#include "SceneImage.h"
#include "VekCache.h"

#if defined(VEK_TEST_SANITIZED)
// Not every compiler brings the header that declares it.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*,
                                                                          std::size_t),
                                                         void (*onFree)(const volatile void*));
#else
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#if defined(__GLIBC__)
#include <malloc.h>
#endif
#endif

namespace {

using namespace VekTest;
using Vek::VekRoMemCache;
namespace Tag = Vek::Tag;

constexpr int kObjects = 2;
constexpr std::size_t kObjectBytes = std::size_t{2} << 20;
constexpr std::size_t kSampleBytes = kObjects * kObjectBytes;
constexpr int kLimit = 3;
/// Room for everything but the values: chunk objects, tables, buffers.
constexpr std::size_t kSlack = kSampleBytes / 2;
constexpr std::size_t kAllowed = kLimit * kSampleBytes + kSlack;

#if defined(VEK_TEST_SANITIZED)

/// The large blocks that are alive. The hooks must not allocate.
struct LiveBlocks {
  struct Block {
    const volatile void* place = nullptr;
    std::size_t size = 0;
  };
  static constexpr std::size_t large = std::size_t{64} << 10;

  void add(const volatile void* place, std::size_t size) {
    if (!counting || size < large) return;
    for (Block& b : blocks) {
      if (b.place != nullptr) continue;
      b = {place, size};
      bytes += size;
      peak = bytes > peak ? bytes : peak;
      return;
    }
    full = true;
  }
  void remove(const volatile void* place) {
    if (place == nullptr) return;
    for (Block& b : blocks) {
      if (b.place != place) continue;
      bytes -= b.size;
      b = {};
      return;
    }
  }

  bool counting = false;
  bool full = false;
  std::size_t bytes = 0;
  std::size_t peak = 0;
  std::array<Block, 1024> blocks;
};

LiveBlocks live;

bool succeedsWithin(std::size_t bytes, const std::function<bool()>& work) {
  static const bool installed =
      __sanitizer_install_malloc_and_free_hooks(
          [](const volatile void* p, std::size_t size) { live.add(p, size); },
          [](const volatile void* p) { live.remove(p); }) != 0;
  EXPECT_TRUE(installed);
  live = LiveBlocks();
  live.counting = true;
  const bool succeeded = work();
  live.counting = false;
  EXPECT_FALSE(live.full);
  return succeeded && live.peak <= bytes;
}

#else

/// The size of this process's address space; 0 when it is not known.
std::size_t addressSpace() {
  std::array<char, 128> text = {};
  const int file = ::open("/proc/self/statm", O_RDONLY);
  if (file < 0) return 0;
  const ssize_t n = ::read(file, text.data(), text.size() - 1);
  ::close(file);
  unsigned long pages = 0;
  if (n <= 0 || std::sscanf(text.data(), "%lu", &pages) != 1) return 0;
  return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

constexpr int kLargeBlock = 64 << 10;

/// Takes what other tests have left free in the process, so that the system must be asked for more.
void useUpFreeMemory() {
  using Block = std::unique_ptr<char[]>;
  static std::vector<Block> taken;
  const std::size_t before = addressSpace();
  while (before != 0 && addressSpace() == before) taken.emplace_back(new char[kLargeBlock]);
}

enum ChildStatus { succeeded = 0, failed = 1, notLimited = 2 };

/// Whether the work succeeds in a child process that can take no more than these bytes.
bool succeedsWithin(std::size_t bytes, const std::function<bool()>& work) {
  const pid_t child = ::fork();
  if (child == 0) {
#if defined(__GLIBC__)
    // Large blocks come from the system and go back to it at once: none is kept.
    ::mallopt(M_MMAP_THRESHOLD, kLargeBlock);
    ::mallopt(M_TRIM_THRESHOLD, kLargeBlock);
#endif
    useUpFreeMemory();
    const std::size_t before = addressSpace();
    const rlim_t most = before + bytes;
    const struct rlimit limit = {most, most};
    if (before == 0 || ::setrlimit(RLIMIT_AS, &limit) != 0) ::_exit(notLimited);
    ::_exit(work() ? succeeded : failed);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status)) << "the child was ended by a signal";
  if (!WIFEXITED(status)) return false;
  EXPECT_NE(WEXITSTATUS(status), notLimited);
  return WEXITSTATUS(status) == succeeded;
}

#endif

/// The first value of an object's points, which tells it from all others; the rest are zeros.
float marker(int sample, int obj) {
  return static_cast<float>(100 * obj + sample);
}

/// A file of samples 0, 1, 2, ... whose points take kSampleBytes in each; on most disks the zeros
/// take no room.
void writeLongFile(const std::string& path, int samples) {
  Head head;
  head.numSamples = samples;
  head.firstTime = 0.0F;
  head.lastTime = static_cast<float>(samples - 1);
  for (int obj = 0; obj < kObjects; ++obj) {
    head.definitions.push_back(definition("|o" + std::to_string(obj)));
  }
  constexpr auto points = static_cast<std::int64_t>(kObjectBytes);
  constexpr std::int64_t table = 16 + 8 * kObjects;
  constexpr std::int64_t object = 16 + 16 + points;
  constexpr std::int64_t sample = 16 + table + kObjects * object;
  const ByteImage front = headImage(head);
  const std::int64_t jumps = 16 + 8 * static_cast<std::int64_t>(samples);
  const std::int64_t first = static_cast<std::int64_t>(front.size()) + 16 + jumps;

  std::ofstream out(path, std::ios::binary);
  const auto put = [&](const ByteImage& image) {
    out.write(image.bytes().data(), static_cast<std::streamsize>(image.size()));
  };
  put(front);
  ByteImage sampleOffsets;
  for (int s = 0; s < samples; ++s) sampleOffsets.int64(first + s * sample);
  put(ByteImage().header("SAMS", 1, jumps + samples * sample).chunk("JSAM", 5, sampleOffsets));
  for (int s = 0; s < samples; ++s) {
    const std::int64_t at = first + s * sample;
    ByteImage objectOffsets;
    for (int obj = 0; obj < kObjects; ++obj) objectOffsets.int64(at + 16 + table + obj * object);
    out.seekp(at);
    put(ByteImage().header("SAMP", 1, sample - 16).chunk("JOBJ", 5, objectOffsets));
    for (int obj = 0; obj < kObjects; ++obj) {
      out.seekp(at + 16 + table + obj * object);
      put(ByteImage()
              .header("SOBJ", 1, object - 16)
              .header("POSI", 4, points, 1, 3)
              .float32(marker(s, obj)));
    }
  }
  out.close();
  std::filesystem::resize_file(path, static_cast<std::uintmax_t>(first + samples * sample));
}

bool isRight(const Vek::VekChunk* chunk, int sample, int obj) {
  const auto* points = Vek::asLeaf<float>(chunk);
  return points != nullptr && points->data.size() == kObjectBytes / 4 &&
         points->data[0] == marker(sample, obj);
}

/// Fetches every object of a sample, and makes sure that the answer is the right one.
bool readSample(VekRoMemCache& cache, int sample) {
  for (int obj = 0; obj < kObjects; ++obj) {
    if (!isRight(cache.getSample(sample, obj, Tag::POSI, nullptr), sample, obj)) return false;
  }
  return true;
}

bool readForward(VekRoMemCache& cache) {
  for (int s = 0; s < cache.getNumSamples(); ++s) {
    if (!readSample(cache, s)) return false;
  }
  return true;
}

class VekMemoryLimitTest : public FileTest {
 protected:
  /// A file ten times as long as what may be held, and longer.
  void SetUp() override {
    FileTest::SetUp();
    writeLongFile(path(), 10 * kLimit + 2);
  }
  /// Whether a cache of this file and limit does the work within the bytes.
  bool staysWithin(std::size_t bytes, int maxSamples, bool keepOpen,
                   const std::function<bool(VekRoMemCache&)>& work) {
    const std::string file = path();
    return succeedsWithin(bytes, [&] {
      bool ok = false;
      VekRoMemCache cache(file.c_str(), keepOpen, maxSamples, &ok);
      return ok && work(cache);
    });
  }
};

TEST_F(VekMemoryLimitTest, readingForwardTakesTheMemoryOfTheLimit) {
  EXPECT_TRUE(staysWithin(kAllowed, kLimit, true, readForward));
  EXPECT_TRUE(staysWithin(kAllowed, kLimit, false, readForward));
}

TEST_F(VekMemoryLimitTest, limitOfOneTakesTheMemoryOfOneSample) {
  EXPECT_TRUE(staysWithin(kSampleBytes + kSlack, 1, true, readForward));
}

// What the other tests stand on: the bound is a real one.
TEST_F(VekMemoryLimitTest, readingWithoutLimitTakesMore) {
  EXPECT_FALSE(staysWithin(kAllowed, 0, true, readForward));
}

TEST_F(VekMemoryLimitTest, oneSampleMoreTakesMore) {
  EXPECT_FALSE(staysWithin(kAllowed, kLimit + 1, true, readForward));
}

TEST_F(VekMemoryLimitTest, memoryDoesNotGrowWithTheFile) {
  writeLongFile(path(), 30 * kLimit);
  EXPECT_TRUE(staysWithin(kAllowed, kLimit, true, readForward));
}

TEST_F(VekMemoryLimitTest, readingInAnyOrderTakesTheMemoryOfTheLimit) {
  EXPECT_TRUE(staysWithin(kAllowed, kLimit, true, [](VekRoMemCache& cache) {
    const int samples = cache.getNumSamples();
    for (int s = samples - 1; s >= 0; --s) {
      if (!readSample(cache, s)) return false;
    }
    for (int i = 0; i < 2 * samples; ++i) {
      if (!readSample(cache, (i * 13) % samples)) return false;
    }
    return true;
  }));
}

TEST_F(VekMemoryLimitTest, readingObjectByObjectTakesTheMemoryOfTheLimit) {
  EXPECT_TRUE(staysWithin(kAllowed, kLimit, true, [](VekRoMemCache& cache) {
    for (int obj = 0; obj < kObjects; ++obj) {
      for (int s = 0; s < cache.getNumSamples(); ++s) {
        if (!isRight(cache.getObjectData(s, obj, Tag::POSI, nullptr), s, obj)) return false;
      }
    }
    return true;
  }));
}

TEST_F(VekMemoryLimitTest, everyGetterKeepsTheLimit) {
  EXPECT_TRUE(staysWithin(kAllowed, kLimit, true, [](VekRoMemCache& cache) {
    bool right = true;
    for (int s = 0; s + 5 <= cache.getNumSamples(); s += 5) {
      right = right && cache.getSample(s, 0) != nullptr;
      right = right && isRight(cache.getSample(s + 1, 1, Tag::POSI, nullptr), s + 1, 1);
      right = right && isRight(cache.getObjectData(s + 2, 0, Tag::POSI, nullptr), s + 2, 0);
      right = right && cache.getNumVertices(s + 3, 1) == static_cast<int>(kObjectBytes / 12);
      const auto time = static_cast<float>(s + 4);
      right = right && cache.getSampleDataAtTime<float>(time, 0, Tag::POSI, nullptr) != nullptr;
    }
    return right;
  }));
}

TEST_F(VekMemoryLimitTest, limitOfTheLoadIsKept) {
  const std::string file = path();
  EXPECT_TRUE(succeedsWithin(kAllowed, [&] {
    VekRoMemCache cache;
    return cache.load(file.c_str(), true, kLimit) && readForward(cache) &&
           cache.load(file.c_str(), true) && readForward(cache);
  }));
}

TEST_F(VekMemoryLimitTest, limitThatIsSetLaterIsKept) {
  EXPECT_TRUE(staysWithin(kAllowed, 0, true, [](VekRoMemCache& cache) {
    cache.setMaxSamples(kLimit);
    return readForward(cache);
  }));
}

TEST_F(VekMemoryLimitTest, loweringTheLimitFreesMemoryAtOnce) {
  EXPECT_TRUE(staysWithin(kAllowed, kLimit, true, [&](VekRoMemCache& cache) {
    if (!readForward(cache)) return false;
    cache.setMaxSamples(1);
    // Two samples are free again, which another cache can take.
    VekRoMemCache other(path().c_str(), true, kLimit - 1, nullptr);
    return readForward(other) && cache.getMaxSamples() == 1;
  }));
}

TEST_F(VekMemoryLimitTest, liftingTheLimitFreesWhatItHeld) {
  EXPECT_TRUE(staysWithin(kAllowed, kLimit, true, [&](VekRoMemCache& cache) {
    if (!readForward(cache)) return false;
    cache.setMaxSamples(0);
    VekRoMemCache other(path().c_str(), true, kLimit, nullptr);
    return readForward(other);
  }));
}

TEST_F(VekMemoryLimitTest, resetFreesEverything) {
  EXPECT_TRUE(staysWithin(kAllowed, kLimit, true, [&](VekRoMemCache& cache) {
    for (int round = 0; round < 3; ++round) {
      if (!readForward(cache)) return false;
      cache.reset();
      if (!cache.load(path().c_str(), true, kLimit)) return false;
    }
    return true;
  }));
}

#if !defined(VEK_TEST_SANITIZED)
// Memory that is short is a null result, and what is held stays as it is.
TEST_F(VekMemoryLimitTest, shortMemoryIsANullResult) {
  EXPECT_TRUE(staysWithin(kAllowed, 0, true, [](VekRoMemCache& cache) {
    int s = 0;
    while (s < cache.getNumSamples() && readSample(cache, s)) ++s;
    if (s < kLimit || s == cache.getNumSamples()) return false;
    if (cache.getSample(s, kObjects - 1) != nullptr) return false;
    for (int before = 0; before < s; ++before) {
      if (!readSample(cache, before)) return false;
    }
    return true;
  }));
}
#endif

}  // namespace
