// SPDX-License-Identifier: Apache-2.0
//
// Byte images of whole cache files, written by hand: head, object definitions and sample streams
// with the offsets that their tables hold. A cache whose inside is open to tests stands here too.

#ifndef VEK_TEST_SCENE_IMAGE_H
#define VEK_TEST_SCENE_IMAGE_H

#include <cstdint>
#include <cstring>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "VekCache.h"

namespace VekTest {

inline ByteImage floats(const std::vector<float>& values) {
  ByteImage image;
  for (const float v : values) image.float32(v);
  return image;
}

inline ByteImage offsets(const std::vector<std::int64_t>& values) {
  ByteImage image;
  for (const std::int64_t v : values) image.int64(v);
  return image;
}

/// A float chunk without compound kind and dimension.
inline ByteImage floatChunk(const char* tag, const std::vector<float>& values) {
  return ByteImage().chunk(tag, 4, floats(values));
}

inline ByteImage int64Chunk(const char* tag, std::int64_t value) {
  return ByteImage().chunk(tag, 5, ByteImage().int64(value));
}

inline ByteImage textChunk(const char* tag, const std::vector<std::string>& texts) {
  ByteImage payload;
  for (const std::string& text : texts) payload.cstr(text);
  return ByteImage().chunk(tag, 2, payload);
}

inline ByteImage group(const char* tag, const ByteImage& children) {
  return ByteImage().chunk(tag, 1, children);
}

inline ByteImage join(const std::vector<ByteImage>& parts) {
  ByteImage image;
  for (const ByteImage& part : parts) image.raw(part);
  return image;
}

/// The DOBJ group of an object: its name, then `rest`.
inline ByteImage definition(const std::string& name, const ByteImage& rest = ByteImage()) {
  return group("DOBJ", join({textChunk("NAME", {name}), rest}));
}

/// What the head of a file says; every field is written as it is, consistent or not.
struct Head {
  std::int64_t version = 2;
  std::int64_t numSamples = 0;
  float firstTime = 0.0F;
  float lastTime = 0.0F;
  float rate = 1.0F;
  std::int64_t space = 1;
  std::vector<ByteImage> definitions = {};
  ByteImage more = {};  ///< further children of META
};

/// DVEK and META.
inline ByteImage headImage(const Head& head) {
  ByteImage meta = join({int64Chunk("NSAM", head.numSamples), floatChunk("FTIM", {head.firstTime}),
                         floatChunk("LTIM", {head.lastTime}), floatChunk("RATE", {head.rate}),
                         int64Chunk("SPAC", head.space), head.more,
                         int64Chunk("NOBJ", static_cast<std::int64_t>(head.definitions.size()))});
  for (const ByteImage& d : head.definitions) meta.raw(d);
  return join({int64Chunk("DVEK", head.version), group("META", meta)});
}

/// The samples of one section: `objects[s][o]` is the payload of object o's SOBJ in sample s.
struct Stream {
  std::vector<float> times = {};  ///< the TIMS table; no TIMS when empty
  std::vector<std::vector<ByteImage>> objects = {};
};

/// Where the chunks of a section stand: offsets of their headers from the start of the file.
struct StreamLayout {
  std::int64_t sams = 0;
  std::int64_t tims = -1;
  std::int64_t jsam = 0;
  std::vector<std::int64_t> samples = {};
  std::vector<std::int64_t> objectTables = {};
  std::vector<std::vector<std::int64_t>> objects = {};
};

/// Appends a SAMS section to a file.
inline StreamLayout addStream(ByteImage& file, const Stream& stream) {
  const auto asOffset = [](std::size_t n) { return static_cast<std::int64_t>(n); };
  StreamLayout layout;
  layout.sams = asOffset(file.size());
  std::int64_t at = layout.sams + 16;
  if (!stream.times.empty()) {
    layout.tims = at;
    at += 16 + 4 * asOffset(stream.times.size());
  }
  layout.jsam = at;
  at += 16 + 8 * asOffset(stream.objects.size());
  ByteImage samples;
  for (const std::vector<ByteImage>& objects : stream.objects) {
    layout.samples.push_back(at);
    layout.objectTables.push_back(at + 16);
    std::int64_t objectAt = at + 32 + 8 * asOffset(objects.size());
    std::vector<std::int64_t> objectOffsets;
    ByteImage data;
    for (const ByteImage& object : objects) {
      objectOffsets.push_back(objectAt);
      data.raw(group("SOBJ", object));
      objectAt += 16 + asOffset(object.size());
    }
    samples.raw(group("SAMP", join({ByteImage().chunk("JOBJ", 5, offsets(objectOffsets)), data})));
    layout.objects.push_back(objectOffsets);
    at = objectAt;
  }
  ByteImage payload;
  if (!stream.times.empty()) payload.raw(floatChunk("TIMS", stream.times));
  payload.raw(ByteImage().chunk("JSAM", 5, offsets(layout.samples))).raw(samples);
  file.raw(group("SAMS", payload));
  return layout;
}

/// `count` samples of as many objects, each object an empty SOBJ.
inline Stream emptySamples(std::size_t count, std::size_t objects = 0,
                           const std::vector<float>& times = {}) {
  return {times, {count, std::vector<ByteImage>(objects)}};
}

/// Replaces bytes of a file by the image of a value.
template <typename T>
std::string patched(std::string bytes, std::int64_t offset, T value) {
  std::memcpy(&bytes.at(static_cast<std::size_t>(offset)), &value, sizeof(T));
  return bytes;
}

/// Overwrites bytes of a file where it stands.
inline void overwrite(const std::string& file, std::size_t offset, const std::string& bytes) {
  std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
  stream.seekp(static_cast<std::streamoff>(offset));
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

/// The message of a report: one line of `before`, a line number, `after` and the message. Any other
/// text comes back marked as such.
inline std::string reportedMessage(const std::string& text, const std::string& before,
                                   const std::string& after) {
  const std::string unlike = "not one line of a report: " + text;
  if (text.compare(0, before.size(), before) != 0) return unlike;
  const std::size_t digits = text.find_first_not_of("0123456789", before.size());
  if (digits == std::string::npos || digits == before.size()) return unlike;
  if (text.compare(digits, after.size(), after) != 0) return unlike;
  const std::size_t message = digits + after.size();
  if (text.find('\n', message) != text.size() - 1) return unlike;
  return text.substr(message, text.size() - 1 - message);
}

/// A cache whose protected members tests may reach.
class OpenCache : public Vek::VekCache {
 public:
  using VekCache::VekCache;

  using VekCache::compareNames;
  using VekCache::findChunk;
  using VekCache::loadObjectSample;
  using VekCache::seekChannelSample;
  using VekCache::seekObjectSample;

  using VekCache::cachedSampleIndex;
  using VekCache::file;
  using VekCache::fileHeader;
  using VekCache::fileName;
  using VekCache::jumpTable;
  using VekCache::keepOpen;
  using VekCache::metadata;
  using VekCache::objectJumps;
  using VekCache::openMode;
  using VekCache::timeTable;
};

/// Sets the diagnostic level for one scope.
class Verbosity {
 public:
  explicit Verbosity(int level) : m_before(Vek::verbosity) { Vek::verbosity = level; }
  Verbosity(const Verbosity&) = delete;
  Verbosity& operator=(const Verbosity&) = delete;
  ~Verbosity() { Vek::verbosity = m_before; }

 private:
  int m_before;
};

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

}  // namespace VekTest

#endif
