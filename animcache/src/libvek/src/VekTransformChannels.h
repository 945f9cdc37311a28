// SPDX-License-Identifier: Apache-2.0
//
// The named attributes that a transform can be stored as, and the matrix that they compose.

#ifndef VEK_TRANSFORM_CHANNELS_H
#define VEK_TRANSFORM_CHANNELS_H

#include <array>
#include <cstddef>
#include <string_view>

#include "VekMatrix.h"

namespace Vek {

/// The channels. Vectors begin at the channel named here and take three.
namespace Channel {
constexpr std::size_t Translate = 0;
constexpr std::size_t Rotate = 3;
constexpr std::size_t Scale = 6;
constexpr std::size_t RotatePivot = 9;
constexpr std::size_t RotatePivotTranslate = 12;
constexpr std::size_t RotateAxis = 15;
constexpr std::size_t UniformScale = 18;
constexpr std::size_t ShearXY = 19;
constexpr std::size_t ShearXZ = 20;
constexpr std::size_t ShearYZ = 21;
constexpr std::size_t ScalePivot = 22;
constexpr std::size_t ScalePivotTranslate = 25;
constexpr std::size_t RotateOrder = 28;
constexpr std::size_t TransformOrder = 29;
constexpr std::size_t Count = 30;  ///< also stands for none
}  // namespace Channel

struct VekTransformChannel {
  std::string_view name;  ///< of the attribute
  int initial;            ///< the value without such an attribute
  bool isAngle;           ///< stored in degrees
};

/// rotateAxisY is no angle: it is stored in radians, unlike its neighbours. Files rely on it.
constexpr std::array<VekTransformChannel, Channel::Count> transformChannels = {{
    {"translateX", 0, false},
    {"translateY", 0, false},
    {"translateZ", 0, false},
    {"rotateX", 0, true},
    {"rotateY", 0, true},
    {"rotateZ", 0, true},
    {"scaleX", 1, false},
    {"scaleY", 1, false},
    {"scaleZ", 1, false},
    {"rotatePivotX", 0, false},
    {"rotatePivotY", 0, false},
    {"rotatePivotZ", 0, false},
    {"rotatePivotTranslateX", 0, false},
    {"rotatePivotTranslateY", 0, false},
    {"rotatePivotTranslateZ", 0, false},
    {"rotateAxisX", 0, true},
    {"rotateAxisY", 0, false},
    {"rotateAxisZ", 0, true},
    {"uniformScale", 1, false},
    {"shearXY", 0, false},
    {"shearXZ", 0, false},
    {"shearYZ", 0, false},
    {"scalePivotX", 0, false},
    {"scalePivotY", 0, false},
    {"scalePivotZ", 0, false},
    {"scalePivotTranslateX", 0, false},
    {"scalePivotTranslateY", 0, false},
    {"scalePivotTranslateZ", 0, false},
    {"rotateOrder", 0, false},
    {"transformOrder", 0, false},
}};

/// The place of a name of two characters or more in the table below. No two channels share one, so
/// that a single comparison finds a channel: evaluations ask for every attribute of an object.
constexpr std::size_t numNameSlots = 64;
constexpr std::size_t nameSlot(std::string_view name) {
  const auto code = [name](std::size_t fromEnd) {
    return static_cast<std::size_t>(static_cast<unsigned char>(name[name.size() - fromEnd]));
  };
  return (name.size() + 2 * code(2) + 8 * code(1)) % numNameSlots;
}

constexpr std::array<std::size_t, numNameSlots> fillNameSlots() {
  std::array<std::size_t, numNameSlots> slots{};
  for (std::size_t& slot : slots) slot = Channel::Count;
  for (std::size_t c = 0; c < Channel::Count; ++c) slots[nameSlot(transformChannels[c].name)] = c;
  return slots;
}
constexpr std::array<std::size_t, numNameSlots> nameSlots = fillNameSlots();

/// The channel of exactly that name; Channel::Count when there is none.
constexpr std::size_t findTransformChannel(std::string_view name) {
  if (name.size() < 2) return Channel::Count;
  const std::size_t found = nameSlots[nameSlot(name)];
  return found < Channel::Count && transformChannels[found].name == name ? found : Channel::Count;
}

constexpr bool findsAllTransformChannels() {
  for (std::size_t c = 0; c < Channel::Count; ++c) {
    if (findTransformChannel(transformChannels[c].name) != c) return false;
  }
  return true;
}
static_assert(findsAllTransformChannels(), "no two channels share a slot");

/// One value for each channel, at first the ones of a transform without any.
template <typename T>
class VekTransformChannels {
 public:
  constexpr VekTransformChannels() {
    for (std::size_t c = 0; c < Channel::RotateOrder; ++c)
      m_values[c] = T(transformChannels[c].initial);
  }

  /// Takes a channel's value as it is stored. An order outside the table is ignored.
  constexpr void set(std::size_t channel, T stored) {
    if (channel == Channel::RotateOrder)
      setRotateOrder(truncated(stored));
    else if (channel == Channel::TransformOrder)
      setOrder(m_transformOrder, truncated(stored));
    else
      m_values[channel] = transformChannels[channel].isAngle ? stored * radiansPerDegree : stored;
  }

  /// Ignored outside the table.
  constexpr void setRotateOrder(int order) { setOrder(m_rotateOrder, order); }

  /// The value of a channel but the two orders; angles in radians.
  constexpr T get(std::size_t channel) const { return m_values[channel]; }

  constexpr int rotateOrder() const { return m_rotateOrder; }
  constexpr int transformOrder() const { return m_transformOrder; }

  /// The matrix. A factor whose channels were not set is the identity, and therefore left out.
  VekMatrix<T> compose() const {
    const VekOrder& order = transformOrders[static_cast<std::size_t>(m_transformOrder)];
    return orderedProduct<T>({scalePart(), rotatePart(), move(Channel::Translate)}, order);
  }

 private:
  /// In single precision for both element types.
  static constexpr T radiansPerDegree = T(0.017453292F);

  // NaN and large values have no integer.
  static constexpr int truncated(T stored) {
    return stored > T(-1) && stored < T(numOrders) ? static_cast<int>(stored) : -1;
  }

  static constexpr void setOrder(int& current, int order) {
    if (order >= 0 && order < numOrders) current = order;
  }

  /// Scaling and shearing about a pivot.
  VekMatrix<T> scalePart() const {
    const T uniform = get(Channel::UniformScale);
    return moveBack(Channel::ScalePivot) *
           scaling(get(Channel::Scale) * uniform, get(Channel::Scale + 1) * uniform,
                   get(Channel::Scale + 2) * uniform) *
           shear(get(Channel::ShearXY), get(Channel::ShearXZ), get(Channel::ShearYZ)) *
           move(Channel::ScalePivot) * move(Channel::ScalePivotTranslate);
  }

  /// Rotation about a pivot, by the rotate axis first.
  VekMatrix<T> rotatePart() const {
    return moveBack(Channel::RotatePivot) * turn(Channel::RotateAxis) * turn(Channel::Rotate) *
           move(Channel::RotatePivot) * move(Channel::RotatePivotTranslate);
  }

  constexpr VekMatrix<T> move(std::size_t c) const {
    return translation(get(c), get(c + 1), get(c + 2));
  }

  constexpr VekMatrix<T> moveBack(std::size_t c) const {
    return translation(-get(c), -get(c + 1), -get(c + 2));
  }

  VekMatrix<T> turn(std::size_t c) const {
    return rotation(get(c), get(c + 1), get(c + 2),
                    rotateOrders[static_cast<std::size_t>(m_rotateOrder)]);
  }

  T m_values[Channel::RotateOrder] = {};
  int m_rotateOrder = 0;
  int m_transformOrder = 0;
};

}  // namespace Vek

#endif
