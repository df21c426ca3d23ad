// The goals of MDF files: what recording into one costs beside zlib, and how long its caller is held up.
#include "MdfGoals.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "FakeHardware.h"
#include "MdfTraffic.h"
#include "Scratch.h"

namespace {

using bench::MdfTraffic;
using bench::Require;

/// zlib's time over the file's.
double ZlibAlone(const bench::Scratch& scratch, unsigned char busType, unsigned char dataBytes, size_t frames,
                 int rounds) {
  const std::string path = scratch.Path("trace");
  bench::WriteFile(path, busType, dataBytes, frames);
  const std::vector<std::string> blocks = bench::PlainBlocks(bench::Contents(path + ".mf4"));
  const auto row = bench::Compare(
      "", rounds, 1, "", [&] { return bench::WriteFile(path, busType, dataBytes, frames); },
      [&] { return bench::CompressOnly(blocks); });
  return row.BoundSeconds / row.WorkSeconds;
}

double ThreadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Half a million frames a second, as fast buses bring them: in bursts, so that the workers keep up. `burst` inserts `count`
/// frames.
template <class Burst>
void InBursts(size_t frames, const Burst& burst) {
  constexpr size_t kBurst = 1000;
  auto next = std::chrono::steady_clock::now();
  for (size_t done = 0; done < frames; done += kBurst) {
    burst(kBurst);
    next += std::chrono::milliseconds(2);
    std::this_thread::sleep_until(next);
  }
}

/// A file that two workers pack for.
struct Recording {
  explicit Recording(const std::string& path) : File(path, 0) {
    Require(File.Bus_Add(1, BusType_Can) && File.Workers_Set(2), "beginning a file");
  }
  void Insert() { Require(File.Data_Insert(Frames.Next()), "an insert"); }

  MdfTraffic Frames{BusType_Can, 8};
  MdfFile File;
};

/// CPU time of the calling thread for each frame, ns. What zlib would take on it, without workers, is not in it.
double CallersShare(const bench::Scratch& scratch, size_t frames) {
  Recording recording(scratch.Path("trace"));
  double seconds = 0;
  InBursts(frames, [&](size_t count) {
    const double start = ThreadSeconds();
    for (size_t frame = 0; frame < count; ++frame) recording.Insert();
    seconds += ThreadSeconds() - start;
  });
  return seconds / static_cast<double>(frames) * 1e9;
}

/// ms, without the time in which other programs had the processor.
double LongestCall(const bench::Scratch& scratch, size_t frames) {
  using Clock = std::chrono::steady_clock;
  Recording recording(scratch.Path("trace"));
  double longest = 0;
  InBursts(frames, [&](size_t count) {
    const double waited = bench::WaitedForProcessor();
    Clock::duration longestHere{};
    auto before = Clock::now();
    for (size_t frame = 0; frame < count; ++frame) {
      recording.Insert();
      const auto after = Clock::now();
      longestHere = std::max(longestHere, after - before);
      before = after;
    }
    const double here = std::chrono::duration<double>(longestHere).count();
    longest = std::max(longest, here - (bench::WaitedForProcessor() - waited));
  });
  return longest * 1e3;
}

}  // namespace

void bench::MdfGoals(const GoalTable& table, bool quick) {
  const Scratch scratch;
  const int rounds = quick ? 1 : 5;
  const size_t frames = quick ? 100'000 : 2'000'000;
  const auto zlibAlone = [&](const char* name, unsigned char busType, unsigned char dataBytes, size_t share) {
    table.Print({name, ZlibAlone(scratch, busType, dataBytes, frames / share, rounds), "x", 0.93, true});
  };
  zlibAlone("zlib alone by an MDF file, packed: CAN, 8 data bytes", BusType_Can, 8, 1);
  zlibAlone("zlib alone by an MDF file, packed: CAN FD, 64 data bytes", BusType_Can, 64, 4);
  zlibAlone("zlib alone by an MDF file, packed: LIN", BusType_Lin, 8, 1);
  zlibAlone("zlib alone by an MDF file, packed: FlexRay, 16 data bytes", BusType_FlexRay, 16, 2);
  const auto median = [&](double (*figure)(const Scratch&, size_t)) {
    std::vector<double> figures;
    for (int round = 0; round < rounds; ++round) figures.push_back(figure(scratch, frames));
    return Median(figures);
  };
  table.Print({"a frame into an MDF file with two workers, time of the caller", median(CallersShare), "ns", 80});
  table.Print({"the same, longest call", median(LongestCall), "ms", 1});
}
