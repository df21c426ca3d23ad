#include "outputs/RowComposer.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "stream/RecordFields.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

constexpr const char* kId = "5c0d2f0e-96a1-3b7c-41f2-8d8e5a0b9c11";
const RowOrigin kOrigin{kId, {.Start = 1000, .Utc = 1'795'262'400'000'000'000}};

std::string RowOf(RowFormat format, const Bytes& record, const RowOrigin& origin = kOrigin) {
  std::vector<char> row(RowComposer::Room(ViewOf(record)));
  const RowComposer rows(format);
  return {row.data(), rows.Compose(row.data(), ViewOf(record), origin)};
}

nlohmann::json JsonOf(const Bytes& record) { return nlohmann::json::parse(RowOf(RowFormat::Ndjson, record)); }

std::vector<std::string> Split(std::string line) {
  EXPECT_TRUE(line.ends_with('\n'));
  line.pop_back();
  std::vector<std::string> cells(1);
  for (const char letter : line) {
    if (letter == ',')
      cells.emplace_back();
    else
      cells.back() += letter;
  }
  return cells;
}

/// One record of every sort, whole ones and odd ones.
std::vector<Bytes> AllSorts() {
  std::vector<Bytes> records = {
      RecordOf(test::CanItem().Id(0x123).Data({1, 2})),
      RecordOf(test::CanItem().Id(0x18FE0102).Extended().Fd().Brs().Esi().Tx().Data(Bytes(64, 0xAB))),
      RecordOf(test::CanItem().ErrorFrame(3)),
      RecordOf(test::CanItem().RisingEdge()),
      RecordOf(test::CanItem().Dlc(8)),
      RecordOf(test::LinItem().Id(5).Data({1, 2, 3}, 0xF9)),
      RecordOf(test::LinItem().ParityError().ChecksumError()),
      RecordOf(test::LinItem().WakeUp()),
      RecordOf(test::LinItem().Event()),
      RecordOf(test::EthernetItem().Frame(Bytes(60, 1))),
      RecordOf(test::EthernetItem().CrcError().Frame(Bytes(9, 1))),
      RecordOf(test::EthernetItem().Kind(2).Frame({1, 2})),
      RecordOf(test::EthernetItem().Kind(0)),
  };
  for (unsigned int kind = 0; kind < 12; ++kind)
    records.push_back(RecordOf(test::FlexRayItem().Kind(kind).Slot(17).Cycle(4).Data({1, 2, 3, 4})));
  Bytes odd = records.front();
  odd[24] = 9;  // an unknown bus
  records.push_back(odd);
  odd = records.front();
  odd.resize(30);
  records.push_back(odd);
  return records;
}

TEST(RowComposer, ACanFrameInCsv) {
  EXPECT_EQ(RowOf(RowFormat::Csv,
                  RecordOf(test::CanItem().Channel(2).At(1500).Id(0x18FE0102).Extended().Tx().Data({0x01, 0xA0}))),
            "1,1795262400000000500,1500,5c0d2f0e-96a1-3b7c-41f2-8d8e5a0b9c11,2,can,classic,tx,419299586,2,x01a0,"
            "true,false,false,false,,"            // frame, error, event, overrun, error_kind
            "2,true,false,false,false,false,"     // dlc, extended, fd, brs, esi, remote
            "-1,false,false,false,false,false,"   // LIN
            "-1,-1,,-1,false,false,false,false,"  // FlexRay
            ",,-1,-1,-1,,,-1,-1,false,"           // Ethernet
            ",1500,0\n");                         // a loss
}

TEST(RowComposer, AnEthernetFrameInNdjson) {
  const Bytes frame = {2, 0, 0, 0, 0,  1, 2, 0,  0, 0, 0, 0xFF, 0x81, 0x00, 0xA0, 0x05, 0x08, 0x00, 0x45, 0, 0, 28, 0,
                       0, 0, 0, 1, 17, 0, 0, 10, 0, 0, 1, 192,  168,  1,    255,  0x77, 0x1A, 0x00, 0x50, 0, 8, 0,  0};
  const auto row = JsonOf(RecordOf(test::EthernetItem().At(1000).Frame(frame)));
  EXPECT_EQ(row["utc_ns"], 1'795'262'400'000'000'000);
  EXPECT_EQ(row["bus"], "ethernet");
  EXPECT_EQ(row["kind"], "frame");
  EXPECT_EQ(row["dst"], "02:00:00:00:00:01");
  EXPECT_EQ(row["src"], "02:00:00:00:00:ff");
  EXPECT_EQ(row["vlan"], 5);
  EXPECT_EQ(row["ethertype"], 0x0800);
  EXPECT_EQ(row["protocol"], 17);
  EXPECT_EQ(row["src_ip"], "10.0.0.1");
  EXPECT_EQ(row["dst_ip"], "192.168.1.255");
  EXPECT_EQ(row["src_port"], 30490);
  EXPECT_EQ(row["dst_port"], 80);
  EXPECT_EQ(row["id"], -1);
  EXPECT_EQ(row["data"].get<std::string>().substr(0, 13), "x020000000001");
}

TEST(RowComposer, AFlexRayFrameAndAState) {
  const auto frame = JsonOf(RecordOf(
      test::FlexRayItem().Tx().Code(1).Slot(2047).Cycle(63).FrameFlags(QOR_TRACE_FLEXRAY_SYNC).Data({0xFF, 0})));
  EXPECT_EQ(frame["slot"], 2047);
  EXPECT_EQ(frame["cycle"], 63);
  EXPECT_EQ(frame["side"], "b");
  EXPECT_EQ(frame["dir"], "tx");
  EXPECT_EQ(frame["sync"], true);
  EXPECT_EQ(frame["startup"], false);
  EXPECT_EQ(frame["data"], "xff00");
  EXPECT_EQ(frame["state"], -1);
  const auto state = JsonOf(RecordOf(test::FlexRayItem().Kind(4).Code(3)));
  EXPECT_EQ(state["kind"], "state");
  EXPECT_EQ(state["state"], 3);
  EXPECT_EQ(state["data"], "");
}

TEST(RowComposer, ErrorsSayWhich) {
  const std::vector<std::pair<Bytes, const char*>> errors = {
      {RecordOf(test::CanItem().ErrorFrame(1)), "stuff"},
      {RecordOf(test::CanItem().ErrorFrame(2)), "form"},
      {RecordOf(test::CanItem().ErrorFrame(3)), "ack"},
      {RecordOf(test::CanItem().ErrorFrame(4)), "bit1"},
      {RecordOf(test::CanItem().ErrorFrame(5)), "bit0"},
      {RecordOf(test::CanItem().ErrorFrame(6)), "crc"},
      {RecordOf(test::CanItem().ErrorFrame(7)), "other"},
      {RecordOf(test::LinItem().ChecksumError()), "checksum"},
      {RecordOf(test::LinItem().ParityError()), "parity"},
      {RecordOf(test::LinItem().SyncError()), "sync"},
      {RecordOf(test::LinItem().TransmitError()), "transmit"},
      {RecordOf(test::FlexRayItem().Kind(7)), "nit_syntax"},
      {RecordOf(test::FlexRayItem().Kind(8)), "syntax"},
      {RecordOf(test::FlexRayItem().Kind(9)), "nit_boundary"},
      {RecordOf(test::FlexRayItem().Kind(10)), "content"},
      {RecordOf(test::EthernetItem().CrcError().Frame({1})), "crc"},
      {RecordOf(test::CanItem().Data({1})), ""},
  };
  for (const auto& [record, word] : errors) {
    const auto row = JsonOf(record);
    EXPECT_EQ(row["error_kind"], word);
    EXPECT_EQ(row["error"], *word != '\0') << word;
  }
}

TEST(RowComposer, AnOverrunMarkIsTheKindWhereItHasTakenItsPlace) {
  EXPECT_EQ(JsonOf(RecordOf(test::FlexRayItem().Kind(0)))["kind"], "overrun");
  const auto can = JsonOf(RecordOf(test::CanItem().Overrun().Data({1})));
  EXPECT_EQ(can["kind"], "classic");
  EXPECT_EQ(can["overrun"], true);
}

TEST(RowComposer, EveryRowHasEveryColumnAndEveryColumnOneType) {
  const auto names = Split(RowComposer(RowFormat::Csv).Header());
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
  const auto types = JsonOf(AllSorts().front());
  for (const Bytes& record : AllSorts()) {
    const auto row = JsonOf(record);
    EXPECT_EQ(row.size(), names.size());
    const auto cells = Split(RowOf(RowFormat::Csv, record));
    ASSERT_EQ(cells.size(), names.size());
    for (size_t place = 0; place < names.size(); ++place) {
      const auto& value = row[names[place]];
      const auto& type = types[names[place]];
      EXPECT_TRUE(value.is_boolean() == type.is_boolean() && value.is_string() == type.is_string() &&
                  value.is_number_integer() == type.is_number_integer())
          << names[place] << " " << value;
      EXPECT_EQ(value.is_string() ? value.get<std::string>() : value.dump(), cells[place]) << names[place];
    }
  }
}

TEST(RowComposer, EveryFieldOfAnExpressionIsAColumn) {
  const auto row = JsonOf(AllSorts().front());
  for (const std::string& field : FieldNames()) {
    if (field == "ip" || field == "port") continue;  // either of two columns
    EXPECT_TRUE(row.contains(field == "null" ? "null_frame" : field)) << field;
  }
}

TEST(RowComposer, UnknownUtcIsANumberToo) {
  const Bytes record = RecordOf(test::CanItem().At(77).Data({1}));
  const auto row = nlohmann::json::parse(RowOf(RowFormat::Ndjson, record, {kId, {}}));
  EXPECT_EQ(row["utc_ns"], 0);
  EXPECT_EQ(row["time_ns"], 77);
}

TEST(RowComposer, TimesBeyondASignedColumnEndThere) {
  EXPECT_EQ(JsonOf(RecordOf(test::CanItem().At(~0ul).Data({1})))["time_ns"], 0x7FFFFFFFFFFFFFFF);
}

TEST(RowComposer, DataThatARecordDoesNotReachAreNotThere) {
  Bytes record = RecordOf(test::CanItem().Data({1, 2, 3, 4}));
  record.resize(record.size() - 2);
  const auto row = JsonOf(record);
  EXPECT_EQ(row["len"], 4);
  EXPECT_EQ(row["data"], "x0102");
}

TEST(RowComposer, LossesAreRows) {
  const Loss loss{1, LossCause::CaptureBufferFull, 5000, 9000, 311};
  char text[RowComposer::kLossRoom];
  const RowComposer rows(RowFormat::Ndjson);
  const auto row = nlohmann::json::parse(std::string(text, rows.ComposeLoss(text, loss, BusType_Lin, kOrigin)));
  EXPECT_EQ(row.size(), JsonOf(AllSorts().front()).size());
  EXPECT_EQ(row["kind"], "loss");
  EXPECT_EQ(row["bus"], "lin");
  EXPECT_EQ(row["cause"], "capture_buffer_full");
  EXPECT_EQ(row["time_ns"], 5000);
  EXPECT_EQ(row["last_time_ns"], 9000);
  EXPECT_EQ(row["lost"], 311);
  EXPECT_EQ(row["frame"], false);
}

TEST(RowComposer, IdsHaveOneForm) {
  const Bytes one = RecordOf(test::CanItem().At(1).Data({1})), other = RecordOf(test::CanItem().At(2).Data({1}));
  EXPECT_EQ(RowId(kId, ViewOf(one)), kId);
  EXPECT_EQ(RowId("5C0D2F0E-96A1-3B7C-41F2-8D8E5A0B9C11", ViewOf(one)), kId);
  for (const char* text : {"", "drive 7, \"wet\"", "5c0d2f0e-96a1-3b7c-41f2-8d8e5a0b9c1", "5c0d2f0e"}) {
    const std::string id = RowId(text, ViewOf(one));
    EXPECT_EQ(RowId(id, ViewOf(other)), id) << "has the form";
    EXPECT_EQ(RowId(text, ViewOf(one)), id);
    EXPECT_EQ(RowId(text, ViewOf(other)) == id, *text != '\0') << text;
  }
}

TEST(RowComposer, TheLongestRecordFits) {
  const Bytes record = RecordOf(test::EthernetItem().Frame(Bytes(65000, 0xFF)));
  EXPECT_LT(RowOf(RowFormat::Ndjson, record).size(), RowComposer::Room(ViewOf(record)));
}

}  // namespace
}  // namespace client
