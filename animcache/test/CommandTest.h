// SPDX-License-Identifier: Apache-2.0
//
// Runs the build's tools and examples as processes.

#ifndef VEK_TEST_COMMAND_TEST_H
#define VEK_TEST_COMMAND_TEST_H

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "CommandProcess.h"

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
    const std::string out = path("stdout.txt");
    const std::string err = path("stderr.txt");
    std::vector<std::string> words = {std::string(VEK_BIN_DIR) + "/" + tool};
    words.insert(words.end(), arguments.begin(), arguments.end());
    Outcome r;
    r.status = runProgram(words, out, err);
    EXPECT_NE(r.status, -1) << words.front();
    r.output = readText(out);
    r.errors = readText(err);
    return r;
  }
  static std::string recorded(const std::string& name) {
    return std::string(VEK_GOLDEN_DIR) + "/" + name;
  }

 private:
  /// What was printed as text, with the line ends of a C program on every system.
  static std::string readText(const std::string& file) {
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
};

}  // namespace VekTest

#endif
