// SPDX-License-Identifier: Apache-2.0
//
// Memory that is short while a cache is loaded and its samples are fetched: a failure result, and
// the cache as good as before.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "AllocationFaults.h"
#include "ByteImage.h"
#include "FaultScene.h"
#include "VekCache.h"

namespace {

using namespace Vek;
using namespace VekTest;

const std::vector<ObjectKind> kKinds = {ObjectKind::channels, ObjectKind::mesh};

struct Variant {
  const char* name;
  std::vector<float> times;
  bool keepOpen;
  int maxSamples;
};

class LoadAllocationFaultTest : public FileTest, public ::testing::WithParamInterface<Variant> {
 protected:
  void SetUp() override {
    FileTest::SetUp();
    writeScene(path(), kKinds, GetParam().times);
    m_text = fileText(path());
    ASSERT_NE(m_text.find("a long name of object 1"), std::string::npos);
  }

  /// Loads with allocations failing, then without, into a cache that holds another file.
  template <typename Cache>
  void loadWithFaults() {
    const std::string other = path("other.vek");
    writeScene(other, {ObjectKind::points}, {7});
    failEveryAllocation([&](AllocationFault& fault) {
      const CapturedOutput quiet;
      const std::string file = path();
      Cache cache;
      cache.load(other.c_str());
      bool loaded = false;
      fault.during([&] { loaded = cache.load(file.c_str(), GetParam().keepOpen); });
      EXPECT_FALSE(fault.threw());
      EXPECT_TRUE(loaded || fault.wasHit());
      if (!loaded) {
        EXPECT_EQ(cache.getNumObjects(), 0);
        EXPECT_EQ(cache.getNumSamples(), 0);
        EXPECT_EQ(cache.getFilename(), "");
        EXPECT_TRUE(cache.load(file.c_str(), GetParam().keepOpen));
      }
      EXPECT_EQ(textOf(cache), m_text);
    });
  }

  std::string textOf(VekRoMemCache& cache) const { return cacheText(cache); }
  /// A lazy cache holds no samples: its head is compared.
  std::string textOf(VekCache& cache) const {
    const std::string head = headText(cache);
    return head + m_text.substr(std::min(m_text.size(), head.size()));
  }

  std::string m_text;
};

TEST_P(LoadAllocationFaultTest, failedLoadLeavesALazyCacheEmpty) {
  loadWithFaults<VekCache>();
}

TEST_P(LoadAllocationFaultTest, failedLoadLeavesAReadOnlyCacheEmpty) {
  loadWithFaults<VekRoMemCache>();
}

TEST_P(LoadAllocationFaultTest, failedLoadLeavesAReadWriteCacheEmpty) {
  loadWithFaults<VekRwMemCache>();
}

TEST_P(LoadAllocationFaultTest, constructorsReportAndDoNotThrow) {
  failEveryAllocation([&](AllocationFault& fault) {
    const CapturedOutput quiet;
    const std::string file = path();
    bool ok[3] = {};
    fault.during([&] {
      const VekCache lazy(file.c_str(), GetParam().keepOpen, &ok[0]);
      const VekRoMemCache held(file.c_str(), GetParam().keepOpen, GetParam().maxSamples, &ok[1]);
      const VekRwMemCache edited(file.c_str(), GetParam().keepOpen, &ok[2]);
    });
    EXPECT_FALSE(fault.threw());
    for (const bool loaded : ok) EXPECT_TRUE(loaded || fault.wasHit());
  });
}

TEST_P(LoadAllocationFaultTest, samplesAreFetchedOrNullAndFetchedLater) {
  failEveryAllocation([&](AllocationFault& fault) {
    const CapturedOutput quiet;
    VekRoMemCache cache(path().c_str(), GetParam().keepOpen, GetParam().maxSamples);
    bool missing = false;
    fault.during([&] {
      for (int sample = 0; sample < cache.getNumSamples(); ++sample) {
        for (int obj = 0; obj < cache.getNumObjects(); ++obj)
          missing = cache.getSample(sample, obj) == nullptr || missing;
      }
    });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(!missing || fault.wasHit());
    EXPECT_EQ(cacheText(cache), m_text);
  });
}

TEST_P(LoadAllocationFaultTest, gettersAnswerRightOrAsForNothing) {
  failEveryAllocation([&](AllocationFault& fault) {
    const CapturedOutput quiet;
    VekRoMemCache cache(path().c_str(), GetParam().keepOpen, GetParam().maxSamples);
    const std::string name = cache.getName(1);
    const float time = cache.getSampleTime(1);
    const VekChunk* chunk = nullptr;
    const VekChunk* data = nullptr;
    const VekChunk* weight = nullptr;
    const std::vector<float>* floats = nullptr;
    bool animated = false;
    bool has = false;
    bool moves = false;
    int vertices = -1;
    int found = -1;
    fault.during([&] { chunk = cache.getSample(1, 1, Tag::POSI, nullptr); });
    EXPECT_TRUE(chunk == nullptr ? fault.wasHit() : chunk->getTag() == Tag::POSI);
    fault.during([&] { data = cache.getObjectData(2, 1, Tag::VELO, &animated); });
    EXPECT_TRUE(data == nullptr ? fault.wasHit() : data->getTag() == Tag::VELO);
    EXPECT_EQ(animated, data != nullptr);
    fault.during([&] { weight = cache.getAttrData(2, 0, 0); });
    EXPECT_TRUE(weight == nullptr ? fault.wasHit() : weight->getTag() == Tag::ATTR);
    fault.during([&] { floats = cache.getSampleDataAtTime<float>(time, 1, Tag::POSI, nullptr); });
    EXPECT_TRUE(floats == nullptr ? fault.wasHit() : floats->size() == 12);
    fault.during([&] { vertices = cache.getNumVertices(0, 1); });
    EXPECT_TRUE(vertices == 4 || (fault.wasHit() && vertices == 0));
    fault.during([&] { has = cache.objectHas(1, Tag::MESH); });
    EXPECT_TRUE(has || fault.wasHit());
    fault.during([&] { moves = cache.isObjectAnimated(1, Tag::MESH); });
    EXPECT_TRUE(moves || fault.wasHit());
    fault.during([&] { found = cache.findObjectIndex(name); });
    EXPECT_TRUE(found == 1 || (fault.wasHit() && found == -1));
    EXPECT_FALSE(fault.threw());
    EXPECT_EQ(cacheText(cache), m_text);
  });
}

TEST_P(LoadAllocationFaultTest, stringsComeWholeOrNotAtAll) {
  failEveryAllocation([&](AllocationFault& fault) {
    const CapturedOutput quiet;
    const VekRoMemCache cache(path().c_str());
    const std::string name = cache.getName(1);
    std::string texts[4];
    fault.during([&] {
      texts[0] = cache.getAttrName(0, 3);
      texts[1] = cache.getAttrType(0, 3);
      texts[2] = VekCache::shortName(name);
      texts[3] = const_cast<VekDOBJChunk*>(cache.getObjDef(1))->getName();
    });
    const char* const expected[4] = {"rmanP__Pref", "kind of rmanP__Pref",
                                     "a long name of object 1", name.c_str()};
    for (int i = 0; i < 4; ++i)
      EXPECT_TRUE(texts[i] == expected[i] || (fault.threw() && texts[i].empty())) << texts[i];
    EXPECT_TRUE(!fault.threw() || fault.wasHit());
  });
}

INSTANTIATE_TEST_SUITE_P(All, LoadAllocationFaultTest,
                         ::testing::Values(Variant{"uniform", {0, 1, 2}, true, 0},
                                           Variant{"uniformClosed", {0, 1, 2}, false, 0},
                                           Variant{"nonUniform", {0, 1, 5}, true, 0},
                                           Variant{"oneSampleHeld", {0, 1, 2}, true, 1},
                                           Variant{"twoSamplesHeld", {0, 1, 5}, false, 2}),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
