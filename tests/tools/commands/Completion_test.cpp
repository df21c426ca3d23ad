#include "commands/Completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace client {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using Words = std::vector<std::string>;

OfferedOption Option(Words names, bool takesValue, bool isRepeatable = false) {
  return {std::move(names), "", false, takesValue, isRepeatable};
}

OfferedOption Argument(const std::string& name) { return {{name}, "", true, true, true}; }

OfferedProgram Program() {
  return {{Option({"--adapter"}, true), Option({"--help", "-h"}, false)},
          {{"record",
            "",
            {Argument("SOURCE"), Option({"--output", "-o"}, true, true), Option({"--time-format"}, true),
             Option({"--filter"}, true), Option({"--trigger"}, true), Option({"--strict"}, false)}},
           {"report", "", {Argument("INPUT"), Option({"--output", "-o"}, true)}},
           {"compare", "", {Argument("A"), Option({"--ignore"}, true)}}}};
}

Completion Of(const Words& words) {
  return Complete(Program(), words, [] { return Words{"can0", "lo"}; });
}

Words CandidatesOf(const Words& words) {
  Words candidates;
  for (const Candidate& candidate : Of(words).Candidates) candidates.push_back(candidate.Word);
  return candidates;
}

TEST(Completion, OffersCommandsAndHelpFirst) {
  EXPECT_THAT(CandidatesOf({""}), ElementsAre("record", "report", "compare", "help"));
  EXPECT_THAT(CandidatesOf({"--adapter", "some.so", "re"}), ElementsAre("record", "report"));
  EXPECT_THAT(CandidatesOf({"help", ""}), ElementsAre("record", "report", "compare"));
  EXPECT_THAT(CandidatesOf({"help", "record", ""}), IsEmpty());
}

TEST(Completion, OffersNothingAfterACommandThatThereIsNot) {
  EXPECT_THAT(CandidatesOf({"recrod", ""}), IsEmpty());
  EXPECT_FALSE(Of({"recrod", ""}).Files);
}

TEST(Completion, OffersOptionsOfTheCommandAndNoneThatIsThereAlreadyUnlessItCanBeRepeated) {
  EXPECT_THAT(CandidatesOf({"--"}), ElementsAre("--adapter", "--help"));
  EXPECT_THAT(CandidatesOf({"report", "-"}), ElementsAre("--output"));
  EXPECT_THAT(CandidatesOf({"record", "--strict", "-o", "a.bin", "--"}),
              ElementsAre("--output", "--time-format", "--filter", "--trigger"));
  EXPECT_THAT(CandidatesOf({"record", "-o"}), ElementsAre("-o"));
}

TEST(Completion, OffersFilesAfterTwoDashes) {
  EXPECT_THAT(CandidatesOf({"report", "--", "-"}), IsEmpty());
  EXPECT_TRUE(Of({"report", "--", "-"}).Files);
}

TEST(Completion, OffersTheValuesOfAnOptionAlsoAfterAnEqualsSign) {
  EXPECT_THAT(CandidatesOf({"record", "--time-format", ""}), ElementsAre("relative", "utc", "local", "epoch"));
  EXPECT_THAT(CandidatesOf({"record", "--time-format=l"}), ElementsAre("--time-format=local"));
  EXPECT_THAT(CandidatesOf({"record", "--strict=l"}), IsEmpty());
  EXPECT_THAT(CandidatesOf({"record", "--time-format=utc", "can", "--t"}), ElementsAre("--trigger"));
}

TEST(Completion, OffersTheNextOfAList) {
  EXPECT_THAT(CandidatesOf({"compare", "--ignore", "time,di"}), ElementsAre("time,dir"));
}

TEST(Completion, OffersNamesOfOutputsByTheFormatsThatTheCommandWrites) {
  EXPECT_THAT(CandidatesOf({"record", "-o", "a.b/drive.m"}), ElementsAre("a.b/drive.mf4"));
  EXPECT_THAT(CandidatesOf({"record", "-o", "drive"}), Contains("drive.pcapng"));
  EXPECT_THAT(CandidatesOf({"report", "-o", "drive"}), ElementsAre("drive.html"));
  EXPECT_THAT(CandidatesOf({"record", "-o", ""}), IsEmpty());
  EXPECT_THAT(CandidatesOf({"record", "-o", "../"}), IsEmpty());
  EXPECT_TRUE(Of({"record", "-o", ""}).Files);
}

TEST(Completion, OffersSimulatedBusesInterfacesAndFilesAsSources) {
  EXPECT_THAT(CandidatesOf({"record", ""}), ElementsAre("vehicle", "can", "lin", "flexray", "ethernet", "can0", "lo"));
  EXPECT_THAT(CandidatesOf({"record", "lin", "l"}), ElementsAre("lin", "lo"));
  EXPECT_TRUE(Of({"record", ""}).Files);
}

TEST(Completion, OffersTheOptionsOfTheSourceThatTheyAreTypedFor) {
  EXPECT_THAT(CandidatesOf({"record", "lin?"}),
              ElementsAre("lin?seed=", "lin?duration=", "lin?clock=", "lin?speed=", "lin?buffer=", "lin?gone="));
  EXPECT_THAT(CandidatesOf({"record", "can?seed=7&l"}), ElementsAre("can?seed=7&load="));
  EXPECT_THAT(CandidatesOf({"record", "drive.log?i"}), ElementsAre("drive.log?interface="));
  EXPECT_THAT(CandidatesOf({"record", "candump:drive.txt?i"}), ElementsAre("candump:drive.txt?interface="));
  EXPECT_THAT(CandidatesOf({"record", "can0?i"}), ElementsAre("can0?id="));
  EXPECT_THAT(CandidatesOf({"record", "packet:eth0?"}), Not(Contains("packet:eth0?id=")));
  EXPECT_TRUE(Of({"record", "lin?"}).IsUnfinished);
}

TEST(Completion, OffersFieldsWhereATestOfAnExpressionBegins) {
  for (const char* const before : {"", "(", "not ", "bus == can and ", "id == 1 or (", "!", "fd && ", "fd||"})
    EXPECT_THAT(CandidatesOf({"record", "--filter", before + std::string("checks")}),
                ElementsAre(before + std::string("checksum_error")))
        << before;
  EXPECT_TRUE(Of({"record", "--filter", ""}).IsUnfinished);
}

TEST(Completion, OffersTheWordsThatAFieldCanBe) {
  EXPECT_THAT(CandidatesOf({"record", "--filter", "bus == "}),
              ElementsAre("bus == can", "bus == lin", "bus == flexray", "bus == ethernet"));
  EXPECT_THAT(CandidatesOf({"record", "--filter", "fd and dir!=t"}), ElementsAre("fd and dir!=tx"));
  EXPECT_THAT(CandidatesOf({"record", "--filter", "side in a, ab, b"}), ElementsAre("side in a, ab, b"));
  EXPECT_THAT(CandidatesOf({"record", "--filter", "dir not in r"}), ElementsAre("dir not in rx"));
  EXPECT_THAT(CandidatesOf({"record", "--filter", "id == "}), IsEmpty());
  EXPECT_THAT(CandidatesOf({"record", "--filter", "nonsense == "}), IsEmpty());
}

TEST(Completion, OffersWhatJoinsTestsAfterOne) {
  EXPECT_THAT(CandidatesOf({"record", "--filter", "id == 1 "}), ElementsAre("id == 1 and", "id == 1 or"));
  EXPECT_THAT(CandidatesOf({"record", "--filter", "id == 0x"}), IsEmpty());
}

TEST(Completion, OffersLossesInConditionsOnly) {
  EXPECT_THAT(CandidatesOf({"record", "--trigger", "error or lo"}), ElementsAre("error or loss"));
  EXPECT_THAT(CandidatesOf({"record", "--trigger", "mis"}), ElementsAre("missing"));
  EXPECT_THAT(CandidatesOf({"record", "--filter", "lo"}), IsEmpty());
}

}  // namespace
}  // namespace client
