// A capture that another program shows while it is made.
#pragma once

#include "outputs/PcapngWriter.h"
#include "stream/RecordSink.h"
#include "system/Descriptor.h"

namespace client {

/// Writes a capture to a pipe. What has come is written at every pause, so that the reader sees it at once; a reader that goes
/// ends the capture, and is no failure.
///
/// Threads: one. Memory: as PcapngWriter.
class LiveCapture : public RecordSink {
 public:
  /// @param pipe  open for writing
  LiveCapture(Descriptor pipe, const PcapngOptions& options)
      : Pipe(std::move(pipe)), Sink(Pipe.Get()), Writer(Sink, options) {}

  /// As for PcapngWriter.
  void Describe(const Description& description) { Writer.Describe(description); }

  /// False once the reader has gone, or a write has failed.
  [[nodiscard]] bool Take(const RecordView& record) override { return Writer.Take(record); }
  /// Writes what has come; at first, what is known of the channels.
  void Pause() override { (void)Writer.Flush(); }  // a failure shows at the next entry, and in NobodyReads

  /// As for Take, without waiting for an entry.
  [[nodiscard]] bool NobodyReads() const { return Writer.Error() != 0 || ReaderIsGone(Pipe.Get()); }

  /// Writes the counts of the channels and what is left. Once.
  /// Failure: Failure when a write has failed for another reason than that the reader has gone.
  void Finish();

 private:
  const Descriptor Pipe;
  DescriptorSink Sink;
  PcapngWriter Writer;
};

}  // namespace client
