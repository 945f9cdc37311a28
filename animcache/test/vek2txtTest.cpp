// SPDX-License-Identifier: Apache-2.0
//
// The text dump: the lines of every kind of chunk, the recorded dumps, the count of objects and the
// errors.

#include <gmock/gmock.h>

#include <filesystem>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "ByteImage.h"
#include "OpenFault.h"
#include "SceneImage.h"
#include "vekUtils.h"

namespace {

using namespace VekTest;

constexpr std::int64_t kMostNegative = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMostPositive = std::numeric_limits<std::int64_t>::max();

struct Dump {
  int result = 0;
  std::string output;
  std::string errors;
};

Dump dumpOf(const char* filename) {
  Dump dump;
  dump.output =
      captureStdout([&] { dump.errors = captureStderr([&] { dump.result = vek2txt(filename); }); });
  return dump;
}

std::string detailOf(const std::string& errors) {
  return reportedMessage(errors, "vek2txt at vekUtils:", " Error ");
}

class Vek2txtTest : public FileTest {
 protected:
  Dump dump(const std::string& bytes) { return dumpOf(writeFile(bytes).c_str()); }
  /// The dump of a file that begins with a file header, without that header's line.
  std::string linesOf(const ByteImage& chunks) {
    const Dump d = dump(int64Chunk("DVEK", 2).bytes() + chunks.bytes());
    EXPECT_EQ(d.result, 0);
    EXPECT_EQ(d.errors, "");
    const std::string first = "DVEK int64 (8) : 2 \n";
    EXPECT_EQ(d.output.substr(0, first.size()), first);
    return d.output.size() < first.size() ? d.output : d.output.substr(first.size());
  }
};

// --- Recorded dumps -----------------------------------------------------------------------------

TEST_F(Vek2txtTest, recordedFilesDumpAsRecorded) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VEK_GOLDEN_DIR)) {
    if (entry.path().extension() != ".vek") continue;
    ++files;
    std::filesystem::path expected = entry.path();
    expected.replace_extension(".dump.txt");
    ASSERT_TRUE(std::filesystem::exists(expected)) << expected;
    const Dump d = dumpOf(entry.path().string().c_str());
    EXPECT_EQ(d.result, 0) << entry.path();
    EXPECT_EQ(d.errors, "") << entry.path();
    EXPECT_EQ(d.output, readFile(expected.string())) << entry.path();
  }
  EXPECT_GT(files, 0);
}

// --- Lines --------------------------------------------------------------------------------------

TEST_F(Vek2txtTest, fileHeaderAloneIsOneLine) {
  EXPECT_EQ(linesOf(ByteImage()), "");
}

TEST_F(Vek2txtTest, groupLineEndsAfterTheColonAndItsChildrenFollow) {
  EXPECT_EQ(linesOf(group("ABCD", group("EFGH", floatChunk("POSI", {1.0F, 2.5F})))),
            "ABCD group (40) : \n. EFGH group (24) : \n. . POSI float (8) : 1 2.5 \n");
}

TEST_F(Vek2txtTest, leafLineHoldsEveryValueAndABlank) {
  const ByteImage chunks =
      join({ByteImage().chunk("INTS", 3, ByteImage().int32(1).int32(-2)),
            ByteImage().chunk("LONG", 5, offsets({std::int64_t{1} << 62, kMostNegative})),
            ByteImage().chunk("TEXT", 2, ByteImage().cstr("a b").cstr("").cstr("c")),
            ByteImage().chunk("BYTE", 0, ByteImage().raw("xyz"))});
  EXPECT_EQ(linesOf(chunks),
            "INTS int32 (8) : 1 -2 \n"
            "LONG int64 (16) : 4611686018427387904 -9223372036854775808 \n"
            "TEXT cstr (7) : a b  c \n"
            "BYTE undef (3) : x y z \n");
}

TEST_F(Vek2txtTest, floatsHaveEightDigitsAndDoublesSixteen) {
  const ByteImage third = ByteImage().float64(1.0 / 3.0).float64(1e300).float64(-0.0);
  EXPECT_EQ(linesOf(join({floatChunk("FLTS", {1.0F / 3.0F, 16777216.0F, 1e-8F}),
                          ByteImage().chunk("DBLS", 6, third), floatChunk("FLTS", {0.1F})})),
            "FLTS float (12) : 0.33333334 16777216 9.9999999e-09 \n"
            "DBLS double (24) : 0.3333333333333333 1e+300 -0 \n"
            "FLTS float (4) : 0.1 \n");
}

TEST_F(Vek2txtTest, compoundAndDimensionFollowTheLength) {
  EXPECT_EQ(linesOf(join({ByteImage().chunk("POSI", 4, floats({1.0F, 2.0F, 3.0F}), 1, 3),
                          ByteImage().chunk("MTRX", 6, ByteImage(), 4, 16),
                          ByteImage().chunk("GRUP", 1, floatChunk("ONED", {7.0F}), 6, 5)})),
            "POSI float (12) point 3d : 1 2 3 \n"
            "MTRX double (0) transform 4x4 : \n"
            "GRUP group (20) compound  : \n"
            ". ONED float (4) : 7 \n");
}

TEST_F(Vek2txtTest, emptyChunkOfAnyTypeIsALineOfItsHeader) {
  std::string expected;
  ByteImage chunks;
  const std::vector<std::string> names = {"undef", "group", "cstr",  "int32",
                                          "float", "int64", "double"};
  for (int type = 0; type < 7; ++type) {
    chunks.header("NULL", type, 0);
    expected += "NULL " + names[static_cast<std::size_t>(type)] + " (0) : \n";
  }
  EXPECT_EQ(linesOf(chunks), expected);
}

TEST_F(Vek2txtTest, depthIsThatBeforeTheHeader) {
  // The last child is empty, so that its header already ends the groups around it.
  EXPECT_EQ(linesOf(join({group("OUTR", group("INNR", ByteImage().header("LAST", 4, 0))),
                          group("OUTR", group("EMTY", ByteImage())), floatChunk("NEXT", {1.0F})})),
            "OUTR group (32) : \n. INNR group (16) : \n. . LAST float (0) : \n"
            "OUTR group (16) : \n. EMTY group (0) : \n"
            "NEXT float (4) : 1 \n");
}

TEST_F(Vek2txtTest, severalGroupsMayEndTogether) {
  EXPECT_EQ(linesOf(join({group("AAAA", group("BBBB", group("CCCC", floatChunk("DDDD", {1.0F})))),
                          floatChunk("EEEE", {2.0F})})),
            "AAAA group (52) : \n. BBBB group (36) : \n. . CCCC group (20) : \n"
            ". . . DDDD float (4) : 1 \nEEEE float (4) : 2 \n");
}

TEST_F(Vek2txtTest, freeChunksPrintTheirBytes) {
  EXPECT_EQ(linesOf(ByteImage().chunk("FREE", 0, ByteImage().zeros(2).raw("x"))),
            std::string("FREE undef (3) : \0 \0 x \n", 24));
}

TEST_F(Vek2txtTest, tagIsPrintedAsItsBytes) {
  EXPECT_EQ(linesOf(ByteImage().header(std::string("A\0\xff", 4).c_str(), 4, 0)),
            std::string("A\0\xff\0", 4) + " float (0) : \n");
}

// The chunk object made for an unknown type keeps its own header.
TEST_F(Vek2txtTest, unknownTypeWithPayloadPrintsLengthZero) {
  EXPECT_EQ(linesOf(join({ByteImage().chunk("WHAT", 9, ByteImage().zeros(12), 1, 3),
                          ByteImage().chunk("WHAT", 255, ByteImage().zeros(1)),
                          floatChunk("NEXT", {1.0F})})),
            "WHAT  (0) : \nWHAT  (0) : \nNEXT float (4) : 1 \n");
}

TEST_F(Vek2txtTest, bytesOutsideTheNameTablesAreEmptyWords) {
  EXPECT_EQ(linesOf(join({ByteImage().header("WHAT", 7, 0), ByteImage().header("WHAT", 4, 0, 7, 17),
                          ByteImage().header("WHAT", 255, 0, 255, 255)})),
            "WHAT  (0) : \nWHAT float (0)   : \nWHAT  (0)   : \n");
}

TEST_F(Vek2txtTest, metadataIsDumpedChunkByChunk) {
  Head head;
  head.rate = 0.0F;
  head.more = textChunk("WAPP", {"app"});
  EXPECT_EQ(dump(headImage(head).bytes()).output,
            "DVEK int64 (8) : 2 \n"
            "META group (152) : \n"
            ". NSAM int64 (8) : 0 \n"
            ". FTIM float (4) : 0 \n"
            ". LTIM float (4) : 0 \n"
            ". RATE float (4) : 0 \n"
            ". SPAC int64 (8) : 1 \n"
            ". WAPP cstr (4) : app \n"
            ". NOBJ int64 (8) : 0 \n");
}

TEST_F(Vek2txtTest, dumpNeedsNoMetadata) {
  EXPECT_EQ(linesOf(floatChunk("POSI", {1.0F})), "POSI float (4) : 1 \n");
}

// --- Counting samples and objects ---------------------------------------------------------------

TEST_F(Vek2txtTest, definitionsSamplesAndObjectsAreNumbered) {
  const ByteImage objects = join({group("SOBJ", floatChunk("POSI", {1.0F})), group("SOBJ", {})});
  EXPECT_EQ(linesOf(join({definition("a"), definition("b"), group("SAMP", objects),
                          group("SAMP", objects)})),
            "DOBJ group (18) : #0\n. NAME cstr (2) : a \n"
            "DOBJ group (18) : #1\n. NAME cstr (2) : b \n"
            "SAMP group (52) : #0\n"
            ". SOBJ group (20) : #0\n. . POSI float (4) : 1 \n. SOBJ group (0) : #1\n"
            "SAMP group (52) : #1\n"
            ". SOBJ group (20) : #0\n. . POSI float (4) : 1 \n. SOBJ group (0) : #1\n");
}

TEST_F(Vek2txtTest, definitionsWithoutSamplesAgreeWithThemselves) {
  EXPECT_EQ(linesOf(join({group("DOBJ", {}), group("DOBJ", {}), group("DOBJ", {})})),
            "DOBJ group (0) : #0\nDOBJ group (0) : #1\nDOBJ group (0) : #2\n");
}

TEST_F(Vek2txtTest, emptyChunksCountWhateverTheirType) {
  EXPECT_EQ(linesOf(join({ByteImage().header("DOBJ", 4, 0), ByteImage().header("SAMP", 3, 0),
                          ByteImage().header("SOBJ", 2, 0)})),
            "DOBJ float (0) : #0\nSAMP int32 (0) : #0\nSOBJ cstr (0) : #0\n");
}

TEST_F(Vek2txtTest, leavesWithThoseTagsDoNotCount) {
  EXPECT_EQ(linesOf(join({floatChunk("DOBJ", {1.0F}), floatChunk("SAMP", {2.0F}),
                          floatChunk("SOBJ", {3.0F})})),
            "DOBJ float (4) : 1 \nSAMP float (4) : 2 \nSOBJ float (4) : 3 \n");
}

TEST_F(Vek2txtTest, onlyTheLastSampleMustBeComplete) {
  const ByteImage one = group("SAMP", group("SOBJ", {}));
  const ByteImage two = group("SAMP", join({group("SOBJ", {}), group("SOBJ", {})}));
  const ByteImage definitions = join({group("DOBJ", {}), group("DOBJ", {})});
  linesOf(join({definitions, one, two}));
  linesOf(join({definitions, group("SAMP", {}), two}));
}

TEST_F(Vek2txtTest, incompleteLastSampleFailsAfterTheWholeDump) {
  const ByteImage image =
      join({int64Chunk("DVEK", 2), definition("a"), definition("b"),
            group("SAMS", group("SAMP", group("SOBJ", floatChunk("POSI", {1.0F})))),
            floatChunk("TAIL", {2.0F})});
  const Dump d = dump(image.bytes());
  EXPECT_EQ(d.result, -1);
  EXPECT_EQ(detailOf(d.errors), "Number of SOBJ not match number of DOBJ");
  EXPECT_EQ(d.output,
            "DVEK int64 (8) : 2 \n"
            "DOBJ group (18) : #0\n. NAME cstr (2) : a \n"
            "DOBJ group (18) : #1\n. NAME cstr (2) : b \n"
            "SAMS group (52) : \n. SAMP group (36) : #0\n. . SOBJ group (20) : #0\n"
            ". . . POSI float (4) : 1 \nTAIL float (4) : 2 \n");
}

TEST_F(Vek2txtTest, objectCountsThatDifferFail) {
  const ByteImage dvek = int64Chunk("DVEK", 2);
  const ByteImage object = group("SOBJ", {});
  const ByteImage defined = group("DOBJ", {});
  const std::vector<ByteImage> files = {
      join({dvek, object}),
      join({dvek, defined, group("SAMP", {})}),
      join({dvek, defined, group("SAMP", join({object, object}))}),
      join({dvek, group("SAMP", object)}),
      join({dvek, defined, object}),
  };
  for (const ByteImage& file : files) {
    const Dump d = dump(file.bytes());
    EXPECT_EQ(d.result, -1) << d.output;
    EXPECT_EQ(detailOf(d.errors), "Number of SOBJ not match number of DOBJ") << d.output;
  }
}

// A definition behind the samples continues their count.
TEST_F(Vek2txtTest, definitionTakesTheCountOfTheObjectsBefore) {
  EXPECT_EQ(linesOf(join({group("SAMP", group("SOBJ", {})), group("DOBJ", {})})),
            "SAMP group (16) : #0\n. SOBJ group (0) : #0\nDOBJ group (0) : #1\n");
}

// --- Errors -------------------------------------------------------------------------------------

TEST_F(Vek2txtTest, otherFilesAreNotValid) {
  const std::string dvek = int64Chunk("DVEK", 2).bytes();
  for (const std::string& bytes : {std::string(), std::string("a text of more than sixteen bytes"),
                                   dvek.substr(0, 15), std::string("X") + dvek}) {
    const Dump d = dump(bytes);
    EXPECT_EQ(d.result, -1);
    EXPECT_EQ(d.output, "");
    EXPECT_EQ(detailOf(d.errors), path() + ": is not a valid VEK file");
  }
}

TEST_F(Vek2txtTest, missingFileIsNotValid) {
  const Dump d = dumpOf(path("missing").c_str());
  EXPECT_EQ(d.result, -1);
  EXPECT_EQ(d.output, "");
  EXPECT_EQ(detailOf(d.errors), path("missing") + ": is not a valid VEK file");
}

TEST_F(Vek2txtTest, nullNameIsNotValid) {
  const Dump d = dumpOf(nullptr);
  EXPECT_EQ(d.result, -1);
  EXPECT_EQ(d.output, "");
  EXPECT_THAT(detailOf(d.errors), ::testing::EndsWith(": is not a valid VEK file"));
}

#if !defined(_WIN32)
// The file is gone when it is opened a second time.
TEST_F(Vek2txtTest, fileThatCannotBeOpenedIsReported) {
  writeFile(ByteImage().header("DVEK", 5, 8));
  const OpenFault gone(2, path("missing"));
  const Dump d = dumpOf(path().c_str());
  EXPECT_EQ(d.result, -1);
  EXPECT_EQ(d.output, "");
  EXPECT_EQ(detailOf(d.errors), path() + ": could not open file");
}
#endif

TEST_F(Vek2txtTest, damagedLeafIsReportedAfterTheLinesBefore) {
  const std::vector<std::pair<const char*, ByteImage>> table = {
      {"odd length of float", ByteImage().header("POSI", 4, 10).zeros(10)},
      {"odd length of double", ByteImage().header("POSI", 6, 12).zeros(12)},
      {"odd length of int32", ByteImage().header("POSI", 3, 7).zeros(7)},
      {"odd length of int64", ByteImage().header("POSI", 5, 4).zeros(4)},
      {"cut off", ByteImage().header("POSI", 4, 12).zeros(11)},
      {"text past the end", ByteImage().header("TEXT", 2, 1 << 30).raw("abc")},
      {"bytes past the end", ByteImage().header("BYTE", 0, std::int64_t{1} << 50).raw("abc")},
      {"negative length", ByteImage().header("POSI", 4, -16)},
      {"negative length of text", ByteImage().header("TEXT", 2, -1)},
      {"negative length of bytes", ByteImage().header("BYTE", 0, -40)},
      {"negative length of an unknown type", ByteImage().header("WHAT", 9, -40)},
      {"longest length", ByteImage().header("POSI", 0, kMostPositive)},
      {"most negative length", ByteImage().header("POSI", 5, kMostNegative)}};
  for (const auto& [name, image] : table) {
    const Dump d = dump(join({int64Chunk("DVEK", 2), floatChunk("GOOD", {1.0F}), image}).bytes());
    EXPECT_EQ(d.result, -1) << name;
    EXPECT_EQ(d.output, "DVEK int64 (8) : 2 \nGOOD float (4) : 1 \n") << name;
    EXPECT_EQ(detailOf(d.errors), path() + ": error reading leaf chunk") << name;
  }
}

TEST_F(Vek2txtTest, headerCutOffEndsTheDump) {
  const Dump d = dump(int64Chunk("DVEK", 2).bytes() + "POSI\4");
  EXPECT_EQ(d.result, 0);
  EXPECT_EQ(d.output, "DVEK int64 (8) : 2 \n");
  EXPECT_EQ(d.errors, "");
}

TEST_F(Vek2txtTest, groupLongerThanTheFileIsDumpedAsFarAsItGoes) {
  const Dump d = dump(join({int64Chunk("DVEK", 2), ByteImage().header("GRUP", 1, 1 << 20),
                            floatChunk("POSI", {1.0F})})
                          .bytes());
  EXPECT_EQ(d.result, 0);
  EXPECT_EQ(d.output, "DVEK int64 (8) : 2 \nGRUP group (1048576) : \n. POSI float (4) : 1 \n");
}

TEST_F(Vek2txtTest, fileIsClosedOnEveryPath) {
  const std::string dvek = int64Chunk("DVEK", 2).bytes();
  const auto before = numOpenFiles();
  EXPECT_EQ(dump(dvek).result, 0);
  EXPECT_EQ(dump("other bytes").result, -1);
  EXPECT_EQ(dump(dvek + ByteImage().header("POSI", 4, 10).zeros(10).bytes()).result, -1);
  EXPECT_EQ(dump(dvek + group("SOBJ", {}).bytes()).result, -1);
  EXPECT_EQ(numOpenFiles(), before);
}

TEST_F(Vek2txtTest, dumpChangesNothing) {
  const std::string file = std::string(VEK_GOLDEN_DIR) + "/test_file.vek";
  const std::string bytes = readFile(file);
  EXPECT_EQ(dump(bytes).result, 0);
  EXPECT_EQ(readFile(path()), bytes);
}

// --- Damaged files ------------------------------------------------------------------------------

TEST_F(Vek2txtTest, fileCutAnywhereIsDumpedAsFarAsItGoes) {
  const std::string bytes = readFile(std::string(VEK_GOLDEN_DIR) + "/test_file.vek");
  ASSERT_FALSE(bytes.empty());
  const std::string whole = dump(bytes).output;
  for (std::size_t size = bytes.size(); size-- > 0;) {
    std::filesystem::resize_file(path(), size);
    const Dump d = dumpOf(path().c_str());
    EXPECT_EQ(d.output, whole.substr(0, d.output.size())) << size;
  }
}

TEST_F(Vek2txtTest, fileWithAnyByteChangedIsDumpedWithoutHarm) {
  const std::string bytes = readFile(std::string(VEK_GOLDEN_DIR) + "/test_file.vek");
  const std::string file = writeFile(bytes);
  captureStdout([&] {
    captureStderr([&] {
      for (std::size_t at = 0; at < bytes.size(); ++at) {
        for (const char value : {'\x01', '\x7f', '\x80', '\xff'}) {
          overwrite(file, at, std::string(1, value));
          const int result = vek2txt(file.c_str());
          EXPECT_TRUE(result == 0 || result == -1);
        }
        overwrite(file, at, std::string(1, bytes[at]));
      }
    });
  });
}

TEST_F(Vek2txtTest, aThousandNestedGroupsAreDumped) {
  constexpr std::size_t depth = 1000;
  ByteImage image;
  std::string expected;
  std::string indent;
  for (std::size_t i = 0; i < depth; ++i) {
    const std::size_t inside = 16 * (depth - i - 1) + 20;
    image.header("GRUP", 1, static_cast<std::int64_t>(inside));
    expected += indent + "GRUP group (" + std::to_string(inside) + ") : \n";
    indent += ". ";
  }
  expected += indent + "POSI float (4) : 1 \n";
  EXPECT_EQ(linesOf(image.raw(floatChunk("POSI", {1.0F}))), expected);
}

TEST_F(Vek2txtTest, endlesslyNestedGroupsAreHandledWithoutHarm) {
  ByteImage image = int64Chunk("DVEK", 2);
  for (int i = 0; i < 20000; ++i) image.header("GRUP", 1, kMostPositive / 2);
  const Dump d = dump(image.bytes());
  EXPECT_TRUE(d.result == 0 || d.result == -1);
  // Two bytes of indentation for every level of every line must not grow without a limit.
  EXPECT_LT(d.output.size(), std::size_t{50} << 20);
}

}  // namespace
