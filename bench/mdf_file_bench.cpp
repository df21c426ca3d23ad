// Writing bus traffic with MdfFile, against compress2 at level 4 alone on the same bytes in the same blocks. Also the
// bytes that a frame takes in the file, and the memory of a long recording.
#include <unistd.h>
#include <zlib.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "Measure.h"
#include "Scratch.h"
#include "mdf/File.h"

namespace {

constexpr size_t kDistinct = 4096;  // entries, which are inserted over and over with new times

void Require(bool done, const char* what) {
  if (done) return;
  std::fprintf(stderr, "mdf_file_bench: %s failed\n", what);
  std::exit(1);
}

/// Traffic of one bus: rising times, few identifiers, data that changes in some places.
class Traffic {
 public:
  explicit Traffic(unsigned char busType, unsigned char dataBytes) : BusType(busType) {
    for (auto& entry : Entries) Fill(entry, dataBytes);
  }

  Qor_Trace_Entry_t& Next() {
    Qor_Trace_Entry_t& entry = Entries[At++ % kDistinct];
    Time += 100'000 + (Random() >> 16);
    entry.Timestamp = Time;
    return entry;
  }

  const unsigned char BusType;
  unsigned long Time = 0;

 private:
  unsigned int Random() { return Seed = Seed * 1664525U + 1013904223U; }

  void Fill(Qor_Trace_Entry_t& entry, unsigned char dataBytes) {
    entry.ChannelId = 1;
    entry.BusType = BusType;
    const unsigned int message = Random() >> 28;
    unsigned char* data = entry.Payload.Can.Data;
    if (BusType == BusType_Can) {
      entry.Length = 44U + dataBytes;
      entry.Payload.Can.Identifier = 0x100 + 16 * message;
      entry.Payload.Can.Flags = dataBytes > 8 ? QOR_TRACE_CAN_FD | QOR_TRACE_CAN_BRS : 0;
      entry.Payload.Can.Dlc = dataBytes > 8 ? 15 : dataBytes;
      entry.Payload.Can.DataLength = dataBytes;
    } else {
      entry.Length = 48U + dataBytes;
      entry.Payload.FlexRay.ItemType = QOR_TRACE_FLEXRAY_RECEIVED;
      entry.Payload.FlexRay.SlotId = static_cast<unsigned short>(1 + message);
      entry.Payload.FlexRay.Cycle = static_cast<unsigned char>(Random() >> 26);
      entry.Payload.FlexRay.PayloadLength = dataBytes / 2;
      data = entry.Payload.FlexRay.Data;
    }
    for (unsigned char byte = 0; byte < dataBytes; ++byte) {
      const bool changes = byte % 4 == 3;
      data[byte] = static_cast<unsigned char>(changes ? Random() >> 24 : message * byte);
    }
  }

  unsigned int Seed = 42;
  size_t At = 0;
  std::vector<Qor_Trace_Entry_t> Entries{kDistinct};
};

double WriteFile(const std::string& path, unsigned char busType, unsigned char dataBytes, size_t frames) {
  Traffic traffic(busType, dataBytes);
  MdfFile file(path, 0);
  Require(file.Bus_Add(1, busType), "adding the bus");
  return bench::Cost([&] {
    for (size_t frame = 0; frame < frames; ++frame) Require(file.Data_Insert(traffic.Next()), "an insert");
    Require(file.File_Close(traffic.Time), "closing");
  });
}

std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string Unpacked(const char* packed, size_t packedSize, size_t size) {
  std::string plain(size, '\0');
  uLongf plainSize = size;
  const int done = uncompress(reinterpret_cast<Bytef*>(plain.data()), &plainSize,
                              reinterpret_cast<const Bytef*>(packed), packedSize);
  Require(done == Z_OK && plainSize == size, "unpacking");
  return plain;
}

/// The data blocks of a file before packing.
std::vector<std::string> PlainBlocks(const std::string& bytes) {
  std::vector<std::string> blocks;
  const auto number = [&](size_t offset) {
    unsigned long value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
  };
  for (size_t at = 64; at + 48 <= bytes.size(); at += 8) {
    if (bytes.compare(at, 4, "##DZ") != 0) continue;
    blocks.push_back(Unpacked(bytes.data() + at + 48, number(at + 40), number(at + 32)));
    at += (number(at + 8) + 7) / 8 * 8 - 8;
  }
  return blocks;
}

double CompressOnly(const std::vector<std::string>& blocks) {
  std::vector<unsigned char> packed(compressBound(0x200000));
  return bench::Cost([&] {
    for (const std::string& block : blocks) {
      uLongf size = packed.size();
      const auto* bytes = reinterpret_cast<const unsigned char*>(block.data());
      Require(compress2(packed.data(), &size, bytes, block.size(), 4) == Z_OK, "compress2");
    }
  });
}

void Compare(const char* name, const bench::Scratch& scratch, unsigned char busType, unsigned char dataBytes,
             size_t frames, int rounds) {
  const std::string path = scratch.Path("trace");
  WriteFile(path, busType, dataBytes, frames);
  const std::string bytes = Contents(path + ".mf4");
  const std::vector<std::string> blocks = PlainBlocks(bytes);
  size_t plain = 0;
  for (const std::string& block : blocks) plain += block.size();
  bench::Print(bench::Compare(
      name, rounds, static_cast<double>(frames), "frame", [&] { return WriteFile(path, busType, dataBytes, frames); },
      [&] { return CompressOnly(blocks); }));
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
  Traffic traffic(BusType_Can, 8);
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
