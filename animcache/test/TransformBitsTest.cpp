// SPDX-License-Identifier: Apache-2.0
//
// Matrices at a time are, bit for bit, what whole products give, and composed from the same
// channels however a cache is read.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "EvaluationBits.h"
#include "TransformScene.h"
#include "VekHelperObj.h"
#include "VekInterpolation.h"
#include "VekMatrix.h"
#include "VekQuaternion.h"
#include "VekTransformChannels.h"
#include "ViewScene.h"

namespace {

using namespace VekTest;
using namespace VekTest::Bits;
using namespace VekTest::Views;
using Vek::VekInterpolationHints;

// --- Matrices ------------------------------------------------------------------------------------

template <typename T>
Vek::VekMatrix<T> matrixOf(const std::vector<T>& values) {
  Vek::VekMatrix<T> m;
  std::copy_n(values.begin(), 16, m.m);
  return m;
}

/// The blend by whole products of a scaling, a rotation and a translation.
template <typename T>
Vek::VekMatrix<T> blendByProducts(const std::vector<Vek::VekMatrix<T>>& m, T t) {
  std::vector<Vek::VekQuaternion<T>> q;
  for (const auto& matrix : m) q.push_back(Vek::quaternionFromMatrix(matrix));
  const auto element = [&](std::size_t k) {
    return m.size() == 2 ? Vek::blendLinear(m[0].m[k], m[1].m[k], t)
                         : Vek::blendQuadratic(m[0].m[k], m[1].m[k], m[2].m[k], t);
  };
  const auto turned =
      m.size() == 2 ? Vek::slerp(q[0], q[1], t) : Vek::blendRotations(q[0], q[1], q[2], t);
  return Vek::scaling(element(0), element(5), element(10)) * Vek::toMatrix(turned) *
         Vek::translation(element(12), element(13), element(14));
}

class MatrixBitsTest : public ViewTest {
 protected:
  template <typename T>
  void expectBlends(const std::vector<std::vector<T>>& stored) {
    Scene scene;
    scene.definitions = {definition("x", intLeaf("XFRM", {1}))};
    for (const auto& values : stored)
      scene.samples.push_back({numberLeaf("MTRX", Vek::VekTypeOf<T>::value, values, 16)});
    Vek::VekHelperObjFactory factory(open(scene));
    const Owned<Vek::TransformVekObj> view(
        dynamic_cast<Vek::TransformVekObj*>(factory.vekObjBuilder(0)));
    ASSERT_NE(view, nullptr);
    for (const float time : kTimes) {
      for (int degree = 1; degree <= 2; ++degree) {
        SCOPED_TRACE(std::to_string(time) + " degree " + std::to_string(degree));
        const BlendRun run(time, degree);
        std::vector<Vek::VekMatrix<T>> m;
        for (int k = 0; k <= degree; ++k) m.push_back(matrixOf(stored[run.at(k)]));
        const Vek::VekMatrix<T> expected = blendByProducts(m, static_cast<T>(run.t));
        VekInterpolationHints hints;
        hints.interpolation = degree;
        std::vector<T> matrix;
        Vek::VekHelperObj::AnimationState state = Vek::VekHelperObj::Static;
        ASSERT_TRUE(view->getTransformAtTime(time, hints, matrix, state));
        expectSameBits(matrix, std::vector<T>(expected.m, expected.m + 16));
      }
    }
  }

  /// A turned and placed matrix, an element of which may be special.
  template <typename T>
  std::vector<T> rigid(std::mt19937& random, Values<T>& special) {
    std::uniform_real_distribution<T> any(-1, 1);
    const auto turned =
        Vek::toMatrix(Vek::normalised<T>({any(random), any(random), any(random), any(random)}));
    const auto m = turned * Vek::translation<T>(any(random), T(0), -any(random));
    std::vector<T> values(m.m, m.m + 16);
    if (random() % 4 == 0) values[random() % 16] = special.next();
    if (random() % 8 == 0) values = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    return values;
  }

  template <typename T>
  void expectRandomBlends() {
    std::mt19937 random(3);
    Values<T> special(4);
    for (int round = 0; round < 60; ++round) {
      std::vector<std::vector<T>> stored;
      for (int s = 0; s < kSamples; ++s)
        stored.push_back(round % 6 == 0 ? special.next(16) : rigid(random, special));
      expectBlends(stored);
    }
  }
};

TEST_F(MatrixBitsTest, blendedMatricesEqualWholeProductsInSinglePrecision) {
  expectRandomBlends<float>();
}

TEST_F(MatrixBitsTest, blendedMatricesEqualWholeProductsInDoublePrecision) {
  expectRandomBlends<double>();
}

template <typename T>
void expectPlacedRotations() {
  std::mt19937 random(9);
  Values<T> values(10);
  const auto any = [&] {
    const T plain[] = {T(0), T(-0.0), T(1), T(-1)};
    return random() % 3 == 0 ? plain[random() % 4] : values.next();
  };
  for (int round = 0; round < 20000; ++round) {
    Vek::VekMatrix<T> turned;
    for (const std::size_t k : {0U, 1U, 2U, 4U, 5U, 6U, 8U, 9U, 10U}) {
      if (random() % 4 != 0) turned.m[k] = any();
    }
    T s[3] = {any(), any(), any()};
    if (round % 10 == 0) std::fill_n(s, 3, T(1));  // The scaling is the identity,
    if (round % 10 == 1) turned = {};              // or the rotation,
    if (round % 10 == 2) {                         // or the product of the two.
      turned = Vek::scaling(T(0.5), T(0.5), T(0.5));
      std::fill_n(s, 3, T(2));
    }
    const T t[3] = {any(), any(), any()};
    const auto placed = Vek::placedRotation(s[0], s[1], s[2], turned, t[0], t[1], t[2]);
    const auto expected =
        Vek::scaling(s[0], s[1], s[2]) * turned * Vek::translation(t[0], t[1], t[2]);
    expectSameBits(std::vector<T>(placed.m, placed.m + 16),
                   std::vector<T>(expected.m, expected.m + 16));
  }
}

TEST(PlacedRotationTest, equalsTheTwoProducts) {
  expectPlacedRotations<float>();
  expectPlacedRotations<double>();
}

// --- Channels ------------------------------------------------------------------------------------

/// A cache that counts how often it is asked for an attribute's values.
class CountingCache : public Vek::VekRoMemCache {
 public:
  using VekRoMemCache::VekRoMemCache;
  Vek::VekChunk* getAttrData(int sample, int obj, int attr) override {
    ++count;
    return VekRoMemCache::getAttrData(sample, obj, attr);
  }
  int count = 0;
};

class ChannelBitsTest : public FileTest {
 protected:
  /// A transform with all channels, the last few of them static, and some that are not whole.
  std::string sceneFile(unsigned seed) {
    std::mt19937 random(seed);
    Values<double> values(seed, seed % 3 == 0);
    Transforms::Xform x(kSamples);
    for (int s = 0; s < kSamples; ++s)
      x.put(static_cast<std::size_t>(s), Transforms::mtrx(Transforms::stored(s)));
    for (std::size_t c = 0; c < Vek::Channel::Count; ++c) {
      const std::string name(Vek::transformChannels[c].name);
      const auto value = [&] {
        return c >= Vek::Channel::RotateOrder ? static_cast<double>(random() % 8) : values.next();
      };
      if (random() % 8 == 0) {
        x.fixed(name, value());
        continue;
      }
      std::vector<ByteImage> leaves;
      for (int s = 0; s < kSamples; ++s) leaves.push_back(leafOf(random, value()));
      x.animated(name, leaves);
      if (random() % 4 == 0) x.animated("other" + name, leaves);
    }
    return writeFile(imageOf(x.scene()), "scene" + std::to_string(seed) + ".vek");
  }

  static ByteImage leafOf(std::mt19937& random, double value) {
    switch (random() % 20) {
      case 0:
        return doubleLeaf("ATTR", {});
      case 1:
        return intLeaf("ATTR", {5});
      case 2:
        return floatLeaf("ATTR", {static_cast<float>(random() % 100)});
      default:
        return doubleLeaf("ATTR", {value, 99.0});
    }
  }

  template <typename T>
  static std::vector<T> evaluate(Vek::VekRoMemCache& cache, float time, int degree) {
    Vek::VekHelperObjFactory factory(&cache);
    const Owned<Vek::TransformVekObj> view(
        dynamic_cast<Vek::TransformVekObj*>(factory.vekObjBuilder(0)));
    VekInterpolationHints hints;
    hints.interpolation = degree;
    std::vector<T> matrix;
    Vek::VekHelperObj::AnimationState state = Vek::VekHelperObj::Static;
    EXPECT_TRUE(view->getTransformAtTime(time, hints, matrix, state));
    return matrix;
  }
};

// With a limit of one sample the channels are read in another way.
TEST_F(ChannelBitsTest, channelsAreTheSameWithAndWithoutALimitOnSamples) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    const std::string file = sceneFile(seed);
    Vek::VekRoMemCache all(file.c_str());
    Vek::VekRwMemCache edited(file.c_str());
    for (int limit = 1; limit <= 3; ++limit) {
      Vek::VekRoMemCache limited(file.c_str(), true, limit);
      for (const float time : kTimes) {
        for (int degree = 1; degree <= 3; ++degree) {
          SCOPED_TRACE(std::to_string(time) + " degree " + std::to_string(degree));
          const auto expected = evaluate<double>(limited, time, degree);
          expectSameBits(evaluate<double>(all, time, degree), expected);
          expectSameBits(evaluate<double>(edited, time, degree), expected);
          expectSameBits(evaluate<float>(all, time, degree),
                         evaluate<float>(limited, time, degree));
        }
      }
    }
  }
}

TEST_F(ChannelBitsTest, derivedCacheIsAskedForEachChannel) {
  const std::string file = sceneFile(1);
  CountingCache counting(file.c_str());
  Vek::VekRoMemCache plain(file.c_str());
  expectSameBits(evaluate<double>(counting, 1.3F, 1), evaluate<double>(plain, 1.3F, 1));
  EXPECT_GT(counting.count, 30);
}

// Channels are found anew at each call: attributes may be renamed and added in between.
TEST_F(ChannelBitsTest, renamedAttributesAreFoundAtTheNextCall) {
  Transforms::Xform x(kSamples);
  x.animated("translateX", {1, 2, 3, 4, 5, 6}).animated("translateY", {0, 0, 0, 0, 0, 0});
  x.putAll(std::vector<Transforms::Mat>(kSamples, Transforms::kIdentity));
  Vek::VekRwMemCache cache(writeFile(imageOf(x.scene())).c_str());
  EXPECT_EQ(evaluate<double>(cache, 1.5F, 1)[12], 2.5);
  ASSERT_TRUE(cache.setAttrName(0, 0, "translateZ"));
  EXPECT_EQ(evaluate<double>(cache, 1.5F, 1)[12], 0.0);
  EXPECT_EQ(evaluate<double>(cache, 1.5F, 1)[14], 2.5);
  ASSERT_TRUE(cache.setAttrName(0, 1, "scaleX"));
  EXPECT_EQ(evaluate<double>(cache, 1.5F, 1)[0], 0.0);
}

}  // namespace
