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
#include "Random.h"
#include "inputs/BinReader.h"
#include "outputs/AscWriter.h"
#include "outputs/ExportedAsc.h"
#include "support/EntryBuilder.h"

namespace {

namespace fs = std::filesystem;
using test::Bytes;

constexpr size_t kPiece = size_t{256} * 1024;

using Make = test::EntryPtr (*)(Random& random, unsigned long time);

test::EntryPtr Can(Random& random, unsigned long time) {
  return test::CanItem().At(time).Id(random.Below(0x800)).Data(random.SomeBytes(8)).Entry();
}

test::EntryPtr CanFd(Random& random, unsigned long time) {
  return test::CanItem().At(time).Id(random.Below(0x800)).Fd().Brs().Data(random.SomeBytes(64)).Entry();
}

/// What a vehicle has, roughly: mostly CAN.
test::EntryPtr FourBuses(Random& random, unsigned long time) {
  switch (random.Below(10)) {
    case 0:
      return test::LinItem().Channel(2).At(time).Id(random.Below(64)).Data(random.SomeBytes(8), 0x5A).Entry();
    case 1:
      return test::FlexRayItem().Channel(3).At(time).Slot(1 + random.Below(2047)).Data(random.SomeBytes(32)).Entry();
    case 2:
      return test::EthernetItem().Channel(4).At(time).Frame(random.SomeBytes(60 + random.Below(200))).Entry();
    default:
      return Can(random, time);
  }
}

struct Kind {
  const char* Name;
  size_t Entries;
  Make MakeEntry;
};

constexpr Kind kKinds[] = {{"CAN", 400'000, Can}, {"CAN FD 64", 100'000, CanFd}, {"four buses", 200'000, FourBuses}};

void WriteRecords(const fs::path& path, const Kind& kind, size_t count) {
  Random random;
  std::ofstream file(path, std::ios::binary);
  unsigned long time = 100'000'000'000;
  for (size_t i = 0; i < count; ++i) {
    const auto entry = kind.MakeEntry(random, time += 100'000 + random.Below(200'000));
    file.write(reinterpret_cast<const char*>(entry->GetEntry()), entry->GetLength());
  }
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
void Measure(const char* what, const Kind& kind, const fs::path& folder, bool quick) {
  const size_t count = quick ? 1000 : kind.Entries;
  WriteRecords(folder / "x.bin", kind, count);
  TimeOfConversion<Output>(folder / "x.bin", folder / "x.asc");
  const std::string text = Contents(folder / "x.asc");
  auto row = bench::Compare(
      std::string(what) + ", " + kind.Name + ": ", quick ? 1 : 11, static_cast<double>(count), "entry",
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
  // In memory where there is such a folder, so that no disk is measured.
  const fs::path memory = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : ".";
  const fs::path folder = memory / ("asc_convert_bench_" + std::to_string(getpid()));
  fs::create_directory(folder);
  bench::PrintHead();
  for (const Kind& kind : kKinds) {
    Measure<client::AscWriter>("own", kind, folder, quick);
    Measure<client::ExportedAsc>("as exported", kind, folder, quick);
  }
  fs::remove_all(folder);
  return 0;
}
