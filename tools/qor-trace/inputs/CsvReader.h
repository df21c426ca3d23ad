// The CSV of LIN and FlexRay as an input.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string_view>

#include "inputs/TextReader.h"

namespace client {

/// Reads the CSV that the simulator replays: see docs/simulator.md. LIN channels and the FlexRay bus become channels in the order
/// in which they come. The bit times of LIN aren't in it.
///
/// Memory: 1 MiB.
class CsvReader : public TextReader {
 public:
  using TextReader::TextReader;

  /// Failure: Failure for another header, which is an other CSV.
  [[nodiscard]] const RecordView* Next() override;
  [[nodiscard]] Description Describe() const override;

 private:
  [[nodiscard]] const RecordView* Read(std::string_view row);
  [[nodiscard]] unsigned int ChannelOf(std::optional<unsigned int> lin);

  bool HasHeader = false;
  std::map<std::optional<unsigned int>, unsigned int> Channels;  // by LIN channel; nothing: FlexRay
  std::array<unsigned char, 254> Room;
};

}  // namespace client
