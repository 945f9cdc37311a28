// SPDX-License-Identifier: Apache-2.0
//
// The image of a file as a tree of chunks.

#include "ChunkImage.h"

#include <cstring>

namespace VekFuzz {

namespace {

constexpr std::size_t headerSize = 16;
constexpr int deepest = 64;  // What is nested deeper stays a payload.

template <typename T>
T load(const std::string& bytes, std::size_t at) {
  T value;
  std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

template <typename T>
void append(std::string& bytes, T value) {
  char image[sizeof value];
  std::memcpy(image, &value, sizeof value);
  bytes.append(image, sizeof value);
}

void parseChildren(ImageChunk& group, const std::string& bytes, std::size_t begin, std::size_t end,
                   int depth) {
  while (end - begin >= headerSize) {
    ImageChunk chunk;
    chunk.tag = load<std::uint32_t>(bytes, begin);
    chunk.type = load<std::uint8_t>(bytes, begin + 4);
    chunk.compound = load<std::uint8_t>(bytes, begin + 5);
    chunk.dimension = load<std::uint8_t>(bytes, begin + 6);
    chunk.reserved = load<std::uint8_t>(bytes, begin + 7);
    const auto length = load<std::uint64_t>(bytes, begin + 8);
    begin += headerSize;
    const std::size_t rest = end - begin;
    const std::size_t size = length <= rest ? static_cast<std::size_t>(length) : rest;
    chunk.lengthError = static_cast<std::int64_t>(length - size);
    if (chunk.isGroup() && depth < deepest)
      parseChildren(chunk, bytes, begin, begin + size, depth + 1);
    else
      chunk.payload = bytes.substr(begin, size);
    group.children.push_back(std::move(chunk));
    begin += size;
  }
  group.payload = bytes.substr(begin, end - begin);
}

void writeChunk(ImageChunk& chunk, std::string& bytes);

void writeContent(ImageChunk& chunk, std::string& bytes) {
  for (ImageChunk& child : chunk.children) writeChunk(child, bytes);
  bytes += chunk.payload;
}

void writeChunk(ImageChunk& chunk, std::string& bytes) {
  chunk.offset = static_cast<std::int64_t>(bytes.size());
  append(bytes, chunk.tag);
  append(bytes, chunk.type);
  append(bytes, chunk.compound);
  append(bytes, chunk.dimension);
  append(bytes, chunk.reserved);
  const std::size_t lengthAt = bytes.size();
  append(bytes, std::uint64_t{0});
  writeContent(chunk, bytes);
  const std::uint64_t length = bytes.size() - lengthAt - sizeof(std::uint64_t) +
                               static_cast<std::uint64_t>(chunk.lengthError);
  std::memcpy(bytes.data() + lengthAt, &length, sizeof length);
}

void listInto(ImageChunk& group, std::vector<ImageChunk*>& chunks) {
  for (ImageChunk& child : group.children) {
    chunks.push_back(&child);
    listInto(child, chunks);
  }
}

// --- Tables --------------------------------------------------------------------------------------

ImageChunk* findChild(ImageChunk& group, std::uint32_t tag) {
  for (ImageChunk& child : group.children) {
    if (child.tag == tag) return &child;
  }
  return nullptr;
}

std::vector<ImageChunk*> findChildren(ImageChunk& group, std::uint32_t tag) {
  std::vector<ImageChunk*> found;
  for (ImageChunk& child : group.children) {
    if (child.tag == tag && child.isGroup()) found.push_back(&child);
  }
  return found;
}

void setOffsets(ImageChunk* table, const std::vector<ImageChunk*>& chunks) {
  if (table == nullptr) return;
  table->payload.clear();
  for (const ImageChunk* chunk : chunks) append(table->payload, chunk->offset);
}

template <typename T>
void setNumber(ImageChunk* leaf, T value) {
  if (leaf == nullptr) return;
  leaf->payload.clear();
  append(leaf->payload, value);
}

/// The times of a table, as many as there are samples, each after the one before.
void setTimes(ImageChunk& table, std::size_t count, std::vector<float>& times) {
  std::vector<float> own;
  for (std::size_t i = 0; i < count; ++i) {
    const bool isThere = (i + 1) * sizeof(float) <= table.payload.size();
    own.push_back(isThere       ? load<float>(table.payload, i * sizeof(float))
                  : own.empty() ? 0
                                : own.back() + 1);
  }
  table.payload.clear();
  for (const float time : own) append(table.payload, time);
  times.insert(times.end(), own.begin(), own.end());
}

float readRate(ImageChunk& meta) {
  ImageChunk* const rate = findChild(meta, imageTag("RATE"));
  return rate != nullptr && rate->payload.size() == sizeof(float) ? load<float>(rate->payload, 0)
                                                                  : 1.0F;
}

void repairHead(ImageChunk& meta, std::size_t numSamples, const std::vector<float>& times) {
  setNumber(findChild(meta, imageTag("NSAM")), static_cast<std::int64_t>(numSamples));
  ImageChunk* const first = findChild(meta, imageTag("FTIM"));
  ImageChunk* const last = findChild(meta, imageTag("LTIM"));
  if (numSamples == 0 || first == nullptr) return;
  if (times.size() == numSamples) {
    setNumber(first, times.front());
    setNumber(last, times.back());
    setNumber(findChild(meta, imageTag("RATE")), 0.0F);
  } else if (first->payload.size() == sizeof(float)) {
    if (readRate(meta) == 0) setNumber(findChild(meta, imageTag("RATE")), 1.0F);
    setNumber(last,
              load<float>(first->payload, 0) + static_cast<float>(numSamples - 1) / readRate(meta));
  }
}

}  // namespace

std::uint32_t imageTag(const char (&text)[5]) {
  std::uint32_t tag = 0;
  std::memcpy(&tag, text, sizeof tag);
  return tag;
}

ImageChunk parseImage(const std::string& bytes) {
  ImageChunk root;
  root.type = 1;
  parseChildren(root, bytes, 0, bytes.size(), 0);
  return root;
}

std::string writeImage(ImageChunk& root) {
  std::string bytes;
  writeContent(root, bytes);
  return bytes;
}

std::vector<ImageChunk*> listChunks(ImageChunk& root) {
  std::vector<ImageChunk*> chunks;
  listInto(root, chunks);
  return chunks;
}

void repairTables(ImageChunk& root) {
  ImageChunk* const meta = findChild(root, imageTag("META"));
  const std::vector<ImageChunk*> sections = findChildren(root, imageTag("SAMS"));
  std::vector<float> times;
  std::size_t numSamples = 0;
  // The sizes of the tables first: the offsets depend on them.
  for (int pass = 0; pass < 2; ++pass) {
    times.clear();
    numSamples = 0;
    for (ImageChunk* section : sections) {
      const std::vector<ImageChunk*> samples = findChildren(*section, imageTag("SAMP"));
      numSamples += samples.size();
      setOffsets(findChild(*section, imageTag("JSAM")), samples);
      for (ImageChunk* sample : samples)
        setOffsets(findChild(*sample, imageTag("JOBJ")), findChildren(*sample, imageTag("SOBJ")));
      ImageChunk* const table = findChild(*section, imageTag("TIMS"));
      if (table != nullptr) setTimes(*table, samples.size(), times);
    }
    if (meta != nullptr) repairHead(*meta, numSamples, times);
    if (pass == 0) writeImage(root);
  }
}

}  // namespace VekFuzz
