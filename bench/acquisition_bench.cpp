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
#include "monitor/Qor_Trace.h"
#include "record/Qor_Trace_Entry.h"

namespace {

using Buses = std::vector<Qor_Trace_BusType>;

/// Records everything that ports of these buses deliver and returns the CPU seconds of that, until the last entry is stored.
double Record(Qor_Trace_Monitor& monitor, const Buses& buses, size_t items) {
  bench::LoadPorts(buses, items / buses.size());
  for (unsigned int port = 1; port <= buses.size(); ++port) {
    unsigned int number;
    monitor.AddChannel(port, 0, &number);
  }
  return bench::Cost([&] {
    monitor.Start(0);
    while (!bench::PortsDrained()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    monitor.Stop();
  });
}

double AllocateAndAppend(const Buses& buses, size_t items) {
  const std::vector<unsigned char> item(bench::RecordLength(BusType_Ethernet));
  std::vector<std::unique_ptr<unsigned char[]>> records;
  return bench::Cost([&] {
    for (size_t i = 0; i < items; ++i) {
      const size_t length = bench::RecordLength(buses[i % buses.size()]);
      records.emplace_back(new unsigned char[length]);
      std::memcpy(records.back().get() + kEntryPayload, item.data(), length - kEntryPayload);
    }
  });
}

bench::Row Acquisition(const char* name, const Buses& buses, size_t items, int rounds) {
  const auto work = [&] {
    Qor_Trace_Monitor monitor;
    return Record(monitor, buses, items);
  };
  return bench::Compare(name, rounds, static_cast<double>(items), "entry", work,
                        [&] { return AllocateAndAppend(buses, items); });
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
  Record(monitor, {BusType_Can}, items);
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
  const auto measure = [&](const char* name, const Buses& buses) {
    bench::Print(Acquisition(name, buses, items, rounds));
  };
  measure("acquisition, one CAN channel", {BusType_Can});
  measure("acquisition, one LIN channel", {BusType_Lin});
  measure("acquisition, one FlexRay channel", {BusType_FlexRay});
  measure("acquisition, one Ethernet channel", {BusType_Ethernet});
  measure("acquisition, two CAN channels, sorted", {BusType_Can, BusType_Can});
  measure("acquisition, all four buses, sorted", {BusType_Can, BusType_Lin, BusType_FlexRay, BusType_Ethernet});
}
