// SPDX-License-Identifier: Apache-2.0
//
// The command line that the tools share: options, arguments, the output stream, exit statuses.

#ifndef VEK_TOOL_MAIN_H
#define VEK_TOOL_MAIN_H

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <iostream>
#include <limits>
#include <vector>

namespace VekTool {

/// Exit status of every tool for wrong arguments.
constexpr int wrongArguments = 2;
constexpr std::size_t anyNumber = std::numeric_limits<std::size_t>::max();

/// What the command line asks for.
struct Call {
  const char* tool = nullptr;
  std::vector<const char*> files;
  const char* optionValue = nullptr;  ///< of the tool's own option, null when it is not given
};

/// What one tool is called with and does.
struct Tool {
  const char* name = nullptr;
  const char* files = "FILE";  ///< as the usage line shows them
  std::size_t minFiles = 1;
  std::size_t maxFiles = 1;
  /// The one option with a value that a tool may have, "--name=", and what the help shows for it.
  const char* option = nullptr;
  const char* optionUsage = "";
  const char* optionHelp = "";
  const char* help = "";  ///< what it does and what the arguments are, lines with line ends
  const char* statusHelp =
      "  0  success\n"
      "  1  failure; the standard error stream says why\n"
      "  2  wrong arguments\n";
  const char* example = "";           ///< lines with line ends
  int failure = 1;                    ///< exit status when the output cannot be written
  int (*run)(const Call&) = nullptr;  ///< the tool itself: returns the exit status
};

inline std::ostream& printUsage(std::ostream& os, const Tool& tool) {
  return os << "Usage: " << tool.name << " [--help] [--version] " << tool.optionUsage << "[--] "
            << tool.files << '\n';
}

inline void printHelp(const Tool& tool) {
  printUsage(std::cout, tool) << '\n'
                              << tool.help << "\nOptions:\n"
                              << tool.optionHelp << "  -h, --help  print this help\n"
                              << "  --version   print the version\n"
                              << "  --          end the options: what follows is an argument even "
                                 "if it begins with \"-\"\n"
                              << "\nExit status:\n"
                              << tool.statusHelp << "\nExample:\n"
                              << tool.example;
}

/// Whoever reads the output may stop early, as `head` does: the tool ends at once then, also where
/// the calling process ignores or blocks the signal, which a child inherits.
inline void endOnClosedPipe() {
#ifdef SIGPIPE
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  sigprocmask(SIG_UNBLOCK, &signals, nullptr);
  static_cast<void>(std::signal(SIGPIPE, SIG_DFL));
#endif
}

/// Output that could not be written, to a full disk for example, is a failure. A reader that has
/// gone away is none that calls for a message.
inline int finish(const Tool& tool, int status) {
  if (std::cout.flush()) return status;
  if (errno != EPIPE) std::cerr << tool.name << ": cannot write to the standard output\n";
  return tool.failure;
}

inline bool startsWith(const char* word, const char* start) {
  return std::strncmp(word, start, std::strlen(start)) == 0;
}

inline int usageError(const Tool& tool) {
  printUsage(std::cerr, tool);
  return wrongArguments;
}

/// Acts on the command line and returns the exit status of the process.
inline int toolMain(int argc, char** argv, const Tool& tool) {
  endOnClosedPipe();
  std::ios::sync_with_stdio(false);  // The standard output stream gets a buffer of its own.
  Call call;
  call.tool = tool.name;
  bool options = true;
  for (int i = 1; i < argc; ++i) {
    const char* const word = argv[i];
    if (!options || word[0] != '-' || word[1] == '\0') {
      call.files.push_back(word);
    } else if (std::strcmp(word, "--") == 0) {
      options = false;
    } else if (std::strcmp(word, "--help") == 0 || std::strcmp(word, "-h") == 0) {
      printHelp(tool);
      return finish(tool, 0);
    } else if (std::strcmp(word, "--version") == 0) {
      std::cout << tool.name << " (libvek) " VEK_VERSION "\n";
      return finish(tool, 0);
    } else if (tool.option != nullptr && startsWith(word, tool.option)) {
      call.optionValue = word + std::strlen(tool.option);
    } else {
      return usageError(tool);
    }
  }
  if (call.files.size() < tool.minFiles || call.files.size() > tool.maxFiles)
    return usageError(tool);
  return finish(tool, tool.run(call));
}

}  // namespace VekTool

#endif
