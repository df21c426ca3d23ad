#include "system/Printable.h"

#include <gtest/gtest.h>

namespace client {
namespace {

using namespace std::string_view_literals;

struct PrintableCase {
  std::string_view Text;
  std::string_view Shown;
};

TEST(Printable, WhatSteersATerminalIsShownAndAllElseStays) {
  constexpr PrintableCase cases[] = {
      {""sv, ""sv},
      {"drive.log, 3 entries"sv, "drive.log, 3 entries"sv},
      {"\x1b[31mred"sv, "\\x1b[31mred"sv},
      {"a\nqor-trace: all is well"sv, "a\\nqor-trace: all is well"sv},
      {"a\tb\rc\0d\x7f"sv, "a\\tb\\rc\\x00d\\x7f"sv},
      {"Pr\xC3\xBC"
       "fstand \xE2\x82\xAC \xF0\x9F\x9A\x97"sv,
       "Pr\xC3\xBC"
       "fstand \xE2\x82\xAC \xF0\x9F\x9A\x97"sv},
      {"\xC2\x9B"
       "31m"sv,
       "\\x9b31m"sv},                                             // CSI in one character
      {"\x9b", "\\x9b"},                                          // and in one byte
      {"\xE2\x80\xAEgol.evird"sv, "\\u202egol.evird"sv},          // written from right to left
      {"\xC3"sv, "\\xc3"sv},                                      // cut short
      {"\xC3x"sv, "\\xc3x"sv},                                    // goes on with something else
      {"\xC0\x9b"sv, "\\xc0\\x9b"sv},                             // longer than it has to be
      {"\xED\xA0\x80"sv, "\\xed\\xa0\\x80"sv},                    // half of a pair
      {"\xF4\x90\x80\x80\xFF"sv, "\\xf4\\x90\\x80\\x80\\xff"sv},  // beyond Unicode
  };
  for (const PrintableCase& c : cases) EXPECT_EQ(Printable(c.Text), c.Shown);
}

TEST(Printable, CharactersBesideThoseThatSteerStay) {
  constexpr std::string_view kCharacters[] = {
      " ",
      "~",
      "\xC2\xA0",  // beside C0, DEL and C1
      "\xE2\x80\x8D",
      "\xE2\x80\x90",
      "\xE2\x80\xA7",
      "\xE2\x80\xAF",  // U+200D, 2010, 2027, 202F
      "\xE2\x81\xA5",
      "\xE2\x81\xAA",  // U+2065, 206A
      "\xED\x9F\xBF",
      "\xEE\x80\x80",  // beside the halves of pairs
      "\xDF\xBF",
      "\xE0\xA0\x80",
      "\xEF\xBF\xBF",  // the last of two bytes, first and last of three
      "\xF0\x90\x80\x80",
      "\xF4\x8F\xBF\xBF",  // the first and the last of four bytes
  };
  for (const std::string_view character : kCharacters) EXPECT_EQ(Printable(character), character);
}

TEST(Printable, FirstAndLastOfThoseThatSteerAreShown) {
  constexpr PrintableCase kCases[] = {
      {"\0"sv, "\\x00"sv},
      {"\x1F"sv, "\\x1f"sv},
      {"\x7F"sv, "\\x7f"sv},
      {"\xC2\x80"sv, "\\x80"sv},
      {"\xC2\x9F"sv, "\\x9f"sv},
      {"\xE2\x80\x8E"sv, "\\u200e"sv},
      {"\xE2\x80\x8F"sv, "\\u200f"sv},
      {"\xE2\x80\xA8"sv, "\\u2028"sv},
      {"\xE2\x81\xA6"sv, "\\u2066"sv},
      {"\xE2\x81\xA9"sv, "\\u2069"sv},
      {"\xED\xBF\xBF"sv, "\\xed\\xbf\\xbf"sv},           // the last half of a pair
      {"\xC1\xBF"sv, "\\xc1\\xbf"sv},                    // the last that would have fitted one byte,
      {"\xE0\x9F\xBF"sv, "\\xe0\\x9f\\xbf"sv},           // two
      {"\xF0\x8F\xBF\xBF"sv, "\\xf0\\x8f\\xbf\\xbf"sv},  // and three
  };
  for (const PrintableCase& c : kCases) EXPECT_EQ(Printable(c.Text), c.Shown);
}

TEST(Printable, WhatIsMeantIsKept) { EXPECT_EQ(Printable("one\ntwo\x1b\n", "\n"), "one\ntwo\\x1b\n"); }

}  // namespace
}  // namespace client
