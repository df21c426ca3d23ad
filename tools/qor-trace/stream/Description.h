// What is known of a recording besides its entries: when and where it was made, its channels, and what is missing.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "stream/ChannelNumbers.h"
#include "stream/TimeBase.h"

namespace client {

/// What the clock of the entries counts from.
enum class ClockEpoch {
  Unknown,    // the description doesn't say; see CountsSince1970
  Since1970,  // UTC
  Own,        // some moment of its own, such as its switching on
};

/// How an anchor came about.
enum class AnchorOrigin {
  RecordingStart,  // the clock began with the recording
  FirstEntries,    // the clock was running: from when its first entries came
  Clock,           // the clock counts since 1970 itself
  Given,           // a person has said when the first entry happened
};

/// The start of the recording on both clocks.
struct ClockAnchor {
  unsigned long EntryTime = 0;                              // ns, clock of the entries
  unsigned long Utc = 0;                                    // ns since 1970
  std::optional<unsigned long> Uncertainty = std::nullopt;  // ns, either way; nothing where it isn't known
  AnchorOrigin Origin = AnchorOrigin::Given;

  bool operator==(const ClockAnchor&) const = default;
};

/// A channel. Texts that aren't known are empty, bit rates 0.
struct ChannelDescription {
  unsigned int Number = 1;
  std::optional<unsigned char> BusType = std::nullopt;  // Qor_Trace_BusType
  std::string Source = {};                              // as typed
  std::string Name = {};                                // of the interface
  std::string Hardware = {};                            // what the interface is
  unsigned long BitRate = 0;                            // bit/s
  unsigned long DataBitRate = 0;                        // bit/s; of CAN FD frames with bit-rate switch
  std::string Filter = {};                              // what of the channel was recorded; empty: everything

  bool operator==(const ChannelDescription&) const = default;
};

/// Why something of the bus isn't in the recording.
enum class LossCause {
  CaptureBufferFull,  // in the interface
  OverrunMark,        // the interface has marked the entry before
  MemoryLimit,        // entries dropped for newer ones
  DiskFull,           // or otherwise not to be written to
  Reordering,         // entries that came too late to be put in order
  InterfaceGone,
};

struct Loss {
  unsigned int Channel = 1;
  LossCause Cause = LossCause::CaptureBufferFull;
  unsigned long First = 0;                            // ns, clock of the entries: nothing is missing before
  unsigned long Last = 0;                             // likewise: nothing after
  std::optional<unsigned long> Count = std::nullopt;  // items; nothing where it isn't known

  bool operator==(const Loss&) const = default;
};

/// By which a raw record file is known to be the one that is described.
struct RecordsDescription {
  unsigned long Count = 0;
  unsigned long Bytes = 0;
  unsigned long FirstRecord = 0;  // DigestOf the first one; 0 without a record

  bool operator==(const RecordsDescription&) const = default;
};

struct Description {
  std::string Id = {};       // no two recordings have the same
  std::string Title = {};    // a person's words
  std::string Tool = {};     // program and version that recorded it
  std::string Host = {};     // name of the machine
  std::string System = {};   // its operating system
  std::string Machine = {};  // its hardware
  bool Complete = false;     // the recording came to its end
  ClockEpoch Epoch = ClockEpoch::Unknown;
  std::optional<ClockAnchor> Anchor = std::nullopt;
  std::vector<ChannelDescription> Channels = {};  // by number, which no two share
  std::vector<Loss> Losses = {};
  std::optional<RecordsDescription> Records = std::nullopt;  // of the file that it lies beside

  bool operator==(const Description&) const = default;
};

/// The times of its entries. To be asked once SetFirstTime was called: then they don't change any more.
TimeBase TimesOf(const Description& description);

/// Completes what is known of the clock when the first entry comes: one that counts since 1970 needs no anchor.
/// @param utc  when that entry happened, if a person has said so, ns since 1970; in place of what was known
void SetFirstTime(Description& description, unsigned long firstTime, std::optional<unsigned long> utc = std::nullopt);

/// Null for a channel that isn't described.
const ChannelDescription* FindChannel(const Description& description, unsigned int number);

/// The same recording, whose channels have other numbers.
[[nodiscard]] Description Renumbered(Description description, const ChannelNumbers& numbers);

/// "capture_buffer_full" and so on.
const char* Word(LossCause cause);

/// What became of the items, to follow their number: "found the capture buffer full".
const char* Fate(LossCause cause);

/// False for those that came too late to be put in order: they are in the recording, at another place.
[[nodiscard]] constexpr bool IsMissing(LossCause cause) { return cause != LossCause::Reordering; }

/// The losses that lie at least in part between two times, the second one excluded. Of one that lies across them only the part
/// between them is left, and how many items that is isn't known.
/// @param from, to  ns, clock of the entries
[[nodiscard]] std::vector<Loss> LossesBetween(const std::vector<Loss>& losses, unsigned long from, unsigned long to);

/// A new one: 32 random hexadecimal digits in five groups.
std::string MakeId();

/// Of the bytes of a record: 64-bit FNV-1a, never 0.
unsigned long DigestOf(const unsigned char* bytes, size_t size);

}  // namespace client
