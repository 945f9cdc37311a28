// SPDX-License-Identifier: Apache-2.0
//
// What the tests of injected faults share: small files of every kind of object, everything that a
// cache holds as one text, and output streams that are kept quiet.

#ifndef VEK_TEST_FAULT_SCENE_H
#define VEK_TEST_FAULT_SCENE_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "VekCache.h"

namespace VekTest {

// ---- Files --------------------------------------------------------------------------------------

inline void addFloats(Vek::VekGroupChunk& group, unsigned int tag, int dimension,
                      const std::vector<float>& values) {
  group.addChild(
      new Vek::VekLeafChunk<float>(tag, 0, static_cast<unsigned char>(dimension), values));
}

inline void addInts(Vek::VekGroupChunk& group, unsigned int tag, const std::vector<int>& values) {
  group.addChild(new Vek::VekLeafChunk<int>(tag, values));
}

inline void addText(Vek::VekGroupChunk& group, unsigned int tag, const std::string& text) {
  group.addChild(new Vek::VekLeafChunk<std::string>(tag, {text}));
}

/// Kinds of objects; what decides the kind stands in the definition, but for a mesh in the sample.
enum class ObjectKind { transform, channels, mesh, surface, curve, locator, system, points };

inline void fillMesh(Vek::VekGroupChunk& sobj, float step) {
  using namespace Vek;
  addInts(sobj, Tag::MESH, {1});
  addFloats(sobj, Tag::POSI, 3, {step, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, step});
  addFloats(sobj, Tag::BBOX, 0, {-9, 9, -9, 9, -9, step});
  addFloats(sobj, Tag::VELO, 3, {1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0});
  addFloats(sobj, Tag::VPNO, 3, {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1});
  addFloats(sobj, Tag::PONO, 3, {0, 0, 1});
  for (const unsigned int tag : {Tag::PCNT, Tag::NCNT}) addInts(sobj, tag, {4});
  for (const unsigned int tag : {Tag::PIDS, Tag::NIDS}) addInts(sobj, tag, {0, 1, 2, 3});
  addInts(sobj, Tag::MSPT, {1});
}

inline void fillSample(ObjectKind kind, Vek::VekGroupChunk& sobj, float step) {
  using namespace Vek;
  switch (kind) {
    case ObjectKind::transform:
    case ObjectKind::channels:
      addFloats(sobj, Tag::MTRX, 16, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, step, 2, 3, 1});
      addInts(sobj, Tag::INHT, {0});
      addInts(sobj, Tag::MTRO, {2});
      break;
    case ObjectKind::mesh:
      fillMesh(sobj, step);
      break;
    case ObjectKind::surface:
      addFloats(sobj, Tag::POSI, 3, {step, 0, 0, 0, 1, 0, 1, 0, 0, 1, 1, 0});
      addInts(sobj, Tag::DEGR, {1, 1});
      sobj.addChild(new VekLeafChunk<std::string>(Tag::FORM, {"kOpen", "kOpen"}));
      addFloats(sobj, Tag::KNTU, 0, {0, 1});
      addFloats(sobj, Tag::KNTV, 0, {0, 1});
      break;
    case ObjectKind::curve:
      addFloats(sobj, Tag::POSI, 3, {step, 0, 0, 0, 1, 0, 1, 0, 0, 1, 1, 0});
      addInts(sobj, Tag::DEGR, {3});
      addText(sobj, Tag::FORM, "kPeriodic");
      addFloats(sobj, Tag::KNTU, 0, {0, 1, 2, 3, 4, 5, 6, 7, 8});
      break;
    case ObjectKind::points:
      addFloats(sobj, Tag::POSI, 4, {step, 0, 0, 1, 0, 1, step, 1});
      break;
    case ObjectKind::locator:
    case ObjectKind::system:
      break;
  }
}

inline unsigned int markOf(ObjectKind kind) {
  using namespace Vek;
  switch (kind) {
    case ObjectKind::transform:
    case ObjectKind::channels:
      return Tag::XFRM;
    case ObjectKind::surface:
      return Tag::NRBS;
    case ObjectKind::curve:
      return Tag::NRBC;
    case ObjectKind::locator:
      return Tag::ELOC;
    case ObjectKind::system:
      return Tag::LXCS;
    default:
      return 0;
  }
}

template <typename T>
void addStatic(Vek::VekDOBJChunk& definition, const std::string& name, const std::vector<T>& values,
               int dimension = 0) {
  const int attr = definition.addAttr(false, name, "kind of " + name, Vek::VekTypeOf<T>::value, 0,
                                      static_cast<unsigned char>(dimension));
  auto* leaf = Vek::asLeaf<T>(definition.getDATR()->getStaticData(attr));
  if (leaf == nullptr) std::abort();
  leaf->setData(values);
}

inline void addAttributes(ObjectKind kind, Vek::VekDOBJChunk& definition) {
  using Vek::ValueType::Double;
  const bool channels = kind == ObjectKind::channels;
  definition.addAttr(true, channels ? "translateX" : "weight", "a kind of its own", Double);
  addStatic<int>(definition, kind == ObjectKind::system ? "displayShape" : "number", {7});
  addStatic<std::int64_t>(definition, "large", {1LL << 40});
  addStatic<float>(definition, "rmanP__Pref", {0, 0, 0, 0, 1, 0, 1, 0, 0, 1, 1, 0}, 3);
  addStatic<double>(definition, channels ? "rotateY" : "precise", {0.25});
  addStatic<std::string>(definition, "parentRig", {"a rig whose name is long", "b"});
}

/// Adds the data of a kind of object to a sample that a cache holds.
inline void fillObject(ObjectKind kind, Vek::VekGroupChunk& sobj, float step) {
  fillSample(kind, sobj, step);
  auto* values = new Vek::VekGroupChunk(Vek::Tag::ATRS);
  values->addChild(new Vek::VekLeafChunk<double>(Vek::Tag::ATTR, {0.5 * step}));
  sobj.addChild(values);
}

/// Builds a cache of some objects with a sample at each of the times.
inline void buildScene(Vek::VekRwMemCache& cache, const std::vector<ObjectKind>& kinds,
                       const std::vector<float>& times) {
  cache.setApplication("an application with a long name");
  cache.setSourceFile("/a/path/to/a/scene.file");
  cache.getMETAChunk().dateStamp = 1;
  for (std::size_t obj = 0; obj < kinds.size(); ++obj) {
    auto* definition = cache.getMETAChunk().addDOBJ(
        ("|group|a long name of object " + std::to_string(obj)).c_str());
    if (markOf(kinds[obj]) != 0) addInts(*definition, markOf(kinds[obj]), {1});
    addAttributes(kinds[obj], *definition);
  }
  for (const float time : times) {
    std::vector<Vek::VekGroupChunk*> frame;
    if (!cache.allocFrame(time, frame)) std::abort();
    for (std::size_t obj = 0; obj < kinds.size(); ++obj)
      fillObject(kinds[obj], *frame[obj], 1 + time);
  }
}

inline void writeScene(const std::string& path, const std::vector<ObjectKind>& kinds,
                       const std::vector<float>& times) {
  Vek::VekRwMemCache cache;
  buildScene(cache, kinds, times);
  if (!cache.saveAs(path.c_str())) std::abort();
}

/// A cache of the samples stored in the file, a new one when there are none, with frames added to
/// it.
inline std::unique_ptr<Vek::VekRwMemCache> makeGrownCache(const std::string& path,
                                                          const std::vector<ObjectKind>& kinds,
                                                          const std::vector<float>& stored,
                                                          const std::vector<float>& added) {
  auto cache = std::make_unique<Vek::VekRwMemCache>();
  if (stored.empty()) {
    buildScene(*cache, kinds, {});
  } else {
    writeScene(path, kinds, stored);
    EXPECT_TRUE(cache->load(path.c_str()));
  }
  for (const float time : added) {
    std::vector<Vek::VekGroupChunk*> frame;
    EXPECT_TRUE(cache->allocFrame(time, frame));
    for (std::size_t obj = 0; obj < frame.size(); ++obj)
      fillObject(kinds[obj], *frame[obj], 1 + time);
  }
  return cache;
}

/// Writes two samples of an object chunk by chunk.
inline bool writeSamples(const char* path, const std::vector<std::string>& texts) {
  static const std::vector<float> values = {1, 2, 3};
  Vek::VekFile f;
  Vek::VekSAMSChunk stream;
  bool ok = f.open(path, "w") && stream.writeStart(f, 2, 10, true);
  for (int sample = 0; ok && sample < 2; ++sample) {
    const auto time = static_cast<float>(sample);
    ok = stream.writeStartSAMPChunk(f, 1, &time) && stream.writeStartSOBJChunk(f) &&
         f.writeChunk(Vek::Tag::POSI, values) && f.writeChunk(Vek::Tag::FORM, texts) &&
         stream.writeEndSOBJChunk(f) && stream.writeEndSAMPChunk(f);
  }
  return ok && stream.writeEnd(f) && f.close();
}

/// Reopens their stream for a further sample.
inline bool appendSample(const char* path) {
  Vek::VekFile f;
  Vek::VekSAMSChunk stream;
  const float time = 5;
  return f.open(path, "r+") && stream.appendStart(f, 1) &&
         stream.writeStartSAMPChunk(f, 1, &time) && stream.writeStartSOBJChunk(f) &&
         stream.writeEndSOBJChunk(f) && stream.writeEndSAMPChunk(f) && stream.writeEnd(f) &&
         f.close();
}

// ---- What a cache or a file holds ---------------------------------------------------------------

/// Without the lengths of groups, which are not kept in memory.
inline std::string withoutLengths(std::string text) {
  const std::string group = " group (";
  for (std::size_t at = 0; (at = text.find(group, at)) != std::string::npos; at += group.size()) {
    const std::size_t digits = at + group.size();
    text.erase(digits, text.find(')', digits) - digits);
  }
  return text;
}

/// The head but its date stamp and whether its sampling is uniform.
inline std::string headText(Vek::VekCache& cache) {
  std::ostringstream os;
  cache.getDVEKChunk().print(os, 0) << "\n";
  const Vek::VekMETAChunk& meta = cache.getMETAChunk();
  os << meta.application << " " << meta.sourceFile << " " << meta.space << " " << meta.numSamples
     << " " << meta.firstTime << " " << meta.lastTime << "\n";
  for (const Vek::VekDOBJChunk* definition : meta.dobjs) definition->print(os, 0) << "\n";
  for (int sample = 0; sample < cache.getNumSamples(); ++sample)
    os << cache.getSampleTime(sample) << " ";
  return withoutLengths(os.str());
}

/// The head and the data of every object in every sample.
inline std::string cacheText(Vek::VekRoMemCache& cache) {
  std::ostringstream os;
  for (int sample = 0; sample < cache.getNumSamples(); ++sample) {
    for (int obj = 0; obj < cache.getNumObjects(); ++obj) {
      const Vek::VekGroupChunk* const sobj = cache.getSample(sample, obj);
      os << "\n" << sample << " " << obj << " ";
      if (sobj != nullptr) sobj->print(os, 0);
    }
  }
  return headText(cache) + withoutLengths(os.str());
}

/// The text of the cache that a file holds; says so when it does not load.
inline std::string fileText(const std::string& path) {
  Vek::VekRoMemCache cache;
  return cache.load(path.c_str()) ? cacheText(cache) : path + " does not load";
}

/// The bytes of a file with its date stamp set to 0.
inline std::string withoutDate(std::string bytes) {
  const std::size_t at = bytes.find(std::string("DATE\5\0\0\0\10", 9));
  if (at != std::string::npos) std::memset(&bytes[at + 16], 0, 8);
  return bytes;
}

// ---- Output -------------------------------------------------------------------------------------

/// Takes what is written to the standard output and error streams for one scope, without
/// allocating: of the output the first part is kept, errors are forgotten.
class CapturedOutput {
 public:
  CapturedOutput() : m_out(std::cout.rdbuf(&m_kept)), m_err(std::cerr.rdbuf(&m_forgotten)) {}
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;
  ~CapturedOutput() {
    std::cout.rdbuf(m_out);
    std::cerr.rdbuf(m_err);
  }
  std::string text() const { return m_kept.text(); }

 private:
  class Buffer : public std::streambuf {
   public:
    explicit Buffer(std::size_t capacity) : m_room(capacity, '\0') {}
    std::string text() const { return m_room.substr(0, m_size); }

   protected:
    int overflow(int c) override {
      const char character = static_cast<char>(c);
      if (c != traits_type::eof()) xsputn(&character, 1);
      return traits_type::not_eof(c);
    }
    std::streamsize xsputn(const char* text, std::streamsize count) override {
      const std::size_t fits = std::min(static_cast<std::size_t>(count), m_room.size() - m_size);
      std::memcpy(&m_room[m_size], text, fits);
      m_size += fits;
      return count;
    }

   private:
    std::string m_room;
    std::size_t m_size = 0;
  };

  Buffer m_kept{1 << 16};
  Buffer m_forgotten{0};
  std::streambuf* m_out;
  std::streambuf* m_err;
};

}  // namespace VekTest

#endif
