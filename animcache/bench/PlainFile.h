// SPDX-License-Identifier: Apache-2.0
//
// Plain programs that move the bytes of a cache file: chunk by chunk with fwrite or fread, behind a
// stream buffer of 256 KiB.

#ifndef VEK_BENCH_PLAIN_FILE_H
#define VEK_BENCH_PLAIN_FILE_H

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "BenchScenes.h"

namespace bench {

/// A C stream that closes itself. Open ones have a buffer of 256 KiB, kept from one to the next.
class PlainStream {
 public:
  PlainStream(const std::string& path, const char* mode);
  PlainStream(const PlainStream&) = delete;
  PlainStream& operator=(const PlainStream&) = delete;
  ~PlainStream();

  void read(void* to, std::size_t size);
  /// False at the end of the file.
  bool readHeader(Vek::VekHeader& header);
  void write(const void* from, std::size_t size);
  void close();

 private:
  std::FILE* m_file;
};

/// The bytes of a file up to its sample stream.
std::vector<char> readHeadBytes(const std::string& path);

/// Writes a scene, which must stay. All lengths and tables are known beforehand.
class PlainWriter {
 public:
  PlainWriter(const Scene& scene, std::vector<char> head, int reserve = 0);
  void write(const std::string& path) const;

 private:
  struct Piece {
    std::size_t offset;
    std::size_t length;  ///< of the payload that follows the header
  };

  void listPieces(std::size_t begin, std::size_t end);
  void layOut();
  void writeObject(PlainStream& stream, const Sample& sample, std::size_t object) const;

  const Scene& m_scene;
  std::vector<char> m_head;
  std::vector<Piece> m_pieces;
  std::vector<char> m_reserved;
  __int64 m_streamLength = 0;
  std::vector<__int64> m_sampleTable;
  std::vector<__int64> m_sampleLengths;
  std::vector<std::vector<__int64>> m_objectTables;
};

/// Reads every chunk of a file into memory that it reuses. Returns the number of payload bytes.
class PlainReader {
 public:
  std::size_t read(const std::string& path);

 private:
  std::vector<char> m_buffer;
};

/// Reads every chunk of a file into memory of its own, and frees it. Returns the same.
std::size_t readAndKeep(const std::string& path);

/// The same with so many samples at a time: each further one is read over the one before them.
std::size_t readAndHold(const std::string& path, std::size_t numSamples);

/// Whether two files agree behind their first bytes.
bool haveSameBytes(const std::string& a, const std::string& b, std::size_t numIgnored = 0);

}  // namespace bench

#endif
