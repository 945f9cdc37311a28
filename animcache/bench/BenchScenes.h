// SPDX-License-Identifier: Apache-2.0
//
// The scenes that are measured, as plain data: both the library and the plain programs write them
// from here. Every value differs from the others around it.

#ifndef VEK_BENCH_SCENES_H
#define VEK_BENCH_SCENES_H

#include <VekChunks.h>

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

namespace bench {

using Values = std::variant<std::vector<int>, std::vector<__int64>, std::vector<float>,
                            std::vector<double>, std::vector<std::string>>;

/// A chunk of values.
struct Leaf {
  Leaf(unsigned int tag, Values values, unsigned char compound = 0, unsigned char dimension = 1);

  Vek::VekHeader header;
  Values values;
};

/// A chunk whose payload lies somewhere else, as it stands in the file.
struct RawLeaf {
  Vek::VekHeader header;
  const void* data;
};

struct StaticAttribute {
  std::string name;
  std::string typeName;
  Leaf value;
};

struct AnimatedAttribute {
  std::string name;
  std::string typeName;
  unsigned char type;
};

struct Object {
  std::string name;
  std::vector<Leaf> definition;
  std::vector<StaticAttribute> statics;
  std::vector<AnimatedAttribute> animated;
};

/// The data of one object in one sample: those of its animated attributes if it has any.
using ObjectSample = std::vector<Leaf>;

/// The data of all objects in one sample, in their order.
struct Sample {
  std::vector<RawLeaf> leaves;
  std::vector<std::size_t> ends;  ///< by object, one past its last leaf
  std::vector<char> bytes;        ///< the payloads one after another, unless they lie elsewhere

  std::size_t begin(std::size_t object) const { return object == 0 ? 0 : ends[object - 1]; }
};

/// Sample i lies at frame 1 + i.
struct Scene {
  std::vector<Object> objects;
  std::vector<Sample> samples;
};

/// What a scene holds.
struct SceneSize {
  int numSamples = 1;
  int numTransforms = 0;  ///< a 4x4 matrix of doubles in every sample
  int numMeshes = 0;
  int numPoints = 0;        ///< of each mesh, positions in every sample
  bool hasTopology = true;  ///< the same in all samples
  int numAttributeObjects = 0;
  int numStaticAttributes = 0;  ///< of mixed types
  int numAnimatedAttributes = 0;
  int numChannelTransforms = 0;  ///< stored as 30 animated channels
};

/// W1: one mesh of 250,000 points, 100 samples.
SceneSize sizeW1();
/// W2: 1,000 transforms and 1,000 meshes of 500 points, 50 samples.
SceneSize sizeW2();
/// W3: 20,000 transforms, 50 samples.
SceneSize sizeW3();
/// W4: 500 objects with 40 static and 10 animated attributes, 50 samples.
SceneSize sizeW4();
/// One of the four by its name.
SceneSize namedSize(const std::string& name);

/// With `withSamples` false only the objects are made.
Scene makeScene(const SceneSize& size, bool withSamples = true);

/// The data of one sample of a scene of that size.
std::vector<ObjectSample> makeSample(const SceneSize& size, int sample);
/// The same in contiguous memory.
Sample packSample(const std::vector<ObjectSample>& objects);

}  // namespace bench

#endif
