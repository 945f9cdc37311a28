// SPDX-License-Identifier: Apache-2.0
//
// What the tests of large files share: files written through the library, and bounds of the
// processor time and the memory that they may take.

#ifndef VEK_TEST_SIZE_TEST_H
#define VEK_TEST_SIZE_TEST_H

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>

#include "AddressSanitizer.h"
#include "CountedMemory.h"
#include "SceneImage.h"
#include "VekCache.h"

namespace VekTest {

constexpr std::int64_t kGiB = std::int64_t{1} << 30;
constexpr std::size_t kMiB = std::size_t{1} << 20;

/// Takes the processor time and the memory of a scope. The bounds are far above what is needed, and
/// far below what work would take that grows with the square of a large number.
class Expense {
 public:
  Expense() { CountedMemory::resetPeak(); }

  double seconds() const { return static_cast<double>(std::clock() - m_begin) / CLOCKS_PER_SEC; }
  /// The most bytes alive at a time beyond those at the beginning.
  std::size_t memory() const { return CountedMemory::peak() - m_before; }

  static constexpr double bearable = kAddressSanitizer ? 60 : 4;

 private:
  std::clock_t m_begin = std::clock();
  std::size_t m_before = CountedMemory::bytes();
};

class SizeTest : public FileTest {
 protected:
  static std::int64_t fileSize(const std::string& path) {
    return static_cast<std::int64_t>(std::filesystem::file_size(path));
  }

  /// Writes the head of a file of `numSamples` samples at frames 0, 1, 2, ... of objects "|o".
  static void writeHead(Vek::VekFile& f, std::int64_t numSamples, int numObjects,
                        bool uniform = true) {
    Vek::VekMETAChunk meta;
    meta.numSamples = numSamples;
    meta.firstTime = 0;
    meta.lastTime = static_cast<float>(numSamples - 1);
    meta.rate = uniform ? 1.0F : 0.0F;
    // Only a head with all of these can be replaced in place.
    meta.application = "application";
    meta.sourceFile = "source";
    meta.dateStamp = 1700000000;
    for (int obj = 0; obj < numObjects; ++obj) meta.addDOBJ("|o");
    ASSERT_TRUE(Vek::VekDVEKChunk().write(f));
    ASSERT_TRUE(meta.write(f));
  }
  /// One value that tells a sample from all others.
  static std::vector<float> marker(int sample) { return {static_cast<float>(sample), 1, 2}; }

  static void writeSample(Vek::VekFile& f, Vek::VekSAMSChunk& stream, int sample,
                          bool withTime = false) {
    const auto time = static_cast<float>(sample);
    ASSERT_TRUE(stream.writeStartSAMPChunk(f, 1, withTime ? &time : nullptr));
    ASSERT_TRUE(stream.writeStartSOBJChunk(f));
    ASSERT_TRUE(f.writeChunk(Vek::Tag::POSI, marker(sample)));
    ASSERT_TRUE(stream.writeEndSOBJChunk(f));
    ASSERT_TRUE(stream.writeEndSAMPChunk(f));
  }
  static bool isMarked(Vek::VekRoMemCache& cache, int sample, int obj = 0) {
    const auto* const leaf =
        Vek::asLeaf<float>(cache.getSample(sample, obj, Vek::Tag::POSI, nullptr));
    return leaf != nullptr && leaf->data == marker(sample);
  }
  /// A chunk of that many bytes which the file holds without storing them.
  static bool writeHole(Vek::VekFile& f, std::int64_t bytes, unsigned int tag = Vek::Tag::FREE) {
    return f.writeChunk(Vek::VekHeader(tag, Vek::ValueType::Undef, bytes), nullptr);
  }
};

}  // namespace VekTest

#endif
