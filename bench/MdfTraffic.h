// What the benchmarks of MDF files share: bus traffic, and the time that zlib alone takes on the bytes of a file.
#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Measure.h"
#include "mdf/File.h"

namespace bench {

constexpr size_t kDistinct = 4096;  // entries, which are inserted over and over with new times

inline void Require(bool done, const char* what) {
  if (done) return;
  std::fprintf(stderr, "%s failed\n", what);
  std::exit(1);
}

/// Traffic of one bus: rising times, few identifiers, data that changes in some places.
class MdfTraffic {
 public:
  explicit MdfTraffic(unsigned char busType, unsigned char dataBytes) : BusType(busType) {
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
    } else if (BusType == BusType_Lin) {
      entry.Length = offsetof(Qor_Trace_Entry_t, Payload) + sizeof entry.Payload.Lin;
      entry.Payload.Lin.Identifier = static_cast<unsigned char>(message);
      entry.Payload.Lin.DataLength = static_cast<unsigned char>(dataBytes + 1);
      entry.Payload.Lin.BitTime = 416'667;  // eighths of a ns: 19200 bit/s
      data = entry.Payload.Lin.Data;
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

inline double WriteFile(const std::string& path, unsigned char busType, unsigned char dataBytes, size_t frames) {
  MdfTraffic traffic(busType, dataBytes);
  MdfFile file(path, 0);
  Require(file.Bus_Add(1, busType), "adding the bus");
  return bench::Cost([&] {
    for (size_t frame = 0; frame < frames; ++frame) Require(file.Data_Insert(traffic.Next()), "an insert");
    Require(file.File_Close(traffic.Time), "closing");
  });
}

inline std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline std::string Unpacked(const char* packed, size_t packedSize, size_t size) {
  std::string plain(size, '\0');
  uLongf plainSize = size;
  const int done = uncompress(reinterpret_cast<Bytef*>(plain.data()), &plainSize,
                              reinterpret_cast<const Bytef*>(packed), packedSize);
  Require(done == Z_OK && plainSize == size, "unpacking");
  return plain;
}

/// The data blocks of a file before packing.
inline std::vector<std::string> PlainBlocks(const std::string& bytes) {
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

inline double CompressOnly(const std::vector<std::string>& blocks) {
  std::vector<unsigned char> packed(compressBound(0x200000));
  return bench::Cost([&] {
    for (const std::string& block : blocks) {
      uLongf size = packed.size();
      const auto* bytes = reinterpret_cast<const unsigned char*>(block.data());
      Require(compress2(packed.data(), &size, bytes, block.size(), 4) == Z_OK, "compress2");
    }
  });
}

}  // namespace bench
