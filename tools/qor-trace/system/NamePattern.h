// What the files of a series are called: a name with placeholders.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace client {

/// A name in which these stand for something else, in the file's own name and not in that of its folder:
///
///   %n                 the number of the file, six digits or more
///   %t                 the time of its first entry in UTC, as in 20261121T143000Z
///   %Y %m %d %H %M %S  the same in local time: year, month, day, hour, minute, second
///   %%                 a percent sign
class NamePattern {
 public:
  /// The name of a series. One without a placeholder has its number in front of the extension: "drive.bin.gz" is
  /// "drive_%n.bin.gz".
  /// Failure: UsageError that says where an unknown placeholder stands.
  explicit NamePattern(const std::string& path);
  /// Does a name have a placeholder that isn't "%%"?
  [[nodiscard]] static bool IsOne(std::string_view path);

  [[nodiscard]] bool HasNumber() const { return Has('n'); }
  /// Can names only be made of a time that is known?
  [[nodiscard]] bool HasTime() const;

  /// @param utc   ns since 1970
  /// @param copy  from 2 on, "_2" and so on stands in front of the extension
  [[nodiscard]] std::string Of(unsigned long number, unsigned long utc, unsigned long copy = 1) const;

  /// The files that exist under such names, in the order of the series. What can't be listed has none.
  [[nodiscard]] std::vector<std::string> Files() const;
  /// Those that are on their way to such a name: NAME.part, of measurement files NAME.part.mf4.
  [[nodiscard]] std::vector<std::string> Parts() const;
  /// 0 for what isn't the name of a numbered file of the series.
  [[nodiscard]] unsigned long NumberOf(const std::string& file) const;
  /// One more than the greatest number of a file that exists or is on its way; 1 without any.
  [[nodiscard]] unsigned long FreeNumber() const;

 private:
  struct Piece {
    char Placeholder;  // 0: text
    std::string Text;
  };
  /// The values of the placeholders, in the order in which they count.
  using Values = std::tuple<unsigned long, unsigned long, std::vector<unsigned long>, unsigned long>;

  [[nodiscard]] bool Has(char placeholder) const;
  [[nodiscard]] bool MayBeCopy() const { return HasTime() && !HasNumber(); }
  [[nodiscard]] std::optional<Values> ValuesOf(std::string_view name) const;
  template <class NameOf>
  [[nodiscard]] std::vector<std::string> List(NameOf nameOf) const;
  [[nodiscard]] std::string Unparted(const std::string& name) const;

  std::string Folder;  // with its slash; or empty
  std::vector<Piece> Pieces;
  std::string Ending;  // the extension, and that of the compression
};

/// Gives the files of a series their names, no two the same.
///
/// Threads: one. Memory: a name for each file, where they have no numbers.
class SeriesNames {
 public:
  /// @param first  number of the first file
  explicit SeriesNames(NamePattern pattern, unsigned long first = 1) : Pattern(std::move(pattern)), Number(first) {}

  /// @param utc  of the file's first entry, ns since 1970; for names with a time
  [[nodiscard]] std::string Next(unsigned long utc);
  [[nodiscard]] const NamePattern& Names() const { return Pattern; }

 private:
  const NamePattern Pattern;
  unsigned long Number;         // of the next file
  std::set<std::string> Given;  // where an hour of local time comes twice, or a second has several files
};

}  // namespace client
