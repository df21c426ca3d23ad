#include "mdf/DataList.h"

#include <algorithm>
#include <new>
#include <string>

#include "mdf/ChannelBlock.h"
#include "mdf/DataBlock.h"

namespace MDF {
namespace {

constexpr long kHeaderSize = sizeof(BlockHeader);
constexpr long kLinkSize = 8;
/// Bytes that a listed block adds to its list at most, with headroom: a link and an offset take 16.
constexpr unsigned long kRoomPerBlock = 32;

/// Makes room for one more element, so that adding it takes no memory.
template <class T>
void MakeRoomForOne(std::vector<T>& elements) {
  elements.emplace_back();
  elements.pop_back();
}

/// The result of the action; false if memory was short.
template <class Action>
bool WithMemory(const Action& action) {
  try {
    return action();
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool IsDataGroup(const Block* block) { return block != nullptr && block->Block_Type() == blockType_DG; }

}  // namespace

// --- header list ---

HLBLOCK::HLBLOCK() : HLBLOCK(nullptr) {}

HLBLOCK::HLBLOCK(DLBLOCK* list) : Block(blockType_HL, 'H', 'L', kHlLinkCount) {
  DataSize = sizeof(HlData);
  Links_Set(kHlFirst, list);
}

HLBLOCK::~HLBLOCK() {
  if (Owner != nullptr) Owner->HeaderList = nullptr;
}

void HLBLOCK::Block_Reset(bool full, BlockSet& done) {
  Dirty = true;
  Block::Block_Reset(full, done);
}

bool HLBLOCK::WriteRequest() const { return Dirty || Block::WriteRequest(); }

long HLBLOCK::Write(FileStream& stream) { return WriteWithData(stream, Dirty, {{&Data, sizeof Data}}); }

// --- data list ---

DLBLOCK::DLBLOCK(Block* parent, unsigned short maxBlocks, bool compressed, FileStream& stream)
    : Block(blockType_DL, 'D', 'L', kDlLinkCount),
      MaxBlocks(std::max<unsigned int>(maxBlocks, 1)),
      Parent(parent),
      ParentLink(IsDataGroup(parent) ? static_cast<unsigned int>(kDgData) : kCnData),
      Stream(stream) {
  Data.Count = 1;
  DataSize = SectionSize();
  if (compressed) {
    HeaderList = new HLBLOCK(this);
    HeaderList->Owner = this;
  }
  try {
    DataBlock_Get(parent, compressed, stream);
  } catch (...) {
    delete HeaderList;
    throw;
  }
}

DLBLOCK::~DLBLOCK() {
  if (HeaderList != nullptr) HeaderList->Owner = nullptr;
  if (Cached != nullptr) Cached->List = nullptr;
  delete HeaderList;
  delete DataBlock;
}

Block* DLBLOCK::DataBlock_Get(Block* parent, bool compressed, FileStream& stream) {
  if (Cached != nullptr && !Cached->IsEmpty()) return DataBlock;
  const auto adopt = [this](auto* block) {
    delete DataBlock;  // which makes this list forget it
    block->LinkedBlock_Disable();
    DataBlock = block;
    Cached = block;
    Cached->List = this;
  };
  if (compressed) {
    auto* block = new DZBLOCK(parent, IsDataGroup(parent), stream);
    adopt(block);
    Zipped = block;
  } else if (IsDataGroup(parent)) {
    adopt(new DTBLOCK(stream));
  } else {
    adopt(new SDBLOCK(stream));
  }
  Links_Set(kDlData, DataBlock);
  return DataBlock;
}

void DLBLOCK::ForgetDataBlock() {
  DataBlock = nullptr;
  Cached = nullptr;
  Zipped = nullptr;
}

unsigned int DLBLOCK::SectionSize() const {
  return static_cast<unsigned int>(sizeof(DlData) + sizeof(uint64_t) * Offsets.size());
}

bool DLBLOCK::Usable() const { return Stream.is_open() && Stream.good(); }

bool DLBLOCK::Insert(unsigned char* data, unsigned int length) {
  if (Cached != nullptr && Cached->Append(data, length)) return true;
  return Write() && Cached->Append(data, length);
}

bool DLBLOCK::Write() {
  return WithMemory([this] {
    if (DataBlock == nullptr || !Usable() || (!ListExtended && Cached->IsEmpty())) return false;
    if (BlockCount > MaxBlocks) {
      Extend_List();
      Offsets.push_back(RunningOffset);
    }
    if (!ListDataBlock()) return false;
    ListExtended = false;
    return true;
  });
}

long DLBLOCK::Write(FileStream&) { return Write() ? 1 : 0; }

bool DLBLOCK::PutOutDataBlock() {
  const long end = Zipped != nullptr ? Zipped->PutOut(Stream) : DataBlock->Write(Stream);
  if (end != 0) Stream.flush();
  return end != 0 && Stream.good();
}

void DLBLOCK::BeginNextDataBlock(unsigned int bytes, BlockSet& reset) {
  RunningOffset += bytes;
  Offsets.push_back(RunningOffset);
  Listed.push_back(DataBlock->FilePos);
  DataSize = SectionSize();
  ++BlockCount;
  Data.Count = BlockCount;
  DataBlock->Block_Reset(false, reset);
}

// What couldn't be written or listed stays cached, and a list that nothing points to yet will get another place.
void DLBLOCK::KeepDataBlock(unsigned int bytes, BlockSet& reset) {
  DataBlock->Block_Reset(false, reset);
  Cached->Held = bytes;
  if (IsWritten || PreviousLink != 0) return;
  FilePos = 0;
  if (HeaderList != nullptr) HeaderList->Block_Reset(false);
}

bool DLBLOCK::ListDataBlock() {
  BlockSet reset{DataBlock};  // the memory that is needed once the block is out
  MakeRoomForOne(Offsets);
  MakeRoomForOne(Listed);
  const unsigned int bytes = Cached->DataBytes();
  bool listed = false;
  try {
    listed = IsWritten ? ListNextDataBlock() : ListFirstDataBlock();
  } catch (...) {
    KeepDataBlock(bytes, reset);
    throw;
  }
  listed ? BeginNextDataBlock(bytes, reset) : KeepDataBlock(bytes, reset);
  return listed;
}

// The data goes out before the list that points to it: whatever ends the recording in between, no list points to data that
// isn't there.
bool DLBLOCK::ListFirstDataBlock() {
  IsWritten = BeginList() && PutOutDataBlock() && LinkFirst() && Stream.flush();
  return IsWritten;
}

bool DLBLOCK::ListNextDataBlock() {
  std::string bytes;
  bytes.reserve(kHeaderSize + kLinkSize * (BlockCount + 1UL) + SectionSize());  // before anything goes out
  return PlaceDataBlock() && PutOutDataBlock() && RewriteList(bytes) && Stream.flush();
}

bool DLBLOCK::DataBlock_Add() {
  return WithMemory([this] {
    if (!IsWritten || DataBlock == nullptr || !Usable()) return false;
    const bool listed = BlockCount < MaxBlocks || (BlockCount == MaxBlocks && !Cached->IsEmpty());
    if (listed && !ListDataBlock()) return false;
    if (BlockCount <= MaxBlocks && listed) return true;
    Extend_List();
    Offsets.push_back(RunningOffset);
    Room = FullRoom();
    ExtendFile(Stream, FilePos + static_cast<long>(Room));  // so that no other block takes the place
    Stream.seekp(FilePos);
    ListExtended = true;
    return false;
  });
}

unsigned long DLBLOCK::DataBytes() const {
  if (Cached == nullptr) return 0;
  return (BlockCount - 1UL) * Cached->MaxLength() + Cached->DataBytes();
}

unsigned long DLBLOCK::DataBytes_Compressed_Est() const {
  if (Cached == nullptr) return 0;
  return Zipped != nullptr ? Zipped->DataBytes_Compressed_Est() : Cached->DataBytes();
}

bool DLBLOCK::Data_NewBlock() { return true; }

unsigned long DLBLOCK::DataBytes_InFile() const { return RunningOffset; }

bool DLBLOCK::Data_Waiting() const { return Cached != nullptr && !Cached->IsEmpty(); }

bool DLBLOCK::Data_Fits(unsigned int length) const {
  return Cached != nullptr && static_cast<unsigned long>(Cached->Held) + length + Cached->kMargin <= Cached->Max;
}

void DLBLOCK::Data_Discard() {
  if (Cached != nullptr) Cached->Reset();
}

bool DLBLOCK::Data_TakeBack(unsigned int length) {
  if (Cached == nullptr || Cached->Held < length) return false;
  Cached->Held -= length;
  return true;
}

// --- the list in the file ---

bool DLBLOCK::WriteRequest() const { return !ListExtended && Block::WriteRequest(); }

// The list in the file stays valid until it is rewritten with its next block, so growing in memory doesn't make a written
// list dirty.
void DLBLOCK::Block_LengthRefresh() {
  const bool dirty = HeaderChanged || !IsWritten;
  Header_Change(BlockCount + 1, SectionSize());
  HeaderChanged = dirty;
}

void DLBLOCK::Extend_List() {
  const long first = FirstPos != 0 ? FirstPos : FilePos;
  BlockSet reset{this};
  const long previous = FilePos;
  Block_Reset(false, reset);
  PreviousLink = previous + kHeaderSize + kDlNext * kLinkSize;
  Offsets.clear();
  FilePos = CalcStartPos(SeekEnd(Stream));
  FirstPos = first;
}

bool DLBLOCK::Write_First() {
  if (DataBlock == nullptr || !Usable() || !BeginList() || !LinkFirst()) return false;
  IsWritten = true;
  return true;
}

bool DLBLOCK::BeginList() {
  RunningOffset = Offsets.front();
  PlaceFirst();
  ExtendFile(Stream, FilePos);
  HeaderChanged = true;
  Block_LengthRefresh();
  const long behindRoom = FilePos + static_cast<long>(Header.Length + GrowthRoom());
  const long dataBlock = std::max(behindRoom, CalcStartPos(SeekEnd(Stream)));
  DataBlock->FilePos = dataBlock;
  Stream.seekp(FilePos);
  Header_Write(Stream);
  Links_Write(Stream);
  WriteSection();
  ExtendFile(Stream, dataBlock);  // zeros in the room for growth
  return Stream.good();
}

void DLBLOCK::PlaceFirst() {
  if (HeaderList != nullptr && HeaderList->FilePos == 0) {
    PlaceAfterHeaderList();
  } else if (Room < FullRoom() && FilePos < SeekEnd(Stream)) {
    FilePos = CalcStartPos(SeekEnd(Stream));  // only there is room to grow
  }
}

void DLBLOCK::PlaceAfterHeaderList() {
  long cursor = SeekEnd(Stream);
  HeaderList->Links_Set(kHlFirst, this);
  HeaderList->Block_PlaceAndList(true, &cursor, nullptr);
  FilePos = CalcStartPos(HeaderList->FilePos + static_cast<long>(HeaderList->Block_Length()));
  HeaderList->Write(Stream);
}

unsigned long DLBLOCK::GrowthRoom() const { return (MaxBlocks - 1UL) * kRoomPerBlock; }

unsigned long DLBLOCK::FullRoom() const {
  return kHeaderSize + kLinkSize * kDlLinkCount + sizeof(DlData) + sizeof(uint64_t) + GrowthRoom();
}

void DLBLOCK::WriteSection() {
  Put(Stream, Data);
  Put(Stream, std::span<const uint64_t>(Offsets));
}

// The parent points to the first list; every other list is chained to the one before it.
bool DLBLOCK::LinkFirst() {
  if (PreviousLink != 0) {
    Stream.seekp(PreviousLink);
    Put(Stream, static_cast<int64_t>(FilePos));
  } else if (Parent != nullptr) {
    Parent->Links_Set(ParentLink, HeaderList != nullptr ? static_cast<Block*>(HeaderList) : this);
    Parent->Write(Stream);
  }
  return Stream.good();
}

bool DLBLOCK::Write_Changed() {
  if (DataBlock == nullptr || !Usable() || Cached->IsEmpty()) return false;
  std::string bytes;
  return PlaceDataBlock() && RewriteList(bytes);
}

bool DLBLOCK::PlaceDataBlock() {
  DataBlock->FilePos = CalcStartPos(SeekEnd(Stream));
  return Stream.good();
}

// In one piece: a write that fails, or the end of the process, leaves the list as it was.
bool DLBLOCK::RewriteList(std::string& bytes) {
  Header_Change(BlockCount + 1, SectionSize());
  const auto add = [&bytes](const auto& value) { bytes.append(reinterpret_cast<const char*>(&value), sizeof value); };
  add(Header);
  const Block* next = Links_Get(kDlNext);
  add(static_cast<int64_t>(next != nullptr ? next->LinkPos() : 0));
  for (const int64_t position : Listed) add(position);
  add(static_cast<int64_t>(DataBlock->FilePos));
  add(Data);
  for (const uint64_t offset : Offsets) add(offset);
  Stream.seekp(FilePos);
  PutBytes(Stream, bytes.data(), bytes.size());
  HeaderChanged = !Stream.good();
  return Stream.good();
}

// --- reset ---

void DLBLOCK::RestartLists() {
  BlockCount = 1;
  Data.Count = 1;
  Offsets = {0};
  Listed.clear();
  DataSize = SectionSize();
}

void DLBLOCK::Block_Reset(bool full, BlockSet& done) {
  Block::Block_Reset(full, done);
  RestartLists();
  if (!full) return;
  RunningOffset = 0;
  PreviousLink = 0;
  ListExtended = false;
  if (Parent != nullptr && ParentLink < Parent->Links.size()) {
    Parent->Links[ParentLink] = nullptr;
    Parent->LinksChanged = true;
  }
  if (HeaderList != nullptr) HeaderList->Block_Reset(true, done);
}

}  // namespace MDF
