#include "channel/LatestByKey.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace {

void Note(LatestByKey& latest, unsigned int key, unsigned int record) {
  latest.MakeRoom();
  latest.Note(key, record);
}

std::map<unsigned int, unsigned int> RowsOf(const LatestByKey& latest) {
  std::map<unsigned int, unsigned int> rows;
  for (const auto& row : latest) EXPECT_TRUE(rows.emplace(row.Key, row.Record).second) << row.Key;
  return rows;
}

}  // namespace

TEST(LatestByKey, HoldsTheLastRecordOfEachKey) {
  LatestByKey latest;
  EXPECT_TRUE(latest.empty());
  Note(latest, 5, 0);
  Note(latest, 0, 56);
  Note(latest, 5, 112);
  EXPECT_EQ(RowsOf(latest), (std::map<unsigned int, unsigned int>{{0, 56}, {5, 112}}));
}

TEST(LatestByKey, ForgetsAPollWithTheNextOne) {
  LatestByKey latest;
  for (unsigned int poll = 0; poll < 1000; ++poll) {
    Note(latest, poll % 7, poll);
    EXPECT_EQ(RowsOf(latest), (std::map<unsigned int, unsigned int>{{poll % 7, poll}}));
    latest.clear();
    EXPECT_TRUE(latest.empty());
  }
}

TEST(LatestByKey, HoldsAsManyKeysAsAPollCanBring) {
  std::mt19937 random(1);
  LatestByKey latest;
  for (const unsigned int keys : {100U, 20'000U, 65'536U}) {
    std::map<unsigned int, unsigned int> expected;
    for (unsigned int i = 0; i < 65'536; ++i) {
      const auto key = static_cast<unsigned int>(random() % keys) * 0x10001;
      Note(latest, key, i);
      expected[key] = i;
    }
    EXPECT_EQ(RowsOf(latest), expected);
    latest.clear();
  }
}
