#include "views/TimeText.h"

#include <fmt/format.h>

#include "system/Units.h"

namespace client {

std::string TimeText(unsigned long time, TimeFormat format, const TimeBase& times) {
  switch (format) {
    case TimeFormat::Relative: {
      const long since = times.SinceStart(time);
      if (since < 0) return fmt::format("-{}", FormatSeconds(0 - static_cast<unsigned long>(since)));
      return FormatSeconds(static_cast<unsigned long>(since));
    }
    case TimeFormat::Utc:
      return FormatUtc(times.UtcOf(time));
    case TimeFormat::Local:
      return FormatLocal(times.UtcOf(time));
    case TimeFormat::Epoch:
      return FormatSeconds(times.UtcOf(time));
  }
  return "";
}

}  // namespace client
