// A pipe as an input, whatever comes out of it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "inputs/InputBytes.h"
#include "inputs/Reader.h"

namespace client {

/// Finds out what a pipe holds once its first bytes come, which may be long after it was opened: until then it can be asked
/// for nothing, and reading can be ended.
class PipedReader : public Reader {
 public:
  using Make = std::function<std::unique_ptr<Reader>(InputBytes bytes)>;

  /// @param enough  first bytes that tell all formats apart
  PipedReader(InputBytes bytes, size_t enough, Make make)
      : Bytes(std::move(bytes)), Enough(enough), MakeReader(std::move(make)) {}

  [[nodiscard]] const RecordView* Next() override {
    if (!Inner) Begin();
    return Inner ? Inner->Next() : nullptr;
  }
  [[nodiscard]] std::optional<InputKind> Kind() const override { return Inner ? Inner->Kind() : std::nullopt; }
  void Attend(Attendance attendance) override {
    if (Inner) return Inner->Attend(std::move(attendance));
    Present = attendance;
    Bytes.Attend(std::move(attendance));
  }
  [[nodiscard]] bool Stopped() const override { return Inner ? Inner->Stopped() : Bytes.Stopped(); }
  [[nodiscard]] Description Describe() const override { return Inner ? Inner->Describe() : Undescribed(); }
  [[nodiscard]] unsigned long LossesKnown() const override { return Inner ? Inner->LossesKnown() : 0; }
  [[nodiscard]] unsigned long Position() const override { return Inner ? Inner->Position() : 0; }
  [[nodiscard]] unsigned long Size() const override { return 0; }
  [[nodiscard]] const Findings& Found() const override { return Inner ? Inner->Found() : Nothing; }
  [[nodiscard]] unsigned long Records() const override { return Inner ? Inner->Records() : 0; }

 private:
  /// Fewer bytes are left to the reader, which says what is wrong.
  void Begin() {
    (void)Bytes.Need(Enough);
    if (Bytes.Stopped()) return;
    Inner = MakeReader(std::move(Bytes));
    Inner->Attend(Present);
  }
  [[nodiscard]] static Description Undescribed() {
    Description known;
    known.Complete = true;
    return known;
  }

  InputBytes Bytes;
  const size_t Enough;
  const Make MakeReader;
  Attendance Present;
  std::unique_ptr<Reader> Inner;
  const Findings Nothing = {};
};

}  // namespace client
