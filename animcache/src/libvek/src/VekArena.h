// SPDX-License-Identifier: Apache-2.0
//
// Memory for many small chunks that go together: the objects of a sample that a cache holds. They
// stand one after another in the order in which they are read, without a block of their own each.

#ifndef VEK_ARENA_H
#define VEK_ARENA_H

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <vector>

#include "VekChunks.h"

namespace Vek {

/// Hands out memory and frees all of it at its end. What is made in it must be gone by then.
class VekArena {
 public:
  /// Of what is handed out; chunks and pointers need no more.
  static constexpr std::size_t alignment = 8;

  VekArena() = default;
  VekArena(const VekArena&) = delete;
  VekArena& operator=(const VekArena&) = delete;

  /// Throws std::bad_alloc.
  void* allocate(std::size_t size) {
    const std::size_t needed = (size + alignment - 1) / alignment * alignment;
    if (needed > m_left) addBlock(needed);
    void* const begin = m_next;
    m_next += needed;
    m_left -= needed;
    m_size += needed;
    return begin;
  }

  /// How much was handed out.
  std::size_t size() const { return m_size; }

  /// Takes back what was handed out since setMark(), when what was made in it is gone.
  ///@{
  void setMark() { m_mark = {m_blocks.size(), m_next, m_left, m_total, m_size}; }
  void rewind() {
    m_blocks.resize(m_mark.numBlocks);
    m_next = m_mark.next;
    m_left = m_mark.left;
    m_total = m_mark.total;
    m_size = m_mark.size;
  }
  ///@}

 private:
  struct Mark {
    std::size_t numBlocks = 0;
    char* next = nullptr;
    std::size_t left = 0;
    std::size_t total = 0;
    std::size_t size = 0;
  };

  // Blocks grow with the whole, so that there are few, and the unused end of the last one is
  // little.
  static constexpr std::size_t minBlock = 1024;
  static constexpr std::size_t maxBlock = 64 << 10;

  void addBlock(std::size_t needed) {
    const std::size_t size = std::max(needed, std::clamp(m_total / 8, minBlock, maxBlock));
    m_blocks.emplace_back();
    m_blocks.back().reset(new char[size]);
    m_next = m_blocks.back().get();
    m_left = size;
    m_total += size;
  }

  std::vector<std::unique_ptr<char[]>> m_blocks;
  char* m_next = nullptr;   ///< in the last block
  std::size_t m_left = 0;   ///< bytes from there on
  std::size_t m_total = 0;  ///< of all blocks
  std::size_t m_size = 0;   ///< handed out
  Mark m_mark;
};

static_assert(alignof(VekGroupChunk) <= VekArena::alignment, "aligned for groups");
static_assert(alignof(VekLeafChunk<double>) <= VekArena::alignment, "aligned for leaves");

template <typename T>
T* VekArenaAllocator<T>::allocate(std::size_t count) {
  const std::size_t size = count * sizeof(T);
  return static_cast<T*>(arena != nullptr ? arena->allocate(size) : ::operator new(size));
}

template <typename T>
void VekArenaAllocator<T>::deallocate(T* p, std::size_t) noexcept {
  if (arena == nullptr) ::operator delete(p);
}

}  // namespace Vek

#endif
