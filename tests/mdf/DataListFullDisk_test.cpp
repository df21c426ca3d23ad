// Data lists on a disk that fills up: what was flushed before stays readable, what wasn't stays for later.
#include <gtest/gtest.h>

#include <random>

#include "mdf/DataList.h"
#include "support/FileSizeLimit.h"
#include "support/MdfFiles.h"

namespace {

constexpr unsigned int kBlock = 20'000;  // bytes that don't get smaller by packing

struct FullDiskCase {
  bool Compressed;
  unsigned int BlocksBefore;  // of lists of two
};
void PrintTo(const FullDiskCase& disk, std::ostream* out) {
  *out << (disk.Compressed ? "Compressed" : "Plain") << "After" << disk.BlocksBefore;
}

class DataListOnFullDisk : public MdfFiles, public ::testing::WithParamInterface<FullDiskCase> {
 protected:
  std::string NextBlock() {
    std::string data(kBlock, '\0');
    for (char& byte : data) byte = static_cast<char>(Random());
    return data;
  }

  /// The data that a reader finds, in a file that may hold bytes of blocks that were never finished.
  std::string Readable() {
    StrictMdfReader::Options options;
    options.OldBlocks = true;
    Options(options);
    StrictMdfReader reader(Contents(), options);
    reader.ReadFile();
    EXPECT_EQ(reader.Report(), "");
    return reader.DataBehind(reader.At(reader.Of("DG").at(0)).Links[2]);
  }

  std::mt19937 Random{7};
};

TEST_P(DataListOnFullDisk, WhatWasFlushedIsReadableAndTheRestMayFollowLater) {
  FileStream stream(NewFile());
  MDF::IDBLOCK("DataList").Write(stream);
  auto* header = new MDF::HDBLOCK(0);
  auto* group = new MDF::DGBLOCK(false);
  header->Link_DGBLOCK(group);
  MDF::DLBLOCK list(group, 2, GetParam().Compressed, stream);
  const Tree tree(header);
  PlaceAndWrite(*header, stream);
  std::string all;
  for (unsigned int block = 0; block < GetParam().BlocksBefore; ++block) {
    std::string data = NextBlock();
    ASSERT_TRUE(list.Insert(Data(data), kBlock) && list.Write());
    all += data;
  }
  std::string data = NextBlock();
  ASSERT_TRUE(list.Insert(Data(data), kBlock));
  {
    const test::FileSizeLimit full(static_cast<rlim_t>(MDF::SeekEnd(stream)) + kBlock / 2);
    EXPECT_FALSE(list.Write());
    EXPECT_FALSE(stream.good());
    EXPECT_TRUE(Readable() == all);
    EXPECT_EQ(list.DataBytes_InFile(), all.size());
  }
  stream.clear();
  EXPECT_TRUE(list.Write());
  EXPECT_TRUE(Readable() == all + data);
}

INSTANTIATE_TEST_SUITE_P(AfterBlocks, DataListOnFullDisk,
                         ::testing::Values(FullDiskCase{true, 0}, FullDiskCase{true, 1}, FullDiskCase{true, 2},
                                           FullDiskCase{true, 3}, FullDiskCase{false, 0}, FullDiskCase{false, 1},
                                           FullDiskCase{false, 2}));

}  // namespace
