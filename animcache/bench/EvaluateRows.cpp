// SPDX-License-Identifier: Apache-2.0
//
// Evaluation at times between samples that are in memory: positions, and transforms composed from
// channels. The plain programs compute the same on contiguous memory.

#include <algorithm>

#include "BenchViews.h"
#include "SceneFile.h"
#include "VekInterpolation.h"
#include "VekTransformChannels.h"

using namespace Vek;

namespace bench {

namespace {

// --- Positions -----------------------------------------------------------------------------------

class PositionWork final : public Work {
 public:
  PositionWork(const std::string& path, const SceneSize& size, int degree)
      : m_hints(makeHints(degree)), m_times(chooseTimes(numEvaluations, 2, numHeld - 4)) {
    ensureFile(path, size);
    m_views = std::make_unique<Views>(path);
    auto& mesh = m_views->at<GeometryVekObj>(0);
    for (int sample = 0; sample < numHeld; ++sample) {
      const std::vector<float>* data = nullptr;
      VekHelperObj::AnimationState state = VekHelperObj::Static;
      int dimension = 0;
      require(mesh.getPositionData(sample, data, state, dimension), "no positions");
      m_samples.push_back(*data);
    }
  }

  void library() override {
    auto& mesh = m_views->at<GeometryVekObj>(0);
    VekHelperObj::AnimationState state = VekHelperObj::Static;
    int dimension = 0;
    for (const float time : m_times) {
      require(mesh.getPositionAtTime(time, m_hints, m_values, state, dimension),
              "cannot evaluate positions");
    }
  }
  void baseline() override {
    for (const float time : m_times) evaluate(time);
  }
  void compare() override { require(m_values == m_plainValues, "positions differ"); }
  double numUnits() const override { return numEvaluations; }

 private:
  void evaluate(float time) {
    const auto first = static_cast<std::size_t>(sampleBefore(time));
    const std::size_t count = m_samples[first].size();
    m_plainValues.resize(count);
    float* const out = m_plainValues.data();
    const float* const p0 = m_samples[first].data();
    const float* const p1 = m_samples[first + 1].data();
    const float* const p2 = m_samples[first + 2].data();
    const float* const p3 = m_samples[first + 3].data();
    const int from = sampleBefore(time) + (m_hints.interpolation > 1 ? 1 : 0);
    const float t = samplePosition(time, timeOf(from), timeOf(from + 1));
    if (m_hints.interpolation == 1) {
      for (std::size_t i = 0; i < count; ++i) out[i] = blendPositionLinear(p0[i], p1[i], t);
    } else if (m_hints.interpolation == 2) {
      for (std::size_t i = 0; i < count; ++i)
        out[i] = blendPositionQuadratic(p0[i], p1[i], p2[i], t);
    } else {
      const VekCubicWeights<float> w = positionCubicWeights(t);
      for (std::size_t i = 0; i < count; ++i) out[i] = blendCubic(p0[i], p1[i], p2[i], p3[i], w);
    }
  }

  static constexpr int numEvaluations = 40;
  static constexpr int numHeld = 12;
  VekInterpolationHints m_hints;
  std::vector<float> m_times;
  std::unique_ptr<Views> m_views;
  std::vector<std::vector<float>> m_samples;
  std::vector<float> m_values;
  std::vector<float> m_plainValues;
};

// --- Channels ------------------------------------------------------------------------------------

/// A transform of 30 animated channels, against blending contiguous channels and composing them.
template <typename T>
class ChannelWork final : public Work {
 public:
  explicit ChannelWork(const std::string& path)
      : m_times(chooseTimes(numEvaluations, 0, numSamples - 1)) {
    SceneSize size;
    size.numSamples = numSamples;
    size.numChannelTransforms = 1;
    ensureFile(path, size);
    m_views = std::make_unique<Views>(path);
    auto& view = m_views->at<TransformVekObj>(0);
    for (int sample = 0; sample < numSamples; ++sample) {
      for (std::size_t c = 0; c < Channel::Count; ++c) {
        const std::vector<double>* data = nullptr;
        int dimension = 0;
        require(view.getAttrData(sample, static_cast<int>(c), data, dimension), "no channel");
        m_channels[sample][c] = static_cast<T>(data->front());
      }
    }
  }

  void library() override {
    auto& view = m_views->at<TransformVekObj>(0);
    VekHelperObj::AnimationState state = VekHelperObj::Static;
    for (const float time : m_times) {
      require(view.getTransformAtTime(time, m_hints, m_matrix, state),
              "cannot evaluate a transform");
    }
  }
  void baseline() override {
    for (const float time : m_times) {
      const int sample = sampleBefore(time);
      const T t = samplePosition(time, timeOf(sample), timeOf(sample + 1));
      VekTransformChannels<T> channels;
      for (std::size_t c = 0; c < Channel::Count; ++c)
        channels.set(c, blendChannelLinear(m_channels[sample][c], m_channels[sample + 1][c], t));
      const VekMatrix<T> m = channels.compose();
      std::copy_n(m.m, 16, m_plainMatrix);
      asm volatile("" : : "r"(m_plainMatrix) : "memory");
    }
  }
  void compare() override {
    require(std::equal(m_matrix.begin(), m_matrix.end(), m_plainMatrix), "matrices differ");
  }
  double numUnits() const override { return numEvaluations; }

 private:
  static constexpr int numEvaluations = 20000;
  static constexpr int numSamples = 20;
  std::vector<float> m_times;
  std::unique_ptr<Views> m_views;
  T m_channels[numSamples][Channel::Count] = {};
  VekInterpolationHints m_hints = makeHints(1);
  std::vector<T> m_matrix;
  T m_plainMatrix[16] = {};
};

Row positionRow(const std::string& name, double target, int degree, const std::string& file,
                const SceneSize& size) {
  return ratioRow(name, target, [=](const std::string& folder) {
    return std::make_unique<PositionWork>(folder + "/" + file, size, degree);
  });
}

}  // namespace

void addEvaluateRows(std::vector<Row>& rows) {
  rows.push_back(positionRow("positions/linear", 1.1, 1, "W1.vek", sizeW1()));
  rows.push_back(positionRow("positions/quadratic", 1.1, 2, "W1.vek", sizeW1()));
  rows.push_back(positionRow("positions/cubic", 1.1, 3, "W1.vek", sizeW1()));
  rows.push_back(ratioRow("channels/double", 3, [](const std::string& folder) {
    return std::make_unique<ChannelWork<double>>(folder + "/channels.vek");
  }));
  rows.push_back(ratioRow("channels/float", 3, [](const std::string& folder) {
    return std::make_unique<ChannelWork<float>>(folder + "/channels.vek");
  }));
  rows.push_back(
      figureRow("channels/allocations", "lib_allocs_per_unit", 0, [](const std::string& folder) {
        return std::make_unique<ChannelWork<double>>(folder + "/channels.vek");
      }));
  for (const int n : {1000, 10000, 100000, 1000000}) {
    SceneSize size;
    size.numSamples = 12;
    size.numMeshes = 1;
    size.numPoints = n;
    size.hasTopology = false;
    const std::string id = std::to_string(n);
    rows.push_back(
        positionRow("grow/positions/points/" + id, 0, 1, "grow.points." + id + ".vek", size));
  }
}

}  // namespace bench
