// SPDX-License-Identifier: Apache-2.0
//
// Names that lead to no file of bytes: pipes, sockets, directories, devices. None is a cache, none
// is waited for, and what cannot be positioned is not written either.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "SceneImage.h"
#include "vekUtils.h"

namespace VekTest {

namespace {

using namespace Vek;

class UnseekableFileTest : public FileTest {
 protected:
  /// A reader that waits for ever would end the test here.
  void SetUp() override {
    FileTest::SetUp();
    ::alarm(30);
  }
  void TearDown() override {
    ::alarm(0);
    FileTest::TearDown();
  }

  static void expectRefused(const std::string& name) {
    EXPECT_FALSE(VekFile::isVekFile(name.c_str())) << name;
    for (const char* const mode : {"r", "r+", "w"}) {
      VekFile f;
      EXPECT_FALSE(f.open(name.c_str(), mode)) << name << " " << mode;
    }
    expectNoCache(name);
  }
  static void expectNoCache(const std::string& name) {
    OpenCache cache;
    const std::string output =
        captureStdout([&] { EXPECT_FALSE(cache.load(name.c_str(), true)) << name; });
    EXPECT_EQ(reportedMessage(output, "VekCache:", " "), "error opening file, Not a Vek file");
    captureStdout([&] {
      const std::string errors = captureStderr([&] {
        EXPECT_EQ(vekinfo(name.c_str()), -1);
        EXPECT_EQ(vek2txt(name.c_str()), -1);
      });
      EXPECT_THAT(errors, ::testing::HasSubstr(name + ": could not open file"));
      EXPECT_THAT(errors, ::testing::HasSubstr(name + ": is not a valid VEK file"));
    });
  }
  static void expectNotSaved(const std::string& name) {
    VekRwMemCache cache;
    ASSERT_NE(cache.allocSample(0, 0), nullptr);
    bool written = true;
    EXPECT_FALSE(cache.saveAs(name.c_str(), &written));
    EXPECT_FALSE(written);
    EXPECT_TRUE(cache.isDirty());
    EXPECT_NE(cache.getSample(0, 0), nullptr);
  }
};

TEST_F(UnseekableFileTest, namedPipeIsNotWaitedFor) {
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  expectRefused(path("pipe"));
  expectNotSaved(path("pipe"));
}

// As a shell hands over the output of another command.
TEST_F(UnseekableFileTest, pipeWithAFileInItIsNoCache) {
  Head head;
  const std::string bytes = headImage(head).bytes();
  int ends[2] = {};
  ASSERT_EQ(::pipe(ends), 0);
  ASSERT_EQ(::write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  const std::string name = "/dev/fd/" + std::to_string(ends[0]);
  expectRefused(name);
  std::string left(bytes.size(), '\0');
  EXPECT_EQ(::read(ends[0], left.data(), left.size()), static_cast<ssize_t>(left.size()));
  EXPECT_EQ(left, bytes) << "something was read";
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST_F(UnseekableFileTest, socketIsNoCache) {
  const int server = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(server, 0);
  struct sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path("s").size(), sizeof(address.sun_path));
  std::strcpy(address.sun_path, path("s").c_str());
  ASSERT_EQ(::bind(server, reinterpret_cast<struct sockaddr*>(&address), sizeof(address)), 0);
  expectRefused(path("s"));
  expectNotSaved(path("s"));
  ::close(server);
}

TEST_F(UnseekableFileTest, directoryIsNoCache) {
  expectNoCache(path("."));
  expectNotSaved(path("."));
}

TEST_F(UnseekableFileTest, terminalIsNotWaitedFor) {
  const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
  if (terminal < 0) return;  // no terminals here
  ASSERT_EQ(::grantpt(terminal), 0);
  ASSERT_EQ(::unlockpt(terminal), 0);
  expectRefused(::ptsname(terminal));
  ::close(terminal);
}

TEST_F(UnseekableFileTest, devicesAreNoCaches) {
  for (const char* const name : {"/dev/null", "/dev/zero", "/dev/urandom"}) expectNoCache(name);
}

TEST_F(UnseekableFileTest, fileBehindALinkOrADescriptorIsACache) {
  Head head;
  const std::string file = writeFile(headImage(head));
  std::filesystem::create_symlink(file, path("link"));
  const int descriptor = ::open(file.c_str(), O_RDONLY);
  ASSERT_GE(descriptor, 0);
  for (const std::string& name : {path("link"), "/dev/fd/" + std::to_string(descriptor)}) {
    bool ok = false;
    const VekCache cache(name.c_str(), true, &ok);
    EXPECT_TRUE(ok) << name;
  }
  ::close(descriptor);
}

// The pipe stands where the file of a loaded cache was.
TEST_F(UnseekableFileTest, samplesAreNotAwaitedFromAPipe) {
  Head head;
  head.numSamples = 1;
  head.definitions = {definition("|a")};
  ByteImage image = headImage(head);
  addStream(image, emptySamples(1, 1));
  const std::string file = writeFile(image);
  bool ok = false;
  VekRwMemCache cache(file.c_str(), false, &ok);
  ASSERT_TRUE(ok);
  std::filesystem::remove(file);
  ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
  EXPECT_EQ(cache.getSample(0, 0), nullptr);
  ASSERT_NE(cache.allocSample(1, 0), nullptr);
  EXPECT_FALSE(cache.append());
  EXPECT_FALSE(cache.save());
}

}  // namespace

}  // namespace VekTest
