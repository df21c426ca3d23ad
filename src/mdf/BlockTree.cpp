#include "mdf/BlockTree.h"

#include <algorithm>
#include <unordered_set>

namespace MDF {
namespace {

bool IsList(const Block& block) { return block.Block_Type() == blockType_DL || block.Block_Type() == blockType_HL; }

bool Followed(const Block& from, Block* target, DataLists lists) {
  if (from.Block_Type() == blockType_DL && Block::IgnoreSubBlock(target)) return false;
  return lists == DataLists::kInclude || !IsList(*target);
}

}  // namespace

std::vector<Block*> Tree_Collect(Block* root, DataLists lists, const Block* barrier) {
  std::vector<Block*> found;
  std::unordered_set<const Block*> seen{nullptr, barrier};
  const auto take = [&](Block* block) {
    if (seen.insert(block).second) found.push_back(block);
  };
  take(root);
  size_t next = 0;
  while (next < found.size()) {  // which grows meanwhile
    const Block& from = *found[next++];
    for (unsigned int link = 0; link < from.Links_Count(); ++link) {
      Block* target = from.Links_Get(link);
      if (target != nullptr && Followed(from, target, lists)) take(target);
    }
  }
  return found;
}

void Tree_Destroy(std::vector<Block*> blocks) {
  const auto rank = [](const Block* block) {
    return std::pair(block->Block_Type() == blockType_DL, block->Block_FilePos());
  };
  std::stable_sort(blocks.begin(), blocks.end(), [&](Block* a, Block* b) { return rank(a) < rank(b); });
  for (Block* block : blocks) delete block;
}

}  // namespace MDF
