// What the trace library asks of the hardware library passes through the program, which would miss two things otherwise: the
// error reports, and that an interface no longer answers, of which the trace library says nothing.
#pragma once

namespace client {

/// The calls go on to this hardware library (of dlopen) from here on. To be called before the first of them.
void PassHardwareCalls(void* hardware);

}  // namespace client
