// The records of an MDF 4 data group, one after the other.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "inputs/MdfBlocks.h"
#include "inputs/MdfData.h"
#include "inputs/MdfLayout.h"
#include "stream/Findings.h"

namespace client {

/// A record where it lies.
struct MdfRecord {
  const MdfGroup* Group = nullptr;
  std::span<const unsigned char> Bytes = {};   // without its id; as many as its group says
  std::span<const unsigned char> Signal = {};  // its DataBytes, if they are of variable length
  unsigned long Index = 0;                     // in its group
  unsigned long Place = 0;                     // in the file, for findings
};

/// Hands out the records of one data group in the order of the file.
///
/// Threads: one.
class MdfRecords {
 public:
  virtual ~MdfRecords() = default;
  MdfRecords(const MdfRecords&) = delete;
  MdfRecords& operator=(const MdfRecords&) = delete;

  /// Valid until the next call. Null at the end.
  /// Failure: Failure when the file can't be read.
  [[nodiscard]] virtual const MdfRecord* Next() = 0;
  /// Its groups' records lie one among the other.
  [[nodiscard]] virtual bool IsMixed() const { return false; }

 protected:
  MdfRecords() = default;
};

/// @param file, group, found  outlive what is returned
/// @return                    null for a data group without records of bus events; why, if that isn't sound, is in `found`
[[nodiscard]] std::unique_ptr<MdfRecords> OpenMdfRecords(MdfBlocks& file, const MdfDataGroup& data, Findings& found);

}  // namespace client
