// The hardware library's error handler, replaced for tests that look at what is reported.
//
// An executable that links ErrorReports.cpp takes every report itself, whatever library it is linked with.
#pragma once

#include <string>
#include <vector>

namespace test {

struct ErrorReport {
  unsigned int Level;
  unsigned int Code;
  std::string Text;
  bool operator==(const ErrorReport&) const = default;
};

/// The reports since the last call, oldest first. May be called from any thread.
std::vector<ErrorReport> TakeErrorReports();

}  // namespace test
