// What a file can say of the recording as a whole, and how its bus events are laid out.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "internal/Visibility.h"

/// How bus events are laid out. Tables of both: docs/mdf-bus-logging.md.
enum class BusConvention : unsigned char {
  kExported,  // the library's own; the default
  kStandard   // the format's bus-logging convention, for programs of other makers
};

/// Where, with what and from what a recording was made, and what is missing in it. Texts are plain; any of them may be
/// empty. Bytes that aren't UTF-8 are left out in the file.
struct QOR_EXPORT RecordingInfo {
  struct QOR_EXPORT Channel {
    unsigned int BusChannel = 0;
    unsigned char BusType = 0;      // Qor_Trace_BusType
    std::string Name = {};          // of the interface
    std::string Source = {};        // what was opened, as a person wrote it
    std::string Hardware = {};      // what the interface is
    std::string Filter = {};        // what of the channel was recorded
    unsigned long BitRate = 0;      // bit/s; 0 for unknown
    unsigned long DataBitRate = 0;  // bit/s; of CAN FD frames with bit-rate switch
  };
  struct QOR_EXPORT Loss {
    unsigned int BusChannel = 0;
    std::string Cause = {};
    unsigned long First = 0;                            // ns, clock of the entries: nothing is missing before
    unsigned long Last = 0;                             // likewise: nothing after
    std::optional<unsigned long> Count = std::nullopt;  // items; nothing where it isn't known
  };

  std::string Title = {};
  std::string Tool = {};         // program that recorded
  std::string ToolVersion = {};  // of that program
  std::string ToolVendor = {};
  std::string Host = {};     // name of the machine
  std::string System = {};   // its operating system
  std::string Machine = {};  // its hardware
  unsigned long Start = 0;   // ns since 1970, UTC; 0 for the file's start time
  std::vector<Channel> Channels = {};
  std::vector<Loss> Losses = {};
};
