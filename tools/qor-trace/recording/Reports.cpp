#include "recording/Reports.h"

#include <fmt/format.h>
#include <unistd.h>

#include <atomic>
#include <deque>
#include <exception>
#include <new>
#include <utility>

#include "qor_api_trace.h"
#include "system/Failure.h"
#include "system/Mutex.h"
#include "system/Screen.h"
#include "system/Terminal.h"

namespace client::Reports {

namespace {

struct Report {
  unsigned int Code;
  std::string Text;
};

constexpr size_t kKept = 100;

Mutex Guard;  // nests in nothing; held for a few lines only
std::deque<Report> Last GUARDED_BY(Guard);
size_t Count GUARDED_BY(Guard) = 0;
std::string FirstFailure GUARDED_BY(Guard);  // of those that end a recording
std::atomic<bool> Failed = false;
std::atomic<bool> OfAFile = false;
std::function<void()> LastWish GUARDED_BY(Guard);

/// What a code means, for reports without a text.
const char* Meaning(unsigned int code) {
  switch (code) {
    case QOR_TRACE_STATUS_UNSUPPORTED_INTERFACE:
      return "the port is no interface that can be traced";
    case QOR_TRACE_STATUS_INVALID_ARGUMENT:
      return "an argument is not valid";
    case QOR_TRACE_STATUS_PORT_IN_USE:
      return "the port is traced already";
    case QOR_TRACE_STATUS_UNKNOWN_PROPERTY:
      return "there is no such property";
    case QOR_TRACE_STATUS_INVALID_VALUE:
      return "a value is out of range";
    case QOR_TRACE_STATUS_PROPERTY_ACCESS:
      return "the property can't be used that way";
    case QOR_TRACE_STATUS_FILE_ERROR:
      return "a file could not be opened, read or written";
    case QOR_TRACE_STATUS_UNKNOWN_HANDLE:
      return "there is no such monitor";
    case QOR_TRACE_STATUS_NO_CHANNEL:
      return "there is no channel";
    case QOR_TRACE_STATUS_BUFFER_TOO_SMALL:
      return "the buffer is too small";
    case QOR_TRACE_STATUS_OUT_OF_MEMORY:
      return "memory is exhausted";
    case QOR_TRACE_STATUS_NOT_SUPPORTED:
      return "this is not supported";
    default:
      return "the hardware library refused";
  }
}

std::string Sentence(unsigned int code, const std::string& text) {
  return fmt::format("{} (0x{:08X})", text.empty() ? Meaning(code) : text, code);
}

/// A receive thread ends by either, and says nothing more.
bool EndsRecording(unsigned int code) {
  return code == QOR_TRACE_STATUS_FILE_ERROR || code == QOR_TRACE_STATUS_OUT_OF_MEMORY;
}

/// The library's words for exhausted memory are about what it was for.
std::string WhyItEnds(unsigned int code, const std::string& text) {
  const bool memory = code == QOR_TRACE_STATUS_OUT_OF_MEMORY && !text.empty();
  return (memory ? std::string(Meaning(code)) + ": " : "") + Sentence(code, text);
}

void Keep(unsigned int code, const char* text) REQUIRES(Guard) {
  if (FirstFailure.empty() && EndsRecording(code)) FirstFailure = WhyItEnds(code, text);
  Last.push_back({code, text});
  if (Last.size() > kKept) Last.pop_front();
}

/// The text of the exception in flight.
std::string CurrentError() {
  try {
    if (std::current_exception()) std::rethrow_exception(std::current_exception());
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
  }
  return "an unknown error";
}

/// An exception left a thread of the library: with several channels that is how a failing file shows.
[[noreturn]] void ExplainAndEnd() {
  std::string reason;
  std::function<void()> wish;
  if (Guard.try_lock()) {  // whoever holds it may be the one that is ending
    reason = FirstFailure;
    wish = LastWish;
    Guard.unlock();
  }
  if (reason.empty()) reason = CurrentError();
  LeaveScreenAtOnce();
  Say(fmt::format("\nqor-trace: The recording failed and can't go on: {}. What the outputs hold is in .part files.",
                  reason));
  if (wish) wish();
  _exit(ExitFailed);
}

}  // namespace

void Install() { std::set_terminate(ExplainAndEnd); }

void Note(unsigned int code, const char* text) {
  const MutexLock lock(Guard);
  ++Count;
  try {
    Keep(code, text);
  } catch (const std::bad_alloc&) {  // which may be what it reports: its words are lost, not that it was made
  }
  if (code == QOR_TRACE_STATUS_FILE_ERROR) OfAFile = true;
  if (EndsRecording(code)) Failed = true;
}

void SetLastWish(std::function<void()> wish) {
  const MutexLock lock(Guard);
  LastWish = std::move(wish);
}

size_t Mark() {
  const MutexLock lock(Guard);
  return Count;
}

void Check(unsigned int status, const std::string& what, size_t mark) {
  if (status == QOR_TRACE_STATUS_OK) return;
  const MutexLock lock(Guard);
  std::string text;
  for (size_t age = 0; age < Last.size() && age < Count - mark && text.empty(); ++age) {
    const Report& report = Last[Last.size() - 1 - age];
    if (report.Code == status) text = report.Text;
  }
  throw Failure(fmt::format("{}: {}", what, Sentence(status, text)));
}

bool RecordingFailed() { return Failed; }

bool FileFailed() { return OfAFile; }

std::string RecordingFailure() {
  const MutexLock lock(Guard);
  return FirstFailure.empty() ? Meaning(QOR_TRACE_STATUS_OUT_OF_MEMORY) : FirstFailure;
}

}  // namespace client::Reports
