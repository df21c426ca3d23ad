// Appending to the lists that blocks form by their "next" links.
#pragma once

#include "mdf/BlockBase.h"

namespace MDF {

/// Makes `block` the link `head` of `owner` or, if that is set, the link `next` of the last block of the chain that
/// begins there. False, and nothing changed, when the block is null, stands in the chain already, leads back into it,
/// or the chain has no end.
bool AppendToChain(Block& owner, unsigned int head, unsigned int next, Block* block);

}  // namespace MDF
