#include "LinuxSources.h"

#include <net/if.h>

#include <utility>

#include "CanFilters.h"
#include "HostInterfaces.h"
#include "PacketPort.h"
#include "SocketCanPort.h"
#include "simulator/Error.h"

namespace qor_linux {
namespace {

using qor_sim::OptionReader;
using qor_sim::SourceText;

constexpr uint64_t kGreatestBuffer = 100'000'000;          // items
constexpr uint64_t kGreatestSocketBuffer = 1'000'000'000;  // bytes

constexpr uint64_t kLeastRing = 1 << 20;     // bytes
constexpr uint64_t kGreatestRing = 1 << 30;  // bytes
constexpr uint64_t kMostShares = 64;

void NeedInterface(const SourceText& source) {
  if (source.Path.empty())
    throw qor_sim::SourceError("A source of the kind " + source.Kind + " needs an interface: " + source.Kind +
                               ":NAME.");
  if (source.Path.size() >= IFNAMSIZ)
    throw qor_sim::SourceError("No interface can be named " + source.Path + ": names have at most 15 characters.");
}

SocketCanSettings TakeSocketCan(const SourceText& source) {
  NeedInterface(source);
  OptionReader options(source);
  SocketCanSettings settings;
  settings.Socket.Interface = source.Path;
  if (const auto filters = options.TakeText("id")) settings.Socket.Filters = ParseCanFilters(*filters);
  settings.Socket.BufferBytes = static_cast<int>(options.TakeUnsigned(
      "socket_buffer", 1, kGreatestSocketBuffer, static_cast<uint64_t>(settings.Socket.BufferBytes)));
  settings.BufferItems = options.TakeUnsigned("buffer", 1, kGreatestBuffer, settings.BufferItems);
  options.Finish();
  return settings;
}

struct PacketOptions {
  PacketPortSettings Port;
  uint64_t Share = 0;  // of a fanout; 0: not one of them
};

PacketOptions TakePacket(const SourceText& source) {
  NeedInterface(source);
  OptionReader options(source);
  PacketOptions taken;
  PacketSettings& socket = taken.Port.Socket;
  socket.Interface = source.Path;
  socket.Promiscuous = options.TakeChoice("promisc", {"on", "off"}, 0) == 0;
  socket.RingBytes = options.TakeUnsigned("ring", kLeastRing, kGreatestRing, socket.RingBytes);
  socket.Shares = static_cast<unsigned int>(options.TakeUnsigned("fanout", 1, kMostShares, 1));
  taken.Share = options.TakeUnsigned("share", 1, socket.Shares, 0);
  taken.Port.Filter = options.TakeText("filter").value_or("");
  options.Finish();
  if (!taken.Port.Filter.empty()) const PacketFilter checked(taken.Port.Filter);
  return taken;
}

}  // namespace

std::shared_ptr<qor_sim::Port> MakePacket(const SourceText& source, unsigned char instance) {
  PacketOptions options = TakePacket(source);
  if (options.Port.Socket.Shares > 1 && options.Share == 0)
    throw qor_sim::SourceError("A fanout has several ports: expand the source.");
  const auto link = FindLink(source.Path);
  if (link && !IsEthernet(*link))
    throw qor_sim::Error(QOR_SIM_ERROR_INTERFACE, "Cannot open " + source.Path + ": it is no Ethernet interface.");
  options.Port.Bus = {EthernetBitRate(source.Path), 0, source.Path, DriverOf(source.Path)};
  return std::make_shared<PacketPort>(std::move(options.Port), instance, PacketSystem::Machine());
}

std::vector<std::string> ExpandPacket(const SourceText& source) {
  const PacketOptions options = TakePacket(source);
  const unsigned int shares = options.Port.Socket.Shares;
  if (shares == 1 || options.Share != 0) return {ToText(source)};
  std::vector<std::string> sources;
  for (unsigned int share = 1; share <= shares; ++share) {
    SourceText one = source;
    one.Options.emplace_back("share", std::to_string(share));
    sources.push_back(ToText(one));
  }
  return sources;
}

std::shared_ptr<qor_sim::Port> MakeSocketCan(const SourceText& source, unsigned char instance) {
  SocketCanSettings settings = TakeSocketCan(source);
  settings.Bus.Name = source.Path;
  settings.Bus.Hardware = DriverOf(source.Path);
  if (const auto link = FindLink(source.Path)) {
    settings.Bus.BitRate = link->BitRate;
    settings.Bus.DataBitRate = link->DataBitRate;
  }
  return std::make_shared<SocketCanPort>(std::move(settings), instance, Kernel::Machine());
}

std::vector<std::string> ExpandSocketCan(const SourceText& source) {
  TakeSocketCan(source);
  return {ToText(source)};
}

std::optional<SourceText> SourceOfInterface(const SourceText& typed) {
  if (!typed.Path.empty()) return std::nullopt;
  const auto link = FindLink(typed.Kind);
  if (!link || (!IsCan(*link) && !IsEthernet(*link))) return std::nullopt;
  return SourceText{IsCan(*link) ? "socketcan" : "packet", typed.Kind, typed.Options};
}

}  // namespace qor_linux
