// What goes into an MDF file comes out of it frame by frame, as a reader finds it who knows only the format.
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <ostream>
#include <random>
#include <sstream>

#include "support/MdfDecoder.h"
#include "support/MdfEntries.h"
#include "support/StrictMdfReader.h"
#include "support/TemporaryDirectory.h"

namespace {

using test::Bytes;
using test::CanItem;
using test::FlexRayItem;
using test::LinItem;

/// What a person wants to know of a frame.
struct Frame {
  std::string Bus;
  std::string Event;
  uint64_t Time = 0;  // ns
  std::string Id;
  std::string Direction;
  std::string Flags;
  std::string Data;

  friend bool operator==(const Frame&, const Frame&) = default;
};

std::ostream& operator<<(std::ostream& out, const Frame& frame) {
  out << frame.Bus << ' ' << frame.Event << ' ' << frame.Time << " id " << frame.Id << ' ' << frame.Direction << " ["
      << frame.Flags << "] " << frame.Data.size() << " bytes:";
  for (const char c : frame.Data) out << ' ' << int{static_cast<unsigned char>(c)};
  return out;
}

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
std::string Hex(uint64_t number) {
  std::ostringstream text;
  text << std::hex << number;
  return text.str();
}

// --- out of the file ---

using Group = MdfDecoder::Group;

std::string Set(const Group& group, uint64_t record, std::initializer_list<const char*> flags) {
  std::string text;
  for (const char* flag : flags) {
    if (group.Raw(record, flag) != 0) text += std::string(flag) + " ";
  }
  return text;
}

Frame CanFrame(const Group& group, uint64_t record) {
  Frame frame;
  frame.Id = Hex(group.Raw(record, "ID") & 0x1FFFFFFF);
  frame.Direction = group.Text(record, "Dir");
  frame.Flags = Set(group, record, {"IDE", "EDL", "BRS", "ESI"});
  frame.Data = group.Bytes(record, "DataBytes");
  EXPECT_EQ(frame.Data.size(), group.Raw(record, "DataLength"));
  return frame;
}

Frame CanErrorFrame(const Group& group, uint64_t record) {
  Frame frame;
  frame.Id = Hex(group.Raw(record, "ID") & 0x1FFFFFFF);
  frame.Direction = group.Raw(record, "Dir") != 0 ? "Tx" : "Rx";
  frame.Flags = Set(group, record, {"IDE"}) + Hex(group.Raw(record, "ErrorFlags"));
  return frame;
}

/// Every LIN event by the fields that it has.
Frame LinFrame(const Group& group, uint64_t record) {
  Frame frame;
  if (group.Has("ID")) frame.Id = Hex(group.Raw(record, "ID"));
  if (group.Has("Dir")) frame.Direction = group.Raw(record, "Dir") != 0 ? "Tx" : "Rx";
  if (group.Has("DataBytes")) {
    frame.Data = group.Bytes(record, "DataBytes").substr(0, group.Raw(record, "ReceivedDataByteCount"));
  }
  if (group.Has("Checksum")) frame.Flags = Hex(group.Raw(record, "Checksum")) + " ";
  EXPECT_EQ(group.Raw(record, "SOF"), group.Raw(record, "t"));
  frame.Flags += std::to_string(static_cast<int>(group.Physical(record, "Baudrate") + 0.5));
  return frame;
}

Frame FlexRayFrame(const Group& group, uint64_t record) {
  Frame frame;
  frame.Id = group.Text(record, "FlxChannel") + Hex(group.Raw(record, "ID")) + "/" + Hex(group.Raw(record, "Cycle"));
  frame.Direction = group.Raw(record, "Dir") != 0 ? "Tx" : "Rx";
  frame.Flags = Set(group, record, {"NullFrameFlag", "SyncFrameFlag", "StartUpFrameFlag", "PayloadPreambleFlag"}) +
                Hex(group.Raw(record, "HeaderCRC"));
  EXPECT_EQ(group.Raw(record, "DataLength"), 2 * group.Raw(record, "PayloadLength"));
  if (!group.Has("DataBytes")) return frame;  // a null frame
  frame.Data = group.Bytes(record, "DataBytes");
  EXPECT_EQ(frame.Data.size(), group.Raw(record, "DataLength"));
  return frame;
}

Frame EthernetFrame(const Group& group, uint64_t record) {
  Frame frame;
  const uint64_t type = group.Raw(record, "EtherType");
  frame.Direction = group.Text(record, "Dir");
  frame.Data = group.Bytes(record, "Destination") + group.Bytes(record, "Source") + static_cast<char>(type >> 8) +
               static_cast<char>(type) + group.Bytes(record, "DataBytes");
  EXPECT_EQ(frame.Data.size(), 14 + group.Raw(record, "DataLength"));
  EXPECT_EQ(group.Raw(record, "ReceivedDataByteCount"), group.Raw(record, "DataLength"));
  return frame;
}

Frame CanRemoteFrame(const Group& group, uint64_t record) {
  Frame frame;
  frame.Id = Hex(group.Raw(record, "ID") & 0x1FFFFFFF);
  frame.Direction = group.Text(record, "Dir");
  frame.Flags = Set(group, record, {"IDE"}) + "length " + std::to_string(group.Raw(record, "DLC"));
  return frame;
}

Frame FlexRayOther(const Group& group, uint64_t record) {
  Frame frame;
  frame.Id = Hex(group.Raw(record, "Cycle"));
  if (group.Has("ErrorData")) frame.Flags = std::to_string(group.Bytes(record, "ErrorData")[0]);
  if (group.Has("SymbolType")) frame.Flags = group.Text(record, "SymbolType");
  return frame;
}

Frame Read(const Group& group, uint64_t record) {
  using Reader = Frame (*)(const Group&, uint64_t);
  static const std::map<std::string, Reader, std::less<>> kReaders = {
      {"CAN_DataFrame", CanFrame},        {"CAN_ErrorFrame", CanErrorFrame}, {"FLX_Frame", FlexRayFrame},
      {"FLX_NullFrame", FlexRayFrame},    {"ETH_Frame", EthernetFrame},      {"ETH_ChecksumError", EthernetFrame},
      {"CAN_RemoteFrame", CanRemoteFrame}};
  const auto found = kReaders.find(group.Event);
  const Reader other = group.Event.starts_with("LIN") ? LinFrame : FlexRayOther;
  Frame frame = found != kReaders.end() ? found->second(group, record) : other(group, record);
  frame.Bus = group.Acquisition;
  frame.Event = group.Event;
  frame.Time = group.Raw(record, "t");
  EXPECT_DOUBLE_EQ(group.Physical(record, "t"), static_cast<double>(frame.Time) * 1e-9);
  return frame;
}

/// The frames of all files of a series, those of each group in the order of the files.
std::map<std::string, std::vector<Frame>> ReadSeries(const std::string& name, unsigned int& files) {
  std::map<std::string, std::vector<Frame>> all;
  for (files = 0;; ++files) {
    const std::string path = files == 0 ? name + ".mf4" : name + "_" + std::to_string(files) + ".mf4";
    const std::string bytes = StrictMdfReader::Load(path);
    if (bytes.empty()) return all;
    StrictMdfReader strict(bytes, {true, false, false});
    strict.ReadFile();
    EXPECT_EQ(strict.Report(), "") << path;
    const MdfDecoder decoded(bytes);
    for (const Group& group : decoded.Groups()) {
      auto& frames = all[group.Acquisition + " " + group.Event];
      for (uint64_t record = 0; record < group.Count; ++record) frames.push_back(Read(group, record));
    }
  }
}

// --- into the file ---

struct Sent {
  test::EntryPtr Entry;
  std::vector<Frame> Frames;  // that must come out; the frames of one entry are in one group
};

std::string Direction(bool tx) { return tx ? "Tx" : "Rx"; }

/// What a frame must look like; made from what the test knows, not from the entry.
Sent CanSent(unsigned int channel, unsigned long time, unsigned int id, bool extended, bool fd, unsigned int fdFlags,
             bool tx, const Bytes& data) {
  CanItem item = CanItem().Channel(channel).At(time).Id(id).Data(data);
  std::string flags;
  if (extended) item.Extended(), flags += "IDE ";
  if (fd) item.Fd(), flags += "EDL ";
  if ((fdFlags & 1) != 0) item.Brs(), flags += "BRS ";
  if ((fdFlags & 2) != 0) item.Esi(), flags += "ESI ";
  if (tx) item.Tx();
  return {item.Entry(),
          {{"CAN" + std::to_string(channel), "CAN_DataFrame", time, Hex(id), Direction(tx), flags, Text(data)}}};
}

Sent CanErrorSent(unsigned int channel, unsigned long time) {
  // kind 7, received: 05 00 00 00 21 21 00, lowest byte first
  return {CanItem().Channel(channel).At(time).ErrorFrame(7).Entry(),
          {{"CAN" + std::to_string(channel), "CAN_ErrorFrame", time, "0", "Rx", "212100000005", ""}}};
}

Sent FlexRaySent(unsigned long time, unsigned int code, unsigned int slot, unsigned int cycle, unsigned int flags,
                 unsigned int crc, bool tx, const Bytes& data) {
  FlexRayItem item = FlexRayItem().Channel(1).At(time).Code(code).Slot(slot).Cycle(cycle).HeaderCrc(crc).Data(data);
  item.FrameFlags(flags);
  if (tx) item.Tx();
  std::string text;
  if ((flags & QOR_TRACE_FLEXRAY_NULL) != 0) text += "NullFrameFlag ";
  if ((flags & QOR_TRACE_FLEXRAY_SYNC) != 0) text += "SyncFrameFlag ";
  if ((flags & QOR_TRACE_FLEXRAY_STARTUP) != 0) text += "StartUpFrameFlag ";
  if ((flags & QOR_TRACE_FLEXRAY_INDICATOR) != 0) text += "PayloadPreambleFlag ";
  Sent sent{item.Entry(), {}};
  for (const char* channel : code == 2 ? std::vector{"A", "B"} : code == 1 ? std::vector{"B"} : std::vector{"A"}) {
    sent.Frames.push_back({"FLEX1", "FLX_Frame", time, channel + Hex(slot) + "/" + Hex(cycle), Direction(tx),
                           text + Hex(crc), Text(data)});
  }
  return sent;
}

/// Where the standard convention has a frame, given where the exported one has it.
Frame InStandard(Frame frame) {
  if (frame.Event == "LIN_Wakeup") frame.Event = "LIN_WakeUp";
  if (frame.Event == "LIN_TransmissionError") frame.Direction = "Tx";
  if (frame.Event == "FLX_Frame" && frame.Flags.starts_with("NullFrameFlag")) {
    frame.Event = "FLX_NullFrame";
    frame.Data.clear();
  }
  return frame;
}

/// Writes the entries as a file or a series, reads that back and compares.
void ComesBack(const std::vector<Sent>& sent, unsigned int maxSizeKiB, unsigned int leastFiles,
               BusConvention convention = BusConvention::kExported) {
  const bool standard = convention == BusConvention::kStandard;
  const test::TemporaryDirectory directory;
  {
    MdfFile file("trace", 0, maxSizeKiB);
    ASSERT_TRUE(file.Convention_Set(convention));
    for (unsigned int channel = 1; channel <= 3; ++channel) {
      for (const unsigned char type : Bytes{BusType_Can, BusType_Lin, BusType_FlexRay}) {
        ASSERT_TRUE(file.Bus_Add(channel, type));
      }
      ASSERT_EQ(file.Bus_Add(channel, BusType_Ethernet), standard);
    }
    for (const Sent& one : sent) ASSERT_TRUE(test::Insert(file, one.Entry));
    ASSERT_TRUE(file.File_Close(sent.empty() ? 0 : sent.back().Entry->GetTimestamp()));
  }
  unsigned int files = 0;
  const auto groups = ReadSeries("trace", files);
  EXPECT_GE(files, leastFiles);
  std::map<std::string, size_t> next;
  size_t compared = 0;
  for (const Sent& one : sent) {
    for (const Frame& exported : one.Frames) {
      const Frame frame = standard ? InStandard(exported) : exported;
      const std::string key = frame.Bus + " " + frame.Event;
      const auto group = groups.find(key);
      ASSERT_NE(group, groups.end()) << key;
      ASSERT_LT(next[key], group->second.size()) << key;
      ASSERT_EQ(group->second[next[key]++], frame);
      ++compared;
    }
  }
  size_t found = 0;
  for (const auto& [key, frames] : groups) found += frames.size();
  EXPECT_EQ(found, compared);
}

// --- synthetic entries ---

class RandomTraffic {
 public:
  std::vector<Sent> Next(size_t count) {
    std::vector<Sent> sent;
    while (sent.size() < count) sent.push_back(One());
    return sent;
  }

 private:
  uint64_t Below(uint64_t limit) { return Random() % limit; }
  bool Coin() { return Below(2) == 0; }
  Bytes Data(size_t size) {
    Bytes data(size);
    for (auto& byte : data) byte = static_cast<unsigned char>(Random());
    return data;
  }

  Sent One() {
    Time += Below(1'000'000);
    switch (Below(10)) {
      case 0:
        return CanErrorSent(Channel(), Time);
      case 1:
      case 2:
        return Lin();
      case 3:
        return FlexRaySent(Time, static_cast<unsigned int>(Below(3)), static_cast<unsigned int>(Below(2048)),
                           static_cast<unsigned int>(Below(64)), static_cast<unsigned int>(Below(16)) << 1,
                           static_cast<unsigned int>(Below(2048)), Coin(), Data(2 * Below(128)));
      case 4:
        return Other();
      default:
        return Can();
    }
  }

  Sent Can() {
    static constexpr size_t kSizes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};
    const bool fd = Coin();
    const bool extended = Coin();
    const auto id = static_cast<unsigned int>(Below(extended ? 1U << 29 : 1U << 11));
    return CanSent(Channel(), Time, id, extended, fd, fd ? static_cast<unsigned int>(Below(4)) : 0, Coin(),
                   Data(kSizes[Below(fd ? 16 : 9)]));
  }

  Sent Lin() {
    const auto id = static_cast<unsigned int>(Below(64));
    const Bytes data = Data(Below(9));
    const auto checksum = static_cast<unsigned int>(Below(256));
    const bool tx = Coin();
    LinItem item = LinItem().At(Time).Id(id).Data(data, checksum).BitTime(416'667);
    if (tx) item.Tx();
    const std::string flags = Hex(checksum) + " 19200";
    switch (Below(6)) {
      case 0:
        return {item.ChecksumError().Entry(),
                {{"LIN1", "LIN_ChecksumError", Time, Hex(id), Direction(tx), flags, Text(data)}}};
      case 1:
        return {item.ParityError().Entry(), {{"LIN1", "LIN_ReceiveError", Time, Hex(id), "", "19200", Text(data)}}};
      case 2:
        return {item.SyncError().Entry(), {{"LIN1", "LIN_SyncError", Time, "", "", "19200", ""}}};
      case 3:
        return {item.TransmitError().Entry(), {{"LIN1", "LIN_TransmissionError", Time, Hex(id), "", "19200", ""}}};
      case 4:
        return {item.WakeUp().Entry(), {{"LIN1", "LIN_Wakeup", Time, "", "", "19200", ""}}};
      default:
        return {item.Entry(), {{"LIN1", "LIN_Frame", Time, Hex(id), Direction(tx), flags, Text(data)}}};
    }
  }

  Sent Other() {
    const auto cycle = static_cast<unsigned int>(Below(64));
    FlexRayItem item = FlexRayItem().At(Time);
    switch (Below(5)) {
      case 0:
        return {item.Kind(3).Code(cycle).Entry(), {{"FLEX1", "FLX_StartCycle", Time, Hex(cycle), "", "", ""}}};
      case 1:
        return {item.Kind(4).Entry(), {{"FLEX1", "FLX_State", Time, "0", "", "", ""}}};
      case 2:
        return {item.Kind(6).Entry(), {{"FLEX1", "FLX_Symbol", Time, "0", "", "WUS (Wakeup Symbol)", ""}}};
      case 3:
        return {item.Kind(0).Slot(cycle).Entry(), {{"FLEX1", "FLX_Error", Time, Hex(cycle), "", "6", ""}}};
      default:
        return {item.Kind(static_cast<unsigned int>(7 + Below(4))).Slot(cycle).Entry(),
                {{"FLEX1", "FLX_Error", Time, Hex(cycle), "", "5", ""}}};
    }
  }

  unsigned int Channel() { return static_cast<unsigned int>(1 + Below(3)); }

  unsigned long Time = 0;
  std::mt19937_64 Random{11};
};

TEST(RoundTrip, MadeUpEntriesOfEveryKind) { ComesBack(RandomTraffic().Next(20'000), 0, 1); }

TEST(RoundTrip, MadeUpEntriesInASeries) { ComesBack(RandomTraffic().Next(200'000), 1, 2); }

/// Entries of the kinds that only the standard convention has a place for, among others.
std::vector<Sent> StandardTraffic(size_t count) {
  std::vector<Sent> sent = RandomTraffic().Next(count);
  std::mt19937 random(7);
  for (size_t index = 0; index < sent.size(); index += 3) {
    const unsigned long time = sent[index].Entry->GetTimestamp();
    Bytes frame(14 + random() % 1500);
    for (auto& byte : frame) byte = static_cast<unsigned char>(random());
    test::EthernetItem ethernet = test::EthernetItem().Channel(2).At(time).Frame(frame);
    const bool tx = random() % 2 == 0;
    const bool broken = random() % 4 == 0;
    if (tx) ethernet.Tx();
    if (broken) ethernet.CrcError();
    sent[index] = {ethernet.Entry(),
                   {{"ETH2", broken ? "ETH_ChecksumError" : "ETH_Frame", time, "", Direction(tx), "", Text(frame)}}};
  }
  for (size_t index = 1; index < sent.size(); index += 30) {
    const unsigned long time = sent[index].Entry->GetTimestamp();
    const auto dlc = static_cast<unsigned int>(1 + random() % 8);
    sent[index] = {CanItem().At(time).Id(static_cast<unsigned int>(index % 0x800)).Data({}).Dlc(dlc).Entry(),
                   {{"CAN1", "CAN_RemoteFrame", time, Hex(index % 0x800), "Rx", "length " + std::to_string(dlc), ""}}};
  }
  return sent;
}

TEST(RoundTrip, StandardEntriesOfEveryKind) { ComesBack(StandardTraffic(20'000), 0, 1, BusConvention::kStandard); }

TEST(RoundTrip, StandardEntriesInASeries) { ComesBack(StandardTraffic(100'000), 1, 2, BusConvention::kStandard); }

TEST(RoundTrip, NoEntries) { ComesBack({}, 0, 1); }

// --- recordings ---

const std::string kFolder = QOR_RECORDINGS_DIR;

Bytes FromHex(const std::string& digits) {
  Bytes bytes(digits.size() / 2);
  for (size_t i = 0; i < bytes.size(); ++i) {
    std::from_chars(digits.data() + 2 * i, digits.data() + 2 * i + 2, bytes[i], 16);
  }
  return bytes;
}

/// A line of a candump log: (seconds.microseconds) canN id#data.
Sent CandumpLine(const std::string& line) {
  const unsigned long seconds = std::stoul(line.substr(1));
  const unsigned long micros = std::stoul(line.substr(line.find('.') + 1));
  const unsigned long time = seconds * 1'000'000'000 + micros * 1'000;
  const size_t name = line.find(") ") + 2;
  const size_t blank = line.find(' ', name);
  const unsigned int channel = 1 + static_cast<unsigned int>(line[blank - 1] - '0') % 3;
  const size_t hash = line.find('#');
  const std::string id = line.substr(blank + 1, hash - blank - 1);
  const auto number = static_cast<unsigned int>(std::stoul(id, nullptr, 16));
  if ((number & 0x20000000) != 0) return CanErrorSent(channel, time);
  std::string data = line.substr(hash + 1);
  const bool fd = data.starts_with('#');
  const unsigned int fdFlags = fd ? static_cast<unsigned int>(data[1] - '0') : 0;
  if (fd) data.erase(0, 2);
  if (data.starts_with('R')) data.clear();
  return CanSent(channel, time, number, id.size() == 8, fd, fdFlags, false, FromHex(data));
}

/// The cells of a row of a table: timestamp_ns,channel,kind,flags,id,cycle,crc,data.
std::vector<std::string> Cells(const std::string& row) {
  std::vector<std::string> cells(1);
  for (const char c : row) {
    if (c == ',') {
      cells.emplace_back();
    } else if (c != '\r') {
      cells.back() += c;
    }
  }
  cells.resize(8);
  return cells;
}

Sent FlexRayRow(const std::string& row) {
  const std::vector<std::string> cells = Cells(row);
  unsigned int flags = 0;
  if (cells[3].find("null") != std::string::npos) flags |= QOR_TRACE_FLEXRAY_NULL;
  if (cells[3].find("ppi") != std::string::npos) flags |= QOR_TRACE_FLEXRAY_INDICATOR;
  if (cells[3].find("startup") != std::string::npos) flags |= QOR_TRACE_FLEXRAY_STARTUP;
  if (cells[3].find("sync") != std::string::npos) flags |= QOR_TRACE_FLEXRAY_SYNC;
  return FlexRaySent(std::stoul(cells[0]), cells[1] == "B" ? 1 : 0, static_cast<unsigned int>(std::stoul(cells[4])),
                     static_cast<unsigned int>(std::stoul(cells[5])), flags,
                     static_cast<unsigned int>(std::stoul(cells[6])), false, FromHex(cells.at(7)));
}

unsigned int Number(const std::string& cell) { return cell.empty() ? 0 : static_cast<unsigned int>(std::stoul(cell)); }

Sent LinRow(const std::string& row) {
  const std::vector<std::string> cells = Cells(row);
  const unsigned long time = std::stoul(cells[0]);
  const Bytes data = FromHex(cells[7]);
  LinItem item = LinItem().At(time).Id(Number(cells[4])).Data(data, Number(cells[6])).BitTime(416'667);
  Frame frame{"LIN1", "LIN_Frame", time, Hex(Number(cells[4])), "Rx", Hex(Number(cells[6])) + " 19200", Text(data)};
  if (cells[2] == "checksum_error") {
    item.ChecksumError();
    frame.Event = "LIN_ChecksumError";
  } else if (cells[2] == "parity_error") {
    item.ParityError();
    frame = {"LIN1", "LIN_ReceiveError", time, frame.Id, "", "19200", frame.Data};
  } else if (cells[2] != "frame") {  // without a response there is as little to record as without a sync field
    item.SyncError();
    frame = {"LIN1", "LIN_SyncError", time, "", "", "19200", ""};
  }
  return {item.Entry(), {frame}};
}

std::vector<Sent> Load(const std::string& name) {
  std::ifstream file(kFolder + "/" + name);
  const auto read = name.starts_with("can") ? CandumpLine : name.starts_with("lin") ? LinRow : FlexRayRow;
  std::vector<Sent> sent;
  std::string line;
  if (name.ends_with(".csv")) std::getline(file, line);
  while (std::getline(file, line)) {
    if (!line.empty()) sent.push_back(read(line));
  }
  return sent;
}

class RecordingRoundTrip : public ::testing::TestWithParam<std::string> {};

TEST_P(RecordingRoundTrip, ComesBackFrameByFrame) {
  const std::vector<Sent> sent = Load(GetParam());
  if (sent.empty()) GTEST_SKIP() << "no recording " << GetParam() << " in " << kFolder;
  ComesBack(sent, 0, 1);
}

TEST_P(RecordingRoundTrip, ComesBackInTheStandardConvention) {
  std::vector<Sent> sent = Load(GetParam());
  if (sent.empty()) GTEST_SKIP() << "no recording " << GetParam() << " in " << kFolder;
  ComesBack(sent, 0, 1, BusConvention::kStandard);
}

TEST_P(RecordingRoundTrip, ComesBackFromASeries) {
  const std::vector<Sent> sent = Load(GetParam());
  if (sent.empty()) GTEST_SKIP() << "no recording " << GetParam() << " in " << kFolder;
  ComesBack(sent, 2049, 2);  // the first frame has a file of its own
}

INSTANTIATE_TEST_SUITE_P(Files, RecordingRoundTrip,
                         ::testing::Values("can/icsim-sample.log", "can/css-11111111-12.log",
                                           "can/css-17BD1DB7-170.log", "can/css-2F6913DB-1.log",
                                           "can/css-94C49784-2.log", "can/savvycan-gvret.log",
                                           "can/ecubus-errorframes.log", "can/uds-scanner.log", "can/canfd-std.log",
                                           "flexray/vehicle-first-half.csv", "flexray/bench-coldstart.csv",
                                           "lin/stress.csv", "lin/burst.csv"),
                         [](const auto& row) {
                           std::string name = row.param;
                           std::replace_if(
                               name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
                           return name;
                         });

}  // namespace
