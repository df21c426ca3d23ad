#include "stream/StreamLimit.h"

#include <algorithm>

#include "record/RecordKind.h"
#include "stream/TimeCut.h"

namespace client {

bool StreamLimit::Take(const RecordView& record) {
  if (Ended != Reached::Nothing) return false;
  const unsigned long time = record.Timestamp();
  if (!Begun && Limits.Time) End = time + std::min(*Limits.Time, ~0ul - time);
  Begun = true;
  if (Limits.Time && time >= *End) {
    if (time - *End >= TimeCut::kLongestDelay) Ended = Reached::Time;
    return Ended == Reached::Nothing;
  }
  if (!Next.Take(record)) return false;
  Count(record);
  return Ended == Reached::Nothing;
}

void StreamLimit::Count(const RecordView& record) {
  ++Entries;
  Bytes += record.Length();
  if (Limits.Frames && IsFrame(record.Kind())) ++Frames;
  if (Limits.Entries && Entries >= *Limits.Entries) Ended = Reached::Entries;
  if (Limits.Frames && Frames >= *Limits.Frames) Ended = Reached::Frames;
  if (Limits.Bytes && Bytes >= *Limits.Bytes) Ended = Reached::Bytes;
  if (Ended != Reached::Nothing) End = std::min(End.value_or(~0ul), record.Timestamp() + 1);
}

}  // namespace client
