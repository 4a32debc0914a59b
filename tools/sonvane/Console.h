#pragma once
// What the tool says and how it waits: UTF-8 output, one-line errors, the
// progress line, Ctrl+C turned into the host's stop request, and the last
// error line of the library kept for the user's error message.
#include <functional>
#include <string>

namespace console {

// UTF-8 on the console and Ctrl+C raising brel5::DiagModule::requestStop(),
// so that every wait of the tool and of the library ends cleanly. A second
// Ctrl+C ends the process at once, for a wait that does not listen.
void prepare();

void out(std::string const& text);
// "sonvane: <line>" on standard error.
void error(std::string const& line);
void note(std::string const& line);

bool stopRequested();

}  // namespace console

// A line on standard error that shows how far a long operation is. It
// appears only after a second, so short operations stay quiet, and only
// when standard error is a console, so pipes and files get no carriage
// returns.
class Progress {
public:
    // totalSeconds 0: the end is not known and only the elapsed time shows.
    Progress(std::string label, double totalSeconds);
    ~Progress();
    void update();
    double elapsedSeconds() const;

private:
    std::string m_label;
    double m_totalSeconds;
    unsigned long long m_startTicks;
    bool m_shown = false;
    bool m_enabled;
};

// Waits in 10 ms beats while `busy` answers true, at most `limitSeconds`
// when that is above 0. False when the user's stop request ended the wait.
bool waitWhile(std::function<bool()> const& busy, Progress* progress, double limitSeconds = 0.0);

// The newest error line (level 3 or 4) the library wrote since clear(),
// without its source line number; empty when there was none.
namespace libraryLog {
void install();
void clear();
std::string lastError();
// "message (library: <last error>)" or the message alone.
std::string explain(std::string const& message);
}  // namespace libraryLog
