// Where records go.
#pragma once

#include "record/RecordView.h"

namespace client {

/// Takes records one by one. A record is looked at once, where it enters the program; every sink it passes through gets
/// that view.
class RecordSink {
 public:
  virtual ~RecordSink() = default;

  /// @param record  valid during the call: copy its bytes to keep them
  /// @return        false: declined; stop
  [[nodiscard]] virtual bool Take(const RecordView& record) = 0;
  /// No further record is available right now.
  virtual void Pause() {}
};

}  // namespace client
