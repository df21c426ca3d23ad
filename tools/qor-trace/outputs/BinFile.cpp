#include "outputs/BinFile.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <utility>

#include "stream/LossLedger.h"
#include "system/Compression.h"
#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr size_t kFlushSize = 1u << 20;

struct Whole {
  size_t Bytes = 0;
  unsigned int Records = 0;
  std::optional<unsigned long> Latest = std::nullopt;  // time of the last one, ns
};

/// Calls `use` with each record and the place of its end.
template <class Use>
void ForEachRecord(const std::vector<unsigned char>& buffer, Use use) {
  for (size_t place = 0; place < buffer.size();) {
    const RecordView record(buffer.data() + place, RecordView::LengthAt(buffer.data() + place));
    place += record.Length();
    use(record, place);
  }
}

/// The whole records among the first `limit` bytes.
Whole WholeRecords(const std::vector<unsigned char>& buffer, size_t limit) {
  Whole whole;
  ForEachRecord(buffer, [&](const RecordView& record, size_t end) {
    if (end <= limit) whole = {end, whole.Records + 1, record.Timestamp()};
  });
  return whole;
}

}  // namespace

BinWriter::BinWriter(const std::string& path) : File(path) { Buffer.reserve(kFlushSize + 4096); }

BinWriter::~BinWriter() {
  if (File.IsStandardOutput()) return;
  if (!Finished && File.Usable()) Flush();
  if (!Beside || Finished) return;
  if (Written == 0)
    Beside->Discard();
  else
    WriteDescription();
}

void BinWriter::Describe(const Description& description) {
  if (File.IsStandardOutput()) return;
  const bool isNews = !Beside || Described.Anchor != description.Anchor;
  Described = description;
  if (!Beside) Beside.emplace(File.Path());
  DescriptionWaits = true;
  if (isNews) WriteDescription();
}

/// With the records that are in the file by now.
void BinWriter::WriteDescription() {
  if (!Beside) return;
  Described.Records = RecordsDescription{Records - BufferedRecords, Written, Written > 0 ? FirstRecord : 0};
  Beside->Write(Described);
  DescriptionWaits = false;
}

/// Everything is missing from the last record in the file on. Which one that is of a compressed file shows only when it is
/// read.
void BinWriter::NoteCut(const Description& known, unsigned long latest) {
  if (ChannelsAtTheCut.empty() || Written == 0) return;
  const unsigned long since = CompressionOf(File.Path()) == Compression::None ? LatestWritten : FirstTime;
  std::set<unsigned int> channels = ChannelsAtTheCut;
  for (const ChannelDescription& channel : known.Channels) channels.insert(channel.Number);
  LossLedger losses(known.Losses);
  for (const unsigned int channel : channels)
    losses.Add({channel, LossCause::DiskFull, since, std::max(since, latest), std::nullopt});
  Described = known;
  Described.Complete = false;
  Described.Losses = losses.All();
  WriteDescription();
}

void BinWriter::KeepExisting() {
  ExistingIsKept = true;
  File.KeepExisting();
}

const std::string& BinWriter::Error() const {
  return File.Error().empty() && Finished && Beside ? Beside->Error() : File.Error();
}

bool BinWriter::Take(const RecordView& record) {
  if (!File.Usable()) return false;
  if (Records == 0) Begin(record);
  Buffer.insert(Buffer.end(), record.Bytes().begin(), record.Bytes().end());
  Latest = record.Timestamp();
  ++Records;
  ++BufferedRecords;
  return Buffer.size() < kFlushSize || Flush();
}

void BinWriter::Begin(const RecordView& record) {
  FirstRecord = DigestOf(record.Bytes().data(), record.Bytes().size());
  FirstTime = record.Timestamp();
}

void BinWriter::Pause() {
  // A loss is news on a silent bus too.
  if (!File.Usable() || (Buffer.empty() && !DescriptionWaits)) return;
  if (!File.IsStandardOutput() && !FlushPace.IsDue()) return;
  if (Flush()) WriteDescription();
}

void BinWriter::WriteOut(std::vector<WrittenFile>& files) {
  if (File.IsStandardOutput() || !File.Usable() || !Flush()) return;
  FlushPace.Restart();
  WriteDescription();
  File.AddTo(files);
  if (Beside) Beside->AddTo(files);
}

void BinWriter::FailToKeep(int error) {
  for (const ChannelDescription& channel : Described.Channels) ChannelsAtTheCut.insert(channel.Number);
  File.FailToKeep(error);
}

void BinWriter::Settle() {
  if (File.Usable() && Flush()) File.Settle();
}

std::vector<std::string> BinWriter::FilesBeside() const {
  if (!Finished || !Beside) return {};
  return {Beside->Name()};
}

bool BinWriter::Flush() {
  const size_t done = File.Write(Buffer.data(), Buffer.size());
  if (done < Buffer.size()) {
    Fail(errno, done);
    return false;
  }
  Written += Buffer.size();
  LatestWritten = Latest;
  Buffer.clear();
  BufferedRecords = 0;
  return true;
}

void BinWriter::Fail(int error, size_t writtenOfBuffer) {
  const Whole whole = WholeRecords(Buffer, writtenOfBuffer);
  Records = Records - BufferedRecords + whole.Records;
  Written += whole.Bytes;
  LatestWritten = whole.Latest.value_or(LatestWritten);
  ForEachRecord(Buffer, [&](const RecordView& record, size_t) { ChannelsAtTheCut.insert(record.ChannelId()); });
  Buffer.clear();
  BufferedRecords = 0;
  File.Fail(error, Written, Records, FormatCount(Records, "entry", "entries"));
}

bool BinWriter::Finish() {
  if (!File.Usable() || !Flush()) return false;
  if (!Beside) return File.Complete();
  WriteDescription();
  Beside->Synchronize();
  if (!File.Complete([this] { return RemovePreviousDescription(); })) return false;
  Finished = true;
  Beside->Complete();
  return true;
}

/// Of records that are about to be replaced.
std::string BinWriter::RemovePreviousDescription() const {
  std::error_code ignored;
  const bool stay = ExistingIsKept && std::filesystem::exists(File.Path(), ignored);
  return stay ? "" : Beside->RemovePrevious();
}

}  // namespace client
