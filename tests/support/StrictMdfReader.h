// A reader that walks an MDF file and says everything that is wrong with it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "support/MdfFormat.h"

/// Reads a whole file, or a piece of one from given blocks on, and checks: the identification; each block's id, reserved
/// fields, length, link count and data section; links (inside the file, on a block, on the right kind of block, each
/// block owned in one place, no circles); alignment and overlaps; zeros wherever no block is; counts against what they
/// count; packed data against the lengths stored; lists against the blocks that they list; record counts.
///
/// It believes nothing that the file says, so that broken files may be read. Findings are texts for people.
class StrictMdfReader {
 public:
  struct Options {
    /// Records of sorted data groups must be as many and as long as their channel group says.
    bool Records = false;
    /// The same for a file whose recording was cut off: what its channel groups announce must be there, more may be.
    bool Unfinalized = false;
    /// Bytes that no block covers may be something else than zero: blocks that are not linked any more.
    bool OldBlocks = false;
  };

  struct BlockView {
    std::string Id;  // "##DG"
    uint64_t Length = 0;
    std::vector<uint64_t> Links;
    std::string_view Data;  // of the file's bytes
  };

  explicit StrictMdfReader(std::string bytes) : StrictMdfReader(std::move(bytes), Options()) {}
  StrictMdfReader(std::string bytes, Options options);
  StrictMdfReader(const StrictMdfReader&) = delete;
  StrictMdfReader& operator=(const StrictMdfReader&) = delete;

  /// The contents of a file; empty when it can't be read.
  static std::string Load(const std::string& path);

  /// Checks the whole file: identification at 0, header block at 64.
  void ReadFile();
  /// Checks a piece without identification: the trees of the blocks at these positions. What lies before `begin` is
  /// not looked at.
  void ReadBlocks(const std::vector<uint64_t>& roots, uint64_t begin = 0);

  [[nodiscard]] const std::vector<std::string>& Findings() const { return Problems; }
  /// All findings, one per line; empty when there are none.
  [[nodiscard]] std::string Report() const;

  [[nodiscard]] bool Finalized() const { return Marked; }
  /// All blocks that were reached, by position.
  [[nodiscard]] const std::map<uint64_t, BlockView>& Blocks() const { return Found; }
  /// The block at a position; an empty one when none was reached there.
  [[nodiscard]] const BlockView& At(uint64_t position) const;
  /// The positions of the blocks of a kind ("DT"), ascending.
  [[nodiscard]] std::vector<uint64_t> Of(std::string_view kind) const;
  /// The data that a data link leads to (DT, SD, DZ, DL or HL), put together and unpacked.
  [[nodiscard]] std::string DataBehind(uint64_t position) const;
  /// The text of a TX or MD.
  [[nodiscard]] std::string Text(uint64_t position) const;
  /// DZ blocks that hold their bytes unpacked (packed length 0).
  [[nodiscard]] unsigned RawPackedBlocks() const { return RawPacked; }

  /// A link of a block; 0 when it has none there.
  static uint64_t LinkOf(const BlockView& block, size_t index);
  /// A number in a data section; 0 beyond its end.
  static uint64_t Number(std::string_view data, size_t offset, size_t size);

 private:
  struct Visit {
    uint64_t Position;
    size_t NextLink;
  };

  void Problem(uint64_t position, const std::string& text);
  void CheckIdentification();
  void Walk(uint64_t root);
  bool Enter(uint64_t position);
  bool Follow(uint64_t from, size_t link);
  bool TargetInFile(uint64_t from, size_t link, uint64_t target);
  void CheckUse(uint64_t from, const mdf_format::LinkShape& shape, uint64_t target);
  void CheckData(uint64_t position, const BlockView& block, const mdf_format::BlockShape& shape);
  void CheckText(uint64_t position, const BlockView& block);
  void CheckCounts(uint64_t position, const BlockView& block);
  void CheckAttachment(uint64_t position, const BlockView& block);
  void CheckPacked(uint64_t position, const BlockView& block);
  void CheckList(uint64_t first, std::string_view plain, bool packed);
  void CheckDataLink(uint64_t position, const BlockView& block);
  void CheckRecords(uint64_t position, const BlockView& group);
  void CheckLayout(uint64_t begin);
  void CheckGap(uint64_t begin, uint64_t end);
  void Finish(uint64_t begin);
  [[nodiscard]] std::optional<std::string> Unpacked(const BlockView& block) const;

  std::string Bytes;
  Options Wanted;
  std::map<uint64_t, BlockView> Found;
  std::set<uint64_t> Refused;          // positions that hold no block
  std::map<uint64_t, uint64_t> Owner;  // who owns a block
  std::set<uint64_t> OnPath;           // the blocks that the walk is in
  std::vector<std::string> Problems;
  bool Marked = false;
  unsigned RawPacked = 0;
};
