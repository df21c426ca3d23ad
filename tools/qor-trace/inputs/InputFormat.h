// The formats that are read.
#pragma once

#include <string>

#include "system/Compression.h"

namespace client {

enum class InputFormat { Bin, Asc, Candump, Csv, Mdf, Pcap, Pcapng };

/// "bin", "mf4" and so on: how its names end.
[[nodiscard]] const char* Word(InputFormat format);
/// For people: "raw records", "measurement file".
[[nodiscard]] const char* NameOf(InputFormat format);

/// What an input is.
struct InputKind {
  InputFormat Format = InputFormat::Bin;
  Compression Packing = Compression::None;

  bool operator==(const InputKind&) const = default;
};

/// "gzip", "zstd"; null for what isn't compressed.
[[nodiscard]] const char* PackingWord(const InputKind& kind);
/// "ASC log, compressed by gzip"
[[nodiscard]] std::string NameOf(const InputKind& kind);

}  // namespace client
