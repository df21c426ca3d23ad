// Trace entries for the client's tests, as the bytes that the C interface hands out.
#pragma once

#include <vector>

#include "stream/RecordSink.h"
#include "support/EntryBuilder.h"

namespace client {

using Bytes = std::vector<unsigned char>;

template <class Item>
Bytes RecordOf(const Item& item) {
  const auto entry = item.Entry();
  const auto* bytes = reinterpret_cast<const unsigned char*>(entry->GetEntry());
  return Bytes(bytes, bytes + entry->GetLength());
}

inline RecordView ViewOf(const Bytes& record) { return {record.data(), static_cast<unsigned int>(record.size())}; }

inline bool Put(RecordSink& sink, const Bytes& record) { return sink.Take(ViewOf(record)); }

/// 64 records with 0 to 63 data bytes.
inline std::vector<Bytes> OddRecords() {
  std::vector<Bytes> records;
  for (unsigned char size = 0; size < 64; ++size)
    records.push_back(RecordOf(test::CanItem().At(size * 1000).Fd().Data(Bytes(size, size))));
  return records;
}

/// Records back to back, as raw record files have them.
inline Bytes Joined(const std::vector<Bytes>& records) {
  Bytes all;
  for (const Bytes& record : records) all.insert(all.end(), record.begin(), record.end());
  return all;
}

/// Keeps what it takes.
class Collector : public RecordSink {
 public:
  bool Take(const RecordView& record) override {
    Records.emplace_back(record.Bytes().begin(), record.Bytes().end());
    return Records.size() < Limit;
  }
  std::vector<Bytes> Records;
  std::size_t Limit = ~std::size_t{0};
};

}  // namespace client
