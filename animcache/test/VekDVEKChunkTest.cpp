// SPDX-License-Identifier: Apache-2.0
//
// Tests of the file header chunk.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <sstream>
#include <string>

#include "ByteImage.h"
#include "VekChunks.h"

namespace {

using Vek::VekDVEKChunk;
using Vek::VekFile;
using Vek::VekHeader;
using VekTest::ByteImage;
using VekTest::FileTest;

std::string printed(const VekDVEKChunk& c, int indent = 0) {
  std::ostringstream os;
  c.print(os, indent);
  return os.str();
}

class VekDVEKChunkTest : public FileTest {
 protected:
  bool readInto(VekDVEKChunk& c, const ByteImage& image) {
    const std::string file = writeFile(image, "in");
    VekFile f(file.c_str(), "r");
    VekHeader h;
    EXPECT_TRUE(f.readHeader(h));
    const bool ok = c.read(h, f);
    m_position = f.tell();
    return ok;
  }
  std::string written(const VekDVEKChunk& c) {
    VekFile f(path("out").c_str(), "w");
    EXPECT_TRUE(c.write(f));
    EXPECT_TRUE(f.close());
    return readFile(path("out"));
  }
  std::int64_t m_position = -1;
};

TEST_F(VekDVEKChunkTest, defaultVersionIs2) {
  EXPECT_EQ(VekDVEKChunk().version, 2);
}

TEST_F(VekDVEKChunkTest, constructorSetsTheVersion) {
  EXPECT_EQ(VekDVEKChunk(7).version, 7);
  EXPECT_EQ(VekDVEKChunk(-1).version, -1);
}

TEST_F(VekDVEKChunkTest, headerIsInt64OfLength8) {
  for (VekDVEKChunk c : {VekDVEKChunk(), VekDVEKChunk(7)}) {
    EXPECT_EQ(c.getTag(), Vek::makeTag('D', 'V', 'E', 'K'));
    EXPECT_EQ(c.getType(), 5);
    EXPECT_EQ(c.getCompound(), 0);
    EXPECT_EQ(c.getDimension(), 0);
    EXPECT_EQ(c.getHeader().reserved, 0);
    EXPECT_EQ(c.getHeader().length, 8);
    EXPECT_EQ(c.getLength(), 8);
  }
}

TEST_F(VekDVEKChunkTest, copiesTakeHeaderAndVersion) {
  VekDVEKChunk c;
  ASSERT_TRUE(readInto(c, ByteImage().header("DVEK", 5, 8, 1, 3, 9).int64(7)));
  const VekDVEKChunk constructed(c);
  EXPECT_EQ(constructed.version, 7);
  EXPECT_EQ(constructed.getCompound(), 1);
  EXPECT_EQ(constructed.getDimension(), 3);
  EXPECT_EQ(constructed.getHeader().reserved, 9);
  VekDVEKChunk assigned;
  assigned = c;
  EXPECT_EQ(assigned.version, 7);
  EXPECT_EQ(assigned.getCompound(), 1);
  EXPECT_EQ(assigned.getDimension(), 3);
  EXPECT_EQ(assigned.getHeader().reserved, 9);
}

TEST_F(VekDVEKChunkTest, resetSetsTheVersionTo2) {
  VekDVEKChunk c(7);
  c.reset();
  EXPECT_EQ(c.version, 2);
  EXPECT_EQ(c.getTag(), Vek::Tag::DVEK);
  EXPECT_EQ(c.getLength(), 8);
}

TEST_F(VekDVEKChunkTest, imageHas24Bytes) {
  const std::string bytes = written(VekDVEKChunk());
  EXPECT_EQ(bytes, std::string("DVEK"
                               "\x05\0\0\0"
                               "\x08\0\0\0\0\0\0\0"
                               "\x02\0\0\0\0\0\0\0",
                               24));
}

TEST_F(VekDVEKChunkTest, versionIsLittleEndian) {
  const std::string bytes = written(VekDVEKChunk(0x0102030405060708));
  EXPECT_EQ(bytes.substr(16), std::string("\x08\x07\x06\x05\x04\x03\x02\x01"));
}

TEST_F(VekDVEKChunkTest, readTakesTheVersion) {
  VekDVEKChunk c;
  EXPECT_TRUE(readInto(
      c, ByteImage().header("DVEK", 5, 8).raw(std::string("\xfe\xff\xff\xff\xff\xff\xff\xff", 8))));
  EXPECT_EQ(c.version, -2);
  EXPECT_EQ(m_position, 24);
}

TEST_F(VekDVEKChunkTest, readTakesTheHeaderOver) {
  VekDVEKChunk c;
  ASSERT_TRUE(readInto(c, ByteImage().header("DVEK", 5, 8, 1, 3, 9).int64(2)));
  EXPECT_EQ(c.getCompound(), 1);
  EXPECT_EQ(c.getDimension(), 3);
  EXPECT_EQ(c.getHeader().reserved, 9);
  EXPECT_EQ(c.getLength(), 8);
}

TEST_F(VekDVEKChunkTest, writeUsesTheStoredCompoundAndDimension) {
  VekDVEKChunk c;
  const ByteImage image = ByteImage().header("DVEK", 5, 8, 1, 3).int64(2);
  ASSERT_TRUE(readInto(c, image));
  EXPECT_EQ(written(c), image.bytes());
}

TEST_F(VekDVEKChunkTest, writeReadWriteGivesTheSameBytes) {
  const std::string first = written(VekDVEKChunk(std::numeric_limits<std::int64_t>::min()));
  VekDVEKChunk c;
  ASSERT_TRUE(readInto(c, ByteImage().raw(first)));
  EXPECT_EQ(written(c), first);
}

TEST_F(VekDVEKChunkTest, readOfAnotherTagOrTypeFails) {
  for (const ByteImage& image :
       {ByteImage().header("DVEL", 5, 8).int64(7), ByteImage().header("FREE", 5, 8).int64(7),
        ByteImage().header("DVEK", 6, 8).int64(7), ByteImage().header("DVEK", 3, 8).int64(7),
        ByteImage().header("DVEK", 0, 8).int64(7)}) {
    VekDVEKChunk c(4);
    EXPECT_FALSE(readInto(c, image));
    EXPECT_EQ(c.version, 4);
    EXPECT_EQ(c.getTag(), Vek::Tag::DVEK);
    EXPECT_EQ(c.getType(), 5);
    EXPECT_EQ(m_position, 16);
  }
}

TEST_F(VekDVEKChunkTest, readOfAnotherLengthThan8Fails) {
  for (const std::int64_t length :
       {std::int64_t{0}, std::int64_t{4}, std::int64_t{7}, std::int64_t{9}, std::int64_t{16},
        std::int64_t{-8}, std::numeric_limits<std::int64_t>::max(),
        std::numeric_limits<std::int64_t>::min()}) {
    VekDVEKChunk c(4);
    EXPECT_FALSE(readInto(c, ByteImage().header("DVEK", 5, length).zeros(64))) << length;
    EXPECT_EQ(c.version, 4) << length;
    EXPECT_EQ(c.getLength(), 8) << length;
    EXPECT_EQ(m_position, 16) << length;
  }
}

TEST_F(VekDVEKChunkTest, readOfAShortPayloadFails) {
  VekDVEKChunk c;
  EXPECT_FALSE(readInto(c, ByteImage().header("DVEK", 5, 8).zeros(7)));
}

TEST_F(VekDVEKChunkTest, readAndWriteOnAClosedFileFail) {
  VekFile f;
  VekDVEKChunk c;
  EXPECT_FALSE(c.read(VekHeader(Vek::Tag::DVEK, 5, 8, 0, 0), f));
  EXPECT_FALSE(c.write(f));
}

TEST_F(VekDVEKChunkTest, writeToAFileOpenForReadingFails) {
  const std::string file = writeFile(ByteImage().zeros(64));
  VekFile f(file.c_str(), "r");
  EXPECT_FALSE(VekDVEKChunk().write(f));
}

TEST_F(VekDVEKChunkTest, writeGoesToTheCurrentPosition) {
  const std::string file = writeFile(ByteImage().zeros(40));
  VekFile f(file.c_str(), "r+");
  ASSERT_TRUE(f.seek(8, 0, true));
  ASSERT_TRUE(VekDVEKChunk().write(f));
  EXPECT_EQ(f.tell(), 32);
  ASSERT_TRUE(f.close());
  EXPECT_EQ(readFile(file), ByteImage().zeros(8).header("DVEK", 5, 8).int64(2).zeros(8).bytes());
}

TEST_F(VekDVEKChunkTest, printShowsTheVersionWithoutALineEnd) {
  EXPECT_EQ(printed(VekDVEKChunk()), "DVEK int64 (8) : version = 2");
  EXPECT_EQ(printed(VekDVEKChunk(-7), 2), ". . DVEK int64 (8) : version = -7");
}

TEST_F(VekDVEKChunkTest, printReturnsItsStream) {
  std::ostringstream os;
  EXPECT_EQ(&VekDVEKChunk().print(os, 0), &os);
}

}  // namespace
