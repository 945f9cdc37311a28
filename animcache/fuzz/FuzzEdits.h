// SPDX-License-Identifier: Apache-2.0
//
// Edits of a read-write cache, chosen by the input.

#ifndef VEK_FUZZ_EDITS_H
#define VEK_FUZZ_EDITS_H

#include "FuzzInput.h"
#include "VekCache.h"

namespace VekFuzz {

/// A read-write cache whose inside is open to the fuzzer.
class EditedCache : public Vek::VekRwMemCache {
 public:
  using VekRwMemCache::convertToNonUniformSampling;
  using VekRwMemCache::convertToUniformSampling;
  using VekRwMemCache::countSamples;
  using VekRwMemCache::metadata;
  using VekRwMemCache::timeTable;
};

/// Makes one edit.
void edit(EditedCache& cache, Choices& choices);

}  // namespace VekFuzz

#endif
