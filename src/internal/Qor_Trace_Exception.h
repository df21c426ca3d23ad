#pragma once

#include <string>

#include "internal/Visibility.h"

/// The one exception of the trace library. Building it reports the error to the hardware library's error handler;
/// nobody reports it again.
class QOR_EXPORT Qor_Trace_Exception {
 public:
  /// @param level  255 for an error of no particular interface, else the port handle concerned
  /// @param code   status, 0x0214nnnn or a code of the hardware library
  /// @param text   the report's text; taken as it stands, never as a format
  Qor_Trace_Exception(unsigned int level, unsigned int code, const std::string& text);
  /// The same, allocating no memory: it may be what is missing.
  Qor_Trace_Exception(unsigned int level, unsigned int code, const char* text);

  [[nodiscard]] unsigned int GetErrorCode() const { return Code; }

 private:
  unsigned int Code;
};
