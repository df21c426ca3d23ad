// A small MDF file that data lists write.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "mdf/Block.h"
#include "mdf/BlockTree.h"
#include "support/StrictMdfReader.h"

namespace test {

/// One data group, whose records of one byte and whose signal data are written by a data list each. Nothing is
/// written yet.
struct MdfTwoLists {
  MdfTwoLists(const std::string& name, bool packed, unsigned short blocksPerList) : Stream(name) {
    Group->Link_CGBLOCK(Channels);
    Channels->Link_CNBLOCK(Signal);
    Header->Link_DGBLOCK(Group);
    Lists[0] = std::make_unique<MDF::DLBLOCK>(Group, blocksPerList, packed, Stream);
    Lists[1] = std::make_unique<MDF::DLBLOCK>(Signal, blocksPerList, packed, Stream);
  }
  ~MdfTwoLists() {
    Stream.close();
    MDF::DestroyTree(Header, MDF::DataLists::kLeave);
  }
  MdfTwoLists(const MdfTwoLists&) = delete;
  MdfTwoLists& operator=(const MdfTwoLists&) = delete;

  /// The most bytes of a list's data blocks.
  void MaxLength(size_t list, unsigned int bytes) const {
    dynamic_cast<MDF::DataBlockDynamic&>(*Lists[list]->Links_Get(MDF::kDlData)).MaxLength(bytes);
  }
  /// What a reader finds that has read the file: the records (list 0) or the signal data (list 1).
  [[nodiscard]] std::string DataRead(const StrictMdfReader& reader, size_t list) const {
    return list == 0 ? DataBehind(reader, *Group, MDF::kDgData) : DataBehind(reader, *Signal, MDF::kCnData);
  }

  FileStream Stream;
  MDF::IDBLOCK Id{"TwoLists"};
  MDF::HDBLOCK* Header = new MDF::HDBLOCK(1);
  MDF::DGBLOCK* Group = new MDF::DGBLOCK(false);
  MDF::CGBLOCK* Channels = new MDF::CGBLOCK("bus", 1, 6, 1);
  MDF::CNBLOCK* Signal = new MDF::CNBLOCK("signal", 1, 0, 10, 0, 0);
  std::array<std::unique_ptr<MDF::DLBLOCK>, 2> Lists;

 private:
  static std::string DataBehind(const StrictMdfReader& reader, const MDF::Block& block, unsigned int link) {
    return reader.DataBehind(StrictMdfReader::LinkOf(reader.At(static_cast<uint64_t>(block.Block_FilePos())), link));
  }
};

}  // namespace test
