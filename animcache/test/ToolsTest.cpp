// SPDX-License-Identifier: Apache-2.0
//
// The tools as commands: arguments, streams and exit statuses.

#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "CommandTest.h"

namespace {

using namespace VekTest;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

class ToolsTest : public CommandTest {};

TEST_F(ToolsTest, vektestWritesTheFile) {
  const Outcome r = run("vektest", {path()});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.output, "");
  EXPECT_EQ(r.errors, "");
  EXPECT_EQ(readFile(path()), readFile(recorded("test_file.vek")));
}

TEST_F(ToolsTest, vektestFailureIsStatusOne) {
  const Outcome r = run("vektest", {path("missing/file.vek")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.output, "");
  EXPECT_THAT(r.errors, MatchesRegex("vektest at vekUtils:[0-9]+ Error opening file\n"));
}

TEST_F(ToolsTest, vek2txtDumpsTheFile) {
  const Outcome r = run("vek2txt", {recorded("test_file.vek")});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.output, readFile(recorded("test_file.dump.txt")));
  EXPECT_EQ(r.errors, "");
}

TEST_F(ToolsTest, vekinfoSummarisesTheFile) {
  const Outcome r = run("vekinfo", {recorded("test_file.vek")});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.output, readFile(recorded("test_file.info.txt")));
  EXPECT_EQ(r.errors, "");
}

TEST_F(ToolsTest, vekinfoFailureIsStatusOne) {
  const Outcome r = run("vekinfo", {path("missing.vek")});
  EXPECT_EQ(r.status, 1);
  EXPECT_THAT(r.errors,
              MatchesRegex("vekinfo at vekUtils:[0-9]+ Error [^\n]*: could not open file\n"));
}

TEST_F(ToolsTest, vek2txtFailureIsStatusOne) {
  const std::string file = writeFile("other bytes");
  const Outcome r = run("vek2txt", {file});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.output, "");
  EXPECT_THAT(r.errors, MatchesRegex("vek2txt at vekUtils:[0-9]+ Error [^\n]*\n"));
  EXPECT_THAT(r.errors, HasSubstr(" Error " + file + ": is not a valid VEK file\n"));
}

TEST_F(ToolsTest, vek2txtKeepsWhatItPrintedBeforeAFailure) {
  ByteImage image;
  image.header("DVEK", 5, 8).int64(2).header("SOBJ", 1, 0);
  const Outcome r = run("vek2txt", {writeFile(image)});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.output, "DVEK int64 (8) : 2 \nSOBJ group (0) : #0\n");
  EXPECT_THAT(r.errors, HasSubstr(" Error Number of SOBJ not match number of DOBJ\n"));
}

class EveryToolTest : public ToolsTest, public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Tools, EveryToolTest, ::testing::Values("vektest", "vek2txt", "vekinfo"));

TEST_P(EveryToolTest, helpGoesToTheOutput) {
  const Outcome r = run(GetParam(), {"--help"});
  EXPECT_EQ(r.status, 0);
  EXPECT_THAT(r.output, ContainsRegex("[Uu]sage"));
  EXPECT_THAT(r.output, HasSubstr(GetParam()));
  EXPECT_EQ(r.errors, "");
}

TEST_P(EveryToolTest, versionGoesToTheOutput) {
  const Outcome r = run(GetParam(), {"--version"});
  EXPECT_EQ(r.status, 0);
  EXPECT_THAT(r.output, ContainsRegex("[0-9]+\\.[0-9]+\\.[0-9]+"));
  EXPECT_EQ(r.errors, "");
}

TEST_P(EveryToolTest, wrongArgumentsAreAUsageLineAndStatusTwo) {
  const std::vector<std::vector<std::string>> wrong = {
      {}, {path("one"), path("two")}, {path("one"), path("two"), path("three")}, {"--unknown"}};
  for (const std::vector<std::string>& arguments : wrong) {
    const Outcome r = run(GetParam(), arguments);
    EXPECT_EQ(r.status, 2) << arguments.size();
    EXPECT_EQ(r.output, "");
    EXPECT_THAT(r.errors, MatchesRegex("[Uu]sage[^\n]*\n"));
    EXPECT_THAT(r.errors, HasSubstr(GetParam()));
  }
}

TEST_F(ToolsTest, wrongArgumentsWriteNothing) {
  run("vektest", {path("one"), path("two")});
  EXPECT_FALSE(std::filesystem::exists(path("one")));
  EXPECT_FALSE(std::filesystem::exists(path("two")));
}

}  // namespace
