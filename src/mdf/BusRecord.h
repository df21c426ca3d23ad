// One record while it is put together.
#pragma once

#include <cstddef>
#include <cstring>

#include "mdf/DataList.h"

namespace MDF {

/// What became of an insert that a list may refuse in the middle.
enum class Inserted { kAll, kPart, kNothing };

/// Fields back to back, as they lie in a record. Room for `kRoom` bytes in at most 16 fields.
template <size_t kRoom>
class FieldBuffer {
 public:
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

  /// Appends to a list: in one piece if that fits, else field by field, so that blocks end where they would if each field
  /// were inserted alone, even in the middle of a record. After a refusal, the fields appended before it are taken back
  /// if they are still cached.
  [[nodiscard]] Inserted Insert(DLBLOCK& list) {
    if (list.Data_Fits(Size)) return list.Insert(Bytes, Size) ? Inserted::kAll : Inserted::kNothing;
    unsigned int done = 0;
    for (unsigned int field = 0; field < Count; done += Sizes[field++]) {
      if (list.Insert(Bytes + done, Sizes[field])) continue;
      return list.Data_TakeBack(done) ? Inserted::kNothing : Inserted::kPart;
    }
    return Inserted::kAll;
  }
  [[nodiscard]] unsigned int Length() const { return Size; }

 private:
  unsigned char Bytes[kRoom];
  unsigned int Size = 0;
  unsigned int Count = 0;
  unsigned short Sizes[16];
};

/// Holds the longest record, a FlexRay state.
using Record = FieldBuffer<64>;

}  // namespace MDF
