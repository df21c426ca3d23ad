// The blocks of an MDF 4 file, by their positions in it.
#pragma once

#include <cstddef>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "system/Descriptor.h"

namespace client {

/// A block's head and links. Its data section is read by position.
struct MdfBlock {
  std::string Kind = {};  // its two letters: "DG"
  unsigned long Position = 0;
  unsigned long DataBegin = 0;  // position in the file
  unsigned long DataSize = 0;   // bytes that are there
  bool IsCut = false;           // the block says that there are more
  std::vector<unsigned long> Links = {};

  /// 0, which is no block's position, for one that it doesn't have.
  [[nodiscard]] unsigned long Link(size_t index) const { return index < Links.size() ? Links[index] : 0; }
};

/// What stands in a block's data section, which may be shorter than a sound one's: what is missing reads as 0.
class MdfFields {
 public:
  explicit MdfFields(std::vector<unsigned char> bytes) : Bytes(std::move(bytes)) {}
  template <class Value>
  [[nodiscard]] Value At(size_t offset) const {
    Value value{};
    if (offset <= Bytes.size() && sizeof value <= Bytes.size() - offset)
      std::memcpy(&value, Bytes.data() + offset, sizeof value);
    return value;
  }
  [[nodiscard]] size_t Size() const { return Bytes.size(); }

 private:
  std::vector<unsigned char> Bytes;
};

/// A file that is open for reading. Nothing in it is believed: a position may be anywhere, a length as large as it likes.
///
/// Threads: one.
class MdfBlocks {
 public:
  /// Failure: Failure when it can't be opened, is a pipe, or isn't an MDF file of version 4.
  explicit MdfBlocks(const std::string& path);

  /// Is that the beginning of an MDF file, of whatever version?
  [[nodiscard]] static bool BeginsLikeOne(std::span<const unsigned char> front);

  [[nodiscard]] const std::string& Path() const { return Name; }
  [[nodiscard]] unsigned long Size() const { return FileSize; }
  /// Whoever wrote it came to an end.
  [[nodiscard]] bool IsFinalized() const { return Finalized; }
  /// Of a file that isn't finalized: what isn't up to date in it. 0 for those that this project writes.
  [[nodiscard]] unsigned int UnfinalizedFlags() const { return Unfinalized; }
  static constexpr unsigned int kCountsOpen = 0x01;        // cycle counts of channel groups
  static constexpr unsigned int kLastLengthOpen = 0x04;    // length of the last data block
  static constexpr unsigned int kSignalOffsetOpen = 0x40;  // offsets of values of variable length in unsorted data

  /// Bytes from a position on: as many as there are, up to the size of the target.
  /// Failure: Failure when the file can't be read.
  [[nodiscard]] size_t ReadAt(unsigned long position, std::span<unsigned char> target);
  /// Bytes read so far.
  [[nodiscard]] unsigned long Taken() const { return Read; }

  /// The block there; nothing where there is none.
  [[nodiscard]] std::optional<MdfBlock> Find(unsigned long position);
  /// Likewise, but each block once only: chains end where they would begin again.
  [[nodiscard]] std::optional<MdfBlock> Follow(unsigned long position);
  /// The data section, at most so many bytes of it.
  [[nodiscard]] MdfFields Fields(const MdfBlock& block, size_t most = 256);
  /// The text of a TX or MD block; empty where there is none. At most kLongestText bytes.
  [[nodiscard]] std::string Text(unsigned long position);
  static constexpr size_t kLongestText = size_t{1} << 20;
  static constexpr size_t kMostLinks = size_t{1} << 20;   // of a block
  static constexpr size_t kMostBlocks = size_t{2} << 20;  // that are followed

 private:
  void CheckIdentification();

  const std::string Name;
  Descriptor Opened;
  unsigned long FileSize = 0;
  unsigned long Read = 0;
  bool Finalized = false;
  unsigned int Unfinalized = 0;
  std::unordered_set<unsigned long> Followed;
};

}  // namespace client
