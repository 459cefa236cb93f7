// Where the library's log records go. By default they are written as UTF-8 lines
// to stderr, filtered by the INETMGR_LOG_LEVEL environment variable (error,
// internal, info, detail or trace; default error). A host application can send
// them elsewhere instead.
#ifndef INETMGR_LOG_SINK_H
#define INETMGR_LOG_SINK_H

#include "inetmgr/export.h"

namespace corvane_com::zel::inetmgr {

// Ordered by verbosity: a threshold of Info passes Error, InternalError and Info.
enum class LogLevel : int {
  Error = 1,
  InternalError = 2,  // non-error outcomes and states that should not happen
  Info = 3,
  Detail = 4,
  Trace = 5,  // entry and exit of operations
};

// Receives one record: its level, the module tag (e.g. "persite") and the text.
// Both strings are valid only during the call. Called on whatever thread logs,
// possibly on several at once: the sink must be thread-safe.
using LogSinkFunction = void (*)(LogLevel level, const wchar_t* tag,
                                 const wchar_t* text, void* context);

// Replaces the process-wide sink; `threshold` drops records more verbose than it
// before the sink sees them. A null `sink` restores the default stderr sink with
// the level from INETMGR_LOG_LEVEL. Returns nothing; thread-safe, and a record
// being written during the switch goes to either the old or the new sink.
INETMGR_API void setLogSink(LogSinkFunction sink, void* context, LogLevel threshold);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_LOG_SINK_H
