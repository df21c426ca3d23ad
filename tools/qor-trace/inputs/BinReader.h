// Reads raw record files (.bin): the records of a trace, Length bytes each, back to back.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "inputs/InputBytes.h"
#include "inputs/Reader.h"
#include "system/Failure.h"

namespace client {

class BinReader : public Reader {
 public:
  /// What to do where there is no whole record.
  enum class AtDamage {
    Fail,      // a failure
    PassOver,  // on with the next chain of plausible records; a rest without one was cut off
  };

  /// Unless it is a pipe, its first record is checked, and what lies beside it is read: see FindDescription.
  /// @param path  as opened; "-" for standard input
  /// Failure: Failure when the input doesn't begin with a record.
  explicit BinReader(const std::string& path) : BinReader(InputBytes(path), path) {}
  BinReader(InputBytes bytes, const std::string& path, AtDamage atDamage = AtDamage::Fail);

  /// Failure: Failure when the file can't be read or, unless that was to be gone on after, does not consist of whole records. When reading was ended, the last
  ///          record may be cut.
  [[nodiscard]] const RecordView* Next() override;

  void Attend(Attendance attendance) override { Bytes.Attend(std::move(attendance)); }
  [[nodiscard]] bool Stopped() const override { return Bytes.Stopped(); }
  /// What lies beside the file. One without any is complete, for what is known.
  [[nodiscard]] Description Describe() const override { return Known; }
  [[nodiscard]] std::vector<std::string> Remarks() const override { return Sentences; }
  [[nodiscard]] unsigned long Position() const override { return Bytes.Taken(); }
  [[nodiscard]] unsigned long Size() const override { return Bytes.Size(); }
  [[nodiscard]] const Findings& Found() const override { return Seen; }
  [[nodiscard]] unsigned long Records() const override { return Count; }

 private:
  [[nodiscard]] unsigned int NextLength() const;
  [[nodiscard]] unsigned long FirstDigest();
  [[nodiscard]] const RecordView* Hand(unsigned int length);
  [[nodiscard]] const RecordView* NextPlausible();
  [[nodiscard]] bool IsSound(unsigned int length);
  [[nodiscard]] bool BeginsChain();
  [[nodiscard]] Failure Damaged() const;

  InputBytes Bytes;
  Description Known;
  std::vector<std::string> Sentences;
  const AtDamage OnDamage;
  Findings Seen;
  std::optional<RecordView> Current;
  unsigned int Length = 0;  // of the current record
  unsigned long Count = 0;
};

}  // namespace client
