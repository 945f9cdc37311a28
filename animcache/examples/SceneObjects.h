// SPDX-License-Identifier: Apache-2.0
//
// The objects of the example scene, as an exporting application sees its own: each can describe
// itself once and give its data at any frame. One source file per family of kinds shows which
// chunks and attributes a kind carries.

#ifndef SCENE_OBJECTS_H
#define SCENE_OBJECTS_H

#include <VekChunks.h>

#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

constexpr double pi = 3.14159265358979323846;

/// How points, matrices and other real numbers are stored.
enum class Precision { Single, Double };

/// One object of the scene.
class SceneObject {
 public:
  /// `name` is a full path: the names of all parents and its own, each after a "|".
  explicit SceneObject(std::string name) : m_name(std::move(name)) {}
  virtual ~SceneObject() = default;

  const std::string& name() const { return m_name; }

  /// Adds what is the same in every sample: the marker of the object's kind, its static data and
  /// the names of its attributes.
  virtual void define(Vek::VekDOBJChunk& definition) const = 0;

  /// Writes the object's data at a frame as the next object of the current sample.
  virtual bool writeSample(Vek::VekSAMSChunk& stream, Vek::VekFile& file, double frame) const;

 protected:
  /// Adds the object's animated data at a frame; a static object adds nothing.
  virtual void fillSample(Vek::VekGroupChunk& sample, double frame) const;

 private:
  std::string m_name;
};

/// A transform that swings around a rest pose; it is static when nothing swings.
struct TransformSettings {
  std::array<double, 6> rest{};          ///< translate x y z, rotate x y z in degrees
  std::array<double, 6> swing{};         ///< the farthest that each goes to either side
  std::array<double, 3> scale{1, 1, 1};  ///< x y z
  int rotateOrder = 0;                   ///< 0 xyz, 1 yzx, 2 zxy, 3 xzy, 4 yxz, 5 zyx
  bool inherits = true;                  ///< stands in its parent's space
  bool channels = true;                  ///< stores the pose as named attributes as well
};
std::unique_ptr<SceneObject> makeTransform(std::string name, const TransformSettings& settings,
                                           Precision precision);

/// A polygon mesh: a grid of at least 4 points through which a wave runs, `phase` radians ahead.
std::unique_ptr<SceneObject> makeWavingMesh(std::string name, int numPoints, double phase,
                                            Precision precision);
/// A subdivision mesh: a cube that swells and shrinks, with its rest shape as an attribute.
std::unique_ptr<SceneObject> makeSubdivisionMesh(std::string name, Precision precision);
/// A point set: points that rise along a screw line, each with a radius.
std::unique_ptr<SceneObject> makePointSet(std::string name, int numPoints, Precision precision);

/// An open curve that sags and rises.
std::unique_ptr<SceneObject> makeNurbsCurve(std::string name, Precision precision);
/// A tube: a surface that closes on itself in U and is open in V.
std::unique_ptr<SceneObject> makeNurbsSurface(std::string name, Precision precision);

/// A locator with a static and an animated attribute of every value type.
std::unique_ptr<SceneObject> makeLocator(std::string name);
/// A coordinate system with its settings. `parentRig` is the full path of the rig it belongs to.
std::unique_ptr<SceneObject> makeCoordinateSystem(std::string name, std::string parentRig);

/// The angle, in radians, of the scene's motion at a frame: one turn in 48 frames.
double motionAngle(double frame);
/// How fast motionAngle() grows, in radians per frame.
double motionSpeed();

/// The same numbers in single precision.
std::vector<float> toFloats(const std::vector<double>& values);

/// Adds a chunk of values to a definition, a sample or an attribute group.
template <typename T>
void addLeaf(Vek::VekGroupChunk& group, unsigned int tag, const std::vector<T>& values,
             unsigned char compound = 0, unsigned char dimension = 0) {
  group.addChild(new Vek::VekLeafChunk<T>(tag, compound, dimension, values));
}

/// Adds a chunk of real numbers in the given precision.
void addReals(Vek::VekGroupChunk& group, unsigned int tag, const std::vector<double>& values,
              Precision precision, unsigned char compound, unsigned char dimension);

/// Adds the chunk that marks an object's kind.
void addMarker(Vek::VekDOBJChunk& definition, unsigned int tag);

/// Adds the group for the values of a sample's animated attributes. Its k-th child must hold those
/// of the k-th animated attribute that the definition names.
Vek::VekGroupChunk& addAttributeGroup(Vek::VekGroupChunk& sample);

/// Adds a static attribute with its values. `typeName` is free text for the readers.
template <typename T>
void addStaticAttr(Vek::VekDOBJChunk& definition, const std::string& name,
                   const std::string& typeName, const std::vector<T>& values,
                   unsigned char compound = 0, unsigned char dimension = 1) {
  const int index =
      definition.addAttr(false, name, typeName, Vek::VekTypeOf<T>::value, compound, dimension);
  // The index is good for now only: the next animated attribute shifts it.
  Vek::asLeaf<T>(definition.getDATR()->getStaticData(index))->setData(values);
}

/// Adds a static attribute of real numbers in the given precision.
void addStaticAttrReals(Vek::VekDOBJChunk& definition, const std::string& name,
                        const std::string& typeName, const std::vector<double>& values,
                        Precision precision, unsigned char compound = 0,
                        unsigned char dimension = 1);

/// Names an animated attribute; its values stand in every sample.
template <typename T>
void addAnimatedAttr(Vek::VekDOBJChunk& definition, const std::string& name,
                     const std::string& typeName) {
  definition.addAttr(true, name, typeName, Vek::VekTypeOf<T>::value);
}

#endif
