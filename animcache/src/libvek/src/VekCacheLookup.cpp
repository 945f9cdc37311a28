// SPDX-License-Identifier: Apache-2.0
//
// Lookups in the head of a cache: samples by time and objects by name.

#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>
#include <string_view>

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

bool hasNamespaces(const std::string& name) {
  return name.find(':') != std::string::npos;
}

/// A name that has namespaces without those of its components: |ns:a|ns:b becomes |a|b. Names are
/// full paths that begin with "|"; a first component without one keeps its first character, so that
/// ns:a becomes na, which callers rely on.
std::string stripNamespaces(const std::string& name) {
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

/// Whether that is the last component of a name. Most names are told apart by one character on
/// either side of it, without a search for the bar. `component` holds no "|".
bool endsWithComponent(std::string_view name, std::string_view component) {
  if (name.size() < component.size()) return false;
  const std::size_t begin = name.size() - component.size();
  if (begin > 0 && name[begin - 1] != '|') return false;
  if (component.empty()) return true;
  return name.back() == component.back() && name.substr(begin) == component;
}

/// The first of the definitions [first, end) whose name ends with the component; `end` when there
/// is none. A missing definition counts as one without a name.
std::size_t findComponent(const std::vector<VekDOBJChunk*>& definitions, std::size_t first,
                          std::size_t end, std::string_view component) {
  for (std::size_t i = first; i < end; ++i) {
    const VekDOBJChunk* const definition = definitions[i];
    const std::string_view name = definition != nullptr ? definition->name : std::string_view();
    if (endsWithComponent(name, component)) return i;
  }
  return end;
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

// Names that are equal have equal last components too, so that the last components alone decide.
// The table is scanned, not indexed: whoever has the metadata may rename objects at any time.
int VekCache::findObjectIndex(const std::string& name, int hint) const {
  if (metadata.dobjs.empty() || name.empty()) return -1;
  return guarded(-1, [&] {
    const bool strips = hasNamespaces(name);
    const std::string stripped = strips ? stripNamespaces(name) : std::string();
    const std::string& key = strips ? stripped : name;
    const std::string_view component = std::string_view(key).substr(lastComponent(key));
    const std::size_t count = metadata.dobjs.size();
    const std::size_t start = hasObject(hint) ? static_cast<std::size_t>(hint) : 0;
    std::size_t found = findComponent(metadata.dobjs, start, count, component);
    if (found == count) {
      found = findComponent(metadata.dobjs, 0, start, component);
      if (found == start) return -1;
    }
    const auto index = static_cast<int>(found);
    if (verbosity >= 3) compareNames(getName(index), key);  // Traces the match.
    return index;
  });
}

}  // namespace Vek
