// SPDX-License-Identifier: Apache-2.0
//
// Opening a file and setting up a view of every object.

#include <VekCache.h>
#include <VekHelperObj.h>

#include "BenchRows.h"
#include "PlainHead.h"
#include "SceneFile.h"

using namespace Vek;

namespace bench {

namespace {

class OpenWork final : public Work {
 public:
  OpenWork(std::string path, const SceneSize& size) : m_path(std::move(path)) {
    ensureFile(m_path, size);
  }

  void library() override {
    for (int i = 0; i < numOpens; ++i) {
      bool ok = false;
      VekRoMemCache cache(m_path.c_str(), true, &ok);
      require(ok, "cannot open a file");
      VekHelperObjFactory factory(&cache);
      m_views.clear();
      for (int object = 0; object < cache.getNumObjects(); ++object)
        m_views.push_back(factory.vekObjBuilder(object));
      m_numObjects = m_views.size();
      for (VekHelperObj* view : m_views) view->destroy();
    }
  }
  void baseline() override {
    for (int i = 0; i < numOpens; ++i) {
      PlainHead head(m_buffer);
      head.open(m_path);
      m_numPlainObjects = head.objects.size();
    }
  }
  void compare() override {
    require(m_numObjects == m_numPlainObjects && m_numObjects > 0, "the objects differ");
  }
  double numUnits() const override { return numOpens; }

 private:
  static constexpr int numOpens = 5;
  std::string m_path;
  std::vector<VekHelperObj*> m_views;
  std::vector<char> m_buffer;
  std::size_t m_numObjects = 0;
  std::size_t m_numPlainObjects = 0;
};

}  // namespace

void addOpenRows(std::vector<Row>& rows) {
  constexpr double target = 2.5;
  for (const char* scene : {"W2", "W3", "W4"}) {
    const std::string name = scene;
    rows.push_back(ratioRow("open/" + name, target, [name](const std::string& folder) {
      return std::make_unique<OpenWork>(folder + "/" + name + ".vek", namedSize(name));
    }));
  }
  const auto addGrowth = [&rows](const std::string& axis, int n, const SceneSize& size) {
    const std::string id = axis + "." + std::to_string(n);
    rows.push_back(
        ratioRow("grow/open/" + axis + "/" + std::to_string(n), 0, [=](const std::string& folder) {
          return std::make_unique<OpenWork>(folder + "/grow." + id + ".vek", size);
        }));
  };
  for (const int n : {100, 1000, 10000, 100000}) {
    SceneSize size;
    size.numSamples = 10;
    size.numTransforms = n;
    addGrowth("objects", n, size);
  }
  for (const int n : {10, 100, 1000, 10000}) {
    SceneSize size;
    size.numSamples = n;
    size.numTransforms = 100;
    addGrowth("samples", n, size);
  }
}

}  // namespace bench
