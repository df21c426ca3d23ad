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

TEST(Printable, WhatIsMeantIsKept) { EXPECT_EQ(Printable("one\ntwo\x1b\n", "\n"), "one\ntwo\\x1b\n"); }

}  // namespace
}  // namespace client
