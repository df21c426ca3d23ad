#include "mdf/BlockChain.h"

namespace MDF {
namespace {

/// The last block of a chain; null when it has no end or `barred` is part of it.
Block* LastOf(Block* first, unsigned int next, const Block* barred) {
  const Block* mark = nullptr;  // left behind at ever longer distances; met again only in a circle
  unsigned long steps = 0;
  unsigned long limit = 1;
  for (Block* at = first;; at = at->Links_Get(next)) {
    if (at == barred || at == mark) return nullptr;
    if (at->Links_Get(next) == nullptr) return at;
    if (++steps == limit) {
      mark = at;
      limit *= 2;
    }
  }
}

}  // namespace

bool AppendToChain(Block& owner, unsigned int head, unsigned int next, Block* block) {
  if (block == nullptr || LastOf(block, next, &owner) == nullptr) return false;
  Block* first = owner.Links_Get(head);
  if (first == nullptr) {
    owner.Links_Set(head, block);
    return true;
  }
  Block* last = LastOf(first, next, block);
  if (last == nullptr || LastOf(block, next, last) == nullptr) return false;
  last->Links_Set(next, block);
  return true;
}

}  // namespace MDF
