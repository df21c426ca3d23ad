// What a crash or a power cut has left of a recording.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "inputs/Reader.h"

namespace client {

/// Reads files as far as they can be read. Several ones are raw records of one recording, such as NAME.bin.part and a swap file:
/// they are merged by time, and what is in two of them comes once.
///
/// Afterwards Found() says what is missing, and from when on. A file that can't be read on is Unread from there; reading goes on
/// with the others.
///
/// Memory: a reader's for each file; of several ones also the records of one time.
class RecoveryReader : public Reader {
 public:
  /// Failure: Failure when one can't be opened, or is still being written; UsageError for several that aren't all raw records.
  explicit RecoveryReader(const std::vector<std::string>& paths);

  [[nodiscard]] const RecordView* Next() override;

  void Attend(Attendance attendance) override;
  [[nodiscard]] bool Stopped() const override;
  [[nodiscard]] Description Describe() const override;
  [[nodiscard]] unsigned long LossesKnown() const override;
  [[nodiscard]] std::vector<std::string> Remarks() const override;
  [[nodiscard]] std::vector<std::string> Notes() const override;
  [[nodiscard]] unsigned long Position() const override;
  [[nodiscard]] unsigned long Size() const override;
  [[nodiscard]] const Findings& Found() const override { return Seen; }
  [[nodiscard]] unsigned long Records() const override { return Count; }

 private:
  struct Input {
    std::string Path;
    std::unique_ptr<Reader> Source;
    const RecordView* Head = nullptr;
    std::map<std::string, unsigned int> AtThisTime = {};  // records of Moment that it had
  };

  void Advance(Input& input);
  [[nodiscard]] Input* Earliest();
  [[nodiscard]] bool IsNew(Input& input);
  void Conclude();

  std::vector<Input> Inputs;
  Input* Handed = nullptr;   // whose head was handed out
  unsigned long Moment = 0;  // ns, time of the latest record
  unsigned long Latest = 0;  // ns, greatest time so far
  std::map<std::string, unsigned int> HandedAtThisTime;
  Findings Seen;
  unsigned long Count = 0;
  bool Concluded = false;
};

/// Left under the name that a file has until it is complete, or in a swap folder.
[[nodiscard]] bool IsNameOfPart(const std::string& path);

}  // namespace client
