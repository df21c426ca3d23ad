// The base of every MDF block: header, links, place in the file, and rewriting of what changed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "internal/Visibility.h"
#include "mdf/FileStream.h"

class BlockSet;

namespace MDF {

class DLBLOCK;
class Gathering;

/// The block kinds. 13 belongs to no block: the identification block is not an MDF::Block.
enum blockType_t : unsigned int {  //  id    links
  blockType_None = 0,              //  a default-constructed block
  blockType_AT = 1,                //  ##AT  4
  blockType_CC = 2,                //  ##CC  4
  blockType_CG = 3,                //  ##CG  6
  blockType_CN = 4,                //  ##CN  8
  blockType_DG = 5,                //  ##DG  4
  blockType_DL = 6,                //  ##DL  2
  blockType_DT = 7,                //  ##DT  0
  blockType_DZ = 8,                //  ##DZ  0
  blockType_EV = 9,                //  ##EV  5
  blockType_FH = 10,               //  ##FH  2
  blockType_HD = 11,               //  ##HD  6
  blockType_HL = 12,               //  ##HL  1
  blockType_MD = 14,               //  ##MD  0
  blockType_SD = 15,               //  ##SD  0
  blockType_SI = 16,               //  ##SI  3
  blockType_TX = 17                //  ##TX  0
};

//  offset size field
//       0    4 Id         "##" and two letters
//       4    4 Reserved   0
//       8    8 Length     bytes: 24 + 8 x links + data section
//      16    8 LinkCount
#pragma pack(push, 1)
struct BlockHeader {
  char Id[4];
  uint32_t Reserved;
  uint64_t Length;
  uint64_t LinkCount;
};
#pragma pack(pop)
static_assert(sizeof(BlockHeader) == 24);
static_assert(offsetof(BlockHeader, Reserved) == 4);
static_assert(offsetof(BlockHeader, Length) == 8);
static_assert(offsetof(BlockHeader, LinkCount) == 16);

/// A block of an MDF file: 24 bytes of header, its links, and a data section that the derived class writes.
///
/// Life: new (no position) - placed (Block_PlaceAndList gave it one) - written. Changing the header or a link makes it
/// dirty until the next Write, which rewrites in place only what changed. Block_Reset makes it new again.
///
/// Ownership: a block does not own what it links to, and destroying it leaves the linked blocks alone; that goes for
/// the texts and comments that constructors create as well. Linked blocks are destroyed by Links_Clear(true),
/// Links_Generate on a block with links, and Links_Delete, which all expect blocks made with `new` that nobody else
/// destroys. Links_Clear(true) and Links_Generate destroy the linked blocks only; Links_Delete destroys everything
/// that can be reached through the link, data lists included, each block once and never the block itself. The blocks
/// that a DLBLOCK owns (its header list and data block) may be destroyed this way: the list is notified.
///
/// A placed block keeps the room that it was given: when it has outgrown it and other bytes follow in the file, Write
/// refuses (0) and the block stays dirty. It can't see blocks that are placed after it but not written yet. So place and
/// write in one go, and flush no data list in between.
///
/// Errors: the stream's state says what failed. Nothing is written to a closed or failed stream, and what was not
/// written stays dirty.
///
/// Threads: none of its own; one thread at a time for all blocks of a file.
class QOR_EXPORT Block {
 public:
  /// Orders blocks by file position. Unplaced blocks are all equal to each other.
  struct QOR_EXPORT BlockComp {
    bool operator()(const Block* left, const Block* right) const;
  };

  /// Type 0, everything zero, no links.
  Block();
  /// A block with the id "##" + `id1` + `id2` and `linkCount` null links. Its length is 0 until it is refreshed.
  Block(blockType_t type, char id1, char id2, unsigned int linkCount);
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;

  // The virtual operations; their order is that of the slots in the virtual table, which clients are compiled against.

  /// Makes the block new, so that it can be written into another file, and adds it to `done`. With `full`, linked
  /// blocks that are not in `done` (by position) follow, and links to data lists and header lists become null: those
  /// are built anew.
  virtual void Block_Reset(bool full, BlockSet& done);
  /// True when Write has something to do.
  [[nodiscard]] virtual bool WriteRequest() const;
  virtual ~Block();
  /// Brings link count and length of the header in line with links and data section, if they may have changed.
  virtual void Block_LengthRefresh();
  virtual void Block_Reset(bool full);
  /// Stores a link, extending the list with null links as needed; a null block is ignored. The header is not touched.
  virtual void Links_Set(unsigned int index, Block* block);
  /// Writes header and links where they are due. Returns the file offset of the data section; 0 when the block is
  /// unplaced, has outgrown its room, or the stream is closed or has failed.
  virtual long Write(FileStream& stream);

  Block* Block_Get();
  [[nodiscard]] blockType_t Block_Type() const;
  /// Offset in the file, a multiple of 8; 0 when not placed.
  [[nodiscard]] long Block_FilePos() const;
  /// The length in bytes, refreshed first.
  unsigned long Block_Length();

  /// Walks this block and all that it links to, depth first in link order, each block once by position.
  /// `cursor`, if any: each unplaced block is placed at its next multiple of 8, and it moves past the block.
  /// `list`, if any: collects the blocks with a write request, or all of them.
  void Block_PlaceAndList(bool all, long* cursor, BlockSet* list);
  void Block_PlaceAndList(bool all, long* cursor, BlockSet* list, BlockSet& visited);
  void SubBlocks(BlockSet* list, bool all, long* cursor, BlockSet& visited) const;
  /// True for what a data list places and writes by itself.
  [[nodiscard]] static bool IgnoreSubBlock(Block* block);

  void Header_AddData(unsigned int bytes);
  void Header_AddLink(unsigned int count);
  /// Length 24 + 8 x links + dataBytes.
  void Header_Change(unsigned int links, unsigned long dataBytes);
  /// Length 24 + the current number of links + bytes. Not 8 x the number of links: part of the interface.
  void Header_Change(unsigned long bytes);
  /// Writes the header at the stream's position if it changed.
  void Header_Write(FileStream& stream);
  /// The id as text, such as "##DG".
  [[nodiscard]] std::string Header_Type() const;

  [[nodiscard]] unsigned int Links_Count() const;
  /// Bytes.
  [[nodiscard]] unsigned int Links_Length() const;
  /// The link, or null for an index beyond the list.
  [[nodiscard]] Block* Links_Get(unsigned int index) const;
  /// Destroys the linked blocks, if there are links, and makes `count` null links.
  void Links_Generate(unsigned int count);
  /// Appends a link, which may be null; the header follows.
  void Links_Add(Block* block);
  /// As Links_Set(index, block) before the block was written; afterwards a link within the list stays as it is.
  /// @throws std::out_of_range for an index beyond the list of a written block.
  void Links_Set(FileStream& stream, unsigned int index, Block* block);
  /// Destroys the linked block and everything reachable from it; the link becomes null.
  void Links_Delete(unsigned int index);
  /// Empties the list; with `destroy` the linked blocks are destroyed.
  void Links_Clear(bool destroy);
  /// Writes all links at the stream's position: the position of each linked block, 0 for null. Links to blocks that have
  /// no place yet are 0 as well; the block has a write request again as soon as one of them gets its place.
  void Links_Write(FileStream& stream);

  /// The next multiple of 8; a multiple of 8 stays.
  [[nodiscard]] static long CalcStartPos(long position);
  /// Goes to the end of the file and fills it with zeros up to `position`. Always true; errors show in the stream.
  static bool ExtendFile(FileStream& stream, long position);

 protected:
  /// One part of a data section.
  struct Section {
    const void* Bytes;
    size_t Size;
  };

  /// The Write of a block with a data section: Block::Write, then the parts one after the other if `changed` or if the
  /// block is new in this file. Clears `changed`. Returns the offset after the data; 0 if nothing was due or it failed.
  QOR_HIDDEN long WriteWithData(FileStream& stream, bool& changed, std::initializer_list<Section> data);

  /// True when `length` bytes at the block's position overrun nothing.
  QOR_HIDDEN bool FitsRoom(FileStream& stream, unsigned long length);

  blockType_t Type = blockType_None;
  long FilePos = 0;
  bool IsWritten = false;  // header and links are in the file
  BlockHeader Header{};
  bool HeaderChanged = true;
  std::vector<Block*> Links;
  bool LinksChanged = true;
  unsigned int DataSize = 0;  // bytes of the data section

 private:
  friend class DLBLOCK;                                                   // places its data blocks and its header list
  friend class Gathering;                                                 // chains blocks
  friend void PlaceNewInTree(Block* root, long& cursor, BlockSet& list);  // see BlockTree.h

  QOR_HIDDEN void Place(long& cursor);
  [[nodiscard]] QOR_HIDDEN bool Follows(Block* target, const BlockSet& visited) const;
  [[nodiscard]] QOR_HIDDEN size_t CountPlacelessLinks() const;
  [[nodiscard]] QOR_HIDDEN bool AreLinksDue() const;
  QOR_HIDDEN void ResetLinks(Gathering& reset, BlockSet& done);
  /// The position that links to this block store: its own or, for a data list that was continued, that of the first list.
  [[nodiscard]] QOR_HIDDEN long LinkPos() const { return FirstPos != 0 ? FirstPos : FilePos; }
  QOR_HIDDEN long WriteNew(FileStream& stream);
  QOR_HIDDEN long WriteChanges(FileStream& stream);

  unsigned long Room = 0;         // bytes set aside for the block at its position
  long FirstPos = 0;              // position of the first list of a chain; 0 otherwise
  size_t LinksOpen = 0;           // links whose blocks had no place when they were written
  unsigned long DataLinks = 0;    // number of links when the data section was last written
  Block* NextGathered = nullptr;  // in a chain of blocks; the last one's is itself
};

}  // namespace MDF

/// Blocks in the order of their file positions. Two blocks at the same position are one element, and so are all
/// unplaced blocks.
class QOR_EXPORT BlockSet : public std::set<MDF::Block*, MDF::Block::BlockComp> {
 public:
  using set::set;
};

namespace MDF {
using ::BlockSet;
}
