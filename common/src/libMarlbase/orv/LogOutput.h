#pragma once
// Where written log lines go: the test sink, the file or standard error named
// by SONVANE_LOG_FILE, and the debugger. Internal to the foundation.
#include <orv/OrvLog.h>

namespace orv {
namespace detail {

void writeLogLine(char const* category, int level, String const& text);
LogSink* installLogSink(LogSink* sink);

}  // namespace detail
}  // namespace orv
