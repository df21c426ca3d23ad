#include "mdf/BlockBase.h"

#include <algorithm>
#include <initializer_list>

#include "mdf/BlockGathering.h"
#include "mdf/BlockTree.h"

namespace MDF {
namespace {

constexpr unsigned long kHeaderSize = sizeof(BlockHeader);
constexpr unsigned long kLinkSize = 8;

bool Usable(FileStream& stream) { return stream.is_open() && stream.good(); }

bool IsDataList(const Block& block) { return block.Block_Type() == blockType_DL || block.Block_Type() == blockType_HL; }

}  // namespace

Block::Block() = default;

Block::Block(blockType_t type, char id1, char id2, unsigned int linkCount) : Type(type) {
  Header.Id[0] = '#';
  Header.Id[1] = '#';
  Header.Id[2] = id1;
  Header.Id[3] = id2;
  Links_Generate(linkCount);
}

Block::~Block() = default;

bool Block::BlockComp::operator()(const Block* left, const Block* right) const {
  return left->FilePos < right->FilePos;
}

Block* Block::Block_Get() { return this; }

blockType_t Block::Block_Type() const { return Type; }

long Block::Block_FilePos() const { return FilePos; }

// --- header ---

void Block::Header_AddData(unsigned int bytes) {
  Header.Length += bytes;
  HeaderChanged = true;
}

void Block::Header_AddLink(unsigned int count) {
  Header.LinkCount += count;
  Header.Length += kLinkSize * count;
  HeaderChanged = true;
}

void Block::Header_Change(unsigned int links, unsigned long dataBytes) {
  Header.LinkCount = links;
  Header.Length = kHeaderSize + kLinkSize * links + dataBytes;
  HeaderChanged = true;
}

// Adds the number of links, not their bytes: part of the interface. The library calls it for blocks without links only.
void Block::Header_Change(unsigned long bytes) {
  Header.Length = bytes + kHeaderSize + Links.size();
  HeaderChanged = true;
}

void Block::Header_Write(FileStream& stream) {
  if (!HeaderChanged) return;
  Put(stream, Header);
  HeaderChanged = !stream.good();
}

std::string Block::Header_Type() const { return {Header.Id, sizeof Header.Id}; }

void Block::Block_LengthRefresh() {
  if (HeaderChanged || Header.LinkCount != Links.size()) Header_Change(Links_Count(), DataSize);
}

unsigned long Block::Block_Length() {
  Block_LengthRefresh();
  return Header.Length;
}

// --- links ---

unsigned int Block::Links_Count() const { return static_cast<unsigned int>(Links.size()); }

unsigned int Block::Links_Length() const { return 8 * Links_Count(); }

Block* Block::Links_Get(unsigned int index) const { return index < Links.size() ? Links[index] : nullptr; }

void Block::Links_Generate(unsigned int count) {
  if (!Links.empty()) Links_Clear(true);
  Links.assign(count, nullptr);
  LinksChanged = true;
}

void Block::Links_Add(Block* block) {
  Links.push_back(block);
  Header_AddLink(1);
  LinksChanged = true;
}

void Block::Links_Set(unsigned int index, Block* block) {
  if (block == nullptr) return;
  if (index >= Links.size()) Links.resize(size_t{index} + 1, nullptr);
  Links[index] = block;
  LinksChanged = true;
}

void Block::Links_Set(FileStream&, unsigned int index, Block* block) {
  if (!IsWritten) {
    Links_Set(index, block);
    return;
  }
  if (index < Links.size()) return;
  LinksChanged = true;
  (void)Links.at(index);  // the standard out-of-range error
}

void Block::Links_Delete(unsigned int index) {
  Block* target = Links_Get(index);
  if (target == nullptr) return;
  DestroyTree(target, DataLists::kInclude, this);
  if (index >= Links.size()) return;
  Links[index] = nullptr;
  LinksChanged = true;
}

void Block::Links_Clear(bool destroy) {
  const std::vector<Block*> linked = std::move(Links);
  Links.clear();
  if (destroy) DestroyLinked(linked, this);
  Header_Change(0, DataSize);
  LinksChanged = true;
}

void Block::Links_Write(FileStream& stream) {
  for (const Block* target : Links) Put(stream, static_cast<int64_t>(target != nullptr ? target->LinkPos() : 0));
  LinksChanged = !stream.good();
  LinksOpen = CountPlacelessLinks();
}

size_t Block::CountPlacelessLinks() const {
  const auto placeless = [](const Block* target) { return target != nullptr && target->LinkPos() == 0; };
  return static_cast<size_t>(std::count_if(Links.begin(), Links.end(), placeless));
}

// Worked out when it is asked for, since a block doesn't know who links to it.
bool Block::AreLinksDue() const { return LinksChanged || (LinksOpen != 0 && LinksOpen != CountPlacelessLinks()); }

// --- place ---

long Block::CalcStartPos(long position) { return (position + 7) & ~7L; }

bool Block::ExtendFile(FileStream& stream, long position) {
  for (long end = SeekEnd(stream); end < position && stream.good(); ++end) stream.put('\0');
  return true;
}

void Block::Place(long& cursor) {
  Block_LengthRefresh();
  if (FilePos != 0) return;
  FilePos = CalcStartPos(cursor);
  Room = Header.Length;
  cursor = FilePos + static_cast<long>(Header.Length);
}

void Block::Block_PlaceAndList(bool all, long* cursor, BlockSet* list) {
  BlockSet visited;
  Block_PlaceAndList(all, cursor, list, visited);
}

void Block::Block_PlaceAndList(bool all, long* cursor, BlockSet* list, BlockSet& visited) {
  if (cursor != nullptr) Place(*cursor);
  if (list != nullptr && (all || WriteRequest())) list->insert(this);
  visited.insert(this);
  SubBlocks(list, all, cursor, visited);
  if (list != nullptr && AreLinksDue() && WriteRequest()) list->insert(this);  // a linked block may have got its place
}

bool Block::IgnoreSubBlock(Block* block) {
  switch (block != nullptr ? block->Type : blockType_None) {
    case blockType_DL:
    case blockType_DT:
    case blockType_DZ:
    case blockType_SD:
      return true;
    default:
      return false;
  }
}

bool Block::Follows(Block* target, const BlockSet& visited) const {
  if (target == nullptr || (Type == blockType_DL && IgnoreSubBlock(target))) return false;
  return !visited.contains(target);
}

// The recursion has its own stack: chains of channels or events may be longer than the call stack is deep.
void Block::SubBlocks(BlockSet* list, bool all, long* cursor, BlockSet& visited) const {
  struct Step {
    Block* At;  // null for this block
    size_t NextLink;
  };
  std::vector<Step> path{{nullptr, 0}};
  while (!path.empty()) {
    Step& step = path.back();
    const Block* from = step.At != nullptr ? step.At : this;
    if (step.NextLink == from->Links.size()) {
      const bool due = step.At != nullptr && from->AreLinksDue() && from->WriteRequest();
      if (list != nullptr && due) list->insert(step.At);
      path.pop_back();
      continue;
    }
    Block* target = from->Links[step.NextLink++];
    if (!from->Follows(target, visited)) continue;
    if (cursor != nullptr) target->Place(*cursor);
    if (list != nullptr && (all || target->WriteRequest())) list->insert(target);
    visited.insert(target);
    path.push_back({target, 0});
  }
}

// --- writing ---

bool Block::WriteRequest() const { return !IsWritten || HeaderChanged || AreLinksDue(); }

bool Block::FitsRoom(FileStream& stream, unsigned long length) {
  if (length <= Room) return true;
  if (SeekEnd(stream) > FilePos + static_cast<long>(Room)) return false;
  Room = length;
  return true;
}

long Block::Write(FileStream& stream) {
  if (FilePos == 0 || !Usable(stream)) return 0;
  if (Header.LinkCount != Links.size()) Block_LengthRefresh();
  if (!FitsRoom(stream, Header.Length)) return 0;
  return IsWritten ? WriteChanges(stream) : WriteNew(stream);
}

long Block::WriteNew(FileStream& stream) {
  if (FilePos > SeekEnd(stream)) {
    ExtendFile(stream, FilePos);
  } else {
    stream.seekp(FilePos);
  }
  Header_Write(stream);
  Links_Write(stream);
  if (!stream.good()) return 0;
  IsWritten = true;
  return Position(stream);
}

long Block::WriteChanges(FileStream& stream) {
  if (HeaderChanged) {
    stream.seekp(FilePos);
    Header_Write(stream);
  }
  const long links = FilePos + static_cast<long>(kHeaderSize);
  if (AreLinksDue()) {
    stream.seekp(links);
    Links_Write(stream);
  }
  return stream.good() ? links + Links_Length() : 0;
}

long Block::WriteWithData(FileStream& stream, bool& changed, std::initializer_list<Section> data) {
  if (!Usable(stream)) return 0;
  const bool due = changed || !IsWritten || DataLinks != Links.size();
  if (!due && !WriteRequest()) return 0;
  const long start = Block::Write(stream);
  if (start == 0) return 0;
  if (due) {
    stream.seekp(start);
    for (const Section& part : data) PutBytes(stream, part.Bytes, part.Size);
    if (!stream.good()) return 0;
    changed = false;
    DataLinks = Links.size();
  }
  return Position(stream);
}

// --- reset ---

void Block::Block_Reset(bool full) {
  BlockSet done;
  Block_Reset(full, done);
}

void Block::Block_Reset(bool full, BlockSet& done) {
  FilePos = 0;
  FirstPos = 0;
  Room = 0;
  IsWritten = false;
  HeaderChanged = true;
  LinksChanged = true;
  LinksOpen = 0;
  done.insert(this);
  // Chains may be longer than the call stack is deep: only the block that was asked first visits the others, in a loop.
  // Those are part of the gathering already, and reset only themselves.
  if (!full || NextGathered != nullptr) return;
  Gathering reset;
  reset.Take(this);
  for (Block* from = reset.First(); from != nullptr; from = Gathering::Next(from)) from->ResetLinks(reset, done);
}

void Block::ResetLinks(Gathering& reset, BlockSet& done) {
  for (Block*& link : Links) {  // a list that is reset may null its link here, but adds none
    Block* target = link;
    if (target == nullptr) continue;
    if (!done.contains(target)) {
      reset.Take(target);
      target->Block_Reset(true, done);
    }
    if (IsDataList(*target)) link = nullptr;
  }
}

}  // namespace MDF
