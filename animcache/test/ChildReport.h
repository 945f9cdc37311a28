// SPDX-License-Identifier: Apache-2.0
//
// Checks in a child process, which may limit what it writes or give up its rights for good, and
// which may crash.

#ifndef VEK_TEST_CHILD_REPORT_H
#define VEK_TEST_CHILD_REPORT_H

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace VekTest {

/// What a child process tells its parent, which alone can make a test fail.
class Report {
 public:
  explicit Report(int pipe) : m_pipe(pipe) {}

  /// Says what the following checks are about; the parent hears of it when the child crashes.
  void at(const std::string& where) {
    m_where = where;
    send("@" + where);
  }
  void check(bool ok, const std::string& what) {
    if (ok) return;
    ++m_numFailures;
    send("!" + m_where + ": " + what);
  }
  /// Checks a text that says what is wrong, or nothing.
  void checkNone(const std::string& wrong, const std::string& what) {
    check(wrong.empty(), what + ": " + wrong);
  }
  /// Whether enough went wrong to stop a loop.
  bool isFull() const { return m_numFailures >= 5; }

 private:
  void send(const std::string& line) const {
    const std::string text = line + "\n";
    if (::write(m_pipe, text.data(), text.size()) < 0) std::abort();
  }

  int m_pipe;
  int m_numFailures = 0;
  std::string m_where = "at the start";
};

/// The failed checks among the lines of a report, and how the child ended unless it ended well.
inline std::string outcome(const std::string& lines, int status) {
  std::string failures;
  std::string where;
  for (std::size_t begin = 0; begin < lines.size();) {
    const std::size_t end = std::min(lines.find('\n', begin), lines.size());
    const std::string line = lines.substr(begin, end - begin);
    if (line.front() == '!') failures += line.substr(1) + "\n";
    if (line.front() == '@') where = line.substr(1);
    begin = end + 1;
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return failures;
  return failures + "the child process died (status " + std::to_string(status) + "), " + where;
}

/// Runs checks in a child process; empty when all of them held.
inline std::string runInChild(const std::function<void(Report&)>& checks) {
  int ends[2];
  if (::pipe(ends) != 0) return "no pipe";
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child < 0) return "no child process";
  if (child == 0) {
    ::close(ends[0]);
    Report report(ends[1]);
    checks(report);
    std::exit(0);
  }
  ::close(ends[1]);
  std::string lines;
  char buffer[4096];
  for (ssize_t n = 0; (n = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
    lines.append(buffer, static_cast<std::size_t>(n));
  }
  ::close(ends[0]);
  int status = -1;
  ::waitpid(child, &status, 0);
  return outcome(lines, status);
}

/// For one scope, no file can be written past so many bytes: the write that would do so stops there
/// and the next one fails.
class SizeLimit {
 public:
  explicit SizeLimit(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &m_before);
    const rlimit limit = {bytes, m_before.rlim_max};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) std::abort();
  }
  SizeLimit(const SizeLimit&) = delete;
  SizeLimit& operator=(const SizeLimit&) = delete;
  ~SizeLimit() { ::setrlimit(RLIMIT_FSIZE, &m_before); }

 private:
  rlimit m_before = {};
};

}  // namespace VekTest

#endif
