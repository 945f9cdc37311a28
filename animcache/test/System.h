// SPDX-License-Identifier: Apache-2.0
//
// What the tests ask of the operating system beyond the C++ library: the process, its environment
// and the rights of an ordinary user.

#ifndef VEK_TEST_SYSTEM_H
#define VEK_TEST_SYSTEM_H

#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#if defined(_WIN32)
#include <io.h>
#include <process.h>
#else
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

// Declared here, since <grp.h> would also bring in a type named group.
extern "C" int setgroups(std::size_t count, const gid_t* groups) noexcept;
#endif

namespace VekTest {

inline int processId() {
#if defined(_WIN32)
  return ::_getpid();
#else
  return ::getpid();
#endif
}

/// A number that grows with the files that are open.
inline std::ptrdiff_t numOpenFiles() {
#if defined(_WIN32)
  // The C library gives out the lowest number that is free.
  const int firstFree = ::_dup(2);
  ::_close(firstFree);
  return firstFree;
#else
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
#endif
}

/// Address space that the process had at most until now, in KiB; 0 where the system does not tell.
inline long peakAddressSpaceKiB() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmPeak:", 0) == 0) return std::stol(line.substr(7));
  }
  return 0;
}

/// Sets a variable of the environment; null removes it.
inline void setEnvironment(const char* name, const char* value) {
#if defined(_WIN32)
  ::_putenv_s(name, value != nullptr ? value : "");
#else
  if (value != nullptr) {
    ::setenv(name, value, 1);
  } else {
    ::unsetenv(name);
  }
#endif
}

/// The time zone of the process for one scope.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) {
    const char* const before = std::getenv("TZ");
    m_known = before != nullptr;
    if (m_known) m_before = before;
    set(zone);
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;
  ~TimeZone() { set(m_known ? m_before.c_str() : nullptr); }

  static void set(const char* zone) {
    setEnvironment("TZ", zone);
#if defined(_WIN32)
    ::_tzset();
#else
    ::tzset();
#endif
  }

 private:
  bool m_known = false;
  std::string m_before;
};

#if !defined(_WIN32)

/// The answer of a process that the permissions of a file apply to: they do not bind a superuser,
/// who asks a child process that is none.
template <typename Check>
bool asOrdinaryUser(Check check) {
  if (::geteuid() != 0) return check();
  const pid_t child = ::fork();
  if (child == 0) {
    const bool dropped =
        ::setgroups(0, nullptr) == 0 && ::setgid(65534) == 0 && ::setuid(65534) == 0;
    ::_exit(dropped ? (check() ? 1 : 0) : 2);
  }
  int status = 0;
  EXPECT_EQ(child, ::waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_NE(2, WEXITSTATUS(status)) << "could not become an ordinary user";
  return WEXITSTATUS(status) == 1;
}

/// Lets no file of this process grow past a size, for one scope.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    ::getrlimit(RLIMIT_FSIZE, &m_old);
    m_handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, m_old.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &m_old);
    std::signal(SIGXFSZ, m_handler);
  }

 private:
  rlimit m_old{};
  void (*m_handler)(int) = nullptr;
};

#endif

}  // namespace VekTest

#endif
