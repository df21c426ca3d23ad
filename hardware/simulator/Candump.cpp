#include "Candump.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>

#include "Error.h"

namespace qor_sim {
namespace {

std::ifstream OpenRecording(const std::string& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (!std::filesystem::exists(status)) throw SourceError("Cannot read " + path + ": there is no such file.");
  if (!std::filesystem::is_regular_file(status)) throw SourceError("Cannot read " + path + ": it is no regular file.");
  std::ifstream file(path, std::ios::binary);
  if (!file) throw SourceError("Cannot read " + path + ": " + std::strerror(errno) + ".");
  return file;
}

Error NoFrames(const std::string& path) { return SourceError("Cannot replay " + path + ": it holds no frames."); }

std::string Joined(const std::set<std::string, std::less<>>& names) {
  std::string text;
  for (const auto& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

/// Gathers the frames of the wanted interface, and what is to be known of the others.
class Recording {
 public:
  Recording(const std::string& path, const CandumpSettings& settings) : Path(path), Settings(settings) {
    ReadCandump(path, [this](const CandumpFrame& frame) { Add(frame); });
    CheckInterface();
    std::stable_sort(Frames.begin(), Frames.end(), [](const Place& a, const Place& b) { return a.Time < b.Time; });
  }

  size_t Size() const { return Frames.size(); }

  void Fill(size_t index, Item& item) const {
    const Place& place = Frames[index];
    item.Due = place.Time - Earliest;
    item.Timestamp = Settings.Origin == TimeOrigin::Absolute ? place.Time : item.Due;
    const auto first = Bytes.begin() + static_cast<std::ptrdiff_t>(place.Offset);
    item.Bytes.assign(first, first + static_cast<std::ptrdiff_t>(kCanItemHead) + first[15]);
    std::memcpy(item.Bytes.data(), &item.Timestamp, sizeof item.Timestamp);
  }

 private:
  struct Place {
    uint64_t Time;  // ns, as in the file
    size_t Offset;  // in Bytes
  };

  void Add(const CandumpFrame& frame) {
    Earliest = std::min<uint64_t>(Earliest, frame.Item.Timestamp);
    if (Interfaces.find(frame.Interface) == Interfaces.end()) Interfaces.emplace(frame.Interface);
    if (!Settings.Interface) Settings.Interface = frame.Interface, Guessed = true;
    if (frame.Interface == *Settings.Interface) Keep(frame);
  }

  void Keep(const CandumpFrame& frame) {
    CanItem item = frame.Item;
    if (frame.OwnDirection.value_or(Settings.Fallback) == Direction::Transmitted) {
      item.Flags = static_cast<unsigned char>(item.Flags | kCanTransmitted);
    }
    Frames.push_back({item.Timestamp, Bytes.size()});
    EncodeCanItem(item, Scratch);
    Bytes.insert(Bytes.end(), Scratch.begin(), Scratch.end());
  }

  void CheckInterface() const {
    if (Interfaces.empty()) throw NoFrames(Path);
    if (Guessed && Interfaces.size() > 1) {
      throw SourceError("Cannot replay " + Path + " without the option interface: it holds " + Joined(Interfaces) +
                        ".");
    }
    if (Frames.empty()) {
      throw SourceError("Cannot replay the interface " + *Settings.Interface + " of " + Path + ": the file holds " +
                        Joined(Interfaces) + ".");
    }
  }

  std::string Path;
  CandumpSettings Settings;
  bool Guessed = false;  // the interface is that of the first frame
  std::set<std::string, std::less<>> Interfaces;
  uint64_t Earliest = std::numeric_limits<uint64_t>::max();
  std::vector<unsigned char> Bytes;  // all items, without padding
  std::vector<Place> Frames;
  std::vector<unsigned char> Scratch;
};

class CandumpSource final : public ItemSource {
 public:
  explicit CandumpSource(Recording recording) : Frames(std::move(recording)) { Fill(); }

  const Item* Peek() override { return Next < Frames.Size() ? &Current : nullptr; }
  void Advance() override {
    ++Next;
    Fill();
  }

 private:
  void Fill() {
    if (Next < Frames.Size()) Frames.Fill(Next, Current);
  }

  Recording Frames;
  size_t Next = 0;
  Item Current;
};

}  // namespace

void ReadCandump(const std::string& path, const std::function<void(const CandumpFrame&)>& visit) {
  std::ifstream file = OpenRecording(path);
  std::string line;
  for (size_t number = 1; std::getline(file, line); ++number) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    try {
      visit(ParseCandumpLine(line));
    } catch (const Error& error) {
      throw SourceError("Cannot read " + path + ", line " + std::to_string(number) + ": " + error.what() + ".");
    }
  }
  if (file.bad()) throw SourceError("Cannot read " + path + " to its end: " + std::strerror(errno) + ".");
}

std::vector<std::string> CandumpInterfaces(const std::string& path) {
  std::set<std::string, std::less<>> names;
  ReadCandump(path, [&](const CandumpFrame& frame) {
    if (names.find(frame.Interface) == names.end()) names.emplace(frame.Interface);
  });
  if (names.empty()) throw NoFrames(path);
  return {names.begin(), names.end()};
}

std::unique_ptr<ItemSource> MakeCandumpSource(const std::string& path, const CandumpSettings& settings) {
  return std::make_unique<CandumpSource>(Recording(path, settings));
}

}  // namespace qor_sim
