#include "outputs/Omissions.h"

#include <gtest/gtest.h>

namespace client {
namespace {

enum class Reason { Event, Odd, Never };
constexpr const char* kNames[] = {"events", "odd ones", "impossible ones"};

TEST(Omissions, AreCountedByReason) {
  Omissions omissions(kNames);
  EXPECT_EQ(omissions.Total(), 0u);
  EXPECT_EQ(omissions.Text("they don't fit"), "");
  EXPECT_TRUE(omissions.ByName().empty());
  omissions.Count(Reason::Odd);
  omissions.Count(Reason::Event);
  omissions.Count(Reason::Odd);
  EXPECT_EQ(omissions.Of(Reason::Odd), 2u);
  EXPECT_EQ(omissions.Of(Reason::Never), 0u);
  EXPECT_EQ(omissions.Total(), 3u);
  EXPECT_EQ(omissions.Text("they don't fit"), ", as they don't fit: 1 events, 2 odd ones");
  EXPECT_EQ(omissions.ByName(), (std::map<std::string, unsigned long>{{"events", 1}, {"odd ones", 2}}));
}

}  // namespace
}  // namespace client
