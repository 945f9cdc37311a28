// SPDX-License-Identifier: Apache-2.0
//
// Separate caches on separate threads: eight threads, each with caches of its own on the same file,
// get the recorded answers and write the same bytes. Built with the thread sanitizer as well.

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "EvalQuery.h"
#include "EvalReplay.h"
#include "GoldenScenes.h"
#include "VekCache.h"

namespace {

using namespace VekTest;

constexpr int numThreads = 8;

/// Runs the work on eight threads that begin together; what each returns, by thread.
std::vector<std::string> onThreads(const std::function<std::string(int)>& work) {
  std::vector<std::string> results(numThreads);
  std::atomic<int> waiting{numThreads};
  std::vector<std::thread> threads;
  threads.reserve(numThreads);
  for (int i = 0; i < numThreads; ++i) {
    threads.emplace_back([&, i] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      results[static_cast<std::size_t>(i)] = work(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
  return results;
}

std::string readBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// The first answer that is not the recorded one; empty when all are.
std::string firstDifference(Vek::VekRoMemCache& cache, const std::vector<EvalQuery>& queries) {
  EvalReplay calls(cache);
  for (const EvalQuery& query : queries) {
    const EvalAnswer answer = calls.run(query);
    const std::string difference = compareAnswer(query, answer);
    if (!difference.empty()) return difference + " in " + query.line;
  }
  return "";
}

class SeparateCachesTest : public testing::TestWithParam<std::string> {
 protected:
  std::string file() const { return goldenPath(GetParam() + ".vek"); }
};

TEST_P(SeparateCachesTest, eightReadersOfOneFileGetTheRecordedAnswers) {
  const std::vector<EvalQuery> queries = readQueries(GetParam());
  ASSERT_FALSE(queries.empty());
  const auto read = [&](int thread) -> std::string {
    bool ok = false;
    // A few of each way to hold samples.
    Vek::VekRoMemCache cache(file().c_str(), thread % 2 == 0, thread % 4, &ok);
    return ok ? firstDifference(cache, queries) : "the file was not loaded";
  };
  for (const std::string& difference : onThreads(read)) EXPECT_EQ(difference, "");
}

TEST_P(SeparateCachesTest, eightWritersOfOneSceneWriteTheSameBytes) {
  const auto write = [&](int thread) -> std::string {
    const std::string copy =
        testing::TempDir() + "separate_" + GetParam() + std::to_string(thread) + ".vek";
    Vek::VekRwMemCache cache(file().c_str());
    if (!cache.saveAs(copy.c_str())) return "the copy was not saved";
    // The date of the save is the one thing that may differ.
    cache.getMETAChunk().dateStamp = 1;
    cache.setName(0, "renamed");
    Vek::VekFile written(copy.c_str(), "w");
    const bool done = cache.getDVEKChunk().write(written) && cache.getMETAChunk().write(written);
    const bool closed = written.close();
    std::string bytes = done && closed ? readBytes(copy) : "";
    std::remove(copy.c_str());
    return bytes;
  };
  const std::vector<std::string> copies = onThreads(write);
  EXPECT_FALSE(copies[0].empty());
  for (const std::string& bytes : copies) EXPECT_EQ(bytes, copies[0]);
}

INSTANTIATE_TEST_SUITE_P(Scenes, SeparateCachesTest, testing::ValuesIn(sceneNames()),
                         [](const auto& scene) { return scene.param; });

}  // namespace
