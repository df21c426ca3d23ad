// What the comment of an MDF 4 file's header says of the recording.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "stream/Description.h"

namespace client {

/// A property of a comment; those of trees have their names in front: "channels/CAN1/source".
using MdfProperty = std::pair<std::string, std::string>;

/// The properties of a comment in XML, in its order. Never fails: what isn't XML has none.
[[nodiscard]] std::vector<MdfProperty> MdfProperties(std::string_view xml);

/// A bus by the name that a file has for it.
struct MdfBusName {
  std::optional<unsigned char> Bus = std::nullopt;  // Qor_Trace_BusType, as far as the name says so
  unsigned int Number = 0;
};
/// "CAN1", "LIN2", "FLEX3", "ETH4", "channel 5"; nothing for a name without a number.
[[nodiscard]] std::optional<MdfBusName> ParseMdfBusName(std::string_view name);

/// Adds what this program's files say. Channels are those that the description knows already.
/// @param channelOf  the number that a bus of the file has in records; 0 for none
void TakeMdfProperties(Description& description, const std::vector<MdfProperty>& properties,
                       const std::function<unsigned int(const MdfBusName&)>& channelOf);

}  // namespace client
