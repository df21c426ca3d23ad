#include "LinuxSources.h"

#include <net/if.h>

#include <utility>

#include "CanFilters.h"
#include "HostInterfaces.h"
#include "SocketCanPort.h"
#include "simulator/Error.h"

namespace qor_linux {
namespace {

using qor_sim::OptionReader;
using qor_sim::SourceText;

constexpr uint64_t kGreatestBuffer = 100'000'000;          // items
constexpr uint64_t kGreatestSocketBuffer = 1'000'000'000;  // bytes

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

}  // namespace

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
  if (!link || !IsCan(*link)) return std::nullopt;
  return SourceText{"socketcan", typed.Kind, typed.Options};
}

}  // namespace qor_linux
