// SPDX-License-Identifier: Apache-2.0
//
// vekinfo: summarises a file.

#include "ToolMain.h"
#include "vekUtils.h"

int main(int argc, char** argv) {
  const VekTool::Tool tool = {
      "vekinfo", "FILE", 1,
      "Prints a summary of a VEK file: its head, and every object with its kind and attributes at\n"
      "the first sample.\n"
      "\n"
      "Arguments:\n"
      "  FILE        the file to summarise\n",
      [](char* const* args) { return vekinfo(args[0]); }};
  return VekTool::toolMain(argc, argv, tool);
}
