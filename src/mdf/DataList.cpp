#include "mdf/DataList.h"

#include <algorithm>
#include <new>
#include <string>
#include <utility>

#include "internal/Span.h"
#include "mdf/ChannelBlock.h"
#include "mdf/DataBlock.h"
#include "mdf/FullBlock.h"

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
  if (Owner != nullptr) Owner->ForgetHeaderList();
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
      Stream(stream),
      Parent(parent),
      ParentLink(IsDataGroup(parent) ? static_cast<unsigned int>(kDgData) : kCnData),
      MaxBlocks(std::max<unsigned int>(maxBlocks, 1)) {
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
  if (Current.Buffer != nullptr) Current.Buffer->List = nullptr;
  delete HeaderList;
  delete Current.Block;
}

Block* DLBLOCK::DataBlock_Get(Block* parent, bool compressed, FileStream& stream) {
  if (Current.Buffer != nullptr && !Current.Buffer->IsEmpty()) return Current.Block;
  const auto adopt = [this](auto* block) {
    delete Current.Block;  // which makes this list forget it
    block->LinkedBlock_Disable();
    Current.Block = block;
    Current.Buffer = block;
    Current.Buffer->List = this;
  };
  if (compressed) {
    auto* block = new DZBLOCK(parent, IsDataGroup(parent), stream);
    adopt(block);
    Current.Packed = block;
    if (PlainAllowed) block->Plain_Allow();
  } else if (IsDataGroup(parent)) {
    adopt(new DTBLOCK(stream));
  } else {
    adopt(new SDBLOCK(stream));
  }
  Links_Set(kDlData, Current.Block);
  return Current.Block;
}

unsigned int DLBLOCK::SectionSize() const {
  return static_cast<unsigned int>(sizeof(DlData) + sizeof(uint64_t) * Listed.Offsets.size());
}

bool DLBLOCK::Usable() const { return Stream.is_open() && Stream.good(); }

bool DLBLOCK::Insert(unsigned char* data, unsigned int length) {
  if (Current.Buffer != nullptr && Current.Buffer->Append(data, length)) return true;
  return Write() && Current.Buffer->Append(data, length);
}

bool DLBLOCK::Write() {
  return WithMemory([this] {
    if (Current.Block == nullptr || !Usable() || (!ListExtended && Current.Buffer->IsEmpty())) return false;
    if (Listed.Count > MaxBlocks) {
      Extend_List();
      Listed.Offsets.push_back(RunningOffset);
    }
    if (!ListDataBlock()) return false;
    ListExtended = false;
    return true;
  });
}

void DLBLOCK::Exchange(FullBlock& block) {
  std::swap(Current.Buffer->Cache, block.Bytes);
  std::swap(Current.Buffer->Held, block.Size);
}

bool DLBLOCK::Data_HandOver(FullBlock& block) {
  if (Current.Packed == nullptr || Current.Buffer->CacheSize != DataBlockDynamic::kCacheSize) return false;
  block.Most = Current.Buffer->Max;
  Exchange(block);
  return true;
}

bool DLBLOCK::Write(FullBlock& block) {
  if (Current.Packed == nullptr) return false;
  struct InItsTurn {  // in place of what is cached
    InItsTurn(DLBLOCK& list, FullBlock& taken) : List(list), Taken(taken) { Swap(&taken.Packed); }
    ~InItsTurn() { Swap(nullptr); }
    InItsTurn(const InItsTurn&) = delete;
    InItsTurn& operator=(const InItsTurn&) = delete;
    void Swap(const PackedBytes* ready) {
      List.Exchange(Taken);
      List.Current.Packed->Ready = ready;
    }
    DLBLOCK& List;
    FullBlock& Taken;
  };
  const InItsTurn turn(*this, block);
  return Write();
}

long DLBLOCK::Write(FileStream&) { return Write() ? 1 : 0; }

bool DLBLOCK::PutOutDataBlock() {
  const long end = Current.Packed != nullptr ? Current.Packed->PutOut(Stream) : Current.Block->Write(Stream);
  if (end == 0) return false;
  Stream.flush();
  return Stream.good();
}

void DLBLOCK::BeginNextDataBlock(unsigned int bytes, BlockSet& reset) {
  RunningOffset += bytes;
  Listed.Offsets.push_back(RunningOffset);
  Listed.Positions.push_back(Current.Block->FilePos);
  DataSize = SectionSize();
  ++Listed.Count;
  Current.Block->Block_Reset(false, reset);
}

// What couldn't be written or listed stays cached, and a list that nothing points to yet will get another place.
void DLBLOCK::KeepDataBlock(unsigned int bytes, BlockSet& reset) {
  Current.Block->Block_Reset(false, reset);
  Current.Buffer->Held = bytes;
  if (IsWritten || PreviousLink != 0) return;
  FilePos = 0;
  if (HeaderList != nullptr) HeaderList->Block_Reset(false);
}

bool DLBLOCK::ListDataBlock() {
  BlockSet reset{Current.Block};  // the memory that is needed once the block is out
  MakeRoomForOne(Listed.Offsets);
  MakeRoomForOne(Listed.Positions);
  const unsigned int bytes = Current.Buffer->DataBytes();
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
  bytes.reserve(kHeaderSize + kLinkSize * (Listed.Count + 1UL) + SectionSize());  // before anything goes out
  return PlaceDataBlock() && PutOutDataBlock() && RewriteList(bytes) && Stream.flush();
}

bool DLBLOCK::DataBlock_Add() {
  return WithMemory([this] {
    if (!IsWritten || Current.Block == nullptr || !Usable()) return false;
    const bool listed = Listed.Count < MaxBlocks || (Listed.Count == MaxBlocks && !Current.Buffer->IsEmpty());
    if (listed && !ListDataBlock()) return false;
    if (Listed.Count <= MaxBlocks && listed) return true;
    Extend_List();
    Listed.Offsets.push_back(RunningOffset);
    Room = FullRoom();
    ExtendFile(Stream, FilePos + static_cast<long>(Room));  // so that no other block takes the place
    Stream.seekp(FilePos);
    ListExtended = true;
    return false;
  });
}

unsigned long DLBLOCK::DataBytes() const {
  if (Current.Buffer == nullptr) return 0;
  return (Listed.Count - 1UL) * Current.Buffer->MaxLength() + Current.Buffer->DataBytes();
}

unsigned long DLBLOCK::DataBytes_Compressed_Est() const {
  if (Current.Buffer == nullptr) return 0;
  return Current.Packed != nullptr ? Current.Packed->DataBytes_Compressed_Est() : Current.Buffer->DataBytes();
}

void DLBLOCK::Plain_Allow() {
  PlainAllowed = true;
  if (Current.Packed != nullptr) Current.Packed->Plain_Allow();
}

bool DLBLOCK::Data_NewBlock() { return true; }

unsigned long DLBLOCK::DataBytes_InFile() const { return RunningOffset; }

bool DLBLOCK::Data_Waiting() const { return Current.Buffer != nullptr && !Current.Buffer->IsEmpty(); }

bool DLBLOCK::Data_Fits(unsigned int length) const {
  return Current.Buffer != nullptr && Current.Buffer->Takes(length);
}

void DLBLOCK::Data_Discard() {
  if (Current.Buffer != nullptr) Current.Buffer->Reset();
}

bool DLBLOCK::Data_TakeBack(unsigned int length) {
  if (Current.Buffer == nullptr || Current.Buffer->Held < length) return false;
  Current.Buffer->Held -= length;
  return true;
}

// --- the list in the file ---

bool DLBLOCK::WriteRequest() const { return !ListExtended && Block::WriteRequest(); }

// The list in the file stays valid until it is rewritten with its next block, so growing in memory doesn't make a written
// list dirty.
void DLBLOCK::Block_LengthRefresh() {
  const bool dirty = HeaderChanged || !IsWritten;
  Header_Change(Listed.Count + 1, SectionSize());
  HeaderChanged = dirty;
}

void DLBLOCK::Extend_List() {
  const long first = FirstPos != 0 ? FirstPos : FilePos;
  BlockSet reset{this};
  const long previous = FilePos;
  Block_Reset(false, reset);
  PreviousLink = previous + kHeaderSize + kDlNext * kLinkSize;
  Listed.Offsets.clear();
  FilePos = CalcStartPos(SeekEnd(Stream));
  FirstPos = first;
}

bool DLBLOCK::Write_First() {
  if (Current.Block == nullptr || !Usable() || !BeginList() || !LinkFirst()) return false;
  IsWritten = true;
  return true;
}

bool DLBLOCK::BeginList() {
  RunningOffset = Listed.Offsets.front();
  PlaceFirst();
  ExtendFile(Stream, FilePos);
  HeaderChanged = true;
  Block_LengthRefresh();
  const long afterRoom = FilePos + static_cast<long>(Header.Length + GrowthRoom());
  const long dataBlock = std::max(afterRoom, CalcStartPos(SeekEnd(Stream)));
  Current.Block->FilePos = dataBlock;
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
  Put(Stream, Section());
  Put(Stream, Span<const uint64_t>(Listed.Offsets));
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
  if (Current.Block == nullptr || !Usable() || Current.Buffer->IsEmpty()) return false;
  std::string bytes;
  return PlaceDataBlock() && RewriteList(bytes);
}

bool DLBLOCK::PlaceDataBlock() {
  Current.Block->FilePos = CalcStartPos(SeekEnd(Stream));
  return Stream.good();
}

// In one piece: a write that fails, or the end of the process, leaves the list as it was.
bool DLBLOCK::RewriteList(std::string& bytes) {
  Header_Change(Listed.Count + 1, SectionSize());
  const auto add = [&bytes](const auto& value) { bytes.append(reinterpret_cast<const char*>(&value), sizeof value); };
  add(Header);
  const Block* next = Links_Get(kDlNext);
  add(static_cast<int64_t>(next != nullptr ? next->LinkPos() : 0));
  for (const int64_t position : Listed.Positions) add(position);
  add(static_cast<int64_t>(Current.Block->FilePos));
  add(Section());
  for (const uint64_t offset : Listed.Offsets) add(offset);
  Stream.seekp(FilePos);
  PutBytes(Stream, bytes.data(), bytes.size());
  HeaderChanged = !Stream.good();
  return Stream.good();
}

// --- reset ---

// Takes no memory: the vectors keep what they have.
void DLBLOCK::RestartLists() {
  Listed.Count = 1;
  Listed.Positions.clear();
  Listed.Offsets = {0};
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
