#include "Csv.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <set>
#include <sstream>
#include <utility>

#include "Error.h"
#include "FlexRayItem.h"
#include "LinItem.h"

namespace qor_sim {
namespace {

static_assert(kLinTimeOffset == kFlexRayTimeOffset);

std::string NameOf(const CsvPart& part) {
  return part.Bus == CsvBus::FlexRay ? "FlexRay" : "LIN channel " + std::to_string(part.Channel);
}

std::string NamesOf(const std::set<CsvPart>& parts) {
  std::vector<std::string> names;
  std::transform(parts.begin(), parts.end(), std::back_inserter(names), NameOf);
  return Joined(names);
}

bool Fits(const CsvPart& part, const CsvChoice& choice) {
  if (choice.Bus && part.Bus != *choice.Bus) return false;
  return !choice.LinChannel || part == CsvPart{CsvBus::Lin, *choice.LinChannel};
}

std::vector<CsvPart> Fitting(const std::set<CsvPart>& parts, const CsvChoice& choice, const std::string& file,
                             const SkippedLines& skipped) {
  if (parts.empty()) throw NoFrames(file, skipped);
  std::vector<CsvPart> fitting;
  std::copy_if(parts.begin(), parts.end(), std::back_inserter(fitting), [&](auto& part) { return Fits(part, choice); });
  if (!fitting.empty()) return fitting;
  throw SourceError("Cannot replay what the options choose of " + file + ": it holds " + NamesOf(parts) + ".");
}

void ReadItems(std::istream& text, const std::string& file, const CsvDefaults& defaults,
               const std::function<void(const CsvItem&)>& visit, SkippedLines* skipped) {
  bool header = false;
  CsvItem item;
  const auto read = [&](std::string_view line) {
    if (header) {
      ParseCsvLine(line, defaults, item);
      visit(item);
    } else if (line != kCsvHeader) {
      throw SourceError("the first line is not " + std::string(kCsvHeader));
    }
    header = true;
  };
  ReadLines(text, file, read, skipped);
}

CsvSource Replay(std::istream& text, const std::string& file, const CsvSettings& settings) {
  const auto channel = settings.Choice.LinChannel;
  Recording recording(kLinTimeOffset, channel ? std::optional(NameOf({CsvBus::Lin, *channel})) : std::nullopt);
  std::set<CsvPart> parts;
  const auto add = [&](const CsvItem& item) {
    const CsvPart part{item.Bus, item.Channel};
    parts.insert(part);
    recording.Add(NameOf(part), item.Time, item.Bytes);
  };
  ReadItems(text, file, settings.Defaults, add, settings.Bad == BadLines::Skip ? &recording.Skipped : nullptr);
  const auto fitting = Fitting(parts, settings.Choice, file, recording.Skipped);
  if (fitting.size() > 1) {
    throw SourceError("Cannot replay " + file + " without the option " +
                      (fitting.front().Bus == fitting.back().Bus ? "channel" : "bus") + ": it holds " + NamesOf(parts) +
                      ".");
  }
  return {fitting.front().Bus, std::move(recording).Replay(NameOf(fitting.front()), settings.Origin)};
}

}  // namespace

CsvContents ListCsv(const std::string& path, const CsvChoice& choice, BadLines bad) {
  std::ifstream file = OpenRecording(path);
  std::set<CsvPart> parts;
  SkippedLines skipped;
  const auto add = [&](const CsvItem& item) { parts.insert({item.Bus, item.Channel}); };
  ReadItems(file, path, {}, add, bad == BadLines::Skip ? &skipped : nullptr);
  const bool both = !parts.empty() && parts.begin()->Bus != parts.rbegin()->Bus;
  return {Fitting(parts, choice, path, skipped), both};
}

CsvSource MakeCsvSource(const std::string& path, const CsvSettings& settings) {
  std::ifstream file = OpenRecording(path);
  return Replay(file, path, settings);
}

CsvSource ParseCsv(std::string_view text, const std::string& file, const CsvSettings& settings) {
  std::istringstream lines{std::string(text)};
  return Replay(lines, file, settings);
}

}  // namespace qor_sim
