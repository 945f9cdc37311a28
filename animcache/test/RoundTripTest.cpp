// SPDX-License-Identifier: Apache-2.0
//
// Round trips of whole caches. A plain model, kept by the test beside the cache, knows what the
// cache has to hold and which bytes its file has to consist of: random scenes go to a file and
// back, loaded files are edited and saved, and files are written again from their chunk trees.

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "ByteImage.h"
#include "VekCache.h"

namespace {

using namespace VekTest;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Vek::VekChunk;
using Vek::VekDOBJChunk;
using Vek::VekDVEKChunk;
using Vek::VekFile;
using Vek::VekGroupChunk;
using Vek::VekHeader;
using Vek::VekLeafChunk;
using Vek::VekMETAChunk;
using Vek::VekRoMemCache;
using Vek::VekRwMemCache;
using Vek::VekSAMSChunk;
namespace Tag = Vek::Tag;

// ---- The model: chunks ----

using Values = std::variant<std::vector<char>, std::vector<std::string>, std::vector<int>,
                            std::vector<float>, std::vector<__int64>, std::vector<double>>;

/// A chunk of the model: a group of children, or a leaf of values.
struct Node {
  unsigned int tag = 0;
  bool isGroup = true;
  unsigned char compound = 0;
  unsigned char dimension = 0;
  Values values = {};
  std::vector<Node> children = {};

  int type() const {
    if (isGroup) return 1;
    return values.index() == 0 ? 0 : static_cast<int>(values.index()) + 1;
  }
};

Node groupNode(unsigned int tag, std::vector<Node> children = {}) {
  return {tag, true, 0, 0, {}, std::move(children)};
}

Node leafNode(unsigned int tag, Values values, unsigned char compound = 0,
              unsigned char dimension = 0) {
  return {tag, false, compound, dimension, std::move(values), {}};
}

Node objectNode(std::vector<Node> children = {}) {
  return groupNode(Tag::SOBJ, std::move(children));
}

/// An object's data with float positions and nothing else.
Node pointsNode(std::vector<float> positions) {
  return objectNode({leafNode(Tag::POSI, std::move(positions), 1, 3)});
}

std::string tagText(unsigned int tag) {
  std::string text;
  for (int shift = 0; shift < 32; shift += 8) text.push_back(static_cast<char>(tag >> shift));
  return text;
}

ByteImage payloadOf(const Values& values) {
  return std::visit(
      [](const auto& all) {
        using Element = typename std::decay_t<decltype(all)>::value_type;
        ByteImage image;
        for (const Element& v : all) {
          if constexpr (std::is_same_v<Element, std::string>) {
            image.cstr(v);
          } else {
            image.value(v);
          }
        }
        return image;
      },
      values);
}

ByteImage imageOf(const Node& node) {
  ByteImage payload = payloadOf(node.values);
  if (node.isGroup) {
    payload = ByteImage();
    for (const Node& child : node.children) payload.raw(imageOf(child));
  }
  return ByteImage().chunk(tagText(node.tag).c_str(), node.type(), payload, node.compound,
                           node.dimension);
}

/// A new chunk like the node, owned by the caller.
VekChunk* makeChunk(const Node& node) {
  if (node.isGroup) {
    auto group = std::make_unique<VekGroupChunk>(node.tag);
    for (const Node& child : node.children) group->addChild(makeChunk(child));
    return group.release();
  }
  return std::visit(
      [&](const auto& all) -> VekChunk* {
        using Element = typename std::decay_t<decltype(all)>::value_type;
        return new VekLeafChunk<Element>(node.tag, node.compound, node.dimension, all);
      },
      node.values);
}

/// Bytewise, so that a NaN equals itself and a negative zero is told from a positive one.
template <typename T>
bool sameValues(const std::vector<T>& a, const std::vector<T>& b) {
  if constexpr (std::is_same_v<T, std::string>) {
    return a == b;
  } else {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
  }
}

/// The first difference between a chunk and a node; empty when there is none.
std::string difference(const VekChunk* chunk, const Node& node) {
  const std::string at = "/" + tagText(node.tag);
  if (chunk == nullptr) return at + " is missing";
  if (chunk->getTag() != node.tag) return at + " has another tag";
  if (chunk->getType() != node.type()) return at + " has another type";
  if (chunk->getCompound() != node.compound) return at + " has another compound kind";
  if (chunk->getDimension() != node.dimension) return at + " has another dimension";
  if (!node.isGroup) {
    return std::visit(
        [&](const auto& all) -> std::string {
          using Element = typename std::decay_t<decltype(all)>::value_type;
          const auto* leaf = Vek::asLeaf<Element>(chunk);
          if (leaf == nullptr) return at + " is another kind of leaf";
          return sameValues(leaf->data, all) ? "" : at + " has other values";
        },
        node.values);
  }
  const auto* group = dynamic_cast<const VekGroupChunk*>(chunk);
  if (group == nullptr) return at + " is no group";
  if (group->numChildren() != node.children.size()) {
    return at + " has " + std::to_string(group->numChildren()) + " children instead of " +
           std::to_string(node.children.size());
  }
  for (std::size_t i = 0; i < node.children.size(); ++i) {
    const std::string inside = difference(group->getChild(i), node.children[i]);
    if (!inside.empty()) return at + "[" + std::to_string(i) + "]" + inside;
  }
  return "";
}

// ---- The model: a whole cache ----

struct Attribute {
  std::string name;
  std::string typeName;
  Node values = {};  ///< of a static attribute
};

struct Object {
  std::string name = {};
  bool hasAttributes = false;
  std::vector<Attribute> animated = {};
  std::vector<Attribute> statics = {};
  std::vector<Node> extras = {};  ///< further chunks of the definition
};

struct Sample {
  float time = 0.0F;
  std::vector<std::optional<Node>> objects = {};  ///< nothing for an object never allocated
};

struct Model {
  std::string application = {};
  std::string sourceFile = {};
  std::int64_t space = 1;
  std::vector<Object> objects = {};
  std::vector<Node> extras = {};  ///< further chunks of META
  std::vector<Sample> samples = {};

  /// The data of an object in the sample at a time, made when missing.
  Node& alloc(float time, std::size_t obj) {
    if (objects.size() <= obj) objects.resize(obj + 1);
    auto at = samples.begin();
    while (at != samples.end() && at->time < time) ++at;
    if (at == samples.end() || at->time > time) at = samples.insert(at, Sample{time, {}});
    if (at->objects.size() <= obj) at->objects.resize(obj + 1);
    if (!at->objects[obj]) at->objects[obj] = objectNode();
    return *at->objects[obj];
  }
  /// In a file every object has data in every sample, empty data when nothing was allocated.
  void noteSaved() {
    for (Sample& sample : samples) {
      sample.objects.resize(objects.size());
      for (auto& object : sample.objects) {
        if (!object) object = objectNode();
      }
    }
  }
  bool isEven() const {
    for (std::size_t i = 2; i < samples.size(); ++i) {
      if (samples[i].time - samples[i - 1].time != samples[1].time - samples[0].time) return false;
    }
    return true;
  }
  /// The rate that a file of these samples has. The tests use spacings that are powers of two, so
  /// that times and rates are exact.
  float rate() const {
    if (samples.size() < 2) return 1.0F;
    return isEven() ? static_cast<float>(1.0 / (samples[1].time - samples[0].time)) : 0.0F;
  }
};

// ---- The model: the bytes of its file ----

ByteImage namesImage(const char* tag, const std::vector<Attribute>& attributes) {
  ByteImage names;
  ByteImage types;
  for (const Attribute& a : attributes) {
    names.cstr(a.name);
    types.cstr(a.typeName);
  }
  return ByteImage().chunk(tag, 1, ByteImage().chunk("NAME", 2, names).chunk("TYPE", 2, types));
}

ByteImage definitionImage(const Object& object) {
  ByteImage payload;
  if (!object.name.empty()) payload.chunk("NAME", 2, ByteImage().cstr(object.name));
  if (object.hasAttributes) {
    ByteImage attributes;
    if (!object.statics.empty()) {
      ByteImage values;
      for (const Attribute& a : object.statics) values.raw(imageOf(a.values));
      attributes.raw(namesImage("SATR", object.statics)).chunk("ATRS", 1, values);
    }
    if (!object.animated.empty()) attributes.raw(namesImage("AATR", object.animated));
    payload.chunk("DATR", 1, attributes);
  }
  for (const Node& extra : object.extras) payload.raw(imageOf(extra));
  return ByteImage().chunk("DOBJ", 1, payload);
}

ByteImage headImage(const Model& model, std::int64_t date) {
  ByteImage meta;
  const auto number = [&](const char* tag, std::int64_t v) {
    meta.chunk(tag, 5, ByteImage().int64(v));
  };
  const auto real = [&](const char* tag, float v) { meta.chunk(tag, 4, ByteImage().float32(v)); };
  if (!model.application.empty()) meta.chunk("WAPP", 2, ByteImage().cstr(model.application));
  if (!model.sourceFile.empty()) meta.chunk("SFIL", 2, ByteImage().cstr(model.sourceFile));
  if (date != 0) number("DATE", date);
  number("NSAM", static_cast<std::int64_t>(model.samples.size()));
  if (!model.samples.empty()) {
    real("FTIM", model.samples.front().time);
    real("LTIM", model.samples.back().time);
    real("RATE", model.rate());
  }
  number("SPAC", model.space);
  number("NOBJ", static_cast<std::int64_t>(model.objects.size()));
  for (const Object& object : model.objects) meta.raw(definitionImage(object));
  for (const Node& extra : model.extras) meta.raw(imageOf(extra));
  return ByteImage().chunk("DVEK", 5, ByteImage().int64(2)).chunk("META", 1, meta);
}

ByteImage sampleImage(const Sample& sample, std::size_t numObjects, std::int64_t at) {
  ByteImage table;
  ByteImage data;
  const std::int64_t dataAt = at + 32 + 8 * static_cast<std::int64_t>(numObjects);
  for (std::size_t o = 0; o < numObjects; ++o) {
    table.int64(dataAt + static_cast<std::int64_t>(data.size()));
    const bool present = o < sample.objects.size() && sample.objects[o].has_value();
    data.raw(imageOf(present ? *sample.objects[o] : objectNode()));
  }
  return ByteImage().chunk("SAMP", 1, ByteImage().chunk("JOBJ", 5, table).raw(data));
}

/// A section of the sample stream: so many samples, and room for so many more in its tables;
/// without room no FREE chunk is there at all.
struct Section {
  std::size_t numSamples;
  std::optional<std::size_t> room;
};

void addSection(ByteImage& file, const Model& model, std::size_t first, const Section& section) {
  const bool hasTimes = model.rate() == 0.0F;
  const std::size_t last = first + section.numSamples;
  std::size_t tables = 16 + 8 * section.numSamples;
  if (section.room) tables += 16 + 8 * *section.room;
  if (hasTimes) tables += 16 + 4 * section.numSamples;
  if (hasTimes && section.room) tables += 16 + 4 * *section.room;
  const std::size_t begin = file.size() + 16 + tables;

  ByteImage times;
  ByteImage jumps;
  ByteImage samples;
  for (std::size_t s = first; s < last; ++s) {
    const auto at = static_cast<std::int64_t>(begin + samples.size());
    times.float32(model.samples[s].time);
    jumps.int64(at);
    samples.raw(sampleImage(model.samples[s], model.objects.size(), at));
  }
  ByteImage payload;
  if (hasTimes) payload.chunk("TIMS", 4, times);
  if (hasTimes && section.room) payload.chunk("FREE", 0, ByteImage().zeros(4 * *section.room));
  payload.chunk("JSAM", 5, jumps);
  if (section.room) payload.chunk("FREE", 0, ByteImage().zeros(8 * *section.room));
  file.chunk("SAMS", 1, payload.raw(samples));
}

/// The whole file. `between` stands after the head, in front of the samples.
std::string fileImage(const Model& model, const std::vector<Section>& sections, std::int64_t date,
                      const ByteImage& between = ByteImage()) {
  ByteImage file = headImage(model, date);
  file.raw(between);
  std::size_t first = 0;
  for (const Section& section : sections) {
    addSection(file, model, first, section);
    first += section.numSamples;
  }
  return file.bytes();
}

/// The file of a cache that was written anew, with the room it has by default.
std::string savedImage(const Model& model, std::int64_t date) {
  if (model.samples.empty()) return fileImage(model, {}, date);
  const std::size_t n = model.samples.size();
  return fileImage(model, {{n, std::max<std::size_t>(100, 2 * n)}}, date);
}

// ---- A cache beside its model ----

/// Whether objects that nobody allocated are absent, as before a save, or empty, as in a file.
enum class Unallocated { Absent, Empty };

void expectSameDefinition(const VekDOBJChunk& definition, const Object& object) {
  EXPECT_EQ(definition.name, object.name);
  ASSERT_EQ(definition.getDATR() != nullptr, object.hasAttributes);
  ASSERT_EQ(static_cast<std::size_t>(definition.getNumAttrs()),
            object.animated.size() + object.statics.size());
  int i = 0;
  for (const Attribute& a : object.animated) {
    EXPECT_EQ(definition.getAttrName(i), a.name);
    EXPECT_EQ(definition.getAttrType(i), a.typeName);
    EXPECT_TRUE(definition.isAttrAnimated(i));
    ++i;
  }
  for (const Attribute& a : object.statics) {
    EXPECT_EQ(definition.getAttrName(i), a.name);
    EXPECT_EQ(definition.getAttrType(i), a.typeName);
    EXPECT_FALSE(definition.isAttrAnimated(i));
    EXPECT_EQ(difference(definition.getDATR()->getStaticData(i), a.values), "");
    ++i;
  }
  ASSERT_EQ(definition.numChildren(), object.extras.size());
  for (std::size_t k = 0; k < object.extras.size(); ++k) {
    EXPECT_EQ(difference(definition.getChild(k), object.extras[k]), "");
  }
}

void expectSameHead(VekRoMemCache& cache, const Model& model) {
  VekMETAChunk& meta = cache.getMETAChunk();
  EXPECT_EQ(cache.getVersion(), 2);
  EXPECT_EQ(cache.getApplication(), model.application);
  EXPECT_EQ(cache.getSourceFile(), model.sourceFile);
  EXPECT_EQ(cache.getSpace(), model.space);
  ASSERT_EQ(static_cast<std::size_t>(cache.getNumObjects()), model.objects.size());
  for (std::size_t o = 0; o < model.objects.size(); ++o) {
    SCOPED_TRACE("object " + std::to_string(o));
    EXPECT_EQ(cache.getName(static_cast<int>(o)), model.objects[o].name);
    expectSameDefinition(*meta.dobjs[o], model.objects[o]);
  }
  ASSERT_EQ(meta.numChildren(), model.extras.size());
  for (std::size_t k = 0; k < model.extras.size(); ++k) {
    EXPECT_EQ(difference(meta.getChild(k), model.extras[k]), "");
  }
}

void expectSameSamples(VekRoMemCache& cache, const Model& model, Unallocated unallocated) {
  ASSERT_EQ(static_cast<std::size_t>(cache.getNumSamples()), model.samples.size());
  if (model.samples.empty()) return;
  EXPECT_EQ(cache.getFirstTime(), model.samples.front().time);
  EXPECT_EQ(cache.getLastTime(), model.samples.back().time);
  for (std::size_t s = 0; s < model.samples.size(); ++s) {
    SCOPED_TRACE("sample " + std::to_string(s));
    const Sample& sample = model.samples[s];
    const int index = static_cast<int>(s);
    EXPECT_EQ(cache.getSampleTime(index), sample.time);
    EXPECT_EQ(cache.getSampleIndex(sample.time), index);
    for (std::size_t o = 0; o < model.objects.size(); ++o) {
      const VekGroupChunk* data = cache.getSample(index, static_cast<int>(o));
      const bool present = o < sample.objects.size() && sample.objects[o].has_value();
      if (!present && unallocated == Unallocated::Absent) {
        EXPECT_EQ(data, nullptr) << "object " << o;
      } else {
        EXPECT_EQ(difference(data, present ? *sample.objects[o] : objectNode()), "")
            << "object " << o;
      }
    }
  }
}

void expectSame(VekRoMemCache& cache, const Model& model, Unallocated unallocated) {
  expectSameHead(cache, model);
  expectSameSamples(cache, model, unallocated);
}

/// Loads a file and compares all of it.
void expectFileHolds(const std::string& file, const Model& model) {
  SCOPED_TRACE(file);
  VekRoMemCache cache;
  ASSERT_TRUE(cache.load(file.c_str(), true));
  EXPECT_EQ(cache.getRate(), model.samples.empty() ? 1.0F : model.rate());
  expectSame(cache, model, Unallocated::Empty);
}

void setValues(VekChunk* leaf, const Values& values) {
  std::visit(
      [&](const auto& all) {
        using Element = typename std::decay_t<decltype(all)>::value_type;
        ASSERT_NE(Vek::asLeaf<Element>(leaf), nullptr);
        Vek::asLeaf<Element>(leaf)->setData(all);
      },
      values);
}

/// Gives the cache object definition `obj` of the model.
void define(VekRwMemCache& cache, const Model& model, std::size_t obj) {
  const Object& object = model.objects[obj];
  cache.setName(static_cast<int>(obj), object.name.c_str());
  VekDOBJChunk* definition = cache.getMETAChunk().dobjs.at(obj);
  if (object.hasAttributes) definition->addDATR();
  for (const Attribute& a : object.animated) {
    definition->addAttr(true, a.name, a.typeName, Vek::ValueType::Float);
  }
  for (const Attribute& a : object.statics) {
    const int i =
        definition->addAttr(false, a.name, a.typeName, static_cast<unsigned char>(a.values.type()),
                            a.values.compound, a.values.dimension);
    setValues(definition->getDATR()->getStaticData(i), a.values.values);
  }
  for (const Node& extra : object.extras) definition->addChild(makeChunk(extra));
}

/// Builds the model in an empty cache.
void build(VekRwMemCache& cache, const Model& model) {
  cache.setApplication(model.application);
  cache.setSourceFile(model.sourceFile);
  cache.setSpace(static_cast<int>(model.space));
  for (std::size_t o = 0; o < model.objects.size(); ++o) define(cache, model, o);
  for (const Node& extra : model.extras) cache.getMETAChunk().addChild(makeChunk(extra));
  for (const Sample& sample : model.samples) {
    for (std::size_t o = 0; o < sample.objects.size(); ++o) {
      if (!sample.objects[o]) continue;
      VekGroupChunk* data = cache.allocSample(sample.time, static_cast<int>(o));
      ASSERT_NE(data, nullptr);
      for (const Node& child : sample.objects[o]->children) data->addChild(makeChunk(child));
    }
  }
}

/// Adds a sample after the last one, complete, to the cache and the model.
void appendFrame(VekRwMemCache& cache, Model& model, float time) {
  std::vector<VekGroupChunk*> frame;
  ASSERT_TRUE(cache.allocFrame(time, frame));
  ASSERT_EQ(frame.size(), model.objects.size());
  for (std::size_t o = 0; o < frame.size(); ++o) {
    Node& node = model.alloc(time, o);
    node.children = pointsNode({time, static_cast<float>(o), 0.5F}).children;
    for (const Node& child : node.children) frame[o]->addChild(makeChunk(child));
  }
}

/// Two named objects with attributes and points, at the given times; the head is such that it fits
/// in place when only samples are added.
Model smallModel(const std::vector<float>& times) {
  Model model;
  model.application = "exporter";
  model.sourceFile = "scene.ma";
  model.objects.resize(2);
  model.objects[0].name = "|top|wave";
  model.objects[0].hasAttributes = true;
  model.objects[0].animated = {{"weight", "float", {}}};
  model.objects[0].statics = {{"ids", "int", leafNode(Tag::ATTR, std::vector<int>{4, 5, 6}, 0, 1)}};
  model.objects[1].name = "|top|dust";
  for (const float t : times) {
    model.alloc(t, 0).children = pointsNode({t, 1.0F, 2.0F}).children;
    model.alloc(t, 1).children = pointsNode({-t, t, 7.0F, 8.0F, 9.0F, 10.0F}).children;
  }
  return model;
}

constexpr std::int64_t kDate = 1234567890;

class RoundTripTest : public FileTest {
 protected:
  /// Writes the file of a model by hand and loads it.
  void loadImage(const Model& model, const std::vector<Section>& sections) {
    ASSERT_TRUE(cache.load(writeFile(fileImage(model, sections, kDate)).c_str(), true));
  }
  void loadImage(const Model& model) { loadImage(model, {{model.samples.size(), 100}}); }
  /// Saves, and compares what the file and the cache hold with the model.
  void saveAndCompare(Model model) {
    ASSERT_TRUE(cache.save());
    EXPECT_FALSE(cache.isDirty());
    model.noteSaved();
    expectSame(cache, model, Unallocated::Empty);
    expectFileHolds(path(), model);
  }
  std::string bytes(const std::string& name = "file.vek") const { return readFile(path(name)); }

  VekRwMemCache cache;
};

// ---- The bytes of a saved file ----

TEST_F(RoundTripTest, evenlySpacedCacheIsSavedAsExactlyTheseBytes) {
  const Model model = smallModel({1.0F, 2.0F, 3.0F});
  build(cache, model);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, unevenlySpacedCacheIsSavedAsExactlyTheseBytes) {
  const Model model = smallModel({1.0F, 2.0F, 3.0F, 5.0F});
  build(cache, model);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, objectsWithoutSamplesAreSavedAsAHeadOnly) {
  Model model = smallModel({});
  build(cache, model);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  EXPECT_EQ(bytes(), headImage(model, cache.getDateStamp()).bytes());
  expectFileHolds(path(), model);

  model.objects[1].name = "|renamed";
  cache.setName(1, "|renamed");
  bool written = false;
  ASSERT_TRUE(cache.save(&written));
  EXPECT_TRUE(written);
  EXPECT_FALSE(cache.isDirty());
  EXPECT_EQ(bytes(), headImage(model, cache.getDateStamp()).bytes());
}

TEST_F(RoundTripTest, dateStampIsTheTimeOfTheSave) {
  build(cache, smallModel({1.0F}));
  const std::time_t before = std::time(nullptr);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  const std::time_t after = std::time(nullptr);
  VekRoMemCache saved(path().c_str());
  EXPECT_GE(saved.getDateStamp(), before);
  EXPECT_LE(saved.getDateStamp(), after);
  EXPECT_EQ(saved.getDateStamp(), cache.getDateStamp());
}

TEST_F(RoundTripTest, tablesHaveRoomForAsManyAsReservedAndNeverBelowAHundred) {
  struct Case {
    int reserved;
    std::size_t numSamples;
    std::size_t room;
  };
  for (const Case& c : {Case{0, 1, 100}, Case{0, 50, 100}, Case{0, 51, 102}, Case{7, 51, 100},
                        Case{99, 2, 100}, Case{101, 2, 101}, Case{250, 51, 250}}) {
    SCOPED_TRACE("reserved " + std::to_string(c.reserved) + ", samples " +
                 std::to_string(c.numSamples));
    std::vector<float> times;
    for (std::size_t s = 0; s < c.numSamples; ++s) times.push_back(static_cast<float>(s));
    const Model model = smallModel(times);
    VekRwMemCache built;
    build(built, model);
    built.setReservedSamples(c.reserved);
    ASSERT_TRUE(built.saveAs(path().c_str()));
    EXPECT_EQ(bytes(), fileImage(model, {{c.numSamples, c.room}}, built.getDateStamp()));
  }
}

TEST_F(RoundTripTest, objectsNeverAllocatedAreSavedEmpty) {
  Model model = smallModel({1.0F, 2.0F});
  model.samples[0].objects[0].reset();
  model.samples[1].objects[1].reset();
  build(cache, model);
  expectSame(cache, model, Unallocated::Absent);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
  model.noteSaved();
  expectFileHolds(path(), model);
  expectSame(cache, model, Unallocated::Empty);
}

TEST_F(RoundTripTest, objectsWithoutNamesComeBackWithoutNames) {
  Model model = smallModel({1.0F, 2.0F});
  model.objects[0] = Object();
  model.objects[1].name.clear();
  build(cache, model);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
  expectFileHolds(path(), model);
}

// ---- The bytes of a file that was appended to ----

struct AppendCase {
  const char* name;
  std::vector<float> times;       ///< of the file
  std::vector<Section> sections;  ///< of the file
  std::vector<float> added;       ///< times of the appended samples
  std::vector<Section> after;     ///< the sections of the file then

  friend void PrintTo(const AppendCase& c, std::ostream* os) { *os << c.name; }
};

class AppendImageTest : public RoundTripTest, public ::testing::WithParamInterface<AppendCase> {};

TEST_P(AppendImageTest, fileConsistsOfExactlyTheseBytes) {
  const AppendCase& c = GetParam();
  Model model = smallModel(c.times);
  loadImage(model, c.sections);
  for (const float t : c.added) appendFrame(cache, model, t);
  EXPECT_TRUE(cache.isDirty());
  bool written = false;
  bool removed = true;
  ASSERT_TRUE(cache.save(&written, &removed));
  EXPECT_TRUE(written);
  EXPECT_FALSE(removed);
  EXPECT_FALSE(cache.isDirty());
  EXPECT_EQ(bytes(), fileImage(model, c.after, cache.getDateStamp()));
  expectFileHolds(path(), model);
  expectSame(cache, model, Unallocated::Empty);
}

TEST_P(AppendImageTest, cacheThatWasLoadedAgainAppendsInTheSameWay) {
  const AppendCase& c = GetParam();
  Model model = smallModel(c.times);
  writeFile(fileImage(model, c.sections, kDate));
  VekRwMemCache closed;
  ASSERT_TRUE(closed.load(path().c_str(), false));
  for (const float t : c.added) appendFrame(closed, model, t);
  ASSERT_TRUE(closed.append());
  EXPECT_FALSE(closed.isDirty());
  EXPECT_EQ(bytes(), fileImage(model, c.after, closed.getDateStamp()));
  expectSame(closed, model, Unallocated::Empty);
}

INSTANTIATE_TEST_SUITE_P(
    RoundTrip, AppendImageTest,
    ::testing::Values(
        AppendCase{"evenIntoTheRoom", {1, 2, 3}, {{3, 5}}, {4, 5}, {{5, 3}}},
        AppendCase{"unevenIntoTheRoom", {1, 2, 4}, {{3, 5}}, {5, 7}, {{5, 3}}},
        AppendCase{"evenFillsTheRoom", {1, 2, 3}, {{3, 2}}, {4, 5}, {{5, 0}}},
        AppendCase{"unevenFillsTheRoom", {1, 2, 4}, {{3, 2}}, {5, 7}, {{5, 0}}},
        AppendCase{"evenRoomTooSmall", {1, 2, 3}, {{3, 1}}, {4, 5}, {{3, 1}, {2, 100}}},
        AppendCase{"unevenRoomTooSmall", {1, 2, 4}, {{3, 1}}, {5, 7}, {{3, 1}, {2, 100}}},
        AppendCase{"evenRoomUsedUp", {1, 2, 3}, {{3, 0}}, {4}, {{3, 0}, {1, 100}}},
        AppendCase{"unevenRoomUsedUp", {1, 2, 4}, {{3, 0}}, {7}, {{3, 0}, {1, 100}}},
        AppendCase{"evenWithoutRoom", {1, 2, 3}, {{3, {}}}, {4}, {{3, {}}, {1, 100}}},
        AppendCase{"unevenWithoutRoom", {1, 2, 4}, {{3, {}}}, {9}, {{3, {}}, {1, 100}}},
        AppendCase{"evenSecondSection", {1, 2, 3}, {{2, {}}, {1, 4}}, {4}, {{2, {}}, {2, 3}}},
        AppendCase{"unevenSecondSection", {1, 2, 9}, {{2, 1}, {1, 4}}, {10}, {{2, 1}, {2, 3}}},
        AppendCase{
            "thirdSection", {1, 2, 3, 4, 5}, {{3, 1}, {2, 0}}, {6, 7}, {{3, 1}, {2, 0}, {2, 100}}},
        AppendCase{"oneSampleToTwo", {8}, {{1, 3}}, {10}, {{2, 2}}}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(RoundTripTest, appendsFillTheRoomOfAHundredThenBeginASection) {
  Model model = smallModel({0.0F});
  loadImage(model);
  const std::string before = bytes();
  for (int i = 1; i <= 102; ++i) {
    appendFrame(cache, model, static_cast<float>(i));
    ASSERT_TRUE(cache.save());
    const auto n = static_cast<std::size_t>(i);
    const std::vector<Section> sections =
        n <= 100 ? std::vector<Section>{{n + 1, 100 - n}}
                 // The room of a new section is twice the samples of the whole cache.
                 : std::vector<Section>{{101, 0}, {n - 100, 204 - (n - 101)}};
    ASSERT_EQ(bytes(), fileImage(model, sections, cache.getDateStamp())) << "append " << i;
  }
  expectFileHolds(path(), model);
}

TEST_F(RoundTripTest, newSectionHasTheReservedRoom) {
  Model model = smallModel({1.0F, 2.0F});
  loadImage(model, {{2, {}}});
  cache.setReservedSamples(321);
  appendFrame(cache, model, 3.0F);
  ASSERT_TRUE(cache.append());
  EXPECT_EQ(bytes(), fileImage(model, {{2, {}}, {1, 321}}, cache.getDateStamp()));
}

TEST_F(RoundTripTest, unknownChunkBehindTheHeadSurvivesAnAppend) {
  Model model = smallModel({1.0F, 2.0F});
  const ByteImage between =
      imageOf(groupNode(Vek::makeTag('X', 'T', 'R', 'A'),
                        {leafNode(Tag::SAMS, std::vector<double>{1.5}), groupNode(Tag::META)}));
  writeFile(fileImage(model, {{2, 6}}, kDate, between));
  ASSERT_TRUE(cache.load(path().c_str(), true));
  appendFrame(cache, model, 3.0F);
  ASSERT_TRUE(cache.append());
  EXPECT_EQ(bytes(), fileImage(model, {{3, 5}}, cache.getDateStamp(), between));
  expectFileHolds(path(), model);
}

TEST_F(RoundTripTest, headsFieldsOfTheSameLengthGoIntoAnAppend) {
  Model model = smallModel({1.0F, 2.0F});
  loadImage(model);
  appendFrame(cache, model, 3.0F);
  cache.setApplication(model.application = "EXPORTER");
  cache.setSourceFile(model.sourceFile = "SCENE.MA");
  cache.setSpace(0);
  model.space = 0;
  cache.setName(0, "|TOP|WAVE");
  model.objects[0].name = "|TOP|WAVE";
  ASSERT_TRUE(cache.setAttrName(0, 1, "IDS"));
  model.objects[0].statics[0].name = "IDS";
  ASSERT_TRUE(cache.append());
  EXPECT_EQ(bytes(), fileImage(model, {{3, 99}}, cache.getDateStamp()));
  expectFileHolds(path(), model);
}

TEST_F(RoundTripTest, shiftAndAppendOfAnEvenCacheGoInPlace) {
  Model model = smallModel({1.0F, 2.0F});
  loadImage(model);
  cache.shiftFirstTimeTo(11.0F);
  for (Sample& sample : model.samples) sample.time += 10.0F;
  appendFrame(cache, model, 13.0F);
  ASSERT_TRUE(cache.append());
  EXPECT_EQ(bytes(), fileImage(model, {{3, 99}}, cache.getDateStamp()));
  expectFileHolds(path(), model);
}

TEST_F(RoundTripTest, appendedObjectsNeverAllocatedAreEmptyInTheFile) {
  Model model = smallModel({1.0F, 2.0F});
  loadImage(model);
  model.alloc(3.0F, 1);
  ASSERT_NE(cache.allocSample(3.0F, 1), nullptr);
  expectSame(cache, model, Unallocated::Absent);
  ASSERT_TRUE(cache.append());
  EXPECT_EQ(bytes(), fileImage(model, {{3, 99}}, cache.getDateStamp()));
  model.noteSaved();
  expectSame(cache, model, Unallocated::Empty);
}

// ---- Edits that need the whole file anew ----

TEST_F(RoundTripTest, secondObjectOfAnAppendedSampleIsSavedByARewrite) {
  Model model = smallModel({1.0F, 2.0F});
  loadImage(model, {{2, 7}});
  for (const std::size_t o : {0U, 1U}) {
    model.alloc(3.0F, o).children = pointsNode({5.0F}).children;
    VekGroupChunk* data = cache.allocSample(3.0F, static_cast<int>(o));
    ASSERT_NE(data, nullptr);
    data->addChild(makeChunk(pointsNode({5.0F}).children[0]));
  }
  EXPECT_FALSE(cache.append());
  saveAndCompare(model);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, sampleOffTheSpacingOfAnEvenFileIsSavedByARewrite) {
  Model model = smallModel({1.0F, 2.0F, 3.0F});
  loadImage(model, {{3, 7}});
  appendFrame(cache, model, 5.0F);
  EXPECT_TRUE(cache.isNonUniform());
  EXPECT_FALSE(cache.append());
  EXPECT_TRUE(cache.isDirty());
  saveAndCompare(model);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, evenTimesOfANonUniformFileBecomeUniform) {
  // Two samples of a time table, whose spacing the appended one continues.
  const Model uneven = smallModel({1.0F, 2.0F, 4.0F});
  loadImage(uneven);
  cache.truncate(2.0F);
  Model model = smallModel({1.0F, 2.0F});
  EXPECT_TRUE(cache.isNonUniform());
  saveAndCompare(model);
  EXPECT_EQ(cache.getRate(), 1.0F);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, insertedSampleLeavesTheOthersTheirData) {
  Model model = smallModel({1.0F, 2.0F, 3.0F});
  loadImage(model);
  model.alloc(1.5F, 1).children = pointsNode({0.25F}).children;
  VekGroupChunk* data = cache.allocSample(1.5F, 1);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->numChildren(), 0U);
  data->addChild(makeChunk(pointsNode({0.25F}).children[0]));
  expectSame(cache, model, Unallocated::Absent);
  saveAndCompare(model);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, sampleBeforeTheFirstAtTheSameSpacingStaysUniform) {
  Model model = smallModel({1.0F, 2.0F, 3.0F});
  loadImage(model);
  model.alloc(0.0F, 0);
  ASSERT_NE(cache.allocSample(0.0F, 0), nullptr);
  EXPECT_FALSE(cache.isNonUniform());
  EXPECT_EQ(cache.getFirstTime(), 0.0F);
  expectSame(cache, model, Unallocated::Absent);
  saveAndCompare(model);
}

TEST_F(RoundTripTest, sampleBeforeTheFirstAtAnotherSpacingComesBackNonUniform) {
  Model model = smallModel({1.0F, 2.0F, 3.0F});
  loadImage(model);
  model.alloc(-1.0F, 0);
  ASSERT_NE(cache.allocSample(-1.0F, 0), nullptr);
  EXPECT_TRUE(cache.isNonUniform());
  expectSame(cache, model, Unallocated::Absent);
  saveAndCompare(model);
}

TEST_F(RoundTripTest, timesOneTwoThreeAndFiveComeBack) {
  Model model;
  model.objects.resize(1);
  for (const float t : {1.0F, 2.0F, 3.0F, 5.0F}) {
    EXPECT_EQ(cache.getRate(), 1.0F);
    model.alloc(t, 0);
    ASSERT_NE(cache.allocSample(t, 0), nullptr);
  }
  EXPECT_EQ(cache.getRate(), 0.0F);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  expectFileHolds(path(), model);
}

TEST_F(RoundTripTest, existingDataComesBackFromTheFileToBeEdited) {
  Model model = smallModel({1.0F, 2.0F, 3.0F});
  loadImage(model);
  VekGroupChunk* data = cache.allocSample(2.0F, 0);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(difference(data, *model.samples[1].objects[0]), "");
  const Node more = leafNode(Tag::VELO, std::vector<double>{0.5, -0.5}, 2, 3);
  data->addChild(makeChunk(more));
  model.samples[1].objects[0]->children.push_back(more);
  saveAndCompare(model);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, truncatedCacheComesBackShorter) {
  Model model = smallModel({0.0F, 1.0F, 2.0F, 3.0F});
  loadImage(model);
  cache.truncate(1.5F);
  model.samples.pop_back();
  EXPECT_EQ(cache.getLastTime(), 2.0F);
  saveAndCompare(model);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, truncationAtTheLastTimeChangesNothing) {
  const Model model = smallModel({0.0F, 1.0F, 2.0F, 3.0F});
  loadImage(model);
  const std::string before = bytes();
  cache.truncate(3.0F);
  EXPECT_FALSE(cache.isDirty());
  ASSERT_TRUE(cache.save());
  EXPECT_EQ(bytes(), before);
  expectSame(cache, model, Unallocated::Empty);
}

TEST_F(RoundTripTest, samplesBehindATruncationNeverComeBack) {
  for (const std::vector<float>& times :
       {std::vector<float>{0, 1, 2, 3, 4}, std::vector<float>{0, 1, 3, 4, 8}}) {
    Model model = smallModel(times);
    VekRwMemCache loaded;
    ASSERT_TRUE(loaded.load(writeFile(savedImage(model, kDate)).c_str(), true));
    loaded.truncate(1.0F);
    model.samples.resize(2);
    appendFrame(loaded, model, 1.5F);
    appendFrame(loaded, model, 7.0F);
    expectSame(loaded, model, Unallocated::Absent);
    EXPECT_FALSE(loaded.append()) << "an append would lose the truncation";
    ASSERT_TRUE(loaded.save());
    EXPECT_EQ(bytes(), savedImage(model, loaded.getDateStamp()));
    expectFileHolds(path(), model);
    expectSame(loaded, model, Unallocated::Empty);
  }
}

TEST_F(RoundTripTest, oneSampleLeftByATruncationTakesTheSpacingOfTheNext) {
  Model model = smallModel({0.0F, 1.0F, 3.0F});
  loadImage(model);
  cache.truncate(0.0F);
  model.samples.resize(1);
  appendFrame(cache, model, 2.0F);
  EXPECT_EQ(cache.getRate(), 0.5F);
  expectSame(cache, model, Unallocated::Absent);
  appendFrame(cache, model, 4.0F);
  saveAndCompare(model);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, editBeforeAnAppendedSampleIsSavedToo) {
  Model model = smallModel({1.0F, 2.0F});
  loadImage(model);
  VekGroupChunk* data = cache.allocSample(1.0F, 0);
  ASSERT_NE(data, nullptr);
  data->reset();
  model.alloc(1.0F, 0).children.clear();
  appendFrame(cache, model, 3.0F);
  EXPECT_FALSE(cache.append()) << "an append would lose the edit";
  saveAndCompare(model);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, sampleInsertedBeforeAnAppendedOneIsSavedToo) {
  Model model = smallModel({1.0F, 2.0F, 4.0F});
  loadImage(model);
  model.alloc(3.0F, 1);
  ASSERT_NE(cache.allocSample(3.0F, 1), nullptr);
  appendFrame(cache, model, 5.0F);
  EXPECT_FALSE(cache.append()) << "an append would lose the inserted sample";
  saveAndCompare(model);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, sampleInsertedIntoSamplesThatAreAllNewIsSavedToo) {
  Model model = smallModel({1.0F, 2.0F});
  loadImage(model);
  appendFrame(cache, model, 3.0F);
  appendFrame(cache, model, 5.0F);
  model.alloc(4.0F, 0);
  ASSERT_NE(cache.allocSample(4.0F, 0), nullptr);
  saveAndCompare(model);
}

TEST_F(RoundTripTest, objectsAddedToALoadedFileAreEmptyInItsSamples) {
  Model model = smallModel({1.0F, 2.0F});
  loadImage(model);
  model.alloc(2.0F, 3).children = pointsNode({1.0F}).children;
  VekGroupChunk* data = cache.allocSample(2.0F, 3);
  ASSERT_NE(data, nullptr);
  data->addChild(makeChunk(pointsNode({1.0F}).children[0]));
  expectSame(cache, model, Unallocated::Absent);
  saveAndCompare(model);
  model.noteSaved();
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, definitionAndSampleAddedInOneCallAreSavedByARewrite) {
  Model model = smallModel({1.0F, 2.0F});
  loadImage(model, {{2, 9}});
  model.alloc(3.0F, 2);
  ASSERT_NE(cache.allocSample(3.0F, 2), nullptr);
  EXPECT_FALSE(cache.append()) << "the head does not fit in place";
  EXPECT_EQ(bytes(), fileImage(smallModel({1.0F, 2.0F}), {{2, 9}}, kDate));
  saveAndCompare(model);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, renamedCacheComesBackWithItsNames) {
  Model model = smallModel({1.0F, 2.0F});
  loadImage(model);
  cache.setName(0, "|another|much longer name");
  model.objects[0].name = "|another|much longer name";
  ASSERT_TRUE(cache.setAttrName(0, 0, "w"));
  ASSERT_TRUE(cache.setAttrType(0, 0, "double"));
  ASSERT_TRUE(cache.setAttrName(0, 1, ""));
  model.objects[0].animated[0] = {"w", "double", {}};
  model.objects[0].statics[0].name.clear();
  saveAndCompare(model);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, shiftedEvenCacheComesBackShifted) {
  Model model = smallModel({1.0F, 2.0F, 3.0F, 4.0F, 5.0F});
  loadImage(model);
  cache.shiftFirstTimeTo(10.0F);
  EXPECT_EQ(cache.getLastTime(), 14.0F);
  for (Sample& sample : model.samples) sample.time += 9.0F;
  saveAndCompare(model);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, shiftedUnevenCacheIsRefusedByLoad) {
  const Model model = smallModel({1.0F, 2.0F, 4.0F});
  loadImage(model);
  cache.shiftFirstTimeTo(10.0F);
  EXPECT_EQ(cache.getFirstTime(), 1.0F);
  EXPECT_EQ(cache.getLastTime(), 4.0F);
  EXPECT_EQ(cache.getSampleTime(0), 10.0F);
  EXPECT_EQ(cache.getSampleTime(2), 13.0F);
  ASSERT_TRUE(cache.save());
  const std::string message = captureStdout([&] {
    VekRoMemCache saved;
    EXPECT_FALSE(saved.load(path().c_str(), true));
  });
  EXPECT_THAT(message, HasSubstr("first time is wrong"));
}

TEST_F(RoundTripTest, deletedCacheIsBuiltAnewUnderItsName) {
  loadImage(smallModel({1.0F, 2.0F}));
  cache.deleteCache();
  EXPECT_EQ(cache.getFilename(), path());
  const Model model = smallModel({5.0F, 9.0F});
  build(cache, model);
  saveAndCompare(model);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, truncationBeforeTheFirstTimeEmptiesTheCache) {
  loadImage(smallModel({1.0F, 2.0F}));
  cache.truncate(0.5F);
  EXPECT_EQ(cache.getNumSamples(), 0);
  EXPECT_EQ(cache.getNumObjects(), 0);
  EXPECT_FALSE(cache.isDirty());
  bool written = true;
  bool removed = true;
  EXPECT_TRUE(cache.save(&written, &removed));
  EXPECT_FALSE(written);
  EXPECT_FALSE(removed);
  EXPECT_TRUE(VekFile::exists(path().c_str())) << "a clean cache saves nothing";
  EXPECT_TRUE(cache.saveAs(path().c_str(), &written, &removed));
  EXPECT_FALSE(written);
  EXPECT_TRUE(removed);
  EXPECT_FALSE(VekFile::exists(path().c_str()));
}

// ---- Load and save unchanged ----

TEST_F(RoundTripTest, saveOfAnUnchangedCacheWritesNothing) {
  loadImage(smallModel({1.0F, 2.0F}));
  const std::string before = bytes();
  bool written = true;
  bool removed = true;
  EXPECT_TRUE(cache.save(&written, &removed));
  EXPECT_FALSE(written);
  EXPECT_FALSE(removed);
  EXPECT_EQ(bytes(), before);
}

TEST_F(RoundTripTest, unchangedCacheIsWrittenElsewhereAsTheSameBytes) {
  for (const std::vector<float>& times :
       {std::vector<float>{1, 2, 3}, std::vector<float>{1, 2, 5}, std::vector<float>{4}}) {
    const Model model = smallModel(times);
    VekRwMemCache loaded(writeFile(savedImage(model, kDate)).c_str());
    ASSERT_TRUE(loaded.saveAs(path("copy.vek").c_str()));
    EXPECT_EQ(bytes("copy.vek"), savedImage(model, loaded.getDateStamp()));
    EXPECT_EQ(bytes(), savedImage(model, kDate)) << "the first file stays as it is";
    EXPECT_EQ(loaded.getFilename(), path("copy.vek"));
  }
}

TEST_F(RoundTripTest, sectionsAreJoinedByARewrite) {
  const Model model = smallModel({1.0F, 2.0F, 4.0F, 5.0F, 6.0F});
  loadImage(model, {{2, {}}, {1, 1}, {2, {}}});
  expectSame(cache, model, Unallocated::Empty);
  ASSERT_TRUE(cache.saveAs(path().c_str()));
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

/// A tree with every type of leaf, empty ones and empty groups.
std::vector<Node> unknownTrees() {
  const auto tag = [](char last) { return Vek::makeTag('X', 'Q', '_', last); };
  return {
      leafNode(tag('0'), std::vector<char>{'\0', '\x7F', '\xFF'}, 3, 9),
      leafNode(tag('2'), std::vector<std::string>{"", "two words", ""}, 6),
      leafNode(tag('3'), std::vector<int>{-1, 0, std::numeric_limits<int>::min()}, 0, 1),
      leafNode(tag('4'), std::vector<float>{std::nanf(""), -0.0F, 1e-45F}, 1, 3),
      leafNode(tag('5'), std::vector<__int64>{std::numeric_limits<__int64>::max()}, 5, 4),
      leafNode(tag('6'), std::vector<double>{1.0 / 3.0, -HUGE_VAL}, 4, 16),
      groupNode(tag('g'), {groupNode(tag('h'), {groupNode(tag('i')), leafNode(Tag::FREE, {})}),
                           leafNode(tag('j'), std::vector<double>{})}),
      leafNode(Tag::FREE, std::vector<char>{'a', 'b'}),
      groupNode(tag('k')),
  };
}

TEST_F(RoundTripTest, unknownChunksSurviveWhereverTheyStand) {
  Model model = smallModel({1.0F, 2.0F});
  model.extras = unknownTrees();
  model.objects[0].extras = unknownTrees();
  model.objects[1].extras = {groupNode(Vek::makeTag('X', 'D', 'E', 'F'), unknownTrees())};
  for (Sample& sample : model.samples) {
    for (const Node& tree : unknownTrees()) sample.objects[0]->children.push_back(tree);
  }
  writeFile(savedImage(model, kDate));
  VekRwMemCache loaded(path().c_str());
  ASSERT_TRUE(loaded.saveAs(path("copy.vek").c_str()));
  EXPECT_EQ(bytes("copy.vek"), savedImage(model, loaded.getDateStamp()));
  expectFileHolds(path("copy.vek"), model);
}

TEST_F(RoundTripTest, unknownChunksAddedToALoadedFileAreSaved) {
  Model model = smallModel({1.0F, 2.0F});
  loadImage(model);
  for (const Node& tree : unknownTrees()) {
    cache.getMETAChunk().addChild(makeChunk(tree));
    cache.getMETAChunk().dobjs[1]->addChild(makeChunk(tree));
    cache.allocSample(1.0F, 1)->addChild(makeChunk(tree));
    model.extras.push_back(tree);
    model.objects[1].extras.push_back(tree);
    model.alloc(1.0F, 1).children.push_back(tree);
  }
  saveAndCompare(model);
  EXPECT_EQ(bytes(), savedImage(model, cache.getDateStamp()));
}

TEST_F(RoundTripTest, unknownChunksOfTheHeadSurviveAnAppendedSample) {
  Model model = smallModel({1.0F, 2.0F});
  model.extras = unknownTrees();
  model.objects[1].extras = unknownTrees();
  loadImage(model);
  appendFrame(cache, model, 3.0F);
  saveAndCompare(model);
}

TEST_F(RoundTripTest, headChunkOfAKnownTagAndAnotherTypeSurvives) {
  Model model = smallModel({1.0F, 2.0F});
  model.extras = {leafNode(Tag::FTIM, std::vector<__int64>{77}),
                  leafNode(Tag::NSAM, std::vector<float>{3.0F}),
                  leafNode(Tag::DOBJ, std::vector<std::string>{"no group"})};
  model.objects[0].extras = {leafNode(Tag::NAME, std::vector<int>{1}),
                             leafNode(Tag::DATR, std::vector<double>{})};
  loadImage(model);
  ASSERT_TRUE(cache.saveAs(path("copy.vek").c_str()));
  EXPECT_EQ(bytes("copy.vek"), savedImage(model, cache.getDateStamp()));
}

// ---- Files written again from chunk trees ----

/// Copies a file, each chunk of its top level through a tree of generic chunks.
void copyThroughGenericTrees(const std::string& from, const std::string& to) {
  VekFile in(from.c_str(), "r");
  VekFile out(to.c_str(), "w");
  VekHeader header;
  while (in.readHeader(header)) {
    const std::unique_ptr<VekChunk> chunk(VekChunk::create(header.tag, header.type));
    ASSERT_NE(chunk, nullptr);
    ASSERT_TRUE(chunk->read(header, in));
    ASSERT_TRUE(chunk->write(out));
  }
  ASSERT_TRUE(out.close());
}

/// Copies a file of one section through the classes of its head and the writer of its samples.
void copyThroughNamedClasses(const std::string& from, const std::string& to, __int64 room) {
  VekRoMemCache cache;
  ASSERT_TRUE(cache.load(from.c_str(), true));
  VekFile in(from.c_str(), "r");
  VekFile out(to.c_str(), "w");
  VekHeader header;
  VekDVEKChunk version;
  VekMETAChunk meta;
  ASSERT_TRUE(in.readHeader(header));
  ASSERT_TRUE(version.read(header, in));
  ASSERT_TRUE(in.readHeader(header));
  ASSERT_TRUE(meta.read(header, in));
  ASSERT_TRUE(version.write(out));
  ASSERT_TRUE(meta.write(out));
  VekSAMSChunk stream;
  ASSERT_TRUE(stream.writeStart(out, meta.numSamples, room, meta.rate == 0.0F));
  for (int s = 0; s < cache.getNumSamples(); ++s) {
    float time = cache.getSampleTime(s);
    ASSERT_TRUE(stream.writeStartSAMPChunk(out, meta.getNumObjects(), &time));
    for (int o = 0; o < cache.getNumObjects(); ++o) {
      ASSERT_TRUE(stream.writeSOBJChunk(out, cache.getSample(s, o)));
    }
    ASSERT_TRUE(stream.writeEndSAMPChunk(out));
  }
  ASSERT_TRUE(stream.writeEnd(out));
  ASSERT_TRUE(out.close());
}

TEST_F(RoundTripTest, genericTreesWriteTheBytesTheyWereReadFrom) {
  Model model = smallModel({1.0F, 2.0F, 7.0F});
  model.extras = unknownTrees();
  model.objects[0].extras = unknownTrees();
  model.samples[1].objects[1] = objectNode(unknownTrees());
  writeFile(fileImage(model, {{1, 3}, {2, {}}}, kDate));
  copyThroughGenericTrees(path(), path("copy.vek"));
  EXPECT_EQ(bytes("copy.vek"), bytes());
}

TEST_F(RoundTripTest, namedClassesWriteTheBytesTheyWereReadFrom) {
  for (const std::vector<float>& times :
       {std::vector<float>{1, 2, 3}, std::vector<float>{1, 2, 5}}) {
    Model model = smallModel(times);
    model.extras = unknownTrees();
    model.objects[0].extras = unknownTrees();
    model.samples[1].objects[1] = objectNode(unknownTrees());
    writeFile(fileImage(model, {{3, 17}}, kDate));
    copyThroughNamedClasses(path(), path("copy.vek"), 17);
    EXPECT_EQ(bytes("copy.vek"), bytes());
  }
}

TEST_F(RoundTripTest, copiedTreesWriteTheBytesOfTheirOriginals) {
  // Raw bytes and FREE chunks are not copied.
  std::vector<Node> trees = {
      leafNode(Tag::POSI, std::vector<float>{1.0F, 2.0F}, 1, 3),
      leafNode(Tag::FORM, std::vector<std::string>{"kOpen", ""}),
      groupNode(Tag::ATRS, {leafNode(Tag::ATTR, std::vector<int>{}),
                            leafNode(Tag::ATTR, std::vector<double>{2.5}), groupNode(Tag::ATTR)})};
  const Node original = objectNode(trees);
  const std::unique_ptr<VekChunk> chunk(makeChunk(original));
  const std::unique_ptr<VekChunk> copy(VekChunk::copy(chunk.get()));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(difference(copy.get(), original), "");
  VekFile out(path().c_str(), "w");
  ASSERT_TRUE(copy->write(out));
  ASSERT_TRUE(out.close());
  EXPECT_EQ(bytes(), imageOf(original).bytes());
}

// ---- Random caches ----

/// Random scenes, the same for the same seed everywhere.
class Random {
 public:
  explicit Random(unsigned int seed) : m_engine(seed) {}

  std::size_t below(std::size_t n) { return m_engine() % n; }
  int between(int first, int last) {
    return first + static_cast<int>(below(static_cast<std::size_t>(last - first + 1)));
  }
  bool chance(int percent) { return between(1, 100) <= percent; }
  /// A time on a grid of sixteenths.
  float time(int firstFrame, int lastFrame) {
    return static_cast<float>(between(firstFrame * 16, lastFrame * 16)) / 16.0F;
  }
  std::string word(std::size_t maxLength = 12) {
    std::string text;
    for (std::size_t n = below(maxLength + 1); n > 0; --n) {
      text.push_back("abcXYZ_|: \xE9\x01"[below(12)]);
    }
    return text;
  }
  /// A tag that no class of the format claims.
  unsigned int unknownTag() {
    const auto letter = [this] { return static_cast<char>('A' + below(26)); };
    const char second = letter();
    const char third = letter();
    return Vek::makeTag('X', second, third, static_cast<char>('0' + below(10)));
  }
  /// `mayBeRaw` allows raw bytes.
  Node leaf(unsigned int tag, bool mayBeRaw = true) {
    const auto compound = static_cast<unsigned char>(below(7));
    const auto dimension = static_cast<unsigned char>(below(17));
    return leafNode(tag, values(below(mayBeRaw ? 6 : 5)), compound, dimension);
  }
  Node tree(int depth) {
    static constexpr unsigned int kTags[] = {Tag::POSI, Tag::MTRX, Tag::ATRS, Tag::SOBJ, Tag::FREE};
    const unsigned int tag = chance(50) ? unknownTag() : kTags[below(5)];
    if (depth == 0 || chance(60)) return leaf(tag);
    Node group = groupNode(tag);
    for (std::size_t n = below(4); n > 0; --n) group.children.push_back(tree(depth - 1));
    return group;
  }
  /// A tree whose topmost tag no class claims.
  Node unknownTree() {
    Node node = tree(3);
    node.tag = unknownTag();
    return node;
  }
  Object object() {
    Object o;
    if (chance(80)) o.name = "|" + word();
    o.hasAttributes = chance(60);
    if (!o.hasAttributes) return o;
    for (std::size_t n = below(3); n > 0; --n) o.animated.push_back({word(), word(), {}});
    for (std::size_t n = below(4); n > 0; --n) {
      o.statics.push_back({word(), word(), leaf(Tag::ATTR, false)});
    }
    return o;
  }

 private:
  Values values(std::size_t kind) {
    const std::size_t n = chance(15) ? 0 : 1 + below(8);
    switch (kind) {
      case 0:
        return fill<int>(n, [this] { return static_cast<int>(bits()); });
      case 1:
        return fill<float>(n, [this] { return static_cast<float>(number()); });
      case 2:
        return fill<__int64>(n, [this] { return static_cast<__int64>(bits() << 32 | bits()); });
      case 3:
        return fill<double>(n, [this] { return number(); });
      case 4:
        return fill<std::string>(n, [this] { return word(); });
      default:
        return fill<char>(n, [this] { return static_cast<char>(bits()); });
    }
  }
  template <typename T, typename Make>
  static std::vector<T> fill(std::size_t n, Make make) {
    std::vector<T> all;
    for (std::size_t i = 0; i < n; ++i) all.push_back(make());
    return all;
  }
  std::uint64_t bits() { return m_engine(); }
  double number() {
    static const double kSpecial[] = {0.0, -0.0, std::nan(""), HUGE_VAL, -HUGE_VAL, 1e-40};
    if (chance(20)) return kSpecial[below(6)];
    return (static_cast<double>(below(2000001)) - 1000000.0) / 997.0;
  }

  std::mt19937 m_engine;
};

/// A cache and its model, changed together.
class RandomRoundTripTest : public FileTest, public ::testing::WithParamInterface<unsigned int> {
 protected:
  /// Builds a cache in memory. Its first two samples stay for good and are one frame apart, which
  /// keeps every spacing that comes out even a power of two.
  void buildRandom() {
    model.application = random.word();
    model.sourceFile = random.word();
    model.space = random.between(0, 1);
    cache->setApplication(model.application);
    cache->setSourceFile(model.sourceFile);
    cache->setSpace(static_cast<int>(model.space));
    for (std::size_t n = 1 + random.below(4); n > 0; --n) {
      model.objects.push_back(random.object());
      define(*cache, model, model.objects.size() - 1);
    }
    const float first = random.time(-20, 20);
    secondTime = first + 1.0F;
    allocRandom(first);
    allocRandom(secondTime);
    const bool even = random.chance(60);
    for (std::size_t n = random.below(5); n > 0; --n) {
      allocRandom(model.samples.back().time + (even ? 1.0F : 1.0F / 16 + random.time(0, 3)));
    }
  }
  /// Gets an object's data in a sample from both, compares them and adds a few chunks.
  void allocObject(float time, std::size_t obj) {
    Node& node = model.alloc(time, obj);
    VekGroupChunk* data = cache->allocSample(time, static_cast<int>(obj));
    ASSERT_NE(data, nullptr);
    ASSERT_EQ(difference(data, node), "");
    if (random.chance(20)) {
      data->reset();
      node.children.clear();
    }
    if (!node.children.empty() && random.chance(30)) {
      const std::size_t i = random.below(node.children.size());
      data->removeChild(i);
      node.children.erase(node.children.begin() + static_cast<std::ptrdiff_t>(i));
    }
    for (std::size_t n = random.below(4); n > 0; --n) {
      node.children.push_back(random.tree(3));
      data->addChild(makeChunk(node.children.back()));
    }
  }
  /// Allocates some objects, at least one, of the sample at a time.
  void allocRandom(float time) {
    const std::size_t one = random.below(model.objects.size());
    allocObject(time, one);
    for (std::size_t o = 0; o < model.objects.size(); ++o) {
      if (o != one && random.chance(60)) allocObject(time, o);
    }
  }
  void append() {
    const std::size_t n = model.samples.size();
    const float gap = random.chance(70) ? model.samples[n - 1].time - model.samples[n - 2].time
                                        : 1.0F / 16 + random.time(0, 3);
    const float time = model.samples.back().time + gap;
    if (random.chance(50)) {
      appendFrame(*cache, model, time);
    } else {
      allocRandom(time);
    }
  }
  void truncate() {
    const float last = model.samples.back().time;
    const float time = std::min(last, secondTime + random.time(0, 6));
    cache->truncate(time);
    std::size_t keep = 0;
    while (model.samples[keep].time < time) ++keep;
    model.samples.resize(keep + 1);
  }
  void shift() {
    if (cache->isNonUniform()) return;
    const float by = random.time(-10, 10);
    cache->shiftFirstTimeTo(model.samples.front().time + by);
    for (Sample& sample : model.samples) sample.time += by;
    secondTime += by;
  }
  void rename() {
    const std::size_t o = random.below(model.objects.size() + 1);
    if (o == model.objects.size()) model.objects.emplace_back();
    Object& object = model.objects[o];
    object.name = "|" + random.word();
    cache->setName(static_cast<int>(o), object.name.c_str());
    const std::size_t numAttrs = object.animated.size() + object.statics.size();
    if (numAttrs == 0) return;
    const std::size_t i = random.below(numAttrs);
    Attribute& attribute = i < object.animated.size() ? object.animated[i]
                                                      : object.statics[i - object.animated.size()];
    attribute.name = random.word();
    attribute.typeName = random.word();
    ASSERT_TRUE(cache->setAttrName(static_cast<int>(o), static_cast<int>(i), attribute.name));
    ASSERT_TRUE(cache->setAttrType(static_cast<int>(o), static_cast<int>(i), attribute.typeName));
  }
  void addUnknown() {
    const std::size_t o = random.below(model.objects.size());
    const Node tree = random.unknownTree();
    if (random.chance(50)) {
      cache->getMETAChunk().addChild(makeChunk(tree));
      model.extras.push_back(tree);
    } else {
      cache->getMETAChunk().dobjs[o]->addChild(makeChunk(tree));
      model.objects[o].extras.push_back(tree);
    }
    // The definitions are edited behind the cache's back; a name tells it.
    model.objects[o].name += "x";
    cache->setName(static_cast<int>(o), model.objects[o].name.c_str());
  }
  void setFields() {
    cache->setApplication(model.application = random.word());
    cache->setSourceFile(model.sourceFile = random.word());
    model.space = random.between(0, 1);
    cache->setSpace(static_cast<int>(model.space));
  }
  void edit() {
    switch (random.below(9)) {
      case 0:
      case 1:
        return append();
      case 2:  // Before, between or at the samples there are.
        return allocRandom(model.samples.front().time + random.time(-2, 5));
      case 3:
        return allocRandom(model.samples[random.below(model.samples.size())].time);
      case 4:
        return truncate();
      case 5:
        return shift();
      case 6:
        return rename();
      case 7:
        return addUnknown();
      default:
        return setFields();
    }
  }
  void save(const std::string& name) {
    bool written = false;
    bool removed = true;
    if (name == cache->getFilename() && cache->isDirty()) {
      ASSERT_TRUE(cache->save(&written, &removed));
    } else {
      ASSERT_TRUE(cache->saveAs(name.c_str(), &written, &removed));
    }
    EXPECT_TRUE(written);
    EXPECT_FALSE(removed);
    EXPECT_FALSE(cache->isDirty());
    EXPECT_EQ(cache->getFilename(), name);
    model.noteSaved();
    expectFileHolds(name, model);
  }
  /// Saves under a name that was not used before, and compares the file byte by byte.
  void saveAnew() {
    const std::string name = path("new" + std::to_string(m_numFiles++) + ".vek");
    save(name);
    EXPECT_EQ(readFile(name), savedImage(model, cache->getDateStamp()));
  }
  void loadAnew() {
    const std::string name = cache->getFilename();
    const bool keepOpen = random.chance(50);
    bool ok = false;
    if (random.chance(50)) {
      cache = std::make_unique<VekRwMemCache>(name.c_str(), keepOpen, &ok);
    } else {
      cache = std::make_unique<VekRwMemCache>();
      ok = cache->load(name.c_str(), keepOpen);
    }
    ASSERT_TRUE(ok);
  }

  Random random{GetParam()};
  Model model;
  std::unique_ptr<VekRwMemCache> cache = std::make_unique<VekRwMemCache>();
  float secondTime = 0.0F;

 private:
  int m_numFiles = 0;
};

TEST_P(RandomRoundTripTest, cacheBuiltInMemoryComesBackFromItsFile) {
  buildRandom();
  EXPECT_TRUE(cache->isDirty());
  expectSame(*cache, model, Unallocated::Absent);
  saveAnew();
  expectSame(*cache, model, Unallocated::Empty);
}

TEST_P(RandomRoundTripTest, loadedCacheComesBackWithItsEdits) {
  buildRandom();
  saveAnew();
  for (int round = 0; round < 4 && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    loadAnew();
    for (int n = random.between(1, 5); n > 0; --n) edit();
    // Half of the saves have to fetch what was never asked for.
    if (random.chance(50)) expectSame(*cache, model, Unallocated::Absent);
    if (random.chance(70)) {
      save(cache->getFilename());
    } else {
      saveAnew();
    }
    expectSame(*cache, model, Unallocated::Empty);
  }
}

TEST_P(RandomRoundTripTest, oneCacheIsEditedAndSavedAgainAndAgain) {
  buildRandom();
  saveAnew();
  for (int round = 0; round < 6 && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    edit();
    if (random.chance(50)) expectSame(*cache, model, Unallocated::Absent);
    save(cache->getFilename());
  }
  saveAnew();
}

TEST_P(RandomRoundTripTest, appendedFramesComeBack) {
  buildRandom();
  saveAnew();
  for (int round = 0; round < 4 && !HasFailure(); ++round) {
    if (random.chance(50)) loadAnew();
    for (std::size_t n = 1 + random.below(3); n > 0; --n) {
      const std::size_t last = model.samples.size() - 1;
      appendFrame(*cache, model, 2.0F * model.samples[last].time - model.samples[last - 1].time);
    }
    save(cache->getFilename());
    expectSame(*cache, model, Unallocated::Empty);
  }
}

TEST_P(RandomRoundTripTest, cacheSavedUnchangedComesBack) {
  buildRandom();
  for (int n = 3; n > 0; --n) addUnknown();
  saveAnew();
  loadAnew();
  saveAnew();
}

TEST_P(RandomRoundTripTest, chunkTreesWriteTheBytesTheyWereReadFrom) {
  buildRandom();
  for (int n = 3; n > 0; --n) addUnknown();
  saveAnew();
  const std::string file = cache->getFilename();
  copyThroughGenericTrees(file, path("generic.vek"));
  EXPECT_EQ(readFile(path("generic.vek")), readFile(file));
  copyThroughNamedClasses(file, path("named.vek"), 100);
  EXPECT_EQ(readFile(path("named.vek")), readFile(file));
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomRoundTripTest, ::testing::Range(1U, 41U));

}  // namespace
