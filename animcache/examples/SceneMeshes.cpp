// SPDX-License-Identifier: Apache-2.0
//
// Meshes and points: topology and reference positions stand once in the definition, positions,
// velocities and normals in every sample. Velocities are in units per frame.

#include <cmath>
#include <cstddef>

#include "SceneObjects.h"

using namespace Vek;

namespace {

// Mesh types, as the chunk MSPT stores them.
constexpr int subdivisionMesh = 0;
constexpr int polygonMesh = 1;

class WavingMesh final : public SceneObject {
 public:
  WavingMesh(std::string name, int numPoints, double phase, Precision precision)
      : SceneObject(std::move(name)),
        m_numPoints(numPoints),
        m_columns(static_cast<int>(std::sqrt(static_cast<double>(numPoints)))),
        m_phase(phase),
        m_precision(precision) {}

  void define(VekDOBJChunk& definition) const override {
    // A quad for every point with a neighbour to the right and a row above it, both complete: the
    // last row may have fewer points than the others.
    std::vector<int> pointCounts;
    std::vector<int> pointIds;
    for (int i = 0; i + m_columns + 1 < m_numPoints; ++i) {
      if (i % m_columns == m_columns - 1) continue;
      pointCounts.push_back(4);
      pointIds.insert(pointIds.end(), {i, i + 1, i + m_columns + 1, i + m_columns});
    }
    addMarker(definition, Tag::MESH);
    addLeaf<int>(definition, Tag::MSPT, {polygonMesh}, 0, 1);
    addLeaf(definition, Tag::PCNT, pointCounts, 0, 1);
    addLeaf(definition, Tag::PIDS, pointIds, 0, 1);
    addStaticAttr<float>(definition, "displayColor", "color", {0.75F, 0.25F, 0.125F},
                         Compound::Color, 3);
  }

  // Straight to the file, array by array: a large mesh needs no chunk objects.
  bool writeSample(VekSAMSChunk& stream, VekFile& file, double frame) const override {
    const Wave wave = waveAt(frame);
    return stream.writeStartSOBJChunk(file) &&
           writeReals(file, Tag::POSI, wave.positions, Compound::Point) &&
           writeReals(file, Tag::VELO, wave.velocities, Compound::Vector) &&
           writeReals(file, Tag::VPNO, wave.normals, Compound::Normal) &&
           stream.writeEndSOBJChunk(file);
  }

 private:
  struct Wave {
    std::vector<double> positions;
    std::vector<double> velocities;
    std::vector<double> normals;
  };

  Wave waveAt(double frame) const {
    constexpr double width = 10.0;
    constexpr double height = 0.5;
    constexpr double waveNumber = 2.0 * 2.0 * pi / width;  // two waves across the mesh
    const double spacing = width / (m_columns - 1);
    const auto numValues = 3 * static_cast<std::size_t>(m_numPoints);
    Wave wave;
    wave.positions.reserve(numValues);
    wave.velocities.reserve(numValues);
    wave.normals.reserve(numValues);
    for (int i = 0; i < m_numPoints; ++i) {
      const int column = i % m_columns;
      const int row = i / m_columns;
      const double x = spacing * column;
      const double y = spacing * row;
      const double angle = waveNumber * x + m_phase - motionAngle(frame);
      const double speed = -motionSpeed() * height * std::cos(angle);
      const double slope = waveNumber * height * std::cos(angle);
      const double length = std::sqrt(slope * slope + 1.0);
      wave.positions.insert(wave.positions.end(), {x, y, height * std::sin(angle)});
      wave.velocities.insert(wave.velocities.end(), {0.0, 0.0, speed});
      wave.normals.insert(wave.normals.end(), {-slope / length, 0.0, 1.0 / length});
    }
    return wave;
  }

  bool writeReals(VekFile& file, unsigned int tag, const std::vector<double>& values,
                  unsigned char compound) const {
    return m_precision == Precision::Double
               ? file.writeChunk(tag, values, -1, compound, 3)
               : file.writeChunk(tag, toFloats(values), -1, compound, 3);
  }

  int m_numPoints;
  int m_columns;
  double m_phase;
  Precision m_precision;
};

class SubdivisionMesh final : public SceneObject {
 public:
  SubdivisionMesh(std::string name, Precision precision)
      : SceneObject(std::move(name)), m_precision(precision) {}

  void define(VekDOBJChunk& definition) const override {
    addMarker(definition, Tag::MESH);
    addLeaf<int>(definition, Tag::MSPT, {subdivisionMesh}, 0, 1);
    addLeaf<int>(definition, Tag::PCNT, {4, 4, 4, 4, 4, 4}, 0, 1);
    addLeaf<int>(definition, Tag::PIDS,
                 {0, 2, 3, 1, 4, 5, 7, 6, 0, 1, 5, 4, 2, 6, 7, 3, 0, 4, 6, 2, 1, 3, 7, 5}, 0, 1);
    // One normal for each face, shared by its vertices.
    addLeaf<int>(definition, Tag::NCNT, {4, 4, 4, 4, 4, 4}, 0, 1);
    addLeaf<int>(definition, Tag::NIDS,
                 {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5}, 0, 1);
    addReals(definition, Tag::PONO, {0, 0, -1, 0, 0, 1, 0, -1, 0, 0, 1, 0, -1, 0, 0, 1, 0, 0},
             m_precision, Compound::Normal, 3);
    // The name by which readers find the rest shape.
    addStaticAttrReals(definition, "rmanP__Pref", "point", cubeOfSize(1.0), m_precision,
                       Compound::Point, 3);
  }

 protected:
  void fillSample(VekGroupChunk& sample, double frame) const override {
    const double size = 1.0 + 0.25 * std::sin(motionAngle(frame));
    const double growth = 0.25 * motionSpeed() * std::cos(motionAngle(frame));
    addReals(sample, Tag::POSI, cubeOfSize(size), m_precision, Compound::Point, 3);
    addReals(sample, Tag::VELO, cubeOfSize(growth), m_precision, Compound::Vector, 3);
  }

 private:
  // Corner i lies on the positive side of x, y and z where bit 0, 1 and 2 of i are set.
  static std::vector<double> cubeOfSize(double size) {
    std::vector<double> points;
    for (int i = 0; i < 8; ++i) {
      for (int axis = 0; axis < 3; ++axis) {
        points.push_back(((i >> axis) & 1) != 0 ? 0.5 * size : -0.5 * size);
      }
    }
    return points;
  }

  Precision m_precision;
};

class PointSet final : public SceneObject {
 public:
  PointSet(std::string name, int numPoints, Precision precision)
      : SceneObject(std::move(name)), m_numPoints(numPoints), m_precision(precision) {}

  // No marker: an object with positions and no other kind is a point set.
  void define(VekDOBJChunk& definition) const override {
    addAnimatedAttr<float>(definition, "radius", "float");
  }

 protected:
  void fillSample(VekGroupChunk& sample, double frame) const override {
    constexpr double rise = 0.05;  // units per frame
    std::vector<double> positions;
    std::vector<double> velocities;
    std::vector<float> radii;
    for (int i = 0; i < m_numPoints; ++i) {
      const double angle = 0.5 * i + motionAngle(frame);
      const double x = std::cos(angle);
      const double y = std::sin(angle);
      positions.insert(positions.end(), {x, y, 0.125 * i + rise * frame});
      velocities.insert(velocities.end(), {-motionSpeed() * y, motionSpeed() * x, rise});
      radii.push_back(static_cast<float>(0.1 + 0.05 * std::sin(angle)));
    }
    addReals(sample, Tag::POSI, positions, m_precision, Compound::Point, 3);
    addReals(sample, Tag::VELO, velocities, m_precision, Compound::Vector, 3);
    addLeaf(addAttributeGroup(sample), Tag::ATTR, radii, 0, 1);
  }

 private:
  int m_numPoints;
  Precision m_precision;
};

}  // namespace

std::unique_ptr<SceneObject> makeWavingMesh(std::string name, int numPoints, double phase,
                                            Precision precision) {
  return std::make_unique<WavingMesh>(std::move(name), numPoints, phase, precision);
}

std::unique_ptr<SceneObject> makeSubdivisionMesh(std::string name, Precision precision) {
  return std::make_unique<SubdivisionMesh>(std::move(name), precision);
}

std::unique_ptr<SceneObject> makePointSet(std::string name, int numPoints, Precision precision) {
  return std::make_unique<PointSet>(std::move(name), numPoints, precision);
}
