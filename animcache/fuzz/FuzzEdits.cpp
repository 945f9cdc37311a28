// SPDX-License-Identifier: Apache-2.0
//
// Edits of a read-write cache, chosen by the input.

#include "FuzzEdits.h"

#include <cmath>
#include <limits>
#include <memory>

using namespace Vek;

namespace VekFuzz {

namespace {

constexpr int mostObjects = 8;  // Higher indices of objects are not edited.

constexpr const char* names[] = {"",       "|a",          "|a|b",   "ns:a",   "scoped",
                                 "weight", "rmanP__Pref", "|a:x|b", "rotateX"};
constexpr unsigned int tags[] = {Tag::POSI, Tag::MTRX, Tag::ATRS, Tag::FREE,
                                 Tag::XFRM, Tag::NAME, Tag::SOBJ, Tag::BBOX};
constexpr int oddIndices[] = {
    -1, 0, 1, 2, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()};

float chooseTime(const EditedCache& cache, Choices& choices) {
  constexpr float odd[] = {std::numeric_limits<float>::quiet_NaN(),
                           std::numeric_limits<float>::infinity(),
                           3.4e38F,
                           -3.4e38F,
                           16777216,
                           1e-30F};
  const unsigned kind = choices.next();
  if (kind >= 250) return odd[kind - 250];
  if (kind >= 200) return cache.getLastTime() + static_cast<float>(kind - 199) / 4;
  if (kind >= 150) return cache.getFirstTime() - static_cast<float>(kind - 149) / 4;
  if (kind >= 100) return cache.getSampleTime(static_cast<int>(kind) - 100);
  return static_cast<float>(kind) / 2 - 8;
}

VekDOBJChunk* chooseDefinition(EditedCache& cache, Choices& choices) {
  auto& definitions = cache.getMETAChunk().dobjs;
  if (definitions.empty()) return nullptr;
  return definitions[choices.next() % definitions.size()];
}

int chooseAttr(const VekDOBJChunk& definition, Choices& choices) {
  return choices.below(definition.getNumAttrs());
}

// --- Samples -------------------------------------------------------------------------------------

template <typename T>
VekChunk* newLeaf(unsigned int tag, Choices& choices) {
  const std::vector<T> values(choices.next() % 20, static_cast<T>(choices.next()));
  return new VekLeafChunk<T>(tag, static_cast<unsigned char>(choices.below(7)),
                             static_cast<unsigned char>(choices.below(17)), values);
}

VekChunk* newChunk(Choices& choices) {
  const unsigned int tag = choices.oneOf(tags);
  switch (choices.below(7)) {
    case 0:
      return newLeaf<char>(tag, choices);
    case 1: {
      auto group = std::make_unique<VekGroupChunk>(tag);
      group->addChild(newLeaf<int>(tag, choices));
      return group.release();
    }
    case 2:
      return new VekLeafChunk<std::string>(
          tag, std::vector<std::string>(choices.next() % 4, choices.oneOf(names)));
    case 3:
      return newLeaf<int>(tag, choices);
    case 4:
      return newLeaf<float>(tag, choices);
    case 5:
      return newLeaf<__int64>(tag, choices);
    default:
      return newLeaf<double>(tag, choices);
  }
}

void editSample(VekGroupChunk& sobj, Choices& choices) {
  switch (choices.below(6)) {
    case 0:
      return sobj.reset();
    case 1:
      return sobj.removeChild(choices.next() % 8);
    case 2:
      return sobj.removeChildren(choices.next() % 8, choices.next() % 8);
    case 3:
      if (sobj.numChildren() > 0 && sobj.getChild(0) != nullptr) sobj.getChild(0)->free();
      return;
    default:
      return sobj.addChild(newChunk(choices));
  }
}

void allocSample(EditedCache& cache, Choices& choices) {
  const float time = chooseTime(cache, choices);
  VekGroupChunk* const sobj = cache.allocSample(time, choices.below(mostObjects));
  if (sobj != nullptr) editSample(*sobj, choices);
}

void allocFrame(EditedCache& cache, Choices& choices) {
  if (cache.getNumObjects() > mostObjects) return;
  std::vector<VekGroupChunk*> sobjs;
  if (!cache.allocFrame(chooseTime(cache, choices), sobjs)) return;
  check(sobjs.size() == static_cast<std::size_t>(cache.getNumObjects()), "a frame is complete");
  for (VekGroupChunk* sobj : sobjs) editSample(*sobj, choices);
}

// --- Definitions ---------------------------------------------------------------------------------

void addAttr(VekDOBJChunk& definition, Choices& choices) {
  const bool animated = choices.flag();
  const char* const name = choices.oneOf(names);
  const auto type = static_cast<unsigned char>(choices.below(8));
  const int before = definition.getNumAttrs();
  const int attr = definition.addAttr(animated, name, "double", type);
  check(definition.getNumAttrs() == before + (attr >= 0 ? 1 : 0), "an attribute is added or not");
  if (attr < 0) return;
  check(definition.getAttrName(attr) == name, "an attribute has its name");
  check(definition.isAttrAnimated(attr) == animated, "an attribute is of its list");
  if (animated) return;
  VekChunk* const data = definition.getDATR()->getStaticData(attr);
  if (auto* const reals = asLeaf<double>(data)) reals->setData({1, 2, 3});
  if (auto* const texts = asLeaf<std::string>(data)) texts->setData({"a", ""});
}

void removeAttrs(VekDOBJChunk& definition, Choices& choices) {
  if (definition.getNumAttrs() == 0) return;
  const int first = chooseAttr(definition, choices);
  const int count = choices.flag() ? choices.below(5) : choices.oneOf(oddIndices);
  if (choices.flag())
    definition.getDATR()->removeStaticAttrs(first, count);
  else
    definition.getDATR()->removeAnimatedAttrs(first, count);
}

void editDefinition(EditedCache& cache, Choices& choices) {
  VekDOBJChunk* const definition = chooseDefinition(cache, choices);
  if (definition == nullptr) return;
  switch (choices.below(8)) {
    case 0:
      definition->removeDATR();
      return;
    case 1: {
      std::unique_ptr<VekChunk> chunk(newChunk(choices));
      // A second name would be read as the name.
      if (chunk->getTag() != Tag::NAME) definition->addChild(chunk.release());
      return;
    }
    case 2:
      return removeAttrs(*definition, choices);
    case 3: {
      const VekDOBJChunk* const other = chooseDefinition(cache, choices);
      if (definition->addDATR() != nullptr && other != definition)
        definition->getDATR()->mergeStaticAttributes(other->getDATR());
      return;
    }
    case 4:
      definition->name = choices.oneOf(names);
      return;
    default:
      return addAttr(*definition, choices);
  }
}

void editMeta(EditedCache& cache, Choices& choices) {
  VekMETAChunk& meta = cache.getMETAChunk();
  switch (choices.below(3)) {
    case 0:
      if (meta.getNumObjects() < mostObjects) meta.addDOBJ(choices.oneOf(names));
      return;
    case 1:
      cache.setSpace(choices.oneOf(oddIndices));
      return;
    default:
      cache.setApplication(choices.oneOf(names));
      cache.setSourceFile(choices.oneOf(names));
  }
}

void setNames(EditedCache& cache, Choices& choices) {
  const int obj = choices.below(mostObjects + 1) - 1;
  cache.setName(obj, choices.flag() ? choices.oneOf(names) : nullptr);
  if (cache.getNumAttrs(obj) == 0) return;
  const int attr = choices.below(cache.getNumAttrs(obj));
  cache.setAttrName(obj, attr, choices.oneOf(names));
  cache.setAttrType(obj, attr, choices.oneOf(names));
}

}  // namespace

void edit(EditedCache& cache, Choices& choices) {
  switch (choices.below(16)) {
    case 0:
    case 1:
    case 2:
      return allocSample(cache, choices);
    case 3:
    case 4:
      return allocFrame(cache, choices);
    case 5:
      return cache.truncate(chooseTime(cache, choices));
    case 6:
      return cache.shiftFirstTimeTo(chooseTime(cache, choices));
    case 7:
      cache.convertToUniformSampling();
      return;
    case 8:
      return cache.convertToNonUniformSampling();
    case 9:
      return setNames(cache, choices);
    case 10:
      return editMeta(cache, choices);
    case 11:
      return cache.setReservedSamples(choices.flag() ? choices.below(300)
                                                     : choices.oneOf(oddIndices));
    case 12:
      if (choices.next() > 250) cache.deleteCache();
      return;
    default:
      return editDefinition(cache, choices);
  }
}

}  // namespace VekFuzz
