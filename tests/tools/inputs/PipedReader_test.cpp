// Pipes, whose format is found out when they are read.
#include "inputs/PipedReader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/PcapngFile.h"
#include "tools/ReadInput.h"

namespace client {
namespace {

/// A pipe with a name, of which the test holds the writing end.
class PipedReaderTest : public testing::Test {
 protected:
  PipedReaderTest() {
    EXPECT_EQ(mkfifo("pipe", 0600), 0);
    End = open("pipe", O_RDWR);
  }
  ~PipedReaderTest() override { Close(); }

  void Put(const Bytes& bytes) const {
    ASSERT_EQ(write(End, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  void Close() {
    if (End >= 0) close(End);
    End = -1;
  }

  test::TemporaryDirectory Directory;
  int End = -1;
};

Bytes Capture() {
  PcapngFile file;
  file.Section().Interface(1).Packet(0, 1, test::Counting(60));
  return file.All;
}

TEST_F(PipedReaderTest, OpeningWaitsForNothing) {
  const auto reader = OpenInput("pipe");
  EXPECT_EQ(reader->Records(), 0u);
  EXPECT_TRUE(reader->Describe().Complete);
  EXPECT_TRUE(reader->Found().Empty());
}

TEST_F(PipedReaderTest, FormatIsKnownByTheFirstBytes) {
  const auto reader = OpenInput("pipe");
  Put(Capture());
  Close();
  const ReadOut out = ReadToEnd(*reader);
  ASSERT_EQ(out.Records.size(), 1u);
  EXPECT_EQ(out.At(0).Bus(), BusType_Ethernet);
  EXPECT_EQ(reader->Records(), 1u);
}

TEST_F(PipedReaderTest, RawRecordsAreReadAsWell) {
  const auto reader = OpenInput("pipe");
  Put(RecordOf(test::CanItem().Data({1})));
  Close();
  EXPECT_EQ(ReadToEnd(*reader).Records.size(), 1u);
}

TEST_F(PipedReaderTest, EndsWhenAskedToBeforeAnythingCame) {
  const auto reader = OpenInput("pipe");
  bool waited = false;
  reader->Attend({[&] { return !waited; }, [&] { waited = true; }});
  EXPECT_EQ(reader->Next(), nullptr);
  EXPECT_TRUE(reader->Stopped());
}

TEST_F(PipedReaderTest, EmptyPipeHasNoRecords) {
  const auto reader = OpenInput("pipe");
  Close();
  EXPECT_EQ(reader->Next(), nullptr);
  EXPECT_FALSE(reader->Stopped());
}

TEST_F(PipedReaderTest, FewBytesAreRefusedByTheReaderOfRawRecords) {
  const auto reader = OpenInput("pipe");
  Put({1, 2});
  Close();
  EXPECT_THROW((void)reader->Next(), Failure);
}

}  // namespace
}  // namespace client
