// SPDX-License-Identifier: Apache-2.0
//
// The C stream of a chunk file, shared by the copies of a VekFile.
//
// The C stream itself is unbuffered. Bytes that wait here to be written can still be changed in
// place, so that the length of a group that ends soon after it began costs no seek. A reader takes
// small chunks from what was read ahead and large ones straight from the file.

#ifndef VEK_FILE_STREAM_H
#define VEK_FILE_STREAM_H

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>

#include "VekChunks.h"
#include "VekReadWindow.h"

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
  /// Writes what still waits. False when that, or anything written before, was lost.
  bool close();
  bool isOpen() const { return m_file != nullptr || m_counting; }

  /// Moves the position. Costs no system call but for an offset from the end.
  bool seek(__int64 offset, int whence);
  __int64 tell() const { return m_position; }
  /// Back to offset 0, the C stream's error state cleared.
  void rewind();
  /// Reads or writes exactly `length` bytes, which is not negative.
  bool read(void* buffer, __int64 length) {
    const char* const bytes = m_window->find(m_position, length);
    if (bytes == nullptr) return readPastWindow(static_cast<char*>(buffer), length);
    std::memcpy(buffer, bytes, static_cast<std::size_t>(length));
    m_position += length;
    return true;
  }
  bool write(const void* data, __int64 length) {
    if (!fitsStage(length)) return writePastStage(data, length);
    const __int64 offset = m_position - m_stageBegin;
    std::memcpy(m_stage.get() + offset, data, static_cast<std::size_t>(length));
    m_position += length;
    if (m_staged < offset + length) m_staged = offset + length;
    return true;
  }
  /// Reads `length` bytes and returns where they stand until the next call; null when they cannot
  /// be read or are too many for the buffer (the position has not moved then).
  const char* view(__int64 length);
  /// The next `length` bytes, which are read ahead when they are no more than a reader does not
  /// take straight from the file; null otherwise. They stand until the next call, and the position
  /// stays.
  const char* peek(__int64 length) {
    const char* const bytes = m_window->find(m_position, length);
    return bytes != nullptr ? bytes : peekPastWindow(length);
  }
  /// Whether `length` is not negative and that many bytes lie between the position and the end.
  bool holds(__int64 length);
  /// Announces that the next `length` bytes will be read, until the position is moved: small ones
  /// come in one piece then.
  void expect(__int64 length) { m_expected = length; }

 private:
  bool startReading();
  bool fillWindow(__int64 length);
  bool readPastWindow(char* buffer, __int64 length);
  const char* peekPastWindow(__int64 length);
  bool startStaging();
  void forgetRead();
  bool fitsStage(__int64 length) const {
    const __int64 offset = m_position - m_stageBegin;
    return m_staging && offset >= 0 && offset <= m_staged && length <= stageSize - offset;
  }
  bool writePastStage(const void* data, __int64 length);
  bool writeThrough(const void* data, __int64 length);
  bool flush();
  bool moveTo(__int64 base, __int64 offset);
  __int64 measure();

  /// What waits to be written at most.
  static constexpr __int64 stageSize = 256 << 10;
  /// Samples are blended object by object: a reader goes through a few of them side by side.
  static constexpr std::size_t numWindows = 4;

  std::FILE* m_file = nullptr;
  __int64 m_position = 0;        ///< of the caller; the C stream stands elsewhere
  __int64 m_streamPosition = 0;  ///< of the C stream, -1 when unknown
  __int64 m_size = 0;            ///< as last measured; the file may have grown since
  bool m_counting = false;
  bool m_writable = false;
  bool m_seekable = true;
  bool m_appending = false;  ///< the system puts every write at the end of the file
  bool m_lost = false;       ///< something could not be written

  std::array<VekReadWindow, numWindows> m_windows;
  VekReadWindow* m_window = &m_windows[0];  ///< used last
  std::size_t m_oldest = 0;                 ///< the window that is given up next
  __int64 m_expected = 0;

  bool m_staging = false;  ///< the position is a writer's, nothing is read ahead
  std::unique_ptr<char[]> m_stage;
  __int64 m_stageBegin = 0;  ///< file offset of the first byte that waits
  __int64 m_staged = 0;      ///< bytes that wait
};

}  // namespace Vek

#endif
