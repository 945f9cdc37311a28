// SPDX-License-Identifier: Apache-2.0
//
// Plain programs that move the bytes of a cache file.

#include "PlainFile.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "BenchRows.h"

using namespace Vek;

namespace bench {

namespace {

constexpr std::size_t headerSize = sizeof(VekHeader);
constexpr std::size_t bufferSize = 256U * 1024U;

// META is read as a whole; of other groups the children.
bool hasPayload(const VekHeader& h) {
  return h.type != ValueType::Group || h.tag == Tag::META;
}

__int64 getLength(const Sample& sample, std::size_t object) {
  __int64 length = 0;
  for (std::size_t i = sample.begin(object); i < sample.ends[object]; ++i)
    length += static_cast<__int64>(headerSize) + sample.leaves[i].header.length;
  return length;
}

}  // namespace

PlainStream::PlainStream(const std::string& path, const char* mode)
    : m_file(std::fopen(path.c_str(), mode)) {
  static const std::unique_ptr<char[]> buffer(new char[bufferSize]);
  require(m_file != nullptr && std::setvbuf(m_file, buffer.get(), _IOFBF, bufferSize) == 0,
          "cannot open a file");
}

PlainStream::~PlainStream() {
  if (m_file != nullptr) std::fclose(m_file);
}

void PlainStream::read(void* to, std::size_t size) {
  if (std::fread(to, 1, size, m_file) != size) require(false, "cannot read a file");
}

bool PlainStream::readHeader(VekHeader& header) {
  return std::fread(&header, 1, headerSize, m_file) == headerSize;
}

void PlainStream::write(const void* from, std::size_t size) {
  if (std::fwrite(from, 1, size, m_file) != size) require(false, "cannot write a file");
}

void PlainStream::close() {
  require(std::fclose(std::exchange(m_file, nullptr)) == 0, "cannot close a file");
}

std::vector<char> readHeadBytes(const std::string& path) {
  constexpr std::size_t fileHeaderSize = headerSize + 8;
  std::vector<char> head(fileHeaderSize + headerSize);
  PlainStream stream(path, "rb");
  stream.read(head.data(), head.size());
  VekHeader meta;
  std::memcpy(&meta, head.data() + fileHeaderSize, headerSize);
  const std::size_t begin = head.size();
  head.resize(begin + static_cast<std::size_t>(meta.length));
  stream.read(head.data() + begin, static_cast<std::size_t>(meta.length));
  return head;
}

// --- Writing -------------------------------------------------------------------------------------

PlainWriter::PlainWriter(const Scene& scene, std::vector<char> head, int reserve)
    : m_scene(scene), m_head(std::move(head)), m_reserved(8 * static_cast<std::size_t>(reserve)) {
  listPieces(0, m_head.size());
  layOut();
}

void PlainWriter::listPieces(std::size_t begin, std::size_t end) {
  while (begin < end) {
    VekHeader h;
    std::memcpy(&h, m_head.data() + begin, headerSize);
    const bool isGroup = h.type == ValueType::Group;
    const auto length = static_cast<std::size_t>(h.length);
    m_pieces.push_back({begin, isGroup ? 0 : length});
    if (isGroup) listPieces(begin + headerSize, begin + headerSize + length);
    begin += headerSize + length;
  }
}

void PlainWriter::layOut() {
  constexpr auto chunk = static_cast<__int64>(headerSize);
  const auto tableSize = [](std::size_t n) { return chunk + 8 * static_cast<__int64>(n); };
  const auto start = static_cast<__int64>(m_head.size()) + chunk;
  __int64 position = start + tableSize(m_scene.samples.size());
  if (!m_reserved.empty()) position += chunk + static_cast<__int64>(m_reserved.size());
  for (const Sample& sample : m_scene.samples) {
    m_sampleTable.push_back(position);
    position += chunk + tableSize(sample.ends.size());
    std::vector<__int64>& table = m_objectTables.emplace_back();
    for (std::size_t i = 0; i < sample.ends.size(); ++i) {
      table.push_back(position);
      position += chunk + getLength(sample, i) + (m_scene.objects[i].animated.empty() ? 0 : chunk);
    }
    m_sampleLengths.push_back(position - m_sampleTable.back() - chunk);
  }
  m_streamLength = position - start;
}

void PlainWriter::write(const std::string& path) const {
  PlainStream stream(path, "wb");
  const auto writeGroup = [&stream](unsigned int tag, __int64 length) {
    const VekHeader h(tag, ValueType::Group, length);
    stream.write(&h, headerSize);
  };
  const auto writeTable = [&stream](unsigned int tag, const std::vector<__int64>& table) {
    const VekHeader h(tag, ValueType::Int64, static_cast<__int64>(8 * table.size()));
    stream.write(&h, headerSize);
    stream.write(table.data(), 8 * table.size());
  };
  for (const Piece& piece : m_pieces) {
    stream.write(m_head.data() + piece.offset, headerSize);
    if (piece.length > 0) stream.write(m_head.data() + piece.offset + headerSize, piece.length);
  }
  writeGroup(Tag::SAMS, m_streamLength);
  writeTable(Tag::JSAM, m_sampleTable);
  if (!m_reserved.empty()) {
    const VekHeader h(Tag::FREE, ValueType::Undef, static_cast<__int64>(m_reserved.size()));
    stream.write(&h, headerSize);
    stream.write(m_reserved.data(), m_reserved.size());
  }
  for (std::size_t s = 0; s < m_scene.samples.size(); ++s) {
    writeGroup(Tag::SAMP, m_sampleLengths[s]);
    writeTable(Tag::JOBJ, m_objectTables[s]);
    const Sample& sample = m_scene.samples[s];
    for (std::size_t i = 0; i < sample.ends.size(); ++i) writeObject(stream, sample, i);
  }
  stream.close();
}

void PlainWriter::writeObject(PlainStream& stream, const Sample& sample, std::size_t object) const {
  VekHeader h(Tag::SOBJ, ValueType::Group, getLength(sample, object));
  if (!m_scene.objects[object].animated.empty()) {
    h.length += static_cast<__int64>(headerSize);
    stream.write(&h, headerSize);
    h.set(Tag::ATRS, ValueType::Group, h.length - static_cast<__int64>(headerSize));
  }
  stream.write(&h, headerSize);
  for (std::size_t i = sample.begin(object); i < sample.ends[object]; ++i) {
    const RawLeaf& leaf = sample.leaves[i];
    stream.write(&leaf.header, headerSize);
    stream.write(leaf.data, static_cast<std::size_t>(leaf.header.length));
  }
}

// --- Reading -------------------------------------------------------------------------------------

std::size_t PlainReader::read(const std::string& path) {
  PlainStream stream(path, "rb");
  std::size_t total = 0;
  for (VekHeader h; stream.readHeader(h);) {
    if (!hasPayload(h)) continue;
    const auto length = static_cast<std::size_t>(h.length);
    if (length > m_buffer.size()) m_buffer.resize(length);
    stream.read(m_buffer.data(), length);
    total += length;
  }
  return total;
}

namespace {

struct KeptChunk {
  VekHeader header;
  void* data;
};

}  // namespace

std::size_t readAndKeep(const std::string& path) {
  PlainStream stream(path, "rb");
  std::vector<KeptChunk> chunks;
  std::size_t total = 0;
  for (VekHeader h; stream.readHeader(h);) {
    if (!hasPayload(h)) continue;
    const auto length = static_cast<std::size_t>(h.length);
    void* const data = std::malloc(length == 0 ? 1 : length);
    chunks.push_back({h, data});
    stream.read(data, length);
    total += length;
  }
  for (const KeptChunk& chunk : chunks) std::free(chunk.data);
  return total;
}

std::size_t readAndHold(const std::string& path, std::size_t numSamples) {
  PlainStream stream(path, "rb");
  std::vector<std::vector<std::vector<char>>> samples(numSamples);
  std::size_t sample = 0;
  std::size_t chunk = 0;
  std::size_t total = 0;
  for (VekHeader h; stream.readHeader(h);) {
    if (h.tag == Tag::SAMP) {
      sample = (sample + 1) % numSamples;
      chunk = 0;
    }
    if (!hasPayload(h)) continue;
    std::vector<std::vector<char>>& held = samples[sample];
    if (chunk == held.size()) held.emplace_back();
    std::vector<char>& data = held[chunk++];
    data.resize(static_cast<std::size_t>(h.length));
    stream.read(data.data(), data.size());
    total += data.size();
  }
  return total;
}

bool haveSameBytes(const std::string& a, const std::string& b, std::size_t numIgnored) {
  constexpr std::size_t blockSize = 1U << 20U;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> first(std::fopen(a.c_str(), "rb"),
                                                              &std::fclose);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> second(std::fopen(b.c_str(), "rb"),
                                                               &std::fclose);
  if (first == nullptr || second == nullptr) return false;
  if (std::fseek(first.get(), static_cast<long>(numIgnored), SEEK_SET) != 0) return false;
  if (std::fseek(second.get(), static_cast<long>(numIgnored), SEEK_SET) != 0) return false;
  std::vector<char> x(blockSize);
  std::vector<char> y(blockSize);
  for (;;) {
    const std::size_t n = std::fread(x.data(), 1, blockSize, first.get());
    const std::size_t m = std::fread(y.data(), 1, blockSize, second.get());
    if (n != m || std::memcmp(x.data(), y.data(), n) != 0) return false;
    if (n == 0) return true;
  }
}

}  // namespace bench
