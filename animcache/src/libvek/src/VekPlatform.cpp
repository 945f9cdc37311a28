// SPDX-License-Identifier: Apache-2.0
//
// The operating system's side of files, calendar time and the comparison of texts.

#include "VekPlatform.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <system_error>

#include <sys/stat.h>
#include <sys/types.h>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#include <process.h>
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <windows.h>

#include <iostream>
#else
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>
#endif

namespace Vek::Platform {

namespace {

bool toLocalTime(__int64 seconds, std::tm& calendar) {
#if defined(_WIN32)
  // The C library knows the years from 1970 to 3000. The calendar, with its weekdays, is the same
  // again after 400 years.
  constexpr __int64 cycle = 146097LL * 24 * 60 * 60;
  __int64 cycles = seconds / cycle;
  __int64 within = seconds % cycle;
  if (within < 0) {
    within += cycle;
    --cycles;
  }
  if (_localtime64_s(&calendar, &within) != 0) return false;
  const __int64 year = calendar.tm_year + 400 * cycles;
  calendar.tm_year = static_cast<int>(year);
  return calendar.tm_year == year;
#else
  const auto time = static_cast<std::time_t>(seconds);
  tzset();  // localtime_r alone would not see that the host has changed its time zone.
  return localtime_r(&time, &calendar) != nullptr;
#endif
}

/// The text of asctime, for years of any length.
std::ostream& print(std::ostream& os, const std::tm& calendar) {
  constexpr const char* days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  char text[64] = "";
  static_cast<void>(std::snprintf(text, sizeof(text), "%s %s%3d %.2d:%.2d:%.2d %lld\n",
                                  days[calendar.tm_wday], months[calendar.tm_mon], calendar.tm_mday,
                                  calendar.tm_hour, calendar.tm_min, calendar.tm_sec,
                                  1900LL + calendar.tm_year));
  return os << text;
}

std::FILE* refuse(int reason) {
  errno = reason;
  return nullptr;
}

#if defined(_WIN32)

/// A new file; the C library's fopen would empty one that is there.
std::FILE* create(const char* path, const std::string& mode) {
  const int access = (mode.find('+') == std::string::npos ? _O_WRONLY : _O_RDWR) |
                     (mode[0] == 'a' ? _O_APPEND : 0);
  const int file = _open(path, access | _O_CREAT | _O_EXCL | _O_BINARY, _S_IREAD | _S_IWRITE);
  return file < 0 ? nullptr : _fdopen(file, mode.c_str());
}

std::FILE* openBinary(const char* path, std::string mode) {
  // The C library may end the process for a mode that it does not know.
  if (mode.empty() || std::strchr("rwa", mode[0]) == nullptr) return refuse(EINVAL);
  if (mode.find('b') == std::string::npos) mode += 'b';
  const std::size_t exclusive = mode.find('x');
  if (exclusive != std::string::npos) mode.erase(exclusive, 1);
  const bool creates = exclusive != std::string::npos && mode[0] != 'r';
  return creates ? create(path, mode) : std::fopen(path, mode.c_str());
}

/// What the system calls a file that stays open meanwhile, whatever the name.
class OpenIdentity {
 public:
  explicit OpenIdentity(const char* path)
      : m_file(CreateFileA(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                           OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)),
        m_known(m_file != INVALID_HANDLE_VALUE &&
                GetFileInformationByHandle(m_file, &m_info) != 0) {}
  OpenIdentity(const OpenIdentity&) = delete;
  OpenIdentity& operator=(const OpenIdentity&) = delete;
  ~OpenIdentity() {
    if (m_file != INVALID_HANDLE_VALUE) CloseHandle(m_file);
  }
  bool operator==(const OpenIdentity& other) const {
    return m_known && other.m_known &&
           m_info.dwVolumeSerialNumber == other.m_info.dwVolumeSerialNumber &&
           m_info.nFileIndexHigh == other.m_info.nFileIndexHigh &&
           m_info.nFileIndexLow == other.m_info.nFileIndexLow;
  }

 private:
  BY_HANDLE_FILE_INFORMATION m_info = {};
  HANDLE m_file;
  bool m_known;
};

#endif

}  // namespace

std::FILE* open(const char* path, const char* mode) {
#if defined(_WIN32)
  std::FILE* const stream = openBinary(path, mode);
  // A pipe or a terminal has no position.
  if (stream == nullptr || _fseeki64(stream, 0, SEEK_CUR) == 0) return stream;
  static_cast<void>(std::fclose(stream));
  return refuse(ESPIPE);
#else
  struct stat status = {};
  const bool isThere = ::stat(path, &status) == 0;
  // Opening a named pipe would wait for its other end, perhaps for ever.
  if (isThere && S_ISFIFO(status.st_mode)) return refuse(ESPIPE);
  std::FILE* const stream = std::fopen(path, mode);
  if (stream == nullptr || !isThere || !S_ISCHR(status.st_mode)) return stream;
  // Disks and memory can be positioned, terminals cannot.
  if (fseeko(stream, 0, SEEK_CUR) == 0) return stream;
  static_cast<void>(std::fclose(stream));
  return refuse(ESPIPE);
#endif
}

bool seek(std::FILE* stream, __int64 offset, int whence) {
#if defined(_WIN32)
  return _fseeki64(stream, offset, whence) == 0;
#else
  static_assert(sizeof(off_t) == 8, "files over 4 GiB need 64-bit offsets");
  return fseeko(stream, static_cast<off_t>(offset), whence) == 0;
#endif
}

__int64 tell(std::FILE* stream) {
#if defined(_WIN32)
  return _ftelli64(stream);
#else
  return static_cast<__int64>(ftello(stream));
#endif
}

__int64 size(std::FILE* stream) {
#if defined(_WIN32)
  struct _stat64 status = {};
  if (_fstat64(_fileno(stream), &status) != 0) return -1;
  const int kind = status.st_mode & _S_IFMT;
  if (kind == _S_IFIFO) return -1;
  return kind == _S_IFREG ? status.st_size : 0;
#else
  struct stat status = {};
  if (fstat(fileno(stream), &status) != 0) return -1;
  if (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode)) return -1;
  return S_ISREG(status.st_mode) ? static_cast<__int64>(status.st_size) : 0;
#endif
}

#if defined(_WIN32)

std::size_t readAt(std::FILE* stream, __int64 offset, char* buffer, std::size_t size, char* more,
                   std::size_t moreSize) {
  if (!seek(stream, offset, SEEK_SET)) return 0;
  const std::size_t read = std::fread(buffer, 1, size, stream);
  return read < size || moreSize == 0 ? read : read + std::fread(more, 1, moreSize, stream);
}

#else

// NOLINTNEXTLINE(readability-non-const-parameter): the system writes to both
std::size_t readAt(std::FILE* stream, __int64 offset, char* buffer, std::size_t size, char* more,
                   std::size_t moreSize) {
  const int file = fileno(stream);
  const std::size_t wanted = size + moreSize;
  std::size_t done = 0;
  while (done < wanted) {
    const std::size_t first = std::min(done, size);
    const std::size_t second = done - first;
    const std::array<iovec, 2> parts = {iovec{buffer + first, size - first},
                                        iovec{more + second, moreSize - second}};
    const bool hasFirst = first < size;
    const bool hasSecond = moreSize > 0;
    const ssize_t count =
        preadv(file, hasFirst ? parts.data() : &parts[1], hasFirst && hasSecond ? 2 : 1,
               static_cast<off_t>(offset) + static_cast<off_t>(done));
    if (count > 0)
      done += static_cast<std::size_t>(count);
    else if (count == 0 || errno != EINTR)
      break;
  }
  return done;
}

#endif

std::size_t write(std::FILE* stream, const void* data, std::size_t size) {
  const auto* const bytes = static_cast<const char*>(data);
  std::size_t done = 0;
  for (;;) {
    errno = 0;
    done += std::fwrite(bytes + done, 1, size - done, stream);
    if (done == size || errno != EINTR) return done;
    std::clearerr(stream);  // Interrupted by a signal: nothing is wrong with the file.
  }
}

void mapAtOnce([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t size) {
#if defined(MADV_POPULATE_WRITE)
  constexpr std::size_t worthACall = 64 << 10;
  static const auto pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  if (size < worthACall || std::align(pageSize, pageSize, memory, size) == nullptr) return;
  const int error = errno;  // Of no use to anybody: the memory is mapped page by page then.
  static_cast<void>(madvise(memory, size / pageSize * pageSize, MADV_POPULATE_WRITE));
  errno = error;
#endif
}

bool access(const char* path, Access mode) {
#if defined(_WIN32)
  return _access(path, static_cast<int>(mode)) == 0;
#else
  return ::access(path, static_cast<int>(mode)) == 0;
#endif
}

bool remove(const char* path) {
#if defined(_WIN32)
  return _unlink(path) == 0;
#else
  return ::unlink(path) == 0;
#endif
}

bool isSameFile(const char* path1, const char* path2) {
#if defined(_WIN32)
  // The path of the C++ library would take names in the code page of the C library for UTF-8.
  return OpenIdentity(path1) == OpenIdentity(path2);
#else
  std::error_code ignored;
  return std::filesystem::equivalent(path1, path2, ignored);
#endif
}

__int64 now() {
#if defined(_WIN32)
  return _time64(nullptr);
#else
  return static_cast<__int64>(std::time(nullptr));
#endif
}

std::ostream& printLocalTime(std::ostream& os, __int64 secondsSince1970) {
  std::tm calendar = {};
  if (toLocalTime(secondsSince1970, calendar)) return print(os, calendar);
  char digits[24] = "";
  static_cast<void>(
      std::snprintf(digits, sizeof(digits), "%lld\n", static_cast<long long>(secondsSince1970)));
  return os << digits;
}

#if defined(_WIN32)

// There is neither the folder nor the shell of other systems. The user's own temporary folder is
// always there, and a program can be started without the command interpreter, which ends with 1, as
// for texts that differ, when it finds no diff.

std::string dumpFolder() {
  return (std::filesystem::temp_directory_path() / "").string();
}

void removeDumps(const std::vector<std::string>& files) {
  for (const std::string& file : files) remove(file.c_str());
}

int runDiff(const std::string& options, const std::string& file1, const std::string& file2) {
  // The program takes one line apart into its arguments: this joins them with blanks.
  const std::string texts = "\"" + file1 + "\" \"" + file2 + "\"";
  const auto status = _spawnlp(_P_WAIT, "diff", "diff", options.c_str(), texts.c_str(), nullptr);
  if (status == -1) std::cerr << "diff: " << std::strerror(errno) << std::endl;
  return static_cast<int>(status);
}

#else

std::string dumpFolder() {
  return "/disk1/tmp/";  // Scripts rely on this place.
}

// The commands are made of fixed paths and the caller's own options for diff.
// NOLINTBEGIN(cert-env33-c)

void removeDumps(const std::vector<std::string>& files) {
  std::string command;
  for (const std::string& file : files) command += "rm " + file + ";";
  static_cast<void>(std::system(command.c_str()));
}

int runDiff(const std::string& options, const std::string& file1, const std::string& file2) {
  return std::system(("diff " + options + " " + file1 + " " + file2 + ";").c_str());
}

// NOLINTEND(cert-env33-c)

#endif

}  // namespace Vek::Platform
