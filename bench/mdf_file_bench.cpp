// Writing bus traffic with MdfFile, against compress2 at level 4 alone on the same bytes in the same blocks. Also the
// bytes that a frame takes in the file, and the memory of a long recording.
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "MdfTraffic.h"
#include "Measure.h"
#include "Scratch.h"
#include "mdf/File.h"

namespace {

using bench::MdfTraffic;
using bench::Require;

void Compare(const char* name, const bench::Scratch& scratch, unsigned char busType, unsigned char dataBytes,
             size_t frames, int rounds) {
  const std::string path = scratch.Path("trace");
  bench::WriteFile(path, busType, dataBytes, frames);
  const std::string bytes = bench::Contents(path + ".mf4");
  const std::vector<std::string> blocks = bench::PlainBlocks(bytes);
  size_t plain = 0;
  for (const std::string& block : blocks) plain += block.size();
  bench::Print(bench::Compare(
      name, rounds, static_cast<double>(frames), "frame",
      [&] { return bench::WriteFile(path, busType, dataBytes, frames); }, [&] { return bench::CompressOnly(blocks); }));
  std::printf("  %.2f bytes/frame in the file, %.2f before packing\n",
              static_cast<double>(bytes.size()) / static_cast<double>(frames),
              static_cast<double>(plain) / static_cast<double>(frames));
}

/// Bytes of the process in memory.
size_t Resident() {
  std::ifstream file("/proc/self/statm");
  size_t total = 0;
  size_t resident = 0;
  file >> total >> resident;
  return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

/// A long recording as a series of which only the current file is kept.
void LongRecording(const bench::Scratch& scratch, size_t frames) {
  constexpr unsigned int kFileKiB = 64 * 1024;
  MdfTraffic traffic(BusType_Can, 8);
  MdfFile file(scratch.Path("long"), 0, kFileKiB);
  Require(file.Bus_Add(1, BusType_Can), "adding the bus");
  size_t early = 0;
  for (size_t frame = 0; frame < frames; ++frame) {
    const bool look = frame % 100'000 == 0;
    Require(file.Data_Insert(traffic.Next()), "an insert");
    if (frame == frames / 10) early = Resident();
    if (!look) continue;
    for (const auto& other : std::filesystem::directory_iterator(scratch.Folder())) {
      if (other.path() != file.FileName()) std::filesystem::remove(other.path());
    }
  }
  const size_t late = Resident();
  Require(file.File_Close(traffic.Time), "closing");
  std::printf("memory after %zu and %zu frames: %.1f and %.1f MiB\n", frames / 10, frames,
              static_cast<double>(early) / 0x100000, static_cast<double>(late) / 0x100000);
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = bench::Quick(argc, argv);
  const int rounds = quick ? 1 : 7;
  const bench::Scratch scratch;
  LongRecording(scratch, quick ? 200'000 : 50'000'000);  // first, before others have left memory behind
  bench::PrintHead();
  const size_t frames = quick ? 200'000 : 2'000'000;
  Compare("CAN, 8 data bytes", scratch, BusType_Can, 8, frames, rounds);
  Compare("CAN FD, 64 data bytes", scratch, BusType_Can, 64, frames / 4, rounds);
  Compare("FlexRay, 16 data bytes", scratch, BusType_FlexRay, 16, frames / 2, rounds);
  return 0;
}
