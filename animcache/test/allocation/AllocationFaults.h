// SPDX-License-Identifier: Apache-2.0
//
// Allocations that fail on demand: the program's operators new and delete are replaced by ones that
// count, and that fail at the n-th allocation of a stretch of code.

#ifndef VEK_TEST_ALLOCATION_FAULTS_H
#define VEK_TEST_ALLOCATION_FAULTS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <string>

namespace VekTest {

/// Allocations since the start of the program.
std::size_t numAllocations();
/// Bytes that were allocated and are not yet freed.
std::size_t numLiveBytes();

/// Whether the n-th allocation fails alone, or all from it on.
enum class FaultMode { once, onwards };

/// Makes allocations fail during a stretch of code.
class AllocationFault {
 public:
  /// Fails none.
  AllocationFault() = default;
  /// Fails allocation n, counted from 1.
  AllocationFault(std::size_t n, FaultMode mode) : m_remaining(n), m_mode(mode) {}

  /// Runs the operation; an std::bad_alloc that leaves it is noted. Several runs count on.
  template <typename Operation>
  void during(Operation operation) {
    const Armed armed(*this);
    try {
      operation();
    } catch (const std::bad_alloc&) {
      m_threw = true;
    }
  }

  /// Whether an allocation failed.
  bool wasHit() const { return m_hit; }
  /// Whether an operation let std::bad_alloc out.
  bool threw() const { return m_threw; }

  /// Whether the next allocation fails. Called by the operators new.
  static bool strikes();

 private:
  struct Armed {
    explicit Armed(AllocationFault& fault);
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;
    ~Armed();
  };

  std::size_t m_remaining = 0;  ///< up to the one that fails; 0 for none
  FaultMode m_mode = FaultMode::once;
  bool m_hit = false;
  bool m_threw = false;
};

/// Runs a scenario, which takes an AllocationFault, with every allocation of its operations failing
/// in turn, and checks that all that it allocated is freed again. Ends with the first run in which
/// nothing is left to fail, or with the first that goes wrong.
template <typename Scenario>
void failEveryAllocation(Scenario scenario) {
  {
    // What is made only once is made before bytes are counted.
    const ::testing::ScopedTrace trace(__FILE__, __LINE__, "no failure");
    AllocationFault none;
    scenario(none);
  }
  for (const FaultMode mode : {FaultMode::once, FaultMode::onwards}) {
    for (std::size_t n = 1; !::testing::Test::HasFailure(); ++n) {
      const std::size_t before = numLiveBytes();
      AllocationFault fault(n, mode);
      {
        const ::testing::ScopedTrace trace(
            __FILE__, __LINE__,
            "allocation " + std::to_string(n) + (mode == FaultMode::once ? "" : " and all after"));
        scenario(fault);
        if (::testing::Test::HasFailure()) return;
      }
      EXPECT_EQ(numLiveBytes(), before) << "leak after a failure of allocation " << n;
      if (!fault.wasHit()) break;
    }
  }
}

}  // namespace VekTest

#endif
