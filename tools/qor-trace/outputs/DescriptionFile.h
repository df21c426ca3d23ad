// The description beside a raw record file.
#pragma once

#include <string>
#include <vector>

#include "stream/Description.h"
#include "system/PartFile.h"

namespace client {

/// NAME.bin.json, beside NAME.bin: claimed with it as NAME.bin.json.part, where it holds a whole JSON document from its
/// first writing on, however the process ends; it gets its name right after the records have theirs.
///
/// Threads: one.
class DescriptionFile {
 public:
  /// @param records  path of the record file
  /// Failure: Failure as PartFile.
  explicit DescriptionFile(const std::string& records);

  /// Writes the description in place of the one before, which stays if that fails. A failure is kept: see Error.
  void Write(const Description& description);

  /// Adds the file, for somebody who puts on the disk what is written.
  void AddTo(std::vector<WrittenFile>& files) const { files.push_back(Part.Written()); }
  /// Puts what is written on the disk.
  void Synchronize();
  /// Removes the description of the record file that is about to be replaced: it must not lie beside the new one, whenever the
  /// process ends.
  /// @return empty, or the sentence that says why it is still there
  std::string RemovePrevious() const;
  /// Gives it its name.
  void Complete();
  /// Removes it: there are no records.
  void Discard() { Part.Discard(); }

  /// When it is complete.
  [[nodiscard]] const std::string& Name() const { return Part.Name(); }
  /// The sentence that says what failed; empty if nothing did.
  const std::string& Error() const { return Sentence; }

 private:
  void PutBack();
  void GiveBackRoom();
  void Fail(int error);

  PartFile Part;
  std::string Written;  // since the file is only written anew when there is something new
  std::string Sentence;
};

}  // namespace client
