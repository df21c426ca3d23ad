// How every C call ends: what is thrown inside becomes its result and the thread's error text.
#pragma once

#include <new>

#include "Error.h"

namespace qor_sim {

/// Keeps the text for Qor_Sim_ErrorText of this thread; a long one is cut.
void KeepErrorText(const char* text) noexcept;
const char* ErrorText() noexcept;

template <class Body>
unsigned int ResultOf(Body&& body) {
  try {
    body();
    return 0;
  } catch (const Error& error) {
    KeepErrorText(error.what());
    return error.Code();
  } catch (const std::bad_alloc&) {
    KeepErrorText("Memory is exhausted.");
    return QOR_SIM_ERROR_MEMORY;
  }
}

/// Refuses a null pointer by the name of its argument.
inline void Require(const void* pointer, const char* name) {
  if (pointer == nullptr) throw ArgumentError(std::string("The argument ") + name + " is null.");
}

}  // namespace qor_sim
