// The newest record of each message of one poll.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

/// Notes for each list key (message key of the bus) of one batch where its newest record is.
///
/// A table with open addressing, at most half full. It isn't cleared from poll to poll: a place counts only if it bears the
/// number of this poll. Threads: one at a time.
class LatestByKey {
 public:
  struct Row {
    unsigned int Key;     // message key
    unsigned int Record;  // offset in the batch
  };

  [[nodiscard]] bool empty() const { return Rows.empty(); }
  [[nodiscard]] size_t size() const { return Rows.size(); }
  /// In the order in which the keys first came.
  [[nodiscard]] std::vector<Row>::const_iterator begin() const { return Rows.begin(); }
  [[nodiscard]] std::vector<Row>::const_iterator end() const { return Rows.end(); }

  /// Sees to it that the next Note needs no memory.
  /// @throws std::bad_alloc; the notes are then as before.
  void MakeRoom() {
    if (Rows.size() == Rows.capacity()) Grow();
  }
  /// Makes `record` the newest one of its key. After MakeRoom.
  void Note(unsigned int key, unsigned int record) {
    Place& place = PlaceOf(key, Places);
    if (place.Poll == Poll) {
      Rows[place.Row].Record = record;
    } else {
      place = {Poll, static_cast<unsigned int>(Rows.size())};
      Rows.push_back({key, record});
    }
  }

  void clear() {
    Rows.clear();
    if (++Poll != 0) return;
    std::fill(Places.begin(), Places.end(), Place{0, 0});  // the numbers begin again
    Poll = 1;
  }

 private:
  struct Place {
    unsigned int Poll;  // in which it was last used
    unsigned int Row;
  };

  /// The place of a key, or the free one for it.
  [[nodiscard]] Place& PlaceOf(unsigned int key, std::vector<Place>& places) const {
    const size_t last = places.size() - 1;
    size_t at = static_cast<size_t>(key * 0x9E3779B97F4A7C15UL >> 32) & last;  // Fibonacci hashing
    while (places[at].Poll == Poll && Rows[places[at].Row].Key != key) at = (at + 1) & last;
    return places[at];
  }
  void Grow() {
    constexpr size_t kFirst = 256;
    const size_t rows = Rows.capacity() == 0 ? kFirst : 2 * Rows.capacity();
    std::vector<Place> places(2 * rows, {0, 0});
    Rows.reserve(rows);
    for (unsigned int row = 0; row < Rows.size(); ++row) PlaceOf(Rows[row].Key, places) = {Poll, row};
    Places.swap(places);
  }

  std::vector<Row> Rows;
  std::vector<Place> Places;  // a power of two of them
  unsigned int Poll = 1;      // 0 for a place that was never used
};
