// The complete files of a series, of which the oldest may have to go.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "outputs/SeriesPlan.h"

namespace client {

/// Deletes the oldest files of a series for newer ones: those that this process has written, and only as long as they are
/// the files that it wrote. One that somebody has removed or replaced is let be.
///
/// Threads: one. Memory: the names of the files.
class KeptFiles {
 public:
  KeptFiles(const SeriesPlan& plan, SeriesNews news) : Plan(plan), News(std::move(news)) {}

  /// A file that has its name by now.
  /// @param beside  files that belong to it
  /// @return        bytes of them all
  unsigned long Add(SeriesFile file, const std::vector<std::string>& beside);
  /// Deletes files until the others are as few and as small as planned.
  /// @param more  bytes that count in addition
  void MakeRoom(unsigned long more);

  /// Bytes that count with those to come; 0 where there is no limit.
  [[nodiscard]] unsigned long Bytes() const { return Plan.KeepSize ? KeptBytes : 0; }
  [[nodiscard]] bool Empty() const { return Files.empty(); }
  /// Of the files that weren't deleted.
  [[nodiscard]] std::vector<std::string> Names() const;
  [[nodiscard]] unsigned long Count() const { return Files.size(); }
  [[nodiscard]] std::string FirstName() const { return Files.empty() ? "" : Files.front().File.Path; }
  [[nodiscard]] std::string LastName() const { return Files.empty() ? "" : Files.back().File.Path; }
  [[nodiscard]] unsigned long Deleted() const { return DeletedCount; }
  [[nodiscard]] unsigned long DeletedBytes() const { return BytesDeleted; }
  /// Those that couldn't be deleted, as a sentence; empty without any.
  [[nodiscard]] const std::string& Remark() const { return Sentence; }

 private:
  /// By which a file is known, whatever its name is by then.
  struct Identity {
    std::string Path;
    unsigned long Device = 0;
    unsigned long Inode = 0;
  };
  struct Member {
    SeriesFile File;
    unsigned long Bytes = 0;  // of all its files
    std::vector<Identity> Parts;
  };

  void DeleteOldest();
  void Tell(SeriesEvent::Kind what, const SeriesFile& file, const std::string& why = "") const;

  const SeriesPlan Plan;
  const SeriesNews News;
  std::deque<Member> Files;
  unsigned long KeptBytes = 0;
  unsigned long DeletedCount = 0;
  unsigned long BytesDeleted = 0;
  std::string Sentence;
};

}  // namespace client
