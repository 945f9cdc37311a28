// SPDX-License-Identifier: Apache-2.0
//
// The test file writer: the file that it writes, byte for byte, and its errors.

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "SceneImage.h"
#include "ToolRun.h"
#include "vekUtils.h"

namespace {

using namespace VekTest;
using ::testing::HasSubstr;

/// Every byte of the file, with the offset of every header in front of it.
ByteImage testFile() {
  ByteImage image;
  image.header("DVEK", 5, 8).int64(1);                       // 0
  image.header("META", 1, 176);                              // 24
  image.header("NSAM", 5, 8).int64(0);                       // 40
  image.header("SPAC", 5, 8).int64(0);                       // 64
  image.header("NOBJ", 5, 8).int64(2);                       // 88
  image.header("DOBJ", 1, 20);                               // 112
  image.header("NAME", 2, 4).cstr("foo");                    // 128
  image.header("DOBJ", 1, 20);                               // 148
  image.header("NAME", 2, 4).cstr("bar");                    // 164
  image.header("ABCD", 2, 16).cstr("aaa").cstr("bbb");       // 184
  image.cstr("ccc").cstr("ddd");                             //
  image.header("SAMS", 1, 312);                              // 216
  image.header("JSAM", 5, 8).int64(288);                     // 232
  image.header("FREE", 0, 16).zeros(16);                     // 256
  image.header("SAMP", 1, 240);                              // 288
  image.header("JOBJ", 5, 16).int64(336).int64(416);         // 304
  image.header("SOBJ", 1, 64);                               // 336
  image.header("POSI", 4, 16).raw(floats({0, 1, 2, 3}));     // 352
  image.header("VELO", 4, 16).raw(floats({0, 2, 4, 6}));     // 384
  image.header("SOBJ", 1, 112);                              // 416
  image.header("POSI", 4, 40);                               // 432
  image.raw(floats({0, 3, 6, 9, 12, 15, 18, 21, 24, 27}));   //
  image.header("VELO", 4, 40);                               // 488
  image.raw(floats({0, 4, 8, 12, 16, 20, 24, 28, 32, 36}));  //
  return image;                                              // 544
}

ToolRun run(const char* filename) {
  return runTool(vektest, filename);
}

std::string messageOf(const std::string& errors) {
  return reportedMessage(errors, "vektest at vekUtils:", " Error ");
}

const std::vector<std::string>& messages() {
  static const std::vector<std::string> all = {
      "opening file",        "writing DVEK chunk",  "writing META chunk", "starting SAMS chunk",
      "starting SAMP chunk", "starting SOBJ chunk", "writing POS chunk",  "writing VELO chunk",
      "ending SOBJ chunk",   "ending SAMP chunk",   "end SAMS chunk",     "closing VEK file"};
  return all;
}

using VektestTest = FileTest;

TEST_F(VektestTest, writesTheFixedFile) {
  const ToolRun r = run(path().c_str());
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.output, "");
  EXPECT_EQ(r.errors, "");
  EXPECT_EQ(readFile(path()), testFile().bytes());
}

TEST_F(VektestTest, writesTheRecordedFile) {
  ASSERT_EQ(run(path().c_str()).result, 0);
  EXPECT_EQ(readFile(path()), readFile(std::string(VEK_GOLDEN_DIR) + "/test_file.vek"));
}

TEST_F(VektestTest, replacesWhatWasThere) {
  writeFile(std::string(100000, 'x'));
  ASSERT_EQ(run(path().c_str()).result, 0);
  EXPECT_EQ(readFile(path()), testFile().bytes());
}

TEST_F(VektestTest, fileHeaderStoresVersionOne) {
  ASSERT_EQ(run(path().c_str()).result, 0);
  EXPECT_EQ(Vek::VekCache(path().c_str()).getVersion(), 1);
}

TEST_F(VektestTest, cacheSeesNoSamples) {
  ASSERT_EQ(run(path().c_str()).result, 0);
  bool ok = false;
  const OpenCache cache(path().c_str(), true, &ok);
  EXPECT_TRUE(ok);
  EXPECT_EQ(cache.getNumSamples(), 0);
  EXPECT_EQ(cache.getFirstTime(), kInfinity);
  EXPECT_EQ(cache.getLastTime(), -kInfinity);
  EXPECT_EQ(cache.getSpace(), 0);
  EXPECT_FALSE(cache.isAnimated());
  ASSERT_EQ(cache.getNumObjects(), 2);
  EXPECT_EQ(cache.getName(0), "foo");
  EXPECT_EQ(cache.getName(1), "bar");
}

TEST_F(VektestTest, dumpListsDefinitionsAndObjects) {
  ASSERT_EQ(run(path().c_str()).result, 0);
  int result = -1;
  const std::string dump = captureStdout([&] { result = vek2txt(path().c_str()); });
  EXPECT_EQ(result, 0);
  EXPECT_THAT(dump, HasSubstr("\n. DOBJ group (20) : #0\n. . NAME cstr (4) : foo \n"
                              ". DOBJ group (20) : #1\n. . NAME cstr (4) : bar \n"));
  EXPECT_THAT(dump, HasSubstr("\n. SAMP group (240) : #0\n"));
  EXPECT_THAT(dump, HasSubstr("\n. . SOBJ group (64) : #0\n"));
  EXPECT_THAT(dump, HasSubstr("\n. . SOBJ group (112) : #1\n"));
}

// --- Errors -------------------------------------------------------------------------------------

TEST_F(VektestTest, fileThatCannotBeOpenedIsReported) {
  for (const std::string& file : {path("missing/file.vek"), path(""), std::string()}) {
    const ToolRun r = run(file.c_str());
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(r.output, "");
    EXPECT_EQ(messageOf(r.errors), "opening file") << file;
  }
}

TEST_F(VektestTest, nullNameCannotBeOpened) {
  const ToolRun r = run(nullptr);
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(messageOf(r.errors), "opening file");
}

TEST_F(VektestTest, fullDeviceFails) {
  if (!std::filesystem::exists("/dev/full")) return;
  const ToolRun r = run("/dev/full");
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(r.output, "");
  EXPECT_THAT(messages(), ::testing::Contains(messageOf(r.errors)));
}

#if !defined(_WIN32)

/// Runs the writer in a child process whose files may not grow past a limit; its error stream is
/// the pipe.
ToolRun runWithFileLimit(const std::string& file, rlim_t limit) {
  int ends[2] = {-1, -1};
  EXPECT_EQ(::pipe(ends), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(ends[1], 2);
    ::close(ends[0]);
    std::signal(SIGXFSZ, SIG_IGN);
    const struct rlimit size = {limit, limit};
    if (::setrlimit(RLIMIT_FSIZE, &size) != 0) ::_exit(9);
    ::_exit(vektest(file.c_str()) == 0 ? 0 : 1);
  }
  ::close(ends[1]);
  ToolRun r;
  char buffer[512];
  for (ssize_t n = 0; (n = ::read(ends[0], buffer, sizeof(buffer))) > 0;) {
    r.errors.append(buffer, static_cast<std::size_t>(n));
  }
  ::close(ends[0]);
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  r.result = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return r;
}

TEST_F(VektestTest, anyBytesThatCannotBeWrittenFail) {
  const std::size_t whole = testFile().size();
  for (std::size_t limit = 0; limit < whole; limit += 17) {
    const ToolRun r = runWithFileLimit(path(), limit);
    EXPECT_EQ(r.result, 1) << limit;
    EXPECT_THAT(messages(), ::testing::Contains(messageOf(r.errors))) << limit;
  }
  EXPECT_EQ(runWithFileLimit(path(), whole - 1).result, 1);
  const ToolRun r = runWithFileLimit(path(), whole);
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.errors, "");
}

TEST_F(VektestTest, partlyWrittenFileStays) {
  EXPECT_EQ(runWithFileLimit(path(), 300).result, 1);
  ASSERT_TRUE(std::filesystem::exists(path()));
  EXPECT_LE(readFile(path()).size(), 300U);
}

#endif

TEST_F(VektestTest, nothingStaysOpen) {
  const auto before = numOpenFiles();
  run(path().c_str());
  run(path("missing/file.vek").c_str());
  run("/dev/full");
  EXPECT_EQ(numOpenFiles(), before);
}

}  // namespace
