#include "internal/Qor_Trace_Exception.h"

#include <gtest/gtest.h>

#include "support/ScriptedInterface.h"

using test::Report;
using test::TakeReports;

namespace {

class Exception : public testing::Test {
 protected:
  Exception() { TakeReports(); }
};

}  // namespace

TEST_F(Exception, ReportsOnceWhenItIsBuilt) {
  const Qor_Trace_Exception error(7, QOR_TRACE_STATUS_INVALID_VALUE, "channel id 7 already used");
  EXPECT_EQ(TakeReports(), (std::vector<Report>{{7, QOR_TRACE_STATUS_INVALID_VALUE, "channel id 7 already used"}}));
  EXPECT_EQ(error.GetErrorCode(), QOR_TRACE_STATUS_INVALID_VALUE);
  EXPECT_TRUE(TakeReports().empty());
}

TEST_F(Exception, IsNotReportedAgainByACopyOrACatch) {
  try {
    const Qor_Trace_Exception error(255, 1, "once");
    throw Qor_Trace_Exception(error);
  } catch (const Qor_Trace_Exception& caught) {
    EXPECT_EQ(caught.GetErrorCode(), 1U);
  }
  EXPECT_EQ(TakeReports(), (std::vector<Report>{{255, 1, "once"}}));
}

TEST_F(Exception, TextIsNoFormat) {
  const Qor_Trace_Exception error(255, 2, "100%s %n %d");
  EXPECT_EQ(TakeReports(), (std::vector<Report>{{255, 2, "100%s %n %d"}}));
}

TEST_F(Exception, KeepsItsCodeWhenTheHandlerSuppressesIt) {
  Qor_Sim_SuppressReports(3, 1);
  EXPECT_EQ(Qor_Trace_Exception(255, 3, "").GetErrorCode(), 3U);
  Qor_Sim_SuppressReports(3, 0);
}

TEST_F(Exception, MayHaveNoText) {
  const Qor_Trace_Exception error(255, 4, std::string());
  EXPECT_EQ(TakeReports(), (std::vector<Report>{{255, 4, ""}}));
}
