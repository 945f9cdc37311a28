// SPDX-License-Identifier: Apache-2.0
//
// How the bytes of a payload become the values of a vector.

#ifndef VEK_READ_VALUES_H
#define VEK_READ_VALUES_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "VekChunks.h"
#include "VekPlatform.h"

namespace Vek {

/// The size of one value in a payload; 1 where values have no size of their own.
inline __int64 elementSize(unsigned char type) {
  switch (type) {
    case ValueType::Int32:
    case ValueType::Float:
      return 4;
    case ValueType::Int64:
    case ValueType::Double:
      return 8;
    default:
      return 1;
  }
}

/// Gives a vector the size of what is read into it next. Memory of another size is not used again:
/// what is held must not exceed what is needed.
template <typename T>
void resizeToRead(std::vector<T>& values, std::size_t size) {
  const bool fits = size <= values.capacity() && values.capacity() - size <= size / 16;
  if (!fits) {
    std::vector<T>().swap(values);
    values.reserve(size);
    Platform::mapAtOnce(values.data(), size * sizeof(T));
  }
  values.resize(size);
}

/// The number of bytes from `first` to the next NUL or to `end`.
inline std::size_t lengthOfRun(const char* first, const char* end) {
  const auto size = static_cast<std::size_t>(end - first);
  const void* const nul = size > 0 ? std::memchr(first, '\0', size) : nullptr;
  return nul == nullptr ? size : static_cast<std::size_t>(static_cast<const char*>(nul) - first);
}

/// One string for each run that a NUL ends; the last one may lack it.
inline void splitRuns(const char* text, std::size_t length, std::vector<std::string>& runs) {
  const char* const end = text + length;
  const bool cutOff = length > 0 && end[-1] != '\0';
  runs.resize(static_cast<std::size_t>(std::count(text, end, '\0')) + (cutOff ? 1 : 0));
  const char* begin = text;
  for (std::string& run : runs) {
    run.assign(begin, lengthOfRun(begin, end));
    begin += run.size() + 1;
  }
}

}  // namespace Vek

#endif
