#include "Bus.h"

#include <zlib.h>

#include <cstring>
#include <sstream>
#include <utility>

#include "../simulator/Channel.h"
#include "Check.h"
#include "support/MonitorItems.h"

namespace soak {
namespace {

using namespace std::chrono_literals;

// The trace is in order as long as no interface is read 50 ms after the others; the soak looks every 10 ms.
constexpr auto kLongWait = 30ms;

Qor_Trace_BusType BusOf(unsigned int port) {
  const unsigned int type = Qor_GetInterfaceType(port);
  for (const auto bus : {BusType_Can, BusType_Lin, BusType_FlexRay}) {
    if (test::InterfaceType(bus) == type) return bus;
  }
  return BusType_Ethernet;
}

/// Calls `visit` with each item of a poll response.
template <class Visit>
void EachItem(Qor_Trace_BusType bus, const Bytes& response, Visit visit) {
  const bool aligned = bus == BusType_Can || bus == BusType_FlexRay;
  for (size_t place = bus == BusType_Can ? 4 : 8; place < response.size();) {
    const size_t size = bus == BusType_Can ? 16u + response[place + 15] : test::ReadAt<unsigned short>(response, place);
    const auto begin = response.begin() + static_cast<std::ptrdiff_t>(place);
    visit(Bytes(begin, begin + static_cast<std::ptrdiff_t>(size)));
    place += aligned ? (size + 3) & ~size_t{3} : size;
  }
}

}  // namespace

std::vector<std::string> Expand(const std::string& source) {
  char text[1000];
  unsigned int length = sizeof text;
  ExpectOk(Qor_Sim_ExpandSource(source.c_str(), text, &length), "Qor_Sim_ExpandSource");
  std::istringstream lines(text);
  std::vector<std::string> sources;
  for (std::string line; std::getline(lines, line);) sources.push_back(line);
  return sources;
}

Bus::Bus(std::string source) : Source(std::move(source)) {
  ExpectOk(Qor_Sim_OpenPort(Source.c_str(), &PortHandle), "Qor_Sim_OpenPort");
}

Bus::~Bus() {
  if (PortHandle != 0) Qor_Sim_ClosePort(PortHandle);
}

Bus::Bus(Bus&& other) noexcept : Source(std::move(other.Source)), PortHandle(std::exchange(other.PortHandle, 0)) {}

Qor_Sim_Status_t Bus::Status() const {
  Qor_Sim_Status_t status{};
  ExpectOk(Qor_Sim_GetStatus(PortHandle, &status), "Qor_Sim_GetStatus");
  return status;
}

void Bus::BeginCycle(Time now) {
  SentBefore = Polled = Status().Delivered;
  LastLook = NothingWaits = now;
}

unsigned long Bus::Sent() const {
  const auto status = Status();
  Expect(status.Lost == 0, std::to_string(status.Lost) + " items of " + Source + " were lost before they were polled");
  return status.Delivered - SentBefore;
}

bool Bus::Stalls(Time now) {
  const auto status = Status();
  const bool unwatched = now - std::exchange(LastLook, now) > kLongWait;  // nobody saw how long items waited meanwhile
  if (status.Buffered == 0 || status.Delivered != Polled) {
    Polled = status.Delivered;
    NothingWaits = now;
  }
  if (!unwatched && now - NothingWaits <= kLongWait) return false;
  NothingWaits = now;
  return true;
}

void Bus::Take(const RecordView& record) {
  Expect(record.Timestamp() >= LastTime, "an entry of " + Source + " lies before the one before it");
  LastTime = record.Timestamp();
  Checksum = crc32_z(Checksum, record.Bytes().data(), record.Length());
  ++Taken;
}

void Bus::CompareWithSource(unsigned int channel) const {
  const OpenedPort port(Source + "&speed=max");
  Channel line(port.Handle);
  ExpectOk(line.Configure(), "the configuration of a port");
  ExpectOk(line.Start(), "the start of a port");
  const auto bus = BusOf(port.Handle);
  unsigned long played = 0, checksum = 0;
  while (played < Taken) {
    ExpectOk(line.Poll(), "a poll");
    EachItem(bus, line.Returned(), [&](const Bytes& item) {
      if (played == Taken) return;
      const Bytes record = test::RecordOf(bus, channel, item);
      checksum = crc32_z(checksum, record.data(), record.size());
      ++played;
    });
  }
  Expect(checksum == Checksum, "the entries of " + Source + " are not what the bus has sent");
}

}  // namespace soak
