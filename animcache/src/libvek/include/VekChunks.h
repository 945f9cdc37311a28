// SPDX-License-Identifier: Apache-2.0

/// @file
/// The chunk layer of a VEK file: the 16-byte chunk header and its vocabulary, the file reader and
/// writer, and the tree of chunk objects (generic groups, typed leaves, the file's head chunks, the
/// object and attribute definitions, and the writer of the sample stream).
///
/// Unless a comment says otherwise, nothing here throws: a failure is a false, null or -1 result.
/// Only constructors, copies and what returns a string may throw std::bad_alloc. One file or chunk
/// object serves one thread at a time; separate objects are independent.

#ifndef VEK_CHUNKS_H
#define VEK_CHUNKS_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

/// @def VEK_API
/// Marks what the shared library exports. Define VEK_STATIC when linking the static library.
/// @def VEK_LOCAL
/// Marks what it keeps to itself: the private functions of exported classes.
#if defined(_WIN32) && !defined(VEK_STATIC)
#if defined(VEK_BUILDING)
#define VEK_API __declspec(dllexport)
#else
#define VEK_API __declspec(dllimport)
#endif
#define VEK_LOCAL
#elif defined(__GNUC__) && !defined(VEK_STATIC)
#define VEK_API __attribute__((visibility("default")))
#define VEK_LOCAL __attribute__((visibility("hidden")))
#else
#define VEK_API
#define VEK_LOCAL
#endif

// The compatibility name of std::int64_t. A macro, so that "unsigned __int64" works as well.
#if !defined(_MSC_VER) && !defined(__int64)
#if defined(__LP64__) && !defined(__APPLE__) && !defined(__OpenBSD__)
#define __int64 long
#else
#define __int64 long long
#endif
#endif

namespace Vek {

static_assert(std::is_same<__int64, std::int64_t>::value, "__int64 is std::int64_t");

/// Diagnostic level of the process, -1 at the start. Nothing in the library changes it; a caller
/// may. Trace lines go to the standard error stream: 1 the sample stream, 3 names, 5 chunk hooks.
extern VEK_API int verbosity;

/// Names of the value types, indexed by VekHeader::type.
extern VEK_API const char* const vekTypeNames[7];
/// Names of the compound kinds, indexed by VekHeader::compound.
extern VEK_API const char* const vekCompoundNames[7];
/// Names of the dimensions, indexed by the number of components of one element; counts without a
/// name of their own hold an empty string, so that the count indexes the table directly.
extern VEK_API const char* const vekDimensionNames[17];

/// The 32-bit tag of four characters, the first in the lowest byte.
constexpr unsigned int makeTag(char a, char b, char c, char d) {
  return static_cast<unsigned int>(static_cast<unsigned char>(a)) |
         static_cast<unsigned int>(static_cast<unsigned char>(b)) << 8 |
         static_cast<unsigned int>(static_cast<unsigned char>(c)) << 16 |
         static_cast<unsigned int>(static_cast<unsigned char>(d)) << 24;
}

/// Tags of the format.
namespace Tag {
// File structure.
constexpr unsigned int DVEK = makeTag('D', 'V', 'E', 'K');  ///< file header
constexpr unsigned int META = makeTag('M', 'E', 'T', 'A');  ///< metadata of the file
constexpr unsigned int WAPP = makeTag('W', 'A', 'P', 'P');  ///< writing application
constexpr unsigned int SFIL = makeTag('S', 'F', 'I', 'L');  ///< source file
constexpr unsigned int DATE = makeTag('D', 'A', 'T', 'E');  ///< date stamp
constexpr unsigned int NSAM = makeTag('N', 'S', 'A', 'M');  ///< number of samples
constexpr unsigned int FTIM = makeTag('F', 'T', 'I', 'M');  ///< first sample time
constexpr unsigned int LTIM = makeTag('L', 'T', 'I', 'M');  ///< last sample time
constexpr unsigned int RATE = makeTag('R', 'A', 'T', 'E');  ///< samples per frame, 0 non-uniform
constexpr unsigned int SPAC = makeTag('S', 'P', 'A', 'C');  ///< coordinate space
constexpr unsigned int NOBJ = makeTag('N', 'O', 'B', 'J');  ///< number of objects
constexpr unsigned int DOBJ = makeTag('D', 'O', 'B', 'J');  ///< object definition
constexpr unsigned int NAME = makeTag('N', 'A', 'M', 'E');  ///< object or attribute names
constexpr unsigned int TYPE = makeTag('T', 'Y', 'P', 'E');  ///< attribute type names
constexpr unsigned int DATR = makeTag('D', 'A', 'T', 'R');  ///< attribute definitions
constexpr unsigned int SATR = makeTag('S', 'A', 'T', 'R');  ///< static attributes
constexpr unsigned int AATR = makeTag('A', 'A', 'T', 'R');  ///< animated attributes
constexpr unsigned int ATRS = makeTag('A', 'T', 'R', 'S');  ///< attribute values
constexpr unsigned int ATTR = makeTag('A', 'T', 'T', 'R');  ///< values of one attribute
constexpr unsigned int SAMS = makeTag('S', 'A', 'M', 'S');  ///< sample stream
constexpr unsigned int TIMS = makeTag('T', 'I', 'M', 'S');  ///< time table
constexpr unsigned int JSAM = makeTag('J', 'S', 'A', 'M');  ///< jump table of the samples
constexpr unsigned int SAMP = makeTag('S', 'A', 'M', 'P');  ///< one sample
constexpr unsigned int JOBJ = makeTag('J', 'O', 'B', 'J');  ///< jump table of the objects
constexpr unsigned int SOBJ = makeTag('S', 'O', 'B', 'J');  ///< one object in one sample
constexpr unsigned int FREE = makeTag('F', 'R', 'E', 'E');  ///< reserved or dead space
// Object data.
constexpr unsigned int POSI = makeTag('P', 'O', 'S', 'I');  ///< point positions
constexpr unsigned int VELO = makeTag('V', 'E', 'L', 'O');  ///< point velocities
constexpr unsigned int BBOX = makeTag('B', 'B', 'O', 'X');  ///< bounding box
constexpr unsigned int XFRM = makeTag('X', 'F', 'R', 'M');  ///< marks a transform
constexpr unsigned int MESH = makeTag('M', 'E', 'S', 'H');  ///< marks a mesh
constexpr unsigned int ELOC = makeTag('E', 'L', 'O', 'C');  ///< marks a locator
constexpr unsigned int LXCS = makeTag('L', 'X', 'C', 'S');  ///< marks a coordinate system
constexpr unsigned int NRBS = makeTag('N', 'R', 'B', 'S');  ///< marks a NURBS surface
constexpr unsigned int NRBC = makeTag('N', 'R', 'B', 'C');  ///< marks a NURBS curve
constexpr unsigned int MTRX = makeTag('M', 'T', 'R', 'X');  ///< 4x4 matrix
constexpr unsigned int MTRO = makeTag('M', 'T', 'R', 'O');  ///< rotate order
constexpr unsigned int INHT = makeTag('I', 'N', 'H', 'T');  ///< inherits the parent's transform
constexpr unsigned int DEGR = makeTag('D', 'E', 'G', 'R');  ///< NURBS degree
constexpr unsigned int FORM = makeTag('F', 'O', 'R', 'M');  ///< NURBS form
constexpr unsigned int KNTU = makeTag('K', 'N', 'T', 'U');  ///< knots in U
constexpr unsigned int KNTV = makeTag('K', 'N', 'T', 'V');  ///< knots in V
constexpr unsigned int PCNT = makeTag('P', 'C', 'N', 'T');  ///< vertex count of each face
constexpr unsigned int PIDS = makeTag('P', 'I', 'D', 'S');  ///< point index of each face vertex
constexpr unsigned int NCNT = makeTag('N', 'C', 'N', 'T');  ///< normal count of each face
constexpr unsigned int NIDS = makeTag('N', 'I', 'D', 'S');  ///< normal index of each face vertex
constexpr unsigned int PONO = makeTag('P', 'O', 'N', 'O');  ///< face normals
constexpr unsigned int VPNO = makeTag('V', 'P', 'N', 'O');  ///< point normals
constexpr unsigned int MSPT = makeTag('M', 'S', 'P', 'T');  ///< mesh type
}  // namespace Tag

/// Values of VekHeader::type.
namespace ValueType {
constexpr unsigned char Undef = 0;   ///< raw bytes
constexpr unsigned char Group = 1;   ///< child chunks
constexpr unsigned char String = 2;  ///< NUL-terminated strings, one after another
constexpr unsigned char Int32 = 3;   ///< signed 32-bit integers
constexpr unsigned char Float = 4;   ///< 32-bit IEEE floats
constexpr unsigned char Int64 = 5;   ///< signed 64-bit integers
constexpr unsigned char Double = 6;  ///< 64-bit IEEE doubles
}  // namespace ValueType

/// Values of VekHeader::compound.
namespace Compound {
constexpr unsigned char Undef = 0;      ///< does not apply
constexpr unsigned char Point = 1;      ///< moves with a transform
constexpr unsigned char Vector = 2;     ///< a direction with a length
constexpr unsigned char Normal = 3;     ///< a direction at right angles to a surface
constexpr unsigned char Transform = 4;  ///< a matrix
constexpr unsigned char Color = 5;      ///< red, green, blue
constexpr unsigned char Compound = 6;   ///< anything else of several components
}  // namespace Compound

/// The deepest nesting of non-empty groups that a reader follows. Scenes nest fewer than ten; the
/// limit keeps the recursion over a damaged file within 512 KiB of stack.
constexpr unsigned int maxGroupNesting = 1024;

/// The 16 bytes in front of every chunk's payload; the record in memory is the image in the file.
struct VEK_API VekHeader {
  unsigned int tag = Tag::FREE;  ///< four characters, the first in the lowest byte
  unsigned char type = 0;        ///< value type of the payload (ValueType)
  unsigned char compound = 0;    ///< what the values mean (Compound), 0 when not applicable
  unsigned char dimension = 0;   ///< components per element, 0 when not applicable
  unsigned char reserved = 0;    ///< 0 in every header that the library builds
  __int64 length = 0;            ///< payload size in bytes, without these 16

  /// A free (filler) chunk of no length.
  VekHeader() = default;
  /// Note the order: the length stands before compound and dimension.
  VekHeader(unsigned int tag, unsigned char type, __int64 length, unsigned char compound = 0,
            unsigned char dimension = 0);
  /// Sets all fields but the reserved byte.
  void set(unsigned int tag, unsigned char type, __int64 length, unsigned char compound = 0,
           unsigned char dimension = 0);

  /// The tag's characters, cut at the first zero byte.
  std::string tagStr() const;
  /// The names of the value type, the compound kind and the dimension; empty for a byte outside the
  /// table.
  ///@{
  std::string typeStr() const;
  std::string compoundStr() const;
  std::string dimensionStr() const;
  ///@}

  /// Writes "TAG type (length)" and, when they are not 0, the compound and dimension names, each
  /// after a blank, without a line end: "ABCD float (12) point 3d".
  std::ostream& print(std::ostream& os) const;
};

static_assert(sizeof(VekHeader) == 16, "a header is its own image in the file");

/// A chunk file: one C stream and the stack of the groups open at its position.
///
/// Use one object either for reading or for writing a tree at a time: both directions share the
/// stack. While writing, the stack holds where each open group's payload begins; while reading,
/// where it ends, and groups are closed by themselves when the position reaches their end.
///
/// A copy shares the stream and takes its own copy of the stack: closing or destroying either one
/// closes the stream for both.
class VEK_API VekFile {
 public:
  /// A closed file.
  VekFile();
  /// Opens as open() does; `ok`, when given, receives the result.
  VekFile(const char* path, const char* mode, bool* ok = nullptr);
  /// A copy shares the stream and has its own position in the tree, the stack of groups.
  ///@{
  VekFile(const VekFile& other);
  VekFile& operator=(const VekFile& other);
  ///@}
  /// Closes the stream, for its copies as well.
  virtual ~VekFile();

  /// Closes what is open, then opens `path` with the C library's `mode` ("r", "r+", "w"), always
  /// as a binary file. False when the file cannot be opened or an argument is null, and for what
  /// cannot be positioned: pipes and terminals.
  bool open(const char* path, const char* mode);
  /// Closes what is open, then opens no file: whatever is written is only counted, and tell() gives
  /// the position that it would have in a file. False when memory is short.
  bool openCounting();
  /// Closes the stream and empties the group stack. True when there was nothing to close; false
  /// when the C library reports that data could not be written.
  bool close();
  /// Whether there is a file, or one is counted, to read from or write to.
  bool isOpen() const;
  /// Number of groups open at the current position.
  unsigned __int64 getLevel() const;

  /// Moves the position; `whence` is 0 from the start, 1 from the position, 2 from the end. With
  /// `clearGroups` the group stack is emptied first. False when closed or the seek fails.
  bool seek(__int64 offset, int whence, bool clearGroups);
  /// The current offset, -1 when closed. `ok`, when given, receives whether the file is open.
  __int64 tell(bool* ok = nullptr);
  /// Back to offset 0, the group stack untouched. False when closed.
  bool rewind();

  /// Whether the path exists; whether this process may read it; whether it may write it.
  ///@{
  static bool exists(const char* path);
  static bool isReadable(const char* path);
  static bool isWritable(const char* path);
  ///@}
  /// Whether the file begins with a header tagged DVEK. Nothing else of it is checked.
  static bool isVekFile(const char* path);

  /// Reads 16 bytes into `h` and opens the group when it is one that is not empty. False at the
  /// end of the file, for a group of negative length or one nested deeper than maxGroupNesting.
  bool readHeader(VekHeader& h);
  /// Moves past the payload of `h`. False for a negative length.
  bool skipData(const VekHeader& h);
  /// Reads the payload into `buffer`, which has room for `h.length` bytes; skips it when null.
  bool readData(const VekHeader& h, void* buffer);
  /// Reads the payload up to its first NUL. `s` is empty after a failure.
  bool readData(const VekHeader& h, std::string& s);
  /// Reads one string per NUL-terminated run; the last one may lack its NUL. `v` is empty after a
  /// failure.
  bool readData(const VekHeader& h, std::vector<std::string>& v);
  /// Reads the payload behind the elements that `v` holds. False, with `v` as it was, when the
  /// length is no multiple of the element size, is negative or runs past the end of the file
  /// (nothing is read or allocated then), when memory is short or the read fails. T is one of
  /// char, int, __int64, float, double.
  template <typename T>
  bool appendData(const VekHeader& h, std::vector<T>& v);
  /// The same in place of the elements that `v` holds, whose memory is used again where it has the
  /// size. `v` is empty after a failure.
  template <typename T>
  bool readData(const VekHeader& h, std::vector<T>& v);

  /// Writes a header and `h.length` bytes of payload. With null `data` the payload is left as a
  /// hole. With an `offset` of 0 or more the chunk goes there and the position stays; else it goes
  /// to the position, which then stands after it.
  bool writeChunk(const VekHeader& h, const void* data, __int64 offset = -1);
  /// Writes a string chunk of one string and its NUL. False for a null string.
  ///@{
  bool writeChunk(unsigned int tag, const char* s);
  bool writeChunk(unsigned int tag, const std::string& s, __int64 offset = -1,
                  unsigned char compound = 0, unsigned char dimension = 0);
  ///@}
  /// Writes a string chunk: each string and a NUL. A string that holds a NUL reads back as two.
  bool writeChunk(unsigned int tag, const std::vector<std::string>& v, __int64 offset = -1,
                  unsigned char compound = 0, unsigned char dimension = 0);
  /// Write a numeric chunk with the value type of the elements.
  ///@{
  bool writeChunk(unsigned int tag, const std::vector<int>& v, __int64 offset = -1,
                  unsigned char compound = 0, unsigned char dimension = 0);
  bool writeChunk(unsigned int tag, const std::vector<__int64>& v, __int64 offset = -1,
                  unsigned char compound = 0, unsigned char dimension = 0);
  bool writeChunk(unsigned int tag, const std::vector<float>& v, __int64 offset = -1,
                  unsigned char compound = 0, unsigned char dimension = 0);
  bool writeChunk(unsigned int tag, const std::vector<double>& v, __int64 offset = -1,
                  unsigned char compound = 0, unsigned char dimension = 0);
  ///@}

  /// Writes a group's header, whose length is a placeholder, and opens the group.
  bool startGroup(const VekHeader& h);
  /// Patches the length of the innermost open group and closes it. False when none is open; a
  /// group whose length could not be written stays open.
  bool endGroup();

 private:
  friend class VekCache;
  friend class VekGroupChunk;
  class VEK_LOCAL Stream;

  template <typename T>
  VEK_LOCAL bool writeVector(unsigned int tag, const std::vector<T>& v, __int64 offset,
                             unsigned char compound, unsigned char dimension);
  VEK_LOCAL void expect(__int64 length);
  VEK_LOCAL bool holds(__int64 length);
  VEK_LOCAL bool canRead(const VekHeader& h);
  VEK_LOCAL const char* peek(__int64 length);
  VEK_LOCAL const char* readText(const VekHeader& h);
  template <typename T>
  VEK_LOCAL bool readElements(const VekHeader& h, std::vector<T>& v, std::size_t kept);
  VEK_LOCAL bool openGroup(__int64 length);
  VEK_LOCAL bool pushGroup(__int64 offset);
  VEK_LOCAL void closeFinishedGroups();

  std::shared_ptr<Stream> m_stream;
  std::vector<__int64> m_groups;
  std::vector<char> m_scratch;
};

class VekArena;
class VekGroupChunk;

/// @cond
/// Takes memory from an arena, which frees it at its end, or without one from the heap.
template <typename T>
struct VekArenaAllocator {
  using value_type = T;

  explicit VekArenaAllocator(VekArena* from = nullptr) noexcept : arena(from) {}
  template <typename U>
  explicit VekArenaAllocator(const VekArenaAllocator<U>& other) noexcept : arena(other.arena) {}
  T* allocate(std::size_t count);
  void deallocate(T* p, std::size_t count) noexcept;

  VekArena* arena;
};
template <typename T, typename U>
bool operator==(const VekArenaAllocator<T>& a, const VekArenaAllocator<U>& b) noexcept {
  return a.arena == b.arena;
}
template <typename T, typename U>
bool operator!=(const VekArenaAllocator<T>& a, const VekArenaAllocator<U>& b) noexcept {
  return !(a == b);
}
/// @endcond

/// Base of all chunk objects: a header, and a payload that is skipped when read.
class VEK_API VekChunk {
 public:
  /// A FREE chunk of no length.
  VekChunk();
  /// A chunk with that header and nothing behind it.
  explicit VekChunk(const VekHeader& h);
  /// A copy is no child of the original's group.
  ///@{
  VekChunk(const VekChunk& other);
  VekChunk& operator=(const VekChunk& other);
  ///@}
  virtual ~VekChunk();

  /// Returns the chunk to its empty state.
  virtual void reset();
  /// Payload size in bytes, without the 16-byte header.
  virtual __int64 getLength();
  /// Reads the payload of `h`, which the file has just read. False when tag or type differ from
  /// the chunk's own, or the payload is damaged.
  virtual bool read(const VekHeader& h, VekFile& f);
  /// Writes header and payload at the file's position.
  virtual bool write(VekFile& f) const;
  /// Writes `indent` times ". ", the header and " : ", then what the chunk holds.
  virtual std::ostream& print(std::ostream& os, int indent) const;

  /// Fields of the header, and the header.
  ///@{
  unsigned int getTag() const { return header.tag; }
  unsigned char getType() const { return header.type; }
  unsigned char getCompound() const { return header.compound; }
  unsigned char getDimension() const { return header.dimension; }
  VekHeader getHeader() const { return header; }
  ///@}
  /// Marks the chunk as dead: copy() leaves it out and readers skip it.
  void free();

  /// An empty chunk for a header read from a file: a leaf of the value type, a generic group, or
  /// for an unknown type a chunk that skips its payload. Owned by the caller; null when memory is
  /// short.
  static VekChunk* create(unsigned int tag, unsigned char type);
  /// A deep copy, owned by the caller. Groups become generic groups of their generic children.
  /// Null for a null or FREE chunk, for raw bytes and unknown types, and when memory is short.
  static VekChunk* copy(const VekChunk* c);

 protected:
  VekHeader header;  ///< as read or made; its length may lag behind the data of a leaf

 private:
  friend class VekCache;
  friend class VekGroupChunk;
  friend class VekRoMemCache;

  /// Destroys a chunk. Its memory is freed as well unless an arena does that.
  struct Release {
    void operator()(VekChunk* c) const {
      if (c->m_inArena)
        c->~VekChunk();
      else
        delete c;
    }
  };
  template <typename Class>
  using Owned = std::unique_ptr<Class, Release>;

  template <typename Class, typename... Arguments>
  VEK_LOCAL static Owned<VekChunk> make(VekArena* arena, const Arguments&... arguments);
  VEK_LOCAL static Owned<VekChunk> makeFor(unsigned int tag, unsigned char type, VekArena* arena);
  VEK_LOCAL static std::unique_ptr<VekChunk> copyChunk(const VekChunk* c);
  VEK_LOCAL static std::unique_ptr<VekChunk> copyGroup(const VekGroupChunk* group);

  bool m_isChild = false;  ///< of a group
  bool m_inArena = false;
};

/// A chunk that holds other chunks. It owns its children.
class VEK_API VekGroupChunk : public VekChunk {
 public:
  /// An empty group, tagged FREE when no tag is given.
  ///@{
  VekGroupChunk();
  explicit VekGroupChunk(unsigned int tag);
  ///@}
  VekGroupChunk(const VekGroupChunk&) = delete;
  VekGroupChunk& operator=(const VekGroupChunk&) = delete;
  ~VekGroupChunk() override;

  /// Removes all children.
  void reset() override;
  /// Computed from the children: 16 and the length of each.
  __int64 getLength() override;
  /// Reads all children. The group is meant to be new or reset: children from before are dropped
  /// from the list, not destroyed, and belong to whoever still points to them (not those of
  /// a sample that a read-only cache holds, whose memory goes with the sample). After a failure the
  /// children read so far stay.
  bool read(const VekHeader& h, VekFile& f) override;
  /// Writes the group: what a subclass keeps for itself first, then the generic children.
  bool write(VekFile& f) const override;
  /// Prints the group's line and one line for each child.
  std::ostream& print(std::ostream& os, int indent) const override;
  /// Destroys every child.
  virtual void removeAllChildren();

 protected:
  /// Lets a subclass claim a child that it stores itself: sets `handled` and returns whether the
  /// read succeeded. Leaves `handled` false for a generic child.
  virtual bool readChild(const VekHeader& h, VekFile& f, bool& handled);
  /// Lets a subclass write its own members before the generic children.
  virtual bool writeChildren(VekFile& f) const;
  /// Lets a subclass print its own members before the generic children.
  virtual std::ostream& printChildren(std::ostream& os, int indent) const;

 public:
  /// Appends `c` and takes ownership of it. When memory is short it is destroyed instead, and
  /// numChildren() stays. A chunk that a group owns already, this group and a group around it are
  /// left alone: no chunk can be destroyed twice.
  void addChild(VekChunk* c);
  /// The number of children.
  unsigned __int64 numChildren() const;
  /// The i-th child, owned by the group; null outside the list.
  ///@{
  VekChunk* getChild(unsigned __int64 i);
  const VekChunk* getChild(unsigned __int64 i) const;
  ///@}
  /// Index of the first child with that tag at or after `start`; numChildren() when there is none.
  unsigned __int64 findChild(unsigned int tag, unsigned __int64 start = 0) const;
  /// Destroys the i-th child and closes the gap; nothing outside the list.
  void removeChild(unsigned __int64 i);
  /// Destroys the children in [first, last) and closes the gap. A range as long as the whole list
  /// removes all children wherever it begins; callers rely on it.
  void removeChildren(unsigned __int64 first, unsigned __int64 last);

 private:
  friend class VekChunk;
  friend class VekCache;

  VEK_LOCAL VekGroupChunk(unsigned int tag, VekArena* arena);
  VEK_LOCAL void append(Owned<VekChunk> child);
  VEK_LOCAL void adopt(VekChunk& child);
  VEK_LOCAL static VekGroupChunk* asGroup(VekChunk* chunk);
  VEK_LOCAL void dropChildren();
  VEK_LOCAL bool readOver(const VekHeader& h, VekFile& f, VekArena* arena);
  VEK_LOCAL bool readChildren(VekFile& f, VekArena* arena);
  VEK_LOCAL bool readNextChild(VekFile& f, VekArena* arena, std::size_t& count);
  VEK_LOCAL static bool readChunkOver(VekChunk& chunk, const VekHeader& h, VekFile& f,
                                      VekArena* arena);
  VEK_LOCAL VekChunk& placeChild(std::size_t i, const VekHeader& h, VekArena* arena);
  VEK_LOCAL void takeChildren(const char* image, __int64 length, VekArena* arena);
  VEK_LOCAL static void takeChild(VekChunk& child, const VekHeader& h, const char* payload,
                                  VekArena* arena);

  std::vector<Owned<VekChunk>, VekArenaAllocator<Owned<VekChunk>>> m_children;
  const VekGroupChunk* m_parent = nullptr;  ///< the group whose child this is
};

/// The value type (ValueType) of the elements of a leaf, in the constant `value`: Undef for char,
/// String for std::string, Int32 for int, Float for float, Int64 for __int64, Double for double.
template <typename T>
struct VekTypeOf;
/// @cond
template <>
struct VekTypeOf<char> {
  static constexpr unsigned char value = ValueType::Undef;
};
template <>
struct VekTypeOf<std::string> {
  static constexpr unsigned char value = ValueType::String;
};
template <>
struct VekTypeOf<int> {
  static constexpr unsigned char value = ValueType::Int32;
};
template <>
struct VekTypeOf<float> {
  static constexpr unsigned char value = ValueType::Float;
};
template <>
struct VekTypeOf<__int64> {
  static constexpr unsigned char value = ValueType::Int64;
};
template <>
struct VekTypeOf<double> {
  static constexpr unsigned char value = ValueType::Double;
};
/// @endcond

/// A chunk of values. T is one of char (raw bytes), int, __int64, float, double, std::string.
template <typename T>
class VekLeafChunk : public VekChunk {
 public:
  /// An empty leaf.
  explicit VekLeafChunk(unsigned int tag);
  /// A leaf with a copy of the values.
  VekLeafChunk(unsigned int tag, unsigned char compound, unsigned char dimension,
               const std::vector<T>& values);
  /// The same without compound kind and dimension.
  VekLeafChunk(unsigned int tag, const std::vector<T>& values);

  /// Empties the data; the header stays.
  void reset() override;
  /// The length last read or set, not the size of the data: see setData().
  __int64 getLength() override;
  bool read(const VekHeader& h, VekFile& f) override;
  /// Writes the data with their true length.
  bool write(VekFile& f) const override;
  /// Prints every value followed by a blank. Leaves the stream's precision at 8 for a float leaf
  /// and at 16 for a double leaf.
  std::ostream& print(std::ostream& os, int indent) const override;

  /// Replaces the values and keeps the stored length in step with them.
  void setData(std::vector<T> values);
  /// Sets the stored length to the size of the data, after `data` was changed directly: the
  /// lengths that groups compute are wrong until then.
  void updateLength();

  /// The values, for example x y z of each point one after another.
  std::vector<T> data;
};

extern template class VEK_API VekLeafChunk<char>;
extern template class VEK_API VekLeafChunk<int>;
extern template class VEK_API VekLeafChunk<__int64>;
extern template class VEK_API VekLeafChunk<float>;
extern template class VEK_API VekLeafChunk<double>;
extern template class VEK_API VekLeafChunk<std::string>;

/// The chunk as a leaf of T, null when it is null or another kind of chunk:
/// `if (auto* leaf = asLeaf<float>(definition.getStaticData(i))) leaf->setData({1.0F});`
///@{
template <typename T>
VekLeafChunk<T>* asLeaf(VekChunk* c) {
  return dynamic_cast<VekLeafChunk<T>*>(c);
}
template <typename T>
const VekLeafChunk<T>* asLeaf(const VekChunk* c) {
  return dynamic_cast<const VekLeafChunk<T>*>(c);
}
///@}

/// The file header: the first chunk of every file.
class VEK_API VekDVEKChunk : public VekChunk {
 public:
  /// The current format version, 2.
  VekDVEKChunk();
  /// Another version, for what pretends to be an older or a newer file.
  explicit VekDVEKChunk(__int64 version);

  void reset() override;
  bool read(const VekHeader& h, VekFile& f) override;
  bool write(VekFile& f) const override;
  std::ostream& print(std::ostream& os, int indent) const override;

  __int64 version;  ///< format version
};

/// Names and types of a list of attributes: entry i of both describes attribute i.
class VEK_API VekAttrListChunk : public VekGroupChunk {
 public:
  /// Empties both lists and removes all children.
  void reset() override;
  /// Counts the headers of NAME and TYPE whenever there are names, even when TYPE is not written;
  /// readers and writers of the format rely on the count.
  __int64 getLength() override;

 protected:
  /// An empty list.
  explicit VekAttrListChunk(unsigned int tag);
  bool readChild(const VekHeader& h, VekFile& f, bool& handled) override;
  bool writeChildren(VekFile& f) const override;
  std::ostream& printChildren(std::ostream& os, int indent) const override;

 public:
  /// Erases the names and types in [first, last); what lies past the end is ignored.
  virtual void remove(unsigned __int64 first, unsigned __int64 last);

  /// Adds an entry to both lists, which stay in step.
  void append(std::string name, std::string type);
  /// The type of attribute i; empty when the list of a damaged file is too short.
  const std::string& typeAt(std::size_t i) const;
  /// Does nothing for an index beyond the names.
  void setTypeAt(std::size_t i, std::string type);

  std::vector<std::string> names;  ///< by attribute
  /// Free text, chosen by the writer. Mutable, since writing brings it to the length of the names.
  mutable std::vector<std::string> types;
};

/// The static attributes of an object.
class VEK_API VekSATRChunk : public VekAttrListChunk {
 public:
  VekSATRChunk();
  ~VekSATRChunk() override;
};

/// The animated attributes of an object.
class VEK_API VekAATRChunk : public VekAttrListChunk {
 public:
  VekAATRChunk();
  ~VekAATRChunk() override;
};

/// The values of an object's static attributes: child i holds those of static attribute i.
class VEK_API VekATRSChunk : public VekGroupChunk {
 public:
  VekATRSChunk();
  ~VekATRSChunk() override;
};

/// The attributes of one object.
///
/// An index counts the animated attributes first, then the static ones. Every operation that takes
/// one prints a line to the standard output stream and throws the bool value false when it lies
/// outside [0, getNumAttrs()).
class VEK_API VekDATRChunk : public VekGroupChunk {
 public:
  VekDATRChunk();

  void reset() override;
  __int64 getLength() override;

 protected:
  bool readChild(const VekHeader& h, VekFile& f, bool& handled) override;
  bool writeChildren(VekFile& f) const override;
  std::ostream& printChildren(std::ostream& os, int indent) const override;

 public:
  /// The numbers of all attributes, of those with values in the samples, and of the others.
  ///@{
  int getNumAttrs() const;
  int getNumAnimatedAttrs() const;
  int getNumStaticAttrs() const;
  ///@}

  /// Adds an attribute and returns its index; -1 for a value type that attributes cannot have (an
  /// animated one is refused only for the group type). An animated attribute shifts the index of
  /// every static one. The values of a static attribute are set through getStaticData().
  int addAttr(const bool& animated, const std::string& name, const std::string& typeName,
              unsigned char type, unsigned char compound = 0, unsigned char dimension = 0);
  /// Adds an animated attribute, whose values stand in the samples.
  void addAnimatedAttribute(const std::string& name, const std::string& typeName);

  /// Whether attribute i is animated.
  bool isAnimated(int i) const;
  /// Position of an animated attribute's values in a sample, -1 for a static attribute.
  int getAnimatedDataIndex(int i) const;
  /// The values of a static attribute, a leaf of its value type owned by this chunk; null for an
  /// animated attribute. To fill it:
  /// `if (auto* leaf = asLeaf<float>(d.getStaticData(i))) leaf->setData(values);`
  VekChunk* getStaticData(int i) const;
  /// The name and the type name of attribute i, valid until the attributes change.
  ///@{
  const std::string& getAttrName(int i) const;
  const std::string& getAttrType(int i) const;
  ///@}
  /// Change them; false when memory is short.
  ///@{
  bool setAttrName(int i, const std::string& name);
  bool setAttrType(int i, const std::string& typeName);
  ///@}
  /// Index of the attribute with exactly that name, an animated one before a static one; else -1.
  int findAttr(const std::string& name) const;

  /// Removes `count` static attributes from `first` on. False, and nothing changed, when `first`
  /// is animated or the range runs past the last attribute.
  bool removeStaticAttrs(int first, int count);
  /// Removes `count` - 1 animated attributes from `first` on and returns `first`; -1 when it is
  /// static. The range ends one before removeStaticAttrs()'s; callers rely on both.
  int removeAnimatedAttrs(int first, int count);

  /// Adds the static attributes of `from` whose names this object lacks, values included; when
  /// memory is short those up to where it was.
  void mergeStaticAttributes(const VekDATRChunk* from);

  VekSATRChunk satr;  ///< names and types of the static attributes
  VekAATRChunk aatr;  ///< names and types of the animated attributes
  VekATRSChunk atrs;  ///< values of the static attributes

 private:
  VEK_LOCAL void checkIndex(int i) const;
  VEK_LOCAL std::size_t staticIndex(int i) const;
  VEK_LOCAL bool appendStatic(const std::string& name, const std::string& typeName,
                              std::unique_ptr<VekChunk> values);
  VEK_LOCAL void mergeStaticAttribute(const VekDATRChunk& from, int i);
};

/// The definition of one object: its name and attributes.
class VEK_API VekDOBJChunk : public VekGroupChunk {
 public:
  VekDOBJChunk();
  /// A null name counts as empty.
  explicit VekDOBJChunk(const char* name);
  ~VekDOBJChunk() override;

  void reset() override;
  __int64 getLength() override;
  /// Destroys the attributes as well.
  void removeAllChildren() override;

 protected:
  bool readChild(const VekHeader& h, VekFile& f, bool& handled) override;
  bool writeChildren(VekFile& f) const override;
  std::ostream& printChildren(std::ostream& os, int indent) const override;

 public:
  /// The full path name.
  std::string getName();
  /// The attributes, owned by this chunk; null when there are none.
  ///@{
  VekDATRChunk* getDATR();
  const VekDATRChunk* getDATR() const;
  ///@}
  /// The attributes, made when missing.
  VekDATRChunk* addDATR();
  /// Destroys the attributes.
  void removeDATR();

  /// As in VekDATRChunk, which is made when missing.
  int addAttr(const bool& animated, const std::string& name, const std::string& typeName,
              unsigned char type, unsigned char compound = 0, unsigned char dimension = 0);
  /// As in VekDATRChunk, its index check included; without attributes 0, -1, false and "".
  ///@{
  int getNumAttrs() const;
  int findAttr(const std::string& name) const;
  bool isAttrAnimated(int i) const;
  std::string getAttrName(int i) const;
  std::string getAttrType(int i) const;
  bool setAttrName(int i, const std::string& name);
  bool setAttrType(int i, const std::string& typeName);
  ///@}

  std::string name;    ///< full path name, components separated by "|"
  VekDATRChunk* datr;  ///< owned; null when the object has no attributes
};

/// The metadata of a file: its samples in time, its origin and its objects.
class VEK_API VekMETAChunk : public VekGroupChunk {
 public:
  VekMETAChunk();
  ~VekMETAChunk() override;

  /// Restores every default and removes all objects and children.
  void reset() override;
  /// Counts application, source file and date whether or not they are written, and no generic
  /// children; the true size on disk comes from the file.
  __int64 getLength() override;
  /// Removes the objects as well.
  void removeAllChildren() override;

 protected:
  bool readChild(const VekHeader& h, VekFile& f, bool& handled) override;
  bool writeChildren(VekFile& f) const override;
  std::ostream& printChildren(std::ostream& os, int indent) const override;

 public:
  /// Destroys every object definition.
  void removeAllDOBJs();
  /// Appends an object definition, owned by this chunk; its index is the previous count. A null
  /// name counts as empty.
  VekDOBJChunk* addDOBJ(const char* name);
  /// The number of object definitions.
  __int64 getNumObjects() const;

  __int64 numSamples = 0;                                    ///< in all streams together
  float firstTime = std::numeric_limits<float>::infinity();  ///< frames
  float lastTime = -std::numeric_limits<float>::infinity();  ///< frames
  float rate = 1.0F;                 ///< samples per frame; 0 for non-uniform sampling
  __int64 space = 1;                 ///< coordinate space: 0 world, 1 object
  std::vector<VekDOBJChunk*> dobjs;  ///< object definitions, owned
  std::string application;           ///< that wrote the file; empty for none
  std::string sourceFile;            ///< scene that was written; empty for none
  __int64 dateStamp = 0;             ///< seconds since 1970, 0 for none

 private:
  VEK_LOCAL void* numberFor(const VekHeader& h);
  VEK_LOCAL std::string* textFor(const VekHeader& h);
  VEK_LOCAL bool readDOBJ(const VekHeader& h, VekFile& f);
};

/// Writer of a file's sample stream: jump and time tables in front, then sample after sample,
/// straight to the file. It is never part of a chunk tree.
///
/// Order of calls: writeStart() or appendStart(); for each sample in time order
/// writeStartSAMPChunk(), for each object in definition order writeSOBJChunk() or the pair
/// writeStartSOBJChunk() and writeEndSOBJChunk(), then writeEndSAMPChunk(); at last writeEnd().
class VEK_API VekSAMSChunk : public VekGroupChunk {
 public:
  VekSAMSChunk();

  /// Empties the tables and forgets the offsets and positions.
  void reset() override;
  /// Always false: readers walk the stream through VekFile.
  bool read(const VekHeader& h, VekFile& f) override;
  bool write(VekFile& f) const override;

  /// Begins a stream for `numSamples` samples at the position, with room for `reserve` more.
  /// `writeTimes` is true exactly for non-uniform sampling.
  bool writeStart(VekFile& f, __int64 numSamples, __int64 reserve, bool writeTimes);
  /// Reopens a stream for more samples: the file is open for reading and writing and stands at the
  /// SAMS header of its last section. False when the tables have no room for them; what was
  /// written before the failing step stays, the length of SAMS then being 0 in the file.
  bool appendStart(VekFile& f, __int64 numNewSamples);
  /// Begins the next sample. `time` (frames) enters the time table; null for uniform sampling.
  bool writeStartSAMPChunk(VekFile& f, __int64 numObjects, const float* time);
  /// Writes the next object of the sample: a group tagged SOBJ.
  bool writeSOBJChunk(VekFile& f, const VekGroupChunk* sobj);
  /// Begin and end the next object, whose data chunks the caller writes to the file in between.
  ///@{
  bool writeStartSOBJChunk(VekFile& f);
  bool writeEndSOBJChunk(VekFile& f);
  ///@}
  /// Ends the sample and completes its jump table.
  bool writeEndSAMPChunk(VekFile& f);
  /// Ends the stream and completes its tables.
  bool writeEnd(VekFile& f);

  std::vector<float> timeTable;      ///< time of every sample, empty for uniform sampling
  std::vector<__int64> jumpTable;    ///< offset of every sample
  std::vector<__int64> objectTable;  ///< offset of every object of the current sample
  __int64 timsOffset = -1;           ///< offset of TIMS, -1 when there is none
  __int64 jsamOffset = -1;           ///< offset of JSAM
  __int64 jobjOffset = -1;           ///< offset of the current sample's JOBJ
  __int64 sampleIndex = 0;           ///< the next sample to be written
  __int64 objectIndex = 0;           ///< the next object of the current sample

 private:
  template <typename T>
  VEK_LOCAL bool writeTable(VekFile& f, unsigned int tag, std::vector<T>& table, __int64& offset,
                            __int64 numSamples, __int64 reserve);
  template <typename T>
  VEK_LOCAL bool extendTable(VekFile& f, const VekHeader& h, std::vector<T>& table, __int64& offset,
                             __int64 numNewSamples, __int64 end);
  VEK_LOCAL bool openSection(VekFile& f, __int64& end);
  VEK_LOCAL bool noteObject(VekFile& f);
};

}  // namespace Vek

#endif
