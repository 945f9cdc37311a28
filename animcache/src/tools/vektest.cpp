// SPDX-License-Identifier: Apache-2.0
//
// vektest: writes a small fixed file.

#include "ToolMain.h"
#include "vekUtils.h"

int main(int argc, char** argv) {
  const VekTool::Tool tool = {
      "vektest", "FILE", 1,
      "Writes a small fixed VEK file: two objects and one sample of positions and velocities. It\n"
      "tries every step of writing and gives the other tools a known file.\n"
      "\n"
      "Arguments:\n"
      "  FILE        the file to write; an existing one is overwritten\n",
      [](char* const* args) { return vektest(args[0]); }};
  return VekTool::toolMain(argc, argv, tool);
}
