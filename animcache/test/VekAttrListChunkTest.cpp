// SPDX-License-Identifier: Apache-2.0
//
// Tests of the attribute lists SATR and AATR: their names and types as bytes, lengths and text.

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "ByteImage.h"
#include "ChunkTest.h"
#include "VekChunks.h"

namespace {

using namespace Vek;
using namespace VekTest;

using Strings = std::vector<std::string>;

constexpr unsigned __int64 kHuge = std::numeric_limits<unsigned __int64>::max();

class VekAttrListChunkTest : public ChunkTest {
 protected:
  static void fill(VekAttrListChunk& list, Strings names, Strings types) {
    list.names = std::move(names);
    list.types = std::move(types);
  }
};

// NAME and TYPE of the attributes "color" (float3) and "id" (int): 9 and 11 bytes, 52 with headers.
ByteImage twoAttributes() {
  return ByteImage()
      .header("NAME", 2, 9)
      .cstr("color")
      .cstr("id")
      .header("TYPE", 2, 11)
      .cstr("float3")
      .cstr("int");
}

// ----- Construction and reset

TEST_F(VekAttrListChunkTest, aNewSATRIsAnEmptyGroup) {
  VekSATRChunk satr;
  EXPECT_EQ(satr.getTag(), Tag::SATR);
  EXPECT_EQ(satr.getType(), 1);
  EXPECT_EQ(satr.getCompound(), 0);
  EXPECT_EQ(satr.getDimension(), 0);
  EXPECT_TRUE(satr.names.empty());
  EXPECT_TRUE(satr.types.empty());
  EXPECT_EQ(satr.numChildren(), 0U);
}

TEST_F(VekAttrListChunkTest, aNewAATRIsAnEmptyGroup) {
  VekAATRChunk aatr;
  EXPECT_EQ(aatr.getTag(), Tag::AATR);
  EXPECT_EQ(aatr.getType(), 1);
  EXPECT_TRUE(aatr.names.empty());
  EXPECT_TRUE(aatr.types.empty());
}

TEST_F(VekAttrListChunkTest, resetEmptiesBothListsAndTheChildren) {
  VekSATRChunk satr;
  fill(satr, {"a", "b"}, {"t", "u"});
  satr.addChild(new VekLeafChunk<int>(makeTag('A', 'B', 'C', 'D')));
  satr.reset();
  EXPECT_TRUE(satr.names.empty());
  EXPECT_TRUE(satr.types.empty());
  EXPECT_EQ(satr.numChildren(), 0U);
}

TEST_F(VekAttrListChunkTest, removeAllChildrenKeepsTheLists) {
  VekAATRChunk aatr;
  fill(aatr, {"a"}, {"t"});
  aatr.addChild(new VekLeafChunk<int>(makeTag('A', 'B', 'C', 'D')));
  aatr.removeAllChildren();
  EXPECT_EQ(aatr.numChildren(), 0U);
  EXPECT_EQ(aatr.names, Strings{"a"});
  EXPECT_EQ(aatr.types, Strings{"t"});
}

// ----- Writing

TEST_F(VekAttrListChunkTest, satrWritesNamesThenTypes) {
  VekSATRChunk satr;
  fill(satr, {"color", "id"}, {"float3", "int"});
  EXPECT_EQ(written(satr), ByteImage().header("SATR", 1, 52).raw(twoAttributes()).bytes());
}

TEST_F(VekAttrListChunkTest, aatrWritesNamesThenTypes) {
  VekAATRChunk aatr;
  fill(aatr, {"color", "id"}, {"float3", "int"});
  EXPECT_EQ(written(aatr), ByteImage().header("AATR", 1, 52).raw(twoAttributes()).bytes());
}

TEST_F(VekAttrListChunkTest, anEmptyListWritesAGroupOfNoLength) {
  VekSATRChunk satr;
  EXPECT_EQ(written(satr), ByteImage().header("SATR", 1, 0).bytes());
}

TEST_F(VekAttrListChunkTest, anEmptyTypeListWritesNoTYPE) {
  VekSATRChunk satr;
  fill(satr, {"a", "b"}, {});
  EXPECT_EQ(written(satr),
            ByteImage().header("SATR", 1, 20).header("NAME", 2, 4).cstr("a").cstr("b").bytes());
  EXPECT_TRUE(satr.types.empty());
}

TEST_F(VekAttrListChunkTest, aShortTypeListIsPaddedWithEmptyStrings) {
  VekSATRChunk satr;
  fill(satr, {"a", "b", "c"}, {"t"});
  EXPECT_EQ(written(satr), ByteImage()
                               .header("SATR", 1, 42)
                               .header("NAME", 2, 6)
                               .cstr("a")
                               .cstr("b")
                               .cstr("c")
                               .header("TYPE", 2, 4)
                               .cstr("t")
                               .cstr("")
                               .cstr("")
                               .bytes());
}

TEST_F(VekAttrListChunkTest, writingReallyPadsTheTypeList) {
  VekSATRChunk satr;
  fill(satr, {"a", "b", "c"}, {"t"});
  written(satr);
  EXPECT_EQ(satr.types, (Strings{"t", "", ""}));
  EXPECT_EQ(satr.names, (Strings{"a", "b", "c"}));
}

TEST_F(VekAttrListChunkTest, aLongTypeListIsCut) {
  VekAATRChunk aatr;
  fill(aatr, {"a"}, {"t", "u", "v"});
  EXPECT_EQ(written(aatr), ByteImage()
                               .header("AATR", 1, 36)
                               .header("NAME", 2, 2)
                               .cstr("a")
                               .header("TYPE", 2, 2)
                               .cstr("t")
                               .bytes());
  EXPECT_EQ(aatr.types, Strings{"t"});
}

TEST_F(VekAttrListChunkTest, typesWithoutNamesWriteAnEmptyTYPE) {
  VekSATRChunk satr;
  fill(satr, {}, {"t", "u"});
  EXPECT_EQ(written(satr), ByteImage().header("SATR", 1, 16).header("TYPE", 2, 0).bytes());
  EXPECT_TRUE(satr.types.empty());
}

TEST_F(VekAttrListChunkTest, genericChildrenFollowTheLists) {
  VekSATRChunk satr;
  fill(satr, {"a"}, {"t"});
  satr.addChild(new VekLeafChunk<int>(makeTag('A', 'B', 'C', 'D'), {5}));
  EXPECT_EQ(written(satr), ByteImage()
                               .header("SATR", 1, 56)
                               .header("NAME", 2, 2)
                               .cstr("a")
                               .header("TYPE", 2, 2)
                               .cstr("t")
                               .header("ABCD", 3, 4)
                               .int32(5)
                               .bytes());
}

TEST_F(VekAttrListChunkTest, writingToAClosedFileFails) {
  VekSATRChunk satr;
  fill(satr, {"a"}, {"t"});
  VekFile f;
  EXPECT_FALSE(satr.write(f));
}

TEST_F(VekAttrListChunkTest, writingToAReadOnlyFileFails) {
  VekSATRChunk satr;
  fill(satr, {"a"}, {"t"});
  VekFile f(writeFile(ByteImage().zeros(64)).c_str(), "r");
  EXPECT_FALSE(satr.write(f));
  EXPECT_EQ(f.getLevel(), 0U);
}

// ----- Reading

TEST_F(VekAttrListChunkTest, satrReadsNamesAndTypes) {
  VekSATRChunk satr;
  ASSERT_TRUE(readInto(satr, ByteImage().header("SATR", 1, 52).raw(twoAttributes())));
  EXPECT_EQ(satr.names, (Strings{"color", "id"}));
  EXPECT_EQ(satr.types, (Strings{"float3", "int"}));
  EXPECT_EQ(satr.numChildren(), 0U);
  EXPECT_EQ(satr.getHeader().length, 52);
}

TEST_F(VekAttrListChunkTest, aatrReadsNamesAndTypes) {
  VekAATRChunk aatr;
  ASSERT_TRUE(readInto(aatr, ByteImage().header("AATR", 1, 52).raw(twoAttributes())));
  EXPECT_EQ(aatr.names, (Strings{"color", "id"}));
  EXPECT_EQ(aatr.types, (Strings{"float3", "int"}));
}

TEST_F(VekAttrListChunkTest, typesMayComeBeforeNames) {
  VekSATRChunk satr;
  ASSERT_TRUE(readInto(satr, ByteImage()
                                 .header("SATR", 1, 36)
                                 .header("TYPE", 2, 2)
                                 .cstr("t")
                                 .header("NAME", 2, 2)
                                 .cstr("a")));
  EXPECT_EQ(satr.names, Strings{"a"});
  EXPECT_EQ(satr.types, Strings{"t"});
}

TEST_F(VekAttrListChunkTest, anEmptyGroupReadsAsEmptyLists) {
  VekSATRChunk satr;
  ASSERT_TRUE(readInto(satr, ByteImage().header("SATR", 1, 0)));
  EXPECT_TRUE(satr.names.empty());
  EXPECT_TRUE(satr.types.empty());
}

TEST_F(VekAttrListChunkTest, anEmptyNAMEReadsAsNoNames) {
  VekSATRChunk satr;
  ASSERT_TRUE(readInto(satr, ByteImage().header("SATR", 1, 16).header("NAME", 2, 0)));
  EXPECT_TRUE(satr.names.empty());
  EXPECT_EQ(satr.numChildren(), 0U);
}

TEST_F(VekAttrListChunkTest, emptyNamesSurviveARoundTrip) {
  VekSATRChunk satr;
  fill(satr, {"", "a", ""}, {"", "", "t"});
  VekSATRChunk back;
  ASSERT_TRUE(readInto(back, ByteImage().raw(written(satr))));
  EXPECT_EQ(back.names, (Strings{"", "a", ""}));
  EXPECT_EQ(back.types, (Strings{"", "", "t"}));
}

TEST_F(VekAttrListChunkTest, theLastNameMayLackItsNUL) {
  VekAATRChunk aatr;
  ASSERT_TRUE(
      readInto(aatr, ByteImage().header("AATR", 1, 19).header("NAME", 2, 3).cstr("a").raw("b")));
  EXPECT_EQ(aatr.names, (Strings{"a", "b"}));
}

TEST_F(VekAttrListChunkTest, namesAndTypesOfAnotherTypeAreGenericChildren) {
  VekSATRChunk satr;
  ASSERT_TRUE(readInto(satr, ByteImage()
                                 .header("SATR", 1, 36)
                                 .header("NAME", 0, 2)
                                 .cstr("a")
                                 .header("TYPE", 0, 2)
                                 .cstr("t")));
  EXPECT_TRUE(satr.names.empty());
  EXPECT_TRUE(satr.types.empty());
  ASSERT_EQ(satr.numChildren(), 2U);
  EXPECT_EQ(satr.getChild(0)->getTag(), Tag::NAME);
  EXPECT_EQ(satr.getChild(1)->getTag(), Tag::TYPE);
}

TEST_F(VekAttrListChunkTest, unknownChildrenSurviveARoundTrip) {
  const ByteImage image = ByteImage()
                              .header("SATR", 1, 56)
                              .header("NAME", 2, 2)
                              .cstr("a")
                              .header("TYPE", 2, 2)
                              .cstr("t")
                              .header("ABCD", 3, 4)
                              .int32(5);
  VekSATRChunk satr;
  ASSERT_TRUE(readInto(satr, image));
  EXPECT_EQ(satr.numChildren(), 1U);
  EXPECT_EQ(written(satr), image.bytes());
}

TEST_F(VekAttrListChunkTest, theReservedByteOfTheGroupSurvivesAndThoseOfTheListsDoNot) {
  VekSATRChunk satr;
  ASSERT_TRUE(readInto(
      satr, ByteImage().header("SATR", 1, 18, 2, 3, 7).header("NAME", 2, 2, 4, 5, 6).cstr("a")));
  EXPECT_EQ(written(satr),
            ByteImage().header("SATR", 1, 18, 2, 3, 7).header("NAME", 2, 2).cstr("a").bytes());
}

TEST_F(VekAttrListChunkTest, aLaterDuplicateReplacesTheList) {
  VekSATRChunk satr;
  ASSERT_TRUE(readInto(satr, ByteImage()
                                 .header("SATR", 1, 38)
                                 .header("NAME", 2, 4)
                                 .cstr("a")
                                 .cstr("b")
                                 .header("NAME", 2, 2)
                                 .cstr("c")));
  EXPECT_EQ(satr.names, Strings{"c"});
}

TEST_F(VekAttrListChunkTest, aHeaderOfAnotherTagOrTypeIsRefused) {
  VekSATRChunk satr;
  EXPECT_FALSE(readInto(satr, ByteImage().header("AATR", 1, 52).raw(twoAttributes())));
  EXPECT_FALSE(readInto(satr, ByteImage().header("SATR", 0, 52).raw(twoAttributes())));
  EXPECT_TRUE(satr.names.empty());
}

TEST_F(VekAttrListChunkTest, everyTruncationFails) {
  const std::string whole = ByteImage().header("SATR", 1, 52).raw(twoAttributes()).bytes();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    VekSATRChunk satr;
    EXPECT_FALSE(readInto(satr, ByteImage().raw(whole.substr(0, size)))) << size;
  }
}

TEST_F(VekAttrListChunkTest, damagedLengthsFail) {
  for (const __int64 length :
       {std::numeric_limits<__int64>::min(), std::int64_t{-16}, std::int64_t{-1}, std::int64_t{53},
        std::int64_t{1} << 40, std::numeric_limits<__int64>::max()}) {
    VekSATRChunk satr;
    EXPECT_FALSE(
        readInto(satr, ByteImage().header("SATR", 1, 18).header("NAME", 2, length).cstr("a")))
        << length;
    EXPECT_FALSE(
        readInto(satr, ByteImage().header("SATR", 1, 18).header("TYPE", 2, length).cstr("a")))
        << length;
  }
}

// ----- Lengths

TEST_F(VekAttrListChunkTest, noNamesHaveLength0) {
  VekSATRChunk satr;
  EXPECT_EQ(satr.getLength(), 0);
  satr.types = {"t"};
  EXPECT_EQ(satr.getLength(), 0);
}

TEST_F(VekAttrListChunkTest, theLengthCountsBothHeadersAndBothLists) {
  VekSATRChunk satr;
  fill(satr, {"color", "id"}, {"float3", "int"});
  EXPECT_EQ(satr.getLength(), 52);
}

TEST_F(VekAttrListChunkTest, theLengthCountsTYPEEvenWhenItIsNotWritten) {
  VekSATRChunk satr;
  fill(satr, {"a", "bc"}, {});
  // 32 for the headers, 2 + 3 for the names, 1 for each missing type; the file holds 21 bytes.
  EXPECT_EQ(satr.getLength(), 39);
  EXPECT_EQ(written(satr).size(), 16U + 21U);
}

TEST_F(VekAttrListChunkTest, aMissingTypeEntryCountsItsNUL) {
  VekAATRChunk aatr;
  fill(aatr, {"a", "b", "c"}, {"type"});
  EXPECT_EQ(aatr.getLength(), 32 + 6 + 5 + 1 + 1);
}

TEST_F(VekAttrListChunkTest, typesBeyondTheNamesAreNotCounted) {
  VekAATRChunk aatr;
  fill(aatr, {"a"}, {"t", "longer", "longest"});
  EXPECT_EQ(aatr.getLength(), 32 + 2 + 2);
}

TEST_F(VekAttrListChunkTest, genericChildrenAreNotCounted) {
  VekSATRChunk satr;
  satr.addChild(new VekLeafChunk<int>(makeTag('A', 'B', 'C', 'D'), {5}));
  EXPECT_EQ(satr.getLength(), 0);
  fill(satr, {"a"}, {"t"});
  EXPECT_EQ(satr.getLength(), 36);
}

// ----- Removing

TEST_F(VekAttrListChunkTest, removeErasesTheRangeFromBothLists) {
  VekSATRChunk satr;
  fill(satr, {"a", "b", "c", "d"}, {"t", "u", "v", "w"});
  satr.remove(1, 3);
  EXPECT_EQ(satr.names, (Strings{"a", "d"}));
  EXPECT_EQ(satr.types, (Strings{"t", "w"}));
}

TEST_F(VekAttrListChunkTest, removeOfAnEmptyRangeChangesNothing) {
  VekAATRChunk aatr;
  fill(aatr, {"a", "b"}, {"t", "u"});
  aatr.remove(1, 1);
  aatr.remove(2, 2);
  EXPECT_EQ(aatr.names, (Strings{"a", "b"}));
  EXPECT_EQ(aatr.types, (Strings{"t", "u"}));
}

TEST_F(VekAttrListChunkTest, removeOfTheWholeRangeEmptiesBothLists) {
  VekAATRChunk aatr;
  fill(aatr, {"a", "b"}, {"t", "u"});
  aatr.remove(0, 2);
  EXPECT_TRUE(aatr.names.empty());
  EXPECT_TRUE(aatr.types.empty());
}

TEST_F(VekAttrListChunkTest, removeCopesWithAShorterTypeList) {
  VekSATRChunk satr;
  fill(satr, {"a", "b", "c", "d"}, {"t", "u"});
  satr.remove(1, 3);
  EXPECT_EQ(satr.names, (Strings{"a", "d"}));
  EXPECT_EQ(satr.types, Strings{"t"});
  satr.remove(1, 2);
  EXPECT_EQ(satr.names, Strings{"a"});
  EXPECT_EQ(satr.types, Strings{"t"});
}

TEST_F(VekAttrListChunkTest, removePastTheEndStopsAtTheEnd) {
  VekSATRChunk satr;
  fill(satr, {"a", "b"}, {"t", "u"});
  satr.remove(1, kHuge);
  EXPECT_EQ(satr.names, Strings{"a"});
  EXPECT_EQ(satr.types, Strings{"t"});
}

TEST_F(VekAttrListChunkTest, removeOutsideTheListsChangesNothing) {
  VekSATRChunk satr;
  fill(satr, {"a", "b"}, {"t", "u"});
  satr.remove(2, 5);
  satr.remove(7, 9);
  satr.remove(kHuge - 1, kHuge);
  satr.remove(1, 0);
  satr.remove(kHuge, 0);
  EXPECT_EQ(satr.names, (Strings{"a", "b"}));
  EXPECT_EQ(satr.types, (Strings{"t", "u"}));
}

TEST_F(VekAttrListChunkTest, removeIsVirtual) {
  struct Counting : VekSATRChunk {
    void remove(unsigned __int64, unsigned __int64) override { ++calls; }
    int calls = 0;
  } counting;
  VekAttrListChunk& list = counting;
  list.remove(0, 0);
  EXPECT_EQ(counting.calls, 1);
}

// ----- Printing

TEST_F(VekAttrListChunkTest, printsNamesAndTypesOnALineEach) {
  VekSATRChunk satr;
  fill(satr, {"color", "id"}, {"float3", "int"});
  EXPECT_EQ(printed(satr), "SATR group (0) : \n. names = color id \n. types = float3 int \n");
}

TEST_F(VekAttrListChunkTest, printIndentsEachLine) {
  VekAATRChunk aatr;
  fill(aatr, {"a"}, {"t"});
  EXPECT_EQ(printed(aatr, 2), ". . AATR group (0) : \n. . . names = a \n. . . types = t \n");
}

TEST_F(VekAttrListChunkTest, printLeavesEmptyListsOut) {
  VekSATRChunk satr;
  EXPECT_EQ(printed(satr), "SATR group (0) : \n");
  satr.names = {"a"};
  EXPECT_EQ(printed(satr), "SATR group (0) : \n. names = a \n");
  fill(satr, {}, {"t"});
  EXPECT_EQ(printed(satr), "SATR group (0) : \n. types = t \n");
}

TEST_F(VekAttrListChunkTest, printShowsTheListsAsTheyAreWhateverTheirSizes) {
  VekSATRChunk satr;
  fill(satr, {"a", "b"}, {"t"});
  EXPECT_EQ(printed(satr), "SATR group (0) : \n. names = a b \n. types = t \n");
}

TEST_F(VekAttrListChunkTest, printShowsTheLengthReadFromTheFile) {
  VekSATRChunk satr;
  ASSERT_TRUE(readInto(satr, ByteImage().header("SATR", 1, 52).raw(twoAttributes())));
  EXPECT_EQ(printed(satr), "SATR group (52) : \n. names = color id \n. types = float3 int \n");
}

TEST_F(VekAttrListChunkTest, printShowsGenericChildrenAfterTheLists) {
  VekSATRChunk satr;
  fill(satr, {"a"}, {"t"});
  satr.addChild(new VekLeafChunk<int>(makeTag('A', 'B', 'C', 'D'), {5}));
  EXPECT_EQ(printed(satr),
            "SATR group (0) : \n. names = a \n. types = t \n. ABCD int32 (4) : 5 \n");
}

// ----- Copying

TEST_F(VekAttrListChunkTest, aCopyIsAGenericGroupWithoutTheLists) {
  VekSATRChunk satr;
  fill(satr, {"a"}, {"t"});
  satr.addChild(new VekLeafChunk<int>(makeTag('A', 'B', 'C', 'D'), {5}));
  const std::unique_ptr<VekChunk> copy(VekChunk::copy(&satr));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(dynamic_cast<VekAttrListChunk*>(copy.get()), nullptr);
  EXPECT_EQ(written(*copy),
            ByteImage().header("SATR", 1, 20).header("ABCD", 3, 4).int32(5).bytes());
}

}  // namespace
