// The blocks that hold a text.
#pragma once

#include <string>

#include "mdf/BlockBase.h"
#include "mdf/DataBuffer.h"

namespace MDF {

/// A plain text, cut at its first zero and stored with at least one zero after it, padded to a multiple of 8 bytes.
class QOR_EXPORT TXBLOCK : public Block, public DataBlockStatic {
 public:
  explicit TXBLOCK(const std::string& text);
  ~TXBLOCK() override;

  [[nodiscard]] bool WriteRequest() const override;
  void Block_LengthRefresh() override;
  long Write(FileStream& stream) override;
};

/// A comment in XML, stored in the same way.
class QOR_EXPORT MDBLOCK : public Block, public DataBlockStatic {
 public:
  explicit MDBLOCK(const std::string& text);
  ~MDBLOCK() override;

  [[nodiscard]] bool WriteRequest() const override;
  void Block_LengthRefresh() override;
  long Write(FileStream& stream) override;
};

/// Links a new text block, if the text isn't empty.
void LinkText(Block& block, unsigned int link, const std::string& text);
/// Links a new comment block, if the text isn't empty.
void LinkComment(Block& block, unsigned int link, const std::string& text);

}  // namespace MDF
