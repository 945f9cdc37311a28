// SPDX-License-Identifier: Apache-2.0
//
// vek2txt: prints files chunk by chunk.

#include "ToolFiles.h"
#include "ToolMain.h"
#include "vekUtils.h"

int main(int argc, char** argv) {
  VekTool::Tool tool;
  tool.name = "vek2txt";
  tool.files = "FILE...";
  tool.maxFiles = VekTool::anyNumber;
  tool.help =
      R"(Prints every chunk of each VEK file to the standard output in file order, one line for each, with
". " for every level of nesting. With more than one file, each dump begins with the line "FILE:".
What was printed before a failure stays.

Arguments:
  FILE        the file to print
)";
  tool.example = "  vek2txt scene.vek | head\n";
  tool.run = [](const VekTool::Call& call) { return VekTool::printEachFile(call, vek2txt); };
  return VekTool::toolMain(argc, argv, tool);
}
