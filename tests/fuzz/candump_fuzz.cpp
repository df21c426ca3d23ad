// Recordings in candump's text form: the frames of the lines, replayed as they are in the order of their times. One bad line
// refuses the file, or is left out and counted where that is asked for.
#include <sstream>

#include "Candump.h"
#include "Error.h"
#include "Input.h"

namespace {

using fuzz::Require;
using qor_sim::CandumpFrame;
using qor_sim::CanItem;

constexpr size_t kLongestData = 64;

struct Frame {
  std::string Interface;
  CanItem Item;
};

void CheckFrame(const CandumpFrame& frame) {
  const CanItem& item = frame.Item;
  Require(item.DataLength <= kLongestData, "a frame has at most 64 bytes");
  Require(item.Dlc <= 15, "a data length code has four bits");
  Require(!frame.Interface.empty(), "a frame has an interface");
  const bool extended = (item.Flags & qor_sim::kCanExtended) != 0;
  const unsigned int markers = qor_sim::kCanIdExtended | qor_sim::kCanIdFd;
  Require(((item.Identifier & qor_sim::kCanIdExtended) != 0) == extended, "the identifier is marked as the flags say");
  Require((item.Identifier & ~markers) <= (extended ? 0x1FFFFFFFU : 0x7FFU), "the identifier is one");
}

struct Lines {
  std::vector<Frame> Frames;  // of the good ones
  std::size_t Bad = 0;
};

Lines LinesOf(const std::string& text) {
  Lines all;
  std::vector<Frame>& frames = all.Frames;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    try {
      const CandumpFrame frame = qor_sim::ParseCandumpLine(line);
      CheckFrame(frame);
      frames.push_back({std::string(frame.Interface), frame.Item});
      const bool sent = frame.OwnDirection == qor_sim::Direction::Transmitted;
      if (sent) frames.back().Item.Flags |= qor_sim::kCanTransmitted;
    } catch (const qor_sim::Error& error) {
      Require(error.Code() == QOR_SIM_ERROR_SOURCE && *error.what() != 0, "a refusal says why");
      ++all.Bad;
    }
  }
  return all;
}

/// The frames of the first line's interface, in the order in which they must be replayed.
std::vector<CanItem> Expected(const std::vector<Frame>& frames) {
  std::vector<CanItem> expected;
  for (const Frame& frame : frames) {
    if (frame.Interface == frames.front().Interface) expected.push_back(frame.Item);
  }
  std::stable_sort(expected.begin(), expected.end(),
                   [](const CanItem& a, const CanItem& b) { return a.Timestamp < b.Timestamp; });
  return expected;
}

void CheckReplay(const std::vector<CanItem>& expected, qor_sim::ItemSource& source) {
  for (const CanItem& item : expected) {
    const qor_sim::Item* replayed = source.Peek();
    Require(replayed != nullptr, "every frame is replayed");
    const size_t size = qor_sim::kCanItemHead + item.DataLength;
    Require(replayed->Bytes.size() == size && std::memcmp(replayed->Bytes.data(), &item, size) == 0,
            "a frame is replayed as its line has it, in the order of the times");
    source.Advance();
  }
  Require(source.Peek() == nullptr, "nothing else is replayed");
}

/// Replays the file's first interface, if it may be replayed.
void Replay(const std::string& text, const Lines& lines, qor_sim::BadLines bad) {
  const bool good = !lines.Frames.empty() && (lines.Bad == 0 || bad == qor_sim::BadLines::Skip);
  qor_sim::CandumpSettings settings;
  settings.Origin = qor_sim::TimeOrigin::Absolute;
  settings.Bad = bad;
  if (!lines.Frames.empty()) settings.Interface = lines.Frames.front().Interface;
  try {
    const auto source = qor_sim::ParseCandump(text, "in.log", settings);
    Require(good, "a file is refused when one of its lines is, or without lines");
    Require(source->Skipped().Count() == lines.Bad, "all bad lines are counted");
    CheckReplay(Expected(lines.Frames), *source);
  } catch (const qor_sim::Error& error) {
    Require(!good, "a file of good lines is replayed");
    Require(error.Code() == QOR_SIM_ERROR_FILE && *error.what() != 0, "a refusal says why");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const Lines lines = LinesOf(text);
  Replay(text, lines, qor_sim::BadLines::Refuse);
  Replay(text, lines, qor_sim::BadLines::Skip);
  return 0;
}
