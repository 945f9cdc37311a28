// SPDX-License-Identifier: Apache-2.0
//
// The replaced operators new and delete. Each block carries its size in front, so that what lives
// can be counted.

#include "AllocationFaults.h"

#include <cstdlib>
#include <cstring>

namespace VekTest {

namespace {

std::size_t allocationCount = 0;
std::size_t liveByteCount = 0;
AllocationFault* armedFault = nullptr;

constexpr std::size_t prefixSize = alignof(std::max_align_t);
static_assert(prefixSize >= sizeof(std::size_t), "the prefix holds a size");

}  // namespace

std::size_t numAllocations() {
  return allocationCount;
}

std::size_t numLiveBytes() {
  return liveByteCount;
}

AllocationFault::Armed::Armed(AllocationFault& fault) {
  armedFault = &fault;
}

AllocationFault::Armed::~Armed() {
  armedFault = nullptr;
}

bool AllocationFault::strikes() {
  AllocationFault* const fault = armedFault;
  if (fault == nullptr) return false;
  if (fault->m_hit && fault->m_mode == FaultMode::onwards) return true;
  if (fault->m_remaining == 0 || --fault->m_remaining > 0) return false;
  fault->m_hit = true;
  return true;
}

namespace {

void* allocate(std::size_t size) noexcept {
  ++allocationCount;
  if (AllocationFault::strikes() || size > SIZE_MAX - prefixSize) return nullptr;
  auto* const block = static_cast<char*>(std::malloc(prefixSize + size));
  if (block == nullptr) return nullptr;
  std::memcpy(block, &size, sizeof size);
  liveByteCount += size;
  return block + prefixSize;
}

void* allocateOrThrow(std::size_t size) {
  void* const memory = allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void release(void* memory) noexcept {
  if (memory == nullptr) return;
  char* const block = static_cast<char*>(memory) - prefixSize;
  std::size_t size = 0;
  std::memcpy(&size, block, sizeof size);
  liveByteCount -= size;
  std::free(block);
}

}  // namespace

}  // namespace VekTest

void* operator new(std::size_t size) {
  return VekTest::allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
  return VekTest::allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return VekTest::allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return VekTest::allocate(size);
}
void operator delete(void* memory) noexcept {
  VekTest::release(memory);
}
void operator delete[](void* memory) noexcept {
  VekTest::release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  VekTest::release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  VekTest::release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  VekTest::release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  VekTest::release(memory);
}
