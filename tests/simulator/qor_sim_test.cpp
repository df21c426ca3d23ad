// The calls of qor_sim.h.
#include "qor_sim.h"

#include <cstring>
#include <sstream>
#include <thread>

#include "Channel.h"
#include "TextFile.h"

extern "C" int qor_sim_c99_test(void);

namespace {

constexpr unsigned int kNoHandle = 0x7FFFFFFF;

std::string OpenError(const std::string& source) {
  unsigned int handle = 42;
  EXPECT_EQ(Qor_Sim_OpenPort(source.c_str(), &handle), unsigned{QOR_SIM_ERROR_SOURCE}) << source;
  EXPECT_EQ(handle, 42u);
  return Qor_Sim_ErrorText();
}

std::string Expanded(const std::string& source) {
  char text[1000];
  unsigned int length = sizeof text;
  EXPECT_EQ(Qor_Sim_ExpandSource(source.c_str(), text, &length), 0u) << Qor_Sim_ErrorText();
  EXPECT_EQ(length, std::strlen(text) + 1);
  return text;
}

}  // namespace

TEST(Headers, AreC99) { EXPECT_EQ(qor_sim_c99_test(), 0); }

// ---- Sources ---------------------------------------------------------------------------------------------------------

TEST(OpenPort, RefusesMalformedSourcesWithASentence) {
  struct Case {
    const char* Source;
    const char* Sentence;
  };
  constexpr Case kCases[] = {
      {"", "The source \"\" names no kind, such as can or candump."},
      {"usb",
       "There is no kind of source and no interface \"usb\"; there are can, candump, csv, ethernet, flexray, lin, "
       "packet, "
       "pcap, "
       "socketcan, vehicle."},
      {"can:file", "A source of the kind can takes no file."},
      {"script:file", "A source of the kind script takes no file."},
      {"candump", "A source of the kind candump needs a file: candump:PATH."},
      {"csv", "A source of the kind csv needs a file: csv:PATH."},
      {"csv:x?bus=can", "The option bus can't be \"can\": it takes lin or flexray."},
      {"csv:x?channel=65536", "The option channel can't be \"65536\": it takes a number from 0 to 65535."},
      {"csv:x?bus=flexray&channel=1", "The option channel chooses among LIN channels, not on FlexRay."},
      {"csv:x?bitrate=999", "The option bitrate can't be \"999\": it takes a number from 1000 to 20000."},
      {"pcap", "A source of the kind pcap needs a file: pcap:PATH."},
      {"pcap:x?interface=1", "A source of the kind pcap has no option \"interface\"."},
      {"can?sed=1", "A source of the kind can has no option \"sed\"."},
      {"candump:x?seed=1", "A source of the kind candump has no option \"seed\"."},
      {"script?speed=max", "A source of the kind script has no option \"speed\"."},
      {"can?load=0", "The option load can't be \"0\": it takes a number from 1 to 100."},
      {"can?load=101", "The option load can't be \"101\": it takes a number from 1 to 100."},
      {"vehicle?seed=7", "A vehicle has four buses: expand the source, or open can, lin, flexray and ethernet."},
      {"lin?load=5", "A source of the kind lin has no option \"load\"."},
      {"can?load=", "The option load can't be \"\": it takes a value."},
      {"can?seed=18446744073709551616",
       "The option seed can't be \"18446744073709551616\": it takes a number from 0 to 18446744073709551615."},
      {"can?duration=5", "The option duration can't be \"5\": it takes a time such as 90s, 1h30m or 0.5s."},
      {"can?gone=soon", "The option gone can't be \"soon\": it takes a time such as 90s, 1h30m or 0.5s."},
      {"script?gone=5s", "A source of the kind script has no option \"gone\"."},
      {"can?buffer=0", "The option buffer can't be \"0\": it takes a number from 1 to 100000000."},
      {"can?speed=0", "The option speed can't be \"0\": it takes max or a factor from 0.001 to 1000000."},
      {"can?speed=0.0009", "The option speed can't be \"0.0009\": it takes max or a factor from 0.001 to 1000000."},
      {"can?speed=1000001", "The option speed can't be \"1000001\": it takes max or a factor from 0.001 to 1000000."},
      {"can?speed=1000000.5",
       "The option speed can't be \"1000000.5\": it takes max or a factor from 0.001 to 1000000."},
      {"can?speed=fast", "The option speed can't be \"fast\": it takes max or a factor from 0.001 to 1000000."},
      {"can?speed=99999999999999999999",
       "The option speed can't be \"99999999999999999999\": it takes max or a factor from 0.001 to 1000000."},
      {"candump:x?origin=end", "The option origin can't be \"end\": it takes file or absolute."},
      {"candump:x?direction=up", "The option direction can't be \"up\": it takes rx or tx."},
      {"script?type=0", "The option type can't be \"0\": it takes a number from 1 to 255."},
      {"script?instance=256", "The option instance can't be \"256\": it takes a number from 0 to 255."},
  };
  for (const auto& c : kCases) EXPECT_EQ(OpenError(c.Source), c.Sentence);
}

TEST(OpenPort, TakesEveryOption) {
  const TextFile file("(1) can0 001#\n(1) can1 001#\n");
  for (const std::string& source :
       {std::string("can?seed=0&duration=1h30m&load=100&speed=0.001&buffer=1&gone=5s"),
        std::string("can?speed=1000000"),
        "candump:" + file.Path + "?interface=can1&origin=absolute&direction=tx&speed=max&buffer=100000000",
        "candump:" + file.Path + "?interface=can0&origin=file&direction=rx&speed=0.5",
        std::string("script?type=255&instance=0")}) {
    const OpenedPort port(source);
    EXPECT_NE(port.Handle, 0u) << source;
  }
}

TEST(OpenPort, HandlesAreNeverReusedAndLeaveOut255) {
  unsigned int last = 0;
  for (int i = 0; i < 600; ++i) {
    const OpenedPort port("script");
    EXPECT_GT(port.Handle, last);
    EXPECT_NE(port.Handle, 255u);
    last = port.Handle;
  }
}

TEST(OpenPort, NullPointersAreRefused) {
  unsigned int handle = 0;
  EXPECT_EQ(Qor_Sim_OpenPort(nullptr, &handle), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_STREQ(Qor_Sim_ErrorText(), "The argument source is null.");
  EXPECT_EQ(Qor_Sim_OpenPort("can", nullptr), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(Qor_Sim_GetStatus(1, nullptr), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(Qor_Sim_GetReport(0, nullptr), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(Qor_Sim_GetCommand(1, 0, nullptr), unsigned{QOR_SIM_ERROR_ARGUMENT});
}

TEST(ErrorText, BelongsToItsThread) {
  unsigned int handle = 0;
  ASSERT_NE(Qor_Sim_OpenPort("usb", &handle), 0u);
  const std::string mine = Qor_Sim_ErrorText();
  std::string before, after;
  std::thread([&] {
    before = Qor_Sim_ErrorText();
    EXPECT_NE(Qor_Sim_ClosePort(kNoHandle), 0u);
    after = Qor_Sim_ErrorText();
  }).join();
  EXPECT_EQ(before, "");
  EXPECT_EQ(after, "There is no simulated port 2147483647.");
  EXPECT_EQ(Qor_Sim_ErrorText(), mine);
}

TEST(ErrorText, LongSourcesAreCut) {
  const std::string text = OpenError(std::string(5000, 'x'));
  EXPECT_EQ(text.substr(0, 47), "There is no kind of source and no interface \"xx");
  EXPECT_LT(text.size(), 1000u);
}

TEST(ExpandSource, RecordingOfSeveralInterfacesGivesOneSourceEach) {
  const TextFile file("(5.0) can1 001#\n(5.5) can0 002#\n");
  const std::string source = "candump:" + file.Path;
  EXPECT_EQ(Expanded(source + "?speed=max&direction=tx"),
            source + "?speed=max&direction=tx&interface=can0\n" + source + "?speed=max&direction=tx&interface=can1\n");
}

TEST(ExpandSource, RecordingOfSeveralBusesAndChannelsGivesOneSourceEach) {
  const std::string header = "timestamp_ns,channel,kind,flags,id,cycle,crc,data\n";
  const TextFile lin(header + "0,10,wakeup,,,,,\n0,2,wakeup,,,,,\n");
  const TextFile both(header + "0,A,status,,,,,\n0,2,wakeup,,,,,\n0,3,wakeup,,,,,\n");
  struct Case {
    std::string Source, Sources;
  };
  const std::string a = "csv:" + lin.Path + "?", b = "csv:" + both.Path + "?";
  const Case cases[] = {
      {a + "speed=max", a + "speed=max&channel=2\n" + a + "speed=max&channel=10\n"},
      {a + "channel=10", a + "channel=10\n"},
      {"csv:" + both.Path, b + "bus=lin&channel=2\n" + b + "bus=lin&channel=3\n" + b + "bus=flexray\n"},
      {b + "bus=lin", b + "bus=lin&channel=2\n" + b + "bus=lin&channel=3\n"},
      {b + "bus=flexray", b + "bus=flexray\n"},
  };
  for (const auto& c : cases) {
    const std::string sources = Expanded(c.Source);
    EXPECT_EQ(sources, c.Sources);
    std::istringstream lines(sources);
    for (std::string line; std::getline(lines, line);) EXPECT_NE(OpenedPort(line).Handle, 0u) << line;
  }
}

TEST(ExpandSource, VehicleGivesItsFourBusesWithItsOptions) {
  EXPECT_EQ(Expanded("vehicle"), "can\nlin\nflexray\nethernet\n");
  EXPECT_EQ(Expanded("vehicle?seed=7&duration=10m&speed=max&buffer=5"),
            "can?seed=7&duration=10m&speed=max&buffer=5\n"
            "lin?seed=7&duration=10m&speed=max&buffer=5\n"
            "flexray?seed=7&duration=10m&speed=max&buffer=5\n"
            "ethernet?seed=7&duration=10m&speed=max&buffer=5\n");
}

TEST(ExpandSource, OtherSourcesComeBackAsTheyAre) {
  const TextFile one("(5.0) can1 001#\n"), two("(5.0) can1 001#\n(5.0) can2 001#\n");
  for (const std::string& source :
       {std::string("can"), std::string("can?seed=5&load=20"), std::string("lin?seed=5"),
        std::string("flexray?speed=2"), std::string("ethernet?load=9"), std::string("script?type=9"),
        "candump:" + one.Path, "candump:" + two.Path + "?interface=can2&speed=max",
        "pcap:" + one.Path + "?speed=max&origin=absolute"}) {
    EXPECT_EQ(Expanded(source), source + "\n");
  }
}

TEST(ExpandSource, SaysHowMuchRoomItNeeds) {
  unsigned int length = 0;
  EXPECT_EQ(Qor_Sim_ExpandSource("can", nullptr, &length), unsigned{QOR_SIM_ERROR_CAPACITY});
  EXPECT_EQ(length, 5u);
  char text[5];
  length = 4;
  EXPECT_EQ(Qor_Sim_ExpandSource("can", text, &length), unsigned{QOR_SIM_ERROR_CAPACITY});
  EXPECT_EQ(length, 5u);
  EXPECT_EQ(Qor_Sim_ExpandSource("can", text, &length), 0u);
  EXPECT_STREQ(text, "can\n");
  EXPECT_EQ(Qor_Sim_ExpandSource("can", nullptr, &length), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(Qor_Sim_ExpandSource(nullptr, text, &length), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(Qor_Sim_ExpandSource("can", text, nullptr), unsigned{QOR_SIM_ERROR_ARGUMENT});
}

TEST(ExpandSource, RefusesWhatCanNotBeOpened) {
  char text[100];
  unsigned int length = sizeof text;
  for (const char* source : {"usb", "can?load=0", "script?x=1", "candump:x?speed=0", "vehicle?load=5", "vehicle:x",
                             "vehicle?speed=0", "pcap:x?origin=y", "candump:x?bad_lines=keep"}) {
    EXPECT_EQ(Qor_Sim_ExpandSource(source, text, &length), unsigned{QOR_SIM_ERROR_SOURCE}) << source;
  }
  for (const char* source : {"candump:/no/such", "pcap:/no/such", "csv:/no/such"}) {
    EXPECT_EQ(Qor_Sim_ExpandSource(source, text, &length), unsigned{QOR_SIM_ERROR_FILE}) << source;
  }
}

TEST(OpenPort, FileThatCanNotBeReadIsToldApartFromAMalformedSource) {
  unsigned int handle = 42;
  EXPECT_EQ(Qor_Sim_OpenPort("candump:/no/such", &handle), unsigned{QOR_SIM_ERROR_FILE});
  EXPECT_STREQ(Qor_Sim_ErrorText(), "Cannot read /no/such: there is no such file.");
  EXPECT_EQ(handle, 42u);
}

// ---- Lines that can't be read ----------------------------------------------------------------------------------------

TEST(Interface, IsDescribed) {
  struct Case {
    const char* Source;
    unsigned int Type;
    unsigned long BitRate, DataBitRate;
    const char* Name;
    const char* Hardware;
  };
  const TextFile candump("(1.0) can0 123#01\n(1.0) can1 123#01\n");
  const TextFile csv("timestamp_ns,channel,kind,flags,id,cycle,crc,data\n1,7,frame,,1,,,01\n2,A,frame,,1,0,,0101\n");
  const std::string can0 = "candump:" + candump.Path + "?interface=can0";
  const std::string lin = "csv:" + csv.Path + "?bus=lin&channel=7&bitrate=10417";
  const std::string flexRay = "csv:" + csv.Path + "?bus=flexray";
  const Case cases[] = {
      {"can", 4, 500000, 2000000, "", "simulated bus"},
      {"lin", 5, 19200, 0, "", "simulated bus"},
      {"flexray", 9, 10000000, 0, "", "simulated bus"},
      {"ethernet", 14, 100000000, 0, "", "simulated bus"},
      {can0.c_str(), 4, 0, 0, "can0", "replayed recording"},
      {lin.c_str(), 5, 10417, 0, "7", "replayed recording"},
      {flexRay.c_str(), 9, 10000000, 0, "", "replayed recording"},
      {"script?type=5", 5, 0, 0, "", ""},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.Source);
    unsigned int port = 0;
    ASSERT_EQ(Qor_Sim_OpenPort(one.Source, &port), 0u) << Qor_Sim_ErrorText();
    Qor_Sim_Interface_t interface {};
    EXPECT_EQ(Qor_Sim_GetInterface(port, &interface), 0u);
    EXPECT_EQ(interface.Type, one.Type);
    EXPECT_EQ(interface.BitRate, one.BitRate);
    EXPECT_EQ(interface.DataBitRate, one.DataBitRate);
    EXPECT_STREQ(interface.Name, one.Name);
    EXPECT_STREQ(interface.Hardware, one.Hardware);
    Qor_Sim_ClosePort(port);
  }
}

TEST(Interface, NameThatIsTooLongIsCut) {
  const std::string name(100, 'c');
  const TextFile candump("(1.0) " + name + " 123#01\n");
  unsigned int port = 0;
  ASSERT_EQ(Qor_Sim_OpenPort(("candump:" + candump.Path + "?interface=" + name).c_str(), &port), 0u);
  Qor_Sim_Interface_t interface {};
  EXPECT_EQ(Qor_Sim_GetInterface(port, &interface), 0u);
  EXPECT_EQ(interface.Name, name.substr(0, 63));
  Qor_Sim_ClosePort(port);
}

TEST(Interface, OfNoPortIsAnError) {
  Qor_Sim_Interface_t interface {};
  EXPECT_EQ(Qor_Sim_GetInterface(kNoHandle, &interface), unsigned{QOR_SIM_ERROR_HANDLE});
  EXPECT_EQ(Qor_Sim_GetInterface(kNoHandle, nullptr), unsigned{QOR_SIM_ERROR_ARGUMENT});
}

TEST(SkippedLine, IsCountedAndToldWithItsNumberAndReason) {
  const TextFile file("(1) can0 001#\nrubbish\n(2) can1 002#\n(3) can0 1#\n");
  const OpenedPort one("candump:" + file.Path + "?bad_lines=skip&interface=can0");
  const OpenedPort other("candump:" + file.Path + "?bad_lines=skip&interface=can1");
  for (const auto* port : {&one, &other}) {
    EXPECT_EQ(Qor_Sim_SkippedLineCount(port->Handle), 2u);
    Qor_Sim_SkippedLine_t line;
    ASSERT_EQ(Qor_Sim_GetSkippedLine(port->Handle, 1, &line), 0u);
    EXPECT_EQ(line.Number, 4u);
    EXPECT_STREQ(line.Reason, "an identifier has three hexadecimal digits, or eight if extended");
    EXPECT_EQ(Qor_Sim_GetSkippedLine(port->Handle, 2, &line), unsigned{QOR_SIM_ERROR_ARGUMENT});
    EXPECT_EQ(Qor_Sim_GetSkippedLine(port->Handle, 0, nullptr), unsigned{QOR_SIM_ERROR_ARGUMENT});
  }
}

TEST(SkippedLine, ThereIsNoneOnOtherPorts) {
  const OpenedPort port("can");
  Qor_Sim_SkippedLine_t line;
  EXPECT_EQ(Qor_Sim_SkippedLineCount(port.Handle), 0u);
  EXPECT_EQ(Qor_Sim_GetSkippedLine(port.Handle, 0, &line), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(Qor_Sim_SkippedLineCount(kNoHandle), 0u);
  EXPECT_EQ(Qor_Sim_GetSkippedLine(kNoHandle, 0, &line), unsigned{QOR_SIM_ERROR_HANDLE});
}

// ---- A port from end to end ------------------------------------------------------------------------------------------

TEST(Replay, PollBringsTheItemsOfTheFileByteForByte) {
  const TextFile file("(100.000001) can0 123#A1\n(100.000002) can0 18FE0102##13132333435363738 T\n");
  const OpenedPort port("candump:" + file.Path + "?speed=max");
  Channel channel(port.Handle);
  ASSERT_EQ(channel.Configure(), 0u);
  ASSERT_EQ(channel.Start(), 0u);
  ASSERT_EQ(channel.Poll(), 0u);
  // head | timestamp, identifier, flags, reserved, data length code, length, data | padding
  EXPECT_EQ(channel.Returned(),
            (Bytes{0,    0,    0,    0,                                                                   //
                   0,    0,    0,    0,    0,    0,    0,    0,   0x23, 0x01, 0,    0,    0,    0, 1, 1,  //
                   0xA1, 0,    0,    0,                                                                   //
                   0xE8, 3,    0,    0,    0,    0,    0,    0,   0x02, 0x01, 0xFE, 0xD8, 0x2B, 0, 8, 8,  //
                   0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38}));
  Qor_Sim_Status_t status;
  ASSERT_EQ(Qor_Sim_GetStatus(port.Handle, &status), 0u);
  EXPECT_EQ(status.Offered, 2u);
  EXPECT_EQ(status.Delivered, 2u);
  EXPECT_EQ(status.Finished, 1u);
}

// ---- Scripted ports --------------------------------------------------------------------------------------------------

TEST(ScriptedPort, AnswersTheExactCommandsOfEachBusWithItsEmptyHead) {
  for (const int type : {4, 5, 9, 14}) {
    SCOPED_TRACE(type);
    const OpenedPort port("script?type=" + std::to_string(type) + "&instance=7");
    Channel channel(port.Handle);
    EXPECT_EQ(channel.Configure(), 0u) << Qor_Sim_ErrorText();
    EXPECT_EQ(channel.Start(), 0u) << Qor_Sim_ErrorText();
    EXPECT_EQ(channel.Poll(), 0u) << Qor_Sim_ErrorText();
    EXPECT_EQ(channel.Returned(), channel.Commands.EmptyResponse);
    EXPECT_EQ(channel.Stop(), 0u) << Qor_Sim_ErrorText();
  }
}

class Script : public testing::Test {
 protected:
  void StartPort() {
    ASSERT_EQ(Line.Configure(), 0u);
    ASSERT_EQ(Line.Start(), 0u);
  }
  void Queue(const Bytes& bytes, unsigned int reported) {
    ASSERT_EQ(Qor_Sim_Script_Response(Port.Handle, bytes.data(), static_cast<unsigned int>(bytes.size()), reported),
              0u);
  }
  unsigned int Fail(unsigned int call, unsigned int times) {
    return Qor_Sim_Script_Fail(Port.Handle, call, 0xABC, times);
  }

  OpenedPort Port{"script"};
  Channel Line{Port.Handle};
};

TEST_F(Script, QueuedResponsesComeByteForByteThenEmptyOnes) {
  StartPort();
  Queue({1, 2, 3, 4, 5}, 5);
  Queue({9}, 60'000);
  EXPECT_EQ(Qor_Sim_Script_Pending(Port.Handle), 2u);
  ASSERT_EQ(Line.Poll(), 0u);
  EXPECT_EQ(Line.Returned(), (Bytes{1, 2, 3, 4, 5}));
  EXPECT_EQ(Line.Response[5], 0xEE);
  ASSERT_EQ(Line.Poll(), 0u);
  EXPECT_EQ(Line.ReportedLength, 60'000u);
  EXPECT_EQ(Line.Response[0], 9);
  EXPECT_EQ(Line.Response[1], 0xEE);
  EXPECT_EQ(Qor_Sim_Script_Pending(Port.Handle), 0u);
  ASSERT_EQ(Line.Poll(), 0u);
  EXPECT_EQ(Line.Returned(), Bytes(4, 0));
}

TEST_F(Script, ResponseThatDoesNotFitWaits) {
  StartPort();
  Queue(Bytes(10, 1), 10);
  EXPECT_EQ(Line.Poll(9), unsigned{QOR_SIM_ERROR_CAPACITY});
  EXPECT_EQ(Qor_Sim_Script_Pending(Port.Handle), 1u);
  EXPECT_EQ(Line.Poll(10), 0u);
}

TEST_F(Script, EmptyAndLongestResponsesAreTakenLongerOnesNot) {
  EXPECT_EQ(Qor_Sim_Script_Response(Port.Handle, nullptr, 0, 0), 0u);
  const Bytes bytes(65536, 7);
  EXPECT_EQ(Qor_Sim_Script_Response(Port.Handle, bytes.data(), 65535, 65535), 0u);
  EXPECT_EQ(Qor_Sim_Script_Response(Port.Handle, bytes.data(), 65536, 65535), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(Qor_Sim_Script_Response(Port.Handle, nullptr, 1, 1), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(Qor_Sim_Script_Pending(Port.Handle), 2u);
}

TEST_F(Script, CallsFailAsOftenAsSaidAndChangeNothing) {
  Qor_InterfaceInfo_t info;
  ASSERT_EQ(Fail(QOR_SIM_CALL_INTERFACE_INFO, 2), 0u);
  EXPECT_EQ(Qor_GetInterfaceInfo(Port.Handle, &info), 0xABCu);
  EXPECT_EQ(Qor_GetInterfaceInfo(Port.Handle, &info), 0xABCu);
  ASSERT_EQ(Qor_GetInterfaceInfo(Port.Handle, &info), 0u);

  const unsigned int connections = Qor_Sim_OpenConnections();
  unsigned int handle = 0;
  ASSERT_EQ(Fail(QOR_SIM_CALL_OPEN, 1), 0u);
  EXPECT_EQ(Qor_OpenInterface2(5, &info, &handle), 0xABCu);
  EXPECT_EQ(Qor_Sim_OpenConnections(), connections);

  ASSERT_EQ(Fail(QOR_SIM_CALL_CONFIGURE, 1), 0u);
  EXPECT_EQ(Line.Configure(), 0xABCu);
  EXPECT_EQ(Line.Start(), unsigned{QOR_SIM_ERROR_STATE});
  EXPECT_EQ(Line.Configure(), 0u);

  ASSERT_EQ(Fail(QOR_SIM_CALL_START, 1), 0u);
  EXPECT_EQ(Line.Start(), 0xABCu);
  EXPECT_EQ(Line.Poll(), unsigned{QOR_SIM_ERROR_STATE});
  EXPECT_EQ(Line.Start(), 0u);

  ASSERT_EQ(Fail(QOR_SIM_CALL_STOP, 1), 0u);
  EXPECT_EQ(Line.Stop(), 0xABCu);
  EXPECT_EQ(Line.Poll(), 0u);
  EXPECT_EQ(Line.Stop(), 0u);
}

TEST_F(Script, PollFailsOnlyBehindTheQueuedResponses) {
  StartPort();
  Queue({1, 2, 3, 4, 5}, 5);
  ASSERT_EQ(Fail(QOR_SIM_CALL_POLL, 1), 0u);
  EXPECT_EQ(Line.Poll(), 0u);
  EXPECT_EQ(Line.Poll(), 0xABCu);
  EXPECT_EQ(Line.Poll(), 0u);
}

TEST_F(Script, RefusedCallsUseUpNoFailure) {
  ASSERT_EQ(Fail(QOR_SIM_CALL_START, 1), 0u);
  EXPECT_EQ(Line.Start(), unsigned{QOR_SIM_ERROR_STATE});
  ASSERT_EQ(Line.Configure(), 0u);
  EXPECT_EQ(Line.Start(), 0xABCu);
}

TEST_F(Script, ZeroTimesTakesAFailureBack) {
  ASSERT_EQ(Fail(QOR_SIM_CALL_CONFIGURE, 5), 0u);
  ASSERT_EQ(Fail(QOR_SIM_CALL_CONFIGURE, 0), 0u);
  EXPECT_EQ(Line.Configure(), 0u);
}

TEST_F(Script, FailureNeedsAKnownCallAndACode) {
  EXPECT_EQ(Fail(6, 1), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(Qor_Sim_Script_Fail(Port.Handle, QOR_SIM_CALL_POLL, 0, 1), unsigned{QOR_SIM_ERROR_ARGUMENT});
}

TEST_F(Script, LastErrorAnswersWhatWasSaid) {
  unsigned int code = 1, length = 50;
  char text[50] = "as it was";
  ASSERT_EQ(Qor_Sim_Script_LastError(Port.Handle, 0, 0x77, "cable is out"), 0u);
  EXPECT_EQ(Qor_GetLastErrorByPortHandle(Line.Handle, &code, &length, text), 0u);
  EXPECT_EQ(code, 0x77u);
  EXPECT_EQ(length, 12u);
  EXPECT_STREQ(text, "cable is out");
  ASSERT_EQ(Qor_Sim_Script_LastError(Port.Handle, 0x99, 0x78, "not told"), 0u);
  EXPECT_EQ(Qor_GetLastErrorByPortHandle(Line.Handle, &code, &length, text), 0x99u);
  EXPECT_EQ(code, 0x77u);
  EXPECT_STREQ(text, "cable is out");
  EXPECT_EQ(Qor_Sim_Script_LastError(Port.Handle, 0, 0, nullptr), unsigned{QOR_SIM_ERROR_ARGUMENT});
}

TEST_F(Script, StatusHasNoItemsAndIsFinishedWithoutResponses) {
  Qor_Sim_Status_t status;
  ASSERT_EQ(Qor_Sim_GetStatus(Port.Handle, &status), 0u);
  EXPECT_EQ(status.Finished, 1u);
  Queue({1}, 1);
  ASSERT_EQ(Qor_Sim_GetStatus(Port.Handle, &status), 0u);
  EXPECT_EQ(status.Finished, 0u);
  EXPECT_EQ(status.Offered, 0u);
}

TEST(ScriptCalls, AreForScriptedPortsOnly) {
  const OpenedPort port("can");
  const unsigned char byte = 0;
  EXPECT_EQ(Qor_Sim_Script_Response(port.Handle, &byte, 1, 1), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(Qor_Sim_Script_Fail(port.Handle, QOR_SIM_CALL_POLL, 1, 1), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(Qor_Sim_Script_LastError(port.Handle, 0, 0, ""), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(Qor_Sim_Script_Pending(port.Handle), 0u);
  EXPECT_EQ(Qor_Sim_Script_Response(kNoHandle, &byte, 1, 1), unsigned{QOR_SIM_ERROR_HANDLE});
}

// ---- The log of commands ---------------------------------------------------------------------------------------------

TEST_F(Script, EveryCommandIsLoggedRefusedOnesIncluded) {
  ASSERT_EQ(Line.Configure(), 0u);
  ASSERT_NE(Line.Send(9, Bytes(100, 0xAB), 33), 0u);
  ASSERT_EQ(Qor_Sim_CommandCount(Port.Handle), 2u);
  Qor_Sim_Command_t command;
  ASSERT_EQ(Qor_Sim_GetCommand(Port.Handle, 0, &command), 0u);
  EXPECT_EQ(command.Handle, Line.Handle);
  EXPECT_EQ(command.Zero, 0u);
  EXPECT_EQ(command.Command, 0x50u);
  EXPECT_EQ(command.Mode, 1u);
  EXPECT_EQ(command.RequestLength, 12u);
  EXPECT_EQ(command.Capacity, 1012u);
  EXPECT_EQ(command.Result, 0u);
  EXPECT_EQ(Bytes(command.Request, command.Request + 12), Line.Commands.Configure);
  EXPECT_EQ(command.Request[12], 0);
  ASSERT_EQ(Qor_Sim_GetCommand(Port.Handle, 1, &command), 0u);
  EXPECT_EQ(command.Mode, 9u);
  EXPECT_EQ(command.RequestLength, 100u);
  EXPECT_EQ(command.Capacity, 33u);
  EXPECT_EQ(command.Result, unsigned{QOR_SIM_ERROR_COMMAND});
  EXPECT_EQ(Bytes(command.Request, command.Request + 64), Bytes(64, 0xAB));
  EXPECT_EQ(Qor_Sim_GetCommand(Port.Handle, 2, &command), unsigned{QOR_SIM_ERROR_ARGUMENT});
}

TEST_F(Script, FirstTenThousandCommandsAreKeptAllAreCounted) {
  StartPort();
  for (int i = 0; i < 10'000; ++i) ASSERT_EQ(Line.Poll(4), 0u);
  EXPECT_EQ(Qor_Sim_CommandCount(Port.Handle), 10'002u);
  Qor_Sim_Command_t command;
  EXPECT_EQ(Qor_Sim_GetCommand(Port.Handle, 9'999, &command), 0u);
  EXPECT_EQ(Qor_Sim_GetCommand(Port.Handle, 10'000, &command), unsigned{QOR_SIM_ERROR_ARGUMENT});
  EXPECT_EQ(Qor_Sim_CommandCount(kNoHandle), 0u);
}

TEST(CommandLog, PortsWithTrafficCountCommandsAndKeepNone) {
  const OpenedPort port("can");
  Channel line(port.Handle);
  ASSERT_EQ(line.Configure(), 0u);
  EXPECT_EQ(Qor_Sim_CommandCount(port.Handle), 1u);
  Qor_Sim_Command_t command;
  EXPECT_EQ(Qor_Sim_GetCommand(port.Handle, 0, &command), unsigned{QOR_SIM_ERROR_ARGUMENT});
}
