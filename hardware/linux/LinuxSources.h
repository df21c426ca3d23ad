// From a source text to a port of this machine's own interfaces.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/Port.h"
#include "simulator/SourceText.h"

namespace qor_linux {

/// socketcan:NAME. Failure: qor_sim::Error QOR_SIM_ERROR_SOURCE, or _INTERFACE for what is wrong with the interface.
std::shared_ptr<qor_sim::Port> MakeSocketCan(const qor_sim::SourceText& source, unsigned char instance);
/// The source itself. Failure: qor_sim::Error QOR_SIM_ERROR_SOURCE.
std::vector<std::string> ExpandSocketCan(const qor_sim::SourceText& source);

/// packet:NAME. Failure: as MakeSocketCan.
std::shared_ptr<qor_sim::Port> MakePacket(const qor_sim::SourceText& source, unsigned char instance);
/// The source itself, or one for each share of its fanout. Failure: qor_sim::Error QOR_SIM_ERROR_SOURCE.
std::vector<std::string> ExpandPacket(const qor_sim::SourceText& source);

/// What the name of an interface stands for, its options kept: "can0?id=100" is "socketcan:can0?id=100". Nothing when there
/// is no such interface, or none that can be recorded.
std::optional<qor_sim::SourceText> SourceOfInterface(const qor_sim::SourceText& typed);

}  // namespace qor_linux
