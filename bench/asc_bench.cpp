// ASC text export: the time of a line, by kind, as a ratio to write() of the same bytes.
//
// Both sides open, write and close a file; write() gets the finished text in pieces as large as the writer's buffer.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "Measure.h"
#include "Random.h"
#include "export/ExportFile.h"
#include "export/Qor_Trace_Export_ASC.h"
#include "support/EntryBuilder.h"

namespace {

using test::Bytes;

struct Kind {
  const char* Name;
  size_t Entries;
  std::function<test::EntryPtr(Random& random, unsigned long timestamp)> Make;
};

const std::vector<Kind>& Kinds() {
  static const std::vector<Kind> kinds = {
      {"CAN 8: ", 400'000,
       [](Random& random, unsigned long time) {
         return test::CanItem().At(time).Id(random.Below(0x800)).Data(random.SomeBytes(8)).Entry();
       }},
      {"CAN 8 extended: ", 400'000,
       [](Random& random, unsigned long time) {
         return test::CanItem().At(time).Id(random.Below(0x20000000)).Extended().Data(random.SomeBytes(8)).Entry();
       }},
      {"CAN FD 64: ", 150'000,
       [](Random& random, unsigned long time) {
         return test::CanItem().At(time).Id(random.Below(0x800)).Fd().Brs().Data(random.SomeBytes(64)).Entry();
       }},
      {"LIN 8: ", 100'000,
       [](Random& random, unsigned long time) {
         return test::LinItem().At(time).Channel(2).Id(random.Below(64)).Data(random.SomeBytes(8), 0x5A).Entry();
       }},
      {"FlexRay 32: ", 200'000,
       [](Random& random, unsigned long time) {
         const auto cycle = random.Below(64);
         return test::FlexRayItem()
             .At(time)
             .Slot(1 + random.Below(2047))
             .Cycle(cycle)
             .HeaderCrc(random.Below(2048))
             .Data(random.SomeBytes(32))
             .Entry();
       }},
      {"Ethernet: ", 40'000,
       [](Random& random, unsigned long time) {
         return test::EthernetItem().At(time).Frame(random.SomeBytes(60 + random.Below(1455))).Entry();
       }},
  };
  return kinds;
}

Qor_Trace_EntryStore MakeStore(const Kind& kind, size_t count) {
  Random random;
  Qor_Trace_EntryStore store;
  unsigned long time = 100'000'000'000;
  for (size_t i = 0; i < count; ++i) store.push_back(kind.Make(random, time += 100'000 + random.Below(200'000)));
  return store;
}

[[noreturn]] void Fail(const std::string& what) {
  std::perror(what.c_str());
  std::exit(1);
}

double TimeOfExport(const std::string& path, const Qor_Trace_EntryStore& store) {
  unlink(path.c_str());
  const double begin = bench::CpuSeconds();
  Qor_Trace_Export_ASC writer(0, path.c_str(), 0, 0);
  writer.Export("", 0, store);
  writer.EndFile();
  const double time = bench::CpuSeconds() - begin;
  if (writer.Failed()) Fail(path);
  return time;
}

double TimeOfWrite(const std::string& path, const std::string& text) {
  unlink(path.c_str());
  const double begin = bench::CpuSeconds();
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (file < 0) Fail(path);
  for (size_t done = 0; done < text.size();) {
    const size_t piece = std::min(ExportFile::kCapacity, text.size() - done);
    const ssize_t count = write(file, text.data() + done, piece);
    if (count < 0) Fail(path);
    done += static_cast<size_t>(count);
  }
  close(file);
  return bench::CpuSeconds() - begin;
}

std::string Contents(const std::string& path) {
  struct stat status {};
  const int file = open(path.c_str(), O_RDONLY);
  if (file < 0 || fstat(file, &status) != 0) Fail(path);
  std::string text(static_cast<size_t>(status.st_size), '\0');
  if (read(file, text.data(), text.size()) != status.st_size) Fail(path);
  close(file);
  return text;
}

void Measure(const Kind& kind, bool quick, const std::string& path) {
  const size_t count = quick ? 1000 : kind.Entries;
  const Qor_Trace_EntryStore store = MakeStore(kind, count);
  TimeOfExport(path, store);
  const std::string text = Contents(path);
  const auto lines = static_cast<double>(count);
  auto row = bench::Compare(
      kind.Name, quick ? 1 : 15, lines, "line", [&] { return TimeOfExport(path, store); },
      [&] { return TimeOfWrite(path, text); });
  unlink(path.c_str());
  char figures[64];
  std::snprintf(figures, sizeof figures, "%.0f bytes, %.1f M lines/s", static_cast<double>(text.size()) / lines,
                lines / row.WorkSeconds / 1e6);
  row.Name += figures;
  bench::Print(row);
}

/// A directory in memory where there is one, so that no disk is measured.
std::string Directory() { return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "."; }

}  // namespace

int main(int argc, char** argv) {
  const bool quick = bench::Quick(argc, argv);
  bench::BecomeMultiThreaded();
  const std::string path = Directory() + "/asc_bench_" + std::to_string(getpid()) + ".asc";
  bench::PrintHead();
  for (const Kind& kind : Kinds()) Measure(kind, quick, path);
  return 0;
}
