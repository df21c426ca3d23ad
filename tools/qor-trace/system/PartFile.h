// A file on its way: locked, and called NAME.part, until it is complete.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "system/Descriptor.h"
#include "system/WrittenFile.h"

namespace client {

/// What a complete file does with one that has its name already. Only a whole file takes another one's place.
enum class Existing { Replaced, Kept };

/// A name that is claimed: nobody else writes a file of this name as long as this lives, and what is written goes to a
/// part file until it is complete.
///
/// A claim is the part file itself, newly made, without following links; its lock tells a living claim from one that
/// was left over from a crash. The lock stays with the file when it gets its name.
///
/// Threads: one.
class PartFile {
 public:
  /// @param name      of the complete file
  /// @param partName  until then, in the same folder
  /// Failure: Failure when another process writes a file of that name, a part file is there already (it is left alone), or
  ///          the part file can't be made.
  PartFile(std::string name, std::string partName);
  explicit PartFile(const std::string& name) : PartFile(name, name + ".part") {}
  /// A file that isn't complete stays under its part name.
  ~PartFile() = default;
  PartFile(PartFile&&) = default;
  PartFile& operator=(PartFile&&) = default;

  /// The part file's descriptor, open for writing; another one of the same file may write it instead.
  [[nodiscard]] int File() const { return Part->Get(); }
  /// The same, to be put on the disk by somebody else, perhaps on another thread.
  [[nodiscard]] WrittenFile Written() const;
  [[nodiscard]] const std::string& Name() const { return CompleteName; }
  [[nodiscard]] const std::string& PartName() const { return TemporaryName; }

  /// Puts the file on the disk and gives it its name. The claim stays.
  /// @param beforeNaming  called when nothing but the naming is left to do; a sentence that it returns is why that isn't done
  /// @return empty, or the sentence that says why the file keeps its part name
  [[nodiscard]] std::string Complete(
      Existing existing = Existing::Replaced, const std::function<std::string()>& beforeNaming = [] { return ""; });

  /// "Cannot name ...: why. Its contents are in ..."
  [[nodiscard]] std::string WhyNot(const char* action, int error) const;

  /// Removes the part file, for one that holds nothing worth keeping. The claim goes with it.
  void Discard();

 private:
  std::string CompleteName;
  std::string TemporaryName;
  std::shared_ptr<const Descriptor> Part;
};

}  // namespace client
