// SPDX-License-Identifier: Apache-2.0
//
// The view of transforms: stored matrices, and matrices at a time, which are composed from the
// object's transform channels or blended from the stored matrices.
//
// Fetching a sample may evict the one fetched before. What is read from a chunk is therefore copied
// before the next fetch, and no pointer to a sample's data outlives a function here.

#include <algorithm>
#include <array>
#include <iostream>

#include "VekGuarded.h"
#include "VekHelperObj.h"
#include "VekInterpolation.h"
#include "VekMatrix.h"
#include "VekQuaternion.h"
#include "VekTransformChannels.h"

namespace Vek {

/// The samples that an evaluation uses.
struct TransformVekObj::Blend {
  std::size_t count;  ///< 1 takes the sample as it is, 2 is linear, 3 quadratic
  int samples[3];
  float t;
};

/// The values of a channel's attribute at those samples.
template <typename T>
struct TransformVekObj::ChannelValues {
  int attr;
  std::size_t channel;
  bool animated;
  std::size_t numRead;  ///< how many samples have been read
  T c[3];
};

/// Attributes that are read together.
template <typename T>
struct TransformVekObj::ChannelBatch {
  std::array<ChannelValues<T>, Channel::Count> values = {};
  std::size_t size = 0;
};

namespace {

constexpr std::size_t matrixSize = VekMatrix<float>::numElements;

template <typename T>
void trace(const char* label, const T* values, std::size_t count) {
  std::cerr << label;
  for (std::size_t i = 0; i < count; ++i) std::cerr << " " << values[i];
  std::cerr << std::endl;
}

template <typename T>
void trace(const char* label, const VekMatrix<T>& matrix) {
  if (verbosity >= 2) trace(label, matrix.m, matrixSize);
}

template <typename T>
void trace(const char* label, const VekQuaternion<T>& q) {
  const T values[] = {q.x, q.y, q.z, q.w};
  if (verbosity >= 2) trace(label, values, 4);
}

}  // namespace

TransformVekObj::TransformVekObj(VekRoMemCache* cache, int objectIndex)
    : VekHelperObj(cache, objectIndex) {
  addCategory("transform");
}

TransformVekObj::TransformVekObj(const TransformVekObj& other) = default;

TransformVekObj& TransformVekObj::operator=(const TransformVekObj& other) = default;

TransformVekObj::~TransformVekObj() = default;

// Only a stored 0 says otherwise.
bool TransformVekObj::inheritsTransform() {
  const VekChunk* chunk = nullptr;
  findChunk(m_cache->getSampleIndex(m_cache->getFirstTime()), Tag::INHT, chunk);
  const std::vector<int>* inherits = nullptr;
  return !getVekLeafData(chunk, inherits) || inherits->empty() || inherits->front() != 0;
}

// --- Stored matrices -----------------------------------------------------------------------------

bool TransformVekObj::getTransformData(int sampleIndex, std::vector<float>& matrix,
                                       AnimationState& state) {
  return copyMatrix(sampleIndex, matrix, state);
}

bool TransformVekObj::getTransformData(int sampleIndex, std::vector<double>& matrix,
                                       AnimationState& state) {
  return copyMatrix(sampleIndex, matrix, state);
}

template <typename T>
bool TransformVekObj::copyMatrix(int sampleIndex, std::vector<T>& matrix, AnimationState& state) {
  state = Static;
  return guarded(false, [&] {
    matrix.resize(matrixSize);
    T stored[matrixSize];
    if (!readMatrix(sampleIndex, stored, state)) return false;
    std::copy_n(stored, matrixSize, matrix.begin());
    return true;
  });
}

namespace {

template <typename From, typename To>
bool copyElements(const std::vector<From>& from, To (&to)[matrixSize]) {
  if (from.size() < matrixSize) return false;
  std::transform(from.begin(), from.begin() + matrixSize, to,
                 [](From value) { return static_cast<To>(value); });
  return true;
}

}  // namespace

template <typename T>
bool TransformVekObj::readMatrix(int sampleIndex, T (&matrix)[16], AnimationState& state) {
  state = Static;
  const VekChunk* chunk = nullptr;
  const AnimationState found = findChunk(sampleIndex, Tag::MTRX, chunk);
  const std::vector<float>* floats = nullptr;
  const std::vector<double>* doubles = nullptr;
  const bool copied = getVekLeafData(chunk, floats)
                          ? copyElements(*floats, matrix)
                          : getVekLeafData(chunk, doubles) && copyElements(*doubles, matrix);
  if (copied) state = found;
  return copied;
}

// --- Matrices at a time --------------------------------------------------------------------------

bool TransformVekObj::getTransformAtTime(float time, VekInterpolationHints& hints,
                                         std::vector<float>& matrix, AnimationState& state) {
  return evaluate(time, hints, matrix, state);
}

bool TransformVekObj::getTransformAtTime(float time, VekInterpolationHints& hints,
                                         std::vector<double>& matrix, AnimationState& state) {
  return evaluate(time, hints, matrix, state);
}

template <typename T>
bool TransformVekObj::evaluate(float time, VekInterpolationHints& hints, std::vector<T>& matrix,
                               AnimationState& state) {
  state = Static;
  return guarded(false, [&] {
    matrix.resize(matrixSize);
    const Blend blend = chooseBlend(time, hints);
    if (blend.count == 1) return copyMatrix(blend.samples[0], matrix, state);
    T result[matrixSize];
    if (!composeChannels(blend, result, state) && !blendMatrices(blend, result, state))
      return false;
    std::copy_n(result, matrixSize, matrix.begin());
    return true;
  });
}

// Matrices have no cubic blend: a cubic request chooses its four samples, which near the ends are
// not those of a quadratic one, and blends the first three.
TransformVekObj::Blend TransformVekObj::chooseBlend(float time, VekInterpolationHints& hints) {
  const SampleChoice choice = evaluateAt(time, hints);
  const int degree = hints.interpolation;
  Blend blend = {1, {choice.first, -1, -1}, 0};
  if (!choice.blends(degree)) return blend;
  blend.count = degree == 1 ? 2 : 3;
  for (std::size_t i = 0; i < blend.count; ++i)
    blend.samples[i] = choice.index(static_cast<int>(i));
  blend.t = getBlendPosition(choice, time, degree);
  return blend;
}

// --- Composed from channels ----------------------------------------------------------------------

// Returns whether there was any channel. Channels do not depend on one another; of several
// attributes of one name the last one counts.
template <typename T>
bool TransformVekObj::composeChannels(const Blend& blend, T (&matrix)[16], AnimationState& state) {
  const VekDOBJChunk* const definition = m_cache->getObjDef(m_objectIndex);
  const VekDATRChunk* const attrs = definition != nullptr ? definition->getDATR() : nullptr;
  if (attrs == nullptr) return false;
  VekTransformChannels<T> channels;
  ChannelBatch<T> batch;
  bool found = false;
  for (int attr = 0; attr < attrs->getNumAttrs(); ++attr) {
    const std::size_t channel = findTransformChannel(attrs->getAttrName(attr));
    if (channel == Channel::Count) continue;
    batch.values[batch.size++] = {attr, channel, attrs->isAnimated(attr), 0, {}};
    if (batch.size == batch.values.size())
      found = readChannels(blend, batch, channels, state) || found;
  }
  found = readChannels(blend, batch, channels, state) || found;
  if (!found) return false;
  channels.setRotateOrder(readRotateOrder(blend.samples[0]));
  std::copy_n(channels.compose().m, matrixSize, matrix);
  return true;
}

// Reads a batch of channels and empties it. Sample by sample, since a cache with a limit may load a
// sample anew whenever it changes. A channel whose first sample is there counts as found, also when
// a later one is missing; it then keeps the value that it had.
template <typename T>
bool TransformVekObj::readChannels(const Blend& blend, ChannelBatch<T>& batch,
                                   VekTransformChannels<T>& channels, AnimationState& state) {
  bool found = false;
  for (std::size_t sample = 0; sample < blend.count; ++sample) {
    for (std::size_t i = 0; i < batch.size; ++i) {
      ChannelValues<T>& values = batch.values[i];
      if (values.numRead < sample || (sample > 0 && !values.animated)) continue;
      if (readFirstValue(blend.samples[sample], values.attr, values.c[sample], found))
        ++values.numRead;
    }
  }
  for (std::size_t i = 0; i < batch.size; ++i) {
    const ChannelValues<T>& values = batch.values[i];
    if (values.numRead < (values.animated ? blend.count : 1)) continue;
    channels.set(values.channel, values.animated ? blendChannel(blend, values) : values.c[0]);
    if (values.animated) state = Animated;
  }
  batch.size = 0;
  return found;
}

template <typename T>
T TransformVekObj::blendChannel(const Blend& blend, const ChannelValues<T>& values) {
  const auto t = static_cast<T>(blend.t);
  const T* const c = values.c;
  const T value = blend.count == 2 ? blendChannelLinear(c[0], c[1], t)
                                   : blendChannelQuadratic(c[0], c[1], c[2], t);
  if (verbosity >= 1) trace(getAttrName(values.attr).c_str(), &value, 1);
  return value;
}

// Sets `found` when there is a chunk. Other types than float and double count as 0; a leaf without
// values has none to give.
template <typename T>
bool TransformVekObj::readFirstValue(int sampleIndex, int attr, T& value, bool& found) {
  const VekChunk* const chunk = getAttrDataChunk(sampleIndex, attr);
  if (chunk == nullptr) return false;
  found = true;
  const auto takeFirst = [&value](const auto& values) {
    if (!values.empty()) value = static_cast<T>(values.front());
    return !values.empty();
  };
  const std::vector<float>* floats = nullptr;
  if (getVekLeafData(chunk, floats)) return takeFirst(*floats);
  const std::vector<double>* doubles = nullptr;
  if (getVekLeafData(chunk, doubles)) return takeFirst(*doubles);
  value = 0;
  return true;
}

// The order stored with the sample, -1 for none.
int TransformVekObj::readRotateOrder(int sampleIndex) {
  const VekChunk* chunk = nullptr;
  findChunk(sampleIndex, Tag::MTRO, chunk);
  const std::vector<int>* order = nullptr;
  return getVekLeafData(chunk, order) && !order->empty() ? order->front() : -1;
}

// --- Blended from stored matrices ----------------------------------------------------------------

namespace {

/// Puts a transform together from a rotation and the blended elements of the matrices, which
/// `element` gives by their number.
template <typename T, typename Element>
VekMatrix<T> recompose(const VekQuaternion<T>& qi, Element element) {
  // The diagonal is blended as it stands, also where rotation is part of it.
  const VekMatrix<T> sMat = scaling(element(0), element(5), element(10));
  const VekMatrix<T> rMat = toMatrix(qi);
  const VekMatrix<T> tMat = translation(element(12), element(13), element(14));
  trace("qi:", qi);
  trace("sMat:", sMat);
  trace("rMat:", rMat);
  trace("tMat:", tMat);
  return sMat * rMat * tMat;
}

template <typename T>
VekMatrix<T> blendTransforms(const VekMatrix<T>& m1, const VekMatrix<T>& m2, T t) {
  const VekQuaternion<T> q1 = quaternionFromMatrix(m1);
  const VekQuaternion<T> q2 = quaternionFromMatrix(m2);
  trace("q1:", q1);
  trace("q2:", q2);
  return recompose(slerp(q1, q2, t),
                   [&](std::size_t k) { return blendLinear(m1.m[k], m2.m[k], t); });
}

template <typename T>
VekMatrix<T> blendTransforms(const VekMatrix<T>& m0, const VekMatrix<T>& m1, const VekMatrix<T>& m2,
                             T t) {
  const VekQuaternion<T> q0 = quaternionFromMatrix(m0);
  const VekQuaternion<T> q1 = quaternionFromMatrix(m1);
  const VekQuaternion<T> q2 = quaternionFromMatrix(m2);
  trace("q0:", q0);
  trace("q1:", q1);
  trace("q2:", q2);
  return recompose(blendRotations(q0, q1, q2, t),
                   [&](std::size_t k) { return blendQuadratic(m0.m[k], m1.m[k], m2.m[k], t); });
}

}  // namespace

template <typename T>
bool TransformVekObj::blendMatrices(const Blend& blend, T (&matrix)[16], AnimationState& state) {
  constexpr const char* labels[] = {"\n xform1:", "xform2:", "xform3:"};
  const bool linear = blend.count == 2;
  VekMatrix<T> m[3];
  for (std::size_t i = 0; i < blend.count; ++i) {
    if (!readMatrix(blend.samples[i], m[i].m, state)) return false;
  }
  if (verbosity >= 2)
    std::cerr << (linear ? "linear" : "quadratic") << " matrix interpolation" << std::endl;
  for (std::size_t i = 0; i < blend.count; ++i) trace(labels[i], m[i]);
  const auto t = static_cast<T>(blend.t);
  const VekMatrix<T> xform =
      linear ? blendTransforms(m[0], m[1], t) : blendTransforms(m[0], m[1], m[2], t);
  trace("xform:", xform);
  std::copy_n(xform.m, matrixSize, matrix);
  return true;
}

}  // namespace Vek
