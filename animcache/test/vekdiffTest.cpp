// SPDX-License-Identifier: Apache-2.0
//
// The comparison of two files: the text of the dumps, the fixed temporary files, the commands given
// to the shell and what they return, and the errors.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ByteImage.h"
#include "DumpFolder.h"
#include "OpenFault.h"
#include "SceneImage.h"
#include "vekUtils.h"

namespace {

namespace fs = std::filesystem;
using namespace VekTest;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

const std::string kRemove1 = "rm " + kDump1 + ";";
const std::string kRemove2 = "rm " + kDump2 + ";";
const std::string kRemoveBoth = kRemove1 + kRemove2;
const std::string kHead = "DVEK int64 (8) : 2 \n";
constexpr std::int64_t kMostNegative = std::numeric_limits<std::int64_t>::min();

std::string diffCommand(const std::string& options) {
  return "diff " + options + " " + kDump1 + " " + kDump2 + ";";
}

ByteImage leaf(const char* tag, int type, const std::string& payload, int compound = 0,
               int dimension = 0) {
  return ByteImage().chunk(tag, type, ByteImage().raw(payload), compound, dimension);
}

/// What a comparison asks of the shell, in order, and what happens before and instead of it.
struct Shell {
  std::vector<std::string> commands;
  std::function<void(const std::string&)> before;
  std::function<int(const std::string&)> answer;
};
Shell* shell = nullptr;

}  // namespace

// Stands before the C library's function of this name, so that the exact commands are seen.
extern "C" int system(const char* command) {
  const auto real = reinterpret_cast<int (*)(const char*)>(::dlsym(RTLD_NEXT, "system"));
  if (shell == nullptr || command == nullptr) return real(command);
  shell->commands.emplace_back(command);
  if (shell->before) shell->before(command);
  return shell->answer ? shell->answer(command) : real(command);
}

namespace {

class VekdiffTest : public FileTest {
 protected:
  void SetUp() override {
    FileTest::SetUp();
    ASSERT_NO_FATAL_FAILURE(m_dumpFolder.take());
    m_shell.before = [this](const std::string& command) {
      if (command.compare(0, 5, "diff ") == 0) m_dumps = {readFile(kDump1), readFile(kDump2)};
    };
    shell = &m_shell;
    m_good = vek(floatChunk("POSI", {1.0F}), "good");
    m_plain = vek({}, "plain");
    m_damaged =
        vek(join({group("META", int64Chunk("NSAM", 0)), leaf("POSI", 4, "odd")}), "damaged");
  }
  void TearDown() override {
    shell = nullptr;
    m_dumpFolder.release();
    FileTest::TearDown();
  }

  int compare(const char* file1, const char* file2, const char* options = nullptr) {
    m_shell.commands.clear();
    m_dumps = {};
    int result = 0;
    m_output = captureStdout(
        [&] { m_errors = captureStderr([&] { result = vekdiff(file1, file2, options); }); });
    return result;
  }
  int compare(const std::string& file1, const std::string& file2, const char* options = nullptr) {
    return compare(file1.c_str(), file2.c_str(), options);
  }
  /// A file that begins with a file header.
  std::string vek(const ByteImage& chunks, const std::string& name) const {
    return writeFile(join({int64Chunk("DVEK", 2), chunks}), name);
  }
  /// The dump of a file as diff finds it, without the line of the file header.
  std::string linesOf(const ByteImage& chunks) {
    const std::string file = vek(chunks, "lines");
    EXPECT_EQ(compare(file, file), 0);
    EXPECT_EQ(m_errors, "");
    EXPECT_EQ(m_dumps.first, m_dumps.second);
    EXPECT_EQ(m_dumps.first.substr(0, kHead.size()), kHead);
    return m_dumps.first.substr(std::min(kHead.size(), m_dumps.first.size()));
  }
  /// The comparison fails with one error line, prints nothing, and runs no diff.
  void expectError(const std::string& file1, const std::string& file2, const std::string& detail) {
    EXPECT_EQ(compare(file1, file2), -1);
    EXPECT_EQ(this->detail(), detail);
    EXPECT_EQ(m_output, "");
    for (const std::string& command : m_shell.commands) EXPECT_NE(command.substr(0, 4), "diff");
  }
  std::string detail() const {
    return reportedMessage(m_errors, "vekdiff at vekUtils:", " Error ");
  }
  /// Names of files that are no VEK files.
  std::vector<std::string> others() const {
    const std::string header = int64Chunk("DVEK", 2).bytes();
    fs::create_directory(path("folder"));
    return {writeFile("", "empty"), writeFile("a text of more than sixteen bytes", "text"),
            writeFile(header.substr(0, 15), "short"), path("missing"), path("folder")};
  }

  Shell m_shell;
  std::pair<std::string, std::string> m_dumps;
  std::string m_output;
  std::string m_errors;
  std::string m_good;     ///< one leaf behind the file header
  std::string m_plain;    ///< the file header alone
  std::string m_damaged;  ///< a group with a leaf, and a leaf that cannot be read

 private:
  DumpFolder m_dumpFolder;
};

// --- Result -------------------------------------------------------------------------------------

TEST_F(VekdiffTest, filesThatDifferOnlyInTheirDatesGiveZeroAndPrintNothing) {
  EXPECT_EQ(compare(vek(group("META", int64Chunk("DATE", 1)), "a"),
                    vek(group("META", int64Chunk("DATE", 2000000000)), "b")),
            0);
  EXPECT_EQ(m_output, "");
  EXPECT_EQ(m_errors, "");
}

TEST_F(VekdiffTest, filesThatDifferGiveTheStatusOfSystemNotTheExitStatus) {
  EXPECT_EQ(compare(m_good, vek(floatChunk("POSI", {2.0F}), "b")), 256);
  EXPECT_EQ(m_output, "2c2\n< POSI float (4) : 1 \n---\n> POSI float (4) : 2 \n");
  EXPECT_EQ(m_errors, "");
}

TEST_F(VekdiffTest, troubleOfDiffIsReturnedAsSystemReturnsIt) {
  EXPECT_EQ(compare(m_plain, m_plain, "--no-such-option"), 512);
  EXPECT_THAT(m_errors, HasSubstr("no-such-option"));
}

TEST_F(VekdiffTest, whateverSystemReturnsForDiffIsReturned) {
  for (const int status : {0, 1, 256, 32512, 9, -1, 12345678}) {
    m_shell.answer = [&](const std::string& c) { return c[0] == 'd' ? status : 77; };
    EXPECT_EQ(compare(m_plain, m_plain), status);
    EXPECT_EQ(m_errors, "");
  }
}

// --- Commands -----------------------------------------------------------------------------------

TEST_F(VekdiffTest, nullOptionsAreTwoBlanksBeforeThePaths) {
  EXPECT_EQ(compare(m_plain, m_plain, nullptr), 0);
  EXPECT_THAT(m_shell.commands, ElementsAre("diff  " + kDump1 + " " + kDump2 + ";", kRemoveBoth));
}

TEST_F(VekdiffTest, optionsArePassedAsTheyStand) {
  const std::string longOptions = "-q" + std::string(20000, ' ') + "-s";
  for (const char* options : {"", "  -u  --label 'a b' --label \"c\"", "-q >/dev/null; diff -s",
                              "\t-I '^DVEK.*$' 2>&1", longOptions.c_str()}) {
    EXPECT_EQ(compare(m_plain, m_plain, options), 0) << options;
    EXPECT_THAT(m_shell.commands, ElementsAre(diffCommand(options), kRemoveBoth));
  }
  EXPECT_EQ(m_output, "Files " + kDump1 + " and " + kDump2 + " are identical\n");
}

TEST_F(VekdiffTest, unifiedOptionPrintsContext) {
  EXPECT_EQ(compare(m_plain, m_good, "-u"), 256);
  EXPECT_THAT(m_output, MatchesRegex("--- " + kDump1 + "\t[^\n]*\n\\+\\+\\+ " + kDump2 +
                                     "\t[^\n]*\n@@ -1 \\+1,2 @@\n DVEK int64 \\(8\\) : 2 \n"
                                     "\\+POSI float \\(4\\) : 1 \n"));
}

TEST_F(VekdiffTest, lineFormatOptionsPrintBothDumps) {
  const char* options =
      "--old-line-format='1%L' --new-line-format='2%L' --unchanged-line-format=%L";
  EXPECT_EQ(compare(m_good, vek(group("META", int64Chunk("DATE", 3)), "b"), options), 256);
  EXPECT_EQ(m_output, kHead + "1POSI float (4) : 1 \n2META group (24)\n2DATE skipped\n");
}

TEST_F(VekdiffTest, optionsReachTheShell) {
  EXPECT_EQ(compare(m_plain, m_plain, "/dev/null /dev/null; exit 7; :"), 7 << 8);
  EXPECT_EQ(compare(m_plain, m_plain, "/dev/null /dev/null; kill -9 $$; :"), 9);
}

TEST_F(VekdiffTest, fileNamesDoNotReachTheShell) {
  for (const char* name : {"a b", "-q", "it's", "\"quoted\"", "$(touch x)", "a;exit 3", "*"}) {
    EXPECT_EQ(compare(vek({}, name), m_plain), 0) << name;
    EXPECT_EQ(compare(m_plain, path(name)), 0) << name;
    EXPECT_THAT(m_shell.commands, ElementsAre(diffCommand(""), kRemoveBoth));
  }
}

// --- Temporary files ----------------------------------------------------------------------------

TEST_F(VekdiffTest, dumpsAreCompleteWhenDiffRunsAndGoneWhateverItSays) {
  for (const char* options : {"", "--no-such-option", "/dev/null /dev/null; exit 3; :"}) {
    EXPECT_NE(compare(m_good, m_plain, options), 0);
    EXPECT_EQ(m_dumps.first, kHead + "POSI float (4) : 1 \n") << options;
    EXPECT_EQ(m_dumps.second, kHead) << options;
    EXPECT_FALSE(fs::exists(kDump1) || fs::exists(kDump2)) << options;
  }
}

TEST_F(VekdiffTest, staleDumpsAreRemovedByTheShellAndWrittenAnew) {
  std::ofstream(kDump1) << std::string(100000, 'x');
  std::ofstream(kDump2) << std::string(100000, 'y');
  EXPECT_EQ(compare(m_plain, m_plain, "--unchanged-line-format=%L"), 0);
  EXPECT_EQ(m_output, kHead);
  EXPECT_EQ(m_shell.commands.at(0), kRemove1);
  EXPECT_EQ(m_shell.commands.at(1), kRemove2);
  EXPECT_EQ(m_shell.commands.size(), 4U);
}

TEST_F(VekdiffTest, onlyTheDumpThatExistsIsRemovedBefore) {
  std::ofstream(kDump1) << "stale";
  EXPECT_EQ(compare(m_plain, m_plain), 0);
  EXPECT_THAT(m_shell.commands, ElementsAre(kRemove1, diffCommand(""), kRemoveBoth));
}

TEST_F(VekdiffTest, firstDumpIsCompleteBeforeTheSecondIsBegun) {
  std::ofstream(kDump2) << "stale";
  m_shell.before = [&](const std::string& c) {
    if (c == kRemove2) m_dumps.first = readFile(kDump1);
  };
  EXPECT_EQ(compare(m_plain, m_plain), 0);
  EXPECT_EQ(m_dumps.first, kHead);
}

// A link is removed, not written through.
TEST_F(VekdiffTest, staleLinkLeavesItsTargetAlone) {
  fs::create_symlink(writeFile("precious", "target"), kDump1);
  EXPECT_EQ(compare(m_plain, m_plain), 0);
  EXPECT_EQ(readFile(path("target")), "precious");
}

// The file is open before the stale dump is removed, so it may be the stale dump.
TEST_F(VekdiffTest, firstFileIsOpenedBeforeTheStaleDumpIsRemoved) {
  fs::copy_file(m_good, kDump1);
  EXPECT_EQ(compare(kDump1, m_good), 0);
}

TEST_F(VekdiffTest, folderInThePlaceOfADumpIsReported) {
  for (const std::string& dump : {kDump1, kDump2}) {
    fs::create_directory(dump);
    EXPECT_EQ(compare(m_plain, m_plain), -1);
    // The shell's rm complains first.
    m_errors.erase(0, std::min(m_errors.find("vekdiff at "), m_errors.size()));
    EXPECT_THAT(detail(), HasSubstr(dump));
    EXPECT_THAT(m_shell.commands, ElementsAre("rm " + dump + ";"));
    fs::remove(dump);
  }
  EXPECT_EQ(readFile(kDump1), kHead);
}

TEST_F(VekdiffTest, missingFolderIsReported) {
  const std::string aside = std::string(kDumpFolder) + ".aside";
  ASSERT_EQ(::rename(kDumpFolder, aside.c_str()), 0) << "cannot move " << kDumpFolder << " aside";
  EXPECT_EQ(compare(m_plain, m_plain), -1);
  ASSERT_EQ(::rename(aside.c_str(), kDumpFolder), 0) << "please move it back: " << aside;
  EXPECT_THAT(detail(), HasSubstr(kDump1));
  EXPECT_THAT(m_shell.commands, IsEmpty());
}

// On a full disk a short dump fails only when the text file is closed.
TEST_F(VekdiffTest, dumpThatCannotBeWrittenWholeIsReported) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit full{1024, before.rlim_max};
  for (const std::size_t count : {600U, 300000U}) {
    const std::string big = vek(floatChunk("POSI", std::vector<float>(count, 1.0F)), "big");
    for (const bool first : {true, false}) {
      const auto handler = std::signal(SIGXFSZ, SIG_IGN);
      ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);
      const int result = first ? compare(big, m_plain) : compare(m_plain, big);
      ::setrlimit(RLIMIT_FSIZE, &before);
      std::signal(SIGXFSZ, handler);
      EXPECT_EQ(result, -1) << count;
      EXPECT_THAT(detail(), HasSubstr(first ? kDump1 : kDump2)) << count;
      EXPECT_TRUE(fs::remove(first ? kDump1 : kDump2)) << "left in place";
      fs::remove(kDump1);
    }
  }
}

// --- Dumps --------------------------------------------------------------------------------------

TEST_F(VekdiffTest, groupsAndSamplesAreHeadersWithoutIndentationAndNumbers) {
  EXPECT_EQ(linesOf(join({definition("a"), group("DOBJ", {}),
                          group("SAMP", group("SOBJ", floatChunk("POSI", {1.0F, 2.5F}))),
                          group("SAMP", group("SOBJ", {}))})),
            "DOBJ group (18)\nNAME cstr (2) : a \nDOBJ group (0)\nSAMP group (40)\n"
            "SOBJ group (24)\nPOSI float (8) : 1 2.5 \nSAMP group (16)\nSOBJ group (0)\n");
}

TEST_F(VekdiffTest, emptyChunkOfAnyTypeIsItsHeader) {
  EXPECT_EQ(linesOf(join({leaf("NULL", 0, ""), leaf("NULL", 2, ""), leaf("NULL", 4, "", 1, 3),
                          leaf("NULL", 6, "", 4, 16), leaf("NULL", 9, ""), leaf("SAMP", 3, "")})),
            "NULL undef (0)\nNULL cstr (0)\nNULL float (0) point 3d\n"
            "NULL double (0) transform 4x4\nNULL  (0)\nSAMP int32 (0)\n");
}

TEST_F(VekdiffTest, leafIsItsHeaderAndEveryValueWithABlank) {
  const ByteImage third = ByteImage().float64(1.0 / 3.0);
  EXPECT_EQ(linesOf(join({ByteImage().chunk("INTS", 3, ByteImage().int32(1).int32(-2)),
                          int64Chunk("LONG", kMostNegative), textChunk("TEXT", {"a b", "", "c"}),
                          leaf("BYTE", 0, "xyz"), ByteImage().chunk("DBLS", 6, third),
                          ByteImage().chunk("POSI", 4, floats({1.0F / 3, 1e-8F, 0.1F}), 1, 3)})),
            "INTS int32 (8) : 1 -2 \nLONG int64 (8) : -9223372036854775808 \n"
            "TEXT cstr (7) : a b  c \nBYTE undef (3) : x y z \n"
            "DBLS double (8) : 0.3333333333333333 \n"
            "POSI float (12) point 3d : 0.33333334 9.9999999e-09 0.1 \n");
}

// The chunk object made for an unknown type keeps its own header, so its length is not compared.
TEST_F(VekdiffTest, unknownTypeWithPayloadPrintsLengthZero) {
  EXPECT_EQ(linesOf(leaf("WHAT", 9, "payload", 1, 3)), "WHAT  (0) : \n");
  EXPECT_EQ(compare(path("lines"), vek(leaf("WHAT", 9, "another"), "b")), 0);
}

TEST_F(VekdiffTest, dateLeafIsSkippedWhereverItStandsAndWhateverItsType) {
  EXPECT_EQ(
      linesOf(join({leaf("DATE", 0, "x"), textChunk("DATE", {"today"}), leaf("DATE", 6, "odd"),
                    leaf("DATE", 9, "bytes", 1, 3), group("META", int64Chunk("DATE", 9)),
                    group("SOBJ", join({int64Chunk("DATE", 1), floatChunk("DATE", {2.0F}),
                                        floatChunk("POSI", {1.0F})}))})),
      "DATE skipped\nDATE skipped\nDATE skipped\nDATE skipped\nMETA group (24)\n"
      "DATE skipped\nSOBJ group (64)\nDATE skipped\nDATE skipped\nPOSI float (4) : 1 \n");
}

TEST_F(VekdiffTest, dateOfNoLengthAndDateGroupAreHeaders) {
  EXPECT_EQ(
      linesOf(join({leaf("DATE", 5, ""), group("DATE", {}),
                    group("DATE", join({int64Chunk("DATE", 4), floatChunk("POSI", {1.0F})}))})),
      "DATE int64 (0)\nDATE group (0)\nDATE group (44)\nDATE skipped\nPOSI float (4) : 1 \n");
}

TEST_F(VekdiffTest, likeTagsAreNotTheDate) {
  EXPECT_EQ(linesOf(join({int64Chunk("date", 1), int64Chunk("DATR", 2)})),
            "date int64 (8) : 1 \nDATR int64 (8) : 2 \n");
}

// A skip past the end is noticed only by the next header, which ends the dump.
TEST_F(VekdiffTest, dumpEndsWhereNoHeaderCanBeRead) {
  EXPECT_EQ(linesOf(ByteImage().raw("POSI\4")), "");
  EXPECT_EQ(linesOf(ByteImage().header("DATE", 5, 8).raw("cut")), "DATE skipped\n");
  EXPECT_EQ(linesOf(ByteImage().header("GRUP", 1, 1 << 20).raw(floatChunk("POSI", {1.0F}))),
            "GRUP group (1048576)\nPOSI float (4) : 1 \n");
}

// What the tree dump shows, less depth, numbers, the colon behind bare headers, and the date.
TEST_F(VekdiffTest, recordedFilesDumpAsRecorded) {
  int files = 0;
  for (const auto& entry : fs::directory_iterator(VEK_GOLDEN_DIR)) {
    if (entry.path().extension() != ".vek") continue;
    ++files;
    const fs::path recorded = fs::path(entry.path()).replace_extension(".dump.txt");
    std::istringstream tree(readFile(recorded.string()));
    std::string expected;
    for (std::string line; std::getline(tree, line);) {
      while (line.compare(0, 2, ". ") == 0) line.erase(0, 2);
      const std::string header = line.substr(0, line.find(" : "));
      const bool bare =
          header.substr(4, 7) == " group " || header.find(" (0)") != std::string::npos;
      if (!bare && line.substr(0, 4) == "DATE") line = "DATE skipped";
      expected += (bare ? header : line) + "\n";
    }
    EXPECT_EQ(compare(entry.path().string(), entry.path().string()), 0) << entry.path();
    EXPECT_EQ(m_dumps.first, expected) << entry.path();
    EXPECT_EQ(m_dumps.second, expected) << entry.path();
  }
  EXPECT_GT(files, 0);
}

TEST_F(VekdiffTest, dumpsDoNotFollowTheCallersLocale) {
  struct Grouped : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouped));
  const std::string lines =
      linesOf(join({ByteImage().chunk("INTS", 3, ByteImage().int32(1234567)),
                    floatChunk("POSI", {1.5F}), leaf("WORD", 2, std::string(1000, 'x'))}));
  std::locale::global(before);
  EXPECT_EQ(lines, "INTS int32 (4) : 1234567 \nPOSI float (4) : 1.5 \nWORD cstr (1000) : " +
                       std::string(1000, 'x') + " \n");
}

TEST_F(VekdiffTest, standardOutputStreamKeepsItsPrecision) {
  const std::streamsize before = std::cout.precision(3);
  linesOf(floatChunk("POSI", {0.1F}));
  EXPECT_EQ(std::cout.precision(before), 3);
}

// --- Errors -------------------------------------------------------------------------------------

TEST_F(VekdiffTest, firstFileMustBeAVekFile) {
  for (const std::string& other : others())
    expectError(other, m_good, other + ": is not a valid VEK file");
}

TEST_F(VekdiffTest, secondFileThatIsNoVekFileIsReportedUnderTheNameOfTheFirst) {
  for (const std::string& other : others())
    expectError(m_good, other, m_good + ": is not a valid VEK file");
  expectError(path("one"), path("two"), path("one") + ": is not a valid VEK file");
}

TEST_F(VekdiffTest, nullNamesAreNotValid) {
  EXPECT_EQ(compare(nullptr, m_good.c_str()), -1);
  EXPECT_THAT(detail(), EndsWith(": is not a valid VEK file"));
  EXPECT_EQ(compare(m_good.c_str(), nullptr), -1);
  EXPECT_EQ(detail(), m_good + ": is not a valid VEK file");
  EXPECT_EQ(compare(nullptr, nullptr, nullptr), -1);
  EXPECT_THAT(detail(), EndsWith(": is not a valid VEK file"));
}

TEST_F(VekdiffTest, bothFilesAreCheckedBeforeAnythingIsRemovedOrWritten) {
  std::ofstream(kDump1) << "stale";
  expectError(m_damaged, path("missing"), m_damaged + ": is not a valid VEK file");
  EXPECT_THAT(m_shell.commands, IsEmpty());
  EXPECT_EQ(readFile(kDump1), "stale");
  EXPECT_FALSE(fs::exists(kDump2));
}

// The first file is gone when it is opened again, after both were looked at.
TEST_F(VekdiffTest, firstFileThatCannotBeOpenedLeavesTheStaleDump) {
  std::ofstream(kDump1) << "stale";
  const OpenFault gone(3, path("missing"));
  expectError(m_plain, m_good, m_plain + ": could not open file");
  EXPECT_THAT(m_shell.commands, IsEmpty());
  EXPECT_EQ(readFile(kDump1), "stale");
}

// The second file goes while the first stale dump is removed.
TEST_F(VekdiffTest, secondFileThatCannotBeOpenedIsNamed) {
  std::ofstream(kDump1) << "stale";
  std::ofstream(kDump2) << "stale";
  m_shell.before = [&](const std::string&) { fs::remove(m_plain); };
  expectError(m_good, m_plain, m_plain + ": could not open file");
  EXPECT_THAT(m_shell.commands, ElementsAre(kRemove1));
  EXPECT_EQ(readFile(kDump1), kHead + "POSI float (4) : 1 \n");
  EXPECT_EQ(readFile(kDump2), "stale");
}

TEST_F(VekdiffTest, damagedFirstFileLeavesItsDumpAndTheSecondAlone) {
  std::ofstream(kDump2) << "stale";
  expectError(m_damaged, m_good, m_damaged + ": error reading leaf chunk");
  EXPECT_EQ(readFile(kDump1), kHead + "META group (24)\nNSAM int64 (8) : 0 \n");
  EXPECT_EQ(readFile(kDump2), "stale");
}

TEST_F(VekdiffTest, damagedSecondFileLeavesBothDumpsForTheNextRunToRemove) {
  expectError(m_good, m_damaged, m_damaged + ": error reading leaf chunk");
  EXPECT_EQ(readFile(kDump1), kHead + "POSI float (4) : 1 \n");
  EXPECT_EQ(readFile(kDump2), kHead + "META group (24)\nNSAM int64 (8) : 0 \n");
  EXPECT_EQ(compare(m_good, m_good), 0);
  EXPECT_THAT(m_shell.commands, ElementsAre(kRemove1, kRemove2, diffCommand(""), kRemoveBoth));
  EXPECT_FALSE(fs::exists(kDump1) || fs::exists(kDump2));
}

TEST_F(VekdiffTest, leafThatCannotBeReadIsReported) {
  const std::vector<ByteImage> table = {
      leaf("POSI", 4, "ten bytes."),
      leaf("POSI", 6, "twelve bytes"),
      leaf("POSI", 3, "odd"),
      leaf("POSI", 5, "four"),
      ByteImage().header("POSI", 4, 12).zeros(11),
      ByteImage().header("TEXT", 2, 1 << 30).raw("past the end"),
      ByteImage().header("BYTE", 0, std::int64_t{1} << 50).raw("past the end"),
      ByteImage().header("POSI", 4, -16),
      ByteImage().header("POSI", 5, kMostNegative),
      ByteImage().header("WHAT", 9, -40),
      ByteImage().header("DATE", 5, -24)};
  for (const ByteImage& image : table) {
    const std::string bad = vek(image, "bad");
    expectError(bad, m_damaged, bad + ": error reading leaf chunk");
    expectError(m_good, bad, bad + ": error reading leaf chunk");
  }
}

// The descriptor of the file is taken away while a stale dump is removed, so that closing it fails.
TEST_F(VekdiffTest, fileThatCannotBeClosedIsNamed) {
  for (const std::string& file : {m_good, m_plain}) {
    std::ofstream(file == m_good ? kDump1 : kDump2) << "stale";
    m_shell.before = [&](const std::string&) {
      std::error_code ignored;
      for (int fd = 3; fd < 256; ++fd)
        if (fs::read_symlink("/proc/self/fd/" + std::to_string(fd), ignored) == file) ::close(fd);
    };
    expectError(m_good, m_plain, file + ": error closing file");
    EXPECT_EQ(m_shell.commands.size(), 1U);
    EXPECT_TRUE(fs::remove(kDump1)) << "left in place";
  }
  EXPECT_TRUE(fs::exists(kDump2)) << "left in place";
}

TEST_F(VekdiffTest, filesAreClosedOnEveryPath) {
  const auto openFiles = [] {
    const fs::directory_iterator list("/proc/self/fd");
    return std::distance(fs::begin(list), fs::end(list));
  };
  const auto before = openFiles();
  EXPECT_EQ(compare(m_good, m_good), 0);
  EXPECT_EQ(compare(m_good, path("missing")), -1);
  EXPECT_EQ(compare(m_good, m_damaged), -1);
  EXPECT_EQ(compare(m_damaged, m_good), -1);
  fs::remove(kDump2);
  fs::create_directory(kDump2);
  EXPECT_EQ(compare(m_good, m_good), -1);
  EXPECT_EQ(openFiles(), before);
}

}  // namespace
