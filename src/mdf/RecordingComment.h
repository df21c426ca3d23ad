// What the comments of a file say of its recording (not exported).
#pragma once

#include <string>

#include "mdf/RecordingInfo.h"

namespace MDF {

/// The XML of the header's comment: first as a text for people, then as named properties for programs.
[[nodiscard]] std::string HeaderComment(const RecordingInfo& info);

/// The XML of the history entry of the program that recorded.
[[nodiscard]] std::string HistoryComment(const RecordingInfo& info);

}  // namespace MDF
