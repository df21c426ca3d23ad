// Exports of a monitor: a snapshot under its locks, then writing without them.
#include <cstdio>

#include "export/Qor_Trace_Export_PCAP.h"
#include "monitor/Qor_Trace.h"
#include "qor_api.h"

namespace {

constexpr unsigned int kKnownAscFlags =
    QOR_TRACE_ASC_DECIMAL | QOR_TRACE_ASC_RELATIVE | QOR_TRACE_ASC_START_OFFSET | QOR_TRACE_ASC_SPLIT;
constexpr unsigned int kSmallestAscFile = 512;  // bytes

[[noreturn]] void Fail(unsigned int status, const std::string& text) {
  throw Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, status, text);
}

void CheckAscArguments(unsigned int flags, unsigned int maxSize) {
  if (flags > kKnownAscFlags) Fail(QOR_TRACE_STATUS_INVALID_ARGUMENT, "");
  if ((flags & QOR_TRACE_ASC_SPLIT) != 0 && maxSize < kSmallestAscFile) {
    Fail(QOR_TRACE_STATUS_INVALID_VALUE, "file size needs to be >= " + std::to_string(kSmallestAscFile) + " bytes");
  }
}

}  // namespace

void Qor_Trace_Monitor::ExportToASC(unsigned int flags, const char* fileName, unsigned long startTime,
                                    unsigned int maxSize) {
  CheckAscArguments(flags, maxSize);
  std::string copyName;
  unsigned int swapped = 0;
  SwapSnapshot swapFile;
  Qor_Trace_EntryStore snapshot;
  {
    MutexLock lock(MutexStore);
    MutexLock swapLock(MutexSwapFile);
    copyName = Swap.CopyName();
    snapshot = Store;
    snapshot.Prepend(Swapping);
    swapped = InSwapFile();
    if (swapped != 0) swapFile = Swap.Snapshot();
  }
  swapFile.MakeCopy(copyName);
  bool complete = true;
  std::string failure;
  {
    Qor_Trace_Export_ASC writer(flags, fileName, startTime, maxSize);
    complete = writer.Export(swapFile.File.Get(), swapped, snapshot) == 0;
    std::remove(copyName.c_str());
    writer.EndFile();
    failure = writer.FailureText();
  }
  // The file holds what could be had; the caller learns that it isn't everything.
  if (!complete) Fail(QOR_TRACE_STATUS_FILE_ERROR, "Cannot read all of the swap file: copy=\"" + copyName + "\"");
  if (!failure.empty()) Fail(QOR_TRACE_STATUS_FILE_ERROR, failure);
}

void Qor_Trace_Monitor::ExportToPCAP(unsigned int flags, const char* fileName, unsigned long startTime) {
  if (flags > QOR_TRACE_PCAP_START_OFFSET) Fail(QOR_TRACE_STATUS_INVALID_ARGUMENT, "");
  Qor_Trace_EntryStore snapshot;
  {
    MutexLock lock(MutexStore);
    snapshot = Store;
  }
  Qor_Trace_Export_PCAP(flags, fileName, startTime).Export(snapshot);
}

void Qor_Trace_Monitor::ExportToMDF() {}
