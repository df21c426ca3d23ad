// Bus traffic as records, for benchmarks of the client: the same in every run.
#pragma once

#include <cstddef>
#include <functional>

#include "Random.h"
#include "record/RecordView.h"
#include "support/EntryBuilder.h"

namespace bench {

using MakeEntry = test::EntryPtr (*)(Random& random, unsigned long time);

inline test::EntryPtr Can(Random& random, unsigned long time) {
  return test::CanItem().At(time).Id(random.Below(0x800)).Data(random.SomeBytes(8)).Entry();
}

inline test::EntryPtr CanFd(Random& random, unsigned long time) {
  return test::CanItem().At(time).Id(random.Below(0x800)).Fd().Brs().Data(random.SomeBytes(64)).Entry();
}

inline test::EntryPtr Lin(Random& random, unsigned long time) {
  return test::LinItem().Channel(2).At(time).Id(random.Below(64)).Data(random.SomeBytes(8), 0x5A).Entry();
}

/// What a vehicle has, roughly: mostly CAN.
inline test::EntryPtr FourBuses(Random& random, unsigned long time) {
  switch (random.Below(10)) {
    case 0:
      return Lin(random, time);
    case 1:
      return test::FlexRayItem().Channel(3).At(time).Slot(1 + random.Below(2047)).Data(random.SomeBytes(32)).Entry();
    case 2:
      return test::EthernetItem().Channel(4).At(time).Frame(random.SomeBytes(60 + random.Below(200))).Entry();
    default:
      return Can(random, time);
  }
}

struct Traffic {
  const char* Name;
  size_t Records;  // of a round
  MakeEntry Make;
};

constexpr Traffic kCan = {"CAN", 400'000, Can};
constexpr Traffic kCanFd = {"CAN FD 64", 100'000, CanFd};
constexpr Traffic kFourBuses = {"four buses", 200'000, FourBuses};
constexpr Traffic kLin = {"LIN", 400'000, Lin};

/// Hands out records on a clock that counts since 1970, 0.1 to 0.3 ms apart.
inline void ForEachRecord(MakeEntry make, size_t count, const std::function<void(const RecordView&)>& visit) {
  Random random;
  unsigned long time = 1'794'733'219'123'456'000;
  for (size_t i = 0; i < count; ++i)
    visit(RecordView(*make(random, time += 100'000 + random.Below(200'000))->GetEntry()));
}

}  // namespace bench
