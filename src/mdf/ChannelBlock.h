// The blocks that describe recorded data: data group, channel group, channel, conversion and source.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "mdf/BlockBase.h"

namespace MDF {

class CGBLOCK;
class CNBLOCK;
class DGBLOCK;
class EVBLOCK;

// --- data group ---

enum DgLink : unsigned int {  //  MDF name           points to
  kDgNext,                    //  dg_dg_next         DG, nil at the end
  kDgFirstGroup,              //  dg_cg_first        CG
  kDgData,                    //  dg_data            DT, DZ, DL or HL
  kDgComment,                 //  dg_md_comment      MD or TX
  kDgLinkCount
};
static_assert(kDgLinkCount == 4);

//  DG data section
//  offset size field            unit
//       0    1 RecordIdSize     bytes
//       1    7 Reserved         0
#pragma pack(push, 1)
struct DgData {
  uint8_t RecordIdSize;
  uint8_t Reserved[7];
};
#pragma pack(pop)
static_assert(sizeof(DgData) == 8);

class QOR_EXPORT DGBLOCK : public Block {
 public:
  /// With `recordIds` each record begins with one byte that identifies its channel group.
  explicit DGBLOCK(bool recordIds);
  ~DGBLOCK() override;

  using Block::Block_Reset;
  void Block_Reset(bool full, BlockSet& done) override;
  [[nodiscard]] bool WriteRequest() const override;
  long Write(FileStream& stream) override;

  /// Appends to the channel groups. False when that can't be done (null, or part of the chain already); likewise below.
  bool Link_CGBLOCK(CGBLOCK* group);
  /// Appends to the data groups after this one.
  bool Link_DGBLOCK(DGBLOCK* group);

 private:
  DgData Data{};
  bool DataChanged = true;
};

// --- channel group ---

enum CgLink : unsigned int {  //  MDF name           points to
  kCgNext,                    //  cg_cg_next         CG, nil at the end
  kCgFirstChannel,            //  cg_cn_first        CN
  kCgAcqName,                 //  cg_tx_acq_name     TX
  kCgSource,                  //  cg_si_acq_source   SI
  kCgReduction,               //  cg_sr_first        SR
  kCgComment,                 //  cg_md_comment      MD or TX
  kCgLinkCount
};
static_assert(kCgLinkCount == 6);

//  CG data section
//  offset size field              unit
//       0    8 RecordId
//       8    8 CycleCount         records
//      16    2 Flags
//      18    2 PathSeparator      '.'
//      20    4 Reserved           0
//      24    4 DataBytes          bytes of a record, without its id
//      28    4 InvalidationBytes
#pragma pack(push, 1)
struct CgData {
  uint64_t RecordId;
  uint64_t CycleCount;
  uint16_t Flags;
  uint16_t PathSeparator;
  uint32_t Reserved;
  uint32_t DataBytes;
  uint32_t InvalidationBytes;
};
#pragma pack(pop)
static_assert(sizeof(CgData) == 32);
static_assert(offsetof(CgData, CycleCount) == 8);
static_assert(offsetof(CgData, Flags) == 16);
static_assert(offsetof(CgData, PathSeparator) == 18);
static_assert(offsetof(CgData, DataBytes) == 24);

class QOR_EXPORT CGBLOCK : public Block {
 public:
  /// `dataBytes`: bytes of a record; more when the channels reach further.
  CGBLOCK(const std::string& name, unsigned long recordId, unsigned short flags, unsigned int dataBytes);
  ~CGBLOCK() override;

  using Block::Block_Reset;
  void Block_Reset(bool full, BlockSet& done) override;
  [[nodiscard]] bool WriteRequest() const override;
  long Write(FileStream& stream) override;

  bool Link_CNBLOCK(CNBLOCK* channel);
  bool Link_CGBLOCK(CGBLOCK* group);

  /// Bytes of a record, its id not counted: up to the end of the last field among the channels and their components,
  /// but at least what the constructor was given.
  [[nodiscard]] unsigned int RecordsSize() const;
  [[nodiscard]] unsigned long CycleCount_Get() const;
  /// Records so far; written with the next Write.
  void CycleCount_Set(unsigned long records);

 private:
  CgData Data{};
  unsigned int GivenBytes;
  bool DataChanged = true;
};

// --- channel ---

enum CnLink : unsigned int {  //  MDF name           points to
  kCnNext,                    //  cn_cn_next         CN, nil at the end
  kCnComposition,             //  cn_composition     CN
  kCnName,                    //  cn_tx_name         TX
  kCnSource,                  //  cn_si_source       SI
  kCnConversion,              //  cn_cc_conversion   CC
  kCnData,                    //  cn_data            SD, DZ, DL or HL; the size channel of one of maximum length
  kCnUnit,                    //  cn_md_unit         TX or MD
  kCnComment,                 //  cn_md_comment      MD or TX
  kCnLinkCount
};
static_assert(kCnLinkCount == 8);

//  CN data section
//  offset size field            unit
//       0    1 ChannelType
//       1    1 SyncType
//       2    1 DataType
//       3    1 BitOffset        bits, 0 to 7
//       4    4 ByteOffset       bytes after the record id
//       8    4 BitCount         bits
//      12    4 Flags
//      16    4 InvalidationBit
//      20    1 Precision
//      21    1 Reserved         0
//      22    2 AttachmentCount
//      24    8 RangeMin         then the five other limits
#pragma pack(push, 1)
struct CnData {
  uint8_t ChannelType;
  uint8_t SyncType;
  uint8_t DataType;
  uint8_t BitOffset;
  uint32_t ByteOffset;
  uint32_t BitCount;
  uint32_t Flags;
  uint32_t InvalidationBit;
  uint8_t Precision;
  uint8_t Reserved;
  uint16_t AttachmentCount;
  double RangeMin;
  double RangeMax;
  double LimitMin;
  double LimitMax;
  double ExtendedLimitMin;
  double ExtendedLimitMax;
};
#pragma pack(pop)
static_assert(sizeof(CnData) == 72);
static_assert(offsetof(CnData, ByteOffset) == 4);
static_assert(offsetof(CnData, Flags) == 12);
static_assert(offsetof(CnData, Precision) == 20);
static_assert(offsetof(CnData, AttachmentCount) == 22);
static_assert(offsetof(CnData, RangeMin) == 24);
static_assert(offsetof(CnData, ExtendedLimitMax) == 64);

class QOR_EXPORT CNBLOCK : public Block {
 public:
  /// `bitPosition` counts from the first byte after the record id; split into byte and bit offset.
  CNBLOCK(const std::string& name, unsigned char channelType, unsigned char syncType, unsigned char dataType,
          unsigned int bitPosition, unsigned int bitCount);
  ~CNBLOCK() override;

  using Block::Block_Reset;
  void Block_Reset(bool full, BlockSet& done) override;
  [[nodiscard]] bool WriteRequest() const override;
  long Write(FileStream& stream) override;

  /// Links a further channel: into the composition or next link (`composition`) when both are empty, else at the end of
  /// the composition if there is one, else of the channels after this one.
  bool Link_CNBLOCK(CNBLOCK* channel, bool composition);

  [[nodiscard]] unsigned int Flags_Get() const;
  void Flags_Set(unsigned int flags);
  [[nodiscard]] unsigned int BitCount_Get() const;
  void BitCount_Set(unsigned int bits);
  /// Bytes of a record up to the end of this channel's field; 0 for a virtual channel, which has none.
  [[nodiscard]] unsigned long RecordEnd() const;

 private:
  CnData Data{};
  bool DataChanged = true;
};

// --- conversion ---

enum CcLink : unsigned int {  //  MDF name           points to
  kCcName,                    //  cc_tx_name         TX
  kCcUnit,                    //  cc_md_unit         TX or MD
  kCcComment,                 //  cc_md_comment      MD or TX
  kCcInverse,                 //  cc_cc_inverse      CC
  kCcLinkCount                //  cc_ref[] follow    TX or CC, may be nil
};
static_assert(kCcLinkCount == 4);

//  CC data section, followed by one double per value
//  offset size field            value
//       0    1 ConversionType
//       1    1 Precision
//       2    2 Flags
//       4    2 ReferenceCount   links after the fixed ones
//       6    2 ValueCount       doubles that follow
//       8    8 RangeMin
//      16    8 RangeMax
#pragma pack(push, 1)
struct CcData {
  uint8_t ConversionType;
  uint8_t Precision;
  uint16_t Flags;
  uint16_t ReferenceCount;
  uint16_t ValueCount;
  double RangeMin;
  double RangeMax;
};
#pragma pack(pop)
static_assert(sizeof(CcData) == 24);
static_assert(offsetof(CcData, Flags) == 2);
static_assert(offsetof(CcData, ReferenceCount) == 4);
static_assert(offsetof(CcData, ValueCount) == 6);
static_assert(offsetof(CcData, RangeMin) == 8);

class QOR_EXPORT CCBLOCK : public Block {
 public:
  /// `unit`: text; null or empty for none.
  CCBLOCK(unsigned char conversionType, unsigned short flags, const char* unit);
  ~CCBLOCK() override;

  using Block::Block_Reset;
  void Block_Reset(bool full, BlockSet& done) override;
  [[nodiscard]] bool WriteRequest() const override;
  void Block_LengthRefresh() override;
  long Write(FileStream& stream) override;

  /// Appends a conversion value. False when there are 65535 already. Only before the block is placed, since it
  /// grows; so does Reference_Add.
  bool Value_Add(double value);
  /// Appends a reference, which may be null. False when there are 65535 already.
  bool Reference_Add(Block* block);

 private:
  CcData Data{};
  std::vector<double> Values;
  bool DataChanged = true;
};

// --- source ---

enum SiLink : unsigned int {  //  MDF name           points to
  kSiName,                    //  si_tx_name         TX
  kSiPath,                    //  si_tx_path         TX
  kSiComment,                 //  si_md_comment      MD
  kSiLinkCount
};
static_assert(kSiLinkCount == 3);

//  SI data section
//  offset size field            value
//       0    1 SourceType
//       1    1 BusType
//       2    1 Flags
//       3    5 Reserved         0
#pragma pack(push, 1)
struct SiData {
  uint8_t SourceType;
  uint8_t BusType;
  uint8_t Flags;
  uint8_t Reserved[5];
};
#pragma pack(pop)
static_assert(sizeof(SiData) == 8);
static_assert(offsetof(SiData, Flags) == 2);

class QOR_EXPORT SIBLOCK : public Block {
 public:
  /// The channel number goes into the comment, which is always made.
  SIBLOCK(const std::string& name, unsigned int channel, unsigned char sourceType, unsigned char busType,
          unsigned char flags);
  ~SIBLOCK() override;

  using Block::Block_Reset;
  void Block_Reset(bool full, BlockSet& done) override;
  [[nodiscard]] bool WriteRequest() const override;
  long Write(FileStream& stream) override;

 private:
  SiData Data{};
  bool DataChanged = true;
};

}  // namespace MDF
