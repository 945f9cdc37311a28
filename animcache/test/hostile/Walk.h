// SPDX-License-Identifier: Apache-2.0
//
// Walks that ask the library for all that a file, whole or damaged, has to give.

#ifndef VEK_TEST_WALK_H
#define VEK_TEST_WALK_H

#include <string>
#include <vector>

#include "Digest.h"
#include "VekCache.h"
#include "VekHelperObj.h"

namespace VekTest {

/// Every chunk at top level with its tree: read, printed, copied and written.
void walkChunks(const char* path, Digest& digest);

/// The head, the lookups and every object of every sample, read from the file each time. Returns
/// whether the file was loaded.
bool walkCache(const char* path, Digest& digest);

/// The samples held in memory, and every accessor of every view, at samples and at times.
bool walkMemory(const char* path, int maxSamples, Digest& digest);

/// Every accessor of one view.
void walkView(Vek::VekRoMemCache& cache, Vek::VekHelperObj& view, Digest& digest);

/// What became of an edited file: it may be refused, but what is saved can be loaded again.
struct Edit {
  bool saved = false;
  std::string fault;  ///< empty when the library did what it promises
};

/// Loads a cache for editing and saves it to another file.
Edit walkRewrite(const char* path, const char* target);

/// Adds a frame to a file and saves it in place.
Edit walkAppend(const char* path);

/// The tools that print a file.
void walkTools(const char* path, Digest& digest);

/// Indices inside a range and beside it, only the first few of a long one.
std::vector<int> indicesAround(int count, int most = 3);

/// How many attributes of an object the walks ask for: one of each type.
constexpr int kMostAttrs = 5;

/// Times at the first samples of a cache, between them and beside all of them.
std::vector<float> timesAround(const Vek::VekCache& cache);

}  // namespace VekTest

#endif
