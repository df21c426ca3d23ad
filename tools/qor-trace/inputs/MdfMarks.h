// The events of an MDF 4 file that say something of its buses: lost data, and triggers, which have no records there.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "inputs/MadeRecord.h"
#include "inputs/MdfBlocks.h"
#include "stream/Findings.h"

namespace client {

/// A bus as records have it.
struct MdfBus {
  unsigned char Bus = 0;  // Qor_Trace_BusType
  unsigned int Channel = 0;
};

struct MdfMark {
  enum class Kind : unsigned char {
    Loss,      // after the entry of this time something is missing
    CanEvent,  // trigger input, user event
    LinEvent,  // event-triggered frame
  };

  Kind What = Kind::Loss;
  bool Lost = false;       // of events: something is missing after it as well
  unsigned long Time = 0;  // ns after the file's start
  MdfBus Of = {};
  std::vector<unsigned char> Data = {};  // of CAN events
  bool Falling = false;                  // of LIN events
};

/// By time; those of the same time in the order of the file. At most kMostMdfMarks; what can't be a record is in `found`.
/// @param busOf  of a data group or channel group, by its position in the file
[[nodiscard]] std::vector<MdfMark> ReadMdfMarks(MdfBlocks& file, unsigned long firstEvent,
                                                const std::function<std::optional<MdfBus>(unsigned long)>& busOf,
                                                Findings& found);
constexpr size_t kMostMdfMarks = 200000;

/// The record of an event, or of a loss of a bus whose records have no mark of their own; null for another loss.
[[nodiscard]] const RecordView* RecordOfMark(MadeRecord& made, const MdfMark& mark);

}  // namespace client
