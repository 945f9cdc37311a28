// SPDX-License-Identifier: Apache-2.0
//
// What a piece of work costs: time, page faults, allocations, and bytes that went through system
// calls.

#ifndef VEK_BENCH_METER_H
#define VEK_BENCH_METER_H

#include <vector>

namespace bench {

struct Cost {
  double cpu = 0;   ///< user and system time, seconds
  double wall = 0;  ///< seconds
  double faults = 0;
  double allocations = 0;
  double allocatedBytes = 0;
  double readBytes = 0;
  double writtenBytes = 0;
};

/// Starts at construction.
class Meter {
 public:
  Meter();
  /// The cost since the start.
  Cost stop() const;

 private:
  Cost m_start;
};

/// How often this program has called operator new.
long long countAllocations();

double median(std::vector<double> values);
/// The median of each figure by itself.
Cost median(const std::vector<Cost>& costs);

}  // namespace bench

#endif
