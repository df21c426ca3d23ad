// Capture files (.pcapng): every bus of a recording for tools that look at networks.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>
#include <vector>

#include "outputs/OutputFile.h"
#include "outputs/PcapngWriter.h"
#include "outputs/StreamOutput.h"
#include "system/Pace.h"

namespace client {

/// Writes a capture file. It is called NAME.part until it is complete; when a write fails it stays under that name, cut
/// after the last whole block, so that what was recorded before remains readable.
///
/// Threads: one. Memory: 256 KiB.
class CaptureWriter : public StreamOutput {
 public:
  /// @param path  of the file; empty: standard output
  /// Failure:     Failure when the file can't be made.
  CaptureWriter(const std::string& path, const PcapngOptions& options);
  ~CaptureWriter() override;
  CaptureWriter(const CaptureWriter&) = delete;
  CaptureWriter& operator=(const CaptureWriter&) = delete;

  /// False after a write failed or the reader of standard output has gone.
  [[nodiscard]] bool Take(const RecordView& record) override;
  /// Writes what is left; to a file, at most once a second. A failure shows at the next entry.
  void Pause() override;
  void WriteOut(std::vector<WrittenFile>& files) override;
  void FailToKeep(int error) override { File.FailToKeep(error); }

  void Describe(const Description& description) override { Writer.Describe(description); }
  /// Writes the counts of the channels and what is left, and gives the file its name. False as for Take.
  [[nodiscard]] bool Finish() override;
  void KeepExisting() override { File.KeepExisting(); }
  [[nodiscard]] unsigned long Size() const override { return File.Size() + Writer.Composed(); }
  void Settle() override;

  [[nodiscard]] const std::string& Error() const override { return File.Error(); }
  [[nodiscard]] const std::string& Path() const { return File.Path(); }
  /// Entries that the file can't hold.
  [[nodiscard]] unsigned long Omitted() const { return Writer.Omitted().Total(); }
  [[nodiscard]] std::string ShortfallText() const override;
  /// Their number by kind; only kinds that occurred.
  void AddJson(nlohmann::json& json) const override;

 private:
  class FileSink : public ByteSink {
   public:
    explicit FileSink(OutputFile& file) : File(file) {}
    [[nodiscard]] size_t Write(const unsigned char* bytes, size_t size) override { return File.Write(bytes, size); }

   private:
    OutputFile& File;
  };

  bool Checked(bool written);

  OutputFile File;
  FileSink Sink;
  PcapngWriter Writer;
  Pace FlushPace{std::chrono::seconds(1)};
};

/// Counts the packets of the library's own export, whose interface description blocks declare four bytes more than they
/// have.
class ExportedBlocks {
 public:
  /// The next bytes of the file.
  void Feed(const unsigned char* bytes, size_t size);
  /// Ethernet frames and custom records in the whole blocks so far.
  [[nodiscard]] unsigned long Packets() const { return PacketCount; }
  /// Bytes of the whole blocks so far.
  [[nodiscard]] unsigned long WholeBytes() const { return Whole; }

 private:
  void BeginBlock();

  std::array<unsigned char, 8> Head{};  // type and length of the block
  size_t HeadSize = 0;                  // bytes of it so far
  unsigned long Length = 0;             // bytes of the block
  unsigned long Left = 0;               // bytes of it still to come
  unsigned int Type = 0;
  unsigned long PacketCount = 0;
  unsigned long Whole = 0;
};

/// An output with the library's own export, byte for byte: the Ethernet entries that are in memory when the recording has
/// ended. It also takes the entries of the trace, to know how many there should be.
class ExportedCapture : public StreamOutput {
 public:
  /// @param path  of the file; empty: standard output
  /// Failure:     Failure when the file can't be made.
  explicit ExportedCapture(const std::string& path) : File(path) {}

  [[nodiscard]] bool Take(const RecordView& record) override;
  /// Writes what the library exports. Error reports a failed write.
  void Export(const LibraryExport& capture) override;
  /// Without a whole export the file keeps its temporary name.
  [[nodiscard]] bool Finish() override { return Exported && File.Complete(); }
  void KeepExisting() override { File.KeepExisting(); }

  [[nodiscard]] const std::string& Error() const override { return File.Error(); }
  /// Ethernet entries that are not in the file, since they were moved to the swap file.
  [[nodiscard]] unsigned long Missing() const { return Exportable - std::min(Exportable, Blocks.Packets()); }
  [[nodiscard]] std::string ShortfallText() const override;
  void AddJson(nlohmann::json& json) const override;

 private:
  void Copy(int pipe);
  void WritePart(const unsigned char* bytes, size_t size);

  OutputFile File;
  ExportedBlocks Blocks;
  unsigned long Exportable = 0;
  bool Exported = false;
};

}  // namespace client
