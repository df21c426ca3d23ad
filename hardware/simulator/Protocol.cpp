#include "Protocol.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "Error.h"
#include "qor_api.h"

namespace qor_sim {
namespace {

// The second request byte is the monitor instance id, filled in when a request is compared (see InstanceByte).
// clang-format off
constexpr BusProtocol kProtocols[] = {
  {QOR_INTERFACE_CAN, "CAN", InstanceByte::Sent, /*StopAnyTime=*/false, {4, false, 4}, 0, {{
    // kind           command mode length  request
    {Call::Configure, 0x50,   1,   12,     {0x09, 0, 0, 0, 0x0F, 0x0E, 0, 0, 0, 0, 0, 0}},
    {Call::Start,     0x50,   1,   4,      {0x0C, 0, 0, 0}},
    {Call::Stop,      0x50,   1,   4,      {0x0D, 0, 0, 0}},
    {Call::Poll,      0x50,   2,   4,      {0x0F, 0, 0, 0}}}}},
  {QOR_INTERFACE_LIN, "LIN", InstanceByte::Zero, /*StopAnyTime=*/false, {8, true, 1}, 4, {{
    {Call::Configure, 0x50,   1,   16,     {0x09, 0, 0, 0, 0x07, 0x06, 0, 0, 0, 0, 0, 0, 0x01, 0, 0, 0}},
    {Call::Start,     0x50,   1,   4,      {0x0C, 0, 0, 0}},
    {Call::Stop,      0x50,   1,   4,      {0x0D, 0, 0, 0}},
    {Call::Poll,      0x50,   0,   4,      {0x0E, 0, 0, 0}}}}},
  {QOR_INTERFACE_FLEXRAY, "FlexRay", InstanceByte::Sent, /*StopAnyTime=*/true, {8, false, 4}, 4, {{
    {Call::Configure, 0x21,   1,   8,      {0x00, 0, 0, 0, 0x3E, 0x1F, 0, 0}},
    {Call::Start,     0x21,   1,   4,      {0x01, 0, 0, 0}},
    {Call::Stop,      0x21,   1,   4,      {0x02, 0, 0, 0}},
    {Call::Poll,      0x21,   2,   4,      {0x03, 0, 0, 0}}}}},
  {QOR_INTERFACE_ETHERNET, "Ethernet", InstanceByte::Sent, /*StopAnyTime=*/false, {8, true, 1}, 4, {{
    {Call::Configure, 0x50,   1,   8,      {0x00, 0, 0, 0, 0x07, 0, 0, 0}},
    {Call::Start,     0x50,   1,   4,      {0x01, 0, 0, 0}},
    {Call::Stop,      0x50,   1,   4,      {0x02, 0, 0, 0}},
    {Call::Poll,      0x50,   2,   4,      {0x03, 0, 0, 0}}}}},
};
// clang-format on

bool SameRequest(const BusProtocol& protocol, unsigned char instance, const CommandForm& form,
                 std::span<const unsigned char> request) {
  if (request.size() != form.Length) return false;
  auto expected = form.Request;
  if (protocol.Instance == InstanceByte::Sent) expected[1] = instance;
  return std::equal(request.begin(), request.end(), expected.begin());
}

std::string Hex(std::span<const unsigned char> bytes) {
  std::string text;
  char digits[4];
  for (const unsigned char byte : bytes.first(std::min<size_t>(bytes.size(), 16))) {
    std::snprintf(digits, sizeof digits, " %02X", byte);
    text += digits;
  }
  if (bytes.size() > 16) text += " ...";
  return text;
}

Error Refusal(const BusProtocol& protocol, const CommandCall& call) {
  char text[120];
  std::snprintf(text, sizeof text,
                "No %s trace channel sends the command 0x%X, mode %u, zero %u, %zu request bytes:", protocol.Name,
                call.Command, call.Mode, call.Zero, call.Request.size());
  return Error(QOR_SIM_ERROR_COMMAND, text + Hex(call.Request));
}

size_t Padded(size_t size, size_t alignment) { return (size + alignment - 1) / alignment * alignment; }

}  // namespace

const BusProtocol* FindProtocol(unsigned char interfaceType) {
  const auto* found = std::find_if(std::begin(kProtocols), std::end(kProtocols),
                                   [&](const BusProtocol& p) { return p.InterfaceType == interfaceType; });
  return found == std::end(kProtocols) ? nullptr : found;
}

Call Recognise(const BusProtocol& protocol, unsigned char instance, const CommandCall& call) {
  for (const CommandForm& form : protocol.Commands) {
    if (call.Zero == 0 && call.Command == form.Command && call.Mode == form.Mode &&
        SameRequest(protocol, instance, form, call.Request)) {
      return form.Kind;
    }
  }
  throw Refusal(protocol, call);
}

ResponseWriter::ResponseWriter(const ResponseLayout& layout, std::span<unsigned char> buffer)
    : Layout(layout), Buffer(buffer), Used(layout.HeadLength) {
  if (Buffer.size() < Used) {
    throw Error(QOR_SIM_ERROR_CAPACITY,
                "A poll response needs at least " + std::to_string(Used) + " bytes of capacity.");
  }
  std::fill_n(Buffer.begin(), Used, static_cast<unsigned char>(0));
}

bool ResponseWriter::Add(std::span<const unsigned char> item) {
  const size_t size = Padded(item.size(), Layout.ItemAlignment);
  if (size > Buffer.size() - Used || (Layout.CountsItems && Items == 0xFFFF)) return false;
  auto* end = std::copy(item.begin(), item.end(), Buffer.data() + Used);
  std::fill(end, Buffer.data() + Used + size, static_cast<unsigned char>(0));
  Used += size;
  ++Items;
  if (Layout.CountsItems) {
    Buffer[4] = static_cast<unsigned char>(Items & 0xFF);
    Buffer[5] = static_cast<unsigned char>(Items >> 8);
  }
  return true;
}

}  // namespace qor_sim
