// A capture that Wireshark has asked for.
#pragma once

#include <string>
#include <vector>

#include "commands/ExtcapInterfaces.h"
#include "system/Signals.h"

namespace client {

/// As Wireshark hands it over; empty where it says nothing.
struct ExtcapRequest {
  std::string Fifo;
  std::string CaptureFilter;
  std::string Filter;  // both have to match
  std::string Source;  // several, separated by blanks; "..." keeps blanks
  std::string File;
  std::string Speed;
  std::string Duration;
};

/// Captures into the named pipe until the sources end, the reader goes or a stop is requested.
///
/// Says nothing, since Wireshark shows it as an error, except what went wrong and what is missing.
///
/// @return  the exit code: 3 when something is missing
/// Failure: UsageError, of an expression FilterError; Failure. Wireshark has got an empty capture then, so that it shows only
///          what was thrown.
[[nodiscard]] int CaptureForWireshark(const ExtcapInterface& interface, const ExtcapRequest& request, Signals& signals);

/// Words separated by blanks, but for those in double quotes.
[[nodiscard]] std::vector<std::string> SourcesIn(const std::string& text);

}  // namespace client
