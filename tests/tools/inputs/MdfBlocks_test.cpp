#include "inputs/MdfBlocks.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/MdfMaker.h"
#include "support/TemporaryDirectory.h"

namespace client {
namespace {

using Bytes = std::vector<unsigned char>;

class MdfBlocksTest : public testing::Test {
 protected:
  std::string Save() {
    const std::string path = "made.mf4";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(Made.Contents().data()), static_cast<long>(Made.Contents().size()));
    return path;
  }

  test::TemporaryDirectory Folder;
  test::MdfMaker Made;
};

TEST_F(MdfBlocksTest, FieldsEndWhereTheirBlockDoes) {
  const auto shortOne = Made.Block("CG", {}, Bytes(8, 0x11));
  Made.Block("CG", {}, Bytes(64, 0x22));
  MdfBlocks file(Save());
  const MdfFields fields = file.Fields(file.Find(shortOne).value());
  EXPECT_EQ(fields.Size(), 8u);
  EXPECT_EQ(fields.At<unsigned char>(7), 0x11);
  EXPECT_EQ(fields.At<unsigned char>(8), 0) << "that is the next block's";
  EXPECT_EQ(fields.At<unsigned short>(7), 0) << "half of it is there";
}

TEST_F(MdfBlocksTest, NoMoreFieldsAreReadThanAreAskedFor) {
  const auto longOne = Made.Block("CG", {}, Bytes(1000, 0x11));
  MdfBlocks file(Save());
  const MdfBlock block = file.Find(longOne).value();
  EXPECT_EQ(file.Fields(block, 16).Size(), 16u);
  EXPECT_EQ(file.Fields(block).Size(), 256u);
}

TEST_F(MdfBlocksTest, FieldsOfABlockThatIsCutAreThoseThatAreThere) {
  const auto last = Made.Block("CG", {}, Bytes(64, 0x11));
  Made.Contents().resize(last + 24 + 10);
  MdfBlocks file(Save());
  const MdfBlock block = file.Find(last).value();
  EXPECT_TRUE(block.IsCut);
  EXPECT_EQ(file.Fields(block).Size(), 10u);
}

TEST_F(MdfBlocksTest, ABlockIsFollowedOnce) {
  const auto only = Made.Block("CG", {}, Bytes(8, 0));
  MdfBlocks file(Save());
  EXPECT_TRUE(file.Follow(only));
  EXPECT_FALSE(file.Follow(only));
  EXPECT_TRUE(file.Find(only));
}

}  // namespace
}  // namespace client
