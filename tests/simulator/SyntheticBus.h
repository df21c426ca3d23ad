// What the tests of all synthetic buses do with a source.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "SyntheticSource.h"

using MakeBus = std::unique_ptr<qor_sim::ItemSource> (*)(const qor_sim::SyntheticSettings&);

/// All items of a bus; checks that they are in order of their times.
inline std::vector<qor_sim::Item> ItemsOf(qor_sim::ItemSource& source) {
  std::vector<qor_sim::Item> items;
  for (uint64_t last = 0; source.Peek() != nullptr; source.Advance()) {
    items.push_back(*source.Peek());
    EXPECT_GE(items.back().Timestamp, last);
    EXPECT_EQ(items.back().Due, items.back().Timestamp);
    last = items.back().Timestamp;
  }
  return items;
}

inline void ExpectSameSeedSameItems(MakeBus make) {
  const auto first = make({7, {}});
  const auto second = make({7, {}});
  for (int i = 0; i < 20'000; ++i) {
    ASSERT_EQ(first->Peek()->Bytes, second->Peek()->Bytes) << i;
    first->Advance();
    second->Advance();
  }
}

/// Of the first items, some differ.
inline void ExpectOtherSeedOtherItems(MakeBus make) {
  const auto first = make({1, {}});
  const auto second = make({2, {}});
  int different = 0;
  for (int i = 0; i < 100; ++i) {
    different += first->Peek()->Bytes != second->Peek()->Bytes ? 1 : 0;
    first->Advance();
    second->Advance();
  }
  EXPECT_GT(different, 10);
}

/// @param greatestPause  ns that the bus may be quiet
inline void ExpectEndWithDuration(MakeBus make, uint64_t greatestPause) {
  constexpr uint64_t kDuration = 2'000'000'000;
  const auto source = make({1, kDuration});
  const auto items = ItemsOf(*source);
  ASSERT_FALSE(items.empty());
  EXPECT_LT(items.back().Timestamp, kDuration);
  EXPECT_GT(items.back().Timestamp, kDuration - greatestPause);
  EXPECT_EQ(make({1, 0})->Peek(), nullptr);
}
