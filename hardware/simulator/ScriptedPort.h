// A port that does what a test says.
#pragma once

#include <array>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "Port.h"

namespace qor_sim {

/// What Qor_GetLastErrorByPortHandle answers.
struct LastErrorAnswer {
  unsigned int Result = 0;  // of the call; Code and Text are answered with 0 only
  unsigned int Code = 0;
  std::string Text;
};

class ScriptedPort final : public Port {
 public:
  ScriptedPort(unsigned char interfaceType, unsigned char instance);

  void QueueResponse(std::span<const unsigned char> bytes, unsigned int reportedLength) SIM_EXCLUDES(Guard);
  unsigned int Pending() SIM_EXCLUDES(Guard);
  void Fail(Call call, unsigned int code, unsigned int times) SIM_EXCLUDES(Guard);
  void SetLastError(LastErrorAnswer answer) SIM_EXCLUDES(Guard);
  /// Nothing until SetLastError was called.
  std::optional<LastErrorAnswer> LastError() SIM_EXCLUDES(Guard);

 private:
  struct Response {
    std::vector<unsigned char> Bytes;
    unsigned int ReportedLength;
  };
  struct Failure {
    unsigned int Code = 0;
    unsigned int Times = 0;
  };

  void FailIfScripted(Call call) override SIM_REQUIRES(Guard);
  void Poll(const ResponseLayout& layout, ResponseBuffer& response) override SIM_REQUIRES(Guard);
  Qor_Sim_Status_t TrafficStatus() override SIM_REQUIRES(Guard);
  void PollEmpty(const ResponseLayout& layout, ResponseBuffer& response) SIM_REQUIRES(Guard);

  std::deque<Response> Responses SIM_GUARDED_BY(Guard);
  std::array<Failure, kCallCount> Failures SIM_GUARDED_BY(Guard);
  std::optional<LastErrorAnswer> Answer SIM_GUARDED_BY(Guard);
};

}  // namespace qor_sim
