// The link to one bus interface: its connection, its monitor (capture buffer), and the thread that drains it.
#pragma once

#include <atomic>
#include <functional>
#include <span>
#include <thread>
#include <utility>

#include "channel/LatestByKey.h"
#include "internal/Mutex.h"
#include "internal/Qor_Trace_Exception.h"
#include "internal/Visibility.h"
#include "record/EntryBatch.h"

/// Base of the four channel kinds. It owns everything that they share; a bus adds its commands and the walk
/// over the items of a poll response.
///
/// Threads: Start, Stop and the destructor may be called by any thread, and serialise on Mutex; the receive thread
/// takes no lock of the channel.
class QOR_EXPORT Qor_Trace_Channel {
 public:
  /// Called on the receive thread after each poll that returned items, with the entries in the order of their times and the
  /// newest one of each message; both containers are the thread's and are emptied when the call returns.
  using Callback = std::function<void(EntryBatch&, LatestByKey&)>;

  // The first four virtual operations, in this order, are the interface of every channel.
  virtual ~Qor_Trace_Channel();
  /// Body of the receive thread. A Qor_Trace_Exception that leaves it ends the process.
  virtual void ReceiveThreadFunction() = 0;
  /// Starts the interface's monitor and the receive thread. A thread that exists already ends the process.
  /// @throws Qor_Trace_Exception with the hardware library's code; the channel is then as before.
  virtual void Start() = 0;
  /// Ends the receive thread, which delivers what it has polled, and stops the interface's monitor.
  /// @throws Qor_Trace_Exception with the hardware library's code; the thread has ended all the same.
  virtual void Stop() = 0;

  Qor_Trace_Channel(const Qor_Trace_Channel&) = delete;
  Qor_Trace_Channel& operator=(const Qor_Trace_Channel&) = delete;

  /// Sets who receives the entries; before the first Start.
  void ConnectReceiveCallback(Callback callback) { ReceiveCallback = std::move(callback); }

  [[nodiscard]] unsigned int GetUserPortHandle() const { return UserPortHandle; }
  /// Number of entries that a monitor may keep in memory for a channel of this bus.
  [[nodiscard]] unsigned int GetMaxNumberOfItems() const { return MaxNumberOfItems; }
  /// Qor_Trace_BusType.
  [[nodiscard]] unsigned char GetType() const { return Type; }

  /// Takes the entries that a walk over a poll response makes.
  class Sink {
   public:
    Sink(unsigned int channelId, EntryBatch& batch, LatestByKey& latest)
        : ChannelId(channelId), Batch(batch), Latest(latest) {}

    /// Makes an entry of an item (arguments as the constructors of Qor_Trace_Entry) without a place in the list.
    /// @throws std::bad_alloc
    template <class... Item>
    void Add(Item... item) {
      Batch.Add(ChannelId, item...);
    }

    /// The same, and the entry becomes the newest of its message key.
    template <class... Item>
    void AddListed(unsigned int key, Item... item) {
      Latest.MakeRoom();
      Latest.Note(key, Batch.Add(ChannelId, item...));
    }

   private:
    unsigned int ChannelId;
    EntryBatch& Batch;
    LatestByKey& Latest;
  };

  /// The bytes of a poll response. Lengths inside are trusted only as far as the buffer reaches: an item may begin
  /// anywhere before End and be as long as it says; what lies past the response reads as old bytes or 0.
  struct PollResponse {
    const unsigned char* Bytes;
    unsigned int Length;                        // bytes that the poll returned
    static constexpr unsigned int End = 65535;  // bytes that any poll can return

    /// Where a response carries a count of its items (LIN, Ethernet): 4 bytes, the count (u16), 2 bytes, the items.
    static constexpr unsigned int FirstCountedItem = 8;
    [[nodiscard]] unsigned int ItemCount() const { return Bytes[4] | static_cast<unsigned int>(Bytes[5]) << 8; }
  };

 protected:
  /// One monitor command: where it goes and what it says.
  struct MonitorCommand {
    unsigned int Code;  // command code of the hardware library
    unsigned int Mode;  // how the hardware library sends it
    std::span<const unsigned char> Request;
  };

  /// Makes entries of all items of a response: the part of the receive thread that differs by bus.
  using ItemWalk = void (*)(const PollResponse& response, Sink& sink);

  /// Opens the channel's own connection to the interface of the client's port.
  /// @throws Qor_Trace_Exception with the hardware library's code
  Qor_Trace_Channel(unsigned int userPortHandle, unsigned int channelId, Qor_Trace_BusType type);

  /// Sends a configuration, start or stop command, whose response doesn't matter. Returns the hardware library's code.
  [[nodiscard]] unsigned int Send(const MonitorCommand& command) const REQUIRES(Mutex);
  /// The same, throwing Qor_Trace_Exception(UserPortHandle, code, "") for a code that isn't 0.
  void SendOrThrow(const MonitorCommand& command) const REQUIRES(Mutex);

  /// Start and Stop as CAN, LIN and Ethernet do them.
  void StartMonitor(const MonitorCommand& start) EXCLUDES(Mutex);
  void StopMonitor(const MonitorCommand& stop) EXCLUDES(Mutex);
  /// Runs the Stop of a destructor: an error was reported when it was built, and the thread has ended all the same.
  template <class StopCall>
  static void IgnoreErrors(StopCall stop) {
    try {
      stop();
    } catch (const Qor_Trace_Exception&) {
    }
  }
  /// Asks the receive thread to end and waits for it, if it exists.
  void EndReceiveThread() REQUIRES(Mutex);

  /// The receive thread's loop, common to all buses: poll, walk, deliver, sleep 10 ms, until a stop is requested, a
  /// poll fails or memory is exhausted.
  void Receive(const MonitorCommand& poll, ItemWalk walk);

  class Mutex Mutex;                   // nests in the monitor's MutexChannels; held while the receive thread is joined
  unsigned int InterfaceHandle = 255;  // own connection; constant between constructor and destructor
  const unsigned int UserPortHandle;
  unsigned char InstanceId = 0;  // of the interface's monitor; constant after construction
  const unsigned int ChannelId;
  const unsigned char Type;
  Callback ReceiveCallback;  // set before the thread starts
  std::atomic<bool> StopRequested = false;
  std::atomic<bool> Running = false;
  std::thread ReceiveThread GUARDED_BY(Mutex);
  unsigned int MaxNumberOfItems = 500000;  // constant after construction

 private:
  bool Collect(const PollResponse& response, ItemWalk walk, EntryBatch& batch, LatestByKey& latest);
  void Deliver(EntryBatch& batch, LatestByKey& latest);
};
