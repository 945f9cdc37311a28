// SPDX-License-Identifier: Apache-2.0
//
// Saving a cache: the bytes of a whole file, samples appended in place or in a section of their
// own, the cases that need the whole file written anew, and what is left after a failure.

#include <gmock/gmock.h>

#include <ctime>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "ByteImage.h"
#include "SceneImage.h"
#include "VekCache.h"

namespace {

using namespace VekTest;
using ::testing::ElementsAre;
using Vek::VekGroupChunk;
using Vek::VekLeafChunk;
namespace Tag = Vek::Tag;

/// A read-write cache whose protected members tests may reach.
class OpenRwCache : public Vek::VekRwMemCache {
 public:
  using VekRwMemCache::VekRwMemCache;

  using VekRwMemCache::appendable;
  using VekRwMemCache::cachedSampleIndex;
  using VekRwMemCache::dirty;
  using VekRwMemCache::file;
  using VekRwMemCache::jumpTable;
  using VekRwMemCache::metadata;
  using VekRwMemCache::timeTable;
};

// ---- files written by hand ----

/// The head as the library writes it; the date stands where the test of a file patches it.
struct SavedHead {
  std::int64_t version = 2;
  std::string application = "app";
  std::string sourceFile = "src";
  std::int64_t date = 1000;
  std::int64_t numSamples = 0;
  float firstTime = 0.0F;
  float lastTime = 0.0F;
  float rate = 1.0F;
  std::int64_t space = 1;
  std::vector<ByteImage> definitions = {};
  ByteImage more = {};  ///< further children of META, at its end
};

ByteImage savedHeadImage(const SavedHead& head) {
  ByteImage meta;
  if (!head.application.empty()) meta.raw(textChunk("WAPP", {head.application}));
  if (!head.sourceFile.empty()) meta.raw(textChunk("SFIL", {head.sourceFile}));
  if (head.date != 0) meta.raw(int64Chunk("DATE", head.date));
  meta.raw(int64Chunk("NSAM", head.numSamples));
  if (head.numSamples > 0) {
    meta.raw(floatChunk("FTIM", {head.firstTime}));
    meta.raw(floatChunk("LTIM", {head.lastTime}));
    meta.raw(floatChunk("RATE", {head.rate}));
  }
  meta.raw(int64Chunk("SPAC", head.space));
  meta.raw(int64Chunk("NOBJ", static_cast<std::int64_t>(head.definitions.size())));
  for (const ByteImage& d : head.definitions) meta.raw(d);
  meta.raw(head.more);
  return join({int64Chunk("DVEK", head.version), group("META", meta)});
}

/// A SAMS section with free slots behind its tables.
struct Section {
  std::vector<float> times = {};  ///< the TIMS table; no TIMS when empty
  std::int64_t timeRoom = -1;     ///< free slots behind TIMS, -1 for no FREE chunk
  std::int64_t jumpRoom = -1;     ///< free slots behind JSAM, -1 for no FREE chunk
  std::vector<std::vector<ByteImage>> objects = {};
  bool jumpsFirst = false;  ///< JSAM before TIMS
  char fill = '\0';         ///< what the free slots hold
};

ByteImage freeChunk(std::int64_t length, char fill) {
  return ByteImage().chunk("FREE", 0,
                           ByteImage().raw(std::string(static_cast<std::size_t>(length), fill)));
}

/// Appends a section to a file and returns the offsets of its samples.
std::vector<std::int64_t> addSection(ByteImage& file, const Section& section) {
  const auto length = [](const ByteImage& image) {
    return static_cast<std::int64_t>(image.size());
  };
  ByteImage times;
  if (!section.times.empty()) times.raw(floatChunk("TIMS", section.times));
  if (section.timeRoom >= 0) times.raw(freeChunk(4 * section.timeRoom, section.fill));
  ByteImage room;
  if (section.jumpRoom >= 0) room.raw(freeChunk(8 * section.jumpRoom, section.fill));
  const auto count = static_cast<std::int64_t>(section.objects.size());
  std::int64_t at = length(file) + 16 + length(times) + 16 + 8 * count + length(room);
  std::vector<std::int64_t> jumps;
  ByteImage samples;
  for (const std::vector<ByteImage>& objects : section.objects) {
    jumps.push_back(at);
    std::int64_t objectAt = at + 32 + 8 * static_cast<std::int64_t>(objects.size());
    std::vector<std::int64_t> objectJumps;
    ByteImage data;
    for (const ByteImage& object : objects) {
      objectJumps.push_back(objectAt);
      data.raw(group("SOBJ", object));
      objectAt += 16 + length(object);
    }
    samples.raw(group("SAMP", join({ByteImage().chunk("JOBJ", 5, offsets(objectJumps)), data})));
    at = objectAt;
  }
  const ByteImage jumpTable = join({ByteImage().chunk("JSAM", 5, offsets(jumps)), room});
  file.raw(group("SAMS", section.jumpsFirst ? join({jumpTable, times, samples})
                                            : join({times, jumpTable, samples})));
  return jumps;
}

/// A file as head and sections, which grows as an append makes it grow.
struct Model {
  SavedHead head;
  std::vector<Section> sections = {{}};

  /// Adds a sample to the last section, into its free slots.
  void append(float time, const std::vector<ByteImage>& objects) {
    Section& last = sections.back();
    if (last.jumpRoom > 0) --last.jumpRoom;
    if (last.timeRoom > 0) --last.timeRoom;
    add(time, objects);
  }
  /// Adds a sample to the last section.
  void add(float time, const std::vector<ByteImage>& objects) {
    if (head.numSamples++ == 0) head.firstTime = time;
    head.lastTime = time;
    if (head.rate == 0.0F) sections.back().times.push_back(time);
    sections.back().objects.push_back(objects);
  }
  /// Begins a section with free slots.
  void startSection(std::int64_t room) {
    Section section;
    section.jumpRoom = room;
    if (head.rate == 0.0F) section.timeRoom = room;
    sections.push_back(section);
  }
  ByteImage image() const {
    ByteImage file = savedHeadImage(head);
    for (const Section& section : sections) addSection(file, section);
    return file;
  }
  std::string bytes() const { return image().bytes(); }
  /// The joined jump tables.
  std::vector<std::int64_t> jumps() const {
    ByteImage file = savedHeadImage(head);
    std::vector<std::int64_t> joined;
    for (const Section& section : sections) {
      for (const std::int64_t jump : addSection(file, section)) joined.push_back(jump);
    }
    return joined;
  }
};

/// The data of an object that holds one float.
ByteImage posi(float value) {
  return floatChunk("POSI", {value});
}

/// What the stored sample at a time holds.
float stored(float time) {
  return 10.0F * time;
}

/// One object |a with samples at these times, uniform at a rate or non-uniform at 0, in one section
/// with free slots.
Model oneObject(const std::vector<float>& times, float rate, std::int64_t room) {
  Model model;
  model.head.rate = rate;
  model.head.definitions = {definition("|a")};
  model.sections.clear();
  model.startSection(room);
  for (const float t : times) model.add(t, {posi(stored(t))});
  return model;
}

// ---- bytes of files ----

std::int64_t dateOf(const std::string& bytes) {
  const std::size_t at = bytes.find("DATE");
  if (at == std::string::npos) return 0;
  std::int64_t date = 0;
  std::memcpy(&date, &bytes.at(at + 16), sizeof(date));
  return date;
}

/// Compares the bytes of files and names the first offset that differs.
::testing::AssertionResult sameBytes(const std::string& expected, const std::string& actual) {
  if (expected == actual) return ::testing::AssertionSuccess();
  const std::size_t shorter = std::min(expected.size(), actual.size());
  std::size_t at = 0;
  while (at < shorter && expected[at] == actual[at]) ++at;
  return ::testing::AssertionFailure() << "sizes " << expected.size() << " expected, "
                                       << actual.size() << " found; first difference at " << at;
}

/// The length of the first FREE chunk behind the last chunk of that tag, -1 when another follows.
std::int64_t freeLengthBehind(const std::string& bytes, const std::string& tag) {
  std::int64_t length = 0;
  const std::size_t at = bytes.rfind(tag);
  if (at == std::string::npos) return -1;
  std::memcpy(&length, &bytes.at(at + 8), sizeof(length));
  const std::size_t next = at + 16 + static_cast<std::size_t>(length);
  if (bytes.compare(next, 4, "FREE") != 0) return -1;
  std::memcpy(&length, &bytes.at(next + 8), sizeof(length));
  return length;
}

// ---- contents of caches ----

void put(VekGroupChunk* sobj, float value) {
  ASSERT_NE(nullptr, sobj);
  sobj->addChild(new VekLeafChunk<float>(Tag::POSI, {value}));
}

/// Allocates a sample of one object with a value.
void add(Vek::VekRwMemCache& cache, float time, int obj, float value) {
  put(cache.allocSample(time, obj), value);
}

/// The first value of an object's data; -1 when there is none.
float valueOf(Vek::VekRoMemCache& cache, int sample, int obj) {
  const auto* leaf =
      Vek::asLeaf<float>(cache.getSample(sample, obj, Tag::POSI, static_cast<int*>(nullptr)));
  return leaf != nullptr && !leaf->data.empty() ? leaf->data.front() : -1.0F;
}

std::vector<float> valuesOf(Vek::VekRoMemCache& cache, int obj) {
  std::vector<float> values;
  for (int s = 0; s < cache.getNumSamples(); ++s) values.push_back(valueOf(cache, s, obj));
  return values;
}

std::vector<float> timesOf(const Vek::VekCache& cache) {
  std::vector<float> times;
  for (int s = 0; s < cache.getNumSamples(); ++s) times.push_back(cache.getSampleTime(s));
  return times;
}

class VekRwMemCacheSaveTest : public FileTest {
 protected:
  void SetUp() override {
    FileTest::SetUp();
    m_start = std::time(nullptr);
  }

  std::string bytes(const std::string& name = "file.vek") const { return readFile(path(name)); }

  /// Writes the file and loads it.
  void load(const Model& model, bool keepOpen = true) { load(model.image(), keepOpen); }
  void load(const ByteImage& image, bool keepOpen = true) {
    ASSERT_TRUE(cache.load(writeFile(image).c_str(), keepOpen));
    ASSERT_FALSE(cache.isDirty());
  }

  /// Compares a file with what was written by hand, but for the date, which must be today's.
  void expectFile(Model expected, const std::string& name = "file.vek") const {
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
    bool written = false;
    bool removed = true;
    ASSERT_TRUE(cache.save(&written, &removed));
    EXPECT_TRUE(written);
    EXPECT_FALSE(removed);
    expectClean();
    expectFileHoldsTheCache();
    EXPECT_EQ(800, freeLengthBehind(bytes(), "JSAM"));
    EXPECT_EQ(bytes().find("SAMS"), bytes().rfind("SAMS"));
  }

  OpenRwCache cache;

 private:
  std::time_t m_start = 0;
};

// ---- the bytes of a whole file ----

TEST_F(VekRwMemCacheSaveTest, wholeFileByteForByte) {
  cache.setApplication("app");
  cache.setSourceFile("src");
  cache.setName(0, "|a");
  add(cache, 1.5F, 0, 4.5F);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  const std::string actual = bytes();

  ByteImage expected;
  expected.header("DVEK", 5, 8).int64(2);
  expected.header("META", 1, 231);
  expected.header("WAPP", 2, 4).cstr("app");
  expected.header("SFIL", 2, 4).cstr("src");
  expected.header("DATE", 5, 8).int64(dateOf(actual));
  expected.header("NSAM", 5, 8).int64(1);
  expected.header("FTIM", 4, 4).float32(1.5F);
  expected.header("LTIM", 4, 4).float32(1.5F);
  expected.header("RATE", 4, 4).float32(1.0F);
  expected.header("SPAC", 5, 8).int64(1);
  expected.header("NOBJ", 5, 8).int64(1);
  expected.header("DOBJ", 1, 19).header("NAME", 2, 3).cstr("|a");
  ASSERT_EQ(271U, expected.size());
  expected.header("SAMS", 1, 916);
  expected.header("JSAM", 5, 8).int64(1127);
  expected.header("FREE", 0, 800).zeros(800);
  ASSERT_EQ(1127U, expected.size());
  expected.header("SAMP", 1, 60);
  expected.header("JOBJ", 5, 8).int64(1167);
  expected.header("SOBJ", 1, 20);
  expected.header("POSI", 4, 4).float32(4.5F);
  EXPECT_TRUE(sameBytes(expected.bytes(), actual));
}

TEST_F(VekRwMemCacheSaveTest, wholeNonUniformFileByteForByte) {
  cache.setApplication("app");
  cache.setSourceFile("src");
  cache.setName(0, "|a");
  for (const float t : {1.0F, 2.0F, 4.0F}) add(cache, t, 0, stored(t));
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  const std::string actual = bytes();

  ByteImage expected;
  expected.header("DVEK", 5, 8).int64(2);
  expected.header("META", 1, 231);
  expected.header("WAPP", 2, 4).cstr("app");
  expected.header("SFIL", 2, 4).cstr("src");
  expected.header("DATE", 5, 8).int64(dateOf(actual));
  expected.header("NSAM", 5, 8).int64(3);
  expected.header("FTIM", 4, 4).float32(1.0F);
  expected.header("LTIM", 4, 4).float32(4.0F);
  expected.header("RATE", 4, 4).float32(0.0F);
  expected.header("SPAC", 5, 8).int64(1);
  expected.header("NOBJ", 5, 8).int64(1);
  expected.header("DOBJ", 1, 19).header("NAME", 2, 3).cstr("|a");
  expected.header("SAMS", 1, 28 + 416 + 40 + 816 + 3 * 76);
  expected.header("TIMS", 4, 12).float32(1.0F).float32(2.0F).float32(4.0F);
  expected.header("FREE", 0, 400).zeros(400);
  expected.header("JSAM", 5, 24).int64(1587).int64(1663).int64(1739);
  expected.header("FREE", 0, 800).zeros(800);
  ASSERT_EQ(1587U, expected.size());
  for (int s = 0; s < 3; ++s) {
    expected.header("SAMP", 1, 60);
    expected.header("JOBJ", 5, 8).int64(1587 + 76 * s + 40);
    expected.header("SOBJ", 1, 20);
    expected.header("POSI", 4, 4).float32(s == 0 ? 10.0F : s == 1 ? 20.0F : 40.0F);
  }
  EXPECT_TRUE(sameBytes(expected.bytes(), actual));
}

TEST_F(VekRwMemCacheSaveTest, fileOfSeveralSamplesAndObjects) {
  Model model;
  model.head.definitions = {definition("|a"), definition("|b")};
  model.sections[0].jumpRoom = 100;
  for (const float t : {1.0F, 2.0F, 3.0F}) model.add(t, {posi(t), posi(-t)});

  cache.setApplication("app");
  cache.setSourceFile("src");
  cache.setName(0, "|a");
  cache.setName(1, "|b");
  for (const float t : {1.0F, 2.0F, 3.0F}) {
    add(cache, t, 1, -t);
    add(cache, t, 0, t);
  }
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, objectsNobodyAllocatedAreEmptyGroups) {
  Model model;
  model.head.definitions = {definition("|a"), definition("|b"), definition("|c")};
  model.sections[0].jumpRoom = 100;
  model.add(1, {ByteImage(), posi(5), ByteImage()});
  model.add(2, {posi(6), ByteImage(), ByteImage()});

  cache.setApplication("app");
  cache.setSourceFile("src");
  cache.setName(0, "|a");
  cache.setName(1, "|b");
  cache.setName(2, "|c");
  add(cache, 1, 1, 5);
  add(cache, 2, 0, 6);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, emptyFieldsOfTheHeadAreLeftOut) {
  Model model = oneObject({1}, 1.0F, 100);
  model.head.application.clear();
  model.head.sourceFile.clear();
  model.head.space = 0;
  model.head.definitions = {group("DOBJ", ByteImage())};
  add(cache, 1, 0, 10);
  cache.setSpace(0);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, fileWithoutSamplesIsItsHead) {
  Model model;
  model.head.application.clear();
  model.head.sourceFile.clear();
  model.head.definitions = {definition("|a")};
  model.sections.clear();
  cache.setName(0, "|a");
  bool written = false;
  ASSERT_TRUE(cache.saveAs(path().c_str(), &written));
  EXPECT_TRUE(written);
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, unknownChunksSurviveARewrite) {
  const ByteImage unknown =
      join({posi(1), textChunk("ABCD", {"x", "", "y"}),
            ByteImage().chunk("RAWB", 0, ByteImage().raw("abc")),
            group("GRUP", join({group("DEEP", posi(3)), ByteImage().header("NONE", 4, 0)})),
            ByteImage().chunk("DBLE", 6, ByteImage().float64(2.5), 1, 9)});
  Model model;
  model.head.version = 7;
  model.head.definitions = {
      group("DOBJ", join({textChunk("NAME", {"|a"}), int64Chunk("ODEF", 5), posi(8)}))};
  model.head.more = join({int64Chunk("XTRA", 77), group("XGRP", posi(9))});
  model.sections[0].jumpRoom = 3;
  model.add(1, {unknown});
  model.add(2, {ByteImage()});
  load(model);
  cache.setName(0, "|b");
  ASSERT_TRUE(cache.save());
  model.head.definitions = {
      group("DOBJ", join({textChunk("NAME", {"|b"}), int64Chunk("ODEF", 5), posi(8)}))};
  model.sections[0].jumpRoom = 100;
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, attributesSurviveARewrite) {
  const ByteImage attributes = group(
      "DATR",
      join({group("SATR", join({textChunk("NAME", {"s1", "s2"}), textChunk("TYPE", {"t", ""})})),
            group("ATRS", join({floatChunk("ATTR", {1, 2}), textChunk("ATTR", {"text"})})),
            group("AATR", join({textChunk("NAME", {"n"}), textChunk("TYPE", {"t"})}))}));
  Model model = oneObject({1, 2}, 1.0F, 3);
  model.head.definitions = {definition("|a", attributes)};
  load(model);
  cache.setName(0, "|b");
  ASSERT_TRUE(cache.save());
  model.head.definitions = {definition("|b", attributes)};
  model.sections[0].jumpRoom = 100;
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, namesOfAttributesAreSaved) {
  const auto attributes = [](const std::string& name, const std::string& type) {
    return group("DATR",
                 group("AATR", join({textChunk("NAME", {name}), textChunk("TYPE", {type})})));
  };
  Model model = oneObject({1, 2}, 1.0F, 100);
  model.head.definitions = {definition("|a", attributes("old", "type"))};
  load(model);
  ASSERT_TRUE(cache.setAttrName(0, 0, "newer"));
  ASSERT_TRUE(cache.setAttrType(0, 0, "newest"));
  ASSERT_TRUE(cache.save());
  model.head.definitions = {definition("|a", attributes("newer", "newest"))};
  expectFile(model);
}

// ---- saveAs ----

TEST_F(VekRwMemCacheSaveTest, saveAsReportsWhatItDid) {
  add(cache, 1, 0, 1);
  bool written = false;
  bool removed = true;
  EXPECT_TRUE(cache.saveAs(path().c_str(), &written, &removed));
  EXPECT_TRUE(written);
  EXPECT_FALSE(removed);
}

TEST_F(VekRwMemCacheSaveTest, outputsMayBeNull) {
  add(cache, 1, 0, 1);
  EXPECT_TRUE(cache.saveAs(path().c_str(), nullptr, nullptr));
  EXPECT_TRUE(cache.save(nullptr, nullptr));
  cache.deleteCache();
  EXPECT_TRUE(cache.saveAs(path().c_str(), nullptr, nullptr));
}

TEST_F(VekRwMemCacheSaveTest, stateAfterASave) {
  Model model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  ASSERT_NE(nullptr, cache.getSample(1, 0));
  ASSERT_EQ(1, cache.cachedSampleIndex);
  cache.setName(0, "|longer");
  ASSERT_TRUE(cache.saveAs(path("other.vek").c_str()));
  expectClean();
  EXPECT_EQ(path("other.vek"), cache.getFilename());
  EXPECT_EQ(-1, cache.cachedSampleIndex);
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_EQ(dateOf(bytes("other.vek")), cache.getDateStamp());
  model.head.definitions = {definition("|longer")};
  model.sections[0].jumpRoom = 100;
  EXPECT_EQ(model.jumps(), cache.jumpTable);
  expectFile(model, "other.vek");
}

TEST_F(VekRwMemCacheSaveTest, saveKeepsKeepOpen) {
  load(oneObject({1, 2}, 1.0F, 2), false);
  cache.setName(0, "|longer");
  ASSERT_TRUE(cache.save());
  EXPECT_FALSE(cache.getKeepOpen());
}

TEST_F(VekRwMemCacheSaveTest, groupsStayValidAfterASave) {
  VekGroupChunk* first = cache.allocSample(1, 0);
  put(first, 7);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  EXPECT_EQ(first, cache.getSample(0, 0));
  VekGroupChunk* second = cache.allocSample(2, 0);
  ASSERT_TRUE(cache.save());
  EXPECT_EQ(first, cache.getSample(0, 0));
  EXPECT_EQ(second, cache.getSample(1, 0));
}

TEST_F(VekRwMemCacheSaveTest, saveAsElsewhereLeavesTheFirstFile) {
  const Model model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  add(cache, 4, 0, 40);
  ASSERT_TRUE(cache.appendable);
  ASSERT_TRUE(cache.saveAs(path("other.vek").c_str()));
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
  expectFile(oneObject({1, 2, 3, 4}, 1.0F, 100), "other.vek");
}

TEST_F(VekRwMemCacheSaveTest, laterSavesGoToTheNewFile) {
  const Model model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  ASSERT_TRUE(cache.saveAs(path("other.vek").c_str()));
  add(cache, 4, 0, 40);
  ASSERT_TRUE(cache.save());
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
  expectFile(oneObject({1, 2, 3, 4}, 1.0F, 99), "other.vek");
}

TEST_F(VekRwMemCacheSaveTest, saveAsOfACleanCacheWritesACopy) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  bool written = false;
  ASSERT_TRUE(cache.saveAs(path("other.vek").c_str(), &written));
  EXPECT_TRUE(written);
  expectFile(oneObject({1, 2, 3}, 1.0F, 100), "other.vek");
}

TEST_F(VekRwMemCacheSaveTest, saveAsOfACleanCacheUnderItsNameRewritesIt) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  bool written = false;
  ASSERT_TRUE(cache.saveAs(path().c_str(), &written));
  EXPECT_TRUE(written);
  expectFile(oneObject({1, 2, 3}, 1.0F, 100));
}

TEST_F(VekRwMemCacheSaveTest, sameFileUnderAnotherSpellingIsRewritten) {
  for (const bool keepOpen : {true, false}) {
    const std::string file = writeFile(oneObject({1, 2, 3}, 1.0F, 2).image());
    const std::string spelling = path("./file.vek");
    OpenRwCache fresh;
    ASSERT_TRUE(fresh.load(file.c_str(), keepOpen));
    add(fresh, 4, 0, 40);
    ASSERT_TRUE(fresh.appendable);
    ASSERT_TRUE(fresh.saveAs(spelling.c_str()));
    EXPECT_EQ(spelling, fresh.getFilename());
    expectFile(oneObject({1, 2, 3, 4}, 1.0F, 100));
  }
}

TEST_F(VekRwMemCacheSaveTest, rewriteLoadsEverySampleFirst) {
  for (const bool keepOpen : {true, false}) {
    load(oneObject({1, 2, 3}, 1.0F, 2), keepOpen);
    add(cache, 1.5F, 0, 7);
    ASSERT_TRUE(cache.save());
    EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 7, 20, 30));
    expectFileHoldsTheCache();
  }
}

TEST_F(VekRwMemCacheSaveTest, rewriteReplacesALongerFile) {
  writeFile(std::string(100000, 'x'));
  Model model = oneObject({1}, 1.0F, 100);
  cache.setApplication("app");
  cache.setSourceFile("src");
  cache.setName(0, "|a");
  add(cache, 1, 0, 10);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, evenTimesAreSavedAsUniform) {
  load(oneObject({1, 1.5F, 2}, 0.0F, 2));
  ASSERT_TRUE(cache.isNonUniform());
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  EXPECT_EQ(2.0F, cache.getRate());
  expectFile(oneObject({1, 1.5F, 2}, 2.0F, 100));
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, truncatedTimesAreSavedAsUniform) {
  load(oneObject({1, 2, 3, 5}, 0.0F, 2));
  cache.truncate(3);
  ASSERT_TRUE(cache.save());
  expectFile(oneObject({1, 2, 3}, 1.0F, 100));
}

TEST_F(VekRwMemCacheSaveTest, sampleInsertedInTheMiddleOfTwoIsSavedAsUniform) {
  load(oneObject({0, 2}, 0.5F, 2));
  add(cache, 1, 0, 10);
  ASSERT_TRUE(cache.isNonUniform());
  ASSERT_TRUE(cache.save());
  expectFile(oneObject({0, 1, 2}, 1.0F, 100));
}

TEST_F(VekRwMemCacheSaveTest, unevenTimesAreSavedAsNonUniform) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  add(cache, 1.5F, 0, 15);
  ASSERT_TRUE(cache.save());
  EXPECT_TRUE(cache.isNonUniform());
  expectFile(oneObject({1, 1.5F, 2, 3}, 0.0F, 100));
}

TEST_F(VekRwMemCacheSaveTest, truncatedTableIsSavedWithItsSamplesOnly) {
  load(oneObject({1, 2, 4, 5}, 0.0F, 2));
  cache.truncate(4);
  add(cache, 9, 0, 90);
  ASSERT_TRUE(cache.save());
  expectFile(oneObject({1, 2, 4, 9}, 0.0F, 100));
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, truncatedCacheIsSavedWithItsSamplesOnly) {
  load(oneObject({1, 2, 3, 4}, 1.0F, 2));
  cache.truncate(2);
  ASSERT_TRUE(cache.save());
  expectFile(oneObject({1, 2}, 1.0F, 100));
}

TEST_F(VekRwMemCacheSaveTest, shiftedUniformCacheIsSavedAtItsNewTimes) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  cache.shiftFirstTimeTo(10);
  ASSERT_TRUE(cache.save());
  Model model = oneObject({1, 2, 3}, 1.0F, 100);
  model.head.firstTime = 10.0F;
  model.head.lastTime = 12.0F;
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, shiftedNonUniformCacheIsRefusedByLoad) {
  load(oneObject({1, 2, 4}, 0.0F, 2));
  cache.shiftFirstTimeTo(11);
  ASSERT_TRUE(cache.save());
  Model model = oneObject({1, 2, 4}, 0.0F, 100);
  model.sections[0].times = {11, 12, 14};
  expectFile(model);
  Vek::VekCache read;
  const std::string text = captureStdout([&] { EXPECT_FALSE(read.load(path().c_str())); });
  EXPECT_EQ("first time is wrong", reportedMessage(text, "VekCache:", " "));
}

TEST_F(VekRwMemCacheSaveTest, reserveIsAsAskedForAndAtLeastAHundred) {
  const struct {
    int reserved, samples;
    std::int64_t expected;
  } cases[] = {{0, 1, 100},   {0, 50, 100}, {0, 51, 102},   {0, 60, 120},
               {1, 1, 100},   {99, 1, 100}, {101, 1, 101},  {150, 60, 150},
               {99, 60, 100}, {-1, 1, 100}, {-300, 60, 100}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.reserved << " of " << c.samples);
    for (const bool uniform : {true, false}) {
      OpenRwCache fresh;
      fresh.setReservedSamples(c.reserved);
      for (int s = 1; s < c.samples; ++s) add(fresh, static_cast<float>(s), 0, 1);
      add(fresh, static_cast<float>(uniform ? c.samples : c.samples + 7), 0, 1);
      ASSERT_TRUE(fresh.saveAs(path().c_str()));
      EXPECT_EQ(8 * c.expected, freeLengthBehind(bytes(), "JSAM"));
      EXPECT_EQ(!fresh.isNonUniform() ? -1 : 4 * c.expected, freeLengthBehind(bytes(), "TIMS"));
    }
  }
}

TEST_F(VekRwMemCacheSaveTest, definitionsAddedLaterAreAbsentInStoredSamples) {
  load(oneObject({1, 2}, 1.0F, 2));
  cache.setName(1, "|b");
  add(cache, 2, 1, 5);
  ASSERT_TRUE(cache.save());
  Model model;
  model.head.definitions = {definition("|a"), definition("|b")};
  model.sections[0].jumpRoom = 100;
  model.add(1, {posi(10), ByteImage()});
  model.add(2, {posi(20), posi(5)});
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, rewriteIsQuiet) {
  EXPECT_EQ("", captureStdout([&] {
              EXPECT_EQ("", captureStderr([&] {
                          add(cache, 1, 0, 10);
                          EXPECT_TRUE(cache.saveAs(path().c_str()));
                          add(cache, 2, 0, 20);
                          EXPECT_TRUE(cache.save());
                          EXPECT_FALSE(cache.append());
                          EXPECT_FALSE(cache.saveAs(path("missing/file.vek").c_str()));
                        }));
            }));
}

// ---- a cache without objects ----

TEST_F(VekRwMemCacheSaveTest, saveAsWithoutObjectsDeletesTheFile) {
  writeFile("anything");
  cache.dirty = true;
  cache.appendable = true;
  bool written = true;
  bool removed = false;
  EXPECT_TRUE(cache.saveAs(path().c_str(), &written, &removed));
  EXPECT_FALSE(written);
  EXPECT_TRUE(removed);
  EXPECT_FALSE(std::filesystem::exists(path()));
  expectClean();
  EXPECT_EQ("", cache.getFilename());
}

TEST_F(VekRwMemCacheSaveTest, saveAsWithoutObjectsAndFileDoesNothing) {
  bool written = true;
  bool removed = true;
  EXPECT_TRUE(cache.saveAs(path().c_str(), &written, &removed));
  EXPECT_FALSE(written);
  EXPECT_FALSE(removed);
  EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(VekRwMemCacheSaveTest, saveAsWithoutObjectsClosesTheFileAndEmptiesTheTables) {
  Model model;
  model.head.rate = 0.0F;
  for (const float t : {1.0F, 2.0F, 4.0F}) model.add(t, {});
  load(model);
  ASSERT_TRUE(cache.file.isOpen());
  ASSERT_EQ(3U, cache.jumpTable.size());
  ASSERT_EQ(3U, cache.timeTable.size());
  bool removed = false;
  EXPECT_TRUE(cache.saveAs(path().c_str(), nullptr, &removed));
  EXPECT_TRUE(removed);
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_TRUE(cache.jumpTable.empty());
  EXPECT_TRUE(cache.timeTable.empty());
}

TEST_F(VekRwMemCacheSaveTest, deletionThatFailsIsReportedInRemovedOnly) {
  std::filesystem::create_directories(path("folder/inner"));
  bool written = true;
  bool removed = true;
  EXPECT_TRUE(cache.saveAs(path("folder").c_str(), &written, &removed));
  EXPECT_FALSE(written);
  EXPECT_FALSE(removed);
  EXPECT_TRUE(std::filesystem::exists(path("folder/inner")));
}

TEST_F(VekRwMemCacheSaveTest, saveOfADeletedCacheRemovesItsFile) {
  load(oneObject({1, 2}, 1.0F, 2));
  cache.setName(0, "|b");
  cache.deleteCache();
  bool written = true;
  bool removed = false;
  EXPECT_TRUE(cache.save(&written, &removed));
  EXPECT_FALSE(written);
  EXPECT_TRUE(removed);
  EXPECT_FALSE(std::filesystem::exists(path()));
  expectClean();
}

TEST_F(VekRwMemCacheSaveTest, saveOfADeletedCleanCacheDoesNothing) {
  const Model model = oneObject({1, 2}, 1.0F, 2);
  load(model);
  cache.deleteCache();
  bool written = true;
  bool removed = true;
  EXPECT_TRUE(cache.save(&written, &removed));
  EXPECT_FALSE(written);
  EXPECT_FALSE(removed);
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
}

// ---- save ----

TEST_F(VekRwMemCacheSaveTest, saveOfACleanCacheDoesNothing) {
  const Model model = oneObject({1, 2}, 1.0F, 2);
  load(model);
  bool written = true;
  bool removed = true;
  EXPECT_TRUE(cache.save(&written, &removed));
  EXPECT_FALSE(written);
  EXPECT_FALSE(removed);
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
  EXPECT_TRUE(cache.file.isOpen());
}

TEST_F(VekRwMemCacheSaveTest, saveOfAnEmptyNewCacheDoesNothing) {
  EXPECT_TRUE(cache.save());
}

TEST_F(VekRwMemCacheSaveTest, fieldsOfTheHeadAloneAreNotSaved) {
  const Model model = oneObject({1, 2}, 1.0F, 2);
  load(model);
  cache.setApplication("new");
  bool written = true;
  EXPECT_TRUE(cache.save(&written));
  EXPECT_FALSE(written);
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
}

TEST_F(VekRwMemCacheSaveTest, saveWritesUnderTheNameOfTheCache) {
  load(oneObject({1, 2}, 1.0F, 2));
  cache.setName(0, "|longer");
  bool written = false;
  bool removed = true;
  ASSERT_TRUE(cache.save(&written, &removed));
  EXPECT_TRUE(written);
  EXPECT_FALSE(removed);
  expectClean();
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, saveWithoutANameFails) {
  add(cache, 1, 0, 10);
  bool written = true;
  bool removed = true;
  EXPECT_FALSE(cache.save(&written, &removed));
  EXPECT_FALSE(written);
  EXPECT_FALSE(removed);
  EXPECT_TRUE(cache.isDirty());
}

// ---- failures of a rewrite ----

TEST_F(VekRwMemCacheSaveTest, failedSaveAsLeavesTheCacheWholeAndDirty) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  add(cache, 4, 0, 40);
  std::filesystem::create_directory(path("folder"));
  for (const std::string& bad : {path("missing/file.vek"), path("folder"), std::string()}) {
    SCOPED_TRACE(bad);
    bool written = true;
    bool removed = true;
    EXPECT_FALSE(cache.saveAs(bad.c_str(), &written, &removed));
    EXPECT_FALSE(written);
    EXPECT_FALSE(removed);
    EXPECT_TRUE(cache.isDirty());
    EXPECT_EQ(path(), cache.getFilename());
    EXPECT_FALSE(cache.file.isOpen());
    EXPECT_THAT(timesOf(cache), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 30, 40));
  }
  ASSERT_TRUE(cache.saveAs(path("good.vek").c_str()));
  expectClean();
  expectFile(oneObject({1, 2, 3, 4}, 1.0F, 100), "good.vek");
}

TEST_F(VekRwMemCacheSaveTest, saveAsOfANullNameFails) {
  add(cache, 1, 0, 10);
  EXPECT_FALSE(cache.saveAs(nullptr));
  EXPECT_TRUE(cache.isDirty());
  EXPECT_EQ(10.0F, valueOf(cache, 0, 0));
}

TEST_F(VekRwMemCacheSaveTest, samplesThatCannotBeReadAreNotOverwritten) {
  Model model = oneObject({1, 2, 3}, 1.0F, 2);
  const auto sobj = static_cast<std::size_t>(model.jumps()[1]) + 40;
  std::string damaged = model.bytes();
  ASSERT_EQ("SOBJ", damaged.substr(sobj, 4));
  damaged[sobj] = 'X';
  load(ByteImage().raw(damaged));
  cache.setName(0, "|longer");
  EXPECT_FALSE(cache.save());
  EXPECT_TRUE(cache.isDirty());
  EXPECT_TRUE(sameBytes(damaged, bytes()));
}

TEST_F(VekRwMemCacheSaveTest, samplesOfAFileThatIsGoneAreNotReplacedByEmptyOnes) {
  load(oneObject({1, 2, 3}, 1.0F, 2), false);
  ASSERT_NE(nullptr, cache.getSample(0, 0));
  add(cache, 4, 0, 40);
  std::filesystem::remove(path());
  EXPECT_FALSE(cache.save());
  EXPECT_TRUE(cache.isDirty());
  EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(VekRwMemCacheSaveTest, fileThatIsGoneIsWrittenAnewFromMemory) {
  load(oneObject({1, 2, 3}, 1.0F, 2), false);
  for (int s = 0; s < 3; ++s) ASSERT_NE(nullptr, cache.getSample(s, 0));
  add(cache, 4, 0, 40);
  std::filesystem::remove(path());
  EXPECT_FALSE(cache.append());
  EXPECT_FALSE(std::filesystem::exists(path()));
  ASSERT_TRUE(cache.save());
  expectFile(oneObject({1, 2, 3, 4}, 1.0F, 100));
}

// ---- append in place ----

TEST_F(VekRwMemCacheSaveTest, appendFillsTheFreeSlots) {
  Model model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  add(cache, 4, 0, 44);
  EXPECT_TRUE(cache.append());
  model.append(4, {posi(44)});
  ASSERT_EQ(1, model.sections[0].jumpRoom);
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, appendByteForByte) {
  // The head takes 271 bytes, each sample 76.
  load(oneObject({1, 2}, 1.0F, 3));
  const std::string before = bytes();
  ASSERT_EQ(271U + 16 + 32 + 40 + 2 * 76, before.size());
  add(cache, 3, 0, 30);
  ASSERT_TRUE(cache.append());
  const std::string after = bytes();

  ByteImage head;
  head.header("DVEK", 5, 8).int64(2);
  head.header("META", 1, 231);
  head.header("WAPP", 2, 4).cstr("app");
  head.header("SFIL", 2, 4).cstr("src");
  head.header("DATE", 5, 8).int64(dateOf(after));
  head.header("NSAM", 5, 8).int64(3);
  head.header("FTIM", 4, 4).float32(1.0F);
  head.header("LTIM", 4, 4).float32(3.0F);
  head.header("RATE", 4, 4).float32(1.0F);
  head.header("SPAC", 5, 8).int64(1);
  head.header("NOBJ", 5, 8).int64(1);
  head.header("DOBJ", 1, 19).header("NAME", 2, 3).cstr("|a");
  head.header("SAMS", 1, 32 + 40 + 3 * 76);
  head.header("JSAM", 5, 24).int64(359).int64(435).int64(511);
  head.header("FREE", 0, 16).zeros(16);
  ASSERT_EQ(359U, head.size());
  ByteImage sample;
  sample.header("SAMP", 1, 60);
  sample.header("JOBJ", 5, 8).int64(551);
  sample.header("SOBJ", 1, 20);
  sample.header("POSI", 4, 4).float32(30.0F);
  EXPECT_TRUE(sameBytes(head.bytes() + before.substr(359) + sample.bytes(), after));
}

TEST_F(VekRwMemCacheSaveTest, appendFillsTheFreeSlotsOfBothTables) {
  Model model = oneObject({1, 2, 4}, 0.0F, 2);
  load(model);
  add(cache, 7, 0, 77);
  EXPECT_TRUE(cache.append());
  model.append(7, {posi(77)});
  ASSERT_EQ(1, model.sections[0].timeRoom);
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, appendLeavesWhatTheFreeSlotsHold) {
  for (const float rate : {1.0F, 0.0F}) {
    Model model =
        oneObject(rate == 0.0F ? std::vector<float>{1, 2, 4} : std::vector<float>{3, 4}, rate, 5);
    model.sections[0].fill = '\x5A';
    OpenRwCache fresh;
    ASSERT_TRUE(fresh.load(writeFile(model.image()).c_str()));
    add(fresh, 5, 0, 50);
    add(fresh, 6, 0, 60);
    EXPECT_TRUE(fresh.append());
    model.append(5, {posi(50)});
    model.append(6, {posi(60)});
    expectFile(model);
  }
}

TEST_F(VekRwMemCacheSaveTest, appendOfSeveralSamplesAtOnce) {
  Model model = oneObject({1, 2}, 1.0F, 5);
  load(model);
  for (const float t : {3.0F, 4.0F, 5.0F}) add(cache, t, 0, -t);
  EXPECT_TRUE(cache.append());
  for (const float t : {3.0F, 4.0F, 5.0F}) model.append(t, {posi(-t)});
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, saveAppendsWhenItCan) {
  Model model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  add(cache, 4, 0, 44);
  bool written = false;
  bool removed = true;
  EXPECT_TRUE(cache.save(&written, &removed));
  EXPECT_TRUE(written);
  EXPECT_FALSE(removed);
  model.append(4, {posi(44)});
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, saveAsUnderTheSameNameAppendsWhenItCan) {
  Model model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  add(cache, 4, 0, 44);
  bool written = false;
  EXPECT_TRUE(cache.saveAs(path().c_str(), &written));
  EXPECT_TRUE(written);
  model.append(4, {posi(44)});
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, stateAfterAnAppend) {
  Model model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  ASSERT_NE(nullptr, cache.getSample(1, 0));
  add(cache, 4, 0, 44);
  ASSERT_TRUE(cache.append());
  expectClean();
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_EQ(-1, cache.cachedSampleIndex);
  EXPECT_EQ(path(), cache.getFilename());
  EXPECT_EQ(dateOf(bytes()), cache.getDateStamp());
  model.append(4, {posi(44)});
  EXPECT_EQ(model.jumps(), cache.jumpTable);
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 30, 44));
}

TEST_F(VekRwMemCacheSaveTest, appendWorksOnAnOpenAndOnAClosedFile) {
  const std::pair<const char*, std::function<void(OpenRwCache&)>> states[] = {
      {"open", [](OpenRwCache& c) { ASSERT_TRUE(c.file.isOpen()); }},
      {"in the middle of a sample", [](OpenRwCache& c) { ASSERT_NE(nullptr, c.getSample(1, 0)); }},
      {"closed", [](OpenRwCache& c) { ASSERT_TRUE(c.close()); }},
      {"kept closed", [](OpenRwCache& c) { ASSERT_TRUE(c.setKeepOpen(false)); }}};
  for (const auto& [name, prepare] : states) {
    for (const bool constructed : {true, false}) {
      SCOPED_TRACE(name);
      Model model = oneObject({1, 2, 3}, 1.0F, 2);
      const std::string file = writeFile(model.image());
      // A constructor opens for reading only, load() for update.
      OpenRwCache fresh(constructed ? file.c_str() : writeFile(model.image(), "x.vek").c_str());
      if (!constructed) {
        ASSERT_TRUE(fresh.load(file.c_str()));
      }
      prepare(fresh);
      add(fresh, 4, 0, 44);
      EXPECT_TRUE(fresh.append());
      model.append(4, {posi(44)});
      expectFile(model);
    }
  }
}

TEST_F(VekRwMemCacheSaveTest, appendAfterAppendByTheSameCache) {
  Model model = oneObject({1, 2}, 1.0F, 4);
  load(model);
  for (const float t : {3.0F, 4.0F, 5.0F, 6.0F}) {
    add(cache, t, 0, -t);
    ASSERT_TRUE(cache.append());
    model.append(t, {posi(-t)});
    expectFile(model);
  }
}

TEST_F(VekRwMemCacheSaveTest, appendAfterAppendByNewCaches) {
  Model model = oneObject({1, 2, 4}, 0.0F, 4);
  writeFile(model.image());
  for (const float t : {7.0F, 8.0F, 11.0F, 12.0F}) {
    OpenRwCache fresh(path().c_str());
    add(fresh, t, 0, -t);
    ASSERT_TRUE(fresh.append());
    model.append(t, {posi(-t)});
    expectFile(model);
  }
}

TEST_F(VekRwMemCacheSaveTest, cacheSavedOnceIsAppendedTo) {
  cache.setApplication("app");
  cache.setSourceFile("src");
  cache.setName(0, "|a");
  add(cache, 1, 0, 10);
  add(cache, 2, 0, 20);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  add(cache, 3, 0, 30);
  ASSERT_TRUE(cache.append());
  expectFile(oneObject({1, 2, 3}, 1.0F, 99));
}

TEST_F(VekRwMemCacheSaveTest, secondSampleIsAppendedWithItsRate) {
  Model model = oneObject({1}, 1.0F, 2);
  load(model);
  add(cache, 3, 0, 30);
  ASSERT_TRUE(cache.append());
  model.append(3, {posi(30)});
  model.head.rate = 0.5F;
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, frameIsAppendedWithAllItsObjects) {
  Model model;
  model.head.definitions = {definition("|a"), definition("|b"), definition("|c")};
  model.sections[0].jumpRoom = 2;
  model.add(1, {posi(1), posi(2), posi(3)});
  model.add(2, {posi(4), posi(5), posi(6)});
  load(model);
  std::vector<VekGroupChunk*> sobjs;
  ASSERT_TRUE(cache.allocFrame(3, sobjs));
  put(sobjs[0], 7);
  put(sobjs[2], 9);
  ASSERT_TRUE(cache.append());
  model.append(3, {posi(7), ByteImage(), posi(9)});
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, objectsNobodyAllocatedAreAppendedAsEmptyGroups) {
  Model model;
  model.head.definitions = {definition("|a"), definition("|b"), definition("|c")};
  model.sections[0].jumpRoom = 2;
  model.add(1, {posi(1), posi(2), posi(3)});
  load(model);
  add(cache, 2, 1, 5);
  ASSERT_TRUE(cache.append());
  model.append(2, {ByteImage(), posi(5), ByteImage()});
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, editedNewSampleIsAppendedWithALaterOne) {
  Model model;
  model.head.definitions = {definition("|a"), definition("|b")};
  model.sections[0].jumpRoom = 4;
  model.add(1, {posi(1), posi(2)});
  model.add(2, {posi(3), posi(4)});
  load(model);
  add(cache, 3, 0, 5);
  add(cache, 3, 1, 6);
  EXPECT_FALSE(cache.append());
  add(cache, 4, 0, 7);
  ASSERT_TRUE(cache.append());
  model.append(3, {posi(5), posi(6)});
  model.append(4, {posi(7), ByteImage()});
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, appendReadsNoStoredSample) {
  // Damaged samples that stay where they are do not matter to it.
  Model model = oneObject({1, 2, 3}, 1.0F, 2);
  std::string damaged = model.bytes();
  const auto first = static_cast<std::size_t>(model.jumps()[0]);
  const std::size_t size = damaged.size() - first;
  damaged.replace(first, size, std::string(size, 'X'));
  load(ByteImage().raw(damaged));
  add(cache, 4, 0, 44);
  ASSERT_TRUE(cache.append());
  EXPECT_TRUE(sameBytes(damaged.substr(first), bytes().substr(first, size)));
}

// ---- the head in place ----

TEST_F(VekRwMemCacheSaveTest, fieldsOfTheHeadAreReplacedInPlace) {
  Model model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  cache.setApplication("new");
  cache.setSourceFile("SRC");
  cache.setSpace(0);
  add(cache, 4, 0, 44);
  ASSERT_TRUE(cache.append());
  model.append(4, {posi(44)});
  model.head.application = "new";
  model.head.sourceFile = "SRC";
  model.head.space = 0;
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, nameOfTheSameLengthIsReplacedInPlace) {
  for (const bool nameFirst : {true, false}) {
    Model model = oneObject({1, 2, 3}, 1.0F, 2);
    load(model);
    if (nameFirst) cache.setName(0, "|z");
    add(cache, 4, 0, 44);
    cache.setName(0, "|z");
    ASSERT_TRUE(cache.append());
    model.append(4, {posi(44)});
    model.head.definitions = {definition("|z")};
    expectFile(model);
  }
}

TEST_F(VekRwMemCacheSaveTest, headOfTheSameLengthInAllIsReplacedInPlace) {
  Model model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  cache.setApplication("longer");
  cache.setSourceFile("s");
  cache.setName(0, "|");
  add(cache, 4, 0, 44);
  ASSERT_TRUE(cache.append());
  model.append(4, {posi(44)});
  model.head.application = "longer";
  model.head.sourceFile = "s";
  model.head.definitions = {definition("|")};
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, shiftedUniformTimesAreReplacedInPlace) {
  Model model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  cache.shiftFirstTimeTo(10);
  add(cache, 13, 0, 44);
  ASSERT_TRUE(cache.append());
  model.append(13, {posi(44)});
  model.head.firstTime = 10.0F;
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, attributesOfTheSameLengthAreReplacedInPlace) {
  const auto attributes = [](const std::string& name, float value) {
    return definition("|a", group("DATR", join({group("SATR", join({textChunk("NAME", {name}),
                                                                    textChunk("TYPE", {"float"})})),
                                                group("ATRS", floatChunk("ATTR", {value}))})));
  };
  Model model = oneObject({1, 2, 3}, 1.0F, 2);
  model.head.definitions = {attributes("old", 1)};
  load(model);
  ASSERT_TRUE(cache.setAttrName(0, 0, "new"));
  auto* values = Vek::asLeaf<float>(cache.metadata.dobjs[0]->getDATR()->getStaticData(0));
  ASSERT_NE(nullptr, values);
  values->setData({2});
  add(cache, 4, 0, 44);
  ASSERT_TRUE(cache.append());
  model.append(4, {posi(44)});
  model.head.definitions = {attributes("new", 2)};
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, unknownChunkAsLongAsTheMissingApplicationFits) {
  // The computed length counts WAPP with its NUL, 17 bytes, and no unknown chunk.
  Model model = oneObject({1, 2, 3}, 1.0F, 2);
  model.head.application.clear();
  model.head.more = ByteImage().chunk("XTRA", 0, ByteImage().raw("x"));
  load(model);
  add(cache, 4, 0, 44);
  ASSERT_TRUE(cache.append());
  model.append(4, {posi(44)});
  expectFile(model);
}

// ---- sections ----

TEST_F(VekRwMemCacheSaveTest, lastFreeSlotLeavesAFreeChunkOfNoLength) {
  Model model = oneObject({1, 2}, 1.0F, 1);
  load(model);
  add(cache, 3, 0, 33);
  ASSERT_TRUE(cache.append());
  model.append(3, {posi(33)});
  ASSERT_EQ(0, model.sections[0].jumpRoom);
  expectFile(model);
  EXPECT_EQ(0, freeLengthBehind(bytes(), "JSAM"));
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, sectionWithoutRoomIsFollowedByANewOneAtTheEnd) {
  for (const float rate : {1.0F, 0.0F}) {
    for (const std::int64_t room : {0, -1}) {
      SCOPED_TRACE(::testing::Message() << "rate " << rate << " room " << room);
      Model model = oneObject(rate == 0.0F ? std::vector<float>{1, 2, 4} : std::vector<float>{3, 4},
                              rate, room);
      load(model);
      const std::string before = bytes();
      const std::size_t head = savedHeadImage(model.head).size();
      add(cache, 5, 0, 55);
      ASSERT_TRUE(cache.append());
      model.startSection(100);
      model.add(5, {posi(55)});
      expectFile(model);
      expectFileHoldsTheCache();
      EXPECT_TRUE(sameBytes(before.substr(head), bytes().substr(head, before.size() - head)));
    }
  }
}

TEST_F(VekRwMemCacheSaveTest, newSectionByteForByte) {
  // Of 271 + 16 + 24 + 76 bytes; the section's first sample stands 16 + 24 + 16 + 800 further on.
  load(oneObject({1}, 1.0F, -1));
  const std::string before = bytes();
  ASSERT_EQ(387U, before.size());
  add(cache, 2, 0, 20);
  ASSERT_TRUE(cache.append());
  ByteImage section;
  section.header("SAMS", 1, 24 + 816 + 76);
  section.header("JSAM", 5, 8).int64(1243);
  section.header("FREE", 0, 800).zeros(800);
  section.header("SAMP", 1, 60);
  section.header("JOBJ", 5, 8).int64(1283);
  section.header("SOBJ", 1, 20);
  section.header("POSI", 4, 4).float32(20.0F);
  EXPECT_TRUE(sameBytes(before.substr(271) + section.bytes(), bytes().substr(271)));
}

TEST_F(VekRwMemCacheSaveTest, newSectionHoldsAllNewSamplesWhenTheRoomIsTooSmall) {
  Model model = oneObject({1, 2}, 1.0F, 2);
  load(model);
  for (const float t : {3.0F, 4.0F, 5.0F}) add(cache, t, 0, -t);
  ASSERT_TRUE(cache.append());
  model.startSection(100);
  for (const float t : {3.0F, 4.0F, 5.0F}) model.add(t, {posi(-t)});
  expectFile(model);

  // The free slots of the first section are never used again.
  add(cache, 6, 0, -6);
  ASSERT_TRUE(cache.append());
  model.append(6, {posi(-6)});
  ASSERT_EQ(2, model.sections[0].jumpRoom);
  expectFile(model);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, roomForExactlyTheNewSamplesIsUsed) {
  Model model = oneObject({1, 2}, 1.0F, 3);
  load(model);
  for (const float t : {3.0F, 4.0F, 5.0F}) add(cache, t, 0, -t);
  ASSERT_TRUE(cache.append());
  for (const float t : {3.0F, 4.0F, 5.0F}) model.append(t, {posi(-t)});
  ASSERT_EQ(1U, model.sections.size());
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, roomOfAnEarlierSectionDoesNotCount) {
  for (const float rate : {1.0F, 0.0F}) {
    SCOPED_TRACE(rate);
    Model model =
        oneObject(rate == 0.0F ? std::vector<float>{1, 2} : std::vector<float>{3, 4}, rate, 10);
    model.startSection(-1);
    model.add(5, {posi(50)});
    OpenRwCache fresh;
    ASSERT_TRUE(fresh.load(writeFile(model.image()).c_str()));
    add(fresh, 6, 0, 60);
    ASSERT_TRUE(fresh.append());
    model.startSection(100);
    model.add(6, {posi(60)});
    expectFile(model);
  }
}

TEST_F(VekRwMemCacheSaveTest, lastOfSeveralSectionsIsContinued) {
  Model model = oneObject({1, 2}, 1.0F, 0);
  model.startSection(7);
  model.add(3, {posi(30)});
  model.startSection(5);
  model.add(4, {posi(40)});
  model.add(5, {posi(50)});
  load(model);
  add(cache, 6, 0, 60);
  ASSERT_TRUE(cache.append());
  model.append(6, {posi(60)});
  ASSERT_EQ(4, model.sections[2].jumpRoom);
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, roomOfANewSectionIsAsAskedForAndAtLeastAHundred) {
  const struct {
    int reserved, samples;
    std::int64_t expected;
  } cases[] = {{0, 2, 100}, {0, 51, 104}, {0, 60, 122}, {5, 60, 100}, {130, 2, 130}, {-7, 60, 100}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.reserved << " of " << c.samples);
    std::vector<float> times;
    for (int s = 1; s <= c.samples; ++s) times.push_back(static_cast<float>(s));
    Model model = oneObject(times, 1.0F, -1);
    OpenRwCache fresh;
    ASSERT_TRUE(fresh.load(writeFile(model.image()).c_str()));
    fresh.setReservedSamples(c.reserved);
    const auto last = static_cast<float>(c.samples + 1);
    add(fresh, last, 0, 1);
    ASSERT_TRUE(fresh.append());
    model.startSection(c.expected);
    model.add(last, {posi(1)});
    expectFile(model);
  }
}

TEST_F(VekRwMemCacheSaveTest, tablesOfAllSectionsAreJoined) {
  Model model = oneObject({1, 2}, 1.0F, 1);
  load(model);
  add(cache, 3, 0, 30);
  ASSERT_TRUE(cache.append());
  model.append(3, {posi(30)});
  add(cache, 4, 0, 40);
  ASSERT_TRUE(cache.append());
  model.startSection(100);
  model.add(4, {posi(40)});
  add(cache, 5, 0, 50);
  ASSERT_TRUE(cache.append());
  model.append(5, {posi(50)});

  OpenCache read;
  ASSERT_TRUE(read.load(path().c_str()));
  EXPECT_EQ(model.jumps(), read.jumpTable);
  EXPECT_EQ(model.jumps(), cache.jumpTable);
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, appendsNeverChangeAnEarlierSample) {
  for (const float rate : {1.0F, 0.0F}) {
    Model model = oneObject(
        rate == 0.0F ? std::vector<float>{-4, -2, 0} : std::vector<float>{-1, 0}, rate, 2);
    writeFile(model.image());
    std::vector<float> expected = {};
    for (const float t : rate == 0.0F ? std::vector<float>{-4, -2, 0} : std::vector<float>{-1, 0}) {
      expected.push_back(stored(t));
    }
    OpenRwCache fresh(path().c_str());
    for (int round = 1; round <= 110; ++round) {
      SCOPED_TRACE(round);
      const std::string before = bytes();
      const std::vector<std::int64_t> jumps = fresh.jumpTable;
      add(fresh, static_cast<float>(round), 0, static_cast<float>(round));
      expected.push_back(static_cast<float>(round));
      ASSERT_TRUE(fresh.append());
      const std::string after = bytes();
      ASSERT_EQ(jumps.size() + 1, fresh.jumpTable.size());
      for (std::size_t s = 0; s < jumps.size(); ++s) {
        ASSERT_EQ(jumps[s], fresh.jumpTable[s]);
        const auto at = static_cast<std::size_t>(jumps[s]);
        ASSERT_EQ(before.substr(at, 76), after.substr(at, 76)) << "sample " << s;
      }
    }
    Vek::VekRoMemCache read(path().c_str());
    EXPECT_EQ(expected, valuesOf(read, 0));
    EXPECT_EQ(timesOf(fresh), timesOf(read));
  }
}

// ---- a cache without samples ----

TEST_F(VekRwMemCacheSaveTest, appendWithoutSamplesWritesTheHead) {
  Model model;
  model.head.definitions = {definition("|a")};
  model.sections.clear();
  load(model);
  cache.setName(0, "|longer");
  ASSERT_TRUE(cache.append());
  model.head.definitions = {definition("|longer")};
  expectFile(model);
  expectClean();
  EXPECT_FALSE(cache.file.isOpen());
}

TEST_F(VekRwMemCacheSaveTest, appendWithoutSamplesNeedsNoEdit) {
  Model model;
  model.head.definitions = {definition("|a")};
  model.sections.clear();
  load(model);
  EXPECT_TRUE(cache.append());
  expectFile(model);
}

TEST_F(VekRwMemCacheSaveTest, appendWithoutSamplesReplacesAFileThatHasSome) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  cache.deleteCache();
  cache.setName(0, "|a");
  ASSERT_TRUE(cache.save());
  Model model;
  model.head.application.clear();
  model.head.sourceFile.clear();
  model.head.definitions = {definition("|a")};
  model.sections.clear();
  expectFile(model);
}

// ---- what an append refuses ----

TEST_F(VekRwMemCacheSaveTest, appendOfACleanCacheIsFalse) {
  const Model model = oneObject({1, 2, 3}, 1.0F, 2);
  load(model);
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
  expectClean();
}

TEST_F(VekRwMemCacheSaveTest, appendWithoutObjectsIsFalse) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  const std::string before = bytes();
  cache.deleteCache();
  cache.appendable = true;
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(sameBytes(before, bytes()));
}

TEST_F(VekRwMemCacheSaveTest, appendWithoutANameIsFalse) {
  add(cache, 1, 0, 10);
  add(cache, 2, 0, 20);
  ASSERT_TRUE(cache.appendable);
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(cache.isDirty());
}

#if defined(VEK_TEST_POSIX)
TEST_F(VekRwMemCacheSaveTest, appendToAReadOnlyFileIsFalse) {
  const Model model = oneObject({1, 2, 3}, 1.0F, 2);
  writeFile(model.image());
  std::filesystem::permissions(path(), std::filesystem::perms(0444));
  EXPECT_TRUE(asOrdinaryUser([&] {
    OpenRwCache readOnly(path().c_str());
    add(readOnly, 4, 0, 40);
    return readOnly.appendable && !readOnly.append() && !readOnly.save() && readOnly.isDirty();
  }));
  EXPECT_TRUE(sameBytes(model.bytes(), bytes()));
}
#endif

TEST_F(VekRwMemCacheSaveTest, editedSampleNeedsARewrite) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  VekGroupChunk* sobj = cache.allocSample(2, 0);
  ASSERT_NE(nullptr, sobj);
  sobj->reset();
  put(sobj, 5);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 5, 30));
}

TEST_F(VekRwMemCacheSaveTest, editedSampleBeforeANewOneNeedsARewrite) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  VekGroupChunk* sobj = cache.allocSample(2, 0);
  ASSERT_NE(nullptr, sobj);
  sobj->reset();
  put(sobj, 5);
  add(cache, 4, 0, 40);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 5, 30, 40));
}

TEST_F(VekRwMemCacheSaveTest, insertedSampleNeedsARewrite) {
  for (const float time : {0.0F, 1.5F}) {
    load(oneObject({1, 2, 3}, 1.0F, 2));
    add(cache, time, 0, 5);
    expectAppendRefused();
  }
}

TEST_F(VekRwMemCacheSaveTest, insertedSampleBeforeANewOneNeedsARewrite) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  add(cache, 0, 0, 5);
  add(cache, 4, 0, 40);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(5, 10, 20, 30, 40));
}

TEST_F(VekRwMemCacheSaveTest, truncationBeforeANewSampleNeedsARewrite) {
  load(oneObject({1, 2, 3}, 1.0F, 5));
  cache.truncate(2);
  for (const float t : {3.0F, 4.0F, 5.0F}) add(cache, t, 0, -t);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, -3, -4, -5));
}

TEST_F(VekRwMemCacheSaveTest, secondObjectOfANewSampleNeedsARewrite) {
  Model model;
  model.head.definitions = {definition("|a"), definition("|b")};
  model.sections[0].jumpRoom = 2;
  model.add(1, {posi(1), posi(2)});
  load(model);
  add(cache, 2, 0, 3);
  add(cache, 2, 1, 4);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 1), ElementsAre(2, 4));
}

TEST_F(VekRwMemCacheSaveTest, samplesAfterARewriteAreAppendedAgain) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  add(cache, 1, 0, 5);
  ASSERT_TRUE(cache.save());
  add(cache, 4, 0, 40);
  ASSERT_TRUE(cache.appendable);
  ASSERT_TRUE(cache.append());
  EXPECT_EQ(792, freeLengthBehind(bytes(), "JSAM"));
  expectFileHoldsTheCache();
}

TEST_F(VekRwMemCacheSaveTest, deletedAndRefilledCacheKeepsNothingOfTheFile) {
  const std::pair<const char*, std::function<void(OpenRwCache&)>> ways[] = {
      {"deleteCache", [](OpenRwCache& c) { c.deleteCache(); }},
      {"truncate", [](OpenRwCache& c) { c.truncate(0); }}};
  for (const auto& [name, empty] : ways) {
    SCOPED_TRACE(name);
    load(oneObject({1, 2, 3}, 1.0F, 20));
    empty(cache);
    cache.setApplication("app");
    cache.setSourceFile("src");
    cache.setName(0, "|a");
    for (const float t : {1.0F, 2.0F, 3.0F, 4.0F, 5.0F}) add(cache, t, 0, -t);
    ASSERT_TRUE(cache.save());
    expectFileHoldsTheCache();
    EXPECT_THAT(valuesOf(cache, 0), ElementsAre(-1, -2, -3, -4, -5));
    Vek::VekRoMemCache read(path().c_str());
    EXPECT_THAT(valuesOf(read, 0), ElementsAre(-1, -2, -3, -4, -5));
  }
}

TEST_F(VekRwMemCacheSaveTest, shiftOfANonUniformCacheIsSavedWithANewSample) {
  for (const bool shiftFirst : {true, false}) {
    OpenRwCache fresh;
    ASSERT_TRUE(fresh.load(writeFile(oneObject({1, 2, 4}, 0.0F, 2).image()).c_str()));
    if (shiftFirst) fresh.shiftFirstTimeTo(11);
    add(fresh, 20, 0, 5);
    if (!shiftFirst) fresh.shiftFirstTimeTo(11);
    ASSERT_TRUE(fresh.save());
    const std::string after = bytes();
    const std::size_t tims = after.find("TIMS");
    ASSERT_NE(std::string::npos, tims);
    const ByteImage expected =
        shiftFirst ? floatChunk("TIMS", {11, 12, 14, 20}) : floatChunk("TIMS", {11, 12, 14, 30});
    EXPECT_TRUE(sameBytes(expected.bytes(), after.substr(tims, expected.size())));
  }
}

/// Heads whose computed length differs from what the file holds.
struct HeadCase {
  const char* name;
  std::function<void(Model&)> file;
  std::function<void(OpenRwCache&)> edit;
};

void noFileChange(Model&) {}
void noEdit(OpenRwCache&) {}

class VekRwMemCacheHeadTest : public VekRwMemCacheSaveTest,
                              public ::testing::WithParamInterface<HeadCase> {};

TEST_P(VekRwMemCacheHeadTest, headThatDoesNotFitNeedsARewrite) {
  Model model = oneObject({1, 2, 3}, 1.0F, 2);
  GetParam().file(model);
  load(model);
  GetParam().edit(cache);
  add(cache, 4, 0, 40);
  ASSERT_TRUE(cache.appendable);
  expectAppendRefused();
}

const HeadCase headCases[] = {
    {"longerApplication", noFileChange, [](OpenRwCache& c) { c.setApplication("longer"); }},
    {"shorterApplication", noFileChange, [](OpenRwCache& c) { c.setApplication("a"); }},
    {"longerSourceFile", noFileChange, [](OpenRwCache& c) { c.setSourceFile("longer"); }},
    {"longerName", noFileChange, [](OpenRwCache& c) { c.setName(0, "|longer"); }},
    {"shorterName", noFileChange, [](OpenRwCache& c) { c.setName(0, "a"); }},
    {"newDefinition", noFileChange, [](OpenRwCache& c) { c.setName(1, "|b"); }},
    {"newAttribute", noFileChange,
     [](OpenRwCache& c) { c.metadata.dobjs[0]->addAttr(true, "n", "t", Vek::ValueType::Float); }},
    {"noApplicationInTheFile", [](Model& m) { m.head.application.clear(); }, noEdit},
    {"noSourceFileInTheFile", [](Model& m) { m.head.sourceFile.clear(); }, noEdit},
    {"noDateInTheFile", [](Model& m) { m.head.date = 0; }, noEdit},
    {"applicationOnlyInTheCache", [](Model& m) { m.head.application.clear(); },
     [](OpenRwCache& c) { c.setApplication("app"); }},
    {"unknownChunkInTheHead", [](Model& m) { m.head.more = int64Chunk("XTRA", 5); }, noEdit},
    {"objectWithoutAName", [](Model& m) { m.head.definitions = {group("DOBJ", ByteImage())}; },
     noEdit},
    // From here on the computed length equals the file's, while the true one does not.
    {"applicationMovedToTheSourceFile", noFileChange,
     [](OpenRwCache& c) {
       c.setApplication("");
       c.setSourceFile("appsrc");
     }},
    {"applicationGrownByTheLengthOfAnUnknownChunk",
     [](Model& m) { m.head.more = int64Chunk("XTRA", 5); },
     [](OpenRwCache& c) { c.setApplication("app" + std::string(24, 'x')); }},
    {"valuesOfAnAttributeGrownBehindItsBack",
     [](Model& m) {
       m.head.definitions = {definition(
           "|a",
           group("DATR",
                 join({group("SATR", join({textChunk("NAME", {"n"}), textChunk("TYPE", {"t"})})),
                       group("ATRS", floatChunk("ATTR", {1}))})))};
     },
     [](OpenRwCache& c) {
       auto* leaf = Vek::asLeaf<float>(c.metadata.dobjs[0]->getDATR()->getStaticData(0));
       ASSERT_NE(nullptr, leaf);
       leaf->data.assign(500, 2.0F);
     }}};

INSTANTIATE_TEST_SUITE_P(Heads, VekRwMemCacheHeadTest, ::testing::ValuesIn(headCases),
                         [](const auto& which) { return std::string(which.param.name); });

TEST_F(VekRwMemCacheSaveTest, definitionAddedWithANewSampleNeedsARewrite) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  add(cache, 4, 1, 5);
  ASSERT_TRUE(cache.appendable);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 30, -1));
  EXPECT_THAT(valuesOf(cache, 1), ElementsAre(-1, -1, -1, 5));
}

TEST_F(VekRwMemCacheSaveTest, uniformFileCannotTakeANonUniformCache) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  add(cache, 5, 0, 50);
  ASSERT_TRUE(cache.appendable);
  expectAppendRefused();
  EXPECT_TRUE(cache.isNonUniform());
}

TEST_F(VekRwMemCacheSaveTest, fileWithTimesCannotTakeAUniformCache) {
  load(oneObject({1, 2}, 0.0F, 2));
  add(cache, 3, 0, 30);
  ASSERT_TRUE(cache.appendable);
  expectAppendRefused();
  EXPECT_FALSE(cache.isNonUniform());
}

TEST_F(VekRwMemCacheSaveTest, fileWithOneTimeCannotTakeASecondSample) {
  load(oneObject({4}, 0.0F, 2));
  add(cache, 6, 0, 60);
  ASSERT_TRUE(cache.appendable);
  expectAppendRefused();
  EXPECT_EQ(0.5F, cache.getRate());
}

TEST_F(VekRwMemCacheSaveTest, differentRoomBehindTheTablesNeedsARewrite) {
  for (const std::int64_t timeRoom : {4, 6, 200}) {
    SCOPED_TRACE(timeRoom);
    Model model = oneObject({1, 2, 4}, 0.0F, 5);
    model.sections[0].timeRoom = timeRoom;
    load(model);
    add(cache, 7, 0, 70);
    expectAppendRefused();
  }
}

TEST_F(VekRwMemCacheSaveTest, timesWithoutRoomMakeTheAppendFail) {
  // The jump table has free slots, the time table none.
  Model model = oneObject({1, 2, 4}, 0.0F, 5);
  model.sections[0].timeRoom = -1;
  load(model);
  add(cache, 7, 0, 70);
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(cache.isDirty());
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 40, 70));
  expectRewritten();
}

TEST_F(VekRwMemCacheSaveTest, timesBehindTheJumpTableNeedARewrite) {
  Model model = oneObject({1, 2, 4}, 0.0F, 5);
  model.sections[0].jumpsFirst = true;
  load(model);
  add(cache, 7, 0, 70);
  expectAppendRefused();
}

// Nothing in the cache tells then that the file has times.
TEST_F(VekRwMemCacheSaveTest, timesBehindTheJumpTableNeedARewriteOfEvenTimes) {
  Model model = oneObject({1}, 0.0F, 5);
  model.sections[0].jumpsFirst = true;
  load(model);
  add(cache, 2, 0, 20);
  expectAppendRefused();
  EXPECT_EQ(1.0F, cache.getRate());
}

// Readers look for the end of the tables up to the end of the file.
TEST_F(VekRwMemCacheSaveTest, sectionWithoutItsSamplesNeedsARewriteWhenItIsFull) {
  const Model model = oneObject({1, 2, 3}, 1.0F, 0);
  std::string damaged = model.bytes();
  const auto first = static_cast<std::size_t>(model.jumps()[0]);
  const std::size_t size = damaged.size() - first;
  damaged.replace(first, size, std::string(size, 'X'));
  load(ByteImage().raw(damaged));
  add(cache, 4, 0, 40);
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(sameBytes(damaged, bytes()));
}

TEST_F(VekRwMemCacheSaveTest, sectionBeforeTheHeadNeedsARewrite) {
  const Model model = oneObject({1, 2, 3}, 1.0F, 2);
  // The sections move by the 16 bytes of an empty one before META.
  ByteImage file = ByteImage().raw(model.bytes().substr(0, 24)).header("SAMS", 1, 0);
  const ByteImage head = savedHeadImage(model.head);
  file.raw(head.bytes().substr(24));
  addSection(file, model.sections[0]);
  load(file);
  add(cache, 4, 0, 40);
  expectAppendRefused();
}

TEST_F(VekRwMemCacheSaveTest, chunksOtherThanHeadAndSectionsAreSkipped) {
  const Model model = oneObject({1, 2, 3}, 1.0F, 2);
  SavedHead grown = model.head;
  grown.numSamples = 4;
  grown.lastTime = 4.0F;
  Section longer = model.sections[0];
  longer.objects.push_back({posi(40)});
  longer.jumpRoom = 1;
  const ByteImage between = join({group("XGRP", posi(1)), int64Chunk("XTRA", 5)});
  const auto build = [&](const SavedHead& head, const Section& section) {
    const std::string headBytes = savedHeadImage(head).bytes();
    ByteImage file = ByteImage().raw(headBytes.substr(0, 24)).raw(between);
    file.raw(headBytes.substr(24)).raw(between);
    addSection(file, section);
    return file;
  };
  load(build(model.head, model.sections[0]));
  add(cache, 4, 0, 40);
  ASSERT_TRUE(cache.append());
  grown.date = dateOf(bytes());
  EXPECT_TRUE(sameBytes(build(grown, longer).bytes(), bytes()));
}

TEST_F(VekRwMemCacheSaveTest, chunkBehindTheSectionsDoesNoHarm) {
  for (const std::int64_t room : {2, 0, -1}) {
    SCOPED_TRACE(room);
    ByteImage file = oneObject({1, 2, 3}, 1.0F, room).image();
    file.raw(group("TAIL", posi(1)));
    load(file);
    add(cache, 4, 0, 40);
    ASSERT_TRUE(cache.save());
    expectFileHoldsTheCache();
    add(cache, 5, 0, 50);
    ASSERT_TRUE(cache.save());
    expectFileHoldsTheCache();
  }
}

TEST_F(VekRwMemCacheSaveTest, fileThatGrewMeanwhileNeedsARewrite) {
  load(oneObject({1, 2, 3}, 1.0F, 5));
  {
    OpenRwCache other(path().c_str());
    add(other, 4, 0, 40);
    ASSERT_TRUE(other.append());
  }
  add(cache, 4, 0, 44);
  expectAppendRefused();
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 30, 44));
}

TEST_F(VekRwMemCacheSaveTest, fileDamagedMeanwhileNeedsARewrite) {
  const Model model = oneObject({1, 2, 3}, 1.0F, 5);
  const std::string whole = model.bytes();
  const struct {
    const char* name;
    std::size_t at;
    std::string patch;
  } damages[] = {{"tag of the file header", 0, "ZZZZ"},
                 {"length of the file header", 8, std::string(1, '\x09')},
                 {"tag of the head", 24, "ZZZZ"},
                 {"tag of the section", whole.find("SAMS"), "ZZZZ"},
                 {"length of the head", 32, std::string(1, '\x7F')}};
  for (const auto& damage : damages) {
    SCOPED_TRACE(damage.name);
    load(model);
    add(cache, 4, 0, 40);
    overwrite(path(), damage.at, damage.patch);
    expectAppendRefused();
  }
}

TEST_F(VekRwMemCacheSaveTest, fileThatLostItsJumpTableMeanwhileIsWrittenAnew) {
  for (const bool inMemory : {false, true}) {
    SCOPED_TRACE(inMemory);
    const Model model = oneObject({1, 2, 3}, 1.0F, 5);
    load(model);
    if (inMemory) valuesOf(cache, 0);
    add(cache, 4, 0, 40);
    overwrite(path(), model.bytes().find("JSAM"), "ZZZZ");
    ASSERT_TRUE(cache.save());
    expectFileHoldsTheCache();
    EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 30, 40));
  }
}

TEST_F(VekRwMemCacheSaveTest, fileWithoutASectionNeedsARewrite) {
  Model model;
  model.head.definitions = {definition("|a")};
  model.sections.clear();
  load(model);
  add(cache, 1, 0, 10);
  add(cache, 2, 0, 20);
  ASSERT_TRUE(cache.appendable);
  expectAppendRefused();
}

TEST_F(VekRwMemCacheSaveTest, cacheIsSavedElsewhereAfterAnAppendWasRefused) {
  load(oneObject({1, 2, 3}, 1.0F, 2));
  cache.setName(0, "|longer");
  add(cache, 4, 0, 40);
  EXPECT_FALSE(cache.append());
  ASSERT_TRUE(cache.saveAs(path("other.vek").c_str()));
  expectFileHoldsTheCache("other.vek");
  EXPECT_THAT(valuesOf(cache, 0), ElementsAre(10, 20, 30, 40));
}

}  // namespace
