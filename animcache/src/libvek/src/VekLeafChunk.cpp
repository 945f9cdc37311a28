// SPDX-License-Identifier: Apache-2.0
//
// Chunks of values: numbers, strings or raw bytes.

#include <ostream>
#include <type_traits>
#include <utility>

#include "VekChunks.h"

namespace Vek {

namespace {

template <typename T>
__int64 payloadSize(const std::vector<T>& data) {
  return static_cast<__int64>(data.size() * sizeof(T));
}

__int64 payloadSize(const std::vector<std::string>& data) {
  __int64 size = 0;
  for (const std::string& s : data) size += static_cast<__int64>(s.size() + 1);
  return size;
}

}  // namespace

template <typename T>
VekLeafChunk<T>::VekLeafChunk(unsigned int tag)
    : VekChunk(VekHeader(tag, VekTypeOf<T>::value, 0)) {}

template <typename T>
VekLeafChunk<T>::VekLeafChunk(unsigned int tag, unsigned char compound, unsigned char dimension,
                              const std::vector<T>& values)
    : VekChunk(VekHeader(tag, VekTypeOf<T>::value, payloadSize(values), compound, dimension)),
      data(values) {}

template <typename T>
VekLeafChunk<T>::VekLeafChunk(unsigned int tag, const std::vector<T>& values)
    : VekLeafChunk(tag, Compound::Undef, 0, values) {}

template <typename T>
void VekLeafChunk<T>::reset() {
  data.clear();
}

template <typename T>
__int64 VekLeafChunk<T>::getLength() {
  return header.length;
}

template <typename T>
bool VekLeafChunk<T>::read(const VekHeader& h, VekFile& f) {
  if (h.tag != header.tag || h.type != header.type) return false;
  header = h;
  if constexpr (!std::is_same_v<T, std::string>) {
    if (h.length % static_cast<__int64>(sizeof(T)) != 0) return false;
  }
  return f.readData(h, data);
}

template <typename T>
bool VekLeafChunk<T>::write(VekFile& f) const {
  if constexpr (std::is_same_v<T, std::string>) {
    return f.writeChunk(header.tag, data, -1, header.compound, header.dimension);
  } else {
    const VekHeader h(header.tag, VekTypeOf<T>::value, payloadSize(data), header.compound,
                      header.dimension);
    return f.writeChunk(h, data.empty() ? nullptr : data.data());
  }
}

template <typename T>
std::ostream& VekLeafChunk<T>::print(std::ostream& os, int indent) const {
  VekChunk::print(os, indent);
  if (header.type == ValueType::Float) os.precision(8);
  if (header.type == ValueType::Double) os.precision(16);
  for (const T& value : data) os << value << " ";
  return os;
}

template <typename T>
void VekLeafChunk<T>::setData(std::vector<T> values) {
  data = std::move(values);
  updateLength();
}

template <typename T>
void VekLeafChunk<T>::updateLength() {
  header.length = payloadSize(data);
}

template class VekLeafChunk<char>;
template class VekLeafChunk<int>;
template class VekLeafChunk<__int64>;
template class VekLeafChunk<float>;
template class VekLeafChunk<double>;
template class VekLeafChunk<std::string>;

}  // namespace Vek
