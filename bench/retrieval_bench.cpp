// Retrieval: paging through a whole trace in calls of 1 MiB.
//
// The bound from memory is one memcpy of the bytes that were delivered; from the swap file, reading the file once
// with read(2) in blocks of 1 MiB.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "FakeHardware.h"
#include "Measure.h"
#include "monitor/Qor_Trace.h"

namespace {

constexpr unsigned int kCall = 1024 * 1024;             // bytes
constexpr unsigned int kMostInCall = 1024 * 1024 / 56;  // records of 8-byte CAN frames

void Fill(Qor_Trace_Monitor& monitor, size_t items, unsigned int limit) {
  bench::LoadPorts({BusType_Can}, items);
  unsigned int number;
  monitor.AddChannel(1, 0, &number);
  monitor.Property_SetById(0, QOR_TRACE_PROPERTY_MAX_ENTRIES, 4, reinterpret_cast<unsigned char*>(&limit));
  monitor.Start(0);
  while (!bench::PortsDrained()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  monitor.Stop();
}

/// Pages through the first `items` entries; returns the bytes delivered.
size_t PageThrough(Qor_Trace_Monitor& monitor, size_t items, std::vector<unsigned char>& buffer) {
  size_t bytes = 0;
  for (unsigned int next = 0; next < items;) {
    unsigned int count = kMostInCall;
    unsigned int size = kCall;
    monitor.GetItems(next, &count, &size, buffer.data());
    if (count == 0) break;
    next += count;
    bytes += size;
  }
  return bytes;
}

double ReadFile(const std::filesystem::path& path, std::vector<unsigned char>& buffer) {
  return bench::Cost([&] {
    const int file = open(path.c_str(), O_RDONLY);
    while (read(file, buffer.data(), kCall) > 0) {
    }
    close(file);
  });
}

std::filesystem::path SwapFileOf(const std::filesystem::path& folder) {
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    if (file.path().extension() == ".bin") return file.path();
  }
  return {};
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = bench::Quick(argc, argv);
  const size_t items = quick ? 20'000 : 2'000'000;
  const int rounds = quick ? 1 : 9;
  const auto folder = std::filesystem::temp_directory_path() / ("qor-bench-" + std::to_string(getpid()));
  std::filesystem::create_directory(folder);
  std::filesystem::current_path(folder);
  bench::BecomeMultiThreaded();
  std::vector<unsigned char> buffer(kCall);
  bench::PrintHead();
  {
    Qor_Trace_Monitor monitor;
    Fill(monitor, items, 0xFFFFFFFF);
    const size_t bytes = PageThrough(monitor, items, buffer);
    const std::vector<unsigned char> from(bytes, 1);
    std::vector<unsigned char> to(bytes, 2);
    bench::Print(bench::Compare(
        "retrieval from memory, 1 MiB calls", rounds, static_cast<double>(items), "entry",
        [&] { return bench::Cost([&] { PageThrough(monitor, items, buffer); }); },
        [&] { return bench::Cost([&] { std::memcpy(to.data(), from.data(), bytes); }); }));
  }
  {
    Qor_Trace_Monitor monitor;
    Fill(monitor, items, 1);
    const auto swap = SwapFileOf(folder);
    bench::Print(bench::Compare(
        "retrieval from the swap file, 1 MiB calls", rounds, static_cast<double>(items), "entry",
        [&] { return bench::Cost([&] { PageThrough(monitor, items, buffer); }); },
        [&] { return ReadFile(swap, buffer); }));
  }
  std::filesystem::current_path("/");
  std::filesystem::remove_all(folder);
}
