// SPDX-License-Identifier: Apache-2.0
//
// Scenes written with the library: straight from the data, as an exporter does, and as chunk trees.

#ifndef VEK_BENCH_SCENE_FILE_H
#define VEK_BENCH_SCENE_FILE_H

#include <VekChunks.h>

#include <memory>
#include <string>
#include <vector>

#include "BenchScenes.h"

namespace bench {

/// Defines an object that so far has a name.
void define(Vek::VekDOBJChunk& definition, const Object& object);
/// The head of a scene with that many samples.
std::unique_ptr<Vek::VekMETAChunk> makeHead(const Scene& scene, int numSamples);

/// The data of one object in one sample as a chunk tree.
std::unique_ptr<Vek::VekGroupChunk> makeTree(const Object& object, const ObjectSample& values);
/// Adds the data as children.
void addLeaves(Vek::VekGroupChunk& sobj, const Object& object, const ObjectSample& values);

using Trees = std::vector<std::vector<std::unique_ptr<Vek::VekGroupChunk>>>;
/// All samples of a scene of that size, by sample, by object.
Trees makeTrees(const Scene& scene, const SceneSize& size);
/// The leaves of trees, where they lie.
Sample listSampleLeaves(const std::vector<const Vek::VekGroupChunk*>& sobjs);
std::vector<Sample> listLeaves(const Trees& trees);

/// Write a file; they throw when that fails. From contiguous memory, array by array:
void writeStreaming(const std::string& path, const Vek::VekMETAChunk& head, const Scene& scene);
/// From the typed vectors that the trees hold, array by array:
void writeVectors(const std::string& path, const Vek::VekMETAChunk& head, const Trees& trees);
/// Tree by tree:
void writeTrees(const std::string& path, const Vek::VekMETAChunk& head, const Trees& trees);

/// Writes a file sample by sample, with no more than one in memory, unless it is there already.
void ensureFile(const std::string& path, const SceneSize& size, int reserve = 0);

}  // namespace bench

#endif
