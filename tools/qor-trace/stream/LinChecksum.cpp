#include "stream/LinChecksum.h"

namespace client {

namespace {

/// The inverted sum with carry, begun with 0 (classic) or the protected identifier (enhanced).
unsigned char Checksum(unsigned int begin, std::span<const unsigned char> data) {
  unsigned int sum = begin;
  for (const unsigned char byte : data) {
    sum += byte;
    if (sum > 0xFF) sum -= 0xFF;
  }
  return static_cast<unsigned char>(~sum);
}

}  // namespace

unsigned char LinProtectedIdentifier(unsigned int identifier) {
  const auto bit = [&](unsigned int number) { return identifier >> number & 1; };
  const unsigned int parity0 = bit(0) ^ bit(1) ^ bit(2) ^ bit(4);
  const unsigned int parity1 = 1 ^ bit(1) ^ bit(3) ^ bit(5) ^ bit(4);
  return static_cast<unsigned char>((identifier & 0x3F) | parity0 << 6 | parity1 << 7);
}

LinChecksumModel LinChecksumModelOf(unsigned char checksum, unsigned char protectedIdentifier,
                                    std::span<const unsigned char> data) {
  if (data.empty()) return LinChecksumModel::Unknown;
  if (checksum == Checksum(0, data)) return LinChecksumModel::Classic;
  return checksum == Checksum(protectedIdentifier, data) ? LinChecksumModel::Enhanced : LinChecksumModel::Unknown;
}

}  // namespace client
