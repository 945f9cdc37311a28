// SPDX-License-Identifier: Apache-2.0
//
// Caches for the tests of object views: leaves, attributes and whole scenes as bytes written by
// hand, a test that loads them, and a view whose inside is open to tests.

#ifndef VEK_TEST_VIEW_SCENE_H
#define VEK_TEST_VIEW_SCENE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "SceneImage.h"
#include "VekCache.h"
#include "VekHelperObj.h"

namespace VekTest {
namespace Views {

template <typename T>
ByteImage numberLeaf(const char* tag, int type, const std::vector<T>& values, int dimension) {
  ByteImage payload;
  for (const T v : values) payload.value(v);
  return ByteImage().chunk(tag, type, payload, 0, dimension);
}

inline ByteImage intLeaf(const char* tag, const std::vector<std::int32_t>& v, int dimension = 0) {
  return numberLeaf(tag, 3, v, dimension);
}
inline ByteImage floatLeaf(const char* tag, const std::vector<float>& v, int dimension = 0) {
  return numberLeaf(tag, 4, v, dimension);
}
inline ByteImage int64Leaf(const char* tag, const std::vector<std::int64_t>& v, int dimension = 0) {
  return numberLeaf(tag, 5, v, dimension);
}
inline ByteImage doubleLeaf(const char* tag, const std::vector<double>& v, int dimension = 0) {
  return numberLeaf(tag, 6, v, dimension);
}

/// A static attribute: its name and its ATTR chunk.
struct StaticAttr {
  std::string name;
  ByteImage values;
};

/// A DATR group. Every attribute's type text is "kind" and its name.
inline ByteImage attributes(const std::vector<std::string>& animated,
                            const std::vector<StaticAttr>& statics = {}) {
  std::vector<std::string> names;
  std::vector<std::string> types;
  ByteImage datr;
  ByteImage values;
  for (const StaticAttr& attr : statics) {
    names.push_back(attr.name);
    types.push_back("kind" + attr.name);
    values.raw(attr.values);
  }
  if (!statics.empty()) {
    datr.raw(group("SATR", join({textChunk("NAME", names), textChunk("TYPE", types)})))
        .raw(group("ATRS", values));
  }
  types.clear();
  for (const std::string& name : animated) types.push_back("kind" + name);
  if (!animated.empty()) {
    datr.raw(group("AATR", join({textChunk("NAME", animated), textChunk("TYPE", types)})));
  }
  return group("DATR", datr);
}

/// The values of the animated attributes of an object in one sample.
inline ByteImage attrValues(const std::vector<ByteImage>& values) {
  return group("ATRS", join(values));
}

/// A whole cache; `samples[s][o]` is what object o holds in sample s.
struct Scene {
  std::vector<ByteImage> definitions = {};
  std::vector<std::vector<ByteImage>> samples = {};
  float firstTime = 0.0F;
  float rate = 1.0F;
  std::vector<float> times = {};  ///< of a non-uniform cache; the two above are not used then
  float lastTime = kNaN;          ///< of a uniform cache, when not that of its last sample
};

inline ByteImage imageOf(const Scene& scene) {
  const std::size_t count = scene.samples.size();
  Head head;
  head.numSamples = static_cast<std::int64_t>(count);
  head.definitions = scene.definitions;
  if (!scene.times.empty()) {
    head.firstTime = scene.times.front();
    head.lastTime = scene.times.back();
    head.rate = 0.0F;
  } else {
    head.firstTime = scene.firstTime;
    head.rate = scene.rate;
    head.lastTime = scene.lastTime;
    if (head.lastTime != head.lastTime) {
      head.lastTime = scene.firstTime + static_cast<float>(count > 0 ? count - 1 : 0) / scene.rate;
    }
  }
  ByteImage image = headImage(head);
  if (count > 0) addStream(image, Stream{scene.times, scene.samples});
  return image;
}

/// A view whose protected members tests may reach, and which may live on the stack.
class OpenView : public Vek::VekHelperObj {
 public:
  OpenView(Vek::VekRoMemCache* cache, int object) : VekHelperObj(cache, object) {}
  OpenView(const OpenView&) = default;
  OpenView& operator=(const OpenView&) = default;
  ~OpenView() override = default;

  using VekHelperObj::addCategory;
  using VekHelperObj::getAttrDataChunk;
  using VekHelperObj::getEvalTimeAndSampleIndices;
  using VekHelperObj::getVekLeafData;
};

/// A test over one loaded cache.
class ViewTest : public FileTest {
 protected:
  Vek::VekRoMemCache* open(const Scene& scene, int maxSamples = 0, bool keepOpen = true) {
    return openBytes(imageOf(scene).bytes(), maxSamples, keepOpen);
  }
  Vek::VekRoMemCache* openBytes(const std::string& bytes, int maxSamples = 0,
                                bool keepOpen = true) {
    bool ok = false;
    m_cache =
        std::make_unique<Vek::VekRoMemCache>(writeFile(bytes).c_str(), keepOpen, maxSamples, &ok);
    EXPECT_TRUE(ok);
    return m_cache.get();
  }
  Vek::VekRoMemCache* cache() const { return m_cache.get(); }
  OpenView view(int object = 0) const { return {m_cache.get(), object}; }

 private:
  std::unique_ptr<Vek::VekRoMemCache> m_cache;
};

/// Frees a view at the end of a scope.
struct Destroy {
  void operator()(Vek::VekHelperObj* view) const { view->destroy(); }
};
template <typename View>
using Owned = std::unique_ptr<View, Destroy>;

}  // namespace Views
}  // namespace VekTest

#endif
