// What it takes to describe what is added while recording: as much for the thousandth event or bus as for the first. Counted
// in allocations, which a walk through everything that is there already needs for each block.
#include <gtest/gtest.h>

#include "support/FailingAllocator.h"
#include "support/MdfEntries.h"
#include "support/TemporaryDirectory.h"

namespace {

using test::CanItem;
using test::FailingAllocator;
using test::Insert;

class MdfDescriptionCost : public ::testing::Test {
 protected:
  /// True when the call takes fewer allocations than this.
  template <class Call>
  static bool TakesLessThan(unsigned long allocations, const Call& call) {
    const FailingAllocator exhausted(FailingAllocator::ThisThread, allocations, FailingAllocator::Once);
    try {
      EXPECT_TRUE(call());
    } catch (const std::bad_alloc&) {
      return false;
    }
    return !exhausted.HasFailed();
  }

  test::TemporaryDirectory Directory;
};

TEST_F(MdfDescriptionCost, EventCostsTheSameHoweverManyCameBefore) {
  MdfFile file("trace", 0);
  ASSERT_TRUE(file.Bus_Add(1, BusType_Can));
  CanItem frame;
  const auto event = [&](unsigned long time) { return file.Event("mark", 2, 4, time) && Insert(file, frame.At(time)); };
  for (unsigned long time = 0; time < 500; ++time) ASSERT_TRUE(event(time));
  EXPECT_TRUE(TakesLessThan(100, [&] { return event(500); }));
}

TEST_F(MdfDescriptionCost, ScopedEventCostsTheSameHoweverManyBusesThereAre) {
  MdfFile file("trace", 0);
  for (unsigned int bus = 1; bus <= 50; ++bus) ASSERT_TRUE(file.Bus_Add(bus, BusType_Can));
  ASSERT_TRUE(file.Write());
  const auto event = [&] { return file.Event("mark", 2, 4, 0, 25, BusType_Can) && file.Write(); };
  EXPECT_TRUE(TakesLessThan(100, event));
}

TEST_F(MdfDescriptionCost, BusCostsTheSameHoweverManyCameBefore) {
  MdfFile file("trace", 0);
  const auto bus = [&](unsigned int number) { return file.Bus_Add(number, BusType_Can) && file.Write(); };
  for (unsigned int number = 1; number <= 100; ++number) ASSERT_TRUE(bus(number));
  EXPECT_TRUE(TakesLessThan(1000, [&] { return bus(101); }));
}

}  // namespace
