// Source texts: refused with a sentence, or read into something that reads the same when it is written down again.
// Texts that name no file also make a port.
#include "Clock.h"
#include "Error.h"
#include "Input.h"
#include "SourceText.h"
#include "Sources.h"
#include "simulator/FakeTime.h"

namespace {

using fuzz::Require;
using qor_sim::SourceText;

void RequireSentence(const qor_sim::Error& error) {
  Require(error.Code() == QOR_SIM_ERROR_SOURCE, "a bad source is told as one");
  Require(*error.what() != 0, "a refusal says why");
}

void Open(const std::string& text) {
  FakeTime time;
  qor_sim::Clock clock(time);
  try {
    Require(qor_sim::MakePort(text, 1, clock) != nullptr, "a source makes a port");
  } catch (const qor_sim::Error& error) {
    RequireSentence(error);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const SourceText source = qor_sim::ParseSource(text);
    const SourceText again = qor_sim::ParseSource(qor_sim::ToText(source));
    Require(again.Kind == source.Kind && again.Path == source.Path && again.Options == source.Options,
            "a source survives being written down");
    if (source.Path.empty()) Open(text);
  } catch (const qor_sim::Error& error) {
    RequireSentence(error);
  }
  return 0;
}
