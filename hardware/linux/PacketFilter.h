// A capture filter in libpcap's syntax.
#pragma once

#include <memory>
#include <span>
#include <string>

namespace qor_linux {

/// It sees whole frames, tags included, so it means what it means for a capture file.
class PacketFilter {
 public:
  /// Failure: qor_sim::Error QOR_SIM_ERROR_SOURCE with libpcap's reason.
  explicit PacketFilter(const std::string& text);
  ~PacketFilter();
  PacketFilter(const PacketFilter&) = delete;
  PacketFilter& operator=(const PacketFilter&) = delete;

  bool Matches(std::span<const unsigned char> frame) const;

 private:
  struct Program;
  std::unique_ptr<Program> Compiled;
};

}  // namespace qor_linux
