#include "system/FolderTrust.h"

#include <gtest/gtest.h>

namespace client {
namespace {

struct TrustCase {
  uid_t Owner;
  mode_t Mode;
  const char* Reason;
};

TEST(FolderTrust, FolderIsTrustedIfNobodyElseCanExchangeItsFiles) {
  constexpr uid_t me = 1000;
  constexpr TrustCase cases[] = {
      {1000, 0700, ""},
      {1000, 0755, ""},
      {1000, 0775, ""},  // the group was chosen
      {1000, 0777, "can be written by everybody and has no sticky bit"},
      {1000, 0703, "can be written by everybody and has no sticky bit"},
      {1000, 01777, ""},
      {0, 01777, ""},  // as /tmp
      {0, 0777, "can be written by everybody and has no sticky bit"},
      {1001, 0755, "belongs to user 1001"},
      {1001, 01777, "belongs to user 1001"},
  };
  for (const TrustCase& c : cases) {
    SCOPED_TRACE(testing::Message() << c.Owner << " 0" << std::oct << c.Mode);
    struct stat folder {};
    folder.st_uid = c.Owner;
    folder.st_mode = S_IFDIR | c.Mode;
    EXPECT_EQ(WhyNotTrusted(folder, me), c.Reason);
  }
}

}  // namespace
}  // namespace client
