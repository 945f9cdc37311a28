// SPDX-License-Identifier: Apache-2.0
//
// Random values for tests that compare evaluations bit for bit, and what such tests expect. Of a
// NaN only that it is one counts.

#ifndef VEK_TEST_EVALUATION_BITS_H
#define VEK_TEST_EVALUATION_BITS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "VekInterpolation.h"

namespace VekTest {
namespace Bits {

constexpr int kSamples = 6;
inline const std::vector<float> kTimes = {0.25F, 1.3F, 2.7F, 3.1F, 4.5F, 4.9F};

template <typename T>
bool sameBits(T a, T b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0 || (std::isnan(a) && std::isnan(b));
}

template <typename T>
void expectSameBits(const std::vector<T>& values, const std::vector<T>& expected) {
  ASSERT_EQ(values.size(), expected.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_TRUE(sameBits(values[i], expected[i]))
        << "element " << i << ": " << values[i] << " for " << expected[i];
  }
}

/// Random values, every fifth of them special.
template <typename T>
class Values {
 public:
  explicit Values(unsigned seed, bool special = true) : m_random(seed), m_special(special) {}

  T next() {
    using Limits = std::numeric_limits<T>;
    const T special[] = {T(0),
                         T(-0.0),
                         Limits::infinity(),
                         -Limits::infinity(),
                         Limits::max(),
                         Limits::min(),
                         Limits::quiet_NaN(),
                         T(1),
                         Limits::denorm_min(),
                         -Limits::denorm_min(),
                         Limits::lowest()};
    if (m_special && m_random() % 5 == 0) return special[m_random() % std::size(special)];
    return std::uniform_real_distribution<T>(-100, 100)(m_random);
  }
  std::vector<T> next(std::size_t count) {
    std::vector<T> values(count);
    for (T& value : values) value = next();
    return values;
  }

 private:
  std::mt19937 m_random;
  bool m_special;
};

/// The first sample of the run that a degree blends at a time of kTimes, and where the time lies.
struct BlendRun {
  BlendRun(float time, int degree) {
    const int from = static_cast<int>(time);
    first = from;
    for (int m = degree + 1; degree > 1 && first + m >= kSamples && first != 0; --m) --first;
    const int origin = degree == 1 ? first : std::min(first + 1, kSamples - 1);
    t = Vek::samplePosition(time, static_cast<float>(origin), static_cast<float>(origin + 1));
  }
  std::size_t at(int i) const {
    return static_cast<std::size_t>(std::min(first + i, kSamples - 1));
  }
  int first;
  float t;
};

}  // namespace Bits
}  // namespace VekTest

#endif
