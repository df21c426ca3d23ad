// Ethernet recordings in pcap and pcapng files.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "ItemSource.h"
#include "Recording.h"

namespace qor_sim {

struct PcapSettings {
  TimeOrigin Origin = TimeOrigin::File;
  Direction Way = Direction::Received;  // of all frames: libpcap doesn't report their own
};

/// The frames of a file, in order of their times; those of the same time in the order of the file. Of a frame that was cut
/// when it was captured comes what the file holds. The file is read whole, here.
/// Failure: Error QOR_SIM_ERROR_FILE that names the file and, for an unreadable packet, its number; a link type other
/// than Ethernet, a frame longer than kEthernetGreatestFrame, a file without frames.
std::unique_ptr<ItemSource> MakePcapSource(const std::string& path, const PcapSettings& settings);

/// The same for a file in memory; `file` is what errors call it.
std::unique_ptr<ItemSource> ParsePcap(std::span<const unsigned char> bytes, const std::string& file,
                                      const PcapSettings& settings);

}  // namespace qor_sim
