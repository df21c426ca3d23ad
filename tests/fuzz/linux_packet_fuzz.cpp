// Blocks of a capture ring: no number in them is believed beyond the bytes that are there, and no block is read forever.
#include "Input.h"
#include "linux/PacketBlock.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qor_linux::PacketBlock block({data, size});
  std::vector<unsigned char> frame;
  std::uint32_t before = block.Left();
  while (const auto packet = block.Next()) {
    fuzz::Require(block.Left() == before - 1, "each packet is one of those that the block has");
    before = block.Left();
    fuzz::Require(packet->Bytes.data() >= data && packet->Bytes.data() + packet->Bytes.size() <= data + size,
                  "within it");
    qor_linux::RestoreFrame(*packet, frame);
    fuzz::Require(frame.size() <= packet->Bytes.size() + 4, "a tag takes four bytes");
  }
  return 0;
}
