// SPDX-License-Identifier: Apache-2.0
//
// Fuzz entry point of the object views: every accessor of every view that the factory builds, at
// samples and at times. Mostly the input chooses one kind of numbers and of interpolation.

#include <algorithm>
#include <cstring>
#include <limits>

#include "FuzzInput.h"
#include "FuzzViews.h"

using namespace Vek;
using namespace VekFuzz;

namespace {

std::vector<int> sampleIndices(const VekCache& cache, int most) {
  const int count = cache.getNumSamples();
  std::vector<int> indices = {-1, count};
  for (int i = 0; i < std::min(count, most); ++i) indices.push_back(i);
  return indices;
}

/// What an execution asks for, by default everything.
struct Focus {
  Numbers numbers = Numbers::Both;
  int interpolation = -1;     ///< -1 for all
  int firstObject = 0;        ///< of those that are looked at
  std::size_t firstTime = 0;  ///< 0 or 1, of every second one
  int mostObjects = 3;
  int mostSamples = 3;
  bool keepOpen = false;
  int verbosity = 6;  ///< The traces go nowhere, but they look at much.
};

Focus chooseFocus(Choices& choices) {
  Focus focus;
  if (choices.isEmpty()) return focus;
  const unsigned questions = choices.next();
  focus.numbers = questions % 2 != 0 ? Numbers::Float : Numbers::Double;
  focus.interpolation = static_cast<int>(questions / 2 % 4);
  focus.firstObject = static_cast<int>(questions / 8);
  focus.firstTime = questions / 8 % 2;
  focus.mostObjects = 2;
  focus.mostSamples = 2;
  const unsigned settings = choices.next();
  focus.keepOpen = settings % 8 != 7;
  focus.verbosity = settings < 240 ? 0 : static_cast<int>(settings % 8) - 1;
  return focus;
}

/// Times in, at and around the samples; one of two when not all are wanted.
std::vector<float> evaluationTimes(const VekCache& cache, const Focus& focus, Choices& choices) {
  constexpr float inf = std::numeric_limits<float>::infinity();
  constexpr float odd[] = {
      std::numeric_limits<float>::quiet_NaN(), inf, -inf, 3.4e38F, -3.4e38F, 1e-40F};
  const float first = cache.getFirstTime();
  const float last = cache.getLastTime();
  std::vector<float> times = {first - 1,          first,   (first + last) / 2, last,
                              choices.oneOf(odd), last + 1};
  const int count = std::min(cache.getNumSamples(), focus.mostSamples);
  for (int i = 0; i + 1 < count; ++i) {
    const float t = cache.getSampleTime(i);
    const float next = cache.getSampleTime(i + 1);
    times.push_back(t + (next - t) * 0.37F);
  }
  if (focus.interpolation < 0) return times;
  const std::size_t kept = times.size() / 2;
  for (std::size_t i = 0; i < kept; ++i) times[i] = times[2 * i + focus.firstTime];
  times.resize(kept);
  return times;
}

void exercise(VekHelperObj& view, const VekCache& cache, const Focus& focus, Choices& choices) {
  askHead(view);
  for (const int sample : sampleIndices(cache, focus.mostSamples))
    askAtSample(view, sample, focus.numbers);
  VekInterpolationHints hints;
  hints.interpolationNames = {"none", "linear"};
  hints.option = choices.below(3);
  const std::vector<float> times = evaluationTimes(cache, focus, choices);
  const int odd = choices.below(3) - 1;
  for (int interpolation = 0; interpolation <= 3; ++interpolation) {
    if (focus.interpolation >= 0 && interpolation != focus.interpolation) continue;
    hints.interpolation = interpolation;
    for (const float time : times) askAtTime(view, time, hints, focus.numbers);
  }
  hints.interpolation = odd < 0 ? std::numeric_limits<int>::min() : 4 + odd;
  askAtTime(view, times.back(), hints, focus.numbers);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFile file("in");
  constexpr int maxSampleLimits[] = {0, 1, 2, 4};
  const SilentStreams silent;
  Choices choices(data, size);
  const Focus focus = chooseFocus(choices);
  verbosity = focus.verbosity;
  file.setInput(data, size);
  bool ok = false;
  VekRoMemCache cache(file.path(), focus.keepOpen, choices.oneOf(maxSampleLimits), &ok);
  if (!ok) return 0;
  VekHelperObjFactory factory(&cache);
  std::vector<std::string> names;
  factory.getObjectNames(names);
  const int count = cache.getNumObjects();
  for (int i = -1; i < std::min(count, focus.mostObjects); ++i) {
    const int obj = i < 0 ? -1 : (focus.firstObject + i) % count;
    VekHelperObj* const view = factory.vekObjBuilder(obj);
    check(view != nullptr, "every object has a view");
    exercise(*view, cache, focus, choices);
    view->destroy();
  }
  return 0;
}
