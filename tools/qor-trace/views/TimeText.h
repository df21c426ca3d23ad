// Times of entries as tables show them.
#pragma once

#include <string>

#include "stream/TimeBase.h"

namespace client {

enum class TimeFormat {
  Relative,  // s since the start of the recording: "1.500000000"
  Utc,       // "2026-11-21T14:30:01.500000Z"
  Local,     // the same in local time, without the Z
  Epoch,     // s since 1970: "1795271401.500000000"
};

/// Does it need to be known when the recording was made?
constexpr bool NeedsUtc(TimeFormat format) { return format != TimeFormat::Relative; }

/// Where the recording's moment isn't known, times count as if its clock had begun with 1970.
std::string TimeText(unsigned long time, TimeFormat format, const TimeBase& times);

}  // namespace client
