// SPDX-License-Identifier: Apache-2.0
//
// Indices outside a table, of caches, views, chunks and attributes: every call answers with its
// failure result. The one exception is the attribute index check of an object's attributes, which
// throws. Run under AddressSanitizer, these tests show that no memory beside a table is touched.

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "ViewScene.h"

namespace VekTest {

namespace {

using namespace Vek;
using namespace Views;
using State = VekHelperObj::AnimationState;

const int kOutside[] = {-1, 2, 1000, INT_MAX, INT_MIN};

/// Two samples of two objects; the first has a static and an animated attribute.
Scene twoByTwo() {
  Scene scene;
  scene.definitions = {
      definition("|a", attributes({"moving"}, {{"still", floatLeaf("ATTR", {1})}})),
      definition("|b")};
  for (int s = 0; s < 2; ++s) {
    scene.samples.push_back(
        {join({floatLeaf("POSI", {1, 2, 3}, 3), attrValues({doubleLeaf("ATTR", {0.5 * s}, 1)})}),
         floatLeaf("POSI", {4, 5, 6}, 3)});
  }
  return scene;
}

class WrongIndexTest : public ViewTest {};

// --- Caches --------------------------------------------------------------------------------------

TEST_F(WrongIndexTest, cacheAccessorsAnswerForNoObject) {
  open(twoByTwo());
  for (const int obj : kOutside) {
    EXPECT_EQ(cache()->getObjDef(obj), nullptr);
    EXPECT_EQ(cache()->getName(obj), "");
    EXPECT_EQ(cache()->getNumAttrs(obj), 0);
    EXPECT_EQ(cache()->findAttr(obj, "still"), -1);
    EXPECT_FALSE(cache()->isAttrAnimated(obj, 0));
    EXPECT_EQ(cache()->getAttrName(obj, 0), "");
    EXPECT_EQ(cache()->getAttrType(obj, 0), "");
    EXPECT_FALSE(cache()->objectHas(obj, Tag::POSI));
    EXPECT_FALSE(cache()->isObjectAnimated(obj, Tag::POSI));
    EXPECT_EQ(cache()->findObjectIndex("|b", obj), 1);
  }
}

TEST_F(WrongIndexTest, memoryAccessorsAnswerForNoObject) {
  open(twoByTwo());
  for (const int obj : kOutside) {
    EXPECT_EQ(cache()->getSample(0, obj), nullptr);
    EXPECT_EQ(cache()->getSample(0, obj, Tag::POSI, nullptr), nullptr);
    bool animated = true;
    EXPECT_EQ(cache()->getObjectData(0, obj, Tag::POSI, &animated), nullptr);
    EXPECT_FALSE(animated);
    EXPECT_EQ(cache()->getNumVertices(0, obj), 0);
    EXPECT_EQ(cache()->getAttrData(0, obj, 0), nullptr);
    EXPECT_EQ(cache()->getSampleDataAtTime<float>(0, obj, Tag::POSI, nullptr), nullptr);
  }
}

TEST_F(WrongIndexTest, memoryAccessorsAnswerForNoSample) {
  for (const int limit : {0, 1}) {
    open(twoByTwo(), limit);
    for (const int sample : kOutside) {
      EXPECT_EQ(cache()->getSample(sample, 0), nullptr);
      EXPECT_EQ(cache()->getSample(sample, 0, Tag::POSI, nullptr), nullptr);
      EXPECT_EQ(cache()->getObjectData(sample, 0, Tag::POSI, nullptr), nullptr);
      EXPECT_EQ(cache()->getNumVertices(sample, 0), 0);
      captureStderr([&] { EXPECT_EQ(cache()->getAttrData(sample, 0, 0), nullptr); });
      EXPECT_NE(cache()->getAttrData(sample, 0, 1), nullptr);  // static
      EXPECT_TRUE(std::isnan(cache()->getSampleTime(sample)));
    }
    EXPECT_NE(cache()->getSample(1, 1), nullptr);
  }
}

TEST_F(WrongIndexTest, memoryAccessorsAnswerForNoAttribute) {
  open(twoByTwo());
  for (const int attr : kOutside) {
    const std::string line =
        captureStderr([&] { EXPECT_EQ(cache()->getAttrData(0, 0, attr), nullptr); });
    EXPECT_EQ(line, "DATR index out of range " + std::to_string(attr) + "\n");
    EXPECT_EQ(cache()->getAttrData(0, 1, attr), nullptr);
  }
}

TEST_F(WrongIndexTest, childSearchBeginsAnywhere) {
  open(twoByTwo());
  for (const int start : {-1, INT_MIN}) {
    int position = start;
    EXPECT_NE(cache()->getSample(0, 0, Tag::POSI, &position), nullptr);
    EXPECT_EQ(position, 0);
  }
  for (const int start : {2, INT_MAX}) {
    int position = start;
    EXPECT_EQ(cache()->getSample(0, 0, Tag::POSI, &position), nullptr);
    EXPECT_EQ(position, 2);
  }
}

TEST_F(WrongIndexTest, seeksAnswerForNoSampleOrObject) {
  const std::string file = writeFile(imageOf(twoByTwo()));
  OpenCache direct(file.c_str());
  for (const int i : kOutside) {
    VekHeader h;
    EXPECT_FALSE(direct.seekObjectSample(h, i, 0));
    EXPECT_FALSE(direct.seekObjectSample(h, 0, i));
    EXPECT_FALSE(direct.seekChannelSample(h, i, 0, Tag::POSI, nullptr));
    EXPECT_FALSE(direct.seekChannelSample(h, 0, i, Tag::POSI, nullptr));
    EXPECT_EQ(direct.loadObjectSample(i, 0), nullptr);
    EXPECT_EQ(direct.loadObjectSample(0, i), nullptr);
  }
  int position = INT_MIN;
  VekHeader h;
  EXPECT_TRUE(direct.seekChannelSample(h, 0, 0, Tag::POSI, &position));
  EXPECT_EQ(position, 0);
  EXPECT_EQ(direct.findChunk(nullptr, Tag::POSI), nullptr);
}

TEST_F(WrongIndexTest, timesThatAreNoNumbersHaveNoSample) {
  open(twoByTwo());
  EXPECT_EQ(cache()->getSampleIndex(kNaN), -1);
  EXPECT_EQ(cache()->getMaxSampleIndexNotGreaterThan(kNaN), -1);
  EXPECT_EQ(cache()->getMinSampleIndexNotLessThan(kNaN), -1);
  for (const float time : {kInfinity, -kInfinity}) EXPECT_EQ(cache()->getSampleIndex(time), -1);
  EXPECT_EQ(cache()->getMaxSampleIndexNotGreaterThan(kInfinity), 1);
  EXPECT_EQ(cache()->getMinSampleIndexNotLessThan(-kInfinity), 0);
}

TEST_F(WrongIndexTest, anyLimitOfSamplesIsTaken) {
  open(twoByTwo());
  for (const int limit : {INT_MIN, -1, INT_MAX, 1}) {
    cache()->setMaxSamples(limit);
    EXPECT_EQ(cache()->getMaxSamples(), limit > 0 ? limit : 0);
    for (const int sample : {0, 1}) EXPECT_NE(cache()->getSample(sample, 0), nullptr);
  }
}

// --- Views ---------------------------------------------------------------------------------------

TEST_F(WrongIndexTest, viewsOfNoObjectAnswer) {
  open(twoByTwo());
  VekHelperObjFactory factory(cache());
  for (const int obj : kOutside) {
    const Owned<VekHelperObj> view(factory.vekObjBuilder(obj));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->getName(), "");
    EXPECT_EQ(view->getLeafName(), "");
    EXPECT_FALSE(view->objectHas(Tag::POSI));
    EXPECT_EQ(view->isAnimated(Tag::POSI), VekHelperObj::Static);
    EXPECT_EQ(view->getNumAttrs(), 0);
    EXPECT_EQ(view->findAttr("still"), -1);
    EXPECT_EQ(view->isAttrAnimated(0), VekHelperObj::Static);
    EXPECT_EQ(view->getAttrName(0), "");
    EXPECT_EQ(view->getObjectType(Tag::POSI), "undef");
    EXPECT_EQ(view->getAttrDataType(0, 0), "undef");
    const VekChunk* chunk = nullptr;
    EXPECT_EQ(view->findChunk(0, Tag::POSI, chunk), VekHelperObj::Static);
    EXPECT_EQ(chunk, nullptr);
    float bounds[6] = {};
    State state = VekHelperObj::Static;
    EXPECT_FALSE(view->getBounds(0, bounds, state));
  }
}

TEST_F(WrongIndexTest, viewsAnswerForNoSampleOrAttribute) {
  open(twoByTwo());
  VekHelperObjFactory factory(cache());
  const Owned<VekHelperObj> view(factory.vekObjBuilder(0));
  auto* const points = dynamic_cast<GeometryVekObj*>(view.get());
  ASSERT_NE(points, nullptr);
  for (const int i : kOutside) {
    const std::vector<float>* data = nullptr;
    std::vector<float> values;
    State state = VekHelperObj::Static;
    int dimension = 7;
    EXPECT_FALSE(points->getPositionData(i, data, state, dimension));
    EXPECT_FALSE(points->getPosition(i, values, state, dimension));
    EXPECT_FALSE(view->getBounds(i, values, state));
    captureStderr([&] {
      EXPECT_FALSE(view->getAttrData(0, i, data, dimension));
      EXPECT_FALSE(view->getAttr(0, i, values, dimension));
      EXPECT_EQ(view->getAttrDataType(0, i), "undef");
      EXPECT_EQ(view->getAttrDataType(i, 0), "undef");
      VekInterpolationHints hints;
      hints.interpolation = 1;
      std::vector<double> blended;
      EXPECT_FALSE(view->getAttrAtTime(0.5F, i, hints, blended, dimension));
    });
  }
}

TEST_F(WrongIndexTest, chunklessQuestionsAnswer) {
  open(twoByTwo());
  OpenView v = view();
  EXPECT_EQ(v.searchChunk(nullptr, Tag::POSI), nullptr);
  EXPECT_EQ(v.getDimension(nullptr), 0);
  const std::vector<float>* data = nullptr;
  EXPECT_FALSE(v.getVekLeafData(nullptr, data));
}

TEST_F(WrongIndexTest, factoryWithoutCacheBuildsNothing) {
  VekHelperObjFactory factory(nullptr);
  EXPECT_EQ(factory.vekObjBuilder(0), nullptr);
  std::vector<std::string> names = {"x"};
  EXPECT_FALSE(factory.getObjectNames(names));
  EXPECT_TRUE(names.empty());
}

// A degree that no blend has takes the sample before, however large or negative it is.
TEST_F(WrongIndexTest, anyDegreeIsTaken) {
  open(twoByTwo());
  VekHelperObjFactory factory(cache());
  const Owned<VekHelperObj> view(factory.vekObjBuilder(0));
  auto* const points = dynamic_cast<GeometryVekObj*>(view.get());
  ASSERT_NE(points, nullptr);
  for (const int degree : {4, 1000, INT_MAX, -1, -2, INT_MIN}) {
    VekInterpolationHints hints;
    hints.interpolation = degree;
    hints.option = degree;
    std::vector<float> values;
    State state = VekHelperObj::Static;
    int dimension = 0;
    EXPECT_TRUE(points->getPositionAtTime(0.5F, hints, values, state, dimension)) << degree;
    EXPECT_EQ(values, (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(hints.describe(), degree >= 1 ? " " : "");
  }
}

TEST_F(WrongIndexTest, degreeBeyondReasonIsNotListed) {
  open(twoByTwo());
  OpenView v = view();
  std::vector<int> indices = {1};
  std::vector<float> times = {1};
  VekInterpolationHints hints;
  hints.interpolation = INT_MAX;
  EXPECT_FALSE(v.getEvalTimeAndSampleIndices(0.5F, hints, indices, times));
  EXPECT_TRUE(indices.empty());
  EXPECT_TRUE(times.empty());
}

// --- Chunks --------------------------------------------------------------------------------------

TEST(WrongChunkIndexTest, groupsAnswerForNoChild) {
  VekGroupChunk group(Tag::SOBJ);
  group.addChild(new VekLeafChunk<int>(Tag::MESH, {1}));
  constexpr auto most = std::numeric_limits<std::uint64_t>::max();
  for (const std::uint64_t i : {std::uint64_t{1}, most}) {
    EXPECT_EQ(group.getChild(i), nullptr);
    EXPECT_EQ(static_cast<const VekGroupChunk&>(group).getChild(i), nullptr);
    EXPECT_EQ(group.findChild(Tag::MESH, i), 1U);
    group.removeChild(i);
    group.removeChildren(i, most);
    group.removeChildren(most, i);
    EXPECT_EQ(group.numChildren(), 1U);
  }
  group.removeChildren(0, most);
  EXPECT_EQ(group.numChildren(), 0U);
}

TEST(WrongChunkIndexTest, attributeIndexIsCheckedByEveryOperation) {
  VekDATRChunk datr;
  datr.addAttr(true, "a", "x", ValueType::Float);
  datr.addAttr(false, "b", "y", ValueType::Float);
  for (const int i : kOutside) {
    captureStdout([&] {
      EXPECT_THROW(datr.isAnimated(i), bool);
      EXPECT_THROW(datr.getAnimatedDataIndex(i), bool);
      EXPECT_THROW(datr.getStaticData(i), bool);
      EXPECT_THROW(datr.getAttrName(i), bool);
      EXPECT_THROW(datr.getAttrType(i), bool);
      EXPECT_THROW(datr.setAttrName(i, "n"), bool);
      EXPECT_THROW(datr.setAttrType(i, "n"), bool);
      EXPECT_THROW(datr.removeStaticAttrs(i, 1), bool);
      EXPECT_THROW(datr.removeAnimatedAttrs(i, 1), bool);
    });
  }
  EXPECT_EQ(datr.getNumAttrs(), 2);
}

TEST(WrongChunkIndexTest, attributeCountsAreChecked) {
  VekDATRChunk datr;
  for (const char* const name : {"a", "b"}) datr.addAttr(true, name, "x", ValueType::Float);
  for (const char* const name : {"c", "d"}) datr.addAttr(false, name, "y", ValueType::Float);
  for (const int count : {-1, 0, INT_MIN}) {
    EXPECT_TRUE(datr.removeStaticAttrs(2, count));
    EXPECT_EQ(datr.removeAnimatedAttrs(0, count), 0);
  }
  for (const int count : {3, INT_MAX}) EXPECT_FALSE(datr.removeStaticAttrs(2, count));
  EXPECT_EQ(datr.getNumAttrs(), 4);
  EXPECT_EQ(datr.removeAnimatedAttrs(1, INT_MAX), 1);
  EXPECT_EQ(datr.getNumAnimatedAttrs(), 1);
  EXPECT_EQ(datr.getNumStaticAttrs(), 2);
  datr.mergeStaticAttributes(nullptr);
  datr.mergeStaticAttributes(&datr);
  EXPECT_EQ(datr.getNumAttrs(), 3);
}

TEST(WrongChunkIndexTest, attributeListsAnswerForNoEntry) {
  VekAATRChunk list;
  list.append("name", "type");
  constexpr auto most = std::numeric_limits<std::size_t>::max();
  for (const std::size_t i : {std::size_t{1}, most}) {
    EXPECT_EQ(list.typeAt(i), "");
    list.setTypeAt(i, "other");
    list.remove(i, most);
    list.remove(most, i);
  }
  EXPECT_EQ(list.names, std::vector<std::string>{"name"});
  EXPECT_EQ(list.types, std::vector<std::string>{"type"});
}

// A header's bytes index no table but through a check.
TEST(WrongChunkIndexTest, headerBytesOutsideTheirTablesHaveNoName) {
  for (int value = 7; value <= 255; ++value) {
    const auto byte = static_cast<unsigned char>(value);
    const VekHeader h(Tag::POSI, byte, 0, byte, byte);
    EXPECT_EQ(h.typeStr(), "");
    EXPECT_EQ(h.compoundStr(), "");
    if (value > 16) {
      EXPECT_EQ(h.dimensionStr(), "");
    }
  }
}

}  // namespace

}  // namespace VekTest
