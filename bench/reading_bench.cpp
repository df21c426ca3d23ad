// A file of each format that the client reads, record by record.
//
// The bound is read() of the same file, in pieces as large as the readers' blocks. Files lie in memory, if the machine has such a
// place. A format is a row of kFormats: how its file is made, and of which traffic.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Measure.h"
#include "Scratch.h"
#include "Traffic.h"
#include "inputs/CsvRow.h"
#include "inputs/Inputs.h"
#include "outputs/OutputSet.h"

namespace {

using bench::Traffic;

// ---- How the files are made ----------------------------------------------------------------------------------------------

/// As `qor-trace convert` writes it.
void WriteOutput(const std::string& path, const Traffic& traffic, size_t count) {
  client::OutputPlan plan;
  plan.Outputs = client::PlanOutputs({path}, {}, "/");
  client::OutputSet outputs(plan);
  client::Description known;
  bench::ForEachRecord(traffic.Make, count, [&](const RecordView& record) {
    if (!known.Anchor) {
      client::SetFirstTime(known, record.Timestamp());
      outputs.Describe(known);
    }
    if (!outputs.Take(record)) std::abort();
  });
  outputs.Finish(known);
  if (!outputs.Errors().empty()) std::abort();
}

/// LIN frames, as other programs write them for the simulator.
void WriteCsv(const std::string& path, const Traffic& traffic, size_t count) {
  std::ofstream file(path);
  file << client::kCsvHeader << '\n';
  bench::ForEachRecord(traffic.Make, count, [&](const RecordView& record) {
    const LinView lin = record.Lin();
    file << fmt::format("{},1,frame,,0x{:x},,0x{:x},", record.Timestamp(), lin.Identifier, *lin.Checksum());
    for (const unsigned char byte : lin.Data()) file << fmt::format("{:02x}", byte);
    file << '\n';
  });
}

struct Format {
  const char* Name;
  const char* File;
  void (*Write)(const std::string& path, const Traffic& traffic, size_t count);
  std::vector<Traffic> What;
};

const std::vector<Format>& Formats() {
  using bench::kCan, bench::kCanFd, bench::kFourBuses, bench::kLin;
  static const std::vector<Format> formats = {{".bin", "x.bin", WriteOutput, {kCan, kCanFd, kFourBuses}},
                                              {".asc", "x.asc", WriteOutput, {kCan, kCanFd, kFourBuses}},
                                              {"candump", "x.log", WriteOutput, {kCan, kCanFd}},
                                              {"CSV", "x.csv", WriteCsv, {kLin}},
                                              {".pcapng", "x.pcapng", WriteOutput, {kCan, kCanFd, kFourBuses}},
                                              {".mf4", "x.mf4", WriteOutput, {kCan, kCanFd, kFourBuses}},
                                              {".bin.gz", "x.bin.gz", WriteOutput, {kFourBuses}},
                                              {".bin.zst", "x.bin.zst", WriteOutput, {kFourBuses}}};
  return formats;
}

// ---- What is measured ----------------------------------------------------------------------------------------------------

double TimeOfReading(const std::string& path, size_t count) {
  return bench::Cost([&] {
    const auto reader = client::OpenInput(path);
    size_t records = 0;
    while (reader->Next() != nullptr) ++records;
    if (records != count || reader->Found().Lossy()) std::abort();
  });
}

double TimeOfRead(const std::string& path) {
  constexpr size_t kPiece = 1u << 20;
  const std::unique_ptr<char[]> piece(new char[kPiece]());
  return bench::Cost([&] {
    const int file = open(path.c_str(), O_RDONLY);
    while (read(file, piece.get(), kPiece) > 0) {
    }
    close(file);
  });
}

void Measure(const Format& format, const Traffic& traffic, const bench::Scratch& scratch, bool quick) {
  const size_t count = quick ? 1000 : traffic.Records;
  const std::string path = scratch.Path(format.File);
  format.Write(path, traffic, count);
  auto row = bench::Compare(
      fmt::format("{}, {}: ", format.Name, traffic.Name), quick ? 1 : 11, static_cast<double>(count), "record",
      [&] { return TimeOfReading(path, count); }, [&] { return TimeOfRead(path); });
  row.Name += fmt::format("{:.1f} M/s", static_cast<double>(count) / row.WorkSeconds / 1e6);
  bench::Print(row);
  std::filesystem::remove(path);
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = bench::Quick(argc, argv);
  bench::BecomeMultiThreaded();
  const bench::Scratch scratch;
  bench::PrintHead();
  for (const Format& format : Formats())
    for (const Traffic& traffic : format.What) Measure(format, traffic, scratch, quick);
  return 0;
}
