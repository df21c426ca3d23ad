#include "LinItem.h"

#include <algorithm>
#include <cstring>

#include "qor_api.h"

namespace qor_sim {
namespace {

using Header = Lin_Param_Monitor_Buffer64_ItemHeader_t;
using Body = Lin_Param_Monitor_Buffer64_Item_Small_t;
constexpr size_t kHead = sizeof(Header) + offsetof(Body, Data);  // bytes before the data
static_assert(kHead == 20);

unsigned int Bit(unsigned int value, unsigned int number) { return value >> number & 1; }

}  // namespace

unsigned char LinProtectedIdentifier(unsigned char id) {
  const unsigned int even = Bit(id, 0) ^ Bit(id, 1) ^ Bit(id, 2) ^ Bit(id, 4);
  const unsigned int odd = 1 ^ Bit(id, 1) ^ Bit(id, 3) ^ Bit(id, 4) ^ Bit(id, 5);
  return static_cast<unsigned char>((id & kLinGreatestId) | even << 6 | odd << 7);
}

unsigned char LinChecksum(unsigned char protectedIdentifier, std::span<const unsigned char> data) {
  constexpr unsigned int kFirstDiagnosticId = 60;
  const bool diagnostic = (protectedIdentifier & kLinGreatestId) >= kFirstDiagnosticId;
  unsigned int sum = diagnostic ? 0 : protectedIdentifier;
  for (const unsigned char byte : data) {
    sum += byte;
    if (sum > 0xFF) sum -= 0xFF;  // the carry is added
  }
  return static_cast<unsigned char>(~sum & 0xFF);
}

uint32_t LinBitTime(uint32_t bitRate) {
  constexpr uint64_t kEighthsPerSecond = 8'000'000'000;
  return static_cast<uint32_t>(kEighthsPerSecond / bitRate);
}

void SetLinData(LinItem& item, std::span<const unsigned char> data, unsigned char checksum) {
  const size_t length = std::min(data.size(), kLinGreatestDataLength);
  std::copy_n(data.begin(), length, item.Data);
  item.Data[length] = checksum;
  item.DataLength = static_cast<unsigned char>(length + 1);
}

void EncodeLinItem(const LinItem& item, std::vector<unsigned char>& bytes) {
  const size_t length = std::min<size_t>(item.DataLength, sizeof item.Data);
  Header header{};
  header.ItemSize = static_cast<unsigned short>(kHead + length);
  header.TimestampLow = static_cast<uint32_t>(item.Timestamp);
  header.TimestampHigh = static_cast<uint32_t>(item.Timestamp >> 32);
  Body body{};
  body.Flags = item.Flags;
  body.DataLength = item.DataLength;
  body.Identifier = item.Identifier;
  body.BitTime = item.BitTime;
  bytes.resize(kHead + length);
  std::memcpy(bytes.data(), &header, sizeof header);
  std::memcpy(bytes.data() + sizeof header, &body, kHead - sizeof header);
  std::copy_n(item.Data, length, bytes.data() + kHead);
}

}  // namespace qor_sim
