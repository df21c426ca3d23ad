#include "mdf/Block.h"

#include "mdf/BlockChain.h"

namespace MDF {
namespace {

constexpr double kSecondsPerNanosecond = 1e-9;
constexpr unsigned char kSyncTime = 1;

enum EventType : unsigned char { kRecording = 0, kInterruption = 1, kLastChild = 4, kTrigger = 5, kMarker = 6 };
enum RangeType : unsigned char { kPoint = 0, kRangeBegins = 1, kRangeEnds = 2 };
enum AtFlag : uint16_t { kEmbedded = 1, kCompressed = 2 };

}  // namespace

// --- header ---

HDBLOCK::HDBLOCK(unsigned long startTime) : Block(blockType_HD, 'H', 'D', kHdLinkCount), RelativeBase(startTime) {
  DataSize = sizeof Data;
  Data.StartTime = startTime;
}

HDBLOCK::~HDBLOCK() = default;

bool HDBLOCK::WriteRequest() const { return DataChanged || Block::WriteRequest(); }

void HDBLOCK::Links_Set(unsigned int index, Block* block) { Block::Links_Set(index, block); }

long HDBLOCK::Write(FileStream& stream) { return WriteWithData(stream, DataChanged, {{&Data, sizeof Data}}); }

unsigned long HDBLOCK::RelativeTime(unsigned long time) const { return time - RelativeBase; }

void HDBLOCK::RelativeTime_Set(unsigned long base) { RelativeBase = base; }

unsigned long HDBLOCK::StartTime_Get() const { return Data.StartTime; }

void HDBLOCK::StartTime_Set(unsigned long startTime) {
  Data.StartTime = startTime;
  DataChanged = true;
}

bool HDBLOCK::Link_DGBLOCK(DGBLOCK* group) { return AppendToChain(*this, kHdFirstGroup, kDgNext, group); }

bool HDBLOCK::Link_EVBLOCK(EVBLOCK* event) { return AppendToChain(*this, kHdFirstEvent, kEvNext, event); }

void HDBLOCK::Event_Unlink() {
  Links[kHdFirstEvent] = nullptr;
  LinksChanged = true;
}

// --- file history ---

FHBLOCK::FHBLOCK(unsigned long time, const char* comment) : Block(blockType_FH, 'F', 'H', kFhLinkCount) {
  DataSize = sizeof Data;
  Data.Time = time;
  LinkComment(*this, kFhComment, comment != nullptr ? comment : "");
}

FHBLOCK::~FHBLOCK() = default;

void FHBLOCK::Block_Reset(bool full, BlockSet& done) {
  DataChanged = true;
  Block::Block_Reset(full, done);
}

bool FHBLOCK::WriteRequest() const { return DataChanged || Block::WriteRequest(); }

long FHBLOCK::Write(FileStream& stream) { return WriteWithData(stream, DataChanged, {{&Data, sizeof Data}}); }

// --- event ---

EVBLOCK::EVBLOCK() : Block(blockType_EV, 'E', 'V', kEvLinkCount) { DataSize = sizeof Data; }

void EVBLOCK::FillData(unsigned char eventType, unsigned char rangeType, unsigned char cause, unsigned long time) {
  Data.EventType = eventType;
  Data.SyncType = kSyncTime;
  Data.RangeType = rangeType;
  Data.Cause = cause;
  Data.SyncBase = static_cast<int64_t>(time);
  Data.SyncFactor = kSecondsPerNanosecond;
}

EVBLOCK::EVBLOCK(const std::string& name, unsigned char eventType, unsigned char cause, unsigned long time)
    : EVBLOCK() {
  FillData(eventType, eventType == kRecording ? kRangeBegins : kPoint, cause, time);
  const bool named = eventType == kRecording || eventType == kTrigger || eventType == kMarker;
  if (named) LinkText(*this, kEvName, name);
}

EVBLOCK::EVBLOCK(const std::string& name, unsigned char eventType, unsigned char cause, unsigned long time,
                 EVBLOCK* other)
    : EVBLOCK() {
  if (other == nullptr || eventType > kLastChild) return;
  if (eventType == kRecording) {
    FillData(eventType, kRangeEnds, cause, time);
    Links_Set(kEvRangeBegin, other);
  } else {
    FillData(eventType, eventType == kInterruption ? kRangeBegins : kPoint, cause, time);
    Links_Set(kEvParent, other);
  }
  if (eventType != kInterruption) LinkText(*this, kEvName, name);
}

EVBLOCK::EVBLOCK(const std::string& name, unsigned char eventType, unsigned char cause, unsigned long time,
                 EVBLOCK* parent, EVBLOCK* rangeBegin)
    : EVBLOCK() {
  const unsigned char alone = eventType <= kInterruption ? kRangeBegins : kPoint;
  FillData(eventType, rangeBegin != nullptr ? static_cast<unsigned char>(kRangeEnds) : alone, cause, time);
  Links_Set(kEvParent, parent);
  Links_Set(kEvRangeBegin, rangeBegin);
  if (eventType != kInterruption) LinkText(*this, kEvName, name);
}

EVBLOCK::~EVBLOCK() = default;

void EVBLOCK::Block_Reset(bool full, BlockSet& done) {
  DataChanged = true;
  Block::Block_Reset(full, done);
}

bool EVBLOCK::WriteRequest() const { return DataChanged || Block::WriteRequest(); }

long EVBLOCK::Write(FileStream& stream) {
  Data.ScopeCount = Links_Count() > kEvLinkCount ? Links_Count() - kEvLinkCount : 0;
  return WriteWithData(stream, DataChanged, {{&Data, sizeof Data}});
}

void EVBLOCK::ScopedBlock_Add(Block* block) {
  if (block == nullptr) return;
  Links_Add(block);
  DataChanged = true;
}

// --- attachment ---

ATBLOCK::ATBLOCK(unsigned int originalSize, unsigned short creatorIndex)
    : Block(blockType_AT, 'A', 'T', kAtLinkCount), DataBlockStatic(originalSize) {
  Data.CreatorIndex = creatorIndex;
  Data.OriginalSize = originalSize;
  DataSize = static_cast<unsigned int>(sizeof Data) + Size();
}

ATBLOCK::ATBLOCK(const std::string& fileName, unsigned int originalSize, unsigned short creatorIndex)
    : ATBLOCK(originalSize, creatorIndex) {
  LinkText(*this, kAtFileName, fileName);
}

ATBLOCK::~ATBLOCK() = default;

void ATBLOCK::Block_Reset(bool full, BlockSet& done) {
  BufferChanged = true;
  Block::Block_Reset(full, done);
}

bool ATBLOCK::WriteRequest() const { return BufferChanged || Block::WriteRequest(); }

void ATBLOCK::Block_LengthRefresh() {
  const auto size = static_cast<unsigned int>(sizeof Data) + Size();
  if (DataSize != size) HeaderChanged = true;
  DataSize = size;
  Block::Block_LengthRefresh();
}

long ATBLOCK::Write(FileStream& stream) {
  if (BufferChanged) Block_LengthRefresh();
  Data.EmbeddedSize = Size();
  Data.Flags = Size() == 0 ? uint16_t{0} : uint16_t{kEmbedded};
  if (Size() != 0 && IsCompressed()) Data.Flags = kEmbedded | kCompressed;
  return WriteWithData(stream, BufferChanged, {{&Data, sizeof Data}, {Bytes(), Size()}});
}

}  // namespace MDF
