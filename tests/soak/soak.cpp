// Four buses recorded for a long time under a small memory limit: what was sent is stored, retrieved, recorded live and
// exported, each entry once and in order, while memory and open files stay as they are.
//
//   soak SECONDS [SECONDS_OF_A_CYCLE]
//
// A cycle records, reads the trace all the while, stops, exports, counts, and flushes.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "../../examples/drain.h"
#include "qor_api_trace.h"
#include "support/ScriptedInterface.h"
#include "support/TemporaryDirectory.h"

namespace {

using namespace std::chrono_literals;
using test::Bytes;
using test::Items;
using Clock = std::chrono::steady_clock;

constexpr unsigned int kMemoryLimit = 5000;       // entries
constexpr unsigned long kItemInterval = 200'000;  // ns, on each bus
constexpr auto kFeedInterval = 10ms;
constexpr auto kStall = 40ms;           // entries that come this late may be stored out of order: the machine's fault
constexpr long kMostGrowth = 16 << 10;  // KiB, from the end of the second cycle to that of the last

[[noreturn]] void Fail(const std::string& what) {
  std::fprintf(stderr, "soak: %s\n", what.c_str());
  std::exit(1);
}

void Expect(bool holds, const std::string& what) {
  if (!holds) Fail(what);
}

void ExpectOk(unsigned int status, const char* call) {
  Expect(status == 0, std::string(call) + " failed: " + std::to_string(status));
}

/// KiB.
long ResidentMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
  }
  Fail("no VmRSS in /proc/self/status");
}

long OpenFiles() {
  namespace fs = std::filesystem;
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

/// Lines of an ASC log that are events.
unsigned long EventLines(const std::string& name) {
  std::ifstream file(name);
  unsigned long lines = 0;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line[0] >= '0' && line[0] <= '9') ++lines;
  }
  return lines;
}

/// An interface whose items carry their number as data.
class Bus {
 public:
  explicit Bus(Qor_Trace_BusType bus) : Interface(bus) {}

  /// Queues the items due behind `from` up to `to`, ns.
  void Feed(unsigned long from, unsigned long to) {
    Items items;
    for (unsigned long time = (from / kItemInterval + 1) * kItemInterval; time <= to; time += kItemInterval) {
      items.push_back(Item(time));
      if (items.size() == kMostOfAPoll) Interface.NextItems(std::exchange(items, {}));
    }
    Interface.NextItems(items);
  }
  /// Looks at an entry of this bus: it must be the one after the last.
  void Take(const unsigned char* record) {
    constexpr size_t kData[] = {44, 35, 48, 44};  // by bus
    unsigned int number = 0;
    std::memcpy(&number, record + kData[Interface.Bus()], sizeof number);
    Expect(number == Seen, "entry " + std::to_string(number) + " instead of " + std::to_string(Seen) + " on bus " +
                               std::to_string(Interface.Bus()));
    ++Seen;
  }
  void BeginCycle() { Sent = Seen = 0; }

  [[nodiscard]] unsigned int Port() const { return Interface.Port(); }
  [[nodiscard]] unsigned int Pending() const { return Interface.Pending(); }

  unsigned int Sent = 0;  // in this cycle
  unsigned int Seen = 0;

 private:
  Bytes Item(unsigned long time) {
    Bytes data(8);
    test::PutAt(data, 0, Sent++);
    switch (Interface.Bus()) {
      case BusType_Can:
        return test::Frame(Sent % 100).At(time).Data(data);
      case BusType_Lin:
        return test::LinFrame(Sent % 60).At(time).Data(data);
      case BusType_FlexRay:
        return test::FlexRayFrame(1 + Sent % 100).At(time).Data(data);
      default:
        return test::EthernetFrame(data).At(time);
    }
  }

  static constexpr size_t kMostOfAPoll = 500;

  test::ScriptedInterface Interface;
};

class Soak {
 public:
  Soak() {
    ExpectOk(Qor_Trace_Allocate(0, &Monitor), "Qor_Trace_Allocate");
    for (const Bus& bus : Buses) {
      const Qor_Trace_AddChannel_Request_t request = {0, bus.Port(), 0};
      Qor_Trace_AddChannel_Response_t response;
      ExpectOk(Qor_Trace_AddChannel(Monitor, &request, &response), "Qor_Trace_AddChannel");
    }
    Set(QOR_TRACE_PROPERTY_MAX_ENTRIES, &kMemoryLimit);
    Set(QOR_TRACE_PROPERTY_ASC_FILE_NAME, "live.asc");
  }
  ~Soak() { Qor_Trace_Delete(Monitor); }
  Soak(const Soak&) = delete;
  Soak& operator=(const Soak&) = delete;

  void Cycle(std::chrono::seconds duration) {
    for (Bus& bus : Buses) bus.BeginCycle();
    Retrieved = OutOfOrder = Stalls = LastTime = 0;
    TraceDrain drain(Monitor);
    ExpectOk(Qor_Trace_Start(Monitor, QOR_TRACE_START_ASC_RECORDING), "Qor_Trace_Start");
    Feed(duration, drain);
    ExpectOk(Qor_Trace_Stop(Monitor), "Qor_Trace_Stop");
    ExpectOk(drain.PullAll([this](const unsigned char* record, unsigned int) { return Take(record); }), "a retrieval");
    Count(drain);
    ExpectOk(Qor_Trace_Property_SetById(Monitor, 0, QOR_TRACE_PROPERTY_FLUSH, 0, nullptr), "a flush");
    malloc_trim(0);  // what was freed is not held by the library
    std::printf("%7lu entries of 4 buses, all there at every stage; %lu out of order, %lu stalls; %ld KiB, %ld files\n",
                Retrieved, OutOfOrder, Stalls, ResidentMemory(), OpenFiles());
    std::fflush(stdout);
  }

 private:
  void Set(Qor_Trace_PropertyId_t id, const void* value) {
    ExpectOk(Qor_Trace_Property_SetById(Monitor, 0, id, 4, static_cast<const unsigned char*>(value)), "a property");
  }

  /// Sends items in real time, and reads the trace every now and then.
  void Feed(std::chrono::seconds duration, TraceDrain& drain) {
    constexpr unsigned long kTimeOfFirst = 1'000'000'000;  // ns
    const auto begin = Clock::now();
    unsigned long from = kTimeOfFirst;
    for (auto last = begin; Clock::now() - begin < duration;) {
      std::this_thread::sleep_until(last + kFeedInterval);
      last = Clock::now();
      if (!HasPolledAll()) continue;  // the interfaces gather items meanwhile
      const unsigned long to = kTimeOfFirst + static_cast<unsigned long>((last - begin) / 1ns);
      if (std::chrono::nanoseconds(to - from) > kStall) ++Stalls;
      for (Bus& bus : Buses) bus.Feed(from, to);
      from = to;
      ExpectOk(drain.Pull([this](const unsigned char* record, unsigned int) { return Take(record); }), "a retrieval");
    }
    while (!HasPolledAll()) std::this_thread::sleep_for(kFeedInterval);
  }
  [[nodiscard]] bool HasPolledAll() const {
    return std::all_of(Buses.begin(), Buses.end(), [](const Bus& bus) { return bus.Pending() == 0; });
  }

  bool Take(const unsigned char* record) {
    Qor_Trace_Entry_t head;
    std::memcpy(&head, record, 28);
    Buses.at(head.BusType).Take(record);
    if (head.Timestamp < LastTime) ++OutOfOrder;
    LastTime = head.Timestamp;
    ++Retrieved;
    return true;
  }

  void Count(const TraceDrain& drain) const {
    unsigned long sent = 0;
    for (const Bus& bus : Buses) sent += bus.Sent;
    const auto expect = [sent](unsigned long count, const char* stage) {
      Expect(count == sent, std::to_string(sent) + " entries sent, " + std::to_string(count) + " " + stage);
    };
    expect(drain.EntryCount(), "stored");
    expect(Retrieved, "retrieved");
    expect(EventLines("live.asc"), "recorded live");
    Qor_Trace_Export_Request_t request{};
    std::strcpy(request.FileName, "out.asc");
    ExpectOk(Qor_Trace_ExportToASC(Monitor, &request), "Qor_Trace_ExportToASC");
    expect(EventLines("out.asc"), "exported");
    Expect(OutOfOrder == 0 || Stalls > 0, std::to_string(OutOfOrder) + " entries out of order");
  }

  std::array<Bus, 4> Buses{Bus(BusType_Can), Bus(BusType_Lin), Bus(BusType_FlexRay), Bus(BusType_Ethernet)};
  unsigned int Monitor = 0;
  unsigned long Retrieved = 0, OutOfOrder = 0, Stalls = 0, LastTime = 0;  // of this cycle
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s SECONDS [SECONDS_OF_A_CYCLE]\n", argv[0]);
    return 2;
  }
  GTEST_FLAG_SET(throw_on_failure, true);  // the helpers' expectations
  const std::chrono::seconds duration(std::atoi(argv[1]));
  const std::chrono::seconds cycle(argc > 2 ? std::atoi(argv[2]) : 30);
  const test::TemporaryDirectory directory;
  Soak soak;
  const auto end = Clock::now() + duration;
  for (int warmUp = 0; warmUp < 2; ++warmUp) soak.Cycle(cycle);  // the allocator settles
  const long memory = ResidentMemory(), files = OpenFiles();
  while (Clock::now() < end) soak.Cycle(cycle);
  Expect(OpenFiles() == files, "the number of open files changed");
  const long growth = ResidentMemory() - memory;
  std::printf("memory grew by %ld KiB\n", growth);
  Expect(growth < kMostGrowth, "memory grew");
}
