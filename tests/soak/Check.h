// What the soak expects; the first thing that doesn't hold ends the process.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace soak {

[[noreturn]] inline void Fail(const std::string& what) {
  std::fprintf(stderr, "soak: %s\n", what.c_str());
  std::exit(1);
}

inline void Expect(bool holds, const std::string& what) {
  if (!holds) Fail(what);
}

/// Expects a call of the C interfaces to have returned 0.
inline void ExpectOk(unsigned int status, const char* call) {
  if (status != 0) Fail(std::string(call) + " failed: " + std::to_string(status));
}

}  // namespace soak
