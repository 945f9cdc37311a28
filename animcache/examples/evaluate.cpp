// SPDX-License-Identifier: Apache-2.0
//
// Asks every object of a cache where it is at a time, which may lie between two samples: a
// transform for its matrix, a curve or a surface for its control points, other geometry for its
// points, each with linear, quadratic and cubic interpolation side by side.
//
//     evaluate scene.vek             at frame 12.5
//     evaluate scene.vek 12.25 40    at frames 12.25 and 40

#include <VekHelperObj.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <locale>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace Vek;

namespace {

constexpr float defaultTime = 12.5F;
constexpr int maxDegree = 3;
// A cubic interpolation blends four samples. The objects of a time need the same ones.
constexpr int samplesInMemory = maxDegree + 1;
constexpr std::size_t maxRows = 4;
constexpr std::size_t numColumns = 4;
constexpr std::size_t columnWidth = 8;

// The view of an object belongs to whom it was built for, who frees it with destroy().
struct DestroyView {
  void operator()(VekHelperObj* view) const { view->destroy(); }
};
using View = std::unique_ptr<VekHelperObj, DestroyView>;

// ----------------------------------------------------------------------------------- evaluation

struct Answer {
  bool isGiven = false;  // false before the first sample, and where data are missing or damaged
  VekHelperObj::AnimationState state = VekHelperObj::Static;
  std::vector<float> values;  // a matrix row by row, or one point after another
  int rowSize = 4;
};

Answer evaluate(VekHelperObj& view, float time, VekInterpolationHints& hints) {
  Answer answer;
  if (auto* const transform = dynamic_cast<TransformVekObj*>(&view)) {
    answer.isGiven = transform->getTransformAtTime(time, hints, answer.values, answer.state);
  } else if (auto* const curve = dynamic_cast<NurbsCurveVekObj*>(&view)) {
    answer.isGiven = curve->getControlPointsAtTime(time, hints, answer.values, answer.state);
  } else if (auto* const surface = dynamic_cast<NurbsSurfaceVekObj*>(&view)) {
    answer.isGiven = surface->getControlPointsAtTime(time, hints, answer.values, answer.state);
  } else if (auto* const points = dynamic_cast<GeometryVekObj*>(&view)) {
    answer.isGiven =
        points->getPositionAtTime(time, hints, answer.values, answer.state, answer.rowSize);
  }
  if (!answer.isGiven) answer.values.clear();
  return answer;
}

// -------------------------------------------------------------------------------------- printing

const char* stateName(VekHelperObj::AnimationState state) {
  return state == VekHelperObj::Animated ? "animated" : "static";
}

std::string kindOf(VekHelperObj& view) {
  std::string kind;
  for (const std::string& category : view.categories()) {
    kind += (kind.empty() ? "" : ", ") + category;
  }
  return kind;
}

// At least one blank and the number, in the width of a column however large it is.
std::string toColumn(float value) {
  const float size = std::fabs(value);
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::setw(columnWidth);
  if (size < 0.0005F) {
    text << "0.000";
  } else if (size < 99.9F) {
    text << std::fixed << std::setprecision(3) << value;
  } else if (size < 9999.0F) {
    text << std::fixed << std::setprecision(1) << value;
  } else {
    text << std::scientific << std::setprecision(0) << value;
  }
  return text.str();
}

std::string toColumns(const Answer& answer, std::size_t row) {
  const auto rowSize = static_cast<std::size_t>(answer.rowSize);
  std::string text;
  for (std::size_t i = 0; i < rowSize && row * rowSize + i < answer.values.size(); ++i) {
    text += toColumn(answer.values[row * rowSize + i]);
  }
  text.resize(numColumns * columnWidth, ' ');
  return text;
}

// Prints a line without the blanks at its end; false for an empty one.
bool printLine(std::string line) {
  line.erase(line.find_last_not_of(' ') + 1);
  if (!line.empty()) std::cout << line << '\n';
  return !line.empty();
}

void printAnswers(VekHelperObj& view, float time) {
  VekInterpolationHints hints;
  hints.interpolationNames = {"none", "linear", "quadratic", "cubic"};
  std::vector<Answer> answers;
  std::string head;
  for (int degree = 1; degree <= maxDegree; ++degree) {
    hints.interpolation = degree;
    answers.push_back(evaluate(view, time, hints));
    const Answer& answer = answers.back();
    head +=
        "  " + hints.describe() + ", " + (answer.isGiven ? stateName(answer.state) : "no answer");
    head.resize(answers.size() * numColumns * columnWidth, ' ');
  }
  printLine(head);
  for (std::size_t row = 0; row < maxRows; ++row) {
    std::string line;
    for (const Answer& answer : answers) line += toColumns(answer, row);
    if (!printLine(line)) break;
  }
}

// Bounds belong to the samples; there are none in between.
void printBounds(const VekCache& cache, VekHelperObj& view, float time) {
  const int sample = std::max(cache.getMaxSampleIndexNotGreaterThan(time), 0);
  float bounds[6] = {};  // the least and the greatest x, then y, then z
  VekHelperObj::AnimationState state = VekHelperObj::Static;
  if (!view.getBounds(sample, bounds, state)) return;
  std::cout << "  bounds";
  if (cache.getNumSamples() > 0) std::cout << " at frame " << cache.getSampleTime(sample);
  std::cout << ", " << stateName(state) << ':';
  for (std::size_t axis = 0; axis < 3; ++axis) {
    std::cout << ' ' << "xyz"[axis] << toColumn(bounds[2 * axis]) << " .."
              << toColumn(bounds[2 * axis + 1]);
  }
  std::cout << '\n';
}

void printObject(const VekCache& cache, VekHelperObj& view, float time) {
  std::cout << view.getName() << " : " << kindOf(view) << '\n';
  printBounds(cache, view, time);
  // Locators and coordinate systems stand where the transform above them puts them.
  if (view.isA("transform") || view.isA("geometry")) printAnswers(view, time);
}

// --------------------------------------------------------------------------------------- program

int fail(const std::string& path, const char* what) {
  std::cout.flush();
  std::cerr << "evaluate: " << path << ": " << what << '\n';
  return 1;
}

int run(const std::string& path, const std::vector<float>& times) {
  bool loaded = false;
  VekRoMemCache cache(path.c_str(), true, samplesInMemory, &loaded);
  if (!loaded) return fail(path, "cannot be read as a cache");

  // Declared after the cache, which views look into: they go first.
  VekHelperObjFactory factory(&cache);
  std::vector<View> views;
  for (int object = 0; object < cache.getNumObjects(); ++object) {
    views.emplace_back(factory.vekObjBuilder(object));
    if (!views.back()) return fail(path, "not enough memory for the objects");
  }
  for (const float time : times) {
    std::cout << "frame " << time << '\n';
    for (const View& view : views) printObject(cache, *view, time);
  }
  return std::cout.flush() ? 0 : fail(path, "the answers cannot be written");
}

bool parseTime(const char* text, std::vector<float>& times) {
  char* end = nullptr;
  times.push_back(std::strtof(text, &end));
  return end != text && *end == '\0' && std::isfinite(times.back());
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<float> times;
  bool isValid = argc > 1 && argv[1][0] != '-';
  for (int i = 2; isValid && i < argc; ++i) isValid = parseTime(argv[i], times);
  if (!isValid) {
    std::cerr << "Usage: evaluate FILE [TIME...]\n";
    return 2;
  }
  if (times.empty()) times.push_back(defaultTime);
  return run(argv[1], times);
}
