// A raw record file read to its end.
#pragma once

#include <string>

#include "inputs/BinReader.h"

namespace client {

/// @return number of records
/// Failure: as BinReader.
inline unsigned long ReadBin(const std::string& path, RecordSink& sink) {
  BinReader reader(path);
  (void)ReadAll(reader, sink);
  return reader.Records();
}

}  // namespace client
