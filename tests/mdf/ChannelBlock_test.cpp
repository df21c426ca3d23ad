#include "mdf/ChannelBlock.h"

#include <memory>

#include "support/MdfFiles.h"

namespace {

class ChannelBlock : public MdfFiles {
 protected:
  std::string Written(MDF::Block& root) {
    FileStream stream(NewFile());
    Roots({64});
    PlaceAndWrite(root, stream);
    return Contents().substr(64, root.Block_Length());
  }
};

// --- data group ---

TEST_F(ChannelBlock, DataGroupSaysWhetherRecordsHaveIds) {
  const std::string front =
      Bytes("23 23 44 47 00 00 00 00 40 00 00 00 00 00 00 00 04 00 00 00 00 00 00 00") + std::string(32, '\0');
  MDF::DGBLOCK plain(false);
  MDF::DGBLOCK numbered(true);
  EXPECT_EQ(Written(plain), front + std::string(8, '\0'));
  EXPECT_EQ(Written(numbered), front + Bytes("01 00 00 00 00 00 00 00"));
}

TEST(DataGroupBlock, ChainsItsChannelGroupsAndTheNextDataGroups) {
  MDF::DGBLOCK group(true);
  MDF::CGBLOCK first("", 1, 0, 0);
  MDF::CGBLOCK second("", 2, 0, 0);
  MDF::CGBLOCK third("", 3, 0, 0);
  EXPECT_TRUE(group.Link_CGBLOCK(&first));
  EXPECT_TRUE(group.Link_CGBLOCK(&second));
  EXPECT_TRUE(second.Link_CGBLOCK(&third));
  EXPECT_EQ(group.Links_Get(MDF::kDgFirstGroup), &first);
  EXPECT_EQ(first.Links_Get(MDF::kCgNext), &second);
  EXPECT_EQ(second.Links_Get(MDF::kCgNext), &third);
  MDF::DGBLOCK next(false);
  MDF::DGBLOCK last(false);
  EXPECT_TRUE(group.Link_DGBLOCK(&next));
  EXPECT_TRUE(group.Link_DGBLOCK(&last));
  EXPECT_EQ(group.Links_Get(MDF::kDgNext), &next);
  EXPECT_EQ(next.Links_Get(MDF::kDgNext), &last);
  EXPECT_FALSE(group.Link_DGBLOCK(&group));
  EXPECT_FALSE(group.Link_CGBLOCK(nullptr));
}

// --- channel group ---

TEST_F(ChannelBlock, ChannelGroupHoldsItsNumbers) {
  MDF::CGBLOCK group("CAN1", 0x0102030405060708, 6, 26);
  Tree name(group.Links_Get(MDF::kCgAcqName));
  EXPECT_EQ(Written(group), Bytes("23 23 43 47 00 00 00 00 68 00 00 00 00 00 00 00 06 00 00 00 00 00 00 00") +
                                std::string(16, '\0') + Bytes("A8 00 00 00 00 00 00 00") + std::string(24, '\0') +
                                Bytes("08 07 06 05 04 03 02 01 00 00 00 00 00 00 00 00 06 00 2E 00 00 00 00 00"
                                      "1A 00 00 00 00 00 00 00"));
}

TEST(ChannelGroupBlock, EmptyNameIsNoText) { EXPECT_EQ(MDF::CGBLOCK("", 1, 0, 0).Links_Get(MDF::kCgAcqName), nullptr); }

TEST_F(ChannelBlock, CycleCountIsRightInTheFileAfterEachWrite) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::CGBLOCK group("", 1, 0, 8);
  PlaceAndWrite(group, stream);
  EXPECT_FALSE(group.WriteRequest());
  for (const unsigned long records : {7UL, 0x1'0000'0000UL}) {
    group.CycleCount_Set(records);
    EXPECT_TRUE(group.WriteRequest());
    PlaceAndWrite(group, stream);
    StrictMdfReader reader(Contents());
    reader.ReadBlocks({64});
    EXPECT_EQ(StrictMdfReader::Number(reader.At(64).Data, 8, 8), records);
  }
  EXPECT_EQ(group.CycleCount_Get(), 0x1'0000'0000U);
  group.CycleCount_Set(group.CycleCount_Get());
  EXPECT_FALSE(group.WriteRequest());
}

TEST_F(ChannelBlock, RecordReachesToTheEndOfTheLastField) {
  MDF::CGBLOCK group("", 1, 6, 0);
  MDF::CNBLOCK time("", 2, 1, 0, 0, 64);
  MDF::CNBLOCK frame("", 0, 0, 10, 64, 0);
  MDF::CNBLOCK last("", 0, 0, 0, 216, 56);
  MDF::CNBLOCK inside("", 0, 0, 0, 95, 1);
  MDF::CNBLOCK constant("", 6, 0, 0, 4000, 64);
  MDF::CNBLOCK clock("", 3, 1, 0, 4000, 64);
  EXPECT_EQ(group.RecordsSize(), 0U);
  group.Link_CNBLOCK(&time);
  EXPECT_EQ(group.RecordsSize(), 8U);
  group.Link_CNBLOCK(&frame);
  frame.Link_CNBLOCK(&last, true);
  frame.Link_CNBLOCK(&inside, true);
  frame.Link_CNBLOCK(&constant, true);
  group.Link_CNBLOCK(&clock);
  EXPECT_EQ(group.RecordsSize(), 34U);
  EXPECT_EQ(Written(group).substr(24 + 48 + 24, 4), Bytes("22 00 00 00"));
}

TEST_F(ChannelBlock, ChannelLinkedLaterLengthensTheRecordInTheFile) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::CGBLOCK group("", 1, 6, 4);
  MDF::CNBLOCK first("", 0, 0, 0, 0, 8);
  MDF::CNBLOCK second("", 0, 0, 0, 61, 4);
  group.Link_CNBLOCK(&first);
  PlaceAndWrite(group, stream);
  EXPECT_EQ(Contents().substr(64 + 96, 4), Bytes("04 00 00 00")) << "at least what was given";
  first.Link_CNBLOCK(&second, false);
  EXPECT_TRUE(group.WriteRequest());
  PlaceAndWrite(group, stream);
  EXPECT_EQ(Contents().substr(64 + 96, 4), Bytes("09 00 00 00"));
}

TEST(ChannelGroupBlock, CircleOfChannelsHasASizeToo) {
  MDF::CGBLOCK group("", 1, 6, 0);
  MDF::CNBLOCK channel("", 0, 0, 0, 0, 8);
  channel.Links_Set(MDF::kCnComposition, &channel);
  group.Link_CNBLOCK(&channel);
  EXPECT_EQ(group.RecordsSize(), 1U);
}

TEST(ChannelGroupBlock, FieldAtTheEndOfAllPositionsIsCounted) {
  MDF::CGBLOCK group("", 1, 6, 0);
  MDF::CNBLOCK channel("", 0, 0, 0, 0xFFFFFFFF, 0xFFFFFFFF);
  group.Link_CNBLOCK(&channel);
  EXPECT_EQ(group.RecordsSize(), 0x1FFFFFFFU + (7UL + 0xFFFFFFFFUL + 7) / 8);
}

// --- channel ---

TEST_F(ChannelBlock, ChannelSplitsItsBitPosition) {
  MDF::CNBLOCK channel("flag", 6, 1, 10, 13, 3);
  Tree name(channel.Links_Get(MDF::kCnName));
  EXPECT_EQ(Written(channel), Bytes("23 23 43 4E 00 00 00 00 A0 00 00 00 00 00 00 00 08 00 00 00 00 00 00 00") +
                                  std::string(16, '\0') + Bytes("E0 00 00 00 00 00 00 00") + std::string(40, '\0') +
                                  Bytes("06 01 0A 05 01 00 00 00 03 00 00 00") + std::string(60, '\0'));
}

TEST_F(ChannelBlock, ChannelFlagsMayBeSet) {
  MDF::CNBLOCK channel("", 0, 0, 0, 0, 8);
  channel.Flags_Set(0x440);
  EXPECT_EQ(channel.Flags_Get(), 0x440U);
  EXPECT_EQ(Written(channel).substr(24 + 64 + 12, 4), Bytes("40 04 00 00"));
}

TEST_F(ChannelBlock, ChannelFlagsAndBitCountSetLaterReachTheFile) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::CNBLOCK channel("", 0, 0, 0, 0, 8);
  PlaceAndWrite(channel, stream);
  EXPECT_FALSE(channel.WriteRequest());
  channel.Flags_Set(0x440);
  EXPECT_TRUE(channel.WriteRequest());
  PlaceAndWrite(channel, stream);
  EXPECT_EQ(Contents().substr(64 + 24 + 64 + 8, 8), Bytes("08 00 00 00 40 04 00 00"));
  EXPECT_FALSE(channel.WriteRequest());
  channel.BitCount_Set(16);
  EXPECT_TRUE(channel.WriteRequest());
  PlaceAndWrite(channel, stream);
  EXPECT_EQ(channel.BitCount_Get(), 16U);
  EXPECT_EQ(Contents().substr(64 + 24 + 64 + 8, 8), Bytes("10 00 00 00 40 04 00 00"));
}

TEST(ChannelLinks, FirstChannelGoesWhereAskedFor) {
  MDF::CNBLOCK next("", 0, 0, 0, 0, 8);
  MDF::CNBLOCK a("", 0, 0, 0, 0, 8);
  EXPECT_TRUE(a.Link_CNBLOCK(&next, false));
  EXPECT_EQ(a.Links_Get(MDF::kCnNext), &next);
  EXPECT_EQ(a.Links_Get(MDF::kCnComposition), nullptr);
  MDF::CNBLOCK b("", 0, 0, 0, 0, 8);
  MDF::CNBLOCK part("", 0, 0, 0, 0, 8);
  EXPECT_TRUE(b.Link_CNBLOCK(&part, true));
  EXPECT_EQ(b.Links_Get(MDF::kCnNext), nullptr);
  EXPECT_EQ(b.Links_Get(MDF::kCnComposition), &part);
}

TEST(ChannelLinks, FurtherChannelsGoToTheCompositionIfThereIsOneElseBehind) {
  MDF::CNBLOCK whole("", 0, 0, 10, 0, 8);
  MDF::CNBLOCK part("", 0, 0, 0, 0, 8);
  MDF::CNBLOCK second("", 0, 0, 0, 0, 8);
  whole.Link_CNBLOCK(&part, true);
  EXPECT_TRUE(whole.Link_CNBLOCK(&second, false)) << "into the composition all the same";
  EXPECT_EQ(part.Links_Get(MDF::kCnNext), &second);
  MDF::CNBLOCK first("", 0, 0, 0, 0, 8);
  MDF::CNBLOCK next("", 0, 0, 0, 0, 8);
  MDF::CNBLOCK last("", 0, 0, 0, 0, 8);
  first.Link_CNBLOCK(&next, false);
  EXPECT_TRUE(first.Link_CNBLOCK(&last, true)) << "behind all the same";
  EXPECT_EQ(next.Links_Get(MDF::kCnNext), &last);
  EXPECT_FALSE(first.Link_CNBLOCK(nullptr, true));
  EXPECT_FALSE(first.Link_CNBLOCK(&next, false));
}

// --- conversion ---

TEST_F(ChannelBlock, LinearConversionHoldsItsValues) {
  MDF::CCBLOCK conversion(1, 2, "s");
  Tree unit(conversion.Links_Get(MDF::kCcUnit));
  EXPECT_TRUE(conversion.Value_Add(0));
  EXPECT_TRUE(conversion.Value_Add(1e-9));
  EXPECT_EQ(Written(conversion), Bytes("23 23 43 43 00 00 00 00 60 00 00 00 00 00 00 00 04 00 00 00 00 00 00 00"
                                       "00 00 00 00 00 00 00 00 A0 00 00 00 00 00 00 00") +
                                     std::string(16, '\0') + Bytes("01 00 02 00 00 00 02 00") + std::string(16, '\0') +
                                     std::string(8, '\0') + Bytes("95 D6 26 E8 0B 2E 11 3E"));
}

TEST_F(ChannelBlock, ValueToTextConversionCountsItsReferences) {
  MDF::CCBLOCK conversion(7, 0, nullptr);
  MDF::TXBLOCK received("Rx");
  MDF::TXBLOCK sent("Tx");
  EXPECT_EQ(conversion.Links_Get(MDF::kCcUnit), nullptr);
  conversion.Value_Add(0);
  conversion.Value_Add(1);
  EXPECT_TRUE(conversion.Reference_Add(&received));
  EXPECT_TRUE(conversion.Reference_Add(&sent));
  EXPECT_TRUE(conversion.Reference_Add(nullptr)) << "no default text";
  const std::string block = Written(conversion);
  EXPECT_EQ(block.size(), 24U + 7 * 8 + 24 + 16);
  EXPECT_EQ(block.substr(24 + 56, 8), Bytes("07 00 00 00 03 00 02 00"));
}

TEST_F(ChannelBlock, ReferencesAddedAsPlainLinksAreCountedToo) {
  MDF::CCBLOCK conversion(7, 0, "");
  MDF::TXBLOCK text("x");
  conversion.Links_Set(5, &text);
  EXPECT_EQ(Written(conversion).substr(24 + 48, 8), Bytes("07 00 00 00 02 00 00 00"));
}

// A conversion that is the last block of the file has room to grow.
TEST_F(ChannelBlock, ConversionTakesValuesAndReferencesAfterItWasWritten) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::CCBLOCK conversion(7, 0, nullptr);
  ASSERT_TRUE(conversion.Value_Add(0));
  PlaceAndWrite(conversion, stream);
  EXPECT_FALSE(conversion.WriteRequest());
  ASSERT_TRUE(conversion.Value_Add(1e-9));
  EXPECT_TRUE(conversion.WriteRequest());
  PlaceAndWrite(conversion, stream);
  const std::string noLinks(4 * 8, '\0');
  EXPECT_EQ(Contents().substr(64), Bytes("23 23 43 43 00 00 00 00 60 00 00 00 00 00 00 00 04 00 00 00 00 00 00 00") +
                                       noLinks + Bytes("07 00 00 00 00 00 02 00") + std::string(16, '\0') +
                                       std::string(8, '\0') + Bytes("95 D6 26 E8 0B 2E 11 3E"));
  EXPECT_FALSE(conversion.WriteRequest());
  ASSERT_TRUE(conversion.Reference_Add(nullptr));
  EXPECT_TRUE(conversion.WriteRequest());
  PlaceAndWrite(conversion, stream);
  EXPECT_EQ(Contents().substr(64), Bytes("23 23 43 43 00 00 00 00 68 00 00 00 00 00 00 00 05 00 00 00 00 00 00 00") +
                                       noLinks + std::string(8, '\0') + Bytes("07 00 00 00 01 00 02 00") +
                                       std::string(16, '\0') + std::string(8, '\0') + Bytes("95 D6 26 E8 0B 2E 11 3E"));
}

TEST(ConversionBlock, CountsEndAtSixteenBits) {
  MDF::CCBLOCK conversion(1, 0, nullptr);
  for (int i = 0; i < 0xFFFF; ++i) {
    ASSERT_TRUE(conversion.Value_Add(i));
    ASSERT_TRUE(conversion.Reference_Add(nullptr));
  }
  EXPECT_FALSE(conversion.Value_Add(0));
  EXPECT_FALSE(conversion.Reference_Add(nullptr));
}

// --- source ---

TEST_F(ChannelBlock, SourceNamesItsChannelInItsComment) {
  MDF::SIBLOCK source("CAN_DataFrame", 2, 2, 3, 1);
  Tree name(source.Links_Get(MDF::kSiName));
  Tree comment(source.Links_Get(MDF::kSiComment));
  EXPECT_EQ(Written(source), Bytes("23 23 53 49 00 00 00 00 38 00 00 00 00 00 00 00 03 00 00 00 00 00 00 00"
                                   "78 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 A0 00 00 00 00 00 00 00"
                                   "02 03 01 00 00 00 00 00"));
  StrictMdfReader reader(Contents());
  reader.ReadBlocks({64});
  EXPECT_EQ(reader.Text(0x78), "CAN_DataFrame");
  EXPECT_EQ(reader.Text(0xA0),
            "<SIcomment><TX/><common_properties> <e name = \"ChannelNo\" ro = \"true\">2</e > "
            "</common_properties></SIcomment>");
}

TEST(SourceBlock, CommentIsMadeEvenWithoutAName) {
  MDF::SIBLOCK source("", 0xFFFFFFFF, 2, 2, 0);
  EXPECT_EQ(source.Links_Get(MDF::kSiName), nullptr);
  EXPECT_NE(source.Links_Get(MDF::kSiComment), nullptr);
  source.Links_Clear(true);
}

// --- all of them ---

TEST_F(ChannelBlock, ResetBlocksWriteTheirDataIntoTheNextFile) {
  auto* group = new MDF::DGBLOCK(true);
  auto* channels = new MDF::CGBLOCK("name", 1, 6, 8);
  auto* channel = new MDF::CNBLOCK("channel", 0, 0, 0, 0, 64);
  auto* conversion = new MDF::CCBLOCK(1, 0, "s");
  Tree tree(group);
  group->Link_CGBLOCK(channels);
  channels->Link_CNBLOCK(channel);
  channels->Links_Set(MDF::kCgSource, new MDF::SIBLOCK("source", 1, 2, 2, 0));
  channel->Links_Set(MDF::kCnConversion, conversion);
  conversion->Value_Add(1);
  std::string files[2];
  for (std::string& file : files) {
    Written(*group);
    file = Contents();
    group->Block_Reset(true);
  }
  EXPECT_EQ(files[0], files[1]);
}

}  // namespace
