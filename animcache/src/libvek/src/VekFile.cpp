// SPDX-License-Identifier: Apache-2.0
//
// The chunk file: headers and payloads read and written through one C stream, and the stack of the
// groups that are open at its position.

#include <algorithm>
#include <cstring>

#include "VekChunks.h"
#include "VekFileStream.h"
#include "VekGuarded.h"
#include "VekPlatform.h"

namespace Vek {

namespace {

constexpr __int64 headerSize = sizeof(VekHeader);
constexpr __int64 maxOffset = std::numeric_limits<__int64>::max();

}  // namespace

VekFile::VekFile() = default;

VekFile::VekFile(const char* path, const char* mode, bool* ok) {
  const bool opened = open(path, mode);
  if (ok != nullptr) *ok = opened;
}

VekFile::VekFile(const VekFile& other) = default;

VekFile& VekFile::operator=(const VekFile& other) = default;

VekFile::~VekFile() {
  close();
}

bool VekFile::open(const char* path, const char* mode) {
  close();
  if (path == nullptr || mode == nullptr) return false;
  return guarded(false, [&] {
    auto stream = std::make_shared<Stream>();
    if (!stream->open(path, mode)) return false;
    m_stream = std::move(stream);
    return true;
  });
}

bool VekFile::openCounting() {
  close();
  return guarded(false, [&] {
    m_stream = std::make_shared<Stream>();
    m_stream->openCounting();
    return true;
  });
}

bool VekFile::close() {
  const bool closed = !isOpen() || m_stream->close();
  m_stream.reset();
  m_groups.clear();
  m_scratch = std::vector<char>();
  return closed;
}

bool VekFile::isOpen() const {
  return m_stream != nullptr && m_stream->isOpen();
}

unsigned __int64 VekFile::getLevel() const {
  return m_groups.size();
}

bool VekFile::seek(__int64 offset, int whence, bool clearGroups) {
  if (!isOpen()) return false;
  if (clearGroups) m_groups.clear();
  return m_stream->seek(offset, whence);
}

__int64 VekFile::tell(bool* ok) {
  const bool open = isOpen();
  if (ok != nullptr) *ok = open;
  return open ? m_stream->tell() : -1;
}

bool VekFile::rewind() {
  if (!isOpen()) return false;
  m_stream->rewind();
  return true;
}

bool VekFile::exists(const char* path) {
  return path != nullptr && Platform::access(path, Platform::Access::exists);
}

bool VekFile::isReadable(const char* path) {
  return path != nullptr && Platform::access(path, Platform::Access::read);
}

bool VekFile::isWritable(const char* path) {
  return path != nullptr && Platform::access(path, Platform::Access::write);
}

bool VekFile::isVekFile(const char* path) {
  VekFile file(path, "r");
  VekHeader h;
  return file.readHeader(h) && h.tag == Tag::DVEK;
}

// --- Reading -------------------------------------------------------------------------------------

bool VekFile::readHeader(VekHeader& h) {
  VekHeader found;
  if (!isOpen() || !m_stream->read(&found, headerSize)) return false;
  if (found.type == ValueType::Group && found.length != 0) {
    if (!openGroup(found.length)) return false;
  } else {
    closeFinishedGroups();
  }
  h = found;
  return true;
}

bool VekFile::openGroup(__int64 length) {
  const __int64 offset = m_stream->tell();
  if (length < 0 || offset < 0 || length > maxOffset - offset) return false;
  if (m_groups.size() >= maxGroupNesting) return false;
  return pushGroup(offset + length);
}

bool VekFile::pushGroup(__int64 offset) {
  return guarded(false, [&] {
    m_groups.push_back(offset);
    return true;
  });
}

void VekFile::closeFinishedGroups() {
  if (m_groups.empty()) return;
  const __int64 offset = m_stream->tell();
  while (!m_groups.empty() && m_groups.back() == offset) m_groups.pop_back();
}

bool VekFile::skipData(const VekHeader& h) {
  if (!isOpen() || h.length < 0) return false;
  if (h.length != 0 && !m_stream->seek(h.length, SEEK_CUR)) return false;
  closeFinishedGroups();
  return true;
}

bool VekFile::readData(const VekHeader& h, void* buffer) {
  if (buffer == nullptr) return skipData(h);
  if (!isOpen() || h.length < 0) return false;
  if (h.length != 0 && !m_stream->read(buffer, h.length)) return false;
  closeFinishedGroups();
  return true;
}

bool VekFile::readToScratch(const VekHeader& h) {
  if (!isOpen() || !m_stream->holds(h.length)) return false;
  const auto size = static_cast<std::size_t>(h.length);
  if (m_scratch.size() < size) m_scratch.resize(size);
  return readData(h, m_scratch.data());
}

bool VekFile::readData(const VekHeader& h, std::string& s) {
  s.clear();
  return guarded(false, [&] {
    if (!readToScratch(h)) return false;
    s.assign(m_scratch.data(), runLength(0, static_cast<std::size_t>(h.length)));
    return true;
  });
}

bool VekFile::readData(const VekHeader& h, std::vector<std::string>& v) {
  v.clear();
  const bool read = guarded(false, [&] {
    if (!readToScratch(h)) return false;
    const auto size = static_cast<std::size_t>(h.length);
    const auto end = m_scratch.begin() + h.length;
    v.reserve(static_cast<std::size_t>(std::count(m_scratch.begin(), end, '\0')) + 1);
    for (std::size_t begin = 0; begin < size; begin += v.back().size() + 1)
      v.emplace_back(m_scratch.data() + begin, runLength(begin, size));
    return true;
  });
  if (!read) v.clear();
  return read;
}

// The number of bytes from `begin` to the next NUL or to `end` in the scratch buffer.
std::size_t VekFile::runLength(std::size_t begin, std::size_t end) const {
  const char* const first = m_scratch.data() + begin;
  const void* const nul = begin < end ? std::memchr(first, '\0', end - begin) : nullptr;
  return nul == nullptr ? end - begin
                        : static_cast<std::size_t>(static_cast<const char*>(nul) - first);
}

template <typename T>
bool VekFile::appendData(const VekHeader& h, std::vector<T>& v) {
  if (!isOpen() || h.length % static_cast<__int64>(sizeof(T)) != 0) return false;
  if (!m_stream->holds(h.length)) return false;
  const std::size_t before = v.size();
  const bool read = guarded(false, [&] {
    v.resize(before + static_cast<std::size_t>(h.length) / sizeof(T));
    return readData(h, v.data() + before);
  });
  if (!read) v.resize(before);
  return read;
}

template VEK_API bool VekFile::appendData(const VekHeader&, std::vector<char>&);
template VEK_API bool VekFile::appendData(const VekHeader&, std::vector<int>&);
template VEK_API bool VekFile::appendData(const VekHeader&, std::vector<__int64>&);
template VEK_API bool VekFile::appendData(const VekHeader&, std::vector<float>&);
template VEK_API bool VekFile::appendData(const VekHeader&, std::vector<double>&);

// --- Writing -------------------------------------------------------------------------------------

bool VekFile::writeChunk(const VekHeader& h, const void* data, __int64 offset) {
  if (!isOpen() || h.length < 0) return false;
  __int64 back = 0;
  if (offset >= 0) {
    back = m_stream->tell();
    if (back < 0 || !m_stream->seek(offset, SEEK_SET)) return false;
  }
  if (!m_stream->write(&h, headerSize)) return false;
  if (h.length != 0) {
    const bool done =
        data != nullptr ? m_stream->write(data, h.length) : m_stream->seek(h.length, SEEK_CUR);
    if (!done) return false;
  }
  return offset < 0 || m_stream->seek(back, SEEK_SET);
}

bool VekFile::writeChunk(unsigned int tag, const char* s) {
  if (s == nullptr) return false;
  const auto length = static_cast<__int64>(std::strlen(s) + 1);
  return writeChunk(VekHeader(tag, ValueType::String, length), s);
}

bool VekFile::writeChunk(unsigned int tag, const std::string& s, __int64 offset,
                         unsigned char compound, unsigned char dimension) {
  const auto length = static_cast<__int64>(s.size() + 1);
  return writeChunk(VekHeader(tag, ValueType::String, length, compound, dimension), s.c_str(),
                    offset);
}

bool VekFile::writeChunk(unsigned int tag, const std::vector<std::string>& v, __int64 offset,
                         unsigned char compound, unsigned char dimension) {
  std::size_t size = 0;
  for (const std::string& s : v) size += s.size() + 1;
  const bool assembled = guarded(false, [&] {
    if (m_scratch.size() < size) m_scratch.resize(size);
    char* end = m_scratch.data();
    for (const std::string& s : v) {
      std::memcpy(end, s.c_str(), s.size() + 1);
      end += s.size() + 1;
    }
    return true;
  });
  const VekHeader h(tag, ValueType::String, static_cast<__int64>(size), compound, dimension);
  return assembled && writeChunk(h, v.empty() ? nullptr : m_scratch.data(), offset);
}

template <typename T>
bool VekFile::writeVector(unsigned int tag, const std::vector<T>& v, __int64 offset,
                          unsigned char compound, unsigned char dimension) {
  const VekHeader h(tag, VekTypeOf<T>::value, static_cast<__int64>(v.size() * sizeof(T)), compound,
                    dimension);
  return writeChunk(h, v.empty() ? nullptr : v.data(), offset);
}

bool VekFile::writeChunk(unsigned int tag, const std::vector<int>& v, __int64 offset,
                         unsigned char compound, unsigned char dimension) {
  return writeVector(tag, v, offset, compound, dimension);
}

bool VekFile::writeChunk(unsigned int tag, const std::vector<__int64>& v, __int64 offset,
                         unsigned char compound, unsigned char dimension) {
  return writeVector(tag, v, offset, compound, dimension);
}

bool VekFile::writeChunk(unsigned int tag, const std::vector<float>& v, __int64 offset,
                         unsigned char compound, unsigned char dimension) {
  return writeVector(tag, v, offset, compound, dimension);
}

bool VekFile::writeChunk(unsigned int tag, const std::vector<double>& v, __int64 offset,
                         unsigned char compound, unsigned char dimension) {
  return writeVector(tag, v, offset, compound, dimension);
}

bool VekFile::startGroup(const VekHeader& h) {
  return isOpen() && m_stream->write(&h, headerSize) && pushGroup(m_stream->tell());
}

bool VekFile::endGroup() {
  if (!isOpen() || m_groups.empty()) return false;
  const __int64 end = m_stream->tell();
  const __int64 begin = m_groups.back();
  const __int64 length = end - begin;
  constexpr __int64 lengthSize = sizeof(VekHeader::length);
  if (length < 0 || !m_stream->seek(begin - lengthSize, SEEK_SET)) return false;
  if (!m_stream->write(&length, lengthSize)) return false;
  m_groups.pop_back();
  return m_stream->seek(end, SEEK_SET);
}

}  // namespace Vek
