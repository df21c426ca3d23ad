// A .bin file to an ASC file, as `qor-trace convert` does it: by the client's writer, and by the library's export.
//
// The bound is write() of the same text, in pieces as large as the writers' buffers. Both sides open, write and close a file.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Measure.h"
#include "Scratch.h"
#include "Traffic.h"
#include "inputs/BinReader.h"
#include "outputs/AscWriter.h"
#include "outputs/ExportedAsc.h"

namespace {

namespace fs = std::filesystem;
using bench::Traffic;

constexpr size_t kPiece = size_t{256} * 1024;

void WriteRecords(const fs::path& path, const Traffic& traffic, size_t count) {
  std::ofstream file(path, std::ios::binary);
  bench::ForEachRecord(traffic.Make, count, [&](const RecordView& record) {
    file.write(reinterpret_cast<const char*>(record.Bytes().data()), record.Length());
  });
}

template <class Output>
double TimeOfConversion(const fs::path& from, const fs::path& to) {
  fs::remove(to);
  return bench::Cost([&] {
    client::BinReader reader(from.string());
    Output output(to.string(), client::AscOptions{});
    (void)client::ReadAll(reader, output);
    if (!output.Finish()) std::abort();
  });
}

double TimeOfWrite(const fs::path& path, const std::string& text) {
  fs::remove(path);
  return bench::Cost([&] {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    for (size_t done = 0; done < text.size(); done += kPiece) {
      const size_t piece = std::min(kPiece, text.size() - done);
      if (write(file, text.data() + done, piece) != static_cast<ssize_t>(piece)) std::abort();
    }
    close(file);
  });
}

std::string Contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

template <class Output>
void Measure(const char* what, const Traffic& traffic, const fs::path& folder, bool quick) {
  const size_t count = quick ? 1000 : traffic.Records;
  WriteRecords(folder / "x.bin", traffic, count);
  TimeOfConversion<Output>(folder / "x.bin", folder / "x.asc");
  const std::string text = Contents(folder / "x.asc");
  auto row = bench::Compare(
      std::string(what) + ", " + traffic.Name + ": ", quick ? 1 : 11, static_cast<double>(count), "entry",
      [&] { return TimeOfConversion<Output>(folder / "x.bin", folder / "x.asc"); },
      [&] { return TimeOfWrite(folder / "x.asc", text); });
  char figure[32];
  std::snprintf(figure, sizeof figure, "%.1f M/s", static_cast<double>(count) / row.WorkSeconds / 1e6);
  row.Name += figure;
  bench::Print(row);
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = bench::Quick(argc, argv);
  bench::BecomeMultiThreaded();
  const bench::Scratch scratch;
  bench::PrintHead();
  for (const Traffic& traffic : {bench::kCan, bench::kCanFd, bench::kFourBuses}) {
    Measure<client::AscWriter>("own", traffic, scratch.Folder(), quick);
    Measure<client::ExportedAsc>("as exported", traffic, scratch.Folder(), quick);
  }
  return 0;
}
