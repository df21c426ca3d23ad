#include "recording/TraceHandles.h"

#include <cstring>

#include "recording/Connections.h"
#include "recording/Reports.h"

namespace client {

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
  if (status == QOR_SIM_ERROR_GONE || Connections::IsAnswerOfGone(status)) return;
  Reports::Check(status, "Cannot stop the recording cleanly", mark);
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
