// The formats that are read.
#pragma once

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

}  // namespace client
