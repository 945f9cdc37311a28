// SPDX-License-Identifier: Apache-2.0
//
// The walk over the accessors of a view. What a pointer accessor gives is read before the next
// call, which may evict it.

#include "Walk.h"

namespace VekTest {

namespace {

using namespace Vek;
using State = VekHelperObj::AnimationState;

/// Calls an accessor that fills a vector of T and a state.
template <typename T, typename Get>
void copied(Digest& digest, Get get) {
  std::vector<T> values;
  State state = VekHelperObj::Static;
  digest.number(get(values, state));
  digest.values(values);
  digest.number(state);
}

/// Calls an accessor that points at a vector of T and gives a state.
template <typename T, typename Get>
void pointed(Digest& digest, Get get) {
  const std::vector<T>* values = nullptr;
  State state = VekHelperObj::Static;
  const bool found = get(values, state);
  digest.pointed(found, values);
  digest.number(state);
}

// --- All objects ---------------------------------------------------------------------------------

template <typename T>
void walkAttr(VekHelperObj& view, int sample, int attr, Digest& digest) {
  const std::vector<T>* data = nullptr;
  int dimension = 0;
  std::vector<T> values;
  bool found = false;
  bool copiedAll = false;
  if constexpr (std::is_same_v<T, std::string>) {
    found = view.getAttrData(sample, attr, data);
    digest.pointed(found, data);
    copiedAll = view.getAttr(sample, attr, values);
  } else {
    found = view.getAttrData(sample, attr, data, dimension);
    digest.pointed(found, data);
    copiedAll = view.getAttr(sample, attr, values, dimension);
  }
  digest.number(copiedAll);
  digest.number(dimension);
  digest.values(values);
}

void walkAttrs(VekHelperObj& view, const std::vector<int>& samples, Digest& digest) {
  const int count = view.getNumAttrs();
  for (int attr = 0; attr < count; ++attr) {
    digest.text(view.getAttrName(attr));
    digest.text(view.getAttrType(attr));
    digest.number(view.isAttrAnimated(attr));
    digest.number(view.findAttr(view.getAttrName(attr)));
  }
  for (const int attr : indicesAround(count, kMostAttrs)) {
    for (const int sample : samples) {
      digest.text(view.getAttrDataType(sample, attr));
      walkAttr<int>(view, sample, attr, digest);
      walkAttr<std::int64_t>(view, sample, attr, digest);
      walkAttr<float>(view, sample, attr, digest);
      walkAttr<double>(view, sample, attr, digest);
      walkAttr<std::string>(view, sample, attr, digest);
    }
  }
}

void walkBounds(VekHelperObj& view, int sample, Digest& digest) {
  for (const bool pointOrder : {false, true}) {
    float bounds[6] = {};
    State state = VekHelperObj::Static;
    digest.number(view.getBounds(sample, bounds, state, pointOrder));
    for (const float b : bounds) digest.number(b);
    copied<float>(digest,
                  [&](auto& v, auto& s) { return view.getBounds(sample, v, s, pointOrder); });
  }
}

void walkObject(VekHelperObj& view, const std::vector<int>& samples, Digest& digest) {
  digest.text(view.getName());
  digest.text(view.getLeafName());
  for (const std::string& category : view.categories()) digest.number(view.isA(category));
  digest.number(view.getParentCache() == nullptr);
  digest.number(view.objectHas(Tag::POSI));
  digest.number(view.isAnimated(Tag::POSI));
  digest.number(view.isAnimated());
  digest.text(view.getObjectType(Tag::POSI));
  digest.number(view.getFirstTime());
  digest.number(view.getTimeFraction(1.25F));
  for (const int sample : samples) {
    const VekChunk* chunk = nullptr;
    digest.number(view.findChunk(sample, Tag::MTRX, chunk));
    digest.number(view.getDimension(chunk));
    walkBounds(view, sample, digest);
  }
  walkAttrs(view, samples, digest);
}

// --- Kinds of objects ----------------------------------------------------------------------------

template <typename T>
void walkTransform(TransformVekObj& view, int sample, Digest& digest) {
  copied<T>(digest, [&](auto& v, auto& s) { return view.getTransformData(sample, v, s); });
}

template <typename T>
void walkPoints(GeometryVekObj& view, int sample, Digest& digest) {
  int dimension = 0;
  pointed<T>(digest,
             [&](auto& v, auto& s) { return view.getPositionData(sample, v, s, dimension); });
  copied<T>(digest, [&](auto& v, auto& s) { return view.getPosition(sample, v, s, dimension); });
  digest.number(dimension);
}

template <typename T>
void walkPref(GeometryVekObj& view, Digest& digest) {
  const std::vector<T>* data = nullptr;
  int dimension = 0;
  const bool found = view.getPrefData(data, dimension);
  digest.pointed(found, data);
  digest.number(dimension);
}

void walkTopology(MeshVekObj& view, int sample, Digest& digest) {
  pointed<int>(digest, [&](auto& v, auto& s) { return view.getPcnts(sample, v, s); });
  pointed<int>(digest, [&](auto& v, auto& s) { return view.getPids(sample, v, s); });
  pointed<int>(digest, [&](auto& v, auto& s) { return view.getNcnts(sample, v, s); });
  pointed<int>(digest, [&](auto& v, auto& s) { return view.getNids(sample, v, s); });
  copied<int>(digest, [&](auto& v, auto& s) { return view.getFaceVertexCnts(sample, v, s); });
  copied<int>(digest, [&](auto& v, auto& s) { return view.getFaceVertexIds(sample, v, s); });
  copied<int>(digest, [&](auto& v, auto& s) { return view.getFaceNormalVertexCnts(sample, v, s); });
  copied<int>(digest, [&](auto& v, auto& s) { return view.getFaceNormalVertexIds(sample, v, s); });
}

template <typename T>
void walkVectors(MeshVekObj& view, int sample, Digest& digest) {
  pointed<T>(digest, [&](auto& v, auto& s) { return view.getNormalData(sample, v, s); });
  pointed<T>(digest, [&](auto& v, auto& s) { return view.getFaceNormalData(sample, v, s); });
  pointed<T>(digest, [&](auto& v, auto& s) { return view.getVelocityData(sample, v, s); });
  copied<T>(digest, [&](auto& v, auto& s) { return view.getNormals(sample, v, s); });
  copied<T>(digest, [&](auto& v, auto& s) { return view.getFaceNormals(sample, v, s); });
  copied<T>(digest, [&](auto& v, auto& s) { return view.getVelocity(sample, v, s); });
  copied<T>(digest, [&](auto& v, auto&) { return view.getPref(v); });
}

template <typename T>
void walkCurve(NurbsCurveVekObj& view, int sample, Digest& digest) {
  copied<T>(digest, [&](auto& v, auto& s) { return view.getKnots(sample, v, s, false); });
  copied<T>(digest, [&](auto& v, auto& s) { return view.getKnots(sample, v, s, true); });
  copied<T>(digest, [&](auto& v, auto& s) { return view.getControlPoints(sample, v, s); });
}

template <typename T>
void walkSurfaceAttrs(NurbsSurfaceVekObj& view, int sample, bool uFastest, Digest& digest) {
  for (const int attr : indicesAround(view.getNumAttrs(), kMostAttrs)) {
    std::vector<T> values;
    int dimension = 0;
    if constexpr (std::is_same_v<T, std::string>)
      digest.number(view.getAttr(sample, attr, values, uFastest));
    else
      digest.number(view.getAttr(sample, attr, values, dimension, uFastest));
    digest.number(dimension);
    digest.values(values);
  }
}

template <typename T>
void walkSurface(NurbsSurfaceVekObj& view, int sample, bool uFastest, Digest& digest) {
  std::vector<T> other;
  copied<T>(digest, [&](auto& v, auto& s) { return view.getKnots(sample, v, other, s, uFastest); });
  digest.values(other);
  copied<T>(digest,
            [&](auto& v, auto& s) { return view.getControlPoints(sample, v, s, uFastest); });
  copied<T>(digest, [&](auto& v, auto&) { return view.getPrefControlPoints(v, uFastest); });
  walkSurfaceAttrs<T>(view, sample, uFastest, digest);
}

void walkNames(NurbsCurveVekObj& view, int sample, Digest& digest) {
  int degree = 0;
  std::string form;
  State state = VekHelperObj::Static;
  digest.number(view.getDegree(sample, degree, state));
  digest.number(view.getForm(sample, form, state));
  digest.number(degree);
  digest.text(form);
}

void walkNames(NurbsSurfaceVekObj& view, int sample, Digest& digest) {
  int degrees[2] = {};
  std::string forms[2];
  State state = VekHelperObj::Static;
  digest.number(view.getDegree(sample, degrees[0], degrees[1], state));
  digest.number(view.getForm(sample, forms[0], forms[1], state));
  for (const int degree : degrees) digest.number(degree);
  for (const std::string& form : forms) digest.text(form);
}

void walkSettings(LxCoordSystemVekObj& view, Digest& digest) {
  digest.number(view.scoped());
  digest.number(view.useAsClippingPlane());
  digest.number(view.displayShape());
  digest.text(view.parentRig());
}

void walkKind(VekHelperObj& view, int sample, Digest& digest) {
  if (auto* const transform = dynamic_cast<TransformVekObj*>(&view)) {
    walkTransform<float>(*transform, sample, digest);
    walkTransform<double>(*transform, sample, digest);
  }
  if (auto* const geometry = dynamic_cast<GeometryVekObj*>(&view)) {
    walkPoints<float>(*geometry, sample, digest);
    walkPoints<double>(*geometry, sample, digest);
  }
  if (auto* const mesh = dynamic_cast<MeshVekObj*>(&view)) {
    walkTopology(*mesh, sample, digest);
    walkVectors<float>(*mesh, sample, digest);
    walkVectors<double>(*mesh, sample, digest);
  }
  if (auto* const curve = dynamic_cast<NurbsCurveVekObj*>(&view)) {
    walkNames(*curve, sample, digest);
    walkCurve<float>(*curve, sample, digest);
    walkCurve<double>(*curve, sample, digest);
  }
  if (auto* const surface = dynamic_cast<NurbsSurfaceVekObj*>(&view)) {
    walkNames(*surface, sample, digest);
    for (const bool uFastest : {false, true}) {
      walkSurface<float>(*surface, sample, uFastest, digest);
      walkSurface<double>(*surface, sample, uFastest, digest);
      walkSurfaceAttrs<int>(*surface, sample, uFastest, digest);
      walkSurfaceAttrs<std::int64_t>(*surface, sample, uFastest, digest);
      walkSurfaceAttrs<std::string>(*surface, sample, uFastest, digest);
    }
  }
}

// --- At times ------------------------------------------------------------------------------------

template <typename T>
void walkTime(VekHelperObj& view, float time, VekInterpolationHints& hints, Digest& digest) {
  if (auto* const transform = dynamic_cast<TransformVekObj*>(&view)) {
    copied<T>(digest,
              [&](auto& v, auto& s) { return transform->getTransformAtTime(time, hints, v, s); });
  }
  if (auto* const geometry = dynamic_cast<GeometryVekObj*>(&view)) {
    int dimension = 0;
    copied<T>(digest, [&](auto& v, auto& s) {
      return geometry->getPositionAtTime(time, hints, v, s, dimension);
    });
  }
  if (auto* const curve = dynamic_cast<NurbsCurveVekObj*>(&view)) {
    copied<T>(digest,
              [&](auto& v, auto& s) { return curve->getControlPointsAtTime(time, hints, v, s); });
  }
  if (auto* const surface = dynamic_cast<NurbsSurfaceVekObj*>(&view)) {
    for (const bool uFastest : {false, true}) {
      copied<T>(digest, [&](auto& v, auto& s) {
        return surface->getControlPointsAtTime(time, hints, v, s, uFastest);
      });
    }
  }
}

void walkAttrsAtTime(VekHelperObj& view, float time, VekInterpolationHints& hints, Digest& digest) {
  for (const int attr : indicesAround(view.getNumAttrs(), kMostAttrs)) {
    std::vector<double> values;
    int dimension = 0;
    const bool found = view.getAttrAtTime(time, attr, hints, values, dimension);
    digest.number(found);
    digest.number(dimension);
    // After a failure the values may be anything.
    if (found) digest.values(values);
  }
}

}  // namespace

void walkView(VekRoMemCache& cache, VekHelperObj& view, Digest& digest) {
  const std::vector<int> samples = indicesAround(cache.getNumSamples());
  walkObject(view, samples, digest);
  for (const int sample : samples) walkKind(view, sample, digest);
  if (auto* const transform = dynamic_cast<TransformVekObj*>(&view))
    digest.number(transform->inheritsTransform());
  if (auto* const settings = dynamic_cast<LxCoordSystemVekObj*>(&view))
    walkSettings(*settings, digest);
  if (auto* const mesh = dynamic_cast<MeshVekObj*>(&view)) digest.number(mesh->isSubd());
  if (auto* const geometry = dynamic_cast<GeometryVekObj*>(&view)) {
    walkPref<float>(*geometry, digest);
    walkPref<double>(*geometry, digest);
  }
  for (const float time : timesAround(cache)) {
    // The degree matters between samples only.
    const bool between = cache.getSampleIndex(time) < 0 && time > cache.getFirstTime();
    VekInterpolationHints hints;
    for (hints.interpolation = between ? 0 : 1; hints.interpolation <= (between ? 3 : 1);
         ++hints.interpolation) {
      walkTime<float>(view, time, hints, digest);
      walkTime<double>(view, time, hints, digest);
      walkAttrsAtTime(view, time, hints, digest);
    }
  }
}

}  // namespace VekTest
