// SPDX-License-Identifier: Apache-2.0
//
// The bounds of the work on one variant, with the means of the system.

#include "Watch.h"

#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <initializer_list>

#include "AddressSanitizer.h"
#include "CountedMemory.h"

#if defined(VEK_TEST_SANITIZED)
extern "C" void __sanitizer_set_death_callback(void (*callback)());
#endif

namespace VekTest {

namespace {

constexpr int kSeconds = kAddressSanitizer ? 30 : 2;

const char* volatile current = nullptr;

void say(const char* text) {
  const ssize_t written = ::write(STDERR_FILENO, text, std::strlen(text));
  static_cast<void>(written);
}

void sayWhat(const char* what) {
  const char* const text = current;
  if (text == nullptr) return;
  say("\n");
  say(what);
  say(text);
  say("\n");
}

void onSlow(int) {
  sayWhat("takes too long: ");
  ::_exit(1);
}

void onCrash(int signal) {
  sayWhat("crashes: ");
  ::raise(signal);  // The handler is gone: this ends the process as the crash would have.
}

void onSignal(int signal, void (*handler)(int), unsigned int flags) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = static_cast<int>(flags);
  ::sigaction(signal, &action, nullptr);
}

void startTimer(int seconds) {
  const struct itimerval timer = {{0, 0}, {seconds, 0}};
  ::setitimer(ITIMER_PROF, &timer, nullptr);
}

/// Sets the limit of the address space and returns the one before.
std::size_t limitAddressSpace(std::size_t bytes) {
  struct rlimit limit = {};
  ::getrlimit(RLIMIT_AS, &limit);
  const auto before = static_cast<std::size_t>(limit.rlim_cur);
  // The sanitizer reserves far more than it uses.
  if (!kAddressSanitizer) {
    limit.rlim_cur = bytes;
    ::setrlimit(RLIMIT_AS, &limit);
  }
  return before;
}

}  // namespace

Watch::Watch(std::size_t memoryLimit) : m_addressSpaceBefore(limitAddressSpace(memoryLimit)) {
  CountedMemory::setLimit(memoryLimit);
  onSignal(SIGPROF, onSlow, 0);
#if defined(VEK_TEST_SANITIZED)
  __sanitizer_set_death_callback([] { sayWhat("crashes: "); });
#else
  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL})
    onSignal(signal, onCrash, SA_RESETHAND);
#endif
  onSignal(SIGABRT, onCrash, SA_RESETHAND);
}

Watch::~Watch() {
  end();
  CountedMemory::setLimit(static_cast<std::size_t>(-1));
  limitAddressSpace(m_addressSpaceBefore);
  for (const int signal : {SIGPROF, SIGABRT}) onSignal(signal, SIG_DFL, 0);
#if defined(VEK_TEST_SANITIZED)
  __sanitizer_set_death_callback(nullptr);
#else
  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) onSignal(signal, SIG_DFL, 0);
#endif
}

void Watch::begin(const char* what) {
  current = what;
  startTimer(kSeconds);
}

void Watch::end() {
  startTimer(0);
  current = nullptr;
}

}  // namespace VekTest
