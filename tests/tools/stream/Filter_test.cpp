// What expressions match. Every expression is put to one record of each sort, so that each row also says what doesn't match.
#include "stream/Filter.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "stream/FilterError.h"
#include "support/EntryBuilder.h"

namespace client {
namespace {

using test::Bytes;

struct Sample {
  const char* Name;
  test::Record Record;

  template <class Item>
  Sample(const char* name, const Item& item) : Name(name), Record(*item.Entry()) {}
  Sample(const char* name, test::Record record) : Name(name), Record(std::move(record)) {}

  [[nodiscard]] RecordView View() const { return {Record.Data(), static_cast<unsigned int>(Record.Length())}; }
};

Bytes operator+(Bytes front, const Bytes& back) {
  front.insert(front.end(), back.begin(), back.end());
  return front;
}

// 192.168.1.10:30490 to 10.0.0.2:5000
const Bytes kAddresses = {0x02, 0, 0, 0, 0, 0x01, 0x02, 0, 0, 0, 0, 0x0A};
const Bytes kUdp = {0x45, 0, 0,  28, 0, 0, 0, 0,    64,   17,   0,    0, 192,
                    168,  1, 10, 10, 0, 0, 2, 0x77, 0x1A, 0x13, 0x88, 0, 8};
const Bytes kUdpWithOptions =
    Bytes{0x46, 0, 0, 32, 0, 0, 0, 0, 64, 17, 0, 0, 192, 168, 1, 11, 10, 0, 0, 3, 1, 1, 1, 1} +
    Bytes{0x77, 0x1A, 0x13, 0x89, 0, 8};
const Bytes kSecondFragment =
    Bytes{0x45, 0, 0, 28, 0, 0, 0, 1, 64, 17, 0, 0, 192, 168, 1, 12, 10, 0, 0, 4} + Bytes{0x77, 0x1A, 0x13, 0x88};
const Bytes kTcpOverIpv6 = Bytes{0x60, 0, 0, 0, 0, 4, 6, 64} + Bytes(32, 0xFD) + Bytes{0, 80, 0x77, 0x1A};

const std::vector<Sample>& Samples() {
  using test::CanItem, test::LinItem, test::FlexRayItem, test::EthernetItem;
  static const std::vector<Sample> samples = {
      {"can", CanItem().Id(0x123).Data({1, 2, 3, 4, 5, 6, 7, 8})},
      {"canx", CanItem().Channel(2).Id(0x18FE0102).Extended().Tx().Data({0xFF, 0x80, 0x00})},
      {"fd", CanItem().Id(0x456).Fd().Brs().Esi().Data(test::Counting(12))},
      {"remote", CanItem().Id(0x7FF).Dlc(4)},
      {"can_overrun", CanItem().Id(0).Overrun()},
      {"can_error", CanItem().Id(0x123).ErrorFrame(3)},
      {"can_event", CanItem().RisingEdge()},
      {"lin", LinItem().Channel(3).Id(0x61).Data({0xAA, 0xBB}, 0x99)},
      {"lin_silent", LinItem().Channel(3).Id(0x21).DataLength(0)},
      {"lin_wakeup", LinItem().Channel(3).WakeUp()},
      {"lin_parity", LinItem().Channel(3).Id(0x21).ParityError().ChecksumError().Data({1}, 2)},
      {"lin_sync", LinItem().Channel(3).SyncError().Data({1}, 2)},
      {"lin_checksum", LinItem().Channel(3).ChecksumError().Data({1}, 2)},
      {"lin_transmit", LinItem().Channel(3).TransmitError().Data({1}, 2)},
      {"lin_event", LinItem().Channel(3).Event().Id(1)},
      {"fr", FlexRayItem()
                 .Channel(4)
                 .Slot(17)
                 .Cycle(5)
                 .FrameFlags(QOR_TRACE_FLEXRAY_SYNC | QOR_TRACE_FLEXRAY_STARTUP)
                 .Data({1, 2, 3, 4})},
      {"fr_b",
       FlexRayItem().Channel(4).Tx().Code(1).Slot(18).Cycle(6).FrameFlags(QOR_TRACE_FLEXRAY_INDICATOR).Data({5, 6})},
      {"fr_null",
       FlexRayItem().Channel(4).Code(2).Slot(2047).Cycle(63).FrameFlags(QOR_TRACE_FLEXRAY_NULL).Data({1, 2})},
      {"fr_cycle", FlexRayItem().Channel(4).Kind(3).Code(6)},
      {"fr_state", FlexRayItem().Channel(4).Kind(4).Code(1)},
      {"fr_status", FlexRayItem().Channel(4).Kind(5)},
      {"fr_symbol", FlexRayItem().Channel(4).Kind(6).Code(0)},
      {"fr_error", FlexRayItem().Channel(4).Kind(8).Slot(63).EventCode(1)},
      {"fr_overrun", FlexRayItem().Channel(4).Kind(0)},
      {"udp", EthernetItem().Channel(5).Frame(kAddresses + Bytes{0x08, 0x00} + kUdp)},
      {"vlan",
       EthernetItem().Channel(5).Frame(kAddresses + Bytes{0x81, 0x00, 0x20, 0x05, 0x08, 0x00} + kUdpWithOptions)},
      {"qinq", EthernetItem().Channel(5).Frame(kAddresses + Bytes{0x88, 0xA8, 0, 7, 0x81, 0, 0, 5, 0x08, 0x00} +
                                               kSecondFragment)},
      {"tcp6", EthernetItem().Channel(5).Tx().Frame(kAddresses + Bytes{0x86, 0xDD} + kTcpOverIpv6)},
      {"arp", EthernetItem().Channel(5).Frame(Bytes(6, 0xFF) + Bytes{0x02, 0, 0, 0, 0, 0x0A, 0x08, 0x06, 0, 1})},
      {"llc", EthernetItem().Channel(5).CrcError().Frame(
                  Bytes{0x01, 0x80, 0xC2, 0, 0, 0, 0x02, 0, 0, 0, 0, 0x0A, 0, 3, 0x42})},
      {"short", EthernetItem().Channel(5).Frame({1, 2, 3})},
      {"custom", EthernetItem().Channel(5).Kind(2).Frame(kAddresses + Bytes{0x08, 0x00} + kUdp)},
      {"cut", test::Record(*CanItem().Id(0x123).Data({1}).Entry()).CutTo(40)},
      {"unknown_bus", test::Record(*CanItem().Id(0x123).Data({1}).Entry()).Put<unsigned char>(24, 9)},
      {"cut_data", test::Record(*CanItem().Id(0x124).Data({1, 2, 3, 4}).Entry()).CutTo(46)},
  };
  return samples;
}

/// The samples that match, by name.
std::string Matching(const std::string& expression) {
  const Filter filter(expression);
  std::string names;
  for (const Sample& sample : Samples()) {
    if (filter.Matches(sample.View())) names += (names.empty() ? "" : " ") + std::string(sample.Name);
  }
  return names;
}

/// All samples but these.
std::string AllBut(const std::string& left) {
  std::string names;
  for (const Sample& sample : Samples()) {
    if ((" " + left + " ").find(" " + std::string(sample.Name) + " ") != std::string::npos) continue;
    names += (names.empty() ? "" : " ") + std::string(sample.Name);
  }
  return names;
}

struct Case {
  const char* Expression;
  std::string Names;
};

void ExpectAll(const std::vector<Case>& cases) {
  for (const Case& c : cases) EXPECT_EQ(Matching(c.Expression), c.Names) << c.Expression;
}

const char* const kCan = "can canx fd remote can_overrun can_error can_event cut cut_data";
const char* const kLin = "lin lin_silent lin_wakeup lin_parity lin_sync lin_checksum lin_transmit lin_event";
const char* const kFlexRay = "fr fr_b fr_null fr_cycle fr_state fr_status fr_symbol fr_error fr_overrun";
const char* const kEthernet = "udp vlan qinq tcp6 arp llc short custom";
// Of no kind: they have few fields.
const std::string kNoKind = "fr_overrun cut unknown_bus";

TEST(Filter, FieldsOfAnyBus) {
  ExpectAll({
      {"bus == can", kCan},
      {"bus == lin", kLin},
      {"bus == flexray", kFlexRay},
      {"bus == ethernet", kEthernet},
      {"bus != can", AllBut(kCan)},
      {"bus in lin, flexray and not kind == malformed", std::string(kLin) + " " + kFlexRay},
      {"bus not in can, lin, flexray, ethernet", "unknown_bus"},
      {"channel == 2", "canx"},
      {"channel >= 4", std::string(kFlexRay) + " " + kEthernet},
      {"channel in 2..3", std::string("canx ") + kLin},
      {"dir == tx", "canx lin_transmit fr_b tcp6"},
      {"dir == rx", AllBut("canx lin_transmit fr_b tcp6 " + kNoKind)},
      {"dir != tx", AllBut("canx lin_transmit fr_b tcp6 " + kNoKind)},
      {"not dir == tx", AllBut("canx lin_transmit fr_b tcp6")},
      {"len == 8", "can"},
      {"len == 0", "remote can_overrun lin_silent"},
      {"len > 20", "udp vlan qinq tcp6"},
      {"len == 3", "canx short"},
      {"len == 4 and data[1] == 2", "fr cut_data"},
      {"overrun", "can_overrun fr_overrun"},
  });
}

TEST(Filter, KindsAreSetsOfWhatTheListShows) {
  ExpectAll({
      {"kind == frame", "can canx fd remote can_overrun lin fr fr_b fr_null udp vlan qinq tcp6 arp llc short cut_data"},
      {"frame", "can canx fd remote can_overrun lin fr fr_b fr_null udp vlan qinq tcp6 arp llc short cut_data"},
      {"kind == error", "can_error lin_parity lin_sync lin_checksum lin_transmit fr_error llc"},
      {"error", "can_error lin_parity lin_sync lin_checksum lin_transmit fr_error llc"},
      {"kind == event", "can_event lin_event"},
      {"event", "can_event lin_event"},
      {"kind == classic", "can canx remote can_overrun cut_data"},
      {"kind == fd", "fd"},
      {"kind == no_response", "lin_silent"},
      {"kind == wakeup", "lin_wakeup"},
      {"kind == checksum_error", "lin_checksum"},
      {"kind == parity_error", "lin_parity"},
      {"kind == sync_error", "lin_sync"},
      {"kind == transmit_error", "lin_transmit"},
      {"kind == null", "fr_null"},
      {"kind == cycle", "fr_cycle"},
      {"kind == state", "fr_state"},
      {"kind == symbol", "fr_symbol"},
      {"kind == status", "fr_status"},
      {"kind == crc_error", "llc"},
      {"kind == record", "custom"},
      {"kind == overrun", "fr_overrun"},
      {"kind == malformed", "cut unknown_bus"},
      {"kind != frame and bus == lin", "lin_silent lin_wakeup lin_parity lin_sync lin_checksum lin_transmit lin_event"},
      {"kind in null, cycle", "fr_null fr_cycle"},
      {"kind not in frame, error, event and bus == can", "cut"},
  });
}

TEST(Filter, FieldsOfCanAndLin) {
  ExpectAll({
      {"id == 0x123", "can can_error"},
      {"id == 291", "can can_error"},
      {"id == 0b100100011", "can can_error"},
      {"id == 0x18FE0102", "canx"},
      {"id == 0x456", "fd"},                        // without the marker bits
      {"id == 0x21", "lin lin_silent lin_parity"},  // without the parity bits
      {"id == 0", "can_overrun lin_sync lin_checksum lin_transmit"},
      {"id < 0x21", "can_overrun lin_sync lin_checksum lin_transmit"},
      {"id <= 0x21 and bus == lin", "lin lin_silent lin_parity lin_sync lin_checksum lin_transmit"},
      {"id > 0x7fe", "canx remote"},
      {"id >= 0x7ff", "canx remote"},
      {"id in 0x100..0x1FF", "can can_error cut_data"},
      {"id in 0x100..0x123, 0x124..0x456, 0x7FF", "can fd remote can_error cut_data"},
      {"id in (0x7FF, 0x456)", "fd remote"},
      {"id & 0x7F0 == 0x120", "can can_error cut_data"},
      {"id & 0x700 in 0x400..0x700", "fd remote"},
      {"id & 0x10000000", "canx"},
      {"dlc == 9", "fd"},
      {"dlc == 4", "remote cut_data"},
      {"extended", "canx"},
      {"fd", "fd"},
      {"brs", "fd"},
      {"esi", "fd"},
      {"remote", "remote"},
      {"parity_error", "lin_parity"},
      {"checksum_error", "lin_parity lin_checksum"},  // the flag itself, whatever comes first
      {"sync_error", "lin_sync"},
      {"transmit_error", "lin_transmit"},
      {"wakeup", "lin_wakeup"},
  });
}

TEST(Filter, DataAreTheBytesThatTheRecordHas) {
  ExpectAll({
      {"data[0] == 1 and bus == can", "can fd cut_data"},
      {"data[7]", "can fd udp vlan qinq tcp6 arp llc"},
      {"data[0] == 0xAA", "lin"},
      {"data[2] == 0x99", ""},  // the checksum isn't data
      {"data[0..1] == 0x0102 and bus == flexray", "fr"},
      {"data[1..0] == 0x0201 and bus == flexray", "fr"},
      {"data[0..7] == 0x0102030405060708", "can fd"},
      {"data[7..0] == 0x0807060504030201", "can fd"},
      {"data[0] & 0x80 and bus == can", "canx"},
      {"data[1] & 0x0F == 2 and bus in can, flexray", "can fd fr cut_data"},
      {"data[0] == 3 and bus == can", "can_error"},  // the error code
      {"data[2] and id == 0x124", ""},               // announced, but cut off
      {"data[12] == 0x08", "udp arp"},
      {"kind == null and data[0]", ""},
  });
}

TEST(Filter, FieldsOfFlexRay) {
  ExpectAll({
      {"slot == 17", "fr"},
      {"slot in 18..2047", "fr_b fr_null"},
      {"slot", "fr fr_b fr_null"},
      {"cycle == 6", "fr_b fr_cycle"},
      {"cycle == 63", "fr_null fr_error"},
      {"cycle & 1 == 0", "fr_b fr_cycle"},
      {"side == a", "fr fr_symbol"},
      {"side == b", "fr_b fr_error"},
      {"side == ab", "fr_null"},
      {"side in a, ab", "fr fr_null fr_symbol"},
      {"side != a", "fr_b fr_null fr_error"},
      {"null", "fr_null"},
      {"sync", "fr"},
      {"startup", "fr"},
      {"preamble", "fr_b"},
      {"len == 2 and bus == flexray", "fr_b fr_null"},
  });
}

TEST(Filter, FieldsOfEthernet) {
  ExpectAll({
      {"dst == 02:00:00:00:00:01", "udp vlan qinq tcp6"},
      {"dst == 02-00-00-00-00-01", "udp vlan qinq tcp6"},
      {"src == 02:00:00:00:00:0A", "udp vlan qinq tcp6 arp llc"},
      {"src == 02:00:00:00:00:0a and dst != broadcast", "udp vlan qinq tcp6 llc"},
      {"dst & 01:00:00:00:00:00", "arp llc"},
      {"dst in 01:80:c2:00:00:00..01:80:c2:00:00:0f", "llc"},
      {"vlan", "vlan qinq"},
      {"vlan == 5", "vlan qinq"},
      {"vlan == 7", "qinq"},
      {"vlan != 5", ""},
      {"vlan != 7", "vlan"},
      {"vlan not in 6..9", "vlan"},
      {"ethertype == 0x800", "udp vlan qinq"},
      {"ethertype == ipv4", "udp vlan qinq"},
      {"ethertype in arp, ipv6", "tcp6 arp"},
      {"ethertype == 3", ""},  // a length
      {"frame and bus == ethernet and not ethertype", "llc short"},
      {"crc_error", "llc"},
      {"protocol == udp", "udp vlan qinq"},
      {"protocol == 6", "tcp6"},
      {"ip == 192.168.1.10", "udp"},
      {"ip == 10.0.0.0/8", "udp vlan qinq"},
      {"src_ip == 192.168.1.0/28", "udp vlan qinq"},
      {"src_ip in 192.168.1.11..192.168.1.12", "vlan qinq"},
      {"dst_ip == 192.168.1.10", ""},
      {"dst_ip & 0.0.0.1", "vlan"},
      {"ip != 10.0.0.2", "vlan qinq"},  // neither end
      {"port == 30490", "udp vlan tcp6"},
      {"src_port == 30490", "udp vlan"},
      {"dst_port in 5000, 30490", "udp tcp6"},
  });
}

TEST(Filter, ARecordWithoutTheFieldFailsEveryComparisonAndPassesItsNegation) {
  const std::string haveId =
      "can canx fd remote can_overrun can_error lin lin_silent lin_parity lin_sync lin_checksum lin_transmit cut_data";
  ExpectAll({
      {"id", haveId},
      {"id >= 0", haveId},
      {"id == 0x123 or id != 0x123", haveId},
      {"not id", AllBut(haveId)},
      {"id != 0x123 and bus == ethernet", ""},
      {"not id == 0x123 and bus == ethernet", kEthernet},
      {"not (id != 0x123) and bus == ethernet", kEthernet},
  });
}

TEST(Filter, NotBindsBeforeAndBeforeOr) {
  ExpectAll({
      {"id == 0x456 or id == 0x123 and error", "fd can_error"},
      {"(id == 0x456 or id == 0x123) and error", "can_error"},
      {"not fd and id in 0x123, 0x456", "can can_error"},
      {"not (fd or id == 0x123) and id in 0x123, 0x456, 0x7ff", "remote"},
      {"! fd && id == 0x456 || id == 0x7ff", "remote"},
      {"NOT NOT fd", "fd"},
      {"Bus == CAN AND Id IN 0x100..0x122 OR FD", "fd"},
      {"\t(\nfd\r)", "fd"},
      {"not(fd)and bus==can and id>=0x7ff", "canx remote"},
  });
}

TEST(Filter, RangesMayOverlapAndComeInAnyOrder) {
  std::string expression = "id in 0x7ff";
  for (int id = 0x200; id > 0x100; id -= 2) expression += ", " + std::to_string(id) + ".." + std::to_string(id + 1);
  EXPECT_EQ(Matching(expression), "can remote can_error cut_data");
  EXPECT_EQ(Matching("id in 0..0xfff, 0x10..0x20, 0x456"), Matching("id <= 0xfff"));
  EXPECT_EQ(Matching("data[7..0] in 0..0xffffffffffffffff, 5 and bus == can"), "can fd");
}

TEST(Filter, LongExpressionsOfAnyShape) {
  std::string many = "fd";
  while (many.size() + 20 < kMostFilterLetters) many += " or (id == 0x7FF)";
  EXPECT_EQ(Matching(many), "fd remote");
  EXPECT_EQ(Matching(std::string(kMostFilterDepth, '(') + "fd" + std::string(kMostFilterDepth, ')')), "fd");
  std::string negations;
  for (int i = 0; i < 10000; ++i) negations += "not ";
  EXPECT_EQ(Matching(negations + "fd"), "fd");
}

TEST(Filter, NothingIsReadPastTheEndOfARecord) {
  const std::vector<const char*> expressions = {"id == 5",
                                                "data[0] == 1",
                                                "data[0..7] == 5",
                                                "data[40] == 1",
                                                "len > 3",
                                                "dlc == 1",
                                                "slot == 1",
                                                "cycle == 1",
                                                "side == a",
                                                "src == 02:00:00:00:00:01",
                                                "vlan == 1",
                                                "ethertype == arp",
                                                "port == 1",
                                                "ip == 1.2.3.4",
                                                "remote",
                                                "overrun",
                                                "error",
                                                "checksum_error",
                                                "null",
                                                "crc_error"};
  for (const Sample& sample : Samples()) {
    for (size_t length = RecordView::kHeader; length <= sample.Record.Length(); ++length) {
      const test::Record cut = test::Record(sample.Record).CutTo(length);
      for (const char* expression : expressions) {
        const RecordView view(cut.Data(), static_cast<unsigned int>(length));
        const bool matches = Filter(expression).Matches(view);
        EXPECT_NE(Filter("not (" + std::string(expression) + ")").Matches(view), matches);
      }
    }
  }
}

TEST(Filter, EveryFieldIsKnownByItsName) {
  for (size_t field = 0; field < kRecordFieldCount; ++field) {
    const FieldDescription& description = Describe(static_cast<RecordField>(field));
    EXPECT_EQ(FieldNamed(description.Name), static_cast<RecordField>(field)) << description.Name;
  }
  EXPECT_EQ(FieldNames().size(), kRecordFieldCount);
}

}  // namespace
}  // namespace client
