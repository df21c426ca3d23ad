#include "mdf/ChannelBlock.h"

#include <algorithm>
#include <limits>
#include <memory>

#include "mdf/BlockChain.h"
#include "mdf/BlockGathering.h"
#include "mdf/TextBlock.h"

namespace MDF {
namespace {

enum ChannelType : unsigned char { kVirtualMaster = 3, kVirtualData = 6 };

constexpr size_t kMostCounted = std::numeric_limits<uint16_t>::max();

// The blanks around = and in </e > are part of the interface.
constexpr char kSourceCommentBegin[] = R"(<SIcomment><TX/><common_properties> <e name = "ChannelNo" ro = "true">)";
constexpr char kSourceCommentEnd[] = "</e > </common_properties></SIcomment>";
static_assert(sizeof kSourceCommentBegin - 1 == 70);

/// The end of the last field among the channels that can be reached from a group, each looked at once.
unsigned long LastFieldEnd(Block* first) {
  unsigned long end = 0;
  Gathering channels;
  const auto take = [&](Block* block) {
    if (block != nullptr && block->Block_Type() == blockType_CN) channels.Take(block);
  };
  take(first);
  for (const Block* at = channels.First(); at != nullptr; at = Gathering::Next(at)) {
    end = std::max(end, static_cast<const CNBLOCK*>(at)->RecordEnd());
    take(at->Links_Get(kCnNext));
    take(at->Links_Get(kCnComposition));
  }
  return end;
}

}  // namespace

// --- data group ---

DGBLOCK::DGBLOCK(bool recordIds) : Block(blockType_DG, 'D', 'G', kDgLinkCount) {
  DataSize = sizeof Data;
  Data.RecordIdSize = recordIds ? 1 : 0;
}

DGBLOCK::~DGBLOCK() = default;

void DGBLOCK::Block_Reset(bool full, BlockSet& done) {
  DataChanged = true;
  Block::Block_Reset(full, done);
}

bool DGBLOCK::WriteRequest() const { return DataChanged || Block::WriteRequest(); }

long DGBLOCK::Write(FileStream& stream) { return WriteWithData(stream, DataChanged, {{&Data, sizeof Data}}); }

bool DGBLOCK::Link_CGBLOCK(CGBLOCK* group) { return AppendToChain(*this, kDgFirstGroup, kCgNext, group); }

bool DGBLOCK::Link_DGBLOCK(DGBLOCK* group) { return AppendToChain(*this, kDgNext, kDgNext, group); }

// --- channel group ---

CGBLOCK::CGBLOCK(const std::string& name, unsigned long recordId, unsigned short flags, unsigned int dataBytes)
    : Block(blockType_CG, 'C', 'G', kCgLinkCount), GivenBytes(dataBytes) {
  DataSize = sizeof Data;
  Data.RecordId = recordId;
  Data.Flags = flags;
  Data.PathSeparator = '.';
  Data.DataBytes = dataBytes;
  LinkText(*this, kCgAcqName, name);
}

CGBLOCK::~CGBLOCK() = default;

void CGBLOCK::Block_Reset(bool full, BlockSet& done) {
  DataChanged = true;
  Block::Block_Reset(full, done);
}

bool CGBLOCK::WriteRequest() const { return DataChanged || Block::WriteRequest() || Data.DataBytes != RecordsSize(); }

long CGBLOCK::Write(FileStream& stream) {
  const unsigned int size = RecordsSize();
  if (Data.DataBytes != size) DataChanged = true;
  Data.DataBytes = size;
  return WriteWithData(stream, DataChanged, {{&Data, sizeof Data}});
}

bool CGBLOCK::Link_CNBLOCK(CNBLOCK* channel) { return AppendToChain(*this, kCgFirstChannel, kCnNext, channel); }

bool CGBLOCK::Link_CGBLOCK(CGBLOCK* group) { return AppendToChain(*this, kCgNext, kCgNext, group); }

unsigned int CGBLOCK::RecordsSize() const {
  const unsigned long most = std::numeric_limits<unsigned int>::max();
  const unsigned long end = std::min(LastFieldEnd(Links_Get(kCgFirstChannel)), most);
  return std::max(GivenBytes, static_cast<unsigned int>(end));
}

unsigned long CGBLOCK::CycleCount_Get() const { return Data.CycleCount; }

void CGBLOCK::CycleCount_Set(unsigned long records) {
  if (Data.CycleCount == records) return;
  Data.CycleCount = records;
  DataChanged = true;
}

// --- channel ---

CNBLOCK::CNBLOCK(const std::string& name, unsigned char channelType, unsigned char syncType, unsigned char dataType,
                 unsigned int bitPosition, unsigned int bitCount)
    : Block(blockType_CN, 'C', 'N', kCnLinkCount) {
  DataSize = sizeof Data;
  Data.ChannelType = channelType;
  Data.SyncType = syncType;
  Data.DataType = dataType;
  Data.BitOffset = bitPosition % 8;
  Data.ByteOffset = bitPosition / 8;
  Data.BitCount = bitCount;
  LinkText(*this, kCnName, name);
}

CNBLOCK::~CNBLOCK() = default;

void CNBLOCK::Block_Reset(bool full, BlockSet& done) {
  DataChanged = true;
  Block::Block_Reset(full, done);
}

bool CNBLOCK::WriteRequest() const { return DataChanged || Block::WriteRequest(); }

long CNBLOCK::Write(FileStream& stream) { return WriteWithData(stream, DataChanged, {{&Data, sizeof Data}}); }

bool CNBLOCK::Link_CNBLOCK(CNBLOCK* channel, bool composition) {
  const bool bothEmpty = Links_Get(kCnNext) == nullptr && Links_Get(kCnComposition) == nullptr;
  const bool intoComposition = bothEmpty ? composition : Links_Get(kCnComposition) != nullptr;
  return AppendToChain(*this, intoComposition ? kCnComposition : kCnNext, kCnNext, channel);
}

unsigned int CNBLOCK::Flags_Get() const { return Data.Flags; }

void CNBLOCK::Flags_Set(unsigned int flags) {
  Data.Flags = flags;
  DataChanged = true;
}

unsigned int CNBLOCK::BitCount_Get() const { return Data.BitCount; }

void CNBLOCK::BitCount_Set(unsigned int bits) {
  Data.BitCount = bits;
  DataChanged = true;
}

unsigned long CNBLOCK::RecordEnd() const {
  if (Data.ChannelType == kVirtualMaster || Data.ChannelType == kVirtualData) return 0;
  return Data.ByteOffset + (static_cast<unsigned long>(Data.BitOffset) + Data.BitCount + 7) / 8;
}

// --- conversion ---

CCBLOCK::CCBLOCK(unsigned char conversionType, unsigned short flags, const char* unit)
    : Block(blockType_CC, 'C', 'C', kCcLinkCount) {
  DataSize = sizeof Data;
  Data.ConversionType = conversionType;
  Data.Flags = flags;
  LinkText(*this, kCcUnit, unit != nullptr ? unit : "");
}

CCBLOCK::~CCBLOCK() = default;

void CCBLOCK::Block_Reset(bool full, BlockSet& done) {
  DataChanged = true;
  Block::Block_Reset(full, done);
}

bool CCBLOCK::WriteRequest() const { return DataChanged || Block::WriteRequest(); }

void CCBLOCK::Block_LengthRefresh() {
  const auto size = static_cast<unsigned int>(sizeof Data + sizeof(double) * Values.size());
  if (DataSize != size) HeaderChanged = true;
  DataSize = size;
  Block::Block_LengthRefresh();
}

long CCBLOCK::Write(FileStream& stream) {
  if (DataChanged) Block_LengthRefresh();
  Data.ReferenceCount = static_cast<uint16_t>(Links_Count() > kCcLinkCount ? Links_Count() - kCcLinkCount : 0);
  Data.ValueCount = static_cast<uint16_t>(Values.size());
  return WriteWithData(stream, DataChanged, {{&Data, sizeof Data}, {Values.data(), sizeof(double) * Values.size()}});
}

bool CCBLOCK::Value_Add(double value) {
  if (Values.size() >= kMostCounted) return false;
  Values.push_back(value);
  DataChanged = true;
  return true;
}

bool CCBLOCK::Reference_Add(Block* block) {
  if (Links_Count() >= kCcLinkCount + kMostCounted) return false;
  Links_Add(block);
  DataChanged = true;
  return true;
}

// --- source ---

SIBLOCK::SIBLOCK(const std::string& name, unsigned int channel, unsigned char sourceType, unsigned char busType,
                 unsigned char flags)
    : Block(blockType_SI, 'S', 'I', kSiLinkCount) {
  DataSize = sizeof Data;
  Data.SourceType = sourceType;
  Data.BusType = busType;
  Data.Flags = flags;
  auto comment = std::make_unique<MDBLOCK>(kSourceCommentBegin + std::to_string(channel) + kSourceCommentEnd);
  LinkText(*this, kSiName, name);
  Links_Set(kSiComment, comment.release());
}

SIBLOCK::~SIBLOCK() = default;

void SIBLOCK::Block_Reset(bool full, BlockSet& done) {
  DataChanged = true;
  Block::Block_Reset(full, done);
}

bool SIBLOCK::WriteRequest() const { return DataChanged || Block::WriteRequest(); }

long SIBLOCK::Write(FileStream& stream) { return WriteWithData(stream, DataChanged, {{&Data, sizeof Data}}); }

}  // namespace MDF
