#include "stream/ConditionCut.h"

namespace client {

bool ConditionCut::Take(const RecordView& record) {
  const unsigned long time = record.Timestamp();
  Passing.Took(time);
  PassTo(time);
  if (HasEnded()) return false;
  const bool startsNow = !HasStarted() && Starts(record);
  if (!HasStarted()) {
    ++Before;
    return true;
  }
  // Its state has to follow from the start on, although the record of the start isn't the stop.
  const bool happens = Bounds.Stop && Bounds.Stop->Take(record);
  const bool goesOn = Next.Take(record);
  if (happens && !startsNow) End = time + 1;
  return goesOn && !HasEnded();
}

bool ConditionCut::Starts(const RecordView& record) {
  if (!Bounds.Start->Take(record)) return false;
  StartAt(record.Timestamp());
  return true;
}

void ConditionCut::StartAt(unsigned long time) {
  Begin = time;
  if (Bounds.Stop && Bounds.Stop->NextMoment(time)) End = time;
  if (Started) Started();
}

void ConditionCut::PassTo(unsigned long time) {
  if (HasEnded()) return;
  if (!HasStarted()) {
    const auto moment = Bounds.Start->NextMoment(time);
    if (!moment) return;
    StartAt(*moment);
  }
  if (!Bounds.Stop) return;
  if (const auto moment = Bounds.Stop->NextMoment(time)) End = *moment;
}

void ConditionCut::Pause() {
  if (const auto time = Passing.Now()) PassTo(*time);
  Next.Pause();
}

void ConditionCut::NoteLosses(const std::vector<Loss>& losses) {
  if (Bounds.Start) Bounds.Start->NoteLosses(losses);
  if (Bounds.Stop) Bounds.Stop->NoteLosses(losses);
}

std::optional<std::pair<unsigned long, unsigned long>> ConditionCut::Inside() const {
  if (!HasStarted()) return std::nullopt;
  return std::pair(Begin.value_or(0), End.value_or(~0ul));
}

}  // namespace client
