// SPDX-License-Identifier: Apache-2.0
//
// Copies of a leaf's values, converted where the types differ.

#ifndef VEK_COPY_VALUES_H
#define VEK_COPY_VALUES_H

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "VekChunks.h"
#include "VekGuarded.h"

namespace Vek {

/// Overwrites `to` with `count` values of `from`, converted: between float and double, and between
/// the integers.
template <typename From, typename To>
void convertValues(const From* from, std::size_t count, To* to);

extern template void convertValues(const float*, std::size_t, double*);
extern template void convertValues(const double*, std::size_t, float*);
extern template void convertValues(const int*, std::size_t, __int64*);
extern template void convertValues(const __int64*, std::size_t, int*);

/// Makes `to` a copy of `from`; false, with `to` as it was, when memory is short.
template <typename From, typename To>
bool copyValues(const std::vector<From>& from, std::vector<To>& to) {
  return guarded(false, [&] {
    if constexpr (!std::is_same_v<From, To>) {
      // Memory that is there is overwritten in one pass.
      if (to.size() == from.size()) {
        convertValues(from.data(), from.size(), to.data());
        return true;
      }
    }
    to.assign(from.begin(), from.end());
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
