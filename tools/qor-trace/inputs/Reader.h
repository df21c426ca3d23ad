// A recording that is read: records out, one by one, whatever the format.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "inputs/InputFormat.h"
#include "record/RecordView.h"
#include "stream/Description.h"
#include "stream/Findings.h"
#include "stream/RecordSink.h"

namespace client {

/// Asked at every block that is read, and several times a second while a pipe has nothing; false ends the reading.
using GoOn = std::function<bool()>;

/// Who is asked and told while a reader waits.
struct Attendance {
  GoOn MayGoOn = nullptr;                 // null: always
  std::function<void()> Waits = nullptr;  // a pipe has nothing right now; null: nobody wants to know
};

/// Reads one input. Every format has its own; OpenInput finds out which. What comes from a file is believed only as far as
/// the bytes reach that are there, and memory is bounded by what a sound file of the format needs.
///
/// Threads: one.
class Reader {
 public:
  Reader() = default;
  virtual ~Reader() = default;
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  /// The next record, valid until the next call. Null at the end of the input, and once reading was ended: see Stopped.
  /// What a reader can pass over, it notes in Found(); what it can't is a failure.
  /// Failure: Failure when nothing more can be read. All records before it were whole.
  [[nodiscard]] virtual const RecordView* Next() = 0;

  /// Nothing as long as a pipe hasn't shown what it holds, and of what has several inputs.
  [[nodiscard]] virtual std::optional<InputKind> Kind() const { return Is; }
  void SetKind(InputKind kind) { Is = kind; }

  /// Asks and tells somebody from now on.
  virtual void Attend(Attendance attendance) = 0;
  /// MayGoOn has said no.
  [[nodiscard]] virtual bool Stopped() const = 0;

  /// What the input says of the recording by now: what isn't known before the first record may be known after it, what
  /// stands at the end of a file after the last one.
  [[nodiscard]] virtual Description Describe() const = 0;
  /// Another number once Describe() has further losses, as where they stand between the records.
  [[nodiscard]] virtual unsigned long LossesKnown() const { return 0; }
  /// Sentences that a person should read before the first record; mostly none.
  [[nodiscard]] virtual std::vector<std::string> Remarks() const { return {}; }
  /// Likewise, about what is read: with nothing wrong with it.
  [[nodiscard]] virtual std::vector<std::string> Notes() const { return {}; }

  /// Bytes read so far, and of the whole input; a size of 0 isn't known.
  [[nodiscard]] virtual unsigned long Position() const = 0;
  [[nodiscard]] virtual unsigned long Size() const = 0;

  /// What there was besides records so far.
  [[nodiscard]] virtual const Findings& Found() const = 0;
  /// Records handed out so far.
  [[nodiscard]] virtual unsigned long Records() const = 0;

 private:
  std::optional<InputKind> Is;
};

/// Why reading ended.
enum class ReadingEnd { Whole, Declined, Stopped };

/// Hands all records to a sink, until the input ends, the sink declines or somebody says no. The sink is paused while a pipe
/// has nothing.
/// Failure: as Reader::Next.
ReadingEnd ReadAll(Reader& reader, RecordSink& sink, const GoOn& goOn = nullptr);

}  // namespace client
