#include "inputs/MdfData.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <unordered_set>

namespace client {

namespace {

constexpr unsigned long kWindow = 256ul << 10;  // bytes of a plain block that are read at once
constexpr size_t kBlockHead = 24;
constexpr size_t kPackedHead = 24;  // bytes of a packed block in front of the packed ones
// No stream of zlib's unpacks to more than this.
constexpr unsigned long kMostRatio = 1032;
constexpr unsigned char kEqualLengths = 1;  // flag of a list

/// What zlib made of a stream: as many bytes as could be unpacked.
class Inflater {
 public:
  explicit Inflater(std::vector<unsigned char>& target) : Target(target) {
    Good = inflateInit(&Stream) == Z_OK;
    Stream.next_out = Target.data();
    Stream.avail_out = static_cast<unsigned int>(Target.size());
  }
  ~Inflater() { inflateEnd(&Stream); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  /// False once no more bytes are of use.
  [[nodiscard]] bool Take(std::span<unsigned char> bytes) {
    if (!Good) return false;
    Stream.next_in = bytes.data();
    Stream.avail_in = static_cast<unsigned int>(bytes.size());
    return inflate(&Stream, Z_NO_FLUSH) == Z_OK && Stream.avail_out > 0;
  }
  [[nodiscard]] size_t Done() const { return Target.size() - Stream.avail_out; }

 private:
  std::vector<unsigned char>& Target;
  z_stream Stream{};
  bool Good = false;
};

/// Turns columns, one after the other, into rows again. Bytes that fill no row stay at the end.
std::vector<unsigned char> RowsOf(const std::vector<unsigned char>& columns, size_t width) {
  std::vector<unsigned char> rows = columns;
  const size_t count = columns.size() / width;
  for (size_t column = 0; column < width; ++column)
    for (size_t row = 0; row < count; ++row) rows[row * width + column] = columns[column * count + row];
  return rows;
}

}  // namespace

// --- the index of the blocks ---

MdfData::MdfData(MdfBlocks& file, unsigned long link, Findings& found) : File(file), Found(found) {
  if (link == 0) return;
  AddAny(link);
  if (!File.IsFinalized() && (File.UnfinalizedFlags() & MdfBlocks::kLastLengthOpen) != 0) ExtendLast();
  std::erase_if(Pieces, [](const Piece& piece) { return piece.Size == 0; });
}

void MdfData::AddAny(unsigned long link) {
  const auto block = File.Find(link);
  if (!block) return Missing(link);
  if (block->Kind == "HL") return AddList(block->Link(0));
  if (block->Kind == "DL") return AddList(link);
  if (block->Kind == "LD") {
    Refusal = "its values lie in columns, which this program doesn't read";
    return;
  }
  if (!AddBlock(link)) Next = 0;
}

void MdfData::AddList(unsigned long link) {
  while (link != 0 && Refusal.empty()) {
    const auto list = File.Follow(link);
    if (!list || list->Kind != "DL") return Missing(link);
    AddBlocksOf(*list);
    link = list->Link(0);
  }
}

void MdfData::AddBlocksOf(const MdfBlock& list) {
  const MdfFields fields = File.Fields(list, 16 + list.Links.size() * 8);
  const unsigned long count = fields.At<unsigned int>(4), links = list.Links.empty() ? 0 : list.Links.size() - 1;
  // What comes after the links moves when one is added, in the same write; a power cut may have let only half of it through.
  const bool torn = count != links && !File.IsFinalized();
  const bool equal = !torn && (fields.At<unsigned char>(0) & kEqualLengths) != 0;
  const unsigned long listed = torn ? links : std::min(count, links);
  for (size_t index = 0; index < listed && Refusal.empty(); ++index) {
    const unsigned long position = list.Link(1 + index);
    if (position == 0) continue;
    const unsigned long stated = equal ? 0 : fields.At<unsigned long>(8 + index * 8);
    if (GapBefore && stated > Next && !torn) Next = stated;
    if (torn && !File.Find(position)) {
      Found.AtByte(FindingKind::CutOff, "a list of data blocks that was being written", list.Position);
      return;
    }
    if (AddBlock(position)) continue;
    if (equal) Next += fields.At<unsigned long>(8);
    GapBefore = true;
  }
}

/// False for one that is missing, or was there before.
bool MdfData::AddBlock(unsigned long position) {
  const auto block = File.Follow(position);
  if (!block) {
    Missing(position);
    return false;
  }
  return Add(*block);
}

bool MdfData::Add(const MdfBlock& block) {
  if (block.Kind == "DZ") return AddPacked(block);
  if (block.Kind == "DV" || block.Kind == "DI") {
    Refusal = "its values lie in columns, which this program doesn't read";
    return true;
  }
  if (block.Kind != "DT" && block.Kind != "SD") {
    Missing(block.Position);
    return false;
  }
  Append({.Offset = Next, .Size = block.DataSize, .Position = block.DataBegin, .Stored = block.DataSize});
  if (block.IsCut) {
    Found.AtByte(FindingKind::CutOff, "a data block that the file ends in", block.Position);
    GapBefore = true;
  }
  return true;
}

bool MdfData::AddPacked(const MdfBlock& block) {
  const MdfFields fields = File.Fields(block, kPackedHead);
  Piece piece{.Offset = Next,
              .Size = fields.At<unsigned long>(8),
              .Position = block.DataBegin + kPackedHead,
              .Columns = fields.At<unsigned int>(4)};
  const auto zip = fields.At<unsigned char>(2);
  const auto packed = fields.At<unsigned long>(16);
  if (zip > 1) {
    Refusal = fmt::format("its data are packed in a way (number {}) that this program can't unpack", zip);
    return true;
  }
  const bool plain = packed == 0;  // bytes that don't get smaller are stored as they are
  piece.Packed = plain ? Packing::None : zip == 0 ? Packing::Deflate : Packing::TransposedDeflate;
  const unsigned long present = block.DataSize < kPackedHead ? 0 : block.DataSize - kPackedHead;
  piece.Stored = std::min(plain ? piece.Size : packed, present);
  if (plain) piece.Size = piece.Stored;
  const bool believable = block.DataSize >= kPackedHead &&
                          (plain || (piece.Size <= kMostUnpacked && piece.Size / kMostRatio <= piece.Stored));
  if (!believable && !block.IsCut) {
    Found.AtByte(FindingKind::Unread, "a packed block whose lengths can't be true", block.Position);
    return false;
  }
  if (block.IsCut) Found.AtByte(FindingKind::CutOff, "a data block that the file ends in", block.Position);
  if (!believable) return false;
  Append(piece);
  return true;
}

void MdfData::Append(Piece piece) {
  GapBefore = false;
  const bool fits = piece.Size <= ~0ul - piece.Offset;  // else the stated offset was absurd
  if (!fits) return;
  Next = piece.Offset + piece.Size;
  Pieces.push_back(piece);
}

/// Of a file whose last block was still growing, with a length of what had been there before.
void MdfData::ExtendLast() {
  if (Pieces.empty() || Pieces.back().Packed != Packing::None) return;
  Piece& last = Pieces.back();
  std::array<unsigned char, 2> next{};
  const unsigned long end = last.Position + last.Size;
  const bool isBlock = File.ReadAt((end + 7) / 8 * 8, next) == 2 && next[0] == '#' && next[1] == '#';
  if (isBlock) return;
  last.Stored = last.Size = File.Size() - last.Position;
}

void MdfData::Missing(unsigned long position) {
  if (position >= File.Size())
    Found.AtByte(FindingKind::CutOff, "a data block past the end of the file", position);
  else if (WasBeingWritten(position))
    Found.AtByte(FindingKind::CutOff, "a data block that was being written", position);
  else
    Found.AtByte(FindingKind::Unread, "a link to a data block that isn't there", position);
}

/// A power cut may leave a list that is newer than the end of its file: in the place of a block there are zeros, or the file
/// ends in its head.
bool MdfData::WasBeingWritten(unsigned long position) {
  std::array<unsigned char, kBlockHead> head;
  const auto there = std::span(head).first(File.ReadAt(position, head));
  if (File.IsFinalized()) return false;
  return there.size() < head.size() || std::all_of(there.begin(), there.end(), [](auto byte) { return byte == 0; });
}

// --- the bytes ---

const MdfData::Piece* MdfData::PieceAt(unsigned long offset) const {
  auto after = std::upper_bound(Pieces.begin(), Pieces.end(), offset,
                                [](unsigned long value, const Piece& piece) { return value < piece.Offset; });
  if (after == Pieces.begin()) return nullptr;
  const Piece& piece = *--after;
  return offset - piece.Offset < piece.Size ? &piece : nullptr;
}

size_t MdfData::Get(unsigned long offset, std::span<unsigned char> target) {
  size_t done = 0;
  while (done < target.size()) {
    const unsigned long place = offset + done;
    if (Loaded == nullptr || place < WindowBegin || place - WindowBegin >= Window.size()) {
      const Piece* piece = PieceAt(place);
      if (piece == nullptr) break;
      Load(*piece, place);
      if (place < WindowBegin || place - WindowBegin >= Window.size()) break;  // fewer bytes than it has stated
    }
    const unsigned long from = place - WindowBegin;
    const size_t some = std::min<unsigned long>(Window.size() - from, target.size() - done);
    std::memcpy(target.data() + done, Window.data() + from, some);
    done += some;
  }
  return done;
}

void MdfData::Load(const Piece& piece, unsigned long offset) {
  if (piece.Packed == Packing::None) {
    WindowBegin = offset;
    const unsigned long inside = offset - piece.Offset;
    Window.resize(std::min(kWindow, piece.Size - inside));
    Window.resize(File.ReadAt(piece.Position + inside, Window));
    Loaded = &piece;
    return;
  }
  if (Loaded == &piece) return;  // it is as long as it gets
  // Values of variable length may be used again, but nobody jumps to and fro between packed blocks all the time.
  if (Loaded != nullptr && piece.Offset < Loaded->Offset && ++Backwards > 16 + 4 * Pieces.size()) {
    Found.AtByte(FindingKind::Unread, "values in packed blocks that are referred to without any order", piece.Position);
    Window.clear();
    return;
  }
  WindowBegin = piece.Offset;
  Window.clear();
  Window = Unpacked(piece);
  Loaded = &piece;
}

std::vector<unsigned char> MdfData::Unpacked(const Piece& piece) {
  std::vector<unsigned char> bytes(piece.Size);
  std::array<unsigned char, size_t{64} << 10> input;
  Inflater inflater(bytes);
  for (unsigned long done = 0; done < piece.Stored;) {
    const auto part = std::span(input).first(std::min<unsigned long>(input.size(), piece.Stored - done));
    const size_t got = File.ReadAt(piece.Position + done, part);
    done += got;
    if (got == 0 || !inflater.Take(part.first(got))) break;
  }
  const bool whole = inflater.Done() == bytes.size();
  const bool cut = piece.Position + piece.Stored >= File.Size();
  if (!whole && !cut)
    Found.AtByte(FindingKind::Unread, "a packed block that can't be unpacked to its end", piece.Position);
  bytes.resize(inflater.Done());
  if (piece.Packed == Packing::Deflate || piece.Columns == 0) return bytes;
  if (!whole) bytes.clear();  // of every row something is missing
  return RowsOf(bytes, piece.Columns);
}

std::optional<unsigned long> MdfData::AfterGap(unsigned long offset) const {
  const auto after = std::upper_bound(Pieces.begin(), Pieces.end(), offset,
                                      [](unsigned long value, const Piece& piece) { return value < piece.Offset; });
  return after == Pieces.end() ? std::nullopt : std::optional(after->Offset);
}

unsigned long MdfData::PlaceOf(unsigned long offset) const {
  const Piece* piece = PieceAt(offset);
  if (piece == nullptr) return Pieces.empty() ? 0 : Pieces.back().Position + Pieces.back().Stored;
  return piece->Position + (piece->Packed == Packing::None ? offset - piece->Offset : 0);
}

}  // namespace client
