// Appending whole records to a group, and keeping its counts true (not exported).
#pragma once

#include <algorithm>
#include <cstddef>

#include "mdf/Bus.h"
#include "mdf/BusRecord.h"
#include "record/RecordView.h"

namespace MDF {

/// Stores `size` bytes: as many as are held, then zeros.
inline void StoreHeld(RecordPayload held, unsigned char* out, size_t size) {
  const RecordPayload kept = held.first(std::min(size, held.size()));
  std::fill(std::copy(kept.begin(), kept.end(), out), out + size, static_cast<unsigned char>(0));
}

/// Appends a whole record to its group.
inline bool AppendRecord(Bus::ChannelGroup& group, Record& record) {
  if (group.Torn) return false;
  const Inserted inserted = record.Insert([&] { return group.PutOut(*group.Records, group.CycleCount); });
  group.Torn = inserted == Inserted::kPart;
  if (inserted != Inserted::kAll) return false;
  ++group.CycleCount;
  return true;
}

/// Appends the data that the group's last record points to. Takes the record back if that fails.
template <size_t kRoom>
bool AppendData(Bus::ChannelGroup& group, const Record& record, FieldBuffer<kRoom>& data) {
  const Inserted inserted = data.Insert([&] { return group.PutOut(*group.Vlsd, group.CycleCount - 1); });
  if (inserted == Inserted::kAll) {
    group.DataBytes += data.Length();
    return true;
  }
  --group.CycleCount;
  group.Torn = inserted == Inserted::kPart || !group.Records->Data_TakeBack(record.Length());
  return false;
}

/// After an insert: if it flushed a block, the count in the file follows.
inline void UpdateCount(Bus::ChannelGroup& group, FileStream& stream) {
  // The data of the latest record may have been cut by the end of the block.
  if (group.Flushed_Look(group.CycleCount - 1)) group.CycleCount_Write(stream);
}

inline bool InsertRecord(Bus::ChannelGroup& group, Record& record, FileStream& stream) {
  if (!AppendRecord(group, record)) return false;
  if (!record.IsInPlace()) UpdateCount(group, stream);
  return true;
}

/// A record and the data that it points to: `length` bytes, at most `kMost`, zeros where fewer are held.
template <size_t kMost>
bool InsertWithData(Bus::ChannelGroup& group, Record& record, RecordPayload held, unsigned int length,
                    FileStream& stream) {
  if (!AppendRecord(group, record)) return false;
  FieldBuffer<sizeof length + kMost> data(*group.Vlsd);
  data.Put(length);
  if (length != 0) StoreHeld(held, data.Next(length), length);
  if (!AppendData(group, record, data)) return false;
  if (!record.IsInPlace() || !data.IsInPlace()) UpdateCount(group, stream);
  return true;
}

}  // namespace MDF
