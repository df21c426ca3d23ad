// When the clock of the entries showed what: from the moment at which the first entries came.
#pragma once

#include "stream/Description.h"

namespace client {

/// The first entries of a recording, as they were drained from the trace. No call asks an interface what its clock shows, so
/// this is all that ties it to UTC. Times in ns; those since the start are of a clock that is never set.
struct FirstArrival {
  unsigned long Started = 0;    // since 1970: when the interfaces were about to be started
  unsigned long StartTook = 0;  // until they were
  unsigned long Earliest = 0;   // since Started: after which the entries happened, as the trace was empty till then
  unsigned long Drained = 0;    // since Started: before which they happened
  unsigned long First = 0, Last = 0;  // smallest and greatest time of the entries
  double Speed = 1;                   // trace seconds a second of the fastest source; 0: as fast as it can be drained
};

/// What clock that is, and what it showed at the start of the recording: a whole ms of UTC, which the date of every format can
/// hold. Started should be shortly after one.
///
/// - A clock that shows decades counts since 1970; its word is taken.
/// - A clock that can have begun at 0 with the recording did so: it is off by at most the time that the start took.
/// - Another one was running before. Its entries happened between Earliest and Drained: the middle is taken, half of what is
///   open is the uncertainty.
void SetClock(Description& description, const FirstArrival& arrival);

}  // namespace client
