// SPDX-License-Identifier: Apache-2.0
//
// A file in memory whose bytes are changed from one variant to the next.

#ifndef VEK_TEST_VARIANT_FILE_H
#define VEK_TEST_VARIANT_FILE_H

#include <gtest/gtest.h>
#include <unistd.h>

#if defined(__linux__)
#include <sys/mman.h>
#endif

#include <cstdlib>
#include <string>

namespace VekTest {

class VariantFile {
 public:
  VariantFile() {
#if defined(__linux__)
    m_descriptor = ::memfd_create("variant", MFD_CLOEXEC);
    m_path = "/proc/self/fd/" + std::to_string(m_descriptor);
#else
    m_path = ::testing::TempDir() + "vek_variant_" + std::string(6, 'X');
    m_descriptor = ::mkstemp(m_path.data());
#endif
    EXPECT_GE(m_descriptor, 0);
  }
  VariantFile(const VariantFile&) = delete;
  VariantFile& operator=(const VariantFile&) = delete;
  ~VariantFile() {
    ::close(m_descriptor);
#if !defined(__linux__)
    ::unlink(m_path.c_str());
#endif
  }

  const char* path() const {
    return m_path.c_str();
  }

  void assign(const std::string& bytes) {
    const auto size = static_cast<off_t>(bytes.size());
    const bool written = ::ftruncate(m_descriptor, size) == 0 &&
                         ::pwrite(m_descriptor, bytes.data(), bytes.size(), 0) == size;
    if (!written) ADD_FAILURE() << "no room for a variant";
  }

 private:
  int m_descriptor = -1;
  std::string m_path;
};

}  // namespace VekTest

#endif
