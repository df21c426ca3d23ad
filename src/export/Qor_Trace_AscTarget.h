// What an ASC log can be written to in place of files.
#pragma once

#include <string>
#include <string_view>

/// Takes the text of an ASC log, file by file. Its failures are its own: the log doesn't learn of them and
/// carries on.
class Qor_Trace_AscTarget {
 public:
  virtual ~Qor_Trace_AscTarget() = default;

  /// A file of the log begins: the first one, or the next one of a series.
  /// @param name  as a log without a target would name it
  virtual void Begin(const std::string& name) = 0;
  /// More of the file that was begun last; whole lines.
  virtual void Write(std::string_view text) = 0;
  /// The file that was begun last is complete.
  virtual void End() = 0;
};
