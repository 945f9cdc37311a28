// SPDX-License-Identifier: Apache-2.0
//
// Recorded scenes and their answers: every question of every scene is asked again, with the file
// kept open and not, with few and many samples in memory, and of copies that were saved again.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "ByteImage.h"
#include "EvalQuery.h"
#include "EvalReplay.h"
#include "GoldenScenes.h"
#include "VekCache.h"

namespace {

using namespace VekTest;

enum class Copy {
  None,          ///< the recorded file
  SavedAs,       ///< a copy that the read-write cache saved under another name
  SavedInPlace,  ///< a copy that the read-write cache wrote anew over itself
  Unsaved        ///< the recorded file, asked through a read-write cache
};

struct SetUpCase {
  const char* name;
  Copy copy;
  bool keepOpen;
  int maxSamples;
};

std::ostream& operator<<(std::ostream& os, const SetUpCase& setUp) {
  return os << setUp.name;
}

const SetUpCase setUpCases[] = {
    {"openAll", Copy::None, true, 0},
    {"openOneSample", Copy::None, true, 1},
    {"openTwoSamples", Copy::None, true, 2},
    {"closedAll", Copy::None, false, 0},
    {"closedOneSample", Copy::None, false, 1},
    {"closedTwoSamples", Copy::None, false, 2},
    {"savedAs", Copy::SavedAs, true, 0},
    {"savedAsOneSample", Copy::SavedAs, false, 1},
    {"savedInPlace", Copy::SavedInPlace, true, 2},
    {"readWrite", Copy::Unsaved, true, 0},
};

class GoldenEvalTest : public FileTest,
                       public testing::WithParamInterface<std::tuple<std::string, SetUpCase>> {
 protected:
  const std::string& scene() const { return std::get<0>(GetParam()); }
  const SetUpCase& setUpCase() const { return std::get<1>(GetParam()); }
  std::string recordedFile() const { return goldenPath(scene() + ".vek"); }

  /// Writes a copy of the recorded file by saving it; an empty path after a failure.
  std::string saveCopy() {
    if (setUpCase().copy == Copy::SavedAs) {
      Vek::VekRwMemCache cache(recordedFile().c_str());
      return cache.saveAs(path("copy.vek").c_str()) ? path("copy.vek") : "";
    }
    const std::string copy = writeFile(readFile(recordedFile()), "copy.vek");
    Vek::VekRwMemCache cache(copy.c_str());
    // An object that had another name for a while makes a cache dirty that equals its file.
    const std::string name = cache.getName(0);
    cache.setName(0, "another name");
    cache.setName(0, name.c_str());
    bool written = false;
    return cache.isDirty() && cache.save(&written) && written ? copy : "";
  }

  void replay(Vek::VekRoMemCache& cache) {
    const std::vector<EvalQuery> queries = readQueries(scene());
    EXPECT_FALSE(queries.empty());
    EvalReplay calls(cache);
    for (const EvalQuery& query : queries) {
      const EvalAnswer answer = calls.run(query);
      const std::string difference = compareAnswer(query, answer);
      EXPECT_EQ(difference, "") << "scene:  " << scene() << " (" << setUpCase().name << ")\n"
                                << "query:  " << query.line << "\n"
                                << "answer: " << describeAnswer(answer);
    }
  }
};

TEST_P(GoldenEvalTest, everyRecordedAnswerComesBack) {
  const SetUpCase& setUp = setUpCase();
  if (setUp.copy == Copy::Unsaved) {
    bool ok = false;
    Vek::VekRwMemCache cache(recordedFile().c_str(), setUp.keepOpen, &ok);
    ASSERT_TRUE(ok) << recordedFile();
    replay(cache);
    return;
  }
  const std::string file = setUp.copy == Copy::None ? recordedFile() : saveCopy();
  ASSERT_NE(file, "") << "saving a copy of " << recordedFile() << " failed";
  bool ok = false;
  Vek::VekRoMemCache cache(file.c_str(), setUp.keepOpen, setUp.maxSamples, &ok);
  ASSERT_TRUE(ok) << file;
  if (setUp.copy != Copy::None) {
    // A save stamps the file with its own date, the one answer that has to differ.
    const Vek::VekRoMemCache recorded(recordedFile().c_str());
    EXPECT_GT(cache.getDateStamp(), recorded.getDateStamp());
    cache.getMETAChunk().dateStamp = recorded.getDateStamp();
  }
  replay(cache);
}

INSTANTIATE_TEST_SUITE_P(Scenes, GoldenEvalTest,
                         testing::Combine(testing::ValuesIn(sceneNames()),
                                          testing::ValuesIn(setUpCases)),
                         [](const auto& params) {
                           return std::get<0>(params.param) + "_" + std::get<1>(params.param).name;
                         });

/// Compares floats with an expected "tolerance count f value...".
std::string compareFloats(const std::string& expected, const std::vector<float>& actual) {
  const EvalQuery query = parseEvalQuery("g.pos 0 f 0 - - - - = ok - - " + expected);
  return compareAnswer(query, valuesAnswer(actual));
}

TEST(GoldenEvalCompareTest, toleranceGrowsWithTheLargestMagnitude) {
  EXPECT_EQ(compareFloats("f 2 f 0.25 0.5", {0.250008F, 0.5F}), "");
  EXPECT_EQ(compareFloats("f 2 f 0.25 0.5", {0.250012F, 0.5F}), "value 0");
  EXPECT_EQ(compareFloats("f 2 f 0.25 1000", {0.259F, 1000.0F}), "");
  EXPECT_EQ(compareFloats("f 2 f 0.25 1000", {0.261F, 1000.0F}), "value 0");
  EXPECT_EQ(compareFloats("d 2 f 0.25 0.5", {0.250008F, 0.5F}), "value 0");
  EXPECT_EQ(compareFloats("x 1 f 0.100000001", {0.1F}), "");
  EXPECT_EQ(compareFloats("x 1 f 0.100000001", {0.10000001F}), "value 0");
}

TEST(GoldenEvalCompareTest, nanMatchesEveryNanAndInfinityOnlyItself) {
  const float infinity = std::numeric_limits<float>::infinity();
  EXPECT_EQ(compareFloats("f 2 f nan -inf", {-std::nanf("7"), -infinity}), "");
  EXPECT_EQ(compareFloats("f 1 f nan", {0}), "value 0");
  EXPECT_EQ(compareFloats("f 1 f 0", {std::nanf("")}), "value 0");
  EXPECT_EQ(compareFloats("f 1 f inf", {-infinity}), "value 0");
  EXPECT_EQ(compareFloats("f 1 f inf", {std::numeric_limits<float>::max()}), "value 0");
  EXPECT_EQ(compareFloats("f 1 f 3e38", {infinity}), "value 0");
}

TEST(GoldenEvalCompareTest, outputsThatMustStayAreChecked) {
  EvalAnswer answer = valuesAnswer(std::vector<float>{1});
  answer.ok = false;
  answer.dimension = dimensionBefore;
  answer.state = 0;
  const std::string question = "g.pos 0 f 0 - - - - = ";
  EXPECT_EQ(compareAnswer(parseEvalQuery(question + "fail 0 u x -"), answer), "");
  EXPECT_NE(compareAnswer(parseEvalQuery(question + "ok 0 u x -"), answer), "");
  EXPECT_NE(compareAnswer(parseEvalQuery(question + "fail 1 u x -"), answer), "");
  EXPECT_NE(compareAnswer(parseEvalQuery(question + "fail 0 3 x -"), answer), "");
  EXPECT_NE(compareAnswer(parseEvalQuery(question + "fail 0 u x u"), answer), "");
  EXPECT_NE(compareAnswer(parseEvalQuery(question + "fail 0 u x null"), answer), "");
  answer.dimension = 3;
  EXPECT_NE(compareAnswer(parseEvalQuery(question + "fail 0 u x -"), answer), "");
}

TEST(GoldenEvalCompareTest, damagedLinesAreRefused) {
  for (const char* line :
       {"", "c.index - - - 0 - - - ok - - x 1 i 0", "c.index - - - 0 - - -",
        "c.index - - - 0 - - - = maybe - - x 1 i 0", "c.index - - - 0 - - - = ok - - x 2 i 0",
        "c.index - - - 0 - - - = ok - - x 1 i 0x", "c.index - - - 0 - - - = ok - - x 1 q 0",
        "c.index - - - 0 - - - = ok - - x 1 s 0"}) {
    EXPECT_ANY_THROW(parseEvalQuery(line)) << line;
  }
}

TEST(GoldenEvalFilesTest, everySceneHasItsFileAndQuestions) {
  const std::vector<std::string> names = sceneNames();
  EXPECT_FALSE(names.empty());
  for (const std::string& name : names) {
    EXPECT_TRUE(std::filesystem::exists(goldenPath(name + ".vek"))) << name;
    EXPECT_FALSE(readQueries(name).empty()) << name;
  }
}

}  // namespace
