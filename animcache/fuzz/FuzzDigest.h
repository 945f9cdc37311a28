// SPDX-License-Identifier: Apache-2.0
//
// Digests of chunk trees: equal for trees that write() turns into the same chunks.

#ifndef VEK_FUZZ_DIGEST_H
#define VEK_FUZZ_DIGEST_H

#include <cstdint>
#include <string>
#include <vector>

#include "VekChunks.h"

namespace VekFuzz {

/// Fowler, Noll and Vo's hash, of words and bytes.
class Digest {
 public:
  void add(std::uint64_t word) { m_hash = (m_hash ^ word) * prime; }
  void add(const void* bytes, std::size_t size) {
    const auto* const first = static_cast<const unsigned char*>(bytes);
    add(size);
    for (std::size_t i = 0; i < size; ++i) add(first[i]);
  }
  template <typename T>
  void addValues(const std::vector<T>& values) {
    add(values.data(), values.size() * sizeof(T));
  }
  void addValues(const std::vector<std::string>& values) {
    for (const std::string& text : values) add(text.data(), text.size());
  }
  template <typename T>
  void addLeaf(const Vek::VekChunk* chunk) {
    if (const auto* const leaf = Vek::asLeaf<T>(chunk)) addValues(leaf->data);
  }
  void addChunk(const Vek::VekChunk* chunk) {
    if (chunk == nullptr) return add(1);
    add(chunk->getTag());
    add(chunk->getType() | unsigned{chunk->getCompound()} << 8 |
        unsigned{chunk->getDimension()} << 16);
    addLeaf<char>(chunk);
    addLeaf<int>(chunk);
    addLeaf<__int64>(chunk);
    addLeaf<float>(chunk);
    addLeaf<double>(chunk);
    addLeaf<std::string>(chunk);
    const auto* const group = dynamic_cast<const Vek::VekGroupChunk*>(chunk);
    if (group == nullptr) return;
    for (unsigned long i = 0; i < group->numChildren(); ++i) addChunk(group->getChild(i));
    add(2);
  }
  std::uint64_t value() const { return m_hash; }

 private:
  static constexpr std::uint64_t prime = 0x100000001b3;
  std::uint64_t m_hash = 0xcbf29ce484222325;
};

inline std::uint64_t digestOf(const Vek::VekChunk* chunk) {
  Digest digest;
  digest.addChunk(chunk);
  return digest.value();
}

}  // namespace VekFuzz

#endif
