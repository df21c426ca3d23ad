#include "channel/Qor_Trace_Channel.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <new>

#include "internal/Qor_Trace_Exception.h"
#include "internal/Threads.h"
#include "qor_api.h"

namespace {

constexpr unsigned int kOpenMode = 5;  // a trace channel's own connection
constexpr unsigned int kClosedHandle = 255;
constexpr unsigned int kCommandResponseCapacity = 1012;
constexpr auto kPollInterval = std::chrono::milliseconds(10);

}  // namespace

Qor_Trace_Channel::Qor_Trace_Channel(unsigned int userPortHandle, unsigned int channelId, Qor_Trace_BusType type)
    : UserPortHandle(userPortHandle), ChannelId(channelId), Type(static_cast<unsigned char>(type)) {
  Qor_InterfaceInfo_t info{};
  if (const auto code = Qor_GetInterfaceInfo(UserPortHandle, &info))
    throw Qor_Trace_Exception(UserPortHandle, code, "");
  if (const auto code = Qor_OpenInterface2(kOpenMode, &info, &InterfaceHandle)) {
    throw Qor_Trace_Exception(UserPortHandle, code, "");
  }
  InstanceId = Qor_Monitor_InstanceId_Get(UserPortHandle);
}

Qor_Trace_Channel::~Qor_Trace_Channel() {
  Qor_CloseInterface(InterfaceHandle);
  InterfaceHandle = kClosedHandle;
}

unsigned int Qor_Trace_Channel::Send(const MonitorCommand& command) const {
  std::array<unsigned char, kCommandResponseCapacity> response;
  unsigned int length = response.size();
  return Qor_CommandWithResponseEx(InterfaceHandle, 0, command.Code, command.Mode, command.Request.data(),
                                   static_cast<unsigned int>(command.Request.size()), response.data(), &length);
}

void Qor_Trace_Channel::SendOrThrow(const MonitorCommand& command) const {
  if (const auto code = Send(command)) throw Qor_Trace_Exception(UserPortHandle, code, "");
}

void Qor_Trace_Channel::StartMonitor(const MonitorCommand& start) {
  MutexLock lock(Mutex);
  SendOrThrow(start);
  Running = true;
  StopRequested = false;
  ReceiveThread = StartThread([this] { ReceiveThreadFunction(); });
}

void Qor_Trace_Channel::StopMonitor(const MonitorCommand& stop) {
  MutexLock lock(Mutex);
  if (!Running) return;
  EndReceiveThread();
  SendOrThrow(stop);
  Running = false;
}

void Qor_Trace_Channel::EndReceiveThread() {
  StopRequested = true;
  if (ReceiveThread.joinable()) ReceiveThread.join();
}

void Qor_Trace_Channel::Receive(const MonitorCommand& poll, ItemWalk walk) {
  // The longest item is as long as a whole response and may begin at its last byte. The second half stays 0 forever.
  std::unique_ptr<unsigned char[]> buffer(new (std::nothrow) unsigned char[2 * (PollResponse::End + 1)]());
  if (!buffer) {
    throw Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_OUT_OF_MEMORY,
                              "could not allocate buffer for receive thread");
  }
  EntryBatch batch;
  LatestByKey latest;
  while (!StopRequested) {
    std::fill_n(buffer.get(), PollResponse::FirstCountedItem,
                static_cast<unsigned char>(0));  // no count of an earlier poll
    unsigned int length = PollResponse::End;
    if (Qor_CommandWithResponseEx(InterfaceHandle, 0, poll.Code, poll.Mode, poll.Request.data(),
                                  static_cast<unsigned int>(poll.Request.size()), buffer.get(), &length) != 0) {
      return;
    }
    if (Collect({buffer.get(), std::min(length, PollResponse::End)}, walk, batch, latest)) {
      Deliver(batch, latest);
      if (StopRequested) return;
    }
    SleepFor(kPollInterval);
  }
}

/// Walks a response. Returns whether there is something to deliver. When memory runs out, the newest entry gets the
/// overrun mark and the thread is asked to end, after delivering what it has.
bool Qor_Trace_Channel::Collect(const PollResponse& response, ItemWalk walk, EntryBatch& batch, LatestByKey& latest) {
  bool exhausted = false;
  try {
    Sink sink(ChannelId, batch, latest);
    walk(response, sink);
  } catch (const std::bad_alloc&) {
    exhausted = true;
  }
  batch.Sort();
  if (!exhausted) return !batch.empty();
  if (!batch.empty()) batch.MarkOverrun();
  StopRequested = true;
  return true;
}

/// Hands a batch to the monitor and empties it. What the monitor can't take ends the thread, like a failed poll:
/// the process lives, and what was stored stays readable.
void Qor_Trace_Channel::Deliver(EntryBatch& batch, LatestByKey& latest) {
  try {
    ReceiveCallback(batch, latest);
  } catch (const Qor_Trace_Exception&) {  // reported when it was built
    StopRequested = true;
  } catch (const std::bad_alloc&) {
    static_cast<void>(Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_OUT_OF_MEMORY,
                                          "could not store received entries"));
    StopRequested = true;
  }
  batch.clear();
  latest.clear();
}
