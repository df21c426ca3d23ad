// Destroying trees of blocks, and placing what was added to one.
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
/// by itself is not followed. `barrier` stays, with whatever is reachable through it alone. Data lists go last: they may
/// own others among the blocks. Takes no memory.
void DestroyTree(Block* root, DataLists lists, const Block* barrier = nullptr);

/// Destroys the blocks that the links point to, each once, except null and `barrier`. What those blocks link to stays.
/// Takes no memory.
void DestroyLinked(const std::vector<Block*>& links, const Block* barrier);

/// Places `root`, unless it is null or has a place, at the next multiple of 8 from `cursor` on. Then places every block
/// without a place that is reached from it through such blocks, in the order of Block_PlaceAndList. Adds them to `list`.
/// The time it takes depends on the number of new blocks only, however large the tree is.
/// @throws std::bad_alloc; blocks that have got their place keep it
void PlaceNewInTree(Block* root, long& cursor, BlockSet& list);

/// Owns a block that isn't part of a tree yet, together with what is linked from it.
struct TreeEnd {
  void operator()(Block* root) const { DestroyTree(root, DataLists::kLeave); }
};
template <class T>
using NewTree = std::unique_ptr<T, TreeEnd>;

}  // namespace MDF
