#include "recording/StandInPorts.h"

#include <fmt/format.h>

#include "system/Failure.h"

namespace client {

namespace {

class StandInPort : public OpenedPort {
 public:
  explicit StandInPort(const Source& source) {
    const unsigned int status = Qor_Sim_OpenPort(source.Text.c_str(), &PortHandle);
    if (status == 0) return;
    const std::string sentence = fmt::format("Source \"{}\": {}", source.Shown, Qor_Sim_ErrorText());
    if (status == QOR_SIM_ERROR_SOURCE) throw UsageError(sentence);
    throw Failure(sentence);
  }
  ~StandInPort() override { Qor_Sim_ClosePort(PortHandle); }

  [[nodiscard]] unsigned int Handle() const override { return PortHandle; }
  [[nodiscard]] Qor_Sim_Status_t Status() const override;
  [[nodiscard]] ChannelDescription Describe() const override;
  [[nodiscard]] UnreadLines Unread() const override;
  [[nodiscard]] std::vector<Qor_Sim_Notice_t> NewNotices() override;

 private:
  unsigned int PortHandle = 0;
  unsigned long NoticesSeen = 0;
};

Qor_Sim_Status_t StandInPort::Status() const {
  Qor_Sim_Status_t status{};
  if (Qor_Sim_GetStatus(PortHandle, &status) != 0) status.Finished = 1;  // nothing will come from there
  return status;
}

ChannelDescription StandInPort::Describe() const {
  ChannelDescription channel;
  Qor_Sim_Interface_t interface {};
  if (Qor_Sim_GetInterface(PortHandle, &interface) != 0) return channel;
  channel.BusType = BusOfInterface(interface.Type);
  channel.Name = interface.Name;
  channel.Hardware = interface.Hardware;
  channel.BitRate = interface.BitRate;
  channel.DataBitRate = interface.DataBitRate;
  return channel;
}

std::vector<Qor_Sim_Notice_t> StandInPort::NewNotices() {
  std::vector<Qor_Sim_Notice_t> notices;
  const unsigned long count = Qor_Sim_NoticeCount(PortHandle);
  for (; NoticesSeen < count; ++NoticesSeen) {
    Qor_Sim_Notice_t notice{};
    if (Qor_Sim_GetNotice(PortHandle, NoticesSeen, &notice) == 0) notices.push_back(notice);
  }
  return notices;
}

UnreadLines StandInPort::Unread() const {
  constexpr unsigned int kTold = 10;
  UnreadLines lines;
  lines.Count = Qor_Sim_SkippedLineCount(PortHandle);
  Qor_Sim_SkippedLine_t line{};
  for (unsigned int index = 0; index < kTold && Qor_Sim_GetSkippedLine(PortHandle, index, &line) == 0; ++index)
    lines.First.push_back({line.Number, line.Reason});
  return lines;
}

}  // namespace

std::vector<Source> StandInPorts::Plan(const std::vector<std::string>& typed, const SourceDefaults& defaults,
                                       const std::filesystem::path& folder) {
  return PlanSources(typed, defaults, folder);
}

std::unique_ptr<OpenedPort> StandInPorts::Open(const Source& source) { return std::make_unique<StandInPort>(source); }

std::vector<ListedPort> StandInPorts::List() {
  std::vector<Qor_Sim_HostInterface_t> interfaces;
  unsigned int count = 0;
  // Another one may come between two calls.
  while (Qor_Sim_ListInterfaces(interfaces.data(), &count) == QOR_SIM_ERROR_CAPACITY) interfaces.resize(count);
  interfaces.resize(count);
  std::vector<ListedPort> ports;
  ports.reserve(interfaces.size());
  for (const Qor_Sim_HostInterface_t& interface : interfaces) {
    ports.push_back({interface.Name, interface.Type, interface.State, interface.BitRate, interface.DataBitRate,
                     interface.Driver, interface.Why, interface.Obstacle == QOR_SIM_OBSTACLE_RIGHTS});
  }
  return ports;
}

}  // namespace client
