#include <orv/OrvLog.h>

#include "LogOutput.h"

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>

namespace orv {

namespace {

// 0 until the environment has been read at first use.
std::atomic<int> g_threshold{0};

int thresholdFromEnvironment() {
    char const* text = std::getenv("SONVANE_LOG_LEVEL");
    int const level = text ? std::atoi(text) : 0;
    return (level >= LoggerPriority::LOGGER_DETAIL && level <= LoggerPriority::LOGGER_SEVERE)
               ? level
               : static_cast<int>(LoggerPriority::LOGGER_OFF);
}

int threshold() {
    int level = g_threshold.load(std::memory_order_relaxed);
    if (level == 0) {
        int expected = 0;
        int const configured = thresholdFromEnvironment();
        level = g_threshold.compare_exchange_strong(expected, configured) ? configured : expected;
    }
    return level;
}

// Loggers live until the process ends: files keep plain pointers to them.
// std::mutex rather than orv::mutex because it is ready before any static
// initialiser of another file may log.
std::mutex g_registryLock;
std::map<std::string, Logger*>& registry() {
    static std::map<std::string, Logger*>* loggers = new std::map<std::string, Logger*>();
    return *loggers;
}

template <class Number>
LoggerStream& appendFormatted(LoggerStream& stream, char const* format, Number value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return stream << text;
}

}  // namespace

// --- LoggerStream ---------------------------------------------------------

LoggerStream::LoggerStream() = default;
LoggerStream::~LoggerStream() = default;

LoggerStream& LoggerStream::operator+(char const* text) {
    m_text += text;
    return *this;
}

LoggerStream& LoggerStream::operator+(String const& text) {
    m_text += text;
    return *this;
}

LoggerStream& LoggerStream::operator<<(char const* text) {
    return *this + text;
}

LoggerStream& LoggerStream::operator<<(String const& text) {
    return *this + text;
}

LoggerStream& LoggerStream::operator<<(int value) {
    return appendFormatted(*this, "%d", value);
}

LoggerStream& LoggerStream::operator<<(long value) {
    return appendFormatted(*this, "%ld", value);
}

LoggerStream& LoggerStream::operator<<(unsigned short value) {
    return appendFormatted(*this, "%u", static_cast<unsigned int>(value));
}

LoggerStream& LoggerStream::operator<<(unsigned int value) {
    return appendFormatted(*this, "%u", value);
}

LoggerStream& LoggerStream::operator<<(unsigned long value) {
    return appendFormatted(*this, "%lu", value);
}

LoggerStream& LoggerStream::operator<<(unsigned long long value) {
    return appendFormatted(*this, "%llu", value);
}

LoggerStream& LoggerStream::operator<<(float value) {
    return appendFormatted(*this, "%g", static_cast<double>(value));
}

LoggerStream& LoggerStream::operator<<(double value) {
    return appendFormatted(*this, "%g", value);
}

String const& LoggerStream::text() const {
    return m_text;
}

// --- Logger ---------------------------------------------------------------

Logger::Logger(char const* category)
    : priority(LoggerPriority::LOGGER_DETAIL), m_category(category ? category : "") {}

Logger::~Logger() = default;

int Logger::resolvePriority() const {
    int const process = threshold();
    return priority > process ? priority : process;
}

bool Logger::log(LoggerPriority::LOGGER_PRIORITY level, LoggerStream const& stream) {
    detail::writeLogLine(m_category.c_str(), level, stream.text());
    return true;
}

char const* Logger::category() const {
    return m_category.c_str();
}

// --- LogFactory -----------------------------------------------------------

LoggerPriority::LOGGER_PRIORITY LogFactory::getPriority() {
    return static_cast<LoggerPriority::LOGGER_PRIORITY>(threshold());
}

void LogFactory::createLogger(char const* category, Logger*& out) {
    std::lock_guard<std::mutex> guard(g_registryLock);
    Logger*& logger = registry()[category ? category : ""];
    if (!logger) {
        logger = new Logger(category);
    }
    out = logger;
}

void LogFactory::setPriority(int priority) {
    g_threshold.store(priority, std::memory_order_relaxed);
}

LogSink* LogFactory::setSink(LogSink* sink) {
    return detail::installLogSink(sink);
}

// --- TraceLogger ----------------------------------------------------------

namespace {

bool traceIsOn(Logger* logger) {
    return logger && logger->resolvePriority() <= LoggerPriority::LOGGER_DETAIL;
}

char const* baseName(char const* path) {
    char const* name = path;
    for (char const* p = path; p && *p; ++p) {
        if (*p == '/' || *p == '\\') {
            name = p + 1;
        }
    }
    return name;
}

}  // namespace

TraceLogger::TraceLogger(Logger* logger, char const* label, char const* file, int line)
    : m_logger(logger), m_label(label), m_line(line) {
    if (traceIsOn(m_logger)) {
        LoggerStream stream;
        stream << m_line << " Entering " << m_label << " (" << baseName(file) << ")";
        m_logger->log(LoggerPriority::LOGGER_DETAIL, stream);
    }
}

TraceLogger::~TraceLogger() {
    if (traceIsOn(m_logger)) {
        LoggerStream stream;
        stream << m_line << " Leaving " << m_label;
        m_logger->log(LoggerPriority::LOGGER_DETAIL, stream);
    }
}

// --- LogLine --------------------------------------------------------------

namespace detail {

LogLine::LogLine(Logger* logger, int level, int line) : m_logger(logger), m_level(level) {
    m_stream << line << " ";
}

LogLine::~LogLine() {
    m_logger->log(static_cast<LoggerPriority::LOGGER_PRIORITY>(m_level), m_stream);
}

}  // namespace detail
}  // namespace orv
