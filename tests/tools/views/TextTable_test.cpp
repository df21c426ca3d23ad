#include "views/TextTable.h"

#include <gtest/gtest.h>

namespace client {
namespace {

TEST(TextTable, ColumnsAreAsWideAsWhatIsInThem) {
  TextTable table({{"No", true}, {"Name"}, {"Size", true, 6}, {"Rest"}});
  EXPECT_EQ(table.Text(), "No  Name    Size  Rest\n");
  table.Add({"1", "longest", "7", ""});
  table.Add({"1000", "b", "12", "x"});
  EXPECT_EQ(table.Text(),
            "  No  Name       Size  Rest\n"
            "   1  longest       7\n"
            "1000  b            12  x\n");
}

}  // namespace
}  // namespace client
