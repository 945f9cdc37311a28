// SPDX-License-Identifier: Apache-2.0
//
// vekdiff: compares two files.

#include "ToolFiles.h"
#include "ToolMain.h"
#include "vekUtils.h"

#ifndef _WIN32
#include <sys/wait.h>
#endif

namespace {

enum ExitStatus { same = 0, different = 1, trouble = 2 };

/// The exit status of the command for what system() returned; -1 is an error of vekdiff's own.
ExitStatus exitStatus(int result) {
#ifndef _WIN32
  if (result == -1 || !WIFEXITED(result)) return trouble;
  result = WEXITSTATUS(result);
#endif
  if (result == 0) return same;
  return result == 1 ? different : trouble;
}

int compare(const VekTool::Call& call) {
  // Reserved space prints as NULs, which diff would take for a sign of binary files.
  const char* const options = call.optionValue != nullptr ? call.optionValue : "-a";
  const int result = vekdiff(call.files[0], call.files[1], options);
  ExitStatus status = exitStatus(result);
  for (const char* const file : call.files) {
    const std::string found = VekTool::troubleWith(file);
    if (found.empty()) continue;
    VekTool::printTrouble(call.tool, file, found);
    status = trouble;
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  VekTool::Tool tool;
  tool.name = "vekdiff";
  tool.files = "FILE1 FILE2";
  tool.minFiles = tool.maxFiles = 2;
  tool.option = "--diff-options=";
  tool.optionUsage = "[--diff-options=OPTIONS] ";
  tool.optionHelp = R"(  --diff-options=OPTIONS
              pass OPTIONS to diff as they stand instead of "-a", which shows lines with any
              characters; the shell reads them
)";
  tool.help =
      R"(Compares two VEK files, except for their creation times: prints both as text, one line for each
chunk, and shows what "diff" finds. Files with the same content print nothing.

The text goes to vek___diff___1.txt and vek___diff___2.txt in the folder /disk1/tmp, which must exist
and be writable. Two comparisons at the same time disturb one another.

Arguments:
  FILE1       the file to compare from
  FILE2       the file to compare to
)";
  tool.statusHelp = R"(  0  the files are the same
  1  the files are different
  2  trouble: a file cannot be read, diff cannot be run, or wrong arguments; the standard error
     stream says why
)";
  tool.example = "  vekdiff --diff-options=\"-a -u\" old.vek new.vek\n";
  tool.failure = trouble;
  tool.run = compare;
  return VekTool::toolMain(argc, argv, tool);
}
