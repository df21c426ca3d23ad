#include "CanItem.h"

#include <algorithm>
#include <iterator>

namespace qor_sim {
namespace {

constexpr uint32_t kProtocolViolation = 0x08;
constexpr uint32_t kNoAcknowledge = 0x20;

/// The kind of an error frame, from its class (bits of the identifier) and its data: 2 is the type of a protocol
/// violation (bits), 3 its place in the frame.
CanErrorKind ErrorKind(uint32_t errorClass, const unsigned char* data) {
  if ((errorClass & kNoAcknowledge) != 0) return kCanAckError;
  if ((errorClass & kProtocolViolation) == 0) return kCanOtherError;
  const unsigned char type = data[2];
  const unsigned char place = data[3];
  if ((type & 0x04) != 0) return kCanStuffError;
  if ((type & 0x02) != 0) return kCanFormError;
  if ((type & 0x08) != 0) return kCanBit0Error;
  if ((type & 0x11) != 0) return kCanBit1Error;
  if (place == 0x08) return kCanCrcError;  // the CRC sequence
  if (place == 0x19) return kCanAckError;  // the acknowledge slot
  return kCanOtherError;
}

}  // namespace

std::optional<unsigned char> CanFdDlc(size_t length) {
  //                                   0  1  2  3  4  5  6  7  8   9  10  11  12  13  14  15
  static constexpr size_t kLengths[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};
  const auto* found = std::find(std::begin(kLengths), std::end(kLengths), length);
  if (found == std::end(kLengths)) return std::nullopt;
  return static_cast<unsigned char>(found - std::begin(kLengths));
}

void SetCanError(CanItem& item, uint32_t errorClass, const unsigned char* data) {
  const CanErrorKind kind = ErrorKind(errorClass, data);
  const bool whileSending = (errorClass & kProtocolViolation) != 0 && (data[2] & 0x80) != 0;
  item.Flags = static_cast<unsigned char>(item.Flags | kCanError | (whileSending ? kCanTransmitted : 0));
  item.Identifier = 0;
  item.Dlc = 0;
  item.DataLength = 1;
  std::fill(std::begin(item.Data), std::end(item.Data), static_cast<unsigned char>(0));
  item.Data[0] = kind;
}

void EncodeCanItem(const CanItem& item, std::vector<unsigned char>& bytes) {
  const auto* first = reinterpret_cast<const unsigned char*>(&item);
  bytes.assign(first, first + kCanItemHead + item.DataLength);
}

}  // namespace qor_sim
