// The models of host interfaces (the devices between a host and its buses), and the tables that follow from them.
//
// One row is one model; every table about host interfaces is made from these rows when the library is compiled, so
// the tables can't disagree. Add a model here and nowhere else.
#pragma once

#include <array>
#include <cstddef>

#include "internal/qor_internal.h"

constexpr std::size_t kHostTypeCount = 87;          // host-interface types are 0 to 86
constexpr std::size_t kFirmwareHostTypeCount = 85;  // the firmware's numbers for them are 0 to 84
constexpr unsigned char kMaxControllers = 4;

struct HostModel {
  unsigned char Type;           // host-interface type, 0 to 86
  unsigned char FirmwareType;   // the firmware's number for it, 0 to 84
  unsigned char InnerType;      // type of the model that does the work inside; its own unless it is a variant
  unsigned char Controllers;    // bus controllers, 0 to 4
  unsigned char Communication;  // QOR_INTERNAL_COMMUNICATION_*
  const char* Description;
};

// Lunde: pocket interfaces. Tinde: plug-in cards. Varde: network interfaces. Brygge: wireless loggers. Holme:
// modules for built-in computers. Ekko: simulated interfaces. The first figure of a name is the number of controllers.
constexpr HostModel kHostModels[] = {
    // type, firmware, inner, controllers, communication, description
    {1, 1, 1, 1, QOR_INTERNAL_COMMUNICATION_SERIAL, "Norvik Lunde 1 S"},
    {2, 2, 2, 1, QOR_INTERNAL_COMMUNICATION_USB, "Norvik Lunde 1 U"},
    {3, 3, 3, 2, QOR_INTERNAL_COMMUNICATION_USB, "Norvik Lunde 2 U"},
    {4, 4, 4, 4, QOR_INTERNAL_COMMUNICATION_USB, "Norvik Lunde 4 U"},
    {5, 6, 5, 2, QOR_INTERNAL_COMMUNICATION_PCI, "Norvik Tinde 2"},
    {6, 7, 6, 4, QOR_INTERNAL_COMMUNICATION_PCI, "Norvik Tinde 4"},
    {10, 8, 11, 2, QOR_INTERNAL_COMMUNICATION_PCI_EXPRESS, "Norvik Tinde 2 E, low profile"},
    {11, 9, 11, 2, QOR_INTERNAL_COMMUNICATION_PCI_EXPRESS, "Norvik Tinde 2 E"},
    {13, 11, 14, 4, QOR_INTERNAL_COMMUNICATION_PCI_EXPRESS, "Norvik Tinde 4 E, low profile"},
    {14, 12, 14, 4, QOR_INTERNAL_COMMUNICATION_PCI_EXPRESS, "Norvik Tinde 4 E"},
    {15, 13, 16, 1, QOR_INTERNAL_COMMUNICATION_USB, "Norvik Lunde 1 F, without housing"},
    {16, 14, 16, 1, QOR_INTERNAL_COMMUNICATION_USB, "Norvik Lunde 1 F"},
    {22, 20, 22, 2, QOR_INTERNAL_COMMUNICATION_USB, "Norvik Lunde 2 F"},
    {23, 21, 23, 4, QOR_INTERNAL_COMMUNICATION_ETHERNET, "Norvik Varde 4"},
    {25, 23, 25, 2, QOR_INTERNAL_COMMUNICATION_ETHERNET, "Norvik Varde 2"},
    {27, 25, 27, 2, QOR_INTERNAL_COMMUNICATION_WLAN, "Norvik Brygge 2"},
    {30, 28, 30, 4, QOR_INTERNAL_COMMUNICATION_WLAN, "Norvik Brygge 4"},
    {31, 29, 23, 4, QOR_INTERNAL_COMMUNICATION_ETHERNET, "Norvik Varde 4, for racks"},
    {34, 32, 22, 2, QOR_INTERNAL_COMMUNICATION_USB, "Norvik Lunde 2 F, without housing"},
    {40, 38, 40, 4, QOR_INTERNAL_COMMUNICATION_MEMORY, "Norvik Holme 4"},
    {41, 39, 40, 4, QOR_INTERNAL_COMMUNICATION_MEMORY, "Norvik Holme 4, for cold climates"},
    {44, 42, 23, 4, QOR_INTERNAL_COMMUNICATION_ETHERNET, "Norvik Varde 4, waterproof"},
    {45, 43, 25, 2, QOR_INTERNAL_COMMUNICATION_ETHERNET, "Norvik Varde 2, waterproof"},
    {46, 44, 30, 4, QOR_INTERNAL_COMMUNICATION_WLAN, "Norvik Brygge 4, waterproof"},
    {47, 45, 27, 2, QOR_INTERNAL_COMMUNICATION_WLAN, "Norvik Brygge 2, waterproof"},
    {60, 58, 60, 3, QOR_INTERNAL_COMMUNICATION_PCI_EXPRESS, "Norvik Tinde 3 E"},
    {85, 83, 85, 0, QOR_INTERNAL_COMMUNICATION_SHARED_MEMORY, "Norvik Ekko 0"},
    {86, 84, 86, 4, QOR_INTERNAL_COMMUNICATION_SHARED_MEMORY, "Norvik Ekko 4"},
};

/// A table made from the models: `empty` everywhere, except where a model puts a value.
template <class Value, std::size_t Size, class Index, class Get>
constexpr std::array<Value, Size> HostModelTable(Value empty, Index index, Get get) {
  std::array<Value, Size> table{};
  for (auto& value : table) value = empty;
  for (const auto& model : kHostModels) table.at(index(model)) = get(model);
  return table;
}
