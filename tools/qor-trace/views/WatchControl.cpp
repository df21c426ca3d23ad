#include "views/WatchControl.h"

#include <algorithm>
#include <utility>

namespace client {

namespace {

constexpr size_t kLastByte = 1528;  // of the largest Ethernet frame, to begin with

}  // namespace

const char* Word(RowOrder order) {
  switch (order) {
    case RowOrder::Message:
      return "message";
    case RowOrder::Count:
      return "count";
    case RowOrder::Rate:
      return "rate";
    case RowOrder::Cycle:
      return "cycle time";
    case RowOrder::Jitter:
      return "jitter";
    case RowOrder::Newest:
      return "newest";
  }
  return "";
}

const std::vector<WatchKey>& WatchKeys() {
  static const std::vector<WatchKey> keys = {
      {"q, Ctrl-C", "quit; a recording is completed"},
      {"space, p", "pause and go on"},
      {"r", "record; again: stop recording"},
      {"t", "black box: trigger an incident"},
      {"/", "filter the messages"},
      {"s, S", "sort by the next column; reverse"},
      {"up, down", "select a message (also PgUp, PgDn)"},
      {"Enter", "all about the selected message"},
      {"f", "freeze the selected message; free it"},
      {"left, right", "other bytes of the data"},
      {"c", "set counts and cycles to 0"},
      {"n", "a file: the next record"},
      {"+, -", "a file: faster, slower"},
      {"Esc", "select nothing; leave a page"},
      {"Ctrl-Z", "stop the program; fg goes on"},
      {"Ctrl-L", "draw the screen anew"},
      {"?, h", "this page"},
  };
  return keys;
}

void WatchControl::Shown(std::vector<size_t> order, size_t lines, size_t top) {
  Order = std::move(order);
  Lines = std::max<size_t>(lines, 1);
  View.Top = top;
}

void WatchControl::Refuse(PromptMistake mistake) {
  View.Typed.SetCursor(mistake.Begin);
  View.Mistake = std::move(mistake);
}

void WatchControl::Ask(WatchPrompt prompt, const std::string& text) {
  View.Prompt = prompt;
  View.Typed = LineEditor(text);
  View.Mistake.reset();
}

void WatchControl::Open(WatchSheet sheet) {
  View.Sheet = sheet;
  View.SheetTop = 0;
}

WatchRequest WatchControl::Press(const Key& key) {
  if (View.Prompt != WatchPrompt::None) return PressInPrompt(key);
  return View.Sheet == WatchSheet::Table ? PressInTable(key) : PressOnSheet(key);
}

WatchRequest WatchControl::PressInPrompt(const Key& key) {
  const bool name = View.Prompt == WatchPrompt::Name;
  if (key.Name == KeyName::Enter) return {name ? WatchWish::TakeName : WatchWish::TakeFilter, View.Typed.Text()};
  if (key.Name == KeyName::Escape) {
    EndPrompt();
    return {name ? WatchWish::DropName : WatchWish::None};
  }
  if (View.Typed.Press(key)) View.Mistake.reset();
  return {};
}

WatchRequest WatchControl::PressOnSheet(const Key& key) {
  const bool written = key.Name == KeyName::Character;
  if (key.Name == KeyName::Escape || key.Name == KeyName::Enter || (written && key.Written == U'q') ||
      (written && View.Sheet == WatchSheet::Help && (key.Written == U'?' || key.Written == U'h'))) {
    Open(WatchSheet::Table);
    return {};
  }
  if (written) return PressCharacter(key.Written);
  const bool byLine = View.Sheet == WatchSheet::Help;
  if (key.Name == KeyName::PageDown || (byLine && key.Name == KeyName::Down)) {
    ++View.SheetTop;
  } else if (key.Name == KeyName::PageUp || (byLine && key.Name == KeyName::Up)) {
    View.SheetTop -= View.SheetTop > 0 ? 1 : 0;
  } else if (!byLine && (key.Name == KeyName::Up || key.Name == KeyName::Down)) {
    Select(key.Name == KeyName::Up ? -1 : 1);
    View.SheetTop = 0;
  }
  return {};
}

WatchRequest WatchControl::PressInTable(const Key& key) {
  if (key.Name == KeyName::Character) return PressCharacter(key.Written);
  if (key.Name == KeyName::Escape) View.Selected.reset();
  if (key.Name == KeyName::Enter && !Order.empty()) {
    if (!View.Selected) Select(0);
    Open(WatchSheet::Message);
  }
  Move(key.Name);
  return {};
}

void WatchControl::Move(KeyName name) {
  const auto page = static_cast<long>(Lines);
  const auto all = static_cast<long>(Order.size());
  switch (name) {
    case KeyName::Up:
      Select(-1);
      return;
    case KeyName::Down:
      Select(1);
      return;
    case KeyName::PageUp:
      Select(-page);
      return;
    case KeyName::PageDown:
      Select(page);
      return;
    case KeyName::Home:
      Select(-all);
      return;
    case KeyName::End:
      Select(all);
      return;
    case KeyName::Left:
      View.FirstByte -= std::min(View.FirstByte, kBytesAside);
      return;
    case KeyName::Right:
      View.FirstByte = std::min(View.FirstByte + kBytesAside, kLastByte);
      return;
    default:
      return;
  }
}

/// From the selected row on; where there is none, a step down begins above the first row.
void WatchControl::Select(long by) {
  if (Order.empty()) return;
  const auto last = static_cast<long>(Order.size()) - 1;
  const auto place = View.Selected ? std::find(Order.begin(), Order.end(), *View.Selected) : Order.end();
  long index = static_cast<long>(std::min(View.Top, Order.size() - 1));
  if (place != Order.end())
    index = place - Order.begin() + by;
  else if (by != 1 && by != -1)
    index += by;
  View.Selected = Order[static_cast<size_t>(std::clamp(index, 0l, last))];
}

WatchRequest WatchControl::PressCharacter(char32_t written) {
  switch (written) {
    case U'q':
      return {WatchWish::Quit};
    case U'?':
    case U'h':
      Open(WatchSheet::Help);
      return {};
    case U'/':
      Ask(WatchPrompt::Filter, Filter);
      return {};
    case U's':
      View.Order = static_cast<RowOrder>((static_cast<size_t>(View.Order) + 1) % kRowOrderCount);
      View.Top = 0;
      return {};
    case U'S':
      View.Reversed = !View.Reversed;
      View.Top = 0;
      return {};
    case U' ':
    case U'p':
      return {WatchWish::Pause};
    case U'n':
      return {WatchWish::Step};
    case U'+':
      return {WatchWish::Faster};
    case U'-':
      return {WatchWish::Slower};
    case U'c':
      return {WatchWish::ResetCounts};
    case U'f':
      return {View.Selected ? WatchWish::Freeze : WatchWish::None};
    case U'r':
      return {WatchWish::Record};
    case U't':
      return {WatchWish::Trigger};
    default:
      return {};
  }
}

}  // namespace client
