// SPDX-License-Identifier: Apache-2.0
//
// Writes small valid files of every kind into a folder: the seeds of the fuzzers.

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "VekCache.h"

using namespace Vek;

namespace {

using Times = std::vector<float>;

template <typename T>
void addLeaf(VekGroupChunk& group, unsigned int tag, const std::vector<T>& values,
             unsigned char compound = 0, unsigned char dimension = 0) {
  group.addChild(new VekLeafChunk<T>(tag, compound, dimension, values));
}

void addText(VekGroupChunk& group, unsigned int tag, const std::vector<std::string>& texts) {
  addLeaf(group, tag, texts);
}

template <typename T>
std::vector<T> ramp(std::size_t count, float from, float step) {
  std::vector<T> values;
  for (std::size_t i = 0; i < count; ++i)
    values.push_back(static_cast<T>(from + step * static_cast<float>(i)));
  return values;
}

template <typename T>
std::vector<T> matrix(float x) {
  const T t = static_cast<T>(x);
  return {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, t, 2, 3, 1};
}

template <typename T>
void addStatic(VekDOBJChunk& definition, const char* name, const std::vector<T>& values,
               unsigned char dimension = 0) {
  const int attr = definition.addAttr(false, name, "type", VekTypeOf<T>::value, 0, dimension);
  if (auto* const leaf = asLeaf<T>(definition.getDATR()->getStaticData(attr)))
    leaf->setData(values);
}

/// An object: its definition, and its data at a time.
struct SeedObject {
  const char* name;
  std::function<void(VekDOBJChunk&)> define = [](VekDOBJChunk&) {};
  std::function<void(VekGroupChunk&, float)> fill = [](VekGroupChunk&, float) {};
};

bool save(const std::string& path, const std::vector<SeedObject>& objects, const Times& times) {
  VekRwMemCache cache;
  VekMETAChunk& meta = cache.getMETAChunk();
  cache.setApplication("app");
  for (const SeedObject& object : objects) object.define(*meta.addDOBJ(object.name));
  for (const float time : times) {
    for (std::size_t i = 0; i < objects.size(); ++i) {
      VekGroupChunk* const sobj = cache.allocSample(time, static_cast<int>(i));
      if (sobj == nullptr) return false;
      objects[i].fill(*sobj, time);
    }
  }
  cache.setReservedSamples(1);
  return cache.saveAs(path.c_str());
}

// --- Kinds of objects ----------------------------------------------------------------------------

template <typename T>
SeedObject movingTransform() {
  return {"|move",
          [](VekDOBJChunk& d) {
            addLeaf<int>(d, Tag::XFRM, {1});
            addLeaf<int>(d, Tag::INHT, {0});
          },
          [](VekGroupChunk& s, float t) {
            addLeaf(s, Tag::MTRX, matrix<T>(t), Compound::Transform, 16);
            addLeaf<int>(s, Tag::MTRO, {static_cast<int>(t) % 6});
          }};
}

template <typename T>
SeedObject channelTransform() {
  static constexpr const char* channels[] = {"translateX", "rotateY",      "scaleZ",
                                             "shearXY",    "rotatePivotX", "rotateAxisZ",
                                             "visibility", "rotateOrder",  "uniformScale"};
  return {"|group|channels",
          [](VekDOBJChunk& d) {
            addLeaf<int>(d, Tag::XFRM, {1});
            addLeaf(d, Tag::MTRX, matrix<T>(0), Compound::Transform, 16);
            for (const char* channel : channels)
              d.addAttr(true, channel, "double", VekTypeOf<T>::value);
            addStatic<T>(d, "translateZ", {5});
          },
          [](VekGroupChunk& s, float t) {
            auto* const values = new VekGroupChunk(Tag::ATRS);
            s.addChild(values);
            for (std::size_t i = 0; i < std::size(channels); ++i)
              addLeaf<T>(*values, Tag::ATTR, {static_cast<T>(t + static_cast<float>(i))});
          }};
}

template <typename T>
SeedObject mesh(bool fixed) {
  const auto topology = [](VekGroupChunk& g) {
    addLeaf<int>(g, Tag::MESH, {1});
    addLeaf<int>(g, Tag::MSPT, {1});
    addLeaf<int>(g, Tag::PCNT, {3, 3});
    addLeaf<int>(g, Tag::PIDS, {0, 1, 2, 2, 1, 3});
    addLeaf<int>(g, Tag::NCNT, {3, 3});
    addLeaf<int>(g, Tag::NIDS, {0, 1, 2, 2, 1, 3});
  };
  return {"|ns:mesh|ns:shape",
          [=](VekDOBJChunk& d) {
            if (fixed) topology(d);
            addStatic<T>(d, "rmanP__Pref", ramp<T>(12, 0, 1), 3);
          },
          [=](VekGroupChunk& s, float t) {
            if (!fixed) topology(s);
            addLeaf(s, Tag::POSI, ramp<T>(12, t, 1), Compound::Point, 3);
            addLeaf(s, Tag::VPNO, ramp<T>(12, 0, 1), Compound::Normal, 3);
            addLeaf(s, Tag::PONO, ramp<T>(12, 0, 1), Compound::Normal, 3);
            addLeaf(s, Tag::VELO, ramp<T>(12, t, 0), Compound::Vector, 3);
            addLeaf<float>(s, Tag::BBOX, {0, 1, 2, 3, 4, 5});
          }};
}

template <typename T>
SeedObject curve(const char* form, std::size_t points, std::size_t knots) {
  return {"|curve",
          [=](VekDOBJChunk& d) {
            addLeaf<int>(d, Tag::NRBC, {1});
            addLeaf<int>(d, Tag::DEGR, {3});
            addText(d, Tag::FORM, {form});
            addLeaf(d, Tag::KNTU, ramp<T>(knots, 0, 1));
          },
          [=](VekGroupChunk& s, float t) {
            addLeaf(s, Tag::POSI, ramp<float>(3 * points, t, 1), Compound::Point, 3);
          }};
}

template <typename T>
SeedObject surface(const char* formU, std::size_t distinctU, bool fixed) {
  const auto topology = [=](VekGroupChunk& g) {
    addLeaf<int>(g, Tag::NRBS, {1});
    addLeaf<int>(g, Tag::DEGR, {3, 2});
    addText(g, Tag::FORM, {formU, "kOpen"});
    addLeaf(g, Tag::KNTU, ramp<T>(7, 0, 1));
    addLeaf(g, Tag::KNTV, ramp<T>(4, 0, 1));
  };
  const std::size_t points = distinctU * 3;
  return {"|surface",
          [=](VekDOBJChunk& d) {
            if (fixed) topology(d);
            addStatic<T>(d, "qorn_Pref", ramp<T>(3 * points, 0, 1), 3);
            d.addAttr(true, "weights", "double", VekTypeOf<T>::value);
          },
          [=](VekGroupChunk& s, float t) {
            if (!fixed) topology(s);
            addLeaf(s, Tag::POSI, ramp<float>(3 * points, t, 1), Compound::Point, 3);
            auto* const values = new VekGroupChunk(Tag::ATRS);
            s.addChild(values);
            addLeaf(*values, Tag::ATTR, ramp<T>(points, t, 1));
          }};
}

SeedObject marker(unsigned int tag) {
  return {"|marker",
          [=](VekDOBJChunk& d) {
            addLeaf<int>(d, tag, {1});
            addStatic<int>(d, "scoped", {0});
            addStatic<int>(d, "displayShape", {2});
            addStatic<std::string>(d, "parentRig", {"rig"});
          },
          [](VekGroupChunk& s, float t) {
            addLeaf(s, Tag::POSI, ramp<double>(4, t, 1), Compound::Point, 4);
          }};
}

SeedObject attributes() {
  return {"|attrs",
          [](VekDOBJChunk& d) {
            addStatic<std::string>(d, "text", {"a", "", "b"});
            addStatic<int>(d, "int", {1, 2});
            addStatic<float>(d, "float", {1, 2, 3}, 3);
            addStatic<__int64>(d, "long", {1L << 40});
            addStatic<double>(d, "double", {0.5});
            for (const char* name : {"aText", "aInt", "aFloat", "aLong", "aDouble"})
              d.addAttr(true, name, "any", ValueType::Undef);
          },
          [](VekGroupChunk& s, float t) {
            auto* const values = new VekGroupChunk(Tag::ATRS);
            s.addChild(values);
            addText(*values, Tag::ATTR, {"x", "y"});
            addLeaf<int>(*values, Tag::ATTR, {static_cast<int>(t)});
            addLeaf<float>(*values, Tag::ATTR, {t, t, t}, Compound::Vector, 3);
            addLeaf<__int64>(*values, Tag::ATTR, {static_cast<__int64>(t)});
            addLeaf<double>(*values, Tag::ATTR, {static_cast<double>(t)});
            addLeaf<char>(s, Tag::FREE, {'r', 'a', 'w'});
          }};
}

// --- Files ---------------------------------------------------------------------------------------

struct Seed {
  const char* name;
  std::vector<SeedObject> objects;
  Times times;
};

std::vector<Seed> seeds() {
  const Times four = {1, 2, 3, 4};
  const Times uneven = {0, 1, 1.5F, 4};
  const auto both = [](const SeedObject& object) {
    return std::vector<SeedObject>{object, {"|other"}};
  };
  return {{"static", both(attributes()), {}},
          {"attributes", both(attributes()), four},
          {"attributes_uneven", both(attributes()), uneven},
          {"transform_float", both(movingTransform<float>()), four},
          {"transform_double", both(movingTransform<double>()), uneven},
          {"channels_float", both(channelTransform<float>()), uneven},
          {"channels_double", both(channelTransform<double>()), four},
          {"mesh_float", {mesh<float>(true)}, four},
          {"mesh_double", {mesh<double>(false)}, uneven},
          {"curve_open", {curve<float>("kOpen", 6, 8)}, four},
          {"curve_periodic", {curve<double>("kPeriodic", 3, 8)}, uneven},
          {"surface_open", {surface<float>("kOpen", 5, true)}, four},
          {"surface_periodic", {surface<double>("kPeriodic", 2, true)}, four},
          {"surface_animated", {surface<float>("kPeriodic", 2, false)}, uneven},
          {"locator", both(marker(Tag::ELOC)), four},
          {"coordinate_system", both(marker(Tag::LXCS)), four},
          {"points", both(marker(Tag::POSI)), uneven},
          {"all",
           {movingTransform<float>(), mesh<float>(true), curve<float>("kOpen", 6, 8),
            surface<float>("kOpen", 5, true), marker(Tag::ELOC), attributes()},
           {0.5F}}};
}

/// Two sections: the second one for samples that the first has no room for.
bool saveSections(const std::string& path) {
  if (!save(path, {movingTransform<float>()}, {1, 2})) return false;
  VekRwMemCache cache;
  if (!cache.load(path.c_str())) return false;
  std::vector<VekGroupChunk*> sobjs;
  for (int i = 3; i < 106; ++i) {
    if (!cache.allocFrame(static_cast<float>(i), sobjs)) return false;
  }
  return cache.save();
}

/// A file whose samples hold no objects.
bool saveWithoutObjects(const std::string& path) {
  VekFile file(path.c_str(), "w");
  VekMETAChunk meta;
  meta.numSamples = 2;
  meta.firstTime = 1;
  meta.lastTime = 2;
  VekSAMSChunk stream;
  bool done =
      VekDVEKChunk().write(file) && meta.write(file) && stream.writeStart(file, 2, 2, false);
  for (int i = 0; i < 2; ++i)
    done = done && stream.writeStartSAMPChunk(file, 0, nullptr) && stream.writeEndSAMPChunk(file);
  return done && stream.writeEnd(file) && file.close();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 1;
  const std::string folder = std::string(argv[1]) + "/";
  for (const Seed& seed : seeds()) {
    if (save(folder + seed.name + ".vek", seed.objects, seed.times)) continue;
    std::fprintf(stderr, "%s could not be written\n", seed.name);
    return 1;
  }
  return saveSections(folder + "sections.vek") && saveWithoutObjects(folder + "no_objects.vek") ? 0
                                                                                                : 1;
}
