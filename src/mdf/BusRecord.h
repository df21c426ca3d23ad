// One record while it is put together.
#pragma once

#include <cstddef>
#include <cstring>

#include "mdf/DataList.h"

namespace MDF {

/// What became of an insert that a list may refuse in the middle.
enum class Inserted { kAll, kPart, kNothing };

/// Fields back to back, as they lie in a record: at most `kRoom` bytes in at most 16 fields.
///
/// They are put where they will stay, at the end of what the list has collected. Where the block could end before `kRoom`
/// bytes, they have a room of their own instead, and are inserted one by one.
template <size_t kRoom>
class FieldBuffer {
 public:
  explicit FieldBuffer(DLBLOCK& list) : List(list), Bytes(list.Data_Room(kRoom)) {
    if (Bytes == nullptr) Bytes = Own;
  }
  FieldBuffer(const FieldBuffer&) = delete;
  FieldBuffer& operator=(const FieldBuffer&) = delete;

  template <class T>
  void Put(const T& value) {
    std::memcpy(Next(sizeof value), &value, sizeof value);
  }
  /// The room of a field, to be filled by the caller.
  unsigned char* Next(size_t size) {
    unsigned char* field = Bytes + Size;
    Size += static_cast<unsigned int>(size);
    Sizes[Count++] = static_cast<unsigned short>(size);
    return field;
  }

  /// Appends to the list. Field by field where that refuses, so that blocks end where they would if each field were
  /// inserted alone, even in the middle of a record. After a refusal, the fields appended before it are taken back if they
  /// are still cached.
  ///
  /// @param putOut  called when a block is full, to make room for the next one; false is a refusal
  template <class PutOut>
  [[nodiscard]] Inserted Insert(const PutOut& putOut) {
    if (!IsInPlace()) return InsertFields(putOut);
    List.Data_Filled(Size);
    return Inserted::kAll;
  }
  /// False when the insert may end a block.
  [[nodiscard]] bool IsInPlace() const { return Bytes != Own; }
  [[nodiscard]] unsigned int Length() const { return Size; }

 private:
  template <class PutOut>
  [[nodiscard]] Inserted InsertFields(const PutOut& putOut) {
    unsigned int done = 0;
    for (unsigned int field = 0; field < Count; done += Sizes[field++]) {
      const bool fits = List.Data_Fits(Sizes[field]) || putOut();
      if (fits && List.Insert(Bytes + done, Sizes[field])) continue;
      return List.Data_TakeBack(done) ? Inserted::kNothing : Inserted::kPart;
    }
    return Inserted::kAll;
  }

  DLBLOCK& List;
  unsigned char* Bytes;
  unsigned int Size = 0;
  unsigned int Count = 0;
  unsigned short Sizes[16];
  unsigned char Own[kRoom];
};

/// Holds the longest record, a FlexRay state.
using Record = FieldBuffer<64>;

}  // namespace MDF
