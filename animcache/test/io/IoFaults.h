// SPDX-License-Identifier: Apache-2.0
//
// Calls of the C library's input and output that fail on demand. The linker directs the calls of
// the static library to wrappers, which count them and let the n-th one fail.

#ifndef VEK_TEST_IO_FAULTS_H
#define VEK_TEST_IO_FAULTS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace VekTest {

/// How calls fail.
enum class IoMode {
  once,        ///< the n-th call does nothing and fails
  onwards,     ///< so do all after it
  partly,      ///< the n-th call moves half of its bytes, then there is a failure
  interrupted  ///< a signal comes in between; the next call goes on
};

/// Makes calls fail during a stretch of code.
class IoFault {
 public:
  /// Fails none.
  IoFault() = default;
  /// Fails call n, counted from 1.
  IoFault(std::size_t n, IoMode mode) : m_remaining(n), m_mode(mode) {}

  /// Runs the operation. Several runs count on.
  template <typename Operation>
  void during(Operation operation) {
    const Armed armed(*this);
    operation();
  }

  /// How many calls there were.
  std::size_t numCalls() const { return m_numCalls; }
  /// Whether a call failed.
  bool wasHit() const { return m_hit; }
  /// Whether data that was written may be lost: nobody may say that it is in the file.
  bool lostData() const { return m_lostData; }
  /// Whether a call was interrupted that can be gone on with: it moves data.
  bool canGoOn() const { return m_canGoOn; }
  IoMode mode() const { return m_mode; }

  /// The fault of the running stretch of code when the next call fails by it, else null. Called by
  /// the wrappers.
  static IoFault* strike();
  /// Notes that the failing call was to bring written data to the file.
  void loseData() { m_lostData = true; }
  void goOn() { m_canGoOn = m_mode == IoMode::interrupted; }
  /// Makes the next call fail as well.
  void failNext() { m_remaining = 1; }

 private:
  struct Armed {
    explicit Armed(IoFault& fault);
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;
    ~Armed();
  };

  std::size_t m_numCalls = 0;
  std::size_t m_remaining = 0;  ///< up to the one that fails; 0 for none
  IoMode m_mode = IoMode::once;
  bool m_hit = false;
  bool m_lostData = false;
  bool m_canGoOn = false;
};

/// Runs a scenario, which takes an IoFault, with every call of its operations failing in turn. Ends
/// with the first run in which nothing is left to fail, or with the first that goes wrong. Returns
/// how many calls there were.
template <typename Scenario>
std::size_t failEveryCall(Scenario scenario) {
  constexpr const char* names[] = {"", " and all after", " half done", " interrupted"};
  std::size_t n = 1;
  for (const IoMode mode : {IoMode::once, IoMode::onwards, IoMode::partly, IoMode::interrupted}) {
    for (n = 1;; ++n) {
      IoFault fault(n, mode);
      const ::testing::ScopedTrace trace(
          __FILE__, __LINE__, "call " + std::to_string(n) + names[static_cast<int>(mode)]);
      scenario(fault);
      if (::testing::Test::HasFailure()) return 0;
      if (!fault.wasHit()) break;
    }
  }
  return n - 1;
}

}  // namespace VekTest

#endif
