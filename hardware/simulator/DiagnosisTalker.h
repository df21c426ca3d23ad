// Diagnosis over IP: TCP connections of the tester to the gateway.
#pragma once

#include <memory>

#include "EthernetTalkers.h"

namespace qor_sim {

/// About every five seconds a connection is made, used and closed.
std::unique_ptr<EthernetTalker> MakeDiagnosisTalker(Random& numbers);

}  // namespace qor_sim
