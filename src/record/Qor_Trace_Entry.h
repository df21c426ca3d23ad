// One acquired bus event as one packed record, whatever the bus.
#pragma once

#include <cstddef>
#include <memory>

#include "internal/Visibility.h"
#include "qor_api_trace.h"  // the record's layout is part of the C interface

struct Can_Param_Monitor_Buffer64_LargeItem_t;
struct Ethernet_Param_Monitor_Item_t;
struct FlexRay_Param_Monitor_Entry_t;
struct Lin_Param_Monitor_Buffer64_ItemHeader_t;
struct Lin_Param_Monitor_Buffer64_Item_Small_t;

/// Offsets in a record, for those who write records; RecordView.h is for those who read them.
enum Qor_Trace_EntryOffset : unsigned int {
  kEntryRelativeTimestamp = 16,
  kEntryPayload = 28,    // end of the common header
  kEntryCanData = 44,    // data bytes of a CAN entry
  kEntryLinLength = 48,  // length of every LIN entry
};

/// Owns one record, allocated with exactly Length bytes, for those who hold entries one by one: the library's own way from a poll
/// to the trace copies the bytes of records and makes none of these. Always held through a shared pointer.
///
/// Threads: a record doesn't change once it is built, with one exception: the relative timestamp, which is read and
/// written atomically. Copy records with CopyTo where another thread may still change that.
class QOR_EXPORT Qor_Trace_Entry {
 public:
  /// Each constructor copies an item of a poll response; all numbers in it are trusted (ItemRecord.h).
  /// @throws std::bad_alloc
  Qor_Trace_Entry(unsigned int channelId, const Can_Param_Monitor_Buffer64_LargeItem_t* item);
  Qor_Trace_Entry(unsigned int channelId, const Ethernet_Param_Monitor_Item_t* item);
  Qor_Trace_Entry(unsigned int channelId, const FlexRay_Param_Monitor_Entry_t* item);
  Qor_Trace_Entry(unsigned int channelId, const Lin_Param_Monitor_Buffer64_ItemHeader_t* header,
                  const Lin_Param_Monitor_Buffer64_Item_Small_t* item);
  ~Qor_Trace_Entry() = default;
  Qor_Trace_Entry(const Qor_Trace_Entry&) = delete;
  Qor_Trace_Entry& operator=(const Qor_Trace_Entry&) = delete;

  /// The record: GetLength() readable bytes, aligned to 16.
  [[nodiscard]] const Qor_Trace_Entry_t* GetEntry() const;
  /// ns, interface clock.
  [[nodiscard]] unsigned long GetTimestamp() const { return GetEntry()->Timestamp; }
  /// Bytes, header included.
  [[nodiscard]] unsigned int GetLength() const { return GetEntry()->Length; }
  /// ns since the previous entry with the same list key; negative when that one was later.
  [[nodiscard]] long GetRelativeTimestamp() const;
  /// Makes current.Timestamp - previous.Timestamp this entry's relative timestamp.
  void SetRelativeTimestamp(const std::shared_ptr<Qor_Trace_Entry>& current,
                            const std::shared_ptr<Qor_Trace_Entry>& previous);
  /// Marks the entry as the last one before data were lost: CAN and LIN get a flag; FlexRay and Ethernet lose their
  /// ItemType, so that they no longer read as frames.
  void SetBufferOverrunFlag();

  /// Copies the record to `out` (GetLength() bytes) with the given relative timestamp, reading none that may be changing.
  void CopyTo(unsigned char* out, unsigned long relativeTimestamp) const;

 private:
  std::unique_ptr<unsigned char[]> Record;
};
