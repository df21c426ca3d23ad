#include "views/Contents.h"

#include <algorithm>
#include <cstring>

#include "stream/RecordFields.h"

namespace client {

namespace {

unsigned long ValueOf(const RecordFields& fields, RecordField field) {
  const FieldValues values = fields.Read({.Field = field});
  return values.empty() ? 0 : *values.begin();
}

/// What names the message of a frame on its channel.
unsigned long MessageOf(const RecordView& record) {
  const RecordFields fields(record);
  switch (record.Bus()) {
    case BusType_Can:
      return ValueOf(fields, RecordField::Identifier) | ValueOf(fields, RecordField::Extended) << 32;
    case BusType_Lin:
      return ValueOf(fields, RecordField::Identifier);
    case BusType_FlexRay:
      return ValueOf(fields, RecordField::Slot);
    default:  // addresses of 48 bits: mixed, so that pairs hardly ever agree
      return ValueOf(fields, RecordField::Source) * 0x9E3779B97F4A7C15 ^ ValueOf(fields, RecordField::Destination);
  }
}

}  // namespace

bool Contents::Take(const RecordView& record) {
  ++Count;
  Earliest = std::min(Earliest, record.Timestamp());
  Latest = std::max(Latest, record.Timestamp());
  if (Newest == Known.end() || Newest->first != record.ChannelId())
    Newest = Known.try_emplace(record.ChannelId(), Channel{.Bus = record.Bus()}).first;
  Channel& channel = Newest->second;
  const RecordKind kind = record.Kind();
  ++channel.Entries;
  ++channel.Kinds[static_cast<size_t>(kind)];
  if (IsFrame(kind)) channel.Messages.insert(MessageOf(record));
  return true;
}

}  // namespace client
