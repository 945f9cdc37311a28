// SPDX-License-Identifier: Apache-2.0
//
// The C stream of a chunk file.

#include "VekFileStream.h"

#include <cstdint>
#include <limits>

#include "VekPlatform.h"

namespace Vek {

namespace {

constexpr __int64 maxOffset = std::numeric_limits<__int64>::max();

}  // namespace

VekFile::Stream::~Stream() {
  close();
}

bool VekFile::Stream::open(const char* path, const char* mode) {
  m_file = Platform::open(path, mode);
  m_direction = Direction::none;
  m_size = 0;
  return isOpen();
}

void VekFile::Stream::openCounting() {
  m_counting = true;
}

bool VekFile::Stream::close() {
  m_counting = false;
  if (m_file == nullptr) return true;
  std::FILE* const file = m_file;
  m_file = nullptr;
  return std::fclose(file) == 0;
}

bool VekFile::Stream::seek(__int64 offset, int whence) {
  if (m_counting) return seekCounting(offset, whence);
  m_direction = Direction::none;
  return Platform::seek(m_file, offset, whence);
}

bool VekFile::Stream::seekCounting(__int64 offset, int whence) {
  if (whence != SEEK_SET && whence != SEEK_CUR) return false;
  const __int64 base = whence == SEEK_CUR ? m_counted : 0;
  if (offset < -base || offset > maxOffset - base) return false;
  m_counted = base + offset;
  return true;
}

__int64 VekFile::Stream::tell() {
  return m_counting ? m_counted : Platform::tell(m_file);
}

void VekFile::Stream::rewind() {
  m_direction = Direction::none;
  m_counted = 0;
  if (!m_counting) std::rewind(m_file);
}

// A C stream must be positioned anew between a read and a write.
bool VekFile::Stream::turn(Direction direction) {
  const bool turned = m_direction == Direction::none || m_direction == direction ||
                      Platform::seek(m_file, 0, SEEK_CUR);
  if (turned) m_direction = direction;
  return turned;
}

bool VekFile::Stream::read(void* buffer, __int64 length) {
  if (m_counting || static_cast<unsigned __int64>(length) > SIZE_MAX || !turn(Direction::reading))
    return false;
  const auto size = static_cast<std::size_t>(length);
  return std::fread(buffer, 1, size, m_file) == size;
}

bool VekFile::Stream::write(const void* data, __int64 length) {
  if (m_counting) return seekCounting(length, SEEK_CUR);
  if (static_cast<unsigned __int64>(length) > SIZE_MAX || !turn(Direction::writing)) return false;
  const auto size = static_cast<std::size_t>(length);
  return std::fwrite(data, 1, size, m_file) == size;
}

bool VekFile::Stream::holds(__int64 length) {
  if (length <= 0) return length == 0;
  const __int64 position = tell();
  if (m_counting || position < 0) return false;
  if (length > m_size - position) m_size = measure(position);
  return length <= m_size - position;
}

__int64 VekFile::Stream::measure(__int64 position) {
  if (!seek(0, SEEK_END)) return 0;
  const __int64 size = tell();
  // A directory that was opened like a file claims to end at the largest offset.
  return seek(position, SEEK_SET) && size < maxOffset ? size : 0;
}

}  // namespace Vek
