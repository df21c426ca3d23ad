// Candump text as an input.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "inputs/TextReader.h"

namespace client {

/// Reads what `candump -L` and `-l` write. Interface can0 becomes channel 1, can1 channel 2 and so on; one of another name the
/// first number that is free when it comes. Their names are in the description. Times are those of the lines, mostly since
/// 1970.
///
/// Memory: 1 MiB for bytes, and the names of at most 1000 interfaces: lines of others aren't read.
class CandumpReader : public TextReader {
 public:
  using TextReader::TextReader;

  [[nodiscard]] const RecordView* Next() override;
  [[nodiscard]] Description Describe() const override;

 private:
  /// 0 for one interface too many.
  [[nodiscard]] unsigned int ChannelOf(std::string_view interface);
  [[nodiscard]] unsigned int NumberFor(std::string_view interface) const;

  std::map<std::string, unsigned int, std::less<>> Channels;  // by interface
  std::set<unsigned int> Taken;                               // their numbers
  std::string LatestInterface;
  unsigned int LatestChannel = 0;
  std::array<unsigned char, 64> Room;
};

}  // namespace client
