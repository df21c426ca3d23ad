#include "stream/BlackBox.h"

#include <algorithm>

namespace client {

namespace {

// Whoever fires reads the clock a little earlier.
constexpr unsigned long kClocksApart = 1'000'000'000;  // ns

unsigned long Before(unsigned long time, unsigned long by) { return time - std::min(time, by); }
unsigned long After(unsigned long time, unsigned long by) { return time + std::min(by, ~0ul - time); }

}  // namespace

void BlackBox::Fire(unsigned long time, const std::string& by) {
  PassTo(time);
  if (!Open) BeginAt(Plan.Past.Time ? Before(time, *Plan.Past.Time) : 0);
  Note(time, by);
  HandOverPast();
}

void BlackBox::BeginAt(unsigned long from) {
  Open.emplace();
  Open->Number = NextNumber++;
  Open->From = from;
  Open->PastIsShort = Plan.Past.Time && Past.DroppedForSize() && *Past.DroppedForSize() >= from;
}

void BlackBox::Note(unsigned long time, const std::string& by) {
  const bool begins = Open->TriggerCount++ == 0;
  if (Open->Triggers.size() < Incident::kMostTriggers) Open->Triggers.push_back({time, by});
  Open->To = std::max(Open->To, After(time, Plan.Post));
  if (begins) Into.Begin(*Open);
}

void BlackBox::HandOverPast() {
  unsigned long late = 0;  // out of order, and from before the incident
  Past.ForEach([&](const RecordView& record) {
    if (record.Timestamp() >= Open->From)
      HandOn(record);
    else
      ++late;
  });
  Past.Clear();
  Dropped += late;
}

void BlackBox::HandOn(const RecordView& record) {
  const unsigned long time = record.Timestamp();
  Open->FirstTime = Open->Entries == 0 ? time : std::min(Open->FirstTime, time);
  Open->LastTime = std::max(Open->LastTime, time);
  ++Open->Entries;
  GoesOn = Into.Take(record) && GoesOn;
}

bool BlackBox::Take(const RecordView& record) {
  const unsigned long time = record.Timestamp();
  Passing.Took(time);
  PassTo(time);
  if (Open && time >= Open->From && time <= Open->To)
    HandOn(record);
  else
    KeepForLater(record);
  return GoesOn;
}

void BlackBox::Pause() {
  if (const auto time = Passing.Now()) PassTo(Before(*time, kClocksApart));
  Into.Pause();
}

/// What happens from now on doesn't reach back to what is dropped, nor to an incident that ends before that.
void BlackBox::PassTo(unsigned long time) {
  if (!Plan.Past.Time) return;
  Dropped += Past.DropBefore(Before(time, *Plan.Past.Time));
  if (Open && Before(time, *Plan.Past.Time) > Open->To) Close();
}

/// When the size is full before the time is over, the open incident can't be continued without a gap.
void BlackBox::KeepForLater(const RecordView& record) {
  Dropped += Past.Keep(record);
  if (Open && Past.DroppedForSize().value_or(0) > Open->To) Close();
}

void BlackBox::Close() {
  Into.End(*Open);
  Open.reset();
}

void BlackBox::EndIncident() {
  if (Open) Close();
}

void BlackBox::Finish() {
  EndIncident();
  Dropped += Past.Clear();
}

}  // namespace client
