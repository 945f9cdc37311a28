// SPDX-License-Identifier: Apache-2.0
//
// The error line of the tools.

#include "vekToolError.h"

#include <iostream>

namespace Vek {

int toolError(const char* tool, const std::string& detail, int line) {
  // What was printed before the error comes before it in a common log.
  std::cout.flush();
  std::cerr << tool << " at vekUtils:" << line << " Error " << detail << std::endl;
  return -1;
}

}  // namespace Vek
