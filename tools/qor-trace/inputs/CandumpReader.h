// Candump text as an input.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "inputs/InputBytes.h"
#include "inputs/MadeRecord.h"
#include "inputs/Reader.h"
#include "inputs/TextLines.h"

namespace client {

/// Reads what `candump -L` and `-l` write. Interface can0 becomes channel 1, can1 channel 2 and so on; one of another name the
/// first number that is free when it comes. Their names are in the description. Times are those of the lines, mostly since
/// 1970.
///
/// Memory: 1 MiB for bytes, and the names of at most 1000 interfaces: lines of others aren't read.
class CandumpReader : public Reader {
 public:
  explicit CandumpReader(InputBytes bytes) : Lines(std::move(bytes)) {}

  [[nodiscard]] const RecordView* Next() override;
  void Attend(Attendance attendance) override { Lines.Attend(std::move(attendance)); }
  [[nodiscard]] bool Stopped() const override { return Lines.Stopped(); }
  [[nodiscard]] Description Describe() const override;
  [[nodiscard]] unsigned long Position() const override { return Lines.Position(); }
  [[nodiscard]] unsigned long Size() const override { return Lines.Size(); }
  [[nodiscard]] const Findings& Found() const override { return Noted; }
  [[nodiscard]] unsigned long Records() const override { return Count; }

 private:
  /// 0 for one interface too many.
  [[nodiscard]] unsigned int ChannelOf(std::string_view interface);
  [[nodiscard]] unsigned int NumberFor(std::string_view interface) const;

  TextLines Lines;
  std::map<std::string, unsigned int, std::less<>> Channels;  // by interface
  std::set<unsigned int> Taken;                               // their numbers
  std::string LatestInterface;
  unsigned int LatestChannel = 0;
  std::array<unsigned char, 64> Room;
  MadeRecord Made;
  unsigned long Count = 0;
  bool IsCut = false;
  Findings Noted;
};

}  // namespace client
