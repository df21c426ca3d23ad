#include "stream/CycleTimes.h"

namespace client {

namespace {

/// Frames go by their slot, errors by the two bytes in which frames have channel and flags.
unsigned int MessageOf(const FlexRayView& item) {
  if (item.IsFrame()) return item.SlotId;
  return item.IsError() ? item.Channel | static_cast<unsigned int>(item.FrameFlags) << 8 : 0;
}

std::optional<unsigned int> MessageOf(const RecordView& record) {
  switch (record.Bus()) {
    case BusType_Can:
      return record.Can().Identifier;
    case BusType_Lin:
      return record.Lin().Identifier;
    case BusType_FlexRay:
      return MessageOf(record.FlexRay());
    default:
      return std::nullopt;
  }
}

}  // namespace

unsigned long CycleTimes::Next(const RecordView& record) {
  const auto message = MessageOf(record);
  if (!message) return 0;
  const auto [place, isFirst] = Latest.try_emplace({record.ChannelId(), record.Bus(), *message}, record.Timestamp());
  const unsigned long since = isFirst ? 0 : record.Timestamp() - place->second;
  place->second = record.Timestamp();
  return since;
}

}  // namespace client
