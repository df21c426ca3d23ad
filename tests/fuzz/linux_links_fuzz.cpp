// Answers of the kernel about its links: no length in them is believed beyond the bytes that are there.
#include "Input.h"
#include "linux/LinkMessage.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  bool done = false;
  const auto links = qor_linux::ParseLinks({data, size}, done);
  fuzz::Require(links.size() <= size / 32, "a link takes its room");
  for (const qor_linux::Link& link : links) {
    fuzz::Require(!link.Name.empty() && link.Name.size() < size, "a link has a name from the answer");
    fuzz::Require(link.Name.find('\0') == std::string::npos, "a name ends at its zero");
    fuzz::Require(link.State <= qor_linux::CanState::Unknown, "a state is one of those that there are");
  }
  return 0;
}
