// SPDX-License-Identifier: Apache-2.0
//
// Mutations of file images that know chunks.

#include "VekMutator.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <utility>

namespace VekFuzz {

namespace {

constexpr const char* tagNames[] = {
    "DVEK", "META", "WAPP", "SFIL", "DATE", "NSAM", "FTIM", "LTIM", "RATE", "SPAC",
    "NOBJ", "DOBJ", "NAME", "TYPE", "DATR", "SATR", "AATR", "ATRS", "ATTR", "SAMS",
    "TIMS", "JSAM", "SAMP", "JOBJ", "SOBJ", "FREE", "POSI", "VELO", "BBOX", "XFRM",
    "MESH", "ELOC", "LXCS", "NRBS", "NRBC", "MTRX", "MTRO", "INHT", "DEGR", "FORM",
    "KNTU", "KNTV", "PCNT", "PIDS", "NCNT", "NIDS", "PONO", "VPNO", "MSPT"};

constexpr std::int64_t oddNumbers[] = {0,
                                       1,
                                       -1,
                                       2,
                                       3,
                                       4,
                                       7,
                                       8,
                                       15,
                                       16,
                                       100,
                                       255,
                                       1000,
                                       65536,
                                       0x7fffffff,
                                       0x80000000,
                                       -0x80000000LL,
                                       0xffffffff,
                                       0x100000000,
                                       std::numeric_limits<std::int64_t>::max(),
                                       std::numeric_limits<std::int64_t>::min(),
                                       std::numeric_limits<std::int64_t>::max() - 16};

constexpr double oddReals[] = {0,
                               1,
                               -1,
                               0.5,
                               2,
                               1e-30,
                               1e30,
                               3.4e38,
                               -3.4e38,
                               1e308,
                               16777216,
                               2147483648.0,
                               std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN()};

constexpr const char* texts[] = {"kPeriodic",
                                 "kOpen",
                                 "kClosed",
                                 "rmanP__Pref",
                                 "qorn_Pref",
                                 "scoped",
                                 "parentRig",
                                 "displayShape",
                                 "useAsClippingPlane",
                                 "translateX",
                                 "rotateZ",
                                 "scaleY",
                                 "shearXY",
                                 "rotateOrder",
                                 "|a:b|c:d",
                                 "ns:a",
                                 "|",
                                 ":",
                                 "rotatePivotX",
                                 "scalePivotY",
                                 "visibility",
                                 "rotateAxisZ",
                                 "translate",
                                 "rotate"};

std::uint32_t tagNamed(const char* name) {
  std::uint32_t tag = 0;
  std::memcpy(&tag, name, sizeof tag);
  return tag;
}

std::size_t valueSize(const ImageChunk& chunk) {
  constexpr std::size_t sizes[] = {1, 1, 1, 4, 4, 8, 8};
  return chunk.type < std::size(sizes) ? sizes[chunk.type] : 1;
}

template <typename T>
void put(std::string& bytes, std::size_t at, T value) {
  if (at + sizeof value <= bytes.size()) std::memcpy(bytes.data() + at, &value, sizeof value);
}

}  // namespace

std::string VekMutator::mutate(const std::string& image) {
  ImageChunk root = parseImage(image);
  const std::size_t count = 1 + below(4);
  for (std::size_t i = 0; i < count; ++i) change(root);
  // Mostly the tables stay right: what was changed is found then.
  if (!oneIn(5)) {
    repairTables(root);
    if (oneIn(4)) redirect(root);
  }
  return writeImage(root);
}

std::string VekMutator::cross(const std::string& image, const std::string& other) {
  ImageChunk root = parseImage(image);
  ImageChunk donor = parseImage(other);
  const ImageChunk* const chunk = anyChunk(donor);
  if (chunk != nullptr) insert(root, *chunk);
  repairTables(root);
  return writeImage(root);
}

ImageChunk* VekMutator::anyChunk(ImageChunk& root) {
  const std::vector<ImageChunk*> chunks = listChunks(root);
  return chunks.empty() ? nullptr : chunks[below(chunks.size())];
}

ImageChunk& VekMutator::anyGroup(ImageChunk& root) {
  std::vector<ImageChunk*> groups = listChunks(root);
  groups.erase(std::remove_if(groups.begin(), groups.end(),
                              [](const ImageChunk* chunk) { return !chunk->isGroup(); }),
               groups.end());
  return groups.empty() || oneIn(20) ? root : *groups[below(groups.size())];
}

void VekMutator::change(ImageChunk& root) {
  ImageChunk* const chunk = anyChunk(root);
  if (chunk == nullptr) return insert(root, newChunk());
  switch (below(16)) {
    case 0:
      return duplicate(root);
    case 1:
      return remove(root);
    case 2:
      return swap(root);
    case 3:
      return move(root);
    case 4:
    case 5:
      return insert(root, newChunk());
    case 6:
      return retag(*chunk);
    case 7:
      return retype(*chunk);
    case 8:
    case 9:
      return resize(*chunk);
    case 10:
      return oneIn(2) ? misstateLength(*chunk) : redirect(root);
    default:
      return changeValue(*chunk);
  }
}

// --- Changes of the tree -------------------------------------------------------------------------

void VekMutator::duplicate(ImageChunk& root) {
  ImageChunk& group = anyGroup(root);
  if (group.children.empty()) return;
  const ImageChunk copy = group.children[below(group.children.size())];
  const std::size_t times = oneIn(8) ? 1 + below(20) : 1;
  const auto at = static_cast<std::ptrdiff_t>(below(group.children.size() + 1));
  group.children.insert(group.children.begin() + at, times, copy);
}

void VekMutator::remove(ImageChunk& root) {
  ImageChunk& group = anyGroup(root);
  if (group.children.empty()) return;
  group.children.erase(group.children.begin() +
                       static_cast<std::ptrdiff_t>(below(group.children.size())));
}

void VekMutator::swap(ImageChunk& root) {
  ImageChunk& group = anyGroup(root);
  if (group.children.empty()) return;
  std::swap(group.children[below(group.children.size())],
            group.children[below(group.children.size())]);
}

void VekMutator::move(ImageChunk& root) {
  ImageChunk& group = anyGroup(root);
  if (group.children.empty()) return;
  const auto at = static_cast<std::ptrdiff_t>(below(group.children.size()));
  ImageChunk chunk = std::move(group.children[static_cast<std::size_t>(at)]);
  group.children.erase(group.children.begin() + at);
  insert(root, std::move(chunk));
}

void VekMutator::insert(ImageChunk& root, ImageChunk chunk) {
  ImageChunk& group = anyGroup(root);
  const auto at = static_cast<std::ptrdiff_t>(below(group.children.size() + 1));
  group.children.insert(group.children.begin() + at, std::move(chunk));
}

ImageChunk VekMutator::newChunk() {
  ImageChunk chunk;
  retag(chunk);
  retype(chunk);
  if (!chunk.isGroup()) {
    chunk.payload.assign(valueSize(chunk) * below(oneIn(4) ? 64 : 5), '\0');
    changeValue(chunk);
  }
  return chunk;
}

// --- Changes of a header -------------------------------------------------------------------------

void VekMutator::retag(ImageChunk& chunk) {
  chunk.tag = tagNamed(tagNames[below(std::size(tagNames))]);
}

void VekMutator::retype(ImageChunk& chunk) {
  switch (below(4)) {
    case 0:
      chunk.compound = static_cast<std::uint8_t>(below(oneIn(8) ? 256 : 7));
      break;
    case 1:
      chunk.dimension = static_cast<std::uint8_t>(below(oneIn(8) ? 256 : 17));
      break;
    default:
      chunk.type = static_cast<std::uint8_t>(below(oneIn(16) ? 256 : 7));
  }
}

void VekMutator::resize(ImageChunk& chunk) {
  const std::size_t unit = oneIn(8) ? 1 : valueSize(chunk);
  const std::size_t count = chunk.payload.size() / unit;
  const std::size_t wanted = oneIn(2) ? count + 1 + below(4) : below(count + 1);
  chunk.payload.resize(wanted * unit);
}

void VekMutator::misstateLength(ImageChunk& chunk) {
  switch (below(3)) {
    case 0:
      chunk.lengthError = 0;
      break;
    case 1:
      chunk.lengthError = static_cast<std::int64_t>(below(64)) - 32;
      break;
    default:
      chunk.lengthError = oddNumbers[below(std::size(oddNumbers))];
  }
}

// --- Changes of values ---------------------------------------------------------------------------

void VekMutator::changeValue(ImageChunk& chunk) {
  if (chunk.type == 2) return changeText(chunk);
  if (chunk.payload.empty() || oneIn(10)) return resize(chunk);
  if (chunk.type == 4 || chunk.type == 6) return changeFloat(chunk);
  const std::size_t at = below(chunk.payload.size() / valueSize(chunk)) * valueSize(chunk);
  const std::int64_t number = oneIn(2) ? oddNumbers[below(std::size(oddNumbers))]
                                       : static_cast<std::int64_t>(below(300)) - 20;
  if (valueSize(chunk) == 8)
    put(chunk.payload, at, number);
  else if (valueSize(chunk) == 4)
    put(chunk.payload, at, static_cast<std::int32_t>(number));
  else
    put(chunk.payload, at, static_cast<std::int8_t>(number));
}

void VekMutator::changeFloat(ImageChunk& chunk) {
  const std::size_t size = valueSize(chunk);
  const double real =
      oneIn(2) ? oddReals[below(std::size(oddReals))] : static_cast<double>(below(4000)) / 16 - 100;
  const std::size_t first = below(chunk.payload.size() / size);
  const std::size_t count = oneIn(8) ? chunk.payload.size() / size : first + 1;
  for (std::size_t i = first; i < count; ++i) {
    if (size == 8)
      put(chunk.payload, i * size, real);
    else
      put(chunk.payload, i * size, static_cast<float>(real == 1e308 ? 1e38 : real));
  }
}

void VekMutator::changeText(ImageChunk& chunk) {
  const std::string text = texts[below(std::size(texts))];
  switch (below(4)) {
    case 0:
      chunk.payload += text;
      chunk.payload.push_back('\0');
      break;
    case 1:
      chunk.payload = text + std::string(1, '\0');
      break;
    case 2:
      if (!chunk.payload.empty()) chunk.payload.pop_back();
      break;
    default:
      chunk.payload.insert(below(chunk.payload.size() + 1), oneIn(2) ? std::string(1, '\0') : text);
  }
}

// An entry of a jump table gets another chunk's offset, or none that makes sense.
void VekMutator::redirect(ImageChunk& root) {
  std::vector<ImageChunk*> tables;
  std::vector<ImageChunk*> targets;
  writeImage(root);
  for (ImageChunk* chunk : listChunks(root)) {
    const bool isTable = chunk->tag == imageTag("JSAM") || chunk->tag == imageTag("JOBJ");
    if (isTable && chunk->payload.size() >= sizeof(std::int64_t)) tables.push_back(chunk);
    if (chunk->tag == imageTag("SAMP") || chunk->tag == imageTag("SOBJ") || oneIn(16))
      targets.push_back(chunk);
  }
  if (tables.empty()) return;
  ImageChunk& table = *tables[below(tables.size())];
  const std::size_t count = table.payload.size() / sizeof(std::int64_t);
  const std::int64_t offset = targets.empty() || oneIn(8) ? oddNumbers[below(std::size(oddNumbers))]
                                                          : targets[below(targets.size())]->offset;
  const std::size_t at = below(count) * sizeof offset;
  put(table.payload, at, offset);
  if (oneIn(6)) {
    for (std::size_t i = 0; i < count; ++i) put(table.payload, i * sizeof offset, offset);
  }
}

}  // namespace VekFuzz
