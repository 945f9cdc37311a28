// SPDX-License-Identifier: Apache-2.0
//
// Runs the function of a tool in the process of the test.

#ifndef VEK_TEST_TOOL_RUN_H
#define VEK_TEST_TOOL_RUN_H

#include <string>

#include "ByteImage.h"

namespace VekTest {

/// What the function returned and printed.
struct ToolRun {
  int result = 0;
  std::string output;
  std::string errors;
};

inline ToolRun runTool(int (*tool)(const char* filename), const char* filename) {
  ToolRun r;
  r.output = captureStdout([&] { r.errors = captureStderr([&] { r.result = tool(filename); }); });
  return r;
}

}  // namespace VekTest

#endif
