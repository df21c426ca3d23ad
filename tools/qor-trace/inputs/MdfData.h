// What is behind a data link of an MDF 4 file: the bytes of data blocks, alone or in lists, packed or not, as one stream.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "inputs/MdfBlocks.h"
#include "stream/Findings.h"

namespace client {

/// Where a block is missing or damaged, the stream has a gap: what follows stays where it belongs, as far as the list
/// says where that is.
///
/// Threads: one. Memory: the largest packed block of the stream, at most kMostUnpacked, and some 50 bytes for each block.
class MdfData {
 public:
  /// @param file, found  outlive this
  MdfData(MdfBlocks& file, unsigned long link, Findings& found);

  /// One sentence about a layout that can't be read; empty for a sound one.
  [[nodiscard]] const std::string& Refused() const { return Refusal; }
  /// Bytes up to the end of the last block, gaps included.
  [[nodiscard]] unsigned long Size() const { return Pieces.empty() ? 0 : Pieces.back().Offset + Pieces.back().Size; }
  /// Bytes from an offset on: as many as there are up to the next gap, or the target's size.
  /// Failure: Failure when the file can't be read.
  [[nodiscard]] size_t Get(unsigned long offset, std::span<unsigned char> target);
  /// Where the bytes go on after the gap at an offset; nothing at the end of the stream.
  [[nodiscard]] std::optional<unsigned long> AfterGap(unsigned long offset) const;
  /// Where in the file an offset lies, for findings: exact in a plain block, else the block's position.
  [[nodiscard]] unsigned long PlaceOf(unsigned long offset) const;

  static constexpr unsigned long kMostUnpacked = 64ul
                                                 << 20;  // bytes of a packed block; those of sound files have 4 MiB

 private:
  enum class Packing : unsigned char { None, Deflate, TransposedDeflate };
  struct Piece {
    unsigned long Offset = 0;    // in the stream
    unsigned long Size = 0;      // bytes of the stream
    unsigned long Position = 0;  // of its bytes in the file
    unsigned long Stored = 0;    // bytes in the file
    unsigned int Columns = 0;    // of transposed ones
    Packing Packed = Packing::None;
  };

  void AddAny(unsigned long link);
  void AddList(unsigned long link);
  void AddBlocksOf(const MdfBlock& list);
  [[nodiscard]] bool AddBlock(unsigned long position);
  [[nodiscard]] bool Add(const MdfBlock& block);
  [[nodiscard]] bool AddPacked(const MdfBlock& block);
  void Append(Piece piece);
  void ExtendLast();
  void Missing(unsigned long position);
  [[nodiscard]] bool WasBeingWritten(unsigned long position);

  [[nodiscard]] const Piece* PieceAt(unsigned long offset) const;
  void Load(const Piece& piece, unsigned long offset);
  [[nodiscard]] std::vector<unsigned char> Unpacked(const Piece& piece);

  MdfBlocks& File;
  Findings& Found;
  std::string Refusal;
  std::vector<Piece> Pieces;  // by offset
  unsigned long Next = 0;     // offset of the next piece
  bool GapBefore = false;     // the next piece isn't where the one before ends

  const Piece* Loaded = nullptr;
  unsigned long WindowBegin = 0;      // offset of the window in the stream
  std::vector<unsigned char> Window;  // of a plain piece a part, of a packed one all
  unsigned long Backwards = 0;        // loads of an earlier piece
};

}  // namespace client
