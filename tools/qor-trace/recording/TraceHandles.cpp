#include "recording/TraceHandles.h"

#include <fmt/format.h>

#include <cstring>
#include <utility>

#include "recording/Reports.h"
#include "system/Failure.h"
#include "system/Terminal.h"

namespace client {

namespace {

/// By the types of interfaces as the hardware library numbers them.
std::optional<unsigned char> BusOfInterface(unsigned int type) {
  switch (type) {
    case 4:
      return BusType_Can;
    case 5:
      return BusType_Lin;
    case 9:
      return BusType_FlexRay;
    case 14:
      return BusType_Ethernet;
    default:
      return std::nullopt;
  }
}

}  // namespace

Port::Port(const Source& source) {
  const unsigned int status = Qor_Sim_OpenPort(source.Text.c_str(), &PortHandle);
  if (status == 0) return;
  const std::string sentence = fmt::format("Source \"{}\": {}", source.Shown, Qor_Sim_ErrorText());
  if (status == QOR_SIM_ERROR_SOURCE) throw UsageError(sentence);
  throw Failure(sentence);
}

Port::~Port() {
  if (PortHandle != 0) Qor_Sim_ClosePort(PortHandle);
}

Port::Port(Port&& other) noexcept : PortHandle(std::exchange(other.PortHandle, 0)), NoticesSeen(other.NoticesSeen) {}

Qor_Sim_Status_t Port::Status() const {
  Qor_Sim_Status_t status{};
  if (Qor_Sim_GetStatus(PortHandle, &status) != 0) status.Finished = 1;  // nothing will come from there
  return status;
}

ChannelDescription Port::Describe() const {
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

std::vector<Qor_Sim_Notice_t> Port::NewNotices() {
  std::vector<Qor_Sim_Notice_t> notices;
  const unsigned long count = Qor_Sim_NoticeCount(PortHandle);
  for (; NoticesSeen < count; ++NoticesSeen) {
    Qor_Sim_Notice_t notice{};
    if (Qor_Sim_GetNotice(PortHandle, NoticesSeen, &notice) == 0) notices.push_back(notice);
  }
  return notices;
}

UnreadLines Port::Unread() const {
  constexpr unsigned int kTold = 10;
  UnreadLines lines;
  lines.Count = Qor_Sim_SkippedLineCount(PortHandle);
  Qor_Sim_SkippedLine_t line{};
  for (unsigned int index = 0; index < kTold && Qor_Sim_GetSkippedLine(PortHandle, index, &line) == 0; ++index)
    lines.First.push_back({line.Number, line.Reason});
  return lines;
}

Monitor::Monitor() {
  const size_t mark = Reports::Mark();
  Reports::Check(Qor_Trace_Allocate(0, &MonitorHandle), "Cannot make a monitor", mark);
}

Monitor::~Monitor() { Qor_Trace_Delete(MonitorHandle); }

unsigned int Monitor::AddChannel(const Port& port, unsigned int number) {
  const Qor_Trace_AddChannel_Request_t request{0, port.Handle(), number};
  Qor_Trace_AddChannel_Response_t response{};
  const size_t mark = Reports::Mark();
  Reports::Check(Qor_Trace_AddChannel(MonitorHandle, &request, &response), "Cannot add a channel", mark);
  return response.ChannelId;
}

void Monitor::RemoveChannel(unsigned int number) {
  const size_t mark = Reports::Mark();
  Reports::Check(Qor_Trace_RemoveChannel(MonitorHandle, number), "Cannot remove a channel", mark);
}

void Monitor::SetNumber(unsigned short id, unsigned int value, const char* what) {
  unsigned char bytes[sizeof value];
  std::memcpy(bytes, &value, sizeof value);
  const size_t mark = Reports::Mark();
  Reports::Check(Qor_Trace_Property_SetById(MonitorHandle, 0, id, sizeof bytes, bytes), what, mark);
}

void Monitor::SetMemoryLimit(unsigned int entries) {
  SetNumber(QOR_TRACE_PROPERTY_MAX_ENTRIES, entries, "Cannot set the memory limit");
}

void Monitor::Start(unsigned int mode) {
  const size_t mark = Reports::Mark();
  Reports::Check(Qor_Trace_Start(MonitorHandle, mode), "Cannot start the recording", mark);
}

void Monitor::Stop() {
  const size_t mark = Reports::Mark();
  const unsigned int status = Qor_Trace_Stop(MonitorHandle);
  if (status != QOR_SIM_ERROR_GONE) Reports::Check(status, "Cannot stop the recording cleanly", mark);
}

void Monitor::Empty() {
  const size_t mark = Reports::Mark();
  Reports::Check(Qor_Trace_Property_SetById(MonitorHandle, 0, QOR_TRACE_PROPERTY_FLUSH, 0, nullptr),
                 "Cannot empty the trace", mark);
}

void Monitor::ExportToPcap(const std::string& path) {
  Qor_Trace_Export_Request_t request{};
  path.copy(request.FileName, sizeof request.FileName - 1);
  const size_t mark = Reports::Mark();
  Reports::Check(Qor_Trace_ExportToPCAP(MonitorHandle, &request), "The PCAPNG export failed", mark);
}

void Monitor::ReadList(RecordSink& sink) {
  std::vector<unsigned char> buffer(1u << 20);
  for (unsigned int start = 0;;) {
    unsigned int count = 0, size = static_cast<unsigned int>(buffer.size());
    const size_t mark = Reports::Mark();
    const unsigned int status = Qor_Trace_GetListItems(MonitorHandle, 0, start, &count, &size, buffer.data());
    if (status != QOR_TRACE_STATUS_BUFFER_TOO_SMALL || count == 0)
      Reports::Check(status, "Cannot read the list of messages", mark);
    for (unsigned int row = 0, offset = 0; row < count; ++row) {
      const unsigned int length = RecordView::LengthAt(buffer.data() + offset);
      if (!sink.Take(RecordView(buffer.data() + offset, length))) return;
      offset += (length + 7u) & ~7u;
    }
    if (status == QOR_TRACE_STATUS_OK) return;
    start += count;
  }
}

}  // namespace client
