#pragma once

#include "channel/Qor_Trace_Channel.h"

/// Traces one LIN interface. Everything but the commands and the items is the base's.
class QOR_EXPORT Qor_Trace_Channel_Lin final : public Qor_Trace_Channel {
 public:
  /// Opens the interface of a client's port and configures its monitor.
  /// @throws Qor_Trace_Exception with the hardware library's code; the interface is then closed again
  Qor_Trace_Channel_Lin(unsigned int userPortHandle, unsigned int channelId);
  ~Qor_Trace_Channel_Lin() override;

  void ReceiveThreadFunction() override;
  void Start() override;
  void Stop() override;
};
