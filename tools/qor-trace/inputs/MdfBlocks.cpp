#include "inputs/MdfBlocks.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "system/Failure.h"

namespace client {

namespace {

constexpr size_t kIdentification = 64;  // bytes
constexpr size_t kHead = 24;            // of a block
constexpr std::string_view kFinalized = "MDF     ";
constexpr std::string_view kUnfinalized = "UnFinMF ";

std::string_view TextAt(std::span<const unsigned char> bytes, size_t offset, size_t size) {
  return {reinterpret_cast<const char*>(bytes.data()) + offset, size};
}

}  // namespace

bool MdfBlocks::BeginsLikeOne(std::span<const unsigned char> front) {
  if (front.size() < kFinalized.size()) return false;
  const auto text = TextAt(front, 0, kFinalized.size());
  return text == kFinalized || text == kUnfinalized;
}

MdfBlocks::MdfBlocks(const std::string& path) : Name(path) {
  if (path == "-")
    throw Failure("An MDF file is read by positions, so it can't come from standard input: name the file");
  Opened = Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!Opened.IsOpen()) throw Failure(fmt::format("Cannot open \"{}\": {}", path, ErrnoText(errno)));
  struct stat status {};
  if (fstat(Opened.Get(), &status) != 0 || !S_ISREG(status.st_mode))
    throw Failure(fmt::format("\"{}\" is a pipe, but an MDF file is read by positions: copy it to a file first", path));
  FileSize = static_cast<unsigned long>(status.st_size);
  CheckIdentification();
}

void MdfBlocks::CheckIdentification() {
  std::vector<unsigned char> id(kIdentification);
  id.resize(ReadAt(0, id));
  if (!BeginsLikeOne(id)) throw Failure(fmt::format("\"{}\" is no MDF file", Name));
  const bool whole = id.size() == kIdentification;
  const MdfFields fields(std::move(id));
  Finalized = fields.At<char>(0) == kFinalized.front();
  if (!whole) throw Failure(fmt::format("\"{}\" ends in the first {} bytes of an MDF file", Name, kIdentification));
  const unsigned int version = fields.At<unsigned short>(28);
  if (version < 400 || version >= 500)
    throw Failure(fmt::format("\"{}\" is an MDF file of version {}.{:02}; versions 4.00 to 4.20 can be read", Name,
                              version / 100, version % 100));
  if (!Finalized) Unfinalized = fields.At<unsigned short>(60);
}

size_t MdfBlocks::ReadAt(unsigned long position, std::span<unsigned char> target) {
  size_t done = 0;
  if (position >= FileSize) return done;
  const size_t wanted = std::min<unsigned long>(target.size(), FileSize - position);
  while (done < wanted) {
    const ssize_t got = pread(Opened.Get(), target.data() + done, wanted - done, static_cast<off_t>(position + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw Failure(fmt::format("Cannot read \"{}\": {}", Name, ErrnoText(errno)));
    if (got == 0) break;  // the file has become shorter
    done += static_cast<size_t>(got);
  }
  Read += done;
  return done;
}

std::optional<MdfBlock> MdfBlocks::Find(unsigned long position) {
  std::vector<unsigned char> head(kHead);
  if (position < kIdentification || ReadAt(position, head) < kHead) return std::nullopt;
  if (head[0] != '#' || head[1] != '#') return std::nullopt;
  MdfBlock block{.Kind = std::string(TextAt(head, 2, 2)), .Position = position};
  const MdfFields fields(std::move(head));
  const auto length = fields.At<unsigned long>(8);
  const auto links = fields.At<unsigned long>(16);
  if (length < kHead || links > kMostLinks || links * 8 > length - kHead) return std::nullopt;
  const unsigned long present = std::min(length, FileSize - position);
  if (kHead + links * 8 > present) return std::nullopt;
  std::vector<unsigned char> bytes(links * 8);
  if (ReadAt(position + kHead, bytes) < bytes.size()) return std::nullopt;
  block.Links.resize(links);
  if (links > 0) std::memcpy(block.Links.data(), bytes.data(), bytes.size());
  block.DataBegin = position + kHead + links * 8;
  block.DataSize = present - kHead - links * 8;
  block.IsCut = present < length;
  return block;
}

std::optional<MdfBlock> MdfBlocks::Follow(unsigned long position) {
  if (Followed.size() >= kMostBlocks || !Followed.insert(position).second) return std::nullopt;
  return Find(position);
}

MdfFields MdfBlocks::Fields(const MdfBlock& block, size_t most) {
  std::vector<unsigned char> bytes(std::min<unsigned long>(block.DataSize, most));
  bytes.resize(ReadAt(block.DataBegin, bytes));
  return MdfFields(std::move(bytes));
}

std::string MdfBlocks::Text(unsigned long position) {
  const auto block = position == 0 ? std::nullopt : Find(position);
  if (!block || (block->Kind != "TX" && block->Kind != "MD")) return "";
  std::vector<unsigned char> bytes(std::min<unsigned long>(block->DataSize, kLongestText));
  bytes.resize(ReadAt(block->DataBegin, bytes));
  return {bytes.begin(), std::find(bytes.begin(), bytes.end(), static_cast<unsigned char>(0))};
}

}  // namespace client
