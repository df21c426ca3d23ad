// The library's goals: what an engineer feels of recording and reading, each figure beside its limit.
//
// Ratios are those of CPU times in one process, in turns, each run with memory that it faults in anew: to the straightforward way
// (Straightforward.h), to memcpy or to read(2) of the same bytes. Waits of a delivery are wall-clock times, without those in which
// other programs had the processor.
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "FakeHardware.h"
#include "MdfGoals.h"
#include "Measure.h"
#include "Scratch.h"
#include "Straightforward.h"
#include "monitor/Qor_Trace.h"

namespace {

constexpr unsigned int kNoLimit = ~0U;
constexpr unsigned int kCall = 1024 * 1024;  // bytes of a large retrieval

/// A monitor on CAN ports of the fake hardware.
class Recording {
 public:
  explicit Recording(unsigned int ports, unsigned int limit = kNoLimit) : Buses(ports, BusType_Can) {
    bench::LoadPorts(Buses, 0);
    for (unsigned int port = 1; port <= ports; ++port) {
      unsigned int number;
      Monitor.AddChannel(port, 0, &number);
    }
    Monitor.Property_SetById(0, QOR_TRACE_PROPERTY_MAX_ENTRIES, 4, reinterpret_cast<unsigned char*>(&limit));
  }

  /// Starts a run and returns when everything has been delivered.
  void Deliver(size_t items, const bench::Traffic& traffic = {}, unsigned int mode = 0) {
    bench::LoadPorts(Buses, items / Buses.size(), traffic);
    Monitor.Start(mode);
    while (!bench::PortsDrained()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  void Record(size_t items, const bench::Traffic& traffic = {}, unsigned int mode = 0) {
    Deliver(items, traffic, mode);
    Monitor.Stop();
  }

  Qor_Trace_Monitor Monitor;

 private:
  const std::vector<Qor_Trace_BusType> Buses;
};

double WallSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}
template <class Work>
double WallTime(Work work) {
  const double start = WallSeconds();
  work();
  return WallSeconds() - start;
}

double ResidentBytes() {
  std::ifstream status("/proc/self/statm");
  double total = 0;
  double resident = 0;
  status >> total >> resident;
  return resident * 4096;
}

/// Median of the figures of some rounds.
template <class Work>
double MedianOf(int rounds, Work work) {
  std::vector<double> figures;
  for (int round = 0; round < rounds; ++round) figures.push_back(work());
  return bench::Median(figures);
}

class Goals {
 public:
  Goals(int argc, char** argv)
      : Table(argc, argv), Quick(bench::Quick(argc, argv)), Rounds(Quick ? 1 : 5), Many(Quick ? 40'000 : 5'000'000) {
    std::filesystem::current_path(Files.Folder());
  }
  ~Goals() { std::filesystem::current_path("/"); }
  Goals(const Goals&) = delete;
  Goals& operator=(const Goals&) = delete;

  void Acquisition();
  void SortQueueMemory();
  void LongestDeliveries();
  void EndOfWork();
  void Retrieval();
  void List();
  void Mdf() const { bench::MdfGoals(Table, Quick); }

 private:
  double CostOf(unsigned int ports, const bench::Traffic& traffic = {}) const;
  double CostOfStraightforward(unsigned int ports) const;
  [[nodiscard]] size_t Some() const { return Many / 5; }
  double LongestDelivery(Recording& recording, size_t items, unsigned int mode = 0);
  void SwapFile(Recording& recording, size_t items);

  const bench::Scratch Files;
  const bench::GoalTable Table;
  const bool Quick;
  const int Rounds;
  const size_t Many;
};

double Goals::CostOf(unsigned int ports, const bench::Traffic& traffic) const {
  Recording recording(ports);
  return bench::Cost([&] { recording.Record(Some(), traffic); });
}

double Goals::CostOfStraightforward(unsigned int ports) const {
  malloc_trim(0);  // its memory is faulted in anew, as the library's is
  bench::LoadPorts(std::vector<Qor_Trace_BusType>(ports, BusType_Can), Some() / ports);
  bench::Straightforward recording(ports);
  return bench::Cost([&] { recording.Record(); });
}

void Goals::Acquisition() {
  const auto ratio = [&](unsigned int ports) {
    const auto row = bench::Compare(
        "", Rounds, 1, "", [&] { return CostOf(ports); }, [&] { return CostOfStraightforward(ports); });
    return row.WorkSeconds / row.BoundSeconds;
  };
  Table.Print({"one channel, by the straightforward way", ratio(1), "x", 0.20});
  {
    const double before = ResidentBytes();
    Recording recording(1);
    recording.Record(Many);
    const double held = (ResidentBytes() - before) / static_cast<double>(Many);
    Table.Print({"memory of an 8-byte CAN entry", held, "bytes", 64});
  }
  Table.Print({"two channels, sorted, by the straightforward way", ratio(2), "x", 0.20});
  const auto sixteen = bench::Compare(
      "", Rounds, 1, "", [&] { return CostOf(16); }, [&] { return CostOf(2); });
  Table.Print({"16 channels by two, at the same total rate", sixteen.WorkSeconds / sixteen.BoundSeconds, "x", 1.3});
}

void Goals::SortQueueMemory() {
  const auto items = static_cast<double>(Some());
  const double before = ResidentBytes();
  Recording recording(2);
  recording.Deliver(Some(), {.Spacing = 1'000'000'000});  // all but the first stay in the queue
  Table.Print({"memory of an entry in the sort queue", (ResidentBytes() - before) / items, "bytes", 70});
  recording.Monitor.Stop();
  Table.Print({"memory of an entry that has passed the sort queue", (ResidentBytes() - before) / items, "bytes", 70});
}

/// ms
double Goals::LongestDelivery(Recording& recording, size_t items, unsigned int mode) {
  recording.Record(items, {.Paced = true}, mode);  // threads that never sleep wait for each other's time slices
  return bench::LongestDelivery() * 1e3;
}

void Goals::LongestDeliveries() {
  const auto storing = [&](unsigned int ports) {
    return MedianOf(Rounds, [&] {
      Recording recording(ports);
      return LongestDelivery(recording, Many);
    });
  };
  Table.Print({"longest delivery on the way to 5 M entries: 1 channel", storing(1), "ms", 1});
  Table.Print({"longest delivery on the way to 5 M entries: 2 channels", storing(2), "ms", 1});
  Table.Print({"longest delivery on the way to 5 M entries: 16 channels", storing(16), "ms", 1});
  const auto atLimit = [&](size_t limit, unsigned int mode) {
    return MedianOf(Rounds, [&] {
      Recording recording(1, static_cast<unsigned int>(limit));
      return LongestDelivery(recording, limit + limit / 10, mode);
    });
  };
  Table.Print({"longest delivery when 1 M entries are swapped", atLimit(Many / 5, 0), "ms", 2});
  Table.Print({"longest delivery when 9 M entries are swapped", atLimit(Many / 5 * 9, 0), "ms", 2});
  Table.Print(
      {"longest delivery when half of 5 M entries is dropped", atLimit(Many, QOR_TRACE_START_DISCARD_OLDEST), "ms", 2});
}

void Goals::EndOfWork() {
  const double flush = MedianOf(Rounds, [&] {
    Recording recording(1);
    recording.Record(Many);
    return WallTime([&] { recording.Monitor.FlushMonitorBuffer(); });
  });
  Table.Print({"flush of 5 M entries", flush * 1e3, "ms", 20});
  const double stop = MedianOf(Rounds, [&] {
    Recording recording(2);
    recording.Deliver(Many, {.Spacing = 1'000'000'000});
    return WallTime([&] { recording.Monitor.Stop(); });
  });
  Table.Print({"stop with 5 M entries in the sort queue", stop, "s", 0.1});
}

/// Pages through the first `items` entries; returns the bytes delivered.
size_t PageThrough(Qor_Trace_Monitor& monitor, size_t items, std::vector<unsigned char>& buffer) {
  size_t bytes = 0;
  for (unsigned int next = 0; next < items;) {
    unsigned int count = kCall / 56;
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
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    while (read(file, buffer.data(), kCall) > 0) {
    }
    close(file);
  });
}

void Goals::Retrieval() {
  std::vector<unsigned char> buffer(kCall);
  {
    Recording recording(1);
    recording.Record(Some());
    const size_t bytes = PageThrough(recording.Monitor, Some(), buffer);
    const std::vector<unsigned char> from(bytes, 1);
    const auto copyInPieces = [&] {
      for (size_t place = 0; place < bytes; place += kCall) {
        std::memcpy(buffer.data(), from.data() + place, std::min<size_t>(kCall, bytes - place));
      }
    };
    const auto row = bench::Compare(
        "", 2 * Rounds + 1, 1, "", [&] { return bench::Cost([&] { PageThrough(recording.Monitor, Some(), buffer); }); },
        [&] { return bench::Cost(copyInPieces); });
    Table.Print(
        {"memcpy by copying out of memory, calls of 1 MiB", row.BoundSeconds / row.WorkSeconds, "x", 0.8, true});
  }
  Recording recording(1, 1);
  recording.Record(Some());
  SwapFile(recording, Some());
}

void Goals::SwapFile(Recording& recording, size_t items) {
  std::vector<unsigned char> buffer(kCall);
  std::filesystem::path file;
  for (const auto& entry : std::filesystem::directory_iterator(".")) {
    if (entry.path().extension() == ".bin") file = entry.path();
  }
  const auto row = bench::Compare(
      "", 2 * Rounds + 1, 1, "", [&] { return bench::Cost([&] { PageThrough(recording.Monitor, items, buffer); }); },
      [&] { return ReadFile(file, buffer); });
  Table.Print({"paging through the swap file, by read()", row.WorkSeconds / row.BoundSeconds, "x", 1.3});

  constexpr unsigned int kCalls = 20'000;
  std::minstd_rand random(42);
  const double cost = bench::Cost([&] {
    for (unsigned int call = 0; call < kCalls; ++call) {
      unsigned int count = 1;
      unsigned int size = kCall;
      recording.Monitor.GetItems(static_cast<unsigned int>(random() % items), &count, &size, buffer.data());
    }
  });
  Table.Print({"one swapped entry at a random index", cost / kCalls * 1e6, "us", 3});

  const auto [written, bytes] = [&] {
    recording.Monitor.ExportToASC(0, "out.asc", 0, 0);
    const size_t size = std::filesystem::file_size("out.asc");
    return std::pair(std::vector<unsigned char>(size, 'x'), size);
  }();
  const auto asc = bench::Compare(
      "", Rounds, 1, "", [&] { return bench::Cost([&] { recording.Monitor.ExportToASC(0, "out.asc", 0, 0); }); },
      [&, &text = written, &size = bytes] {
        return bench::Cost([&] {
          const int out = open("out.asc", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
          for (size_t place = 0; place < size; place += 256 * 1024) {
            if (write(out, text.data() + place, std::min<size_t>(256 * 1024, size - place)) < 0) std::abort();
          }
          close(out);
        });
      });
  Table.Print({"ASC from the swap file, by write()", asc.WorkSeconds / asc.BoundSeconds, "x", 2.3});
}

void Goals::List() {
  const auto items = static_cast<double>(Some());
  const auto more = [&](unsigned int identifiers) {
    const auto row = bench::Compare(
        "", Rounds, 1, "", [&] { return CostOf(1, {.Identifiers = identifiers}); },
        [&] { return CostOf(1, {.Identifiers = 1}); });
    return (row.WorkSeconds - row.BoundSeconds) / items * 1e9;
  };
  Table.Print({"more time per entry with 100 identifiers than with one", more(100), "ns", 3});
  Table.Print({"more time per entry with 1000 identifiers than with one", more(1000), "ns", 8});
  Table.Print({"more time per entry with 10,000 identifiers than with one", more(10'000), "ns", 15});
  Table.Print({"more time per entry with 100,000 identifiers than with one", more(100'000), "ns", 40});

  const unsigned int rows = Quick ? 1000 : 98'000;
  Recording recording(1);
  recording.Record(rows, {.Identifiers = rows});
  std::vector<unsigned char> buffer(kCall);
  const double cost = MedianOf(Rounds, [&] {
    return bench::Cost([&] {
      for (unsigned int start = 0; start < rows; start += 100) {
        unsigned int count = 100;
        unsigned int size = kCall;
        recording.Monitor.GetListItems(start, &count, &size, buffer.data());
      }
    });
  });
  Table.Print({"GetListItems in pages of 100, per row", cost / rows * 1e9, "ns", 40});
}

}  // namespace

int main(int argc, char** argv) {
  bench::BecomeMultiThreaded();
  Goals goals(argc, argv);
  goals.SortQueueMemory();  // before others leave freed memory in the process
  goals.Acquisition();
  goals.LongestDeliveries();
  goals.EndOfWork();
  goals.Retrieval();
  goals.List();
  goals.Mdf();
}
