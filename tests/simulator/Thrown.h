// What a call threw, for tests of the hidden parts.
#pragma once

#include <string>
#include <utility>

#include "Error.h"

struct Thrown {
  unsigned int Code = 0;  // 0: nothing was thrown
  std::string Text;
};

template <class Call>
Thrown ThrownBy(Call&& call) {
  try {
    std::forward<Call>(call)();
    return {};
  } catch (const qor_sim::Error& error) {
    return {error.Code(), error.what()};
  }
}
