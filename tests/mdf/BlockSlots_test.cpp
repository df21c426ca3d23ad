#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "mdf/Block.h"

namespace {

using MDF::Block;

// The virtual table is what clients are compiled against.
class Slots : public Block {
 public:
  static inline std::string Called;
  void Block_Reset(bool, BlockSet&) override { Called = "Block_Reset(bool, BlockSet&)"; }
  [[nodiscard]] bool WriteRequest() const override {
    Called = "WriteRequest";
    return false;
  }
  void Block_LengthRefresh() override { Called = "Block_LengthRefresh"; }
  void Block_Reset(bool) override { Called = "Block_Reset(bool)"; }
  using Block::Links_Set;
  void Links_Set(unsigned int, Block*) override { Called = "Links_Set"; }
  long Write(FileStream&) override {
    Called = "Write";
    return 0;
  }
};

TEST(BlockSlots, AreInTheOrderThatClientsExpect) {
  Slots block;
  BlockSet set;
  FileStream stream;
  void** table = *reinterpret_cast<void***>(&block);
  reinterpret_cast<void (*)(Block*, bool, BlockSet*)>(table[0])(&block, false, &set);
  EXPECT_EQ(Slots::Called, "Block_Reset(bool, BlockSet&)");
  reinterpret_cast<bool (*)(const Block*)>(table[1])(&block);
  EXPECT_EQ(Slots::Called, "WriteRequest");
  reinterpret_cast<void (*)(Block*)>(table[4])(&block);  // 2 and 3 are the destructors
  EXPECT_EQ(Slots::Called, "Block_LengthRefresh");
  reinterpret_cast<void (*)(Block*, bool)>(table[5])(&block, false);
  EXPECT_EQ(Slots::Called, "Block_Reset(bool)");
  reinterpret_cast<void (*)(Block*, unsigned int, Block*)>(table[6])(&block, 0, nullptr);
  EXPECT_EQ(Slots::Called, "Links_Set");
  reinterpret_cast<long (*)(Block*, FileStream*)>(table[7])(&block, &stream);
  EXPECT_EQ(Slots::Called, "Write");
}

TEST(BlockNames, CompileWithAndWithoutTheirNamespace) {
  static_assert(std::is_same_v<MDF::FileStream, ::FileStream>);
  static_assert(std::is_same_v<MDF::BlockSet, ::BlockSet>);
  static_assert(std::is_base_of_v<std::ofstream, FileStream>);
}

}  // namespace
