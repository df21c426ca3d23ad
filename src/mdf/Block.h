// The metadata blocks of an MDF file that describe the file: header, file history, event and attachment. Includes the
// headers of all other blocks.
//
// What they have in common: names and comments that aren't empty become text blocks, which the constructor makes and
// links. The block doesn't own them (see MDF::Block). Write stores the data section as its table shows it, when it
// changed or the block is new in the file. It returns the offset after the data section; 0 when there was nothing to
// write or the write failed. Write also brings the counts up to date.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "mdf/BlockBase.h"
#include "mdf/ChannelBlock.h"
#include "mdf/DataBlock.h"
#include "mdf/IdBlock.h"
#include "mdf/TextBlock.h"

namespace MDF {

// --- header ---

enum HdLink : unsigned int {  //  MDF name           points to
  kHdFirstGroup,              //  hd_dg_first        DG
  kHdFirstHistory,            //  hd_fh_first        FH
  kHdFirstHierarchy,          //  hd_ch_first        CH
  kHdFirstAttachment,         //  hd_at_first        AT
  kHdFirstEvent,              //  hd_ev_first        EV
  kHdComment,                 //  hd_md_comment      MD or TX
  kHdLinkCount
};
static_assert(kHdLinkCount == 6);

//  HD data section
//  offset size field            unit
//       0    8 StartTime        ns since 1970, UTC
//       8    2 TimeZoneOffset   min
//      10    2 DstOffset        min
//      12    1 TimeFlags
//      13    1 TimeClass
//      14    1 Flags
//      15    1 Reserved         0
//      16    8 StartAngle       rad
//      24    8 StartDistance    m
#pragma pack(push, 1)
struct HdData {
  uint64_t StartTime;
  int16_t TimeZoneOffset;
  int16_t DstOffset;
  uint8_t TimeFlags;
  uint8_t TimeClass;
  uint8_t Flags;
  uint8_t Reserved;
  double StartAngle;
  double StartDistance;
};
#pragma pack(pop)
static_assert(sizeof(HdData) == 32);
static_assert(offsetof(HdData, TimeZoneOffset) == 8);
static_assert(offsetof(HdData, TimeFlags) == 12);
static_assert(offsetof(HdData, StartAngle) == 16);
static_assert(offsetof(HdData, StartDistance) == 24);

/// The root of a file: everything else is linked from here.
class QOR_EXPORT HDBLOCK : public Block {
 public:
  /// `startTime`: ns since 1970, UTC; also the base of relative times.
  explicit HDBLOCK(unsigned long startTime);
  ~HDBLOCK() override;

  [[nodiscard]] bool WriteRequest() const override;
  using Block::Links_Set;
  void Links_Set(unsigned int index, Block* block) override;
  long Write(FileStream& stream) override;

  /// ns since the base; before it the difference wraps, which reads as negative in a signed field.
  [[nodiscard]] unsigned long RelativeTime(unsigned long time) const;
  void RelativeTime_Set(unsigned long base);
  [[nodiscard]] unsigned long StartTime_Get() const;
  /// The relative base stays.
  void StartTime_Set(unsigned long startTime);

  /// Appends to the data groups. False when that can't be done (null, or part of the chain already).
  bool Link_DGBLOCK(DGBLOCK* group);
  /// Appends to the events, in the same way.
  bool Link_EVBLOCK(EVBLOCK* event);
  /// Forgets the events, which become the caller's.
  void Event_Unlink();

 private:
  HdData Data{};
  bool DataChanged = true;
  unsigned long RelativeBase;
};

// --- file history ---

enum FhLink : unsigned int {  //  MDF name           points to
  kFhNext,                    //  fh_fh_next         FH, nil at the end
  kFhComment,                 //  fh_md_comment      MD
  kFhLinkCount
};
static_assert(kFhLinkCount == 2);

//  FH data section
//  offset size field            unit
//       0    8 Time             ns since 1970, UTC
//       8    2 TimeZoneOffset   min
//      10    2 DstOffset        min
//      12    1 TimeFlags
//      13    3 Reserved         0
#pragma pack(push, 1)
struct FhData {
  uint64_t Time;
  int16_t TimeZoneOffset;
  int16_t DstOffset;
  uint8_t TimeFlags;
  uint8_t Reserved[3];
};
#pragma pack(pop)
static_assert(sizeof(FhData) == 16);
static_assert(offsetof(FhData, TimeZoneOffset) == 8);
static_assert(offsetof(FhData, TimeFlags) == 12);

class QOR_EXPORT FHBLOCK : public Block {
 public:
  /// `time`: ns since 1970, UTC. `comment`: XML; null or empty for none.
  FHBLOCK(unsigned long time, const char* comment);
  ~FHBLOCK() override;

  using Block::Block_Reset;
  void Block_Reset(bool full, BlockSet& done) override;
  [[nodiscard]] bool WriteRequest() const override;
  long Write(FileStream& stream) override;

 private:
  FhData Data{};
  bool DataChanged = true;
};

// --- event ---

enum EvLink : unsigned int {  //  MDF name           points to
  kEvNext,                    //  ev_ev_next         EV, nil at the end
  kEvParent,                  //  ev_ev_parent       EV
  kEvRangeBegin,              //  ev_ev_range        EV
  kEvName,                    //  ev_tx_name         TX
  kEvComment,                 //  ev_md_comment      MD or TX
  kEvLinkCount                //  ev_scope[] follow  DG, CG or CN
};
static_assert(kEvLinkCount == 5);

//  EV data section
//  offset size field            value or unit
//       0    1 EventType
//       1    1 SyncType         1 time
//       2    1 RangeType        0 point, 1 start of a range, 2 end of a range
//       3    1 Cause
//       4    1 Flags
//       5    3 Reserved         0
//       8    4 ScopeCount       links after the fixed ones
//      12    2 AttachmentCount
//      14    2 CreatorIndex
//      16    8 SyncBase         ns
//      24    8 SyncFactor       1e-9: ns to s
#pragma pack(push, 1)
struct EvData {
  uint8_t EventType;
  uint8_t SyncType;
  uint8_t RangeType;
  uint8_t Cause;
  uint8_t Flags;
  uint8_t Reserved[3];
  uint32_t ScopeCount;
  uint16_t AttachmentCount;
  uint16_t CreatorIndex;
  int64_t SyncBase;
  double SyncFactor;
};
#pragma pack(pop)
static_assert(sizeof(EvData) == 32);
static_assert(offsetof(EvData, Cause) == 3);
static_assert(offsetof(EvData, ScopeCount) == 8);
static_assert(offsetof(EvData, CreatorIndex) == 14);
static_assert(offsetof(EvData, SyncBase) == 16);
static_assert(offsetof(EvData, SyncFactor) == 24);

class QOR_EXPORT EVBLOCK : public Block {
 public:
  /// An event of its own, or the start of a range (type 0). Only types 0, 5 and 6 take the name. `time`: ns.
  EVBLOCK(const std::string& name, unsigned char eventType, unsigned char cause, unsigned long time);
  /// An event that belongs to another one: for type 0 the end of the range that `other` starts, for types 1 to 4 a child
  /// of it. Type 1 takes no name. Without `other`, or for other types, data section and links stay zero.
  EVBLOCK(const std::string& name, unsigned char eventType, unsigned char cause, unsigned long time, EVBLOCK* other);
  /// An event with a parent and the start of the range that it ends; either may be null. Type 1 takes no name.
  EVBLOCK(const std::string& name, unsigned char eventType, unsigned char cause, unsigned long time, EVBLOCK* parent,
          EVBLOCK* rangeBegin);
  ~EVBLOCK() override;

  using Block::Block_Reset;
  void Block_Reset(bool full, BlockSet& done) override;
  [[nodiscard]] bool WriteRequest() const override;
  long Write(FileStream& stream) override;

  /// Adds what the event is about; null is ignored. Only before the event is placed, since the event grows.
  void ScopedBlock_Add(Block* block);

 private:
  QOR_HIDDEN EVBLOCK();
  QOR_HIDDEN void FillData(unsigned char eventType, unsigned char rangeType, unsigned char cause, unsigned long time);

  EvData Data{};
  bool DataChanged = true;
};

// --- attachment ---

enum AtLink : unsigned int {  //  MDF name           points to
  kAtNext,                    //  at_at_next         AT, nil at the end
  kAtFileName,                //  at_tx_filename     TX
  kAtMimeType,                //  at_tx_mimetype     TX
  kAtComment,                 //  at_md_comment      MD or TX
  kAtLinkCount
};
static_assert(kAtLinkCount == 4);

//  AT data section, followed by the embedded data
//  offset size field            value or unit
//       0    2 Flags            1 embedded, 2 compressed, 4 checksum valid
//       2    2 CreatorIndex
//       4    4 Reserved         0
//       8   16 Md5              0: no checksum is made
//      24    8 OriginalSize     bytes
//      32    8 EmbeddedSize     bytes that follow
#pragma pack(push, 1)
struct AtData {
  uint16_t Flags;
  uint16_t CreatorIndex;
  uint32_t Reserved;
  uint8_t Md5[16];
  uint64_t OriginalSize;
  uint64_t EmbeddedSize;
};
#pragma pack(pop)
static_assert(sizeof(AtData) == 40);
static_assert(offsetof(AtData, CreatorIndex) == 2);
static_assert(offsetof(AtData, Md5) == 8);
static_assert(offsetof(AtData, OriginalSize) == 24);
static_assert(offsetof(AtData, EmbeddedSize) == 32);

/// An attachment with embedded data, filled through Insert or Compressed_Insert of its static data part. Compress before
/// placing, since the block shrinks.
class QOR_EXPORT ATBLOCK : public Block, public DataBlockStatic {
 public:
  /// `originalSize`: bytes that are embedded; 0 for a mere reference to the file.
  ATBLOCK(const std::string& fileName, unsigned int originalSize, unsigned short creatorIndex);
  ATBLOCK(unsigned int originalSize, unsigned short creatorIndex);
  ~ATBLOCK() override;

  using Block::Block_Reset;
  void Block_Reset(bool full, BlockSet& done) override;
  [[nodiscard]] bool WriteRequest() const override;
  void Block_LengthRefresh() override;
  long Write(FileStream& stream) override;

 private:
  AtData Data{};
};

}  // namespace MDF
