// sonvane: what libSonvane sees of the machine's audio hardware, and the
// tests a diagnostic module runs on it, by hand.
#include "Console.h"
#include "Session.h"
#include "SimulatedMachine.h"
#include "Text.h"
#include "ToolError.h"

#include <CLI/CLI.hpp>

#include <windows.h>
#include <objbase.h>
#include <shellapi.h>

#include <cctype>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

char const* const kFooter = R"(Endpoints are chosen by their number in 'sonvane list', by their id, or by a
part of their name; without one a command takes the default endpoint.
--json and --machine FILE may stand before or after the command.

Exit codes:
  0  done, or every loopback check passed
  1  a loopback check failed (report writes its page all the same)
  2  the command line is wrong
  3  no such endpoint, or the device or the platform refused
  4  a file cannot be read or written, or the machine file or event script is bad
  5  stopped by Ctrl+C before the work was done
)";

// Shown by 'sonvane --help' only; each command's help tells its own options.
char const* const kExamples = R"(Examples:
  sonvane list
  sonvane volume set 40% speak          (or -12dB; 'volume get' reads it back)
  sonvane play --seconds 5 --frequency 440 2
  sonvane record take.wav --seconds 10 "Microphone Array"
  sonvane loopback --render speak --capture array --stack legacy
  sonvane --machine simulator/machines/laptop.json report -o laptop.html

)";

// The command line as UTF-8, whatever the console's code page: endpoint
// names and file names may hold any character.
std::vector<std::string> utf8Arguments() {
    int count = 0;
    LPWSTR* arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> result;
    for (int i = 0; i < count; ++i) {
        result.push_back(utf8(std::wstring(arguments[i])));
    }
    LocalFree(arguments);
    return result;
}

// A failed check inside the library raises a structured exception that
// nothing is meant to catch; the tool ends with one line and the device
// error code instead of the system's crash report.
LONG WINAPI endOnUnhandledException(EXCEPTION_POINTERS* info) {
    char line[96];
    std::snprintf(line, sizeof line, "stopped by exception 0x%08lX inside the audio code",
                  static_cast<unsigned long>(info->ExceptionRecord->ExceptionCode));
    console::error(line);
    ExitProcess(static_cast<UINT>(ExitCode::Device));
}

// The first word that is neither an option nor an option's value, when it
// names no command; empty otherwise.
std::string unknownCommand(CLI::App& app, std::vector<std::string> const& arguments) {
    for (size_t i = 1; i < arguments.size(); ++i) {
        std::string const& word = arguments[i];
        if (word == "--machine") {
            ++i;
        } else if (!word.empty() && word[0] != '-') {
            try {
                app.get_subcommand(word);
                return std::string();
            } catch (CLI::OptionNotFound const&) {
                return word;
            }
        }
    }
    return std::string();
}

// The innermost command the command line reached ("sonvane volume set"),
// so that an error points at the help that tells how to mend it.
CLI::App* innermostCommand(CLI::App& app) {
    CLI::App* command = &app;
    for (std::vector<CLI::App*> parsed = command->get_subcommands(); !parsed.empty();
         parsed = command->get_subcommands()) {
        command = parsed.front();
    }
    return command;
}

std::string commandPath(CLI::App const* command) {
    std::string path = command->get_name();
    for (CLI::App const* parent = command->get_parent(); parent; parent = parent->get_parent()) {
        path = parent->get_name() + " " + path;
    }
    return path;
}

// A command that stands for a group ("volume") says which words may follow.
std::string missingSubcommand(CLI::App const* command) {
    std::string choices;
    for (CLI::App const* sub : command->get_subcommands([](CLI::App const*) { return true; })) {
        choices += (choices.empty() ? "" : " or ") + sub->get_name();
    }
    return "'" + commandPath(command) + "' needs a command after it: " + choices;
}

// One-line errors instead of CLI11's two lines; help goes to standard
// output with exit code 0.
int parseFailure(CLI::App& app, CLI::ParseError const& failure, std::vector<std::string> const& arguments) {
    if (failure.get_exit_code() == 0) {
        return app.exit(failure, std::cout, std::cerr);
    }
    std::string const unknown = unknownCommand(app, arguments);
    if (!unknown.empty()) {
        console::error("unknown command '" + unknown + "' (see 'sonvane --help')");
        return static_cast<int>(ExitCode::Usage);
    }
    CLI::App const* command = innermostCommand(app);
    bool const groupWithoutCommand = command != &app && !command->get_subcommands([](CLI::App const*) { return true; }).empty() &&
                                     std::string(failure.what()).find("subcommand is required") != std::string::npos;
    std::string reason = groupWithoutCommand ? missingSubcommand(command) : std::string(failure.what());
    // CLI11 starts its sentences with a capital; the tool's lines do not.
    if (reason.size() > 1 && std::isupper(static_cast<unsigned char>(reason[0])) &&
        std::islower(static_cast<unsigned char>(reason[1]))) {
        reason[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(reason[0])));
    }
    console::error(reason + " (see '" + commandPath(command) + " --help')");
    return static_cast<int>(ExitCode::Usage);
}

// COM for the whole run on the main thread, where the library and the
// simulator are used.
class ComScope {
public:
    ComScope() { CoInitialize(nullptr); }
    ~ComScope() { CoUninitialize(); }
};

int run(Session& session, CommandRunner const& command) {
    ComScope com;
    try {
        std::unique_ptr<SimulatedMachine> machine;
        if (!session.machineFile.empty()) {
            machine = SimulatedMachine::install(session.machineFile);
            session.machine = machine->name();
            session.simulated = machine.get();
        }
        libraryLog::install();
        return static_cast<int>(command(session));
    } catch (ToolError const& failure) {
        console::error(failure.what());
        return static_cast<int>(failure.code());
    } catch (std::exception const& failure) {
        console::error(std::string("unexpected failure: ") + failure.what());
        return static_cast<int>(ExitCode::Device);
    }
}

}  // namespace

void Session::emit(nlohmann::json const& data, std::function<std::string(nlohmann::json const&)> const& text) const {
    console::out(json ? data.dump(2) + "\n" : text(data));
}

int main() {
    SetUnhandledExceptionFilter(endOnUnhandledException);
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    console::prepare();

    CLI::App app("sonvane: the machine's audio hardware as libSonvane sees it, and tests to run on it.",
                 "sonvane");
    app.footer(kFooter);
    // Paths such as /tmp/take.wav (under Wine) are files, not options.
    app.allow_windows_style_options(false);
    app.require_subcommand(1);
    app.fallthrough();
    Session session;
    app.add_flag("--json", session.json, "Print the result as JSON");
    app.add_option("--machine", session.machineFile, "Run on a simulated machine described by this JSON file");

    CommandRunner chosen;
    addListCommand(app, chosen);
    addCardsCommand(app, chosen);
    addVolumeCommands(app, chosen);
    addPlayCommand(app, chosen);
    addRecordCommand(app, chosen);
    addLoopbackCommand(app, chosen);
    addWatchCommand(app, chosen);
    addReportCommand(app, chosen);
    // Commands took the plain footer when they were added.
    app.footer(std::string(kExamples) + kFooter);

    std::vector<std::string> arguments = utf8Arguments();
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(&argument[0]);
    }
    try {
        app.parse(static_cast<int>(pointers.size()), pointers.data());
    } catch (CLI::ParseError const& failure) {
        return parseFailure(app, failure, arguments);
    }
    return run(session, chosen);
}
