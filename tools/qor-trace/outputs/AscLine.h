// A line of an ASC log while it is being composed. For the AscLines_*.cpp only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "outputs/AscLines.h"
#include "outputs/AscText.h"

namespace client::asc {

/// Where a line is written, and how its numbers look.
class Line {
 public:
  Line(const AscStyle& style, const AscTime& time, char* out) : Style(style), Time(time), Out(out) {}

  template <size_t kSize>
  void Add(const char (&text)[kSize]) {
    Out = Text(Out, text);
  }
  void Add(std::string_view text) { Out = Text(Out, text); }
  void Add(char character) { Out = Character(Out, character); }

  void AddDecimal(uint64_t value) { Out = Decimal(Out, value); }
  void AddHex(uint32_t value) { Out = Hex(Out, value); }
  /// In the base of the header.
  void AddNumber(uint32_t value) { Out = Style.Decimal ? Decimal(Out, value) : Hex(Out, value); }
  /// A blank and a byte in the base of the header: two hexadecimal digits, or three decimal ones.
  void AddByte(unsigned char byte) {
    const ByteTexts& texts = Style.Decimal ? kDecimalBytes : kHexBytes;
    std::memcpy(Out, texts[byte].data(), 4);
    Out += Style.Decimal ? 4 : 3;
  }
  void AddBytes(RecordPayload bytes) {
    const ByteTexts& texts = Style.Decimal ? kDecimalBytes : kHexBytes;
    const ptrdiff_t width = Style.Decimal ? 4 : 3;
    char* out = Out;  // a local one stays in a register: bytes that are stored might be those of the member
    for (const unsigned char byte : bytes) {
      std::memcpy(out, texts[byte].data(), 4);
      out += width;
    }
    Out = out;
  }
  /// Bytes in hexadecimal without blanks, whatever the base.
  void AddHexDigits(RecordPayload bytes) {
    char* out = Out;
    for (const unsigned char byte : bytes) {
      std::memcpy(out, kHexBytes[byte].data() + 1, 2);
      out += 2;
    }
    Out = out;
  }
  /// Blanks up to a width.
  void PadFrom(const char* begin, ptrdiff_t width) {
    while (Out - begin < width) Add(' ');
  }

  /// The time column and a blank.
  void AddTime() { AddSeconds(Time.Column); }
  /// The time since the start of the log and a blank.
  void AddTimeSinceStart() { AddSeconds(Time.SinceStart); }

  [[nodiscard]] bool IsDecimal() const { return Style.Decimal; }
  [[nodiscard]] char* End() const { return Out; }

 private:
  void AddSeconds(uint64_t ticks) { Out = Character(Seconds(Out, ticks, Style.Decimals), ' '); }

  const AscStyle& Style;
  const AscTime& Time;
  char* Out;
};

/// The lines of a record of each bus, its time included. False for one that is malformed: nothing was added.
[[nodiscard]] bool AddCan(Line& line, unsigned int channel, const CanView& can);
[[nodiscard]] bool AddLin(Line& line, unsigned int channel, const LinView& lin);
[[nodiscard]] bool AddFlexRay(Line& line, unsigned int channel, const FlexRayView& flexRay);

}  // namespace client::asc
