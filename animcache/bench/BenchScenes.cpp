// SPDX-License-Identifier: Apache-2.0
//
// The scenes that are measured.

#include "BenchScenes.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "VekMatrix.h"
#include "VekTransformChannels.h"

using namespace Vek;

namespace bench {

namespace {

/// A sequence of numbers that hardly repeats, the same for the same seed.
class Noise {
 public:
  Noise(int a, int b)
      : m_state(static_cast<std::uint64_t>(a) * 0x9E3779B97F4A7C15U +
                static_cast<std::uint64_t>(b) * 0xD1B54A32D192ED03U) {}

  std::uint64_t next() {
    m_state += 0x9E3779B97F4A7C15U;
    std::uint64_t z = m_state;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31U);
  }
  /// From 0 to 1.
  double real() { return static_cast<double>(next() >> 11U) * 0x1p-53; }
  float single() { return static_cast<float>(next() >> 40U) * 0x1p-24F; }
  int integer() { return static_cast<int>(next() >> 33U); }

 private:
  std::uint64_t m_state;
};

template <typename T>
std::size_t countBytes(const std::vector<T>& values) {
  return values.size() * sizeof(T);
}
std::size_t countBytes(const std::vector<std::string>& values) {
  std::size_t total = 0;
  for (const std::string& s : values) total += s.size() + 1;
  return total;
}

template <typename T>
void appendBytes(std::vector<char>& bytes, const std::vector<T>& values) {
  const auto* const p = reinterpret_cast<const char*>(values.data());
  bytes.insert(bytes.end(), p, p + countBytes(values));
}
void appendBytes(std::vector<char>& bytes, const std::vector<std::string>& values) {
  for (const std::string& s : values)
    bytes.insert(bytes.end(), s.c_str(), s.c_str() + s.size() + 1);
}

// --- Objects -------------------------------------------------------------------------------------

/// Quads over a grid of points.
void addTopology(Object& mesh, int numPoints) {
  const int columns = static_cast<int>(std::sqrt(static_cast<double>(numPoints)));
  std::vector<int> counts;
  std::vector<int> ids;
  for (int i = 0; i + columns + 1 < numPoints; ++i) {
    if (i % columns == columns - 1) continue;
    counts.push_back(4);
    ids.insert(ids.end(), {i, i + 1, i + columns + 1, i + columns});
  }
  mesh.definition.emplace_back(Tag::PCNT, std::move(counts));
  mesh.definition.emplace_back(Tag::PIDS, std::move(ids));
}

Object makeMesh(int number, int numPoints, bool hasTopology) {
  Object mesh;
  mesh.name = "|scene|group" + std::to_string(number % 97) + "|mesh" + std::to_string(number);
  mesh.definition.emplace_back(Tag::MESH, std::vector<int>{1});
  if (hasTopology) addTopology(mesh, numPoints);
  return mesh;
}

Object makeTransform(const std::string& kind, int number) {
  Object transform;
  transform.name = "|scene|group" + std::to_string(number % 97) + "|" + kind;
  transform.name += std::to_string(number);
  transform.definition.emplace_back(Tag::XFRM, std::vector<int>{1});
  return transform;
}

Object makeChannelTransform(int number) {
  Object transform = makeTransform("rig", number);
  for (const VekTransformChannel& channel : transformChannels)
    transform.animated.push_back({std::string(channel.name), "double", ValueType::Double});
  return transform;
}

struct AttributeKind {
  const char* typeName;
  unsigned char type;
  Leaf (*make)(Noise& noise);
};

Leaf makeText(Noise& noise) {
  std::string path = "textures/part" + std::to_string(noise.integer()) + ".tex";
  return {Tag::ATTR, std::vector<std::string>{std::move(path)}};
}

template <typename T>
Leaf makeThree(Noise& noise, unsigned char compound) {
  std::vector<T> values;
  for (int i = 0; i < 3; ++i) values.push_back(static_cast<T>(noise.single()));
  return {Tag::ATTR, std::move(values), compound, 3};
}

const AttributeKind attributeKinds[] = {
    {"float", ValueType::Float,
     [](Noise& noise) -> Leaf {
       return {Tag::ATTR, std::vector<float>{noise.single()}};
     }},
    {"vector", ValueType::Float,
     [](Noise& noise) { return makeThree<float>(noise, Compound::Vector); }},
    {"int", ValueType::Int32,
     [](Noise& noise) -> Leaf {
       return {Tag::ATTR, std::vector<int>{noise.integer()}};
     }},
    {"double", ValueType::Double,
     [](Noise& noise) -> Leaf {
       return {Tag::ATTR, std::vector<double>{noise.real()}};
     }},
    {"string", ValueType::String, makeText},
    {"int64", ValueType::Int64,
     [](Noise& noise) -> Leaf {
       return {Tag::ATTR, std::vector<__int64>{static_cast<__int64>(noise.next())}};
     }},
    {"color", ValueType::Float,
     [](Noise& noise) { return makeThree<float>(noise, Compound::Color); }},
    {"point", ValueType::Double,
     [](Noise& noise) { return makeThree<double>(noise, Compound::Point); }},
};

const AttributeKind& attributeKind(int attribute) {
  return attributeKinds[static_cast<std::size_t>(attribute) % std::size(attributeKinds)];
}

Object makeAttributeObject(int number, const SceneSize& size) {
  Noise noise(number, -1);
  Object object;
  object.name = "|scene|set" + std::to_string(number % 13) + "|item" + std::to_string(number);
  for (int i = 0; i < size.numAnimatedAttributes; ++i) {
    const AttributeKind& kind = attributeKind(i);
    object.animated.push_back({"animated" + std::to_string(i), kind.typeName, kind.type});
  }
  for (int i = 0; i < size.numStaticAttributes; ++i) {
    const AttributeKind& kind = attributeKind(i);
    object.statics.push_back({"setting" + std::to_string(i), kind.typeName, kind.make(noise)});
  }
  return object;
}

// --- Samples -------------------------------------------------------------------------------------

ObjectSample makeMatrix(int number, int sample) {
  Noise noise(number, -2);
  const double phase = 6.0 * noise.real();
  // From 1 to 12 degrees a sample: rotations that near one another are blended in another way.
  const double speed = 0.0175 * (1.0 + 11.0 * noise.real());
  const double angle = phase + speed * sample;
  const VekMatrix<double> m = rotation(angle, 0.7 * angle, 0.3 * angle, rotateOrders[0]) *
                              translation(10.0 * noise.real() + 0.1 * sample,
                                          10.0 * noise.real() + std::sin(angle), 10.0 * phase);
  return {{Tag::MTRX, std::vector<double>(m.m, m.m + 16), Compound::Transform, 16}};
}

ObjectSample makePoints(int number, int sample, int numPoints) {
  Noise noise(number, sample);
  std::vector<float> positions(3 * static_cast<std::size_t>(numPoints));
  const auto columns = static_cast<std::size_t>(std::sqrt(static_cast<double>(numPoints)));
  for (std::size_t i = 0; i < static_cast<std::size_t>(numPoints); ++i) {
    positions[3 * i] = static_cast<float>(i % columns) + noise.single();
    positions[3 * i + 1] = static_cast<float>(i / columns) + noise.single();
    positions[3 * i + 2] = noise.single();
  }
  return {{Tag::POSI, std::move(positions), Compound::Point, 3}};
}

ObjectSample makeAttributes(int number, int sample, int count) {
  Noise noise(number, sample);
  ObjectSample values;
  for (int i = 0; i < count; ++i) values.push_back(attributeKind(i).make(noise));
  return values;
}

ObjectSample makeChannels(int number, int sample) {
  Noise noise(number, sample);
  ObjectSample values;
  for (std::size_t c = 0; c < Channel::Count; ++c) {
    const bool isOrder = c == Channel::RotateOrder || c == Channel::TransformOrder;
    // The orders do not change, as in a scene.
    const double value = isOrder ? number % numOrders : 0.5 + noise.real();
    values.emplace_back(Tag::ATTR, std::vector<double>{value});
  }
  return values;
}

}  // namespace

Leaf::Leaf(unsigned int tag, Values v, unsigned char compound, unsigned char dimension)
    : values(std::move(v)) {
  constexpr unsigned char types[] = {ValueType::Int32, ValueType::Int64, ValueType::Float,
                                     ValueType::Double, ValueType::String};
  header.set(tag, types[values.index()], 0, compound, dimension);
  header.length =
      static_cast<__int64>(std::visit([](const auto& x) { return countBytes(x); }, values));
}

SceneSize sizeW1() {
  SceneSize size;
  size.numSamples = 100;
  size.numMeshes = 1;
  size.numPoints = 250000;
  return size;
}

SceneSize sizeW2() {
  SceneSize size;
  size.numSamples = 50;
  size.numTransforms = 1000;
  size.numMeshes = 1000;
  size.numPoints = 500;
  return size;
}

SceneSize sizeW3() {
  SceneSize size;
  size.numSamples = 50;
  size.numTransforms = 20000;
  return size;
}

SceneSize sizeW4() {
  SceneSize size;
  size.numSamples = 50;
  size.numAttributeObjects = 500;
  size.numStaticAttributes = 40;
  size.numAnimatedAttributes = 10;
  return size;
}

SceneSize namedSize(const std::string& name) {
  if (name == "W1") return sizeW1();
  if (name == "W2") return sizeW2();
  if (name == "W3") return sizeW3();
  if (name == "W4") return sizeW4();
  throw std::runtime_error("no scene " + name);
}

Scene makeScene(const SceneSize& size, bool withSamples) {
  Scene scene;
  for (int i = 0; i < size.numTransforms; ++i) scene.objects.push_back(makeTransform("node", i));
  for (int i = 0; i < size.numMeshes; ++i)
    scene.objects.push_back(makeMesh(i, size.numPoints, size.hasTopology));
  for (int i = 0; i < size.numAttributeObjects; ++i)
    scene.objects.push_back(makeAttributeObject(i, size));
  for (int i = 0; i < size.numChannelTransforms; ++i)
    scene.objects.push_back(makeChannelTransform(i));
  if (withSamples) {
    for (int s = 0; s < size.numSamples; ++s)
      scene.samples.push_back(packSample(makeSample(size, s)));
  }
  return scene;
}

std::vector<ObjectSample> makeSample(const SceneSize& size, int sample) {
  std::vector<ObjectSample> objects;
  for (int i = 0; i < size.numTransforms; ++i) objects.push_back(makeMatrix(i, sample));
  for (int i = 0; i < size.numMeshes; ++i) objects.push_back(makePoints(i, sample, size.numPoints));
  for (int i = 0; i < size.numAttributeObjects; ++i)
    objects.push_back(makeAttributes(i, sample, size.numAnimatedAttributes));
  for (int i = 0; i < size.numChannelTransforms; ++i) objects.push_back(makeChannels(i, sample));
  return objects;
}

Sample packSample(const std::vector<ObjectSample>& objects) {
  std::size_t total = 0;
  for (const ObjectSample& object : objects) {
    for (const Leaf& leaf : object) total += static_cast<std::size_t>(leaf.header.length);
  }
  Sample sample;
  sample.bytes.reserve(total);  // Payloads stay where they are.
  for (const ObjectSample& object : objects) {
    for (const Leaf& leaf : object) {
      sample.leaves.push_back({leaf.header, sample.bytes.data() + sample.bytes.size()});
      std::visit([&sample](const auto& values) { appendBytes(sample.bytes, values); }, leaf.values);
    }
    sample.ends.push_back(sample.leaves.size());
  }
  return sample;
}

}  // namespace bench
