// SPDX-License-Identifier: Apache-2.0
//
// Many objects, many samples, long names, and files with only one of objects and samples.

#include <gtest/gtest.h>

#include "SizeTest.h"
#include "VekHelperObj.h"
#include "vekUtils.h"

namespace VekTest {

namespace {

using namespace Vek;

constexpr int kMany = 100000;

class LargeCountTest : public SizeTest {
 protected:
  static std::string nameOf(int obj) { return "|scene|object" + std::to_string(obj); }

  /// A file of one sample of many objects, built in memory.
  void saveManyObjects() {
    VekRwMemCache cache;
    for (int obj = 0; obj < kMany; ++obj) {
      VekGroupChunk* const data = cache.allocSample(0, obj);
      ASSERT_NE(data, nullptr);
      data->addChild(new VekLeafChunk<float>(Tag::POSI, {static_cast<float>(obj), 0, 0}));
      cache.setName(obj, nameOf(obj).c_str());
    }
    ASSERT_EQ(cache.getNumObjects(), kMany);
    // Only a head with both can be replaced in place.
    cache.setApplication("application");
    cache.setSourceFile("source");
    ASSERT_TRUE(cache.saveAs(path().c_str()));
  }
  void writeManySamples(bool uniform) {
    VekFile f(path().c_str(), "w");
    VekSAMSChunk stream;
    writeHead(f, kMany, 1, uniform);
    ASSERT_TRUE(stream.writeStart(f, kMany, 0, !uniform));
    for (int sample = 0; sample < kMany; ++sample) writeSample(f, stream, sample, !uniform);
    ASSERT_TRUE(stream.writeEnd(f));
    ASSERT_TRUE(f.close());
  }
};

// --- Many objects --------------------------------------------------------------------------------

TEST_F(LargeCountTest, manyObjectsAreBuiltSavedAndRead) {
  const Expense expense;
  saveManyObjects();
  bool ok = false;
  VekRoMemCache cache(path().c_str(), true, &ok);
  ASSERT_TRUE(ok);
  ASSERT_EQ(cache.getNumObjects(), kMany);
  for (const int obj : {0, kMany / 2, kMany - 1}) {
    const auto* const leaf = asLeaf<float>(cache.getSample(0, obj, Tag::POSI, nullptr));
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(leaf->data.at(0), static_cast<float>(obj));
    EXPECT_TRUE(cache.objectHas(obj, Tag::POSI));
    EXPECT_EQ(cache.findObjectIndex(nameOf(obj)), obj);
  }
  EXPECT_EQ(cache.getSample(0, kMany), nullptr);
  EXPECT_LT(expense.seconds(), Expense::bearable);
}

TEST_F(LargeCountTest, manyObjectsAreFoundInOrderWithHints) {
  saveManyObjects();
  const VekCache cache(path().c_str());
  const Expense expense;
  int next = 0;
  for (int obj = 0; obj < kMany; ++obj) {
    const int found = cache.findObjectIndex(nameOf(obj), next);
    ASSERT_EQ(found, obj);
    next = found + 1;
  }
  EXPECT_LT(expense.seconds(), Expense::bearable);
}

TEST_F(LargeCountTest, manyObjectsHaveViews) {
  saveManyObjects();
  VekRoMemCache cache(path().c_str());
  const Expense expense;
  VekHelperObjFactory factory(&cache);
  std::vector<std::string> names;
  EXPECT_TRUE(factory.getObjectNames(names));
  EXPECT_EQ(names.size(), static_cast<std::size_t>(kMany));
  for (int obj = 0; obj < kMany; ++obj) {
    VekHelperObj* const view = factory.vekObjBuilder(obj);
    ASSERT_TRUE(view->isA("geometry"));
    view->destroy();
  }
  EXPECT_LT(expense.seconds(), Expense::bearable);
}

TEST_F(LargeCountTest, frameOfManyObjectsIsAppended) {
  saveManyObjects();
  const std::int64_t before = fileSize(path());
  const Expense expense;
  VekRwMemCache cache(path().c_str());
  std::vector<VekGroupChunk*> frame;
  ASSERT_TRUE(cache.allocFrame(1, frame));
  ASSERT_EQ(frame.size(), static_cast<std::size_t>(kMany));
  EXPECT_TRUE(cache.append());
  // A table entry and a header for each object.
  EXPECT_LT(fileSize(path()), before + 24 * kMany + 4096);
  EXPECT_LT(expense.seconds(), Expense::bearable);
}

// --- Many samples --------------------------------------------------------------------------------

TEST_F(LargeCountTest, manySamplesAreWrittenAndFound) {
  for (const bool uniform : {true, false}) {
    const Expense expense;
    writeManySamples(uniform);
    bool ok = false;
    VekRoMemCache cache(path().c_str(), true, 2, &ok);
    ASSERT_TRUE(ok);
    ASSERT_EQ(cache.getNumSamples(), kMany);
    EXPECT_EQ(cache.isNonUniform(), !uniform);
    for (const int sample : {0, kMany / 2, kMany - 1}) {
      const auto time = static_cast<float>(sample);
      EXPECT_EQ(cache.getSampleTime(sample), time);
      EXPECT_EQ(cache.getSampleIndex(time), sample);
      EXPECT_EQ(cache.getMaxSampleIndexNotGreaterThan(time), sample);
      EXPECT_EQ(cache.getMinSampleIndexNotLessThan(time), sample);
      EXPECT_TRUE(isMarked(cache, sample));
    }
    EXPECT_EQ(cache.getSampleIndex(0.5F), -1);
    EXPECT_EQ(cache.getSample(kMany, 0), nullptr);
    EXPECT_LT(expense.seconds(), Expense::bearable);
  }
}

TEST_F(LargeCountTest, manySamplesAreFetchedWithinALimit) {
  writeManySamples(true);
  const Expense expense;
  VekRoMemCache cache(path().c_str(), true, 4, nullptr);
  for (int sample = 0; sample < kMany; ++sample) ASSERT_TRUE(isMarked(cache, sample));
  EXPECT_LT(expense.memory(), 8 * kMiB);
  EXPECT_LT(expense.seconds(), Expense::bearable);
}

TEST_F(LargeCountTest, manySamplesAreBuiltInMemoryAndSaved) {
  for (const float step : {1.0F, 1.5F}) {
    const Expense expense;
    VekRwMemCache cache;
    for (int sample = 0; sample < kMany; ++sample) {
      // The second step differs for a sampling that is not uniform.
      const float time = static_cast<float>(sample) + (sample > 0 ? step - 1 : 0);
      ASSERT_NE(cache.allocSample(time, 0), nullptr);
    }
    EXPECT_EQ(cache.isNonUniform(), step != 1.0F);
    ASSERT_TRUE(cache.saveAs(path().c_str()));
    bool ok = false;
    const VekCache reader(path().c_str(), true, &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(reader.getNumSamples(), kMany);
    EXPECT_LT(expense.seconds(), Expense::bearable);
  }
}

TEST_F(LargeCountTest, frameIsAppendedToManySamples) {
  writeManySamples(true);
  const std::int64_t before = fileSize(path());
  const Expense expense;
  VekRwMemCache cache(path().c_str());
  std::vector<VekGroupChunk*> frame;
  ASSERT_TRUE(cache.allocFrame(kMany, frame));
  EXPECT_TRUE(cache.append());
  // Room in the new tables for twice as many, which is a hole.
  EXPECT_LT(fileSize(path()), before + 2 * 8 * (kMany + 1) + 4096);
  const VekCache reader(path().c_str());
  EXPECT_EQ(reader.getNumSamples(), kMany + 1);
  EXPECT_LT(expense.seconds(), Expense::bearable);
}

// --- Long names ----------------------------------------------------------------------------------

TEST_F(LargeCountTest, longNamesSurvive) {
  const std::string text(65536, 'n');
  {
    VekRwMemCache cache;
    ASSERT_NE(cache.allocSample(0, 0), nullptr);
    cache.setName(0, ("|p|" + text).c_str());
    cache.setApplication("a" + text);
    cache.setSourceFile("s" + text);
    VekDOBJChunk& definition = *cache.getMETAChunk().dobjs.at(0);
    EXPECT_EQ(definition.addAttr(true, "m" + text, "k" + text, ValueType::Float), 0);
    EXPECT_EQ(definition.addAttr(false, "t" + text, "l" + text, ValueType::String), 1);
    asLeaf<std::string>(definition.getDATR()->getStaticData(1))->setData({"v" + text, text});
    ASSERT_TRUE(cache.saveAs(path().c_str()));
  }
  VekRoMemCache cache(path().c_str());
  EXPECT_EQ(cache.getName(0), "|p|" + text);
  EXPECT_EQ(VekCache::shortName(cache.getName(0)), text);
  EXPECT_EQ(cache.findObjectIndex("|other|" + text), 0);
  EXPECT_EQ(cache.getApplication(), "a" + text);
  EXPECT_EQ(cache.getSourceFile(), "s" + text);
  EXPECT_EQ(cache.findAttr(0, "m" + text), 0);
  EXPECT_EQ(cache.findAttr(0, "t" + text), 1);
  EXPECT_EQ(cache.getAttrType(0, 0), "k" + text);
  EXPECT_EQ(cache.getAttrType(0, 1), "l" + text);
  const auto* const values = asLeaf<std::string>(cache.getAttrData(0, 0, 1));
  ASSERT_NE(values, nullptr);
  EXPECT_EQ(values->data, (std::vector<std::string>{"v" + text, text}));
  for (int (*const tool)(const char*) : {&vekinfo, &vek2txt}) {
    const std::string output = captureStdout([&] { EXPECT_EQ(tool(path().c_str()), 0); });
    for (const char* const first : {"|p|", "a", "s", "m", "k", "t", "l", "v"})
      EXPECT_NE(output.find(first + text), std::string::npos) << first;
  }
}

// --- Only one of objects and samples -------------------------------------------------------------

TEST_F(LargeCountTest, samplesWithoutObjectsAreRead) {
  VekFile f(path().c_str(), "w");
  VekSAMSChunk stream;
  writeHead(f, 3, 0);
  ASSERT_TRUE(stream.writeStart(f, 3, 0, false));
  for (int sample = 0; sample < 3; ++sample) {
    ASSERT_TRUE(stream.writeStartSAMPChunk(f, 0, nullptr));
    EXPECT_FALSE(stream.writeStartSOBJChunk(f));
    ASSERT_TRUE(stream.writeEndSAMPChunk(f));
  }
  ASSERT_TRUE(stream.writeEnd(f));
  ASSERT_TRUE(f.close());

  bool ok = false;
  VekRoMemCache cache(path().c_str(), true, &ok);
  ASSERT_TRUE(ok);
  EXPECT_EQ(cache.getNumSamples(), 3);
  EXPECT_EQ(cache.getNumObjects(), 0);
  EXPECT_EQ(cache.getSampleIndex(2), 2);
  EXPECT_EQ(cache.getSample(0, 0), nullptr);
  EXPECT_EQ(cache.getSampleDataAtTime<float>(0, 0, Tag::POSI, nullptr), nullptr);
  EXPECT_EQ(cache.findObjectIndex("|a"), -1);
  std::vector<std::string> names;
  EXPECT_TRUE(VekHelperObjFactory(&cache).getObjectNames(names));
  EXPECT_TRUE(names.empty());
  captureStdout([&] { EXPECT_EQ(vekinfo(path().c_str()), 0); });
  captureStdout([&] { EXPECT_EQ(vek2txt(path().c_str()), 0); });
}

TEST_F(LargeCountTest, objectsWithoutSamplesAreRead) {
  VekFile f(path().c_str(), "w");
  writeHead(f, 0, 3);
  ASSERT_TRUE(f.close());
  bool ok = false;
  VekRoMemCache cache(path().c_str(), true, &ok);
  ASSERT_TRUE(ok);
  EXPECT_EQ(cache.getNumSamples(), 0);
  EXPECT_EQ(cache.getNumObjects(), 3);
  EXPECT_EQ(cache.getSample(0, 0), nullptr);
  EXPECT_EQ(cache.getSampleIndex(0), -1);
  EXPECT_FALSE(cache.objectHas(2, Tag::POSI));
  EXPECT_FALSE(cache.isObjectAnimated(2, Tag::POSI));
  captureStdout([&] { EXPECT_EQ(vekinfo(path().c_str()), 0); });
  captureStdout([&] { EXPECT_EQ(vek2txt(path().c_str()), 0); });
}

}  // namespace

}  // namespace VekTest
