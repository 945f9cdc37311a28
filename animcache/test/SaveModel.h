// SPDX-License-Identifier: Apache-2.0
//
// What a cache has to hold, apart from the cache: samples of objects with positions, a file of
// them, and the first difference between a cache or a file and what it has to hold.

#ifndef VEK_TEST_SAVE_MODEL_H
#define VEK_TEST_SAVE_MODEL_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SceneImage.h"
#include "VekCache.h"

namespace VekTest {

using Positions = std::vector<float>;

struct Sample {
  float time = 0.0F;
  std::vector<std::optional<Positions>> objects = {};  ///< nothing for an object never allocated
};

/// What a cache has to hold: objects with names, and their positions in every sample.
struct Model {
  std::string application = "exporter";
  std::string sourceFile = "scene.ma";
  std::vector<std::string> names = {"|wave", "|dust"};
  std::vector<Sample> samples = {};
};

inline Positions positionsAt(float time, int obj) {
  const auto o = static_cast<float>(obj);
  Positions positions = {time, o, 0.5F};
  if (obj > 0) positions.insert(positions.end(), {-time, o, 0.25F});
  return positions;
}

inline Model modelAt(const std::vector<float>& times) {
  Model model;
  for (const float t : times) {
    model.samples.push_back({t, {positionsAt(t, 0), positionsAt(t, 1)}});
  }
  return model;
}

/// Whether objects that nobody allocated are absent, as before a save, or empty, as in a file.
enum class Unallocated { Absent, Empty };

inline std::string differenceOf(const Vek::VekGroupChunk* data,
                                const std::optional<Positions>& positions,
                                Unallocated unallocated) {
  if (!positions && unallocated == Unallocated::Absent) {
    return data == nullptr ? "" : "has data that nobody allocated";
  }
  if (data == nullptr) return "has no data";
  if (!positions) return data->numChildren() == 0 ? "" : "has data that nobody gave";
  if (data->numChildren() != 1) return "has another number of chunks";
  const auto* leaf = Vek::asLeaf<float>(data->getChild(0));
  if (leaf == nullptr || leaf->getTag() != Vek::Tag::POSI) return "has other chunks";
  return leaf->data == *positions ? "" : "has other positions";
}

/// The first difference between a cache and the model; empty when there is none.
inline std::string difference(Vek::VekRoMemCache& cache, const Model& model,
                              Unallocated unallocated) {
  const auto number = [](std::size_t n) { return static_cast<int>(n); };
  if (cache.getApplication() != model.application) return "another application";
  if (cache.getSourceFile() != model.sourceFile) return "another source file";
  if (cache.getNumObjects() != number(model.names.size())) return "another number of objects";
  if (cache.getNumSamples() != number(model.samples.size())) {
    return std::to_string(cache.getNumSamples()) + " samples";
  }
  for (std::size_t o = 0; o < model.names.size(); ++o) {
    if (cache.getName(number(o)) != model.names[o]) return "another name of an object";
  }
  for (std::size_t s = 0; s < model.samples.size(); ++s) {
    const Sample& sample = model.samples[s];
    if (cache.getSampleTime(number(s)) != sample.time) {
      return "sample " + std::to_string(s) + " is at another time";
    }
    for (std::size_t o = 0; o < model.names.size(); ++o) {
      const std::string inside =
          differenceOf(cache.getSample(number(s), number(o)),
                       o < sample.objects.size() ? sample.objects[o] : std::nullopt, unallocated);
      if (inside.empty()) continue;
      return "object " + std::to_string(o) + " of sample " + std::to_string(s) + " " + inside;
    }
  }
  return "";
}

/// The first difference between what a file holds and the model.
inline std::string differenceOfFile(const std::string& file, const Model& model) {
  Vek::VekRoMemCache cache;
  if (!cache.load(file.c_str(), true)) return file + " does not load";
  return difference(cache, model, Unallocated::Empty);
}

inline Vek::VekGroupChunk* newObjectData(const Positions& positions) {
  auto* data = new Vek::VekGroupChunk(Vek::Tag::SOBJ);
  data->addChild(new Vek::VekLeafChunk<float>(Vek::Tag::POSI, 1, 3, positions));
  return data;
}

/// Writes a file of the model whose tables have room for `room` more samples.
inline void writeModel(const std::string& path, const Model& model, __int64 room) {
  Vek::VekMETAChunk meta;
  meta.application = model.application;
  meta.sourceFile = model.sourceFile;
  meta.dateStamp = 1234567890;
  for (const std::string& name : model.names) meta.addDOBJ(name.c_str());
  meta.numSamples = static_cast<__int64>(model.samples.size());
  meta.firstTime = model.samples.front().time;
  meta.lastTime = model.samples.back().time;
  bool even = true;
  for (std::size_t s = 1; s < model.samples.size(); ++s) {
    even = even && model.samples[s].time - model.samples[s - 1].time == 1.0F;
  }
  meta.rate = even ? 1.0F : 0.0F;

  Vek::VekFile file(path.c_str(), "w");
  Vek::VekSAMSChunk stream;
  bool ok = Vek::VekDVEKChunk().write(file) && meta.write(file) &&
            stream.writeStart(file, meta.numSamples, room, !even);
  for (Sample sample : model.samples) {
    ok = ok && stream.writeStartSAMPChunk(file, meta.getNumObjects(), &sample.time);
    for (const auto& object : sample.objects) {
      const std::unique_ptr<Vek::VekGroupChunk> data(newObjectData(object.value()));
      ok = ok && stream.writeSOBJChunk(file, data.get());
    }
    ok = ok && stream.writeEndSAMPChunk(file);
  }
  if (!ok || !stream.writeEnd(file) || !file.close()) std::abort();
}

/// Adds a sample after the last one, which leaves the cache able to append. Object 1 is not
/// allocated when `whole` is false.
inline void addSample(Vek::VekRwMemCache& cache, Model& model, float time, bool whole = true) {
  std::vector<Vek::VekGroupChunk*> frame;
  if (whole) {
    if (!cache.allocFrame(time, frame)) std::abort();
  } else {
    frame.push_back(cache.allocSample(time, 0));
  }
  Sample sample{time, {}};
  for (std::size_t o = 0; o < frame.size(); ++o) {
    const Positions positions = positionsAt(time, static_cast<int>(o));
    frame.at(o)->addChild(new Vek::VekLeafChunk<float>(Vek::Tag::POSI, 1, 3, positions));
    sample.objects.emplace_back(positions);
  }
  model.samples.push_back(sample);
}

/// Gives a new cache the head and the objects of the model.
inline void setHead(Vek::VekRwMemCache& cache, const Model& model) {
  cache.setApplication(model.application);
  cache.setSourceFile(model.sourceFile);
  for (std::size_t o = 0; o < model.names.size(); ++o) {
    cache.setName(static_cast<int>(o), model.names[o].c_str());
  }
}

/// Where the samples of a file stand.
inline std::vector<__int64> sampleOffsets(const std::string& file) {
  OpenCache cache(file.c_str());
  return cache.jumpTable;
}

/// The bytes of the sample at that offset, its header included.
inline std::string sampleBytes(const std::string& bytes, __int64 offset) {
  const auto at = static_cast<std::size_t>(offset);
  if (bytes.size() < at + 16) return "";
  std::int64_t length = 0;
  std::memcpy(&length, &bytes[at + 8], sizeof length);
  return bytes.substr(at, 16 + static_cast<std::size_t>(length));
}

/// The number of the first sample whose bytes are not what they were; -1 when there is none.
inline int firstChangedSample(const std::string& before, const std::string& after,
                              const std::vector<__int64>& offsets) {
  for (std::size_t s = 0; s < offsets.size(); ++s) {
    const std::string sample = sampleBytes(before, offsets[s]);
    if (after.compare(static_cast<std::size_t>(offsets[s]), sample.size(), sample) != 0) {
      return static_cast<int>(s);
    }
  }
  return -1;
}

}  // namespace VekTest

#endif
