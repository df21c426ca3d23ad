// Several inputs as one recording.
#pragma once

#include <cstddef>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "inputs/Reader.h"

namespace client {

struct MergedInput {
  std::string Name = {};  // as typed
  std::unique_ptr<Reader> Source = nullptr;
};

/// What channels of the same number are that different inputs have.
enum class ChannelMerging {
  Apart,  // different ones: those of the later input get other numbers
  Same,   // one: the inputs are parts of a recording
};

/// Hands out the records of several inputs in the order of their times; those of the same time in the order of the inputs. Of
/// one input they keep their order, whatever their times: an input whose records go back in time is told among the findings.
///
/// If each input knows when it was recorded, the records' times count since 1970 from here on. Else each input is on its own
/// clock, which is said.
///
/// A channel whose number an earlier input has gets the next one above all that are known; parts of one recording, which is
/// known by the id in their descriptions, share their channels. What is moved is said, and stands in the source of the
/// channel's description.
///
/// When an input can't be read any further, the others are read to their ends before that is a failure.
///
/// Threads: one. Memory: that of the inputs.
class MergedReader : public Reader {
 public:
  /// @param inputs   at least one
  /// @param notes  that are made first
  explicit MergedReader(std::vector<MergedInput> inputs, ChannelMerging channels = ChannelMerging::Apart,
                        std::vector<std::string> notes = {});

  /// Failure: Failure as that of an input; at once if it has no record, unless it is standard input.
  [[nodiscard]] const RecordView* Next() override;

  void Attend(Attendance attendance) override;
  [[nodiscard]] bool Stopped() const override;
  [[nodiscard]] Description Describe() const override;
  [[nodiscard]] unsigned long LossesKnown() const override;
  /// Those of the inputs, and that their clocks can't be compared.
  [[nodiscard]] std::vector<std::string> Remarks() const override;
  /// Those of the inputs, and which channels were moved.
  [[nodiscard]] std::vector<std::string> Notes() const override;
  [[nodiscard]] unsigned long Position() const override;
  [[nodiscard]] unsigned long Size() const override;
  /// Each is told with the name of its input.
  [[nodiscard]] const Findings& Found() const override;
  [[nodiscard]] unsigned long Records() const override { return Count; }

 private:
  /// Records of an input that are older than the one before.
  struct Disorder {
    unsigned long Count = 0;
    unsigned long First = 0;         // which record of the input
    unsigned long GreatestStep = 0;  // ns
  };
  struct Member {
    std::string Name;
    std::unique_ptr<Reader> Source;
    size_t Recording = 0;              // the first input that is a part of the same one
    const RecordView* Head = nullptr;  // the next record; null when there is none
    unsigned long Due = 0;             // ns; its time, on the clock that all share
    TimeBase Times = {};
    unsigned long Latest = 0;  // ns, greatest time so far
    Disorder Back = {};
  };
  struct Channel {
    unsigned int Number = 1;
    std::optional<unsigned char> BusType = std::nullopt;  // of its first record
    size_t Input = 0;                                     // that it was first seen in
  };
  using ChannelKey = std::pair<size_t, unsigned int>;  // recording, number in it

  void Begin();
  void FindRecordings();
  void FindClock();
  void NoteNumbers(const Member& member);
  void NumberChannels(size_t index);
  Channel& ChannelOf(size_t index, unsigned int number, std::string* moved = nullptr);
  void Pull(size_t index);
  void Push(size_t index);
  [[nodiscard]] size_t PopOldest();
  [[nodiscard]] const RecordView* Handed(size_t index);
  [[nodiscard]] Description DescriptionOf(const Member& member) const;
  void AddChannels(const Description& known, const Member& member, Description& merged) const;

  std::vector<Member> Members;
  const ChannelMerging Merging;
  std::string Id;                 // of a recording of several; empty if all are parts of one
  std::vector<size_t> Queue;      // a heap of the inputs that have a record, the oldest one in front
  std::optional<size_t> Current;  // the input whose record was handed out
  std::map<ChannelKey, Channel> Channels;
  std::map<unsigned int, ChannelKey> Owners;  // by new number
  unsigned int GreatestNumber = 0;            // of all channels that are known
  std::string UnknownClock;                   // a sentence; empty if all know their UTC
  std::vector<std::string> OwnNotes;
  std::exception_ptr Failed;        // why an input ended early
  mutable Findings AllFound;        // gathered when somebody asks
  std::vector<unsigned char> Copy;  // of a record, with another channel or time
  std::optional<RecordView> Handout;
  unsigned long Count = 0;
  bool Begun = false;
  bool ByUtc = false;
};

/// Opens inputs as one; a single one is read as it is. A file of a series that another input reads anyway is left out, which
/// is said.
/// Failure: as OpenInput; UsageError when standard input is named twice.
[[nodiscard]] std::unique_ptr<Reader> OpenInputs(const std::vector<std::string>& paths,
                                                 ChannelMerging channels = ChannelMerging::Apart);

}  // namespace client
