#include "PacketPort.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "PacketDoor.h"
#include "qor_api.h"
#include "simulator/Error.h"
#include "simulator/EthernetItem.h"

namespace qor_linux {
namespace {

constexpr size_t kLoggedCommands = 0;       // a port may be polled for days
constexpr unsigned int kPollsPerLook = 20;  // at an interface that is down

std::string WhyNot(const std::string& interface, int error) {
  switch (error) {
    case ENODEV:
      return "there is no interface " + interface;
    case EPERM:
    case EACCES:
      return PacketRightsAdvice();
    default:
      return std::strerror(error);
  }
}

}  // namespace

PacketPort::PacketPort(PacketPortSettings settings, unsigned char instance, PacketSystem& system)
    : Port(QOR_INTERFACE_ETHERNET, instance, kLoggedCommands),
      System(system),
      Settings(std::move(settings)),
      Wanted(Settings.Filter.empty() ? nullptr : std::make_unique<PacketFilter>(Settings.Filter)) {
  Open();  // to know now whether it can be
}

std::unique_ptr<PacketSocket> PacketPort::Open() {
  int error = 0;
  auto opened = System.Open(Settings.Socket, error);
  if (opened) return opened;
  const std::string& interface = Settings.Socket.Interface;
  throw qor_sim::Error(QOR_SIM_ERROR_INTERFACE, "Cannot open " + interface + ": " + WhyNot(interface, error) + ".");
}

void PacketPort::OnStart() {
  if (std::exchange(Started, true)) return;
  try {
    Socket = Open();
  } catch (...) {
    Started = false;
    throw;
  }
  DropsLooked = System.Now();
}

void PacketPort::OnClose() {
  HasBlock = false;
  Socket.reset();
}

void PacketPort::Poll(const qor_sim::ResponseLayout& layout, qor_sim::ResponseBuffer& response) {
  qor_sim::ResponseWriter writer(layout, response.Bytes);
  Watch();
  while (Fetch() && writer.Add(Waiting)) {
    Waiting.clear();
    ++Counts.Delivered;
  }
  if (!Waiting.empty() && writer.ItemCount() == 0)
    throw qor_sim::Error(QOR_SIM_ERROR_CAPACITY, "The next item of " + std::to_string(Waiting.size()) +
                                                     " bytes does not fit into a response of " +
                                                     std::to_string(response.Bytes.size()) + " bytes.");
  CountDrops();
  response.Length = static_cast<unsigned int>(writer.Length());
}

bool PacketPort::Fetch() {
  while (Waiting.empty()) {
    if (!HasBlock && !NextBlock()) return false;
    if (const auto packet = Block.Next()) {
      Make(*packet);
      continue;
    }
    if (Block.Left() > 0) Lose(Block.Left(), DropsLooked, System.Now());
    HasBlock = false;
    Socket->FreeBlock();
  }
  return true;
}

bool PacketPort::NextBlock() {
  const auto bytes = Socket ? Socket->Block() : std::span<const unsigned char>();
  HasBlock = !bytes.empty();
  if (HasBlock) Block = PacketBlock(bytes);
  return HasBlock;
}

void PacketPort::Make(const Packet& packet) {
  if (IsDown && packet.Time > DownSince) Regain();
  RestoreFrame(packet, Frame);
  if (Wanted && !Wanted->Matches(Frame)) return;
  ++Counts.Offered;
  if ((packet.Cut || Frame.size() > qor_sim::kEthernetGreatestFrame) && !std::exchange(SaidCut, true))
    Tell(QOR_SIM_NOTICE_CUT,
         " hands over frames of more than 65511 bytes, which are cut: offloading joins them (ethtool -K " +
             Settings.Socket.Interface + " gro off gso off tso off)");
  qor_sim::EthernetItem item;
  item.Timestamp = packet.Time;
  item.Flags = packet.Transmitted ? qor_sim::kEthernetTransmitted : 0;
  item.Frame = Frame;
  qor_sim::EncodeEthernetItem(item, Waiting);
}

/// Drops since the last look lie between the two.
void PacketPort::CountDrops() {
  if (!Socket) return;
  const uint64_t now = System.Now();
  if (const uint64_t drops = Socket->TakeDrops(); drops > 0) Lose(drops, DropsLooked, now);
  DropsLooked = now;
}

void PacketPort::Lose(uint64_t count, uint64_t from, uint64_t to) {
  if (Counts.Lost == 0) Counts.FirstLostTime = from;
  Counts.LastLostTime = std::max<uint64_t>(Counts.LastLostTime, to);
  Counts.Lost += count;
  Counts.Offered += count;
}

/// Notices when the interface goes and comes.
void PacketPort::Watch() {
  if (!Started) return;
  const int error = Socket ? Socket->TakeError() : 0;
  if (error != 0) {
    // Also of one that is taken to be down: it was up meanwhile, and what it received then doesn't say that it is back.
    DownSince = System.Now();
    if (!std::exchange(IsDown, true)) Tell(QOR_SIM_NOTICE_GONE, " is down; it is recorded as soon as it is up");
  } else if (IsDown && Looks++ % kPollsPerLook == 0 && IsBack()) {
    Regain();
  }
}

void PacketPort::Regain() {
  IsDown = false;
  Looks = 0;
  Tell(QOR_SIM_NOTICE_BACK, " is up");
}

/// An interface that was taken away is another one when it comes back, and is opened again.
bool PacketPort::IsBack() {
  if (!System.IsUp(Settings.Socket.Interface)) return false;
  if (Socket && Socket->IsAttached()) return true;
  // What came before it was taken away is still in the ring.
  if (Socket && (HasBlock || !Socket->Block().empty())) return false;
  int error = 0;
  CountDrops();
  Socket = System.Open(Settings.Socket, error);
  return Socket != nullptr;
}

void PacketPort::Tell(unsigned int kind, const std::string& what) {
  Told.Add({System.Now(), kind, Settings.Socket.Interface + what});
}

qor_sim::Notices PacketPort::Noticed() {
  const qor_sim::Lock lock(Guard);
  return Told;
}

Qor_Sim_Status_t PacketPort::TrafficStatus() {
  CountDrops();
  Counts.Buffered = Waiting.empty() ? 0 : 1;
  return Counts;
}

}  // namespace qor_linux
