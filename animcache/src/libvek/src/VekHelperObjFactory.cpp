// SPDX-License-Identifier: Apache-2.0
//
// The factory of object views.

#include <new>

#include "VekGuarded.h"
#include "VekHelperObj.h"

namespace Vek {

VekHelperObjFactory::VekHelperObjFactory(VekRoMemCache* cache) : m_cache(cache) {}

VekHelperObj* VekHelperObjFactory::vekObjBuilder(int objectIndex) {
  if (m_cache == nullptr) return nullptr;
  return guarded<VekHelperObj*>(nullptr, [&]() -> VekHelperObj* {
    const auto has = [&](unsigned int tag) { return m_cache->objectHas(objectIndex, tag); };
    // The order decides what an object with several of these is.
    if (has(Tag::XFRM)) return new TransformVekObj(m_cache, objectIndex);
    if (has(Tag::MESH)) return new MeshVekObj(m_cache, objectIndex);
    if (has(Tag::NRBS)) return new NurbsSurfaceVekObj(m_cache, objectIndex);
    if (has(Tag::NRBC)) return new NurbsCurveVekObj(m_cache, objectIndex);
    if (has(Tag::ELOC)) return new LocatorVekObj(m_cache, objectIndex);
    if (has(Tag::LXCS)) return new LxCoordSystemVekObj(m_cache, objectIndex);
    if (has(Tag::POSI)) return new GeometryVekObj(m_cache, objectIndex);
    return new VekHelperObj(m_cache, objectIndex);
  });
}

bool VekHelperObjFactory::getObjectNames(std::vector<std::string>& names) const {
  names.clear();
  if (m_cache == nullptr) return false;
  return guarded(false, [&] {
    for (int obj = 0; obj < m_cache->getNumObjects(); ++obj) {
      const std::string& name = m_cache->getName(obj);
      if (name.empty()) return false;
      names.push_back(name);
    }
    return true;
  });
}

}  // namespace Vek
