#include "views/MessageTimes.h"

#include <algorithm>
#include <functional>

namespace client {

size_t MessageTimes::Hash::operator()(const Key& key) const {
  const size_t rest = size_t{key.Bus} << 8 | static_cast<size_t>(key.Kind) | size_t{key.Channel} << 16;
  return std::hash<std::string>()(key.Name) ^ rest * 0x9E3779B97F4A7C15;
}

bool MessageTimes::Take(const RecordView& record) {
  const BusRows* bus = RowsOf(record.Bus());
  const RecordKind kind = record.Kind();
  if (bus == nullptr || kind == RecordKind::Unknown) return true;
  Key key{record.Bus(), record.ChannelId(), bus->KeyOf(record), kind};
  auto place = Messages.find(key);
  if (place == Messages.end()) {
    if (Messages.size() == kMost) {
      ++Further;
      return true;
    }
    place = Messages.try_emplace(std::move(key)).first;
    place->second.Row.Newest.assign(record.Bytes().begin(), record.Bytes().end());
  }
  Message& message = place->second;
  ++message.Row.Count;
  message.Row.Timestamp = record.Timestamp();
  if (record.Bus() == BusType_FlexRay && IsFrame(kind)) message.Row.BusCycles |= 1ul << (record.FlexRay().Cycle & 63);
  message.Cycles.Add(record.Timestamp());
  (record.IsTransmitted() ? message.Transmitted : message.Received) = true;
  return true;
}

std::vector<const MessageTimes::Item*> MessageTimes::All() const {
  std::vector<const Item*> items;
  items.reserve(Messages.size());
  for (const Item& item : Messages) items.push_back(&item);
  std::sort(items.begin(), items.end(), [](const Item* one, const Item* other) { return one->first < other->first; });
  return items;
}

}  // namespace client
