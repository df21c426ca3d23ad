// What readers of a single text have in common.
#pragma once

#include <utility>

#include "inputs/InputBytes.h"
#include "inputs/MadeRecord.h"
#include "inputs/Reader.h"
#include "inputs/TextLines.h"

namespace client {

/// Reads a text line by line; a line without an end is a cut.
class TextReader : public Reader {
 public:
  explicit TextReader(InputBytes bytes) : Lines(std::move(bytes)) {}

  void Attend(Attendance attendance) override { Lines.Attend(std::move(attendance)); }
  [[nodiscard]] bool Stopped() const override { return Lines.Stopped(); }
  [[nodiscard]] unsigned long Position() const override { return Lines.Position(); }
  [[nodiscard]] unsigned long Size() const override { return Lines.Size(); }
  [[nodiscard]] const Findings& Found() const override { return Noted; }
  [[nodiscard]] unsigned long Records() const override { return Count; }

 protected:
  TextLines Lines;
  MadeRecord Made;
  unsigned long Count = 0;  // records so far
  bool IsCut = false;
  Findings Noted;
};

}  // namespace client
