// SPDX-License-Identifier: Apache-2.0
//
// A plain program that opens a cache file.

#include "PlainHead.h"

#include <cstring>
#include <iterator>
#include <utility>

#include "BenchRows.h"
#include "PlainFile.h"

using namespace Vek;

namespace bench {

namespace {

constexpr std::size_t headerSize = sizeof(VekHeader);

/// Numbers that stand anywhere in memory.
template <typename T>
class Unaligned {
 public:
  using iterator_category = std::random_access_iterator_tag;
  using value_type = T;
  using difference_type = std::ptrdiff_t;
  using pointer = const T*;
  using reference = T;

  explicit Unaligned(const char* p) : m_p(p) {}
  T operator*() const {
    T value;
    std::memcpy(&value, m_p, sizeof(T));
    return value;
  }
  Unaligned& operator++() {
    m_p += sizeof(T);
    return *this;
  }
  bool operator==(const Unaligned& other) const { return m_p == other.m_p; }
  bool operator!=(const Unaligned& other) const { return m_p != other.m_p; }
  std::ptrdiff_t operator-(const Unaligned& other) const {
    return (m_p - other.m_p) / static_cast<std::ptrdiff_t>(sizeof(T));
  }

 private:
  const char* m_p;
};

template <typename T>
std::vector<T> numbers(const char* begin, const char* end) {
  return std::vector<T>(Unaligned<T>(begin), Unaligned<T>(end));
}

std::vector<std::string> strings(const char* begin, const char* end) {
  std::vector<std::string> result;
  while (begin < end) {
    const std::size_t length = std::strlen(begin);
    result.emplace_back(begin, length);
    begin += length + 1;
  }
  return result;
}

PlainLeaf makeLeaf(const VekHeader& h, const char* begin, const char* end) {
  switch (h.type) {
    case ValueType::Int32:
      return {h, numbers<int>(begin, end)};
    case ValueType::Int64:
      return {h, numbers<__int64>(begin, end)};
    case ValueType::Float:
      return {h, numbers<float>(begin, end)};
    case ValueType::Double:
      return {h, numbers<double>(begin, end)};
    default:
      return {h, strings(begin, end)};
  }
}

template <typename Visit>
void forEachChunk(const char* begin, const char* end, Visit visit) {
  while (begin < end) {
    VekHeader h;
    std::memcpy(&h, begin, headerSize);
    begin += headerSize;
    visit(h, begin, begin + h.length);
    begin += h.length;
  }
}

void readAttributes(PlainObject& object, const char* begin, const char* end) {
  forEachChunk(begin, end, [&object](const VekHeader& list, const char* first, const char* last) {
    if (list.tag == Tag::ATRS) {
      forEachChunk(first, last, [&object](const VekHeader& h, const char* b, const char* e) {
        object.staticValues.push_back(makeLeaf(h, b, e));
      });
      return;
    }
    const bool isStatic = list.tag == Tag::SATR;
    forEachChunk(first, last, [&](const VekHeader& h, const char* b, const char* e) {
      if (h.tag == Tag::NAME)
        (isStatic ? object.staticNames : object.animatedNames) = strings(b, e);
      else
        (isStatic ? object.staticTypes : object.animatedTypes) = strings(b, e);
    });
  });
}

void readObject(PlainObject& object, const char* begin, const char* end) {
  forEachChunk(begin, end, [&object](const VekHeader& h, const char* b, const char* e) {
    if (h.tag == Tag::NAME)
      object.name.assign(b);
    else if (h.tag == Tag::DATR)
      readAttributes(object, b, e);
    else
      object.leaves.push_back(makeLeaf(h, b, e));
  });
}

}  // namespace

void PlainHead::open(const std::string& path) {
  constexpr std::size_t fileHeaderSize = headerSize + 8;
  PlainStream stream(path, "rb");
  char start[fileHeaderSize];
  stream.read(start, fileHeaderSize);
  VekHeader meta;
  require(stream.readHeader(meta) && meta.tag == Tag::META, "no head");
  const auto length = static_cast<std::size_t>(meta.length);
  if (m_buffer.size() < length) m_buffer.resize(length);
  stream.read(m_buffer.data(), length);
  forEachChunk(m_buffer.data(), m_buffer.data() + length,
               [this](const VekHeader& h, const char* begin, const char* end) {
                 if (h.tag == Tag::DOBJ)
                   readObject(objects.emplace_back(), begin, end);
                 else
                   fields.push_back(makeLeaf(h, begin, end));
               });
  VekHeader h;
  require(stream.readHeader(h) && stream.readHeader(h) && h.tag == Tag::JSAM, "no samples");
  sampleTable.resize(static_cast<std::size_t>(h.length) / 8);
  stream.read(sampleTable.data(), static_cast<std::size_t>(h.length));
}

}  // namespace bench
