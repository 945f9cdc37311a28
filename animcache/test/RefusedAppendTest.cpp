// SPDX-License-Identifier: Apache-2.0
//
// Appends that are refused before they change the file, since the file, its head or the edits do
// not allow them: the cache is complete and saves the whole file instead.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "SaveFaultTest.h"
#include "SceneImage.h"

namespace {

using namespace VekTest;
using Vek::VekGroupChunk;
using Vek::VekLeafChunk;
using Vek::VekRoMemCache;
using Vek::VekRwMemCache;

// ---- Files and edits that an append does not fit ----

/// Changes the bytes of a file.
void change(const std::string& file, const std::function<std::string(const std::string&)>& edit) {
  std::string bytes;
  {
    std::ifstream in(file, std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  std::ofstream(file, std::ios::binary) << edit(bytes);
}

/// What happens to a file.
using Damage = std::function<void(const std::string& file)>;

Damage cutBefore(const char* tag) {
  return [tag](const std::string& file) {
    change(file, [&](const std::string& bytes) { return bytes.substr(0, bytes.find(tag)); });
  };
}

/// A file of the model at these times takes its place.
Damage fileOf(const std::vector<float>& times) {
  return [times](const std::string& file) { writeModel(file, modelAt(times), 5); };
}

void removeHead(const std::string& file) {
  change(file, [](const std::string& bytes) {
    return bytes.substr(0, 24) + bytes.substr(bytes.find("SAMS"));
  });
}

void moveHeadToTheEnd(const std::string& file) {
  change(file, [](const std::string& bytes) {
    const std::size_t end = bytes.find("SAMS");
    return bytes.substr(0, 24) + bytes.substr(end) + bytes.substr(24, end - 24);
  });
}

/// Makes the room of the time table other than that of the jump table.
void splitRoomForTimes(const std::string& file) {
  change(file, [](std::string bytes) {
    // The first FREE belongs to the times; four of its five places become a FREE of their own.
    ByteImage split;
    split.header("FREE", 0, 4).zeros(4).header("FREE", 0, 0);
    return bytes.replace(bytes.find("FREE"), split.size(), split.bytes());
  });
}

/// An append that is refused before it changes the file.
struct Refusal {
  const char* name;
  std::vector<float> times;
  float added;
  Damage damage;  ///< after the cache was loaded
  /// A further edit of the cache.
  std::function<void(VekRwMemCache&, Model&)> edit;

  friend void PrintTo(const Refusal& c, std::ostream* os) { *os << c.name; }
};

using Path = const std::string&;

const Refusal kRefusals[] = {
    {"headGrew",
     {1, 2, 3},
     4,
     nullptr,
     [](VekRwMemCache& cache, Model& model) {
       cache.setApplication(model.application = "exporter of another version");
     }},
    {"headShrank",
     {1, 2, 4},
     5,
     nullptr,
     [](VekRwMemCache& cache, Model& model) { cache.setSourceFile(model.sourceFile = "s"); }},
    {"nameGrew",
     {1, 2, 3},
     4,
     nullptr,
     [](VekRwMemCache& cache, Model& model) { cache.setName(0, (model.names[0] += "s").c_str()); }},
    {"objectAdded",
     {1, 2, 3},
     4,
     nullptr,
     [](VekRwMemCache& cache, Model& model) {
       cache.setName(2, "|new");
       model.names.emplace_back("|new");
     }},
    {"attributeAdded",
     {1, 2, 3},
     4,
     nullptr,
     [](VekRwMemCache& cache, Model&) {
       cache.getMETAChunk().dobjs[0]->addAttr(true, "weight", "float", Vek::ValueType::Float);
     }},
    {"earlierSampleEdited",
     {1, 2, 3},
     4,
     nullptr,
     [](VekRwMemCache& cache, Model& model) {
       cache.allocSample(2.0F, 1)->reset();
       model.samples[1].objects[1].reset();
     }},
    {"spacingBroken", {1, 2, 3}, 5, nullptr, nullptr},
    {"fileIsEmpty", {1, 2, 3}, 4, cutBefore("DVEK"), nullptr},
    {"fileEndsInItsFirstChunk",
     {1, 2, 3},
     4,
     [](Path file) { change(file, [](const auto& bytes) { return bytes.substr(0, 20); }); },
     nullptr},
    {"fileIsOfAnotherKind",
     {1, 2, 3},
     4,
     [](Path file) { change(file, [](const auto& bytes) { return "NOPE" + bytes.substr(4); }); },
     nullptr},
    {"fileHasNoHead", {1, 2, 3}, 4, removeHead, nullptr},
    {"fileHasNoStream", {1, 2, 3}, 4, cutBefore("SAMS"), nullptr},
    {"fileHasNothingButItsFirstChunk", {1, 2, 3}, 4, cutBefore("META"), nullptr},
    {"fileHasItsHeadBehindTheStream", {1, 2, 3}, 4, moveHeadToTheEnd, nullptr},
    {"fileHasAnotherHead",
     {1, 2, 3},
     4,
     [](Path file) {
       Model other = modelAt({1, 2, 3});
       other.application = "another";
       writeModel(file, other, 5);
     },
     nullptr},
    {"fileEndsInFewerBytesThanAHeaderHas",
     {1, 2, 3},
     4,
     [](Path file) {
       change(file, [](const auto& bytes) { return bytes + std::string(12, 'x'); });
     },
     nullptr},
    {"fileHoldsTheSampleAlready", {1, 2, 3}, 4, fileOf({1, 2, 3, 4}), nullptr},
    {"fileHoldsMoreSamples", {1, 2, 3}, 4, fileOf({1, 2, 3, 4, 5, 6}), nullptr},
    {"evenFileGotATimeTable", {1, 2, 3}, 4, fileOf({1, 2, 9}), nullptr},
    {"unevenFileLostItsTimeTable", {1, 2, 4}, 5, fileOf({1, 2, 3}), nullptr},
    {"tablesHaveDifferentRoom", {1, 2, 4}, 5, splitRoomForTimes, nullptr},
};

class RefusedAppendTest : public SaveFaultTest, public ::testing::WithParamInterface<Refusal> {
 protected:
  void SetUp() override {
    SaveFaultTest::SetUp();
    model = modelAt(GetParam().times);
    writeModel(path(), model, 5);
    ASSERT_TRUE(cache.load(path().c_str(), true));
    addSample(cache, model, GetParam().added);
    if (GetParam().edit) GetParam().edit(cache, model);
    if (!GetParam().damage) return;
    // What the file will no longer tell has to be in memory.
    for (int s = 0; s < cache.getNumSamples(); ++s) {
      for (int o = 0; o < cache.getNumObjects(); ++o) cache.getSample(s, o);
    }
    GetParam().damage(path());
  }
  Unallocated unallocated() const {
    const bool isEdited = std::string(GetParam().name) == "earlierSampleEdited";
    return isEdited ? Unallocated::Empty : Unallocated::Absent;
  }

  Model model;
  VekRwMemCache cache;
};

TEST_P(RefusedAppendTest, changesNeitherFileNorCache) {
  const std::string before = bytes();
  EXPECT_FALSE(cache.append());
  EXPECT_EQ(bytes(), before);
  EXPECT_EQ(difference(cache, model, unallocated()), "");
  expectSavedElsewhere(cache, model);
}

TEST_P(RefusedAppendTest, becomesARewrite) {
  bool written = false;
  EXPECT_TRUE(cache.save(&written));
  EXPECT_TRUE(written);
  EXPECT_FALSE(cache.isDirty());
  EXPECT_EQ(differenceOfFile(path(), model), "");
  EXPECT_EQ(difference(cache, model, Unallocated::Empty), "");
}

INSTANTIATE_TEST_SUITE_P(SaveFault, RefusedAppendTest, ::testing::ValuesIn(kRefusals),
                         [](const auto& tested) { return std::string(tested.param.name); });

// ---- A head whose computed length is right and whose true size is not ----

/// META with these chunks besides those that every head has, and two samples of one object. Its
/// payload is as long as the computed length of the head in memory.
ByteImage fileWithHead(const ByteImage& more) {
  Head head;
  head.numSamples = 2;
  head.firstTime = 1.0F;
  head.lastTime = 2.0F;
  head.definitions = {definition("|a")};
  head.more = more;
  ByteImage file = headImage(head);
  addStream(file, emptySamples(2, 1));
  return file;
}

/// A cache whose head, with one sample more, must not be written over that of its file.
class HeadSizeTest : public SaveFaultTest {
 protected:
  void expectRefused(VekRwMemCache& cache) {
    const std::string before = bytes();
    const __int64 date = cache.getDateStamp();
    std::vector<VekGroupChunk*> frame;
    ASSERT_TRUE(cache.allocFrame(3.0F, frame));
    std::int64_t length = 0;
    std::memcpy(&length, &before[24 + 8], sizeof length);
    ASSERT_EQ(cache.getMETAChunk().getLength(), length) << "the case is made wrong";

    EXPECT_FALSE(cache.append());
    EXPECT_EQ(bytes(), before) << "nothing may be written over what follows the head";
    EXPECT_TRUE(cache.isDirty());
    EXPECT_EQ(cache.getDateStamp(), date);

    EXPECT_TRUE(cache.save());
    VekRoMemCache saved;
    ASSERT_TRUE(saved.load(path().c_str(), true));
    EXPECT_EQ(saved.getNumSamples(), 3);
    EXPECT_EQ(saved.getApplication(), cache.getApplication());
    EXPECT_EQ(saved.getSourceFile(), cache.getSourceFile());
    EXPECT_EQ(saved.getMETAChunk().numChildren(), cache.getMETAChunk().numChildren());
    EXPECT_NE(saved.getSample(2, 0), nullptr);
  }
};

TEST_F(HeadSizeTest, headThatTheDateWouldMakeLongerIsNotWrittenInPlace) {
  const ByteImage file = fileWithHead(
      join({textChunk("WAPP", {"app"}), textChunk("SFIL", {"src"}), int64Chunk("XTRA", 1)}));
  VekRwMemCache cache(writeFile(file).c_str());
  expectRefused(cache);
}

TEST_F(HeadSizeTest, headThatAnApplicationWouldMakeLongerIsNotWrittenInPlace) {
  const ByteImage file = fileWithHead(join({textChunk("SFIL", {"abcd"}), int64Chunk("DATE", 1),
                                            ByteImage().chunk("XTRA", 0, ByteImage().zeros(1))}));
  VekRwMemCache cache(writeFile(file).c_str());
  cache.setApplication("ab");
  cache.setSourceFile("cd");
  expectRefused(cache);
}

TEST_F(HeadSizeTest, headThatAMissingApplicationWouldMakeShorterIsNotWrittenInPlace) {
  const ByteImage file = fileWithHead(
      join({textChunk("WAPP", {"ab"}), textChunk("SFIL", {"cd"}), int64Chunk("DATE", 1)}));
  VekRwMemCache cache(writeFile(file).c_str());
  cache.setApplication("");
  cache.setSourceFile("abcd");
  expectRefused(cache);
}

TEST_F(HeadSizeTest, headThatAnUnknownChunkWouldMakeLongerIsNotWrittenInPlace) {
  const ByteImage file = fileWithHead(
      join({textChunk("WAPP", {"ab"}), textChunk("SFIL", {"cd"}), int64Chunk("DATE", 1)}));
  VekRwMemCache cache(writeFile(file).c_str());
  cache.getMETAChunk().addChild(
      new VekLeafChunk<float>(Vek::makeTag('X', 'T', 'R', 'A'), Positions{1.0F}));
  expectRefused(cache);
}

TEST_F(HeadSizeTest, headOfTheRightSizeWithAnUnknownChunkIsWrittenInPlace) {
  // The unknown chunk is as long as the application that is missing.
  const ByteImage file = fileWithHead(join({textChunk("SFIL", {"abcd"}), int64Chunk("DATE", 1),
                                            ByteImage().chunk("XTRA", 0, ByteImage().zeros(1))}));
  VekRwMemCache cache(writeFile(file).c_str());
  std::vector<VekGroupChunk*> frame;
  ASSERT_TRUE(cache.allocFrame(3.0F, frame));
  EXPECT_TRUE(cache.append());
  const std::size_t head = file.bytes().find("SAMS");
  EXPECT_EQ(bytes().substr(head, file.size() - head), file.bytes().substr(head));
  VekRoMemCache saved(path().c_str());
  EXPECT_EQ(saved.getNumSamples(), 3);
  EXPECT_EQ(saved.getMETAChunk().numChildren(), 1U);
}

// ---- Room that is not in the last section ----

TEST_F(SaveFaultTest, lastSectionWithoutRoomBehindOneWithRoomIsSavedWhole) {
  Model model = modelAt({1, 2, 3});
  writeModel(path(), model, 4);
  const std::string whole = bytes();
  const std::vector<__int64> offsets = sampleOffsets(path());
  // The third sample moves into a section of its own, with objects of its own offsets.
  const auto third = static_cast<std::size_t>(offsets[2]);
  std::string file = whole.substr(0, third);
  const std::size_t sams = file.find("SAMS");
  const std::size_t jsam = file.find("JSAM");
  file = patched(file, static_cast<std::int64_t>(sams + 8),
                 static_cast<std::int64_t>(file.size() - sams - 16));
  file = patched(file, static_cast<std::int64_t>(jsam + 8), std::int64_t{16});
  file.replace(jsam + 32, 24, ByteImage().header("FREE", 0, 5 * 8).zeros(8).bytes());
  std::string sample = whole.substr(third);
  const auto moved = static_cast<std::int64_t>(file.size()) + 40;
  for (const std::int64_t at : {std::int64_t{32}, std::int64_t{40}}) {
    std::int64_t offset = 0;
    std::memcpy(&offset, &sample[static_cast<std::size_t>(at)], sizeof offset);
    sample = patched(sample, at, offset - offsets[2] + moved);
  }
  file += ByteImage()
              .header("SAMS", 1, static_cast<std::int64_t>(24 + sample.size()))
              .chunk("JSAM", 5, ByteImage().int64(moved))
              .raw(sample)
              .bytes();
  writeFile(file);
  ASSERT_EQ(differenceOfFile(path(), model), "") << "the case is made wrong";

  VekRwMemCache cache(path().c_str());
  addSample(cache, model, 4.0F);
  // Whether a new section follows or the whole file is written anew, nothing is lost.
  if (cache.append()) {
    EXPECT_EQ(firstChangedSample(file, bytes(), {offsets[0], offsets[1], moved}), -1);
  } else {
    EXPECT_TRUE(cache.isDirty());
    EXPECT_EQ(difference(cache, model, Unallocated::Absent), "");
  }
  EXPECT_TRUE(cache.save());
  EXPECT_FALSE(cache.isDirty());
  EXPECT_EQ(differenceOfFile(path(), model), "");
  EXPECT_EQ(difference(cache, model, Unallocated::Empty), "");
}

}  // namespace
