// SPDX-License-Identifier: Apache-2.0
//
// The view of objects with points.

#include "VekCopyValues.h"
#include "VekGuarded.h"
#include "VekHelperObj.h"
#include "VekSampleBlend.h"

namespace Vek {

GeometryVekObj::GeometryVekObj(VekRoMemCache* cache, int objectIndex)
    : VekHelperObj(cache, objectIndex) {
  addCategory("geometry");
}

GeometryVekObj::GeometryVekObj(const GeometryVekObj& other) = default;

GeometryVekObj& GeometryVekObj::operator=(const GeometryVekObj& other) = default;

GeometryVekObj::~GeometryVekObj() = default;

// Points have three components unless they say that they have four.
int GeometryVekObj::getPointDimension(const VekChunk* chunk) const {
  return getDimension(chunk) == 4 ? 4 : 3;
}

// --- At a sample ---------------------------------------------------------------------------------

template <typename T>
bool GeometryVekObj::pointAtPositions(int sampleIndex, const std::vector<T>*& data,
                                      AnimationState& state, int& dimension) {
  data = nullptr;
  state = Static;
  const VekChunk* chunk = nullptr;
  const AnimationState found = findChunk(sampleIndex, Tag::POSI, chunk);
  if (!getVekLeafData(chunk, data)) return false;
  dimension = getPointDimension(chunk);
  state = found;
  return true;
}

bool GeometryVekObj::getPositionData(int sampleIndex, const std::vector<double>*& data,
                                     AnimationState& state, int& dimension) {
  return pointAtPositions(sampleIndex, data, state, dimension);
}

bool GeometryVekObj::getPositionData(int sampleIndex, const std::vector<float>*& data,
                                     AnimationState& state, int& dimension) {
  return pointAtPositions(sampleIndex, data, state, dimension);
}

// The dimension is set before the type is tested: a chunk of another type still reports it.
template <typename T>
bool GeometryVekObj::getChunkValues(int sampleIndex, unsigned tag, std::vector<T>& values,
                                    bool& animated, int& dimension) {
  const VekChunk* chunk = nullptr;
  animated = findChunk(sampleIndex, tag, chunk) == Animated;
  if (chunk == nullptr) return false;
  dimension = getPointDimension(chunk);
  const std::vector<float>* floats = nullptr;
  if (getVekLeafData(chunk, floats)) return copyValues(*floats, values);
  const std::vector<double>* doubles = nullptr;
  return getVekLeafData(chunk, doubles) && copyValues(*doubles, values);
}

template VEK_API bool GeometryVekObj::getChunkValues(int, unsigned, std::vector<float>&, bool&,
                                                     int&);
template VEK_API bool GeometryVekObj::getChunkValues(int, unsigned, std::vector<double>&, bool&,
                                                     int&);

template <typename T>
bool GeometryVekObj::copyPositions(int sampleIndex, std::vector<T>& values, AnimationState& state,
                                   int& dimension) {
  bool animated = false;
  const bool found = getChunkValues(sampleIndex, Tag::POSI, values, animated, dimension);
  state = animated ? Animated : Static;
  return found;
}

bool GeometryVekObj::getPosition(int sampleIndex, std::vector<double>& values,
                                 AnimationState& state, int& dimension) {
  return copyPositions(sampleIndex, values, state, dimension);
}

bool GeometryVekObj::getPosition(int sampleIndex, std::vector<float>& values, AnimationState& state,
                                 int& dimension) {
  return copyPositions(sampleIndex, values, state, dimension);
}

int GeometryVekObj::getNumKnots(int sampleIndex, unsigned tag) {
  const VekChunk* chunk = nullptr;
  findChunk(sampleIndex, tag, chunk);
  const std::vector<double>* doubles = nullptr;
  if (getVekLeafData(chunk, doubles)) return static_cast<int>(doubles->size());
  const std::vector<float>* floats = nullptr;
  return getVekLeafData(chunk, floats) ? static_cast<int>(floats->size()) : 0;
}

// --- At a time -----------------------------------------------------------------------------------

// The values are emptied after a failure only: those of an earlier call are memory to reuse.
template <typename T>
bool GeometryVekObj::evaluatePositions(float time, VekInterpolationHints& hints,
                                       std::vector<T>& values, AnimationState& state,
                                       int& dimension) {
  dimension = 0;
  state = Static;
  const SampleChoice choice = evaluateAt(time, hints);
  const int degree = hints.interpolation;
  const auto copySample = [&] {
    bool animated = false;
    if (!getChunkValues(choice.first, Tag::POSI, values, animated, dimension)) return false;
    state = animated ? Animated : Static;
    return true;
  };
  const auto blend = [&] {
    // Samples are read in single precision for both forms: between samples, positions stored in
    // double cannot be evaluated. Callers rely on the failure.
    SampleRun<float> run(SampleRun<float>::needsCopies(*m_cache, degree));
    for (int i = 0; i <= degree; ++i) {
      const std::vector<float>* data = nullptr;
      if (!getPositionData(choice.index(i), data, state, dimension)) return false;
      run.add(*data);
    }
    if (!run.agrees(false)) return false;
    const float t = getBlendPosition(choice, time, degree);
    blendSamples<PositionKernels>(degree, t, run, values);
    traceBlend(degree, t, values);
    return true;
  };
  const bool evaluated = choice.blends(degree) ? guarded(false, blend) : copySample();
  if (!evaluated) values.clear();
  return evaluated;
}

bool GeometryVekObj::getPositionAtTime(float time, VekInterpolationHints& hints,
                                       std::vector<double>& values, AnimationState& state,
                                       int& dimension) {
  return evaluatePositions(time, hints, values, state, dimension);
}

bool GeometryVekObj::getPositionAtTime(float time, VekInterpolationHints& hints,
                                       std::vector<float>& values, AnimationState& state,
                                       int& dimension) {
  return evaluatePositions(time, hints, values, state, dimension);
}

// --- Reference positions -------------------------------------------------------------------------

namespace {

bool isPrefName(const std::string& name) {
  return name == "rmanP__Pref" || name == "qorn_Pref";
}

}  // namespace

// The chunk of a reference position attribute, always at the first sample; null for another
// attribute.
const VekChunk* GeometryVekObj::getPrefChunk(int attrIndex, bool& matches) {
  const VekDATRChunk* const datr = m_cache->getObjDef(m_objectIndex)->getDATR();
  matches = isPrefName(datr->getAttrName(attrIndex));
  if (!matches) return nullptr;
  return getAttrDataChunk(m_cache->getSampleIndex(m_cache->getFirstTime()), attrIndex);
}

// The last usable match wins, up to the first that is not. The float form below decides otherwise;
// both are relied on.
bool GeometryVekObj::getPrefData(const std::vector<double>*& data, int& dimension) {
  data = nullptr;
  dimension = 0;
  for (int attr = 0; attr < getNumAttrs(); ++attr) {
    bool matches = false;
    const VekChunk* const chunk = getPrefChunk(attr, matches);
    if (!matches) continue;
    const std::vector<double>* found = nullptr;
    if (!getVekLeafData(chunk, found)) break;
    data = found;
    dimension = getPointDimension(chunk);
  }
  return data != nullptr;
}

// The first match decides.
bool GeometryVekObj::getPrefData(const std::vector<float>*& data, int& dimension) {
  data = nullptr;
  dimension = 0;
  for (int attr = 0; attr < getNumAttrs(); ++attr) {
    bool matches = false;
    const VekChunk* const chunk = getPrefChunk(attr, matches);
    if (!matches) continue;
    if (!getVekLeafData(chunk, data)) return false;
    dimension = getDimension(chunk);
    if (dimension == 0) dimension = 3;
    return true;
  }
  return false;
}

}  // namespace Vek
