#include "stream/KindText.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>

#include "qor_api_trace.h"

namespace client {
namespace {

std::multiset<std::string> KeysOf(RecordKind first, RecordKind last) {
  std::multiset<std::string> keys;
  for (auto kind = static_cast<int>(first); kind <= static_cast<int>(last); ++kind)
    keys.insert(TextOf(static_cast<RecordKind>(kind)).Key);
  return keys;
}

TEST(KindText, CountsOfOneBusHaveDifferentNamesInJson) {
  for (const auto& [first, last] : {std::pair(RecordKind::CanFrame, RecordKind::CanEvent),
                                    {RecordKind::LinFrame, RecordKind::LinEvent},
                                    {RecordKind::FlexRayFrame, RecordKind::FlexRayStatus},
                                    {RecordKind::EthernetFrame, RecordKind::EthernetRecord}}) {
    const auto keys = KeysOf(first, last);
    EXPECT_EQ(keys.size(), std::set<std::string>(keys.begin(), keys.end()).size());
  }
}

struct WordCase {
  RecordKind Kind;
  const char* One;
};

// One of each bus and those that any bus has: the rows stand where the kinds do.
TEST(KindText, EachKindHasItsOwnWords) {
  constexpr WordCase cases[] = {{RecordKind::CanFrame, "classic frame"},
                                {RecordKind::CanEvent, "event"},
                                {RecordKind::LinTransmitError, "transmit error"},
                                {RecordKind::FlexRayNullFrame, "null frame"},
                                {RecordKind::FlexRayStatus, "status"},
                                {RecordKind::EthernetCrcError, "frame with a CRC error"},
                                {RecordKind::OverrunMark, "entry without a kind"},
                                {RecordKind::Unknown, "malformed entry"}};
  for (const WordCase& c : cases) EXPECT_STREQ(TextOf(c.Kind).One, c.One);
}

TEST(KindText, UnknownBusHasNoName) {
  EXPECT_STREQ(BusName(BusType_Can), "CAN");
  EXPECT_STREQ(BusName(BusType_Ethernet), "Ethernet");
  EXPECT_STREQ(BusName(4), "?");
}

}  // namespace
}  // namespace client
