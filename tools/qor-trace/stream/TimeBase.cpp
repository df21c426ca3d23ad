#include "stream/TimeBase.h"

namespace client {

namespace {

/// utc + (to - from), kept within 64 bits.
unsigned long Shifted(unsigned long utc, unsigned long from, unsigned long to) {
  if (to >= from) {
    const unsigned long sum = utc + (to - from);
    return sum < utc ? ~0ul : sum;
  }
  const unsigned long back = from - to;
  return back > utc ? 0 : utc - back;
}

}  // namespace

unsigned long TimeBase::UtcOf(unsigned long time) const { return Utc ? Shifted(*Utc, Start, time) : time; }

}  // namespace client
