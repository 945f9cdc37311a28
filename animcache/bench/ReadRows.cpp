// SPDX-License-Identifier: Apache-2.0
//
// Reading every object of every sample, with four samples held at a time and with all of them, and
// the memory that it takes.

#include <VekCache.h>
#include <fcntl.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "BenchRows.h"
#include "PlainFile.h"
#include "SceneFile.h"

using namespace Vek;

namespace bench {

namespace {

std::size_t countBytes(const VekGroupChunk& group) {
  std::size_t total = 0;
  for (unsigned __int64 i = 0; i < group.numChildren(); ++i) {
    const VekChunk* const child = group.getChild(i);
    if (const auto* inner = dynamic_cast<const VekGroupChunk*>(child))
      total += countBytes(*inner);
    else
      total += static_cast<std::size_t>(child->getHeader().length);
  }
  return total;
}

template <typename Visit>
void readAll(VekRoMemCache& cache, Visit visit) {
  const int numSamples = cache.getNumSamples();
  const int numObjects = cache.getNumObjects();
  for (int sample = 0; sample < numSamples; ++sample) {
    for (int object = 0; object < numObjects; ++object) {
      const VekGroupChunk* const sobj = cache.getSample(sample, object);
      require(sobj != nullptr, "cannot read an object");
      visit(*sobj);
    }
  }
}

/// What the plain program does with what it has read.
enum class Plain { reusesOneBuffer, keepsAll, holdsAsManySamples };

class ReadWork final : public Work {
 public:
  ReadWork(std::string path, const SceneSize& size, int maxSamples, Plain plain)
      : m_path(std::move(path)), m_maxSamples(maxSamples), m_plain(plain) {
    ensureFile(m_path, size);
  }

  // Memory is as fresh for one side as for the other.
  void prepare() override { malloc_trim(0); }
  void library() override {
    bool ok = false;
    VekRoMemCache cache(m_path.c_str(), true, m_maxSamples, &ok);
    require(ok, "cannot open a file");
    readAll(cache, [](const VekGroupChunk&) {});
  }
  void baseline() override {
    switch (m_plain) {
      case Plain::reusesOneBuffer:
        m_numBytes = m_reader.read(m_path);
        break;
      case Plain::keepsAll:
        m_numBytes = readAndKeep(m_path);
        break;
      case Plain::holdsAsManySamples:
        m_numBytes = readAndHold(m_path, static_cast<std::size_t>(m_maxSamples));
        break;
    }
  }
  void compare() override {
    VekRoMemCache cache(m_path.c_str(), true, 1, nullptr);
    std::size_t total = readHeadBytes(m_path).size() - 2 * sizeof(VekHeader);
    const auto numSamples = static_cast<std::size_t>(cache.getNumSamples());
    total += 8 * numSamples * (static_cast<std::size_t>(cache.getNumObjects()) + 1);
    readAll(cache, [&total](const VekGroupChunk& sobj) { total += countBytes(sobj); });
    require(total == m_numBytes, "the bytes read differ");
  }

 private:
  std::string m_path;
  int m_maxSamples;
  Plain m_plain;
  PlainReader m_reader;
  std::size_t m_numBytes = 0;
};

// --- Memory --------------------------------------------------------------------------------------

// The greatest resident memory that this program has had, in KiB. Not taken from getrusage(), whose
// figure a process inherits from the one that started it.
long readPeak() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    long kib = 0;
    if (word == "VmHWM:" && status >> kib) return kib;
  }
  return -1;
}

double measurePeak(const std::string& path, int maxSamples) {
  int ends[2];
  require(pipe(ends) == 0, "cannot make a pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  std::string limit = std::to_string(maxSamples);
  std::string file = path;
  char program[] = "/proc/self/exe";
  char option[] = "--peak";
  char* arguments[] = {program, option, file.data(), limit.data(), nullptr};
  pid_t child = 0;
  const int error = posix_spawn(&child, program, &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  char text[64] = {};
  const ssize_t size = error == 0 ? read(ends[0], text, sizeof text - 1) : -1;
  close(ends[0]);
  require(error == 0 && size > 0, "cannot start a process");
  int status = 0;
  waitpid(child, &status, 0);
  require(status == 0, "cannot read a file in a process of its own");
  return 1024.0 * std::atof(text);
}

/// The memory that a limit of samples takes, against the bytes that the file holds of them
/// (peak_ratio), and against what as many samples take when all of them are held (held_ratio):
/// small chunks take more memory than bytes.
class PeakWork final : public Work {
 public:
  PeakWork(std::string path, const SceneSize& size, int maxSamples)
      : m_path(std::move(path)), m_numSamples(size.numSamples), m_maxSamples(maxSamples) {
    ensureFile(m_path, size);
    m_idle = measurePeak(m_path, nothing);
    m_head = measurePeak(m_path, headOnly) - m_idle;
    m_all = measurePeak(m_path, 0) - m_idle;
  }
  bool hasBaseline() const override { return false; }
  void library() override { m_peak = measurePeak(m_path, m_maxSamples) - m_idle; }
  void report(const Cost&, Figures& figures) const override {
    const double part = static_cast<double>(m_maxSamples) / m_numSamples;
    const auto head = static_cast<double>(readHeadBytes(m_path).size());
    const auto fileSize = static_cast<double>(std::filesystem::file_size(m_path));
    figures["peak_mb"] = m_peak * 1e-6;
    figures["head_mb"] = m_head * 1e-6;
    figures["peak_ratio"] = m_peak / (head + 8.0 * m_numSamples + part * (fileSize - head));
    figures["held_ratio"] = m_peak / (m_head + part * (m_all - m_head));
  }

  /// Limits that stand for reading nothing, and nothing but the head.
  static constexpr int nothing = -2;
  static constexpr int headOnly = -1;

 private:
  std::string m_path;
  int m_numSamples;
  int m_maxSamples;
  double m_idle = 0;
  double m_head = 0;
  double m_all = 0;
  double m_peak = 0;
};

}  // namespace

int printPeakMemory(const std::string& path, int maxSamples) {
  if (maxSamples != PeakWork::nothing) {
    bool ok = false;
    VekRoMemCache cache(path.c_str(), true, maxSamples, &ok);
    require(ok, "cannot open a file");
    if (maxSamples != PeakWork::headOnly) readAll(cache, [](const VekGroupChunk&) {});
  }
  std::cout << readPeak() << std::endl;
  return 0;
}

void addReadRows(std::vector<Row>& rows) {
  struct Target {
    const char* scene;
    double limited;
  };
  constexpr double unlimited = 1.3;
  constexpr int limit = 4;
  for (const Target& target : {Target{"W1", 1.3}, {"W2", 1.6}, {"W3", 3.5}, {"W4", 20}}) {
    const std::string name = target.scene;
    const auto make = [name](int maxSamples, Plain plain) {
      return [name, maxSamples, plain](const std::string& folder) {
        return std::make_unique<ReadWork>(folder + "/" + name + ".vek", namedSize(name), maxSamples,
                                          plain);
      };
    };
    rows.push_back(
        ratioRow("read/limit4/" + name, target.limited, make(limit, Plain::reusesOneBuffer)));
    rows.push_back(ratioRow("read/hold4/" + name, 0, make(limit, Plain::holdsAsManySamples)));
    rows.push_back(ratioRow("read/all/" + name, unlimited, make(0, Plain::keepsAll)));
  }
  for (const std::string name : {"W1", "W2", "W3", "W4"}) {
    for (const int k : {1, 4, 16}) {
      for (const char* figure : {"peak_ratio", "held_ratio"}) {
        rows.push_back(figureRow(std::string("peak/") + (*figure == 'p' ? "bytes/" : "held/") +
                                     name + "/limit" + std::to_string(k),
                                 figure, 1.1, [name, k](const std::string& folder) {
                                   return std::make_unique<PeakWork>(folder + "/" + name + ".vek",
                                                                     namedSize(name), k);
                                 }));
      }
    }
  }
}

}  // namespace bench
