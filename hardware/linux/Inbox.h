// What a real interface has received and no poll has fetched yet.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/CaptureBuffer.h"
#include "simulator/Mutex.h"
#include "simulator/Notice.h"
#include "simulator/Protocol.h"

namespace qor_linux {

/// A capture buffer between the thread that receives and those that poll and ask.
///
/// Threads: any.
class Inbox {
 public:
  /// @param items  that it holds; what doesn't fit is dropped and counted
  explicit Inbox(size_t items) : Buffer(items) {}

  /// @param item  its timestamp is ns since 1970
  void Offer(const qor_sim::Item& item) SIM_EXCLUDES(Guard);
  /// Items were lost before they came here: after the latest one offered.
  /// @param before  ns since 1970: the loss was over by then
  void NoteDropped(uint64_t count, uint64_t before) SIM_EXCLUDES(Guard);
  void Tell(qor_sim::Notice notice) SIM_EXCLUDES(Guard);

  /// Moves as many items as fit; false when not even the first one does.
  [[nodiscard]] bool MoveTo(qor_sim::ResponseWriter& response) SIM_EXCLUDES(Guard);
  Qor_Sim_Status_t Status() SIM_EXCLUDES(Guard);
  qor_sim::Notices Notices() SIM_EXCLUDES(Guard);

 private:
  qor_sim::Mutex Guard;
  qor_sim::CaptureBuffer Buffer SIM_GUARDED_BY(Guard);
  qor_sim::Notices Told SIM_GUARDED_BY(Guard);
  uint64_t Latest SIM_GUARDED_BY(Guard) = 0;  // ns since 1970, of the items offered
  uint64_t Offered SIM_GUARDED_BY(Guard) = 0;
  uint64_t Delivered SIM_GUARDED_BY(Guard) = 0;
  uint64_t Dropped SIM_GUARDED_BY(Guard) = 0;  // before they came here
  uint64_t FirstDropped SIM_GUARDED_BY(Guard) = 0;
  uint64_t LastDropped SIM_GUARDED_BY(Guard) = 0;
};

}  // namespace qor_linux
