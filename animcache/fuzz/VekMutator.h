// SPDX-License-Identifier: Apache-2.0
//
// Mutations of file images that know chunks: they keep most of a file valid, so that what they
// change is reached, and break single headers, tables and values.

#ifndef VEK_FUZZ_VEK_MUTATOR_H
#define VEK_FUZZ_VEK_MUTATOR_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

#include "ChunkImage.h"

namespace VekFuzz {

class VekMutator {
 public:
  explicit VekMutator(unsigned seed) : m_random(seed) {}

  /// A mutant of a file image.
  std::string mutate(const std::string& image);
  /// The image with a chunk of the other one in it.
  std::string cross(const std::string& image, const std::string& other);

 private:
  std::size_t below(std::size_t count) {
    return count == 0 ? 0 : static_cast<std::size_t>(m_random()) % count;
  }
  bool oneIn(std::size_t count) { return below(count) == 0; }
  ImageChunk* anyChunk(ImageChunk& root);
  ImageChunk& anyGroup(ImageChunk& root);

  void change(ImageChunk& root);
  void duplicate(ImageChunk& root);
  void remove(ImageChunk& root);
  void swap(ImageChunk& root);
  void move(ImageChunk& root);
  void insert(ImageChunk& root, ImageChunk chunk);
  ImageChunk newChunk();
  void retag(ImageChunk& chunk);
  void retype(ImageChunk& chunk);
  void resize(ImageChunk& chunk);
  void misstateLength(ImageChunk& chunk);
  void changeValue(ImageChunk& chunk);
  void changeFloat(ImageChunk& chunk);
  void changeText(ImageChunk& chunk);
  void redirect(ImageChunk& root);

  std::minstd_rand m_random;
};

}  // namespace VekFuzz

#endif
