// The C entry points and the pool of monitors.
#include "qor_api_trace.h"

#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <new>

#include "internal/Mutex.h"
#include "monitor/Qor_Trace.h"
#include "qor_api.h"

static_assert(sizeof(Qor_Trace_AddChannel_Request_t) == 12);
static_assert(sizeof(Qor_Trace_AddChannel_Response_t) == 12);
static_assert(offsetof(Qor_Trace_AddChannel_Response_t, ChannelId) == 4);
static_assert(sizeof(Qor_Trace_Export_Request_t) == 276);
static_assert(offsetof(Qor_Trace_Export_Request_t, MaxFileSize) == 264);
static_assert(offsetof(Qor_Trace_Export_Request_t, Extra) == 272);

namespace {

constexpr unsigned int kKnownStartModes =
    QOR_TRACE_START_ASC_RECORDING | QOR_TRACE_START_DISCARD_OLDEST | QOR_TRACE_START_RESERVED;

// Held to look handles up, enter and erase them, and to ask the monitors for their ports: never while a monitor works, so
// that one whose interface hangs, or that has millions of entries to free, holds no other up. The monitors' PortsInUse nest
// in it. The interface family gives it this name, underscore included.
Mutex _MutexMonitorPool;
// The live monitors; a plain pool of pointers, as clients may still be inside a monitor when the process ends: nothing
// is destroyed then.
std::map<unsigned int, Qor_Trace_Monitor*>& MonitorPool() REQUIRES(_MutexMonitorPool) {
  static auto& _MonitorPool = *new std::map<unsigned int, Qor_Trace_Monitor*>;
  return _MonitorPool;
}

unsigned int Report(unsigned int level, unsigned int status) { return Qor_ErrorHandler(level, status, "%s", ""); }

unsigned int InvalidArgument() { return Report(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_INVALID_ARGUMENT); }

/// The result of a look-up: a monitor, or what the error handler made of its absence.
struct Found {
  Qor_Trace_Monitor* Monitor;
  unsigned int Status;
};

/// The one look-up routine. A missing handle is reported here.
Found LookUp(unsigned int handle) REQUIRES(_MutexMonitorPool) {
  const auto found = MonitorPool().find(handle);
  if (found != MonitorPool().end()) return {found->second, QOR_TRACE_STATUS_OK};
  return {nullptr, Report(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_UNKNOWN_HANDLE)};
}

Found Find(unsigned int handle) {
  MutexLock lock(_MutexMonitorPool);
  return LookUp(handle);
}

/// Turns the outcome of a monitor's method into a status; the error was reported when its exception was built.
template <class Call>
unsigned int StatusOf(Call&& call) {
  try {
    call();
    return QOR_TRACE_STATUS_OK;
  } catch (const Qor_Trace_Exception& error) {
    return error.GetErrorCode();
  } catch (const std::bad_alloc&) {
    return Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_OUT_OF_MEMORY, "out of memory").GetErrorCode();
  }
}

/// What entry points share: finds the monitor, checks the plain arguments, calls, and returns the status. Where the
/// error handler suppresses the report of a missing handle there is no monitor to call, and the status is 0.
template <class Call>
unsigned int WithMonitor(unsigned int handle, bool argumentsValid, Call&& call) {
  const auto [monitor, status] = Find(handle);
  if (monitor == nullptr) return status;
  if (!argumentsValid) return InvalidArgument();
  return StatusOf([&, found = monitor] { call(*found); });
}

bool HasFileName(const Qor_Trace_Export_Request_t* request) {
  return request != nullptr && std::memchr(request->FileName, 0, sizeof request->FileName) != nullptr;
}

/// Erases a monitor's handle and destroys the monitor. Its ports are free before the handle is gone.
void Destroy(unsigned int handle, Qor_Trace_Monitor* monitor) {
  monitor->ClearChannelList();
  {
    MutexLock lock(_MutexMonitorPool);
    MonitorPool().erase(handle);
  }
  delete monitor;
}

/// The monitor that has a channel on a port, or null. The first one in handle order.
Qor_Trace_Monitor* UserOfPort(unsigned int portHandle) {
  MutexLock lock(_MutexMonitorPool);
  for (const auto& [handle, monitor] : MonitorPool()) {
    if (monitor->IsPortHandleUsed(portHandle)) return monitor;
  }
  return nullptr;
}

}  // namespace

unsigned int Qor_Trace_Allocate(unsigned int reserved, unsigned int* handle) {
  if (reserved != 0 || handle == nullptr) return InvalidArgument();
  try {
    auto monitor = std::make_unique<Qor_Trace_Monitor>();
    *handle = monitor->GetHandle();
    MutexLock lock(_MutexMonitorPool);
    // A new handle is not in the pool: that the look-up reports it is part of the interface, and so is that a handler
    // which suppresses the report prevents the allocation.
    const auto [present, status] = LookUp(*handle);
    if (present != nullptr || status == QOR_TRACE_STATUS_OK) {
      throw Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_UNKNOWN_HANDLE,
                                "internal error while building monitor handle");
    }
    MonitorPool().emplace(*handle, monitor.get());
    static_cast<void>(monitor.release());  // the pool's now
    return QOR_TRACE_STATUS_OK;
  } catch (const Qor_Trace_Exception& error) {
    return error.GetErrorCode();
  } catch (const std::bad_alloc&) {
    return Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_OUT_OF_MEMORY,
                               "could not allocate trace instance")
        .GetErrorCode();
  }
}

unsigned int Qor_Trace_Delete(unsigned int handle) {
  const auto [monitor, status] = Find(handle);
  if (monitor == nullptr) return status;
  try {
    const unsigned int stopped = StatusOf([found = monitor] { found->Stop(); });
    Destroy(handle, monitor);
    return stopped;
  } catch (...) {  // the operating system failed the stop; the handle goes all the same
    Destroy(handle, monitor);
    throw;
  }
}

unsigned int Qor_Trace_AddChannel(unsigned int handle, const Qor_Trace_AddChannel_Request_t* request,
                                  Qor_Trace_AddChannel_Response_t* response) {
  if (response == nullptr) return InvalidArgument();
  *response = {};
  const auto [monitor, status] = Find(handle);
  if (monitor == nullptr) return status;
  if (request == nullptr) return InvalidArgument();
  const auto [reserved, port, channel] = *request;
  if (const auto* user = UserOfPort(port)) {
    // The text says handle, the number is from the monitor's address: part of the interface.
    return Qor_ErrorHandler(port, QOR_TRACE_STATUS_PORT_IN_USE,
                            "interface already used for monitor trace with handle 0x%x",
                            static_cast<unsigned int>(reinterpret_cast<unsigned long>(user)));
  }
  if (reserved != 0) return Report(port, QOR_TRACE_STATUS_INVALID_ARGUMENT);
  unsigned int number = 0;
  const unsigned int added =
      StatusOf([&, found = monitor, wanted = channel, on = port] { found->AddChannel(on, wanted, &number); });
  response->ChannelId = number;
  return added;
}

unsigned int Qor_Trace_RemoveChannel(unsigned int handle, unsigned int channel) {
  return WithMonitor(handle, true, [&](Qor_Trace_Monitor& monitor) { monitor.RemoveChannel(channel); });
}

unsigned int Qor_Trace_ClearChannelList(unsigned int handle) {
  return WithMonitor(handle, true, [](Qor_Trace_Monitor& monitor) { monitor.ClearChannelList(); });
}

unsigned int Qor_Trace_Start(unsigned int handle, unsigned int mode) {
  return WithMonitor(handle, mode <= kKnownStartModes, [&](Qor_Trace_Monitor& monitor) { monitor.Start(mode); });
}

unsigned int Qor_Trace_Stop(unsigned int handle) {
  return WithMonitor(handle, true, [](Qor_Trace_Monitor& monitor) { monitor.Stop(); });
}

unsigned int Qor_Trace_GetItems(unsigned int handle, unsigned int reserved, unsigned int start, unsigned int* count,
                                unsigned int* size, unsigned char* buffer) {
  const bool valid = reserved == 0 && count != nullptr && size != nullptr && buffer != nullptr;
  return WithMonitor(handle, valid, [&](Qor_Trace_Monitor& monitor) { monitor.GetItems(start, count, size, buffer); });
}

unsigned int Qor_Trace_GetListItems(unsigned int handle, unsigned int reserved, unsigned int start, unsigned int* count,
                                    unsigned int* size, unsigned char* buffer) {
  const bool valid = reserved == 0 && count != nullptr && size != nullptr && buffer != nullptr;
  return WithMonitor(handle, valid,
                     [&](Qor_Trace_Monitor& monitor) { monitor.GetListItems(start, count, size, buffer); });
}

unsigned int Qor_Trace_Property_GetById(unsigned int handle, unsigned int selector, Qor_Trace_PropertyId_t id,
                                        unsigned int* length, unsigned char* value) {
  return WithMonitor(handle, length != nullptr && value != nullptr,
                     [&](Qor_Trace_Monitor& monitor) { monitor.Property_GetById(selector, id, length, value); });
}

unsigned int Qor_Trace_Property_SetById(unsigned int handle, unsigned int selector, Qor_Trace_PropertyId_t id,
                                        unsigned int length, const unsigned char* value) {
  const bool number = id == QOR_TRACE_PROPERTY_MAX_ENTRIES || id == QOR_TRACE_PROPERTY_ASC_MAX_FILE_SIZE ||
                      id == QOR_TRACE_PROPERTY_MDF_MAX_FILE_SIZE;
  return WithMonitor(handle, !number || value != nullptr,
                     [&](Qor_Trace_Monitor& monitor) { monitor.Property_SetById(selector, id, length, value); });
}

unsigned int Qor_Trace_ExportToASC(unsigned int handle, const Qor_Trace_Export_Request_t* request) {
  return WithMonitor(handle, HasFileName(request), [&](Qor_Trace_Monitor& monitor) {
    // Despite its name, MaxFileSize holds the start time; the size limit is Extra.
    const bool split = (request->Flags & QOR_TRACE_ASC_SPLIT) != 0;
    monitor.ExportToASC(request->Flags, request->FileName, request->MaxFileSize, split ? request->Extra : 0);
  });
}

unsigned int Qor_Trace_ExportToPCAP(unsigned int handle, const Qor_Trace_Export_Request_t* request) {
  return WithMonitor(handle, HasFileName(request), [&](Qor_Trace_Monitor& monitor) {
    monitor.ExportToPCAP(request->Flags, request->FileName, request->MaxFileSize);  // the start time
  });
}

unsigned int Qor_Trace_ExportToMDF(unsigned int /*handle*/, const Qor_Trace_Export_Request_t* /*request*/) {
  return Report(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_NOT_SUPPORTED);
}
