// SPDX-License-Identifier: Apache-2.0
//
// Null pointers, negative counts and chunks in the wrong place, given to files, chunks, writers,
// editable caches and tools: every call answers with its failure result and changes nothing.

#include <gtest/gtest.h>

#include <climits>
#include <sstream>

#include "ViewScene.h"
#include "vekUtils.h"

namespace VekTest {

namespace {

using namespace Vek;

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

class WrongCallTest : public FileTest {};

// --- Files ---------------------------------------------------------------------------------------

TEST_F(WrongCallTest, nullPathsAndModesOpenNothing) {
  VekFile f;
  EXPECT_FALSE(f.open(nullptr, "r"));
  EXPECT_FALSE(f.open(path().c_str(), nullptr));
  EXPECT_FALSE(f.open(path().c_str(), ""));
  EXPECT_FALSE(f.open("", "r"));
  bool ok = true;
  const VekFile constructed(nullptr, nullptr, &ok);
  EXPECT_FALSE(ok);
  EXPECT_FALSE(VekFile::exists(nullptr));
  EXPECT_FALSE(VekFile::isReadable(nullptr));
  EXPECT_FALSE(VekFile::isWritable(nullptr));
  EXPECT_FALSE(VekFile::isVekFile(nullptr));
}

TEST_F(WrongCallTest, closedFileAnswersToEveryCall) {
  VekFile f;
  VekHeader h(Tag::POSI, ValueType::Float, 4);
  float value = 0;
  std::string text;
  std::vector<std::string> texts;
  std::vector<float> values = {1};
  EXPECT_FALSE(f.seek(0, 0, true));
  EXPECT_EQ(f.tell(), -1);
  EXPECT_FALSE(f.rewind());
  EXPECT_FALSE(f.readHeader(h));
  EXPECT_FALSE(f.skipData(h));
  EXPECT_FALSE(f.readData(h, &value));
  EXPECT_FALSE(f.readData(h, nullptr));
  EXPECT_FALSE(f.readData(h, text));
  EXPECT_FALSE(f.readData(h, texts));
  EXPECT_FALSE(f.appendData(h, values));
  EXPECT_EQ(values.size(), 1U);
  EXPECT_FALSE(f.writeChunk(h, &value));
  EXPECT_FALSE(f.writeChunk(Tag::NAME, "text"));
  EXPECT_FALSE(f.writeChunk(Tag::NAME, texts));
  EXPECT_FALSE(f.writeChunk(Tag::POSI, values));
  EXPECT_FALSE(f.startGroup(h));
  EXPECT_FALSE(f.endGroup());
  EXPECT_EQ(f.getLevel(), 0U);
  EXPECT_TRUE(f.close());
}

TEST_F(WrongCallTest, negativeLengthsAreRefused) {
  VekFile f(writeFile(ByteImage().zeros(64)).c_str(), "r+");
  for (const std::int64_t length : {std::int64_t{-1}, std::int64_t{-16}, -kMost - 1}) {
    ASSERT_TRUE(f.seek(32, SEEK_SET, true));
    const VekHeader h(Tag::POSI, ValueType::Int32, length);
    int value = 0;
    std::string text;
    std::vector<std::string> texts;
    std::vector<int> values;
    EXPECT_FALSE(f.skipData(h));
    EXPECT_FALSE(f.readData(h, &value));
    EXPECT_FALSE(f.readData(h, text));
    EXPECT_FALSE(f.readData(h, texts));
    EXPECT_FALSE(f.appendData(h, values));
    EXPECT_FALSE(f.writeChunk(h, &value));
    EXPECT_FALSE(f.writeChunk(h, nullptr));
    EXPECT_EQ(f.tell(), 32);
  }
  EXPECT_TRUE(f.close());
  EXPECT_EQ(readFile(path()), std::string(64, '\0'));
}

TEST_F(WrongCallTest, positionsOutsideEveryFileAreRefused) {
  VekFile f(writeFile(ByteImage().zeros(64)).c_str(), "r+");
  EXPECT_FALSE(f.seek(-1, SEEK_SET, false));
  EXPECT_FALSE(f.seek(-65, SEEK_END, false));
  EXPECT_FALSE(f.seek(-kMost - 1, SEEK_CUR, false));
  ASSERT_TRUE(f.seek(8, SEEK_SET, false));
  EXPECT_FALSE(f.seek(kMost, SEEK_CUR, false));
  EXPECT_FALSE(f.seek(0, -1, false));
  EXPECT_EQ(f.tell(), 8);
  EXPECT_FALSE(f.writeChunk(VekHeader(Tag::FREE, 0, kMost), nullptr));
}

TEST_F(WrongCallTest, nullStringIsNotWritten) {
  VekFile f(path().c_str(), "w");
  EXPECT_FALSE(f.writeChunk(Tag::NAME, static_cast<const char*>(nullptr)));
  EXPECT_FALSE(f.endGroup());
  EXPECT_EQ(f.tell(), 0);
}

// --- Chunks --------------------------------------------------------------------------------------

TEST_F(WrongCallTest, nullChunksAnswer) {
  EXPECT_EQ(VekChunk::copy(nullptr), nullptr);
  EXPECT_EQ(asLeaf<int>(static_cast<VekChunk*>(nullptr)), nullptr);
  EXPECT_EQ(VekDOBJChunk(nullptr).name, "");
  VekMETAChunk meta;
  ASSERT_NE(meta.addDOBJ(nullptr), nullptr);
  EXPECT_EQ(meta.dobjs.at(0)->name, "");
}

TEST_F(WrongCallTest, nullChildIsPassedOver) {
  VekGroupChunk group(Tag::SOBJ);
  group.addChild(nullptr);
  group.addChild(new VekLeafChunk<int>(Tag::MESH, {1}));
  EXPECT_EQ(group.findChild(Tag::MESH), group.numChildren() - 1);
  EXPECT_EQ(group.getLength(), 20);
  const std::unique_ptr<VekChunk> copy(VekChunk::copy(&group));
  EXPECT_EQ(copy->getLength(), 20);
  VekFile f(path().c_str(), "w");
  EXPECT_TRUE(group.write(f));
  EXPECT_EQ(f.tell(), 36);
  std::ostringstream os;
  group.print(os, -1);
  OpenCache cache;
  EXPECT_NE(cache.findChunk(&group, Tag::MESH), nullptr);
}

TEST_F(WrongCallTest, chunkIsTheChildOfOneGroupOnly) {
  VekGroupChunk first(Tag::SOBJ);
  VekGroupChunk second(Tag::SOBJ);
  auto* const leaf = new VekLeafChunk<int>(Tag::MESH, {1});
  first.addChild(leaf);
  first.addChild(leaf);
  second.addChild(leaf);
  EXPECT_EQ(first.numChildren(), 1U);
  EXPECT_EQ(second.numChildren(), 0U);
}

TEST_F(WrongCallTest, groupIsNoChildOfItself) {
  VekGroupChunk outer(Tag::SOBJ);
  auto* const inner = new VekGroupChunk(Tag::ATRS);
  outer.addChild(inner);
  outer.addChild(&outer);
  inner->addChild(&outer);
  inner->addChild(inner);
  EXPECT_EQ(outer.numChildren(), 1U);
  EXPECT_EQ(inner->numChildren(), 0U);
}

// What a read drops from the list belongs to the caller, who may add it elsewhere.
TEST_F(WrongCallTest, droppedChildMayBeAddedAgain) {
  VekGroupChunk group(Tag::SOBJ);
  auto* const leaf = new VekLeafChunk<int>(Tag::MESH, {1});
  group.addChild(leaf);
  VekFile f(writeFile(ByteImage().header("SOBJ", 1, 0)).c_str(), "r");
  VekHeader h;
  ASSERT_TRUE(f.readHeader(h));
  ASSERT_TRUE(group.read(h, f));
  EXPECT_EQ(group.numChildren(), 0U);
  group.addChild(leaf);
  EXPECT_EQ(group.numChildren(), 1U);
}

TEST_F(WrongCallTest, copyOfAChildIsNoChild) {
  VekGroupChunk group(Tag::SOBJ);
  auto* const leaf = new VekLeafChunk<int>(Tag::MESH, {1});
  group.addChild(leaf);
  auto* const copy = new VekLeafChunk<int>(*leaf);
  auto* const assigned = new VekLeafChunk<int>(Tag::FREE);
  *assigned = *leaf;
  group.addChild(copy);
  group.addChild(assigned);
  EXPECT_EQ(group.numChildren(), 3U);
  *leaf = VekLeafChunk<int>(Tag::PIDS, {2});
  group.addChild(leaf);
  EXPECT_EQ(group.numChildren(), 3U);
}

// --- The writer of the stream --------------------------------------------------------------------

TEST_F(WrongCallTest, streamRefusesNegativeCountsAndWrongOrder) {
  VekFile f(path().c_str(), "w");
  VekSAMSChunk stream;
  EXPECT_FALSE(stream.writeStartSAMPChunk(f, 1, nullptr));
  EXPECT_FALSE(stream.writeStartSOBJChunk(f));
  EXPECT_FALSE(stream.writeEndSOBJChunk(f));
  EXPECT_FALSE(stream.writeEndSAMPChunk(f));
  EXPECT_FALSE(stream.writeEnd(f));
  EXPECT_FALSE(stream.writeSOBJChunk(f, nullptr));
  EXPECT_FALSE(stream.writeStart(f, -1, 0, false));
  EXPECT_FALSE(stream.writeStart(f, -kMost, 0, true));
  EXPECT_FALSE(stream.writeStart(f, 1, kMost, false));
  EXPECT_FALSE(stream.appendStart(f, -1));
  ASSERT_TRUE(stream.writeStart(f, 1, -5, false));
  EXPECT_FALSE(stream.writeStartSAMPChunk(f, -1, nullptr));
  EXPECT_EQ(f.getLevel(), 1U);
  stream.sampleIndex = -1;
  EXPECT_FALSE(stream.writeStartSAMPChunk(f, 1, nullptr));
  stream.sampleIndex = kMost;
  EXPECT_FALSE(stream.writeStartSAMPChunk(f, 1, nullptr));
  stream.sampleIndex = 0;
  ASSERT_TRUE(stream.writeStartSAMPChunk(f, 1, nullptr));
  for (const std::int64_t index : {std::int64_t{-1}, std::int64_t{1}, kMost}) {
    stream.objectIndex = index;
    EXPECT_FALSE(stream.writeStartSOBJChunk(f));
    const VekGroupChunk sobj(Tag::SOBJ);
    EXPECT_FALSE(stream.writeSOBJChunk(f, &sobj));
  }
}

// --- Editable caches -----------------------------------------------------------------------------

TEST_F(WrongCallTest, edgesOfTheObjectsOfAnEditableCache) {
  VekRwMemCache cache;
  std::vector<VekGroupChunk*> frame;
  EXPECT_FALSE(cache.allocFrame(0, frame));
  for (const int obj : {-1, INT_MIN, maxObjects, INT_MAX}) {
    EXPECT_EQ(cache.allocSample(0, obj), nullptr);
    cache.setName(obj, "name");
    EXPECT_FALSE(cache.setAttrName(obj, 0, "name"));
    EXPECT_FALSE(cache.setAttrType(obj, 0, "type"));
  }
  EXPECT_EQ(cache.getNumObjects(), 0);
  EXPECT_EQ(cache.getNumSamples(), 0);
  EXPECT_FALSE(cache.isDirty());
}

TEST_F(WrongCallTest, timesThatAreNoNumbersAreNotAdded) {
  VekRwMemCache cache;
  ASSERT_NE(cache.allocSample(0, 0), nullptr);
  std::vector<VekGroupChunk*> frame;
  for (const float time : {kNaN, kInfinity, -kInfinity}) {
    EXPECT_EQ(cache.allocSample(time, 0), nullptr);
    EXPECT_FALSE(cache.allocFrame(time, frame));
    cache.shiftFirstTimeTo(time);
  }
  EXPECT_EQ(cache.getNumSamples(), 1);
  EXPECT_EQ(cache.getFirstTime(), 0.0F);
}

TEST_F(WrongCallTest, attributesOfAnObjectWithoutAnyAreNotChanged) {
  VekRwMemCache cache;
  cache.setName(0, nullptr);
  EXPECT_EQ(cache.getName(0), "");
  EXPECT_FALSE(cache.setAttrName(0, 0, "name"));
  EXPECT_FALSE(cache.setAttrType(0, -1, "type"));
}

// A host can reach the list of definitions, and may leave a gap in it.
TEST_F(WrongCallTest, gapAmongTheDefinitionsIsPassedOver) {
  VekRwMemCache cache;
  ASSERT_NE(cache.allocSample(0, 1), nullptr);
  VekMETAChunk& meta = cache.getMETAChunk();
  delete meta.dobjs.at(0);
  meta.dobjs.at(0) = nullptr;
  cache.setName(0, "name");
  EXPECT_EQ(cache.getName(0), "");
  EXPECT_FALSE(cache.setAttrName(0, 0, "name"));
  EXPECT_FALSE(cache.setAttrType(0, 0, "type"));
  EXPECT_FALSE(cache.objectHas(0, Tag::NAME));
  EXPECT_EQ(cache.getNumAttrs(0), 0);
  EXPECT_EQ(cache.getObjectData(0, 0, Tag::POSI, nullptr), nullptr);
  VekHelperObjFactory factory(&cache);
  const Views::Owned<VekHelperObj> view(factory.vekObjBuilder(0));
  EXPECT_EQ(view->getName(), "");
}

TEST_F(WrongCallTest, nullNamesAreNoFiles) {
  bool ok = true;
  captureStdout([&] {
    const VekCache direct(nullptr, true, &ok);
    EXPECT_FALSE(ok);
    ok = true;
    const VekRoMemCache held(nullptr, true, 2, &ok);
    EXPECT_FALSE(ok);
    ok = true;
    const VekRwMemCache edited(nullptr, true, &ok);
    EXPECT_FALSE(ok);
    VekRoMemCache empty;
    EXPECT_FALSE(empty.load(nullptr, false, -3));
    EXPECT_FALSE(empty.load(nullptr));
  });
  VekRwMemCache cache;
  ASSERT_NE(cache.allocSample(0, 0), nullptr);
  EXPECT_FALSE(cache.saveAs(nullptr));
  EXPECT_FALSE(cache.save());
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(cache.isDirty());
}

// What a plain chunk says of its length is no number of points.
TEST_F(WrongCallTest, countOfPointsIsNeverNegative) {
  VekRwMemCache cache;
  VekGroupChunk* const data = cache.allocSample(0, 0);
  for (const std::int64_t length : {kMost, std::int64_t{-64}}) {
    data->reset();
    data->addChild(new VekChunk(VekHeader(Tag::POSI, 9, length)));
    EXPECT_EQ(cache.getNumVertices(0, 0), 0) << length;
  }
}

TEST_F(WrongCallTest, toolsRefuseNullNames) {
  captureStdout([&] {
    captureStderr([&] {
      EXPECT_EQ(vekinfo(nullptr), -1);
      EXPECT_EQ(vek2txt(nullptr), -1);
      EXPECT_EQ(vektest(nullptr), -1);
      EXPECT_EQ(vekdiff(nullptr, nullptr, nullptr), -1);
    });
  });
}

}  // namespace

}  // namespace VekTest
