#include "recording/PortSupply.h"

#include <utility>

#include "record/Qor_Trace_Entry.h"
#include "recording/AdapterPorts.h"
#include "recording/StandInPorts.h"

namespace client {

namespace {

std::string HardwareFault;                // set once, at the start
std::unique_ptr<PortSupply> ChosenPorts;  // likewise

}  // namespace

void SetHardwareFault(const std::string& fault) { HardwareFault = fault; }

void UseAdapter(const std::string& hardware, const std::string& adapter) {
  ChosenPorts = std::make_unique<AdapterPorts>(hardware, HardwareFault, adapter);
}

PortSupply& Supply() {
  if (!ChosenPorts) ChosenPorts = std::make_unique<StandInPorts>();
  return *ChosenPorts;
}

std::optional<unsigned char> BusOfInterface(unsigned int type) {
  switch (type) {
    case 4:
      return BusType_Can;
    case 5:
      return BusType_Lin;
    case 9:
      return BusType_FlexRay;
    case 14:
      return BusType_Ethernet;
    default:
      return std::nullopt;
  }
}

}  // namespace client
