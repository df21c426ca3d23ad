// Walking through blocks without taking memory.
#pragma once

#include "mdf/BlockBase.h"

namespace MDF {

/// Blocks in the order in which they are taken, each once: a chain through the blocks themselves. Blocks may be taken
/// while others are walked through.
///
/// A block is part of one gathering at a time, and must outlive it unless it is dropped first.
class Gathering {
 public:
  Gathering() = default;
  Gathering(const Gathering&) = delete;
  Gathering& operator=(const Gathering&) = delete;
  ~Gathering() {
    while (DropFirst() != nullptr) continue;
  }

  /// Ignores null, and a block that is already part of it.
  void Take(Block* block) {
    if (block == nullptr || block->NextGathered != nullptr) return;
    (Last != nullptr ? Last->NextGathered : Begin) = block;
    block->NextGathered = block;  // the end of the chain
    Last = block;
  }
  [[nodiscard]] Block* First() const { return Begin; }
  /// Null after the last one.
  [[nodiscard]] static Block* Next(const Block* block) {
    return block->NextGathered != block ? block->NextGathered : nullptr;
  }
  /// Removes the first one and returns it; null when there is none.
  Block* DropFirst() {
    Block* dropped = Begin;
    if (dropped == nullptr) return nullptr;
    Begin = Next(dropped);
    if (Begin == nullptr) Last = nullptr;
    dropped->NextGathered = nullptr;
    return dropped;
  }

 private:
  Block* Begin = nullptr;
  Block* Last = nullptr;
};

}  // namespace MDF
