// SPDX-License-Identifier: Apache-2.0
//
// The view of NURBS curves.

#include "VekGuarded.h"
#include "VekHelperObj.h"
#include "VekNurbs.h"
#include "VekSampleBlend.h"

namespace Vek {

NurbsCurveVekObj::NurbsCurveVekObj(VekRoMemCache* cache, int objectIndex)
    : GeometryVekObj(cache, objectIndex) {
  addCategory("nurbscurve");
}

NurbsCurveVekObj::NurbsCurveVekObj(const NurbsCurveVekObj& other) = default;

NurbsCurveVekObj& NurbsCurveVekObj::operator=(const NurbsCurveVekObj& other) = default;

NurbsCurveVekObj::~NurbsCurveVekObj() = default;

bool NurbsCurveVekObj::getDegree(int sampleIndex, int& degree, AnimationState& state) {
  const VekChunk* chunk = nullptr;
  state = findChunk(sampleIndex, Tag::DEGR, chunk);
  const std::vector<int>* data = nullptr;
  if (!getVekLeafData(chunk, data) || data->empty()) return false;
  degree = data->front();
  return true;
}

bool NurbsCurveVekObj::getForm(int sampleIndex, std::string& form, AnimationState& state) {
  const VekChunk* chunk = nullptr;
  state = findChunk(sampleIndex, Tag::FORM, chunk);
  const std::vector<std::string>* data = nullptr;
  if (!getVekLeafData(chunk, data) || data->empty()) return false;
  return guarded(false, [&] {
    form = data->front();
    return true;
  });
}

// --- Knots ---------------------------------------------------------------------------------------

template <typename T>
bool NurbsCurveVekObj::readKnots(int sampleIndex, std::vector<T>& knots, AnimationState& state,
                                 bool addEndKnots) {
  const VekChunk* chunk = nullptr;
  state = findChunk(sampleIndex, Tag::KNTU, chunk);
  const auto copy = [&](const auto& stored) {
    return (!addEndKnots || !stored.empty()) && guarded(false, [&] {
             copyKnots(stored, addEndKnots, knots);
             return true;
           });
  };
  const std::vector<double>* doubles = nullptr;
  if (getVekLeafData(chunk, doubles)) return copy(*doubles);
  const std::vector<float>* floats = nullptr;
  return getVekLeafData(chunk, floats) && copy(*floats);
}

bool NurbsCurveVekObj::getKnots(int sampleIndex, std::vector<float>& knots, AnimationState& state,
                                bool addEndKnots) {
  return readKnots(sampleIndex, knots, state, addEndKnots);
}

bool NurbsCurveVekObj::getKnots(int sampleIndex, std::vector<double>& knots, AnimationState& state,
                                bool addEndKnots) {
  return readKnots(sampleIndex, knots, state, addEndKnots);
}

// --- Control points ------------------------------------------------------------------------------

template <typename T>
bool NurbsCurveVekObj::readControlPoints(int sampleIndex, std::vector<T>& points,
                                         AnimationState& state) {
  state = Static;
  int degree = 0;
  std::string form;
  AnimationState ignored = Static;
  if (!getDegree(sampleIndex, degree, ignored) || !getForm(sampleIndex, form, ignored))
    return false;
  const NurbsDirection u(getNumKnots(sampleIndex, Tag::KNTU), degree, form);
  if (!u.isValid()) return false;
  const VekChunk* chunk = nullptr;
  const AnimationState found = findChunk(sampleIndex, Tag::POSI, chunk);
  const std::vector<float>* stored = nullptr;
  if (!getVekLeafData(chunk, stored)) return false;
  state = found;
  if (u.distinct > static_cast<__int64>(stored->size() / 3)) return false;
  return guarded(false, [&] {
    std::vector<T> result;
    result.reserve(static_cast<std::size_t>(4 * u.numCVs));
    for (__int64 i = 0; i < u.numCVs; ++i) appendControlPoint(*stored, u.storedIndex(i), result);
    points.swap(result);
    return true;
  });
}

bool NurbsCurveVekObj::getControlPoints(int sampleIndex, std::vector<float>& points,
                                        AnimationState& state) {
  return readControlPoints(sampleIndex, points, state);
}

bool NurbsCurveVekObj::getControlPoints(int sampleIndex, std::vector<double>& points,
                                        AnimationState& state) {
  return readControlPoints(sampleIndex, points, state);
}

template <typename T>
bool NurbsCurveVekObj::evaluateControlPoints(float time, VekInterpolationHints& hints,
                                             std::vector<T>& points, AnimationState& state) {
  const SampleChoice choice = evaluateAt(time, hints);
  const int degree = hints.interpolation;
  if (!choice.blends(degree)) return getControlPoints(choice.first, points, state);
  return guarded(false, [&] {
    SampleRun<T> run(true);
    for (int i = 0; i <= degree; ++i) {
      std::vector<T> read;
      if (!getControlPoints(choice.index(i), read, state)) return false;
      run.add(std::move(read));
    }
    if (!run.agrees(false)) return false;
    const float t = getBlendPosition(choice, time, degree);
    blendSamples<AttributeKernels>(degree, static_cast<T>(t), run, points);
    return true;
  });
}

bool NurbsCurveVekObj::getControlPointsAtTime(float time, VekInterpolationHints& hints,
                                              std::vector<float>& points, AnimationState& state) {
  return evaluateControlPoints(time, hints, points, state);
}

bool NurbsCurveVekObj::getControlPointsAtTime(float time, VekInterpolationHints& hints,
                                              std::vector<double>& points, AnimationState& state) {
  return evaluateControlPoints(time, hints, points, state);
}

}  // namespace Vek
