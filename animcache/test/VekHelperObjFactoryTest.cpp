// SPDX-License-Identifier: Apache-2.0
//
// The factory of object views: which view an object gets, and the names of a cache's objects.

#include <gmock/gmock.h>

#include <climits>
#include <typeinfo>

#include "VekHelperObj.h"
#include "ViewScene.h"

namespace {

using namespace Vek;
using namespace VekTest;
using namespace VekTest::Views;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Kind {
  const char* tag;
  const std::type_info& type;
  std::set<std::string> categories;
};

/// The kinds in the order in which the factory asks for them.
const std::vector<Kind>& kinds() {
  static const std::vector<Kind> all = {
      {"XFRM", typeid(TransformVekObj), {"helperObj", "transform"}},
      {"MESH", typeid(MeshVekObj), {"geometry", "helperObj", "mesh"}},
      {"NRBS", typeid(NurbsSurfaceVekObj), {"geometry", "helperObj", "nurbssurface"}},
      {"NRBC", typeid(NurbsCurveVekObj), {"geometry", "helperObj", "nurbscurve"}},
      {"ELOC", typeid(LocatorVekObj), {"helperObj", "locator"}},
      {"LXCS", typeid(LxCoordSystemVekObj), {"helperObj", "lxcoordsystem"}},
      {"POSI", typeid(GeometryVekObj), {"geometry", "helperObj"}},
  };
  return all;
}

ByteImage marker(const char* tag) {
  return intLeaf(tag, {1});
}

class VekHelperObjFactoryTest : public ViewTest {
 protected:
  Owned<VekHelperObj> build(int object = 0) {
    return Owned<VekHelperObj>(VekHelperObjFactory(cache()).vekObjBuilder(object));
  }
  void expectKind(const Kind& kind, int object, const std::string& what) {
    const Owned<VekHelperObj> v = build(object);
    ASSERT_NE(v, nullptr) << what;
    const VekHelperObj& built = *v;
    EXPECT_TRUE(typeid(built) == kind.type) << what << " gave " << typeid(built).name();
    EXPECT_EQ(v->categories(), kind.categories) << what;
    EXPECT_EQ(v->getParentCache(), cache()) << what;
    EXPECT_EQ(v->getName(), cache()->getName(object)) << what;
  }
  void expectPlain(int object, const std::string& what) {
    expectKind({"", typeid(VekHelperObj), {"helperObj"}}, object, what);
  }
};

// --- Which view ----------------------------------------------------------------------------------

TEST_F(VekHelperObjFactoryTest, eachTagSelectsItsView) {
  std::vector<ByteImage> definitions;
  std::vector<ByteImage> sample;
  for (const Kind& kind : kinds()) {
    definitions.push_back(definition(std::string("defined ") + kind.tag, marker(kind.tag)));
    sample.emplace_back();
    definitions.push_back(definition(std::string("sampled ") + kind.tag));
    sample.push_back(marker(kind.tag));
  }
  open({definitions, {sample}});
  for (std::size_t i = 0; i < kinds().size(); ++i) {
    expectKind(kinds()[i], static_cast<int>(2 * i), "in the definition");
    expectKind(kinds()[i], static_cast<int>(2 * i + 1), "in the first sample");
  }
}

TEST_F(VekHelperObjFactoryTest, ofTwoTagsTheEarlierInOrderDecides) {
  // Each pair stands in both orders in the definition, and with either tag in the sample.
  std::vector<ByteImage> definitions;
  std::vector<ByteImage> sample;
  std::vector<std::size_t> expected;
  for (std::size_t first = 0; first < kinds().size(); ++first) {
    for (std::size_t second = first + 1; second < kinds().size(); ++second) {
      const ByteImage a = marker(kinds()[first].tag);
      const ByteImage b = marker(kinds()[second].tag);
      const std::string name = std::string(kinds()[first].tag) + " " + kinds()[second].tag;
      definitions.insert(definitions.end(),
                         {definition(name, join({a, b})), definition(name, join({b, a})),
                          definition(name, b), definition(name, a)});
      sample.insert(sample.end(), {ByteImage(), ByteImage(), a, b});
      expected.insert(expected.end(), 4, first);
    }
  }
  open({definitions, {sample}});
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const int object = static_cast<int>(i);
    expectKind(kinds()[expected[i]], object, cache()->getName(object));
  }
}

TEST_F(VekHelperObjFactoryTest, withAllTagsItIsATransform) {
  std::vector<ByteImage> markers;
  for (const Kind& kind : kinds()) markers.insert(markers.begin(), marker(kind.tag));
  open({{definition("o", join(markers))}});
  expectKind(kinds()[0], 0, "all tags");
}

TEST_F(VekHelperObjFactoryTest, theTypeOfTheTaggedChunkDoesNotMatter) {
  open({{definition("float", floatLeaf("XFRM", {})), definition("text", textChunk("MESH", {"m"})),
         definition("raw", ByteImage().chunk("NRBC", 0, {})),
         definition("group", group("ELOC", {}))}});
  expectKind(kinds()[0], 0, "float");
  expectKind(kinds()[1], 1, "text");
  expectKind(kinds()[3], 2, "raw");
  expectKind(kinds()[4], 3, "group");
}

TEST_F(VekHelperObjFactoryTest, withoutAKnownTagItIsAPlainView) {
  open({{definition("none"), definition("other", floatLeaf("MTRX", {1})), definition("lower"),
         definition("attrs", attributes({}, {{"XFRM", marker("XFRM")}}))},
        {{ByteImage(), floatLeaf("BBOX", {1}), intLeaf("mesh", {1}), ByteImage()}}});
  for (const int object : {0, 1, 2, 3}) expectPlain(object, cache()->getName(object));
}

TEST_F(VekHelperObjFactoryTest, aTagInALaterSampleDoesNotCount) {
  open({{definition("o")}, {{ByteImage()}, {marker("MESH")}}});
  expectPlain(0, "MESH in sample 1");
}

TEST_F(VekHelperObjFactoryTest, anObjectWhoseFirstSampleIsDamagedIsPlain) {
  Head head;
  head.numSamples = 1;
  head.definitions = {definition("o"), definition("p", marker("ELOC"))};
  ByteImage image = headImage(head);
  const StreamLayout layout = addStream(image, {{}, {{marker("MESH"), marker("MESH")}}});
  openBytes(patched<std::int64_t>(image.bytes(), layout.objectTables[0] + 16, -5));
  expectPlain(0, "no sample");
  expectKind(kinds()[1], 1, "the other object can be read: MESH before ELOC");
}

TEST_F(VekHelperObjFactoryTest, anIndexOutsideTheTableGivesAPlainViewWithoutName) {
  open({{definition("o", marker("XFRM"))}, {{marker("MESH")}}});
  for (const int object : {-1, 1, 2, INT_MAX, INT_MIN}) {
    const Owned<VekHelperObj> v = build(object);
    ASSERT_NE(v, nullptr) << object;
    const VekHelperObj& built = *v;
    EXPECT_TRUE(typeid(built) == typeid(VekHelperObj)) << object;
    EXPECT_THAT(v->categories(), ElementsAre("helperObj"));
    EXPECT_EQ(v->getName(), "") << object;
  }
}

TEST_F(VekHelperObjFactoryTest, withoutACacheNothingIsBuilt) {
  VekHelperObjFactory factory(nullptr);
  for (const int object : {0, -1, 5}) EXPECT_EQ(factory.vekObjBuilder(object), nullptr);
}

TEST_F(VekHelperObjFactoryTest, anEmptyCacheGivesPlainViews) {
  VekRoMemCache empty;
  const Owned<VekHelperObj> v(VekHelperObjFactory(&empty).vekObjBuilder(0));
  ASSERT_NE(v, nullptr);
  EXPECT_THAT(v->categories(), ElementsAre("helperObj"));
  EXPECT_EQ(v->getName(), "");
}

TEST_F(VekHelperObjFactoryTest, everyCallBuildsAViewThatOutlivesTheFactory) {
  open({{definition("|a|b", marker("MESH"))}});
  Owned<VekHelperObj> first;
  Owned<VekHelperObj> second;
  {
    VekHelperObjFactory factory(cache());
    first.reset(factory.vekObjBuilder(0));
    second.reset(factory.vekObjBuilder(0));
  }
  EXPECT_NE(first, second);
  first.reset();
  EXPECT_EQ(second->getLeafName(), "b");
}

TEST_F(VekHelperObjFactoryTest, aLimitOfOneSampleBuildsTheSameViews) {
  open({{definition("o"), definition("p")},
        {{marker("MESH"), marker("NRBC")}, {ByteImage(), ByteImage()}}},
       1, false);
  cache()->getSample(1, 0);
  expectKind(kinds()[1], 0, "o");
  expectKind(kinds()[3], 1, "p");
}

TEST_F(VekHelperObjFactoryTest, copiesServeTheSameCache) {
  open({{definition("o", marker("LXCS"))}});
  const VekHelperObjFactory factory(cache());
  VekHelperObjFactory copy(factory);
  VekHelperObjFactory assigned(nullptr);
  assigned = factory;
  for (VekHelperObjFactory* f : {&copy, &assigned}) {
    const Owned<VekHelperObj> v(f->vekObjBuilder(0));
    ASSERT_NE(v, nullptr);
    EXPECT_TRUE(v->isA("lxcoordsystem"));
  }
  assigned = VekHelperObjFactory(nullptr);
  EXPECT_EQ(assigned.vekObjBuilder(0), nullptr);
}

// --- Copies of every view ------------------------------------------------------------------------

template <typename View>
void expectCopyable(VekHelperObj* from, VekHelperObj* other) {
  auto* view = dynamic_cast<View*>(from);
  auto* target = dynamic_cast<View*>(other);
  ASSERT_NE(view, nullptr);
  ASSERT_NE(target, nullptr);
  const Owned<View> copy(new View(*view));
  *target = *view;
  for (View* v : {copy.get(), target}) {
    EXPECT_EQ(v->getName(), view->getName());
    EXPECT_EQ(v->categories(), view->categories());
    EXPECT_EQ(v->getParentCache(), view->getParentCache());
  }
}

TEST_F(VekHelperObjFactoryTest, everyViewCopiesItsBasePart) {
  std::vector<ByteImage> definitions;
  for (const Kind& kind : kinds()) {
    for (const char* name : {"first ", "second "}) {
      definitions.push_back(definition(std::string(name) + kind.tag, marker(kind.tag)));
    }
  }
  definitions.insert(definitions.end(), {definition("first"), definition("second")});
  open({definitions});
  std::vector<Owned<VekHelperObj>> v;
  for (int i = 0; i < cache()->getNumObjects(); ++i) v.push_back(build(i));
  expectCopyable<TransformVekObj>(v[0].get(), v[1].get());
  expectCopyable<MeshVekObj>(v[2].get(), v[3].get());
  expectCopyable<NurbsSurfaceVekObj>(v[4].get(), v[5].get());
  expectCopyable<NurbsCurveVekObj>(v[6].get(), v[7].get());
  expectCopyable<LocatorVekObj>(v[8].get(), v[9].get());
  expectCopyable<LxCoordSystemVekObj>(v[10].get(), v[11].get());
  expectCopyable<GeometryVekObj>(v[12].get(), v[13].get());
  expectCopyable<VekHelperObj>(v[14].get(), v[15].get());
}

// --- Names ---------------------------------------------------------------------------------------

TEST_F(VekHelperObjFactoryTest, getObjectNamesListsFullNamesInOrder) {
  open({{definition("|b|x"), definition("a"), definition("ns:c"), definition("a")}});
  std::vector<std::string> names = {"old", "older"};
  EXPECT_TRUE(VekHelperObjFactory(cache()).getObjectNames(names));
  EXPECT_THAT(names, ElementsAre("|b|x", "a", "ns:c", "a"));
}

TEST_F(VekHelperObjFactoryTest, getObjectNamesStopsAtAnEmptyName) {
  open({{definition("a"), definition("b"), definition(""), definition("d")}});
  std::vector<std::string> names = {"old"};
  EXPECT_FALSE(VekHelperObjFactory(cache()).getObjectNames(names));
  EXPECT_THAT(names, ElementsAre("a", "b"));
}

TEST_F(VekHelperObjFactoryTest, getObjectNamesStopsAtADefinitionWithoutName) {
  open({{group("DOBJ", {}), definition("b")}});
  std::vector<std::string> names = {"old"};
  EXPECT_FALSE(VekHelperObjFactory(cache()).getObjectNames(names));
  EXPECT_THAT(names, IsEmpty());
}

TEST_F(VekHelperObjFactoryTest, getObjectNamesOfNoObjectsIsEmptyAndTrue) {
  open({});
  std::vector<std::string> names = {"old"};
  EXPECT_TRUE(VekHelperObjFactory(cache()).getObjectNames(names));
  EXPECT_THAT(names, IsEmpty());
}

TEST_F(VekHelperObjFactoryTest, getObjectNamesWithoutACacheIsFalseAndEmpty) {
  std::vector<std::string> names = {"old"};
  EXPECT_FALSE(VekHelperObjFactory(nullptr).getObjectNames(names));
  EXPECT_THAT(names, IsEmpty());
}

}  // namespace
