// SPDX-License-Identifier: Apache-2.0

/// @file
/// Tools: functions that look into a VEK file from a host's own command line or script. They print
/// their result to the standard output stream and one error line to the standard error stream.

#ifndef VEK_UTILS_H
#define VEK_UTILS_H

#include "VekChunks.h"

/// Prints a summary of a file: its head, and every object with its attributes. Returns 0, or -1
/// when the file cannot be loaded. What it cannot read of an object in the first
/// sample counts as missing there.
VEK_API int vekinfo(const char* filename);

/// Prints every chunk of a file, in file order, as an indented text tree. Returns 0, or -1 on
/// failure; what was printed before a failure stays.
VEK_API int vek2txt(const char* filename);

/// Compares two files, except for their creation times, through text dumps in the fixed temporary
/// files /disk1/tmp/vek___diff___1.txt and /disk1/tmp/vek___diff___2.txt (on Windows in the user's
/// temporary folder) and the system's diff, to which `options` (null for none) is passed as it
/// stands; the shell sees it. Returns what system() returned for diff, 0 when the files are equal,
/// or -1 on an error of its own, which leaves the temporary files where they are. Two comparisons
/// at a time disturb one another.
VEK_API int vekdiff(const char* file1, const char* file2, const char* options);

/// Writes a small fixed file that exercises the whole writing path. Returns 0, or -1 on the first
/// failure; the partly written file stays.
VEK_API int vektest(const char* filename);

namespace Vek {
using ::vek2txt;
using ::vekdiff;
using ::vekinfo;
using ::vektest;
}  // namespace Vek

#endif
