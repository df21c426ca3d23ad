// A line of text that somebody is typing.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "system/Grid.h"
#include "system/Key.h"

namespace client {

class LineEditor {
 public:
  static constexpr size_t kMost = 1000;  // characters

  /// @param text  in UTF-8; the cursor is at its end
  explicit LineEditor(std::string_view text = "") : Characters(CharactersOf(text)), Place(Characters.size()) {}

  /// @return false for a key that isn't for editing
  bool Press(const Key& key) {
    switch (key.Name) {
      case KeyName::Character:
        if (Characters.size() < kMost) Characters.insert(Place++, 1, key.Written);
        return true;
      case KeyName::Backspace:
        if (Place > 0) Characters.erase(--Place, 1);
        return true;
      case KeyName::Delete:
        if (Place < Characters.size()) Characters.erase(Place, 1);
        return true;
      case KeyName::EraseLine:
        Characters.clear();
        Place = 0;
        return true;
      default:
        return Move(key.Name);
    }
  }

  [[nodiscard]] std::string Text() const { return Utf8Of(Characters); }
  [[nodiscard]] std::u32string_view Typed() const { return Characters; }
  /// In front of the character with this index.
  [[nodiscard]] size_t Cursor() const { return Place; }
  void SetCursor(size_t place) { Place = std::min(place, Characters.size()); }

 private:
  bool Move(KeyName name) {
    switch (name) {
      case KeyName::Left:
        if (Place > 0) --Place;
        return true;
      case KeyName::Right:
        SetCursor(Place + 1);
        return true;
      case KeyName::Home:
        Place = 0;
        return true;
      case KeyName::End:
        Place = Characters.size();
        return true;
      default:
        return false;
    }
  }

  std::u32string Characters;
  size_t Place;
};

}  // namespace client
