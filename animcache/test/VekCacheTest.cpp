// SPDX-License-Identifier: Apache-2.0
//
// Opening a file as a cache: what a load reads, the message of every failure, the state before and
// after, and the accessors of the head.

#include "VekCache.h"

#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "ByteImage.h"
#include "OpenFault.h"
#include "SceneImage.h"

namespace {

using namespace VekTest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Vek::VekCache;

constexpr std::int64_t kMostNegative = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMostPositive = std::numeric_limits<std::int64_t>::max();

void expectEmpty(OpenCache& cache) {
  EXPECT_EQ(cache.getFilename(), "");
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_TRUE(cache.getKeepOpen());
  EXPECT_EQ(cache.getVersion(), 2);
  EXPECT_EQ(cache.getNumSamples(), 0);
  EXPECT_EQ(cache.getFirstTime(), kInfinity);
  EXPECT_EQ(cache.getLastTime(), -kInfinity);
  EXPECT_EQ(cache.getRate(), 1.0F);
  EXPECT_EQ(cache.getSpace(), 1);
  EXPECT_EQ(cache.getApplication(), "");
  EXPECT_EQ(cache.getSourceFile(), "");
  EXPECT_EQ(cache.getDateStamp(), 0);
  EXPECT_EQ(cache.getNumObjects(), 0);
  EXPECT_EQ(cache.getMETAChunk().numChildren(), 0U);
  EXPECT_THAT(cache.timeTable, IsEmpty());
  EXPECT_THAT(cache.jumpTable, IsEmpty());
  EXPECT_THAT(cache.objectJumps, IsEmpty());
  EXPECT_EQ(cache.cachedSampleIndex, -1);
}

/// Loads and returns the message of the failure, "" for a success; checks the form of the report
/// and that a failed load leaves the cache empty.
std::string loadMessage(OpenCache& cache, const char* filename, bool keepOpen = true) {
  bool ok = false;
  std::string errors;
  const std::string output =
      captureStdout([&] { errors = captureStderr([&] { ok = cache.load(filename, keepOpen); }); });
  EXPECT_EQ(errors, "");
  if (ok) {
    EXPECT_EQ(output, "");
    return "";
  }
  expectEmpty(cache);
  return reportedMessage(output, "VekCache:", " ");
}

/// The head of a uniform file of `count` samples at frames 1, 2, ...
Head uniformHead(std::int64_t count) {
  Head head;
  head.numSamples = count;
  head.firstTime = 1.0F;
  head.lastTime = static_cast<float>(count);
  return head;
}

/// The head of a non-uniform file.
Head nonUniformHead(std::int64_t count, float first, float last) {
  Head head;
  head.numSamples = count;
  head.firstTime = first;
  head.lastTime = last;
  head.rate = 0.0F;
  return head;
}

/// A JSAM of as many entries, values that nothing follows.
ByteImage jumps(std::size_t count) {
  return ByteImage().chunk("JSAM", 5, offsets(std::vector<std::int64_t>(count, 7)));
}

ByteImage times(const std::vector<float>& values) {
  return floatChunk("TIMS", values);
}

const ByteImage& emptySample() {
  static const ByteImage image = group("SAMP", ByteImage().chunk("JOBJ", 5, ByteImage()));
  return image;
}

ByteImage sectionOf(const std::vector<ByteImage>& children) {
  return group("SAMS", join(children));
}

class VekCacheTest : public FileTest {
 protected:
  /// The load message of a file of these bytes.
  std::string messageOf(const std::string& bytes) {
    return loadMessage(cache, writeFile(bytes).c_str());
  }
  std::string messageOf(const ByteImage& image) { return messageOf(image.bytes()); }
  std::string messageOf(const std::vector<ByteImage>& parts) { return messageOf(join(parts)); }

  OpenCache cache;
};

// --- Construction -------------------------------------------------------------------------------

TEST_F(VekCacheTest, aNewCacheIsEmpty) {
  expectEmpty(cache);
  EXPECT_EQ(cache.openMode, 0);
}

TEST_F(VekCacheTest, constructorLoadsAndStoresTheResult) {
  const std::string good = writeFile(headImage({}), "good.vek");
  bool ok = false;
  const VekCache loaded(good.c_str(), true, &ok);
  EXPECT_TRUE(ok);
  EXPECT_EQ(loaded.getFilename(), good);

  const std::string bad = writeFile("no such format", "bad.vek");
  const std::string output = captureStdout([&] { const VekCache failed(bad.c_str(), true, &ok); });
  EXPECT_FALSE(ok);
  EXPECT_THAT(output, ::testing::EndsWith("error opening file, Not a Vek file\n"));
}

TEST_F(VekCacheTest, constructorTakesNoResultPointer) {
  const OpenCache loaded(writeFile(headImage({})).c_str(), false, nullptr);
  EXPECT_EQ(loaded.getFilename(), path());
  EXPECT_FALSE(loaded.getKeepOpen());
}

TEST_F(VekCacheTest, theFileStaysOpenUnlessAskedOtherwise) {
  const OpenCache loaded(writeFile(headImage({})).c_str());
  EXPECT_TRUE(loaded.getKeepOpen());
  EXPECT_TRUE(loaded.file.isOpen());
}

TEST_F(VekCacheTest, destructorIsVirtual) {
  struct Watched : VekCache {
    explicit Watched(bool& flag) : gone(flag) {}
    ~Watched() override { gone = true; }
    bool& gone;
  };
  bool gone = false;
  VekCache* base = new Watched(gone);
  delete base;
  EXPECT_TRUE(gone);
}

// --- Not a file of this format ------------------------------------------------------------------

TEST_F(VekCacheTest, missingFileIsNotAVekFile) {
  EXPECT_EQ(loadMessage(cache, path("missing").c_str()), "error opening file, Not a Vek file");
}

TEST_F(VekCacheTest, nullNameIsNotAVekFile) {
  EXPECT_EQ(loadMessage(cache, nullptr), "error opening file, Not a Vek file");
}

TEST_F(VekCacheTest, emptyNameIsNotAVekFile) {
  EXPECT_EQ(loadMessage(cache, ""), "error opening file, Not a Vek file");
}

TEST_F(VekCacheTest, folderIsNotAVekFile) {
  EXPECT_EQ(loadMessage(cache, path("").c_str()), "error opening file, Not a Vek file");
}

TEST_F(VekCacheTest, otherBytesAreNotAVekFile) {
  const std::string dvek = int64Chunk("DVEK", 2).bytes();
  for (const std::string& bytes :
       {std::string(), std::string("D"), std::string("a text of more than sixteen bytes"),
        dvek.substr(0, 15), headImage({}).bytes().substr(24), "X" + dvek}) {
    EXPECT_EQ(messageOf(bytes), "error opening file, Not a Vek file") << bytes;
  }
}

// --- Opening and the file header ----------------------------------------------------------------

#if !defined(_WIN32)
TEST_F(VekCacheTest, fileThatCannotBeOpenedIsReported) {
  writeFile(int64Chunk("DVEK", 2));
  const OpenFault gone(2, path("missing"));
  EXPECT_EQ(loadMessage(cache, path().c_str()), "error opening file");
}

TEST_F(VekCacheTest, unreadableFirstHeaderIsReported) {
  writeFile(int64Chunk("DVEK", 2));
  const OpenFault emptied(2, writeFile("", "empty"));
  EXPECT_EQ(loadMessage(cache, path().c_str()), "error reading header");
}
#endif

TEST_F(VekCacheTest, damagedFileHeaderIsReported) {
  const ByteImage meta = group("META", ByteImage());
  const ByteImage eight = ByteImage().int64(2);
  const std::vector<std::pair<const char*, ByteImage>> table = {
      {"wrong type", ByteImage().chunk("DVEK", 6, eight).raw(meta)},
      {"raw bytes", ByteImage().chunk("DVEK", 0, eight).raw(meta)},
      {"four bytes", ByteImage().chunk("DVEK", 5, ByteImage().int32(2)).raw(meta)},
      {"sixteen bytes", ByteImage().chunk("DVEK", 5, ByteImage().raw(eight).raw(eight)).raw(meta)},
      {"no bytes", ByteImage().chunk("DVEK", 5, ByteImage()).raw(meta)},
      {"negative length", ByteImage().header("DVEK", 5, -8).raw(eight).raw(meta)},
      {"cut off", ByteImage().header("DVEK", 5, 8).raw("1234567")},
      {"header only", ByteImage().header("DVEK", 5, 8)},
      {"a group", group("DVEK", int64Chunk("NSAM", 0))}};
  for (const auto& [name, image] : table) {
    EXPECT_EQ(messageOf(image), "error reading DVEK chunk") << name;
  }
}

TEST_F(VekCacheTest, anyVersionIsAccepted) {
  Head head;
  for (const std::int64_t version : {7, 0, 1, -3}) {
    head.version = version;
    EXPECT_EQ(messageOf(headImage(head)), "");
    EXPECT_EQ(cache.getVersion(), version);
    EXPECT_EQ(cache.getDVEKChunk().version, version);
  }
}

// --- The metadata -------------------------------------------------------------------------------

TEST_F(VekCacheTest, chunksBetweenFileHeaderAndMetadataAreSkipped) {
  Head head;
  head.space = 0;
  const std::string bytes = headImage(head).bytes();
  const ByteImage between =
      join({floatChunk("PREF", {1.0F, 2.0F}), group("GRUP", group("DEEP", int64Chunk("META", 1))),
            ByteImage().header("NULL", 0, 0), group("EMTY", ByteImage())});
  EXPECT_EQ(messageOf(bytes.substr(0, 24) + between.bytes() + bytes.substr(24)), "");
  EXPECT_EQ(cache.getSpace(), 0);
}

TEST_F(VekCacheTest, missingMetadataIsReported) {
  const std::string dvek = int64Chunk("DVEK", 2).bytes();
  EXPECT_EQ(messageOf(dvek), "missing META chunk");
  EXPECT_EQ(messageOf(dvek + "META\1\0\0"), "missing META chunk");
  EXPECT_EQ(messageOf(dvek + floatChunk("POSI", {1.0F}).bytes()), "missing META chunk");
  EXPECT_EQ(messageOf(dvek + sectionOf({jumps(1)}).bytes()), "missing META chunk");
}

TEST_F(VekCacheTest, metadataIsSoughtAtTopLevelOnly) {
  EXPECT_EQ(messageOf({int64Chunk("DVEK", 2), group("GRUP", group("META", ByteImage()))}),
            "missing META chunk");
}

TEST_F(VekCacheTest, chunkThatRunsPastTheEndHidesTheMetadata) {
  EXPECT_EQ(messageOf({int64Chunk("DVEK", 2), ByteImage().header("LONG", 4, 1 << 20),
                       group("META", ByteImage())}),
            "missing META chunk");
}

TEST_F(VekCacheTest, unskippableChunkBeforeTheMetadataIsReported) {
  for (const std::int64_t length : {std::int64_t{-1}, std::int64_t{-16}, std::int64_t{-40},
                                    kMostNegative, kMostPositive, kMostPositive - 16}) {
    EXPECT_EQ(messageOf({int64Chunk("DVEK", 2), ByteImage().header("BADL", 4, length),
                         group("META", ByteImage())}),
              "error skipping chunk")
        << length;
  }
}

TEST_F(VekCacheTest, groupOfNegativeLengthBeforeTheMetadataFails) {
  for (const std::int64_t length : {std::int64_t{-1}, std::int64_t{-40}, kMostNegative}) {
    EXPECT_NE(messageOf({int64Chunk("DVEK", 2), ByteImage().header("BADG", 1, length),
                         group("META", ByteImage())}),
              "")
        << length;
  }
}

TEST_F(VekCacheTest, unreadableMetadataIsReported) {
  const ByteImage dvek = int64Chunk("DVEK", 2);
  const ByteImage badLeaf = ByteImage().header("ABCD", 4, 10).zeros(10);
  const std::vector<std::pair<const char*, ByteImage>> table = {
      {"not a group", int64Chunk("META", 1)},
      {"damaged leaf", group("META", badLeaf)},
      {"damaged definition", group("META", group("DOBJ", badLeaf))},
      {"cut in a header", ByteImage().header("META", 1, 24).raw("NSAM")},
      {"cut in a payload", ByteImage().header("META", 1, 24).header("NSAM", 5, 8).zeros(7)},
      {"longer than the file", ByteImage().header("META", 1, 48).raw(int64Chunk("NSAM", 0))},
      {"shorter than its child", ByteImage().header("META", 1, 20).raw(int64Chunk("NSAM", 0))},
      {"child past the end", group("META", ByteImage().header("WAPP", 2, 1 << 30))},
      {"child of huge length", group("META", ByteImage().header("WAPP", 2, kMostPositive))},
      {"child of negative length", group("META", ByteImage().header("ABCD", 4, -4))}};
  for (const auto& [name, image] : table) {
    EXPECT_EQ(messageOf({dvek, image}), "error reading META chunk") << name;
  }
}

TEST_F(VekCacheTest, emptyMetadataLeavesTheDefaults) {
  EXPECT_EQ(messageOf({int64Chunk("DVEK", 2), group("META", ByteImage())}), "");
  EXPECT_EQ(cache.getNumSamples(), 0);
  EXPECT_EQ(cache.getFirstTime(), kInfinity);
  EXPECT_EQ(cache.getLastTime(), -kInfinity);
  EXPECT_EQ(cache.getRate(), 1.0F);
  EXPECT_FALSE(cache.isAnimated());
}

TEST_F(VekCacheTest, onlyTheFirstMetadataCounts) {
  Head second = uniformHead(2);
  second.space = 0;
  const std::string other = headImage(second).bytes().substr(24);
  EXPECT_EQ(messageOf(headImage(uniformHead(1)).bytes() + other +
                      sectionOf({jumps(1), emptySample()}).bytes()),
            "");
  EXPECT_EQ(cache.getNumSamples(), 1);
  EXPECT_EQ(cache.getSpace(), 1);
}

// --- Files without samples ----------------------------------------------------------------------

TEST_F(VekCacheTest, fileWithoutSamplesNeedsNoSection) {
  Head head;
  head.definitions = {definition("|a")};
  EXPECT_EQ(messageOf(headImage(head)), "");
  EXPECT_EQ(cache.getNumSamples(), 0);
  EXPECT_EQ(cache.getNumObjects(), 1);
  EXPECT_THAT(cache.jumpTable, IsEmpty());
}

TEST_F(VekCacheTest, withoutSamplesNothingBehindTheMetadataIsRead) {
  EXPECT_EQ(messageOf(headImage({}).bytes() + "no chunk at all"), "");
  ByteImage image = headImage({});
  addStream(image, emptySamples(2));
  EXPECT_EQ(messageOf(image), "");
  EXPECT_THAT(cache.jumpTable, IsEmpty());
}

TEST_F(VekCacheTest, withoutSamplesTheTimesAreNotChecked) {
  Head head;
  head.firstTime = 3.0F;
  head.lastTime = -5.0F;
  head.rate = 0.0F;
  EXPECT_EQ(messageOf(headImage(head)), "");
  EXPECT_TRUE(cache.isNonUniform());
}

// --- Sections -----------------------------------------------------------------------------------

TEST_F(VekCacheTest, uniformSectionFillsTheJumpTableOnly) {
  ByteImage image = headImage(uniformHead(3));
  const StreamLayout layout = addStream(image, emptySamples(3));
  EXPECT_EQ(messageOf(image), "");
  EXPECT_EQ(cache.jumpTable, (std::vector<__int64>(layout.samples.begin(), layout.samples.end())));
  EXPECT_THAT(cache.timeTable, IsEmpty());
}

TEST_F(VekCacheTest, nonUniformSectionFillsBothTables) {
  ByteImage image = headImage(nonUniformHead(3, -1.0F, 8.5F));
  const StreamLayout layout = addStream(image, emptySamples(3, 0, {-1.0F, 0.25F, 8.5F}));
  EXPECT_EQ(messageOf(image), "");
  EXPECT_EQ(cache.jumpTable, (std::vector<__int64>(layout.samples.begin(), layout.samples.end())));
  EXPECT_THAT(cache.timeTable, ElementsAre(-1.0F, 0.25F, 8.5F));
  EXPECT_TRUE(cache.isNonUniform());
}

TEST_F(VekCacheTest, negativeZeroRateIsNonUniform) {
  Head head = nonUniformHead(2, 1.0F, 2.0F);
  head.rate = -0.0F;
  ByteImage image = headImage(head);
  addStream(image, emptySamples(2, 0, {1.0F, 2.0F}));
  EXPECT_EQ(messageOf(image), "");
  EXPECT_TRUE(cache.isNonUniform());
}

TEST_F(VekCacheTest, freeChunksBetweenTheTablesAreSkipped) {
  const ByteImage gap = ByteImage().chunk("FREE", 0, ByteImage().zeros(20));
  EXPECT_EQ(messageOf({headImage(nonUniformHead(2, 1.0F, 3.0F)),
                       sectionOf({gap, times({1.0F, 3.0F}), gap, jumps(2), gap, emptySample()})}),
            "");
  EXPECT_THAT(cache.timeTable, ElementsAre(1.0F, 3.0F));
  EXPECT_THAT(cache.jumpTable, ElementsAre(7, 7));
}

TEST_F(VekCacheTest, payloadOfFreeIsNeverInterpreted) {
  EXPECT_EQ(messageOf({headImage(uniformHead(1)), sectionOf({ByteImage().chunk("FREE", 0, jumps(3)),
                                                             jumps(1), emptySample()})}),
            "");
  EXPECT_EQ(cache.jumpTable.size(), 1U);
}

TEST_F(VekCacheTest, tablesMayStandInAnyOrder) {
  EXPECT_EQ(messageOf({headImage(nonUniformHead(2, 1.0F, 3.0F)),
                       sectionOf({jumps(2), times({1.0F, 3.0F}), emptySample()})}),
            "");
  EXPECT_THAT(cache.timeTable, ElementsAre(1.0F, 3.0F));
}

TEST_F(VekCacheTest, repeatedTablesOfASectionAreJoined) {
  EXPECT_EQ(messageOf({headImage(nonUniformHead(3, 1.0F, 4.0F)),
                       sectionOf({times({1.0F}), jumps(2), times({2.0F, 4.0F}), jumps(1)})}),
            "");
  EXPECT_THAT(cache.timeTable, ElementsAre(1.0F, 2.0F, 4.0F));
  EXPECT_EQ(cache.jumpTable.size(), 3U);
}

TEST_F(VekCacheTest, endOfTheFileEndsTheTables) {
  EXPECT_EQ(messageOf({headImage(uniformHead(2)), sectionOf({jumps(2)})}), "");
  EXPECT_EQ(cache.jumpTable.size(), 2U);
}

TEST_F(VekCacheTest, firstSampleEndsTheTables) {
  EXPECT_EQ(messageOf({headImage(uniformHead(2)), sectionOf({jumps(2), emptySample(), jumps(9)})}),
            "");
  EXPECT_EQ(cache.jumpTable.size(), 2U);
}

TEST_F(VekCacheTest, tablesBehindTheFirstSampleAreNotSeen) {
  EXPECT_EQ(messageOf({headImage(uniformHead(2)), sectionOf({emptySample(), jumps(2)})}),
            "missing JSAM chunk");
}

// A file whose writing was cut short carries the length 0 in its SAMS header.
TEST_F(VekCacheTest, endOffsetOfTheSectionDoesNotEndTheTables) {
  EXPECT_EQ(messageOf({headImage(uniformHead(2)), ByteImage().header("SAMS", 1, 0), jumps(2),
                       emptySample()}),
            "");
  EXPECT_EQ(messageOf({headImage(uniformHead(2)), ByteImage().header("SAMS", 1, 16), jumps(2),
                       emptySample()}),
            "");
  EXPECT_EQ(cache.jumpTable.size(), 2U);
}

TEST_F(VekCacheTest, sectionWithoutSamplesRunsOnIntoTheNextOne) {
  EXPECT_EQ(messageOf({headImage(uniformHead(5)), sectionOf({jumps(3)}),
                       sectionOf({jumps(2), emptySample()})}),
            "");
  EXPECT_EQ(cache.jumpTable.size(), 5U);
}

TEST_F(VekCacheTest, sectionLongerThanTheFileLoads) {
  for (const std::int64_t length : {std::int64_t{1} << 20, std::int64_t{1} << 50}) {
    EXPECT_EQ(messageOf({headImage(uniformHead(1)), ByteImage().header("SAMS", 1, length), jumps(1),
                         emptySample()}),
              "")
        << length;
  }
}

TEST_F(VekCacheTest, unknownGroupInASectionIsEntered) {
  EXPECT_EQ(
      messageOf({headImage(uniformHead(2)), sectionOf({group("GRUP", jumps(2)), emptySample()})}),
      "");
  EXPECT_EQ(cache.jumpTable.size(), 2U);
}

TEST_F(VekCacheTest, unknownChunkInASectionIsNotSkipped) {
  const ByteImage head = headImage(uniformHead(1));
  // Sixteen payload bytes are taken for a header of their own.
  EXPECT_EQ(messageOf({head, sectionOf({ByteImage().chunk("XTRA", 0, ByteImage().zeros(16)),
                                        jumps(1), emptySample()})}),
            "");
  // A header within the payload acts.
  EXPECT_EQ(messageOf({head, sectionOf({ByteImage().chunk("XTRA", 0, jumps(1)), emptySample()})}),
            "");
  EXPECT_EQ(cache.jumpTable.size(), 1U);
  // Eight payload bytes displace every header that follows.
  EXPECT_EQ(messageOf({head, sectionOf({ByteImage().chunk("XTRA", 0, ByteImage().zeros(8)),
                                        jumps(1), emptySample()})}),
            "missing JSAM chunk");
}

TEST_F(VekCacheTest, sectionNeedsNoGroupType) {
  const ByteImage payload = join({jumps(1), emptySample()});
  EXPECT_EQ(messageOf({headImage(uniformHead(1)), ByteImage().chunk("SAMS", 0, payload)}), "");
}

TEST_F(VekCacheTest, chunksAroundTheSectionsAreSkipped) {
  const ByteImage other =
      join({floatChunk("TAIL", {1.5F}), group("MIDL", group("SAMS", jumps(9)))});
  EXPECT_EQ(messageOf({headImage(uniformHead(3)), other, sectionOf({jumps(1), emptySample()}),
                       other, sectionOf({jumps(2), emptySample()}), other}),
            "");
  EXPECT_EQ(cache.jumpTable.size(), 3U);
}

TEST_F(VekCacheTest, sectionBeforeTheMetadataIsNotSeen) {
  const std::string bytes = headImage(uniformHead(1)).bytes();
  EXPECT_EQ(messageOf(bytes.substr(0, 24) + sectionOf({jumps(1), emptySample()}).bytes() +
                      bytes.substr(24)),
            "missing next SAMS chunk for sample ");
}

TEST_F(VekCacheTest, twoSectionsJoinTheirTables) {
  ByteImage image = headImage(uniformHead(5));
  const StreamLayout first = addStream(image, emptySamples(3));
  const StreamLayout second = addStream(image, emptySamples(2));
  EXPECT_EQ(messageOf(image), "");
  EXPECT_THAT(cache.jumpTable, ElementsAre(first.samples[0], first.samples[1], first.samples[2],
                                           second.samples[0], second.samples[1]));
}

TEST_F(VekCacheTest, nonUniformSectionsJoinBothTables) {
  ByteImage image = headImage(nonUniformHead(5, 1.0F, 16.0F));
  addStream(image, emptySamples(3, 0, {1.0F, 2.0F, 4.0F}));
  addStream(image, emptySamples(2, 0, {8.0F, 16.0F}));
  EXPECT_EQ(messageOf(image), "");
  EXPECT_THAT(cache.timeTable, ElementsAre(1.0F, 2.0F, 4.0F, 8.0F, 16.0F));
  EXPECT_EQ(cache.jumpTable.size(), 5U);
}

TEST_F(VekCacheTest, laterSectionMayHaveAnEmptyTable) {
  EXPECT_EQ(messageOf({headImage(uniformHead(3)), sectionOf({jumps(1), emptySample()}),
                       sectionOf({jumps(0), emptySample()}), sectionOf({jumps(2), emptySample()})}),
            "");
  EXPECT_EQ(cache.jumpTable.size(), 3U);
}

TEST_F(VekCacheTest, sectionsBehindTheLastSampleAreNotRead) {
  EXPECT_EQ(messageOf({headImage(uniformHead(2)), sectionOf({jumps(2), emptySample()}),
                       sectionOf({times({1.0F}), jumps(9), emptySample()})}),
            "");
  EXPECT_EQ(cache.jumpTable.size(), 2U);
}

TEST_F(VekCacheTest, nextSectionIsSoughtAtTheEndOffset) {
  // An end in the middle of the section behind leads past that section's header.
  EXPECT_EQ(messageOf({headImage(uniformHead(3)), ByteImage().header("SAMS", 1, 24 + 32 + 16),
                       jumps(1), emptySample(), sectionOf({jumps(2), emptySample()})}),
            "missing next SAMS chunk for sample ");
}

// The length 0 leads back to the section's own tables, which are then skipped as top-level chunks.
TEST_F(VekCacheTest, sectionBehindAnUnfinishedOneIsFound) {
  EXPECT_EQ(messageOf({headImage(uniformHead(3)), ByteImage().header("SAMS", 1, 0), jumps(1),
                       emptySample(), sectionOf({jumps(2), emptySample()})}),
            "");
  EXPECT_EQ(cache.jumpTable.size(), 3U);
}

TEST_F(VekCacheTest, missingSectionIsReported) {
  EXPECT_EQ(messageOf(headImage(uniformHead(1))), "missing next SAMS chunk for sample ");
  EXPECT_EQ(messageOf({headImage(uniformHead(1)), floatChunk("TAIL", {1.0F})}),
            "missing next SAMS chunk for sample ");
}

TEST_F(VekCacheTest, missingFurtherSectionIsReported) {
  EXPECT_EQ(messageOf({headImage(uniformHead(5)), sectionOf({jumps(3), emptySample()})}),
            "missing next SAMS chunk for sample ");
}

TEST_F(VekCacheTest, hugeSampleCountLacksSections) {
  for (const std::int64_t count : {std::int64_t{1} << 40, kMostPositive}) {
    EXPECT_EQ(messageOf({headImage(uniformHead(count)), sectionOf({jumps(2), emptySample()})}),
              "missing next SAMS chunk for sample ");
  }
}

TEST_F(VekCacheTest, unskippableChunkBeforeASectionIsReported) {
  for (const std::int64_t length :
       {std::int64_t{-1}, std::int64_t{-16}, kMostNegative, kMostPositive}) {
    EXPECT_EQ(messageOf({headImage(uniformHead(1)), ByteImage().header("BADL", 5, length),
                         sectionOf({jumps(1), emptySample()})}),
              "error skipping chunk")
        << length;
  }
}

TEST_F(VekCacheTest, groupSectionOfNegativeLengthFails) {
  for (const std::int64_t length : {std::int64_t{-1}, std::int64_t{-16}, kMostNegative}) {
    EXPECT_NE(messageOf({headImage(uniformHead(1)), ByteImage().header("SAMS", 1, length), jumps(1),
                         emptySample()}),
              "")
        << length;
  }
}

// --- Damaged tables -----------------------------------------------------------------------------

TEST_F(VekCacheTest, unreadableTimeTableIsReported) {
  const ByteImage head = headImage(nonUniformHead(2, 1.0F, 2.0F));
  for (const std::int64_t length : {std::int64_t{6}, std::int64_t{-4}, std::int64_t{1} << 20,
                                    std::int64_t{1} << 45, kMostPositive - 3, kMostNegative}) {
    EXPECT_EQ(messageOf({head, ByteImage().header("SAMS", 1, 500).header("TIMS", 4, length),
                         floats({1.0F, 2.0F}), jumps(2), emptySample()}),
              "error reading TIMS chunk")
        << length;
  }
}

TEST_F(VekCacheTest, unreadableJumpTableIsReported) {
  const ByteImage head = headImage(uniformHead(2));
  for (const std::int64_t length : {std::int64_t{12}, std::int64_t{-8}, std::int64_t{1} << 20,
                                    std::int64_t{1} << 45, kMostPositive - 7, kMostNegative}) {
    EXPECT_EQ(messageOf({head, ByteImage().header("SAMS", 1, 500).header("JSAM", 5, length),
                         offsets({7, 7}), emptySample()}),
              "error reading JSAM chunk")
        << length;
  }
}

TEST_F(VekCacheTest, jumpTableCutByTheEndOfTheFileIsReported) {
  const std::string bytes = join({headImage(uniformHead(2)), sectionOf({jumps(2)})}).bytes();
  EXPECT_EQ(messageOf(bytes.substr(0, bytes.size() - 1)), "error reading JSAM chunk");
}

TEST_F(VekCacheTest, unskippableFreeChunkIsReported) {
  for (const std::int64_t length :
       {std::int64_t{-1}, std::int64_t{-16}, kMostNegative, kMostPositive}) {
    EXPECT_EQ(
        messageOf({headImage(uniformHead(1)),
                   sectionOf({jumps(1), ByteImage().header("FREE", 0, length), emptySample()})}),
        "error skipping FREE chunk")
        << length;
  }
}

TEST_F(VekCacheTest, missingJumpTableIsReported) {
  EXPECT_EQ(messageOf({headImage(uniformHead(1)), sectionOf({emptySample()})}),
            "missing JSAM chunk");
  EXPECT_EQ(messageOf({headImage(uniformHead(1)), sectionOf({})}), "missing JSAM chunk");
  EXPECT_EQ(messageOf({headImage(nonUniformHead(1, 1.0F, 1.0F)),
                       sectionOf({times({1.0F}), emptySample()})}),
            "missing JSAM chunk");
}

TEST_F(VekCacheTest, jumpTableIsNeededInEverySection) {
  EXPECT_EQ(messageOf({headImage(uniformHead(2)), sectionOf({jumps(1), emptySample()}),
                       sectionOf({emptySample()})}),
            "missing JSAM chunk");
}

TEST_F(VekCacheTest, emptyJumpTableIsReported) {
  EXPECT_EQ(messageOf({headImage(uniformHead(1)), sectionOf({jumps(0), emptySample()})}),
            "no entries in jump table");
}

TEST_F(VekCacheTest, missingTimeTableIsReported) {
  EXPECT_EQ(
      messageOf({headImage(nonUniformHead(1, 1.0F, 1.0F)), sectionOf({jumps(1), emptySample()})}),
      "missing TIMS chunk");
}

TEST_F(VekCacheTest, timeTableIsNeededInEverySection) {
  EXPECT_EQ(messageOf({headImage(nonUniformHead(2, 1.0F, 2.0F)),
                       sectionOf({times({1.0F}), jumps(1), emptySample()}),
                       sectionOf({jumps(1), emptySample()})}),
            "missing TIMS chunk");
}

TEST_F(VekCacheTest, unexpectedTimeTableIsReported) {
  EXPECT_EQ(
      messageOf({headImage(uniformHead(1)), sectionOf({times({1.0F}), jumps(1), emptySample()})}),
      "unexpected TIMS chunk");
  EXPECT_EQ(messageOf({headImage(uniformHead(1)), sectionOf({times({}), jumps(1), emptySample()})}),
            "unexpected TIMS chunk");
}

TEST_F(VekCacheTest, tablesOfDifferentSizesAreReported) {
  const ByteImage head = headImage(nonUniformHead(2, 1.0F, 2.0F));
  for (const auto& table : {times({}), times({1.0F}), times({1.0F, 1.5F, 2.0F})}) {
    EXPECT_EQ(messageOf({head, sectionOf({table, jumps(2), emptySample()})}),
              "jump table and time table size mismatch");
  }
}

TEST_F(VekCacheTest, tableSizesAreComparedInEverySection) {
  // The joined tables would agree at the end.
  EXPECT_EQ(messageOf({headImage(nonUniformHead(3, 1.0F, 3.0F)),
                       sectionOf({times({1.0F, 2.0F}), jumps(1), emptySample()}),
                       sectionOf({times({3.0F}), jumps(2), emptySample()})}),
            "jump table and time table size mismatch");
}

TEST_F(VekCacheTest, missingJumpTableIsReportedBeforeTheTimeTable) {
  EXPECT_EQ(messageOf({headImage(uniformHead(1)), sectionOf({times({1.0F}), emptySample()})}),
            "missing JSAM chunk");
  EXPECT_EQ(
      messageOf({headImage(nonUniformHead(1, 1.0F, 1.0F)), sectionOf({jumps(0), emptySample()})}),
      "no entries in jump table");
}

TEST_F(VekCacheTest, sectionEndBeforeTheFileIsReported) {
  for (const std::int64_t length : {std::int64_t{-100000}, kMostNegative}) {
    EXPECT_EQ(messageOf({headImage(uniformHead(2)), ByteImage().header("SAMS", 0, length), jumps(1),
                         emptySample()}),
              "error seeking file")
        << length;
  }
}

// With an end that is the section's own beginning, its table would be read again and again.
TEST_F(VekCacheTest, sectionEndIsNeverASeekBackwards) {
  const ByteImage head = headImage(uniformHead(5));
  const auto headSize = static_cast<std::int64_t>(head.size());
  for (const std::int64_t length : {std::int64_t{-1}, std::int64_t{-16}, -16 - headSize}) {
    EXPECT_NE(messageOf({head, ByteImage().header("SAMS", 0, length), jumps(1), emptySample()}), "")
        << length;
  }
}

TEST_F(VekCacheTest, sectionEndBeyondAllOffsetsFails) {
  for (const int type : {0, 1}) {
    EXPECT_NE(messageOf({headImage(uniformHead(2)), ByteImage().header("SAMS", type, kMostPositive),
                         jumps(1), emptySample()}),
              "")
        << type;
  }
}

#if !defined(_WIN32)
// Sections of length 0 in front of one table read that table once for each of them.
TEST_F(VekCacheTest, overlappingSectionsCostMemoryInProportionToTheFile) {
  ByteImage image = headImage(uniformHead(kMostPositive));
  for (int i = 0; i < 400; ++i) image.header("SAMS", 1, 0);
  image.raw(jumps(125000));
  struct rusage before = {};
  ::getrusage(RUSAGE_SELF, &before);
  EXPECT_NE(messageOf(image), "");
  struct rusage after = {};
  ::getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 100 * 1024);  // kilobytes
}
#endif

// --- Checks of the sample count and the times ---------------------------------------------------

TEST_F(VekCacheTest, tooManyJumpsAreReported) {
  EXPECT_EQ(messageOf({headImage(uniformHead(2)), sectionOf({jumps(3), emptySample()})}),
            "number of samples is wrong");
  EXPECT_EQ(messageOf({headImage(uniformHead(5)), sectionOf({jumps(3), emptySample()}),
                       sectionOf({jumps(3), emptySample()})}),
            "number of samples is wrong");
  EXPECT_EQ(messageOf({headImage(nonUniformHead(2, 1.0F, 3.0F)),
                       sectionOf({times({1.0F, 2.0F, 3.0F}), jumps(3), emptySample()})}),
            "number of samples is wrong");
}

TEST_F(VekCacheTest, negativeSampleCountIsWrong) {
  for (const std::int64_t count : {std::int64_t{-1}, std::int64_t{-3}, kMostNegative}) {
    EXPECT_EQ(messageOf({headImage(uniformHead(count)), sectionOf({jumps(1), emptySample()})}),
              "number of samples is wrong")
        << count;
  }
}

struct UniformCase {
  std::size_t count;
  float first;
  float last;
  float rate;
  bool loads;
};

// The product is a float; half away from zero is rounded in double.
TEST_F(VekCacheTest, uniformCountFollowsFromTimesAndRate) {
  constexpr float huge = std::numeric_limits<float>::max();
  const std::vector<UniformCase> table = {
      {5, 1.0F, 3.0F, 2.0F, true},
      {4, 1.0F, 3.0F, 2.0F, false},
      {6, 1.0F, 3.0F, 2.0F, false},
      {1, 5.0F, 5.0F, 24.0F, true},
      {1, -5.0F, -5.0F, 0.001F, true},
      {2, 5.0F, 5.0F, 24.0F, false},
      {3, 0.0F, 8.0F, 0.25F, true},
      // Half is rounded up, less than half down.
      {2, 0.0F, 0.5F, 1.0F, true},
      {1, 0.0F, 0.5F, 1.0F, false},
      {1, 0.0F, 0.49F, 1.0F, true},
      {2, 0.0F, 0.49F, 1.0F, false},
      {4, 0.0F, 2.5F, 1.0F, true},
      // 0.8333333 x 3 is 2.5 in float and below it in double.
      {4, 0.0F, 0.8333333F, 3.0F, true},
      {3, 0.0F, 0.8333333F, 3.0F, false},
      // The largest float below one half: its sum with one half is below one in double only.
      {1, 0.0F, 0.49999997F, 1.0F, true},
      {2, 0.0F, 0.49999997F, 1.0F, false},
      // Times that run backwards.
      {3, 2.0F, 0.0F, -1.0F, true},
      {3, 2.0F, 0.0F, 1.0F, false},
      {1, 0.0F, -0.25F, 1.0F, true},
      {1, 0.0F, -0.5F, 1.0F, false},
      // Values that no file should hold.
      {1, kNaN, 1.0F, 1.0F, false},
      {1, 1.0F, kNaN, 1.0F, false},
      {1, 1.0F, 1.0F, kNaN, false},
      {1, 1.0F, 1.0F, kInfinity, false},
      {1, 1.0F, 1.0F, -kInfinity, false},
      {1, 1.0F, 2.0F, kInfinity, false},
      {1, kInfinity, kInfinity, 1.0F, false},
      {1, 0.0F, kInfinity, 1.0F, false},
      {1, kInfinity, 0.0F, 1.0F, false},
      {1, 0.0F, -kInfinity, 1.0F, false},
      {1, -huge, huge, 1.0F, false},
      {1, 0.0F, huge, huge, false},
      {1, 0.0F, huge, 1.0F, false},
      {1, 0.0F, huge, -1.0F, false},
      {1, 0.0F, 1e-45F, 1.0F, true},
  };
  for (const UniformCase& c : table) {
    Head head;
    head.numSamples = static_cast<std::int64_t>(c.count);
    head.firstTime = c.first;
    head.lastTime = c.last;
    head.rate = c.rate;
    EXPECT_EQ(messageOf({headImage(head), sectionOf({jumps(c.count), emptySample()})}),
              c.loads ? "" : "number of samples is wrong")
        << c.count << " samples from " << c.first << " to " << c.last << " at " << c.rate;
  }
}

// 16777217 samples and 16777216 expected ones are the same float.
TEST_F(VekCacheTest, uniformCountIsComparedAsFloat) {
  constexpr std::int64_t count = 16777217;
  Head head;
  head.numSamples = count;
  head.firstTime = 0.0F;
  head.lastTime = 16777215.0F;
  ByteImage image = headImage(head);
  image.header("SAMS", 1, 16 + 8 * count).header("JSAM", 5, 8 * count);
  const std::string file = writeFile(image);
  std::filesystem::resize_file(file, image.size() + static_cast<std::size_t>(8 * count));
  EXPECT_EQ(loadMessage(cache, file.c_str()), "");
  EXPECT_EQ(cache.jumpTable.size(), static_cast<std::size_t>(count));
}

TEST_F(VekCacheTest, firstTimeIsComparedExactly) {
  const ByteImage section = sectionOf({times({1.0F, 2.0F}), jumps(2), emptySample()});
  for (const float first : {1.0000001F, 0.0F, -1.0F, kNaN, kInfinity, -kInfinity}) {
    EXPECT_EQ(messageOf({headImage(nonUniformHead(2, first, 2.0F)), section}),
              "first time is wrong")
        << first;
  }
}

TEST_F(VekCacheTest, lastTimeIsComparedExactly) {
  const ByteImage section = sectionOf({times({1.0F, 2.0F}), jumps(2), emptySample()});
  for (const float last : {2.0000002F, 1.0F, -2.0F, kNaN, kInfinity, -kInfinity}) {
    EXPECT_EQ(messageOf({headImage(nonUniformHead(2, 1.0F, last)), section}), "last time is wrong")
        << last;
  }
}

TEST_F(VekCacheTest, firstTimeIsCheckedBeforeTheLast) {
  EXPECT_EQ(messageOf({headImage(nonUniformHead(2, 5.0F, 6.0F)),
                       sectionOf({times({1.0F, 2.0F}), jumps(2), emptySample()})}),
            "first time is wrong");
}

TEST_F(VekCacheTest, notANumberInTheTimeTableIsAWrongTime) {
  EXPECT_EQ(messageOf({headImage(nonUniformHead(2, kNaN, 2.0F)),
                       sectionOf({times({kNaN, 2.0F}), jumps(2), emptySample()})}),
            "first time is wrong");
  EXPECT_EQ(messageOf({headImage(nonUniformHead(2, 1.0F, kNaN)),
                       sectionOf({times({1.0F, kNaN}), jumps(2), emptySample()})}),
            "last time is wrong");
}

TEST_F(VekCacheTest, innerTimesAreNotChecked) {
  EXPECT_EQ(messageOf({headImage(nonUniformHead(4, 1.0F, 2.0F)),
                       sectionOf({times({1.0F, kNaN, -kInfinity, 2.0F}), jumps(4)})}),
            "");
}

TEST_F(VekCacheTest, infiniteTimesOfANonUniformFileLoad) {
  EXPECT_EQ(messageOf({headImage(nonUniformHead(2, -kInfinity, kInfinity)),
                       sectionOf({times({-kInfinity, kInfinity}), jumps(2)})}),
            "");
}

TEST_F(VekCacheTest, zerosOfEitherSignAreTheSameTime) {
  EXPECT_EQ(messageOf({headImage(nonUniformHead(2, -0.0F, 1.0F)),
                       sectionOf({times({0.0F, 1.0F}), jumps(2)})}),
            "");
}

TEST_F(VekCacheTest, nonUniformCountDoesNotFollowFromTheTimes) {
  EXPECT_EQ(messageOf({headImage(nonUniformHead(2, 1.0F, 100.0F)),
                       sectionOf({times({1.0F, 100.0F}), jumps(2)})}),
            "");
}

TEST_F(VekCacheTest, jumpsAreNotFollowedWhileLoading) {
  const ByteImage table =
      ByteImage().chunk("JSAM", 5, offsets({-1, kMostNegative, kMostPositive, 3}));
  EXPECT_EQ(messageOf({headImage(uniformHead(4)), sectionOf({table, emptySample()})}), "");
  EXPECT_THAT(cache.jumpTable, ElementsAre(-1, kMostNegative, kMostPositive, 3));
}

// --- Positions beyond 4 GiB ---------------------------------------------------------------------

TEST_F(VekCacheTest, sectionsBeyondFourGigabytesLoad) {
  constexpr std::int64_t far = std::int64_t{5} << 30;
  Head head = uniformHead(2);
  head.definitions = {definition("|a")};
  ByteImage image = headImage(head);
  const auto sams = static_cast<std::int64_t>(image.size());
  const std::int64_t sample = far + 16 + 24;
  const ByteImage object = group("SOBJ", floatChunk("POSI", {1.0F}));
  image.header("SAMS", 1, far - sams - 16).raw(jumps(1)).raw(emptySample());
  const ByteImage second = sectionOf(
      {ByteImage().chunk("JSAM", 5, offsets({sample})),
       group("SAMP", join({ByteImage().chunk("JOBJ", 5, offsets({sample + 40})), object}))});
  const std::string file = writeFile(image);
  std::filesystem::resize_file(file, static_cast<std::uintmax_t>(far));
  std::ofstream(file, std::ios::binary | std::ios::app) << second.bytes();

  ASSERT_EQ(loadMessage(cache, file.c_str()), "");
  EXPECT_THAT(cache.jumpTable, ElementsAre(7, sample));
  Vek::VekHeader header;
  EXPECT_TRUE(cache.seekObjectSample(header, 1, 0));
  EXPECT_EQ(cache.file.tell(), sample + 40 + 16);
}

// --- State --------------------------------------------------------------------------------------

TEST_F(VekCacheTest, loadStoresNameAndKeepOpen) {
  const std::string file = writeFile(headImage({}));
  EXPECT_TRUE(cache.load(file.c_str(), true));
  EXPECT_EQ(cache.getFilename(), file);
  EXPECT_TRUE(cache.getKeepOpen());
  EXPECT_TRUE(cache.file.isOpen());
  EXPECT_TRUE(cache.load(file.c_str(), false));
  EXPECT_EQ(cache.getFilename(), file);
  EXPECT_FALSE(cache.getKeepOpen());
  EXPECT_FALSE(cache.file.isOpen());
}

TEST_F(VekCacheTest, failedLoadForgetsKeepOpenFalse) {
  EXPECT_EQ(loadMessage(cache, writeFile(headImage(uniformHead(1))).c_str(), false),
            "missing next SAMS chunk for sample ");
  EXPECT_TRUE(cache.getKeepOpen());
}

TEST_F(VekCacheTest, loadReplacesWhatWasLoaded) {
  Head head = nonUniformHead(2, 1.0F, 2.0F);
  head.definitions = {definition("|a"), definition("|b")};
  head.more = join({textChunk("WAPP", {"writer"}), textChunk("ABCD", {"kept"})});
  ByteImage image = headImage(head);
  addStream(image, emptySamples(2, 2, {1.0F, 2.0F}));
  ASSERT_EQ(messageOf(image), "");

  ByteImage other = headImage(uniformHead(3));
  addStream(other, emptySamples(3));
  ASSERT_EQ(messageOf(other), "");
  EXPECT_EQ(cache.getNumSamples(), 3);
  EXPECT_EQ(cache.getNumObjects(), 0);
  EXPECT_EQ(cache.getApplication(), "");
  EXPECT_EQ(cache.getMETAChunk().numChildren(), 0U);
  EXPECT_EQ(cache.jumpTable.size(), 3U);
  EXPECT_THAT(cache.timeTable, IsEmpty());
}

TEST_F(VekCacheTest, failedLoadDropsWhatWasLoaded) {
  ByteImage image = headImage(uniformHead(3));
  addStream(image, emptySamples(3));
  ASSERT_EQ(messageOf(image), "");
  EXPECT_EQ(messageOf("other bytes"), "error opening file, Not a Vek file");
}

TEST_F(VekCacheTest, resetReturnsToEmpty) {
  Head head = uniformHead(1);
  head.version = 9;
  head.space = 0;
  head.definitions = {definition("|a")};
  ByteImage image = headImage(head);
  addStream(image, {{}, {{floatChunk("POSI", {1.0F})}}});
  ASSERT_EQ(loadMessage(cache, writeFile(image).c_str(), false), "");
  Vek::VekHeader header;
  ASSERT_TRUE(cache.seekObjectSample(header, 0, 0));
  ASSERT_EQ(cache.cachedSampleIndex, 0);
  ASSERT_TRUE(cache.file.isOpen());
  cache.reset();
  expectEmpty(cache);
}

TEST_F(VekCacheTest, resetKeepsTheOpenMode) {
  cache.openMode = 1;
  cache.reset();
  EXPECT_EQ(cache.openMode, 1);
}

TEST_F(VekCacheTest, loadCallsTheVirtualReset) {
  struct Counting : VekCache {
    void reset() override {
      ++resets;
      VekCache::reset();
    }
    int resets = 0;
  };
  Counting counting;
  EXPECT_TRUE(counting.load(writeFile(headImage({})).c_str()));
  EXPECT_EQ(counting.resets, 1);
  // Before the file is open there is nothing to take back.
  captureStdout([&] { EXPECT_FALSE(counting.load(path("missing").c_str())); });
  EXPECT_EQ(counting.resets, 2);
  // Afterwards there is.
  captureStdout(
      [&] { EXPECT_FALSE(counting.load(writeFile(int64Chunk("DVEK", 2), "headless").c_str())); });
  EXPECT_EQ(counting.resets, 4);
}

TEST_F(VekCacheTest, closeClosesTheFile) {
  ASSERT_EQ(messageOf(headImage({})), "");
  EXPECT_TRUE(cache.close());
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_TRUE(cache.close());
  EXPECT_EQ(cache.getFilename(), path());
}

TEST_F(VekCacheTest, setKeepOpenFalseClosesTheFile) {
  ASSERT_EQ(messageOf(headImage({})), "");
  EXPECT_TRUE(cache.setKeepOpen(false));
  EXPECT_FALSE(cache.getKeepOpen());
  EXPECT_FALSE(cache.file.isOpen());
  EXPECT_TRUE(cache.setKeepOpen(false));
}

TEST_F(VekCacheTest, setKeepOpenTrueOpensNothing) {
  ASSERT_EQ(loadMessage(cache, writeFile(headImage({})).c_str(), false), "");
  EXPECT_TRUE(cache.setKeepOpen(true));
  EXPECT_TRUE(cache.getKeepOpen());
  EXPECT_FALSE(cache.file.isOpen());
}

// --- Open mode ----------------------------------------------------------------------------------

TEST_F(VekCacheTest, openModeZeroReadsOnly) {
  ASSERT_EQ(messageOf(headImage({})), "");
  ASSERT_TRUE(cache.file.seek(0, 2, true));
  const bool written = cache.file.writeChunk(Vek::VekHeader(), nullptr);
  EXPECT_FALSE(written && cache.close());
  EXPECT_EQ(readFile(path()), headImage({}).bytes());
}

TEST_F(VekCacheTest, openModeOneWritesToo) {
  cache.openMode = 1;
  ASSERT_EQ(messageOf(headImage({})), "");
  ASSERT_TRUE(cache.file.seek(0, 2, true));
  EXPECT_TRUE(cache.file.writeChunk(Vek::VekHeader(), nullptr));
  EXPECT_TRUE(cache.close());
  EXPECT_EQ(readFile(path()).size(), headImage({}).size() + 16);
}

#if !defined(_WIN32)
TEST_F(VekCacheTest, openModeOneReadsAFileThatCannotBeWritten) {
  const std::string file = writeFile(headImage({}));
  ASSERT_EQ(::chmod(file.c_str(), 0444), 0);
  EXPECT_TRUE(asOrdinaryUser([&] {
    OpenCache own;
    own.openMode = 1;
    return own.load(file.c_str()) && own.openMode == 1;
  }));
}
#endif

// --- Trace --------------------------------------------------------------------------------------

TEST_F(VekCacheTest, sectionHeadersAreTracedAtLevelOne) {
  const ByteImage head = headImage(nonUniformHead(1, 1.0F, 1.0F));
  const ByteImage gap = ByteImage().chunk("FREE", 0, ByteImage().zeros(4));
  const std::string file =
      writeFile(join({head, sectionOf({times({1.0F}), gap, ByteImage().header("XTRA", 3, 0, 1, 3),
                                       jumps(1), emptySample()})}));
  const std::size_t at = head.size() + 32;
  const std::string expected = "TIMS float (4) " + std::to_string(at) +  //
                               "\nFREE undef (4) " + std::to_string(at + 20) +
                               "\nXTRA int32 (0) point 3d " + std::to_string(at + 40) +
                               "\nJSAM int64 (8) " + std::to_string(at + 56) +
                               "\nSAMP group (16) " + std::to_string(at + 80) + "\n";
  for (const int level : {1, 2}) {
    const Verbosity raised(level);
    EXPECT_EQ(captureStderr([&] { EXPECT_TRUE(cache.load(file.c_str())); }), expected);
  }
}

TEST_F(VekCacheTest, nothingIsTracedBelowLevelOne) {
  ByteImage image = headImage(uniformHead(1));
  addStream(image, emptySamples(1));
  const std::string file = writeFile(image);
  for (const int level : {-1, 0}) {
    const Verbosity raised(level);
    EXPECT_EQ(captureStderr([&] { EXPECT_TRUE(cache.load(file.c_str())); }), "");
  }
}

// --- Accessors ----------------------------------------------------------------------------------

/// One object with the animated attribute "vel" and the static ones "count" and "label", one whose
/// attribute list is empty, one without attributes.
Head richHead() {
  const ByteImage attributes = group(
      "DATR",
      join({group("SATR", join({textChunk("NAME", {"count", "label"}),
                                textChunk("TYPE", {"long", "string"})})),
            group("ATRS", join({int64Chunk("ATTR", 42), textChunk("ATTR", {"hello"})})),
            group("AATR", join({textChunk("NAME", {"vel"}), textChunk("TYPE", {"float3"})}))}));
  Head head = uniformHead(2);
  head.version = 3;
  head.space = 0;
  head.definitions = {definition("|grp|rich", attributes),
                      definition("|grp|empty", group("DATR", ByteImage())),
                      definition("|grp|plain")};
  head.more = join({textChunk("WAPP", {"writer 1.0"}), textChunk("SFIL", {"scene.ma"}),
                    int64Chunk("DATE", 86399)});
  return head;
}

class VekCacheAccessorTest : public VekCacheTest {
 protected:
  void SetUp() override {
    VekCacheTest::SetUp();
    ByteImage image = headImage(richHead());
    addStream(image, emptySamples(2, 3));
    ASSERT_EQ(messageOf(image), "");
  }
};

TEST_F(VekCacheAccessorTest, headFields) {
  EXPECT_EQ(cache.getVersion(), 3);
  EXPECT_EQ(cache.getDVEKChunk().version, 3);
  EXPECT_EQ(cache.getApplication(), "writer 1.0");
  EXPECT_EQ(cache.getSourceFile(), "scene.ma");
  EXPECT_EQ(cache.getDateStamp(), 86399);
  EXPECT_EQ(cache.getNumSamples(), 2);
  EXPECT_EQ(cache.getFirstTime(), 1.0F);
  EXPECT_EQ(cache.getLastTime(), 2.0F);
  EXPECT_EQ(cache.getRate(), 1.0F);
  EXPECT_EQ(cache.getSpace(), 0);
  EXPECT_FALSE(cache.isNonUniform());
  EXPECT_TRUE(cache.isAnimated());
}

TEST_F(VekCacheAccessorTest, accessorsAnswerFromTheMetadata) {
  Vek::VekMETAChunk& meta = cache.getMETAChunk();
  EXPECT_EQ(&meta.application, &cache.getApplication());
  EXPECT_EQ(&meta.sourceFile, &cache.getSourceFile());
  EXPECT_EQ(&meta.dateStamp, &cache.getDateStamp());
  meta.space = 5;
  meta.rate = 0.0F;
  EXPECT_EQ(cache.getSpace(), 5);
  EXPECT_EQ(cache.getRate(), 0.0F);
  EXPECT_TRUE(cache.isNonUniform());
}

TEST_F(VekCacheAccessorTest, objects) {
  EXPECT_EQ(cache.getNumObjects(), 3);
  EXPECT_EQ(cache.getName(0), "|grp|rich");
  EXPECT_EQ(cache.getName(2), "|grp|plain");
  EXPECT_EQ(cache.getObjDef(1), cache.getMETAChunk().dobjs[1]);
  EXPECT_EQ(&cache.getName(1), &cache.getObjDef(1)->name);
}

TEST_F(VekCacheAccessorTest, attributeCountIsStaticPlusAnimated) {
  EXPECT_EQ(cache.getNumAttrs(0), 3);
  EXPECT_EQ(cache.getNumAttrs(1), 0);
  EXPECT_EQ(cache.getNumAttrs(2), 0);
}

TEST_F(VekCacheAccessorTest, animatedAttributesComeFirst) {
  EXPECT_EQ(cache.findAttr(0, "vel"), 0);
  EXPECT_EQ(cache.findAttr(0, "count"), 1);
  EXPECT_EQ(cache.findAttr(0, "label"), 2);
  EXPECT_TRUE(cache.isAttrAnimated(0, 0));
  EXPECT_FALSE(cache.isAttrAnimated(0, 1));
  EXPECT_EQ(cache.getAttrName(0, 0), "vel");
  EXPECT_EQ(cache.getAttrName(0, 2), "label");
  EXPECT_EQ(cache.getAttrType(0, 0), "float3");
  EXPECT_EQ(cache.getAttrType(0, 1), "long");
}

TEST_F(VekCacheAccessorTest, unknownAttributeIsNone) {
  EXPECT_EQ(cache.findAttr(0, "Vel"), -1);
  EXPECT_EQ(cache.findAttr(0, ""), -1);
  EXPECT_EQ(cache.findAttr(1, "vel"), -1);
  EXPECT_EQ(cache.findAttr(2, "vel"), -1);
}

TEST_F(VekCacheAccessorTest, objectWithoutAttributesAnswersEmpty) {
  EXPECT_FALSE(cache.isAttrAnimated(2, 0));
  EXPECT_EQ(cache.getAttrName(2, 0), "");
  EXPECT_EQ(cache.getAttrType(2, 0), "");
}

TEST_F(VekCacheAccessorTest, attributeIndexOutsideTheObjectThrows) {
  const auto thrown = [](const std::function<void()>& call) {
    bool caught = false;
    const std::string output = captureStdout([&] {
      try {
        call();
      } catch (bool value) {
        caught = !value;
      }
    });
    return caught &&
           reportedMessage(output, "VekChunks:", " ") == "DATR attribute index out of bounds";
  };
  EXPECT_TRUE(thrown([&] { cache.isAttrAnimated(0, 3); }));
  EXPECT_TRUE(thrown([&] { cache.getAttrName(0, 3); }));
  EXPECT_TRUE(thrown([&] { cache.getAttrType(0, -1); }));
  EXPECT_TRUE(thrown([&] { cache.isAttrAnimated(1, 0); }));
}

TEST_F(VekCacheAccessorTest, objectIndexOutsideTheTableAnswersWithNone) {
  for (const int obj : {-1, 3, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    EXPECT_EQ(cache.getObjDef(obj), nullptr);
    EXPECT_EQ(cache.getName(obj), "");
    EXPECT_EQ(cache.getNumAttrs(obj), 0);
    EXPECT_EQ(cache.findAttr(obj, "vel"), -1);
    EXPECT_FALSE(cache.isAttrAnimated(obj, 0));
    EXPECT_EQ(cache.getAttrName(obj, 0), "");
    EXPECT_EQ(cache.getAttrType(obj, 0), "");
  }
}

TEST_F(VekCacheTest, animatedMeansSamplesOverTime) {
  Vek::VekMETAChunk& meta = cache.getMETAChunk();
  EXPECT_FALSE(cache.isAnimated());
  const auto animated = [&](std::int64_t count, float first, float last) {
    meta.numSamples = count;
    meta.firstTime = first;
    meta.lastTime = last;
    return cache.isAnimated();
  };
  EXPECT_TRUE(animated(2, 1.0F, 2.0F));
  EXPECT_TRUE(animated(2, -1.0F, -0.5F));
  EXPECT_FALSE(animated(0, 1.0F, 2.0F));
  EXPECT_FALSE(animated(1, 1.0F, 1.0F));
  EXPECT_FALSE(animated(2, 2.0F, 1.0F));
  EXPECT_FALSE(animated(2, kNaN, 1.0F));
  EXPECT_TRUE(animated(1, 0.0F, kInfinity));
  EXPECT_FALSE(animated(1, kInfinity, kInfinity));
}

// --- Recorded files -----------------------------------------------------------------------------

struct Recorded {
  const char* name;
  int version, samples, space;
  std::int64_t date;
  int objects;
  bool nonUniform, animated;
  float first, last, rate;
  const char* application;
  const char* sourceFile;
};

TEST_F(VekCacheTest, recordedFilesLoad) {
  const std::vector<Recorded> table = {
      {"test_file", 1, 0, 0, 0, 2, false, false, kInfinity, -kInfinity, 1.0F, "", ""},
      {"odd_head", 7, 3, 7, 86399, 2, false, true, 0.5F, 1.0F, 4.0F, "", "only the source"},
      {"names", 2, 2, 1, 0, 12, false, true, 0.0F, 1.0F, 1.0F, "", ""},
      {"hundred", 2, 0, 0, 0, 100, false, false, kInfinity, -kInfinity, 1.0F, "", ""},
      {"nonuniform_points", 2, 6, 1, 0, 2, true, true, -2.0F, 10.0F, 0.0F, "", ""},
      {"empty_stream", 2, 0, 2, 0, 2, false, false, kInfinity, -kInfinity, 1.0F, "app", ""},
  };
  for (const Recorded& r : table) {
    const std::string file = std::string(VEK_GOLDEN_DIR) + "/" + r.name + ".vek";
    ASSERT_EQ(loadMessage(cache, file.c_str()), "") << r.name;
    EXPECT_EQ(cache.getVersion(), r.version) << r.name;
    EXPECT_EQ(cache.getNumSamples(), r.samples) << r.name;
    EXPECT_EQ(cache.getSpace(), r.space) << r.name;
    EXPECT_EQ(cache.getDateStamp(), r.date) << r.name;
    EXPECT_EQ(cache.getNumObjects(), r.objects) << r.name;
    EXPECT_EQ(cache.isNonUniform(), r.nonUniform) << r.name;
    EXPECT_EQ(cache.isAnimated(), r.animated) << r.name;
    EXPECT_EQ(cache.getFirstTime(), r.first) << r.name;
    EXPECT_EQ(cache.getLastTime(), r.last) << r.name;
    EXPECT_EQ(cache.getRate(), r.rate) << r.name;
    EXPECT_EQ(cache.getApplication(), r.application) << r.name;
    EXPECT_EQ(cache.getSourceFile(), r.sourceFile) << r.name;
  }
}

TEST_F(VekCacheTest, everyRecordedFileLoads) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VEK_GOLDEN_DIR)) {
    if (entry.path().extension() != ".vek") continue;
    ++files;
    EXPECT_EQ(loadMessage(cache, entry.path().string().c_str(), false), "") << entry.path();
  }
  EXPECT_GT(files, 0);
}

}  // namespace
