// SPDX-License-Identifier: Apache-2.0
//
// operator new and delete for the whole program. Each block carries its size in front. The memory
// comes from malloc, so that a memory checker sees every block with its true bounds behind.

#include "CountedMemory.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kFront = alignof(std::max_align_t);

std::atomic<std::size_t> blockCount{0};
std::atomic<std::size_t> byteCount{0};
std::atomic<std::size_t> bytePeak{0};
std::atomic<std::size_t> byteLimit{std::numeric_limits<std::size_t>::max()};

void* take(std::size_t size) noexcept {
  if (size > byteLimit - byteCount) return nullptr;
  void* const block = std::malloc(size + kFront);
  if (block == nullptr) return nullptr;
  *static_cast<std::size_t*>(block) = size;
  byteCount += size;
  ++blockCount;
  if (byteCount > bytePeak) bytePeak = byteCount.load();
  return static_cast<char*>(block) + kFront;
}

void give(void* place) noexcept {
  if (place == nullptr) return;
  void* const block = static_cast<char*>(place) - kFront;
  byteCount -= *static_cast<std::size_t*>(block);
  --blockCount;
  std::free(block);
}

void* takeOrThrow(std::size_t size) {
  void* const place = take(size);
  if (place == nullptr) throw std::bad_alloc();
  return place;
}

}  // namespace

void* operator new(std::size_t size) {
  return takeOrThrow(size);
}
void* operator new[](std::size_t size) {
  return takeOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return take(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return take(size);
}
void operator delete(void* place) noexcept {
  give(place);
}
void operator delete[](void* place) noexcept {
  give(place);
}
void operator delete(void* place, std::size_t) noexcept {
  give(place);
}
void operator delete[](void* place, std::size_t) noexcept {
  give(place);
}
void operator delete(void* place, const std::nothrow_t&) noexcept {
  give(place);
}
void operator delete[](void* place, const std::nothrow_t&) noexcept {
  give(place);
}

namespace VekTest {

std::size_t CountedMemory::blocks() {
  return blockCount;
}

std::size_t CountedMemory::bytes() {
  return byteCount;
}

std::size_t CountedMemory::peak() {
  return bytePeak;
}

void CountedMemory::resetPeak() {
  bytePeak = byteCount.load();
}

void CountedMemory::setLimit(std::size_t bytes) {
  byteLimit = bytes > byteCount ? bytes : byteCount.load();
}

}  // namespace VekTest
