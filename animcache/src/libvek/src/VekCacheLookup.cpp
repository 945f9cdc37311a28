// SPDX-License-Identifier: Apache-2.0
//
// Lookups in the head of a cache: samples by time and objects by name.

#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>

#include "VekCache.h"
#include "VekGuarded.h"

namespace Vek {

// --- Samples by time -----------------------------------------------------------------------------

namespace {

/// A sample position as an index when it lies in [0, count); -1 otherwise, for a NaN as well.
int toIndex(float position, __int64 count) {
  constexpr __int64 most = std::numeric_limits<int>::max();
  const bool inside =
      position >= 0 && static_cast<double>(position) < static_cast<double>(std::min(count, most));
  return inside ? static_cast<int>(position) : -1;
}

}  // namespace

int VekCache::getNumTimes() const {
  const auto size = static_cast<__int64>(timeTable.size());
  return static_cast<int>(std::clamp<__int64>(metadata.numSamples, 0, size));
}

// Index of the first sample whose time is not less than t; -1 when there is none.
int VekCache::lowerBound(float t) const {
  const auto end = timeTable.begin() + getNumTimes();
  const auto found = std::lower_bound(timeTable.begin(), end, t);
  return found == end ? -1 : static_cast<int>(found - timeTable.begin());
}

int VekCache::getSampleIndex(float t) const {
  const VekMETAChunk& meta = metadata;
  if (meta.numSamples == 0 || !(t >= meta.firstTime && t <= meta.lastTime)) return -1;
  if (isNonUniform()) {
    const int i = lowerBound(t);
    return i >= 0 && timeTable[static_cast<std::size_t>(i)] == t ? i : -1;
  }
  const float position = (t - meta.firstTime) * meta.rate;
  return std::trunc(position) == position ? toIndex(position, meta.numSamples) : -1;
}

int VekCache::getMaxSampleIndexNotGreaterThan(float t) const {
  const VekMETAChunk& meta = metadata;
  if (meta.numSamples == 0 || std::isnan(t)) return -1;
  const float clamped = t > meta.lastTime ? meta.lastTime : t;
  if (meta.firstTime > clamped) return -1;
  // Between two samples of a non-uniform file this is the later one; readers rely on it.
  if (isNonUniform()) return lowerBound(clamped);
  return toIndex(std::trunc((clamped - meta.firstTime) * meta.rate), meta.numSamples);
}

int VekCache::getMinSampleIndexNotLessThan(float t) const {
  const VekMETAChunk& meta = metadata;
  if (meta.numSamples == 0 || std::isnan(t)) return -1;
  const float clamped = meta.firstTime > t ? meta.firstTime : t;
  if (clamped > meta.lastTime) return -1;
  if (!isNonUniform())
    return toIndex(std::ceil((clamped - meta.firstTime) * meta.rate), meta.numSamples);
  return lowerBound(clamped);
}

float VekCache::getSampleTime(int i) const {
  const VekMETAChunk& meta = metadata;
  constexpr float none = std::numeric_limits<float>::quiet_NaN();
  if (i < 0 || i >= meta.numSamples) return none;
  if (isNonUniform()) return i < getNumTimes() ? timeTable[static_cast<std::size_t>(i)] : none;
  const float time = static_cast<float>(i) / meta.rate + meta.firstTime;
  return time >= meta.firstTime && time <= meta.lastTime ? time : none;
}

// --- Objects by name -----------------------------------------------------------------------------

namespace {

/// The name without the namespaces of its components: |ns:a|ns:b becomes |a|b. Names are full
/// paths that begin with "|"; a first component without one keeps its first character, so that
/// ns:a becomes na, which callers rely on.
std::string stripNamespaces(const std::string& name) {
  if (name.find(':') == std::string::npos) return name;
  std::string result;
  __int64 lastColon = -1;
  __int64 componentStart = 0;
  if (name[0] == ':')
    lastColon = 0;
  else
    result = name[0];
  const auto length = static_cast<__int64>(name.size());
  for (__int64 p = 1; p < length; ++p) {
    const char character = name[static_cast<std::size_t>(p)];
    if (character == ':') lastColon = p;
    if (character != '|' && p != length - 1) continue;
    const __int64 skipped = std::max(lastColon, componentStart);
    result.append(name, static_cast<std::size_t>(skipped + 1),
                  static_cast<std::size_t>(p - skipped));
    componentStart = p;
    lastColon = -1;
  }
  if (verbosity >= 3) std::cerr << name << std::endl << result << std::endl;
  return result;
}

/// Where the last component of a name begins.
std::size_t lastComponent(const std::string& name) {
  const std::size_t bar = name.rfind('|');
  return bar == std::string::npos ? 0 : bar + 1;
}

}  // namespace

std::string VekCache::shortName(const std::string& name) {
  return name.substr(lastComponent(name));
}

bool VekCache::compareNames(const std::string& a, const std::string& b) const {
  const bool same = a == b;
  if (!same &&
      a.compare(lastComponent(a), std::string::npos, b, lastComponent(b), std::string::npos) != 0)
    return false;
  if (verbosity >= 3) {
    std::cerr << (same ? "long name match 1st in 2nd string" : "short name match ") << std::endl
              << a << std::endl
              << b << std::endl;
  }
  return true;
}

int VekCache::findObjectIndex(const std::string& name, int hint) const {
  const int count = getNumObjects();
  if (count == 0 || name.empty()) return -1;
  return guarded(-1, [&] {
    const std::string key = stripNamespaces(name);
    const int start = hint >= 0 && hint < count ? hint : 0;
    for (int k = 0; k < count; ++k) {
      const int i = k < count - start ? start + k : k - (count - start);
      if (compareNames(getName(i), key)) return i;
    }
    return -1;
  });
}

}  // namespace Vek
