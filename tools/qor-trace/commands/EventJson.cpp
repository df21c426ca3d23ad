#include "commands/EventJson.h"

#include <utility>

#include "system/Failure.h"
#include "system/Terminal.h"

namespace client {

namespace {

constexpr const char* kSchema = "qor-trace-events";
constexpr int kVersion = 1;

}  // namespace

void PrintEvent(const std::string& event, nlohmann::json fields) {
  fields["schema"] = kSchema;
  fields["version"] = kVersion;
  fields["event"] = event;
  try {
    Print(fields.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + "\n");
  } catch (const Failure& failure) {
    SayError(failure.what());
  }
}

}  // namespace client
