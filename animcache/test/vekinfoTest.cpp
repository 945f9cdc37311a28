// SPDX-License-Identifier: Apache-2.0
//
// The summary of a file: the text for its head, for every kind of object and for every kind of
// attribute, recorded summaries, and files that cannot be loaded or are damaged.

#include <gmock/gmock.h>
#include <time.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "ByteImage.h"
#include "SceneImage.h"
#include "ToolRun.h"
#include "vekUtils.h"

namespace {

using namespace VekTest;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

ToolRun run(const char* filename) {
  return runTool(vekinfo, filename);
}

std::string messageOf(const std::string& errors) {
  return reportedMessage(errors, "vekinfo at vekUtils:", " Error ");
}

// --- Byte images --------------------------------------------------------------------------------

/// A leaf with its kind and dimension.
ByteImage leaf(const char* tag, int type, const ByteImage& values, int compound = 0,
               int dimension = 0) {
  return ByteImage().chunk(tag, type, values, compound, dimension);
}

ByteImage ints(const std::vector<int>& values) {
  ByteImage image;
  for (const int v : values) image.int32(v);
  return image;
}

ByteImage doubles(const std::vector<double>& values) {
  ByteImage image;
  for (const double v : values) image.float64(v);
  return image;
}

ByteImage strings(const std::vector<std::string>& texts) {
  ByteImage image;
  for (const std::string& text : texts) image.cstr(text);
  return image;
}

/// Values 1, 2, 3, ...
std::vector<float> counting(int count) {
  std::vector<float> values;
  for (int i = 1; i <= count; ++i) values.push_back(static_cast<float>(i));
  return values;
}

using Names = std::vector<std::pair<std::string, std::string>>;  ///< attribute names and types

ByteImage attrList(const char* tag, const Names& attrs) {
  std::vector<std::string> names;
  std::vector<std::string> types;
  for (const auto& [name, type] : attrs) {
    names.push_back(name);
    types.push_back(type);
  }
  return group(tag, join({textChunk("NAME", names), textChunk("TYPE", types)}));
}

ByteImage attributes(const Names& animated, const Names& fixed, const ByteImage& values) {
  ByteImage image;
  if (!fixed.empty()) image.raw(attrList("SATR", fixed)).raw(group("ATRS", values));
  if (!animated.empty()) image.raw(attrList("AATR", animated));
  return group("DATR", image);
}

/// One attribute named n of type t, its values in the definition.
ByteImage fixedAttribute(const ByteImage& value) {
  return attributes({}, {{"n", "t"}}, value);
}

class VekinfoTest : public FileTest {
 protected:
  /// The summary of a file that must have one.
  std::string infoOf(const ByteImage& image) {
    const ToolRun r = run(writeFile(image).c_str());
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.errors, "");
    return r.output;
  }
  /// What is printed for the one object |o after its name: of a file with one sample, and of one
  /// without samples.
  std::string objectText(const ByteImage& fixed, const ByteImage& sample = {}) {
    const std::string text = infoOf(oneObject(fixed, sample));
    const std::string front =
        "VEK file version 2\nnumber of time samples: 1\nfirst frame: 3\nlast frame: 3\n"
        "sampling rate: 1 sample per frame\nspace: object\n\nnumber of objects: 1\n"
        "object[0] name: |o\n";
    EXPECT_THAT(text, StartsWith(front));
    return text.substr(std::min(front.size(), text.size()));
  }
  std::string staticObjectText(const ByteImage& fixed) {
    Head head;
    head.definitions = {definition("|o", fixed)};
    const std::string text = infoOf(headImage(head));
    const std::string front =
        "VEK file version 2\nnumber of time samples: 0\nstatic file\nspace: object\n\n"
        "number of objects: 1\nobject[0] name: |o\n";
    EXPECT_THAT(text, StartsWith(front));
    return text.substr(std::min(front.size(), text.size()));
  }
  static ByteImage oneObject(const ByteImage& fixed, const ByteImage& sample) {
    Head head;
    head.numSamples = 1;
    head.firstTime = 3.0F;
    head.lastTime = 3.0F;
    head.definitions = {definition("|o", fixed)};
    ByteImage image = headImage(head);
    addStream(image, {{}, {{sample}}});
    return image;
  }
  /// The description of an attribute with that value, on its own in the definition.
  std::string description(const ByteImage& value) {
    const std::string text = staticObjectText(fixedAttribute(value));
    const std::string front = "  number of attributes: 1\n    attribute[0] NAME: 'n' TYPE: 't'";
    EXPECT_THAT(text, StartsWith(front));
    EXPECT_THAT(text, EndsWith("\n"));
    if (text.size() <= front.size()) return text;
    return text.substr(front.size(), text.size() - front.size() - 1);
  }
};

// --- Recorded summaries -------------------------------------------------------------------------

TEST_F(VekinfoTest, recordedSummaries) {
  const TimeZone utc("UTC");
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VEK_GOLDEN_DIR)) {
    if (entry.path().extension() != ".vek") continue;
    std::filesystem::path expected = entry.path();
    expected.replace_extension(".info.txt");
    if (!std::filesystem::exists(expected)) continue;
    const ToolRun r = run(entry.path().string().c_str());
    EXPECT_EQ(r.result, 0) << entry.path();
    EXPECT_EQ(r.output, readFile(expected.string())) << entry.path();
    ++count;
  }
  EXPECT_GE(count, 14);
}

// --- The head -----------------------------------------------------------------------------------

TEST_F(VekinfoTest, fileWithoutSamplesIsStatic) {
  EXPECT_EQ(infoOf(headImage(Head())),
            "VEK file version 2\n"
            "number of time samples: 0\n"
            "static file\n"
            "space: object\n"
            "\n"
            "number of objects: 0\n");
}

TEST_F(VekinfoTest, everyLineOfTheHeadInItsOrder) {
  const TimeZone utc("UTC");
  Head head;
  head.version = 7;
  head.numSamples = 5;
  head.firstTime = 1.5F;
  head.lastTime = 3.5F;
  head.rate = 2.0F;
  head.space = 0;
  head.more = join(
      {textChunk("WAPP", {"writer 1"}), textChunk("SFIL", {"/a/b.scene"}), int64Chunk("DATE", 1)});
  ByteImage image = headImage(head);
  addStream(image, emptySamples(5));
  EXPECT_EQ(infoOf(image),
            "VEK file version 7\n"
            "application: writer 1\n"
            "source file: /a/b.scene\n"
            "date stamp: Thu Jan  1 00:00:01 1970\n"
            "number of time samples: 5\n"
            "first frame: 1.5\n"
            "last frame: 3.5\n"
            "sampling rate: 2 samples per frame\n"
            "space: world\n"
            "\n"
            "number of objects: 0\n");
}

TEST_F(VekinfoTest, emptyTextsOfTheHeadPrintNoLine) {
  Head head;
  head.more = join({textChunk("WAPP", {""}), textChunk("SFIL", {"scene"}), int64Chunk("DATE", 0)});
  EXPECT_THAT(infoOf(headImage(head)),
              StartsWith("VEK file version 2\nsource file: scene\nnumber of time samples: 0\n"));
  head.more = textChunk("WAPP", {"app"});
  EXPECT_THAT(infoOf(headImage(head)),
              StartsWith("VEK file version 2\napplication: app\nnumber of time samples: 0\n"));
}

TEST_F(VekinfoTest, dateStampIsALocalTime) {
  const TimeZone west("WST5");
  Head head;
  head.more = int64Chunk("DATE", 3600);
  EXPECT_THAT(infoOf(headImage(head)),
              HasSubstr("\ndate stamp: Wed Dec 31 20:00:00 1969\nnumber of time samples: 0\n"));
}

TEST_F(VekinfoTest, negativeDateStampIsPrinted) {
  const TimeZone utc("UTC");
  Head head;
  head.more = int64Chunk("DATE", -1);
  EXPECT_THAT(infoOf(headImage(head)),
              HasSubstr("\ndate stamp: Wed Dec 31 23:59:59 1969\nnumber of time samples: 0\n"));
}

TEST_F(VekinfoTest, dateStampOutsideTheCalendarIsHarmless) {
  for (const std::int64_t date :
       {std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min(),
        std::int64_t{1} << 50}) {
    Head head;
    head.more = int64Chunk("DATE", date);
    EXPECT_THAT(infoOf(headImage(head)), HasSubstr("\nnumber of time samples: 0\nstatic file\n"));
  }
}

TEST_F(VekinfoTest, samplingRates) {
  const std::vector<std::pair<float, std::string>> rates = {{1.0F, "1 sample per frame"},
                                                            {2.0F, "2 samples per frame"},
                                                            {24.0F, "24 samples per frame"},
                                                            {0.5F, "0.5 samples per frame"},
                                                            {29.97F, "29.97 samples per frame"}};
  for (const auto& [rate, text] : rates) {
    Head head;
    head.numSamples = 1;
    head.rate = rate;
    ByteImage image = headImage(head);
    addStream(image, emptySamples(1));
    EXPECT_THAT(infoOf(image),
                HasSubstr("\nlast frame: 0\nsampling rate: " + text + "\nspace: object\n"));
  }
}

TEST_F(VekinfoTest, rateZeroIsNonuniform) {
  Head head;
  head.numSamples = 3;
  head.firstTime = -1.0F;
  head.lastTime = 2.25F;
  head.rate = 0.0F;
  ByteImage image = headImage(head);
  addStream(image, emptySamples(3, 0, {-1.0F, 0.0F, 2.25F}));
  EXPECT_THAT(infoOf(image), HasSubstr("number of time samples: 3\nfirst frame: -1\n"
                                       "last frame: 2.25\nsampling rate: nonuniform\nspace: "));
}

TEST_F(VekinfoTest, rateOfAStaticFileIsNotPrinted) {
  Head head;
  head.rate = 0.0F;
  head.firstTime = 1.0F;
  EXPECT_THAT(infoOf(headImage(head)),
              HasSubstr("number of time samples: 0\nstatic file\nspace: object\n"));
}

TEST_F(VekinfoTest, spaces) {
  const std::vector<std::pair<std::int64_t, std::string>> spaces = {
      {0, "world"}, {1, "object"}, {2, "unknown (2)"}, {-1, "unknown (-1)"}, {99, "unknown (99)"}};
  for (const auto& [space, text] : spaces) {
    Head head;
    head.space = space;
    EXPECT_THAT(infoOf(headImage(head)), HasSubstr("\nspace: " + text + "\n\nnumber of objects"));
  }
}

// --- Objects and their index --------------------------------------------------------------------

TEST_F(VekinfoTest, objectsWithoutAKindPrintTheirNamesOnly) {
  Head head;
  head.definitions = {definition("|a|b"), definition(""), group("DOBJ", {})};
  EXPECT_THAT(infoOf(headImage(head)), EndsWith("\nnumber of objects: 3\n"
                                                "object[0] name: |a|b\n"
                                                "object[1] name: \n"
                                                "object[2] name: \n"));
}

TEST_F(VekinfoTest, indexOfTwelveObjectsTakesTwoColumns) {
  Head head;
  head.definitions.assign(12, definition("|x"));
  const std::string text = infoOf(headImage(head));
  EXPECT_THAT(text, HasSubstr("\nobject[ 3] name: |x\n"));
  EXPECT_THAT(text, HasSubstr("\nobject[11] name: |x\n"));
}

TEST_F(VekinfoTest, indexWidthFollowsTheNumberOfObjects) {
  // From 10000 objects on the width is 6: there is no width 5.
  const std::vector<std::pair<std::size_t, std::size_t>> widths = {
      {1, 1}, {9, 1}, {10, 2}, {99, 2}, {100, 3}, {999, 3}, {1000, 4}, {9999, 4}, {10000, 6}};
  for (const auto& [count, width] : widths) {
    Head head;
    head.definitions.assign(count, definition("|x"));
    std::string expected = "\nnumber of objects: " + std::to_string(count) + "\n";
    for (std::size_t i = 0; i < count; ++i) {
      const std::string digits = std::to_string(i);
      expected += "object[" + std::string(width - digits.size(), ' ') + digits + "] name: |x\n";
    }
    EXPECT_TRUE(::testing::Value(infoOf(headImage(head)), EndsWith(expected))) << count;
  }
}

TEST_F(VekinfoTest, namesAreNoFormats) {
  Head head;
  head.more = textChunk("WAPP", {"%s%n"});
  head.definitions = {definition("|%s%n%d", fixedAttribute(leaf("ATTR", 2, strings({"%s%n"}))))};
  const std::string text = infoOf(headImage(head));
  EXPECT_THAT(text, HasSubstr("\napplication: %s%n\n"));
  EXPECT_THAT(text, HasSubstr("\nobject[0] name: |%s%n%d\n"));
  EXPECT_THAT(text, EndsWith("TYPE: 't' ATTR: cstr '%s%n'\n"));
}

// --- Transforms ---------------------------------------------------------------------------------

const char* const kSixteen = " [1,2,3,4] [5,6,7,8] [9,10,11,12] [13,14,15,16]";

// ": animated " and ": static " end with a blank, and the type name brings another.
TEST_F(VekinfoTest, animatedMatrix) {
  const ByteImage matrix = leaf("MTRX", 4, floats(counting(16)), 4, 16);
  EXPECT_EQ(objectText({}, matrix),
            std::string("  MTRX: animated  float transform 4x4") + kSixteen + ", ...\n");
}

TEST_F(VekinfoTest, staticMatrix) {
  const ByteImage matrix = leaf("MTRX", 4, floats(counting(16)), 4, 16);
  const std::string expected = std::string("  MTRX: static  float transform 4x4") + kSixteen + "\n";
  EXPECT_EQ(objectText(matrix), expected);
  EXPECT_EQ(staticObjectText(matrix), expected);
}

TEST_F(VekinfoTest, matrixOfTheDefinitionWins) {
  EXPECT_EQ(objectText(leaf("MTRX", 4, floats({1, 2, 3, 4})), leaf("MTRX", 4, floats({5}))),
            "  MTRX: static  float [1,2,3,4]\n");
}

TEST_F(VekinfoTest, matrixOfDoubles) {
  EXPECT_EQ(objectText({}, leaf("MTRX", 6, doubles({0.1, -2.0, 1e10, 1e-7}), 4, 16)),
            "  MTRX: animated  double transform 4x4 [0.1,-2,1e+10,1e-07], ...\n");
}

TEST_F(VekinfoTest, matrixKindAndDimensionOfZeroAreLeftOut) {
  EXPECT_EQ(objectText({}, leaf("MTRX", 4, floats({1}), 4, 0)),
            "  MTRX: animated  float transform [1], ...\n");
  EXPECT_EQ(objectText({}, leaf("MTRX", 4, floats({1}), 0, 16)),
            "  MTRX: animated  float 4x4 [1], ...\n");
  EXPECT_EQ(objectText(leaf("MTRX", 4, floats({1}))), "  MTRX: static  float [1]\n");
}

TEST_F(VekinfoTest, matrixRowsHoldFourValues) {
  const std::vector<std::pair<int, std::string>> rows = {
      {1, " [1]"},
      {3, " [1,2,3]"},
      {4, " [1,2,3,4]"},
      {5, " [1,2,3,4] [5]"},
      {8, " [1,2,3,4] [5,6,7,8]"},
      {15, " [1,2,3,4] [5,6,7,8] [9,10,11,12] [13,14,15]"},
      {16, kSixteen},
      {17, std::string(kSixteen) + " [17]"}};
  for (const auto& [count, text] : rows) {
    EXPECT_EQ(objectText({}, leaf("MTRX", 4, floats(counting(count)))),
              "  MTRX: animated  float" + text + ", ...\n");
    const std::vector<float> values = counting(count);
    EXPECT_EQ(objectText(leaf("MTRX", 6, doubles({values.begin(), values.end()}))),
              "  MTRX: static  double" + text + "\n");
  }
}

TEST_F(VekinfoTest, matrixWithoutValuesHasNoRows) {
  EXPECT_EQ(objectText({}, ByteImage().header("MTRX", 4, 0)), "  MTRX: animated  float, ...\n");
  EXPECT_EQ(objectText(ByteImage().header("MTRX", 6, 0)), "  MTRX: static  double\n");
}

TEST_F(VekinfoTest, matrixOfAnotherTypePrintsNoValues) {
  EXPECT_EQ(objectText({}, leaf("MTRX", 3, ints({1, 2, 3, 4}), 4, 16)),
            "  MTRX: animated  int32 transform 4x4, ...\n");
  EXPECT_EQ(objectText(leaf("MTRX", 2, strings({"x"}))), "  MTRX: static  cstr\n");
  EXPECT_EQ(objectText(group("MTRX", floatChunk("POSI", {1.0F}))), "  MTRX: static  group\n");
  // The type of raw bytes is 0 and not named.
  EXPECT_EQ(objectText(leaf("MTRX", 0, ByteImage().zeros(8), 4, 0)), "  MTRX: static  transform\n");
}

TEST_F(VekinfoTest, matrixValuesHaveSixDigits) {
  EXPECT_EQ(objectText(leaf("MTRX", 6, doubles({1.0 / 3, 123456789.0, 0.00001, -0.0}))),
            "  MTRX: static  double [0.333333,1.23457e+08,1e-05,-0]\n");
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(objectText(leaf("MTRX", 6, doubles({infinity, -infinity, 1e300, 100000.0}))),
            "  MTRX: static  double [inf,-inf,1e+300,100000]\n");
  EXPECT_EQ(objectText(leaf("MTRX", 4, floats({0.1F, 1e6F, 999999.0F, kNaN}))),
            "  MTRX: static  float [0.1,1e+06,999999,nan]\n");
}

TEST_F(VekinfoTest, matrixIsThatOfTheFirstSample) {
  Head head;
  head.numSamples = 2;
  head.firstTime = 3.0F;
  head.lastTime = 4.0F;
  head.definitions = {definition("|o")};
  ByteImage image = headImage(head);
  addStream(image, {{}, {{leaf("MTRX", 4, floats({1}))}, {leaf("MTRX", 4, floats({2}))}}});
  EXPECT_THAT(infoOf(image), EndsWith("name: |o\n  MTRX: animated  float [1], ...\n"));
}

TEST_F(VekinfoTest, transformHasNoVertices) {
  const ByteImage points = leaf("POSI", 4, floats(counting(6)), 1, 3);
  EXPECT_EQ(objectText({}, join({leaf("MTRX", 4, floats({1})), points})),
            "  MTRX: animated  float [1], ...\n");
}

// --- Meshes -------------------------------------------------------------------------------------

ByteImage mark(const char* tag) {
  return leaf(tag, 3, ints({1}));
}

TEST_F(VekinfoTest, meshInTheDefinition) {
  EXPECT_EQ(objectText(join({mark("MESH"), leaf("MSPT", 3, ints({1}))})),
            "  MESH: mesh topology, MSPT: poly\n");
}

TEST_F(VekinfoTest, meshInTheSampleIsAnimated) {
  EXPECT_EQ(objectText({}, join({mark("MESH"), leaf("MSPT", 3, ints({1}))})),
            "  MESH: animated (varying) mesh topology, MSPT: poly\n");
}

TEST_F(VekinfoTest, meshInBothIsStatic) {
  EXPECT_EQ(objectText(mark("MESH"), mark("MESH")), "  MESH: mesh topology, MSPT: subd\n");
}

TEST_F(VekinfoTest, meshTypeIsPolyWhenItsFirstIntegerIsNotZero) {
  const std::vector<std::pair<std::vector<int>, std::string>> flags = {
      {{1}, "poly"}, {{2}, "poly"},    {{-1}, "poly"},
      {{0}, "subd"}, {{0, 1}, "subd"}, {{1, 0}, "poly"}};
  for (const auto& [values, type] : flags) {
    const ByteImage flag = leaf("MSPT", 3, ints(values));
    const std::string expected = "  MESH: mesh topology, MSPT: " + type + "\n";
    EXPECT_EQ(objectText(join({mark("MESH"), flag})), expected);
    EXPECT_EQ(objectText(mark("MESH"), flag), expected);
    EXPECT_EQ(staticObjectText(join({mark("MESH"), flag})), expected);
  }
}

TEST_F(VekinfoTest, meshWithoutAFirstIntegerIsSubd) {
  const std::string expected = "  MESH: mesh topology, MSPT: subd\n";
  EXPECT_EQ(objectText(mark("MESH")), expected);
  EXPECT_EQ(objectText(join({mark("MESH"), ByteImage().header("MSPT", 3, 0)})), expected);
  EXPECT_EQ(objectText(join({mark("MESH"), leaf("MSPT", 4, floats({1}))})), expected);
  EXPECT_EQ(objectText(join({mark("MESH"), leaf("MSPT", 2, strings({"poly"}))})), expected);
  EXPECT_EQ(objectText(join({mark("MESH"), group("MSPT", mark("MSPU"))})), expected);
}

TEST_F(VekinfoTest, meshWithAnimatedVertices) {
  const ByteImage points = leaf("POSI", 4, floats(counting(30)), 1, 3);
  EXPECT_EQ(objectText(mark("MESH"), points),
            "  MESH: mesh topology, MSPT: subd with 10 animated vertices\n");
}

TEST_F(VekinfoTest, meshWithStaticVertices) {
  const ByteImage points = leaf("POSI", 6, doubles({1, 2, 3, 4, 5, 6}), 1, 3);
  const std::string expected = "  MESH: mesh topology, MSPT: subd with 2 static vertices\n";
  EXPECT_EQ(objectText(join({mark("MESH"), points})), expected);
  EXPECT_EQ(staticObjectText(join({mark("MESH"), points})), expected);
}

TEST_F(VekinfoTest, animatedMeshMayHaveStaticVertices) {
  const ByteImage points = leaf("POSI", 4, floats(counting(3)), 1, 3);
  EXPECT_EQ(objectText(points, join({mark("MESH"), points})),
            "  MESH: animated (varying) mesh topology, MSPT: subd with 1 static vertices\n");
}

TEST_F(VekinfoTest, emptyPointsAreNoVertices) {
  EXPECT_EQ(objectText(mark("MESH"), ByteImage().header("POSI", 4, 0, 1, 3)),
            "  MESH: mesh topology, MSPT: subd with 0 animated vertices\n");
}

// --- Locators and coordinate systems ------------------------------------------------------------

TEST_F(VekinfoTest, locators) {
  EXPECT_EQ(objectText(mark("ELOC")), "  ELOC: locator\n");
  EXPECT_EQ(objectText({}, mark("ELOC")), "  ELOC: animated locator\n");
  EXPECT_EQ(staticObjectText(mark("ELOC")), "  ELOC: locator\n");
}

TEST_F(VekinfoTest, coordinateSystems) {
  EXPECT_EQ(objectText(mark("LXCS")), "  LXCS: lxCoordSystem\n");
  EXPECT_EQ(objectText({}, mark("LXCS")), "  LXCS: animated lxCoordSystem\n");
  EXPECT_EQ(staticObjectText(mark("LXCS")), "  LXCS: lxCoordSystem\n");
}

TEST_F(VekinfoTest, locatorsAndCoordinateSystemsHaveNoVertices) {
  const ByteImage points = leaf("POSI", 4, floats(counting(3)), 1, 3);
  EXPECT_EQ(objectText(join({mark("ELOC"), points})), "  ELOC: locator\n");
  EXPECT_EQ(objectText({}, join({mark("LXCS"), points})), "  LXCS: animated lxCoordSystem\n");
}

// --- NURBS --------------------------------------------------------------------------------------

// A static curve or surface has two blanks after its tag.
TEST_F(VekinfoTest, curves) {
  EXPECT_EQ(objectText(mark("NRBC")), "  NRBC:  nurbs curve topology\n");
  EXPECT_EQ(objectText({}, mark("NRBC")), "  NRBC: animated (varying) nurbs curve topology\n");
  EXPECT_EQ(staticObjectText(mark("NRBC")), "  NRBC:  nurbs curve topology\n");
}

TEST_F(VekinfoTest, staticSurface) {
  EXPECT_EQ(objectText(mark("NRBS")), "  NRBS:  nurbs surface topology\n");
  EXPECT_EQ(staticObjectText(mark("NRBS")), "  NRBS:  nurbs surface topology\n");
}

// The test asks for the tag of a curve, which a surface does not have.
TEST_F(VekinfoTest, surfaceInTheSampleIsNotCalledAnimated) {
  EXPECT_EQ(objectText({}, mark("NRBS")), "  NRBS:  nurbs surface topology\n");
}

TEST_F(VekinfoTest, curvesAndSurfacesHaveVertices) {
  const ByteImage points = leaf("POSI", 4, floats(counting(8)), 1, 4);
  EXPECT_EQ(objectText({}, join({mark("NRBC"), points})),
            "  NRBC: animated (varying) nurbs curve topology with 2 animated vertices\n");
  EXPECT_EQ(objectText(join({mark("NRBC"), points})),
            "  NRBC:  nurbs curve topology with 2 static vertices\n");
  EXPECT_EQ(objectText(mark("NRBS"), points),
            "  NRBS:  nurbs surface topology with 2 animated vertices\n");
  EXPECT_EQ(staticObjectText(join({mark("NRBS"), points})),
            "  NRBS:  nurbs surface topology with 2 static vertices\n");
}

// --- The kind -----------------------------------------------------------------------------------

TEST_F(VekinfoTest, firstKindInOrderIsPrinted) {
  std::vector<ByteImage> marks = {leaf("MTRX", 4, floats({1})),
                                  mark("MESH"),
                                  mark("ELOC"),
                                  mark("LXCS"),
                                  mark("NRBC"),
                                  mark("NRBS")};
  const std::vector<std::string> lines = {"  MTRX: static  float [1]\n",
                                          "  MESH: mesh topology, MSPT: subd\n",
                                          "  ELOC: locator\n",
                                          "  LXCS: lxCoordSystem\n",
                                          "  NRBC:  nurbs curve topology\n",
                                          "  NRBS:  nurbs surface topology\n"};
  for (const std::string& line : lines) {
    // In the file the later kinds stand first.
    EXPECT_EQ(objectText(join({marks.rbegin(), marks.rend()})), line);
    marks.erase(marks.begin());
  }
  EXPECT_EQ(objectText({}), "");
}

TEST_F(VekinfoTest, kindOfTheSampleComesBeforeALaterKindOfTheDefinition) {
  EXPECT_EQ(objectText(mark("NRBS"), mark("NRBC")),
            "  NRBC: animated (varying) nurbs curve topology\n");
  EXPECT_EQ(objectText(mark("MESH"), leaf("MTRX", 4, floats({1}))),
            "  MTRX: animated  float [1], ...\n");
}

TEST_F(VekinfoTest, otherTagsAreNoKind) {
  EXPECT_EQ(objectText(join({mark("XFRM"), leaf("POSI", 4, floats(counting(3)), 1, 3)})), "");
}

// --- Attributes ---------------------------------------------------------------------------------

TEST_F(VekinfoTest, animatedAttributesComeBeforeStaticOnes) {
  const ByteImage fixed =
      attributes({{"a", "ta"}, {"b", "tb"}}, {{"s", "ts"}}, leaf("ATTR", 3, ints({7}), 0, 1));
  const ByteImage sample = group("ATRS", join({leaf("ATTR", 4, floats({0.5F}), 0, 1),
                                               leaf("ATTR", 6, doubles({0.25, 4}), 0, 1)}));
  EXPECT_EQ(objectText(fixed, sample),
            "  number of attributes: 3\n"
            "    attribute[0] NAME: 'a' TYPE: 'ta' ATTR: animated float scalar 0.5\n"
            "    attribute[1] NAME: 'b' TYPE: 'tb' ATTR: animated double scalar 0.25, 4\n"
            "    attribute[2] NAME: 's' TYPE: 'ts' ATTR: int32 scalar 7\n");
}

TEST_F(VekinfoTest, attributesFollowTheKind) {
  EXPECT_EQ(objectText(join({fixedAttribute(leaf("ATTR", 3, ints({7}))), mark("ELOC")})),
            "  ELOC: locator\n"
            "  number of attributes: 1\n"
            "    attribute[0] NAME: 'n' TYPE: 't' ATTR: int32 7\n");
}

TEST_F(VekinfoTest, emptyAttributeDefinitionsPrintNothing) {
  EXPECT_EQ(objectText(attributes({}, {}, {})), "");
}

TEST_F(VekinfoTest, attributeValues) {
  const std::int64_t least = std::numeric_limits<std::int64_t>::min();
  const std::int64_t most = std::numeric_limits<std::int64_t>::max();
  const std::vector<std::pair<ByteImage, std::string>> values = {
      {leaf("ATTR", 2, strings({"one"})), " ATTR: cstr 'one'"},
      {leaf("ATTR", 2, strings({"a", "", "c d", "'"})), " ATTR: cstr 'a' '' 'c d' '''"},
      {leaf("ATTR", 2, {}), " ATTR: cstr"},
      {leaf("ATTR", 3, ints({5})), " ATTR: int32 5"},
      {leaf("ATTR", 3, ints({3, -4, 2147483647})), " ATTR: int32 3, -4, 2147483647"},
      {leaf("ATTR", 3, {}), " ATTR: int32"},
      {leaf("ATTR", 5, ByteImage().int64(1)), " ATTR: int64 1"},
      {leaf("ATTR", 5, ByteImage().int64(most).int64(least)),
       " ATTR: int64 9223372036854775807, -9223372036854775808"},
      {leaf("ATTR", 4, floats({0.1F})), " ATTR: float 0.1"},
      {leaf("ATTR", 4, floats({0.1F, 1e7F, -2})), " ATTR: float 0.1, 1e+07, -2"},
      {leaf("ATTR", 4, {}), " ATTR: float"},
      {leaf("ATTR", 6, doubles({1.0 / 3, 1e-9})), " ATTR: double 0.333333, 1e-09"}};
  for (const auto& [value, text] : values) EXPECT_EQ(description(value), text);
}

TEST_F(VekinfoTest, attributeKindAndDimensionAreNamedWhenNotZero) {
  EXPECT_EQ(description(leaf("ATTR", 4, floats({1, 2}), 5, 2)), " ATTR: float color 2d 1, 2");
  EXPECT_EQ(description(leaf("ATTR", 4, floats({1}), 6, 0)), " ATTR: float compound 1");
  EXPECT_EQ(description(leaf("ATTR", 3, ints({1}), 0, 1)), " ATTR: int32 scalar 1");
  EXPECT_EQ(description(leaf("ATTR", 2, strings({"x"}), 3, 16)), " ATTR: cstr normal 4x4 'x'");
}

TEST_F(VekinfoTest, kindAndDimensionWithoutANamePrintAnEmptyWord) {
  EXPECT_EQ(description(leaf("ATTR", 4, floats({1}), 0, 5)), " ATTR: float  1");
  EXPECT_EQ(description(leaf("ATTR", 4, floats({1}), 7, 17)), " ATTR: float   1");
  EXPECT_EQ(description(leaf("ATTR", 4, floats({1}), 255, 255)), " ATTR: float   1");
}

TEST_F(VekinfoTest, valuesOfThreeOrFourComponentsPrintTheirSize) {
  const std::vector<std::pair<int, std::string>> threes = {{1, " 1"},       {2, " size= 0"},
                                                           {3, " size= 1"}, {5, " size= 1"},
                                                           {6, " size= 2"}, {30, " size= 10"}};
  for (const auto& [count, text] : threes) {
    const std::vector<float> values = counting(count);
    EXPECT_EQ(description(leaf("ATTR", 4, floats(values), 0, 3)), " ATTR: float 3d" + text);
    EXPECT_EQ(description(leaf("ATTR", 6, doubles({values.begin(), values.end()}), 5, 3)),
              " ATTR: double color 3d" + text);
  }
  EXPECT_EQ(description(leaf("ATTR", 4, floats(counting(12)), 0, 4)), " ATTR: float 4d size= 3");
  EXPECT_EQ(description(leaf("ATTR", 6, doubles({1, 2, 3, 4}), 0, 4)), " ATTR: double 4d size= 1");
  EXPECT_EQ(description(leaf("ATTR", 4, {}, 0, 3)), " ATTR: float 3d");
}

TEST_F(VekinfoTest, onlyThreeAndFourComponentsPrintTheirSize) {
  EXPECT_EQ(description(leaf("ATTR", 4, floats({1, 2}), 0, 1)), " ATTR: float scalar 1, 2");
  EXPECT_EQ(description(leaf("ATTR", 4, floats({1, 2}), 0, 2)), " ATTR: float 2d 1, 2");
  EXPECT_EQ(description(leaf("ATTR", 4, floats({1, 2}), 0, 5)), " ATTR: float  1, 2");
  EXPECT_EQ(description(leaf("ATTR", 4, floats({1, 2}), 0, 9)), " ATTR: float 3x3 1, 2");
  EXPECT_EQ(description(leaf("ATTR", 6, doubles({1, 2}), 0, 16)), " ATTR: double 4x4 1, 2");
  EXPECT_EQ(description(leaf("ATTR", 4, floats({1, 2}))), " ATTR: float 1, 2");
}

TEST_F(VekinfoTest, integersOfThreeComponentsPrintTheirValues) {
  EXPECT_EQ(description(leaf("ATTR", 3, ints({1, 2, 3}), 0, 3)), " ATTR: int32 3d 1, 2, 3");
  EXPECT_EQ(description(leaf("ATTR", 5, ByteImage().int64(1).int64(2), 0, 4)),
            " ATTR: int64 4d 1, 2");
}

TEST_F(VekinfoTest, otherAttributeChunksPrintNoValues) {
  EXPECT_EQ(description(leaf("ATTR", 0, ByteImage().raw("abc"))), " ATTR:");
  EXPECT_EQ(description(leaf("ATTR", 0, ByteImage().raw("abc"), 1, 3)), " ATTR: point 3d");
  EXPECT_EQ(description(group("ATTR", floatChunk("POSI", {1}))), " ATTR: group");
  EXPECT_EQ(description(leaf("ATTR", 9, ByteImage().zeros(4))), " ATTR: ");
}

TEST_F(VekinfoTest, attributeShowsTheTagOfItsChunk) {
  EXPECT_EQ(description(leaf("ABCD", 3, ints({1}))), " ABCD: int32 1");
  const ByteImage sample = group("ATRS", leaf("WXYZ", 3, ints({1})));
  EXPECT_EQ(objectText(attributes({{"n", "t"}}, {}, {}), sample),
            "  number of attributes: 1\n"
            "    attribute[0] NAME: 'n' TYPE: 't' WXYZ: animated int32 1\n");
}

TEST_F(VekinfoTest, attributeNamesAreInQuotes) {
  const ByteImage fixed =
      attributes({}, {{"it's", ""}, {"", "a b"}}, join({leaf("ATTR", 3, {}), leaf("ATTR", 3, {})}));
  EXPECT_EQ(objectText(fixed),
            "  number of attributes: 2\n"
            "    attribute[0] NAME: 'it's' TYPE: '' ATTR: int32\n"
            "    attribute[1] NAME: '' TYPE: 'a b' ATTR: int32\n");
}

TEST_F(VekinfoTest, attributeIndexHasNoWidth) {
  Names names;
  ByteImage values;
  std::string expected = "  number of attributes: 11\n";
  for (int i = 0; i < 11; ++i) {
    names.emplace_back("n", "t");
    values.raw(leaf("ATTR", 3, ints({i})));
    const std::string index = std::to_string(i);
    expected += "    attribute[" + index + "] NAME: 'n' TYPE: 't' ATTR: int32 " + index + "\n";
  }
  EXPECT_EQ(objectText(attributes({}, names, values)), expected);
}

TEST_F(VekinfoTest, attributeWithoutValuesAtTheFirstSampleHasNoDescription) {
  const ByteImage image =
      oneObject(attributes({{"a", "t"}}, {{"s", "t"}}, leaf("ATTR", 3, ints({1}))), {});
  const ToolRun r = run(writeFile(image).c_str());
  EXPECT_EQ(r.result, 0);
  EXPECT_THAT(r.output, EndsWith("  number of attributes: 2\n"
                                 "    attribute[0] NAME: 'a' TYPE: 't'\n"
                                 "    attribute[1] NAME: 's' TYPE: 't' ATTR: int32 1\n"));
  EXPECT_EQ(r.errors, "ATRS GROUP chunk missing for object at 0\n");
}

TEST_F(VekinfoTest, animatedAttributesOfAStaticFileHaveNoDescription) {
  Head head;
  head.definitions = {definition("|o", attributes({{"a", "t"}}, {}, {}))};
  const ToolRun r = run(writeFile(headImage(head)).c_str());
  EXPECT_EQ(r.result, 0);
  EXPECT_THAT(r.output,
              EndsWith("  number of attributes: 1\n    attribute[0] NAME: 'a' TYPE: 't'\n"));
}

TEST_F(VekinfoTest, staticAttributeWithoutAChunkHasNoDescription) {
  EXPECT_EQ(staticObjectText(attributes({}, {{"a", "t"}, {"b", "t"}}, leaf("ATTR", 3, ints({1})))),
            "  number of attributes: 2\n"
            "    attribute[0] NAME: 'a' TYPE: 't' ATTR: int32 1\n"
            "    attribute[1] NAME: 'b' TYPE: 't'\n");
}

TEST_F(VekinfoTest, attributesWithoutATypeListHaveAnEmptyType) {
  const ByteImage fixed = group("DATR", group("AATR", textChunk("NAME", {"a"})));
  const ByteImage sample = group("ATRS", leaf("ATTR", 3, ints({1})));
  EXPECT_EQ(objectText(fixed, sample),
            "  number of attributes: 1\n"
            "    attribute[0] NAME: 'a' TYPE: '' ATTR: animated int32 1\n");
}

// --- Failures -----------------------------------------------------------------------------------

TEST_F(VekinfoTest, missingFileIsReported) {
  const std::string file = path("missing.vek");
  const ToolRun r = run(file.c_str());
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(messageOf(r.errors), file + ": could not open file");
  // The cache reports in its own way why it could not load the file.
  EXPECT_EQ(reportedMessage(r.output, "VekCache:", " "), "error opening file, Not a Vek file");
}

TEST_F(VekinfoTest, fileThatDoesNotLoadIsReported) {
  const std::vector<std::pair<ByteImage, std::string>> files = {
      {ByteImage(), "error opening file, Not a Vek file"},
      {ByteImage().raw("something else entirely, and long enough"),
       "error opening file, Not a Vek file"},
      {int64Chunk("DVEK", 2), "missing META chunk"}};
  for (const auto& [image, reason] : files) {
    const std::string file = writeFile(image);
    const ToolRun r = run(file.c_str());
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(messageOf(r.errors), file + ": could not open file");
    EXPECT_EQ(reportedMessage(r.output, "VekCache:", " "), reason);
  }
}

TEST_F(VekinfoTest, folderIsReported) {
  const std::string folder = std::filesystem::path(path()).parent_path().string();
  const ToolRun r = run(folder.c_str());
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(messageOf(r.errors), folder + ": could not open file");
}

TEST_F(VekinfoTest, nullNameIsAFailure) {
  const ToolRun r = run(nullptr);
  EXPECT_EQ(r.result, -1);
  EXPECT_THAT(messageOf(r.errors), EndsWith(": could not open file"));
}

TEST_F(VekinfoTest, streamIsLeftAsItWas) {
  Head head;
  head.numSamples = 1;
  head.firstTime = 0.1F;
  head.lastTime = 0.1F;
  head.more = int64Chunk("DATE", 5);
  head.definitions.assign(12, definition("|o", fixedAttribute(leaf("ATTR", 6, doubles({1})))));
  ByteImage image = headImage(head);
  addStream(image, {{}, {{12, leaf("MTRX", 6, doubles({1, 2, 3, 4}), 4, 16)}}});
  const std::string file = writeFile(image);

  std::ios own(nullptr);
  own.copyfmt(std::cout);
  const std::string plain = run(file.c_str()).output;
  EXPECT_EQ(std::cout.flags(), own.flags());
  EXPECT_EQ(std::cout.precision(), own.precision());
  EXPECT_EQ(std::cout.width(), own.width());
  EXPECT_EQ(std::cout.fill(), own.fill());

  std::cout.flags(std::ios::hex | std::ios::showbase | std::ios::left | std::ios::scientific);
  std::cout.precision(2);
  std::cout.fill('*');
  const std::ios::fmtflags flags = std::cout.flags();
  const ToolRun r = run(file.c_str());
  EXPECT_EQ(std::cout.flags(), flags);
  EXPECT_EQ(std::cout.precision(), 2);
  EXPECT_EQ(std::cout.width(), 0);
  EXPECT_EQ(std::cout.fill(), '*');
  std::cout.copyfmt(own);
  // Nor does the text depend on it.
  EXPECT_EQ(r.output, plain);
  EXPECT_THAT(plain, HasSubstr("\nfirst frame: 0.1\n"));
}

TEST_F(VekinfoTest, streamIsLeftAsItWasAfterAFailure) {
  std::ios own(nullptr);
  own.copyfmt(std::cout);
  std::cout.flags(std::ios::hex | std::ios::showbase);
  std::cout.precision(3);
  const std::ios::fmtflags flags = std::cout.flags();
  run(path("missing.vek").c_str());
  EXPECT_EQ(std::cout.flags(), flags);
  EXPECT_EQ(std::cout.precision(), 3);
  std::cout.copyfmt(own);
}

TEST_F(VekinfoTest, nothingStaysOpen) {
  const std::string file = writeFile(oneObject({}, mark("MESH")));
  const auto before = numOpenFiles();
  run(file.c_str());
  run(path("missing.vek").c_str());
  EXPECT_EQ(numOpenFiles(), before);
}

TEST_F(VekinfoTest, fileIsNotChanged) {
  const ByteImage image = oneObject({}, mark("MESH"));
  const std::string file = writeFile(image);
  run(file.c_str());
  EXPECT_EQ(readFile(file), image.bytes());
}

TEST_F(VekinfoTest, namesOfTheNamespaceAreTheSameFunction) {
  EXPECT_EQ(&Vek::vekinfo, &::vekinfo);
}

// --- Damaged files ------------------------------------------------------------------------------

TEST_F(VekinfoTest, objectWhoseFirstSampleIsDamagedHasNoKind) {
  const ByteImage fixed = fixedAttribute(leaf("ATTR", 3, ints({1})));
  const std::string whole = oneObject(fixed, leaf("MESH", 4, floats({1, 2}))).bytes();
  const std::size_t mesh = whole.rfind("MESH");
  ASSERT_NE(mesh, std::string::npos);
  // A float leaf of 7 bytes cannot be.
  const std::string bytes = patched(whole, static_cast<std::int64_t>(mesh) + 8, std::int64_t{7});
  const ToolRun r = run(writeFile(bytes).c_str());
  EXPECT_EQ(r.result, 0);
  EXPECT_THAT(r.output, EndsWith("object[0] name: |o\n"
                                 "  number of attributes: 1\n"
                                 "    attribute[0] NAME: 'n' TYPE: 't' ATTR: int32 1\n"));
}

/// A file with something of everything.
ByteImage fileOfEverything() {
  Head head;
  head.numSamples = 2;
  head.firstTime = 1.0F;
  head.lastTime = 2.0F;
  head.more = join({textChunk("WAPP", {"w"}), int64Chunk("DATE", 1)});
  const ByteImage points = leaf("POSI", 4, floats(counting(6)), 1, 3);
  const ByteImage fixed =
      attributes({{"a", "t"}}, {{"s", "t"}, {"v", "t"}},
                 join({leaf("ATTR", 2, strings({"x"})), leaf("ATTR", 6, doubles({1}), 0, 3)}));
  head.definitions = {definition("|m", join({fixed, mark("MESH"), mark("MSPT")})), definition("|x"),
                      definition("|c", mark("NRBC"))};
  ByteImage image = headImage(head);
  const std::vector<ByteImage> objects = {
      join({points, group("ATRS", leaf("ATTR", 4, floats({1}), 0, 1))}),
      leaf("MTRX", 6, doubles({1, 2, 3, 4, 5}), 4, 16), points};
  addStream(image, {{}, {objects, objects}});
  return image;
}

TEST_F(VekinfoTest, truncatedFilesAreHarmless) {
  const std::string whole = fileOfEverything().bytes();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const ToolRun r = run(writeFile(whole.substr(0, size)).c_str());
    EXPECT_TRUE(r.result == 0 || r.result == -1) << size;
    const char* const front = r.result == 0 ? "VEK file version 2\n" : "";
    EXPECT_THAT(r.output, StartsWith(front)) << size;
  }
}

TEST_F(VekinfoTest, filesWithAFlippedByteAreHarmless) {
  const std::string whole = fileOfEverything().bytes();
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (const int mask : {0x01, 0x80, 0xFF}) {
      std::string bytes = whole;
      bytes[at] = static_cast<char>(static_cast<unsigned char>(bytes[at]) ^ mask);
      const ToolRun r = run(writeFile(bytes).c_str());
      EXPECT_TRUE(r.result == 0 || r.result == -1) << at;
    }
  }
}

}  // namespace
