#include "Entry.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace client {

namespace {

template <class Value>
Value At(const unsigned char* record, std::size_t offset) {
  Value value;
  std::memcpy(&value, record + offset, sizeof value);
  return value;
}

constexpr unsigned int CanFixedSize = 44;

}  // namespace

EntryHeader ReadHeader(const unsigned char* record) {
  return {At<unsigned int>(record, offsetof(Qor_Trace_Entry_t, Length)),
          At<unsigned int>(record, offsetof(Qor_Trace_Entry_t, ChannelId)),
          At<unsigned long>(record, offsetof(Qor_Trace_Entry_t, Timestamp)),
          At<unsigned long>(record, offsetof(Qor_Trace_Entry_t, RelativeTimestamp)),
          At<unsigned char>(record, offsetof(Qor_Trace_Entry_t, BusType))};
}

std::optional<CanEntry> ReadCan(const unsigned char* record, unsigned int length) {
  if (length < CanFixedSize || ReadHeader(record).BusType != BusType_Can) return std::nullopt;
  const unsigned char* can = record + EntryHeaderSize;
  CanEntry entry{At<unsigned int>(can, offsetof(Qor_Trace_Entry_Can_t, Identifier)),
                 At<unsigned char>(can, offsetof(Qor_Trace_Entry_Can_t, Flags)),
                 At<unsigned char>(can, offsetof(Qor_Trace_Entry_Can_t, Dlc)),
                 At<unsigned char>(can, offsetof(Qor_Trace_Entry_Can_t, DataLength)), record + CanFixedSize};
  entry.DataLength = static_cast<unsigned char>(std::min<unsigned int>(entry.DataLength, length - CanFixedSize));
  return entry;
}

}  // namespace client
