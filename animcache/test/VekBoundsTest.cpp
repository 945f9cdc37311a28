// SPDX-License-Identifier: Apache-2.0
//
// Bounding boxes of object views: stored ones in their two orders, and those of the positions.

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "VekHelperObj.h"
#include "ViewScene.h"

namespace {

using namespace Vek;
using namespace VekTest;
using namespace VekTest::Views;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

using State = VekHelperObj::AnimationState;
constexpr State kStatic = VekHelperObj::Static;
constexpr State kAnimated = VekHelperObj::Animated;

struct Bounds {
  bool ok = false;
  std::vector<float> values;
  State state = kStatic;
};

constexpr float kUntouched = -77.0F;

class VekBoundsTest : public ViewTest {
 protected:
  /// Reads bounds through the array form, with outputs that show whether they were set.
  Bounds read(bool pointOrder = false, int sample = 0, State before = kAnimated, int object = 0) {
    float values[6];
    std::fill(std::begin(values), std::end(values), kUntouched);
    Bounds result;
    result.state = before;
    result.ok = view(object).getBounds(sample, values, result.state, pointOrder);
    result.values.assign(std::begin(values), std::end(values));
    return result;
  }
  /// One object with that data in its only sample.
  void openSample(const ByteImage& data) { open({{definition("o")}, {{data}}}); }
  void openDefinition(const ByteImage& data) { open({{definition("o", data)}, {{ByteImage()}}}); }
};

const std::vector<float> kNothing(6, kUntouched);

// --- Stored boxes --------------------------------------------------------------------------------

TEST_F(VekBoundsTest, floatBoxIsStoredInDefaultOrder) {
  openSample(floatLeaf("BBOX", {1, 2, 3, 4, 5, 6}));
  EXPECT_TRUE(read(false).ok);
  EXPECT_THAT(read(false).values, ElementsAre(1, 2, 3, 4, 5, 6));
  EXPECT_TRUE(read(true).ok);
  EXPECT_THAT(read(true).values, ElementsAre(1, 3, 5, 2, 4, 6));
}

TEST_F(VekBoundsTest, doubleBoxIsStoredInPointOrder) {
  openSample(doubleLeaf("BBOX", {1, 2, 3, 4, 5, 6}));
  EXPECT_TRUE(read(true).ok);
  EXPECT_THAT(read(true).values, ElementsAre(1, 2, 3, 4, 5, 6));
  EXPECT_TRUE(read(false).ok);
  EXPECT_THAT(read(false).values, ElementsAre(1, 4, 2, 5, 3, 6));
}

TEST_F(VekBoundsTest, doubleBoxIsConvertedToFloat) {
  openSample(doubleLeaf("BBOX", {0.1, 1e-60, 1e300, -1e300, 16777217, 0}));
  const std::vector<float> values = read(true).values;
  EXPECT_EQ(values[0], 0.1F);
  EXPECT_EQ(values[1], 0.0F);
  EXPECT_EQ(values[2], kInfinity);
  EXPECT_EQ(values[3], -kInfinity);
  EXPECT_EQ(values[4], 16777216.0F);
}

TEST_F(VekBoundsTest, aStoredBoxIsNotCheckedOrSorted) {
  openSample(join({floatLeaf("POSI", {1, 1, 1}, 3), floatLeaf("BBOX", {9, -9, kNaN, 0, 5, 5})}));
  const Bounds b = read();
  EXPECT_TRUE(b.ok);
  EXPECT_THAT(std::vector<float>(b.values.begin(), b.values.begin() + 2), ElementsAre(9, -9));
  EXPECT_TRUE(std::isnan(b.values[2]));
}

TEST_F(VekBoundsTest, theBoxOfTheSampleIsAnimatedThatOfTheDefinitionStatic) {
  open({{definition("sample"), definition("def", floatLeaf("BBOX", {1, 2, 3, 4, 5, 6}))},
        {{floatLeaf("BBOX", {0, 1, 0, 1, 0, 1}), floatLeaf("BBOX", {9, 9, 9, 9, 9, 9})},
         {floatLeaf("BBOX", {0, 2, 0, 2, 0, 2}), ByteImage()}}});
  EXPECT_EQ(read(false, 0, kStatic).state, kAnimated);
  EXPECT_THAT(read(false, 1).values, ElementsAre(0, 2, 0, 2, 0, 2));
  for (const int sample : {0, 1, -1, 99}) {
    const Bounds b = read(false, sample, kAnimated, 1);
    EXPECT_TRUE(b.ok) << sample;
    EXPECT_EQ(b.state, kStatic) << sample;
    EXPECT_THAT(b.values, ElementsAre(1, 2, 3, 4, 5, 6)) << sample;
  }
}

TEST_F(VekBoundsTest, aBoxWinsOverPositions) {
  open({{definition("o", floatLeaf("BBOX", {1, 2, 3, 4, 5, 6}))},
        {{floatLeaf("POSI", {50, 50, 50}, 3)}}});
  const Bounds b = read();
  EXPECT_THAT(b.values, ElementsAre(1, 2, 3, 4, 5, 6));
  EXPECT_EQ(b.state, kStatic) << "the box's state, not that of the positions";
}

TEST_F(VekBoundsTest, aBoxOfAnotherTypeFailsEvenWithPositions) {
  const ByteImage positions = floatLeaf("POSI", {1, 2, 3}, 3);
  for (const ByteImage& box :
       {intLeaf("BBOX", {1, 2, 3, 4, 5, 6}), int64Leaf("BBOX", {1, 2, 3, 4, 5, 6}),
        textChunk("BBOX", {"1", "2", "3", "4", "5", "6"}),
        ByteImage().chunk("BBOX", 0, ByteImage().zeros(24)),
        ByteImage().chunk("BBOX", 9, ByteImage().zeros(24)), group("BBOX", positions)}) {
    for (const bool pointOrder : {false, true}) {
      openSample(join({box, positions}));
      const Bounds animated = read(pointOrder, 0, kStatic);
      EXPECT_FALSE(animated.ok);
      EXPECT_EQ(animated.state, kAnimated) << "set whatever happens";
      EXPECT_EQ(animated.values, kNothing);
    }
    openDefinition(join({box, positions}));
    EXPECT_FALSE(read().ok);
    EXPECT_EQ(read().state, kStatic);
  }
}

TEST_F(VekBoundsTest, aBoxOfOtherThanSixValuesFails) {
  for (const std::size_t count : {0U, 1U, 5U, 7U, 12U, 1000U}) {
    const std::vector<float> floats(count, 1.0F);
    const std::vector<double> doubles(count, 1.0);
    for (const ByteImage& box : {floatLeaf("BBOX", floats), doubleLeaf("BBOX", doubles)}) {
      openSample(join({box, floatLeaf("POSI", {1, 2, 3}, 3)}));
      for (const bool pointOrder : {false, true}) {
        const Bounds b = read(pointOrder, 0, kStatic);
        EXPECT_FALSE(b.ok) << count;
        EXPECT_EQ(b.state, kAnimated) << count;
        EXPECT_EQ(b.values, kNothing) << count;
      }
    }
  }
}

TEST_F(VekBoundsTest, theDimensionOfABoxDoesNotMatter) {
  for (const int dimension : {0, 2, 3, 5, 255}) {
    openSample(floatLeaf("BBOX", {1, 2, 3, 4, 5, 6}, dimension));
    EXPECT_THAT(read().values, ElementsAre(1, 2, 3, 4, 5, 6)) << dimension;
  }
}

// --- Bounds of the positions ---------------------------------------------------------------------

const std::vector<float> kThreePoints = {1, 20, -3, -4, 50, 6, 7, -8, 0.5F};
const std::vector<float> kThreePointBounds = {-4, 7, -8, 50, -3, 6};

TEST_F(VekBoundsTest, boundsOfPositionsInBothOrders) {
  openSample(floatLeaf("POSI", kThreePoints, 3));
  EXPECT_TRUE(read().ok);
  EXPECT_THAT(read(false).values, ElementsAreArray(kThreePointBounds));
  EXPECT_THAT(read(true).values, ElementsAre(-4, -8, -3, 7, 50, 6));
  openSample(doubleLeaf("POSI", {kThreePoints.begin(), kThreePoints.end()}, 3));
  EXPECT_THAT(read(false).values, ElementsAreArray(kThreePointBounds));
  EXPECT_THAT(read(true).values, ElementsAre(-4, -8, -3, 7, 50, 6));
}

TEST_F(VekBoundsTest, theStrideIsThreeForEveryDimensionButFour) {
  for (const int dimension : {0, 1, 2, 3, 5, 9, 16, 255}) {
    openSample(floatLeaf("POSI", kThreePoints, dimension));
    EXPECT_THAT(read().values, ElementsAreArray(kThreePointBounds)) << dimension;
  }
}

TEST_F(VekBoundsTest, weightsNeverEnterTheBounds) {
  openSample(floatLeaf("POSI", {1, 2, 3, 900, 4, 0, 5, -900, 2, 1, 4, 900}, 4));
  EXPECT_THAT(read(false).values, ElementsAre(1, 4, 0, 2, 3, 5));
  EXPECT_THAT(read(true).values, ElementsAre(1, 0, 3, 4, 2, 5));
  openSample(doubleLeaf("POSI", {1, 2, 3, 900, 4, 0, 5, -900}, 4));
  EXPECT_THAT(read(false).values, ElementsAre(1, 4, 0, 2, 3, 5));
}

TEST_F(VekBoundsTest, onePointIsItsOwnBounds) {
  openSample(floatLeaf("POSI", {1, 2, 3}, 3));
  EXPECT_THAT(read(false).values, ElementsAre(1, 1, 2, 2, 3, 3));
  EXPECT_THAT(read(true).values, ElementsAre(1, 2, 3, 1, 2, 3));
  openSample(floatLeaf("POSI", {1, 2, 3}, 4));
  EXPECT_THAT(read(false).values, ElementsAre(1, 1, 2, 2, 3, 3));
}

TEST_F(VekBoundsTest, fewerThanThreeValuesSucceedAndLeaveTheBounds) {
  for (const std::size_t count : {0U, 1U, 2U}) {
    for (const int dimension : {0, 3, 4}) {
      for (const ByteImage& positions :
           {floatLeaf("POSI", std::vector<float>(count, 5.0F), dimension),
            doubleLeaf("POSI", std::vector<double>(count, 5.0), dimension)}) {
        openSample(positions);
        const Bounds b = read(false, 0, kStatic);
        EXPECT_TRUE(b.ok) << count;
        EXPECT_EQ(b.values, kNothing) << count;
        EXPECT_EQ(b.state, kAnimated) << count;
      }
    }
  }
}

TEST_F(VekBoundsTest, valuesOfAnIncompleteLastPointAreLeftOut) {
  openSample(floatLeaf("POSI", {1, 2, 3, 4, 5, 6, 1000}, 3));
  EXPECT_THAT(read().values, ElementsAre(1, 4, 2, 5, 3, 6));
  openSample(floatLeaf("POSI", {1, 2, 3, 4, 5, 6, 1000, 1000}, 3));
  EXPECT_THAT(read().values, ElementsAre(1, 4, 2, 5, 3, 6));
  openSample(doubleLeaf("POSI", {1, 2, 3, 0, 4, 5, 6, 0, 1000, 1000}, 4));
  EXPECT_THAT(read().values, ElementsAre(1, 4, 2, 5, 3, 6));
}

TEST_F(VekBoundsTest, aNaNInTheFirstPointStaysAndLaterOnesAreIgnored) {
  openSample(floatLeaf("POSI", {kNaN, 2, 3, 1, kNaN, 9, 2, 1, kNaN}, 3));
  const std::vector<float> values = read().values;
  EXPECT_TRUE(std::isnan(values[0]));
  EXPECT_TRUE(std::isnan(values[1]));
  EXPECT_THAT(std::vector<float>(values.begin() + 2, values.end()), ElementsAre(1, 2, 3, 9));
}

TEST_F(VekBoundsTest, infinitePositionsAreBounds) {
  openSample(floatLeaf("POSI", {0, 0, 0, kInfinity, -kInfinity, 1}, 3));
  EXPECT_THAT(read().values, ElementsAre(0, kInfinity, -kInfinity, 0, 0, 1));
}

TEST_F(VekBoundsTest, doublePositionsAreStoredAsFloat) {
  openSample(doubleLeaf("POSI", {0.1, 1e300, 16777217, 0.7, -1e300, 16777219}, 3));
  EXPECT_THAT(read().values,
              ElementsAre(0.1F, 0.7F, -kInfinity, kInfinity, 16777216.0F, 16777220.0F));
}

// A value may lie below the rounded minimum and above the rounded maximum only in double precision:
// neither changes what is stored.
TEST_F(VekBoundsTest, doublePositionsThatRoundAlikeAgree) {
  openSample(doubleLeaf("POSI", {0.1, 0.1, 0.1, 0.1, 0.1 + 1e-12, 0.1 - 1e-12}, 3));
  EXPECT_THAT(read().values, ElementsAre(0.1F, 0.1F, 0.1F, 0.1F, 0.1F, 0.1F));
}

TEST_F(VekBoundsTest, theStateIsThatOfThePositions) {
  openSample(floatLeaf("POSI", {1, 2, 3}, 3));
  EXPECT_EQ(read(false, 0, kStatic).state, kAnimated);
  openDefinition(floatLeaf("POSI", {1, 2, 3}, 3));
  EXPECT_EQ(read(false, 0, kAnimated).state, kStatic);
  EXPECT_TRUE(read(false, -1).ok) << "static positions need no sample";
}

TEST_F(VekBoundsTest, withoutBoxAndPositionsTheCallFails) {
  openSample(floatLeaf("VELO", {1, 2, 3}, 3));
  for (const int sample : {0, 1, -1}) {
    const Bounds b = read(false, sample, kAnimated);
    EXPECT_FALSE(b.ok) << sample;
    EXPECT_EQ(b.state, kStatic) << sample;
    EXPECT_EQ(b.values, kNothing) << sample;
  }
}

TEST_F(VekBoundsTest, positionsOfAnotherTypeFail) {
  for (const ByteImage& positions :
       {intLeaf("POSI", {1, 2, 3}, 3), int64Leaf("POSI", {1, 2, 3}, 3), textChunk("POSI", {"1"}),
        ByteImage().chunk("POSI", 0, ByteImage().zeros(24)),
        ByteImage().chunk("POSI", 9, ByteImage().zeros(24)),
        group("POSI", floatLeaf("VELO", {1, 2, 3}, 3))}) {
    openSample(positions);
    const Bounds b = read(false, 0, kStatic);
    EXPECT_FALSE(b.ok);
    EXPECT_EQ(b.state, kAnimated);
    EXPECT_EQ(b.values, kNothing);
  }
}

// --- The form with a vector ----------------------------------------------------------------------

TEST_F(VekBoundsTest, theVectorFormHasSixValuesInAnyCase) {
  open({{definition("o"), definition("none")}, {{floatLeaf("BBOX", {1, 2, 3, 4, 5, 6}), {}}}});
  State state = kStatic;
  for (const std::size_t size : {0U, 3U, 6U, 20U}) {
    std::vector<float> bounds(size, 9.0F);
    EXPECT_TRUE(view().getBounds(0, bounds, state));
    EXPECT_EQ(state, kAnimated);
    EXPECT_THAT(bounds, ElementsAre(1, 2, 3, 4, 5, 6)) << size;
    EXPECT_TRUE(view().getBounds(0, bounds, state, true));
    EXPECT_THAT(bounds, ElementsAre(1, 3, 5, 2, 4, 6)) << size;
    std::vector<float> failed(size, 9.0F);
    EXPECT_FALSE(view(1).getBounds(0, failed, state));
    EXPECT_EQ(state, kStatic);
    EXPECT_EQ(failed.size(), 6U) << size;
  }
}

// --- Traces --------------------------------------------------------------------------------------

/// The six values and the state that a trace tells; empty when it tells none.
std::vector<float> tracedBounds(const std::string& trace) {
  const std::string before = "bounds: ";
  const std::string after = " animState ";
  const std::size_t begin = trace.find(before);
  const std::size_t end = trace.find(after);
  if (begin == std::string::npos || end == std::string::npos) return {};
  std::string text = trace.substr(begin + before.size(), end - begin - before.size()) + " " +
                     trace.substr(end + after.size());
  std::replace(text.begin(), text.end(), ',', ' ');
  std::istringstream in(text);
  std::vector<float> values;
  float value = 0;
  while (in >> value) values.push_back(value);
  return values;
}

TEST_F(VekBoundsTest, traceOfAStoredBoxFromLevelTwo) {
  openSample(floatLeaf("BBOX", {1, 2, 3, 4, 5, 6.5F}));
  const Verbosity level(2);
  const std::string pointOrder = captureStderr([&] { read(true); });
  EXPECT_THAT(pointOrder, StartsWith("BBOX pointOrder "));
  EXPECT_THAT(tracedBounds(pointOrder), ElementsAre(1, 3, 5, 2, 4, 6.5F, 1));
  const std::string defaultOrder = captureStderr([&] { read(false); });
  EXPECT_THAT(defaultOrder, StartsWith("BBOX default    "));
  EXPECT_THAT(tracedBounds(defaultOrder), ElementsAre(1, 2, 3, 4, 5, 6.5F, 1));
  EXPECT_EQ(defaultOrder.back(), '\n');
}

TEST_F(VekBoundsTest, traceOfComputedBoundsNamesNoBox) {
  openDefinition(floatLeaf("POSI", {1, 2, 3}, 3));
  const Verbosity level(3);
  const std::string trace = captureStderr([&] { read(); });
  EXPECT_THAT(trace, Not(HasSubstr("BBOX ")));
  EXPECT_THAT(tracedBounds(trace), ElementsAre(1, 1, 2, 2, 3, 3, 0));
}

TEST_F(VekBoundsTest, noBoundsAreTracedAfterAFailure) {
  openSample(intLeaf("BBOX", {1, 2, 3, 4, 5, 6}));
  const Verbosity level(2);
  EXPECT_THAT(captureStderr([&] { read(); }), Not(HasSubstr("bounds: ")));
}

TEST_F(VekBoundsTest, nothingIsTracedBelowLevelTwo) {
  openSample(floatLeaf("BBOX", {1, 2, 3, 4, 5, 6}));
  for (const int v : {-1, 0, 1}) {
    const Verbosity level(v);
    EXPECT_EQ(captureStderr([&] { read(); }), "") << v;
  }
}

}  // namespace
