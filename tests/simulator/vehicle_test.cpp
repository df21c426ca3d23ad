// The whole vehicle, recorded by a trace with its sort thread.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Channel.h"
#include "qor_api_trace.h"
#include "support/Sleeps.h"
#include "support/WaitUntil.h"

namespace {

std::vector<std::string> Expanded(const std::string& source) {
  char text[1000];
  unsigned int length = sizeof text;
  EXPECT_EQ(Qor_Sim_ExpandSource(source.c_str(), text, &length), 0u) << Qor_Sim_ErrorText();
  std::istringstream lines(text);
  std::vector<std::string> sources;
  for (std::string line; std::getline(lines, line);) sources.push_back(line);
  return sources;
}

Qor_Sim_Status_t StatusOf(const OpenedPort& port) {
  Qor_Sim_Status_t status{};
  EXPECT_EQ(Qor_Sim_GetStatus(port.Handle, &status), 0u);
  return status;
}

class Trace {
 public:
  Trace() { EXPECT_EQ(Qor_Trace_Allocate(0, &Handle), 0u); }
  ~Trace() { EXPECT_EQ(Qor_Trace_Delete(Handle), 0u); }
  Trace(const Trace&) = delete;
  Trace& operator=(const Trace&) = delete;

  void Add(const OpenedPort& port) {
    Qor_Trace_AddChannel_Request_t request{};
    request.PortHandle = port.Handle;
    Qor_Trace_AddChannel_Response_t response;
    ASSERT_EQ(Qor_Trace_AddChannel(Handle, &request, &response), 0u);
  }

  /// The headers of all entries; they fit into memory.
  template <class Visit>
  void ForEach(Visit visit) {
    std::vector<unsigned long> buffer(1 << 17);  // 1 MiB
    const auto* bytes = reinterpret_cast<const unsigned char*>(buffer.data());
    for (unsigned int next = 0, count = 1; count > 0; next += count) {
      count = 500;
      auto size = static_cast<unsigned int>(buffer.size() * sizeof buffer[0]);
      ASSERT_EQ(Qor_Trace_GetItems(Handle, 0, next, &count, &size, reinterpret_cast<unsigned char*>(buffer.data())),
                0u);
      for (unsigned int i = 0, offset = 0; i < count; ++i) {
        const auto& entry = *reinterpret_cast<const Qor_Trace_Entry_t*>(bytes + offset);
        visit(entry);
        offset += (entry.Length + 7) & ~7u;
      }
    }
  }

  unsigned int Handle = 0;
};

}  // namespace

TEST(Vehicle, AllItsTrafficIsInTheTraceInOrderAfterTheStop) {
  std::vector<std::unique_ptr<OpenedPort>> ports;
  Trace trace;
  for (const auto& source : Expanded("vehicle?seed=7&duration=20s&speed=max")) {
    ports.push_back(std::make_unique<OpenedPort>(source));
    trace.Add(*ports.back());
  }
  ASSERT_EQ(ports.size(), 4u);

  test::SortClock clock;  // the channels are far ahead of the sort thread
  ASSERT_EQ(Qor_Trace_Start(trace.Handle, 0), 0u);
  ASSERT_TRUE(test::WaitUntil([&] {
    return std::all_of(ports.begin(), ports.end(), [](const auto& port) { return StatusOf(*port).Finished == 1; });
  }));
  for (int i = 0; i < 5; ++i) clock.Tick();
  clock.Release();
  ASSERT_EQ(Qor_Trace_Stop(trace.Handle), 0u);

  unsigned long last = 0, counts[5] = {};  // by channel, from 1 on
  trace.ForEach([&](const Qor_Trace_Entry_t& entry) {
    ASSERT_GE(entry.Timestamp, last);
    last = entry.Timestamp;
    ASSERT_GE(entry.ChannelId, 1u);
    ASSERT_LE(entry.ChannelId, 4u);
    ++counts[entry.ChannelId];
    EXPECT_EQ(entry.BusType, entry.ChannelId - 1);  // the buses come in the order of their types
  });
  for (unsigned int i = 0; i < 4; ++i) {
    const auto status = StatusOf(*ports[i]);
    EXPECT_EQ(status.Lost, 0u);
    EXPECT_EQ(counts[i + 1], status.Offered);
    EXPECT_GT(counts[i + 1], 1000u);
  }
}
