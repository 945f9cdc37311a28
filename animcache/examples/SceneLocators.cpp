// SPDX-License-Identifier: Apache-2.0
//
// Objects without geometry: locators and coordinate systems carry a marker and attributes, and
// stand where the transform above them puts them.

#include <cmath>

#include "SceneObjects.h"

using namespace Vek;

namespace {

class Locator final : public SceneObject {
 public:
  using SceneObject::SceneObject;

  void define(VekDOBJChunk& definition) const override {
    addMarker(definition, Tag::ELOC);
    addStaticAttr<std::string>(definition, "keywords", "string[]", {"stage", "main marker"});
    addStaticAttr<int>(definition, "layer", "int", {3});
    addStaticAttr<float>(definition, "displayColor", "color", {0.25F, 0.5F, 0.75F}, Compound::Color,
                         3);
    addStaticAttr<__int64>(definition, "assetId", "long", {1099511627776});
    addStaticAttr<double>(definition, "unitsPerMetre", "double", {100.0});

    addAnimatedAttr<std::string>(definition, "caption", "string");
    addAnimatedAttr<int>(definition, "step", "int");
    addAnimatedAttr<float>(definition, "glow", "float");
    addAnimatedAttr<__int64>(definition, "nanoseconds", "long");
    addAnimatedAttr<double>(definition, "phase", "double");
  }

 protected:
  // The values stand in the order in which define() names the animated attributes.
  void fillSample(VekGroupChunk& sample, double frame) const override {
    const int wholeFrame = static_cast<int>(std::floor(frame));
    const __int64 nanoseconds = std::llround(frame / 24.0 * 1e9);
    const double phase = motionAngle(frame);

    VekGroupChunk& values = addAttributeGroup(sample);
    addLeaf<std::string>(values, Tag::ATTR, {"frame " + std::to_string(wholeFrame)}, 0, 1);
    addLeaf<int>(values, Tag::ATTR, {wholeFrame / 12}, 0, 1);
    addLeaf<float>(values, Tag::ATTR, {static_cast<float>(0.5 + 0.5 * std::sin(phase))}, 0, 1);
    addLeaf<__int64>(values, Tag::ATTR, {nanoseconds}, 0, 1);
    addLeaf<double>(values, Tag::ATTR, {phase}, 0, 1);
  }
};

class CoordinateSystem final : public SceneObject {
 public:
  CoordinateSystem(std::string name, std::string parentRig)
      : SceneObject(std::move(name)), m_parentRig(std::move(parentRig)) {}

  void define(VekDOBJChunk& definition) const override {
    addMarker(definition, Tag::LXCS);
    // Readers know the settings by these names and take only these value types.
    addStaticAttr<int>(definition, "scoped", "bool", {1});
    addStaticAttr<int>(definition, "useAsClippingPlane", "bool", {0});
    addStaticAttr<int>(definition, "displayShape", "int", {2});
    addStaticAttr<std::string>(definition, "parentRig", "string", {m_parentRig});
  }

 private:
  std::string m_parentRig;
};

}  // namespace

std::unique_ptr<SceneObject> makeLocator(std::string name) {
  return std::make_unique<Locator>(std::move(name));
}

std::unique_ptr<SceneObject> makeCoordinateSystem(std::string name, std::string parentRig) {
  return std::make_unique<CoordinateSystem>(std::move(name), std::move(parentRig));
}
