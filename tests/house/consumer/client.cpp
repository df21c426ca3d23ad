// A client in C++ of the installed library: its exception and its entries are the library's own.
#include <internal/Qor_Trace_Exception.h>
#include <qor_api_trace.h>
#include <qor_sim.h>
#include <record/Qor_Trace_Entry.h>
#include <record/Qor_Trace_EntryStore.h>
#include <record/RecordView.h>

#include <cstdio>

namespace {

// Thrown here, built by the library, and reported to the hardware library (the simulator) on the way.
bool ExceptionCarriesItsCode() {
  const unsigned int before = Qor_Sim_ReportCount();
  try {
    throw Qor_Trace_Exception(255, QOR_TRACE_STATUS_FILE_ERROR, "no such file");
  } catch (const Qor_Trace_Exception& error) {
    return error.GetErrorCode() == QOR_TRACE_STATUS_FILE_ERROR && Qor_Sim_ReportCount() == before + 1;
  }
}

// The view of records is a header alone; the smallest CAN record is a frame without data.
bool RecordIsSeenForWhatItIs() {
  unsigned char bytes[44] = {44};
  bytes[40] = QOR_TRACE_CAN_FD;
  const RecordView record(bytes, sizeof bytes);
  return record.Kind() == RecordKind::CanFdFrame && record.Can().Data().empty();
}

bool UnknownHandleIsRefused() { return Qor_Trace_Stop(0) == QOR_TRACE_STATUS_UNKNOWN_HANDLE; }

}  // namespace

int main() {
  const Qor_Trace_EntryStore store;
  const bool good = store.empty() && ExceptionCarriesItsCode() && RecordIsSeenForWhatItIs() && UnknownHandleIsRefused();
  if (!good) std::fputs("the installed library doesn't do what its headers say\n", stderr);
  return good ? 0 : 1;
}
