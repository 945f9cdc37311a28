// SPDX-License-Identifier: Apache-2.0
//
// Reading the children of a group from memory. What an image says of lengths is checked for all of
// its chunks at once, so that they can be taken one after another without asking the file for each.

#include "VekChunkImage.h"

#include <cstring>

#include "VekArena.h"
#include "VekReadValues.h"

namespace Vek {

namespace {

constexpr __int64 headerSize = sizeof(VekHeader);

/// Calls `visit` with the header and the payload of each chunk, as long as it returns true and
/// lengths agree. Whether that was so to the last byte.
template <typename Visit>
bool visitChunks(const char* image, __int64 length, Visit visit) {
  while (length >= headerSize) {
    VekHeader h;
    std::memcpy(&h, image, sizeof(h));
    image += headerSize;
    length -= headerSize;
    if (h.length < 0 || h.length > length || !visit(h, image)) return false;
    image += h.length;
    length -= h.length;
  }
  return length == 0;
}

std::size_t countChunks(const char* image, __int64 length) {
  std::size_t count = 0;
  visitChunks(image, length, [&count](const VekHeader&, const char*) {
    ++count;
    return true;
  });
  return count;
}

template <typename T>
void takeValues(VekChunk& leaf, const char* payload, __int64 length) {
  std::vector<T>& values = static_cast<VekLeafChunk<T>&>(leaf).data;
  const auto size = static_cast<std::size_t>(length);
  resizeToRead(values, size / sizeof(T));
  if (size > 0) std::memcpy(values.data(), payload, size);
}

template <>
void takeValues<std::string>(VekChunk& leaf, const char* payload, __int64 length) {
  splitRuns(payload, static_cast<std::size_t>(length),
            static_cast<VekLeafChunk<std::string>&>(leaf).data);
}

}  // namespace

bool areReadable(const char* image, __int64 length, unsigned __int64 level) {
  return visitChunks(image, length, [level](const VekHeader& h, const char* payload) {
    if (h.type != ValueType::Group) return h.length % elementSize(h.type) == 0;
    if (h.length == 0) return true;
    return level < maxGroupNesting && areReadable(payload, h.length, level + 1);
  });
}

// Takes over the chunks of a readable image, in place of the children from before.
void VekGroupChunk::takeChildren(const char* image, __int64 length, VekArena* arena) {
  if (m_children.empty()) m_children.reserve(countChunks(image, length));
  std::size_t count = 0;
  visitChunks(image, length, [&](const VekHeader& h, const char* payload) {
    takeChild(placeChild(count, h, arena), h, payload, arena);
    ++count;
    return true;
  });
  m_children.resize(count);
}

// Fills a chunk that was made for the header. One of no known type takes nothing.
void VekGroupChunk::takeChild(VekChunk& child, const VekHeader& h, const char* payload,
                              VekArena* arena) {
  switch (h.type) {
    case ValueType::Undef:
      takeValues<char>(child, payload, h.length);
      break;
    case ValueType::Group:
      static_cast<VekGroupChunk&>(child).takeChildren(payload, h.length, arena);
      break;
    case ValueType::String:
      takeValues<std::string>(child, payload, h.length);
      break;
    case ValueType::Int32:
      takeValues<int>(child, payload, h.length);
      break;
    case ValueType::Float:
      takeValues<float>(child, payload, h.length);
      break;
    case ValueType::Int64:
      takeValues<__int64>(child, payload, h.length);
      break;
    case ValueType::Double:
      takeValues<double>(child, payload, h.length);
      break;
    default:
      return;
  }
  child.header = h;
}

}  // namespace Vek
