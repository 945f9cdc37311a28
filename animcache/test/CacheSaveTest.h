// SPDX-License-Identifier: Apache-2.0
//
// A test of saving: a cache, often of a file written by hand, and what stands in the file after it
// was saved or appended to.

#ifndef VEK_TEST_CACHE_SAVE_TEST_H
#define VEK_TEST_CACHE_SAVE_TEST_H

#include <gtest/gtest.h>

#include <cstddef>
#include <ctime>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "OpenRwCache.h"
#include "SavedFile.h"
#include "VekCache.h"

namespace VekTest {

/// What a save did to the file.
enum class Saved { Written, Removed, Nothing, Failed };

class VekRwMemCacheSaveTest : public FileTest {
 protected:
  void SetUp() override {
    FileTest::SetUp();
    m_start = std::time(nullptr);
  }

  std::string bytes(const std::string& name = "file.vek") const { return readFile(path(name)); }

  /// Writes the file and loads it.
  void load(const SavedFile& model, bool keepOpen = true) { load(model.image(), keepOpen); }
  void load(const ByteImage& image, bool keepOpen = true) {
    ASSERT_TRUE(cache.load(writeFile(image).c_str(), keepOpen));
    ASSERT_FALSE(cache.isDirty());
  }

  /// Gives the cache the head that a model has.
  void setHead(const std::vector<std::string>& names) {
    cache.setApplication("app");
    cache.setSourceFile("src");
    for (std::size_t obj = 0; obj < names.size(); ++obj) {
      cache.setName(static_cast<int>(obj), names[obj].c_str());
    }
  }

  void expectSave(Saved expected) {
    expectOutcome(expected,
                  [&](bool* written, bool* removed) { return cache.save(written, removed); });
  }
  void expectSaveAs(const std::string& file, Saved expected) {
    expectOutcome(expected, [&](bool* written, bool* removed) {
      return cache.saveAs(file.c_str(), written, removed);
    });
  }

  /// Compares a file with what was written by hand, but for the date, which must be today's.
  void expectFile(SavedFile expected, const std::string& name = "file.vek") const {
    const std::string actual = bytes(name);
    expected.head.date = dateOf(actual);
    EXPECT_GE(expected.head.date, m_start);
    EXPECT_LE(expected.head.date, std::time(nullptr));
    EXPECT_TRUE(sameBytes(expected.bytes(), actual));
  }

  void expectClean() const {
    EXPECT_FALSE(cache.dirty);
    EXPECT_FALSE(cache.appendable);
    EXPECT_FALSE(cache.isDirty());
  }

  /// Loads a file and compares it with the cache.
  void expectFileHoldsTheCache(const std::string& name = "file.vek") {
    bool ok = false;
    Vek::VekRoMemCache read(path(name).c_str(), true, &ok);
    ASSERT_TRUE(ok);
    ASSERT_EQ(cache.getNumObjects(), read.getNumObjects());
    EXPECT_EQ(timesOf(cache), timesOf(read));
    EXPECT_EQ(cache.getRate(), read.getRate());
    EXPECT_EQ(cache.getApplication(), read.getApplication());
    EXPECT_EQ(cache.getSourceFile(), read.getSourceFile());
    EXPECT_EQ(cache.getSpace(), read.getSpace());
    EXPECT_EQ(cache.getDateStamp(), read.getDateStamp());
    for (int obj = 0; obj < read.getNumObjects(); ++obj) {
      EXPECT_EQ(cache.getName(obj), read.getName(obj));
      EXPECT_EQ(valuesOf(cache, obj), valuesOf(read, obj)) << "object " << obj;
    }
  }

  /// An append that is refused leaves the file and the cache as they were; the save that follows
  /// writes the whole file.
  void expectAppendRefused() {
    const std::string before = bytes();
    const bool dirty = cache.dirty;
    EXPECT_FALSE(cache.append());
    EXPECT_TRUE(sameBytes(before, bytes()));
    EXPECT_EQ(dirty, cache.isDirty());
    expectRewritten();
  }
  /// A save writes the whole file: one section with new free slots.
  void expectRewritten() {
    expectSave(Saved::Written);
    expectClean();
    expectFileHoldsTheCache();
    EXPECT_EQ(800, freeLengthBehind(bytes(), "JSAM"));
    EXPECT_EQ(bytes().find("SAMS"), bytes().rfind("SAMS"));
  }

  OpenRwCache cache;

 private:
  /// A save sets both of its outputs, which held the opposite before.
  template <typename Save>
  static void expectOutcome(Saved expected, Save save) {
    bool written = expected != Saved::Written;
    bool removed = expected != Saved::Removed;
    EXPECT_EQ(expected != Saved::Failed, save(&written, &removed));
    EXPECT_EQ(expected == Saved::Written, written);
    EXPECT_EQ(expected == Saved::Removed, removed);
  }

  std::time_t m_start = 0;
};

}  // namespace VekTest

#endif
