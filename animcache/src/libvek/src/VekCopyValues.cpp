// SPDX-License-Identifier: Apache-2.0
//
// The loop that converts values, in a file of its own that is compiled with vectorisation also
// where a build does not ask for it.

#include "VekCopyValues.h"

namespace Vek {

template <typename From, typename To>
void convertValues(const From* from, std::size_t count, To* to) {
  const From* __restrict const stored = from;
  To* __restrict const converted = to;
  for (std::size_t i = 0; i < count; ++i) converted[i] = static_cast<To>(stored[i]);
}

template void convertValues(const float*, std::size_t, double*);
template void convertValues(const double*, std::size_t, float*);
template void convertValues(const int*, std::size_t, __int64*);
template void convertValues(const __int64*, std::size_t, int*);

}  // namespace Vek
