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
#include "VekReadValues.h"

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

// Announces how much will be read from the position on, so that it comes in one piece.
void VekFile::expect(__int64 length) {
  if (isOpen()) m_stream->expect(length);
}

// Whether that many bytes lie behind the position.
bool VekFile::holds(__int64 length) {
  return isOpen() && m_stream->holds(length);
}

// Whether a leaf would find its payload whole; what is of no known type reads none.
bool VekFile::canRead(const VekHeader& h) {
  if (h.type > ValueType::Double) return h.length >= 0;
  return h.length % elementSize(h.type) == 0 && holds(h.length);
}

// The next bytes, valid until the next operation, where they fit into what is read ahead; null
// elsewhere. The position stays.
const char* VekFile::peek(__int64 length) {
  return isOpen() ? m_stream->peek(length) : nullptr;
}

// The payload, valid until the next operation; null when it cannot be read. It lies in the stream's
// buffer or, when it is too long for that, in the scratch buffer.
const char* VekFile::readText(const VekHeader& h) {
  if (!isOpen() || h.length < 0) return nullptr;
  const char* text = h.length == 0 ? "" : m_stream->view(h.length);
  if (text == nullptr) {
    if (!m_stream->holds(h.length)) return nullptr;
    const auto size = static_cast<std::size_t>(h.length);
    if (m_scratch.size() < size) m_scratch.resize(size);
    if (!m_stream->read(m_scratch.data(), h.length)) return nullptr;
    text = m_scratch.data();
  }
  closeFinishedGroups();
  return text;
}

bool VekFile::readData(const VekHeader& h, std::string& s) {
  s.clear();
  return guarded(false, [&] {
    const char* const text = readText(h);
    if (text == nullptr) return false;
    s.assign(text, lengthOfRun(text, text + h.length));
    return true;
  });
}

bool VekFile::readData(const VekHeader& h, std::vector<std::string>& v) {
  const bool read = guarded(false, [&] {
    const char* const text = readText(h);
    if (text == nullptr) return false;
    splitRuns(text, static_cast<std::size_t>(h.length), v);
    return true;
  });
  if (!read) v.clear();
  return read;
}

template <typename T>
bool VekFile::readElements(const VekHeader& h, std::vector<T>& v, std::size_t kept) {
  if (!isOpen() || h.length % static_cast<__int64>(sizeof(T)) != 0) return false;
  if (!m_stream->holds(h.length)) return false;
  return guarded(false, [&] {
    const std::size_t size = kept + static_cast<std::size_t>(h.length) / sizeof(T);
    if (kept == 0)
      resizeToRead(v, size);
    else
      v.resize(size);
    return readData(h, static_cast<void*>(v.data() + kept));
  });
}

template <typename T>
bool VekFile::appendData(const VekHeader& h, std::vector<T>& v) {
  const std::size_t before = v.size();
  const bool read = readElements(h, v, before);
  if (!read) v.resize(before);
  return read;
}

template <typename T>
bool VekFile::readData(const VekHeader& h, std::vector<T>& v) {
  const bool read = readElements(h, v, 0);
  if (!read) v.clear();
  return read;
}

template VEK_API bool VekFile::appendData(const VekHeader&, std::vector<char>&);
template VEK_API bool VekFile::readData(const VekHeader&, std::vector<char>&);
template VEK_API bool VekFile::appendData(const VekHeader&, std::vector<int>&);
template VEK_API bool VekFile::readData(const VekHeader&, std::vector<int>&);
template VEK_API bool VekFile::appendData(const VekHeader&, std::vector<__int64>&);
template VEK_API bool VekFile::readData(const VekHeader&, std::vector<__int64>&);
template VEK_API bool VekFile::appendData(const VekHeader&, std::vector<float>&);
template VEK_API bool VekFile::readData(const VekHeader&, std::vector<float>&);
template VEK_API bool VekFile::appendData(const VekHeader&, std::vector<double>&);
template VEK_API bool VekFile::readData(const VekHeader&, std::vector<double>&);

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
