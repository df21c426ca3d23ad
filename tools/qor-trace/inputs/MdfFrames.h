// Bus events of an MDF 4 file as records.
#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "inputs/MadeRecord.h"
#include "inputs/MdfLayout.h"
#include "inputs/MdfRecords.h"

namespace client {

/// The events that have a record.
enum class MdfEvent : unsigned char {
  CanData,
  CanRemote,
  CanError,
  LinFrame,
  LinChecksumError,
  LinReceiveError,
  LinSyncError,
  LinTransmissionError,
  LinWakeUp,
  FlexRayFrame,
  FlexRayNullFrame,
  FlexRayError,
  FlexRayStartCycle,
  FlexRayState,
  FlexRaySymbol,
  Ethernet,
  EthernetChecksumError,
};

/// By the name of the group's structure: "CAN_DataFrame". Nothing for one that no record can hold.
[[nodiscard]] std::optional<MdfEvent> MdfEventOf(std::string_view name);
/// Qor_Trace_BusType
[[nodiscard]] unsigned char BusOf(MdfEvent event);

/// Is it half of a FlexRay frame that was on both channels, of which the file has a record for each?
[[nodiscard]] bool IsOfBothChannels(const MdfRecord& frame);
/// Is `second` the other half?
[[nodiscard]] bool AreHalves(const MdfRecord& first, const MdfRecord& second);

/// What a record doesn't say of itself.
struct MdfTraits {
  bool OnBothChannels = false;  // a FlexRay frame; the file has a record for each
  bool LastBeforeLoss = false;  // a mark of the file says so
};

/// Makes records of those of a file.
class MdfFrames {
 public:
  /// Valid until the next call; null where what the file says is none after all, such as an error that isn't described.
  [[nodiscard]] const RecordView* Make(MdfEvent event, const MdfRecord& from, const RecordHead& head, MdfTraits traits);

 private:
  const RecordView* MakeCan(const MdfRecord& from, const RecordHead& head, bool remote, bool lost);
  const RecordView* MakeCanError(const MdfRecord& from, const RecordHead& head, bool lost);
  const RecordView* MakeLin(MdfEvent event, const MdfRecord& from, const RecordHead& head, bool lost);
  const RecordView* MakeFlexRayFrame(const MdfRecord& from, const RecordHead& head, bool null, bool both);
  const RecordView* MakeFlexRayEvent(MdfEvent event, const MdfRecord& from, const RecordHead& head);
  const RecordView* MakeEthernet(const MdfRecord& from, const RecordHead& head, bool wrong);

  MadeRecord Made;
  std::vector<unsigned char> Frame;
};

}  // namespace client
