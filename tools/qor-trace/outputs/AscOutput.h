// ASC text as an output: the library's export of the whole trace.
#ifndef QOR_TRACE_ASCOUTPUT_H
#define QOR_TRACE_ASCOUTPUT_H

#include <string>
#include <utility>

#include "outputs/OutputFile.h"
#include "outputs/Outputs.h"
#include "recording/Replay.h"

namespace client {

class AscOutput : public StreamOutput {
 public:
  /// @param replay  what has filled the monitor; null: a recording
  AscOutput(std::string path, const AscOptions& options, const Replay* replay)
      : Path(std::move(path)), Options(options), Replayed(replay) {}

  bool Take(const unsigned char* /*record*/, unsigned int /*length*/) override { return true; }
  /// Writes the file, unless the monitor has written it live.
  void Export(Monitor& monitor) override;
  bool Finish() override { return true; }
  const std::string& Error() const override { return NoError; }
  std::string ShortfallText() const override;
  void AddJson(nlohmann::json& json) const override;

 private:
  const std::string Path;
  const AscOptions Options;
  const Replay* const Replayed;
  const std::string NoError;
};

}  // namespace client

#endif  // QOR_TRACE_ASCOUTPUT_H
