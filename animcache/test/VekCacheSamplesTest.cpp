// SPDX-License-Identifier: Apache-2.0
//
// Fetching samples: seeking an object and a channel, loading an object, presence of tags, and files
// whose sample stream is damaged.

#include "VekCache.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ByteImage.h"
#include "SceneImage.h"

namespace {

using namespace VekTest;
using ::testing::ElementsAre;
using Vek::asLeaf;
using Vek::VekGroupChunk;
using Vek::VekHeader;
namespace Tag = Vek::Tag;

constexpr unsigned int kZzzz = Vek::makeTag('Z', 'Z', 'Z', 'Z');
constexpr std::int64_t kMostNegative = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMostPositive = std::numeric_limits<std::int64_t>::max();

/// Three samples at 1, 2, 3 of three objects. Object 0 has POSI, VELO, POSI; object 1 BBOX and, as
/// its last child, a group that ends with an empty leaf; object 2 nothing.
struct Scene {
  ByteImage image;
  StreamLayout layout;
};

Head sceneHead() {
  Head head;
  head.numSamples = 3;
  head.firstTime = 1.0F;
  head.lastTime = 3.0F;
  head.definitions = {definition("|a"), definition("|b"), definition("|c")};
  return head;
}

Scene makeScene() {
  Scene scene;
  scene.image = headImage(sceneHead());
  Stream stream;
  for (const float s : {0.0F, 1.0F, 2.0F}) {
    stream.objects.push_back(
        {join({floatChunk("POSI", {s, 10.0F}), floatChunk("VELO", {s}),
               floatChunk("POSI", {s, 20.0F, 30.0F})}),
         join({floatChunk("BBOX", {s}),
               group("ATRS", join({floatChunk("ATTR", {s}), ByteImage().header("ATTR", 4, 0)}))}),
         ByteImage()});
  }
  scene.layout = addStream(scene.image, stream);
  return scene;
}

class VekCacheSamplesTest : public FileTest {
 protected:
  /// Loads a file of these bytes.
  bool open(const std::string& bytes, bool keepOpen = true) {
    return cache.load(writeFile(bytes).c_str(), keepOpen);
  }
  bool open(const ByteImage& image, bool keepOpen = true) { return open(image.bytes(), keepOpen); }
  bool openScene(bool keepOpen = true) { return open(scene.image, keepOpen); }
  /// Loads the scene with one value overwritten.
  template <typename T>
  bool openPatched(std::int64_t offset, T value) {
    return open(patched(scene.image.bytes(), offset, value));
  }
  std::unique_ptr<VekGroupChunk> fetch(int sample, int obj) {
    return std::unique_ptr<VekGroupChunk>(cache.loadObjectSample(sample, obj));
  }
  bool seek(int sample, int obj) { return cache.seekObjectSample(header, sample, obj); }

  const Scene scene = makeScene();
  OpenCache cache;
  VekHeader header;
};

/// The float values of a child, empty when it is no float leaf.
std::vector<float> valuesOf(VekGroupChunk& g, unsigned __int64 child) {
  const auto* leaf = asLeaf<float>(g.getChild(child));
  return leaf == nullptr ? std::vector<float>() : leaf->data;
}

// --- Seeking an object --------------------------------------------------------------------------

TEST_F(VekCacheSamplesTest, seekLeavesHeaderAndPositionAtThePayload) {
  ASSERT_TRUE(openScene());
  for (const int sample : {0, 2, 1}) {
    for (const int obj : {1, 0, 2}) {
      const auto s = static_cast<std::size_t>(sample);
      ASSERT_TRUE(seek(sample, obj));
      EXPECT_EQ(header.tag, Tag::SOBJ);
      EXPECT_EQ(header.type, 1);
      EXPECT_EQ(cache.file.tell(), scene.layout.objects[s][static_cast<std::size_t>(obj)] + 16);
      EXPECT_EQ(cache.file.getLevel(), obj == 2 ? 0U : 1U);
    }
  }
}

TEST_F(VekCacheSamplesTest, seekKeepsTheTableOfTheSample) {
  ASSERT_TRUE(openScene());
  EXPECT_EQ(cache.cachedSampleIndex, -1);
  ASSERT_TRUE(seek(1, 0));
  EXPECT_EQ(cache.cachedSampleIndex, 1);
  EXPECT_EQ(cache.objectJumps,
            (std::vector<__int64>(scene.layout.objects[1].begin(), scene.layout.objects[1].end())));
  ASSERT_TRUE(seek(2, 0));
  EXPECT_EQ(cache.cachedSampleIndex, 2);
}

// The tables of a few samples are kept aside, so that a blend can go to and fro between them.
TEST_F(VekCacheSamplesTest, tableIsThatOfTheSampleInWhateverOrderTheyAreVisited) {
  constexpr int numSamples = 8;
  Head head = sceneHead();
  head.numSamples = numSamples;
  head.lastTime = numSamples;
  ByteImage image = headImage(head);
  const StreamLayout layout = addStream(image, emptySamples(numSamples, 3));
  ASSERT_TRUE(open(image));
  unsigned int random = 1;
  for (int step = 0; step < 2000; ++step) {
    random = random * 1664525U + 1013904223U;
    // Runs between few samples, and jumps to any.
    const int sample = static_cast<int>(random >> 24U) % (step % 50 < 40 ? 3 : numSamples);
    const auto& offsets = layout.objects[static_cast<std::size_t>(sample)];
    ASSERT_TRUE(seek(sample, step % 3)) << step;
    ASSERT_EQ(cache.cachedSampleIndex, sample) << step;
    ASSERT_EQ(cache.objectJumps, std::vector<__int64>(offsets.begin(), offsets.end())) << step;
    ASSERT_EQ(cache.file.tell(), offsets[static_cast<std::size_t>(step % 3)] + 16) << step;
  }
}

// Of a long table the first visit reads one entry only.
TEST_F(VekCacheSamplesTest, objectsOfLongTablesAreFoundInWhateverOrderTheSamplesAreVisited) {
  constexpr int numSamples = 3;
  constexpr std::size_t numObjects = 600;
  Head head = sceneHead();
  head.definitions.assign(numObjects, definition("|a"));
  Stream stream;
  for (int s = 0; s < numSamples; ++s) {
    std::vector<ByteImage>& objects = stream.objects.emplace_back();
    for (std::size_t o = 0; o < numObjects; ++o)
      objects.push_back(floatChunk("POSI", {static_cast<float>(1000 * s) + static_cast<float>(o)}));
  }
  ByteImage image = headImage(head);
  addStream(image, stream);
  ASSERT_TRUE(open(image));
  for (std::size_t o = 0; o < numObjects; ++o) {
    for (int s = 0; s < numSamples; ++s) {
      const auto sobj = fetch(s, static_cast<int>(o));
      ASSERT_NE(sobj, nullptr) << s << " " << o;
      ASSERT_EQ(valuesOf(*sobj, 0),
                std::vector<float>{static_cast<float>(1000 * s) + static_cast<float>(o)});
    }
  }
}

// The sample's table in the file is spoilt after the first fetch: it is not read again.
TEST_F(VekCacheSamplesTest, tableOfTheSampleIsReadOnce) {
  ASSERT_TRUE(openScene(false));
  ASSERT_NE(fetch(0, 0), nullptr);
  writeFile(patched(scene.image.bytes(), scene.layout.objectTables[0] + 16 + 8, kMostNegative));
  EXPECT_NE(fetch(0, 1), nullptr);
  // Another sample in between makes it be read again.
  ASSERT_NE(fetch(1, 1), nullptr);
  EXPECT_EQ(fetch(0, 1), nullptr);
}

TEST_F(VekCacheSamplesTest, tableOfTheSampleSurvivesAClose) {
  ASSERT_TRUE(openScene());
  ASSERT_TRUE(seek(1, 0));
  EXPECT_TRUE(cache.close());
  EXPECT_EQ(cache.cachedSampleIndex, 1);
  EXPECT_EQ(cache.objectJumps.size(), 3U);
}

TEST_F(VekCacheSamplesTest, seekOpensAClosedFile) {
  ASSERT_TRUE(openScene(false));
  ASSERT_FALSE(cache.file.isOpen());
  EXPECT_TRUE(seek(0, 0));
  EXPECT_TRUE(cache.file.isOpen());
  ASSERT_TRUE(cache.close());
  EXPECT_TRUE(seek(0, 1));
}

TEST_F(VekCacheSamplesTest, seekFailsWhenTheFileIsGone) {
  ASSERT_TRUE(openScene(false));
  std::filesystem::remove(path());
  std::string errors;
  const std::string output =
      captureStdout([&] { errors = captureStderr([&] { EXPECT_FALSE(seek(0, 0)); }); });
  EXPECT_EQ(output + errors, "");
}

TEST_F(VekCacheSamplesTest, emptyCacheHasNothingToSeek) {
  EXPECT_FALSE(seek(0, 0));
  EXPECT_EQ(fetch(0, 0), nullptr);
}

TEST_F(VekCacheSamplesTest, fileWithoutSamplesHasNothingToSeek) {
  Head head;
  head.definitions = {definition("|a")};
  ByteImage image = headImage(head);
  addStream(image, emptySamples(1, 1));
  ASSERT_TRUE(open(image, false));
  EXPECT_FALSE(seek(0, 0));
  // The file is opened before the samples are counted.
  EXPECT_TRUE(cache.file.isOpen());
}

TEST_F(VekCacheSamplesTest, objectBeyondTheTableFails) {
  ASSERT_TRUE(openScene());
  for (const int obj : {3, 4, std::numeric_limits<int>::max()}) EXPECT_FALSE(seek(0, obj)) << obj;
  EXPECT_EQ(cache.cachedSampleIndex, 0);
  EXPECT_TRUE(seek(0, 2));
}

TEST_F(VekCacheSamplesTest, tableShorterThanTheObjectsFails) {
  ByteImage image = headImage(sceneHead());
  addStream(image, {{}, {{floatChunk("POSI", {1.0F})}, {}, {}}});
  ASSERT_TRUE(open(image));
  EXPECT_TRUE(seek(0, 0));
  EXPECT_FALSE(seek(0, 1));
  EXPECT_FALSE(seek(0, 2));
  EXPECT_FALSE(seek(1, 0));
  EXPECT_EQ(fetch(0, 2), nullptr);
  EXPECT_FALSE(cache.objectHas(2, Tag::POSI));
}

TEST_F(VekCacheSamplesTest, tableLongerThanTheObjectsCounts) {
  Head head = sceneHead();
  head.definitions.clear();
  ByteImage image = headImage(head);
  addStream(image, emptySamples(3, 2));
  ASSERT_TRUE(open(image));
  EXPECT_TRUE(seek(2, 1));
}

TEST_F(VekCacheSamplesTest, jumpMustLeadToASample) {
  const std::vector<std::int64_t> jumps = {-1,
                                           kMostNegative,
                                           kMostPositive,
                                           std::int64_t{1} << 40,
                                           scene.layout.samples[0] + 1,
                                           0,
                                           24,
                                           scene.layout.sams,
                                           scene.layout.jsam,
                                           scene.layout.objectTables[0],
                                           scene.layout.objects[0][0],
                                           static_cast<std::int64_t>(scene.image.size()) - 8};
  for (const std::int64_t jump : jumps) {
    ASSERT_TRUE(openPatched(scene.layout.jsam + 16, jump));
    EXPECT_FALSE(seek(0, 0)) << jump;
    EXPECT_EQ(cache.cachedSampleIndex, -1);
    EXPECT_EQ(fetch(0, 0), nullptr) << jump;
    EXPECT_TRUE(seek(1, 0));
  }
}

TEST_F(VekCacheSamplesTest, jumpsMayLeadToTheSameSample) {
  ASSERT_TRUE(openPatched(scene.layout.jsam + 16, scene.layout.samples[2]));
  ASSERT_TRUE(seek(0, 0));
  EXPECT_EQ(cache.file.tell(), scene.layout.objects[2][0] + 16);
}

TEST_F(VekCacheSamplesTest, sampleMustBeAGroup) {
  for (const char type : {'\0', '\2', '\5', '\7', '\xff'}) {
    ASSERT_TRUE(openPatched(scene.layout.samples[0] + 4, type));
    EXPECT_FALSE(seek(0, 0));
  }
}

TEST_F(VekCacheSamplesTest, sampleMustNotBeEmpty) {
  ASSERT_TRUE(openPatched(scene.layout.samples[0] + 8, std::int64_t{0}));
  EXPECT_FALSE(seek(0, 0));
}

TEST_F(VekCacheSamplesTest, sampleOfNegativeLengthFails) {
  for (const std::int64_t length : {std::int64_t{-1}, std::int64_t{-16}, kMostNegative}) {
    ASSERT_TRUE(openPatched(scene.layout.samples[0] + 8, length));
    EXPECT_FALSE(seek(0, 0));
  }
}

/// A file of one sample whose SAMP has this payload.
ByteImage oneSample(const ByteImage& payload) {
  Head head = sceneHead();
  head.numSamples = 1;
  head.lastTime = head.firstTime;
  ByteImage image = headImage(head);
  const auto sample = static_cast<std::int64_t>(image.size()) + 16 + 24;
  return image.raw(group(
      "SAMS", join({ByteImage().chunk("JSAM", 5, offsets({sample})), group("SAMP", payload)})));
}

/// Where the payload of the sample of oneSample() begins.
std::int64_t samplePayload() {
  return static_cast<std::int64_t>(oneSample(ByteImage()).size());
}

TEST_F(VekCacheSamplesTest, objectBeforeTheTableFails) {
  const ByteImage object = group("SOBJ", floatChunk("POSI", {1.0F}));
  const ByteImage table = ByteImage().chunk("JOBJ", 5, offsets({samplePayload()}));
  ASSERT_TRUE(open(oneSample(join({object, table}))));
  EXPECT_FALSE(seek(0, 0));
  EXPECT_EQ(cache.cachedSampleIndex, -1);
}

TEST_F(VekCacheSamplesTest, chunksBeforeTheTableAreSkipped) {
  const ByteImage other =
      join({floatChunk("XTRA", {1.0F}), ByteImage().chunk("FREE", 0, ByteImage().zeros(8)),
            group("GRUP", group("SOBJ", floatChunk("POSI", {1.0F}))), group("EMTY", ByteImage())});
  const std::int64_t object = samplePayload() + static_cast<std::int64_t>(other.size()) + 24;
  ASSERT_TRUE(open(oneSample(join({other, ByteImage().chunk("JOBJ", 5, offsets({object})),
                                   group("SOBJ", floatChunk("POSI", {1.0F}))}))));
  EXPECT_TRUE(seek(0, 0));
  EXPECT_EQ(cache.file.tell(), object + 16);
}

TEST_F(VekCacheSamplesTest, sampleWithoutTableFails) {
  ASSERT_TRUE(open(oneSample(floatChunk("XTRA", {1.0F}))));
  EXPECT_FALSE(seek(0, 0));
}

TEST_F(VekCacheSamplesTest, tableOfTheNextSampleIsNotTaken) {
  Head head = sceneHead();
  head.numSamples = 1;
  head.lastTime = head.firstTime;
  ByteImage image = headImage(head);
  const auto sample = static_cast<std::int64_t>(image.size()) + 16 + 24;
  image.raw(group("SAMS", join({ByteImage().chunk("JSAM", 5, offsets({sample})),
                                group("SAMP", floatChunk("XTRA", {1.0F}))})));
  const auto object = static_cast<std::int64_t>(image.size()) + 24;
  image.raw(ByteImage().chunk("JOBJ", 5, offsets({object})))
      .raw(group("SOBJ", floatChunk("POSI", {1.0F})));
  ASSERT_TRUE(open(image));
  EXPECT_FALSE(seek(0, 0));
}

TEST_F(VekCacheSamplesTest, damagedTableFails) {
  for (const std::int64_t length :
       {std::int64_t{4}, std::int64_t{12}, std::int64_t{23}, std::int64_t{-8}, std::int64_t{-16},
        std::int64_t{1} << 20, std::int64_t{1} << 45, kMostPositive - 7, kMostNegative}) {
    ASSERT_TRUE(openPatched(scene.layout.objectTables[0] + 8, length));
    EXPECT_FALSE(seek(0, 0)) << length;
    EXPECT_EQ(cache.cachedSampleIndex, -1);
  }
}

TEST_F(VekCacheSamplesTest, unskippableChunkBeforeTheTableFails) {
  for (const std::int64_t length :
       {std::int64_t{-1}, std::int64_t{-16}, kMostNegative, kMostPositive}) {
    const ByteImage bad = ByteImage().header("XTRA", 4, length);
    ASSERT_TRUE(open(oneSample(join({bad, ByteImage().chunk("JOBJ", 5, offsets({0}))}))));
    EXPECT_FALSE(seek(0, 0)) << length;
  }
}

TEST_F(VekCacheSamplesTest, failureForgetsTheSampleBefore) {
  ASSERT_TRUE(openPatched(scene.layout.jsam + 16, std::int64_t{-1}));
  ASSERT_TRUE(seek(1, 0));
  EXPECT_FALSE(seek(0, 0));
  EXPECT_EQ(cache.cachedSampleIndex, -1);
  EXPECT_TRUE(seek(1, 0));
}

TEST_F(VekCacheSamplesTest, objectJumpMustLeadToAnObject) {
  const std::vector<std::int64_t> jumps = {-1,
                                           kMostNegative,
                                           kMostPositive,
                                           std::int64_t{1} << 40,
                                           0,
                                           scene.layout.samples[0],
                                           scene.layout.objectTables[0],
                                           scene.layout.objects[0][0] + 16,
                                           static_cast<std::int64_t>(scene.image.size()) - 8};
  for (const std::int64_t jump : jumps) {
    ASSERT_TRUE(openPatched(scene.layout.objectTables[0] + 16, jump));
    EXPECT_FALSE(seek(0, 0)) << jump;
    EXPECT_EQ(fetch(0, 0), nullptr) << jump;
    EXPECT_TRUE(seek(0, 1));
  }
}

TEST_F(VekCacheSamplesTest, objectMustBeAGroup) {
  for (const char type : {'\0', '\2', '\4', '\x11', '\xff'}) {
    ASSERT_TRUE(openPatched(scene.layout.objects[0][0] + 4, type));
    EXPECT_FALSE(seek(0, 0));
  }
}

TEST_F(VekCacheSamplesTest, objectOfNegativeLengthFails) {
  for (const std::int64_t length : {std::int64_t{-1}, std::int64_t{-16}, kMostNegative}) {
    ASSERT_TRUE(openPatched(scene.layout.objects[0][0] + 8, length));
    EXPECT_EQ(fetch(0, 0), nullptr);
    EXPECT_FALSE(cache.seekChannelSample(header, 0, 0, Tag::POSI, nullptr));
  }
}

#if !defined(_WIN32)
TEST_F(VekCacheSamplesTest, reopeningAsksNoWritePermission) {
  const std::string file = writeFile(scene.image);
  ASSERT_EQ(::chmod(file.c_str(), 0444), 0);
  EXPECT_TRUE(asOrdinaryUser([&] {
    OpenCache own;
    own.openMode = 1;
    VekHeader h;
    // The load falls back to reading; the later fetch insists on the mode and fails.
    return own.load(file.c_str(), false) && !own.seekObjectSample(h, 0, 0);
  }));
}
#endif

// --- Seeking a channel --------------------------------------------------------------------------

TEST_F(VekCacheSamplesTest, channelIsTheFirstWithTheTag) {
  ASSERT_TRUE(openScene());
  const std::int64_t object = scene.layout.objects[1][0];
  ASSERT_TRUE(cache.seekChannelSample(header, 1, 0, Tag::POSI, nullptr));
  EXPECT_EQ(header.tag, Tag::POSI);
  EXPECT_EQ(header.length, 8);
  EXPECT_EQ(cache.file.tell(), object + 32);
  ASSERT_TRUE(cache.seekChannelSample(header, 1, 0, Tag::VELO, nullptr));
  EXPECT_EQ(header.tag, Tag::VELO);
  EXPECT_EQ(cache.file.tell(), object + 16 + 24 + 16);
  float value = 0.0F;
  ASSERT_TRUE(cache.file.readData(header, &value));
  EXPECT_EQ(value, 1.0F);
}

TEST_F(VekCacheSamplesTest, channelPositionIsWhereTheSearchBegins) {
  ASSERT_TRUE(openScene());
  struct Case {
    int begin;
    bool found;
    int end;
    std::int64_t length;
  };
  for (const Case& c : {Case{0, true, 0, 8}, Case{1, true, 2, 12}, Case{2, true, 2, 12},
                        Case{3, false, 3, 0}, Case{1000, false, 1000, 0}, Case{-5, true, 0, 8}}) {
    int position = c.begin;
    EXPECT_EQ(cache.seekChannelSample(header, 0, 0, Tag::POSI, &position), c.found) << c.begin;
    EXPECT_EQ(position, c.end) << c.begin;
    if (c.found) {
      EXPECT_EQ(header.length, c.length) << c.begin;
    }
  }
}

TEST_F(VekCacheSamplesTest, channelSearchPassesOtherTagsAtThePosition) {
  ASSERT_TRUE(openScene());
  int position = 0;
  ASSERT_TRUE(cache.seekChannelSample(header, 0, 0, Tag::VELO, &position));
  EXPECT_EQ(position, 1);
  EXPECT_EQ(header.tag, Tag::VELO);
}

TEST_F(VekCacheSamplesTest, channelOfTheNextObjectIsNotTaken) {
  ASSERT_TRUE(openScene());
  EXPECT_FALSE(cache.seekChannelSample(header, 0, 0, Tag::BBOX, nullptr));
  int position = 0;
  EXPECT_FALSE(cache.seekChannelSample(header, 0, 0, Tag::BBOX, &position));
  EXPECT_EQ(position, 0);
  // An object that ends with nested groups and an empty leaf has an end as well.
  EXPECT_FALSE(cache.seekChannelSample(header, 0, 1, Tag::POSI, nullptr));
}

TEST_F(VekCacheSamplesTest, channelsAreChildrenOfTheObjectOnly) {
  ASSERT_TRUE(openScene());
  EXPECT_TRUE(cache.seekChannelSample(header, 0, 1, Tag::ATRS, nullptr));
  EXPECT_EQ(header.type, 1);
  EXPECT_FALSE(cache.seekChannelSample(header, 0, 1, Tag::ATTR, nullptr));
}

TEST_F(VekCacheSamplesTest, emptyObjectHasNoChannel) {
  ASSERT_TRUE(openScene());
  EXPECT_FALSE(cache.seekChannelSample(header, 0, 2, Tag::POSI, nullptr));
}

TEST_F(VekCacheSamplesTest, emptyLastChannelIsFound) {
  ByteImage image = headImage(sceneHead());
  addStream(image, {{},
                    {{join({floatChunk("VELO", {1.0F}), ByteImage().header("POSI", 4, 0)})},
                     {join({ByteImage().header("VELO", 4, 0), ByteImage().header("VELO", 4, 0)})},
                     {}}});
  ASSERT_TRUE(open(image));
  int position = 0;
  EXPECT_TRUE(cache.seekChannelSample(header, 0, 0, Tag::POSI, &position));
  EXPECT_EQ(position, 1);
  EXPECT_EQ(header.length, 0);
  EXPECT_FALSE(cache.seekChannelSample(header, 1, 0, Tag::POSI, nullptr));
  position = 1;
  EXPECT_TRUE(cache.seekChannelSample(header, 1, 0, Tag::VELO, &position));
  EXPECT_EQ(position, 1);
}

TEST_F(VekCacheSamplesTest, channelNeedsItsObject) {
  ASSERT_TRUE(openScene());
  EXPECT_FALSE(cache.seekChannelSample(header, 0, 3, Tag::POSI, nullptr));
  OpenCache empty;
  EXPECT_FALSE(empty.seekChannelSample(header, 0, 0, Tag::POSI, nullptr));
}

TEST_F(VekCacheSamplesTest, channelBehindADamagedOneFails) {
  const std::int64_t length = scene.layout.objects[0][0] + 16 + 8;
  for (const std::int64_t bad : {std::int64_t{-1}, std::int64_t{-16}, std::int64_t{-24},
                                 std::int64_t{1} << 40, kMostNegative, kMostPositive}) {
    ASSERT_TRUE(openPatched(length, bad));
    EXPECT_FALSE(cache.seekChannelSample(header, 0, 0, Tag::VELO, nullptr)) << bad;
  }
}

TEST_F(VekCacheSamplesTest, channelFetchesReportNothing) {
  ASSERT_TRUE(openPatched(scene.layout.jsam + 16, std::int64_t{-1}));
  std::string errors;
  const std::string output = captureStdout([&] {
    errors = captureStderr([&] {
      EXPECT_FALSE(seek(0, 0));
      EXPECT_FALSE(cache.seekChannelSample(header, 0, 0, Tag::POSI, nullptr));
      EXPECT_EQ(fetch(0, 0), nullptr);
    });
  });
  EXPECT_EQ(output + errors, "");
}

// --- Loading an object --------------------------------------------------------------------------

TEST_F(VekCacheSamplesTest, loadedObjectIsAGroupOfItsChannels) {
  ASSERT_TRUE(openScene());
  const auto object = fetch(2, 0);
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(object->getTag(), Tag::SOBJ);
  ASSERT_EQ(object->numChildren(), 3U);
  EXPECT_THAT(valuesOf(*object, 0), ElementsAre(2.0F, 10.0F));
  EXPECT_THAT(valuesOf(*object, 1), ElementsAre(2.0F));
  EXPECT_THAT(valuesOf(*object, 2), ElementsAre(2.0F, 20.0F, 30.0F));
}

TEST_F(VekCacheSamplesTest, objectsLoadInAnyOrder) {
  ASSERT_TRUE(openScene());
  for (const int sample : {2, 0, 1, 1, 2}) {
    const auto s = static_cast<float>(sample);
    for (const int obj : {1, 0}) {
      const auto object = fetch(sample, obj);
      ASSERT_NE(object, nullptr);
      EXPECT_EQ(valuesOf(*object, 0).front(), s);
    }
  }
}

TEST_F(VekCacheSamplesTest, emptyObjectLoadsWithoutChildren) {
  ASSERT_TRUE(openScene());
  const auto object = fetch(1, 2);
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(object->numChildren(), 0U);
}

TEST_F(VekCacheSamplesTest, everyFetchHandsOutItsOwnChunk) {
  ASSERT_TRUE(openScene());
  const auto first = fetch(0, 0);
  const auto second = fetch(0, 0);
  ASSERT_NE(first, nullptr);
  EXPECT_NE(first, second);
  cache.reset();
  EXPECT_THAT(valuesOf(*first, 1), ElementsAre(0.0F));
}

TEST_F(VekCacheSamplesTest, fileStaysOpenBetweenFetchesWithKeepOpen) {
  ASSERT_TRUE(openScene(true));
  EXPECT_NE(fetch(0, 0), nullptr);
  EXPECT_TRUE(cache.file.isOpen());
  EXPECT_EQ(fetch(0, 3), nullptr);
  EXPECT_TRUE(cache.file.isOpen());
}

TEST_F(VekCacheSamplesTest, fileIsClosedAfterEveryFetchWithoutKeepOpen) {
  ASSERT_TRUE(openScene(false));
  EXPECT_NE(fetch(0, 0), nullptr);
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_EQ(fetch(0, 3), nullptr);
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_NE(fetch(2, 1), nullptr);
  EXPECT_FALSE(cache.file.isOpen());
}

TEST_F(VekCacheSamplesTest, unreadableObjectClosesTheFileWithoutKeepOpen) {
  // The VELO leaf loses the multiple of its element size.
  const std::int64_t velo = scene.layout.objects[0][0] + 16 + 24;
  const std::string bytes = patched(scene.image.bytes(), velo + 8, std::int64_t{3});
  ASSERT_TRUE(open(bytes, false));
  EXPECT_EQ(fetch(0, 0), nullptr);
  EXPECT_FALSE(cache.file.isOpen());
  ASSERT_TRUE(open(bytes, true));
  EXPECT_EQ(fetch(0, 0), nullptr);
  EXPECT_TRUE(cache.file.isOpen());
  EXPECT_NE(fetch(0, 1), nullptr);
}

TEST_F(VekCacheSamplesTest, setKeepOpenDecidesForTheNextFetch) {
  ASSERT_TRUE(openScene(false));
  cache.setKeepOpen(true);
  EXPECT_NE(fetch(0, 0), nullptr);
  EXPECT_TRUE(cache.file.isOpen());
  cache.setKeepOpen(false);
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_NE(fetch(0, 0), nullptr);
  EXPECT_FALSE(cache.file.isOpen());
}

TEST_F(VekCacheSamplesTest, objectWithADamagedChildFails) {
  const std::int64_t posi = scene.layout.objects[0][0] + 16;
  for (const std::int64_t bad :
       {std::int64_t{7}, std::int64_t{-8}, std::int64_t{1} << 40, kMostNegative, kMostPositive}) {
    ASSERT_TRUE(openPatched(posi + 8, bad));
    EXPECT_EQ(fetch(0, 0), nullptr) << bad;
    EXPECT_NE(fetch(1, 0), nullptr);
  }
}

TEST_F(VekCacheSamplesTest, unknownChildTypeIsSkipped) {
  ASSERT_TRUE(openPatched(scene.layout.objects[0][0] + 16 + 4, '\x09'));
  const auto object = fetch(0, 0);
  ASSERT_NE(object, nullptr);
  ASSERT_EQ(object->numChildren(), 3U);
  EXPECT_EQ(object->getChild(0)->getType(), 9);
  EXPECT_THAT(valuesOf(*object, 1), ElementsAre(0.0F));
}

TEST_F(VekCacheSamplesTest, samplesOfLaterSectionsLoad) {
  Head head = sceneHead();
  head.definitions = {definition("|a")};
  ByteImage image = headImage(head);
  addStream(image, {{}, {{floatChunk("POSI", {1.0F})}}});
  image.raw(floatChunk("TAIL", {5.0F}));
  addStream(image, {{}, {{floatChunk("POSI", {2.0F})}, {floatChunk("POSI", {3.0F})}}});
  ASSERT_TRUE(open(image, false));
  for (const int sample : {2, 0, 1}) {
    const auto object = fetch(sample, 0);
    ASSERT_NE(object, nullptr);
    EXPECT_THAT(valuesOf(*object, 0), ElementsAre(static_cast<float>(sample + 1)));
  }
}

// --- Chunk search -------------------------------------------------------------------------------

TEST_F(VekCacheSamplesTest, findChunkOfNothingIsNothing) {
  EXPECT_EQ(cache.findChunk(nullptr, Tag::POSI), nullptr);
}

TEST_F(VekCacheSamplesTest, findChunkSeesTheRoot) {
  VekGroupChunk root(Tag::SOBJ);
  EXPECT_EQ(cache.findChunk(&root, Tag::SOBJ), &root);
  Vek::VekLeafChunk<float> leaf(Tag::POSI);
  EXPECT_EQ(cache.findChunk(&leaf, Tag::POSI), &leaf);
  EXPECT_EQ(cache.findChunk(&leaf, Tag::VELO), nullptr);
}

TEST_F(VekCacheSamplesTest, findChunkGoesDownBeforeItGoesOn) {
  VekGroupChunk root(Tag::SOBJ);
  auto* inner = new VekGroupChunk(Tag::ATRS);
  auto* deep = new Vek::VekLeafChunk<float>(Tag::POSI);
  auto* later = new Vek::VekLeafChunk<float>(Tag::POSI);
  inner->addChild(new Vek::VekLeafChunk<int>(Tag::PIDS));
  inner->addChild(deep);
  root.addChild(inner);
  root.addChild(later);
  EXPECT_EQ(cache.findChunk(&root, Tag::POSI), deep);
  EXPECT_EQ(cache.findChunk(&root, Tag::ATRS), inner);
  EXPECT_EQ(cache.findChunk(&root, Tag::PIDS), inner->getChild(0));
  EXPECT_EQ(cache.findChunk(&root, kZzzz), nullptr);
  EXPECT_EQ(cache.findChunk(inner, Tag::SOBJ), nullptr);
}

TEST_F(VekCacheSamplesTest, findChunkPrefersTheParent) {
  VekGroupChunk root(Tag::ATRS);
  auto* same = new VekGroupChunk(Tag::ATRS);
  root.addChild(same);
  EXPECT_EQ(cache.findChunk(&root, Tag::ATRS), &root);
}

TEST_F(VekCacheSamplesTest, findChunkSeesOfADefinitionItselfAndGenericChildren) {
  Vek::VekDOBJChunk object("|a");
  object.addAttr(false, "count", "long", Vek::ValueType::Int32);
  object.addAttr(true, "vel", "float3", Vek::ValueType::Float);
  auto* shape = new VekGroupChunk(Tag::MESH);
  auto* nested = new Vek::VekLeafChunk<int>(Tag::MSPT);
  shape->addChild(nested);
  object.addChild(shape);
  EXPECT_EQ(cache.findChunk(&object, Tag::DOBJ), &object);
  EXPECT_EQ(cache.findChunk(&object, Tag::MESH), shape);
  EXPECT_EQ(cache.findChunk(&object, Tag::MSPT), nested);
  for (const unsigned int tag :
       {Tag::NAME, Tag::DATR, Tag::SATR, Tag::AATR, Tag::ATRS, Tag::ATTR, Tag::TYPE}) {
    EXPECT_EQ(cache.findChunk(&object, tag), nullptr) << VekHeader(tag, 0, 0).tagStr();
  }
}

// --- Presence tests -----------------------------------------------------------------------------

/// Three objects: the first with a static attribute, a static MESH and XFRM in its definition and
/// POSI in its samples; the second with an empty attribute list and BBOX in the second sample
/// only; the third with nothing.
ByteImage presenceScene(std::int64_t numSamples = 2) {
  const ByteImage attributes =
      group("DATR",
            join({group("SATR", join({textChunk("NAME", {"count"}), textChunk("TYPE", {"long"})})),
                  group("ATRS", int64Chunk("ATTR", 4))}));
  Head head;
  head.numSamples = numSamples;
  head.firstTime = 1.0F;
  head.lastTime = 2.0F;
  head.definitions = {definition("|a", join({attributes, group("MESH", floatChunk("MSPT", {1.0F})),
                                             ByteImage().chunk("XFRM", 3, ByteImage().int32(1))})),
                      definition("|b", group("DATR", ByteImage())), definition("|c")};
  ByteImage image = headImage(head);
  const ByteImage first = join({floatChunk("POSI", {1.0F}), floatChunk("XFRM", {1.0F}),
                                group("ATRS", floatChunk("ATTR", {2.0F}))});
  addStream(
      image,
      {{}, {{first, ByteImage(), ByteImage()}, {first, floatChunk("BBOX", {1.0F}), ByteImage()}}});
  return image;
}

TEST_F(VekCacheSamplesTest, tagInTheDefinitionIsPresentAndStatic) {
  ASSERT_TRUE(open(presenceScene()));
  for (const unsigned int tag : {Tag::MESH, Tag::MSPT, Tag::XFRM, Tag::DOBJ}) {
    EXPECT_TRUE(cache.objectHas(0, tag)) << VekHeader(tag, 0, 0).tagStr();
    EXPECT_FALSE(cache.isObjectAnimated(0, tag)) << VekHeader(tag, 0, 0).tagStr();
  }
}

TEST_F(VekCacheSamplesTest, tagInTheFirstSampleIsPresentAndAnimated) {
  ASSERT_TRUE(open(presenceScene()));
  for (const unsigned int tag : {Tag::POSI, Tag::SOBJ, Tag::ATRS, Tag::ATTR}) {
    EXPECT_TRUE(cache.objectHas(0, tag)) << VekHeader(tag, 0, 0).tagStr();
    EXPECT_TRUE(cache.isObjectAnimated(0, tag)) << VekHeader(tag, 0, 0).tagStr();
  }
}

TEST_F(VekCacheSamplesTest, tagInALaterSampleIsNotSeen) {
  ASSERT_TRUE(open(presenceScene()));
  EXPECT_FALSE(cache.objectHas(1, Tag::BBOX));
  EXPECT_FALSE(cache.isObjectAnimated(1, Tag::BBOX));
}

TEST_F(VekCacheSamplesTest, tagNowhereIsAbsent) {
  ASSERT_TRUE(open(presenceScene()));
  for (const unsigned int tag : {kZzzz, Tag::NAME, Tag::SATR, Tag::SAMP, Tag::FREE}) {
    EXPECT_FALSE(cache.objectHas(0, tag));
    EXPECT_FALSE(cache.isObjectAnimated(0, tag));
  }
}

TEST_F(VekCacheSamplesTest, attributesArePresentWhenThereAreAny) {
  ASSERT_TRUE(open(presenceScene()));
  EXPECT_TRUE(cache.objectHas(0, Tag::DATR));
  EXPECT_FALSE(cache.objectHas(1, Tag::DATR));
  EXPECT_FALSE(cache.objectHas(2, Tag::DATR));
  EXPECT_FALSE(cache.isObjectAnimated(0, Tag::DATR));
}

TEST_F(VekCacheSamplesTest, presenceOutsideTheObjectsIsFalse) {
  ASSERT_TRUE(open(presenceScene()));
  for (const int obj : {-1, 3, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    EXPECT_FALSE(cache.objectHas(obj, Tag::SOBJ));
    EXPECT_FALSE(cache.objectHas(obj, Tag::DOBJ));
    EXPECT_FALSE(cache.isObjectAnimated(obj, Tag::SOBJ));
  }
}

TEST_F(VekCacheSamplesTest, withoutSamplesTheDefinitionAnswersAlone) {
  ASSERT_TRUE(open(presenceScene(0)));
  EXPECT_TRUE(cache.objectHas(0, Tag::MESH));
  EXPECT_TRUE(cache.objectHas(0, Tag::DATR));
  EXPECT_FALSE(cache.objectHas(0, Tag::POSI));
  EXPECT_FALSE(cache.isObjectAnimated(0, Tag::POSI));
  EXPECT_FALSE(cache.isObjectAnimated(0, Tag::MESH));
}

TEST_F(VekCacheSamplesTest, presenceClosesTheFileWithoutKeepOpen) {
  ASSERT_TRUE(open(presenceScene(), false));
  EXPECT_TRUE(cache.objectHas(0, Tag::POSI));
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_TRUE(cache.isObjectAnimated(0, Tag::POSI));
  EXPECT_FALSE(cache.file.isOpen());
}

TEST_F(VekCacheSamplesTest, presenceLooksIntoTheFileOnly) {
  ASSERT_TRUE(open(presenceScene(), false));
  std::filesystem::remove(path());
  EXPECT_FALSE(cache.objectHas(0, Tag::POSI));
  EXPECT_FALSE(cache.isObjectAnimated(0, Tag::POSI));
  EXPECT_TRUE(cache.objectHas(0, Tag::MESH));
}

// The first sample of a file whose times run backwards has no index.
TEST_F(VekCacheSamplesTest, firstSampleWithoutIndexIsAbsent) {
  Head head = sceneHead();
  head.firstTime = 3.0F;
  head.lastTime = 1.0F;
  head.rate = -1.0F;
  ByteImage image = headImage(head);
  const ByteImage object = floatChunk("POSI", {1.0F});
  addStream(image,
            {{}, {{object, object, object}, {object, object, object}, {object, object, object}}});
  ASSERT_TRUE(open(image));
  EXPECT_NE(fetch(0, 0), nullptr);
  EXPECT_FALSE(cache.objectHas(0, Tag::POSI));
  EXPECT_FALSE(cache.isObjectAnimated(0, Tag::POSI));
}

TEST_F(VekCacheSamplesTest, presenceInANonUniformFile) {
  Head head = sceneHead();
  head.numSamples = 2;
  head.firstTime = -4.0F;
  head.lastTime = 0.5F;
  head.rate = 0.0F;
  ByteImage image = headImage(head);
  const ByteImage object = floatChunk("POSI", {1.0F});
  addStream(image, {{-4.0F, 0.5F}, {{object, ByteImage(), object}, {object, object, object}}});
  ASSERT_TRUE(open(image));
  EXPECT_TRUE(cache.objectHas(0, Tag::POSI));
  EXPECT_FALSE(cache.objectHas(1, Tag::POSI));
  EXPECT_TRUE(cache.isObjectAnimated(2, Tag::POSI));
}

TEST_F(VekCacheSamplesTest, presenceInADamagedSampleIsFalse) {
  ASSERT_TRUE(openPatched(scene.layout.jsam + 16, std::int64_t{-1}));
  EXPECT_FALSE(cache.objectHas(0, Tag::POSI));
  EXPECT_FALSE(cache.isObjectAnimated(0, Tag::POSI));
  EXPECT_TRUE(cache.objectHas(0, Tag::DOBJ));
}

TEST_F(VekCacheSamplesTest, recordedDefinitionsAreSeen) {
  ASSERT_TRUE(cache.load((std::string(VEK_GOLDEN_DIR) + "/nonuniform_points.vek").c_str()));
  EXPECT_TRUE(cache.objectHas(0, Tag::POSI));
  EXPECT_TRUE(cache.isObjectAnimated(0, Tag::POSI));
  EXPECT_TRUE(cache.objectHas(1, Tag::POSI));
  EXPECT_FALSE(cache.isObjectAnimated(1, Tag::POSI));
  EXPECT_TRUE(cache.objectHas(0, Tag::ATTR));
  EXPECT_TRUE(cache.objectHas(0, Tag::DATR));
  EXPECT_FALSE(cache.objectHas(1, Tag::DATR));
  EXPECT_FALSE(cache.objectHas(0, Tag::NAME));
}

// --- Damaged files, loaded and walked -----------------------------------------------------------

/// Asks a cache for everything that it has.
void walk(OpenCache& cache) {
  const int samples = std::min(cache.getNumSamples(), 8);
  const int objects = std::min(cache.getNumObjects(), 8);
  for (int obj = 0; obj < objects; ++obj) {
    for (int attr = 0; attr < cache.getNumAttrs(obj); ++attr) {
      cache.isAttrAnimated(obj, attr);
      cache.getAttrType(obj, attr);
      cache.findAttr(obj, cache.getAttrName(obj, attr));
    }
    cache.findObjectIndex(cache.getName(obj), obj);
    for (const unsigned int tag : {Tag::POSI, Tag::DATR, Tag::MESH, kZzzz}) {
      cache.objectHas(obj, tag);
      cache.isObjectAnimated(obj, tag);
    }
  }
  for (int sample = 0; sample < samples; ++sample) {
    const float t = cache.getSampleTime(sample);
    cache.getSampleIndex(t);
    cache.getMaxSampleIndexNotGreaterThan(t);
    cache.getMinSampleIndexNotLessThan(t);
    for (int obj = 0; obj < objects; ++obj) {
      const std::unique_ptr<VekGroupChunk> object(cache.loadObjectSample(sample, obj));
      VekHeader header;
      int position = 1;
      cache.seekChannelSample(header, sample, obj, Tag::POSI, &position);
      cache.seekChannelSample(header, sample, obj, kZzzz, nullptr);
    }
  }
}

/// A small file that holds every kind of chunk that the reader looks at.
ByteImage smallFile() {
  const ByteImage attributes =
      group("DATR",
            join({group("SATR", join({textChunk("NAME", {"n"}), textChunk("TYPE", {"t"})})),
                  group("ATRS", int64Chunk("ATTR", 4)), group("AATR", textChunk("NAME", {"v"}))}));
  Head head;
  head.numSamples = 2;
  head.firstTime = 1.0F;
  head.lastTime = 2.0F;
  head.rate = 0.0F;
  head.definitions = {definition("|a", attributes), definition("|b")};
  ByteImage image = headImage(head);
  addStream(image,
            {{1.0F}, {{floatChunk("POSI", {1.0F}), group("ATRS", floatChunk("ATTR", {1.0F}))}}});
  addStream(image, {{2.0F}, {{floatChunk("POSI", {2.0F}), ByteImage()}}});
  return image;
}

TEST_F(VekCacheSamplesTest, smallFileLoads) {
  ASSERT_TRUE(open(smallFile()));
  walk(cache);
  EXPECT_NE(fetch(0, 1), nullptr);
  EXPECT_NE(fetch(1, 0), nullptr);
}

TEST_F(VekCacheSamplesTest, fileCutAnywhereIsWalkedWithoutHarm) {
  const std::string bytes = smallFile().bytes();
  const std::string file = writeFile(bytes);
  captureStdout([&] {
    for (std::size_t size = bytes.size(); size-- > 0;) {
      std::filesystem::resize_file(file, size);
      for (const bool keepOpen : {true, false}) {
        if (cache.load(file.c_str(), keepOpen)) walk(cache);
      }
    }
  });
}

TEST_F(VekCacheSamplesTest, fileCutBehindTheCacheIsWalkedWithoutHarm) {
  const std::string bytes = smallFile().bytes();
  ASSERT_TRUE(open(bytes, false));
  for (std::size_t size = bytes.size(); size-- > 0;) {
    std::filesystem::resize_file(path(), size);
    walk(cache);
  }
}

TEST_F(VekCacheSamplesTest, fileWithAnyByteChangedIsWalkedWithoutHarm) {
  const std::string bytes = smallFile().bytes();
  const std::string file = writeFile(bytes);
  captureStdout([&] {
    for (std::size_t at = 0; at < bytes.size(); ++at) {
      for (const char value : {'\x00', '\x01', '\x7f', '\x80', '\xff'}) {
        overwrite(file, at, std::string(1, value));
        if (cache.load(file.c_str())) walk(cache);
      }
      overwrite(file, at, std::string(1, bytes[at]));
    }
  });
}

TEST_F(VekCacheSamplesTest, fileWithAnyLengthDamagedIsWalkedWithoutHarm) {
  const std::string bytes = smallFile().bytes();
  const std::string file = writeFile(bytes);
  captureStdout([&] {
    for (std::size_t at = 8; at + 8 <= bytes.size(); ++at) {
      for (const std::int64_t value :
           {std::int64_t{-1}, std::int64_t{-16}, std::int64_t{-32}, -static_cast<std::int64_t>(at),
            std::int64_t{1} << 33, kMostNegative, kMostPositive, kMostPositive - 15}) {
        overwrite(file, at, ByteImage().int64(value).bytes());
        if (cache.load(file.c_str())) walk(cache);
      }
      overwrite(file, at, bytes.substr(at, 8));
    }
  });
}

TEST_F(VekCacheSamplesTest, anyTimesAndRatesAreWalkedWithoutHarm) {
  constexpr float huge = std::numeric_limits<float>::max();
  const std::vector<float> values = {
      kNaN,  kInfinity, -kInfinity, huge,
      -huge, 0.0F,      -0.0F,      std::numeric_limits<float>::denorm_min(),
      1.0F};
  captureStdout([&] {
    for (const float first : values) {
      for (const float last : values) {
        for (const float rate : values) {
          Head head = sceneHead();
          head.numSamples = 1;
          head.firstTime = first;
          head.lastTime = last;
          head.rate = rate;
          ByteImage image = headImage(head);
          addStream(
              image,
              emptySamples(1, 3, rate == 0.0F ? std::vector<float>{first} : std::vector<float>{}));
          if (open(image)) walk(cache);
        }
      }
    }
  });
}

// An object whose groups nest deeper than any reader follows.
TEST_F(VekCacheSamplesTest, deeplyNestedObjectIsHandledWithoutHarm) {
  const auto nested = [](int depth) {
    std::string bytes = floatChunk("POSI", {1.0F}).bytes();
    std::string headers;
    for (int i = depth; i > 0; --i) {
      const std::size_t inside = bytes.size() + 16 * static_cast<std::size_t>(i - 1);
      headers += ByteImage().header("GRUP", 1, static_cast<std::int64_t>(inside)).bytes();
    }
    return ByteImage().raw(headers + bytes);
  };
  Head head = sceneHead();
  head.numSamples = 1;
  head.lastTime = head.firstTime;
  ByteImage image = headImage(head);
  addStream(image, {{}, {{nested(990), nested(50000)}}});
  ASSERT_TRUE(open(image));
  EXPECT_NE(fetch(0, 0), nullptr);
  EXPECT_TRUE(cache.objectHas(0, Tag::POSI));
  EXPECT_EQ(fetch(0, 1), nullptr);
  EXPECT_FALSE(cache.objectHas(1, Tag::POSI));
}

}  // namespace
