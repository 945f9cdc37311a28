// SPDX-License-Identifier: Apache-2.0
//
// Recorded questions to a cache and its object views: one line holds a question and its answer.
// The lines are read here and compared with what the library answers; golden/README.md tells their
// words.

#ifndef VEK_TEST_EVAL_QUERY_H
#define VEK_TEST_EVAL_QUERY_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace VekTest {

/// Values of one element type: 'f' float, 'd' double, 'i' int, 'l' 64-bit int, 's' string. Floats
/// are kept as doubles, ints as 64-bit ints.
struct EvalValues {
  char element = '-';
  std::vector<double> reals;
  std::vector<std::int64_t> ints;
  std::vector<std::string> texts;

  std::size_t size() const { return reals.size() + ints.size() + texts.size(); }
};

/// What a call answered.
struct EvalAnswer {
  bool ok = true;
  int state = -1;
  int dimension = -1;
  bool unchanged = false;  ///< the value output is as it was before the call
  bool null = false;       ///< the pointer output or result is null
  EvalValues values;
  std::string problem;  ///< why the call could not be made at all; empty when it was
};

/// The text of a word in which bytes outside 33..126 and "%" are written %XX.
inline std::string unescapeWord(const std::string& word) {
  std::string text;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (word[i] == '%' && i + 2 < word.size()) {
      text.push_back(static_cast<char>(std::stoi(word.substr(i + 1, 2), nullptr, 16)));
      i += 2;
    } else {
      text.push_back(word[i]);
    }
  }
  return text;
}

inline std::string escapeWord(const std::string& text) {
  std::string word;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 33 && byte <= 126 && c != '%') {
      word.push_back(c);
    } else {
      char hex[4];
      std::snprintf(hex, sizeof hex, "%%%02X", byte);
      word += hex;
    }
  }
  return word;
}

/// One line: the question left of "=", the expected answer right of it.
struct EvalQuery {
  std::string line;

  std::string accessor;
  int object = -1;
  char element = '-';
  int sample = 0;
  float time = 0;
  int degree = 0;
  int flag = 0;
  std::string argument;  ///< as written; "-" when there is none

  bool ok = false;
  std::string state;      ///< "0", "1" or "-"
  std::string dimension;  ///< a number, "u" or "-"
  char tolerance = 'x';
  std::string count;  ///< a number, "u", "null" or "-"
  EvalValues values;

  bool hasArgument() const { return argument != "-"; }
  /// The argument as a text: the part after "s:".
  std::string text() const { return unescapeWord(argument.substr(2)); }
  /// The argument as a number.
  int number() const { return std::stoi(argument); }
  /// The argument as a chunk tag.
  unsigned tag() const {
    unsigned value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      value |= static_cast<unsigned>(static_cast<unsigned char>(argument.at(i))) << (8 * i);
    }
    return value;
  }
};

/// Throws std::runtime_error for a value that is not a number to its end.
inline void addValue(EvalValues& values, const std::string& word) {
  char* end = nullptr;
  switch (values.element) {
    case 'f':
      values.reals.push_back(static_cast<double>(std::strtof(word.c_str(), &end)));
      break;
    case 'd':
      values.reals.push_back(std::strtod(word.c_str(), &end));
      break;
    case 'i':
    case 'l':
      values.ints.push_back(std::strtoll(word.c_str(), &end, 10));
      break;
    case 's':
      if (word.compare(0, 2, "s:") != 0) throw std::runtime_error("not a text: " + word);
      values.texts.push_back(unescapeWord(word.substr(2)));
      return;
    default:
      throw std::runtime_error("unknown element type");
  }
  if (end == word.c_str() || *end != '\0') throw std::runtime_error("not a number: " + word);
}

/// Throws std::exception for a line that does not hold to the format.
inline EvalQuery parseEvalQuery(const std::string& line) {
  std::vector<std::string> words;
  std::istringstream in(line);
  for (std::string word; in >> word;) words.push_back(word);
  if (words.size() < 14 || words[8] != "=") throw std::runtime_error("not a query line");

  const auto given = [&](std::size_t i) { return words[i] != "-"; };
  EvalQuery q;
  q.line = line;
  q.accessor = words[0];
  if (given(1)) q.object = std::stoi(words[1]);
  q.element = words[2].at(0);
  if (given(3)) q.sample = std::stoi(words[3]);
  if (given(4)) q.time = std::strtof(words[4].c_str(), nullptr);
  if (given(5)) q.degree = std::stoi(words[5]);
  if (given(6)) q.flag = std::stoi(words[6]);
  q.argument = words[7];

  if (words[9] != "ok" && words[9] != "fail") throw std::runtime_error("unknown status");
  q.ok = words[9] == "ok";
  q.state = words[10];
  q.dimension = words[11];
  q.tolerance = words[12].at(0);
  q.count = words[13];
  if (q.count == "u" || q.count == "null" || q.count == "-") return q;
  q.values.element = words.at(14).at(0);
  for (std::size_t i = 15; i < words.size(); ++i) addValue(q.values, words[i]);
  if (q.values.size() != std::stoul(q.count)) throw std::runtime_error("wrong number of values");
  return q;
}

/// The largest difference that the tolerance allows: it grows with the values' magnitude.
inline double allowedDifference(const EvalQuery& q) {
  if (q.tolerance == 'x') return 0;
  double magnitude = 1;
  for (const double v : q.values.reals) {
    if (std::isfinite(v)) magnitude = std::max(magnitude, std::fabs(v));
  }
  return (q.tolerance == 'f' ? 1e-5 : 1e-12) * magnitude;
}

/// A NaN matches every NaN, an infinity only itself.
inline bool matches(double expected, double actual, double difference) {
  if (std::isnan(expected)) return std::isnan(actual);
  if (std::isinf(expected) || std::isinf(actual)) return expected == actual;
  return std::fabs(expected - actual) <= difference;
}

/// What differs between the values; empty when they match.
inline std::string compareValues(const EvalQuery& q, const EvalAnswer& answer) {
  if (q.count == "-") return "";
  if (q.count == "u") return answer.unchanged ? "" : "the value output was changed";
  if (q.count == "null") return answer.null ? "" : "the pointer is not null";
  if (answer.null) return "the pointer is null";
  const EvalValues& expected = q.values;
  const EvalValues& actual = answer.values;
  if (expected.element != actual.element) return "element type";
  if (expected.size() != actual.size()) return "count";
  const double difference = allowedDifference(q);
  for (std::size_t i = 0; i < expected.reals.size(); ++i) {
    if (!matches(expected.reals[i], actual.reals[i], difference)) {
      return "value " + std::to_string(i);
    }
  }
  for (std::size_t i = 0; i < expected.ints.size(); ++i) {
    if (expected.ints[i] != actual.ints[i]) return "value " + std::to_string(i);
  }
  for (std::size_t i = 0; i < expected.texts.size(); ++i) {
    if (expected.texts[i] != actual.texts[i]) return "value " + std::to_string(i);
  }
  return "";
}

/// What an output dimension holds before every call.
constexpr int dimensionBefore = -77;

/// What differs between the expected answer and that given; empty when they match.
inline std::string compareAnswer(const EvalQuery& q, const EvalAnswer& answer) {
  if (!answer.problem.empty()) return answer.problem;
  if (q.ok != answer.ok) return "status";
  if (q.state != "-" && std::stoi(q.state) != answer.state) return "state";
  if (q.dimension == "u" && answer.dimension != dimensionBefore) return "the dimension was changed";
  if (q.dimension != "-" && q.dimension != "u" && std::stoi(q.dimension) != answer.dimension) {
    return "dimension";
  }
  return compareValues(q, answer);
}

/// An answer in the words of a query line.
inline std::string describeAnswer(const EvalAnswer& answer) {
  std::ostringstream out;
  out << (answer.ok ? "ok " : "fail ") << answer.state << ' ' << answer.dimension << " - ";
  if (answer.null) return out.str() + "null";
  if (answer.unchanged) return out.str() + "u";
  const EvalValues& values = answer.values;
  out << values.size() << ' ' << values.element;
  out.precision(values.element == 'f' ? 9 : 17);
  for (const double v : values.reals) out << ' ' << v;
  for (const std::int64_t v : values.ints) out << ' ' << v;
  for (const std::string& v : values.texts) out << " s:" << escapeWord(v);
  return out.str();
}

}  // namespace VekTest

#endif
