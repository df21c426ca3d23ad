// Filling and flushing MDF data lists: plain ones against memcpy and write() of the same bytes in blocks of the same
// size, packed ones against compress2 at level 4 alone on the same blocks.
#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Measure.h"
#include "mdf/Block.h"

namespace {

constexpr size_t kBlock = 0x200000 - 48;  // what a list puts into one data block at most

/// Bus records of 26 bytes: rising times, few identifiers, data that changes in some places.
std::string BusRecords(size_t bytes) {
  std::string all;
  all.reserve(bytes + 26);
  unsigned long time = 0;
  unsigned int random = 42;
  while (all.size() < bytes) {
    random = random * 1664525U + 1013904223U;
    time += 100'000 + (random >> 16);
    const unsigned int id = 0x100 + (random >> 28) * 0x10;
    const unsigned long data = (static_cast<unsigned long>(random >> 20) << 24) | id;
    char record[26] = {};
    std::memcpy(record, &time, 8);
    std::memcpy(record + 8, &id, 4);
    record[16] = record[17] = 8;
    std::memcpy(record + 18, &data, 8);
    all.append(record, sizeof record);
  }
  return all;
}

/// A file in memory if the machine has one.
std::string ScratchFile() {
  const std::filesystem::path shared = "/dev/shm";
  const auto folder = std::filesystem::is_directory(shared) ? shared : std::filesystem::temp_directory_path();
  return (folder / ("mdf_block_bench_" + std::to_string(getpid()))).string();
}

void Require(bool done, const char* what) {
  if (done) return;
  std::fprintf(stderr, "mdf_block_bench: %s failed\n", what);
  std::exit(1);
}

double FillList(std::string& data, size_t record, bool packed) {
  const std::string path = ScratchFile();
  double seconds = 0;
  {
    FileStream stream(path);
    MDF::IDBLOCK id("mdfbench");
    Require(id.Write(stream), "writing the identification");
    MDF::DGBLOCK group(false);
    MDF::DLBLOCK list(&group, 4, packed, stream);
    seconds = bench::Cost([&] {
      auto* bytes = reinterpret_cast<unsigned char*>(data.data());
      for (size_t at = 0; at + record <= data.size(); at += record) {
        Require(list.Insert(bytes + at, static_cast<unsigned int>(record)), "an insert");
      }
      Require(list.Write(), "the last flush");
      stream.flush();
    });
    Require(stream.good(), "writing");
  }
  std::filesystem::remove(path);
  return seconds;
}

double CopyAndWrite(const std::string& data) {
  const std::string path = ScratchFile();
  const int file = open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
  Require(file >= 0, "opening the file");
  const auto cache = std::make_unique<char[]>(kBlock);
  const double seconds = bench::Cost([&] {
    for (size_t at = 0; at < data.size(); at += kBlock) {
      const size_t size = std::min(kBlock, data.size() - at);
      std::memcpy(cache.get(), data.data() + at, size);
      Require(write(file, cache.get(), size) == static_cast<ssize_t>(size), "write()");
    }
  });
  close(file);
  std::filesystem::remove(path);
  return seconds;
}

double CompressOnly(const std::string& data) {
  std::vector<unsigned char> packed(compressBound(kBlock));
  return bench::Cost([&] {
    for (size_t at = 0; at < data.size(); at += kBlock) {
      uLongf size = packed.size();
      const auto* bytes = reinterpret_cast<const unsigned char*>(data.data()) + at;
      Require(compress2(packed.data(), &size, bytes, std::min(kBlock, data.size() - at), 4) == Z_OK, "compress2");
    }
  });
}

bench::Row Plain(const std::string& name, int rounds, std::string& data, size_t record) {
  return bench::Compare(
      name, rounds, static_cast<double>(data.size() / record), "record", [&] { return FillList(data, record, false); },
      [&] { return CopyAndWrite(data); });
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = bench::Quick(argc, argv);
  const int rounds = quick ? 1 : 9;
  std::string data = BusRecords(quick ? size_t{5} << 20 : size_t{128} << 20);
  std::string small = BusRecords(quick ? size_t{5} << 20 : size_t{32} << 20);
  bench::PrintHead();
  bench::Print(Plain("plain list, records of 26 bytes", rounds, data, 26));
  bench::Print(Plain("plain list, records of 104 bytes", rounds, data, 104));
  bench::Print(Plain("plain list, pieces of 4 KiB", rounds, data, 4096));
  bench::Print(bench::Compare(
      "packed list, records of 26 bytes", quick ? 1 : 5, static_cast<double>(small.size() / 26), "record",
      [&] { return FillList(small, 26, true); }, [&] { return CompressOnly(small); }));
  return 0;
}
