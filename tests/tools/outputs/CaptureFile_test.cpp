#include "outputs/CaptureFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "export/Qor_Trace_Export_PCAP.h"
#include "recording/TraceHandles.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

namespace fs = std::filesystem;

class CaptureFileTest : public testing::Test {
 protected:
  test::TemporaryDirectory Directory;
  fs::path Folder = fs::current_path();
  std::string Path = (Folder / "x.pcapng").string();
};

TEST_F(CaptureFileTest, FileHasItsNameOnlyWhenComplete) {
  CaptureWriter writer(Path, {});
  EXPECT_TRUE(Put(writer, RecordOf(test::CanItem().Data({1}))));
  EXPECT_FALSE(fs::exists(Path));
  EXPECT_TRUE(fs::exists(Path + ".part"));
  EXPECT_TRUE(writer.Finish());
  EXPECT_FALSE(fs::exists(Path + ".part"));
  EXPECT_EQ(test::FileText(Path).size(), 48u + 44 + 56 + 52);  // section, interface, packet, counts
}

TEST_F(CaptureFileTest, UnfinishedFileKeepsItsPacketsUnderTheTemporaryName) {
  { Put(*std::make_unique<CaptureWriter>(Path, PcapngOptions()), RecordOf(test::CanItem().Data({1}))); }
  EXPECT_FALSE(fs::exists(Path));
  EXPECT_EQ(test::FileText(Path + ".part").size(), 48u + 44 + 56);
}

TEST_F(CaptureFileTest, FileThatCannotBeMadeIsAFailure) {
  EXPECT_THROW(CaptureWriter((Folder / "missing" / "x.pcapng").string(), {}), Failure);
}

TEST_F(CaptureFileTest, NameThatIsTakenByAFolderKeepsThePackets) {
  fs::create_directory(Path);
  CaptureWriter writer(Path, {});
  EXPECT_FALSE(writer.Finish());
  EXPECT_NE(writer.Error().find("Is a directory"), std::string::npos) << writer.Error();
  EXPECT_EQ(test::FileText(Path + ".part").size(), 48u);
}

TEST_F(CaptureFileTest, WhatItCannotHoldIsNamed) {
  CaptureWriter writer(Path, {});
  Put(writer, RecordOf(test::CanItem().Data({1})));
  EXPECT_EQ(writer.ShortfallText(), "");
  nlohmann::json json;
  writer.AddJson(json);
  EXPECT_EQ(json["omitted"], nlohmann::json::object());
  Put(writer, RecordOf(test::CanItem().RisingEdge()));
  Put(writer, RecordOf(test::CanItem().FallingEdge()));
  Put(writer, RecordOf(test::LinItem().Event()));
  EXPECT_EQ(writer.Omitted(), 3u);
  EXPECT_EQ(writer.ShortfallText(), ", as no packet can hold them: 2 CAN log-trigger events, 1 LIN trigger events");
  writer.AddJson(json);
  EXPECT_EQ(json["omitted"], nlohmann::json({{"CAN log-trigger events", 2}, {"LIN trigger events", 1}}));
}

TEST_F(CaptureFileTest, PacketsOfTheLibrarysExportAreCountedInPiecesOfAnySize) {
  Qor_Trace_EntryStore entries;
  for (const unsigned int channel : {1u, 2u, 12345u, 1u}) {
    entries.push_back(test::EthernetItem().Channel(channel).Frame(test::Counting(61)).Entry());
  }
  entries.push_back(test::EthernetItem().Kind(2).Frame({1, 2}).Entry());
  entries.push_back(test::EthernetItem().Kind(3).Channel(9).Entry());
  Qor_Trace_Export_PCAP(0, Path.c_str(), 0).Export(entries);
  const std::string file = test::FileText(Path);
  const auto* bytes = reinterpret_cast<const unsigned char*>(file.data());
  for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, std::size_t{100}, file.size()}) {
    ExportedBlocks blocks;
    for (std::size_t place = 0; place < file.size(); place += piece) {
      blocks.Feed(bytes + place, std::min(piece, file.size() - place));
    }
    EXPECT_EQ(blocks.Packets(), 5u) << piece;
    EXPECT_EQ(blocks.WholeBytes(), file.size()) << piece;
  }
  ExportedBlocks cut;
  cut.Feed(bytes, 72 + 40 + 107);  // all of the first packet but its last byte
  EXPECT_EQ(cut.Packets(), 0u);
  EXPECT_EQ(cut.WholeBytes(), 72u + 40);
}

TEST_F(CaptureFileTest, TheLibrarysExportTellsWhatIsNotInMemory) {
  Monitor monitor;  // nothing is in its memory
  const LibraryExport exportToPcap = [&](const std::string& path) { monitor.ExportToPcap(path); };
  ExportedCapture capture(Path);
  EXPECT_TRUE(Put(capture, RecordOf(test::EthernetItem().Frame({1, 2, 3}))));
  EXPECT_TRUE(Put(capture, RecordOf(test::EthernetItem().Kind(2).Frame({1, 2, 3}))));
  for (const unsigned int notExported : {0u, 0u, 3u}) {
    EXPECT_TRUE(Put(capture, RecordOf(test::EthernetItem().Kind(notExported))));
  }
  EXPECT_TRUE(Put(capture, RecordOf(test::CanItem().Data({1}))));
  EXPECT_TRUE(fs::exists(Path + ".part"));
  capture.Export(exportToPcap);
  EXPECT_TRUE(capture.Finish());
  EXPECT_EQ(test::FileText(Path).size(), 72u);
  EXPECT_EQ(capture.Missing(), 2u);
  EXPECT_EQ(capture.ShortfallText(),
            ": 2 of 2 Ethernet entries, which had been moved to the swap file; raise --memory-limit");
}

TEST_F(CaptureFileTest, WithoutAnExportTheFileKeepsItsTemporaryName) {
  ExportedCapture capture(Path);
  EXPECT_FALSE(capture.Finish());
  EXPECT_FALSE(fs::exists(Path));
}

}  // namespace
}  // namespace client
