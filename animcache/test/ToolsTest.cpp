// SPDX-License-Identifier: Apache-2.0
//
// The tools as commands: arguments, streams and exit statuses.

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "CommandTest.h"
#include "TextPattern.h"
#if !defined(_WIN32)
#include "DumpFolder.h"
#endif

namespace {

using namespace VekTest;
using ::testing::EndsWith;
using ::testing::HasSubstr;

const std::string noSuchFile = "No such file or directory";

class ToolsTest : public CommandTest {
 protected:
  /// Writes the first bytes of a good file.
  std::string writeCutFile(std::size_t size, const std::string& name = "cut.vek") const {
    return writeFile(readFile(recorded("test_file.vek")).substr(0, size), name);
  }

#if !defined(_WIN32)
  /// Runs a tool whose output goes to a pipe that nobody reads, and returns what waitpid() tells.
  int runIntoClosedPipe(const std::string& tool, const std::vector<std::string>& arguments) const {
    const std::string program = std::string(VEK_BIN_DIR) + "/" + tool;
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);

    int ends[2] = {-1, -1};
    EXPECT_EQ(::pipe(ends), 0);
    ::close(ends[0]);
    const std::string err = path("stderr.txt");
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    ::posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT, 0600);
    // The least helpful parent: it ignores the signal and blocks it, which a child inherits.
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGPIPE);
    ::posix_spawnattr_setsigmask(&attributes, &blocked);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    pid_t child = -1;
    const int failed =
        ::posix_spawn(&child, program.c_str(), &actions, &attributes, argv.data(), environ);
    std::signal(SIGPIPE, before);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    int status = -1;
    EXPECT_EQ(failed, 0) << program;
    if (failed != 0) return status;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return status;
  }
#endif
};

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
  EXPECT_THAT(r.errors, MatchesPattern("vektest at vekUtils:[0-9]+ Error opening file\n[^\n]*\n"));
  EXPECT_THAT(r.errors,
              EndsWith("\nvektest: " + path("missing/file.vek") + ": " + noSuchFile + "\n"));
}

#if !defined(_WIN32)
TEST_F(ToolsTest, vektestNamesADirectory) {
  const Outcome r = run("vektest", {path("")});
  EXPECT_EQ(r.status, 1);
  EXPECT_THAT(r.errors, EndsWith("\nvektest: " + path("") + ": Is a directory\n"));
}

TEST_F(ToolsTest, vektestNamesAFullDisk) {
  const Outcome r = run("vektest", {"/dev/full"});
  EXPECT_EQ(r.status, 1);
  EXPECT_THAT(r.errors, EndsWith("\nvektest: /dev/full: No space left on device\n"));
}
#endif

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
              MatchesPattern("vekinfo at vekUtils:[0-9]+ Error [^\n]*: could not open file\n"
                             "vekinfo: [^\n]*: No such file or directory\n"));
}

TEST_F(ToolsTest, vek2txtFailureIsStatusOne) {
  const std::string file = writeFile("other bytes");
  const Outcome r = run("vek2txt", {file});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.output, "");
  EXPECT_THAT(r.errors, MatchesPattern("vek2txt at vekUtils:[0-9]+ Error [^\n]*\n[^\n]*\n"));
  EXPECT_THAT(r.errors, HasSubstr(" Error " + file + ": is not a valid VEK file\n"));
  EXPECT_THAT(r.errors, EndsWith("\nvek2txt: " + file + ": Not a VEK file\n"));
}

TEST_F(ToolsTest, vek2txtKeepsWhatItPrintedBeforeAFailure) {
  ByteImage image;
  image.header("DVEK", 5, 8).int64(2).header("SOBJ", 1, 0);
  const Outcome r = run("vek2txt", {writeFile(image)});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.output, "DVEK int64 (8) : 2 \nSOBJ group (0) : #0\n");
  EXPECT_THAT(r.errors, HasSubstr(" Error Number of SOBJ not match number of DOBJ\n"));
  EXPECT_THAT(r.errors, EndsWith("\nvek2txt: " + path() + ": The file is damaged\n"));
}

class EveryToolTest : public ToolsTest, public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Tools, EveryToolTest,
                         ::testing::Values("vektest", "vek2txt", "vekdiff", "vekinfo"));

TEST_P(EveryToolTest, shortHelpIsTheHelp) {
  const Outcome r = run(GetParam(), {"-h"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.output, run(GetParam(), {"--help"}).output);
}

TEST_P(EveryToolTest, helpHasArgumentsExitStatusesAndAnExample) {
  const std::string help = run(GetParam(), {"--help"}).output;
  for (const char* title : {"\nArguments:\n", "\nOptions:\n", "\nExit status:\n"})
    EXPECT_THAT(help, HasSubstr(title));
  EXPECT_THAT(help, HasSubstr("\nExample:\n  " + std::string(GetParam()) + " "));
}

#if !defined(_WIN32)
TEST_P(EveryToolTest, closedPipeEndsQuietly) {
  const int status = runIntoClosedPipe(GetParam(), {"--help"});
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE) << status;
  EXPECT_EQ(readFile(path("stderr.txt")), "");
}
#endif

TEST_P(EveryToolTest, helpGoesToTheOutput) {
  const Outcome r = run(GetParam(), {"--help"});
  EXPECT_EQ(r.status, 0);
  EXPECT_THAT(r.output, ContainsPattern("[Uu]sage"));
  EXPECT_THAT(r.output, HasSubstr(GetParam()));
  EXPECT_EQ(r.errors, "");
}

TEST_P(EveryToolTest, versionGoesToTheOutput) {
  const Outcome r = run(GetParam(), {"--version"});
  EXPECT_EQ(r.status, 0);
  EXPECT_THAT(r.output, ContainsPattern("[0-9]+\\.[0-9]+\\.[0-9]+"));
  EXPECT_EQ(r.errors, "");
}

TEST_P(EveryToolTest, wrongArgumentsAreAUsageLineAndStatusTwo) {
  std::vector<std::vector<std::string>> wrong = {
      {}, {"--unknown"}, {"-x"}, {"--help=x"}, {"--"}, {"--unknown", path("one")}};
  const std::string tool = GetParam();
  if (tool == "vektest") wrong.push_back({path("one"), path("two")});
  if (tool == "vekdiff") {
    wrong.push_back({path("one")});
    wrong.push_back({path("one"), path("two"), path("three")});
    wrong.push_back({"--diff-options", path("one"), path("two")});
  } else {
    wrong.push_back({"--diff-options=", path("one")});
  }
  for (const std::vector<std::string>& arguments : wrong) {
    const Outcome r = run(GetParam(), arguments);
    EXPECT_EQ(r.status, 2) << arguments.size();
    EXPECT_EQ(r.output, "");
    EXPECT_THAT(r.errors, MatchesPattern("[Uu]sage[^\n]*\n"));
    EXPECT_THAT(r.errors, HasSubstr(GetParam()));
  }
}

TEST_F(ToolsTest, wrongArgumentsWriteNothing) {
  run("vektest", {path("one"), path("two")});
  EXPECT_FALSE(std::filesystem::exists(path("one")));
  EXPECT_FALSE(std::filesystem::exists(path("two")));
}

// --- Files that are read -------------------------------------------------------------------------

class ReadingToolTest : public ToolsTest, public ::testing::WithParamInterface<const char*> {
 protected:
  /// What the tool's own line says about a file, after the line of the library if there is one.
  std::string trouble(const std::string& file) {
    const Outcome r = run(GetParam(), {"--", file});
    EXPECT_EQ(r.status, 1) << file;
    const std::string start = std::string(GetParam()) + ": " + file + ": ";
    const std::size_t position = r.errors.find(start);
    if (position == std::string::npos) return "no line in: " + r.errors;
    return r.errors.substr(position + start.size());
  }
};

INSTANTIATE_TEST_SUITE_P(Tools, ReadingToolTest, ::testing::Values("vek2txt", "vekinfo"));

TEST_P(ReadingToolTest, failureNamesFileAndCause) {
  EXPECT_EQ(trouble(path("missing.vek")), noSuchFile + "\n");
  EXPECT_EQ(trouble(writeFile("", "empty")), "The file is empty\n");
  EXPECT_EQ(trouble(writeFile("some text, longer than a header", "text")), "Not a VEK file\n");
  EXPECT_EQ(trouble(path("")), "Is a directory\n");
}

TEST_P(ReadingToolTest, fileThatEndsInsideAChunkFails) {
  // In the head, in the first sample, in the payload of its last chunk.
  for (const std::size_t size : {40U, 150U, 430U, 543U})
    EXPECT_EQ(trouble(writeCutFile(size)), "The file is cut off: it ends inside a chunk\n") << size;
}

#if !defined(_WIN32)
TEST_P(ReadingToolTest, oddFileNamesAreNames) {
  const std::string bytes = readFile(recorded("test_file.vek"));
  const Outcome plain = run(GetParam(), {recorded("test_file.vek")});
  const auto folder = std::filesystem::current_path();
  std::filesystem::current_path(path(""));
  for (const char* name : {"a blank", "it's \"$(quoted)\"", "--help", "-x", "-", "--", "*"}) {
    writeFile(bytes, name);
    const Outcome r = run(GetParam(), {"--", name});
    EXPECT_EQ(r.status, 0) << name;
    EXPECT_EQ(r.output, plain.output) << name;
    EXPECT_EQ(r.errors, "") << name;
  }
  std::filesystem::current_path(folder);
}
#endif

TEST_P(ReadingToolTest, eachOfSeveralFilesBeginsWithItsName) {
  const std::string one = recorded("test_file.vek");
  const std::string two = recorded("names.vek");
  const Outcome r = run(GetParam(), {one, two});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.output, one + ":\n" + run(GetParam(), {one}).output + two + ":\n" +
                          run(GetParam(), {two}).output);
  EXPECT_EQ(r.errors, "");
}

TEST_P(ReadingToolTest, allFilesAreTriedAndOneFailureIsStatusOne) {
  const std::string good = recorded("test_file.vek");
  const Outcome r = run(GetParam(), {path("missing.vek"), good});
  EXPECT_EQ(r.status, 1);
  EXPECT_THAT(r.output, HasSubstr(path("missing.vek") + ":\n"));
  EXPECT_THAT(r.output, EndsWith(good + ":\n" + run(GetParam(), {good}).output));
  EXPECT_THAT(r.errors, HasSubstr(path("missing.vek") + ": " + noSuchFile + "\n"));
}

#if !defined(_WIN32)
TEST_P(ReadingToolTest, closedPipeEndsQuietly) {
  const int status = runIntoClosedPipe(GetParam(), {recorded("test_file.vek")});
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE) << status;
  EXPECT_EQ(readFile(path("stderr.txt")), "");
}
#endif

#if !defined(_WIN32)

// --- vekdiff -------------------------------------------------------------------------------------

class VekdiffToolTest : public ToolsTest {
 protected:
  void SetUp() override {
    ToolsTest::SetUp();
    ASSERT_NO_FATAL_FAILURE(m_dumpFolder.take());
    std::string bytes = readFile(m_one);
    bytes.replace(bytes.find("aaa"), 3, "xyz");
    m_other = writeFile(bytes, "other.vek");
  }

  const std::string m_one = recorded("test_file.vek");
  std::string m_other;

 private:
  DumpFolder m_dumpFolder;
};

TEST_F(VekdiffToolTest, sameIsStatusZeroAndPrintsNothing) {
  const Outcome r = run("vekdiff", {m_one, writeFile(readFile(m_one), "it's a \"copy\" $(x)")});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.output, "");
  EXPECT_EQ(r.errors, "");
}

TEST_F(VekdiffToolTest, differentIsStatusOneAndShowsTheLines) {
  const Outcome r = run("vekdiff", {m_one, m_other});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(
      r.output,
      "10c10\n< ABCD cstr (16) : aaa bbb ccc ddd \n---\n> ABCD cstr (16) : xyz bbb ccc ddd \n");
  EXPECT_EQ(r.errors, "");
}

TEST_F(VekdiffToolTest, diffOptionsGoToDiff) {
  const Outcome r = run("vekdiff", {"--diff-options=-a --unified=0", "--", m_one, m_other});
  EXPECT_EQ(r.status, 1);
  EXPECT_THAT(r.output, HasSubstr("\n-ABCD cstr (16) : aaa bbb ccc ddd \n+ABCD"));
}

TEST_F(VekdiffToolTest, troubleOfDiffIsStatusTwo) {
  const Outcome r = run("vekdiff", {"--diff-options=--no-such-option", m_one, m_one});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.output, "");
  EXPECT_THAT(r.errors, HasSubstr("--no-such-option"));
}

TEST_F(VekdiffToolTest, killedOrMissingDiffIsStatusTwo) {
  EXPECT_EQ(run("vekdiff", {"--diff-options=>/dev/null; kill -9 $$;", m_one, m_one}).status, 2);
  const std::string path = std::getenv("PATH");
  ::setenv("PATH", "/no/such/folder", 1);
  EXPECT_EQ(run("vekdiff", {m_one, m_one}).status, 2);
  ::setenv("PATH", path.c_str(), 1);
}

TEST_F(VekdiffToolTest, troubleNamesTheFileThatIsMeant) {
  const std::string text = writeFile("some text, longer than a header", "text");
  const Outcome r = run("vekdiff", {m_one, text});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.output, "");
  EXPECT_THAT(r.errors, MatchesPattern("vekdiff at vekUtils:[0-9]+ Error [^\n]*\n[^\n]*\n"));
  EXPECT_THAT(r.errors, HasSubstr(" Error " + m_one + ": is not a valid VEK file\n"));
  EXPECT_THAT(r.errors, EndsWith("\nvekdiff: " + text + ": Not a VEK file\n"));
}

TEST_F(VekdiffToolTest, fileThatEndsInsideAChunkIsTrouble) {
  const std::string one = writeCutFile(432, "one");
  const std::string two = writeCutFile(432, "two");
  const Outcome r = run("vekdiff", {one, two});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.errors, "vekdiff: " + one + ": The file is cut off: it ends inside a chunk\n" +
                          "vekdiff: " + two + ": The file is cut off: it ends inside a chunk\n");
}

#endif

}  // namespace
