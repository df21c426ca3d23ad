// The description of a recording as JSON text: docs/file-formats.md has the schema.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "stream/Description.h"

namespace client {

/// The version of the schema that is written, and the newest one that is read. A field that is added doesn't raise it; one
/// that changes its meaning does.
constexpr unsigned int kDescriptionVersion = 1;

/// In ASCII alone, closed by a newline; bytes that are no UTF-8 are replaced.
std::string ToJson(const Description& description);

/// The start of a recording, as it also stands in summaries; null where it isn't known.
nlohmann::json AnchorJson(const std::optional<ClockAnchor>& anchor);

/// Losses, as they stand in descriptions and in summaries.
nlohmann::json LossesJson(const std::vector<Loss>& losses);

/// Reads what ToJson writes. Fields that it doesn't know are passed over; those that are missing aren't known.
/// Failure: Failure for everything else. Its sentence begins in the middle: "is no JSON", "has version 2, ...".
Description DescriptionFromJson(std::string_view text);

}  // namespace client
