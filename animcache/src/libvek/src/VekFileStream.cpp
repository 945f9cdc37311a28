// SPDX-License-Identifier: Apache-2.0
//
// The C stream of a chunk file.

#include "VekFileStream.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <utility>

#include "VekPlatform.h"

namespace Vek {

namespace {

constexpr __int64 maxOffset = std::numeric_limits<__int64>::max();
/// Payloads from this size on go from and to the caller's memory without a copy.
constexpr __int64 directLength = 64 << 10;

}  // namespace

VekFile::Stream::~Stream() {
  close();
}

bool VekFile::Stream::open(const char* path, const char* mode) {
  m_file = Platform::open(path, mode);
  if (m_file == nullptr) return false;
  static_cast<void>(std::setvbuf(m_file, nullptr, _IONBF, 0));
  const bool updates = std::strchr(mode, '+') != nullptr;
  m_writable = mode[0] != 'r' || updates;
  m_appending = mode[0] == 'a';
  if (m_appending) m_position = m_streamPosition = Platform::tell(m_file);
  m_size = Platform::size(m_file);
  m_seekable = m_size >= 0;
  return true;
}

void VekFile::Stream::openCounting() {
  m_counting = true;
}

bool VekFile::Stream::close() {
  m_counting = false;
  if (m_file == nullptr) return true;
  const bool written = flush() && !m_lost;
  std::FILE* const file = m_file;
  m_file = nullptr;
  return std::fclose(file) == 0 && written;
}

bool VekFile::Stream::seek(__int64 offset, int whence) {
  if (whence == SEEK_SET) return moveTo(0, offset);
  if (whence == SEEK_CUR) return moveTo(m_position, offset);
  return whence == SEEK_END && !m_counting && flush() && moveTo(measure(), offset);
}

bool VekFile::Stream::moveTo(__int64 base, __int64 offset) {
  if (base < 0 || offset < -base || offset > maxOffset - base) return false;
  if (!m_seekable && base + offset != m_position) return false;
  m_position = base + offset;
  m_expected = 0;
  return true;
}

void VekFile::Stream::rewind() {
  m_position = 0;
  if (m_file != nullptr) std::clearerr(m_file);
}

bool VekFile::Stream::holds(__int64 length) {
  if (length <= 0) return length == 0;
  if (m_counting || m_position < 0) return false;
  if (m_window->find(m_position, length) != nullptr) return true;
  if (length > m_size - m_position && flush()) measure();
  return length <= m_size - m_position;
}

__int64 VekFile::Stream::measure() {
  m_size = Platform::size(m_file);
  return m_size;
}

// --- Reading -------------------------------------------------------------------------------------

const char* VekFile::Stream::view(__int64 length) {
  if (length > VekReadWindow::maxLength) return nullptr;
  const char* bytes = m_window->find(m_position, length);
  if (bytes == nullptr && startReading() && fillWindow(length))
    bytes = m_window->find(m_position, length);
  if (bytes != nullptr) m_position += length;
  return bytes;
}

const char* VekFile::Stream::peekPastWindow(__int64 length) {
  if (length < 0 || length >= directLength || !startReading() || !fillWindow(length))
    return nullptr;
  return m_window->find(m_position, length);
}

// What waits to be written must be in the file before anything is read from it.
bool VekFile::Stream::startReading() {
  if (m_file == nullptr || !flush()) return false;
  m_staging = false;
  return true;
}

// Chooses the window that goes on at the position, else the one that waited longest, and fills it.
bool VekFile::Stream::fillWindow(__int64 length) {
  const auto serves = [this](const VekReadWindow& window) { return window.serves(m_position); };
  if (!serves(*m_window)) {
    const auto found = std::find_if(m_windows.begin(), m_windows.end(), serves);
    const bool goesOn = found != m_windows.end();
    m_window = &m_windows[goesOn ? static_cast<std::size_t>(found - m_windows.begin()) : m_oldest];
    if (!goesOn) m_oldest = (m_oldest + 1) % numWindows;
  }
  if (m_window->find(m_position, length) != nullptr) return true;
  m_streamPosition = -1;
  return m_window->fill(m_file, m_position, length, std::exchange(m_expected, 0));
}

bool VekFile::Stream::readPastWindow(char* buffer, __int64 length) {
  if (static_cast<unsigned __int64>(length) > SIZE_MAX || !startReading()) return false;
  if (length < directLength && fillWindow(length) && m_window->find(m_position, length) != nullptr)
    return read(buffer, length);
  const __int64 head = std::min(m_window->countFrom(m_position), length);
  if (head > 0)
    std::memcpy(buffer, m_window->find(m_position, head), static_cast<std::size_t>(head));
  const __int64 rest = length - head;
  const __int64 read = m_window->readPast(m_file, m_position + head, buffer + head, rest);
  m_streamPosition = -1;
  m_expected = 0;
  m_position += head + read;
  return read == rest;
}

// --- Writing -------------------------------------------------------------------------------------

bool VekFile::Stream::startStaging() {
  if (m_staging) return true;
  if (!m_stage) m_stage.reset(new (std::nothrow) char[static_cast<std::size_t>(stageSize)]);
  forgetRead();
  m_staged = 0;
  m_stageBegin = m_position;
  m_staging = m_stage != nullptr;
  return m_staging;
}

void VekFile::Stream::forgetRead() {
  for (VekReadWindow& window : m_windows) window.clear();
  m_size = 0;
}

bool VekFile::Stream::writePastStage(const void* data, __int64 length) {
  if (m_counting) return moveTo(m_position, length);
  // No file goes that far.
  if (!m_writable || length > maxOffset - stageSize - m_position) return false;
  if (m_appending || !startStaging()) {
    forgetRead();
    return writeThrough(data, length);
  }
  if (!fitsStage(length)) {
    if (!flush()) return false;
    if (length >= directLength) return writeThrough(data, length);
    m_stageBegin = m_position;
  }
  return write(data, length);
}

// Writes what waits. Bytes that cannot be written are given up; close() tells then, too.
bool VekFile::Stream::flush() {
  if (m_staged == 0) return true;
  const __int64 position = std::exchange(m_position, m_stageBegin);
  const bool written = writeThrough(m_stage.get(), std::exchange(m_staged, 0));
  m_position = position;
  return written;
}

bool VekFile::Stream::writeThrough(const void* data, __int64 length) {
  const bool placed =
      m_streamPosition == m_position || m_appending || Platform::seek(m_file, m_position, SEEK_SET);
  const auto size = static_cast<std::size_t>(length);
  const bool written = placed && Platform::write(m_file, data, size) == size;
  m_lost = m_lost || !written;
  m_position = m_appending ? Platform::tell(m_file) : m_position + length;
  m_streamPosition = written ? m_position : -1;
  return written;
}

}  // namespace Vek
