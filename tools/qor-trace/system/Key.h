// A key that somebody has pressed.
#pragma once

namespace client {

enum class KeyName : unsigned char {
  Character,  // whatever writes something
  Enter,
  Escape,
  Backspace,
  Delete,
  Up,
  Down,
  Left,
  Right,
  PageUp,
  PageDown,
  Home,
  End,
  EraseLine,  // Ctrl-U
  Redraw,     // Ctrl-L
};

struct Key {
  KeyName Name = KeyName::Character;
  char32_t Written = 0;  // of a character

  bool operator==(const Key&) const = default;
};

}  // namespace client
