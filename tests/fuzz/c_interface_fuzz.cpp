// The C interface as a random sequence of calls with random arguments, on up to three monitors that share four ports. A model
// of each monitor says what every call must answer; each failure is reported once; at the end nothing is left over.
//
// Input: calls, one after the other: which one (1), its arguments.
#include <array>
#include <atomic>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <list>
#include <map>
#include <optional>
#include <set>

#include "AscDate.h"
#include "Input.h"
#include "export/AscReference.h"
#include "support/ScriptedInterface.h"
#include "support/TemporaryDirectory.h"
#include "support/TraceModel.h"

/// Each monitor is made in a second of its own, so that no two share a file name.
extern "C" time_t time(time_t* out) {
  static std::atomic<time_t> now = 1794733219;
  const time_t value = ++now;
  if (out != nullptr) *out = value;
  return value;
}

namespace {

using fuzz::Input;
using fuzz::Require;
using test::Bytes;
using test::Items;
using test::Reply;

enum : unsigned int {
  kOk = 0,
  kUnsupported = QOR_TRACE_STATUS_UNSUPPORTED_INTERFACE,
  kInvalid = QOR_TRACE_STATUS_INVALID_ARGUMENT,
  kPortInUse = QOR_TRACE_STATUS_PORT_IN_USE,
  kUnknownProperty = QOR_TRACE_STATUS_UNKNOWN_PROPERTY,
  kInvalidValue = QOR_TRACE_STATUS_INVALID_VALUE,
  kAccess = QOR_TRACE_STATUS_PROPERTY_ACCESS,
  kFileError = QOR_TRACE_STATUS_FILE_ERROR,
  kUnknownHandle = QOR_TRACE_STATUS_UNKNOWN_HANDLE,
  kNoChannel = QOR_TRACE_STATUS_NO_CHANNEL
};

constexpr unsigned int kUnknownPort = 9999;
constexpr const char* kNowhere = "no-such-folder/out";
constexpr unsigned int kMostEntries[] = {9'000'000, 9'000'000, 3'000'000, 500'000};  // by bus

/// A monitor as the calls so far must have left it.
struct Model {
  unsigned int Handle;
  test::TraceModel Trace;
  std::map<unsigned int, size_t> Channels;  // port by number
  std::set<unsigned int> Started;           // numbers of the channels that run
  bool Running = false;
  bool Sorting = false;       // with two or more channels, whose entries come in an order that isn't modelled
  bool Discarding = false;    // a run in which entries are dropped
  unsigned int Unsorted = 0;  // entries of that run
  std::array<std::string, 13> Texts;
  unsigned int AscLimit = 524288000, MdfLimit = 0x200000;
  std::optional<test::AscReference> Live;
};

class Client {
 public:
  explicit Client(const char* date) : Date(date) {}

  void Call(Input& input) {
    switch (input.Below(20)) {
      case 0:
        return Allocate(input);
      case 1:
        return Delete(input);
      case 2:
      case 3:
        return AddChannel(input);
      case 4:
        return RemoveChannel(input);
      case 5:
        return Start(input);
      case 6:
        return Stop(input);
      case 7:
      case 8:
      case 9:
        return Deliver(input);
      case 10:
      case 11:
        return Retrieve(input, Qor_Trace_GetItems, false);
      case 12:
        return Retrieve(input, Qor_Trace_GetListItems, true);
      case 13:
        return GetProperty(input);
      case 14:
      case 15:
        return SetProperty(input);
      case 16:
        return ExportToAsc(input);
      case 17:
        return ExportToPcap(input);
      case 18:
        return Expect(Qor_Trace_ExportToMDF(input.Below(4), nullptr), QOR_TRACE_STATUS_NOT_SUPPORTED);
      default:
        return ClearChannels(input);
    }
  }

  /// Deletes all monitors and looks for what they leave.
  void Finish() {
    while (!Monitors.empty()) DeleteAt(Monitors.begin());
    Require(Qor_Sim_OpenConnections() == 0, "all connections are closed");
    for (const auto& file : std::filesystem::directory_iterator(".")) {
      Require(file.path().extension() != ".bin", "the swap files are deleted");
      std::filesystem::remove(file.path());
    }
  }

 private:
  static void Expect(unsigned int status, unsigned int expected) {
    Require(status == expected, "a call has the status that its arguments deserve");
    const auto reports = test::TakeReports();
    Require(reports.size() == (status == kOk ? 0U : 1U), "each failure is reported once");
    if (status != kOk) Require(reports[0].Code == status, "a failure is reported with its status");
  }

  /// A monitor, or none for a handle that there isn't.
  std::list<Model>::iterator Pick(Input& input, unsigned int& handle) {
    const unsigned int choice = input.Below(8);
    auto found = Monitors.begin();
    if (choice == 7 || Monitors.empty()) {
      handle = input.OneIn(2) ? 0 : LastHandle + 1;
      return Monitors.end();
    }
    std::advance(found, choice % Monitors.size());
    handle = found->Handle;
    return found;
  }
  /// Makes a call that takes nothing but a handle. Returns the monitor if there is one.
  template <class Function>
  std::list<Model>::iterator CallByHandle(Input& input, Function function) {
    unsigned int handle = 0;
    const auto found = Pick(input, handle);
    Expect(function(handle), found == Monitors.end() ? kUnknownHandle : kOk);
    return found;
  }

  // ---- Monitors and channels

  void Allocate(Input& input) {
    const unsigned int kind = input.Below(8);
    unsigned int handle = 0;
    if (kind == 7) return Expect(Qor_Trace_Allocate(input.Take<std::uint8_t>() + 1U, &handle), kInvalid);
    if (kind == 6) return Expect(Qor_Trace_Allocate(0, nullptr), kInvalid);
    if (Monitors.size() == 3) return;
    Require(Qor_Trace_Allocate(0, &handle) == kOk, "a monitor is allocated");
    Require(LastHandle == 0 || handle == LastHandle + 1, "handles count on");
    const auto reports = test::TakeReports();
    Require(reports.size() == 1 && reports[0].Code == kUnknownHandle, "an allocation is told by one report");
    LastHandle = handle;
    Monitors.push_back({});
    Model& model = Monitors.back();
    model.Handle = handle;
    for (const unsigned int id : {QOR_TRACE_PROPERTY_ASC_FILE_NAME, QOR_TRACE_PROPERTY_MDF_FILE_NAME}) {
      model.Texts[id] = TextOf(handle, id);
    }
  }
  void Delete(Input& input) {
    unsigned int handle = 0;
    const auto found = Pick(input, handle);
    if (found == Monitors.end()) return Expect(Qor_Trace_Delete(handle), kUnknownHandle);
    DeleteAt(found);
  }
  void DeleteAt(std::list<Model>::iterator monitor) {
    Expect(Qor_Trace_Delete(monitor->Handle), kOk);
    CheckLiveFiles(*monitor);
    Monitors.erase(monitor);
  }
  void AddChannel(Input& input) {
    unsigned int handle = 0;
    const auto found = Pick(input, handle);
    const size_t port = input.Below(5);
    const unsigned int wanted = input.OneIn(8) ? input.Take<unsigned int>() : input.Below(5);
    const unsigned int kind = input.Below(16);
    if (kind == 15) return Expect(Qor_Trace_AddChannel(handle, nullptr, nullptr), kInvalid);
    const Qor_Trace_AddChannel_Request_t request = {kind == 14 ? 1U : 0U, PortNumber(port), wanted};
    Qor_Trace_AddChannel_Response_t response;
    std::memset(&response, 0xEE, sizeof response);
    const unsigned int status = Qor_Trace_AddChannel(handle, kind == 13 ? nullptr : &request, &response);
    const unsigned int expected = Added(found, port, wanted, kind);
    Expect(status, expected);
    Require(response.Reserved1 == 0 && response.Reserved2 == 0, "the response is filled with zeros");
    Require(response.ChannelId == (expected == kOk ? Wanted(*found, wanted) : 0),
            "the number is as wanted, or the lowest");
    if (expected != kOk) return;
    found->Channels[response.ChannelId] = port;
    const unsigned int most = kMostEntries[port];
    if (found->Trace.Limit == 0 || found->Trace.Limit > most) found->Trace.Limit = most;
  }
  [[nodiscard]] unsigned int Added(std::list<Model>::iterator monitor, size_t port, unsigned int wanted,
                                   unsigned int kind) {
    if (monitor == Monitors.end()) return kUnknownHandle;
    if (kind == 13) return kInvalid;
    for (const Model& model : Monitors) {
      for (const auto& [number, used] : model.Channels) {
        if (used == port) return kPortInUse;
      }
    }
    if (kind == 14) return kInvalid;
    if (wanted != 0 && monitor->Channels.count(wanted) != 0) return kInvalidValue;
    return port == Ports.size() ? kUnsupported : kOk;
  }
  static unsigned int Wanted(const Model& model, unsigned int wanted) {
    if (wanted != 0) return wanted;
    unsigned int lowest = 1;
    while (model.Channels.count(lowest) != 0) ++lowest;
    return lowest;
  }
  [[nodiscard]] unsigned int PortNumber(size_t port) const {
    return port < Ports.size() ? Ports[port].Port() : kUnknownPort;
  }
  void RemoveChannel(Input& input) {
    const unsigned int number = input.Below(6);
    const auto found =
        CallByHandle(input, [&](unsigned int handle) { return Qor_Trace_RemoveChannel(handle, number); });
    if (found == Monitors.end()) return;
    found->Channels.erase(number);
    found->Started.erase(number);
  }
  void ClearChannels(Input& input) {
    const auto found = CallByHandle(input, Qor_Trace_ClearChannelList);
    if (found == Monitors.end()) return;
    found->Channels.clear();
    found->Started.clear();
  }

  // ---- Runs

  void Start(Input& input) {
    unsigned int handle = 0;
    const auto found = Pick(input, handle);
    const unsigned int mode = input.Below(10);
    const unsigned int status = Qor_Trace_Start(handle, mode);
    if (found == Monitors.end()) return Expect(status, kUnknownHandle);
    if (mode > 7) return Expect(status, kInvalid);
    if (found->Running) return Expect(status, kOk);
    if (found->Channels.empty()) return Expect(status, kNoChannel);
    const std::string& name = found->Texts[QOR_TRACE_PROPERTY_ASC_FILE_NAME];
    const bool live = (mode & QOR_TRACE_START_ASC_RECORDING) != 0;
    if (live && name == kNowhere) return Expect(status, kFileError);
    Expect(status, kOk);
    found->Running = true;
    found->Sorting = found->Channels.size() > 1;
    found->Discarding = found->Trace.DiscardOldest = (mode & QOR_TRACE_START_DISCARD_OLDEST) != 0;
    for (const auto& [number, port] : found->Channels) found->Started.insert(number);
    if (live && !found->Sorting) found->Live.emplace(QOR_TRACE_ASC_SPLIT, name, 0, found->AscLimit, Date);
  }
  void Stop(Input& input) {
    const auto found = CallByHandle(input, Qor_Trace_Stop);
    if (found == Monitors.end()) return;
    found->Running = false;
    found->Started.clear();
    CheckLiveFiles(*found);
    if (found->Sorting) EndSortedRun(*found);
  }
  /// Everything was stored; in what order isn't modelled, so the trace begins anew.
  static void EndSortedRun(Model& model) {
    const unsigned int most = model.Trace.Total() + model.Unsorted;
    const unsigned int stored = NumberOf(model.Handle, QOR_TRACE_PROPERTY_ENTRY_COUNT);
    Require(model.Discarding ? stored <= most : stored == most, "a stop stores what waits");
    Expect(Qor_Trace_Property_SetById(model.Handle, 0, QOR_TRACE_PROPERTY_FLUSH, 0, nullptr), kOk);
    model.Trace.Flush();
    model.Unsorted = 0;
    model.Sorting = false;
  }
  static void CheckLiveFiles(Model& model) {
    if (!model.Live) return;
    for (const auto& [name, text] : model.Live->Finish()) {
      Require(test::FileText(name) == text, "the live ASC files hold the run");
    }
    model.Live.reset();
  }
  void Deliver(Input& input) {
    const size_t port = input.Below(static_cast<unsigned int>(Ports.size()));
    const auto bus = static_cast<Qor_Trace_BusType>(port);
    const Items items = TakeItems(input, bus);
    for (Model& model : Monitors) {
      for (const unsigned int number : model.Started) {
        if (model.Channels[number] != port) continue;
        Ports[port].NextItems(items);
        Require(Ports[port].WaitUntilDelivered(), "a poll is delivered");
        return Delivered(model, items, number, bus);
      }
    }
  }
  static void Delivered(Model& model, const Items& items, unsigned int number, Qor_Trace_BusType bus) {
    if (model.Sorting) {
      model.Trace.DeliverToList(items, number, bus);  // the list doesn't wait for the sort thread
      model.Unsorted += static_cast<unsigned int>(items.size());
      return;
    }
    for (const Bytes& record : model.Trace.Deliver(items, number, bus)) {
      if (model.Live) model.Live->Write(test::Record(record).Get());
    }
  }
  static Items TakeItems(Input& input, Qor_Trace_BusType bus) {
    Items items;
    for (unsigned int count = 1 + input.Below(20); count > 0; --count) {
      const unsigned long time = input.Take<std::uint16_t>();
      const unsigned int key = input.Below(4);
      const Bytes data = test::Counting(input.Below(9), key);
      switch (bus) {
        case BusType_Can:
          items.push_back(test::Frame(key).At(time).Data(data));
          break;
        case BusType_Lin:
          items.push_back(test::LinFrame(key).At(time).Data(data));
          break;
        case BusType_FlexRay:
          items.push_back(test::FlexRayFrame(key).At(time).Data(data));
          break;
        default:
          items.push_back(test::EthernetFrame(data).At(time));
      }
    }
    return items;
  }

  // ---- Reading

  template <class Function>
  void Retrieve(Input& input, Function function, bool list) {
    unsigned int handle = 0;
    const auto found = Pick(input, handle);
    const unsigned int start = input.OneIn(16) ? input.Take<unsigned int>() : input.Below(100);
    const unsigned int wanted = input.OneIn(2) ? 0 : input.OneIn(16) ? input.Take<unsigned int>() : input.Below(100);
    const unsigned int capacity = input.OneIn(2) ? 20'000 : input.Take<std::uint16_t>() % 3000;
    const unsigned int kind = input.Below(32);
    Reply answer{0, wanted, capacity, Bytes(capacity, test::kUntouched)};
    static unsigned char none;  // a buffer must be somewhere, also without a capacity
    answer.Code = function(handle, kind == 31 ? 1 : 0, start, kind == 30 ? nullptr : &answer.Count,
                           kind == 29 ? nullptr : &answer.Size,
                           kind == 28      ? nullptr
                           : capacity == 0 ? &none
                                           : answer.Buffer.data());
    if (found == Monitors.end()) return Expect(answer.Code, kUnknownHandle);
    if (kind >= 28) return Expect(answer.Code, kInvalid);
    if (found->Sorting && !list) {
      Require(answer.Size <= capacity && answer.Count <= answer.Size / 28 + 1, "a retrieval stays in its buffer");
      return static_cast<void>(test::TakeReports());
    }
    const Reply expected =
        list ? found->Trace.GetList(start, wanted, capacity) : found->Trace.Get(start, wanted, capacity);
    Expect(answer.Code, expected.Code);
    Require(answer == expected, "a retrieval gives the records of the model");
  }

  // ---- Properties

  static std::string TextOf(unsigned int handle, unsigned int id) {
    unsigned char value[300];
    unsigned int length = sizeof value;
    Expect(Qor_Trace_Property_GetById(handle, 0, static_cast<Qor_Trace_PropertyId_t>(id), &length, value), kOk);
    Require(value[length] == 0, "a text is closed");
    return {value, value + length};
  }
  static unsigned int NumberOf(unsigned int handle, unsigned int id) {
    unsigned int number = 0, length = sizeof number;
    Expect(Qor_Trace_Property_GetById(handle, 0, static_cast<Qor_Trace_PropertyId_t>(id), &length,
                                      reinterpret_cast<unsigned char*>(&number)),
           kOk);
    return number;
  }
  static bool IsNumber(unsigned int id) { return id == 0 || id == 1 || id == 4 || id == 6 || id == 8; }

  void GetProperty(Input& input) {
    unsigned int handle = 0;
    const auto found = Pick(input, handle);
    const auto id =
        static_cast<Qor_Trace_PropertyId_t>(input.OneIn(16) ? input.Take<std::uint16_t>() : input.Below(13));
    unsigned int length = input.Below(40);
    Bytes value(length + 1, test::kUntouched);
    const unsigned int capacity = length;
    const unsigned int kind = input.Below(16);
    const unsigned int status = Qor_Trace_Property_GetById(handle, input.Below(256), id, kind == 15 ? nullptr : &length,
                                                           kind == 14 ? nullptr : value.data());
    if (found == Monitors.end()) return Expect(status, kUnknownHandle);
    if (kind >= 14) return Expect(status, kInvalid);
    if (id >= 13) return Expect(status, kUnknownProperty);
    if (id == 2 || id == 3) return Expect(status, kAccess);
    if (capacity < (IsNumber(id) ? 4U : 1U)) return Expect(status, kInvalidValue);
    Expect(status, kOk);
    Require(value.back() == test::kUntouched, "a property stays in its buffer");
    if (IsNumber(id)) {
      Require(length == 4, "a number has four bytes");
      CheckNumber(*found, id, test::ReadAt<unsigned int>(value, 0));
    } else {
      const std::string text = found->Texts[id].substr(0, capacity - 1);
      Require(length == text.size() && value[length] == 0 && text == reinterpret_cast<const char*>(value.data()),
              "a text is as it was set, cut to the buffer");
    }
  }
  static void CheckNumber(const Model& model, unsigned int id, unsigned int number) {
    if (id == QOR_TRACE_PROPERTY_ENTRY_COUNT && model.Sorting) {
      return Require(number <= model.Trace.Total() + model.Unsorted, "no more is stored than was delivered");
    }
    const std::map<unsigned int, unsigned int> numbers = {{0, model.Trace.Total()},
                                                          {1, model.Trace.ListRows()},
                                                          {4, model.Trace.Limit},
                                                          {6, model.AscLimit},
                                                          {8, model.MdfLimit}};
    Require(number == numbers.at(id), "a number is as it was set or counted");
  }
  void SetProperty(Input& input) {
    unsigned int handle = 0;
    const auto found = Pick(input, handle);
    const auto id =
        static_cast<Qor_Trace_PropertyId_t>(input.OneIn(16) ? input.Take<std::uint16_t>() : input.Below(13));
    const unsigned int length = input.Below(8);
    const unsigned int number = input.OneIn(8) ? input.Take<unsigned int>() : input.Below(60);
    const bool settable = id == 4 || id == 6 || id == 8;
    const bool isNull = settable && input.OneIn(16);
    const std::string text = settable ? "" : TakeText(input, id, handle);
    const auto* value = settable ? reinterpret_cast<const unsigned char*>(&number)
                                 : reinterpret_cast<const unsigned char*>(text.c_str());
    const unsigned int status =
        Qor_Trace_Property_SetById(handle, input.Below(256), id, length, isNull ? nullptr : value);
    if (found == Monitors.end()) return Expect(status, kUnknownHandle);
    if (isNull) return Expect(status, kInvalid);
    if (id >= 13) return Expect(status, kUnknownProperty);
    if (id < 2) return Expect(status, kAccess);
    if (settable && length < 4) return Expect(status, kInvalidValue);
    Expect(status, kOk);
    Set(*found, id, number, text);
  }
  /// A text for a property. File names lead nowhere, or to a file of the monitor's own.
  static std::string TakeText(Input& input, unsigned int id, unsigned int handle) {
    const unsigned int choice = input.Below(64);
    if (id == QOR_TRACE_PROPERTY_ASC_FILE_NAME) {
      return choice % 4 == 0 ? kNowhere : "live-" + std::to_string(handle) + ".asc";
    }
    std::string text = input.TakeText(choice);
    text.erase(std::find(text.begin(), text.end(), '\0'), text.end());
    return text;
  }
  static void Set(Model& model, unsigned int id, unsigned int number, const std::string& text) {
    switch (id) {
      case QOR_TRACE_PROPERTY_FLUSH:
        model.Unsorted = 0;
        return model.Trace.Flush();
      case QOR_TRACE_PROPERTY_FLUSH_LIST:
        return model.Trace.FlushList();
      case QOR_TRACE_PROPERTY_MAX_ENTRIES:
        model.Trace.Limit = number;
        return;
      case QOR_TRACE_PROPERTY_ASC_MAX_FILE_SIZE:
        model.AscLimit = number;
        return;
      case QOR_TRACE_PROPERTY_MDF_MAX_FILE_SIZE:
        model.MdfLimit = number;
        return;
      default:
        model.Texts[id] = text;
    }
  }

  // ---- Exports

  /// A request; its name leads nowhere for kind 7, isn't closed for kind 6.
  static Qor_Trace_Export_Request_t Request(Input& input, unsigned int kind) {
    Qor_Trace_Export_Request_t request{};
    request.Flags = input.Below(20);
    std::strcpy(request.FileName, kind == 7 ? kNowhere : "out");
    if (kind == 6) std::memset(request.FileName, 'x', sizeof request.FileName);
    request.MaxFileSize = input.OneIn(2) ? input.Take<std::uint16_t>() : 0;
    request.Extra = input.Take<std::uint16_t>();
    return request;
  }
  void ExportToAsc(Input& input) {
    unsigned int handle = 0;
    const auto found = Pick(input, handle);
    const unsigned int kind = input.Below(9);
    const Qor_Trace_Export_Request_t request = Request(input, kind);
    const unsigned int status = Qor_Trace_ExportToASC(handle, kind == 8 ? nullptr : &request);
    const bool split = (request.Flags & QOR_TRACE_ASC_SPLIT) != 0;
    if (found == Monitors.end()) return Expect(status, kUnknownHandle);
    if (kind == 8 || kind == 6 || request.Flags > 15) return Expect(status, kInvalid);
    if (split && request.Extra < 512) return Expect(status, kInvalidValue);
    if (kind == 7) return Expect(status, kFileError);
    Expect(status, kOk);
    if (found->Sorting || (request.Flags & QOR_TRACE_ASC_RELATIVE) != 0) return;
    test::AscReference reference(request.Flags, "out", request.MaxFileSize, request.Extra, Date);
    for (const Bytes& record : found->Trace.Trace()) reference.Write(test::Record(record).Get());
    for (const auto& [name, text] : reference.Finish()) {
      Require(test::FileText(name) == text, "an export holds the trace");
    }
  }
  void ExportToPcap(Input& input) {
    unsigned int handle = 0;
    const auto found = Pick(input, handle);
    const unsigned int kind = input.Below(9);
    const Qor_Trace_Export_Request_t request = Request(input, kind);
    const unsigned int status = Qor_Trace_ExportToPCAP(handle, kind == 8 ? nullptr : &request);
    if (found == Monitors.end()) return Expect(status, kUnknownHandle);
    if (kind == 8 || kind == 6 || request.Flags > 1) return Expect(status, kInvalid);
    Expect(status, kind == 7 ? kFileError : kOk);
  }

  const std::string Date;
  std::list<Model> Monitors;
  unsigned int LastHandle = 0;
  static std::array<test::ScriptedInterface, 4>& Ports;
};

// By bus; never destroyed, as connections to them may outlast everything.
std::array<test::ScriptedInterface, 4>& Client::Ports = *new std::array<test::ScriptedInterface, 4>{
    test::ScriptedInterface(BusType_Can), test::ScriptedInterface(BusType_Lin),
    test::ScriptedInterface(BusType_FlexRay), test::ScriptedInterface(BusType_Ethernet)};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::TemporaryDirectory directory;
  static const char* const date = fuzz::FixedAscDate();
  test::TakeReports();
  Input input(data, size);
  Client client(date);
  for (int calls = 0; input.Left() > 0 && calls < 300; ++calls) client.Call(input);
  client.Finish();
  return 0;
}
