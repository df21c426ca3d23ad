// Acquisition: from poll bytes to stored and listed entries.
//
// The bound allocates each record and appends it to a vector, on one thread, and does nothing else: no channel, no
// batch, no list, no lock.
#include <sys/resource.h>

#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "FakeHardware.h"
#include "Measure.h"
#include "channel/Qor_Trace_Entry.h"
#include "monitor/Qor_Trace.h"
#include "qor_api.h"

namespace {

constexpr unsigned int kIdentifiers = 100;

/// Records everything that `ports` ports bring and returns the CPU seconds of that, until the last entry is stored.
double Record(Qor_Trace_Monitor& monitor, unsigned int ports, size_t items) {
  for (unsigned int port = 1; port <= ports; ++port) {
    unsigned int number;
    monitor.AddChannel(port, 0, &number);
  }
  bench::LoadPorts(ports, items / ports, kIdentifiers);
  return bench::Cost([&] {
    monitor.Start(0);
    while (!bench::PortsDrained()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    monitor.Stop();
  });
}

double AllocateAndAppend(size_t items) {
  Can_Param_Monitor_Buffer64_LargeItem_t item{};
  item.DataLength = 8;
  std::vector<std::unique_ptr<unsigned char[]>> records;
  return bench::Cost([&] {
    for (size_t i = 0; i < items; ++i) {
      item.Timestamp = i;
      records.emplace_back(new unsigned char[kEntryCanData + 8]);
      std::memcpy(records.back().get() + kEntryPayload, &item, 24);
    }
  });
}

bench::Row Acquisition(const char* name, unsigned int ports, size_t items, int rounds) {
  const auto work = [&] {
    Qor_Trace_Monitor monitor;
    return Record(monitor, ports, items);
  };
  return bench::Compare(name, rounds, static_cast<double>(items), "entry", work,
                        [&] { return AllocateAndAppend(items); });
}

double ResidentBytes() {
  std::ifstream status("/proc/self/statm");
  double total = 0;
  double resident = 0;
  status >> total >> resident;
  return resident * 4096;
}

void PrintMemoryPerEntry(size_t items) {
  Qor_Trace_Monitor monitor;
  const double before = ResidentBytes();
  Record(monitor, 1, items);
  const double held = ResidentBytes() - before;
  std::printf("resident memory per stored 8-byte CAN entry: %.1f bytes, over %zu entries (the record itself: %u)\n",
              held / static_cast<double>(items), items, kEntryCanData + 8);
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = bench::Quick(argc, argv);
  const size_t items = quick ? 20'000 : 1'000'000;
  const int rounds = quick ? 1 : 7;
  bench::BecomeMultiThreaded();
  PrintMemoryPerEntry(quick ? 20'000 : 5'000'000);
  bench::PrintHead();
  bench::Print(Acquisition("acquisition, one channel", 1, items, rounds));
  bench::Print(Acquisition("acquisition, two channels through the sort", 2, items, rounds));
}
