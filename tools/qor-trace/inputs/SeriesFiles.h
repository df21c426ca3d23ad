// What a reader of several files is besides a Reader.
#pragma once

#include <string>
#include <vector>

namespace client {

class SeriesFiles {
 public:
  virtual ~SeriesFiles() = default;

  /// Files that are read after the one that was named.
  [[nodiscard]] virtual std::vector<std::string> LaterFiles() const = 0;
};

}  // namespace client
