// SPDX-License-Identifier: Apache-2.0
//
// Patterns of text. GoogleTest's own know no sets of characters on Windows.

#ifndef VEK_TEST_TEXT_PATTERN_H
#define VEK_TEST_TEXT_PATTERN_H

#include <gmock/gmock.h>

#include <regex>
#include <string>

namespace VekTest {

/// The whole text matches a pattern of std::regex.
MATCHER_P(MatchesPattern, pattern, "matches " + ::testing::PrintToString(pattern)) {
  return std::regex_match(std::string(arg), std::regex(pattern));
}

/// A part of the text does.
MATCHER_P(ContainsPattern, pattern, "contains " + ::testing::PrintToString(pattern)) {
  return std::regex_search(std::string(arg), std::regex(pattern));
}

}  // namespace VekTest

#endif
