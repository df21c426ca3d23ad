#include "commands/Command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

namespace client {
namespace {

using testing::ElementsAre;

/// A program with one command, "look".
class CommandTest : public testing::Test {
 protected:
  CLI::App Program;
  Action Chosen;
  Command Look{Program, Chosen, "look", "Look at it"};
};

TEST_F(CommandTest, TakesValuesOfEachType) {
  std::string name = "unset";
  std::string untouched = "as it was";
  unsigned long most = 0;
  std::optional<int> decimals;
  std::optional<unsigned> limit;
  std::optional<unsigned long> count;
  bool json = false;
  bool strict = false;
  Look.Add("NAME", name, "");
  Look.Add("--other", untouched, "");
  Look.Add("--max", most, "");
  Look.Add("--decimals", decimals, "");
  Look.Add("--limit", limit, "");
  Look.Add("--count", count, "");
  Look.AddFlag("--json", json, "");
  Look.AddFlag("--strict", strict, "");
  Program.parse("look here --max 7 --decimals 9 --limit 3 --json");
  EXPECT_EQ(name, "here");
  EXPECT_EQ(untouched, "as it was");
  EXPECT_EQ(most, 7u);
  EXPECT_EQ(decimals, 9);
  EXPECT_EQ(limit, 3u);
  EXPECT_EQ(count, std::nullopt);
  EXPECT_TRUE(json);
  EXPECT_FALSE(strict);
}

TEST_F(CommandTest, ListTakesWhatFollowsUnlessItIsOneValueEach) {
  std::vector<std::string> outputs;
  std::vector<std::string> inputs;
  Look.Add("-o,--output", outputs, "").OneValueEach();
  Look.Add("INPUT", inputs, "");
  Program.parse("look -o a b --output c d");
  EXPECT_THAT(outputs, ElementsAre("a", "c"));
  EXPECT_THAT(inputs, ElementsAre("b", "d"));
}

TEST_F(CommandTest, ListIsSeparatedByCommas) {
  std::vector<std::string> fields;
  Look.Add("--ignore", fields, "").SeparatedByCommas();
  Program.parse("look --ignore time,dir");
  EXPECT_THAT(fields, ElementsAre("time", "dir"));
}

TEST_F(CommandTest, RequiredOptionIsMissed) {
  std::string name;
  Look.Add("--name", name, "");
  Look.Get("--name").Required();
  EXPECT_THROW(Program.parse("look"), CLI::RequiredError);
}

TEST_F(CommandTest, RemovedOptionIsUnknown) {
  bool json = false;
  Look.AddFlag("--json", json, "");
  Look.Remove("--json");
  EXPECT_THROW(Program.parse("look --json"), CLI::ExtrasError);
}

TEST_F(CommandTest, HelpShowsTheLaterTextAndTheFooter) {
  std::string name;
  Look.Add("--name", name, "before").Help("what it is called");
  Look.Footer("the end");
  const std::string help = Program.get_subcommand("look")->help();
  EXPECT_THAT(help, testing::HasSubstr("what it is called"));
  EXPECT_THAT(help, testing::Not(testing::HasSubstr("before")));
  EXPECT_THAT(help, testing::HasSubstr("the end"));
}

TEST_F(CommandTest, DoesItsWorkWhenItIsChosen) {
  Look.Does([](Signals&) { return 3; });
  Program.parse("");
  EXPECT_FALSE(Chosen);
  Program.parse("look");
  ASSERT_TRUE(Chosen);
}

TEST_F(CommandTest, PassesOverUnknownOptionsThatBeginAsSaid) {
  Look.PassOver("--later-");
  Look.Does([](Signals&) { return 0; });
  Program.parse("look --later-version 5");
  EXPECT_TRUE(Chosen);
  EXPECT_THROW(Program.parse("look --sooner"), CLI::ExtrasError);
}

}  // namespace
}  // namespace client
