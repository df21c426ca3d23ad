#include "CanReceiver.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "simulator/qor_sim.h"

namespace qor_linux {
namespace {

// Frames are fetched in batches: after each there is a pause, in which the kernel keeps what comes.
constexpr int kPause = 2;        // ms
constexpr int kLookAgain = 200;  // ms, for an interface that is down or gone

/// A program on this machine has sent it, ours or another.
bool IsSent(const Message& message) { return (message.Flags & (MSG_CONFIRM | MSG_DONTROUTE)) != 0; }

}  // namespace

CanReceiver::CanReceiver(Kernel& kernel, CanSocketSettings settings, int socket, Inbox& inbox)
    : Calls(kernel), Settings(std::move(settings)), Socket(socket), Target(inbox) {}

CanReceiver::~CanReceiver() {
  StopRequested = true;
  Wake.Call();
  if (Thread.joinable()) Thread.join();
  if (Socket >= 0) Calls.Close(Socket);
}

void CanReceiver::Run() {
  Thread = std::thread([this] {
    while (!StopRequested) {
      try {
        Step();
      } catch (const std::bad_alloc&) {  // for the words of a notice, which nobody reads then
      }
    }
  });
}

void CanReceiver::Step() {
  Calls.Wait(Socket, Wake, IsDown ? kLookAgain : -1);
  if (StopRequested) return;
  if (Socket >= 0) Receive();
  if (IsDown) LookForInterface();
  if (Socket >= 0 && !IsDown) Calls.Wait(-1, Wake, kPause);
}

void CanReceiver::Receive() {
  for (;;) {
    const int count = Calls.Receive(Socket, Batch);
    if (count == -EAGAIN) break;
    if (count < 0) {
      Fail(-count);
      return;
    }
    for (size_t index = 0; index < static_cast<size_t>(count); ++index) TakeOrDrop(Batch[index]);
    if (static_cast<size_t>(count) < Batch.size()) break;
  }
  NoteDropped(Calls.Dropped(Socket), Calls.Now());  // those after which nothing has come yet
}

/// A frame that there is no memory for is lost, and counted.
void CanReceiver::TakeOrDrop(const Message& message) {
  try {
    Take(message);
  } catch (const std::bad_alloc&) {
    Target.NoteDropped(1, Calls.Now());
  }
}

void CanReceiver::Take(const Message& message) {
  const Ancillary told = ParseAncillary(std::span(message.Control).first(message.ControlLength));
  const uint64_t time = TimeOf(told);
  NoteDropped(told.Dropped, time);
  const bool whole = (message.Flags & MSG_TRUNC) == 0;
  const auto frame = DecodeCanFrame(std::span(message.Bytes).first(whole ? message.Length : 0), time, IsSent(message));
  if (!frame) {
    Target.NoteDropped(1, time);
    return;
  }
  Heed(*frame);
  Current.Due = Current.Timestamp = time;
  qor_sim::EncodeCanItem(frame->Item, Current.Bytes);
  Target.Offer(Current);
}

uint64_t CanReceiver::TimeOf(const Ancillary& told) {
  const uint64_t software = told.Software ? *told.Software : Calls.Now();
  return told.Hardware ? Clock.ToUtc(*told.Hardware, software) : software;
}

void CanReceiver::NoteDropped(std::optional<uint32_t> dropped, uint64_t before) {
  if (!dropped) return;
  // Told with a message, the number is that of its arrival: what was dropped since is known from the last look already.
  const auto more = static_cast<int32_t>(*dropped - DroppedBefore);
  if (more <= 0) return;
  Target.NoteDropped(static_cast<uint64_t>(more), before);
  DroppedBefore = *dropped;
}

/// What a frame says about the bus.
void CanReceiver::Heed(const DecodedCan& frame) {
  const bool isError = (frame.Item.Flags & qor_sim::kCanError) != 0;
  if (frame.News == CanNews::BusOff) {
    Lose(Settings.Interface + " is bus-off: its controller has left the bus", frame.Item.Timestamp);
  } else if (IsDeaf && (frame.News == CanNews::Restarted || !isError)) {
    Regain(Settings.Interface + (IsDown ? " is up again" : " is on the bus again"), frame.Item.Timestamp);
  }
}

void CanReceiver::Fail(int error) {
  if (error == EINTR || error == ENOBUFS) return;  // comes by itself
  if (error != ENETDOWN) {
    Calls.Close(std::exchange(Socket, -1));
    Clock = {};
    DroppedBefore = 0;
  }
  IsDown = true;
  Lose(Settings.Interface + (error == ENETDOWN ? " is down" : " is gone") + "; it is recorded as soon as it is up",
       Calls.Now());
}

void CanReceiver::LookForInterface() {
  if (Socket < 0) Socket = std::max(Calls.OpenCan(Settings), -1);
  if (Socket >= 0 && Calls.IsUp(Settings.Interface) == 1) Regain(Settings.Interface + " is up", Calls.Now());
}

void CanReceiver::Lose(std::string what, uint64_t time) {
  if (IsDeaf) return;
  Target.Tell({time, QOR_SIM_NOTICE_GONE, std::move(what)});
  IsDeaf = true;
}

void CanReceiver::Regain(std::string what, uint64_t time) {
  IsDown = false;
  if (!std::exchange(IsDeaf, false)) return;
  Target.Tell({time, QOR_SIM_NOTICE_BACK, std::move(what)});
}

}  // namespace qor_linux
