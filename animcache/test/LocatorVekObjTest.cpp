// SPDX-License-Identifier: Apache-2.0
//
// Views of locators and coordinate systems, and the settings of the latter.

#include <gmock/gmock.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "VekHelperObj.h"
#include "ViewScene.h"

namespace {

using namespace Vek;
using namespace VekTest;
using namespace VekTest::Views;
using ::testing::ElementsAre;

// Neither class adds members, and the locator no virtual operations.
static_assert(sizeof(LocatorVekObj) == sizeof(VekHelperObj), "");
static_assert(sizeof(LxCoordSystemVekObj) == sizeof(VekHelperObj), "");

/// A coordinate system that tests may build.
class OpenCoordSystem : public LxCoordSystemVekObj {
 public:
  OpenCoordSystem(VekRoMemCache* cache, int object) : LxCoordSystemVekObj(cache, object) {}
  OpenCoordSystem(const OpenCoordSystem&) = default;
  OpenCoordSystem& operator=(const OpenCoordSystem&) = default;
  ~OpenCoordSystem() override = default;
};

class OpenLocator : public LocatorVekObj {
 public:
  OpenLocator(VekRoMemCache* cache, int object) : LocatorVekObj(cache, object) {}
  OpenLocator(const OpenLocator&) = default;
  OpenLocator& operator=(const OpenLocator&) = default;
  ~OpenLocator() override = default;
};

struct Settings {
  bool scoped = true;
  bool clips = true;
  int shape = 1;
  std::string rig = "";
};

class LocatorVekObjTest : public ViewTest {
 protected:
  /// The object has one static attribute.
  void openStatic(const std::string& name, const ByteImage& values) {
    open({{definition("o", attributes({}, {{name, values}}))}, {{ByteImage()}}});
  }
  void expectSettings(const Settings& expected, const std::string& what, int object = 0) {
    captureStderr([&] {
      OpenCoordSystem v(cache(), object);
      EXPECT_EQ(v.scoped(), expected.scoped) << what;
      EXPECT_EQ(v.useAsClippingPlane(), expected.clips) << what;
      EXPECT_EQ(v.displayShape(), expected.shape) << what;
      EXPECT_EQ(v.parentRig(), expected.rig) << what;
    });
  }
};

// --- Kinds and copies ----------------------------------------------------------------------------

TEST_F(LocatorVekObjTest, constructorsAddTheirCategory) {
  open({{definition("o")}});
  OpenLocator locator(cache(), 0);
  OpenCoordSystem system(cache(), 0);
  EXPECT_THAT(locator.categories(), ElementsAre("helperObj", "locator"));
  EXPECT_THAT(system.categories(), ElementsAre("helperObj", "lxcoordsystem"));
}

TEST_F(LocatorVekObjTest, copiesTakeTheBasePart) {
  open({{definition("a"), definition("b")}});
  const OpenLocator locator(cache(), 1);
  const OpenCoordSystem system(cache(), 1);
  const Owned<LocatorVekObj> locatorCopy(new OpenLocator(locator));
  const Owned<LxCoordSystemVekObj> systemCopy(new OpenCoordSystem(system));
  OpenLocator assignedLocator(cache(), 0);
  assignedLocator = locator;
  OpenCoordSystem assignedSystem(cache(), 0);
  assignedSystem = system;
  EXPECT_EQ(locatorCopy->getName(), "b");
  EXPECT_THAT(locatorCopy->categories(), ElementsAre("helperObj", "locator"));
  EXPECT_EQ(systemCopy->getName(), "b");
  EXPECT_THAT(systemCopy->categories(), ElementsAre("helperObj", "lxcoordsystem"));
  EXPECT_EQ(assignedLocator.getName(), "b");
  EXPECT_EQ(assignedSystem.getName(), "b");
}

TEST_F(LocatorVekObjTest, copyConstructorsArePublic) {
  open({{definition("a")}});
  const Owned<LocatorVekObj> locator(new LocatorVekObj(OpenLocator(cache(), 0)));
  const Owned<LxCoordSystemVekObj> system(new LxCoordSystemVekObj(OpenCoordSystem(cache(), 0)));
  EXPECT_TRUE(locator->isA("locator"));
  EXPECT_TRUE(system->isA("lxcoordsystem"));
}

/// Answers in its own way.
class FixedCoordSystem : public OpenCoordSystem {
 public:
  using OpenCoordSystem::OpenCoordSystem;
  bool scoped() override { return false; }
  bool useAsClippingPlane() override { return false; }
  int displayShape() override { return 42; }
  std::string parentRig() override { return "rig"; }
};

TEST_F(LocatorVekObjTest, settingsAreVirtual) {
  open({{definition("o")}});
  const Owned<LxCoordSystemVekObj> v(new FixedCoordSystem(cache(), 0));
  EXPECT_FALSE(v->scoped());
  EXPECT_FALSE(v->useAsClippingPlane());
  EXPECT_EQ(v->displayShape(), 42);
  EXPECT_EQ(v->parentRig(), "rig");
}

#if defined(__GXX_ABI_VERSION) && defined(__x86_64__)
/// The place of a virtual operation in its class's table, where a destructor takes two.
template <typename Operation>
std::ptrdiff_t slotOf(Operation operation) {
  std::ptrdiff_t value = 0;
  std::memcpy(&value, &operation, sizeof(value));
  return (value - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST_F(LocatorVekObjTest, settingsFollowTheDestructorInOrder) {
  EXPECT_EQ(slotOf(&LxCoordSystemVekObj::scoped), 2);
  EXPECT_EQ(slotOf(&LxCoordSystemVekObj::useAsClippingPlane), 3);
  EXPECT_EQ(slotOf(&LxCoordSystemVekObj::displayShape), 4);
  EXPECT_EQ(slotOf(&LxCoordSystemVekObj::parentRig), 5);
}
#endif

// --- Settings ------------------------------------------------------------------------------------

TEST_F(LocatorVekObjTest, withoutAttributesEverySettingHasItsDefault) {
  open({{definition("o"), definition("empty", group("DATR", {}))}, {{ByteImage(), ByteImage()}}});
  expectSettings({}, "no DATR");
  expectSettings({}, "empty DATR", 1);
  expectSettings({}, "no object", 2);
  expectSettings({}, "no object", -1);
}

TEST_F(LocatorVekObjTest, withoutTheNameTheSettingHasItsDefault) {
  openStatic("Scoped", intLeaf("ATTR", {0}));
  expectSettings({}, "names are matched by case");
}

TEST_F(LocatorVekObjTest, aFlagIsTrueWhenItIsNotZero) {
  for (const int value : {0, 1, 7, -1, -2147483647 - 1, 256}) {
    Settings expected;
    expected.scoped = value != 0;
    openStatic("scoped", intLeaf("ATTR", {value}, 1));
    expectSettings(expected, "scoped " + std::to_string(value));
    expected = {};
    expected.clips = value != 0;
    openStatic("useAsClippingPlane", intLeaf("ATTR", {value}, 1));
    expectSettings(expected, "clips " + std::to_string(value));
  }
}

TEST_F(LocatorVekObjTest, displayShapeIsTheValueItself) {
  for (const int value : {0, 1, 5, -3, 2147483647}) {
    Settings expected;
    expected.shape = value;
    openStatic("displayShape", intLeaf("ATTR", {value}, 1));
    expectSettings(expected, std::to_string(value));
  }
}

TEST_F(LocatorVekObjTest, parentRigIsTheFirstString) {
  for (const std::string value : {"|rig|left", "", "a b"}) {
    Settings expected;
    expected.rig = value;
    openStatic("parentRig", textChunk("ATTR", {value, "second"}));
    expectSettings(expected, value);
  }
}

TEST_F(LocatorVekObjTest, theFirstOfSeveralValuesCounts) {
  openStatic("scoped", intLeaf("ATTR", {0, 1, 1}));
  Settings expected;
  expected.scoped = false;
  expectSettings(expected, "scoped");
  openStatic("displayShape", intLeaf("ATTR", {6, 7}, 2));
  expected = {};
  expected.shape = 6;
  expectSettings(expected, "displayShape");
}

TEST_F(LocatorVekObjTest, aChunkOfAnotherTypeGivesTheDefault) {
  const std::vector<ByteImage> numbers = {
      floatLeaf("ATTR", {0}, 1), doubleLeaf("ATTR", {0}, 1), int64Leaf("ATTR", {0}, 1),
      ByteImage().chunk("ATTR", 0, ByteImage().zeros(4)), group("ATTR", intLeaf("ATTR", {0}))};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    for (const char* name : {"scoped", "useAsClippingPlane", "displayShape", "parentRig"}) {
      openStatic(name, numbers[i]);
      expectSettings({}, name + std::to_string(i));
    }
  }
  for (const char* name : {"scoped", "useAsClippingPlane", "displayShape"}) {
    openStatic(name, textChunk("ATTR", {"0"}));
    expectSettings({}, name);
  }
  openStatic("parentRig", intLeaf("ATTR", {0}, 1));
  expectSettings({}, "parentRig");
}

TEST_F(LocatorVekObjTest, aSettingWithoutValuesGivesTheDefault) {
  for (const char* name : {"scoped", "useAsClippingPlane", "displayShape"}) {
    openStatic(name, intLeaf("ATTR", {}));
    expectSettings({}, name);
  }
  openStatic("parentRig", ByteImage().chunk("ATTR", 2, ByteImage()));
  expectSettings({}, "parentRig");
}

ByteImage allSettings(int scoped, int clips, int shape, const std::string& rig) {
  return attrValues({intLeaf("ATTR", {scoped}), intLeaf("ATTR", {clips}), intLeaf("ATTR", {shape}),
                     textChunk("ATTR", {rig})});
}
const std::vector<std::string> kNames = {"scoped", "useAsClippingPlane", "displayShape",
                                         "parentRig"};

TEST_F(LocatorVekObjTest, animatedSettingsAreReadAtSampleZero) {
  open({{definition("o", attributes(kNames))},
        {{allSettings(0, 0, 5, "first")}, {allSettings(1, 1, 6, "second")}}});
  expectSettings({false, false, 5, "first"}, "sample 0");
}

TEST_F(LocatorVekObjTest, laterSamplesAreNeverConsulted) {
  open({{definition("o", attributes(kNames))}, {{ByteImage()}, {allSettings(0, 0, 6, "second")}}});
  expectSettings({}, "nothing in sample 0");
}

TEST_F(LocatorVekObjTest, withoutSamplesOnlyStaticSettingsAreThere) {
  open({{definition("a", attributes(kNames)),
         definition("s", attributes({}, {{"scoped", intLeaf("ATTR", {0})},
                                         {"parentRig", textChunk("ATTR", {"r"})}}))}});
  expectSettings({}, "animated");
  expectSettings({false, true, 1, "r"}, "static", 1);
}

TEST_F(LocatorVekObjTest, anAnimatedSettingHidesAStaticOneOfItsName) {
  open({{definition("o", attributes({"displayShape"}, {{"displayShape", intLeaf("ATTR", {8})}}))},
        {{attrValues({intLeaf("ATTR", {9})})}}});
  Settings expected;
  expected.shape = 9;
  expectSettings(expected, "animated first");
}

TEST_F(LocatorVekObjTest, staticNamesWithoutValuesGiveTheDefault) {
  // Two names, but a single chunk of values.
  const ByteImage satr = group("SATR", textChunk("NAME", {"scoped", "displayShape"}));
  const ByteImage atrs = group("ATRS", intLeaf("ATTR", {0}));
  open({{definition("o", group("DATR", join({satr, atrs})))}, {{ByteImage()}}});
  Settings expected;
  expected.scoped = false;
  expectSettings(expected, "displayShape has none");
}

}  // namespace
