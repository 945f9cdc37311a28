// SPDX-License-Identifier: Apache-2.0
//
// Transforms: a ready matrix, in the definition or in every sample, and beside it the pose as named
// attributes, from which readers compose the matrix between two samples.

#include <algorithm>
#include <cmath>

#include "SceneObjects.h"

using namespace Vek;

namespace {

constexpr double radiansPerDegree = pi / 180.0;

// Translation in the scene's units, rotation in degrees.
const std::array<const char*, 6> channelNames = {"translateX", "translateY", "translateZ",
                                                 "rotateX",    "rotateY",    "rotateZ"};
const std::array<const char*, 3> scaleNames = {"scaleX", "scaleY", "scaleZ"};

// The axes of each rotate order, in the order in which they are applied.
constexpr std::array<std::array<unsigned int, 3>, 6> rotateOrders = {
    {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {1, 0, 2}, {2, 1, 0}}};

using Matrix3 = std::array<std::array<double, 3>, 3>;

// Points are rows multiplied on the left, so a product applies its left factor first.
Matrix3 multiply(const Matrix3& a, const Matrix3& b) {
  Matrix3 product{};
  for (unsigned int i = 0; i < 3; ++i) {
    for (unsigned int j = 0; j < 3; ++j) {
      for (unsigned int k = 0; k < 3; ++k) product[i][j] += a[i][k] * b[k][j];
    }
  }
  return product;
}

Matrix3 axisRotation(unsigned int axis, double degrees) {
  const double c = std::cos(degrees * radiansPerDegree);
  const double s = std::sin(degrees * radiansPerDegree);
  const unsigned int j = (axis + 1) % 3;
  const unsigned int k = (axis + 2) % 3;
  Matrix3 m{};
  m[axis][axis] = 1.0;
  m[j][j] = c;
  m[j][k] = s;
  m[k][j] = -s;
  m[k][k] = c;
  return m;
}

// Scale, then rotate, then translate; 16 values row by row, the translation in the last row.
std::vector<double> composeMatrix(const std::array<double, 6>& pose,
                                  const std::array<double, 3>& scale, unsigned int rotateOrder) {
  Matrix3 m{};
  for (unsigned int i = 0; i < 3; ++i) m[i][i] = scale[i];
  for (const unsigned int axis : rotateOrders[rotateOrder]) {
    m = multiply(m, axisRotation(axis, pose[3 + axis]));
  }
  return {m[0][0], m[0][1], m[0][2], 0.0, m[1][0], m[1][1], m[1][2], 0.0,
          m[2][0], m[2][1], m[2][2], 0.0, pose[0], pose[1], pose[2], 1.0};
}

class Transform final : public SceneObject {
 public:
  Transform(std::string name, const TransformSettings& settings, Precision precision)
      : SceneObject(std::move(name)),
        m_settings(settings),
        m_precision(precision),
        m_isAnimated(std::any_of(settings.swing.begin(), settings.swing.end(),
                                 [](double swing) { return swing != 0.0; })) {}

  void define(VekDOBJChunk& definition) const override {
    addMarker(definition, Tag::XFRM);
    addLeaf<int>(definition, Tag::MTRO, {m_settings.rotateOrder}, 0, 1);
    addLeaf<int>(definition, Tag::INHT, {m_settings.inherits ? 1 : 0}, 0, 1);
    // What stands in the definition holds for all samples and hides what they store.
    if (!m_isAnimated) addMatrix(definition, 0.0);
    if (m_settings.channels) defineChannels(definition);
  }

 protected:
  void fillSample(VekGroupChunk& sample, double frame) const override {
    if (!m_isAnimated) return;
    addMatrix(sample, frame);
    if (!m_settings.channels) return;
    VekGroupChunk& attributes = addAttributeGroup(sample);
    for (const double value : poseAt(frame)) {
      addReals(attributes, Tag::ATTR, {value}, m_precision, 0, 1);
    }
  }

 private:
  void defineChannels(VekDOBJChunk& definition) const {
    const std::string typeName = m_precision == Precision::Double ? "double" : "float";
    const unsigned char type =
        m_precision == Precision::Double ? ValueType::Double : ValueType::Float;
    for (unsigned int i = 0; i < channelNames.size(); ++i) {
      if (m_isAnimated) {
        definition.addAttr(true, channelNames[i], typeName, type);
      } else {
        addStaticAttrReals(definition, channelNames[i], typeName, {m_settings.rest[i]},
                           m_precision);
      }
    }
    for (unsigned int i = 0; i < scaleNames.size(); ++i) {
      addStaticAttrReals(definition, scaleNames[i], typeName, {m_settings.scale[i]}, m_precision);
    }
    // A channel is a real number even where it means a choice: readers take an integer for 0.
    addStaticAttrReals(definition, "rotateOrder", typeName,
                       {static_cast<double>(m_settings.rotateOrder)}, m_precision);
  }

  std::array<double, 6> poseAt(double frame) const {
    std::array<double, 6> pose = m_settings.rest;
    const double side = std::sin(motionAngle(frame));
    for (unsigned int i = 0; i < pose.size(); ++i) pose[i] += m_settings.swing[i] * side;
    return pose;
  }

  void addMatrix(VekGroupChunk& group, double frame) const {
    const auto order = static_cast<unsigned int>(m_settings.rotateOrder);
    const std::array<double, 6> pose = m_isAnimated ? poseAt(frame) : m_settings.rest;
    addReals(group, Tag::MTRX, composeMatrix(pose, m_settings.scale, order), m_precision,
             Compound::Transform, 16);
  }

  TransformSettings m_settings;
  Precision m_precision;
  bool m_isAnimated;
};

}  // namespace

std::unique_ptr<SceneObject> makeTransform(std::string name, const TransformSettings& settings,
                                           Precision precision) {
  return std::make_unique<Transform>(std::move(name), settings, precision);
}
