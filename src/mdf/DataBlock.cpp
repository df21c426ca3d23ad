#include "mdf/DataBlock.h"

#include <algorithm>
#include <new>

#include "mdf/ChannelBlock.h"
#include "mdf/Compress.h"

namespace MDF {
namespace {

constexpr unsigned long kHeaderSize = sizeof(BlockHeader);

bool Usable(FileStream& stream) { return stream.is_open() && stream.good(); }

}  // namespace

// --- plain blocks ---

GrowingBlock::GrowingBlock(blockType_t type, char id1, char id2, Block* parent, FileStream& stream)
    : Block(type, id1, id2, 0), Stream(stream) {
  LinkedBlock(parent, kDgData);
  Header_Change(0, 0);
}

GrowingBlock::~GrowingBlock() = default;

// Once the block is written, the length covers what the file holds. Before that it covers the cache as well, so that enough
// room is set aside.
void GrowingBlock::Block_LengthRefresh() {
  const unsigned long bytes = InFile + (IsWritten ? 0 : DataBytes());
  const bool same = Header.LinkCount == Links.size() && Header.Length == kHeaderSize + Links_Length() + bytes;
  if (!same) Header_Change(Links_Count(), bytes);
}

bool GrowingBlock::InsertRecord(unsigned char* data, unsigned int length) {
  if (Append(data, length)) {
    HeaderChanged = true;  // it will be, once the bytes are written
    return true;
  }
  if (data == nullptr || !Usable(Stream)) return false;
  if (IsEmpty()) return WriteAroundCache(data, length);
  WriteRecords(Stream);
  return false;  // the caller inserts again, into an empty cache
}

long GrowingBlock::WriteRecords(FileStream& stream) {
  if (!Usable(stream)) return 0;
  const unsigned int held = DataBytes();
  const bool first = !IsWritten;
  if (first || held > 0) Header_Change(Links_Count(), InFile + held);
  const long start = Block::Write(stream);
  if (start == 0) return 0;
  stream.seekp(start + static_cast<long>(InFile));
  DataBlockDynamic::Write(stream);
  if (!IsEmpty()) return 0;
  InFile += held;
  if (first) LinkParent(stream);
  return start + static_cast<long>(InFile);
}

bool GrowingBlock::WriteAroundCache(const unsigned char* data, unsigned int length) {
  const bool first = !IsWritten;
  Header_Change(Links_Count(), InFile + length);
  const long start = Block::Write(Stream);
  if (start == 0) return false;
  Stream.seekp(start + static_cast<long>(InFile));
  PutBytes(Stream, data, length);
  if (!Stream.good()) return false;
  InFile += length;
  WrittenAround += length;
  if (first) LinkParent(Stream);
  return true;
}

// LinkedIndex is a data group's; any other block has another link there.
void GrowingBlock::LinkParent(FileStream& stream) {
  if (Type != blockType_DT || Linked == nullptr || Linked->Block_Type() != blockType_DG) return;
  Linked->Links_Set(LinkedIndex, this);
  Linked->Write(stream);
}

void GrowingBlock::ResetRecords() {
  Reset();
  InFile = 0;
  DataSize = 0;
  Header_Change(Links_Count(), 0);
}

DTBLOCK::DTBLOCK(FileStream& stream) : DTBLOCK(nullptr, stream) {}

DTBLOCK::DTBLOCK(Block* parent, FileStream& stream) : GrowingBlock(blockType_DT, 'D', 'T', parent, stream) {}

DTBLOCK::~DTBLOCK() = default;

void DTBLOCK::Block_Reset(bool full, BlockSet& done) {
  ResetRecords();
  Block::Block_Reset(full, done);
}

long DTBLOCK::Write(FileStream& stream) { return WriteRecords(stream); }

bool DTBLOCK::Insert(unsigned char* data, unsigned int length) { return InsertRecord(data, length); }

SDBLOCK::SDBLOCK(FileStream& stream) : SDBLOCK(nullptr, stream) {}

SDBLOCK::SDBLOCK(Block* parent, FileStream& stream) : GrowingBlock(blockType_SD, 'S', 'D', parent, stream) {}

SDBLOCK::~SDBLOCK() = default;

void SDBLOCK::Block_Reset(bool full, BlockSet& done) {
  ResetRecords();
  Block::Block_Reset(full, done);
}

long SDBLOCK::Write(FileStream& stream) { return WriteRecords(stream); }

bool SDBLOCK::Insert(unsigned char* data, unsigned int length) { return InsertRecord(data, length); }

// --- packed blocks ---

DZBLOCK::DZBLOCK(Block* parent, bool replacesDT, FileStream&) : Block(blockType_DZ, 'D', 'Z', 0) {
  Data.OrgType[0] = replacesDT ? 'D' : 'S';
  Data.OrgType[1] = replacesDT ? 'T' : 'D';
  DataSize = sizeof(DzData);
  LinkedBlock(parent, replacesDT ? static_cast<unsigned int>(kDgData) : kCnData);
}

DZBLOCK::~DZBLOCK() = default;

void DZBLOCK::Block_Reset(bool full, BlockSet& done) {
  Reset();
  Data.OrgLength = 0;
  Data.DataLength = 0;
  Block::Block_Reset(full, done);
}

// Packed bytes are stored only if they fit into the maximum; otherwise the bytes are stored as they are.
void DZBLOCK::Block_LengthRefresh() {
  if (IsWritten) return;
  const unsigned long packed = std::min<unsigned long>(CompressBound(Held), Max);
  const unsigned long most = IsEmpty() ? 0 : std::max<unsigned long>(packed, Held);
  const bool same = Header.Length == kHeaderSize + sizeof(DzData) + most;
  if (!same) Header_Change(sizeof(DzData) + most);
}

PackedBytes DZBLOCK::Pack() const {
  PackedBytes packed{std::unique_ptr<unsigned char[]>(new (std::nothrow) unsigned char[Max])};
  MDF::Pack(Cache.get(), Held, Max, packed);
  return packed;
}

bool DZBLOCK::Compress() {
  const PackedBytes packed = Pack();
  if (packed.Size == 0) return false;
  std::copy_n(packed.Bytes.get(), packed.Size, Cache.get());
  Held = static_cast<unsigned int>(packed.Size);
  return true;
}

bool DZBLOCK::Data_Compress() { return false; }

unsigned int DZBLOCK::DataBytes_Compressed_Est() const { return Held >> 2; }

long DZBLOCK::Write(FileStream& stream) {
  if (IsEmpty()) return Position(stream);
  return Usable(stream) ? PutOut(stream) : 0;
}

bool DZBLOCK::SeekPlace(FileStream& stream, unsigned long length) {
  if (FilePos == 0 && !IsWritten) FilePos = CalcStartPos(SeekEnd(stream));
  if (!FitsRoom(stream, length)) return false;
  if (!IsWritten && SeekEnd(stream) < FilePos) {
    ExtendFile(stream, FilePos);
  } else {
    stream.seekp(FilePos);
  }
  return stream.good();
}

void DZBLOCK::Plain_Allow() { PlainAllowed = true; }

long DZBLOCK::PutOut(FileStream& stream) { return Ready != nullptr ? PutOut(stream, *Ready) : PutOut(stream, Pack()); }

long DZBLOCK::PutOut(FileStream& stream, const PackedBytes& packed) {
  const bool plain = PlainAllowed && (packed.Size == 0 || sizeof(DzData) + packed.Size >= Held);
  const unsigned long stored = packed.Size == 0 ? Held : packed.Size;
  if (!SeekPlace(stream, kHeaderSize + (plain ? Held : sizeof(DzData) + stored))) return 0;
  if (plain) {
    PutPlain(stream);
  } else {
    PutPacked(stream, packed);
  }
  if (!stream.good()) return 0;
  Held = 0;
  LinksChanged = false;  // the block has no links, and Block::Write, which would clear this, isn't called
  LinkOnce(stream);
  return Position(stream);
}

/// In place of this block's own header stands that of the block that it would have packed.
void DZBLOCK::PutPlain(FileStream& stream) {
  const BlockHeader header{{'#', '#', Data.OrgType[0], Data.OrgType[1]}, 0, kHeaderSize + Held, 0};
  Put(stream, header);
  PutBytes(stream, Cache.get(), Held);
  HeaderChanged = false;
}

void DZBLOCK::PutPacked(FileStream& stream, const PackedBytes& packed) {
  const bool raw = packed.Size == 0;
  const unsigned long stored = raw ? Held : packed.Size;
  Data.OrgLength = Held;
  if (!raw) Data.DataLength = packed.Size;
  Header_Change(sizeof(DzData) + stored);
  Header_Write(stream);
  Put(stream, Data);
  PutBytes(stream, raw ? Cache.get() : packed.Bytes.get(), stored);
}

void DZBLOCK::LinkOnce(FileStream& stream) {
  if (!IsWritten && Linked != nullptr) {
    Linked->Links_Set(LinkedIndex, this);
    Linked->Write(stream);
  }
  IsWritten = true;
}

}  // namespace MDF
