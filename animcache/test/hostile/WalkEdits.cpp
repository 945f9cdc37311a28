// SPDX-License-Identifier: Apache-2.0
//
// The walks that edit a file and save it. A damaged file may be refused; what is saved must be a
// file that can be loaded, with the samples and the objects that the cache had.

#include <string>

#include "Walk.h"

namespace VekTest {

namespace {

using namespace Vek;

/// What a reader finds that is not as the cache that was saved has it.
std::string compare(const VekRwMemCache& saved, const char* path) {
  bool loaded = false;
  VekCache reader(path, true, &loaded);
  if (!loaded) return "the saved file cannot be loaded";
  if (reader.getNumSamples() != saved.getNumSamples()) return "the saved file has other samples";
  if (reader.getNumObjects() != saved.getNumObjects()) return "the saved file has other objects";
  for (int obj = 0; obj < saved.getNumObjects(); ++obj) {
    if (reader.getName(obj) != saved.getName(obj)) return "a name has changed";
  }
  return {};
}

}  // namespace

Edit walkRewrite(const char* path, const char* target) {
  bool loaded = false;
  VekRwMemCache cache(path, true, &loaded);
  if (!loaded) return {};
  bool written = false;
  const bool saved = cache.saveAs(target, &written, nullptr);
  // Without objects there is no file.
  if (written != (saved && cache.getNumObjects() > 0)) return {saved, "written is wrong"};
  return {saved, written ? compare(cache, target) : std::string()};
}

Edit walkAppend(const char* path) {
  bool loaded = false;
  VekRwMemCache cache(path, true, &loaded);
  if (!loaded) return {};
  const float time = cache.getNumSamples() > 0 ? cache.getLastTime() + 1 : 0;
  std::vector<VekGroupChunk*> frame;
  if (!cache.allocFrame(time, frame)) return {};
  for (VekGroupChunk* const data : frame)
    data->addChild(new VekLeafChunk<float>(Tag::POSI, Compound::Point, 3, {1, 2, 3}));
  const bool saved = cache.save();
  return {saved, saved ? compare(cache, path) : std::string()};
}

}  // namespace VekTest
