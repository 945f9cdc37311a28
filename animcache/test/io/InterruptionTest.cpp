// SPDX-License-Identifier: Apache-2.0
//
// Real troubles of the operating system: signals that interrupt system calls, and a device that is
// always full.

#include <gtest/gtest.h>
#include <sys/time.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "FaultScene.h"
#include "VekCache.h"
#include "vekUtils.h"

namespace {

using namespace Vek;
using namespace VekTest;

volatile std::sig_atomic_t numSignals = 0;

void countSignal(int) {
  numSignals = numSignals + 1;
}

/// For one scope, a signal every 50 microseconds that interrupts system calls: they are not begun
/// anew by themselves.
class SignalStorm {
 public:
  SignalStorm() {
    numSignals = 0;
    struct sigaction action = {};
    action.sa_handler = countSignal;
    sigaction(SIGALRM, &action, &m_before);
    const itimerval every = {{0, 50}, {0, 50}};
    setitimer(ITIMER_REAL, &every, nullptr);
  }
  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;
  ~SignalStorm() {
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &m_before, nullptr);
  }

 private:
  struct sigaction m_before = {};
};

const std::vector<ObjectKind> kKinds = {ObjectKind::channels, ObjectKind::mesh};

using InterruptionTest = FileTest;
using FullDeviceTest = FileTest;

TEST_F(InterruptionTest, signalsChangeNothingInLoadsAndSaves) {
  writeScene(path(), kKinds, {0, 1, 2});
  const std::string text = fileText(path());
  const std::string bytes = withoutDate(readFile(path()));
  const std::string copy = path("copy.vek");
  const SignalStorm storm;
  int rounds = 0;
  while (numSignals < 1000 || rounds < 20) {
    ++rounds;
    VekRwMemCache cache;
    ASSERT_TRUE(cache.load(path().c_str()));
    ASSERT_EQ(cacheText(cache), text);
    ASSERT_TRUE(cache.saveAs(copy.c_str()));
    ASSERT_EQ(withoutDate(readFile(copy)), bytes);
    std::vector<VekGroupChunk*> frame;
    ASSERT_TRUE(cache.allocFrame(3, frame));
    ASSERT_TRUE(cache.save());
    std::filesystem::remove(copy);
  }
}

// ---- A full device ------------------------------------------------------------------------------

constexpr const char* kFullDevice = "/dev/full";

TEST_F(FullDeviceTest, fullDeviceIsReportedNoLaterThanTheClose) {
  VekFile f;
  ASSERT_TRUE(f.open(kFullDevice, "w"));
  const bool written = f.writeChunk(Tag::POSI, std::vector<float>{1, 2, 3});
  EXPECT_FALSE(f.close() && written);
}

TEST_F(FullDeviceTest, fullDeviceLeavesTheCacheWholeAndDirty) {
  VekRwMemCache cache;
  buildScene(cache, kKinds, {0, 1, 2});
  const std::string text = cacheText(cache);
  bool written = true;
  EXPECT_FALSE(cache.saveAs(kFullDevice, &written));
  EXPECT_FALSE(written);
  EXPECT_TRUE(cache.isDirty());
  EXPECT_EQ(cacheText(cache), text);
  EXPECT_TRUE(cache.saveAs(path().c_str()));
  EXPECT_EQ(fileText(path()), text);
}

TEST_F(FullDeviceTest, testFileOnAFullDeviceFails) {
  const CapturedOutput quiet;
  EXPECT_EQ(vektest(kFullDevice), -1);
}

}  // namespace
