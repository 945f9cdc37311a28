// SPDX-License-Identifier: Apache-2.0
//
// Turns an allocation that fails into a failure result.

#ifndef VEK_GUARDED_H
#define VEK_GUARDED_H

#include <exception>

namespace Vek {

/// The result of `step`; `failure` when the standard library throws in it (out of memory, or a
/// size beyond what a container can hold).
template <typename Result, typename Step>
Result guarded(Result failure, Step step) {
  try {
    return step();
  } catch (const std::exception&) {
    return failure;
  }
}

}  // namespace Vek

#endif
