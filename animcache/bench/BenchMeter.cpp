// SPDX-License-Identifier: Apache-2.0
//
// Costs. Allocations are counted by replacing operator new for the whole program, the library
// included; the count is that of one thread.

#include "BenchMeter.h"

#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

long long numAllocations = 0;
long long numAllocatedBytes = 0;

void* allocate(std::size_t size) {
  ++numAllocations;
  numAllocatedBytes += static_cast<long long>(size);
  return std::malloc(size == 0 ? 1 : size);
}

void* allocateOrThrow(std::size_t size) {
  void* const p = allocate(size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}

}  // namespace

void* operator new(std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete[](void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  std::free(p);
}

namespace bench {

namespace {

double readClock(clockid_t clock) {
  timespec t = {};
  clock_gettime(clock, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// Bytes that system calls moved, cached or not; 0 where the system does not tell.
void readTransfers(Cost& cost) {
  std::FILE* const f = std::fopen("/proc/self/io", "r");
  if (f == nullptr) return;
  double in = 0;
  double out = 0;
  if (std::fscanf(f, "rchar: %lf wchar: %lf", &in, &out) == 2) {
    cost.readBytes = in;
    cost.writtenBytes = out;
  }
  std::fclose(f);
}

void readCounters(Cost& cost) {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  cost.faults = static_cast<double>(usage.ru_minflt + usage.ru_majflt);
  cost.allocations = static_cast<double>(numAllocations);
  cost.allocatedBytes = static_cast<double>(numAllocatedBytes);
}

}  // namespace

Meter::Meter() {
  readTransfers(m_start);
  readCounters(m_start);
  m_start.wall = readClock(CLOCK_MONOTONIC);
  m_start.cpu = readClock(CLOCK_PROCESS_CPUTIME_ID);
}

Cost Meter::stop() const {
  Cost cost;
  cost.cpu = readClock(CLOCK_PROCESS_CPUTIME_ID) - m_start.cpu;
  cost.wall = readClock(CLOCK_MONOTONIC) - m_start.wall;
  readCounters(cost);
  cost.faults -= m_start.faults;
  cost.allocations -= m_start.allocations;
  cost.allocatedBytes -= m_start.allocatedBytes;
  readTransfers(cost);
  // The first reading of the table of transfers is part of the second one.
  constexpr double ownRead = 100;
  cost.readBytes = std::max(0.0, cost.readBytes - m_start.readBytes - ownRead);
  cost.writtenBytes -= m_start.writtenBytes;
  return cost;
}

long long countAllocations() {
  return numAllocations;
}

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : 0.5 * (values[middle - 1] + values[middle]);
}

Cost median(const std::vector<Cost>& costs) {
  constexpr double Cost::*figures[] = {&Cost::cpu,         &Cost::wall,           &Cost::faults,
                                       &Cost::allocations, &Cost::allocatedBytes, &Cost::readBytes,
                                       &Cost::writtenBytes};
  Cost result;
  for (double Cost::*const figure : figures) {
    std::vector<double> values;
    for (const Cost& cost : costs) values.push_back(cost.*figure);
    result.*figure = median(values);
  }
  return result;
}

}  // namespace bench
