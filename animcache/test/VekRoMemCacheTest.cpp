// SPDX-License-Identifier: Apache-2.0
//
// The read-only memory cache: what it holds and for how long, the limit and its least recently used
// rule, its five virtual operations, attributes, values at a time, and files that are damaged.

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <list>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ByteImage.h"
#include "SceneImage.h"
#include "VekCache.h"

namespace {

using namespace VekTest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Vek::asLeaf;
using Vek::VekChunk;
using Vek::VekGroupChunk;
using Vek::VekLeafChunk;
using Vek::VekRoMemCache;
using Vek::VekRwMemCache;
namespace Tag = Vek::Tag;

constexpr unsigned int kZzzz = Vek::makeTag('Z', 'Z', 'Z', 'Z');
constexpr int kSamples = 5;
constexpr int kObjects = 3;

/// A read-only cache whose inside tests may reach.
class OpenRoCache : public VekRoMemCache {
 public:
  using VekRoMemCache::VekRoMemCache;

  using VekRoMemCache::deleteAllSamples;
  using VekRoMemCache::deleteSample;
  using VekRoMemCache::loadAllSamples;
  using VekRoMemCache::loadSamplesNotGreaterThan;

  using VekRoMemCache::file;
  using VekRoMemCache::maxSamples;
  using VekRoMemCache::metadata;
  using VekRoMemCache::openMode;
  using VekRoMemCache::recentSamples;
  using VekRoMemCache::sampleTable;

  /// The held data of an object in a sample, null when not held.
  const VekGroupChunk* entry(int sample, int obj) const {
    const auto s = static_cast<std::size_t>(sample);
    const auto o = static_cast<std::size_t>(obj);
    if (s >= sampleTable.size() || sampleTable[s] == nullptr) return nullptr;
    return o < sampleTable[s]->size() ? (*sampleTable[s])[o].get() : nullptr;
  }
  /// The samples of which anything is held.
  std::vector<int> held() const {
    std::vector<int> samples;
    for (std::size_t s = 0; s < sampleTable.size(); ++s) {
      if (sampleTable[s] != nullptr) samples.push_back(static_cast<int>(s));
    }
    return samples;
  }
  std::vector<int> recent() const { return {recentSamples.begin(), recentSamples.end()}; }
};

// --- Byte images --------------------------------------------------------------------------------

/// Attribute definitions: names of the animated and the static ones, and the static values.
ByteImage attributes(const std::vector<std::string>& animated,
                     const std::vector<std::string>& fixed, const ByteImage& values) {
  ByteImage image;
  if (!fixed.empty()) {
    const std::vector<std::string> types(fixed.size(), "t");
    image.raw(group("SATR", join({textChunk("NAME", fixed), textChunk("TYPE", types)})));
    image.raw(group("ATRS", values));
  }
  if (!animated.empty()) {
    const std::vector<std::string> types(animated.size(), "t");
    image.raw(group("AATR", join({textChunk("NAME", animated), textChunk("TYPE", types)})));
  }
  return group("DATR", image);
}

struct Scene {
  ByteImage image;
  StreamLayout layout;
};

/// A file of uniform samples at frames 1, 1.5, 2, ..., object o of sample s having the payload
/// `objects[s][o]`.
Scene makeScene(const std::vector<ByteImage>& definitions,
                const std::vector<std::vector<ByteImage>>& objects) {
  Head head;
  head.numSamples = static_cast<std::int64_t>(objects.size());
  head.firstTime = 1.0F;
  head.lastTime = objects.empty() ? 1.0F : 1.0F + 0.5F * static_cast<float>(objects.size() - 1);
  head.rate = 2.0F;
  head.definitions = definitions;
  Scene scene;
  scene.image = headImage(head);
  if (!objects.empty()) {
    Stream stream;
    stream.objects = objects;
    scene.layout = addStream(scene.image, stream);
  }
  return scene;
}

/// Five samples of three objects.
/// |a has POSI, VELO, POSI and a group GRUP that holds MTRX; nothing in its definition.
/// |b has a static POSI, two animated and two static attributes; POSI and ATRS in its samples.
/// |c has nothing.
Scene fiveSamples() {
  const ByteImage values = join({floatChunk("ATTR", {7.0F}), floatChunk("ATTR", {8.0F, 9.0F})});
  const ByteImage fixed = ByteImage().chunk("POSI", 4, floats({0, 0, 0, 1, 1, 1}), 1, 3);
  const std::vector<ByteImage> definitions = {
      definition("|a"),
      definition("|b", join({attributes({"a0", "a1"}, {"s0", "s1"}, values), fixed})),
      definition("|c")};
  std::vector<std::vector<ByteImage>> objects;
  for (const float s : {0.0F, 1.0F, 2.0F, 3.0F, 4.0F}) {
    objects.push_back(
        {join({floatChunk("POSI", {s, 10.0F, 20.0F}), floatChunk("VELO", {s}),
               floatChunk("POSI", {s, 30.0F}), group("GRUP", floatChunk("MTRX", {s, 40.0F}))}),
         join({floatChunk("POSI", {s}), group("ATRS", join({floatChunk("ATTR", {s, 50.0F}),
                                                            floatChunk("ATTR", {s, 60.0F})}))}),
         ByteImage()});
  }
  return makeScene(definitions, objects);
}

/// One sample of one object.
Scene oneObject(const ByteImage& fixed, const ByteImage& sample) {
  return makeScene({definition("|o", fixed)}, {{sample}});
}

std::vector<float> floatsOf(const VekChunk* chunk) {
  const auto* leaf = asLeaf<float>(chunk);
  return leaf == nullptr ? std::vector<float>() : leaf->data;
}

/// A pointer that was handed out, and what it pointed to then.
struct Held {
  explicit Held(const VekChunk* chunk)
      : leaf(asLeaf<float>(chunk)), place(leaf->data.data()), values(leaf->data) {}
  /// Whether the pointer still leads to the same values at the same place.
  bool unchanged() const { return leaf->data.data() == place && leaf->data == values; }

  const VekLeafChunk<float>* leaf;
  const float* place;
  std::vector<float> values;
};

class VekRoMemCacheTest : public FileTest {
 protected:
  void SetUp() override {
    FileTest::SetUp();
    writeFile(scene.image);
  }
  bool open(const ByteImage& image) { return cache.load(writeFile(image).c_str(), true); }
  bool openScene(int maxSamples, bool keepOpen = true) {
    return cache.load(path().c_str(), keepOpen, maxSamples);
  }
  /// Fetches object 0 of these samples in turn.
  void fetch(const std::vector<int>& samples) {
    for (const int s : samples) ASSERT_NE(cache.getSample(s, 0), nullptr) << s;
  }
  /// Makes the data of an object unreadable in the file.
  void damage(int sample, int obj) {
    const std::int64_t at =
        scene.layout.objects[static_cast<std::size_t>(sample)][static_cast<std::size_t>(obj)];
    overwrite(path(), static_cast<std::size_t>(at), "BAD!");
  }
  void repair() { writeFile(scene.image); }

  const Scene scene = fiveSamples();
  OpenRoCache cache;
};

// --- Construction, load, reset ------------------------------------------------------------------

TEST_F(VekRoMemCacheTest, defaultConstructorMakesAnEmptyCacheWithoutLimit) {
  EXPECT_EQ(cache.getMaxSamples(), 0);
  EXPECT_EQ(cache.getNumSamples(), 0);
  EXPECT_EQ(cache.getNumObjects(), 0);
  EXPECT_EQ(cache.openMode, 0);
  EXPECT_TRUE(cache.getKeepOpen());
  EXPECT_TRUE(cache.sampleTable.empty());
  EXPECT_TRUE(cache.recentSamples.empty());
}

TEST_F(VekRoMemCacheTest, constructorWithoutLimitLoadsTheFile) {
  bool ok = false;
  const OpenRoCache loaded(path().c_str(), false, &ok);
  EXPECT_TRUE(ok);
  EXPECT_FALSE(loaded.getKeepOpen());
  EXPECT_EQ(loaded.getMaxSamples(), 0);
  EXPECT_EQ(loaded.getNumSamples(), kSamples);
  EXPECT_EQ(loaded.getNumObjects(), kObjects);
}

TEST_F(VekRoMemCacheTest, constructorWithLimitSetsIt) {
  bool ok = false;
  const OpenRoCache loaded(path().c_str(), true, 3, &ok);
  EXPECT_TRUE(ok);
  EXPECT_TRUE(loaded.getKeepOpen());
  EXPECT_EQ(loaded.getMaxSamples(), 3);
  EXPECT_EQ(loaded.getNumSamples(), kSamples);
}

TEST_F(VekRoMemCacheTest, constructorsReportAFailedLoad) {
  captureStdout([&] {
    bool ok = true;
    const OpenRoCache plain(path("missing").c_str(), true, &ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(plain.getNumSamples(), 0);
    ok = true;
    const OpenRoCache limited(path("missing").c_str(), true, 2, &ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(limited.getNumSamples(), 0);
    EXPECT_EQ(limited.getMaxSamples(), 2);
  });
}

TEST_F(VekRoMemCacheTest, tableStartsEmptyAfterAConstructorAndGrowsOnUse) {
  OpenRoCache loaded(path().c_str(), true, 0, nullptr);
  EXPECT_TRUE(loaded.sampleTable.empty());
  ASSERT_NE(loaded.getSample(2, 1), nullptr);
  ASSERT_EQ(loaded.sampleTable.size(), 3U);
  EXPECT_EQ(loaded.sampleTable[0], nullptr);
  EXPECT_EQ(loaded.sampleTable[1], nullptr);
  ASSERT_NE(loaded.sampleTable[2], nullptr);
  EXPECT_EQ(loaded.sampleTable[2]->size(), 2U);
  EXPECT_EQ(loaded.entry(2, 0), nullptr);
  EXPECT_NE(loaded.entry(2, 1), nullptr);
}

TEST_F(VekRoMemCacheTest, loadSizesTheTableToTheSamples) {
  ASSERT_TRUE(cache.load(path().c_str(), true));
  EXPECT_EQ(cache.sampleTable.size(), 5U);
  EXPECT_THAT(cache.held(), IsEmpty());
}

TEST_F(VekRoMemCacheTest, loadOfAFileWithoutSamplesLeavesTheTableEmpty) {
  ASSERT_TRUE(open(makeScene({definition("|a")}, {}).image));
  EXPECT_TRUE(cache.sampleTable.empty());
  EXPECT_EQ(cache.getSample(0, 0), nullptr);
}

TEST_F(VekRoMemCacheTest, loadKeepsTheLimit) {
  cache.setMaxSamples(3);
  ASSERT_TRUE(cache.load(path().c_str(), true));
  EXPECT_EQ(cache.getMaxSamples(), 3);
}

TEST_F(VekRoMemCacheTest, failedLoadKeepsTheLimit) {
  cache.setMaxSamples(3);
  captureStdout([&] { EXPECT_FALSE(cache.load(path("missing").c_str(), true)); });
  EXPECT_EQ(cache.getMaxSamples(), 3);
  captureStdout([&] { EXPECT_FALSE(cache.load(path("missing").c_str(), true, 4)); });
  EXPECT_EQ(cache.getMaxSamples(), 4);
}

TEST_F(VekRoMemCacheTest, loadWithLimitStoresIt) {
  cache.setMaxSamples(3);
  ASSERT_TRUE(cache.load(path().c_str(), true, 2));
  EXPECT_EQ(cache.getMaxSamples(), 2);
  ASSERT_TRUE(cache.load(path().c_str(), true, 0));
  EXPECT_EQ(cache.getMaxSamples(), 0);
}

TEST_F(VekRoMemCacheTest, loadDropsWhatWasHeld) {
  ASSERT_TRUE(openScene(3));
  fetch({0, 1, 2});
  ASSERT_TRUE(cache.load(path().c_str(), true));
  EXPECT_THAT(cache.held(), IsEmpty());
  EXPECT_THAT(cache.recent(), IsEmpty());
}

TEST_F(VekRoMemCacheTest, failedLoadDropsWhatWasHeld) {
  ASSERT_TRUE(openScene(3));
  fetch({0, 1, 2});
  captureStdout([&] { EXPECT_FALSE(cache.load(path("missing").c_str(), true)); });
  EXPECT_TRUE(cache.sampleTable.empty());
  EXPECT_THAT(cache.recent(), IsEmpty());
  EXPECT_EQ(cache.getSample(0, 0), nullptr);
}

TEST_F(VekRoMemCacheTest, resetForgetsSamplesAndLimit) {
  ASSERT_TRUE(openScene(3));
  fetch({0, 1});
  cache.reset();
  EXPECT_EQ(cache.getMaxSamples(), 0);
  EXPECT_TRUE(cache.sampleTable.empty());
  EXPECT_THAT(cache.recent(), IsEmpty());
  EXPECT_EQ(cache.getNumSamples(), 0);
  EXPECT_EQ(cache.getNumObjects(), 0);
  EXPECT_EQ(cache.getFilename(), "");
}

TEST_F(VekRoMemCacheTest, negativeLimitCountsAsNone) {
  OpenRoCache constructed(path().c_str(), true, -3, nullptr);
  ASSERT_TRUE(openScene(-3));
  for (OpenRoCache* c : {&constructed, &cache}) {
    EXPECT_LE(c->getMaxSamples(), 0);
    for (int s = 0; s < kSamples; ++s) ASSERT_NE(c->getSample(s, 0), nullptr);
    EXPECT_THAT(c->held(), ElementsAre(0, 1, 2, 3, 4));
    EXPECT_THAT(c->recent(), IsEmpty());
  }
}

// --- getSample of an object ---------------------------------------------------------------------

TEST_F(VekRoMemCacheTest, getSampleGivesTheObjectsGroup) {
  ASSERT_TRUE(openScene(0));
  for (int s = 0; s < kSamples; ++s) {
    const VekGroupChunk* g = cache.getSample(s, 0);
    ASSERT_NE(g, nullptr);
    EXPECT_EQ(g->getTag(), Tag::SOBJ);
    ASSERT_EQ(g->numChildren(), 4U);
    EXPECT_THAT(floatsOf(g->getChild(0)), ElementsAre(static_cast<float>(s), 10.0F, 20.0F));
  }
}

TEST_F(VekRoMemCacheTest, objectWithoutDataIsAnEmptyGroup) {
  ASSERT_TRUE(openScene(0));
  ASSERT_NE(cache.getSample(0, 2), nullptr);
  EXPECT_EQ(cache.getSample(0, 2)->numChildren(), 0U);
}

TEST_F(VekRoMemCacheTest, getSampleIsNullWithoutObjects) {
  EXPECT_EQ(cache.getSample(0, 0), nullptr);
  ASSERT_TRUE(open(makeScene({}, {{}, {}}).image));
  EXPECT_EQ(cache.getNumSamples(), 2);
  EXPECT_EQ(cache.getSample(0, 0), nullptr);
}

TEST_F(VekRoMemCacheTest, getSampleIsNullOutsideTheTables) {
  ASSERT_TRUE(openScene(2));
  const int least = std::numeric_limits<int>::min();
  const int most = std::numeric_limits<int>::max();
  for (const int obj : {kObjects, kObjects + 1, most}) {
    EXPECT_EQ(cache.getSample(0, obj), nullptr) << obj;
  }
  for (const int sample : {-1, least, kSamples, kSamples + 1, most}) {
    EXPECT_EQ(cache.getSample(sample, 0), nullptr) << sample;
  }
  // Such a call is no use of a sample.
  EXPECT_THAT(cache.recent(), IsEmpty());
  EXPECT_THAT(cache.held(), IsEmpty());
}

TEST_F(VekRoMemCacheTest, getSampleReadsAnObjectOnce) {
  ASSERT_TRUE(openScene(0, false));
  const VekGroupChunk* first = cache.getSample(1, 0);
  ASSERT_NE(first, nullptr);
  std::filesystem::remove(path());
  EXPECT_EQ(cache.getSample(1, 0), first);
  // What was not read yet is gone with the file.
  EXPECT_EQ(cache.getSample(1, 1), nullptr);
}

TEST_F(VekRoMemCacheTest, getSampleReadsOneObjectAtATime) {
  ASSERT_TRUE(openScene(0));
  ASSERT_NE(cache.getSample(1, 1), nullptr);
  EXPECT_EQ(cache.entry(1, 0), nullptr);
  EXPECT_NE(cache.entry(1, 1), nullptr);
  EXPECT_EQ(cache.entry(1, 2), nullptr);
}

TEST_F(VekRoMemCacheTest, failedFetchIsTriedAgain) {
  ASSERT_TRUE(openScene(0, false));
  damage(1, 0);
  EXPECT_EQ(cache.getSample(1, 0), nullptr);
  EXPECT_EQ(cache.entry(1, 0), nullptr);
  EXPECT_EQ(cache.getSample(1, 0), nullptr);
  repair();
  EXPECT_NE(cache.getSample(1, 0), nullptr);
}

TEST_F(VekRoMemCacheTest, fetchesWithoutKeepOpenCloseTheFile) {
  ASSERT_TRUE(openScene(0, false));
  EXPECT_FALSE(cache.file.isOpen());
  ASSERT_NE(cache.getSample(1, 0), nullptr);
  EXPECT_FALSE(cache.file.isOpen());
  damage(2, 0);
  EXPECT_EQ(cache.getSample(2, 0), nullptr);
  EXPECT_FALSE(cache.file.isOpen());
}

TEST_F(VekRoMemCacheTest, fetchFailuresAreSilent) {
  ASSERT_TRUE(openScene(0, false));
  damage(0, 0);
  std::string output;
  const std::string errors = captureStderr([&] {
    output = captureStdout([&] {
      bool animated = true;
      EXPECT_EQ(cache.getSample(0, 0), nullptr);
      EXPECT_EQ(cache.getSample(0, 0, Tag::POSI, nullptr), nullptr);
      EXPECT_EQ(cache.getObjectData(0, 0, Tag::POSI, &animated), nullptr);
      EXPECT_EQ(cache.getNumVertices(0, 0), 0);
      EXPECT_EQ(cache.getSampleDataAtTime<float>(1.0F, 0, Tag::POSI, nullptr), nullptr);
    });
  });
  EXPECT_EQ(output, "");
  EXPECT_EQ(errors, "");
}

// --- The limit: least recently used -------------------------------------------------------------

TEST_F(VekRoMemCacheTest, withoutLimitNothingIsEvictedAndNoUseIsNoted) {
  ASSERT_TRUE(openScene(0));
  fetch({0, 1, 2, 3, 4, 0});
  EXPECT_THAT(cache.held(), ElementsAre(0, 1, 2, 3, 4));
  EXPECT_THAT(cache.recent(), IsEmpty());
}

TEST_F(VekRoMemCacheTest, limitOfTwoEvictsTheLeastRecentlyUsed) {
  ASSERT_TRUE(openScene(2));
  fetch({0, 1, 2});
  EXPECT_THAT(cache.held(), ElementsAre(1, 2));
  EXPECT_THAT(cache.recent(), ElementsAre(2, 1));
  fetch({1, 3});
  EXPECT_THAT(cache.held(), ElementsAre(1, 3));
  EXPECT_THAT(cache.recent(), ElementsAre(3, 1));
}

TEST_F(VekRoMemCacheTest, limitOfTheConstructorEvicts) {
  OpenRoCache loaded(path().c_str(), true, 2, nullptr);
  for (const int s : {0, 1, 2}) ASSERT_NE(loaded.getSample(s, 0), nullptr);
  EXPECT_THAT(loaded.held(), ElementsAre(1, 2));
}

TEST_F(VekRoMemCacheTest, limitOfOneHoldsTheLastSample) {
  ASSERT_TRUE(openScene(1));
  for (const int s : {0, 4, 4, 2, 0}) {
    fetch({s});
    EXPECT_THAT(cache.held(), ElementsAre(s));
    EXPECT_THAT(cache.recent(), ElementsAre(s));
  }
}

TEST_F(VekRoMemCacheTest, limitOfAllSamplesEvictsNone) {
  ASSERT_TRUE(openScene(kSamples));
  fetch({0, 1, 2, 3, 4, 2, 0});
  EXPECT_THAT(cache.held(), ElementsAre(0, 1, 2, 3, 4));
  EXPECT_THAT(cache.recent(), ElementsAre(0, 2, 4, 3, 1));
}

TEST_F(VekRoMemCacheTest, samplesUpToTheLimitAllStay) {
  ASSERT_TRUE(openScene(3));
  fetch({4, 1, 3});
  EXPECT_THAT(cache.held(), ElementsAre(1, 3, 4));
  EXPECT_THAT(cache.recent(), ElementsAre(3, 1, 4));
}

TEST_F(VekRoMemCacheTest, usingAHeldSampleMovesItToTheFrontAndEvictsNone) {
  ASSERT_TRUE(openScene(3));
  fetch({0, 1, 2, 0});
  EXPECT_THAT(cache.held(), ElementsAre(0, 1, 2));
  EXPECT_THAT(cache.recent(), ElementsAre(0, 2, 1));
  fetch({3});
  EXPECT_THAT(cache.held(), ElementsAre(0, 2, 3));
}

TEST_F(VekRoMemCacheTest, usingTheMostRecentSampleChangesNothing) {
  ASSERT_TRUE(openScene(2));
  fetch({0, 1});
  for (const int obj : {0, 1, 2, 1, 0}) ASSERT_NE(cache.getSample(1, obj), nullptr);
  EXPECT_THAT(cache.recent(), ElementsAre(1, 0));
  EXPECT_THAT(cache.held(), ElementsAre(0, 1));
}

// A list longer than the limit is not shortened by a fetch of the sample at its front.
TEST_F(VekRoMemCacheTest, fetchOfTheFrontDoesNotTrimTheList) {
  ASSERT_TRUE(openScene(3));
  fetch({0, 1, 2});
  cache.maxSamples = 1;
  fetch({2});
  EXPECT_THAT(cache.recent(), ElementsAre(2, 1, 0));
  fetch({1});
  EXPECT_THAT(cache.recent(), ElementsAre(1));
  EXPECT_THAT(cache.held(), ElementsAre(1));
}

TEST_F(VekRoMemCacheTest, evictionTakesAllObjectsOfASample) {
  ASSERT_TRUE(openScene(1));
  for (int obj = 0; obj < kObjects; ++obj) ASSERT_NE(cache.getSample(0, obj), nullptr);
  ASSERT_NE(cache.getSample(1, 1), nullptr);
  for (int obj = 0; obj < kObjects; ++obj) EXPECT_EQ(cache.entry(0, obj), nullptr);
  EXPECT_NE(cache.entry(1, 1), nullptr);
}

TEST_F(VekRoMemCacheTest, objectsOfOneSampleShareItsPlace) {
  ASSERT_TRUE(openScene(2));
  for (const int s : {0, 1}) {
    for (int obj = 0; obj < kObjects; ++obj) ASSERT_NE(cache.getSample(s, obj), nullptr);
  }
  for (const int s : {0, 1}) {
    for (int obj = 0; obj < kObjects; ++obj) EXPECT_NE(cache.entry(s, obj), nullptr);
  }
}

TEST_F(VekRoMemCacheTest, evictedSampleIsReadAgain) {
  ASSERT_TRUE(openScene(1));
  fetch({0});
  const std::vector<float> before = floatsOf(cache.getObjectData(0, 0, Tag::POSI, nullptr));
  fetch({1});
  EXPECT_EQ(cache.entry(0, 0), nullptr);
  EXPECT_EQ(floatsOf(cache.getObjectData(0, 0, Tag::POSI, nullptr)), before);
  EXPECT_THAT(cache.held(), ElementsAre(0));
}

TEST_F(VekRoMemCacheTest, evictionShrinksTheTableToItsLastHeldSample) {
  ASSERT_TRUE(openScene(1));
  EXPECT_EQ(cache.sampleTable.size(), 5U);
  fetch({4});
  fetch({1});
  EXPECT_EQ(cache.sampleTable.size(), 2U);
  fetch({3});
  EXPECT_EQ(cache.sampleTable.size(), 4U);
}

// The use is noted before the data is read.
TEST_F(VekRoMemCacheTest, sampleThatCannotBeReadTakesAPlace) {
  ASSERT_TRUE(openScene(2, false));
  damage(2, 0);
  fetch({0, 1});
  EXPECT_EQ(cache.getSample(2, 0), nullptr);
  EXPECT_THAT(cache.recent(), ElementsAre(2, 1));
  EXPECT_EQ(cache.entry(0, 0), nullptr);
  EXPECT_NE(cache.entry(1, 0), nullptr);
}

TEST_F(VekRoMemCacheTest, staticDataIsNoUseOfASample) {
  ASSERT_TRUE(openScene(2));
  bool animated = true;
  EXPECT_NE(cache.getObjectData(0, 1, Tag::POSI, &animated), nullptr);
  EXPECT_EQ(cache.getNumVertices(0, 1), 2);
  EXPECT_NE(cache.getAttrData(0, 1, 2), nullptr);
  EXPECT_THAT(cache.recent(), IsEmpty());
  EXPECT_THAT(cache.held(), IsEmpty());
}

TEST_F(VekRoMemCacheTest, everyGetterOfSampleDataIsAUse) {
  ASSERT_TRUE(openScene(2));
  EXPECT_NE(cache.getSample(0, 0, Tag::POSI, nullptr), nullptr);
  EXPECT_THAT(cache.recent(), ElementsAre(0));
  EXPECT_NE(cache.getObjectData(1, 0, Tag::POSI, nullptr), nullptr);
  EXPECT_THAT(cache.recent(), ElementsAre(1, 0));
  EXPECT_EQ(cache.getNumVertices(2, 0), 1);
  EXPECT_THAT(cache.recent(), ElementsAre(2, 1));
  EXPECT_NE(cache.getAttrData(3, 1, 0), nullptr);
  EXPECT_THAT(cache.recent(), ElementsAre(3, 2));
  EXPECT_NE(cache.getSampleDataAtTime<float>(3.0F, 0, Tag::POSI, nullptr), nullptr);
  EXPECT_THAT(cache.recent(), ElementsAre(4, 3));
  EXPECT_THAT(cache.held(), ElementsAre(3, 4));
}

// objectHas() reads a sample of its own and deletes it.
TEST_F(VekRoMemCacheTest, presenceTestsAreNoUseOfASample) {
  ASSERT_TRUE(openScene(1));
  fetch({3});
  const Held posi(cache.getSample(3, 0, Tag::POSI, nullptr));
  EXPECT_TRUE(cache.objectHas(0, Tag::POSI));
  EXPECT_TRUE(cache.isObjectAnimated(0, Tag::POSI));
  EXPECT_THAT(cache.held(), ElementsAre(3));
  EXPECT_THAT(cache.recent(), ElementsAre(3));
  EXPECT_TRUE(posi.unchanged());
}

/// The rule in its simplest form, without data.
struct Model {
  void fetch(int sample) {
    if (limit > 0 && (recent.empty() || recent.front() != sample)) {
      recent.remove(sample);
      while (static_cast<int>(recent.size()) >= limit) drop();
      recent.push_front(sample);
    }
    held.insert(sample);
  }
  void setLimit(int n) {
    const int m = n < 0 ? 0 : n;
    if (m < limit) {
      while (static_cast<int>(recent.size()) > m) drop();
    }
    limit = m;
  }
  void drop() {
    held.erase(recent.back());
    recent.pop_back();
  }

  int limit = 0;
  std::list<int> recent;
  std::set<int> held;
};

TEST_F(VekRoMemCacheTest, randomUseFollowsTheRule) {
  std::mt19937 random(20240);
  const auto below = [&](int n) {
    return static_cast<int>(random() % static_cast<unsigned int>(n));
  };
  ASSERT_TRUE(openScene(0, false));
  Model model;
  for (int step = 0; step < 3000; ++step) {
    const int sample = below(kSamples);
    const int action = below(20);
    if (action == 0) {
      const int limit = below(8) - 2;
      cache.setMaxSamples(limit);
      model.setLimit(limit);
    } else if (action == 1) {
      cache.deleteSample(sample);
      model.held.erase(sample);
    } else if (action == 2) {
      ASSERT_TRUE(cache.loadSamplesNotGreaterThan(sample));
      for (int s = 0; s <= sample; ++s) model.held.insert(s);
    } else {
      const int obj = below(kObjects);
      ASSERT_NE(cache.getSample(sample, obj), nullptr);
      ASSERT_NE(cache.entry(sample, obj), nullptr);
      model.fetch(sample);
    }
    ASSERT_EQ(cache.recentSamples, model.recent) << step;
    ASSERT_EQ(cache.held(), std::vector<int>(model.held.begin(), model.held.end())) << step;
    ASSERT_EQ(cache.getMaxSamples(), model.limit) << step;
  }
}

// --- How long pointers stay valid ---------------------------------------------------------------

TEST_F(VekRoMemCacheTest, pointersStayValidWithoutLimit) {
  ASSERT_TRUE(openScene(0));
  std::vector<Held> pointers;
  std::vector<const VekGroupChunk*> groups;
  for (int s = 0; s < kSamples; ++s) {
    groups.push_back(cache.getSample(s, 0));
    pointers.emplace_back(cache.getSample(s, 0, Tag::POSI, nullptr));
    pointers.emplace_back(cache.getObjectData(s, 0, Tag::MTRX, nullptr));
    pointers.emplace_back(cache.getAttrData(s, 1, 1));
  }
  EXPECT_TRUE(cache.loadAllSamples());
  EXPECT_TRUE(cache.close());
  for (const Held& h : pointers) EXPECT_TRUE(h.unchanged());
  for (int s = 0; s < kSamples; ++s) {
    EXPECT_EQ(cache.getSample(s, 0), groups[static_cast<std::size_t>(s)]);
  }
}

TEST_F(VekRoMemCacheTest, pointersStayValidWhileTheirSampleIsUsed) {
  ASSERT_TRUE(openScene(2));
  const Held posi(cache.getSample(0, 0, Tag::POSI, nullptr));
  const Held attr(cache.getAttrData(0, 1, 0));
  for (const int s : {1, 2, 3, 4, 1, 2}) {
    ASSERT_NE(cache.getSample(s, 0), nullptr);
    ASSERT_NE(cache.getSample(0, 2), nullptr);
    EXPECT_TRUE(posi.unchanged());
    EXPECT_TRUE(attr.unchanged());
  }
}

TEST_F(VekRoMemCacheTest, pointersStayValidUntilTheirSampleIsTheLeastRecent) {
  ASSERT_TRUE(openScene(3));
  const Held posi(cache.getSample(0, 0, Tag::POSI, nullptr));
  fetch({1, 2});
  EXPECT_TRUE(posi.unchanged());
  EXPECT_EQ(cache.getSample(0, 0, Tag::POSI, nullptr), posi.leaf);
  fetch({3, 4});
  EXPECT_TRUE(posi.unchanged());
}

TEST_F(VekRoMemCacheTest, pointerOfAnEvictedSampleIsGone) {
  ASSERT_TRUE(openScene(1));
  ASSERT_NE(cache.getObjectData(0, 0, Tag::POSI, nullptr), nullptr);
  ASSERT_NE(cache.entry(0, 0), nullptr);
  fetch({1});
  EXPECT_EQ(cache.entry(0, 0), nullptr);
}

TEST_F(VekRoMemCacheTest, definitionsStayValidWhateverIsEvicted) {
  ASSERT_TRUE(openScene(1));
  const Held posi(cache.getObjectData(0, 1, Tag::POSI, nullptr));
  const Held attr(cache.getAttrData(0, 1, 3));
  fetch({0, 1, 2, 3, 4});
  cache.setMaxSamples(0);
  cache.deleteAllSamples();
  EXPECT_TRUE(posi.unchanged());
  EXPECT_TRUE(attr.unchanged());
}

TEST_F(VekRoMemCacheTest, pointersStayValidWhenTheFileIsClosedOrGone) {
  ASSERT_TRUE(openScene(2));
  const Held posi(cache.getSample(0, 0, Tag::POSI, nullptr));
  EXPECT_TRUE(cache.setKeepOpen(false));
  std::filesystem::remove(path());
  EXPECT_EQ(cache.getSample(1, 0), nullptr);
  EXPECT_TRUE(posi.unchanged());
}

TEST_F(VekRoMemCacheTest, failedFetchesLeaveOtherPointersValid) {
  ASSERT_TRUE(openScene(2, false));
  damage(0, 1);
  const Held posi(cache.getSample(0, 0, Tag::POSI, nullptr));
  EXPECT_EQ(cache.getSample(0, 1), nullptr);
  EXPECT_TRUE(posi.unchanged());
}

// --- setMaxSamples ------------------------------------------------------------------------------

TEST_F(VekRoMemCacheTest, loweringTheLimitDeletesTheLeastRecent) {
  ASSERT_TRUE(openScene(4));
  fetch({0, 1, 2, 3, 0});
  cache.setMaxSamples(2);
  EXPECT_EQ(cache.getMaxSamples(), 2);
  EXPECT_THAT(cache.recent(), ElementsAre(0, 3));
  EXPECT_THAT(cache.held(), ElementsAre(0, 3));
}

TEST_F(VekRoMemCacheTest, loweringTheLimitAboveWhatIsHeldDeletesNothing) {
  ASSERT_TRUE(openScene(4));
  fetch({0, 1});
  cache.setMaxSamples(2);
  EXPECT_EQ(cache.getMaxSamples(), 2);
  EXPECT_THAT(cache.held(), ElementsAre(0, 1));
}

TEST_F(VekRoMemCacheTest, raisingTheLimitDeletesNothing) {
  ASSERT_TRUE(openScene(2));
  fetch({0, 1});
  cache.setMaxSamples(3);
  fetch({2});
  EXPECT_EQ(cache.getMaxSamples(), 3);
  EXPECT_THAT(cache.held(), ElementsAre(0, 1, 2));
  fetch({3});
  EXPECT_THAT(cache.held(), ElementsAre(1, 2, 3));
}

TEST_F(VekRoMemCacheTest, liftingTheLimitDeletesEverySampleItHeld) {
  ASSERT_TRUE(openScene(3));
  fetch({0, 1, 2});
  cache.setMaxSamples(0);
  EXPECT_EQ(cache.getMaxSamples(), 0);
  EXPECT_THAT(cache.held(), IsEmpty());
  EXPECT_THAT(cache.recent(), IsEmpty());
  fetch({0, 1, 2, 3, 4});
  EXPECT_THAT(cache.held(), ElementsAre(0, 1, 2, 3, 4));
}

TEST_F(VekRoMemCacheTest, negativeLimitLiftsItAndDeletesEverySampleItHeld) {
  ASSERT_TRUE(openScene(3));
  fetch({0, 1, 2});
  cache.setMaxSamples(-5);
  EXPECT_EQ(cache.getMaxSamples(), 0);
  EXPECT_THAT(cache.held(), IsEmpty());
  EXPECT_THAT(cache.recent(), IsEmpty());
}

// 0 is the lowest value of the limit, so that going from no limit to one is no lowering.
TEST_F(VekRoMemCacheTest, firstLimitDeletesNothing) {
  ASSERT_TRUE(openScene(0));
  fetch({0, 1, 2, 3, 4});
  cache.setMaxSamples(1);
  EXPECT_EQ(cache.getMaxSamples(), 1);
  EXPECT_THAT(cache.held(), ElementsAre(0, 1, 2, 3, 4));
  EXPECT_THAT(cache.recent(), IsEmpty());
}

// Samples that were fetched without a limit do not give way until they are used under one.
TEST_F(VekRoMemCacheTest, samplesFetchedWithoutLimitGiveWayOnlyAfterAUse) {
  ASSERT_TRUE(openScene(0));
  fetch({0, 1, 2, 3, 4});
  cache.setMaxSamples(1);
  fetch({0, 1});
  EXPECT_THAT(cache.recent(), ElementsAre(1));
  EXPECT_THAT(cache.held(), ElementsAre(1, 2, 3, 4));
}

TEST_F(VekRoMemCacheTest, liftingTheLimitKeepsSamplesThatItDidNotHold) {
  ASSERT_TRUE(openScene(0));
  fetch({0, 1});
  cache.setMaxSamples(2);
  fetch({3, 1});
  cache.setMaxSamples(0);
  EXPECT_THAT(cache.held(), ElementsAre(0));
}

TEST_F(VekRoMemCacheTest, sameLimitChangesNothing) {
  ASSERT_TRUE(openScene(2));
  fetch({0, 1});
  cache.setMaxSamples(2);
  EXPECT_THAT(cache.recent(), ElementsAre(1, 0));
  EXPECT_THAT(cache.held(), ElementsAre(0, 1));
}

TEST_F(VekRoMemCacheTest, pointersOfTheSamplesThatStayAreValidAfterLowering) {
  ASSERT_TRUE(openScene(3));
  fetch({0, 1});
  const Held posi(cache.getSample(2, 0, Tag::POSI, nullptr));
  cache.setMaxSamples(1);
  EXPECT_THAT(cache.held(), ElementsAre(2));
  EXPECT_TRUE(posi.unchanged());
}

TEST_F(VekRoMemCacheTest, limitCanBeSetBeforeAFileIsLoaded) {
  cache.setMaxSamples(2);
  EXPECT_EQ(cache.getMaxSamples(), 2);
  ASSERT_TRUE(cache.load(path().c_str(), true));
  fetch({0, 1, 2});
  EXPECT_THAT(cache.held(), ElementsAre(1, 2));
}

TEST_F(VekRoMemCacheTest, setMaxSamplesIsIgnoredInReadWriteMode) {
  ASSERT_TRUE(openScene(3));
  fetch({0, 1, 2});
  cache.openMode = 1;
  for (const int n : {1, 0, -1, 7}) {
    cache.setMaxSamples(n);
    EXPECT_EQ(cache.getMaxSamples(), 3);
    EXPECT_THAT(cache.held(), ElementsAre(0, 1, 2));
  }
}

TEST_F(VekRoMemCacheTest, noUseIsNotedInReadWriteMode) {
  ASSERT_TRUE(openScene(1));
  cache.openMode = 1;
  fetch({0, 1, 2});
  EXPECT_THAT(cache.recent(), IsEmpty());
  EXPECT_THAT(cache.held(), ElementsAre(0, 1, 2));
}

TEST_F(VekRoMemCacheTest, readWriteCacheNeverEvicts) {
  VekRwMemCache editable;
  ASSERT_TRUE(editable.load(path().c_str(), true, 1));
  std::vector<Held> pointers;
  for (int s = 0; s < kSamples; ++s) {
    pointers.emplace_back(editable.getSample(s, 0, Tag::POSI, nullptr));
  }
  editable.setMaxSamples(1);
  EXPECT_NE(editable.getSample(0, 0), nullptr);
  for (const Held& h : pointers) EXPECT_TRUE(h.unchanged());
}

// --- getSample of a child -----------------------------------------------------------------------

TEST_F(VekRoMemCacheTest, childIsTheFirstWithTheTag) {
  ASSERT_TRUE(openScene(0));
  const VekGroupChunk* g = cache.getSample(2, 0);
  ASSERT_NE(g, nullptr);
  EXPECT_EQ(cache.getSample(2, 0, Tag::POSI, nullptr), g->getChild(0));
  EXPECT_EQ(cache.getSample(2, 0, Tag::VELO, nullptr), g->getChild(1));
}

TEST_F(VekRoMemCacheTest, childSearchBeginsAtThePositionAndStoresTheIndex) {
  ASSERT_TRUE(openScene(0));
  const VekGroupChunk* g = cache.getSample(2, 0);
  ASSERT_NE(g, nullptr);
  int position = 0;
  EXPECT_EQ(cache.getSample(2, 0, Tag::POSI, &position), g->getChild(0));
  EXPECT_EQ(position, 0);
  position = 1;
  EXPECT_EQ(cache.getSample(2, 0, Tag::POSI, &position), g->getChild(2));
  EXPECT_EQ(position, 2);
  EXPECT_EQ(cache.getSample(2, 0, Tag::POSI, &position), g->getChild(2));
  EXPECT_EQ(position, 2);
  position = 3;
  EXPECT_EQ(cache.getSample(2, 0, Tag::POSI, &position), nullptr);
  EXPECT_EQ(position, 4);
}

TEST_F(VekRoMemCacheTest, positionReceivesTheChildCountWhenThereIsNone) {
  ASSERT_TRUE(openScene(0));
  int position = 0;
  EXPECT_EQ(cache.getSample(0, 0, kZzzz, &position), nullptr);
  EXPECT_EQ(position, 4);
  position = 0;
  EXPECT_EQ(cache.getSample(0, 2, Tag::POSI, &position), nullptr);
  EXPECT_EQ(position, 0);
}

TEST_F(VekRoMemCacheTest, positionPastTheChildrenFindsNone) {
  ASSERT_TRUE(openScene(0));
  for (const int past : {4, 5, 1000, std::numeric_limits<int>::max()}) {
    int position = past;
    EXPECT_EQ(cache.getSample(0, 0, Tag::POSI, &position), nullptr) << past;
    EXPECT_EQ(position, 4) << past;
  }
}

TEST_F(VekRoMemCacheTest, negativePositionIsHarmless) {
  ASSERT_TRUE(openScene(0));
  for (const int before : {-1, -100, std::numeric_limits<int>::min()}) {
    int position = before;
    cache.getSample(0, 0, Tag::POSI, &position);
    EXPECT_GE(position, 0) << before;
    EXPECT_LE(position, 4) << before;
  }
}

TEST_F(VekRoMemCacheTest, missingObjectLeavesThePosition) {
  ASSERT_TRUE(openScene(0));
  int position = 2;
  EXPECT_EQ(cache.getSample(kSamples, 0, Tag::POSI, &position), nullptr);
  EXPECT_EQ(cache.getSample(-1, 0, Tag::POSI, &position), nullptr);
  EXPECT_EQ(cache.getSample(0, kObjects, Tag::POSI, &position), nullptr);
  EXPECT_EQ(position, 2);
}

TEST_F(VekRoMemCacheTest, childSearchIsNotDeep) {
  ASSERT_TRUE(openScene(0));
  EXPECT_EQ(cache.getSample(0, 0, Tag::MTRX, nullptr), nullptr);
  EXPECT_EQ(cache.getSample(0, 0, Tag::SOBJ, nullptr), nullptr);
}

TEST_F(VekRoMemCacheTest, childSearchIgnoresTheDefinition) {
  ASSERT_TRUE(openScene(0));
  EXPECT_THAT(floatsOf(cache.getSample(3, 1, Tag::POSI, nullptr)), ElementsAre(3.0F));
  EXPECT_EQ(cache.getSample(3, 1, Tag::NAME, nullptr), nullptr);
}

// --- getObjectData ------------------------------------------------------------------------------

TEST_F(VekRoMemCacheTest, objectDataOfTheSampleIsAnimated) {
  ASSERT_TRUE(openScene(0));
  bool animated = false;
  const VekChunk* chunk = cache.getObjectData(3, 0, Tag::POSI, &animated);
  EXPECT_THAT(floatsOf(chunk), ElementsAre(3.0F, 10.0F, 20.0F));
  EXPECT_TRUE(animated);
  EXPECT_EQ(chunk, cache.getSample(3, 0)->getChild(0));
}

TEST_F(VekRoMemCacheTest, objectDataOfTheDefinitionWins) {
  ASSERT_TRUE(openScene(0));
  ASSERT_NE(cache.getSample(3, 1, Tag::POSI, nullptr), nullptr);
  bool animated = true;
  const VekChunk* chunk = cache.getObjectData(3, 1, Tag::POSI, &animated);
  EXPECT_THAT(floatsOf(chunk), ElementsAre(0, 0, 0, 1, 1, 1));
  EXPECT_FALSE(animated);
}

TEST_F(VekRoMemCacheTest, objectDataNeedsNoAnimatedFlag) {
  ASSERT_TRUE(openScene(0));
  EXPECT_NE(cache.getObjectData(3, 0, Tag::POSI, nullptr), nullptr);
  EXPECT_NE(cache.getObjectData(3, 1, Tag::POSI, nullptr), nullptr);
  EXPECT_EQ(cache.getObjectData(3, 0, kZzzz, nullptr), nullptr);
  EXPECT_EQ(cache.getObjectData(3, -1, kZzzz, nullptr), nullptr);
}

TEST_F(VekRoMemCacheTest, objectDataSearchesTheSampleInDepth) {
  ASSERT_TRUE(openScene(0));
  bool animated = false;
  EXPECT_THAT(floatsOf(cache.getObjectData(1, 0, Tag::MTRX, &animated)), ElementsAre(1.0F, 40.0F));
  EXPECT_TRUE(animated);
}

TEST_F(VekRoMemCacheTest, objectDataSearchesTheDefinitionInDepth) {
  const ByteImage nested = group("GRUP", group("GRUP", floatChunk("MTRX", {5.0F})));
  ASSERT_TRUE(open(oneObject(nested, floatChunk("MTRX", {6.0F})).image));
  bool animated = true;
  EXPECT_THAT(floatsOf(cache.getObjectData(0, 0, Tag::MTRX, &animated)), ElementsAre(5.0F));
  EXPECT_FALSE(animated);
}

TEST_F(VekRoMemCacheTest, objectDataTakesParentsBeforeChildren) {
  const ByteImage sample = join({group("GRUP", group("GRUP", floatChunk("MTRX", {1.0F}))),
                                 floatChunk("MTRX", {2.0F}), floatChunk("BBOX", {3.0F})});
  ASSERT_TRUE(open(oneObject({}, sample).image));
  const VekGroupChunk* g = cache.getSample(0, 0);
  ASSERT_NE(g, nullptr);
  EXPECT_EQ(cache.getObjectData(0, 0, Vek::makeTag('G', 'R', 'U', 'P'), nullptr), g->getChild(0));
  EXPECT_THAT(floatsOf(cache.getObjectData(0, 0, Tag::MTRX, nullptr)), ElementsAre(1.0F));
}

TEST_F(VekRoMemCacheTest, objectDataFindsTheGroupsThemselves) {
  ASSERT_TRUE(openScene(0));
  bool animated = true;
  EXPECT_EQ(cache.getObjectData(1, 0, Tag::DOBJ, &animated), cache.getObjDef(0));
  EXPECT_FALSE(animated);
  EXPECT_EQ(cache.getObjectData(1, 0, Tag::SOBJ, &animated), cache.getSample(1, 0));
  EXPECT_TRUE(animated);
}

TEST_F(VekRoMemCacheTest, objectDataClearsTheFlagWhenThereIsNone) {
  ASSERT_TRUE(openScene(0));
  const std::vector<std::pair<int, int>> places = {{0, 0},        {0, -1}, {0, kObjects},
                                                   {kSamples, 0}, {-1, 0}, {0, 2}};
  for (const auto& [sample, obj] : places) {
    bool animated = true;
    EXPECT_EQ(cache.getObjectData(sample, obj, kZzzz, &animated), nullptr);
    EXPECT_FALSE(animated) << sample << ' ' << obj;
  }
}

TEST_F(VekRoMemCacheTest, staticObjectDataNeedsNoSample) {
  ASSERT_TRUE(openScene(0));
  for (const int sample : {-1, kSamples, std::numeric_limits<int>::max()}) {
    bool animated = true;
    EXPECT_NE(cache.getObjectData(sample, 1, Tag::POSI, &animated), nullptr) << sample;
    EXPECT_FALSE(animated);
    EXPECT_EQ(cache.getObjectData(sample, 0, Tag::POSI, &animated), nullptr) << sample;
    EXPECT_FALSE(animated);
  }
}

// --- getNumVertices -----------------------------------------------------------------------------

struct Points {
  int type;
  int dimension;
  std::size_t length;
  int count;
};

const std::vector<Points>& pointSizes() {
  static const std::vector<Points> all = {
      {4, 3, 120, 10},
      {4, 0, 120, 10},
      {4, 1, 120, 30},
      {4, 2, 120, 15},
      {4, 4, 120, 7},
      {4, 16, 128, 2},
      {4, 3, 8, 0},
      {4, 3, 0, 0},
      {4, 0, 0, 0},
      {4, 255, 1020, 1},
      {4, 255, 1016, 0},
      {6, 3, 120, 5},
      {6, 0, 120, 5},
      {6, 4, 128, 4},
      {6, 1, 16, 2},
      {6, 3, 40, 1},
      {3, 3, 24, 2},
      {3, 0, 24, 2},
      {0, 3, 25, 2},
      {0, 1, 3, 0},
      {2, 3, 24, 2},
      // Eight-byte integers count as four bytes: only double is told apart.
      {5, 3, 48, 4},
      {5, 0, 48, 4}};
  return all;
}

ByteImage pointChunk(const Points& p) {
  return ByteImage().chunk("POSI", p.type, ByteImage().zeros(p.length), 1, p.dimension);
}

std::string nameOf(const Points& p) {
  return "type " + std::to_string(p.type) + " dimension " + std::to_string(p.dimension) +
         " length " + std::to_string(p.length);
}

TEST_F(VekRoMemCacheTest, numVerticesIsLengthByElementSize) {
  for (const Points& p : pointSizes()) {
    ASSERT_TRUE(open(oneObject({}, pointChunk(p)).image)) << nameOf(p);
    EXPECT_EQ(cache.getNumVertices(0, 0), p.count) << nameOf(p);
  }
}

TEST_F(VekRoMemCacheTest, numVerticesOfStaticPointsNeedsNoSample) {
  for (const Points& p : pointSizes()) {
    ASSERT_TRUE(open(makeScene({definition("|o", pointChunk(p))}, {}).image)) << nameOf(p);
    EXPECT_EQ(cache.getNumVertices(-1, 0), p.count) << nameOf(p);
    EXPECT_EQ(cache.getNumVertices(0, 0), p.count) << nameOf(p);
  }
}

TEST_F(VekRoMemCacheTest, numVerticesPrefersTheDefinition) {
  ASSERT_TRUE(open(oneObject(pointChunk({4, 3, 24, 2}), pointChunk({4, 3, 120, 10})).image));
  EXPECT_EQ(cache.getNumVertices(0, 0), 2);
}

TEST_F(VekRoMemCacheTest, numVerticesIsZeroWithoutPoints) {
  ASSERT_TRUE(openScene(0));
  EXPECT_EQ(cache.getNumVertices(0, 2), 0);
  EXPECT_EQ(cache.getNumVertices(-1, 0), 0);
  EXPECT_EQ(cache.getNumVertices(kSamples, 0), 0);
  EXPECT_EQ(cache.getNumVertices(0, -1), 0);
  EXPECT_EQ(cache.getNumVertices(0, kObjects), 0);
  EXPECT_EQ(cache.getNumVertices(0, std::numeric_limits<int>::min()), 0);
  EXPECT_EQ(cache.getNumVertices(0, std::numeric_limits<int>::max()), 0);
}

TEST_F(VekRoMemCacheTest, numVerticesOfAnUnknownValueTypeIsZero) {
  const ByteImage posi = ByteImage().chunk("POSI", 9, ByteImage().zeros(24), 1, 3);
  ASSERT_TRUE(open(oneObject({}, posi).image));
  ASSERT_NE(cache.getSample(0, 0, Tag::POSI, nullptr), nullptr);
  EXPECT_EQ(cache.getNumVertices(0, 0), 0);
}

// --- getAttrData --------------------------------------------------------------------------------

TEST_F(VekRoMemCacheTest, animatedAttributeComesFromTheSample) {
  ASSERT_TRUE(openScene(0));
  for (int s = 0; s < kSamples; ++s) {
    const auto time = static_cast<float>(s);
    EXPECT_THAT(floatsOf(cache.getAttrData(s, 1, 0)), ElementsAre(time, 50.0F));
    EXPECT_THAT(floatsOf(cache.getAttrData(s, 1, 1)), ElementsAre(time, 60.0F));
  }
}

TEST_F(VekRoMemCacheTest, animatedAttributeIsAChildOfTheHeldGroup) {
  ASSERT_TRUE(openScene(0));
  VekChunk* value = cache.getAttrData(2, 1, 1);
  const auto* values =
      dynamic_cast<const VekGroupChunk*>(cache.getSample(2, 1, Tag::ATRS, nullptr));
  ASSERT_NE(values, nullptr);
  EXPECT_EQ(value, values->getChild(1));
}

TEST_F(VekRoMemCacheTest, staticAttributeComesFromTheDefinition) {
  ASSERT_TRUE(openScene(0));
  EXPECT_THAT(floatsOf(cache.getAttrData(0, 1, 2)), ElementsAre(7.0F));
  EXPECT_THAT(floatsOf(cache.getAttrData(0, 1, 3)), ElementsAre(8.0F, 9.0F));
  for (const int attr : {2, 3}) {
    EXPECT_EQ(cache.getAttrData(0, 1, attr), cache.getObjDef(1)->getDATR()->getStaticData(attr));
  }
}

TEST_F(VekRoMemCacheTest, staticAttributeNeedsNoSample) {
  ASSERT_TRUE(openScene(0));
  const std::string errors = captureStderr([&] {
    for (const int sample : {-1, kSamples}) {
      EXPECT_THAT(floatsOf(cache.getAttrData(sample, 1, 2)), ElementsAre(7.0F));
    }
  });
  EXPECT_EQ(errors, "");
}

TEST_F(VekRoMemCacheTest, attributeOfAnObjectOutsideTheTableIsNullWithoutMessage) {
  ASSERT_TRUE(openScene(0));
  const std::string errors = captureStderr([&] {
    EXPECT_EQ(cache.getAttrData(0, -1, 0), nullptr);
    EXPECT_EQ(cache.getAttrData(0, kObjects, 0), nullptr);
  });
  EXPECT_EQ(errors, "");
}

TEST_F(VekRoMemCacheTest, attributeWithoutAttributesIsNullWithoutMessage) {
  ASSERT_TRUE(openScene(0));
  std::string errors = captureStderr([&] {
    EXPECT_EQ(cache.getAttrData(0, 0, 0), nullptr);
    EXPECT_EQ(cache.getAttrData(0, 0, 99), nullptr);
  });
  EXPECT_EQ(errors, "");
  // Attribute definitions that are there and empty.
  ASSERT_TRUE(open(oneObject(attributes({}, {}, {}), {}).image));
  ASSERT_NE(cache.getObjDef(0)->getDATR(), nullptr);
  errors = captureStderr([&] {
    EXPECT_EQ(cache.getAttrData(0, 0, 0), nullptr);
    EXPECT_EQ(cache.getAttrData(0, 0, -1), nullptr);
  });
  EXPECT_EQ(errors, "");
}

TEST_F(VekRoMemCacheTest, attributeIndexOutOfRangeIsReported) {
  ASSERT_TRUE(openScene(0));
  const std::vector<std::pair<int, std::string>> wrong = {{-1, "-1"},
                                                          {4, "4"},
                                                          {100, "100"},
                                                          {2147483647, "2147483647"},
                                                          {-2147483647 - 1, "-2147483648"}};
  for (const auto& [attr, text] : wrong) {
    std::string output;
    const std::string errors = captureStderr([&, index = attr] {
      output = captureStdout([&] { EXPECT_EQ(cache.getAttrData(0, 1, index), nullptr); });
    });
    EXPECT_EQ(errors, "DATR index out of range " + text + "\n");
    EXPECT_EQ(output, "");
  }
  EXPECT_THAT(cache.held(), IsEmpty());
}

TEST_F(VekRoMemCacheTest, missingAttributeGroupIsReported) {
  const std::vector<ByteImage> definitions = {definition("|x"), definition("|y"),
                                              definition("|o", attributes({"a"}, {}, {}))};
  const Scene s = makeScene(definitions,
                            {{ByteImage(), ByteImage(), floatChunk("POSI", {1.0F})}, {{}, {}, {}}});
  ASSERT_TRUE(open(s.image));
  for (const int sample : {0, 1, -1, 2}) {
    const std::string errors =
        captureStderr([&] { EXPECT_EQ(cache.getAttrData(sample, 2, 0), nullptr); });
    EXPECT_EQ(errors, "ATRS GROUP chunk missing for object at 2\n") << sample;
  }
}

TEST_F(VekRoMemCacheTest, attributeGroupThatIsNoGroupIsMissing) {
  for (const int type : {0, 2, 3, 4, 5, 6, 9}) {
    const ByteImage sample = ByteImage().chunk("ATRS", type, ByteImage().zeros(8));
    ASSERT_TRUE(open(oneObject(attributes({"a"}, {}, {}), sample).image));
    const std::string errors =
        captureStderr([&] { EXPECT_EQ(cache.getAttrData(0, 0, 0), nullptr); });
    EXPECT_EQ(errors, "ATRS GROUP chunk missing for object at 0\n") << type;
  }
}

TEST_F(VekRoMemCacheTest, attributeGroupInsideAnotherGroupIsMissing) {
  const ByteImage sample = group("GRUP", group("ATRS", floatChunk("ATTR", {1.0F})));
  ASSERT_TRUE(open(oneObject(attributes({"a"}, {}, {}), sample).image));
  const std::string errors = captureStderr([&] { EXPECT_EQ(cache.getAttrData(0, 0, 0), nullptr); });
  EXPECT_EQ(errors, "ATRS GROUP chunk missing for object at 0\n");
}

TEST_F(VekRoMemCacheTest, attributeWithoutValuesInTheSampleIsNull) {
  const ByteImage sample = group("ATRS", floatChunk("ATTR", {1.0F}));
  ASSERT_TRUE(open(oneObject(attributes({"a", "b"}, {}, {}), sample).image));
  EXPECT_NE(cache.getAttrData(0, 0, 0), nullptr);
  const std::string errors = captureStderr([&] { EXPECT_EQ(cache.getAttrData(0, 0, 1), nullptr); });
  // The group is there and the attribute has an index in it: none of the messages fits.
  EXPECT_EQ(errors, "");
}

TEST_F(VekRoMemCacheTest, staticAttributeWithoutValuesIsNull) {
  const ByteImage fixed = attributes({}, {"a", "b"}, floatChunk("ATTR", {1.0F}));
  ASSERT_TRUE(open(oneObject(fixed, {}).image));
  EXPECT_NE(cache.getAttrData(0, 0, 0), nullptr);
  EXPECT_EQ(cache.getAttrData(0, 0, 1), nullptr);
}

TEST_F(VekRoMemCacheTest, attributeValuesOfAnyKindAreGiven) {
  const ByteImage sample = group(
      "ATRS", join({ByteImage().chunk("ATTR", 0, ByteImage().zeros(3)), textChunk("ABCD", {"t"}),
                    group("ATTR", floatChunk("POSI", {1.0F})), ByteImage().header("ATTR", 9, 0)}));
  ASSERT_TRUE(open(oneObject(attributes({"a", "b", "c", "d"}, {}, {}), sample).image));
  const std::vector<int> types = {0, 2, 1, 9};
  for (std::size_t i = 0; i < types.size(); ++i) {
    const VekChunk* value = cache.getAttrData(0, 0, static_cast<int>(i));
    ASSERT_NE(value, nullptr) << i;
    EXPECT_EQ(static_cast<int>(value->getType()), types[i]);
  }
}

// --- getSampleDataAtTime ------------------------------------------------------------------------

/// One leaf of every value type, tagged TYP0, TYP2, ... TYP6, with two values each.
ByteImage everyLeaf() {
  return join({ByteImage().chunk("TYP0", 0, ByteImage().raw("ab")), textChunk("TYP2", {"x", "yz"}),
               ByteImage().chunk("TYP3", 3, ByteImage().int32(1).int32(-2)),
               floatChunk("TYP4", {0.5F, -1.5F}),
               ByteImage().chunk("TYP5", 5, ByteImage().int64(1LL << 40).int64(-3)),
               ByteImage().chunk("TYP6", 6, ByteImage().float64(0.25).float64(-4.0))});
}

unsigned int typeTag(int type) {
  return Vek::makeTag('T', 'Y', 'P', static_cast<char>('0' + type));
}

class SampleDataTest : public VekRoMemCacheTest {
 protected:
  void SetUp() override {
    VekRoMemCacheTest::SetUp();
    ASSERT_TRUE(open(oneObject({}, everyLeaf()).image));
  }
  template <typename T>
  const std::vector<T>* dataOf(int type) {
    return cache.getSampleDataAtTime<T>(1.0F, 0, typeTag(type), nullptr);
  }
  /// The leaf of the type gives its own vector; every other leaf gives null.
  template <typename T>
  void expectOnly(int type, const std::vector<T>& values) {
    for (const int t : {0, 2, 3, 4, 5, 6}) {
      const std::vector<T>* data = dataOf<T>(t);
      if (t != type) {
        EXPECT_EQ(data, nullptr) << t;
        continue;
      }
      ASSERT_NE(data, nullptr);
      EXPECT_EQ(*data, values);
      const auto* leaf = asLeaf<T>(cache.getSample(0, 0, typeTag(t), nullptr));
      ASSERT_NE(leaf, nullptr);
      EXPECT_EQ(data, &leaf->data);
    }
  }
};

TEST_F(SampleDataTest, charValues) {
  expectOnly<char>(0, {'a', 'b'});
}
TEST_F(SampleDataTest, stringValues) {
  expectOnly<std::string>(2, {"x", "yz"});
}
TEST_F(SampleDataTest, intValues) {
  expectOnly<int>(3, {1, -2});
}
TEST_F(SampleDataTest, floatValues) {
  expectOnly<float>(4, {0.5F, -1.5F});
}
TEST_F(SampleDataTest, int64Values) {
  expectOnly<__int64>(5, {1LL << 40, -3});
}
TEST_F(SampleDataTest, doubleValues) {
  expectOnly<double>(6, {0.25, -4.0});
}

TEST_F(SampleDataTest, missingTagIsNull) {
  EXPECT_EQ(cache.getSampleDataAtTime<float>(1.0F, 0, kZzzz, nullptr), nullptr);
}

TEST_F(SampleDataTest, objectOutsideTheTableIsNull) {
  EXPECT_EQ(cache.getSampleDataAtTime<float>(1.0F, 1, typeTag(4), nullptr), nullptr);
}

TEST_F(SampleDataTest, groupIsNoLeaf) {
  ASSERT_TRUE(open(oneObject({}, group("GRUP", floatChunk("POSI", {1.0F}))).image));
  const unsigned int tag = Vek::makeTag('G', 'R', 'U', 'P');
  EXPECT_EQ(cache.getSampleDataAtTime<float>(1.0F, 0, tag, nullptr), nullptr);
  EXPECT_EQ(cache.getSampleDataAtTime<char>(1.0F, 0, tag, nullptr), nullptr);
}

TEST_F(SampleDataTest, unknownTypeIsNoLeaf) {
  ASSERT_TRUE(open(oneObject({}, ByteImage().chunk("POSI", 9, ByteImage().zeros(8))).image));
  EXPECT_EQ(cache.getSampleDataAtTime<char>(1.0F, 0, Tag::POSI, nullptr), nullptr);
  EXPECT_EQ(cache.getSampleDataAtTime<float>(1.0F, 0, Tag::POSI, nullptr), nullptr);
}

TEST_F(VekRoMemCacheTest, timeMustHitASampleExactly) {
  ASSERT_TRUE(openScene(0));
  for (int s = 0; s < kSamples; ++s) {
    const float time = 1.0F + 0.5F * static_cast<float>(s);
    const auto* data = cache.getSampleDataAtTime<float>(time, 0, Tag::POSI, nullptr);
    ASSERT_NE(data, nullptr) << time;
    EXPECT_THAT(*data, ElementsAre(static_cast<float>(s), 10.0F, 20.0F));
  }
  for (const float time : {1.25F, 1.0000001F, 0.5F, 3.5F, -1.0F, kNaN, kInfinity, -kInfinity}) {
    EXPECT_EQ(cache.getSampleDataAtTime<float>(time, 0, Tag::POSI, nullptr), nullptr) << time;
  }
}

TEST_F(VekRoMemCacheTest, timeOfANonUniformFileMustHitASample) {
  Head head;
  head.numSamples = 3;
  head.firstTime = 0.0F;
  head.lastTime = 5.0F;
  head.rate = 0.0F;
  head.definitions = {definition("|o")};
  ByteImage image = headImage(head);
  Stream stream;
  stream.times = {0.0F, 1.0F, 5.0F};
  for (const float s : {0.0F, 1.0F, 2.0F}) stream.objects.push_back({floatChunk("POSI", {s})});
  addStream(image, stream);
  ASSERT_TRUE(open(image));
  const auto* data = cache.getSampleDataAtTime<float>(5.0F, 0, Tag::POSI, nullptr);
  ASSERT_NE(data, nullptr);
  EXPECT_THAT(*data, ElementsAre(2.0F));
  for (const float time : {0.5F, 2.0F, 4.0F, 6.0F}) {
    EXPECT_EQ(cache.getSampleDataAtTime<float>(time, 0, Tag::POSI, nullptr), nullptr) << time;
  }
}

TEST_F(VekRoMemCacheTest, dataAtTimeSearchesFromThePosition) {
  ASSERT_TRUE(openScene(0));
  int position = 1;
  const auto* data = cache.getSampleDataAtTime<float>(1.5F, 0, Tag::POSI, &position);
  ASSERT_NE(data, nullptr);
  EXPECT_THAT(*data, ElementsAre(1.0F, 30.0F));
  EXPECT_EQ(position, 2);
  position = 3;
  EXPECT_EQ(cache.getSampleDataAtTime<float>(1.5F, 0, Tag::POSI, &position), nullptr);
  EXPECT_EQ(position, 4);
}

TEST_F(VekRoMemCacheTest, dataAtTimeIgnoresTheDefinition) {
  ASSERT_TRUE(openScene(0));
  const auto* data = cache.getSampleDataAtTime<float>(2.0F, 1, Tag::POSI, nullptr);
  ASSERT_NE(data, nullptr);
  EXPECT_THAT(*data, ElementsAre(2.0F));
}

TEST_F(VekRoMemCacheTest, dataAtTimeIsNullWithoutObjects) {
  EXPECT_EQ(cache.getSampleDataAtTime<float>(1.0F, 0, Tag::POSI, nullptr), nullptr);
  ASSERT_TRUE(open(makeScene({}, {{}}).image));
  EXPECT_EQ(cache.getSampleDataAtTime<float>(1.0F, 0, Tag::POSI, nullptr), nullptr);
}

TEST_F(VekRoMemCacheTest, dataAtTimeIsNullWithoutSamples) {
  ASSERT_TRUE(open(makeScene({definition("|a", floatChunk("POSI", {1.0F}))}, {}).image));
  EXPECT_EQ(cache.getSampleDataAtTime<float>(1.0F, 0, Tag::POSI, nullptr), nullptr);
}

// --- Loading and deleting samples ---------------------------------------------------------------

TEST_F(VekRoMemCacheTest, loadAllSamplesHoldsEverything) {
  ASSERT_TRUE(openScene(0));
  EXPECT_TRUE(cache.loadAllSamples());
  EXPECT_EQ(cache.sampleTable.size(), 5U);
  for (int s = 0; s < kSamples; ++s) {
    for (int obj = 0; obj < kObjects; ++obj) EXPECT_NE(cache.entry(s, obj), nullptr);
  }
}

TEST_F(VekRoMemCacheTest, loadAllSamplesWorksOnATableThatNeverGrew) {
  OpenRoCache loaded(path().c_str(), true, 0, nullptr);
  EXPECT_TRUE(loaded.loadAllSamples());
  EXPECT_THAT(loaded.held(), ElementsAre(0, 1, 2, 3, 4));
}

TEST_F(VekRoMemCacheTest, loadAllSamplesKeepsWhatIsHeld) {
  ASSERT_TRUE(openScene(0));
  const VekGroupChunk* before = cache.getSample(3, 1);
  EXPECT_TRUE(cache.loadAllSamples());
  EXPECT_EQ(cache.entry(3, 1), before);
}

TEST_F(VekRoMemCacheTest, loadAllSamplesOfNothingSucceeds) {
  EXPECT_TRUE(cache.loadAllSamples());
  EXPECT_TRUE(cache.sampleTable.empty());
}

TEST_F(VekRoMemCacheTest, loadAllSamplesSucceedsWhateverCannotBeRead) {
  ASSERT_TRUE(openScene(0, false));
  damage(1, 1);
  damage(4, 2);
  EXPECT_TRUE(cache.loadAllSamples());
  for (int s = 0; s < kSamples; ++s) {
    for (int obj = 0; obj < kObjects; ++obj) {
      const bool damaged = (s == 1 && obj == 1) || (s == 4 && obj == 2);
      EXPECT_EQ(cache.entry(s, obj) == nullptr, damaged) << s << ' ' << obj;
    }
  }
  repair();
  EXPECT_TRUE(cache.loadAllSamples());
  EXPECT_NE(cache.entry(1, 1), nullptr);
  EXPECT_NE(cache.entry(4, 2), nullptr);
}

TEST_F(VekRoMemCacheTest, loadAllSamplesIsNoUseAndIgnoresTheLimit) {
  ASSERT_TRUE(openScene(1));
  EXPECT_TRUE(cache.loadAllSamples());
  EXPECT_THAT(cache.recent(), IsEmpty());
  EXPECT_THAT(cache.held(), ElementsAre(0, 1, 2, 3, 4));
  fetch({0, 1});
  EXPECT_THAT(cache.held(), ElementsAre(1, 2, 3, 4));
}

TEST_F(VekRoMemCacheTest, loadSamplesNotGreaterThanLoadsThese) {
  ASSERT_TRUE(openScene(0));
  EXPECT_TRUE(cache.loadSamplesNotGreaterThan(2));
  EXPECT_THAT(cache.held(), ElementsAre(0, 1, 2));
  for (int s = 0; s <= 2; ++s) {
    for (int obj = 0; obj < kObjects; ++obj) EXPECT_NE(cache.entry(s, obj), nullptr);
  }
  EXPECT_EQ(cache.sampleTable.size(), 5U);
  EXPECT_THAT(cache.recent(), IsEmpty());
}

TEST_F(VekRoMemCacheTest, loadSamplesNotGreaterThanGrowsAShorterTable) {
  OpenRoCache loaded(path().c_str(), true, 0, nullptr);
  EXPECT_TRUE(loaded.loadSamplesNotGreaterThan(1));
  EXPECT_EQ(loaded.sampleTable.size(), 2U);
  EXPECT_THAT(loaded.held(), ElementsAre(0, 1));
}

TEST_F(VekRoMemCacheTest, loadSamplesNotGreaterThanKeepsWhatIsHeld) {
  ASSERT_TRUE(openScene(0));
  const VekGroupChunk* before = cache.getSample(1, 1);
  EXPECT_TRUE(cache.loadSamplesNotGreaterThan(2));
  EXPECT_EQ(cache.entry(1, 1), before);
}

TEST_F(VekRoMemCacheTest, loadSamplesNotGreaterThanTheLastLoadsAll) {
  for (const int last : {kSamples - 1, kSamples, 1000, std::numeric_limits<int>::max()}) {
    ASSERT_TRUE(openScene(0));
    EXPECT_TRUE(cache.loadSamplesNotGreaterThan(last));
    EXPECT_THAT(cache.held(), ElementsAre(0, 1, 2, 3, 4));
  }
}

TEST_F(VekRoMemCacheTest, loadSamplesNotGreaterThanANegativeSampleDoesNothing) {
  ASSERT_TRUE(openScene(0));
  EXPECT_TRUE(cache.loadSamplesNotGreaterThan(-1));
  EXPECT_TRUE(cache.loadSamplesNotGreaterThan(std::numeric_limits<int>::min()));
  EXPECT_THAT(cache.held(), IsEmpty());
  OpenRoCache none;
  EXPECT_TRUE(none.loadSamplesNotGreaterThan(3));
}

TEST_F(VekRoMemCacheTest, loadSamplesNotGreaterThanStopsAtTheFirstFailure) {
  ASSERT_TRUE(openScene(0, false));
  damage(1, 1);
  EXPECT_FALSE(cache.loadSamplesNotGreaterThan(3));
  for (int obj = 0; obj < kObjects; ++obj) EXPECT_NE(cache.entry(0, obj), nullptr);
  EXPECT_NE(cache.entry(1, 0), nullptr);
  EXPECT_EQ(cache.entry(1, 1), nullptr);
  EXPECT_EQ(cache.entry(1, 2), nullptr);
  EXPECT_EQ(cache.entry(2, 0), nullptr);
  EXPECT_EQ(cache.entry(3, 0), nullptr);
}

// Up to the last sample it is loadAllSamples(), which never fails.
TEST_F(VekRoMemCacheTest, loadSamplesNotGreaterThanTheLastSucceedsWhateverCannotBeRead) {
  ASSERT_TRUE(openScene(0, false));
  damage(1, 1);
  EXPECT_TRUE(cache.loadSamplesNotGreaterThan(kSamples - 1));
  EXPECT_EQ(cache.entry(1, 1), nullptr);
  EXPECT_NE(cache.entry(1, 2), nullptr);
  EXPECT_NE(cache.entry(4, 2), nullptr);
}

TEST_F(VekRoMemCacheTest, deleteSampleDeletesAllItsObjects) {
  ASSERT_TRUE(openScene(0));
  EXPECT_TRUE(cache.loadAllSamples());
  cache.deleteSample(2);
  EXPECT_THAT(cache.held(), ElementsAre(0, 1, 3, 4));
  EXPECT_EQ(cache.sampleTable.size(), 5U);
}

TEST_F(VekRoMemCacheTest, deleteSampleOfNothingDoesNothing) {
  ASSERT_TRUE(openScene(0));
  fetch({1});
  for (const int s : {0, 4, 5, 1000}) cache.deleteSample(s);
  EXPECT_THAT(cache.held(), ElementsAre(1));
  EXPECT_EQ(cache.sampleTable.size(), 5U);
}

TEST_F(VekRoMemCacheTest, deleteOfTheLastEntryShrinksTheTableToTheLastHeldSample) {
  ASSERT_TRUE(openScene(0));
  fetch({0, 1, 4});
  cache.deleteSample(4);
  EXPECT_EQ(cache.sampleTable.size(), 2U);
  cache.deleteSample(0);
  EXPECT_EQ(cache.sampleTable.size(), 2U);
  cache.deleteSample(1);
  EXPECT_TRUE(cache.sampleTable.empty());
}

TEST_F(VekRoMemCacheTest, deletedSampleIsReadAgain) {
  ASSERT_TRUE(openScene(0));
  fetch({4});
  cache.deleteSample(4);
  fetch({4});
  EXPECT_EQ(cache.sampleTable.size(), 5U);
  EXPECT_THAT(floatsOf(cache.getSample(4, 0, Tag::VELO, nullptr)), ElementsAre(4.0F));
}

TEST_F(VekRoMemCacheTest, deleteSampleLeavesTheOrderOfUse) {
  ASSERT_TRUE(openScene(3));
  fetch({0, 1, 2});
  cache.deleteSample(1);
  EXPECT_THAT(cache.recent(), ElementsAre(2, 1, 0));
  EXPECT_THAT(cache.held(), ElementsAre(0, 2));
  // The entry without data still counts against the limit.
  fetch({3});
  EXPECT_THAT(cache.recent(), ElementsAre(3, 2, 1));
  EXPECT_THAT(cache.held(), ElementsAre(2, 3));
}

TEST_F(VekRoMemCacheTest, deleteAllSamplesEmptiesTheTableAndLeavesTheOrderOfUse) {
  ASSERT_TRUE(openScene(3));
  fetch({0, 1, 2});
  cache.deleteAllSamples();
  EXPECT_TRUE(cache.sampleTable.empty());
  EXPECT_THAT(cache.recent(), ElementsAre(2, 1, 0));
  EXPECT_EQ(cache.getNumSamples(), kSamples);
  fetch({2});
  EXPECT_THAT(cache.held(), ElementsAre(2));
}

TEST_F(VekRoMemCacheTest, deleteAllSamplesOfNothingDoesNothing) {
  cache.deleteAllSamples();
  EXPECT_TRUE(cache.sampleTable.empty());
}

// --- Virtual dispatch ---------------------------------------------------------------------------

/// Answers with a group of its own for every object.
class GroupOverride : public OpenRoCache {
 public:
  using OpenRoCache::getSample;
  using OpenRoCache::OpenRoCache;

  GroupOverride() {
    const std::vector<float> six = {0, 1, 2, 3, 4, 5};
    own.addChild(new VekLeafChunk<float>(Tag::POSI, 1, 3, six));
    auto* values = new VekGroupChunk(Tag::ATRS);
    values->addChild(new VekLeafChunk<float>(Tag::ATTR, {11.0F}));
    own.addChild(values);
  }
  const VekGroupChunk* getSample(int sample, int obj) override {
    calls.emplace_back(sample, obj);
    return &own;
  }

  VekGroupChunk own{Tag::SOBJ};
  std::vector<std::pair<int, int>> calls;
};

/// Answers with a leaf of its own for every child.
class ChildOverride : public OpenRoCache {
 public:
  using OpenRoCache::getSample;
  using OpenRoCache::OpenRoCache;

  const VekChunk* getSample(int sample, int obj, unsigned int tag, int* position) override {
    calls.emplace_back(sample, obj);
    tags.push_back(tag);
    positions.push_back(position);
    if (position != nullptr) *position = 77;
    return answer;
  }

  const VekChunk* answer = nullptr;
  std::vector<std::pair<int, int>> calls;
  std::vector<unsigned int> tags;
  std::vector<int*> positions;
};

class DispatchTest : public VekRoMemCacheTest {
 protected:
  void SetUp() override {
    VekRoMemCacheTest::SetUp();
    ASSERT_TRUE(groups.load(path().c_str(), true));
    ASSERT_TRUE(children.load(path().c_str(), true));
  }
  VekRoMemCache& throughBase(VekRoMemCache& c) { return c; }

  GroupOverride groups;
  ChildOverride children;
};

TEST_F(DispatchTest, childSearchAsksTheVirtualGroup) {
  int position = 0;
  EXPECT_EQ(throughBase(groups).getSample(3, 2, Tag::ATRS, &position), groups.own.getChild(1));
  EXPECT_EQ(position, 1);
  EXPECT_THAT(groups.calls, ElementsAre(std::make_pair(3, 2)));
}

TEST_F(DispatchTest, objectDataAsksTheVirtualGroup) {
  bool animated = false;
  EXPECT_EQ(throughBase(groups).getObjectData(3, 0, Tag::POSI, &animated), groups.own.getChild(0));
  EXPECT_TRUE(animated);
  EXPECT_THAT(groups.calls, ElementsAre(std::make_pair(3, 0)));
}

TEST_F(DispatchTest, staticObjectDataDoesNotAskForTheGroup) {
  EXPECT_NE(throughBase(groups).getObjectData(3, 1, Tag::POSI, nullptr), nullptr);
  EXPECT_EQ(throughBase(groups).getNumVertices(3, 1), 2);
  EXPECT_THAT(groups.calls, IsEmpty());
}

TEST_F(DispatchTest, numVerticesAsksTheVirtualGroup) {
  EXPECT_EQ(throughBase(groups).getNumVertices(4, 2), 2);
  EXPECT_THAT(groups.calls, ElementsAre(std::make_pair(4, 2)));
}

TEST_F(DispatchTest, numVerticesOfANegativeSampleDoesNotAsk) {
  EXPECT_EQ(throughBase(groups).getNumVertices(-1, 2), 0);
  EXPECT_THAT(groups.calls, IsEmpty());
}

TEST_F(DispatchTest, attributeReachesTheVirtualGroup) {
  EXPECT_THAT(floatsOf(throughBase(groups).getAttrData(2, 1, 0)), ElementsAre(11.0F));
  EXPECT_THAT(groups.calls, ElementsAre(std::make_pair(2, 1)));
}

TEST_F(DispatchTest, dataAtTimeReachesTheVirtualGroup) {
  const auto* data = throughBase(groups).getSampleDataAtTime<float>(1.5F, 2, Tag::POSI, nullptr);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->size(), 6U);
  EXPECT_THAT(groups.calls, ElementsAre(std::make_pair(1, 2)));
}

TEST_F(DispatchTest, attributeAsksTheVirtualChildWithoutPosition) {
  VekGroupChunk values(Tag::ATRS);
  values.addChild(new VekLeafChunk<float>(Tag::ATTR, {1.0F}));
  values.addChild(new VekLeafChunk<float>(Tag::ATTR, {2.0F}));
  children.answer = &values;
  EXPECT_EQ(throughBase(children).getAttrData(2, 1, 1), values.getChild(1));
  EXPECT_THAT(children.calls, ElementsAre(std::make_pair(2, 1)));
  EXPECT_THAT(children.tags, ElementsAre(Tag::ATRS));
  EXPECT_THAT(children.positions, ElementsAre(nullptr));
}

TEST_F(DispatchTest, dataAtTimeAsksTheVirtualChild) {
  const VekLeafChunk<double> leaf(kZzzz, {1.0, 2.0});
  children.answer = &leaf;
  int position = 5;
  const auto* data = throughBase(children).getSampleDataAtTime<double>(2.5F, 2, kZzzz, &position);
  EXPECT_EQ(data, &leaf.data);
  EXPECT_EQ(position, 77);
  EXPECT_THAT(children.calls, ElementsAre(std::make_pair(3, 2)));
  EXPECT_THAT(children.tags, ElementsAre(kZzzz));
  EXPECT_THAT(children.positions, ElementsAre(&position));
}

TEST_F(DispatchTest, dataAtATimeWithoutSampleDoesNotAsk) {
  EXPECT_EQ(throughBase(children).getSampleDataAtTime<double>(1.25F, 2, kZzzz, nullptr), nullptr);
  EXPECT_THAT(children.calls, IsEmpty());
}

/// Notes the calls of load and reset.
class LoadOverride : public OpenRoCache {
 public:
  using OpenRoCache::load;
  bool load(const char* filename, bool keep) override {
    calls.push_back("load " + std::to_string(maxSamples));
    return OpenRoCache::load(filename, keep);
  }
  void reset() override {
    calls.emplace_back("reset");
    OpenRoCache::reset();
  }

  std::vector<std::string> calls;
};

TEST_F(VekRoMemCacheTest, loadWithLimitStoresItThenCallsTheVirtualLoad) {
  LoadOverride c;
  VekRoMemCache& base = c;
  EXPECT_TRUE(base.load(path().c_str(), true, 4));
  EXPECT_THAT(c.calls, ElementsAre("load 4", "reset"));
  EXPECT_EQ(c.getMaxSamples(), 4);
}

TEST_F(VekRoMemCacheTest, loadThroughTheBaseClassIsTheCachesOwn) {
  Vek::VekCache& base = cache;
  cache.setMaxSamples(2);
  EXPECT_TRUE(base.load(path().c_str(), true));
  EXPECT_EQ(cache.getMaxSamples(), 2);
  EXPECT_EQ(cache.sampleTable.size(), 5U);
  base.reset();
  EXPECT_EQ(cache.getMaxSamples(), 0);
  EXPECT_TRUE(cache.sampleTable.empty());
}

TEST_F(VekRoMemCacheTest, destructionThroughTheBaseClassFreesTheSamples) {
  auto* loaded = new OpenRoCache(path().c_str(), true, 0, nullptr);
  EXPECT_TRUE(loaded->loadAllSamples());
  const Vek::VekCache* base = loaded;
  delete base;
}

#if defined(__GNUC__) && defined(__x86_64__) && !defined(_WIN32)
/// The place of a virtual operation in the table: there a pointer to it holds 1 more than its
/// offset in bytes.
template <typename Member>
std::ptrdiff_t slotOf(Member member) {
  std::ptrdiff_t word = 0;
  std::memcpy(&word, &member, sizeof(word));
  return (word - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(VekRoMemCacheSlotsTest, virtualOperationsStandInTheirOrder) {
  using C = VekRoMemCache;
  // The destructor takes two slots.
  EXPECT_EQ(slotOf<void (C::*)()>(&C::reset), 2);
  EXPECT_EQ((slotOf<bool (C::*)(const char*, bool)>(&C::load)), 3);
  EXPECT_EQ((slotOf<bool (C::*)(const char*, bool, int)>(&C::load)), 4);
  EXPECT_EQ((slotOf<const VekChunk* (C::*)(int, int, unsigned int, int*)>(&C::getSample)), 5);
  EXPECT_EQ((slotOf<const VekGroupChunk* (C::*)(int, int)>(&C::getSample)), 6);
  EXPECT_EQ(slotOf(&C::getObjectData), 7);
  EXPECT_EQ(slotOf(&C::getNumVertices), 8);
  EXPECT_EQ(slotOf(&C::getAttrData), 9);
}
#endif

// --- Damaged files ------------------------------------------------------------------------------

TEST_F(VekRoMemCacheTest, objectPastTheSamplesTableIsNull) {
  // The third object is defined, but the samples hold two.
  const Scene s = makeScene({definition("|a"), definition("|b"), definition("|c")},
                            {{floatChunk("POSI", {1.0F}), ByteImage()}});
  ASSERT_TRUE(open(s.image));
  bool animated = true;
  EXPECT_NE(cache.getSample(0, 0), nullptr);
  EXPECT_NE(cache.getSample(0, 1), nullptr);
  EXPECT_EQ(cache.getSample(0, 2), nullptr);
  EXPECT_EQ(cache.getSample(0, 2, Tag::POSI, nullptr), nullptr);
  EXPECT_EQ(cache.getObjectData(0, 2, Tag::POSI, &animated), nullptr);
  EXPECT_FALSE(animated);
  EXPECT_EQ(cache.getNumVertices(0, 2), 0);
  EXPECT_EQ(cache.getSampleDataAtTime<float>(1.0F, 2, Tag::POSI, nullptr), nullptr);
}

TEST_F(VekRoMemCacheTest, damagedOffsetsAndLengthsGiveNull) {
  const std::int64_t least = std::numeric_limits<std::int64_t>::min();
  const std::int64_t most = std::numeric_limits<std::int64_t>::max();
  const std::int64_t sample = scene.layout.samples[1];
  const std::int64_t object = scene.layout.objects[1][0];
  // The length of the sample's table, the object's offset, its length and that of its first child.
  for (const std::int64_t place : {sample + 24, sample + 32, object + 8, object + 24}) {
    for (const std::int64_t value : {least, std::int64_t{-1}, std::int64_t{1} << 40, most}) {
      ASSERT_TRUE(cache.load(writeFile(patched(scene.image.bytes(), place, value)).c_str(), true));
      EXPECT_EQ(cache.getSample(1, 0), nullptr) << place << ' ' << value;
      EXPECT_EQ(cache.getNumVertices(1, 0), 0) << place << ' ' << value;
      // The sample before is whole.
      EXPECT_NE(cache.getSample(0, 0), nullptr) << place << ' ' << value;
    }
  }
}

// Its length is not needed for a fetch, unless it cannot be one.
TEST_F(VekRoMemCacheTest, sampleOfANegativeLengthOrNoneGivesNull) {
  for (const std::int64_t length :
       {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
    const std::int64_t place = scene.layout.samples[1] + 8;
    ASSERT_TRUE(cache.load(writeFile(patched(scene.image.bytes(), place, length)).c_str(), true));
    EXPECT_EQ(cache.getSample(1, 0), nullptr) << length;
    EXPECT_NE(cache.getSample(0, 0), nullptr) << length;
  }
}

TEST_F(VekRoMemCacheTest, leafOfABrokenLengthGivesNullForTheObject) {
  const ByteImage broken = ByteImage().chunk("POSI", 4, ByteImage().zeros(10));
  ASSERT_TRUE(open(oneObject({}, join({floatChunk("VELO", {1.0F}), broken})).image));
  EXPECT_EQ(cache.getSample(0, 0), nullptr);
  EXPECT_EQ(cache.getSample(0, 0, Tag::VELO, nullptr), nullptr);
}

/// Asks for everything, inside and outside the tables.
void walk(OpenRoCache& c) {
  const std::vector<unsigned int> tags = {Tag::POSI, Tag::ATRS, Tag::NAME};
  const int samples = c.getNumSamples();
  const int objects = c.getNumObjects();
  for (int s = -1; s <= samples && s < 10; ++s) {
    for (int obj = 0; obj <= objects; ++obj) {
      c.getSample(s, obj);
      for (const unsigned int tag : tags) {
        int position = 0;
        bool animated = false;
        c.getSample(s, obj, tag, &position);
        c.getObjectData(s, obj, tag, &animated);
        c.getSampleDataAtTime<float>(c.getSampleTime(s), obj, tag, nullptr);
      }
      c.getNumVertices(s, obj);
      const int attrs = obj < objects ? c.getNumAttrs(obj) : 0;
      for (int attr = -1; attr <= attrs; ++attr) c.getAttrData(s, obj, attr);
    }
  }
  EXPECT_TRUE(c.loadAllSamples());
}

/// Loads and walks a file, whatever is in it.
void loadAndWalk(const std::string& file, bool keepOpen, int maxSamples) {
  OpenRoCache c;
  if (c.load(file.c_str(), keepOpen, maxSamples)) walk(c);
}

/// Two samples of two objects, with attributes of both kinds and points.
std::string smallFile() {
  const ByteImage fixed = attributes({"a"}, {"s"}, floatChunk("ATTR", {7.0F}));
  const ByteImage points = ByteImage().chunk("POSI", 4, floats({0, 1, 2}), 1, 3);
  const ByteImage moving = join({points, group("ATRS", floatChunk("ATTR", {1.0F}))});
  const std::vector<ByteImage> definitions = {definition("|a", fixed), definition("|b", points)};
  return makeScene(definitions, {{moving, ByteImage()}, {moving, points}}).image.bytes();
}

TEST_F(VekRoMemCacheTest, truncatedFilesAreWalkedWithoutHarm) {
  const std::string whole = smallFile();
  captureStderr([&] {
    captureStdout([&] {
      for (std::size_t size = 0; size < whole.size(); ++size) {
        loadAndWalk(writeFile(whole.substr(0, size)), size % 2 == 0, static_cast<int>(size % 3));
      }
    });
  });
}

TEST_F(VekRoMemCacheTest, filesWithAFlippedByteAreWalkedWithoutHarm) {
  const std::string whole = smallFile();
  captureStderr([&] {
    captureStdout([&] {
      for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const int mask : {0x01, 0x80, 0xFF}) {
          std::string bytes = whole;
          bytes[at] = static_cast<char>(static_cast<unsigned char>(bytes[at]) ^ mask);
          loadAndWalk(writeFile(bytes), at % 2 == 0, static_cast<int>(at % 3));
        }
      }
    });
  });
}

TEST_F(VekRoMemCacheTest, fileThatShrinksAfterItsLoadGivesNull) {
  ASSERT_TRUE(openScene(0, false));
  std::filesystem::resize_file(path(), static_cast<std::uintmax_t>(scene.layout.samples[2]));
  EXPECT_NE(cache.getSample(1, 0), nullptr);
  EXPECT_EQ(cache.getSample(2, 0), nullptr);
  EXPECT_EQ(cache.getSample(4, 0), nullptr);
  std::filesystem::resize_file(path(), 0);
  EXPECT_EQ(cache.getSample(0, 0), nullptr);
  EXPECT_NE(cache.getSample(1, 0), nullptr);
}

}  // namespace
