// What a PCAPNG file says besides its packets: its channels, their clocks, what they lost, and who recorded it.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "inputs/OrderedBytes.h"
#include "stream/Description.h"
#include "stream/LossLedger.h"

namespace client {

/// How the time stamps of an interface become ns since 1970.
struct PcapngClock {
  unsigned char Resolution = 6;  // if_tsresol: 10 to the minus that many seconds; with the highest bit, 2 to the minus
  long Offset = 0;               // s; if_tsoffset

  /// Rounded down; times before 1970 or past 64 bits end there.
  [[nodiscard]] unsigned long NanosecondsOf(unsigned long stamp) const;
};

/// An interface of the section that is being read.
struct PcapngInterface {
  unsigned int Link = 0;
  unsigned int Channel = 1;
  size_t SnapLength = 0;           // bytes; 0: no limit
  unsigned int CheckSequence = 0;  // bytes of a frame check sequence at the end of each packet
  unsigned long BitRate = 0;       // bit/s; 0: unknown
  PcapngClock Clock = {};
};

/// Numbers the channels and gathers the description. An interface that is named as the writers here name theirs, such as
/// "CAN-1", is the channel of this number; others are numbered from 1 in the order of the file's interfaces. A number that is
/// taken gives way to the next free one. An interface of a later section that has the same name and link type as one before
/// is the same channel.
///
/// Memory: bounded by kMostInterfaces and LossLedger::kMost.
class PcapngInterfaces {
 public:
  static constexpr size_t kMostInterfaces = 4096;  // of a section, and channels of a file

  /// Takes a section header. Its interfaces are numbered from 0 again.
  /// @return false if its options are damaged; likewise below
  bool BeginSection(const OrderedBytes& body);
  /// Takes an interface description.
  /// Failure: Failure when there are more of them than any sound file has.
  bool AddInterface(const OrderedBytes& body);
  /// Takes an interface's counts, and what comments say beside them: what isn't known yet of its losses.
  bool TakeStatistics(const OrderedBytes& body);

  /// Null for one that isn't described. Valid until the next section or interface.
  [[nodiscard]] const PcapngInterface* Find(size_t number) const;
  /// The section was written by the library's own export.
  [[nodiscard]] bool IsExport() const { return Exported; }
  /// The interface that was described last, the channel of records without one.
  [[nodiscard]] const PcapngInterface* Newest() const { return Section.empty() ? nullptr : &Section.back(); }

  /// A packet of a channel came, which may tell of a loss before it.
  /// @param dropped   items that are missing before it
  /// @param comments  of the packet: the writers here tell there what is missing since when
  void TakePacket(unsigned int channel, unsigned long time, unsigned long dropped, const std::string& comments);

  /// Without what is known at the end only.
  [[nodiscard]] Description Known() const;
  /// Another number once there are further losses.
  [[nodiscard]] unsigned long LossesKnown() const { return Losses.Changes(); }
  /// A recording of this program has counts of all its interfaces at the end.
  [[nodiscard]] bool EndIsMissing() const { return Own && AnyPacket && !AnyStatistics; }

 private:
  struct Named {
    std::string Name;
    std::string Text;
    ChannelDescription Channel;
  };
  /// How far the losses of a channel are told.
  struct Account {
    std::optional<unsigned long> Latest = std::nullopt;  // ns, time of the latest packet
    unsigned long AccountedTo = 0;                       // ns: everything that is missing before is told
    unsigned long Told = 0;                              // items
  };

  void ReadOrigin(std::string comment, std::string application);
  [[nodiscard]] unsigned int ChannelOf(const Named& named, unsigned int link);
  [[nodiscard]] unsigned int NumberFor(const Named& named, unsigned int link) const;
  void Describe(Named named, unsigned int link, unsigned int channel);

  Description Described;  // but for the losses
  LossLedger Losses;
  std::vector<PcapngInterface> Section;
  std::map<std::string, unsigned int>
      SectionNames;                              // how often the section has an interface of this name and link type
  std::map<std::string, unsigned int> Channels;  // numbers, by name, link type and which of those in its section
  std::set<unsigned int> Taken;                  // numbers
  std::map<unsigned int, Account> Accounts;      // by channel
  bool Exported = false;
  bool Own = false;
  bool AnySection = false;
  bool AnyPacket = false;
  bool AnyStatistics = false;
};

}  // namespace client
