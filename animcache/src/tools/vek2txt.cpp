// SPDX-License-Identifier: Apache-2.0
//
// vek2txt: prints a file chunk by chunk.

#include "ToolMain.h"
#include "vekUtils.h"

int main(int argc, char** argv) {
  const VekTool::Tool tool = {
      "vek2txt", "FILE", 1,
      "Prints every chunk of a VEK file to the standard output in file order, one line for each,\n"
      "with \". \" for every level of nesting. What was printed before a failure stays.\n"
      "\n"
      "Arguments:\n"
      "  FILE        the file to print\n",
      [](char* const* args) { return vek2txt(args[0]); }};
  return VekTool::toolMain(argc, argv, tool);
}
