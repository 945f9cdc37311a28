// SPDX-License-Identifier: Apache-2.0
//
// What Windows does otherwise than other systems, and callers do not see: line ends, exclusive
// creation, wrong modes, pipes, and times that its C library does not know.

#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "CommandTest.h"
#include "VekCache.h"
#include "vekUtils.h"

namespace {

using namespace VekTest;
using Vek::VekFile;
using Vek::VekHeader;

using WindowsPlatformTest = FileTest;

const std::vector<char> lineEnds = {'\n', '\r', '\n', '\x1a', '\n', '\r', '\x1a'};
const unsigned int tag = Vek::makeTag('D', 'A', 'T', 'A');

TEST_F(WindowsPlatformTest, bytesOfLineEndsAndTheEndOfTextsAreBytes) {
  for (const char* mode : {"w", "w+", "wx", "a"}) {
    const std::string name = path(mode);
    VekFile file;
    ASSERT_TRUE(file.open(name.c_str(), mode)) << mode;
    ASSERT_TRUE(file.writeChunk(VekHeader(tag, 0, 7), lineEnds.data()));
    ASSERT_TRUE(file.close());
    EXPECT_EQ(readFile(name).size(), 23U) << mode;
    VekHeader h;
    std::vector<char> read;
    ASSERT_TRUE(file.open(name.c_str(), "r")) << mode;
    EXPECT_TRUE(file.readHeader(h) && file.appendData(h, read)) << mode;
    EXPECT_EQ(read, lineEnds) << mode;
  }
}

TEST_F(WindowsPlatformTest, exclusiveCreationIsForBothDirectionsWithAPlus) {
  VekFile file;
  ASSERT_TRUE(file.open(path().c_str(), "w+x"));
  ASSERT_TRUE(file.writeChunk(VekHeader(tag, 0, 7), lineEnds.data()));
  ASSERT_TRUE(file.seek(0, SEEK_SET, true));
  VekHeader h;
  EXPECT_TRUE(file.readHeader(h));
  EXPECT_FALSE(file.open(path().c_str(), "w+x"));
}

// The C library would end the process.
TEST_F(WindowsPlatformTest, wrongModesOpenNothing) {
  writeFile("old");
  for (const char* mode : {"", "b", "x", "+r", "q", "R"})
    EXPECT_FALSE(VekFile(path().c_str(), mode).isOpen()) << mode;
  EXPECT_EQ(readFile(path()), "old");
}

TEST_F(WindowsPlatformTest, pipesAreRefused) {
  const std::string name = "\\\\.\\pipe\\vek_" + std::to_string(processId());
  const HANDLE server =
      ::CreateNamedPipeA(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 512, 512, 0, nullptr);
  ASSERT_NE(server, INVALID_HANDLE_VALUE);
  const auto before = numOpenFiles();
  EXPECT_FALSE(VekFile(name.c_str(), "r+").isOpen());
  EXPECT_EQ(numOpenFiles(), before);
  ::CloseHandle(server);
}

/// The name of a file, in the code page of the C library, that is not UTF-8.
std::string nameInCodePage() {
  char letter[8] = "";
  ::WideCharToMultiByte(CP_ACP, 0, L"\u00e9", 1, letter, sizeof(letter) - 1, nullptr, nullptr);
  return std::string("caf") + letter + ".vek";
}

TEST_F(WindowsPlatformTest, namesInTheCodePageAreNamesOfFiles) {
  const std::string name = path("") + nameInCodePage();
  EXPECT_EQ(vektest(name.c_str()), 0);
  Vek::VekRwMemCache cache(name.c_str());
  EXPECT_EQ(cache.getNumObjects(), 2);
  EXPECT_TRUE(cache.saveAs(name.c_str()));
}

using WindowsToolsTest = CommandTest;

TEST_F(WindowsToolsTest, namesInTheCodePageAreArguments) {
  const std::string name = path("") + nameInCodePage();
  EXPECT_EQ(run("vektest", {name}).status, 0);
  for (const char* tool : {"vekinfo", "vek2txt"}) {
    const Outcome r = run(tool, {name});
    EXPECT_EQ(r.status, 0) << tool;
    EXPECT_EQ(r.errors, "") << tool;
  }
}

/// The date of a head as it is printed.
std::string textOf(__int64 seconds) {
  Vek::VekMETAChunk meta;
  meta.dateStamp = seconds;
  std::ostringstream os;
  meta.print(os, 0);
  const std::string before = "date stamp = ";
  const std::string text = os.str();
  const std::size_t begin = text.find(before);
  if (begin == std::string::npos) return "no date in " + text;
  return text.substr(begin + before.size(), text.find('\n', begin) - begin - before.size());
}

TEST_F(WindowsPlatformTest, timesOutsideOfTheYearsOfTheCLibraryAreCalendarTimes) {
  const TimeZone utc("UTC");
  EXPECT_EQ(textOf(-1), "Wed Dec 31 23:59:59 1969");
  EXPECT_EQ(textOf(-12622780800), "Thu Jan  1 00:00:00 1570");
  EXPECT_EQ(textOf(-62135596800), "Mon Jan  1 00:00:00 1");
  EXPECT_EQ(textOf(32503680000), "Wed Jan  1 00:00:00 3000");
  EXPECT_EQ(textOf(253402300800), "Sat Jan  1 00:00:00 10000");
}

TEST_F(WindowsPlatformTest, timesBeyondAllYearsAreNumbers) {
  const TimeZone utc("UTC");
  EXPECT_EQ(textOf(std::numeric_limits<__int64>::max()), "9223372036854775807");
  EXPECT_EQ(textOf(std::numeric_limits<__int64>::min()), "-9223372036854775808");
}

}  // namespace
