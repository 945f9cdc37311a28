// SPDX-License-Identifier: Apache-2.0
//
// The example programs as a user runs them, one after another on one scene.

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "CommandTest.h"
#include "VekCache.h"

namespace {

using namespace VekTest;
using ::testing::HasSubstr;

class ExamplesTest : public CommandTest {
 protected:
  std::string exportScene(std::vector<std::string> options = {}) {
    options.push_back(path("scene.vek"));
    const Outcome r = run("export_scene", options);
    EXPECT_EQ(r.status, 0) << r.errors;
    return path("scene.vek");
  }
};

TEST_F(ExamplesTest, exportSceneWritesFortyEightFrames) {
  const Vek::VekCache cache(exportScene().c_str());
  EXPECT_EQ(cache.getNumSamples(), 48);
  EXPECT_EQ(cache.getFirstTime(), 1);
  EXPECT_EQ(cache.getLastTime(), 48);
  EXPECT_EQ(cache.getRate(), 1);
  EXPECT_EQ(cache.getNumObjects(), 12);
}

TEST_F(ExamplesTest, exportSceneTakesNumbersRateAndSampling) {
  const std::string scene = exportScene({"--objects", "3", "--points", "9", "--rate", "2",
                                         "--frames", "5", "--double", "--non-uniform"});
  const Vek::VekCache cache(scene.c_str());
  EXPECT_EQ(cache.getNumObjects(), 12 + 2 * 3);
  EXPECT_EQ(cache.getNumSamples(), 9);
  EXPECT_TRUE(cache.isNonUniform());
}

TEST_F(ExamplesTest, exportSceneSaysWhatFailed) {
  const Outcome r = run("export_scene", {path("missing/scene.vek")});
  EXPECT_EQ(r.status, 1);
  EXPECT_THAT(r.errors, HasSubstr("missing/scene.vek"));
}

TEST_F(ExamplesTest, wrongArgumentsAreStatusTwo) {
  EXPECT_EQ(run("export_scene", {"--nothing"}).status, 2);
  EXPECT_EQ(run("append_frames", {}).status, 2);
  EXPECT_EQ(run("list_objects", {}).status, 2);
  EXPECT_EQ(run("evaluate", {path(), "soon"}).status, 2);
}

TEST_F(ExamplesTest, listObjectsNamesEveryObject) {
  const Outcome r = run("list_objects", {exportScene()});
  EXPECT_EQ(r.status, 0) << r.errors;
  EXPECT_THAT(r.output, HasSubstr("|rig:root|rig:arm|rig:hand|rig:ball"));
  EXPECT_THAT(r.output, HasSubstr("|stage|tube"));
}

TEST_F(ExamplesTest, appendFramesGrowsTheFileInPlace) {
  const std::string scene = exportScene();
  const std::string before = readFile(scene);
  const Outcome r = run("append_frames", {scene, "2"});
  EXPECT_EQ(r.status, 0) << r.errors;
  EXPECT_THAT(r.output, HasSubstr("appended in place"));
  EXPECT_THAT(r.output, ::testing::Not(HasSubstr("anew")));
  const std::string after = readFile(scene);
  Vek::VekCache cache(scene.c_str());
  ASSERT_EQ(cache.getNumSamples(), 50);
  EXPECT_EQ(cache.getLastTime(), 50);
  // Behind the head, with its counts, times and date, nothing that was there has changed.
  const std::size_t head = before.find("SAMS");
  EXPECT_EQ(after.substr(head, before.size() - head), before.substr(head));
}

TEST_F(ExamplesTest, evaluatePrintsEveryObjectAtTheTime) {
  const Outcome r = run("evaluate", {exportScene(), "12.5"});
  EXPECT_EQ(r.status, 0) << r.errors;
  EXPECT_THAT(r.output, HasSubstr("12.5"));
  EXPECT_THAT(r.output, HasSubstr("|rig:root|rig:arm"));
  EXPECT_THAT(r.output, HasSubstr("|stage|flag"));
}

}  // namespace
