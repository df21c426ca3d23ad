#include "inputs/Reader.h"

namespace client {

ReadingEnd ReadAll(Reader& reader, RecordSink& sink, const GoOn& goOn) {
  reader.Attend({goOn, [&sink] { sink.Pause(); }});
  while (const RecordView* record = reader.Next())
    if (!sink.Take(*record)) return ReadingEnd::Declined;
  return reader.Stopped() ? ReadingEnd::Stopped : ReadingEnd::Whole;
}

}  // namespace client
