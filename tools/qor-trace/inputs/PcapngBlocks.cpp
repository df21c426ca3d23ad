#include "inputs/PcapngBlocks.h"

#include <fmt/format.h>

namespace client {

namespace {

//  0  4  type
//  4  4  length of the block, a multiple of 4
//  8     body; a section header's begins with the magic number that shows its byte order
//     4  length again
constexpr size_t kHead = 8;
constexpr size_t kFrame = 12;
constexpr unsigned int kByteOrderMagic = 0x1A2B3C4D;
constexpr size_t kExcess = 4;  // bytes

}  // namespace

PcapngBlocks::Framed PcapngBlocks::FrameAt(size_t offset) {
  Framed frame{.Order = Latest.Order};
  if (!Input.Need(offset + kFrame)) {
    if (Input.Ready().size() > offset) frame.State = Framed::Cut;
    return frame;
  }
  const auto at = [&](size_t place) {
    return OrderedBytes(Input.Ready(), frame.Order).At<unsigned int>(offset + place);
  };
  frame.State = Framed::Damaged;
  frame.Type = at(0);
  if (frame.Type == kSectionHeaderBlock) {  // which reads the same in either order
    frame.Order = ByteOrder::Little;
    if (at(kHead) != kByteOrderMagic) frame.Order = ByteOrder::Big;
    if (at(kHead) != kByteOrderMagic) return frame;
  }
  const size_t declared = at(4);
  if (declared < kFrame || declared % 4 != 0 || declared > kLongest) return frame;
  const bool whole = Input.Need(offset + declared);
  frame.Size = declared;
  if (whole && at(declared - 4) == declared) {
    frame.State = Framed::Whole;
    return frame;
  }
  const bool shorter = frame.Type == kInterfaceDescriptionBlock && declared >= kFrame + kExcess &&
                       Input.Ready().size() - offset >= declared - kExcess;
  if (shorter && at(declared - kExcess - 4) == declared) {
    frame.State = Framed::Whole;
    frame.Size = declared - kExcess;
    frame.Excessive = true;
  } else if (!whole) {
    frame.State = Framed::Cut;
  }
  return frame;
}

PcapngBlock PcapngBlocks::BlockAt(size_t offset, const Framed& frame) const {
  const auto body = Input.Ready().subspan(offset + kHead, frame.Size - kFrame);
  return {.Type = frame.Type, .Byte = Input.Position() + offset, .Body = {body, frame.Order}};
}

std::optional<PcapngBlock> PcapngBlocks::Next() {
  Input.Skip(Latest.Size);
  Latest.Size = 0;
  const bool atBegin = Input.Position() == 0;
  const Framed frame = FrameAt(0);
  if (Input.Stopped()) return std::nullopt;
  if (atBegin && frame.State == Framed::Whole && frame.Type != kSectionHeaderBlock) throw Damaged();
  if (frame.State == Framed::Damaged) {
    const Failure damaged = Damaged();  // with the place as it is now
    if (!Input.SkipZerosToEnd()) throw damaged;
    CutOff = true;
  }
  if (frame.State == Framed::Cut) CutOff = true;
  if (frame.State != Framed::Whole) return std::nullopt;
  Latest = frame;
  if (frame.Excessive) ++ExcessiveBlocks;
  return Current();
}

std::optional<PcapngBlock> PcapngBlocks::Peek() {
  const Framed frame = FrameAt(Latest.Size);
  if (frame.State != Framed::Whole) return std::nullopt;
  return BlockAt(Latest.Size, frame);
}

PcapngBlock PcapngBlocks::Current() const { return BlockAt(0, Latest); }

Failure PcapngBlocks::Damaged() const {
  return Failure(fmt::format("There is no whole block at byte {} of {}: the file is damaged there", Input.Position(),
                             Input.Shown()));
}

}  // namespace client
