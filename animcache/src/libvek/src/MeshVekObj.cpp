// SPDX-License-Identifier: Apache-2.0
//
// The view of polygon and subdivision meshes.

#include "VekCopyValues.h"
#include "VekHelperObj.h"

namespace Vek {

MeshVekObj::MeshVekObj(VekRoMemCache* cache, int objectIndex) : GeometryVekObj(cache, objectIndex) {
  addCategory("mesh");
}

MeshVekObj::MeshVekObj(const MeshVekObj& other) = default;

MeshVekObj& MeshVekObj::operator=(const MeshVekObj& other) = default;

MeshVekObj::~MeshVekObj() = default;

// The attribute wins over the chunk; 0 means subdivision in both, and so does neither.
bool MeshVekObj::isSubd() {
  const int sample = m_cache->getSampleIndex(m_cache->getFirstTime());
  const std::vector<int>* type = nullptr;
  const int attr = findAttr("mdShapeType");
  if (attr >= 0 && getVekLeafData(getAttrDataChunk(sample, attr), type) && !type->empty())
    return type->front() == 0;
  const VekChunk* chunk = nullptr;
  findChunk(sample, Tag::MSPT, chunk);
  return !getVekLeafData(chunk, type) || type->empty() || type->front() == 0;
}

// --- Pointers to stored values -------------------------------------------------------------------

template <typename T>
bool MeshVekObj::pointAtChunk(int sampleIndex, unsigned tag, const std::vector<T>*& data,
                              AnimationState& state) {
  data = nullptr;
  state = Static;
  const VekChunk* chunk = nullptr;
  const AnimationState found = findChunk(sampleIndex, tag, chunk);
  if (!getVekLeafData(chunk, data)) return false;
  state = found;
  return true;
}

bool MeshVekObj::getPcnts(int sampleIndex, const std::vector<int>*& data, AnimationState& state) {
  return pointAtChunk(sampleIndex, Tag::PCNT, data, state);
}

bool MeshVekObj::getPids(int sampleIndex, const std::vector<int>*& data, AnimationState& state) {
  return pointAtChunk(sampleIndex, Tag::PIDS, data, state);
}

bool MeshVekObj::getNcnts(int sampleIndex, const std::vector<int>*& data, AnimationState& state) {
  return pointAtChunk(sampleIndex, Tag::NCNT, data, state);
}

bool MeshVekObj::getNids(int sampleIndex, const std::vector<int>*& data, AnimationState& state) {
  return pointAtChunk(sampleIndex, Tag::NIDS, data, state);
}

bool MeshVekObj::getNormalData(int sampleIndex, const std::vector<float>*& data,
                               AnimationState& state) {
  return pointAtChunk(sampleIndex, Tag::VPNO, data, state);
}

bool MeshVekObj::getNormalData(int sampleIndex, const std::vector<double>*& data,
                               AnimationState& state) {
  return pointAtChunk(sampleIndex, Tag::VPNO, data, state);
}

bool MeshVekObj::getFaceNormalData(int sampleIndex, const std::vector<float>*& data,
                                   AnimationState& state) {
  return pointAtChunk(sampleIndex, Tag::PONO, data, state);
}

bool MeshVekObj::getFaceNormalData(int sampleIndex, const std::vector<double>*& data,
                                   AnimationState& state) {
  return pointAtChunk(sampleIndex, Tag::PONO, data, state);
}

bool MeshVekObj::getVelocityData(int sampleIndex, const std::vector<float>*& data,
                                 AnimationState& state) {
  return pointAtChunk(sampleIndex, Tag::VELO, data, state);
}

bool MeshVekObj::getVelocityData(int sampleIndex, const std::vector<double>*& data,
                                 AnimationState& state) {
  return pointAtChunk(sampleIndex, Tag::VELO, data, state);
}

// --- Copies --------------------------------------------------------------------------------------

bool MeshVekObj::copyInts(int sampleIndex, unsigned tag, std::vector<int>& values,
                          AnimationState& state) {
  const std::vector<int>* data = nullptr;
  if (!pointAtChunk(sampleIndex, tag, data, state)) return false;
  const bool copied = copyValues(*data, values);
  if (!copied) state = Static;
  return copied;
}

bool MeshVekObj::getFaceVertexCnts(int sampleIndex, std::vector<int>& values,
                                   AnimationState& state) {
  return copyInts(sampleIndex, Tag::PCNT, values, state);
}

bool MeshVekObj::getFaceVertexIds(int sampleIndex, std::vector<int>& values,
                                  AnimationState& state) {
  return copyInts(sampleIndex, Tag::PIDS, values, state);
}

bool MeshVekObj::getFaceNormalVertexCnts(int sampleIndex, std::vector<int>& values,
                                         AnimationState& state) {
  return copyInts(sampleIndex, Tag::NCNT, values, state);
}

bool MeshVekObj::getFaceNormalVertexIds(int sampleIndex, std::vector<int>& values,
                                        AnimationState& state) {
  return copyInts(sampleIndex, Tag::NIDS, values, state);
}

template <typename T>
bool MeshVekObj::copyVectors(int sampleIndex, unsigned tag, std::vector<T>& values,
                             AnimationState& state) {
  state = Static;
  bool animated = false;
  int dimension = 0;
  if (!getChunkValues(sampleIndex, tag, values, animated, dimension)) return false;
  state = animated ? Animated : Static;
  return true;
}

bool MeshVekObj::getNormals(int sampleIndex, std::vector<float>& values, AnimationState& state) {
  return copyVectors(sampleIndex, Tag::VPNO, values, state);
}

bool MeshVekObj::getNormals(int sampleIndex, std::vector<double>& values, AnimationState& state) {
  return copyVectors(sampleIndex, Tag::VPNO, values, state);
}

bool MeshVekObj::getFaceNormals(int sampleIndex, std::vector<float>& values,
                                AnimationState& state) {
  return copyVectors(sampleIndex, Tag::PONO, values, state);
}

bool MeshVekObj::getFaceNormals(int sampleIndex, std::vector<double>& values,
                                AnimationState& state) {
  return copyVectors(sampleIndex, Tag::PONO, values, state);
}

bool MeshVekObj::getVelocity(int sampleIndex, std::vector<float>& values, AnimationState& state) {
  return copyVectors(sampleIndex, Tag::VELO, values, state);
}

bool MeshVekObj::getVelocity(int sampleIndex, std::vector<double>& values, AnimationState& state) {
  return copyVectors(sampleIndex, Tag::VELO, values, state);
}

template <typename T>
bool MeshVekObj::copyPref(std::vector<T>& values) {
  int dimension = 0;
  const std::vector<double>* doubles = nullptr;
  if (getPrefData(doubles, dimension)) return copyValues(*doubles, values);
  const std::vector<float>* floats = nullptr;
  return getPrefData(floats, dimension) && copyValues(*floats, values);
}

bool MeshVekObj::getPref(std::vector<float>& values) {
  return copyPref(values);
}

bool MeshVekObj::getPref(std::vector<double>& values) {
  return copyPref(values);
}

}  // namespace Vek
