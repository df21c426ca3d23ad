#include "EntryPoint.h"

#include <cstdio>

namespace qor_sim {
namespace {

thread_local char errorText[600] = "";

}  // namespace

void KeepErrorText(const char* text) noexcept { std::snprintf(errorText, sizeof errorText, "%s", text); }

const char* ErrorText() noexcept { return errorText; }

}  // namespace qor_sim
