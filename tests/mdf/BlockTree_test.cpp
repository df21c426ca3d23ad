#include "mdf/BlockTree.h"

#include <gmock/gmock.h>

#include "mdf/BlockChain.h"
#include "support/MdfFiles.h"

namespace {

using ::testing::UnorderedElementsAre;

TEST(BlockTree, IsCollectedByIdentityEvenWhenNothingIsPlaced) {
  MDF::Block root(MDF::blockType_HD, 'H', 'D', 2);
  MDF::Block one(MDF::blockType_TX, 'T', 'X', 1);
  MDF::Block other(MDF::blockType_TX, 'T', 'X', 1);
  root.Links_Set(0, &one);
  root.Links_Set(1, &other);
  one.Links_Set(0, &other);
  other.Links_Set(0, &root);
  EXPECT_THAT(MDF::Tree_Collect(&root, MDF::DataLists::kInclude), UnorderedElementsAre(&root, &one, &other));
  EXPECT_THAT(MDF::Tree_Collect(&one, MDF::DataLists::kInclude, &root), UnorderedElementsAre(&one, &other));
}

TEST(BlockTree, LeavesDataListsToTheirOwnersWhenAskedTo) {
  FileStream stream;
  MDF::DGBLOCK group(false);
  MDF::DLBLOCK list(&group, 4, true, stream);
  group.Links_Set(MDF::kDgData, &list);
  EXPECT_THAT(MDF::Tree_Collect(&group, MDF::DataLists::kLeave), UnorderedElementsAre(&group));
  EXPECT_THAT(MDF::Tree_Collect(&group, MDF::DataLists::kInclude), UnorderedElementsAre(&group, &list))
      << "a list's own blocks are its own";
}

TEST(BlockTree, ListsGoAfterTheBlocksThatTheyOwn) {
  FileStream stream;
  auto* list = new MDF::DLBLOCK(nullptr, 4, false, stream);
  MDF::Tree_Destroy({list, list->Links_Get(MDF::kDlData)});  // each once, whatever the order given
}

struct Link {
  MDF::Block Block{MDF::blockType_CN, 'C', 'N', 2};
};

TEST(BlockChain, BlocksAreAppendedInOrder) {
  Link owner, a, b, c;
  EXPECT_TRUE(MDF::Chain_Append(owner.Block, 1, 0, &a.Block));
  EXPECT_TRUE(MDF::Chain_Append(owner.Block, 1, 0, &b.Block));
  EXPECT_TRUE(MDF::Chain_Append(owner.Block, 1, 0, &c.Block));
  EXPECT_EQ(owner.Block.Links_Get(1), &a.Block);
  EXPECT_EQ(a.Block.Links_Get(0), &b.Block);
  EXPECT_EQ(b.Block.Links_Get(0), &c.Block);
  EXPECT_EQ(c.Block.Links_Get(0), nullptr);
}

TEST(BlockChain, NullAndWhatWouldCloseACircleAreRefused) {
  Link owner, a, b, c;
  ASSERT_TRUE(MDF::Chain_Append(owner.Block, 0, 0, &a.Block));
  ASSERT_TRUE(MDF::Chain_Append(owner.Block, 0, 0, &b.Block));
  c.Block.Links_Set(0, &b.Block);
  EXPECT_FALSE(MDF::Chain_Append(owner.Block, 0, 0, nullptr));
  EXPECT_FALSE(MDF::Chain_Append(owner.Block, 0, 0, &a.Block));
  EXPECT_FALSE(MDF::Chain_Append(owner.Block, 0, 0, &b.Block));
  EXPECT_FALSE(MDF::Chain_Append(owner.Block, 0, 0, &owner.Block));
  EXPECT_FALSE(MDF::Chain_Append(owner.Block, 0, 0, &c.Block)) << "leads back into the chain";
  EXPECT_EQ(b.Block.Links_Get(0), nullptr);
}

TEST(BlockChain, AppendingToACircleEnds) {
  Link owner, a, b, c, fresh;
  owner.Block.Links_Set(0, &a.Block);
  a.Block.Links_Set(0, &b.Block);
  b.Block.Links_Set(0, &c.Block);
  c.Block.Links_Set(0, &b.Block);
  EXPECT_FALSE(MDF::Chain_Append(owner.Block, 0, 0, &fresh.Block));
  EXPECT_FALSE(MDF::Chain_Append(fresh.Block, 0, 0, &a.Block));
}

TEST(BlockChain, AWholeChainMayBeAppended) {
  Link owner, a, b, c;
  b.Block.Links_Set(0, &c.Block);
  ASSERT_TRUE(MDF::Chain_Append(owner.Block, 0, 0, &a.Block));
  EXPECT_TRUE(MDF::Chain_Append(owner.Block, 0, 0, &b.Block));
  EXPECT_EQ(c.Block.Links_Get(0), nullptr);
  EXPECT_EQ(a.Block.Links_Get(0), &b.Block);
}

}  // namespace
