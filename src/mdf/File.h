// An MDF 4.10 file, or a series of them, of bus traffic.
//
//   MdfFile file("drive", startTime);               // drive.mf4
//   file.Bus_Add(1, BusType_Can);
//   file.Data_Insert(entry);                        // as often as there are entries
//   file.File_Close(entry.Timestamp);
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "internal/Visibility.h"
#include "mdf/Block.h"
#include "mdf/Bus.h"
#include "mdf/BusGenerator.h"
#include "mdf/BusRoot.h"
#include "mdf/RecordingInfo.h"
#include "qor_api_trace.h"

/// What a file's comment says; plain texts in UTF-8, any of which may be empty.
struct QOR_EXPORT FileInfo {
  std::string Author;
  std::string Department;
  std::string Project;
  std::string Subject;
  std::string Text;
};

/// Writes trace entries as MDF records.
///
/// Times: an entry's timestamp is recorded as it is, in ns from the file's start time. Event times are on the clock of the
/// relative base, which is the start time unless StartTime_Reset says otherwise. For entries whose clock doesn't count
/// from 1970, construct with 0 and then set the wall-clock time of the clock's zero with
/// StartTime_Reset(wallClock, false): entries, events and the times of File_Close then all use the entries' clock.
///
/// Sizes: with a size limit, a file that has reached it is closed and the next one of the series begun: `base.mf4`,
/// `base_1.mf4`, `base_2.mf4` ... Each is complete in itself, with all buses and its own start and end of recording.
/// The limit is checked after data has gone to the file, in blocks of up to 2 MiB.
///
/// Failures: false; is_open() and the stream's state distinguish a file that can't be opened from a failed write. Without
/// an open file, entries are collected in memory until a block is full, and refused from then on. After a failed write the file
/// stays as it was last flushed, readable and marked unfinalized; entries are refused until the stream is cleared.
///
/// Workers: with Workers_Set, threads of the file's own pack the data blocks, and the calls go on meanwhile. The bytes of the
/// files are the same as without. A block that is full waits for its turn in memory, in a queue of bounded length, and goes to
/// the file in a later call: true from Data_Insert says, as ever, that the record is collected, and the file is up to a few blocks
/// behind what it would be without workers. File_FlushData, Write and File_Close wait until it no longer is. All writing is still
/// done by the calls, and what fails is told by them: a block that can't be written stays collected, and the record of the call
/// that tells so is refused. Data_Insert waits for a worker only when the queue is full, when blocks that aren't packed yet may
/// fill the file of a series, and when a bus or an event has to be described first.
///
/// Memory: when memory is short, the calls that write throw std::bad_alloc if the descriptions can't be written, and return
/// false if the data can't. What is in the file stays valid, and the call may be repeated. If it was the next file of a
/// series that couldn't be opened, no file is open, and Data_Insert has reported that. File_Open tries again; until then
/// entries are collected.
///
/// The file on the disk is a sound unfinalized one from the constructor on: descriptions are written before the first
/// data, and each block of data is followed by the counts that belong to it. Only File_Close marks it finalized. The
/// destructor of an open file writes what is collected, and leaves the mark.
///
/// Threads: one at a time.
class QOR_EXPORT MdfFile : public FileStream {
 public:
  /// Orders buses by bus channel, those of one channel by type.
  struct QOR_EXPORT BusLinks_sort {
    bool operator()(const Bus* left, const Bus* right) const;
  };

  /// Opens `fileName` + ".mf4" and begins the recording. `startTime`: ns since 1970, UTC. `maxSizeKiB`: see
  /// File_SetMaxSize; 0 for no limit.
  /// @throws std::bad_alloc
  MdfFile(const std::string& fileName, unsigned long startTime);
  MdfFile(const std::string& fileName, unsigned long startTime, unsigned int maxSizeKiB);
  MdfFile(const MdfFile&) = delete;
  MdfFile& operator=(const MdfFile&) = delete;
  ~MdfFile() override;

  /// Makes everything new but the name, the limit and the stream: header, history, begin event, no buses. For a file
  /// that isn't open.
  /// @throws std::bad_alloc; nothing is changed then
  void Initialization(unsigned long startTime);
  /// Sets the comment of the header. Best called before anything is recorded: a later call leaves the bytes of the former
  /// comment in the file. False, and nothing is changed, when a text isn't valid UTF-8, which readers would refuse.
  /// @throws std::bad_alloc; nothing is changed then
  [[nodiscard]] bool FileInformationHeader(const FileInfo& info);
  /// How bus events are laid out; kExported unless this is called. Before the first bus: false, and nothing is changed, once
  /// there is one. With kStandard:
  /// - there are groups for Ethernet frames, CAN remote frames and FlexRay null frames, and what kinds of events they hold
  ///   and how is what programs of other makers expect;
  /// - trigger events of CAN and LIN become events of the file, and so does the mark of an entry after which data were
  ///   lost: once a second at most for each bus. They refer to the channel groups of their bus;
  /// - data that can't be packed go out in plain data blocks.
  [[nodiscard]] bool Convention_Set(BusConvention convention);
  /// Says in the header's comment, in the file's history and in the source blocks of the buses added from now on (standard
  /// convention only) what is known of the recording. May be called again, such as before File_Close with the losses:
  /// the comment is then rewritten in place, as far as there is room for it, in one write. FileInformationHeader sets
  /// the same comment; the later call counts.
  /// @throws std::bad_alloc; what is in the file stays, and the call may be repeated
  void Recording_Set(const RecordingInfo& info);
  /// The number of threads that pack data; 0, as at first, for none. Each takes 8.3 MiB, and the first another 4 MiB. What waits
  /// for the workers that there were is written first. False, and nothing is changed, when that fails or the system has no
  /// memory or threads for so many.
  [[nodiscard]] bool Workers_Set(unsigned int workers);
  /// The name of the current file of the series.
  [[nodiscard]] std::string FileName() const;

  /// Opens the current file, empties it and begins a recording at `time`. True when it is open, even if it already was.
  bool File_Open(unsigned long time);
  /// Ends the recording at `time`, writes everything and finalizes the file. False when there is no open file or
  /// something couldn't be written; the file then stays marked unfinalized, as it does with an unfinalized flag set.
  /// False, and the file is still open, when memory was short: call again.
  bool File_Close(unsigned long time);
  /// Flushes everything that is collected to the file. False when that failed.
  bool File_FlushData();
  /// The limit becomes `kib` KiB (computed in 32 bits) less the size of a data block, 2 MiB. Up to 2 MiB it is chosen at
  /// the first record: four times the size of what describes the data. Returns 2 MiB.
  unsigned int File_SetMaxSize(unsigned int kib);
  /// Checks the size, if anything was written since the last check, and continues with the next file if the limit is
  /// reached. `time`: the end of this file and the start of the next. False when the next file was begun, or
  /// when the limit is reached but this file couldn't be written.
  bool FileIterationHandler(unsigned long time);
  /// Sets the start time; with `relative` it is the base of event times as well. Always true.
  bool StartTime_Reset(unsigned long startTime, bool relative);
  /// What has to be repaired in the file as long as it isn't finalized; a file with a flag set is never finalized. Each
  /// file of a series begins without flags.
  void UnfinalizedFlags(MDF::IDBLOCK::UnfinalizedFlags::unfinFlags_t flags);
  void UnfinalizedFlags_Custom(unsigned short flags);
  /// Writes what describes the data, as far as it is new or changed. False when that failed.
  bool Write();

  /// Adds a bus: type 0 CAN, 1 LIN, 2 FlexRay, 'c' a CAN bus with data frames only. False for another type or a bus that
  /// is there already. Ethernet, type 3, has a place in the standard convention only, and 'c' in the other one.
  /// @throws std::bad_alloc; nothing is changed then
  [[nodiscard]] bool Bus_Add(unsigned int busChannel, unsigned char busType);
  /// Records of the bus in the current file; 0 when there is no such bus.
  [[nodiscard]] unsigned long Bus_Cycles(unsigned int busChannel, unsigned char busType) const;
  /// The type by which the bus reads its entries; 255 when there is no such bus.
  [[nodiscard]] unsigned char Bus_Type(unsigned int busChannel, unsigned char busType) const;
  /// Forgets the records that are collected and counted, for a file that has none yet. False, and nothing changes, when
  /// the current file holds records.
  bool Bus_Reset();

  /// Records an entry on the bus of its channel and type. True when it was recorded, also if that began the next file.
  /// False when no such bus was added, the kind of event isn't recorded, a write failed, or the file was closed.
  ///
  /// Also false when the entry filled the file and the next one of the series couldn't be begun. The entry is the last one
  /// of the full file then, and shouldn't be inserted again; is_open() is false if it was the opening that failed.
  /// @throws std::out_of_range for an event that a bus of type 'c' has no group for
  [[nodiscard]] bool Data_Insert(Qor_Trace_Entry_t& entry);
  /// The same on a bus named by the caller, which reads the entry by its own type.
  [[nodiscard]] bool Data_Insert(unsigned int busChannel, unsigned char busType, Qor_Trace_Entry_t& entry);

  /// Adds an event to the file. `kind`: 1 acquisition interrupted, 2 marker, 4 trigger that started and 5 trigger that
  /// stopped the recording, 6 trigger; false for others. `cause`: 0 other, 1 error, 2 tool, 3 script, 4 user. `time`: ns
  /// on the clock of the relative base. False between File_Close and File_Open, where there is no file for it.
  /// @throws std::bad_alloc; nothing is changed then
  bool Event(const std::string& name, unsigned char kind, unsigned char cause, unsigned long time);
  /// The same for one bus only; false when it isn't there. The event refers to the data groups of the bus or, in the
  /// standard convention, to its channel groups.
  ///
  /// **Some readers refuse a file with an event that refers to data groups as a whole**, recorded data included. Where it
  /// isn't known who will read the file, use the standard convention, or add the event without a bus.
  bool Event(const std::string& name, unsigned char kind, unsigned char cause, unsigned long time,
             unsigned int busChannel, unsigned char busType);

 private:
  QOR_HIDDEN explicit MdfFile(const std::string& fileName);
  [[nodiscard]] QOR_HIDDEN bool Ended() const;
  QOR_HIDDEN bool LinkEvent(const std::string& name, unsigned char kind, unsigned char cause, unsigned long time,
                            Bus* scope);
  QOR_HIDDEN void AppendEvent(MDF::EVBLOCK* added);
  [[nodiscard]] QOR_HIDDEN bool InsertInto(Bus* bus, Qor_Trace_Entry_t& entry);
  [[nodiscard]] QOR_HIDDEN MDF::EVBLOCK* NewMark(Bus& bus, const RecordView& record);
  QOR_HIDDEN void SetComment(const std::string& xml);
  QOR_HIDDEN void AddHistory(const RecordingInfo& info);
  QOR_HIDDEN void DropEvents();
  QOR_HIDDEN void PlaceBlocks(BlockSet& changed);
  [[nodiscard]] QOR_HIDDEN bool Settle();
  [[nodiscard]] QOR_HIDDEN bool Describe();
  [[nodiscard]] QOR_HIDDEN bool Recorded(unsigned long time);
  QOR_HIDDEN void ChooseLimit();
  QOR_HIDDEN void RenewFile();
  QOR_HIDDEN void DropTree();
  [[nodiscard]] QOR_HIDDEN bool OpenStream();
  [[nodiscard]] QOR_HIDDEN bool IsLimitReached();
  [[nodiscard]] QOR_HIDDEN bool BeginNextFile(unsigned long time);

  enum class SizeLimit : unsigned char {
    kNone,
    kToBeChosen,  // at the first record, see ChooseLimit
    kKnown
  };

  std::string BaseName;
  uint64_t FileIndex = 0;
  SizeLimit Limit = SizeLimit::kNone;
  uint64_t MaxSize = 0;  // bytes, once the limit is known
  bool IdWritten = false;
  bool FirstRecordSeen = false;
  bool HasRecords = false;  // the current file, or what is collected for it
  bool Changed = true;      // there are descriptions to write
  long Placed = 0;          // bytes of the file up to the end of all blocks that have a place
  std::unique_ptr<MDF::IDBLOCK> Id;
  MDF::HDBLOCK* Header = nullptr;  // the tree's root; all blocks of the tree belong to the file
  MDF::FHBLOCK* History = nullptr;
  MDF::MDBLOCK* Comment = nullptr;        // of the header, as Recording_Set made it; has room to grow
  std::unique_ptr<MDF::PackQueue> Queue;  // of the workers; null when there are none
  std::unique_ptr<BusRoot> Root;
  MDF::EVBLOCK* Begin = nullptr;      // of the recording that hasn't ended yet
  MDF::EVBLOCK* LastEvent = nullptr;  // of the header's chain
  MDF::Block* GroupInFile = nullptr;  // the last data group that the file describes, with all before it ...
  MDF::Block* EventInFile = nullptr;  // ... and the last event; null when everything must be looked through
  std::map<const Bus*, std::optional<unsigned long>> LossMarks;  // ns, when the latest mark of a loss was made
  std::set<Bus*, BusLinks_sort> BusLinks;                        // buses that the file doesn't describe yet
};

namespace MDF {
using ::MdfFile;
}
