// SPDX-License-Identifier: Apache-2.0
//
// Input that fails at any call: a failure result, a cache that stays usable, and the right values
// when it is done again. Reads that a signal interrupts are gone on with.

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "FaultScene.h"
#include "IoFaults.h"
#include "VekCache.h"
#include "VekHelperObj.h"
#include "vekUtils.h"

namespace {

using namespace Vek;
using namespace VekTest;

const std::vector<ObjectKind> kKinds = {ObjectKind::channels, ObjectKind::mesh};

class IoFaultReadTest : public FileTest {
 protected:
  void SetUp() override {
    FileTest::SetUp();
    writeScene(path(), kKinds, {0, 1, 5});
    m_text = fileText(path());
  }

  std::string m_text;
};

// The samples are too large to come along with the head.
class IoFaultLoadTest : public IoFaultReadTest, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    FileTest::SetUp();
    VekRwMemCache cache;
    buildScene(cache, kKinds, {0, 1, 5});
    for (const float time : {0.0F, 1.0F, 5.0F}) {
      for (int obj = 0; obj < 2; ++obj)
        cache.allocSample(time, obj)->addChild(
            new VekLeafChunk<char>(makeTag('R', 'A', 'W', ' '), std::vector<char>(70000, 'x')));
    }
    ASSERT_TRUE(cache.saveAs(path().c_str()));
    m_text = fileText(path());
  }

  template <typename Cache>
  void loadWithFaults() {
    const CapturedOutput quiet;
    const std::size_t calls = failEveryCall([&](IoFault& fault) {
      Cache cache;
      bool loaded = false;
      fault.during([&] { loaded = cache.load(path().c_str(), GetParam()); });
      EXPECT_TRUE(loaded || (fault.wasHit() && !fault.canGoOn()));
      if (!loaded) {
        EXPECT_EQ(cache.getNumObjects(), 0);
        EXPECT_EQ(cache.getNumSamples(), 0);
        EXPECT_EQ(cache.getFilename(), "");
        EXPECT_TRUE(cache.load(path().c_str(), GetParam()));
      }
      EXPECT_EQ(headText(cache), m_text.substr(0, headText(cache).size()));
      if (auto* held = dynamic_cast<VekRoMemCache*>(static_cast<VekCache*>(&cache))) {
        EXPECT_EQ(cacheText(*held), m_text);
      }
    });
    EXPECT_GE(calls, 2U);
  }
};

TEST_P(IoFaultLoadTest, failedLoadLeavesALazyCacheEmpty) {
  loadWithFaults<VekCache>();
}

TEST_P(IoFaultLoadTest, failedLoadLeavesAReadOnlyCacheEmpty) {
  loadWithFaults<VekRoMemCache>();
}

TEST_P(IoFaultLoadTest, failedLoadLeavesAReadWriteCacheEmpty) {
  loadWithFaults<VekRwMemCache>();
}

TEST_P(IoFaultLoadTest, samplesAreFetchedRightOrNullAndFetchedLater) {
  const CapturedOutput quiet;
  const std::size_t calls = failEveryCall([&](IoFault& fault) {
    VekRoMemCache cache(path().c_str(), GetParam());
    bool missing = false;
    fault.during([&] {
      for (int sample = 0; sample < cache.getNumSamples(); ++sample) {
        for (int obj = 0; obj < cache.getNumObjects(); ++obj)
          missing = cache.getSample(sample, obj) == nullptr || missing;
      }
    });
    EXPECT_TRUE(!missing || (fault.wasHit() && !fault.canGoOn()));
    EXPECT_EQ(cacheText(cache), m_text);
  });
  EXPECT_GE(calls, 2U);
}

TEST_P(IoFaultLoadTest, matrixAtATimeIsRightOrAFailure) {
  const CapturedOutput quiet;
  std::vector<float> expected;
  const auto ask = [&](VekRoMemCache& cache, std::vector<float>& matrix) {
    VekInterpolationHints hints;
    hints.interpolation = 2;
    VekHelperObj::AnimationState state = VekHelperObj::Static;
    VekHelperObj* const view = VekHelperObjFactory(&cache).vekObjBuilder(0);
    const bool ok =
        dynamic_cast<TransformVekObj&>(*view).getTransformAtTime(0.5F, hints, matrix, state);
    view->destroy();
    return ok;
  };
  VekRoMemCache reference(path().c_str());
  ASSERT_TRUE(ask(reference, expected));
  const std::size_t calls = failEveryCall([&](IoFault& fault) {
    VekRoMemCache cache(path().c_str(), GetParam(), 1);
    std::vector<float> matrix;
    bool ok = false;
    fault.during([&] { ok = ask(cache, matrix); });
    EXPECT_TRUE(ok || (fault.wasHit() && !fault.canGoOn()));
    if (!ok) {
      EXPECT_TRUE(ask(cache, matrix));
    }
    EXPECT_EQ(matrix, expected);
  });
  EXPECT_GE(calls, 2U);
}

INSTANTIATE_TEST_SUITE_P(All, IoFaultLoadTest, ::testing::Bool(), [](const auto& test) {
  return test.param ? std::string("open") : std::string("closed");
});

TEST_F(IoFaultReadTest, chunksAreWalkedRightOrNotToTheEnd) {
  const auto walk = [&](std::string& tags) {
    VekFile f;
    if (!f.open(path().c_str(), "r")) return false;
    VekHeader h;
    while (f.readHeader(h)) {
      tags += h.tagStr();
      if (h.type != ValueType::Group && !f.skipData(h)) return false;
    }
    const __int64 end = f.tell();
    return f.seek(0, 2, true) && end == f.tell() && f.close();
  };
  std::string expected;
  ASSERT_TRUE(walk(expected));
  failEveryCall([&](IoFault& fault) {
    std::string tags;
    bool ok = false;
    fault.during([&] { ok = walk(tags); });
    EXPECT_TRUE(ok || (fault.wasHit() && !fault.canGoOn()));
    EXPECT_EQ(tags, ok ? expected : expected.substr(0, tags.size()));
  });
}

TEST_F(IoFaultReadTest, treeIsReadRightOrNot) {
  const auto read = [&](VekGroupChunk& stream) {
    VekFile f;
    VekHeader h;
    if (!f.open(path().c_str(), "r")) return false;
    while (f.readHeader(h)) {
      if (h.tag == Tag::SAMS) return stream.read(h, f) && f.close();
      if (!f.seek(h.length, 1, true)) return false;
    }
    return false;
  };
  const auto textOf = [](const VekChunk& chunk) {
    std::ostringstream os;
    chunk.print(os, 0);
    return os.str();
  };
  VekGroupChunk expected(Tag::SAMS);
  ASSERT_TRUE(read(expected));
  failEveryCall([&](IoFault& fault) {
    VekGroupChunk stream(Tag::SAMS);
    bool ok = false;
    fault.during([&] { ok = read(stream); });
    EXPECT_TRUE(ok || (fault.wasHit() && !fault.canGoOn()));
    if (!ok) {
      stream.reset();
      EXPECT_TRUE(read(stream));
    }
    EXPECT_EQ(textOf(stream), textOf(expected));
  });
}

TEST_F(IoFaultReadTest, dumpIsWholeOrFails) {
  std::string expected;
  {
    const CapturedOutput output;
    ASSERT_EQ(vek2txt(path().c_str()), 0);
    expected = output.text();
  }
  failEveryCall([&](IoFault& fault) {
    const CapturedOutput output;
    int result = 1;
    fault.during([&] { result = vek2txt(path().c_str()); });
    const std::string text = output.text();
    EXPECT_TRUE(result == 0 || (result == -1 && fault.wasHit() && !fault.canGoOn()));
    EXPECT_EQ(text, result == 0 ? expected : expected.substr(0, text.size()));
  });
}

}  // namespace
