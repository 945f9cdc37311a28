// SPDX-License-Identifier: Apache-2.0
//
// Looking objects up by name, and appending a frame to files of different lengths.

#include <VekCache.h>

#include <cstring>
#include <filesystem>
#include <random>
#include <string_view>

#include "BenchRows.h"
#include "SceneFile.h"

using namespace Vek;

namespace bench {

namespace {

// --- Names ---------------------------------------------------------------------------------------

struct Query {
  std::string name;
  int hint;
  int found;
};

/// The plain program compares names, then their last parts, in a table of strings.
class FindWork final : public Work {
 public:
  FindWork(const std::string& path, bool inOrder) {
    ensureFile(path, sizeW3());
    bool ok = false;
    m_cache = std::make_unique<VekRoMemCache>(path.c_str(), true, &ok);
    require(ok, "cannot open a file");
    for (int i = 0; i < m_cache->getNumObjects(); ++i) m_names.push_back(m_cache->getName(i));
    std::mt19937 random(3);
    std::uniform_int_distribution<int> anyObject(0, m_cache->getNumObjects() - 1);
    const int count = inOrder ? m_cache->getNumObjects() : 50;
    for (int i = 0; i < count; ++i) {
      const int object = inOrder ? i : anyObject(random);
      m_queries.push_back({m_cache->getName(object), inOrder ? i : 0, object});
    }
  }

  void library() override {
    for (const Query& query : m_queries)
      require(m_cache->findObjectIndex(query.name, query.hint) == query.found, "wrong object");
  }
  void baseline() override {
    for (const Query& query : m_queries) require(find(query) == query.found, "wrong object");
  }
  double numUnits() const override { return static_cast<double>(m_queries.size()); }

 private:
  static std::string_view shortName(std::string_view name) {
    return name.substr(name.rfind('|') + 1);
  }
  int find(const Query& query) const {
    const std::string_view shortQuery = shortName(query.name);
    for (std::size_t k = 0; k < m_names.size(); ++k) {
      const std::size_t i = (static_cast<std::size_t>(query.hint) + k) % m_names.size();
      if (m_names[i] == query.name || shortName(m_names[i]) == shortQuery)
        return static_cast<int>(i);
    }
    return -1;
  }

  std::unique_ptr<VekRoMemCache> m_cache;
  std::vector<std::string> m_names;
  std::vector<Query> m_queries;
};

// --- Appending -----------------------------------------------------------------------------------

/// One frame of 100 transforms, from opening the file to closing it.
class AppendWork final : public Work {
 public:
  AppendWork(const std::string& folder, int numFrames)
      : m_original(folder + "/append." + std::to_string(numFrames) + ".vek"),
        m_path(folder + "/appended.vek") {
    m_size.numSamples = numFrames;
    m_size.numTransforms = 100;
    constexpr int reserve = 100;
    ensureFile(m_original, m_size, reserve);
    m_scene = makeScene(m_size, false);
    m_sample = makeSample(m_size, numFrames);
  }
  ~AppendWork() override {
    std::error_code error;
    std::filesystem::remove(m_path, error);
  }
  bool hasBaseline() const override { return false; }
  void prepare() override {
    std::filesystem::copy_file(m_original, m_path,
                               std::filesystem::copy_options::overwrite_existing);
  }
  void library() override {
    bool ok = false;
    VekRwMemCache cache(m_path.c_str(), true, &ok);
    require(ok, "cannot open a file");
    std::vector<VekGroupChunk*> frame;
    require(cache.allocFrame(static_cast<float>(m_size.numSamples) + 1.0F, frame), "no frame");
    for (std::size_t i = 0; i < frame.size(); ++i)
      addLeaves(*frame[i], m_scene.objects[i], m_sample[i]);
    require(cache.append(), "cannot append");
  }
  void finish() override {
    const auto added = std::filesystem::file_size(m_path) - std::filesystem::file_size(m_original);
    require(added == 16 + 16 + 100 * (8 + 32 + 128), "not one frame more");
  }
  void report(const Cost& cost, Figures& figures) const override {
    figures["table_bytes"] = 8.0 * m_size.numSamples;
    figures["moved_bytes"] = cost.readBytes + cost.writtenBytes;
  }

 private:
  SceneSize m_size;
  std::string m_original;
  std::string m_path;
  Scene m_scene;
  std::vector<ObjectSample> m_sample;
};

}  // namespace

void addEditRows(std::vector<Row>& rows) {
  for (const bool inOrder : {true, false}) {
    rows.push_back(figureRow(inOrder ? "find/in_order" : "find/random", "lib_allocs_per_unit", 1,
                             [inOrder](const std::string& folder) {
                               return std::make_unique<FindWork>(folder + "/W3.vek", inOrder);
                             }));
  }
  for (const int n : {10, 1000, 10000}) {
    rows.push_back(ratioRow(
        "append/frames/" + std::to_string(n), 0,
        [n](const std::string& folder) { return std::make_unique<AppendWork>(folder, n); }));
  }
}

}  // namespace bench
