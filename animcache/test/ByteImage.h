// SPDX-License-Identifier: Apache-2.0
//
// Helpers of the tests: byte images written by hand, files in a folder of their own, and captured
// output streams.

#ifndef VEK_TEST_BYTE_IMAGE_H
#define VEK_TEST_BYTE_IMAGE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include "System.h"

namespace VekTest {

/// Builds the bytes of a file piece by piece, independently of the library.
class ByteImage {
 public:
  /// Appends raw bytes; the form with a length may hold NULs.
  ByteImage& raw(const std::string& bytes) {
    m_bytes += bytes;
    return *this;
  }
  ByteImage& raw(const ByteImage& other) { return raw(other.m_bytes); }
  template <typename T>
  ByteImage& value(T v) {
    char bytes[sizeof(T)];
    std::memcpy(bytes, &v, sizeof(T));
    m_bytes.append(bytes, sizeof(T));
    return *this;
  }
  ByteImage& int32(std::int32_t v) { return value(v); }
  ByteImage& int64(std::int64_t v) { return value(v); }
  ByteImage& float32(float v) { return value(v); }
  ByteImage& float64(double v) { return value(v); }
  /// Appends the text and a NUL.
  ByteImage& cstr(const std::string& text) {
    m_bytes += text;
    m_bytes.push_back('\0');
    return *this;
  }
  ByteImage& zeros(std::size_t count) {
    m_bytes.append(count, '\0');
    return *this;
  }
  /// Appends a 16-byte chunk header.
  ByteImage& header(const char* tag, int type, std::int64_t length, int compound = 0,
                    int dimension = 0, int reserved = 0) {
    m_bytes.append(tag, 4);
    m_bytes.push_back(static_cast<char>(type));
    m_bytes.push_back(static_cast<char>(compound));
    m_bytes.push_back(static_cast<char>(dimension));
    m_bytes.push_back(static_cast<char>(reserved));
    return int64(length);
  }
  /// Appends a chunk: its header, with the true length, and its payload.
  ByteImage& chunk(const char* tag, int type, const ByteImage& payload, int compound = 0,
                   int dimension = 0) {
    return header(tag, type, static_cast<std::int64_t>(payload.size()), compound, dimension)
        .raw(payload);
  }

  std::size_t size() const { return m_bytes.size(); }
  const std::string& bytes() const { return m_bytes; }

 private:
  std::string m_bytes;
};

/// A test with a folder of its own, removed at the end.
class FileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "_" + info->name();
    std::replace(name.begin(), name.end(), '/', '_');
    m_folder = std::filesystem::temp_directory_path() /
               ("vek_" + std::to_string(processId()) + "_" + name);
    std::filesystem::create_directories(m_folder);
  }
  /// After the members of a test: Windows removes no file that is open.
  ~FileTest() override {
    std::error_code error;
    std::filesystem::remove_all(m_folder, error);
    EXPECT_FALSE(error) << m_folder << ": " << error.message();
  }

  std::string path(const std::string& name = "file.vek") const {
    return (m_folder / name).string();
  }
  /// Writes a file and returns its path.
  std::string writeFile(const std::string& bytes, const std::string& name = "file.vek") const {
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }
  std::string writeFile(const ByteImage& image, const std::string& name = "file.vek") const {
    return writeFile(image.bytes(), name);
  }
  static std::string readFile(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

 private:
  std::filesystem::path m_folder;
};

/// What a call writes to the standard output or error stream.
template <typename Call>
std::string captureStdout(Call call) {
  ::testing::internal::CaptureStdout();
  call();
  return ::testing::internal::GetCapturedStdout();
}
template <typename Call>
std::string captureStderr(Call call) {
  ::testing::internal::CaptureStderr();
  call();
  return ::testing::internal::GetCapturedStderr();
}

}  // namespace VekTest

#endif
