#include <orv/OrvException.h>

#include <orv/OrvArrayRep.h>
#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <cstdio>
#include <mutex>
#include <string>
#include <utility>

ORV_LOG_CATEGORY("orv");

namespace orv {

// --- Exception ------------------------------------------------------------

Exception::Exception() = default;
Exception::Exception(std::string message) : m_message(std::move(message)) {}
Exception::Exception(Exception const& other) = default;
Exception& Exception::operator=(Exception const& other) = default;
Exception::~Exception() = default;

char const* Exception::what() const {
    return m_message.c_str();
}

// --- AssertionFailure -----------------------------------------------------

namespace {

std::mutex g_recordLock;
AssertionRecord g_lastRecord;
unsigned long long g_assertionCount = 0;

void remember(AssertionRecord const& record) {
    std::lock_guard<std::mutex> guard(g_recordLock);
    g_lastRecord = record;
    ++g_assertionCount;
}

// "Assertion failed: <expression> in <file>:<line>[ <message>]"
std::string describe(AssertionRecord const& record) {
    std::string text = "Assertion failed: " + record.expression + " in " + record.file + ":" +
                       std::to_string(record.line);
    if (!record.message.empty()) {
        text += " " + record.message;
    }
    return text;
}

// Standard error gets the failure whatever the log's threshold: it is the
// last word of a process that is about to stop.
void writeToStandardError(std::string const& description) {
    std::fprintf(stderr, "%s\n", description.c_str());
    std::fflush(stderr);
}

void report(char const* file, unsigned long long line, char const* expression, std::string const& message) {
    AssertionRecord record;
    record.file = file ? file : "";
    record.line = line;
    record.expression = expression ? expression : "";
    record.message = message;
    remember(record);

    // The log line carries the failing check's line number, not this one.
    std::string const description = describe(record);
    int const severe = LoggerPriority::LOGGER_SEVERE;
    if (detail::logLineIsOn(severe, orvFileLogger_, orvFileCategory_)) {
        detail::LogLine(orvFileLogger_, severe, static_cast<int>(line)).stream() << String::fromUtf8(description);
    }
    writeToStandardError(description);
}

}  // namespace

void AssertionFailure::logAssert(char const* file, unsigned long long line, char const* expression) {
    report(file, line, expression, std::string());
}

void AssertionFailure::logAssert(char const* file, unsigned long long line, char const* expression,
                                 String const& message) {
    report(file, line, expression, message.toUtf8());
}

bool AssertionFailure::lastAssertion(AssertionRecord& record) {
    std::lock_guard<std::mutex> guard(g_recordLock);
    if (g_assertionCount == 0) {
        return false;
    }
    record = g_lastRecord;
    return true;
}

unsigned long long AssertionFailure::assertionCount() {
    std::lock_guard<std::mutex> guard(g_recordLock);
    return g_assertionCount;
}

void logArrayAllocationFailure(char const* file, unsigned long long line, Uint32 n) {
    AssertionFailure::logAssert(file, line, "rep",
                                "Asked for array of size: " + OrvValue(n).toString(OrvValue::nilValue()));
}

}  // namespace orv
