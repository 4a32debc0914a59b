#pragma once
// What every command is given: the global options and the one way to print
// a result, as text for people or as JSON for scripts.
#include "ToolError.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <string>

namespace CLI {
class App;
}
class SimulatedMachine;

struct Session {
    bool json = false;
    std::string machineFile;
    // The simulated machine's name once it is installed; empty on the
    // machine's own audio stack.
    std::string machine;
    SimulatedMachine* simulated = nullptr;

    // Prints `data` as JSON with --json, otherwise what `text` makes of it.
    void emit(nlohmann::json const& data, std::function<std::string(nlohmann::json const&)> const& text) const;
};

// A command, once the command line has chosen it, as something to run after
// the simulator (if any) is installed.
using CommandRunner = std::function<ExitCode(Session&)>;

// Each command file adds its subcommand; parsing the command line sets
// `chosen` to the one the user asked for.
void addListCommand(CLI::App& app, CommandRunner& chosen);
void addCardsCommand(CLI::App& app, CommandRunner& chosen);
void addVolumeCommands(CLI::App& app, CommandRunner& chosen);
void addPlayCommand(CLI::App& app, CommandRunner& chosen);
void addRecordCommand(CLI::App& app, CommandRunner& chosen);
void addLoopbackCommand(CLI::App& app, CommandRunner& chosen);
void addWatchCommand(CLI::App& app, CommandRunner& chosen);
void addReportCommand(CLI::App& app, CommandRunner& chosen);
