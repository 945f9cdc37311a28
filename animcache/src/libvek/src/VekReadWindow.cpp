// SPDX-License-Identifier: Apache-2.0
//
// Reading ahead.

#include "VekReadWindow.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "VekPlatform.h"

namespace Vek {

bool VekReadWindow::fill(std::FILE* stream, __int64 position, __int64 length, __int64 expected) {
  constexpr __int64 growth = 4;
  const __int64 kept = countFrom(position);
  const __int64 ahead = serves(position) ? std::clamp(m_length * growth, firstLength, maxLength)
                        : expected > 0   ? expected
                                         : firstLength;
  // What is larger than a piece is read past it.
  const __int64 wanted =
      expected > maxLength ? std::max(length, firstLength) : std::max({length, expected, ahead});
  if (wanted > m_capacity) {
    if (!reserve(wanted)) return false;
  } else if (kept > 0) {
    std::memmove(m_bytes.get(), m_bytes.get() + (position - m_begin),
                 static_cast<std::size_t>(kept));
    m_used = kept;
  } else {
    m_used = 0;
  }
  m_begin = position;
  const std::size_t read = Platform::readAt(stream, m_begin + m_used, m_bytes.get() + m_used,
                                            static_cast<std::size_t>(wanted - m_used));
  m_used += static_cast<__int64>(read);
  m_next = m_begin + m_used;
  m_length = wanted;
  return true;
}

__int64 VekReadWindow::readPast(std::FILE* stream, __int64 position, char* buffer, __int64 length) {
  constexpr __int64 tail = 512;
  const bool hasTail = m_capacity >= tail;
  const auto read = static_cast<__int64>(Platform::readAt(
      stream, position, buffer, static_cast<std::size_t>(length), hasTail ? m_bytes.get() : nullptr,
      hasTail ? static_cast<std::size_t>(tail) : 0));
  // Not beyond what the file has: the end of what was asked for may be no offset at all.
  const __int64 taken = std::min(read, length);
  m_begin = position + taken;
  m_used = read - taken;
  m_next = position + read;
  m_length = tail;
  return taken;
}

void VekReadWindow::clear() {
  m_used = 0;
  m_next = -1;
}

// What was read is given up: it would be copied only to be read again for less.
bool VekReadWindow::reserve(__int64 capacity) {
  std::unique_ptr<char[]> larger(new (std::nothrow) char[static_cast<std::size_t>(capacity)]);
  m_used = 0;
  if (!larger) return false;
  m_bytes = std::move(larger);
  m_capacity = capacity;
  return true;
}

}  // namespace Vek
