// SPDX-License-Identifier: Apache-2.0
//
// Files that change between two openings: for one scope, the n-th file that the process opens is
// another one, or none.

#ifndef VEK_TEST_OPEN_FAULT_H
#define VEK_TEST_OPEN_FAULT_H

#include <string>

namespace VekTest {

class OpenFault {
 public:
  /// From now on, the n-th fopen() opens `other` instead of what it is asked for.
  OpenFault(int n, std::string other);
  OpenFault(const OpenFault&) = delete;
  OpenFault& operator=(const OpenFault&) = delete;
  ~OpenFault();
};

}  // namespace VekTest

#endif
