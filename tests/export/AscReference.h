// A second ASC writer, a slow one: on a std::ostringstream whose formatting state simply persists, with every record
// read byte by byte. Written apart from the writer, to be compared with it.
#pragma once

#include <iomanip>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "qor_api_trace.h"

namespace test {

/// Bytes of a record; those past its end read as 0.
class Peek {
 public:
  explicit Peek(const Qor_Trace_Entry_t& entry)
      : Data(reinterpret_cast<const unsigned char*>(&entry)), Length(entry.Length) {}
  [[nodiscard]] unsigned int U8(size_t offset) const { return offset < Length ? Data[offset] : 0u; }
  [[nodiscard]] unsigned int U16(size_t offset) const { return U8(offset) | U8(offset + 1) << 8u; }
  [[nodiscard]] unsigned int U32(size_t offset) const { return U16(offset) | U16(offset + 2) << 16u; }
  [[nodiscard]] unsigned long U64(size_t offset) const {
    return U32(offset) | static_cast<unsigned long>(U32(offset + 4)) << 32u;
  }
  [[nodiscard]] bool Has(size_t offset) const { return offset < Length; }

 private:
  const unsigned char* Data;
  size_t Length;
};

/// Gives the same series of files as the writer should.
class AscReference {
 public:
  using File = std::pair<std::string, std::string>;  // name, contents

  AscReference(unsigned int flags, std::string name, unsigned long start, unsigned int limit, std::string date)
      : Flags(flags), Base(std::move(name)), Start(start), Limit(limit), Date(std::move(date)) {
    Begin();
  }

  void Write(const Qor_Trace_Entry_t& entry) {
    const Peek record(entry);
    if (entry.Length >= 28) {
      if (Flag(4) && !Flag(2) && record.U64(8) < Start) return;
      if (record.U8(24) == 0) Can(record);
      if (record.U8(24) == 1) Lin(record);
      if (record.U8(24) == 2) FlexRay(record);
      if (record.U8(24) == 3 && record.U16(30) == 1) Ethernet(record);
    }
    Empty();
    if (Flag(8) && Files.back().second.size() > Limit) {
      End();
      Begin();
    }
  }

  std::vector<File> Finish() {
    End();
    return Files;
  }

 private:
  [[nodiscard]] bool Flag(unsigned int bit) const { return (Flags & bit) != 0; }

  void Empty() {
    Files.back().second += Out.str();
    Out.str("");
  }

  void Begin() {
    std::string name = Base;
    const std::string previous = Files.empty() ? Base : Files.back().first;
    if (Flag(8) && Counter > 0) {
      const size_t dot = Base.rfind('.');
      std::string number = "_";
      number += std::to_string(Counter);
      name = dot == std::string::npos ? Base + number : Base.substr(0, dot) + number + Base.substr(dot);
    }
    if (Flag(8)) ++Counter;
    Files.emplace_back(name, "");

    Out << "date " << Date;
    if (Flag(1)) {
      Out << "base dec  ";
    } else {
      Out << std::hex << "base hex  ";
    }
    Out << std::left;
    if (!SixDecimals) Out.precision(9);
    Out << (Flag(2) ? "timestamps relative\n" : "timestamps absolute\n");
    Out << "internal events logged\n// version 8.1.0\n";
    if (Flag(8) && Counter >= 2) Out << "// " << LastTime << " previous log file: " << previous << "\n";
    Out << "Begin Triggerblock " << Date;
  }

  void End() {
    Out << "End Triggerblock\n";
    Empty();
  }

  /// The difference in seconds, with its sign.
  static double Minus(unsigned long later, unsigned long earlier) {
    if (later >= earlier) return static_cast<double>(later - earlier) / 1e9;
    return -static_cast<double>(earlier - later) / 1e9;
  }

  void Time(const Peek& record) {
    LastTime = Minus(record.U64(8), Flag(4) ? Start : 0);
    const double printed = Flag(2) ? static_cast<double>(static_cast<long>(record.U64(16))) / 1e9 : LastTime;
    Out << std::fixed << printed << " ";
  }

  void ZeroFilled(unsigned int value, int width) {
    Out << std::right << std::setfill('0') << std::setw(width) << value;
  }
  void BlankAndLeft() { Out << std::setfill(' ') << std::left; }

  void Can(const Peek& record) {
    Time(record);
    Out << std::hex;
    const unsigned int flags = record.U8(40);
    const unsigned int length = record.U8(43);
    if ((flags & 0x10) != 0) {
      Out << "log trigger event";
      if (record.U8(44) == 0) {
        Out << " (rising edge on trigger input)";
      } else if (record.U8(44) == 1) {
        Out << " (falling edge on trigger input)";
      } else {
        Out << " (user event)";
        for (unsigned int i = 0; i < length && record.Has(44 + i); ++i) Out << " " << record.U8(44 + i);
      }
      Out << "\n";
      return;
    }
    if ((flags & 4) != 0) {
      unsigned int code = 0;
      switch (record.U8(44)) {
        case 1:
          code = 0x80;
          break;
        case 2:
          code = 0x40;
          break;
        case 4:
        case 5:
        case 7:
          break;
        default:
          code = 0xC0;
      }
      if ((flags & 2) == 0) code |= 0x20;
      Out << record.U32(4) << " ErrorFrame ECC: ";
      for (unsigned int mask = 0x80; mask != 0; mask >>= 1) Out << ((code & mask) != 0 ? "1" : "0");
      Out << "\n";
      return;
    }
    unsigned int identifier = record.U32(36);
    if ((flags & 1) != 0) identifier &= 0x7FFFFFFF;
    if ((flags & 8) != 0) identifier &= 0xBFFFFFFF;
    Out << "CANFD " << record.U32(4) << ((flags & 2) != 0 ? " Tx" : " Rx") << " " << identifier;
    if ((flags & 1) != 0) Out << "x";
    Out << "  " << ((flags & 0x20) != 0 ? " 1" : " 0") << ((flags & 0x40) != 0 ? " 1" : " 0");
    Out << " " << record.U8(42);
    Out << " " << std::dec << std::right << std::setfill(' ') << std::setw(2) << length << std::hex;
    for (unsigned int i = 0; i < length && record.Has(44 + i); ++i) {
      Out << " ";
      ZeroFilled(record.U8(44 + i), 2);
    }
    BlankAndLeft();
    Out << " 0 0";
    const unsigned int word =
        ((flags & 8) != 0 ? 0x1000u : 0u) + ((flags & 0x20) != 0 ? 0x2000u : 0u) + ((flags & 0x40) != 0 ? 0x4000u : 0u);
    Out << " " << word << " 0 0 0 0 0\n";
  }

  void Ethernet(const Peek& record) {
    Time(record);
    const unsigned int length = record.U16(42);
    Out << "ETH " << record.U32(4) << " " << ((record.U8(40) & 1) != 0 ? "Tx " : "Rx ");
    Out << std::setfill(' ') << std::left << std::setw(Flag(1) ? 3 : 2) << length << ":";
    if (Flag(1)) Out << std::hex;
    for (unsigned int i = 0; i < length && record.Has(44 + i); ++i) ZeroFilled(record.U8(44 + i), 2);
    BlankAndLeft();
    if (Flag(1)) Out << std::dec;
    Out << "\n";
  }

  void LinByte(unsigned int value) {
    ZeroFilled(value, Flag(1) ? 3 : 2);
    Out << " ";
    BlankAndLeft();
  }

  void Lin(const Peek& record) {
    if (record.U16(28) != 0) return;
    Time(record);
    if (record.U32(4) == 1) {
      Out << "Li";
    } else {
      Out << "L" << record.U32(4);
    }
    const unsigned int flags = record.U16(30);
    const unsigned int count = record.U8(32) == 0 ? 0 : record.U8(32) - 1;
    const unsigned int identifier = record.U8(33) & 0x3Fu;
    unsigned int sets[3] = {0xFF, 0xFF, 0x01};
    const auto set = [&](unsigned int first, unsigned int second, unsigned int third) {
      sets[0] = first;
      sets[1] = second;
      sets[2] = third;
    };
    if ((flags & 0x08) != 0 && (flags & 0x40) != 0) {
      Out << " " << identifier << " TransmErr  ";
      set(0xF0, 0x61, 0x01);
    } else if ((flags & 0x05) != 0) {
      Out << " RcvError: ";
      Out << ((flags & 1) != 0 ? " invalid identifier parity  " : " inconsistent sync field  ");
      Out << " StateReason =  0  ShortError = 0  DlcTimeout = 0  HasDataBytes = 0  ";
      set(0xE0, 0xF0, 0x01);
    } else if ((flags & 0x02) != 0) {
      Out << " " << identifier << " CSErr  ";
    } else if ((flags & 0x10) != 0) {
      Out << " " << identifier << " EvTrigFrmInfo  ";
      Out << (record.U8(33) != 0 ? " falling edge at trigger input" : " rising edge at trigger input");
      set(0, 0, 0);
    } else if ((flags & 0x20) != 0) {
      Out << " WakeupFrame  ";
      set(0x61, 0, 0x06);
    } else {
      Out << " " << identifier;
    }

    if ((sets[0] & 0x01) != 0) Out << " " << ((flags & 0x40) != 0 ? "Tx" : "Rx");
    if ((sets[0] & 0x02) != 0) Out << " " << count << " ";
    if ((sets[0] & 0x04) != 0) {
      for (unsigned int i = 0; i < count && i < 8 && record.Has(35 + i); ++i) LinByte(record.U8(35 + i));
    }
    if ((sets[0] & 0x08) != 0) {
      Out << "checksum = ";
      LinByte(record.U8(32) != 0 && count <= 8 ? record.U8(35 + count) : 0);
    }
    if ((sets[0] & 0x10) != 0) Out << "header time = 0, full time = 0 ";
    if ((sets[0] & 0x20) != 0) {
      Out << "SOF = " << std::fixed << std::setprecision(6) << Minus(record.U64(8), Start) << " ";
      SixDecimals = true;
    }
    if ((sets[0] & 0x40) != 0) {
      const double bit = record.U32(44) >> 3u;
      const double rate = bit == 0 ? 0 : 1 / (bit / 1e9);
      Out << "BR = " << std::dec << std::setfill(' ') << std::left << std::setw(5) << static_cast<unsigned int>(rate)
          << " ";
      if (!Flag(1)) Out << std::hex;
    }
    if ((sets[0] & 0x80) != 0) Out << "break = 0 0";

    const char* const second[] = {" EOH = 0.0", " EOB =",   " sim = 0", " EOF = 0.0",
                                  " RBR = 0",   " HBR = 0", " HSO = 0", " RSO = 0"};
    for (unsigned int bit = 0; bit < 8; ++bit) {
      if ((sets[1] >> bit & 1) == 0) continue;
      Out << second[bit];
      for (unsigned int i = 0; bit == 1 && i < count; ++i) Out << " 0.0";
    }
    const char* const third[] = {" CSM = unknown", " 0", " LengthCode = 0"};
    for (unsigned int bit = 0; bit < 3; ++bit) {
      if ((sets[2] >> bit & 1) != 0) Out << third[bit];
    }
    Out << "\n";
  }

  void FlexRay(const Peek& record) {
    Time(record);
    Out << "Fr ";
    const unsigned int kind = record.U16(30);
    if (kind > 10) {
      Out << "\r";
      return;
    }
    const char* const words[] = {"EE", "RMSG", "RMSG", "SCE", "SE", "SCE", "SCE", "EE", "EE", "EE", "EE"};
    Out << words[kind] << "  1 0 " << std::dec << record.U32(4) << " ";
    unsigned int code = 3;
    if (kind == 1 || kind == 2 || kind == 6) code = record.U8(40);
    if (kind >= 7) code = record.U8(43);
    Out << (code == 0 ? "1 " : code == 1 ? "2 " : code == 2 ? "3 " : "0 ");
    if (!Flag(1)) Out << std::hex;

    const unsigned int value = record.U8(40);
    if (kind == 0) Out << "5 6 0 0 0\n";
    if (kind == 1 || kind == 2) Frame(record, kind);
    if (kind == 3) Out << value << " Rx 5 0 0 0 0 0 NM_Vector: 0\n";
    if (kind == 4) {
      const unsigned int t[] = {6, 0, 4, 2, 3, 1, 32, 19};
      const unsigned int s[] = {2, 2, 2, 1, 1, 2, 2, 2};
      Out << "0 5 " << (value < 8 ? s[value] : 2) << " " << (value < 8 ? t[value] : 0) << " 0 0 0 0\n";
    }
    if (kind == 5 || kind == 6) Out << "\n";
    if (kind == 7 || kind == 9) {
      const unsigned int seven[] = {1, 4, 5};
      const unsigned int nine[] = {2, 8, 10};
      Out << "5 4 " << (code > 2 ? 0 : kind == 7 ? seven[code] : nine[code]) << " 0 0\n";
    }
    if (kind == 8 || kind == 10) Out << "\r";
  }

  void Frame(const Peek& record, unsigned int kind) {
    const unsigned int flags = record.U8(41);
    unsigned int state = 0x80000;
    state += (flags & 4) != 0 ? 1 : 2;
    if ((flags & 2) != 0) state += 0x10;
    if ((flags & 8) != 0) state += 4;
    if ((flags & 0x10) != 0) state += 8;
    Out << record.U16(42) << " " << record.U8(44) << " " << (kind == 1 ? "Rx " : "Tx ") << "0 " << state << " 5 " << 40
        << " " << record.U16(46) << " FlexRay_Frame_[x|x|x] ";
    const unsigned int bytes = 2 * record.U8(45);
    Out << bytes << " ";
    if ((flags & 4) != 0) {
      Out << "0\n";
      return;
    }
    Out << bytes;
    for (unsigned int i = 0; i < bytes && record.Has(48 + i); ++i) {
      Out << " ";
      ZeroFilled(record.U8(48 + i), 2);
    }
    BlankAndLeft();
    Out << "\n";
  }

  unsigned int Flags;
  std::string Base;
  unsigned long Start;
  unsigned int Limit;
  std::string Date;

  std::ostringstream Out;
  std::vector<File> Files;
  unsigned int Counter = 0;
  double LastTime = 0;
  bool SixDecimals = false;
};

}  // namespace test
