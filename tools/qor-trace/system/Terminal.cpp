#include "system/Terminal.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "system/Descriptor.h"
#include "system/Failure.h"
#include "system/Printable.h"
#include "system/Text.h"

namespace client {

namespace {

/// 0, or the errno that stopped it.
int WriteText(int file, std::string_view text) {
  return WriteAll(file, text.data(), text.size()) < text.size() ? errno : 0;
}

/// A line that will be overwritten is on the terminal.
std::atomic<bool> liveLineIsShown = false;

constexpr const char* kClearLine = "\r\033[K";

constexpr size_t kNarrowestTerminal = 20;  // a smaller width is not believed

std::optional<size_t> ColumnsOf(int file) {
  winsize size{};
  if (ioctl(file, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return std::nullopt;
  return std::max<size_t>(size.ws_col, kNarrowestTerminal);
}

}  // namespace

bool StandardOutputIsTerminal() { return isatty(STDOUT_FILENO) == 1; }
bool StandardErrorIsTerminal() { return isatty(STDERR_FILENO) == 1; }

std::optional<size_t> ColumnsOfStandardOutput() { return ColumnsOf(STDOUT_FILENO); }
std::optional<size_t> ColumnsOfStandardError() { return ColumnsOf(STDERR_FILENO); }

bool Print(std::string_view text) {
  const int error = WriteText(STDOUT_FILENO, text);
  if (error == EPIPE) return false;
  if (error != 0) throw Failure(fmt::format("Cannot write to standard output: {}", ErrnoText(error)));
  return true;
}

void PrintJson(const nlohmann::json& json) {
  Print(json.dump(2, ' ', true, nlohmann::json::error_handler_t::replace) + "\n");
}

namespace {

std::atomic<TalkAside*> Listening = nullptr;

}  // namespace

TalkAside::TalkAside() { Listening = this; }

TalkAside::~TalkAside() {
  EndAtOnce();
  for (const std::string& text : Heard) Say(text);
  if (Dropped > 0) Say(fmt::format("and {} more sentences", Dropped));
}

void TalkAside::EndAtOnce() { Listening = nullptr; }

void TalkAside::Hear(std::string_view text) {
  const MutexLock lock(Guard);
  if (Heard.size() < kMost)
    Heard.emplace_back(text);
  else
    ++Dropped;
  if (New.size() < kMost) New.emplace_back(text);
}

std::vector<std::string> TalkAside::TakeNew() {
  const MutexLock lock(Guard);
  return std::exchange(New, {});
}

void Say(std::string_view text) {
  if (TalkAside* const listening = Listening) return listening->Hear(text);
  const auto columns = ColumnsOfStandardError();
  const std::string shown = Printable(text, "\n");
  if (liveLineIsShown.exchange(false)) WriteText(STDERR_FILENO, kClearLine);
  WriteText(STDERR_FILENO, (columns ? Wrapped(shown, *columns) : shown) + "\n");
}

void SayError(std::string_view sentence) {
  const bool closed = sentence.ends_with('.') || sentence.ends_with('?');
  Say(fmt::format("qor-trace: {}{}", Printable(sentence), closed ? "" : "."));
}

namespace {

constexpr std::chrono::milliseconds kOverwritingInterval{200};
constexpr std::chrono::seconds kAppendingInterval{3};

}  // namespace

LiveLine::LiveLine(bool elsewhere)
    : Shown(StandardErrorIsTerminal() ? Kind::Overwritten
            : elsewhere               ? Kind::Appended
                                      : Kind::None),
      Next(std::chrono::steady_clock::now()) {
  // What is over at once needs no progress.
  if (Shown == Kind::Appended)
    Next += kAppendingInterval;
  else
    Next += kOverwritingInterval;
}

bool LiveLine::IsDue() const {
  return Shown != Kind::None && Listening == nullptr && std::chrono::steady_clock::now() >= Next;
}

void LiveLine::Show(const std::string& text) {
  if (Shown == Kind::None || Listening != nullptr) return;
  const auto now = std::chrono::steady_clock::now();
  if (Shown == Kind::Appended) {
    WriteText(STDERR_FILENO, text + "\n");
    Next = now + kAppendingInterval;
    return;
  }
  // A line that wraps can't be overwritten; in the last column some terminals wrap already.
  const auto columns = ColumnsOfStandardError();
  WriteText(STDERR_FILENO, fmt::format("\r{}\033[K", columns ? CutLines(text, *columns - 1) : text));
  liveLineIsShown = Dirty = true;
  Next = now + kOverwritingInterval;
}

void LiveLine::Clear() {
  if (Dirty) WriteText(STDERR_FILENO, kClearLine);
  liveLineIsShown = Dirty = false;
}

WaitingLine::WaitingLine(std::string phase, bool elsewhere) : Phase(std::move(phase)), Line(elsewhere) {
  try {
    Thread = std::thread([this] { Run(); });
  } catch (
      const std::system_error&) {  // what takes so long needs no line, and may be the end of a recording without memory
  }
}

WaitingLine::~WaitingLine() {
  {
    const MutexLock lock(Guard);
    Over = true;
  }
  Changed.NotifyAll();
  if (Thread.joinable()) Thread.join();
}

void WaitingLine::Run() {
  const MutexLock lock(Guard);
  for (auto next = Begun + kOverwritingInterval; !Over; next += kOverwritingInterval) {
    while (!Over && Changed.WaitUntil(Guard, next)) {
    }
    if (Over) return;
    const auto taken = std::chrono::steady_clock::now() - Begun;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(taken).count();
    if (Line.IsDue()) Line.Show(fmt::format("{}, {} s", Phase, seconds));
  }
}

}  // namespace client
