#include "outputs/RowWriter.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/TemporaryDirectory.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

namespace fs = std::filesystem;

class RowWriterTest : public testing::Test {
 protected:
  static Bytes CanAt(unsigned long time) { return RecordOf(test::CanItem().Channel(1).At(time).Data({1})); }

  [[nodiscard]] std::vector<nlohmann::json> Rows() const {
    std::vector<nlohmann::json> rows;
    std::istringstream text(test::FileText(Path));
    for (std::string line; std::getline(text, line);) rows.push_back(nlohmann::json::parse(line));
    return rows;
  }
  /// "100 300-500:7 600": the times of the rows; of a loss, from when to when and how much.
  [[nodiscard]] std::string Times() const {
    std::string text;
    for (const auto& row : Rows()) {
      text += (text.empty() ? "" : " ") + row["time_ns"].dump();
      if (row["kind"] == "loss") text += "-" + row["last_time_ns"].dump() + ":" + row["lost"].dump();
    }
    return text;
  }

  test::TemporaryDirectory Directory;
  std::string Path = (fs::current_path() / "x.ndjson").string();
};

TEST_F(RowWriterTest, AnOverrunMarkIsFollowedByARowOfTheLoss) {
  RowWriter writer(Path, RowFormat::Ndjson);
  EXPECT_TRUE(Put(writer, RecordOf(test::CanItem().Channel(3).At(100).Overrun().Data({1}))));
  EXPECT_TRUE(Put(writer, CanAt(200)));
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(Times(), "100 100-100:1 200");
  EXPECT_EQ(Rows()[1]["cause"], "overrun_mark");
  EXPECT_EQ(Rows()[1]["channel"], 3);
  EXPECT_EQ(Rows()[1]["bus"], "can");
  nlohmann::json json;
  writer.AddJson(json);
  EXPECT_EQ(json, nlohmann::json({{"rows", 3}, {"loss_rows", 1}}));
}

TEST_F(RowWriterTest, LossesStandInFrontOfTheFirstEntryAfterThem) {
  Description description;
  description.Channels = {{.Number = 1, .BusType = BusType_FlexRay}};
  description.Losses = {{1, LossCause::CaptureBufferFull, 150, 250, 7},
                        {1, LossCause::InterfaceGone, 900, 950, std::nullopt}};
  RowWriter writer(Path, RowFormat::Ndjson);
  writer.Describe(description);
  EXPECT_TRUE(Put(writer, RecordOf(test::CanItem().At(100).Overrun().Data({1}))));
  for (const unsigned long time : {200ul, 250ul, 300ul}) EXPECT_TRUE(Put(writer, CanAt(time)));
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(Times(), "100 100-100:1 200 250 150-250:7 300 900-950:1");
  EXPECT_EQ(Rows()[4]["bus"], "flexray");
}

TEST_F(RowWriterTest, ALossThatGoesOnHasAFurtherRowForWhatWasAdded) {
  Description description;
  description.Losses = {{1, LossCause::CaptureBufferFull, 150, 250, 7}};
  RowWriter writer(Path, RowFormat::Ndjson);
  writer.Describe(description);
  EXPECT_TRUE(Put(writer, CanAt(300)));
  description.Losses.front().Last = 350;
  description.Losses.front().Count = 10;
  writer.Describe(description);
  EXPECT_TRUE(Put(writer, CanAt(400)));
  writer.Describe(description);
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(Times(), "150-250:7 300 250-350:3 400");
}

TEST_F(RowWriterTest, LossesThatBecomeOneAreNotToldAgain) {
  Description description;
  description.Losses = {{1, LossCause::CaptureBufferFull, 100, 150, 7}, {1, LossCause::CaptureBufferFull, 250, 270, 5}};
  RowWriter writer(Path, RowFormat::Ndjson);
  writer.Describe(description);
  EXPECT_TRUE(Put(writer, CanAt(300)));
  description.Losses = {{1, LossCause::CaptureBufferFull, 100, 270, 12}};
  writer.Describe(description);
  EXPECT_TRUE(Put(writer, CanAt(400)));
  description.Losses.front().Last = 410;
  description.Losses.front().Count = 14;
  writer.Describe(description);
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(Times(), "100-150:7 250-270:5 300 400 270-410:2");
}

TEST_F(RowWriterTest, MarksOfEntriesThatWereNotSelectedStandBeforeTheNextEntry) {
  Description description;
  description.Losses = {{1, LossCause::OverrunMark, 100, 200, std::nullopt},
                        {1, LossCause::OverrunMark, 300, 400, std::nullopt}};
  RowWriter writer(Path, RowFormat::Ndjson);
  writer.Describe(description);
  EXPECT_TRUE(Put(writer, RecordOf(test::CanItem().Channel(1).At(300).Overrun().Data({1}))));
  EXPECT_TRUE(Put(writer, CanAt(500)));
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(Times(), "100-200:1 300 300-300:1 500");
}

TEST_F(RowWriterTest, EntriesThatCameTooLateAreNotMissing) {
  Description description;
  description.Losses = {{1, LossCause::Reordering, 100, 200, 9}};
  RowWriter writer(Path, RowFormat::Ndjson);
  writer.Describe(description);
  EXPECT_TRUE(Put(writer, CanAt(500)));
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(Times(), "100-200:0 500");
}

TEST_F(RowWriterTest, CsvBeginsWithTheNames) {
  {
    RowWriter writer(Path, RowFormat::Csv);
    EXPECT_TRUE(Put(writer, CanAt(1)));
    EXPECT_TRUE(writer.Finish());
  }
  const std::string text = test::FileText(Path);
  EXPECT_TRUE(text.starts_with("schema,utc_ns,time_ns,recording,channel,bus,kind,dir,id,len,data,")) << text;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
}

TEST_F(RowWriterTest, AFileWithoutRowsIsNamedAllTheSame) {
  RowWriter writer(Path, RowFormat::Csv);
  EXPECT_TRUE(writer.Finish());
  EXPECT_TRUE(test::FileText(Path).ends_with(",lost\n"));
  EXPECT_EQ(writer.RemarkText(), "");
}

TEST_F(RowWriterTest, NamesAloneAreNotWorthAPartFile) {
  { const RowWriter writer(Path, RowFormat::Csv); }
  EXPECT_FALSE(fs::exists(Path + ".part"));
  {
    RowWriter writer(Path, RowFormat::Csv);
    EXPECT_TRUE(Put(writer, CanAt(1)));
  }
  EXPECT_TRUE(fs::exists(Path + ".part"));
  EXPECT_FALSE(fs::exists(Path));
}

TEST_F(RowWriterTest, UnknownStartIsRemarked) {
  RowWriter writer(Path, RowFormat::Ndjson);
  EXPECT_TRUE(Put(writer, CanAt(1)));
  EXPECT_TRUE(writer.Finish());
  EXPECT_NE(writer.RemarkText().find("utc_ns is 0"), std::string::npos);
}

}  // namespace
}  // namespace client
