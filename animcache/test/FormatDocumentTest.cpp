// SPDX-License-Identifier: Apache-2.0
//
// The file that the description of the format shows byte by byte is the file that the library
// writes, and a cache reads from it what the description says.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "VekCache.h"

namespace VekTest {

namespace {

using namespace Vek;

const char* const kHeading = "## A file byte by byte";

/// Turns a line of the dump into the bytes that it shows: an offset of four digits, two blanks, up
/// to sixteen bytes separated by single blanks, and behind two blanks or more what they mean.
void readLine(const std::string& line, std::string& bytes) {
  ASSERT_GE(line.size(), 8U) << line;
  EXPECT_EQ(std::stoul(line.substr(0, 4), nullptr, 16), bytes.size()) << line;
  std::istringstream columns(line.substr(6, line.find("  ", 6) - 6));
  for (std::string byte; columns >> byte;) {
    ASSERT_EQ(byte.size(), 2U) << line;
    bytes.push_back(static_cast<char>(std::stoul(byte, nullptr, 16)));
  }
}

/// The bytes of the first block of code behind the heading.
std::string documentedBytes() {
  std::ifstream document(VEK_FORMAT_DOCUMENT);
  EXPECT_TRUE(document.is_open()) << VEK_FORMAT_DOCUMENT;
  std::string line;
  while (std::getline(document, line) && line != kHeading) continue;
  while (std::getline(document, line) && line != "```text") continue;
  std::string bytes;
  while (std::getline(document, line) && line != "```") readLine(line, bytes);
  return bytes;
}

bool writeHead(VekFile& f) {
  VekMETAChunk meta;
  meta.application = "demo";
  meta.numSamples = 2;
  meta.firstTime = 1.0F;
  meta.lastTime = 2.5F;
  meta.rate = 0.0F;
  VekDOBJChunk* const ball = meta.addDOBJ("|ball");
  ball->addAttr(true, "heat", "double", ValueType::Double, Compound::Undef, 1);
  const int radius = ball->addAttr(false, "radius", "float", ValueType::Float, Compound::Undef, 1);
  asLeaf<float>(ball->getDATR()->getStaticData(radius))->setData({0.5F});
  return VekDVEKChunk().write(f) && meta.write(f);
}

bool writeSample(VekFile& f, VekSAMSChunk& stream, float time, float height, double heat) {
  return stream.writeStartSAMPChunk(f, 1, &time) && stream.writeStartSOBJChunk(f) &&
         f.writeChunk(Tag::POSI, std::vector<float>{0, height, 0}, -1, Compound::Point, 3) &&
         f.startGroup(VekHeader(Tag::ATRS, ValueType::Group, 0)) &&
         f.writeChunk(Tag::ATTR, std::vector<double>{heat}, -1, Compound::Undef, 1) &&
         f.endGroup() && stream.writeEndSOBJChunk(f) && stream.writeEndSAMPChunk(f);
}

class FormatDocumentTest : public FileTest {};

TEST_F(FormatDocumentTest, libraryWritesTheBytesOfTheDocument) {
  VekFile f(path().c_str(), "w");
  VekSAMSChunk stream;
  ASSERT_TRUE(writeHead(f) && stream.writeStart(f, 2, 1, true));
  ASSERT_TRUE(writeSample(f, stream, 1.0F, 0.0F, 20.0));
  ASSERT_TRUE(writeSample(f, stream, 2.5F, 3.0F, 21.5));
  ASSERT_TRUE(stream.writeEnd(f) && f.close());

  const std::string documented = documentedBytes();
  ASSERT_FALSE(documented.empty());
  const std::string written = readFile(path());
  ASSERT_EQ(written.size(), documented.size());
  for (std::size_t i = 0; i < written.size(); ++i)
    ASSERT_EQ(written[i], documented[i]) << "at offset " << i;
}

TEST_F(FormatDocumentTest, cacheReadsWhatTheDocumentSays) {
  bool loaded = false;
  VekRoMemCache cache(writeFile(documentedBytes()).c_str(), true, &loaded);
  ASSERT_TRUE(loaded);
  EXPECT_EQ(cache.getApplication(), "demo");
  EXPECT_EQ(cache.getNumSamples(), 2);
  EXPECT_EQ(cache.getSampleTime(1), 2.5F);
  EXPECT_EQ(cache.getName(0), "|ball");
  const auto* const points = asLeaf<float>(cache.getObjectData(1, 0, Tag::POSI, nullptr));
  ASSERT_NE(points, nullptr);
  EXPECT_EQ(points->data, (std::vector<float>{0, 3, 0}));
  const auto* const heat = asLeaf<double>(cache.getAttrData(1, 0, cache.findAttr(0, "heat")));
  ASSERT_NE(heat, nullptr);
  EXPECT_EQ(heat->data, std::vector<double>{21.5});
}

}  // namespace

}  // namespace VekTest
