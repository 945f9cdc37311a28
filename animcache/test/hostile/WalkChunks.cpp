// SPDX-License-Identifier: Apache-2.0
//
// The walks over chunk trees and through the tools.

#include <memory>
#include <ostream>

#include "Walk.h"
#include "vekUtils.h"

namespace VekTest {

namespace {

using Vek::VekChunk;
using Vek::VekFile;
using Vek::VekHeader;

/// How much a chunk writes, without a file.
void write(const VekChunk& chunk, Digest& digest) {
  VekFile counter;
  digest.number(counter.openCounting() && chunk.write(counter));
  digest.number(counter.tell());
}

void print(const VekChunk& chunk, Digest& digest) {
  std::ostream os(nullptr);
  chunk.print(os, 1);
  digest.text(chunk.getHeader().tagStr());
  digest.text(chunk.getHeader().typeStr());
}

void use(VekChunk& chunk, Digest& digest) {
  print(chunk, digest);
  write(chunk, digest);
  digest.number(chunk.getLength());
  const std::unique_ptr<VekChunk> copy(VekChunk::copy(&chunk));
  if (copy) {
    digest.number(copy->getLength());
    write(*copy, digest);
  }
}

/// Reads the file's chunks into objects that `make` gives.
template <typename Make>
void readAll(const char* path, Make make, Digest& digest) {
  VekFile file(path, "r");
  VekHeader h;
  while (file.readHeader(h)) {
    const std::unique_ptr<VekChunk> chunk = make(h);
    const bool read = chunk->read(h, file);
    digest.number(read);
    use(*chunk, digest);
    if (!read) return;
  }
}

}  // namespace

void walkChunks(const char* path, Digest& digest) {
  const auto generic = [](const VekHeader& h) {
    return std::unique_ptr<VekChunk>(VekChunk::create(h.tag, h.type));
  };
  readAll(path, generic, digest);
  const auto named = [&](const VekHeader& h) -> std::unique_ptr<VekChunk> {
    if (h.tag == Vek::Tag::DVEK) return std::make_unique<Vek::VekDVEKChunk>();
    if (h.tag == Vek::Tag::META) return std::make_unique<Vek::VekMETAChunk>();
    return generic(h);
  };
  readAll(path, named, digest);
}

void walkTools(const char* path, Digest& digest) {
  digest.number(Vek::vekinfo(path));
  digest.number(Vek::vek2txt(path));
}

}  // namespace VekTest
