// What the tests of the channels share: making a channel on a scripted interface, and collecting what it delivers.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "channel/Qor_Trace_Channel_Can.h"
#include "channel/Qor_Trace_Channel_Ethernet.h"
#include "channel/Qor_Trace_Channel_FlexRay.h"
#include "channel/Qor_Trace_Channel_Lin.h"
#include "support/ScriptedInterface.h"
#include "support/WaitUntil.h"

namespace test {

inline std::unique_ptr<Qor_Trace_Channel> NewChannel(const ScriptedInterface& on, unsigned int number = 1) {
  switch (on.Bus()) {
    case BusType_Can:
      return std::make_unique<Qor_Trace_Channel_Can>(on.Port(), number);
    case BusType_Lin:
      return std::make_unique<Qor_Trace_Channel_Lin>(on.Port(), number);
    case BusType_FlexRay:
      return std::make_unique<Qor_Trace_Channel_FlexRay>(on.Port(), number);
    default:
      return std::make_unique<Qor_Trace_Channel_Ethernet>(on.Port(), number);
  }
}

/// One call of a receive callback.
struct Delivery {
  std::vector<Bytes> Entries;  // records in the order of the batch
  std::map<std::pair<unsigned int, unsigned int>, Bytes> Latest;
};

/// Keeps copies of what a channel delivers.
class Collector {
 public:
  void ListenTo(Qor_Trace_Channel& channel) {
    channel.ConnectReceiveCallback([this](EntryBatch& entries, LatestByKey& latest) { Keep(entries, latest); });
  }
  [[nodiscard]] std::vector<Delivery> Deliveries() {
    const std::lock_guard lock(Guard);
    return Kept;
  }
  [[nodiscard]] bool WaitFor(size_t deliveries) {
    return WaitUntil([&] { return Deliveries().size() >= deliveries; });
  }

 private:
  void Keep(const EntryBatch& entries, const LatestByKey& latest) {
    Delivery delivery;
    for (size_t i = 0; i < entries.size(); ++i) delivery.Entries.push_back(BytesOf(entries[i]));
    for (const auto& [key, record] : latest) {
      const auto& entry = entries.At(record);
      delivery.Latest[{entry.ChannelId, key}] = BytesOf(entry);
    }
    const std::lock_guard lock(Guard);
    Kept.push_back(std::move(delivery));
  }

  std::mutex Guard;
  std::vector<Delivery> Kept;
};

/// A running channel, number 1, on a scripted interface, and what it has delivered.
class RunningChannel {
 public:
  explicit RunningChannel(const ScriptedInterface& on) : Interface(on), Channel(NewChannel(on)) {
    Received.ListenTo(*Channel);
    Channel->Start();
  }

  /// Everything delivered until the interface's queue of responses is empty.
  std::vector<Delivery> AllDeliveries() {
    EXPECT_TRUE(Interface.WaitUntilDelivered());
    return Received.Deliveries();
  }
  /// The only delivery, an empty one if there are none or several.
  Delivery OnlyDelivery() {
    const auto all = AllDeliveries();
    EXPECT_EQ(all.size(), 1U);
    return all.size() == 1 ? all.front() : Delivery();
  }

 private:
  const ScriptedInterface& Interface;
  Collector Received;  // outlives the channel, whose thread calls it
  std::unique_ptr<Qor_Trace_Channel> Channel;
};

/// The code with which a call fails, 0 if it doesn't.
template <class Call>
unsigned int CodeOf(Call call) {
  try {
    call();
    return 0;
  } catch (const Qor_Trace_Exception& error) {
    return error.GetErrorCode();
  }
}

}  // namespace test
