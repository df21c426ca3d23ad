#include "mdf/DataList.h"

#include <gmock/gmock.h>

#include <memory>

#include "support/MdfFiles.h"

namespace {

using ::testing::ElementsAre;

constexpr unsigned int kFull = 0x200000 - 48;

/// A file with identification, header and one data group with a channel, to hang lists on.
class DataList : public MdfFiles {
 protected:
  void Open() {
    Stream = std::make_unique<FileStream>(NewFile());
    MDF::IDBLOCK id("DataList");
    id.Write(*Stream);
    Header = new MDF::HDBLOCK(0);
    Group = new MDF::DGBLOCK(false);
    auto* channels = new MDF::CGBLOCK("", 1, 0, 8);
    Channel = new MDF::CNBLOCK("signal", 1, 0, 10, 0, 64);
    Header->Link_DGBLOCK(Group);
    Group->Link_CGBLOCK(channels);
    channels->Link_CNBLOCK(Channel);
    PlaceAndWrite(*Header, *Stream);
  }

  void Reopen() {
    Stream->close();
    Stream->open(NewFile(), std::ios_base::binary | std::ios_base::trunc);
    MDF::IDBLOCK id("DataList");
    id.Write(*Stream);
  }

  void TearDown() override {
    if (Stream != nullptr && Stream->is_open()) {
      if (Stream->good()) PlaceAndWrite(*Header, *Stream);
      Stream->close();
    }
    if (Header != nullptr) MDF::DestroyTree(Header, MDF::DataLists::kLeave);
    Lists.clear();
    MdfFiles::TearDown();
  }

  MDF::DLBLOCK& List(MDF::Block* parent, unsigned short maxBlocks, bool compressed) {
    Lists.push_back(std::make_unique<MDF::DLBLOCK>(parent, maxBlocks, compressed, *Stream));
    return *Lists.back();
  }

  /// Puts one data block into the file.
  void Flush(MDF::DLBLOCK& list, std::string data) {
    ASSERT_TRUE(list.Insert(Data(data), static_cast<unsigned int>(data.size())));
    ASSERT_TRUE(list.Write());
    All += data;
  }

  StrictMdfReader& Read() {
    Stream->flush();
    Reader = std::make_unique<StrictMdfReader>(Contents());
    Reader->ReadFile();
    EXPECT_EQ(Reader->Report(), "");
    return *Reader;
  }

  /// Where the data link of the group or channel leads.
  uint64_t GroupData() { return Reader->At(Reader->Of("DG").at(0)).Links[2]; }
  uint64_t ChannelData() { return Reader->At(Reader->Of("CN").at(0)).Links[5]; }

  std::unique_ptr<FileStream> Stream;
  MDF::HDBLOCK* Header = nullptr;
  MDF::DGBLOCK* Group = nullptr;
  MDF::CNBLOCK* Channel = nullptr;
  std::vector<std::unique_ptr<MDF::DLBLOCK>> Lists;
  std::unique_ptr<StrictMdfReader> Reader;
  std::string All;  // what was flushed
};

/// What holds for both kinds of lists.
class PlainOrPackedList : public DataList, public ::testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(DataList, PlainOrPackedList, ::testing::Bool(),
                         [](const auto& packed) { return packed.param ? "Packed" : "Plain"; });

TEST_F(DataList, NewListHasTwoLinksAndItsDataBlock) {
  Open();
  MDF::DLBLOCK& list = List(Group, 4, false);
  EXPECT_EQ(list.Links_Count(), 2U);
  EXPECT_EQ(list.Block_Length(), 24U + 16U + 16U);
  EXPECT_EQ(list.Links_Get(1)->Block_Type(), MDF::blockType_DT);
  EXPECT_EQ(List(Channel, 4, false).Links_Get(1)->Block_Type(), MDF::blockType_SD);
  EXPECT_EQ(List(nullptr, 4, false).Links_Get(1)->Block_Type(), MDF::blockType_SD);
  EXPECT_EQ(List(Group, 4, true).Links_Get(1)->Block_Type(), MDF::blockType_DZ);
  EXPECT_TRUE(list.Data_NewBlock());
}

TEST_F(DataList, FirstFlushWritesListRoomBlockAndParent) {
  Open();
  MDF::DLBLOCK& list = List(Group, 3, false);
  const auto place = static_cast<size_t>(MDF::Block::CalcStartPos(MDF::SeekEnd(*Stream)));
  Flush(list, "records!");
  Read();
  EXPECT_EQ(GroupData(), place);
  // The list, room for two more blocks, the block after it.
  const size_t block = place + 56 + 2 * 32;
  std::string expected = Bytes(
      "23 23 44 4C 00 00 00 00 38 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00"
      "00 00 00 00 00 00 00 00");
  for (int shift = 0; shift < 64; shift += 8) expected.push_back(static_cast<char>(block >> shift));
  expected += Bytes("00 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00") + std::string(64, '\0');
  expected += Bytes("23 23 44 54 00 00 00 00 20 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00") + "records!";
  EXPECT_EQ(Contents().substr(place), expected);
}

TEST_F(DataList, ListGrowsInPlace) {
  Open();
  MDF::DLBLOCK& list = List(Group, 3, false);
  Flush(list, "one");
  Flush(list, "three");
  Flush(list, "seven");
  Read();
  const uint64_t at = GroupData();
  EXPECT_EQ(Reader->Of("DL"), std::vector<uint64_t>{at});
  const std::string_view section = Reader->At(at).Data;
  EXPECT_EQ(std::string(section), Bytes("00 00 00 00 03 00 00 00"
                                        "00 00 00 00 00 00 00 00 03 00 00 00 00 00 00 00 08 00 00 00 00 00 00 00"));
  EXPECT_EQ(Reader->DataBehind(at), All);
  for (const uint64_t block : Reader->Of("DT")) EXPECT_EQ(block % 8, 0U);
}

TEST_F(DataList, BlockBeyondTheMaximumBeginsANewListChainedToTheOld) {
  Open();
  MDF::DLBLOCK& list = List(Group, 2, false);
  for (const char* data : {"a", "bb", "ccc", "dddd", "eeeee"}) Flush(list, data);
  Read();
  const std::vector<uint64_t> lists = Reader->Of("DL");
  ASSERT_EQ(lists.size(), 3U);
  EXPECT_EQ(GroupData(), lists[0]);
  EXPECT_EQ(Reader->At(lists[0]).Links[0], lists[1]);
  EXPECT_EQ(Reader->At(lists[1]).Links[0], lists[2]);
  EXPECT_EQ(Reader->At(lists[2]).Links[0], 0U);
  EXPECT_EQ(StrictMdfReader::Number(Reader->At(lists[1]).Data, 8, 8), 3U) << "offsets go on";
  EXPECT_EQ(StrictMdfReader::Number(Reader->At(lists[2]).Data, 8, 8), 10U);
  EXPECT_EQ(Reader->DataBehind(lists[0]), All);
}

TEST_P(PlainOrPackedList, ParentKeepsPointingToTheFirstListWhenItIsWrittenAgain) {
  const bool compressed = GetParam();
  Open();
  MDF::DLBLOCK& list = List(Group, 1, compressed);
  for (const char* data : {"a", "bb", "ccc"}) Flush(list, data);
  Header->Link_DGBLOCK(new MDF::DGBLOCK(false));  // changes the group's links
  PlaceAndWrite(*Header, *Stream);
  Read();
  EXPECT_EQ(Reader->DataBehind(GroupData()), "abbccc");
}

TEST_F(DataList, CompressedListStandsBehindItsHeader) {
  Open();
  MDF::DLBLOCK& list = List(Channel, 2, true);
  const auto place = static_cast<uint64_t>(MDF::Block::CalcStartPos(MDF::SeekEnd(*Stream)));
  for (int i = 0; i < 5; ++i) Flush(list, std::string(1000, static_cast<char>('a' + i)));
  Read();
  EXPECT_EQ(ChannelData(), place);
  EXPECT_EQ(Contents().substr(place, 40),
            Bytes("23 23 48 4C 00 00 00 00 28 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00") +
                std::string(reinterpret_cast<const char*>(&Reader->At(place).Links[0]), 8) + std::string(8, '\0'));
  EXPECT_THAT(Reader->Of("HL"), ElementsAre(place));
  EXPECT_EQ(Reader->At(place).Links[0], place + 40);
  EXPECT_EQ(Reader->Of("DL").size(), 3U);
  EXPECT_EQ(Reader->Of("DZ").size(), 5U);
  EXPECT_EQ(Reader->DataBehind(place), All);
}

TEST_P(PlainOrPackedList, RecordThatDoesntFitFlushesTheBlockAndGoesIntoTheNext) {
  const bool compressed = GetParam();
  Open();
  MDF::DLBLOCK& list = List(compressed ? static_cast<MDF::Block*>(Channel) : Group, 4, compressed);
  std::string block(kFull - 1, 'x');
  std::string record = "ab";
  ASSERT_TRUE(list.Insert(Data(block), kFull - 1));
  EXPECT_TRUE(list.Insert(Data(record), 1)) << "48 bytes stay free";
  EXPECT_TRUE(list.Insert(Data(record), 2));
  EXPECT_EQ(list.DataBytes(), 0x200000U + 2);
  ASSERT_TRUE(list.Write());
  Read();
  EXPECT_TRUE(SameBytes(Reader->DataBehind(compressed ? ChannelData() : GroupData()), block + "aab"));
}

TEST_F(DataList, InsertLargerThanABlockIsRefusedAndWhatWasThereIsFlushed) {
  Open();
  MDF::DLBLOCK& list = List(Group, 4, false);
  std::string data(kFull + 1, 'x');
  EXPECT_FALSE(list.Insert(Data(data), kFull + 1));
  ASSERT_TRUE(list.Insert(Data(data), 8));
  EXPECT_FALSE(list.Insert(Data(data), 0xFFFFFFFFU));
  EXPECT_FALSE(list.Insert(nullptr, 8));
  EXPECT_TRUE(list.Insert(Data(data), kFull));
  ASSERT_TRUE(list.Write());
  Read();
  EXPECT_EQ(Reader->DataBehind(GroupData()).size(), 8U + kFull);
}

TEST_F(DataList, EmptyListAndEmptyBlockAreNotFlushed) {
  Open();
  MDF::DLBLOCK& list = List(Group, 4, false);
  EXPECT_FALSE(list.Write());
  EXPECT_EQ(list.Write(*Stream), 0);
  Flush(list, "data");
  EXPECT_FALSE(list.Write());
  EXPECT_FALSE(list.Write_Changed());
  EXPECT_EQ(Group->Links_Get(MDF::kDgData), &list);
}

TEST_F(DataList, WriteToAStreamIsOneOrZero) {
  Open();
  MDF::DLBLOCK& list = List(Group, 4, false);
  std::string data = "data";
  ASSERT_TRUE(list.Insert(Data(data), 4));
  MDF::Block& block = list;
  EXPECT_EQ(block.Write(*Stream), 1);
  EXPECT_EQ(block.Write(*Stream), 0);
}

TEST_F(DataList, WrittenListIsNotDirtyForHavingGrown) {
  Open();
  MDF::DLBLOCK& list = List(Group, 4, false);
  Flush(list, "data");
  EXPECT_EQ(list.Block_Length(), 24U + 24U + 24U);
  EXPECT_FALSE(list.WriteRequest());
  std::string data = "more";
  ASSERT_TRUE(list.Insert(Data(data), 4));
  const long end = MDF::SeekEnd(*Stream);
  PlaceAndWrite(*Header, *Stream);
  EXPECT_EQ(MDF::SeekEnd(*Stream), end) << "placing the tree flushes nothing";
  ASSERT_TRUE(list.Write());
  Read();
  EXPECT_EQ(Reader->DataBehind(GroupData()), "datamore");
}

TEST_F(DataList, MaximumOfZeroBlocksIsOne) {
  Open();
  MDF::DLBLOCK& list = List(Group, 0, false);
  for (const char* data : {"a", "b", "c"}) Flush(list, data);
  Read();
  EXPECT_EQ(Reader->Of("DL").size(), 3U);
}

TEST_F(DataList, OneListMayHoldManyBlocks) {
  Open();
  MDF::DLBLOCK& list = List(Group, 0xFFFF, false);
  for (int i = 0; i < 300; ++i) Flush(list, "block " + std::to_string(i));
  Read();
  EXPECT_EQ(Reader->Of("DL").size(), 1U);
  EXPECT_EQ(Reader->DataBehind(GroupData()), All);
}

TEST_F(DataList, EstimateCountsAQuarterOfWhatIsToBePacked) {
  Open();
  std::string data(100, 'x');
  MDF::DLBLOCK& plain = List(Group, 4, false);
  MDF::DLBLOCK& packed = List(Channel, 4, true);
  ASSERT_TRUE(plain.Insert(Data(data), 100));
  ASSERT_TRUE(packed.Insert(Data(data), 100));
  EXPECT_EQ(plain.DataBytes_Compressed_Est(), 100U);
  EXPECT_EQ(packed.DataBytes_Compressed_Est(), 25U);
  plain.Write();
  packed.Write();
}

// --- beginning blocks by hand ---

TEST_F(DataList, AddedBlockListsWhatTheCurrentOneHolds) {
  Open();
  MDF::DLBLOCK& list = List(Group, 4, false);
  EXPECT_FALSE(list.DataBlock_Add()) << "never written";
  Flush(list, "one");
  std::string data = "two";
  ASSERT_TRUE(list.Insert(Data(data), 3));
  EXPECT_TRUE(list.DataBlock_Add());
  EXPECT_EQ(list.DataBytes(), 2U * 0x200000);
  Flush(list, "three");
  Read();
  EXPECT_EQ(Reader->Of("DT").size(), 3U);
  EXPECT_EQ(Reader->DataBehind(GroupData()), "onetwothree");
}

TEST_P(PlainOrPackedList, AddedBlocksBeyondTheMaximumBeginANewList) {
  const bool compressed = GetParam();
  Open();
  MDF::DLBLOCK& list = List(Group, 2, compressed);
  Flush(list, "one");
  std::string data = "two";
  ASSERT_TRUE(list.Insert(Data(data), 3));
  EXPECT_FALSE(list.DataBlock_Add()) << "the list is full now";
  EXPECT_FALSE(list.DataBlock_Add()) << "the new one is not written yet";
  EXPECT_TRUE(list.Write()) << "the new list is written even though its block is empty";
  Flush(list, "three");
  Read();
  EXPECT_EQ(Reader->Of("DL").size(), 2U);
  EXPECT_EQ(Reader->DataBehind(GroupData()), "onetwothree");
}

TEST_F(DataList, AddedBlockOfAFullListKeepsWhatWasInsertedSince) {
  Open();
  MDF::DLBLOCK& list = List(Group, 1, false);
  Flush(list, "one");
  std::string data = "two";
  ASSERT_TRUE(list.Insert(Data(data), 3));
  EXPECT_FALSE(list.DataBlock_Add());
  EXPECT_TRUE(list.Write());
  Read();
  EXPECT_EQ(Reader->DataBehind(GroupData()), "onetwo");
}

TEST_P(PlainOrPackedList, AddedBlocksMayBeEmpty) {
  const bool compressed = GetParam();
  Open();
  MDF::DLBLOCK& list = List(Group, 8, compressed);
  Flush(list, "one");
  EXPECT_TRUE(list.DataBlock_Add());
  EXPECT_TRUE(list.DataBlock_Add());
  Flush(list, "two");
  Read();
  EXPECT_EQ(Reader->DataBehind(GroupData()), "onetwo");
}

TEST_F(DataList, ListExtendedWhileOtherBlocksFollowedTakesANewPlace) {
  Open();
  MDF::DLBLOCK& list = List(Group, 1, false);
  Flush(list, "one");
  EXPECT_FALSE(list.DataBlock_Add());
  MDF::Block* event = new MDF::EVBLOCK("between", 6, 4, 1);
  long cursor = MDF::SeekEnd(*Stream);
  event->Block_PlaceAndList(true, &cursor, nullptr);
  for (MDF::Block* block : {event, event->Links_Get(MDF::kEvName)}) block->Write(*Stream);
  Header->Link_EVBLOCK(static_cast<MDF::EVBLOCK*>(event));
  Header->Write(*Stream);
  Flush(list, "two");
  Read();
  EXPECT_EQ(Reader->DataBehind(GroupData()), "onetwo");
}

// --- resetting ---

TEST_P(PlainOrPackedList, DeepResetOfTheTreeClearsTheDataLinkAndTheNextFileBeginsAnew) {
  const bool compressed = GetParam();
  Open();
  MDF::DLBLOCK& list = List(Group, 2, compressed);
  MDF::DLBLOCK& signals = List(Channel, 2, compressed);
  for (int i = 0; i < 5; ++i) Flush(list, "first file");
  Flush(signals, "signal");
  PlaceAndWrite(*Header, *Stream);
  Read();
  EXPECT_EQ(Reader->DataBehind(GroupData()).size(), 50U);

  Header->Block_Reset(true);
  EXPECT_EQ(Group->Links_Get(MDF::kDgData), nullptr);
  EXPECT_EQ(Channel->Links_Get(MDF::kCnData), nullptr);
  Reopen();
  PlaceAndWrite(*Header, *Stream);
  All.clear();
  for (int i = 0; i < 3; ++i) Flush(list, "second");
  Flush(signals, "sign");
  Read();
  EXPECT_EQ(Reader->DataBehind(GroupData()), "secondsecondsecond");
  EXPECT_EQ(Reader->DataBehind(ChannelData()), "sign");
}

TEST_F(DataList, FullResetClearsTheParentsLinkAndKeepsWhatIsCached) {
  Open();
  MDF::DLBLOCK& list = List(Group, 2, true);
  Flush(list, "first");
  std::string data = "later";
  ASSERT_TRUE(list.Insert(Data(data), 5));
  list.Block_Reset(true);
  EXPECT_EQ(Group->Links_Get(MDF::kDgData), nullptr);
  EXPECT_EQ(list.Block_Length(), 56U);
  Header->Block_Reset(true);
  Reopen();
  PlaceAndWrite(*Header, *Stream);
  EXPECT_TRUE(list.Write());
  Read();
  EXPECT_EQ(Reader->DataBehind(GroupData()), "later");
}

TEST_F(DataList, DeepResetBeforeAnythingWasPlacedClearsTheDataLinkToo) {
  Open();
  MDF::DGBLOCK group(false);
  MDF::DLBLOCK& list = List(&group, 2, true);
  group.Links_Set(MDF::kDgData, &list);
  group.Block_Reset(true);
  EXPECT_EQ(group.Links_Get(MDF::kDgData), nullptr);
}

TEST_F(DataList, HeaderListIsDirtyUntilWrittenAndAfterReset) {
  Open();
  MDF::DLBLOCK& list = List(Group, 2, true);
  Flush(list, "data");
  MDF::Block* header = Group->Links_Get(MDF::kDgData);
  ASSERT_EQ(header->Block_Type(), MDF::blockType_HL);
  EXPECT_FALSE(header->WriteRequest());
  EXPECT_EQ(header->Write(*Stream), 0);
  list.Block_Reset(true);
  EXPECT_TRUE(header->WriteRequest());
  EXPECT_TRUE(MDF::HLBLOCK().WriteRequest());
  // The old blocks stay in this file without a link to them.
  Options({.Records = false, .OldBlocks = true});
}

// --- ends ---

TEST_P(PlainOrPackedList, DeletingTheDataLinkDestroysListHeaderAndBlock) {
  const bool compressed = GetParam();
  Open();
  auto* list = new MDF::DLBLOCK(Group, 2, compressed, *Stream);
  Flush(*list, "data");
  Group->Links_Delete(MDF::kDgData);  // the sanitizer counts
  EXPECT_EQ(Group->Links_Get(MDF::kDgData), nullptr);
  Options({.Records = false, .OldBlocks = true});
}

TEST_F(DataList, ListWhoseDataBlockIsGoneTakesNothing) {
  Open();
  MDF::DLBLOCK& list = List(Group, 2, false);
  list.Links_Delete(MDF::kDlData);
  std::string data = "data";
  EXPECT_FALSE(list.Insert(Data(data), 4));
  EXPECT_FALSE(list.Write());
  EXPECT_FALSE(list.Write_First());
  EXPECT_FALSE(list.DataBlock_Add());
  EXPECT_EQ(list.DataBytes(), 0U);
  EXPECT_EQ(list.DataBytes_Compressed_Est(), 0U);
  MDF::Block* block = list.DataBlock_Get(Group, false, *Stream);
  EXPECT_EQ(list.Links_Get(MDF::kDlData), block);
  Flush(list, "data");
  EXPECT_EQ(Read().DataBehind(GroupData()), "data");
}

TEST_F(DataList, DataBlockWithDataIsNotReplaced) {
  Open();
  MDF::DLBLOCK& list = List(Group, 2, false);
  std::string data = "data";
  ASSERT_TRUE(list.Insert(Data(data), 4));
  MDF::Block* block = list.Links_Get(MDF::kDlData);
  EXPECT_EQ(list.DataBlock_Get(Group, true, *Stream), block);
  EXPECT_TRUE(list.Write());
}

// --- failures ---

TEST_F(DataList, ClosedStreamLeavesTheDataForLater) {
  Open();
  MDF::DLBLOCK& list = List(Group, 2, true);
  std::string data(kFull, 'x');
  ASSERT_TRUE(list.Insert(Data(data), kFull));
  PlaceAndWrite(*Header, *Stream);
  Stream->close();
  EXPECT_FALSE(list.Write());
  EXPECT_FALSE(list.Insert(Data(data), 1));
  EXPECT_FALSE(list.DataBlock_Add());
  EXPECT_FALSE(list.Write_First());
  EXPECT_FALSE(list.Write_Changed());
  EXPECT_EQ(list.DataBytes(), kFull);

  Header->Block_Reset(true);
  Stream->open(NewFile(), std::ios_base::binary | std::ios_base::trunc);
  MDF::IDBLOCK id("DataList");
  id.Write(*Stream);
  PlaceAndWrite(*Header, *Stream);
  EXPECT_TRUE(list.Write());
  Read();
  EXPECT_TRUE(SameBytes(Reader->DataBehind(GroupData()), data));
}

TEST_P(PlainOrPackedList, FailedFlushMayBeRepeatedWithoutLoss) {
  const bool compressed = GetParam();
  Open();
  MDF::DLBLOCK& list = List(Group, 2, compressed);
  for (int i = 0; i < 4; ++i) {
    std::string data = "block " + std::to_string(i);
    ASSERT_TRUE(list.Insert(Data(data), static_cast<unsigned int>(data.size())));
    Stream->setstate(std::ios_base::badbit);
    EXPECT_FALSE(list.Write());
    Stream->clear();
    EXPECT_TRUE(list.Write());
  }
  Read();
  EXPECT_EQ(Reader->DataBehind(GroupData()), "block 0block 1block 2block 3");
}

TEST(DataListFailure, FullDiskIsReportedAndNothingIsForgotten) {
  FileStream full;
  full.open("/dev/full", std::ios_base::binary);
  if (!full.is_open()) GTEST_SKIP() << "no /dev/full here";
  MDF::DGBLOCK group(false);
  MDF::DLBLOCK list(&group, 2, true, full);
  std::string data(100'000, 'x');
  ASSERT_TRUE(list.Insert(Data(data), 100'000));
  EXPECT_FALSE(list.Write());
  EXPECT_FALSE(full.good());
  EXPECT_EQ(list.DataBytes(), 100'000U);
}

}  // namespace
