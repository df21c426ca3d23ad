// Files that fail under the C interface: each call of the operating system in its turn, refused or done by half, once or from
// then on. Every entry point that works with files must return the status that it promises, report it once, leave
// nothing open, and go on as if nothing had been when the files work again.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <set>
#include <utility>

#include "api/ApiTest.h"
#include "support/FailingFiles.h"

using namespace test;

namespace {

namespace fs = std::filesystem;

constexpr unsigned int kFileError = QOR_TRACE_STATUS_FILE_ERROR;
constexpr unsigned int kSwapped = 20;
constexpr unsigned int kInMemory = 5;

struct Failure {
  FailingFiles::How How;
  FailingFiles::Duration Duration;
};

size_t OpenFiles() {
  return static_cast<size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

/// Whether `records` are the first ones of `whole`.
bool IsFront(const Items& records, const Items& whole) {
  return records.size() <= whole.size() && std::equal(records.begin(), records.end(), whole.begin());
}

/// Whether all bytes of `part` stand in `whole`, in their order.
bool IsPart(const Items& part, const Items& whole) {
  size_t next = 0;
  for (const Bytes& record : part) {
    while (next < whole.size() && whole[next] != record) ++next;
    if (next++ >= whole.size()) return false;
  }
  return true;
}

class FileFailures : public ApiTest, public testing::WithParamInterface<Failure> {
 protected:
  FileFailures() { Add(Can); }
  ~FileFailures() override { Qor_Trace_ClearChannelList(Monitor); }  // before its interfaces go

  /// Brings frames with the times first, first + 1, ... to a running monitor.
  void Deliver(unsigned long first, unsigned int count) {
    Items items;
    for (unsigned long time = first; time < first + count; ++time) {
      items.push_back(Frame(static_cast<unsigned int>(time)).At(time));
      All.push_back(RecordOf(BusType_Can, 1, items.back()));
    }
    Can.NextItems(items);
    ASSERT_TRUE(WaitUntil([this] { return Can.Pending() == 0; }));
  }
  void DeliverAndWait(unsigned long first, unsigned int count) {
    Deliver(first, count);
    ASSERT_TRUE(Can.WaitUntilDelivered());
  }
  /// Entries in the swap file and in memory.
  void Record() {
    ASSERT_EQ(SetNumber(QOR_TRACE_PROPERTY_MAX_ENTRIES, kSwapped), 0U);
    ASSERT_EQ(Qor_Trace_Start(Monitor, 0), 0U);
    DeliverAndWait(1, kSwapped);
    DeliverAndWait(1000, kInMemory);
    ASSERT_EQ(Qor_Trace_Stop(Monitor), 0U);
    ASSERT_EQ(Number(QOR_TRACE_PROPERTY_ENTRY_COUNT), kSwapped + kInMemory);
    TakeReports();
  }
  /// The records that a retrieval of everything returns.
  Items Trace() {
    Bytes buffer(size_t{48} * 1000);
    unsigned int count = 0, size = static_cast<unsigned int>(buffer.size());
    EXPECT_EQ(Qor_Trace_GetItems(Monitor, 0, 0, &count, &size, buffer.data()), 0U);
    Items records;
    for (size_t place = 0; records.size() < count; place = (place + records.back().size() + 7) / 8 * 8) {
      const auto first = buffer.begin() + static_cast<std::ptrdiff_t>(place);
      records.emplace_back(first, first + ReadAt<unsigned int>(buffer, place));
    }
    return records;
  }
  std::string LiveName() {
    char name[100];
    unsigned int length = sizeof name;
    EXPECT_EQ(Qor_Trace_Property_GetById(Monitor, 0, QOR_TRACE_PROPERTY_ASC_FILE_NAME, &length,
                                         reinterpret_cast<unsigned char*>(name)),
              0U);
    return {name, length};
  }

  /// Does something with its first file call failing, then its second, until it needs no more. `check` gets its status and
  /// the failed call.
  void ForEveryCall(const std::function<void()>& prepare, const std::function<unsigned int()>& work,
                    const std::function<void(unsigned int status, const std::string& failed)>& check) {
    const size_t open = OpenFiles();
    bool failed = true;
    for (unsigned long number = 1; failed; ++number) {
      SCOPED_TRACE(number);
      ASSERT_LT(number, 500U);
      ASSERT_NO_FATAL_FAILURE(prepare());
      TakeReports();
      unsigned int status = 0;
      std::string what;
      {
        const FailingFiles failing(number, GetParam().How, GetParam().Duration);
        status = work();
        failed = failing.HasFailed();
        what = failing.What();
      }
      SCOPED_TRACE(what);
      Failed.insert(what);
      const auto reports = TakeReports();
      EXPECT_LE(reports.size(), MostReports);
      for (const Report& report : reports) EXPECT_EQ(report.Code, kFileError);
      EXPECT_TRUE(status == 0 || !reports.empty());
      ASSERT_NO_FATAL_FAILURE(check(status, what));
      EXPECT_EQ(OpenFiles(), open);
      if (GetParam().How == FailingFiles::Short) {
        EXPECT_EQ(status, 0U);
      }
    }
  }
  static void ExpectOkOrFileError(unsigned int status) {
    EXPECT_TRUE(status == 0 || status == kFileError) << std::hex << status;
  }
  static void Nothing() {}

  ScriptedInterface Can;
  Items All;                     // records of all that was delivered
  std::set<std::string> Failed;  // calls that did, by name
  size_t MostReports = 1;        // of one call
};

INSTANTIATE_TEST_SUITE_P(Failure, FileFailures,
                         testing::Values(Failure{FailingFiles::Refused, FailingFiles::Once},
                                         Failure{FailingFiles::Refused, FailingFiles::FromThenOn},
                                         Failure{FailingFiles::Short, FailingFiles::Once},
                                         Failure{FailingFiles::Short, FailingFiles::FromThenOn}),
                         [](const auto& failure) {
                           return std::string(failure.param.How == FailingFiles::Refused ? "Refused" : "Short") +
                                  (failure.param.Duration == FailingFiles::Once ? "Once" : "FromThenOn");
                         });

}  // namespace

TEST_P(FileFailures, AscExportIsWholeOrSaysThatItIsNot) {
  Record();
  const auto request = ExportRequest("out.asc");
  ASSERT_EQ(Qor_Trace_ExportToASC(Monitor, &request), 0U);
  // The date of the header aside.
  const auto body = [] { return FileText("out.asc").substr(FileText("out.asc").find("internal")); };
  const auto lines = [&] { return body().substr(0, body().find("Begin")) + body().substr(body().find("\n0.")); };
  const std::string whole = lines();
  ForEveryCall(
      Nothing, [&] { return Qor_Trace_ExportToASC(Monitor, &request); },
      [&](unsigned int status, const std::string& what) {
        ExpectOkOrFileError(status);
        if (status == 0) {
          EXPECT_EQ(lines(), whole);
        } else {
          EXPECT_NE(what, "");
        }
        EXPECT_EQ(Trace(), All);
        ASSERT_EQ(Qor_Trace_ExportToASC(Monitor, &request), 0U);
        EXPECT_EQ(lines(), whole);
      });
  EXPECT_GE(Failed.size(), 5U);  // that calls of many kinds were made
}

TEST_P(FileFailures, SeriesOfAscFilesIsWholeOrSaysThatItIsNot) {
  Record();
  const auto request = ExportRequest("out.asc", QOR_TRACE_ASC_SPLIT, 0, 600);
  const auto lines = [] {
    size_t count = 0;
    for (const auto& file : fs::directory_iterator(".")) {
      if (file.path().extension() != ".asc") continue;
      const std::string text = FileText(file.path());
      for (size_t at = text.find(" CANFD "); at != std::string::npos; at = text.find(" CANFD ", at + 1)) ++count;
    }
    return count;
  };
  const auto removeOld = [] {
    for (const char* name : {"out.asc", "out_1.asc", "out_2.asc", "out_3.asc"}) fs::remove(name);
  };
  ForEveryCall(
      removeOld, [&] { return Qor_Trace_ExportToASC(Monitor, &request); },
      [&](unsigned int status, const std::string&) {
        ExpectOkOrFileError(status);
        if (status == 0) {
          EXPECT_EQ(lines(), All.size());
        }
        EXPECT_EQ(Trace(), All);
      });
}

TEST_P(FileFailures, PcapngExportIsRefusedOrCutShort) {
  ScriptedInterface ethernet(BusType_Ethernet);
  Add(ethernet);
  ethernet.NextItems(Items(40, EthernetFrame(Counting(1500))));
  ASSERT_EQ(Qor_Trace_Start(Monitor, 0), 0U);
  ASSERT_TRUE(ethernet.WaitUntilDelivered());
  ASSERT_EQ(Qor_Trace_Stop(Monitor), 0U);
  const auto request = ExportRequest("out.pcapng");
  ASSERT_EQ(Qor_Trace_ExportToPCAP(Monitor, &request), 0U);
  const Bytes whole = FileBytes("out.pcapng");
  ForEveryCall(
      Nothing, [&] { return Qor_Trace_ExportToPCAP(Monitor, &request); },
      [&](unsigned int status, const std::string& what) {
        EXPECT_EQ(status, what == "open" && GetParam().How == FailingFiles::Refused ? kFileError : 0U);
        const Bytes written = FileBytes("out.pcapng");
        ASSERT_LE(written.size(), whole.size());
        EXPECT_TRUE(std::equal(written.begin(), written.end(), whole.begin()));
        if (GetParam().How == FailingFiles::Short || what.empty()) {
          EXPECT_EQ(written.size(), whole.size());
        }
      });
  Qor_Trace_ClearChannelList(Monitor);
}

TEST_P(FileFailures, RetrievalEndsWhereReadingFails) {
  Record();
  Items read;
  ForEveryCall(
      Nothing, [&] { return read = Trace(), 0U; },
      [&](unsigned int, const std::string& what) {
        EXPECT_TRUE(IsFront(read, All));
        if (what.empty()) {
          EXPECT_EQ(read, All);
        }
        EXPECT_EQ(Trace(), All);
      });
}

TEST_P(FileFailures, FlushTellsWhenTheSwapFileStays) {
  ForEveryCall(
      [&] {
        All.clear();
        ASSERT_EQ(Qor_Trace_Property_SetById(Monitor, 0, QOR_TRACE_PROPERTY_FLUSH, 0, nullptr), 0U);
        Record();
      },
      [&] { return Qor_Trace_Property_SetById(Monitor, 0, QOR_TRACE_PROPERTY_FLUSH, 0, nullptr); },
      [&](unsigned int status, const std::string&) {
        ExpectOkOrFileError(status);
        if (status == 0) {
          EXPECT_TRUE(Trace().empty());
        } else {
          EXPECT_EQ(Number(QOR_TRACE_PROPERTY_ENTRY_COUNT), kSwapped);  // those in memory are gone
          EXPECT_TRUE(IsPart(Trace(), Items(All.begin(), All.begin() + kSwapped)));
        }
        ASSERT_EQ(Qor_Trace_Property_SetById(Monitor, 0, QOR_TRACE_PROPERTY_FLUSH, 0, nullptr), 0U);
        EXPECT_EQ(Number(QOR_TRACE_PROPERTY_ENTRY_COUNT), 0U);
      });
}

TEST_P(FileFailures, SwappingLosesNoRecord) {
  // What fails ends the receive thread; whatever it was, each entry is in the file or in memory.
  ForEveryCall(
      [&] {
        All.clear();
        ASSERT_EQ(Qor_Trace_Property_SetById(Monitor, 0, QOR_TRACE_PROPERTY_FLUSH, 0, nullptr), 0U);
        ASSERT_EQ(SetNumber(QOR_TRACE_PROPERTY_MAX_ENTRIES, kSwapped), 0U);
        ASSERT_EQ(Qor_Trace_Start(Monitor, 0), 0U);
        DeliverAndWait(1, kSwapped);
        DeliverAndWait(100, kSwapped - 1);
      },
      [&] {
        Deliver(1000, 1);
        return Qor_Trace_Stop(Monitor);
      },
      [&](unsigned int status, const std::string&) {
        EXPECT_EQ(status, 0U);
        EXPECT_TRUE(IsPart(All, Trace()));
        EXPECT_EQ(Trace().size(), Number(QOR_TRACE_PROPERTY_ENTRY_COUNT));
        ASSERT_EQ(Qor_Trace_Start(Monitor, 0), 0U);
        DeliverAndWait(2000, 1);
        ASSERT_EQ(Qor_Trace_Stop(Monitor), 0U);
        EXPECT_TRUE(IsPart(All, Trace()));
      });
}

TEST_P(FileFailures, LiveAscFileThatFailsCostsNoEntry) {
  ForEveryCall(
      [&] {
        All.clear();
        ASSERT_EQ(Qor_Trace_Property_SetById(Monitor, 0, QOR_TRACE_PROPERTY_FLUSH, 0, nullptr), 0U);
        ASSERT_EQ(Qor_Trace_Start(Monitor, QOR_TRACE_START_ASC_RECORDING), 0U);
        DeliverAndWait(1, 10);
      },
      [&] {
        Deliver(100, 10);
        return Qor_Trace_Stop(Monitor);
      },
      [&](unsigned int status, const std::string& what) {
        ExpectOkOrFileError(status);
        EXPECT_EQ(Trace(), All);
        if (what.empty() || GetParam().How == FailingFiles::Short) {
          EXPECT_NE(FileText(LiveName()).find("End Triggerblock\n"), std::string::npos);
        }
      });
}

TEST_P(FileFailures, StartWithoutItsLiveAscFileIsNoStart) {
  unsigned int stopsBefore = 0;
  ForEveryCall(
      Nothing, [&] { return Qor_Trace_Start(Monitor, QOR_TRACE_START_ASC_RECORDING); },
      [&](unsigned int status, const std::string&) {
        ExpectOkOrFileError(status);
        const unsigned int polls = Can.PollCount();
        if (status == 0) {
          ASSERT_TRUE(WaitUntil([&] { return Can.PollCount() > polls; }));
        }
        EXPECT_EQ(Qor_Trace_Stop(Monitor), 0U);
        const unsigned int stops = std::exchange(stopsBefore, Can.StopCommands());
        EXPECT_EQ(stopsBefore, stops + (status == 0 ? 1 : 0));  // there was something to stop, or not
      });
}

TEST_P(FileFailures, DeleteAlwaysGetsRidOfTheHandle) {
  MostReports = 2;  // the live file's end, and the swap file that a monitor empties before it goes
  unsigned int handle = 0;
  ScriptedInterface second;
  ForEveryCall(
      [&] {
        ASSERT_EQ(Qor_Trace_Allocate(0, &handle), 0U);
        const Qor_Trace_AddChannel_Request_t request = {0, second.Port(), 0};
        Qor_Trace_AddChannel_Response_t response;
        ASSERT_EQ(Qor_Trace_AddChannel(handle, &request, &response), 0U);
        ASSERT_EQ(Qor_Trace_Start(handle, QOR_TRACE_START_ASC_RECORDING), 0U);
        second.NextItems({Frame(1).At(1)});
        ASSERT_TRUE(second.WaitUntilDelivered());
      },
      [&] { return Qor_Trace_Delete(handle); },
      [&](unsigned int status, const std::string&) {
        ExpectOkOrFileError(status);
        EXPECT_EQ(Qor_Trace_Stop(handle), QOR_TRACE_STATUS_UNKNOWN_HANDLE);
        EXPECT_EQ(Qor_Sim_OpenConnections(), 1U);
      });
}
