// SPDX-License-Identifier: Apache-2.0
//
// What differs between operating systems: 64-bit positioning, binary streams, interrupted calls,
// access tests, calendar time, and the program that compares texts.

#ifndef VEK_PLATFORM_H
#define VEK_PLATFORM_H

#include <cstddef>
#include <cstdio>
#include <iosfwd>
#include <string>
#include <vector>

#include "VekChunks.h"

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "Headers and values are written as they stand in memory: a little-endian machine is needed"
#endif

namespace Vek::Platform {

/// What access() tests for.
enum class Access { exists = 0, write = 2, read = 4 };

/// Opens a stream with a mode of fopen, always without translation of line ends. Null as well, with
/// errno set, for what has no positions to go to: pipes and terminals.
std::FILE* open(const char* path, const char* mode);
/// Moves the position; `whence` as in fseek.
bool seek(std::FILE* stream, __int64 offset, int whence);
/// The current position, -1 on failure.
__int64 tell(std::FILE* stream);
/// The size of a regular file; -1 for what has no positions, such as a pipe, and 0 for anything
/// else, such as a directory.
__int64 size(std::FILE* stream);
/// Reads at an offset: `size` bytes into `buffer`, then `moreSize` into `more`. Returns how many
/// bytes there were in all before the end of the file or a failure. Where the system lets it, one
/// call that leaves the stream's position alone.
std::size_t readAt(std::FILE* stream, __int64 offset, char* buffer, std::size_t size,
                   char* more = nullptr, std::size_t moreSize = 0);
/// Writes at the stream's position and returns how many bytes could be written.
std::size_t write(std::FILE* stream, const void* data, std::size_t size);
/// Lets the system map new memory that is about to be filled in one go, which costs less than
/// mapping page after page as they are used. Does nothing for a few pages and where it cannot.
void mapAtOnce(void* memory, std::size_t size);
bool access(const char* path, Access mode);
bool remove(const char* path);
/// Whether both names are names of one file that is there.
bool isSameFile(const char* path1, const char* path2);
/// Seconds since 1970.
__int64 now();
/// Prints "Thu Jan  1 00:00:00 1970" and a line end, in local time; the number and a line end when
/// the calendar cannot tell.
std::ostream& printLocalTime(std::ostream& os, __int64 secondsSince1970);
/// The folder, with a separator at its end, for the texts that are compared.
std::string dumpFolder();
/// Removes the texts.
void removeDumps(const std::vector<std::string>& files);
/// Runs the system's diff on two texts and returns what std::system would; `options` go to it as
/// they stand.
int runDiff(const std::string& options, const std::string& file1, const std::string& file2);

}  // namespace Vek::Platform

#endif
