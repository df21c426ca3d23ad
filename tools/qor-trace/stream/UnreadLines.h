// Lines of a text recording that could not be read and were left out.
#pragma once

#include <string>
#include <vector>

namespace client {

struct UnreadLine {
  unsigned long Number = 0;  // in the file, from 1
  std::string Reason;        // without a full stop
};

struct UnreadLines {
  std::string File;  // as typed
  unsigned long Count = 0;
  std::vector<UnreadLine> First;  // a few of them
};

}  // namespace client
