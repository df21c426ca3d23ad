// Two recordings held against each other, whatever their records and times are. Every record is settled once; a recording is equal
// to itself, also where its clock jumps; and of one that lacks some records exactly these are missing, if all have a time of
// their own.
#include <utility>

#include "Input.h"
#include "tools/views/Compared.h"

namespace {

using client::Bytes;
using client::ComparedCounts;
using client::Comparison;
using client::ComparisonPlan;
using client::Recording;
using client::Side;

constexpr size_t kMostRecords = 400;  // fewer than one waits for that goes back in time

ComparisonPlan PlanOf(fuzz::Input& input) {
  ComparisonPlan plan;
  plan.Times.Counts = !input.OneIn(3);
  if (!plan.Times.Counts) plan.Ignored.Add(client::ComparedField::Time);
  if (input.OneIn(2)) plan.Times.Tolerance = input.Take<std::uint32_t>();
  const auto ignored = input.OneIn(4) ? input.Take<std::uint32_t>() : 0u;
  for (size_t field = 1; field < client::kComparedFieldCount; ++field)
    if ((ignored >> field & 1) != 0) plan.Ignored.set(field);
  const unsigned int formats = input.OneIn(3) ? input.Below(16) : 0;
  for (size_t format = 0; format < client::kKeptFormatCount; ++format)
    if ((formats >> format & 1) != 0) plan.Formats.Add(static_cast<client::KeptFormat>(format));
  plan.MostShown = input.Below(20);
  return plan;
}

/// A record of few messages, so that many are alike; sometimes of any bytes.
Bytes RecordFrom(fuzz::Input& input, unsigned long time) {
  const unsigned int kind = input.Below(8);
  const auto data = input.TakeBytes(input.Below(3));
  const unsigned int id = input.Below(3);
  const unsigned int channel = 1 + input.Below(2);
  switch (kind) {
    case 0:
      return client::RecordOf(test::LinItem().Channel(channel).At(time).Id(id).Data(data, 7));
    case 1:
      return client::RecordOf(test::FlexRayItem().Channel(channel).At(time).Slot(id).Kind(input.Below(11)).Data(data));
    case 2:
      return client::RecordOf(test::EthernetItem().Channel(channel).At(time).Frame(data));
    case 3: {
      const auto entry = test::CanItem().Channel(channel).At(time).Data(data).Entry();
      test::Record odd(*entry);
      odd.CutTo(28 + input.Below(20));
      odd.Put(24, input.Take<std::uint8_t>());
      return {odd.Data(), odd.Data() + odd.Length()};
    }
    default:
      return client::RecordOf(test::CanItem().Channel(channel).At(time).Id(id).Data(data));
  }
}

/// @param inOrder  each time is later than the one before
Recording RecordingFrom(fuzz::Input& input, bool inOrder) {
  Recording records;
  unsigned long time = 0;
  while (input.Left() > 0 && records.size() < kMostRecords) {
    const unsigned long step = 1ul << input.Below(36);
    time += inOrder || !input.OneIn(8) ? step : 0 - step;
    records.push_back(RecordFrom(input, time));
  }
  return records;
}

void RequireAllSettled(const Comparison& compared, const Recording& a, const Recording& b) {
  const ComparedCounts all = compared.All();
  const unsigned long pairs = all.Equal + all.Differing;
  fuzz::Require(pairs + all.Only(Side::A) + compared.LeftOut(Side::A) == a.size(), "each record of A is settled once");
  fuzz::Require(pairs + all.Only(Side::B) + compared.LeftOut(Side::B) == b.size(), "each record of B is settled once");
  fuzz::Require(compared.AnyDifference() == all.AnyDifference(), "what differs is counted");
  fuzz::Require(compared.Shown().size() <= compared.Plan().MostShown, "no more is shown than asked for");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const ComparisonPlan plan = PlanOf(input);
  const bool inOrder = input.OneIn(2);
  const unsigned int seed = input.Take<std::uint8_t>();
  const Recording all = RecordingFrom(input, inOrder);
  const auto same = client::Compared(all, all, plan);
  RequireAllSettled(*same, all, all);
  fuzz::Require(!same->AnyDifference(), "a recording is equal to itself");
  Recording some;
  for (size_t index = 0; index < all.size(); ++index)
    if ((index * 7 + seed) % 5 != 0) some.push_back(all[index]);
  const auto lacking = client::Compared(all, some, plan);
  RequireAllSettled(*lacking, all, some);
  RequireAllSettled(*client::Compared(some, all, plan), some, all);
  if (!inOrder || !plan.Times.Counts || plan.Times.Tolerance > 0) return 0;
  const ComparedCounts counts = lacking->All();
  fuzz::Require(counts.Only(Side::B) == 0 && counts.Differing == 0, "nothing is different but what is missing");
  return 0;
}
