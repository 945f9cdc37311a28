// SPDX-License-Identifier: Apache-2.0
//
// Caches: a VEK file opened as a set of objects and samples. VekCache reads a file's head and its
// tables, finds samples by time and objects by name, and fetches any object of any sample.
//
// Nothing here throws but the attribute index check of VekDATRChunk. One cache serves one thread
// at a time, in getters too: they move the file position. Separate caches are independent.

#ifndef VEK_CACHE_H
#define VEK_CACHE_H

#include <string>
#include <vector>

#include "VekChunks.h"

namespace Vek {

/// A file opened lazily: its head and its time and jump tables are in memory, samples are read
/// from the file when they are asked for.
///
/// Times are in frames, sample and object indices count from 0, and -1 stands for none. Accessors
/// that take an object index answer with null, 0, -1, false or an empty string outside the table.
class VEK_API VekCache {
 public:
  /// An empty cache.
  VekCache();
  /// Loads a file; `ok`, when given, receives the result of load().
  explicit VekCache(const char* filename, bool keepOpen = true, bool* ok = nullptr);
  VekCache(const VekCache&) = delete;
  VekCache& operator=(const VekCache&) = delete;
  virtual ~VekCache();

  /// Returns the cache to empty and closes the file.
  virtual void reset();
  /// Resets the cache and reads the head and the tables of a file. With `keepOpen` false the file
  /// is closed after this and after every fetch. A failure prints one line to the standard output
  /// stream and leaves the cache empty.
  virtual bool load(const char* filename, bool keepOpen = true);

  /// Closes the file; the next fetch opens it again.
  bool close();
  /// Chooses whether the file stays open between fetches; closes it when not, and returns whether
  /// that succeeded.
  bool setKeepOpen(bool keep);
  bool getKeepOpen() const;

  /// The path given to the last load.
  const std::string& getFilename() const;
  const VekDVEKChunk& getDVEKChunk() const;
  int getVersion() const;
  /// The metadata, owned by the cache and valid until reset().
  VekMETAChunk& getMETAChunk();
  const std::string& getApplication() const;
  const std::string& getSourceFile() const;
  /// Seconds since 1970, 0 for none.
  const __int64& getDateStamp() const;
  int getNumSamples() const;
  float getFirstTime() const;
  float getLastTime() const;
  /// Samples per frame; 0 for non-uniform sampling.
  float getRate() const;
  /// Coordinate space: 0 world, 1 object.
  int getSpace() const;
  bool isNonUniform() const;
  /// Whether the samples span any time.
  bool isAnimated() const;

  int getNumObjects() const;
  /// The object's definition, owned by the cache and valid until reset().
  const VekDOBJChunk* getObjDef(int obj) const;
  const std::string& getName(int obj) const;
  /// Static and animated attributes together.
  int getNumAttrs(int obj) const;
  int findAttr(int obj, const std::string& name) const;
  /// These three throw the bool value false for an attribute index outside the object's attributes.
  bool isAttrAnimated(int obj, int attr) const;
  std::string getAttrName(int obj, int attr) const;
  std::string getAttrType(int obj, int attr) const;

  /// The sample exactly at time t; -1 when there is none.
  int getSampleIndex(float t) const;
  /// The last sample at or before t; -1 before the first. Between two samples of a non-uniform
  /// file it yields the later one; readers rely on it.
  int getMaxSampleIndexNotGreaterThan(float t) const;
  /// The first sample at or after t; -1 after the last.
  int getMinSampleIndexNotLessThan(float t) const;
  /// The time of sample i; NaN when there is none.
  float getSampleTime(int i) const;

  /// The first object, searched from `hint` on around the table, whose name or whose name's last
  /// component equals that of `name` without its namespaces; -1 when there is none. Pass the index
  /// after the last one found to look up objects in file order at one probe each.
  int findObjectIndex(const std::string& name, int hint = 0) const;
  /// The part of a name after its last "|".
  static std::string shortName(const std::string& name);
  /// Whether a chunk with that tag stands in the object's definition or in its first sample; for
  /// DATR, whether the object has attributes.
  bool objectHas(int obj, unsigned int tag);
  /// Whether a chunk with that tag stands in the object's first sample and not in its definition.
  bool isObjectAnimated(int obj, unsigned int tag);

 protected:
  /// Whether two names, or their last components, are equal.
  bool compareNames(const std::string& a, const std::string& b) const;
  /// The first chunk with that tag in a tree, parents before children; null when there is none.
  VekChunk* findChunk(VekChunk* root, unsigned int tag);
  /// Reads an object's data in a sample: a group tagged SOBJ, owned by the caller; null on failure.
  VekGroupChunk* loadObjectSample(int sample, int obj);
  /// Reads the header of an object's SOBJ and leaves the file at its payload.
  bool seekObjectSample(VekHeader& header, int sample, int obj);
  /// Reads on to a child of that tag in the object's SOBJ and leaves the file at its payload. With
  /// `position` the search begins at that child, and the child found is stored there.
  bool seekChannelSample(VekHeader& header, int sample, int obj, unsigned int tag, int* position);

  std::string fileName;  ///< path of the last load, kept for opening it again
  bool keepOpen = true;  ///< whether the file stays open between fetches
  int openMode = 0;      ///< 0 opens with mode "r", 1 with mode "r+"
  VekDVEKChunk fileHeader;
  VekMETAChunk metadata;
  std::vector<float> timeTable;    ///< time of every sample; empty for uniform sampling
  std::vector<__int64> jumpTable;  ///< offset of every sample's SAMP
  VekFile file;
  int cachedSampleIndex = -1;        ///< the sample that objectJumps belongs to, -1 for none
  std::vector<__int64> objectJumps;  ///< offset of every object's SOBJ in that sample

 private:
  struct Section;
  bool loadFile(const std::string& path, bool keep);
  bool openFile(const std::string& path);
  bool readHead();
  bool readSections();
  bool findSection(Section& section);
  bool readSection(Section& section);
  bool checkSection(const Section& section);
  bool checkSamples();
  int getNumTimes() const;
  int lowerBound(float t) const;
  bool readObjectJumps(int sample);
  bool hasObject(int obj) const;
  bool definitionHas(int obj, unsigned int tag);
  bool firstSampleHas(int obj, unsigned int tag);
};

}  // namespace Vek

#endif
