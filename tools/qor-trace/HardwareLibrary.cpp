#include "HardwareLibrary.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/auxv.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <utility>

#include "OwnLibrary.h"
#include "system/LoaderError.h"

namespace client {

namespace {

constexpr const char* kName = "libqor_api.so.2";
constexpr const char* kOption = "--hardware";

/// What the trace library calls.
constexpr std::array kCalls = {"Qor_ErrorHandler",          "Qor_GetInterfaceType",        "Qor_GetInterfaceInfo",
                               "Qor_OpenInterface2",        "Qor_Monitor_InstanceId_Get",  "Qor_CloseInterface",
                               "Qor_CommandWithResponseEx", "Qor_GetLastErrorByPortHandle"};

/// Commands that record nothing: a library may take a while to find its interfaces, or take them away from a recording.
constexpr std::array kOnFiles = {"check", "compare", "convert", "help", "info", "recover", "report"};

bool IsOnFiles(const std::string& command) {
  return std::find(kOnFiles.begin(), kOnFiles.end(), command) != kOnFiles.end();
}

/// Blocks all signals as long as it lives, for the threads that are started meanwhile.
class NoSignals {
 public:
  NoSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &Before);
  }
  ~NoSignals() { pthread_sigmask(SIG_SETMASK, &Before, nullptr); }
  NoSignals(const NoSignals&) = delete;
  NoSignals& operator=(const NoSignals&) = delete;

 private:
  sigset_t Before{};
};

/// A name without a slash would be looked for where libraries lie, not in the current folder.
std::string PathOf(const std::string& named) { return std::filesystem::absolute(named).string(); }

/// Whether a library that needs libqor_api.so.2 gets this one: the loader goes by the name that a library gives itself.
bool IsTaken(void* library) {
  void* const taken = dlopen(kName, RTLD_LAZY | RTLD_NOLOAD);
  if (taken != nullptr) dlclose(taken);
  return taken == library;
}

/// What is wrong with a library that is loaded; empty if it will do.
std::string FaultOf(void* library) {
  for (const char* call : kCalls)
    if (dlsym(library, call) == nullptr) return std::string("it lacks ") + call + ", which recording calls";
  if (!IsTaken(library)) return std::string("it doesn't call itself ") + kName + " (its SONAME)";
  return "";
}

/// Private to those that need it, so that other names that it exports are in nobody's way.
void* Load(const std::string& path) { return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL); }

HardwareLibrary LoadNamed(const std::string& named) {
  if (getauxval(AT_SECURE) != 0) return {nullptr, "this program has rights that its user has not (setuid or setcap)"};
  const std::string path = PathOf(named);
  void* const library = Load(path);
  if (library == nullptr) return {nullptr, LoaderError(path)};
  std::string fault = FaultOf(library);
  if (fault.empty()) return {library};
  dlclose(library);
  return {nullptr, std::move(fault)};
}

}  // namespace

std::string NamedHardware(const std::vector<std::string>& arguments) {
  const std::string joined = std::string(kOption) + "=";
  std::string named;
  size_t index = 0;
  for (; index < arguments.size() && arguments[index].starts_with('-'); ++index) {
    const std::string& option = arguments[index];
    if (option.starts_with(joined)) named = option.substr(joined.size());
    if (option != kOption && option != "--adapter") continue;
    ++index;  // its value
    if (option == kOption && index < arguments.size()) named = arguments[index];
  }
  return index < arguments.size() && !IsOnFiles(arguments[index]) ? named : "";
}

HardwareLibrary LoadHardware(const std::string& named) {
  const NoSignals none;
  HardwareLibrary loaded = named.empty() ? HardwareLibrary{} : LoadNamed(named);
  if (loaded.Handle == nullptr) loaded.Handle = Load(OwnLibrary(kName));
  return loaded;
}

}  // namespace client
