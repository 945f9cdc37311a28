// SPDX-License-Identifier: Apache-2.0
//
// The folder that vekdiff writes its dumps to. It is the same for all processes.

#ifndef VEK_TEST_DUMP_FOLDER_H
#define VEK_TEST_DUMP_FOLDER_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace VekTest {

const char* const kDumpFolder = "/disk1/tmp";
const std::string kDump1 = "/disk1/tmp/vek___diff___1.txt";
const std::string kDump2 = "/disk1/tmp/vek___diff___2.txt";

/// Makes the folder and holds it for one test at a time, in whichever process; leaves it as it was.
class DumpFolder {
 public:
  DumpFolder() = default;
  DumpFolder(const DumpFolder&) = delete;
  DumpFolder& operator=(const DumpFolder&) = delete;
  ~DumpFolder() { release(); }

  void take() {
    namespace fs = std::filesystem;
    const std::string lock = (fs::temp_directory_path() / "vek_diff_tests.lock").string();
    m_lock = ::open(lock.c_str(), O_RDONLY | O_CLOEXEC);
    if (m_lock < 0) m_lock = ::open(lock.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0666);
    ASSERT_TRUE(m_lock >= 0 && ::flock(m_lock, LOCK_EX) == 0) << "cannot lock " << lock;
    std::error_code error;
    for (const char* folder : {"/disk1", kDumpFolder})
      if (fs::create_directory(folder, error)) m_made.emplace_back(folder);
    ASSERT_TRUE(fs::is_directory(kDumpFolder, error) && ::access(kDumpFolder, W_OK | X_OK) == 0)
        << "A comparison writes into " << kDumpFolder << ", which is missing and cannot be made, "
        << "or cannot be written. Make it writable, or run the tests as root.";
    m_taken = true;
    for (const std::string& dump : {kDump1, kDump2})
      if (fs::exists(fs::symlink_status(dump))) fs::rename(dump, dump + ".kept");
  }
  void release() {
    namespace fs = std::filesystem;
    std::error_code ignored;
    for (const std::string& dump : {kDump1, kDump2}) {
      if (!m_taken) break;
      fs::remove_all(dump, ignored);
      fs::rename(dump + ".kept", dump, ignored);
    }
    m_taken = false;
    for (; !m_made.empty(); m_made.pop_back()) fs::remove(m_made.back(), ignored);
    if (m_lock >= 0) ::close(m_lock);
    m_lock = -1;
  }

 private:
  int m_lock = -1;
  bool m_taken = false;
  std::vector<std::string> m_made;
};

}  // namespace VekTest

#endif
