// SPDX-License-Identifier: Apache-2.0
//
// The view of NURBS surfaces.

#include <algorithm>
#include <iostream>

#include "VekCopyValues.h"
#include "VekGuarded.h"
#include "VekHelperObj.h"
#include "VekNurbs.h"
#include "VekSampleBlend.h"

namespace Vek {

NurbsSurfaceVekObj::NurbsSurfaceVekObj(VekRoMemCache* cache, int objectIndex)
    : GeometryVekObj(cache, objectIndex) {
  addCategory("nurbssurface");
}

NurbsSurfaceVekObj::NurbsSurfaceVekObj(const NurbsSurfaceVekObj& other) = default;

NurbsSurfaceVekObj& NurbsSurfaceVekObj::operator=(const NurbsSurfaceVekObj& other) = default;

NurbsSurfaceVekObj::~NurbsSurfaceVekObj() = default;

bool NurbsSurfaceVekObj::getDegree(int sampleIndex, int& degreeU, int& degreeV,
                                   AnimationState& state) {
  degreeU = 0;
  degreeV = 0;
  state = Static;
  const VekChunk* chunk = nullptr;
  const AnimationState found = findChunk(sampleIndex, Tag::DEGR, chunk);
  const std::vector<int>* data = nullptr;
  if (!getVekLeafData(chunk, data)) return false;
  state = found;
  if (data->size() >= 2) {
    degreeU = (*data)[0];
    degreeV = (*data)[1];
  }
  return true;
}

bool NurbsSurfaceVekObj::getForm(int sampleIndex, std::string& formU, std::string& formV,
                                 AnimationState& state) {
  state = Static;
  const VekChunk* chunk = nullptr;
  const AnimationState found = findChunk(sampleIndex, Tag::FORM, chunk);
  const std::vector<std::string>* data = nullptr;
  if (!getVekLeafData(chunk, data)) return false;
  state = found;
  if (data->size() < 2) return true;
  return guarded(false, [&] {
    std::string u = (*data)[0];
    std::string v = (*data)[1];
    formU.swap(u);
    formV.swap(v);
    return true;
  });
}

// --- Knots ---------------------------------------------------------------------------------------

int NurbsSurfaceVekObj::getNumKnotUData(int sampleIndex) {
  return getNumKnots(sampleIndex, Tag::KNTU);
}

int NurbsSurfaceVekObj::getNumKnotVData(int sampleIndex) {
  return getNumKnots(sampleIndex, Tag::KNTV);
}

template <typename Stored, typename T>
bool NurbsSurfaceVekObj::copyBothKnots(const VekChunk* chunkU, const VekChunk* chunkV,
                                       bool addEndKnots, std::vector<T>& knotsU,
                                       std::vector<T>& knotsV) {
  const std::vector<Stored>* storedU = nullptr;
  const std::vector<Stored>* storedV = nullptr;
  if (!getVekLeafData(chunkU, storedU) || !getVekLeafData(chunkV, storedV)) return false;
  if (addEndKnots && (storedU->empty() || storedV->empty())) return false;
  return guarded(false, [&] {
    std::vector<T> u;
    copyKnots(*storedU, addEndKnots, u);
    copyKnots(*storedV, addEndKnots, knotsV);
    knotsU.swap(u);
    return true;
  });
}

template <typename T>
bool NurbsSurfaceVekObj::readKnots(int sampleIndex, std::vector<T>& knotsU, std::vector<T>& knotsV,
                                   AnimationState& state, bool addEndKnots) {
  state = Static;
  const VekChunk* chunkU = nullptr;
  const VekChunk* chunkV = nullptr;
  findChunk(sampleIndex, Tag::KNTU, chunkU);
  const AnimationState found = findChunk(sampleIndex, Tag::KNTV, chunkV);
  if (chunkU == nullptr || chunkV == nullptr) return false;
  state = found;
  // Knots stored in double always get their end knots; callers rely on it.
  return chunkU->getType() == ValueType::Double
             ? copyBothKnots<double>(chunkU, chunkV, true, knotsU, knotsV)
             : copyBothKnots<float>(chunkU, chunkV, addEndKnots, knotsU, knotsV);
}

bool NurbsSurfaceVekObj::getKnots(int sampleIndex, std::vector<float>& knotsU,
                                  std::vector<float>& knotsV, AnimationState& state,
                                  bool addEndKnots) {
  return readKnots(sampleIndex, knotsU, knotsV, state, addEndKnots);
}

bool NurbsSurfaceVekObj::getKnots(int sampleIndex, std::vector<double>& knotsU,
                                  std::vector<double>& knotsV, AnimationState& state,
                                  bool addEndKnots) {
  return readKnots(sampleIndex, knotsU, knotsV, state, addEndKnots);
}

// --- Control points ------------------------------------------------------------------------------

template <typename T>
bool NurbsSurfaceVekObj::readControlPoints(int sampleIndex, std::vector<T>& points,
                                           AnimationState& state, bool uFastest) {
  state = Static;
  std::string formU;
  std::string formV;
  int degreeU = 0;
  int degreeV = 0;
  AnimationState ignored = Static;
  if (!getForm(sampleIndex, formU, formV, ignored) ||
      !getDegree(sampleIndex, degreeU, degreeV, ignored))
    return false;
  const int numKnotsU = getNumKnotUData(sampleIndex);
  const int numKnotsV = getNumKnotVData(sampleIndex);
  if (numKnotsU == 0 || numKnotsV == 0) return false;
  const VekChunk* chunk = nullptr;
  const AnimationState found = findChunk(sampleIndex, Tag::POSI, chunk);
  const std::vector<float>* stored = nullptr;
  if (!getVekLeafData(chunk, stored)) return false;
  state = found;
  const NurbsDirection u(numKnotsU, degreeU, formU);
  const NurbsDirection v(numKnotsV, degreeV, formV);
  const auto numStored = static_cast<__int64>(stored->size() / 3);
  if (!u.isValid() || !v.isValid() || u.distinct > numStored / v.distinct) return false;
  const __int64 count = u.numCVs * v.numCVs;
  if (count > std::max(4 * numStored, maxRepeatedControlPoints)) return false;
  return guarded(false, [&] {
    std::vector<T> result;
    result.reserve(static_cast<std::size_t>(4 * count));
    for (__int64 i = 0; i < count; ++i) {
      const __int64 indexU = uFastest ? i % u.numCVs : i / v.numCVs;
      const __int64 indexV = uFastest ? i / u.numCVs : i % v.numCVs;
      appendControlPoint(*stored, u.storedIndex(indexU) * v.distinct + v.storedIndex(indexV),
                         result);
    }
    points.swap(result);
    return true;
  });
}

bool NurbsSurfaceVekObj::getControlPoints(int sampleIndex, std::vector<float>& points,
                                          AnimationState& state, bool uFastest) {
  return readControlPoints(sampleIndex, points, state, uFastest);
}

bool NurbsSurfaceVekObj::getControlPoints(int sampleIndex, std::vector<double>& points,
                                          AnimationState& state, bool uFastest) {
  return readControlPoints(sampleIndex, points, state, uFastest);
}

namespace {

template <typename T>
void traceControlPoints(const std::vector<T>& points, const SampleRun<T>& run) {
  for (std::size_t i = 0; i < points.size(); ++i)
    std::cerr << " CPs[" << i << "] " << points[i] << " CPs1 " << run[0][i] << " CPs2 " << run[1][i]
              << std::endl;
}

}  // namespace

template <typename T>
bool NurbsSurfaceVekObj::evaluateControlPoints(float time, VekInterpolationHints& hints,
                                               std::vector<T>& points, AnimationState& state,
                                               bool uFastest) {
  const SampleChoice choice = evaluateAt(time, hints);
  const int degree = hints.interpolation;
  if (!choice.blends(degree)) return getControlPoints(choice.first, points, state, uFastest);
  return guarded(false, [&] {
    SampleRun<T> run(true);
    for (int i = 0; i <= degree; ++i) {
      std::vector<T> read;
      if (!getControlPoints(choice.index(i), read, state, uFastest)) return false;
      run.add(std::move(read));
    }
    if (!run.agrees(false)) return false;
    const float t = getBlendPosition(choice, time, degree);
    blendSamples<AttributeKernels>(degree, static_cast<T>(t), run, points);
    if (degree == 1 && verbosity >= 2) traceControlPoints(points, run);
    return true;
  });
}

bool NurbsSurfaceVekObj::getControlPointsAtTime(float time, VekInterpolationHints& hints,
                                                std::vector<float>& points, AnimationState& state,
                                                bool uFastest) {
  return evaluateControlPoints(time, hints, points, state, uFastest);
}

bool NurbsSurfaceVekObj::getControlPointsAtTime(float time, VekInterpolationHints& hints,
                                                std::vector<double>& points, AnimationState& state,
                                                bool uFastest) {
  return evaluateControlPoints(time, hints, points, state, uFastest);
}

// --- Attributes in the order of the control points -----------------------------------------------

template <typename Stored, typename T>
bool NurbsSurfaceVekObj::getSurfaceAttrValues(int sampleIndex, const std::vector<Stored>& stored,
                                              int dimension, std::vector<T>& values,
                                              bool uFastest) {
  if (!uFastest) return copyValues(stored, values);
  int degreeU = 0;
  int degreeV = 0;
  AnimationState ignored = Static;
  if (!getDegree(sampleIndex, degreeU, degreeV, ignored)) return false;
  const int numKnotsU = getNumKnotUData(sampleIndex);
  const int numKnotsV = getNumKnotVData(sampleIndex);
  if (numKnotsU == 0 || numKnotsV == 0) return false;
  const __int64 numU = static_cast<__int64>(numKnotsU) - degreeU + 1;
  const __int64 numV = static_cast<__int64>(numKnotsV) - degreeV + 1;
  const auto count = static_cast<__int64>(stored.size());
  const bool isPerPoint = dimension > 0 && numU > 0 && numV > 0 && count % dimension == 0 &&
                          count / dimension % numU == 0 && count / dimension / numU == numV;
  if (!isPerPoint) return copyValues(stored, values);
  return guarded(false, [&] {
    std::vector<T> result;
    result.reserve(stored.size());
    for (__int64 i = 0; i < numU * numV; ++i) {
      const __int64 first = (i % numU * numV + i / numU) * dimension;
      for (__int64 k = first; k < first + dimension; ++k)
        result.push_back(static_cast<T>(stored[static_cast<std::size_t>(k)]));
    }
    values.swap(result);
    return true;
  });
}

template <typename First, typename Second, typename T>
bool NurbsSurfaceVekObj::readAttr(int sampleIndex, int attrIndex, std::vector<T>& values,
                                  int& dimension, bool uFastest) {
  const std::vector<First>* first = nullptr;
  if (getAttrData(sampleIndex, attrIndex, first, dimension))
    return getSurfaceAttrValues(sampleIndex, *first, dimension, values, uFastest);
  const std::vector<Second>* second = nullptr;
  return getAttrData(sampleIndex, attrIndex, second, dimension) &&
         getSurfaceAttrValues(sampleIndex, *second, dimension, values, uFastest);
}

bool NurbsSurfaceVekObj::getAttr(int sampleIndex, int attrIndex, std::vector<float>& values,
                                 int& dimension, bool uFastest) {
  return readAttr<float, double>(sampleIndex, attrIndex, values, dimension, uFastest);
}

bool NurbsSurfaceVekObj::getAttr(int sampleIndex, int attrIndex, std::vector<double>& values,
                                 int& dimension, bool uFastest) {
  return readAttr<double, float>(sampleIndex, attrIndex, values, dimension, uFastest);
}

bool NurbsSurfaceVekObj::getAttr(int sampleIndex, int attrIndex, std::vector<int>& values,
                                 int& dimension, bool uFastest) {
  return readAttr<int, __int64>(sampleIndex, attrIndex, values, dimension, uFastest);
}

bool NurbsSurfaceVekObj::getAttr(int sampleIndex, int attrIndex, std::vector<__int64>& values,
                                 int& dimension, bool uFastest) {
  return readAttr<__int64, int>(sampleIndex, attrIndex, values, dimension, uFastest);
}

bool NurbsSurfaceVekObj::getAttr(int sampleIndex, int attrIndex, std::vector<std::string>& values,
                                 bool uFastest) {
  const std::vector<std::string>* stored = nullptr;
  return getAttrData(sampleIndex, attrIndex, stored) &&
         getSurfaceAttrValues(sampleIndex, *stored, 1, values, uFastest);
}

// The degree and the knots that the order needs are looked up without a sample: only static ones
// are found.
template <typename T>
bool NurbsSurfaceVekObj::readPrefControlPoints(std::vector<T>& points, bool uFastest) {
  constexpr int noSample = -1;
  int dimension = 0;
  const std::vector<double>* doubles = nullptr;
  if (getPrefData(doubles, dimension))
    return getSurfaceAttrValues(noSample, *doubles, dimension, points, uFastest);
  const std::vector<float>* floats = nullptr;
  return getPrefData(floats, dimension) &&
         getSurfaceAttrValues(noSample, *floats, dimension, points, uFastest);
}

bool NurbsSurfaceVekObj::getPrefControlPoints(std::vector<float>& points, bool uFastest) {
  return readPrefControlPoints(points, uFastest);
}

bool NurbsSurfaceVekObj::getPrefControlPoints(std::vector<double>& points, bool uFastest) {
  return readPrefControlPoints(points, uFastest);
}

}  // namespace Vek
