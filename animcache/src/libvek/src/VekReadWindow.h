// SPDX-License-Identifier: Apache-2.0
//
// A piece of a file that was read ahead. A reader that goes on where the piece ends gets larger and
// larger ones, one that jumps gets no more than it is about to use.

#ifndef VEK_READ_WINDOW_H
#define VEK_READ_WINDOW_H

#include <cstdio>
#include <memory>

#include "VekChunks.h"

namespace Vek {

class VekReadWindow {
 public:
  /// The largest piece.
  static constexpr __int64 maxLength = 256 << 10;
  /// What is read where nothing was read before.
  static constexpr __int64 firstLength = 4096;
  /// What a reader leaves out and still goes on.
  static constexpr __int64 longestGap = 1024;

  /// Where `length` bytes from `position` on stand; null when the piece does not hold them all.
  const char* find(__int64 position, __int64 length) const {
    const __int64 offset = position - m_begin;
    const bool inside = offset >= 0 && offset <= m_used && length <= m_used - offset;
    return inside ? m_bytes.get() + offset : nullptr;
  }
  /// How many bytes the piece holds from `position` on.
  __int64 countFrom(__int64 position) const {
    return find(position, 0) != nullptr ? m_begin + m_used - position : 0;
  }
  /// Whether a reader at `position` uses this piece or goes on behind what was read, little of it
  /// left out.
  bool serves(__int64 position) const {
    return countFrom(position) > 0 ||
           (m_next >= 0 && position >= m_next && position - m_next < longestGap);
  }
  /// Moves to `position`, what is there already included, and reads at least `length` bytes, at
  /// most maxLength, where the file has them. `expected` is how much the reader knows it will use.
  /// False when memory is short.
  bool fill(std::FILE* stream, __int64 position, __int64 length, __int64 expected);
  /// Reads `length` bytes from `position` on into the reader's own buffer, and a little of what
  /// follows into this piece: the header of the next chunk comes with the payload of this one.
  /// Returns how many bytes the buffer has got.
  __int64 readPast(std::FILE* stream, __int64 position, char* buffer, __int64 length);
  /// Forgets what was read.
  void clear();

 private:
  bool reserve(__int64 capacity);

  std::unique_ptr<char[]> m_bytes;
  __int64 m_capacity = 0;
  __int64 m_begin = 0;   ///< file offset of the first byte
  __int64 m_used = 0;    ///< bytes held
  __int64 m_next = -1;   ///< where a sequential reader goes on, -1 when nothing was read
  __int64 m_length = 0;  ///< how much was read last
};

}  // namespace Vek

#endif
