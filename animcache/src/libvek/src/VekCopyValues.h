// SPDX-License-Identifier: Apache-2.0
//
// Copies of a leaf's values, converted where the types differ.

#ifndef VEK_COPY_VALUES_H
#define VEK_COPY_VALUES_H

#include <algorithm>
#include <string>
#include <vector>

#include "VekGuarded.h"

namespace Vek {

/// Makes `to` a copy of `from`; false, with `to` as it was, when memory is short.
template <typename From, typename To>
bool copyValues(const std::vector<From>& from, std::vector<To>& to) {
  return guarded(false, [&] {
    to.resize(from.size());
    std::transform(from.begin(), from.end(), to.begin(),
                   [](const From& value) { return static_cast<To>(value); });
    return true;
  });
}

inline bool copyValues(const std::vector<std::string>& from, std::vector<std::string>& to) {
  return guarded(false, [&] {
    std::vector<std::string> copy = from;
    to.swap(copy);
    return true;
  });
}

}  // namespace Vek

#endif
