// What the trace channels of the four buses send, and how the answers to their polls are laid out.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "qor_sim.h"

namespace qor_sim {

/// The calls of a trace channel that a port takes part in.
enum class Call : unsigned int {
  InterfaceInfo = QOR_SIM_CALL_INTERFACE_INFO,
  Open = QOR_SIM_CALL_OPEN,
  Configure = QOR_SIM_CALL_CONFIGURE,
  Start = QOR_SIM_CALL_START,
  Stop = QOR_SIM_CALL_STOP,
  Poll = QOR_SIM_CALL_POLL
};
constexpr size_t kCallCount = 6;

/// Where the monitor instance id belongs in a request: in the byte after the sub-command, or nowhere (0 is sent).
enum class InstanceByte { Sent, Zero };

/// One exact command.
struct CommandForm {
  Call Kind;
  unsigned int Command;  // command code
  unsigned int Mode;
  unsigned int Length;  // bytes of Request
  std::array<unsigned char, 16> Request;
};

/// A poll response: a head, then items.
struct ResponseLayout {
  size_t HeadLength;     // bytes
  bool CountsItems;      // the head has the number of items in the u16 at offset 4
  size_t ItemAlignment;  // bytes; each item is padded to a multiple of it
};

struct BusProtocol {
  unsigned char InterfaceType;  // QOR_INTERFACE_*
  const char* Name;
  InstanceByte Instance;
  bool StopAnyTime;  // the stop command also comes when the monitor was not started
  ResponseLayout Response;
  size_t TimeOffset;  // of the timestamp, eight bytes, in an item
  std::array<CommandForm, 4> Commands;
};

/// The protocol of an interface type; null for a type that no trace channel knows.
const BusProtocol* FindProtocol(unsigned char interfaceType);

/// A command as it arrived, without its response buffer.
struct CommandCall {
  unsigned int Handle = 0;
  unsigned int Zero = 0;
  unsigned int Command = 0;
  unsigned int Mode = 0;
  std::span<const unsigned char> Request;
};

/// The kind of a command that a trace channel of this bus sends exactly so.
/// Failure: Error QOR_SIM_ERROR_COMMAND that names what differs.
Call Recognise(const BusProtocol& protocol, unsigned char instance, const CommandCall& call);

/// Packs a poll response into the caller's buffer, never beyond its capacity.
class ResponseWriter {
 public:
  /// Failure: Error QOR_SIM_ERROR_CAPACITY when not even the head fits.
  ResponseWriter(const ResponseLayout& layout, std::span<unsigned char> buffer);

  /// Appends an item and its padding; false, with nothing written, when it does not fit.
  bool Add(std::span<const unsigned char> item);

  size_t Length() const { return Used; }
  size_t ItemCount() const { return Items; }

 private:
  ResponseLayout Layout;
  std::span<unsigned char> Buffer;
  size_t Used;
  size_t Items = 0;
};

}  // namespace qor_sim
