// SPDX-License-Identifier: Apache-2.0
//
// The base of all object views: names, attributes, chunks.

#include "VekHelperObj.h"

#include <cmath>

#include "VekChunkCast.h"
#include "VekCopyValues.h"

namespace Vek {

std::string VekInterpolationHints::describe() const {
  const auto nameAt = [](const std::vector<std::string>& names, int i) {
    return i >= 0 && static_cast<std::size_t>(i) < names.size() ? names[static_cast<std::size_t>(i)]
                                                                : std::string();
  };
  std::string text = nameAt(interpolationNames, interpolation);
  if (option >= 1) text += " " + nameAt(optionNames, option);
  return text;
}

VekHelperObj::VekHelperObj(VekRoMemCache* cache, int objectIndex)
    : m_cache(cache), m_objectIndex(objectIndex) {
  addCategory("helperObj");
}

VekHelperObj::VekHelperObj(const VekHelperObj& other) = default;

VekHelperObj& VekHelperObj::operator=(const VekHelperObj& other) = default;

VekHelperObj::~VekHelperObj() = default;

void VekHelperObj::destroy() {
  // Through a volatile pointer: a compiler may take for granted that `this` is not null.
  VekHelperObj* volatile view = this;
  VekHelperObj* const found = view;
  if (found != nullptr) delete found;
}

// --- The object ----------------------------------------------------------------------------------

const std::string& VekHelperObj::getName() const {
  return m_cache->getName(m_objectIndex);
}

std::string VekHelperObj::getLeafName() const {
  return VekCache::shortName(getName());
}

const VekRoMemCache* VekHelperObj::getParentCache() {
  return m_cache;
}

namespace {

/// The categories of the library's own views. A view notes them as bits: views are made by the ten
/// thousand, and few are ever asked for the set.
constexpr const char* ownCategories[] = {"geometry", "helperObj",  "locator",      "lxcoordsystem",
                                         "mesh",     "nurbscurve", "nurbssurface", "transform"};

/// The bit of a category of the library's own; 0 for any other.
unsigned int ownCategoryBit(const std::string& category) {
  unsigned int bit = 1;
  for (const char* const own : ownCategories) {
    if (category == own) return bit;
    bit <<= 1;
  }
  return 0;
}

}  // namespace

bool VekHelperObj::isA(const std::string& category) {
  return (ownCategoryBit(category) & m_ownCategories) != 0 || m_categories.count(category) != 0;
}

void VekHelperObj::addCategory(const std::string& category) {
  const unsigned int bit = ownCategoryBit(category);
  m_ownCategories |= bit;
  if (bit == 0) m_categories.insert(category);
}

const std::set<std::string>& VekHelperObj::categories() {
  guarded(false, [&] {
    unsigned int bit = 1;
    for (const char* const own : ownCategories) {
      if ((m_ownCategories & bit) != 0) m_categories.insert(own);
      bit <<= 1;
    }
    return true;
  });
  return m_categories;
}

bool VekHelperObj::objectHas(unsigned tag) {
  return m_cache->objectHas(m_objectIndex, tag);
}

VekHelperObj::AnimationState VekHelperObj::isAnimated(unsigned tag) {
  return m_cache->isObjectAnimated(m_objectIndex, tag) ? Animated : Static;
}

VekHelperObj::AnimationState VekHelperObj::isAnimated() {
  return isAnimated(Tag::FREE);
}

float VekHelperObj::getFirstTime() {
  return m_cache->getFirstTime();
}

float VekHelperObj::getTimeFraction(float time) {
  float whole = 0;
  if (m_cache->isNonUniform()) return std::modf(time, &whole);
  return std::modf((time - m_cache->getFirstTime()) * m_cache->getRate(), &whole);
}

// --- Attributes ----------------------------------------------------------------------------------

VekHelperObj::AnimationState VekHelperObj::isAttrAnimated(int attrIndex) {
  return m_cache->isAttrAnimated(m_objectIndex, attrIndex) ? Animated : Static;
}

int VekHelperObj::getNumAttrs() {
  return m_cache->getNumAttrs(m_objectIndex);
}

int VekHelperObj::findAttr(const std::string& name) const {
  return m_cache->findAttr(m_objectIndex, name);
}

std::string VekHelperObj::getAttrName(int attrIndex) const {
  return m_cache->getAttrName(m_objectIndex, attrIndex);
}

std::string VekHelperObj::getAttrType(int attrIndex) const {
  return m_cache->getAttrType(m_objectIndex, attrIndex);
}

VekChunk* VekHelperObj::getAttrDataChunk(int sampleIndex, int attrIndex) {
  return m_cache->getAttrData(sampleIndex, m_objectIndex, attrIndex);
}

std::string VekHelperObj::getAttrDataType(int sampleIndex, int attrIndex) const {
  const VekChunk* const chunk = m_cache->getAttrData(sampleIndex, m_objectIndex, attrIndex);
  return chunk != nullptr ? chunk->getHeader().typeStr() : vekTypeNames[ValueType::Undef];
}

namespace {

template <typename T>
bool pointAt(const VekChunk* chunk, const std::vector<T>*& data) {
  data = leafValues<T>(chunk);
  return data != nullptr;
}

}  // namespace

bool VekHelperObj::getVekLeafData(const VekChunk* chunk, const std::vector<int>*& data) {
  return pointAt(chunk, data);
}

bool VekHelperObj::getVekLeafData(const VekChunk* chunk, const std::vector<__int64>*& data) {
  return pointAt(chunk, data);
}

bool VekHelperObj::getVekLeafData(const VekChunk* chunk, const std::vector<float>*& data) {
  return pointAt(chunk, data);
}

bool VekHelperObj::getVekLeafData(const VekChunk* chunk, const std::vector<double>*& data) {
  return pointAt(chunk, data);
}

bool VekHelperObj::getVekLeafData(const VekChunk* chunk, const std::vector<std::string>*& data) {
  return pointAt(chunk, data);
}

// The dimension is set before the type is tested: a mismatch still reports it.
template <typename T>
bool VekHelperObj::pointAtAttr(int sampleIndex, int attrIndex, const std::vector<T>*& data,
                               int& dimension) {
  data = nullptr;
  const VekChunk* const chunk = getAttrDataChunk(sampleIndex, attrIndex);
  if (chunk == nullptr) return false;
  dimension = getDimension(chunk);
  return getVekLeafData(chunk, data);
}

template <typename T>
bool VekHelperObj::copyAttr(int sampleIndex, int attrIndex, std::vector<T>& values,
                            int& dimension) {
  const std::vector<T>* data = nullptr;
  if (!pointAtAttr(sampleIndex, attrIndex, data, dimension)) return false;
  return copyValues(*data, values);
}

bool VekHelperObj::getAttrData(int sampleIndex, int attrIndex, const std::vector<int>*& data,
                               int& dimension) {
  return pointAtAttr(sampleIndex, attrIndex, data, dimension);
}

bool VekHelperObj::getAttrData(int sampleIndex, int attrIndex, const std::vector<__int64>*& data,
                               int& dimension) {
  return pointAtAttr(sampleIndex, attrIndex, data, dimension);
}

bool VekHelperObj::getAttrData(int sampleIndex, int attrIndex, const std::vector<float>*& data,
                               int& dimension) {
  return pointAtAttr(sampleIndex, attrIndex, data, dimension);
}

bool VekHelperObj::getAttrData(int sampleIndex, int attrIndex, const std::vector<double>*& data,
                               int& dimension) {
  return pointAtAttr(sampleIndex, attrIndex, data, dimension);
}

bool VekHelperObj::getAttrData(int sampleIndex, int attrIndex,
                               const std::vector<std::string>*& data) {
  int dimension = 0;
  return pointAtAttr(sampleIndex, attrIndex, data, dimension);
}

bool VekHelperObj::getAttr(int sampleIndex, int attrIndex, std::vector<int>& values,
                           int& dimension) {
  return copyAttr(sampleIndex, attrIndex, values, dimension);
}

bool VekHelperObj::getAttr(int sampleIndex, int attrIndex, std::vector<__int64>& values,
                           int& dimension) {
  return copyAttr(sampleIndex, attrIndex, values, dimension);
}

bool VekHelperObj::getAttr(int sampleIndex, int attrIndex, std::vector<float>& values,
                           int& dimension) {
  return copyAttr(sampleIndex, attrIndex, values, dimension);
}

bool VekHelperObj::getAttr(int sampleIndex, int attrIndex, std::vector<double>& values,
                           int& dimension) {
  return copyAttr(sampleIndex, attrIndex, values, dimension);
}

bool VekHelperObj::getAttr(int sampleIndex, int attrIndex, std::vector<std::string>& values) {
  int dimension = 0;
  return copyAttr(sampleIndex, attrIndex, values, dimension);
}

// --- Chunks --------------------------------------------------------------------------------------

std::string VekHelperObj::getObjectType(unsigned tag) {
  const VekChunk* const chunk = m_cache->getObjectData(0, m_objectIndex, tag, nullptr);
  return chunk != nullptr ? chunk->getHeader().typeStr() : vekTypeNames[ValueType::Undef];
}

VekHelperObj::AnimationState VekHelperObj::findChunk(int sampleIndex, unsigned tag,
                                                     const VekChunk*& chunk) {
  bool animated = false;
  chunk = m_cache->getObjectData(sampleIndex, m_objectIndex, tag, &animated);
  return animated ? Animated : Static;
}

const VekChunk* VekHelperObj::searchChunk(const VekGroupChunk* group, unsigned tag) {
  return group != nullptr ? group->getChild(group->findChild(tag)) : nullptr;
}

int VekHelperObj::getDimension(const VekChunk* chunk) const {
  const int dimension = chunk != nullptr ? chunk->getDimension() : 0;
  switch (dimension) {
    case 1:
    case 2:
    case 3:
    case 4:
    case 9:
    case 16:
      return dimension;
    default:
      return 0;
  }
}

}  // namespace Vek
