// The fields of every kind of bus event, as tables. Positions count bits from the first byte of a record; its first 8
// bytes are the time. docs/mdf-bus-logging.md shows them in bytes.
//
// Fields may overlap: IDE is the top bit of ID, Dir to r1 are bits of FlagsEx, and a length may be read under two names.
#pragma once

#include <array>

#include "internal/Span.h"

namespace MDF {

/// The kinds of LIN events, which are the groups of a LIN bus in their order.
enum LinKind : unsigned int {
  kLinFrame = 0,
  kLinChecksumError = 1,
  kLinReceiveError = 2,
  kLinSyncError = 3,
  kLinTransmissionError = 4,
  kLinWakeup = 5
};

}  // namespace MDF

namespace MDF::tables {

enum ChannelType : unsigned char { kFixed = 0, kVariable = 1, kMaster = 2, kMaximum = 5, kVirtual = 6 };
enum DataType : unsigned char { kUnsigned = 0, kFloat = 4, kBytes = 10 };

struct Field {
  const char* Name;  // below the event's
  unsigned int Bit;
  unsigned int Bits;
  ChannelType Type = kFixed;
  DataType Data = kUnsigned;
  Span<const char* const> Texts = {};  // of the values 0, 1, 2, ...
  const char* Comment = "";
};

/// A value that is the same in all records and stored in none.
struct Constant {
  const char* Name;
  double Value;
  const char* Comment;
};

struct Event {
  const char* Name;
  Span<const Constant> Constants;
  Span<const Field> Fields;
};

inline constexpr char kDirComment[] =
    "<CNcomment><TX>Bit signal indicating the direction (Rx, "
    "Tx).</TX><names><display>Dir</display></names></CNcomment>";
inline constexpr char kInterfaceTypeComment[] =
    "<CNcomment><TX>Type of bus interface.</TX><names><display>InterfaceType</display></names></CNcomment>";
inline constexpr char kControllerIdComment[] =
    "<CNcomment><TX>Identification number of controller that reported this event.</TX>"
    "<names><display>ControllerID</display></names></CNcomment>";
// Sic, part of the interface.
inline constexpr char kFlxChannelComment[] =
    "<CNcomment><TX>FlexRay Channel this frame was transmitted.</TX><names><display>FlxChannel</display></names>"
    "</CNcomment>";
inline constexpr char kErrorTypeComment[] =
    "<CNcomment><TX>Type of error.</TX><names><display>ErrorType</display></names></CNcomment>";
inline constexpr char kSymbolTypeComment[] =
    "<CNcomment><TX>Type of the symbol.</TX><names><display>SymbolType</display></names></CNcomment>";

inline constexpr std::array kDirTexts = {"Rx", "Tx"};
inline constexpr std::array kFlxChannelTexts = {"A", "B"};
// "Connetion", and "Teset" below: sic, part of the interface.
inline constexpr std::array kErrorTypeTexts = {"POC Error Mode",        "Sync Frames below min", "Sync Frames overload",
                                               "Clock Connetion Error", "NIT Failure",           "Controller error",
                                               "Error overflow"};
inline constexpr std::array kSymbolTypeTexts = {"Unknown", "CAS (Collision Avoidance Symbol)",
                                                "MTS (Media Teset Symbol)", "WUS (Wakeup Symbol)"};

// --- CAN ---

inline constexpr Field kCanData[] = {
    {"ID", 64, 32},
    {"IDE", 95, 1},
    {"FlagsEx", 96, 32},
    {"Dir", 102, 1, kFixed, kUnsigned, kDirTexts, kDirComment},
    {"EDL", 108, 1},
    {"BRS", 109, 1},
    {"ESI", 110, 1},
    {"r1", 107, 1},
    {"DLC", 128, 8},
    {"DataLength", 136, 8},
    {"DataBytes", 144, 64, kVariable, kBytes},
};
inline constexpr Field kCanError[] = {
    {"ID", 64, 32},          {"IDE", 95, 1},         {"Dir", 111, 1},
    {"DLC", 112, 8},         {"DataLength", 112, 8}, {"DataBytes", 120, 64, kMaximum, kBytes},
    {"ErrorFlags", 216, 56},
};

// --- LIN ---

inline constexpr Field kLinFrame[] = {
    {"ID", 64, 8},
    {"ReceivedDataByteCount", 72, 8},
    {"DataLength", 72, 8},
    {"DataBytes", 80, 64, kMaximum, kBytes},
    {"Dir", 144, 1},
    {"ChecksumModel", 145, 1},
    {"IsSimulated", 146, 1},
    {"IsETF", 147, 1},
    {"Checksum", 152, 8},
    {"SOF", 160, 64},
    {"Baudrate", 224, 64, kFixed, kFloat},
};
inline constexpr Field kLinChecksumError[] = {
    {"ID", 64, 8},
    {"ReceivedDataByteCount", 72, 8},
    {"DataLength", 72, 8},
    {"DataBytes", 80, 64, kMaximum, kBytes},
    {"ChecksumModel", 144, 2},
    {"IsSimulated", 146, 1},
    {"Dir", 147, 1},
    {"Checksum", 152, 8},
    {"SOF", 160, 64},
    {"Baudrate", 224, 64, kFixed, kFloat},
};
inline constexpr Field kLinReceiveError[] = {
    {"ID", 64, 8},
    {"ReceivedDataByteCount", 72, 8},
    {"DataLength", 72, 8},
    {"DataBytes", 80, 64, kMaximum, kBytes},
    {"ChecksumModel", 144, 2},
    {"IsETF", 146, 1},
    {"IsShortError", 147, 1},
    {"IsTimeoutDuringLenDet", 148, 1},
    {"SOF", 152, 64},
    {"Baudrate", 216, 64, kFixed, kFloat},
    {"State", 280, 4},
    {"Reason", 284, 4},
};
inline constexpr Field kLinSyncError[] = {
    {"SOF", 64, 64},
    {"Baudrate", 128, 64, kFixed, kFloat},
};
inline constexpr Field kLinTransmissionError[] = {
    {"ID", 64, 8},   {"SpecifiedDataByteCount", 72, 8},     {"ChecksumModel", 80, 1}, {"IsETF", 81, 1},
    {"SOF", 88, 64}, {"Baudrate", 152, 64, kFixed, kFloat},
};
inline constexpr Field kLinWakeup[] = {
    {"SOF", 64, 64},        {"Baudrate", 128, 64, kFixed, kFloat}, {"ReceivedByte", 192, 8}, {"LengthInfo", 200, 2},
    {"IsExternal", 202, 1},
};

// --- FlexRay ---

inline constexpr Constant kFlxFrameConstants[] = {
    {"InterfaceType", 0, kInterfaceTypeComment},
    {"ControllerID", 0, kControllerIdComment},
};
inline constexpr Constant kFlxConstants[] = {
    {"InterfaceType", 5, kInterfaceTypeComment},
};
inline constexpr Field kFlxFrame[] = {
    {"ID", 64, 16},
    {"Cycle", 80, 6},
    {"FlxChannel", 86, 1, kFixed, kUnsigned, kFlxChannelTexts, kFlxChannelComment},
    {"Dir", 87, 1},
    {"DataLength", 88, 8},
    {"FrameFlags", 96, 32},
    {"NullFrameFlag", 96, 1},
    {"SyncFrameFlag", 98, 1},
    {"StartUpFrameFlag", 99, 1},
    {"PayloadPreambleFlag", 100, 1},
    {"HeaderCRC", 128, 16},
    {"PayloadLength", 144, 8},
    {"DataBytes", 152, 64, kVariable, kBytes},
};
inline constexpr Field kFlxError[] = {
    {"Cycle", 64, 8},
    {"FlxChannelMask", 72, 2},
    {"ErrorData", 80, 144, kFixed, kBytes},
    {"ErrorType", 88, 3, kFixed, kUnsigned, kErrorTypeTexts, kErrorTypeComment},
};
inline constexpr Field kFlxStartCycle[] = {
    {"Cycle", 64, 8},
};
inline constexpr Field kFlxState[] = {
    {"Cycle", 64, 8},
    {"FlxChannelMask", 72, 2},
    {"StateData", 80, 384, kFixed, kBytes},
};
inline constexpr Field kFlxSymbol[] = {
    {"Cycle", 64, 8},
    {"FlxChannelMask", 78, 2},
    {"SymbolType", 72, 6, kFixed, kUnsigned, kSymbolTypeTexts, kSymbolTypeComment},
    {"SymbolData", 80, 136, kFixed, kBytes},
    {"SymbolLength", 176, 4},
};

// --- the standard convention: the groups of a bus in their order ---

// Where a kind of event isn't named here, its fields are those above.

inline constexpr std::array kCanErrorTypeTexts = {"Other error", "Bit error", "Form error",
                                                  "Stuff error", "CRC error", "Acknowledgement error"};

inline constexpr Field kStandardCanError[] = {
    {"ID", 64, 32},
    {"IDE", 95, 1},
    {"ErrorType", 96, 8, kFixed, kUnsigned, kCanErrorTypeTexts},
    {"Dir", 111, 1, kFixed, kUnsigned, kDirTexts, kDirComment},
    {"DLC", 112, 8},
    {"DataLength", 112, 8},
    {"DataBytes", 120, 64, kMaximum, kBytes},
    {"ErrorFlags", 216, 56},
};
inline constexpr Field kCanRemote[] = {
    {"ID", 64, 32},  {"IDE", 95, 1},         {"Dir", 96, 1, kFixed, kUnsigned, kDirTexts, kDirComment},
    {"DLC", 104, 8}, {"DataLength", 112, 8},
};
inline constexpr Field kStandardLinTransmissionError[] = {
    {"ID", 64, 8},   {"SpecifiedDataByteCount", 72, 8},     {"ChecksumModel", 80, 1}, {"IsETF", 81, 1}, {"Dir", 82, 1},
    {"SOF", 88, 64}, {"Baudrate", 152, 64, kFixed, kFloat},
};
inline constexpr Field kStandardFlxError[] = {
    {"Cycle", 64, 8},
    {"FlxChannelMask", 72, 2},
    {"ErrorData", 80, 144, kFixed, kBytes},
    {"ErrorType", 80, 3, kFixed, kUnsigned, kErrorTypeTexts, kErrorTypeComment},
};
inline constexpr Field kFlxNull[] = {
    {"ID", 64, 16},
    {"Cycle", 80, 6},
    {"FlxChannel", 86, 1, kFixed, kUnsigned, kFlxChannelTexts, kFlxChannelComment},
    {"Dir", 87, 1},
    {"DataLength", 88, 8},
    {"FrameFlags", 96, 32},
    {"NullFrameFlag", 96, 1},
    {"SyncFrameFlag", 98, 1},
    {"StartUpFrameFlag", 99, 1},
    {"PayloadPreambleFlag", 100, 1},
    {"HeaderCRC", 128, 16},
    {"PayloadLength", 144, 8},
};
/// Of a frame and of one with a CRC error.
inline constexpr Field kEthernet[] = {
    {"Source", 64, 48, kFixed, kBytes},
    {"Destination", 112, 48, kFixed, kBytes},
    {"EtherType", 160, 16},
    {"ReceivedDataByteCount", 176, 16},
    {"DataLength", 192, 16},
    {"CRC", 208, 32},
    {"Dir", 240, 1, kFixed, kUnsigned, kDirTexts, kDirComment},
    {"PadByteCount", 248, 8},
    {"DataBytes", 256, 64, kVariable, kBytes},
};

enum StandardCanGroup : unsigned int { kCanDataFrame, kCanErrorFrame, kCanRemoteFrame };
inline constexpr Event kStandardCan[] = {
    {"CAN_DataFrame", {}, kCanData},
    {"CAN_ErrorFrame", {}, kStandardCanError},
    {"CAN_RemoteFrame", {}, kCanRemote},
};
/// In the order of the kinds that Bus::Data_Insert_LIN has.
inline constexpr Event kStandardLin[] = {
    {"LIN_Frame", {}, kLinFrame},
    {"LIN_ChecksumError", {}, kLinChecksumError},
    {"LIN_ReceiveError", {}, kLinReceiveError},
    {"LIN_SyncError", {}, kLinSyncError},
    {"LIN_TransmissionError", {}, kStandardLinTransmissionError},
    {"LIN_WakeUp", {}, kLinWakeup},
};
/// In the order of Bus::ChannelNum_Get, which null frames follow.
enum StandardFlexRayGroup : unsigned int { kFlxNullFrame = 5 };
inline constexpr Event kStandardFlexRay[] = {
    {"FLX_Frame", kFlxFrameConstants, kFlxFrame},      {"FLX_Error", kFlxConstants, kStandardFlxError},
    {"FLX_StartCycle", kFlxConstants, kFlxStartCycle}, {"FLX_State", kFlxConstants, kFlxState},
    {"FLX_Symbol", kFlxConstants, kFlxSymbol},         {"FLX_NullFrame", kFlxFrameConstants, kFlxNull},
};
enum StandardEthernetGroup : unsigned int { kEthFrame, kEthChecksumError };
inline constexpr Event kStandardEthernet[] = {
    {"ETH_Frame", {}, kEthernet},
    {"ETH_ChecksumError", {}, kEthernet},
};

/// A bus by its type in entries, as the standard convention has it.
struct StandardBus {
  const char* Name;          // before the channel number
  unsigned char SourceType;  // si_bus_type
  Span<const Event> Events;
};
inline constexpr StandardBus kStandardBuses[] = {
    {"CAN", 2, kStandardCan},
    {"LIN", 3, kStandardLin},
    {"FLEX", 5, kStandardFlexRay},
    {"ETH", 7, kStandardEthernet},
};

}  // namespace MDF::tables
