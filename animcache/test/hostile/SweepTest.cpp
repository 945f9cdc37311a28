// SPDX-License-Identifier: Apache-2.0
//
// Every scene cut short at every byte, with every byte replaced by a few others, and with leaves of
// other types and fewer values. Whatever the
// library makes of such a file, it stays within a bound of time and memory, gives back all that it
// took, throws nothing, and answers alike whether samples are held or not.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <iostream>
#include <streambuf>

#include "CountedMemory.h"
#include "HostileScenes.h"
#include "SceneImage.h"
#include "VariantFile.h"
#include "Walk.h"
#include "Watch.h"

namespace VekTest {

namespace {

constexpr std::size_t kMemoryLimit = std::size_t{1} << 30;
/// What the answers about a file of some hundred bytes may take: a surface whose few points repeat
/// is the largest of them.
constexpr std::size_t kReasonable = std::size_t{16} << 20;

/// A stream buffer that forgets.
class Nowhere : public std::streambuf {
 protected:
  int_type overflow(int_type c) override { return traits_type::not_eof(c); }
  std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

/// Keeps what the library prints off the standard streams.
class Silence {
 public:
  Silence() : m_out(std::cout.rdbuf(&m_nowhere)), m_err(std::cerr.rdbuf(&m_nowhere)) {}
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;
  ~Silence() {
    std::cout.rdbuf(m_out);
    std::cerr.rdbuf(m_err);
  }

 private:
  Nowhere m_nowhere;
  std::streambuf* m_out;
  std::streambuf* m_err;
};

/// What the process holds: blocks of memory, and open files.
struct Holdings {
  std::size_t blocks = CountedMemory::blocks();
  int firstFree = firstFreeDescriptor();

  static int firstFreeDescriptor() {
    const int descriptor = ::dup(STDERR_FILENO);
    ::close(descriptor);
    return descriptor;
  }
  bool operator==(const Holdings& other) const {
    return blocks == other.blocks && firstFree == other.firstFree;
  }
};

class SweepTest : public ::testing::TestWithParam<HostileScene> {
 protected:
  /// Runs all walks over the bytes and reports what they find.
  void walk(const std::string& bytes) {
    m_file.assign(bytes);
    CountedMemory::resetPeak();
    const std::size_t before = CountedMemory::bytes();
    const Holdings holdings;
    m_watch.begin(m_what);
    std::string found;
    try {
      found = walkAll(bytes);
    } catch (const std::exception& e) {
      found = std::string("throws ") + e.what();
    } catch (...) {
      found = "throws";
    }
    m_watch.end();
    if (!found.empty()) report(found);
    found = std::string();
    if (!(Holdings() == holdings)) report("does not give back what it took");
    if (CountedMemory::peak() - before > kReasonable) report("takes more memory than it may");
  }

  /// The variant that is walked next.
  void name(const char* change, std::size_t offset, unsigned int value) {
    std::snprintf(m_what, sizeof(m_what), "%s %s %zu, value 0x%02x", GetParam().name.c_str(),
                  change, offset, value);
  }

 private:
  std::string walkAll(const std::string& bytes) {
    const char* const path = m_file.path();
    Digest chunks;
    walkChunks(path, chunks);
    walkCache(path, chunks);
    Digest held;
    walkMemory(path, 0, held);
    Digest limited;
    walkMemory(path, 2, limited);
    walkTools(path, chunks);
    const Edit rewritten = walkRewrite(path, m_target.path());
    if (!rewritten.fault.empty()) return "rewritten, " + rewritten.fault;
    m_copy.assign(bytes);
    const Edit appended = walkAppend(m_copy.path());
    if (!appended.fault.empty()) return "appended to, " + appended.fault;
    return held.value() == limited.value() ? std::string() : "answers differ with a limit";
  }

  void report(const std::string& found) {
    ++m_numFound;
    if (m_numFound > 20) return;
    ADD_FAILURE() << m_what << ": " << found;
  }

  Silence m_silence;
  VariantFile m_file;
  VariantFile m_target;
  VariantFile m_copy;
  char m_what[256] = "";
  int m_numFound = 0;
  Watch m_watch{kMemoryLimit};
};

// What the other tests stand on: undamaged, every file goes the whole way.
TEST_P(SweepTest, fileItselfIsValid) {
  name("whole", 0, 0);
  const std::string& bytes = GetParam().bytes;
  VariantFile file;
  VariantFile target;
  Digest digest;
  file.assign(bytes);
  EXPECT_TRUE(walkCache(file.path(), digest));
  EXPECT_TRUE(walkMemory(file.path(), 2, digest));
  bool loaded = false;
  const Vek::VekCache cache(file.path(), true, &loaded);
  EXPECT_TRUE(walkRewrite(file.path(), target.path()).saved);
  EXPECT_EQ(walkAppend(file.path()).saved, cache.getNumObjects() > 0);
  walk(bytes);
}

TEST_P(SweepTest, cutAtEveryByte) {
  const std::string& bytes = GetParam().bytes;
  walk(bytes);  // Whatever is made once and kept.
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    name("cut at", size, 0);
    walk(bytes.substr(0, size));
  }
}

TEST_P(SweepTest, everyByteReplaced) {
  const std::string& bytes = GetParam().bytes;
  walk(bytes);
  std::string variant = bytes;
  for (std::size_t offset = 0; offset < bytes.size(); ++offset) {
    const auto original = static_cast<unsigned char>(bytes[offset]);
    const auto flipped = static_cast<unsigned char>(original ^ 0xFFU);
    const unsigned char values[] = {0x00, 0x7F, 0x80, 0xFF, flipped};
    for (const unsigned char value : values) {
      if (value == original || (&value != &values[4] && value == flipped)) continue;
      variant[offset] = static_cast<char>(value);
      name("at", offset, value);
      walk(variant);
    }
    variant[offset] = bytes[offset];
  }
}

/// Where a chunk's header stands, and how long its payload is.
struct Place {
  std::size_t offset;
  std::size_t length;
  bool isGroup;
};

std::vector<Place> placesOf(const char* path) {
  std::vector<Place> places;
  Vek::VekFile file(path, "r");
  Vek::VekHeader h;
  auto offset = static_cast<std::size_t>(file.tell());
  while (file.readHeader(h)) {
    const bool isGroup = h.type == Vek::ValueType::Group;
    places.push_back({offset, static_cast<std::size_t>(h.length), isGroup});
    if (!isGroup) file.skipData(h);
    offset = static_cast<std::size_t>(file.tell());
  }
  return places;
}

// Bytes of a header that have a meaning, replaced by others that have one.
TEST_P(SweepTest, everyTypeAndDimensionReplaced) {
  const std::string& bytes = GetParam().bytes;
  VariantFile file;
  file.assign(bytes);
  walk(bytes);
  std::string variant = bytes;
  for (const Place& place : placesOf(file.path())) {
    for (const std::size_t field : {std::size_t{4}, std::size_t{6}}) {
      const std::size_t offset = place.offset + field;
      for (const int value : {0, 1, 2, 3, 4, 5, 6, 7, 9, 16}) {
        variant[offset] = static_cast<char>(value);
        name("header at", offset, static_cast<unsigned int>(value));
        walk(variant);
      }
      variant[offset] = bytes[offset];
    }
  }
}

// Fewer values than belong there, in a file that is whole otherwise: the rest becomes dead space.
TEST_P(SweepTest, everyLeafShortened) {
  const std::string& bytes = GetParam().bytes;
  VariantFile file;
  file.assign(bytes);
  walk(bytes);
  for (const Place& place : placesOf(file.path())) {
    if (place.isGroup || place.length < 16) continue;
    for (std::size_t length = 0; length + 16 <= place.length; length += 4) {
      const std::size_t rest = place.length - length - 16;
      const ByteImage dead = ByteImage().header("FREE", 0, static_cast<std::int64_t>(rest));
      std::string variant = patched(bytes, static_cast<std::int64_t>(place.offset + 8),
                                    static_cast<std::int64_t>(length));
      variant.replace(place.offset + 16 + length, 16, dead.bytes());
      name("leaf shortened at", place.offset, static_cast<unsigned int>(length));
      walk(variant);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Scenes, SweepTest, ::testing::ValuesIn(hostileScenes()),
                         [](const auto& scene) { return scene.param.name; });

}  // namespace

}  // namespace VekTest
