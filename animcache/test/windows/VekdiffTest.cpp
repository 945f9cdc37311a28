// SPDX-License-Identifier: Apache-2.0
//
// The comparison of two files without a POSIX shell: where the dumps go, how diff is started, and
// what is returned.

#include <filesystem>
#include <string>

#include "CommandTest.h"
#include "SceneImage.h"
#include "vekUtils.h"

namespace {

using namespace VekTest;
namespace fs = std::filesystem;

/// The folder for temporary files has a blank in its name, and diff is the program for the tests.
class WindowsVekdiffTest : public CommandTest {
 protected:
  void SetUp() override {
    CommandTest::SetUp();
    m_dumps = path("vek diff dumps");  // Other processes compare at the same time.
    fs::create_directory(m_dumps);
    setEnvironment("TMP", m_dumps.string().c_str());
    setEnvironment("PATH", VEK_DIFF_DIR);
  }
  void TearDown() override {
    setEnvironment("TMP", m_tmp.c_str());
    setEnvironment("PATH", m_path.c_str());
    CommandTest::TearDown();
  }
  std::string vek(float value, const std::string& name) {
    return writeFile(join({int64Chunk("DVEK", 2), floatChunk("POSI", {value})}), name);
  }
  bool noDumpsLeft() const { return fs::is_empty(m_dumps); }

 private:
  static std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
  }

  fs::path m_dumps;
  const std::string m_tmp = variable("TMP");
  const std::string m_path = variable("PATH");
};

TEST_F(WindowsVekdiffTest, sameIsZeroAndNoDumpStays) {
  EXPECT_EQ(vekdiff(vek(1, "one").c_str(), vek(1, "two").c_str(), nullptr), 0);
  EXPECT_TRUE(noDumpsLeft());
}

TEST_F(WindowsVekdiffTest, differentIsOneAndNoDumpStays) {
  EXPECT_EQ(vekdiff(vek(1, "one").c_str(), vek(2, "two").c_str(), ""), 1);
  EXPECT_TRUE(noDumpsLeft());
}

TEST_F(WindowsVekdiffTest, diffGetsTheOptionsAndBothDumpsInOrder) {
  const Outcome r =
      run("vekdiff", {"--diff-options=-a --label=\"x y\"", vek(1, "one"), vek(2, "two")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.output,
            "option <-a>\noption <--label=x y>\n"
            "DVEK int64 (8) : 2 \nPOSI float (4) : 1 \n---\n"
            "DVEK int64 (8) : 2 \nPOSI float (4) : 2 \n");
  EXPECT_EQ(r.errors, "");
}

// The command interpreter would end with 1 then, as for texts that differ.
TEST_F(WindowsVekdiffTest, missingDiffIsTroubleAndNoDumpStays) {
  const std::string file = vek(1, "one");
  setEnvironment("PATH", path("").c_str());
  EXPECT_EQ(captureStderr([&] { EXPECT_EQ(vekdiff(file.c_str(), file.c_str(), nullptr), -1); }),
            "diff: No such file or directory\n");
  EXPECT_EQ(run("vekdiff", {file, file}).status, 2);
  EXPECT_TRUE(noDumpsLeft());
}

TEST_F(WindowsVekdiffTest, otherFilesAreRefused) {
  const std::string file = vek(1, "one");
  captureStderr([&] {
    EXPECT_EQ(vekdiff(file.c_str(), writeFile("other bytes", "text").c_str(), nullptr), -1);
  });
  EXPECT_TRUE(noDumpsLeft());
}

}  // namespace
