#include "Recording.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

namespace qor_sim {
namespace {

std::string LineOf(const std::string& file, uint64_t number) { return file + ", line " + std::to_string(number); }

}  // namespace

void CheckRecording(const std::string& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (!std::filesystem::exists(status)) throw Unreadable(path, "there is no such file");
  if (!std::filesystem::is_regular_file(status)) throw Unreadable(path, "it is no regular file");
}

std::ifstream OpenRecording(const std::string& path) {
  CheckRecording(path);
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Unreadable(path, std::strerror(errno));
  return file;
}

void ReadLines(std::istream& text, const std::string& file, const std::function<void(std::string_view line)>& visit,
               SkippedLines* skipped) {
  std::string line;
  for (size_t number = 1; std::getline(text, line); ++number) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    if (line.back() == '\r') line.pop_back();
    try {
      visit(line);
    } catch (const Error& error) {
      if (skipped == nullptr) throw Unreadable(LineOf(file, number), error.what());
      skipped->Add(number, error.what());
    }
  }
  if (text.bad()) throw FileError("Cannot read " + file + " to its end: " + std::strerror(errno) + ".");
}

Error Unreadable(const std::string& place, const std::string& reason) {
  return FileError("Cannot read " + place + ": " + reason + ".");
}

Error NoFrames(const std::string& file, const SkippedLines& skipped) {
  if (skipped.Count() == 0) return FileError("Cannot replay " + file + ": it holds no frames.");
  const SkippedLine& first = skipped.Kept().front();
  return Unreadable(LineOf(file, first.Number), first.Reason);
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) text.append(text.empty() ? "" : ", ").append(name);
  return text;
}

/// Plays the items of one part.
class Recording::Source final : public ItemSource {
 public:
  Source(Items items, SkippedLines skipped, size_t timeOffset, uint64_t earliest, TimeOrigin origin)
      : All(std::move(items)), LeftOut(std::move(skipped)), TimeOffset(timeOffset), Earliest(earliest), Origin(origin) {
    Fill();
  }

  const Item* Peek() override { return Next < All.Places.size() ? &Current : nullptr; }
  void Advance() override {
    ++Next;
    Fill();
  }
  SkippedLines Skipped() const override { return LeftOut; }

 private:
  void Fill() {
    if (Next >= All.Places.size()) return;
    const Place& place = All.Places[Next];
    Current.Due = place.Time - Earliest;
    Current.Timestamp = Origin == TimeOrigin::Absolute ? place.Time : Current.Due;
    uint16_t length = 0;
    std::memcpy(&length, All.Bytes.data() + place.Offset, sizeof length);
    const unsigned char* first = All.Bytes.data() + place.Offset + sizeof length;
    Current.Bytes.assign(first, first + length);
    std::memcpy(Current.Bytes.data() + TimeOffset, &Current.Timestamp, sizeof Current.Timestamp);
  }

  const Items All;
  const SkippedLines LeftOut;
  const size_t TimeOffset;
  const uint64_t Earliest;
  const TimeOrigin Origin;
  size_t Next = 0;
  Item Current;
};

void Recording::Add(std::string_view part, uint64_t time, std::span<const unsigned char> item) {
  Earliest = std::min(Earliest, time);
  auto found = ByPart.find(part);
  if (found == ByPart.end()) found = ByPart.emplace(part, Items{}).first;
  if (Wanted && part != *Wanted) return;
  Items& items = found->second;
  items.Places.push_back({time, items.Bytes.size()});
  const auto length = static_cast<uint16_t>(item.size());
  const auto* lengthBytes = reinterpret_cast<const unsigned char*>(&length);
  items.Bytes.insert(items.Bytes.end(), lengthBytes, lengthBytes + sizeof length);
  items.Bytes.insert(items.Bytes.end(), item.begin(), item.end());
}

std::vector<std::string> Recording::Parts() const {
  std::vector<std::string> names;
  for (const auto& [name, items] : ByPart) names.push_back(name);
  return names;
}

std::unique_ptr<ItemSource> Recording::Replay(const std::string& part, TimeOrigin origin) && {
  Items items = std::move(ByPart[part]);
  std::stable_sort(items.Places.begin(), items.Places.end(),
                   [](const Place& a, const Place& b) { return a.Time < b.Time; });
  return std::make_unique<Source>(std::move(items), std::move(Skipped), TimeOffset, Earliest, origin);
}

}  // namespace qor_sim
