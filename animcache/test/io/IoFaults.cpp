// SPDX-License-Identifier: Apache-2.0
//
// The wrappers of the C library's input and output: the linker's option --wrap=fread makes calls of
// fread calls of __wrap_fread, which reaches the function itself as __real_fread.

#include "IoFaults.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <set>
#include <vector>

namespace VekTest {

namespace {

IoFault* armedFault = nullptr;

/// Streams that were written to since they were opened, and those on which an error was injected.
std::set<std::FILE*>& writtenStreams() {
  static std::set<std::FILE*> streams;
  return streams;
}
std::set<std::FILE*>& failedStreams() {
  static std::set<std::FILE*> streams;
  return streams;
}

/// Sets errno as the fault has it.
void fail(const IoFault& fault, int error) {
  errno = fault.mode() == IoMode::interrupted ? EINTR : error;
}

}  // namespace

IoFault::Armed::Armed(IoFault& fault) {
  armedFault = &fault;
}

IoFault::Armed::~Armed() {
  armedFault = nullptr;
}

IoFault* IoFault::strike() {
  IoFault* const fault = armedFault;
  if (fault == nullptr) return nullptr;
  ++fault->m_numCalls;
  if (fault->m_hit && fault->m_mode == IoMode::onwards) return fault;
  if (fault->m_remaining == 0 || --fault->m_remaining > 0) return nullptr;
  fault->m_hit = true;
  return fault;
}

namespace {

/// A call that moves elements between memory and a stream.
template <typename Real>
std::size_t moveElements(Real real, std::size_t count, std::FILE* stream, int error) {
  IoFault* const fault = IoFault::strike();
  if (fault == nullptr) return real(count);
  const bool movesHalf = fault->mode() == IoMode::partly || fault->mode() == IoMode::interrupted;
  const std::size_t moved = movesHalf && count > 1 ? real(count / 2) : 0;
  failedStreams().insert(stream);
  fault->goOn();
  fail(*fault, error);
  return moved;
}

/// A call that moves bytes of a descriptor. The system tells of the bytes that it has moved, and
/// then of the failure.
template <typename Real>
ssize_t moveBytes(Real real, std::size_t count, int error) {
  IoFault* const fault = IoFault::strike();
  if (fault == nullptr) return real(count);
  if (fault->mode() == IoMode::partly && count > 1) {
    fault->failNext();
    return real(count / 2);
  }
  fault->goOn();
  fail(*fault, error);
  return -1;
}

/// A call that does one thing or fails.
template <typename Result, typename Real>
Result callOrFail(Real real, Result failure, int error) {
  const IoFault* const fault = IoFault::strike();
  if (fault == nullptr) return real();
  fail(*fault, error);
  return failure;
}

/// The first `size` bytes of some pieces of memory.
class FirstPieces {
 public:
  FirstPieces(const iovec* pieces, int count, std::size_t size) {
    for (int i = 0; i < count; ++i) {
      m_pieces.push_back(pieces[i]);
      m_pieces.back().iov_len = std::min(size, pieces[i].iov_len);
      size -= m_pieces.back().iov_len;
    }
  }
  const iovec* data() const { return m_pieces.data(); }
  int count() const { return static_cast<int>(m_pieces.size()); }

  static std::size_t sizeOf(const iovec* pieces, int count) {
    std::size_t size = 0;
    for (int i = 0; i < count; ++i) size += pieces[i].iov_len;
    return size;
  }

 private:
  std::vector<iovec> m_pieces;
};

}  // namespace

}  // namespace VekTest

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker's names.
std::FILE* __real_fopen(const char* path, const char* mode);
int __real_fclose(std::FILE* stream);
std::size_t __real_fread(void* data, std::size_t size, std::size_t count, std::FILE* stream);
std::size_t __real_fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* stream);
int __real_fseeko(std::FILE* stream, off_t offset, int whence);
off_t __real_ftello(std::FILE* stream);
int __real_fflush(std::FILE* stream);
void __real_rewind(std::FILE* stream);
int __real_setvbuf(std::FILE* stream, char* buffer, int mode, std::size_t size);
int __real_ferror(std::FILE* stream);
void __real_clearerr(std::FILE* stream);
int __real_fstat(int file, struct stat* status);
int __real_stat(const char* path, struct stat* status);
ssize_t __real_pread(int file, void* data, std::size_t size, off_t offset);
ssize_t __real_pwrite(int file, const void* data, std::size_t size, off_t offset);
ssize_t __real_preadv(int file, const iovec* pieces, int count, off_t offset);
ssize_t __real_pwritev(int file, const iovec* pieces, int count, off_t offset);
ssize_t __real_writev(int file, const iovec* pieces, int count);
ssize_t __real_read(int file, void* data, std::size_t size);
ssize_t __real_write(int file, const void* data, std::size_t size);
off_t __real_lseek(int file, off_t offset, int whence);

std::FILE* __wrap_fopen(const char* path, const char* mode) {
  return VekTest::callOrFail([&] { return __real_fopen(path, mode); },
                             static_cast<std::FILE*>(nullptr), EMFILE);
}

int __wrap_fclose(std::FILE* stream) {
  VekTest::IoFault* const fault = VekTest::IoFault::strike();
  const bool written = VekTest::writtenStreams().erase(stream) > 0;
  VekTest::failedStreams().erase(stream);
  const int result = __real_fclose(stream);  // The stream is gone in any case.
  if (fault == nullptr) return result;
  if (written) fault->loseData();
  VekTest::fail(*fault, EIO);
  return EOF;
}

std::size_t __wrap_fread(void* data, std::size_t size, std::size_t count, std::FILE* stream) {
  return VekTest::moveElements(
      [&](std::size_t number) { return __real_fread(data, size, number, stream); }, count, stream,
      EIO);
}

std::size_t __wrap_fwrite(const void* data, std::size_t size, std::size_t count,
                          std::FILE* stream) {
  VekTest::writtenStreams().insert(stream);
  return VekTest::moveElements(
      [&](std::size_t number) { return __real_fwrite(data, size, number, stream); }, count, stream,
      ENOSPC);
}

int __wrap_fseeko(std::FILE* stream, off_t offset, int whence) {
  return VekTest::callOrFail([&] { return __real_fseeko(stream, offset, whence); }, -1, EIO);
}

off_t __wrap_ftello(std::FILE* stream) {
  return VekTest::callOrFail([&] { return __real_ftello(stream); }, static_cast<off_t>(-1), EIO);
}

int __wrap_fflush(std::FILE* stream) {
  VekTest::IoFault* const fault = VekTest::IoFault::strike();
  if (fault == nullptr) return __real_fflush(stream);
  if (stream != nullptr && VekTest::writtenStreams().count(stream) > 0) fault->loseData();
  VekTest::failedStreams().insert(stream);
  VekTest::fail(*fault, ENOSPC);
  return EOF;
}

void __wrap_rewind(std::FILE* stream) {
  VekTest::callOrFail(
      [&] {
        __real_rewind(stream);
        return 0;
      },
      -1, EIO);
}

int __wrap_setvbuf(std::FILE* stream, char* buffer, int mode, std::size_t size) {
  return VekTest::callOrFail([&] { return __real_setvbuf(stream, buffer, mode, size); }, -1,
                             ENOMEM);
}

int __wrap_ferror(std::FILE* stream) {
  return VekTest::failedStreams().count(stream) > 0 ? 1 : __real_ferror(stream);
}

void __wrap_clearerr(std::FILE* stream) {
  VekTest::failedStreams().erase(stream);
  __real_clearerr(stream);
}

int __wrap_fstat(int file, struct stat* status) {
  return VekTest::callOrFail([&] { return __real_fstat(file, status); }, -1, EIO);
}

int __wrap_stat(const char* path, struct stat* status) {
  return VekTest::callOrFail([&] { return __real_stat(path, status); }, -1, EIO);
}

ssize_t __wrap_pread(int file, void* data, std::size_t size, off_t offset) {
  return VekTest::moveBytes(
      [&](std::size_t number) { return __real_pread(file, data, number, offset); }, size, EIO);
}

ssize_t __wrap_pwrite(int file, const void* data, std::size_t size, off_t offset) {
  return VekTest::moveBytes(
      [&](std::size_t number) { return __real_pwrite(file, data, number, offset); }, size, ENOSPC);
}

ssize_t __wrap_preadv(int file, const iovec* pieces, int count, off_t offset) {
  return VekTest::moveBytes(
      [&](std::size_t number) {
        const VekTest::FirstPieces first(pieces, count, number);
        return __real_preadv(file, first.data(), first.count(), offset);
      },
      VekTest::FirstPieces::sizeOf(pieces, count), EIO);
}

ssize_t __wrap_pwritev(int file, const iovec* pieces, int count, off_t offset) {
  return VekTest::moveBytes(
      [&](std::size_t number) {
        const VekTest::FirstPieces first(pieces, count, number);
        return __real_pwritev(file, first.data(), first.count(), offset);
      },
      VekTest::FirstPieces::sizeOf(pieces, count), ENOSPC);
}

ssize_t __wrap_writev(int file, const iovec* pieces, int count) {
  return VekTest::moveBytes(
      [&](std::size_t number) {
        const VekTest::FirstPieces first(pieces, count, number);
        return __real_writev(file, first.data(), first.count());
      },
      VekTest::FirstPieces::sizeOf(pieces, count), ENOSPC);
}

ssize_t __wrap_read(int file, void* data, std::size_t size) {
  return VekTest::moveBytes([&](std::size_t number) { return __real_read(file, data, number); },
                            size, EIO);
}

ssize_t __wrap_write(int file, const void* data, std::size_t size) {
  return VekTest::moveBytes([&](std::size_t number) { return __real_write(file, data, number); },
                            size, ENOSPC);
}

off_t __wrap_lseek(int file, off_t offset, int whence) {
  return VekTest::callOrFail([&] { return __real_lseek(file, offset, whence); },
                             static_cast<off_t>(-1), EIO);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

}  // extern "C"
