// Ethernet recordings in pcap and pcapng files: refused with a reason, or replayed in the order of their times, every time the
// same.
#include "Pcap.h"
#include "Replay.h"

// The first byte chooses the settings.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  qor_sim::PcapSettings settings;
  if ((data[0] & 1) != 0) settings.Origin = qor_sim::TimeOrigin::Absolute;
  if ((data[0] & 2) != 0) settings.Way = qor_sim::Direction::Transmitted;
  const auto replayed = [&] {
    const auto source = qor_sim::ParsePcap({data + 1, size - 1}, "in.pcap", settings);
    return fuzz::RequireReplay(*source, 4, fuzz::SizeInFront);
  };
  try {
    const std::uint64_t sum = replayed();
    fuzz::Require(replayed() == sum, "the same file is replayed the same");
  } catch (const qor_sim::Error& error) {
    fuzz::RequireRefusal(error);
  }
  return 0;
}
