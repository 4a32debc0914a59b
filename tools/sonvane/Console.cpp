#include "Console.h"

#include <brel5/DiagModule.h>
#include <orv/OrvLog.h>

#include "Text.h"

#include <windows.h>

#include <cstdio>
#include <mutex>

namespace console {

namespace {

BOOL WINAPI onControl(DWORD type) {
    if (type != CTRL_C_EVENT && type != CTRL_BREAK_EVENT) {
        return FALSE;
    }
    if (brel5::DiagModule::checkForStop()) {
        return FALSE;
    }
    brel5::DiagModule::requestStop();
    return TRUE;
}

std::mutex g_outputLock;

void write(FILE* stream, std::string const& text) {
    std::lock_guard<std::mutex> hold(g_outputLock);
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

}  // namespace

void prepare() {
    SetConsoleOutputCP(CP_UTF8);
    SetConsoleCtrlHandler(onControl, TRUE);
}

void out(std::string const& text) {
    write(stdout, text);
}

void error(std::string const& line) {
    write(stderr, "sonvane: " + line + "\n");
}

void note(std::string const& line) {
    write(stderr, "sonvane: " + line + "\n");
}

bool stopRequested() {
    return brel5::DiagModule::checkForStop();
}

}  // namespace console

namespace {

bool standardErrorIsConsole() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

double const kQuietSeconds = 1.0;

}  // namespace

Progress::Progress(std::string label, double totalSeconds)
    : m_label(std::move(label)),
      m_totalSeconds(totalSeconds),
      m_startTicks(GetTickCount64()),
      m_enabled(standardErrorIsConsole()) {}

Progress::~Progress() {
    if (m_shown) {
        std::fprintf(stderr, "\r%-78s\r", "");
        std::fflush(stderr);
    }
}

double Progress::elapsedSeconds() const {
    return static_cast<double>(GetTickCount64() - m_startTicks) / 1000.0;
}

void Progress::update() {
    double const elapsed = elapsedSeconds();
    if (!m_enabled || elapsed < kQuietSeconds) {
        return;
    }
    std::string line = m_label + "  " + fixed(elapsed, 1) + " s";
    if (m_totalSeconds > 0.0) {
        line += " of " + fixed(m_totalSeconds, 1) + " s";
    }
    line += "  (Ctrl+C stops)";
    std::fprintf(stderr, "\r%-78s", line.c_str());
    std::fflush(stderr);
    m_shown = true;
}

bool waitWhile(std::function<bool()> const& busy, Progress* progress, double limitSeconds) {
    unsigned long long const start = GetTickCount64();
    while (busy()) {
        if (console::stopRequested()) {
            return false;
        }
        if (limitSeconds > 0.0 && static_cast<double>(GetTickCount64() - start) / 1000.0 >= limitSeconds) {
            return true;
        }
        if (progress) {
            progress->update();
        }
        Sleep(10);
    }
    return true;
}

namespace libraryLog {

namespace {

// Keeps the newest error line; the log calls it with its own lock held, so
// it only copies text.
class ErrorKeeper : public orv::LogSink {
public:
    void write(char const*, int level, orv::String const& text) override {
        if (level < orv::LoggerPriority::LOGGER_ERROR) {
            return;
        }
        std::lock_guard<std::mutex> hold(m_lock);
        m_last = text.toUtf8();
    }
    void clear() {
        std::lock_guard<std::mutex> hold(m_lock);
        m_last.clear();
    }
    std::string last() {
        std::lock_guard<std::mutex> hold(m_lock);
        return m_last;
    }

private:
    std::mutex m_lock;
    std::string m_last;
};

// Lives to the end of the process: library threads may log until then.
ErrorKeeper* g_keeper = new ErrorKeeper();

// Lines start with the number of the source line that wrote them, which
// means nothing to a user.
std::string withoutLineNumber(std::string const& text) {
    size_t position = 0;
    while (position < text.size() && text[position] >= '0' && text[position] <= '9') {
        ++position;
    }
    if (position > 0 && position < text.size() && text[position] == ' ') {
        return text.substr(position + 1);
    }
    return text;
}

}  // namespace

void install() {
    if (orv::LogFactory::getPriority() > orv::LoggerPriority::LOGGER_ERROR) {
        orv::LogFactory::setPriority(orv::LoggerPriority::LOGGER_ERROR);
    }
    orv::LogFactory::setSink(g_keeper);
}

void clear() {
    g_keeper->clear();
}

std::string lastError() {
    return withoutLineNumber(g_keeper->last());
}

std::string explain(std::string const& message) {
    std::string const reason = lastError();
    return reason.empty() ? message : message + " (library: " + reason + ")";
}

}  // namespace libraryLog
