// SPDX-License-Identifier: Apache-2.0
//
// The recorded scenes and their questions.

#ifndef VEK_TEST_GOLDEN_SCENES_H
#define VEK_TEST_GOLDEN_SCENES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "EvalQuery.h"

namespace VekTest {

inline std::string goldenPath(const std::string& name) {
  return std::string(VEK_GOLDEN_DIR) + "/" + name;
}

/// The names of the recorded scenes that have questions.
inline std::vector<std::string> sceneNames() {
  const std::string ending = ".eval.txt";
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(VEK_GOLDEN_DIR)) {
    const std::string name = entry.path().filename().string();
    if (name.size() <= ending.size()) continue;
    const std::size_t end = name.size() - ending.size();
    if (name.compare(end, ending.size(), ending) == 0) names.push_back(name.substr(0, end));
  }
  std::sort(names.begin(), names.end());
  return names;
}

inline std::vector<EvalQuery> readQueries(const std::string& scene) {
  std::ifstream in(goldenPath(scene + ".eval.txt"));
  std::vector<EvalQuery> queries;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    try {
      queries.push_back(parseEvalQuery(line));
    } catch (const std::exception& e) {
      ADD_FAILURE() << scene << ": " << e.what() << ": " << line;
    }
  }
  return queries;
}

}  // namespace VekTest

#endif
