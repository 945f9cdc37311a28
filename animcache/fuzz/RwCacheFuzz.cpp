// SPDX-License-Identifier: Apache-2.0
//
// Fuzz entry point of the cache that writes: load, edits, append, save and reload. A file that was
// saved holds what the cache held, and a save that failed leaves the cache as it was: that is
// compared for a part of the inputs.

#include <algorithm>

#include "FuzzDigest.h"
#include "FuzzEdits.h"

using namespace Vek;
using namespace VekFuzz;

namespace {

constexpr int mostEdits = 8;
// Larger caches are not saved: each sample would hold data for each object.
constexpr __int64 mostCells = 64;

/// The head as it is written, without the date.
std::uint64_t digestOfHead(VekMETAChunk& meta) {
  static const FuzzFile scratch("head");
  const __int64 date = meta.dateStamp;
  meta.dateStamp = 0;
  VekFile file;
  const bool done = file.open(scratch.path(), "w") && meta.write(file) && file.close();
  meta.dateStamp = date;
  check(done, "a head can be written");
  Digest digest;
  const std::string bytes = scratch.bytes();
  digest.add(bytes.data(), bytes.size());
  return digest.value();
}

/// The data of an object in a sample, what is missing as what is written for it.
std::uint64_t digestOfCell(VekRoMemCache& cache, int sample, int obj) {
  const VekGroupChunk empty(Tag::SOBJ);
  const VekGroupChunk* const sobj = cache.getSample(sample, obj);
  return digestOf(sobj != nullptr ? sobj : &empty);
}

std::uint64_t digestOfSamples(VekRoMemCache& cache) {
  Digest digest;
  for (int sample = 0; sample < cache.getNumSamples(); ++sample) {
    for (int obj = 0; obj < cache.getNumObjects(); ++obj)
      digest.add(digestOfCell(cache, sample, obj));
  }
  return digest.value();
}

__int64 countCells(const VekCache& cache) {
  return std::max<__int64>(cache.getNumSamples(), 1) * std::max<__int64>(cache.getNumObjects(), 1);
}

/// Whether readers take the times that the cache has: shifts and edits of the head by the caller
/// can leave others.
bool hasReadableTimes(const EditedCache& cache) {
  const VekMETAChunk& meta = cache.metadata;
  if (meta.numSamples == 0) return true;
  if (!cache.isNonUniform())
    return EditedCache::countSamples(meta.firstTime, meta.lastTime, meta.rate) ==
           static_cast<float>(meta.numSamples);
  const auto count = static_cast<std::size_t>(meta.numSamples);
  return cache.timeTable.size() >= count && cache.timeTable.front() == meta.firstTime &&
         cache.timeTable[count - 1] == meta.lastTime;
}

void compareWithFile(EditedCache& cache, const char* path) {
  if (!hasReadableTimes(cache)) return;
  VekRoMemCache saved;
  check(saved.load(path), "a saved file loads");
  check(saved.getNumSamples() == cache.getNumSamples(), "a saved file has the cache's samples");
  check(digestOfHead(saved.getMETAChunk()) == digestOfHead(cache.getMETAChunk()),
        "a saved file has the cache's head");
  check(digestOfSamples(saved) == digestOfSamples(cache), "a saved file has the cache's data");
  for (int i = 0; i < cache.getNumSamples(); ++i) {
    const float time = saved.getSampleTime(i);
    const float expected = cache.getSampleTime(i);
    check(time == expected || (time != time && expected != expected),
          "a saved file has the cache's times");
  }
}

void save(EditedCache& cache, const FuzzFile& target, Choices& choices, bool compared) {
  if (countCells(cache) > mostCells) return;
  const std::uint64_t samples = compared ? digestOfSamples(cache) : 0;
  const int count = cache.getNumSamples();
  bool written = false;
  bool removed = false;
  bool saved = false;
  switch (choices.below(4)) {
    case 0:
      saved = cache.append();
      written = saved;
      break;
    case 1:
      saved = cache.saveAs(target.path(), &written, &removed);
      break;
    default:
      saved = cache.save(&written, &removed);
  }
  check(!(written && removed), "a file is written or removed");
  check(cache.getNumSamples() == count, "a save keeps the samples");
  check(!written || (saved && !cache.isDirty()), "a written cache is clean");
  if (!compared) return;
  check(digestOfSamples(cache) == samples, "a save keeps the data");
  const std::string path = cache.getFilename();
  if (written) compareWithFile(cache, path.c_str());
}

/// A frame after the last one, which mostly can be appended to the file in place.
void saveNewFrame(EditedCache& cache, bool compared) {
  if (countCells(cache) > mostCells || cache.getNumSamples() == 0) return;
  const float step = cache.isNonUniform() ? 1.0F : 1 / cache.getRate();
  std::vector<VekGroupChunk*> sobjs;
  if (!cache.allocFrame(cache.getLastTime() + step, sobjs)) return;
  sobjs.front()->addChild(new VekLeafChunk<float>(Tag::POSI, {1, 2, 3}));
  bool written = false;
  cache.save(&written);
  if (written && compared) compareWithFile(cache, cache.getFilename().c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFile file("in");
  static const FuzzFile target("out");
  const SilentStreams silent;
  Choices choices(data, size);
  file.setInput(data, size);
  target.remove();

  EditedCache cache;
  const bool compared = choices.isEmpty() || choices.peek() / 4 % 16 == 1;
  const bool keepOpen = choices.next() % 4 != 0;
  if (!cache.load(file.path(), keepOpen) && choices.isEmpty()) return 0;
  if (!choices.flag()) saveNewFrame(cache, compared);
  for (int i = 0; i < mostEdits && !choices.isEmpty(); ++i) {
    if (choices.below(6) == 0)
      save(cache, target, choices, compared);
    else
      edit(cache, choices);
  }
  save(cache, target, choices, compared);
  bool written = false;
  if (!compared || countCells(cache) > mostCells || !cache.saveAs(target.path(), &written) ||
      !written)
    return 0;
  compareWithFile(cache, target.path());
  saveNewFrame(cache, compared);
  return 0;
}
