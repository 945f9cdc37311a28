// SPDX-License-Identifier: Apache-2.0
//
// The operating system's side of files and calendar time.

#include "VekPlatform.h"

#include <ctime>

#if defined(_WIN32)
#include <io.h>
#else
#include <sys/types.h>
#include <unistd.h>
#endif

namespace Vek::Platform {

namespace {

bool toLocalTime(__int64 seconds, std::tm& calendar) {
#if defined(_WIN32)
  return _localtime64_s(&calendar, &seconds) == 0;
#else
  const auto time = static_cast<std::time_t>(seconds);
  tzset();  // localtime_r alone would not see that the host has changed its time zone.
  return localtime_r(&time, &calendar) != nullptr;
#endif
}

/// The text of asctime, for years of any length.
std::string toText(const std::tm& calendar) {
  constexpr const char* days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  char text[64] = "";
  static_cast<void>(std::snprintf(text, sizeof(text), "%s %s%3d %.2d:%.2d:%.2d %lld\n",
                                  days[calendar.tm_wday], months[calendar.tm_mon], calendar.tm_mday,
                                  calendar.tm_hour, calendar.tm_min, calendar.tm_sec,
                                  1900LL + calendar.tm_year));
  return text;
}

}  // namespace

std::FILE* open(const char* path, const char* mode) {
#if defined(_WIN32)
  std::string binary = mode;
  if (binary.find('b') == std::string::npos) binary += 'b';
  return std::fopen(path, binary.c_str());
#else
  return std::fopen(path, mode);
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

__int64 now() {
#if defined(_WIN32)
  return _time64(nullptr);
#else
  return static_cast<__int64>(std::time(nullptr));
#endif
}

std::string localTimeText(__int64 secondsSince1970) {
  std::tm calendar = {};
  return toLocalTime(secondsSince1970, calendar) ? toText(calendar)
                                                 : std::to_string(secondsSince1970) + "\n";
}

}  // namespace Vek::Platform
