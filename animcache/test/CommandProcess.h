// SPDX-License-Identifier: Apache-2.0
//
// Starts a program with its output streams in files, and waits for its end.

#ifndef VEK_TEST_COMMAND_PROCESS_H
#define VEK_TEST_COMMAND_PROCESS_H

#include <string>
#include <vector>

#if defined(_WIN32)
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;
#endif

namespace VekTest {

#if defined(_WIN32)

/// A word of a command line as the C library of the program takes it apart again.
inline std::string quotedWord(const std::string& word) {
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (const char c : word) {
    // Backslashes count double in front of a quotation mark, and only there.
    if (c == '"') quoted.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    quoted += c;
  }
  return quoted.append(backslashes, '\\') + "\"";
}

/// Runs a program; its exit status, or -1 when it could not be started.
inline int runProgram(const std::vector<std::string>& words, const std::string& out,
                      const std::string& err) {
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : " ") + quotedWord(word);
  SECURITY_ATTRIBUTES inherited = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  const auto create = [&](const std::string& file) {
    return ::CreateFileA(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
  };
  STARTUPINFOA start = {};
  start.cb = sizeof(start);
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
  start.hStdOutput = create(out);
  start.hStdError = create(err);
  PROCESS_INFORMATION process = {};
  const bool started = ::CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                        nullptr, &start, &process) != 0;
  ::CloseHandle(start.hStdOutput);
  ::CloseHandle(start.hStdError);
  if (!started) return -1;
  DWORD status = 0;
  ::WaitForSingleObject(process.hProcess, INFINITE);
  ::GetExitCodeProcess(process.hProcess, &status);
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);
  return static_cast<int>(status);
}

#else

/// Runs a program; its exit status, or -1 when it could not be started or was ended by a signal.
inline int runProgram(std::vector<std::string> words, const std::string& out,
                      const std::string& err) {
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC;
  ::posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), flags, 0600);
  ::posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), flags, 0600);
  pid_t child = -1;
  const int failed = ::posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  if (failed != 0 || ::waitpid(child, &status, 0) != child) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

#endif

}  // namespace VekTest

#endif
