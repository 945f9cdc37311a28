// SPDX-License-Identifier: Apache-2.0
//
// Scenes written with the library.

#include "SceneFile.h"

#include <cstddef>
#include <stdexcept>

using namespace Vek;

namespace bench {

namespace {

void check(bool ok, const char* what) {
  if (!ok) throw std::runtime_error(what);
}

std::unique_ptr<VekChunk> makeChunk(const Leaf& leaf) {
  return std::visit(
      [&leaf](const auto& values) -> std::unique_ptr<VekChunk> {
        using T = typename std::decay_t<decltype(values)>::value_type;
        return std::make_unique<VekLeafChunk<T>>(leaf.header.tag, leaf.header.compound,
                                                 leaf.header.dimension, values);
      },
      leaf.values);
}

bool writeLeaves(VekFile& file, const Sample& sample, std::size_t object) {
  for (std::size_t i = sample.begin(object); i < sample.ends[object]; ++i) {
    if (!file.writeChunk(sample.leaves[i].header, sample.leaves[i].data)) return false;
  }
  return true;
}

bool writeObject(VekFile& file, VekSAMSChunk& stream, const Scene& scene, const Sample& sample,
                 std::size_t object) {
  if (!stream.writeStartSOBJChunk(file)) return false;
  if (scene.objects[object].animated.empty()) {
    if (!writeLeaves(file, sample, object)) return false;
  } else {
    if (!file.startGroup(VekHeader(Tag::ATRS, ValueType::Group, 0)) ||
        !writeLeaves(file, sample, object) || !file.endGroup()) {
      return false;
    }
  }
  return stream.writeEndSOBJChunk(file);
}

void writeStart(VekFile& file, VekSAMSChunk& stream, const std::string& path,
                const VekMETAChunk& head, int reserve) {
  check(file.open(path.c_str(), "w"), "cannot open a file for writing");
  check(VekDVEKChunk().write(file) && head.write(file), "cannot write the head");
  check(stream.writeStart(file, head.numSamples, reserve, false), "cannot start the samples");
}

void writeEnd(VekFile& file, VekSAMSChunk& stream) {
  check(stream.writeEnd(file) && file.close(), "cannot end the file");
}

void writeSample(VekFile& file, VekSAMSChunk& stream, const Scene& scene, const Sample& sample) {
  check(stream.writeStartSAMPChunk(file, static_cast<__int64>(sample.ends.size()), nullptr),
        "cannot start a sample");
  for (std::size_t i = 0; i < sample.ends.size(); ++i)
    check(writeObject(file, stream, scene, sample, i), "cannot write an object");
  check(stream.writeEndSAMPChunk(file), "cannot end a sample");
}

}  // namespace

void define(VekDOBJChunk& definition, const Object& object) {
  for (const Leaf& leaf : object.definition) definition.addChild(makeChunk(leaf).release());
  for (const AnimatedAttribute& a : object.animated)
    definition.addAttr(true, a.name, a.typeName, a.type);
  for (const StaticAttribute& a : object.statics) {
    const int index = definition.addAttr(false, a.name, a.typeName, a.value.header.type,
                                         a.value.header.compound, a.value.header.dimension);
    std::visit(
        [&](const auto& values) {
          using T = typename std::decay_t<decltype(values)>::value_type;
          asLeaf<T>(definition.getDATR()->getStaticData(index))->setData(values);
        },
        a.value.values);
  }
}

std::unique_ptr<VekMETAChunk> makeHead(const Scene& scene, int numSamples) {
  auto head = std::make_unique<VekMETAChunk>();
  head->application = "vek_bench";
  head->sourceFile = "scenes/bench.scene";
  head->dateStamp = 1767225600;
  head->numSamples = numSamples;
  head->firstTime = 1.0F;
  head->lastTime = static_cast<float>(numSamples);
  head->rate = 1.0F;
  for (const Object& object : scene.objects) define(*head->addDOBJ(object.name.c_str()), object);
  return head;
}

void addLeaves(VekGroupChunk& sobj, const Object& object, const ObjectSample& values) {
  VekGroupChunk* parent = &sobj;
  if (!object.animated.empty()) {
    parent = new VekGroupChunk(Tag::ATRS);
    sobj.addChild(parent);
  }
  for (const Leaf& leaf : values) parent->addChild(makeChunk(leaf).release());
}

std::unique_ptr<VekGroupChunk> makeTree(const Object& object, const ObjectSample& values) {
  auto sobj = std::make_unique<VekGroupChunk>(Tag::SOBJ);
  addLeaves(*sobj, object, values);
  return sobj;
}

Trees makeTrees(const Scene& scene, const SceneSize& size) {
  Trees trees;
  for (int s = 0; s < size.numSamples; ++s) {
    const std::vector<ObjectSample> sample = makeSample(size, s);
    trees.emplace_back();
    for (std::size_t i = 0; i < sample.size(); ++i)
      trees.back().push_back(makeTree(scene.objects[i], sample[i]));
  }
  return trees;
}

namespace {

// Strings are packed in `sample`, whose bytes must not move any more.
const void* dataOf(const VekChunk& leaf, Sample& sample) {
  if (const auto* x = asLeaf<float>(&leaf)) return x->data.data();
  if (const auto* x = asLeaf<double>(&leaf)) return x->data.data();
  if (const auto* x = asLeaf<int>(&leaf)) return x->data.data();
  if (const auto* x = asLeaf<__int64>(&leaf)) return x->data.data();
  const auto* strings = asLeaf<std::string>(&leaf);
  check(strings != nullptr, "a leaf of another type");
  const std::size_t begin = sample.bytes.size();
  for (const std::string& s : strings->data)
    sample.bytes.insert(sample.bytes.end(), s.c_str(), s.c_str() + s.size() + 1);
  check(sample.bytes.size() <= sample.bytes.capacity(), "too many strings");
  return sample.bytes.data() + begin;
}

void listLeaves(const VekGroupChunk& group, Sample& sample) {
  for (unsigned __int64 i = 0; i < group.numChildren(); ++i) {
    const VekChunk* const child = group.getChild(i);
    if (const auto* inner = dynamic_cast<const VekGroupChunk*>(child))
      listLeaves(*inner, sample);
    else
      sample.leaves.push_back({child->getHeader(), dataOf(*child, sample)});
  }
}

}  // namespace

Sample listSampleLeaves(const std::vector<const VekGroupChunk*>& sobjs) {
  constexpr std::size_t roomForStrings = 1U << 20U;
  Sample sample;
  sample.bytes.reserve(roomForStrings);
  for (const VekGroupChunk* sobj : sobjs) {
    listLeaves(*sobj, sample);
    sample.ends.push_back(sample.leaves.size());
  }
  return sample;
}

std::vector<Sample> listLeaves(const Trees& trees) {
  std::vector<Sample> samples;
  for (const auto& tree : trees) {
    std::vector<const VekGroupChunk*> sobjs;
    for (const auto& sobj : tree) sobjs.push_back(sobj.get());
    samples.push_back(listSampleLeaves(sobjs));
  }
  return samples;
}

void writeStreaming(const std::string& path, const VekMETAChunk& head, const Scene& scene) {
  VekFile file;
  VekSAMSChunk stream;
  writeStart(file, stream, path, head, 0);
  for (const Sample& sample : scene.samples) writeSample(file, stream, scene, sample);
  writeEnd(file, stream);
}

namespace {

template <typename T>
bool writeAs(VekFile& file, const VekChunk& chunk, const VekHeader& h) {
  return file.writeChunk(h.tag, static_cast<const VekLeafChunk<T>&>(chunk).data, -1, h.compound,
                         h.dimension);
}

bool writeVector(VekFile& file, const VekChunk& chunk) {
  const VekHeader h = chunk.getHeader();
  switch (h.type) {
    case ValueType::Int32:
      return writeAs<int>(file, chunk, h);
    case ValueType::Int64:
      return writeAs<__int64>(file, chunk, h);
    case ValueType::Float:
      return writeAs<float>(file, chunk, h);
    case ValueType::Double:
      return writeAs<double>(file, chunk, h);
    default:
      return writeAs<std::string>(file, chunk, h);
  }
}

bool writeVectors(VekFile& file, const VekGroupChunk& group) {
  for (unsigned __int64 i = 0; i < group.numChildren(); ++i) {
    const VekChunk& child = *group.getChild(i);
    if (child.getType() != ValueType::Group) {
      if (!writeVector(file, child)) return false;
    } else if (!file.startGroup(child.getHeader()) ||
               !writeVectors(file, static_cast<const VekGroupChunk&>(child)) || !file.endGroup()) {
      return false;
    }
  }
  return true;
}

}  // namespace

void writeVectors(const std::string& path, const VekMETAChunk& head, const Trees& trees) {
  VekFile file;
  VekSAMSChunk stream;
  writeStart(file, stream, path, head, 0);
  for (const auto& sample : trees) {
    check(stream.writeStartSAMPChunk(file, static_cast<__int64>(sample.size()), nullptr),
          "cannot start a sample");
    for (const auto& sobj : sample) {
      check(stream.writeStartSOBJChunk(file) && writeVectors(file, *sobj) &&
                stream.writeEndSOBJChunk(file),
            "cannot write an object");
    }
    check(stream.writeEndSAMPChunk(file), "cannot end a sample");
  }
  writeEnd(file, stream);
}

void writeTrees(const std::string& path, const VekMETAChunk& head, const Trees& trees) {
  VekFile file;
  VekSAMSChunk stream;
  writeStart(file, stream, path, head, 0);
  for (const auto& sample : trees) {
    check(stream.writeStartSAMPChunk(file, static_cast<__int64>(sample.size()), nullptr),
          "cannot start a sample");
    for (const auto& sobj : sample)
      check(stream.writeSOBJChunk(file, sobj.get()), "cannot write an object");
    check(stream.writeEndSAMPChunk(file), "cannot end a sample");
  }
  writeEnd(file, stream);
}

void ensureFile(const std::string& path, const SceneSize& size, int reserve) {
  if (VekFile::exists(path.c_str())) return;
  const Scene scene = makeScene(size, false);
  VekFile file;
  VekSAMSChunk stream;
  writeStart(file, stream, path, *makeHead(scene, size.numSamples), reserve);
  for (int s = 0; s < size.numSamples; ++s)
    writeSample(file, stream, scene, packSample(makeSample(size, s)));
  writeEnd(file, stream);
}

}  // namespace bench
