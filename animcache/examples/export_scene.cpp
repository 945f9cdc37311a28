// SPDX-License-Identifier: Apache-2.0
//
// Writes an animated scene with an object of every kind to a cache file, as an exporting
// application does it: the head first, then sample after sample, so that memory stays the same
// however many samples there are.
//
//     export_scene scene.vek
//     export_scene --objects 200 --points 1000 large.vek

#include <VekChunks.h>

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "SceneObjects.h"

using namespace Vek;

namespace {

using Scene = std::vector<std::unique_ptr<SceneObject>>;

constexpr float firstFrame = 1.0F;
constexpr int maxSamples = 1000000;

struct Options {
  int numExtraObjects = 0;
  int numPoints = 100;
  float rate = 1.0F;
  int numFrames = 48;
  int numReserved = 0;
  bool isDouble = false;
  bool isNonUniform = false;
  std::string path;
};

// ---------------------------------------------------------------------------------------- scene

void addRig(Scene& scene, Precision precision) {
  TransformSettings root;
  root.rest = {0.0, 1.0, 0.0, 0.0, 30.0, 0.0};
  root.swing = {2.0, 0.0, 0.5, 0.0, 45.0, 0.0};
  scene.push_back(makeTransform("|rig:root", root, precision));

  TransformSettings arm;
  arm.rest = {0.5, 1.5, 0.0, 10.0, 0.0, 20.0};
  arm.swing = {0.0, 0.0, 0.0, 25.0, 0.0, 40.0};
  arm.rotateOrder = 1;
  scene.push_back(makeTransform("|rig:root|rig:arm", arm, precision));

  TransformSettings hand;
  hand.rest = {1.0, 0.0, 0.0, 0.0, 15.0, 45.0};
  hand.swing = {0.0, 0.0, 0.0, 60.0, 15.0, 5.0};
  hand.scale = {1.0, 1.25, 0.75};
  hand.rotateOrder = 5;
  scene.push_back(makeTransform("|rig:root|rig:arm|rig:hand", hand, precision));

  scene.push_back(makeSubdivisionMesh("|rig:root|rig:arm|rig:hand|rig:ball", precision));
}

void addStage(Scene& scene, int numPoints, Precision precision) {
  TransformSettings stage;
  stage.rest = {0.0, -1.0, 0.0, 0.0, 30.0, 0.0};
  stage.inherits = false;
  stage.channels = false;
  scene.push_back(makeTransform("|stage", stage, precision));

  TransformSettings turntable;
  turntable.rest = {0.0, 0.0, 2.0, 0.0, 0.0, 0.0};
  turntable.swing = {0.0, 0.0, 0.0, 5.0, 80.0, 0.0};
  turntable.rotateOrder = 2;
  turntable.channels = false;
  scene.push_back(makeTransform("|stage|turntable", turntable, precision));

  scene.push_back(makeWavingMesh("|stage|flag", numPoints, 0.0, precision));
  scene.push_back(makePointSet("|stage|sparks", 40, precision));
  scene.push_back(makeNurbsCurve("|stage|rope", precision));
  scene.push_back(makeNurbsSurface("|stage|tube", precision));
  scene.push_back(makeLocator("|stage|turntable|marker"));
  scene.push_back(makeCoordinateSystem("|stage|turntable|projector", "|rig:root"));
}

// A transform and a mesh below it. Every name differs in its last part: that part alone is enough
// to look an object up.
void addExtraPair(Scene& scene, int number, int numPoints, Precision precision) {
  const std::string name = "extra" + std::to_string(number);
  TransformSettings settings;
  const int column = number % 20;
  const int row = number / 20;
  settings.rest = {12.0 * column, 0.0, 12.0 * row, 0.0, 5.0 * number, 0.0};
  settings.swing = {0.0, 1.0, 0.0, 10.0, 20.0, 30.0};
  settings.rotateOrder = number % 6;
  scene.push_back(makeTransform("|" + name, settings, precision));
  scene.push_back(
      makeWavingMesh("|" + name + "|" + name + "Mesh", numPoints, 0.25 * number, precision));
}

Scene makeScene(const Options& options) {
  const Precision precision = options.isDouble ? Precision::Double : Precision::Single;
  Scene scene;
  addRig(scene, precision);
  addStage(scene, options.numPoints, precision);
  for (int i = 0; i < options.numExtraObjects; ++i) {
    addExtraPair(scene, i + 1, options.numPoints, precision);
  }
  return scene;
}

// ------------------------------------------------------------------------------------- sampling

// All samples from the first frame to the last; the last frame has one when the rate meets it.
int countSamples(const Options& options) {
  // A rate such as 0.7 is not exact in binary: it may miss the last frame by a hair.
  constexpr double tolerance = 1e-3;
  const double steps = (options.numFrames - 1.0) * options.rate + tolerance;
  return steps < maxSamples ? static_cast<int>(steps) + 1 : maxSamples + 1;
}

// The time of a sample in frames.
float sampleTime(const Options& options, int sample) {
  if (!options.isNonUniform) return static_cast<float>(sample) / options.rate + firstFrame;
  // Denser in the middle, as around a fast motion.
  const int numSteps = countSamples(options) - 1;
  if (numSteps == 0) return firstFrame;
  const double part = static_cast<double>(sample) / numSteps;
  const double warped = part + 0.1 * std::sin(2.0 * pi * part);
  return static_cast<float>(firstFrame + warped * numSteps / options.rate);
}

// -------------------------------------------------------------------------------------- writing

// Says what failed, and passes the result on.
bool check(bool ok, const Options& options, const std::string& step) {
  if (!ok) std::cerr << "export_scene: " << options.path << ": " << step << " failed\n";
  return ok;
}

bool writeHead(VekFile& file, const Scene& scene, const Options& options) {
  const int numSamples = countSamples(options);
  VekMETAChunk meta;
  meta.application = "export_scene " VEK_VERSION;
  meta.sourceFile = "scenes/stage.scene";
  // A fixed date keeps the file the same on every run; an exporter takes the time of day.
  meta.dateStamp = 1767225600;
  meta.numSamples = numSamples;
  meta.firstTime = sampleTime(options, 0);
  meta.lastTime = sampleTime(options, numSamples - 1);
  meta.rate = options.isNonUniform ? 0.0F : options.rate;
  for (const auto& object : scene) object->define(*meta.addDOBJ(object->name().c_str()));

  return check(VekDVEKChunk().write(file), options, "writing the file header") &&
         check(meta.write(file), options, "writing the metadata");
}

bool writeSample(VekFile& file, VekSAMSChunk& stream, const Scene& scene, const Options& options,
                 int sample) {
  const float time = sampleTime(options, sample);
  const std::string where = "sample " + std::to_string(sample);
  const auto numObjects = static_cast<__int64>(scene.size());
  if (!check(stream.writeStartSAMPChunk(file, numObjects, options.isNonUniform ? &time : nullptr),
             options, "starting " + where)) {
    return false;
  }
  for (const auto& object : scene) {
    if (!check(object->writeSample(stream, file, time), options,
               "writing " + object->name() + " in " + where)) {
      return false;
    }
  }
  return check(stream.writeEndSAMPChunk(file), options, "ending " + where);
}

bool writeStream(VekFile& file, const Scene& scene, const Options& options) {
  const int numSamples = countSamples(options);
  VekSAMSChunk stream;
  if (!check(stream.writeStart(file, numSamples, options.numReserved, options.isNonUniform),
             options, "starting the samples")) {
    return false;
  }
  for (int i = 0; i < numSamples; ++i) {
    if (!writeSample(file, stream, scene, options, i)) return false;
  }
  return check(stream.writeEnd(file), options, "ending the samples");
}

bool writeScene(const Scene& scene, const Options& options) {
  VekFile file;
  // What the system still holds back reaches the disk in close(): its result counts too.
  return check(file.open(options.path.c_str(), "w"), options, "opening for writing") &&
         writeHead(file, scene, options) && writeStream(file, scene, options) &&
         check(file.close(), options, "closing");
}

// ---------------------------------------------------------------------------------- command line

const char* const usage =
    "Usage: export_scene [--objects N] [--points N] [--rate R] [--frames N] [--double]"
    " [--non-uniform] [--reserve N] FILE\n";

const char* const help =
    "Writes an animated scene to the cache file FILE.\n\n"
    "  --objects N     add N pairs of a transform and a mesh (default 0)\n"
    "  --points N      points of each waving mesh, at least 4 (default 100)\n"
    "  --rate R        samples per frame (default 1)\n"
    "  --frames N      frames, from frame 1 on (default 48)\n"
    "  --double        store real numbers in double precision\n"
    "  --non-uniform   store the time of every sample instead of a rate\n"
    "  --reserve N     keep room for appending N samples later (default 0)\n"
    "  --help          show this text\n"
    "  --version       show the version\n";

bool parseInt(const char* text, int least, int greatest, int& value) {
  char* end = nullptr;
  const long long number = std::strtoll(text, &end, 10);
  if (end == text || *end != '\0' || number < least || number > greatest) return false;
  value = static_cast<int>(number);
  return true;
}

bool parsePositive(const char* text, float& value) {
  char* end = nullptr;
  const float number = std::strtof(text, &end);
  if (end == text || *end != '\0' || !std::isnormal(number) || number < 0.0F) return false;
  value = number;
  return true;
}

// Returns what is wrong with the arguments; empty when nothing is.
std::string parse(const std::vector<const char*>& arguments, Options& options) {
  bool hasPath = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string argument = arguments[i];
    const char* const value = i + 1 < arguments.size() ? arguments[i + 1] : "";
    bool isValid = true;
    if (argument == "--double") {
      options.isDouble = true;
    } else if (argument == "--non-uniform") {
      options.isNonUniform = true;
    } else if (argument == "--objects") {
      isValid = parseInt(value, 0, 1000000, options.numExtraObjects);
      ++i;
    } else if (argument == "--points") {
      isValid = parseInt(value, 4, 10000000, options.numPoints);
      ++i;
    } else if (argument == "--frames") {
      isValid = parseInt(value, 1, maxSamples, options.numFrames);
      ++i;
    } else if (argument == "--reserve") {
      isValid = parseInt(value, 0, maxSamples, options.numReserved);
      ++i;
    } else if (argument == "--rate") {
      isValid = parsePositive(value, options.rate);
      ++i;
    } else if (!argument.empty() && argument[0] == '-') {
      return "unknown option " + argument;
    } else if (hasPath) {
      return "more than one file";
    } else {
      options.path = argument;
      hasPath = true;
    }
    if (!isValid) return "wrong or missing value of " + argument;
  }
  if (!hasPath) return "no file";
  if (countSamples(options) > maxSamples) {
    return "more than " + std::to_string(maxSamples) + " samples";
  }
  return {};
}

int run(const std::vector<const char*>& arguments) {
  for (const std::string argument : arguments) {
    if (argument == "--help") {
      std::cout << usage << help;
      return 0;
    }
    if (argument == "--version") {
      std::cout << "export_scene " VEK_VERSION "\n";
      return 0;
    }
  }
  Options options;
  const std::string mistake = parse(arguments, options);
  if (!mistake.empty()) {
    std::cerr << "export_scene: " << mistake << '\n' << usage;
    return 2;
  }
  try {
    const Scene scene = makeScene(options);
    if (!writeScene(scene, options)) return 1;
    std::cout << "wrote " << options.path << ": " << countSamples(options) << " samples of "
              << scene.size() << " objects\n";
    return 0;
  } catch (const std::bad_alloc&) {
    check(false, options, "getting enough memory for the scene");
    return 1;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int status = run({argv + 1, argv + argc});
  if (std::cout.flush()) return status;
  std::cerr << "export_scene: cannot write to the standard output\n";
  return 1;
}
