// Reads the bus events of MDF 4 files (.mf4), whoever wrote them.
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "inputs/MdfPart.h"
#include "inputs/Reader.h"
#include "inputs/SeriesFiles.h"
#include "stream/LossLedger.h"
#include "stream/Reorder.h"

namespace client {

/// The files NAME.mf4, NAME_1.mf4, ... that begin at the same time are one recording, if the first one is named.
///
/// Times are those of the file: ns after its start. Records of different groups come in the order of their times; where
/// those of several groups lie among each other, as far as Reorder can put them in order.
///
/// A file that isn't finalized, or that the end is missing of, is read as far as it goes.
class MdfReader : public Reader, public SeriesFiles {
 public:
  /// @param path  as opened; "-" for standard input, which must be a file
  /// Failure: Failure when it is no MDF 4 file, can't be read by positions, or has nothing that could be a record; says why.
  explicit MdfReader(const std::string& path);

  /// Failure: Failure when a file can't be read.
  [[nodiscard]] const RecordView* Next() override;

  void Attend(Attendance attendance) override { Present = std::move(attendance); }
  [[nodiscard]] bool Stopped() const override { return Ended; }
  [[nodiscard]] Description Describe() const override;
  [[nodiscard]] std::vector<std::string> Remarks() const override;
  [[nodiscard]] std::vector<std::string> Notes() const override;
  [[nodiscard]] std::vector<std::string> LaterFiles() const override { return {Paths.begin() + 1, Paths.end()}; }
  [[nodiscard]] unsigned long Position() const override;
  [[nodiscard]] unsigned long Size() const override { return AllSize; }
  [[nodiscard]] const Findings& Found() const override { return Seen; }
  [[nodiscard]] unsigned long Records() const override { return Count; }

 private:
  /// What the stage that puts records in order hands over.
  class Queue : public RecordSink {
   public:
    [[nodiscard]] bool Take(const RecordView& record) override {
      Waiting.emplace_back(record.Bytes().begin(), record.Bytes().end());
      return true;
    }
    std::deque<std::vector<unsigned char>> Waiting;
  };

  void Open(const std::string& path);
  void FindSeries();
  [[nodiscard]] bool MayGoOn();
  [[nodiscard]] const RecordView* NextOfParts();
  [[nodiscard]] const RecordView* NextInOrder();
  void TellLate();

  Findings Seen;
  MdfChannels Channels;
  Description Known;
  std::vector<std::string> Paths;  // of the series
  size_t Opened = 0;               // files of it
  bool AllRead = false;
  std::unique_ptr<MdfPart> Part;
  unsigned long DoneBytes = 0;  // of the files that were read
  unsigned long AllSize = 0;
  std::vector<Loss> Marked;  // of the files that were read
  bool Complete = true;      // all files up to now

  Queue InOrder;
  LossLedger TooLate;  // to be put in order
  std::optional<Reorder> Order;
  bool OrderFinished = false;
  std::optional<RecordView> Current;

  Attendance Present;
  bool Ended = false;
  unsigned long Count = 0;
};

}  // namespace client
