#include "stream/LinChecksum.h"

#include <gtest/gtest.h>

#include <vector>

namespace client {
namespace {

TEST(LinChecksum, ProtectedIdentifierHasBothParityBits) {
  // LIN 2.1, table of valid identifiers.
  constexpr unsigned char known[][2] = {{0x00, 0x80}, {0x01, 0xC1}, {0x02, 0x42}, {0x03, 0x03}, {0x0F, 0xCF},
                                        {0x20, 0x20}, {0x3C, 0x3C}, {0x3D, 0x7D}, {0x3E, 0xFE}, {0x3F, 0xBF}};
  for (const auto& [plain, onBus] : known) EXPECT_EQ(LinProtectedIdentifier(plain), onBus) << int{plain};
}

TEST(LinChecksum, ModelIsTheOneThatFits) {
  // LIN 2.1, example of a checksum: 4A 55 93 E5 has E6, classic.
  const std::vector<unsigned char> data = {0x4A, 0x55, 0x93, 0xE5};
  EXPECT_EQ(LinChecksumModelOf(0xE6, 0x42, data), LinChecksumModel::Classic);
  EXPECT_EQ(LinChecksumModelOf(0xA4, 0x42, data), LinChecksumModel::Enhanced);  // E6 - 42
  EXPECT_EQ(LinChecksumModelOf(0xA5, 0x42, data), LinChecksumModel::Unknown);
  EXPECT_EQ(LinChecksumModelOf(0xFF, 0x42, {}), LinChecksumModel::Unknown);
}

}  // namespace
}  // namespace client
