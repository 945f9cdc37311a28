// SPDX-License-Identifier: Apache-2.0
//
// The chunk header, its name tables and its text forms.

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ostream>

#include "VekChunks.h"

namespace Vek {

const char* const vekTypeNames[7] = {"undef", "group", "cstr", "int32", "float", "int64", "double"};
const char* const vekCompoundNames[7] = {"undef",     "point", "vector",  "normal",
                                         "transform", "color", "compound"};
const char* const vekDimensionNames[17] = {"undef", "scalar", "2d", "3d", "4d", "", "", "",   "",
                                           "3x3",   "",       "",   "",   "",   "", "", "4x4"};

namespace {

/// The table's entry, or an empty word for a byte outside it: such bytes come with damaged files.
template <std::size_t N>
const char* nameAt(const char* const (&table)[N], unsigned char value) {
  return value < N ? table[value] : "";
}

}  // namespace

VekHeader::VekHeader(unsigned int tag_, unsigned char type_, __int64 length_,
                     unsigned char compound_, unsigned char dimension_)
    : tag(tag_), type(type_), compound(compound_), dimension(dimension_), length(length_) {}

void VekHeader::set(unsigned int tag_, unsigned char type_, __int64 length_,
                    unsigned char compound_, unsigned char dimension_) {
  tag = tag_;
  type = type_;
  compound = compound_;
  dimension = dimension_;
  length = length_;
}

std::string VekHeader::tagStr() const {
  char characters[sizeof(tag) + 1] = "";
  std::memcpy(characters, &tag, sizeof(tag));
  return characters;
}

std::string VekHeader::typeStr() const {
  return nameAt(vekTypeNames, type);
}

std::string VekHeader::compoundStr() const {
  return nameAt(vekCompoundNames, compound);
}

std::string VekHeader::dimensionStr() const {
  return nameAt(vekDimensionNames, dimension);
}

std::ostream& VekHeader::print(std::ostream& os) const {
  char characters[sizeof(tag)];
  std::memcpy(characters, &tag, sizeof(tag));
  os.write(characters, sizeof(characters));
  // Neither the stream's number format nor an allocation: printing does not fail for want of
  // memory.
  char digits[24] = "";
  static_cast<void>(std::snprintf(digits, sizeof(digits), "%lld", static_cast<long long>(length)));
  os << " " << nameAt(vekTypeNames, type) << " (" << digits << ")";
  if (compound != 0) os << " " << nameAt(vekCompoundNames, compound);
  if (dimension != 0) os << " " << nameAt(vekDimensionNames, dimension);
  return os;
}

}  // namespace Vek
