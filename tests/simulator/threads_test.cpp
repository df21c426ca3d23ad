// Several threads at once: receive threads that poll, and a client that asks and reports meanwhile.
#include <atomic>
#include <thread>

#include "Channel.h"

namespace {

/// Polls until the source has ended; the number of items.
unsigned long DrainPort(unsigned int handle) {
  Channel channel(handle);
  EXPECT_EQ(channel.Configure(), 0u);
  EXPECT_EQ(channel.Start(), 0u);
  unsigned long items = 0;
  do {
    EXPECT_EQ(channel.Poll(4096), 0u);
    const Bytes response = channel.Returned();
    for (size_t offset = 4; offset < response.size(); ++items) offset += (16u + response[offset + 15] + 3u) & ~3u;
  } while (channel.ReportedLength > 4);
  EXPECT_EQ(channel.Stop(), 0u);
  return items;
}

}  // namespace

TEST(Threads, PortsArePolledWhileTheClientAsksAndReports) {
  const OpenedPort first("can?seed=1&duration=5s&speed=max"), second("can?seed=2&duration=5s&speed=max");
  std::atomic<unsigned int> draining{2};
  std::atomic<unsigned long> callbacks{0};
  Qor_Sim_SetReportCallback(
      [](void* context, const Qor_Sim_Report_t*) {
        ++*static_cast<std::atomic<unsigned long>*>(context);
        Qor_Sim_ReportCount();
      },
      &callbacks);
  unsigned long items[2] = {0, 0};
  std::thread receivers[] = {std::thread([&] { items[0] = DrainPort(first.Handle), --draining; }),
                             std::thread([&] { items[1] = DrainPort(second.Handle), --draining; })};
  unsigned long reports = 0;
  while (draining > 0) {
    Qor_Sim_Status_t status;
    EXPECT_EQ(Qor_Sim_GetStatus(first.Handle, &status), 0u);
    EXPECT_LE(status.Delivered, status.Offered);
    Qor_ErrorHandler(255, 1, "%u", draining.load());
    ++reports;
    EXPECT_NE(Qor_Sim_ClosePort(0), 0u);
    Qor_Sim_CommandCount(second.Handle);
    Qor_Sim_OpenConnections();
  }
  for (auto& receiver : receivers) receiver.join();
  Qor_Sim_SetReportCallback(nullptr, nullptr);
  EXPECT_EQ(callbacks, reports);
  const unsigned int handles[] = {first.Handle, second.Handle};
  for (int i = 0; i < 2; ++i) {
    Qor_Sim_Status_t status;
    ASSERT_EQ(Qor_Sim_GetStatus(handles[i], &status), 0u);
    EXPECT_EQ(status.Delivered, items[i]);
    EXPECT_EQ(status.Finished, 1u);
    EXPECT_GT(items[i], 1000u);
  }
}

TEST(Threads, PortIsClosedWhileAReceiverPolls) {
  unsigned int handle = 0;
  ASSERT_EQ(Qor_Sim_OpenPort("can", &handle), 0u);
  Channel channel(handle);
  ASSERT_EQ(channel.Configure(), 0u);
  ASSERT_EQ(channel.Start(), 0u);
  std::atomic<bool> polled{false};
  unsigned int last = 0;
  std::thread receiver([&] {
    while ((last = channel.Poll()) == 0) polled = true;
  });
  while (!polled) std::this_thread::yield();
  EXPECT_EQ(Qor_Sim_ClosePort(handle), 0u);
  receiver.join();
  EXPECT_EQ(last, unsigned{QOR_SIM_ERROR_HANDLE});
}

TEST(Threads, PortsOpenAndCloseOnAllThreads) {
  std::vector<std::thread> clients;
  for (int i = 0; i < 4; ++i) {
    clients.emplace_back([] {
      for (int turn = 0; turn < 50; ++turn) {
        const OpenedPort port("can?duration=20ms&speed=max");
        DrainPort(port.Handle);
      }
    });
  }
  for (auto& client : clients) client.join();
}
