// SPDX-License-Identifier: Apache-2.0
//
// Every question that object views answer. Where a view hands out a pointer and a copy of the same
// values, both must agree.

#include "FuzzViews.h"

#include <cstring>

#include "FuzzInput.h"

using namespace Vek;

namespace VekFuzz {

namespace {

constexpr int mostAttrs = 3;
constexpr unsigned int tags[] = {Tag::POSI, Tag::MTRX, Tag::BBOX, Tag::NAME, Tag::FREE};

using State = VekHelperObj::AnimationState;

template <typename T>
bool isSame(const std::vector<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() &&
         (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
}
bool isSame(const std::vector<std::string>& a, const std::vector<std::string>& b) {
  return a == b;
}

// --- Attributes ----------------------------------------------------------------------------------

template <typename T>
void askAttr(VekHelperObj& view, int sample, int attr) {
  const std::vector<T>* data = nullptr;
  std::vector<T> values;
  int dimension = 0;
  const bool found = view.getAttrData(sample, attr, data, dimension);
  check(found == (data != nullptr), "a pointer tells whether an attribute was found");
  const bool copied = view.getAttr(sample, attr, values, dimension);
  check(copied == found && (!found || isSame(*data, values)), "a copy of an attribute is the same");
  if (auto* const surface = dynamic_cast<NurbsSurfaceVekObj*>(&view)) {
    surface->getAttr(sample, attr, values, dimension, false);
    surface->getAttr(sample, attr, values, dimension, true);
  }
}

template <>
void askAttr<std::string>(VekHelperObj& view, int sample, int attr) {
  const std::vector<std::string>* data = nullptr;
  std::vector<std::string> values;
  const bool found = view.getAttrData(sample, attr, data);
  const bool copied = view.getAttr(sample, attr, values);
  check(copied == found && (!found || isSame(*data, values)), "a copy of an attribute is the same");
  if (auto* const surface = dynamic_cast<NurbsSurfaceVekObj*>(&view))
    surface->getAttr(sample, attr, values, true);
}

int countAttrs(VekHelperObj& view) {
  return std::min(view.getNumAttrs(), mostAttrs);
}

void askAttrs(VekHelperObj& view, int sample) {
  const int count = countAttrs(view);
  for (int attr = -1; attr < count; ++attr) {
    view.getAttrDataType(sample, attr);
    askAttr<int>(view, sample, attr);
    askAttr<__int64>(view, sample, attr);
    askAttr<float>(view, sample, attr);
    askAttr<double>(view, sample, attr);
    askAttr<std::string>(view, sample, attr);
  }
}

// --- At a sample ---------------------------------------------------------------------------------

void askObject(VekHelperObj& view, int sample) {
  State state = VekHelperObj::Static;
  float bounds[6] = {};
  std::vector<float> boundsVector;
  const bool found = view.getBounds(sample, bounds, state);
  check(view.getBounds(sample, boundsVector, state, true) == found && boundsVector.size() == 6,
        "both forms find the same bounds");
  for (const unsigned int tag : tags) {
    const VekChunk* chunk = nullptr;
    view.findChunk(sample, tag, chunk);
    view.getDimension(chunk);
    view.searchChunk(dynamic_cast<const VekGroupChunk*>(chunk), tag);
  }
  askAttrs(view, sample);
}

template <typename T>
void askTransform(TransformVekObj& view, int sample) {
  State state = VekHelperObj::Static;
  std::vector<T> matrix;
  view.getTransformData(sample, matrix, state);
  view.inheritsTransform();
}

void askSettings(LxCoordSystemVekObj& view) {
  view.scoped();
  view.useAsClippingPlane();
  view.displayShape();
  view.parentRig();
}

template <typename T>
void askGeometry(GeometryVekObj& view, int sample) {
  State state = VekHelperObj::Static;
  int dimension = 3;
  const std::vector<T>* data = nullptr;
  std::vector<T> values;
  const bool found = view.getPositionData(sample, data, state, dimension);
  const bool copied = view.getPosition(sample, values, state, dimension);
  check(!found || (copied && isSame(*data, values)), "copied positions are the stored ones");
  check(dimension == 3 || dimension == 4, "positions have 3 or 4 components");
  view.getPrefData(data, dimension);
}

template <typename T, typename Data, typename Copy>
void askChannel(MeshVekObj& view, int sample, Data getData, Copy getCopy) {
  State state = VekHelperObj::Static;
  const std::vector<T>* data = nullptr;
  std::vector<T> values;
  const bool found = (view.*getData)(sample, data, state);
  const bool copied = (view.*getCopy)(sample, values, state);
  check(!found || (copied && isSame(*data, values)), "a copied channel is the stored one");
}

template <typename T>
void askVectors(MeshVekObj& view, int sample) {
  using Data = bool (MeshVekObj::*)(int, const std::vector<T>*&, State&);
  using Copy = bool (MeshVekObj::*)(int, std::vector<T>&, State&);
  askChannel<T, Data, Copy>(view, sample, &MeshVekObj::getNormalData, &MeshVekObj::getNormals);
  askChannel<T, Data, Copy>(view, sample, &MeshVekObj::getFaceNormalData,
                            &MeshVekObj::getFaceNormals);
  askChannel<T, Data, Copy>(view, sample, &MeshVekObj::getVelocityData, &MeshVekObj::getVelocity);
  std::vector<T> values;
  view.getPref(values);
}

void askMesh(MeshVekObj& view, int sample, Numbers numbers) {
  view.isSubd();
  askChannel<int>(view, sample, &MeshVekObj::getPcnts, &MeshVekObj::getFaceVertexCnts);
  askChannel<int>(view, sample, &MeshVekObj::getPids, &MeshVekObj::getFaceVertexIds);
  askChannel<int>(view, sample, &MeshVekObj::getNcnts, &MeshVekObj::getFaceNormalVertexCnts);
  askChannel<int>(view, sample, &MeshVekObj::getNids, &MeshVekObj::getFaceNormalVertexIds);
  if (numbers != Numbers::Double) askVectors<float>(view, sample);
  if (numbers != Numbers::Float) askVectors<double>(view, sample);
}

template <typename T>
void askCurve(NurbsCurveVekObj& view, int sample) {
  State state = VekHelperObj::Static;
  int degree = 0;
  std::string form;
  std::vector<T> values;
  view.getDegree(sample, degree, state);
  view.getForm(sample, form, state);
  view.getKnots(sample, values, state, false);
  view.getKnots(sample, values, state, true);
  if (view.getControlPoints(sample, values, state))
    check(values.size() % 4 == 0, "control points of a curve have 4 components");
}

template <typename T>
void askSurface(NurbsSurfaceVekObj& view, int sample) {
  State state = VekHelperObj::Static;
  int degreeU = 0;
  int degreeV = 0;
  std::string formU;
  std::string formV;
  std::vector<T> values;
  std::vector<T> others;
  view.getDegree(sample, degreeU, degreeV, state);
  view.getForm(sample, formU, formV, state);
  view.getKnots(sample, values, others, state, false);
  view.getKnots(sample, values, others, state, true);
  const bool found = view.getControlPoints(sample, values, state, false);
  check(!found || values.size() % 4 == 0, "control points of a surface have 4 components");
  check(view.getControlPoints(sample, others, state, true) == found &&
            (!found || others.size() == values.size()),
        "another order has the same number of control points");
  view.getPrefControlPoints(values, false);
  view.getPrefControlPoints(values, true);
}

// --- At a time -----------------------------------------------------------------------------------

template <typename T>
void askGeometryAtTime(GeometryVekObj& view, float time, VekInterpolationHints& hints) {
  State state = VekHelperObj::Static;
  int dimension = 3;
  std::vector<T> values;
  view.getPositionAtTime(time, hints, values, state, dimension);
}

template <typename T>
void askKindAtTime(VekHelperObj& view, float time, VekInterpolationHints& hints) {
  State state = VekHelperObj::Static;
  std::vector<T> values;
  if (auto* const transform = dynamic_cast<TransformVekObj*>(&view)) {
    if (transform->getTransformAtTime(time, hints, values, state))
      check(values.size() == 16, "a matrix has 16 values");
  }
  if (auto* const curve = dynamic_cast<NurbsCurveVekObj*>(&view))
    curve->getControlPointsAtTime(time, hints, values, state);
  if (auto* const surface = dynamic_cast<NurbsSurfaceVekObj*>(&view)) {
    surface->getControlPointsAtTime(time, hints, values, state, false);
    surface->getControlPointsAtTime(time, hints, values, state, true);
  }
  if (auto* const geometry = dynamic_cast<GeometryVekObj*>(&view))
    askGeometryAtTime<T>(*geometry, time, hints);
}

template <typename T>
void askKind(VekHelperObj& view, int sample) {
  if (auto* const transform = dynamic_cast<TransformVekObj*>(&view))
    askTransform<T>(*transform, sample);
  if (auto* const geometry = dynamic_cast<GeometryVekObj*>(&view))
    askGeometry<T>(*geometry, sample);
  if (auto* const curve = dynamic_cast<NurbsCurveVekObj*>(&view)) askCurve<T>(*curve, sample);
  if (auto* const surface = dynamic_cast<NurbsSurfaceVekObj*>(&view))
    askSurface<T>(*surface, sample);
}

}  // namespace

void askHead(VekHelperObj& view) {
  view.getLeafName();
  check(view.isA("helperObj"), "every view is a view");
  for (const std::string& category : view.categories())
    check(view.isA(category), "a view is of its categories");
  view.isAnimated();
  for (const unsigned int tag : tags) {
    view.getObjectType(tag);
    check(view.objectHas(tag) || view.isAnimated(tag) == VekHelperObj::Static,
          "what is animated is there");
  }
  const int count = countAttrs(view);
  for (int attr = 0; attr < count; ++attr) {
    view.isAttrAnimated(attr);
    view.getAttrType(attr);
    check(view.findAttr(view.getAttrName(attr)) >= 0, "an attribute is found by its name");
  }
  if (auto* const settings = dynamic_cast<LxCoordSystemVekObj*>(&view)) askSettings(*settings);
}

void askAtSample(VekHelperObj& view, int sample, Numbers numbers) {
  askObject(view, sample);
  if (numbers != Numbers::Double) askKind<float>(view, sample);
  if (numbers != Numbers::Float) askKind<double>(view, sample);
  if (auto* const mesh = dynamic_cast<MeshVekObj*>(&view)) askMesh(*mesh, sample, numbers);
}

void askAtTime(VekHelperObj& view, float time, VekInterpolationHints& hints, Numbers numbers) {
  hints.describe();
  view.getTimeFraction(time);
  const int count = countAttrs(view);
  std::vector<double> values;
  int dimension = 0;
  for (int attr = 0; attr < count; ++attr) view.getAttrAtTime(time, attr, hints, values, dimension);
  if (numbers != Numbers::Double) askKindAtTime<float>(view, time, hints);
  if (numbers != Numbers::Float) askKindAtTime<double>(view, time, hints);
}

}  // namespace VekFuzz
