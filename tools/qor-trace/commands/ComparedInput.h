// A recording that is compared: read, cut, and handed to the comparison on the clock that both share.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "inputs/Reader.h"
#include "stream/RecordSink.h"
#include "stream/Selection.h"
#include "stream/TimeBase.h"
#include "views/Comparison.h"

namespace client {

/// What the times of two recordings count from when they are compared.
enum class ComparedClock {
  Utc,
  Own,       // each clock as it is
  Relative,  // the first entry of each
};

class ComparedInput : private RecordSink {
 public:
  /// @param comparison  outlives this
  /// Failure: as OpenInput.
  ComparedInput(Side side, std::string path, const SelectionPlan& wanted, Comparison& comparison);

  /// Asks somebody whether to go on, at every block.
  void Attend(GoOn mayGoOn) { Input->Attend({std::move(mayGoOn), nullptr}); }

  /// Reads one record, and hands it to the comparison if it is wanted.
  /// @return  false: reading was stopped
  /// Failure: as Reader::Next.
  [[nodiscard]] bool Feed();

  [[nodiscard]] const std::string& Name() const { return Path; }
  /// The extension of the name, without the dot and that of a compression.
  [[nodiscard]] std::string FormatName() const;
  [[nodiscard]] const Reader& Source() const { return *Input; }
  [[nodiscard]] ComparedClock Clock() const { return Shared; }
  /// What its description (this is A) and another one say differently, a few words each, after both were read.
  /// @param tolerance  ns, of times
  [[nodiscard]] std::vector<std::string> DescriptionDifferences(const ComparedInput& other,
                                                                unsigned long tolerance) const;
  /// When its entries happened.
  [[nodiscard]] const TimeBase& Moment() const { return Known; }

 private:
  friend void BeginBoth(ComparedInput& a, ComparedInput& b, std::optional<ComparedClock> asked, long offset);

  [[nodiscard]] bool Take(const RecordView& record) override;
  void ReadFirst();
  void NoteLosses();
  void ShareClock(ComparedClock clock, long offset);

  const Side From;
  const std::string Path;
  const SelectionPlan Wanted;
  Comparison& Into;
  const std::unique_ptr<Reader> Input;
  Selection Selected;
  const RecordView* Next = nullptr;          // the record that is handed on next
  std::optional<unsigned long> LossesNoted;  // LossesKnown() of the input then
  TimeBase Known = {};
  ComparedClock Shared = ComparedClock::Own;
  TimeBase Common = {};  // from its own clock to that which both share
};

/// Reads the first record of each, and finds the clock that both share. Where none is asked for: UTC if it is known of both, their
/// own clocks if it is known of neither, else the time since the first record of each, which is said.
/// @param offset  ns, added to the times of B
/// Failure: Failure when one has no record, or isn't known by UTC where that is asked for.
void BeginBoth(ComparedInput& a, ComparedInput& b, std::optional<ComparedClock> asked, long offset);

}  // namespace client
