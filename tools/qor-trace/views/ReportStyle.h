// How a report looks, and its script.
#pragma once

namespace client {

/// Light and dark, on paper and on narrow screens.
extern const char* const kReportStyle;

/// Sorts tables by the column whose heading is pressed. Nothing is missing without it.
extern const char* const kReportScript;
/// Of the script's bytes, in base64: the page allows this one and no other.
extern const char* const kReportScriptSha256;

}  // namespace client
