// How failures travel inside the simulator; the C entry points turn them into results.
#pragma once

#include <exception>
#include <string>
#include <utility>

#include "qor_sim.h"

namespace qor_sim {

/// A failed call: the result to return, and a sentence that explains it.
class Error : public std::exception {
 public:
  Error(unsigned int code, std::string text) : ResultCode(code), Text(std::move(text)) {}
  unsigned int Code() const { return ResultCode; }
  const char* what() const noexcept override { return Text.c_str(); }

 private:
  unsigned int ResultCode;
  std::string Text;
};

/// The source text is at fault.
inline Error SourceError(std::string text) { return Error(QOR_SIM_ERROR_SOURCE, std::move(text)); }

/// The file that a source names is at fault.
inline Error FileError(std::string text) { return Error(QOR_SIM_ERROR_FILE, std::move(text)); }

inline Error ArgumentError(std::string text) { return Error(QOR_SIM_ERROR_ARGUMENT, std::move(text)); }

}  // namespace qor_sim
