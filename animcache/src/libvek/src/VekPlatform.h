// SPDX-License-Identifier: Apache-2.0
//
// What differs between operating systems: 64-bit positioning, binary streams, access tests and
// calendar time.

#ifndef VEK_PLATFORM_H
#define VEK_PLATFORM_H

#include <cstdio>
#include <string>

#include "VekChunks.h"

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "Headers and values are written as they stand in memory: a little-endian machine is needed"
#endif

namespace Vek::Platform {

/// What access() tests for.
enum class Access { exists = 0, write = 2, read = 4 };

/// Opens a stream with a mode of fopen, always without translation of line ends.
std::FILE* open(const char* path, const char* mode);
/// Moves the position; `whence` as in fseek.
bool seek(std::FILE* stream, __int64 offset, int whence);
/// The current position, -1 on failure.
__int64 tell(std::FILE* stream);
bool access(const char* path, Access mode);
bool remove(const char* path);
/// Seconds since 1970.
__int64 now();
/// "Thu Jan  1 00:00:00 1970" and a line end, in local time; the number and a line end when the
/// calendar cannot tell.
std::string localTimeText(__int64 secondsSince1970);

}  // namespace Vek::Platform

#endif
