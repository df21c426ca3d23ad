#include "stream/KindText.h"

#include <iterator>

#include "qor_api_trace.h"

namespace client {

namespace {

// In the order of RecordKind.
constexpr KindText kTexts[] = {
    {"CAN", "classic frame", "classic frames", "classic_frames"},
    {"FD", "FD frame", "FD frames", "fd_frames"},
    {"error", "error frame", "error frames", "error_frames"},
    {"event", "event", "events", "events"},
    {"frame", "frame", "frames", "frames"},
    {"no response", "header without response", "headers without response", "no_responses"},
    {"wake-up", "wake-up", "wake-ups", "wake_ups"},
    {"checksum error", "checksum error", "checksum errors", "checksum_errors"},
    {"parity error", "parity error", "parity errors", "parity_errors"},
    {"sync error", "sync error", "sync errors", "sync_errors"},
    {"transmit error", "transmit error", "transmit errors", "transmit_errors"},
    {"event", "event", "events", "events"},
    {"frame", "frame with data", "frames with data", "data_frames"},
    {"null", "null frame", "null frames", "null_frames"},
    {"cycle", "start of cycle", "starts of cycles", "cycle_starts"},
    {"state", "state", "states", "states"},
    {"symbol", "symbol", "symbols", "symbols"},
    {"error", "error", "errors", "errors"},
    {"status", "status", "statuses", "statuses"},
    {"frame", "good frame", "good frames", "good_frames"},
    {"CRC error", "frame with a CRC error", "frames with CRC errors", "crc_errors"},
    {"record", "other record", "other records", "other_records"},
    {"overrun", "entry without a kind", "entries without a kind", "overrun_entries"},
    {"malformed", "malformed entry", "malformed entries", "malformed"},
};
static_assert(std::size(kTexts) == kRecordKindCount);

}  // namespace

const KindText& TextOf(RecordKind kind) { return kTexts[static_cast<size_t>(kind)]; }

const char* BusName(unsigned char busType) {
  switch (busType) {
    case BusType_Can:
      return "CAN";
    case BusType_Lin:
      return "LIN";
    case BusType_FlexRay:
      return "FlexRay";
    case BusType_Ethernet:
      return "Ethernet";
    default:
      return "?";
  }
}

}  // namespace client
