// One MDF 4 file: the records of all its groups, in the order of their times.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <queue>
#include <string>
#include <utility>
#include <vector>

#include "inputs/MdfBlocks.h"
#include "inputs/MdfComment.h"
#include "inputs/MdfFrames.h"
#include "inputs/MdfLayout.h"
#include "inputs/MdfMarks.h"
#include "inputs/MdfRecords.h"
#include "stream/Description.h"
#include "stream/Findings.h"

namespace client {

/// The channel numbers that buses have in records: those of the file, as long as no two buses share one. In a file that
/// numbers each kind of bus by itself, those that come later are counted from 101 (LIN), 201 (FlexRay), 301 (Ethernet) or
/// 401 (CAN) on.
class MdfChannels {
 public:
  static constexpr size_t kMost = 4096;

  /// 0 when there are too many.
  unsigned int Of(unsigned char bus, unsigned int number);
  /// Of a bus that has a channel; 0 for any other.
  [[nodiscard]] unsigned int Find(const MdfBusName& name) const;
  /// "LIN 1 is channel 2": those that got another number.
  [[nodiscard]] std::string RenumberedText() const;

 private:
  std::map<std::pair<unsigned char, unsigned int>, unsigned int> Numbers;  // by bus and the file's number
  std::map<unsigned int, unsigned char> Taken;                             // channels, with their buses
};

/// The head of a file.
struct MdfHead {
  unsigned long Start = 0;   // ns since 1970; 0 for unknown
  bool IsLocalTime = false;  // of a time zone that the file doesn't say
  unsigned long Groups = 0;  // links
  unsigned long Events = 0;
  unsigned long Comment = 0;
};
/// Failure: Failure when there is none.
[[nodiscard]] MdfHead ReadMdfHead(MdfBlocks& file);

/// Hands out the records of one group or, where they lie among each other, of several; a FlexRay frame of both channels as
/// one record.
class MdfSource {
 public:
  explicit MdfSource(std::unique_ptr<MdfRecords> records) : Records(std::move(records)) {}

  /// Goes on to the next one. False at the end.
  [[nodiscard]] bool Advance();
  [[nodiscard]] const MdfRecord& Record() const { return *Current; }
  [[nodiscard]] bool IsOnBothChannels() const { return Both; }
  [[nodiscard]] bool IsMixed() const { return Records->IsMixed(); }

 private:
  [[nodiscard]] bool MayBeHalf(const MdfRecord& record) const;
  void Keep(const MdfRecord& record);

  std::unique_ptr<MdfRecords> Records;
  const MdfRecord* Current = nullptr;
  const MdfRecord* Ahead = nullptr;  // read already
  MdfRecord Kept;                    // a copy of one, in the bytes below
  std::vector<unsigned char> KeptBytes;
  std::vector<unsigned char> KeptSignal;
  bool Both = false;
};

/// Threads: one. Memory: that of each group's MdfData.
class MdfPart {
 public:
  /// @param channels, found  outlive this
  /// Failure: Failure when it can't be read, or has nothing that could be a record: says why.
  MdfPart(const std::string& path, MdfChannels& channels, Findings& found);

  /// Valid until the next call. Null at the end.
  /// Failure: Failure when the file can't be read.
  [[nodiscard]] const RecordView* Next();

  [[nodiscard]] const MdfBlocks& File() const { return Blocks; }
  [[nodiscard]] const MdfHead& Head() const { return Header; }
  /// Records of several groups lie among each other, so that the order of times is that of the file.
  [[nodiscard]] bool IsMixed() const;
  /// Adds what the file says of the recording: its start, channels, and the losses that its comment lists.
  void AddTo(Description& description);
  /// Losses that the file has marked at times that no record has, as far as it was read.
  [[nodiscard]] const std::vector<Loss>& MarkedLosses() const { return OtherLosses; }

 private:
  using TimeAndSource = std::pair<unsigned long, size_t>;

  void OpenSources();
  void TellUnknownEvents(const MdfGroup& group);
  void ClaimChannels();
  [[nodiscard]] unsigned int ChannelOf(const MdfGroup& group, const MdfRecord* record) const;
  void Enqueue(size_t source);
  [[nodiscard]] unsigned long TimeOf(const MdfRecord& record);
  [[nodiscard]] const RecordView* NextMark();
  [[nodiscard]] const RecordView* Take(MdfSource& source, unsigned long time);
  [[nodiscard]] bool IsLastBeforeLoss(unsigned char bus, unsigned int channel, unsigned long time);
  void LossWithoutRecord(unsigned int channel, unsigned long time);

  MdfBlocks Blocks;
  MdfChannels& Channels;
  Findings& Found;
  MdfHead Header;
  std::vector<MdfDataGroup> Groups;
  std::vector<MdfSource> Sources;
  std::priority_queue<TimeAndSource, std::vector<TimeAndSource>, std::greater<TimeAndSource>> Heads;
  std::vector<MdfMark> Marks;
  size_t NextMarkIndex = 0;
  std::map<unsigned int, std::deque<unsigned long>> PendingLosses;  // times, by channel
  std::vector<Loss> OtherLosses;
  std::optional<size_t> Handed;  // source whose record was handed out last
  MdfFrames Frames;
  MadeRecord Made;
};

}  // namespace client
