#include "PacketFilter.h"

#include <pcap/pcap.h>

#include "simulator/Error.h"

namespace qor_linux {
namespace {

constexpr int kLongest = 262144;  // bytes of a frame

struct Closer {
  void operator()(pcap_t* capture) const { pcap_close(capture); }
};

}  // namespace

struct PacketFilter::Program {
  bpf_program Code{};
};

PacketFilter::PacketFilter(const std::string& text) : Compiled(std::make_unique<Program>()) {
  const std::unique_ptr<pcap_t, Closer> none(pcap_open_dead(DLT_EN10MB, kLongest));
  if (!none) throw std::bad_alloc();
  if (pcap_compile(none.get(), &Compiled->Code, text.c_str(), 1, PCAP_NETMASK_UNKNOWN) != 0)
    throw qor_sim::SourceError("The option filter can't be \"" + text + "\": " + pcap_geterr(none.get()) + ".");
}

PacketFilter::~PacketFilter() { pcap_freecode(&Compiled->Code); }

bool PacketFilter::Matches(std::span<const unsigned char> frame) const {
  pcap_pkthdr head{};
  head.caplen = head.len = static_cast<bpf_u_int32>(frame.size());
  return pcap_offline_filter(&Compiled->Code, &head, frame.data()) != 0;
}

}  // namespace qor_linux
