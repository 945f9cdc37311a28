// SPDX-License-Identifier: Apache-2.0
//
// vekinfo: summarises files.

#include "ToolFiles.h"
#include "ToolMain.h"
#include "vekUtils.h"

int main(int argc, char** argv) {
  VekTool::Tool tool;
  tool.name = "vekinfo";
  tool.files = "FILE...";
  tool.maxFiles = VekTool::anyNumber;
  tool.help =
      R"(Prints a summary of each VEK file: its head, and every object with its kind and attributes at
the first sample. With more than one file, each summary begins with the line "FILE:".

Arguments:
  FILE        the file to summarise
)";
  tool.example = "  vekinfo scene.vek\n";
  tool.run = [](const VekTool::Call& call) { return VekTool::printEachFile(call, vekinfo); };
  return VekTool::toolMain(argc, argv, tool);
}
