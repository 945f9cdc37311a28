// SPDX-License-Identifier: Apache-2.0
//
// Every question that object views answer: those about the object, those at a sample and those at
// a time.

#ifndef VEK_FUZZ_VIEWS_H
#define VEK_FUZZ_VIEWS_H

#include "VekHelperObj.h"

namespace VekFuzz {

/// The kind of numbers that are asked for, where there is one for each.
enum class Numbers { Float, Double, Both };

void askHead(Vek::VekHelperObj& view);
void askAtSample(Vek::VekHelperObj& view, int sample, Numbers numbers);
void askAtTime(Vek::VekHelperObj& view, float time, Vek::VekInterpolationHints& hints,
               Numbers numbers);

}  // namespace VekFuzz

#endif
