#include "SourceText.h"

#include <gtest/gtest.h>

#include "Thrown.h"

using qor_sim::OptionReader;
using qor_sim::ParseSource;
using qor_sim::ToText;

TEST(SourceText, HasKindPathAndOptionsInTheirOrder) {
  const auto source = ParseSource("candump:/a b/c:d.log?speed=max&interface=can=0");
  EXPECT_EQ(source.Kind, "candump");
  EXPECT_EQ(source.Path, "/a b/c:d.log");
  ASSERT_EQ(source.Options.size(), 2u);
  EXPECT_EQ(source.Options[0], (std::pair<std::string, std::string>("speed", "max")));
  EXPECT_EQ(source.Options[1], (std::pair<std::string, std::string>("interface", "can=0")));
}

TEST(SourceText, AColonInAnOptionBeginsNoPath) {
  const auto source = ParseSource("can?x=a:b");
  EXPECT_EQ(source.Kind, "can");
  EXPECT_EQ(source.Path, "");
}

TEST(SourceText, ComesBackAsItWas) {
  for (const char* text : {"can", "candump:x", "candump:x?a=1", "script?type=4&instance=2"}) {
    EXPECT_EQ(ToText(ParseSource(text)), text);
  }
}

TEST(SourceText, MalformedTextIsRefusedWithItsReason) {
  struct Case {
    const char* Text;
    const char* Reason;
  };
  constexpr Case kCases[] = {
      {"", "The source \"\" names no kind, such as can or candump."},
      {":x", "The source \":x\" names no kind, such as can or candump."},
      {"?a=1", "The source \"?a=1\" names no kind, such as can or candump."},
      {"candump:", "The source \"candump:\" names no file after its colon."},
      {"candump:?a=1", "The source \"candump:?a=1\" names no file after its colon."},
      {"can?", "The option \"\" is not of the form NAME=VALUE."},
      {"can?seed", "The option \"seed\" is not of the form NAME=VALUE."},
      {"can?=1", "The option \"=1\" is not of the form NAME=VALUE."},
      {"can?seed=1&", "The option \"\" is not of the form NAME=VALUE."},
      {"can?seed=1&seed=1", "The option seed is there twice."},
      {"can\n", "A source can't hold a line break."},
  };
  for (const auto& c : kCases) {
    const Thrown thrown = ThrownBy([&] { ParseSource(c.Text); });
    EXPECT_EQ(thrown.Code, unsigned{QOR_SIM_ERROR_SOURCE}) << c.Text;
    EXPECT_EQ(thrown.Text, c.Reason);
  }
}

TEST(OptionReader, GivesTheDefaultOfAMissingOption) {
  const auto source = ParseSource("can");
  OptionReader options(source);
  EXPECT_EQ(options.TakeUnsigned("a", 1, 9, 5), 5u);
  EXPECT_EQ(options.TakeChoice("b", {"x", "y"}, 1), 1u);
  EXPECT_FALSE(options.TakeDuration("c"));
  EXPECT_FALSE(options.TakeText("d"));
  options.Finish();
}

TEST(OptionReader, RefusesWhatNobodyTook) {
  const auto source = ParseSource("can?seed=1&sed=2");
  OptionReader options(source);
  options.TakeText("seed");
  EXPECT_EQ(ThrownBy([&] { options.Finish(); }).Text, "A source of the kind can has no option \"sed\".");
}

TEST(OptionReader, RefusesValuesThatDoNotFit) {
  const auto source = ParseSource("can?n=10&c=z&t=5&e=");
  OptionReader options(source);
  EXPECT_EQ(ThrownBy([&] { options.TakeUnsigned("n", 1, 9, 5); }).Text,
            "The option n can't be \"10\": it takes a number from 1 to 9.");
  EXPECT_EQ(ThrownBy([&] {
              options.TakeChoice("c", {"x", "y"}, 0);
            }).Text,
            "The option c can't be \"z\": it takes x or y.");
  EXPECT_EQ(ThrownBy([&] { options.TakeDuration("t"); }).Text,
            "The option t can't be \"5\": it takes a time such as 90s, 1h30m or 0.5s.");
  EXPECT_EQ(ThrownBy([&] { options.TakeText("e"); }).Text, "The option e can't be \"\": it takes a value.");
}
