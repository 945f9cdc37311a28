// SPDX-License-Identifier: Apache-2.0
//
// A program that uses the library as its users do: it writes a small cache to the file that it is
// given and reads it back, through a memory cache and through an object view.

#include <iostream>
#include <string>
#include <vector>

#include "VekCache.h"
#include "VekChunks.h"
#include "VekHelperObj.h"
#include "vekUtils.h"

namespace {

constexpr int numSamples = 3;

bool writeCache(const char* path) {
  Vek::VekMETAChunk meta;
  meta.numSamples = numSamples;
  meta.firstTime = 1.0F;
  meta.lastTime = 3.0F;
  meta.addDOBJ("|scene|point");
  Vek::VekFile file(path, "w");
  Vek::VekSAMSChunk stream;
  bool ok = Vek::VekDVEKChunk().write(file) && meta.write(file) &&
            stream.writeStart(file, numSamples, 0, false);
  for (int sample = 0; ok && sample < numSamples; ++sample) {
    Vek::VekGroupChunk object(Vek::Tag::SOBJ);
    object.addChild(new Vek::VekLeafChunk<float>(Vek::Tag::POSI, Vek::Compound::Point, 3,
                                                 {static_cast<float>(sample), 2.0F, 3.0F}));
    ok = stream.writeStartSAMPChunk(file, 1, nullptr) && stream.writeSOBJChunk(file, &object) &&
         stream.writeEndSAMPChunk(file);
  }
  ok = ok && stream.writeEnd(file);
  return file.close() && ok;
}

/// Whether the object's position at sample 2 and halfway between samples 1 and 2 are as written.
bool readCache(const char* path) {
  Vek::VekRoMemCache cache(path);
  if (cache.getNumSamples() != numSamples || cache.getName(0) != "|scene|point") return false;

  const auto* stored =
      dynamic_cast<const Vek::VekLeafChunk<float>*>(cache.getSample(2, 0, Vek::Tag::POSI, nullptr));
  if (stored == nullptr || stored->data != std::vector<float>{2.0F, 2.0F, 3.0F}) return false;

  Vek::VekHelperObjFactory factory(&cache);
  Vek::VekHelperObj* const object = factory.vekObjBuilder(0);
  auto* const view = dynamic_cast<Vek::GeometryVekObj*>(object);
  Vek::VekInterpolationHints hints;
  hints.interpolation = 1;
  std::vector<float> position;
  Vek::VekHelperObj::AnimationState state;
  int dimension = 0;
  const bool ok = view != nullptr &&
                  view->getPositionAtTime(2.5F, hints, position, state, dimension) &&
                  position == std::vector<float>{1.5F, 2.0F, 3.0F} && dimension == 3;
  if (object != nullptr) object->destroy();
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 || !writeCache(argv[1]) || !readCache(argv[1]) || vekinfo(argv[1]) != 0) {
    std::cerr << "the cache could not be written and read back\n";
    return 1;
  }
  std::cout << "wrote and read " << argv[1] << '\n';
  return 0;
}
