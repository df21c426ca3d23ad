// The numbered lines of a text.
#pragma once

#include <optional>
#include <string_view>
#include <utility>

#include "inputs/InputBytes.h"

namespace client {

/// Reads lines without their ends, whichever those are, and without the mark that some editors put in front of a text.
class TextLines {
 public:
  explicit TextLines(InputBytes bytes) : Bytes(std::move(bytes)) {}

  /// The next line, valid until the next call; nothing at the end, and when reading is to end. A line that is too long to be
  /// one comes empty.
  /// Failure: Failure when the file can't be read.
  [[nodiscard]] std::optional<std::string_view> Next() {
    auto line = Bytes.Line();
    if (!line) return std::nullopt;
    ++Count;
    if (Count == 1 && line->starts_with(kMark)) line->remove_prefix(kMark.size());
    TooLong = line->size() == InputBytes::kLongestLine && !Bytes.LineHadEnd();
    return TooLong ? SkipLong() : line;
  }
  /// Of the last line, from 1.
  [[nodiscard]] unsigned long Number() const { return Count; }
  /// The last line has no end: the input ends in it. Every text's lines have ends, so something is missing.
  [[nodiscard]] bool IsCut() const { return !Bytes.LineHadEnd() && !TooLong; }
  [[nodiscard]] bool IsTooLong() const { return TooLong; }

  /// The next line begins with this text, without taking it. May wait for it.
  [[nodiscard]] bool NextBeginsWith(std::string_view text) {
    if (!Bytes.Need(text.size())) return false;
    return std::string_view(reinterpret_cast<const char*>(Bytes.Ready().data()), text.size()) == text;
  }

  void Attend(Attendance attendance) { Bytes.Attend(std::move(attendance)); }
  [[nodiscard]] bool Stopped() const { return Bytes.Stopped(); }
  /// Bytes of the file: of a compressed one, those that were unpacked so far.
  [[nodiscard]] unsigned long Position() const { return Bytes.IsPacked() ? Bytes.Taken() : Bytes.Position(); }
  [[nodiscard]] unsigned long Size() const { return Bytes.Size(); }
  [[nodiscard]] bool IsPipe() const { return Bytes.IsPipe(); }
  /// For sentences: the path in quotation marks, or "standard input".
  [[nodiscard]] const std::string& Shown() const { return Bytes.Shown(); }

 private:
  static constexpr std::string_view kMark = "\xEF\xBB\xBF";

  [[nodiscard]] std::string_view SkipLong() {
    while (!Bytes.LineHadEnd() && Bytes.Line()) {
    }
    return {};
  }

  InputBytes Bytes;
  unsigned long Count = 0;
  bool TooLong = false;
};

}  // namespace client
