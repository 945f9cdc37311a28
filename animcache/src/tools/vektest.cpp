// SPDX-License-Identifier: Apache-2.0
//
// vektest: writes a small fixed file.

#include "ToolFiles.h"
#include "ToolMain.h"
#include "vekUtils.h"

namespace {

int writeTestFile(const VekTool::Call& call) {
  errno = 0;
  if (vektest(call.files.front()) == 0) return 0;
  const int cause = errno;
  VekTool::printTrouble(call.tool, call.files.front(),
                        cause != 0 ? VekTool::systemMessage(cause) : "The file was not written");
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  VekTool::Tool tool;
  tool.name = "vektest";
  tool.help =
      R"(Writes a small fixed VEK file: two objects and one sample of positions and velocities. It tries
every step of writing and gives the other tools a known file.

Arguments:
  FILE        the file to write; an existing one is overwritten
)";
  tool.example = "  vektest small.vek && vek2txt small.vek\n";
  tool.run = writeTestFile;
  return VekTool::toolMain(argc, argv, tool);
}
