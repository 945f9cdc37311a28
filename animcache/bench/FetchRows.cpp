// SPDX-License-Identifier: Apache-2.0
//
// Small questions to a cache that has read nothing but the head: one object of one sample, whether
// an object has a chunk, its view, a summary of the file. What they cost must not depend on how
// much the file holds.

#include <VekCache.h>
#include <VekHelperObj.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vekUtils.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <random>

#include "BenchRows.h"
#include "PlainHead.h"
#include "SceneFile.h"

using namespace Vek;

namespace bench {

namespace {

/// Caches of one file that have only been opened.
class FreshCaches {
 public:
  explicit FreshCaches(std::string path) : m_path(std::move(path)) {}

  void open(int count) {
    m_caches.clear();
    for (int i = 0; i < count; ++i) {
      bool ok = false;
      m_caches.push_back(std::make_unique<VekRoMemCache>(m_path.c_str(), true, 1, &ok));
      require(ok, "cannot open a file");
    }
  }
  void close() { m_caches.clear(); }
  auto begin() { return m_caches.begin(); }
  auto end() { return m_caches.end(); }
  const std::string& path() const { return m_path; }

 private:
  std::string m_path;
  std::vector<std::unique_ptr<VekRoMemCache>> m_caches;
};

// --- One object of one sample --------------------------------------------------------------------

/// Every sample once in random order, a random object of each. The plain program knows where the
/// samples are and reads the object's place from the sample's table, then the object.
class FetchWork final : public Work {
 public:
  FetchWork(const std::string& path, const SceneSize& size, int numCaches)
      : m_numCaches(numCaches), m_caches(path) {
    ensureFile(path, size);
    PlainHead head(m_buffer);
    head.open(path);
    m_samplePlaces = head.sampleTable;
    chooseObjects(head.objects.size());
    m_file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    require(m_file >= 0, "cannot open a file");
    struct stat status = {};
    require(fstat(m_file, &status) == 0, "cannot tell a file's size");
    m_samplePlaces.push_back(status.st_size);
  }
  ~FetchWork() override { close(m_file); }

  void prepare() override { m_caches.open(m_numCaches); }
  void finish() override { m_caches.close(); }
  void library() override {
    for (const auto& cache : m_caches) {
      for (const Place& place : m_places)
        require(cache->getSample(place.sample, place.object) != nullptr, "cannot read an object");
    }
  }
  void baseline() override {
    for (int i = 0; i < m_numCaches; ++i) {
      for (const Place& place : m_places) fetchPlainly(place);
    }
  }
  double numUnits() const override { return static_cast<double>(m_places.size()) * m_numCaches; }

 private:
  struct Place {
    int sample;
    int object;
  };

  void chooseObjects(std::size_t numObjects) {
    m_numObjects = static_cast<int>(numObjects);
    std::mt19937 random(1);
    std::uniform_int_distribution<int> anyObject(0, m_numObjects - 1);
    for (std::size_t s = 0; s < m_samplePlaces.size(); ++s)
      m_places.push_back({static_cast<int>(s), anyObject(random)});
    std::shuffle(m_places.begin(), m_places.end(), random);
  }

  void fetchPlainly(const Place& place) {
    const auto sample = static_cast<std::size_t>(place.sample);
    // The headers of the sample and of its table stand before the entries.
    const __int64 entry = m_samplePlaces[sample] + 32 + 8 * place.object;
    __int64 range[2] = {};
    require(pread(m_file, range, sizeof range, entry) == sizeof range, "cannot read a table");
    if (place.object + 1 == m_numObjects) range[1] = m_samplePlaces[sample + 1];
    const auto size = static_cast<std::size_t>(range[1] - range[0]);
    if (m_buffer.size() < size) m_buffer.resize(size);
    require(pread(m_file, m_buffer.data(), size, range[0]) == static_cast<ssize_t>(size),
            "cannot read an object");
    require(std::memcmp(m_buffer.data(), "SOBJ", 4) == 0, "no object");
  }

  int m_numCaches;
  FreshCaches m_caches;
  std::vector<char> m_buffer;
  std::vector<__int64> m_samplePlaces;
  std::vector<Place> m_places;
  int m_numObjects = 0;
  int m_file = -1;
};

// --- What an object is ---------------------------------------------------------------------------

class QuestionWork : public Work {
 public:
  QuestionWork(const std::string& path, const SceneSize& size) : m_caches(path) {
    ensureFile(path, size);
  }
  bool hasBaseline() const override { return false; }
  void prepare() override { m_caches.open(numCaches); }
  void finish() override { m_caches.close(); }
  void library() override {
    for (const auto& cache : m_caches) ask(*cache);
  }
  double numUnits() const override { return numCaches; }

 protected:
  virtual void ask(VekRoMemCache& cache) = 0;
  static constexpr int numCaches = 50;
  FreshCaches m_caches;
};

class HasWork final : public QuestionWork {
  using QuestionWork::QuestionWork;
  void ask(VekRoMemCache& cache) override {
    require(cache.objectHas(0, Tag::POSI) && !cache.objectHas(0, Tag::NRBS), "wrong chunks");
  }
};

class AnimatedWork final : public QuestionWork {
  using QuestionWork::QuestionWork;
  void ask(VekRoMemCache& cache) override {
    require(cache.isObjectAnimated(0, Tag::POSI), "not animated");
  }
};

class FactoryWork final : public QuestionWork {
  using QuestionWork::QuestionWork;
  void ask(VekRoMemCache& cache) override {
    VekHelperObjFactory factory(&cache);
    VekHelperObj* const view = factory.vekObjBuilder(0);
    require(view != nullptr && view->isA("mesh"), "no mesh");
    view->destroy();
  }
};

/// Prints to nowhere.
class InfoWork final : public QuestionWork {
 public:
  using QuestionWork::QuestionWork;
  void prepare() override {
    std::fflush(stdout);
    m_stdout = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    require(m_stdout >= 0 && nowhere >= 0 && dup2(nowhere, STDOUT_FILENO) >= 0,
            "cannot redirect the output");
    close(nowhere);
  }
  void finish() override {
    std::fflush(stdout);
    dup2(m_stdout, STDOUT_FILENO);
    close(m_stdout);
  }
  void library() override {
    for (int i = 0; i < numCaches; ++i)
      require(vekinfo(m_caches.path().c_str()) == 0, "cannot summarise a file");
  }

 private:
  void ask(VekRoMemCache&) override {}
  int m_stdout = -1;
};

template <typename AnyWork>
Row questionRow(const std::string& question, int numPoints) {
  return ratioRow(question + "/points/" + std::to_string(numPoints), 0,
                  [numPoints](const std::string& folder) {
                    SceneSize size;
                    size.numSamples = 3;
                    size.numMeshes = 1;
                    size.numPoints = numPoints;
                    size.hasTopology = false;
                    return std::make_unique<AnyWork>(
                        folder + "/points." + std::to_string(numPoints) + ".vek", size);
                  });
}

Row fetchRow(const std::string& axis, int n, const SceneSize& size, int numCaches) {
  return figureRow("fetch/" + axis + "/" + std::to_string(n), "calls_per_unit", 3,
                   [=](const std::string& folder) {
                     return std::make_unique<FetchWork>(
                         folder + "/grow." + axis + "." + std::to_string(n) + ".vek", size,
                         numCaches);
                   });
}

}  // namespace

void addFetchRows(std::vector<Row>& rows) {
  for (const char* scene : {"W1", "W2", "W3", "W4"}) {
    const std::string name = scene;
    rows.push_back(
        figureRow("fetch/scene/" + name, "calls_per_unit", 3, [name](const std::string& folder) {
          return std::make_unique<FetchWork>(folder + "/" + name + ".vek", namedSize(name), 4);
        }));
  }
  for (const int n : {100, 1000, 10000, 100000}) {
    SceneSize size;
    size.numSamples = 10;
    size.numTransforms = n;
    rows.push_back(fetchRow("objects", n, size, 10));
  }
  for (const int n : {10, 100, 1000, 10000}) {
    SceneSize size;
    size.numSamples = n;
    size.numTransforms = 100;
    rows.push_back(fetchRow("samples", n, size, std::max(1, 200 / n)));
  }
  for (const int n : {1000, 10000, 100000, 1000000}) {
    rows.push_back(questionRow<HasWork>("objectHas", n));
    rows.push_back(questionRow<AnimatedWork>("isObjectAnimated", n));
    rows.push_back(questionRow<FactoryWork>("factory", n));
    rows.push_back(questionRow<InfoWork>("vekinfo", n));
  }
}

}  // namespace bench
