// SPDX-License-Identifier: Apache-2.0
//
// The image of a file as a tree of chunks that can be changed and written again. Reading is
// lenient: any bytes are some tree, and an unchanged tree writes the same bytes.

#ifndef VEK_FUZZ_CHUNK_IMAGE_H
#define VEK_FUZZ_CHUNK_IMAGE_H

#include <cstdint>
#include <string>
#include <vector>

namespace VekFuzz {

/// A chunk. Bytes of a group that are no header follow its children as the payload.
struct ImageChunk {
  std::uint32_t tag = 0;
  std::uint8_t type = 0;
  std::uint8_t compound = 0;
  std::uint8_t dimension = 0;
  std::uint8_t reserved = 0;
  /// What the header says beyond the true length: 0 for a header that tells the truth.
  std::int64_t lengthError = 0;
  std::string payload;
  std::vector<ImageChunk> children;
  std::int64_t offset = 0;  ///< of the header, as last written

  bool isGroup() const { return type == 1; }
};

/// The whole file: a nameless group whose children are the chunks of the top level.
ImageChunk parseImage(const std::string& bytes);

std::string writeImage(ImageChunk& root);

/// Makes the tables agree with the chunks: JSAM and JOBJ point at the samples and objects that are
/// there, TIMS has a time for each sample, and the head tells their number.
void repairTables(ImageChunk& root);

/// The chunks of a tree, parents before children, without the root.
std::vector<ImageChunk*> listChunks(ImageChunk& root);

std::uint32_t imageTag(const char (&text)[5]);

}  // namespace VekFuzz

#endif
