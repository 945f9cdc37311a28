// SPDX-License-Identifier: Apache-2.0
//
// Memory that is short during an edit: the edit happens whole or not at all, and can be done again.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "AllocationFaults.h"
#include "ByteImage.h"
#include "FaultScene.h"
#include "VekCache.h"

namespace {

using namespace Vek;
using namespace VekTest;

class OpenRwCache : public VekRwMemCache {
 public:
  using VekRwMemCache::VekRwMemCache;

  using VekRwMemCache::appendable;
  using VekRwMemCache::convertToNonUniformSampling;
  using VekRwMemCache::convertToUniformSampling;
};

/// What an edit tells its caller.
enum class Told { done, failed, nothing };

Told told(bool done) {
  return done ? Told::done : Told::failed;
}

const std::string kLongText = "a text that is too long to be kept without an allocation";

/// Made before memory runs short: what edits take.
VekDATRChunk& otherAttributes() {
  static const std::unique_ptr<VekDOBJChunk> other = [] {
    auto definition = std::make_unique<VekDOBJChunk>("|other");
    addStatic<int>(*definition, "one more static attribute", {1, 2, 3});
    return definition;
  }();
  return *other->getDATR();
}

VekDOBJChunk& firstObject(VekRwMemCache& cache) {
  return *cache.getMETAChunk().dobjs.front();
}

struct Edit {
  const char* name;
  Told (*apply)(OpenRwCache&);
};

Told addSample(OpenRwCache& cache, float time, int obj) {
  return told(cache.allocSample(time, obj) != nullptr);
}

const Edit kEdits[] = {
    {"sampleAfterTheLast", [](OpenRwCache& c) { return addSample(c, 3, 0); }},
    {"sampleThatBreaksTheSpacing", [](OpenRwCache& c) { return addSample(c, 10, 1); }},
    {"sampleOfNewObjects", [](OpenRwCache& c) { return addSample(c, 3, 40); }},
    {"newObjectsInASample", [](OpenRwCache& c) { return addSample(c, 1, 40); }},
    {"sampleInBetween", [](OpenRwCache& c) { return addSample(c, 0.5F, 0); }},
    {"sampleBeforeTheFirst", [](OpenRwCache& c) { return addSample(c, -1, 1); }},
    {"sampleThatIsThere", [](OpenRwCache& c) { return addSample(c, 1, 1); }},
    {"truncate",
     [](OpenRwCache& c) {
       c.truncate(0.5F);
       return Told::nothing;
     }},
    {"deleteCache",
     [](OpenRwCache& c) {
       c.deleteCache();
       return Told::nothing;
     }},
    {"shift",
     [](OpenRwCache& c) {
       c.shiftFirstTimeTo(10);
       return Told::nothing;
     }},
    {"name",
     [](OpenRwCache& c) {
       c.setName(0, kLongText.c_str());
       return Told::nothing;
     }},
    {"nameOfNewObjects",
     [](OpenRwCache& c) {
       c.setName(20, kLongText.c_str());
       return Told::nothing;
     }},
    {"attributeName", [](OpenRwCache& c) { return told(c.setAttrName(0, 0, kLongText)); }},
    {"staticAttributeName", [](OpenRwCache& c) { return told(c.setAttrName(0, 2, kLongText)); }},
    {"attributeType", [](OpenRwCache& c) { return told(c.setAttrType(1, 0, kLongText)); }},
    {"staticAttributeType", [](OpenRwCache& c) { return told(c.setAttrType(1, 3, kLongText)); }},
    {"application",
     [](OpenRwCache& c) {
       c.setApplication(kLongText);
       return Told::nothing;
     }},
    {"sourceFile",
     [](OpenRwCache& c) {
       c.setSourceFile(kLongText);
       return Told::nothing;
     }},
    {"nonUniformSampling",
     [](OpenRwCache& c) {
       c.convertToNonUniformSampling();
       return Told::nothing;
     }},
    {"uniformSampling", [](OpenRwCache& c) { return told(c.convertToUniformSampling()); }},
    {"staticAttribute",
     [](OpenRwCache& c) {
       return told(firstObject(c).addAttr(false, kLongText, kLongText, ValueType::Double) >= 0);
     }},
    {"animatedAttribute",
     [](OpenRwCache& c) {
       return told(firstObject(c).addAttr(true, kLongText, kLongText, ValueType::Float) >= 0);
     }},
    {"animatedAttributeWithoutAnAnswer",
     [](OpenRwCache& c) {
       firstObject(c).getDATR()->addAnimatedAttribute(kLongText, kLongText);
       return Told::nothing;
     }},
    {"removedStaticAttribute",
     [](OpenRwCache& c) { return told(firstObject(c).getDATR()->removeStaticAttrs(2, 2)); }},
    {"removedAnimatedAttribute",
     [](OpenRwCache& c) { return told(firstObject(c).getDATR()->removeAnimatedAttrs(0, 2) == 0); }},
    {"mergedAttributes",
     [](OpenRwCache& c) {
       firstObject(c).getDATR()->mergeStaticAttributes(&otherAttributes());
       return Told::nothing;
     }},
    {"objectDefinition",
     [](OpenRwCache& c) { return told(c.getMETAChunk().addDOBJ(kLongText.c_str()) != nullptr); }},
    {"removedAttributes",
     [](OpenRwCache& c) {
       firstObject(c).removeDATR();
       return Told::nothing;
     }},
    {"addedAttributes",
     [](OpenRwCache& c) { return told(c.getMETAChunk().dobjs.back()->addDATR() != nullptr); }},
};

/// How the cache that is edited came about.
struct Origin {
  const char* name;
  std::vector<float> times;
  bool isSaved;
  bool keepOpen;
  bool isConverted;  ///< to non-uniform sampling
};

const std::vector<Origin> kOrigins = {{"loaded", {0, 1, 2}, true, true, false},
                                      {"loadedAndClosed", {0, 1, 2}, true, false, false},
                                      {"loadedNonUniform", {0, 1, 5}, true, true, false},
                                      {"converted", {0, 1, 2}, true, true, true},
                                      {"built", {0, 1, 2}, false, true, false}};

class EditTest : public FileTest {
 protected:
  void SetUp() override {
    FileTest::SetUp();
    otherAttributes();
  }

  std::unique_ptr<OpenRwCache> make(const Origin& origin) const {
    auto cache = std::make_unique<OpenRwCache>();
    if (!origin.isSaved)
      buildScene(*cache, kKinds, origin.times);
    else if (!cache->load(path(origin.name).c_str(), origin.keepOpen))
      ADD_FAILURE() << "no cache";
    if (origin.isConverted) cache->convertToNonUniformSampling();
    return cache;
  }

  /// What the cache answers, and the file that it makes under another name.
  std::string textOf(OpenRwCache& cache) const {
    std::string text = cacheText(cache) + (cache.isNonUniform() ? " non-uniform" : " uniform");
    text += cache.appendable ? " appendable" : "";
    const std::string copy = path("copy.vek");
    cache.saveAs(copy.c_str());
    return text + withoutDate(readFile(copy));
  }

  inline static const std::vector<ObjectKind> kKinds = {ObjectKind::transform, ObjectKind::points};
};

class EditAllocationFaultTest : public EditTest,
                                public ::testing::WithParamInterface<std::tuple<Origin, Edit>> {};

TEST_P(EditAllocationFaultTest, editIsDoneWholeOrNotAtAll) {
  const Origin& origin = std::get<0>(GetParam());
  const Edit& edit = std::get<1>(GetParam());
  const CapturedOutput quiet;
  writeScene(path(origin.name), kKinds, origin.times);
  const std::string before = textOf(*make(origin));
  const auto changed = make(origin);
  const Told expected = edit.apply(*changed);
  const bool expectedDirty = changed->isDirty();
  const std::string after = textOf(*changed);
  failEveryAllocation([&](AllocationFault& fault) {
    AllocationFault same = fault;
    const auto cache = make(origin);
    Told answer = Told::nothing;
    fault.during([&] { answer = edit.apply(*cache); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(answer == expected || (fault.wasHit() && answer == Told::failed));
    const bool isDirty = cache->isDirty();
    const std::string text = textOf(*cache);
    const bool isDone = answer == Told::nothing ? text == after : answer == expected;
    EXPECT_EQ(text, isDone ? after : before);
    if (isDone) {
      EXPECT_EQ(isDirty, expectedDirty);
      return;
    }
    // Once more, in a cache that did not have to save in between.
    const auto again = make(origin);
    same.during([&] { edit.apply(*again); });
    edit.apply(*again);
    EXPECT_EQ(textOf(*again), after);
  });
}

TEST_P(EditAllocationFaultTest, fileIsSavedInPlaceAsIfNothingHadHappened) {
  const Origin& origin = std::get<0>(GetParam());
  const Edit& edit = std::get<1>(GetParam());
  if (!origin.isSaved) return;  // Nothing is in place.
  const CapturedOutput quiet;
  const std::string file = path(origin.name);
  writeScene(file, kKinds, origin.times);
  const std::string original = readFile(file);
  const auto savedWith = [&](AllocationFault fault, AllocationFault& used) {
    writeFile(original, origin.name);
    const auto cache = make(origin);
    Told answer = Told::nothing;
    fault.during([&] { answer = edit.apply(*cache); });
    used = fault;
    if (answer == Told::failed) edit.apply(*cache);
    EXPECT_TRUE(cache->save());
    return withoutDate(readFile(file));
  };
  AllocationFault ignored;
  const std::string expected = savedWith(AllocationFault(), ignored);
  failEveryAllocation([&](AllocationFault& fault) {
    const std::string saved = savedWith(fault, fault);
    EXPECT_TRUE(saved == expected || (fault.wasHit() && saved == withoutDate(original)));
  });
}

INSTANTIATE_TEST_SUITE_P(All, EditAllocationFaultTest,
                         ::testing::Combine(::testing::ValuesIn(kOrigins),
                                            ::testing::ValuesIn(kEdits)),
                         [](const auto& test) {
                           return std::string(std::get<0>(test.param).name) + "_" +
                                  std::get<1>(test.param).name;
                         });

class FrameAllocationFaultTest : public EditTest,
                                 public ::testing::WithParamInterface<std::tuple<Origin, float>> {};

// A new sample with some of the objects may be left; what was there stays.
TEST_P(FrameAllocationFaultTest, failedFrameLeavesWhatWasThere) {
  const Origin& origin = std::get<0>(GetParam());
  const float time = std::get<1>(GetParam());
  const CapturedOutput quiet;
  writeScene(path(origin.name), kKinds, origin.times);
  const std::string before = cacheText(*make(origin));
  const auto changed = make(origin);
  std::vector<VekGroupChunk*> frame;
  ASSERT_TRUE(changed->allocFrame(time, frame));
  const std::string after = cacheText(*changed);
  failEveryAllocation([&](AllocationFault& fault) {
    const auto cache = make(origin);
    std::vector<VekGroupChunk*> found = {nullptr};
    bool ok = false;
    fault.during([&] { ok = cache->allocFrame(time, found); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(ok || fault.wasHit());
    if (!ok) {
      EXPECT_EQ(found, std::vector<VekGroupChunk*>{nullptr});
      const std::string text = cacheText(*cache);
      EXPECT_TRUE(cache->getNumSamples() == changed->getNumSamples() || text == before);
      EXPECT_TRUE(cache->allocFrame(time, found));
    }
    EXPECT_EQ(found.size(), kKinds.size());
    EXPECT_EQ(cacheText(*cache), after);
    EXPECT_TRUE(cache->saveAs(path("copy.vek").c_str()));
    EXPECT_EQ(fileText(path("copy.vek")), after);
  });
}

INSTANTIATE_TEST_SUITE_P(All, FrameAllocationFaultTest,
                         ::testing::Combine(::testing::ValuesIn(kOrigins),
                                            ::testing::Values(-1.0F, 0.5F, 1.0F, 6.0F)));

}  // namespace
