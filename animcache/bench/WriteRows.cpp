// SPDX-License-Identifier: Apache-2.0
//
// Writing the scenes: as an exporter does, chunk after chunk, from chunk trees, and by saving a
// cache that was built in memory.

#include <VekCache.h>

#include <cstddef>
#include <filesystem>

#include "BenchRows.h"
#include "PlainFile.h"
#include "SceneFile.h"

using namespace Vek;

namespace bench {

namespace {

/// Files that are new for every turn, and the plain program's turn.
class WriteWork : public Work {
 public:
  explicit WriteWork(const std::string& folder)
      : m_path(folder + "/written.vek"), m_plainPath(folder + "/written.plain.vek") {}
  ~WriteWork() override { removeFiles(); }

  void library() final { writeFile(m_path); }
  void baseline() final { m_plain->write(m_plainPath); }
  // The files of the first turns are compared; later ones go before the next turn, so that none
  // finds memory of another one to overwrite.
  void prepare() final {
    if (m_isCompared) removeFiles();
  }
  void compare() final {
    require(haveSameBytes(m_path, m_plainPath, m_numIgnored), "the files differ");
    m_isCompared = true;
    removeFiles();
  }
  void report(const Cost&, Figures& figures) const final {
    figures["mb"] = static_cast<double>(m_size) * 1e-6;
  }

 protected:
  virtual void writeFile(const std::string& path) = 0;

  /// The plain program writes that scene, which must stay, with room for more samples.
  void startPlain(const Scene& scene, int reserve = 0) {
    removeFiles();
    writeFile(m_path);
    std::vector<char> head = readHeadBytes(m_path);
    m_headSize = head.size();
    m_plain = std::make_unique<PlainWriter>(scene, std::move(head), reserve);
  }
  /// The head holds the time of day.
  void ignoreHead() { m_numIgnored = m_headSize; }

 private:
  void removeFiles() {
    std::error_code error;
    const auto size = std::filesystem::file_size(m_path, error);
    if (!error) m_size = size;
    std::filesystem::remove(m_path, error);
    std::filesystem::remove(m_plainPath, error);
  }

  std::string m_path;
  std::string m_plainPath;
  std::unique_ptr<PlainWriter> m_plain;
  bool m_isCompared = false;
  std::uintmax_t m_size = 0;
  std::size_t m_headSize = 0;
  std::size_t m_numIgnored = 0;
};

/// Both write from the same contiguous memory.
class StreamWork final : public WriteWork {
 public:
  StreamWork(const std::string& folder, const SceneSize& size)
      : WriteWork(folder), m_scene(makeScene(size)), m_head(makeHead(m_scene, size.numSamples)) {
    startPlain(m_scene);
  }

 protected:
  void writeFile(const std::string& path) override { writeStreaming(path, *m_head, m_scene); }

 private:
  Scene m_scene;
  std::unique_ptr<VekMETAChunk> m_head;
};

/// Both write the values that lie in the trees.
class TreeWork final : public WriteWork {
 public:
  using Write = void (*)(const std::string& path, const VekMETAChunk& head, const Trees& trees);

  TreeWork(const std::string& folder, const SceneSize& size, Write write)
      : WriteWork(folder),
        m_write(write),
        m_scene(makeScene(size, false)),
        m_head(makeHead(m_scene, size.numSamples)),
        m_trees(makeTrees(m_scene, size)) {
    m_scene.samples = listLeaves(m_trees);
    startPlain(m_scene);
  }

 protected:
  void writeFile(const std::string& path) override { m_write(path, *m_head, m_trees); }

 private:
  Write m_write;
  Scene m_scene;
  std::unique_ptr<VekMETAChunk> m_head;
  Trees m_trees;
};

/// Saves a cache that was built in memory; the plain program writes the same values.
class SaveWork final : public WriteWork {
 public:
  SaveWork(const std::string& folder, const SceneSize& size)
      : WriteWork(folder), m_scene(makeScene(size, false)) {
    for (int s = 0; s < size.numSamples; ++s) addSample(makeSample(size, s));
    m_cache.setReservedSamples(reserve);
    startPlain(m_scene, reserve);
    ignoreHead();
  }

 protected:
  void writeFile(const std::string& path) override {
    require(m_cache.saveAs(path.c_str()), "cannot save");
  }

 private:
  void addSample(const std::vector<ObjectSample>& objects) {
    const float time = 1.0F + static_cast<float>(m_scene.samples.size());
    if (m_scene.samples.empty()) {
      for (const Object& object : m_scene.objects)
        define(*m_cache.getMETAChunk().addDOBJ(object.name.c_str()), object);
    }
    std::vector<VekGroupChunk*> frame;
    require(m_cache.allocFrame(time, frame), "cannot add a sample");
    for (std::size_t i = 0; i < frame.size(); ++i)
      addLeaves(*frame[i], m_scene.objects[i], objects[i]);
    m_scene.samples.push_back(listSampleLeaves({frame.begin(), frame.end()}));
  }

  static constexpr int reserve = 100;
  Scene m_scene;
  VekRwMemCache m_cache;
};

Row writeRow(const std::string& name,
             std::function<std::unique_ptr<Work>(const std::string&)> make) {
  constexpr double target = 1.1;
  return ratioRow(name, target, std::move(make));
}

}  // namespace

void addWriteRows(std::vector<Row>& rows) {
  for (const std::string scene : {"W1", "W2", "W3", "W4"}) {
    const SceneSize size = namedSize(scene);
    rows.push_back(writeRow("write/stream/" + scene, [size](const std::string& folder) {
      return std::make_unique<StreamWork>(folder, size);
    }));
    rows.push_back(writeRow("write/vectors/" + scene, [size](const std::string& folder) {
      return std::make_unique<TreeWork>(folder, size, &writeVectors);
    }));
    rows.push_back(writeRow("write/trees/" + scene, [size](const std::string& folder) {
      return std::make_unique<TreeWork>(folder, size, &writeTrees);
    }));
    rows.push_back(writeRow("write/save/" + scene, [size](const std::string& folder) {
      return std::make_unique<SaveWork>(folder, size);
    }));
  }
}

}  // namespace bench
