// SPDX-License-Identifier: Apache-2.0
//
// The C stream of a chunk file, shared by the copies of a VekFile.

#ifndef VEK_FILE_STREAM_H
#define VEK_FILE_STREAM_H

#include <cstdio>

#include "VekChunks.h"

namespace Vek {

class VekFile::Stream {
 public:
  Stream() = default;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream();

  bool open(const char* path, const char* mode);
  /// Opens no file: what is written is counted and forgotten.
  void openCounting();
  bool close();
  bool isOpen() const { return m_file != nullptr || m_counting; }

  bool seek(__int64 offset, int whence);
  __int64 tell();
  void rewind();
  /// Reads or writes exactly `length` bytes, which is not negative.
  bool read(void* buffer, __int64 length);
  bool write(const void* data, __int64 length);
  /// Whether `length` is not negative and that many bytes lie between the position and the end.
  bool holds(__int64 length);

 private:
  enum class Direction { none, reading, writing };

  bool turn(Direction direction);
  bool seekCounting(__int64 offset, int whence);
  __int64 measure(__int64 position);

  std::FILE* m_file = nullptr;
  bool m_counting = false;
  __int64 m_counted = 0;  ///< the position while counting
  Direction m_direction = Direction::none;
  __int64 m_size = 0;  ///< as last measured; the file may have grown since
};

}  // namespace Vek

#endif
