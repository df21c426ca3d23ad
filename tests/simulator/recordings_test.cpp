// Replays of real recordings, where they are at hand.
#include <filesystem>
#include <fstream>
#include <map>

#include "Channel.h"

namespace {

const std::filesystem::path kFolder = std::filesystem::path(QOR_RECORDINGS_DIR) / "can";

/// Lines of a file by the word after their time.
std::map<std::string, unsigned long> LinesByInterface(const std::filesystem::path& path) {
  std::map<std::string, unsigned long> counts;
  std::ifstream file(path);
  for (std::string time, interface, frame; file >> time >> interface >> frame;) ++counts[interface];
  return counts;
}

/// us between the first and the last line, from the digits of their times.
unsigned long DurationOf(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::vector<unsigned long> times;
  for (std::string line; std::getline(file, line);) {
    times.push_back(std::stoul(line.substr(1, line.find('.') - 1) + line.substr(line.find('.') + 1, 6)));
  }
  return times.back() - times.front();
}

struct Drained {
  unsigned long Items = 0;
  unsigned long Last = 0;  // ns
  bool InOrder = true;
};

unsigned long TimeOf(const unsigned char* item) {
  unsigned long time = 0;
  for (int i = 7; i >= 0; --i) time = time << 8 | item[i];
  return time;
}

void Walk(const Bytes& response, Drained& drained) {
  for (size_t offset = 4; offset < response.size();) {
    const unsigned long time = TimeOf(&response[offset]);
    drained.InOrder = drained.InOrder && time >= drained.Last;
    drained.Last = time;
    ++drained.Items;
    offset += (16u + response.at(offset + 15) + 3u) & ~3u;
  }
}

Drained Drain(const std::string& source) {
  Drained drained;
  const OpenedPort port(source);
  Channel channel(port.Handle);
  EXPECT_EQ(channel.Configure(), 0u);
  EXPECT_EQ(channel.Start(), 0u);
  do {
    EXPECT_EQ(channel.Poll(), 0u) << Qor_Sim_ErrorText();
    Walk(channel.Returned(), drained);
  } while (channel.ReportedLength > 4);
  return drained;
}

}  // namespace

TEST(Recordings, EveryLineIsReplayed) {
  if (!std::filesystem::is_directory(kFolder)) GTEST_SKIP() << "no recordings in " << kFolder;
  size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
    if (entry.path().extension() != ".log") continue;
    ++files;
    for (const auto& [interface, lines] : LinesByInterface(entry.path())) {
      const auto drained = Drain("candump:" + entry.path().string() + "?speed=max&interface=" + interface);
      EXPECT_EQ(drained.Items, lines) << entry.path() << ' ' << interface;
      EXPECT_TRUE(drained.InOrder) << entry.path();
    }
  }
  EXPECT_GT(files, 0u);
}

TEST(Recordings, InterfacesOfOneFileEndWhereTheFileEnds) {
  const auto path = kFolder / "css-11111111-12.log";
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no recording " << path;
  const std::string source = "candump:" + path.string() + "?speed=max&interface=can";
  const unsigned long last = std::max(Drain(source + "1").Last, Drain(source + "2").Last);
  EXPECT_EQ(last, DurationOf(path) * 1000);
}
