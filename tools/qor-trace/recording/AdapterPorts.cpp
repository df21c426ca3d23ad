#include "recording/AdapterPorts.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "recording/Connections.h"
#include "system/Failure.h"
#include "system/LoaderError.h"
#include "system/Terminal.h"

namespace client {

namespace {

std::string TextOf(const char* text) { return text == nullptr ? "" : text; }

/// Why a call has failed.
std::string ErrorOf(const Qor_Adapter_t& adapter, int status) {
  const std::string text = TextOf(adapter.LastError(adapter.User));
  return text.empty() ? fmt::format("the adapter gives no reason (error {})", status) : text;
}

/// What is wrong with an adapter; empty if nothing is.
std::string FaultOf(const Qor_Adapter_t* adapter) {
  if (adapter == nullptr) return fmt::format("it doesn't serve version {} of qor_adapter.h", QOR_ADAPTER_VERSION);
  if (adapter->Version != QOR_ADAPTER_VERSION)
    return fmt::format("it is of version {} of qor_adapter.h, and not {}", adapter->Version, QOR_ADAPTER_VERSION);
  if (adapter->Size < sizeof *adapter)
    return fmt::format("its Size is {} bytes, and not {}", adapter->Size, sizeof *adapter);
  if (adapter->List == nullptr || adapter->Open == nullptr || adapter->Close == nullptr ||
      adapter->LastError == nullptr)
    return "one of its functions is missing";
  return "";
}

/// Stays loaded until the process ends: threads of the hardware library may be inside of it.
const Qor_Adapter_t* LoadAdapter(const std::string& typed) {
  const auto refuse = [&](const std::string& why) {
    return Failure(fmt::format("The adapter \"{}\" can't be used: {}", typed, why));
  };
  const std::string path = std::filesystem::absolute(typed).string();
  void* const object = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (object == nullptr) throw refuse(LoaderError(path));
  const auto get = reinterpret_cast<decltype(&Qor_Adapter_Get)>(dlsym(object, "Qor_Adapter_Get"));
  if (get == nullptr) throw refuse("it doesn't export Qor_Adapter_Get");
  const Qor_Adapter_t* const adapter = get(QOR_ADAPTER_VERSION);
  const std::string fault = FaultOf(adapter);
  if (!fault.empty()) throw refuse(fault);
  return adapter;
}

/// What is typed before the first question mark, and after it.
std::pair<std::string, std::string> NameAndOptions(const std::string& typed) {
  const auto mark = typed.find('?');
  return {typed.substr(0, mark), mark == std::string::npos ? "" : typed.substr(mark + 1)};
}

class AdapterPort : public OpenedPort {
 public:
  AdapterPort(const Qor_Adapter_t& adapter, const Source& source);
  ~AdapterPort() override;

  [[nodiscard]] unsigned int Handle() const override { return PortHandle; }
  [[nodiscard]] Qor_Sim_Status_t Status() const override;
  [[nodiscard]] ChannelDescription Describe() const override { return Channel; }

 private:
  const Qor_Adapter_t& Adapter;
  const std::string Shown;
  unsigned int PortHandle = 0;
  ChannelDescription Channel;
};

AdapterPort::AdapterPort(const Qor_Adapter_t& adapter, const Source& source) : Adapter(adapter), Shown(source.Shown) {
  const auto [name, options] = NameAndOptions(source.Text);
  Qor_Adapter_Port_t port{};
  port.Size = sizeof port;
  const int status = adapter.Open(adapter.User, name.c_str(), options.c_str(), &port);
  if (status != 0) throw Failure(fmt::format("Source \"{}\": {}", Shown, ErrorOf(adapter, status)));
  PortHandle = port.Handle;
  Channel.BusType = BusOfInterface(port.Type);
  Channel.Name = name;
  Channel.Hardware = TextOf(port.Hardware);
  Channel.BitRate = port.BitRate;
  Channel.DataBitRate = port.DataBitRate;
}

AdapterPort::~AdapterPort() {
  const int status = Adapter.Close(Adapter.User, PortHandle);
  if (status != 0) SayError(fmt::format("Cannot close \"{}\": {}", Shown, ErrorOf(Adapter, status)));
}

/// What its capture buffer had no room for is marked in the entries, where the interface marks it.
Qor_Sim_Status_t AdapterPort::Status() const {
  Qor_Sim_Status_t status{};
  status.Gone = status.Finished = Connections::IsGone(PortHandle) ? 1 : 0;
  return status;
}

/// What an adapter lists, collected without letting an exception through its code.
struct Listing {
  std::vector<ListedPort> Ports;
  bool IsNameless = false;
  bool MemoryIsExhausted = false;

  void Take(const Qor_Adapter_Interface_t& found);
};

void Listing::Take(const Qor_Adapter_Interface_t& found) {
  if (found.Size < sizeof found || TextOf(found.Name).empty()) {
    IsNameless = true;
    return;
  }
  Ports.push_back({found.Name, found.Type, TextOf(found.State), found.BitRate, found.DataBitRate,
                   TextOf(found.Hardware), TextOf(found.WhyNot)});
}

void TakeFound(void* context, const Qor_Adapter_Interface_t* found) {
  auto& listing = *static_cast<Listing*>(context);
  try {
    listing.Take(*found);
  } catch (const std::bad_alloc&) {
    listing.MemoryIsExhausted = true;
  }
}

}  // namespace

AdapterPorts::AdapterPorts(std::string hardware, std::string fault, std::string adapter)
    : Hardware(std::move(hardware)), HardwareFault(std::move(fault)), Path(std::move(adapter)) {}

const Qor_Adapter_t& AdapterPorts::Adapter() {
  if (!HardwareFault.empty())
    throw Failure(fmt::format("The hardware library \"{}\" can't be used: {}", Hardware, HardwareFault));
  if (Loaded == nullptr) Loaded = LoadAdapter(Path);
  return *Loaded;
}

bool AdapterPorts::IsListed(const std::string& name) {
  const std::vector<ListedPort> ports = List();
  return std::any_of(ports.begin(), ports.end(), [&](const ListedPort& port) { return port.Name == name; });
}

std::vector<Source> AdapterPorts::Plan(const std::vector<std::string>& typed, const SourceDefaults& defaults,
                                       const std::filesystem::path& /*folder*/) {
  if (!defaults.Speed.empty())
    throw UsageError("--speed is for what is simulated; leave it out, or --hardware and --adapter");
  static_cast<void>(Adapter());  // what is wrong with it goes before what is wrong with a source
  std::vector<Source> sources;
  for (const std::string& text : typed) {
    // An interface may be called "can" as well.
    if (NeedsStandIn(text) && !IsListed(NameAndOptions(text).first))
      throw UsageError(
          fmt::format("Source \"{}\" is none of the adapter's interfaces; what is simulated, and this machine's own "
                      "interfaces, are "
                      "recorded without --hardware and --adapter",
                      text));
    sources.push_back({text, text});
  }
  return sources;
}

std::unique_ptr<OpenedPort> AdapterPorts::Open(const Source& source) {
  return std::make_unique<AdapterPort>(Adapter(), source);
}

std::vector<ListedPort> AdapterPorts::List() {
  const Qor_Adapter_t& adapter = Adapter();
  Listing listing;
  const int status = adapter.List(adapter.User, TakeFound, &listing);
  if (listing.MemoryIsExhausted) throw std::bad_alloc();
  if (status != 0) throw Failure(fmt::format("Cannot list the interfaces: {}", ErrorOf(adapter, status)));
  if (listing.IsNameless)
    throw Failure(fmt::format("The adapter \"{}\" can't be used: it lists an interface without a name", Path));
  return listing.Ports;
}

std::vector<std::string> AdapterPorts::ProgramOptions() const {
  return {"--hardware", std::filesystem::absolute(Hardware).string(), "--adapter",
          std::filesystem::absolute(Path).string()};
}

}  // namespace client
