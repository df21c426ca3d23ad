#include "outputs/Outputs.h"

#include <gtest/gtest.h>

#include <optional>

#include "system/Failure.h"

namespace client {
namespace {

std::vector<Output> Planned(const std::vector<std::string>& names, const AscOptions& asc = {}) {
  return PlanOutputs(names, asc, "/where");
}

TEST(Outputs, ExtensionNamesTheFormat) {
  const auto outputs = Planned({"a.bin", "sub/b.asc", "-"});
  ASSERT_EQ(outputs.size(), 3u);
  EXPECT_EQ(outputs[0].Kind, Format::Bin);
  EXPECT_EQ(outputs[0].Path, "/where/a.bin");
  EXPECT_EQ(outputs[1].Kind, Format::Asc);
  EXPECT_EQ(outputs[1].Path, "/where/sub/b.asc");
  EXPECT_EQ(outputs[2].Kind, Format::Bin);
  EXPECT_EQ(outputs[2].Path, "");
  EXPECT_TRUE(UsesStandardOutput(outputs));
}

TEST(Outputs, OtherExtensionsAreWrongUsage) {
  for (const char* name : {"a.txt", "a", "a.asc/", ".asc", "bin", "a.BI", ""})
    EXPECT_THROW(Planned({name}), UsageError) << name;
}

TEST(Outputs, ExtensionsMayHaveLargeLetters) {
  const auto outputs = Planned({"a.ASC", "b.Bin", "c.PCAPNG"});
  EXPECT_EQ(outputs[0].Kind, Format::Asc);
  EXPECT_EQ(outputs[0].Path, "/where/a.ASC");
  EXPECT_EQ(outputs[1].Kind, Format::Bin);
  EXPECT_EQ(outputs[2].Kind, Format::Pcapng);
  EXPECT_EQ(Planned({"d.MF4"})[0].Path, "/where/d.mf4");  // the library uses that extension
}

TEST(Outputs, SeveralNamesInOneAreRefusedWithWhatToWrite) {
  try {
    Planned({"a.asc,b.bin"});
    FAIL();
  } catch (const UsageError& error) {
    EXPECT_STREQ(error.what(), "Output \"a.asc,b.bin\" is several names in one; write -o a.asc -o b.bin");
  }
  EXPECT_THROW(Planned({"x,a.asc,b"}), UsageError);
  EXPECT_EQ(Planned({"run 1,2.asc"}).size(), 1u);
}

TEST(Outputs, SameNameTwiceIsWrongUsage) {
  EXPECT_THROW(Planned({"a.bin", "a.bin"}), UsageError);
  EXPECT_THROW(Planned({"a.bin", "x/../a.bin"}), UsageError);
  EXPECT_THROW(Planned({"a.asc", "/where/a.asc"}), UsageError);
  EXPECT_THROW(Planned({"-", "-"}), UsageError);
  EXPECT_EQ(Planned({"a.bin", "a.asc", "b.asc"}).size(), 3u);
}

TEST(Outputs, AscOptionsNeedAnAscOutput) {
  EXPECT_THROW(Planned({"a.bin"}, {.Live = true}), UsageError);
  EXPECT_THROW(Planned({}, {.Relative = true}), UsageError);
  EXPECT_EQ(Planned({"a.asc"}, {.Decimal = true, .Relative = true}).size(), 1u);
}

TEST(Outputs, AscHasSixOrNineDecimals) {
  EXPECT_THROW(Planned({"a.asc"}, {.Decimals = 7}), UsageError);
  EXPECT_THROW(Planned({"a.bin"}, {.Decimals = 9}), UsageError);
  for (const int decimals : {6, 9}) EXPECT_EQ(Planned({"a.asc"}, {.Decimals = decimals}).size(), 1u);
}

TEST(Outputs, TextAndCapturesAreExportedByTheLibraryOnRequest) {
  const CaptureOptions exported{.AsExported = true};
  EXPECT_EQ(PlanOutputs({"a.asc"}, {.Relative = true}, "/where", exported).size(), 1u);
  EXPECT_EQ(PlanOutputs({"a.pcapng"}, {}, "/where", exported).size(), 1u);
  EXPECT_THROW((void)PlanOutputs({"a.bin"}, {}, "/where", exported), UsageError);
  EXPECT_THROW((void)PlanOutputs({"a.asc"}, {.Decimals = 9}, "/where", exported), UsageError);
  EXPECT_THROW((void)PlanOutputs({"a.asc"}, {}, "/where", {.EthernetOnly = true}), UsageError);
}

TEST(Outputs, LiveAscTakesAllOtherOptions) {
  EXPECT_EQ(Planned({"a.asc", "b.asc"}, {.Live = true, .Decimal = true, .Relative = true, .Split = 512}).size(), 2u);
}

TEST(Outputs, StandardOutputTakesTextThatIsNotSplit) {
  EXPECT_EQ(PlanOutputs({"-"}, {.Decimal = true}, "/where", {}, "asc")[0].Kind, Format::Asc);
  EXPECT_THROW((void)PlanOutputs({"-"}, {.Split = 512}, "/where", {}, "asc"), UsageError);
}

TEST(Outputs, FoldersAreNamedOnce) {
  EXPECT_EQ(FoldersOf(Planned({"a.bin", "-", "a.asc", "x/b.asc"})), (std::vector<std::string>{"/where", "/where/x"}));
}

TEST(Outputs, DiskThatIsNearlyFullIsRefused) {
  EXPECT_NO_THROW(CheckRoom({"/tmp"}, 0));
  EXPECT_THROW(CheckRoom({"/tmp"}, ~0ul), Failure);
}

TEST(Outputs, SplitSizeIsOneThatTheInterfaceTakes) {
  for (const unsigned long size : {512ul, 0xFFFFFFFFul}) EXPECT_EQ(Planned({"a.asc"}, {.Split = size}).size(), 1u);
  for (const unsigned long size : {0ul, 511ul, 0x100000000ul})
    EXPECT_THROW(Planned({"a.asc"}, {.Split = size}), UsageError);
}

TEST(Outputs, CapturesAreFilesOrStandardOutput) {
  const auto outputs = PlanOutputs({"a.pcapng", "-"}, {}, "/where", {}, "pcapng");
  ASSERT_EQ(outputs.size(), 2u);
  EXPECT_EQ(outputs[0].Kind, Format::Pcapng);
  EXPECT_EQ(outputs[0].Path, "/where/a.pcapng");
  EXPECT_EQ(outputs[1].Kind, Format::Pcapng);
  EXPECT_EQ(outputs[1].Path, "");
  EXPECT_EQ(PlanOutputs({"-"}, {}, "/where", {}, "bin")[0].Kind, Format::Bin);
}

TEST(Outputs, FormatOfStandardOutputNeedsItAndIsOneThatCanBeStreamed) {
  EXPECT_THROW((void)PlanOutputs({"a.pcapng"}, {}, "/where", {}, "pcapng"), UsageError);
  EXPECT_THROW((void)PlanOutputs({"-"}, {}, "/where", {}, "mf4"), UsageError);
  EXPECT_THROW((void)PlanOutputs({"-"}, {}, "/where", {}, "PCAPNG"), UsageError);
}

TEST(Outputs, CaptureOptionsNeedACapture) {
  EXPECT_THROW((void)PlanOutputs({"a.bin"}, {}, "/where", {.EthernetOnly = true}), UsageError);
  EXPECT_THROW((void)PlanOutputs({"-"}, {}, "/where", {.AsExported = true}), UsageError);
  EXPECT_THROW((void)PlanOutputs({"a.mf4"}, {}, "/where", {.EthernetOnly = true}), UsageError);
  EXPECT_EQ(PlanOutputs({"a.pcapng"}, {}, "/where", {.EthernetOnly = true}).size(), 1u);
  EXPECT_EQ(PlanOutputs({"a.mf4"}, {}, "/where", {.AsExported = true}).size(), 1u);
  EXPECT_EQ(PlanOutputs({"-"}, {}, "/where", {.AsExported = true}, "pcapng").size(), 1u);
}

TEST(Outputs, MeasurementFilesHaveASizeLimitOfTheirOwn) {
  const auto planned = [](const char* name, std::optional<unsigned long> split) {
    return PlanOutputs({name}, {}, "/where", {}, "", {.Split = split});
  };
  EXPECT_EQ(planned("a.mf4", std::nullopt)[0].Kind, Format::Mdf);
  for (const unsigned long size : {3ul << 20, 4095ul << 20}) EXPECT_EQ(planned("a.mf4", size).size(), 1u);
  for (const unsigned long size : {0ul, (3ul << 20) - 1, 4096ul << 20})
    EXPECT_THROW(planned("a.mf4", size), UsageError);
  EXPECT_THROW(planned("a.bin", 3ul << 20), UsageError);
}

TEST(Outputs, FolderOfTheFirstFileIsFound) {
  EXPECT_EQ(FolderOf(Planned({"-", "sub/a.bin", "b.asc"}), "/else"), "/where/sub");
  EXPECT_EQ(FolderOf(Planned({"-"}), "/else"), "/else");
}

TEST(Outputs, FolderThatIsMissingIsNotWritable) {
  EXPECT_THROW(CheckWritable({Format::Bin, "/no such folder/a.bin"}), Failure);
  EXPECT_THROW(CheckWritable({Format::Bin, testing::TempDir()}), Failure);
  EXPECT_NO_THROW(CheckWritable({Format::Bin, testing::TempDir() + "a.bin"}));
  EXPECT_NO_THROW(CheckWritable({Format::Bin, ""}));
}

}  // namespace
}  // namespace client
