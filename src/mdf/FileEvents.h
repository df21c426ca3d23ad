// Events of a file before they are linked (not exported).
#pragma once

#include <memory>

#include "mdf/Block.h"

namespace MDF {

/// The text blocks of an event go with it; what it refers to doesn't.
inline void DestroyEvent(MDF::EVBLOCK* event) {
  MDF::Block* name = event->Links_Get(MDF::kEvName);
  MDF::Block* comment = event->Links_Get(MDF::kEvComment);
  delete event;
  delete name;
  delete comment;
}

struct EventEnd {
  void operator()(MDF::EVBLOCK* event) const { DestroyEvent(event); }
};
/// Owns an event that isn't linked yet.
using NewEvent = std::unique_ptr<MDF::EVBLOCK, EventEnd>;

}  // namespace MDF
