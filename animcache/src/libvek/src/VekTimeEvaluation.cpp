// SPDX-License-Identifier: Apache-2.0
//
// The choice of samples around a time, and attributes at any time.

#include <algorithm>
#include <cmath>
#include <iostream>

#include "VekGuarded.h"
#include "VekHelperObj.h"
#include "VekInterpolation.h"
#include "VekSampleBlend.h"

namespace Vek {

namespace {

constexpr float exactHit = 0.001F;

/// The longest run that is listed. Blends take four samples at most; a wrong degree must not ask
/// for memory without end.
constexpr __int64 maxListedRun = 1 << 20;

/// How many samples an evaluation takes.
__int64 getRunLength(const VekInterpolationHints& hints) {
  return std::max<__int64>(static_cast<__int64>(hints.interpolation) + 1, 0);
}

/// The first sample of a run that begins around `first`, pulled back from the end. Both numbers
/// fall together, so that each step moves the test by two; results depend on where this stops.
int pullBack(int first, __int64 runLength, int numSamples) {
  for (__int64 m = runLength; first + m >= numSamples && first != 0; --m) --first;
  return first;
}

/// Ends `what` with the values after a blank, separated by ", ".
template <typename T>
void traceList(const char* what, const std::vector<T>& values) {
  std::cerr << what;
  for (std::size_t i = 0; i < values.size(); ++i) std::cerr << (i == 0 ? " " : ", ") << values[i];
  std::cerr << std::endl;
}

}  // namespace

VekHelperObj::SampleChoice VekHelperObj::chooseSamples(float time,
                                                       const VekInterpolationHints& hints) const {
  const int numSamples = m_cache->getNumSamples();
  const int last = numSamples - 1;
  const int first = m_cache->getMaxSampleIndexNotGreaterThan(time);
  if (first < 0) return {SampleChoice::none, -1, last};
  if (std::fabs(time - m_cache->getSampleTime(first)) < exactHit)
    return {SampleChoice::hit, first, last};
  if (time >= m_cache->getLastTime()) return {SampleChoice::end, last, last};
  const __int64 runLength = getRunLength(hints);
  return {SampleChoice::run, runLength > 2 ? pullBack(first, runLength, numSamples) : first, last};
}

VekHelperObj::SampleChoice VekHelperObj::evaluateAt(float time, VekInterpolationHints& hints) {
  if (verbosity >= 1) {
    std::vector<int> indices;
    std::vector<float> times;
    guarded(false, [&] { return getEvalTimeAndSampleIndices(time, hints, indices, times); });
  }
  return chooseSamples(time, hints);
}

bool VekHelperObj::getEvalTimeAndSampleIndices(float time, VekInterpolationHints& hints,
                                               std::vector<int>& sampleIndices,
                                               std::vector<float>& sampleTimes) {
  const __int64 count = getRunLength(hints);
  const bool resized = count <= maxListedRun && guarded(false, [&] {
                         sampleIndices.resize(static_cast<std::size_t>(count));
                         sampleTimes.resize(static_cast<std::size_t>(count));
                         return true;
                       });
  if (!resized) {
    sampleIndices.clear();
    sampleTimes.clear();
    return false;
  }
  const SampleChoice choice = chooseSamples(time, hints);
  // For a hit the other entries stay as they are.
  const std::size_t numFilled = choice.kind == SampleChoice::hit
                                    ? std::min<std::size_t>(sampleIndices.size(), 1)
                                    : sampleIndices.size();
  for (std::size_t i = 0; i < numFilled; ++i) {
    sampleIndices[i] = choice.index(static_cast<int>(i));
    sampleTimes[i] = getChosenTime(choice, time, static_cast<int>(i));
  }
  const bool blend = choice.kind == SampleChoice::run;
  if (verbosity >= 1) traceSamples(time, hints, sampleIndices, sampleTimes, blend);
  return blend;
}

float VekHelperObj::getChosenTime(const SampleChoice& choice, float time, int i) const {
  if (choice.kind == SampleChoice::run) return m_cache->getSampleTime(choice.index(i));
  return choice.kind == SampleChoice::end ? m_cache->getLastTime() : time;
}

// The quadratic and the cubic blend measure from the second sample; results depend on it.
float VekHelperObj::getBlendPosition(const SampleChoice& choice, float time, int degree) const {
  const int from = degree == 1 ? 0 : 1;
  return samplePosition(time, m_cache->getSampleTime(choice.index(from)),
                        m_cache->getSampleTime(choice.index(from + 1)));
}

void VekHelperObj::traceSamples(float time, const VekInterpolationHints& hints,
                                const std::vector<int>& sampleIndices,
                                const std::vector<float>& sampleTimes, bool blend) const {
  std::cerr << "\nVekHelperObj::getEvalTimeAndSampleIndices for " << hints.describe()
            << ", numSamples: " << m_cache->getNumSamples() << ", evaluate at time: " << time
            << std::endl;
  traceList(" samples:", sampleIndices);
  traceList("   times:", sampleTimes);
  std::cerr << " samples are " << (blend ? "good" : "bad") << "\n ..." << std::endl;
}

// The values are emptied after a failure only: those of an earlier call are memory to reuse.
bool VekHelperObj::getAttrAtTime(float time, int attrIndex, VekInterpolationHints& hints,
                                 std::vector<double>& values, int& dimension) {
  dimension = 0;
  const SampleChoice choice = evaluateAt(time, hints);
  const int degree = hints.interpolation;
  const auto blend = [&] {
    SampleRun<double> run(SampleRun<double>::needsCopies(*m_cache, degree));
    for (int i = 0; i <= degree; ++i) {
      const std::vector<double>* data = nullptr;
      if (!getAttrData(choice.index(i), attrIndex, data, dimension)) return false;
      run.add(*data);
    }
    if (!run.agrees(true)) return false;
    const float t = getBlendPosition(choice, time, degree);
    blendSamples<AttributeKernels>(degree, static_cast<double>(t), run, values);
    traceBlend(degree, t, values);
    return true;
  };
  const bool evaluated = choice.blends(degree)
                             ? guarded(false, blend)
                             : getAttr(choice.first, attrIndex, values, dimension);
  if (!evaluated) values.clear();
  return evaluated;
}

}  // namespace Vek
