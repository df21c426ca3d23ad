#include "views/HtmlText.h"

#include <gtest/gtest.h>

namespace client {
namespace {

TEST(HtmlText, NothingInATextIsMarkup) {
  EXPECT_EQ(Html("<script>alert(\"1\")</script>"), "&lt;script&gt;alert(&quot;1&quot;)&lt;/script&gt;");
  EXPECT_EQ(Html("a & b's"), "a &amp; b&#39;s");
  EXPECT_EQ(Html("</title>"), "&lt;/title&gt;");
}

TEST(HtmlText, WhatSteersAReaderIsShown) {
  EXPECT_EQ(Html("a\nb\x1b[31m"), "a\\nb\\x1b[31m");
  EXPECT_EQ(Html("\xE2\x80\xAEtxt"), "\\u202etxt");
  EXPECT_EQ(Html("\xFF"), "\\xff");
  EXPECT_EQ(Html("Größe µs"), "Größe µs");
}

TEST(HtmlText, RowsHaveTheirCells) {
  EXPECT_EQ(HtmlRow({{"1", "n"}, {"b"}, {"<b>x</b>", nullptr, "7"}}),
            "<tr><td class=\"n\">1</td><td>b</td><td data-v=\"7\"><b>x</b></td></tr>\n");
  EXPECT_EQ(HtmlHeads({{"Ch", "n", "order"}, {"Bus"}}),
            "<tr><th scope=\"col\" class=\"n\" data-s=\"order\">Ch</th><th scope=\"col\">Bus</th></tr>\n");
}

}  // namespace
}  // namespace client
