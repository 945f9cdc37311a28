// SPDX-License-Identifier: Apache-2.0
//
// Memory that is short in the chunk layer: reading, copying, printing and writing chunk trees and
// the sample stream, and the text tools above them.

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "AllocationFaults.h"
#include "ByteImage.h"
#include "FaultScene.h"
#include "SceneImage.h"
#include "VekCache.h"
#include "vekUtils.h"

namespace {

using namespace Vek;
using namespace VekTest;

class ChunkAllocationFaultTest : public FileTest {
 protected:
  void SetUp() override {
    FileTest::SetUp();
    writeScene(path(), {ObjectKind::mesh, ObjectKind::channels}, {0, 1, 5});
  }

  /// A chunk of each outermost tag, read from the file.
  static bool readMeta(const std::string& file, VekMETAChunk& meta) {
    VekFile f;
    VekHeader h;
    VekDVEKChunk head;
    return f.open(file.c_str(), "r") && f.readHeader(h) && head.read(h, f) && f.readHeader(h) &&
           meta.read(h, f);
  }

  /// Reads the sample stream as generic chunks.
  static bool readStream(const std::string& file, VekGroupChunk& stream) {
    VekFile f;
    VekHeader h;
    if (!f.open(file.c_str(), "r")) return false;
    while (f.readHeader(h)) {
      if (h.tag == Tag::SAMS) return stream.read(h, f);
      if (!f.seek(h.length, 1, true)) return false;
    }
    return false;
  }

  static std::string textOf(const VekChunk& chunk) {
    std::ostringstream os;
    chunk.print(os, 0);
    return withoutLengths(os.str());
  }
};

TEST_F(ChunkAllocationFaultTest, headIsReadWholeOrNot) {
  const std::string file = path();
  VekMETAChunk expected;
  ASSERT_TRUE(readMeta(file, expected));
  failEveryAllocation([&](AllocationFault& fault) {
    VekMETAChunk meta;
    bool ok = false;
    fault.during([&] { ok = readMeta(file, meta); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(ok || fault.wasHit());
    if (!ok) {
      meta.reset();
      EXPECT_TRUE(readMeta(file, meta));
    }
    EXPECT_EQ(textOf(meta), textOf(expected));
  });
}

TEST_F(ChunkAllocationFaultTest, treeIsReadWholeOrNot) {
  const std::string file = path();
  VekGroupChunk expected(Tag::SAMS);
  ASSERT_TRUE(readStream(file, expected));
  failEveryAllocation([&](AllocationFault& fault) {
    VekGroupChunk stream(Tag::SAMS);
    bool ok = false;
    fault.during([&] { ok = readStream(file, stream); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(ok || fault.wasHit());
    if (!ok) {
      stream.reset();
      EXPECT_TRUE(readStream(file, stream));
    }
    EXPECT_EQ(textOf(stream), textOf(expected));
  });
}

TEST_F(ChunkAllocationFaultTest, treeIsCopiedWholeOrNot) {
  VekGroupChunk stream(Tag::SAMS);
  ASSERT_TRUE(readStream(path(), stream));
  const std::unique_ptr<VekChunk> expected(VekChunk::copy(&stream));
  failEveryAllocation([&](AllocationFault& fault) {
    std::unique_ptr<VekChunk> copy;
    fault.during([&] { copy.reset(VekChunk::copy(&stream)); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(copy || fault.wasHit());
    if (copy) {
      EXPECT_EQ(textOf(*copy), textOf(*expected));
    }
  });
}

TEST_F(ChunkAllocationFaultTest, treeIsPrintedWithoutAnException) {
  VekGroupChunk stream(Tag::SAMS);
  VekMETAChunk meta;
  ASSERT_TRUE(readStream(path(), stream));
  ASSERT_TRUE(readMeta(path(), meta));
  const std::string expected = textOf(stream) + textOf(meta);
  failEveryAllocation([&](AllocationFault& fault) {
    const CapturedOutput output;
    fault.during([&] {
      stream.print(std::cout, 0);
      meta.print(std::cout, 0);
    });
    EXPECT_FALSE(fault.threw());
    if (!fault.wasHit()) {
      EXPECT_EQ(withoutLengths(output.text()), expected);
    }
  });
}

TEST_F(ChunkAllocationFaultTest, treesAreWrittenWholeOrNot) {
  const std::string copy = path("copy.vek");
  VekGroupChunk stream(Tag::SAMS);
  VekMETAChunk meta;
  ASSERT_TRUE(readStream(path(), stream));
  ASSERT_TRUE(readMeta(path(), meta));
  const auto write = [&] {
    VekFile f;
    return f.open(copy.c_str(), "w") && VekDVEKChunk().write(f) && meta.write(f) &&
           stream.write(f) && f.close();
  };
  ASSERT_TRUE(write());
  const std::string expected = readFile(copy);
  failEveryAllocation([&](AllocationFault& fault) {
    std::filesystem::remove(copy);
    bool ok = false;
    fault.during([&] { ok = write(); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(ok || fault.wasHit());
    if (!ok) {
      EXPECT_TRUE(write());
    }
    EXPECT_EQ(readFile(copy), expected);
  });
}

TEST_F(ChunkAllocationFaultTest, streamIsWrittenWholeOrNot) {
  const std::string file = path("stream.vek");
  const std::vector<std::string> texts = {"a text", "and another one that is a little longer"};
  ASSERT_TRUE(writeSamples(file.c_str(), texts));
  const std::string expected = readFile(file);
  failEveryAllocation([&](AllocationFault& fault) {
    std::filesystem::remove(file);
    bool ok = false;
    fault.during([&] { ok = writeSamples(file.c_str(), texts); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(ok || fault.wasHit());
    if (!ok) {
      EXPECT_TRUE(writeSamples(file.c_str(), texts));
    }
    EXPECT_EQ(readFile(file), expected);
  });
}

TEST_F(ChunkAllocationFaultTest, streamIsReopenedOrNot) {
  const std::string file = path("stream.vek");
  ASSERT_TRUE(writeSamples(file.c_str(), {"a"}));
  const std::string original = readFile(file);
  ASSERT_TRUE(appendSample(file.c_str()));
  const std::string expected = readFile(file);
  failEveryAllocation([&](AllocationFault& fault) {
    writeFile(original, "stream.vek");
    bool ok = false;
    fault.during([&] { ok = appendSample(file.c_str()); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(ok || fault.wasHit());
    const std::string bytes = readFile(file);
    if (ok) {
      EXPECT_EQ(bytes, expected);
    } else {
      // Nothing behind the tables has changed.
      EXPECT_GE(bytes.size(), original.size());
      const std::size_t samples = original.find("SAMP");
      EXPECT_EQ(bytes.compare(samples, original.size() - samples, original, samples), 0);
    }
  });
}

TEST_F(ChunkAllocationFaultTest, payloadIsReadWholeOrLeavesNothing) {
  ByteImage image = textChunk("NAME", {"a name that is too long to be kept in place", "b", "c"});
  image.raw(textChunk("NAME", {"another name that is too long to be kept in place"}));
  image.raw(floatChunk("POSI", {1, 2, 3, 4}));
  const std::string file = writeFile(image, "payload.vek");
  failEveryAllocation([&](AllocationFault& fault) {
    VekFile f;
    std::vector<std::string> list = {"before"};
    std::string text = "before";
    std::vector<float> floats = {7};
    bool read[3] = {};
    fault.during([&] {
      VekHeader h;
      if (!f.open(file.c_str(), "r")) return;
      f.readHeader(h);
      read[0] = f.readData(h, list);
      f.seek(16 + h.length, 0, true);
      f.readHeader(h);
      read[1] = f.readData(h, text);
      f.seek(-32, 2, true);
      f.readHeader(h);
      read[2] = f.appendData(h, floats);
    });
    EXPECT_FALSE(fault.threw());
    if (f.isOpen()) {
      EXPECT_EQ(list.size(), read[0] ? 3U : 0U);
      EXPECT_EQ(text, read[1] ? "another name that is too long to be kept in place" : "");
      EXPECT_EQ(floats.size(), read[2] ? 5U : 1U);
    }
    EXPECT_TRUE((read[0] && read[1] && read[2]) || fault.wasHit());
  });
}

TEST_F(ChunkAllocationFaultTest, childThatCannotBeKeptIsDestroyed) {
  failEveryAllocation([&](AllocationFault& fault) {
    VekGroupChunk group(Tag::SOBJ);
    bool made = false;
    fault.during([&] {
      VekChunk* const child = VekChunk::create(Tag::POSI, ValueType::Float);
      made = child != nullptr;
      if (made) group.addChild(child);
    });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(group.numChildren() == 1 || fault.wasHit());
  });
}

TEST_F(ChunkAllocationFaultTest, constructorsAndCopiesThrowAndLeakNothing) {
  const std::vector<double> values(10, 0.5);
  VekFile file(path().c_str(), "r");
  VekHeader h;
  file.readHeader(h);
  file.skipData(h);
  file.readHeader(h);
  ASSERT_EQ(file.getLevel(), 1U);
  failEveryAllocation([&](AllocationFault& fault) {
    fault.during([&] {
      const VekLeafChunk<double> leaf(Tag::POSI, 0, 0, values);
      VekLeafChunk<double> copy(leaf);
      copy = leaf;
      const VekDOBJChunk definition("a name that is too long to be kept in place");
      const VekMETAChunk meta;
      const VekDATRChunk attributes;
    });
    EXPECT_EQ(fault.threw(), fault.wasHit());
  });
}

// ---- Tools --------------------------------------------------------------------------------------

TEST_F(ChunkAllocationFaultTest, dumpIsWholeOrFails) {
  const std::string file = path();
  std::string expected;
  failEveryAllocation([&](AllocationFault& fault) {
    const CapturedOutput output;
    int result = 1;
    fault.during([&] { result = vek2txt(file.c_str()); });
    EXPECT_FALSE(fault.threw());
    const std::string text = output.text();
    if (expected.empty()) expected = text;
    if (result == 0) {
      EXPECT_EQ(text, expected);
    } else {
      EXPECT_TRUE(fault.wasHit());
      EXPECT_EQ(result, -1);
      EXPECT_EQ(expected.compare(0, text.size(), text), 0) << "not how the dump begins";
    }
  });
  EXPECT_GT(expected.size(), 1000U);
}

/// Whether a text is another one with parts left out.
bool isPartOf(const std::string& text, const std::string& whole) {
  std::size_t i = 0;
  for (const char c : whole) i += i < text.size() && text[i] == c ? 1 : 0;
  return i == text.size();
}

/// Without the lines that tell the kinds of objects.
std::string withoutKinds(const std::string& text) {
  std::istringstream lines(text);
  std::string kept;
  for (std::string line; std::getline(lines, line);) {
    if (line.compare(0, 3, "  M") != 0) kept += line + "\n";
  }
  return kept;
}

// Of the first sample something may count as missing, never of the head.
TEST_F(ChunkAllocationFaultTest, summaryLeavesOutWhatItCannotRead) {
  const std::string file = path();
  std::string expected;
  failEveryAllocation([&](AllocationFault& fault) {
    const CapturedOutput output;
    int result = 1;
    fault.during([&] { result = vekinfo(file.c_str()); });
    EXPECT_FALSE(fault.threw());
    const std::string text = output.text();
    if (expected.empty()) expected = text;
    if (!fault.wasHit()) {
      EXPECT_EQ(result, 0);
      EXPECT_EQ(text, expected);
    }
    if (result == 0) {
      const std::size_t head = expected.find("object[");
      EXPECT_EQ(text.compare(0, head, expected, 0, head), 0);
      EXPECT_TRUE(isPartOf(withoutKinds(text), withoutKinds(expected))) << text;
    } else {
      EXPECT_EQ(result, -1);
    }
  });
  EXPECT_GT(expected.size(), 1000U);
}

TEST_F(ChunkAllocationFaultTest, testFileIsWholeOrFails) {
  const std::string file = path("test.vek");
  ASSERT_EQ(vektest(file.c_str()), 0);
  const std::string expected = readFile(file);
  failEveryAllocation([&](AllocationFault& fault) {
    const CapturedOutput quiet;
    std::filesystem::remove(file);
    int result = 1;
    fault.during([&] { result = vektest(file.c_str()); });
    EXPECT_FALSE(fault.threw());
    EXPECT_TRUE(result == 0 || (result == -1 && fault.wasHit()));
    if (result == 0) {
      EXPECT_EQ(readFile(file), expected);
    }
  });
}

}  // namespace
