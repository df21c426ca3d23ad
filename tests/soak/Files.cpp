#include "Files.h"

#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "Check.h"
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

unsigned int NumberAt(const test::Bytes& bytes, size_t place) {
  unsigned int number = 0;
  Expect(place + sizeof number <= bytes.size(), "a file ends inside a number");
  std::memcpy(&number, bytes.data() + place, sizeof number);
  return number;
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

// Block: u32 type | u32 length | ... | u32 length. Interface descriptions say that they are 4 bytes longer than they are.
unsigned long PacketsOf(const std::string& pcapng) {
  constexpr unsigned int kSection = 0x0A0D0D0A, kInterface = 1;
  const test::Bytes bytes = test::FileBytes(pcapng);
  unsigned long packets = 0;
  for (size_t place = 0; place < bytes.size();) {
    const unsigned int type = NumberAt(bytes, place);
    const unsigned int length = NumberAt(bytes, place + 4) - (type == kInterface ? 4 : 0);
    Expect(length >= 12 && place + length <= bytes.size(), pcapng + " has a block that can't be");
    if (type != kSection && type != kInterface) ++packets;
    place += length;
  }
  return packets;
}

}  // namespace soak
