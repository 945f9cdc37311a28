// SPDX-License-Identifier: Apache-2.0
//
// The files that the tools read: what is wrong with one, and one after the other.

#ifndef VEK_TOOL_FILES_H
#define VEK_TOOL_FILES_H

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>

#include "ToolMain.h"
#include "VekChunks.h"

#if defined(_WIN32)
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <windows.h>
#endif

namespace VekTool {

/// The name of a file as the C library means it.
inline std::filesystem::path pathOf(const char* name) {
#if defined(_WIN32)
  // The path of the C++ library would take a name in the system's code page for UTF-8, and throw.
  std::wstring wide(std::strlen(name), L'\0');
  const auto length = static_cast<int>(wide.size());
  wide.resize(
      static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, name, length, wide.data(), length)));
  return wide;
#else
  return name;
#endif
}

/// The line beside the one of the library: that one may lack the file's name or the cause.
inline void printTrouble(const char* tool, const char* file, const std::string& trouble) {
  std::cout.flush();
  std::cerr << tool << ": " << file << ": " << trouble << '\n';
}

/// The system's words for an error number.
inline std::string systemMessage(int error) {
  return std::generic_category().message(error);
}

/// Whether the file ends inside one of its outermost chunks. The library prints such a file as far
/// as it goes.
inline bool isCutOff(const char* path) {
  constexpr __int64 headerSize = sizeof(Vek::VekHeader);
  Vek::VekFile file(path, "r");
  if (!file.seek(0, SEEK_END, true)) return false;
  const __int64 size = file.tell();
  file.rewind();
  for (__int64 rest = size; rest > 0; rest = size - file.tell()) {
    if (rest < headerSize) return true;
    Vek::VekHeader h;
    if (!file.readHeader(h) || h.length < 0) return false;
    if (h.length > rest - headerSize) return true;
    if (!file.seek(h.length, SEEK_CUR, true)) return false;
  }
  return false;
}

/// What is wrong with a file that is to be read, empty when nothing shows.
inline std::string troubleWith(const char* name) {
  const std::filesystem::path path = pathOf(name);
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (!std::filesystem::exists(status)) return error ? error.message() : systemMessage(ENOENT);
  if (std::filesystem::is_directory(status)) return systemMessage(EISDIR);
  // To open a pipe would be to wait for its other end.
  if (!std::filesystem::is_regular_file(status)) return "Not a regular file";
  if (!Vek::VekFile::isReadable(name)) return systemMessage(EACCES);
  if (std::filesystem::file_size(path, error) == 0) return "The file is empty";
  if (!Vek::VekFile::isVekFile(name)) return "Not a VEK file";
  return isCutOff(name) ? "The file is cut off: it ends inside a chunk" : "";
}

/// Prints every file with a tool of the library, also after one has failed, and returns the exit
/// status. With more than one file, each begins with a line that names it.
inline int printEachFile(const Call& call, int (*print)(const char*)) {
  bool ok = true;
  for (const char* const file : call.files) {
    if (call.files.size() > 1) std::cout << file << ":\n";
    const bool printed = print(file) == 0;
    if (!std::cout) break;
    const std::string trouble = troubleWith(file);
    if (printed && trouble.empty()) continue;
    printTrouble(call.tool, file, trouble.empty() ? "The file is damaged" : trouble);
    ok = false;
  }
  return ok ? 0 : 1;
}

}  // namespace VekTool

#endif
