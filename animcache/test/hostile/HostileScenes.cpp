// SPDX-License-Identifier: Apache-2.0
//
// The scenes: bytes written by hand, each a few hundred, since every byte costs several runs.

#include "HostileScenes.h"

#include <utility>

#include "ViewScene.h"

namespace VekTest {

namespace {

using namespace Views;

/// One integer that readers take, and three more: room to shorten the leaf until nothing is left.
ByteImage firstOf(const char* tag, int value) {
  return intLeaf(tag, {value, 0, 0, 0});
}

ByteImage mark(const char* tag) {
  return firstOf(tag, 1);
}

std::vector<float> ramp(std::size_t count, float first, float step = 1.0F) {
  std::vector<float> values;
  for (std::size_t i = 0; i < count; ++i) values.push_back(first + static_cast<float>(i) * step);
  return values;
}

ByteImage sampled(const Scene& scene) {
  return imageOf(scene);
}

// --- Heads and streams ---------------------------------------------------------------------------

ByteImage headOnly() {
  Head head;
  head.more = join({textChunk("WAPP", {"app"}), textChunk("SFIL", {"a.src"}),
                    int64Chunk("DATE", 1700000000), textChunk("MORE", {"x", "", "y"})});
  return headImage(head);
}

ByteImage objectsWithoutSamples() {
  Head head;
  head.definitions = {definition("|a", join({mark("XFRM"), floatLeaf("MTRX", ramp(16, 0), 16)})),
                      definition("", ByteImage().header("FREE", 0, 3).zeros(3))};
  return headImage(head);
}

ByteImage samplesWithoutObjects() {
  Scene scene;
  scene.samples.resize(3);
  return sampled(scene);
}

ByteImage uniform() {
  Scene scene;
  scene.definitions = {definition("|ns:a")};
  scene.firstTime = 1.0F;
  scene.rate = 2.0F;
  for (int s = 0; s < 3; ++s) {
    const auto x = static_cast<float>(s);
    scene.samples.push_back({join({floatLeaf("BBOX", ramp(6, x)), mark("ELOC")})});
  }
  return sampled(scene);
}

ByteImage nonUniform() {
  Scene scene;
  scene.definitions = {definition("|a")};
  scene.times = {0.0F, 1.0F, 3.0F, 3.5F};
  for (int s = 0; s < 4; ++s) {
    scene.samples.push_back({join(
        {doubleLeaf("BBOX", {0, 1, 2, 3, 4, 5.0 + s}), floatLeaf("POSI", ramp(3, 0.5F), 3)})});
  }
  return sampled(scene);
}

/// A stream with reserved room, dead chunks among the data, and a second section behind it.
ByteImage freeHoles() {
  Head head;
  head.numSamples = 3;
  head.firstTime = 0.0F;
  head.lastTime = 4.0F;
  head.rate = 0.0F;
  head.definitions = {definition("|a", ByteImage().header("FREE", 0, 0))};
  ByteImage file = headImage(head);
  const ByteImage hole = ByteImage().header("FREE", 0, 8).zeros(8);
  const auto section = [&](const std::vector<float>& times) {
    const auto count = static_cast<std::int64_t>(times.size());
    const auto start = static_cast<std::int64_t>(file.size());
    const ByteImage object = group("SOBJ", join({hole, floatLeaf("POSI", {1, 2, 3}, 3)}));
    const auto objectSize = static_cast<std::int64_t>(object.size());
    const std::int64_t sampleSize = 16 + 24 + 24 + objectSize;
    const std::int64_t tables = 16 + (16 + 4 * count) + 24 + (16 + 8 * count) + 24;
    ByteImage jumps;
    ByteImage samples;
    for (std::int64_t s = 0; s < count; ++s) {
      const std::int64_t at = start + tables + s * sampleSize;
      jumps.int64(at);
      const ByteImage table = ByteImage().chunk("JOBJ", 5, ByteImage().int64(at + 64));
      samples.raw(group("SAMP", join({hole, table, object})));
    }
    file.raw(group("SAMS", join({floatChunk("TIMS", times), hole,
                                 ByteImage().chunk("JSAM", 5, jumps), hole, samples})));
  };
  section({0.0F, 1.0F});
  file.raw(hole);
  section({4.0F});
  return file;
}

ByteImage nestedGroups() {
  const ByteImage empty = group("EMPT", ByteImage());
  const ByteImage raw = ByteImage().header("RAWB", 0, 3, 1, 9, 7).raw(std::string("a\0b", 3));
  const ByteImage unknown = ByteImage().header("UNKN", 9, 2).zeros(2);
  const ByteImage deep =
      group("G001", join({group("G002", group("G003", join({raw, unknown}))), empty}));
  Scene scene;
  scene.definitions = {definition("|a", deep)};
  scene.samples = {{join({deep, intLeaf("NUMB", {-1, 2}), empty})}, {deep}};
  return sampled(scene);
}

// --- Kinds of objects ----------------------------------------------------------------------------

ByteImage matrices() {
  Scene scene;
  scene.definitions = {definition("|a", mark("XFRM")), definition("|a|b", mark("XFRM"))};
  for (int s = 0; s < 3; ++s) {
    const auto x = static_cast<float>(s);
    const std::vector<float> m = {1, 0, 0, 0, 0, 1, x, 0, 0, -x, 1, 0, x, 2, 3, 1};
    scene.samples.push_back(
        {join({floatLeaf("MTRX", m, 16), firstOf("MTRO", s), firstOf("INHT", 0)}),
         doubleLeaf("MTRX", std::vector<double>(m.begin(), m.end()), 16)});
  }
  return sampled(scene);
}

ByteImage channels() {
  Scene scene;
  scene.definitions = {definition(
      "|a", join({mark("XFRM"), attributes({"translateX", "rotateY", "scaleZ"},
                                           {{"rotateOrder", floatLeaf("ATTR", {2}, 1)},
                                            {"transformOrder", doubleLeaf("ATTR", {3}, 1)}})}))};
  for (int s = 0; s < 3; ++s) {
    const auto x = static_cast<float>(s);
    scene.samples.push_back(
        {attrValues({floatLeaf("ATTR", {x, 0, 0, 0}, 1), doubleLeaf("ATTR", {30.0 * s}, 1),
                     intLeaf("ATTR", {s}, 1)})});
  }
  return sampled(scene);
}

ByteImage locators() {
  Scene scene;
  const ByteImage rig = ByteImage().chunk("ATTR", 2, ByteImage().cstr("the parent's rig"));
  scene.definitions = {
      definition("|a", join({mark("LXCS"), attributes({}, {{"scoped", firstOf("ATTR", 0)},
                                                           {"displayShape", firstOf("ATTR", 4)},
                                                           {"parentRig", rig}})})),
      definition("|b", mark("ELOC"))};
  scene.samples = {{ByteImage(), ByteImage()}};
  return sampled(scene);
}

ByteImage points() {
  Scene scene;
  scene.definitions = {definition("|a")};
  for (int s = 0; s < 5; ++s) {
    const auto x = static_cast<float>(s);
    scene.samples.push_back(
        {join({floatLeaf("POSI", ramp(8, x), 4), floatLeaf("VELO", ramp(2, x), 3)})});
  }
  return sampled(scene);
}

ByteImage polygonMesh() {
  Scene scene;
  scene.definitions = {definition(
      "|m", join({mark("MESH"), mark("MSPT"), intLeaf("PCNT", {3}), intLeaf("PIDS", {0, 1, 2})}))};
  for (int s = 0; s < 2; ++s) {
    const auto x = static_cast<float>(s);
    scene.samples.push_back(
        {join({floatLeaf("POSI", ramp(9, x), 3), floatLeaf("VPNO", ramp(3, x), 3),
               doubleLeaf("PONO", {0, 0, 1}, 3), intLeaf("NCNT", {3}), intLeaf("NIDS", {0, 0, 0}),
               floatLeaf("VELO", ramp(3, x), 3)})});
  }
  return sampled(scene);
}

ByteImage subdivisionMesh() {
  Scene scene;
  scene.definitions = {definition(
      "|m", join({mark("MESH"), attributes({"rmanP__Pref"},
                                           {{"mdShapeType", firstOf("ATTR", 0)},
                                            {"qorn_Pref", doubleLeaf("ATTR", {1, 2, 3}, 3)}})}))};
  for (int s = 0; s < 2; ++s) {
    scene.samples.push_back({join(
        {doubleLeaf("POSI", {0, 1, 2.0 + s}, 3), attrValues({floatLeaf("ATTR", {4, 5, 6}, 3)})})});
  }
  return sampled(scene);
}

ByteImage curves() {
  Scene scene;
  const ByteImage periodic =
      join({mark("NRBC"), firstOf("DEGR", 2), textChunk("FORM", {"kPeriodic", "unused"}),
            doubleLeaf("KNTU", {0, 1, 2, 3, 4, 5})});
  scene.definitions = {definition("|c", periodic), definition("|d", mark("NRBC"))};
  for (int s = 0; s < 3; ++s) {
    const auto x = static_cast<float>(s);
    scene.samples.push_back({floatLeaf("POSI", ramp(9, x), 3),
                             join({firstOf("DEGR", 1), textChunk("FORM", {"kOpen", "not used"}),
                                   floatLeaf("KNTU", {0, 1}), floatLeaf("POSI", ramp(6, x), 3)})});
  }
  return sampled(scene);
}

ByteImage surfaces() {
  Scene scene;
  scene.definitions = {definition(
      "|s",
      join({mark("NRBS"), intLeaf("DEGR", {1, 1, 0, 0}), textChunk("FORM", {"kOpen", "kPeriodic"}),
            floatLeaf("KNTU", {0, 1}), floatLeaf("KNTV", {0, 1, 2}),
            attributes({"w"}, {{"rmanP__Pref", floatLeaf("ATTR", ramp(18, 0), 3)}})}))};
  for (int s = 0; s < 2; ++s) {
    const auto x = static_cast<float>(s);
    scene.samples.push_back({join({floatLeaf("POSI", ramp(12, x), 3),
                                   attrValues({doubleLeaf("ATTR", {1, 2, 3, 4, 5, 6}, 1)})})});
  }
  return sampled(scene);
}

// --- Attributes ----------------------------------------------------------------------------------

std::vector<ByteImage> valuesOfEveryType(int s) {
  const auto x = static_cast<float>(s);
  return {ByteImage().chunk("ATTR", 2, ByteImage().cstr("one").cstr("")),
          intLeaf("ATTR", {s, 7}, 1), floatLeaf("ATTR", {x, 1, 2}, 3),
          int64Leaf("ATTR", {s + (std::int64_t{1} << 40)}, 1),
          doubleLeaf("ATTR", {x / 2, 2, 3, 4}, 2)};
}

const std::vector<std::string> kTypeNames = {"t", "i", "f", "l", "d"};

ByteImage staticAttributes() {
  Scene scene;
  std::vector<StaticAttr> statics;
  const std::vector<ByteImage> values = valuesOfEveryType(1);
  for (std::size_t i = 0; i < values.size(); ++i) statics.push_back({kTypeNames[i], values[i]});
  scene.definitions = {definition("|a", attributes({}, statics))};
  scene.samples = {{ByteImage()}};
  return sampled(scene);
}

ByteImage animatedAttributes() {
  Scene scene;
  scene.definitions = {definition("|a", attributes(kTypeNames))};
  for (int s = 0; s < 3; ++s) scene.samples.push_back({attrValues(valuesOfEveryType(s))});
  return sampled(scene);
}

}  // namespace

const std::vector<HostileScene>& hostileScenes() {
  static const std::vector<HostileScene> scenes = [] {
    const std::vector<std::pair<const char*, ByteImage>> images = {
        {"headOnly", headOnly()},
        {"objectsWithoutSamples", objectsWithoutSamples()},
        {"samplesWithoutObjects", samplesWithoutObjects()},
        {"uniform", uniform()},
        {"nonUniform", nonUniform()},
        {"freeHoles", freeHoles()},
        {"nestedGroups", nestedGroups()},
        {"matrices", matrices()},
        {"channels", channels()},
        {"locators", locators()},
        {"points", points()},
        {"polygonMesh", polygonMesh()},
        {"subdivisionMesh", subdivisionMesh()},
        {"curves", curves()},
        {"surfaces", surfaces()},
        {"staticAttributes", staticAttributes()},
        {"animatedAttributes", animatedAttributes()},
    };
    std::vector<HostileScene> result;
    result.reserve(images.size());
    for (const auto& [name, image] : images) result.push_back({name, image.bytes()});
    return result;
  }();
  return scenes;
}

}  // namespace VekTest
