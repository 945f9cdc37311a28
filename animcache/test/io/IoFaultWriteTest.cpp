// SPDX-License-Identifier: Apache-2.0
//
// Output that fails at any call: a failure result no later than the close, a cache that stays whole
// and usable, and the right bytes when it is done again. Writes that a signal interrupts are gone
// on with.

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "FaultScene.h"
#include "IoFaults.h"
#include "VekCache.h"
#include "vekUtils.h"

namespace {

using namespace Vek;
using namespace VekTest;

const std::vector<ObjectKind> kKinds = {ObjectKind::channels, ObjectKind::mesh};

using IoFaultWriteTest = FileTest;

// ---- Writing ------------------------------------------------------------------------------------

TEST_F(IoFaultWriteTest, streamIsWrittenRightOrReportedNoLaterThanTheClose) {
  const std::string file = path("stream.vek");
  const std::vector<std::string> texts = {"a text", "another"};
  ASSERT_TRUE(writeSamples(file.c_str(), texts));
  const std::string expected = readFile(file);
  const std::size_t calls = failEveryCall([&](IoFault& fault) {
    std::filesystem::remove(file);
    bool ok = false;
    fault.during([&] { ok = writeSamples(file.c_str(), texts); });
    EXPECT_TRUE(ok || (fault.wasHit() && !fault.canGoOn()));
    EXPECT_FALSE(ok && fault.lostData());
    if (!ok) {
      EXPECT_TRUE(writeSamples(file.c_str(), texts));
    }
    EXPECT_EQ(readFile(file), expected);
  });
  EXPECT_GE(calls, 3U);
}

TEST_F(IoFaultWriteTest, streamIsReopenedRightOrReported) {
  const std::string file = path("stream.vek");
  ASSERT_TRUE(writeSamples(file.c_str(), {"a text"}));
  const std::string original = readFile(file);
  ASSERT_TRUE(appendSample(file.c_str()));
  const std::string expected = readFile(file);
  failEveryCall([&](IoFault& fault) {
    writeFile(original, "stream.vek");
    bool ok = false;
    fault.during([&] { ok = appendSample(file.c_str()); });
    EXPECT_TRUE(ok || (fault.wasHit() && !fault.canGoOn()));
    EXPECT_FALSE(ok && fault.lostData());
    const std::string bytes = readFile(file);
    if (ok) {
      EXPECT_EQ(bytes, expected);
    } else {
      const std::size_t samples = original.find("SAMP");
      EXPECT_EQ(bytes.substr(samples, original.size() - samples), original.substr(samples));
    }
  });
}

// Every group's length is patched in place; a patch that fails must not go unnoticed.
TEST_F(IoFaultWriteTest, treeIsWrittenRightOrReported) {
  VekRwMemCache cache;
  buildScene(cache, {ObjectKind::mesh}, {});
  const std::string file = path("head.vek");
  const auto write = [&] {
    VekFile f;
    return f.open(file.c_str(), "w") && VekDVEKChunk().write(f) && cache.getMETAChunk().write(f) &&
           f.close();
  };
  ASSERT_TRUE(write());
  const std::string expected = readFile(file);
  failEveryCall([&](IoFault& fault) {
    std::filesystem::remove(file);
    bool ok = false;
    fault.during([&] { ok = write(); });
    EXPECT_TRUE(ok || (fault.wasHit() && !fault.canGoOn()));
    EXPECT_FALSE(ok && fault.lostData());
    if (ok) {
      EXPECT_EQ(readFile(file), expected);
    }
  });
}

TEST_F(IoFaultWriteTest, newSamplesAreNotLookedForInAFile) {
  VekRwMemCache cache;
  IoFault fault(1, IoMode::once);
  fault.during([&] {
    for (const float time : {1.0F, 2.0F, 3.0F, 2.0F}) {
      for (int obj = 0; obj < 3; ++obj) EXPECT_NE(cache.allocSample(time, obj), nullptr);
    }
    EXPECT_EQ(cache.getSample(0, 7), nullptr);
  });
  EXPECT_FALSE(fault.wasHit());
}

TEST_F(IoFaultWriteTest, testFileIsRightOrReported) {
  const CapturedOutput quiet;
  const std::string file = path("test.vek");
  ASSERT_EQ(vektest(file.c_str()), 0);
  const std::string expected = readFile(file);
  failEveryCall([&](IoFault& fault) {
    std::filesystem::remove(file);
    int result = 1;
    fault.during([&] { result = vektest(file.c_str()); });
    EXPECT_TRUE(result == 0 || (result == -1 && fault.wasHit() && !fault.canGoOn()));
    EXPECT_FALSE(result == 0 && fault.lostData());
    if (result == 0) {
      EXPECT_EQ(readFile(file), expected);
    }
  });
}

// ---- Saving -------------------------------------------------------------------------------------

struct Save {
  const char* name;
  std::vector<float> stored;  ///< times of the samples that are in the file; none for no file
  std::vector<float> added;   ///< times of the samples that are added
  bool renamed;               ///< whether object 0 gets another name
  bool elsewhere;             ///< under another name than that of the file
};

const Save kSaves[] = {{"first", {}, {0, 1, 2}, false, true},
                       {"append", {0, 1}, {2, 3}, false, false},
                       {"appendNonUniform", {0, 1, 5}, {7}, false, false},
                       {"rewrite", {0, 1}, {}, true, false},
                       {"elsewhere", {0, 1}, {2}, false, true}};

class IoFaultSaveTest : public FileTest, public ::testing::WithParamInterface<Save> {
 protected:
  std::string target() const { return path(GetParam().elsewhere ? "elsewhere.vek" : "file.vek"); }

  std::unique_ptr<VekRwMemCache> make() const {
    const Save& save = GetParam();
    std::filesystem::remove(target());
    std::filesystem::remove(path());
    auto cache = makeGrownCache(path(), kKinds, save.stored, save.added);
    if (save.renamed) cache->setName(0, "|a new name");
    return cache;
  }
};

TEST_P(IoFaultSaveTest, failedSaveLeavesTheCacheWholeAndSucceedsLater) {
  const CapturedOutput quiet;
  const std::string text = cacheText(*make());
  const std::string file = target();
  const std::size_t calls = failEveryCall([&](IoFault& fault) {
    const auto cache = make();
    const std::string original = readFile(path());
    bool ok = false;
    bool written = false;
    fault.during([&] { ok = cache->saveAs(file.c_str(), &written); });
    EXPECT_TRUE(ok || (fault.wasHit() && !fault.canGoOn()));
    EXPECT_EQ(ok, written);
    EXPECT_EQ(cache->isDirty(), !ok);
    if (ok) {
      EXPECT_EQ(fileText(file), text);
    }
    if (GetParam().elsewhere) {
      EXPECT_EQ(readFile(path()), original);
    }
    EXPECT_EQ(cacheText(*cache), text);
    EXPECT_TRUE(cache->saveAs(file.c_str()));
    EXPECT_EQ(fileText(file), text);
    EXPECT_EQ(cacheText(*cache), text);
  });
  EXPECT_GE(calls, 3U);
}

TEST_P(IoFaultSaveTest, failedSaveIsMadeGoodElsewhere) {
  const CapturedOutput quiet;
  const std::string text = cacheText(*make());
  const std::string file = target();
  const std::string third = path("third.vek");
  ASSERT_TRUE(make()->saveAs(third.c_str()));
  const std::string expected = withoutDate(readFile(third));
  failEveryCall([&](IoFault& fault) {
    const auto cache = make();
    bool ok = false;
    fault.during([&] { ok = cache->saveAs(file.c_str()); });
    std::filesystem::remove(third);
    EXPECT_TRUE(cache->saveAs(third.c_str()));
    EXPECT_EQ(withoutDate(readFile(third)), expected);
  });
}

TEST_P(IoFaultSaveTest, failedAppendChangesNoByteOfAnEarlierSample) {
  if (GetParam().stored.empty() || GetParam().added.empty()) return;
  const CapturedOutput quiet;
  ASSERT_TRUE(make()->append());
  const std::string expected = withoutDate(readFile(path()));
  failEveryCall([&](IoFault& fault) {
    const auto cache = make();
    const std::string original = readFile(path());
    bool ok = false;
    fault.during([&] { ok = cache->append(); });
    EXPECT_TRUE(ok || (fault.wasHit() && !fault.canGoOn()));
    EXPECT_FALSE(ok && fault.lostData());
    const std::string bytes = readFile(path());
    if (ok) {
      EXPECT_EQ(withoutDate(bytes), expected);
    }
    const std::size_t samples = original.find("SAMP");
    EXPECT_EQ(bytes.substr(samples, original.size() - samples), original.substr(samples));
  });
}

INSTANTIATE_TEST_SUITE_P(All, IoFaultSaveTest, ::testing::ValuesIn(kSaves),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
