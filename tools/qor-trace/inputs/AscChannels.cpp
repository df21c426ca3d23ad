#include "inputs/AscChannels.h"

#include <fmt/format.h>

#include <algorithm>

#include "qor_api_trace.h"

namespace client {

namespace {

const char* NameOf(unsigned char bus) {
  constexpr const char* kNames[] = {"CAN", "LIN", "FlexRay", "Ethernet"};
  return kNames[bus];
}

}  // namespace

std::pair<AscChannels::Key, unsigned int> AscChannels::Find(Key key) {
  const auto known = Known.find(key);
  if (known != Known.end()) return *known;
  const unsigned int number = FreeNumber(key);
  Known.emplace(key, number);
  Taken.insert(number);
  if (key.first == BusType_Can && !FirstCan) FirstCan = number;
  return {key, number};
}

/// The file's own; else one that shows what it was: 101 for LIN 1, 201 for FlexRay 1, 301 for Ethernet 1, 401 for CAN 1.
unsigned int AscChannels::FreeNumber(Key key) const {
  const auto& [bus, inFile] = key;
  if (inFile > 0 && !Taken.contains(inFile)) return inFile;
  unsigned int number = inFile + 100u * (bus == BusType_Can ? 4u : bus);
  while (Taken.contains(number)) number += 1000;
  return number;
}

std::vector<ChannelDescription> AscChannels::Describe() const {
  std::vector<ChannelDescription> described;
  for (const auto& [key, number] : Known) {
    ChannelDescription& one = described.emplace_back();
    one.Number = number;
    one.BusType = key.first;
    if (number != key.second) one.Name = fmt::format("{} {}", NameOf(key.first), key.second);
  }
  std::sort(described.begin(), described.end(),
            [](const auto& left, const auto& right) { return left.Number < right.Number; });
  return described;
}

}  // namespace client
