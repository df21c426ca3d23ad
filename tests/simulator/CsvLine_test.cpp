#include "CsvLine.h"

#include <gtest/gtest.h>

#include "Thrown.h"

using namespace qor_sim;

namespace {

using Data = std::vector<unsigned char>;

CsvItem Parsed(const std::string& line, const CsvDefaults& defaults = {}) {
  CsvItem item;
  ParseCsvLine(line, defaults, item);
  return item;
}

/// What follows size, kind and time: the first twelve bytes are the same for all lines at 5 ns.
Data Tail(const std::string& line, const CsvDefaults& defaults = {}) {
  const Data bytes = Parsed(line, defaults).Bytes;
  return {bytes.begin() + 12, bytes.end()};
}

struct Case {
  const char* Line;
  Data Tail;
};

struct BadLine {
  const char* Line;
  const char* Reason;
};

}  // namespace

// ---- LIN ---------------------------------------------------------------------------------------------------------------

//  0 size | 2 reserved | 4 time | 12 flags | 13 length | 14 identifier | 15 reserved | 16 bit time | 20 data, checksum
TEST(CsvLinLine, FrameBecomesItem) {
  const auto item = Parsed("200009000,7,frame,,1,,52,01020304");
  EXPECT_EQ(item.Bus, CsvBus::Lin);
  EXPECT_EQ(item.Channel, 7U);
  EXPECT_EQ(item.Time, 200'009'000U);
  // 200009000 is 0BEBE528, 19200 bit/s are 416666 eighths of a ns: 00065B9A
  EXPECT_EQ(item.Bytes, (Data{25, 0, 0,    0, 0x28, 0xE5, 0xEB, 0x0B, 0, 0, 0, 0,  //
                              0,  5, 0xC1, 0, 0x9A, 0x5B, 6,    0,    1, 2, 3, 4, 52}));
}

TEST(CsvLinLine, EveryKindBecomesItsItem) {
  const Case cases[] = {
      {"5,1,frame,,60,,7,", {0, 1, 0x3C, 0, 0x9A, 0x5B, 6, 0, 7}},
      {"5,1,frame,rx,60,,7,", {0, 1, 0x3C, 0, 0x9A, 0x5B, 6, 0, 7}},
      {"5,1,frame,tx,60,,7,aB", {0x40, 2, 0x3C, 0, 0x9A, 0x5B, 6, 0, 0xAB, 7}},
      {"5,1,frame,tx|overrun,60,,7,AB", {0xC0, 2, 0x3C, 0, 0x9A, 0x5B, 6, 0, 0xAB, 7}},
      {"5,1,frame,,0x3F,,0xff,1122334455667788",
       {0, 9, 0xBF, 0, 0x9A, 0x5B, 6, 0, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0xFF}},
      {"5,1,checksum_error,,60,,7,AB", {0x02, 2, 0x3C, 0, 0x9A, 0x5B, 6, 0, 0xAB, 7}},
      {"5,1,parity_error,,60,,,", {0x01, 0, 0xBC, 0, 0x9A, 0x5B, 6, 0}},
      {"5,1,parity_error,,60,,7,AB", {0x01, 2, 0xBC, 0, 0x9A, 0x5B, 6, 0, 0xAB, 7}},
      {"5,1,sync_error,,,,,", {0x04, 0, 0, 0, 0x9A, 0x5B, 6, 0}},
      {"5,1,no_response,,3,,,", {0x48, 0, 0x03, 0, 0x9A, 0x5B, 6, 0}},
      {"5,1,no_response,tx,3,,,", {0x48, 0, 0x03, 0, 0x9A, 0x5B, 6, 0}},
      {"5,1,transmit_error,,3,,,", {0x48, 0, 0x03, 0, 0x9A, 0x5B, 6, 0}},
      {"5,1,transmit_error,tx,3,,9,AB", {0x48, 2, 0x03, 0, 0x9A, 0x5B, 6, 0, 0xAB, 9}},
      {"5,1,wakeup,,,,,", {0x20, 0, 0, 0, 0x9A, 0x5B, 6, 0}},
      {"5,1,wakeup,tx,,,,", {0x60, 0, 0, 0, 0x9A, 0x5B, 6, 0}},
      {"5,1,trigger,rising,,,,", {0x10, 0, 0, 0, 0x9A, 0x5B, 6, 0}},
      {"5,1,trigger,falling|overrun,,,,", {0x90, 0, 1, 0, 0x9A, 0x5B, 6, 0}},
  };
  for (const auto& c : cases) EXPECT_EQ(Tail(c.Line), c.Tail) << c.Line;
}

TEST(CsvLinLine, ChecksumThatIsLeftOutIsWorkedOut) {
  // Over the data of a diagnostic frame, 4A 55 93 E5: E6; with the identifier byte 50 before them: 96.
  EXPECT_EQ(Tail("5,1,frame,,60,,,4A5593E5").back(), 0xE6);
  EXPECT_EQ(Tail("5,1,frame,,16,,,4A5593E5").back(), 0x96);
  EXPECT_EQ(Tail("5,1,checksum_error,,60,,,4A5593E5").back(), 0x19);
  EXPECT_EQ(Tail("5,1,transmit_error,,60,,,4A5593E5").back(), 0xE6);
}

TEST(CsvLinLine, SourceDecidesOnDirectionAndBitTimeThatLinesDoNotTell) {
  const CsvDefaults defaults{Direction::Transmitted, 1000};
  const Data bitTime{0x00, 0x12, 0x7A, 0x00};  // 8 000 000
  const Case cases[] = {{"5,1,frame,,60,,7,", {0x40, 1, 0x3C, 0}},       {"5,1,frame,rx,60,,7,", {0, 1, 0x3C, 0}},
                        {"5,1,parity_error,,60,,,", {0x41, 0, 0xBC, 0}}, {"5,1,wakeup,,,,,", {0x60, 0, 0, 0}},
                        {"5,1,no_response,,3,,,", {0x48, 0, 3, 0}},      {"5,1,trigger,rising,,,,", {0x10, 0, 0, 0}}};
  for (const auto& c : cases) {
    const Data tail = Tail(c.Line, defaults);
    EXPECT_EQ(Data(tail.begin(), tail.begin() + 4), c.Tail) << c.Line;
    EXPECT_EQ(Data(tail.begin() + 4, tail.begin() + 8), bitTime) << c.Line;
  }
}

// ---- FlexRay -----------------------------------------------------------------------------------------------------------

//  0 size | 2 kind | 4 time | 12 channel | 13 flags | 14 slot | 16 cycle | 17 words | 18 header CRC | 20 payload
TEST(CsvFlexRayLine, FrameBecomesItem) {
  const auto item = Parsed("84640,B,frame,null|startup|sync|ppi,63,10,586,00010203");
  EXPECT_EQ(item.Bus, CsvBus::FlexRay);
  EXPECT_EQ(item.Channel, 0U);
  EXPECT_EQ(item.Time, 84'640U);
  EXPECT_EQ(item.Bytes, (Data{24, 0,    1,  0, 0xA0, 0x4A, 1,    0, 0, 0, 0, 0,  //
                              1,  0x1E, 63, 0, 10,   2,    0x4A, 2, 0, 1, 2, 3}));
}

TEST(CsvFlexRayLine, FramesHaveTheirFlagsAndDirections) {
  struct FrameCase {
    const char* Line;
    int Kind;
    Data Tail;
  };
  const FrameCase cases[] = {
      {"5,A,frame,,2047,63,0,", 1, {0, 0, 0xFF, 7, 63, 0, 0, 0}},
      {"5,AB,frame,rx|ppi,1,0,2047,", 1, {2, 0x02, 1, 0, 0, 0, 0xFF, 7}},
      {"5,A,frame,tx|null,1,0,1,", 2, {0, 0x04, 1, 0, 0, 0, 1, 0}},
      {"5,A,frame,sync,1,0,1,", 1, {0, 0x08, 1, 0, 0, 0, 1, 0}},
      {"5,A,frame,startup,1,0,1,", 1, {0, 0x10, 1, 0, 0, 0, 1, 0}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Tail(c.Line), c.Tail) << c.Line;
    EXPECT_EQ(Parsed(c.Line).Bytes[2], c.Kind) << c.Line;
  }
  EXPECT_EQ(Parsed("5,A,frame,,1,0,1,", {Direction::Transmitted, 19200}).Bytes[2], 2);
  EXPECT_EQ(Parsed("5,A,frame,rx,1,0,1,", {Direction::Transmitted, 19200}).Bytes[2], 1);
}

TEST(CsvFlexRayLine, HeaderCrcThatIsLeftOutIsWorkedOut) {
  EXPECT_EQ(Parsed("5,A,frame,null|startup|sync,1,0,,00000000000000000000000000000000").Bytes,
            Parsed("5,A,frame,null|startup|sync,1,0,283,00000000000000000000000000000000").Bytes);
}

//  0 size | 2 kind | 4 time | 12 key or value | 14 cycle | 15 channel
TEST(CsvFlexRayLine, EveryEventBecomesItsItem) {
  const std::pair<const char*, Data> cases[] = {
      {"5,A,overrun,,,,,", {16, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"5,A,start_of_cycle,,,63,,", {16, 0, 3, 0, 5, 0, 0, 0, 0, 0, 0, 0, 63, 0, 0, 0}},
      {"5,A,state,config,,,,", {16, 0, 4, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"5,A,state,default_config,,,,", {16, 0, 4, 0, 5, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0}},
      {"5,A,state,halt,,,,", {16, 0, 4, 0, 5, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0}},
      {"5,A,state,normal_active,,,,", {16, 0, 4, 0, 5, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0}},
      {"5,A,state,normal_passive,,,,", {16, 0, 4, 0, 5, 0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0}},
      {"5,A,state,ready,,,,", {16, 0, 4, 0, 5, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0}},
      {"5,A,state,startup,,,,", {16, 0, 4, 0, 5, 0, 0, 0, 0, 0, 0, 0, 6, 0, 0, 0}},
      {"5,A,state,wakeup,,,,", {16, 0, 4, 0, 5, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0}},
      {"5,A,status,,,,,", {16, 0, 5, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"5,AB,symbol,,,,,", {16, 0, 6, 0, 5, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0}},
      {"5,B,nit_syntax_error,,,9,,", {16, 0, 7, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 1}},
      {"5,A,syntax_error,,291,9,,", {16, 0, 8, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0x23, 1, 9, 0}},
      {"5,AB,nit_boundary_violation,,,0,,", {16, 0, 9, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2}},
      {"5,A,content_error,,2047,63,,", {16, 0, 10, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0xFF, 7, 63, 0}},
  };
  for (const auto& [line, bytes] : cases) EXPECT_EQ(Parsed(line).Bytes, bytes) << line;
}

// ---- Both --------------------------------------------------------------------------------------------------------------

TEST(CsvLine, BlanksAroundColumnsAndFlagsDoNotMatter) {
  EXPECT_EQ(Parsed(" 5 , A,frame\t, null | tx ,1,0 ,1, 0102 ").Bytes, Parsed("5,A,frame,null|tx,1,0,1,0102").Bytes);
}

TEST(CsvLine, UnreadableLineGivesItsReason) {
  constexpr BadLine kLines[] = {
      {"5,1,wakeup", "the line has 3 columns, not 8"},
      {"5,1,wakeup,,,,,,", "the line has 9 columns, not 8"},
      {",1,wakeup,,,,,", "the column timestamp_ns is empty"},
      {"-5,1,wakeup,,,,,", "the column timestamp_ns can't be \"-5\": it takes a number from 0 to 18446744073709551615"},
      {"18446744073709551616,1,wakeup,,,,,",
       "the column timestamp_ns can't be \"18446744073709551616\": it takes a number from 0 to 18446744073709551615"},
      {"5,,wakeup,,,,,", "the channel is neither a number up to 65535, for LIN, nor A, B or AB, for FlexRay"},
      {"5,C,wakeup,,,,,", "the channel is neither a number up to 65535, for LIN, nor A, B or AB, for FlexRay"},
      {"5,65536,wakeup,,,,,", "the channel is neither a number up to 65535, for LIN, nor A, B or AB, for FlexRay"},
      {"5,1,symbol,,,,,",
       "there is no kind \"symbol\" on this bus; there are frame, checksum_error, parity_error, sync_error, "
       "no_response, "
       "transmit_error, wakeup, trigger"},
      {"5,A,wakeup,,,,,",
       "there is no kind \"wakeup\" on this bus; there are frame, overrun, start_of_cycle, state, status, symbol, "
       "nit_syntax_error, syntax_error, nit_boundary_violation, content_error"},
      {"5,1,frame,,,,,", "the column id is empty"},
      {"5,1,frame,,64,,,", "the column id can't be \"64\": it takes a number from 0 to 63"},
      {"5,1,frame,,0x,,,", "the column id can't be \"0x\": it takes a number from 0 to 63"},
      {"5,1,frame,,0x-1,,,", "the column id can't be \"0x-1\": it takes a number from 0 to 63"},
      {"5,1,frame,,1,,256,", "the column crc can't be \"256\": it takes a number from 0 to 255"},
      {"5,1,frame,,1,0,,", "the kind frame takes nothing in the column cycle"},
      {"5,1,frame,,1,,,0", "the data end in half a byte"},
      {"5,1,frame,,1,,,0g", "the data are not hexadecimal"},
      {"5,1,frame,,1,,,112233445566778899", "the frame has too many data bytes"},
      {"5,1,frame,null,1,,,", "the flag \"null\" doesn't fit the kind frame or its other flags"},
      {"5,1,frame,rx|tx,1,,,", "the flag \"rx\" doesn't fit the kind frame or its other flags"},
      {"5,1,frame,rx||overrun,1,,,", "the flag \"\" doesn't fit the kind frame or its other flags"},
      {"5,1,sync_error,,1,,,", "the kind sync_error takes nothing in the column id"},
      {"5,1,no_response,,1,,,00", "the kind no_response takes nothing in the column data"},
      {"5,1,no_response,rx,1,,,", "the flag \"rx\" doesn't fit the kind no_response or its other flags"},
      {"5,1,wakeup,,,,7,", "the kind wakeup takes nothing in the column crc"},
      {"5,1,trigger,,,,,", "the kind trigger needs one of the flags rising, falling"},
      {"5,1,trigger,rising|falling,,,,", "the flag \"falling\" doesn't fit the kind trigger or its other flags"},
      {"5,A,frame,,0,0,,", "the column id can't be \"0\": it takes a number from 1 to 2047"},
      {"5,A,frame,,2048,0,,", "the column id can't be \"2048\": it takes a number from 1 to 2047"},
      {"5,A,frame,,1,64,,", "the column cycle can't be \"64\": it takes a number from 0 to 63"},
      {"5,A,frame,,1,,,", "the column cycle is empty"},
      {"5,A,frame,,1,0,2048,", "the column crc can't be \"2048\": it takes a number from 0 to 2047"},
      {"5,A,frame,,1,0,,00", "the payload ends in half a word of two bytes"},
      {"5,A,frame,overrun,1,0,,", "the flag \"overrun\" doesn't fit the kind frame or its other flags"},
      {"5,A,state,,,,,",
       "the kind state needs one of the flags config, default_config, halt, normal_active, normal_passive, ready, "
       "startup, wakeup"},
      {"5,A,symbol,,,5,,", "the kind symbol takes nothing in the column cycle"},
      {"5,A,syntax_error,,1,,,", "the column cycle is empty"},
  };
  for (const auto& c : kLines) {
    const Thrown thrown = ThrownBy([&] { Parsed(c.Line); });
    EXPECT_EQ(thrown.Code, unsigned{QOR_SIM_ERROR_SOURCE}) << c.Line;
    EXPECT_EQ(thrown.Text, c.Reason) << c.Line;
  }
}

TEST(CsvLine, PayloadBeyond254BytesIsRefused) {
  EXPECT_EQ(Parsed("5,A,frame,,1,0,," + std::string(508, '0')).Bytes.size(), 274U);
  EXPECT_EQ(ThrownBy([] { Parsed("5,A,frame,,1,0,," + std::string(512, '0')); }).Text,
            "the frame has too many data bytes");
}
