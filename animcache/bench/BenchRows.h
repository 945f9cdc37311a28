// SPDX-License-Identifier: Apache-2.0
//
// The rows of the table: each is a piece of work that the library does, and where it makes sense
// the same work done by a plain program.

#ifndef VEK_BENCH_ROWS_H
#define VEK_BENCH_ROWS_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "BenchMeter.h"

namespace bench {

/// Figures that a row reports by name.
using Figures = std::map<std::string, double>;

/// Work prepared once and then done again and again. Failures are thrown.
class Work {
 public:
  virtual ~Work() = default;

  virtual void library() = 0;
  /// The plain program's turn, if there is one.
  virtual void baseline() {}
  virtual bool hasBaseline() const { return true; }
  /// Neither is measured: before each turn, and after it.
  virtual void prepare() {}
  virtual void finish() {}
  /// Called after a turn of both: throws unless they came to the same.
  virtual void compare() {}
  /// How many pieces the work consists of, for figures by the piece.
  virtual double numUnits() const { return 1; }
  /// Adds figures, given those of the library's median turn.
  virtual void report(const Cost&, Figures&) const {}
};

struct Row {
  std::string name;    ///< parts separated by "/"
  double target;       ///< greatest ratio to the plain program, 0 for none
  std::string remark;  ///< what else is judged: "", or a figure's name and its limit
  double limit;
  std::function<std::unique_ptr<Work>(const std::string& folder)> make;
};

/// A row judged by its ratio; not at all with a target of 0.
template <typename Make>
Row ratioRow(std::string name, double target, Make make) {
  return {std::move(name), target, "", 0, std::move(make)};
}
/// A row judged by a figure that must not exceed a limit.
template <typename Make>
Row figureRow(std::string name, std::string figure, double limit, Make make) {
  return {std::move(name), 0, std::move(figure), limit, std::move(make)};
}

void addWriteRows(std::vector<Row>& rows);
void addReadRows(std::vector<Row>& rows);
void addOpenRows(std::vector<Row>& rows);
void addFetchRows(std::vector<Row>& rows);
void addEvaluateRows(std::vector<Row>& rows);
void addMatrixRows(std::vector<Row>& rows);
void addEditRows(std::vector<Row>& rows);

/// Reads all objects of a file with a limit on the samples held and prints the peak of the
/// resident memory in KiB. A limit of -1 reads nothing but the head, -2 nothing at all. For a
/// process of its own.
int printPeakMemory(const std::string& path, int maxSamples);

/// Throws unless the condition holds.
void require(bool condition, const char* what);

}  // namespace bench

#endif
