// What the library reports is of the whole process, so nothing here reports what ends a recording.
#include "recording/Reports.h"

#include <gtest/gtest.h>

#include <string>

#include "qor_api_trace.h"
#include "system/Failure.h"

namespace client {
namespace {

std::string SentenceOf(unsigned int status, size_t mark) {
  try {
    Reports::Check(status, "Cannot do it", mark);
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "";
}

TEST(Reports, SuccessIsNoFailureWhateverWasReported) {
  const size_t mark = Reports::Mark();
  Reports::Note(QOR_TRACE_STATUS_INVALID_VALUE, "to big");
  EXPECT_EQ(SentenceOf(QOR_TRACE_STATUS_OK, mark), "");
}

TEST(Reports, FailureIsToldInTheWordsOfItsLatestReport) {
  const size_t mark = Reports::Mark();
  Reports::Note(QOR_TRACE_STATUS_INVALID_VALUE, "first");
  Reports::Note(QOR_TRACE_STATUS_INVALID_VALUE, "second");
  EXPECT_EQ(SentenceOf(QOR_TRACE_STATUS_INVALID_VALUE, mark), "Cannot do it: second (0x02140005)");
}

TEST(Reports, ReportsOfOtherCodesAfterItAreNotItsOwn) {
  const size_t mark = Reports::Mark();
  Reports::Note(QOR_TRACE_STATUS_INVALID_VALUE, "too small");
  Reports::Note(QOR_TRACE_STATUS_UNKNOWN_HANDLE, "no monitor");
  EXPECT_EQ(SentenceOf(QOR_TRACE_STATUS_INVALID_VALUE, mark), "Cannot do it: too small (0x02140005)");
}

TEST(Reports, ReportsBeforeTheCallAreNotItsOwn) {
  Reports::Note(QOR_TRACE_STATUS_INVALID_VALUE, "of an earlier call");
  const size_t mark = Reports::Mark();
  EXPECT_EQ(SentenceOf(QOR_TRACE_STATUS_INVALID_VALUE, mark), "Cannot do it: a value is out of range (0x02140005)");
  Reports::Note(QOR_TRACE_STATUS_UNKNOWN_HANDLE, "no monitor");
  EXPECT_EQ(SentenceOf(QOR_TRACE_STATUS_INVALID_VALUE, mark), "Cannot do it: a value is out of range (0x02140005)");
}

TEST(Reports, OldReportsAreForgotten) {
  const size_t mark = Reports::Mark();
  Reports::Note(QOR_TRACE_STATUS_INVALID_VALUE, "long ago");
  for (int count = 0; count < 99; ++count) Reports::Note(QOR_TRACE_STATUS_UNKNOWN_HANDLE, "no monitor");
  EXPECT_EQ(SentenceOf(QOR_TRACE_STATUS_INVALID_VALUE, mark), "Cannot do it: long ago (0x02140005)");
  Reports::Note(QOR_TRACE_STATUS_UNKNOWN_HANDLE, "no monitor");
  EXPECT_EQ(SentenceOf(QOR_TRACE_STATUS_INVALID_VALUE, mark), "Cannot do it: a value is out of range (0x02140005)");
}

TEST(Reports, RecordingsGoOnAfterOtherErrors) {
  Reports::Note(QOR_TRACE_STATUS_INVALID_VALUE, "to big");
  EXPECT_FALSE(Reports::RecordingFailed());
  EXPECT_FALSE(Reports::FileFailed());
}

}  // namespace
}  // namespace client
