#pragma once
// The log facility.
//
// Use in a source file:
//
//   ORV_LOG_CATEGORY("libSonvane.soundcard");   // once, at file scope
//
//   bool SoundCard::createSoundCard(...) {
//       ORV_TRACE("SoundCard::createSoundCard");   // entry and exit at level 1
//       ...
//       ORV_LOG(3) << "CoCreateInstance returns " << orv::OrvValue(hr).toHexString(true);
//   }
//
// Levels: 1 detail, 2 information, 3 error, 4 severe. A line at level L is
// composed only when three gates pass, tested in this order before anything
// of the line is evaluated: LogFactory::getPriority() <= L; the file's logger
// (created on first need) has priority <= L; its resolvePriority() <= L. A
// switched-off line therefore costs a call and a few integer compares, and the
// operands after ORV_LOG(L) are not evaluated at all.
//
// Every written line starts with the source line number of its call and a
// blank: "412 Cannot add duplicate device ...".
//
// Where lines go. Nothing is written by default (threshold 5). At first use
// the process threshold is read from the environment:
//   SONVANE_LOG_LEVEL=1..4     write lines of that level and above;
//   SONVANE_LOG_FILE=<path>    append them to that file (UTF-8),
//   SONVANE_LOG_FILE=stderr    write them to standard error.
// Every written line also goes to OutputDebugStringW. The written form is
//   "<level letter> <category>: <line>"  e.g.
//   "E libSonvane.soundcard: 412 Cannot add duplicate device ..."
// with the letters D, I, E, S for levels 1 to 4.
//
// Tests set the threshold with LogFactory::setPriority() and receive every
// written line through a LogSink installed with LogFactory::setSink().
#include <orv/OrvExport.h>
#include <orv/OrvString.h>

namespace orv {

struct LoggerPriority {
    enum LOGGER_PRIORITY {
        LOGGER_DETAIL = 1,
        LOGGER_INFO = 2,
        LOGGER_ERROR = 3,
        LOGGER_SEVERE = 4,
        LOGGER_OFF = 5
    };
};

// One log line being composed.
class ORV_API LoggerStream {
public:
    LoggerStream();
    ~LoggerStream();

    LoggerStream& operator+(char const* text);
    LoggerStream& operator+(String const& text);

    LoggerStream& operator<<(char const* text);
    LoggerStream& operator<<(String const& text);
    LoggerStream& operator<<(int value);
    LoggerStream& operator<<(long value);
    LoggerStream& operator<<(unsigned short value);
    LoggerStream& operator<<(unsigned int value);
    LoggerStream& operator<<(unsigned long value);
    LoggerStream& operator<<(unsigned long long value);
    LoggerStream& operator<<(float value);
    LoggerStream& operator<<(double value);

    String const& text() const;

    LoggerStream(LoggerStream const&) = delete;
    LoggerStream& operator=(LoggerStream const&) = delete;

private:
    String m_text;
};

class ORV_API Logger {
public:
    explicit Logger(char const* category);
    ~Logger();

    // The logger's own threshold; read directly by the gates.
    int priority;

    // The threshold in effect: the stricter of the logger's own and the
    // process threshold.
    int resolvePriority() const;

    // Writes the stream's text at that level to every destination; true when
    // it was written.
    bool log(LoggerPriority::LOGGER_PRIORITY level, LoggerStream const& stream);

    char const* category() const;

    Logger(Logger const&) = delete;
    Logger& operator=(Logger const&) = delete;

private:
    std::string m_category;
};

// Receives every written line; for tests. Called with the log's output lock
// held, so it must not log itself.
struct LogSink {
    virtual ~LogSink() = default;
    virtual void write(char const* category, int level, String const& text) = 0;
};

class ORV_API LogFactory {
public:
    static LoggerPriority::LOGGER_PRIORITY getPriority();
    // One logger per category, alive for the rest of the process.
    static void createLogger(char const* category, Logger*& out);

    static void setPriority(int priority);
    // Installs a sink (null removes it); returns the one installed before.
    static LogSink* setSink(LogSink* sink);
};

// Marks entry and exit of a scope at level 1; silent with a null logger.
class ORV_API TraceLogger {
public:
    TraceLogger(Logger* logger, char const* label, char const* file, int line);
    ~TraceLogger();

    TraceLogger(TraceLogger const&) = delete;
    TraceLogger& operator=(TraceLogger const&) = delete;

private:
    Logger* m_logger;
    char const* m_label;
    int m_line;
};

namespace detail {

// The three gates for a line at `level`; creates the file's logger when the
// process threshold lets the line through.
inline bool logLineIsOn(int level, Logger*& logger, char const* category) {
    if (LogFactory::getPriority() > level) {
        return false;
    }
    if (!logger) {
        LogFactory::createLogger(category, logger);
    }
    if (logger->priority > level) {
        return false;
    }
    return logger->resolvePriority() <= level;
}

// The file's logger for a trace, or null when level 1 is off by the first
// two gates.
inline Logger* traceLogger(Logger*& logger, char const* category) {
    if (LogFactory::getPriority() > LoggerPriority::LOGGER_DETAIL) {
        return nullptr;
    }
    if (!logger) {
        LogFactory::createLogger(category, logger);
    }
    return logger->priority > LoggerPriority::LOGGER_DETAIL ? nullptr : logger;
}

// One line of ORV_LOG: starts with the line number and is written when the
// statement ends.
class ORV_API LogLine {
public:
    LogLine(Logger* logger, int level, int line);
    ~LogLine();
    LoggerStream& stream() { return m_stream; }

    LogLine(LogLine const&) = delete;
    LogLine& operator=(LogLine const&) = delete;

private:
    Logger* m_logger;
    int m_level;
    LoggerStream m_stream;
};

// Turns a composed line into a void expression for ORV_LOG.
struct LogLineEnd {
    void operator&(LoggerStream&) const {}
};

}  // namespace detail
}  // namespace orv

#define ORV_LOG_CATEGORY(name)                    \
    namespace {                                   \
    [[maybe_unused]] ::orv::Logger* orvFileLogger_ = nullptr;      \
    [[maybe_unused]] char const* const orvFileCategory_ = (name);  \
    }                                             \
    static_assert(true, "")

// An expression, not an if statement, so that it nests in an unbraced if
// without an ambiguous else. `&` binds looser than `<<`, so the whole chain
// is composed before LogLineEnd takes it; the line is written when the
// LogLine temporary ends with the statement.
#define ORV_LOG(level)                                                                \
    !::orv::detail::logLineIsOn((level), orvFileLogger_, orvFileCategory_)            \
        ? (void)0                                                                     \
        : ::orv::detail::LogLineEnd() & ::orv::detail::LogLine(orvFileLogger_, (level), __LINE__).stream()

#define ORV_TRACE_NAME2_(prefix, line) prefix##line
#define ORV_TRACE_NAME_(prefix, line) ORV_TRACE_NAME2_(prefix, line)
#define ORV_TRACE(label)                                                                        \
    ::orv::TraceLogger ORV_TRACE_NAME_(orvTrace_, __LINE__)(                                    \
        ::orv::detail::traceLogger(orvFileLogger_, orvFileCategory_), (label), __FILE__, __LINE__)
