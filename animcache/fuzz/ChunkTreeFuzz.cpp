// SPDX-License-Identifier: Apache-2.0
//
// Fuzz entry point of the chunk layer: every chunk of a file read, printed, copied and written, as
// a generic chunk or as the class that belongs to its tag. What was written is read back and
// compared for a part of the inputs.

#include <memory>
#include <sstream>

#include "FuzzDigest.h"
#include "FuzzInput.h"

using namespace Vek;
using namespace VekFuzz;

namespace {

const FuzzFile& scratch() {
  static const FuzzFile file("out");
  return file;
}

/// The class that belongs to a tag, as the readers of a file make it; null when there is none.
std::unique_ptr<VekChunk> makeNamed(unsigned int tag) {
  switch (tag) {
    case Tag::DVEK:
      return std::make_unique<VekDVEKChunk>();
    case Tag::META:
      return std::make_unique<VekMETAChunk>();
    case Tag::DOBJ:
      return std::make_unique<VekDOBJChunk>();
    case Tag::DATR:
      return std::make_unique<VekDATRChunk>();
    case Tag::SATR:
      return std::make_unique<VekSATRChunk>();
    case Tag::AATR:
      return std::make_unique<VekAATRChunk>();
    case Tag::ATRS:
      return std::make_unique<VekATRSChunk>();
    case Tag::SAMS:
      return std::make_unique<VekSAMSChunk>();
    default:
      return nullptr;
  }
}

std::unique_ptr<VekChunk> make(const VekHeader& h, bool named) {
  if (named) return makeNamed(h.tag);
  return std::unique_ptr<VekChunk>(VekChunk::create(h.tag, h.type));
}

/// Prints to where nothing is kept.
void print(const VekChunk& chunk) {
  chunk.print(std::cout, 1);
}

std::string printed(const VekChunk& chunk) {
  std::ostringstream os;
  chunk.print(os, 1);
  return os.str();
}

/// The chunk's bytes in a file of its own; empty when it cannot be written.
std::string written(const VekChunk& chunk) {
  VekFile file;
  check(file.open(scratch().path(), "w"), "a file opens for writing");
  const bool done = chunk.write(file);
  return file.close() && done ? scratch().bytes() : std::string();
}

/// Reads back what written() has left.
std::unique_ptr<VekChunk> readBack(bool named) {
  VekFile file(scratch().path(), "r");
  VekHeader h;
  check(file.readHeader(h), "the header of a written chunk reads back");
  std::unique_ptr<VekChunk> chunk = make(h, named);
  if (!chunk || !chunk->read(h, file)) return nullptr;
  check(file.getLevel() == 0, "a written chunk closes its groups");
  return chunk;
}

/// Whether copy() keeps everything that write() writes.
bool isCopiedWhole(const VekChunk& chunk) {
  const VekHeader h = chunk.getHeader();
  if (h.tag == Tag::FREE || h.type == ValueType::Undef || h.type > ValueType::Double) return false;
  const auto* const group = dynamic_cast<const VekGroupChunk*>(&chunk);
  if (group == nullptr) return true;
  if (h.compound != 0 || h.dimension != 0 || h.reserved != 0) return false;
  for (unsigned __int64 i = 0; i < group->numChildren(); ++i) {
    if (!isCopiedWhole(*group->getChild(i))) return false;
  }
  return true;
}

void checkCopy(const VekChunk& chunk, const std::string& bytes) {
  const std::unique_ptr<VekChunk> copy(VekChunk::copy(&chunk));
  if (!isCopiedWhole(chunk)) {
    if (copy) check(!written(*copy).empty(), "a copy can be written");
    return;
  }
  check(copy != nullptr, "a chunk without raw data can be copied");
  check(written(*copy) == bytes, "a copy writes what the chunk writes");
}

void exerciseTree(const VekChunk& chunk) {
  const std::string first = written(chunk);
  if (first.empty()) return;
  const std::unique_ptr<VekChunk> second = readBack(false);
  check(second != nullptr, "a written tree reads back");
  check(written(*second) == first, "a written tree keeps its bytes");
  check(second->getLength() == static_cast<__int64>(first.size() - sizeof(VekHeader)),
        "the computed length is that in the file");
  checkCopy(*second, first);
}

// What a named class does not know may be lost when it is first written, but not later.
void exerciseNamed(const VekChunk& chunk) {
  const std::string first = written(chunk);
  if (first.empty()) return;
  const std::unique_ptr<VekChunk> second = readBack(true);
  check(second != nullptr, "a written chunk reads back");
  const std::string again = written(*second);
  if (again == first) return;
  const std::unique_ptr<VekChunk> third = readBack(true);
  check(third != nullptr && written(*third) == again, "a written chunk keeps its bytes");
  check(printed(*third) == printed(*readBack(true)), "a written chunk keeps its print form");
}

/// Copies and writes the chunk without a look at the result.
void copyAndWrite(const VekChunk& chunk) {
  const std::unique_ptr<VekChunk> copy(VekChunk::copy(&chunk));
  VekFile counter;
  check(counter.openCounting(), "counting needs no file");
  if (chunk.write(counter)) check(counter.getLevel() == 0, "a written chunk closes its groups");
}

void exerciseChunk(VekChunk& chunk, bool named, bool compared) {
  print(chunk);
  chunk.getLength();
  if (!compared)
    copyAndWrite(chunk);
  else if (named)
    exerciseNamed(chunk);
  else
    exerciseTree(chunk);
}

/// Every chunk on the top level as a tree, beginning anew behind each one that was read.
void readTrees(const char* path, bool named, bool compared) {
  VekFile file(path, "r");
  VekHeader h;
  while (file.readHeader(h)) {
    const std::unique_ptr<VekChunk> chunk = make(h, named);
    if (chunk) {
      if (chunk->read(h, file)) {
        exerciseChunk(*chunk, named, compared);
      } else {
        print(*chunk);
        chunk->reset();
        if (!named) return;
      }
    } else if (h.type != ValueType::Group && !file.skipData(h)) {
      return;
    }
  }
}

/// Header after header, down into the groups; leaves as values or as raw bytes.
void walk(const char* path, bool asValues) {
  VekFile file(path, "r");
  VekHeader h;
  __int64 before = -1;
  while (file.readHeader(h)) {
    check(file.tell() > before, "a header moves the file forward");
    before = file.tell();
    check(file.getLevel() <= maxGroupNesting, "nesting stays below its limit");
    h.print(std::cout);
    if (h.type == ValueType::Group) continue;
    const std::unique_ptr<VekChunk> chunk = make(h, !asValues);
    if (chunk ? !chunk->read(h, file) : !file.skipData(h)) return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFile file("in");
  const SilentStreams silent;
  Choices choices(data, size);
  file.setInput(data, size);
  if (choices.isEmpty()) {
    readTrees(file.path(), false, true);
    readTrees(file.path(), true, true);
    walk(file.path(), true);
    walk(file.path(), false);
    return 0;
  }
  const bool named = choices.peek() % 2 != 0;
  const bool compared = choices.peek() / 2 % 8 == 0;
  if (choices.peek() / 16 % 4 == 0) walk(file.path(), choices.peek() / 64 % 2 != 0);
  readTrees(file.path(), named, compared);
  return 0;
}
