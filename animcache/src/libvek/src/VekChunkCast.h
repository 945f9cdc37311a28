// SPDX-License-Identifier: Apache-2.0
//
// What kind of chunk a chunk is, told by comparing two addresses in the usual case: a dynamic_cast
// walks the classes, which evaluations would spend most of their time on.

#ifndef VEK_CHUNK_CAST_H
#define VEK_CHUNK_CAST_H

#include <typeinfo>
#include <vector>

#include "VekChunks.h"

namespace Vek {

/// The chunk as a Class, null when it is null or another kind of chunk.
template <typename Class>
const Class* chunkCast(const VekChunk* chunk) {
  if (chunk == nullptr) return nullptr;
  if (&typeid(*chunk) == &typeid(Class)) return static_cast<const Class*>(chunk);
  return dynamic_cast<const Class*>(chunk);  // A derived class, or another copy of its name.
}

/// The chunk as a group, null for another kind of chunk.
inline const VekGroupChunk* groupCast(const VekChunk* chunk) {
  if (chunk == nullptr || chunk->getType() != ValueType::Group) return nullptr;
  if (&typeid(*chunk) == &typeid(VekDOBJChunk)) return static_cast<const VekDOBJChunk*>(chunk);
  return chunkCast<VekGroupChunk>(chunk);
}

/// The values of a leaf of exactly that type: both its header and its class.
template <typename T>
const std::vector<T>* leafValues(const VekChunk* chunk) {
  if (chunk == nullptr || chunk->getType() != VekTypeOf<T>::value) return nullptr;
  const auto* const leaf = chunkCast<VekLeafChunk<T>>(chunk);
  return leaf != nullptr ? &leaf->data : nullptr;
}

}  // namespace Vek

#endif
