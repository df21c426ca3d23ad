/*
 * The C header as a client's compiler sees it: it stands alone in C99 and in C++ (header_cpp.cpp), and its records
 * have the sizes and offsets that clients and files rely on.
 */
#include "qor_api_trace.h"

#include <stddef.h>
#include <stdio.h>

typedef struct Place {
  const char* What;
  size_t Is;
  size_t Should;
} Place;

#define SIZE(type, bytes) \
  { "sizeof " #type, sizeof(type), bytes }
#define FIELD(type, field, offset) \
  { #type "." #field, offsetof(type, field), offset }

static const Place Places[] = {
    SIZE(unsigned char, 1),
    SIZE(unsigned short, 2),
    SIZE(unsigned int, 4),
    SIZE(unsigned long, 8),
    SIZE(Qor_Trace_PropertyId_t, 2),

    /* the entry: 28 bytes of header, then a payload area of 1540 */
    SIZE(Qor_Trace_Entry_t, 1568),
    FIELD(Qor_Trace_Entry_t, Length, 0),
    FIELD(Qor_Trace_Entry_t, ChannelId, 4),
    FIELD(Qor_Trace_Entry_t, Timestamp, 8),
    FIELD(Qor_Trace_Entry_t, RelativeTimestamp, 16),
    FIELD(Qor_Trace_Entry_t, BusType, 24),
    FIELD(Qor_Trace_Entry_t, Reserved, 25),
    FIELD(Qor_Trace_Entry_t, Payload, 28),

    SIZE(Qor_Trace_Entry_Can_t, 80), /* 16 bytes and 64 of data */
    FIELD(Qor_Trace_Entry_t, Payload.Can.ItemTimestamp, 28),
    FIELD(Qor_Trace_Entry_t, Payload.Can.Identifier, 36),
    FIELD(Qor_Trace_Entry_t, Payload.Can.Flags, 40),
    FIELD(Qor_Trace_Entry_t, Payload.Can.Reserved, 41),
    FIELD(Qor_Trace_Entry_t, Payload.Can.Dlc, 42),
    FIELD(Qor_Trace_Entry_t, Payload.Can.DataLength, 43),
    FIELD(Qor_Trace_Entry_t, Payload.Can.Data, 44),

    SIZE(Qor_Trace_Entry_Lin_t, 20), /* 48 with the header, always */
    FIELD(Qor_Trace_Entry_t, Payload.Lin.Reserved1, 28),
    FIELD(Qor_Trace_Entry_t, Payload.Lin.Flags, 30),
    FIELD(Qor_Trace_Entry_t, Payload.Lin.DataLength, 32),
    FIELD(Qor_Trace_Entry_t, Payload.Lin.Identifier, 33),
    FIELD(Qor_Trace_Entry_t, Payload.Lin.Reserved2, 34),
    FIELD(Qor_Trace_Entry_t, Payload.Lin.Data, 35),
    FIELD(Qor_Trace_Entry_t, Payload.Lin.Pad, 43),
    FIELD(Qor_Trace_Entry_t, Payload.Lin.BitTime, 44),

    SIZE(Qor_Trace_Entry_FlexRay_t, 274), /* 20 bytes and 254 of data */
    FIELD(Qor_Trace_Entry_t, Payload.FlexRay.ItemSize, 28),
    FIELD(Qor_Trace_Entry_t, Payload.FlexRay.ItemType, 30),
    FIELD(Qor_Trace_Entry_t, Payload.FlexRay.ItemTimestamp, 32),
    FIELD(Qor_Trace_Entry_t, Payload.FlexRay.Channel, 40),
    FIELD(Qor_Trace_Entry_t, Payload.FlexRay.FrameFlags, 41),
    FIELD(Qor_Trace_Entry_t, Payload.FlexRay.SlotId, 42),
    FIELD(Qor_Trace_Entry_t, Payload.FlexRay.Cycle, 44),
    FIELD(Qor_Trace_Entry_t, Payload.FlexRay.PayloadLength, 45),
    FIELD(Qor_Trace_Entry_t, Payload.FlexRay.HeaderCrc, 46),
    FIELD(Qor_Trace_Entry_t, Payload.FlexRay.Data, 48),

    SIZE(Qor_Trace_Entry_Ethernet_t, 1540), /* 16 bytes and 1524 of frame */
    FIELD(Qor_Trace_Entry_t, Payload.Ethernet.ItemSize, 28),
    FIELD(Qor_Trace_Entry_t, Payload.Ethernet.ItemType, 30),
    FIELD(Qor_Trace_Entry_t, Payload.Ethernet.ItemTimestamp, 32),
    FIELD(Qor_Trace_Entry_t, Payload.Ethernet.Flags, 40),
    FIELD(Qor_Trace_Entry_t, Payload.Ethernet.Reserved, 41),
    FIELD(Qor_Trace_Entry_t, Payload.Ethernet.FrameLength, 42),
    FIELD(Qor_Trace_Entry_t, Payload.Ethernet.Frame, 44),

    SIZE(Qor_Trace_AddChannel_Request_t, 12),
    FIELD(Qor_Trace_AddChannel_Request_t, Reserved, 0),
    FIELD(Qor_Trace_AddChannel_Request_t, PortHandle, 4),
    FIELD(Qor_Trace_AddChannel_Request_t, ChannelId, 8),

    SIZE(Qor_Trace_AddChannel_Response_t, 12),
    FIELD(Qor_Trace_AddChannel_Response_t, Reserved1, 0),
    FIELD(Qor_Trace_AddChannel_Response_t, ChannelId, 4),
    FIELD(Qor_Trace_AddChannel_Response_t, Reserved2, 8),

    SIZE(Qor_Trace_Export_Request_t, 276),
    FIELD(Qor_Trace_Export_Request_t, Flags, 0),
    FIELD(Qor_Trace_Export_Request_t, FileName, 4),
    FIELD(Qor_Trace_Export_Request_t, MaxFileSize, 264),
    FIELD(Qor_Trace_Export_Request_t, Extra, 272),
};

#if QOR_API_TRACE_VERSION < 20000 || QOR_API_TRACE_VERSION >= 30000
#error The version can not be compared by the preprocessor.
#endif

/* Values that clients and files hold; the version is the build's (PROJECT_*). */
static const Place Values[] = {
    {"QOR_API_TRACE_VERSION_MAJOR", QOR_API_TRACE_VERSION_MAJOR, PROJECT_MAJOR},
    {"QOR_API_TRACE_VERSION_MINOR", QOR_API_TRACE_VERSION_MINOR, PROJECT_MINOR},
    {"QOR_API_TRACE_VERSION_PATCH", QOR_API_TRACE_VERSION_PATCH, PROJECT_PATCH},
    {"QOR_API_TRACE_VERSION", QOR_API_TRACE_VERSION, PROJECT_MAJOR * 10000 + PROJECT_MINOR * 100 + PROJECT_PATCH},
    {"BusType_Can", BusType_Can, 0},
    {"BusType_Lin", BusType_Lin, 1},
    {"BusType_FlexRay", BusType_FlexRay, 2},
    {"BusType_Ethernet", BusType_Ethernet, 3},
    {"UNSUPPORTED_INTERFACE", QOR_TRACE_STATUS_UNSUPPORTED_INTERFACE, 34865153},
    {"INVALID_ARGUMENT", QOR_TRACE_STATUS_INVALID_ARGUMENT, 34865154},
    {"PORT_IN_USE", QOR_TRACE_STATUS_PORT_IN_USE, 34865155},
    {"UNKNOWN_PROPERTY", QOR_TRACE_STATUS_UNKNOWN_PROPERTY, 34865156},
    {"INVALID_VALUE", QOR_TRACE_STATUS_INVALID_VALUE, 34865157},
    {"PROPERTY_ACCESS", QOR_TRACE_STATUS_PROPERTY_ACCESS, 34865158},
    {"FILE_ERROR", QOR_TRACE_STATUS_FILE_ERROR, 34865159},
    {"UNKNOWN_HANDLE", QOR_TRACE_STATUS_UNKNOWN_HANDLE, 34865160},
    {"NO_CHANNEL", QOR_TRACE_STATUS_NO_CHANNEL, 34865161},
    {"BUFFER_TOO_SMALL", QOR_TRACE_STATUS_BUFFER_TOO_SMALL, 34865162},
    {"OUT_OF_MEMORY", QOR_TRACE_STATUS_OUT_OF_MEMORY, 34865164},
    {"NOT_SUPPORTED", QOR_TRACE_STATUS_NOT_SUPPORTED, 33554955},
};

static int Wrong(const Place* places, size_t count) {
  int wrong = 0;
  for (size_t i = 0; i < count; ++i) {
    if (places[i].Is == places[i].Should) continue;
    fprintf(stderr, "%s is %lu, should be %lu\n", places[i].What, (unsigned long)places[i].Is,
            (unsigned long)places[i].Should);
    ++wrong;
  }
  return wrong;
}

int main(void) {
  const int wrong = Wrong(Places, sizeof Places / sizeof Places[0]) + Wrong(Values, sizeof Values / sizeof Values[0]);
  return wrong == 0 ? 0 : 1;
}
