// Finding and destroying the blocks of a tree, whatever their positions.
#pragma once

#include <vector>

#include "mdf/BlockBase.h"

namespace MDF {

/// Which of the linked blocks a walk takes in.
enum class DataLists {
  kInclude,  // header lists and data lists are part of the tree
  kLeave     // they belong to somebody else, who must outlive the walk
};

/// `root` and every block that can be reached from it, each once, told apart by identity and not by position. What a
/// data list places by itself is not followed, and nothing is followed through `barrier`, which is not returned either.
std::vector<Block*> Tree_Collect(Block* root, DataLists lists, const Block* barrier = nullptr);

/// Destroys the blocks, in file order but for data lists, which go last: they may own others among them.
void Tree_Destroy(std::vector<Block*> blocks);

}  // namespace MDF
