// Two recordings held against each other, and synthetic ones to do it with.
#pragma once

#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "tools/ClientEntries.h"
#include "views/Comparison.h"

namespace client {

constexpr unsigned long kMs = 1'000'000;  // ns

/// A recording, record by record.
using Recording = std::vector<Bytes>;

/// Feeds both to their ends, as the comparison wants them.
inline std::unique_ptr<Comparison> Compared(const Recording& a, const Recording& b, const ComparisonPlan& plan = {}) {
  auto comparison = std::make_unique<Comparison>(plan);
  const std::array<const Recording*, 2> recordings = {&a, &b};
  std::array<size_t, 2> next = {};
  while (const auto side = comparison->Wanted()) {
    const auto place = static_cast<size_t>(*side);
    const Recording& from = *recordings[place];
    if (next[place] == from.size()) {
      comparison->End(*side);
      continue;
    }
    const RecordView record = ViewOf(from[next[place]]);
    comparison->Take(*side, record, record.Timestamp(), ++next[place]);
  }
  return comparison;
}

inline ComparisonPlan WithTolerance(unsigned long ns) { return {.Times = {.Counts = true, .Tolerance = ns}}; }

inline ComparisonPlan WithoutTimes() {
  ComparisonPlan plan{.Times = {.Counts = false}};
  plan.Ignored.Add(ComparedField::Time);
  return plan;
}

/// A CAN bus with a frame every ms: every fourth one has a counter, the others are always the same, as most of a real bus is.
inline Recording Drive(size_t count, unsigned int channel = 1) {
  Recording records;
  for (size_t index = 0; index < count; ++index) {
    const auto counter = static_cast<unsigned char>(index / 4);
    const auto high = static_cast<unsigned char>(index / 4 / 256);
    test::CanItem frame;
    frame.Channel(channel).At(index * kMs).Id(0x100 + static_cast<unsigned int>(index % 4));
    records.push_back(RecordOf(index % 4 == 0 ? frame.Data({counter, high}) : frame.Data({0x11, 0x22})));
  }
  return records;
}

inline Recording Without(Recording records, size_t first, size_t count = 1) {
  const auto from = records.begin() + static_cast<std::ptrdiff_t>(first);
  records.erase(from, from + static_cast<std::ptrdiff_t>(count));
  return records;
}

/// The same a while later.
inline Recording Later(Recording records, unsigned long ns) {
  for (Bytes& record : records) reinterpret_cast<Qor_Trace_Entry_t*>(record.data())->Timestamp += ns;
  return records;
}

}  // namespace client
