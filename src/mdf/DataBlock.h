// The blocks that carry record data: plain records, plain signal data, and either of them packed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "mdf/BlockBase.h"
#include "mdf/DataBuffer.h"
#include "mdf/DataList.h"

namespace MDF {

struct PackedBytes;

/// What DTBLOCK and SDBLOCK have in common: a block that grows in the file while it is the last one there.
///
/// Inside a data list, the list fills and places it. On its own it is placed like any other block, with room for what it
/// holds at that time. It may grow past that room as long as nothing follows it in the file, and refuses otherwise.
class QOR_EXPORT GrowingBlock : public Block, public DataBlockDynamic {
 public:
  ~GrowingBlock() override;

  void Block_LengthRefresh() override;

 protected:
  QOR_HIDDEN GrowingBlock(blockType_t type, char id1, char id2, Block* parent, FileStream& stream);

  [[nodiscard]] QOR_HIDDEN bool InsertRecord(unsigned char* data, unsigned int length);
  QOR_HIDDEN long WriteRecords(FileStream& stream);
  QOR_HIDDEN void ResetRecords();

 private:
  [[nodiscard]] QOR_HIDDEN bool WriteAroundCache(const unsigned char* data, unsigned int length);
  QOR_HIDDEN void LinkParent(FileStream& stream);

  FileStream& Stream;
  unsigned long InFile = 0;  // data bytes that are in the file
};

/// The fixed-length records of a data group.
class QOR_EXPORT DTBLOCK : public GrowingBlock {
 public:
  explicit DTBLOCK(FileStream& stream);
  /// Parent: the data group, whose data link is set when the block is first written. May be null.
  DTBLOCK(Block* parent, FileStream& stream);
  ~DTBLOCK() override;

  using Block::Block_Reset;
  /// Empties block and cache.
  void Block_Reset(bool full, BlockSet& done) override;
  /// Writes header and cached bytes. Returns the offset after the data; 0 on failure.
  long Write(FileStream& stream) override;
  /// Appends to the cache. When the cache is full it goes to the file and the result is false: insert again. What is too
  /// large for an empty cache goes straight to the file.
  [[nodiscard]] bool Insert(unsigned char* data, unsigned int length) override;
};

/// The variable-length signal data of a channel. As DTBLOCK, except that setting the parent's link is left to the caller: a
/// channel's data link has another index than a data group's.
class QOR_EXPORT SDBLOCK : public GrowingBlock {
 public:
  explicit SDBLOCK(FileStream& stream);
  SDBLOCK(Block* parent, FileStream& stream);
  ~SDBLOCK() override;

  using Block::Block_Reset;
  void Block_Reset(bool full, BlockSet& done) override;
  long Write(FileStream& stream) override;
  [[nodiscard]] bool Insert(unsigned char* data, unsigned int length) override;
};

//  DZ data section, followed by the packed bytes
//  offset size field
//       0    2 OrgType     "DT" or "SD"
//       2    1 ZipType     0 Deflate
//       3    1 Reserved    0
//       4    4 Parameter   0
//       8    8 OrgLength   bytes before packing
//      16    8 DataLength  bytes after packing; 0 when the bytes could not be packed and stand here as they are
#pragma pack(push, 1)
struct DzData {
  char OrgType[2];
  uint8_t ZipType;
  uint8_t Reserved;
  uint32_t Parameter;
  uint64_t OrgLength;
  uint64_t DataLength;
};
#pragma pack(pop)
static_assert(sizeof(DzData) == 24);
static_assert(offsetof(DzData, ZipType) == 2);
static_assert(offsetof(DzData, Parameter) == 4);
static_assert(offsetof(DzData, OrgLength) == 8);
static_assert(offsetof(DzData, DataLength) == 16);

/// A packed DTBLOCK or SDBLOCK. Writing a written block again replaces its data.
class QOR_EXPORT DZBLOCK : public Block, public DataBlockDynamic {
 public:
  /// Parent: the data group (replacesDT) or channel, whose data link is set when the block is first written.
  DZBLOCK(Block* parent, bool replacesDT, FileStream& stream);
  ~DZBLOCK() override;

  using Block::Block_Reset;
  void Block_Reset(bool full, BlockSet& done) override;
  /// Until it is written, the most that the cached bytes may take.
  void Block_LengthRefresh() override;
  /// Packs the cached bytes and puts the block at its place, or at the end of the file when it has none. Returns the
  /// stream's position, also when there is nothing to write; 0 when the data could not be written: it stays cached.
  long Write(FileStream& stream) override;

  /// Replaces the cached bytes with their packed form. False when that needs more than MaxLength(); nothing changes then.
  [[nodiscard]] bool Compress();
  /// Always false.
  bool Data_Compress();
  /// From now on, data that packing makes no smaller goes out as the plain block that this one stands for (DT or SD). Many
  /// readers can't read a packed block with a packed length of 0.
  void Plain_Allow();
  /// A quarter of the cached bytes.
  [[nodiscard]] unsigned int DataBytes_Compressed_Est() const;

 private:
  friend class DLBLOCK;

  /// The cached bytes packed; size 0 when they can't be.
  [[nodiscard]] QOR_HIDDEN PackedBytes Pack() const;
  [[nodiscard]] QOR_HIDDEN bool SeekPlace(FileStream& stream, unsigned long length);
  /// Write, even with nothing to pack.
  QOR_HIDDEN long PutOut(FileStream& stream);
  QOR_HIDDEN long PutOut(FileStream& stream, const PackedBytes& packed);
  QOR_HIDDEN void PutPlain(FileStream& stream);
  QOR_HIDDEN void PutPacked(FileStream& stream, const PackedBytes& packed);
  QOR_HIDDEN void LinkOnce(FileStream& stream);

  DzData Data{};
  const PackedBytes* Ready = nullptr;  // the cached bytes, if somebody has packed them already
  bool PlainAllowed = false;
};

}  // namespace MDF
