// SPDX-License-Identifier: Apache-2.0
//
// What the tests of transform views expect and what they load: a plain double-precision model of
// composed and blended matrices with full 4x4 products, caches of one transform described channel
// by channel, and a test over such a cache.

#ifndef VEK_TEST_TRANSFORM_SCENE_H
#define VEK_TEST_TRANSFORM_SCENE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "VekHelperObj.h"
#include "ViewScene.h"

namespace VekTest {
namespace Transforms {

using namespace Views;
using Vek::TransformVekObj;
using Vek::VekHelperObj;

// --- The model -----------------------------------------------------------------------------------

using Mat = std::array<double, 16>;
using Quat = std::array<double, 4>;  // x, y, z, w
using Channels = std::map<std::string, double>;

// The float nearest to the factor, widened.
constexpr double kDegree = static_cast<double>(0.017453292F);
constexpr double kPi = 3.14159265358979323846;

inline Mat diagonal(double x, double y, double z) {
  return {x, 0, 0, 0, 0, y, 0, 0, 0, 0, z, 0, 0, 0, 0, 1};
}
inline const Mat kIdentity = diagonal(1, 1, 1);

/// A matrix with some elements replaced.
inline Mat with(Mat m, const std::vector<std::pair<std::size_t, double>>& elements) {
  for (const auto& [i, v] : elements) m[i] = v;
  return m;
}
inline Mat moved(double x, double y, double z, const Mat& m = kIdentity) {
  return with(m, {{12, x}, {13, y}, {14, z}});
}

inline Mat operator*(const Mat& a, const Mat& b) {
  Mat product = {};
  for (std::size_t i = 0; i < 16; ++i)
    for (std::size_t k = 0; k < 4; ++k) product[i] += a[i / 4 * 4 + k] * b[4 * k + i % 4];
  return product;
}

inline Mat turn(char axis, double angle) {
  const double c = std::cos(angle);
  const double s = std::sin(angle);
  switch (axis) {
    case 'X':
      return with(kIdentity, {{5, c}, {6, s}, {9, -s}, {10, c}});
    case 'Y':
      return with(kIdentity, {{0, c}, {2, -s}, {8, s}, {10, c}});
    default:
      return with(kIdentity, {{0, c}, {1, s}, {4, -s}, {5, c}});
  }
}
inline Mat turnDegrees(char axis, double degrees) {
  return turn(axis, degrees * kPi / 180);
}

/// The matrix of the stored channel values; angles in degrees.
inline Mat compose(const Channels& channels, int rotateOrder, int transformOrder) {
  const auto value = [&](const std::string& name) {
    const auto found = channels.find(name);
    if (found != channels.end()) return found->second;
    return name.compare(0, 5, "scale") == 0 && name.size() == 6 ? 1.0 : 0.0;
  };
  const auto move = [&](const std::string& name, double sign) {
    return moved(sign * value(name + "X"), sign * value(name + "Y"), sign * value(name + "Z"));
  };
  const char* const axes[] = {"XYZ", "YZX", "ZXY", "XZY", "YXZ", "ZYX"};
  const auto turns = [&](const std::string& name) {
    Mat m = kIdentity;
    for (const char axis : std::string(axes[rotateOrder])) {
      const double factor = name + axis == "rotateAxisY" ? 1 : kDegree;
      m = m * turn(axis, factor * value(name + axis));
    }
    return m;
  };
  const auto uniform = channels.find("uniformScale");
  const double u = uniform == channels.end() ? 1 : uniform->second;
  const Mat shear =
      with(kIdentity, {{4, value("shearXY")}, {8, value("shearXZ")}, {9, value("shearYZ")}});
  std::map<char, Mat> parts;
  parts['S'] = move("scalePivot", -1) *
               diagonal(u * value("scaleX"), u * value("scaleY"), u * value("scaleZ")) * shear *
               move("scalePivot", 1) * move("scalePivotTranslate", 1);
  parts['R'] = move("rotatePivot", -1) * turns("rotateAxis") * turns("rotate") *
               move("rotatePivot", 1) * move("rotatePivotTranslate", 1);
  parts['T'] = move("translate", 1);
  const char* const orders[] = {"SRT", "STR", "RST", "RTS", "TSR", "TRS"};
  const char* const order = orders[transformOrder];
  return parts[order[0]] * parts[order[1]] * parts[order[2]];
}

inline double dot(const Quat& a, const Quat& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2] + a[3] * b[3];
}
inline Quat sum(double a, const Quat& p, double b, const Quat& q) {
  return {a * p[0] + b * q[0], a * p[1] + b * q[1], a * p[2] + b * q[2], a * p[3] + b * q[3]};
}
inline Quat normalised(const Quat& q) {
  return sum(1 / std::sqrt(dot(q, q)), q, 0, q);
}

inline Quat quatOf(const Mat& flat) {
  const auto m = [&](std::size_t i, std::size_t j) { return flat[4 * i + j]; };
  std::size_t i = m(1, 1) > m(2, 2) ? 1 : 2;
  if (m(0, 0) > m(1, 1)) i = m(0, 0) > m(2, 2) ? 0 : 2;
  const double trace = m(0, 0) + m(1, 1) + m(2, 2);
  if (trace > m(i, i)) {
    const double w = 0.5 * std::sqrt(trace + m(3, 3));
    return normalised({(m(1, 2) - m(2, 1)) / (4 * w), (m(2, 0) - m(0, 2)) / (4 * w),
                       (m(0, 1) - m(1, 0)) / (4 * w), w});
  }
  const std::size_t j = (i + 1) % 3;
  const std::size_t k = (i + 2) % 3;
  Quat q = {};
  q[i] = 0.5 * std::sqrt(m(i, i) - m(j, j) - m(k, k) + m(3, 3));
  q[j] = (m(i, j) + m(j, i)) / (4 * q[i]);
  q[k] = (m(i, k) + m(k, i)) / (4 * q[i]);
  q[3] = (m(j, k) - m(k, j)) / (4 * q[i]);
  return normalised(q);
}

inline Mat matOf(const Quat& q) {
  const auto [x, y, z, w] = q;
  return {1 - 2 * (y * y + z * z),
          2 * (x * y + w * z),
          2 * (x * z - w * y),
          0,
          2 * (x * y - w * z),
          1 - 2 * (x * x + z * z),
          2 * (y * z + w * x),
          0,
          2 * (x * z + w * y),
          2 * (y * z - w * x),
          1 - 2 * (x * x + y * y),
          0,
          0,
          0,
          0,
          1};
}

inline double arc(double cosine) {
  return std::acos(std::clamp(cosine, -1.0, 1.0));
}
inline Quat towards(const Quat& from, const Quat& to, double angle) {
  const Quat u = normalised(sum(1, to, -dot(from, to), from));
  return sum(std::cos(angle), from, std::sin(angle), u);
}
inline Quat slerp(const Quat& q1, const Quat& q2, double t) {
  const double d = dot(q1, q2);
  if (std::abs(d) > 0.9995) return normalised(sum(1 - t, q1, t, q2));
  return towards(q1, q2, arc(d) * t);
}
inline double parabola(double c0, double c1, double c2, double t) {
  return c1 + 0.5 * (c2 - c0) * t + 0.5 * (c0 - 2 * c1 + c2) * t * t;
}
inline Quat turnAlong(const Quat& q0, const Quat& q1, const Quat& q2, double t) {
  const double d = dot(q0, q1);
  if (std::abs(d) > 0.9995) return normalised(sum(-t, q0, t + 1, q1));
  return towards(q0, q1, parabola(0, arc(d), arc(dot(q0, q2)), t));
}

inline Mat linear(const Mat& a, const Mat& b, double t) {
  const auto mix = [&](std::size_t k) { return (1 - t) * a[k] + t * b[k]; };
  return diagonal(mix(0), mix(5), mix(10)) * matOf(slerp(quatOf(a), quatOf(b), t)) *
         moved(mix(12), mix(13), mix(14));
}
inline Mat quadratic(const Mat& a, const Mat& b, const Mat& c, double t) {
  const auto mix = [&](std::size_t k) { return parabola(a[k], b[k], c[k], t); };
  return diagonal(mix(0), mix(5), mix(10)) * matOf(turnAlong(quatOf(a), quatOf(b), quatOf(c), t)) *
         moved(mix(12), mix(13), mix(14));
}

// --- Scenes --------------------------------------------------------------------------------------

inline ByteImage attr(double value) {
  return doubleLeaf("ATTR", {value}, 1);
}
inline ByteImage mtrx(const Mat& m) {
  return doubleLeaf("MTRX", {m.begin(), m.end()}, 16);
}
inline ByteImage mtrxFloat(const Mat& m) {
  return floatLeaf("MTRX", {m.begin(), m.end()}, 16);
}
inline const ByteImage kMissing;

/// A cache with one transform, one frame between samples from frame 0 on.
class Xform {
 public:
  explicit Xform(std::size_t samples) : m_animated(samples), m_chunks(samples) {}

  Xform& fixed(const std::string& name, const ByteImage& leaf) {
    m_statics.push_back({name, leaf});
    return *this;
  }
  Xform& fixed(const std::string& name, double value) { return fixed(name, attr(value)); }
  Xform& fixed(const Channels& channels) {
    for (const auto& [name, value] : channels) fixed(name, value);
    return *this;
  }
  Xform& animated(const std::string& name, const std::vector<ByteImage>& leaves) {
    m_names.push_back(name);
    for (std::size_t s = 0; s < m_animated.size(); ++s) m_animated[s].raw(leaves.at(s));
    return *this;
  }
  Xform& animated(const std::string& name, const std::vector<double>& values) {
    std::vector<ByteImage> leaves;
    for (const double v : values) leaves.push_back(attr(v));
    return animated(name, leaves);
  }
  Xform& withoutAttributesAt(std::size_t sample) {
    m_without.push_back(sample);
    return *this;
  }
  Xform& put(std::size_t sample, const ByteImage& chunk) {
    m_chunks.at(sample).raw(chunk);
    return *this;
  }
  Xform& putAll(const std::vector<Mat>& matrices) {
    for (std::size_t s = 0; s < matrices.size(); ++s) put(s, mtrx(matrices[s]));
    return *this;
  }
  Xform& define(const ByteImage& chunk) {
    m_definition.raw(chunk);
    return *this;
  }
  Xform& times(const std::vector<float>& t) {
    m_scene.times = t;
    return *this;
  }
  Xform& rate(float firstTime, float r) {
    m_scene.firstTime = firstTime;
    m_scene.rate = r;
    return *this;
  }

  Scene scene() const {
    Scene s = m_scene;
    s.definitions = {definition(
        "x", join({intLeaf("XFRM", {1}), attributes(m_names, m_statics), m_definition}))};
    for (std::size_t i = 0; i < m_chunks.size(); ++i) {
      ByteImage object = m_chunks[i];
      const bool without = std::count(m_without.begin(), m_without.end(), i) != 0;
      if (!m_names.empty() && !without) object.raw(attrValues({m_animated[i]}));
      s.samples.push_back({object});
    }
    return s;
  }

 private:
  std::vector<StaticAttr> m_statics;
  std::vector<std::string> m_names;
  std::vector<ByteImage> m_animated;
  std::vector<ByteImage> m_chunks;
  std::vector<std::size_t> m_without;
  ByteImage m_definition;
  Scene m_scene;
};

/// What is stored at a sample when a test has to tell stored matrices from composed ones.
inline Mat stored(int sample) {
  return moved(100 + sample, 0, 0);
}
inline Xform storedXform(int samples) {
  Xform x(static_cast<std::size_t>(samples));
  for (int s = 0; s < samples; ++s) x.put(static_cast<std::size_t>(s), mtrx(stored(s)));
  return x;
}

template <typename T>
struct Answer {
  bool ok = false;
  std::vector<T> matrix = std::vector<T>(21, T(-77));
  VekHelperObj::AnimationState state = VekHelperObj::Static;
};

constexpr auto kStatic = VekHelperObj::Static;
constexpr auto kAnimated = VekHelperObj::Animated;
using State = VekHelperObj::AnimationState;

class TransformTest : public ViewTest {
 protected:
  void use(const Xform& x, int maxSamples = 0, bool keepOpen = true) {
    m_view.reset();
    Vek::VekHelperObjFactory factory(open(x.scene(), maxSamples, keepOpen));
    VekHelperObj* built = factory.vekObjBuilder(0);
    m_view.reset(dynamic_cast<TransformVekObj*>(built));
    ASSERT_NE(m_view, nullptr);
  }
  TransformVekObj& view() { return *m_view; }

  template <typename T>
  Answer<T> at(float time, int degree, State before = kAnimated) {
    Vek::VekInterpolationHints hints;
    hints.interpolation = degree;
    Answer<T> a;
    a.state = before;
    captureStderr([&] { a.ok = view().getTransformAtTime(time, hints, a.matrix, a.state); });
    EXPECT_EQ(a.matrix.size(), 16U);
    return a;
  }
  template <typename T>
  Answer<T> dataOf(int sample, State before = kAnimated) {
    Answer<T> a;
    a.state = before;
    a.ok = view().getTransformData(sample, a.matrix, a.state);
    EXPECT_EQ(a.matrix.size(), 16U);
    return a;
  }
  template <typename T>
  void expectAnswer(const Answer<T>& a, const Mat& expected, State state, double tolerance) {
    ASSERT_TRUE(a.ok);
    ASSERT_EQ(a.matrix.size(), 16U);
    EXPECT_EQ(a.state, state);
    double largest = 1;
    for (const double e : expected) largest = std::fmax(largest, std::abs(e));
    for (std::size_t i = 0; i < 16; ++i)
      EXPECT_NEAR(a.matrix[i], expected[i], tolerance * largest) << "element " << i;
  }
  /// Both forms give that matrix.
  void expectAt(float time, int degree, const Mat& expected, State state,
                double floatTolerance = 1e-5) {
    SCOPED_TRACE("time " + std::to_string(time) + ", degree " + std::to_string(degree));
    const State other = state == kStatic ? kAnimated : kStatic;
    expectAnswer(at<double>(time, degree, other), expected, state, 1e-12);
    expectAnswer(at<float>(time, degree, other), expected, state, floatTolerance);
  }
  void expectData(int sample, const Mat& expected, State state) {
    const State other = state == kStatic ? kAnimated : kStatic;
    expectAnswer(dataOf<double>(sample, other), expected, state, 1e-12);
    expectAnswer(dataOf<float>(sample, other), expected, state, 1e-6);
  }
  template <typename T>
  void expectFailed(const Answer<T>& a) {
    EXPECT_FALSE(a.ok);
    EXPECT_EQ(a.state, kStatic);
  }
  void expectFailureAt(float time, int degree) {
    SCOPED_TRACE("time " + std::to_string(time) + ", degree " + std::to_string(degree));
    expectFailed(at<double>(time, degree));
    expectFailed(at<float>(time, degree));
  }
  void expectDataFailure(int sample) {
    expectFailed(dataOf<double>(sample));
    expectFailed(dataOf<float>(sample));
  }
  /// The matrix between samples 0 and 1 of a cache without stored matrices.
  void expectComposed(Xform x, const Mat& expected) {
    ASSERT_NO_FATAL_FAILURE(use(x));
    expectAt(0.5F, 1, expected, kStatic);
    expectAt(0.5F, 2, expected, kStatic);
  }
  std::string trace(int level, float time, int degree) {
    const Verbosity verbosity(level);
    Vek::VekInterpolationHints hints;
    hints.interpolation = degree;
    hints.interpolationNames = {"none", "first", "second", "third"};
    std::vector<double> m;
    State state = kStatic;
    return captureStderr([&] { view().getTransformAtTime(time, hints, m, state); });
  }

 private:
  Owned<TransformVekObj> m_view;
};

}  // namespace Transforms
}  // namespace VekTest

#endif
