// Opens what is to be read, in whatever format it is.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "inputs/InputFormat.h"
#include "inputs/Reader.h"

namespace client {

/// By what an input begins with; where that says nothing, by its name; else it is taken for raw records, whose reader says
/// what is wrong.
/// @param front  the first bytes, as many as there are, at most kFront; the first kFrontOfPipe must do
[[nodiscard]] InputFormat FormatOfInput(std::span<const unsigned char> front, const std::string& path);
constexpr size_t kFront = size_t{64} << 10;
constexpr size_t kFrontOfPipe = 8;

/// By the name alone: a recording that is read as it is, even where it could be replayed.
[[nodiscard]] bool IsNameOfInput(const std::string& path);

/// Opens a file ("-": standard input), or the series of a name that no file has: see OpenSeries. What a pipe holds is known once it is read.
/// Failure: Failure when it can't be read, or isn't what it seems to be; UsageError when standard input is a terminal.
[[nodiscard]] std::unique_ptr<Reader> OpenInput(const std::string& path);
/// Likewise, for what a crash has left: a damaged part of raw records is passed over.
[[nodiscard]] std::unique_ptr<Reader> OpenDamagedInput(const std::string& path);

/// After the whole input was read: one without a single record is a mistake, and not worth an existing output, unless it is
/// standard input.
/// Failure: Failure that names it.
void RefuseWithoutRecords(const Reader& reader, const std::string& path);

}  // namespace client
