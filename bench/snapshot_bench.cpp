// Snapshot: the longest time that a delivery waits while an export takes its snapshot, by size of the swap file.
//
// One thread takes the lock that every delivery takes, over and over, and keeps the longest time that this took. Meanwhile an
// export to a folder that doesn't exist takes its snapshot and ends there. The bound opens and closes a small file.
// Wall-clock time, of one export each; time in which other programs had the processor is left out, as it has nothing to
// do with the lock.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "FakeHardware.h"
#include "Measure.h"
#include "monitor/Qor_Trace.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kMiB = 1024 * 1024;
constexpr int kAttempts = 20;       // at an export that is never without a processor
constexpr unsigned int kLimit = 1;  // of entries in memory, so that every delivery is swapped

double Seconds(Clock::duration time) { return std::chrono::duration<double>(time).count(); }

using bench::WaitedForProcessor;

void SetLimit(Qor_Trace_Monitor& monitor) {
  monitor.Property_SetById(0, QOR_TRACE_PROPERTY_MAX_ENTRIES, sizeof kLimit,
                           reinterpret_cast<const unsigned char*>(&kLimit));
}

/// Takes the lock of the deliveries until the end of its life: setting the memory limit takes it and does nothing else.
class Deliveries {
 public:
  explicit Deliveries(Qor_Trace_Monitor& monitor) : Thread([this, &monitor] { Run(monitor); }) {}
  ~Deliveries() {
    Done = true;
    Thread.join();
  }
  Deliveries(const Deliveries&) = delete;
  Deliveries& operator=(const Deliveries&) = delete;

  /// The longest time that one waited during `work`, s.
  template <class Work>
  double LongestWaitDuring(Work work) {
    for (int attempt = 1;; ++attempt) {
      WaitForOne();
      Longest = 0;
      const double before = WaitedForProcessor();
      work();
      const bool undisturbed = WaitedForProcessor() == before;
      WaitForOne();  // one that began before the end of the work may still be waiting
      if (undisturbed || attempt == kAttempts) return Longest;
    }
  }

 private:
  void Run(Qor_Trace_Monitor& monitor) {
    auto start = Clock::now();
    double heldUp = WaitedForProcessor();
    while (!Done) {
      SetLimit(monitor);
      auto end = Clock::now();
      double waited = Seconds(end - start);
      if (waited > Longest) {
        const double now = WaitedForProcessor();
        waited -= now - std::exchange(heldUp, now);
        if (waited > Longest) Longest = waited;
        end = Clock::now();
      }
      start = end;
      ++Count;
    }
  }
  void WaitForOne() const {
    const unsigned long before = Count;
    while (Count < before + 2) std::this_thread::yield();
  }

  std::atomic<bool> Done = false;
  std::atomic<double> Longest = 0;  // s
  std::atomic<unsigned long> Count = 0;
  std::thread Thread;
};

void Swap(Qor_Trace_Monitor& monitor) {
  bench::LoadPorts({BusType_Can}, 1000);
  unsigned int number;
  monitor.AddChannel(1, 0, &number);
  SetLimit(monitor);
  monitor.Start(0);
  while (!bench::PortsDrained()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  monitor.Stop();
}

/// Makes the swap file take up that many bytes of the disk. What follows the records is never read here.
bool Grow(size_t bytes) {
  for (const auto& entry : std::filesystem::directory_iterator(".")) {
    if (entry.path().extension() != ".bin") continue;
    const int file = open(entry.path().c_str(), O_WRONLY | O_CLOEXEC);
    const bool grown = bytes == 0 || posix_fallocate(file, 0, static_cast<off_t>(bytes)) == 0;
    close(file);
    return grown;
  }
  return false;
}

void TakeSnapshot(Qor_Trace_Monitor& monitor) {
  try {
    monitor.ExportToASC(0, "missing/out.asc", 0, 0);
  } catch (const Qor_Trace_Exception&) {
  }
}

double OpenAndClose() {
  const double heldUp = WaitedForProcessor();
  const auto start = Clock::now();
  close(open("small", O_RDONLY | O_CLOEXEC));
  const double taken = Seconds(Clock::now() - start);
  return taken - (WaitedForProcessor() - heldUp);
}

/// The longest wait of a delivery in all rounds, s; nothing where the disk has no room for the file.
std::optional<double> Measure(size_t mib, int rounds) {
  Qor_Trace_Monitor monitor;
  Swap(monitor);
  if (!Grow(mib * kMiB)) {
    std::printf("snapshot of %zu MiB: no room for it\n", mib);
    return std::nullopt;
  }
  double longest = 0;
  Deliveries deliveries(monitor);
  const auto row = bench::Compare(
      "delivery during a snapshot of " + std::to_string(mib) + " MiB", rounds, 1, "export",
      [&] {
        const double wait = deliveries.LongestWaitDuring([&] { TakeSnapshot(monitor); });
        longest = std::max(longest, wait);
        return wait;
      },
      OpenAndClose);
  bench::Print(row);
  std::printf("%-44s %.3f ms, median %.3f ms\n", "  longest of all rounds", longest * 1e3, row.WorkSeconds * 1e3);
  return longest;
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = bench::Quick(argc, argv);
  // Not where temporary files may be kept in memory.
  const auto folder = std::filesystem::path("/var/tmp") / ("qor-bench-" + std::to_string(getpid()));
  std::filesystem::create_directory(folder);
  std::filesystem::current_path(folder);
  close(open("small", O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  bench::PrintHead();
  std::vector<std::pair<size_t, double>> longest;  // by size, MiB
  for (const size_t mib : quick ? std::vector<size_t>{0, 1} : std::vector<size_t>{0, 256, 1024, 2600})
    if (const auto seconds = Measure(mib, quick ? 3 : 101)) longest.emplace_back(mib, *seconds);
  const bench::GoalTable goals(argc, argv);
  for (const auto& [mib, seconds] : longest) {
    const std::string name = "longest delivery during a snapshot of " + std::to_string(mib) + " MiB";
    goals.Print({name.c_str(), seconds * 1e3, "ms", 1});
  }
  std::filesystem::current_path("/");
  std::filesystem::remove_all(folder);
}
