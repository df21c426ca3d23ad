// Destroying trees of blocks.
#pragma once

#include <memory>

#include "mdf/BlockBase.h"

namespace MDF {

/// Which of the linked blocks belong to a tree.
enum class DataLists {
  kInclude,  // header lists and data lists do
  kLeave     // they belong to somebody else, who must outlive the tree
};

/// Destroys `root` and every block that can be reached from it, each once, whatever their positions. What a data list places
/// by itself is not followed, and `barrier` is left alone with what is behind it. Data lists go last: they may own
/// others among the blocks. Takes no memory.
void Tree_Destroy(Block* root, DataLists lists, const Block* barrier = nullptr);

/// Destroys the blocks that the links point to, each once, but for null and `barrier`, and none behind them. Takes no memory.
void Links_Destroy(const std::vector<Block*>& links, const Block* barrier);

/// Owns a block that isn't part of a tree yet, together with what is linked from it.
struct TreeEnd {
  void operator()(Block* root) const { Tree_Destroy(root, DataLists::kLeave); }
};
template <class T>
using NewTree = std::unique_ptr<T, TreeEnd>;

}  // namespace MDF
