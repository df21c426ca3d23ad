#include "mdf/BlockTree.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

#include "mdf/BlockChain.h"
#include "support/MdfFiles.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A block that reports its destruction.
class Mortal : public MDF::Block {
 public:
  Mortal(int number, std::vector<int>& gone, MDF::blockType_t type = MDF::blockType_CN)
      : Block(type, 'C', 'N', 2), Number(number), Gone(gone) {}
  ~Mortal() override { Gone.push_back(Number); }
  Mortal(const Mortal&) = delete;
  Mortal& operator=(const Mortal&) = delete;

 private:
  int Number;
  std::vector<int>& Gone;
};

TEST(BlockTree, IsDestroyedByIdentityEvenWhenNothingIsPlaced) {
  std::vector<int> gone;
  auto* root = new Mortal(1, gone);
  auto* one = new Mortal(2, gone);
  auto* other = new Mortal(3, gone);
  root->Links_Set(0, one);
  root->Links_Set(1, other);
  one->Links_Set(0, other);
  other->Links_Set(0, root);
  MDF::DestroyTree(root, MDF::DataLists::kInclude);
  EXPECT_THAT(gone, ElementsAre(1, 2, 3));
}

TEST(BlockTree, IsDestroyedUpToTheBarrier) {
  std::vector<int> gone;
  Mortal behind(4, gone);
  Mortal barrier(1, gone);
  barrier.Links_Set(0, &behind);
  auto* one = new Mortal(2, gone);
  one->Links_Set(0, &barrier);
  one->Links_Set(1, new Mortal(3, gone));
  MDF::DestroyTree(one, MDF::DataLists::kInclude, &barrier);
  EXPECT_THAT(gone, ElementsAre(2, 3));
}

TEST(BlockTree, LinkedBlocksAreDestroyedOnceAndNoneBehindThem) {
  std::vector<int> gone;
  Mortal behind(1, gone);
  auto* one = new Mortal(2, gone);
  one->Links_Set(0, &behind);
  MDF::DestroyLinked({one, nullptr, one, &behind}, &behind);
  EXPECT_THAT(gone, ElementsAre(2));
}

TEST(BlockTree, NoTreeIsDestroyedForNull) { MDF::DestroyTree(nullptr, MDF::DataLists::kInclude); }

TEST(BlockTree, LeavesDataListsToTheirOwnersWhenAskedTo) {
  FileStream stream;
  std::vector<int> gone;
  auto* group = new MDF::DGBLOCK(false);
  MDF::DLBLOCK list(group, 4, true, stream);
  list.Links_Set(MDF::kDlNext, new Mortal(1, gone));
  group->Links_Set(MDF::kDgData, &list);
  MDF::DestroyTree(group, MDF::DataLists::kLeave);
  EXPECT_THAT(gone, IsEmpty());
  EXPECT_NE(list.Links_Get(MDF::kDlData), nullptr);
  delete list.Links_Get(MDF::kDlNext);
}

/// A link between two kinds of blocks: does the tree that begins with the first include the second?
struct FollowedCase {
  MDF::blockType_t From;
  MDF::blockType_t To;
  bool WithLists;
  bool WithoutLists;
};

TEST(BlockTree, EndsAtWhatADataListPlacesByItselfAndWithoutListsAtAList) {
  using namespace MDF;
  constexpr FollowedCase kCases[] = {
      {blockType_DG, blockType_CG, true, true},   {blockType_DG, blockType_DT, true, true},
      {blockType_DG, blockType_DZ, true, true},   {blockType_CN, blockType_SD, true, true},
      {blockType_DG, blockType_DL, true, false},  {blockType_DG, blockType_HL, true, false},
      {blockType_HL, blockType_DL, true, false},  {blockType_DL, blockType_CG, true, true},
      {blockType_DL, blockType_HL, true, false},  {blockType_DL, blockType_DL, false, false},
      {blockType_DL, blockType_DT, false, false}, {blockType_DL, blockType_DZ, false, false},
      {blockType_DL, blockType_SD, false, false},
  };
  for (const FollowedCase& row : kCases) {
    for (const DataLists lists : {DataLists::kInclude, DataLists::kLeave}) {
      SCOPED_TRACE(std::to_string(row.From) + " to " + std::to_string(row.To));
      std::vector<int> gone;
      auto* to = new Mortal(2, gone, row.To);
      auto* from = new Mortal(1, gone, row.From);
      from->Links_Set(0, to);
      DestroyTree(from, lists);
      const bool followed = lists == DataLists::kInclude ? row.WithLists : row.WithoutLists;
      EXPECT_EQ(std::count(gone.begin(), gone.end(), 2), followed ? 1 : 0);
      if (!followed) delete to;
    }
  }
}

TEST(BlockTree, ListsAreDestroyedAfterTheBlocksThatTheyOwn) {
  FileStream stream;
  MDF::DGBLOCK parent(false);
  auto* list = new MDF::DLBLOCK(&parent, 4, false, stream);
  MDF::Block* data = list->Links_Get(MDF::kDlData);
  MDF::DGBLOCK holder(false);
  MDF::DestroyLinked({list, data}, &holder);  // each once, whatever the order given
  auto* packed = new MDF::DLBLOCK(&parent, 4, true, stream);
  parent.Links_Set(MDF::kDgData, packed);
  MDF::DestroyTree(packed, MDF::DataLists::kInclude, &parent);
}

struct Link {
  MDF::Block Block{MDF::blockType_CN, 'C', 'N', 2};
};

TEST(BlockTree, NewBlocksArePlacedAsAWalkThroughEverythingWouldPlaceThem) {
  // root -> placed -> behind; then root -> added -> {further -> placed, last}
  MDF::Block root(MDF::blockType_CC, 'C', 'C', 2);
  MDF::Block placed(MDF::blockType_CC, 'C', 'C', 1);
  MDF::Block added(MDF::blockType_CC, 'C', 'C', 2);
  MDF::Block further(MDF::blockType_CC, 'C', 'C', 1);
  MDF::Block last(MDF::blockType_CC, 'C', 'C', 0);
  root.Links_Set(0, &placed);
  long cursor = 64;
  root.Block_PlaceAndList(true, &cursor, nullptr);
  MDF::Block behind(MDF::blockType_CC, 'C', 'C', 0);
  placed.Links_Set(0, &behind);  // not reached through new blocks alone
  root.Links_Set(1, &added);
  added.Links_Set(0, &further);
  added.Links_Set(1, &last);
  further.Links_Set(0, &placed);
  BlockSet list;
  const long begin = cursor;
  MDF::PlaceNewInTree(&added, cursor, list);
  EXPECT_THAT(list, ::testing::ElementsAre(&added, &further, &last));
  EXPECT_EQ(added.Block_FilePos(), begin);
  EXPECT_EQ(further.Block_FilePos(), begin + 40);
  EXPECT_EQ(last.Block_FilePos(), begin + 40 + 32);
  EXPECT_EQ(cursor, begin + 40 + 32 + 24);
  EXPECT_EQ(behind.Block_FilePos(), 0);
  MDF::PlaceNewInTree(&added, cursor, list);
  MDF::PlaceNewInTree(nullptr, cursor, list);
  EXPECT_EQ(cursor, begin + 40 + 32 + 24);
}

TEST(BlockChain, BlocksAreAppendedInOrder) {
  Link owner, a, b, c;
  EXPECT_TRUE(MDF::AppendToChain(owner.Block, 1, 0, &a.Block));
  EXPECT_TRUE(MDF::AppendToChain(owner.Block, 1, 0, &b.Block));
  EXPECT_TRUE(MDF::AppendToChain(owner.Block, 1, 0, &c.Block));
  EXPECT_EQ(owner.Block.Links_Get(1), &a.Block);
  EXPECT_EQ(a.Block.Links_Get(0), &b.Block);
  EXPECT_EQ(b.Block.Links_Get(0), &c.Block);
  EXPECT_EQ(c.Block.Links_Get(0), nullptr);
}

TEST(BlockChain, NullAndWhatWouldCloseACircleAreRefused) {
  Link owner, a, b, c;
  ASSERT_TRUE(MDF::AppendToChain(owner.Block, 0, 0, &a.Block));
  ASSERT_TRUE(MDF::AppendToChain(owner.Block, 0, 0, &b.Block));
  c.Block.Links_Set(0, &b.Block);
  EXPECT_FALSE(MDF::AppendToChain(owner.Block, 0, 0, nullptr));
  EXPECT_FALSE(MDF::AppendToChain(owner.Block, 0, 0, &a.Block));
  EXPECT_FALSE(MDF::AppendToChain(owner.Block, 0, 0, &b.Block));
  EXPECT_FALSE(MDF::AppendToChain(owner.Block, 0, 0, &owner.Block));
  EXPECT_FALSE(MDF::AppendToChain(owner.Block, 0, 0, &c.Block)) << "leads back into the chain";
  EXPECT_EQ(b.Block.Links_Get(0), nullptr);
}

TEST(BlockChain, AppendingToACircleEnds) {
  Link owner, a, b, c, fresh;
  owner.Block.Links_Set(0, &a.Block);
  a.Block.Links_Set(0, &b.Block);
  b.Block.Links_Set(0, &c.Block);
  c.Block.Links_Set(0, &b.Block);
  EXPECT_FALSE(MDF::AppendToChain(owner.Block, 0, 0, &fresh.Block));
  EXPECT_FALSE(MDF::AppendToChain(fresh.Block, 0, 0, &a.Block));
}

TEST(BlockChain, AWholeChainMayBeAppended) {
  Link owner, a, b, c;
  b.Block.Links_Set(0, &c.Block);
  ASSERT_TRUE(MDF::AppendToChain(owner.Block, 0, 0, &a.Block));
  EXPECT_TRUE(MDF::AppendToChain(owner.Block, 0, 0, &b.Block));
  EXPECT_EQ(c.Block.Links_Get(0), nullptr);
  EXPECT_EQ(a.Block.Links_Get(0), &b.Block);
}

}  // namespace
