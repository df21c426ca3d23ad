#include "Pcap.h"

#include <pcap/pcap.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "EthernetItem.h"
#include "Numbers.h"

namespace qor_sim {
namespace {

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
  void operator()(pcap_t* capture) const { pcap_close(capture); }
};
using File = std::unique_ptr<std::FILE, Closer>;
using Capture = std::unique_ptr<pcap_t, Closer>;

bool IsEmpty(std::FILE* file) { return std::ungetc(std::fgetc(file), file) == EOF; }

/// A capture owns the file that it reads.
Capture OpenCapture(File file, const std::string& name) {
  if (IsEmpty(file.get())) throw Unreadable(name, "it is empty");
  char reason[PCAP_ERRBUF_SIZE] = "";
  Capture capture(pcap_fopen_offline_with_tstamp_precision(file.get(), PCAP_TSTAMP_PRECISION_NANO, reason));
  if (!capture) throw Unreadable(name, reason);
  static_cast<void>(file.release());
  return capture;
}

void CheckLinkType(pcap_t* capture, const std::string& name) {
  const int type = pcap_datalink(capture);
  if (type == DLT_EN10MB) return;
  const char* text = pcap_datalink_val_to_description(type);
  throw FileError("Cannot replay " + name + ": its link type is " + (text != nullptr ? text : std::to_string(type)) +
                  ", not Ethernet.");
}

/// ns; the capture was opened for them.
uint64_t TimeOf(const pcap_pkthdr& packet) {
  const auto seconds = static_cast<int64_t>(packet.ts.tv_sec);
  const auto ns = static_cast<int64_t>(packet.ts.tv_usec);
  if (seconds < 0 || ns < 0) throw SourceError("its time lies before 1970");
  constexpr uint64_t kGreatest = std::numeric_limits<uint64_t>::max();
  if (static_cast<uint64_t>(seconds) > (kGreatest - static_cast<uint64_t>(ns)) / kNsPerSecond) {
    throw SourceError("its time is too late to be kept in ns");
  }
  return static_cast<uint64_t>(seconds) * kNsPerSecond + static_cast<uint64_t>(ns);
}

/// Bytes of the frame check sequence after every frame, as the file states them.
size_t CheckSequenceLength(pcap_t* capture) {
  const auto extension = static_cast<unsigned int>(pcap_datalink_ext(capture));
  return LT_FCS_LENGTH_PRESENT(extension) ? 2 * LT_FCS_LENGTH(extension) : 0;
}

/// What was captured of a frame, without its check sequence.
std::span<const unsigned char> FrameOf(const pcap_pkthdr& packet, const unsigned char* bytes, size_t checkSequence) {
  const size_t frame = packet.len - std::min<size_t>(packet.len, checkSequence);
  const std::span<const unsigned char> captured(bytes, std::min<size_t>(packet.caplen, frame));
  if (captured.size() > kEthernetGreatestFrame) {
    throw SourceError("the frame has " + std::to_string(captured.size()) + " bytes, more than the " +
                      std::to_string(kEthernetGreatestFrame) + " that an item holds");
  }
  return captured;
}

/// Hands every packet to `visit`.
template <class Visit>
void ReadPackets(pcap_t* capture, const std::string& name, Visit visit) {
  pcap_pkthdr* packet = nullptr;
  const unsigned char* bytes = nullptr;
  for (size_t number = 1;; ++number) {
    const int result = pcap_next_ex(capture, &packet, &bytes);
    if (result == PCAP_ERROR_BREAK) return;  // the end
    try {
      if (result != 1) throw SourceError(pcap_geterr(capture));
      visit(*packet, bytes);
    } catch (const Error& error) {
      throw Unreadable(name + ", packet " + std::to_string(number), error.what());
    }
  }
}

std::unique_ptr<ItemSource> Replay(File file, const std::string& name, const PcapSettings& settings) {
  const Capture capture = OpenCapture(std::move(file), name);
  CheckLinkType(capture.get(), name);
  const size_t checkSequence = CheckSequenceLength(capture.get());
  Recording recording(kEthernetTimeOffset);
  std::vector<unsigned char> item;
  ReadPackets(capture.get(), name, [&](const pcap_pkthdr& packet, const unsigned char* bytes) {
    const uint64_t time = TimeOf(packet);
    const unsigned char flags = settings.Way == Direction::Transmitted ? kEthernetTransmitted : 0;
    EncodeEthernetItem({time, kEthernetFrame, flags, FrameOf(packet, bytes, checkSequence)}, item);
    recording.Add("", time, item);
  });
  if (recording.Parts().empty()) throw NoFrames(name);
  return std::move(recording).Replay("", settings.Origin);
}

}  // namespace

std::unique_ptr<ItemSource> MakePcapSource(const std::string& path, const PcapSettings& settings) {
  CheckRecording(path);
  File file(std::fopen(path.c_str(), "rbe"));
  if (!file) throw Unreadable(path, std::strerror(errno));
  return Replay(std::move(file), path, settings);
}

std::unique_ptr<ItemSource> ParsePcap(std::span<const unsigned char> bytes, const std::string& file,
                                      const PcapSettings& settings) {
  // Opened for reading alone: nothing is written to the bytes.
  File memory(::fmemopen(const_cast<unsigned char*>(bytes.data()), bytes.size(), "rb"));
  if (!memory) throw Unreadable(file, std::strerror(errno));
  return Replay(std::move(memory), file, settings);
}

}  // namespace qor_sim
