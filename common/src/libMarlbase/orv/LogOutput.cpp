#include "LogOutput.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

namespace orv {
namespace detail {

namespace {

std::mutex g_outputLock;
LogSink* g_sink = nullptr;

// The file stream named by SONVANE_LOG_FILE, opened at the first written
// line; null when lines go nowhere but the sink and the debugger.
std::FILE* logFile() {
    static std::FILE* const file = [] {
        char const* target = std::getenv("SONVANE_LOG_FILE");
        if (!target || !*target) {
            return static_cast<std::FILE*>(nullptr);
        }
        if (std::strcmp(target, "stderr") == 0) {
            return stderr;
        }
        return _wfopen(String::fromUtf8(target).wideBuffer(), L"ab");
    }();
    return file;
}

char levelLetter(int level) {
    static char const letters[] = "?DIES";
    return (level >= 1 && level <= 4) ? letters[level] : letters[0];
}

// "<letter> <category>: <text>"
String writtenForm(char const* category, int level, String const& text) {
    char prefix[] = "? ";
    prefix[0] = levelLetter(level);
    return prefix + String::fromUtf8(category) + ": " + text;
}

void writeToFile(std::FILE* file, String const& line) {
    std::string const utf8 = line.toUtf8() + "\n";
    std::fwrite(utf8.data(), 1, utf8.size(), file);
    std::fflush(file);
}

void writeToDebugger(String const& line) {
    OutputDebugStringW((line + "\n").wideBuffer());
}

}  // namespace

void writeLogLine(char const* category, int level, String const& text) {
    String const line = writtenForm(category, level, text);
    std::lock_guard<std::mutex> guard(g_outputLock);
    if (g_sink) {
        g_sink->write(category, level, text);
    }
    if (std::FILE* file = logFile()) {
        writeToFile(file, line);
    }
    writeToDebugger(line);
}

LogSink* installLogSink(LogSink* sink) {
    std::lock_guard<std::mutex> guard(g_outputLock);
    LogSink* const previous = g_sink;
    g_sink = sink;
    return previous;
}

}  // namespace detail
}  // namespace orv
