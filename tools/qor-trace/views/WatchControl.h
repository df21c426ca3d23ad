// What a person looks at in a live view, and what their keys do to it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "system/Key.h"
#include "views/LineEditor.h"
#include "views/LiveTable.h"

namespace client {

/// What a key asks for that the view itself can't do.
enum class WatchWish : unsigned char {
  None,
  Quit,
  Pause,  // or go on
  Step,
  Faster,
  Slower,
  ResetCounts,
  Freeze,  // the selected message, or free it
  Record,  // or stop recording
  Trigger,
  TakeFilter,
  TakeName,
  DropName,  // nothing is to be recorded after all
};

struct WatchRequest {
  WatchWish Wish = WatchWish::None;
  std::string Text = {};  // that was typed

  bool operator==(const WatchRequest&) const = default;
};

enum class WatchPrompt : unsigned char { None, Filter, Name };
enum class WatchSheet : unsigned char { Table, Message, Help };

/// What is wrong with what was typed, and where: characters of it.
struct PromptMistake {
  std::string Sentence;
  size_t Begin = 0;
  size_t Length = 0;
};

/// The state of a view.
struct WatchView {
  RowOrder Order = RowOrder::Message;
  bool Reversed = false;
  std::optional<size_t> Selected = std::nullopt;  // number of a row
  size_t Top = 0;                                 // index of the first row that is shown
  size_t FirstByte = 0;                           // of the data that is shown
  WatchSheet Sheet = WatchSheet::Table;
  size_t SheetTop = 0;  // its first line that is shown
  WatchPrompt Prompt = WatchPrompt::None;
  LineEditor Typed = LineEditor();
  std::optional<PromptMistake> Mistake = std::nullopt;
};

/// Turns keys into a view and requests. Knows neither terminal nor stream.
class WatchControl {
 public:
  static constexpr size_t kBytesAside = 8;  // that the arrows move the data by

  /// @param filter  that rows are chosen by at first
  explicit WatchControl(std::string filter = "") : Filter(std::move(filter)) {}

  [[nodiscard]] WatchRequest Press(const Key& key);

  /// What was shown last: keys that move are meant in it.
  /// @param order  numbers of all rows
  /// @param lines  rows that fit
  void Shown(std::vector<size_t> order, size_t lines, size_t top);

  void AskForName(const std::string& proposed) { Ask(WatchPrompt::Name, proposed); }
  /// What was typed can't be; it stays, to be mended.
  void Refuse(PromptMistake mistake);
  /// What was typed has been taken.
  void EndPrompt() { View.Prompt = WatchPrompt::None; }
  void SetFilter(std::string filter) { Filter = std::move(filter); }

  [[nodiscard]] const WatchView& Looks() const { return View; }
  /// As typed; empty without one.
  [[nodiscard]] const std::string& FilterText() const { return Filter; }

 private:
  void Ask(WatchPrompt prompt, const std::string& text);
  [[nodiscard]] WatchRequest PressInPrompt(const Key& key);
  [[nodiscard]] WatchRequest PressOnSheet(const Key& key);
  [[nodiscard]] WatchRequest PressInTable(const Key& key);
  [[nodiscard]] WatchRequest PressCharacter(char32_t written);
  void Move(KeyName name);
  void Select(long by);
  void Open(WatchSheet sheet);

  WatchView View;
  std::string Filter;
  std::vector<size_t> Order;
  size_t Lines = 1;
};

/// "message", "count", ...: what rows are sorted by.
[[nodiscard]] const char* Word(RowOrder order);

/// A key and what it does, for the help.
struct WatchKey {
  const char* Keys;
  const char* Does;
};
[[nodiscard]] const std::vector<WatchKey>& WatchKeys();

}  // namespace client
