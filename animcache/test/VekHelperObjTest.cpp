// SPDX-License-Identifier: Apache-2.0
//
// The base of all object views: identity, attributes, chunks and typed access.

#include "VekHelperObj.h"

#include <gmock/gmock.h>

#include <climits>
#include <cmath>
#include <type_traits>

#include "ViewScene.h"

namespace {

using namespace Vek;
using namespace VekTest;
using namespace VekTest::Views;
using ::testing::ElementsAre;

class VekHelperObjTest : public ViewTest {};

constexpr unsigned int kNone = makeTag('N', 'O', 'N', 'E');

// --- Kinds, ownership, copies --------------------------------------------------------------------

template <typename View, typename Base>
constexpr bool isView() {
  return std::is_base_of<Base, View>::value && std::has_virtual_destructor<View>::value &&
         !std::is_destructible<View>::value &&
         !std::is_constructible<View, VekRoMemCache*, int>::value &&
         std::is_copy_assignable<View>::value;
}
static_assert(isView<VekHelperObj, VekHelperObj>(), "");
static_assert(isView<TransformVekObj, VekHelperObj>(), "");
static_assert(isView<LocatorVekObj, VekHelperObj>(), "");
static_assert(isView<LxCoordSystemVekObj, VekHelperObj>(), "");
static_assert(isView<GeometryVekObj, VekHelperObj>(), "");
static_assert(isView<MeshVekObj, GeometryVekObj>(), "");
static_assert(isView<NurbsSurfaceVekObj, GeometryVekObj>(), "");
static_assert(isView<NurbsCurveVekObj, GeometryVekObj>(), "");
static_assert(VekHelperObj::Static == 0 && VekHelperObj::Animated == 1, "");

TEST_F(VekHelperObjTest, constructorAddsTheCategoryHelperObj) {
  open({{definition("o")}});
  OpenView v = view();
  EXPECT_THAT(v.categories(), ElementsAre("helperObj"));
  EXPECT_TRUE(v.isA("helperObj"));
  for (const char* word : {"", "HelperObj", "helperObj ", "transform"}) {
    EXPECT_FALSE(v.isA(word)) << word;
  }
}

TEST_F(VekHelperObjTest, addCategoryInsertsAWordOnce) {
  open({{definition("o")}});
  OpenView v = view();
  v.addCategory("marker");
  v.addCategory("marker");
  EXPECT_THAT(v.categories(), ElementsAre("helperObj", "marker"));
  EXPECT_TRUE(v.isA("marker"));
}

TEST_F(VekHelperObjTest, copiesTakeCacheIndexAndCategories) {
  open({{definition("a"), definition("b")}});
  OpenView original = view(1);
  original.addCategory("marker");
  const Owned<VekHelperObj> copy(new OpenView(original));
  OpenView assigned = view(0);
  assigned.addCategory("gone");
  assigned = original;
  original.addCategory("later");
  for (VekHelperObj* v : {copy.get(), static_cast<VekHelperObj*>(&assigned)}) {
    EXPECT_EQ(v->getParentCache(), cache());
    EXPECT_EQ(v->getName(), "b");
    EXPECT_THAT(v->categories(), ElementsAre("helperObj", "marker"));
  }
}

class CountedView : public OpenView {
 public:
  CountedView(VekRoMemCache* cache, int* destroyed) : OpenView(cache, 0), m_destroyed(destroyed) {}
  CountedView(const CountedView&) = delete;
  CountedView& operator=(const CountedView&) = delete;
  ~CountedView() override { ++*m_destroyed; }

 private:
  int* m_destroyed;
};

TEST_F(VekHelperObjTest, destroyDeletesThroughTheVirtualDestructor) {
  open({{definition("o")}});
  int destroyed = 0;
  VekHelperObj* v = new CountedView(cache(), &destroyed);
  v->destroy();
  EXPECT_EQ(destroyed, 1);
}

// The pointer is volatile, so that no compiler can reason from its value.
__attribute__((no_sanitize("undefined"))) void destroyNullViews() {
  VekHelperObj* volatile plain = nullptr;
  plain->destroy();
  TransformVekObj* volatile transform = nullptr;
  transform->destroy();
  MeshVekObj* volatile mesh = nullptr;
  mesh->destroy();
}

TEST_F(VekHelperObjTest, destroyOnANullViewDoesNothing) {
  destroyNullViews();
}

// --- Names ---------------------------------------------------------------------------------------

TEST_F(VekHelperObjTest, getNameIsTheFullName) {
  open({{definition("|a|b"), definition("ns:c")}});
  EXPECT_EQ(view(0).getName(), "|a|b");
  EXPECT_EQ(view(1).getName(), "ns:c");
  EXPECT_EQ(&view(1).getName(), &cache()->getName(1));
}

TEST_F(VekHelperObjTest, getLeafNameIsThePartAfterTheLastBar) {
  const std::vector<std::pair<std::string, std::string>> table = {
      {"a|b|c", "c"}, {"whole", "whole"}, {"|top", "top"}, {"end|", ""},
      {"", ""},       {"|", ""},          {"||x", "x"},    {"|n:a|n:b", "n:b"}};
  std::vector<ByteImage> definitions;
  for (const auto& row : table) definitions.push_back(definition(row.first));
  open({definitions});
  for (std::size_t i = 0; i < table.size(); ++i) {
    EXPECT_EQ(view(static_cast<int>(i)).getLeafName(), table[i].second) << table[i].first;
  }
}

TEST_F(VekHelperObjTest, getParentCacheIsTheCache) {
  open({{definition("o")}});
  EXPECT_EQ(view().getParentCache(), cache());
}

// --- What an object has --------------------------------------------------------------------------

TEST_F(VekHelperObjTest, objectHasAndIsAnimatedLookInDefinitionAndFirstSample) {
  open({{definition("o", join({floatChunk("BBOX", {1}), floatChunk("POSI", {1})}))},
        {{join({floatChunk("POSI", {2}), floatChunk("VELO", {2})})}, {floatChunk("MTRX", {2})}}});
  OpenView v = view();
  struct Row {
    unsigned int tag;
    bool has;
    VekHelperObj::AnimationState state;
  };
  for (const Row& row : {Row{Tag::BBOX, true, VekHelperObj::Static},
                         {Tag::POSI, true, VekHelperObj::Static},
                         {Tag::VELO, true, VekHelperObj::Animated},
                         {Tag::MTRX, false, VekHelperObj::Static},
                         {kNone, false, VekHelperObj::Static}}) {
    EXPECT_EQ(v.objectHas(row.tag), row.has) << row.tag;
    EXPECT_EQ(v.isAnimated(row.tag), row.state) << row.tag;
  }
}

TEST_F(VekHelperObjTest, objectHasDatrWhenThereAreAttributes) {
  open({{definition("o", attributes({"a"})), definition("p")}});
  EXPECT_TRUE(view(0).objectHas(Tag::DATR));
  EXPECT_FALSE(view(1).objectHas(Tag::DATR));
}

TEST_F(VekHelperObjTest, isAnimatedWithoutTagAsksForFree) {
  const ByteImage filler = ByteImage().chunk("FREE", 0, ByteImage().zeros(4));
  open({{definition("sample"), definition("both", filler), definition("none")},
        {{filler, filler, floatChunk("POSI", {1})}}});
  EXPECT_EQ(view(0).isAnimated(), VekHelperObj::Animated);
  EXPECT_EQ(view(1).isAnimated(), VekHelperObj::Static);
  EXPECT_EQ(view(2).isAnimated(), VekHelperObj::Static);
}

// --- Attribute definitions -----------------------------------------------------------------------

Scene attrDefinitions() {
  return {{definition("o", attributes({"a", "both"}, {{"s", floatLeaf("ATTR", {1})},
                                                      {"both", floatLeaf("ATTR", {2})},
                                                      {"t", floatLeaf("ATTR", {3})}})),
           definition("none"), definition("empty", group("DATR", {}))}};
}

TEST_F(VekHelperObjTest, getNumAttrsAddsStaticAndAnimated) {
  open(attrDefinitions());
  EXPECT_EQ(view(0).getNumAttrs(), 5);
  EXPECT_EQ(view(1).getNumAttrs(), 0);
  EXPECT_EQ(view(2).getNumAttrs(), 0);
}

TEST_F(VekHelperObjTest, isAttrAnimatedAsksTheDefinition) {
  open(attrDefinitions());
  OpenView v = view();
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(v.isAttrAnimated(i), i < 2 ? VekHelperObj::Animated : VekHelperObj::Static) << i;
  }
  EXPECT_EQ(view(1).isAttrAnimated(0), VekHelperObj::Static);
  EXPECT_EQ(view(1).isAttrAnimated(-7), VekHelperObj::Static);
}

TEST_F(VekHelperObjTest, findAttrFindsTheAnimatedOneFirst) {
  open(attrDefinitions());
  const OpenView v = view();
  EXPECT_EQ(v.findAttr("a"), 0);
  EXPECT_EQ(v.findAttr("both"), 1);
  EXPECT_EQ(v.findAttr("s"), 2);
  EXPECT_EQ(v.findAttr("t"), 4);
  EXPECT_EQ(v.findAttr("A"), -1);
  EXPECT_EQ(v.findAttr(""), -1);
  EXPECT_EQ(view(1).findAttr("a"), -1);
}

TEST_F(VekHelperObjTest, getAttrNameAndTypeAreTheDefinitions) {
  open(attrDefinitions());
  const OpenView v = view();
  EXPECT_EQ(v.getAttrName(0), "a");
  EXPECT_EQ(v.getAttrType(0), "kinda");
  EXPECT_EQ(v.getAttrName(3), "both");
  EXPECT_EQ(v.getAttrName(4), "t");
  EXPECT_EQ(v.getAttrType(4), "kindt");
  EXPECT_EQ(view(1).getAttrName(0), "");
  EXPECT_EQ(view(1).getAttrType(0), "");
}

TEST_F(VekHelperObjTest, definitionLookupsThrowFalseOutsideTheAttributes) {
  open(attrDefinitions());
  OpenView v = view();
  for (const int i : {-1, 5, INT_MAX, INT_MIN}) {
    captureStdout([&] {
      EXPECT_THROW(v.isAttrAnimated(i), bool) << i;
      EXPECT_THROW(v.getAttrName(i), bool) << i;
      EXPECT_THROW(v.getAttrType(i), bool) << i;
    });
  }
}

// --- Attribute values ----------------------------------------------------------------------------

// Animated attributes 0 to 4 and static ones 5 to 9: int, int64, float, double, string each.
std::vector<ByteImage> typedLeaves(int base, int dimension) {
  const auto b = static_cast<double>(base);
  return {
      intLeaf("ATTR", {base, base + 1, base + 2}, dimension),
      int64Leaf("ATTR", {base + (1LL << 40), base, 0}, dimension),
      floatLeaf("ATTR", {static_cast<float>(base) + 0.5F, 1, 2}, dimension),
      doubleLeaf("ATTR", {b + 0.1, 1, 2}, dimension),
      ByteImage().chunk("ATTR", 2, ByteImage().cstr("s" + std::to_string(base)).cstr(""), 0,
                        dimension),
  };
}

Scene typedAttributes() {
  const std::vector<std::string> names = {"i", "l", "f", "d", "s"};
  const std::vector<ByteImage> leaves = typedLeaves(70, 9);
  std::vector<StaticAttr> statics;
  for (std::size_t i = 0; i < 5; ++i) statics.push_back({"static " + names[i], leaves[i]});
  return {{definition("o", attributes(names, statics))},
          {{attrValues(typedLeaves(10, 3))}, {attrValues(typedLeaves(20, 3))}}};
}

template <typename T>
bool readsAs(OpenView& v, int attr, int expectedDimension) {
  const std::vector<T> before(2);
  const std::vector<T>* data = &before;
  int dimension = -5;
  const bool ok = v.getAttrData(0, attr, data, dimension);
  EXPECT_EQ(dimension, expectedDimension) << attr;
  EXPECT_EQ(data != nullptr, ok) << attr;
  return ok;
}
bool readsAsText(OpenView& v, int attr) {
  const std::vector<std::string> before(2);
  const std::vector<std::string>* data = &before;
  const bool ok = v.getAttrData(0, attr, data);
  EXPECT_EQ(data != nullptr, ok) << attr;
  return ok;
}

TEST_F(VekHelperObjTest, getAttrDataNeverConvertsButReportsTheDimension) {
  open(typedAttributes());
  OpenView v = view();
  for (int attr = 0; attr < 10; ++attr) {
    const int dimension = attr < 5 ? 3 : 9;
    EXPECT_EQ(readsAs<int>(v, attr, dimension), attr % 5 == 0) << attr;
    EXPECT_EQ(readsAs<__int64>(v, attr, dimension), attr % 5 == 1) << attr;
    EXPECT_EQ(readsAs<float>(v, attr, dimension), attr % 5 == 2) << attr;
    EXPECT_EQ(readsAs<double>(v, attr, dimension), attr % 5 == 3) << attr;
    EXPECT_EQ(readsAsText(v, attr), attr % 5 == 4) << attr;
  }
}

template <typename T>
void expectNoCopy(OpenView& v, int sample, int attr) {
  const std::vector<T>* data = nullptr;
  int dimension = 0;
  ASSERT_TRUE(v.getAttrData(sample, attr, data, dimension));
  EXPECT_EQ(data, &asLeaf<T>(v.getAttrDataChunk(sample, attr))->data);
}

TEST_F(VekHelperObjTest, getAttrDataPointsIntoTheCache) {
  open(typedAttributes());
  OpenView v = view();
  for (const int sample : {0, 1}) {
    for (const int first : {0, 5}) {
      expectNoCopy<int>(v, sample, first);
      expectNoCopy<__int64>(v, sample, first + 1);
      expectNoCopy<float>(v, sample, first + 2);
      expectNoCopy<double>(v, sample, first + 3);
    }
  }
  EXPECT_EQ(v.getAttrDataChunk(1, 2), cache()->getAttrData(1, 0, 2));
}

TEST_F(VekHelperObjTest, getAttrCopiesTheValuesOfTheSample) {
  open(typedAttributes());
  OpenView v = view();
  int dimension = 0;
  std::vector<int> ints(7, 1);
  std::vector<__int64> longs;
  std::vector<float> floats;
  std::vector<double> doubles(1);
  std::vector<std::string> texts(9, "x");
  ASSERT_TRUE(v.getAttr(1, 0, ints, dimension));
  EXPECT_THAT(ints, ElementsAre(20, 21, 22));
  EXPECT_EQ(dimension, 3);
  ASSERT_TRUE(v.getAttr(0, 1, longs, dimension));
  EXPECT_THAT(longs, ElementsAre(10 + (1LL << 40), 10, 0));
  ASSERT_TRUE(v.getAttr(0, 2, floats, dimension));
  EXPECT_THAT(floats, ElementsAre(10.5F, 1, 2));
  ASSERT_TRUE(v.getAttr(1, 8, doubles, dimension));
  EXPECT_THAT(doubles, ElementsAre(70.1, 1, 2));
  EXPECT_EQ(dimension, 9);
  ASSERT_TRUE(v.getAttr(1, 4, texts));
  EXPECT_THAT(texts, ElementsAre("s20", ""));
  ASSERT_TRUE(v.getAttr(-1, 9, texts)) << "static values need no sample";
  EXPECT_THAT(texts, ElementsAre("s70", ""));
}

TEST_F(VekHelperObjTest, getAttrLeavesTheValuesAfterAFailure) {
  open(typedAttributes());
  OpenView v = view();
  std::vector<double> doubles = {8, 9};
  std::vector<std::string> texts = {"kept"};
  int dimension = -5;
  EXPECT_FALSE(v.getAttr(0, 2, doubles, dimension));
  EXPECT_EQ(dimension, 3) << "set before the type is looked at";
  EXPECT_THAT(doubles, ElementsAre(8, 9));
  EXPECT_FALSE(v.getAttr(0, 0, texts));
  EXPECT_THAT(texts, ElementsAre("kept"));
}

TEST_F(VekHelperObjTest, aMissingAttributeLeavesTheDimension) {
  Scene scene = typedAttributes();
  scene.definitions.push_back(definition("none"));
  scene.samples[0].emplace_back();
  scene.samples[1] = {ByteImage(), ByteImage()};
  open(scene);
  struct Row {
    int object, sample, attr;
  };
  for (const Row& row : {Row{0, 0, 10},
                         {0, 0, -1},
                         {0, 0, INT_MAX},
                         {0, 1, 3},
                         {0, 2, 3},
                         {0, -1, 3},
                         {1, 0, 0},
                         {5, 0, 0},
                         {-1, 0, 0}}) {
    OpenView v = view(row.object);
    const std::vector<double> before;
    const std::vector<double>* data = &before;
    std::vector<double> values = {4};
    std::vector<std::string> texts = {"kept"};
    int dimension = -5;
    captureStderr([&] {
      EXPECT_FALSE(v.getAttrData(row.sample, row.attr, data, dimension));
      EXPECT_FALSE(v.getAttr(row.sample, row.attr, values, dimension));
      EXPECT_FALSE(v.getAttr(row.sample, row.attr, texts));
      EXPECT_EQ(v.getAttrDataChunk(row.sample, row.attr), nullptr);
      EXPECT_EQ(v.getAttrDataType(row.sample, row.attr), "undef");
    });
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(dimension, -5);
    EXPECT_THAT(values, ElementsAre(4));
    EXPECT_THAT(texts, ElementsAre("kept"));
  }
}

TEST_F(VekHelperObjTest, anIndexOutOfRangeIsReportedByTheCache) {
  open(typedAttributes());
  OpenView v = view();
  const std::vector<int>* data = nullptr;
  int dimension = 0;
  EXPECT_EQ(captureStderr([&] { v.getAttrData(0, 10, data, dimension); }),
            "DATR index out of range 10\n");
}

TEST_F(VekHelperObjTest, getAttrDataTypeNamesTheValueType) {
  open(typedAttributes());
  const OpenView v = view();
  const char* const names[] = {"int32", "int64", "float", "double", "cstr"};
  for (int attr = 0; attr < 10; ++attr) EXPECT_EQ(v.getAttrDataType(0, attr), names[attr % 5]);
}

TEST_F(VekHelperObjTest, typeNamesOfOddChunks) {
  const ByteImage raw = ByteImage().chunk("ATTR", 0, ByteImage().zeros(4));
  const ByteImage nested = group("ATTR", floatChunk("POSI", {1}));
  const ByteImage unknown = ByteImage().chunk("ATTR", 9, ByteImage().zeros(4));
  const ByteImage negative = ByteImage().chunk("KNTU", 0xC8, ByteImage().zeros(4));
  open({{definition("o", attributes({"r", "g", "u"}))},
        {{join({negative, attrValues({raw, nested, unknown})})}}});
  OpenView v = view();
  EXPECT_EQ(v.getAttrDataType(0, 0), "undef");
  EXPECT_EQ(v.getAttrDataType(0, 1), "group");
  EXPECT_EQ(v.getAttrDataType(0, 2), "");
  EXPECT_EQ(v.getObjectType(Tag::KNTU), "");
  for (int attr = 0; attr < 3; ++attr) EXPECT_FALSE(readsAs<float>(v, attr, 0));
}

TEST_F(VekHelperObjTest, getObjectTypeLooksAtSampleZero) {
  open({{definition("o", intLeaf("DEGR", {3}))},
        {{join({floatChunk("POSI", {1}), intLeaf("PCNT", {4}), textChunk("FORM", {"a"}),
                doubleLeaf("KNTU", {1}), int64Leaf("DEGR", {1})})},
         {floatChunk("VELO", {1})}}});
  OpenView v = view();
  EXPECT_EQ(v.getObjectType(Tag::POSI), "float");
  EXPECT_EQ(v.getObjectType(Tag::PCNT), "int32");
  EXPECT_EQ(v.getObjectType(Tag::FORM), "cstr");
  EXPECT_EQ(v.getObjectType(Tag::KNTU), "double");
  EXPECT_EQ(v.getObjectType(Tag::DEGR), "int32") << "the definition's wins";
  EXPECT_EQ(v.getObjectType(Tag::VELO), "undef");
  EXPECT_EQ(v.getObjectType(kNone), "undef");
}

// --- Times ---------------------------------------------------------------------------------------

TEST_F(VekHelperObjTest, getFirstTimeIsTheCaches) {
  open({{definition("o")}, {{ByteImage()}, {ByteImage()}}, 12.5F});
  EXPECT_EQ(view().getFirstTime(), 12.5F);
}

TEST_F(VekHelperObjTest, getTimeFractionOfNonUniformSamplingIsThatOfTheTime) {
  open({{definition("o")}, {{ByteImage()}, {ByteImage()}}, 0, 0, {1.25F, 3}});
  OpenView v = view();
  EXPECT_EQ(v.getTimeFraction(2.75F), 0.75F);
  EXPECT_EQ(v.getTimeFraction(-2.75F), -0.75F);
  EXPECT_EQ(v.getTimeFraction(4.0F), 0.0F);
  EXPECT_EQ(v.getTimeFraction(kInfinity), 0.0F);
  EXPECT_TRUE(std::isnan(v.getTimeFraction(kNaN)));
}

TEST_F(VekHelperObjTest, getTimeFractionOfUniformSamplingIsThePositionBetweenSamples) {
  open({{definition("o")}, {{ByteImage()}, {ByteImage()}}, 1.0F, 24.0F});
  OpenView v = view();
  EXPECT_EQ(v.getTimeFraction(1.0F), 0.0F);
  EXPECT_EQ(v.getTimeFraction(1.5F), 0.0F);
  EXPECT_EQ(v.getTimeFraction(1.53125F), 0.75F);     // 0.53125 * 24 = 12.75
  EXPECT_EQ(v.getTimeFraction(0.984375F), -0.375F);  // -0.015625 * 24
  EXPECT_EQ(v.getTimeFraction(kInfinity), 0.0F);
  EXPECT_TRUE(std::isnan(v.getTimeFraction(kNaN)));
}

TEST_F(VekHelperObjTest, getTimeFractionComputesInSinglePrecision) {
  open({{definition("o")}, {{ByteImage()}, {ByteImage()}}, 0.0F, 24.0F});
  // 13421773 / 2^27 * 24 = 322122552 / 2^27, which rounds to 322122560 / 2^27.
  EXPECT_EQ(view().getTimeFraction(0.1F), 53687104.0F / 134217728.0F);
}

// --- Chunks --------------------------------------------------------------------------------------

TEST_F(VekHelperObjTest, findChunkLooksInTheDefinitionAndThenInTheSample) {
  open({{definition("o", floatChunk("BBOX", {7}))},
        {{join({floatChunk("BBOX", {1}), group("MESH", floatChunk("VELO", {2}))})},
         {floatChunk("POSI", {3})}}});
  OpenView v = view();
  const VekChunk* chunk = nullptr;
  for (const int sample : {0, 1, -1, 99}) {
    EXPECT_EQ(v.findChunk(sample, Tag::BBOX, chunk), VekHelperObj::Static) << sample;
    ASSERT_NE(chunk, nullptr);
    EXPECT_THAT(asLeaf<float>(chunk)->data, ElementsAre(7));
  }
  EXPECT_EQ(v.findChunk(1, Tag::POSI, chunk), VekHelperObj::Animated);
  EXPECT_EQ(chunk, cache()->getObjectData(1, 0, Tag::POSI, nullptr));
  EXPECT_EQ(v.findChunk(0, Tag::VELO, chunk), VekHelperObj::Animated) << "inside a group";
  EXPECT_NE(chunk, nullptr);
}

TEST_F(VekHelperObjTest, findChunkGivesNullAndStaticForWhatIsNotThere) {
  open({{definition("o")}, {{floatChunk("POSI", {1})}, {ByteImage()}}});
  OpenView v = view();
  const VekChunk other;
  for (const int sample : {1, 2, -1, INT_MAX, INT_MIN}) {
    const VekChunk* chunk = &other;
    EXPECT_EQ(v.findChunk(sample, Tag::POSI, chunk), VekHelperObj::Static) << sample;
    EXPECT_EQ(chunk, nullptr) << sample;
  }
}

TEST_F(VekHelperObjTest, searchChunkFindsTheFirstDirectChild) {
  open({{definition("o")}});
  VekGroupChunk root(Tag::SOBJ);
  auto* inner = new VekGroupChunk(Tag::MESH);
  inner->addChild(new VekLeafChunk<float>(Tag::VELO, {1}));
  root.addChild(inner);
  root.addChild(new VekLeafChunk<float>(Tag::POSI, {1}));
  root.addChild(new VekLeafChunk<float>(Tag::POSI, {2}));
  OpenView v = view();
  EXPECT_EQ(v.searchChunk(&root, Tag::POSI), root.getChild(1));
  EXPECT_EQ(v.searchChunk(&root, Tag::MESH), inner);
  EXPECT_EQ(v.searchChunk(&root, Tag::VELO), nullptr) << "not a direct child";
  EXPECT_EQ(v.searchChunk(&root, Tag::SOBJ), nullptr) << "the group itself";
}

TEST_F(VekHelperObjTest, getDimensionKnowsSixDimensions) {
  open({{definition("o")}});
  const OpenView v = view();
  for (int d = 0; d < 256; ++d) {
    const bool known = d == 1 || d == 2 || d == 3 || d == 4 || d == 9 || d == 16;
    const VekChunk chunk(
        VekHeader(Tag::POSI, ValueType::Float, 0, 0, static_cast<unsigned char>(d)));
    EXPECT_EQ(v.getDimension(&chunk), known ? d : 0) << d;
  }
  EXPECT_EQ(v.getDimension(nullptr), 0);
}

template <typename T>
int countReadable(OpenView& v, const std::vector<const VekChunk*>& chunks, std::size_t expected) {
  int count = 0;
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const std::vector<T> before;
    const std::vector<T>* data = &before;
    const bool ok = v.getVekLeafData(chunks[i], data);
    EXPECT_EQ(ok, i == expected) << i;
    const auto* leaf = asLeaf<T>(chunks[i]);
    EXPECT_EQ(data, ok ? &leaf->data : nullptr) << i;
    count += ok ? 1 : 0;
  }
  return count;
}

TEST_F(VekHelperObjTest, getVekLeafDataTakesLeavesOfExactlyItsType) {
  open({{definition("o")}});
  OpenView v = view();
  const VekLeafChunk<std::string> text(Tag::ATTR, {"a"});
  const VekLeafChunk<int> ints(Tag::ATTR, {1});
  const VekLeafChunk<float> floats(Tag::ATTR, {1});
  const VekLeafChunk<__int64> longs(Tag::ATTR, {1});
  const VekLeafChunk<double> doubles(Tag::ATTR, std::vector<double>());
  const VekLeafChunk<char> raw(Tag::ATTR, {'a'});
  const VekGroupChunk group(Tag::ATTR);
  std::vector<const VekChunk*> chunks = {&text,    &ints, &floats, &longs,
                                         &doubles, &raw,  &group,  nullptr};
  // Chunks that say a leaf's type without being a leaf.
  std::vector<VekChunk> impostors;
  for (unsigned char type = 0; type < 8; ++type) {
    impostors.emplace_back(VekHeader(Tag::ATTR, type, 0));
  }
  for (const VekChunk& chunk : impostors) chunks.push_back(&chunk);
  EXPECT_EQ(countReadable<std::string>(v, chunks, 0), 1);
  EXPECT_EQ(countReadable<int>(v, chunks, 1), 1);
  EXPECT_EQ(countReadable<float>(v, chunks, 2), 1);
  EXPECT_EQ(countReadable<__int64>(v, chunks, 3), 1);
  EXPECT_EQ(countReadable<double>(v, chunks, 4), 1);
}

// --- Objects and samples that are not there ------------------------------------------------------

TEST_F(VekHelperObjTest, aViewOfNoObjectAnswersWithNothing) {
  open({{definition("o", attributes({"a"}))}, {{floatChunk("POSI", {1, 2, 3})}}});
  for (const int object : {-1, 1, INT_MAX, INT_MIN}) {
    OpenView v = view(object);
    EXPECT_EQ(v.getName(), "");
    EXPECT_EQ(v.getLeafName(), "");
    EXPECT_FALSE(v.objectHas(Tag::POSI));
    EXPECT_EQ(v.isAnimated(Tag::POSI), VekHelperObj::Static);
    EXPECT_EQ(v.isAnimated(), VekHelperObj::Static);
    EXPECT_EQ(v.getNumAttrs(), 0);
    EXPECT_EQ(v.findAttr("a"), -1);
    EXPECT_EQ(v.isAttrAnimated(0), VekHelperObj::Static);
    EXPECT_EQ(v.getAttrName(0), "");
    EXPECT_EQ(v.getAttrType(0), "");
    EXPECT_EQ(v.getObjectType(Tag::POSI), "undef");
    const VekChunk* chunk = nullptr;
    EXPECT_EQ(v.findChunk(0, Tag::POSI, chunk), VekHelperObj::Static);
    EXPECT_EQ(chunk, nullptr);
    float bounds[6] = {};
    VekHelperObj::AnimationState state = VekHelperObj::Animated;
    EXPECT_FALSE(v.getBounds(0, bounds, state));
    VekInterpolationHints hints;
    std::vector<double> values;
    int dimension = 0;
    EXPECT_FALSE(v.getAttrAtTime(0, 0, hints, values, dimension));
  }
}

TEST_F(VekHelperObjTest, aSampleThatCannotBeReadIsAMissingOne) {
  // The offset of the object in the only sample points past the end of the file.
  Head head;
  head.numSamples = 1;
  head.definitions = {definition("o", attributes({"a"}))};
  ByteImage image = headImage(head);
  const StreamLayout layout = addStream(
      image,
      {{}, {{join({floatChunk("POSI", {1, 2, 3}), attrValues({doubleLeaf("ATTR", {1})})})}}});
  openBytes(patched<std::int64_t>(image.bytes(), layout.objectTables[0] + 16, 1LL << 40));
  OpenView v = view();
  captureStderr([&] {
    EXPECT_FALSE(v.objectHas(Tag::POSI));
    EXPECT_EQ(v.isAnimated(Tag::POSI), VekHelperObj::Static);
    EXPECT_EQ(v.getObjectType(Tag::POSI), "undef");
    EXPECT_EQ(v.getAttrDataType(0, 0), "undef");
    float bounds[6] = {};
    VekHelperObj::AnimationState state = VekHelperObj::Animated;
    EXPECT_FALSE(v.getBounds(0, bounds, state));
    EXPECT_EQ(state, VekHelperObj::Static);
  });
}

}  // namespace
