// SPDX-License-Identifier: Apache-2.0
//
// The memory that the chunks of a sample share.

#include "VekArena.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using Vek::VekArena;

TEST(VekArenaTest, memoryIsAlignedForChunks) {
  VekArena arena;
  for (std::size_t size = 1; size < 200; ++size) {
    const auto address = reinterpret_cast<std::uintptr_t>(arena.allocate(size));
    EXPECT_EQ(address % VekArena::alignment, 0U) << size;
  }
}

TEST(VekArenaTest, whatIsHandedOutDoesNotOverlap) {
  VekArena arena;
  std::vector<unsigned char*> pieces;
  std::vector<std::size_t> sizes;
  for (std::size_t i = 0; i < 3000; ++i) {
    // Among them some that exceed a block.
    sizes.push_back(i % 500 == 499 ? 200000 : i % 97 + 1);
    pieces.push_back(static_cast<unsigned char*>(arena.allocate(sizes.back())));
    std::memset(pieces.back(), static_cast<int>(i % 251), sizes.back());
  }
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    EXPECT_EQ(pieces[i][0], i % 251) << i;
    EXPECT_EQ(pieces[i][sizes[i] - 1], i % 251) << i;
  }
}

TEST(VekArenaTest, smallPiecesStandOneAfterAnother) {
  VekArena arena;
  const auto* const first = static_cast<char*>(arena.allocate(24));
  const auto* const second = static_cast<char*>(arena.allocate(20));
  const auto* const third = static_cast<char*>(arena.allocate(8));
  EXPECT_EQ(second - first, 24);
  EXPECT_EQ(third - second, 24);
}

TEST(VekArenaTest, allocatorWithoutArenaTakesFromTheHeap) {
  std::vector<int, Vek::VekArenaAllocator<int>> values;
  for (int i = 0; i < 100; ++i) values.push_back(i);
  EXPECT_EQ(values.back(), 99);
}

TEST(VekArenaTest, allocatorTakesFromItsArena) {
  VekArena arena;
  std::vector<int, Vek::VekArenaAllocator<int>> values{Vek::VekArenaAllocator<int>(&arena)};
  values.reserve(4);
  const auto* const behind = static_cast<char*>(arena.allocate(8));
  EXPECT_EQ(behind - reinterpret_cast<const char*>(values.data()), 16);
}

}  // namespace
