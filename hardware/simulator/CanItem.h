// CAN and CAN FD monitor items: flags, marker bits, data lengths.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "qor_api.h"

namespace qor_sim {

using CanItem = Can_Param_Monitor_Buffer64_LargeItem_t;
constexpr size_t kCanItemHead = 16;  // bytes before the data
constexpr size_t kCanTimeOffset = offsetof(CanItem, Timestamp);
static_assert(offsetof(CanItem, Identifier) == 8);
static_assert(offsetof(CanItem, Flags) == 12);
static_assert(offsetof(CanItem, DataLength) == 15);
static_assert(offsetof(CanItem, Data) == kCanItemHead);

enum CanFlag : unsigned char {
  kCanExtended = 0x01,
  kCanTransmitted = 0x02,
  kCanError = 0x04,  // Data[0]: CanErrorKind
  kCanFd = 0x08,
  kCanTrigger = 0x10,  // Data[0]: CanTriggerKind, or another value: a user event whose data Data is
  kCanBrs = 0x20,
  kCanEsi = 0x40,
  kCanOverrun = 0x80  // data were lost after this item
};

// Marker bits of an identifier.
constexpr uint32_t kCanIdExtended = 0x80000000;
constexpr uint32_t kCanIdFd = 0x40000000;

constexpr uint32_t kCanGreatestStandardId = 0x7FF;
constexpr uint32_t kCanGreatestExtendedId = 0x1FFFFFFF;

/// In the order in which CAN controllers count their last error code.
enum CanErrorKind : unsigned char {
  kCanStuffError = 1,
  kCanFormError = 2,
  kCanAckError = 3,
  kCanBit1Error = 4,  // sent recessive, saw dominant
  kCanBit0Error = 5,  // sent dominant, saw recessive
  kCanCrcError = 6,
  kCanOtherError = 7
};

enum CanTriggerKind : unsigned char { kCanRisingEdge = 0, kCanFallingEdge = 1 };

/// The data length code of a CAN FD frame; nothing for a length that no code stands for.
std::optional<unsigned char> CanFdDlc(size_t length);

/// Makes an item an error frame, by what Linux tells of one; its time and other flags stay as they are. It
/// counts as transmitted when the error occurred while sending.
/// @param errorClass  bits of the identifier
/// @param data        eight bytes
void SetCanError(CanItem& item, uint32_t errorClass, const unsigned char* data);

/// The bytes of an item: its head and DataLength bytes, without padding. Reuses what `bytes` holds.
void EncodeCanItem(const CanItem& item, std::vector<unsigned char>& bytes);

}  // namespace qor_sim
