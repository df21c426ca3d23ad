// The blocks of a PCAPNG file, one by one, whatever they hold.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "inputs/InputBytes.h"
#include "inputs/OrderedBytes.h"
#include "system/Failure.h"

namespace client {

constexpr unsigned int kSectionHeaderBlock = 0x0A0D0D0A;
constexpr unsigned int kInterfaceDescriptionBlock = 1;

struct PcapngBlock {
  unsigned int Type = 0;
  unsigned long Byte = 0;  // where it begins in the file
  OrderedBytes Body = {};  // between its lengths; valid until the next block is read
};

/// Cuts a file into its blocks. These are read here rather than with libpcap, which refuses files whose interfaces differ in
/// their link types, as those of a vehicle do, and hides the blocks' options.
///
/// Each section has its own byte order. The library's own export describes interfaces in blocks that declare four bytes more
/// than they have; such a block is taken as long as it is.
///
/// Threads: one. Memory: that of InputBytes, and the two longest blocks.
class PcapngBlocks {
 public:
  static constexpr size_t kLongest = size_t{16} << 20;  // bytes; sound files have none that are longer

  /// Does a file that begins like this have this format?
  [[nodiscard]] static bool Begin(std::span<const unsigned char> front) {
    return OrderedBytes(front, ByteOrder::Little).At<unsigned int>(0) == kSectionHeaderBlock;
  }

  explicit PcapngBlocks(InputBytes bytes) : Input(std::move(bytes)) {}

  /// The next block. Nothing at the end of the file, in front of a block that is cut off there, and when reading is to end.
  /// Failure: Failure when there is no block, or the file can't be read.
  [[nodiscard]] std::optional<PcapngBlock> Next();
  /// The block after that one, if there is a sound one. Blocks that were returned before are no longer valid: see Current.
  /// Failure: Failure when the file can't be read.
  [[nodiscard]] std::optional<PcapngBlock> Peek();
  /// The latest block that Next returned.
  [[nodiscard]] PcapngBlock Current() const;

  /// The file ends in the middle of a block.
  [[nodiscard]] bool IsCutOff() const { return CutOff; }
  /// Interface descriptions so far that declare more than they have.
  [[nodiscard]] unsigned long Excessive() const { return ExcessiveBlocks; }

  [[nodiscard]] InputBytes& Bytes() { return Input; }
  [[nodiscard]] const InputBytes& Bytes() const { return Input; }

 private:
  /// What stands at a place of the window.
  struct Framed {
    enum { End, Cut, Damaged, Whole } State = End;
    unsigned int Type = 0;
    size_t Size = 0;  // bytes, frame included
    ByteOrder Order = ByteOrder::Little;
    bool Excessive = false;
  };

  [[nodiscard]] Framed FrameAt(size_t offset);
  [[nodiscard]] PcapngBlock BlockAt(size_t offset, const Framed& frame) const;
  [[nodiscard]] Failure Damaged() const;

  InputBytes Input;
  Framed Latest;  // of the block before; its Order is that of the section
  bool CutOff = false;
  unsigned long ExcessiveBlocks = 0;
};

/// A time stamp: the upper half comes first, whatever the order of bytes.
[[nodiscard]] inline unsigned long StampAt(const OrderedBytes& bytes, size_t offset) {
  return static_cast<unsigned long>(bytes.At<unsigned int>(offset)) << 32 | bytes.At<unsigned int>(offset + 4);
}

/// Calls take(code, value) for each option; the value is an OrderedBytes.
/// @return false if they run past the end of their block; those before were handed over
template <class Take>
bool ForEachOption(OrderedBytes options, Take take) {
  constexpr size_t kHead = 4;  // code and length, each 2 bytes
  while (options.Size() >= kHead) {
    const auto code = options.At<unsigned short>(0);
    const size_t length = options.At<unsigned short>(2);
    if (code == 0) return true;
    if (length > options.Size() - kHead) return false;
    take(code, options.From(kHead, length));
    options = options.From(kHead + ((length + 3) & ~size_t{3}));
  }
  return true;
}

}  // namespace client
