#include "system/Terminal.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "system/Failure.h"
#include "system/Printable.h"

namespace client {

namespace {

/// 0, or the errno that stopped it.
int WriteAll(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

}  // namespace

std::string ErrnoText(int error) { return std::strerror(error); }

bool StandardOutputIsTerminal() { return isatty(STDOUT_FILENO) == 1; }
bool StandardErrorIsTerminal() { return isatty(STDERR_FILENO) == 1; }

bool Print(std::string_view text) {
  const int error = WriteAll(STDOUT_FILENO, text);
  if (error == EPIPE) return false;
  if (error != 0) throw Failure(fmt::format("Cannot write to standard output: {}", ErrnoText(error)));
  return true;
}

void PrintJson(const nlohmann::json& json) {
  Print(json.dump(2, ' ', true, nlohmann::json::error_handler_t::replace) + "\n");
}

void Say(std::string_view line) { WriteAll(STDERR_FILENO, Printable(line, "\n") + "\n"); }

void SayError(std::string_view sentence) {
  const bool closed = sentence.ends_with('.') || sentence.ends_with('?');
  Say(fmt::format("qor-trace: {}{}", Printable(sentence), closed ? "" : "."));
}

bool LiveLine::IsDue() const { return Shown && std::chrono::steady_clock::now() >= Next; }

void LiveLine::Show(const std::string& text) {
  if (!Shown) return;
  WriteAll(STDERR_FILENO, fmt::format("\r{}\033[K", text));
  Dirty = true;
  Next = std::chrono::steady_clock::now() + std::chrono::milliseconds(200);
}

void LiveLine::Clear() {
  if (Dirty) WriteAll(STDERR_FILENO, "\r\033[K");
  Dirty = false;
}

}  // namespace client
