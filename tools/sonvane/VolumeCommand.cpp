// sonvane volume get|set, sonvane mute get|set: the endpoint's own volume
// control, as a module reaches it through AudioDevice::volumeControl().
#include "Console.h"
#include "Endpoints.h"
#include "Hardware.h"
#include "Names.h"
#include "Session.h"
#include "Text.h"

#include <CLI/CLI.hpp>

#include <cctype>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

struct VolumeOptions {
    std::string endpoint;
    std::string level;
    std::string mute;
    int channel = -1;
};

// A level as typed: "40" or "40%" is percent, "-12dB" or "-12 dB" decibels.
struct Level {
    bool decibel = false;
    double value = 0.0;
};

Level parseLevel(std::string const& text) {
    std::string number = text;
    Level level;
    std::string const lower = lowerCase(text);
    if (lower.size() > 2 && lower.compare(lower.size() - 2, 2, "db") == 0) {
        level.decibel = true;
        number = text.substr(0, text.size() - 2);
    } else if (!text.empty() && text.back() == '%') {
        number = text.substr(0, text.size() - 1);
    }
    char* end = nullptr;
    level.value = std::strtod(number.c_str(), &end);
    while (end && std::isspace(static_cast<unsigned char>(*end))) {
        ++end;
    }
    if (number.empty() || !end || *end != '\0') {
        throw usageError("cannot read the level \"" + text + "\": give a percent (40, 40%) or decibels (-12dB)");
    }
    if (!level.decibel && (level.value < 0.0 || level.value > 100.0)) {
        // A negative number is nearly always decibels without their unit.
        std::string const hint = level.value < 0.0 ? "; for decibels write " + text + "dB" : std::string();
        throw usageError("a percent level lies between 0 and 100, not " + text + hint);
    }
    return level;
}

bool parseSwitch(std::string const& text) {
    std::string const word = lowerCase(text);
    if (word == "on" || word == "1" || word == "true" || word == "yes") {
        return true;
    }
    if (word == "off" || word == "0" || word == "false" || word == "no") {
        return false;
    }
    throw usageError("mute is \"on\" or \"off\", not \"" + text + "\"");
}

struct ChosenControl {
    Endpoint endpoint;
    AudioDeviceInterface::VolumeControl control;
};

ChosenControl chooseControl(std::string const& choice) {
    EndpointList const endpoints = EndpointList::read();
    ChosenControl chosen{endpoints.select(choice, FlowWanted::Any), {}};
    chosen.control = chosen.endpoint.device.volumeControl();
    if (chosen.control.isNil()) {
        throw deviceError("endpoint " + std::to_string(chosen.endpoint.index) + " \"" + chosen.endpoint.name() +
                          "\" has no volume control" +
                          (chosen.endpoint.isActive() ? "" : " (it is " + stateName(chosen.endpoint.state()) + ")"));
    }
    return chosen;
}

nlohmann::json volumeResult(ChosenControl const& chosen) {
    return {{"endpoint", chosen.endpoint.index},
            {"name", chosen.endpoint.name()},
            {"volume", describeVolume(chosen.endpoint.device)}};
}

std::string volumeText(nlohmann::json const& data) {
    nlohmann::json const& volume = data["volume"];
    std::string text = std::to_string(data["endpoint"].get<unsigned int>()) + " \"" +
                       data["name"].get<std::string>() + "\": " +
                       std::to_string(volume["masterPercent"].get<unsigned int>()) + "%, " +
                       fixed(volume["masterDb"].get<double>(), 2) + " dB";
    if (volume.contains("range")) {
        text += " (range " + fixed(volume["range"]["minDb"].get<double>(), 2) + " to " +
                fixed(volume["range"]["maxDb"].get<double>(), 2) + " dB, step " +
                fixed(volume["range"]["stepDb"].get<double>(), 2) + " dB)";
    }
    if (!volume["muted"].is_null()) {
        text += volume["muted"].get<bool>() ? ", muted" : ", not muted";
    }
    text += "\n";
    unsigned int channel = 0;
    for (auto const& level : volume["channels"]) {
        text += "  channel " + std::to_string(channel++) + ": " + std::to_string(level["percent"].get<unsigned>()) +
                "%, " + fixed(level["db"].get<double>(), 2) + " dB\n";
    }
    return text;
}

bool setLevel(VolumeControllerInterface& control, Level const& level, int channel) {
    float const value = static_cast<float>(level.value);
    unsigned int const percent = static_cast<unsigned int>(level.value + 0.5);
    if (channel < 0) {
        return level.decibel ? control.setMasterVolumeLevelDecibel(value) : control.setMasterVolumeLevelPercent(percent);
    }
    return level.decibel ? control.setVolumeLevelDecibel(static_cast<unsigned int>(channel), value)
                         : control.setVolumeLevelPercent(static_cast<unsigned int>(channel), percent);
}

ExitCode runVolumeGet(Session& session, VolumeOptions const& options) {
    session.emit(volumeResult(chooseControl(options.endpoint)), volumeText);
    return ExitCode::Ok;
}

ExitCode runVolumeSet(Session& session, VolumeOptions const& options) {
    Level const level = parseLevel(options.level);
    ChosenControl const chosen = chooseControl(options.endpoint);
    VolumeControllerInterface& control = *chosen.control;
    // What the device cannot take is the device's refusal (exit code 3),
    // found before the call so that the message can say what it takes.
    if (options.channel >= 0 && static_cast<unsigned int>(options.channel) >= control.numChannel()) {
        throw deviceError("the endpoint has " + std::to_string(control.numChannel()) + " channels; there is no channel " +
                         std::to_string(options.channel));
    }
    VolumeControllerInterface::DbVolumeRange range = {};
    if (level.decibel && control.volumeRangeDecibel(0, range) &&
        (level.value < range.minimum || level.value > range.maximum)) {
        throw deviceError(options.level + " lies outside the endpoint's range of " + fixed(range.minimum, 2) + " to " +
                          fixed(range.maximum, 2) + " dB");
    }
    libraryLog::clear();
    if (!setLevel(control, level, options.channel)) {
        std::string const hint = level.decibel ? "" : "; try decibels, e.g. -12dB";
        throw deviceError(libraryLog::explain("the endpoint refused the level " + options.level + hint));
    }
    session.emit(volumeResult(chosen), volumeText);
    return ExitCode::Ok;
}

nlohmann::json muteResult(ChosenControl const& chosen) {
    VolumeControllerInterface const& control = *chosen.control;
    return {{"endpoint", chosen.endpoint.index},
            {"name", chosen.endpoint.name()},
            {"muted", control.hasMuteControl() ? nlohmann::json(control.isMuted()) : nlohmann::json()}};
}

std::string muteText(nlohmann::json const& data) {
    std::string const state =
        data["muted"].is_null() ? "has no mute control" : (data["muted"].get<bool>() ? "muted" : "not muted");
    return std::to_string(data["endpoint"].get<unsigned int>()) + " \"" + data["name"].get<std::string>() + "\": " +
           state + "\n";
}

ExitCode runMuteGet(Session& session, VolumeOptions const& options) {
    session.emit(muteResult(chooseControl(options.endpoint)), muteText);
    return ExitCode::Ok;
}

ExitCode runMuteSet(Session& session, VolumeOptions const& options) {
    bool const mute = parseSwitch(options.mute);
    ChosenControl const chosen = chooseControl(options.endpoint);
    if (!chosen.control->hasMuteControl()) {
        throw deviceError("endpoint " + std::to_string(chosen.endpoint.index) + " \"" + chosen.endpoint.name() +
                          "\" has no mute control");
    }
    libraryLog::clear();
    if (!chosen.control->setMute(mute)) {
        throw deviceError(libraryLog::explain("the endpoint refused to " + std::string(mute ? "mute" : "unmute")));
    }
    session.emit(muteResult(chosen), muteText);
    return ExitCode::Ok;
}

using Runner = ExitCode (*)(Session&, VolumeOptions const&);

CLI::App* addAction(CLI::App& group, char const* name, char const* description, Runner runner,
                    std::shared_ptr<VolumeOptions> const& options, CommandRunner& chosen) {
    CLI::App* action = group.add_subcommand(name, description);
    action->callback([&chosen, runner, options] {
        chosen = [runner, options](Session& session) { return runner(session, *options); };
    });
    return action;
}

}  // namespace

void addVolumeCommands(CLI::App& app, CommandRunner& chosen) {
    auto options = std::make_shared<VolumeOptions>();

    CLI::App* volume = app.add_subcommand("volume", "Read or set an endpoint's volume");
    volume->require_subcommand(1);
    CLI::App* get = addAction(*volume, "get", "Show the master and channel levels", runVolumeGet, options, chosen);
    get->add_option("endpoint", options->endpoint, "Number, id or part of the name (default: the default render endpoint)");
    CLI::App* set = addAction(*volume, "set", "Set the master level, or one channel's", runVolumeSet, options, chosen);
    set->add_option("level", options->level, "Percent (40, 40%) or decibels (-12dB)")->required();
    set->add_option("endpoint", options->endpoint, "Number, id or part of the name (default: the default render endpoint)");
    set->add_option("--channel", options->channel, "Set this channel only (from 0)");

    CLI::App* mute = app.add_subcommand("mute", "Read or set an endpoint's mute");
    mute->require_subcommand(1);
    CLI::App* muteGet = addAction(*mute, "get", "Show whether the endpoint is muted", runMuteGet, options, chosen);
    muteGet->add_option("endpoint", options->endpoint, "Number, id or part of the name (default: the default render endpoint)");
    CLI::App* muteSet = addAction(*mute, "set", "Mute or unmute the endpoint", runMuteSet, options, chosen);
    muteSet->add_option("state", options->mute, "on or off")->required();
    muteSet->add_option("endpoint", options->endpoint, "Number, id or part of the name (default: the default render endpoint)");
}
