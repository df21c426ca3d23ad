// Trace entries on their way into MDF files.
#pragma once

#include <string>

#include "mdf/File.h"
#include "support/EntryBuilder.h"

namespace test {

/// The record as the MDF classes take it; they don't change it.
inline Qor_Trace_Entry_t& Entry(const Record& record) { return const_cast<Qor_Trace_Entry_t&>(record.Get()); }

/// Inserts a copy of exactly the entry's length, so that AddressSanitizer sees a read past it.
inline bool Insert(MdfFile& file, const EntryPtr& entry) { return file.Data_Insert(Entry(Record(*entry))); }

template <class Item>
bool Insert(MdfFile& file, const Item& item) {
  return Insert(file, item.Entry());
}

}  // namespace test
