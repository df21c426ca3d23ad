#include "mdf/BlockTree.h"

#include <vector>

#include "mdf/BlockGathering.h"

namespace MDF {
namespace {

bool IsList(const Block& block) { return block.Block_Type() == blockType_DL || block.Block_Type() == blockType_HL; }

bool Followed(const Block& from, Block* target, DataLists lists) {
  if (target == nullptr) return false;
  // A data list destroys the data block that it owns; the others it lists are in the file only.
  if (from.Block_Type() == blockType_DL && Block::IgnoreSubBlock(target)) return false;
  return lists == DataLists::kInclude || !IsList(*target);
}

void Destroy(Gathering& blocks) {
  Gathering lists;
  while (Block* block = blocks.DropFirst()) {
    if (block->Block_Type() == blockType_DL) {
      lists.Take(block);
    } else {
      delete block;
    }
  }
  while (Block* list = lists.DropFirst()) delete list;
}

}  // namespace

void DestroyTree(Block* root, DataLists lists, const Block* barrier) {
  Gathering tree;
  tree.Take(root);
  for (const Block* from = tree.First(); from != nullptr; from = Gathering::Next(from)) {
    for (unsigned int link = 0; link < from->Links_Count(); ++link) {
      Block* target = from->Links_Get(link);
      if (target != barrier && Followed(*from, target, lists)) tree.Take(target);
    }
  }
  Destroy(tree);
}

void PlaceNewInTree(Block* root, long& cursor, BlockSet& list) {
  struct Step {
    const Block* At;
    unsigned int NextLink;
  };
  std::vector<Step> path;
  const auto enter = [&](Block* block) {
    if (block == nullptr || block->FilePos != 0) return;
    block->Place(cursor);
    list.insert(block);
    path.push_back({block, 0});
  };
  enter(root);
  while (!path.empty()) {
    Step& step = path.back();
    if (step.NextLink < step.At->Links_Count()) {
      enter(step.At->Links_Get(step.NextLink++));
    } else {
      path.pop_back();
    }
  }
}

void DestroyLinked(const std::vector<Block*>& links, const Block* barrier) {
  Gathering linked;
  for (Block* block : links) {
    if (block != barrier) linked.Take(block);
  }
  Destroy(linked);
}

}  // namespace MDF
