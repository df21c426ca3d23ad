#include "outputs/CaptureFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <thread>
#include <utility>

#include "system/Failure.h"
#include "system/Units.h"

namespace client {

CaptureWriter::CaptureWriter(const std::string& path, const PcapngOptions& options)
    : File(path), Sink(File), Writer(Sink, options) {}

CaptureWriter::~CaptureWriter() {
  if (!File.IsStandardOutput() && File.Usable() && Writer.Packets() > 0) Writer.Flush();
}

bool CaptureWriter::Take(const RecordView& record) {
  if (!File.Usable()) return false;
  return Checked(Writer.Take(record));
}

void CaptureWriter::Pause() {
  if (!File.Usable()) return;
  if (File.IsStandardOutput() || FlushPace.IsDue()) Checked(Writer.Flush());
}

void CaptureWriter::WriteOut(std::vector<WrittenFile>& files) {
  if (!File.Usable() || !Checked(Writer.Flush())) return;
  FlushPace.Restart();
  File.AddTo(files);
}

void CaptureWriter::Settle() {
  if (File.Usable() && Checked(Writer.Flush())) File.Settle();
}

bool CaptureWriter::Finish() { return File.Usable() && Checked(Writer.Finish()) && File.Complete(); }

bool CaptureWriter::Checked(bool written) {
  if (!written)
    File.Fail(Writer.Error(), Writer.Bytes(), Writer.Packets(), FormatCount(Writer.Packets(), "packet", "packets"));
  return written;
}

std::string CaptureWriter::ShortfallText() const { return Writer.Omitted().Text("no packet can hold them"); }

void CaptureWriter::AddJson(nlohmann::json& json) const { json["omitted"] = Writer.Omitted().ByName(); }

namespace {

constexpr unsigned int kInterfaceDescription = 1;
constexpr unsigned int kEnhancedPacket = 6;
constexpr unsigned int kCustom = 0x40000BAD;
constexpr unsigned int kInterfaceExcess = 4;  // bytes that an interface description block declares beyond those it has

/// Both ends of a pipe, open as long as this lives or until they are closed.
class Pipe {
 public:
  Pipe() {
    if (pipe2(Ends, O_CLOEXEC) != 0) throw Failure(fmt::format("Cannot make a pipe: {}", ErrnoText(errno)));
  }
  ~Pipe() {
    CloseWriting();
    close(Ends[0]);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int Reading() const { return Ends[0]; }
  /// A path by which the writing end is opened again.
  std::string WritingPath() const { return fmt::format("/dev/fd/{}", Ends[1]); }
  void CloseWriting() {
    if (Ends[1] >= 0) close(std::exchange(Ends[1], -1));
  }

 private:
  int Ends[2] = {-1, -1};
};

}  // namespace

void ExportedBlocks::Feed(const unsigned char* bytes, size_t size) {
  while (size > 0) {
    const bool inHead = HeadSize < Head.size();
    const size_t part = std::min<size_t>(size, inHead ? Head.size() - HeadSize : Left);
    if (inHead) {
      std::memcpy(Head.data() + HeadSize, bytes, part);
      HeadSize += part;
      if (HeadSize == Head.size()) BeginBlock();
    } else {
      Left -= part;
    }
    bytes += part;
    size -= part;
    if (HeadSize < Head.size() || Left > 0) continue;
    if (Type == kEnhancedPacket || Type == kCustom) ++PacketCount;
    Whole += Length;
    HeadSize = 0;
  }
}

void ExportedBlocks::BeginBlock() {
  unsigned int declared = 0;
  std::memcpy(&Type, Head.data(), sizeof Type);
  std::memcpy(&declared, Head.data() + sizeof Type, sizeof declared);
  Length = declared - (Type == kInterfaceDescription ? kInterfaceExcess : 0);
  Left = Length - std::min<unsigned long>(Length, Head.size());
}

bool ExportedCapture::Take(const RecordView& record) {
  if (record.Bus() != BusType_Ethernet || !record.IsWellFormed()) return true;
  const EthernetItemType type = record.Ethernet().Type;
  if (type == EthernetItemType::Frame || type == EthernetItemType::Custom) ++Exportable;
  return true;
}

/// The library doesn't report a failed write. So it writes to a pipe, and the file is written here.
void ExportedCapture::Export(const LibraryExport& capture) {
  Pipe pipe;
  std::thread copier([&] { Copy(pipe.Reading()); });
  try {
    capture(pipe.WritingPath());
  } catch (...) {
    pipe.CloseWriting();
    copier.join();
    throw;
  }
  pipe.CloseWriting();
  copier.join();
  Exported = true;
}

/// Reads to the end even after a failed write: otherwise the library would block on a full pipe.
void ExportedCapture::Copy(int pipe) {
  std::array<unsigned char, 65536> part;
  for (;;) {
    const ssize_t got = read(pipe, part.data(), part.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return;
    WritePart(part.data(), static_cast<size_t>(got));
  }
}

void ExportedCapture::WritePart(const unsigned char* bytes, size_t size) {
  if (!File.Usable()) return;
  if (File.Write(bytes, size) < size) {
    const unsigned long packets = Blocks.Packets();
    return File.Fail(errno, Blocks.WholeBytes(), packets, FormatCount(packets, "packet", "packets"));
  }
  Blocks.Feed(bytes, size);
}

std::string ExportedCapture::ShortfallText() const {
  if (Missing() == 0) return "";
  return fmt::format(": {} of {}, which had been moved to the swap file; raise --memory-limit", Missing(),
                     FormatCount(Exportable, "Ethernet entry", "Ethernet entries"));
}

void ExportedCapture::AddJson(nlohmann::json& json) const { json["missing"] = Missing(); }

}  // namespace client
