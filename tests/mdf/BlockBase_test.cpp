#include "mdf/BlockBase.h"

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>

#include "support/MdfFiles.h"

namespace {

using MDF::Block;

/// A block whose fields can be read, and whose destruction is counted.
class Probe : public Block {
 public:
  explicit Probe(unsigned int links, int* ended = nullptr) : Block(MDF::blockType_CC, 'T', 'X', links), Ended(ended) {}
  ~Probe() override {
    if (Ended != nullptr) ++*Ended;
  }

  void Bytes_Set(unsigned int bytes) { DataSize = bytes; }
  void Place(long position) {
    Block_LengthRefresh();
    FilePos = position;
  }
  [[nodiscard]] unsigned long Length() const { return Header.Length; }
  [[nodiscard]] unsigned long LinkCount() const { return Header.LinkCount; }
  [[nodiscard]] bool Written() const { return IsWritten; }

 private:
  int* Ended;
};

/// A real block whose mark can be looked at.
class ProbeHistory : public MDF::FHBLOCK {
 public:
  ProbeHistory() : FHBLOCK(7, nullptr) {}
  [[nodiscard]] bool LinksMarked() const { return LinksChanged; }
};

class BlockBase : public MdfFiles {};

TEST(BlockHeader, NewBlockHasItsIdAndNoLengthYet) {
  const Probe block(2);
  EXPECT_EQ(block.Header_Type(), "##TX");
  EXPECT_EQ(block.Length(), 0U);
  EXPECT_EQ(block.LinkCount(), 0U);
  EXPECT_EQ(block.Links_Count(), 2U);
  EXPECT_EQ(block.Links_Length(), 16U);
  EXPECT_EQ(block.Block_FilePos(), 0);
  EXPECT_TRUE(block.WriteRequest());
}

TEST(BlockHeader, DefaultBlockHasTypeZeroAndNothingElse) {
  const Block block;
  EXPECT_EQ(block.Block_Type(), 0U);
  EXPECT_EQ(block.Header_Type(), std::string(4, '\0'));
  EXPECT_EQ(block.Links_Count(), 0U);
  EXPECT_TRUE(block.WriteRequest());
}

TEST(BlockHeader, FourLinksAndTwentyFourDataBytesAreEightyBytes) {
  Probe block(4);
  block.Bytes_Set(24);
  EXPECT_EQ(block.Block_Length(), 80U);
  EXPECT_EQ(block.LinkCount(), 4U);
}

TEST(BlockHeader, AddingDataAndLinksGrowsTheLength) {
  Probe block(0);
  EXPECT_EQ(block.Block_Length(), 24U);
  block.Header_AddData(5);
  EXPECT_EQ(block.Length(), 29U);
  block.Header_AddLink(3);
  EXPECT_EQ(block.Length(), 53U);
  EXPECT_EQ(block.LinkCount(), 3U);
}

TEST(BlockHeader, ChangeWithLinksCountsEightBytesEachAndWithoutCountsOneEach) {
  Probe block(5);
  block.Header_Change(2, 100);
  EXPECT_EQ(block.Length(), 24U + 16U + 100U);
  EXPECT_EQ(block.LinkCount(), 2U);
  block.Header_Change(100UL);
  EXPECT_EQ(block.Length(), 100U + 24U + 5U);
  EXPECT_EQ(block.LinkCount(), 2U);
}

TEST(BlockLinks, LinkBeyondTheListIsNull) {
  const Probe block(1);
  EXPECT_EQ(block.Links_Get(0), nullptr);
  EXPECT_EQ(block.Links_Get(1), nullptr);
  EXPECT_EQ(block.Links_Get(~0U), nullptr);
}

TEST(BlockLinks, SettingALinkBeyondTheListGrowsItAndLeavesTheHeader) {
  Probe block(2);
  Probe target(0);
  block.Block_LengthRefresh();
  block.Links_Set(7, &target);
  EXPECT_EQ(block.Links_Count(), 8U);
  for (unsigned int link = 0; link < 7; ++link) EXPECT_EQ(block.Links_Get(link), nullptr);
  EXPECT_EQ(block.Links_Get(7), &target);
  EXPECT_EQ(block.LinkCount(), 2U);
  EXPECT_EQ(block.Block_Length(), 24U + 64U);
  EXPECT_EQ(block.LinkCount(), 8U);
}

TEST(BlockLinks, SettingNullIsIgnored) {
  Probe block(1);
  Probe target(0);
  block.Links_Set(0, &target);
  block.Links_Set(0, nullptr);
  block.Links_Set(9, nullptr);
  EXPECT_EQ(block.Links_Get(0), &target);
  EXPECT_EQ(block.Links_Count(), 1U);
}

TEST(BlockLinks, AddedLinkCountsInTheHeaderAndMayBeNull) {
  Probe block(1);
  block.Block_LengthRefresh();
  block.Links_Add(nullptr);
  EXPECT_EQ(block.Links_Count(), 2U);
  EXPECT_EQ(block.LinkCount(), 2U);
  EXPECT_EQ(block.Length(), 40U);
}

TEST(BlockLinks, ClearWithDestructionEndsEachLinkedBlockOnce) {
  int ended = 0;
  Probe block(0);
  block.Bytes_Set(16);
  auto* twice = new Probe(0, &ended);
  block.Links_Add(twice);
  block.Links_Add(nullptr);
  block.Links_Add(twice);
  block.Links_Add(new Probe(0, &ended));
  block.Links_Add(&block);
  block.Links_Clear(true);
  EXPECT_EQ(ended, 2);
  EXPECT_EQ(block.Links_Count(), 0U);
  EXPECT_EQ(block.LinkCount(), 0U);
  EXPECT_EQ(block.Length(), 40U);
}

TEST(BlockLinks, ClearWithoutDestructionLeavesTheBlocks) {
  int ended = 0;
  Probe target(0, &ended);
  Probe block(0);
  block.Links_Add(&target);
  block.Links_Clear(false);
  EXPECT_EQ(ended, 0);
  EXPECT_EQ(block.Links_Count(), 0U);
}

TEST(BlockLinks, GeneratingOverLinksDestroysTheLinkedBlocks) {
  int ended = 0;
  Probe block(1);
  block.Links_Set(0, new Probe(0, &ended));
  block.Links_Generate(3);
  EXPECT_EQ(ended, 1);
  EXPECT_EQ(block.Links_Count(), 3U);
  EXPECT_EQ(block.Links_Get(0), nullptr);
}

TEST(BlockLinks, DestroyingABlockLeavesWhatItLinksTo) {
  int ended = 0;
  Probe target(0, &ended);
  {
    Probe block(1);
    block.Links_Set(0, &target);
  }
  EXPECT_EQ(ended, 0);
}

/// a -> b -> c -> b, and c -> d; d is linked from a as well.
void BuildKnot(Probe& root, int& ended) {
  auto* a = new Probe(2, &ended);
  auto* b = new Probe(1, &ended);
  auto* c = new Probe(3, &ended);
  auto* d = new Probe(0, &ended);
  a->Links_Set(0, b);
  a->Links_Set(1, d);
  b->Links_Set(0, c);
  c->Links_Set(0, b);
  c->Links_Set(1, d);
  c->Links_Set(2, &root);
  root.Links_Set(1, a);
}

TEST(BlockLinks, DeleteEndsEverythingReachableOnceWhetherPlacedOrNot) {
  for (const bool placed : {true, false}) {
    SCOPED_TRACE(placed);
    int ended = 0;
    Probe root(3);
    Probe sibling(0);
    root.Links_Set(2, &sibling);
    BuildKnot(root, ended);
    long cursor = 64;
    if (placed) root.Block_PlaceAndList(true, &cursor, nullptr);
    root.Links_Delete(1);
    EXPECT_EQ(ended, 4);
    EXPECT_EQ(root.Links_Get(1), nullptr);
    EXPECT_EQ(root.Links_Get(2), &sibling);
  }
}

TEST(BlockLinks, DeleteOfANullLinkOrBeyondTheListDoesNothing) {
  Probe block(1);
  block.Links_Delete(0);
  block.Links_Delete(1);
  block.Links_Delete(~0U);
  EXPECT_EQ(block.Links_Count(), 1U);
}

TEST_F(BlockBase, LinkOfAWrittenBlockStaysAndBeyondTheListIsAnError) {
  FileStream stream(NewFile());
  Roots({64});
  Probe block(1);
  Probe other(0);
  block.Links_Set(stream, 0, &other);
  EXPECT_EQ(block.Links_Get(0), &other) << "not written yet";
  block.Links_Clear(false);
  block.Links_Generate(1);

  MDF::SIBLOCK source("", 1, 2, 2, 0);
  Tree comment(source.Links_Get(2));
  PlaceAndWrite(source, stream);
  EXPECT_FALSE(source.WriteRequest());
  source.Links_Set(stream, 0, &other);
  EXPECT_EQ(source.Links_Get(0), nullptr);
  EXPECT_FALSE(source.WriteRequest());
  EXPECT_THROW(source.Links_Set(stream, 3, &other), std::out_of_range);
  EXPECT_TRUE(source.WriteRequest());
}

TEST(BlockPlace, PositionsAreRoundedUpToEight) {
  EXPECT_EQ(Block::CalcStartPos(0), 0);
  EXPECT_EQ(Block::CalcStartPos(1), 8);
  EXPECT_EQ(Block::CalcStartPos(63), 64);
  EXPECT_EQ(Block::CalcStartPos(64), 64);
  EXPECT_EQ(Block::CalcStartPos(0x1'0000'0001), 0x1'0000'0008);
}

TEST(BlockPlace, WalkIsDepthFirstInLinkOrderAndEachBlockIsPlacedOnce) {
  Probe root(3);
  Probe left(2);
  Probe below(0);
  Probe right(1);
  below.Bytes_Set(3);
  root.Links_Set(0, &left);
  root.Links_Set(2, &right);
  left.Links_Set(1, &below);
  right.Links_Set(0, &below);
  long cursor = 61;
  root.Block_PlaceAndList(true, &cursor, nullptr);
  EXPECT_EQ(root.Block_FilePos(), 64);
  EXPECT_EQ(left.Block_FilePos(), 64 + 48);
  EXPECT_EQ(below.Block_FilePos(), 64 + 48 + 40);
  EXPECT_EQ(right.Block_FilePos(), 64 + 48 + 40 + 32) << "behind 27 bytes and their padding";
  EXPECT_EQ(cursor, right.Block_FilePos() + 32);
}

TEST(BlockPlace, PlacedBlocksKeepTheirPlaceAndNewOnesFollow) {
  Probe root(2);
  Probe first(0);
  Probe second(0);
  root.Links_Set(0, &first);
  long cursor = 64;
  root.Block_PlaceAndList(true, &cursor, nullptr);
  root.Links_Set(1, &second);
  cursor = 1000;
  root.Block_PlaceAndList(true, &cursor, nullptr);
  EXPECT_EQ(root.Block_FilePos(), 64);
  EXPECT_EQ(first.Block_FilePos(), 104);
  EXPECT_EQ(second.Block_FilePos(), 1000);
}

TEST(BlockPlace, CirclesEnd) {
  Probe root(2);
  Probe other(1);
  root.Links_Set(0, &other);
  root.Links_Set(1, &root);
  other.Links_Set(0, &root);
  long cursor = 64;
  BlockSet list;
  root.Block_PlaceAndList(true, &cursor, &list);
  EXPECT_THAT(list, ::testing::ElementsAre(&root, &other));
  root.Block_PlaceAndList(true, nullptr, nullptr);
  root.Block_Reset(true);
  EXPECT_EQ(other.Block_FilePos(), 0);
}

TEST(BlockPlace, ChainsMayBeLongerThanTheStackIsDeep) {
  constexpr size_t kBlocks = 100'000;
  std::vector<std::unique_ptr<Probe>> chain;
  for (size_t i = 0; i < kBlocks; ++i) {
    chain.push_back(std::make_unique<Probe>(1));
    if (i > 0) chain[i - 1]->Links_Set(0, chain[i].get());
  }
  long cursor = 64;
  BlockSet list;
  chain[0]->Block_PlaceAndList(true, &cursor, &list);
  EXPECT_EQ(list.size(), kBlocks);
  EXPECT_EQ(chain.back()->Block_FilePos(), static_cast<long>(64 + 32 * (kBlocks - 1)));
}

TEST(BlockReset, ChainsMayBeLongerThanTheStackIsDeep) {
  constexpr size_t kBlocks = 300'000;
  std::vector<std::unique_ptr<MDF::FHBLOCK>> chain;
  for (size_t i = 0; i < kBlocks; ++i) {
    chain.push_back(std::make_unique<MDF::FHBLOCK>(i, nullptr));
    if (i > 0) chain[i - 1]->Links_Set(MDF::kFhNext, chain[i].get());
  }
  long cursor = 64;
  chain[0]->Block_PlaceAndList(true, &cursor, nullptr);
  static_cast<Block&>(*chain[0]).Block_Reset(true);
  EXPECT_EQ(chain.front()->Block_FilePos(), 0);
  EXPECT_EQ(chain[kBlocks / 2]->Block_FilePos(), 0);
  EXPECT_EQ(chain.back()->Block_FilePos(), 0);
}

TEST(BlockReset, ReachesEveryPlacedBlockOnceAlsoInACircle) {
  Probe root(2);
  Probe left(1);
  Probe right(1);
  Probe spared(0);
  root.Links_Set(0, &left);
  root.Links_Set(1, &right);
  left.Links_Set(0, &root);
  right.Links_Set(0, &spared);
  long cursor = 64;
  root.Block_PlaceAndList(true, &cursor, nullptr);
  BlockSet done{&spared};
  static_cast<Block&>(root).Block_Reset(true, done);
  EXPECT_EQ(root.Block_FilePos(), 0);
  EXPECT_EQ(left.Block_FilePos(), 0);
  EXPECT_EQ(right.Block_FilePos(), 0);
  EXPECT_NE(spared.Block_FilePos(), 0) << "was done already";
}

TEST(BlockPlace, UnplacedBlocksAreOneElementOfASet) {
  Probe one(0);
  Probe other(0);
  BlockSet set;
  set.insert(&one);
  set.insert(&other);
  EXPECT_EQ(set.size(), 1U);
  other.Place(64);
  set.insert(&other);
  EXPECT_THAT(set, ::testing::ElementsAre(&one, &other));
}

TEST(BlockPlace, ListsTakeCareOfTheirOwnBlocks) {
  for (const auto& [type, ignored] : {std::pair(MDF::blockType_DL, true),
                                      {MDF::blockType_DT, true},
                                      {MDF::blockType_DZ, true},
                                      {MDF::blockType_SD, true},
                                      {MDF::blockType_HL, false},
                                      {MDF::blockType_TX, false}}) {
    Block block(type, 'X', 'X', 0);
    EXPECT_EQ(Block::IgnoreSubBlock(&block), ignored) << type;
  }
  EXPECT_FALSE(Block::IgnoreSubBlock(nullptr));
}

TEST_F(BlockBase, FileIsExtendedWithZerosOnlyUpToThePosition) {
  FileStream stream(NewFile());
  Roots({64});
  EXPECT_TRUE(Block::ExtendFile(stream, 64));
  EXPECT_EQ(stream.tellp(), 64);
  EXPECT_TRUE(Block::ExtendFile(stream, 10));
  EXPECT_EQ(stream.tellp(), 64);
  MDF::TXBLOCK text("");
  PlaceAndWrite(text, stream);
  EXPECT_EQ(Contents().substr(0, 64), std::string(64, '\0'));
}

TEST_F(BlockBase, UnplacedBlockIsNotWritten) {
  FileStream stream(NewFile());
  Roots({64});
  Probe block(1);
  EXPECT_EQ(block.Write(stream), 0);
  EXPECT_FALSE(stream.Written);
  EXPECT_EQ(MDF::SeekEnd(stream), 0);
  MDF::TXBLOCK text("");
  PlaceAndWrite(text, stream);
}

TEST_F(BlockBase, HeaderAndLinksAreWrittenAtThePlaceBehindZeros) {
  FileStream stream(NewFile());
  Roots({72});
  MDF::FHBLOCK history(0, nullptr);
  MDF::MDBLOCK comment("abc");
  history.Links_Set(1, &comment);
  long cursor = 70;
  history.Block_PlaceAndList(true, &cursor, nullptr);
  EXPECT_EQ(history.Block::Write(stream), 72 + 24 + 16);
  EXPECT_TRUE(stream.Written);
  stream.flush();
  EXPECT_EQ(Contents().substr(64), std::string(8, '\0') + Bytes("23 23 46 48 00 00 00 00 38 00 00 00 00 00 00 00"
                                                                "02 00 00 00 00 00 00 00"
                                                                "00 00 00 00 00 00 00 00 80 00 00 00 00 00 00 00"));
  PlaceAndWrite(history, stream);
}

TEST_F(BlockBase, ChangedLinkIsPatchedWithoutRewritingAnythingElse) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::FHBLOCK history(7, nullptr);
  PlaceAndWrite(history, stream);
  const std::string before = Contents();
  MDF::MDBLOCK comment("<FHcomment/>");
  history.Links_Set(1, &comment);
  PlaceAndWrite(history, stream);
  std::string expected = before;
  expected.replace(64 + 24 + 8, 8, Bytes("78 00 00 00 00 00 00 00"));
  EXPECT_EQ(Contents().substr(0, before.size()), expected);
  EXPECT_EQ(comment.Block_FilePos(), 0x78);
}

TEST_F(BlockBase, LinkToABlockWithoutAPlaceIsDueAgainWhenItGetsOneAndNotBefore) {
  FileStream stream(NewFile());
  Roots({64});
  ProbeHistory history;
  PlaceAndWrite(history, stream);
  MDF::MDBLOCK comment("<FHcomment/>");
  history.Links_Set(1, &comment);
  EXPECT_NE(history.Write(stream), 0) << "before the comment is placed";
  EXPECT_FALSE(history.LinksMarked());
  EXPECT_FALSE(history.WriteRequest());
  long end = MDF::SeekEnd(stream);
  comment.Block_PlaceAndList(false, &end, nullptr);
  EXPECT_TRUE(history.WriteRequest());
  PlaceAndWrite(history, stream);
  EXPECT_FALSE(history.WriteRequest());
  EXPECT_EQ(Contents().substr(64 + 32, 8), Bytes("78 00 00 00 00 00 00 00"));
}

/// One walk places a block after one that was looked at before and was written without it.
TEST_F(BlockBase, WalkThatPlacesABlockListsThoseThatLinkToIt) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::FHBLOCK first(1, nullptr);
  auto second = std::make_unique<MDF::FHBLOCK>(2, nullptr);
  first.Links_Set(0, second.get());
  PlaceAndWrite(first, stream);
  MDF::MDBLOCK shared("<FHcomment/>");
  first.Links_Set(1, &shared);
  second->Links_Set(1, &shared);
  EXPECT_NE(first.Write(stream), 0);
  EXPECT_NE(second->Write(stream), 0);
  long end = MDF::SeekEnd(stream);
  BlockSet due;
  first.Block_PlaceAndList(false, &end, &due);
  EXPECT_THAT(due, ::testing::ElementsAre(&first, second.get(), &shared));
  for (Block* block : due) block->Write(stream);
  stream.flush();
  EXPECT_FALSE(first.WriteRequest());
  EXPECT_FALSE(second->WriteRequest());
}

TEST_F(BlockBase, NothingIsWrittenWhenNothingChanged) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::TXBLOCK text("x");
  PlaceAndWrite(text, stream);
  stream.Written = false;
  BlockSet list;
  text.Block_PlaceAndList(false, nullptr, &list);
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(text.Write(stream), 0);
  EXPECT_FALSE(stream.Written);
}

TEST_F(BlockBase, BlockThatOutgrewItsRoomIsRefusedUntilNothingIsBehindIt) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::CCBLOCK conversion(1, 0, nullptr);
  MDF::TXBLOCK name("behind");
  conversion.Links_Set(0, &name);
  PlaceAndWrite(conversion, stream);
  const std::string before = Contents();
  EXPECT_TRUE(conversion.Value_Add(1.0));
  EXPECT_EQ(conversion.Write(stream), 0);
  EXPECT_TRUE(conversion.WriteRequest());
  stream.flush();
  EXPECT_EQ(Contents(), before);
}

TEST_F(BlockBase, LastBlockOfTheFileMayGrowInPlace) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::CCBLOCK conversion(1, 0, nullptr);
  PlaceAndWrite(conversion, stream);
  EXPECT_TRUE(conversion.Value_Add(1.0));
  EXPECT_TRUE(conversion.Reference_Add(nullptr));
  EXPECT_EQ(conversion.Write(stream), 64 + 24 + 40 + 24 + 8);
  stream.flush();
}

TEST_F(BlockBase, DeepResetLetsAllBlocksBeWrittenIntoAnotherFile) {
  MDF::HDBLOCK header(1);
  MDF::MDBLOCK comment("<HDcomment/>");
  header.Links_Set(5, &comment);
  std::string written[2];
  for (std::string& contents : written) {
    FileStream stream(NewFile());
    Roots({64});
    PlaceAndWrite(header, stream);
    contents = Contents();
    header.Block_Reset(true);
    EXPECT_EQ(header.Block_FilePos(), 0);
    EXPECT_EQ(comment.Block_FilePos(), 0);
    EXPECT_TRUE(comment.WriteRequest());
  }
  EXPECT_EQ(written[0], written[1]);
  EXPECT_EQ(written[1].size(), 64U + 104U + 24U + 16U);
}

TEST(BlockReset, ShallowResetLeavesTheLinkedBlocks) {
  Probe root(1);
  Probe target(0);
  root.Links_Set(0, &target);
  long cursor = 64;
  root.Block_PlaceAndList(true, &cursor, nullptr);
  root.Block_Reset(false);
  EXPECT_EQ(root.Block_FilePos(), 0);
  EXPECT_EQ(root.Links_Get(0), &target);
  EXPECT_NE(target.Block_FilePos(), 0);
}

TEST_F(BlockBase, ClosedStreamTakesNothingAndTheBlockStaysDirty) {
  FileStream closed;
  Probe block(1);
  block.Place(64);
  EXPECT_EQ(block.Write(closed), 0);
  EXPECT_TRUE(block.WriteRequest());
  EXPECT_FALSE(block.Written());
  EXPECT_FALSE(closed.Written);
}

TEST_F(BlockBase, FailingStreamLeavesTheBlockDirty) {
  FileStream full("/dev/full");
  full.rdbuf()->pubsetbuf(nullptr, 0);
  if (!full.is_open()) GTEST_SKIP() << "no /dev/full here";
  MDF::TXBLOCK text("x");
  long cursor = 64;
  text.Block_PlaceAndList(true, &cursor, nullptr);
  full << 'x' << std::flush;
  ASSERT_FALSE(full.good());
  EXPECT_EQ(text.Write(full), 0);
  EXPECT_TRUE(text.WriteRequest());
}

TEST(BlockExtend, FailedStreamEndsIt) {
  FileStream closed;
  EXPECT_TRUE(Block::ExtendFile(closed, 1000));
  EXPECT_FALSE(closed.good());
}

TEST_F(BlockBase, StreamClosesItselfAndNothingIsThrownWhenThatFails) {
  {
    FileStream full("/dev/full");
    if (!full.is_open()) GTEST_SKIP() << "no /dev/full here";
    full << "x";
    full.exceptions(std::ios_base::failbit);
  }
  const std::string path = NewFile();
  Roots({64});
  {
    FileStream stream(path);
    MDF::TXBLOCK text("x");
    long cursor = 64;
    text.Block_PlaceAndList(true, &cursor, nullptr);
    text.Write(stream);
  }
  EXPECT_EQ(Contents().size(), 96U);
}

}  // namespace
