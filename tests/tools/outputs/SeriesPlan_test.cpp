#include "outputs/SeriesPlan.h"

#include <gtest/gtest.h>

#include "system/Failure.h"

namespace client {
namespace {

constexpr unsigned long kSecond = 1'000'000'000;

std::string Refusal(const SeriesPlan& plan) {
  try {
    CheckSeriesPlan(plan);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

TEST(SeriesPlan, SensibleOnesAreTaken) {
  EXPECT_EQ(Refusal({}), "");
  EXPECT_EQ(Refusal({.Size = 1 << 20, .Time = 600 * kSecond, .KeepFiles = 1, .KeepSize = 1 << 20}), "");
  EXPECT_EQ(Refusal({.Time = 600 * kSecond, .Grid = SplitGrid::Local}), "");
}

TEST(SeriesPlan, WhatMakesNoSenseIsRefusedAndSaysWhatWould) {
  const std::pair<SeriesPlan, const char*> kCases[] = {
      {{.KeepFiles = 3}, "--keep and --keep-size are about the files of a series; add --split-size or --split-time"},
      {{.Size = 65535}, "--split-size is at least 64K"},
      {{.Time = kSecond - 1}, "--split-time is at least 1s"},
      {{.Size = 1 << 20, .Grid = SplitGrid::Utc},
       "--split-clock is about --split-time; add it, as in --split-time 10m"},
      {{.Time = 7 * kSecond, .Grid = SplitGrid::Utc},
       "--split-clock needs a --split-time that divides a day, such as 30s, 10m, 1h or 24h"},
      {{.Size = 1 << 20, .KeepFiles = 0}, "--keep is at least 1"},
      {{.Size = 1 << 20, .KeepSize = (1 << 20) - 1},
       "--keep-size is less than one file; give at least what --split-size has"},
      {{.Time = kSecond, .KeepSize = 100}, "--keep-size is at least 64K"},
  };
  for (const auto& [plan, sentence] : kCases) EXPECT_EQ(Refusal(plan), sentence);
}

}  // namespace
}  // namespace client
