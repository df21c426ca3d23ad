#include "linux/CanFilters.h"

#include <gtest/gtest.h>

#include <string>

#include "simulator/Error.h"

using qor_linux::ParseCanFilters;

namespace {

struct Expected {
  canid_t Id, Mask;
};

}  // namespace

TEST(CanFilters, IdentifiersMasksAndTheirOpposites) {
  const std::pair<std::string, Expected> cases[] = {
      {"100", {0x100, CAN_SFF_MASK | CAN_EFF_FLAG}},
      {"1", {0x001, CAN_SFF_MASK | CAN_EFF_FLAG}},
      {"100:7F0", {0x100, 0x7F0 | CAN_EFF_FLAG}},
      {"100~7F0", {0x100 | CAN_INV_FILTER, 0x7F0 | CAN_EFF_FLAG}},
      {"00000100", {0x100 | CAN_EFF_FLAG, CAN_EFF_MASK | CAN_EFF_FLAG}},
      {"18fef100:1FFFFF00", {0x18FEF100 | CAN_EFF_FLAG, 0x1FFFFF00 | CAN_EFF_FLAG}},
  };
  for (const auto& [text, expected] : cases) {
    const auto filters = ParseCanFilters(text);
    ASSERT_EQ(filters.size(), 1u) << text;
    EXPECT_EQ(filters[0].can_id, expected.Id) << text;
    EXPECT_EQ(filters[0].can_mask, expected.Mask) << text;
  }
}

TEST(CanFilters, SeveralAreJoinedByCommas) {
  const auto filters = ParseCanFilters("100,200:7FF,18FEF100");
  ASSERT_EQ(filters.size(), 3u);
  EXPECT_EQ(filters[1].can_id, 0x200u);
  std::string most = "0";
  for (int count = 1; count < CAN_RAW_FILTER_MAX; ++count) most += ",1";
  EXPECT_EQ(ParseCanFilters(most).size(), static_cast<size_t>(CAN_RAW_FILTER_MAX));
  EXPECT_THROW(ParseCanFilters(most + ",1"), qor_sim::Error);
}

TEST(CanFilters, WhatIsNoFilterIsRefusedByName) {
  for (const std::string text : {"", ",", "100,", "x", "0x100", "800", "1000", "20000000", "100:", "100:18FEF100",
                                 "18FEF100:7FF", "100:7F0:1", "100 ", "-1"}) {
    try {
      ParseCanFilters(text);
      ADD_FAILURE() << text;
    } catch (const qor_sim::Error& error) {
      EXPECT_EQ(error.Code(), unsigned{QOR_SIM_ERROR_SOURCE}) << text;
      EXPECT_NE(std::string(error.what()).find("hexadecimal"), std::string::npos);
    }
  }
}
