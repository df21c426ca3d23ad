#include "stream/TriggerSink.h"

#include <algorithm>

namespace client {

bool TriggerSink::Take(const RecordView& record) {
  const unsigned long time = record.Timestamp();
  Passing.Took(time);
  PassTo(time);
  for (Trigger& trigger : Triggers)
    if (trigger.When.Take(record)) Fire(time, trigger.Text);
  Latest = std::max(Latest.value_or(0), time);
  HeedButton();
  return Next.Take(record);
}

void TriggerSink::Pause() {
  if (const auto time = Passing.Now()) {
    PassTo(*time);
    Latest = std::max(Latest.value_or(0), *time);
  }
  HeedButton();
  Next.Pause();
}

void TriggerSink::PassTo(unsigned long time) {
  for (Trigger& trigger : Triggers)
    while (const auto moment = trigger.When.NextMoment(time)) Fire(*moment, trigger.Text);
}

/// It was pressed at the latest time that is known: what happens at this moment hasn't come out of the interfaces yet.
void TriggerSink::HeedButton() {
  if (Button == nullptr || !Latest) return;
  if (const char* const by = Button->Take()) Fire(*Latest, by);
}

void TriggerSink::NoteLosses(const std::vector<Loss>& losses) {
  for (Trigger& trigger : Triggers) trigger.When.NoteLosses(losses);
}

}  // namespace client
