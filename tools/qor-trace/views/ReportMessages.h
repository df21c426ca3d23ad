// The messages of a report, as a section of its page.
#pragma once

#include <string>

#include "views/ReportData.h"

namespace client {

/// "Messages off their cycle": how many there are, and of which one interval is the longest against its cycle.
struct CycleOutliers {
  size_t Messages = 0;
  const MessageTimes::Item* Farthest = nullptr;  // null: there are none
  double Times = 0;                              // its longest interval in cycles
};
[[nodiscard]] CycleOutliers OutliersOf(const ReportSubject& report);

/// "CAN 18fe0102x on channel 1", not yet as HTML.
[[nodiscard]] std::string MessageName(const MessageTimes::Item& item);

/// A table for each bus: how many entries each message has, its cycle time with a histogram, and its outliers by time.
[[nodiscard]] std::string MessagesSection(const ReportSubject& report);

}  // namespace client
