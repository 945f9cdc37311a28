// SPDX-License-Identifier: Apache-2.0
//
// Memory that is short during a save: the cache stays whole and can be saved again, and the file is
// complete when the save says so.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "AllocationFaults.h"
#include "ByteImage.h"
#include "FaultScene.h"
#include "VekCache.h"

namespace {

using namespace Vek;
using namespace VekTest;

const std::vector<ObjectKind> kKinds = {ObjectKind::channels, ObjectKind::points};

/// A cache that is about to be saved.
struct Save {
  const char* name;
  std::vector<float> stored;  ///< times of the samples that are in the file; none for no file
  std::vector<float> added;   ///< times of the samples that are added
  const char* newName;        ///< the name that object 0 gets, null to keep its own
  bool elsewhere;             ///< under another name than that of the file
};

const Save kSaves[] = {
    {"first", {}, {0, 1, 2}, nullptr, true},
    {"firstNonUniform", {}, {0, 1, 5}, nullptr, true},
    {"append", {0, 1}, {2, 3}, nullptr, false},
    {"appendNonUniform", {0, 1, 5}, {7}, nullptr, false},
    {"rewrite", {0, 1}, {}, "|a new name that is longer than before", false},
    {"rewriteThatBecomesNonUniform", {0, 1}, {7}, nullptr, false},
    {"elsewhere", {0, 1}, {}, nullptr, true},
    {"elsewhereWithSamples", {0, 1}, {2}, nullptr, true},
    {"elsewhereWithEdits", {0, 1}, {2}, "|a new name that is longer than before", true},
};

class SaveAllocationFaultTest : public FileTest, public ::testing::WithParamInterface<Save> {
 protected:
  /// Where the save goes: a name that is too long to be kept without an allocation.
  std::string target() const {
    return path(GetParam().elsewhere ? "elsewhere_under_another_long_name.vek" : "file.vek");
  }

  /// The cache with its edits, and the files as they are before the save.
  std::unique_ptr<VekRwMemCache> make() const {
    const Save& save = GetParam();
    std::filesystem::remove(target());
    auto cache = makeGrownCache(path(), kKinds, save.stored, save.added);
    if (save.newName != nullptr) cache->setName(0, save.newName);
    return cache;
  }
};

TEST_P(SaveAllocationFaultTest, failedSaveLeavesTheCacheWholeAndSucceedsLater) {
  const CapturedOutput quiet;
  const std::string text = cacheText(*make());
  const std::string file = target();
  const auto saved = make();
  ASSERT_TRUE(saved->saveAs(file.c_str()));
  const std::string expected = withoutDate(readFile(file));
  ASSERT_EQ(fileText(file), text);
  failEveryAllocation([&](AllocationFault& fault) {
    const auto cache = make();
    const bool wasDirty = cache->isDirty();
    const std::string original = readFile(path());
    bool ok = false;
    bool written = false;
    bool removed = true;
    fault.during([&] { ok = cache->saveAs(file.c_str(), &written, &removed); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(ok || fault.wasHit());
    EXPECT_EQ(ok, written);
    EXPECT_FALSE(removed);
    if (ok) {
      EXPECT_FALSE(cache->isDirty());
      EXPECT_EQ(cache->getFilename(), file);
      EXPECT_EQ(fileText(file), text);  // An append that fails may have become a rewrite.
    } else {
      EXPECT_TRUE(cache->isDirty() || !wasDirty);
      EXPECT_EQ(cache->getFilename() == file, !GetParam().elsewhere);
    }
    if (GetParam().elsewhere && !GetParam().stored.empty()) {
      EXPECT_EQ(readFile(path()), original);
    }
    EXPECT_EQ(cacheText(*cache), text);
    if (ok) return;
    EXPECT_TRUE(cache->saveAs(file.c_str()));
    EXPECT_EQ(fileText(file), text);
    if (GetParam().elsewhere) {
      EXPECT_EQ(withoutDate(readFile(file)), expected);
    }
    EXPECT_EQ(cacheText(*cache), text);
  });
}

TEST_P(SaveAllocationFaultTest, cacheIsSavedElsewhereAfterAFailure) {
  const CapturedOutput quiet;
  const std::string text = cacheText(*make());
  const std::string file = target();
  const std::string third = path("third.vek");
  failEveryAllocation([&](AllocationFault& fault) {
    const auto cache = make();
    fault.during([&] { cache->saveAs(file.c_str()); });
    EXPECT_TRUE(cache->saveAs(third.c_str()));
    EXPECT_EQ(fileText(third), text);
  });
}

TEST_P(SaveAllocationFaultTest, cacheIsSavedInPlaceAfterAFailureElsewhere) {
  if (!GetParam().elsewhere || GetParam().stored.empty()) return;
  const CapturedOutput quiet;
  const std::string file = target();
  ASSERT_TRUE(make()->save());
  const std::string expected = withoutDate(readFile(path()));
  failEveryAllocation([&](AllocationFault& fault) {
    const auto cache = make();
    bool ok = false;
    fault.during([&] { ok = cache->saveAs(file.c_str()); });
    if (ok) return;
    EXPECT_TRUE(cache->save());
    EXPECT_EQ(withoutDate(readFile(path())), expected);
  });
}

TEST_P(SaveAllocationFaultTest, cacheIsEditedAndSavedAfterAFailure) {
  const CapturedOutput quiet;
  const std::string file = target();
  const auto edited = make();
  ASSERT_NE(edited->allocSample(30, 0), nullptr);
  ASSERT_TRUE(edited->saveAs(file.c_str()));
  const std::string text = fileText(file);
  failEveryAllocation([&](AllocationFault& fault) {
    const auto cache = make();
    fault.during([&] { cache->saveAs(file.c_str()); });
    EXPECT_NE(cache->allocSample(30, 0), nullptr);
    EXPECT_TRUE(cache->saveAs(file.c_str()));
    EXPECT_EQ(fileText(file), text);
  });
}

INSTANTIATE_TEST_SUITE_P(All, SaveAllocationFaultTest, ::testing::ValuesIn(kSaves),
                         [](const auto& test) { return std::string(test.param.name); });

using SaveAllocationFaults = FileTest;

TEST_F(SaveAllocationFaults, cacheWithoutObjectsDeletesItsFileOrSaysThatItDidNot) {
  const CapturedOutput quiet;
  const std::string file = path();
  failEveryAllocation([&](AllocationFault& fault) {
    writeScene(file, kKinds, {0, 1});
    VekRwMemCache cache(file.c_str());
    cache.deleteCache();
    bool ok = false;
    bool written = true;
    bool removed = false;
    fault.during([&] { ok = cache.saveAs(file.c_str(), &written, &removed); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(ok || fault.wasHit());
    EXPECT_EQ(removed, !VekFile::exists(file.c_str()));
    EXPECT_EQ(ok, removed);
    EXPECT_FALSE(written);
  });
}

TEST_F(SaveAllocationFaults, cacheWithoutSamplesIsSavedOrStaysDirty) {
  const CapturedOutput quiet;
  const std::string file = path();
  writeScene(file, kKinds, {});
  const std::string text = fileText(file);
  failEveryAllocation([&](AllocationFault& fault) {
    VekRwMemCache cache;
    buildScene(cache, kKinds, {});
    cache.setName(0, "|another name that is long as well");
    cache.setName(0, "|group|a long name of object 0");
    bool ok = false;
    fault.during([&] { ok = cache.saveAs(file.c_str()); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(ok || fault.wasHit());
    EXPECT_EQ(cache.isDirty(), !ok);
    EXPECT_TRUE(cache.saveAs(file.c_str()));
    EXPECT_EQ(fileText(file), text);
  });
}

}  // namespace
