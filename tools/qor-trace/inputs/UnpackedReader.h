// A compressed file as an input, whatever it holds.
#pragma once

#include <fmt/format.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "inputs/Reader.h"
#include "system/Failure.h"

namespace client {

/// The reader of what a file holds, which also says when its compressed data are cut off: then what came is all there is.
class UnpackedReader : public Reader {
 public:
  /// @param cutOff  see Unpacked
  UnpackedReader(std::unique_ptr<Reader> inner, std::shared_ptr<const bool> cutOff)
      : Inner(std::move(inner)), CutOff(std::move(cutOff)) {}

  [[nodiscard]] const RecordView* Next() override {
    try {
      if (const RecordView* record = Inner->Next()) return record;
    } catch (const Failure&) {
      if (!*CutOff) throw;  // else it is about what the cut has left of a record
    }
    Passed = Inner->Found();
    if (*CutOff && !Passed.Lossy())
      Passed.Add(FindingKind::CutOff, "the compressed data end too early", fmt::format("byte {}", Inner->Position()));
    return nullptr;
  }
  void Attend(Attendance attendance) override { Inner->Attend(std::move(attendance)); }
  [[nodiscard]] bool Stopped() const override { return Inner->Stopped(); }
  [[nodiscard]] Description Describe() const override {
    Description known = Inner->Describe();
    known.Complete = known.Complete && !*CutOff;
    return known;
  }
  [[nodiscard]] unsigned long LossesKnown() const override { return Inner->LossesKnown(); }
  [[nodiscard]] std::vector<std::string> Remarks() const override { return Inner->Remarks(); }
  [[nodiscard]] std::vector<std::string> Notes() const override { return Inner->Notes(); }
  [[nodiscard]] unsigned long Position() const override { return Inner->Position(); }
  [[nodiscard]] unsigned long Size() const override { return Inner->Size(); }
  [[nodiscard]] const Findings& Found() const override { return Passed.Empty() ? Inner->Found() : Passed; }
  [[nodiscard]] unsigned long Records() const override { return Inner->Records(); }

 private:
  const std::unique_ptr<Reader> Inner;
  const std::shared_ptr<const bool> CutOff;
  Findings Passed;  // at the end, with those of the inner one
};

}  // namespace client
