#include "outputs/LiveCapture.h"

#include <fmt/format.h>

#include <cerrno>

#include "system/Failure.h"

namespace client {

void LiveCapture::Finish() {
  if (Writer.Finish() || Writer.Error() == EPIPE) return;
  throw Failure(fmt::format("Cannot write the capture: {}", ErrnoText(Writer.Error())));
}

}  // namespace client
