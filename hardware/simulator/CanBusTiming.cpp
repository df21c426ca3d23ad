#include "CanBusTiming.h"

namespace qor_sim {
namespace {

constexpr uint64_t StuffBits(uint64_t bits) { return (bits - 1) / 4; }

//                                               bits  from the start of frame up to
constexpr uint64_t kStandardHead = 34;              // its CRC, the data not counted
constexpr uint64_t kExtendedHead = 54;              // the same
constexpr uint64_t kTail = 13;                      // CRC delimiter, acknowledge 2, end of frame 7, intermission 3
constexpr uint64_t kFdStandardHead = 17;            // its bit-rate switch
constexpr uint64_t kFdExtendedHead = 36;            // the same
constexpr uint64_t kFdControl = 5;                  // error-state indicator, data length code 4
constexpr uint64_t kFdShortCheck = 4 + 17 + 6 + 1;  // stuff count, CRC, fixed stuff bits, CRC delimiter: up to 16 bytes
constexpr uint64_t kFdLongCheck = 4 + 21 + 7 + 1;   // the same, above 16 bytes
constexpr uint64_t kFdTail = 12;                    // acknowledge 2, end of frame 7, intermission 3

uint64_t FdFrameLength(const CanItem& item) {
  const uint64_t head = (item.Flags & kCanExtended) != 0 ? kFdExtendedHead : kFdStandardHead;
  const uint64_t check = item.DataLength > 16 ? kFdLongCheck : kFdShortCheck;
  const uint64_t body = kFdControl + 8u * item.DataLength;
  const uint64_t nominalBits = head + StuffBits(head) + kFdTail;
  const uint64_t dataBits = body + StuffBits(body) + 1 + check;
  const uint64_t dataBitTime = (item.Flags & kCanBrs) != 0 ? kCanFdBitTime : kCanBitTime;
  return nominalBits * kCanBitTime + dataBits * dataBitTime;
}

}  // namespace

uint64_t CanFrameLength(const CanItem& item) {
  if ((item.Flags & kCanFd) != 0) return FdFrameLength(item);
  const uint64_t head = (item.Flags & kCanExtended) != 0 ? kExtendedHead : kStandardHead;
  const uint64_t stuffed = head + 8u * item.DataLength;
  return (stuffed + StuffBits(stuffed) + kTail) * kCanBitTime;
}

}  // namespace qor_sim
