// Records of any bytes as lines of the client's ASC logs: within the room that they were given, each line whole and by itself, and
// the same whatever came before.
//
// Input: options (1), then records: length (2), bytes.
#include <memory>
#include <string>

#include "Input.h"
#include "outputs/AscClock.h"
#include "outputs/AscLines.h"

namespace {

using client::AscOmission;
using fuzz::Require;
using test::Bytes;

/// Composes the line in a heap block of exactly its room, so that AddressSanitizer sees a write past it.
std::string LineOf(const client::AscStyle& style, const RecordView& record, const client::AscTime& time) {
  const size_t room = client::AscRoom(record);
  Require(room <= client::kMostAscRoom, "no record needs more room than the most");
  const std::unique_ptr<char[]> text(new char[room]);
  const client::ComposedLine line = ComposeAscLine(style, record, time, text.get());
  Require(line.End >= text.get() && line.End <= text.get() + room, "a line keeps to its room");
  Require((line.End == text.get()) == (line.Omission == AscOmission::Ethernet),
          "what is not told as omitted has a line");
  return {text.get(), line.End};
}

void CheckLines(const std::string& text) {
  Require(text.empty() || text.back() == '\n', "the last line is whole");
  Require(text.find('\r') == std::string::npos, "no line hides the next one");
  for (size_t begin = 0; begin < text.size(); begin = text.find('\n', begin) + 1) {
    const bool isComment = text.compare(begin, 3, "// ") == 0;
    Require(isComment || (text[begin] >= '0' && text[begin] <= '9'), "a line begins with its time, or is a comment");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const auto options = input.Take<uint8_t>();
  const client::AscStyle style{.Decimal = (options & 1) != 0, .Decimals = (options & 2) != 0 ? 9 : 6};
  client::AscClock clock({.EntryTime = 1000, .Utc = 1'794'733'219'123'456'789}, style.Decimals, (options & 4) != 0);
  while (input.Left() > 0) {
    Bytes bytes = input.TakeBytes(input.Take<uint16_t>());
    bytes.resize(std::max<size_t>(bytes.size(), RecordView::kHeader));
    const test::Record held(bytes);
    const RecordView record(held.Get());
    const client::AscTime time = clock.Next(record.Timestamp());
    Require(time.Column <= time.SinceStart, "no time is negative");
    const std::string text = LineOf(style, record, time);
    CheckLines(text);
    Require(LineOf(style, record, time) == text, "a line depends on its record alone");
  }
  return 0;
}
