#include "inputs/BinReader.h"

#include <fmt/format.h>

#include <utility>

#include "inputs/DescriptionBeside.h"

namespace client {

namespace {

// No interface delivers longer ones: an item is at most 65535 bytes.
constexpr unsigned int kLongestRecord = RecordView::kHeader + 65535;

}  // namespace

BinReader::BinReader(InputBytes bytes, const std::string& path) : Bytes(std::move(bytes)) {
  Known.Complete = true;
  if (Bytes.IsPipe()) return;
  FoundDescription found = FindDescription(path, FirstDigest());
  Sentences = std::move(found.Remarks);
  if (found.Known) Known = *std::move(found.Known);
}

const RecordView* BinReader::Next() {
  Bytes.Skip(std::exchange(Length, 0));
  if (Bytes.Need(RecordView::kHeader)) {
    const unsigned int length = NextLength();
    if (Bytes.Need(length)) {
      Length = length;
      ++Count;
      return &Current.emplace(Bytes.Ready().data(), length);
    }
  }
  if (!Bytes.Stopped() && !Bytes.Ready().empty()) throw Damaged();
  return nullptr;
}

unsigned int BinReader::NextLength() const {
  const unsigned int length = RecordView::LengthAt(Bytes.Ready().data());
  if (length < RecordView::kHeader || length > kLongestRecord) throw Damaged();
  return length;
}

/// DigestOf the first record; 0 without one.
unsigned long BinReader::FirstDigest() {
  if (!Bytes.Need(RecordView::kHeader)) return 0;
  const unsigned int length = NextLength();
  return Bytes.Need(length) ? DigestOf(Bytes.Ready().data(), length) : 0;
}

Failure BinReader::Damaged() const {
  return Failure(fmt::format("There is no whole record at byte {} of {}: is it a .bin file of this program?",
                             Bytes.Position(), Bytes.Shown()));
}

}  // namespace client
