// SPDX-License-Identifier: Apache-2.0
//
// Caches of one object with points, described chunk by chunk and written by hand, and the results
// of a view's accessors as values that compare.

#ifndef VEK_TEST_POINT_SCENE_H
#define VEK_TEST_POINT_SCENE_H

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "ByteImage.h"
#include "SceneImage.h"
#include "VekCache.h"
#include "VekHelperObj.h"

namespace VekTest {

using AnimationState = Vek::VekHelperObj::AnimationState;
constexpr AnimationState kStatic = Vek::VekHelperObj::Static;
constexpr AnimationState kAnimated = Vek::VekHelperObj::Animated;

/// A chunk of values with the value type of T.
template <typename T>
ByteImage pointChunk(const char* tag, const std::vector<T>& values, int dimension = 0) {
  ByteImage payload;
  for (const T& v : values) {
    if constexpr (std::is_same_v<T, std::string>) {
      payload.cstr(v);
    } else {
      payload.value(v);
    }
  }
  return ByteImage().chunk(tag, Vek::VekTypeOf<T>::value, payload, 0, dimension);
}

/// The values of one attribute.
template <typename T>
ByteImage attrChunk(const std::vector<T>& values, int dimension = 3) {
  return pointChunk<T>("ATTR", values, dimension);
}

/// One chunk of the tag for each value type, with the values 0 and 0; chunks and raw bytes too.
struct TypedChunk {
  int type;
  ByteImage image;
};
inline std::vector<TypedChunk> chunksOfEveryType(const char* tag, int dimension) {
  return {{0, ByteImage().chunk(tag, 0, ByteImage().zeros(8), 0, dimension)},
          {1, ByteImage().chunk(tag, 1, ByteImage(), 0, dimension)},
          {2, pointChunk<std::string>(tag, {"0", "0"}, dimension)},
          {3, pointChunk<int>(tag, {0, 0}, dimension)},
          {4, pointChunk<float>(tag, {0, 0}, dimension)},
          {5, pointChunk<std::int64_t>(tag, {0, 0}, dimension)},
          {6, pointChunk<double>(tag, {0, 0}, dimension)},
          {7, ByteImage().chunk(tag, 7, ByteImage().zeros(8), 0, dimension)}};
}

/// A file with one object, "|obj".
struct PointScene {
  std::vector<ByteImage> fixed = {};                 ///< chunks of the definition
  std::vector<std::vector<ByteImage>> samples = {};  ///< chunks of each sample
  std::vector<std::string> animatedAttrs = {};       ///< their values are ATRS chunks of samples
  std::vector<std::pair<std::string, ByteImage>> fixedAttrs = {};  ///< names and ATTR chunks
  float firstTime = 0.0F;
  float rate = 1.0F;
  std::vector<float> times = {};  ///< of non-uniform samples

  ByteImage image() const {
    Head head;
    head.numSamples = static_cast<std::int64_t>(samples.size());
    head.firstTime = times.empty() ? firstTime : times.front();
    head.rate = times.empty() ? rate : 0.0F;
    head.lastTime = times.empty() ? lastUniformTime() : times.back();
    head.definitions = {definition("|obj", join({join(fixed), attributes()}))};
    ByteImage file = headImage(head);
    if (samples.empty()) return file;
    Stream stream;
    stream.times = times;
    for (const std::vector<ByteImage>& chunks : samples) stream.objects.push_back({join(chunks)});
    addStream(file, stream);
    return file;
  }

 private:
  float lastUniformTime() const {
    if (samples.empty()) return firstTime;
    return firstTime + static_cast<float>(samples.size() - 1) / rate;
  }
  static ByteImage list(const char* tag, const std::vector<std::string>& names) {
    const std::vector<std::string> types(names.size(), "type");
    return group(tag, join({textChunk("NAME", names), textChunk("TYPE", types)}));
  }
  ByteImage attributes() const {
    ByteImage image;
    if (!fixedAttrs.empty()) {
      std::vector<std::string> names;
      ByteImage values;
      for (const auto& [name, chunk] : fixedAttrs) {
        names.push_back(name);
        values.raw(chunk);
      }
      image.raw(list("SATR", names)).raw(group("ATRS", values));
    }
    if (!animatedAttrs.empty()) image.raw(list("AATR", animatedAttrs));
    return image.size() == 0 ? image : group("DATR", image);
  }
};

/// A scene whose only chunks are those of the definition, with one empty sample.
inline PointScene fixedScene(const std::vector<ByteImage>& chunks) {
  return {chunks, {{}}};
}
/// A scene of one sample.
inline PointScene sampleScene(const std::vector<ByteImage>& chunks) {
  return {{}, {chunks}};
}

constexpr int kUnset = 99;  ///< what numbers hold before a call

/// What an accessor that copies returned and left in its outputs.
template <typename T>
struct Copied {
  bool ok = false;
  std::vector<T> values = {T(kUnset)};
  AnimationState state = kStatic;
  int dimension = kUnset;

  friend bool operator==(const Copied& a, const Copied& b) {
    return a.ok == b.ok && a.values == b.values && a.state == b.state && a.dimension == b.dimension;
  }
  friend std::ostream& operator<<(std::ostream& os, const Copied& c) {
    return os << (c.ok ? "true " : "false ") << ::testing::PrintToString(c.values) << " state "
              << c.state << " dimension " << c.dimension;
  }
};

/// The same of one that hands out a pointer.
template <typename T>
struct Pointed {
  bool ok = false;
  const std::vector<T>* data = nullptr;
  AnimationState state = kStatic;
  int dimension = kUnset;

  friend bool operator==(const Pointed& a, const Pointed& b) {
    return a.ok == b.ok && a.data == b.data && a.state == b.state && a.dimension == b.dimension;
  }
  friend std::ostream& operator<<(std::ostream& os, const Pointed& p) {
    return os << (p.ok ? "true " : "false ") << p.data << " state " << p.state << " dimension "
              << p.dimension;
  }
};

/// A result that does not depend on what `state` held before the call.
template <typename Call>
auto fromEitherState(Call call) {
  const auto result = call(kStatic);
  EXPECT_EQ(call(kAnimated), result) << "state is not set";
  return result;
}

/// Calls an accessor that copies; `read` takes the vector, the state and the dimension.
template <typename T, typename Read>
Copied<T> copied(Read read) {
  return fromEitherState([&](AnimationState before) {
    Copied<T> result;
    result.state = before;
    result.ok = read(result.values, result.state, result.dimension);
    return result;
  });
}

/// Calls an accessor that hands out a pointer.
template <typename T, typename Read>
Pointed<T> pointed(Read read) {
  return fromEitherState([&](AnimationState before) {
    const std::vector<T> other;
    Pointed<T> result;
    result.data = &other;
    result.state = before;
    result.ok = read(result.data, result.state, result.dimension);
    return result;
  });
}

/// The cache's own values of a chunk.
template <typename T>
const std::vector<T>* ownValues(Vek::VekRoMemCache& cache, int sample, unsigned int tag) {
  const auto* leaf = Vek::asLeaf<T>(cache.getObjectData(sample, 0, tag, nullptr));
  return leaf == nullptr ? nullptr : &leaf->data;
}
/// The cache's own values of an attribute.
template <typename T>
const std::vector<T>* ownAttr(Vek::VekRoMemCache& cache, int sample, int attr) {
  const auto* leaf = Vek::asLeaf<T>(cache.getAttrData(sample, 0, attr));
  return leaf == nullptr ? nullptr : &leaf->data;
}

inline Vek::VekInterpolationHints hintsFor(int interpolation) {
  Vek::VekInterpolationHints hints;
  hints.interpolation = interpolation;
  hints.interpolationNames = {"none", "linear", "quadratic", "cubic"};
  return hints;
}

/// Tests of a view of a scene's object. View has a public constructor and destructor.
template <typename View>
class PointViewTest : public FileTest {
 protected:
  View& open(const PointScene& scene, int maxSamples = 0) {
    m_view.reset();
    bool ok = false;
    m_cache = std::make_unique<Vek::VekRoMemCache>(writeFile(scene.image()).c_str(), true,
                                                   maxSamples, &ok);
    EXPECT_TRUE(ok) << "the scene was refused";
    m_view = std::make_unique<View>(m_cache.get(), 0);
    return *m_view;
  }
  Vek::VekRoMemCache& cache() { return *m_cache; }

 private:
  std::unique_ptr<Vek::VekRoMemCache> m_cache;
  std::unique_ptr<View> m_view;
};

/// The place of a virtual operation in the table, where a pointer to it holds 1 more than its
/// offset in bytes.
template <typename Member>
std::ptrdiff_t slotOfMember(Member member) {
  std::ptrdiff_t word = 0;
  std::memcpy(&word, &member, sizeof(word));
  return (word - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

}  // namespace VekTest

#endif
