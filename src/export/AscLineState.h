// What the lines of an ASC log carry from one to the next.
#pragma once

/// A time or a difference of times in ns. The sign is separate, so that the whole range of the clock fits both ways.
struct AscTime {
  unsigned long Nanoseconds = 0;
  bool Negative = false;

  /// A plain difference.
  static AscTime Between(unsigned long later, unsigned long earlier) {
    return later >= earlier ? AscTime{later - earlier, false} : AscTime{earlier - later, true};
  }
  /// A wrapped difference, as records hold it.
  static AscTime Signed(unsigned long wrapped) {
    return static_cast<long>(wrapped) >= 0 ? AscTime{wrapped, false} : AscTime{0 - wrapped, true};
  }
};

/// Settings of one export run, and the number formats that its lines leave behind.
///
/// A line changes these formats where it needs another one, and the lines and files after it continue with what it left:
/// a CAN line leaves hexadecimal numbers even in a "base dec" log, a LIN line with an SOF field leaves six decimals.
/// Fill and alignment are not among them: every line that changes them sets them back to blank and left.
struct AscLineState {
  unsigned int Flags = 0;       // QOR_TRACE_ASC_*
  unsigned long StartTime = 0;  // ns, clock of the entries

  bool Hex = false;    // integers are hexadecimal, lower case; else decimal
  int Decimals = 9;    // of a number of seconds: 9 or 6
  bool Fixed = false;  // numbers of seconds have all their decimals; false until the first one was printed
  AscTime Last;        // time of the last entry that has a timestamp column, less the start time with START_OFFSET

  [[nodiscard]] bool Has(unsigned int flag) const { return (Flags & flag) != 0; }
};
