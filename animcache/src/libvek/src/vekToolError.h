// SPDX-License-Identifier: Apache-2.0
//
// The error line of the tools.

#ifndef VEK_TOOL_ERROR_H
#define VEK_TOOL_ERROR_H

#include <string>

namespace Vek {

/// Writes "TOOL at vekUtils:LINE Error DETAIL" to the standard error stream and returns the tools'
/// failure result, -1. The line is the caller's.
int toolError(const char* tool, const std::string& detail, int line = __builtin_LINE());

}  // namespace Vek

#endif
