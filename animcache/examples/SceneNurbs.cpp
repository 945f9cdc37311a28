// SPDX-License-Identifier: Apache-2.0
//
// NURBS: degree, form and knots stand in the definition, the control points in every sample. A
// direction of n control points and degree d has n + d - 1 knots (without a further repetition of
// the first and the last). A periodic direction stores only its first n - d control points; the
// last d are the first ones again.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

#include "SceneObjects.h"

using namespace Vek;

namespace {

// Readers know this word; any other, like the next, means that the direction does not close.
const char* const periodicForm = "kPeriodic";
const char* const openForm = "kOpen";

// Evenly spaced knots, 0 where the parameter range begins.
std::vector<double> periodicKnots(int numControlPoints, int degree) {
  std::vector<double> knots(static_cast<std::size_t>(numControlPoints + degree - 1));
  std::iota(knots.begin(), knots.end(), 1.0 - degree);
  return knots;
}

// Knots of an open direction that begins and ends at its outermost control points.
std::vector<double> openKnots(int numControlPoints, int degree) {
  std::vector<double> knots = periodicKnots(numControlPoints, degree);
  const double last = numControlPoints - degree;
  for (double& knot : knots) knot = std::clamp(knot, 0.0, last);
  return knots;
}

// Readers rebuild control points from single precision only, whatever the scene is stored in.
void addControlPoints(VekGroupChunk& sample, const std::vector<double>& points) {
  addReals(sample, Tag::POSI, points, Precision::Single, Compound::Point, 3);
}

class NurbsCurve final : public SceneObject {
 public:
  NurbsCurve(std::string name, Precision precision)
      : SceneObject(std::move(name)), m_precision(precision) {}

  void define(VekDOBJChunk& definition) const override {
    addMarker(definition, Tag::NRBC);
    addLeaf<int>(definition, Tag::DEGR, {degree}, 0, 1);
    addLeaf<std::string>(definition, Tag::FORM, {openForm});
    addReals(definition, Tag::KNTU, openKnots(numControlPoints, degree), m_precision, 0, 1);
  }

 protected:
  void fillSample(VekGroupChunk& sample, double frame) const override {
    std::vector<double> points;
    for (int i = 0; i < numControlPoints; ++i) {
      const double along = static_cast<double>(i) / (numControlPoints - 1);
      const double sag = std::sin(pi * along) * (1.0 + 0.5 * std::sin(motionAngle(frame)));
      points.insert(points.end(), {4.0 * along, 0.0, -sag});
    }
    addControlPoints(sample, points);
  }

 private:
  static constexpr int degree = 3;
  static constexpr int numControlPoints = 8;

  Precision m_precision;
};

class NurbsSurface final : public SceneObject {
 public:
  NurbsSurface(std::string name, Precision precision)
      : SceneObject(std::move(name)), m_precision(precision) {}

  void define(VekDOBJChunk& definition) const override {
    addMarker(definition, Tag::NRBS);
    addLeaf<int>(definition, Tag::DEGR, {degreeU, degreeV}, 0, 1);
    addLeaf<std::string>(definition, Tag::FORM, {periodicForm, openForm});
    addReals(definition, Tag::KNTU, periodicKnots(numStoredU + degreeU, degreeU), m_precision, 0,
             1);
    addReals(definition, Tag::KNTV, openKnots(numControlPointsV, degreeV), m_precision, 0, 1);
  }

 protected:
  // V runs fastest: all points of the first U, then all points of the next.
  void fillSample(VekGroupChunk& sample, double frame) const override {
    std::vector<double> points;
    for (int u = 0; u < numStoredU; ++u) {
      const double angle = 2.0 * pi * u / numStoredU;
      for (int v = 0; v < numControlPointsV; ++v) {
        const double radius = 1.0 + 0.25 * std::sin(motionAngle(frame) + v);
        points.insert(points.end(), {radius * std::cos(angle), radius * std::sin(angle), 0.5 * v});
      }
    }
    addControlPoints(sample, points);
  }

 private:
  static constexpr int degreeU = 3;
  static constexpr int numStoredU = 6;  // of 9 control points
  static constexpr int degreeV = 2;
  static constexpr int numControlPointsV = 4;

  Precision m_precision;
};

}  // namespace

std::unique_ptr<SceneObject> makeNurbsCurve(std::string name, Precision precision) {
  return std::make_unique<NurbsCurve>(std::move(name), precision);
}

std::unique_ptr<SceneObject> makeNurbsSurface(std::string name, Precision precision) {
  return std::make_unique<NurbsSurface>(std::move(name), precision);
}
