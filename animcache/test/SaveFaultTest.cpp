// SPDX-License-Identifier: Apache-2.0
//
// Nothing is lost: an append leaves the bytes of earlier samples alone, and an append or a save
// that fails leaves the cache in memory complete, so that it can be saved elsewhere. The faults are
// real ones of the operating system: limits on the size of files, a full disk, missing files and
// folders, and files without permission to write.

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "ChildReport.h"
#include "SaveFaultTest.h"
#include "VekCache.h"

namespace {

using namespace VekTest;
using Vek::VekRwMemCache;
namespace Tag = Vek::Tag;

/// More bytes than any file of these tests has.
constexpr rlim_t kTooMany = 20000;

// ---- A successful append ----

struct AppendCase {
  const char* name;
  std::vector<float> times;
  __int64 room;
  std::vector<float> added;
  bool fits;  ///< whether the room is enough

  friend void PrintTo(const AppendCase& c, std::ostream* os) { *os << c.name; }
};

class AppendTest : public SaveFaultTest, public ::testing::WithParamInterface<AppendCase> {
 protected:
  void SetUp() override {
    SaveFaultTest::SetUp();
    model = modelAt(GetParam().times);
    writeModel(path(), model, GetParam().room);
    before = bytes();
    offsets = sampleOffsets(path());
    ASSERT_EQ(offsets.size(), model.samples.size());
  }
  void append() {
    VekRwMemCache cache(path().c_str());
    for (const float t : GetParam().added) addSample(cache, model, t);
    ASSERT_TRUE(cache.append());
    EXPECT_FALSE(cache.isDirty());
  }
  static std::size_t endOfHead(const std::string& file) { return file.find("SAMS"); }

  Model model;
  std::string before;
  std::vector<__int64> offsets;
};

TEST_P(AppendTest, changesNoByteOfAnEarlierSample) {
  append();
  EXPECT_GT(bytes().size(), before.size());
  EXPECT_EQ(firstChangedSample(before, bytes(), offsets), -1);
  EXPECT_EQ(bytes().substr(0, 24), before.substr(0, 24)) << "the file header";
  EXPECT_EQ(endOfHead(bytes()), endOfHead(before));
}

TEST_P(AppendTest, changesNothingButTheHeadAndTheTablesThatItFills) {
  append();
  const std::size_t from =
      GetParam().fits ? static_cast<std::size_t>(offsets[0]) : endOfHead(before);
  EXPECT_EQ(bytes().substr(from, before.size() - from), before.substr(from));
}

TEST_P(AppendTest, addsNothingBeforeTheEndOfTheFile) {
  append();
  const std::vector<__int64> joined = sampleOffsets(path());
  ASSERT_EQ(joined.size(), model.samples.size());
  for (std::size_t s = offsets.size(); s < joined.size(); ++s) {
    EXPECT_GE(joined[s], static_cast<__int64>(before.size()));
    EXPECT_EQ(sampleBytes(bytes(), joined[s]).substr(0, 4), "SAMP");
  }
}

TEST_P(AppendTest, leavesAFileThatLoadsWithTheJoinedTables) {
  append();
  OpenCache cache;
  ASSERT_TRUE(cache.load(path().c_str()));
  ASSERT_EQ(cache.jumpTable.size(), model.samples.size());
  for (std::size_t s = 0; s < offsets.size(); ++s) EXPECT_EQ(cache.jumpTable[s], offsets[s]);
  if (cache.isNonUniform()) {
    ASSERT_EQ(cache.timeTable.size(), model.samples.size());
    for (std::size_t s = 0; s < model.samples.size(); ++s) {
      EXPECT_EQ(cache.timeTable[s], model.samples[s].time);
    }
  } else {
    EXPECT_TRUE(cache.timeTable.empty());
  }
  EXPECT_EQ(cache.getLastTime(), model.samples.back().time);
  EXPECT_EQ(differenceOfFile(path(), model), "");
}

TEST_P(AppendTest, changesNoByteOfAnEarlierSampleWhenRepeated) {
  VekRwMemCache cache(path().c_str());
  for (int round = 0; round < 5; ++round) {
    SCOPED_TRACE("append " + std::to_string(round));
    before = bytes();
    offsets = sampleOffsets(path());
    const std::size_t n = model.samples.size();
    const float gap = model.samples[n - 1].time - model.samples[n - 2].time;
    addSample(cache, model, model.samples[n - 1].time + gap, round % 2 == 0);
    ASSERT_TRUE(cache.append());
    EXPECT_EQ(firstChangedSample(before, bytes(), offsets), -1);
    EXPECT_EQ(differenceOfFile(path(), model), "");
    EXPECT_EQ(difference(cache, model, Unallocated::Empty), "");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Saved, AppendTest,
    ::testing::Values(AppendCase{"even", {1, 2, 3}, 3, {4}, true},
                      AppendCase{"evenFillsTheRoom", {1, 2, 3}, 2, {4, 5}, true},
                      AppendCase{"evenRoomTooSmall", {1, 2, 3}, 1, {4, 5}, false},
                      AppendCase{"evenWithoutRoom", {1, 2, 3}, 0, {4}, false},
                      AppendCase{"uneven", {1, 2, 4}, 3, {6}, true},
                      AppendCase{"unevenFillsTheRoom", {1, 2, 4}, 2, {6, 7}, true},
                      AppendCase{"unevenRoomTooSmall", {1, 2, 4}, 1, {6, 7}, false},
                      AppendCase{"unevenWithoutRoom", {1, 2, 4}, 0, {6}, false}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(SaveFaultTest, appendReadsNoEarlierSample) {
  Model model = modelAt({1, 2, 3});
  writeModel(path(), model, 4);
  const std::vector<__int64> offsets = sampleOffsets(path());
  overwrite(path(), static_cast<std::size_t>(offsets[1]), "DEAD");
  const std::string before = bytes();
  VekRwMemCache cache(path().c_str());
  addSample(cache, model, 4.0F);
  EXPECT_TRUE(cache.append());
  EXPECT_EQ(firstChangedSample(before, bytes(), offsets), -1);
}

// ---- A write that fails, at every byte ----

/// A cache to be saved, and how.
struct FaultCase {
  const char* name;
  std::vector<float> times;  ///< of the file
  __int64 room;
  std::vector<float> added;

  friend void PrintTo(const FaultCase& c, std::ostream* os) { *os << c.name; }
};

const FaultCase kFaultCases[] = {
    {"evenIntoTheRoom", {1, 2, 3}, 2, {4}},
    {"unevenIntoTheRoom", {1, 2, 4}, 2, {6, 7}},
    {"evenIntoANewSection", {1, 2}, 0, {3}},
    {"unevenIntoANewSection", {1, 2, 4}, 1, {6, 7}},
};

std::string nameOfFaultCase(const ::testing::TestParamInfo<FaultCase>& tested) {
  return tested.param.name;
}

/// Saves under every limit from 0 bytes on until that succeeds. Runs in a child process.
class EveryLimitTest : public SaveFaultTest, public ::testing::WithParamInterface<FaultCase> {
 protected:
  void SetUp() override {
    SaveFaultTest::SetUp();
    base = modelAt(GetParam().times);
    writeModel(path(), base, GetParam().room);
    original = bytes();
    offsets = sampleOffsets(path());
  }
  /// A cache loaded from the file as it was at first, with the new samples.
  std::unique_ptr<VekRwMemCache> makeCache(Model& model, bool keepOpen = true) {
    writeFile(original);
    model = base;
    auto cache = std::make_unique<VekRwMemCache>(path().c_str(), keepOpen);
    bool whole = true;
    for (const float t : GetParam().added) {
      addSample(*cache, model, t, whole);
      whole = false;
    }
    return cache;
  }
  /// Calls `attempt` for a new cache under each limit. After a failure the limit is lifted and
  /// `afterFailure` is called, and the loop goes on; after a success it ends.
  void forEveryLimit(
      Report& report, const std::function<bool(VekRwMemCache&)>& attempt,
      const std::function<void(Report&, VekRwMemCache&, const Model&)>& afterFailure) {
    for (rlim_t limit = 0; limit < kTooMany && !report.isFull(); ++limit) {
      report.at("limit " + std::to_string(limit));
      Model model;
      const std::unique_ptr<VekRwMemCache> cache = makeCache(model, limit % 2 == 0);
      bool ok = false;
      {
        const SizeLimit limited(limit);
        ok = attempt(*cache);
      }
      if (ok) {
        const std::string& name = cache->getFilename();
        report.check(!cache->isDirty(), "dirty after a success");
        report.check(readFile(name).size() <= limit, "more bytes than the limit");
        report.checkNone(differenceOfFile(name, model), "the saved file");
        report.checkNone(difference(*cache, model, Unallocated::Empty), "the saved cache");
        return;
      }
      report.check(cache->isDirty(), "clean after a failure");
      afterFailure(report, *cache, model);
    }
    report.check(report.isFull(), "never succeeded");
  }
  /// The same in a child process, all of whose checks must hold.
  void expectAtEveryLimit(
      const std::function<bool(VekRwMemCache&)>& attempt,
      const std::function<void(Report&, VekRwMemCache&, const Model&)>& afterFailure) {
    EXPECT_EQ(runInChild([&](Report& report) { forEveryLimit(report, attempt, afterFailure); }),
              "");
  }
  /// Saves the cache elsewhere and compares what is there.
  void saveElsewhere(Report& report, VekRwMemCache& cache, const Model& model) {
    const std::string elsewhere = path("elsewhere.vek");
    std::filesystem::remove(elsewhere);
    report.check(cache.saveAs(elsewhere.c_str()), "saveAs to a good place failed");
    report.check(!cache.isDirty(), "dirty after saveAs to a good place");
    report.checkNone(differenceOfFile(elsewhere, model), "the file elsewhere");
    report.checkNone(difference(cache, model, Unallocated::Empty), "the cache saved elsewhere");
  }

  Model base;
  std::string original;
  std::vector<__int64> offsets;
};

TEST_P(EveryLimitTest, failedAppendLeavesTheCacheCompleteAndEarlierSamplesAlone) {
  expectAtEveryLimit([](VekRwMemCache& cache) { return cache.append(); },
                     [&](Report& r, VekRwMemCache& cache, const Model& model) {
                       r.check(firstChangedSample(original, bytes(), offsets) == -1,
                               "an earlier sample changed");
                       r.check(cache.getFilename() == path(), "another file name");
                       r.checkNone(difference(cache, model, Unallocated::Absent), "the cache");
                       saveElsewhere(r, cache, model);
                     });
}

TEST_P(EveryLimitTest, cacheIsSavedElsewhereRightAfterAFailedAppend) {
  // Nothing is looked at in between, so that the earlier samples come from the file that the
  // append has begun to change.
  expectAtEveryLimit(
      [](VekRwMemCache& cache) { return cache.append(); },
      [&](Report& r, VekRwMemCache& cache, const Model& model) { saveElsewhere(r, cache, model); });
}

TEST_P(EveryLimitTest, appendSucceedsFromTheSizeOfTheFileOn) {
  Model model;
  const std::unique_ptr<VekRwMemCache> cache = makeCache(model);
  ASSERT_TRUE(cache->append());
  const rlim_t size = bytes().size();
  EXPECT_EQ(runInChild([&](Report& report) {
              for (const rlim_t limit : {size - 1, size}) {
                report.at("limit " + std::to_string(limit));
                const std::unique_ptr<VekRwMemCache> limited = makeCache(model);
                const SizeLimit inForce(limit);
                report.check(limited->append() == (limit == size), "another result");
              }
            }),
            "");
}

TEST_P(EveryLimitTest, failedAppendIsMadeGoodByASaveUnderTheSameName) {
  expectAtEveryLimit([](VekRwMemCache& cache) { return cache.append(); },
                     [&](Report& r, VekRwMemCache& cache, const Model& model) {
                       r.check(cache.save(), "save failed");
                       r.check(!cache.isDirty(), "dirty after the save");
                       r.checkNone(differenceOfFile(path(), model), "the file");
                       r.checkNone(difference(cache, model, Unallocated::Empty), "the cache");
                     });
}

TEST_P(EveryLimitTest, failedSaveLeavesTheCacheComplete) {
  EXPECT_EQ(runInChild([&](Report& report) {
              bool written = true;
              bool removed = true;
              forEveryLimit(
                  report,
                  [&](VekRwMemCache& cache) {
                    written = removed = true;
                    return cache.save(&written, &removed);
                  },
                  [&](Report& r, VekRwMemCache& cache, const Model& model) {
                    r.check(!written && !removed, "something was written or removed");
                    r.check(cache.getFilename() == path(), "another file name");
                    r.checkNone(difference(cache, model, Unallocated::Absent), "the cache");
                    saveElsewhere(r, cache, model);
                  });
              report.check(written && !removed, "other outputs after a success");
            }),
            "");
}

TEST_P(EveryLimitTest, failedSaveIsMadeGoodByASaveUnderTheSameName) {
  expectAtEveryLimit([](VekRwMemCache& cache) { return cache.save(); },
                     [&](Report& r, VekRwMemCache& cache, const Model& model) {
                       r.check(cache.save(), "save failed");
                       r.checkNone(differenceOfFile(path(), model), "the file");
                       r.checkNone(difference(cache, model, Unallocated::Empty), "the cache");
                     });
}

TEST_P(EveryLimitTest, failedRewriteElsewhereLeavesTheCacheAndItsFile) {
  const std::string elsewhere = path("elsewhere.vek");
  expectAtEveryLimit([&](VekRwMemCache& cache) { return cache.saveAs(elsewhere.c_str()); },
                     [&](Report& r, VekRwMemCache& cache, const Model& model) {
                       r.check(bytes() == original, "the cache's own file changed");
                       r.check(cache.getFilename() == path(), "another file name");
                       r.checkNone(difference(cache, model, Unallocated::Absent), "the cache");
                       r.check(cache.objectHas(1, Tag::POSI), "an object lost its first sample");
                       saveElsewhere(r, cache, model);
                     });
}

TEST_P(EveryLimitTest, cacheStillAppendsToItsFileAfterAFailedRewriteElsewhere) {
  const std::string elsewhere = path("elsewhere.vek");
  expectAtEveryLimit(
      [&](VekRwMemCache& cache) { return cache.saveAs(elsewhere.c_str()); },
      [&](Report& r, VekRwMemCache& cache, const Model& model) {
        r.check(cache.append(), "append failed");
        r.check(firstChangedSample(original, bytes(), offsets) == -1, "an earlier sample changed");
        r.check(sampleOffsets(path()).size() == model.samples.size(), "another table");
        r.checkNone(differenceOfFile(path(), model), "the file");
        r.check(cache.objectHas(1, Tag::POSI), "an object lost its first sample");
      });
}

INSTANTIATE_TEST_SUITE_P(SaveFault, EveryLimitTest, ::testing::ValuesIn(kFaultCases),
                         nameOfFaultCase);

TEST_F(SaveFaultTest, cacheBuiltInMemoryIsCompleteAfterAFailureAtEveryByte) {
  const std::string failed = runInChild([&](Report& report) {
    for (rlim_t limit = 0; !report.isFull(); ++limit) {
      report.at("limit " + std::to_string(limit));
      VekRwMemCache cache;
      Model model;
      setHead(cache, model);
      addSample(cache, model, 1.0F);
      addSample(cache, model, 2.0F, false);
      addSample(cache, model, 4.0F);
      bool ok = false;
      {
        const SizeLimit limited(limit);
        ok = cache.saveAs(path().c_str());
      }
      if (ok) {
        report.check(bytes().size() == limit, "not the first limit that is enough");
        report.checkNone(differenceOfFile(path(), model), "the file");
        return;
      }
      report.check(limit < kTooMany, "never succeeded");
      if (limit >= kTooMany) return;
      report.check(cache.isDirty(), "clean after a failure");
      report.check(cache.getFilename().empty(), "a file name after a failure");
      report.checkNone(difference(cache, model, Unallocated::Absent), "the cache");
      report.check(cache.saveAs(path("good.vek").c_str()), "saveAs to a good place failed");
      report.checkNone(differenceOfFile(path("good.vek"), model), "the file elsewhere");
    }
  });
  EXPECT_EQ(failed, "");
}

TEST_F(SaveFaultTest, cacheWithoutSamplesIsCompleteAfterAFailureAtEveryByte) {
  const std::string failed = runInChild([&](Report& report) {
    for (rlim_t limit = 0; !report.isFull(); ++limit) {
      report.at("limit " + std::to_string(limit));
      VekRwMemCache cache;
      Model model;
      cache.setApplication(model.application);
      cache.setSourceFile(model.sourceFile);
      cache.setName(0, "|wave");
      cache.setName(1, "|first");
      report.check(cache.saveAs(path().c_str()), "the first save failed");
      cache.setName(1, "|dust");
      bool ok = false;
      {
        const SizeLimit limited(limit);
        ok = cache.append();
      }
      if (ok) {
        report.check(bytes().size() == limit, "not the first limit that is enough");
        report.check(!cache.isDirty(), "dirty after a success");
        report.checkNone(differenceOfFile(path(), model), "the file");
        return;
      }
      report.check(limit < kTooMany, "never succeeded");
      if (limit >= kTooMany) return;
      report.check(cache.isDirty(), "clean after a failure");
      report.checkNone(difference(cache, model, Unallocated::Absent), "the cache");
      report.check(cache.saveAs(path("good.vek").c_str()), "saveAs to a good place failed");
      report.checkNone(differenceOfFile(path("good.vek"), model), "the file elsewhere");
    }
  });
  EXPECT_EQ(failed, "");
}

TEST_F(SaveFaultTest, editsAfterAFailureAreSavedWithTheOthers) {
  Model model = modelAt({1, 2, 3});
  writeModel(path(), model, 2);
  const std::string failed = runInChild([&](Report& report) {
    VekRwMemCache cache(path().c_str());
    addSample(cache, model, 4.0F);
    {
      const SizeLimit limited(500);
      report.check(!cache.save(), "the limit had no effect");
    }
    addSample(cache, model, 5.0F);
    model.names[0] = "|renamed|later";
    cache.setName(0, model.names[0].c_str());
    report.checkNone(difference(cache, model, Unallocated::Absent), "the cache");
    report.check(cache.save(), "save failed");
    report.checkNone(differenceOfFile(path(), model), "the file");
  });
  EXPECT_EQ(failed, "");
}

TEST_F(SaveFaultTest, clearedSamplesStayClearedAfterAFailedSave) {
  Model model = modelAt({1, 2, 3, 5});
  writeModel(path(), model, 2);
  const std::string failed = runInChild([&](Report& report) {
    VekRwMemCache cache(path().c_str());
    cache.truncate(2.0F);
    model.samples.resize(2);
    cache.allocSample(1.0F, 1)->reset();
    model.samples[0].objects[1].reset();
    {
      const SizeLimit limited(600);
      report.check(!cache.save(), "the limit had no effect");
    }
    report.check(cache.isDirty(), "clean after a failure");
    report.check(!cache.append(), "an append cannot save a truncation");
    report.checkNone(difference(cache, model, Unallocated::Empty), "the cache");
    report.check(cache.save(), "save failed");
    report.checkNone(differenceOfFile(path(), model), "the file");
  });
  EXPECT_EQ(failed, "");
}

// ---- Places where nothing can be written ----

class BadPlaceTest : public SaveFaultTest, public ::testing::WithParamInterface<const char*> {
 protected:
  /// The bad place of the test.
  std::string badPlace() {
    const std::string kind = GetParam();
    if (kind == "fullDisk") {
      std::filesystem::create_symlink("/dev/full", path("full.vek"));
      return path("full.vek");
    }
    if (kind == "missingFolder") return path("missing/file.vek");
    if (kind == "folder") {
      std::filesystem::create_directory(path("folder.vek"));
      return path("folder.vek");
    }
    if (kind == "fileAsFolder") return writeFile(std::string("text"), "text") + "/file.vek";
    return "";
  }
};

TEST_P(BadPlaceTest, failedSaveAsLeavesTheCacheAndItsFile) {
  Model model = modelAt({1, 2, 3});
  writeModel(path(), model, 5);
  const std::string before = bytes();
  VekRwMemCache cache(path().c_str());
  addSample(cache, model, 4.0F, false);
  bool written = true;
  bool removed = true;
  EXPECT_FALSE(cache.saveAs(badPlace().c_str(), &written, &removed));
  EXPECT_FALSE(written);
  EXPECT_FALSE(removed);
  EXPECT_EQ(cache.getFilename(), path());
  EXPECT_EQ(bytes(), before);
  EXPECT_EQ(difference(cache, model, Unallocated::Absent), "");
  EXPECT_TRUE(cache.objectHas(0, Tag::POSI));
  expectSavedElsewhere(cache, model);
}

TEST_P(BadPlaceTest, cacheStillAppendsToItsFileAfterAFailedSaveAs) {
  Model model = modelAt({1, 2, 4});
  writeModel(path(), model, 5);
  const std::string before = bytes();
  const std::vector<__int64> offsets = sampleOffsets(path());
  VekRwMemCache cache(path().c_str());
  addSample(cache, model, 7.0F);
  EXPECT_FALSE(cache.saveAs(badPlace().c_str()));
  EXPECT_TRUE(cache.append());
  EXPECT_EQ(firstChangedSample(before, bytes(), offsets), -1);
  EXPECT_EQ(differenceOfFile(path(), model), "");
}

TEST_P(BadPlaceTest, cacheBuiltInMemoryIsSavedElsewhere) {
  VekRwMemCache cache;
  Model model;
  setHead(cache, model);
  addSample(cache, model, 3.0F, false);
  addSample(cache, model, 5.0F);
  EXPECT_FALSE(cache.saveAs(badPlace().c_str()));
  EXPECT_EQ(cache.getFilename(), "");
  EXPECT_EQ(difference(cache, model, Unallocated::Absent), "");
  expectSavedElsewhere(cache, model);
}

TEST_P(BadPlaceTest, cacheWithoutSamplesIsSavedElsewhere) {
  VekRwMemCache cache;
  Model model;
  setHead(cache, model);
  EXPECT_FALSE(cache.saveAs(badPlace().c_str()));
  expectSavedElsewhere(cache, model);
}

INSTANTIATE_TEST_SUITE_P(SaveFault, BadPlaceTest,
                         ::testing::Values("fullDisk", "missingFolder", "folder", "fileAsFolder",
                                           "noName"),
                         [](const auto& tested) { return std::string(tested.param); });

/// Everything of the cache is in memory, and its file has become a full disk.
class FullDiskTest : public SaveFaultTest {
 protected:
  void putOnAFullDisk(VekRwMemCache& cache, const Model& model) {
    ASSERT_EQ(difference(cache, model, Unallocated::Absent), "");
    ASSERT_TRUE(cache.close());
    std::filesystem::remove(path());
    std::filesystem::create_symlink("/dev/full", path());
  }
  /// Makes room again: the cache's file is there, empty.
  void makeRoom() {
    std::filesystem::remove(path());
    writeFile(std::string());
  }
};

TEST_F(FullDiskTest, failedAppendAndSaveLeaveTheCacheComplete) {
  for (const std::vector<float>& times :
       {std::vector<float>{1, 2, 3}, std::vector<float>{1, 2, 4}}) {
    Model model = modelAt(times);
    std::filesystem::remove(path());
    writeModel(path(), model, 5);
    VekRwMemCache cache(path().c_str());
    addSample(cache, model, 2.0F * times[2] - times[1]);
    putOnAFullDisk(cache, model);
    EXPECT_FALSE(cache.append());
    EXPECT_TRUE(cache.isDirty());
    EXPECT_FALSE(cache.save());
    EXPECT_EQ(difference(cache, model, Unallocated::Absent), "");
    EXPECT_EQ(cache.getFilename(), path());
    expectSavedElsewhere(cache, model);
  }
}

TEST_F(FullDiskTest, sameNameIsGoodAgainWhenThereIsRoom) {
  Model model = modelAt({1, 2, 3});
  writeModel(path(), model, 5);
  VekRwMemCache cache(path().c_str());
  addSample(cache, model, 4.0F);
  putOnAFullDisk(cache, model);
  EXPECT_FALSE(cache.save());
  makeRoom();
  EXPECT_TRUE(cache.save());
  EXPECT_EQ(differenceOfFile(path(), model), "");
}

TEST_F(FullDiskTest, failedAppendOfAHeadOnlyLeavesTheCacheComplete) {
  VekRwMemCache cache;
  Model model;
  cache.setApplication(model.application);
  cache.setSourceFile(model.sourceFile);
  cache.setName(0, "|wave");
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  cache.setName(1, "|dust");
  putOnAFullDisk(cache, model);
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(cache.isDirty());
  EXPECT_FALSE(cache.save());
  expectSavedElsewhere(cache, model);
}

// ---- A file that is gone ----

TEST_F(SaveFaultTest, missingFileIsNotAppendedToAndWrittenAnewFromItsOpenStream) {
  Model model = modelAt({1, 2, 3});
  writeModel(path(), model, 5);
  VekRwMemCache cache(path().c_str(), true);
  addSample(cache, model, 4.0F);
  std::filesystem::remove(path());
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(cache.isDirty());
  EXPECT_FALSE(std::filesystem::exists(path())) << "an append makes no file";
  EXPECT_EQ(difference(cache, model, Unallocated::Absent), "");
  EXPECT_TRUE(cache.save());
  EXPECT_EQ(differenceOfFile(path(), model), "");
}

TEST_F(SaveFaultTest, missingFileIsWrittenAnewFromMemory) {
  Model model = modelAt({1, 2, 3});
  writeModel(path(), model, 5);
  VekRwMemCache cache(path().c_str(), false);
  addSample(cache, model, 4.0F);
  ASSERT_EQ(difference(cache, model, Unallocated::Absent), "");
  std::filesystem::remove(path());
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(cache.isDirty());
  EXPECT_EQ(difference(cache, model, Unallocated::Absent), "");
  EXPECT_TRUE(cache.save());
  EXPECT_EQ(differenceOfFile(path(), model), "");
}

TEST_F(SaveFaultTest, missingFolderOfTheFileLeavesTheCacheComplete) {
  Model model = modelAt({1, 2, 3});
  std::filesystem::create_directory(path("folder"));
  const std::string file = path("folder/file.vek");
  writeModel(file, model, 5);
  VekRwMemCache cache(file.c_str(), true);
  addSample(cache, model, 4.0F);
  std::filesystem::remove_all(path("folder"));
  EXPECT_FALSE(cache.save());
  EXPECT_EQ(difference(cache, model, Unallocated::Absent), "");
  expectSavedElsewhere(cache, model);
}

TEST_F(SaveFaultTest, samplesThatAreGoneAreNotSavedAsNothing) {
  Model model = modelAt({1, 2, 3});
  writeModel(path(), model, 5);
  const std::string before = bytes();
  VekRwMemCache cache(path().c_str(), false);
  addSample(cache, model, 4.0F);
  std::filesystem::remove(path());
  EXPECT_FALSE(cache.save());
  EXPECT_FALSE(std::filesystem::exists(path()));
  EXPECT_FALSE(cache.saveAs(path("elsewhere.vek").c_str()));
  EXPECT_FALSE(std::filesystem::exists(path("elsewhere.vek")));
  EXPECT_TRUE(cache.isDirty());

  writeFile(before);
  EXPECT_TRUE(cache.save());
  EXPECT_EQ(differenceOfFile(path(), model), "");
}

TEST_F(SaveFaultTest, damagedSampleIsNotWrittenAnewAsNothing) {
  Model model = modelAt({1, 2, 3});
  writeModel(path(), model, 5);
  overwrite(path(), static_cast<std::size_t>(sampleOffsets(path())[1]), "DEAD");
  const std::string before = bytes();
  VekRwMemCache cache(path().c_str());
  cache.setName(0, "|a longer name than before");
  EXPECT_FALSE(cache.save());
  EXPECT_TRUE(cache.isDirty());
  EXPECT_EQ(bytes(), before);
}

// ---- A file without permission to write ----

/// Gives up the privileges of root, which would write to any file, and all ways back.
bool dropPrivileges() {
  if (::geteuid() != 0) return true;
  return ::setgroups(0, nullptr) == 0 && ::setresgid(65534, 65534, 65534) == 0 &&
         ::setresuid(65534, 65534, 65534) == 0;
}

class ReadOnlyTest : public SaveFaultTest {
 protected:
  /// Runs checks in a child process without privileges whose current folder is the test's: a path
  /// to it may lead through folders that are closed to others.
  std::string runUnprivileged(const std::function<void(Report&)>& checks) {
    const std::string folder = std::filesystem::path(path()).parent_path().string();
    if (::geteuid() == 0) {
      for (const std::string& owned : {folder, path()}) {
        if (::chown(owned.c_str(), 65534, 65534) != 0) return "no other owner for " + owned;
      }
    }
    return runInChild([&](Report& report) {
      const bool ready = ::chdir(folder.c_str()) == 0 && dropPrivileges();
      report.check(ready, "no way into the folder without privileges");
      if (ready) checks(report);
      // The search for leaks at a normal exit needs the privileges.
      ::_exit(0);
    });
  }
};

TEST_F(ReadOnlyTest, failedAppendAndSaveLeaveTheCacheComplete) {
  Model model = modelAt({1, 2, 3});
  writeModel(path(), model, 5);
  const std::string before = bytes();
  ASSERT_EQ(::chmod(path().c_str(), 0444), 0);
  const std::string failed = runUnprivileged([&](Report& report) {
    for (const bool loadAfterwards : {false, true}) {
      report.at(loadAfterwards ? "loaded by load" : "loaded by the constructor");
      Model edited = model;
      auto cache = loadAfterwards ? std::make_unique<VekRwMemCache>()
                                  : std::make_unique<VekRwMemCache>("file.vek");
      if (loadAfterwards) report.check(cache->load("file.vek", true), "load failed");
      addSample(*cache, edited, 4.0F);
      report.check(!cache->append(), "append to a file without permission");
      report.check(cache->isDirty(), "clean after a failed append");
      bool written = true;
      bool removed = true;
      report.check(!cache->save(&written, &removed), "save to a file without permission");
      report.check(!written && !removed, "something was written or removed");
      report.check(cache->isDirty(), "clean after a failed save");
      report.check(readFile("file.vek") == before, "the file changed");
      report.checkNone(difference(*cache, edited, Unallocated::Absent), "the cache");
      report.check(cache->saveAs("elsewhere.vek"), "saveAs to a good place failed");
      report.check(!cache->isDirty(), "dirty after saveAs to a good place");
      report.checkNone(differenceOfFile("elsewhere.vek", edited), "the file elsewhere");
    }
  });
  EXPECT_EQ(failed, "");
}

TEST_F(ReadOnlyTest, fileThatBecomesWritableIsAppendedTo) {
  const Model base = modelAt({1, 2, 3});
  writeModel(path(), base, 5);
  const std::string before = bytes();
  const std::vector<__int64> offsets = sampleOffsets(path());
  const std::string failed = runUnprivileged([&](Report& report) {
    for (const bool bySave : {false, true}) {
      report.at(bySave ? "after a failed save" : "after a failed append");
      std::ofstream("file.vek", std::ios::binary) << before;
      report.check(::chmod("file.vek", 0444) == 0, "no change of permissions");
      Model model = base;
      VekRwMemCache cache("file.vek");
      addSample(cache, model, 4.0F);
      report.check(!(bySave ? cache.save() : cache.append()), "no permission was needed");
      report.check(::chmod("file.vek", 0644) == 0, "no change of permissions");
      // The file is as it was, and a sample behind the last one is still the only edit.
      report.check(cache.append(), "append failed");
      report.check(cache.save(), "save failed");
      report.check(!cache.isDirty(), "dirty after the save");
      report.check(firstChangedSample(before, readFile("file.vek"), offsets) == -1,
                   "an earlier sample changed");
      report.checkNone(differenceOfFile("file.vek", model), "the file");
    }
  });
  EXPECT_EQ(failed, "");
}

TEST_F(ReadOnlyTest, failedSaveIntoAReadOnlyFolderLeavesTheCacheComplete) {
  Model model = modelAt({1, 2, 3});
  writeModel(path(), model, 5);
  const std::string failed = runUnprivileged([&](Report& report) {
    report.check(::mkdir("closed", 0555) == 0, "no folder");
    VekRwMemCache cache("file.vek");
    addSample(cache, model, 4.0F);
    report.check(!cache.saveAs("closed/file.vek"), "saveAs into a closed folder");
    report.check(cache.getFilename() == "file.vek", "another file name");
    report.checkNone(difference(cache, model, Unallocated::Absent), "the cache");
    report.check(cache.save(), "save failed");
    report.checkNone(differenceOfFile("file.vek", model), "the file");
  });
  EXPECT_EQ(failed, "");
}

TEST_F(ReadOnlyTest, fileThatCannotBeDeletedIsNotReportedAsRemoved) {
  writeModel(path(), modelAt({1, 2, 3}), 5);
  const std::string failed = runUnprivileged([&](Report& report) {
    report.check(::chmod(".", 0555) == 0, "no change of permissions");
    VekRwMemCache cache("file.vek");
    cache.deleteCache();
    bool written = true;
    bool removed = true;
    report.check(cache.saveAs("file.vek", &written, &removed), "saveAs failed");
    report.check(!written, "reported as written");
    report.check(!removed, "reported as removed");
    report.check(std::filesystem::exists("file.vek"), "the file is gone");
    report.check(::chmod(".", 0755) == 0, "no change of permissions");
  });
  EXPECT_EQ(failed, "");
}

}  // namespace
