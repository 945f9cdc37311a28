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

#include "VekChunkCast.h"
#include "VekGuarded.h"
#include "VekHelperObj.h"
#include "VekInterpolation.h"
#include "VekMatrix.h"
#include "VekQuaternion.h"
#include "VekSampleAttrs.h"
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
  const auto* const floats = leafValues<float>(chunk);
  const auto* const doubles = leafValues<double>(chunk);
  const bool copied = floats != nullptr ? copyElements(*floats, matrix)
                                        : doubles != nullptr && copyElements(*doubles, matrix);
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
    const Composition composition = composeChannels(blend, result, state);
    if (composition == Composition::unreadable) return false;
    if (composition == Composition::noChannels && !blendMatrices(blend, result, state))
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

// Channels do not depend on one another; of several attributes of one name the last one counts.
template <typename T>
TransformVekObj::Composition TransformVekObj::composeChannels(const Blend& blend, T (&matrix)[16],
                                                              AnimationState& state) {
  const VekDOBJChunk* const definition = m_cache->getObjDef(m_objectIndex);
  const VekDATRChunk* const attrs = definition != nullptr ? definition->getDATR() : nullptr;
  if (attrs == nullptr) return Composition::noChannels;
  VekTransformChannels<T> channels;
  const int limit = m_cache->getMaxSamples();
  const bool holdsRun = limit <= 0 || static_cast<std::size_t>(limit) >= blend.count;
  bool found = false;
  const bool read = holdsRun && answersFromChunks(*m_cache)
                        ? readHeldChannels(blend, *attrs, channels, found, state)
                        : readAllChannels(blend, *attrs, channels, found, state);
  if (!read) return Composition::unreadable;
  if (!found) return Composition::noChannels;
  int order = -1;
  if (!readRotateOrder(blend.samples[0], order)) return Composition::unreadable;
  channels.setRotateOrder(order);
  std::copy_n(channels.compose().m, matrixSize, matrix);
  return Composition::done;
}

// Reads the channels one after another, from a cache that holds all samples of the run at a time. A
// channel whose first sample is there counts as found, also when a later one is missing; it then
// keeps the value that it had. A sample that cannot be read is another matter: the matrix would be
// that of an object without the channel.
template <typename T>
bool TransformVekObj::readHeldChannels(const Blend& blend, const VekDATRChunk& attrs,
                                       VekTransformChannels<T>& channels, bool& found,
                                       AnimationState& state) {
  SampleAttrs samples(*m_cache, m_objectIndex, blend.samples);
  const std::vector<std::string>& animated = attrs.aatr.names;
  for (std::size_t i = 0; i < animated.size(); ++i) {
    const std::size_t channel = findTransformChannel(animated[i]);
    if (channel == Channel::Count) continue;
    ChannelValues<T> values = {static_cast<int>(i), channel, true, 0, {}};
    while (values.numRead < blend.count && takeFirstValue(samples.get(values.numRead, values.attr),
                                                          values.c[values.numRead], found))
      ++values.numRead;
    if (values.numRead < blend.count) {
      if (m_cache->isUnreadable(blend.samples[values.numRead], m_objectIndex)) return false;
      continue;
    }
    channels.set(channel, blendChannel(blend, values));
    state = Animated;
  }
  const std::vector<std::string>& fixed = attrs.satr.names;
  for (std::size_t i = 0; i < fixed.size(); ++i) {
    const std::size_t channel = findTransformChannel(fixed[i]);
    if (channel == Channel::Count) continue;
    T value = 0;
    const VekChunk* const chunk = attrs.getStaticData(static_cast<int>(animated.size() + i));
    if (takeFirstValue(chunk, value, found)) channels.set(channel, value);
  }
  return true;
}

// Reads the channels from any cache, in batches.
template <typename T>
bool TransformVekObj::readAllChannels(const Blend& blend, const VekDATRChunk& attrs,
                                      VekTransformChannels<T>& channels, bool& found,
                                      AnimationState& state) {
  ChannelBatch<T> batch;
  const auto readBatch = [&] { return readChannels(blend, batch, channels, found, state); };
  for (int attr = 0; attr < attrs.getNumAttrs(); ++attr) {
    const std::size_t channel = findTransformChannel(attrs.getAttrName(attr));
    if (channel == Channel::Count) continue;
    batch.values[batch.size++] = {attr, channel, attrs.isAnimated(attr), 0, {}};
    if (batch.size == batch.values.size() && !readBatch()) return false;
  }
  return readBatch();
}

// Reads a batch of channels and empties it. Sample by sample, since a cache with a limit may load a
// sample anew whenever it changes. A channel whose first sample is there counts as found, also when
// a later one is missing; it then keeps the value that it had. False when a sample cannot be read.
template <typename T>
bool TransformVekObj::readChannels(const Blend& blend, ChannelBatch<T>& batch,
                                   VekTransformChannels<T>& channels, bool& found,
                                   AnimationState& state) {
  const auto end = batch.values.begin() + static_cast<std::ptrdiff_t>(batch.size);
  const bool animated = std::any_of(batch.values.begin(), end,
                                    [](const ChannelValues<T>& values) { return values.animated; });
  for (std::size_t sample = 0; sample < blend.count; ++sample) {
    if (animated && m_cache->isUnreadable(blend.samples[sample], m_objectIndex)) return false;
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
  return true;
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

template <typename T>
bool TransformVekObj::readFirstValue(int sampleIndex, int attr, T& value, bool& found) {
  return takeFirstValue(getAttrDataChunk(sampleIndex, attr), value, found);
}

// The order stored with the sample, -1 for none; false when that cannot be told.
bool TransformVekObj::readRotateOrder(int sampleIndex, int& order) {
  const VekChunk* chunk = nullptr;
  findChunk(sampleIndex, Tag::MTRO, chunk);
  if (chunk == nullptr) {
    if (m_cache->isUnreadable(sampleIndex, m_objectIndex)) return false;
    findChunk(sampleIndex, Tag::MTRO, chunk);  // The sample may have been read only now.
  }
  const std::vector<int>* stored = nullptr;
  order = getVekLeafData(chunk, stored) && !stored->empty() ? stored->front() : -1;
  return true;
}

// --- Blended from stored matrices ----------------------------------------------------------------

namespace {

/// Puts a transform together from a rotation and the blended elements of the matrices, which
/// `element` gives by their number.
template <typename T, typename Element>
VekMatrix<T> recompose(const VekQuaternion<T>& qi, Element element) {
  // The diagonal is blended as it stands, also where rotation is part of it.
  const T s[] = {element(0), element(5), element(10)};
  const T t[] = {element(12), element(13), element(14)};
  const VekMatrix<T> rMat = toMatrix(qi);
  if (verbosity >= 2) {
    trace("qi:", qi);
    trace("sMat:", scaling(s[0], s[1], s[2]));
    trace("rMat:", rMat);
    trace("tMat:", translation(t[0], t[1], t[2]));
  }
  return placedRotation(s[0], s[1], s[2], rMat, t[0], t[1], t[2]);
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
