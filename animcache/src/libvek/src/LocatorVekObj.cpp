// SPDX-License-Identifier: Apache-2.0
//
// The views of locators and coordinate systems.

#include "VekGuarded.h"
#include "VekHelperObj.h"

namespace Vek {

LocatorVekObj::LocatorVekObj(VekRoMemCache* cache, int objectIndex)
    : VekHelperObj(cache, objectIndex) {
  addCategory("locator");
}

LocatorVekObj::LocatorVekObj(const LocatorVekObj& other) = default;

LocatorVekObj& LocatorVekObj::operator=(const LocatorVekObj& other) = default;

LocatorVekObj::~LocatorVekObj() = default;

LxCoordSystemVekObj::LxCoordSystemVekObj(VekRoMemCache* cache, int objectIndex)
    : VekHelperObj(cache, objectIndex) {
  addCategory("lxcoordsystem");
}

LxCoordSystemVekObj::LxCoordSystemVekObj(const LxCoordSystemVekObj& other) = default;

LxCoordSystemVekObj& LxCoordSystemVekObj::operator=(const LxCoordSystemVekObj& other) = default;

LxCoordSystemVekObj::~LxCoordSystemVekObj() = default;

// A setting holds for all samples: it is read at the first one, also when it is animated.
int LxCoordSystemVekObj::getSetting(const char* name, int fallback) {
  return guarded(fallback, [&] {
    const std::vector<int>* data = nullptr;
    int dimension = 0;
    const int attr = findAttr(name);
    const bool found = attr >= 0 && getAttrData(0, attr, data, dimension) && !data->empty();
    return found ? data->front() : fallback;
  });
}

bool LxCoordSystemVekObj::scoped() {
  return getSetting("scoped", 1) != 0;
}

bool LxCoordSystemVekObj::useAsClippingPlane() {
  return getSetting("useAsClippingPlane", 1) != 0;
}

int LxCoordSystemVekObj::displayShape() {
  return getSetting("displayShape", 1);
}

std::string LxCoordSystemVekObj::parentRig() {
  const std::vector<std::string>* data = nullptr;
  const int attr = findAttr("parentRig");
  return attr >= 0 && getAttrData(0, attr, data) && !data->empty() ? data->front() : std::string();
}

}  // namespace Vek
