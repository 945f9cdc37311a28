// SPDX-License-Identifier: Apache-2.0
//
// Files of more than 4 GiB, nearly all of it holes, and chunks of more than 2^31 bytes or elements,
// held by the file or only claimed by a header.

#include <gtest/gtest.h>

#include <memory>

#include "SizeTest.h"
#include "VekHelperObj.h"

namespace VekTest {

namespace {

using namespace Vek;

class LargeFileTest : public SizeTest {
 protected:
  /// Four samples of one object, with 5 GiB of dead space behind the first.
  void writeLargeFile(const std::string& path, std::int64_t reserve = 0) {
    VekFile f(path.c_str(), "w");
    VekSAMSChunk stream;
    writeHead(f, 4, 1);
    ASSERT_TRUE(stream.writeStart(f, 4, reserve, false));
    for (int sample = 0; sample < 4; ++sample) {
      writeSample(f, stream, sample);
      ASSERT_TRUE(sample > 0 || writeHole(f, 5 * kGiB));
    }
    ASSERT_TRUE(stream.writeEnd(f));
    ASSERT_TRUE(f.close());
    ASSERT_GT(fileSize(path), 5 * kGiB);
  }
};

TEST_F(LargeFileTest, chunksBeyond4GiBAreWalked) {
  writeLargeFile(path());
  const Expense expense;
  VekFile f(path().c_str(), "r");
  VekHeader h;
  int samples = 0;
  std::int64_t last = 0;
  while (f.readHeader(h)) {
    if (h.tag == Tag::SAMP) last = f.tell();
    samples += h.tag == Tag::SAMP ? 1 : 0;
    if (h.type != ValueType::Group) {
      ASSERT_TRUE(f.skipData(h));
    }
  }
  EXPECT_EQ(samples, 4);
  EXPECT_GT(last, 5 * kGiB);
  EXPECT_EQ(f.getLevel(), 0U);
  EXPECT_LT(expense.memory(), kMiB);
}

TEST_F(LargeFileTest, samplesBeyond4GiBAreRead) {
  writeLargeFile(path());
  const Expense expense;
  bool ok = false;
  VekRoMemCache cache(path().c_str(), true, 1, &ok);
  ASSERT_TRUE(ok);
  for (const int sample : {3, 0, 2, 1}) EXPECT_TRUE(isMarked(cache, sample)) << sample;
  OpenCache direct(path().c_str());
  EXPECT_GT(direct.jumpTable.back(), 5 * kGiB);
  const std::unique_ptr<VekGroupChunk> data(direct.loadObjectSample(3, 0));
  EXPECT_NE(data, nullptr);
  EXPECT_LT(expense.memory(), kMiB);
}

TEST_F(LargeFileTest, viewsEvaluateSamplesBeyond4GiB) {
  writeLargeFile(path());
  VekRoMemCache cache(path().c_str());
  VekHelperObjFactory factory(&cache);
  VekHelperObj* const view = factory.vekObjBuilder(0);
  auto* const points = dynamic_cast<GeometryVekObj*>(view);
  ASSERT_NE(points, nullptr);
  VekInterpolationHints hints;
  hints.interpolation = 1;
  std::vector<float> values;
  VekHelperObj::AnimationState state = VekHelperObj::Static;
  int dimension = 0;
  EXPECT_TRUE(points->getPositionAtTime(2.5F, hints, values, state, dimension));
  EXPECT_EQ(values, (std::vector<float>{2.5F, 1, 2}));
  view->destroy();
}

TEST_F(LargeFileTest, framesAreAppendedBeyond4GiB) {
  for (const std::int64_t reserve : {0, 10}) {
    writeLargeFile(path(), reserve);
    const std::int64_t before = fileSize(path());
    const Expense expense;
    bool ok = false;
    VekRwMemCache cache(path().c_str(), true, &ok);
    ASSERT_TRUE(ok);
    std::vector<VekGroupChunk*> frame;
    ASSERT_TRUE(cache.allocFrame(4, frame));
    frame.at(0)->addChild(new VekLeafChunk<float>(Tag::POSI, marker(4)));
    EXPECT_TRUE(cache.append());
    EXPECT_GT(fileSize(path()), before);
    EXPECT_LT(fileSize(path()), before + 4096);
    VekRoMemCache reader(path().c_str(), true, &ok);
    ASSERT_TRUE(ok);
    ASSERT_EQ(reader.getNumSamples(), 5);
    for (int sample = 0; sample < 5; ++sample) EXPECT_TRUE(isMarked(reader, sample)) << sample;
    EXPECT_LT(expense.memory(), kMiB);
  }
}

TEST_F(LargeFileTest, tableIsCompletedInFrontOf4GiB) {
  writeLargeFile(path());
  OpenCache cache(path().c_str());
  ASSERT_EQ(cache.jumpTable.size(), 4U);
  EXPECT_LT(cache.jumpTable[0], 4096);
  EXPECT_GT(cache.jumpTable[1], 5 * kGiB);
}

// A chunk of more than 2^31 elements in front of another.
TEST_F(LargeFileTest, largeLeafIsSkippedOnTheWayToTheNextChunk) {
  VekFile f(path().c_str(), "w");
  VekSAMSChunk stream;
  writeHead(f, 1, 1);
  ASSERT_TRUE(stream.writeStart(f, 1, 0, false));
  ASSERT_TRUE(stream.writeStartSAMPChunk(f, 1, nullptr));
  ASSERT_TRUE(stream.writeStartSOBJChunk(f));
  ASSERT_TRUE(f.writeChunk(VekHeader(Tag::VELO, ValueType::Float, 9 * kGiB), nullptr));
  ASSERT_TRUE(f.writeChunk(Tag::POSI, marker(0)));
  ASSERT_TRUE(stream.writeEndSOBJChunk(f));
  ASSERT_TRUE(stream.writeEndSAMPChunk(f));
  ASSERT_TRUE(stream.writeEnd(f));
  ASSERT_TRUE(f.close());

  const Expense expense;
  OpenCache cache(path().c_str());
  VekHeader h;
  ASSERT_TRUE(cache.seekChannelSample(h, 0, 0, Tag::POSI, nullptr));
  std::vector<float> values;
  EXPECT_TRUE(cache.file.appendData(h, values));
  EXPECT_EQ(values, marker(0));
  ASSERT_TRUE(cache.seekChannelSample(h, 0, 0, Tag::VELO, nullptr));
  EXPECT_EQ(h.length, 9 * kGiB);
  EXPECT_LT(expense.memory(), kMiB);
}

// --- Claimed, but not there ----------------------------------------------------------------------

TEST_F(LargeFileTest, leafThatTheFileDoesNotHoldIsRefusedWithoutMemory) {
  constexpr std::int64_t count = std::int64_t{1} << 31;
  const std::vector<std::pair<int, std::int64_t>> types = {{0, 1}, {2, 1}, {3, 4},
                                                           {4, 4}, {5, 8}, {6, 8}};
  for (const auto& [type, size] : types) {
    const ByteImage bytes = ByteImage().header("POSI", type, count * size).zeros(100);
    VekFile f(writeFile(bytes).c_str(), "r");
    const Expense expense;
    VekHeader h;
    ASSERT_TRUE(f.readHeader(h));
    const std::unique_ptr<VekChunk> leaf(VekChunk::create(h.tag, h.type));
    EXPECT_FALSE(leaf->read(h, f)) << type;
    EXPECT_LT(expense.memory(), kMiB) << type;
  }
}

TEST_F(LargeFileTest, sampleThatTheFileDoesNotHoldIsRefusedWithoutMemory) {
  Head head;
  head.numSamples = 1;
  head.definitions = {definition("|a")};
  ByteImage file = headImage(head);
  addStream(file, {{}, {{ByteImage().header("POSI", 4, std::int64_t{1} << 33).zeros(64)}}});
  const Expense expense;
  bool ok = false;
  VekRoMemCache cache(writeFile(file).c_str(), true, &ok);
  ASSERT_TRUE(ok);
  EXPECT_EQ(cache.getSample(0, 0), nullptr);
  EXPECT_FALSE(cache.objectHas(0, Tag::POSI));
  EXPECT_LT(expense.memory(), kMiB);
}

TEST_F(LargeFileTest, samplesThatTheFileDoesNotHoldAreRefusedWithoutMemory) {
  for (const std::int64_t count :
       {std::int64_t{1} << 31, std::int64_t{1} << 40, std::numeric_limits<std::int64_t>::max(),
        std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
    Head head;
    head.numSamples = count;
    head.lastTime = static_cast<float>(count);
    ByteImage file = headImage(head);
    const auto bytes = static_cast<std::int64_t>(static_cast<std::uint64_t>(count) * 8);
    file.raw(group("SAMS", ByteImage().header("JSAM", 5, bytes).zeros(64)));
    writeFile(file);
    const Expense expense;
    bool ok = true;
    captureStdout([&] { const VekRoMemCache cache(path().c_str(), true, &ok); });
    EXPECT_FALSE(ok) << count;
    EXPECT_LT(expense.memory(), kMiB) << count;
  }
}

}  // namespace

}  // namespace VekTest
