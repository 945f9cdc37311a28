// SPDX-License-Identifier: Apache-2.0
//
// The command line that the tools share: options, arguments, and exit statuses.

#ifndef VEK_TOOL_MAIN_H
#define VEK_TOOL_MAIN_H

#include <cstddef>
#include <cstring>
#include <iostream>
#include <vector>

namespace VekTool {

enum ExitStatus { success = 0, failure = 1, wrongArguments = 2 };

/// What one tool is called with and does.
struct Tool {
  const char* name;
  const char* arguments;          ///< as the usage line shows them: "FILE"
  std::size_t argumentCount;      ///< how many arguments there must be
  const char* help;               ///< what it does and what the arguments are, lines with line ends
  int (*run)(char* const* args);  ///< the tool itself: 0 for success
};

inline std::ostream& printUsage(std::ostream& os, const Tool& tool) {
  return os << "Usage: " << tool.name << " [--help] [--version] [--] " << tool.arguments << '\n';
}

constexpr const char* commonHelp = R"(
Options:
  -h, --help  print this help
  --version   print the version
  --          end the options: what follows is an argument even if it begins with "-"

Exit status:
  0  success
  1  failure; the standard error stream says why
  2  wrong arguments
)";

inline void printHelp(const Tool& tool) {
  printUsage(std::cout, tool) << '\n' << tool.help << commonHelp;
}

/// Output that could not be written, to a full disk for example, is a failure.
inline ExitStatus finish(const Tool& tool, ExitStatus status) {
  if (std::cout.flush()) return status;
  std::cerr << tool.name << ": cannot write to the standard output\n";
  return failure;
}

/// Acts on the command line and returns the exit status of the process.
inline int toolMain(int argc, char** argv, const Tool& tool) {
  std::vector<char*> arguments;
  bool options = true;
  for (int i = 1; i < argc; ++i) {
    const char* const word = argv[i];
    if (!options || word[0] != '-' || word[1] == '\0') {
      arguments.push_back(argv[i]);
    } else if (std::strcmp(word, "--") == 0) {
      options = false;
    } else if (std::strcmp(word, "--help") == 0 || std::strcmp(word, "-h") == 0) {
      printHelp(tool);
      return finish(tool, success);
    } else if (std::strcmp(word, "--version") == 0) {
      std::cout << tool.name << " (libvek) " VEK_VERSION "\n";
      return finish(tool, success);
    } else {
      printUsage(std::cerr, tool);
      return wrongArguments;
    }
  }
  if (arguments.size() != tool.argumentCount) {
    printUsage(std::cerr, tool);
    return wrongArguments;
  }
  return finish(tool, tool.run(arguments.data()) == 0 ? success : failure);
}

}  // namespace VekTool

#endif
