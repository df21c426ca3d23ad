#include "Files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "Check.h"
#include "fuzz/PcapngBlocks.h"
#include "support/TemporaryDirectory.h"  // FileBytes

namespace soak {
namespace {

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

/// The next line of a log that has events: they begin with their time. False at its end.
bool NextEvents(std::ifstream& asc, std::string& line) {
  while (std::getline(asc, line)) {
    if (!line.empty() && IsDigit(line[0])) return true;
  }
  return false;
}

/// FlexRay errors end in a carriage return, and the next event goes on in their line.
unsigned long EventsIn(const std::string& line) {
  unsigned long events = 1;
  for (size_t place = line.find('\r'); place != std::string::npos; place = line.find('\r', place + 1)) {
    if (place + 1 < line.size() && IsDigit(line[place + 1])) ++events;
  }
  return events;
}

}  // namespace

unsigned long EventsOfBoth(const std::string& asc, const std::string& other) {
  std::ifstream first(asc), second(other);
  unsigned long events = 0;
  for (std::string line, same; NextEvents(first, line); events += EventsIn(line)) {
    Expect(NextEvents(second, same) && line == same, other + " differs from " + asc + " at \"" + line + '"');
  }
  std::string more;
  Expect(!NextEvents(second, more), other + " has more than " + asc);
  return events;
}

unsigned long SwappedRecords() {
  namespace fs = std::filesystem;
  unsigned long records = 0;
  for (const auto& file : fs::directory_iterator(fs::current_path())) {
    if (file.path().extension() != ".bin") continue;
    std::ifstream swap(file.path(), std::ios::binary);
    for (unsigned int length = 0; swap.read(reinterpret_cast<char*>(&length), sizeof length); ++records) {
      swap.seekg(static_cast<std::streamoff>(length) - static_cast<std::streamoff>(sizeof length), std::ios::cur);
    }
  }
  return records;
}

unsigned long PacketsOf(const std::string& pcapng) {
  constexpr unsigned int kSection = 0x0A0D0D0A, kInterface = 1;
  constexpr unsigned int kExcess = 4;  // bytes that the export's interface descriptions declare too many
  const auto blocks = fuzz::PcapngBlocks(test::FileBytes(pcapng), kExcess);
  return static_cast<unsigned long>(std::count_if(blocks.begin(), blocks.end(), [](const fuzz::PcapngBlock& block) {
    return block.Type != kSection && block.Type != kInterface;
  }));
}

}  // namespace soak
