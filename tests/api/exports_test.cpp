// The export entry points: what they take from their request, and what they report.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "api/ApiTest.h"

using namespace test;

namespace {

class ApiExport : public ApiTest {};

constexpr unsigned int kInvalid = QOR_TRACE_STATUS_INVALID_ARGUMENT;

}  // namespace

TEST_F(ApiExport, AscExportTakesStartTimeAndSizeFromItsRequest) {
  ScriptedInterface can;
  Add(can);
  Items items;
  for (unsigned long i = 0; i < 30; ++i) items.push_back(Frame(0x100).At(1000 + i));
  can.NextItems(items);
  ASSERT_EQ(Qor_Trace_Start(Monitor, 0), 0U);
  ASSERT_TRUE(can.WaitUntilDelivered());
  ASSERT_EQ(Qor_Trace_Stop(Monitor), 0U);

  const auto request = ExportRequest("out.asc", QOR_TRACE_ASC_START_OFFSET | QOR_TRACE_ASC_SPLIT, 1010, 600);
  EXPECT_EQ(Qor_Trace_ExportToASC(Monitor, &request), 0U);
  EXPECT_NE(FileText("out.asc").find("\n0.000000000 CANFD"), std::string::npos);
  EXPECT_TRUE(std::filesystem::exists("out_1.asc"));
}

TEST_F(ApiExport, AscExportHasNoSizeLimitWithoutTheSplitFlag) {
  const auto request = ExportRequest("out.asc", 0, 0, 1);
  EXPECT_EQ(Qor_Trace_ExportToASC(Monitor, &request), 0U);
}

TEST_F(ApiExport, AscExportErrorsAreReported) {
  struct {
    Qor_Trace_Export_Request_t Request;
    unsigned int Status;
    const char* Text;
  } const kCases[] = {
      {ExportRequest("out.asc", 16), kInvalid, ""},
      {ExportRequest("out.asc", QOR_TRACE_ASC_SPLIT, 0, 511), QOR_TRACE_STATUS_INVALID_VALUE,
       "file size needs to be >= 512 bytes"},
      {ExportRequest("no/out.asc"), QOR_TRACE_STATUS_FILE_ERROR,
       "error opening file 'no/out.ascNo such file or directory"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(Qor_Trace_ExportToASC(Monitor, &c.Request), c.Status);
    EXPECT_EQ(TakeReports(), (std::vector<Report>{{255, c.Status, c.Text}}));
  }
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(ApiExport, FileNameMustEndInsideItsField) {
  auto request = ExportRequest("");
  std::memset(request.FileName, 'x', sizeof request.FileName);
  EXPECT_EQ(Qor_Trace_ExportToASC(Monitor, &request), kInvalid);
  EXPECT_EQ(Qor_Trace_ExportToPCAP(Monitor, &request), kInvalid);
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(ApiExport, LongestFileNameIsReadWhole) {
  const std::string directory(150, 'd');
  std::filesystem::create_directory(directory);
  const std::string name = directory + "/" + std::string(104, 'f') + ".asc";
  ASSERT_EQ(name.size(), 259U);
  const auto request = ExportRequest(name);
  EXPECT_EQ(Qor_Trace_ExportToASC(Monitor, &request), 0U);
  EXPECT_TRUE(std::filesystem::exists(name));
}

TEST_F(ApiExport, MdfExportIsNotSupportedWhateverTheArguments) {
  const auto request = ExportRequest("out.mf4");
  for (const unsigned int handle : {0U, Monitor, 0xFFFFFFFFU}) {
    EXPECT_EQ(Qor_Trace_ExportToMDF(handle, &request), QOR_TRACE_STATUS_NOT_SUPPORTED);
    EXPECT_EQ(Qor_Trace_ExportToMDF(handle, nullptr), QOR_TRACE_STATUS_NOT_SUPPORTED);
    EXPECT_EQ(TakeReports(), (std::vector<Report>{{255, QOR_TRACE_STATUS_NOT_SUPPORTED, ""},
                                                  {255, QOR_TRACE_STATUS_NOT_SUPPORTED, ""}}));
  }
  EXPECT_TRUE(std::filesystem::is_empty("."));
  Suppress(QOR_TRACE_STATUS_NOT_SUPPORTED);
  EXPECT_EQ(Qor_Trace_ExportToMDF(Monitor, &request), 0U);  // what the handler makes of it
}
