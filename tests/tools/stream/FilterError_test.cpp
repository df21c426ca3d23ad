// What is said about a mistake in an expression, and where its marks are.
#include "stream/FilterError.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "stream/FilterTree.h"

namespace client {
namespace {

/// The sentence and the two lines below it; "" for an expression that is understood.
std::string Told(const std::string& expression, size_t columns = 100) {
  try {
    static_cast<void>(ParseFilter(expression));
  } catch (const FilterError& error) {
    EXPECT_EQ(error.Code, ExitUsage);
    return std::string(error.what()) + "\n" + error.Lines(columns);
  }
  return "";
}

struct Case {
  const char* Expression;
  const char* Sentence;
  const char* Marks;  // below the expression
};

constexpr Case kCases[] = {
    // Fields
    {"bus == can and idd == 0x123", "There is no field \"idd\"; did you mean id?", "               ^^^"},
    {"chanel == 1", "There is no field \"chanel\"; did you mean channel?", "^^^^^^"},
    {"fd and can", "There is no field \"can\"; did you mean bus == can?", "       ^^^"},
    {"tx", "There is no field \"tx\"; did you mean dir == tx?", "^^"},
    {"velocity > 5", "There is no field \"velocity\"; qor-trace-filter(7) lists them", "^^^^^^^^"},
    {"0x123 == id", "A field is expected here, as in id == 0x123", "^^^^^"},
    {"fd and", "A field is expected here, as in id == 0x123", "      ^"},
    {"fd or or brs", "A field is expected here, as in id == 0x123", "      ^^"},
    {"()", "A field is expected here, as in id == 0x123", " ^"},
    // Values
    {"bus == 5", "bus is can, lin, flexray or ethernet", "       ^"},
    {"kind == eror", "There is no kind \"eror\"; did you mean error?", "        ^^^^"},
    {"kind == banana",
     "kind is frame, error, event, classic, fd, no_response, wakeup, checksum_error, parity_error, sync_error, "
     "transmit_error, null, cycle, state, symbol, status, crc_error, record, overrun or malformed",
     "        ^^^^^^"},
    {"id == can", "id is a number, such as 0x123", "      ^^^"},
    {"id ==", "id is a number, such as 0x123", "     ^"},
    {"id == == 5", "id is a number, such as 0x123", "      ^^"},
    {"id == beef", "\"beef\" is no number; hexadecimal ones begin with 0x, as in 0xbeef", "      ^^^^"},
    {"id == 18FE", "\"18FE\" is no number; hexadecimal ones begin with 0x, as in 0x18FE", "      ^^^^"},
    {"id == 12h", "\"12h\" is no number; write 291, 0x123 or 0b100100011", "      ^^^"},
    {"id == 0x", "\"0x\" is no number; write 291, 0x123 or 0b100100011", "      ^^"},
    {"id == 0b12", "\"0b12\" is no number; write 291, 0x123 or 0b100100011", "      ^^^^"},
    {"id == 0123", "\"0123\" can be read in two ways; write it without the zero in front, or as 0x123", "      ^^^^"},
    {"id == 1.5", "\"1.5\" is no number or IP address; write 10.0.0.1, or 10.0.0.0/8 for a network", "      ^^^"},
    {"id == 0x1FFFFFFFFF", "id is at most 0x1fffffff", "      ^^^^^^^^^^^^"},
    {"id == 0x11112222333344445", "No number here has more than 64 bits", "      ^^^^^^^^^^^^^^^^^^^"},
    {"dlc == 16", "dlc is at most 15", "       ^^"},
    {"vlan in 4000..5000", "vlan is at most 4095", "              ^^^^"},
    {"data[0] == 256", "data[0] is at most 0xff", "           ^^^"},
    {"data[1..2] == 0x10000", "data[1..2] is at most 0xffff", "              ^^^^^^^"},
    {"data[0..7] == 0x10000000000000000", "No number here has more than 64 bits", "              ^^^^^^^^^^^^^^^^^^^"},
    {"src == 5", "src is a MAC address, such as 02:00:00:00:00:01", "       ^"},
    {"src == 02:00:00", "A MAC address has six bytes, as in 02:00:00:00:00:01", "       ^^^^^^^^"},
    {"src == 02:00:00:00:00:01:02", "A MAC address has six bytes, as in 02:00:00:00:00:01",
     "       ^^^^^^^^^^^^^^^^^^^^"},
    {"ip == 5", "ip is an IP address or a network, such as 10.0.0.1 or 10.0.0.0/8", "      ^"},
    {"ip == 10.0.0.256", "\"10.0.0.256\" is no number or IP address; write 10.0.0.1, or 10.0.0.0/8 for a network",
     "      ^^^^^^^^^^"},
    {"ip == 10.0.0.0/33", "\"10.0.0.0/33\" is no number or IP address; write 10.0.0.1, or 10.0.0.0/8 for a network",
     "      ^^^^^^^^^^^"},
    {"ethertype == ipx", "ethertype is a number, such as 0x88f7, or one of ipv4, arp, avtp, ipv6 or ptp",
     "             ^^^"},
    {"protocol == x25", "protocol is a number, such as 17, or one of icmp, tcp or udp", "            ^^^"},
    // Operators
    {"id 0x123", "An operator such as == or in is expected after id", "   ^^^^^"},
    {"id == 1 id == 2", "\"and\", \"or\" or the end is expected here", "        ^^"},
    {"fd brs", "\"and\", \"or\" or the end is expected here", "   ^^^"},
    {"(id) 5", "\"and\", \"or\" or the end is expected here", "     ^"},
    {"id = 5", "= is not part of the language; write ==", "   ^"},
    {"id <> 5", "<> is not part of the language; write !=", "   ^^"},
    {"id => 5", "=> is not part of the language; write >=", "   ^^"},
    {"fd | brs", "| is not part of the language; write or", "   ^"},
    {"id in {1, 2}", "{ is not part of the language; write (", "      ^"},
    {"id % 2", "This has no meaning in an expression", "   ^"},
    {"id not 5", "in is expected here, as in id not in 0x100..0x1ff", "       ^"},
    {"bus < can", "bus has no order; compare it with == or !=", "    ^"},
    {"kind in null..cycle", "kind has no order, and no ranges", "            ^^"},
    {"bus & 1 == 1", "bus has no bits; compare it with == or !=", "      ^"},
    {"fd == 1", "fd is a flag; write fd or not fd", "   ^^"},
    {"fd in 1", "fd is a flag; write fd or not fd", "   ^^"},
    {"fd & 1", "fd is a flag; write fd or not fd", "     ^"},
    // Comparisons that never hold
    {"len < 0", "len is never below 0", "      ^"},
    {"cycle > 63", "cycle is never above 63", "        ^^"},
    {"id in 0x1FF..0x100", "This range ends before it begins", "      ^^^^^"},
    {"id & 0x7F0 == 0x121", "This has bits that the mask 0x7f0 hasn't, so it is never equal", "              ^^^^^"},
    {"id & 0", "This mask has no bits", "     ^"},
    {"dst_ip & 10.0.0.0/8", "A mask is one number", "         ^^^^^^^^^^"},
    // Brackets
    {"data == 5", "data needs the place of a byte, as in data[0] or data[2..3]", "^^^^"},
    {"data[] == 5", "The place of a byte is expected here, counted from 0", "     ^"},
    {"data[2:4] == 5", "Bytes are named by the first and the last one, as in data[2..3]", "      ^"},
    {"data[0..8] == 5", "9 bytes are too many for a number; 8 is the most", "     ^"},
    {"data[70000] == 5", "No frame has that many bytes; the last place is 65535", "     ^^^^^"},
    {"data[1 == 5", "A ] is expected here", "       ^^"},
    {"id[0] == 5", "id has no bytes; only data has, as in data[0]", "  ^"},
    {"(fd or (brs)", "This ( is never closed", "^"},
    {"fd)", "This ) closes nothing", "  ^"},
    {"id in (1, 2", "This ( is never closed", "      ^"},
    {"id in (1 2)", "A comma or ) is expected here", "         ^"},
    {"   ", "The expression is empty; write one such as bus == can and id == 0x123", "   ^"},
};

TEST(FilterError, TellsWhatIsWrongAndMarksThePlace) {
  for (const Case& c : kCases)
    EXPECT_EQ(Told(c.Expression), std::string(c.Sentence) + "\n  " + c.Expression + "\n  " + c.Marks) << c.Expression;
}

TEST(FilterError, BoundsOfLengthAndDepthAreMistakesToo) {
  const std::string deep = std::string(10000, '(') + "fd" + std::string(10000, ')');
  EXPECT_EQ(Told(deep, 40),
            "More than 100 parentheses are open here; write the expression with fewer\n"
            "  ...(((((((((((((((((((((((((((((((...\n"
            "                    ^");
  const std::string longest = "fd" + std::string(kMostFilterLetters - 2, ' ');
  EXPECT_EQ(Told(longest), "");
  EXPECT_EQ(Told(longest + "x", 20),
            "The expression is too long; 65536 letters are the most\n"
            "  ...             x\n"
            "                  ^");
}

TEST(FilterError, OfALongExpressionThePartAroundThePlaceIsShown) {
  EXPECT_EQ(Told("bus == can and channel in 1, 2, 3 and idd == 0x123 and len == 8", 40),
            "There is no field \"idd\"; did you mean id?\n"
            "  ...n 1, 2, 3 and idd == 0x123 and ...\n"
            "                   ^^^");
  EXPECT_EQ(Told("idd == 0x123 and bus == can and channel in 1, 2, 3 and len == 8", 40),
            "There is no field \"idd\"; did you mean id?\n"
            "  idd == 0x123 and bus == can and ch...\n"
            "  ^^^");
  EXPECT_EQ(Told("bus == can and channel in 1, 2, 3 and len == 8 and idd", 40),
            "There is no field \"idd\"; did you mean id?\n"
            "  ...el in 1, 2, 3 and len == 8 and idd\n"
            "                                    ^^^");
}

TEST(FilterError, TheMarksStandBelowThePlaceWhateverIsBeforeIt) {
  // What would steer a terminal is shown; letters of several bytes take one column.
  EXPECT_EQ(Told("fd and\t\x1b[31m"),
            "This has no meaning in an expression\n"
            "  fd and\\t\\x1b[31m\n"
            "          ^^^^");
  EXPECT_EQ(Told("fd and größe and brs"),
            "There is no field \"größe\"; qor-trace-filter(7) lists them\n"
            "  fd and größe and brs\n"
            "         ^^^^^");
  EXPECT_EQ(Told("größe"),
            "There is no field \"größe\"; qor-trace-filter(7) lists them\n"
            "  größe\n"
            "  ^^^^^");
  EXPECT_EQ(Told("brs or\xff fd"),
            "\"and\", \"or\" or the end is expected here\n"
            "  brs or\\xff fd\n"
            "      ^^^^^^");
}

}  // namespace
}  // namespace client
