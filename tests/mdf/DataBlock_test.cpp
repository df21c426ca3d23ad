#include "mdf/DataBlock.h"

#include <zlib.h>

#include <random>

#include "support/MdfFiles.h"

namespace {

constexpr unsigned int kFull = 0x200000 - 48;  // the most that a cache takes

class DataBlock : public MdfFiles {
 protected:
  /// Places a data block as the next one of the file.
  static void Place(MDF::Block& block, FileStream& stream) {
    long cursor = std::max<long>(MDF::SeekEnd(stream), 64);
    block.Block_PlaceAndList(true, &cursor, nullptr);
  }

  static std::string Noise(size_t size, unsigned int seed) {
    std::mt19937 random(seed);
    std::string noise(size, '\0');
    for (char& byte : noise) byte = static_cast<char>(random());
    return noise;
  }
};

TEST_F(DataBlock, ThreeRecordBytesMakeABlockOfTwentySeven) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::DTBLOCK block(stream);
  std::string record = "\xA1\xA2\xA3";
  ASSERT_TRUE(block.Insert(Data(record), 3));
  Place(block, stream);
  EXPECT_EQ(block.Write(stream), 64 + 27);
  EXPECT_TRUE(block.IsEmpty());
  stream.flush();
  EXPECT_EQ(Contents().substr(64), Bytes("23 23 44 54 00 00 00 00 1B 00 00 00 00 00 00 00"
                                         "00 00 00 00 00 00 00 00 A1 A2 A3"));
}

TEST_F(DataBlock, SignalDataDiffersInItsIdOnly) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::SDBLOCK block(stream);
  std::string record = "ab";
  ASSERT_TRUE(block.Insert(Data(record), 2));
  Place(block, stream);
  block.Write(stream);
  stream.flush();
  EXPECT_EQ(Contents().substr(64), Bytes("23 23 53 44 00 00 00 00 1A 00 00 00 00 00 00 00"
                                         "00 00 00 00 00 00 00 00 61 62"));
}

TEST_F(DataBlock, GrowsAtTheEndOfTheFileWithEachWrite) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::DTBLOCK block(stream);
  Place(block, stream);
  for (std::string record : {"abc", "de", "", "fghij"}) {
    ASSERT_TRUE(block.Insert(Data(record), static_cast<unsigned int>(record.size())));
    EXPECT_NE(block.Write(stream), 0);
  }
  stream.flush();
  EXPECT_EQ(Contents().substr(88), "abcdefghij");
}

TEST_F(DataBlock, FullCacheGoesToTheFileAndTheRecordIsInsertedAgain) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::DTBLOCK block(stream);
  Place(block, stream);
  std::string first = Noise(kFull, 1);
  std::string second = Noise(100, 2);
  ASSERT_TRUE(block.Insert(Data(first), kFull));
  EXPECT_FALSE(block.Insert(Data(second), 100)) << "flushes instead";
  EXPECT_TRUE(block.IsEmpty());
  EXPECT_TRUE(block.Insert(Data(second), 100));
  EXPECT_NE(block.Write(stream), 0);
  stream.flush();
  EXPECT_TRUE(SameBytes(Contents().substr(88), first + second));
}

TEST_F(DataBlock, FileIsRightBetweenTheFlushAndTheRepeatedInsert) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::SDBLOCK block(stream);
  Place(block, stream);
  std::string first = Noise(kFull, 1);
  ASSERT_TRUE(block.Insert(Data(first), kFull));
  EXPECT_FALSE(block.Insert(Data(first), 100));
  stream.flush();
  EXPECT_EQ(Contents().size(), 88U + kFull);
}

TEST_F(DataBlock, RecordLargerThanTheCacheGoesStraightToTheFile) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::DTBLOCK block(stream);
  Place(block, stream);
  std::string large = Noise(kFull + 1, 1);
  std::string small = "small";
  EXPECT_TRUE(block.Insert(Data(large), kFull + 1));
  EXPECT_TRUE(block.IsEmpty());
  EXPECT_TRUE(block.Insert(Data(small), 5));
  EXPECT_FALSE(block.Insert(Data(large), kFull + 1)) << "first what is cached";
  EXPECT_TRUE(block.Insert(Data(large), kFull + 1));
  stream.flush();
  EXPECT_TRUE(SameBytes(Contents().substr(88), large + small + large));
}

TEST_F(DataBlock, LargeRecordThatAFailedStreamRefusedIsNotPartOfTheBlock) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::DTBLOCK block(stream);
  Place(block, stream);
  std::string small = "small";
  std::string large = Noise(kFull + 1, 1);
  ASSERT_TRUE(block.Insert(Data(small), 5));
  ASSERT_NE(block.Write(stream), 0);
  stream.setstate(std::ios_base::badbit);
  EXPECT_FALSE(block.Insert(Data(large), kFull + 1));
  stream.clear();
  block.Write(stream);
  stream.flush();
  EXPECT_EQ(Contents().substr(64 + 8, 8), Bytes("1D 00 00 00 00 00 00 00"));
}

TEST_F(DataBlock, UnplacedBlockKeepsWhatItHolds) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::DTBLOCK block(stream);
  std::string data = Noise(kFull, 1);
  ASSERT_TRUE(block.Insert(Data(data), kFull));
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(block.Insert(Data(data), 1));
  EXPECT_EQ(block.Write(stream), 0);
  EXPECT_EQ(block.DataBytes(), kFull);
  Place(block, stream);
  EXPECT_NE(block.Write(stream), 0);
  stream.flush();
  EXPECT_TRUE(SameBytes(Contents().substr(88), data));
}

TEST_F(DataBlock, PlaceCountsWhatIsCachedAndNoMoreIsWrittenIntoTheNextBlock) {
  FileStream stream(NewFile());
  Roots({64});
  auto* group = new MDF::DGBLOCK(false);
  auto* records = new MDF::DTBLOCK(stream);
  Tree tree(group);
  group->Links_Set(MDF::kDgData, records);
  group->Links_Set(MDF::kDgComment, new MDF::MDBLOCK("<DGcomment/>"));
  std::string data = "0123456789";
  ASSERT_TRUE(records->Insert(Data(data), 10));
  PlaceAndWrite(*group, stream);
  ASSERT_TRUE(records->Insert(Data(data), 10));
  EXPECT_EQ(records->Write(stream), 0) << "the comment follows";
  EXPECT_EQ(records->DataBytes(), 10U);
  stream.flush();
  StrictMdfReader reader(Contents());
  reader.ReadBlocks({64});
  EXPECT_EQ(reader.DataBehind(reader.Of("DT").at(0)), data);
}

TEST_F(DataBlock, ParentGroupIsLinkedWhenTheRecordsAreWritten) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::DGBLOCK group(false);
  PlaceAndWrite(group, stream);
  MDF::DTBLOCK records(&group, stream);
  std::string data = "data";
  ASSERT_TRUE(records.Insert(Data(data), 4));
  Place(records, stream);
  EXPECT_NE(records.Write(stream), 0);
  EXPECT_EQ(group.Links_Get(MDF::kDgData), &records);
  stream.flush();
  StrictMdfReader reader(Contents());
  reader.ReadBlocks({64});
  EXPECT_EQ(reader.DataBehind(reader.At(64).Links[2]), "data");
}

TEST_F(DataBlock, ParentChannelKeepsItsNameWhenSignalDataIsWritten) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::CNBLOCK channel("name", 1, 0, 10, 0, 64);
  Tree name(channel.Links_Get(MDF::kCnName));
  MDF::SDBLOCK signals(&channel, stream);
  channel.Links_Set(MDF::kCnData, &signals);
  std::string data = "data";
  ASSERT_TRUE(signals.Insert(Data(data), 4));
  PlaceAndWrite(channel, stream);
  EXPECT_EQ(channel.Links_Get(MDF::kCnName)->Block_Type(), MDF::blockType_TX);
}

TEST_F(DataBlock, ResetForgetsPlaceSizeAndBytes) {
  FileStream stream(NewFile());
  Roots({64, 104});
  MDF::DTBLOCK block(stream);
  std::string data = "0123456789";
  ASSERT_TRUE(block.Insert(Data(data), 10));
  Place(block, stream);
  block.Write(stream);
  ASSERT_TRUE(block.Insert(Data(data), 10));
  block.Block_Reset(false);
  EXPECT_EQ(block.Block_FilePos(), 0);
  EXPECT_TRUE(block.IsEmpty());
  EXPECT_TRUE(block.WriteRequest());
  EXPECT_EQ(block.Block_Length(), 24U);
  ASSERT_TRUE(block.Insert(Data(data), 2));
  Place(block, stream);
  EXPECT_EQ(block.Write(stream), 104 + 26);
}

TEST_F(DataBlock, ClosedStreamLeavesTheRecordsInTheCache) {
  FileStream closed;
  std::string data = "data";
  MDF::DTBLOCK records(closed);
  MDF::SDBLOCK signals(closed);
  MDF::DZBLOCK packed(nullptr, true, closed);
  ASSERT_TRUE(records.Insert(Data(data), 4));
  ASSERT_TRUE(signals.Insert(Data(data), 4));
  ASSERT_TRUE(packed.Insert(Data(data), 4));
  EXPECT_EQ(records.Write(closed), 0);
  EXPECT_EQ(signals.Write(closed), 0);
  EXPECT_EQ(packed.Write(closed), 0);
  EXPECT_EQ(records.DataBytes() + signals.DataBytes() + packed.DataBytes(), 12U);
  std::string large(kFull + 1, 'x');
  EXPECT_FALSE(records.Insert(Data(large), kFull + 1));
}

TEST(DataBlockSlots, InsertIsReachedThroughTheBufferAsWell) {
  FileStream closed;
  std::string data = "data";
  MDF::DTBLOCK records(closed);
  MDF::DataBlockDynamic& buffer = records;
  EXPECT_TRUE(buffer.Insert(Data(data), 4));
  EXPECT_EQ(records.DataBytes(), 4U);
  MDF::Block& block = records;
  EXPECT_EQ(block.Block_Type(), 7U);
}

// --- packed ---

TEST_F(DataBlock, PackedRecordsSayWhatTheyReplaceAndHowLongTheyAre) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::TXBLOCK front("front");
  PlaceAndWrite(front, stream);
  Roots({64, 96});
  MDF::DZBLOCK block(nullptr, true, stream);
  std::string data(1000, 'a');
  ASSERT_TRUE(block.Insert(Data(data), 1000));
  EXPECT_EQ(block.DataBytes_Compressed_Est(), 250U);
  const long end = block.Write(stream);
  EXPECT_EQ(block.Block_FilePos(), 96);
  EXPECT_TRUE(block.IsEmpty());
  stream.flush();
  const std::string file = Contents();
  EXPECT_EQ(static_cast<size_t>(end), file.size());
  // id, reserved, length 24 + 24 + 17, no links | "DT", zip type, reserved, parameter, 1000 bytes in 17
  EXPECT_EQ(file.substr(96, 48), Bytes("23 23 44 5A 00 00 00 00 41 00 00 00 00 00 00 00"
                                       "00 00 00 00 00 00 00 00"
                                       "44 54 00 00 00 00 00 00 E8 03 00 00 00 00 00 00 11 00 00 00 00 00 00 00"));
  StrictMdfReader reader(file);
  reader.ReadBlocks({96});
  EXPECT_EQ(reader.DataBehind(96), data);
}

TEST_F(DataBlock, PackedSignalDataSaysSo) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::DZBLOCK block(nullptr, false, stream);
  MDF::Block::ExtendFile(stream, 64);
  std::string data(100, 'a');
  ASSERT_TRUE(block.Insert(Data(data), 100));
  block.Write(stream);
  stream.flush();
  EXPECT_EQ(Contents().substr(88, 2), "SD");
}

TEST_F(DataBlock, PackedBlockLinksItsParentWhenFirstWritten) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::DGBLOCK group(false);
  PlaceAndWrite(group, stream);
  MDF::DZBLOCK block(&group, true, stream);
  std::string data(100, 'a');
  ASSERT_TRUE(block.Insert(Data(data), 100));
  EXPECT_NE(block.Write(stream), 0);
  EXPECT_EQ(group.Links_Get(MDF::kDgData), &block);
  EXPECT_FALSE(block.WriteRequest());
  stream.flush();
  StrictMdfReader reader(Contents());
  reader.ReadBlocks({64});
  EXPECT_EQ(reader.DataBehind(reader.At(64).Links[2]), data);
}

TEST_F(DataBlock, DisabledParentStaysAsItIs) {
  FileStream stream(NewFile());
  Roots({64, 128});
  MDF::DGBLOCK group(false);
  PlaceAndWrite(group, stream);
  MDF::DZBLOCK block(&group, true, stream);
  block.LinkedBlock_Disable();
  std::string data(100, 'a');
  ASSERT_TRUE(block.Insert(Data(data), 100));
  EXPECT_NE(block.Write(stream), 0);
  EXPECT_EQ(group.Links_Get(MDF::kDgData), nullptr);
}

TEST_F(DataBlock, BytesThatDontPackIntoTheMaximumStandAsTheyAre) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::Block::ExtendFile(stream, 64);
  MDF::DZBLOCK block(nullptr, true, stream);
  std::string noise = Noise(kFull, 7);
  ASSERT_TRUE(block.Insert(Data(noise), kFull));
  EXPECT_NE(block.Write(stream), 0);
  stream.flush();
  StrictMdfReader reader(Contents());
  reader.ReadBlocks({64});
  EXPECT_EQ(reader.RawPackedBlocks(), 1U);
  EXPECT_EQ(StrictMdfReader::Number(reader.At(64).Data, 16, 8), 0U);
  EXPECT_TRUE(SameBytes(reader.DataBehind(64), noise));
}

TEST_F(DataBlock, CompressReplacesTheCacheOrLeavesIt) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::Block::ExtendFile(stream, 64);
  MDF::DZBLOCK block(nullptr, true, stream);
  std::string data(1000, 'a');
  ASSERT_TRUE(block.Insert(Data(data), 1000));
  EXPECT_TRUE(block.Compress());
  EXPECT_EQ(block.DataBytes(), 17U);
  EXPECT_NE(block.Write(stream), 0);
  stream.flush();
  StrictMdfReader reader(Contents());
  reader.ReadBlocks({64});
  std::string packed = reader.DataBehind(64);
  std::string unpacked(2000, ' ');
  uLongf length = unpacked.size();
  ASSERT_EQ(uncompress(Data(unpacked), &length, Data(packed), packed.size()), Z_OK);
  EXPECT_EQ(unpacked.substr(0, length), data);

  FileStream closed;
  MDF::DZBLOCK noisy(nullptr, true, closed);
  std::string noise = Noise(kFull, 7);
  ASSERT_TRUE(noisy.Insert(Data(noise), kFull));
  EXPECT_FALSE(noisy.Compress());
  EXPECT_EQ(noisy.DataBytes(), kFull);
  EXPECT_FALSE(noisy.Data_Compress());
}

TEST_F(DataBlock, EmptyPackedBlockWritesNothing) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::TXBLOCK front("front");
  PlaceAndWrite(front, stream);
  MDF::DZBLOCK block(nullptr, true, stream);
  EXPECT_EQ(block.Write(stream), 96);
  EXPECT_EQ(block.Block_FilePos(), 0);
}

TEST_F(DataBlock, PackedBlockWrittenAgainReplacesItsDataWhereItStands) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::Block::ExtendFile(stream, 64);
  MDF::DZBLOCK block(nullptr, true, stream);
  std::string first(1000, 'a');
  std::string second = Noise(500, 3);
  ASSERT_TRUE(block.Insert(Data(first), 1000));
  EXPECT_NE(block.Write(stream), 0);
  ASSERT_TRUE(block.Insert(Data(second), 500));
  EXPECT_NE(block.Write(stream), 0);
  EXPECT_EQ(block.Block_FilePos(), 64);
  stream.flush();
  StrictMdfReader reader(Contents());
  reader.ReadBlocks({64});
  EXPECT_TRUE(SameBytes(reader.DataBehind(64), second));
}

TEST_F(DataBlock, PackedBlockInTheMiddleOfAFileRefusesToGrowAndKeepsItsBytes) {
  FileStream stream(NewFile());
  Roots({64, 136});
  MDF::Block::ExtendFile(stream, 64);
  MDF::DZBLOCK block(nullptr, true, stream);
  std::string first(1000, 'a');
  ASSERT_TRUE(block.Insert(Data(first), 1000));
  EXPECT_NE(block.Write(stream), 0);
  MDF::TXBLOCK behind("behind");
  PlaceAndWrite(behind, stream);
  ASSERT_EQ(behind.Block_FilePos(), 136);
  std::string noise = Noise(500, 3);
  ASSERT_TRUE(block.Insert(Data(noise), 500));
  EXPECT_EQ(block.Write(stream), 0);
  EXPECT_EQ(block.DataBytes(), 500U);
}

TEST_F(DataBlock, PackedBlockInATreeGetsRoomForWhatItHolds) {
  FileStream stream(NewFile());
  Roots({64});
  auto* group = new MDF::DGBLOCK(false);
  auto* block = new MDF::DZBLOCK(nullptr, true, stream);
  Tree tree(group);
  group->Links_Set(MDF::kDgData, block);
  group->Links_Set(MDF::kDgComment, new MDF::MDBLOCK("<DGcomment/>"));
  std::string noise = Noise(5000, 3);
  ASSERT_TRUE(block->Insert(Data(noise), 5000));
  PlaceAndWrite(*group, stream);
  StrictMdfReader reader(Contents());
  reader.ReadBlocks({64});
  EXPECT_TRUE(SameBytes(reader.DataBehind(reader.At(64).Links[2]), noise));
}

TEST_F(DataBlock, ReusedPackedBlockThatDoesntPackHasNoPackedLength) {
  FileStream stream(NewFile());
  Roots({64, 136});
  MDF::Block::ExtendFile(stream, 64);
  MDF::DZBLOCK block(nullptr, true, stream);
  std::string first(1000, 'a');
  std::string noise = Noise(kFull, 3);
  ASSERT_TRUE(block.Insert(Data(first), 1000));
  EXPECT_NE(block.Write(stream), 0);
  block.Block_Reset(false);
  ASSERT_TRUE(block.Insert(Data(noise), kFull));
  EXPECT_NE(block.Write(stream), 0);
  EXPECT_EQ(block.Block_FilePos(), 136);
}

}  // namespace
