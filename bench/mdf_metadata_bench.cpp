// Describing what is added while a measurement file is recorded: an event before each record, a new bus before each record.
// The bound writes the blocks of the finished file one by one, each where it belongs. A ratio that stays the same from row to row
// means a cost in proportion to what is added.
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Measure.h"
#include "Scratch.h"
#include "mdf/File.h"

namespace {

void Require(bool done, const char* what) {
  if (done) return;
  std::fprintf(stderr, "mdf_metadata_bench: %s failed\n", what);
  std::exit(1);
}

Qor_Trace_Entry_t Frame(unsigned int bus, unsigned long time) {
  Qor_Trace_Entry_t entry{};
  entry.Length = 52;
  entry.ChannelId = bus;
  entry.BusType = BusType_Can;
  entry.Timestamp = time;
  entry.Payload.Can.Dlc = 8;
  entry.Payload.Can.DataLength = 8;
  return entry;
}

double WithEvents(const bench::Scratch& scratch, unsigned long count) {
  MdfFile file(scratch.Path("trace"), 0);
  Require(file.Bus_Add(1, BusType_Can), "adding the bus");
  return bench::Cost([&] {
    for (unsigned long time = 0; time < count; ++time) {
      Require(file.Event("marker", 2, 4, time), "an event");
      Qor_Trace_Entry_t frame = Frame(1, time);
      Require(file.Data_Insert(frame), "an insert");
    }
    Require(file.File_Close(count), "closing");
  });
}

double WithBuses(const bench::Scratch& scratch, unsigned long count) {
  MdfFile file(scratch.Path("trace"), 0);
  return bench::Cost([&] {
    for (unsigned int bus = 1; bus <= count; ++bus) {
      Require(file.Bus_Add(bus, BusType_Can), "adding a bus");
      Qor_Trace_Entry_t frame = Frame(bus, bus);
      Require(file.Data_Insert(frame), "an insert");
    }
    Require(file.File_Close(count), "closing");
  });
}

struct Piece {
  size_t Position;
  size_t Size;
};

/// The blocks of a file, by their positions.
std::vector<Piece> Blocks(const std::string& bytes) {
  std::vector<Piece> blocks;
  for (size_t at = 64; at + 24 <= bytes.size();) {
    unsigned long length = 0;
    std::memcpy(&length, bytes.data() + at + 8, sizeof length);
    const bool block = bytes.compare(at, 2, "##") == 0;
    if (block) blocks.push_back({at, length});
    at += block ? (length + 7) / 8 * 8 : 8;
  }
  return blocks;
}

/// Each block in its own write.
double WriteOnly(const std::string& path, const std::string& bytes, const std::vector<Piece>& blocks) {
  return bench::Cost([&] {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    Require(file >= 0, "opening");
    for (const Piece& block : blocks) {
      const ssize_t written =
          pwrite(file, bytes.data() + block.Position, block.Size, static_cast<off_t>(block.Position));
      Require(written == static_cast<ssize_t>(block.Size), "a write");
    }
    close(file);
  });
}

using Work = double (*)(const bench::Scratch& scratch, unsigned long count);

void Compare(const char* name, const char* unit, Work work, unsigned long count, int rounds) {
  const bench::Scratch scratch;
  work(scratch, count);
  std::ifstream file(scratch.Path("trace.mf4"), std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  const std::vector<Piece> blocks = Blocks(bytes);
  bench::Print(bench::Compare(
      std::to_string(count) + name, rounds, static_cast<double>(count), unit, [&] { return work(scratch, count); },
      [&] { return WriteOnly(scratch.Path("bound"), bytes, blocks); }));
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = bench::Quick(argc, argv);
  const int rounds = quick ? 1 : 5;
  bench::PrintHead();
  const std::vector<unsigned long> events = {1'000, 10'000, 100'000};
  const std::vector<unsigned long> buses = {20, 200, 2'000};
  for (size_t row = 0; row < (quick ? 1 : events.size()); ++row) {
    Compare(" events, each before a record", "event", WithEvents, events[row], rounds);
  }
  for (size_t row = 0; row < (quick ? 1 : buses.size()); ++row) {
    Compare(" buses, each before its record", "bus", WithBuses, buses[row], rounds);
  }
  return 0;
}
