// A file of each format that the client reads, record by record.
//
// The bound is read() of the same file, in pieces as large as the readers' blocks. Files lie in memory, if the machine has such a
// place. A format is a row of kFormats: how its file is made.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Measure.h"
#include "Scratch.h"
#include "inputs/Inputs.h"
#include "outputs/AscWriter.h"
#include "support/EntryBuilder.h"

namespace {

using test::Bytes;

class Random {
 public:
  /// 0 to `end` - 1.
  unsigned int Below(unsigned int end) { return static_cast<unsigned int>(Engine() % end); }
  Bytes SomeBytes(size_t count) {
    Bytes bytes(count);
    for (auto& byte : bytes) byte = static_cast<unsigned char>(Engine());
    return bytes;
  }

 private:
  std::mt19937_64 Engine{42};
};

using MakeEntry = test::EntryPtr (*)(Random& random, unsigned long time);

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

/// Hands out the same records in every run, on a clock that counts since 1970.
void ForEachRecord(MakeEntry make, size_t count, const std::function<void(const RecordView&)>& visit) {
  Random random;
  unsigned long time = 1'794'733'219'123'456'000;
  for (size_t i = 0; i < count; ++i)
    visit(RecordView(*make(random, time += 100'000 + random.Below(200'000))->GetEntry()));
}

// ---- How the files are made ----------------------------------------------------------------------------------------------

void WriteBin(const std::string& path, MakeEntry make, size_t count) {
  std::ofstream file(path, std::ios::binary);
  ForEachRecord(make, count, [&](const RecordView& record) {
    file.write(reinterpret_cast<const char*>(record.Bytes().data()), record.Length());
  });
}

void WriteAsc(const std::string& path, MakeEntry make, size_t count) {
  client::AscWriter output(path, {});
  ForEachRecord(make, count, [&](const RecordView& record) {
    client::Description described;
    client::SetFirstTime(described, record.Timestamp());
    output.Describe(described);
    if (!output.Take(record)) std::abort();
  });
  if (!output.Finish()) std::abort();
}

/// Classic and FD frames, as candump writes them.
void WriteCandump(const std::string& path, MakeEntry make, size_t count) {
  std::ofstream file(path);
  ForEachRecord(make, count, [&](const RecordView& record) {
    const CanView can = record.Can();
    const unsigned long time = record.Timestamp();
    file << fmt::format("({}.{:06}) can0 {:03X}#{}", time / 1'000'000'000, time % 1'000'000'000 / 1000,
                        can.PlainIdentifier(), can.Has(QOR_TRACE_CAN_FD) ? "#1" : "");
    for (const unsigned char byte : can.Data()) file << fmt::format("{:02X}", byte);
    file << '\n';
  });
}

struct Format {
  const char* Name;
  const char* File;
  void (*Write)(const std::string& path, MakeEntry make, size_t count);
  bool CanOnly = false;
};

constexpr Format kFormats[] = {
    {".bin", "x.bin", WriteBin}, {".asc", "x.asc", WriteAsc}, {"candump", "x.log", WriteCandump, true}};

struct Kind {
  const char* Name;
  size_t Records;
  MakeEntry Make;
};

constexpr Kind kKinds[] = {{"CAN", 400'000, Can}, {"CAN FD 64", 100'000, CanFd}, {"four buses", 200'000, FourBuses}};

// ---- What is measured ----------------------------------------------------------------------------------------------------

double TimeOfReading(const std::string& path, size_t count) {
  return bench::Cost([&] {
    const auto reader = client::OpenInput(path);
    size_t records = 0;
    while (reader->Next() != nullptr) ++records;
    if (records != count || !reader->Found().Empty()) std::abort();
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

void Measure(const Format& format, const Kind& kind, const bench::Scratch& scratch, bool quick) {
  const size_t count = quick ? 1000 : kind.Records;
  const std::string path = scratch.Path(format.File);
  format.Write(path, kind.Make, count);
  auto row = bench::Compare(
      std::string(format.Name) + ", " + kind.Name + ": ", quick ? 1 : 11, static_cast<double>(count), "record",
      [&] { return TimeOfReading(path, count); }, [&] { return TimeOfRead(path); });
  char figure[32];
  std::snprintf(figure, sizeof figure, "%.1f M/s", static_cast<double>(count) / row.WorkSeconds / 1e6);
  row.Name += figure;
  bench::Print(row);
  std::filesystem::remove(path);
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = bench::Quick(argc, argv);
  bench::BecomeMultiThreaded();
  const bench::Scratch scratch;
  bench::PrintHead();
  for (const Format& format : kFormats)
    for (const Kind& kind : kKinds)
      if (!format.CanOnly || kind.Make != FourBuses) Measure(format, kind, scratch, quick);
  return 0;
}
