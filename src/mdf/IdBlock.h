// The identification block: the 64 bytes at the start of every MDF file. Not an MDF::Block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "internal/Visibility.h"
#include "mdf/FileStream.h"

namespace MDF {

//  offset size field
//       0    8 FileId         "UnFinMF " or, finalized, "MDF     "
//       8    8 FormatId       "4.10    "
//      16    8 ProgramId      first 8 bytes of the program's name
//      24    4 Reserved1      0
//      28    2 Version        410
//      30   30 Reserved2      0
//      60    2 UnfinStandard  standard unfinalized flags
//      62    2 UnfinCustom    custom unfinalized flags
#pragma pack(push, 1)
struct IdData {
  char FileId[8];
  char FormatId[8];
  char ProgramId[8];
  uint32_t Reserved1;
  uint16_t Version;
  uint8_t Reserved2[30];
  uint16_t UnfinStandard;
  uint16_t UnfinCustom;
};
#pragma pack(pop)
static_assert(sizeof(IdData) == 64);
static_assert(offsetof(IdData, FormatId) == 8);
static_assert(offsetof(IdData, ProgramId) == 16);
static_assert(offsetof(IdData, Version) == 28);
static_assert(offsetof(IdData, UnfinStandard) == 60);
static_assert(offsetof(IdData, UnfinCustom) == 62);

class QOR_EXPORT IDBLOCK {
 public:
  struct QOR_EXPORT UnfinalizedFlags {
    /// What still has to be brought up to date in an unfinalized file; values may be combined.
    enum unfinFlags_t : unsigned short {
      None = 0x00,
      CycleCounters = 0x01,            // cycle counters of channel groups
      SampleReductionCounters = 0x02,  // cycle counters of sample reductions
      LastDataLength = 0x04,           // length of the last DT block
      LastReductionLength = 0x08,      // length of the last RD block
      LastDataList = 0x10,             // last DL block of each chain
      VlsdDataBytes = 0x20,            // data bytes of groups with variable length
      VlsdOffsets = 0x40               // offsets of variable-length signal data
    };
  };

  /// The first 8 bytes of `programId` and its terminating zero are taken; a shorter one is padded with zeros.
  explicit IDBLOCK(const std::string& programId);

  [[nodiscard]] unsigned int Block_Length() const;
  void UnfinFlags(UnfinalizedFlags::unfinFlags_t flags);
  void UnfinFlags_Custom(unsigned short flags);
  /// Clears all flags; the block is written again with the next Write.
  void Block_Reset();
  /// Writes the block at the start of an open file if it changed. The stream's position is then as before, or the end of
  /// the block if it was 0. False when the file is closed or the write failed.
  bool Write(FileStream& stream);
  /// Writes the block and, with no flag set, marks the file finalized. True if it did; false when a flag is set, the
  /// file is closed or the write failed.
  bool Finalize(FileStream& stream);

 private:
  IdData Data{};
  bool Changed = true;
};

}  // namespace MDF
