// The list of data blocks that a recording grows by, and the header in front of a compressed one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mdf/BlockBase.h"
#include "mdf/DataBuffer.h"

namespace MDF {

class DLBLOCK;
class DZBLOCK;
struct FullBlock;

enum DlLink : unsigned int {  //  MDF name      points to
  kDlNext,                    //  dl_dl_next    next DL, nil at the end
  kDlData,                    //  dl_data[0]    DT, SD or DZ; the further ones follow
  kDlLinkCount
};
static_assert(kDlLinkCount == 2);

//  DL data section, followed by one u64 per listed block: the offset of its first byte in the whole data stream
//  offset size field
//       0    1 Flags     0: never the form with equal lengths
//       1    3 Reserved  0
//       4    4 Count     data blocks in this list
#pragma pack(push, 1)
struct DlData {
  uint8_t Flags;
  uint8_t Reserved[3];
  uint32_t Count;
};
#pragma pack(pop)
static_assert(sizeof(DlData) == 8);
static_assert(offsetof(DlData, Count) == 4);

enum HlLink : unsigned int {  //  MDF name      points to
  kHlFirst,                   //  hl_dl_first   DL
  kHlLinkCount
};
static_assert(kHlLinkCount == 1);

//  HL data section
//  offset size field
//       0    2 Flags     0
//       2    1 ZipType   0 Deflate
//       3    5 Reserved  0
#pragma pack(push, 1)
struct HlData {
  uint16_t Flags;
  uint8_t ZipType;
  uint8_t Reserved[5];
};
#pragma pack(pop)
static_assert(sizeof(HlData) == 8);
static_assert(offsetof(HlData, ZipType) == 2);

/// The header list in front of a compressed data list. Owned by its list.
class QOR_EXPORT HLBLOCK : public Block {
 public:
  HLBLOCK();
  explicit HLBLOCK(DLBLOCK* list);
  ~HLBLOCK() override;

  using Block::Block_Reset;
  void Block_Reset(bool full, BlockSet& done) override;
  [[nodiscard]] bool WriteRequest() const override;
  long Write(FileStream& stream) override;

 private:
  friend class DLBLOCK;

  HlData Data{};
  bool Dirty = true;
  DLBLOCK* Owner = nullptr;  // notified when this block is destroyed
};

/// Chains the data blocks of one data group (records) or channel (signal data), so that data goes to the file block by
/// block while it is recorded.
///
/// Insert fills the one data block; Write puts it at the end of the file, lists it and reuses it for the next block. The
/// list itself is rewritten in place, in room reserved for `maxBlocks` blocks. When that is used up, a new list is
/// written at the end of the file and chained to the old one; links to this object keep pointing to the first list.
///
/// Ownership: the list owns its data block and its header list and destroys them. Parent and stream are not owned; they
/// must outlive all calls but the destructor, which touches neither. The parent's data link keeps pointing here: destroy
/// the tree around it first, leaving this list out, or don't walk the tree afterwards.
///
/// Before a list is flushed, write every block that is placed past the end of the file: the list would take its place.
///
/// Failures, lack of memory among them: false. The cached data stays, and the call may be repeated once the stream has
/// recovered.
class QOR_EXPORT DLBLOCK : public Block {
 public:
  /// A parent that isn't a data group counts as a channel. `maxBlocks` is at least 1.
  /// @throws std::bad_alloc
  DLBLOCK(Block* parent, unsigned short maxBlocks, bool compressed, FileStream& stream);
  ~DLBLOCK() override;

  using Block::Block_Reset;
  /// Back to an unplaced list of one block. With `full` ready for another file: offsets begin at 0 again, the parent's
  /// data link is cleared and the header list reset. Data still in the cache stays for the next file.
  void Block_Reset(bool full, BlockSet& done) override;
  /// Also false while a new list waits for its first block: Write() writes that when nothing else is being placed.
  [[nodiscard]] bool WriteRequest() const override;
  void Block_LengthRefresh() override;
  /// Write(), as 0 or 1.
  long Write(FileStream& stream) override;

  /// Appends to the data block, which is flushed when it refuses. False when it refuses again (more than the maximum
  /// less 48 bytes at once) or can't be flushed.
  [[nodiscard]] bool Insert(unsigned char* data, unsigned int length);
  /// Flushes the data block into the file. False when there is nothing to flush or it can't be done.
  bool Write();
  /// Ends the current data block, full or not, and begins the next: what it holds goes to the file and is listed. True
  /// while the list has room for another one. Otherwise a new list begins at the end of the file and is written with the
  /// next flush; the result is then false, as it is for a list that was never written.
  bool DataBlock_Add();
  /// Bytes, counting every earlier block of this list as full.
  [[nodiscard]] unsigned long DataBytes() const;
  /// Roughly the bytes that the current block will take in the file.
  [[nodiscard]] unsigned long DataBytes_Compressed_Est() const;
  /// Bytes of data that are in the file: those of all blocks flushed.
  [[nodiscard]] unsigned long DataBytes_InFile() const;
  /// True when there is something to flush.
  [[nodiscard]] bool Data_Waiting() const;
  /// True when Insert takes this many bytes without a flush.
  [[nodiscard]] bool Data_Fits(unsigned int length) const;
  /// The room of the next `most` bytes, which the caller fills and then counts with Data_Filled; null when Insert may refuse
  /// so many.
  [[nodiscard]] QOR_HIDDEN unsigned char* Data_Room(unsigned int most) {
    const DataBlockDynamic* buffer = Current.Buffer;
    return buffer != nullptr && buffer->Takes(most) ? buffer->Cache.get() + buffer->Held : nullptr;
  }
  QOR_HIDDEN void Data_Filled(unsigned int length) { Current.Buffer->Held += length; }
  /// Drops what is cached.
  void Data_Discard();
  /// Takes the last `length` bytes out of the cache again. False when some of them are no longer there.
  [[nodiscard]] bool Data_TakeBack(unsigned int length);
  /// Data that packing makes no smaller goes out in plain blocks from now on; see DZBLOCK.
  void Plain_Allow();
  /// Always true.
  bool Data_NewBlock();
  /// Leaves the list as it is in the file and becomes its successor, placed at the end of the file.
  void Extend_List();
  /// Writes the list for the first time, with the data block placed after the room for its growth.
  bool Write_First();
  /// Adds the data block, placed at the end of the file, to the list in the file. False without data.
  bool Write_Changed();
  /// Hands the data block's bytes over and begins the next block in the room that `block` has. False, and nothing is changed,
  /// for blocks that aren't packed or are larger than usual.
  [[nodiscard]] QOR_HIDDEN bool Data_HandOver(FullBlock& block);
  /// Write() of a block that was handed over, and has been packed since, ahead of what is cached. It keeps its bytes unless it
  /// was written.
  [[nodiscard]] QOR_HIDDEN bool Write(FullBlock& block);
  /// Makes the data block: packed if `compressed`, else for records when the parent is a data group and for signal data
  /// otherwise. A data block that still holds data is kept. The list stays its owner.
  Block* DataBlock_Get(Block* parent, bool compressed, FileStream& stream);

  // From the blocks that this list owns, when somebody else destroys them.

  QOR_HIDDEN void ForgetDataBlock() { Current = {}; }
  QOR_HIDDEN void ForgetHeaderList() { HeaderList = nullptr; }

 private:
  /// The block that is being filled, under the three types by which it is used.
  struct CurrentBlock {
    MDF::Block* Block = nullptr;
    DataBlockDynamic* Buffer = nullptr;
    DZBLOCK* Packed = nullptr;  // null for a plain block
  };
  /// What this list says in the file, the current block included as if it were there.
  struct ListedBlocks {
    unsigned int Count = 1;
    std::vector<int64_t> Positions;    // of all but the current one
    std::vector<uint64_t> Offsets{0};  // of all, in the whole data stream
  };

  [[nodiscard]] QOR_HIDDEN DlData Section() const { return {0, {}, Listed.Count}; }
  [[nodiscard]] QOR_HIDDEN unsigned int SectionSize() const;
  [[nodiscard]] QOR_HIDDEN unsigned long GrowthRoom() const;
  [[nodiscard]] QOR_HIDDEN unsigned long FullRoom() const;
  [[nodiscard]] QOR_HIDDEN bool Usable() const;
  QOR_HIDDEN void Exchange(FullBlock& block);
  QOR_HIDDEN void RestartLists();
  QOR_HIDDEN void PlaceFirst();
  QOR_HIDDEN void PlaceAfterHeaderList();
  QOR_HIDDEN void WriteSection();
  [[nodiscard]] QOR_HIDDEN bool LinkFirst();
  [[nodiscard]] QOR_HIDDEN bool BeginList();
  [[nodiscard]] QOR_HIDDEN bool RewriteList(std::string& bytes);
  [[nodiscard]] QOR_HIDDEN bool PlaceDataBlock();
  [[nodiscard]] QOR_HIDDEN bool PutOutDataBlock();
  [[nodiscard]] QOR_HIDDEN bool ListDataBlock();
  [[nodiscard]] QOR_HIDDEN bool ListFirstDataBlock();
  [[nodiscard]] QOR_HIDDEN bool ListNextDataBlock();
  QOR_HIDDEN void BeginNextDataBlock(unsigned int bytes, BlockSet& reset);
  QOR_HIDDEN void KeepDataBlock(unsigned int bytes, BlockSet& reset);

  FileStream& Stream;
  Block* Parent;
  unsigned int ParentLink;
  unsigned int MaxBlocks;

  HLBLOCK* HeaderList = nullptr;
  CurrentBlock Current;
  ListedBlocks Listed;
  uint64_t RunningOffset = 0;  // data bytes of all blocks flushed, those of earlier lists included
  long PreviousLink = 0;       // file position of the link that this list is chained by; 0 for the first list
  bool PlainAllowed = false;
  bool ListExtended = false;  // a new list that waits for its first block
};

}  // namespace MDF
