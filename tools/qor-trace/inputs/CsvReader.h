// The CSV of LIN and FlexRay as an input.
#pragma once

#include <array>
#include <map>
#include <optional>

#include "inputs/InputBytes.h"
#include "inputs/MadeRecord.h"
#include "inputs/Reader.h"
#include "inputs/TextLines.h"

namespace client {

/// Reads the CSV that the simulator replays: see docs/simulator.md. LIN channels and the FlexRay bus become channels in the order
/// in which they come. The bit times of LIN aren't in it.
///
/// Memory: 1 MiB.
class CsvReader : public Reader {
 public:
  explicit CsvReader(InputBytes bytes) : Lines(std::move(bytes)) {}

  /// Failure: Failure for another header, which is an other CSV.
  [[nodiscard]] const RecordView* Next() override;
  void Attend(Attendance attendance) override { Lines.Attend(std::move(attendance)); }
  [[nodiscard]] bool Stopped() const override { return Lines.Stopped(); }
  [[nodiscard]] Description Describe() const override;
  [[nodiscard]] unsigned long Position() const override { return Lines.Position(); }
  [[nodiscard]] unsigned long Size() const override { return Lines.Size(); }
  [[nodiscard]] const Findings& Found() const override { return Noted; }
  [[nodiscard]] unsigned long Records() const override { return Count; }

 private:
  [[nodiscard]] const RecordView* Read(std::string_view row);
  [[nodiscard]] unsigned int ChannelOf(std::optional<unsigned int> lin);

  TextLines Lines;
  bool HasHeader = false;
  std::map<std::optional<unsigned int>, unsigned int> Channels;  // by LIN channel; nothing: FlexRay
  std::array<unsigned char, 254> Room;
  MadeRecord Made;
  unsigned long Count = 0;
  bool IsCut = false;
  Findings Noted;
};

}  // namespace client
