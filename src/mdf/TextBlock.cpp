#include "mdf/TextBlock.h"

namespace MDF {

TXBLOCK::TXBLOCK(const std::string& text) : Block(blockType_TX, 'T', 'X', 0), DataBlockStatic(text.c_str()) {
  DataSize = Size();
}

TXBLOCK::~TXBLOCK() = default;

bool TXBLOCK::WriteRequest() const { return BufferChanged || Block::WriteRequest(); }

void TXBLOCK::Block_LengthRefresh() {
  if (DataSize != Size()) HeaderChanged = true;
  DataSize = Size();
  Block::Block_LengthRefresh();
}

long TXBLOCK::Write(FileStream& stream) {
  if (BufferChanged) Block_LengthRefresh();
  return WriteWithData(stream, BufferChanged, {{Bytes(), Size()}});
}

MDBLOCK::MDBLOCK(const std::string& text) : Block(blockType_MD, 'M', 'D', 0), DataBlockStatic(text.c_str()) {
  DataSize = Size();
}

MDBLOCK::~MDBLOCK() = default;

bool MDBLOCK::WriteRequest() const { return BufferChanged || Block::WriteRequest(); }

void MDBLOCK::Block_LengthRefresh() {
  if (DataSize != Size()) HeaderChanged = true;
  DataSize = Size();
  Block::Block_LengthRefresh();
}

long MDBLOCK::Write(FileStream& stream) {
  if (BufferChanged) Block_LengthRefresh();
  return WriteWithData(stream, BufferChanged, {{Bytes(), Size()}});
}

void LinkText(Block& block, unsigned int link, const std::string& text) {
  if (!text.empty()) block.Links_Set(link, new TXBLOCK(text));
}

void LinkComment(Block& block, unsigned int link, const std::string& text) {
  if (!text.empty()) block.Links_Set(link, new MDBLOCK(text));
}

}  // namespace MDF
