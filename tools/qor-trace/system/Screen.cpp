#include "system/Screen.h"

#define NCURSES_NOMACROS
#define NCURSES_WIDECHAR 1
#include <fcntl.h>
#include <fmt/format.h>
#include <ncurses.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <term.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>

#include "system/Failure.h"

namespace client {

namespace {

constexpr int kLookAgain = 100;   // ms, for another size of the terminal
constexpr int kEscapeDelay = 25;  // ms in which the rest of a key's sequence comes
constexpr std::chrono::milliseconds kLongestEnd{1000};
constexpr std::chrono::milliseconds kNudge{100};

constexpr const char* kOwnTerminal = "/dev/tty";
constexpr const char* kNoTerminal =
    "watch needs a terminal of its own; 'qor-trace list' shows the same table once, wherever its output goes";

/// Its handlers would run on any thread, beside the one that curses belongs to.
class KeptHandlers {
 public:
  KeptHandlers() {
    for (size_t index = 0; index < kSignals.size(); ++index) sigaction(kSignals[index], nullptr, &Actions[index]);
  }
  ~KeptHandlers() {
    for (size_t index = 0; index < kSignals.size(); ++index) sigaction(kSignals[index], &Actions[index], nullptr);
  }
  KeptHandlers(const KeptHandlers&) = delete;
  KeptHandlers& operator=(const KeptHandlers&) = delete;

 private:
  static constexpr std::array<int, 4> kSignals = {SIGINT, SIGTERM, SIGTSTP, SIGWINCH};
  std::array<struct sigaction, 4> Actions{};
};

/// What LeaveScreenAtOnce needs: made beforehand, since there is no time for anything then.
struct Rescue {
  Descriptor File;  // of its own: writing to it never waits
  termios Modes{};
  std::string Text;
};
std::atomic<Rescue*> ForRescue = nullptr;

std::string Capability(const char* name) {
  const char* const text = tigetstr(name);
  return text == nullptr || reinterpret_cast<intptr_t>(text) == -1 ? "" : text;
}

void SetRescue(const termios& modes) {
  const char* const path = ttyname(STDOUT_FILENO);
  auto* const rescue =
      new Rescue{Descriptor(path == nullptr ? -1 : open(path, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)), modes,
                 Capability("sgr0") + Capability("rmkx") + Capability("cnorm") + Capability("rmcup")};
  ForRescue = rescue;
}

bool WantsColours() {
  const char* const none = std::getenv("NO_COLOR");
  return none == nullptr || *none == '\0';
}

short PairOf(Ink ink) { return static_cast<short>(ink); }

void SetColours() {
  start_color();
  use_default_colors();
  init_pair(PairOf(Ink::Error), COLOR_RED, -1);
  init_pair(PairOf(Ink::Changed), COLOR_YELLOW, -1);
  init_pair(PairOf(Ink::Active), COLOR_GREEN, -1);
  init_pair(PairOf(Ink::Faint), COLOR_CYAN, -1);
}

attr_t AttributesOf(const Style& look, bool coloured) {
  attr_t attributes = A_NORMAL;
  if (look.Bold) attributes |= A_BOLD;
  if (look.Reversed) attributes |= A_REVERSE;
  if (look.Underlined) attributes |= A_UNDERLINE;
  if (look.Colour == Ink::Faint && !coloured) attributes |= A_DIM;
  return attributes;
}

std::optional<Key> KeyOf(int kind, wint_t code) {
  if (kind == KEY_CODE_YES) {
    switch (code) {
      case KEY_UP:
        return Key{KeyName::Up};
      case KEY_DOWN:
        return Key{KeyName::Down};
      case KEY_LEFT:
        return Key{KeyName::Left};
      case KEY_RIGHT:
        return Key{KeyName::Right};
      case KEY_PPAGE:
        return Key{KeyName::PageUp};
      case KEY_NPAGE:
        return Key{KeyName::PageDown};
      case KEY_HOME:
        return Key{KeyName::Home};
      case KEY_END:
        return Key{KeyName::End};
      case KEY_BACKSPACE:
        return Key{KeyName::Backspace};
      case KEY_DC:
        return Key{KeyName::Delete};
      case KEY_ENTER:
        return Key{KeyName::Enter};
      default:
        return std::nullopt;
    }
  }
  switch (code) {
    case '\r':
    case '\n':
      return Key{KeyName::Enter};
    case 0x1B:
      return Key{KeyName::Escape};
    case 0x08:
    case 0x7F:
      return Key{KeyName::Backspace};
    case 0x01:
      return Key{KeyName::Home};
    case 0x05:
      return Key{KeyName::End};
    case 0x15:
      return Key{KeyName::EraseLine};
    case 0x0C:
      return Key{KeyName::Redraw};
    default:
      break;
  }
  if (code < 0x20) return std::nullopt;
  return Key{KeyName::Character, static_cast<char32_t>(code)};
}

std::optional<ScreenSize> SizeOfTerminal() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) return std::nullopt;
  return ScreenSize{size.ws_row, size.ws_col};
}

}  // namespace

void Screen::CheckTerminal() {
  if (!StandardOutputIsTerminal()) throw UsageError(kNoTerminal);
  if (isatty(STDIN_FILENO) != 1 && !Descriptor(open(kOwnTerminal, O_RDONLY | O_CLOEXEC)).IsOpen())
    throw UsageError(kNoTerminal);
}

Screen::Screen(Signals& signals) : StopSignals(signals), WakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  CheckTerminal();
  if (!WakeUp.IsOpen()) throw Failure(fmt::format("Cannot watch the terminal: {}", ErrnoText(errno)));
  if (isatty(STDIN_FILENO) != 1) {
    Keyboard.reset(std::fopen(kOwnTerminal, "re"));
    if (!Keyboard) throw UsageError(kNoTerminal);
  }
  KeyFile = Keyboard ? fileno(Keyboard.get()) : STDIN_FILENO;
  Open();
  Aside.emplace();
  StopSignals.SetSuspension([this] {
    StopAsked = true;
    Wake();
  });
  Thread = std::thread([this] { Run(); });
}

void Screen::Open() {
  setlocale(LC_CTYPE, "");
  termios modes{};
  tcgetattr(KeyFile, &modes);
  const char* const type = std::getenv("TERM");
  const KeptHandlers kept;
  Terminal = newterm(nullptr, stdout, Keyboard ? Keyboard.get() : stdin);
  if (Terminal == nullptr)
    throw UsageError(
        fmt::format("The terminal's type, TERM={}, is not known here; set another one, or use 'qor-trace list'",
                    type == nullptr ? "" : type));
  if (Capability("cup").empty()) {
    endwin();
    delscreen(Terminal);
    throw UsageError(fmt::format("On a terminal of the type {} no cursor can be placed; use 'qor-trace list'", type));
  }
  set_escdelay(kEscapeDelay);
  cbreak();
  noecho();
  nonl();
  keypad(stdscr, TRUE);
  nodelay(stdscr, TRUE);
  leaveok(stdscr, FALSE);
  Coloured = WantsColours() && has_colors();
  if (Coloured) SetColours();
  SetRescue(modes);
  const MutexLock lock(Guard);
  Extent = {static_cast<size_t>(getmaxy(stdscr)), static_cast<size_t>(getmaxx(stdscr))};
}

Screen::~Screen() {
  StopSignals.SetSuspension(nullptr);
  Join();
  delete ForRescue.exchange(nullptr);
  delscreen(Terminal);
}

/// A terminal that takes nothing keeps the thread in a write: then what is on its way there is dropped.
void Screen::Join() {
  Ending = true;
  Wake();
  const auto begin = std::chrono::steady_clock::now();
  {
    const MutexLock lock(Guard);
    for (auto next = begin + kNudge; !Ended;) {
      if (Changed.WaitUntil(Guard, next)) continue;
      next += kNudge;
      tcflow(STDOUT_FILENO, TCOON);  // after a Ctrl-S
      if (std::chrono::steady_clock::now() - begin > kLongestEnd) tcflush(STDOUT_FILENO, TCOFLUSH);
    }
  }
  Thread.join();
}

ScreenSize Screen::Size() const {
  const MutexLock lock(Guard);
  return Extent;
}

void Screen::Show(Grid picture) {
  {
    const MutexLock lock(Guard);
    Next = std::move(picture);
  }
  Wake();
}

std::vector<Key> Screen::TakeKeys() {
  const MutexLock lock(Guard);
  return std::exchange(Pressed, {});
}

void Screen::Wake() {
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(WakeUp.Get(), &one, sizeof one);  // full: it is awake
}

void Screen::Run() {
  while (!Ending && !Gone) {
    std::array<pollfd, 2> files = {pollfd{KeyFile, POLLIN, 0}, pollfd{WakeUp.Get(), POLLIN, 0}};
    poll(files.data(), files.size(), kLookAgain);
    uint64_t wakes = 0;
    [[maybe_unused]] const ssize_t taken = read(WakeUp.Get(), &wakes, sizeof wakes);
    if ((files[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) Gone = true;
    if (Gone) break;
    if (StopAsked.exchange(false)) Suspend();
    if (files[0].revents != 0) ReadKeys();
    FitSize();
    std::optional<Grid> picture;
    {
      const MutexLock lock(Guard);
      picture = std::exchange(Next, std::nullopt);
    }
    if (picture) Draw(*picture);
  }
  endwin();
  const MutexLock lock(Guard);
  Ended = true;
  Changed.NotifyAll();
}

void Screen::ReadKeys() {
  wint_t code = 0;
  for (int kind = get_wch(&code); kind != ERR; kind = get_wch(&code)) {
    const auto key = KeyOf(kind, code);
    if (!key) continue;
    if (key->Name == KeyName::Redraw) {
      Drawn = Grid();
      clearok(curscr, TRUE);
    }
    const MutexLock lock(Guard);
    Pressed.push_back(*key);
  }
}

/// As Ctrl-Z does to any program; on the way back everything is drawn anew.
void Screen::Suspend() {
  endwin();
  Signals::StopProcess();
  Drawn = Grid();
  clearok(curscr, TRUE);
  refresh();
}

void Screen::FitSize() {
  const auto size = SizeOfTerminal();
  if (!size) return;
  const ScreenSize known = Size();
  if (*size == known) return;
  resizeterm(static_cast<int>(size->Lines), static_cast<int>(size->Columns));
  Drawn = Grid();
  clearok(curscr, TRUE);
  const MutexLock lock(Guard);
  Extent = *size;
}

void Screen::Draw(const Grid& picture) {
  const ScreenSize size = Size();
  const bool all = Drawn.Size() != picture.Size();
  for (size_t line = 0; line < std::min(picture.Size().Lines, size.Lines); ++line) {
    const auto before = all ? std::span<const GridCell>() : Drawn.Line(line);
    const auto now = picture.Line(line);
    if (!std::equal(before.begin(), before.end(), now.begin(), now.end())) DrawLine(line, picture);
  }
  curs_set(picture.Cursor ? 1 : 0);
  if (picture.Cursor) move(static_cast<int>(picture.Cursor->Line), static_cast<int>(picture.Cursor->Column));
  refresh();
  Drawn = picture;
}

void Screen::DrawLine(size_t line, const Grid& picture) {
  std::vector<cchar_t> cells;
  for (const GridCell& cell : picture.Line(line)) {
    if (cell.Glyph == 0) continue;
    const std::array<wchar_t, 2> glyph = {static_cast<wchar_t>(cell.Glyph), L'\0'};
    cells.emplace_back();
    setcchar(&cells.back(), glyph.data(), AttributesOf(cell.Look, Coloured),
             Coloured ? PairOf(cell.Look.Colour) : short{0}, nullptr);
  }
  mvadd_wchnstr(static_cast<int>(line), 0, cells.data(), static_cast<int>(cells.size()));
}

void LeaveScreenAtOnce() {
  const Rescue* const rescue = ForRescue.exchange(nullptr);
  if (rescue == nullptr) return;
  TalkAside::EndAtOnce();
  // Without a look at what is still on its way to the terminal, which may be standing still.
  tcflush(STDOUT_FILENO, TCOFLUSH);
  tcsetattr(rescue->File.Get(), TCSANOW, &rescue->Modes);
  [[maybe_unused]] const ssize_t written = write(rescue->File.Get(), rescue->Text.data(), rescue->Text.size());
}

}  // namespace client
