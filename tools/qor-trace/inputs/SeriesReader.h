// The files of a series as one recording.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "inputs/Reader.h"
#include "inputs/SeriesFiles.h"
#include "system/NamePattern.h"

namespace client {

/// Reads one file after the other. Where each counts times from its own start, they are put on the clock of the first one. A loss
/// that two files tell of, since it lies across their seam, is told once.
///
/// A file of another recording, or one that began long before those in front of it, is left over from an earlier series of this
/// name: it is left out, which is noted.
///
/// Threads: one. Memory: that of one file's reader.
class SeriesReader : public Reader, public SeriesFiles {
 public:
  using Open = std::function<std::unique_ptr<Reader>(const std::string& path)>;

  /// Opens the first file.
  /// @param files  at least one, of those names, in their order
  /// @param open   OpenInput
  /// Failure: as the reader of the first file.
  SeriesReader(const NamePattern& names, std::vector<std::string> files, Open open);

  /// Failure: as that of a file's reader.
  [[nodiscard]] const RecordView* Next() override;
  void Attend(Attendance attendance) override;
  [[nodiscard]] bool Stopped() const override { return Part->Stopped(); }
  [[nodiscard]] Description Describe() const override;
  [[nodiscard]] unsigned long LossesKnown() const override { return LossesBefore + Part->LossesKnown(); }
  [[nodiscard]] std::vector<std::string> Remarks() const override { return Part->Remarks(); }
  /// Which files are read, and how many of them are missing.
  [[nodiscard]] std::vector<std::string> Notes() const override;
  [[nodiscard]] std::vector<std::string> LaterFiles() const override { return {Files.begin() + 1, Files.end()}; }
  [[nodiscard]] unsigned long Position() const override { return BytesBefore + Part->Position(); }
  [[nodiscard]] unsigned long Size() const override { return AllSize; }
  [[nodiscard]] const Findings& Found() const override;
  [[nodiscard]] unsigned long Records() const override { return Count; }

 private:
  [[nodiscard]] const RecordView* FirstOfNext();
  [[nodiscard]] bool Belongs(const Description& part) const;
  void Align(const RecordView& first);
  void TakeKnown();
  [[nodiscard]] Description With(Description known, const Description& part) const;
  [[nodiscard]] const RecordView* OnOneClock(const RecordView& record);

  const std::vector<std::string> Files;
  const Open OpenFile;
  const std::string Missing;  // what is said of files that aren't there
  size_t Opened = 0;          // files
  std::unique_ptr<Reader> Part;
  bool Aligned = false;             // once a record has come
  TimeBase FirstTimes;              // of the first file
  unsigned long Shift = 0;          // ns, modulo 2^64: from the open file's clock to the first one's
  std::optional<Description> Done;  // of the files that were read
  Findings FoundBefore;
  mutable Findings AllFound;
  unsigned long LossesBefore = 0;
  unsigned long BytesBefore = 0;
  unsigned long AllSize = 0;
  Attendance Present;
  std::vector<unsigned char> Copy;
  std::optional<RecordView> Handout;
  unsigned long Count = 0;
};

/// The series that a name stands for that no file has: of the files NAME_000001.bin, NAME_000002.bin, ... for NAME.bin, or those
/// that a name with placeholders matches. Null where there is none.
/// Failure: as SeriesReader.
[[nodiscard]] std::unique_ptr<Reader> OpenSeries(const std::string& path, const SeriesReader::Open& open);

}  // namespace client
