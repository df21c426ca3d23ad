// System calls in the test's hand: what arrives, what fails, whether the interface is up.
#pragma once

#include <linux/can.h>
#include <linux/net_tstamp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "linux/Kernel.h"

constexpr uint64_t kFakeNow = 1'700'000'000'000'000'000;  // ns since 1970

/// A frame as the kernel delivers it; bytes of no frame where they are given as such.
inline qor_linux::Message MessageOf(const void* bytes, size_t length, int flags = 0) {
  qor_linux::Message message;
  message.Length = length;
  message.Flags = flags;
  std::memcpy(message.Bytes.data(), bytes, std::min(length, message.Bytes.size()));
  return message;
}

inline qor_linux::Message FrameMessage(canid_t id, const std::vector<unsigned char>& data, int flags = 0) {
  can_frame frame{};
  frame.can_id = id;
  frame.len = static_cast<unsigned char>(data.size());
  std::copy(data.begin(), data.end(), frame.data);
  return MessageOf(&frame, sizeof frame, flags);
}

/// Appends a control message.
template <class Content>
void AddControl(qor_linux::Message& message, int type, const Content& content) {
  const size_t length = CMSG_LEN(sizeof content);
  cmsghdr head{};
  head.cmsg_len = length;
  head.cmsg_level = SOL_SOCKET;
  head.cmsg_type = type;
  unsigned char* const place = message.Control.data() + message.ControlLength;
  std::memcpy(place, &head, CMSG_LEN(0));
  std::memcpy(place + CMSG_LEN(0), &content, sizeof content);
  message.ControlLength += CMSG_SPACE(sizeof content);
}

/// The kernel's times of a message: ns since 1970, and of the interface's own clock if it has one.
inline void AddTimes(qor_linux::Message& message, uint64_t software, uint64_t hardware = 0) {
  constexpr uint64_t kSecond = 1'000'000'000;
  const auto split = [](uint64_t time) {
    return timespec{static_cast<time_t>(time / kSecond), static_cast<long>(time % kSecond)};
  };
  const timespec times[3] = {split(software), {}, split(hardware)};
  AddControl(message, SCM_TIMESTAMPING, times);
}

inline void AddDropped(qor_linux::Message& message, uint32_t dropped) { AddControl(message, SO_RXQ_OVFL, dropped); }

/// Threads: any.
class FakeKernel : public qor_linux::Kernel {
 public:
  int OpenCan(const qor_linux::CanSocketSettings& settings) override {
    const std::lock_guard lock(Guard);
    Asked = settings;
    if (OpenError != 0) return -OpenError;
    ++Open;
    return 100;
  }
  int CaptureWorks() override { return -CaptureError; }
  int CanWorks() override { return -CanError; }
  void Close(int) override {
    const std::lock_guard lock(Guard);
    --Open;
  }
  int Receive(int, std::span<qor_linux::Message> batch) override {
    const std::lock_guard lock(Guard);
    if (Arriving.empty()) return -EAGAIN;
    if (Arriving.front().Error != 0) {
      const int error = Arriving.front().Error;
      Arriving.pop_front();
      return -error;
    }
    size_t count = 0;
    for (; count < batch.size() && !Arriving.empty() && Arriving.front().Error == 0; ++count) {
      batch[count] = Arriving.front().Content;
      Arriving.pop_front();
    }
    return static_cast<int>(count);
  }
  std::optional<uint32_t> Dropped(int) override {
    const std::lock_guard lock(Guard);
    return DroppedByNow;
  }
  void Wait(int socket, const qor_linux::WakeUp&, int) override {
    std::this_thread::yield();  // which is all that a thread waits for here
    const std::lock_guard lock(Guard);
    if (socket < 0) ++Pauses;
  }
  int IsUp(const std::string&) override {
    const std::lock_guard lock(Guard);
    return Up;
  }
  uint64_t Now() override { return kFakeNow; }

  void Arrive(const qor_linux::Message& message) {
    const std::lock_guard lock(Guard);
    Arriving.push_back({message, 0});
  }
  void Fail(int error) {
    const std::lock_guard lock(Guard);
    Arriving.push_back({{}, error});
  }
  bool HasArrivals() {
    const std::lock_guard lock(Guard);
    return !Arriving.empty();
  }
  int OpenSockets() {
    const std::lock_guard lock(Guard);
    return Open;
  }

  // Set before a thread looks.
  int OpenError = 0;
  int CanError = 0;
  int CaptureError = 0;
  int Up = 1;
  std::optional<uint32_t> DroppedByNow = 0;
  qor_linux::CanSocketSettings Asked;
  int Pauses = 0;

 private:
  struct Arrival {
    qor_linux::Message Content;
    int Error;
  };

  std::mutex Guard;
  std::deque<Arrival> Arriving;
  int Open = 0;
};
