// Interface-type and host-interface-type tables, and the functions that look things up in them.
#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <numeric>

#include "internal/HostModels.h"
#include "internal/qor_internal.h"

static_assert(offsetof(Qor_Internal_HostInterface_t, Flags) == 6);

namespace {

// Index: the firmware's interface type less 1. Width: 32 bits. Value: interface type of the hardware library's
// interface, 1 to 16; 0: no such type. Each interface type but 13 has one firmware type.
constexpr std::array<unsigned int, 25> kInterfaceTypes = {
    1,  4,  5,  6,  0,   // 1 to 5; 4 is CAN, 5 LIN
    0,  0,  0,  0,  0,   // 6 to 10
    0,  3,  9,  0,  7,   // 11 to 15; 9 is FlexRay
    0,  2,  8,  0,  12,  // 16 to 20
    10, 11, 15, 14, 16   // 21 to 25; 14 is Ethernet
};
constexpr unsigned int kMaxInterfaceType = 16;

constexpr auto TypeOf = [](const HostModel& model) { return std::size_t{model.Type}; };
constexpr auto FirmwareTypeOf = [](const HostModel& model) { return std::size_t{model.FirmwareType}; };

// Index: the firmware's host-interface type, 0 to 84. Width: 8 bits. Value: host-interface type; 87: no such type.
constexpr auto kHostTypes = HostModelTable<unsigned char, kFirmwareHostTypeCount>(
    QOR_INTERNAL_HOST_INTERFACE_NONE, FirmwareTypeOf, [](const HostModel& model) { return model.Type; });

// Index: host-interface type, 0 to 87, the last for none. Width: 8 bits. Value: QOR_INTERNAL_COMMUNICATION_*, 0 to 8.
constexpr auto kCommunications = HostModelTable<unsigned char, kHostTypeCount + 1>(
    QOR_INTERNAL_COMMUNICATION_NONE, TypeOf, [](const HostModel& model) { return model.Communication; });

// Index: host-interface type, 0 to 86. Width: 8 bits. Value: bus controllers, 0 to 4.
constexpr auto kControllers =
    HostModelTable<unsigned char, kHostTypeCount>(0, TypeOf, [](const HostModel& model) { return model.Controllers; });

constexpr const char* kUnknownDevice = "unknown device";

// Index: host-interface type, 0 to 86. Value: text of the model.
constexpr auto kDescriptions = HostModelTable<const char*, kHostTypeCount>(
    kUnknownDevice, TypeOf, [](const HostModel& model) { return model.Description; });

// Index: host-interface type, 0 to 86. Width: 8 bits. Value: type of the model inside; itself where there is no other.
constexpr auto kInnerTypes = [] {
  std::array<unsigned char, kHostTypeCount> table{};
  std::iota(table.begin(), table.end(), static_cast<unsigned char>(0));
  for (const auto& model : kHostModels) table.at(model.Type) = model.InnerType;
  return table;
}();

constexpr bool EachTypeOnce() {
  for (const auto& model : kHostModels) {
    const auto same = [&](const HostModel& other) {
      return other.Type == model.Type || other.FirmwareType == model.FirmwareType;
    };
    if (std::count_if(std::begin(kHostModels), std::end(kHostModels), same) != 1) return false;
  }
  return true;
}

// A variant has the controllers and the communication of the model inside, which is not a variant itself.
constexpr bool VariantsAreLikeTheModelInside() {
  return std::all_of(std::begin(kHostModels), std::end(kHostModels), [](const HostModel& variant) {
    return std::any_of(std::begin(kHostModels), std::end(kHostModels), [&](const HostModel& inner) {
      return inner.Type == variant.InnerType && inner.InnerType == inner.Type &&
             inner.Controllers == variant.Controllers && inner.Communication == variant.Communication;
    });
  });
}

constexpr bool ValuesAreInRange() {
  return std::all_of(std::begin(kHostModels), std::end(kHostModels), [](const HostModel& model) {
    return model.Controllers <= kMaxControllers && model.Communication > QOR_INTERNAL_COMMUNICATION_NONE &&
           model.Communication <= QOR_INTERNAL_COMMUNICATION_SHARED_MEMORY;
  });
}

static_assert(EachTypeOnce());
static_assert(VariantsAreLikeTheModelInside());
static_assert(ValuesAreInRange());

// The entry of a table, `otherwise` for a number past its end.
template <class Value, std::size_t Size>
unsigned int Entry(const std::array<Value, Size>& table, unsigned int number, unsigned int otherwise) {
  return number < Size ? table[number] : otherwise;
}

}  // namespace

unsigned int Qor_Internal_CheckInterfaceType(unsigned int type) {
  return type >= 1 && type <= kMaxInterfaceType ? 0 : QOR_INTERNAL_STATUS_INVALID_TYPE;
}

unsigned int Qor_Internal_CheckHostInterfaceType(unsigned int type) {
  return type < kHostTypeCount ? 0 : QOR_INTERNAL_STATUS_INVALID_TYPE;
}

unsigned int Qor_Internal_TranslateInterfaceType_Fw2Api(unsigned int firmwareType) {
  return firmwareType >= 1 ? Entry(kInterfaceTypes, firmwareType - 1, 0) : 0;
}

unsigned int Qor_Internal_TranslateHostInterfaceType_Fw2Api(unsigned int firmwareType) {
  return Entry(kHostTypes, firmwareType, QOR_INTERNAL_HOST_INTERFACE_NONE);
}

unsigned int Qor_Internal_GetInternalHostInterfaceType(unsigned int type) { return Entry(kInnerTypes, type, type); }

unsigned int Qor_Internal_GetHostCommunicationType(const Qor_Internal_HostInterface_t* host) {
  if (host == nullptr) return QOR_INTERNAL_COMMUNICATION_NONE;
  if ((host->Flags & QOR_INTERNAL_HOST_NETWORK) != 0) {
    return (host->Flags & QOR_INTERNAL_HOST_WIRELESS) != 0 ? QOR_INTERNAL_COMMUNICATION_WLAN
                                                           : QOR_INTERNAL_COMMUNICATION_ETHERNET;
  }
  return Entry(kCommunications, host->Type, QOR_INTERNAL_COMMUNICATION_NONE);
}

unsigned int Qor_Internal_GetMaxNumberOfControllers(unsigned int type, unsigned char* count) {
  if (count == nullptr) return QOR_INTERNAL_STATUS_INVALID_TYPE;
  *count = static_cast<unsigned char>(Entry(kControllers, type, 0));
  return 0;
}

const char* Qor_Internal_GetHostInterfaceTypeDescription(unsigned int type) {
  return type < kDescriptions.size() ? kDescriptions[type] : kUnknownDevice;
}
