#include "EthernetItem.h"

#include <algorithm>
#include <cstring>

#include "qor_api.h"

namespace qor_sim {
namespace {

#pragma pack(push, 1)
/// What every item begins with.
///
///  offset size field
///       0    2 ItemSize     bytes, frame included
///       2    2 ItemType     EthernetKind
///       4    8 Timestamp    ns
///      12    1 Flags        EthernetFlag
///      13    1 Reserved     0
///      14    2 FrameLength  bytes that follow
struct ItemHead {
  uint16_t ItemSize;
  uint16_t ItemType;
  uint64_t Timestamp;
  unsigned char Flags;
  unsigned char Reserved;
  uint16_t FrameLength;
};
#pragma pack(pop)
static_assert(sizeof(ItemHead) == 16);
static_assert(offsetof(ItemHead, Timestamp) == offsetof(Ethernet_Param_Monitor_Item_t, Timestamp));

}  // namespace

void EncodeEthernetItem(const EthernetItem& item, std::vector<unsigned char>& bytes) {
  const size_t length = std::min(item.Frame.size(), kEthernetGreatestFrame);
  bytes.resize(sizeof(ItemHead) + length);
  const ItemHead head{static_cast<uint16_t>(bytes.size()), item.Kind, item.Timestamp, item.Flags, 0,
                      static_cast<uint16_t>(length)};
  std::memcpy(bytes.data(), &head, sizeof head);
  std::copy_n(item.Frame.begin(), length, bytes.data() + sizeof head);
}

}  // namespace qor_sim
