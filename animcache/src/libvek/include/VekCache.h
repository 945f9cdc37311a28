// SPDX-License-Identifier: Apache-2.0

/// @file
/// Caches: a VEK file opened as a set of objects and samples. VekCache reads a file's head and its
/// tables, finds samples by time and objects by name, and fetches any object of any sample;
/// VekRoMemCache keeps what was fetched in memory; VekRwMemCache can be edited and saved.
///
/// Nothing here throws but the attribute index check of VekDATRChunk, and what returns a string
/// when memory is short. One cache serves one thread at a time, in getters too: they move the file
/// position. Separate caches are independent.

#ifndef VEK_CACHE_H
#define VEK_CACHE_H

#include <array>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "VekChunks.h"

namespace Vek {

/// The most that all samples of a file may come to when they are loaded together, as a save does:
/// so many bytes for each byte of the file, and so many more in any case. Without samples that
/// share their data or leave out objects they come to less than the file; a small damaged file must
/// not become a huge one.
///@{
constexpr __int64 maxLoadPerByte = 64;
constexpr __int64 maxLoadInAnyCase = 16 << 20;
///@}

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
  /// is closed after this and after every fetch. A failure prints one line, which says why, to the
  /// standard output stream and leaves the cache empty.
  virtual bool load(const char* filename, bool keepOpen = true);

  /// Closes the file; the next fetch opens it again.
  bool close();
  /// Chooses whether the file stays open between fetches; closes it when not, and returns whether
  /// that succeeded.
  bool setKeepOpen(bool keep);
  /// Whether the file stays open between fetches.
  bool getKeepOpen() const;

  /// The path of the load that succeeded last; empty after one that failed.
  const std::string& getFilename() const;
  /// The file header, owned by the cache.
  const VekDVEKChunk& getDVEKChunk() const;
  /// The format version of the file.
  int getVersion() const;
  /// The metadata, owned by the cache and valid until reset().
  VekMETAChunk& getMETAChunk();
  /// The writing application and the scene file that it wrote; empty for none. Valid until reset().
  ///@{
  const std::string& getApplication() const;
  const std::string& getSourceFile() const;
  ///@}
  /// Seconds since 1970, 0 for none.
  const __int64& getDateStamp() const;
  /// The number of samples.
  int getNumSamples() const;
  /// Times of the first and the last sample, in frames; +infinity and -infinity without samples.
  ///@{
  float getFirstTime() const;
  float getLastTime() const;
  ///@}
  /// Samples per frame; 0 for non-uniform sampling.
  float getRate() const;
  /// Coordinate space: 0 world, 1 object.
  int getSpace() const;
  /// Whether each sample has a time of its own rather than a place in a fixed rate.
  bool isNonUniform() const;
  /// Whether the samples span any time.
  bool isAnimated() const;

  /// The number of objects.
  int getNumObjects() const;
  /// The object's definition, owned by the cache and valid until reset().
  const VekDOBJChunk* getObjDef(int obj) const;
  /// The full path name, components separated by "|". Valid until reset().
  const std::string& getName(int obj) const;
  /// Static and animated attributes together.
  int getNumAttrs(int obj) const;
  /// The index of the attribute with exactly that name; -1 when there is none.
  int findAttr(int obj, const std::string& name) const;
  /// Whether an attribute has values in the samples; its name; its type name. All three throw the
  /// bool value false for an attribute index outside those of an object that has attributes.
  ///@{
  bool isAttrAnimated(int obj, int attr) const;
  std::string getAttrName(int obj, int attr) const;
  std::string getAttrType(int obj, int attr) const;
  ///@}

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
  /// Whether a chunk with that tag stands in the object's definition or in its first sample, as the
  /// file holds it; for DATR, whether the object has attributes. What cannot be read, for want of
  /// memory too, does not count.
  bool objectHas(int obj, unsigned int tag);
  /// Whether a chunk with that tag stands in the object's first sample, as the file holds it, and
  /// not in its definition.
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

  /// Moves past the payload of a chunk that is no group. False where a leaf could not be read.
  bool skipLeaf(const VekHeader& h);
  /// The number of samples that uniform sampling has over a span of time.
  static float countSamples(float firstTime, float lastTime, float rate);
  /// The number of samples that have an entry in the time table.
  int getNumTimes() const;
  /// Whether the index lies in the table of objects.
  bool hasObject(int obj) const;
  /// Whether the file holds data of the object in the sample, or may hold it where it is damaged.
  bool isStored(int sample, int obj);
  /// Opens the file when it is closed and makes objectJumps the table of that sample.
  bool selectSample(int sample);
  /// Forgets what is known of where the samples stand in the file.
  void forgetSamples();

  std::string fileName;              ///< path of the last load, kept for opening it again
  bool keepOpen = true;              ///< whether the file stays open between fetches
  int openMode = 0;                  ///< 0 opens with mode "r", 1 with mode "r+"
  VekDVEKChunk fileHeader;           ///< format version
  VekMETAChunk metadata;             ///< the head: times and object definitions
  std::vector<float> timeTable;      ///< time of every sample; empty for uniform sampling
  std::vector<__int64> jumpTable;    ///< offset of every sample's SAMP
  VekFile file;                      ///< closed between fetches without keepOpen
  int cachedSampleIndex = -1;        ///< the sample that objectJumps belongs to, -1 for none
  std::vector<__int64> objectJumps;  ///< offset of every object's SOBJ in that sample
  int numFileObjects = 0;            ///< how many objects the file defines

 private:
  friend class VekRoMemCache;
  struct VEK_LOCAL Section;
  VEK_LOCAL bool loadFile(const std::string& path, bool keep);
  VEK_LOCAL bool openFile(const std::string& path);
  VEK_LOCAL bool readHead();
  VEK_LOCAL bool readSections();
  VEK_LOCAL bool findSection(Section& section, __int64 position);
  VEK_LOCAL bool readSection(Section& section);
  VEK_LOCAL bool checkSection(const Section& section);
  VEK_LOCAL bool checkSamples();

  /// Where a sample's table of objects stands in the file, and the table once it was read.
  struct ObjectTable {
    int sample = -1;
    __int64 begin = 0;             ///< offset of the payload
    __int64 length = 0;            ///< of the payload in bytes
    __int64 end = 0;               ///< offset of the sample's end
    std::vector<__int64> offsets;  ///< empty until the table was read, and while it is objectJumps
  };
  /// Where an object's data begin and end, as far as the table tells.
  struct ObjectPlace {
    __int64 begin = 0;
    __int64 end = 0;
  };
  VEK_LOCAL bool isInFile(int sample) const;
  VEK_LOCAL bool readObjectSample(VekGroupChunk& sobj, int sample, int obj, VekArena* arena);
  VEK_LOCAL bool openForFetching();
  VEK_LOCAL void setAsideObjectJumps();
  VEK_LOCAL void noteVisit(ObjectTable table);
  VEK_LOCAL ObjectTable takeVisit(int sample);
  VEK_LOCAL bool returnTo(int sample);
  VEK_LOCAL bool findObjectTable(ObjectTable& table, int sample);
  VEK_LOCAL bool readObjectJumps(ObjectTable table, int sample);
  VEK_LOCAL bool findObject(ObjectPlace& place, int sample, int obj);
  VEK_LOCAL bool readEntry(ObjectPlace& place, const ObjectTable& table, int obj);
  VEK_LOCAL int lowerBound(float t) const;
  VEK_LOCAL bool definitionHas(int obj, unsigned int tag);
  VEK_LOCAL bool firstSampleHas(int obj, unsigned int tag);
  VEK_LOCAL void outline(int sample, int obj);
  VEK_LOCAL bool outlineChunk(const VekHeader& h);

  ObjectTable m_current;                ///< of objectJumps
  std::vector<ObjectTable> m_visited;   ///< other samples, the last visited first
  int m_outlined = -1;                  ///< the object of m_outline, -1 for none
  std::vector<unsigned int> m_outline;  ///< the tags in its first sample
};

/// A cache that keeps the object samples that were fetched, each read from the file once while it
/// is held.
///
/// With a limit on the number of samples held, the least recently used sample gives way, with all
/// of its objects. What a getter returns is owned by the cache and stays valid until its sample is
/// deleted: by eviction, setMaxSamples(), reset(), load() or the destructor; data from an object's
/// definition until reset(). Getters answer with null or 0 for what is not there or cannot be read.
class VEK_API VekRoMemCache : public VekCache {
 public:
  /// An empty cache without limit.
  VekRoMemCache();
  /// Load a file; `ok`, when given, receives whether that succeeded. A `maxSamples` of 0 or less
  /// is no limit.
  ///@{
  explicit VekRoMemCache(const char* filename, bool keepOpen = true, bool* ok = nullptr);
  VekRoMemCache(const char* filename, bool keepOpen, int maxSamples, bool* ok = nullptr);
  ///@}
  ~VekRoMemCache() override;

  /// Also forgets the limit.
  void reset() override;
  /// As the base class's; the limit stays.
  bool load(const char* filename, bool keepOpen = true) override;
  /// The same with a new limit.
  virtual bool load(const char* filename, bool keepOpen, int maxSamples);

  /// The first child with that tag, at or after child `*position` when given, of an object's data
  /// in a sample. `*position` receives its index, or the number of children when there is none.
  virtual const VekChunk* getSample(int sample, int obj, unsigned int tag, int* position);
  /// An object's data in a sample, a group tagged SOBJ.
  virtual const VekGroupChunk* getSample(int sample, int obj);
  /// The first chunk with that tag in the object's definition, else in its data in the sample.
  /// `*animated`, when given, receives whether it came from the sample.
  virtual const VekChunk* getObjectData(int sample, int obj, unsigned int tag, bool* animated);
  /// The number of points of an object, from the size of its positions.
  virtual int getNumVertices(int sample, int obj);
  /// The values of an attribute: in the sample for an animated one, else in the definition. Null,
  /// and a line on the standard error stream, for an index out of range or a sample without values.
  virtual VekChunk* getAttrData(int sample, int obj, int attr);
  /// Whether getSample() gives null for data that the file holds: it is damaged, or memory is
  /// short.
  bool isUnreadable(int sample, int obj);

  /// The values of the leaf that getSample() finds at exactly that time; null when no sample lies
  /// there or the leaf is of another type. T is one of char, int, __int64, float, double,
  /// std::string.
  template <typename T>
  const std::vector<T>* getSampleDataAtTime(float time, int obj, unsigned int tag, int* position);

  /// Sets the limit; 0 or less is none. Deletes the least recently used samples beyond a limit that
  /// is lower than before; since no limit counts as the lowest, lifting one deletes all samples
  /// that it held. Ignored by a read-write cache, which never evicts.
  void setMaxSamples(int n);
  /// The limit; 0 for none.
  int getMaxSamples() const;

 protected:
  /// An object's data in a sample. Its memory may be the sample's: it is neither moved out of its
  /// place nor released.
  using ObjectSample = VekChunk::Owned<VekGroupChunk>;

  /// The data of a sample's objects by index, in pages that are made when one of their objects is
  /// asked for: holding one object of a hundred thousand costs little.
  ///
  /// What was read for one sample can be read over for another: mostly the objects of both are
  /// built alike, and memory that fits saves making it anew.
  class ObjectSamples {
   public:
    VEK_API ObjectSamples();
    ObjectSamples(const ObjectSamples&) = delete;
    ObjectSamples& operator=(const ObjectSamples&) = delete;
    VEK_API ~ObjectSamples();

    /// One more than the highest index asked for.
    std::size_t size() const { return m_size; }
    /// Empty for an object that is not held.
    VEK_API const ObjectSample& operator[](std::size_t obj) const;
    /// The place of an object's data, made when missing.
    VEK_API ObjectSample& slot(std::size_t obj);

   private:
    friend class VekRoMemCache;

    static constexpr std::size_t pageSize = 64;
    struct Page {
      std::array<ObjectSample, pageSize> objects;
      std::uint64_t stale = 0;   ///< a bit for each object whose data are not this sample's
      std::uint64_t placed = 0;  ///< a bit for each object whose data have been in the arena
    };

    /// The place of an object's data.
    struct Place {
      Place(Page& of, std::size_t obj)
          : page(of), slot(of.objects[obj % pageSize]), bit(std::uint64_t(1) << obj % pageSize) {}
      bool isHeld() const { return slot && (page.stale & bit) == 0; }

      Page& page;
      ObjectSample& slot;
      std::uint64_t bit;  ///< of the object in the page's sets
    };

    VEK_LOCAL Page* findPage(std::size_t number);
    VEK_LOCAL bool holds(std::size_t obj);
    VEK_LOCAL Place place(std::size_t obj);
    VEK_LOCAL VekArena* prepare(const Place& place, bool inArena);
    VEK_LOCAL void markHeld(const Place& place);
    VEK_LOCAL void discard(const Place& place, VekArena* arena);
    VEK_LOCAL bool recycle();

    std::unique_ptr<VekArena> m_arena;    ///< of chunks that were read
    std::map<std::size_t, Page> m_pages;  ///< by number
    Page* m_lastPage = nullptr;           ///< the one used last
    std::size_t m_lastNumber = 0;
    std::size_t m_size = 0;
    std::size_t m_numStale = 0;
    std::size_t m_firstSize = 0;  ///< of the arena when it was first handed on
  };

  /// Loads what is missing of all samples. True even when some could not be read; false when they
  /// come to more than maxLoadPerByte and maxLoadInAnyCase allow.
  bool loadAllSamples();
  /// Loads what is missing of the samples up to and with `last`; false at the first that fails.
  bool loadSamplesNotGreaterThan(int last);
  /// Delete the data of samples that are held; what was handed out of them is invalid then.
  ///@{
  void deleteAllSamples();
  void deleteSample(int sample);
  ///@}
  /// The table's place for an object's data in a sample, made when missing.
  ObjectSample& sampleSlot(int sample, int obj);

  std::vector<std::unique_ptr<ObjectSamples>> sampleTable;  ///< by sample, by object
  int maxSamples = 0;                                       ///< 0 for no limit
  std::list<int> recentSamples;                             ///< most recently used first

 private:
  VEK_LOCAL void noteUse(int sample);
  VEK_LOCAL ObjectSamples& samplesOf(int sample);
  VEK_LOCAL VekGroupChunk* fetch(int sample, int obj);
  VEK_LOCAL std::unique_ptr<ObjectSamples> takeSample(int sample);
  VEK_LOCAL __int64 getLoadRoom();
  VEK_LOCAL bool loadSample(int sample, bool stopAtFailure, __int64& room);
  VEK_LOCAL const VekChunk* findInDefinition(int obj, unsigned int tag);
  VEK_LOCAL const VekChunk* findInSample(int sample, int obj, unsigned int tag);
  VEK_LOCAL VekChunk* getAnimatedAttrData(int sample, int obj, int index);
};

/// So many objects at most are defined by asking for one that is not there: a wrong index must not
/// ask for memory without end. Scenes have some hundred thousand.
constexpr int maxObjects = 1 << 24;

/// A cache that can be edited and saved: build one in memory, or load a file, change it and save.
///
/// A save appends to the file in place when nothing but samples after the last one was added;
/// otherwise it writes the whole file anew, for which all samples are loaded first. Edits are lost
/// when the cache is destroyed, reset or loaded again without a save.
class VEK_API VekRwMemCache : public VekRoMemCache {
 public:
  /// An empty cache, to be built in memory.
  VekRwMemCache();
  /// Loads a file; `ok`, when given, receives the result of load().
  explicit VekRwMemCache(const char* filename, bool keepOpen = true, bool* ok = nullptr);
  ~VekRwMemCache() override;

  /// The data of an object in the sample at `time` (frames), a group tagged SOBJ to add chunks to,
  /// owned by the cache. Object definitions and the sample are made when missing. Data that is
  /// there already comes back as it is, from the file when need be; empty it with reset() to start
  /// over. A new time between or before samples, or one that breaks the spacing, makes the sampling
  /// non-uniform. Null, and nothing changed, for a time that is not finite, an index that is
  /// negative or not below maxObjects, data in the file that cannot be read, or when memory is
  /// short.
  VekGroupChunk* allocSample(float time, int obj);
  /// The data of every object of the cache in the sample at `time`, in their order. A sample after
  /// the last one can be appended in place then, which a second allocSample() for the same time
  /// rules out. False, with `sobjs` as it was, without objects and where allocSample() gives null;
  /// a new sample with some of the objects may then be left.
  bool allocFrame(float time, std::vector<VekGroupChunk*>& sobjs);

  /// Adds the new samples to the file in place. False when the file, its head or the edits do not
  /// allow it, or on a failure. The cache is then whole and dirty, though evenly spaced times may
  /// have become uniform sampling: use save(), which writes the file anew.
  bool append();
  /// Saves under the cache's name; true without doing anything when there are no edits. `written`
  /// and `removed`, when given, receive whether the file was written or deleted.
  bool save(bool* written = nullptr, bool* removed = nullptr);
  /// Saves under a name, which becomes the cache's. A cache without objects deletes the file. After
  /// a failure the file may be incomplete, while the cache is whole and still dirty: save it
  /// elsewhere.
  bool saveAs(const char* filename, bool* written = nullptr, bool* removed = nullptr);

  /// Removes the samples after the first one at or after `time`. Deletes the cache when the time
  /// lies before all of them, or is a NaN.
  void truncate(float time);
  /// Removes all samples and objects and all metadata.
  void deleteCache();
  /// Moves all samples in time, so that the first lies at `time`. In a non-uniform cache only the
  /// time table moves, not the first and last time: readers rely on that, but the file then saved
  /// is refused by load(). So is one that was moved to a time whose neighbours in single precision
  /// lie further apart than its samples.
  void shiftFirstTimeTo(float time);

  /// Names an object; definitions are added until it exists, for an index below maxObjects. A null
  /// name is an empty one.
  void setName(int obj, const char* name);
  /// Change an attribute. False for an object that is not there or has no attributes; throws the
  /// bool value false for an attribute index out of range, as VekDATRChunk does.
  ///@{
  bool setAttrName(int obj, int attr, const std::string& name);
  bool setAttrType(int obj, int attr, const std::string& type);
  ///@}
  /// Set a field of the head, which stays when memory is short. They do not make the cache dirty.
  ///@{
  void setApplication(const std::string& application);
  void setSourceFile(const std::string& sourceFile);
  void setSpace(int space);
  ///@}

  /// How many samples the tables of a section have room for beyond its own: at least 100; 0 stands
  /// for twice the number of samples.
  void setReservedSamples(int n);
  /// Whether there are edits since the last save; load() and reset() leave it as it is.
  bool isDirty() const;

 protected:
  /// Nothing changes when memory is short.
  void convertToNonUniformSampling();
  /// False, and nothing changed, when the times are not evenly spaced.
  bool convertToUniformSampling();

  bool dirty = false;       ///< whether the cache differs from the file
  bool appendable = false;  ///< whether append() can save all edits
  int reservedSamples = 0;  ///< as setReservedSamples() set it

 private:
  struct VEK_LOCAL FileScan;

  VEK_LOCAL void markEdited();
  VEK_LOCAL void markSaved();
  VEK_LOCAL int findOrAddSample(float time, int obj, bool& isNew);
  VEK_LOCAL int addFirstSample(float time, int obj);
  VEK_LOCAL int addLastSample(float time, int obj);
  VEK_LOCAL int insertSample(int sample, float time, int obj);
  VEK_LOCAL VekGroupChunk* allocInSample(int sample, int obj);
  VEK_LOCAL std::unique_ptr<ObjectSamples> newSample(int obj);
  VEK_LOCAL int putSample(int sample, float time, std::unique_ptr<ObjectSamples> objects);
  VEK_LOCAL void defineObjects(int obj);
  VEK_LOCAL bool addObjects(int obj);
  VEK_LOCAL int getNumStored() const;

  VEK_LOCAL bool removeFile(const std::string& path, bool& removed);
  VEK_LOCAL bool rewrite(const std::string& path);
  VEK_LOCAL bool loadAllStored();
  VEK_LOCAL bool holdsAllStored();
  VEK_LOCAL bool writeFile(std::vector<__int64>& jumps);
  VEK_LOCAL void fillSamples(int first);
  VEK_LOCAL void forbidAppend();
  VEK_LOCAL bool writeHead();
  VEK_LOCAL bool writeSamples(VekSAMSChunk& stream, std::vector<__int64>& jumps, int first);
  VEK_LOCAL bool writeSample(VekSAMSChunk& stream, int sample);
  VEK_LOCAL __int64 getReserve() const;

  VEK_LOCAL bool writeEmptyFile();
  VEK_LOCAL bool appendToFile();
  VEK_LOCAL bool scanFile(FileScan& scan);
  VEK_LOCAL bool scanChunk(const VekHeader& h, FileScan& scan);
  VEK_LOCAL bool scanTable(const VekHeader& h, FileScan& scan);
  VEK_LOCAL bool knowsSamples(const FileScan& scan) const;
  VEK_LOCAL bool fitsFile(const FileScan& scan);
  VEK_LOCAL static bool hasRoom(const FileScan& scan, __int64 numNewSamples);
  VEK_LOCAL bool fitsHead(const FileScan& scan);
  VEK_LOCAL bool replaceHead(const FileScan& scan);
  VEK_LOCAL bool startSection(VekSAMSChunk& stream, const FileScan& scan, __int64 numNewSamples);

  bool storedEdited = false;  ///< whether an edit concerns what the file already holds
};

}  // namespace Vek

#endif
