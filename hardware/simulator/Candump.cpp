#include "Candump.h"

#include <algorithm>
#include <functional>
#include <set>
#include <sstream>
#include <utility>

#include "Error.h"

namespace qor_sim {
namespace {

void ReadFrames(std::istream& text, const std::string& file, const std::function<void(const CandumpFrame&)>& visit,
                SkippedLines* skipped) {
  ReadLines(
      text, file, [&](std::string_view line) { visit(ParseCandumpLine(line)); }, skipped);
}

CanItem WithDirection(const CandumpFrame& frame, Direction fallback) {
  CanItem item = frame.Item;
  const bool transmitted = frame.OwnDirection.value_or(fallback) == Direction::Transmitted;
  if (transmitted) item.Flags = static_cast<unsigned char>(item.Flags | kCanTransmitted);
  return item;
}

/// The wanted interface, if the file has it; else the only one.
std::string ChooseInterface(const Recording& recording, const std::string& file,
                            const std::optional<std::string>& wanted) {
  const auto interfaces = recording.Parts();
  if (interfaces.empty()) throw NoFrames(file, recording.Skipped);
  if (!wanted && interfaces.size() > 1) {
    throw SourceError("Cannot replay " + file + " without the option interface: it holds " + Joined(interfaces) + ".");
  }
  if (wanted && std::find(interfaces.begin(), interfaces.end(), *wanted) == interfaces.end()) {
    throw SourceError("Cannot replay the interface " + *wanted + " of " + file + ": the file holds " +
                      Joined(interfaces) + ".");
  }
  return wanted.value_or(interfaces.front());
}

std::unique_ptr<ItemSource> Replay(std::istream& text, const std::string& file, const CandumpSettings& settings) {
  Recording recording(kCanTimeOffset, settings.Interface);
  std::vector<unsigned char> bytes;
  const auto add = [&](const CandumpFrame& frame) {
    EncodeCanItem(WithDirection(frame, settings.Fallback), bytes);
    recording.Add(frame.Interface, frame.Item.Timestamp, bytes);
  };
  ReadFrames(text, file, add, settings.Bad == BadLines::Skip ? &recording.Skipped : nullptr);
  const std::string interface = ChooseInterface(recording, file, settings.Interface);
  return std::move(recording).Replay(interface, settings.Origin);
}

}  // namespace

std::vector<std::string> CandumpInterfaces(const std::string& path, BadLines bad) {
  std::set<std::string, std::less<>> names;
  std::ifstream file = OpenRecording(path);
  SkippedLines skipped;
  const auto add = [&](const CandumpFrame& frame) {
    if (names.find(frame.Interface) == names.end()) names.emplace(frame.Interface);
  };
  ReadFrames(file, path, add, bad == BadLines::Skip ? &skipped : nullptr);
  if (names.empty()) throw NoFrames(path, skipped);
  return {names.begin(), names.end()};
}

std::unique_ptr<ItemSource> MakeCandumpSource(const std::string& path, const CandumpSettings& settings) {
  std::ifstream file = OpenRecording(path);
  return Replay(file, path, settings);
}

std::unique_ptr<ItemSource> ParseCandump(std::string_view text, const std::string& file,
                                         const CandumpSettings& settings) {
  std::istringstream lines{std::string(text)};
  return Replay(lines, file, settings);
}

}  // namespace qor_sim
