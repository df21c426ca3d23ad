// LIN monitor items: flags, identifier parity, checksum, bit time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qor_sim {

enum LinFlag : unsigned char {
  kLinParityError = 0x01,
  kLinChecksumError = 0x02,
  kLinSyncError = 0x04,
  kLinTransmitError = 0x08,  // only together with kLinTransmitted
  kLinTrigger = 0x10,        // an edge at the trigger input; Identifier: LinTriggerEdge
  kLinWakeUp = 0x20,
  kLinTransmitted = 0x40,  // else received
  kLinOverrun = 0x80       // the last item before data were lost
};

enum LinTriggerEdge : unsigned char { kLinRisingEdge = 0, kLinFallingEdge = 1 };

constexpr unsigned char kLinGreatestId = 0x3F;
constexpr size_t kLinGreatestDataLength = 8;  // bytes, without the checksum
constexpr size_t kLinTimeOffset = 4;          // in an item

struct LinItem {
  uint64_t Timestamp = 0;  // ns; the frame's start
  unsigned char Flags = 0;
  unsigned char Identifier = 0;  // as on the bus, parity bits included
  unsigned char DataLength = 0;  // bytes in Data that were on the bus, the checksum included
  uint32_t BitTime = 0;          // eighths of a ns
  unsigned char Data[kLinGreatestDataLength + 1] = {};
};

/// The identifier byte on the bus: an identifier, 0 to 63, with its two parity bits above it.
unsigned char LinProtectedIdentifier(unsigned char id);

/// The checksum of a response: over the data alone for the identifiers 60 to 63, over the identifier byte as well for
/// all others.
unsigned char LinChecksum(unsigned char protectedIdentifier, std::span<const unsigned char> data);

/// The bit time of a bit rate in bit/s (from 2 on), eighths of a ns, rounded down.
uint32_t LinBitTime(uint32_t bitRate);

/// Fills the data, at most eight bytes, with the checksum appended.
void SetLinData(LinItem& item, std::span<const unsigned char> data, unsigned char checksum);

/// The bytes of an item, without padding: 20 and DataLength, of which those beyond Data are left out. Reuses what
/// `bytes` holds.
void EncodeLinItem(const LinItem& item, std::vector<unsigned char>& bytes);

}  // namespace qor_sim
