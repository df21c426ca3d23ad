#include "views/WatchPage.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "stream/KindText.h"
#include "system/Text.h"
#include "system/Units.h"
#include "views/LiveCells.h"
#include "views/MessageSheet.h"

namespace client {

namespace {

constexpr Style kBar{.Reversed = true};
constexpr Style kBarAlarm{.Colour = Ink::Error, .Bold = true, .Reversed = true};
constexpr Style kHeading{.Bold = true, .Underlined = true};
constexpr Style kAlarm{.Colour = Ink::Error, .Bold = true};
constexpr Style kQuiet{.Colour = Ink::Faint};
constexpr Style kMistaken{.Colour = Ink::Error, .Bold = true, .Underlined = true};

constexpr size_t kNarrow = 60;  // columns: below, short words

struct Piece {
  std::string Text;
  Style Look = {};
};

/// Pieces side by side, as many as there is room for.
size_t PutPieces(Grid& grid, size_t line, size_t column, size_t end, const std::vector<Piece>& pieces) {
  for (const Piece& piece : pieces) {
    if (piece.Text.empty()) continue;
    if (column + WidthOf(piece.Text) > end) continue;
    column = grid.Put(line, column, piece.Text, piece.Look) + 2;
  }
  return column;
}

std::string LostText(unsigned long lost, bool uncounted) {
  return lost == 0 && uncounted ? "LOST ?"
                                : fmt::format("{} {}{}", lost > 0 ? "LOST" : "lost", lost, uncounted ? "+" : "");
}

// The first line.

std::string StateText(const WatchFacts& facts) {
  std::string text;
  if (facts.Speed) text += fmt::format("{} ", *facts.Speed);
  if (facts.Paused) text += "PAUSED ";
  if (facts.Ended) text += "END ";
  return text;
}

std::string RecordingText(const RecordingFacts& recording, size_t columns) {
  const std::string text = fmt::format("REC {} ", FormatElapsed(recording.Span));
  const std::string whole = fmt::format("REC {} {} {} ", recording.Name, FormatElapsed(recording.Span),
                                        FormatCount(recording.Entries, "entry", "entries"));
  return WidthOf(whole) * 2 <= columns ? whole : text;
}

std::string BoxText(const BoxFacts& box, size_t columns) {
  if (!box.Incident) return "BOX ";
  if (columns < kNarrow) return fmt::format("INC {} ", *box.Incident);
  if (box.ClosesIn) return fmt::format("INCIDENT {} closes in {} ", *box.Incident, FormatElapsed(*box.ClosesIn));
  return fmt::format("INCIDENT {} {} ", *box.Incident, FormatElapsed(box.Span));
}

void PutBar(Grid& grid, const WatchScene& scene) {
  const WatchFacts& facts = scene.Facts;
  const size_t columns = grid.Size().Columns;
  grid.Paint(0, kBar);
  const std::string state = StateText(facts);
  const std::string box = facts.Box ? BoxText(*facts.Box, columns) : "";
  const std::string recording = facts.Recording ? RecordingText(*facts.Recording, columns - WidthOf(box)) : "";
  const bool incident = facts.Box && facts.Box->Incident;
  const size_t end = columns - std::min(columns, WidthOf(state) + WidthOf(box) + WidthOf(recording));
  const size_t afterState = grid.Put(0, end, state, kBar);
  grid.Put(0, grid.Put(0, afterState, box, incident ? kBarAlarm : kBar), recording, kBarAlarm);
  PutPieces(grid, 0, 1, end,
            {{FormatElapsed(facts.Elapsed), kBar},
             {fmt::format("{:.0f}/s", facts.EntriesPerSecond), kBar},
             {FormatCount(facts.Entries, "entry", "entries"), kBar},
             {facts.Title, kBar}});
}

// The channels.

std::string LoadText(const LiveChannel& channel) {
  std::string text;
  const size_t lanes = LaneCount(channel.BusType.value_or(BusType_Can));
  for (size_t lane = 0; lane < lanes; ++lane) {
    const auto& load = channel.Load[lane];
    text += fmt::format("{}{}", lane == 0 ? "" : "/", load ? fmt::format("{:.1f}", *load) : "-");
  }
  return text + " %";
}

const char* BusOf(const LiveChannel& channel) { return channel.BusType ? ShortBusName(*channel.BusType) : "-"; }

void PutChannel(Grid& grid, size_t line, const LiveChannel& channel) {
  const size_t columns = grid.Size().Columns;
  const bool narrow = columns < kNarrow;
  size_t column =
      grid.Put(line, 0, fmt::format("{:>3} {:<3} {:>6.0f}/s", channel.Number, BusOf(channel), channel.FramesPerSecond));
  column =
      grid.Put(line, column, fmt::format("{}{:>{}}", narrow ? " " : "  load ", LoadText(channel), narrow ? 7 : 11));
  const std::string errors =
      narrow ? fmt::format("err {}", channel.Errors) : FormatCount(channel.Errors, "error", "errors");
  const bool lost = channel.Lost > 0 || channel.LostUncounted;
  PutPieces(grid, line, column + (narrow ? 1 : 2), columns,
            {{errors, channel.Errors > 0 ? kAlarm : Style{}},
             {LostText(channel.Lost, channel.LostUncounted), lost ? kAlarm : Style{}},
             {channel.Source, kQuiet}});
}

/// What the channels that have no line come to.
void PutOthers(Grid& grid, size_t line, const std::vector<LiveChannel>& channels, size_t from) {
  double frames = 0;
  unsigned long errors = 0, lost = 0;
  bool uncounted = false;
  for (size_t index = from; index < channels.size(); ++index) {
    frames += channels[index].FramesPerSecond;
    errors += channels[index].Errors;
    lost += channels[index].Lost;
    uncounted = uncounted || channels[index].LostUncounted;
  }
  PutPieces(grid, line, 2, grid.Size().Columns,
            {{fmt::format("and {} more", channels.size() - from)},
             {fmt::format("{:.0f}/s", frames)},
             {fmt::format("err {}", errors), errors > 0 ? kAlarm : Style{}},
             {LostText(lost, uncounted), lost > 0 || uncounted ? kAlarm : Style{}}});
}

/// @return the line after them
size_t PutChannels(Grid& grid, size_t line, const std::vector<LiveChannel>& channels) {
  const size_t most = std::max<size_t>(1, grid.Size().Lines / 3 - 1);
  const size_t shown = channels.size() <= most ? channels.size() : most - 1;
  for (size_t index = 0; index < shown; ++index) PutChannel(grid, line++, channels[index]);
  if (shown < channels.size()) PutOthers(grid, line++, channels, shown);
  return line;
}

// The rows.

Style StyleOf(const LiveRow& row) {
  if (IsError(row.Key.Kind)) return kAlarm;
  return row.IsOverdue() ? kQuiet : Style{};
}

void PutData(Grid& grid, size_t line, const TableColumn& column, const LiveRow& row, const WatchView& view,
             bool withKind) {
  size_t place = column.Begin;
  const size_t end = column.Begin + column.Width;
  if (withKind && !IsPlain(row.Key.Kind))
    place = grid.Put(line, place, fmt::format("[{}] ", TextOf(row.Key.Kind).Word), StyleOf(row), end - place);
  const auto data = RowsOf(row.Key.BusType)->Data(row.Row.Record());
  for (size_t byte = view.FirstByte; byte < data.size() && place < end; ++byte) {
    if (place + 2 > end || (place + 3 > end && byte + 1 < data.size())) {
      grid.Put(line, place, "+", StyleOf(row));
      return;
    }
    const Style look = row.IsMarked(byte) ? kMarked : StyleOf(row);
    grid.Put(line, place, fmt::format("{:02x}", data[byte]), look);
    place += 3;
  }
}

void PutRow(Grid& grid, size_t line, const std::vector<TableColumn>& columns, const LiveRow& row,
            const WatchView& view) {
  const bool selected = view.Selected == row.Row.Number;
  const bool kindHasNoColumn = !HasColumn(columns, CellKind::Kind);
  grid.Put(line, 0, selected ? ">" : row.Frozen ? "*" : " ", {.Colour = Ink::Active, .Bold = true});
  for (const TableColumn& column : columns) {
    if (column.Cell == CellKind::Data) {
      PutData(grid, line, column, row, view, kindHasNoColumn);
      continue;
    }
    const std::string text = CellText(column, row);
    if (column.Right)
      grid.PutRight(line, column.Begin, column.Width, text, StyleOf(row));
    else
      grid.Put(line, column.Begin, text, StyleOf(row), column.Width);
  }
  if (selected) grid.Reverse(line);
}

void PutHeading(Grid& grid, size_t line, const std::vector<TableColumn>& columns, const WatchView& view) {
  grid.Paint(line, kHeading);
  for (const TableColumn& column : columns) {
    Style look = kHeading;
    look.Reversed = OrderOf(column.Cell) == view.Order;
    const std::string text = column.Cell == CellKind::Data && view.FirstByte > 0
                                 ? fmt::format("Data from byte {}", view.FirstByte)
                                 : column.Heading;
    if (column.Right)
      grid.PutRight(line, column.Begin, column.Width, text, look);
    else
      grid.Put(line, column.Begin, text, look, column.Width);
  }
}

/// The first row to be shown: the selected one is among those that are.
size_t TopOf(const std::vector<LiveRow>& rows, const WatchView& view, size_t lines) {
  size_t top = rows.size() <= lines ? 0 : std::min(view.Top, rows.size() - lines);
  const auto selected =
      std::find_if(rows.begin(), rows.end(), [&](const LiveRow& row) { return view.Selected == row.Row.Number; });
  if (selected == rows.end() || lines == 0) return top;
  const auto index = static_cast<size_t>(selected - rows.begin());
  return std::clamp(top, index + 1 - std::min(index + 1, lines), index);
}

void PutRows(WatchPage& page, size_t line, const WatchScene& scene, const WatchView& view) {
  Grid& grid = page.Picture;
  const size_t end = grid.Size().Lines - 1;  // the foot
  const std::vector<LiveRow> rows = scene.Table.Rows(view.Order, view.Reversed, scene.Now);
  for (const LiveRow& row : rows) page.Order.push_back(row.Row.Number);
  page.Lines = end - line - 1;
  page.Top = TopOf(rows, view, page.Lines);
  const std::vector<TableColumn> columns = LayOut(rows, grid.Size().Columns);
  PutHeading(grid, line++, columns, view);
  for (size_t index = page.Top; index < rows.size() && line < end; ++index)
    PutRow(grid, line++, columns, rows[index], view);
  if (rows.empty())
    grid.Put(line, 2, scene.Table.MessageCount() == 0 ? "no messages yet" : "the filter matches no message", kQuiet);
}

// The last lines.

void PutPrompt(Grid& grid, const WatchView& view) {
  const size_t columns = grid.Size().Columns;
  const bool wrong = view.Mistake.has_value();
  const size_t line = grid.Size().Lines - (wrong ? 2 : 1);
  const std::string label = view.Prompt == WatchPrompt::Name ? "record to: " : "filter: ";
  const size_t room = columns - label.size() - 1;  // the cursor may stand after the text
  const std::u32string_view typed = view.Typed.Typed();
  const size_t from = view.Typed.Cursor() < room ? 0 : view.Typed.Cursor() - room + 1;
  grid.Clear(line);
  const size_t begin = grid.Put(line, 0, label, {.Bold = true});
  const auto place = [&](size_t character) {
    const size_t first = std::min(from, character);
    return begin + WidthOf(Utf8Of(typed.substr(first, character - first)));
  };
  grid.Put(line, begin, Utf8Of(typed.substr(from)));
  grid.Cursor = {line, place(view.Typed.Cursor())};
  if (!wrong) return;
  grid.Clear(line + 1);
  const PromptMistake& mistake = *view.Mistake;
  if (mistake.Length > 0 && mistake.Begin >= from)
    grid.Put(line + 1, place(mistake.Begin), std::string(mistake.Length, '^'), kMistaken);
  const std::string sentence = Wrapped(mistake.Sentence, columns);
  const auto lines = static_cast<size_t>(std::count(sentence.begin(), sentence.end(), '\n')) + 1;
  size_t row = line - std::min(line, lines);
  for (size_t start = 0; start <= sentence.size() && row < line; ++row) {
    const size_t stop = std::min(sentence.find('\n', start), sentence.size());
    grid.Clear(row);
    grid.Put(row, 0, sentence.substr(start, stop - start), kAlarm);
    start = stop + 1;
  }
}

void PutFoot(Grid& grid, const WatchScene& scene, const WatchView& view, size_t shown) {
  const size_t line = grid.Size().Lines - 1;
  const size_t columns = grid.Size().Columns;
  grid.Clear(line);
  if (!scene.Facts.Notice.empty()) {
    grid.Put(line, 0, scene.Facts.Notice, scene.Facts.NoticeIsError ? kAlarm : Style{.Bold = true});
    return;
  }
  if (!scene.Filter.empty()) {
    const std::string counted = fmt::format("{} of {}", shown, scene.Table.MessageCount());
    grid.PutRight(line, columns - std::min(columns, counted.size()), counted.size(), counted);
    grid.Put(line, 0, "filter: " + scene.Filter, {.Colour = Ink::Active}, columns - counted.size() - 1);
    return;
  }
  const std::string sorted = view.Order == RowOrder::Message && !view.Reversed
                                 ? ""
                                 : fmt::format("by {}{}", Word(view.Order), view.Reversed ? ", reversed" : "");
  const std::string others =
      scene.Table.Unlisted() == 0 ? "" : FormatCount(scene.Table.Unlisted(), "entry", "entries") + " without a row";
  const std::string trigger = scene.Facts.Box ? "t trigger" : "";
  PutPieces(grid, line, 0, columns,
            {{"? help"},
             {"q quit"},
             {others, kAlarm},
             {sorted},
             {trigger},
             {"/ filter"},
             {"s sort"},
             {"r record"},
             {"space pause"}});
}

void PutHelp(Grid& grid, const WatchView& view) {
  const auto& keys = WatchKeys();
  grid.Put(0, 0, " keys; ? or Esc goes back", kBar);
  grid.Paint(0, kBar);
  const size_t lines = grid.Size().Lines - 1;
  const size_t top = keys.size() <= lines ? 0 : std::min(view.SheetTop, keys.size() - lines);
  for (size_t index = top; index < keys.size() && index - top < lines; ++index) {
    grid.Put(index - top + 1, 0, keys[index].Keys, {.Bold = true});
    grid.Put(index - top + 1, 12, keys[index].Does);
  }
}

/// @return false when it isn't there any more
bool PutMessage(WatchPage& page, const WatchScene& scene, const WatchView& view) {
  const std::vector<LiveRow> rows = scene.Table.Rows(view.Order, view.Reversed, scene.Now);
  for (const LiveRow& row : rows) page.Order.push_back(row.Row.Number);
  page.Lines = 1;
  const auto selected =
      std::find_if(rows.begin(), rows.end(), [&](const LiveRow& row) { return view.Selected == row.Row.Number; });
  if (selected == rows.end()) return false;
  PutSheet(page.Picture, *selected, scene.Channels, view.SheetTop);
  return true;
}

}  // namespace

WatchPage ComposePage(const WatchScene& scene, const WatchView& view, ScreenSize size) {
  WatchPage page;
  page.Picture = Grid(size);
  page.Top = view.Top;
  Grid& grid = page.Picture;
  if (size.Lines < kSmallestScreen.Lines || size.Columns < kSmallestScreen.Columns) {
    grid.Put(0, 0, fmt::format("{} x {} is too small", size.Columns, size.Lines));
    return page;
  }
  if (view.Sheet == WatchSheet::Help) {
    PutHelp(grid, view);
    return page;
  }
  PutBar(grid, scene);
  if (view.Sheet != WatchSheet::Message || !PutMessage(page, scene, view)) {
    page.Order.clear();
    PutRows(page, PutChannels(grid, 1, scene.Channels), scene, view);
  }
  if (view.Prompt == WatchPrompt::None)
    PutFoot(grid, scene, view, page.Order.size());
  else
    PutPrompt(grid, view);
  return page;
}

}  // namespace client
