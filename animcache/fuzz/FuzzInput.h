// SPDX-License-Identifier: Apache-2.0
//
// What all fuzz entry points share: the input as a file, the choices that steer an execution, and
// checks that end it.
//
// An input is the image of a file. It may end with choices: up to 255 bytes, their number in one
// byte, and "FUZZ". They are no part of the file; without them every choice is 0. The first one
// says what an execution looks at: an input without choices is looked at in every way.

#ifndef VEK_FUZZ_INPUT_H
#define VEK_FUZZ_INPUT_H

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <streambuf>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace VekFuzz {

/// Ends the process when a property of the library does not hold.
inline void check(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "VIOLATED: %s\n", property);
  std::abort();
}

constexpr char choicesMark[] = {'F', 'U', 'Z', 'Z'};
constexpr std::size_t maxChoices = 255;

/// The number of bytes of an input that are its choices, with count and mark.
inline std::size_t choicesSize(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t frame = sizeof choicesMark + 1;
  if (size < frame || std::memcmp(data + size - sizeof choicesMark, choicesMark, 4) != 0) return 0;
  return std::min(size, frame + data[size - frame]);
}

/// The choices of an input, one after another; 0 when they are used up.
class Choices {
 public:
  Choices(const std::uint8_t* data, std::size_t size) {
    const std::size_t all = choicesSize(data, size);
    if (all == 0) return;
    m_next = data + size - all;
    m_end = data + size - sizeof choicesMark - 1;
  }

  bool isEmpty() const { return m_next >= m_end; }
  /// The next choice; it stays the next one.
  unsigned peek() const { return isEmpty() ? 0U : *m_next; }
  unsigned next() { return isEmpty() ? 0U : *m_next++; }
  bool flag() { return (next() & 1U) != 0; }
  /// One of [0, count).
  int below(int count) { return count > 0 ? static_cast<int>(next()) % count : 0; }
  /// One of a table.
  template <typename T, std::size_t n>
  const T& oneOf(const T (&table)[n]) {
    return table[next() % n];
  }

 private:
  const std::uint8_t* m_next = nullptr;
  const std::uint8_t* m_end = nullptr;
};

/// A file of this process in a folder in memory, removed at the end. It stays open and is written
/// over in place: making a file costs more than most executions.
class FuzzFile {
 public:
  explicit FuzzFile(const char* name)
      : m_path(folder() + "/vekfuzz." + std::to_string(::getpid()) + "." + name) {}
  FuzzFile(const FuzzFile&) = delete;
  FuzzFile& operator=(const FuzzFile&) = delete;
  ~FuzzFile() {
    if (m_file >= 0) ::close(m_file);
    ::unlink(m_path.c_str());
  }

  const char* path() const { return m_path.c_str(); }
  void remove() const { ::unlink(m_path.c_str()); }

  void set(const std::uint8_t* data, std::size_t size) const {
    const auto wanted = static_cast<off_t>(size);
    const off_t before = open(O_RDWR | O_CREAT);
    const bool done = before >= 0 && ::pwrite(m_file, data, size, 0) == wanted &&
                      (before <= wanted || ::ftruncate(m_file, wanted) == 0);
    check(done, "the fuzzer can write its own files");
  }
  /// The file's image in an input, without the choices.
  void setInput(const std::uint8_t* data, std::size_t size) const {
    set(data, size - choicesSize(data, size));
  }
  std::string bytes() const {
    const off_t size = open(O_RDWR);
    if (size < 0) return {};
    std::string content(static_cast<std::size_t>(size), '\0');
    check(::pread(m_file, content.data(), content.size(), 0) == size,
          "the fuzzer can read its own files");
    return content;
  }

 private:
  static std::string folder() {
    const char* const named = std::getenv("TMPDIR");
    if (named != nullptr && *named != '\0') return named;
    return ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
  }

  /// The size of the file, -1 when it cannot be opened. The library may have removed it.
  off_t open(int flags) const {
    struct stat status = {};
    if (m_file >= 0 && ::fstat(m_file, &status) == 0 && status.st_nlink > 0) return status.st_size;
    if (m_file >= 0) ::close(m_file);
    m_file = ::open(path(), flags, 0600);
    return m_file >= 0 && ::fstat(m_file, &status) == 0 ? status.st_size : -1;
  }

  std::string m_path;
  mutable int m_file = -1;
};

/// Takes the place of the standard streams' buffers and counts what the library prints. Reports of
/// the fuzzer and of the sanitizers do not go through these streams.
class SilentStreams : std::streambuf {
 public:
  SilentStreams() : m_out(std::cout.rdbuf(this)), m_err(std::cerr.rdbuf(this)) {}
  SilentStreams(const SilentStreams&) = delete;
  SilentStreams& operator=(const SilentStreams&) = delete;
  ~SilentStreams() override {
    std::cout.rdbuf(m_out);
    std::cerr.rdbuf(m_err);
  }
  std::size_t printed() const { return m_printed; }

 protected:
  int_type overflow(int_type c) override {
    ++m_printed;
    return traits_type::not_eof(c);
  }
  std::streamsize xsputn(const char*, std::streamsize count) override {
    m_printed += static_cast<std::size_t>(count);
    return count;
  }

 private:
  std::streambuf* m_out;
  std::streambuf* m_err;
  std::size_t m_printed = 0;
};

}  // namespace VekFuzz

#endif
