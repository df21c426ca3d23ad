// The messages of a synthetic LIN bus, and the schedule by which its master, this interface, asks for them.
#pragma once

#include <cstdint>
#include <vector>

#include "LinItem.h"
#include "Random.h"

namespace qor_sim {

constexpr uint32_t kLinBitRate = 19200;  // bit/s

/// ns from the start of a frame to its end, with the longest space before the response; of a frame without data, which
/// nobody has answered, to the end of its header.
uint64_t LinFrameLength(const LinItem& frame);

enum class LinPublisher { Master, Slave };
enum class LinChecksumModel { Classic, Enhanced };

/// A message of the bus and its payload.
class LinMessage {
 public:
  LinMessage(unsigned char id, size_t length, LinPublisher publisher, LinChecksumModel model, Random& random);

  bool FromMaster() const { return (Current.Flags & kLinTransmitted) != 0; }
  /// The current frame, without timestamp and bit time.
  const LinItem& Frame() const { return Current; }
  /// The frame's turn is over.
  void GoOn(Random& random);

 private:
  void SetData();

  const LinChecksumModel Model;
  std::vector<unsigned char> Data;
  LinItem Current;
};

/// What a slot of the schedule table is for: a message by its place in MakeLinMessages, or diagnosis.
struct LinSlot {
  static constexpr size_t kDiagnosis = ~size_t{0};
  size_t Message;
  uint64_t Length;  // ns
};

/// The table that the master runs through over and over.
const std::vector<LinSlot>& LinSchedule();
std::vector<LinMessage> MakeLinMessages(Random& random);

/// Frames of diagnosis: a request of the master to a slave, and the slave's response.
LinItem LinDiagnosticRequest();
LinItem LinDiagnosticResponse();
/// The request that sends all slaves to sleep.
LinItem LinGoToSleep();

}  // namespace qor_sim
