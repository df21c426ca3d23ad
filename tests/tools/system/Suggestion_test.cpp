#include "system/Suggestion.h"

#include <gtest/gtest.h>

namespace client {
namespace {

TEST(Suggestion, NearestIsTheOneWithTheFewestWrongLetters) {
  const std::vector<std::string> commands = {"record", "convert", "list"};
  struct Case {
    const char* Typed;
    const char* Meant;
  };
  for (const Case& c : {Case{"recrod", "record"}, Case{"recor", "record"}, Case{"convet", "convert"},
                        Case{"lst", "list"}, Case{"ist", "list"}, Case{"list", "list"}})
    EXPECT_EQ(Nearest(c.Typed, commands), c.Meant) << c.Typed;
}

TEST(Suggestion, NothingIsSuggestedForSomethingElse) {
  for (const char* typed : {"", "x", "frobnicate", "play"})
    EXPECT_EQ(Nearest(typed, {"record", "convert", "list"}), std::nullopt) << typed;
  EXPECT_EQ(Nearest("record", {}), std::nullopt);
}

}  // namespace
}  // namespace client
