// SPDX-License-Identifier: Apache-2.0
//
// Measures the library against plain programs that move the same bytes or compute the same values.
// Each row is a benchmark whose iterations are rounds: the library's turn, then the plain
// program's, so that both see the same machine. Reported are the medians of the rounds.
//
//     vek_bench --benchmark_filter=read/ --benchmark_out=read.json
//
// Beside Google Benchmark's options:
//     --folder DIR    where the scenes are kept, made when missing; else a temporary folder
//     --rounds N      rounds of each row (default 7)
//     --once NAME     does a row's turns once, each between two calls access("/vek_bench/...") that
//                     a tracer of system calls can find

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "BenchRows.h"

namespace bench {

void require(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(what);
}

namespace {

struct Settings {
  std::string folder;
  int rounds = 7;
  std::string once;
};

std::vector<Row> listRows() {
  std::vector<Row> rows;
  addWriteRows(rows);
  addReadRows(rows);
  addOpenRows(rows);
  addFetchRows(rows);
  addEvaluateRows(rows);
  addMatrixRows(rows);
  addEditRows(rows);
  return rows;
}

template <typename Turn>
Cost measure(Work& work, Turn turn) {
  work.prepare();
  const Meter meter;
  turn();
  const Cost cost = meter.stop();
  work.finish();
  return cost;
}

Cost measureLibrary(Work& work) {
  return measure(work, [&work] { work.library(); });
}
Cost measureBaseline(Work& work) {
  return measure(work, [&work] { work.baseline(); });
}

struct Rounds {
  std::vector<Cost> library;
  std::vector<Cost> baseline;
};

void addCost(Figures& figures, const std::string& side, const Cost& cost, double numUnits) {
  figures[side + "_cpu"] = cost.cpu;
  figures[side + "_wall"] = cost.wall;
  figures[side + "_faults"] = cost.faults;
  figures[side + "_allocs"] = cost.allocations;
  figures[side + "_alloc_bytes"] = cost.allocatedBytes;
  figures[side + "_read_bytes"] = cost.readBytes;
  figures[side + "_written_bytes"] = cost.writtenBytes;
  figures[side + "_cpu_per_unit"] = cost.cpu / numUnits;
  figures[side + "_allocs_per_unit"] = cost.allocations / numUnits;
  figures[side + "_bytes_per_unit"] = (cost.readBytes + cost.writtenBytes) / numUnits;
}

void addRatios(Figures& figures, const Rounds& rounds) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < rounds.library.size(); ++i)
    ratios.push_back(rounds.library[i].cpu / rounds.baseline[i].cpu);
  figures["ratio_cpu"] = median(rounds.library).cpu / median(rounds.baseline).cpu;
  figures["ratio_wall"] = median(rounds.library).wall / median(rounds.baseline).wall;
  figures["ratio_least"] = *std::min_element(ratios.begin(), ratios.end());
  figures["ratio_greatest"] = *std::max_element(ratios.begin(), ratios.end());
}

Figures summarise(const Row& row, const Work& work, const Rounds& rounds) {
  Figures figures;
  const Cost library = median(rounds.library);
  figures["units"] = work.numUnits();
  addCost(figures, "lib", library, work.numUnits());
  if (work.hasBaseline()) {
    addCost(figures, "base", median(rounds.baseline), work.numUnits());
    addRatios(figures, rounds);
    if (row.target > 0) figures["target"] = row.target;
  }
  work.report(library, figures);
  // Some figures are known only to a tracer.
  const auto judged = figures.find(row.remark);
  if (judged != figures.end()) figures["judged"] = judged->second;
  if (!row.remark.empty()) figures["limit"] = row.limit;
  return figures;
}

void runRow(benchmark::State& state, const Row& row, const std::string& folder) {
  try {
    const std::unique_ptr<Work> work = row.make(folder);
    // Both once before the rounds: files and memory are warm then, and results are compared.
    measureLibrary(*work);
    if (work->hasBaseline()) {
      measureBaseline(*work);
      work->compare();
    }
    Rounds rounds;
    for (auto _ : state) {
      rounds.library.push_back(measureLibrary(*work));
      if (work->hasBaseline()) rounds.baseline.push_back(measureBaseline(*work));
      state.SetIterationTime(rounds.library.back().wall);
    }
    for (const auto& [name, value] : summarise(row, *work, rounds)) state.counters[name] = value;
    state.SetLabel(row.remark);
  } catch (const std::exception& e) {
    state.SkipWithError(e.what());
    for (auto _ : state) {
    }
  }
}

// --- One turn under a tracer ---------------------------------------------------------------------

void mark(const char* path) {
  // There is no such file: only the call counts.
  if (access(path, F_OK) == 0) std::cerr << path << " exists\n";
}

int runOnce(const std::vector<Row>& rows, const Settings& settings) {
  for (const Row& row : rows) {
    if (row.name != settings.once) continue;
    const std::unique_ptr<Work> work = row.make(settings.folder);
    work->prepare();
    mark("/vek_bench/library");
    work->library();
    mark("/vek_bench/end");
    work->finish();
    if (work->hasBaseline()) {
      work->prepare();
      mark("/vek_bench/baseline");
      work->baseline();
      mark("/vek_bench/end");
      work->finish();
    }
    std::cout << work->numUnits() << "\n";
    return 0;
  }
  std::cerr << "vek_bench: no row " << settings.once << "\n";
  return 2;
}

// --- Command line --------------------------------------------------------------------------------

/// The scenes' folder; a temporary one is removed at the end.
class Folder {
 public:
  explicit Folder(std::string path) : m_path(std::move(path)), m_isTemporary(m_path.empty()) {
    if (!m_isTemporary) {
      std::filesystem::create_directories(m_path);
      return;
    }
    // mkdtemp() replaces the last six characters.
    m_path = (std::filesystem::temp_directory_path() / "vek_bench.").string() + std::string(6, 'X');
    require(mkdtemp(m_path.data()) != nullptr, "cannot make a temporary folder");
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code error;
    if (m_isTemporary) std::filesystem::remove_all(m_path, error);
  }
  const std::string& path() const { return m_path; }

 private:
  std::string m_path;
  bool m_isTemporary;
};

// Takes the options that are not Google Benchmark's out of the arguments.
Settings takeSettings(std::vector<char*>& arguments) {
  Settings settings;
  for (std::size_t i = 1; i + 1 < arguments.size();) {
    const std::string option = arguments[i];
    const char* const value = arguments[i + 1];
    if (option == "--folder") {
      settings.folder = value;
    } else if (option == "--rounds") {
      settings.rounds = std::max(1, std::atoi(value));
    } else if (option == "--once") {
      settings.once = value;
    } else {
      ++i;
      continue;
    }
    arguments.erase(arguments.begin() + static_cast<std::ptrdiff_t>(i),
                    arguments.begin() + static_cast<std::ptrdiff_t>(i) + 2);
  }
  return settings;
}

int run(std::vector<char*> arguments) {
  if (arguments.size() == 4 && std::strcmp(arguments[1], "--peak") == 0)
    return printPeakMemory(arguments[2], std::atoi(arguments[3]));
  Settings settings = takeSettings(arguments);
  const std::vector<Row> rows = listRows();
  const Folder folder(settings.folder);
  settings.folder = folder.path();
  if (!settings.once.empty()) return runOnce(rows, settings);
  for (const Row& row : rows) {
    benchmark::RegisterBenchmark(
        row.name.c_str(),
        [&row, &settings](benchmark::State& state) { runRow(state, row, settings.folder); })
        ->Iterations(settings.rounds)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv) {
  try {
    return bench::run({argv, argv + argc});
  } catch (const std::exception& e) {
    std::cerr << "vek_bench: " << e.what() << "\n";
    return 1;
  }
}
