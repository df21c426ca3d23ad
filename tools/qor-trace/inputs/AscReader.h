// ASC logs as an input.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inputs/AscChannels.h"
#include "inputs/AscEvent.h"
#include "inputs/AscHead.h"
#include "inputs/AscTimes.h"
#include "inputs/InputBytes.h"
#include "inputs/MadeRecord.h"
#include "inputs/Reader.h"
#include "inputs/SeriesFiles.h"
#include "inputs/TextLines.h"
#include "stream/LossLedger.h"

namespace client {

/// Reads a log of this program, of the library's export or of another tool; all files of a series that is given by its first
/// one. Lines that no record has a place for are left out; those that are damaged are unread. docs/convert.md has what comes
/// of which line.
///
/// Times count from the date in the head, which is when the recording began; or since 1970, if the first line's time can be
/// nothing else.
///
/// Memory: 1 MiB for bytes, 64 KiB for a frame, and a few bytes per channel.
class AscReader : public Reader, public SeriesFiles {
 public:
  /// @param path  "-": standard input
  AscReader(InputBytes bytes, const std::string& path);

  [[nodiscard]] const RecordView* Next() override;
  void Attend(Attendance attendance) override;
  [[nodiscard]] bool Stopped() const override { return Lines->Stopped(); }
  [[nodiscard]] Description Describe() const override;
  [[nodiscard]] unsigned long LossesKnown() const override { return LossCount; }
  [[nodiscard]] std::vector<std::string> LaterFiles() const override { return Later; }
  [[nodiscard]] unsigned long Position() const override { return BytesBefore + Lines->Position(); }
  [[nodiscard]] unsigned long Size() const override { return SeriesSize; }
  [[nodiscard]] const Findings& Found() const override { return Noted; }
  [[nodiscard]] unsigned long Records() const override { return Count; }

 private:
  /// A comment that says something of an entry.
  struct Remark {
    enum class Word { Overrun, CrcError, Malformed };

    Word What;
    unsigned char Bus;
    unsigned int Channel;
    long Column;
  };

  [[nodiscard]] std::optional<std::string_view> NextLine();
  [[nodiscard]] bool BeginNextFile();
  void EndFile();
  [[nodiscard]] const RecordView* Read(std::string_view line);
  [[nodiscard]] const RecordView* ReadEvent(std::string_view text);
  [[nodiscard]] const RecordView* ReadRemark(const Remark& remark);
  [[nodiscard]] static std::optional<Remark> RemarkOf(std::string_view comment);
  [[nodiscard]] static bool Apply(const Remark& remark, AscEvent& event);
  [[nodiscard]] bool TakeLoss(std::string_view line);
  void TakeHead(std::string_view line);
  void TakeRemarks(AscEvent& event);
  void FollowBase(const AscEvent& event);
  [[nodiscard]] bool NextIsComment();
  [[nodiscard]] bool IsCutLine() const { return Lines->IsCut() && Pieces.empty(); }
  [[nodiscard]] const RecordView* Make(const AscEvent& event, unsigned long time);
  void Note(FindingKind kind, const char* what);

  std::optional<TextLines> Lines;  // of the open file
  Attendance Present;
  const std::vector<std::string> Later;  // the other files of a series
  size_t FilesBegun = 0;                 // of those
  unsigned long BytesBefore = 0;         // of the files before the open one
  unsigned long SeriesSize = 0;

  std::string_view Pieces;        // of the line: the library ends some events with a carriage return alone
  std::optional<Remark> Waiting;  // a comment that was read with the line in front of it, and stands for itself

  AscHead Head;
  AscNumbers Numbers;
  AscTimes Times;
  AscChannels Channels;
  std::unique_ptr<unsigned char[]> Room;  // for the data of a line
  MadeRecord Made;
  unsigned long Count = 0;
  bool Since1970 = false;
  bool IsCut = false;
  LossLedger Losses;            // that comments tell of
  unsigned long LossCount = 0;  // such comments
  Findings Noted;
};

}  // namespace client
