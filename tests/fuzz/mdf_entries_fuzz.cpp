// Records of any bytes through MdfFile: the same records make the same file, a strict reader accepts it, and it holds
// as many records as were taken.
//
// Input: which buses (2; bit 15: the standard convention), then records: length (2), bytes; a length above 32767 is a flush.
#include <array>

#include "Input.h"
#include "mdf/File.h"
#include "support/StrictMdfReader.h"
#include "support/TemporaryDirectory.h"

namespace {

using fuzz::Input;
using fuzz::Require;
using test::Bytes;

constexpr unsigned int kStandard = 0x8000;
constexpr std::array<unsigned char, 4> kBuses = {BusType_Can, BusType_Lin, BusType_FlexRay, BusType_Ethernet};
constexpr unsigned int kChannels = 1;  // of each bus; more are slow

/// Takes a record of whatever bytes there are, on one of the channels, as often as not of one of the buses.
test::Record TakeRecord(Input& input, size_t length) {
  Bytes bytes = input.TakeBytes(length);
  bytes.resize(std::max<size_t>(bytes.size(), 28));
  bytes[4] = static_cast<unsigned char>(1 + bytes[4] % kChannels);
  bytes[5] = bytes[6] = bytes[7] = 0;
  return test::Record(bytes);
}

/// True for an entry that the standard convention takes without a record.
bool IsEventAlone(const RecordView& entry) {
  const unsigned char bus = entry.Bus();
  if (bus == BusType_Can) return entry.Can().Kind() == RecordKind::CanEvent;
  if (bus == BusType_Lin) return entry.Lin().Kind() == RecordKind::LinEvent;
  return bus == BusType_Ethernet && entry.Ethernet().Kind() == RecordKind::OverrunMark;
}

/// The records that an accepted entry makes: a FlexRay frame one on each of its channels, which may be none.
unsigned long RecordsOf(const Qor_Trace_Entry_t& entry, bool standard) {
  if (standard && IsEventAlone(entry)) return 0;
  Qor_Trace_Entry_FlexRay_t flexRay{};
  const size_t header = offsetof(Qor_Trace_Entry_t, Payload);
  if (entry.BusType != BusType_FlexRay) return 1;
  std::memcpy(&flexRay, &entry.Payload, std::min<size_t>(entry.Length - header, sizeof flexRay));
  const bool frame =
      flexRay.ItemType == QOR_TRACE_FLEXRAY_RECEIVED || flexRay.ItemType == QOR_TRACE_FLEXRAY_TRANSMITTED;
  constexpr unsigned char kBoth = 2;
  return !frame || flexRay.Channel < kBoth ? 1 : flexRay.Channel == kBoth ? 2 : 0;
}

/// Writes a file; returns how many records it holds.
unsigned long Write(const char* name, Input input) {
  MdfFile file(name, 1'700'000'000'000'000'000);
  const auto wanted = input.Take<std::uint16_t>();
  const bool standard = (wanted & kStandard) != 0;
  if (standard) Require(file.Convention_Set(BusConvention::kStandard), "the convention is chosen");
  for (unsigned int place = 0; place < kChannels * kBuses.size(); ++place) {
    if ((wanted >> place & 1) == 0) continue;
    const unsigned char type = kBuses[place / kChannels];
    const bool known = standard || type != BusType_Ethernet;
    Require(file.Bus_Add(1 + place % kChannels, type) == known, "a bus is added");
  }
  unsigned long taken = 0, last = 0;
  while (input.Left() > 0) {
    const auto length = input.Take<std::uint16_t>();
    if (length >= 0x8000) {
      Require(file.File_FlushData(), "a flush works");
      continue;
    }
    test::Record record = TakeRecord(input, length);
    if (!file.Data_Insert(const_cast<Qor_Trace_Entry_t&>(record.Get()))) continue;
    taken += RecordsOf(record.Get(), standard);
    last = record.Get().Timestamp;
  }
  unsigned long counted = 0;
  for (unsigned int channel = 1; channel <= kChannels; ++channel) {
    for (const unsigned char bus : kBuses) counted += file.Bus_Cycles(channel, bus);
  }
  Require(counted == taken, "the buses count the records of the entries that were taken");
  Require(file.File_Close(last), "the file is closed");
  return taken;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::TemporaryDirectory directory;
  const unsigned long taken = Write("first", {data, size});
  const std::string file = StrictMdfReader::Load("first.mf4");
  StrictMdfReader reader(file, {.Records = true});
  reader.ReadFile();
  Require(reader.Report().empty(), reader.Report().c_str());
  Require(reader.Finalized(), "a closed file is finalized");
  Require(Write("second", {data, size}) == taken, "the same records are taken again");
  Require(StrictMdfReader::Load("second.mf4") == file, "the same records give the same bytes");
  return 0;
}
