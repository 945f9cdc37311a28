// SPDX-License-Identifier: Apache-2.0
//
// What all objects of the example scene share: how a sample is written and how values become
// chunks.

#include "SceneObjects.h"

using namespace Vek;

bool SceneObject::writeSample(VekSAMSChunk& stream, VekFile& file, double frame) const {
  VekGroupChunk sample(Tag::SOBJ);
  fillSample(sample, frame);
  return stream.writeSOBJChunk(file, &sample);
}

void SceneObject::fillSample(VekGroupChunk&, double) const {}

double motionSpeed() {
  return 2.0 * pi / 48.0;
}

double motionAngle(double frame) {
  return motionSpeed() * frame;
}

std::vector<float> toFloats(const std::vector<double>& values) {
  std::vector<float> floats;
  floats.reserve(values.size());
  for (const double value : values) floats.push_back(static_cast<float>(value));
  return floats;
}

void addReals(VekGroupChunk& group, unsigned int tag, const std::vector<double>& values,
              Precision precision, unsigned char compound, unsigned char dimension) {
  if (precision == Precision::Double) {
    addLeaf(group, tag, values, compound, dimension);
  } else {
    addLeaf(group, tag, toFloats(values), compound, dimension);
  }
}

void addMarker(VekDOBJChunk& definition, unsigned int tag) {
  // Only the tag counts; a value keeps the chunk from being empty.
  addLeaf<int>(definition, tag, {1});
}

VekGroupChunk& addAttributeGroup(VekGroupChunk& sample) {
  auto* group = new VekGroupChunk(Tag::ATRS);
  sample.addChild(group);
  return *group;
}

void addStaticAttrReals(VekDOBJChunk& definition, const std::string& name,
                        const std::string& typeName, const std::vector<double>& values,
                        Precision precision, unsigned char compound, unsigned char dimension) {
  if (precision == Precision::Double) {
    addStaticAttr(definition, name, typeName, values, compound, dimension);
  } else {
    addStaticAttr(definition, name, typeName, toFloats(values), compound, dimension);
  }
}
