// From the time columns of an ASC log to the times of its records.
#pragma once

#include <algorithm>
#include <optional>
#include <unordered_map>

namespace client {

/// What the first column of a line counts from.
enum class AscTimeColumn {
  Date,     // that of the head: "timestamps absolute"
  Line,     // the line before, the first line of a file the date: "timestamps relative"
  Message,  // the line before of the same message, in the library's own export: "timestamps relative" as well
};

/// All times in ns since the date.
///
/// Columns that count from the message's line before don't say when anything happened. What comes out then is the earliest
/// time at which it can have: no line is earlier than the one in front of it, and no message earlier than its column says.
/// The first lines of messages are too early by that; with every line that is held back by the one in front of it, its
/// message comes nearer, and from then on keeps its distances.
class AscTimes {
 public:
  AscTimeColumn Column = AscTimeColumn::Date;

  void BeginFile() {
    if (Column == AscTimeColumn::Line) LineBefore = 0;
  }

  /// Of a line with an entry.
  /// @param column    may be negative in the library's export
  /// @param message   the same for all entries of a message, different for those of others
  /// @param sinceDate  if the line has it elsewhere
  unsigned long Of(long column, unsigned long message, std::optional<unsigned long> sinceDate) {
    unsigned long time = Preview(column);
    if (Column == AscTimeColumn::Message) time = OfMessage(column, message, sinceDate);
    LineBefore = time;
    return time;
  }

  /// Of a line without an entry.
  void PassOver(long column) {
    if (Column != AscTimeColumn::Message) LineBefore = Preview(column);
  }

  /// Of a comment, which no other line's time counts from.
  [[nodiscard]] unsigned long Preview(long column) const {
    const auto whole = static_cast<unsigned long>(std::max(column, 0l));
    if (Column == AscTimeColumn::Date) return whole;
    return LineBefore + std::min(whole, ~LineBefore);
  }

 private:
  // A log of more messages than any car has isn't sound: those beyond are taken for new ones each time.
  static constexpr size_t kMostMessages = 100'000;

  unsigned long OfMessage(long column, unsigned long message, std::optional<unsigned long> sinceDate) {
    unsigned long time = sinceDate.value_or(LineBefore);
    const auto found = Messages.find(message);
    if (!sinceDate && found != Messages.end()) {
      const unsigned long earliest = found->second + static_cast<unsigned long>(column);
      const bool wrapped = (column >= 0) != (earliest >= found->second);
      if (!wrapped) time = std::max(time, earliest);
    }
    if (found != Messages.end())
      found->second = time;
    else if (Messages.size() < kMostMessages)
      Messages.emplace(message, time);
    return time;
  }

  unsigned long LineBefore = 0;
  std::unordered_map<unsigned long, unsigned long> Messages;  // the time of each one's line before
};

}  // namespace client
