// SPDX-License-Identifier: Apache-2.0
//
// Adds frames to a cache one at a time, as a simulation does that saves every frame it has
// computed. Each frame holds all objects and is appended to the file in place: what is in the file
// already is neither read nor written again.
//
//     append_frames scene.vek        one frame
//     append_frames scene.vek 10     ten frames, saved one after another

#include <VekCache.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

using namespace Vek;

namespace {

// The time between the last two samples; a frame when there is only one.
float timeStep(const VekCache& cache) {
  const int last = cache.getNumSamples() - 1;
  return last > 0 ? cache.getSampleTime(last) - cache.getSampleTime(last - 1) : 1.0F;
}

// Moves points along their velocities, which are in units per frame.
void movePoints(VekGroupChunk& sobj, float step) {
  auto* const points = asLeaf<float>(sobj.getChild(sobj.findChild(Tag::POSI)));
  const auto* const velocities = asLeaf<float>(sobj.getChild(sobj.findChild(Tag::VELO)));
  if (points == nullptr || velocities == nullptr) return;
  if (points->data.size() != velocities->data.size()) return;
  for (std::size_t i = 0; i < points->data.size(); ++i)
    points->data[i] += step * velocities->data[i];
}

// Fills the next frame of an object from its last one.
void simulate(const VekGroupChunk& last, VekGroupChunk& next, float step) {
  for (unsigned __int64 i = 0; i < last.numChildren(); ++i) {
    VekChunk* const chunk = VekChunk::copy(last.getChild(i));
    if (chunk != nullptr) next.addChild(chunk);
  }
  movePoints(next, step);
}

bool addFrame(VekRwMemCache& cache) {
  const int last = cache.getNumSamples() - 1;
  const float step = timeStep(cache);
  // All objects at once: a frame whose objects are allocated one by one cannot be appended.
  std::vector<VekGroupChunk*> objects;
  if (!cache.allocFrame(cache.getLastTime() + step, objects)) return false;
  for (int obj = 0; obj < cache.getNumObjects(); ++obj) {
    const VekGroupChunk* const sobj = cache.getSample(last, obj);
    if (sobj != nullptr) simulate(*sobj, *objects[static_cast<std::size_t>(obj)], step);
  }
  return true;
}

// append() alone would do here; save() also serves a file that cannot be appended to, and then
// writes it anew.
bool saveFrame(VekRwMemCache& cache) {
  const std::string path = cache.getFilename();
  const auto before = std::filesystem::file_size(path);
  const bool appended = cache.append();
  if (!appended && !cache.save()) return false;
  std::cout << "frame " << cache.getLastTime() << ": " << before << " -> "
            << std::filesystem::file_size(path) << " bytes, "
            << (appended ? "appended in place" : "file written anew") << '\n';
  return true;
}

int fail(const std::string& path, const char* what) {
  std::cerr << "append_frames: " << path << ": " << what << '\n';
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const int count = argc == 3 ? std::atoi(argv[2]) : 1;
  if (argc < 2 || argc > 3 || argv[1][0] == '-' || count < 1) {
    std::cerr << "Usage: append_frames FILE [COUNT]\n";
    return 2;
  }
  const std::string path = argv[1];
  bool loaded = false;
  VekRwMemCache cache(path.c_str(), true, &loaded);
  if (!loaded) return fail(path, "cannot be loaded");
  if (cache.getNumSamples() == 0) return fail(path, "holds no frame to go on from");
  for (int i = 0; i < count; ++i) {
    if (!addFrame(cache)) return fail(path, "no frame could be added");
    if (!saveFrame(cache)) return fail(path, "the frame could not be saved");
  }
  return 0;
}
