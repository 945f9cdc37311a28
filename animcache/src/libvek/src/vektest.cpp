// SPDX-License-Identifier: Apache-2.0
//
// Writes a small fixed file, chunk by chunk, that exercises the whole writing path.

#include <vector>

#include "VekGuarded.h"
#include "vekToolError.h"
#include "vekUtils.h"

namespace Vek {

namespace {

constexpr int numObjects = 2;

int failed(const char* message, int line = __builtin_LINE()) {
  return toolError("vektest", message, line);
}

bool writeMETA(VekFile& file) {
  VekMETAChunk meta;
  meta.firstTime = 5.0F;
  meta.lastTime = 7.0F;
  meta.rate = 1.0F;
  meta.space = 0;
  // The one sample of the file is not counted: readers of caches see a file without samples, and
  // the dump shows one. Both are what the file is for.
  meta.numSamples = 0;
  if (meta.addDOBJ("foo") == nullptr || meta.addDOBJ("bar") == nullptr) return false;
  meta.addChild(
      new VekLeafChunk<std::string>(makeTag('A', 'B', 'C', 'D'), {"aaa", "bbb", "ccc", "ddd"}));
  return meta.numChildren() == 1 && meta.write(file);
}

/// Writes the values 0, step, 2 step, ...
bool writeRamp(VekFile& file, unsigned int tag, int count, float step) {
  std::vector<float> values;
  values.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) values.push_back(step * static_cast<float>(i));
  return file.writeChunk(tag, values);
}

int writeObject(VekFile& file, VekSAMSChunk& stream, int count, float position, float velocity) {
  if (!stream.writeStartSOBJChunk(file)) return failed("starting SOBJ chunk");
  if (!writeRamp(file, Tag::POSI, count, position)) return failed("writing POS chunk");
  if (!writeRamp(file, Tag::VELO, count, velocity)) return failed("writing VELO chunk");
  if (!stream.writeEndSOBJChunk(file)) return failed("ending SOBJ chunk");
  return 0;
}

int writeFile(const char* filename) {
  VekFile file;
  if (!file.open(filename, "w")) return failed("opening file");
  if (!VekDVEKChunk(1).write(file)) return failed("writing DVEK chunk");
  if (!writeMETA(file)) return failed("writing META chunk");

  VekSAMSChunk stream;
  if (!stream.writeStart(file, 1, 2, false)) return failed("starting SAMS chunk");
  if (!stream.writeStartSAMPChunk(file, numObjects, nullptr)) return failed("starting SAMP chunk");
  if (writeObject(file, stream, 4, 1, 2) != 0) return -1;
  if (writeObject(file, stream, 10, 3, 4) != 0) return -1;
  if (!stream.writeEndSAMPChunk(file)) return failed("ending SAMP chunk");
  if (!stream.writeEnd(file)) return failed("end SAMS chunk");
  if (!file.close()) return failed("closing VEK file");
  return 0;
}

}  // namespace

}  // namespace Vek

int vektest(const char* filename) {
  return Vek::guarded(-1, [&] { return Vek::writeFile(filename); });
}
