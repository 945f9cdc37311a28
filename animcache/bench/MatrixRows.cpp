// SPDX-License-Identifier: Apache-2.0
//
// Matrices at times between samples, blended from the stored ones: all of a file from its opening
// on, and once in memory.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "BenchViews.h"
#include "SceneFile.h"
#include "VekInterpolation.h"
#include "VekMatrix.h"
#include "VekQuaternion.h"

using namespace Vek;

namespace bench {

namespace {

// --- Matrices ------------------------------------------------------------------------------------

constexpr int numMatrixTimes = 20;

/// A file of transforms as a plain program finds it in mapped memory.
class MappedTransforms {
 public:
  explicit MappedTransforms(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    require(file >= 0 && fstat(file, &status) == 0, "cannot open a file");
    m_size = static_cast<std::size_t>(status.st_size);
    void* const p = mmap(nullptr, m_size, PROT_READ, MAP_PRIVATE, file, 0);
    close(file);
    require(p != MAP_FAILED, "cannot map a file");
    m_bytes = static_cast<const char*>(p);
    // The file header, the head, the header of the stream, and the table of samples.
    const std::size_t meta = 24;
    m_sampleTable = meta + 16 + static_cast<std::size_t>(read<__int64>(meta + 8)) + 16 + 16;
  }
  MappedTransforms(const MappedTransforms&) = delete;
  MappedTransforms& operator=(const MappedTransforms&) = delete;
  ~MappedTransforms() { munmap(const_cast<char*>(m_bytes), m_size); }

  std::size_t sampleAt(int sample) const {
    return static_cast<std::size_t>(
        read<__int64>(m_sampleTable + 8 * static_cast<std::size_t>(sample)));
  }
  /// The 16 values, not aligned.
  const char* matrixAt(std::size_t sampleAt, std::size_t object) const {
    const auto sobj = static_cast<std::size_t>(read<__int64>(sampleAt + 32 + 8 * object));
    return m_bytes + sobj + 32;
  }

 private:
  template <typename T>
  T read(std::size_t offset) const {
    T value;
    std::memcpy(&value, m_bytes + offset, sizeof value);
    return value;
  }

  const char* m_bytes = nullptr;
  std::size_t m_size = 0;
  std::size_t m_sampleTable = 0;
};

void evaluateAll(Views& views, const std::vector<float>& times, VekInterpolationHints& hints,
                 std::vector<double>& matrix, double& sum) {
  VekHelperObj::AnimationState state = VekHelperObj::Static;
  for (const float time : times) {
    for (std::size_t i = 0; i < views.size(); ++i) {
      require(views.at<TransformVekObj>(i).getTransformAtTime(time, hints, matrix, state),
              "cannot evaluate a transform");
      sum += matrix[12];
    }
  }
}

/// From opening the file on, against blending the 16 numbers of each matrix from mapped memory.
class ColdMatrixWork final : public Work {
 public:
  ColdMatrixWork(std::string path, const SceneSize& size, int maxSamples)
      : m_path(std::move(path)),
        m_numObjects(static_cast<std::size_t>(size.numTransforms)),
        m_maxSamples(maxSamples),
        m_times(chooseTimes(numMatrixTimes, 0, size.numSamples - 1)) {
    ensureFile(m_path, size);
  }

  void library() override {
    m_sum = 0;
    Views views(m_path, m_maxSamples);
    evaluateAll(views, m_times, m_hints, m_matrix, m_sum);
  }
  void baseline() override {
    m_plainSum = 0;
    const MappedTransforms file(m_path);
    double matrix[16];
    for (const float time : m_times) {
      const int sample = sampleBefore(time);
      const double t = samplePosition(time, timeOf(sample), timeOf(sample + 1));
      const std::size_t first = file.sampleAt(sample);
      const std::size_t second = file.sampleAt(sample + 1);
      for (std::size_t i = 0; i < m_numObjects; ++i) {
        double a[16];
        double b[16];
        std::memcpy(a, file.matrixAt(first, i), sizeof a);
        std::memcpy(b, file.matrixAt(second, i), sizeof b);
        for (std::size_t k = 0; k < 16; ++k) matrix[k] = (1 - t) * a[k] + t * b[k];
        keep(matrix);
        m_plainSum += matrix[12];
      }
    }
  }
  void compare() override {
    // The translation is blended in the same way.
    require(m_sum == m_plainSum, "translations differ");
  }
  double numUnits() const override { return static_cast<double>(m_numObjects) * numMatrixTimes; }

 private:
  // Makes the compiler store all of it.
  static void keep(double* matrix) { asm volatile("" : : "r"(matrix) : "memory"); }

  std::string m_path;
  std::size_t m_numObjects;
  int m_maxSamples;
  std::vector<float> m_times;
  VekInterpolationHints m_hints = makeHints(1);
  std::vector<double> m_matrix;
  double m_sum = 0;
  double m_plainSum = 0;
};

VekMatrix<double> blendMatrices(const VekMatrix<double>& a, const VekMatrix<double>& b, double t) {
  const auto element = [&](std::size_t k) { return blendLinear(a.m[k], b.m[k], t); };
  const VekQuaternion<double> q = slerp(quaternionFromMatrix(a), quaternionFromMatrix(b), t);
  return scaling(element(0), element(5), element(10)) * toMatrix(q) *
         translation(element(12), element(13), element(14));
}

/// With all samples held, against the same arithmetic on contiguous matrices.
class WarmMatrixWork final : public Work {
 public:
  WarmMatrixWork(const std::string& path, const SceneSize& size)
      : m_times(chooseTimes(numMatrixTimes, 0, size.numSamples - 1)) {
    ensureFile(path, size);
    m_views = std::make_unique<Views>(path);
    VekHelperObj::AnimationState state = VekHelperObj::Static;
    for (int sample = 0; sample < size.numSamples; ++sample) {
      m_samples.emplace_back(m_views->size());
      for (std::size_t i = 0; i < m_views->size(); ++i) {
        require(m_views->at<TransformVekObj>(i).getTransformData(sample, m_matrix, state),
                "no matrix");
        std::copy(m_matrix.begin(), m_matrix.end(), m_samples.back()[i].m);
      }
    }
  }

  void library() override {
    m_sum = 0;
    evaluateAll(*m_views, m_times, m_hints, m_matrix, m_sum);
  }
  void baseline() override {
    m_plainSum = 0;
    for (const float time : m_times) {
      const int sample = sampleBefore(time);
      const double t = samplePosition(time, timeOf(sample), timeOf(sample + 1));
      const auto& first = m_samples[static_cast<std::size_t>(sample)];
      const auto& second = m_samples[static_cast<std::size_t>(sample) + 1];
      for (std::size_t i = 0; i < first.size(); ++i) {
        const VekMatrix<double> m = blendMatrices(first[i], second[i], t);
        std::copy_n(m.m, 16, m_plainMatrix);
        asm volatile("" : : "r"(m_plainMatrix) : "memory");
        m_plainSum += m_plainMatrix[12];
      }
    }
  }
  void compare() override {
    require(m_sum == m_plainSum && std::equal(m_matrix.begin(), m_matrix.end(), m_plainMatrix),
            "matrices differ");
  }
  double numUnits() const override { return static_cast<double>(m_views->size()) * numMatrixTimes; }

 private:
  std::vector<float> m_times;
  std::unique_ptr<Views> m_views;
  std::vector<std::vector<VekMatrix<double>>> m_samples;
  VekInterpolationHints m_hints = makeHints(1);
  std::vector<double> m_matrix;
  double m_plainMatrix[16] = {};
  double m_sum = 0;
  double m_plainSum = 0;
};

}  // namespace

void addMatrixRows(std::vector<Row>& rows) {
  rows.push_back(ratioRow("matrices/cold", 6, [](const std::string& folder) {
    return std::make_unique<ColdMatrixWork>(folder + "/W3.vek", sizeW3(), 0);
  }));
  rows.push_back(ratioRow("matrices/cold_limit4", 0, [](const std::string& folder) {
    return std::make_unique<ColdMatrixWork>(folder + "/W3.vek", sizeW3(), 4);
  }));
  rows.push_back(ratioRow("matrices/warm", 2, [](const std::string& folder) {
    return std::make_unique<WarmMatrixWork>(folder + "/W3.vek", sizeW3());
  }));
}

}  // namespace bench
