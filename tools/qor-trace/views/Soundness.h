// Whether the records of a recording are what records of a sound interface are.
#pragma once

#include <set>

#include "stream/Description.h"
#include "stream/Findings.h"
#include "stream/RecordSink.h"

namespace client {

/// Looks at each record by itself, and at the order of their times. Places are counted in records: "entry 17" is the 17th.
///
/// What it finds:
/// - Odd: an entry earlier than the one before; a record that is cut short or of no known kind; data, payload or frame shorter
///   than the record announces; a CAN frame whose data length isn't that of its DLC; a LIN frame whose checksum fits neither
///   model; what a description says and the records don't.
/// - Unread: an interface's mark, after which data were lost; a loss that the description knows; a recording that didn't come
///   to its end.
class Soundness : public RecordSink {
 public:
  [[nodiscard]] bool Take(const RecordView& record) override;
  /// After the last record: compares what is known of the recording with its records.
  void Compare(const Description& description);

  [[nodiscard]] const Findings& Found() const { return Noted; }
  [[nodiscard]] unsigned long Entries() const { return Count; }
  [[nodiscard]] unsigned long Bytes() const { return Size; }
  /// ns between the earliest and the latest record.
  [[nodiscard]] unsigned long Span() const { return Latest - Earliest; }
  [[nodiscard]] const std::set<unsigned int>& Channels() const { return Met; }

 private:
  void Note(FindingKind kind, const std::string& what);
  void LookAtTime(unsigned long time);
  void LookAtCan(const CanView& can);
  void LookAtLin(const LinView& lin);
  void LookAtFlexRay(const FlexRayView& flexray);
  void LookAtEthernet(const EthernetView& ethernet);

  Findings Noted;
  std::set<unsigned int> Met;
  unsigned int LastMet = 0;  // mostly the next record is of the same channel; 0 isn't one
  unsigned long Count = 0;
  unsigned long Size = 0;    // bytes
  unsigned long Before = 0;  // time of the record before, ns
  unsigned long Earliest = 0;
  unsigned long Latest = 0;
};

}  // namespace client
