// SPDX-License-Identifier: Apache-2.0
//
// Positions and attributes at a time are, bit for bit, what their formulas give element by element:
// for every length that a vectorised loop treats in its own way, and for infinities, denormals,
// zeros of both signs and NaN.

#include "EvaluationBits.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "VekHelperObj.h"
#include "ViewScene.h"

namespace {

using namespace VekTest;
using namespace VekTest::Bits;
using namespace VekTest::Views;
using Vek::VekInterpolationHints;

constexpr std::size_t kMostValues = 40;

class EvaluationBitsTest : public ViewTest {
 protected:
  /// A mesh whose positions and whose attribute "a" have one vector in each sample.
  void use(const std::vector<std::vector<float>>& points,
           const std::vector<std::vector<double>>& attrs) {
    m_view.reset();
    Scene scene;
    scene.definitions = {definition("m", join({group("MESH", {}), attributes({"a"})}))};
    for (std::size_t s = 0; s < points.size(); ++s)
      scene.samples.push_back(
          {join({floatLeaf("POSI", points[s], 3), attrValues({doubleLeaf("ATTR", attrs[s], 1)})})});
    Vek::VekHelperObjFactory factory(open(scene));
    m_view.reset(dynamic_cast<Vek::MeshVekObj*>(factory.vekObjBuilder(0)));
    ASSERT_NE(m_view, nullptr);
  }
  Vek::MeshVekObj& mesh() { return *m_view; }

  template <typename T>
  void evaluatePositions(float time, int degree, std::vector<T>& values) {
    VekInterpolationHints hints;
    hints.interpolation = degree;
    Vek::VekHelperObj::AnimationState state = Vek::VekHelperObj::Static;
    int dimension = 0;
    EXPECT_TRUE(mesh().getPositionAtTime(time, hints, values, state, dimension));
  }

 private:
  Owned<Vek::MeshVekObj> m_view;
};

float positionOf(const std::vector<float>& p, float t) {
  if (p.size() == 2) return t * p[1] + (1.0F - t) * p[0];
  if (p.size() == 3)
    return (p[0] - 2.0F * p[1] + p[2]) * 0.5F * t * t + (p[2] - p[0]) * 0.5F * t + p[1];
  const float w0 = ((1.0F - 0.5F * t) * t - 0.5F) * t;
  const float w1 = (1.5F * t - 2.5F) * (t * t) + 1.0F;
  const float w2 = ((2.0F - 1.5F * t) * t + 0.5F) * t;
  const float w3 = (0.5F * t - 0.5F) * (t * t);
  return w0 * p[0] + w1 * p[1] + w2 * p[2] + w3 * p[3];
}

double attrOf(const std::vector<double>& p, double t) {
  if (p.size() == 2) return (1.0 - t) * p[0] + t * p[1];
  if (p.size() == 3)
    return p[1] + 0.5 * (p[2] - p[0]) * t + 0.5 * (p[0] - 2.0 * p[1] + p[2]) * (t * t);
  const double w0 = ((1.0 - 0.5 * t) * t - 0.5) * t;
  const double w1 = (1.5 * t - 2.5) * t * t + 1.0;
  const double w2 = ((2.0 - 1.5 * t) * t + 0.5) * t;
  const double w3 = (0.5 * t - 0.5) * t * t;
  return w0 * p[0] + w1 * p[1] + w2 * p[2] + w3 * p[3];
}

/// Element i of the samples of a run.
template <typename T>
std::vector<T> column(const std::vector<std::vector<T>>& samples, const BlendRun& run, int degree,
                      std::size_t i) {
  std::vector<T> values;
  for (int k = 0; k <= degree; ++k) values.push_back(samples[run.at(k)][i]);
  return values;
}

TEST_F(EvaluationBitsTest, positionsAndAttributesOfEveryLengthEqualTheirFormulas) {
  for (std::size_t count = 0; count <= kMostValues; ++count) {
    SCOPED_TRACE(count);
    Values<float> randomFloats(static_cast<unsigned>(count));
    Values<double> randomDoubles(static_cast<unsigned>(count));
    std::vector<std::vector<float>> points;
    std::vector<std::vector<double>> attrs;
    for (int s = 0; s < kSamples; ++s) {
      points.push_back(randomFloats.next(count));
      attrs.push_back(randomDoubles.next(count));
    }
    use(points, attrs);
    for (const float time : kTimes) {
      for (int degree = 1; degree <= 3; ++degree) {
        SCOPED_TRACE(std::to_string(time) + " degree " + std::to_string(degree));
        const BlendRun run(time, degree);
        std::vector<float> expected;
        std::vector<double> expectedAttrs;
        for (std::size_t i = 0; i < count; ++i) {
          expected.push_back(positionOf(column(points, run, degree, i), run.t));
          expectedAttrs.push_back(
              attrOf(column(attrs, run, degree, i), static_cast<double>(run.t)));
        }
        std::vector<float> floats;
        evaluatePositions(time, degree, floats);
        expectSameBits(floats, expected);
        // Vectors that were used for something longer and something shorter.
        std::vector<double> doubles(count + 9, 5.0);
        evaluatePositions(time, degree, doubles);
        expectSameBits(doubles, std::vector<double>(expected.begin(), expected.end()));
        std::vector<double> values(count / 2, 5.0);
        VekInterpolationHints hints;
        hints.interpolation = degree;
        int dimension = 0;
        EXPECT_TRUE(mesh().getAttrAtTime(time, 0, hints, values, dimension));
        expectSameBits(values, expectedAttrs);
      }
    }
  }
}

TEST_F(EvaluationBitsTest, copiesOfEveryLengthEqualTheStoredValuesConverted) {
  for (std::size_t count = 0; count <= kMostValues; ++count) {
    Values<float> random(static_cast<unsigned>(count));
    const std::vector<float> stored = random.next(count);
    use({stored, stored}, {{1.0}, {1.0}});
    for (const std::size_t before : {std::size_t(0), count, count + 3}) {
      std::vector<double> doubles(before, 7.0);
      std::vector<float> floats(before, 7.0F);
      Vek::VekHelperObj::AnimationState state = Vek::VekHelperObj::Static;
      int dimension = 0;
      EXPECT_TRUE(mesh().getPosition(0, doubles, state, dimension));
      expectSameBits(doubles, std::vector<double>(stored.begin(), stored.end()));
      EXPECT_TRUE(mesh().getPosition(0, floats, state, dimension));
      expectSameBits(floats, stored);
    }
  }
}

TEST_F(EvaluationBitsTest, evaluationsReuseTheMemoryOfTheCaller) {
  Values<float> random(1);
  std::vector<std::vector<float>> points;
  for (int s = 0; s < kSamples; ++s) points.push_back(random.next(kMostValues));
  use(points, std::vector<std::vector<double>>(kSamples, {1.0, 2.0}));
  std::vector<float> values;
  evaluatePositions(1.3F, 1, values);
  const float* const memory = values.data();
  for (const float time : {1.0F, 1.3F, 2.5F, 9.0F}) {
    for (int degree = 0; degree <= 3; ++degree) {
      evaluatePositions(time, degree, values);
      EXPECT_EQ(values.data(), memory);
    }
  }
}

}  // namespace
