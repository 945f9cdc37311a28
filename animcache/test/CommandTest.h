// SPDX-License-Identifier: Apache-2.0
//
// Runs the build's tools and examples as processes.

#ifndef VEK_TEST_COMMAND_TEST_H
#define VEK_TEST_COMMAND_TEST_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "ByteImage.h"

extern char** environ;

namespace VekTest {

struct Outcome {
  int status = -1;
  std::string output;
  std::string errors;
};

/// A test that runs commands of the build.
class CommandTest : public FileTest {
 protected:
  /// Runs a command of the build with its output streams in files.
  Outcome run(const std::string& tool, const std::vector<std::string>& arguments) {
    const std::string program = std::string(VEK_BIN_DIR) + "/" + tool;
    const std::string out = path("stdout.txt");
    const std::string err = path("stderr.txt");
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC;
    ::posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), flags, 0600);
    ::posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), flags, 0600);
    pid_t child = -1;
    const int failed =
        ::posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    Outcome r;
    EXPECT_EQ(failed, 0) << program;
    if (failed != 0) return r;
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.output = readFile(out);
    r.errors = readFile(err);
    return r;
  }
  static std::string recorded(const std::string& name) {
    return std::string(VEK_GOLDEN_DIR) + "/" + name;
  }
};

}  // namespace VekTest

#endif
