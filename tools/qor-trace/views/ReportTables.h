// The tables of a report: sections of its page, as HTML.
#pragma once

#include <cstddef>
#include <string>

#include "views/ReportData.h"

namespace client {

// What a table shows at most. What goes beyond it is counted, and messages are named.
inline constexpr size_t kMostMessages = 400;  // in all tables of messages: those with most entries
inline constexpr size_t kMostNames = 2000;    // further messages that are named
inline constexpr size_t kMostRows = 300;      // of another table

/// "500k / 2M bit/s", with a word where nobody has said so.
[[nodiscard]] std::string RatesText(const ChannelActivity& channel);
/// "25.5 %", "A 10.0 %, B 9.8 %"
[[nodiscard]] std::string LoadText(const ReportSubject& report, const ChannelActivity& channel);
/// "311", "311 or more", "yes, their number isn't known"; empty where nothing is missing.
[[nodiscard]] std::string LostText(const std::vector<Loss>& losses);
/// What came from a channel: its source and the name of its interface.
[[nodiscard]] std::string SourceText(const ReportSubject& report, unsigned int channel);

// Each is empty where there is nothing to show.

[[nodiscard]] std::string ChannelsSection(const ReportSubject& report);
[[nodiscard]] std::string ErrorsSection(const ReportSubject& report);
[[nodiscard]] std::string LossesSection(const ReportSubject& report);
[[nodiscard]] std::string SilencesSection(const ReportSubject& report);
[[nodiscard]] std::string FindingsSection(const ReportSubject& report);

}  // namespace client
