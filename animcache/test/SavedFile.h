// SPDX-License-Identifier: Apache-2.0
//
// Files as a cache saves them, written by hand: the head, sections with free slots behind their
// tables, and a model of both that grows as an append makes the file grow.

#ifndef VEK_TEST_SAVED_FILE_H
#define VEK_TEST_SAVED_FILE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "SceneImage.h"

namespace VekTest {

/// The head as the library writes it; the date stands where the test of a file patches it.
struct SavedHead {
  std::int64_t version = 2;
  std::string application = "app";
  std::string sourceFile = "src";
  std::int64_t date = 1000;
  std::int64_t numSamples = 0;
  float firstTime = 0.0F;
  float lastTime = 0.0F;
  float rate = 1.0F;
  std::int64_t space = 1;
  std::vector<ByteImage> definitions = {};
  ByteImage more = {};  ///< further children of META, at its end
};

inline ByteImage savedHeadImage(const SavedHead& head) {
  ByteImage meta;
  if (!head.application.empty()) meta.raw(textChunk("WAPP", {head.application}));
  if (!head.sourceFile.empty()) meta.raw(textChunk("SFIL", {head.sourceFile}));
  if (head.date != 0) meta.raw(int64Chunk("DATE", head.date));
  meta.raw(int64Chunk("NSAM", head.numSamples));
  if (head.numSamples > 0) {
    meta.raw(floatChunk("FTIM", {head.firstTime}));
    meta.raw(floatChunk("LTIM", {head.lastTime}));
    meta.raw(floatChunk("RATE", {head.rate}));
  }
  meta.raw(int64Chunk("SPAC", head.space));
  meta.raw(int64Chunk("NOBJ", static_cast<std::int64_t>(head.definitions.size())));
  for (const ByteImage& d : head.definitions) meta.raw(d);
  meta.raw(head.more);
  return join({int64Chunk("DVEK", head.version), group("META", meta)});
}

/// A SAMS section with free slots behind its tables.
struct Section {
  std::vector<float> times = {};  ///< the TIMS table; no TIMS when empty
  std::int64_t timeRoom = -1;     ///< free slots behind TIMS, -1 for no FREE chunk
  std::int64_t jumpRoom = -1;     ///< free slots behind JSAM, -1 for no FREE chunk
  std::vector<std::vector<ByteImage>> objects = {};
  bool jumpsFirst = false;  ///< JSAM before TIMS
  char fill = '\0';         ///< what the free slots hold
};

inline ByteImage freeChunk(std::int64_t length, char fill) {
  return ByteImage().chunk("FREE", 0,
                           ByteImage().raw(std::string(static_cast<std::size_t>(length), fill)));
}

/// Appends a section to a file and returns the offsets of its samples.
inline std::vector<std::int64_t> addSection(ByteImage& file, const Section& section) {
  const auto length = [](const ByteImage& image) {
    return static_cast<std::int64_t>(image.size());
  };
  ByteImage times;
  if (!section.times.empty()) times.raw(floatChunk("TIMS", section.times));
  if (section.timeRoom >= 0) times.raw(freeChunk(4 * section.timeRoom, section.fill));
  ByteImage room;
  if (section.jumpRoom >= 0) room.raw(freeChunk(8 * section.jumpRoom, section.fill));
  const auto count = static_cast<std::int64_t>(section.objects.size());
  std::int64_t at = length(file) + 16 + length(times) + 16 + 8 * count + length(room);
  std::vector<std::int64_t> jumps;
  ByteImage samples;
  for (const std::vector<ByteImage>& objects : section.objects) {
    jumps.push_back(at);
    std::int64_t objectAt = at + 32 + 8 * static_cast<std::int64_t>(objects.size());
    std::vector<std::int64_t> objectJumps;
    ByteImage data;
    for (const ByteImage& object : objects) {
      objectJumps.push_back(objectAt);
      data.raw(group("SOBJ", object));
      objectAt += 16 + length(object);
    }
    samples.raw(group("SAMP", join({ByteImage().chunk("JOBJ", 5, offsets(objectJumps)), data})));
    at = objectAt;
  }
  const ByteImage jumpTable = join({ByteImage().chunk("JSAM", 5, offsets(jumps)), room});
  file.raw(group("SAMS", section.jumpsFirst ? join({jumpTable, times, samples})
                                            : join({times, jumpTable, samples})));
  return jumps;
}

/// A file as head and sections, which grows as an append makes it grow.
struct SavedFile {
  SavedHead head;
  std::vector<Section> sections = {{}};

  /// Adds a sample to the last section, into its free slots.
  void append(float time, const std::vector<ByteImage>& objects) {
    Section& last = sections.back();
    if (last.jumpRoom > 0) --last.jumpRoom;
    if (last.timeRoom > 0) --last.timeRoom;
    add(time, objects);
  }
  /// Adds a sample to the last section.
  void add(float time, const std::vector<ByteImage>& objects) {
    if (head.numSamples++ == 0) head.firstTime = time;
    head.lastTime = time;
    if (head.rate == 0.0F) sections.back().times.push_back(time);
    sections.back().objects.push_back(objects);
  }
  /// Begins a section with free slots.
  void startSection(std::int64_t room) {
    Section section;
    section.jumpRoom = room;
    if (head.rate == 0.0F) section.timeRoom = room;
    sections.push_back(section);
  }
  ByteImage image() const {
    ByteImage file = savedHeadImage(head);
    for (const Section& section : sections) addSection(file, section);
    return file;
  }
  std::string bytes() const { return image().bytes(); }
  /// The joined jump tables.
  std::vector<std::int64_t> jumps() const {
    ByteImage file = savedHeadImage(head);
    std::vector<std::int64_t> joined;
    for (const Section& section : sections) {
      for (const std::int64_t jump : addSection(file, section)) joined.push_back(jump);
    }
    return joined;
  }
};

/// The data of an object that holds one float.
inline ByteImage posi(float value) {
  return floatChunk("POSI", {value});
}

/// What the stored sample at a time holds.
inline float stored(float time) {
  return 10.0F * time;
}

/// Objects without samples, in one section with free slots.
inline SavedFile objects(const std::vector<std::string>& names, std::int64_t room) {
  SavedFile model;
  for (const std::string& name : names) model.head.definitions.push_back(definition(name));
  model.sections[0].jumpRoom = room;
  return model;
}

/// One object |a, and no section.
inline SavedFile headOnly() {
  SavedFile model;
  model.head.definitions = {definition("|a")};
  model.sections.clear();
  return model;
}

/// One object |a with samples at these times, uniform at a rate or non-uniform at 0, in one section
/// with free slots.
inline SavedFile oneObject(const std::vector<float>& times, float rate, std::int64_t room) {
  SavedFile model = headOnly();
  model.head.rate = rate;
  model.startSection(room);
  for (const float t : times) model.add(t, {posi(stored(t))});
  return model;
}

inline std::int64_t dateOf(const std::string& bytes) {
  const std::size_t at = bytes.find("DATE");
  if (at == std::string::npos) return 0;
  std::int64_t date = 0;
  std::memcpy(&date, &bytes.at(at + 16), sizeof(date));
  return date;
}

/// The 271 bytes of the head of a file of one object |a.
inline ByteImage headBytes(std::int64_t date, std::int64_t numSamples, float firstTime,
                           float lastTime, float rate) {
  ByteImage head;
  head.header("DVEK", 5, 8).int64(2);
  head.header("META", 1, 231);
  head.header("WAPP", 2, 4).cstr("app");
  head.header("SFIL", 2, 4).cstr("src");
  head.header("DATE", 5, 8).int64(date);
  head.header("NSAM", 5, 8).int64(numSamples);
  head.header("FTIM", 4, 4).float32(firstTime);
  head.header("LTIM", 4, 4).float32(lastTime);
  head.header("RATE", 4, 4).float32(rate);
  head.header("SPAC", 5, 8).int64(1);
  head.header("NOBJ", 5, 8).int64(1);
  head.header("DOBJ", 1, 19).header("NAME", 2, 3).cstr("|a");
  EXPECT_EQ(271U, head.size());
  return head;
}

/// Compares the bytes of files and names the first offset that differs.
inline ::testing::AssertionResult sameBytes(const std::string& expected,
                                            const std::string& actual) {
  if (expected == actual) return ::testing::AssertionSuccess();
  const std::size_t shorter = std::min(expected.size(), actual.size());
  std::size_t at = 0;
  while (at < shorter && expected[at] == actual[at]) ++at;
  return ::testing::AssertionFailure() << "sizes " << expected.size() << " expected, "
                                       << actual.size() << " found; first difference at " << at;
}

/// The length of the first FREE chunk behind the last chunk of that tag, -1 when another follows.
inline std::int64_t freeLengthBehind(const std::string& bytes, const std::string& tag) {
  std::int64_t length = 0;
  const std::size_t at = bytes.rfind(tag);
  if (at == std::string::npos) return -1;
  std::memcpy(&length, &bytes.at(at + 8), sizeof(length));
  const std::size_t next = at + 16 + static_cast<std::size_t>(length);
  if (bytes.compare(next, 4, "FREE") != 0) return -1;
  std::memcpy(&length, &bytes.at(next + 8), sizeof(length));
  return length;
}

}  // namespace VekTest

#endif
